// An XSD pattern facet translated into a PCRE2 expression and compiled once, so that many
// values can be matched against it. MatchesPattern (functions.h) keeps such matchers in a cache.
#ifndef KRXMLLIB_PATTERNMATCHER_H
#define KRXMLLIB_PATTERNMATCHER_H

#include <cstddef>
#include <cstdint>
#include <string>

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
    std::string m_strTranslated;
    pcre2_real_code_8* m_pCode;
    uint32_t m_dwCaptureCount;
};

} // namespace KrXmlLib16

#endif
