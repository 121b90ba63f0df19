// Fuzz target: any bytes read into the bound purchase-order classes, and the round trip of
// roundtrip.h on what reads.
#include <cstddef>
#include <cstdint>

#include "purchaseorder.h"
#include "roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
    KrXmlFuzz::CheckRoundTrip(pData, nSize, ctx, [] {
        return CSmartPtr<PurchaseOrder::CPurchaseOrderType>(new PurchaseOrder::CPurchaseOrderType());
    });
    return 0;
}
