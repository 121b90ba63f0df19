#include "testsupport.h"

#include "krxmllib.h"

#include <vector>

using namespace KrXmlLib16;

namespace {

// Restores the process-wide text switches that a test changes.
class PatternEncoding : public ::testing::Test
{
protected:
    void TearDown() override
    {
        ASCIIOnly(false);
        SetLocalCharEncoding(0);
    }
};

struct Case
{
    const char* lpPattern;
    std::string strValue;
    bool bMatches;
};

void ExpectCases(const std::vector<Case>& cases)
{
    for (const Case& c : cases)
        EXPECT_EQ(c.bMatches, MatchesPattern(c.lpPattern, c.strValue)) << "pattern " << c.lpPattern << ", value " << c.strValue;
}

TEST(Pattern, AnchoredAtBothEnds)
{
    ExpectCases({{"a", "a", true}, {"a", "aa", false}, {"a", "ba", false}, {"a", "", false}, {"", "", true},
                 // "$" alone would let a final newline pass; one the pattern consumes is matched.
                 {"a", "a\n", false}, {"[0-9]{5}", "12345\n", false}, {"a\\s", "a\n", true},
                 // Nor may it end the match early: the branch that takes the newline counts.
                 {"(a|a\\n)", "a\n", true}, {"(a|a\\n)b?", "a\n", true}, {"a|a\\n", "a\n", true},
                 // The wrapping brackets keep the anchors on every branch of an alternation.
                 {"a|b", "a", true}, {"a|b", "b", true}, {"a|b", "ab", false}, {"a|b", "xb", false},
                 {"a|b", "ax", false}, {"a|b", "b\n", false}, {"ab|abc", "abc", true}, {"ab|abc", "abcd", false},
                 {"[0-9]{5}(-[0-9]{4})?", "12345-6789", true}, {"[0-9]{5}(-[0-9]{4})?", "12345-678", false},
                 {"SKU-[0-9]{6}", "SKU-123456", true}, {"SKU-[0-9]{6}", "SKU-1234567", false},
                 // XSD categories are PCRE2 properties already.
                 {"\\p{Lu}\\p{Ll}+", "\xC3\x89t\xC3\xA9", true}});
    EXPECT_EQ("^(a|b)$", CPatternMatcher::TranslatePattern("a|b"));
}

TEST(Pattern, NameEscapes)
{
    ExpectCases({{"\\i\\c*", "x1-2", true}, {"\\i\\c*", "1x", false}, {"\\i\\c*", ":a", true},
                 {"\\i\\c*", "_a.b:c", true}, {"\\i\\c*", "-a", false}, {"\\i\\c*", "a b", false},
                 {"\\I", "1", true}, {"\\I", "-", true}, {"\\I", "a", false}, {"\\C", " ", true},
                 {"\\C", "/", true}, {"\\C", "a", false}, {"\\C", ".", false}, {"\\C", "-", false}, {"\\C", ":", false},
                 // An escaped backslash starts no escape; in an odd run the third one does.
                 {"\\\\i", "\\i", true}, {"\\\\i", "a", false}, {"\\\\\\c", "\\x", true}, {"\\\\\\c", "\\ ", false},
                 {"\\\\p{IsBasicLatin}", "\\p{IsBasicLatin}", true},
                 // A control byte of the pattern is a character, not a stand-in for a backslash.
                 {"a\x01", "a\x01", true}, {"a\x01", "a\\", false}});
    EXPECT_EQ("^(([^\\W\\d]|:)(\\w|\\.|-|:)*([\\W\\d])([^\\w\\.\\-\\:])\\\\i)$",
              CPatternMatcher::TranslatePattern("\\i\\c*\\I\\C\\\\i"));
}

TEST(Pattern, Blocks)
{
    const std::string u0100 = "\xC4\x80", u017F = "\xC5\xBF", u0180 = "\xC6\x80", u024F = "\xC9\x8F";
    ExpectCases({{"\\p{IsBasicLatin}+", std::string("a\x7F\x00~", 4), true}, {"\\p{IsBasicLatin}", "\xC2\x80", false},
                 {"\\p{IsLatin-1Supplement}", "\xC2\x80", true}, {"\\p{IsLatin-1Supplement}", "\xC3\xBF", true},
                 {"\\p{IsLatin-1Supplement}", "\x7F", false}, {"\\p{IsLatin-1Supplement}", u0100, false},
                 {"\\p{IsLatinExtended-A}", u0100, true}, {"\\p{IsLatinExtended-A}", u017F, true},
                 {"\\p{IsLatinExtended-A}", "a", false}, {"\\p{IsLatinExtended-A}", u0180, false},
                 // One character, not one byte.
                 {"\\p{IsLatinExtended-A}", u0100 + u017F, false},
                 {"\\p{IsLatinExtended-B}", u0180, true}, {"\\p{IsLatinExtended-B}", u024F, true},
                 {"\\p{IsLatinExtended-B}", u017F, false}, {"\\p{IsLatinExtended-B}", "\xC9\x90", false}});
    EXPECT_EQ("^([\\000-\\177][\\200-\\377][\\x{100}-\\x{17F}][\\x{180}-\\x{24F}])$",
              CPatternMatcher::TranslatePattern(
                  "\\p{IsBasicLatin}\\p{IsLatin-1Supplement}\\p{IsLatinExtended-A}\\p{IsLatinExtended-B}"));
}

TEST(Pattern, NulBytesAreCharacters)
{
    EXPECT_FALSE(MatchesPattern("a", std::string("a\0b", 3)));
    EXPECT_TRUE(MatchesPattern(std::string("a\0b", 3), std::string("a\0b", 3)));
    EXPECT_FALSE(MatchesPattern(std::string("a\0b", 3), "a"));
}

TEST(Pattern, BadPatternRaisesOnEveryCheck)
{
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_KR_THROW(MatchesPattern("(", "x"), CKrException,
                        "Invalid Regular Expression: ^(()$ Error: 'missing closing parenthesis'");
        EXPECT_KR_THROW(MatchesPattern("a{2,1}", "aa"), CKrException,
                        "Invalid Regular Expression: ^(a{2,1})$ Error: 'numbers out of order in {} quantifier'");
    }
    // A lone final backslash escapes the closing bracket of the wrapping.
    EXPECT_KR_THROW(MatchesPattern("\\", ""), CKrException,
                    "Invalid Regular Expression: ^(\\)$ Error: 'missing closing parenthesis'");
    EXPECT_KR_THROW(CPatternMatcher("\\p{IsGreek}"), CKrException,
                    "Invalid Regular Expression: ^(\\p{IsGreek})$ Error: 'unknown property after \\P or \\p'");
    // A ")" that would close the wrapping; brackets inside classes and escaped ones count for nothing.
    EXPECT_KR_THROW(MatchesPattern(")|(", "x"), CKrException,
                    "Invalid Regular Expression: ^()|()$ Error: 'unmatched closing parenthesis'");
    EXPECT_KR_THROW(CPatternMatcher("(a))(b"), CKrException,
                    "Invalid Regular Expression: ^((a))(b)$ Error: 'unmatched closing parenthesis'");
    EXPECT_TRUE(MatchesPattern("[)]", ")"));
    EXPECT_TRUE(MatchesPattern("[])]+", "])"));
    EXPECT_TRUE(MatchesPattern("a\\)", "a)"));
    EXPECT_TRUE(MatchesPattern("\\((x|y)\\)", "(x)"));
}

