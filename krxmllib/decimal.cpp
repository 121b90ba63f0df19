#include "decimal.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "functions.h"
#include "krexception.h"
#include "krlimits.h"
#include "whitespaceutils.h"

namespace KrXmlLib16 {

namespace {

typedef CBigInteger::DigitVector DigitVector;

// A positive exponent builds its zeros in memory; beyond this a short text could ask for
// gigabytes. Negative exponents cost nothing, as the fraction is cut to a few places.
const uint64_t kMaxExponent = 1000000;
const uint64_t kExponentSaturation = 100000000000000000ull;
const int kMaxDecimalPlacesLimit = 100000000;

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }
inline bool IsSpace(char c) { return CWhitespaceUtils::IsWhiteSpace(c); }
inline bool IsZeroDigits(const DigitVector& v) { return v.size() == 1 && v[0] == 0; }

// Adds 1 to a magnitude.
void Increment(DigitVector& v)
{
    for (char& c : v)
    {
        if (c != 9)
        {
            ++c;
            return;
        }
        c = 0;
    }
    v.push_back(1);
}

bool AnyNonZero(const char* p, size_t n)
{
    for (size_t i = 0; i < n; ++i)
    {
        if (p[i] != 0)
            return true;
    }
    return false;
}

// Compares a magnitude with the one written as lpDigits followed by nZeros zeros. The
// conversions check their bounds with this rather than with CBigInteger's static bounds, so
// that they work even from another file's static initialisation.
int CompareWithDigits(const DigitVector& v, const char* lpDigits, size_t nZeros)
{
    const size_t nLead = std::strlen(lpDigits), n = nLead + nZeros;
    if (v.size() != n)
        return v.size() < n ? -1 : 1;
    for (size_t i = 0; i < nLead; ++i)
    {
        const char d = v[n - 1 - i], e = static_cast<char>(lpDigits[i] - '0');
        if (d != e)
            return d < e ? -1 : 1;
    }
    return AnyNonZero(v.data(), nZeros) ? 1 : 0;
}

uint64_t MagnitudeToU64(const DigitVector& v)
{
    uint64_t u = 0;
    for (size_t i = v.size(); i-- > 0;)
        u = u * 10 + static_cast<uint64_t>(v[i]);
    return u;
}

} // namespace

int CDecimal::m_maxDivider = 30;

// ---- construction ----

CDecimal::CDecimal() : m_nFractionDivider(1) {}

CDecimal::CDecimal(NoInitTag)
    : m_biInteger(1, DigitVector()), m_biFraction(1, DigitVector()), m_nFractionDivider(1)
{
}

CDecimal::CDecimal(int32_t nValue) : m_biInteger(nValue), m_nFractionDivider(1) {}

CDecimal::CDecimal(uint32_t nValue) : m_biInteger(nValue), m_nFractionDivider(1) {}

CDecimal::CDecimal(int64_t nValue) : m_biInteger(nValue), m_nFractionDivider(1) {}

CDecimal::CDecimal(uint64_t nValue) : m_biInteger(nValue), m_nFractionDivider(1) {}

CDecimal::CDecimal(double dValue) : m_nFractionDivider(1)
{
    // The text of "%.13f", made without the C locale's say over the decimal point.
    char buf[512];
    std::to_chars_result res = std::to_chars(buf, buf + sizeof(buf) - 1, dValue, std::chars_format::fixed, 13);
    *res.ptr = 0;
    Parse(buf);
}

CDecimal::CDecimal(const CBigInteger& value) : m_biInteger(value), m_nFractionDivider(1)
{
    if (m_biInteger.IsZero())
        m_biInteger.m_nSign = 1;
}

// Parse sets both parts whole: they start empty rather than as zeros it would throw away.
CDecimal::CDecimal(const char* lpText) : CDecimal(NoInitTag{}) { Parse(lpText); }

CDecimal::CDecimal(const CBigInteger& integerPart, const CBigInteger& fractionPart, int divider)
    : m_biInteger(integerPart), m_biFraction(fractionPart), m_nFractionDivider(divider)
{
}

