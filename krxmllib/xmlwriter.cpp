#include "xmlwriter.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <string_view>
#include <vector>

#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

const char* const kXmlNamespaceUri = "http://www.w3.org/XML/1998/namespace";
const char* const kXmlSchemaInstanceUri = "http://www.w3.org/2001/XMLSchema-instance";

// ---- CXmlWriterContext ----

CXmlWriter::CXmlWriterContext::CXmlWriterContext(const std::string& strName, const std::string& strNamespace,
                                                 CXmlWriterContext* pParent)
    : CInstanceMonitor("CXmlWriterContext"), m_nChildElements(0), m_bStartTagOpen(true), m_nDepth(0),
      m_pParent(nullptr), m_bFIHeaderDone(false), m_iArrayState(0), m_pNamespaceMap(nullptr),
      m_bInheritsScope(false), m_bOwnsMap(false), m_nPosition(0), m_pScopeDefaultNamespace(&m_strDefaultNamespace),
      m_pMapStorage(nullptr), m_nChildNames(0), m_bNameIndexInUse(false)
{
    try
    {
        if (pParent)
            Reset(strName, strNamespace, pParent);
        else
            // Without a parent there is nothing to inherit: an empty scope of its own.
            ResetRoot(strName, strNamespace, std::string(), NamespaceMap());
    }
    catch (...)
    {
        m_pParent = nullptr;  // not owned until construction is complete
        delete m_pMapStorage;
        throw;
    }
}

CXmlWriter::CXmlWriterContext::CXmlWriterContext(const std::string& strName, const std::string& strNamespace,
                                                 const std::string& strDefaultNamespace,
                                                 const NamespaceMap& namespaces, CXmlWriterContext* pParent)
    : CInstanceMonitor("CXmlWriterContext"), m_nChildElements(0), m_bStartTagOpen(true), m_nDepth(0),
      m_pParent(nullptr), m_bFIHeaderDone(false), m_iArrayState(0), m_pNamespaceMap(nullptr),
      m_bInheritsScope(false), m_bOwnsMap(false), m_nPosition(0), m_pScopeDefaultNamespace(&m_strDefaultNamespace),
      m_pMapStorage(nullptr), m_nChildNames(0), m_bNameIndexInUse(false)
{
    try
    {
        ResetRoot(strName, strNamespace, strDefaultNamespace, namespaces);
    }
    catch (...)
    {
        delete m_pMapStorage;
        throw;
    }
    if (pParent)
        m_nDepth = pParent->m_nDepth + 1;
    m_pParent = pParent;  // owned only once construction can no longer fail
}

