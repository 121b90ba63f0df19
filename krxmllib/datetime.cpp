#include "datetime.h"

#include <cstring>
#include <limits>

#include "datetimespan.h"
#include "functions.h"
#include "krexception.h"
#include "platform.h"

namespace KrXmlLib16 {

namespace {

// February is 29 here: the leap rule narrows it where a real year is known.
const unsigned char kDaysInMonth[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
const unsigned short kDaysBeforeMonth[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

const int kMinYear = -9999;
const int kMaxYear = 9999;

inline bool IsLeapYear(int64_t nYear)
{
    return nYear % 4 == 0 && (nYear % 100 != 0 || nYear % 400 == 0);
}

// nMonth must be 1..12.
inline int DaysInMonth(int64_t nYear, int nMonth)
{
    if (nMonth == 2)
        return IsLeapYear(nYear) ? 29 : 28;
    return kDaysInMonth[nMonth - 1];
}

inline int64_t FloorDiv(int64_t a, int64_t b)
{
    int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0)))
        --q;
    return q;
}

typedef __int128 Int128;

inline Int128 FloorDiv128(Int128 a, Int128 b)
{
    Int128 q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0)))
        --q;
    return q;
}

// Days from 1970-01-01 of a proleptic Gregorian date whose year 0 exists and is a leap year,
// which is the calendar the leap rule on the stored number describes. The day may lie beyond
// the month's end: it counts on into the next months.
int64_t DaysFromCivil(int64_t y, int m, int64_t d)
{
    y -= m <= 2;
    const int64_t era = FloorDiv(y, 400);
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void CivilFromDays(int64_t z, int64_t& y, int32_t& m, int32_t& d)
{
    z += 719468;
    const int64_t era = FloorDiv(z, 146097);
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    d = static_cast<int32_t>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<int32_t>(mp < 10 ? mp + 3 : mp - 9);
    y = yoe + era * 400 + (m <= 2 ? 1 : 0);
}

inline bool UsesYear(CDateTime::DTType e)
{
    return e == CDateTime::dt_dateTime || e == CDateTime::dt_date || e == CDateTime::dt_gYearMonth ||
           e == CDateTime::dt_gYear;
}

inline bool UsesMonth(CDateTime::DTType e)
{
    return e == CDateTime::dt_dateTime || e == CDateTime::dt_date || e == CDateTime::dt_gYearMonth ||
           e == CDateTime::dt_gMonthDay || e == CDateTime::dt_gMonth;
}

inline bool UsesDay(CDateTime::DTType e)
{
    return e == CDateTime::dt_dateTime || e == CDateTime::dt_date || e == CDateTime::dt_gDay ||
           e == CDateTime::dt_gMonthDay;
}

inline bool UsesTime(CDateTime::DTType e)
{
    return e == CDateTime::dt_dateTime || e == CDateTime::dt_time;
}

inline bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

inline bool TwoDigits(const char* p, int& nValue)
{
    if (!IsDigit(p[0]) || !IsDigit(p[1]))
        return false;
    nValue = (p[0] - '0') * 10 + (p[1] - '0');
    return true;
}

inline void AppendTwoDigits(std::string& strOut, unsigned int nValue)
{
    if (nValue < 100)
    {
        char sz[2] = {static_cast<char>('0' + nValue / 10), static_cast<char>('0' + nValue % 10)};
        strOut.append(sz, 2);
    }
    else
        AppendZeroPadded(strOut, nValue, 2);
}

// The text FormatFraction gives, without its temporaries.
void AppendFraction(std::string& strOut, unsigned short nMilli, unsigned short nMicro, unsigned short nNano)
{
    if (nNano == 0 && nMicro == 0 && nMilli == 0)
        return;
    if (nMilli > 999 || nMicro > 999 || nNano > 999)
    {
        strOut += FormatFraction(nMilli, nMicro, nNano);
        return;
    }
    char sz[10];
    sz[0] = '.';
    const unsigned short aGroups[3] = {nMilli, nMicro, nNano};
    const int nGroups = nNano > 0 ? 3 : (nMicro > 0 ? 2 : 1);
    int n = 1;
    for (int i = 0; i < nGroups; ++i)
    {
        sz[n++] = static_cast<char>('0' + aGroups[i] / 100);
        sz[n++] = static_cast<char>('0' + aGroups[i] / 10 % 10);
        sz[n++] = static_cast<char>('0' + aGroups[i] % 10);
    }
    // The last group is not zero, so the trim stops inside it.
    while (sz[n - 1] == '0')
        --n;
    strOut.append(sz, static_cast<size_t>(n));
}

[[noreturn]] void ThrowValue(std::string strMessage)
{
    throw CKrInvalidValueException(std::move(strMessage));
}

[[noreturn]] void ThrowState(std::string strMessage)
{
    throw CKrInvalidStateException(std::move(strMessage));
}

const char* KindText(CDateTime::DTType eType)
{
    switch (eType)
    {
    case CDateTime::dt_yearZero:
        return "yearZero";
    case CDateTime::dt_dateTime:
        return "dateTime";
    case CDateTime::dt_date:
        return "date";
    case CDateTime::dt_gYearMonth:
        return "gYearMonth";
    case CDateTime::dt_gYear:
        return "gYear";
    case CDateTime::dt_time:
        return "time";
    case CDateTime::dt_gDay:
        return "gDay";
    case CDateTime::dt_gMonth:
        return "gMonth";
    case CDateTime::dt_gMonthDay:
        return "gMonthDay";
    }
    return nullptr;
}

// Range checks in the fixed order of the library's validation, on numbers of any width.
void ValidateFields(CDateTime::DTType eType, int64_t nYear, int64_t nMonth, int64_t nDay,
                    int64_t nHour, int64_t nMinute, int64_t nSecond, int64_t nMilli, int64_t nMicro, int64_t nNano)
{
    if (eType == CDateTime::dt_yearZero)
        ThrowValue("Invalid Year Zero");
    const char* lpType = KindText(eType);
    std::string strUnknown;
    if (!lpType)
    {
        strUnknown = FormatString("unknown (%d)", static_cast<int>(eType));
        lpType = strUnknown.c_str();
    }

    if (UsesMonth(eType))
    {
        if (nMonth < 1 || nMonth > 12)
            ThrowValue(FormatString("Invalid Month [%lld] (1 <= month <= 12)", (long long)nMonth));
    }
    else if (nMonth != 0)
        ThrowValue(FormatString("Invalid Month [%lld] for type %s", (long long)nMonth, lpType));

    if (UsesYear(eType))
    {
        if (nYear == 0 || nYear < kMinYear || nYear > kMaxYear)
            ThrowValue(FormatString("Invalid Year [%lld] (%d <= year <= %d && year != 0)", (long long)nYear, kMinYear,
                                    kMaxYear));
    }
    else if (nYear != 0)
        ThrowValue(FormatString("Invalid Year [%lld] for type %s", (long long)nYear, lpType));

    if (eType == CDateTime::dt_date || eType == CDateTime::dt_dateTime)
    {
        if (nDay < 1 || nDay > kDaysInMonth[nMonth - 1] || (nMonth == 2 && nDay == 29 && !IsLeapYear(nYear)))
            ThrowValue(FormatString("Invalid Day [%lld] (1 <= day <= days in month", (long long)nDay));
    }
    else if (eType == CDateTime::dt_gMonthDay)
    {
        if (nDay < 1 || nDay > kDaysInMonth[nMonth - 1])
            ThrowValue(FormatString("Invalid Day [%lld] (1 <= day <= days in month)", (long long)nDay));
    }
    else if (eType == CDateTime::dt_gDay)
    {
        if (nDay < 1 || nDay > 31)
            ThrowValue(FormatString("Invalid Day [%lld] (1 <= day <= 31)", (long long)nDay));
    }
    else if (nDay != 0)
        ThrowValue(FormatString("Invalid Day [%lld] for type %s", (long long)nDay, lpType));

    if (UsesTime(eType))
    {
        if (nHour < 0 || nHour > 23)
            ThrowValue(FormatString("Invalid Hour [%lld] (0 <= hour <= 23)", (long long)nHour));
        if (nMinute < 0 || nMinute > 59)
            ThrowValue(FormatString("Invalid Minute [%lld] (0 <= minute <= 59)", (long long)nMinute));
        if (nSecond < 0 || nSecond > 59)
            ThrowValue(FormatString("Invalid Second [%lld] (0 <= second <= 59)", (long long)nSecond));
        if (nMilli < 0 || nMilli > 999)
            ThrowValue(FormatString("Invalid Milli-Second [%lld] (0 <= milli <= 999)", (long long)nMilli));
        if (nMicro < 0 || nMicro > 999)
            ThrowValue(FormatString("Invalid Micro-Second [%lld] (0 <= micro <= 999)", (long long)nMicro));
        if (nNano < 0 || nNano > 999)
            ThrowValue(FormatString("Invalid Nano-Second [%lld] (0 <= nano <= 999)", (long long)nNano));
    }
    else
    {
        if (nHour != 0)
            ThrowValue(FormatString("Invalid Hour [%lld] for type %s", (long long)nHour, lpType));
        if (nMinute != 0)
            ThrowValue(FormatString("Invalid Minute [%lld] for type %s", (long long)nMinute, lpType));
        if (nSecond != 0)
            ThrowValue(FormatString("Invalid Second [%lld] for type %s", (long long)nSecond, lpType));
        if (nMilli != 0)
            ThrowValue(FormatString("Invalid Milli-Second [%lld] for type %s", (long long)nMilli, lpType));
        if (nMicro != 0)
            ThrowValue(FormatString("Invalid Micro-Second [%lld] for type %s", (long long)nMicro, lpType));
        if (nNano != 0)
            ThrowValue(FormatString("Invalid Nano-Second [%lld] for type %s", (long long)nNano, lpType));
    }
}

// Moves the date by nDays, with the result a walk of single days from month to month would
// give, but in constant time. The walk treats a day beyond the month's end as counting on
// into the next month when it steps forward, and leaves it standing when a backward step
// stays inside it; both are kept.
void WalkDays(int64_t& nYear, int32_t& nMonth, int32_t& nDay, int64_t nDays)
{
    if (nDays == 0)
        return;
    if (nDays > 0)
    {
        CivilFromDays(DaysFromCivil(nYear, nMonth, 1) + (nDay - 1) + nDays, nYear, nMonth, nDay);
        return;
    }
    if (nDay - 1 >= -nDays)
    {
        nDay += static_cast<int32_t>(nDays);
        return;
    }
    nDays += nDay;
    if (--nMonth < 1)
    {
        nMonth = 12;
        --nYear;
    }
    nDay = DaysInMonth(nYear, nMonth);
    if (nDays != 0)
        CivilFromDays(DaysFromCivil(nYear, nMonth, nDay) + nDays, nYear, nMonth, nDay);
}

} // namespace

