// Cost of a pattern-facet check: MatchesPattern, which compiles the pattern for every value,
// beside a CPatternMatcher compiled once and reused, so that the worth of a cache of compiled
// patterns can be judged. PCRE2 called directly, interpreted and JIT-compiled, stands beside
// them as the floor that a cache could reach.
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdio>
#include <string>
#include <vector>

#include "benchsupport.h"
#include "functions.h"
#include "patternmatcher.h"
#include "primitiverestrictions.h"

using namespace KrXmlLib16;
using KrXmlBench::BestSeconds;

namespace {

const int kChecks = 200000;
const int kRuns = 5;
volatile size_t g_nSink = 0;

void Report(const char* lpName, double dSeconds)
{
    std::printf("  %-44s %10.0f checks/s  (%8.1f ns/check)\n", lpName, kChecks / dSeconds,
                dSeconds / kChecks * 1e9);
}

// The pattern of the purchase order's SkuType, read from the schema.
std::string SkuPattern()
{
    std::string strXsd = KrXmlBench::ReadWholeFile(KRXML_SOURCE_DIR "/examples/data/po.xsd");
    size_t pos = strXsd.find("<xs:simpleType name=\"SkuType\">");
    if (pos != std::string::npos)
        pos = strXsd.find("<xs:pattern value=\"", pos);
    if (pos == std::string::npos)
        return "SKU-[0-9]{6}";
    pos += 19;
    return strXsd.substr(pos, strXsd.find('"', pos) - pos);
}

// Raw PCRE2 on the translated pattern: no text checks, no translation, match data reused.
double RawPcre2Seconds(const std::string& strTranslated, const std::vector<std::string>& values, bool bJit)
{
    int iError;
    PCRE2_SIZE nOffset;
    pcre2_code* pCode = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(strTranslated.data()), strTranslated.size(),
                                      PCRE2_UTF, &iError, &nOffset, nullptr);
    if (!pCode)
        return 0;
    if (bJit && pcre2_jit_compile(pCode, PCRE2_JIT_COMPLETE) != 0)
    {
        pcre2_code_free(pCode);
        return 0;
    }
    pcre2_match_data* pMatch = pcre2_match_data_create_from_pattern(pCode, nullptr);
    // JIT code doesn't take PCRE2_ANCHORED at match time (PCRE2 would fall back to the
    // interpreter); the translated pattern starts with "^", which anchors it all the same.
    const uint32_t dwOptions = bJit ? PCRE2_NO_UTF_CHECK : PCRE2_ANCHORED | PCRE2_NO_UTF_CHECK;
    double d = BestSeconds(kRuns, [&] {
        size_t n = 0;
        for (int i = 0; i < kChecks; ++i)
        {
            const std::string& v = values[i % values.size()];
            int rc = pcre2_match(pCode, reinterpret_cast<PCRE2_SPTR>(v.data()), v.size(), 0, dwOptions, pMatch,
                                 nullptr);
            if (rc > 0 && pcre2_get_ovector_pointer(pMatch)[0] == 0 && pcre2_get_ovector_pointer(pMatch)[1] == v.size())
                ++n;
        }
        g_nSink = g_nSink + n;
    });
    pcre2_match_data_free(pMatch);
    pcre2_code_free(pCode);
    return d;
}

void Run(const char* lpTitle, const std::string& strPattern, const std::vector<std::string>& values)
{
    std::printf("%s: \"%s\"\n", lpTitle, strPattern.c_str());

    // What the facet does today: compile, match, free, for every value.
    double dPerCheck = BestSeconds(kRuns, [&] {
        size_t n = 0;
        for (int i = 0; i < kChecks; ++i)
            n += MatchesPattern(strPattern, values[i % values.size()]) ? 1 : 0;
        g_nSink = g_nSink + n;
    });
    Report("MatchesPattern (compile per check)", dPerCheck);

    // The string facet as the engine runs it: lengths, the pattern converted to UTF-8, then
    // MatchesPattern. Matching values only, since a failure costs an exception besides.
    const CPrimitiveRestrictions facets(strPattern.c_str(), -1, -1, "", "", "", "", -1, -1, -1);
    std::vector<std::string> matching;
    for (const std::string& v : values)
        if (MatchesPattern(strPattern, v))
            matching.push_back(v);
    if (!matching.empty())
    {
        double dFacet = BestSeconds(kRuns, [&] {
            for (int i = 0; i < kChecks; ++i)
                ValidatePrimitive<ItemType_string>("item", matching[i % matching.size()], &facets);
        });
        Report("ValidatePrimitive, pattern facet (matches)", dFacet);
    }

    CPatternMatcher matcher(strPattern);
    double dReused = BestSeconds(kRuns, [&] {
        size_t n = 0;
        for (int i = 0; i < kChecks; ++i)
            n += matcher.Matches(values[i % values.size()]) ? 1 : 0;
        g_nSink = g_nSink + n;
    });
    Report("CPatternMatcher (compiled once, reused)", dReused);

    double dRaw = RawPcre2Seconds(matcher.GetTranslatedPattern(), values, false);
    if (dRaw > 0)
        Report("yardstick: raw pcre2_match, interpreted", dRaw);
    double dJit = RawPcre2Seconds(matcher.GetTranslatedPattern(), values, true);
    if (dJit > 0)
        Report("yardstick: raw pcre2_match, JIT", dJit);
    else
        std::printf("  yardstick: JIT not available\n");
    // The one-time price of JIT, for a cache that would keep JIT code.
    const std::string& strTranslated = matcher.GetTranslatedPattern();
    const int kCompiles = 2000;
    double dJitCompile = BestSeconds(kRuns, [&] {
        for (int i = 0; i < kCompiles; ++i)
        {
            int iError;
            PCRE2_SIZE nOffset;
            pcre2_code* pCode = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(strTranslated.data()), strTranslated.size(),
                                              PCRE2_UTF, &iError, &nOffset, nullptr);
            if (pCode)
            {
                g_nSink = g_nSink + static_cast<size_t>(pcre2_jit_compile(pCode, PCRE2_JIT_COMPLETE) == 0);
                pcre2_code_free(pCode);
            }
        }
    });
    std::printf("  yardstick: pcre2_compile + pcre2_jit_compile %11.1f us each\n", dJitCompile / kCompiles * 1e6);
    std::printf("  reuse is %.1f times as fast as compile per check\n\n", dPerCheck / dReused);
}

} // namespace

int main()
{
    // Half the values match, half fail at different places, as a mix of valid and invalid input.
    Run("postal code", "[0-9]{5}(-[0-9]{4})?", {"12345", "12345-6789", "1234", "12345-678", "98765", "ABCDE"});
    Run("purchase order sku", SkuPattern(), {"SKU-000001", "SKU-123456", "SKU-12345", "sku-123456", "SKU-999999", "SKU-1234567"});
    Run("name with XSD escapes", "\\i\\c*", {"purchaseOrder", "xs:element", "1abc", "a b", "item-2", "_x.y"});
    return 0;
}
