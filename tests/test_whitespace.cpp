#include "testsupport.h"

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

typedef CWhitespaceUtils WS;

TEST(Whitespace, Collapse)
{
    EXPECT_EQ("a b", WS::Collapse("  a \t\r\n b  "));
    EXPECT_EQ("", WS::Collapse("   "));
    EXPECT_EQ("", WS::Collapse(""));
    EXPECT_EQ("a b c", WS::Collapse("a  b\n\nc"));
    EXPECT_EQ("abc", WS::Collapse("abc"));
    EXPECT_EQ("a\xC2\xA0" "b", WS::Collapse("a\xC2\xA0" "b"));  // only the four XML blanks count
}

TEST(Whitespace, Replace)
{
    EXPECT_EQ("a b", WS::Replace("a\r\nb"));
    EXPECT_EQ("a  b", WS::Replace("a\n\rb"));
    EXPECT_EQ("  a  ", WS::Replace("\t\ra\n\t"));
    EXPECT_EQ(" ", WS::Replace("\r"));
    EXPECT_EQ("untouched text", WS::Replace("untouched text"));
}

TEST(Whitespace, Preserve)
{
    EXPECT_EQ("a\nb\nc", WS::Preserve("a\r\nb\rc"));
    EXPECT_EQ("\n\n", WS::Preserve("\r\r\n"));
    EXPECT_EQ("\n", WS::Preserve("\r"));
    EXPECT_EQ("a\tb\n", WS::Preserve("a\tb\n"));
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
    EXPECT_EQ("0", TrimTrailingZeros("000"));
    EXPECT_EQ("5", TrimTrailingZeros("500"));
    EXPECT_EQ("05", TrimTrailingZeros("050"));
    EXPECT_EQ("123", TrimTrailingZeros("123"));
    EXPECT_EQ("", TrimTrailingZeros(""));
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
