// Throughput of the XML writer: ToXmlStream, ToXml and ToXmlFile on both routes for a
// purchase-order document, beside pugixml and libxml2 serialising the same document to memory
// in the same process; allocations per written element; and Base64 encode and decode.
#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "benchsupport.h"
#include "krxmllib.h"

#ifdef KRXML_HAVE_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef KRXML_HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/tree.h>
#endif

using namespace KrXmlLib16;
using KrXmlBench::AllocationCount;

namespace {

const char* const kPoNs = "urn:example:po";

struct PoItem
{
    std::string strSku;
    int32_t iLine = 0;
    bool bGift = false;
    std::string strName;
    int32_t iQuantity = 0;
    std::string strSerial, strPrice, strWeight;
    bool bTaxable = false;
    std::string strShipDate, strUpdated, strWarranty, strComment, strThumbnail;
};

// The document as plain fields, written through the writer as a generated class would.
class CPurchaseOrder : public CXmlObjectBase
{
public:
    CPurchaseOrder() { SetElementName("purchaseOrder"); }
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return kPoNs; }

    std::string m_strId, m_strOrderDate, m_strCurrency;
    bool m_bVip = false;
    std::string m_strName, m_strEmail, m_strCountry, m_strStreet, m_strCity, m_strPostcode, m_strStatus, m_strNote;
    std::vector<PoItem> m_items;

    // The elements a write produces.
    size_t CountElements() const
    {
        size_t n = 1 + 7 + 1 + (m_strNote.empty() ? 0 : 1);
        for (const PoItem& item : m_items)
            n += 10 + (item.strComment.empty() ? 0 : 1) + (item.strThumbnail.empty() ? 0 : 1);
        return n;
    }

    // Repeats the items until there are nItems.
    void Grow(size_t nItems)
    {
        size_t n = m_items.size();
        for (size_t i = n; i < nItems; ++i)
        {
            PoItem item = m_items[i % n];
            item.iLine = static_cast<int32_t>(i + 1);
            m_items.push_back(item);
        }
    }

protected:
    std::string GetTargetNamespace() const override { return kPoNs; }

    static void Text(CXmlWriter* w, const char* lpName, const std::string& strValue, ItemType e = ItemType_string)
    {
        static const std::string s_strNs = kPoNs;
        w->StartElement(lpName, s_strNs);
        w->WriteElementText(strValue, e, false);
        w->EndElement();
    }
    static std::string Number(int64_t v)
    {
        char sz[24];
        return std::string(sz, std::to_chars(sz, sz + sizeof(sz), v).ptr);
    }

    void ToXml_Int(CXmlWriter* w, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool) const override
    {
        std::string strNs = lpNamespace;
        if (bRoot && !ctx.GetDefaultNamespaceURI().empty())
            w->SetDefaultNamespace(ctx.GetDefaultNamespaceURI());
        w->StartElement(GetElementName(), strNs);
        w->WriteAttribute("id", "", m_strId, ItemType_i4);
        w->WriteAttribute("orderDate", "", m_strOrderDate, ItemType_date);
        w->WriteAttribute("currency", "", m_strCurrency, ItemType_string);
        w->StartElement("customer", strNs);
        w->WriteAttribute("vip", "", m_bVip ? "true" : "false", ItemType_boolean);
        Text(w, "name", m_strName);
        Text(w, "email", m_strEmail);
        w->StartElement("address", strNs);
        w->WriteAttribute("country", "", m_strCountry, ItemType_string);
        Text(w, "street", m_strStreet);
        Text(w, "city", m_strCity);
        Text(w, "postcode", m_strPostcode);
        w->EndElement();
        w->EndElement();
        Text(w, "status", m_strStatus);
        for (const PoItem& item : m_items)
        {
            w->StartElement("item", strNs);
            w->WriteAttribute("sku", "", item.strSku, ItemType_string);
            w->WriteAttribute("line", "", Number(item.iLine), ItemType_i4);
            if (item.bGift)
                w->WriteAttribute("gift", "", "true", ItemType_boolean);
            Text(w, "name", item.strName);
            Text(w, "quantity", Number(item.iQuantity), ItemType_i4);
            Text(w, "serial", item.strSerial, ItemType_i8);
            Text(w, "price", item.strPrice, ItemType_decimal);
            Text(w, "weight", item.strWeight, ItemType_r8);
            Text(w, "taxable", item.bTaxable ? "true" : "false", ItemType_boolean);
            Text(w, "shipDate", item.strShipDate, ItemType_date);
            Text(w, "updated", item.strUpdated, ItemType_datetime);
            Text(w, "warranty", item.strWarranty, ItemType_duration);
            if (!item.strComment.empty())
                Text(w, "comment", item.strComment);
            if (!item.strThumbnail.empty())
                Text(w, "thumbnail", item.strThumbnail, ItemType_base64Binary);
            w->EndElement();
        }
        if (!m_strNote.empty())
            Text(w, "note", m_strNote);
        w->EndElement();
    }

