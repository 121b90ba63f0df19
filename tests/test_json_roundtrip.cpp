// Bound objects written as JSON in the full round-trip mode and read back write the same XML as
// the objects they came from, byte for byte: the purchase order and a document of every test
// class. JSON carries no xsi:nil (a nil value writes nothing there): documents with one are
// checked for that loss on their own.
#include "testsupport.h"

#include <string>

#include "engineclasses.h"
#include "krxmllib.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

// Full round trip, with an alias for every namespace below the root: JSON declares prefixes on
// the root element alone.
CSerializationContext JsonContext(const char* lpDefaultNamespace)
{
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(lpDefaultNamespace);
    ctx.GetNamespaceAliases().Add("o", kOtherNs);
    ctx.GetNamespaceAliases().Add("xsi", kXmlSchemaInstanceUri);
    ctx.GetJsonContext().SetSupportRoundtrip(RoundTripFull);
    return ctx;
}

std::string XmlOf(const CXmlObjectBase* pObject, const char* lpDefaultNamespace)
{
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(lpDefaultNamespace);
    return pObject->ToXml(true, true, EOLType_LF, ctx);
}

// Writes pFirst as JSON, formatted or not, reads that into pSecond and compares their XML.
void ExpectSameXmlThroughJson(const CXmlObjectBase* pFirst, CXmlObjectBase* pSecond, const char* lpNamespace)
{
    const CSerializationContext ctx = JsonContext(lpNamespace);
    for (bool bFormatted : {true, false})
    {
        std::string strJson = pFirst->ToJson(bFormatted, EOLType_LF, ctx);
        pSecond->FromJson(strJson.c_str(), ctx);
        EXPECT_EQ(XmlOf(pFirst, lpNamespace), XmlOf(pSecond, lpNamespace)) << strJson;
    }
}

} // namespace

TEST(JsonRoundTrip, EveryTestClassWritesTheSameXmlAfterJson)
{
    for (const CSampleDocument& doc : SampleDocuments())
    {
        if (doc.bNil)
            continue;
        SCOPED_TRACE(doc.lpName);
        try
        {
            CSmartPtr<CXmlGeneratedClass> spFirst = doc.pfnMake();
            spFirst->FromXml(doc.strXml.c_str(), CSerializationContext::GetDefaultContext());
            CSmartPtr<CXmlGeneratedClass> spSecond = doc.pfnMake();
            ExpectSameXmlThroughJson(spFirst, spSecond, kTestNs);
        }
        catch (const CKrException& e)
        {
            ADD_FAILURE() << e.GetFullMessage();
        }
    }
}

TEST(JsonRoundTrip, NilIsNotCarried)
{
    CSmartPtr<CSeqDoc> spFirst(new CSeqDoc);
    spFirst->FromXml(SampleDocuments()[0].strXml.c_str(), CSerializationContext::GetDefaultContext());
    std::string strJson = spFirst->ToJson(false, EOLType_LF, JsonContext(kTestNs));
    EXPECT_NE(std::string::npos, strJson.find("\"label\": null,")) << strJson;
    EXPECT_EQ(std::string::npos, strJson.find("nil")) << strJson;
}

TEST(JsonRoundTrip, PurchaseOrderWritesTheSameXmlAfterJson)
{
    using PurchaseOrder::CPurchaseOrderType;
    CSmartPtr<CPurchaseOrderType> spFirst(new CPurchaseOrderType);
    spFirst->FromXmlFile((std::string(KRXML_SOURCE_DIR) + "/examples/data/purchase-order.xml").c_str(),
                         CSerializationContext::GetDefaultContext());
    CSmartPtr<CPurchaseOrderType> spSecond(new CPurchaseOrderType);
    ExpectSameXmlThroughJson(spFirst, spSecond, PurchaseOrder::kNamespace);
    EXPECT_EQ(3, spSecond->GetItem()->GetCount());
}
