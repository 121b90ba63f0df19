#include "encoder.h"

#include <cassert>
#include <cstring>
#include <memory>

#include "functions.h"
#include "krexception.h"
#include "platform.h"

namespace KrXmlLib16 {

namespace {

// True if no byte is above 127; eight bytes at a time.
bool IsAscii(const char* p, size_t n)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8)
    {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        if (w & 0x8080808080808080ull)
            return false;
    }
    for (; i < n; ++i)
        if (static_cast<unsigned char>(p[i]) > 127)
            return false;
    return true;
}

bool IsAscii(const unsigned short* p, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        if (p[i] > 127)
            return false;
    return true;
}

// Byte buffers are limited to 32-bit lengths.
uint32_t CheckedByteLength(size_t n)
{
    if (n > 0xFFFFFFFFu)
        throw CKrException("The text is too large for a byte buffer of 4 GB");
    return static_cast<uint32_t>(n);
}

CBinaryData CopyToBinary(const char* p, size_t n)
{
    uint32_t dwLen = CheckedByteLength(n);
    unsigned char* pOut = new unsigned char[dwLen];
    std::memcpy(pOut, p, dwLen);
    return CBinaryData(pOut, dwLen, true);
}

size_t WideLength(const unsigned short* p)
{
    size_t n = 0;
    if (p)
        while (p[n])
            ++n;
    return n;
}

} // namespace

// ---- identity check ----

CUtf8IdentityCheck::CUtf8IdentityCheck()
    : m_bPassThrough(g_bASCIIOnly), m_bUtf8Local(Platform::IsUtf8CodePage(g_uLocalCodePage)), m_bIdentity(true),
      m_iNeed(0), m_cLow(0x80), m_cHigh(0xBF)
{
}

void CUtf8IdentityCheck::Feed(const char* lpText, size_t nLen)
{
    if (m_bPassThrough || !m_bIdentity)
        return;
    if (!m_bUtf8Local)
    {
        m_bIdentity = IsAscii(lpText, nLen);
        return;
    }
    // A validating walk: overlong forms, surrogates and values beyond U+10FFFF are refused,
    // as the conversion through UTF-16 would replace them.
    const unsigned char* p = reinterpret_cast<const unsigned char*>(lpText);
    const unsigned char* pEnd = p + nLen;
    while (p < pEnd)
    {
        if (m_iNeed == 0)
        {
            while (pEnd - p >= 8)
            {
                uint64_t w;
                std::memcpy(&w, p, 8);
                if (w & 0x8080808080808080ull)
                    break;
                p += 8;
            }
            if (p == pEnd)
                break;
            unsigned char c = *p++;
            if (c < 0x80)
                continue;
            if (c >= 0xC2 && c <= 0xDF)
                m_iNeed = 1;
            else if (c >= 0xE0 && c <= 0xEF)
                m_iNeed = 2;
            else if (c >= 0xF0 && c <= 0xF4)
                m_iNeed = 3;
            else
            {
                m_bIdentity = false;
                return;
            }
            m_cLow = c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;
            m_cHigh = c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;
        }
        else
        {
            unsigned char c = *p++;
            if (c < m_cLow || c > m_cHigh)
            {
                m_bIdentity = false;
                return;
            }
            --m_iNeed;
            m_cLow = 0x80;
            m_cHigh = 0xBF;
        }
    }
}

// ---- local text to output bytes ----

CBinaryData LocalToUtf8(const char* lpText, size_t nLen)
{
    if (!lpText || nLen == 0)
        return CBinaryData();
    CUtf8IdentityCheck check;
    check.Feed(lpText, nLen);
    if (check.IsIdentity())
        return CopyToBinary(lpText, nLen);
    size_t nWide = Platform::LocalToWide(g_uLocalCodePage, lpText, nLen, nullptr, 0);
    std::unique_ptr<uint16_t[]> pWide(new uint16_t[nWide + 1]);
    Platform::LocalToWide(g_uLocalCodePage, lpText, nLen, pWide.get(), nWide);
    return WideToUtf8(pWide.get(), nWide);
}

CBinaryData LocalToUtf8(const char* lpText)
{
    return LocalToUtf8(lpText, lpText ? std::strlen(lpText) : 0);
}

CBinaryData LocalToUtf16(const char* lpText, size_t nLen)
{
    if (!lpText || nLen == 0)
        return CBinaryData();
    if (IsAscii(lpText, nLen))
    {
        uint32_t dwLen = CheckedByteLength(2 * nLen);
        unsigned char* pOut = new unsigned char[dwLen];
        for (size_t i = 0; i < nLen; ++i)
        {
            pOut[2 * i] = static_cast<unsigned char>(lpText[i]);
            pOut[2 * i + 1] = 0;
        }
        return CBinaryData(pOut, dwLen, true);
    }
    size_t nWide = Platform::LocalToWide(g_uLocalCodePage, lpText, nLen, nullptr, 0);
    std::unique_ptr<uint16_t[]> pWide(new uint16_t[nWide + 1]);
    Platform::LocalToWide(g_uLocalCodePage, lpText, nLen, pWide.get(), nWide);
    uint32_t dwLen = CheckedByteLength(2 * nWide);
    if (dwLen == 0)
        return CBinaryData();
    unsigned char* pOut = new unsigned char[dwLen];
    for (size_t i = 0; i < nWide; ++i)
    {
        pOut[2 * i] = static_cast<unsigned char>(pWide[i] & 0xFF);
        pOut[2 * i + 1] = static_cast<unsigned char>(pWide[i] >> 8);
    }
    return CBinaryData(pOut, dwLen, true);
}

