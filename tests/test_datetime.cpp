#include "testsupport.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <random>
#include <vector>

#include "datetime.h"
#include "datetimespan.h"

using namespace KrXmlLib16;

namespace {

typedef CDateTime DT;

// ---- an independent calendar: days since 0000-01-01 by counting leap years ----

int64_t FloorDivT(int64_t a, int64_t b)
{
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)) ? 1 : 0);
}

bool Leap(int64_t y)
{
    return y % 4 == 0 && (y % 100 != 0 || y % 400 == 0);
}

int MonthDays(int64_t y, int m)
{
    static const int k[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && Leap(y) ? 29 : k[m - 1];
}

int64_t EpochDays(int64_t y, int m, int d)
{
    // Leap years in [0, y); year 0 is one.
    int64_t nLeaps = FloorDivT(y + 3, 4) - FloorDivT(y + 99, 100) + FloorDivT(y + 399, 400);
    int64_t n = 365 * y + nLeaps;
    for (int i = 1; i < m; ++i)
        n += MonthDays(y, i);
    return n + d - 1;
}

void FromEpochDays(int64_t n, int64_t& y, int& m, int& d)
{
    y = FloorDivT(n * 400, 146097);
    while (EpochDays(y, 1, 1) > n)
        --y;
    while (EpochDays(y + 1, 1, 1) <= n)
        ++y;
    n -= EpochDays(y, 1, 1);
    for (m = 1; n >= MonthDays(y, m); ++m)
        n -= MonthDays(y, m);
    d = static_cast<int>(n) + 1;
}

// Nanoseconds of a dateTime's fields read as UTC, its offset applied.
__int128 Instant(const DT& v)
{
    __int128 n = EpochDays(v.GetYear(), v.GetMonth(), v.GetDay());
    n = ((n * 24 + v.GetHour()) * 60 + v.GetMinute()) * 60 + v.GetSecond();
    n = ((n * 1000 + v.GetMilliSecond()) * 1000 + v.GetMicroSecond()) * 1000 + v.GetNanoSecond();
    if (v.HasTimeZone())
    {
        int64_t nOffsetMinutes = v.GetZoneHour() * 60 + (v.GetZoneHour() < 0 ? -1 : 1) * v.GetZoneMinute();
        n -= static_cast<__int128>(nOffsetMinutes) * 60 * 1000000000;
    }
    return n;
}

DT Parse(char cParser, const char* lpText)
{
    DT v;
    if (cParser == 'A')
        v.ParseXSDDateTime(lpText);
    else if (cParser == 'D')
        v.ParseXSDDate(lpText);
    else
        v.ParseXSDTime(lpText);
    return v;
}

class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const char* lpZone)
    {
        const char* lpOld = std::getenv("TZ");
        m_bHad = lpOld != nullptr;
        if (m_bHad)
            m_strOld = lpOld;
        setenv("TZ", lpZone, 1);
        tzset();
    }
    ~ScopedTimeZone()
    {
        if (m_bHad)
            setenv("TZ", m_strOld.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    bool m_bHad;
    std::string m_strOld;
};

// ---- lexical forms ----

TEST(DateTimeLexical, EveryKindWithEveryZoneForm)
{
    struct Base { char cParser; const char* lpText; DT::DTType eType; };
    const Base aBases[] = {
        {'A', "2005-01-02T03:04:05", DT::dt_dateTime},        {'A', "-0044-03-15T23:59:59.5", DT::dt_dateTime},
        {'A', "2000-02-29T00:00:00.000000001", DT::dt_dateTime}, {'A', "9999-12-31T12:00:00.12", DT::dt_dateTime},
        {'D', "2005-01-02", DT::dt_date},                     {'D', "-0044-03-15", DT::dt_date},
        {'D', "0001-01-01", DT::dt_date},                     {'D', "2005-01", DT::dt_gYearMonth},
        {'D', "-9999-12", DT::dt_gYearMonth},                 {'D', "2005", DT::dt_gYear},
        {'D', "-0001", DT::dt_gYear},                         {'D', "--02-29", DT::dt_gMonthDay},
        {'D', "--12-31", DT::dt_gMonthDay},                   {'D', "--07", DT::dt_gMonth},
        {'D', "---31", DT::dt_gDay},                          {'T', "00:00:00", DT::dt_time},
        {'T', "23:59:59.999999999", DT::dt_time},             {'T', "12:30:00.25", DT::dt_time},
    };
    // Zone as written, then as printed.
    const char* aValidZones[][2] = {{"", ""},           {"Z", "Z"},           {"+00:00", "+00:00"}, {"+05:30", "+05:30"},
                                    {"-05:30", "-05:30"}, {"+23:59", "+23:59"}, {"-14:00", "-14:00"}, {"+24:00", "+00:00"},
                                    {"-00:30", "+00:30"}, {"-24:15", "+00:15"}};
    const char* aBadZones[] = {"z", "+5:30", "+05:3", "+05-30", "05:30", "+0530", "Z+01:00", "+05:30Z", " Z", "+05:30 ", "UTC", "+aa:bb", "Zulu"};
    int nChecked = 0;
    for (const Base& b : aBases)
    {
        for (auto& z : aValidZones)
        {
            std::string strText = std::string(b.lpText) + z[0];
            SCOPED_TRACE(strText);
            DT v = Parse(b.cParser, strText.c_str());
            EXPECT_EQ(b.eType, v.GetType());
            EXPECT_EQ(std::string(b.lpText) + z[1], v.ToString());
            EXPECT_EQ(z[0][0] != 0, v.IsUTC());
            EXPECT_EQ(z[0][0] == '+' || z[0][0] == '-', v.HasTimeZone());
            DT again = Parse(b.cParser, v.ToString().c_str());
            EXPECT_EQ(v.ToString(), again.ToString());
            EXPECT_EQ(DT::dtcEqual, v.CompareTo(again));
            ++nChecked;
        }
        for (const char* lpZone : aBadZones)
        {
            std::string strText = std::string(b.lpText) + lpZone;
            SCOPED_TRACE(strText);
            if (b.cParser == 'D' || (lpZone[0] >= '0' && lpZone[0] <= '9' && std::strchr(b.lpText, '.')))
            {
                // The date reader finds its zone from the end, and digits run on from a
                // fraction: the message depends on where the text stops fitting.
                EXPECT_THROW(Parse(b.cParser, strText.c_str()), CKrInvalidValueException);
            }
            else
                EXPECT_KR_THROW(Parse(b.cParser, strText.c_str()), CKrInvalidValueException,
                                "Invalid XSD Time Zone [" + std::string(lpZone) + "].");
            ++nChecked;
        }
    }
    EXPECT_GE(nChecked, 400);
}

TEST(DateTimeLexical, MalformedAndOutOfRangeTextsGiveTheirMessages)
{
    struct Case { char cParser; const char* lpText; const char* lpMessage; };
    const Case aCases[] = {
        {'D', nullptr, "Invalid Date (Null String)"},
        {'D', "", "Invalid Date (Empty String)"},
        {'D', "2005-01-02T", "Invalid Date ('T' not allowed)"},
        {'D', "2005-01-02+05:00Z", "Invalid Date (Bad Zone value)"},
        {'D', "0000-01-01", "Invalid Year [0] (-9999 <= year <= 9999 && year != 0)"},
        {'D', "-0000", "Invalid Year [0] (-9999 <= year <= 9999 && year != 0)"},
        {'D', "1900-02-29", "Invalid Day [29] (1 <= day <= days in month"},
        {'D', "2001-04-31", "Invalid Day [31] (1 <= day <= days in month"},
        {'D', "2001-04-00", "Invalid Day [0] (1 <= day <= days in month"},
        {'D', "--02-30", "Invalid Day [30] (1 <= day <= days in month)"},
        {'D', "--00-01", "Invalid Month [0] (1 <= month <= 12)"},
        {'D', "---32", "Invalid Day [32] (1 <= day <= 31)"},
        {'D', "---00", "Invalid Day [0] (1 <= day <= 31)"},
        {'D', "2005-13", "Invalid Month [13] (1 <= month <= 12)"},
        {'D', "2005-00-45", "Invalid Month [0] (1 <= month <= 12)"},
        {'D', "--13", "Invalid Month [13] (1 <= month <= 12)"},
        {'D', "2005-01-01*05:00", "Invalid XSD Time Zone [*05:00]."},
        {'D', "2005-01-01Z05:00", "Invalid XSD Time Zone [Z05:00]."},
        {'D', "2005-01-01+25:00", "Invalid TimeZone [25:0]"},
        {'D', "2005-01-01-05:60", "Invalid TimeZone [-5:60]"},
        {'T', nullptr, "Invalid Time (Null String)"},
        {'T', "", "Invalid XSD Time (Empty String)"},
        {'T', "12:00:00.1234567890", "Invalid XSD Time [12:00:00.1234567890] Fraction part too long"},
        {'T', "12:00:00.12345678901234567890Z", "Invalid XSD Time [12:00:00.12345678901234567890Z] Fraction part too long"},
        {'T', "12:00:00,5", "Invalid XSD Time Zone [,5]."},
        {'T', "12:00:00.5.5", "Invalid XSD Time Zone [.5]."},
        {'A', nullptr, "Invalid DateTime (Null String)"},
        {'A', "", "Invalid XSD DateTime []."},
        {'A', "2005-01-01", "Invalid XSD DateTime [2005-01-01]."},
        {'A', "T10:00:00", "Invalid Date (Empty String)"},
        {'A', "2005-01-01T", "Invalid XSD Time (Empty String)"},
        {'A', "2005-01-01T25:00:00", "Invalid XSD Time [25:00:00] expected hh:mm:ss[.ff]"},
        {'A', "2005-02-30T00:00:00", "Invalid Day [30] (1 <= day <= days in month"},
        {'A', "2005-01-01T10:00:00T", "Invalid XSD Time Zone [T]."},
        {'A', "2005-01-01T10:00:00Zjunk", "Invalid XSD Time Zone [Zjunk]."},
        {'A', "2005-01-01 10:00:00", "Invalid XSD DateTime [2005-01-01 10:00:00]."},
    };
    for (const Case& c : aCases)
    {
        SCOPED_TRACE(c.lpText ? c.lpText : "(null)");
        EXPECT_KR_THROW(Parse(c.cParser, c.lpText), CKrInvalidValueException, c.lpMessage);
    }
    // Texts that don't fit the reader's form are quoted whole with the form expected.
    const std::pair<char, const char*> aBadForms[] = {
        {'D', "12000-01-01"}, {'D', "205-01-01"}, {'D', "2005-1-01"}, {'D', "2005/01/01"}, {'D', " 2005"},
        {'D', "20a5"}, {'D', "+2005"}, {'D', "--1"}, {'D', "--1-01"}, {'D', "--01+02"}, {'D', "-+01-01"}, {'D', "1:"},
        {'D', "-"}, {'D', "Z"}, {'T', "24:00:00"}, {'T', "23:60:00"}, {'T', "23:59:60"}, {'T', "1:00:00"},
        {'T', "12:00"}, {'T', "12-00-00"}, {'T', "aa:bb:cc"}, {'A', "2005-01T10:00:00"}, {'A', "--01-01T10:00:00"},
        {'A', "2005-01-01ZT10:00:00"},
    };
    for (const auto& c : aBadForms)
    {
        const std::string strForm = c.first == 'D'   ? "Invalid XSD Date [%] expected CCYY-MM-DD[Z|[+|-]hh:mm]"
                                    : c.first == 'T' ? "Invalid XSD Time [%] expected hh:mm:ss[.ff]"
                                                     : "Invalid XSD DateTime [%] expected CCYY-MM-DDThh:mm:ss[.ff]";
        const size_t nAt = strForm.find('%');
        EXPECT_KR_THROW(Parse(c.first, c.second), CKrInvalidValueException,
                        strForm.substr(0, nAt) + c.second + strForm.substr(nAt + 1));
    }
    // Each reader refuses the other's forms.
    EXPECT_KR_THROW(Parse('D', "2005-01-01T00:00:00"), CKrInvalidValueException, "Invalid Date ('T' not allowed)");
    EXPECT_KR_THROW(Parse('T', "2005-01-01"), CKrInvalidValueException, "Invalid XSD Time [2005-01-01] expected hh:mm:ss[.ff]");
    EXPECT_KR_THROW(CDateTime("2005"), CKrInvalidValueException, "Invalid XSD DateTime [2005].");
}

TEST(DateTimeLexical, DocumentedReadings)
{
    DT v = Parse('D', "-0044-03-15");
    EXPECT_EQ(-44, v.GetYear());
    EXPECT_EQ("-0044-03-15", v.ToString());
    v = Parse('T', "12:00:00.123456789Z");
    EXPECT_EQ(123, v.GetMilliSecond());
    EXPECT_EQ(456, v.GetMicroSecond());
    EXPECT_EQ(789, v.GetNanoSecond());
    EXPECT_EQ("12:00:00.123456789Z", v.ToString());
    v = Parse('A', "2005-01-01T10:00:00-05:15");  // the sign is the hour's
    EXPECT_EQ(-5, v.GetZoneHour());
    EXPECT_EQ(15, v.GetZoneMinute());
    EXPECT_EQ("12:00:00", Parse('T', "12:00:00.").ToString());  // a dot without digits passes
    EXPECT_EQ("--05", Parse('D', "--05--").ToString());
    // The text decides the kind, whatever the object was before.
    DT typed(DT::dt_gYearMonth);
    typed.ParseXSDDate("2005-01-02");
    EXPECT_EQ(DT::dt_date, typed.GetType());
    EXPECT_DOUBLE_EQ(5.25, Parse('T', "00:00:05.25").GetRealSecond());
}

// ---- setters, validation, kinds ----

TEST(DateTimeFields, WholeValueSettersValidateInOrderAndKeepTheirKind)
{
    DT v;
    EXPECT_KR_THROW(v.SetDateTime(2005, 13, 40, 25, 0, 0), CKrInvalidValueException, "Invalid Month [13] (1 <= month <= 12)");
    EXPECT_EQ(DT::dt_dateTime, v.GetType());  // the fields stay in place after a failure
    EXPECT_EQ(13, v.GetMonth());
    EXPECT_KR_THROW(v.SetDateTime(0, 1, 40, 25, 0, 0), CKrInvalidValueException,
                    "Invalid Year [0] (-9999 <= year <= 9999 && year != 0)");
    EXPECT_KR_THROW(v.SetDateTime(-10000, 1, 1, 0, 0, 0), CKrInvalidValueException,
                    "Invalid Year [-10000] (-9999 <= year <= 9999 && year != 0)");
    EXPECT_KR_THROW(v.SetDateTime(2005, 1, 40, 25, 0, 0), CKrInvalidValueException, "Invalid Day [40] (1 <= day <= days in month");
    EXPECT_KR_THROW(v.SetDateTime(2005, 1, 1, 25, 0, 0), CKrInvalidValueException, "Invalid Hour [25] (0 <= hour <= 23)");
    EXPECT_KR_THROW(v.SetDateTime(2005, 1, 1, 0, 60, 0), CKrInvalidValueException, "Invalid Minute [60] (0 <= minute <= 59)");
    EXPECT_KR_THROW(v.SetDateTime(2005, 1, 1, 0, 0, 60), CKrInvalidValueException, "Invalid Second [60] (0 <= second <= 59)");
    EXPECT_KR_THROW(v.SetDateTime(2005, 1, 1, 0, 0, 0, 1000, 0, 0), CKrInvalidValueException,
                    "Invalid Milli-Second [1000] (0 <= milli <= 999)");
    EXPECT_KR_THROW(v.SetDateTime(2005, 1, 1, 0, 0, 0, 0, 1000, 0), CKrInvalidValueException,
                    "Invalid Micro-Second [1000] (0 <= micro <= 999)");
    EXPECT_KR_THROW(v.SetDateTime(2005, 1, 1, 0, 0, 0, 0, 0, 1000), CKrInvalidValueException,
                    "Invalid Nano-Second [1000] (0 <= nano <= 999)");
    EXPECT_KR_THROW(v.SetDate(2005, 1, 1), CKrInvalidStateException,
                    "Failed to copy CDateTime. Invalid Date Type: date, expected: dateTime.");
    v.SetTimeZone(5, 0);
    v.SetDateTime(2005, 6, 7, 8, 9, 10, 1, 2, 3);
    EXPECT_FALSE(v.IsUTC());  // the zone is cleared with the rest
    EXPECT_EQ("2005-06-07T08:09:10.001002003", v.ToString());

    DT g;
    g.SetGMonthDay(2, 29);
    EXPECT_EQ("--02-29", g.ToString());
    EXPECT_KR_THROW(g.SetGMonthDay(4, 31), CKrInvalidValueException, "Invalid Day [31] (1 <= day <= days in month)");
    DT t;
    t.SetFracTime(5, 0, 0);
    EXPECT_EQ("00:00:00.005", t.ToString());
    DT yz;
    yz.SetDateTime(DT(2000, 1, 1), DT::dt_yearZero);  // any value may be made untyped
    EXPECT_EQ("Error: Date Not Set", yz.ToString());
    yz.SetGDay(5);  // and is then free to take a kind
    EXPECT_EQ("---05", yz.ToString());
}

TEST(DateTimeFields, ConversionKeepsUnusedFieldsOutOfSight)
{
    DT source("2005-06-07T08:09:10.5+01:30");
    DT d;
    d.SetDateTime(source, DT::dt_date);
    EXPECT_EQ("2005-06-07+01:30", d.ToString());
    // The hour is kept, out of sight, and still moves the date when the offset is applied.
    EXPECT_EQ(DT::dtcGreater, d.CompareTo(Parse('D', "2005-06-07+01:30")));
    EXPECT_EQ(DT::dtcEqual, d.CompareTo(Parse('D', "2005-06-07Z")));
    DT plain;
    plain.SetDateTime(DT("2005-06-07T23:59:59"), DT::dt_date);
    EXPECT_EQ(DT::dtcEqual, plain.CompareTo(Parse('D', "2005-06-07")));
    DT t;
    t.SetDateTime(source, DT::dt_time);
    EXPECT_EQ("08:09:10.5+01:30", t.ToString());
    EXPECT_KR_THROW(t.GetYear(), CKrInvalidStateException, "Failed to GetYear. Invalid Date Type: time.");
}

TEST(DateTimeFields, AccessorsCheckTheKind)
{
    struct Accessor { const char* lpName; std::function<void(DT&)> fn; std::vector<DT::DTType> kinds; };
    const std::vector<DT::DTType> y = {DT::dt_dateTime, DT::dt_date, DT::dt_gYearMonth, DT::dt_gYear};
    const std::vector<DT::DTType> m = {DT::dt_dateTime, DT::dt_date, DT::dt_gYearMonth, DT::dt_gMonthDay, DT::dt_gMonth};
    const std::vector<DT::DTType> d = {DT::dt_dateTime, DT::dt_date, DT::dt_gDay, DT::dt_gMonthDay};
    const std::vector<DT::DTType> t = {DT::dt_dateTime, DT::dt_time};
    const std::vector<DT::DTType> dd = {DT::dt_dateTime, DT::dt_date};
    const Accessor aAccessors[] = {
        {"GetYear", [](DT& v) { v.GetYear(); }, y},           {"GetYear", [](DT& v) { v.SetYear(1); }, y},
        {"GetMonth", [](DT& v) { v.GetMonth(); }, m},         {"GetMonth", [](DT& v) { v.SetMonth(1); }, m},
        {"GetDay", [](DT& v) { v.GetDay(); }, d},             {"GetDay", [](DT& v) { v.SetDay(1); }, d},
        {"GetHour", [](DT& v) { v.GetHour(); }, t},           {"GetHour", [](DT& v) { v.SetHour(1); }, t},
        {"GetMinute", [](DT& v) { v.GetMinute(); }, t},       {"GetMinute", [](DT& v) { v.SetMinute(1); }, t},
        {"GetSecond", [](DT& v) { v.GetSecond(); }, t},       {"GetSecond", [](DT& v) { v.SetSecond(1); }, t},
        {"GetRealSecond", [](DT& v) { v.GetRealSecond(); }, t},
        {"GetMilliSecond", [](DT& v) { v.GetMilliSecond(); }, t}, {"GetMilliSecond", [](DT& v) { v.SetMilliSecond(1); }, t},
        {"GetMicroSecond", [](DT& v) { v.GetMicroSecond(); }, t}, {"GetMicroSecond", [](DT& v) { v.SetMicroSecond(1); }, t},
        {"GetNanoSecond", [](DT& v) { v.GetNanoSecond(); }, t},   {"GetNanoSecond", [](DT& v) { v.SetNanoSecond(1); }, t},
        {"GetDayOfWeek", [](DT& v) { v.GetDayOfWeek(); }, dd},    {"GetDayOfYear", [](DT& v) { v.GetDayOfYear(); }, dd},
    };
    const char* aKindNames[] = {"yearZero", "dateTime", "date", "gYearMonth", "gYear", "time", "gDay", "gMonth", "gMonthDay"};
    ScopedTimeZone zone("UTC0");
    for (const Accessor& a : aAccessors)
    {
        for (int k = 0; k <= 8; ++k)
        {
            DT v(static_cast<DT::DTType>(k));
            v.SetDateTime(DT(2005, 6, 7, 8, 9, 10), static_cast<DT::DTType>(k));  // fields to read
            bool bAllowed = false;
            for (DT::DTType e : a.kinds)
                bAllowed = bAllowed || e == k;
            SCOPED_TRACE(std::string(a.lpName) + " on " + aKindNames[k]);
            if (bAllowed)
                EXPECT_NO_THROW(a.fn(v));
            else
                EXPECT_KR_THROW(a.fn(v), CKrInvalidStateException,
                                std::string("Failed to ") + a.lpName + ". Invalid Date Type: " + aKindNames[k] + ".");
        }
    }
    DT v(2005, 1, 1);
    v.SetDay(99);  // field setters check the kind only
    EXPECT_EQ(99, v.GetDay());
}

TEST(DateTimeFields, ConversionMatrix)
{
    // Rows: source kind; columns: target kind; 1 where the source has the fields.
    const int aAllowed[9][9] = {
        {1, 0, 0, 0, 0, 0, 0, 0, 0}, {1, 1, 1, 1, 1, 1, 1, 1, 1}, {1, 0, 1, 1, 1, 0, 1, 1, 1},
        {1, 0, 0, 1, 1, 0, 0, 1, 0}, {1, 0, 0, 0, 1, 0, 0, 0, 0}, {1, 0, 0, 0, 0, 1, 0, 0, 0},
        {1, 0, 0, 0, 0, 0, 1, 0, 0}, {1, 0, 0, 0, 0, 0, 0, 1, 0}, {1, 0, 0, 0, 0, 0, 1, 1, 1},
    };
    const char* aKindNames[] = {"yearZero", "dateTime", "date", "gYearMonth", "gYear", "time", "gDay", "gMonth", "gMonthDay"};
    DT full("2005-06-07T08:09:10.5+01:30");
    for (int s = 0; s <= 8; ++s)
    {
        DT source;
        source.SetDateTime(full, static_cast<DT::DTType>(s));
        for (int t = 0; t <= 8; ++t)
        {
            DT target(DT::dt_gDay);
            SCOPED_TRACE(std::string(aKindNames[s]) + " to " + aKindNames[t]);
            if (aAllowed[s][t])
            {
                target.SetDateTime(source, static_cast<DT::DTType>(t));
                EXPECT_EQ(t, target.GetType());
                EXPECT_EQ(90, target.HasTimeZone() ? target.GetZoneHour() * 60 + target.GetZoneMinute() : -1);
            }
            else
                EXPECT_KR_THROW(target.SetDateTime(source, static_cast<DT::DTType>(t)), CKrInvalidValueException,
                                std::string("Attempting to set a CDateTime of type ") + aKindNames[t] +
                                    " using an XmlDateTime of type " + aKindNames[s] +
                                    ". The source CDateTime does not contian enough data to allow the conversion.");
        }
    }
    DT gm;
    gm.SetDateTime(full, DT::dt_gMonth);
    EXPECT_EQ("--06+01:30", gm.ToString());
    DT bogus;
    EXPECT_KR_THROW(bogus.SetDateTime(full, static_cast<DT::DTType>(9)), CKrInvalidValueException, "Unknown date type 9.");
}

TEST(DateTimeFields, ZoneAccess)
{
    DT v(2005, 1, 1);
    EXPECT_KR_THROW(v.GetZoneHour(), CKrInvalidStateException, "TimeZone is not been used");
    v.SetUTC();
    EXPECT_KR_THROW(v.GetZoneMinute(), CKrInvalidStateException, "TimeZone is not been used");
    EXPECT_KR_THROW(v.SetTimeZone(24, 0), CKrInvalidValueException, "Invalid TimeZone [24:0]");
    EXPECT_KR_THROW(v.SetTimeZone(-24, 0), CKrInvalidValueException, "Invalid TimeZone [-24:0]");
    EXPECT_KR_THROW(v.SetTimeZone(0, 60), CKrInvalidValueException, "Invalid TimeZone [0:60]");
    v.SetTimeZone(-23, 59);
    EXPECT_EQ("2005-01-01-23:59", v.ToString());
    v.SetUTC();
    EXPECT_EQ("2005-01-01Z", v.ToString());
    EXPECT_FALSE(v.HasTimeZone());
}

TEST(DateTimeText, FormatsAndUnsetValues)
{
    DT v("2005-01-02T03:04:05");
    EXPECT_EQ("", v.ToString("G"));
    EXPECT_EQ("", v.ToString(""));
    EXPECT_EQ("", v.ToString(nullptr));
    EXPECT_EQ("Unknown Format: x", v.ToString("x"));
    EXPECT_EQ("2005-01-02T03:04:05", v.ToString("s"));
    EXPECT_EQ("Error: Date Not Set", DT().ToString());
    EXPECT_EQ("Error: Date Not Set", DT().ToString("x"));
    EXPECT_EQ("Error: Date Not Set", DT(DT::dt_date).ToString());
    EXPECT_EQ("00:00:00", DT(DT::dt_time).ToString());
    EXPECT_EQ("--02-31", [] { DT g; g.SetGMonthDay(2, 1); g.SetDay(31); return g.ToString(); }());
    EXPECT_EQ("dateTime", v.GetTypeAsString());
    std::string strOut = "<";
    v.AppendTo(strOut);
    EXPECT_EQ("<2005-01-02T03:04:05", strOut);
}

// ---- order ----

TEST(DateTimeOrder, ZonedAgainstUnzoned)
{
    // An unzoned value may lie up to 14 hours either way: exactly 14 hours apart is still open.
    const DT::DTCompareResult kLess = DT::dtcLess, kEq = DT::dtcEqual, kMore = DT::dtcGreater,
                              kOpen = DT::dtcIndeterminate;
    struct Case { char cLeft; const char* lpLeft; char cRight; const char* lpRight; DT::DTCompareResult eExpected; };
    const Case aCases[] = {
        {'A', "2000-01-01T12:00:00Z", 'A', "2000-01-01T12:00:00", kOpen}, {'A', "2000-01-01T12:00:00Z", 'A', "2000-01-02T01:00:00", kOpen},
        {'A', "2000-01-01T12:00:00Z", 'A', "2000-01-02T02:00:00", kOpen}, {'A', "2000-01-01T12:00:00Z", 'A', "2000-01-02T03:00:00", kLess},
        {'A', "2000-01-01T12:00:00Z", 'A', "2000-01-01T06:00:00", kOpen}, {'A', "2000-01-01T12:00:00Z", 'A', "1999-12-31T21:00:00", kMore},
        {'A', "2000-01-02T03:00:00", 'A', "2000-01-01T12:00:00Z", kMore}, {'A', "1999-12-31T21:00:00", 'A', "2000-01-01T12:00:00Z", kLess},
        {'A', "2000-01-01T05:00:00+05:00", 'A', "2000-01-01T00:00:00Z", kEq}, {'D', "2005-01-02+05:00", 'D', "2005-01-01Z", kEq},
        {'D', "-0001-06-01", 'D', "0001-01-01", kLess}, {'D', "2005-01-01", 'A', "2005-01-01T00:00:00", kOpen},
        {'T', "01:00:00+05:00", 'T', "20:00:00Z", kEq}, {'T', "12:00:00.000000001", 'T', "12:00:00.000000002", kLess},
        // The ends of the year range order without overflow.
        {'A', "9999-12-31T23:59:59-14:00", 'A', "9999-12-31T23:59:59Z", kMore},
    };
    for (const auto& c : aCases)
        EXPECT_EQ(c.eExpected, Parse(c.cLeft, c.lpLeft).CompareTo(Parse(c.cRight, c.lpRight)))
            << c.lpLeft << " vs " << c.lpRight;

    DT a("2000-01-01T12:00:00Z");
    DT b("2000-01-01T12:00:00");
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(a < b || a <= b || a > b || a >= b);
    DT c("2000-01-01T13:00:00+01:00");
    EXPECT_TRUE(a == c && a <= c && a >= c);
    EXPECT_TRUE(DT("2000-01-01T11:00:00Z") < a && a > DT("2000-01-01T11:00:00Z"));
}

// ---- arithmetic ----

TEST(DateTimeArithmetic, DocumentedSums)
{
    // Months onto a day the month lacks land on its last day; year 0 is a leap year; kinds
    // without a date still wrap their time of day; large time components carry.
    struct Case { char cParser; const char* lpText; const char* lpSpan; const char* lpExpected; };
    const Case aCases[] = {
        {'D', "2000-03-01", "-P1D", "2000-02-29"},         {'A', "2000-12-31T23:59:59", "PT1S", "2001-01-01T00:00:00"},
        {'D', "2000-01-31", "P1M", "2000-02-29"},          {'D', "2000-02-29", "P1Y", "2001-02-28"},
        {'A', "2000-03-31T10:00:00Z", "P1M", "2000-04-30T10:00:00Z"}, {'D', "2000-03-31", "-P4M", "1999-11-30"},
        {'D', "0001-03-01", "-P1Y1D", "0000-02-29"},       {'T', "23:30:00Z", "PT1H30M", "01:00:00Z"},
        {'D', "---31", "P1D", "---01"},                    {'A', "2000-01-01T00:00:00", "PT1470M60S", "2000-01-02T00:31:00"},
        {'A', "2000-01-01T00:00:00", "-PT0.000000001S", "1999-12-31T23:59:59.999999999"},
        // A kind without month or day counts from the first of them: no year is borrowed.
        {'D', "2044", "PT0S", "2044"},                     {'D', "2044", "P12M", "2045"},
        {'D', "2044Z", "-P1D", "2043Z"},                   {'D', "2044", "P366D", "2045"},
        {'D', "2044-05", "PT0S", "2044-05"},               {'D', "--02", "PT0S", "--02"},
    };
    for (const auto& c : aCases)
    {
        CDateTimeSpan span;
        span.ParseXSDDuration(c.lpSpan);
        EXPECT_EQ(c.lpExpected, (Parse(c.cParser, c.lpText) + span).ToString()) << c.lpText << " + " << c.lpSpan;
    }
    DT n = DT("2005-01-01T02:00:00+05:30").GetNormalized();
    EXPECT_EQ("2004-12-31T20:30:00+00:00", n.ToString());
    EXPECT_EQ("2005-01-01T07:30:00+00:00", DT("2005-01-01T02:00:00-05:30").GetNormalized().ToString());
    EXPECT_EQ("2005-01-01T02:00:00Z", DT("2005-01-01T02:00:00Z").GetNormalized().ToString());
}

TEST(DateTimeArithmetic, RandomSumsAgreeWithEpochDays)
{
    std::mt19937_64 rng(77);
    auto pick = [&](int64_t lo, int64_t hi) { return std::uniform_int_distribution<int64_t>(lo, hi)(rng); };
    const __int128 kNanoPerDay = static_cast<__int128>(86400) * 1000000000;
    for (int i = 0; i < 20000; ++i)
    {
        DT a(static_cast<short>(pick(1, 9999) * (pick(0, 1) ? 1 : -1)), pick(1, 12), 1, pick(0, 23),
             pick(0, 59), pick(0, 59), pick(0, 999), pick(0, 999), pick(0, 999));
        a.SetDay(static_cast<unsigned char>(pick(1, MonthDays(a.GetYear(), a.GetMonth()))));
        CDateTimeSpan s(0, 0, static_cast<uint32_t>(pick(0, i % 10 == 0 ? 2000000 : 800)),
                        static_cast<uint32_t>(pick(0, 100000)), pick(0, 10000000), pick(0, 1000000000), pick(0, 999),
                        pick(0, 999), pick(0, 999));
        if (pick(0, 1))
            s.Negate();
        __int128 nSpan = ((((static_cast<__int128>(s.GetDays()) * 24 + s.GetHours()) * 60 + s.GetMinutes()) * 60 +
                           s.GetSeconds()) * 1000 + s.GetMilliSeconds()) * 1000000 +
                         s.GetMicroSeconds() * 1000 + s.GetNanoSeconds();
        __int128 nTarget = Instant(a) + (s.IsNegative() ? -nSpan : nSpan);
        __int128 nDays = nTarget / kNanoPerDay - (nTarget % kNanoPerDay < 0 ? 1 : 0);
        __int128 nRest = nTarget - nDays * kNanoPerDay;
        int64_t y;
        int m, d;
        FromEpochDays(static_cast<int64_t>(nDays), y, m, d);
        if (y < -9999 || y > 9999)
            continue;
        DT r = a + s;
        const int64_t nRest64 = static_cast<int64_t>(nRest);
        ASSERT_EQ(y, r.GetYear()) << a.ToString() << " + " << s.ToString();
        ASSERT_EQ(m, r.GetMonth());
        ASSERT_EQ(d, r.GetDay());
        ASSERT_EQ(nRest64 / 3600000000000LL, r.GetHour());
        ASSERT_EQ(nRest64 / 60000000000LL % 60, r.GetMinute());
        ASSERT_EQ(nRest64 / 1000000000 % 60, r.GetSecond());
        ASSERT_EQ(nRest64 % 1000000000, (r.GetMilliSecond() * 1000 + r.GetMicroSecond()) * 1000LL + r.GetNanoSecond());
        ASSERT_EQ(DT::dtcEqual, (r - s).CompareTo(a)) << a.ToString() << " + " << s.ToString();
    }
}

TEST(DateTimeArithmetic, RandomMonthSumsPinTheDay)
{
    std::mt19937 rng(5);
    for (int i = 0; i < 5000; ++i)
    {
        int y = static_cast<int>(rng() % 4000) + 1, mo = static_cast<int>(rng() % 12) + 1;
        int d = static_cast<int>(rng() % MonthDays(y, mo)) + 1;
        int k = static_cast<int>(rng() % 3000) - 1500;
        int64_t nMonths = static_cast<int64_t>(y) * 12 + (mo - 1) + k;
        int64_t y2 = FloorDivT(nMonths, 12);
        int m2 = static_cast<int>(nMonths - y2 * 12) + 1;
        int d2 = std::min(d, MonthDays(y2, m2));
        CDateTimeSpan s(static_cast<unsigned short>(std::abs(k) / 12), static_cast<uint32_t>(std::abs(k) % 12), 0, 0, 0, 0);
        if (k < 0)
            s.Negate();
        DT r = DT(static_cast<short>(y), mo, d, 0, 0, 0) + s;
        ASSERT_EQ(y2, r.GetYear());
        ASSERT_EQ(m2, r.GetMonth());
        ASSERT_EQ(d2, r.GetDay()) << y << "-" << mo << "-" << d << " + " << k << " months";
    }
}

TEST(DateTimeArithmetic, HugeSpansAreFastAndOverflowIsReported)
{
    auto t0 = std::chrono::steady_clock::now();
    CDateTimeSpan big;
    big.ParseXSDDuration("P999999999D");
    EXPECT_KR_THROW(Parse('D', "2000-01-01") + big, CKrOverFlowException,
                    "Failed to add duration P999999999D to 2000-01-01: the year 2739907 is out of range.");
    // A kind without year keeps its month and day exact over millions of years.
    EXPECT_EQ("--01-03", (Parse('D', "--01-01") + big).ToString());
    CDateTimeSpan huge;
    huge.ParseXSDDuration("PT18446744073709551615S");
    EXPECT_THROW(DT("2000-01-01T00:00:00") + huge, CKrOverFlowException);
    EXPECT_EQ("07:00:15", (Parse('T', "00:00:00") + huge).ToString());
    huge.ParseXSDDuration("-PT18446744073709551615M");
    EXPECT_EQ("--09-03", (Parse('D', "--01-01") + huge).ToString());
    DT kept("2000-01-01T00:00:00");
    EXPECT_THROW(kept += huge, CKrOverFlowException);
    EXPECT_EQ("2000-01-01T00:00:00", kept.ToString());  // unchanged after the failure
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 0.5);
}

