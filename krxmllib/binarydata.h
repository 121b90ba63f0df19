// The library's byte buffer: copies share one counted block and split on the first write, so
// large outputs travel through return values without being copied.
#ifndef KRXMLLIB_BINARYDATA_H
#define KRXMLLIB_BINARYDATA_H

#include <cstdint>
#include <string>

#include "krxmlexport.h"

namespace KrXmlLib16 {

class CBinaryDataBuffer;

class KRXML_API CBinaryData
{
public:
    CBinaryData() : m_pBuffer(nullptr) {}
    CBinaryData(const CBinaryData& other);
    CBinaryData(CBinaryData&& other) noexcept : m_pBuffer(other.m_pBuffer) { other.m_pBuffer = nullptr; }
    // takeOwnership: adopt data, which must come from array new; else copy it.
    CBinaryData(unsigned char* const data, uint32_t length, bool takeOwnership);
    CBinaryData(const char* text);
    // Adopts bytes from malloc or realloc, which the data frees with free: the library hands
    // over output buffers so, without a copy.
    static CBinaryData AdoptAllocated(unsigned char* data, uint32_t length);
    CBinaryData& operator=(const CBinaryData& other);
    CBinaryData& operator=(CBinaryData&& other) noexcept;
    virtual ~CBinaryData();

    // Null for empty data; valid until the next change of this object.
    unsigned char* GetData() const;
    uint32_t GetLength() const;
    // Hands the bytes to the caller (free with delete[]); the object becomes empty.
    unsigned char* ReleaseData();

    const unsigned char& operator[](uint32_t index) const;
    unsigned char& operator[](uint32_t index);  // splits a shared block first
    bool operator==(const CBinaryData& other) const;
    bool operator!=(const CBinaryData& other) const { return !(*this == other); }

    void Clear();
    void Append(unsigned char* const data, uint32_t length);
    void Append(const unsigned char* data, uint32_t length) { Append(const_cast<unsigned char*>(data), length); }
    void Append(unsigned char b);
    void Append(char c);
    void Append(const char* text);
    void Append(const std::string& str);
    void Append(const CBinaryData& data);
    void SetBuffer(unsigned char* const data, uint32_t length);
    void SetBuffer(const char* text);

    std::string GetAsHexString() const;
    static std::string GetAsHexString(unsigned char* const data, uint32_t length);
    void SetAsHexString(const char* text);
    std::string GetAsBase64() const;
    // An illegal character, or nothing but whitespace and padding, gives empty data.
    void SetAsBase64(const char* text);

protected:
    // Decodes hex text into a new array (the caller adopts it); returns its length.
    static uint32_t ConvertToHexData(const char* text, unsigned char** output);

private:
    CBinaryDataBuffer* m_pBuffer;
};

} // namespace KrXmlLib16

// Base64 (RFC 4648, section 4) as a local object for one call.
class KRXML_API CBase64
{
public:
    CBase64() = default;
    virtual ~CBase64() = default;

    // No line breaks, at any length.
    std::string Encode(const unsigned char* data, uint32_t length);
    // Writes the decoded bytes to output (room for strlen(text) bytes is enough) and returns
    // their number; whitespace and '=' are skipped anywhere, any other foreign character
    // stops decoding with 0.
    uint32_t Decode(const char* text, unsigned char* output);

private:
    uint32_t m_uBits = 0;
    int m_nBits = 0;
    const char* m_lpInput = nullptr;
};

#endif
