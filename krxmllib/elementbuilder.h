// Untyped content built straight from a parser: the receiver that CElement's reading roads
// give the parser, and that the library's own tools use where they drive the parser themselves
// (krxml, which watches the namespaces on the way). Not installed: it is a parser receiver,
// and those stay inside the library.
//
// Ownership: the root element and the builder are the caller's and must outlive the loads that
// feed it. The elements made are held by their parents' lists from the moment they are made,
// so a load that fails leaves a consistent, partly read tree.
#ifndef KRXMLLIB_ELEMENTBUILDER_H
#define KRXMLLIB_ELEMENTBUILDER_H

#include <map>
#include <string>
#include <vector>

#include "xmlcontentsink.h"

namespace KrXmlLib16 {

class CElement;
class CXmlObjectBase;

// Gives the same element tree as reading the document's tree into the root would, without the
// tree: the root takes name, namespace and text of the document element and adds its
// attributes and children to those it holds. Give it to CXmlDocument::SetContentSink and load;
// CObjectArena's build scope, which CElement's own roads open, is the caller's affair here.
class CElementBuilder : public IXmlContentSink
{
public:
    explicit CElementBuilder(CElement& root) : m_root(root) {}
    virtual ~CElementBuilder() = default;
    CElementBuilder(const CElementBuilder&) = delete;
    CElementBuilder& operator=(const CElementBuilder&) = delete;

    // Whitespace-only text of an element that has child elements is taken for the input's
    // indentation and dropped as the element closes. Off by default.
    void SetDropIndentation(bool bDrop) { m_bDropIndentation = bDrop; }

    void OnNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace) override;
    void OnStartElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName) override;
    void OnAttribute(const char* pName, size_t nName, const char* pValue, size_t nValue, const char* pNamespace,
                     size_t nNamespace) override;
    void OnText(const char* pText, uint32_t dwLen) override;
    void OnEndElement() override;

    // True once the document element has opened: a load that reported none read nothing.
    bool RootSeen() const { return m_bRootSeen; }

private:
    template <class TCol>
    static void Append(TCol* pCol, CXmlObjectBase* pItem);
    void StartRoot(const std::string& strNamespace, const std::string& strName);

    CElement& m_root;
    bool m_bRootSeen = false;
    bool m_bDropIndentation = false;
    std::map<std::string, std::string> m_rootAliases;  // declared ahead of the root: a refusal's path
    std::vector<CElement*> m_stack;                    // the open elements; each is held by its parent's list
};

} // namespace KrXmlLib16

#endif
