// The protected helpers of CXmlObjectBase that code knowing a schema calls: forwarders,
// choice bookkeeping, null and name checks, namespace tests and collection events.
#include <cstring>
#include <utility>

#include "functions.h"
#include "krexception.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"
#include "xmlobjectbase.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

void CXmlObjectBase::WriteRootPreamble(CXmlWriter* pWriter, const CSerializationContext& ctx)
{
    for (const std::string& strInstruction : ctx.GetProcessingInstructions())
        pWriter->WriteProcessingInstruction(strInstruction);
    const CNamespaceAliasMap& aliases = ctx.GetNamespaceAliases();
    for (int i = 0; i < aliases.GetNamespaceCount(); ++i)
    {
        std::string strNamespace = aliases.GetNamespaceAt(i);
        pWriter->AddNamespaceAlias(aliases.GetAliasFromNamespace(strNamespace.c_str()), strNamespace);
    }
    if (!ctx.GetDefaultNamespaceURI().empty())
        pWriter->SetDefaultNamespace(ctx.GetDefaultNamespaceURI());
}

void CXmlObjectBase::AttributesToXml_Int(const CXmlObjectBase* pObject, CXmlWriter* pWriter,
                                         const CSerializationContext& ctx)
{
    pObject->AttributesToXml_Int(pWriter, ctx);
}

void CXmlObjectBase::ToXml_Int(const CXmlObjectBase* pObject, CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                               const CSerializationContext& ctx, bool bOptionalChoice)
{
    pObject->ToXml_Int(pWriter, bRoot, lpNamespace, ctx, bOptionalChoice);
}

CXmlElement* CXmlObjectBase::FromXml_Int(CXmlObjectBase* pObject, CXmlElement* pElement, CXmlElement* pFirstChild,
                                         const CSerializationContext& ctx)
{
    return pObject->FromXml_Int(pElement, pFirstChild, ctx, false);
}

// ---- choices ----

void CXmlObjectBase::Choice_SetElementValid(bool bSet, const char* lpName, std::string& strValid)
{
    if (!bSet)
    {
        strValid.clear();
        return;
    }
    if (!strValid.empty() && strValid != lpName)
        throw CKrInvalidStateException(FormatString(
            "The Property %s is already set. Only one element within this class bay be set at a time", strValid.c_str()));
    strValid = lpName;
}

static void ThrowChoiceTaken(const std::string& strValid)
{
    throw CKrInvalidStateException(FormatString(
        "The Property [%s] is already set. Only one element within this class bay be set at a time", strValid.c_str()));
}

void CXmlObjectBase::Choice_SelectElement(const char* lpName, CXmlObjectBase* pValue, std::string& strValid)
{
    if (strValid == lpName)
    {
        if (!pValue)
            strValid.clear();
    }
    else if (strValid.empty())
        strValid = lpName;
    else if (pValue)
        ThrowChoiceTaken(strValid);
}

void CXmlObjectBase::Choice_CollectionChanged(const char* lpName, int32_t lCount, std::string& strValid)
{
    if (strValid == lpName)
    {
        if (lCount == 0)
            strValid.clear();
    }
    else if (strValid.empty())
    {
        if (lCount > 0)
            strValid = lpName;
    }
    else if (lCount != 0)
        ThrowChoiceTaken(strValid);
}

void CXmlObjectBase::Choice_Read_Collection(CXmlCollectionBase* pCol, CXmlElement* pElement, CXmlElement*& pCursor,
                                            int32_t& lCount, const CSerializationContext& ctx)
{
    if (lCount >= 1)
        return;
    CXmlElement* pNext = pCol->FromXml_Int(pElement, pCursor, ctx, false);
    if (pNext != pCursor)
    {
        pCursor = pNext;
        pCol->ValidateCount(ctx);
        ++lCount;
    }
}

// ---- checks ----

void CXmlObjectBase::Throw_IfPropertyIsNull(CXmlObjectBase* pValue, const char* lpName)
{
    if (!pValue)
        throw CKrInvalidParamException(FormatString("The Property [%s] is mandatory, it may node be NULL", lpName));
}