    CXmlElement* FromXml_Int(CXmlElement* pRoot, CXmlElement* pFirst, const CSerializationContext&, bool) override
    {
        m_strId = pRoot->GetAttribute("id", "");
        m_strOrderDate = pRoot->GetAttribute("orderDate", "");
        m_strCurrency = pRoot->GetAttribute("currency", "");
        for (CXmlElement* p = pFirst; p; p = p->GetNextSiblingElement())
        {
            const std::string& n = p->GetLocalName();
            if (n == "customer")
            {
                m_bVip = p->GetAttribute("vip", "") == "true";
                for (CXmlElement* c = p->GetFirstElement(); c; c = c->GetNextSiblingElement())
                {
                    if (c->GetLocalName() == "name")
                        m_strName = c->GetText();
                    else if (c->GetLocalName() == "email")
                        m_strEmail = c->GetText();
                    else
                    {
                        m_strCountry = c->GetAttribute("country", "");
                        for (CXmlElement* a = c->GetFirstElement(); a; a = a->GetNextSiblingElement())
                            (a->GetLocalName() == "street" ? m_strStreet
                                                           : a->GetLocalName() == "city" ? m_strCity : m_strPostcode) =
                                a->GetText();
                    }
                }
            }
            else if (n == "status")
                m_strStatus = p->GetText();
            else if (n == "note")
                m_strNote = p->GetText();
            else
            {
                PoItem item;
                item.strSku = p->GetAttribute("sku", "");
                item.iLine = std::atoi(p->GetAttribute("line", "").c_str());
                item.bGift = p->GetAttribute("gift", "") == "true";
                for (CXmlElement* c = p->GetFirstElement(); c; c = c->GetNextSiblingElement())
                {
                    const std::string& cn = c->GetLocalName();
                    const std::string& t = c->GetText();
                    if (cn == "name") item.strName = t;
                    else if (cn == "quantity") item.iQuantity = std::atoi(t.c_str());
                    else if (cn == "serial") item.strSerial = t;
                    else if (cn == "price") item.strPrice = t;
                    else if (cn == "weight") item.strWeight = t;
                    else if (cn == "taxable") item.bTaxable = t == "true";
                    else if (cn == "shipDate") item.strShipDate = t;
                    else if (cn == "updated") item.strUpdated = t;
                    else if (cn == "warranty") item.strWarranty = t;
                    else if (cn == "comment") item.strComment = t;
                    else if (cn == "thumbnail") item.strThumbnail = t;
                }
                m_items.push_back(item);
            }
        }
        return nullptr;
    }
};

double Mb(size_t n)
{
    return static_cast<double>(n) / 1e6;
}

void Report(const char* lpWhat, size_t nBytes, double dSeconds)
{
    std::printf("  %-46s %8.1f MB  %8.1f ms  %8.1f MB/s\n", lpWhat, Mb(nBytes), dSeconds * 1e3, Mb(nBytes) / dSeconds);
}

