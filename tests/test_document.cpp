#include "testsupport.h"

#include <unistd.h>

#include <cstring>
#include <functional>

#include "krxmllib.h"
#include "orderobject.h"

using namespace KrXmlLib16;
using KrXmlTest::TempPath;
using KrXmlTest::WriteFileBytes;

namespace {

std::vector<unsigned short> Utf16(const std::string& strAscii)
{
    std::vector<unsigned short> v(strAscii.begin(), strAscii.end());
    v.push_back(0);
    return v;
}

const CXmlElement* Child(const CXmlElement* p, int i)
{
    const CXmlElement* c = p->GetFirstElement();
    while (c && i-- > 0)
        c = c->GetNextSiblingElement();
    return c;
}

// ---- tree shape ----

TEST(XmlDocument, NamespacesAttributesAndPrefixes)
{
    CXmlDocument doc;
    doc.LoadXml("<a xmlns:p=\"urn:x\" p:b=\"1\" c=\"2\"><p:d/></a>");
    CXmlElement* pRoot = doc.GetDocumentElement();
    ASSERT_NE(nullptr, pRoot);
    EXPECT_EQ("a", pRoot->GetLocalName());
    EXPECT_EQ("", pRoot->GetNamespaceURI());
    ASSERT_EQ(2u, pRoot->GetAttributes().size());
    EXPECT_EQ("b", pRoot->GetAttributes()[0]->GetLocalName());
    EXPECT_EQ("urn:x", pRoot->GetAttributes()[0]->GetNamespaceURI());
    EXPECT_EQ("1", pRoot->GetAttribute("b", "urn:x"));
    EXPECT_EQ("", pRoot->GetAttribute("b", ""));
    EXPECT_EQ("2", pRoot->GetAttribute("c", ""));
    EXPECT_EQ("urn:x", doc.LookupNamespaceFromAlias("p"));
    EXPECT_EQ("p", doc.LookupAliasFromNamespace("urn:x"));
    EXPECT_EQ("", doc.LookupNamespaceFromAlias("zz"));
    EXPECT_EQ("/a/p:@b", pRoot->GetAttributes()[0]->GetXPath());
    EXPECT_EQ("/a/p:d", Child(pRoot, 0)->GetXPath());
    EXPECT_EQ("urn:x", Child(pRoot, 0)->GetNamespaceURI());
}

TEST(XmlDocument, AliasOfANamespaceIsTheFirstInKeyOrderAfterEveryLoad)
{
    CXmlDocument doc;
    doc.LoadXml("<r xmlns:b=\"urn:x\"><c xmlns:a=\"urn:x\" xmlns:z=\"urn:z\"/></r>");
    EXPECT_EQ("a", doc.LookupAliasFromNamespace("urn:x"));
    EXPECT_EQ("z", doc.LookupAliasFromNamespace("urn:z"));
    EXPECT_EQ("", doc.LookupAliasFromNamespace("urn:none"));
    doc.LoadXml("<r xmlns:q=\"urn:z\"/>");
    EXPECT_EQ("", doc.LookupAliasFromNamespace("urn:x"));
    EXPECT_EQ("q", doc.LookupAliasFromNamespace("urn:z"));
}

TEST(XmlDocument, NoNamespacesKeepsPrefixesInNames)
{
    CSerializationContext ctx;
    ctx.SetSchemaType(SchemaType_NoNamespaces);
    CXmlDocument doc(ctx);
    doc.LoadXml("<a xmlns:p=\"urn:x\" p:b=\"1\"/>");
    const CXmlElement* pRoot = doc.GetDocumentElement();
    ASSERT_EQ(2u, pRoot->GetAttributes().size());
    EXPECT_EQ("xmlns:p", pRoot->GetAttributes()[0]->GetLocalName());
    EXPECT_EQ("p:b", pRoot->GetAttributes()[1]->GetLocalName());
    EXPECT_EQ("", pRoot->GetAttributes()[1]->GetNamespaceURI());
    EXPECT_EQ("", doc.LookupNamespaceFromAlias("p"));
}

TEST(XmlDocument, XPathPredicatesCountLikeNamedSiblings)
{
    CXmlDocument doc;
    doc.LoadXml("<r><a/><b/><a><c/></a></r>");
    const CXmlElement* pRoot = doc.GetDocumentElement();
    EXPECT_EQ("/r", pRoot->GetXPath());
    EXPECT_EQ("/r/a[1]", Child(pRoot, 0)->GetXPath());
    EXPECT_EQ("/r/b", Child(pRoot, 1)->GetXPath());
    EXPECT_EQ("/r/a[2]/c", Child(Child(pRoot, 2), 0)->GetXPath());
}

TEST(XmlDocument, TextIsJoinedAndCarriageReturnsDrop)
{
    CXmlDocument doc;
    doc.LoadXml("<r>one<x/>two<!-- c -->three&#13;four\r\nfive</r>");
    EXPECT_EQ("onetwothreefour\nfive", doc.GetDocumentElement()->GetText());
    std::string strLong(100000, 'z');
    doc.LoadXml(("<r>" + strLong + "</r>").c_str());
    EXPECT_EQ(strLong, doc.GetDocumentElement()->GetText());
}

// Text after an element's first child is kept aside while parsing and joins the element's
// text when asked for: every element at every depth has all of its own text, in order.
TEST(XmlDocument, TextAfterChildrenAtEveryDepth)
{
    CXmlDocument doc;
    doc.LoadXml("<r>\n r1<a>a1<b>b1</b>\r\n a2<b>b2<c/>b3</b>a3&#13;<!-- -->a4</a>r2<a/>\n<a>x<b/></a>r3</r>");
    const CXmlElement* pRoot = doc.GetDocumentElement();
    const CXmlElement* pA = pRoot->GetFirstElement();
    EXPECT_EQ("a1\n a2a3a4", pA->GetText());
    EXPECT_EQ("a1\n a2a3a4", pA->GetText());  // asked twice, joined once
    EXPECT_EQ("b1", pA->GetFirstElement()->GetText());
    EXPECT_EQ("b2b3", pA->GetFirstElement()->GetNextSiblingElement()->GetText());
    EXPECT_EQ("\n r1r2\nr3", pRoot->GetText());
    EXPECT_EQ("x", pRoot->GetFirstElement()->GetNextSiblingElement()->GetNextSiblingElement()->GetText());

    // Kept CDATA markers come in order with the text around them.
    CSerializationContext ctx;
    ctx.SetStripCDATA(false);
    CXmlDocument kept(ctx);
    kept.LoadXml("<r>a<x/>b<![CDATA[<c>]]>d</r>");
    EXPECT_EQ("ab<![CDATA[<c>]]>d", kept.GetDocumentElement()->GetText());

    // A failed parse leaves the open elements with the text they had.
    CXmlDocument broken;
    EXPECT_THROW(broken.LoadXml("<r>a<x/>b<y>c<z/>d</r>"), CKrException);
    ASSERT_NE(nullptr, broken.GetDocumentElement());
    EXPECT_EQ("ab", broken.GetDocumentElement()->GetText());
    EXPECT_EQ("cd", broken.GetDocumentElement()->GetFirstElement()->GetNextSiblingElement()->GetText());
}

// A callback sees the text of the element that closes, and of its open parents so far.
std::string g_strParentText;
bool NoteParentText(CXmlElement* p)
{
    if (p->GetLocalName() == "b")
        g_strParentText = p->GetParentElm()->GetText();
    return false;
}

TEST(XmlDocument, CallbackSeesTheTextOfOpenParents)
{
    CXmlDocument doc(&NoteParentText);
    doc.LoadXml("<r>1<a/>2<b/>3</r>");
    EXPECT_EQ("12", g_strParentText);
    EXPECT_EQ("123", doc.GetDocumentElement()->GetText());
}

TEST(XmlDocument, CdataStrippedOrKept)
{
    CXmlDocument plain;
    plain.LoadXml("<a><![CDATA[<x>]]></a>");
    EXPECT_EQ("<x>", plain.GetDocumentElement()->GetText());
    CSerializationContext ctx;
    ctx.SetStripCDATA(false);
    CXmlDocument kept(ctx);
    kept.LoadXml("<a>t<![CDATA[<x>]]></a>");
    EXPECT_EQ("t<![CDATA[<x>]]>", kept.GetDocumentElement()->GetText());
}

TEST(XmlDocument, NilAndNamespaceAttributes)
{
    CXmlDocument doc;
    doc.LoadXml("<a xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:nil=\"true\" xsi:type=\"t\" "
                "xsi:other=\"1\"/>");
    const auto& attrs = doc.GetDocumentElement()->GetAttributes();
    ASSERT_EQ(3u, attrs.size());
    EXPECT_TRUE(attrs[0]->IsNilAttribute());
    EXPECT_FALSE(attrs[0]->IsNamespaceAttribute());
    EXPECT_TRUE(attrs[1]->IsNamespaceAttribute());
    EXPECT_FALSE(attrs[2]->IsNamespaceAttribute());
    EXPECT_FALSE(attrs[2]->IsNilAttribute());
}

TEST(XmlDocument, NamespaceAndNilAttributesByExactNames)
{
    CXmlDocument doc;
    doc.LoadXml("<a xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
                "xmlns:y=\"http://www.w3.org/2001/XMLSchema-instancX\" xsi:xmlns=\"1\" xsi:schemaLocation=\"1\" "
                "xsi:noNamespaceSchemaLocation=\"1\" xsi:schemaLocatioN=\"1\" xsi:typ=\"1\" xsi:Nil=\"1\" "
                "y:type=\"1\" y:nil=\"1\" nil=\"1\" type=\"1\"/>");
    const char* const kExpected[] = {"xmlns:N", "schemaLocation:N", "noNamespaceSchemaLocation:N", "schemaLocatioN:",
                                     "typ:", "Nil:", "type:", "nil:", "nil:", "type:"};
    const auto& attrs = doc.GetDocumentElement()->GetAttributes();
    ASSERT_EQ(sizeof(kExpected) / sizeof(kExpected[0]), attrs.size());
    for (size_t i = 0; i < attrs.size(); ++i)
    {
        std::string strSeen = attrs[i]->GetLocalName() + ":" + (attrs[i]->IsNamespaceAttribute() ? "N" : "") +
                              (attrs[i]->IsNilAttribute() ? "nil" : "");
        EXPECT_EQ(kExpected[i], strSeen);
    }
}

TEST(XmlDocument, SecondLoadLeavesNothingOfTheFirst)
{
    CXmlDocument doc;
    doc.LoadXml("<a xmlns:p=\"urn:p\"><p:b/><c>t</c></a>");
    doc.LoadXml("<z/>");
    const CXmlElement* pRoot = doc.GetDocumentElement();
    EXPECT_EQ("z", pRoot->GetLocalName());
    EXPECT_EQ(nullptr, pRoot->GetFirstElement());
    EXPECT_EQ("", pRoot->GetText());
    EXPECT_EQ("", doc.LookupNamespaceFromAlias("p"));
    // A failed load leaves no tree of the earlier one either.
    EXPECT_THROW(doc.LoadXml("<broken>"), CKrException);
    doc.LoadXml("<y/>");
    EXPECT_EQ("y", doc.GetDocumentElement()->GetLocalName());
}

TEST(XmlDocument, EncodingsFromDeclarationAndByteOrderMark)
{
    CXmlDocument doc;
    const char latin1[] = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>caf\xE9</a>";
    doc.LoadXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(latin1)), sizeof(latin1) - 1);
    EXPECT_EQ("caf\xC3\xA9", doc.GetDocumentElement()->GetText());  // local code page is UTF-8

    auto wide = Utf16("<a b=\"x\">\xE9</a>");
    wide[9] = 0x20AC;  // the euro sign as one 16-bit unit
    doc.LoadXml(wide.data());
    EXPECT_EQ("\xE2\x82\xAC", doc.GetDocumentElement()->GetText());

    EXPECT_KR_THROW(doc.LoadXml(Utf16("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>").data()), CKrException,
                    "encoding specified in XML declaration is incorrect at line 1");
    const char legacy[] = "<?xml version=\"1.0\" encoding=\"x-no-such-charset\"?><a/>";
    EXPECT_KR_THROW(doc.LoadXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(legacy)), sizeof(legacy) - 1),
                    CKrException, "unknown encoding at line 1");
}

