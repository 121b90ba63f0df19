// Reads a purchase order into a hand-written bound class and prints a summary: the smallest
// complete use of the library's reading road.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "krxmllib.h"

using namespace KrXmlLib16;

class CPurchaseOrder : public CXmlObjectBase
{
public:
    struct Item
    {
        std::string strSku, strName, strQuantity, strPrice;
    };
    std::string m_strId, m_strDate, m_strCustomer;
    std::vector<Item> m_items;

    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return "urn:example:po"; }

protected:
    std::string GetTargetNamespace() const override { return "urn:example:po"; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}

    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pChild, const CSerializationContext&, bool) override
    {
        if (pElement->GetLocalName() != "purchaseOrder" || pElement->GetNamespaceURI() != GetNamespace())
            throw CKrValidationException("Expected a purchaseOrder element", pElement->GetXPath());
        m_strId = pElement->GetAttribute("id", "");
        m_strDate = pElement->GetAttribute("orderDate", "");
        for (; pChild; pChild = pChild->GetNextSiblingElement())
        {
            if (pChild->GetLocalName() == "customer")
                m_strCustomer = ChildText(pChild, "name");
            else if (pChild->GetLocalName() == "item")
                m_items.push_back(Item{pChild->GetAttribute("sku", ""), ChildText(pChild, "name"),
                                       ChildText(pChild, "quantity"), ChildText(pChild, "price")});
        }
        return nullptr;
    }

private:
    static std::string ChildText(const CXmlElement* pParent, const char* lpName)
    {
        for (const CXmlElement* p = pParent->GetFirstElement(); p; p = p->GetNextSiblingElement())
            if (p->GetLocalName() == lpName)
                return p->GetText();
        return std::string();
    }
};

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: po_summary FILE.xml\n");
        return 2;
    }
    try
    {
        CSmartPtr<CPurchaseOrder> pOrder(new CPurchaseOrder);
        pOrder->FromXmlFile(argv[1], CSerializationContext::GetDefaultContext());
        std::printf("order %s of %s for %s, %zu items\n", pOrder->m_strId.c_str(), pOrder->m_strDate.c_str(),
                    pOrder->m_strCustomer.c_str(), pOrder->m_items.size());
        for (const auto& item : pOrder->m_items)
            std::printf("  %-12s %6s x %10s  %s\n", item.strSku.c_str(), item.strQuantity.c_str(), item.strPrice.c_str(),
                        item.strName.c_str());
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "error: %s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
