// Rows for child elements that hold an object of a generated class: a real element with a tag
// of its own, or a pseudo element (a nested group whose children lie in the enclosing element).
// Optional members are made by the row's factory as their element comes; mandatory ones exist
// already and are filled in place.
#ifndef KRXMLLIB_ELEMENTINFOCLS_H
#define KRXMLLIB_ELEMENTINFOCLS_H

#include "krxmlexport.h"
#include "elementinfo.h"

namespace KrXmlLib16Data {

// Arguments shared by the single-valued class rows.
#define KRXML_CLS_ROW_ARGS                                                                                  \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex,                     \
        XmlElementType eElementType, CreateObjectFunction pfnCreateObject, int32_t iClassId

class KRXML_API CElementInfoSeqClsMnd : public CElementInfo
{
public:
    CElementInfoSeqClsMnd(KRXML_CLS_ROW_ARGS, bool bContentRequired);
    KRXML_ELEMENT_ROW_OPERATIONS
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
    bool m_bContentRequired;  // a pseudo group that must take at least one element
    CreateObjectFunction m_pfnCreateObject;
    int32_t m_iClassId;
};

class KRXML_API CElementInfoSeqClsOpt : public CElementInfo
{
public:
    CElementInfoSeqClsOpt(KRXML_CLS_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
    CreateObjectFunction m_pfnCreateObject;
    int32_t m_iClassId;
};

class KRXML_API CElementInfoSeqClsCol : public CElementInfoSeqCol
{
public:
    CElementInfoSeqClsCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                          XmlElementType eElementType);
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
};

class KRXML_API CElementInfoAllClsMnd : public CElementInfo
{
public:
    CElementInfoAllClsMnd(KRXML_CLS_ROW_ARGS, bool bContentRequired);
    KRXML_ELEMENT_ROW_OPERATIONS
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
    CreateObjectFunction m_pfnCreateObject;
    int32_t m_iClassId;
    bool m_bContentRequired;
};

class KRXML_API CElementInfoAllClsOpt : public CElementInfo
{
public:
    CElementInfoAllClsOpt(KRXML_CLS_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
    CreateObjectFunction m_pfnCreateObject;
    int32_t m_iClassId;
};

class KRXML_API CElementInfoAllClsCol : public CElementInfoAllCol
{
public:
    CElementInfoAllClsCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                          XmlElementType eElementType);
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
};

class KRXML_API CElementInfoChoiceClsOpt : public CElementInfo
{
public:
    CElementInfoChoiceClsOpt(KRXML_CLS_ROW_ARGS);
    KRXML_ELEMENT_ROW_OPERATIONS
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
    CreateObjectFunction m_pfnCreateObject;
    int32_t m_iClassId;
};

class KRXML_API CElementInfoChoiceClsCol : public CElementInfoChoiceCol
{
public:
    CElementInfoChoiceClsCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                             XmlElementType eElementType);
    void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const override;

protected:
    XmlElementType m_eElementType;
};

#undef KRXML_CLS_ROW_ARGS

} // namespace KrXmlLib16Data

#endif
