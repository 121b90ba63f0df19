#include "jsontextwriter.h"

#include <cassert>
#include <cstring>

#include "functions.h"
#include "krexception.h"
#include "textlayout.h"

namespace KrXmlLib16 {

namespace {

// What each byte of a string needs.
enum EscapeCode : unsigned char
{
    Esc_None = 0,
    Esc_Quote,      // \"
    Esc_Backslash,  // \\ (a solidus needs nothing)
    Esc_Backspace,  // \b
    Esc_Tab,        // \t
    Esc_FormFeed,   // \f
    Esc_LineFeed,   // in a value the writer's line end, raw; elsewhere \n
    Esc_Return,     // in a value dropped; elsewhere \r
    Esc_Control,    // \u00XX
    Esc_End         // NUL: the text ends here
};

struct EscapeTable
{
    unsigned char code[256];

    EscapeTable()
    {
        for (int c = 0; c < 256; ++c)
            code[c] = c < 0x20 ? Esc_Control : Esc_None;
        code[0x00] = Esc_End;
        code[0x08] = Esc_Backspace;
        code[0x09] = Esc_Tab;
        code[0x0A] = Esc_LineFeed;
        code[0x0C] = Esc_FormFeed;
        code[0x0D] = Esc_Return;
        code[static_cast<unsigned char>('"')] = Esc_Quote;
        code[static_cast<unsigned char>('\\')] = Esc_Backslash;
    }
};

const EscapeTable g_escape;

// The kinds whose text is written as a bare number or literal.
bool IsBareKind(ItemType eType)
{
    return (eType >= ItemType_i1 && eType <= ItemType_r8) || (eType >= ItemType_boolean && eType <= ItemType_integer);
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// The number grammar of JSON: -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
bool IsJsonNumber(const std::string& strText)
{
    const char* p = strText.c_str();
    const char* pEnd = p + strText.size();
    if (p < pEnd && *p == '-')
        ++p;
    if (p == pEnd || !IsDigit(*p))
        return false;
    if (*p == '0')
        ++p;
    else
        while (p < pEnd && IsDigit(*p))
            ++p;
    if (p < pEnd && *p == '.')
    {
        ++p;
        if (p == pEnd || !IsDigit(*p))
            return false;
        while (p < pEnd && IsDigit(*p))
            ++p;
    }
    if (p < pEnd && (*p == 'e' || *p == 'E'))
    {
        ++p;
        if (p < pEnd && (*p == '+' || *p == '-'))
            ++p;
        if (p == pEnd || !IsDigit(*p))
            return false;
        while (p < pEnd && IsDigit(*p))
            ++p;
    }
    return p == pEnd;
}

// What may stand bare for a kind: a number of the JSON grammar, the two literals of a boolean,
// and the three special values of the float kinds, which the XSD texts spell this way and JSON
// has no form for.
bool IsBareText(const std::string& strText, ItemType eType)
{
    if (IsJsonNumber(strText))
        return true;
    if (eType == ItemType_boolean)
        return strText == "true" || strText == "false";
    if (eType == ItemType_r4 || eType == ItemType_r8)
        return strText == "INF" || strText == "-INF" || strText == "NaN";
    return false;
}

bool IsXmlNamespace(const std::string& strNamespace)
{
    static const size_t nXmlUriLen = std::strlen(kXmlNamespaceUri);
    return strNamespace.compare(0, nXmlUriLen, kXmlNamespaceUri) == 0;
}

} // namespace

CJsonTextWriter::CJsonTextWriter(CTextStream* pStream)
    : CXmlWriter("CJsonTextWriter"), m_strIndent("\t"), m_strEol("\n"), m_eEolType(EOLType_LF),
      m_eRoundTrip(RoundTripFull), m_bFormatted(true), m_pStream(pStream), m_bValuePending(false),
      m_bValueWritten(false), m_bRootWritten(false), m_nOpenArrays(0)
{
    assert(pStream != 0);
}

CJsonTextWriter::~CJsonTextWriter() = default;

void CJsonTextWriter::SetFormatted(bool bFormatted)
{
    assert(m_pContext == 0);
    m_bFormatted = bFormatted;
}

void CJsonTextWriter::SetIndent(const char* lpIndent)
{
    m_strIndent = lpIndent ? lpIndent : "";
    m_strIndentRun.clear();
}

void CJsonTextWriter::SetEOLType(EOLType eEOLType)
{
    m_strEol = EolText(eEOLType);
    m_eEolType = eEOLType;
}

void CJsonTextWriter::SetRoundTrip(JsonRoundTrip eRoundTrip)
{
    if (eRoundTrip != RoundTripNone && eRoundTrip != RoundTripAttributes && eRoundTrip != RoundTripFull)
        throw CKrInvalidParamException(
            FormatString("Invalid JSON round trip mode [%d].", static_cast<int>(eRoundTrip)));
    m_eRoundTrip = eRoundTrip;
}

// ---- low-level output ----

void CJsonTextWriter::WriteIndent(int nLevels)
{
    if (!m_bFormatted || m_strIndent.empty() || nLevels <= 0)
        return;
    const size_t nLen = IndentRun(m_strIndentRun, m_strIndent, nLevels);  // may rebuild the run
    Write(m_strIndentRun.data(), nLen);
}

void CJsonTextWriter::WriteEscaped(const std::string& strText, bool bValue)
{
    static const char kHex[] = "0123456789ABCDEF";
    // Runs of bytes that need nothing go out in one piece; bytes above 0x7F are among them.
    const char* pRun = strText.data();
    const char* pEnd = pRun + strText.size();
    for (const char* p = pRun; p < pEnd; ++p)
    {
        unsigned char c = static_cast<unsigned char>(*p);
        unsigned char code = g_escape.code[c];
        if (code == Esc_None)
            continue;
        if (p > pRun)
            Write(pRun, static_cast<size_t>(p - pRun));
        pRun = p + 1;
        switch (code)
        {
        case Esc_Quote: Write("\\\"", 2); break;
        case Esc_Backslash: Write("\\\\", 2); break;
        case Esc_Backspace: Write("\\b", 2); break;
        case Esc_Tab: Write("\\t", 2); break;
        case Esc_FormFeed: Write("\\f", 2); break;
        case Esc_LineFeed:
            if (bValue)
                Write(m_strEol);
            else
                Write("\\n", 2);
            break;
        case Esc_Return:
            if (!bValue)
                Write("\\r", 2);
            break;
        case Esc_Control:
        {
            char sz[6] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0x0F]};
            Write(sz, sizeof(sz));
            break;
        }
        default:  // Esc_End: the text ends at its NUL
            return;
        }
    }
    if (pEnd > pRun)
        Write(pRun, static_cast<size_t>(pEnd - pRun));
}

