// The JSON parser: one pass of recursive descent over a whole text, reporting what it finds as
// events on a handler. It builds no tree and keeps no values beyond the one being read.
//
// Ownership: the reader borrows the text, which must outlive it, and owns its default handler,
// which in turn owns the handler given to SetHandler.
#ifndef KRXMLLIB_JSONTEXTREADER_H
#define KRXMLLIB_JSONTEXTREADER_H

#include <cstdint>
#include <string>

#include "krexception.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"

namespace KrXmlLib16 {

class CBinaryData;
class CJsonReaderDefaultHandler;
class CSerializationContext;

// Receives the events of a parse. String and Number values are given with escapes resolved
// and, for numbers, as the exact text of the input; a reference handed to an event is valid
// for the call only.
class KRXML_API IJsonReaderHandler : public CInstanceMonitor
{
public:
    IJsonReaderHandler() : CInstanceMonitor("IJsonReaderHandler") {}
    virtual ~IJsonReaderHandler();

    virtual void StartDocument() = 0;
    // Only after a parse without failure.
    virtual void EndDocument() = 0;
    virtual void Name(const std::string& name) = 0;
    virtual void String(const std::string& value) = 0;
    virtual void Number(const std::string& value) = 0;
    virtual void StartObject() = 0;
    virtual void EndObject() = 0;
    virtual void StartArray() = 0;
    virtual void EndArray() = 0;
    virtual void Bool(bool value) = 0;
    virtual void Null() = 0;
};

// Converts JSON text to XML text (jsonreadertoxmlhandler.h); declared here for the friendship
// below, through which it hands the reader its options.
KRXML_API CBinaryData JsonToXml(const std::string& json, const CSerializationContext& ctx);

// Characters are bytes: those above 0x7F pass through strings unchanged, so the text may be in
// any ASCII-compatible code page. A line feed counts a line and is never delivered, not even
// inside a string. Every syntax failure raises CKrValidationException with the line and the
// position in the line of the last character read, and the JSON path reached (`$.a[1].c`).
// Values nest at most 100 levels deep, or CKrLimits::GetMaxDepth() levels where that is lower.
class KRXML_API CJsonTextReader : public CInstanceMonitor
{
    friend CBinaryData JsonToXml(const std::string& json, const CSerializationContext& ctx);

public:
    // The text is borrowed for the reader's lifetime.
    explicit CJsonTextReader(const std::string& text);
    virtual ~CJsonTextReader();
    CJsonTextReader(const CJsonTextReader&) = delete;
    CJsonTextReader& operator=(const CJsonTextReader&) = delete;

    // The handler receives every event from now on and is owned by the reader.
    void SetHandler(IJsonReaderHandler* pHandler);
    IErrorPathProvider* GetErrorPathProvider();
    // Reads the first value of the text; what follows it isn't looked at. A text without any
    // value is no failure. May run again: it starts from the beginning.
    void Parse();

private:
    bool ReadChar(bool bSkipWhitespace);
    bool ReadChars(char* pBuffer, int nCount);
    char Peek() const;
    void ParseValue(int nDepth);
    void ParseObject(int nDepth);
    void ParseArray(int nDepth);
    // Leaves the value in m_strToken.
    void ParseString();
    void ParseUnicodeEscape();
    void ParseNumber();
    void ParseLiteral(const char* lpRest, int nRest, const char* lpCutOff, const char* lpMisspelled);
    void AppendDigits();
    void AppendCodePoint(uint32_t uCodePoint);
    void ReleaseHugeToken();

    // The failures: a message with line and position, or with the current character first.
    [[noreturn]] void Raise(const std::string& strMessage);
    [[noreturn]] void RaiseAt(const char* lpFormat);
    [[noreturn]] void RaiseFound(const char* lpFormat);

    CJsonReaderDefaultHandler* m_pHandler;
    int32_t m_nDepthLimit;
    int32_t m_nCapDepth;  // the lower of m_nDepthLimit and CKrLimits::GetMaxDepth(), for one parse
    bool m_bAllowComments;
    std::string m_strRootElementName;
    const std::string* m_pText;
    uint32_t m_nPos;
    char m_chCurrent;
    bool m_bEof;
    int32_t m_nLine;
    int32_t m_nColumn;
    // The string, name or number being read; reused, so that values don't allocate each.
    std::string m_strToken;
};

} // namespace KrXmlLib16

#endif