TEST(XmlDocument, LocalCodePageConversion)
{
    SetLocalCharEncoding(1252);
    CXmlDocument doc;
    doc.LoadXml("<r\xC3\xA9 a=\"\xE2\x82\xAC\">&#x4E2D;\xC3\xA9</r\xC3\xA9>");
    SetLocalCharEncoding(0);
    const CXmlElement* pRoot = doc.GetDocumentElement();
    EXPECT_EQ("r\xE9", pRoot->GetLocalName());
    EXPECT_EQ("\x80", pRoot->GetAttribute("a", ""));  // the euro sign in code page 1252
    EXPECT_EQ("?\xE9", pRoot->GetText());             // a character 1252 lacks becomes '?'

    ASCIIOnly(true);
    doc.LoadXml("<r>\xC3\xA9</r>");
    ASCIIOnly(false);
    EXPECT_EQ("\xC3\xA9", doc.GetDocumentElement()->GetText());
}

// ---- element-end callback ----

int g_nSeen = 0;
bool ConsumeAll(CXmlElement*)
{
    ++g_nSeen;
    return true;
}
bool ConsumeLeaves(CXmlElement* p)
{
    ++g_nSeen;
    return p->GetParentElm() != nullptr;
}

TEST(XmlDocument, CallbackConsumesElements)
{
    g_nSeen = 0;
    CXmlDocument doc(&ConsumeLeaves);
    doc.LoadXml("<r><a>1</a><b><c/></b><a/></r>");
    EXPECT_EQ(5, g_nSeen);
    ASSERT_NE(nullptr, doc.GetDocumentElement());
    EXPECT_EQ(nullptr, doc.GetDocumentElement()->GetFirstElement());

    g_nSeen = 0;
    CXmlDocument all(&ConsumeAll);
    all.LoadXml("<r><a/></r>");
    EXPECT_EQ(2, g_nSeen);
    EXPECT_EQ(nullptr, all.GetDocumentElement());  // the root was consumed too
}

