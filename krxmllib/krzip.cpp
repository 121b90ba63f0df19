#include "krzip.h"

#include <cstring>
#include <new>
#include <zlib.h>

#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

namespace {

const uint32_t kChunk = 65536;
// 15 bits of window, plus 16 for the gzip wrapper or plus 32 to detect gzip and zlib alike.
const int kGzipWindowBits = 15 + 16;
const int kDetectWindowBits = 15 + 32;

bool IsGzipStart(const unsigned char* p, uint32_t dwLen)
{
    return dwLen >= 2 && p[0] == 0x1F && p[1] == 0x8B;
}

// What zlib itself checks of a zlib header: deflate with a window of at most 32 KB, and the
// check bits. Input that fails this and isn't gzip can't be a stream, and plain input is
// passed over without setting up an inflater.
bool IsZlibStart(const unsigned char* p, uint32_t dwLen)
{
    return dwLen >= 2 && (p[0] & 0x0F) == Z_DEFLATED && (p[0] >> 4) <= 7 && ((p[0] << 8) | p[1]) % 31 == 0;
}

// The output of an inflate run, grown as the content arrives but never past the limit.
class COutput
{
public:
    explicit COutput(uint64_t qwLimit) : m_qwLimit(qwLimit) {}
    ~COutput() { delete[] m_pData; }
    COutput(const COutput&) = delete;
    COutput& operator=(const COutput&) = delete;