// ---- construction ------------------------------------------------------------------------

CDateTime::CDateTime()
{
    Clear();
}

CDateTime::CDateTime(DTType eType)
{
    Clear();
    m_eType = eType;
}

CDateTime::CDateTime(const char* lpText)
{
    Clear();
    ParseXSDDateTime(lpText);
}

CDateTime::CDateTime(const int32_t& t)
{
    Clear();
    SetFromTime(t);
}

CDateTime::CDateTime(const int64_t& t)
{
    Clear();
    SetFromTime(t);
}

CDateTime::CDateTime(const Platform::SystemTime& st)
{
    Clear();
    *this = st;
}

CDateTime::CDateTime(const Platform::FileTime& ft)
{
    Clear();
    *this = ft;
}

CDateTime::CDateTime(short nYear, unsigned char nMonth, unsigned char nDay)
{
    Clear();
    SetDate(nYear, nMonth, nDay);
}

CDateTime::CDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour,
                     unsigned char nMinute, unsigned char nSecond)
{
    Clear();
    SetDateTime(nYear, nMonth, nDay, nHour, nMinute, nSecond);
}

CDateTime::CDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour,
                     unsigned char nMinute, unsigned char nSecond, unsigned short nMilli, unsigned short nMicro,
                     unsigned short nNano)
{
    Clear();
    SetDateTime(nYear, nMonth, nDay, nHour, nMinute, nSecond, nMilli, nMicro, nNano);
}

CDateTime::~CDateTime() = default;

CDateTime& CDateTime::operator=(const int32_t& t)
{
    SetFromTime(t);
    return *this;
}

CDateTime& CDateTime::operator=(const int64_t& t)
{
    SetFromTime(t);
    return *this;
}

