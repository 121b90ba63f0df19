// Nodes of the read-only document tree: elements with their attributes and one text each.
//
// Ownership: elements and attributes belong to their CXmlDocument and die with its next load
// or its end; a caller never deletes or keeps them. The strings they return by reference are
// valid as long as the node.
#ifndef KRXMLLIB_XMLELEMENT_H
#define KRXMLLIB_XMLELEMENT_H

#include <cstdint>
#include <string>
#include <vector>

#include "krxmlexport.h"
#include "memoryleakhelp.h"

namespace KrXmlLib16 {

class CXmlDocument;
class CXmlElement;

class KRXML_API CXmlAttribute : public CInstanceMonitor
{
    friend class CXmlElement;
    friend class CXmlDocument;

public:
    const std::string& GetNamespaceURI() const { return m_strNamespaceURI; }
    const std::string& GetLocalName() const { return m_strLocalName; }
    const std::string& GetValue() const { return m_strValue; }
    std::string GetXPath() const;
    // xmlns, type, schemaLocation or noNamespaceSchemaLocation in the schema-instance or
    // xmlns namespace.
    bool IsNamespaceAttribute() const;
    bool IsNilAttribute() const;

protected:
    CXmlAttribute(const CXmlElement* pElement, const std::string& strLocalName, const std::string& strValue,
                  const std::string& strNamespace);
    virtual ~CXmlAttribute() = default;

private:
    // The parser's form: the names and the value as byte runs, taken straight into the strings.
    CXmlAttribute(const CXmlElement* pElement, const char* pLocalName, size_t nLocalName, const char* pValue,
                  size_t nValue, const char* pNamespace, size_t nNamespace);

    const CXmlElement* m_pElement;
    std::string m_strLocalName;
    std::string m_strValue;
    std::string m_strNamespaceURI;
};

class KRXML_API CXmlElement : public CInstanceMonitor
{
    friend class CXmlDocument;

public:
    CXmlElement* GetFirstElement() const { return m_pFirstChild; }
    CXmlElement* GetNextSiblingElement() const { return m_pNextSibling; }
    const CXmlElement* GetParentElm() const { return m_pParent; }
    const CXmlDocument* GetDocument() const { return m_pDocument; }
    const std::string& GetNamespaceURI() const { return *m_pNamespaceURI; }
    const std::string& GetLocalName() const { return m_strLocalName; }
    const std::string& GetText() const
    {
        if (m_nHeldBackLength)
            TakeHeldBackText();
        return m_strText;
    }
    const std::vector<CXmlAttribute*>& GetAttributes() const { return m_attributes; }
    // The value of the first attribute with both names equal, else an empty string.
    const std::string& GetAttribute(const std::string& strLocalName, const std::string& strNamespace) const;
    // "/root/child[2]/leaf", with prefixes as the document declared them.
    std::string GetXPath() const;

protected:
    CXmlElement(const CXmlDocument* pDocument, const CXmlElement* pParent);
    virtual ~CXmlElement();  // only a document deletes elements

    void AppendText(const char* lpText);
    void AppendText(const char* lpText, int iLen);
    CXmlElement* CreateNewChildElement();
    void AddAttribute(const std::string& strLocalName, const std::string& strValue, const std::string& strNamespace);
    void SetElementName(const std::string& strName) { m_strLocalName = strName; }
    void SetNamespace(const std::string& strNamespace);
    CXmlElement* RemoveLastChildElement();

private:
    // The parser's forms: the local name as a byte run, taken straight into the string.
    CXmlElement(const CXmlDocument* pDocument, const CXmlElement* pParent, const char* pLocalName, size_t nLocalName);
    CXmlElement* CreateNewChildElement(const char* pLocalName, size_t nLocalName);
    // Appends the text its document held back for this element (below) to m_strText.
    void TakeHeldBackText() const;
    std::string GetQName() const;
    std::string GetNameWithPredicate() const;

    const CXmlDocument* m_pDocument;
    const CXmlElement* m_pParent;
    CXmlElement* m_pNextSibling;
    CXmlElement* m_pPrevSibling;  // lets the newest child go in constant time
    CXmlElement* m_pFirstChild;
    CXmlElement* m_pLastChild;
    std::vector<CXmlAttribute*> m_attributes;
    mutable std::string m_strText;
    std::string m_strLocalName;
    const std::string* m_pNamespaceURI;  // interned by the document: few distinct values
    // Text after the first child (indentation between children, mostly, which the binding
    // engine never reads) is held back by the parsing document, in one run per element, and
    // joins m_strText when the text is first asked for.
    mutable uint32_t m_nHeldBackOffset;
    mutable uint32_t m_nHeldBackLength;  // 0: nothing held back
};

} // namespace KrXmlLib16

#endif
