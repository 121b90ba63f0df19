#include "biginteger.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <new>
#include <utility>

#include "decimal.h"
#include "functions.h"
#include "krexception.h"
#include "krlimits.h"
#include "whitespaceutils.h"

#if defined(__cpp_constinit)
#define KR_CONSTINIT constinit
#elif defined(__clang__)
#define KR_CONSTINIT [[clang::require_constant_initialization]]
#elif defined(__GNUC__) && __GNUC__ >= 10
#define KR_CONSTINIT __constinit
#else
#define KR_CONSTINIT
#endif

namespace KrXmlLib16 {

namespace {

typedef CBigInteger::DigitVector DigitVector;

// ---- native fast paths: up to 19 digits fit 64 bits, up to 38 digits 128 bits ----

__extension__ typedef unsigned __int128 Uint128;

const uint64_t kTen19 = 10000000000000000000ull;
const size_t kMaxDigits64 = 19;
const size_t kMaxDigits128 = 38;

uint64_t DigitsToU64(const char* d, size_t n)
{
    uint64_t v = 0;
    for (size_t i = n; i-- > 0;)
        v = v * 10 + static_cast<uint64_t>(d[i]);
    return v;
}

Uint128 DigitsToU128(const char* d, size_t n)
{
    if (n <= kMaxDigits64)
        return DigitsToU64(d, n);
    return static_cast<Uint128>(DigitsToU64(d + kMaxDigits64, n - kMaxDigits64)) * kTen19 +
           DigitsToU64(d, kMaxDigits64);
}

// Writes the digits of v, least significant first, and returns their number (at least 1).
size_t U64ToDigits(uint64_t v, char* pOut)
{
    size_t n = 0;
    do
    {
        pOut[n++] = static_cast<char>(v % 10);
        v /= 10;
    } while (v != 0);
    return n;
}

void U128ToVector(Uint128 v, DigitVector& vOut)
{
    char buf[40];
    size_t n;
    if ((v >> 64) == 0)
    {
        n = U64ToDigits(static_cast<uint64_t>(v), buf);
    }
    else
    {
        // Callers stay below 10^38, so the high part has at most 19 digits.
        uint64_t hi = static_cast<uint64_t>(v / kTen19);
        uint64_t lo = static_cast<uint64_t>(v - static_cast<Uint128>(hi) * kTen19);
        for (size_t i = 0; i < kMaxDigits64; ++i)
        {
            buf[i] = static_cast<char>(lo % 10);
            lo /= 10;
        }
        n = kMaxDigits64 + U64ToDigits(hi, buf + kMaxDigits64);
    }
    vOut.assign(buf, buf + n);
}

// ---- eight digits at a time: one digit per byte in a 64-bit word ----

// The lowest digit must be the lowest byte of a word for carries to run upward.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "digit words assume a little-endian machine");

const uint64_t kOnes = 0x0101010101010101ull;

inline uint64_t Load8(const char* p)
{
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

inline void Store8(char* p, uint64_t v) { std::memcpy(p, &v, 8); }

// p[0, n) = a + b + the returned carry * 10^n. p may be a or b. Biased by 246, a byte overflows
// into the next exactly when its digit sum reaches 10, so the carries run as in binary; bytes
// that didn't overflow keep the bias, shown by their high bit, and lose it again.
unsigned AddDigits(const char* a, const char* b, size_t n, char* p)
{
    unsigned carry = 0;
    size_t i = 0;
    for (; i + 8 <= n; i += 8)
    {
        uint64_t s = Load8(a + i) + Load8(b + i);
        uint64_t t;
        carry = __builtin_add_overflow(s, 0xF6F6F6F6F6F6F6F6ull + carry, &t);
        Store8(p + i, t - ((t >> 7) & kOnes) * 246);
    }
    for (; i < n; ++i)
    {
        unsigned t = static_cast<unsigned>(a[i] + b[i]) + carry;
        carry = t > 9;
        p[i] = static_cast<char>(t - 10 * carry);
    }
    return carry;
}

// p[0, n) = a - b - the returned borrow * 10^n, the same way round: a byte that borrowed holds
// its digit plus 246.
unsigned SubtractDigits(const char* a, const char* b, size_t n, char* p)
{
    unsigned borrow = 0;
    size_t i = 0;
    for (; i + 8 <= n; i += 8)
    {
        uint64_t t, d;
        bool o1 = __builtin_sub_overflow(Load8(a + i), Load8(b + i), &t);
        bool o2 = __builtin_sub_overflow(t, static_cast<uint64_t>(borrow), &d);
        borrow = o1 || o2;
        Store8(p + i, d - ((d >> 7) & kOnes) * 246);
    }
    for (; i < n; ++i)
    {
        int t = a[i] - b[i] - static_cast<int>(borrow);
        borrow = t < 0;
        p[i] = static_cast<char>(t + 10 * static_cast<int>(borrow));
    }
    return borrow;
}

// ---- limbs: base 10^9, least significant first ----

typedef uint32_t Limb;
typedef std::vector<Limb> LimbVector;
const uint32_t kBase = 1000000000u;
const size_t kLimbDigits = 9;
const size_t kKaratsubaThreshold = 64;

// The value of eight digits, least significant first in the bytes of w: pairs, then quads,
// then the whole, each step one multiplication for all lanes.
inline uint32_t EightDigitsValue(uint64_t w)
{
    w = (w & 0x00FF00FF00FF00FFull) + ((w >> 8) & 0x00FF00FF00FF00FFull) * 10;
    w = (w & 0x0000FFFF0000FFFFull) + ((w >> 16) & 0x0000FFFF0000FFFFull) * 100;
    return static_cast<uint32_t>((w & 0xFFFFFFFFull) + (w >> 32) * 10000);
}

void DigitsToLimbs(const char* d, size_t n, LimbVector& vOut)
{
    const size_t nFull = n / kLimbDigits;
    vOut.resize((n + kLimbDigits - 1) / kLimbDigits);
    Limb* pOut = vOut.data();
    for (size_t i = 0; i < nFull; ++i)
    {
        const char* p = d + i * kLimbDigits;
        pOut[i] = EightDigitsValue(Load8(p)) + static_cast<uint32_t>(p[8]) * 100000000u;
    }
    if (n % kLimbDigits != 0)
    {
        uint32_t v = 0;
        for (size_t k = n; k-- > nFull * kLimbDigits;)
            v = v * 10 + static_cast<uint32_t>(d[k]);
        pOut[nFull] = v;
    }
}

// The two digits of 0 to 99, least significant first.
struct DigitPairs
{
    char a[100][2];
    constexpr DigitPairs() : a()
    {
        for (int i = 0; i < 100; ++i)
        {
            a[i][0] = static_cast<char>(i % 10);
            a[i][1] = static_cast<char>(i / 10);
        }
    }
};
constexpr DigitPairs kDigitPairs;

// The nine digits of v < 10^9, least significant first; three short divisions deep.
inline void LimbToNineDigits(uint32_t v, char* p)
{
    uint32_t hi = v / 10000, lo = v - hi * 10000;
    uint32_t lo1 = lo / 100, hi1 = hi / 100;
    uint32_t hi2 = hi1 / 100;
    std::memcpy(p, kDigitPairs.a[lo - lo1 * 100], 2);
    std::memcpy(p + 2, kDigitPairs.a[lo1], 2);
    std::memcpy(p + 4, kDigitPairs.a[hi - hi1 * 100], 2);
    std::memcpy(p + 6, kDigitPairs.a[hi1 - hi2 * 100], 2);
    p[8] = static_cast<char>(hi2);
}

size_t TrimLimbs(const Limb* p, size_t n)
{
    while (n > 0 && p[n - 1] == 0)
        --n;
    return n;
}

void LimbsToDigits(const Limb* p, size_t n, DigitVector& vOut)
{
    n = TrimLimbs(p, n);
    if (n == 0)
    {
        vOut.assign(1, 0);
        return;
    }
    vOut.resize(n * kLimbDigits);
    char* pOut = vOut.data();
    for (size_t i = 0; i < n; ++i, pOut += kLimbDigits)
        LimbToNineDigits(p[i], pOut);
    while (vOut.size() > 1 && vOut.back() == 0)
        vOut.pop_back();
}

// Splits each of acc[nFrom, nTo) into its low limb and a carry added to the cell above, all
// cells at once, with no carry chain: a cell below 2^64 leaves a carry below 1.9 * 10^10.
inline void SpreadCarries(uint64_t* acc, size_t nFrom, size_t nTo)
{
    for (size_t k = nTo; k-- > nFrom;)
    {
        uint64_t t = acc[k];
        acc[k] = t % kBase;
        acc[k + 1] += t / kBase;
    }
}

// r[0, na + nb) = a * b by rows, with the column sums kept in 64 bits: each product is below
// 10^18, so 16 rows on top of a spread carry stay below 2^64.
void MulSchool(const Limb* a, size_t na, const Limb* b, size_t nb, Limb* r)
{
    if (na < nb)
    {
        std::swap(a, b);
        std::swap(na, nb);
    }
    const size_t nr = na + nb;
    uint64_t aStack[256];
    std::vector<uint64_t> vHeap;
    uint64_t* acc = aStack;
    if (nr > sizeof(aStack) / sizeof(aStack[0]))
    {
        vHeap.resize(nr);
        acc = vHeap.data();
    }
    std::fill(acc, acc + nr, 0);
    size_t nPending = 0, nFirstPending = 0;
    for (size_t j = 0; j < nb; ++j)
    {
        const uint64_t bj = b[j];
        if (bj != 0)
        {
            uint64_t* pAcc = acc + j;
            size_t i = 0;
            for (; i + 4 <= na; i += 4)
            {
                uint64_t p0 = a[i] * bj, p1 = a[i + 1] * bj, p2 = a[i + 2] * bj, p3 = a[i + 3] * bj;
                pAcc[i] += p0;
                pAcc[i + 1] += p1;
                pAcc[i + 2] += p2;
                pAcc[i + 3] += p3;
            }
            for (; i < na; ++i)
                pAcc[i] += a[i] * bj;
        }
        if (++nPending == 16)
        {
            // Products never reach the top cell, which only takes carries.
            SpreadCarries(acc, nFirstPending, nr - 1);
            nPending = 0;
            nFirstPending = j + 1;
        }
    }
    // Twice spread, every cell is below kBase + 20; one cheap pass carries the rest.
    SpreadCarries(acc, 0, nr - 1);
    SpreadCarries(acc, 0, nr - 1);
    uint32_t carry = 0;
    for (size_t k = 0; k < nr; ++k)
    {
        uint64_t t = acc[k] + carry;
        carry = t >= kBase;
        r[k] = static_cast<Limb>(carry ? t - kBase : t);
    }
}

// r[0, nr) += a[0, na); the sum must fit nr limbs.
void AddLimbsInPlace(Limb* r, size_t nr, const Limb* a, size_t na)
{
    uint32_t carry = 0;
    size_t i = 0;
    for (; i < na; ++i)
    {
        uint32_t s = r[i] + a[i] + carry;
        carry = s >= kBase;
        r[i] = carry ? s - kBase : s;
    }
    for (; carry && i < nr; ++i)
    {
        uint32_t s = r[i] + 1;
        carry = s >= kBase;
        r[i] = carry ? 0 : s;
    }
}

// r[0, nr) -= a[0, na); r must not fall below a.
void SubLimbsInPlace(Limb* r, size_t nr, const Limb* a, size_t na)
{
    uint32_t borrow = 0;
    size_t i = 0;
    for (; i < na; ++i)
    {
        uint32_t sub = a[i] + borrow;
        borrow = r[i] < sub;
        r[i] = borrow ? r[i] + kBase - sub : r[i] - sub;
    }
    for (; borrow && i < nr; ++i)
    {
        borrow = r[i] == 0;
        r[i] = borrow ? kBase - 1 : r[i] - 1;
    }
}

// out[0, n + 1) = low[0, nLow) + high[0, nHigh), with nLow, nHigh <= n.
void AddLimbs(const Limb* pLow, size_t nLow, const Limb* pHigh, size_t nHigh, size_t n, Limb* pOut)
{
    uint32_t carry = 0;
    for (size_t i = 0; i < n; ++i)
    {
        uint32_t s = (i < nLow ? pLow[i] : 0) + (i < nHigh ? pHigh[i] : 0) + carry;
        carry = s >= kBase;
        pOut[i] = carry ? s - kBase : s;
    }
    pOut[n] = carry;
}

// r[0, na + nb) = a * b; r must not overlap the inputs.
void MulLimbs(const Limb* a, size_t na, const Limb* b, size_t nb, Limb* r)
{
    if (na < nb)
    {
        std::swap(a, b);
        std::swap(na, nb);
    }
    if (nb == 0)
    {
        std::fill(r, r + na, 0);
        return;
    }
    if (nb < kKaratsubaThreshold)
    {
        MulSchool(a, na, b, nb, r);
        return;
    }
    if (na >= 2 * nb)
    {
        // Unbalanced: multiply b by slices of a as long as b itself.
        std::fill(r, r + na + nb, 0);
        LimbVector vTmp(2 * nb);
        for (size_t nOff = 0; nOff < na; nOff += nb)
        {
            size_t nLen = std::min(nb, na - nOff);
            MulLimbs(a + nOff, nLen, b, nb, vTmp.data());
            AddLimbsInPlace(r + nOff, na + nb - nOff, vTmp.data(), nLen + nb);
        }
        return;
    }
    // Karatsuba: a = a1 B^h + a0, b = b1 B^h + b0 with h <= nb.
    const size_t h = (na + 1) / 2;
    const size_t nA1 = na - h, nB1 = nb - h;
    const size_t nr = na + nb;
    MulLimbs(a, h, b, h, r);  // z0 in r[0, 2h)
    if (nB1 > 0)
        MulLimbs(a + h, nA1, b + h, nB1, r + 2 * h);  // z2 in r[2h, nr)
    else
        std::fill(r + 2 * h, r + nr, 0);
    LimbVector vSums(2 * (h + 1));
    Limb* pSa = vSums.data();
    Limb* pSb = pSa + h + 1;
    AddLimbs(a, h, a + h, nA1, h, pSa);
    AddLimbs(b, h, b + h, nB1, h, pSb);
    LimbVector vZ1(2 * (h + 1));
    MulLimbs(pSa, h + 1, pSb, h + 1, vZ1.data());
    SubLimbsInPlace(vZ1.data(), vZ1.size(), r, 2 * h);
    SubLimbsInPlace(vZ1.data(), vZ1.size(), r + 2 * h, nr - 2 * h);
    size_t nZ1 = TrimLimbs(vZ1.data(), vZ1.size());
    AddLimbsInPlace(r + h, nr - h, vZ1.data(), nZ1);
}

// pOut[0, n + 1) = p[0, n) * m, m < kBase.
void MulSmall(const Limb* p, size_t n, uint32_t m, Limb* pOut)
{
    uint64_t carry = 0;
    for (size_t i = 0; i < n; ++i)
    {
        uint64_t t = static_cast<uint64_t>(p[i]) * m + carry;
        pOut[i] = static_cast<Limb>(t % kBase);
        carry = t / kBase;
    }
    pOut[n] = static_cast<Limb>(carry);
}

// pQuot[0, n) = p / m; returns the remainder.
uint32_t DivSmall(const Limb* p, size_t n, uint32_t m, Limb* pQuot)
{
    uint64_t rem = 0;
    for (size_t i = n; i-- > 0;)
    {
        uint64_t cur = rem * kBase + p[i];
        pQuot[i] = static_cast<Limb>(cur / m);
        rem = cur % m;
    }
    return static_cast<uint32_t>(rem);
}

// Long division (Knuth's algorithm D): u[0, nu) / v[0, nv), nv >= 2, v[nv - 1] != 0, nu >= nv.
void DivLimbs(const Limb* u, size_t nu, const Limb* v, size_t nv, LimbVector& vQuot, LimbVector& vRem)
{
    // Scale so that the divisor's top limb is at least kBase / 2: the quotient estimate is
    // then at most two too large.
    const uint32_t d = kBase / (v[nv - 1] + 1);
    LimbVector vU(nu + 1), vV(nv + 1);
    MulSmall(u, nu, d, vU.data());
    MulSmall(v, nv, d, vV.data());
    Limb* un = vU.data();
    const Limb* vn = vV.data();
    const uint64_t vTop = vn[nv - 1], vNext = vn[nv - 2];
    const size_t m = nu - nv;
    vQuot.assign(m + 1, 0);
    for (size_t j = m + 1; j-- > 0;)
    {
        uint64_t num = static_cast<uint64_t>(un[j + nv]) * kBase + un[j + nv - 1];
        uint64_t qhat = num / vTop, rhat = num % vTop;
        while (qhat >= kBase || qhat * vNext > rhat * kBase + un[j + nv - 2])
        {
            --qhat;
            rhat += vTop;
            if (rhat >= kBase)
                break;
        }
        if (qhat == 0)
            continue;
        // un[j, j + nv] -= qhat * vn. The products split into limbs independently; only the
        // borrow (0 to 2, as a limb and the carry below it stay under 2 * kBase) runs along.
        uint64_t carry = 0;
        int64_t borrow = 0;
        for (size_t i = 0; i < nv; ++i)
        {
            uint64_t p = qhat * vn[i];
            uint64_t hi = p / kBase;
            int64_t t = static_cast<int64_t>(un[i + j]) - static_cast<int64_t>(p - hi * kBase + carry) - borrow;
            borrow = (t < 0) + (t < -static_cast<int64_t>(kBase));
            un[i + j] = static_cast<Limb>(t + borrow * static_cast<int64_t>(kBase));
            carry = hi;
        }
        uint64_t sub = carry + static_cast<uint64_t>(borrow);
        if (un[j + nv] < sub)
        {
            // The estimate was one too large: add the divisor back once.
            --qhat;
            uint32_t c = 0;
            for (size_t i = 0; i < nv; ++i)
            {
                uint32_t s = un[i + j] + vn[i] + c;
                c = s >= kBase;
                un[i + j] = c ? s - kBase : s;
            }
            un[j + nv] = 0;
        }
        else
        {
            un[j + nv] = static_cast<Limb>(un[j + nv] - sub);
        }
        vQuot[j] = static_cast<Limb>(qhat);
    }
    vRem.resize(nv);
    DivSmall(un, nv, d, vRem.data());
}

// ---- the six bounds: constant-initialised storage, filled by CBigIntegerBoundsInit ----

union BoundSlot
{
    constexpr BoundSlot() : m_cUnused(0) {}
    ~BoundSlot() {}
    char m_cUnused;
    CBigInteger m_bi;
};

KR_CONSTINIT BoundSlot s_aBounds[6];
KR_CONSTINIT std::atomic<int> s_nBoundsUsers{0};

const char* const s_apBoundTexts[6] = {"2147483647",           "-2147483648", "9223372036854775807",
                                       "-9223372036854775808", "1.7E+308",    "-1.7E+308"};

} // namespace

KR_CONSTINIT const CBigInteger& CBigInteger::MAX_LONG = s_aBounds[0].m_bi;
KR_CONSTINIT const CBigInteger& CBigInteger::MIN_LONG = s_aBounds[1].m_bi;
KR_CONSTINIT const CBigInteger& CBigInteger::MAX_LONGLONG = s_aBounds[2].m_bi;
KR_CONSTINIT const CBigInteger& CBigInteger::MIN_LONGLONG = s_aBounds[3].m_bi;
KR_CONSTINIT const CBigInteger& CBigInteger::MAX_DOUBLE = s_aBounds[4].m_bi;
KR_CONSTINIT const CBigInteger& CBigInteger::MIN_DOUBLE = s_aBounds[5].m_bi;

CBigIntegerBoundsInit::CBigIntegerBoundsInit()
{
    if (s_nBoundsUsers.fetch_add(1) == 0)
    {
        for (int i = 0; i < 6; ++i)
            new (&s_aBounds[i].m_bi) CBigInteger(CDecimal(s_apBoundTexts[i]));
    }
}

CBigIntegerBoundsInit::~CBigIntegerBoundsInit()
{
    if (s_nBoundsUsers.fetch_sub(1) == 1)
    {
        for (int i = 0; i < 6; ++i)
            s_aBounds[i].m_bi.~CBigInteger();
    }
}

// ---- construction ----

CBigInteger::CBigInteger() : m_nSign(1), m_vDigits(1, 0) {}

CBigInteger::CBigInteger(int32_t nValue)
{
    SetFromMagnitude64(nValue < 0 ? -1 : 1,
                       nValue < 0 ? 0 - static_cast<uint64_t>(static_cast<int64_t>(nValue))
                                  : static_cast<uint64_t>(nValue));
}

CBigInteger::CBigInteger(uint32_t nValue) : m_nSign(1) { Build(nValue, m_vDigits); }

CBigInteger::CBigInteger(int64_t nValue)
{
    SetFromMagnitude64(nValue < 0 ? -1 : 1,
                       nValue < 0 ? 0 - static_cast<uint64_t>(nValue) : static_cast<uint64_t>(nValue));
}

CBigInteger::CBigInteger(uint64_t nValue) : m_nSign(1) { BuildDWORDLONG(nValue, m_vDigits); }

CBigInteger::CBigInteger(double dValue)
{
    if (!std::isfinite(dValue))
        throw CKrInvalidValueException(FormatString("The double value %f has no integer value.", dValue));
    m_nSign = dValue < 0 ? -1 : 1;
    double dMagnitude = std::fabs(dValue);
    // Nearest integer, halves toward zero. The difference to the floor is exact in doubles.
    double dRounded = std::floor(dMagnitude);
    if (dMagnitude - dRounded > 0.5)
        dRounded += 1.0;
    BuildDouble(dRounded, m_vDigits);
}

CBigInteger::CBigInteger(const CDecimal& value) : CBigInteger(value.ToBigInteger()) {}

CBigInteger::CBigInteger(const char* lpText) : m_nSign(1), m_vDigits(1, 0) { Parse(lpText); }

CBigInteger::CBigInteger(int nSign, const DigitVector& vDigits) : m_nSign(nSign), m_vDigits(vDigits) {}

CBigInteger::CBigInteger(int nSign, DigitVector&& vDigits) noexcept : m_nSign(nSign), m_vDigits(std::move(vDigits))
{
}

void CBigInteger::SetFromMagnitude64(int nSign, uint64_t uMagnitude)
{
    m_nSign = nSign;
    BuildDWORDLONG(uMagnitude, m_vDigits);
}

// ---- text ----

bool CBigInteger::ParsePlain(const char* lpText)
{
    const char* p = lpText;
    while (CWhitespaceUtils::IsWhiteSpace(*p))
        ++p;
    int nSign = 1;
    if (*p == '-')
    {
        nSign = -1;
        ++p;
    }
    else if (*p == '+')
    {
        ++p;
    }
    const char* pBegin = p;
    while (*p >= '0' && *p <= '9')
        ++p;
    const char* pEnd = p;
    while (CWhitespaceUtils::IsWhiteSpace(*p))
        ++p;
    if (*p != 0)
        return false;
    if (pBegin == pEnd)
    {
        // Only blanks: zero. A lone sign is left to the decimal reader, which agrees.
        if (pBegin != lpText && (pBegin[-1] == '-' || pBegin[-1] == '+'))
            return false;
        m_nSign = 1;
        m_vDigits.assign(1, 0);
        return true;
    }
    while (pBegin + 1 < pEnd && *pBegin == '0')
        ++pBegin;
    const size_t n = static_cast<size_t>(pEnd - pBegin);
    CheckTextDigits(n, "an Integer");
    m_vDigits.resize(n);
    TextToDigits(pBegin, n, m_vDigits.data());
    m_nSign = nSign;
    return true;
}

void CBigInteger::Parse(const char* lpText)
{
    if (lpText == nullptr)
        lpText = "";
    if (ParsePlain(lpText))
        return;
    // Everything else has the decimal reader's syntax: "1.6", "1E3", "1 000", "1-2".
    *this = CDecimal(lpText).ToBigInteger();
}

void CBigInteger::AppendTo(std::string& strOut) const
{
    const size_t n = m_vDigits.size();
    const bool bMinus = m_nSign < 0 && !IsZero();
    const size_t nStart = strOut.size();
    strOut.resize(nStart + n + (bMinus ? 1 : 0));
    char* p = &strOut[nStart];
    if (bMinus)
        *p++ = '-';
    DigitsToText(m_vDigits.data(), n, p);
}

std::string CBigInteger::ToString() const
{
    std::string str;
    AppendTo(str);
    return str;
}

// ---- sign ----

CBigInteger CBigInteger::GetAbs() const { return CBigInteger(1, m_vDigits); }

void CBigInteger::Abs() { m_nSign = 1; }

CBigInteger CBigInteger::GetNegative() const { return CBigInteger(-m_nSign, m_vDigits); }

void CBigInteger::Negate() { m_nSign = -m_nSign; }

CBigInteger& CBigInteger::operator-()
{
    m_nSign = -m_nSign;
    return *this;
}

// ---- comparison ----

int CBigInteger::CompareSigned(const CBigInteger& a, const CBigInteger& b)
{
    const int sa = a.Sign(), sb = b.Sign();
    if (sa != sb)
        return sa < sb ? -1 : 1;
    if (sa == 0)
        return 0;
    int c = Compare(a.m_vDigits, b.m_vDigits);
    return sa > 0 ? c : -c;
}

bool CBigInteger::operator==(const CBigInteger& other) const { return CompareSigned(*this, other) == 0; }

// ---- arithmetic ----

void CBigInteger::AddSigned(const CBigInteger& a, const CBigInteger& b, int nSignB, CBigInteger& out)
{
    const int sa = a.m_nSign;
    if (sa == nSignB)
    {
        Add(a.m_vDigits, b.m_vDigits, out.m_vDigits);
        out.m_nSign = sa;
        return;
    }
    int c = Compare(a.m_vDigits, b.m_vDigits);
    if (c == 0)
    {
        out.m_nSign = 1;
        out.m_vDigits.assign(1, 0);
    }
    else if (c > 0)
    {
        Subtract(a.m_vDigits, b.m_vDigits, out.m_vDigits);
        out.m_nSign = sa;
    }
    else
    {
        Subtract(b.m_vDigits, a.m_vDigits, out.m_vDigits);
        out.m_nSign = nSignB;
    }
}

CBigInteger CBigInteger::operator+(const CBigInteger& other) const
{
    CBigInteger r(1, DigitVector());
    AddSigned(*this, other, other.m_nSign, r);
    return r;
}

CBigInteger CBigInteger::operator-(const CBigInteger& other) const
{
    CBigInteger r(1, DigitVector());
    AddSigned(*this, other, -other.m_nSign, r);
    return r;
}

CBigInteger& CBigInteger::operator+=(const CBigInteger& other)
{
    AddSigned(*this, other, other.m_nSign, *this);
    return *this;
}

CBigInteger& CBigInteger::operator-=(const CBigInteger& other)
{
    AddSigned(*this, other, -other.m_nSign, *this);
    return *this;
}

CBigInteger CBigInteger::operator*(const CBigInteger& other) const
{
    // A product has as many digits as its factors together, or one fewer.
    if (!IsZero() && !other.IsZero())
        CheckResultDigits(m_vDigits.size() + other.m_vDigits.size() - 1, "operator*");
    CBigInteger r(m_nSign * other.m_nSign, DigitVector());
    Multiply(m_vDigits, other.m_vDigits, r.m_vDigits);
    CheckResultDigits(r.m_vDigits.size(), "operator*");
    return r;
}

CBigInteger& CBigInteger::operator*=(const CBigInteger& other)
{
    *this = *this * other;
    return *this;
}

CBigInteger CBigInteger::operator/(const CBigInteger& other) const
{
    if (other.IsZero())
        throw CKrInvalidValueException("ERROR: Overflow in operator/.");
    if (IsZero())
        return CBigInteger();
    CBigInteger q(m_nSign == other.m_nSign ? 1 : -1, DigitVector());
    DigitVector r;
    Divide(m_vDigits, other.m_vDigits, q.m_vDigits, r);
    return q;
}

CBigInteger& CBigInteger::operator/=(const CBigInteger& other)
{
    if (other.Sign() <= 0)
        throw CKrInvalidValueException("ERROR: Overflow in operator /=.");
    if (IsZero())
    {
        m_nSign = 1;
        return *this;
    }
    DigitVector r;
    Divide(m_vDigits, other.m_vDigits, m_vDigits, r);
    return *this;
}

CBigInteger CBigInteger::operator%(const CBigInteger& other) const
{
    if (other.Sign() <= 0)
        throw CKrInvalidValueException("ERROR: Overflow in operator%.");
    if (IsZero())
        return CBigInteger();
    CBigInteger r(m_nSign, DigitVector());
    DigitVector q;
    Divide(m_vDigits, other.m_vDigits, q, r.m_vDigits);
    return r;
}

CBigInteger& CBigInteger::operator%=(const CBigInteger& other)
{
    if (other.Sign() <= 0)
        throw CKrInvalidValueException("ERROR: Overflow in operator%=.");
    if (IsZero())
    {
        m_nSign = 1;
        return *this;
    }
    DigitVector q;
    Divide(m_vDigits, other.m_vDigits, q, m_vDigits);
    return *this;
}

CBigInteger CBigInteger::SquareRoot() const
{
    if (Sign() < 0)
        throw CKrInvalidValueException("ERROR: Negative Number in function SquareRoot().");
    if (IsZero())
        return CBigInteger();
    CBigInteger r(1, DigitVector());
    SquareRoot(m_vDigits, r.m_vDigits);
    return r;
}

void CBigInteger::SquareRoot(const DigitVector& v, DigitVector& vOut)
{
    const CBigInteger x(1, v), two(2);
    const size_t n = v.size();
    CBigInteger g(1, DigitVector());
    if (n <= 64)
    {
        // Short: Newton's iteration from a power of ten above the root, 10^(k+1) with
        // 100^k <= value.
        Pow10(static_cast<unsigned int>((n - 1) / 2 + 1), g.m_vDigits);
        for (;;)
        {
            CBigInteger p = g;
            g += x / g;
            g /= two;
            if (g >= p)
            {
                vOut = std::move(p.m_vDigits);
                return;
            }
        }
    }
    // Long: s, the root of the value without its lowest 2k digits, gives (s + 1) * 10^k,
    // above the root by at most 10^k; one Newton step from there lands at most a few units
    // above the root, never below, and the square steps down the rest. So the cost is about
    // one division at full length, where Newton's iteration from afar takes a score of them.
    const size_t k = n / 4;
    DigitVector vHigh(v.begin() + static_cast<ptrdiff_t>(2 * k), v.end());
    SquareRoot(vHigh, g.m_vDigits);
    g += CBigInteger(1);
    ShiftLeft(g.m_vDigits, static_cast<int>(k));
    g += x / g;
    g /= two;
    // Not operator*: the square may pass the cap by a digit where the value is at it.
    CBigInteger sq(1, DigitVector());
    Multiply(g.m_vDigits, g.m_vDigits, sq.m_vDigits);
    while (sq > x)
    {
        // (g - 1)^2 = g^2 - 2g + 1
        sq -= g + g - CBigInteger(1);
        g -= CBigInteger(1);
    }
    vOut = std::move(g.m_vDigits);
}

CBigInteger CBigInteger::Pow10(unsigned int n)
{
    CheckResultDigits(static_cast<size_t>(n) + 1, "Pow10");
    CBigInteger r(1, DigitVector());
    Pow10(n, r.m_vDigits);
    return r;
}

void CBigInteger::CheckTextDigits(size_t nDigits, const char* lpKind)
{
    const uint32_t nMax = CKrLimits::GetMaxNumberDigits();
    if (nMax && nDigits > nMax)
        throw CKrInvalidValueException(FormatString("The string representing %s has more than %u digits, the limit "
                                                    "set by CKrLimits::SetMaxNumberDigits.",
                                                    lpKind, nMax));
}

void CBigInteger::CheckResultDigits(size_t nDigits, const char* lpOperation)
{
    const uint32_t nMax = CKrLimits::GetMaxNumberDigits();
    if (nMax && nDigits > nMax)
        throw CKrOverFlowException(FormatString("The result of %s would have more than %u digits, the limit set by "
                                                "CKrLimits::SetMaxNumberDigits.",
                                                lpOperation, nMax));
}

// ---- conversions ----

CBigInteger::operator int32_t() const
{
    if (m_vDigits.size() <= 10)
    {
        int64_t v = static_cast<int64_t>(DigitsToU64(m_vDigits.data(), m_vDigits.size()));
        if (m_nSign < 0)
            v = -v;
        if (v >= INT32_MIN && v <= INT32_MAX)
            return static_cast<int32_t>(v);
    }
    throw CKrInvalidValueException("ERROR: Value out of bound of int.");
}

CBigInteger::operator int64_t() const
{
    if (m_vDigits.size() <= kMaxDigits64)
    {
        uint64_t u = DigitsToU64(m_vDigits.data(), m_vDigits.size());
        if (m_nSign > 0 || u == 0)
        {
            if (u <= static_cast<uint64_t>(INT64_MAX))
                return static_cast<int64_t>(u);
        }
        else if (u <= static_cast<uint64_t>(INT64_MAX) + 1)
        {
            return u == static_cast<uint64_t>(INT64_MAX) + 1 ? INT64_MIN : -static_cast<int64_t>(u);
        }
    }
    throw CKrInvalidValueException("ERROR: Value out of bound of LONGLONG.");
}

// ---- digit helpers ----

void CBigInteger::TextToDigits(const char* pText, size_t n, char* pOut)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8)
        Store8(pOut + i, __builtin_bswap64(Load8(pText + n - i - 8)) - 0x3030303030303030ull);
    for (; i < n; ++i)
        pOut[i] = static_cast<char>(pText[n - 1 - i] - '0');
}