CDateTime& CDateTime::operator=(const Platform::SystemTime& st)
{
    SetDateTimeWide(dt_dateTime, st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond,
                    st.wMilliseconds);
    return *this;
}

CDateTime& CDateTime::operator=(const Platform::FileTime& ft)
{
    Platform::SystemTime st;
    if (!Platform::FileTimeToSystemTime(ft, st))
        ThrowValue("Failed to convert FILETIME to SYSTEMTIME");
    return *this = st;
}

CDateTime CDateTime::GetTickCount()
{
    Platform::SystemTime st;
    Platform::GetLocalTime(st);
    return CDateTime(st);
}

void CDateTime::SetFromTime(int64_t t)
{
    const int64_t nDays = FloorDiv(t, 86400);
    const int64_t nSecs = t - nDays * 86400;
    int64_t nYear;
    int32_t nMonth, nDay;
    CivilFromDays(nDays, nYear, nMonth, nDay);
    SetDateTimeWide(dt_dateTime, nYear, static_cast<uint32_t>(nMonth), static_cast<uint32_t>(nDay),
                    static_cast<uint32_t>(nSecs / 3600), static_cast<uint32_t>(nSecs / 60 % 60),
                    static_cast<uint32_t>(nSecs % 60), 0);
}

void CDateTime::Clear()
{
    m_eType = dt_yearZero;
    m_nYear = 0;
    m_nMonth = 0;
    m_nDay = 0;
    m_nHour = 0;
    m_nMinute = 0;
    m_nSecond = 0;
    m_nMilliSecond = 0;
    m_nMicroSecond = 0;
    m_nNanoSecond = 0;
    m_bUTC = false;
    m_bHasTimeZone = false;
    m_nZoneHour = 0;
    m_nZoneMinute = 0;
}

// ---- whole-value setters -----------------------------------------------------------------

void CDateTime::SetDateTime(DTType eType, short nYear, unsigned char nMonth, unsigned char nDay,
                            unsigned char nHour, unsigned char nMinute, unsigned char nSecond,
                            unsigned short nMilli, unsigned short nMicro, unsigned short nNano)
{
    if (m_eType != dt_yearZero && m_eType != eType)
        ThrowState(FormatString("Failed to copy CDateTime. Invalid Date Type: %s, expected: %s.",
                                GetTypeAsString(eType).c_str(), GetTypeAsString(m_eType).c_str()));
    Clear();
    m_eType = eType;
    m_nYear = nYear;
    m_nMonth = nMonth;
    m_nDay = nDay;
    m_nHour = nHour;
    m_nMinute = nMinute;
    m_nSecond = nSecond;
    m_nMilliSecond = nMilli;
    m_nMicroSecond = nMicro;
    m_nNanoSecond = nNano;
    Validate();
}

void CDateTime::SetDateTimeWide(DTType eType, int64_t nYear, uint32_t nMonth, uint32_t nDay, uint32_t nHour,
                                uint32_t nMinute, uint32_t nSecond, uint32_t nMilli)
{
    const bool bFits = nYear >= std::numeric_limits<short>::min() && nYear <= std::numeric_limits<short>::max() &&
                       nMonth <= 0xFF && nDay <= 0xFF && nHour <= 0xFF && nMinute <= 0xFF && nSecond <= 0xFF &&
                       nMilli <= 0xFFFF;
    if (bFits)
    {
        SetDateTime(eType, static_cast<short>(nYear), static_cast<unsigned char>(nMonth),
                    static_cast<unsigned char>(nDay), static_cast<unsigned char>(nHour),
                    static_cast<unsigned char>(nMinute), static_cast<unsigned char>(nSecond),
                    static_cast<unsigned short>(nMilli), 0, 0);
        return;
    }
    // A number the fields can't hold is refused with the range message it deserves, before
    // anything is cut or stored.
    if (m_eType != dt_yearZero && m_eType != eType)
        ThrowState(FormatString("Failed to copy CDateTime. Invalid Date Type: %s, expected: %s.",
                                GetTypeAsString(eType).c_str(), GetTypeAsString(m_eType).c_str()));
    ValidateFields(eType, nYear, nMonth, nDay, nHour, nMinute, nSecond, nMilli, 0,
                   0);
    ThrowValue("Invalid date and time fields");  // not reached: a field that doesn't fit is out of range
}

void CDateTime::SetDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour,
                            unsigned char nMinute, unsigned char nSecond)
{
    SetDateTime(dt_dateTime, nYear, nMonth, nDay, nHour, nMinute, nSecond, 0, 0, 0);
}

void CDateTime::SetDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour,
                            unsigned char nMinute, unsigned char nSecond, unsigned short nMilli,
                            unsigned short nMicro, unsigned short nNano)
{
    SetDateTime(dt_dateTime, nYear, nMonth, nDay, nHour, nMinute, nSecond, nMilli, nMicro, nNano);
}

void CDateTime::SetDate(short nYear, unsigned char nMonth, unsigned char nDay)
{
    SetDateTime(dt_date, nYear, nMonth, nDay, 0, 0, 0, 0, 0, 0);
}

void CDateTime::SetTime(unsigned char nHour, unsigned char nMinute, unsigned char nSecond)
{
    SetDateTime(dt_time, 0, 0, 0, nHour, nMinute, nSecond, 0, 0, 0);
}

void CDateTime::SetTime(unsigned char nHour, unsigned char nMinute, unsigned char nSecond, unsigned short nMilli,
                        unsigned short nMicro, unsigned short nNano)
{
    SetDateTime(dt_time, 0, 0, 0, nHour, nMinute, nSecond, nMilli, nMicro, nNano);
}

void CDateTime::SetFracTime(unsigned short nMilli, unsigned short nMicro, unsigned short nNano)
{
    SetDateTime(dt_time, 0, 0, 0, 0, 0, 0, nMilli, nMicro, nNano);
}

void CDateTime::SetGYear(short nYear)
{
    SetDateTime(dt_gYear, nYear, 0, 0, 0, 0, 0, 0, 0, 0);
}

void CDateTime::SetGYearMonth(short nYear, unsigned char nMonth)
{
    SetDateTime(dt_gYearMonth, nYear, nMonth, 0, 0, 0, 0, 0, 0, 0);
}

void CDateTime::SetGMonth(unsigned char nMonth)
{
    SetDateTime(dt_gMonth, 0, nMonth, 0, 0, 0, 0, 0, 0, 0);
}

