// Fuzz target: pattern facets. The first line is the XSD pattern, the rest the value. A
// pattern compiles or raises the library's exception, a value matches, doesn't, or raises;
// the cached road (MatchesPattern) must answer as the matcher does, and both as PCRE2 answers
// for the translated expression taken over the whole value.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

namespace {

// 1 for a match of the whole value, 0 for none, -1 where PCRE2 gives up (a limit) or can't
// take the text (not UTF-8).
int Reference(const std::string& strExpression, const std::string& strValue)
{
    int iError = 0;
    PCRE2_SIZE nErrorOffset = 0;
    // DOLLAR_ENDONLY: "$" at the very end only, so that a value is matched whole.
    pcre2_code* pCode = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(strExpression.data()), strExpression.size(),
                                      PCRE2_UTF | PCRE2_DOLLAR_ENDONLY, &iError, &nErrorOffset, nullptr);
    if (!pCode)
        return -1;
    pcre2_match_data* pMatch = pcre2_match_data_create_from_pattern(pCode, nullptr);
    const int iResult = pcre2_match(pCode, reinterpret_cast<PCRE2_SPTR>(strValue.data()), strValue.size(), 0,
                                    PCRE2_ANCHORED, pMatch, nullptr);
    // A ")" of the pattern can close the anchoring brackets early; only a match of the whole
    // value counts.
    const bool bWhole = iResult > 0 && pcre2_get_ovector_pointer(pMatch)[1] == strValue.size();
    pcre2_match_data_free(pMatch);
    pcre2_code_free(pCode);
    if (iResult == PCRE2_ERROR_NOMATCH)
        return 0;
    return iResult > 0 ? (bWhole ? 1 : 0) : -1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    const std::vector<std::string> parts = KrXmlFuzz::Split(pData, nSize, 2);
    if (parts[0].size() > 256 || parts[1].size() > 1024)
        return 0;
    std::unique_ptr<CPatternMatcher> spMatcher;
    try
    {
        spMatcher.reset(new CPatternMatcher(parts[0]));
    }
    catch (const CKrException&)
    {
        try
        {
            (void)MatchesPattern(parts[0], parts[1]);
            Check(false);  // the cached road refuses the same pattern
        }
        catch (const CKrException&)
        {
        }
        return 0;
    }
    int iMatcher = -1;
    try
    {
        iMatcher = spMatcher->Matches(parts[1]) ? 1 : 0;
    }
    catch (const CKrException&)
    {
    }
    int iCached = -1;
    try
    {
        iCached = MatchesPattern(parts[0], parts[1]) ? 1 : 0;
    }
    catch (const CKrException&)
    {
    }
    Check(iMatcher == iCached);
    // Values in ASCII are the same in the local encoding and in UTF-8, so that PCRE2 can judge
    // them directly.
    bool bAscii = true;
    for (char c : parts[1])
        bAscii = bAscii && static_cast<unsigned char>(c) < 0x80;
    if (bAscii && iMatcher >= 0)
    {
        const int iReference = Reference(spMatcher->GetTranslatedPattern(), parts[1]);
        Check(iReference < 0 || iReference == iMatcher);
    }
    return 0;
}
