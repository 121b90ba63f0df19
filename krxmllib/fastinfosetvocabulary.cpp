#include "fastinfosetvocabulary.h"

#include <cstdio>

#include "xmlwriter.h"

namespace KrXmlLib16 {

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
    IndexMap::const_iterator it = map.find(value);
    if (it == map.end())
        return false;
    dwIndex = it->second;
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
        std::printf("%s", lpTitle);
        for (const IndexMap::value_type& entry : map)
            std::printf("%s, %d\n", entry.first.c_str(), static_cast<int>(entry.second));
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