void CDateTime::SetGMonthDay(unsigned char nMonth, unsigned char nDay)
{
    SetDateTime(dt_gMonthDay, 0, nMonth, nDay, 0, 0, 0, 0, 0, 0);
}

void CDateTime::SetGDay(unsigned char nDay)
{
    SetDateTime(dt_gDay, 0, 0, nDay, 0, 0, 0, 0, 0, 0);
}

// ---- conversion between kinds ------------------------------------------------------------

bool CDateTime::CheckConversion(DTType eSource, DTType eTarget) const
{
    if (eSource < dt_yearZero || eSource > dt_gMonthDay)
        ThrowValue(FormatString("Unknown date type %d.", static_cast<int>(eSource)));
    if (eTarget < dt_yearZero || eTarget > dt_gMonthDay)
        ThrowValue(FormatString("Unknown date type %d.", static_cast<int>(eTarget)));
    if (eTarget == eSource || eTarget == dt_yearZero)
        return true;
    switch (eSource)
    {
    case dt_dateTime:
        return true;
    case dt_date:
        return eTarget == dt_gDay || eTarget == dt_gMonth || eTarget == dt_gYear || eTarget == dt_gMonthDay ||
               eTarget == dt_gYearMonth;
    case dt_gYearMonth:
        return eTarget == dt_gMonth || eTarget == dt_gYear;
    case dt_gMonthDay:
        return eTarget == dt_gDay || eTarget == dt_gMonth;
    default:
        return false;
    }
}

void CDateTime::SetDateTime(const CDateTime& source, DTType eType)
{
    if (!CheckConversion(source.m_eType, eType))
        ThrowValue(FormatString("Attempting to set a CDateTime of type %s using an XmlDateTime of type %s. The source "
                                "CDateTime does not contian enough data to allow the conversion.",
                                GetTypeAsString(eType).c_str(), GetTypeAsString(source.m_eType).c_str()));
    *this = source;
    m_eType = eType;
}

// ---- validation --------------------------------------------------------------------------

void CDateTime::Validate() const
{
    ValidateFields(m_eType, m_nYear, m_nMonth, m_nDay, m_nHour, m_nMinute, m_nSecond, m_nMilliSecond,
                   m_nMicroSecond, m_nNanoSecond);
}

// ---- parsing -----------------------------------------------------------------------------

void CDateTime::ParseXSDDate(const char* lpText)
{
    Clear();
    SetXSDDate(lpText);
    Validate();
}

void CDateTime::ParseXSDTime(const char* lpText)
{
    Clear();
    SetXSDTime(lpText);
    Validate();
}

void CDateTime::ParseXSDDateTime(const char* lpText)
{
    if (!lpText)
        ThrowValue("Invalid DateTime (Null String)");
    const size_t nLen = std::strlen(lpText);
    const char* pT = static_cast<const char*>(std::memchr(lpText, 'T', nLen));
    if (!pT)
        ThrowValue(FormatString("Invalid XSD DateTime [%s].", lpText));
    Clear();
    const size_t nDateLen = static_cast<size_t>(pT - lpText);
    SetXSDDate(lpText, nDateLen);
    // A zone belongs behind the time; one on the date part would be lost or misplaced.
    if (m_eType != dt_date || m_bUTC)
        ThrowValue(FormatString("Invalid XSD DateTime [%s] expected CCYY-MM-DDThh:mm:ss[.ff]", lpText));
    SetXSDTime(pT + 1, nLen - nDateLen - 1);
    m_eType = dt_dateTime;
    Validate();
}

void CDateTime::SetXSDDate(const char* lpText)
{
    if (!lpText)
        ThrowValue("Invalid Date (Null String)");
    SetXSDDate(lpText, std::strlen(lpText));
}

void CDateTime::SetXSDDate(const char* p, size_t nLen)
{
    if (nLen == 0)
        ThrowValue("Invalid Date (Empty String)");
    if (std::memchr(p, 'T', nLen))
        ThrowValue("Invalid Date ('T' not allowed)");
    const bool bHasZ = p[nLen - 1] == 'Z';
    const bool bHasColon = std::memchr(p, ':', nLen) != nullptr;
    if (bHasZ && bHasColon)
        ThrowValue("Invalid Date (Bad Zone value)");
    const ptrdiff_t nDate = static_cast<ptrdiff_t>(nLen) - (bHasZ ? 1 : 0) - (bHasColon ? 6 : 0);

    DTType eFound = dt_yearZero;
    int nYear = 0, nMonth = 0, nDay = 0;
    if (nLen >= 2 && p[0] == '-' && p[1] == '-')
    {
        switch (nDate)
        {
        case 4:  // --MM
            if (TwoDigits(p + 2, nMonth))
                eFound = dt_gMonth;
            break;
        case 5:  // ---DD
            if (p[2] == '-' && TwoDigits(p + 3, nDay))
                eFound = dt_gDay;
            break;
        case 6:  // --MM-- (the old form; its tail isn't looked at)
            if (TwoDigits(p + 2, nMonth))
                eFound = dt_gMonth;
            break;
        case 7:  // --MM-DD
            if (TwoDigits(p + 2, nMonth) && p[4] == '-' && TwoDigits(p + 5, nDay))
                eFound = dt_gMonthDay;
            break;
        default:
            break;
        }
    }
    else
    {
        const bool bNegative = p[0] == '-';
        const char* q = bNegative ? p + 1 : p;
        const ptrdiff_t n = bNegative ? nDate - 1 : nDate;
        int nHigh = 0, nLow = 0;
        if ((n == 4 || n == 7 || n == 10) && TwoDigits(q, nHigh) && TwoDigits(q + 2, nLow))
        {
            nYear = nHigh * 100 + nLow;
            if (n == 4)
                eFound = dt_gYear;
            else if (q[4] == '-' && TwoDigits(q + 5, nMonth))
            {
                if (n == 7)
                    eFound = dt_gYearMonth;
                else if (q[7] == '-' && TwoDigits(q + 8, nDay))
                    eFound = dt_date;
            }
        }
        if (bNegative)
            nYear = -nYear;
    }
    if (eFound == dt_yearZero)
        ThrowValue(FormatString("Invalid XSD Date [%s] expected CCYY-MM-DD[Z|[+|-]hh:mm]", std::string(p, nLen).c_str()));

    m_eType = eFound;
    m_nYear = static_cast<short>(nYear);
    m_nMonth = static_cast<unsigned char>(nMonth);
    m_nDay = static_cast<unsigned char>(nDay);
    if (bHasZ || bHasColon)
        SetZone(p + nDate, nLen - static_cast<size_t>(nDate));
}

