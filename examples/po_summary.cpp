// Reads a purchase order into its bound classes, prints a summary from the typed accessors,
// changes a value and writes the order back: the library's main job in one small program.
//
//   po_summary INPUT.xml [OUTPUT.xml]
#include <cstdio>
#include <string>

#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace PurchaseOrder;

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3)
    {
        std::fprintf(stderr, "usage: po_summary INPUT.xml [OUTPUT.xml]\n");
        return 2;
    }
    try
    {
        const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
        CSmartPtr<CPurchaseOrderType> spOrder(new CPurchaseOrderType);
        spOrder->FromXmlFile(argv[1], ctx);

        CSmartPtr<CCustomerType> spCustomer = spOrder->GetCustomer();
        std::printf("order %d of %s, %s, currency %s\n", static_cast<int>(spOrder->GetId()),
                    CConversions::dateToString(spOrder->GetOrderDate()).c_str(),
                    StatusTypeToString(spOrder->GetStatus()), spOrder->GetCurrency().c_str());
        std::printf("customer %s <%s>, %s %s\n", spCustomer->GetName().c_str(), spCustomer->GetEmail().c_str(),
                    spCustomer->GetAddress()->GetCity().c_str(), spCustomer->GetAddress()->GetCountry().c_str());

        CDecimal total;
        int nItems = 0;
        for (CItemType* pItem : *spOrder->GetItem())
        {
            CDecimal line = pItem->GetPrice() * CDecimal(static_cast<int64_t>(pItem->GetQuantity()));
            total = total + line;
            if (++nItems <= 5)
                std::printf("  %-10s %5d x %10s = %12s  %s%s\n", pItem->GetSku().c_str(),
                            static_cast<int>(pItem->GetQuantity()), pItem->GetPrice().ToString().c_str(),
                            line.ToString().c_str(), pItem->GetName().c_str(), pItem->GetGift() ? " (gift)" : "");
        }
        if (nItems > 5)
            std::printf("  ... %d more items\n", nItems - 5);
        std::printf("%d items, total %s %s\n", nItems, total.ToString().c_str(), spOrder->GetCurrency().c_str());

        // Change the order and write it back: the status goes to shipped, a note is added.
        spOrder->SetStatus(StatusType_shipped);
        spOrder->SetNote("Shipped in full.");
        CSerializationContext out;
        out.SetDefaultNamespaceURI(kNamespace);
        out.SetIndentChars("  ");
        if (argc == 3)
        {
            spOrder->ToXmlFile(argv[2], true, true, XmlEncoding_UTF8, EOLType_LF, out, CompressionType_None);
            std::printf("written to %s\n", argv[2]);
        }
        else
        {
            std::string strXml = spOrder->ToXml(true, true, EOLType_LF, out);
            std::printf("written back (%zu bytes), its head:\n%s\n", strXml.size(),
                        strXml.substr(0, strXml.find("<item")).c_str());
        }
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "error: %s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