void CBigInteger::DigitsToText(const char* pDigits, size_t n, char* pText)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8)
        Store8(pText + i, __builtin_bswap64(Load8(pDigits + n - i - 8)) + 0x3030303030303030ull);
    for (; i < n; ++i)
        pText[i] = static_cast<char>('0' + pDigits[n - 1 - i]);
}

void CBigInteger::Build(uint32_t n, DigitVector& vOut) { BuildDWORDLONG(n, vOut); }

void CBigInteger::BuildDWORDLONG(uint64_t n, DigitVector& vOut)
{
    char buf[20];
    size_t nDigits = U64ToDigits(n, buf);
    vOut.assign(buf, buf + nDigits);
}

void CBigInteger::BuildDouble(double d, DigitVector& vOut)
{
    if (d < 18446744073709551616.0)
    {
        BuildDWORDLONG(static_cast<uint64_t>(d), vOut);
        return;
    }
    // d = mantissa * 2^exponent with a 53-bit integer mantissa; every such double is an integer.
    int nExp2 = 0;
    double dFrac = std::frexp(d, &nExp2);
    uint64_t uMantissa = static_cast<uint64_t>(std::ldexp(dFrac, 53));
    nExp2 -= 53;
    LimbVector vLimbs;
    DigitVector vMantissa;
    BuildDWORDLONG(uMantissa, vMantissa);
    DigitsToLimbs(vMantissa.data(), vMantissa.size(), vLimbs);
    while (nExp2 > 0)
    {
        int nStep = std::min(nExp2, 29);  // 2^29 < 10^9
        vLimbs.push_back(0);
        MulSmall(vLimbs.data(), vLimbs.size() - 1, 1u << nStep, vLimbs.data());
        nExp2 -= nStep;
    }
    LimbsToDigits(vLimbs.data(), vLimbs.size(), vOut);
}