bool RefuseSecond(CXmlElement* p)
{
    if (p->GetLocalName() == "b")
        throw CKrValidationException("refused", p->GetXPath());
    return false;
}

TEST(XmlDocument, CallbackFailureReachesTheCallerAndTheDocumentStaysUsable)
{
    CXmlDocument doc(&RefuseSecond);
    EXPECT_KR_THROW(doc.LoadXml("<r><a/><b/><c/></r>"), CKrValidationException, "refused\nPath: /r/b");
    doc.LoadXml("<r><a/></r>");
    EXPECT_EQ("a", doc.GetDocumentElement()->GetFirstElement()->GetLocalName());
}

// ---- bad input ----

TEST(XmlDocument, EmptyInput)
{
    CXmlDocument doc;
    EXPECT_KR_THROW(doc.LoadXml(""), CKrException, "XML String is empty!");
    EXPECT_KR_THROW(doc.LoadXml(static_cast<const char*>(nullptr)), CKrException, "XML String is empty!");
    unsigned short empty16[1] = {0};
    EXPECT_KR_THROW(doc.LoadXml(empty16), CKrException, "XML String is empty!");
    unsigned char b = 0;
    EXPECT_KR_THROW(doc.LoadXmlStream(&b, 0), CKrException, "XML Stream is empty!");
    std::string strEmptyFile = TempPath("empty.xml");
    WriteFileBytes(strEmptyFile, "");
    EXPECT_KR_THROW(doc.Load(strEmptyFile.c_str()), CKrException, "no element found at line 1");
}

