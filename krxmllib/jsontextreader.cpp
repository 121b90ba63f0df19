#include "jsontextreader.h"

#include <cstring>

#include "encoder.h"
#include "functions.h"
#include "jsonreadertoxmlhandler.h"
#include "krlimits.h"
#include "platform.h"
#include "whitespaceutils.h"
#include "valuescratch.h"

namespace KrXmlLib16 {

namespace {

// Storage of a value larger than this is released once the value is handed on.
const size_t kKeptTokenCapacity = 1u << 20;

// Texts above this length are refused: positions and columns are 32-bit signed numbers.
const size_t kMaxTextLength = 0x7FFFFFFF;

// The bytes at which a run of plain string content ends.
struct StringStops
{
    bool stop[256];
    StringStops()
    {
        std::memset(stop, 0, sizeof(stop));
        stop[static_cast<unsigned char>('"')] = true;
        stop[static_cast<unsigned char>('\\')] = true;
        stop[static_cast<unsigned char>('\n')] = true;
        stop[0] = true;
    }
};
const StringStops g_stringStops;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

const char kEofString[] = "Unexpected End of File. Expected string value at line %d, position %d.";
const char kEofHex[] = "Unexpected End of File. Expected 4 hexadecimal digits'\\uxxxx' at line %d, position %d.";
const char kNulInString[] = "NUL character in string at line %d, position %d.";
const char kNulUnexpected[] = "Unexpected NUL character at line %d, position %d.";
const char kExpectedDigit[] = "Expected a digit '0' to '9', found '%c' at line %d, position %d.";
const char kEofArray[] = "Unexpected End of File. Expected Array terminator character ']' at line %d, position %d.";
const char kEofObject[] = "Unexpected End of File. Expected Object terminator character '}' at line %d, position %d.";

} // namespace

IJsonReaderHandler::~IJsonReaderHandler() = default;

CJsonTextReader::CJsonTextReader(const std::string& text)
    : CInstanceMonitor("CJsonTextReader"), m_pHandler(nullptr), m_nDepthLimit(100), m_nCapDepth(100), m_bAllowComments(true),
      m_pText(&text), m_nPos(0), m_chCurrent(0), m_bEof(false), m_nLine(1), m_nColumn(0)
{
    m_pHandler = new CJsonReaderDefaultHandler();
}

CJsonTextReader::~CJsonTextReader()
{
    delete m_pHandler;
}

void CJsonTextReader::SetHandler(IJsonReaderHandler* pHandler)
{
    m_pHandler->SetHandler(pHandler);
}

IErrorPathProvider* CJsonTextReader::GetErrorPathProvider()
{
    return m_pHandler;
}

// ---- failures ----

void CJsonTextReader::Raise(const std::string& strMessage)
{
    throw CKrValidationException(strMessage, m_pHandler->GetErrorPath());
}

void CJsonTextReader::RaiseAt(const char* lpFormat)
{
    Raise(FormatString(lpFormat, m_nLine, m_nColumn));
}

void CJsonTextReader::RaiseFound(const char* lpFormat)
{
    // A NUL would end the message where the character stands.
    if (m_chCurrent == '\0')
        RaiseAt(kNulUnexpected);
    Raise(FormatString(lpFormat, m_chCurrent, m_nLine, m_nColumn));
}

// ---- characters ----

char CJsonTextReader::Peek() const
{
    return m_nPos < m_pText->size() ? (*m_pText)[m_nPos] : '\0';
}

bool CJsonTextReader::ReadChar(bool bSkipWhitespace)
{
    // Comments are skipped in this loop rather than by recursion, so that a text of many
    // comments in a row can't exhaust the stack.
    const std::string& text = *m_pText;
    const size_t nLen = text.size();
    for (;;)
    {
        if (m_nPos >= nLen)
        {
            m_bEof = true;
            return false;
        }
        char c = text[m_nPos++];
        ++m_nColumn;
        if (c == '\n')
        {
            ++m_nLine;
            m_nColumn = 0;
            continue;
        }
        if (bSkipWhitespace && CWhitespaceUtils::IsWhiteSpace(c))
            continue;
        m_chCurrent = c;
        if (!bSkipWhitespace || !m_bAllowComments || c != '/')
            return true;
        char chNext = Peek();
        if (chNext == '/')
        {
            // A line comment runs up to and including the line feed; the position on the line
            // isn't counted on the way.
            ++m_nPos;
            const void* pLineFeed = m_nPos < nLen ? std::memchr(text.data() + m_nPos, '\n', nLen - m_nPos) : nullptr;
            if (!pLineFeed)
            {
                m_nPos = static_cast<uint32_t>(nLen);
                m_bEof = true;
                return false;
            }
            m_nPos = static_cast<uint32_t>(static_cast<const char*>(pLineFeed) - text.data()) + 1;
            ++m_nLine;
            m_nColumn = 0;
            continue;
        }
        if (chNext == '*')
        {
            ++m_nPos;
            for (;;)
            {
                if (!ReadChar(false))
                    return false;
                if (m_chCurrent == '*' && Peek() == '/')
                    break;
            }
            ++m_nPos;
            ++m_nColumn;
            continue;
        }
        // Not a comment: the '/' stands, and the caller refuses it.
        return true;
    }
}

bool CJsonTextReader::ReadChars(char* pBuffer, int nCount)
{
    size_t nAvailable = m_pText->size() - m_nPos;
    size_t nCopy = static_cast<size_t>(nCount) < nAvailable ? static_cast<size_t>(nCount) : nAvailable;
    std::memcpy(pBuffer, m_pText->data() + m_nPos, nCopy);
    m_nPos += static_cast<uint32_t>(nCopy);
    m_nColumn += static_cast<int32_t>(nCopy);
    if (nCopy == static_cast<size_t>(nCount))
    {
        m_chCurrent = pBuffer[nCount - 1];
        return true;
    }
    m_bEof = true;
    return false;
}

// ---- the grammar ----

void CJsonTextReader::Parse()
{
    if (m_pText->size() > kMaxTextLength)
        throw CKrException("JSON String is too long");
    // The library's cap on nesting takes over where it is stricter than the parser's own bound.
    const uint32_t nCap = CKrLimits::GetMaxDepth();
    m_nCapDepth = nCap && nCap < static_cast<uint32_t>(m_nDepthLimit) ? static_cast<int32_t>(nCap) : m_nDepthLimit;
    m_nPos = 0;
    m_bEof = false;
    m_nLine = 1;
    m_nColumn = 0;
    m_chCurrent = 0;
    m_pHandler->StartDocument();
    if (!m_strRootElementName.empty())
    {
        m_pHandler->StartObject();
        m_pHandler->Name(m_strRootElementName);
    }
    if (ReadChar(true))
        ParseValue(0);
    if (!m_strRootElementName.empty())
        m_pHandler->EndObject();
    m_pHandler->EndDocument();
}

void CJsonTextReader::ParseValue(int nDepth)
{
    ++nDepth;
    if (nDepth > m_nCapDepth)
    {
        if (m_nCapDepth == m_nDepthLimit)
            RaiseAt("JSON exceeded depth limit at line %d, position %d.");
        Raise(FormatString("JSON is nested more than %d levels deep, the limit set by CKrLimits::SetMaxDepth, at "
                           "line %d, position %d.",
                           m_nCapDepth, m_nLine, m_nColumn));
    }
    switch (m_chCurrent)
    {
    case '{':
        m_pHandler->StartObject();
        ParseObject(nDepth);
        m_pHandler->EndObject();
        return;
    case '[':
        m_pHandler->StartArray();
        ParseArray(nDepth);
        m_pHandler->EndArray();
        return;
    case '"':
        ParseString();
        m_pHandler->String(m_strToken);
        ReleaseHugeToken();
        return;
    case 'n':
        ParseLiteral("ull", 3, "Unexpected End of File. Expected value 'NULL' at line %d, position %d.",
                     "Expected 'NULL' at line %d, position %d.");
        m_pHandler->Null();
        return;
    case 't':
        ParseLiteral("rue", 3, "Unexpected End of File. Expected value 'true' at line %d, position %d.",
                     "Expected 'true' at line %d, position %d.");
        m_pHandler->Bool(true);
        return;
    case 'f':
        ParseLiteral("alse", 4, "Unexpected End of File. Expected value 'false' at line %d, position %d.",
                     "Expected 'false' at line %d, position %d.");
        m_pHandler->Bool(false);
        return;
    default:
        break;
    }
    if (m_chCurrent != '-' && !IsDigit(m_chCurrent))
        RaiseFound("Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found '%c' at line %d, "
                   "position %d.");
    ParseNumber();
    m_pHandler->Number(m_strToken);
    ReleaseHugeToken();
}

void CJsonTextReader::ReleaseHugeToken()
{
    // A huge value's storage isn't kept for the rest of the parse.
    if (m_strToken.capacity() > kKeptTokenCapacity)
        std::string().swap(m_strToken);
}

void CJsonTextReader::ParseObject(int nDepth)
{
    if (!ReadChar(true))
        RaiseAt("Unexpected End of File. Expected Object terminator character '}}' at line %d, position %d.");
    if (m_chCurrent != '}')
    {
        for (;;)
        {
            if (m_chCurrent != '"')
                RaiseFound("Expected quotation mark character '\"' before Name, found '%c' at line %d, position %d.");
            ParseString();
            m_pHandler->Name(m_strToken);
            ReleaseHugeToken();
            if (m_bEof)
                RaiseAt("Unexpected End of File. Expected Object Name/Value separator character ':' at line %d, "
                        "position %d.");
            if (m_chCurrent != ':')
                RaiseFound("Expected Object Name/Value separator character ':', found '%c' at line %d, position %d.");
            if (!ReadChar(true))
                RaiseAt("Unexpected End of File. Expected Object Value at line %d, position %d.");
            ParseValue(nDepth);
            if (m_bEof)
                RaiseAt(kEofObject);
            if (m_chCurrent == '}')
                break;
            if (m_chCurrent != ',')
                RaiseFound("Expected Object separator character ',', found '%c' at line %d, position %d.");
            if (!ReadChar(true))
                RaiseAt(kEofObject);
        }
    }
    // The end of the text right behind the brace is for the caller to judge.
    ReadChar(true);
}

void CJsonTextReader::ParseArray(int nDepth)
{
    if (!ReadChar(true))
        RaiseAt(kEofArray);
    if (m_chCurrent != ']')
    {
        for (;;)
        {
            ParseValue(nDepth);
            if (m_bEof)
                RaiseAt(kEofArray);
            if (m_chCurrent == ']')
                break;
            if (m_chCurrent != ',')
                RaiseFound("Expected Array separator character ',', found '%c' at line %d, position %d.");
            if (!ReadChar(true))
                RaiseAt(kEofArray);
        }
    }
    ReadChar(true);
}

void CJsonTextReader::ParseLiteral(const char* lpRest, int nRest, const char* lpCutOff, const char* lpMisspelled)
{
    char szBuffer[4];
    if (!ReadChars(szBuffer, nRest))
        RaiseAt(lpCutOff);
    if (std::memcmp(szBuffer, lpRest, static_cast<size_t>(nRest)) != 0)
        RaiseAt(lpMisspelled);
    ReadChar(true);
}

// ---- numbers ----

void CJsonTextReader::AppendDigits()
{
    // The current character is a digit: it and those that follow it belong to the number.
    m_strToken += m_chCurrent;
    while (ReadChar(false) && IsDigit(m_chCurrent))
        m_strToken += m_chCurrent;
}

void CJsonTextReader::ParseNumber()
{
    // White space ends a number; a line feed doesn't, since it is never delivered.
    static const char kEofNumber[] = "Unexpected End of File. Expected a number at line %d, position %d.";
    m_strToken.clear();
    if (m_chCurrent == '-')
    {
        m_strToken += '-';
        if (!ReadChar(false))
            RaiseAt(kEofNumber);
    }
    if (m_chCurrent == '0')
    {
        m_strToken += '0';
        ReadChar(false);
    }
    else if (IsDigit(m_chCurrent))
        AppendDigits();
    else
        RaiseFound(kExpectedDigit);
    if (!m_bEof && m_chCurrent == '.')
    {
        m_strToken += '.';
        if (!ReadChar(false))
            RaiseAt("Unexpected End of File. Expected a digit '0' to '9' at line %d, position %d.");
        if (!IsDigit(m_chCurrent))
            RaiseFound(kExpectedDigit);
        AppendDigits();
    }
    if (!m_bEof && (m_chCurrent == 'e' || m_chCurrent == 'E'))
    {
        m_strToken += m_chCurrent;
        if (!ReadChar(false))
            RaiseAt("Unexpected End of File. Expected '+', '-' or a number at line %d, position %d.");
        if (m_chCurrent == '+' || m_chCurrent == '-')
        {
            m_strToken += m_chCurrent;
            if (!ReadChar(false))
                RaiseAt(kEofNumber);
        }
        if (!IsDigit(m_chCurrent))
            RaiseFound(kExpectedDigit);
        AppendDigits();
    }
    if (!m_bEof && CWhitespaceUtils::IsWhiteSpace(m_chCurrent))
        ReadChar(true);
}

// ---- strings ----

void CJsonTextReader::ParseString()
{
    m_strToken.clear();
    const std::string& text = *m_pText;
    const size_t nLen = text.size();
    for (;;)
    {
        // Plain content is taken in runs: what reading it one character at a time would give,
        // without the per-character work.
        size_t nStart = m_nPos;
        size_t nEnd = nStart;
        while (nEnd < nLen && !g_stringStops.stop[static_cast<unsigned char>(text[nEnd])])
            ++nEnd;
        if (nEnd > nStart)
        {
            if (nEnd - nStart > kKeptTokenCapacity && m_strToken.size() + (nEnd - nStart) > m_strToken.capacity())
            {
                // A huge value: room for all of it at once, rather than growth by doubling,
                // which would hold up to three times the value for a moment.
                size_t nRest = nEnd;
                while (nRest < nLen && text[nRest] != '"')
                    nRest += text[nRest] == '\\' ? 2 : 1;
                m_strToken.reserve(m_strToken.size() + (nRest - nStart));
            }
            m_strToken.append(text, nStart, nEnd - nStart);
            m_nPos = static_cast<uint32_t>(nEnd);
            m_nColumn += static_cast<int32_t>(nEnd - nStart);
            m_chCurrent = text[nEnd - 1];
        }
        // A line feed is dropped here, as ReadChar never delivers one.
        if (!ReadChar(false))
            RaiseAt(kEofString);
        switch (m_chCurrent)
        {
        case '"':
            ReadChar(true);
            return;
        case '\0':
            // The value would end here for whoever reads it as a terminated string.
            RaiseAt(kNulInString);
        case '\\':
            break;
        default:
            m_strToken += m_chCurrent;
            continue;
        }
        if (!ReadChar(false))
            RaiseAt(kEofString);
        switch (m_chCurrent)
        {
        case '"': m_strToken += '"'; break;
        case '\\': m_strToken += '\\'; break;
        case '/': m_strToken += '/'; break;
        case 'b': m_strToken += '\x08'; break;
        case 'f': m_strToken += '\x0C'; break;
        case 'n': m_strToken += '\x0A'; break;
        case 'r': m_strToken += '\x0D'; break;
        case 't': m_strToken += '\x09'; break;
        case 'u': ParseUnicodeEscape(); break;
        default: RaiseFound("Invalid Escape Character '%c' at line %d, position %d.");
        }
    }
}

void CJsonTextReader::ParseUnicodeEscape()
{
    // Four hexadecimal digits give one UTF-16 unit. A high surrogate must be followed at once
    // by a \u group of a low one: the pair is one character. The character is appended in the
    // local code page.
    auto readGroup = [this](char* szGroup) -> uint32_t {
        if (!ReadChars(szGroup, 4))
            RaiseAt(kEofHex);
        szGroup[4] = 0;
        uint32_t uUnit = 0;
        for (int i = 0; i < 4; ++i)
        {
            int iDigit = Internal::HexDigitValue(szGroup[i]);
            if (iDigit < 0)
            {
                if (std::memchr(szGroup, 0, 4))
                    RaiseAt(kNulInString);
                Raise(FormatString("Invalid hexadecimal digits '\\u%s' at line %d, position %d.", szGroup, m_nLine,
                                   m_nColumn));
            }
            uUnit = uUnit * 16 + static_cast<uint32_t>(iDigit);
        }
        return uUnit;
    };
    char szFirst[5];
    uint32_t uUnit = readGroup(szFirst);
    if (uUnit == 0)
        RaiseAt(kNulInString);
    if (uUnit >= 0xDC00 && uUnit <= 0xDFFF)
        Raise(FormatString("Unpaired surrogate '\\u%s' at line %d, position %d.", szFirst, m_nLine, m_nColumn));
    if (uUnit >= 0xD800 && uUnit <= 0xDBFF)
    {
        const int32_t nLine = m_nLine, nColumn = m_nColumn;
        const std::string& text = *m_pText;
        if (m_nPos + 1 >= text.size() || text[m_nPos] != '\\' || text[m_nPos + 1] != 'u')
            Raise(FormatString("Unpaired surrogate '\\u%s' at line %d, position %d.", szFirst, nLine, nColumn));
        m_nPos += 2;
        m_nColumn += 2;
        char szSecond[5];
        uint32_t uLow = readGroup(szSecond);
        if (uLow < 0xDC00 || uLow > 0xDFFF)
            Raise(FormatString("Unpaired surrogate '\\u%s' at line %d, position %d.", szFirst, nLine, nColumn));
        uUnit = 0x10000 + ((uUnit - 0xD800) << 10) + (uLow - 0xDC00);
    }
    AppendCodePoint(uUnit);
}

void CJsonTextReader::AppendCodePoint(uint32_t uCodePoint)
{
    if (uCodePoint < 0x80)
    {
        m_strToken += static_cast<char>(uCodePoint);
        return;
    }
    if (g_bASCIIOnly || Platform::IsUtf8CodePage(g_uLocalCodePage))
    {
        // Local text is UTF-8 (or, under ASCIIOnly, the parser's UTF-8 bytes as they are).
        if (uCodePoint < 0x800)
        {
            m_strToken += static_cast<char>(0xC0 | (uCodePoint >> 6));
        }
        else if (uCodePoint < 0x10000)
        {
            m_strToken += static_cast<char>(0xE0 | (uCodePoint >> 12));
            m_strToken += static_cast<char>(0x80 | ((uCodePoint >> 6) & 0x3F));
        }
        else
        {
            m_strToken += static_cast<char>(0xF0 | (uCodePoint >> 18));
            m_strToken += static_cast<char>(0x80 | ((uCodePoint >> 12) & 0x3F));
            m_strToken += static_cast<char>(0x80 | ((uCodePoint >> 6) & 0x3F));
        }
        m_strToken += static_cast<char>(0x80 | (uCodePoint & 0x3F));
        return;
    }
    // Another code page: through UTF-16; a character the code page lacks becomes '?'.
    unsigned short units[2];
    int nUnits = 1;
    if (uCodePoint >= 0x10000)
    {
        units[0] = static_cast<unsigned short>(0xD800 + ((uCodePoint - 0x10000) >> 10));
        units[1] = static_cast<unsigned short>(0xDC00 + ((uCodePoint - 0x10000) & 0x3FF));
        nUnits = 2;
    }
    else
        units[0] = static_cast<unsigned short>(uCodePoint);
    m_strToken += WideToLocal(units, nUnits);
}

} // namespace KrXmlLib16
