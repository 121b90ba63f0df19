#include "whitespaceutils.h"

#include <cstring>

#include "krexception.h"

namespace KrXmlLib16 {

std::string CWhitespaceUtils::ApplyRule(WhitespaceRule rule, const std::string& value)
{
    switch (rule)
    {
    case WhitespaceRule_None: return value;
    case WhitespaceRule_Preserve: return Preserve(value);
    case WhitespaceRule_Replace: return Replace(value);
    case WhitespaceRule_Collapse: return Collapse(value);
    }
    throw CKrException("Unknown WhitespaceRule");
}

std::string CWhitespaceUtils::Preserve(const std::string& value)
{
    if (value.find('\r') == std::string::npos)
        return value;
    return Preserve(value.data(), static_cast<int>(value.size()));
}

std::string CWhitespaceUtils::Preserve(const char* text, int length)
{
    std::string strResult;
    if (!text || length <= 0)
        return strResult;
    strResult.reserve(static_cast<size_t>(length));
    for (int i = 0; i < length; ++i)
    {
        char c = text[i];
        if (c == '\r')
        {
            strResult += '\n';
            if (i + 1 < length && text[i + 1] == '\n')
                ++i;
        }
        else
            strResult += c;
    }
    return strResult;
}

std::string CWhitespaceUtils::Replace(const std::string& value)
{
    if (value.find_first_of("\r\n\t") == std::string::npos)
        return value;
    std::string strResult;
    strResult.reserve(value.size());
    for (size_t i = 0; i < value.size(); ++i)
    {
        char c = value[i];
        if (c == '\r')
        {
            strResult += ' ';
            if (i + 1 < value.size() && value[i + 1] == '\n')
                ++i;
        }
        else if (c == '\t' || c == '\n')
            strResult += ' ';
        else
            strResult += c;
    }
    return strResult;
}

std::string CWhitespaceUtils::Collapse(const std::string& value)
{
    std::string strResult;
    strResult.reserve(value.size());
    bool bLastWasSpace = true;
    for (char c : value)
    {
        if (IsWhiteSpace(c))
        {
            if (!bLastWasSpace)
                strResult += ' ';
            bLastWasSpace = true;
        }
        else
        {
            strResult += c;
            bLastWasSpace = false;
        }
    }
    if (!strResult.empty() && strResult.back() == ' ')
        strResult.pop_back();
    return strResult;
}

} // namespace KrXmlLib16
