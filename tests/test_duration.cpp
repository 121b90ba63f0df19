#include "testsupport.h"

#include "datetime.h"
#include "datetimespan.h"

using namespace KrXmlLib16;

namespace {

typedef CDateTimeSpan DS;
typedef CDateTime DT;

DS Parse(const char* lpText)
{
    DS s;
    s.ParseXSDDuration(lpText);
    return s;
}

std::string Expected(const char* lpText)
{
    return std::string("Invalid XSD Duration [") + lpText + "] expected [-]P[nY][nM][nD][T[nH][nM][nS.ff]]";
}

TEST(DurationLexical, ValidFormsReadAndPrint)
{
    // Text, then its printed form.
    const char* aCases[][2] = {
        {"P1Y2M3DT4H5M6.789S", "P1Y2M3DT4H5M6.789S"}, {"-P1D", "-P1D"},       {"PT36H", "PT36H"},
        {"PT90M", "PT90M"},                           {"P0Y", "PT0S"},         {"PY", "PT0S"},
        {"PT.5S", "PT0.5S"},                          {"PT1.50S", "PT1.5S"},   {"PT1.S", "PT1S"},
        {"PT0.123456789S", "PT0.123456789S"},         {"PT0.000000001S", "PT0.000000001S"},
        {"P1M", "P1M"},                               {"P1Y1D", "P1Y1D"},      {"PT1M", "PT1M"},
        {"P1DT1S", "P1DT1S"},                         {"-PT0S", "-PT0S"},      {"PT0S", "PT0S"},
        {"P65535Y", "P65535Y"},                       {"P4294967295M", "P4294967295M"},
        {"P4294967295D", "P4294967295D"},             {"PT4294967295H", "PT4294967295H"},
        {"PT18446744073709551615M", "PT18446744073709551615M"},
        {"PT18446744073709551615.999999999S", "PT18446744073709551615.999999999S"},
        {"P0001Y", "P1Y"},                            {"P1YT1H", "P1YT1H"},    {"PT1H1M1S", "PT1H1M1S"},
        {"P2MT3M", "P2MT3M"},                         {"PDT0H", "PT0S"},
    };
    for (auto& c : aCases)
    {
        SCOPED_TRACE(c[0]);
        DS s = Parse(c[0]);
        EXPECT_EQ(c[1], s.ToString());
        EXPECT_EQ(c[1], Parse(s.ToString().c_str()).ToString());
    }
    DS s = Parse("-P1Y2M3DT4H5M6.007008009S");
    EXPECT_TRUE(s.IsNegative());
    EXPECT_EQ(1, s.GetYears());
    EXPECT_EQ(2u, s.GetMonths());
    EXPECT_EQ(3u, s.GetDays());
    EXPECT_EQ(4u, s.GetHours());
    EXPECT_EQ(5u, s.GetMinutes());
    EXPECT_EQ(6u, s.GetSeconds());
    EXPECT_EQ(7, s.GetMilliSeconds());
    EXPECT_EQ(8, s.GetMicroSeconds());
    EXPECT_EQ(9, s.GetNanoSeconds());
    EXPECT_EQ(36u, Parse("PT36H").GetHours());
}

TEST(DurationLexical, MalformedTextsAreRefused)
{
    const char* aExpected[] = {"P",       "PT",      "P1YT",   "1Y",     "P1Y2Y",   "P1M1Y",    "PT1H1D", "P1S",
                               "P1",      "PT1.5",   "PT1.",   "-",      "--P1D",   "+P1D",     "p1D",    "P1d",
                               "P-1D",    "P1.5D",   "P T1H",  "P1D ",   " P1D",    "PT1S1M",   "PT1.5S1", "PT1.5SZ",
                               "P5T1H",   "PTT1H",   "P1DT",   "PT1H1H", "PT1M1H",  "P.5S",     "PT1,5S", "P1Y1M1D1M",
                               "PT1.5.5S", "-P",     "P1DX",   "PT1S1S", "PT1M1M"};
    for (const char* lpText : aExpected)
    {
        SCOPED_TRACE(lpText);
        EXPECT_KR_THROW(Parse(lpText), CKrInvalidValueException, Expected(lpText));
    }
    EXPECT_KR_THROW(Parse(nullptr), CKrInvalidValueException, "Invalid XSD Duration (Null String)");
    EXPECT_KR_THROW(Parse(""), CKrInvalidValueException, "Invalid XSD Duration (Empty String)");
    EXPECT_KR_THROW(Parse("PT0.1234567891S"), CKrInvalidValueException,
                    "Invalid XSD Duration [PT0.1234567891S] Fraction part too long");
    EXPECT_KR_THROW(Parse("PT0.12345678901234567890123S"), CKrInvalidValueException,
                    "Invalid XSD Duration [PT0.12345678901234567890123S] Fraction part too long");
}

TEST(DurationLexical, NumbersBeyondTheirFieldAreRefused)
{
    const char* aTooLarge[] = {"P65536Y", "P4294967296M", "P4294967296D", "PT4294967296H", "PT18446744073709551616M",
                               "PT18446744073709551616S", "PT18446744073709551616.5S",
                               "P99999999999999999999999999999999999999D", "-P340282366920938463463374607431768211456Y"};
    for (const char* lpText : aTooLarge)
    {
        SCOPED_TRACE(lpText);
        EXPECT_KR_THROW(Parse(lpText), CKrInvalidValueException,
                        std::string("Invalid XSD Duration [") + lpText + "] Number too large");
    }
    // A wrong designator is reported as such, even behind a number too large.
    EXPECT_KR_THROW(Parse("P99999999999999999999X"), CKrInvalidValueException, Expected("P99999999999999999999X"));
    EXPECT_EQ(18446744073709551615ull, Parse("PT18446744073709551615S").GetSeconds());
}

TEST(DurationLexical, AFailedReadLeavesWhatWasReadBefore)
{
    DS s(1, 2, 3, 4, 5, 6, 7, 8, 9);
    s.Negate();
    EXPECT_THROW(s.ParseXSDDuration(nullptr), CKrInvalidValueException);
    EXPECT_EQ("PT0S", s.ToString());  // cleared before the null test
    EXPECT_THROW(s.ParseXSDDuration("-P2DT5H1D"), CKrInvalidValueException);
    EXPECT_EQ("-P2DT5H", s.ToString());
}

TEST(DurationText, ComponentsPrintAsStoredAndFractionOverflowStaysTrue)
{
    EXPECT_EQ("PT1H", DS(1, 0, 0).ToString());
    EXPECT_EQ("P1Y2M3DT4H5M6.000000001S", DS(1, 2, 3, 4, 5, 6, 0, 0, 1).ToString());
    EXPECT_EQ("PT0.00001S", DS(0, 0, 0, 0, 0, 0, 0, 10, 0).ToString());
    // Fields set beyond three digits: the printed text says the same amount of time.
    EXPECT_EQ("PT2.5S", DS(0, 0, 0, 0, 0, 1, 1500, 0, 0).ToString());
    EXPECT_EQ("PT65.600600535S", DS(0, 0, 0, 0, 0, 0, 65535, 65535, 65535).ToString());
    EXPECT_EQ(DT::dtcEqual, DS(0, 0, 0, 0, 0, 1, 1500, 0, 0).CompareTo(Parse("PT2.5S")));
    DS s;
    s.SetDateTimeSpan(3, 4, 5);
    s.SetDays(2);
    s.SetMilliSeconds(250);
    EXPECT_EQ("P2DT3H4M5.25S", s.ToString());
    s.Negate();
    s.SetDateTimeSpan(1, 2, 3, 4, 5, 6);
    EXPECT_FALSE(s.IsNegative());  // the setters clear the sign
    std::string strOut = "=";
    s.AppendTo(strOut);
    EXPECT_EQ("=P1Y2M3DT4H5M6S", strOut);
}

TEST(DurationOrder, DocumentedComparisons)
{
    // Months and years compare with days only where every month length agrees.
    const DT::DTCompareResult kLess = DT::dtcLess, kEq = DT::dtcEqual, kMore = DT::dtcGreater,
                              kOpen = DT::dtcIndeterminate;
    struct Case { const char* lpLeft; const char* lpRight; DT::DTCompareResult eExpected; };
    const Case aCases[] = {
        {"P1D", "PT24H", kEq},   {"P1M", "P30D", kOpen},  {"P1M", "P31D", kOpen},  {"P1M", "P32D", kLess},
        {"P1M", "P27D", kMore},  {"PT1H", "PT2H", kLess}, {"-P1D", "P1D", kLess},  {"-PT0S", "PT0S", kEq},
        {"P1Y", "P12M", kEq},    {"P1Y", "P365D", kOpen}, {"P1Y", "P367D", kLess}, {"PT0.5S", "PT.500S", kEq},
        {"PT0.000000002S", "PT0.000000001S", kMore},
        // Only a February start gives 28 days, only a July start 62 days in two months.
        {"P1M", "P28D", kOpen}, {"P2M", "P62D", kOpen}, {"P2M", "P63D", kLess},
        // Sums leave the year range of a date value; the order is still exact.
        {"P999999999D", "P1000000000D", kLess}, {"P65535Y", "P4294967295D", kLess},
        {"PT18446744073709551600S", "PT307445734561825860M", kEq}, {"-PT18446744073709551615M", "-P65535Y", kLess},
        {"PT18446744073709551614.999999999S", "PT18446744073709551615S", kLess},
    };
    for (const Case& c : aCases)
        EXPECT_EQ(c.eExpected, Parse(c.lpLeft).CompareTo(Parse(c.lpRight))) << c.lpLeft << " vs " << c.lpRight;
    EXPECT_TRUE(Parse("P1D") == Parse("PT24H"));
    EXPECT_TRUE(Parse("P1M") != Parse("P30D"));
    EXPECT_FALSE(Parse("P1M") == Parse("P30D") || Parse("P1M") < Parse("P30D") || Parse("P1M") > Parse("P30D"));
    EXPECT_TRUE(Parse("PT59M") < Parse("PT1H") && Parse("PT61M") > Parse("PT1H"));
    EXPECT_TRUE(DS(1, 0, 0).GetAsNegative().GetAsNegative() == DS(1, 0, 0));
    EXPECT_FALSE(DS(1, 0, 0).GetAsNegative().GetAsNegative().IsNegative());
}

TEST(DurationArithmetic, SpansAddToDatesAndSubtract)
{
    DT v("2000-01-31T10:00:00Z");
    v += Parse("P1M");
    EXPECT_EQ("2000-02-29T10:00:00Z", v.ToString());
    v -= Parse("-PT14H");
    EXPECT_EQ("2000-03-01T00:00:00Z", v.ToString());
    EXPECT_EQ("2000-03-01T00:00:00Z", (v + Parse("-PT0S")).ToString());
    EXPECT_EQ("1999-03-01T00:00:00Z", (v - Parse("P12M")).ToString());
}

} // namespace