void CJsonTextWriter::WriteValue(const std::string& strText, ItemType eType)
{
    // A numeric text that JSON wouldn't take as a number (a format override can make "+1.50"
    // or "007") is written as a string, so that the document stays valid; a reader takes every
    // value as text either way.
    if (IsBareKind(eType) && IsBareText(strText, eType))
    {
        Write(strText);
        return;
    }
    Write('"');
    WriteEscaped(strText, true);
    Write('"');
}

void CJsonTextWriter::WriteName(const char* lpMark, const std::string* pPrefix, const std::string& strName)
{
    // Names from a schema need no escape; the escape keeps names made by hand valid as well.
    Write('"');
    Write(lpMark, std::strlen(lpMark));
    if (pPrefix)
    {
        WriteEscaped(*pPrefix, false);
        Write(':');
    }
    WriteEscaped(strName, false);
    Write("\": ", 3);
}

const std::string& CJsonTextWriter::RequireAlias(const CXmlWriterContext* pContext,
                                                 const std::string& strNamespace) const
{
    const std::string& strAlias = pContext->GetNamespaceMapValue(strNamespace);
    if (strAlias.empty())
        throw CKrException(FormatString("Unknown Namespace: %s.", strNamespace.c_str()));
    return strAlias;
}

void CJsonTextWriter::ThrowValueWritten(const CXmlWriterContext* pContext) const
{
    // Text alone is written as the element's value at once; JSON has no way to put members
    // behind it.
    throw CKrException(FormatString("The element [%s] has been written as a plain value and can take no further "
                                    "content",
                                    pContext->m_strName.c_str()),
                       pContext->GetXPath());
}

// ---- members and arrays ----

void CJsonTextWriter::OpenArrayOfParent(CXmlWriterContext* pItem)
{
    CXmlWriterContext* pHolder = pItem->m_pParent;
    size_t nSlot = static_cast<size_t>(pHolder->m_nDepth);
    if (m_arrayItems.size() <= nSlot)
        m_arrayItems.resize(nSlot + 1);
    m_arrayItems[nSlot].first.assign(pItem->m_strName);
    m_arrayItems[nSlot].second.assign(pItem->m_strNamespace);
    pHolder->m_iArrayState = 2;
    Write('[');
    ++m_nOpenArrays;
    WriteLineEnd();
    WriteIndent(Depth(pItem));
}