TEST(DateTimeArithmetic, DifferenceOfTwoValues)
{
    CDateTimeSpan d = DT("2000-03-01T00:00:00Z") - DT("2000-02-28T12:30:00.25+01:00");
    EXPECT_EQ("P1DT12H29M59.75S", d.ToString());
    EXPECT_EQ(DT::dtcEqual, (DT("2000-02-28T12:30:00.25+01:00") + d).CompareTo(DT("2000-03-01T00:00:00Z")));
    EXPECT_EQ("-P366D", (Parse('D', "2000-01-01") - Parse('D', "2001-01-01")).ToString());
    EXPECT_EQ("-PT1H", (Parse('T', "10:00:00") - Parse('T', "11:00:00")).ToString());
    EXPECT_EQ("PT0S", (Parse('D', "2000-01-01") - Parse('D', "2000-01-01")).ToString());
    EXPECT_KR_THROW(DT("2000-01-01T00:00:00Z") - DT("2000-01-01T00:00:00"), CKrInvalidValueException,
                    "Failed to subtract CDateTime values: only one of them has a time zone.");
    EXPECT_KR_THROW(Parse('D', "2000-01") - Parse('D', "2000-01-01"), CKrInvalidValueException,
                    "Failed to subtract a CDateTime of type date from a CDateTime of type gYearMonth. Both must be "
                    "dateTime, date or time of one kind.");
}

