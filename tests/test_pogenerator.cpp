// The purchase-order generator that benchmarks and large-input tests stand on: its documents
// follow the schema in examples/data/po.xsd, checked here with the library's own value parsers
// and facets, and keep their shape and size whatever the seed.
#include "testsupport.h"

#include "krxmllib.h"
#include "pogenerator.h"
#include "primitiverestrictions.h"

using namespace KrXmlLib16;
using KrXmlBench::MakePurchaseOrder;

namespace {

const CWhitespaceUtils::WhitespaceRule kCollapse = CWhitespaceUtils::WhitespaceRule_Collapse;

// A simple-typed child of an item as the schema has it: name, kind and facets.
struct ChildRule
{
    const char* lpName;
    ItemType eType;
    CPrimitiveRestrictions facets;
    bool bOptional;
};

const ChildRule kItemChildren[] = {
    {"name", ItemType_string, CPrimitiveRestrictions(), false},
    {"quantity", ItemType_i4, CPrimitiveRestrictions("", -1, -1, "1", "10000", "", "", -1, -1, -1), false},
    {"serial", ItemType_i8, CPrimitiveRestrictions(), false},
    {"price", ItemType_decimal, CPrimitiveRestrictions("", -1, -1, "0", "", "", "", -1, 10, 2), false},
    {"weight", ItemType_r8, CPrimitiveRestrictions(), false},
    {"taxable", ItemType_boolean, CPrimitiveRestrictions(), false},
    {"shipDate", ItemType_date, CPrimitiveRestrictions(), false},
    {"updated", ItemType_datetime, CPrimitiveRestrictions(), false},
    {"warranty", ItemType_duration, CPrimitiveRestrictions(), false},
    {"comment", ItemType_string, CPrimitiveRestrictions(), true},
    {"thumbnail", ItemType_base64Binary, CPrimitiveRestrictions(), true},
};

void CheckValue(const char* lpName, const std::string& strText, ItemType eType, const CPrimitiveRestrictions& facets)
{
    KrVariant v;
    v.FromString(strText, eType, kCollapse);
    ValidatePrimitive(lpName, v, eType, &facets);
}

struct Tally
{
    size_t nItems = 0, nGifts = 0, nComments = 0, nThumbnails = 0;
};

// Walks the document against the schema; any deviation fails the test or raises.
Tally CheckDocument(const std::string& strXml)
{
    Tally t;
    CXmlDocument doc;
    doc.LoadXml(strXml.c_str());
    const CXmlElement* pRoot = doc.GetDocumentElement();
    EXPECT_EQ("purchaseOrder", pRoot->GetLocalName());
    EXPECT_EQ("urn:example:po", pRoot->GetNamespaceURI());
    CheckValue("id", pRoot->GetAttribute("id", ""), ItemType_i4, CPrimitiveRestrictions());
    CheckValue("orderDate", pRoot->GetAttribute("orderDate", ""), ItemType_date, CPrimitiveRestrictions());
    CheckValue("currency", pRoot->GetAttribute("currency", ""), ItemType_string,
               CPrimitiveRestrictions("", -1, -1, "", "", "", "", 3, -1, -1));
    const CXmlElement* p = pRoot->GetFirstElement();
    EXPECT_EQ("customer", p->GetLocalName());
    const CXmlElement* pAddress = p->GetFirstElement()->GetNextSiblingElement()->GetNextSiblingElement();
    CheckValue("country", pAddress->GetAttribute("country", ""), ItemType_string,
               CPrimitiveRestrictions("[A-Z]{2}", -1, -1, "", "", "", "", -1, -1, -1));
    p = p->GetNextSiblingElement();
    CheckValue("status", p->GetText(), ItemType_string,
               CPrimitiveRestrictions("open|shipped|cancelled|on-hold", -1, -1, "", "", "", "", -1, -1, -1));
    for (p = p->GetNextSiblingElement(); p && p->GetLocalName() == "item"; p = p->GetNextSiblingElement())
    {
        CheckValue("sku", p->GetAttribute("sku", ""), ItemType_string,
                   CPrimitiveRestrictions("SKU-[0-9]{6}", -1, -1, "", "", "", "", -1, -1, -1));
        EXPECT_EQ(std::to_string(t.nItems + 1), p->GetAttribute("line", ""));
        const std::string& strGift = p->GetAttribute("gift", "");
        t.nGifts += strGift == "true";
        const CXmlElement* c = p->GetFirstElement();
        for (const ChildRule& rule : kItemChildren)
        {
            if (!c || c->GetLocalName() != rule.lpName)
            {
                EXPECT_TRUE(rule.bOptional) << rule.lpName << " missing in item " << t.nItems;
                continue;
            }
            CheckValue(rule.lpName, c->GetText(), rule.eType, rule.facets);
            t.nComments += rule.lpName == std::string("comment");
            t.nThumbnails += rule.lpName == std::string("thumbnail");
            c = c->GetNextSiblingElement();
        }
        EXPECT_EQ(nullptr, c) << "unexpected child in item " << t.nItems;
        ++t.nItems;
    }
    EXPECT_TRUE(p && p->GetLocalName() == "note" && !p->GetNextSiblingElement());
    return t;
}

TEST(PurchaseOrderGenerator, DocumentsFollowTheSchemaWithTheirPatterns)
{
    for (uint64_t qwSeed : {42u, 7u})
    {
        SCOPED_TRACE(qwSeed);
        std::string strXml = MakePurchaseOrder(200, qwSeed);
        Tally t = CheckDocument(strXml);
        EXPECT_EQ(200u, t.nItems);
        EXPECT_EQ(29u, t.nGifts);       // every seventh, from the first
        EXPECT_EQ(133u, t.nComments);   // all but every third from the second
        EXPECT_EQ(50u, t.nThumbnails);  // every fourth
        // Escapes stand in every comment.
        EXPECT_NE(std::string::npos, strXml.find(" &amp; &lt;more&gt;</comment>"));
    }
    EXPECT_EQ(0u, CheckDocument(MakePurchaseOrder(0)).nItems);
}

TEST(PurchaseOrderGenerator, SameSeedSameBytesAndAboutHalfAKilobytePerItem)
{
    std::string strA = MakePurchaseOrder(2000, 5);
    EXPECT_EQ(strA, MakePurchaseOrder(2000, 5));
    std::string strB = MakePurchaseOrder(2000, 6);
    EXPECT_NE(strA, strB);
    for (const std::string* p : {&strA, &strB})
    {
        double dPerItem = static_cast<double>(p->size() - MakePurchaseOrder(0).size()) / 2000;
        EXPECT_GT(dPerItem, 440);
        EXPECT_LT(dPerItem, 540);
    }
    // Pieces handed to a sink join to the same document.
    std::string strJoined;
    size_t nPieces = 0;
    KrXmlBench::CPurchaseOrderGenerator(5).Generate(2000, [&](const char* p, size_t n) {
        strJoined.append(p, n);
        ++nPieces;
    });
    EXPECT_EQ(strA, strJoined);
    EXPECT_GT(nPieces, 10u);
}

} // namespace