void CDecimal::SetMaxDecimalPlaces(int nPlaces)
{
    // Places cost what integer digits cost, in every division: the cap on digits holds here too.
    const uint32_t nCap = CKrLimits::GetMaxNumberDigits();
    const int nLimit = nCap && nCap < static_cast<uint32_t>(kMaxDecimalPlacesLimit) ? static_cast<int>(nCap)
                                                                                   : kMaxDecimalPlacesLimit;
    if (nPlaces < 0 || nPlaces > nLimit)
        throw CKrInvalidParamException(
            FormatString("The maximum number of decimal places must lie between 0 and %d.", nLimit));
    m_maxDivider = nPlaces;
}

void CDecimal::CheckIntegerDigits(const char* lpOperation) const
{
    if (!m_biInteger.IsZero())
        CBigInteger::CheckResultDigits(m_biInteger.m_vDigits.size(), lpOperation);
}

// ---- reading ----

void CDecimal::FillReversed(const char* lpText, size_t nBegin, size_t nEnd, size_t nDigits, size_t nRunStart,
                            DigitVector& v)
{
    if (nDigits == 0)
    {
        v.assign(1, 0);
        return;
    }
    v.resize(nDigits);
    char* p = v.data();
    if (nEnd - nRunStart == nDigits)
    {
        CBigInteger::TextToDigits(lpText + nRunStart, nDigits, p);
    }
    else
    {
        size_t k = 0;
        for (size_t j = nEnd; j-- > nBegin;)
        {
            char c = lpText[j];
            if (IsDigit(c))
                p[k++] = static_cast<char>(c - '0');
        }
    }
    while (v.size() > 1 && v.back() == 0)
        v.pop_back();
}


void CDecimal::ThrowInvalidChar(const char* lpText, size_t nPos)
{
    throw CKrInvalidValueException(
        FormatString("The string representing a Decimal, contained an invalid char at position %d [%s].",
                     static_cast<int>(nPos), lpText));
}

void CDecimal::ThrowExponentOutOfRange(const char* lpText, size_t nPos)
{
    throw CKrInvalidValueException(
        FormatString("The string representing a Decimal, contained an exponent out of range at position %d [%s].",
                     static_cast<int>(nPos), lpText));
}

