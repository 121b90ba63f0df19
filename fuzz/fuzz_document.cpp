// Fuzz target: any bytes through the document loader must end in a tree or the library's
// exception. Built for libFuzzer with clang (-fsanitize=fuzzer), or with the replay driver
// below, which runs the target over files given on the command line.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "krxmllib.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    if (nSize == 0 || nSize > 0xFFFFFFFFu)
        return 0;
    std::vector<unsigned char> bytes(pData, pData + nSize);
    try
    {
        CXmlDocument doc;
        doc.LoadXmlStream(bytes.data(), static_cast<uint32_t>(nSize));
        if (const CXmlElement* pRoot = doc.GetDocumentElement())
            (void)pRoot->GetXPath();
    }
    catch (const CKrException&)
    {
    }
    return 0;
}
