#include "conversions.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <system_error>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "functions.h"
#include "krexception.h"
#include "krlimits.h"
#include "krvariant.h"
#include "platform.h"
#include "valuescratch.h"

namespace KrXmlLib16 {

namespace {

// ---- the whitespace rule, without a copy where it changes nothing ----

// Whether any byte is a blank or a control character: without one, no rule changes a text.
// 16 bytes at a time where the processor allows.
bool HasBlankOrControl(const char* p, const char* pEnd)
{
#if defined(__SSE2__)
    const __m128i vBlank = _mm_set1_epi8(0x20);
    for (; pEnd - p >= 16; p += 16)
    {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(v, vBlank), v)))  // v <= 0x20, unsigned
            return true;
    }
#endif
    for (; p < pEnd; ++p)
        if (static_cast<unsigned char>(*p) <= 0x20)
            return true;
    return false;
}

// True when rule leaves value as it stands, the usual case for values read from documents.
// An unknown rule answers false, so that ApplyRule gets to raise its error.
bool IsUnchangedBy(CWhitespaceUtils::WhitespaceRule rule, const std::string& value)
{
    const char* p = value.data();
    const char* const pEnd = p + value.size();
    if (rule >= CWhitespaceUtils::WhitespaceRule_None && rule <= CWhitespaceUtils::WhitespaceRule_Collapse &&
        !HasBlankOrControl(p, pEnd))
        return true;
    switch (rule)
    {
    case CWhitespaceUtils::WhitespaceRule_None:
        return true;
    case CWhitespaceUtils::WhitespaceRule_Preserve:
        return std::memchr(p, '\r', value.size()) == nullptr;
    case CWhitespaceUtils::WhitespaceRule_Replace:
        for (; p < pEnd; ++p)
            if (*p == '\r' || *p == '\n' || *p == '\t')
                return false;
        return true;
    case CWhitespaceUtils::WhitespaceRule_Collapse:
    {
        // Collapsed text has no tab, CR or LF, no blank at either end and no two blanks together.
        bool bLastWasSpace = true;
        for (; p < pEnd; ++p)
        {
            const char c = *p;
            if (c == '\r' || c == '\n' || c == '\t')
                return false;
            if (c == ' ')
            {
                if (bLastWasSpace)
                    return false;
                bLastWasSpace = true;
            }
            else
                bLastWasSpace = false;
        }
        return value.empty() || !bLastWasSpace;
    }
    }
    return false;
}

} // namespace

bool Internal::IsUnchangedByRule(CWhitespaceUtils::WhitespaceRule rule, const std::string& strText)
{
    return IsUnchangedBy(rule, strText);
}

namespace {

// The text of a value after its whitespace rule: the caller's own string when the rule leaves
// it alone, else a new one held here.
class CRuledText
{
public:
    CRuledText(const std::string& value, CWhitespaceUtils::WhitespaceRule rule) : m_pText(&value)
    {
        if (!IsUnchangedBy(rule, value))
        {
            m_strApplied = CWhitespaceUtils::ApplyRule(rule, value);
            m_pText = &m_strApplied;
        }
    }
    CRuledText(const CRuledText&) = delete;
    CRuledText& operator=(const CRuledText&) = delete;

