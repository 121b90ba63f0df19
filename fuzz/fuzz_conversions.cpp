// Fuzz target: the text conversions of all 26 value kinds. The first byte picks the kind, the
// second the whitespace rule; the rest is the text, and after a newline an optional format
// override for the kinds that take one. A text read must print a text that reads back, in
// the rule that keeps text as it stands, to a value that prints the same text again (for
// the floating kinds: a value as near as the digits printed).
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

namespace {

using namespace KrXmlLib16;

// The kinds whose text reads back to the value it came from. A year below 1000 prints
// unpadded ("5") and one above 9999 in five digits, and neither is the four-digit form the
// reader takes; both are how the kind is meant to print.
template <ItemType K>
bool ReadsBack(const typename ItemKind<K>::Type&)
{
    return true;
}

template <>
bool ReadsBack<ItemType_year>(const uint16_t& year)
{
    return year >= 1000 && year <= 9999;
}

// The same value, or for the floating kinds a value as near as their significant digits
// (seven for r4, sixteen for r8: one more than survives every reading, so that the text
// needn't repeat itself).
template <typename T>
bool Same(const T& a, const T& b, const std::string& strA, const std::string& strB)
{
    (void)a;
    (void)b;
    return strA == strB;
}

template <typename T>
bool SameFloat(T a, T b, T tolerance)
{
    if (std::isnan(a) || std::isnan(b) || std::isinf(a) || std::isinf(b))
        return (std::isnan(a) && std::isnan(b)) || a == b;
    return std::fabs(a - b) <= std::fabs(a) * tolerance;
}

bool Same(const float& a, const float& b, const std::string&, const std::string&)
{
    return SameFloat(a, b, 1e-6f);
}

bool Same(const double& a, const double& b, const std::string&, const std::string&)
{
    return SameFloat(a, b, 1e-15);
}

template <ItemType K>
void RoundTrip(const std::string& strText, CConversions::WhitespaceRule rule, const std::string& strFormat)
{
    typedef ItemKind<K> Kind;
    typename Kind::Type value{};
    try
    {
        value = Kind::FromString(strText, rule);
    }
    catch (const CKrException&)
    {
        return;
    }
    const std::string strFirst = Kind::ToString(value);
    try
    {
        if (ReadsBack<K>(value))
        {
            const typename Kind::Type again = Kind::FromString(strFirst, CWhitespaceUtils::WhitespaceRule_None);
            Check(Same(value, again, strFirst, Kind::ToString(again)));
        }
    }
    catch (const CKrException&)
    {
        Check(false);
    }
    if (Kind::bFormatOverride && !strFormat.empty())
    {
        try
        {
            (void)Kind::ToString(value, strFormat);
        }
        catch (const CKrInvalidParamException&)
        {
        }
    }
}

typedef void (*RoundTripFn)(const std::string&, CConversions::WhitespaceRule, const std::string&);

#define KRXML_FUZZ_ROUND_TRIP(kind, number, T, storage, member, accessor, family, format) &RoundTrip<ItemType_##kind>,
const RoundTripFn kRoundTrips[] = {KRXML_PRIMITIVE_KINDS(KRXML_FUZZ_ROUND_TRIP)};
#undef KRXML_FUZZ_ROUND_TRIP
const size_t kKinds = sizeof(kRoundTrips) / sizeof(kRoundTrips[0]);
static_assert(kKinds == 26, "one round trip per value kind");

// A run of five digits or more in a format override asks for a width or precision beyond what
// an override may give: outside what this target explores.
bool LongDigitRun(const std::string& str)
{
    size_t nRun = 0;
    for (char c : str)
    {
        nRun = (c >= '0' && c <= '9') ? nRun + 1 : 0;
        if (nRun >= 5)
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < 2 || nSize > 4096)
        return 0;
    const size_t nKind = pData[0] % kKinds;
    const auto rule = static_cast<CConversions::WhitespaceRule>(pData[1] % 4);
    const std::vector<std::string> parts = KrXmlFuzz::Split(pData + 2, nSize - 2, 2);
    // Numbers of a million digits from a short exponent are refused elsewhere; here the
    // exponents stay small.
    if (KrXmlFuzz::HasExponentAbove(parts[0], 10000) || LongDigitRun(parts[1]) || parts[1].size() > 32)
        return 0;
    kRoundTrips[nKind](parts[0], rule, parts[1]);
    return 0;
}
