#include "testsupport.h"

#include "krxmllib.h"
#include "platform.h"

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

const char kU0100[] = "\xC4\x80";
const char kU017F[] = "\xC5\xBF";
const char kU0180[] = "\xC6\x80";
const char kU024F[] = "\xC9\x8F";
const char kU0250[] = "\xC9\x90";

TEST(Pattern, WholeValueMustMatch)
{
    EXPECT_TRUE(MatchesPattern("a", "a"));
    EXPECT_FALSE(MatchesPattern("a", "aa"));
    EXPECT_FALSE(MatchesPattern("a", "ba"));
    EXPECT_FALSE(MatchesPattern("a", ""));
    EXPECT_TRUE(MatchesPattern("a*", ""));
    EXPECT_TRUE(MatchesPattern("", ""));
    EXPECT_FALSE(MatchesPattern("", "x"));
}

TEST(Pattern, FinalNewlineFails)
{
    EXPECT_FALSE(MatchesPattern("a", "a\n"));
    EXPECT_FALSE(MatchesPattern("[0-9]{5}", "12345\n"));
    EXPECT_FALSE(MatchesPattern("a|b", "b\n"));
    // A newline that the pattern itself consumes is part of the match.
    EXPECT_TRUE(MatchesPattern("a\\s", "a\n"));
    EXPECT_TRUE(MatchesPattern("a\nb", "a\nb"));
}

TEST(Pattern, AlternationIsAnchoredOnEveryBranch)
{
    EXPECT_TRUE(MatchesPattern("a|b", "a"));
    EXPECT_TRUE(MatchesPattern("a|b", "b"));
    EXPECT_FALSE(MatchesPattern("a|b", "ab"));
    EXPECT_FALSE(MatchesPattern("a|b", "ba"));
    EXPECT_FALSE(MatchesPattern("a|b", "xb"));
    EXPECT_FALSE(MatchesPattern("a|b", "ax"));
    EXPECT_FALSE(MatchesPattern("ab|abc", "abcd"));
    // The first branch matches a prefix; the second must still be tried for the whole value.
    EXPECT_TRUE(MatchesPattern("ab|abc", "abc"));
    EXPECT_EQ("^(a|b)$", CPatternMatcher::TranslatePattern("a|b"));
}

TEST(Pattern, TypicalFacets)
{
    const char* lpZip = "[0-9]{5}(-[0-9]{4})?";
    EXPECT_TRUE(MatchesPattern(lpZip, "12345"));
    EXPECT_TRUE(MatchesPattern(lpZip, "12345-6789"));
    EXPECT_FALSE(MatchesPattern(lpZip, "12345-678"));
    EXPECT_FALSE(MatchesPattern(lpZip, "1234"));
    EXPECT_TRUE(MatchesPattern("SKU-[0-9]{6}", "SKU-123456"));
    EXPECT_FALSE(MatchesPattern("SKU-[0-9]{6}", "SKU-1234567"));
    EXPECT_FALSE(MatchesPattern("[A-Z]{2}", "us"));
    // XSD categories are PCRE2 properties already.
    EXPECT_TRUE(MatchesPattern("\\p{Lu}\\p{Ll}+", "\xC3\x89t\xC3\xA9"));
}

TEST(Pattern, NameEscapes)
{
    EXPECT_TRUE(MatchesPattern("\\i\\c*", "x1-2"));
    EXPECT_FALSE(MatchesPattern("\\i\\c*", "1x"));
    EXPECT_TRUE(MatchesPattern("\\i\\c*", ":a"));
    EXPECT_TRUE(MatchesPattern("\\i\\c*", "_a.b:c"));
    EXPECT_FALSE(MatchesPattern("\\i\\c*", "-a"));
    EXPECT_FALSE(MatchesPattern("\\i\\c*", "a b"));
    EXPECT_TRUE(MatchesPattern("\\I", "1"));
    EXPECT_TRUE(MatchesPattern("\\I", "-"));
    EXPECT_FALSE(MatchesPattern("\\I", "a"));
    EXPECT_TRUE(MatchesPattern("\\C", " "));
    EXPECT_TRUE(MatchesPattern("\\C", "/"));
    for (const char* lp : {"a", "7", ".", "-", ":", "_"})
        EXPECT_FALSE(MatchesPattern("\\C", lp)) << lp;
    EXPECT_EQ("^(([^\\W\\d]|:)(\\w|\\.|-|:)*([\\W\\d])([^\\w\\.\\-\\:]))$",
              CPatternMatcher::TranslatePattern("\\i\\c*\\I\\C"));
}

