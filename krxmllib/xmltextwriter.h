// Writes the engine's calls as XML text on a CTextStream, as it goes: nothing is held back
// beyond the stream's buffer. All text taken and written is in the local code page; the
// stream converts it to output bytes.
#ifndef KRXMLLIB_XMLTEXTWRITER_H
#define KRXMLLIB_XMLTEXTWRITER_H

#include <string>

#include "krxmlexport.h"
#include "textstream.h"
#include "xmlenums.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

class KRXML_API CXmlTextWriter : public CXmlWriter
{
public:
    explicit CXmlTextWriter(CTextStream* pStream);
    virtual ~CXmlTextWriter();

    // Formatting is fixed for the document: set it before the first element.
    void SetFormatted(bool bFormatted);
    bool GetFormatted() const { return m_bFormatted; }
    // One level of indent in formatted output; null means none.
    void SetIndent(const char* lpIndent);
    const std::string& GetIndent() const { return m_strIndent; }
    // EOLType_CRLF or EOLType_LF; any other value raises.
    void SetEOLType(EOLType eEOLType);
    EOLType GetEOLType() const { return m_eEOLType; }
    void SetWriteDefaultElementValues(bool b) { m_bWriteDefaultElementValues = b; }
    bool GetWriteDefaultElementValues() const { return m_bWriteDefaultElementValues; }

    // <?xml version="1.0" encoding="..."?> by the stream's encoding, and a line end.
    void WriteXmlDeclaration();
    // Text ahead of the root element (a DOCTYPE, say), as it stands, and a line end.
    void WriteHeadedDirective(const std::string& strText);
    // For stored raw content: the text as it stands, and a line end if formatted.
    void WriteRawLine(const std::string& strText);
    // Closes the start tag of the current element, as the first child would.
    void CloseStartTag();

    void StartDocument() override;
    void EndDocument() override;
    void WriteComment(const std::string& strText) override;
    void WriteProcessingInstruction(const std::string& strText) override;
    void WriteInLineSchema(const std::string& strText) override;
    void StartElement(const std::string& strName, const std::string& strNamespace) override;
    void WriteElementText(const std::string& strText, ItemType eType, bool bIsDefault) override;
    void EndElement() override;
    void WriteAttribute(const std::string& strName, const std::string& strNamespace, const std::string& strValue,
                        ItemType eType) override;
    void WriteTypeAttribute(const std::string& strNamespace, const std::string& strTypeName, ItemType eType) override;
    void WriteNilAttribute() override;

private:
    void Write(const char* pText, size_t nLen) { m_pStream->Write(pText, nLen); }
    void Write(const std::string& str) { m_pStream->Write(str.data(), str.size()); }
    void Write(char c) { m_pStream->Write(c); }
    void WriteEol() { Write(m_strEol); }
    void WriteIndent(int nDepth);
    // Where an escaped text goes: an element (null before the root), and for an attribute
    // value its prefix and name. Only a refused character looks at it, for the path.
    struct EscapeSite
    {
        const CXmlWriterContext* pElement;
        const std::string* pAttrPrefix;
        const std::string* pAttrName;
    };
    void WriteContentEscaped(const std::string& strText, const CXmlWriterContext* pElement);
    void WriteAttributeEscaped(const std::string& strText, const EscapeSite& site);
    void WriteEscaped(const char* pText, size_t nLen, const unsigned char* pTable, const EscapeSite& site);
    [[noreturn]] static void ThrowUnrepresentable(unsigned int uChar, const EscapeSite& site);
    // Writes xmlns:alias="namespace", with the blank before or the quote and blank after as
    // the caller needs; pElement is the element that declares it.
    void WriteNamespaceDeclaration(const char* lpBefore, const std::string& strAlias, const std::string& strNamespace,
                                   const char* lpAfter, const CXmlWriterContext* pElement);
    void CloseParentStartTag();
    void CheckAttributeAllowed() const;
    void FlushTest()
    {
        if (m_pStream->GetLength() >= 4096)
            m_pStream->Flush();
    }

    bool m_bWriteDefaultElementValues;
    std::string m_strIndent;
    std::string m_strEol;
    EOLType m_eEOLType;
    bool m_bFormatted;
    CTextStream* m_pStream;
    std::string m_strIndentRun;  // m_strIndent repeated, so that an indent is one write
};

} // namespace KrXmlLib16

#endif