void CDateTime::SetXSDTime(const char* lpText)
{
    if (!lpText)
        ThrowValue("Invalid Time (Null String)");
    SetXSDTime(lpText, std::strlen(lpText));
}

void CDateTime::SetXSDTime(const char* p, size_t nLen)
{
    if (nLen == 0)
        ThrowValue("Invalid XSD Time (Empty String)");
    int nHour = 0, nMinute = 0, nSecond = 0;
    if (nLen < 8 || !TwoDigits(p, nHour) || p[2] != ':' || !TwoDigits(p + 3, nMinute) || p[5] != ':' ||
        !TwoDigits(p + 6, nSecond) || nHour >= 24 || nMinute >= 60 || nSecond >= 60)
        ThrowValue(FormatString("Invalid XSD Time [%s] expected hh:mm:ss[.ff]", std::string(p, nLen).c_str()));
    m_nHour = static_cast<unsigned char>(nHour);
    m_nMinute = static_cast<unsigned char>(nMinute);
    m_nSecond = static_cast<unsigned char>(nSecond);

    size_t i = 8;
    if (i < nLen && p[i] == '.')
    {
        ++i;
        static const unsigned short kWeights[3] = {100, 10, 1};
        unsigned short aGroups[3] = {0, 0, 0};
        int nDigits = 0;
        for (; i < nLen && IsDigit(p[i]); ++i, ++nDigits)
        {
            if (nDigits == 9)
                ThrowValue(FormatString("Invalid XSD Time [%s] Fraction part too long", std::string(p, nLen).c_str()));
            aGroups[nDigits / 3] = static_cast<unsigned short>(aGroups[nDigits / 3] +
                                                               (p[i] - '0') * kWeights[nDigits % 3]);
        }
        m_nMilliSecond = aGroups[0];
        m_nMicroSecond = aGroups[1];
        m_nNanoSecond = aGroups[2];
    }
    if (i < nLen)
        SetZone(p + i, nLen - i);
    m_eType = dt_time;
}

void CDateTime::SetZone(const char* lpText)
{
    if (lpText)
        SetZone(lpText, std::strlen(lpText));
}

void CDateTime::SetZone(const char* p, size_t nLen)
{
    if (nLen == 0)
        return;
    if (p[0] == 'Z' && nLen == 1)
    {
        SetUTC();
        return;
    }
    int nHour = 0, nMinute = 0;
    if ((p[0] == '+' || p[0] == '-') && nLen == 6 && TwoDigits(p + 1, nHour) && p[3] == ':' &&
        TwoDigits(p + 4, nMinute))
    {
        if (nHour == 24)
            nHour = 0;
        if (p[0] == '-')
            nHour = -nHour;
        SetTimeZone(static_cast<short>(nHour), static_cast<unsigned char>(nMinute));
        return;
    }
    // Anything else behind a value, text after "Z" included, is refused rather than dropped.
    ThrowValue(FormatString("Invalid XSD Time Zone [%s].", std::string(p, nLen).c_str()));
}

// ---- field access ------------------------------------------------------------------------

#define KR_CHECK_KIND(test, name)                                                                        \
    do                                                                                                   \
    {                                                                                                    \
        if (!(test))                                                                                     \
            ThrowState(FormatString("Failed to " name ". Invalid Date Type: %s.", GetTypeAsString(m_eType).c_str())); \
    } while (0)

short CDateTime::GetYear() const
{
    KR_CHECK_KIND(UsesYear(m_eType), "GetYear");
    return m_nYear;
}

void CDateTime::SetYear(short nYear)
{
    KR_CHECK_KIND(UsesYear(m_eType), "GetYear");
    m_nYear = nYear;
}

unsigned char CDateTime::GetMonth() const
{
    KR_CHECK_KIND(UsesMonth(m_eType), "GetMonth");
    return m_nMonth;
}

void CDateTime::SetMonth(unsigned char nMonth)
{
    KR_CHECK_KIND(UsesMonth(m_eType), "GetMonth");
    m_nMonth = nMonth;
}

unsigned char CDateTime::GetDay() const
{
    KR_CHECK_KIND(UsesDay(m_eType), "GetDay");
    return m_nDay;
}

void CDateTime::SetDay(unsigned char nDay)
{
    KR_CHECK_KIND(UsesDay(m_eType), "GetDay");
    m_nDay = nDay;
}

unsigned char CDateTime::GetHour() const
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetHour");
    return m_nHour;
}

void CDateTime::SetHour(unsigned char nHour)
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetHour");
    m_nHour = nHour;
}

unsigned char CDateTime::GetMinute() const
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetMinute");
    return m_nMinute;
}

void CDateTime::SetMinute(unsigned char nMinute)
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetMinute");
    m_nMinute = nMinute;
}

unsigned char CDateTime::GetSecond() const
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetSecond");
    return m_nSecond;
}

void CDateTime::SetSecond(unsigned char nSecond)
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetSecond");
    m_nSecond = nSecond;
}

unsigned short CDateTime::GetMilliSecond() const
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetMilliSecond");
    return m_nMilliSecond;
}

void CDateTime::SetMilliSecond(unsigned short nMilli)
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetMilliSecond");
    m_nMilliSecond = nMilli;
}

unsigned short CDateTime::GetMicroSecond() const
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetMicroSecond");
    return m_nMicroSecond;
}

void CDateTime::SetMicroSecond(unsigned short nMicro)
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetMicroSecond");
    m_nMicroSecond = nMicro;
}

unsigned short CDateTime::GetNanoSecond() const
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetNanoSecond");
    return m_nNanoSecond;
}

void CDateTime::SetNanoSecond(unsigned short nNano)
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetNanoSecond");
    m_nNanoSecond = nNano;
}

double CDateTime::GetRealSecond() const
{
    KR_CHECK_KIND(UsesTime(m_eType), "GetRealSecond");
    return m_nSecond + m_nMilliSecond / 1000.0 + m_nMicroSecond / 1000000.0 + m_nNanoSecond / 1000000000.0;
}

