#include "patternmatcher.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstring>
#include <memory>
#include <new>

#include "encoder.h"
#include "functions.h"
#include "krexception.h"
#include "platform.h"

namespace KrXmlLib16 {

namespace {

// Stands for an escaped backslash while the escapes are replaced. 0xFF never occurs in
// UTF-8, and the pattern has been checked to be UTF-8, so no byte of the pattern itself can
// be taken for it.
const char kEscapedBackslash[] = "\xFF";

// Replaces every occurrence in one pass from left to right, so that a long pattern stays
// linear. For the pairs below this is what a search restarting at the beginning gives: the
// escapes start with a backslash and their replacements start with '(' or '[' and end with
// ')' or ']', and the stand-in byte is a single byte found in neither, so no replacement,
// alone or beside its neighbours, forms a new match.
void ReplaceEach(std::string& text, const char* lpFrom, const char* lpTo)
{
    size_t nFrom = std::strlen(lpFrom);
    size_t pos = text.find(lpFrom, 0, nFrom);
    if (pos == std::string::npos)
        return;
    std::string strOut;
    strOut.reserve(text.size() + 16);
    size_t start = 0;
    while (pos != std::string::npos)
    {
        strOut.append(text, start, pos - start);
        strOut += lpTo;
        start = pos + nFrom;
        pos = text.find(lpFrom, start, nFrom);
    }
    strOut.append(text, start, std::string::npos);
    text.swap(strOut);
}

std::string DescribeInvalidByte(const char* lpText, size_t nOffset)
{
    return FormatString("byte 0x%02X at offset %llu", static_cast<unsigned char>(lpText[nOffset]),
                        static_cast<unsigned long long>(nOffset));
}

struct MatchDataDeleter
{
    void operator()(pcre2_match_data* p) const { pcre2_match_data_free(p); }
};

// A value that needs deep backtracking can make PCRE2 claim memory in proportion to its
// length times the frame size (gigabytes for a value of some megabytes); the limit keeps one
// check within bounds. Read-only once made, so all threads share it.
const uint32_t kHeapLimitKiB = 64 * 1024;

class CMatchContext
{
public:
    CMatchContext() : m_pContext(pcre2_match_context_create(nullptr))
    {
        if (m_pContext)
            pcre2_set_heap_limit(m_pContext, kHeapLimitKiB);
    }
    ~CMatchContext() { pcre2_match_context_free(m_pContext); }
    CMatchContext(const CMatchContext&) = delete;
    CMatchContext& operator=(const CMatchContext&) = delete;
    pcre2_match_context* Get() const { return m_pContext; }

private:
    pcre2_match_context* m_pContext;
};

pcre2_match_context* SharedMatchContext()
{
    static const CMatchContext s_context;
    if (!s_context.Get())
        throw std::bad_alloc();
    return s_context.Get();
}

// Match data keeps the backtracking frames of its last match. A match of a short subject uses
// this thread's own, kept from match to match so that it allocates nothing once warm; a long
// one, whose frames may have grown large, gets match data of its own that goes with it.
const size_t kReusedMatchDataSubject = 1024;

// Match data of this thread, big enough for nPairs offset pairs. A larger block serves a
// pattern with fewer groups.
pcre2_match_data* ThreadMatchData(uint32_t nPairs)
{
    thread_local std::unique_ptr<pcre2_match_data, MatchDataDeleter> t_spData;
    thread_local uint32_t t_nPairs = 0;
    if (!t_spData || t_nPairs < nPairs)
    {
        t_spData.reset();
        t_nPairs = 0;
        t_spData.reset(pcre2_match_data_create(nPairs, nullptr));
        if (!t_spData)
            throw std::bad_alloc();
        t_nPairs = nPairs;
    }
    return t_spData.get();
}

// Characters that stand for themselves in a pattern, outside a class and in it, with the
// options the matcher compiles with.
bool IsPlainLiteral(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == ' ' ||
           c == ':' || c == '@' || c == '/' || c == ',' || c == '=' || c == '\'' || c == '"' || c == '%' || c == '&' ||
           c == ';' || c == '~' || c == '!' || c == '<' || c == '>';
}

void AddToSet(uint64_t& qwLow, uint64_t& qwHigh, unsigned char c)
{
    if (c < 64)
        qwLow |= uint64_t(1) << c;
    else
        qwHigh |= uint64_t(1) << (c - 64);
}

// True when a ")" outside a character class closes more than the pattern opened: wrapped in the
// anchoring brackets it would close them and compile, as ")|(" does, though no XSD pattern is
// written so.
bool ClosesMoreThanItOpens(const std::string& strPattern)
{
    int nDepth = 0;
    bool bInClass = false;
    for (size_t i = 0; i < strPattern.size(); ++i)
    {
        const char c = strPattern[i];
        if (c == '\\')
            ++i;
        else if (bInClass)
            bInClass = c != ']';
        else if (c == '[')
        {
            bInClass = true;
            if (i + 1 < strPattern.size() && strPattern[i + 1] == '^')
                ++i;
            if (i + 1 < strPattern.size() && strPattern[i + 1] == ']')
                ++i;  // a "]" first in a class is one of its characters
        }
        else if (c == '(')
            ++nDepth;
        else if (c == ')' && --nDepth < 0)
            return true;
    }
    return false;
}

} // namespace

std::string CPatternMatcher::TranslatePattern(const std::string& patternUtf8)
{
    std::string strPattern;
    strPattern.reserve(patternUtf8.size() + 4);
    strPattern += "^(";
    // Every XSD-only escape starts with a backslash: without one there is nothing to replace.
    if (patternUtf8.find('\\') == std::string::npos)
        strPattern += patternUtf8;
    else
    {
        std::string strBody(patternUtf8);
        ReplaceEach(strBody, "\\\\", kEscapedBackslash);
        ReplaceEach(strBody, "\\i", "([^\\W\\d]|:)");
        ReplaceEach(strBody, "\\I", "([\\W\\d])");
        ReplaceEach(strBody, "\\c", "(\\w|\\.|-|:)");
        ReplaceEach(strBody, "\\C", "([^\\w\\.\\-\\:])");
        ReplaceEach(strBody, "\\p{IsBasicLatin}", "[\\000-\\177]");
        ReplaceEach(strBody, "\\p{IsLatin-1Supplement}", "[\\200-\\377]");
        ReplaceEach(strBody, "\\p{IsLatinExtended-A}", "[\\x{100}-\\x{17F}]");
        ReplaceEach(strBody, "\\p{IsLatinExtended-B}", "[\\x{180}-\\x{24F}]");
        ReplaceEach(strBody, kEscapedBackslash, "\\\\");
        strPattern += strBody;
    }
    // The brackets keep both anchors on every branch of a top-level alternation.
    strPattern += ")$";
    return strPattern;
}

bool CPatternMatcher::ParseFixedShape(const std::string& strPattern)
{
    std::vector<FixedAtom> atoms;
    size_t nLength = 0;
    const size_t n = strPattern.size();
    size_t i = 0;
    while (i < n)
    {
        FixedAtom atom = {0, 0, 1};
        const unsigned char c = static_cast<unsigned char>(strPattern[i]);
        if (c == '-' || IsPlainLiteral(c))
        {
            AddToSet(atom.qwLow, atom.qwHigh, c);
            ++i;
        }
        else if (c == '[')
        {
            // Literals and ranges of literals; anything else (a negation, an escape, a nested
            // class, a '-' that isn't between two literals) is left to PCRE2.
            ++i;
            bool bAny = false;
            while (i < n && strPattern[i] != ']')
            {
                const unsigned char cFrom = static_cast<unsigned char>(strPattern[i]);
                if (!IsPlainLiteral(cFrom))
                    return false;
                unsigned char cTo = cFrom;
                if (i + 2 < n && strPattern[i + 1] == '-' && strPattern[i + 2] != ']')
                {
                    cTo = static_cast<unsigned char>(strPattern[i + 2]);
                    if (!IsPlainLiteral(cTo) || cTo < cFrom)
                        return false;
                    i += 3;
                }
                else
                    ++i;
                for (unsigned int k = cFrom; k <= cTo; ++k)
                    AddToSet(atom.qwLow, atom.qwHigh, static_cast<unsigned char>(k));
                bAny = true;
            }
            if (i >= n || !bAny)
                return false;
            ++i;  // the ']'
        }
        else
            return false;
        if (i < n && strPattern[i] == '{')
        {
            // Only an exact count "{n}"; "{n,m}" and "{n,}" leave a choice of lengths.
            size_t j = i + 1;
            uint32_t dwCount = 0;
            while (j < n && strPattern[j] >= '0' && strPattern[j] <= '9' && j - i <= 4)
                dwCount = dwCount * 10 + static_cast<uint32_t>(strPattern[j++] - '0');
            if (j == i + 1 || j >= n || strPattern[j] != '}')
                return false;
            atom.dwCount = dwCount;
            i = j + 1;
        }
        if (i < n && (strPattern[i] == '?' || strPattern[i] == '*' || strPattern[i] == '+' || strPattern[i] == '{'))
            return false;
        nLength += atom.dwCount;
        atoms.push_back(atom);
    }
    m_fixedAtoms.swap(atoms);
    m_nFixedLength = nLength;
    return true;
}

bool CPatternMatcher::MatchesFixedShape(const char* p, size_t nLen) const
{
    if (nLen != m_nFixedLength)
        return false;
    for (const FixedAtom& atom : m_fixedAtoms)
        for (uint32_t k = 0; k < atom.dwCount; ++k)
        {
            const unsigned char c = static_cast<unsigned char>(*p++);
            const bool bIn = c < 64 ? ((atom.qwLow >> c) & 1) != 0 : c < 128 && ((atom.qwHigh >> (c - 64)) & 1) != 0;
            if (!bIn)
                return false;
        }
    return true;
}

CPatternMatcher::CPatternMatcher(const std::string& patternUtf8)
    : m_pCode(nullptr), m_dwCaptureCount(0), m_bFixedShape(false), m_nFixedLength(0)
{
    size_t nValid = Platform::ValidLocalPrefix(65001, patternUtf8.data(), patternUtf8.size());
    if (nValid != patternUtf8.size())
        throw CKrException("Invalid Regular Expression: the pattern is not valid UTF-8 (" +
                           DescribeInvalidByte(patternUtf8.data(), nValid) + ")");
    m_strTranslated = TranslatePattern(patternUtf8);
    if (ClosesMoreThanItOpens(patternUtf8))
        throw CKrException("Invalid Regular Expression: " + Utf8ToLocal(m_strTranslated.data(), m_strTranslated.size()) +
                           " Error: 'unmatched closing parenthesis'");

    int iError = 0;
    PCRE2_SIZE nErrorOffset = 0;
    // The length is passed, so that a NUL byte is a character of the pattern, not its end.
    // DOLLAR_ENDONLY: "$" before a final newline would end the match there, and a branch that
    // takes the newline would never be tried ("(a|a\n)" on "a\n").
    m_pCode = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(m_strTranslated.data()), m_strTranslated.size(),
                            PCRE2_UTF | PCRE2_DOLLAR_ENDONLY, &iError, &nErrorOffset, nullptr);
    if (!m_pCode)
    {
        if (iError == PCRE2_ERROR_NOMEMORY)
            throw std::bad_alloc();
        PCRE2_UCHAR szError[256];
        if (pcre2_get_error_message(iError, szError, sizeof(szError)) < 0)
            szError[0] = 0;
        // Messages are local text; the pattern is UTF-8.
        throw CKrException("Invalid Regular Expression: " + Utf8ToLocal(m_strTranslated.data(), m_strTranslated.size()) +
                           " Error: '" + reinterpret_cast<const char*>(szError) + "'");
    }
    if (pcre2_pattern_info(m_pCode, PCRE2_INFO_CAPTURECOUNT, &m_dwCaptureCount) != 0)
        m_dwCaptureCount = 0;
    m_bFixedShape = ParseFixedShape(patternUtf8);
}

