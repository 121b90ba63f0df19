// The abstract sink of the binding engine. The walk over an object's metadata knows only these
// operations, so that XML text, JSON and Fast Infoset share it. The base keeps what every
// format needs: the chain of open elements and the namespace declarations in force.
#ifndef KRXMLLIB_XMLWRITER_H
#define KRXMLLIB_XMLWRITER_H

#include <cstdint>
#include <map>
#include <string>

#include "itemtype.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"

namespace KrXmlLib16 {

class KRXML_API CXmlWriter : public CInstanceMonitor
{
public:
    // Namespace URI to alias, in key order.
    typedef std::map<std::string, std::string> NamespaceMap;

    // One open element. Its namespace scope is copy-on-write: a context shares the map and
    // default namespace of its nearest ancestor that declared something, and takes copies
    // of its own only when it declares something itself; what it declares ends with it.
    class CXmlWriterContext : public CInstanceMonitor
    {
    public:
            // A nested element: inherits the scope of pParent.
        CXmlWriterContext(const std::string& strName, const std::string& strNamespace, CXmlWriterContext* pParent);
        // The root element: a scope of its own with a copy of the writer's declarations.
        CXmlWriterContext(const std::string& strName, const std::string& strNamespace,
                          const std::string& strDefaultNamespace, const NamespaceMap& namespaces,
                          CXmlWriterContext* pParent);
        // Deletes the chain of parents too, unless m_pParent was cleared first.
        virtual ~CXmlWriterContext();
        CXmlWriterContext(const CXmlWriterContext&) = delete;
        CXmlWriterContext& operator=(const CXmlWriterContext&) = delete;

        const std::string& GetDefaultNamespace() const { return *m_pScopeDefaultNamespace; }
        const NamespaceMap& GetNamespaceMap() const { return *m_pNamespaceMap; }
        // The alias in force for the namespace, or an empty string.
        const std::string& GetNamespaceMapValue(const std::string& strNamespace) const;
        void SetNamespaceMapValue(const std::string& strNamespace, const std::string& strAlias);
        void SetDefaultNamespace(const std::string& strNamespace);

        uint32_t m_nChildElements;   // child elements started so far
        bool m_bStartTagOpen;        // true until the first content closes the start tag
        int m_nDepth;                // 0 at the root
        std::string m_strNamespace;
        std::string m_strName;
        CXmlWriterContext* m_pParent;  // owned
        bool m_bFIHeaderDone;        // for the binary writer
        int m_iArrayState;           // for the JSON writer
        std::string m_strDefaultNamespace;  // meaningful only with a scope of its own
        NamespaceMap* m_pNamespaceMap;      // the map in force here
        bool m_bInheritsScope;
        bool m_bOwnsMap;
        // The prefix the start tag was written with, so that the end tag matches it whatever
        // is declared in between; empty for a plain name.
        std::string m_strPrefix;

    private:
        void MakeOwnScope();

        // The default namespace in force: this context's own, or that of the ancestor whose
        // scope it shares.
        const std::string* m_pScopeDefaultNamespace;
    };

    virtual ~CXmlWriter();
    CXmlWriter(const CXmlWriter&) = delete;
    CXmlWriter& operator=(const CXmlWriter&) = delete;

    virtual void StartDocument();
    // Raises if an element is still open.
    virtual void EndDocument();
    // With an open element, declares on it; else on the root element to come.
    virtual void SetDefaultNamespace(const std::string& strNamespace);
    virtual void AddNamespaceAlias(const std::string& strAlias, const std::string& strNamespace);
    virtual void WriteComment(const std::string& strText) = 0;
    // The complete text of the instruction, with its "<?" and "?>".
    virtual void WriteProcessingInstruction(const std::string& strText) = 0;
    virtual void WriteInLineSchema(const std::string& strText) = 0;
    virtual void StartElement(const std::string& strName, const std::string& strNamespace) = 0;
    // bIsDefault: the value equals its schema default.
    virtual void WriteElementText(const std::string& strText, ItemType eType, bool bIsDefault) = 0;
    virtual void EndElement() = 0;
    // Only between StartElement and the first content.
    virtual void WriteAttribute(const std::string& strName, const std::string& strNamespace,
                                const std::string& strValue, ItemType eType) = 0;
    virtual void WriteTypeAttribute(const std::string& strNamespace, const std::string& strTypeName,
                                    ItemType eType) = 0;
    virtual void WriteNilAttribute() = 0;

    // Stores the collection state in the current element, if there is one, and tells the
    // derived writer through OnArrayStateChanged.
    void SetArrayState(int iState);

    // The first alias "AA", "AB", ... "ZZ" that no entry of the map has; beyond those, three
    // letters and more.
    static std::string GenerateNamespaceAlias(const NamespaceMap& map);

    // The innermost open element, or null.
    CXmlWriterContext* GetContext() const { return m_pContext; }

protected:
    explicit CXmlWriter(const char* lpClassName);

    // Called after SetArrayState has stored a new state in pContext.
    virtual void OnArrayStateChanged(CXmlWriterContext* pContext, int iOldState);

    // A new context for an element about to start: nested under the current one, or the root
    // with the writer's declarations. Not yet current: see PushContext.
    CXmlWriterContext* CreateContext(const std::string& strName, const std::string& strNamespace) const;
    void PushContext(CXmlWriterContext* pContext) { m_pContext = pContext; }
    // Ends the current element: its parent becomes current.
    void PopContext();

    std::string m_strDefaultNamespace;
    CXmlWriterContext* m_pContext;
    NamespaceMap m_namespaces;
};

// Namespaces every writer knows.
extern KRXML_API const char* const kXmlNamespaceUri;           // "http://www.w3.org/XML/1998/namespace"
extern KRXML_API const char* const kXmlSchemaInstanceUri;      // "http://www.w3.org/2001/XMLSchema-instance"

} // namespace KrXmlLib16

#endif