unsigned char CDateTime::GetDayOfWeek() const
{
    KR_CHECK_KIND(m_eType == dt_dateTime || m_eType == dt_date, "GetDayOfWeek");
    const int64_t t = GetTime64();
    const int nWeekDay = Platform::LocalDayOfWeek(t);
    if (nWeekDay < 0)
        ThrowValue(FormatString("Failed to GetDayOfWeek, the host can not convert the time %lld.", (long long)t));
    return static_cast<unsigned char>(nWeekDay + 1);
}

unsigned short CDateTime::GetDayOfYear() const
{
    KR_CHECK_KIND(m_eType == dt_dateTime || m_eType == dt_date, "GetDayOfYear");
    if (m_nMonth < 1 || m_nMonth > 12)
        ThrowValue(FormatString("Invalid Month [%d] (1 <= month <= 12)", m_nMonth));
    return static_cast<unsigned short>(kDaysBeforeMonth[m_nMonth - 1] + m_nDay +
                                       (m_nMonth > 2 && IsLeapYear(m_nYear) ? 1 : 0));
}

#undef KR_CHECK_KIND

// ---- zone --------------------------------------------------------------------------------

short CDateTime::GetZoneHour() const
{
    if (!m_bHasTimeZone)
        ThrowState("TimeZone is not been used");
    return m_nZoneHour;
}

unsigned char CDateTime::GetZoneMinute() const
{
    if (!m_bHasTimeZone)
        ThrowState("TimeZone is not been used");
    return m_nZoneMinute;
}

void CDateTime::SetTimeZone(short nHour, unsigned char nMinute)
{
    if (nHour < -23 || nHour > 23 || nMinute > 59)
        ThrowValue(FormatString("Invalid TimeZone [%d:%d]", nHour, nMinute));
    m_bUTC = true;
    m_bHasTimeZone = true;
    m_nZoneHour = nHour;
    m_nZoneMinute = nMinute;
}

void CDateTime::SetUTC()
{
    m_bUTC = true;
    m_bHasTimeZone = false;
    m_nZoneHour = 0;
    m_nZoneMinute = 0;
}

// ---- text --------------------------------------------------------------------------------

std::string CDateTime::GetTypeAsString(DTType eType)
{
    const char* lpText = KindText(eType);
    return lpText ? std::string(lpText) : FormatString("unknown (%d)", static_cast<int>(eType));
}

std::string CDateTime::ToString() const
{
    std::string strResult;
    strResult.reserve(40);
    AppendTo(strResult);
    return strResult;
}

std::string CDateTime::ToString(const char* lpFormat) const
{
    if (IsUnset())
        return "Error: Date Not Set";
    if (!lpFormat || !*lpFormat || std::strcmp(lpFormat, "G") == 0)
        return std::string();
    if (std::strcmp(lpFormat, "s") == 0)
        return ToString();
    return std::string("Unknown Format: ") + lpFormat;
}

bool CDateTime::IsUnset() const
{
    // A time of all zeros is midnight; any other kind needs a field set.
    return m_eType == dt_yearZero ||
           (m_eType != dt_time && m_nYear == 0 && m_nMonth == 0 && m_nDay == 0 && m_nHour == 0 && m_nMinute == 0 &&
            m_nSecond == 0 && m_nMilliSecond == 0 && m_nMicroSecond == 0 && m_nNanoSecond == 0);
}

void CDateTime::AppendTo(std::string& strOut) const
{
    if (IsUnset())
    {
        strOut += "Error: Date Not Set";
        return;
    }
    if (UsesYear(m_eType))
    {
        if (m_nYear < 0)
            strOut += '-';
        AppendZeroPadded(strOut, static_cast<uint32_t>(m_nYear < 0 ? -m_nYear : m_nYear), 4);
        if (m_eType != dt_gYear)
        {
            strOut += '-';
            AppendTwoDigits(strOut, m_nMonth);
            if (m_eType != dt_gYearMonth)
            {
                strOut += '-';
                AppendTwoDigits(strOut, m_nDay);
            }
        }
        if (m_eType == dt_dateTime)
            strOut += 'T';
    }
    else if (m_eType == dt_gMonthDay || m_eType == dt_gMonth)
    {
        strOut += "--";
        AppendTwoDigits(strOut, m_nMonth);
        if (m_eType == dt_gMonthDay)
        {
            strOut += '-';
            AppendTwoDigits(strOut, m_nDay);
        }
    }
    else if (m_eType == dt_gDay)
    {
        strOut += "---";
        AppendTwoDigits(strOut, m_nDay);
    }
    if (UsesTime(m_eType))
    {
        AppendTwoDigits(strOut, m_nHour);
        strOut += ':';
        AppendTwoDigits(strOut, m_nMinute);
        strOut += ':';
        AppendTwoDigits(strOut, m_nSecond);
        AppendFraction(strOut, m_nMilliSecond, m_nMicroSecond, m_nNanoSecond);
    }
    if (m_bUTC)
    {
        if (!m_bHasTimeZone)
            strOut += 'Z';
        else
        {
            strOut += m_nZoneHour < 0 ? '-' : '+';
            AppendTwoDigits(strOut, static_cast<unsigned int>(m_nZoneHour < 0 ? -m_nZoneHour : m_nZoneHour));
            strOut += ':';
            AppendTwoDigits(strOut, m_nZoneMinute);
        }
    }
}

// ---- arithmetic and order ----------------------------------------------------------------

CDateTime::WideFields CDateTime::GetWide() const
{
    WideFields f;
    f.year = m_nYear;
    // A kind without month or day counts from the first of them, so that arithmetic starts
    // in a real month: month 0 would borrow a year ("2044" plus "PT0S" gave 2043).
    f.month = (m_nMonth == 0 && !UsesMonth(m_eType)) ? 1 : m_nMonth;
    f.day = (m_nDay == 0 && !UsesDay(m_eType)) ? 1 : m_nDay;
    f.hour = m_nHour;
    f.minute = m_nMinute;
    f.second = m_nSecond;
    f.milli = m_nMilliSecond;
    f.micro = m_nMicroSecond;
    f.nano = m_nNanoSecond;
    return f;
}

CDateTimeSpan CDateTime::GetZoneShift() const
{
    CDateTimeSpan shift(static_cast<uint32_t>(m_nZoneHour < 0 ? -m_nZoneHour : m_nZoneHour), m_nZoneMinute, 0);
    if (m_nZoneHour >= 0)
        shift.Negate();
    return shift;
}

