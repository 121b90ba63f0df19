#include "encoder.h"

#include <cstring>
#include <memory>

#include "functions.h"
#include "platform.h"

namespace KrXmlLib16 {

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
