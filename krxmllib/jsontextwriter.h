// Writes the engine's calls as JSON text on a CTextStream, as it goes. A document is one object
// with the root element as its one member; an element with only text is a member with a bare
// value, one with attributes or children a member whose value is an object; attributes are
// members named "@name", text beside members is "#text", and a repeating element is a member
// whose value is an array. Nothing is buffered beyond the stream: whether an element becomes a
// value or an object is decided by the first thing that follows its name.
#ifndef KRXMLLIB_JSONTEXTWRITER_H
#define KRXMLLIB_JSONTEXTWRITER_H

#include <string>
#include <utility>
#include <vector>

#include "jsoncontext.h"
#include "krxmlexport.h"
#include "textstream.h"
#include "xmlenums.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

class KRXML_API CJsonTextWriter : public CXmlWriter
{
public:
    // The stream isn't owned; it must outlive the writer.
    explicit CJsonTextWriter(CTextStream* pStream);
    virtual ~CJsonTextWriter();

    // Formatting is fixed for the document: set it before the first element.
    void SetFormatted(bool bFormatted);
    bool GetFormatted() const { return m_bFormatted; }
    // One level of indent in formatted output; null means none.
    void SetIndent(const char* lpIndent);
    const std::string& GetIndent() const { return m_strIndent; }
    // EOLType_CRLF or EOLType_LF; any other value raises. It also decides how a line feed
    // inside a value is written.
    void SetEOLType(EOLType eEOLType);
    EOLType GetEOLType() const { return m_eEolType; }
    // How much of the XML shape the output keeps; a value outside JsonRoundTrip raises.
    void SetRoundTrip(JsonRoundTrip eRoundTrip);
    JsonRoundTrip GetRoundTrip() const { return m_eRoundTrip; }

    // The braces of the document object, around the root element.
    void WriteHeader();
    void WriteFooter();

    void StartDocument() override;
    void EndDocument() override;
    // "/* text */" and a line end. JSON has no comments: only lenient readers, this library's
    // among them, take a document that holds one. The entry points never write one.
    void WriteComment(const std::string& strText) override;
    // Instructions, in-line schemas and xsi:nil have no JSON form and are left out.
    void WriteProcessingInstruction(const std::string& strText) override;
    void WriteInLineSchema(const std::string& strText) override;
    void StartElement(const std::string& strName, const std::string& strNamespace) override;
    void WriteElementText(const std::string& strText, ItemType eType, bool bIsDefault) override;
    void EndElement() override;
    void WriteAttribute(const std::string& strName, const std::string& strNamespace, const std::string& strValue,
                        ItemType eType) override;
    void WriteTypeAttribute(const std::string& strNamespace, const std::string& strTypeName, ItemType eType) override;
    void WriteNilAttribute() override;

protected:
    // Closes an array where the engine reports the end of a collection.
    void OnArrayStateChanged(CXmlWriterContext* pContext, int iOldState) override;

private:
    void Write(const char* pText, size_t nLen) { m_pStream->Write(pText, nLen); }
    void Write(const std::string& str) { m_pStream->Write(str.data(), str.size()); }
    void Write(char c) { m_pStream->Write(c); }
    void WriteLineEnd()
    {
        if (m_bFormatted)
            Write(m_strEol);
    }
    void WriteIndent(int nLevels);
    void FlushTest()
    {
        if (m_pStream->GetLength() >= 4096)
            m_pStream->Flush();
    }

    // The level of indentation of an element. Every context on the open chain is one level
    // deeper for each array open anywhere on it, so that the count of open arrays stands in
    // for adding to and taking from the depth of each context of the chain.
    int Depth(const CXmlWriterContext* pContext) const { return pContext->m_nDepth + 1 + m_nOpenArrays; }

    // Before anything is written inside the element of pContext: a comma behind the previous
    // member, or the brace of the element's object (and the bracket of its parent's array if
    // the element is the first item of one).
    void OpenMember(CXmlWriterContext* pContext);
    // The first item of pContext's parent's collection is about to get its value: "[".
    void OpenArrayOfParent(CXmlWriterContext* pItem);
    // "]" behind the last item of pHolder's array.
    void CloseArray(CXmlWriterContext* pHolder);
    // "name": with a prefix if one is given.
    void WriteName(const char* lpMark, const std::string* pPrefix, const std::string& strName);
    // "@xmlns" or "@xmlns:prefix" on the element pContext.
    void WriteDeclaration(CXmlWriterContext* pContext, const std::string* pPrefix, const std::string& strNamespace);
    void WriteValue(const std::string& strText, ItemType eType);
    // bValue: the rules for text values (a line feed as a raw line end, a carriage return
    // dropped); otherwise every character that JSON can't hold in a string is escaped.
    void WriteEscaped(const std::string& strText, bool bValue);
    // The alias of a namespace that must have been declared.
    const std::string& RequireAlias(const CXmlWriterContext* pContext, const std::string& strNamespace) const;
    [[noreturn]] void ThrowValueWritten(const CXmlWriterContext* pContext) const;

    std::string m_strIndent;
    std::string m_strEol;
    EOLType m_eEolType;
    JsonRoundTrip m_eRoundTrip;
    bool m_bFormatted;
    CTextStream* m_pStream;
    // The name of the current element is out and no member stands behind it yet.
    bool m_bValuePending;
    // ... and a bare value stands behind it, so that it can take nothing more.
    bool m_bValueWritten;
    // A root element has been written: a further one is a further member of the document.
    bool m_bRootWritten;
    int m_nOpenArrays;
    std::string m_strIndentRun;  // m_strIndent repeated, so that an indent is one write
    // The name and namespace of the items of the open array of each context, by its depth in
    // the writer's chain; kept for their capacity.
    std::vector<std::pair<std::string, std::string>> m_arrayItems;
};

} // namespace KrXmlLib16

#endif