CDateTime::WideFields CDateTime::GetWideNormalized() const
{
    WideFields f = GetWide();
    if (m_bHasTimeZone)
        AddSpanWide(f, GetZoneShift(), false);  // no months: nothing to pin
    return f;
}

void CDateTime::AddSpanWide(WideFields& f, const CDateTimeSpan& span, bool bPinDay)
{
    const int64_t nSign = span.IsNegative() ? -1 : 1;

    int64_t t = f.month + nSign * static_cast<int64_t>(span.GetMonths());
    int64_t c = FloorDiv(t - 1, 12);
    f.month = static_cast<int32_t>(t - 1 - c * 12) + 1;
    f.year += c + nSign * static_cast<int64_t>(span.GetYears());
    // Months and years move a date to a month that may lack its day: it stays inside that
    // month, on its last day, rather than spilling into the next.
    if (bPinDay && (span.GetMonths() != 0 || span.GetYears() != 0))
    {
        const int nLast = DaysInMonth(f.year, f.month);
        if (f.day > nLast)
            f.day = nLast;
    }

    // The time components reach 64 bits; their sums with the carries need more.
    Int128 t2 = f.nano + nSign * static_cast<Int128>(span.GetNanoSeconds());
    Int128 c2 = FloorDiv128(t2, 1000);
    f.nano = static_cast<int32_t>(t2 - c2 * 1000);
    t2 = f.micro + c2 + nSign * static_cast<Int128>(span.GetMicroSeconds());
    c2 = FloorDiv128(t2, 1000);
    f.micro = static_cast<int32_t>(t2 - c2 * 1000);
    t2 = f.milli + c2 + nSign * static_cast<Int128>(span.GetMilliSeconds());
    c2 = FloorDiv128(t2, 1000);
    f.milli = static_cast<int32_t>(t2 - c2 * 1000);
    t2 = f.second + c2 + nSign * static_cast<Int128>(span.GetSeconds());
    c2 = FloorDiv128(t2, 60);
    f.second = static_cast<int32_t>(t2 - c2 * 60);
    t2 = f.minute + c2 + nSign * static_cast<Int128>(span.GetMinutes());
    c2 = FloorDiv128(t2, 60);
    f.minute = static_cast<int32_t>(t2 - c2 * 60);
    t2 = f.hour + c2 + nSign * static_cast<Int128>(span.GetHours());
    c2 = FloorDiv128(t2, 24);
    f.hour = static_cast<int32_t>(t2 - c2 * 24);

    // At most about 2^64 / 1440 days: well inside 64 bits.
    const Int128 nDays = c2 + nSign * static_cast<Int128>(span.GetDays());
    WalkDays(f.year, f.month, f.day, static_cast<int64_t>(nDays));
}

void CDateTime::AddDateTimeSpan(const CDateTimeSpan& span)
{
    WideFields f = GetWide();
    AddSpanWide(f, span, m_eType == dt_dateTime || m_eType == dt_date);
    if (f.year < std::numeric_limits<short>::min() || f.year > std::numeric_limits<short>::max())
    {
        if (UsesYear(m_eType))
            throw CKrOverFlowException(FormatString("Failed to add duration %s to %s: the year %lld is out of range.",
                                                    span.ToString().c_str(), ToString().c_str(),
                                                    (long long)f.year));
        // A kind without year never shows it; only its leap pattern matters, and that
        // repeats every 400 years.
        f.year = f.year % 400;
    }
    m_nYear = static_cast<short>(f.year);
    m_nMonth = static_cast<unsigned char>(f.month);
    m_nDay = static_cast<unsigned char>(f.day);
    m_nHour = static_cast<unsigned char>(f.hour);
    m_nMinute = static_cast<unsigned char>(f.minute);
    m_nSecond = static_cast<unsigned char>(f.second);
    m_nMilliSecond = static_cast<unsigned short>(f.milli);
    m_nMicroSecond = static_cast<unsigned short>(f.micro);
    m_nNanoSecond = static_cast<unsigned short>(f.nano);
}

CDateTime CDateTime::GetNormalized() const
{
    CDateTime result(*this);
    if (m_bHasTimeZone)
    {
        result.AddDateTimeSpan(GetZoneShift());
        result.SetTimeZone(0, 0);
    }
    return result;
}

CDateTime::DTCompareResult CDateTime::CompareFields(DTType eA, const WideFields& a, DTType eB,
                                                    const WideFields& b)
{
#define KR_COMPARE_FIELD(uses, lhs, rhs)       \
    do                                         \
    {                                          \
        const bool bA = uses(eA);              \
        if (bA != uses(eB))                    \
            return dtcIndeterminate;           \
        if (bA)                                \
        {                                      \
            if ((lhs) < (rhs))                 \
                return dtcLess;                \
            if ((lhs) > (rhs))                 \
                return dtcGreater;             \
        }                                      \
    } while (0)

    KR_COMPARE_FIELD(UsesYear, a.year, b.year);
    KR_COMPARE_FIELD(UsesMonth, a.month, b.month);
    KR_COMPARE_FIELD(UsesDay, a.day, b.day);
    KR_COMPARE_FIELD(UsesTime, a.hour, b.hour);
    KR_COMPARE_FIELD(UsesTime, a.minute, b.minute);
    KR_COMPARE_FIELD(UsesTime, a.second + a.milli / 1000.0 + a.micro / 1000000.0 + a.nano / 1000000000.0,
                     b.second + b.milli / 1000.0 + b.micro / 1000000.0 + b.nano / 1000000000.0);
#undef KR_COMPARE_FIELD
    return dtcEqual;
}

