// Fuzz target: any bytes behind a Fast Infoset header, through the document loader and through
// untyped content, must end in a tree or the library's exception. Input that brings its own
// header (or a declaration in front of it) is taken as it is, so that the seed documents stay
// documents. Built for libFuzzer with clang (-fsanitize=fuzzer), or with the replay driver
// below, which runs the target over files given on the command line.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "krxmllib.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    if (nSize > 0xFFFFFFF0u)
        return 0;
    static const unsigned char kHeader[4] = {0xE0, 0x00, 0x00, 0x01};
    std::vector<unsigned char> bytes;
    if (!(nSize >= 4 && std::memcmp(pData, kHeader, 4) == 0) && !(nSize >= 5 && std::memcmp(pData, "<?xml", 5) == 0))
        bytes.assign(kHeader, kHeader + 4);
    bytes.insert(bytes.end(), pData, pData + nSize);
    try
    {
        CXmlDocument doc;
        doc.LoadXmlStream(bytes.data(), static_cast<uint32_t>(bytes.size()));
        if (const CXmlElement* pRoot = doc.GetDocumentElement())
            (void)pRoot->GetXPath();
    }
    catch (const CKrException&)
    {
    }
    try
    {
        CSerializationContext ctx;
        ctx.SetStripCDATA(false);
        CSmartPtr<CElement> spRoot(new CElement(""));
        spRoot->FromXmlStream(bytes.data(), static_cast<uint32_t>(bytes.size()), ctx);
    }
    catch (const CKrException&)
    {
    }
    return 0;
}
