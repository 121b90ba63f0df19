#include "testsupport.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <typeinfo>
#include <vector>

#include "conversions.h"
#include "itemtype.h"
#include "krexception.h"

using namespace KrXmlLib16;

namespace {

typedef CConversions C;
typedef CWhitespaceUtils::WhitespaceRule Rule;
const Rule kNone = CWhitespaceUtils::WhitespaceRule_None;
const Rule kPreserve = CWhitespaceUtils::WhitespaceRule_Preserve;
const Rule kReplace = CWhitespaceUtils::WhitespaceRule_Replace;
const Rule kCollapse = CWhitespaceUtils::WhitespaceRule_Collapse;

// Text to value to text through the kind's two functions.
std::string RoundTrip(ItemType eKind, const std::string& s, Rule rule = kCollapse)
{
    switch (eKind)
    {
    case ItemType_hexBinary: return C::hexBinaryToString(C::hexBinaryFromString(s, rule));
    case ItemType_base64Binary: return C::base64BinaryToString(C::base64BinaryFromString(s, rule));
    case ItemType_i1: return C::i1ToString(C::i1FromString(s, rule));
    case ItemType_i2: return C::i2ToString(C::i2FromString(s, rule));
    case ItemType_i4: return C::i4ToString(C::i4FromString(s, rule));
    case ItemType_i8: return C::i8ToString(C::i8FromString(s, rule));
    case ItemType_ui1: return C::ui1ToString(C::ui1FromString(s, rule));
    case ItemType_ui2: return C::ui2ToString(C::ui2FromString(s, rule));
    case ItemType_ui4: return C::ui4ToString(C::ui4FromString(s, rule));
    case ItemType_ui8: return C::ui8ToString(C::ui8FromString(s, rule));
    case ItemType_r4: return C::r4ToString(C::r4FromString(s, rule));
    case ItemType_r8: return C::r8ToString(C::r8FromString(s, rule));
    case ItemType_duration: return C::durationToString(C::durationFromString(s, rule));
    case ItemType_yearMonth: return C::yearMonthToString(C::yearMonthFromString(s, rule));
    case ItemType_monthDay: return C::monthDayToString(C::monthDayFromString(s, rule));
    case ItemType_year: return C::yearToString(C::yearFromString(s, rule));
    case ItemType_month: return C::monthToString(C::monthFromString(s, rule));
    case ItemType_day: return C::dayToString(C::dayFromString(s, rule));
    case ItemType_date: return C::dateToString(C::dateFromString(s, rule));
    case ItemType_datetime: return C::datetimeToString(C::datetimeFromString(s, rule));
    case ItemType_time: return C::timeToString(C::timeFromString(s, rule));
    case ItemType_char: return C::charToString(C::charFromString(s, rule));
    case ItemType_string: return C::stringToString(C::stringFromString(s, rule));
    case ItemType_boolean: return C::booleanToString(C::booleanFromString(s, rule));
    case ItemType_decimal: return C::decimalToString(C::decimalFromString(s, rule));
    case ItemType_integer: return C::integerToString(C::integerFromString(s, rule));
    default: ADD_FAILURE() << "no such kind " << eKind; return std::string();
    }
}

struct RoundTripRow
{
    ItemType eKind;
    const char* lpIn;
    const char* lpOut;
};

const RoundTripRow kRoundTrips[] = {
    {ItemType_hexBinary, "00ff10Ab", "00FF10AB"},
    {ItemType_base64Binary, "YWJj", "YWJj"},
    {ItemType_base64Binary, " Y Q = = ", "YQ=="},
    {ItemType_i1, "-128", "-128"},
    {ItemType_i1, "+127", "127"},
    {ItemType_i2, "-32768", "-32768"},
    {ItemType_i4, "-2147483648", "-2147483648"},
    {ItemType_i4, "-0", "0"},
    {ItemType_i8, "-9223372036854775808", "-9223372036854775808"},
    {ItemType_i8, "9223372036854775807", "9223372036854775807"},
    {ItemType_ui1, "255", "255"},
    {ItemType_ui2, "65535", "65535"},
    {ItemType_ui4, "4294967295", "4294967295"},
    {ItemType_ui4, "-1", "4294967295"},
    {ItemType_ui4, "-4294967295", "1"},
    {ItemType_ui8, "18446744073709551615", "18446744073709551615"},
    {ItemType_ui8, "-1", "18446744073709551615"},
    {ItemType_r4, "0.1", "0.1"},
    {ItemType_r4, "1e39", "INF"},
    {ItemType_r4, "3.4028235e38", "3.402823e+38"},
    {ItemType_r8, "0.1", "0.1"},
    {ItemType_r8, "1e999", "INF"},
    {ItemType_r8, "1e-400", "0"},
    {ItemType_r8, "-1e-400", "-0"},
    {ItemType_r8, "1.#QNAN", "NaN"},
    {ItemType_r8, "-NAN", "NaN"},
    {ItemType_r8, "+1.5E2", "150"},
    {ItemType_r8, "123456789012345678", "1.234567890123457e+17"},
    {ItemType_r8, "infinity", "INF"},
    {ItemType_r8, "+INF", "INF"},  // no special word: the C conversion reads it
    {ItemType_duration, "-P1Y2M3DT4H5M6.5S", "-P1Y2M3DT4H5M6.5S"},
    {ItemType_yearMonth, "2005-01", "2005-01"},
    {ItemType_yearMonth, "2005-01-02", "2005-01-02"},  // the text decides the kind
    {ItemType_monthDay, "--02-29", "--02-29"},
    {ItemType_year, "2024", "2024"},
    {ItemType_year, "2005-03", "2005"},
    {ItemType_month, "--05", "--05"},
    {ItemType_month, "2005-03-01", "--03"},
    {ItemType_day, "---05", "---05"},
    {ItemType_day, "---31+02:00", "---31"},
    {ItemType_date, "2005-01-02", "2005-01-02"},
    {ItemType_date, "2005", "2005"},
    {ItemType_datetime, "2005-01-02T03:04:05.5Z", "2005-01-02T03:04:05.5Z"},
    {ItemType_time, "23:59:59", "23:59:59"},
    {ItemType_char, " x ", "x"},
    {ItemType_string, "  a \t b  ", "a b"},
    {ItemType_boolean, "1", "true"},
    {ItemType_boolean, "FALSE", "false"},
    {ItemType_boolean, "True", "true"},
    {ItemType_decimal, "-12.500", "-12.5"},
    {ItemType_decimal, "", "0"},
    {ItemType_decimal, "123456789012345678901234567890.000000000000000000000000000001",
     "123456789012345678901234567890.000000000000000000000000000001"},
    {ItemType_integer, "-123456789012345678901234567890", "-123456789012345678901234567890"},
    {ItemType_integer, "", "0"},
};

TEST(Conversions, EveryKindRoundTripsThroughText)
{
    bool abSeen[ItemType_integer + 1] = {};
    for (const RoundTripRow& row : kRoundTrips)
    {
        abSeen[row.eKind] = true;
        try
        {
            EXPECT_EQ(row.lpOut, RoundTrip(row.eKind, row.lpIn)) << "kind " << row.eKind << " [" << row.lpIn << "]";
        }
        catch (const CKrException& e)
        {
            ADD_FAILURE() << "kind " << row.eKind << " [" << row.lpIn << "]: " << e.GetMessage();
        }
    }
    for (int i = ItemType_hexBinary; i <= ItemType_integer; ++i)
        EXPECT_TRUE(abSeen[i]) << "no round trip for kind " << i;
}

struct MalformedRow
{
    ItemType eKind;
    const char* lpIn;
    const std::type_info* pType;
    const char* lpMessage;
};

const std::type_info& kValue = typeid(CKrInvalidValueException);
const std::type_info& kState = typeid(CKrInvalidStateException);
const std::type_info& kBase = typeid(CKrException);

const MalformedRow kMalformed[] = {
    {ItemType_hexBinary, "abc", &kBase, "Invalid length in hex string"},
    {ItemType_hexBinary, "zz", &kBase, "Invalid char in hex string [z]"},
    {ItemType_base64Binary, "Y*Q=", &kValue, "The value [Y*Q=] can not be converted to a base64Binary"},
    {ItemType_i1, "200", &kValue, "The value [200] is to large to fit in a i1"},
    {ItemType_i1, " -129 ", &kValue, "The value [ -129 ] is to large to fit in a i1"},
    {ItemType_i1, "abc", &kValue, "The value [abc] can not be converted to a i4"},
    {ItemType_i2, "32768", &kValue, "The value [32768] is to large to fit in a i2"},
    {ItemType_i2, "1.5", &kValue, "The value [1.5] can not be converted to a i4"},
    {ItemType_i4, "2147483648", &kValue, "The value [2147483648] is to large to fit in a i4"},
    {ItemType_i4, "-2147483649", &kValue, "The value [-2147483649] is to large to fit in a i4"},
    {ItemType_i4, "99999999999x", &kValue, "The value [99999999999x] is to large to fit in a i4"},
    {ItemType_i4, "12x", &kValue, "The value [12x] can not be converted to a i4"},
    {ItemType_i4, "", &kValue, "The value [] can not be converted to a i4"},
    {ItemType_i4, " \t ", &kValue, "The value [] can not be converted to a i4"},
    {ItemType_i4, "-", &kValue, "The value [-] can not be converted to a i4"},
    {ItemType_i4, "+-1", &kValue, "The value [+-1] can not be converted to a i4"},
    {ItemType_i4, "0x10", &kValue, "The value [0x10] can not be converted to a i4"},
    {ItemType_i8, "9223372036854775808", &kValue, "The value [9223372036854775808] is to large to fit in a i8"},
    {ItemType_i8, "-9223372036854775809", &kValue, "The value [-9223372036854775809] is to large to fit in a i8"},
    {ItemType_i8, "1 2", &kValue, "The value [1 2] can not be converted to a i8"},
    {ItemType_ui1, "-1", &kValue, "The value [-1] is to large to fit in a ui1"},
    {ItemType_ui1, "256", &kValue, "The value [256] is to large to fit in a ui1"},
    {ItemType_ui2, "65536", &kValue, "The value [65536] is to large to fit in a ui2"},
    {ItemType_ui2, "x", &kValue, "The value [x] can not be converted to a ui4"},
    {ItemType_ui4, "4294967296", &kValue, "The value [4294967296] is to large to fit in a ui4"},
    {ItemType_ui4, "-4294967296", &kValue, "The value [-4294967296] is to large to fit in a ui4"},
    {ItemType_ui4, "4e3", &kValue, "The value [4e3] can not be converted to a ui4"},
    {ItemType_ui8, "18446744073709551616", &kValue, "The value [18446744073709551616] is to large to fit in a ui8"},
    {ItemType_ui8, "", &kValue, "The value [] can not be converted to a ui8"},
    {ItemType_r4, "", &kValue, "The value [] can not be converted to a r4"},
    {ItemType_r4, "1.5f", &kValue, "The value [1.5f] can not be converted to a r4"},
    {ItemType_r8, "INFx", &kValue, "The value [INFx] can not be converted to a r8"},
    {ItemType_r8, "IN F", &kValue, "The value [IN F] can not be converted to a r8"},
    {ItemType_r8, "1e", &kValue, "The value [1e] can not be converted to a r8"},
    {ItemType_r8, "1,5", &kValue, "The value [1,5] can not be converted to a r8"},
    {ItemType_r8, "+-1", &kValue, "The value [+-1] can not be converted to a r8"},
    {ItemType_r8, ".", &kValue, "The value [.] can not be converted to a r8"},
    {ItemType_r8, "0x1p3", &kValue, "The value [0x1p3] can not be converted to a r8"},
    {ItemType_duration, "P1Y2X", &kValue, "Invalid XSD Duration [P1Y2X] expected [-]P[nY][nM][nD][T[nH][nM][nS.ff]]"},
    {ItemType_duration, "", &kValue, "Invalid XSD Duration (Empty String)"},
    {ItemType_yearMonth, "2005-1", &kValue, "Invalid XSD Date [2005-1] expected CCYY-MM-DD[Z|[+|-]hh:mm]"},
    {ItemType_monthDay, "--02-30", &kValue, "Invalid Day [30] (1 <= day <= days in month)"},
    {ItemType_year, "abcd", &kValue, "Invalid XSD Date [abcd] expected CCYY-MM-DD[Z|[+|-]hh:mm]"},
    {ItemType_year, "-0044", &kValue, "The value [-0044] can not be a year as it is negative"},
    {ItemType_year, "--05", &kState, "Failed to GetYear. Invalid Date Type: gMonth."},
    {ItemType_month, "--13", &kValue, "Invalid Month [13] (1 <= month <= 12)"},
    {ItemType_month, "---05", &kState, "Failed to GetMonth. Invalid Date Type: gDay."},
    {ItemType_day, "---32", &kValue, "Invalid Day [32] (1 <= day <= 31)"},
    {ItemType_date, "2005-13-01", &kValue, "Invalid Month [13] (1 <= month <= 12)"},
    {ItemType_date, "", &kValue, "Invalid Date (Empty String)"},
    {ItemType_datetime, "2005-01-01", &kValue, "Invalid XSD DateTime [2005-01-01]."},
    {ItemType_datetime, "2005-01-01T25:00:00", &kValue, "Invalid XSD Time [25:00:00] expected hh:mm:ss[.ff]"},
    {ItemType_time, "12:60:00", &kValue, "Invalid XSD Time [12:60:00] expected hh:mm:ss[.ff]"},
    {ItemType_time, "", &kValue, "Invalid XSD Time (Empty String)"},
    {ItemType_char, "", &kValue, "The value [] can not be a char as it is either empty of greater than 1 char long"},
    {ItemType_char, "ab", &kValue, "The value [ab] can not be a char as it is either empty of greater than 1 char long"},
    {ItemType_boolean, " yes ", &kValue,
     "A Boolean Value read from an XML document was invalid [ yes ]. Valid values are 'true', 'false', '1', or '0'"},
    {ItemType_boolean, "", &kValue,
     "A Boolean Value read from an XML document was invalid []. Valid values are 'true', 'false', '1', or '0'"},
    {ItemType_boolean, "01", &kValue,
     "A Boolean Value read from an XML document was invalid [01]. Valid values are 'true', 'false', '1', or '0'"},
    {ItemType_decimal, "1.2.3", &kValue, "The string representing a Decimal, contained an invalid char at position 3 [1.2.3]."},
    {ItemType_integer, "12a", &kValue, "The string representing a Decimal, contained an invalid char at position 2 [12a]."},
};

TEST(Conversions, EveryKindRefusesMalformedTextWithItsMessage)
{
    bool abSeen[ItemType_integer + 1] = {};
    for (const MalformedRow& row : kMalformed)
    {
        abSeen[row.eKind] = true;
        try
        {
            std::string strOut = RoundTrip(row.eKind, row.lpIn);
            ADD_FAILURE() << "kind " << row.eKind << " accepted [" << row.lpIn << "] as [" << strOut << "]";
        }
        catch (const CKrException& e)
        {
            EXPECT_EQ(row.lpMessage, e.GetMessage()) << "kind " << row.eKind << " [" << row.lpIn << "]";
            EXPECT_TRUE(typeid(e) == *row.pType) << "kind " << row.eKind << " [" << row.lpIn << "] thrown as "
                                                 << typeid(e).name();
        }
    }
    // string is the one kind that can't fail.
    for (int i = ItemType_hexBinary; i <= ItemType_integer; ++i)
        EXPECT_TRUE(abSeen[i] || i == ItemType_string) << "no malformed text for kind " << i;
}

TEST(Conversions, UnknownWhitespaceRuleFailsBeforeParsing)
{
    const Rule eBad = static_cast<Rule>(7);
    for (int i = ItemType_hexBinary; i <= ItemType_integer; ++i)
        EXPECT_KR_THROW(RoundTrip(static_cast<ItemType>(i), "1", eBad), CKrException, "Unknown WhitespaceRule");
}

TEST(Conversions, WhitespaceRuleDecidesWhatTheParserSees)
{
    EXPECT_EQ(12, C::i4FromString(" 12", kPreserve));  // leading blanks are skipped by the conversion
    EXPECT_EQ(12, C::i4FromString("\v\f12", kNone));
    EXPECT_KR_THROW(C::i4FromString("12 ", kPreserve), CKrInvalidValueException,
                    "The value [12 ] can not be converted to a i4");
    // Replace turns CR LF into one blank, which still stops the number.
    EXPECT_KR_THROW(C::i8FromString("12\r\n", kReplace), CKrInvalidValueException,
                    "The value [12 ] can not be converted to a i8");
    // The wider kind's message quotes the ruled text, the narrower kind's the raw text.
    EXPECT_KR_THROW(C::i1FromString("\t300\n", kCollapse), CKrInvalidValueException,
                    "The value [\t300\n] is to large to fit in a i1");
    EXPECT_KR_THROW(C::i1FromString("\t3x\n", kCollapse), CKrInvalidValueException,
                    "The value [3x] can not be converted to a i4");
    EXPECT_KR_THROW(C::r8FromString("1.5\n", kNone), CKrInvalidValueException,
                    "The value [1.5\n] can not be converted to a r8");
    EXPECT_EQ(' ', C::charFromString(" ", kNone));
    EXPECT_KR_THROW(C::charFromString(" ", kCollapse), CKrInvalidValueException,
                    "The value [] can not be a char as it is either empty of greater than 1 char long");
    EXPECT_KR_THROW(C::booleanFromString("true ", kNone), CKrInvalidValueException,
                    "A Boolean Value read from an XML document was invalid [true ]. Valid values are 'true', "
                    "'false', '1', or '0'");
    EXPECT_EQ("a\nb", C::stringFromString("a\r\nb", kPreserve));
    EXPECT_EQ(" a  b ", C::stringFromString(" a\r\n\tb ", kReplace));
    EXPECT_EQ(" a \t", C::stringFromString(" a \t", kNone));
}

TEST(Conversions, IntegerWidthsAreExactWhateverTheHostLong)
{
    EXPECT_EQ(2147483648u, C::ui4FromString("-2147483648", kNone));
    EXPECT_EQ(1u, C::ui8FromString("-18446744073709551615", kNone));
    EXPECT_KR_THROW(C::ui8FromString("-18446744073709551616", kNone), CKrInvalidValueException,
                    "The value [-18446744073709551616] is to large to fit in a ui8");
    EXPECT_EQ(7, C::i4FromString("000000000000000000000000007", kNone));  // leading zeros never overflow
    EXPECT_EQ("-32768", C::i2ToString(INT16_MIN));
    EXPECT_EQ("4294967295", C::ui4ToString(UINT32_MAX));
    // Oversized input overflows cleanly.
    EXPECT_KR_THROW(C::i4FromString(std::string(1000, '9'), kNone), CKrInvalidValueException,
                    "The value [" + std::string(1000, '9') + "] is to large to fit in a i4");
    EXPECT_EQ(0u, C::ui8FromString(std::string(1 << 20, '0'), kNone));

    // The limits themselves are in the round-trip and malformed tables; here, the digit counts
    // around the point where a 64-bit value can first overflow, and signs and blanks.
    const struct
    {
        ItemType kind;
        const char* lpText;
        const char* lpResult;  // the value's text, or the start of the message
    } cases[] = {
        {ItemType_i4, "2147483647", "2147483647"},
        {ItemType_i8, "999999999999999999", "999999999999999999"},
        {ItemType_i8, "0000000000000000009223372036854775807", "9223372036854775807"},
        {ItemType_ui8, "99999999999999999999", "The value [99999999999999999999] is to large"},
        {ItemType_i8, "  +42", "42"},
        {ItemType_i8, "-", "The value [-] can not be converted"},
    };
    for (const auto& c : cases)
    {
        std::string strResult;
        try
        {
            strResult = RoundTrip(c.kind, c.lpText, kNone);
        }
        catch (const CKrInvalidValueException& e)
        {
            strResult = e.GetMessage();
        }
        EXPECT_EQ(0u, strResult.find(c.lpResult)) << c.lpText << ": " << strResult;
    }
}

TEST(Conversions, EmbeddedNulIsNeverCutShort)
{
    const std::string strNul("12\0" "34", 5), strDate("2005-01-02\0x", 12);
    EXPECT_KR_THROW(C::i4FromString(strNul, kNone), CKrInvalidValueException,
                    "The value [" + strNul + "] can not be converted to a i4");
    EXPECT_KR_THROW(C::r8FromString(strNul, kNone), CKrInvalidValueException,
                    "The value [" + strNul + "] can not be converted to a r8");
    EXPECT_KR_THROW(C::dateFromString(strDate, kNone), CKrInvalidValueException,
                    "The value [" + strDate + "] can not be converted to a date");
    EXPECT_KR_THROW(C::decimalFromString(strNul, kNone), CKrInvalidValueException,
                    "The value [" + strNul + "] can not be converted to a decimal");
    EXPECT_EQ(std::string("a\0b", 3), C::stringFromString(std::string("a\0b", 3), kCollapse));
}

TEST(Conversions, FloatsPrintSevenOrSixteenDigitsAndSpecialWords)
{
    EXPECT_EQ("0.3333333333333333", C::r8ToString(1.0 / 3.0));
    EXPECT_EQ("0.3333333", C::r4ToString(1.0f / 3.0f));
    EXPECT_EQ("-0", C::r4ToString(-0.0f));
    EXPECT_EQ("1e+100", C::r8ToString(1e100));
    EXPECT_EQ("4.940656458412465e-324", C::r8ToString(std::numeric_limits<double>::denorm_min()));
    EXPECT_EQ("NaN", C::r4ToString(-std::numeric_limits<float>::quiet_NaN()));
    // Special values never reach an override.
    EXPECT_EQ("NaN", C::r8ToString(std::nan(""), "%.2f"));
    EXPECT_EQ("-INF", C::r4ToString(-std::numeric_limits<float>::infinity(), "%s"));

    EXPECT_TRUE(std::isnan(C::r4FromString("nan", kNone)));  // the C library's own form
    EXPECT_EQ(std::numeric_limits<double>::infinity(), C::r8FromString("0.1e310", kNone));
    EXPECT_EQ(0.0, C::r8FromString("123e-400", kNone));
    EXPECT_EQ(4.9406564584124654e-324, C::r8FromString("4.9406564584124654e-324", kNone));
    // A double just below the float overflow threshold rounds to the largest float.
    EXPECT_EQ(std::numeric_limits<float>::max(), C::r4FromString("3.4028235677973362e38", kNone));
    EXPECT_EQ(std::numeric_limits<float>::infinity(), C::r4FromString("3.4028235677973366e38", kNone));
    EXPECT_EQ(-std::numeric_limits<float>::infinity(), C::r4FromString("-1e39", kNone));
}

// r8 text is "%.16g"; the library's own printing of it must agree with the standard one for
// every double: random bit patterns over all magnitudes, decimal-looking values, and exact
// ties at the sixteenth digit, which go to the even neighbour.
std::string ReferenceR8(double d)
{
    if (std::isnan(d))
        return "NaN";
    if (std::isinf(d))
        return d < 0 ? "-INF" : "INF";
    char sz[64];
    const std::to_chars_result res = std::to_chars(sz, sz + sizeof(sz), d, std::chars_format::general, 16);
    return std::string(sz, static_cast<size_t>(res.ptr - sz));
}

TEST(Conversions, R8TextAgreesWithTheStandardPrinting)
{
    std::mt19937_64 rng(2024);
    std::vector<double> values = {0.0, -0.0, 1.0, -1.0, 0.1, 1e-5, 1e-4, 9.9999999999999995e-5, 1e15, 1e16, 1e17,
                                  9999999999999999.0, 99999999999999990.0, 1e42, 1e43, 1e-17, 1e-18,
                                  123.0, 5e-324, 2.2250738585072014e-308, 1.7976931348623157e308,
                                  1234567890123456.5, 1234567890123457.5, 4503599627370495.5, 0.5, 2.5, 1e22, 1e23};
    for (int i = 0; i < 100000; ++i)
    {
        uint64_t uBits = rng();
        double d;
        std::memcpy(&d, &uBits, sizeof(d));
        values.push_back(d);
        // Values as documents hold them: a few digits around the point.
        const double dScale = std::pow(10.0, static_cast<int>(rng() % 40) - 20);
        values.push_back(static_cast<double>(static_cast<int64_t>(rng() % 100000000000ull)) / 1e6 * dScale);
        // Halves at the seventeenth digit, exact in binary.
        values.push_back(static_cast<double>(1000000000000000ull + rng() % 9000000000000000ull) / 2 +
                         (rng() % 2 ? 0.25 : 0.5));
    }
    size_t nWrong = 0;
    for (double d : values)
        if (C::r8ToString(d) != ReferenceR8(d) && ++nWrong < 10)
            ADD_FAILURE() << ReferenceR8(d) << " printed as " << C::r8ToString(d);
    EXPECT_EQ(0u, nWrong);
}

TEST(Conversions, FloatFormatOverride)
{
    EXPECT_EQ("3.14", C::r8ToString(3.14159, "%.2f"));
    EXPECT_EQ("x=0003.142%", C::r8ToString(3.14159, "x=%08.3f%%"));
    EXPECT_EQ("+1.500000E+00", C::r4ToString(1.5f, "%+E"));
    EXPECT_EQ("0x1.8p+0", C::r8ToString(1.5, "%a"));
    EXPECT_EQ("2.50", C::r8ToString(2.5, "%#.3lg"));
    // Longer than any fixed buffer: the text grows to fit rather than being cut.
    const std::string strLong = C::r8ToString(1e300, "%.1000f");
    EXPECT_EQ(1 + 300 + 1 + 1000u, strLong.size());
    EXPECT_EQ("1000000000000000052504760255204420248704468581108159154915854115", strLong.substr(0, 64));
    EXPECT_EQ("." + std::string(1000, '0'), strLong.substr(301));
    EXPECT_EQ(std::string(50, ' ') + "1", C::r4ToString(1.0f, "%51g"));

    const char* const aBad[] = {"%s", "%d", "%n", "%f %f", "plain", "%*f", "%.*f", "%Lf", "%hf", "%'f",
                                "%12345f", "%.12345f", "%", "%f%"};
    for (const char* lpBad : aBad)
        EXPECT_KR_THROW(C::r8ToString(1.0, lpBad), CKrInvalidParamException,
                        std::string("The format override [") + lpBad + "] is not a printf format for one r8 value");
    EXPECT_KR_THROW(C::r4ToString(1.0f, "%x"), CKrInvalidParamException,
                    "The format override [%x] is not a printf format for one r4 value");
    const std::string strNulFormat("%f\0%s", 5);
    EXPECT_KR_THROW(C::r8ToString(1.0, strNulFormat), CKrInvalidParamException,
                    "The format override [" + strNulFormat + "] is not a printf format for one r8 value");
}

// The application's locale must not turn the decimal point into a comma, in either direction.
TEST(Conversions, FloatsIgnoreTheApplicationLocale)
{
    const char* lpOld = std::setlocale(LC_NUMERIC, nullptr);
    const std::string strOld = lpOld ? lpOld : "C";
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8") && !std::setlocale(LC_NUMERIC, "de_DE.utf8"))
        GTEST_SKIP() << "no German locale on this machine";
    const std::string strDefault = C::r8ToString(2.5);
    const std::string strOverride = C::r8ToString(2.5, "%.2f");
    const double dRead = C::r8FromString("2.5", kNone);
    std::setlocale(LC_NUMERIC, strOld.c_str());
    EXPECT_EQ("2.5", strDefault);
    EXPECT_EQ("2.50", strOverride);
    EXPECT_EQ(2.5, dRead);
}

TEST(Conversions, DecimalOverrideIsADigitCount)
{
    const CDecimal d("1.25");
    EXPECT_EQ("1.25", C::decimalToString(d));
    EXPECT_EQ("1.25", C::decimalToString(d, ""));
    EXPECT_EQ("1.3", C::decimalToString(d, "1"));
    EXPECT_EQ("1.2500", C::decimalToString(d, " +4xyz"));
    EXPECT_EQ("1.", C::decimalToString(d, "abc"));   // no number reads as 0 places
    EXPECT_EQ("1.", C::decimalToString(d, "%.2f"));  // a printf format is not a count
    EXPECT_EQ("-12.35", C::decimalToString(CDecimal("-12.345"), "2"));
    EXPECT_KR_THROW(C::decimalToString(d, "-1"), CKrInvalidParamException,
                    "The number of fraction digits must not be negative.");
    // A count beyond int is cut to the int bounds, as the C library's atoi does.
    EXPECT_KR_THROW(C::decimalToString(d, "-99999999999999999999"), CKrInvalidParamException,
                    "The number of fraction digits must not be negative.");
}

TEST(Conversions, CalendarPartsPrintTheirDigits)
{
    EXPECT_EQ("5", C::yearToString(5));
    EXPECT_EQ("--123", C::monthToString(123));  // two digits at least, never cut
}

TEST(Conversions, Base64TextThatDecodesToNothing)
{
    EXPECT_EQ(0u, C::base64BinaryFromString(" = = ", kNone).GetLength());  // only padding: empty
    EXPECT_KR_THROW(C::base64BinaryFromString("Q", kNone), CKrInvalidValueException,
                    "The value [Q] can not be converted to a base64Binary");
}

} // namespace
