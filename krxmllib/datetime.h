// The value of any of the eight XSD date and time kinds: dateTime, date, time, gYearMonth,
// gYear, gMonthDay, gMonth and gDay. One class serves them all; the kind says which fields
// count. Calendar: proleptic Gregorian on the stored year number, leap rule run on that number.
#ifndef KRXMLLIB_DATETIME_H
#define KRXMLLIB_DATETIME_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "krplatformtypes.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

class CDateTimeSpan;

class KRXML_API CDateTime
{
public:
    enum DTType
    {
        dt_yearZero = 0,
        dt_dateTime = 1,
        dt_date = 2,
        dt_gYearMonth = 3,
        dt_gYear = 4,
        dt_time = 5,
        dt_gDay = 6,
        dt_gMonth = 7,
        dt_gMonthDay = 8
    };

    enum DTCompareResult
    {
        dtcEqual = 0,
        dtcLess = 1,
        dtcGreater = 2,
        dtcIndeterminate = 3
    };

    // ---- construction ----
    CDateTime();
    explicit CDateTime(DTType eType);
    CDateTime(const char* lpText);  // ParseXSDDateTime
    // Seconds since 1970-01-01T00:00:00Z, taken as UTC; the 64-bit form takes a host time_t
    // without cutting it.
    explicit CDateTime(const int32_t& t);
    explicit CDateTime(const int64_t& t);
    CDateTime(const Platform::SystemTime& st);
    CDateTime(const Platform::FileTime& ft);
    CDateTime(short nYear, unsigned char nMonth, unsigned char nDay);
    CDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour, unsigned char nMinute,
              unsigned char nSecond);
    CDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour, unsigned char nMinute,
              unsigned char nSecond, unsigned short nMilli, unsigned short nMicro, unsigned short nNano);
    CDateTime(const CDateTime& other) = default;
    virtual ~CDateTime();

    CDateTime& operator=(const CDateTime& other) = default;
    CDateTime& operator=(const int32_t& t);
    CDateTime& operator=(const int64_t& t);
    CDateTime& operator=(const Platform::SystemTime& st);
    CDateTime& operator=(const Platform::FileTime& ft);

    // The host's current local time, as a dateTime without zone.
    static CDateTime GetTickCount();

    // ---- whole-value setters: replace all fields (zone included), then validate ----
    void SetDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour, unsigned char nMinute,
                     unsigned char nSecond);
    void SetDateTime(short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour, unsigned char nMinute,
                     unsigned char nSecond, unsigned short nMilli, unsigned short nMicro, unsigned short nNano);
    void SetDate(short nYear, unsigned char nMonth, unsigned char nDay);
    void SetTime(unsigned char nHour, unsigned char nMinute, unsigned char nSecond);
    void SetTime(unsigned char nHour, unsigned char nMinute, unsigned char nSecond, unsigned short nMilli,
                 unsigned short nMicro, unsigned short nNano);
    void SetFracTime(unsigned short nMilli, unsigned short nMicro, unsigned short nNano);
    void SetGYear(short nYear);
    void SetGYearMonth(short nYear, unsigned char nMonth);
    void SetGMonth(unsigned char nMonth);
    void SetGMonthDay(unsigned char nMonth, unsigned char nDay);
    void SetGDay(unsigned char nDay);

    // Converts source to the given kind, where the source has the fields it needs.
    void SetDateTime(const CDateTime& source, DTType eType);

    // ---- parsing ----
    void ParseXSDDateTime(const char* lpText);
    void ParseXSDDate(const char* lpText);  // all six date forms; the text decides the kind
    void ParseXSDTime(const char* lpText);

    // ---- fields: each works only on the kinds that have it ----
    short GetYear() const;
    void SetYear(short nYear);
    unsigned char GetMonth() const;
    void SetMonth(unsigned char nMonth);
    unsigned char GetDay() const;
    void SetDay(unsigned char nDay);
    unsigned char GetHour() const;
    void SetHour(unsigned char nHour);
    unsigned char GetMinute() const;
    void SetMinute(unsigned char nMinute);
    unsigned char GetSecond() const;
    void SetSecond(unsigned char nSecond);
    unsigned short GetMilliSecond() const;
    void SetMilliSecond(unsigned short nMilli);
    unsigned short GetMicroSecond() const;
    void SetMicroSecond(unsigned short nMicro);
    unsigned short GetNanoSecond() const;
    void SetNanoSecond(unsigned short nNano);
    double GetRealSecond() const;
    unsigned char GetDayOfWeek() const;  // 1 = Sunday .. 7 = Saturday, in the host's time zone
    unsigned short GetDayOfYear() const;

    // ---- zone ----
    bool IsUTC() const { return m_bUTC; }
    bool HasTimeZone() const { return m_bHasTimeZone; }
    short GetZoneHour() const;
    unsigned char GetZoneMinute() const;
    void SetTimeZone(short nHour, unsigned char nMinute);
    void SetUTC();

    // ---- others ----
    DTType GetType() const { return m_eType; }
    std::string GetTypeAsString() const { return GetTypeAsString(m_eType); }
    CDateTime GetNormalized() const;
    // Seconds since 1970-01-01T00:00:00Z; the 32-bit form raises where the value doesn't fit.
    int32_t GetTime() const;
    int64_t GetTime64() const;
    Platform::SystemTime GetAsSystemTime() const;
    DTCompareResult CompareTo(const CDateTime& other) const;
    std::string ToString() const;
    std::string ToString(const char* lpFormat) const;
    // The sortable form appended to strOut, for writers that build one text of many values.
    void AppendTo(std::string& strOut) const;

    bool operator==(const CDateTime& other) const { return CompareTo(other) == dtcEqual; }
    bool operator!=(const CDateTime& other) const { return CompareTo(other) != dtcEqual; }
    bool operator<(const CDateTime& other) const { return CompareTo(other) == dtcLess; }
    bool operator<=(const CDateTime& other) const;
    bool operator>(const CDateTime& other) const { return CompareTo(other) == dtcGreater; }
    bool operator>=(const CDateTime& other) const;

    CDateTime operator+(const CDateTimeSpan& span) const;
    CDateTime& operator+=(const CDateTimeSpan& span);
    CDateTime operator-(const CDateTimeSpan& span) const;
    CDateTime& operator-=(const CDateTimeSpan& span);
    // The exact distance from other to this as days, hours, minutes, seconds and fraction, so
    // that other + (this - other) == this. Both must be dateTime, date or time of one kind,
    // and both with or both without zone.
    CDateTimeSpan operator-(const CDateTime& other) const;

