#include "pogenerator.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace KrXmlBench {

namespace {

const char* const kStatuses[] = {"open", "shipped", "cancelled", "on-hold"};
const char* const kWords[] = {"alpha", "beta",    "gamma", "delta", "epsilon", "zeta",  "eta",
                              "theta", "iota",    "kappa", "lambda", "mu",     "nu",    "xi",
                              "omicron", "pi",    "rho",   "sigma", "tau",     "upsilon"};
const size_t kFlushAt = 64 * 1024;

void AppendBase64(std::string& str, const unsigned char* p, size_t n)
{
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    size_t i = 0;
    for (; i + 3 <= n; i += 3)
    {
        uint32_t v = (uint32_t(p[i]) << 16) | (uint32_t(p[i + 1]) << 8) | p[i + 2];
        char sz[4] = {kAlphabet[v >> 18], kAlphabet[(v >> 12) & 63], kAlphabet[(v >> 6) & 63], kAlphabet[v & 63]};
        str.append(sz, 4);
    }
    if (n - i == 1)
    {
        uint32_t v = uint32_t(p[i]) << 16;
        char sz[4] = {kAlphabet[v >> 18], kAlphabet[(v >> 12) & 63], '=', '='};
        str.append(sz, 4);
    }
    else if (n - i == 2)
    {
        uint32_t v = (uint32_t(p[i]) << 16) | (uint32_t(p[i + 1]) << 8);
        char sz[4] = {kAlphabet[v >> 18], kAlphabet[(v >> 12) & 63], kAlphabet[(v >> 6) & 63], '='};
        str.append(sz, 4);
    }
}

void AppendFormat(std::string& str, const char* lpFormat, ...) __attribute__((format(printf, 2, 3)));

void AppendFormat(std::string& str, const char* lpFormat, ...)
{
    char sz[256];
    va_list args;
    va_start(args, lpFormat);
    int n = std::vsnprintf(sz, sizeof(sz), lpFormat, args);
    va_end(args);
    if (n > 0)
        str.append(sz, static_cast<size_t>(n) < sizeof(sz) ? static_cast<size_t>(n) : sizeof(sz) - 1);
}

} // namespace

