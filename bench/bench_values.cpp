// Throughput of the value conversions: text to value and back to text per kind, through
// CConversions and through KrVariant, beside the plain C library (strtol family or strtod, then
// snprintf) where the kind has such a counterpart. Each figure is the best of several runs.
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "benchsupport.h"
#include "conversions.h"
#include "krvariant.h"

using namespace KrXmlLib16;
using KrXmlBench::BestSeconds;

namespace {

volatile size_t g_nSink = 0;
const int kRuns = 5;
const CWhitespaceUtils::WhitespaceRule kRule = CWhitespaceUtils::WhitespaceRule_Collapse;

// Operations per second of fn over the sample texts, repeated to nOps operations.
template <typename Fn>
double OpsPerSecond(const std::vector<std::string>& texts, int nOps, Fn fn)
{
    auto loop = [&] {
        size_t n = 0;
        for (int i = 0; i < nOps; ++i)
            n += fn(texts[static_cast<size_t>(i) % texts.size()]);
        g_nSink = g_nSink + n;
    };
    loop();  // warm caches and the allocator
    return nOps / BestSeconds(kRuns, loop);
}

void Row(const char* lpKind, double dOurs, double dVariant, double dLibc)
{
    if (dLibc > 0)
        std::printf("%-14s %14.0f %14.0f %14.0f %8.2f\n", lpKind, dOurs, dVariant, dLibc, dOurs / dLibc);
    else
        std::printf("%-14s %14.0f %14.0f %14s %8s\n", lpKind, dOurs, dVariant, "-", "-");
}

// The libc baselines: the same parse (with its errno and end checks) and the same print.
size_t LibcLong(const std::string& s)
{
    char* pEnd;
    errno = 0;
    long n = std::strtol(s.c_str(), &pEnd, 10);
    if (errno == ERANGE || *pEnd)
        return 0;
    char sz[32];
    return static_cast<size_t>(std::snprintf(sz, sizeof(sz), "%ld", n));
}

size_t LibcLongLong(const std::string& s)
{
    char* pEnd;
    errno = 0;
    long long n = std::strtoll(s.c_str(), &pEnd, 10);
    if (errno == ERANGE || *pEnd)
        return 0;
    char sz[32];
    return static_cast<size_t>(std::snprintf(sz, sizeof(sz), "%lld", n));
}

size_t LibcULong(const std::string& s)
{
    char* pEnd;
    errno = 0;
    unsigned long n = std::strtoul(s.c_str(), &pEnd, 10);
    if (errno == ERANGE || *pEnd)
        return 0;
    char sz[32];
    return static_cast<size_t>(std::snprintf(sz, sizeof(sz), "%lu", n));
}

size_t LibcULongLong(const std::string& s)
{
    char* pEnd;
    errno = 0;
    unsigned long long n = std::strtoull(s.c_str(), &pEnd, 10);
    if (errno == ERANGE || *pEnd)
        return 0;
    char sz[32];
    return static_cast<size_t>(std::snprintf(sz, sizeof(sz), "%llu", n));
}

size_t LibcDouble(const std::string& s, const char* lpFormat, bool bFloat)
{
    char* pEnd;
    double d = std::strtod(s.c_str(), &pEnd);
    if (*pEnd)
        return 0;
    if (bFloat)
        d = static_cast<float>(d);
    char sz[48];
    return static_cast<size_t>(std::snprintf(sz, sizeof(sz), lpFormat, d));
}

struct Kind
{
    const char* lpName;
    ItemType eType;
    std::vector<std::string> texts;
    size_t (*pfnOurs)(const std::string&);
    size_t (*pfnLibc)(const std::string&);
};

#define KR_OURS(kind) [](const std::string& s) { return C::kind##ToString(C::kind##FromString(s, kRule)).size(); }
typedef CConversions C;

} // namespace

