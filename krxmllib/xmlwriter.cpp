#include "xmlwriter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <cassert>
#include <functional>
#include <string_view>
#include <vector>

#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

const char* const kXmlNamespaceUri = "http://www.w3.org/XML/1998/namespace";
const char* const kXmlSchemaInstanceUri = "http://www.w3.org/2001/XMLSchema-instance";

// ---- CNamespaceScope ----

namespace {

size_t HashText(const std::string& str)
{
    return std::hash<std::string_view>()(std::string_view(str));
}

// A set of strings, each entered once and given a number that never changes: an open hash
// table over them (entry: number + 1, 0 for none; at most half full, the size a power of two).
// Strings are never removed, so that probing needs no tombstones.
template <class TEntry>
class CInternTable
{
public:
    size_t Size() const { return m_entries.size(); }
    TEntry& operator[](size_t i) { return m_entries[i]; }
    const TEntry& operator[](size_t i) const { return m_entries[i]; }

    // The number of the string, or SIZE_MAX if it hasn't been entered.
    size_t Find(const std::string& str, size_t nHash) const
    {
        if (m_index.empty())
            return SIZE_MAX;
        const size_t nMask = m_index.size() - 1;
        for (size_t h = nHash & nMask;; h = (h + 1) & nMask)
        {
            uint32_t uEntry = m_index[h];
            if (uEntry == 0)
                return SIZE_MAX;
            const TEntry& entry = m_entries[uEntry - 1];
            if (entry.nHash == nHash && entry.str == str)
                return uEntry - 1;
        }
    }

    // The number of the string, entering it if it is new.
    size_t Intern(const std::string& str, size_t nHash)
    {
        size_t i = Find(str, nHash);
        if (i != SIZE_MAX)
            return i;
        if (m_entries.size() >= 0x7FFFFFFFu)
            throw CKrException("Too many namespaces in one document");
        if (2 * (m_entries.size() + 1) > m_index.size())
            Grow();
        m_entries.emplace_back();
        TEntry& entry = m_entries.back();
        try
        {
            entry.str.assign(str);
        }
        catch (...)
        {
            m_entries.pop_back();
            throw;
        }
        entry.nHash = nHash;
        Place(m_entries.size() - 1);
        return m_entries.size() - 1;
    }

private:
    void Grow()
    {
        std::vector<uint32_t>(m_index.empty() ? 64 : 2 * m_index.size(), 0u).swap(m_index);
        for (size_t i = 0; i < m_entries.size(); ++i)
            Place(i);
    }
    void Place(size_t i)
    {
        const size_t nMask = m_index.size() - 1;
        size_t h = m_entries[i].nHash & nMask;
        while (m_index[h] != 0)
            h = (h + 1) & nMask;
        m_index[h] = static_cast<uint32_t>(i + 1);
    }

    std::deque<TEntry> m_entries;  // a deque: references to entries stay valid as it grows
    std::vector<uint32_t> m_index;
};

const uint64_t kNoGeneratedIndex = UINT64_MAX;

// Generated aliases in the order GenerateNamespaceAlias tries them: "AA".."ZZ" are 0..675,
// "AAA".."ZZZ" follow, and so on. Other aliases have no place in that order.
uint64_t GeneratedAliasIndex(const std::string& strAlias)
{
    const size_t n = strAlias.size();
    if (n < 2 || n > 12)  // 26^12 and the shorter runs before it still fit in 64 bits
        return kNoGeneratedIndex;
    uint64_t qwBase = 0, qwRun = 26 * 26;
    for (size_t k = 2; k < n; ++k)
    {
        qwBase += qwRun;
        qwRun *= 26;
    }
    uint64_t v = 0;
    for (char c : strAlias)
    {
        if (c < 'A' || c > 'Z')
            return kNoGeneratedIndex;
        v = v * 26 + static_cast<uint64_t>(c - 'A');
    }
    return qwBase + v;
}

void GeneratedAliasText(uint64_t qwIndex, std::string& strAlias)
{
    size_t nLetters = 2;
    for (uint64_t qwRun = 26 * 26; qwIndex >= qwRun; qwRun *= 26, ++nLetters)
        qwIndex -= qwRun;
    strAlias.assign(nLetters, 'A');
    for (size_t k = nLetters; k-- > 0; qwIndex /= 26)
        strAlias[k] = static_cast<char>('A' + qwIndex % 26);
}

} // namespace

