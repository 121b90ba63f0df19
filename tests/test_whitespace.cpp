#include "testsupport.h"

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

typedef CWhitespaceUtils WS;

TEST(Whitespace, CollapseReplacePreserve)
{
    // Only the four XML blanks count; a no-break space is text.
    const char* const aCollapse[][2] = {{"  a \t\r\n b  ", "a b"}, {"   ", ""},        {"", ""},
                                        {"a  b\n\nc", "a b c"},     {"abc", "abc"},    {"a\xC2\xA0" "b", "a\xC2\xA0" "b"}};
    for (const auto& c : aCollapse)
        EXPECT_EQ(c[1], WS::Collapse(c[0])) << c[0];
    const char* const aReplace[][2] = {{"a\r\nb", "a b"}, {"a\n\rb", "a  b"}, {"\t\ra\n\t", "  a  "}, {"\r", " "}};
    for (const auto& c : aReplace)
        EXPECT_EQ(c[1], WS::Replace(c[0])) << c[0];
    const char* const aPreserve[][2] = {{"a\r\nb\rc", "a\nb\nc"}, {"\r\r\n", "\n\n"}, {"a\tb\n", "a\tb\n"}};
    for (const auto& c : aPreserve)
        EXPECT_EQ(c[1], WS::Preserve(c[0])) << c[0];
    EXPECT_EQ("x\ny", WS::Preserve("x\r\nyz", 4));
    EXPECT_EQ("", WS::Preserve(nullptr, 3));
    EXPECT_EQ("", WS::Preserve("abc", -1));
}

TEST(Whitespace, ApplyRule)
{
    const std::string strText = " a\r\n\tb ";
    EXPECT_EQ(strText, WS::ApplyRule(WS::WhitespaceRule_None, strText));
    EXPECT_EQ(" a\n\tb ", WS::ApplyRule(WS::WhitespaceRule_Preserve, strText));
    EXPECT_EQ(" a  b ", WS::ApplyRule(WS::WhitespaceRule_Replace, strText));
    EXPECT_EQ("a b", WS::ApplyRule(WS::WhitespaceRule_Collapse, strText));
    EXPECT_KR_THROW(WS::ApplyRule(static_cast<WS::WhitespaceRule>(4), strText), CKrException,
                    "Unknown WhitespaceRule");
    EXPECT_KR_THROW(WS::ApplyRule(static_cast<WS::WhitespaceRule>(-1), strText), CKrException,
                    "Unknown WhitespaceRule");
}

// ---- number and text helpers ----

TEST(TextHelpers, FormatZeroPadded)
{
    EXPECT_EQ("0007", FormatZeroPadded(7, 4));
    EXPECT_EQ("12345", FormatZeroPadded(12345, 3));
    EXPECT_EQ("0", FormatZeroPadded(0, 0));
    EXPECT_EQ("000", FormatZeroPadded(0, 3));
    EXPECT_EQ("4294967295", FormatZeroPadded(4294967295u, 2));
    std::string strOut = "T";
    AppendZeroPadded(strOut, 9, 2);
    EXPECT_EQ("T09", strOut);
}

TEST(TextHelpers, TrimTrailingZeros)
{
    const char* const aCases[][2] = {{"000", "0"}, {"500", "5"}, {"050", "05"}, {"123", "123"}, {"", ""}};
    for (const auto& c : aCases)
        EXPECT_EQ(c[1], TrimTrailingZeros(c[0])) << c[0];
}

TEST(TextHelpers, FormatFraction)
{
    EXPECT_EQ("", FormatFraction(0, 0, 0));
    EXPECT_EQ(".5", FormatFraction(500, 0, 0));
    EXPECT_EQ(".00000001", FormatFraction(0, 0, 10));
    EXPECT_EQ(".1203", FormatFraction(120, 300, 0));
    EXPECT_EQ(".001", FormatFraction(1, 0, 0));
    EXPECT_EQ(".000001", FormatFraction(0, 1, 0));
    EXPECT_EQ(".999999999", FormatFraction(999, 999, 999));
}

TEST(TextHelpers, ReplaceAllRestartsAtTheBeginning)
{
    std::string s = "a.b.c";
    ReplaceAll(s, ".", "\\.");
    EXPECT_EQ("a\\.b\\.c", s);  // a replacement holding the pattern still ends
    s = "aab";
    ReplaceAll(s, "ab", "b");
    EXPECT_EQ("b", s);  // the first replacement makes a new match in front of it
    s = "xyz";
    ReplaceAll(s, "q", "r");
    EXPECT_EQ("xyz", s);
    ReplaceAll(s, "", "r");
    EXPECT_EQ("xyz", s);
    s = "\\p{L}\\p{L}";
    ReplaceAll(s, "\\p{L}", "[a-z]");
    EXPECT_EQ("[a-z][a-z]", s);
}

} // namespace