CBinaryData LocalToUtf16(const char* lpText)
{
    return LocalToUtf16(lpText, lpText ? std::strlen(lpText) : 0);
}

CBinaryData WideToUtf8(const unsigned short* lpText, size_t nLen)
{
    if (!lpText || nLen == 0)
        return CBinaryData();
    const uint16_t* pText = reinterpret_cast<const uint16_t*>(lpText);
    // All ASCII: the output has one byte per unit and needs no counting pass.
    size_t nUtf8 = IsAscii(lpText, nLen) ? nLen : Platform::WideToUtf8(pText, nLen, nullptr, 0);
    uint32_t dwUtf8Len = CheckedByteLength(nUtf8);
    unsigned char* pOut = new unsigned char[dwUtf8Len];
    size_t dwActualLen = Platform::WideToUtf8(pText, nLen, reinterpret_cast<char*>(pOut), dwUtf8Len);
    assert(dwActualLen != 0);
    assert(dwActualLen == dwUtf8Len);
    (void)dwActualLen;
    return CBinaryData(pOut, dwUtf8Len, true);
}

CBinaryData WideToUtf8(const unsigned short* lpText)
{
    return WideToUtf8(lpText, WideLength(lpText));
}

std::string WideToLocal(const unsigned short* lpText, int iLen)
{
    size_t nLen = iLen < 0 ? WideLength(lpText) : static_cast<size_t>(iLen);
    std::string strResult;
    if (!lpText || nLen == 0)
        return strResult;
    if (IsAscii(lpText, nLen))
    {
        strResult.resize(nLen);
        for (size_t i = 0; i < nLen; ++i)
            strResult[i] = static_cast<char>(lpText[i]);
        return strResult;
    }
    const uint16_t* pText = reinterpret_cast<const uint16_t*>(lpText);
    size_t nLocal = Platform::WideToLocal(g_uLocalCodePage, pText, nLen, nullptr, 0);
    strResult.resize(nLocal);
    if (nLocal)
        Platform::WideToLocal(g_uLocalCodePage, pText, nLen, &strResult[0], nLocal);
    return strResult;
}

void Utf8ToLocal(std::string& strOut, const char* lpText, size_t nLen, uint16_t* pWideScratch, size_t nWideCap)
{
    // With a UTF-8 local code page, or by request, the bytes stay as they are.
    if (g_bASCIIOnly || Platform::IsUtf8CodePage(g_uLocalCodePage) || nLen == 0)
    {
        strOut.assign(lpText, nLen);
        return;
    }
    std::unique_ptr<uint16_t[]> pOwnedWide;
    size_t nWide;
    bool bAscii = true;
    for (size_t i = 0; i < nLen; ++i)
        if (static_cast<unsigned char>(lpText[i]) > 127)
        {
            bAscii = false;
            break;
        }
    if (bAscii)
    {
        // ASCII is the same in every code page we support as local.
        strOut.assign(lpText, nLen);
        return;
    }
    nWide = Platform::Utf8ToWide(lpText, nLen, nullptr, 0);
    if (nWide + 1 > nWideCap || !pWideScratch)
    {
        pOwnedWide.reset(new uint16_t[nWide + 1]);
        pWideScratch = pOwnedWide.get();
    }
    Platform::Utf8ToWide(lpText, nLen, pWideScratch, nWide);
    size_t nLocal = Platform::WideToLocal(g_uLocalCodePage, pWideScratch, nWide, nullptr, 0);
    strOut.resize(nLocal);
    if (nLocal)
        Platform::WideToLocal(g_uLocalCodePage, pWideScratch, nWide, &strOut[0], nLocal);
}

std::string Utf8ToLocal(const char* lpText, size_t nLen, uint16_t* pWideScratch, size_t nWideCap,
                        char* pNarrowScratch, size_t nNarrowCap)
{
    (void)pNarrowScratch;  // the result string is the narrow buffer
    (void)nNarrowCap;
    std::string strResult;
    Utf8ToLocal(strResult, lpText, nLen, pWideScratch, nWideCap);
    return strResult;
}

std::string Utf8ToLocal(const char* lpText, size_t nLen)
{
    std::string strResult;
    Utf8ToLocal(strResult, lpText, nLen);
    return strResult;
}

std::string Utf8ToLocal(const char* lpText)
{
    return lpText ? Utf8ToLocal(lpText, std::strlen(lpText)) : std::string();
}

} // namespace KrXmlLib16