// ---- host time ----

TEST(DateTimeHost, TimeValuesAndRecords)
{
    EXPECT_EQ("1970-01-01T00:00:00", DT(int32_t(0)).ToString());
    EXPECT_EQ("2038-01-19T03:14:07", DT(int32_t(2147483647)).ToString());
    EXPECT_EQ("1901-12-13T20:45:52", DT(int32_t(-2147483647 - 1)).ToString());
    EXPECT_EQ("1969-12-31T23:59:59", DT(int64_t(-1)).ToString());
    EXPECT_EQ("9999-12-31T23:59:59", DT(int64_t(253402300799LL)).ToString());
    EXPECT_KR_THROW(DT(int64_t(253402300800LL)), CKrInvalidValueException,
                    "Invalid Year [10000] (-9999 <= year <= 9999 && year != 0)");
    EXPECT_EQ(946684800, Parse('D', "2000-01-01").GetTime());
    EXPECT_EQ(946684800 - 19800, DT("2000-01-01T00:00:00+05:30").GetTime());
    EXPECT_EQ(-1, DT("1969-12-31T23:59:59.999").GetTime());
    EXPECT_EQ(253402300799LL, DT("9999-12-31T23:59:59").GetTime64());
    EXPECT_KR_THROW(DT("2038-01-19T03:14:08").GetTime(), CKrInvalidValueException,
                    "Failed to GetTime, the value 2038-01-19T03:14:08 is beyond the range of a 32-bit time.");
    EXPECT_KR_THROW(Parse('T', "10:00:00").GetTime(), CKrInvalidValueException,
                    "Failed to GetTime, Date Status must be dateTime or date. Invalid Date Type: time.");
    DT assigned(2000, 1, 1, 0, 0, 0);
    assigned = int32_t(86400);
    EXPECT_EQ("1970-01-02T00:00:00", assigned.ToString());
    DT dateOnly(2000, 1, 1);
    EXPECT_KR_THROW(dateOnly = int32_t(0), CKrInvalidStateException,
                    "Failed to copy CDateTime. Invalid Date Type: dateTime, expected: date.");

    Platform::SystemTime st = {2005, 6, 0, 7, 8, 9, 10, 11};
    EXPECT_EQ("2005-06-07T08:09:10.011", DT(st).ToString());
    st.wMonth = 257;  // would read as 1 if it were cut to eight bits
    EXPECT_KR_THROW(DT{st}, CKrInvalidValueException, "Invalid Month [257] (1 <= month <= 12)");
    st.wMonth = 6;
    st.wYear = 40000;
    EXPECT_KR_THROW(DT{st}, CKrInvalidValueException, "Invalid Year [40000] (-9999 <= year <= 9999 && year != 0)");

    Platform::FileTime ft = {0, 0};  // 1601-01-01
    EXPECT_EQ("1601-01-01T00:00:00", DT(ft).ToString());
    ft.dwHighDateTime = 0x80000000u;
    EXPECT_KR_THROW(DT{ft}, CKrInvalidValueException, "Failed to convert FILETIME to SYSTEMTIME");

    DT now = DT::GetTickCount();
    EXPECT_EQ(DT::dt_dateTime, now.GetType());
    EXPECT_FALSE(now.IsUTC());
    EXPECT_GE(now.GetYear(), 2024);
}