class CXmlWriter::CNamespaceScope
{
public:
    // Pops every binding: the scope of a new document.
    void Clear() { Unwind(-1); }

    // Pops the bindings of levels above nLevel: the declarations of ended elements, or of an
    // element whose start failed.
    void Unwind(int nLevel)
    {
        // Inline: most elements declare nothing, and this is all they cost.
        if (!m_bindings.empty() && m_bindings.back().nLevel > nLevel)
            UnwindBindings(nLevel);
    }

private:
    void UnwindBindings(int nLevel)
    {
        while (!m_bindings.empty() && m_bindings.back().nLevel > nLevel)
        {
            const Binding& b = m_bindings.back();
            UriEntry& uri = m_uris[b.nUri];
            Use(b.nAlias, -1);
            uri.nTop = b.nPrevTop;
            if (b.nPrevTop)
                Use(m_bindings[b.nPrevTop - 1].nAlias, +1);
            m_bindings.pop_back();
        }
    }

public:
    // The alias in force for the namespace as seen from level nLevel, or null. Bindings of
    // deeper levels still on the stack are passed over.
    const std::string* Find(const std::string& strNamespace, int nLevel) const
    {
        size_t i = m_uris.Find(strNamespace, HashText(strNamespace));
        if (i == SIZE_MAX)
            return nullptr;
        uint32_t nTop = m_uris[i].nTop;
        while (nTop && m_bindings[nTop - 1].nLevel > nLevel)
            nTop = m_bindings[nTop - 1].nPrevTop;
        return nTop ? &m_aliases[m_bindings[nTop - 1].nAlias].str : nullptr;
    }

    void Bind(int nLevel, const std::string& strNamespace, const std::string& strAlias)
    {
        Unwind(nLevel);
        if (m_bindings.size() >= 0xFFFFFFFEu)
            throw CKrException("Too many namespace declarations in one document");
        size_t nUri = m_uris.Intern(strNamespace, HashText(strNamespace));
        size_t nAlias = m_aliases.Intern(strAlias, HashText(strAlias));
        AliasEntry& alias = m_aliases[nAlias];
        if (alias.qwGenerated == kUnparsed)
            alias.qwGenerated = GeneratedAliasIndex(strAlias);
        m_bindings.push_back(Binding{static_cast<uint32_t>(nUri), static_cast<uint32_t>(nAlias),
                                     m_uris[nUri].nTop, nLevel});
        UriEntry& uri = m_uris[nUri];
        if (uri.nTop)
            Use(m_bindings[uri.nTop - 1].nAlias, -1);
        uri.nTop = static_cast<uint32_t>(m_bindings.size());
        Use(nAlias, +1);
    }

    // The first generated alias no namespace in force at nLevel has.
    std::string Generate(int nLevel)
    {
        Unwind(nLevel);
        uint64_t qwIndex = m_taken.FirstFree(*this);
        std::string strAlias;
        GeneratedAliasText(qwIndex, strAlias);
        return strAlias;
    }

    // The map in force at nLevel, entry by entry: the stack is ordered by level.
    void BuildMap(int nLevel, NamespaceMap& map) const
    {
        for (const Binding& b : m_bindings)
        {
            if (b.nLevel > nLevel)
                break;
            map[m_uris[b.nUri].str] = m_aliases[b.nAlias].str;
        }
    }

private:
    static const uint64_t kUnparsed = UINT64_MAX - 1;

    struct UriEntry
    {
        std::string str;
        size_t nHash = 0;
        uint32_t nTop = 0;  // the innermost binding + 1, 0 for none
    };
    struct AliasEntry
    {
        std::string str;
        size_t nHash = 0;
        uint32_t nUses = 0;  // namespaces whose innermost binding has this alias
        uint64_t qwGenerated = kUnparsed;
    };
    struct Binding
    {
        uint32_t nUri;
        uint32_t nAlias;
        uint32_t nPrevTop;  // the binding of the namespace it hides + 1, 0 for none
        int nLevel;
    };