CXmlWriter::CXmlWriterContext::~CXmlWriterContext()
{
    delete m_pMapStorage;
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

void CXmlWriter::CXmlWriterContext::Reset(const std::string& strName, const std::string& strNamespace,
                                          CXmlWriterContext* pParent)
{
    // The names first: they are all that can fail, and the rest then stays consistent. The
    // namespace is mostly the one the context had before.
    m_strName.assign(strName);
    if (m_strNamespace != strNamespace)
        m_strNamespace.assign(strNamespace);
    m_strPrefix.clear();
    m_nChildElements = 0;
    m_bStartTagOpen = true;
    m_nDepth = pParent->m_nDepth + 1;
    m_pParent = pParent;
    m_bFIHeaderDone = false;
    m_iArrayState = 0;
    m_pNamespaceMap = pParent->m_pNamespaceMap;
    m_pScopeDefaultNamespace = pParent->m_pScopeDefaultNamespace;
    m_bInheritsScope = true;
    m_bOwnsMap = false;
    m_nPosition = 0;
    ClearChildNames();
}

void CXmlWriter::CXmlWriterContext::ResetRoot(const std::string& strName, const std::string& strNamespace,
                                              const std::string& strDefaultNamespace, const NamespaceMap& namespaces)
{
    m_strName.assign(strName);
    m_strNamespace.assign(strNamespace);
    m_strPrefix.clear();
    m_strDefaultNamespace.assign(strDefaultNamespace);
    if (!m_pMapStorage)
        m_pMapStorage = new NamespaceMap(namespaces);
    else
        *m_pMapStorage = namespaces;
    m_nChildElements = 0;
    m_bStartTagOpen = true;
    m_nDepth = 0;
    m_pParent = nullptr;
    m_bFIHeaderDone = false;
    m_iArrayState = 0;
    m_pNamespaceMap = m_pMapStorage;
    m_pScopeDefaultNamespace = &m_strDefaultNamespace;
    m_bInheritsScope = false;
    m_bOwnsMap = true;
    m_nPosition = 0;
    ClearChildNames();
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
    // Copies into the kept storage; a failure leaves the context on its inherited scope.
    if (!m_pMapStorage)
        m_pMapStorage = new NamespaceMap(*m_pNamespaceMap);
    else
        *m_pMapStorage = *m_pNamespaceMap;
    m_strDefaultNamespace.assign(*m_pScopeDefaultNamespace);
    m_pNamespaceMap = m_pMapStorage;
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

namespace {

// Linear search serves up to this many distinct names; an index takes over beyond.
const size_t kLinearChildNames = 16;
// An index larger than this isn't kept for the next element at the same depth.
const size_t kKeptNameIndex = 1024;

size_t HashChildName(const std::string& strPrefix, const std::string& strName)
{
    size_t h = std::hash<std::string_view>()(std::string_view(strName));
    if (!strPrefix.empty())
        h ^= std::hash<std::string_view>()(std::string_view(strPrefix)) * 31 + 0x9E3779B9u;
    return h;
}

uint32_t ChildNameKey(const std::string& strPrefix, const std::string& strName)
{
    const size_t n = strName.size();
    uint32_t dwKey = static_cast<uint32_t>(n) ^ (static_cast<uint32_t>(strPrefix.size()) << 5);
    if (n)
        dwKey ^= (static_cast<uint32_t>(static_cast<unsigned char>(strName[0])) << 8) ^
                 (static_cast<uint32_t>(static_cast<unsigned char>(strName[n / 2])) << 16) ^
                 (static_cast<uint32_t>(static_cast<unsigned char>(strName[n - 1])) << 24);
    return dwKey;
}

} // namespace

void CXmlWriter::CXmlWriterContext::ClearChildNames()
{
    m_nChildNames = 0;
    if (!m_bNameIndexInUse)
        return;
    m_bNameIndexInUse = false;
    if (m_nameIndex.size() > kKeptNameIndex)
        std::vector<uint32_t>().swap(m_nameIndex);
    else
        std::fill(m_nameIndex.begin(), m_nameIndex.end(), 0u);
}

size_t CXmlWriter::CXmlWriterContext::FindChildName(uint32_t dwKey, const std::string& strPrefix,
                                                    const std::string& strName) const
{
    if (!m_bNameIndexInUse)
    {
        // From the last name backwards: a run of one name, the common repeat, is found at once.
        for (size_t i = m_nChildNames; i-- > 0;)
        {
            const ChildName& child = m_childNames[i];
            if (child.dwKey == dwKey && child.strName == strName && child.strPrefix == strPrefix)
                return i;
        }
        return m_nChildNames;
    }
    size_t nMask = m_nameIndex.size() - 1;
    for (size_t h = HashChildName(strPrefix, strName) & nMask;; h = (h + 1) & nMask)
    {
        uint32_t uEntry = m_nameIndex[h];
        if (uEntry == 0)
            return m_nChildNames;
        const ChildName& child = m_childNames[uEntry - 1];
        if (child.dwKey == dwKey && child.strName == strName && child.strPrefix == strPrefix)
            return uEntry - 1;
    }
}

void CXmlWriter::CXmlWriterContext::IndexChildName(size_t nPosition)
{
    // At most half full, so that probes stay short and always end.
    size_t nNeeded = 2 * (m_nChildNames + 1);
    if (!m_bNameIndexInUse || nNeeded > m_nameIndex.size())
    {
        // A new table, or the kept one, which is empty while not in use.
        if (nNeeded > m_nameIndex.size())
        {
            size_t nSize = 64;
            while (nSize < 2 * nNeeded)
                nSize *= 2;
            std::vector<uint32_t>(nSize, 0u).swap(m_nameIndex);
        }
        m_bNameIndexInUse = true;
        for (size_t i = 0; i < m_nChildNames; ++i)
            IndexChildName(i);
    }
    size_t nMask = m_nameIndex.size() - 1;
    size_t h = HashChildName(m_childNames[nPosition].strPrefix, m_childNames[nPosition].strName) & nMask;
    while (m_nameIndex[h] != 0)
        h = (h + 1) & nMask;
    m_nameIndex[h] = static_cast<uint32_t>(nPosition + 1);
}

uint32_t CXmlWriter::CXmlWriterContext::CountChild(const std::string& strPrefix, const std::string& strName)
{
    const uint32_t dwKey = ChildNameKey(strPrefix, strName);
    size_t i = FindChildName(dwKey, strPrefix, strName);
    if (i < m_nChildNames)
        return ++m_childNames[i].nCount;
    if (m_nChildNames == m_childNames.size())
        m_childNames.emplace_back();
    ChildName& child = m_childNames[m_nChildNames];
    // An entry left from the previous element at this depth often holds the very name already:
    // siblings tend to come in the same order in every element.
    if (child.dwKey != dwKey || child.strName != strName || child.strPrefix != strPrefix)
    {
        child.strPrefix.assign(strPrefix);
        child.strName.assign(strName);
        child.dwKey = dwKey;
    }
    child.nCount = 1;
    if (m_bNameIndexInUse || m_nChildNames + 1 > kLinearChildNames)
        IndexChildName(m_nChildNames);
    ++m_nChildNames;
    return 1;
}

std::string CXmlWriter::CXmlWriterContext::GetXPath() const
{
    std::vector<const CXmlWriterContext*> chain;
    for (const CXmlWriterContext* p = this; p; p = p->m_pParent)
        chain.push_back(p);
    std::string strPath;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
    {
        strPath += '/';
        if (!(*it)->m_strPrefix.empty())
        {
            strPath += (*it)->m_strPrefix;
            strPath += ':';
        }
        strPath += (*it)->m_strName;
        if ((*it)->m_nPosition > 1)
        {
            strPath += '[';
            strPath += std::to_string((*it)->m_nPosition);
            strPath += ']';
        }
    }
    return strPath;
}

// ---- CXmlWriter ----

CXmlWriter::CXmlWriter(const char* lpClassName) : CInstanceMonitor(lpClassName), m_pContext(nullptr)
{
    m_namespaces[kXmlNamespaceUri] = "xml";
}

CXmlWriter::~CXmlWriter()
{
    // The open contexts are among these; each is freed alone.
    for (CXmlWriterContext* p : m_contextPool)
    {
        if (p)
            p->m_pParent = nullptr;
        delete p;
    }
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
                                                         const std::string& strNamespace)
{
    m_nTagAttributes = 0;
    size_t nDepth = m_pContext ? static_cast<size_t>(m_pContext->m_nDepth) + 1 : 0;
    if (nDepth >= m_contextPool.size())
        m_contextPool.resize(nDepth + 1, nullptr);
    CXmlWriterContext*& pSlot = m_contextPool[nDepth];
    if (!pSlot)
    {
        // The first element at this depth. The parent link it makes is cleared before the
        // writer deletes it, like that of every reused context.
        pSlot = m_pContext ? new CXmlWriterContext(strName, strNamespace, m_pContext)
                           : new CXmlWriterContext(strName, strNamespace, m_strDefaultNamespace, m_namespaces, nullptr);
        return pSlot;
    }
    if (m_pContext)
        pSlot->Reset(strName, strNamespace, m_pContext);
    else
        pSlot->ResetRoot(strName, strNamespace, m_strDefaultNamespace, m_namespaces);
    return pSlot;
}

void CXmlWriter::CountChildOfParent(CXmlWriterContext* pContext)
{
    pContext->m_nPosition =
        pContext->m_pParent ? pContext->m_pParent->CountChild(pContext->m_strPrefix, pContext->m_strName) : 1;
}

void CXmlWriter::PushContext(CXmlWriterContext* pContext)
{
    if (pContext->m_nPosition == 0)
        CountChildOfParent(pContext);
    m_pContext = pContext;
}

void CXmlWriter::PopContext()
{
    assert(m_pContext != 0);
    m_pContext = m_pContext->m_pParent;
}

bool CXmlWriter::IsRepeatedAttribute(const std::string& strName, const std::string& strNamespace,
                                     const std::string& strValue)
{
    for (size_t i = 0; i < m_nTagAttributes; ++i)
    {
        const CTagAttribute& seen = m_tagAttributes[i];
        if (seen.strName != strName || seen.strNamespace != strNamespace)
            continue;
        if (seen.strValue != strValue)
            throw CKrException(FormatString("The attribute [%s] is written twice on one element, as [%s] and as [%s]",
                                            strName.c_str(), seen.strValue.c_str(), strValue.c_str()));
        return true;
    }
    if (m_nTagAttributes == m_tagAttributes.size())
        m_tagAttributes.emplace_back();
    CTagAttribute& entry = m_tagAttributes[m_nTagAttributes++];
    entry.strName.assign(strName);
    entry.strNamespace.assign(strNamespace);
    entry.strValue.assign(strValue);
    return false;
}

} // namespace KrXmlLib16