TEST(XmlDocument, MalformedAndTruncated)
{
    CXmlDocument doc;
    EXPECT_KR_THROW(doc.LoadXml("<a>\n<b></a>"), CKrException, "mismatched tag at line 2");
    EXPECT_KR_THROW(doc.LoadXml("<a><b>text"), CKrException, "no element found at line 1");
    EXPECT_KR_THROW(doc.LoadXml("just text"), CKrException, "syntax error at line 1");
    EXPECT_KR_THROW(doc.LoadXml("<a/><b/>"), CKrException, "junk after document element at line 1");
    EXPECT_KR_THROW(doc.LoadXml("<a x='1' x='2'/>"), CKrException, "duplicate attribute at line 1");
    EXPECT_KR_THROW(doc.LoadXml("<a>&undefined;</a>"), CKrException, "undefined entity at line 1");
    const unsigned char bad[] = {'<', 'a', '>', 0xFF, '<', '/', 'a', '>'};
    EXPECT_KR_THROW(doc.LoadXmlStream(const_cast<unsigned char*>(bad), sizeof(bad)), CKrException,
                    "not well-formed (invalid token) at line 1");
}

TEST(XmlDocument, EntityExpansionBombIsRefused)
{
    std::string strBomb = "<?xml version=\"1.0\"?><!DOCTYPE l [<!ENTITY l0 \"lollollollollollollollollollol\">";
    for (int i = 1; i < 10; ++i)
        strBomb += "<!ENTITY l" + std::to_string(i) + " \"" +
                   [&] {
                       std::string s;
                       for (int k = 0; k < 10; ++k)
                           s += "&l" + std::to_string(i - 1) + ";";
                       return s;
                   }() +
                   "\">";
    strBomb += "]><l>&l9;</l>";
    CXmlDocument doc;
    try
    {
        doc.LoadXml(strBomb.c_str());
        FAIL() << "the expansion was accepted";
    }
    catch (const CKrException& e)
    {
        EXPECT_NE(std::string::npos, e.GetMessage().find("amplification")) << e.GetMessage();
    }
}