void CBigInteger::Build(const std::string& strText, DigitVector& vOut) { Build(strText.data(), strText.size(), vOut); }

void CBigInteger::Build(const char* lpText, size_t nLength, DigitVector& vOut)
{
    size_t nStart = nLength;
    while (nStart > 0 && lpText[nStart - 1] >= '0' && lpText[nStart - 1] <= '9')
        --nStart;
    vOut.resize(nLength - nStart);
    for (size_t i = 0; i < nLength - nStart; ++i)
        vOut[i] = static_cast<char>(lpText[nLength - 1 - i] - '0');
    Clean(vOut);
}

void CBigInteger::Clean(DigitVector& v)
{
    while (v.size() > 1 && v.back() == 0)
        v.pop_back();
    if (v.empty())
        v.push_back(0);
}

int CBigInteger::Compare(const DigitVector& a, const DigitVector& b)
{
    return Compare(a.data(), a.size(), b.data(), b.size());
}

int CBigInteger::Compare(const char* a, size_t na, const char* b, size_t nb)
{
    if (na != nb)
        return na < nb ? -1 : 1;
    for (size_t i = na; i-- > 0;)
    {
        if (a[i] != b[i])
            return a[i] < b[i] ? -1 : 1;
    }
    return 0;
}

void CBigInteger::Add(const DigitVector& a, const DigitVector& b, DigitVector& vOut)
{
    const bool bAFirst = a.size() >= b.size();
    const DigitVector& vLong = bAFirst ? a : b;
    const DigitVector& vShort = bAFirst ? b : a;
    const size_t nLong = vLong.size(), nShort = vShort.size();
    // In place the digits above the shorter operand are touched only while a carry runs, so
    // that adding a small number to a long one is cheap. vOut may also be the shorter operand:
    // each digit is read before it is written.
    const bool bInPlace = &vOut == &vLong;
    if (!bInPlace)
        vOut.resize(nLong);
    char* p = vOut.data();
    const char* l = vLong.data();
    unsigned carry = AddDigits(l, vShort.data(), nShort, p);
    size_t i = nShort;
    for (; carry && i < nLong; ++i)
    {
        carry = l[i] == 9;
        p[i] = static_cast<char>(carry ? 0 : l[i] + 1);
    }
    if (!bInPlace && i < nLong)
        std::memcpy(p + i, l + i, nLong - i);
    if (carry)
        vOut.push_back(1);
}