    // Which generated aliases are taken, as bits over the first of them: enough to hold the
    // answer, grown when every alias it covers is taken. Its summary marks full words.
    class CTakenSet
    {
    public:
        void Set(uint64_t qwIndex, bool bTaken)
        {
            if (qwIndex >= m_nCapacity)
                return;  // looked up when the set grows over it
            const size_t nWord = static_cast<size_t>(qwIndex / 64);
            const uint64_t qwBit = uint64_t(1) << (qwIndex % 64);
            if (bTaken)
            {
                m_words[nWord] |= qwBit;
                if (m_words[nWord] == ~uint64_t(0))
                    m_summary[nWord / 64] |= uint64_t(1) << (nWord % 64);
            }
            else
            {
                m_words[nWord] &= ~qwBit;
                m_summary[nWord / 64] &= ~(uint64_t(1) << (nWord % 64));
                if (qwIndex < m_qwHint)
                    m_qwHint = qwIndex;
            }
        }

        uint64_t FirstFree(const CNamespaceScope& scope)
        {
            for (;;)
            {
                // Nothing below the hint is free; words are skipped by the summary.
                size_t nWord = static_cast<size_t>(m_qwHint / 64);
                while (nWord < m_words.size())
                {
                    const size_t nSummary = nWord / 64;
                    const uint64_t qwFull = m_summary[nSummary] >> (nWord % 64);
                    if (qwFull == (~uint64_t(0) >> (nWord % 64)))
                    {
                        nWord = (nSummary + 1) * 64;  // all the rest of this summary word is full
                        continue;
                    }
                    nWord += static_cast<size_t>(__builtin_ctzll(~qwFull));
                    const uint64_t qwFree = ~m_words[nWord];
                    m_qwHint = uint64_t(nWord) * 64 + static_cast<uint64_t>(__builtin_ctzll(qwFree));
                    return m_qwHint;
                }
                Grow(scope);
            }
        }

    private:
        void Grow(const CNamespaceScope& scope)
        {
            const size_t nOld = m_nCapacity;
            const size_t nNew = nOld ? 2 * nOld : 4096;
            m_words.resize(nNew / 64, 0);
            m_summary.resize((nNew / 64 + 63) / 64, 0);
            m_nCapacity = nNew;
            m_qwHint = nOld;
            std::string strAlias;
            for (size_t i = nOld; i < nNew; ++i)
            {
                GeneratedAliasText(i, strAlias);
                size_t nAlias = scope.m_aliases.Find(strAlias, HashText(strAlias));
                if (nAlias != SIZE_MAX && scope.m_aliases[nAlias].nUses)
                    Set(i, true);
            }
            // The hint went up to nOld, below which everything was taken.
            m_qwHint = nOld;
        }

        std::vector<uint64_t> m_words;
        std::vector<uint64_t> m_summary;
        size_t m_nCapacity = 0;
        uint64_t m_qwHint = 0;
    };

    void Use(uint32_t nAlias, int iDelta)
    {
        AliasEntry& alias = m_aliases[nAlias];
        alias.nUses = static_cast<uint32_t>(static_cast<int64_t>(alias.nUses) + iDelta);
        if (alias.qwGenerated != kNoGeneratedIndex && (alias.nUses == 0 || (alias.nUses == 1 && iDelta > 0)))
            m_taken.Set(alias.qwGenerated, alias.nUses != 0);
    }

    CInternTable<UriEntry> m_uris;
    CInternTable<AliasEntry> m_aliases;
    std::vector<Binding> m_bindings;
    CTakenSet m_taken;
};

// ---- CXmlWriterContext ----

CXmlWriter::CXmlWriterContext::CXmlWriterContext(const std::string& strName, const std::string& strNamespace,
                                                 CXmlWriterContext* pParent)
    : CInstanceMonitor("CXmlWriterContext"), m_nChildElements(0), m_bStartTagOpen(true), m_nDepth(0),
      m_pParent(nullptr), m_bFIHeaderDone(false), m_iArrayState(0), m_bInheritsScope(false), m_nPosition(0),
      m_pScopeDefaultNamespace(&m_strDefaultNamespace), m_pScope(nullptr), m_bOwnsScope(false), m_nScopeLevel(0),
      m_nChildNames(0), m_bNameIndexInUse(false)
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
        if (m_bOwnsScope)
            delete m_pScope;
        throw;
    }
}

