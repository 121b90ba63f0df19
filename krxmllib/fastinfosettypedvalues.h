// Values of a Fast Infoset document in their typed binary forms: the ten built-in encoding
// algorithms (a 32-bit integer as four bytes, a boolean as bits) and the restricted alphabets
// (a date packed four bits to a character). The engine deals in texts only; these turn a
// value's text into the bytes of one form and the bytes of a form back into text, for the
// writer and the reader alike.
#ifndef KRXMLLIB_FASTINFOSETTYPEDVALUES_H
#define KRXMLLIB_FASTINFOSETTYPEDVALUES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "binarydata.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

// The built-in encoding algorithms by their table index.
enum FIEncodingAlgorithm : uint32_t
{
    FIAlgorithm_Hexadecimal = 1,
    FIAlgorithm_Base64 = 2,
    FIAlgorithm_Short = 3,    // 2 bytes per value, signed, big-endian
    FIAlgorithm_Int = 4,      // 4 bytes
    FIAlgorithm_Long = 5,     // 8 bytes
    FIAlgorithm_Boolean = 6,  // bits, behind a count of the unused ones
    FIAlgorithm_Float = 7,    // IEEE 754 single, big-endian
    FIAlgorithm_Double = 8,   // IEEE 754 double
    FIAlgorithm_Uuid = 9,     // 16 bytes per value
    FIAlgorithm_CData = 10    // the text as UTF-8, marking a CDATA section
};

class KRXML_API CFastInfosetBinaryData : public CBinaryData
{
public:
    CFastInfosetBinaryData() = default;
    CFastInfosetBinaryData(const CBinaryData& data) : CBinaryData(data) {}
    CFastInfosetBinaryData(unsigned char* const data, uint32_t length, bool takeOwnership)
        : CBinaryData(data, length, takeOwnership)
    {
    }
    CFastInfosetBinaryData(const char* text) : CBinaryData(text) {}
    virtual ~CFastInfosetBinaryData();

    // The text of the values held, for algorithms 1 to 9, joined by one blank where the bytes
    // hold several; "" for an object without bytes.
    std::string GetAsString(uint32_t dwAlgorithm) const;
    // Replaces the bytes by those of the one value lpValue, for algorithms 1 to 10.
    void SetAsEncodedString(uint32_t dwAlgorithm, const char* lpValue);

    // The same for a restricted alphabet: the characters' positions packed into the fewest
    // bits that leave the all-ones item free as the end. Writing takes alphabets of 4 and 8
    // bits a character; reading takes any width.
    std::string GetAsRestrictedAlphabetString(const std::string& strAlphabet) const;
    void SetAsRestrictedAlphabetString(const std::string& strAlphabet, const char* lpValue);

    // The forms above on the caller's buffers, which keep their capacity, so that a writer
    // and a reader convert value after value without allocating. Encoding replaces the
    // content of out; decoding replaces that of strOut.
    static void EncodeAlgorithm(uint32_t dwAlgorithm, const std::string& strValue, std::vector<unsigned char>& out);
    static void DecodeAlgorithm(uint32_t dwAlgorithm, const unsigned char* pData, uint32_t dwLen, std::string& strOut);
    static void EncodeRestrictedAlphabet(const std::string& strAlphabet, const char* pText, size_t nLen,
                                         std::vector<unsigned char>& out);
    static void DecodeRestrictedAlphabet(const std::string& strAlphabet, const unsigned char* pData, uint32_t dwLen,
                                         std::string& strOut);

    // Bits a character of the alphabet takes: the smallest width from 2 up whose power of two
    // exceeds the count, or 0 for an alphabet of fewer than 2 or more than 2^20 characters.
    static uint32_t RestrictedAlphabetBitWidth(const std::string& strAlphabet);
};

} // namespace KrXmlLib16

#endif