private:
    friend class CDateTimeSpan;

    // Fields in a width that no addition can overflow; used for ordering and arithmetic.
    struct WideFields
    {
        int64_t year;
        int32_t month, day, hour, minute, second, milli, micro, nano;
    };

    static std::string GetTypeAsString(DTType eType);
    void SetDateTime(DTType eType, short nYear, unsigned char nMonth, unsigned char nDay, unsigned char nHour,
                     unsigned char nMinute, unsigned char nSecond, unsigned short nMilli, unsigned short nMicro,
                     unsigned short nNano);
    // The same from wide numbers (host time records, time_t), refused before anything is cut.
    void SetDateTimeWide(DTType eType, int64_t nYear, uint32_t nMonth, uint32_t nDay, uint32_t nHour,
                         uint32_t nMinute, uint32_t nSecond, uint32_t nMilli);
    void SetFromTime(int64_t t);
    void SetXSDDate(const char* lpText);
    void SetXSDDate(const char* p, size_t nLen);
    void SetXSDTime(const char* lpText);
    void SetXSDTime(const char* p, size_t nLen);
    void SetZone(const char* lpText);
    void SetZone(const char* p, size_t nLen);
    void Validate() const;
    void AddDateTimeSpan(const CDateTimeSpan& span);
    void Clear();
    bool CheckConversion(DTType eSource, DTType eTarget) const;

    bool IsUnset() const;
    // The span that takes this value's fields to UTC (its offset turned around).
    CDateTimeSpan GetZoneShift() const;
    WideFields GetWide() const;
    // This value as the ordering sees it: offset applied, as wide fields.
    WideFields GetWideNormalized() const;
    static DTCompareResult CompareFields(DTType eA, const WideFields& a, DTType eB, const WideFields& b);
    // Adds span in place; bPinDay pins a day that a month or year step leaves beyond the
    // end of its new month to that month's last day.
    static void AddSpanWide(WideFields& f, const CDateTimeSpan& span, bool bPinDay);

    DTType m_eType;
    short m_nYear;
    unsigned char m_nMonth;
    unsigned char m_nDay;
    unsigned char m_nHour;
    unsigned char m_nMinute;
    unsigned char m_nSecond;
    unsigned short m_nMilliSecond;
    unsigned short m_nMicroSecond;
    unsigned short m_nNanoSecond;
    bool m_bUTC;
    bool m_bHasTimeZone;
    short m_nZoneHour;
    unsigned char m_nZoneMinute;
};

} // namespace KrXmlLib16

#endif
