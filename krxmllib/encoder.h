// Conversions between the local code page, UTF-8 and UTF-16. Every char string the library
// holds is in the local code page; UTF-8 exists only at the parser's edge and in output bytes.
#ifndef KRXMLLIB_ENCODER_H
#define KRXMLLIB_ENCODER_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace KrXmlLib16 {

// UTF-8 (the parser's text) to the local code page.
std::string Utf8ToLocal(const char* lpText);
std::string Utf8ToLocal(const char* lpText, size_t nLen);
// With caller scratch space for the wide and narrow intermediate forms; conversions that fit
// need no allocation.
std::string Utf8ToLocal(const char* lpText, size_t nLen, uint16_t* pWideScratch, size_t nWideCap,
                        char* pNarrowScratch, size_t nNarrowCap);
// Replaces the content of strOut; keeps its capacity, so that a reused string allocates
// only when it must grow.
void Utf8ToLocal(std::string& strOut, const char* lpText, size_t nLen, uint16_t* pWideScratch = nullptr,
                 size_t nWideCap = 0);

} // namespace KrXmlLib16

#endif
