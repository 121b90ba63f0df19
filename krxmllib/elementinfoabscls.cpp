#include "elementinfoabscls.h"

#include "serializationcontext.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"

namespace KrXmlLib16Data {

#define KRXML_ABSCLS_ROW_PARAMS                                                            \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex,    \
        XmlElementType eElementType, CreateAbstractObjectFunction pfnCreateAbstractObject
#define KRXML_ABSCLS_ROW_INIT                                                                               \
    CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex), m_eElementType(eElementType),         \
        m_pfnCreateAbstractObject(pfnCreateAbstractObject)

// ---- sequence ----

CElementInfoSeqAbsClsMnd::CElementInfoSeqAbsClsMnd(KRXML_ABSCLS_ROW_PARAMS) : KRXML_ABSCLS_ROW_INIT {}

bool CElementInfoSeqAbsClsMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                              CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                              XmlElementType eParentType)
{
    CSmartPtr<CXmlObjectBase> spChild;
    if (IsThisElement(ctx, *ppCursor))
        spChild = m_pfnCreateAbstractObject(*ppCursor);
    if (!spChild)
    {
        if (eParentType == XmlElementType_Element)
            ThrowNoSubstitution(pParent);
        return false;
    }
    ReadByTag(ctx, pObject, ppCursor, spChild);
    return true;
}

CElementInfoSeqAbsClsOpt::CElementInfoSeqAbsClsOpt(KRXML_ABSCLS_ROW_PARAMS) : KRXML_ABSCLS_ROW_INIT {}

bool CElementInfoSeqAbsClsOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                              CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    if (IsThisElement(ctx, *ppCursor))
        if (CSmartPtr<CXmlObjectBase> spChild = m_pfnCreateAbstractObject(*ppCursor))
            ReadByTag(ctx, pObject, ppCursor, spChild);
    return true;
}

CElementInfoSeqAbsClsCol::CElementInfoSeqAbsClsCol(const char* lpElementName, const char* lpElementNamespace,
                                                   int32_t iPropertyIndex, XmlElementType eElementType)
    : CElementInfoSeqCol(lpElementName, lpElementNamespace, iPropertyIndex), m_eElementType(eElementType)
{
}

void CElementInfoSeqAbsClsCol::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                         const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, true);
}

// ---- all ----

CElementInfoAllAbsClsMnd::CElementInfoAllAbsClsMnd(KRXML_ABSCLS_ROW_PARAMS, int) : KRXML_ABSCLS_ROW_INIT {}

bool CElementInfoAllAbsClsMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                              CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                              XmlElementType)
{
    return AllAbstractFromXml(ctx, pObject, pParent, ppCursor, m_eElementType, m_pfnCreateAbstractObject);
}

bool CElementInfoAllAbsClsMnd::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool bFound,
                                        bool bMustExist) const
{
    return ValidateMandatory(bFound, bMustExist);
}

CElementInfoAllAbsClsOpt::CElementInfoAllAbsClsOpt(KRXML_ABSCLS_ROW_PARAMS) : KRXML_ABSCLS_ROW_INIT {}

bool CElementInfoAllAbsClsOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                              CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                              XmlElementType)
{
    return AllAbstractFromXml(ctx, pObject, pParent, ppCursor, m_eElementType, m_pfnCreateAbstractObject);
}

bool CElementInfoAllAbsClsOpt::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool, bool) const
{
    return true;
}

CElementInfoAllAbsClsCol::CElementInfoAllAbsClsCol(const char* lpElementName, const char* lpElementNamespace,
                                                   int32_t iPropertyIndex, XmlElementType eElementType)
    : CElementInfoAllCol(lpElementName, lpElementNamespace, iPropertyIndex), m_eElementType(eElementType)
{
}

void CElementInfoAllAbsClsCol::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                         const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, true);
}

// ---- choice ----

CElementInfoChoiceAbsClsOpt::CElementInfoChoiceAbsClsOpt(KRXML_ABSCLS_ROW_PARAMS) : KRXML_ABSCLS_ROW_INIT
{
    m_eChoiceRole = ChoiceRole_Optional;
}

// The member is stored before it reads (a null one too, which clears the property).
bool CElementInfoChoiceAbsClsOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                                 CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    CXmlElement* pCursor = *ppCursor;
    if (!IsThisElement(ctx, pCursor))
        return false;
    CSmartPtr<CXmlObjectBase> spChild = m_pfnCreateAbstractObject(pCursor);
    SetObject(pObject, spChild, *pCursor);
    if (!spChild)
        return false;
    FromXml_Int(spChild, pCursor, pCursor->GetFirstElement(), ctx, false);
    *ppCursor = pCursor->GetNextSiblingElement();
    return true;
}

CElementInfoChoiceAbsClsCol::CElementInfoChoiceAbsClsCol(const char* lpElementName, const char* lpElementNamespace,
                                                         int32_t iPropertyIndex, XmlElementType eElementType)
    : CElementInfoChoiceCol(lpElementName, lpElementNamespace, iPropertyIndex), m_eElementType(eElementType)
{
}

void CElementInfoChoiceAbsClsCol::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                            const CXmlGeneratedClass* pObject,
                                                            CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, true);
}

bool CElementInfoSeqAbsClsMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                             CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, true, false);
}
bool CElementInfoSeqAbsClsOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                             CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}
bool CElementInfoAllAbsClsMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                             CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, true, false);
}
bool CElementInfoAllAbsClsOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                             CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}
bool CElementInfoChoiceAbsClsOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}

void CElementInfoSeqAbsClsMnd::PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                                        CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

void CElementInfoSeqAbsClsOpt::PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                                        CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

void CElementInfoAllAbsClsMnd::PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                                        CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

void CElementInfoAllAbsClsOpt::PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                                        CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

void CElementInfoChoiceAbsClsOpt::PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                                           CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

} // namespace KrXmlLib16Data