TEST(Pattern, EscapedBackslashStartsNoEscape)
{
    EXPECT_EQ("^(\\\\i)$", CPatternMatcher::TranslatePattern("\\\\i"));
    EXPECT_TRUE(MatchesPattern("\\\\i", "\\i"));
    EXPECT_FALSE(MatchesPattern("\\\\i", "a"));
    EXPECT_FALSE(MatchesPattern("\\\\i", ":"));
    // An odd run: the escaped pair comes first, the third backslash starts \c.
    EXPECT_TRUE(MatchesPattern("\\\\\\c", "\\x"));
    EXPECT_FALSE(MatchesPattern("\\\\\\c", "\\ "));
    EXPECT_TRUE(MatchesPattern("\\\\p{IsBasicLatin}", "\\p{IsBasicLatin}"));
    // A control byte of the pattern is a character, not a stand-in for a backslash.
    EXPECT_TRUE(MatchesPattern("a\x01", "a\x01"));
    EXPECT_FALSE(MatchesPattern("a\x01", "a\\"));
}

TEST(Pattern, Blocks)
{
    EXPECT_TRUE(MatchesPattern("\\p{IsBasicLatin}+", std::string("a\x7F\x00~", 4)));
    EXPECT_FALSE(MatchesPattern("\\p{IsBasicLatin}", "\xC2\x80"));

    EXPECT_TRUE(MatchesPattern("\\p{IsLatin-1Supplement}", "\xC2\x80"));
    EXPECT_TRUE(MatchesPattern("\\p{IsLatin-1Supplement}", "\xC3\xBF"));
    EXPECT_FALSE(MatchesPattern("\\p{IsLatin-1Supplement}", "\x7F"));
    EXPECT_FALSE(MatchesPattern("\\p{IsLatin-1Supplement}", kU0100));

    EXPECT_TRUE(MatchesPattern("\\p{IsLatinExtended-A}", kU0100));
    EXPECT_TRUE(MatchesPattern("\\p{IsLatinExtended-A}", kU017F));
    EXPECT_FALSE(MatchesPattern("\\p{IsLatinExtended-A}", "a"));
    EXPECT_FALSE(MatchesPattern("\\p{IsLatinExtended-A}", "\xC3\xBF"));
    EXPECT_FALSE(MatchesPattern("\\p{IsLatinExtended-A}", kU0180));
    // One character, not one byte: two characters of the block fail.
    EXPECT_FALSE(MatchesPattern("\\p{IsLatinExtended-A}", std::string(kU0100) + kU017F));

    EXPECT_TRUE(MatchesPattern("\\p{IsLatinExtended-B}", kU0180));
    EXPECT_TRUE(MatchesPattern("\\p{IsLatinExtended-B}", kU024F));
    EXPECT_FALSE(MatchesPattern("\\p{IsLatinExtended-B}", kU017F));
    EXPECT_FALSE(MatchesPattern("\\p{IsLatinExtended-B}", kU0250));

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
}

