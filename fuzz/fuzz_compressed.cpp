// Fuzz target: compressed bytes through CKrZip and the byte roads of the document, untyped
// content and JSON. The first byte picks how the rest is given: as it stands (for compressed
// seeds and their damaged forms), or deflated here as gzip, zlib or two gzip members one
// after the other, so that well-formed streams of fuzzed content are explored as well. The
// decompression limits are small, so that a bomb costs little.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <zlib.h>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

namespace {

// windowBits 31 gives gzip, 15 zlib.
void Deflate(const uint8_t* pData, size_t nSize, int nWindowBits, std::vector<unsigned char>& out)
{
    z_stream zs;
    std::memset(&zs, 0, sizeof(zs));
    Check(deflateInit2(&zs, Z_BEST_SPEED, Z_DEFLATED, nWindowBits, 8, Z_DEFAULT_STRATEGY) == Z_OK);
    const size_t nStart = out.size();
    out.resize(nStart + deflateBound(&zs, static_cast<uLong>(nSize)));
    zs.next_in = const_cast<Bytef*>(pData);
    zs.avail_in = static_cast<uInt>(nSize);
    zs.next_out = out.data() + nStart;
    zs.avail_out = static_cast<uInt>(out.size() - nStart);
    Check(deflate(&zs, Z_FINISH) == Z_STREAM_END);
    out.resize(nStart + zs.total_out);
    deflateEnd(&zs);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    static const bool s_bLimits = [] {
        SetMaxDecompressedSize(1024 * 1024);
        SetMaxDecompressionRatio(200);
        return true;
    }();
    (void)s_bLimits;
    if (nSize < 2 || nSize > 0x100000)
        return 0;
    std::vector<unsigned char> bytes;
    const uint8_t* pRest = pData + 1;
    const size_t nRest = nSize - 1;
    switch (pData[0] % 4)
    {
    case 0:
        bytes.assign(pRest, pRest + nRest);
        break;
    case 1:
        Deflate(pRest, nRest, 31, bytes);
        break;
    case 2:
        Deflate(pRest, nRest, 15, bytes);
        break;
    default:
        Deflate(pRest, nRest / 2, 31, bytes);
        Deflate(pRest + nRest / 2, nRest - nRest / 2, 31, bytes);
        break;
    }
    const uint32_t dwLen = static_cast<uint32_t>(bytes.size());

    // CKrZip alone: the buffer is replaced by the content, or stays exactly as it was.
    {
        uint32_t dwOut = dwLen;
        unsigned char* pBuffer = new unsigned char[dwLen];
        std::memcpy(pBuffer, bytes.data(), dwLen);
        unsigned char* const pIn = pBuffer;
        try
        {
            CKrZip::Decompress(&pBuffer, &dwOut);
            if (!CKrZip::IsCompressed(bytes.data(), dwLen))
                Check(pBuffer == pIn && dwOut == dwLen);
            if (pBuffer == pIn)
                Check(dwOut == dwLen && std::memcmp(pBuffer, bytes.data(), dwLen) == 0);
            else if (pData[0] % 4 != 0)
                Check(dwOut == nRest && std::memcmp(pBuffer, pRest, nRest) == 0);
        }
        catch (const CKrException&)
        {
            Check(pBuffer == pIn && dwOut == dwLen && std::memcmp(pBuffer, bytes.data(), dwLen) == 0);
        }
        delete[] pBuffer;
    }

    // The byte roads, each on its own copy, since a road may work in the buffer it is given.
    try
    {
        std::vector<unsigned char> copy(bytes);
        CXmlDocument doc;
        doc.LoadXmlStream(copy.data(), dwLen);
    }
    catch (const CKrException&)
    {
    }
    try
    {
        CXmlDocument doc;
        doc.ParseInPlace(bytes.data(), dwLen);
    }
    catch (const CKrException&)
    {
    }
    try
    {
        std::vector<unsigned char> copy(bytes);
        CSmartPtr<CElement> spElement(new CElement(""));
        spElement->FromXmlStream(copy.data(), dwLen, CSerializationContext::GetDefaultContext());
    }
    catch (const CKrException&)
    {
    }
    try
    {
        std::vector<unsigned char> copy(bytes);
        CSmartPtr<CElement> spElement(new CElement(""));
        spElement->FromJsonStream(copy.data(), dwLen, CSerializationContext::GetDefaultContext());
    }
    catch (const CKrException&)
    {
    }
    return 0;
}
