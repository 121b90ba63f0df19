// What a parser reports of a document's content. The document tree is the usual receiver;
// untyped content builds itself straight from the parser through the same interface, without
// a tree in between.
#ifndef KRXMLLIB_XMLCONTENTSINK_H
#define KRXMLLIB_XMLCONTENTSINK_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace KrXmlLib16 {

// Every reader (XML text, binary, chunked file input) reports through this interface and
// knows nothing else of its receiver. Order of events: the namespace declarations of an
// element, its start, its attributes, then its content (text, CDATA bounds, child elements)
// and its end. Strings arrive in the local code page as byte runs that live only for the call.
class IXmlContentSink
{
public:
    // A prefix declaration (empty prefix: the default namespace); comes before the element
    // that declares it.
    virtual void OnNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace) = 0;
    // An element opens; its attributes follow before anything else.
    virtual void OnStartElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName) = 0;
    virtual void OnAttribute(const char* pName, size_t nName, const char* pValue, size_t nValue, const char* pNamespace,
                             size_t nNamespace) = 0;
    // Character data of the innermost open element; one run of text may come in several pieces.
    virtual void OnText(const char* pText, uint32_t dwLen) = 0;
    // The innermost open element closes.
    virtual void OnEndElement() = 0;
    // The bounds of a CDATA section, reported only by a reader told to keep sections. The
    // section's content comes between them as text. A receiver that keeps text gets the
    // markers as text by default, so that the section can be told apart later.
    virtual void OnStartCData() { OnText("<![CDATA[", 9); }
    virtual void OnEndCData() { OnText("]]>", 3); }

protected:
    ~IXmlContentSink() = default;
};

// Appends up to dwLen bytes or up to the first zero byte, leaving out every character 13.
void AppendTextExcludingCR(std::string& strText, const char* pText, uint32_t dwLen);

} // namespace KrXmlLib16

#endif