// SplitMix64: small, fast, and the same sequence everywhere.
uint64_t CPurchaseOrderGenerator::Next()
{
    uint64_t z = (m_qwState += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

int64_t CPurchaseOrderGenerator::Between(int64_t iLow, int64_t iHigh)
{
    uint64_t qwSpan = static_cast<uint64_t>(iHigh - iLow) + 1;
    return iLow + static_cast<int64_t>(Next() % qwSpan);
}

double CPurchaseOrderGenerator::Uniform(double dLow, double dHigh)
{
    return dLow + static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0) * (dHigh - dLow);
}

void CPurchaseOrderGenerator::AppendWords(std::string& str, int nWords, bool bTitle)
{
    for (int i = 0; i < nWords; ++i)
    {
        if (i)
            str += ' ';
        const char* lpWord = kWords[Between(0, sizeof(kWords) / sizeof(kWords[0]) - 1)];
        str += bTitle ? static_cast<char>(lpWord[0] - 'a' + 'A') : lpWord[0];
        str += lpWord + 1;
    }
}

void CPurchaseOrderGenerator::AppendItem(std::string& str, size_t i)
{
    AppendFormat(str, "  <item sku=\"SKU-%06zu\" line=\"%zu\"%s>\n", i % 1000000, i + 1,
                 i % 7 == 0 ? " gift=\"true\"" : "");
    str += "    <name>";
    AppendWords(str, static_cast<int>(Between(2, 6)), true);
    str += "</name>\n";
    AppendFormat(str, "    <quantity>%d</quantity>\n", static_cast<int>(Between(1, 500)));
    AppendFormat(str, "    <serial>%lld</serial>\n",
                 static_cast<long long>(Between(1000000000000ll, 1000000000000000ll)));
    int iUnits = static_cast<int>(Between(0, 9999));
    AppendFormat(str, "    <price>%d.%02d</price>\n", iUnits, static_cast<int>(Between(0, 99)));
    char szWeight[32];
    std::to_chars_result r = std::to_chars(szWeight, szWeight + sizeof(szWeight), Uniform(0.001, 1000.0));
    str += "    <weight>";
    str.append(szWeight, r.ptr);
    str += "</weight>\n";
    AppendFormat(str, "    <taxable>%s</taxable>\n", Between(0, 9) < 8 ? "true" : "false");
    int iMonth = static_cast<int>(Between(1, 12)), iDay = static_cast<int>(Between(1, 28));
    AppendFormat(str, "    <shipDate>2024-%02d-%02d</shipDate>\n", iMonth, iDay);
    int iHour = static_cast<int>(Between(0, 23)), iMinute = static_cast<int>(Between(0, 59));
    int iSecond = static_cast<int>(Between(0, 59)), iMilli = static_cast<int>(Between(0, 999));
    AppendFormat(str, "    <updated>2024-%02d-%02dT%02d:%02d:%02d.%03d+02:00</updated>\n", iMonth, iDay, iHour, iMinute,
                 iSecond, iMilli);
    int iYears = static_cast<int>(Between(0, 5)), iMonths = static_cast<int>(Between(0, 11));
    AppendFormat(str, "    <warranty>P%dY%dMT%dH</warranty>\n", iYears, iMonths, static_cast<int>(Between(0, 23)));
    if (i % 3 != 1)
    {
        str += "    <comment>";
        AppendWords(str, static_cast<int>(Between(8, 20)), false);
        str += " &amp; &lt;more&gt;</comment>\n";
    }
    if (i % 4 == 0)
    {
        unsigned char bytes[160];
        size_t n = static_cast<size_t>(Between(32, 160));
        for (size_t k = 0; k < n; ++k)
            bytes[k] = static_cast<unsigned char>(Next() >> 56);
        str += "    <thumbnail>";
        AppendBase64(str, bytes, n);
        str += "</thumbnail>\n";
    }
    str += "  </item>\n";
}

void CPurchaseOrderGenerator::Generate(size_t nItems, const std::function<void(const char*, size_t)>& sink)
{
    std::string str;
    str.reserve(kFlushAt + 4096);
    str += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    AppendFormat(str,
                 "<purchaseOrder xmlns=\"urn:example:po\" id=\"%d\" orderDate=\"2024-05-06\" currency=\"EUR\">\n",
                 static_cast<int>(Between(1, 1000000)));
    str += "  <customer vip=\"false\">\n    <name>Ada Lovelace</name>\n    <email>ada@example.org</email>\n"
           "    <address country=\"GB\">\n      <street>12 Analytical Row</street>\n      <city>London</city>\n"
           "      <postcode>NW1 6XE</postcode>\n    </address>\n  </customer>\n";
    AppendFormat(str, "  <status>%s</status>\n", kStatuses[Between(0, 3)]);
    for (size_t i = 0; i < nItems; ++i)
    {
        AppendItem(str, i);
        if (str.size() >= kFlushAt)
        {
            sink(str.data(), str.size());
            str.clear();
        }
    }
    AppendFormat(str, "  <note>Generated order with %zu items.</note>\n", nItems);
    str += "</purchaseOrder>\n";
    sink(str.data(), str.size());
}

std::string CPurchaseOrderGenerator::Generate(size_t nItems)
{
    std::string strResult;
    Generate(nItems, [&](const char* p, size_t n) { strResult.append(p, n); });
    return strResult;
}

std::string MakePurchaseOrder(size_t nItems, uint64_t qwSeed)
{
    return CPurchaseOrderGenerator(qwSeed).Generate(nItems);
}

} // namespace KrXmlBench
