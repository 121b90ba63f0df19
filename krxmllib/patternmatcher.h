// An XSD pattern facet translated into a PCRE2 expression and compiled once, so that many
// values can be matched against it. MatchesPattern (functions.h) keeps such matchers in a cache.
#ifndef KRXMLLIB_PATTERNMATCHER_H
#define KRXMLLIB_PATTERNMATCHER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "krxmlexport.h"

struct pcre2_real_code_8;

namespace KrXmlLib16 {

class KRXML_API CPatternMatcher
{
public:
    // patternUtf8 is the XSD pattern in UTF-8. Raises CKrException with "Invalid Regular
    // Expression: ..." if it is not valid UTF-8 or does not compile.
    explicit CPatternMatcher(const std::string& patternUtf8);
    ~CPatternMatcher();
    CPatternMatcher(const CPatternMatcher&) = delete;
    CPatternMatcher& operator=(const CPatternMatcher&) = delete;

    // True when the whole value, text in the local character encoding, matches. A value with
    // bytes that are not valid in that encoding raises CKrInvalidValueException. Reentrant:
    // one matcher may serve several threads at once.
    bool Matches(const std::string& value) const { return Matches(value.data(), value.size()); }
    bool Matches(const char* lpValue, size_t nLen) const;

    // The PCRE2 expression that was compiled.
    const std::string& GetTranslatedPattern() const { return m_strTranslated; }

    // The XSD pattern rewritten for PCRE2: the XSD-only escapes \i, \I, \c, \C and the blocks
    // IsBasicLatin, IsLatin-1Supplement, IsLatinExtended-A and -B replaced, and the whole
    // anchored at both ends. An escaped backslash never starts one of those escapes.
    static std::string TranslatePattern(const std::string& patternUtf8);

private:
    // A pattern of ASCII literals and ASCII character classes, each taken once or a fixed
    // number of times ("SKU-[0-9]{6}"), matches exactly the texts of its length whose bytes
    // fall in the atoms' sets in turn: such patterns, common for codes, are matched without
    // PCRE2. The sets are bit masks of the 128 ASCII characters.
    struct FixedAtom
    {
        uint64_t qwLow;   // characters 0 to 63
        uint64_t qwHigh;  // characters 64 to 127
        uint32_t dwCount;
    };
    // Fills m_fixedAtoms if the XSD pattern has that form; false leaves it to PCRE2.
    bool ParseFixedShape(const std::string& patternUtf8);
    bool MatchesFixedShape(const char* p, size_t nLen) const;

    std::string m_strTranslated;
    pcre2_real_code_8* m_pCode;
    uint32_t m_dwCaptureCount;
    bool m_bFixedShape;
    size_t m_nFixedLength;
    std::vector<FixedAtom> m_fixedAtoms;
};

} // namespace KrXmlLib16

#endif
