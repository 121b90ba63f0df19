#include "testsupport.h"

#include <atomic>
#include <thread>
#include <vector>

#include "conversions.h"
#include "functions.h"
#include "krvariant.h"
#include "primitiverestrictions.h"

using namespace KrXmlLib16;

namespace {

const CWhitespaceUtils::WhitespaceRule kCollapse = CWhitespaceUtils::WhitespaceRule_Collapse;

CPrimitiveRestrictions Bounds(const char* minInc, const char* maxInc, const char* minExc, const char* maxExc)
{
    return CPrimitiveRestrictions("", -1, -1, minInc, maxInc, minExc, maxExc, -1, -1, -1);
}
CPrimitiveRestrictions Lengths(int32_t minLength, int32_t maxLength, int32_t length, const char* pattern = "")
{
    return CPrimitiveRestrictions(pattern, minLength, maxLength, "", "", "", "", length, -1, -1);
}
CPrimitiveRestrictions Digits(int32_t total, int32_t fraction)
{
    return CPrimitiveRestrictions("", -1, -1, "", "", "", "", -1, total, fraction);
}

// The message of a check of text as kind, or "" when it passes.
std::string Check(ItemType kind, const std::string& text, const CPrimitiveRestrictions& facets)
{
    KrVariant v;
    v.FromString(text, kind, kCollapse);
    try
    {
        ValidatePrimitive("item", v, kind, &facets);
        return "";
    }
    catch (const CKrException& e)
    {
        // Facet failures are plain CKrException; a bound's parse failure keeps its own class.
        if (e.GetMessage().find("Invalid Value for") != std::string::npos)
        {
            EXPECT_TRUE(typeid(e) == typeid(CKrException)) << typeid(e).name();
        }
        return e.GetMessage();
    }
}

struct FacetCase
{
    ItemType kind;
    const char* value;
    CPrimitiveRestrictions facets;
    const char* message; // "" when the value passes
};

TEST(Facets, EachKindAgainstItsFacets)
{
    const FacetCase cases[] = {
        // Integers: bounds parsed by the kind's own parser, whitespace collapsed; the
        // message shows the number with %d and no full stop.
        {ItemType_i4, "5", Bounds("10", "", "", ""), "Invalid Value for item [5]"},
        {ItemType_i4, "10", Bounds(" 10 ", "", "", ""), ""},
        {ItemType_i4, "10", Bounds("", "", "10", ""), "Invalid Value for item [10]"},
        {ItemType_i4, "10", Bounds("", "", "", "10"), "Invalid Value for item [10]"},
        {ItemType_i4, "11", Bounds("", "10", "", ""), "Invalid Value for item [11]"},
        {ItemType_i1, "-128", Bounds("-128", "127", "-127", ""), "Invalid Value for item [-128]"},
        {ItemType_ui4, "4294967295", Bounds("", "4000000000", "", ""), "Invalid Value for item [4294967295]"},
        // totalDigits counts the text, minus sign included.
        {ItemType_i4, "-99", Digits(2, -1), "Invalid Value for item [-99]"},
        {ItemType_i4, "99", Digits(2, -1), ""},
        {ItemType_ui2, "100", Digits(2, -1), "Invalid Value for item [100]"},
        // 64-bit integers report their decimal text with a full stop.
        {ItemType_i8, "-9223372036854775808", Bounds("0", "", "", ""), "Invalid Value for item [-9223372036854775808]."},
        {ItemType_ui8, "18446744073709551615", Digits(19, -1), "Invalid Value for item [18446744073709551615]."},
        {ItemType_ui8, "1000", Digits(4, -1), ""},
        // Floats: IEEE comparisons, %f in the message; NaN fails any bound present.
        {ItemType_r8, "2.5", Bounds("", "2", "", ""), "Invalid Value for item [2.500000]"},
        {ItemType_r8, "NaN", Bounds("", "", "", "1"), "Invalid Value for item [nan]"},
        {ItemType_r4, "NaN", Digits(1, 1), ""},
        {ItemType_r4, "-INF", Bounds("-INF", "", "", ""), ""},
        // Calendar parts compare as numbers; a month bound is written "--05".
        {ItemType_month, "--05", Bounds("--06", "", "", ""), "Invalid Value for item [5]"},
        {ItemType_year, "2024", Bounds("", "2000", "", ""), "Invalid Value for item [2024]"},
        {ItemType_day, "---31", Bounds("", "", "", "---31"), "Invalid Value for item [31]"},
        // Dates and durations: an undecidable order counts in the value's favour.
        {ItemType_datetime, "2020-01-01T12:00:00", Bounds("", "2020-01-01T12:00:00Z", "", ""), ""},
        {ItemType_datetime, "2020-01-01T12:00:00", Bounds("", "", "", "2020-01-01T12:00:00Z"), ""},
        {ItemType_datetime, "2020-01-01T12:00:00", Bounds("", "", "2020-01-01T12:00:00Z", ""), ""},
        {ItemType_datetime, "2020-01-01T12:00:00", Bounds("", "", "2020-01-02T12:00:00Z", ""),
         "Invalid Value for item [2020-01-01T12:00:00]."},
        {ItemType_datetime, "2020-01-01T12:00:00Z", Bounds("", "", "", "2020-01-01T12:00:00Z"),
         "Invalid Value for item [2020-01-01T12:00:00Z]."},
        {ItemType_date, "2020-02-29", Bounds("2020-03-01", "", "", ""), "Invalid Value for item [2020-02-29]."},
        {ItemType_duration, "P1M", Bounds("", "P30D", "", "P30D"), ""},
        {ItemType_duration, "P1M", Bounds("P2M", "", "", ""), "Invalid Value for item [P1M]."},
        {ItemType_time, "23:59:59", Bounds("", "", "", "12:00:00"), "Invalid Value for item [23:59:59]."},
        {ItemType_yearMonth, "2020-05", Bounds("", "2020-04", "", ""), "Invalid Value for item [2020-05]."},
        // Strings: lengths count bytes of the local encoding, then the pattern.
        {ItemType_string, "\xC3\xA4\xC3\xB6\xC3\xBC", Lengths(-1, -1, 6), ""},
        {ItemType_string, "\xC3\xA4\xC3\xB6\xC3\xBC", Lengths(-1, -1, 3),
         "Invalid Value for item [\xC3\xA4\xC3\xB6\xC3\xBC]."},
        {ItemType_string, "", Lengths(0, -1, -1), ""},
        {ItemType_string, "", Lengths(1, -1, -1), "Invalid Value for item []."},
        {ItemType_string, "", Lengths(-2, -1, -1), ""},
        {ItemType_string, "abc", Lengths(-1, 2, -1), "Invalid Value for item [abc]."},
        {ItemType_string, "12345", Lengths(-1, -1, -1, "[0-9]{5}"), ""},
        {ItemType_string, "1234", Lengths(-1, -1, -1, "[0-9]{5}"), "Invalid Value for item [1234]."},
        // A length failure is reported before the pattern is compiled.
        {ItemType_string, "abc", Lengths(-1, 2, -1, "("), "Invalid Value for item [abc]."},
        // Binary kinds count bytes and show their own text.
        {ItemType_hexBinary, "0A0B", Lengths(-1, -1, 3), "Invalid Value for item [0A0B]."},
        {ItemType_hexBinary, "0A0B0C", Lengths(-1, -1, 3), ""},
        {ItemType_base64Binary, "AQID", Lengths(4, -1, -1), "Invalid Value for item [AQID]."},
        // A boolean passes whatever the facets say, even bounds that don't parse.
        {ItemType_boolean, "true", CPrimitiveRestrictions("x", 9, 0, "no", "no", "no", "no", 9, 0, 0), ""},
        // Decimals count the digits the value holds: trailing zeros don't count, a zero
        // integer part has no digits, the sign is not a digit.
        {ItemType_decimal, "1.50", Digits(-1, 1), ""},
        {ItemType_decimal, "1.25", Digits(-1, 1), "Invalid Value for item [1.25]."},
        {ItemType_decimal, "123.45", Digits(5, -1), ""},
        {ItemType_decimal, "123.45", Digits(4, -1), "Invalid Value for item [123.45]."},
        {ItemType_decimal, "0.001", Digits(3, 3), ""},
        {ItemType_decimal, "0.001", Digits(2, -1), "Invalid Value for item [0.001]."},
        {ItemType_decimal, "-12", Digits(2, 0), ""},
        {ItemType_decimal, "2.5", Bounds("", "", "", "2.50"), "Invalid Value for item [2.5]."},
        {ItemType_integer, "-99", Digits(2, -1), "Invalid Value for item [-99]."},
        {ItemType_integer, "123456789012345678901234567890", Bounds("", "", "123456789012345678901234567890", ""),
         "Invalid Value for item [123456789012345678901234567890]."},
    };
    for (size_t i = 0; i < sizeof(cases) / sizeof(cases[0]); ++i)
        EXPECT_EQ(std::string(cases[i].message), Check(cases[i].kind, cases[i].value, cases[i].facets))
            << "row " << i << ": " << cases[i].value;
}

// Bounds are text until a value is checked: one that doesn't parse fails the check with the
// parser's own message, and only when the check gets that far.
TEST(Facets, BoundsParseAtCheckTime)
{
    std::string strParserMessage;
    try
    {
        CConversions::datetimeFromString("yesterday", kCollapse);
    }
    catch (const CKrException& e)
    {
        strParserMessage = e.GetMessage();
    }
    ASSERT_FALSE(strParserMessage.empty());
    EXPECT_EQ(strParserMessage,
              Check(ItemType_datetime, "2020-01-01T00:00:00", Bounds("", "yesterday", "", "")));
    // minInclusive already failed, so maxInclusive is never parsed.
    EXPECT_EQ("Invalid Value for item [5]", Check(ItemType_i4, "5", Bounds("10", "zz", "", "")));
    // A bound out of the kind's range is a parse failure too, not a silent clamp.
    EXPECT_NE("", Check(ItemType_i1, "5", Bounds("", "300", "", "")));
    EXPECT_NE("Invalid Value for item [5]", Check(ItemType_i1, "5", Bounds("", "300", "", "")));
    EXPECT_NE("", Check(ItemType_integer, "1", Bounds("", "", "", "ten")));
}

// A record keeps the bounds its first check parsed; what it keeps must never change an answer.
TEST(Facets, ParsedBoundsFollowTheRecord)
{
    CPrimitiveRestrictions facets = Bounds("1", "10000", "", "");
    EXPECT_EQ("", Check(ItemType_i4, "10000", facets));
    EXPECT_EQ("Invalid Value for item [10001]", Check(ItemType_i4, "10001", facets));
    // The texts are public: a changed bound counts from the next check on.
    facets.m_strMaxInclusive = "50";
    EXPECT_EQ("Invalid Value for item [51]", Check(ItemType_i4, "51", facets));
    facets.m_strMaxInclusive = "zz";
    const std::string strBad = Check(ItemType_i4, "51", facets);
    EXPECT_EQ(0u, strBad.find("The value [zz] can not be converted to a i4")) << strBad;
    // The same record read as another kind parses its texts as that kind.
    facets.m_strMaxInclusive = "2.5";
    EXPECT_EQ("Invalid Value for item [2.600000]", Check(ItemType_r8, "2.6", facets));
    EXPECT_NE("", Check(ItemType_i4, "2", facets));

    // A bound that doesn't parse fails every check that reaches it, not only the first.
    const CPrimitiveRestrictions broken = Bounds("", "zz", "", "");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(strBad, Check(ItemType_i4, "51", broken)) << i;
    EXPECT_EQ("Invalid Value for item [0]", Check(ItemType_i4, "0", Bounds("1", "zz", "", "")));

    // Copies and assignments carry the texts; each record answers for its own.
    CPrimitiveRestrictions copy(facets);
    copy.m_strMaxInclusive = "3";
    EXPECT_EQ("", Check(ItemType_r8, "2.6", copy));
    EXPECT_EQ("Invalid Value for item [2.600000]", Check(ItemType_r8, "2.6", facets));
    copy = Bounds("", "", "", "2");
    EXPECT_EQ("Invalid Value for item [2.000000]", Check(ItemType_r8, "2", copy));

    // Decimal bounds are read at the number of places in force at the check.
    const CPrimitiveRestrictions places = Bounds("", "", "", "0.14");
    EXPECT_EQ("", Check(ItemType_decimal, "0.1", places));
    const int nPlaces = CDecimal::GetMaxDecimalPlaces();
    CDecimal::SetMaxDecimalPlaces(1);
    const std::string strOnePlace = Check(ItemType_decimal, "0.1", places);  // the bound is 0.1 now
    CDecimal::SetMaxDecimalPlaces(nPlaces);
    EXPECT_EQ("Invalid Value for item [0.1].", strOnePlace);
    EXPECT_EQ("", Check(ItemType_decimal, "0.1", places));
}

// Threads that check against one record for the first time at once all get the right answers.
TEST(Facets, ParsedBoundsSharedByThreads)
{
    for (int round = 0; round < 20; ++round)
    {
        const CPrimitiveRestrictions facets("", -1, -1, "0", "", "", "", -1, 10, 2);
        std::atomic<int> nWrong(0);
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&facets, &nWrong] {
                for (int i = 0; i < 50; ++i)
                    if (Check(ItemType_decimal, "1.25", facets) != "" ||
                        Check(ItemType_decimal, "-0.01", facets) != "Invalid Value for item [-0.01]." ||
                        Check(ItemType_decimal, "1.255", facets) != "Invalid Value for item [1.255].")
                        ++nWrong;
            });
        for (std::thread& t : threads)
            t.join();
        EXPECT_EQ(0, nWrong.load()) << round;
    }
}

