// Fuzz target: XML (or Fast Infoset) read into untyped content must write a document that
// reads back into the same content: read, write, read, write, and the two writes are the same
// bytes (roundtrip.h). Input that doesn't read, and content that XML text can't carry, end in
// the library's exception.
#include <cstddef>
#include <cstdint>

#include "roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    CSerializationContext ctx;
    ctx.SetStripCDATA(false);
    KrXmlFuzz::CheckRoundTrip(pData, nSize, ctx, [] { return CSmartPtr<CElement>(new CElement("")); });
    return 0;
}
