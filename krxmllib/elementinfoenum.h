// Rows for child elements that hold a value of an enumerated type, exchanged with the class as
// an i4 and turned into schema text by the generated functions of the type. A repeating
// member lives in a collection of the generator's, which reads and writes its items itself.
#ifndef KRXMLLIB_ELEMENTINFOENUM_H
#define KRXMLLIB_ELEMENTINFOENUM_H

#include "krxmlexport.h"
#include "elementinfo.h"

namespace KrXmlLib16Data {

// Arguments shared by the single-valued enumeration rows.
#define KRXML_ENUM_ROW_ARGS                                                                      \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex, bool bNillable, \
        EnumToStringFunction pfnEnumToString, StringToEnumFunction pfnStringToEnum, const char *lpDefaultValue

class KRXML_API CElementInfoSeqEnumMnd : public CElementInfo
{
public:
    CElementInfoSeqEnumMnd(KRXML_ENUM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
};

class KRXML_API CElementInfoSeqEnumOpt : public CElementInfo
{
public:
    CElementInfoSeqEnumOpt(KRXML_ENUM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
};

class KRXML_API CElementInfoSeqEnumCol : public CElementInfoSeqCol
{
public:
    CElementInfoSeqEnumCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
};

class KRXML_API CElementInfoAllEnumMnd : public CElementInfo
{
public:
    CElementInfoAllEnumMnd(KRXML_ENUM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
};

class KRXML_API CElementInfoAllEnumOpt : public CElementInfo
{
public:
    CElementInfoAllEnumOpt(KRXML_ENUM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
};

class KRXML_API CElementInfoAllEnumCol : public CElementInfoAllCol
{
public:
    CElementInfoAllEnumCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
};

class KRXML_API CElementInfoChoiceEnumOpt : public CElementInfo
{
public:
    CElementInfoChoiceEnumOpt(KRXML_ENUM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
};

class KRXML_API CElementInfoChoiceEnumCol : public CElementInfoChoiceCol
{
public:
    CElementInfoChoiceEnumCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
};

#undef KRXML_ENUM_ROW_ARGS

} // namespace KrXmlLib16Data

#endif
