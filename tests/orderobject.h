// A hand-written bound object for the writer and reader tests: an order with attributes, a
// nested customer, repeating items with escaped text and a child in a second namespace. It
// writes itself through the writer as a generated class would, and reads itself from the tree.
#ifndef KRXML_TEST_ORDEROBJECT_H
#define KRXML_TEST_ORDEROBJECT_H

#include <string>
#include <vector>

#include "krxmllib.h"

namespace KrXmlTest {

const char* const kOrderNs = "urn:example:order";
const char* const kNotesNs = "urn:example:notes";

struct OrderItem
{
    std::string strSku;
    std::string strQuantity;
    std::string strDescription;
    std::string strNote;  // written in kNotesNs when not empty

    bool operator==(const OrderItem& o) const
    {
        return strSku == o.strSku && strQuantity == o.strQuantity && strDescription == o.strDescription &&
               strNote == o.strNote;
    }
};

class COrder : public KrXmlLib16::CXmlObjectBase
{
public:
    COrder() { SetElementName("order"); }

    std::string m_strId;
    std::string m_strStatus;
    std::string m_strLang;  // xml:lang when not empty
    std::string m_strCustomerName;
    std::string m_strCustomerCity;
    std::vector<OrderItem> m_items;
    bool m_bNil = false;  // writes xsi:nil instead of content

    bool operator==(const COrder& o) const
    {
        return m_strId == o.m_strId && m_strStatus == o.m_strStatus && m_strLang == o.m_strLang &&
               m_strCustomerName == o.m_strCustomerName && m_strCustomerCity == o.m_strCustomerCity &&
               m_items == o.m_items;
    }

    KrXmlLib16::CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return kOrderNs; }

    // A sample with everything that needs care: escapes, line ends, non-ASCII text, a
    // foreign namespace and an empty element.
    static void FillSample(COrder& order, int nItems = 3)
    {
        order.m_strId = "A&B <7> \"q\" 'a'";
        order.m_strStatus = "line1\nline2";
        order.m_strLang = "de";
        order.m_strCustomerName = "Gr\xC3\xBC\xC3\x9F" "e & Co. <AG>";
        order.m_strCustomerCity = "M\xC3\xBCnchen \xE2\x82\xAC \xF0\x9F\x98\x80";
        for (int i = 0; i < nItems; ++i)
        {
            OrderItem item;
            item.strSku = "SKU-" + std::to_string(i);
            item.strQuantity = std::to_string(i * 7 + 1);
            item.strDescription = i % 2 ? "two\nlines & \"quotes\"" : "a > b";
            item.strNote = i % 3 == 0 ? "note " + std::to_string(i) : std::string();
            order.m_items.push_back(item);
        }
    }

protected:
    std::string GetTargetNamespace() const override { return kOrderNs; }

    void ToXml_Int(KrXmlLib16::CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                   const KrXmlLib16::CSerializationContext& ctx, bool) const override
    {
        using namespace KrXmlLib16;
        std::string strNs = lpNamespace ? lpNamespace : "";
        if (bRoot)
        {
            for (const std::string& strPI : ctx.GetProcessingInstructions())
                pWriter->WriteProcessingInstruction(strPI);
            const CNamespaceAliasMap& aliases = ctx.GetNamespaceAliases();
            for (int i = 0; i < aliases.GetNamespaceCount(); ++i)
            {
                std::string strUri = aliases.GetNamespaceAt(i);
                pWriter->AddNamespaceAlias(aliases.GetAliasFromNamespace(strUri.c_str()), strUri);
            }
            if (!ctx.GetDefaultNamespaceURI().empty())
                pWriter->SetDefaultNamespace(ctx.GetDefaultNamespaceURI());
        }
        pWriter->StartElement(GetElementName(), strNs);
        pWriter->WriteAttribute("id", "", m_strId, ItemType_string);
        pWriter->WriteAttribute("status", "", m_strStatus, ItemType_string);
        if (!m_strLang.empty())
            pWriter->WriteAttribute("lang", kXmlNamespaceUri, m_strLang, ItemType_string);
        if (bRoot && !ctx.GetInLineSchema().empty())
            pWriter->WriteInLineSchema(ctx.GetInLineSchema());
        if (m_bNil)
        {
            pWriter->WriteNilAttribute();
            pWriter->EndElement();
            return;
        }
        pWriter->StartElement("customer", strNs);
        pWriter->StartElement("name", strNs);
        pWriter->WriteElementText(m_strCustomerName, ItemType_string, false);
        pWriter->EndElement();
        pWriter->StartElement("city", strNs);
        pWriter->WriteElementText(m_strCustomerCity, ItemType_string, false);
        pWriter->EndElement();
        pWriter->EndElement();
        for (const OrderItem& item : m_items)
        {
            pWriter->StartElement("item", strNs);
            pWriter->WriteAttribute("sku", "", item.strSku, ItemType_string);
            pWriter->StartElement("quantity", strNs);
            pWriter->WriteElementText(item.strQuantity, ItemType_i4, false);
            pWriter->EndElement();
            pWriter->StartElement("description", strNs);
            pWriter->WriteElementText(item.strDescription, ItemType_string, false);
            pWriter->EndElement();
            if (!item.strNote.empty())
            {
                pWriter->StartElement("note", kNotesNs);
                pWriter->WriteElementText(item.strNote, ItemType_string, false);
                pWriter->EndElement();
            }
            pWriter->EndElement();
        }
        pWriter->EndElement();
    }

    KrXmlLib16::CXmlElement* FromXml_Int(KrXmlLib16::CXmlElement* pElement, KrXmlLib16::CXmlElement* pFirstChild,
                                         const KrXmlLib16::CSerializationContext&, bool) override
    {
        using namespace KrXmlLib16;
        if (pElement->GetLocalName() != GetElementName() || pElement->GetNamespaceURI() != kOrderNs)
            throw CKrValidationException("Unexpected root element", pElement->GetXPath());
        m_strId = pElement->GetAttribute("id", "");
        m_strStatus = pElement->GetAttribute("status", "");
        m_strLang = pElement->GetAttribute("lang", kXmlNamespaceUri);
        m_strCustomerName.clear();
        m_strCustomerCity.clear();
        m_items.clear();
        for (CXmlElement* pChild = pFirstChild; pChild; pChild = pChild->GetNextSiblingElement())
        {
            if (pChild->GetLocalName() == "customer")
            {
                for (CXmlElement* p = pChild->GetFirstElement(); p; p = p->GetNextSiblingElement())
                    (p->GetLocalName() == "name" ? m_strCustomerName : m_strCustomerCity) = p->GetText();
            }
            else if (pChild->GetLocalName() == "item")
            {
                OrderItem item;
                item.strSku = pChild->GetAttribute("sku", "");
                for (CXmlElement* p = pChild->GetFirstElement(); p; p = p->GetNextSiblingElement())
                {
                    if (p->GetLocalName() == "quantity")
                        item.strQuantity = p->GetText();
                    else if (p->GetLocalName() == "description")
                        item.strDescription = p->GetText();
                    else if (p->GetLocalName() == "note" && p->GetNamespaceURI() == kNotesNs)
                        item.strNote = p->GetText();
                    else
                        throw CKrValidationException("Unexpected element", p->GetXPath());
                }
                m_items.push_back(item);
            }
            else
                throw CKrValidationException("Unexpected element", pChild->GetXPath());
        }
        return nullptr;
    }
};

} // namespace KrXmlTest

#endif
