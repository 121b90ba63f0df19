// The options that travel through every read and write, and the namespace prefixes a caller
// wants declared on the root element.
//
// Ownership: a context is a value, owned by whoever made it; calls borrow it and keep no
// reference. It owns its format sub-contexts, and holds one reference on the root-attribute
// collection, which its copies share and which a caller may keep through the CSmartPtr it
// gets. The default context lives as long as the process.
#ifndef KRXMLLIB_SERIALIZATIONCONTEXT_H
#define KRXMLLIB_SERIALIZATIONCONTEXT_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lazyptr.h"
#include "krxmlexport.h"
#include "smartptr.h"
#include "xmlenums.h"

namespace KrXmlLib16 {

class CAttributeCol;
class CFastInfosetContext;
class CJsonContext;

// Namespace URI to alias, in key order.
class KRXML_API CNamespaceAliasMap
{
public:
    CNamespaceAliasMap();
    CNamespaceAliasMap(const CNamespaceAliasMap& other);
    CNamespaceAliasMap& operator=(const CNamespaceAliasMap& other);
    virtual ~CNamespaceAliasMap() = default;

    // A second Add for the same namespace replaces its alias.
    void Add(const char* lpAlias, const char* lpNamespace);
    void RemoveNamespace(const char* lpNamespace);
    // The first namespace in key order with this alias; raises CKrException if there is none.
    std::string GetNamespaceFromAlias(const char* lpAlias) const;
    // The alias, or an empty string.
    std::string GetAliasFromNamespace(const char* lpNamespace) const;
    bool DoesNamespaceExist(const char* lpNamespace) const;
    bool DoesAliasExist(const char* lpAlias) const;
    int GetNamespaceCount() const { return static_cast<int>(m_map.size()); }
    // The iIndex-th namespace in ascending key order; iIndex must be below the count. Going
    // through the indexes in order costs nothing in proportion to the count per call.
    std::string GetNamespaceAt(int iIndex) const;

private:
    std::map<std::string, std::string> m_map;
    // Names this map's contents: a new number from a process-wide counter whenever they change,
    // so that a position remembered for one state is never taken for another.
    uint64_t m_qwState;
};

class KRXML_API CSerializationContext
{
public:
    CSerializationContext();
    CSerializationContext(const CSerializationContext& other);
    CSerializationContext& operator=(const CSerializationContext& other);
    virtual ~CSerializationContext();

    // The options of JSON reading and writing, made at first use (also on a const context).
    CJsonContext& GetJsonContext() const;
    // The options of Fast Infoset writing and reading, made at first use (also on a const
    // context).
    CFastInfosetContext& GetFIContext() const;

    // The process-wide context with all defaults; used where a call gives none.
    static CSerializationContext& GetDefaultContext();

    const std::string& GetDefaultNamespaceURI() const { return m_strDefaultNamespaceURI; }
    void SetDefaultNamespaceURI(const char* lpURI) { m_strDefaultNamespaceURI = lpURI ? lpURI : ""; }

    bool GetWriteTypeAttribute() const { return m_bWriteTypeAttribute; }
    void SetWriteTypeAttribute(bool b) { m_bWriteTypeAttribute = b; }

    CNamespaceAliasMap& GetNamespaceAliases() { return m_namespaceAliases; }
    const CNamespaceAliasMap& GetNamespaceAliases() const { return m_namespaceAliases; }

    // Attributes written on the root element behind its namespace declarations; made at first
    // use, also when several threads ask the shared default context at once. A copy of the
    // context shares the collection.
    CSmartPtr<CAttributeCol> GetAdditionalRootAttributes() const;
    // The collection if anybody asked for it, else null; makes nothing. The writers read it
    // so, so that writing with a shared context never changes it.
    CAttributeCol* PeekAdditionalRootAttributes() const { return m_pAdditionalRootAttributes.Get(); }

    std::vector<std::string>& GetProcessingInstructions() { return m_processingInstructions; }
    const std::vector<std::string>& GetProcessingInstructions() const { return m_processingInstructions; }

    const std::string& GetInLineSchema() const { return m_strInLineSchema; }
    void SetInLineSchema(const char* lpSchema) { m_strInLineSchema = lpSchema ? lpSchema : ""; }

    bool GetIgnoreInvalidCollectionCounts() const { return m_bIgnoreInvalidCollectionCounts; }
    void SetIgnoreInvalidCollectionCounts(bool b) { m_bIgnoreInvalidCollectionCounts = b; }

    bool GetIgnoreMissingChoice() const { return m_bIgnoreMissingChoice; }
    void SetIgnoreMissingChoice(bool b) { m_bIgnoreMissingChoice = b; }

    // These two can't both be true: see the setters.
    bool GetIgnoreMissingMandatoryElements() const { return m_bIgnoreMissingMandatoryElements; }
    void SetIgnoreMissingMandatoryElements(bool b);
    bool GetIgnoreUnknownElements() const { return m_bIgnoreUnknownElements; }
    void SetIgnoreUnknownElements(bool b);

    bool GetIgnoreUnknownAttributes() const { return m_bIgnoreUnknownAttributes; }
    void SetIgnoreUnknownAttributes(bool b) { m_bIgnoreUnknownAttributes = b; }

    // Also true when namespace processing is off altogether.
    bool GetIgnoreNamespaces() const { return m_bIgnoreNamespaces || m_eSchemaType == SchemaType_NoNamespaces; }
    void SetIgnoreNamespaces(bool b) { m_bIgnoreNamespaces = b; }

    SchemaType GetSchemaType() const { return m_eSchemaType; }
    void SetSchemaType(SchemaType e) { m_eSchemaType = e; }

    bool GetNoOptionalAttributeDefaultOutput() const { return m_bNoOptionalAttributeDefaultOutput; }
    void SetNoOptionalAttributeDefaultOutput(bool b) { m_bNoOptionalAttributeDefaultOutput = b; }

    bool GetWriteDefaultElementValues() const { return m_bWriteDefaultElementValues; }
    void SetWriteDefaultElementValues(bool b) { m_bWriteDefaultElementValues = b; }

    bool GetStripCDATA() const { return m_bStripCDATA; }
    void SetStripCDATA(bool b) { m_bStripCDATA = b; }

    const std::string& GetIndentChars() const { return m_strIndentChars; }
    // Blanks and tabs only; null empties it.
    void SetIndentChars(const char* lpIndent);

private:
    // Sub-contexts of the JSON and Fast Infoset formats, owned, made at first use by their
    // getters, which come with those formats. A copy of the context makes its own.
    CLazyPtr<CFastInfosetContext> m_pFIContext;
    CLazyPtr<CJsonContext> m_pJsonContext;
    std::string m_strDefaultNamespaceURI;
    bool m_bWriteTypeAttribute;
    CNamespaceAliasMap m_namespaceAliases;
    CLazyCountedPtr<CAttributeCol> m_pAdditionalRootAttributes;
    std::vector<std::string> m_processingInstructions;
    std::string m_strInLineSchema;
    bool m_bIgnoreInvalidCollectionCounts;
    bool m_bIgnoreMissingChoice;
    bool m_bIgnoreMissingMandatoryElements;
    bool m_bIgnoreUnknownElements;
    bool m_bIgnoreUnknownAttributes;
    bool m_bIgnoreNamespaces;
    SchemaType m_eSchemaType;
    bool m_bNoOptionalAttributeDefaultOutput;
    bool m_bWriteDefaultElementValues;
    bool m_bStripCDATA;
    std::string m_strIndentChars;
};

} // namespace KrXmlLib16

#endif
