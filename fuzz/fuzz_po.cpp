// Fuzz target: any bytes read into the bound purchase-order classes end in the library's
// exception or in an object; an object read must write a document (or refuse, with the
// library's exception, text that XML can't carry) that reads back into an object that writes
// the same bytes.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzzsupport.h"
#include "krxmllib.h"
#include "purchaseorder.h"

using KrXmlFuzz::Check;

namespace {

KrXmlLib16::CBinaryData Write(const PurchaseOrder::CPurchaseOrderType& order, const KrXmlLib16::CSerializationContext& ctx)
{
    using namespace KrXmlLib16;
    return order.ToXmlStream(false, false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    if (nSize == 0 || nSize > 0xFFFFFFFFu)
        return 0;
    std::vector<unsigned char> bytes(pData, pData + nSize);
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spFirst = new PurchaseOrder::CPurchaseOrderType();
    try
    {
        spFirst->FromXmlStream(bytes.data(), static_cast<uint32_t>(bytes.size()), ctx);
    }
    catch (const CKrException&)
    {
        return 0;
    }
    // The writer may refuse what XML can't carry (a NUL in the text of a Fast Infoset
    // document); what it writes must read back without complaint and write the same again.
    CBinaryData first;
    try
    {
        first = Write(*spFirst, ctx);
    }
    catch (const CKrException&)
    {
        return 0;
    }
    // U+FFFE and U+FFFF, which a Fast Infoset or JSON text can hold and XML can't, are refused
    // by the writer, never written.
    Check(!KrXmlFuzz::HoldsNonCharacter(first.GetData(), first.GetLength()));
    try
    {
        CSmartPtr<PurchaseOrder::CPurchaseOrderType> spSecond = new PurchaseOrder::CPurchaseOrderType();
        spSecond->FromXmlStream(first, ctx);
        Check(Write(*spSecond, ctx) == first);
    }
    catch (const CKrException&)
    {
        Check(false);
    }
    return 0;
}