void CDecimal::Parse(const char* lpText)
{
    const char* s = lpText != nullptr ? lpText : "";

    // Integer zone: digits, signs (the last one counts) and whitespace, anywhere.
    size_t i = 0, nInt = 0, nIntRun = 0;
    int nSign = 1;
    char c;
    for (;; ++i)
    {
        c = s[i];
        if (IsDigit(c))
            continue;
        if (c == 0 || c == '.' || c == 'e' || c == 'E')
            break;
        if (c == '-')
            nSign = -1;
        else if (c == '+')
            nSign = 1;
        else if (!IsSpace(c))
            ThrowInvalidChar(s, i);
        nInt += i - nIntRun;
        nIntRun = i + 1;
    }
    const size_t nIntEnd = i;
    nInt += nIntEnd - nIntRun;  // digits are counted by runs; the last run ends the zone

    // Fraction zone: digits and whitespace; anything else ends it.
    size_t nFracBegin = i, nFracEnd = i, nFrac = 0;
    if (c == '.')
    {
        nFracBegin = ++i;
        for (;; ++i)
        {
            c = s[i];
            if (IsDigit(c))
                ++nFrac;
            else if (!IsSpace(c))
                break;
        }
        nFracEnd = i;
    }

    // Exponent: whitespace and signs, then digits; whitespace may follow the digits at the
    // very end but not stand among them.
    bool bExp = false;
    int nExpSign = 1;
    uint64_t uExp = 0;
    size_t nExpPos = 0;
    if (c == 'e' || c == 'E')
    {
        for (++i;; ++i)
        {
            c = s[i];
            if (c == '-')
                nExpSign = -1;
            else if (c == '+')
                nExpSign = 1;
            else if (!IsSpace(c))
                break;
        }
        nExpPos = i;
        for (;; ++i)
        {
            c = s[i];
            if (IsDigit(c))
            {
                bExp = true;
                if (uExp < kExponentSaturation)
                    uExp = uExp * 10 + static_cast<uint64_t>(c - '0');
            }
            else if (IsSpace(c))
            {
                size_t j = i;
                while (IsSpace(s[j]))
                    ++j;
                if (s[j] != 0)
                    ThrowInvalidChar(s, IsDigit(s[j]) ? i : j);
                i = j;
                c = 0;
                break;
            }
            else
            {
                break;
            }
        }
    }
    if (c != 0)
        ThrowInvalidChar(s, i);
    if (bExp && nExpSign > 0 && uExp > kMaxExponent)
        ThrowExponentOutOfRange(s, nExpPos);

    DigitVector& vInt = m_biInteger.m_vDigits;
    DigitVector& vFrac = m_biFraction.m_vDigits;

    // Trailing zeros of the fraction never matter: find the last significant place.
    size_t nSigEnd = nFracEnd, nTrailingZeros = 0;
    while (nSigEnd > nFracBegin)
    {
        char d = s[nSigEnd - 1];
        if (IsDigit(d) && d != '0')
            break;
        if (d == '0')
            ++nTrailingZeros;
        --nSigEnd;
    }
    const size_t nPlaces = nFrac - nTrailingZeros;
    const int64_t nKeepLimit = static_cast<int64_t>(m_maxDivider) + 2;

    if (!bExp || (uExp == 0 && nExpSign > 0))
    {
        // No scaling: the digits go straight into place. They are as many as the text holds,
        // so the cap is checked once they are counted without leading zeros.
        FillReversed(s, 0, nIntEnd, nInt, nIntRun, vInt);
        if (!IsZeroDigits(vInt))
            CBigInteger::CheckTextDigits(vInt.size(), "a Decimal");
        if (nPlaces == 0)
        {
            vFrac.assign(1, 0);
            m_nFractionDivider = 1;
        }
        else if (static_cast<int64_t>(nPlaces) <= nKeepLimit)
        {
            const bool bFracRun = nFrac == nFracEnd - nFracBegin;
            FillReversed(s, nFracBegin, nSigEnd, nPlaces, bFracRun ? nFracBegin : nSigEnd, vFrac);
            m_nFractionDivider = static_cast<int>(nPlaces);
        }
        else
        {
            // More places than are kept: the rounding needs only the place after the last one
            // kept and whether anything non-zero follows, which it does, as the last place
            // read isn't zero. That is noted as a 1 in the place after.
            const size_t nKeep = static_cast<size_t>(nKeepLimit);
            vFrac.resize(nKeep);
            vFrac[0] = 1;
            size_t q = 0;
            for (size_t j = nFracBegin; q + 1 < nKeep; ++j)
            {
                if (IsDigit(s[j]))
                    vFrac[nKeep - 1 - q++] = static_cast<char>(s[j] - '0');
            }
            CBigInteger::Clean(vFrac);
            m_nFractionDivider = static_cast<int>(nKeep);
        }
    }
    else
    {
        // All digits in a row, most significant first; the point stands after nPoint of them.
        DigitVector vAll;
        vAll.reserve(nInt + nFrac);
        for (size_t j = 0; j < nIntEnd; ++j)
        {
            if (IsDigit(s[j]))
                vAll.push_back(static_cast<char>(s[j] - '0'));
        }
        for (size_t j = nFracBegin; j < nFracEnd; ++j)
        {
            if (IsDigit(s[j]))
                vAll.push_back(static_cast<char>(s[j] - '0'));
        }
        const int64_t nAll = static_cast<int64_t>(vAll.size());
        int64_t nPoint = static_cast<int64_t>(nInt);
        if (bExp)
            nPoint += nExpSign > 0 ? static_cast<int64_t>(uExp) : -static_cast<int64_t>(uExp);

        const int64_t nFromDigits = std::min(std::max<int64_t>(nPoint, 0), nAll);
        const int64_t nZerosBelow = nPoint > nAll ? nPoint - nAll : 0;
        // An exponent makes digits the text doesn't hold: they are counted before they are made.
        int64_t nLeadingZeros = 0;
        while (nLeadingZeros < nFromDigits && vAll[static_cast<size_t>(nLeadingZeros)] == 0)
            ++nLeadingZeros;
        if (nFromDigits > nLeadingZeros)
            CBigInteger::CheckTextDigits(static_cast<size_t>(nZerosBelow + nFromDigits - nLeadingZeros), "a Decimal");
        if (nFromDigits <= nLeadingZeros)
        {
            vInt.assign(1, 0);
        }
        else
        {
            vInt.assign(static_cast<size_t>(nZerosBelow + nFromDigits), 0);
            for (int64_t t = 0; t < nFromDigits; ++t)
                vInt[static_cast<size_t>(nZerosBelow + t)] = vAll[static_cast<size_t>(nFromDigits - 1 - t)];
            CBigInteger::Clean(vInt);
        }

        // Fraction places, most significant first: nLead zeros, then vAll[nFromDigits, nAll).
        const int64_t nLead = nPoint < 0 ? -nPoint : 0;
        const int64_t nTotal = nLead + (nAll - nFromDigits);
        auto digitAt = [&](int64_t q) -> char {
            return q <= nLead ? 0 : vAll[static_cast<size_t>(nFromDigits + q - nLead - 1)];
        };
        // A negative exponent divides, which cuts the quotient after m_maxDivider + 2 places.
        // Otherwise the value is exact, and of the places beyond m_maxDivider + 1 only whether
        // one is non-zero matters to the rounding; it is kept as the last place.
        const bool bCut = bExp && nExpSign < 0;
        int64_t nKeep = std::min(nTotal, nKeepLimit);
        bool bSticky = false;
        if (!bCut && nTotal > nKeepLimit)
        {
            for (int64_t q = std::max(nKeepLimit, nLead + 1); q <= nTotal && !bSticky; ++q)
                bSticky = digitAt(q) != 0;
        }
        if (nKeep == 0)
        {
            vFrac.assign(1, 0);
            m_nFractionDivider = 1;
        }
        else
        {
            vFrac.resize(static_cast<size_t>(nKeep));
            for (int64_t q = 1; q <= nKeep; ++q)
                vFrac[static_cast<size_t>(nKeep - q)] = digitAt(q);
            if (!bCut && nTotal > nKeepLimit)
                vFrac[0] = bSticky ? 1 : 0;
            CBigInteger::Clean(vFrac);
            m_nFractionDivider = static_cast<int>(nKeep);
        }
    }
    m_biInteger.m_nSign = nSign;
    m_biFraction.m_nSign = nSign;
    LimitPlaces();
}

