// Fuzz target: Base64 and hex. The input as bytes must encode to texts that decode to the same
// bytes; the input as text must decode to bytes or the library's exception, and what it
// decodes to must encode and decode again to the same bytes. The decoder is held to the room
// it promises to need (strlen(text) bytes).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    if (nSize > 0x100000)
        return 0;

    // Bytes to text and back.
    CBinaryData bytes(const_cast<unsigned char*>(pData), static_cast<uint32_t>(nSize), false);
    {
        CBinaryData hex;
        hex.SetAsHexString(bytes.GetAsHexString().c_str());
        Check(hex == bytes);
        CBinaryData base64;
        base64.SetAsBase64(bytes.GetAsBase64().c_str());
        Check(base64 == bytes);
        Check(CConversions::hexBinaryFromString(CConversions::hexBinaryToString(bytes),
                                                CWhitespaceUtils::WhitespaceRule_Collapse) == bytes);
        Check(CConversions::base64BinaryFromString(CConversions::base64BinaryToString(bytes),
                                                   CWhitespaceUtils::WhitespaceRule_Collapse) == bytes);
    }

    // Text to bytes, in every whitespace rule, and back.
    const std::string strText(reinterpret_cast<const char*>(pData), nSize);
    for (int iRule = 0; iRule < 4; ++iRule)
    {
        const auto rule = static_cast<CWhitespaceUtils::WhitespaceRule>(iRule);
        try
        {
            const CBinaryData data = CConversions::hexBinaryFromString(strText, rule);
            const std::string strHex = CConversions::hexBinaryToString(data);
            Check(CConversions::hexBinaryFromString(strHex, CWhitespaceUtils::WhitespaceRule_None) == data);
        }
        catch (const CKrException&)
        {
        }
        try
        {
            const CBinaryData data = CConversions::base64BinaryFromString(strText, rule);
            const std::string strBase64 = CConversions::base64BinaryToString(data);
            Check(CConversions::base64BinaryFromString(strBase64, CWhitespaceUtils::WhitespaceRule_None) == data);
        }
        catch (const CKrException&)
        {
        }
    }

    // The codec alone on the text up to its first NUL, with exactly the room it asks for.
    const size_t nLen = std::strlen(strText.c_str());
    std::unique_ptr<unsigned char[]> spOut(new unsigned char[nLen ? nLen : 1]);
    CBase64 codec;
    const uint32_t dwDecoded = codec.Decode(strText.c_str(), spOut.get());
    Check(dwDecoded <= nLen);
    if (dwDecoded)
    {
        CBinaryData decoded(spOut.get(), dwDecoded, false);
        CBinaryData again;
        again.SetAsBase64(codec.Encode(spOut.get(), dwDecoded).c_str());
        Check(again == decoded);
    }
    return 0;
}