TEST(XmlDocument, ExternalEntitiesAreNeverFetched)
{
    std::string strSecret = TempPath("secret.txt");
    WriteFileBytes(strSecret, "SECRET");
    std::string strXml = "<!DOCTYPE a [<!ENTITY e SYSTEM \"file://" + strSecret + "\">]><a>&e;</a>";
    CXmlDocument doc;
    try
    {
        doc.LoadXml(strXml.c_str());
        EXPECT_EQ(std::string::npos, doc.GetDocumentElement()->GetText().find("SECRET"));
    }
    catch (const CKrException&)
    {
        // Refusing the reference is as good as skipping it.
    }
}

TEST(XmlDocument, DeepNestingNeedsNoStack)
{
    const int kDepth = 200000;
    KrXmlTest::DepthScope depth(kDepth);  // far beyond the default cap
    std::string strXml;
    strXml.reserve(kDepth * 7 + 16);
    for (int i = 0; i < kDepth; ++i)
        strXml += "<e>";
    strXml += "x";
    for (int i = 0; i < kDepth; ++i)
        strXml += "</e>";
    {
        CXmlDocument doc;
        doc.LoadXml(strXml.c_str());
        const CXmlElement* p = doc.GetDocumentElement();
        int nDepth = 1;
        while (p->GetFirstElement())
        {
            p = p->GetFirstElement();
            ++nDepth;
        }
        EXPECT_EQ(kDepth, nDepth);
        EXPECT_EQ("x", p->GetText());
        EXPECT_EQ(static_cast<size_t>(kDepth) * 2, p->GetXPath().size());
    }  // destruction of the deep tree
}

