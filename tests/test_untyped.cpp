#include "testsupport.h"

#include <cstdlib>
#include <thread>
#include <vector>

#include "krxmllib.h"
#include "orderobject.h"

using namespace KrXmlLib16;

namespace {

const CSerializationContext& Default() { return CSerializationContext::GetDefaultContext(); }

std::string Flat(const CXmlObjectBase& o) { return o.ToXml(false, false, EOLType_LF, Default()); }

// Reaches the fixed-name reading of a wildcard collection.
class CProbeCol : public CElementCol
{
public:
    CProbeCol() : CElementCol("", "##any", "", 0, -1) {}
    CXmlElement* ReadRun(const char* lpName, const char* lpNs, CXmlElement* pParent, CXmlElement* pCursor)
    {
        return FromXmlLockElementName_Int(lpName, lpNs, pParent, pCursor, Default());
    }
};

// ---- construction rules ----

TEST(Element, ConstructionRules)
{
    EXPECT_KR_THROW(CElement("a", "##any"), CKrInvalidNamespaceException, "Invalid Namespace [##any].");
    EXPECT_KR_THROW(CElement("a", "##local"), CKrInvalidNamespaceException, "Invalid Namespace [##local].");
    CSmartPtr<CElement> spAny(new CElement("a", "##any", "##any", ""));
    EXPECT_EQ("##any", spAny->GetNamespace());
    EXPECT_KR_THROW(CElement(nullptr), CKrInvalidNamespaceException, "Element Name must have a value");
    EXPECT_KR_THROW(CElement("a", nullptr, "##any", ""), CKrInvalidNamespaceException,
                    "Element Namespace must have a value");
    EXPECT_KR_THROW(CElement("a", "", nullptr, ""), CKrInvalidNamespaceException,
                    "Namespace Restriction must have a value");
    EXPECT_KR_THROW(CElement("a", "", "##any", nullptr), CKrInvalidNamespaceException,
                    "Target Namespace must have a value");
    EXPECT_KR_THROW(CElement("a", "urn:y", "urn:x", "urn:t"), CKrInvalidNamespaceException,
                    "Invalid namespace [urn:y]. The namespace must be one of [urn:x] where the target namespace is "
                    "[urn:t].");

    CSmartPtr<CElement> spPlain(new CElement("a"));
    EXPECT_EQ("", spPlain->GetNamespace());
    EXPECT_EQ("##any", spPlain->GetChildElements()->GetDefaultNamespace());

    // A plain namespace is the element's only one, but its children may take any.
    CSmartPtr<CElement> spNs(new CElement("a", "urn:x"));
    EXPECT_EQ("urn:x", spNs->GetNamespaceRestrictions());
    CSmartPtr<CElement> spChild = spNs->GetChildElements()->Add("b", "urn:other");
    EXPECT_EQ("urn:other", spChild->GetNamespace());
    EXPECT_EQ("urn:x", spNs->GetChildElements()->Add("c")->GetNamespace());
}

TEST(ElementCol, DefaultNamespaceAndAddRules)
{
    CSmartPtr<CElementCol> spNone(new CElementCol("", "urn:a ##local", "", 0, -1));
    EXPECT_KR_THROW(spNone->Add("x"), CKrInvalidStateException, "A Namespace has not been set for this Collection");
    EXPECT_KR_THROW(CSmartPtr<CElementCol>(new CElementCol("urn:b", "urn:a", "", 0, -1)), CKrInvalidNamespaceException,
                    "Invalid namespace [urn:b]. The namespace must be one of [urn:a] where the target namespace is [].");
    CSmartPtr<CElementCol> spCol(new CElementCol("urn:a", "urn:a", "urn:t", 0, 2));
    spCol->Add("one");
    spCol->Add("two", "urn:anything");  // the restriction was only tested at construction
    EXPECT_EQ(2, spCol->GetCount());
    EXPECT_EQ("two", spCol->Item(1)->GetName());
    EXPECT_KR_THROW(spCol->Item(2), CKrInvalidParamException, "Index 2 is out of range, use 0 - 1");
    EXPECT_KR_THROW(spCol->Remove(5), CKrInvalidParamException, "Index 5 is out of range, use 0 - 1");
    CSmartPtr<CElement> spMiddle(new CElement("mid"));
    spCol->AddAfter(spCol->Item(0), spMiddle);
    EXPECT_EQ("mid", spCol->Item(1)->GetName());
    EXPECT_KR_THROW(spCol->AddBefore(CSmartPtr<CElement>(new CElement("x")), spMiddle), CKrInvalidParamException,
                    "The object was not found in the collection");
    // Three items in a collection of at most two: writing counts them first.
    EXPECT_KR_THROW(spCol->ToXml(false, false, EOLType_LF, Default()), CKrValidationException,
                    "The Maximum number of [] elements allowed in this collection is 2");
}

TEST(ElementCol, IteratorStopsAtTheEnd)
{
    CSmartPtr<CElementCol> spCol(new CElementCol("urn:a", "##any", "", 0, -1));
    spCol->Add("a");
    spCol->Add("b");
    std::string strNames;
    for (CElement* p : *spCol)
        strNames += p->GetName();
    EXPECT_EQ("ab", strNames);
    CKrIterator<CElement> it = spCol->end();
    EXPECT_KR_THROW(++it, CKrException, "No More Elements in the Collection");
}

// ---- attributes ----

TEST(AttributeCol, NamespaceRulesOnAddAndRead)
{
    CSmartPtr<CAttributeCol> spUri(new CAttributeCol("", "urn:first urn:second", "urn:t"));
    EXPECT_EQ("urn:first", spUri->GetNamespace());
    CSmartPtr<CAttributeCol> spOther(new CAttributeCol("", "##other", "urn:t"));
    EXPECT_EQ("", spOther->GetNamespace());

    EXPECT_EQ("urn:first", spUri->Add("a", "1")->GetNamespace());
    EXPECT_EQ("", spUri->Add("b")->GetValue());
    EXPECT_KR_THROW(spUri->Add("c", "1", "urn:third"), CKrInvalidNamespaceException,
                    "Invalid namespace [urn:third]. The namespace must be one of [urn:first urn:second] where the "
                    "target namespace is [urn:t].");
    CSmartPtr<CAttributeCol> spAny(new CAttributeCol("", "##any", ""));
    CSmartPtr<CAttribute> spForeign = spAny->Add("f", "v", "urn:third");
    spUri->Add(spForeign);  // an attribute object passes without a test
    EXPECT_EQ(3, spUri->GetCount());

    CXmlDocument doc;
    doc.LoadXml("<r xmlns:t='urn:t' xmlns:z='urn:z'><e t:ok='1' z:bad='2'/></r>");
    CXmlElement* pE = doc.GetDocumentElement()->GetFirstElement();
    CSmartPtr<CAttributeCol> spTarget(new CAttributeCol("", "##targetNamespace", "urn:t"));
    EXPECT_KR_THROW(spTarget->FromXml_Int(pE, nullptr, Default(), false), CKrInvalidNamespaceException,
                    "Invalid Attribute [bad]. The attributes namespace is Inappropriate.\nPath: /r/e");
    EXPECT_EQ(1, spTarget->GetCount());  // the one before was taken
}

TEST(Attribute, WrittenByWriterAndNeverReadAlone)
{
    CSmartPtr<CElement> spE(new CElement("e", "urn:e"));
    spE->GetAttributes()->Add("plain", "a\"b\nc", "");
    spE->GetAttributes()->Add("ns", "<&>", "urn:x");
    EXPECT_EQ("<AA:e xmlns:AA=\"urn:e\" plain=\"a&quot;b&#xA;c\" xmlns:AB=\"urn:x\" AB:ns=\"&lt;&amp;&gt;\"/>", Flat(*spE));
    CSmartPtr<CAttribute> spClone = spE->GetAttributes()->Item(1)->Clone();
    EXPECT_EQ("ns", spClone->GetName());
    EXPECT_EQ("urn:x", spClone->GetNamespace());
    CXmlDocument doc;
    doc.LoadXml("<a/>");
    struct CProbe : CAttribute
    {
        static void Read(CAttribute* p, CXmlElement* pE) { CXmlObjectBase::FromXml_Int(p, pE, nullptr, Default()); }
    };
    EXPECT_KR_THROW(CProbe::Read(spClone, doc.GetDocumentElement()), CKrException, "This should be done by the collection");
}

// ---- reading and writing ----

const char kMixed[] =
    "<p:doc xmlns:p='urn:p' xmlns:q='urn:q' p:id='1' plain='x &amp; y'>"
    "<p:a>one</p:a><q:b q:k='v'><c>deep &lt;text&gt;</c></q:b><p:a/>tail</p:doc>";

TEST(Element, ReadsAnyDocumentAndWritesItBack)
{
    CSmartPtr<CElement> spE(new CElement("ignored", "urn:whatever", "##any", ""));
    spE->FromXml(kMixed);
    EXPECT_EQ("doc", spE->GetName());
    EXPECT_EQ("urn:p", spE->GetNamespace());
    EXPECT_EQ("tail", spE->GetText());
    EXPECT_EQ(2, spE->GetAttributes()->GetCount());
    ASSERT_EQ(3, spE->GetChildElements()->GetCount());
    CSmartPtr<CElement> spB = spE->GetChildElements()->Item(1);
    EXPECT_EQ("urn:q", spB->GetNamespace());
    EXPECT_EQ("deep <text>", spB->GetChildElements()->Item(0)->GetText());

    std::string strOut = Flat(*spE);
    EXPECT_EQ("<AA:doc xmlns:AA=\"urn:p\" AA:id=\"1\" plain=\"x &amp; y\"><AA:a>one</AA:a>"
              "<AB:b xmlns:AB=\"urn:q\" AB:k=\"v\"><c>deep &lt;text&gt;</c></AB:b><AA:a/>tail</AA:doc>",
              strOut);
    // What was written reads back to the same writing.
    CSmartPtr<CElement> spAgain(new CElement("x"));
    spAgain->FromXml(strOut.c_str());
    EXPECT_EQ(strOut, Flat(*spAgain));

    // Reading adds to what the element holds.
    spAgain->FromXml("<doc2 n='1'><z/></doc2>");
    EXPECT_EQ("doc2", spAgain->GetName());
    EXPECT_EQ(3, spAgain->GetAttributes()->GetCount());
    EXPECT_EQ(4, spAgain->GetChildElements()->GetCount());
}

TEST(Element, DocumentOptionsApplyAtTheRoot)
{
    CSmartPtr<CElement> spE(new CElement("x"));
    spE->FromXml("<r xmlns='urn:r'><s/></r>");
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI("urn:r");
    ctx.GetNamespaceAliases().Add("n", "urn:n");
    ctx.GetProcessingInstructions().push_back("<?pi x?>");
    ctx.GetAdditionalRootAttributes()->Add("extra", "1", "urn:n");
    EXPECT_EQ("<?pi x?>\n\n<r xmlns=\"urn:r\" xmlns:n=\"urn:n\" n:extra=\"1\"><s/></r>",
              spE->ToXml(false, false, EOLType_LF, ctx));
}

TEST(Element, RestrictionsRefuseOnReading)
{
    CSmartPtr<CElement> spE(new CElement("r", "urn:r"));
    EXPECT_KR_THROW(spE->FromXml("<r xmlns='urn:other'/>"), CKrInvalidNamespaceException,
                    "Invalid namespace [urn:other]. The namespace must be one of [urn:r] where the target namespace "
                    "is [].\nPath: /r");
}

TEST(ElementCol, FixedNameRunStopsAtAnotherNameOrNamespace)
{
    CXmlDocument doc;
    doc.LoadXml("<r xmlns:o='urn:o'><a>1</a><a>2</a><o:a>3</o:a><a>4</a></r>");
    CSmartPtr<CProbeCol> spCol(new CProbeCol);
    CXmlElement* pRoot = doc.GetDocumentElement();
    CXmlElement* pLeft = spCol->ReadRun("a", "", pRoot, pRoot->GetFirstElement());
    EXPECT_EQ(2, spCol->GetCount());
    ASSERT_NE(nullptr, pLeft);
    EXPECT_EQ("3", pLeft->GetText());
    pLeft = spCol->ReadRun("a", "urn:o", pRoot, pLeft);
    EXPECT_EQ("4", pLeft->GetText());
    EXPECT_EQ(3, spCol->GetCount());
}

// ---- copies ----

TEST(Element, CloneIsDeepAndCopyShares)
{
    CSmartPtr<CElement> spE(new CElement("x"));
    spE->FromXml(kMixed);
    CSmartPtr<CElement> spClone = spE->Clone();
    CSmartPtr<CElement> spCopy(new CElement(*spE));
    spE->GetChildElements()->Item(1)->SetText("changed");
    spE->GetAttributes()->Add("added");
    EXPECT_EQ("", spClone->GetChildElements()->Item(1)->GetText());
    EXPECT_EQ(2, spClone->GetAttributes()->GetCount());
    EXPECT_EQ("changed", spCopy->GetChildElements()->Item(1)->GetText());  // shared by reference
    EXPECT_EQ(3, spCopy->GetAttributes()->GetCount());
}

TEST(Element, FromBoundObjectAndBack)
{
    CSmartPtr<KrXmlTest::COrder> spOrder(new KrXmlTest::COrder);
    KrXmlTest::COrder::FillSample(*spOrder);
    CSmartPtr<CElement> spE(new CElement(spOrder, nullptr));
    EXPECT_EQ("order", spE->GetName());
    EXPECT_EQ(KrXmlTest::kOrderNs, spE->GetNamespace());
    EXPECT_EQ(4, spE->GetChildElements()->GetCount());  // customer and three items

    CSmartPtr<KrXmlTest::COrder> spBack(new KrXmlTest::COrder);
    spBack->FromXmlElement(static_cast<const CElement*>(spE), Default());
    EXPECT_TRUE(*spBack == *spOrder);

    // With a default namespace of its own the element is written as a nested document, and its
    // clone forgets that namespace.
    CSmartPtr<CElement> spDefault(new CElement(spOrder, KrXmlTest::kOrderNs));
    EXPECT_EQ(KrXmlTest::kOrderNs, spDefault->GetDefaultNamespace());
    EXPECT_EQ("", spDefault->Clone()->GetDefaultNamespace());
    CSmartPtr<CElement> spHolder(new CElement("holder"));
    spHolder->GetChildElements()->Add(spDefault);
    std::string strOut = Flat(*spHolder);
    EXPECT_EQ(0u, strOut.find("<holder><order xmlns=\"urn:example:order\"><customer>")) << strOut;
    CSmartPtr<CElement> spReread(new CElement("x"));
    spReread->FromXml(strOut.c_str());
    CSmartPtr<KrXmlTest::COrder> spFromNested(new KrXmlTest::COrder);
    spFromNested->FromXmlElement(static_cast<const CElement*>(spReread->GetChildElements()->Item(0)), Default());
    EXPECT_EQ(spOrder->m_items.size(), spFromNested->m_items.size());
    EXPECT_EQ(spOrder->m_strCustomerCity, spFromNested->m_strCustomerCity);
}

TEST(Element, ListsOfACopiedElementAreInNoNamespace)
{
    // The lists of an element copied from a bound object, made during the copy (the root's
    // attributes and children) or later (a leaf's), take no namespace: what is added to them
    // later is written without a prefix.
    CSmartPtr<KrXmlTest::COrder> spOrder(new KrXmlTest::COrder);
    spOrder->m_strId = "1";
    spOrder->m_strStatus = "s";
    spOrder->m_strCustomerName = "n";
    spOrder->m_strCustomerCity = "c";
    CSmartPtr<CElement> spE(new CElement(spOrder, nullptr));
    CSmartPtr<CElement> spCustomer = spE->GetChildElements()->Item(0);
    CSmartPtr<CElement> spName = spCustomer->GetChildElements()->Item(0);
    CSmartPtr<CElement> spCity = spCustomer->GetChildElements()->Item(1);
    CSmartPtr<CElement> spNameClone = spName->Clone();
    CSmartPtr<CElement> spMoved(new CElement("m"));
    spMoved->SetNamespace("urn:m");
    for (CElement* p : {spE.p, spCustomer.p, spCity.p, spNameClone.p, spMoved.p})
    {
        EXPECT_EQ("", p->GetAttributes()->GetNamespace()) << p->GetName();
        EXPECT_EQ("##any", p->GetChildElements()->GetDefaultNamespace()) << p->GetName();
    }
    spE->GetAttributes()->Add("added", "1");
    spCity->GetAttributes()->Add("x", "2");
    spCity->GetChildElements()->Add("sub", "");
    EXPECT_EQ("<AA:order xmlns:AA=\"urn:example:order\" id=\"1\" status=\"s\" added=\"1\"><AA:customer>"
              "<AA:name>n</AA:name><AA:city x=\"2\"><sub/>c</AA:city></AA:customer></AA:order>",
              Flat(*spE));
    spNameClone->GetAttributes()->Add("y", "3");
    EXPECT_EQ("<AA:name xmlns:AA=\"urn:example:order\" y=\"3\">n</AA:name>", Flat(*spNameClone));
    spMoved->GetAttributes()->Add("k", "v");
    EXPECT_EQ("<AA:m xmlns:AA=\"urn:m\" k=\"v\"/>", Flat(*spMoved));
}

TEST(Element, SetNamespaceRestrictionsTestsTheSubtree)
{
    CSmartPtr<CElement> spE(new CElement("x"));
    spE->FromXml("<a xmlns='urn:a'><b xmlns='urn:b'/></a>");
    spE->SetNamespaceRestrictions("urn:a urn:b", "");
    try
    {
        spE->SetNamespaceRestrictions("urn:a", "");
        FAIL();
    }
    catch (const CKrInvalidNamespaceException& e)
    {
        EXPECT_EQ("The namespace urn:b in the class b is invalid against restriction urn:a", e.GetMessage());
        ASSERT_NE(nullptr, e.GetInnerException());
        EXPECT_EQ("Invalid namespace [urn:b]. The namespace must be one of [urn:a] where the target namespace is [].",
                  e.GetInnerException()->GetMessage());
    }
    EXPECT_EQ("##any", spE->GetNamespaceRestrictions());  // nothing is stored
}

TEST(Element, PartsOutliveTheTreeTheyWereReadWith)
{
    CSmartPtr<CElement> spKept;
    CSmartPtr<CAttribute> spAttr;
    {
        CSmartPtr<CElement> spE(new CElement("x"));
        spE->FromXml(kMixed);
        spKept = spE->GetChildElements()->Item(1);
        spAttr = spE->GetAttributes()->Item(1);
    }
    EXPECT_EQ("b", spKept->GetName());
    EXPECT_EQ("deep <text>", spKept->GetChildElements()->Item(0)->GetText());
    EXPECT_EQ("x & y", spAttr->GetValue());
    // Trees read on one thread may die on another.
    std::vector<CSmartPtr<CElement>> trees;
    for (int i = 0; i < 4; ++i)
    {
        trees.push_back(CSmartPtr<CElement>(new CElement("x")));
        trees.back()->FromXml(kMixed);
    }
    std::thread t([&trees] {
        for (auto& sp : trees)
            sp = nullptr;
    });
    t.join();
    EXPECT_EQ("b", spKept->GetName());
}

// ---- threads ----

int32_t AliveInstances(const char* lpClass)
{
    std::string strReport = CInstanceMonitor::DumpState();
    std::string strKey = std::string(" ") + lpClass + " = ";
    size_t pos = strReport.find(strKey);
    return pos == std::string::npos ? 0 : std::atoi(strReport.c_str() + pos + strKey.size());
}

TEST(SerializationContext, RootAttributesAreMadeOnceWhenThreadsAskTogether)
{
    int32_t lBefore = AliveInstances("CAttributeCol");
    for (int iRound = 0; iRound < 300; ++iRound)
    {
        CSerializationContext ctx;
        CAttributeCol* apSeen[2] = {};
        KrXmlTest::OnTwoThreads([&](int i) { apSeen[i] = ctx.GetAdditionalRootAttributes(); });
        ASSERT_EQ(apSeen[0], apSeen[1]) << "round " << iRound;
        ASSERT_EQ(apSeen[0], ctx.PeekAdditionalRootAttributes());
    }
    EXPECT_EQ(lBefore, AliveInstances("CAttributeCol"));  // none left behind by a lost race
}

TEST(Element, TwoThreadsWriteTheirOwnElementsWithTheDefaultContext)
{
    const bool bHadRootAttributes = Default().PeekAdditionalRootAttributes() != nullptr;
    std::string astrOut[2];
    KrXmlTest::OnTwoThreads([&](int i) {
        for (int iRound = 0; iRound < 200; ++iRound)
        {
            CSmartPtr<CElement> spE(new CElement("t", "urn:t"));
            spE->GetAttributes()->Add("n", std::to_string(i).c_str());
            spE->GetChildElements()->Add("c", "urn:t")->SetText("x");
            astrOut[i] = spE->ToXml(false, false, EOLType_LF, CSerializationContext::GetDefaultContext());
        }
    });
    EXPECT_EQ("<AA:t xmlns:AA=\"urn:t\" AA:n=\"0\"><AA:c>x</AA:c></AA:t>", astrOut[0]);
    EXPECT_EQ("<AA:t xmlns:AA=\"urn:t\" AA:n=\"1\"><AA:c>x</AA:c></AA:t>", astrOut[1]);
    // Writing only looks: the shared context got nothing that nobody asked for.
    EXPECT_EQ(bHadRootAttributes, Default().PeekAdditionalRootAttributes() != nullptr);
}

// ---- depth ----

TEST(Element, DeepNestingReadsWritesCopiesAndFreesWithoutRecursion)
{
    const int kDepth = 200000;
    KrXmlTest::DepthScope depth(kDepth);  // far beyond the default cap
    std::string strXml;
    for (int i = 0; i < kDepth; ++i)
        strXml += "<e>";
    strXml += "x";
    for (int i = 0; i < kDepth; ++i)
        strXml += "</e>";
    CSmartPtr<CElement> spE(new CElement("x"));
    spE->FromXml(strXml.c_str());
    EXPECT_EQ(strXml, Flat(*spE));
    CSmartPtr<CElement> spClone = spE->Clone();
    spE = nullptr;
    CSmartPtr<CElement> spDeepest = spClone;
    int nDepth = 1;
    while (spDeepest->GetChildElements()->GetCount() > 0)
    {
        spDeepest = spDeepest->GetChildElements()->Item(0);
        ++nDepth;
    }
    EXPECT_EQ(kDepth, nDepth);
    EXPECT_EQ("x", spDeepest->GetText());
}

} // namespace
