#include "datetimespan.h"

#include <limits>

#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

namespace {

inline bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

void AppendUnsigned(std::string& strOut, unsigned __int128 nValue)
{
    char sz[40];
    int n = 0;
    do
    {
        sz[n++] = static_cast<char>('0' + static_cast<int>(nValue % 10));
        nValue /= 10;
    } while (nValue);
    while (n > 0)
        strOut += sz[--n];
}

// A component with its designator; zero components are left out.
void AppendComponent(std::string& strOut, uint64_t nValue, char cDesignator)
{
    if (nValue == 0)
        return;
    AppendUnsigned(strOut, nValue);
    strOut += cDesignator;
}

// The reference instants by which durations are ordered: month lengths and leap days make
// the sum of a span differ between them.
struct ReferenceInstant
{
    short nYear;
    unsigned char nMonth;
};
const ReferenceInstant kReferences[4] = {{1696, 9}, {1697, 2}, {1903, 3}, {1903, 7}};

} // namespace

CDateTimeSpan::CDateTimeSpan()
{
    Clear();
}

CDateTimeSpan::CDateTimeSpan(uint32_t nHours, uint64_t nMinutes, uint64_t nSeconds)
{
    SetDateTimeSpan(nHours, nMinutes, nSeconds);
}

CDateTimeSpan::CDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours,
                             uint64_t nMinutes, uint64_t nSeconds)
{
    SetDateTimeSpan(nYears, nMonths, nDays, nHours, nMinutes, nSeconds);
}

CDateTimeSpan::CDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours,
                             uint64_t nMinutes, uint64_t nSeconds, unsigned short nMilli, unsigned short nMicro,
                             unsigned short nNano)
{
    SetDateTimeSpan(nYears, nMonths, nDays, nHours, nMinutes, nSeconds, nMilli, nMicro, nNano);
}

CDateTimeSpan::~CDateTimeSpan() = default;

void CDateTimeSpan::Clear()
{
    m_nYears = 0;
    m_nMonths = 0;
    m_nDays = 0;
    m_nHours = 0;
    m_nMinutes = 0;
    m_nSeconds = 0;
    m_nMilliSeconds = 0;
    m_nMicroSeconds = 0;
    m_nNanoSeconds = 0;
    m_bNegative = false;
}

void CDateTimeSpan::SetDateTimeSpan(uint32_t nHours, uint64_t nMinutes, uint64_t nSeconds)
{
    SetDateTimeSpan(0, 0, 0, nHours, nMinutes, nSeconds, 0, 0, 0);
}

void CDateTimeSpan::SetDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours,
                                    uint64_t nMinutes, uint64_t nSeconds)
{
    SetDateTimeSpan(nYears, nMonths, nDays, nHours, nMinutes, nSeconds, 0, 0, 0);
}

void CDateTimeSpan::SetDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours,
                                    uint64_t nMinutes, uint64_t nSeconds, unsigned short nMilli,
                                    unsigned short nMicro, unsigned short nNano)
{
    m_nYears = nYears;
    m_nMonths = nMonths;
    m_nDays = nDays;
    m_nHours = nHours;
    m_nMinutes = nMinutes;
    m_nSeconds = nSeconds;
    m_nMilliSeconds = nMilli;
    m_nMicroSeconds = nMicro;
    m_nNanoSeconds = nNano;
    m_bNegative = false;
}

CDateTimeSpan CDateTimeSpan::GetAsNegative() const
{
    CDateTimeSpan result(*this);
    result.Negate();
    return result;
}

// ---- text --------------------------------------------------------------------------------

std::string CDateTimeSpan::ToString() const
{
    std::string strResult;
    strResult.reserve(32);
    AppendTo(strResult);
    return strResult;
}

void CDateTimeSpan::AppendTo(std::string& strOut) const
{
    strOut += m_bNegative ? "-P" : "P";
    AppendComponent(strOut, m_nYears, 'Y');
    AppendComponent(strOut, m_nMonths, 'M');
    AppendComponent(strOut, m_nDays, 'D');
    const bool bFraction = m_nMilliSeconds != 0 || m_nMicroSeconds != 0 || m_nNanoSeconds != 0;
    if (m_nHours == 0 && m_nMinutes == 0 && m_nSeconds == 0 && !bFraction)
    {
        // A zero span still needs one component to be readable again.
        if (m_nYears == 0 && m_nMonths == 0 && m_nDays == 0)
            strOut += "T0S";
        return;
    }
    strOut += 'T';
    AppendComponent(strOut, m_nHours, 'H');
    AppendComponent(strOut, m_nMinutes, 'M');
    if (m_nSeconds != 0 || bFraction)
    {
        unsigned __int128 nSeconds = m_nSeconds;
        unsigned short nMilli = m_nMilliSeconds, nMicro = m_nMicroSeconds, nNano = m_nNanoSeconds;
        if (nMilli > 999 || nMicro > 999 || nNano > 999)
        {
            // Fraction fields set beyond three digits: print the same amount of time in a
            // form that reads back, rather than digits that would mean something else.
            uint64_t nTotal = (static_cast<uint64_t>(nMilli) * 1000 + nMicro) * 1000 + nNano;
            nSeconds += nTotal / 1000000000;
            nTotal %= 1000000000;
            nMilli = static_cast<unsigned short>(nTotal / 1000000);
            nMicro = static_cast<unsigned short>(nTotal / 1000 % 1000);
            nNano = static_cast<unsigned short>(nTotal % 1000);
        }
        AppendUnsigned(strOut, nSeconds);
        strOut += FormatFraction(nMilli, nMicro, nNano);
        strOut += 'S';
    }
}

