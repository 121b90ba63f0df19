#include "elementinfocls.h"

#include "serializationcontext.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"

namespace KrXmlLib16Data {

#define KRXML_CLS_ROW_PARAMS                                                                                \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex,                     \
        XmlElementType eElementType, CreateObjectFunction pfnCreateObject, int32_t iClassId

// ---- sequence ----

CElementInfoSeqClsMnd::CElementInfoSeqClsMnd(KRXML_CLS_ROW_PARAMS, bool bContentRequired)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex),
      m_eElementType(eElementType),
      m_bContentRequired(bContentRequired),
      m_pfnCreateObject(pfnCreateObject),
      m_iClassId(iClassId)
{
}

bool CElementInfoSeqClsMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                         CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, true, false);
}

bool CElementInfoSeqClsMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                           CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                           XmlElementType eParentType)
{
    const bool bRealParent = eParentType == XmlElementType_Element;
    if (m_eElementType == XmlElementType_Element)
    {
        if (bRealParent)
        {
            if (!SeekMandatoryElement(ctx, pParent, ppCursor))
                return true;
        }
        else if (!IsThisElement(ctx, *ppCursor))
            return false;
        FillByTag(ctx, pObject, ppCursor);
        return true;
    }
    if (m_bContentRequired)
    {
        CXmlElement* pResult = *ppCursor ? FillAsGroup(ctx, pObject, pParent, *ppCursor) : nullptr;
        if (!*ppCursor || pResult == *ppCursor)
        {
            if (bRealParent)
                ThrowRequiredChildMissing(pParent);
            return false;
        }
        *ppCursor = pResult;
        return true;
    }
    // A group that may be empty reads even at the end of the siblings.
    CXmlElement* pResult = FillAsGroup(ctx, pObject, pParent, *ppCursor);
    if (*ppCursor && pResult == *ppCursor && ctx.GetIgnoreUnknownElements() && bRealParent)
        return false;  // the walker skips one sibling and asks again
    *ppCursor = pResult;
    return true;
}

void CElementInfoSeqClsMnd::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                      const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

CElementInfoSeqClsOpt::CElementInfoSeqClsOpt(KRXML_CLS_ROW_PARAMS)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex),
      m_eElementType(eElementType),
      m_pfnCreateObject(pfnCreateObject),
      m_iClassId(iClassId)
{
}

bool CElementInfoSeqClsOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                         CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}

bool CElementInfoSeqClsOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                           CXmlElement* pParent, CXmlElement** ppCursor, const char*, XmlElementType)
{
    if (m_eElementType == XmlElementType_Element)
    {
        if (IsThisElement(ctx, *ppCursor))
            MakeByTag(ctx, pObject, ppCursor, m_pfnCreateObject, m_iClassId);
    }
    else if (*ppCursor)
        *ppCursor = MakeAsGroup(ctx, pObject, pParent, *ppCursor, m_pfnCreateObject, m_iClassId);
    return true;
}

void CElementInfoSeqClsOpt::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                      const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

CElementInfoSeqClsCol::CElementInfoSeqClsCol(const char* lpElementName, const char* lpElementNamespace,
                                             int32_t iPropertyIndex, XmlElementType eElementType)
    : CElementInfoSeqCol(lpElementName, lpElementNamespace, iPropertyIndex), m_eElementType(eElementType)
{
}

void CElementInfoSeqClsCol::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                      const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, true);
}

// ---- all ----

CElementInfoAllClsMnd::CElementInfoAllClsMnd(KRXML_CLS_ROW_PARAMS, bool bContentRequired)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex),
      m_eElementType(eElementType),
      m_pfnCreateObject(pfnCreateObject),
      m_iClassId(iClassId),
      m_bContentRequired(bContentRequired)
{
}

bool CElementInfoAllClsMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                         CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, true, false);
}

bool CElementInfoAllClsMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                           CXmlElement* pParent, CXmlElement** ppCursor, const char*, XmlElementType)
{
    if (m_eElementType == XmlElementType_Element)
    {
        if (!IsThisElement(ctx, *ppCursor))
            return false;
        FillByTag(ctx, pObject, ppCursor);
        return true;
    }
    CXmlElement* pResult = FillAsGroup(ctx, pObject, pParent, *ppCursor);
    const bool bTook = pResult != *ppCursor;
    *ppCursor = pResult;
    return bTook;
}

