// The tables of a Fast Infoset document: strings and qualified names that a document replaces
// by small integers after their first appearance. Writer and reader build them in the order
// of the document, so that an index means the same on both sides. The writing direction
// looks texts up in maps; the reading direction indexes vectors by position.
//
// Ownership: a writer and a reader each own one vocabulary for one document; a third one
// lives in CFastInfosetContext, where generated code may fill it with the names of a schema
// that both directions then start from.
#ifndef KRXMLLIB_FASTINFOSETVOCABULARY_H
#define KRXMLLIB_FASTINFOSETVOCABULARY_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "krxmlexport.h"

namespace KrXmlLib16 {

class CFastInfosetContext;
class CFastInfosetReader;
class CFastInfosetWriter;

class KRXML_API CFIVocabulary
{
public:
    // Indices are 1-based; 0 means none. A table holds at most this many entries.
    static constexpr uint32_t kMaxTableSize = 1u << 20;

    // Text to index, for the writing direction, which looks up a name for every element and a
    // value for every short one. Open addressing over a compact slot array, the entries in one
    // vector in the order they came: a lookup touches a slot and an entry, and a short key
    // needs no allocation of its own. Only Dump wants the keys in order, and sorts them.
    class KRXML_API IndexMap
    {
    public:
        typedef std::pair<std::string, uint32_t> value_type;

        // The entry of the key, or null.
        const value_type* find(const std::string& strKey) const;
        // Enters the key with its index; a key that is there keeps its own, and false comes back.
        bool emplace(const std::string& strKey, uint32_t dwIndex);
        size_t size() const { return m_entries.size(); }
        std::vector<value_type>::const_iterator begin() const { return m_entries.begin(); }
        std::vector<value_type>::const_iterator end() const { return m_entries.end(); }

    private:
        struct Slot
        {
            uint32_t dwHash;
            uint32_t dwEntry;  // position in m_entries plus 1; 0: empty
        };
        static uint32_t Hash(const std::string& strKey);
        // The slot of the key, or the empty one where it would go.
        const Slot& Probe(const std::string& strKey, uint32_t dwHash) const;
        void Grow();

        std::vector<Slot> m_slots;  // a power of two in size, at most half full
        std::vector<value_type> m_entries;
    };

    // A qualified name by the indices of its parts.
    class KRXML_API CQNameParts
    {
    public:
        CQNameParts(uint32_t dwPrefixIndex, uint32_t dwNamespaceIndex, uint32_t dwLocalNameIndex)
            : m_dwPrefixIndex(dwPrefixIndex), m_dwNamespaceIndex(dwNamespaceIndex), m_dwLocalNameIndex(dwLocalNameIndex)
        {
        }

        uint32_t m_dwPrefixIndex;     // into the prefix names; 0 for none
        uint32_t m_dwNamespaceIndex;  // into the namespace names; 0 for none
        uint32_t m_dwLocalNameIndex;  // into the local names
    };

    // A table of the reading direction: entry i - 1 has the index i.
    class KRXML_API CFIStringTable
    {
    public:
        CFIStringTable() = default;
        CFIStringTable(const CFIStringTable&) = default;
        CFIStringTable& operator=(const CFIStringTable&) = default;
        virtual ~CFIStringTable() = default;

        std::vector<std::string>::const_iterator begin() const { return m_table.begin(); }
        std::vector<std::string>::const_iterator end() const { return m_table.end(); }
        size_t size() const { return m_table.size(); }

        std::vector<std::string> m_table;
    };

    class KRXML_API CFIQNameTable
    {
    public:
        CFIQNameTable() = default;
        CFIQNameTable(const CFIQNameTable&) = default;
        CFIQNameTable& operator=(const CFIQNameTable&) = default;
        virtual ~CFIQNameTable() = default;

        std::vector<CQNameParts>::const_iterator begin() const { return m_table.begin(); }
        std::vector<CQNameParts>::const_iterator end() const { return m_table.end(); }
        size_t size() const { return m_table.size(); }

        std::vector<CQNameParts> m_table;
    };

    // The built-in content: the prefix "xml", the XML namespace, the two restricted alphabets.
    CFIVocabulary();
    virtual ~CFIVocabulary();

    const CFIQNameTable& GetAttributeNamesTable() const { return m_attributeNames; }
    const CFIQNameTable& GetElementNamesTable() const { return m_elementNames; }
    const CFIStringTable& GetAttributeValuesTable() const { return m_attributeValues; }
    const CFIStringTable& GetCharacterChunksTable() const { return m_characterChunks; }
    const CFIStringTable& GetLocalNamesTable() const { return m_localNames; }
    const CFIStringTable& GetNamespaceNamesTable() const { return m_namespaceNames; }
    const CFIStringTable& GetPrefixNamesTable() const { return m_prefixNames; }

    // A qualified name, its parts entered first where they are new; a name already there
    // changes nothing.
    void AddAttribute(std::string prefix, std::string namespaceUri, std::string localName);
    void AddElement(std::string prefix, std::string namespaceUri, std::string localName);
    // The string operations don't look for the value first: give each value once.
    void AddAttributeValue(std::string value);
    void AddElementValue(std::string value);
    void AddPrefixName(std::string value);
    void AddNamespaceName(std::string value);
    void AddLocalName(std::string value);

    // The maps, by title and in key order, to standard output.
    void Dump();

private:
    friend class CFastInfosetContext;
    friend class CFastInfosetReader;
    friend class CFastInfosetWriter;

    // Copies have all entries; only the format classes make them.
    CFIVocabulary(const CFIVocabulary& other);
    CFIVocabulary& operator=(const CFIVocabulary& other);

    // The key of a qualified name in its map: local name, 0x01, namespace, 0x01, prefix.
    static void MakeQNameKey(std::string& strKey, const std::string& prefix, const std::string& namespaceUri,
                             const std::string& localName);

    void AddQName(const std::string& prefix, const std::string& namespaceUri, const std::string& localName,
                  IndexMap& map, CFIQNameTable& vector);
    static void AddQNameToVector(uint32_t prefixIndex, uint32_t namespaceIndex, uint32_t localIndex,
                                 CFIQNameTable& vector);
    static void AddValueToVector(const std::string& value, CFIStringTable& vector);
    static void AddValueToMap(const std::string& value, IndexMap& map);
    bool FindIndex(const IndexMap& map, const std::string& value, uint32_t& dwIndex) const;
    bool FindPrefixNameIndex(const std::string& value, uint32_t& dwIndex) const;
    bool FindNamespaceNameIndex(const std::string& value, uint32_t& dwIndex) const;
    bool FindLocalNameIndex(const std::string& value, uint32_t& dwIndex) const;

    std::vector<std::string> m_restrictedAlphabets;
    IndexMap m_attributeNameIndices;
    IndexMap m_attributeValueIndices;
    IndexMap m_elementNameIndices;
    IndexMap m_characterChunkIndices;
    IndexMap m_localNameIndices;
    IndexMap m_namespaceNameIndices;
    IndexMap m_prefixNameIndices;
    CFIQNameTable m_attributeNames;
    CFIStringTable m_attributeValues;
    CFIQNameTable m_elementNames;
    CFIStringTable m_characterChunks;
    CFIStringTable m_localNames;
    CFIStringTable m_namespaceNames;
    CFIStringTable m_prefixNames;
};

} // namespace KrXmlLib16

#endif