// The refusal of a value with a byte that is not valid local text.
void ExpectBadValue(const std::string& strValue, const char* lpByteAndOffset)
{
    EXPECT_KR_THROW(MatchesPattern(".*", strValue), CKrInvalidValueException,
                    std::string("The value is not valid text in the local character encoding (") + lpByteAndOffset + ")");
}

TEST(Pattern, InvalidUtf8IsRefused)
{
    ExpectBadValue("a\xFF", "byte 0xFF at offset 1");
    ExpectBadValue("abcdefghi\x80xyz", "byte 0x80 at offset 9");  // found after an ASCII run
    ExpectBadValue("ab\xC3", "byte 0xC3 at offset 2");              // cut short
    ExpectBadValue("\xC3\xA9\xE0\x9F\x80", "byte 0xE0 at offset 2");  // overlong
    ExpectBadValue("x\xED\xA0\x80", "byte 0xED at offset 1");       // surrogate
    ExpectBadValue("\xF4\x90\x80\x80", "byte 0xF4 at offset 0");    // beyond U+10FFFF
    EXPECT_KR_THROW(MatchesPattern("a\xFF", "a"), CKrException,
                    "Invalid Regular Expression: the pattern is not valid UTF-8 (byte 0xFF at offset 1)");
    EXPECT_KR_THROW(MatchesPattern("[\xE2\x82]", "a"), CKrException,
                    "Invalid Regular Expression: the pattern is not valid UTF-8 (byte 0xE2 at offset 1)");
    EXPECT_TRUE(MatchesPattern("\xF0\x9F\x98\x80+", "\xF0\x9F\x98\x80\xF0\x9F\x98\x80"));
}

