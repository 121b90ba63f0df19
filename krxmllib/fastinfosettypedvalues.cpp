#include "fastinfosettypedvalues.h"

#include <cstring>

#include "conversions.h"
#include "encoder.h"
#include "krexception.h"
#include "valuescratch.h"

namespace KrXmlLib16 {

namespace {

const CWhitespaceUtils::WhitespaceRule kAsItStands = CWhitespaceUtils::WhitespaceRule_None;

[[noreturn]] void ThrowUnknownAlgorithm()
{
    throw CKrException("Unknown byte encoding.");
}

template <typename T>
void AppendBigEndian(std::vector<unsigned char>& out, T value)
{
    uint64_t v = static_cast<uint64_t>(value);
    for (size_t i = sizeof(T); i-- > 0;)
        out.push_back(static_cast<unsigned char>(v >> (8 * i)));
}

template <typename T>
T ReadBigEndian(const unsigned char* p)
{
    uint64_t v = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        v = (v << 8) | p[i];
    return static_cast<T>(v);
}

void EncodeHex(const std::string& strValue, std::vector<unsigned char>& out)
{
    size_t n = strValue.size();
    bool bValid = n % 2 == 0;
    for (size_t i = 0; bValid && i < n; i += 2)
    {
        int hi = Internal::HexDigitValue(strValue[i]), lo = Internal::HexDigitValue(strValue[i + 1]);
        if (hi < 0 || lo < 0)
            bValid = false;
        else
            out.push_back(static_cast<unsigned char>((hi << 4) | lo));
    }
    if (bValid)
        return;
    // The text conversion says what is wrong, in the words it uses everywhere else.
    out.clear();
    CBinaryData data = CConversions::hexBinaryFromString(strValue, kAsItStands);
    out.assign(data.GetData(), data.GetData() + data.GetLength());
}

void EncodeBase64(const std::string& strValue, std::vector<unsigned char>& out)
{
    uint32_t dwLen = 0;
    if (!std::memchr(strValue.data(), '\0', strValue.size()))
    {
        out.resize(strValue.size() + 1);
        CBase64 codec;
        dwLen = codec.Decode(strValue.c_str(), out.data());
        out.resize(dwLen);
    }
    if (dwLen == 0)
    {
        // Nothing decoded: either the text holds only padding and blanks, or it is refused.
        CBinaryData data = CConversions::base64BinaryFromString(strValue, kAsItStands);
        out.assign(data.GetData(), data.GetData() + data.GetLength());
    }
}

void AppendUtf8(const std::string& strValue, std::vector<unsigned char>& out)
{
    CUtf8IdentityCheck check;
    check.Feed(strValue.data(), strValue.size());
    if (check.IsIdentity())
    {
        out.insert(out.end(), strValue.begin(), strValue.end());
        return;
    }
    CBinaryData data = LocalToUtf8(strValue.data(), strValue.size());
    out.insert(out.end(), data.GetData(), data.GetData() + data.GetLength());
}

// Items of a fixed size, each by its text, joined by blanks.
template <typename Fn>
void DecodeItems(const unsigned char* pData, uint32_t dwLen, uint32_t dwItemSize, const char* lpMessage,
                 std::string& strOut, Fn itemText)
{
    if (dwLen % dwItemSize != 0)
        throw CKrException(lpMessage);
    for (uint32_t i = 0; i < dwLen; i += dwItemSize)
    {
        if (i)
            strOut += ' ';
        strOut += itemText(pData + i);
    }
}

void DecodeBooleans(const unsigned char* pData, uint32_t dwLen, std::string& strOut)
{
    // The high nibble of the first byte counts the unused bits at the end of the last one.
    uint32_t dwUnused = pData[0] >> 4;
    if (dwUnused > (dwLen == 1 ? 3u : 7u))
        throw CKrException("Invalid value for BOOLEAN byte encoding.");
    uint64_t qwValues = 4 + 8 * static_cast<uint64_t>(dwLen - 1) - dwUnused;
    for (uint64_t i = 0; i < qwValues; ++i)
    {
        uint64_t qwBit = 4 + i;  // counted from the top bit of the first byte
        bool b = (pData[qwBit / 8] >> (7 - qwBit % 8)) & 1;
        if (i)
            strOut += ' ';
        strOut += CConversions::booleanToString(b);
    }
}

} // namespace

CFastInfosetBinaryData::~CFastInfosetBinaryData() = default;

// ---- encoding algorithms ----

void CFastInfosetBinaryData::EncodeAlgorithm(uint32_t dwAlgorithm, const std::string& strValue,
                                             std::vector<unsigned char>& out)
{
    out.clear();
    switch (dwAlgorithm)
    {
    case FIAlgorithm_Hexadecimal: EncodeHex(strValue, out); break;
    case FIAlgorithm_Base64: EncodeBase64(strValue, out); break;
    case FIAlgorithm_Short: AppendBigEndian(out, CConversions::i2FromString(strValue, kAsItStands)); break;
    case FIAlgorithm_Int: AppendBigEndian(out, CConversions::i4FromString(strValue, kAsItStands)); break;
    case FIAlgorithm_Long: AppendBigEndian(out, CConversions::i8FromString(strValue, kAsItStands)); break;
    case FIAlgorithm_Boolean:
        // One value, with three of the first byte's four value bits unused.
        out.push_back(CConversions::booleanFromString(strValue, kAsItStands) ? 0x38 : 0x30);
        break;
    case FIAlgorithm_Float:
    {
        float f = CConversions::r4FromString(strValue, kAsItStands);
        uint32_t dwBits;
        std::memcpy(&dwBits, &f, sizeof(dwBits));
        AppendBigEndian(out, dwBits);
        break;
    }
    case FIAlgorithm_Double:
    {
        double d = CConversions::r8FromString(strValue, kAsItStands);
        uint64_t qwBits;
        std::memcpy(&qwBits, &d, sizeof(qwBits));
        AppendBigEndian(out, qwBits);
        break;
    }
    case FIAlgorithm_Uuid:
        EncodeHex(strValue, out);
        // Bytes that aren't whole identifiers could never be read back.
        if (out.size() % 16 != 0)
            throw CKrException("Invalid value for UUID byte encoding.");
        break;
    case FIAlgorithm_CData: AppendUtf8(strValue, out); break;
    default: ThrowUnknownAlgorithm();
    }
}

void CFastInfosetBinaryData::DecodeAlgorithm(uint32_t dwAlgorithm, const unsigned char* pData, uint32_t dwLen,
                                             std::string& strOut)
{
    strOut.clear();
    if (dwLen == 0)
        return;
    switch (dwAlgorithm)
    {
    case FIAlgorithm_Hexadecimal: strOut = CBinaryData::GetAsHexString(const_cast<unsigned char*>(pData), dwLen); break;
    case FIAlgorithm_Base64:
    {
        CBase64 codec;
        strOut = codec.Encode(pData, dwLen);
        break;
    }
    case FIAlgorithm_Short:
        DecodeItems(pData, dwLen, 2, "Invalid value for SHORT byte encoding.", strOut,
                    [](const unsigned char* p) { return CConversions::i2ToString(ReadBigEndian<int16_t>(p)); });
        break;
    case FIAlgorithm_Int:
        DecodeItems(pData, dwLen, 4, "Invalid value for INT byte encoding.", strOut,
                    [](const unsigned char* p) { return CConversions::i4ToString(ReadBigEndian<int32_t>(p)); });
        break;
    case FIAlgorithm_Long:
        DecodeItems(pData, dwLen, 8, "Invalid value for LONG byte encoding.", strOut,
                    [](const unsigned char* p) { return CConversions::i8ToString(ReadBigEndian<int64_t>(p)); });
        break;
    case FIAlgorithm_Boolean: DecodeBooleans(pData, dwLen, strOut); break;
    case FIAlgorithm_Float:
        DecodeItems(pData, dwLen, 4, "Invalid value for FLOAT byte encoding.", strOut, [](const unsigned char* p) {
            uint32_t dwBits = ReadBigEndian<uint32_t>(p);
            float f;
            std::memcpy(&f, &dwBits, sizeof(f));
            return CConversions::r4ToString(f);
        });
        break;
    case FIAlgorithm_Double:
        DecodeItems(pData, dwLen, 8, "Invalid value for DOUBLE byte encoding.", strOut, [](const unsigned char* p) {
            uint64_t qwBits = ReadBigEndian<uint64_t>(p);
            double d;
            std::memcpy(&d, &qwBits, sizeof(d));
            return CConversions::r8ToString(d);
        });
        break;
    case FIAlgorithm_Uuid:
        DecodeItems(pData, dwLen, 16, "Invalid value for UUID byte encoding.", strOut, [](const unsigned char* p) {
            return CBinaryData::GetAsHexString(const_cast<unsigned char*>(p), 16);
        });
        break;
    default: ThrowUnknownAlgorithm();  // cdata is text, which the reader takes as UTF-8 itself
    }
}

std::string CFastInfosetBinaryData::GetAsString(uint32_t dwAlgorithm) const
{
    std::string strResult;
    DecodeAlgorithm(dwAlgorithm, GetData(), GetLength(), strResult);
    return strResult;
}

void CFastInfosetBinaryData::SetAsEncodedString(uint32_t dwAlgorithm, const char* lpValue)
{
    Clear();
    std::vector<unsigned char> bytes;
    EncodeAlgorithm(dwAlgorithm, lpValue ? lpValue : "", bytes);
    Append(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

// ---- restricted alphabets ----

uint32_t CFastInfosetBinaryData::RestrictedAlphabetBitWidth(const std::string& strAlphabet)
{
    size_t nCount = strAlphabet.size();
    if (nCount < 2 || nCount > (1u << 20))
        return 0;
    uint32_t dwWidth = 2;
    while ((size_t(1) << dwWidth) <= nCount)
        ++dwWidth;
    return dwWidth;
}

void CFastInfosetBinaryData::EncodeRestrictedAlphabet(const std::string& strAlphabet, const char* pText, size_t nLen,
                                                      std::vector<unsigned char>& out)
{
    out.clear();
    uint32_t dwWidth = RestrictedAlphabetBitWidth(strAlphabet);
    if (dwWidth == 0)
        throw CKrException("Failed to write FastInfoset. Invalid Restricted Alphabet. Alphabet must contain between 2 "
                           "and 2^20 characters.");
    if (dwWidth != 4 && dwWidth != 8)
        throw CKrException("Failed to write FastInfoset. Unsupported Feature in AppendRestrictedAlphabetString.");
    unsigned int uPending = 0x100;  // a high nibble waiting for its partner; 0x100: none
    for (size_t i = 0; i < nLen; ++i)
    {
        const void* pFound = std::memchr(strAlphabet.data(), pText[i], strAlphabet.size());
        if (!pFound)
            throw CKrException("Failed to write FastInfoset. Invalid character not found for Restricted Alphabet.");
        unsigned int uPos = static_cast<unsigned int>(static_cast<const char*>(pFound) - strAlphabet.data());
        if (dwWidth == 8)
            out.push_back(static_cast<unsigned char>(uPos));
        else if (uPending == 0x100)
            uPending = uPos << 4;
        else
        {
            out.push_back(static_cast<unsigned char>(uPending | uPos));
            uPending = 0x100;
        }
    }
    // An odd count ends on the terminator in the last low nibble.
    if (uPending != 0x100)
        out.push_back(static_cast<unsigned char>(uPending | 0x0F));
}

void CFastInfosetBinaryData::DecodeRestrictedAlphabet(const std::string& strAlphabet, const unsigned char* pData,
                                                      uint32_t dwLen, std::string& strOut)
{
    strOut.clear();
    uint32_t dwWidth = RestrictedAlphabetBitWidth(strAlphabet);
    if (dwWidth == 0)
        throw CKrException("Failed to parse FastInfoset. Invalid Encoding of Restricted Alphabet. Alphabet must "
                           "contain between 2 and 2^20 characters.");
    const uint32_t dwEnd = (1u << dwWidth) - 1;  // the all-ones item ends the string
    uint64_t qwBits = 0;                          // bits read but not yet taken, at the low end
    uint32_t dwHave = 0;
    for (uint32_t i = 0; i < dwLen; ++i)
    {
        qwBits = (qwBits << 8) | pData[i];
        dwHave += 8;
        while (dwHave >= dwWidth)
        {
            dwHave -= dwWidth;
            uint32_t dwItem = static_cast<uint32_t>(qwBits >> dwHave) & dwEnd;
            if (dwItem == dwEnd)
                return;
            if (dwItem >= strAlphabet.size())
                throw CKrException("Failed to parse FastInfoset. Invalid character index in Restricted Alphabet string.");
            strOut += strAlphabet[dwItem];
        }
        qwBits &= (uint64_t(1) << dwHave) - 1;
    }
}

std::string CFastInfosetBinaryData::GetAsRestrictedAlphabetString(const std::string& strAlphabet) const
{
    std::string strResult;
    DecodeRestrictedAlphabet(strAlphabet, GetData(), GetLength(), strResult);
    return strResult;
}

void CFastInfosetBinaryData::SetAsRestrictedAlphabetString(const std::string& strAlphabet, const char* lpValue)
{
    Clear();
    std::vector<unsigned char> bytes;
    const char* p = lpValue ? lpValue : "";
    EncodeRestrictedAlphabet(strAlphabet, p, std::strlen(p), bytes);
    Append(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

} // namespace KrXmlLib16