void CBigInteger::Subtract(const DigitVector& a, const DigitVector& b, DigitVector& vOut)
{
    const size_t na = a.size(), nb = b.size();
    const bool bInPlace = &vOut == &a;
    if (!bInPlace)
        vOut.resize(na);
    char* p = vOut.data();
    const char* pa = a.data();
    unsigned borrow = SubtractDigits(pa, b.data(), nb, p);
    size_t i = nb;
    for (; borrow && i < na; ++i)
    {
        borrow = pa[i] == 0;
        p[i] = static_cast<char>(borrow ? 9 : pa[i] - 1);
    }
    if (!bInPlace && i < na)
        std::memcpy(p + i, pa + i, na - i);
    Clean(vOut);
}

void CBigInteger::Multiply(const DigitVector& a, char digit, DigitVector& vOut)
{
    if (digit == 0 || (a.size() == 1 && a[0] == 0))
    {
        vOut.assign(1, 0);
        return;
    }
    const size_t n = a.size();
    vOut.resize(n + 1);
    char* p = vOut.data();
    const char* pa = a.data();
    int carry = 0;
    for (size_t i = 0; i < n; ++i)
    {
        int t = pa[i] * digit + carry;
        carry = t / 10;
        p[i] = static_cast<char>(t - 10 * carry);
    }
    p[n] = static_cast<char>(carry);
    if (!carry)
        vOut.pop_back();
}