TEST(XmlDocument, FileErrorsCarryTheNameAndCode)
{
    CXmlDocument doc;
    EXPECT_KR_THROW(doc.Load("/nonexistent/dir/x.xml"), CKrException,
                    "Failed to open the file [/nonexistent/dir/x.xml] Error [0x00000002]");
    EXPECT_KR_THROW(doc.Load("/tmp"), CKrException, "Failed to open the file [/tmp] Error [0x00000015]");

    // A file beyond the 32-bit size a document can hold is refused before anything is read.
    // Sparse, so it costs no disk.
    const std::string strHuge = TempPath("huge.xml");
    KrXmlTest::WriteFileBytes(strHuge, "<a/>");
    if (::truncate(strHuge.c_str(), 5LL << 30) == 0)
    {
        EXPECT_KR_THROW(doc.Load(strHuge.c_str()), CKrException,
                        "Failed to get the size of the file [" + strHuge + "] Error [0x0000001b]");
        EXPECT_EQ(nullptr, doc.GetDocumentElement());
    }
    ::unlink(strHuge.c_str());
}

// ---- an object read by every road ----

TEST(ObjectReading, EveryRoadFillsTheObject)
{
    const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
    KrXmlTest::COrder original;
    KrXmlTest::COrder::FillSample(original);
    const std::string strXml = original.ToXml(true, true, EOLType_LF, ctx);
    CBinaryData utf16 = LocalToUtf16(original.ToXml(false, false, EOLType_LF, ctx).c_str());
    std::vector<unsigned short> wide(utf16.GetLength() / 2 + 1, 0);
    std::memcpy(wide.data(), utf16.GetData(), utf16.GetLength());
    const std::string strFile = TempPath("order.xml");
    WriteFileBytes(strFile, strXml);
    CXmlDocument doc;
    doc.LoadXml(strXml.c_str());

    const std::function<void(KrXmlTest::COrder&)> aRoads[] = {
        [&](KrXmlTest::COrder& o) { o.FromXml(strXml.c_str(), ctx); },
        [&](KrXmlTest::COrder& o) { o.FromXml(wide.data(), ctx); },
        [&](KrXmlTest::COrder& o) {
            o.FromXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strXml.data())),
                            static_cast<uint32_t>(strXml.size()), ctx);
        },
        [&](KrXmlTest::COrder& o) { o.FromXmlStream(CBinaryData(strXml.c_str()), ctx); },
        [&](KrXmlTest::COrder& o) { o.FromXmlFile(strFile.c_str(), ctx); },
        [&](KrXmlTest::COrder& o) { o.FromXmlElement(doc.GetDocumentElement(), ctx); },
    };
    int nRoad = 0;
    for (const auto& read : aRoads)
    {
        CSmartPtr<KrXmlTest::COrder> p(new KrXmlTest::COrder);
        read(*p);
        EXPECT_TRUE(original == *p) << "road " << nRoad++;
    }
}

TEST(ObjectReading, FailuresCarryPathAndParserText)
{
    const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
    CSmartPtr<KrXmlTest::COrder> p(new KrXmlTest::COrder);
    EXPECT_KR_THROW(p->FromXml("<order xmlns=\"urn:example:order\"><item/><bad/></order>", ctx), CKrValidationException,
                    "Unexpected element\nPath: /order/bad");
    EXPECT_KR_THROW(p->FromXml("<order xmlns=\"urn:example:order\">", ctx), CKrException, "no element found at line 1");
    EXPECT_KR_THROW(p->FromXmlFile(TempPath("missing.xml").c_str(), ctx), CKrException,
                    "Failed to open the file [" + TempPath("missing.xml") + "] Error [0x00000002]");
}

} // namespace
