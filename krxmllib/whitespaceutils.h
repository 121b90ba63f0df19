// The schema's whitespace rule, applied to a value's text before it is converted.
#ifndef KRXMLLIB_WHITESPACEUTILS_H
#define KRXMLLIB_WHITESPACEUTILS_H

#include <string>

#include "krxmlexport.h"

namespace KrXmlLib16 {

class KRXML_API CWhitespaceUtils
{
public:
    enum WhitespaceRule : int
    {
        WhitespaceRule_None = 0,      // used as it stands
        WhitespaceRule_Preserve = 1,  // line ends normalised to LF
        WhitespaceRule_Replace = 2,   // each whitespace character becomes a blank
        WhitespaceRule_Collapse = 3   // runs collapse to one blank, ends trimmed
    };

    static std::string ApplyRule(WhitespaceRule rule, const std::string& value);
    static std::string Preserve(const std::string& value);
    static std::string Preserve(const char* text, int length);
    static std::string Replace(const std::string& value);
    static std::string Collapse(const std::string& value);
    static bool IsWhiteSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
};

} // namespace KrXmlLib16

#endif