bool CElementInfoAllClsMnd::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool bFound,
                                     bool bMustExist) const
{
    if (!bFound && bMustExist && m_eElementType == XmlElementType_Element && !m_bContentRequired)
        return true;
    return ValidateMandatory(bFound, bMustExist);
}

void CElementInfoAllClsMnd::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                      const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

CElementInfoAllClsOpt::CElementInfoAllClsOpt(KRXML_CLS_ROW_PARAMS)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex),
      m_eElementType(eElementType),
      m_pfnCreateObject(pfnCreateObject),
      m_iClassId(iClassId)
{
}

bool CElementInfoAllClsOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                         CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}

bool CElementInfoAllClsOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                           CXmlElement* pParent, CXmlElement** ppCursor, const char*, XmlElementType)
{
    if (m_eElementType == XmlElementType_Element)
    {
        if (!IsThisElement(ctx, *ppCursor))
            return false;
        MakeByTag(ctx, pObject, ppCursor, m_pfnCreateObject, m_iClassId);
        return true;
    }
    if (!*ppCursor)
        return false;
    CXmlElement* pResult = MakeAsGroup(ctx, pObject, pParent, *ppCursor, m_pfnCreateObject, m_iClassId);
    const bool bTook = pResult != *ppCursor;
    *ppCursor = pResult;
    return bTook;
}

bool CElementInfoAllClsOpt::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool, bool) const
{
    return true;
}

void CElementInfoAllClsOpt::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                      const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

CElementInfoAllClsCol::CElementInfoAllClsCol(const char* lpElementName, const char* lpElementNamespace,
                                             int32_t iPropertyIndex, XmlElementType eElementType)
    : CElementInfoAllCol(lpElementName, lpElementNamespace, iPropertyIndex), m_eElementType(eElementType)
{
}

void CElementInfoAllClsCol::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                      const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, true);
}

// ---- choice ----

CElementInfoChoiceClsOpt::CElementInfoChoiceClsOpt(KRXML_CLS_ROW_PARAMS)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex),
      m_eElementType(eElementType),
      m_pfnCreateObject(pfnCreateObject),
      m_iClassId(iClassId)
{
    m_eChoiceRole = ChoiceRole_Optional;
}

// A member of a choice that is itself a choice may be empty.
bool CElementInfoChoiceClsOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                            CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, true);
}

// The member is stored before it reads, so that the class's choice bookkeeping sees it chosen.
bool CElementInfoChoiceClsOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                              CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                              XmlElementType)
{
    CXmlElement* pCursor = *ppCursor;
    if (m_eElementType == XmlElementType_Element)
    {
        if (!IsThisElement(ctx, pCursor))
            return false;
        CSmartPtr<CXmlObjectBase> spChild = CreateObject(m_pfnCreateObject, m_iClassId);
        SetObject(pObject, spChild, *pCursor);
        FromXml_Int(spChild, pCursor, pCursor->GetFirstElement(), ctx, true);
        *ppCursor = pCursor->GetNextSiblingElement();
        return true;
    }
    if (!pCursor)
        return false;
    CSmartPtr<CXmlObjectBase> spChild = CreateObject(m_pfnCreateObject, m_iClassId);
    SetObject(pObject, spChild, *pParent);
    CXmlElement* pResult = FromXml_Int(spChild, pParent, pCursor, ctx, false);
    if (pResult != pCursor)
    {
        *ppCursor = pResult;
        return true;
    }
    SetObject(pObject, nullptr, *pParent);
    return false;
}

void CElementInfoChoiceClsOpt::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                         const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, false);
}

CElementInfoChoiceClsCol::CElementInfoChoiceClsCol(const char* lpElementName, const char* lpElementNamespace,
                                                   int32_t iPropertyIndex, XmlElementType eElementType)
    : CElementInfoChoiceCol(lpElementName, lpElementNamespace, iPropertyIndex), m_eElementType(eElementType)
{
}

void CElementInfoChoiceClsCol::PseudoChildAttributeToXml(const CSerializationContext& ctx,
                                                         const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const
{
    PseudoChildAttributes(ctx, pObject, pWriter, m_eElementType, true);
}

} // namespace KrXmlLib16Data
