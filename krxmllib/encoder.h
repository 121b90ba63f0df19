// Conversions between the local code page, UTF-8 and UTF-16. Every char string the library
// holds is in the local code page; UTF-8 exists only at the parser's edge and in output bytes,
// UTF-16 at the 16-bit entry points and in output bytes.
#ifndef KRXMLLIB_ENCODER_H
#define KRXMLLIB_ENCODER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "binarydata.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

// UTF-8 (the parser's text) to the local code page.
KRXML_API std::string Utf8ToLocal(const char* lpText);
KRXML_API std::string Utf8ToLocal(const char* lpText, size_t nLen);
// With caller scratch space for the wide and narrow intermediate forms; conversions that fit
// need no allocation.
KRXML_API std::string Utf8ToLocal(const char* lpText, size_t nLen, uint16_t* pWideScratch, size_t nWideCap,
                        char* pNarrowScratch, size_t nNarrowCap);
// Replaces the content of strOut; keeps its capacity, so that a reused string allocates
// only when it must grow.
KRXML_API void Utf8ToLocal(std::string& strOut, const char* lpText, size_t nLen, uint16_t* pWideScratch = nullptr,
                 size_t nWideCap = 0);

// Local text to UTF-8 bytes. Under ASCIIOnly the bytes are copied as they are.
KRXML_API CBinaryData LocalToUtf8(const char* lpText);
KRXML_API CBinaryData LocalToUtf8(const char* lpText, size_t nLen);
// Local text to UTF-16 little-endian bytes, without byte order mark or terminator. Always
// through the local code page, ASCIIOnly or not.
KRXML_API CBinaryData LocalToUtf16(const char* lpText);
KRXML_API CBinaryData LocalToUtf16(const char* lpText, size_t nLen);
// UTF-16 units to UTF-8 bytes; the first form stops at the terminating 0 unit.
KRXML_API CBinaryData WideToUtf8(const unsigned short* lpText);
KRXML_API CBinaryData WideToUtf8(const unsigned short* lpText, size_t nLen);
// UTF-16 units to the local code page; a negative iLen means up to the terminating 0 unit.
KRXML_API std::string WideToLocal(const unsigned short* lpText, int iLen);

// Tells, a piece at a time, whether local text would leave LocalToUtf8 unchanged, so that
// text held in several pieces can be copied to UTF-8 output without first being joined. The
// settings read are those in force when the check is made.
class KRXML_API CUtf8IdentityCheck
{
public:
    CUtf8IdentityCheck();
    void Feed(const char* lpText, size_t nLen);
    // True if all text fed so far, taken as a whole, is its own UTF-8 form.
    bool IsIdentity() const { return m_bIdentity && m_iNeed == 0; }

private:
    bool m_bPassThrough;  // ASCIIOnly: any bytes pass
    bool m_bUtf8Local;    // else: valid UTF-8 passes; in another code page only ASCII does
    bool m_bIdentity;
    int m_iNeed;          // continuation bytes still expected
    unsigned char m_cLow, m_cHigh;  // allowed range of the next continuation byte
};

} // namespace KrXmlLib16

#endif