// ---- representation ----

int CDecimal::ValueSign() const
{
    if (!m_biInteger.IsZero())
        return m_biInteger.m_nSign;
    if (!m_biFraction.IsZero())
        return m_biFraction.m_nSign;
    return 0;
}

void CDecimal::CountDigits(size_t& nInteger, size_t& nFraction) const
{
    nInteger = m_biInteger.IsZero() ? 0 : m_biInteger.m_vDigits.size();
    nFraction = m_biFraction.IsZero() ? 0 : static_cast<size_t>(m_nFractionDivider);
}

void CDecimal::Rationalise()
{
    DigitVector& f = m_biFraction.m_vDigits;
    if (IsZeroDigits(f))
    {
        m_nFractionDivider = 1;
        m_biFraction.m_nSign = 1;
        if (m_biInteger.IsZero())
            m_biInteger.m_nSign = 1;
        return;
    }
    if (m_nFractionDivider > 1)
    {
        // The fraction isn't zero, so this stops below its highest digit.
        size_t nZeros = 0;
        const size_t nMax = static_cast<size_t>(m_nFractionDivider - 1);
        while (nZeros < nMax && f[nZeros] == 0)
            ++nZeros;
        if (nZeros > 0)
        {
            f.erase(f.begin(), f.begin() + static_cast<ptrdiff_t>(nZeros));
            m_nFractionDivider -= static_cast<int>(nZeros);
        }
    }
    // A zero integer part carries the sign of the value, so that -0.5 prints its minus.
    if (m_biInteger.IsZero())
        m_biInteger.m_nSign = m_biFraction.m_nSign;
}