size_t FileSize(const std::string& strPath)
{
    return KrXmlBench::ReadWholeFile(strPath).size();
}

} // namespace

int main(int argc, char** argv)
{
    int nRuns = argc > 1 ? std::atoi(argv[1]) : 5;
    std::string strSource = KrXmlBench::MakePurchaseOrderFile(20000);
    if (strSource.empty())
    {
        std::printf("could not generate the purchase-order document\n");
        return 1;
    }
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(kPoNs);
    CSerializationContext::GetDefaultContext().SetDefaultNamespaceURI(kPoNs);

    CPurchaseOrder* pOrder = new CPurchaseOrder();
    CSmartPtr<CXmlObjectBase> spKeep(pOrder);
    pOrder->FromXmlFile(strSource.c_str(), ctx);
    std::printf("purchase order: %zu items, source %s\n\n", pOrder->m_items.size(), strSource.c_str());

    // What a write allocates beyond the output itself: the stream's blocks and the final text
    // grow with the output's size, not with the number of elements.
    {
        size_t nElements = pOrder->CountElements();
        std::string strText;
        size_t nBefore = AllocationCount();
        strText = pOrder->ToXml(true, true, EOLType_LF, ctx);
        size_t nToXml = AllocationCount() - nBefore;
        nBefore = AllocationCount();
        CBinaryData bytes = pOrder->ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
        size_t nToStream = AllocationCount() - nBefore;
        std::printf("allocations while writing %zu elements (%.1f MB):\n", nElements, Mb(strText.size()));
        std::printf("  %-46s %8zu  %8.4f per element\n", "ToXml", nToXml,
                    static_cast<double>(nToXml) / static_cast<double>(nElements));
        std::printf("  %-46s %8zu  %8.4f per element\n\n", "ToXmlStream UTF-8", nToStream,
                    static_cast<double>(nToStream) / static_cast<double>(nElements));
    }

    std::printf("10 MB document, formatted, best of %d\n", nRuns);
    size_t nOut = 0;
    double d = KrXmlBench::BestSeconds(nRuns, [&] {
        nOut = pOrder->ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None).GetLength();
    });
    Report("ToXmlStream UTF-8", nOut, d);
    d = KrXmlBench::BestSeconds(nRuns, [&] { nOut = pOrder->ToXml(true, true, EOLType_LF, ctx).size(); });
    Report("ToXml (string)", nOut, d);
    d = KrXmlBench::BestSeconds(nRuns, [&] {
        nOut = pOrder->ToXmlStream(true, true, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None).GetLength();
    });
    Report("ToXmlStream UTF-16", nOut, d);
    std::string strOutPath = "/tmp/krxml-bench-writer.xml";
    d = KrXmlBench::BestSeconds(nRuns, [&] {
        AsyncToXmlFile(false);
        pOrder->ToXmlFile(strOutPath.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
    });
    Report("ToXmlFile UTF-8, plain route", FileSize(strOutPath), d);
    d = KrXmlBench::BestSeconds(nRuns, [&] {
        AsyncToXmlFile(true);
        pOrder->ToXmlFile(strOutPath.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
    });
    AsyncToXmlFile(false);
    Report("ToXmlFile UTF-8, asynchronous route", FileSize(strOutPath), d);

    // The writer's output must read back, and match the source in size.
    {
        CPurchaseOrder* pCheck = new CPurchaseOrder();
        CSmartPtr<CXmlObjectBase> spCheck(pCheck);
        pCheck->FromXmlFile(strOutPath.c_str(), ctx);
        if (pCheck->m_items.size() != pOrder->m_items.size())
            std::printf("  !! read back %zu items\n", pCheck->m_items.size());
    }

#ifdef KRXML_HAVE_PUGIXML
    {
        pugi::xml_document doc;
        doc.load_file(strSource.c_str(), pugi::parse_default);
        struct StringWriter : pugi::xml_writer
        {
            std::string str;
            void write(const void* p, size_t n) override { str.append(static_cast<const char*>(p), n); }
        };
        d = KrXmlBench::BestSeconds(nRuns, [&] {
            StringWriter w;
            doc.save(w, "\t", pugi::format_default, pugi::encoding_utf8);
            nOut = w.str.size();
        });
        Report("pugixml save to memory", nOut, d);
    }
#else
    std::printf("  pugixml not available\n");
#endif
#ifdef KRXML_HAVE_LIBXML2
    {
        std::string strXml = KrXmlBench::ReadWholeFile(strSource);
        xmlDocPtr doc = xmlReadMemory(strXml.data(), static_cast<int>(strXml.size()), "po.xml", nullptr,
                                      XML_PARSE_NOBLANKS | XML_PARSE_HUGE);
        d = KrXmlBench::BestSeconds(nRuns, [&] {
            xmlChar* pMem = nullptr;
            int iSize = 0;
            xmlDocDumpFormatMemoryEnc(doc, &pMem, &iSize, "UTF-8", 1);
            nOut = static_cast<size_t>(iSize);
            xmlFree(pMem);
        });
        Report("libxml2 xmlDocDumpFormatMemoryEnc", nOut, d);
        xmlFreeDoc(doc);
    }
#else
    std::printf("  libxml2 not available\n");
#endif

    // The file routes on a document ten times as large.
    pOrder->Grow(pOrder->m_items.size() * 10);
    int nLargeRuns = std::max(1, nRuns / 2);
    std::printf("\n100 MB document (%zu items), formatted, best of %d\n", pOrder->m_items.size(), nLargeRuns);
    for (int iRound = 0; iRound < 2; ++iRound)
    {
        bool bAsync = iRound == 1;
        d = KrXmlBench::BestSeconds(nLargeRuns, [&] {
            AsyncToXmlFile(bAsync);
            pOrder->ToXmlFile(strOutPath.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
        });
        Report(bAsync ? "ToXmlFile UTF-8, asynchronous route" : "ToXmlFile UTF-8, plain route", FileSize(strOutPath), d);
    }
    for (int iRound = 0; iRound < 2; ++iRound)
    {
        bool bAsync = iRound == 1;
        d = KrXmlBench::BestSeconds(nLargeRuns, [&] {
            AsyncToXmlFile(bAsync);
            pOrder->ToXmlFile(strOutPath.c_str(), true, true, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None);
        });
        Report(bAsync ? "ToXmlFile UTF-16, asynchronous route" : "ToXmlFile UTF-16, plain route", FileSize(strOutPath),
               d);
    }
    AsyncToXmlFile(false);
    std::remove(strOutPath.c_str());

    // Base64 of 10 MB.
    std::printf("\nBase64, 10 MB, best of %d\n", nRuns);
    std::vector<unsigned char> raw(10 * 1000 * 1000);
    uint32_t x = 12345;
    for (unsigned char& c : raw)
    {
        x = x * 1103515245u + 12345u;
        c = static_cast<unsigned char>(x >> 16);
    }
    CBinaryData data(raw.data(), static_cast<uint32_t>(raw.size()), false);
    std::string strBase64;
    d = KrXmlBench::BestSeconds(nRuns, [&] { strBase64 = data.GetAsBase64(); });
    Report("GetAsBase64 (input bytes)", raw.size(), d);
    CBinaryData back;
    d = KrXmlBench::BestSeconds(nRuns, [&] { back.SetAsBase64(strBase64.c_str()); });
    Report("SetAsBase64 (output bytes)", back.GetLength(), d);
    if (!(back == data))
        std::printf("  !! Base64 round trip differs\n");
    std::printf("\npeak resident memory %.1f MB\n", Mb(KrXmlBench::PeakRssBytes()));
    return 0;
}
