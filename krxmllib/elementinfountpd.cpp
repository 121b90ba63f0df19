#include "elementinfountpd.h"

#include "serializationcontext.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"

#include "functions.h"
#include "krexception.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"

namespace KrXmlLib16Data {

#define KRXML_UNTPD_ROW_PARAMS                                                             \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex,    \
        const char *lpNamespaceRestrictions, const char *lpTargetNamespace
#define KRXML_UNTPD_ROW_INIT                                                                    \
    CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex),                           \
        m_strNamespaceRestrictions(lpNamespaceRestrictions ? lpNamespaceRestrictions : ""),     \
        m_strTargetNamespace(lpTargetNamespace ? lpTargetNamespace : "")

// ---- sequence ----

CElementInfoSeqUntpdMnd::CElementInfoSeqUntpdMnd(KRXML_UNTPD_ROW_PARAMS) : KRXML_UNTPD_ROW_INIT {}

bool CElementInfoSeqUntpdMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                             CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                             XmlElementType eParentType)
{
    if (!*ppCursor)
        ThrowRequiredChildMissing(pParent);
    CXmlElement* pResult = ReadWildcard(ctx, GetExistingChild(pObject), pParent, *ppCursor);
    if (pResult == *ppCursor)
    {
        if (eParentType == XmlElementType_Element)
            throw CKrValidationException(FormatString("Failed to find the required element from namespace [%s].",
                                                      m_strElementNamespace.c_str()),
                                         pParent->GetXPath());
        return false;
    }
    *ppCursor = pResult;
    return true;
}

CElementInfoSeqUntpdOpt::CElementInfoSeqUntpdOpt(KRXML_UNTPD_ROW_PARAMS) : KRXML_UNTPD_ROW_INIT
{
    m_bWildcard = true;
}

bool CElementInfoSeqUntpdOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                             CXmlElement* pParent, CXmlElement** ppCursor, const char* lpNamespace,
                                             XmlElementType)
{
    CXmlElement* pCursor = *ppCursor;
    if (!pCursor)
        return true;
    CSmartPtr<CXmlObjectBase> spChild = MakeWildcard(lpNamespace, m_strNamespaceRestrictions, m_strTargetNamespace);
    CXmlElement* pResult = ReadWildcard(ctx, spChild, pParent, pCursor);
    if (pResult != pCursor)
    {
        SetObject(pObject, spChild, *pCursor);
        *ppCursor = pResult;
    }
    return true;
}

CElementInfoSeqUntpdCol::CElementInfoSeqUntpdCol(const char* lpElementName, const char* lpElementNamespace,
                                                 int32_t iPropertyIndex)
    : CElementInfoSeqCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

bool CElementInfoSeqUntpdCol::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                             CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                             XmlElementType eParentType)
{
    CSmartPtr<CXmlCollectionBase> spCol;
    *ppCursor = ReadWildcards(ctx, pObject, pParent, *ppCursor, spCol);
    return CheckCountAfterRead(ctx, spCol, eParentType);
}

// ---- all ----

CElementInfoAllUntpdMnd::CElementInfoAllUntpdMnd(KRXML_UNTPD_ROW_PARAMS) : KRXML_UNTPD_ROW_INIT {}

bool CElementInfoAllUntpdMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                             CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                             XmlElementType)
{
    if (!*ppCursor)
        return false;
    CXmlElement* pResult = ReadWildcard(ctx, GetExistingChild(pObject), pParent, *ppCursor);
    const bool bTook = pResult != *ppCursor;
    *ppCursor = pResult;
    return bTook;
}

bool CElementInfoAllUntpdMnd::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool bFound,
                                       bool bMustExist) const
{
    return ValidateMandatory(bFound, bMustExist);
}

CElementInfoAllUntpdOpt::CElementInfoAllUntpdOpt(KRXML_UNTPD_ROW_PARAMS) : KRXML_UNTPD_ROW_INIT
{
    m_bWildcard = true;
}

bool CElementInfoAllUntpdOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                             CXmlElement* pParent, CXmlElement** ppCursor, const char* lpNamespace,
                                             XmlElementType)
{
    CXmlElement* pCursor = *ppCursor;
    if (!pCursor)
        return false;
    CSmartPtr<CXmlObjectBase> spChild = MakeWildcard(lpNamespace, m_strNamespaceRestrictions, m_strTargetNamespace);
    CXmlElement* pResult = ReadWildcard(ctx, spChild, pParent, pCursor);
    if (pResult == pCursor)
        return false;
    SetObject(pObject, spChild, *pCursor);
    *ppCursor = pResult;
    return true;
}

bool CElementInfoAllUntpdOpt::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool, bool) const
{
    return true;
}

CElementInfoAllUntpdCol::CElementInfoAllUntpdCol(const char* lpElementName, const char* lpElementNamespace,
                                                 int32_t iPropertyIndex)
    : CElementInfoAllCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

bool CElementInfoAllUntpdCol::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                             CXmlElement* pParent, CXmlElement** ppCursor, const char*, XmlElementType)
{
    CSmartPtr<CXmlCollectionBase> spCol;
    *ppCursor = ReadWildcards(ctx, pObject, pParent, *ppCursor, spCol);
    return false;
}

// ---- choice ----

CElementInfoChoiceUntpdOpt::CElementInfoChoiceUntpdOpt(KRXML_UNTPD_ROW_PARAMS) : KRXML_UNTPD_ROW_INIT
{
    m_bWildcard = true;
    m_eChoiceRole = ChoiceRole_Optional;
}

// A member that took nothing is cleared, so that the choice never keeps a stale member.
bool CElementInfoChoiceUntpdOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                                CXmlElement* pParent, CXmlElement** ppCursor,
                                                const char* lpNamespace, XmlElementType)
{
    CXmlElement* pCursor = *ppCursor;
    if (!pCursor)
        return false;
    CSmartPtr<CXmlObjectBase> spChild = MakeWildcard(lpNamespace, m_strNamespaceRestrictions, m_strTargetNamespace);
    CXmlElement* pResult = ReadWildcard(ctx, spChild, pParent, pCursor);
    if (pResult == pCursor)
    {
        SetObject(pObject, nullptr, *pCursor);
        return false;
    }
    SetObject(pObject, spChild, *pCursor);
    *ppCursor = pResult;
    return true;
}

CElementInfoChoiceUntpdCol::CElementInfoChoiceUntpdCol(const char* lpElementName, const char* lpElementNamespace,
                                                       int32_t iPropertyIndex)
    : CElementInfoChoiceCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

bool CElementInfoChoiceUntpdCol::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                                CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                                XmlElementType eParentType)
{
    CSmartPtr<CXmlCollectionBase> spCol;
    CXmlElement* pResult = ReadWildcards(ctx, pObject, pParent, *ppCursor, spCol);
    return AcceptRead(ctx, spCol, ppCursor, pResult, eParentType);
}

bool CElementInfoSeqUntpdMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                            CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, true, false);
}
bool CElementInfoSeqUntpdOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                            CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}
bool CElementInfoAllUntpdMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                            CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, true, false);
}
bool CElementInfoAllUntpdOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                            CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}
bool CElementInfoChoiceUntpdOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                               CXmlWriter* pWriter) const
{
    return ObjectToXml(ctx, pObject, pWriter, false, false);
}

} // namespace KrXmlLib16Data