void CDecimal::ChangeFractionalDivider(int n)
{
    const int d = m_nFractionDivider;
    DigitVector& f = m_biFraction.m_vDigits;
    if (n >= d)
    {
        if (n > d && !IsZeroDigits(f))
            f.insert(f.begin(), static_cast<size_t>(n - d), 0);
        m_nFractionDivider = n;
        return;
    }
    const int nSign = ValueSign();
    const size_t k = static_cast<size_t>(d - n);
    // Round to nearest; exactly one half goes toward zero.
    bool bUp = false;
    if (f.size() >= k)
    {
        char t = f[k - 1];
        bUp = t > 5 || (t == 5 && AnyNonZero(f.data(), k - 1));
    }
    if (f.size() <= k)
        f.assign(1, 0);
    else
        f.erase(f.begin(), f.begin() + static_cast<ptrdiff_t>(k));
    m_nFractionDivider = n;
    if (bUp)
    {
        if (n == 0)
        {
            Increment(m_biInteger.m_vDigits);
        }
        else
        {
            Increment(f);
            if (f.size() > static_cast<size_t>(n))
            {
                f.assign(1, 0);
                Increment(m_biInteger.m_vDigits);
            }
        }
    }
    if (nSign != 0)
    {
        m_biInteger.m_nSign = nSign;
        m_biFraction.m_nSign = nSign;
    }
}

void CDecimal::LimitPlaces()
{
    if (m_nFractionDivider > m_maxDivider)
        ChangeFractionalDivider(m_maxDivider);
    Rationalise();
}

void CDecimal::ScaledMagnitude(int nPlaces, DigitVector& vOut) const
{
    const DigitVector& f = m_biFraction.m_vDigits;
    const DigitVector& vInt = m_biInteger.m_vDigits;
    const size_t nPl = static_cast<size_t>(nPlaces);
    const size_t nShift = nPl - static_cast<size_t>(m_nFractionDivider);
    const size_t nIntDigits = m_biInteger.IsZero() ? 0 : vInt.size();
    vOut.assign(nPl + nIntDigits, 0);
    if (!IsZeroDigits(f))
        std::memcpy(vOut.data() + nShift, f.data(), f.size());
    if (nIntDigits > 0)
        std::memcpy(vOut.data() + nPl, vInt.data(), nIntDigits);
    CBigInteger::Clean(vOut);
}

void CDecimal::SetFromScaled(int nSign, DigitVector&& vScaled, int nPlaces)
{
    const size_t nPl = static_cast<size_t>(nPlaces);
    DigitVector& vInt = m_biInteger.m_vDigits;
    if (vScaled.size() > nPl)
    {
        vInt.assign(vScaled.begin() + static_cast<ptrdiff_t>(nPl), vScaled.end());
        vScaled.resize(nPl);
    }
    else
    {
        vInt.assign(1, 0);
    }
    m_biFraction.m_vDigits = std::move(vScaled);
    CBigInteger::Clean(m_biFraction.m_vDigits);
    m_nFractionDivider = nPlaces;
    m_biInteger.m_nSign = nSign;
    m_biFraction.m_nSign = nSign;
}

void CDecimal::RoundedIntegerMagnitude(DigitVector& vOut) const
{
    vOut = m_biInteger.m_vDigits;
    const DigitVector& f = m_biFraction.m_vDigits;
    const size_t d = static_cast<size_t>(m_nFractionDivider);
    if (d >= 1 && f.size() == d)
    {
        char t = f[d - 1];
        if (t > 5 || (t == 5 && AnyNonZero(f.data(), d - 1)))
            Increment(vOut);
    }
}

// ---- text ----