CDateTime::DTCompareResult CDateTime::CompareTo(const CDateTime& other) const
{
    // Wide fields make the offsets and the 14-hour bounds exact even at the ends of the
    // year range, so the order never fails on the way.
    const WideFields a = GetWideNormalized();
    const WideFields b = other.GetWideNormalized();
    if (m_bUTC == other.m_bUTC)
        return CompareFields(m_eType, a, other.m_eType, b);

    // Without zone a value stands for any instant from 14 hours before to 14 hours after
    // its fields read as UTC.
    const CDateTimeSpan fourteen(14, 0, 0);
    const CDateTimeSpan minusFourteen = fourteen.GetAsNegative();
    if (m_bUTC)
    {
        WideFields bEarliest = b;
        AddSpanWide(bEarliest, minusFourteen, false);
        if (CompareFields(m_eType, a, other.m_eType, bEarliest) == dtcLess)
            return dtcLess;
        WideFields bLatest = b;
        AddSpanWide(bLatest, fourteen, false);
        if (CompareFields(m_eType, a, other.m_eType, bLatest) == dtcGreater)
            return dtcGreater;
        return dtcIndeterminate;
    }
    WideFields aEarliest = a;
    AddSpanWide(aEarliest, minusFourteen, false);
    if (CompareFields(m_eType, aEarliest, other.m_eType, b) == dtcGreater)
        return dtcGreater;
    WideFields aLatest = a;
    AddSpanWide(aLatest, fourteen, false);
    if (CompareFields(m_eType, aLatest, other.m_eType, b) == dtcLess)
        return dtcLess;
    return dtcIndeterminate;
}

bool CDateTime::operator<=(const CDateTime& other) const
{
    const DTCompareResult r = CompareTo(other);
    return r == dtcLess || r == dtcEqual;
}

bool CDateTime::operator>=(const CDateTime& other) const
{
    const DTCompareResult r = CompareTo(other);
    return r == dtcGreater || r == dtcEqual;
}

CDateTime CDateTime::operator+(const CDateTimeSpan& span) const
{
    CDateTime result(*this);
    result.AddDateTimeSpan(span);
    return result;
}

CDateTime& CDateTime::operator+=(const CDateTimeSpan& span)
{
    AddDateTimeSpan(span);
    return *this;
}

CDateTime CDateTime::operator-(const CDateTimeSpan& span) const
{
    CDateTime result(*this);
    result.AddDateTimeSpan(span.GetAsNegative());
    return result;
}

CDateTime& CDateTime::operator-=(const CDateTimeSpan& span)
{
    AddDateTimeSpan(span.GetAsNegative());
    return *this;
}

CDateTimeSpan CDateTime::operator-(const CDateTime& other) const
{
    if (m_eType != other.m_eType || (m_eType != dt_dateTime && m_eType != dt_date && m_eType != dt_time))
        ThrowValue(FormatString("Failed to subtract a CDateTime of type %s from a CDateTime of type %s. Both must be "
                                "dateTime, date or time of one kind.",
                                GetTypeAsString(other.m_eType).c_str(), GetTypeAsString(m_eType).c_str()));
    if (m_bUTC != other.m_bUTC)
        ThrowValue("Failed to subtract CDateTime values: only one of them has a time zone.");

    const WideFields a = GetWideNormalized();
    const WideFields b = other.GetWideNormalized();
    const Int128 kNanoPerSecond = 1000000000;
    const Int128 kNanoPerDay = kNanoPerSecond * 86400;
    auto instant = [&](const WideFields& f) -> Int128 {
        Int128 n = 0;
        if (m_eType != dt_time)
            n = static_cast<Int128>(DaysFromCivil(f.year, f.month, f.day)) * kNanoPerDay;
        if (m_eType != dt_date)
            n += ((static_cast<Int128>(f.hour) * 60 + f.minute) * 60 + f.second) * kNanoPerSecond +
                 (static_cast<Int128>(f.milli) * 1000 + f.micro) * 1000 + f.nano;
        return n;
    };
    Int128 nDiff = instant(a) - instant(b);
    const bool bNegative = nDiff < 0;
    if (bNegative)
        nDiff = -nDiff;
    const Int128 nDays = nDiff / kNanoPerDay;
    if (nDays > std::numeric_limits<uint32_t>::max())
        throw CKrOverFlowException("Failed to subtract CDateTime values: the distance is too large.");
    Int128 nRest = nDiff % kNanoPerDay;
    const uint64_t nSeconds = static_cast<uint64_t>(nRest / kNanoPerSecond);
    nRest %= kNanoPerSecond;
    CDateTimeSpan result(0, 0, static_cast<uint32_t>(nDays), static_cast<uint32_t>(nSeconds / 3600),
                         nSeconds / 60 % 60, nSeconds % 60, static_cast<unsigned short>(nRest / 1000000),
                         static_cast<unsigned short>(nRest / 1000 % 1000), static_cast<unsigned short>(nRest % 1000));
    if (bNegative)
        result.Negate();
    return result;
}

// ---- host time ---------------------------------------------------------------------------

int64_t CDateTime::GetTime64() const
{
    if (m_eType != dt_dateTime && m_eType != dt_date)
        ThrowValue(FormatString("Failed to GetTime, Date Status must be dateTime or date. Invalid Date Type: %s.",
                                GetTypeAsString(m_eType).c_str()));
    const WideFields f = GetWideNormalized();
    int64_t t = DaysFromCivil(f.year, f.month, f.day) * 86400;
    if (m_eType == dt_dateTime)
        t += (static_cast<int64_t>(f.hour) * 60 + f.minute) * 60 + f.second;
    return t;
}

int32_t CDateTime::GetTime() const
{
    const int64_t t = GetTime64();
    if (t < std::numeric_limits<int32_t>::min() || t > std::numeric_limits<int32_t>::max())
        ThrowValue(FormatString("Failed to GetTime, the value %s is beyond the range of a 32-bit time.",
                                ToString().c_str()));
    return static_cast<int32_t>(t);
}

Platform::SystemTime CDateTime::GetAsSystemTime() const
{
    if (m_eType != dt_dateTime)
        ThrowValue(FormatString("Failed to GetAsSystemTime, Date Status must be dateTime. Invalid Date Type: %s.",
                                GetTypeAsString(m_eType).c_str()));
    if (m_nYear < 1)
        ThrowValue(FormatString("Failed to GetAsSystemTime, the year %d can not be held by a SYSTEMTIME.", m_nYear));
    Platform::SystemTime st;
    st.wYear = static_cast<uint16_t>(m_nYear);
    st.wMonth = m_nMonth;
    st.wDayOfWeek = static_cast<uint16_t>(GetDayOfWeek() - 1);
    st.wDay = m_nDay;
    st.wHour = m_nHour;
    st.wMinute = m_nMinute;
    st.wSecond = m_nSecond;
    st.wMilliseconds = m_nMilliSecond;
    return st;
}

} // namespace KrXmlLib16