    // Room for at least one more byte; false when the limit is reached.
    bool Reserve(uint64_t qwHint)
    {
        if (m_dwLen < m_dwCapacity)
            return true;
        if (m_dwLen >= m_qwLimit)
            return false;
        uint64_t qwWant = m_dwCapacity ? uint64_t(m_dwCapacity) * 2 : qwHint;
        if (qwWant < uint64_t(m_dwLen) + kChunk)
            qwWant = uint64_t(m_dwLen) + kChunk;
        if (qwWant > m_qwLimit)
            qwWant = m_qwLimit;
        unsigned char* pNew = new unsigned char[qwWant];
        if (m_dwLen)
            std::memcpy(pNew, m_pData, m_dwLen);
        delete[] m_pData;
        m_pData = pNew;
        m_dwCapacity = static_cast<uint32_t>(qwWant);
        return true;
    }
    unsigned char* End() const { return m_pData + m_dwLen; }
    uint32_t Room() const { return m_dwCapacity - m_dwLen; }
    void Grow(uint32_t dwLen) { m_dwLen += dwLen; }
    uint32_t Length() const { return m_dwLen; }
    // The bytes, as an array even when there are none.
    unsigned char* Release()
    {
        unsigned char* p = m_pData ? m_pData : new unsigned char[1];
        m_pData = nullptr;
        return p;
    }

private:
    uint64_t m_qwLimit;
    unsigned char* m_pData = nullptr;
    uint32_t m_dwLen = 0;
    uint32_t m_dwCapacity = 0;
};

// The inflater's state, ended however the run ends.
struct CInflater
{
    z_stream zs;
    explicit CInflater(const unsigned char* pData, uint32_t dwLen)
    {
        std::memset(&zs, 0, sizeof(zs));
        zs.next_in = const_cast<Bytef*>(pData);
        zs.avail_in = dwLen;
        int iResult = inflateInit2(&zs, kDetectWindowBits);
        if (iResult == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (iResult != Z_OK)
            throw CKrException(FormatString("Failed to decompress data. [Error Code: %d]", iResult));
    }
    ~CInflater() { inflateEnd(&zs); }
    CInflater(const CInflater&) = delete;
    CInflater& operator=(const CInflater&) = delete;
};

[[noreturn]] void RaiseTooLarge(uint64_t qwLimit, uint64_t qwSizeLimit, uint64_t qwRatioLimit)
{
    if (qwLimit == qwSizeLimit)
        throw CKrException(FormatString("The decompressed input is larger than %llu bytes, the limit set by "
                                        "SetMaxDecompressedSize.",
                                        static_cast<unsigned long long>(qwLimit)));
    if (qwLimit == qwRatioLimit)
        throw CKrException(FormatString("The decompressed input is larger than %llu bytes, %u times its compressed "
                                        "size, the limit set by SetMaxDecompressionRatio.",
                                        static_cast<unsigned long long>(qwLimit), g_dwMaxDecompressionRatio));
    throw CKrException(FormatString("The decompressed input is larger than %llu bytes, the most one document holds.",
                                    static_cast<unsigned long long>(qwLimit)));
}

} // namespace

void CKrZip::Compress(unsigned char** ppData, uint32_t* pdwLen, CompressionType eType)
{
    if (eType != CompressionType_GZip && eType != CompressionType_ZLib)
        return;
    const uint32_t dwLen = *pdwLen;
    // The output may not be longer than the input: what doesn't shrink is refused, never
    // stored uncompressed.
    unsigned char* pOut = new unsigned char[dwLen ? dwLen : 1];
    z_stream zs;
    std::memset(&zs, 0, sizeof(zs));
    zs.next_in = *ppData;
    zs.avail_in = dwLen;
    zs.next_out = pOut;
    zs.avail_out = dwLen;
    // Level 1 in both wrappers: speed before size.
    int iResult = eType == CompressionType_GZip ? deflateInit2(&zs, 1, Z_DEFLATED, kGzipWindowBits, 8, Z_DEFAULT_STRATEGY)
                                                : deflateInit(&zs, 1);
    if (iResult != Z_OK)
    {
        delete[] pOut;
        if (iResult == Z_MEM_ERROR)
            throw std::bad_alloc();
        throw CKrException(FormatString("Failed to compress data. [Error Code: %d]", iResult));
    }
    deflate(&zs, Z_NO_FLUSH);
    iResult = deflate(&zs, Z_FINISH);
    deflateEnd(&zs);
    if (iResult != Z_STREAM_END)
    {
        delete[] pOut;
        throw CKrException(FormatString("Failed to compress data. [Error Code: %d]", iResult));
    }
    delete[] *ppData;
    *ppData = pOut;
    *pdwLen = static_cast<uint32_t>(zs.total_out);
}

bool CKrZip::IsCompressed(const unsigned char* pData, uint32_t dwLen)
{
    return pData && (IsGzipStart(pData, dwLen) || IsZlibStart(pData, dwLen));
}

void CKrZip::Decompress(unsigned char** ppData, uint32_t* pdwLen)
{
    const unsigned char* pIn = *ppData;
    const uint32_t dwIn = *pdwLen;
    if (!IsCompressed(pIn, dwIn))
        return;
    const bool bGzip = IsGzipStart(pIn, dwIn);

    // The smallest of the limits in force; a document's length is 32 bits whatever is set.
    const uint64_t qwSizeLimit = g_qwMaxDecompressedSize ? g_qwMaxDecompressedSize : ~0ull;
    const uint64_t qwRatioLimit = g_dwMaxDecompressionRatio ? uint64_t(dwIn) * g_dwMaxDecompressionRatio : ~0ull;
    uint64_t qwLimit = 0xFFFFFFFFull;
    if (qwSizeLimit < qwLimit)
        qwLimit = qwSizeLimit;
    if (qwRatioLimit < qwLimit)
        qwLimit = qwRatioLimit;

    // A gzip file ends with its content's length (modulo 4 GiB): a hint for the first
    // allocation, never trusted beyond the limit. zlib tells nothing; XML shrinks about fivefold.
    uint64_t qwHint = uint64_t(dwIn) * 4;
    if (bGzip && dwIn >= 18)
    {
        const unsigned char* p = pIn + dwIn - 4;
        uint32_t dwSize = p[0] | (p[1] << 8) | (p[2] << 16) | (uint32_t(p[3]) << 24);
        if (dwSize)
            qwHint = dwSize;
    }
    if (qwHint < kChunk)
        qwHint = kChunk;

    COutput out(qwLimit);
    CInflater inflater(pIn, dwIn);
    z_stream& zs = inflater.zs;
    int iResult = Z_OK;
    while (iResult == Z_OK)
    {
        if (!out.Reserve(qwHint))
        {
            // At the limit: the stream may end right here, or hold more.
            unsigned char byProbe;
            zs.next_out = &byProbe;
            zs.avail_out = 1;
            iResult = inflate(&zs, Z_NO_FLUSH);
            if (zs.avail_out == 0)
                RaiseTooLarge(qwLimit, qwSizeLimit, qwRatioLimit);
        }
        else
        {
            uint32_t dwRoom = out.Room() < kChunk ? out.Room() : kChunk;
            zs.next_out = out.End();
            zs.avail_out = dwRoom;
            iResult = inflate(&zs, Z_NO_FLUSH);
            out.Grow(dwRoom - zs.avail_out);
        }
        // gzip files may be members one after another, as concatenation makes them.
        if (iResult == Z_STREAM_END && bGzip && IsGzipStart(zs.next_in, zs.avail_in))
            iResult = inflateReset(&zs);
    }
    // Anything but a complete stream leaves the input as it was: plain text, or a damaged or
    // cut stream, which the parser then refuses.
    if (iResult != Z_STREAM_END)
        return;
    uint32_t dwOut = out.Length();
    delete[] *ppData;
    *ppData = out.Release();
    *pdwLen = dwOut;
}

void CKrZip::CompressBinaryData(CBinaryData& data, CompressionType eType)
{
    if (data.GetLength() == 0 || (eType != CompressionType_GZip && eType != CompressionType_ZLib))
        return;
    uint32_t dwLen = data.GetLength();
    unsigned char* p = data.ReleaseData();
    try
    {
        Compress(&p, &dwLen, eType);
    }
    catch (...)
    {
        data = CBinaryData(p, dwLen, true);
        throw;
    }
    data = CBinaryData(p, dwLen, true);
}

} // namespace KrXmlLib16