// ---- parsing -----------------------------------------------------------------------------

void CDateTimeSpan::ParseXSDDuration(const char* lpText)
{
    Clear();
    if (!lpText)
        throw CKrInvalidValueException("Invalid XSD Duration (Null String)");
    if (!*lpText)
        throw CKrInvalidValueException("Invalid XSD Duration (Empty String)");

    auto fail = [lpText]() {
        throw CKrInvalidValueException(FormatString(
            "Invalid XSD Duration [%s] expected [-]P[nY][nM][nD][T[nH][nM][nS.ff]]", lpText));
    };
    auto tooLarge = [lpText]() {
        throw CKrInvalidValueException(FormatString("Invalid XSD Duration [%s] Number too large", lpText));
    };

    const char* p = lpText;
    if (*p == '-')
    {
        m_bNegative = true;
        ++p;
    }
    if (*p != 'P')
        fail();
    ++p;

    int st = 0;
    while (*p)
    {
        if (st == 8)
            fail();
        uint64_t n = 0;
        bool bOverflow = false;
        const char* pDigits = p;
        for (; IsDigit(*p); ++p)
        {
            const unsigned nDigit = static_cast<unsigned>(*p - '0');
            if (n > (std::numeric_limits<uint64_t>::max() - nDigit) / 10)
                bOverflow = true;
            else
                n = n * 10 + nDigit;
        }
        const bool bHasDigits = p != pDigits;
        const char c = *p;
        if (!c)
            fail();
        ++p;
        switch (c)
        {
        case 'Y':
            if (st != 0)
                fail();
            if (bOverflow || n > std::numeric_limits<unsigned short>::max())
                tooLarge();
            m_nYears = static_cast<unsigned short>(n);
            st = 1;
            break;
        case 'M':
            if (st <= 1)
            {
                if (bOverflow || n > std::numeric_limits<uint32_t>::max())
                    tooLarge();
                m_nMonths = static_cast<uint32_t>(n);
                st = 2;
            }
            else if (st == 4 || st == 5)
            {
                if (bOverflow)
                    tooLarge();
                m_nMinutes = n;
                st = 6;
            }
            else
                fail();
            break;
        case 'D':
            if (st > 2)
                fail();
            if (bOverflow || n > std::numeric_limits<uint32_t>::max())
                tooLarge();
            m_nDays = static_cast<uint32_t>(n);
            st = 3;
            break;
        case 'T':
            // Digits in front of "T" would belong to no component.
            if (st > 3 || bHasDigits)
                fail();
            st = 4;
            break;
        case 'H':
            if (st != 4)
                fail();
            if (bOverflow || n > std::numeric_limits<uint32_t>::max())
                tooLarge();
            m_nHours = static_cast<uint32_t>(n);
            st = 5;
            break;
        case 'S':
        case '.':
            if (st < 4 || st > 6)
                fail();
            if (bOverflow)
                tooLarge();
            m_nSeconds = n;
            st = 7;
            if (c == '.')
            {
                // The fraction must be closed by "S"; "PT1." would leave the unit unsaid.
                if (!*p)
                    fail();
                static const unsigned short kWeights[3] = {100, 10, 1};
                unsigned short aGroups[3] = {0, 0, 0};
                int nDigits = 0;
                for (; IsDigit(*p); ++p, ++nDigits)
                {
                    if (nDigits == 9)
                        throw CKrInvalidValueException(
                            FormatString("Invalid XSD Duration [%s] Fraction part too long", lpText));
                    aGroups[nDigits / 3] =
                        static_cast<unsigned short>(aGroups[nDigits / 3] + (*p - '0') * kWeights[nDigits % 3]);
                }
                m_nMilliSeconds = aGroups[0];
                m_nMicroSeconds = aGroups[1];
                m_nNanoSeconds = aGroups[2];
                st = 8;
                if (*p != 'S')
                    fail();
                ++p;
            }
            break;
        default:
            fail();
        }
    }
    if (st == 0 || st == 4)
        fail();
}

// ---- order -------------------------------------------------------------------------------

CDateTime::DTCompareResult CDateTimeSpan::CompareTo(const CDateTimeSpan& other) const
{
    // The sums are made in wide fields: a long span leaves the year range of a CDateTime, but
    // its order against another is still well defined.
    CDateTime::DTCompareResult eFirst = CDateTime::dtcEqual;
    for (int i = 0; i < 4; ++i)
    {
        CDateTime::WideFields a = {kReferences[i].nYear, kReferences[i].nMonth, 1, 0, 0, 0, 0, 0, 0};
        CDateTime::WideFields b = a;
        CDateTime::AddSpanWide(a, *this, true);
        CDateTime::AddSpanWide(b, other, true);
        const CDateTime::DTCompareResult e =
            CDateTime::CompareFields(CDateTime::dt_dateTime, a, CDateTime::dt_dateTime, b);
        if (e == CDateTime::dtcIndeterminate)
            return e;
        if (i == 0)
            eFirst = e;
        else if (e != eFirst)
            return CDateTime::dtcIndeterminate;
    }
    return eFirst;
}

} // namespace KrXmlLib16