void CDecimal::WritePointed(char* p) const
{
    const DigitVector& vInt = m_biInteger.m_vDigits;
    const DigitVector& f = m_biFraction.m_vDigits;
    const size_t nInt = vInt.size(), nFrac = f.size(), d = static_cast<size_t>(m_nFractionDivider);
    CBigInteger::DigitsToText(vInt.data(), nInt, p);
    p += nInt;
    *p++ = '.';
    std::memset(p, '0', d - nFrac);
    CBigInteger::DigitsToText(f.data(), nFrac, p + d - nFrac);
}

std::string CDecimal::ToString() const
{
    std::string str;
    if (m_biFraction.IsZero())
    {
        m_biInteger.AppendTo(str);
        return str;
    }
    const size_t nMinus = ValueSign() < 0 ? 1 : 0;
    str.resize(nMinus + m_biInteger.m_vDigits.size() + 1 + static_cast<size_t>(m_nFractionDivider));
    if (nMinus)
        str[0] = '-';
    WritePointed(&str[nMinus]);
    return str;
}

std::string CDecimal::ToString(int fractionDigits) const
{
    if (fractionDigits < 0)
        throw CKrInvalidParamException("The number of fraction digits must not be negative.");
    const size_t k = static_cast<size_t>(fractionDigits);
    const size_t nInt = m_biInteger.m_vDigits.size(), d = static_cast<size_t>(m_nFractionDivider);
    const size_t nMinus = ValueSign() < 0 ? 1 : 0;
    std::string str;
    if (k >= d)
    {
        // The half unit lies below the last place held: the digits stand, padded with zeros.
        str.resize(nMinus + nInt + 1 + k);
        if (nMinus)
            str[0] = '-';
        WritePointed(&str[nMinus]);
        std::memset(&str[nMinus + nInt + 1 + d], '0', k - d);
        return str;
    }
    // Add one half unit of place k and cut after place k. One spare character in front takes a
    // carry out of the integer digits.
    const size_t nIntStart = nMinus + 1;
    const size_t nPoint = nIntStart + nInt;
    str.resize(nPoint + 1 + d);
    WritePointed(&str[nIntStart]);

    size_t j = nPoint + 1 + k;
    bool bCarry = str[j] >= '5';
    str[j] = static_cast<char>(bCarry ? str[j] - 5 : str[j] + 5);
    while (bCarry && j-- > nIntStart)
    {
        if (j == nPoint)
            continue;
        bCarry = str[j] == '9';
        str[j] = bCarry ? '0' : static_cast<char>(str[j] + 1);
    }
    size_t nFirst = nIntStart;
    if (bCarry)
        str[--nFirst] = '1';
    if (nMinus)
        str[--nFirst] = '-';
    // The sum drops its trailing zeros before it is cut, so a carry can leave fewer places.
    size_t nKeep = d;
    while (nKeep > 1 && str[nPoint + nKeep] == '0')
        --nKeep;
    str.resize(nPoint + 1 + std::min(k, nKeep));
    if (nFirst > 0)
        str.erase(0, nFirst);
    return str;
}

// ---- conversions ----

CBigInteger CDecimal::ToBigInteger() const
{
    CBigInteger r(1, DigitVector());
    RoundedIntegerMagnitude(r.m_vDigits);
    if (!r.IsZero())
        r.m_nSign = ValueSign();
    return r;
}

int32_t CDecimal::ToLong() const
{
    DigitVector vMag;
    RoundedIntegerMagnitude(vMag);
    const bool bNeg = ValueSign() < 0;
    if (CompareWithDigits(vMag, bNeg ? "2147483648" : "2147483647", 0) > 0)
        throw CKrOverFlowException("The Decimal value if to large to fit into a LONG");
    int64_t v = static_cast<int64_t>(MagnitudeToU64(vMag));
    return static_cast<int32_t>(bNeg ? -v : v);
}

