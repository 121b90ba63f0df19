// Rows for child elements that hold a primitive value: once, at most once or repeating, in a
// sequence, an all group or a choice. A repeating member lives in a typed collection
// (CXmlTypeCollection), which reads and writes its items itself.
#ifndef KRXMLLIB_ELEMENTINFOPRIM_H
#define KRXMLLIB_ELEMENTINFOPRIM_H

#include "krxmlexport.h"
#include "elementinfo.h"

namespace KrXmlLib16Data {

// Arguments shared by the single-valued primitive rows.
#define KRXML_PRIM_ROW_ARGS                                                                             \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex, bool bNillable, \
        ItemType eItemType, const char *lpFormatOverride, CWhitespaceUtils::WhitespaceRule eWhitespaceRule, \
        const CPrimitiveRestrictions &restrictions, const char *lpDefaultValue

class KRXML_API CElementInfoSeqPrimMnd : public CElementInfo
{
public:
    CElementInfoSeqPrimMnd(KRXML_PRIM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
};

class KRXML_API CElementInfoSeqPrimOpt : public CElementInfo
{
public:
    CElementInfoSeqPrimOpt(KRXML_PRIM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
};

class KRXML_API CElementInfoSeqPrimCol : public CElementInfoSeqCol
{
public:
    CElementInfoSeqPrimCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
};

class KRXML_API CElementInfoAllPrimMnd : public CElementInfo
{
public:
    CElementInfoAllPrimMnd(KRXML_PRIM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
};

class KRXML_API CElementInfoAllPrimOpt : public CElementInfo
{
public:
    CElementInfoAllPrimOpt(KRXML_PRIM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
};

class KRXML_API CElementInfoAllPrimCol : public CElementInfoAllCol
{
public:
    CElementInfoAllPrimCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
};

class KRXML_API CElementInfoChoicePrimOpt : public CElementInfo
{
public:
    CElementInfoChoicePrimOpt(KRXML_PRIM_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
};

class KRXML_API CElementInfoChoicePrimCol : public CElementInfoChoiceCol
{
public:
    CElementInfoChoicePrimCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
};

#undef KRXML_PRIM_ROW_ARGS

} // namespace KrXmlLib16Data

#endif