void CBigInteger::Multiply(const DigitVector& a, const DigitVector& b, DigitVector& vOut)
{
    const size_t na = a.size(), nb = b.size();
    if ((na == 1 && a[0] == 0) || (nb == 1 && b[0] == 0))
    {
        vOut.assign(1, 0);
        return;
    }
    if (nb == 1)
    {
        Multiply(a, b[0], vOut);
        return;
    }
    if (na == 1)
    {
        Multiply(b, a[0], vOut);
        return;
    }
    if (na + nb <= kMaxDigits128)
    {
        U128ToVector(DigitsToU128(a.data(), na) * DigitsToU128(b.data(), nb), vOut);
        return;
    }
    LimbVector la, lb;
    DigitsToLimbs(a.data(), na, la);
    DigitsToLimbs(b.data(), nb, lb);
    LimbVector lr(la.size() + lb.size());
    MulLimbs(la.data(), la.size(), lb.data(), lb.size(), lr.data());
    LimbsToDigits(lr.data(), lr.size(), vOut);
}

void CBigInteger::ShiftLeft(DigitVector& v, int nPlaces)
{
    if (nPlaces <= 0 || (v.size() == 1 && v[0] == 0))
        return;
    v.insert(v.begin(), static_cast<size_t>(nPlaces), 0);
}