    const std::string& Text() const { return *m_pText; }

private:
    const std::string* m_pText;
    std::string m_strApplied;
};

// ---- messages ----

[[noreturn]] void ThrowTooLarge(const std::string& strText, const char* lpKind)
{
    throw CKrInvalidValueException("The value [" + strText + "] is to large to fit in a " + lpKind);
}

[[noreturn]] void ThrowNotConverted(const std::string& strText, const char* lpKind)
{
    throw CKrInvalidValueException("The value [" + strText + "] can not be converted to a " + lpKind);
}

// The parsers of the class-valued kinds read C strings; a NUL inside the text would cut it
// short and drop what follows, so such text is refused as a whole.
const char* CheckedCString(const std::string& strText, const char* lpKind)
{
    if (std::memchr(strText.data(), '\0', strText.size()))
        ThrowNotConverted(strText, lpKind);
    return strText.c_str();
}

// ---- integers with the standard library's base-10 semantics at a fixed width ----

// The white space that the C library's conversions skip in front of a number.
inline bool IsCSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

enum IntegerOutcome
{
    Integer_Ok,
    Integer_Range,  // the conversion would report ERANGE
    Integer_Short   // the conversion would stop before the end of the text
};

// Reads text as strtol and its kin do, with the bounds of the kind rather than the host's
// long: uMaxPositive and uMaxNegative bound the magnitude after "+" (or none) and after "-".
// A magnitude taken with "-" is negated modulo 2^64, which is what the unsigned functions
// return at their own width once the result is cut to it. Digits past an overflow are still
// consumed, so that an overflow wins over trailing garbage, as with the C functions.
IntegerOutcome ParseInteger(const std::string& strText, uint64_t uMaxPositive, uint64_t uMaxNegative,
                            uint64_t& uResult)
{
    const char* p = strText.data();
    const char* const pEnd = p + strText.size();
    while (p < pEnd && IsCSpace(*p))
        ++p;
    bool bNegative = false;
    if (p < pEnd && (*p == '+' || *p == '-'))
    {
        bNegative = *p == '-';
        ++p;
    }
    const uint64_t uLimit = bNegative ? uMaxNegative : uMaxPositive;
    const char* const pDigits = p;
    uint64_t uMagnitude = 0;
    bool bOverflow = false;
    // Up to 18 digits can't leave 64 bits: read them without a check per digit, and compare
    // once; a magnitude above the limit overflowed at some digit, one within it never did.
    const char* pRun = p;
    while (pRun < pEnd && pRun - pDigits < 19 && static_cast<unsigned char>(*pRun - '0') <= 9)
        ++pRun;
    if (pRun - pDigits <= 18 && (pRun == pEnd || static_cast<unsigned char>(*pRun - '0') > 9))
    {
        for (; p < pRun; ++p)
            uMagnitude = uMagnitude * 10 + static_cast<unsigned>(*p - '0');
        bOverflow = uMagnitude > uLimit;
    }
    for (; p < pEnd && static_cast<unsigned char>(*p - '0') <= 9; ++p)
    {
        const unsigned uDigit = static_cast<unsigned>(*p - '0');
        if (!bOverflow)
        {
            if (uMagnitude > (uLimit - uDigit) / 10)
                bOverflow = true;
            else
                uMagnitude = uMagnitude * 10 + uDigit;
        }
    }
    if (p == pDigits)
        return Integer_Short;  // no digits: nothing converted, the end pointer stays at the start
    if (bOverflow)
        return Integer_Range;
    if (p != pEnd)
        return Integer_Short;
    uResult = bNegative ? 0 - uMagnitude : uMagnitude;
    return Integer_Ok;
}

uint64_t ParseIntegerKind(const std::string& value, CWhitespaceUtils::WhitespaceRule rule, uint64_t uMaxPositive,
                          uint64_t uMaxNegative, const char* lpKind)
{
    CRuledText text(value, rule);
    const std::string& strText = text.Text();
    if (strText.empty())
        ThrowNotConverted(strText, lpKind);
    uint64_t uResult = 0;
    switch (ParseInteger(strText, uMaxPositive, uMaxNegative, uResult))
    {
    case Integer_Ok:
        break;
    case Integer_Range:
        ThrowTooLarge(strText, lpKind);
    case Integer_Short:
        ThrowNotConverted(strText, lpKind);
    }
    return uResult;
}

template <typename T>
std::string IntegerText(T value)
{
    char sz[24];
    const std::to_chars_result res = std::to_chars(sz, sz + sizeof(sz), value);
    return std::string(sz, static_cast<size_t>(res.ptr - sz));
}

// ---- floating point ----

// The value that strtod gives for a decimal text out of the double's range: infinite when the
// magnitude is at least 1, zero when it is below. The text [p, pEnd) is what from_chars took:
// an optional "-", digits with an optional point, an optional exponent.
double OutOfRangeValue(const char* p, const char* pEnd)
{
    const bool bNegative = p < pEnd && *p == '-';
    if (bNegative)
        ++p;
    int64_t nIntDigits = 0, nLeadingFractionZeros = 0;
    bool bSeenNonZero = false;
    for (; p < pEnd && static_cast<unsigned char>(*p - '0') <= 9; ++p)
        if (bSeenNonZero || *p != '0')
        {
            bSeenNonZero = true;
            ++nIntDigits;
        }
    if (p < pEnd && *p == '.')
        for (++p; p < pEnd && static_cast<unsigned char>(*p - '0') <= 9; ++p)
            if (!bSeenNonZero)
            {
                if (*p == '0')
                    ++nLeadingFractionZeros;
                else
                    bSeenNonZero = true;
            }
    // Decimal exponent of the first significant digit.
    int64_t nExponent = nIntDigits > 0 ? nIntDigits - 1 : -(nLeadingFractionZeros + 1);
    if (p < pEnd && (*p == 'e' || *p == 'E'))
    {
        ++p;
        bool bExpNegative = false;
        if (p < pEnd && (*p == '+' || *p == '-'))
            bExpNegative = *p++ == '-';
        int64_t nExp = 0;
        for (; p < pEnd && static_cast<unsigned char>(*p - '0') <= 9; ++p)
            if (nExp < 1000000000)
                nExp = nExp * 10 + (*p - '0');
        nExponent += bExpNegative ? -nExp : nExp;
    }
    const double dMagnitude = nExponent >= 0 ? std::numeric_limits<double>::infinity() : 0.0;
    return bNegative ? -dMagnitude : dMagnitude;
}

// strtod in the C locale, errno unregarded: leading C white space and a sign are taken, decimal
// and exponent forms, "inf", "infinity" and "nan" in any case. Hexadecimal forms are not read.
// Returns false when the number doesn't reach the end of the text.
bool ParseDouble(const std::string& strText, double& dResult)
{
    const char* p = strText.data();
    const char* const pEnd = p + strText.size();
    while (p < pEnd && IsCSpace(*p))
        ++p;
    if (p < pEnd && *p == '+')
    {
        ++p;
        if (p < pEnd && *p == '-')
            return false;  // one sign only
    }
    const std::from_chars_result res = std::from_chars(p, pEnd, dResult, std::chars_format::general);
    if (res.ec == std::errc::invalid_argument)
        return false;
    if (res.ec == std::errc::result_out_of_range)
        dResult = OutOfRangeValue(p, res.ptr);
    return res.ptr == pEnd;
}

// strText == lpLiteral, with the literal's length known: most texts differ in length.
template <size_t N>
bool IsText(const std::string& strText, const char (&lpLiteral)[N])
{
    return strText.size() == N - 1 && std::memcmp(strText.data(), lpLiteral, N - 1) == 0;
}

double ParseFloatKind(const std::string& value, CWhitespaceUtils::WhitespaceRule rule, const char* lpKind)
{
    CRuledText text(value, rule);
    const std::string& strText = text.Text();
    if (strText.empty())
        ThrowNotConverted(strText, lpKind);
    if (IsText(strText, "NaN") || IsText(strText, "1.#QNAN") || IsText(strText, "-NAN"))
        return std::numeric_limits<double>::quiet_NaN();
    if (IsText(strText, "-INF"))
        return -std::numeric_limits<double>::infinity();
    if (IsText(strText, "INF"))
        return std::numeric_limits<double>::infinity();
    double dResult = 0;
    if (!ParseDouble(strText, dResult))
        ThrowNotConverted(strText, lpKind);
    return dResult;
}

// Checks that lpFormat is text with exactly one conversion for a double: flags from "-+ #0", a
// width and a precision of at most four digits each ("*" is not allowed, as there is no int to
// give), an optional "l", and one of "aAeEfFgG". "%%" may stand anywhere.
// Refuses an override that asks for more characters of one value than the cap allows.
void CheckFormatWidth(const std::string& strFormat, uint64_t nWidth)
{
    const uint32_t nMax = CKrLimits::GetMaxFormatWidth();
    if (nMax && nWidth > nMax)
        throw CKrInvalidParamException(FormatString("The format override [%s] is wider than %u characters, the limit "
                                                    "set by CKrLimits::SetMaxFormatWidth.",
                                                    strFormat.c_str(), nMax));
}

// One floating conversion and nothing else that takes an argument; nWidest receives the larger
// of its width and precision.
bool IsFloatFormat(const std::string& strFormat, uint32_t& nWidest)
{
    const size_t n = strFormat.size();
    if (std::memchr(strFormat.data(), '\0', n))
        return false;
    int nConversions = 0;
    size_t i = 0;
    while (i < n)
    {
        if (strFormat[i++] != '%')
            continue;
        if (i < n && strFormat[i] == '%')
        {
            ++i;
            continue;
        }
        while (i < n && std::strchr("-+ #0", strFormat[i]))
            ++i;
        size_t nDigits = 0;
        uint32_t nNumber = 0;
        for (; i < n && static_cast<unsigned char>(strFormat[i] - '0') <= 9; ++i, ++nDigits)
            nNumber = nNumber * 10 + static_cast<uint32_t>(strFormat[i] - '0');
        if (nDigits > 4)
            return false;
        nWidest = nNumber;
        if (i < n && strFormat[i] == '.')
        {
            nDigits = 0;
            nNumber = 0;
            for (++i; i < n && static_cast<unsigned char>(strFormat[i] - '0') <= 9; ++i, ++nDigits)
                nNumber = nNumber * 10 + static_cast<uint32_t>(strFormat[i] - '0');
            if (nDigits > 4)
                return false;
            if (nNumber > nWidest)
                nWidest = nNumber;
        }
        if (i < n && strFormat[i] == 'l')
            ++i;
        if (i >= n || !std::strchr("aAeEfFgG", strFormat[i]))
            return false;
        ++i;
        ++nConversions;
    }
    return nConversions == 1;
}

// %.16g of a double, exactly as the standard library prints it, for the values whose
// scaling to sixteen digits fits 128-bit integers: magnitudes from about 1e-17 to 1e42, which
// is nearly every value a document holds. Answers the length written to sz, or 0 for a value
// it leaves to the library (zero, subnormals, the rest of the range).
size_t FastG16(double dValue, char* sz)
{
    typedef unsigned __int128 U128;
    uint64_t uBits;
    std::memcpy(&uBits, &dValue, sizeof(uBits));
    const bool bNegative = (uBits >> 63) != 0;
    const int iBiased = static_cast<int>((uBits >> 52) & 0x7FF);
    if (iBiased == 0 || iBiased == 0x7FF)
        return 0;  // zero, subnormal, infinite or NaN
    const uint64_t m = (uBits & ((uint64_t(1) << 52) - 1)) | (uint64_t(1) << 52);
    const int e = iBiased - 1075;  // the value is m * 2^e
    static const uint64_t kPow5[28] = {1ull,
                                       5ull,
                                       25ull,
                                       125ull,
                                       625ull,
                                       3125ull,
                                       15625ull,
                                       78125ull,
                                       390625ull,
                                       1953125ull,
                                       9765625ull,
                                       48828125ull,
                                       244140625ull,
                                       1220703125ull,
                                       6103515625ull,
                                       30517578125ull,
                                       152587890625ull,
                                       762939453125ull,
                                       3814697265625ull,
                                       19073486328125ull,
                                       95367431640625ull,
                                       476837158203125ull,
                                       2384185791015625ull,
                                       11920928955078125ull,
                                       59604644775390625ull,
                                       298023223876953125ull,
                                       1490116119384765625ull,
                                       7450580596923828125ull};
    const uint64_t k1e15 = 1000000000000000ull, k1e16 = 10000000000000000ull;
    // round(m * 2^e * 10^q), ties to even; 0 where the scaling doesn't fit.
    auto scaled = [&](int q) -> uint64_t {
        if (q >= 0)
        {
            if (q > 32)
                return 0;
            // 5^q in two factors, each from the table.
            const U128 v = U128(m) * kPow5[q > 27 ? 27 : q] * kPow5[q > 27 ? q - 27 : 0];
            const int s = e + q;
            if (s >= 0)
                return s > 10 ? 0 : static_cast<uint64_t>(v << s);
            if (s <= -128)
                return 0;
            const int r = -s;
            const U128 whole = v >> r;
            const U128 rest = v & ((U128(1) << r) - 1);
            const U128 half = U128(1) << (r - 1);
            const bool bUp = rest > half || (rest == half && (whole & 1) != 0);
            return static_cast<uint64_t>(whole) + (bUp ? 1 : 0);
        }
        const int t = -q;
        const int s = e - t;
        if (t > 27 || s < 0 || s > 74)
            return 0;
        const U128 num = U128(m) << s;
        const uint64_t d = kPow5[t];
        const U128 whole = num / d;
        const U128 rest = num - whole * d;
        const bool bUp = 2 * rest > d || (2 * rest == d && (whole & 1) != 0);
        return static_cast<uint64_t>(whole) + (bUp ? 1 : 0);
    };
    // floor(log10 of the value) is this or one more: the value lies in [2^b, 2^(b+1)).
    const int b = e + 52;
    const int k10 = (b * 78913) >> 18;
    int q = 15 - k10;
    uint64_t n = scaled(q);
    if (n == 0)
        return 0;
    if (n >= k1e16)
    {
        --q;
        n = scaled(q);
        if (n == 0)
            return 0;
        if (n == k1e16)
        {
            n = k1e15;
            --q;
        }
    }
    if (n < k1e15 || n >= k1e16)
        return 0;
    // Sixteen digits, the first standing at 10^exp10; trailing zeros are dropped.
    char digits[16];
    for (int i = 15; i >= 0; --i)
    {
        digits[i] = static_cast<char>('0' + n % 10);
        n /= 10;
    }
    int nDigits = 16;
    while (nDigits > 1 && digits[nDigits - 1] == '0')
        --nDigits;
    const int exp10 = 15 - q;
    char* p = sz;
    if (bNegative)
        *p++ = '-';
    if (exp10 < -4 || exp10 >= 16)
    {
        *p++ = digits[0];
        if (nDigits > 1)
        {
            *p++ = '.';
            std::memcpy(p, digits + 1, static_cast<size_t>(nDigits - 1));
            p += nDigits - 1;
        }
        *p++ = 'e';
        *p++ = exp10 < 0 ? '-' : '+';
        int x = exp10 < 0 ? -exp10 : exp10;
        if (x >= 100)
        {
            *p++ = static_cast<char>('0' + x / 100);
            x %= 100;
        }
        *p++ = static_cast<char>('0' + x / 10);
        *p++ = static_cast<char>('0' + x % 10);
    }
    else if (exp10 >= 0)
    {
        const int nInt = exp10 + 1;
        for (int i = 0; i < nInt; ++i)
            *p++ = i < nDigits ? digits[i] : '0';
        if (nDigits > nInt)
        {
            *p++ = '.';
            std::memcpy(p, digits + nInt, static_cast<size_t>(nDigits - nInt));
            p += nDigits - nInt;
        }
    }
    else
    {
        *p++ = '0';
        *p++ = '.';
        for (int i = 0; i < -exp10 - 1; ++i)
            *p++ = '0';
        std::memcpy(p, digits, static_cast<size_t>(nDigits));
        p += nDigits;
    }
    return static_cast<size_t>(p - sz);
}

// The text of a float without an override, in sz (64 bytes); answers its length.
size_t PlainFloatText(double dValue, int nDigits, char* sz)
{
    if (std::isnan(dValue))
    {
        std::memcpy(sz, "NaN", 3);
        return 3;
    }
    if (std::isinf(dValue))
    {
        std::memcpy(sz, dValue < 0 ? "-INF" : "INF", dValue < 0 ? 4 : 3);
        return dValue < 0 ? 4 : 3;
    }
    if (nDigits == 16)
        if (const size_t n = FastG16(dValue, sz))
            return n;
    // Room for the longest %.16g text and then some: sign, 16 digits, point, exponent.
    const std::to_chars_result res = std::to_chars(sz, sz + 64, dValue, std::chars_format::general, nDigits);
    return static_cast<size_t>(res.ptr - sz);
}

std::string FloatText(double dValue, int nDigits, const std::string& strFormatOverride, const char* lpKind)
{
    char sz[64];
    if (strFormatOverride.empty())
        return std::string(sz, PlainFloatText(dValue, nDigits, sz));
    if (std::isnan(dValue))
        return "NaN";
    if (std::isinf(dValue))
        return dValue < 0 ? "-INF" : "INF";
    uint32_t nWidest = 0;
    if (!IsFloatFormat(strFormatOverride, nWidest))
        throw CKrInvalidParamException("The format override [" + strFormatOverride +
                                       "] is not a printf format for one " + lpKind + " value");
    CheckFormatWidth(strFormatOverride, nWidest);
    // The result is as long as the format makes it: a wide format gets a buffer of its size.
    const int n = Platform::FormatDoubleC(sz, sizeof(sz), strFormatOverride.c_str(), dValue);
    if (n < 0)
        throw CKrInvalidParamException("The format override [" + strFormatOverride + "] could not format the " +
                                       lpKind + " value");
    if (static_cast<size_t>(n) < sizeof(sz))
        return std::string(sz, static_cast<size_t>(n));
    std::string strResult(static_cast<size_t>(n), '\0');
    Platform::FormatDoubleC(&strResult[0], strResult.size() + 1, strFormatOverride.c_str(), dValue);
    return strResult;
}

// atoi as the 32-bit C library has it: leading white space, a sign, digits up to the first
// other character, 0 when there are none, and the int bounds where the number exceeds them.
int ReadCount(const std::string& strText)
{
    uint64_t uValue = 0;
    const char* p = strText.c_str();
    while (IsCSpace(*p))
        ++p;
    const bool bNegative = *p == '-';
    if (*p == '+' || *p == '-')
        ++p;
    for (; static_cast<unsigned char>(*p - '0') <= 9; ++p)
        if (uValue <= 0x80000000u)
            uValue = uValue * 10 + static_cast<unsigned>(*p - '0');
    if (bNegative)
        return uValue >= 0x80000000u ? std::numeric_limits<int32_t>::min() : -static_cast<int32_t>(uValue);
    return uValue > 0x7FFFFFFFu ? std::numeric_limits<int32_t>::max() : static_cast<int32_t>(uValue);
}

// ---- dates ----

CDateTime ParseDate(const std::string& value, CWhitespaceUtils::WhitespaceRule rule, CDateTime::DTType eType,
                    const char* lpKind)
{
    CRuledText text(value, rule);
    const char* lpText = CheckedCString(text.Text(), lpKind);
    CDateTime dt(eType);
    switch (eType)
    {
    case CDateTime::dt_dateTime:
        dt.ParseXSDDateTime(lpText);
        break;
    case CDateTime::dt_time:
        dt.ParseXSDTime(lpText);
        break;
    default:
        dt.ParseXSDDate(lpText);
        break;
    }
    return dt;
}

std::string DateText(const CDateTime& value)
{
    return value.ToString("s");
}

std::string NumberWithDashes(const char* lpDashes, size_t nDashes, unsigned uValue)
{
    char sz[8];
    std::memcpy(sz, lpDashes, nDashes);
    size_t n = nDashes;
    if (uValue < 10)
        sz[n++] = '0';
    const std::to_chars_result res = std::to_chars(sz + n, sz + sizeof(sz), uValue);
    return std::string(sz, static_cast<size_t>(res.ptr - sz));
}

bool EqualsNoCase(const std::string& strText, const char* lpWord)
{
    const size_t n = std::strlen(lpWord);
    if (strText.size() != n)
        return false;
    for (size_t i = 0; i < n; ++i)
    {
        char c = strText[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if (c != lpWord[i])
            return false;
    }
    return true;
}

const std::string g_strEmpty;

// The double that a float conversion rounds to infinity from: FLT_MAX plus half its last unit
// (ties go to the even neighbour, which is infinity).
const double kFloatOverflow = 340282356779733661637539395458142568448.0;  // 2^128 - 2^103

} // namespace

// ---- value to text ----------------------------------------------------------------------------

std::string CConversions::hexBinaryToString(const CBinaryData& value)
{
    return value.GetAsHexString();
}

std::string CConversions::base64BinaryToString(const CBinaryData& value)
{
    return value.GetAsBase64();
}

std::string CConversions::i1ToString(int8_t value)
{
    return IntegerText(static_cast<int>(value));
}

std::string CConversions::i2ToString(int16_t value)
{
    return IntegerText(static_cast<int>(value));
}

std::string CConversions::i4ToString(int32_t value)
{
    return IntegerText(value);
}

std::string CConversions::i8ToString(int64_t value)
{
    return IntegerText(value);
}

std::string CConversions::ui1ToString(uint8_t value)
{
    return IntegerText(static_cast<unsigned>(value));
}

std::string CConversions::ui2ToString(uint16_t value)
{
    return IntegerText(static_cast<unsigned>(value));
}

std::string CConversions::ui4ToString(uint32_t value)
{
    return IntegerText(value);
}

std::string CConversions::ui8ToString(uint64_t value)
{
    return IntegerText(value);
}

std::string CConversions::r4ToString(float value)
{
    return FloatText(value, 7, g_strEmpty, "r4");
}

std::string CConversions::r4ToString(float value, const std::string& formatOverride)
{
    return FloatText(value, 7, formatOverride, "r4");
}

std::string CConversions::r8ToString(double value)
{
    return FloatText(value, 16, g_strEmpty, "r8");
}

std::string CConversions::r8ToString(double value, const std::string& formatOverride)
{
    return FloatText(value, 16, formatOverride, "r8");
}

std::string CConversions::durationToString(const CDateTimeSpan& value)
{
    return value.ToString();
}

std::string CConversions::yearMonthToString(const CDateTime& value)
{
    return DateText(value);
}

std::string CConversions::monthDayToString(const CDateTime& value)
{
    return DateText(value);
}

std::string CConversions::yearToString(uint16_t value)
{
    return IntegerText(static_cast<unsigned>(value));
}

std::string CConversions::monthToString(uint8_t value)
{
    return NumberWithDashes("--", 2, value);
}

std::string CConversions::dayToString(uint8_t value)
{
    return NumberWithDashes("---", 3, value);
}

std::string CConversions::dateToString(const CDateTime& value)
{
    return DateText(value);
}

std::string CConversions::datetimeToString(const CDateTime& value)
{
    return DateText(value);
}

std::string CConversions::timeToString(const CDateTime& value)
{
    return DateText(value);
}

std::string CConversions::charToString(char value)
{
    return std::string(1, value);
}

std::string CConversions::stringToString(const std::string& value)
{
    return value;
}

std::string CConversions::booleanToString(bool value)
{
    return value ? "true" : "false";
}

std::string CConversions::decimalToString(const CDecimal& value)
{
    return value.ToString();
}

std::string CConversions::decimalToString(const CDecimal& value, const std::string& formatOverride)
{
    if (formatOverride.empty())
        return value.ToString();
    const int nPlaces = ReadCount(formatOverride);
    if (nPlaces > 0)
        CheckFormatWidth(formatOverride, static_cast<uint64_t>(nPlaces));
    return value.ToString(nPlaces);
}

std::string CConversions::integerToString(const CBigInteger& value)
{
    return value.ToString();
}

// ---- text to value ----------------------------------------------------------------------------

CBinaryData CConversions::hexBinaryFromString(const std::string& value, WhitespaceRule rule)
{
    CRuledText text(value, rule);
    CBinaryData data;
    data.SetAsHexString(CheckedCString(text.Text(), "hexBinary"));
    return data;
}

CBinaryData CConversions::base64BinaryFromString(const std::string& value, WhitespaceRule rule)
{
    CRuledText text(value, rule);
    const std::string& strText = text.Text();
    CBinaryData data;
    data.SetAsBase64(CheckedCString(strText, "base64Binary"));
    // The decoder gives empty data for text it can't read; only text of nothing but white space
    // and padding is really empty, anything else would lose the value without a word.
    if (data.GetLength() == 0)
        for (char c : strText)
            if (c != '=' && !CWhitespaceUtils::IsWhiteSpace(c))
                ThrowNotConverted(strText, "base64Binary");
    return data;
}

int8_t CConversions::i1FromString(const std::string& value, WhitespaceRule rule)
{
    const int32_t n = i4FromString(value, rule);
    if (n < -128 || n > 127)
        ThrowTooLarge(value, "i1");
    return static_cast<int8_t>(n);
}

int16_t CConversions::i2FromString(const std::string& value, WhitespaceRule rule)
{
    const int32_t n = i4FromString(value, rule);
    if (n < -32768 || n > 32767)
        ThrowTooLarge(value, "i2");
    return static_cast<int16_t>(n);
}

int32_t CConversions::i4FromString(const std::string& value, WhitespaceRule rule)
{
    return static_cast<int32_t>(ParseIntegerKind(value, rule, 0x7FFFFFFFu, 0x80000000u, "i4"));
}

int64_t CConversions::i8FromString(const std::string& value, WhitespaceRule rule)
{
    return static_cast<int64_t>(ParseIntegerKind(value, rule, 0x7FFFFFFFFFFFFFFFull, 0x8000000000000000ull, "i8"));
}

uint8_t CConversions::ui1FromString(const std::string& value, WhitespaceRule rule)
{
    const uint32_t n = ui4FromString(value, rule);
    if (n > 255)
        ThrowTooLarge(value, "ui1");
    return static_cast<uint8_t>(n);
}

uint16_t CConversions::ui2FromString(const std::string& value, WhitespaceRule rule)
{
    const uint32_t n = ui4FromString(value, rule);
    if (n > 65535)
        ThrowTooLarge(value, "ui2");
    return static_cast<uint16_t>(n);
}

uint32_t CConversions::ui4FromString(const std::string& value, WhitespaceRule rule)
{
    // A "-" is taken and the magnitude negated at 32 bits, as the 32-bit strtoul does.
    return static_cast<uint32_t>(ParseIntegerKind(value, rule, 0xFFFFFFFFu, 0xFFFFFFFFu, "ui4"));
}

uint64_t CConversions::ui8FromString(const std::string& value, WhitespaceRule rule)
{
    return ParseIntegerKind(value, rule, ~0ull, ~0ull, "ui8");
}

float CConversions::r4FromString(const std::string& value, WhitespaceRule rule)
{
    const double d = ParseFloatKind(value, rule, "r4");
    if (d >= kFloatOverflow)
        return std::numeric_limits<float>::infinity();
    if (d <= -kFloatOverflow)
        return -std::numeric_limits<float>::infinity();
    return static_cast<float>(d);
}

double CConversions::r8FromString(const std::string& value, WhitespaceRule rule)
{
    return ParseFloatKind(value, rule, "r8");
}

CDateTimeSpan CConversions::durationFromString(const std::string& value, WhitespaceRule rule)
{
    CRuledText text(value, rule);
    CDateTimeSpan span;
    span.ParseXSDDuration(CheckedCString(text.Text(), "duration"));
    return span;
}

CDateTime CConversions::yearMonthFromString(const std::string& value, WhitespaceRule rule)
{
    return ParseDate(value, rule, CDateTime::dt_gYearMonth, "yearMonth");
}

CDateTime CConversions::monthDayFromString(const std::string& value, WhitespaceRule rule)
{
    return ParseDate(value, rule, CDateTime::dt_gMonthDay, "monthDay");
}

uint16_t CConversions::yearFromString(const std::string& value, WhitespaceRule rule)
{
    const short nYear = ParseDate(value, rule, CDateTime::dt_gYear, "year").GetYear();
    // The kind holds an unsigned number: a year before the common era would come back as a
    // different positive year.
    if (nYear < 0)
        throw CKrInvalidValueException("The value [" + value + "] can not be a year as it is negative");
    return static_cast<uint16_t>(nYear);
}

uint8_t CConversions::monthFromString(const std::string& value, WhitespaceRule rule)
{
    return ParseDate(value, rule, CDateTime::dt_gMonth, "month").GetMonth();
}

uint8_t CConversions::dayFromString(const std::string& value, WhitespaceRule rule)
{
    return ParseDate(value, rule, CDateTime::dt_gDay, "day").GetDay();
}

CDateTime CConversions::dateFromString(const std::string& value, WhitespaceRule rule)
{
    return ParseDate(value, rule, CDateTime::dt_date, "date");
}

CDateTime CConversions::datetimeFromString(const std::string& value, WhitespaceRule rule)
{
    return ParseDate(value, rule, CDateTime::dt_dateTime, "datetime");
}

CDateTime CConversions::timeFromString(const std::string& value, WhitespaceRule rule)
{
    return ParseDate(value, rule, CDateTime::dt_time, "time");
}

char CConversions::charFromString(const std::string& value, WhitespaceRule rule)
{
    CRuledText text(value, rule);
    const std::string& strText = text.Text();
    if (strText.size() != 1)
        throw CKrInvalidValueException("The value [" + strText +
                                       "] can not be a char as it is either empty of greater than 1 char long");
    return strText[0];
}

std::string CConversions::stringFromString(const std::string& value, WhitespaceRule rule)
{
    return CWhitespaceUtils::ApplyRule(rule, value);
}

bool CConversions::booleanFromString(const std::string& value, WhitespaceRule rule)
{
    CRuledText text(value, rule);
    const std::string& strText = text.Text();
    if (EqualsNoCase(strText, "true"))
        return true;
    if (EqualsNoCase(strText, "false"))
        return false;
    if (strText.size() == 1 && (strText[0] == '1' || strText[0] == '0'))
        return strText[0] == '1';
    throw CKrInvalidValueException("A Boolean Value read from an XML document was invalid [" + value +
                                   "]. Valid values are 'true', 'false', '1', or '0'");
}

CDecimal CConversions::decimalFromString(const std::string& value, WhitespaceRule rule)
{
    CRuledText text(value, rule);
    return CDecimal(CheckedCString(text.Text(), "decimal"));
}

CBigInteger CConversions::integerFromString(const std::string& value, WhitespaceRule rule)
{
    CRuledText text(value, rule);
    return CBigInteger(CheckedCString(text.Text(), "integer"));
}

// ---- shortcuts for the value rows -----------------------------------------------------------

bool Internal::AssignPlainValueText(const KrVariant& value, std::string& strOut)
{
    if (value.IsNil())
        return false;
    char sz[64];
    switch (value.GetTypeAsEnum())
    {
    case ItemType_i1: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, int(value.m_i1)).ptr - sz)); return true;
    case ItemType_i2: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, int(value.m_i2)).ptr - sz)); return true;
    case ItemType_i4: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, value.m_i4).ptr - sz)); return true;
    case ItemType_i8: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, value.m_i8).ptr - sz)); return true;
    case ItemType_ui1: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, unsigned(value.m_ui1)).ptr - sz)); return true;
    case ItemType_ui2: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, unsigned(value.m_ui2)).ptr - sz)); return true;
    case ItemType_ui4: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, value.m_ui4).ptr - sz)); return true;
    case ItemType_ui8: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, value.m_ui8).ptr - sz)); return true;
    case ItemType_year: strOut.assign(sz, static_cast<size_t>(std::to_chars(sz, sz + 64, unsigned(value.m_year)).ptr - sz)); return true;
    case ItemType_boolean: strOut.assign(value.m_bool ? "true" : "false"); return true;
    case ItemType_r4: strOut.assign(sz, PlainFloatText(value.m_r4, 7, sz)); return true;
    case ItemType_r8: strOut.assign(sz, PlainFloatText(value.m_r8, 16, sz)); return true;
    case ItemType_duration:
        if (!value.m_pDuration)
            return false;
        strOut.clear();
        value.m_pDuration->AppendTo(strOut);
        return true;
    case ItemType_base64Binary:
        if (!value.m_pBinaryData)
            return false;
        strOut.clear();
        Internal::AppendBase64(value.m_pBinaryData->GetData(), value.m_pBinaryData->GetLength(), strOut);
        return true;
    default:
        if (IsDateKind(value.GetTypeAsEnum()) && value.m_pDateTime)
        {
            strOut.clear();
            value.m_pDateTime->AppendTo(strOut);
            return true;
        }
        return false;
    }
}

} // namespace KrXmlLib16