CXmlWriter::CXmlWriterContext::CXmlWriterContext(const std::string& strName, const std::string& strNamespace,
                                                 const std::string& strDefaultNamespace,
                                                 const NamespaceMap& namespaces, CXmlWriterContext* pParent)
    : CInstanceMonitor("CXmlWriterContext"), m_nChildElements(0), m_bStartTagOpen(true), m_nDepth(0),
      m_pParent(nullptr), m_bFIHeaderDone(false), m_iArrayState(0), m_bInheritsScope(false), m_nPosition(0),
      m_pScopeDefaultNamespace(&m_strDefaultNamespace), m_pScope(nullptr), m_bOwnsScope(false), m_nScopeLevel(0),
      m_nChildNames(0), m_bNameIndexInUse(false)
{
    try
    {
        ResetRoot(strName, strNamespace, strDefaultNamespace, namespaces);
    }
    catch (...)
    {
        if (m_bOwnsScope)
            delete m_pScope;
        throw;
    }
    if (pParent)
        m_nDepth = pParent->m_nDepth + 1;
    m_pParent = pParent;  // owned only once construction can no longer fail
}

CXmlWriter::CXmlWriterContext::~CXmlWriterContext()
{
    if (m_bOwnsScope)
        delete m_pScope;
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
    if (m_bOwnsScope)
    {
        // Once a root elsewhere: its stack isn't needed at this depth.
        delete m_pScope;
        m_bOwnsScope = false;
    }
    m_pScope = pParent->m_pScope;
    m_nScopeLevel = pParent->m_nScopeLevel + 1;
    // What an earlier element at this depth declared, if its end never came, ends here.
    m_pScope->Unwind(pParent->m_nScopeLevel);
    m_pScopeDefaultNamespace = pParent->m_pScopeDefaultNamespace;
    m_bInheritsScope = true;
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
    if (!m_bOwnsScope)
    {
        m_pScope = new CNamespaceScope;
        m_bOwnsScope = true;
    }
    m_nScopeLevel = 0;
    m_pScope->Clear();
    for (const NamespaceMap::value_type& entry : namespaces)
        m_pScope->Bind(0, entry.first, entry.second);
    m_nChildElements = 0;
    m_bStartTagOpen = true;
    m_nDepth = 0;
    m_pParent = nullptr;
    m_bFIHeaderDone = false;
    m_iArrayState = 0;
    m_pScopeDefaultNamespace = &m_strDefaultNamespace;
    m_bInheritsScope = false;
    m_nPosition = 0;
    ClearChildNames();
}

const std::string& CXmlWriter::CXmlWriterContext::GetNamespaceMapValue(const std::string& strNamespace) const
{
    static const std::string s_strEmpty;
    const std::string* pAlias = m_pScope->Find(strNamespace, m_nScopeLevel);
    return pAlias ? *pAlias : s_strEmpty;
}

CXmlWriter::NamespaceMap CXmlWriter::CXmlWriterContext::GetNamespaceMap() const
{
    NamespaceMap map;
    m_pScope->BuildMap(m_nScopeLevel, map);
    return map;
}

void CXmlWriter::CXmlWriterContext::SetNamespaceMapValue(const std::string& strNamespace, const std::string& strAlias)
{
    m_pScope->Bind(m_nScopeLevel, strNamespace, strAlias);
    m_bInheritsScope = false;
}

void CXmlWriter::CXmlWriterContext::SetDefaultNamespace(const std::string& strNamespace)
{
    m_strDefaultNamespace = strNamespace;
    m_pScopeDefaultNamespace = &m_strDefaultNamespace;
    m_bInheritsScope = false;
}

std::string CXmlWriter::CXmlWriterContext::GenerateNamespaceAlias()
{
    return m_pScope->Generate(m_nScopeLevel);
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
    ClearTagAttributes();
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
    // The element's declarations end with it.
    m_pContext->m_pScope->Unwind(m_pContext->m_nScopeLevel - 1);
    m_pContext = m_pContext->m_pParent;
}

namespace {

// Linear search serves up to this many attributes on one tag; an index takes over beyond.
const size_t kLinearTagAttributes = 8;
// An attribute index larger than this isn't kept for the next tag.
const size_t kKeptAttributeIndex = 1024;

size_t HashAttributeName(std::string_view name, std::string_view ns)
{
    size_t h = std::hash<std::string_view>()(name);
    if (!ns.empty())
        h ^= std::hash<std::string_view>()(ns) * 31 + 0x9E3779B9u;
    return h;
}

} // namespace

