#include "xmlwriter.h"

#include <algorithm>
#include <cassert>
#include <vector>

#include "krexception.h"

namespace KrXmlLib16 {

const char* const kXmlNamespaceUri = "http://www.w3.org/XML/1998/namespace";
const char* const kXmlSchemaInstanceUri = "http://www.w3.org/2001/XMLSchema-instance";

// ---- CXmlWriterContext ----

CXmlWriter::CXmlWriterContext::CXmlWriterContext(const std::string& strName, const std::string& strNamespace,
                                                 CXmlWriterContext* pParent)
    : CInstanceMonitor("CXmlWriterContext"), m_nChildElements(0), m_bStartTagOpen(true),
      m_nDepth(pParent ? pParent->m_nDepth + 1 : 0), m_strNamespace(strNamespace), m_strName(strName),
      m_pParent(pParent), m_bFIHeaderDone(false), m_iArrayState(0),
      m_pNamespaceMap(pParent ? pParent->m_pNamespaceMap : nullptr), m_bInheritsScope(pParent != nullptr),
      m_bOwnsMap(false), m_pScopeDefaultNamespace(pParent ? pParent->m_pScopeDefaultNamespace : &m_strDefaultNamespace)
{
    if (!pParent)
    {
        // Without a parent there is nothing to inherit: an empty scope of its own.
        m_pNamespaceMap = new NamespaceMap();
        m_bOwnsMap = true;
    }
}

CXmlWriter::CXmlWriterContext::CXmlWriterContext(const std::string& strName, const std::string& strNamespace,
                                                 const std::string& strDefaultNamespace,
                                                 const NamespaceMap& namespaces, CXmlWriterContext* pParent)
    : CInstanceMonitor("CXmlWriterContext"), m_nChildElements(0), m_bStartTagOpen(true),
      m_nDepth(pParent ? pParent->m_nDepth + 1 : 0), m_strNamespace(strNamespace), m_strName(strName),
      m_pParent(nullptr), m_bFIHeaderDone(false), m_iArrayState(0), m_strDefaultNamespace(strDefaultNamespace),
      m_pNamespaceMap(new NamespaceMap(namespaces)), m_bInheritsScope(false), m_bOwnsMap(true),
      m_pScopeDefaultNamespace(&m_strDefaultNamespace)
{
    m_pParent = pParent;  // owned only once construction can no longer fail
}

CXmlWriter::CXmlWriterContext::~CXmlWriterContext()
{
    if (m_bOwnsMap)
        delete m_pNamespaceMap;
    // The chain is freed in a loop, so that a deep document can't exhaust the stack.
    CXmlWriterContext* p = m_pParent;
    m_pParent = nullptr;
    while (p)
    {
        CXmlWriterContext* pNext = p->m_pParent;
        p->m_pParent = nullptr;
        delete p;
        p = pNext;
    }
}

const std::string& CXmlWriter::CXmlWriterContext::GetNamespaceMapValue(const std::string& strNamespace) const
{
    static const std::string s_strEmpty;
    NamespaceMap::const_iterator it = m_pNamespaceMap->find(strNamespace);
    return it == m_pNamespaceMap->end() ? s_strEmpty : it->second;
}

void CXmlWriter::CXmlWriterContext::MakeOwnScope()
{
    if (!m_bInheritsScope)
        return;
    NamespaceMap* pCopy = new NamespaceMap(*m_pNamespaceMap);
    m_strDefaultNamespace = *m_pScopeDefaultNamespace;
    m_pNamespaceMap = pCopy;
    m_bOwnsMap = true;
    m_bInheritsScope = false;
    m_pScopeDefaultNamespace = &m_strDefaultNamespace;
}

void CXmlWriter::CXmlWriterContext::SetNamespaceMapValue(const std::string& strNamespace, const std::string& strAlias)
{
    MakeOwnScope();
    (*m_pNamespaceMap)[strNamespace] = strAlias;
}

void CXmlWriter::CXmlWriterContext::SetDefaultNamespace(const std::string& strNamespace)
{
    MakeOwnScope();
    m_strDefaultNamespace = strNamespace;
}

// ---- CXmlWriter ----

CXmlWriter::CXmlWriter(const char* lpClassName) : CInstanceMonitor(lpClassName), m_pContext(nullptr)
{
    m_namespaces[kXmlNamespaceUri] = "xml";
}

CXmlWriter::~CXmlWriter()
{
    delete m_pContext;
}

void CXmlWriter::StartDocument() {}

void CXmlWriter::EndDocument()
{
    if (m_pContext)
        throw CKrException("An Element has not been closed.");
}

void CXmlWriter::SetDefaultNamespace(const std::string& strNamespace)
{
    if (m_pContext)
        m_pContext->SetDefaultNamespace(strNamespace);
    else
        m_strDefaultNamespace = strNamespace;
}

void CXmlWriter::AddNamespaceAlias(const std::string& strAlias, const std::string& strNamespace)
{
    if (m_pContext)
        m_pContext->SetNamespaceMapValue(strNamespace, strAlias);
    else
        m_namespaces[strNamespace] = strAlias;
}

void CXmlWriter::SetArrayState(int iState)
{
    if (!m_pContext)
        return;
    int iOld = m_pContext->m_iArrayState;
    m_pContext->m_iArrayState = iState;
    OnArrayStateChanged(m_pContext, iOld);
}

void CXmlWriter::OnArrayStateChanged(CXmlWriterContext*, int) {}

std::string CXmlWriter::GenerateNamespaceAlias(const NamespaceMap& map)
{
    std::vector<const std::string*> used;
    used.reserve(map.size());
    for (const NamespaceMap::value_type& entry : map)
        used.push_back(&entry.second);
    std::sort(used.begin(), used.end(), [](const std::string* a, const std::string* b) { return *a < *b; });

    // Two letters give 676 aliases; a scope with more goes on with three letters, and so on.
    std::string strAlias;
    for (size_t nLetters = 2;; ++nLetters)
    {
        uint64_t qwCount = 1;
        for (size_t k = 0; k < nLetters; ++k)
            qwCount *= 26;
        for (uint64_t i = 0; i < qwCount; ++i)
        {
            strAlias.assign(nLetters, 'A');
            uint64_t v = i;
            for (size_t k = nLetters; k-- > 0; v /= 26)
                strAlias[k] = static_cast<char>('A' + v % 26);
            bool bTaken = std::binary_search(used.begin(), used.end(), &strAlias,
                                             [](const std::string* a, const std::string* b) { return *a < *b; });
            if (!bTaken)
                return strAlias;
        }
    }
}

CXmlWriter::CXmlWriterContext* CXmlWriter::CreateContext(const std::string& strName,
                                                         const std::string& strNamespace) const
{
    if (m_pContext)
        return new CXmlWriterContext(strName, strNamespace, m_pContext);
    return new CXmlWriterContext(strName, strNamespace, m_strDefaultNamespace, m_namespaces, nullptr);
}

void CXmlWriter::PopContext()
{
    assert(m_pContext != 0);
    CXmlWriterContext* pContext = m_pContext;
    m_pContext = pContext->m_pParent;
    pContext->m_pParent = nullptr;
    delete pContext;
}

} // namespace KrXmlLib16
