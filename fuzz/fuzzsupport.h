// What the fuzz targets share: the check that ends a run with a finding, the split of one
// input into several texts, and the bound that keeps number texts inside what a target explores.
#ifndef KRXML_FUZZ_FUZZSUPPORT_H
#define KRXML_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace KrXmlFuzz {

// A broken invariant is a finding: abort, so that libFuzzer keeps the input.
inline void Check(bool b)
{
    if (!b)
        std::abort();
}

// The input cut at each newline into at most nParts texts; the last part keeps the rest.
inline std::vector<std::string> Split(const uint8_t* pData, size_t nSize, size_t nParts)
{
    std::vector<std::string> parts(1);
    for (size_t i = 0; i < nSize; ++i)
    {
        if (pData[i] == '\n' && parts.size() < nParts)
            parts.emplace_back();
        else
            parts.back() += static_cast<char>(pData[i]);
    }
    parts.resize(nParts);
    return parts;
}

// True when the text holds an exponent ("e" or "E", a sign, digits) above nMax: such a
// number has as many digits as its exponent says, and a few of them are all the arithmetic
// needs to be explored.
inline bool HasExponentAbove(const std::string& str, unsigned long nMax)
{
    for (size_t i = 0; i < str.size(); ++i)
    {
        if (str[i] != 'e' && str[i] != 'E')
            continue;
        size_t j = i + 1;
        while (j < str.size() && (str[j] == '+' || str[j] == '-' || str[j] == ' ' || str[j] == '\t' || str[j] == '\r' || str[j] == '\n'))
            ++j;
        unsigned long n = 0;
        for (; j < str.size() && str[j] >= '0' && str[j] <= '9'; ++j)
        {
            n = n * 10 + static_cast<unsigned long>(str[j] - '0');
            if (n > nMax)
                return true;
        }
    }
    return false;
}

// True when UTF-8 bytes hold U+FFFE or U+FFFF, characters that XML text can't carry.
inline bool HoldsNonCharacter(const unsigned char* p, size_t n)
{
    for (size_t i = 0; i + 2 < n; ++i)
        if (p[i] == 0xEF && p[i + 1] == 0xBF && (p[i + 2] == 0xBE || p[i + 2] == 0xBF))
            return true;
    return false;
}

} // namespace KrXmlFuzz

#endif