int64_t CDecimal::ToLongLong() const
{
    // Rounded to one place, then the fraction is cut: only a fraction that rounds up to a whole
    // unit (above .95) changes the integer part.
    DigitVector vMag = m_biInteger.m_vDigits;
    const DigitVector& f = m_biFraction.m_vDigits;
    const size_t d = static_cast<size_t>(m_nFractionDivider);
    if (d >= 2 && f.size() == d && f[d - 1] == 9)
    {
        char t = f[d - 2];
        if (t > 5 || (t == 5 && AnyNonZero(f.data(), d - 2)))
            Increment(vMag);
    }
    const bool bNeg = ValueSign() < 0;
    if (CompareWithDigits(vMag, bNeg ? "9223372036854775808" : "9223372036854775807", 0) > 0)
        throw CKrOverFlowException("The Decimal value if to large to fit into a LONGLONG");
    uint64_t u = MagnitudeToU64(vMag);
    if (!bNeg)
        return static_cast<int64_t>(u);
    return u == static_cast<uint64_t>(INT64_MAX) + 1 ? INT64_MIN : -static_cast<int64_t>(u);
}

double CDecimal::ToDouble() const
{
    // The bound is 1.7E+308 either way round.
    if (CompareWithDigits(m_biInteger.m_vDigits, "17", 307) > 0)
        throw CKrOverFlowException("The Decimal value if to large to fit into a Double");
    std::string str = ToString();
    double d = 0.0;
    // Locale-independent and correctly rounded; a value too small for a double stays 0.
    std::from_chars(str.data(), str.data() + str.size(), d);
    return d;
}

// ---- sign ----

CDecimal CDecimal::GetNegative() const
{
    CDecimal r(*this);
    r.Negate();
    return r;
}

void CDecimal::Negate()
{
    if (IsZero())
        return;
    m_biInteger.m_nSign = -m_biInteger.m_nSign;
    m_biFraction.m_nSign = -m_biFraction.m_nSign;
}

// ---- arithmetic ----

void CDecimal::AddSigned(const CDecimal& a, const CDecimal& b, int nSignB, CDecimal& out)
{
    const int sa = a.ValueSign(), sb = b.ValueSign() * nSignB;
    if (sb == 0)
    {
        if (&out != &a)
            out = a;
        return;
    }
    if (sa == 0)
    {
        if (&out != &b)
            out = b;
        if (nSignB < 0)
            out.Negate();
        return;
    }
    const int n = std::max(a.m_nFractionDivider, b.m_nFractionDivider);
    DigitVector ma, mb;
    a.ScaledMagnitude(n, ma);
    b.ScaledMagnitude(n, mb);
    int nSign = sa;
    if (sa == sb)
    {
        CBigInteger::Add(ma, mb, ma);
    }
    else
    {
        int c = CBigInteger::Compare(ma, mb);
        if (c == 0)
        {
            out = CDecimal();
            return;
        }
        if (c > 0)
        {
            CBigInteger::Subtract(ma, mb, ma);
        }
        else
        {
            CBigInteger::Subtract(mb, ma, ma);
            nSign = sb;
        }
    }
    out.SetFromScaled(nSign, std::move(ma), n);
    out.Rationalise();
}

CDecimal CDecimal::operator+(const CDecimal& other) const
{
    CDecimal r(NoInitTag{});
    AddSigned(*this, other, 1, r);
    return r;
}

CDecimal CDecimal::operator-(const CDecimal& other) const
{
    CDecimal r(NoInitTag{});
    AddSigned(*this, other, -1, r);
    return r;
}

CDecimal& CDecimal::operator+=(const CDecimal& other)
{
    AddSigned(*this, other, 1, *this);
    return *this;
}

CDecimal& CDecimal::operator-=(const CDecimal& other)
{
    AddSigned(*this, other, -1, *this);
    return *this;
}

