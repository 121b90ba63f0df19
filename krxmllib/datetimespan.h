// The value of an XSD duration: a sign and nine unsigned components kept exactly as given.
// Nothing carries from one component into the next ("PT90M" stays 90 minutes), so a span has
// no normal form; its order is defined through addition to four reference instants.
#ifndef KRXMLLIB_DATETIMESPAN_H
#define KRXMLLIB_DATETIMESPAN_H

#include <cstdint>
#include <string>

#include "datetime.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

class KRXML_API CDateTimeSpan
{
public:
    CDateTimeSpan();
    CDateTimeSpan(uint32_t nHours, uint64_t nMinutes, uint64_t nSeconds);
    CDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours, uint64_t nMinutes,
                  uint64_t nSeconds);
    CDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours, uint64_t nMinutes,
                  uint64_t nSeconds, unsigned short nMilli, unsigned short nMicro, unsigned short nNano);
    CDateTimeSpan(const CDateTimeSpan& other) = default;
    CDateTimeSpan& operator=(const CDateTimeSpan& other) = default;
    virtual ~CDateTimeSpan();

    // Each clears the span, the sign with it, then stores the arguments.
    void SetDateTimeSpan(uint32_t nHours, uint64_t nMinutes, uint64_t nSeconds);
    void SetDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours, uint64_t nMinutes,
                         uint64_t nSeconds);
    void SetDateTimeSpan(unsigned short nYears, uint32_t nMonths, uint32_t nDays, uint32_t nHours, uint64_t nMinutes,
                         uint64_t nSeconds, unsigned short nMilli, unsigned short nMicro, unsigned short nNano);

    unsigned short GetYears() const { return m_nYears; }
    uint32_t GetMonths() const { return m_nMonths; }
    uint32_t GetDays() const { return m_nDays; }
    uint32_t GetHours() const { return m_nHours; }
    uint64_t GetMinutes() const { return m_nMinutes; }
    uint64_t GetSeconds() const { return m_nSeconds; }
    unsigned short GetMilliSeconds() const { return m_nMilliSeconds; }
    unsigned short GetMicroSeconds() const { return m_nMicroSeconds; }
    unsigned short GetNanoSeconds() const { return m_nNanoSeconds; }

    void SetYears(unsigned short nYears) { m_nYears = nYears; }
    void SetMonths(uint32_t nMonths) { m_nMonths = nMonths; }
    void SetDays(uint32_t nDays) { m_nDays = nDays; }
    void SetHours(uint32_t nHours) { m_nHours = nHours; }
    void SetMinutes(uint64_t nMinutes) { m_nMinutes = nMinutes; }
    void SetSeconds(uint64_t nSeconds) { m_nSeconds = nSeconds; }
    void SetMilliSeconds(unsigned short nMilli) { m_nMilliSeconds = nMilli; }
    void SetMicroSeconds(unsigned short nMicro) { m_nMicroSeconds = nMicro; }
    void SetNanoSeconds(unsigned short nNano) { m_nNanoSeconds = nNano; }

    bool IsNegative() const { return m_bNegative; }
    void Negate() { m_bNegative = !m_bNegative; }
    // A copy with the sign flipped (not necessarily negative).
    CDateTimeSpan GetAsNegative() const;

    std::string ToString() const;
    void AppendTo(std::string& strOut) const;
    void ParseXSDDuration(const char* lpText);

    CDateTime::DTCompareResult CompareTo(const CDateTimeSpan& other) const;
    bool operator==(const CDateTimeSpan& other) const { return CompareTo(other) == CDateTime::dtcEqual; }
    bool operator!=(const CDateTimeSpan& other) const { return CompareTo(other) != CDateTime::dtcEqual; }
    bool operator<(const CDateTimeSpan& other) const { return CompareTo(other) == CDateTime::dtcLess; }
    bool operator>(const CDateTimeSpan& other) const { return CompareTo(other) == CDateTime::dtcGreater; }

private:
    void Clear();

    unsigned short m_nYears;
    uint32_t m_nMonths;
    uint32_t m_nDays;
    uint32_t m_nHours;
    uint64_t m_nMinutes;
    uint64_t m_nSeconds;
    unsigned short m_nMilliSeconds;
    unsigned short m_nMicroSeconds;
    unsigned short m_nNanoSeconds;
    bool m_bNegative;
};

} // namespace KrXmlLib16

#endif