int main()
{
    const int nOps = 400000;
    std::vector<Kind> kinds = {
        {"hexBinary", ItemType_hexBinary, {"00FF10AB", "DEADBEEFCAFEBABE0123456789ABCDEF"}, KR_OURS(hexBinary), nullptr},
        {"base64Binary", ItemType_base64Binary, {"YWJj", "SGVsbG8sIFdvcmxkIQ=="}, KR_OURS(base64Binary), nullptr},
        {"i1", ItemType_i1, {"-128", "7", "99"}, KR_OURS(i1), LibcLong},
        {"i2", ItemType_i2, {"-32768", "1234", "7"}, KR_OURS(i2), LibcLong},
        {"i4", ItemType_i4, {"-2147483648", "123456", "42"}, KR_OURS(i4), LibcLong},
        {"i8", ItemType_i8, {"-9223372036854775808", "1234567890123", "42"}, KR_OURS(i8), LibcLongLong},
        {"ui1", ItemType_ui1, {"255", "7", "99"}, KR_OURS(ui1), LibcULong},
        {"ui2", ItemType_ui2, {"65535", "1234", "7"}, KR_OURS(ui2), LibcULong},
        {"ui4", ItemType_ui4, {"4294967295", "123456", "42"}, KR_OURS(ui4), LibcULong},
        {"ui8", ItemType_ui8, {"18446744073709551615", "1234567890123", "42"}, KR_OURS(ui8), LibcULongLong},
        {"r4", ItemType_r4, {"0.1", "3.4028235e38", "-1.25", "12345.67"}, KR_OURS(r4),
         [](const std::string& s) { return LibcDouble(s, "%.7g", true); }},
        {"r8", ItemType_r8, {"0.1", "1.7976931348623157e308", "-1.25", "3.141592653589793"}, KR_OURS(r8),
         [](const std::string& s) { return LibcDouble(s, "%.16g", false); }},
        {"duration", ItemType_duration, {"P1Y2M3DT4H5M6.5S", "PT90M"}, KR_OURS(duration), nullptr},
        {"yearMonth", ItemType_yearMonth, {"2005-03"}, KR_OURS(yearMonth), nullptr},
        {"monthDay", ItemType_monthDay, {"--03-04"}, KR_OURS(monthDay), nullptr},
        {"year", ItemType_year, {"2024", "1999"}, KR_OURS(year), nullptr},
        {"month", ItemType_month, {"--05", "--12"}, KR_OURS(month), nullptr},
        {"day", ItemType_day, {"---05", "---31"}, KR_OURS(day), nullptr},
        {"date", ItemType_date, {"2005-03-04", "2005-03-04Z"}, KR_OURS(date), nullptr},
        {"datetime", ItemType_datetime, {"2005-03-04T05:06:07", "2005-03-04T05:06:07.125+01:00"}, KR_OURS(datetime),
         nullptr},
        {"time", ItemType_time, {"05:06:07", "05:06:07.125Z"}, KR_OURS(time), nullptr},
        {"char", ItemType_char, {"c", "x"}, KR_OURS(char), nullptr},
        {"string", ItemType_string, {"plain text", "a longer piece of text that needs the heap"}, KR_OURS(string),
         nullptr},
        {"boolean", ItemType_boolean, {"true", "0", "false"}, KR_OURS(boolean), nullptr},
        {"decimal", ItemType_decimal, {"-12.5", "123456789.123456789"}, KR_OURS(decimal), nullptr},
        {"integer", ItemType_integer, {"42", "-123456789012345678901234567890"}, KR_OURS(integer), nullptr},
    };

    std::printf("Text -> value -> text, operations per second (best of %d runs)\n", kRuns);
    std::printf("%-14s %14s %14s %14s %8s\n", "kind", "CConversions", "KrVariant", "libc", "ratio");
    for (const Kind& k : kinds)
    {
        const double dOurs = OpsPerSecond(k.texts, nOps, k.pfnOurs);
        const ItemType eType = k.eType;
        const double dVariant = OpsPerSecond(k.texts, nOps, [eType](const std::string& s) {
            KrVariant v;
            v.FromString(s, eType, kRule);
            return v.ToString(nullptr).size();
        });
        const double dLibc = k.pfnLibc ? OpsPerSecond(k.texts, nOps, k.pfnLibc) : 0;
        Row(k.lpName, dOurs, dVariant, dLibc);
    }
    std::printf("ratio: CConversions / libc (above 1 is faster than the C library)\n");
    return 0;
}
