#include "jsonreadertoxmlhandler.h"

#include <string>

#include "functions.h"
#include "itemtype.h"
#include "platform.h"
#include "serializationcontext.h"
#include "textstream.h"
#include "xmltextwriter.h"

namespace KrXmlLib16 {

// ---- CJsonReaderDefaultHandler ----

CJsonReaderDefaultHandler::CJsonReaderDefaultHandler() : m_pHandler(nullptr) {}

CJsonReaderDefaultHandler::~CJsonReaderDefaultHandler()
{
    for (CJsonPathItem* p : m_path)
        delete p;
    for (CJsonPathItem* p : m_spare)
        delete p;
    delete m_pHandler;
}

void CJsonReaderDefaultHandler::SetHandler(IJsonReaderHandler* pHandler)
{
    if (pHandler == m_pHandler)
        return;
    delete m_pHandler;
    m_pHandler = pHandler;
}

std::string CJsonReaderDefaultHandler::GetErrorPath()
{
    std::string strPath = "$";
    for (const CJsonPathItem* p : m_path)
    {
        if (p->m_eType == JsonPathArray)
            continue;
        strPath += '.';
        strPath += p->m_strName;
    }
    return strPath;
}

CJsonPathItem* CJsonReaderDefaultHandler::Push(JsonPathItemType eType)
{
    // Room first, so that a failed push can't lose the item.
    m_path.reserve(m_path.size() + 1);
    CJsonPathItem* p;
    if (!m_spare.empty())
    {
        p = m_spare.back();
        m_spare.pop_back();
    }
    else
        p = new CJsonPathItem();
    p->m_strName.clear();
    p->m_nIndex = -1;
    p->m_eType = eType;
    m_path.push_back(p);
    return p;
}

void CJsonReaderDefaultHandler::Pop()
{
    CJsonPathItem* p = m_path.back();
    m_path.pop_back();
    try
    {
        m_spare.push_back(p);
    }
    catch (...)
    {
        delete p;
        throw;
    }
}

void CJsonReaderDefaultHandler::PopThrough(JsonPathItemType eType)
{
    while (!m_path.empty())
    {
        bool bLast = m_path.back()->m_eType == eType;
        Pop();
        if (bLast)
            return;
    }
}

void CJsonReaderDefaultHandler::TraceValue(const char* lpFormat, const std::string& value)
{
    // The debug output takes lines below 32 KB: a longer value is traced by its head.
    const size_t kMaxTraced = 16 * 1024;
    if (value.size() <= kMaxTraced)
    {
        DebugTrace(lpFormat, value.c_str());
        return;
    }
    size_t nCut = kMaxTraced;
    while (nCut > 0 && (static_cast<unsigned char>(value[nCut]) & 0xC0) == 0x80)
        --nCut;  // not inside a UTF-8 character
    DebugTrace(lpFormat, (value.substr(0, nCut) + "...").c_str());
}

void CJsonReaderDefaultHandler::StartDocument()
{
    DebugTrace("StartDocument\n");
    if (m_pHandler)
        m_pHandler->StartDocument();
}

void CJsonReaderDefaultHandler::EndDocument()
{
    DebugTrace("EndDocument\n");
    if (m_pHandler)
        m_pHandler->EndDocument();
}

void CJsonReaderDefaultHandler::Name(const std::string& name)
{
    if (Platform::HasDebugSink())
        TraceValue("Name: %s\n", name);
    // A name step is replaced by the next name of the same object.
    if (!m_path.empty() && m_path.back()->m_eType == JsonPathName)
        m_path.back()->m_strName = name;
    else
        Push(JsonPathName)->m_strName = name;
    if (m_pHandler)
        m_pHandler->Name(name);
}

void CJsonReaderDefaultHandler::String(const std::string& value)
{
    if (Platform::HasDebugSink())
        TraceValue("String: %s\n", value);
    if (m_pHandler)
        m_pHandler->String(value);
}

void CJsonReaderDefaultHandler::Number(const std::string& value)
{
    if (Platform::HasDebugSink())
        TraceValue("Number: %s\n", value);
    if (m_pHandler)
        m_pHandler->Number(value);
}

void CJsonReaderDefaultHandler::StartObject()
{
    DebugTrace("StartObject\n");
    if (!m_path.empty())
    {
        CJsonPathItem* pTop = m_path.back();
        if (pTop->m_eType == JsonPathName)
            // The object takes the place of its member's name.
            pTop->m_eType = JsonPathObject;
        else if (pTop->m_eType == JsonPathArray)
        {
            ++pTop->m_nIndex;
            // "name[index]", built in the storage of a reused item.
            CJsonPathItem* pNew = Push(JsonPathObject);
            pNew->m_strName.assign(pTop->m_strName);
            pNew->m_strName += '[';
            AppendZeroPadded(pNew->m_strName, static_cast<uint32_t>(pTop->m_nIndex), 0);
            pNew->m_strName += ']';
        }
        else
            Push(JsonPathObject);
    }
    if (m_pHandler)
        m_pHandler->StartObject();
}

void CJsonReaderDefaultHandler::EndObject()
{
    DebugTrace("EndObject\n");
    PopThrough(JsonPathObject);
    if (m_pHandler)
        m_pHandler->EndObject();
}

void CJsonReaderDefaultHandler::StartArray()
{
    DebugTrace("StartArray\n");
    if (!m_path.empty())
    {
        CJsonPathItem* pTop = m_path.back();
        if (pTop->m_eType == JsonPathName)
        {
            pTop->m_eType = JsonPathArray;
            pTop->m_nIndex = -1;
        }
        else
            Push(JsonPathArray);
    }
    if (m_pHandler)
        m_pHandler->StartArray();
}

void CJsonReaderDefaultHandler::EndArray()
{
    DebugTrace("EndArray\n");
    PopThrough(JsonPathArray);
    if (m_pHandler)
        m_pHandler->EndArray();
}

void CJsonReaderDefaultHandler::Bool(bool value)
{
    DebugTrace("Bool: %s\n", value ? "true" : "false");
    if (m_pHandler)
        m_pHandler->Bool(value);
}

void CJsonReaderDefaultHandler::Null()
{
    DebugTrace("Null\n");
    if (m_pHandler)
        m_pHandler->Null();
}

// ---- CJsonReaderToXmlHandler ----

namespace {

// A character that would change the markup around a name written as it stands. What else
// XML refuses in a name (a leading digit, '#', '@' ...) is left to the XML parser.
bool IsMarkupSafeName(const std::string& strName)
{
    if (strName.empty())
        return false;
    for (char c : strName)
    {
        unsigned char u = static_cast<unsigned char>(c);
        if (u <= 0x20 || u == 0x7F)
            return false;
        switch (c)
        {
        case '<': case '>': case '&': case '"': case '\'': case '=': case '/': case '?': case '!':
            return false;
        default:
            break;
        }
    }
    return true;
}

const char kNameMessage[] = "Failed to convert name '%s' to Element name in XML.";
const char kAttributeNameMessage[] = "Failed to convert name '%s' to Attribute name in XML.";
const char kElementValueMessage[] = "Failed to convert value '%s' to Element string value in XML.";
const char kAttributeValueMessage[] = "Failed to convert value '%s' to Attribute string value in XML.";

} // namespace

CJsonReaderToXmlHandler::CJsonReaderToXmlHandler(CXmlTextWriter* pWriter, JsonRoundTrip eRoundTrip,
                                                 IErrorPathProvider* pErrorPath)
    : m_pWriter(pWriter), m_eRoundTrip(eRoundTrip), m_pErrorPath(pErrorPath), m_nElements(0), m_nArrays(0),
      m_bAttribute(false), m_bText(false), m_bOpenPending(false), m_bTextValueDue(false)
{
}

CJsonReaderToXmlHandler::~CJsonReaderToXmlHandler() = default;

std::string CJsonReaderToXmlHandler::ErrorPath() const
{
    return m_pErrorPath ? m_pErrorPath->GetErrorPath() : std::string();
}

void CJsonReaderToXmlHandler::OpenElement(const std::string& strName)
{
    if (!IsMarkupSafeName(strName))
        throw CKrInvalidStateException(FormatString(kNameMessage, strName.c_str()));
    m_bAttribute = false;
    m_bOpenPending = false;
    if (&strName != &m_strName)
        m_strName.assign(strName);
    if (m_nElements == m_elementStack.size())
        m_elementStack.emplace_back();
    m_elementStack[m_nElements].assign(strName);
    try
    {
        m_pWriter->StartElement(strName, std::string());
    }
    catch (const CKrException&)
    {
        throw CKrInvalidStateException(FormatString(kNameMessage, strName.c_str()));
    }
    ++m_nElements;
}

void CJsonReaderToXmlHandler::CloseElement()
{
    m_strName.clear();
    m_bOpenPending = false;
    if (m_nElements == 0)
        return;
    --m_nElements;
    m_pWriter->EndElement();
}

void CJsonReaderToXmlHandler::OpenDueElement()
{
    if (m_bOpenPending)
        OpenElement(m_strName);
    else if (m_strName.empty() && m_nArrays != 0)
        // A further item of an array: an element of the array's name.
        OpenElement(m_arrayStack[m_nArrays - 1]);
}

void CJsonReaderToXmlHandler::StartDocument()
{
    m_nElements = 0;
    m_nArrays = 0;
    m_strName.clear();
    m_bAttribute = m_bText = m_bOpenPending = m_bTextValueDue = false;
    m_pWriter->WriteXmlDeclaration();
}

void CJsonReaderToXmlHandler::EndDocument() {}

void CJsonReaderToXmlHandler::Name(const std::string& name)
{
    if (name.empty())
        throw CKrValidationException("JSON item has an empty Name.", ErrorPath());
    if (m_eRoundTrip != RoundTripNone)
    {
        if (name == "#text")
        {
            // The text of the element whose object this is; a name still pending (an empty
            // array's) has nothing to do with it.
            m_bText = true;
            m_bTextValueDue = true;
            m_bAttribute = false;
            m_bOpenPending = false;
            return;
        }
        if (name[0] == '@')
        {
            m_bAttribute = true;
            m_bOpenPending = false;
            m_strName.assign(name, 1, std::string::npos);
            return;
        }
    }
    // The element starts with its value, so that an empty array makes none.
    m_bAttribute = false;
    m_strName.assign(name);
    m_bOpenPending = true;
}

void CJsonReaderToXmlHandler::WriteValue(const std::string* pValue)
{
    m_bTextValueDue = false;
    static const std::string s_strNull = "null";
    const std::string& strShown = pValue ? *pValue : s_strNull;
    if (m_bAttribute)
    {
        m_bAttribute = false;
        if (pValue)
        {
            if (m_nElements == 0)
                throw CKrInvalidStateException(FormatString(kAttributeValueMessage, strShown.c_str()));
            if (!IsMarkupSafeName(m_strName))
                throw CKrInvalidStateException(FormatString(kAttributeNameMessage, m_strName.c_str()));
            try
            {
                m_pWriter->WriteAttribute(m_strName, std::string(), *pValue, ItemType_string);
            }
            catch (const CKrException&)
            {
                throw CKrInvalidStateException(FormatString(kAttributeValueMessage, strShown.c_str()));
            }
        }
        // A null attribute writes nothing; the element stays open either way.
        m_strName.clear();
        return;
    }
    // A member's element starts here; a further item of an array of scalars gets an element
    // of the array's name, unless the value is the text of the current element.
    if (m_bOpenPending)
        OpenElement(m_strName);
    else if (!m_bText)
        OpenDueElement();
    if (m_nElements == 0)
        // A value at the top of a document with no root element name: no element to hold it.
        throw CKrInvalidStateException(FormatString(kElementValueMessage, strShown.c_str()));
    if (pValue)
    {
        try
        {
            m_pWriter->WriteElementText(*pValue, ItemType_string, false);
        }
        catch (const CKrException&)
        {
            throw CKrInvalidStateException(FormatString(kElementValueMessage, strShown.c_str()));
        }
    }
    CloseElement();
}

void CJsonReaderToXmlHandler::String(const std::string& value)
{
    WriteValue(&value);
}

void CJsonReaderToXmlHandler::Number(const std::string& value)
{
    WriteValue(&value);
}

void CJsonReaderToXmlHandler::Bool(bool value)
{
    static const std::string s_strTrue = "true", s_strFalse = "false";
    WriteValue(value ? &s_strTrue : &s_strFalse);
}

void CJsonReaderToXmlHandler::Null()
{
    WriteValue(nullptr);
}

void CJsonReaderToXmlHandler::RefuseStructuredValue()
{
    // An attribute and an element's text hold text alone.
    if (m_bAttribute)
        throw CKrValidationException("JSON Attribute has an object or array value.", ErrorPath());
    if (m_bTextValueDue)
        throw CKrValidationException("JSON Text has an object or array value.", ErrorPath());
}

void CJsonReaderToXmlHandler::StartObject()
{
    RefuseStructuredValue();
    OpenDueElement();
}

void CJsonReaderToXmlHandler::EndObject()
{
    // A name with no value at all (the root element name over a text that holds none) is an
    // empty element.
    if (m_bOpenPending)
        OpenElement(m_strName);
    if (!m_bText)
        CloseElement();
    m_bText = false;
}

void CJsonReaderToXmlHandler::StartArray()
{
    RefuseStructuredValue();
    if (m_strName.empty())
        throw CKrValidationException("JSON Array has no Name.", ErrorPath());
    if (m_nArrays == m_arrayStack.size())
        m_arrayStack.emplace_back();
    m_arrayStack[m_nArrays].assign(m_strName);
    ++m_nArrays;
}

void CJsonReaderToXmlHandler::EndArray()
{
    if (m_nArrays != 0)
        --m_nArrays;
    // Nothing in the array started its member's element: an empty array makes none, as an
    // empty collection is written as no member at all.
    if (m_bOpenPending)
    {
        m_bOpenPending = false;
        m_strName.clear();
    }
}

// ---- JsonToXml ----

CBinaryData JsonToXml(const std::string& json, const CSerializationContext& ctx)
{
    const CJsonContext& jsonContext = ctx.GetJsonContext();
    CTextStream stream(XmlEncoding_UTF8);
    CXmlTextWriter writer(&stream);
    // No line ends or indentation between elements: a reader of untyped content would take
    // them for text of the elements, which the JSON doesn't have.
    writer.SetFormatted(false);
    CJsonTextReader reader(json);
    // The default handler owns the XML handler from here on.
    reader.SetHandler(new CJsonReaderToXmlHandler(&writer, jsonContext.GetSupportRoundtrip(),
                                                  reader.GetErrorPathProvider()));
    reader.m_bAllowComments = jsonContext.GetAllowComments();
    reader.m_strRootElementName = jsonContext.GetRootElementName();
    writer.StartDocument();
    reader.Parse();
    writer.EndDocument();
    return stream.GetEncodedData();
}

} // namespace KrXmlLib16
