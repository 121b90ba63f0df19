// Line ends and indentation shared by the text writers (XML and JSON).
#ifndef KRXMLLIB_TEXTLAYOUT_H
#define KRXMLLIB_TEXTLAYOUT_H

#include <cstddef>
#include <string>

#include "krexception.h"
#include "xmlenums.h"

namespace KrXmlLib16 {

// The text of a line end; other values than LF and CRLF are refused.
inline const char* EolText(EOLType eEOLType)
{
    switch (eEOLType)
    {
    case EOLType_CRLF: return "\r\n";
    case EOLType_LF: return "\n";
    default: throw CKrException("Invalid EOL type.");
    }
}

// nLevels times strIndent, taken from strRun, which keeps the indent repeated for at least 16
// levels so that an indent is one write; answers the number of bytes at strRun.data().
inline size_t IndentRun(std::string& strRun, const std::string& strIndent, int nLevels)
{
    const size_t nNeed = static_cast<size_t>(nLevels) * strIndent.size();
    if (strRun.size() < nNeed)
    {
        const size_t nRun = static_cast<size_t>(nLevels) < 16 ? 16 : 2 * static_cast<size_t>(nLevels);
        strRun.clear();
        strRun.reserve(nRun * strIndent.size());
        for (size_t i = 0; i < nRun; ++i)
            strRun += strIndent;
    }
    return nNeed;
}

} // namespace KrXmlLib16

#endif