TEST(DateTimeHost, WeekdayFollowsTheHostZone)
{
    {
        ScopedTimeZone zone("UTC0");
        EXPECT_EQ(7, Parse('D', "2000-01-01").GetDayOfWeek());  // a Saturday
        EXPECT_EQ(1, DT("2000-01-02T23:59:59").GetDayOfWeek());
        EXPECT_EQ(6, Parse('D', "-0001-01-01").GetDayOfWeek());  // 731 days before Monday 0001-01-01
        Platform::SystemTime st = DT("2000-01-01T10:20:30.5").GetAsSystemTime();
        EXPECT_EQ(6, st.wDayOfWeek);
        EXPECT_EQ(500, st.wMilliseconds);
        EXPECT_EQ(20, st.wMinute);
    }
    {
        // Midnight UTC is still the evening before five hours west.
        ScopedTimeZone zone("EST5");
        EXPECT_EQ(6, Parse('D', "2000-01-01").GetDayOfWeek());
        EXPECT_EQ(7, DT("2000-01-01T05:00:00").GetDayOfWeek());
    }
    {
        ScopedTimeZone zone("JST-9");
        EXPECT_EQ(1, DT("2000-01-01T15:00:00").GetDayOfWeek());
        EXPECT_EQ(7, DT("2000-01-01T14:59:59").GetDayOfWeek());
    }
    EXPECT_KR_THROW(Parse('D', "2000-01").GetAsSystemTime(), CKrInvalidValueException,
                    "Failed to GetAsSystemTime, Date Status must be dateTime. Invalid Date Type: gYearMonth.");
    EXPECT_KR_THROW(DT("-0001-01-01T00:00:00").GetAsSystemTime(), CKrInvalidValueException,
                    "Failed to GetAsSystemTime, the year -1 can not be held by a SYSTEMTIME.");
}

TEST(DateTimeHost, DayOfYear)
{
    const std::pair<const char*, int> aCases[] = {
        {"2000-01-01", 1}, {"2000-03-01", 61}, {"2001-03-01", 60}, {"2000-12-31", 366}, {"-0004-03-01", 61}};
    for (const auto& c : aCases)
        EXPECT_EQ(c.second, Parse('D', c.first).GetDayOfYear()) << c.first;
    DT bad(2000, 1, 1);
    bad.SetMonth(13);
    EXPECT_KR_THROW(bad.GetDayOfYear(), CKrInvalidValueException, "Invalid Month [13] (1 <= month <= 12)");
}

} // namespace