TEST(Facets, PatternThatCannotBeAppliedWrapsTheCause)
{
    const CPrimitiveRestrictions broken = Lengths(-1, -1, -1, "([0-9]");
    // Raised on every check: nothing about the failed compile is remembered.
    for (int i = 0; i < 2; ++i)
    {
        std::string strMessage = Check(ItemType_string, "123", broken);
        EXPECT_EQ(0u, strMessage.find("Invalid Regular Expression")) << strMessage;
        const std::string strTail = "\nInvalid Value for item [123].";
        ASSERT_GT(strMessage.size(), strTail.size());
        EXPECT_EQ(strTail, strMessage.substr(strMessage.size() - strTail.size()));
    }
    // A value that is not valid local text never reaches PCRE2 as broken UTF-8.
    std::string strMessage = Check(ItemType_string, "ab\xFF", Lengths(-1, -1, -1, ".*"));
    const std::string strTail = "\nInvalid Value for item [ab\xFF].";
    ASSERT_GT(strMessage.size(), strTail.size());
    EXPECT_EQ(strTail, strMessage.substr(strMessage.size() - strTail.size()));
}

// In a single-byte local code page the pattern is local text too: it is converted to UTF-8
// before it is compiled, or "\xE4" would be an invalid UTF-8 pattern.
TEST(Facets, PatternInTheLocalCodePage)
{
    SetLocalCharEncoding(1252);
    const CPrimitiveRestrictions facets = Lengths(-1, -1, -1, "\xE4+");
    const std::string strMatch = Check(ItemType_string, "\xE4\xE4", facets);
    const std::string strNoMatch = Check(ItemType_string, "a", facets);
    SetLocalCharEncoding(0);
    EXPECT_EQ("", strMatch);
    EXPECT_EQ("Invalid Value for item [a].", strNoMatch);
}