CPatternMatcher::~CPatternMatcher()
{
    pcre2_code_free(m_pCode);
}

bool CPatternMatcher::Matches(const char* lpValue, size_t nLen) const
{
    if (!lpValue)
        nLen = 0;
    const char* pSubject = lpValue ? lpValue : "";
    // Under ASCIIOnly local text is the parser's UTF-8 passed through unconverted.
    const unsigned int uCodePage = g_bASCIIOnly ? 65001u : g_uLocalCodePage;
    const bool bUtf8 = Platform::IsUtf8CodePage(uCodePage);
    // In another code page ASCII text is its own UTF-8 form: no check, no conversion.
    bool bConvert = false;
    if (!bUtf8)
    {
        CUtf8IdentityCheck ascii;
        ascii.Feed(pSubject, nLen);
        bConvert = !ascii.IsIdentity();
    }
    if (bUtf8 || bConvert)
    {
        size_t nValid = Platform::ValidLocalPrefix(uCodePage, pSubject, nLen);
        if (nValid != nLen)
            throw CKrInvalidValueException("The value is not valid text in the local character encoding (" +
                                           DescribeInvalidByte(pSubject, nValid) + ")");
    }
    CBinaryData utf8;
    if (bConvert)
    {
        utf8 = LocalToUtf8(pSubject, nLen);
        pSubject = reinterpret_cast<const char*>(utf8.GetData());
        nLen = utf8.GetLength();
        if (!pSubject)
            pSubject = "";
    }

    if (m_bFixedShape)
        return MatchesFixedShape(pSubject, nLen);

    std::unique_ptr<pcre2_match_data, MatchDataDeleter> spOwnMatch;
    pcre2_match_data* pMatch;
    if (nLen <= kReusedMatchDataSubject)
        pMatch = ThreadMatchData(m_dwCaptureCount + 1);
    else
    {
        spOwnMatch.reset(pcre2_match_data_create(m_dwCaptureCount + 1, nullptr));
        if (!spOwnMatch)
            throw std::bad_alloc();
        pMatch = spOwnMatch.get();
    }
    // The subject has been checked above, and the whole of it is matched, NUL bytes included.
    int iResult = pcre2_match(m_pCode, reinterpret_cast<PCRE2_SPTR>(pSubject), nLen, 0, PCRE2_ANCHORED | PCRE2_NO_UTF_CHECK,
                              pMatch, SharedMatchContext());
    if (iResult == PCRE2_ERROR_NOMEMORY)
        throw std::bad_alloc();
    if (iResult == PCRE2_ERROR_NOMATCH)
        return false;
    if (iResult <= 0)
    {
        // A match, depth or memory limit: the value may be valid all the same, so it is
        // neither accepted nor refused as invalid.
        PCRE2_UCHAR szError[256];
        if (pcre2_get_error_message(iResult, szError, sizeof(szError)) < 0)
            szError[0] = 0;
        throw CKrException(FormatString("The pattern could not be applied to a value of %llu bytes: %s",
                                        static_cast<unsigned long long>(nLen), reinterpret_cast<const char*>(szError)));
    }
    // "$" also matches before a final newline; only a match that ends at the subject's end counts.
    const PCRE2_SIZE* pOffsets = pcre2_get_ovector_pointer(pMatch);
    return pOffsets[0] == 0 && pOffsets[1] == nLen;
}

} // namespace KrXmlLib16