TEST_F(PatternEncoding, OtherLocalCodePages)
{
    SetLocalCharEncoding(28591);  // Latin-1: every byte is a character
    EXPECT_TRUE(MatchesPattern("\\p{IsLatin-1Supplement}", "\xE9"));
    EXPECT_TRUE(MatchesPattern("caf\xC3\xA9", "caf\xE9"));
    EXPECT_FALSE(MatchesPattern("caf\xC3\xA9", "cafe"));
    SetLocalCharEncoding(1252);
    EXPECT_TRUE(MatchesPattern("\xE2\x82\xAC[0-9]+", "\x80" "12"));
    ExpectBadValue("ab\x81", "byte 0x81 at offset 2");  // unassigned in 1252
    SetLocalCharEncoding(932);
    EXPECT_TRUE(MatchesPattern("x\xE3\x81\x82", "x\x82\xA0"));  // U+3042 in Shift-JIS
    ExpectBadValue("x\x82", "byte 0x82 at offset 1");
    // Under ASCIIOnly local text is UTF-8 passed through, whatever the code page.
    ASCIIOnly(true);
    EXPECT_TRUE(MatchesPattern("\\p{IsLatinExtended-A}", "\xC4\x80"));
    ExpectBadValue("\x80", "byte 0x80 at offset 0");
}

TEST(Pattern, MatcherReusedForManyValues)
{
    CPatternMatcher matcher("[0-9]{5}(-[0-9]{4})?");
    EXPECT_EQ("^([0-9]{5}(-[0-9]{4})?)$", matcher.GetTranslatedPattern());
    for (const char* lp : {"12345", "12345-6789", "99999"})
        EXPECT_TRUE(matcher.Matches(lp)) << lp;
    EXPECT_FALSE(matcher.Matches("1234"));
    EXPECT_FALSE(matcher.Matches(nullptr, 0));
}

// Patterns of fixed-length literals and classes are matched without PCRE2; wrapped in a group
// the same pattern goes to PCRE2, and both must answer alike.
TEST(Pattern, FixedShapesAnswerAsPcre2)
{
    const char* const patterns[] = {"SKU-[0-9]{6}", "[A-Z]{2}", "[A-Za-z_][0-9a-f]{0}x", "a-b", "[a-c:@]{3}",
                                    "[A-z]", "x{12}", "", "[a-]", "[-a]", "[0-9]{2,3}", "[^0-9]", "a.c", "a?"};
    const std::string values[] = {"SKU-123456", "SKU-12345", "SKU-1234567", "sku-123456", "SKU-12345a", "GB", "gb",
                                  "G", "GBR", "a", "_x", "Zx", "a-b", "ab", "abc", "c:@", "@@@", "[", "^", "`",
                                  "xxxxxxxxxxxx", "xxxxxxxxxxx", "", "-", "5", "55", "555", "abc", "a\xC3\xA9" "c",
                                  "\xC3\xA9", "GB\n", "SKU-12345\n", std::string("G\0", 2)};
    for (const char* lpPattern : patterns)
    {
        CPatternMatcher fixed(lpPattern);
        CPatternMatcher general(std::string("(") + lpPattern + ")");
        for (const std::string& strValue : values)
            EXPECT_EQ(general.Matches(strValue), fixed.Matches(strValue)) << lpPattern << " / " << strValue;
    }
    // A value that isn't local text is refused before any matching.
    EXPECT_KR_THROW(CPatternMatcher("[A-Z]{2}").Matches("A\xFF"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0xFF at offset 1)");
}

TEST(Pattern, OversizedInputStaysBounded)
{
    // A long pattern is translated in one pass and refused by the compiler, not after minutes.
    std::string strPattern;
    for (int i = 0; i < 100000; ++i)
        strPattern += "\\\\";
    try
    {
        MatchesPattern(strPattern, "\\");
        ADD_FAILURE() << "no exception";
    }
    catch (const CKrException& e)
    {
        const std::string strTail = ")$ Error: 'regular expression is too large'";
        ASSERT_GT(e.GetMessage().size(), strTail.size());
        EXPECT_EQ(strTail, e.GetMessage().substr(e.GetMessage().size() - strTail.size()));
    }
    // A repeat without groups needs no backtracking frames: any length matches.
    std::string strLong(4 * 1024 * 1024, 'a');
    EXPECT_TRUE(MatchesPattern("a*", strLong));
    EXPECT_FALSE(MatchesPattern("a*", strLong + "b"));
    // A repeated group needs a frame per character; past the heap limit the pattern can't be
    // applied, which is neither a match nor a mismatch.
    EXPECT_KR_THROW(MatchesPattern("(a|b)*", strLong), CKrException,
                    "The pattern could not be applied to a value of 4194304 bytes: heap limit exceeded");
    EXPECT_TRUE(MatchesPattern("(a|b)*", std::string(10000, 'b')));
    // Exponential backtracking ends at the match limit.
    EXPECT_KR_THROW(MatchesPattern("(a|aa)*(b|c)", std::string(64, 'a')), CKrException,
                    "The pattern could not be applied to a value of 64 bytes: match limit exceeded");
}

} // namespace
