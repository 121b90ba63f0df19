// Fuzz target: any bytes read as JSON into untyped content must end in an element or the
// library's exception. The first byte picks the options: the round-trip mode, a root element
// name, comments. Built for libFuzzer with clang (-fsanitize=fuzzer), or with the replay driver
// below, which runs the target over files given on the command line.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "krxmllib.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    if (nSize < 2 || nSize > 0xFFFFFFFFu)
        return 0;
    const uint8_t options = pData[0];
    std::vector<unsigned char> bytes(pData + 1, pData + nSize);
    CSerializationContext ctx;
    ctx.GetJsonContext().SetSupportRoundtrip(static_cast<JsonRoundTrip>(options % 3));
    ctx.GetJsonContext().SetRootElementName(options & 4 ? "root" : "");
    ctx.GetJsonContext().SetAllowComments((options & 8) == 0);
    try
    {
        CSmartPtr<CElement> spElement(new CElement(""));
        spElement->FromJsonStream(bytes.data(), static_cast<uint32_t>(bytes.size()), ctx);
        (void)spElement->ToXml(false, false, EOLType_LF, ctx);
    }
    catch (const CKrException&)
    {
    }
    return 0;
}
