// Bytes for the Fast Infoset tests, written as "E0 00 'abc' 01": hexadecimal octets and
// single-quoted text, shown back the same way so that a failing comparison reads as bytes.
#ifndef KRXML_FITESTSUPPORT_H
#define KRXML_FITESTSUPPORT_H

#include <cctype>
#include <cstdio>
#include <string>

#include "binarydata.h"

namespace KrXmlTest {

inline std::string Bytes(const std::string& strBytesText)
{
    std::string strOut;
    for (size_t i = 0; i < strBytesText.size();)
    {
        char c = strBytesText[i];
        if (c == ' ')
            ++i;
        else if (c == '\'')
        {
            size_t nEnd = strBytesText.find('\'', i + 1);
            strOut += strBytesText.substr(i + 1, nEnd - i - 1);
            i = nEnd + 1;
        }
        else
        {
            strOut += static_cast<char>(std::stoi(strBytesText.substr(i, 2), nullptr, 16));
            i += 2;
        }
    }
    return strOut;
}

inline std::string Hex(const std::string& strBytes)
{
    std::string strOut;
    char sz[4];
    for (unsigned char c : strBytes)
    {
        std::snprintf(sz, sizeof(sz), strOut.empty() ? "%02X" : " %02X", c);
        strOut += sz;
    }
    return strOut;
}

inline std::string Hex(const char* lpBytes)
{
    return Hex(std::string(lpBytes));
}

inline std::string Hex(const KrXmlLib16::CBinaryData& data)
{
    return Hex(std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength()));
}

// Hex of bytes written as above, for comparison with Hex of output.
inline std::string HexOf(const std::string& strBytesText)
{
    return Hex(Bytes(strBytesText));
}

} // namespace KrXmlTest

#endif