void CXmlWriter::ClearTagAttributes()
{
    m_nTagAttributes = 0;
    m_tagAttributeText.clear();
    if (!m_bAttributeIndexInUse)
        return;
    m_bAttributeIndexInUse = false;
    if (m_attributeIndex.size() > kKeptAttributeIndex)
    {
        // What one very large tag needed isn't kept for all the tags after it.
        std::vector<uint32_t>().swap(m_attributeIndex);
        std::vector<CTagAttribute>().swap(m_tagAttributes);
        std::string().swap(m_tagAttributeText);
    }
    else
        std::fill(m_attributeIndex.begin(), m_attributeIndex.end(), 0u);
}

void CXmlWriter::IndexTagAttribute(size_t nPosition)
{
    // At most half full, so that probes stay short and always end.
    const size_t nNeeded = 2 * (nPosition + 1);
    if (!m_bAttributeIndexInUse || nNeeded > m_attributeIndex.size())
    {
        if (nNeeded > m_attributeIndex.size())
        {
            size_t nSize = 64;
            while (nSize < 2 * nNeeded)
                nSize *= 2;
            std::vector<uint32_t>(nSize, 0u).swap(m_attributeIndex);
        }
        // else the kept table, which is empty while not in use
        m_bAttributeIndexInUse = true;
        for (size_t i = 0; i < nPosition; ++i)
            IndexTagAttribute(i);
    }
    const size_t nMask = m_attributeIndex.size() - 1;
    const CTagAttribute& attr = m_tagAttributes[nPosition];
    const char* p = m_tagAttributeText.data() + attr.nStart;
    size_t h = HashAttributeName(std::string_view(p, attr.nNameLen),
                                 std::string_view(p + attr.nNameLen, attr.nNamespaceLen)) & nMask;
    while (m_attributeIndex[h] != 0)
        h = (h + 1) & nMask;
    m_attributeIndex[h] = static_cast<uint32_t>(nPosition + 1);
}

bool CXmlWriter::IsRepeatedAttribute(const std::string& strName, const std::string& strNamespace,
                                     const std::string& strValue)
{
    const CTagAttribute* pSeen = nullptr;
    auto same = [&](const CTagAttribute& seen) {
        const char* p = m_tagAttributeText.data() + seen.nStart;
        return seen.nNameLen == strName.size() && seen.nNamespaceLen == strNamespace.size() &&
               std::memcmp(p, strName.data(), strName.size()) == 0 &&
               std::memcmp(p + seen.nNameLen, strNamespace.data(), strNamespace.size()) == 0;
    };
    if (!m_bAttributeIndexInUse)
    {
        for (size_t i = 0; i < m_nTagAttributes && !pSeen; ++i)
            if (same(m_tagAttributes[i]))
                pSeen = &m_tagAttributes[i];
    }
    else
    {
        const size_t nMask = m_attributeIndex.size() - 1;
        for (size_t h = HashAttributeName(strName, strNamespace) & nMask;; h = (h + 1) & nMask)
        {
            uint32_t uEntry = m_attributeIndex[h];
            if (uEntry == 0)
                break;
            if (same(m_tagAttributes[uEntry - 1]))
            {
                pSeen = &m_tagAttributes[uEntry - 1];
                break;
            }
        }
    }
    if (pSeen)
    {
        const char* pValue = m_tagAttributeText.data() + pSeen->nStart + pSeen->nNameLen + pSeen->nNamespaceLen;
        if (std::string_view(pValue, pSeen->nValueLen) != std::string_view(strValue))
            throw CKrException(FormatString("The attribute [%s] is written twice on one element, as [%s] and as [%s]",
                                            strName.c_str(), std::string(pValue, pSeen->nValueLen).c_str(),
                                            strValue.c_str()));
        return true;
    }
    if (m_nTagAttributes >= 0xFFFFFFFEu)
        throw CKrException("Too many attributes on one element");
    if (m_nTagAttributes == m_tagAttributes.size())
        m_tagAttributes.emplace_back();
    const size_t nStart = m_tagAttributeText.size();
    try
    {
        m_tagAttributeText.append(strName).append(strNamespace).append(strValue);
    }
    catch (...)
    {
        m_tagAttributeText.resize(nStart);
        throw;
    }
    m_tagAttributes[m_nTagAttributes] = CTagAttribute{nStart, strName.size(), strNamespace.size(), strValue.size()};
    if (m_bAttributeIndexInUse || m_nTagAttributes + 1 > kLinearTagAttributes)
        IndexTagAttribute(m_nTagAttributes);
    ++m_nTagAttributes;
    return false;
}

} // namespace KrXmlLib16
