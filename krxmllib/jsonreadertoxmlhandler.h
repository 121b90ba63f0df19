// JSON read as XML: the handler that keeps the JSON path for failures and passes events on,
// the handler that maps events to XML text, and JsonToXml, which wires them to the parser.
//
// Mapping: members become child elements, "@name" members attributes, "#text" the text of the
// element, arrays repeated elements; values of every kind become text. An empty array makes no
// element. With the JsonRoundTrip mode RoundTripNone, "@" and "#text" are plain names.
//
// Ownership: the default handler owns the handler given to SetHandler; the XML handler borrows
// its writer and its path provider, which must outlive it.
#ifndef KRXMLLIB_JSONREADERTOXMLHANDLER_H
#define KRXMLLIB_JSONREADERTOXMLHANDLER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "binarydata.h"
#include "jsoncontext.h"
#include "jsontextreader.h"
#include "krexception.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

class CSerializationContext;
class CXmlTextWriter;

enum JsonPathItemType : int
{
    JsonPathArray = 0,
    JsonPathName = 1,
    JsonPathObject = 2
};

// One step of the path: a member name, an object, or an array with the number of the object
// item last started in it (-1 before the first).
class KRXML_API CJsonPathItem
{
public:
    std::string m_strName;
    int32_t m_nIndex = -1;
    JsonPathItemType m_eType = JsonPathName;
};

// Sits between the parser and the real consumer: traces each event to the debug output, keeps
// the path, and forwards the event.
class KRXML_API CJsonReaderDefaultHandler : public IJsonReaderHandler, public IErrorPathProvider
{
public:
    CJsonReaderDefaultHandler();
    ~CJsonReaderDefaultHandler() override;
    CJsonReaderDefaultHandler(const CJsonReaderDefaultHandler&) = delete;
    CJsonReaderDefaultHandler& operator=(const CJsonReaderDefaultHandler&) = delete;

    // Takes ownership; a handler set before is deleted.
    void SetHandler(IJsonReaderHandler* pHandler);
    // "$", then ".name" for every step that isn't an array: `$.a[1].c`.
    std::string GetErrorPath() override;

    void StartDocument() override;
    void EndDocument() override;
    void Name(const std::string& name) override;
    void String(const std::string& value) override;
    void Number(const std::string& value) override;
    void StartObject() override;
    void EndObject() override;
    void StartArray() override;
    void EndArray() override;
    void Bool(bool value) override;
    void Null() override;

private:
    CJsonPathItem* Push(JsonPathItemType eType);
    void Pop();
    void PopThrough(JsonPathItemType eType);
    // Sends one trace line of a value, cut short if it is too long for the debug output.
    static void TraceValue(const char* lpFormat, const std::string& value);

    std::vector<CJsonPathItem*> m_path;
    IJsonReaderHandler* m_pHandler;
    // Items popped from the path, kept for the next push; owned like those of the path.
    std::vector<CJsonPathItem*> m_spare;
};

// Writes the events as XML on a text writer. Element and attribute names go out as they stand
// (a prefix is part of the name, "@xmlns:p" members declare it), except that a name holding a
// character that would change the markup around it (blank, control, < > & " ' = / ? !) is
// refused, and so is an object or array as the value of an "@" or "#text" member.
class KRXML_API CJsonReaderToXmlHandler : public IJsonReaderHandler
{
public:
    CJsonReaderToXmlHandler(CXmlTextWriter* pWriter, JsonRoundTrip eRoundTrip, IErrorPathProvider* pErrorPath);
    ~CJsonReaderToXmlHandler() override;

    void StartDocument() override;
    void EndDocument() override;
    void Name(const std::string& name) override;
    void String(const std::string& value) override;
    void Number(const std::string& value) override;
    void StartObject() override;
    void EndObject() override;
    void StartArray() override;
    void EndArray() override;
    void Bool(bool value) override;
    void Null() override;

private:
    // Starts the element of the pending name, or of the array item to come, if one is due.
    void OpenDueElement();
    void OpenElement(const std::string& strName);
    void CloseElement();
    // lpValue null: a null value, which writes nothing.
    void WriteValue(const std::string* pValue);
    std::string ErrorPath() const;
    void RefuseStructuredValue();

    CXmlTextWriter* m_pWriter;
    JsonRoundTrip m_eRoundTrip;
    IErrorPathProvider* m_pErrorPath;
    // The open elements and the names of the open arrays. Entries beyond the counts are kept
    // for their storage, so that names don't allocate each time.
    std::vector<std::string> m_elementStack;
    size_t m_nElements;
    std::vector<std::string> m_arrayStack;
    size_t m_nArrays;
    std::string m_strName;
    bool m_bAttribute;
    bool m_bText;
    // m_strName is a member whose element isn't started yet: it starts with the first thing
    // its value holds, so that an empty array leaves nothing behind.
    bool m_bOpenPending;
    // A "#text" member's value is yet to come.
    bool m_bTextValueDue;
};

// Converts JSON text in the local code page to XML text, returned as UTF-8 bytes with a
// declaration, elements written without line ends or indentation. The options come from
// ctx.GetJsonContext(). Syntax failures raise CKrValidationException with line, position and
// JSON path; what can't map to XML raises as the handler above says.
KRXML_API CBinaryData JsonToXml(const std::string& json, const CSerializationContext& ctx);

} // namespace KrXmlLib16

#endif