void CXmlObjectBase::Throw_IfElementNameDiffers(CXmlObjectBase* pValue, const char* lpName)
{
    if (pValue && pValue->GetElementName() != lpName)
        throw CKrInvalidParamException(
            FormatString("This property requires an element with the name %s the element being set has the element name %s",
                         lpName, pValue->GetElementName().c_str()));
}

bool CXmlObjectBase::IsNamespaceValid(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace)
{
    const char* lpNs = lpNamespace ? lpNamespace : "";
    const char* lpTarget = lpTargetNamespace ? lpTargetNamespace : "";
    const char* p = lpAllowed ? lpAllowed : "";
    size_t nNs = std::strlen(lpNs);
    for (;;)
    {
        const char* pEnd = std::strchr(p, ' ');
        size_t n = pEnd ? static_cast<size_t>(pEnd - p) : std::strlen(p);
        auto is = [&](const char* lpToken) { return std::strlen(lpToken) == n && std::strncmp(p, lpToken, n) == 0; };
        if (n > 0 || pEnd)
        {
            if (is("##any"))
                return true;
            if (is("##other"))
            {
                if (std::strcmp(lpNs, lpTarget) != 0)
                    return true;
            }
            else if (is("##local"))
            {
                if (*lpNs == 0)
                    return true;
            }
            else if (is("##targetNamespace"))
            {
                if (std::strcmp(lpNs, lpTarget) == 0)
                    return true;
            }
            else if (*lpNs == 0 || (nNs == n && std::strncmp(lpNs, p, n) == 0))
                return true;
        }
        if (!pEnd)
            return false;
        p = pEnd + 1;
    }
}

CKrInvalidNamespaceException CXmlObjectBase::InvalidNamespaceException(const std::string& strNamespace,
                                                                       const std::string& strAllowed,
                                                                       const std::string& strTargetNamespace,
                                                                       std::string strPath)
{
    return CKrInvalidNamespaceException(
        FormatString("Invalid namespace [%s]. The namespace must be one of [%s] where the target namespace is [%s].",
                     strNamespace.c_str(), strAllowed.c_str(), strTargetNamespace.c_str()),
        std::move(strPath));
}

void CXmlObjectBase::TestNamespace(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace)
{
    if (!IsNamespaceValid(lpNamespace, lpAllowed, lpTargetNamespace))
        throw InvalidNamespaceException(lpNamespace ? lpNamespace : "", lpAllowed ? lpAllowed : "",
                                        lpTargetNamespace ? lpTargetNamespace : "", std::string());
}

bool CXmlObjectBase::DoesElementNameMatch(const CSerializationContext& ctx, const CXmlElement* pElement,
                                          const char* lpName, const char* lpNamespace) const
{
    if (pElement->GetLocalName() != lpName)
        return false;
    if (ctx.GetSchemaType() == SchemaType_NoNamespaces || ctx.GetIgnoreNamespaces())
        return true;
    return pElement->GetNamespaceURI() == (lpNamespace ? lpNamespace : "");
}

// ---- collection events ----

void CXmlObjectBase::FireOnCollectionChangeEvent(IEventSink* pSink, CXmlCollectionBase* pCol)
{
    pSink->OnEvent(pCol->GetBase(), MsgType_CollectionChange, nullptr);
}

void CXmlObjectBase::FireOnCollectionAddEvent(IEventSink* pSink, CXmlCollectionBase* pCol, void* pItem)
{
    pSink->OnEvent(pCol->GetBase(), MsgType_CollectionAdd, pItem);
}

void CXmlObjectBase::FireOnCollectionAddCompleteEvent(IEventSink* pSink, CXmlCollectionBase* pCol, void* pItem)
{
    pSink->OnEvent(pCol->GetBase(), MsgType_CollectionAddComplete, pItem);
}

void CXmlObjectBase::FireOnCollectionRemoveEvent(IEventSink* pSink, CXmlCollectionBase* pCol, int iIndex)
{
    pSink->OnEvent(pCol->GetBase(), MsgType_CollectionRemove, iIndex == -1 ? nullptr : &iIndex);
}

void CXmlObjectBase::FireOnCollectionRemoveCompleteEvent(IEventSink* pSink, CXmlCollectionBase* pCol, int iIndex)
{
    pSink->OnEvent(pCol->GetBase(), MsgType_CollectionRemoveComplete, iIndex == -1 ? nullptr : &iIndex);
}

} // namespace KrXmlLib16
