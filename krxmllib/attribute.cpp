#include "attribute.h"

#include <cstring>

#include "functions.h"
#include "krexception.h"
#include "objectarena.h"
#include "xmlelement.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

KR_ARENA_ALLOCATION_DEFINE(CAttribute)
KR_ARENA_ALLOCATION_DEFINE(CAttributeCol)

static const char* Safe(const char* lp) { return lp ? lp : ""; }

// ---- CAttribute ----

CAttribute::CAttribute(const char* lpName, const char* lpValue, const char* lpNamespace)
    : CInstanceMonitor("CAttribute"), m_strName(Safe(lpName)), m_strValue(Safe(lpValue)), m_strNamespace(Safe(lpNamespace))
{
}

CAttribute::CAttribute(const std::string& strName, const std::string& strValue, const std::string& strNamespace)
    : CInstanceMonitor("CAttribute"), m_strName(strName), m_strValue(strValue), m_strNamespace(strNamespace)
{
}

CSmartPtr<CAttribute> CAttribute::Clone() const
{
    return CSmartPtr<CAttribute>(new CAttribute(m_strName.c_str(), m_strValue.c_str(), m_strNamespace.c_str()));
}

void CAttribute::ToXml_Int(CXmlWriter* pWriter, bool, const char*, const CSerializationContext&, bool) const
{
    pWriter->WriteAttribute(m_strName, m_strNamespace, m_strValue, ItemType_string);
}

CXmlElement* CAttribute::FromXml_Int(CXmlElement*, CXmlElement*, const CSerializationContext&, bool)
{
    throw CKrException("This should be done by the collection");
}

// ---- CAttributeCol ----

CAttributeCol::CAttributeCol(const char* lpNamespace, const char* lpRestrictions, const char* lpTargetNamespace)
    : CInstanceMonitor("CAttributeCol"), m_strNamespaceRestrictions(Safe(lpRestrictions)),
      m_strTargetNamespace(Safe(lpTargetNamespace))
{
    std::string strFirst = m_strNamespaceRestrictions.substr(0, m_strNamespaceRestrictions.find(' '));
    if (*Safe(lpNamespace) == 0 && strFirst.size() >= 2 && strFirst[0] != '#' && strFirst[1] != '#')
        m_strNamespace = strFirst;
    else
        m_strNamespace = Safe(lpNamespace);
}

CSmartPtr<CAttribute> CAttributeCol::Add(const char* lpName, const char* lpValue, const char* lpNamespace)
{
    TestNamespace(Safe(lpNamespace), m_strNamespaceRestrictions.c_str(), m_strTargetNamespace.c_str());
    return Add(new CAttribute(lpName, lpValue, lpNamespace));
}

CSmartPtr<CAttribute> CAttributeCol::Add(const char* lpName, const char* lpValue)
{
    return Add(lpName, lpValue, m_strNamespace.c_str());
}

CSmartPtr<CAttribute> CAttributeCol::Add(const char* lpName)
{
    return Add(lpName, "", m_strNamespace.c_str());
}

CSmartPtr<CAttribute> CAttributeCol::Add(CAttribute* pAttribute)
{
    CSmartPtr<CAttribute> sp(pAttribute);  // a new attribute stays alive if a listener throws
    AppendItem(pAttribute);
    return sp;
}

CSmartPtr<CAttribute> CAttributeCol::Item(int iIndex) const
{
    return CSmartPtr<CAttribute>(static_cast<CAttribute*>(static_cast<CXmlObjectBase*>(GetNodeAtIndex(iIndex)->m_spItem)));
}

CSmartPtr<CAttributeCol> CAttributeCol::Clone() const
{
    CSmartPtr<CAttributeCol> spCopy(
        new CAttributeCol(m_strNamespace.c_str(), m_strNamespaceRestrictions.c_str(), m_strTargetNamespace.c_str()));
    for (CAttribute* p : *this)
        spCopy->Add(p->Clone());
    return spCopy;
}

void CAttributeCol::ToXml_Int(CXmlWriter* pWriter, bool, const char* lpNamespace, const CSerializationContext& ctx,
                              bool) const
{
    for (CAttribute* p : *this)
        CXmlObjectBase::ToXml_Int(p, pWriter, false, lpNamespace, ctx, false);
}

CXmlElement* CAttributeCol::FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext&,
                                        bool)
{
    const bool bAny = m_strNamespaceRestrictions == "##any";
    for (const CXmlAttribute* pAttr : pElement->GetAttributes())
    {
        // The test here is the one Add would make again.
        if (!bAny && !IsNamespaceValid(pAttr->GetNamespaceURI().c_str(), m_strNamespaceRestrictions.c_str(),
                                       m_strTargetNamespace.c_str()))
            throw CKrInvalidNamespaceException(
                FormatString("Invalid Attribute [%s]. The attributes namespace is Inappropriate.",
                             pAttr->GetLocalName().c_str()),
                pElement->GetXPath());
        CSmartPtr<CAttribute> sp(new CAttribute(pAttr->GetLocalName(), pAttr->GetValue(), pAttr->GetNamespaceURI()));
        AppendItem(sp);
    }
    return pFirstChild;
}

} // namespace KrXmlLib16