void CJsonTextWriter::CloseArray(CXmlWriterContext* pHolder)
{
    pHolder->m_iArrayState = 0;
    WriteLineEnd();
    WriteIndent(Depth(pHolder));
    --m_nOpenArrays;
    Write(']');
}

void CJsonTextWriter::OpenMember(CXmlWriterContext* pContext)
{
    if (!m_bValuePending)
        Write(',');
    else
    {
        if (m_bValueWritten)
            ThrowValueWritten(pContext);
        if (pContext->m_pParent && pContext->m_pParent->m_iArrayState == 1)
            OpenArrayOfParent(pContext);
        Write('{');
    }
    WriteLineEnd();
}

void CJsonTextWriter::WriteDeclaration(CXmlWriterContext* pContext, const std::string* pPrefix,
                                       const std::string& strNamespace)
{
    OpenMember(pContext);
    WriteIndent(Depth(pContext) + 1);
    Write("\"@xmlns", 7);
    if (pPrefix)
    {
        Write(':');
        WriteEscaped(*pPrefix, false);
    }
    Write("\": \"", 4);
    WriteEscaped(strNamespace, false);
    Write('"');
    m_bValuePending = false;
}

void CJsonTextWriter::OnArrayStateChanged(CXmlWriterContext* pContext, int iOldState)
{
    const int iNewState = pContext->m_iArrayState;
    if (iOldState == 2)
    {
        if (iNewState == 2)
            return;
        // The end of the collection (or the start of another without its end): the array
        // closes right behind its last item, before anything else of the element.
        pContext->m_iArrayState = 2;
        CloseArray(pContext);
    }
    // A collection is under way until its first item opens the array; any other state is none.
    pContext->m_iArrayState = iNewState == 1 || iNewState == 2 ? 1 : 0;
}

// ---- document ----

void CJsonTextWriter::StartDocument()
{
    CXmlWriter::StartDocument();
    m_pStream->Start();
}

void CJsonTextWriter::EndDocument()
{
    m_pStream->End();
    CXmlWriter::EndDocument();
}

void CJsonTextWriter::WriteHeader()
{
    Write('{');
    WriteLineEnd();
    FlushTest();
}

void CJsonTextWriter::WriteFooter()
{
    WriteLineEnd();
    Write('}');
}

void CJsonTextWriter::WriteComment(const std::string& strText)
{
    // Escaping can't help inside a comment: its end marker would end it early.
    if (strText.find("*/") != std::string::npos)
        throw CKrException("A comment can not contain \"*/\"", m_pContext ? m_pContext->GetXPath() : std::string());
    Write("/* ", 3);
    WriteEscaped(strText, true);
    Write(" */", 3);
    Write(m_strEol);
    FlushTest();
}

void CJsonTextWriter::WriteProcessingInstruction(const std::string&) {}

void CJsonTextWriter::WriteInLineSchema(const std::string&) {}

// ---- elements ----

void CJsonTextWriter::StartElement(const std::string& strName, const std::string& strNamespace)
{
    const bool bRoot = m_pContext == nullptr;
    bool bName = true;
    if (!bRoot)
    {
        CXmlWriterContext* pParent = m_pContext;
        if (pParent->m_iArrayState == 2 && static_cast<size_t>(pParent->m_nDepth) < m_arrayItems.size())
        {
            // A further item of the open array carries no name. An element of another name
            // ends the array and starts a member of its own, so that no name is lost where a
            // collection holds elements of several names (wildcards, repeated groups).
            const std::pair<std::string, std::string>& item = m_arrayItems[static_cast<size_t>(pParent->m_nDepth)];
            if (item.first == strName && (m_eRoundTrip != RoundTripFull || item.second == strNamespace))
                bName = false;
            else
            {
                CloseArray(pParent);
                pParent->m_iArrayState = 1;
            }
        }
        OpenMember(pParent);
    }
    else if (m_bRootWritten)
    {
        // A further root element is a further member of the document object.
        Write(',');
        WriteLineEnd();
    }
    CXmlWriterContext* pNew = CreateContext(strName, strNamespace);
    WriteIndent(Depth(pNew));
    m_bValueWritten = false;

    if (m_eRoundTrip != RoundTripFull || !bName)
    {
        if (bName)
            WriteName("", nullptr, strName);
        m_bValuePending = true;
    }
    else
    {
        bool bDeclare = false;
        const std::string* pPrefix = nullptr;
        if (!strNamespace.empty() && strNamespace != pNew->GetDefaultNamespace())
        {
            if (pNew->GetNamespaceMapValue(strNamespace).empty())
            {
                // Only the root may declare: below it a namespace nobody declared has no prefix.
                if (!bRoot)
                    throw CKrException(FormatString("Unknown Namespace: %s.", strNamespace.c_str()));
                pNew->SetNamespaceMapValue(strNamespace, pNew->GenerateNamespaceAlias());
                bDeclare = true;
            }
            pNew->m_strPrefix.assign(pNew->GetNamespaceMapValue(strNamespace));
            pPrefix = &pNew->m_strPrefix;
        }
        WriteName("", pPrefix, strName);
        m_bValuePending = true;
        if (bDeclare)
            WriteDeclaration(pNew, pPrefix, strNamespace);
        if (bRoot)
        {
            if (!m_strDefaultNamespace.empty())
                WriteDeclaration(pNew, nullptr, m_strDefaultNamespace);
            for (const NamespaceMap::value_type& entry : m_namespaces)
                if (!IsXmlNamespace(entry.first))
                    WriteDeclaration(pNew, &entry.second, entry.first);
        }
    }
    FlushTest();
    PushContext(pNew);
    m_bRootWritten = true;
}

