// The abstract sink of the binding engine. The walk over an object's metadata knows only these
// operations, so that XML text, JSON and Fast Infoset share it. The base keeps what every
// format needs: the chain of open elements and the namespace declarations in force.
#ifndef KRXMLLIB_XMLWRITER_H
#define KRXMLLIB_XMLWRITER_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "itemtype.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"

namespace KrXmlLib16 {

class KRXML_API CXmlWriter : public CInstanceMonitor
{
public:
    // Namespace URI to alias, in key order.
    typedef std::map<std::string, std::string> NamespaceMap;

    // The namespace declarations in force along a chain of contexts; defined in xmlwriter.cpp.
    class CNamespaceScope;

    // One open element. Its namespace scope is that of its parent plus what it declares
    // itself: the declarations of a whole chain live on one stack, shared by its contexts,
    // which an element's declarations are pushed onto and popped from when it ends, so that
    // declaring costs nothing in proportion to what is already in force. Indexes over the
    // stack answer look-ups by namespace and the first free generated alias directly.
    // A writer keeps one context per depth and reuses it for every element at that depth, so
    // that writing allocates nothing per element once the deepest level has been reached.
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

        // Makes the context over for another element, as the matching constructor would, but
        // in the storage it already has. pParent isn't owned through a reset context.
        void Reset(const std::string& strName, const std::string& strNamespace, CXmlWriterContext* pParent);
        void ResetRoot(const std::string& strName, const std::string& strNamespace,
                       const std::string& strDefaultNamespace, const NamespaceMap& namespaces);

        const std::string& GetDefaultNamespace() const { return *m_pScopeDefaultNamespace; }
        // The declarations in force here, as a map built for the occasion: for inspection,
        // not for the writing path.
        NamespaceMap GetNamespaceMap() const;
        // The alias in force for the namespace, or an empty string. The reference holds
        // until the writer is destroyed.
        const std::string& GetNamespaceMapValue(const std::string& strNamespace) const;
        void SetNamespaceMapValue(const std::string& strNamespace, const std::string& strAlias);
        void SetDefaultNamespace(const std::string& strNamespace);
        // What the static GenerateNamespaceAlias answers for the map in force here, without
        // building that map.
        std::string GenerateNamespaceAlias();

        // Counts a child started under this element by its name as written; answers its
        // position among the children of that name so far, from 1.
        uint32_t CountChild(const std::string& strPrefix, const std::string& strName);
        // "/order/item[3]/name": the element's path in the form a document tree gives it,
        // with the prefixes as written. A predicate stands where an earlier sibling has the
        // same name; siblings still to come are unknown, so a first one has none.
        std::string GetXPath() const;

        uint32_t m_nChildElements;   // child elements started so far
        bool m_bStartTagOpen;        // true until the first content closes the start tag
        int m_nDepth;                // 0 at the root
        std::string m_strNamespace;
        std::string m_strName;
        CXmlWriterContext* m_pParent;  // owned, except in a writer's reused contexts
        bool m_bFIHeaderDone;        // for the binary writer
        int m_iArrayState;           // for the JSON writer
        std::string m_strDefaultNamespace;  // meaningful only where this context set one
        bool m_bInheritsScope;              // true while the context has declared nothing
        // The prefix the start tag was written with, so that the end tag matches it whatever
        // is declared in between; empty for a plain name.
        std::string m_strPrefix;
        // Position among the parent's children of the same name, from 1; 0 until counted.
        uint32_t m_nPosition;

    private:
        friend class CXmlWriter;

        // The default namespace in force: this context's own, or that of the nearest ancestor
        // that set one.
        const std::string* m_pScopeDefaultNamespace;
        // The stack of the chain: a root context owns it, kept across resets; nested ones
        // share their root's.
        CNamespaceScope* m_pScope;
        bool m_bOwnsScope;
        int m_nScopeLevel;  // 0 at the root: the level of its declarations on the stack

        // Children started so far, one entry per distinct name; entries beyond
        // m_nChildNames are kept for their capacity.
        struct ChildName
        {
            std::string strPrefix;
            std::string strName;
            uint32_t nCount;
            uint32_t dwKey;  // lengths and a few bytes of both names: most unequal names differ in it
        };
        std::vector<ChildName> m_childNames;
        size_t m_nChildNames;
        // Past a few names, a hash index over them (entry: position + 1, 0 for none; the size a
        // power of two), so that an element with very many distinct child names isn't searched
        // linearly for each child. Kept across resets while small.
        std::vector<uint32_t> m_nameIndex;
        bool m_bNameIndexInUse;

        size_t FindChildName(uint32_t dwKey, const std::string& strPrefix, const std::string& strName) const;
        void IndexChildName(size_t nPosition);
        void ClearChildNames();
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

    // The context for an element about to start, nested under the current one, or the root
    // with the writer's declarations: the writer's own context for that depth, reset. It
    // belongs to the writer, and isn't current until PushContext; a start that fails before
    // that simply leaves it unused.
    CXmlWriterContext* CreateContext(const std::string& strName, const std::string& strNamespace);
    // Makes the context current, counting it among its parent's children if that hasn't been
    // done (by CountChildOfParent) yet.
    void PushContext(CXmlWriterContext* pContext);
    // Counts a new context among its parent's children, once its prefix is known.
    static void CountChildOfParent(CXmlWriterContext* pContext);
    // Ends the current element: its parent becomes current.
    void PopContext();

    // Whether the start tag being written already has this attribute. Each item of a repeated
    // group puts the enclosing element's attributes on the tag once more: the same value again
    // answers true, and the writer drops the repeat, so that the output holds each attribute
    // once; a different value raises. The list empties when the next element starts.
    bool IsRepeatedAttribute(const std::string& strName, const std::string& strNamespace,
                             const std::string& strValue);

    std::string m_strDefaultNamespace;
    CXmlWriterContext* m_pContext;
    NamespaceMap m_namespaces;
    // The writer's contexts, one per depth, owned.
    std::vector<CXmlWriterContext*> m_contextPool;

private:
    // An attribute of the open start tag: its name, namespace and value lie back to back in
    // m_tagAttributeText, so that a tag with very many costs no allocation per attribute.
    struct CTagAttribute
    {
        size_t nStart;
        size_t nNameLen;
        size_t nNamespaceLen;
        size_t nValueLen;
    };
    std::vector<CTagAttribute> m_tagAttributes;
    size_t m_nTagAttributes = 0;
    std::string m_tagAttributeText;
    // Past a few attributes, a hash index over them (entry: position + 1, 0 for none; the
    // size a power of two), so that a tag with very many isn't searched linearly for each.
    std::vector<uint32_t> m_attributeIndex;
    bool m_bAttributeIndexInUse = false;

    void IndexTagAttribute(size_t nPosition);
    void ClearTagAttributes();
};

// Namespaces every writer knows.
extern KRXML_API const char* const kXmlNamespaceUri;           // "http://www.w3.org/XML/1998/namespace"
extern KRXML_API const char* const kXmlSchemaInstanceUri;      // "http://www.w3.org/2001/XMLSchema-instance"

} // namespace KrXmlLib16

#endif
