// Rows for child elements typed by an abstract class: the concrete class is known only when the
// element is seen, and the row's factory picks it (from xsi:type) under the declared element
// name. Repeating abstract members are read by their collection, which finds each item's class.
#ifndef KRXMLLIB_ELEMENTINFOABSCLS_H
#define KRXMLLIB_ELEMENTINFOABSCLS_H

#include "krxmlexport.h"
#include "elementinfo.h"

namespace KrXmlLib16Data {

// Fields and the shared parts of the single-valued abstract rows.
#define KRXML_ABSCLS_ROW_ARGS                                                              \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex,    \
        XmlElementType eElementType, CreateAbstractObjectFunction pfnCreateAbstractObject
#define KRXML_ABSCLS_ROW_MEMBERS                                                                        \
    KRXML_ELEMENT_ROW_OPERATIONS                                                                        \
    void PseudoChildAttributeToXml(const KrXmlLib16::CSerializationContext& ctx,                        \
                                   const KrXmlLib16::CXmlGeneratedClass* pObject,                       \
                                   KrXmlLib16::CXmlWriter* pWriter) const override;                     \
                                                                                                        \
private:                                                                                                \
    XmlElementType m_eElementType;                                                                      \
    CreateAbstractObjectFunction m_pfnCreateAbstractObject;

class KRXML_API CElementInfoSeqAbsClsMnd : public CElementInfo
{
public:
    CElementInfoSeqAbsClsMnd(KRXML_ABSCLS_ROW_ARGS);
    KRXML_ABSCLS_ROW_MEMBERS
};

class KRXML_API CElementInfoSeqAbsClsOpt : public CElementInfo
{
public:
    CElementInfoSeqAbsClsOpt(KRXML_ABSCLS_ROW_ARGS);
    KRXML_ABSCLS_ROW_MEMBERS
};

class KRXML_API CElementInfoSeqAbsClsCol : public CElementInfoSeqCol
{
public:
    CElementInfoSeqAbsClsCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                             XmlElementType eElementType);
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

private:
    XmlElementType m_eElementType;
};

class KRXML_API CElementInfoAllAbsClsMnd : public CElementInfo
{
public:
    // The trailing number is part of the generated tables' form; the row doesn't use it.
    CElementInfoAllAbsClsMnd(KRXML_ABSCLS_ROW_ARGS, int iUnused);
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
    KRXML_ABSCLS_ROW_MEMBERS
};

class KRXML_API CElementInfoAllAbsClsOpt : public CElementInfo
{
public:
    CElementInfoAllAbsClsOpt(KRXML_ABSCLS_ROW_ARGS);
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
    KRXML_ABSCLS_ROW_MEMBERS
};

class KRXML_API CElementInfoAllAbsClsCol : public CElementInfoAllCol
{
public:
    CElementInfoAllAbsClsCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                             XmlElementType eElementType);
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

private:
    XmlElementType m_eElementType;
};

class KRXML_API CElementInfoChoiceAbsClsOpt : public CElementInfo
{
public:
    CElementInfoChoiceAbsClsOpt(KRXML_ABSCLS_ROW_ARGS);
    KRXML_ABSCLS_ROW_MEMBERS
};

class KRXML_API CElementInfoChoiceAbsClsCol : public CElementInfoChoiceCol
{
public:
    CElementInfoChoiceAbsClsCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                                XmlElementType eElementType);
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

private:
    XmlElementType m_eElementType;
};

#undef KRXML_ABSCLS_ROW_ARGS
#undef KRXML_ABSCLS_ROW_MEMBERS

} // namespace KrXmlLib16Data

#endif
