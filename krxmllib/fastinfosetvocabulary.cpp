#include "fastinfosetvocabulary.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "xmlwriter.h"

namespace KrXmlLib16 {

// ---- IndexMap ----

uint32_t CFIVocabulary::IndexMap::Hash(const std::string& strKey)
{
    // FNV-1a, folded so that the low bits, which pick the slot, see all of it.
    uint32_t h = 2166136261u;
    for (char c : strKey)
        h = (h ^ static_cast<unsigned char>(c)) * 16777619u;
    return h ^ (h >> 15);
}

const CFIVocabulary::IndexMap::Slot& CFIVocabulary::IndexMap::Probe(const std::string& strKey, uint32_t dwHash) const
{
    const size_t nMask = m_slots.size() - 1;
    for (size_t i = dwHash & nMask;; i = (i + 1) & nMask)
    {
        const Slot& slot = m_slots[i];
        if (slot.dwEntry == 0 || (slot.dwHash == dwHash && m_entries[slot.dwEntry - 1].first == strKey))
            return slot;
    }
}

const CFIVocabulary::IndexMap::value_type* CFIVocabulary::IndexMap::find(const std::string& strKey) const
{
    if (m_entries.empty())
        return nullptr;
    const Slot& slot = Probe(strKey, Hash(strKey));
    return slot.dwEntry ? &m_entries[slot.dwEntry - 1] : nullptr;
}

bool CFIVocabulary::IndexMap::emplace(const std::string& strKey, uint32_t dwIndex)
{
    if (2 * (m_entries.size() + 1) > m_slots.size())
        Grow();
    uint32_t dwHash = Hash(strKey);
    Slot& slot = const_cast<Slot&>(Probe(strKey, dwHash));
    if (slot.dwEntry)
        return false;
    m_entries.emplace_back(strKey, dwIndex);
    slot.dwHash = dwHash;
    slot.dwEntry = static_cast<uint32_t>(m_entries.size());
    return true;
}

void CFIVocabulary::IndexMap::Grow()
{
    std::vector<Slot> slots(m_slots.empty() ? 16 : 2 * m_slots.size(), Slot{0, 0});
    const size_t nMask = slots.size() - 1;
    for (const Slot& old : m_slots)
    {
        if (!old.dwEntry)
            continue;
        size_t i = old.dwHash & nMask;
        while (slots[i].dwEntry)
            i = (i + 1) & nMask;
        slots[i] = old;
    }
    m_slots.swap(slots);
}

// ---- CFIVocabulary ----

CFIVocabulary::CFIVocabulary()
{
    AddPrefixName("xml");
    AddNamespaceName(kXmlNamespaceUri);
    m_restrictedAlphabets.push_back("0123456789-+.e ");
    m_restrictedAlphabets.push_back("0123456789-:TZ ");
}

CFIVocabulary::~CFIVocabulary() = default;

CFIVocabulary::CFIVocabulary(const CFIVocabulary& other) = default;

CFIVocabulary& CFIVocabulary::operator=(const CFIVocabulary& other) = default;

void CFIVocabulary::MakeQNameKey(std::string& strKey, const std::string& prefix, const std::string& namespaceUri,
                                 const std::string& localName)
{
    // Assigned into the caller's string, so that a reused key allocates only when it grows.
    strKey.assign(localName);
    strKey += '\x01';
    strKey += namespaceUri;
    strKey += '\x01';
    strKey += prefix;
}

void CFIVocabulary::AddAttribute(std::string prefix, std::string namespaceUri, std::string localName)
{
    AddQName(prefix, namespaceUri, localName, m_attributeNameIndices, m_attributeNames);
}

void CFIVocabulary::AddElement(std::string prefix, std::string namespaceUri, std::string localName)
{
    AddQName(prefix, namespaceUri, localName, m_elementNameIndices, m_elementNames);
}

void CFIVocabulary::AddAttributeValue(std::string value)
{
    AddValueToMap(value, m_attributeValueIndices);
    AddValueToVector(value, m_attributeValues);
}

void CFIVocabulary::AddElementValue(std::string value)
{
    AddValueToMap(value, m_characterChunkIndices);
    AddValueToVector(value, m_characterChunks);
}

void CFIVocabulary::AddPrefixName(std::string value)
{
    AddValueToMap(value, m_prefixNameIndices);
    AddValueToVector(value, m_prefixNames);
}

void CFIVocabulary::AddNamespaceName(std::string value)
{
    AddValueToMap(value, m_namespaceNameIndices);
    AddValueToVector(value, m_namespaceNames);
}

void CFIVocabulary::AddLocalName(std::string value)
{
    AddValueToMap(value, m_localNameIndices);
    AddValueToVector(value, m_localNames);
}

void CFIVocabulary::AddQName(const std::string& prefix, const std::string& namespaceUri, const std::string& localName,
                             IndexMap& map, CFIQNameTable& vector)
{
    std::string strKey;
    MakeQNameKey(strKey, prefix, namespaceUri, localName);
    uint32_t dwIgnored;
    if (FindIndex(map, strKey, dwIgnored))
        return;

    // A part that is new takes the next position of its table. A full table has no position
    // to give, and a name with a part that has no index can't be entered either.
    auto partIndex = [this](const std::string& strPart, bool (CFIVocabulary::*find)(const std::string&, uint32_t&) const,
                            void (CFIVocabulary::*add)(std::string), const CFIStringTable& table,
                            uint32_t& dwIndex) -> bool {
        if ((this->*find)(strPart, dwIndex))
            return true;
        if (table.m_table.size() >= kMaxTableSize)
            return false;
        (this->*add)(strPart);
        dwIndex = static_cast<uint32_t>(table.m_table.size());
        return true;
    };
    uint32_t dwPrefix = 0, dwNamespace = 0, dwLocal = 0;
    if (!prefix.empty() &&
        !partIndex(prefix, &CFIVocabulary::FindPrefixNameIndex, &CFIVocabulary::AddPrefixName, m_prefixNames, dwPrefix))
        return;
    if (!namespaceUri.empty() && !partIndex(namespaceUri, &CFIVocabulary::FindNamespaceNameIndex,
                                            &CFIVocabulary::AddNamespaceName, m_namespaceNames, dwNamespace))
        return;
    if (!partIndex(localName, &CFIVocabulary::FindLocalNameIndex, &CFIVocabulary::AddLocalName, m_localNames, dwLocal))
        return;
    AddValueToMap(strKey, map);
    AddQNameToVector(dwPrefix, dwNamespace, dwLocal, vector);
}

void CFIVocabulary::AddQNameToVector(uint32_t prefixIndex, uint32_t namespaceIndex, uint32_t localIndex,
                                     CFIQNameTable& vector)
{
    if (vector.m_table.size() < kMaxTableSize)
        vector.m_table.emplace_back(prefixIndex, namespaceIndex, localIndex);
}

void CFIVocabulary::AddValueToVector(const std::string& value, CFIStringTable& vector)
{
    if (vector.m_table.size() < kMaxTableSize)
        vector.m_table.push_back(value);
}

void CFIVocabulary::AddValueToMap(const std::string& value, IndexMap& map)
{
    if (map.size() < kMaxTableSize)
        map.emplace(value, static_cast<uint32_t>(map.size() + 1));
}

bool CFIVocabulary::FindIndex(const IndexMap& map, const std::string& value, uint32_t& dwIndex) const
{
    const IndexMap::value_type* pEntry = map.find(value);
    if (!pEntry)
        return false;
    dwIndex = pEntry->second;
    return true;
}

bool CFIVocabulary::FindPrefixNameIndex(const std::string& value, uint32_t& dwIndex) const
{
    return FindIndex(m_prefixNameIndices, value, dwIndex);
}

bool CFIVocabulary::FindNamespaceNameIndex(const std::string& value, uint32_t& dwIndex) const
{
    return FindIndex(m_namespaceNameIndices, value, dwIndex);
}

bool CFIVocabulary::FindLocalNameIndex(const std::string& value, uint32_t& dwIndex) const
{
    return FindIndex(m_localNameIndices, value, dwIndex);
}

void CFIVocabulary::Dump()
{
    auto dumpMap = [](const char* lpTitle, const IndexMap& map) {
        std::vector<const IndexMap::value_type*> entries;
        entries.reserve(map.size());
        for (const IndexMap::value_type& entry : map)
            entries.push_back(&entry);
        std::sort(entries.begin(), entries.end(),
                  [](const IndexMap::value_type* a, const IndexMap::value_type* b) { return a->first < b->first; });
        std::printf("%s", lpTitle);
        for (const IndexMap::value_type* pEntry : entries)
            std::printf("%s, %d\n", pEntry->first.c_str(), static_cast<int>(pEntry->second));
    };
    std::printf("\n** Dumping FI Tables **\n\n");
    dumpMap("Attr Names\n", m_attributeNameIndices);
    dumpMap("\nAttr Values\n", m_attributeValueIndices);
    dumpMap("\nCharacter Chunks\n", m_characterChunkIndices);
    dumpMap("\nElement Names\n", m_elementNameIndices);
    dumpMap("\nLocal Names\n", m_localNameIndices);
    dumpMap("\nNamespace Names\n", m_namespaceNameIndices);
    dumpMap("\nPrefix Names\n", m_prefixNameIndices);
}

} // namespace KrXmlLib16
