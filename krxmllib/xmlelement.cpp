#include "xmlelement.h"

#include <algorithm>
#include <cstring>

#include "xmldocument.h"

namespace KrXmlLib16 {

static const std::string s_strEmpty;
static const char kXsiNamespace[] = "http://www.w3.org/2001/XMLSchema-instance";
static const char kXmlnsNamespace[] = "http://www.w3.org/2000/xmlns/";

// ---- CXmlAttribute ----

CXmlAttribute::CXmlAttribute(const CXmlElement* pElement, const std::string& strLocalName, const std::string& strValue,
                             const std::string& strNamespace)
    : CInstanceMonitor("CXmlAttribute"),
      m_pElement(pElement),
      m_strLocalName(strLocalName),
      m_strValue(strValue),
      m_strNamespaceURI(strNamespace)
{
}

// strText == lpLiteral, with the literal's length known: most texts differ in length.
template <size_t N>
static bool IsText(const std::string& strText, const char (&lpLiteral)[N])
{
    return strText.size() == N - 1 && std::memcmp(strText.data(), lpLiteral, N - 1) == 0;
}

CXmlAttribute::CXmlAttribute(const CXmlElement* pElement, const char* pLocalName, size_t nLocalName,
                             const char* pValue, size_t nValue, const char* pNamespace, size_t nNamespace)
    : CInstanceMonitor("CXmlAttribute"),
      m_pElement(pElement),
      m_strLocalName(pLocalName, nLocalName),
      m_strValue(pValue, nValue),
      m_strNamespaceURI(pNamespace, nNamespace)
{
}

static bool IsInstanceNamespace(const std::string& strNamespace)
{
    return IsText(strNamespace, kXsiNamespace) || IsText(strNamespace, kXmlnsNamespace);
}

bool CXmlAttribute::IsNamespaceAttribute() const
{
    if (!IsInstanceNamespace(m_strNamespaceURI))
        return false;
    return IsText(m_strLocalName, "xmlns") || IsText(m_strLocalName, "type") ||
           IsText(m_strLocalName, "schemaLocation") || IsText(m_strLocalName, "noNamespaceSchemaLocation");
}

bool CXmlAttribute::IsNilAttribute() const
{
    return IsInstanceNamespace(m_strNamespaceURI) && IsText(m_strLocalName, "nil");
}

std::string CXmlAttribute::GetXPath() const
{
    std::string strPath = m_pElement ? m_pElement->GetXPath() : std::string();
    strPath += '/';
    if (!m_strNamespaceURI.empty() && m_pElement && m_pElement->GetDocument())
    {
        std::string strPrefix = m_pElement->GetDocument()->LookupAliasFromNamespace(m_strNamespaceURI.c_str());
        if (!strPrefix.empty())
        {
            strPath += strPrefix;
            strPath += ':';
        }
    }
    strPath += '@';
    strPath += m_strLocalName;
    return strPath;
}

// ---- CXmlElement ----

CXmlElement::CXmlElement(const CXmlDocument* pDocument, const CXmlElement* pParent)
    : CInstanceMonitor("CXmlElement"),
      m_pDocument(pDocument),
      m_pParent(pParent),
      m_pNextSibling(nullptr),
      m_pPrevSibling(nullptr),
      m_pFirstChild(nullptr),
      m_pLastChild(nullptr),
      m_pNamespaceURI(&s_strEmpty),
      m_nHeldBackOffset(0),
      m_nHeldBackLength(0)
{
}

CXmlElement::CXmlElement(const CXmlDocument* pDocument, const CXmlElement* pParent, const char* pLocalName,
                         size_t nLocalName)
    : CInstanceMonitor("CXmlElement"),
      m_pDocument(pDocument),
      m_pParent(pParent),
      m_pNextSibling(nullptr),
      m_pPrevSibling(nullptr),
      m_pFirstChild(nullptr),
      m_pLastChild(nullptr),
      m_strLocalName(pLocalName, nLocalName),
      m_pNamespaceURI(&s_strEmpty),
      m_nHeldBackOffset(0),
      m_nHeldBackLength(0)
{
}

CXmlElement::~CXmlElement()
{
    for (CXmlAttribute* pAttr : m_attributes)
        m_pDocument->DeleteAttribute(pAttr);
    // Free the subtree without recursion: a node's children are spliced in front of the work
    // list before the node goes, so that every node is deleted childless and the depth of the
    // document never reaches the stack.
    CXmlElement* pWork = m_pFirstChild;
    m_pFirstChild = m_pLastChild = nullptr;
    while (pWork)
    {
        CXmlElement* p = pWork;
        pWork = p->m_pNextSibling;
        if (p->m_pFirstChild)
        {
            p->m_pLastChild->m_pNextSibling = pWork;
            pWork = p->m_pFirstChild;
            p->m_pFirstChild = p->m_pLastChild = nullptr;
        }
        m_pDocument->DeleteElement(p);
    }
}

const std::string& CXmlElement::GetAttribute(const std::string& strLocalName, const std::string& strNamespace) const
{
    for (const CXmlAttribute* pAttr : m_attributes)
        if (pAttr->m_strLocalName == strLocalName && pAttr->m_strNamespaceURI == strNamespace)
            return pAttr->m_strValue;
    return s_strEmpty;
}

void CXmlElement::AppendText(const char* lpText)
{
    if (lpText)
        AppendText(lpText, static_cast<int>(std::strlen(lpText)));
}

void CXmlElement::AppendText(const char* lpText, int iLen)
{
    if (iLen <= 0)
        return;
    // Grow geometrically so that text arriving in many pieces is appended in linear time.
    size_t nNew = m_strText.size() + static_cast<size_t>(iLen);
    if (!m_strText.empty() && nNew > m_strText.capacity())
        m_strText.reserve(std::max(nNew, 2 * m_strText.capacity()));
    m_strText.append(lpText, static_cast<size_t>(iLen));
}

void CXmlElement::TakeHeldBackText() const
{
    size_t nDepth = 0;
    for (const CXmlElement* p = m_pParent; p; p = p->m_pParent)
        ++nDepth;
    m_strText.append(m_pDocument->HeldBackText(nDepth) + m_nHeldBackOffset, m_nHeldBackLength);
    m_nHeldBackLength = 0;
}

CXmlElement* CXmlElement::CreateNewChildElement()
{
    return CreateNewChildElement("", 0);
}

CXmlElement* CXmlElement::CreateNewChildElement(const char* pLocalName, size_t nLocalName)
{
    CXmlElement* pChild = m_pDocument->NewElement(this, pLocalName, nLocalName);
    if (m_pLastChild)
    {
        m_pLastChild->m_pNextSibling = pChild;
        pChild->m_pPrevSibling = m_pLastChild;
    }
    else
        m_pFirstChild = pChild;
    m_pLastChild = pChild;
    return pChild;
}

void CXmlElement::AddAttribute(const std::string& strLocalName, const std::string& strValue,
                               const std::string& strNamespace)
{
    m_attributes.push_back(nullptr);  // room first, so that a failed push can't leak the node
    m_attributes.back() = m_pDocument->NewAttribute(this, strLocalName, strValue, strNamespace);
}

void CXmlElement::SetNamespace(const std::string& strNamespace)
{
    m_pNamespaceURI = strNamespace.empty() ? &s_strEmpty : m_pDocument->InternNamespace(strNamespace.data(), strNamespace.size());
}

CXmlElement* CXmlElement::RemoveLastChildElement()
{
    CXmlElement* pLast = m_pLastChild;
    if (!pLast)
        return nullptr;
    m_pLastChild = pLast->m_pPrevSibling;
    if (m_pLastChild)
        m_pLastChild->m_pNextSibling = nullptr;
    else
        m_pFirstChild = nullptr;
    pLast->m_pPrevSibling = nullptr;
    return pLast;
}

std::string CXmlElement::GetQName() const
{
    if (m_pDocument && !m_pNamespaceURI->empty())
    {
        std::string strPrefix = m_pDocument->LookupAliasFromNamespace(m_pNamespaceURI->c_str());
        if (!strPrefix.empty())
            return strPrefix + ":" + m_strLocalName;
    }
    return m_strLocalName;
}

std::string CXmlElement::GetNameWithPredicate() const
{
    std::string strQName = GetQName();
    if (!m_pParent)
        return strQName;
    int iPosition = 0, iCount = 0;
    for (const CXmlElement* p = m_pParent->m_pFirstChild; p; p = p->m_pNextSibling)
    {
        if (p->GetQName() != strQName)
            continue;
        ++iCount;
        if (p == this)
            iPosition = iCount;
    }
    if (iCount < 2)
        return strQName;
    return strQName + "[" + std::to_string(iPosition) + "]";
}

std::string CXmlElement::GetXPath() const
{
    // Iterative: the depth of a document must not reach the stack.
    std::vector<const CXmlElement*> chain;
    for (const CXmlElement* p = this; p; p = p->m_pParent)
        chain.push_back(p);
    std::string strPath;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
    {
        strPath += '/';
        strPath += (*it)->GetNameWithPredicate();
    }
    return strPath;
}

} // namespace KrXmlLib16