TEST(Pattern, InvalidUtf8IsRefused)
{
    EXPECT_KR_THROW(MatchesPattern("a.", "a\xFF"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0xFF at offset 1)");
    EXPECT_KR_THROW(MatchesPattern(".*", "ab\xC3"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0xC3 at offset 2)");
    EXPECT_KR_THROW(MatchesPattern(".*", "\xC0\xAF"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0xC0 at offset 0)");
    EXPECT_KR_THROW(MatchesPattern(".*", "x\xED\xA0\x80"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0xED at offset 1)");
    EXPECT_KR_THROW(MatchesPattern(".*", "\xF4\x90\x80\x80"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0xF4 at offset 0)");
    EXPECT_KR_THROW(MatchesPattern("a\xFF", "a"), CKrException,
                    "Invalid Regular Expression: the pattern is not valid UTF-8 (byte 0xFF at offset 1)");
    EXPECT_KR_THROW(MatchesPattern("[\xE2\x82]", "a"), CKrException,
                    "Invalid Regular Expression: the pattern is not valid UTF-8 (byte 0xE2 at offset 1)");
    // Four-byte characters are fine in both.
    EXPECT_TRUE(MatchesPattern("\xF0\x9F\x98\x80+", "\xF0\x9F\x98\x80\xF0\x9F\x98\x80"));
}

TEST_F(PatternEncoding, SingleByteLocalCodePage)
{
    SetLocalCharEncoding(28591);  // Latin-1: every byte is a character
    EXPECT_TRUE(MatchesPattern("\\p{IsLatin-1Supplement}", "\xE9"));
    EXPECT_TRUE(MatchesPattern("caf\xC3\xA9", "caf\xE9"));
    EXPECT_FALSE(MatchesPattern("caf\xC3\xA9", "cafe"));
    SetLocalCharEncoding(1252);
    EXPECT_TRUE(MatchesPattern("\xE2\x82\xAC[0-9]+", "\x80" "12"));
    EXPECT_KR_THROW(MatchesPattern(".*", "ab\x81"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0x81 at offset 2)");
}

TEST_F(PatternEncoding, MultiByteLocalCodePage)
{
    SetLocalCharEncoding(932);
    // U+3042 HIRAGANA LETTER A is 0x82 0xA0 in Shift-JIS.
    EXPECT_TRUE(MatchesPattern("x\xE3\x81\x82", "x\x82\xA0"));
    EXPECT_KR_THROW(MatchesPattern(".*", "x\x82"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0x82 at offset 1)");
}

TEST_F(PatternEncoding, AsciiOnlyPassesUtf8Through)
{
    SetLocalCharEncoding(1252);
    ASCIIOnly(true);
    EXPECT_TRUE(MatchesPattern("\\p{IsLatinExtended-A}", kU0100));
    EXPECT_KR_THROW(MatchesPattern(".", "\x80"), CKrInvalidValueException,
                    "The value is not valid text in the local character encoding (byte 0x80 at offset 0)");
}

TEST(Pattern, ValidLocalPrefix)
{
    EXPECT_EQ(0u, Platform::ValidLocalPrefix(65001, "", 0));
    EXPECT_EQ(20u, Platform::ValidLocalPrefix(65001, "abcdefghijklmnopqrst", 20));
    // The bad byte past a run of eight ASCII bytes is found after the fast skip.
    EXPECT_EQ(9u, Platform::ValidLocalPrefix(65001, "abcdefghi\x80xyz", 13));
    EXPECT_EQ(4u, Platform::ValidLocalPrefix(65001, "ab\xC3\xA9\xE0\x9F\x80", 7));  // overlong three-byte form
    EXPECT_EQ(4u, Platform::ValidLocalPrefix(65001, "\xF0\x90\x80\x80\xF8", 5));
    EXPECT_EQ(2u, Platform::ValidLocalPrefix(1252, "a\xE9\x8D", 3));
}

TEST(Pattern, MatcherReusedForManyValues)
{
    CPatternMatcher matcher("[0-9]{5}(-[0-9]{4})?");
    EXPECT_EQ("^([0-9]{5}(-[0-9]{4})?)$", matcher.GetTranslatedPattern());
    int nMatched = 0;
    for (int i = 0; i < 1000; ++i)
        nMatched += matcher.Matches(std::to_string(10000 + i * 89) + (i % 2 ? "-1234" : "")) ? 1 : 0;
    EXPECT_EQ(1000, nMatched);
    EXPECT_FALSE(matcher.Matches("1234"));
    EXPECT_FALSE(matcher.Matches(nullptr, 0));
}

TEST(Pattern, OversizedInputStaysBounded)
{
    // A long pattern is translated in one pass and refused by the compiler, not after minutes.
    std::string strPattern;
    for (int i = 0; i < 100000; ++i)
        strPattern += "\\\\";
    EXPECT_THROW(MatchesPattern(strPattern, "\\"), CKrException);
    // A repeat without groups needs no backtracking frames: any length matches.
    std::string strLong(4 * 1024 * 1024, 'a');
    EXPECT_TRUE(MatchesPattern("a*", strLong));
    EXPECT_FALSE(MatchesPattern("a*", strLong + "b"));
    // A repeated group needs a frame per character; past the heap limit the value fails and
    // a trace says why.
    KrXmlTest::DebugCapture capture;
    EXPECT_FALSE(MatchesPattern("(a|b)*", strLong));
    EXPECT_NE(std::string::npos, capture.Text().find("heap limit exceeded")) << capture.Text();
    EXPECT_TRUE(MatchesPattern("(a|b)*", std::string(10000, 'b')));
    // Exponential backtracking ends at the match limit.
    EXPECT_FALSE(MatchesPattern("(a|aa)*(b|c)", std::string(64, 'a')));
    EXPECT_NE(std::string::npos, capture.Text().find("match limit exceeded")) << capture.Text();
}

} // namespace