CDecimal CDecimal::operator*(const CDecimal& other) const
{
    const int sa = ValueSign(), sb = other.ValueSign();
    if (sa == 0 || sb == 0)
        return CDecimal();
    // The integer part of a product has as many digits as those of the factors together, or
    // one fewer.
    size_t nIntA, nIntB, nFrac;
    CountDigits(nIntA, nFrac);
    other.CountDigits(nIntB, nFrac);
    if (nIntA && nIntB)
        CBigInteger::CheckResultDigits(nIntA + nIntB - 1, "operator*");
    DigitVector ma, mb;
    ScaledMagnitude(m_nFractionDivider, ma);
    other.ScaledMagnitude(other.m_nFractionDivider, mb);
    CBigInteger::Multiply(ma, mb, ma);
    CDecimal r(NoInitTag{});
    r.SetFromScaled(sa * sb, std::move(ma), m_nFractionDivider + other.m_nFractionDivider);
    r.LimitPlaces();
    r.CheckIntegerDigits("operator*");
    return r;
}

CDecimal& CDecimal::operator*=(const CDecimal& other)
{
    *this = *this * other;
    return *this;
}

CDecimal CDecimal::operator/(const CDecimal& other) const
{
    const int sb = other.ValueSign();
    if (sb == 0)
        throw CKrInvalidValueException("ERROR: Overflow in operator/.");
    const int sa = ValueSign();
    if (sa == 0)
        return CDecimal();
    // q = |a| / |b| * 10^(m_maxDivider + 2), truncated; then rounded to m_maxDivider places.
    const int nPlaces = m_maxDivider + 2;
    DigitVector ma, mb, q, r;
    ScaledMagnitude(m_nFractionDivider, ma);
    other.ScaledMagnitude(other.m_nFractionDivider, mb);
    const int64_t nShift = static_cast<int64_t>(nPlaces) + other.m_nFractionDivider - m_nFractionDivider;
    if (nShift > 0)
        CBigInteger::ShiftLeft(ma, static_cast<int>(nShift));
    else if (nShift < 0)
        CBigInteger::ShiftLeft(mb, static_cast<int>(-nShift));
    CBigInteger::Divide(ma, mb, q, r);
    CDecimal res(NoInitTag{});
    res.SetFromScaled(sa * sb, std::move(q), nPlaces);
    res.LimitPlaces();
    // A small divisor makes a quotient longer than the dividend.
    res.CheckIntegerDigits("operator/");
    return res;
}

CDecimal& CDecimal::operator/=(const CDecimal& other)
{
    *this = *this / other;
    return *this;
}

CDecimal& CDecimal::operator++()
{
    static const CDecimal s_one(1);
    AddSigned(*this, s_one, 1, *this);
    return *this;
}

CDecimal CDecimal::operator++(int)
{
    CDecimal old(*this);
    ++*this;
    return old;
}

CDecimal& CDecimal::operator--()
{
    static const CDecimal s_one(1);
    AddSigned(*this, s_one, -1, *this);
    return *this;
}

CDecimal CDecimal::operator--(int)
{
    CDecimal old(*this);
    --*this;
    return old;
}

// ---- comparison ----

int CDecimal::Compare(const CDecimal& a, const CDecimal& b)
{
    const int sa = a.ValueSign(), sb = b.ValueSign();
    if (sa != sb)
        return sa < sb ? -1 : 1;
    if (sa == 0)
        return 0;
    int c = CBigInteger::Compare(a.m_biInteger.m_vDigits, b.m_biInteger.m_vDigits);
    if (c == 0)
    {
        // Fractions place by place from the point, missing places being zeros.
        const DigitVector& fa = a.m_biFraction.m_vDigits;
        const DigitVector& fb = b.m_biFraction.m_vDigits;
        const int da = a.m_nFractionDivider, db = b.m_nFractionDivider;
        const int n = std::max(da, db);
        for (int q = 1; q <= n && c == 0; ++q)
        {
            char x = q <= da && static_cast<size_t>(da - q) < fa.size() ? fa[static_cast<size_t>(da - q)] : 0;
            char y = q <= db && static_cast<size_t>(db - q) < fb.size() ? fb[static_cast<size_t>(db - q)] : 0;
            if (x != y)
                c = x < y ? -1 : 1;
        }
    }
    return sa > 0 ? c : -c;
}

} // namespace KrXmlLib16