void CJsonTextWriter::WriteElementText(const std::string& strText, ItemType eType, bool)
{
    assert(m_pContext != 0);
    if (!m_bValuePending)
    {
        // The element has members already: the text is one more.
        Write(',');
        WriteLineEnd();
        WriteIndent(Depth(m_pContext) + 1);
        if (m_eRoundTrip != RoundTripNone)
            Write("\"#text\": ", 9);
        else
            Write("\"\": ", 4);
    }
    else
    {
        if (m_bValueWritten)
            ThrowValueWritten(m_pContext);
        if (m_pContext->m_pParent && m_pContext->m_pParent->m_iArrayState == 1)
            OpenArrayOfParent(m_pContext);
        m_bValueWritten = true;
    }
    WriteValue(strText, eType);
}

void CJsonTextWriter::EndElement()
{
    assert(m_pContext != 0);
    CXmlWriterContext* pContext = m_pContext;
    // A collection whose end wasn't reported ends with its element.
    if (pContext->m_iArrayState == 2)
        CloseArray(pContext);
    if (!m_bValuePending)
    {
        WriteLineEnd();
        WriteIndent(Depth(pContext));
        Write('}');
    }
    else if (!m_bValueWritten)
    {
        // Nothing stands behind the name (an empty class, a nil value): null keeps the
        // document valid, and reads back as an empty element. The first item of an array may
        // be such an element, and then opens the array here.
        if (pContext->m_pParent && pContext->m_pParent->m_iArrayState == 1)
            OpenArrayOfParent(pContext);
        Write("null", 4);
    }
    m_bValuePending = false;
    m_bValueWritten = false;
    PopContext();
    // The closing braces of a deep document are as long as its opening: a stream that writes
    // as it goes gets them block by block.
    FlushTest();
}

void CJsonTextWriter::WriteAttribute(const std::string& strName, const std::string& strNamespace,
                                     const std::string& strValue, ItemType eType)
{
    assert(m_pContext != 0);
    if (IsRepeatedAttribute(strName, strNamespace, strValue))
        return;
    // The prefix is looked up first, so that a refused attribute writes nothing.
    const std::string* pPrefix = nullptr;
    if (m_eRoundTrip == RoundTripFull && !strNamespace.empty())
        pPrefix = &RequireAlias(m_pContext, strNamespace);
    OpenMember(m_pContext);
    WriteIndent(Depth(m_pContext) + 1);
    WriteName(m_eRoundTrip == RoundTripNone ? "" : "@", pPrefix, strName);
    WriteValue(strValue, eType);
    m_bValuePending = false;
}

void CJsonTextWriter::WriteTypeAttribute(const std::string& strNamespace, const std::string& strTypeName,
                                         ItemType eType)
{
    if (m_eRoundTrip != RoundTripFull)
        return;
    assert(m_pContext != 0);
    static const std::string s_strXsi(kXmlSchemaInstanceUri);
    static const std::string s_strType("type");
    if (strNamespace.empty() || strNamespace == m_pContext->GetDefaultNamespace())
    {
        WriteAttribute(s_strType, s_strXsi, strTypeName, eType);
        return;
    }
    const std::string& strAlias = RequireAlias(m_pContext, strNamespace);
    WriteAttribute(s_strType, s_strXsi, strAlias + ":" + strTypeName, eType);
}

void CJsonTextWriter::WriteNilAttribute() {}

} // namespace KrXmlLib16