int CBigInteger::Position(const DigitVector& v) { return v.empty() ? 1 : static_cast<int>(v.size()); }

void CBigInteger::Pow10(unsigned int n, DigitVector& vOut)
{
    vOut.assign(static_cast<size_t>(n) + 1, 0);
    vOut[n] = 1;
}

void CBigInteger::Divide(const DigitVector& a, const DigitVector& b, DigitVector& q, DigitVector& r)
{
    const size_t na = a.size(), nb = b.size();
    const int c = Compare(a, b);
    if (c < 0)
    {
        if (&r != &a)
            r = a;
        q.assign(1, 0);
        return;
    }
    if (c == 0)
    {
        q.assign(1, 1);
        r.assign(1, 0);
        return;
    }
    if (na <= kMaxDigits128)
    {
        Uint128 u = DigitsToU128(a.data(), na), v = DigitsToU128(b.data(), nb);
        Uint128 uq = u / v;
        U128ToVector(u - uq * v, r);
        U128ToVector(uq, q);
        return;
    }
    LimbVector la, lb, lq, lr;
    DigitsToLimbs(a.data(), na, la);
    DigitsToLimbs(b.data(), nb, lb);
    if (lb.size() == 1)
    {
        lq.resize(la.size());
        uint32_t uRem = DivSmall(la.data(), la.size(), lb[0], lq.data());
        lr.assign(1, uRem);
    }
    else
    {
        DivLimbs(la.data(), la.size(), lb.data(), lb.size(), lq, lr);
    }
    LimbsToDigits(lq.data(), lq.size(), q);
    LimbsToDigits(lr.data(), lr.size(), r);
}

} // namespace KrXmlLib16