TEST(Facets, KindsWithoutChecksAndAbsentValues)
{
    CPrimitiveRestrictions facets = Bounds("10", "", "", "");
    KrVariant c;
    c.SetChar('x');
    EXPECT_KR_THROW(ValidatePrimitive("c", c, ItemType_char, &facets), CKrInvalidValueException,
                    "Unknown type [char].");
    KrVariant i;
    i.SetI4(1);
    EXPECT_KR_THROW(ValidatePrimitive("c", i, static_cast<ItemType>(27), &facets), CKrInvalidValueException,
                    "Unknown type [i4].");
    EXPECT_KR_THROW(ValidatePrimitive("c", KrVariant(), static_cast<ItemType>(0), &facets), CKrInvalidValueException,
                    "Unknown type [0].");

    // A nil holds no value to check; no facets means nothing to check.
    KrVariant nil;
    nil.FromString("1", ItemType_i4, kCollapse);
    nil.SetNil();
    ValidatePrimitive("n", nil, ItemType_i4, &facets);
    ValidatePrimitive("n", i, ItemType_i4, nullptr);
    // The default record has every facet absent.
    CPrimitiveRestrictions none;
    ValidatePrimitive("n", i, ItemType_i4, &none);
    EXPECT_EQ("", Check(ItemType_string, "", none));

    // Typed callers reach the kind's check directly, with the same messages.
    EXPECT_KR_THROW(ValidatePrimitive<ItemType_i4>("q", 5, &facets), CKrException, "Invalid Value for q [5]");
    ValidatePrimitive<ItemType_i4>("q", 10, &facets);
}

} // namespace
