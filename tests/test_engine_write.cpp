// Writing bound classes: the frame of one element (attributes, pseudo children, nil, simple
// content, xsi:type), defaults, the choice rule, the failure chain, and the metadata helpers.
#include <functional>
#include <string>
#include <vector>

#include "engineclasses.h"
#include "purchaseorder.h"
#include "testsupport.h"

using namespace KrXmlLib16;
using namespace KrXmlLib16Data;
using namespace KrXmlTest;

namespace {

const std::type_info& Kr = typeid(CKrException);
const std::type_info& Val = typeid(CKrValidationException);
const std::type_info& Value = typeid(CKrInvalidValueException);
const std::type_info& Param = typeid(CKrInvalidParamException);

std::string Write(const CXmlObjectBase* pObject, CSerializationContext ctx = CSerializationContext())
{
    ctx.SetDefaultNamespaceURI(kTestNs);
    return pObject->ToXml(false, false, EOLType_LF, ctx);
}

CSerializationContext With(std::function<void(CSerializationContext&)> set)
{
    CSerializationContext ctx;
    set(ctx);
    return ctx;
}

// A t:SeqDoc with every mandatory member set.
CSmartPtr<CSeqDoc> MinimalSeqDoc()
{
    CSmartPtr<CSeqDoc> sp = new CSeqDoc();
    sp->SetVer(1);
    sp->SetId(5);
    sp->GetNum()->Add(1);
    sp->SetColor(Color_red);
    sp->GetPoint()->SetX(1);
    CSmartPtr<CCircle> spCircle = new CCircle("shape");
    spCircle->SetRadius(1);
    sp->SetShape(spCircle);
    sp->GetAny()->SetName("w");
    sp->GetAny()->SetNamespace(kOtherNs);
    return sp;
}

const std::string kSeqMinimal =
    "<id>5</id><num>1</num><color>red</color><point><x>1</x></point>"
    "<shape xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:type=\"Circle\"><radius>1</radius></shape>"
    "<AA:w xmlns:AA=\"urn:kr:other\"/></seqDoc>";

CSmartPtr<CAllDoc> MinimalAllDoc(bool bWithShape = true)
{
    CSmartPtr<CAllDoc> sp = new CAllDoc();
    sp->SetKind(Color_blue);
    sp->SetId(1);
    sp->GetNum()->Add(1);
    sp->SetColor(Color_red);
    sp->GetPoint()->SetX(1);
    if (bWithShape)
    {
        CSmartPtr<CSquare> spSquare = new CSquare("shape");
        spSquare->SetSide(2);
        sp->SetShape(spSquare);
    }
    sp->GetAny()->SetName("w");
    sp->GetAny()->SetNamespace(kOtherNs);
    return sp;
}

CSmartPtr<CGroupDoc> FullGroupDoc()
{
    CSmartPtr<CGroupDoc> sp = new CGroupDoc();
    sp->SetDoc("d");
    sp->GetAddr()->SetStreet("s");
    sp->GetAddr()->SetCity("c");
    sp->GetAddr()->SetZone("z");
    CSmartPtr<CChoiceGroup> spPay = new CChoiceGroup("pay");
    spPay->SetCash(5);
    spPay->SetVia("v");
    sp->SetPay(spPay);
    sp->GetExt()->SetP("p");
    sp->GetExt()->SetTag(Color_green);
    CSmartPtr<CSeqGroup> spMore = new CSeqGroup("more");
    spMore->SetStreet("s2");
    spMore->SetCity("c2");
    sp->GetMore()->AddObject(spMore);
    return sp;
}

} // namespace

TEST(EngineWrite, FrameOfOneElement)
{
    CSmartPtr<CSeqDoc> spSeq = MinimalSeqDoc();
    EXPECT_EQ("<seqDoc xmlns=\"urn:kr:test\" ver=\"1\">" + kSeqMinimal, Write(spSeq));

    // Pseudo children write no tag; their attributes follow the element's own, in row order,
    // before any child.
    EXPECT_EQ("<groupDoc xmlns=\"urn:kr:test\" doc=\"d\" zone=\"z\" via=\"v\" tag=\"green\"><street>s</street>"
              "<city>c</city><cash>5</cash><p>p</p><street>s2</street><city>c2</city></groupDoc>",
              Write(FullGroupDoc()));

    // A nil object writes its attributes and xsi:nil, and no content though it has some.
    CSmartPtr<CPoint> spNil = new CPoint();
    spNil->SetX(1);
    spNil->SetNil(true);
    EXPECT_EQ("<point xmlns=\"urn:kr:test\" xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:nil=\"true\"/>",
              Write(spNil));
    // Simple content: the value as text behind the attributes, or xsi:nil for a nil value.
    CSmartPtr<CVoucher> spVoucher = new CVoucher();
    spVoucher->SetCode("ABC");
    spVoucher->SetValue(CDecimal("-0.50"));
    EXPECT_EQ("<voucher xmlns=\"urn:kr:test\" code=\"ABC\">-0.5</voucher>", Write(spVoucher));
    spVoucher->SetNilValue();
    EXPECT_EQ("<voucher xmlns=\"urn:kr:test\" code=\"ABC\" xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "AA:nil=\"true\"/>",
              Write(spVoucher));
    CSmartPtr<CNote> spNote = new CNote();
    spNote->SetText(" not a number ");
    EXPECT_EQ("<note xmlns=\"urn:kr:test\"> not a number </note>", Write(spNote));

    // The root's extras: instructions ahead, aliases and further attributes on its tag, and an
    // inline schema inside it behind them; a child gets none of them.
    CSerializationContext extras;
    extras.GetProcessingInstructions().push_back("<?pi x?>");
    extras.GetNamespaceAliases().Add("o", kOtherNs);
    extras.GetAdditionalRootAttributes()->Add("extra", "1", kOtherNs);
    extras.SetInLineSchema("s:schema='x'");
    CSmartPtr<CSeqDoc> spExtras = MinimalSeqDoc();
    spExtras->SetVoucher(spVoucher);
    EXPECT_EQ("<?pi x?>\n\n<seqDoc xmlns=\"urn:kr:test\" xmlns:o=\"urn:kr:other\" o:extra=\"1\" ver=\"1\" \n"
              "s:schema='x'\n><id>5</id><num>1</num><color>red</color><point><x>1</x></point>"
              "<voucher code=\"ABC\" xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:nil=\"true\"/>"
              "<shape xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:type=\"Circle\"><radius>1</radius>"
              "</shape><o:w/></seqDoc>",
              Write(spExtras, extras));

    // A pseudo class as the root has no tag, so none of the root's extras.
    CSmartPtr<CSeqGroup> spGroup = new CSeqGroup();
    spGroup->SetStreet("s");
    spGroup->SetCity("c");
    spGroup->SetZone("z");
    EXPECT_EQ("<AA:street xmlns:AA=\"urn:kr:test\">s</AA:street><AA:city xmlns:AA=\"urn:kr:test\">c</AA:city>",
              spGroup->ToXml(false, false, EOLType_LF, extras));
}

TEST(EngineWrite, TypeAttributeOnlyForADerivedTypeUnderAnotherName)
{
    CSmartPtr<CCircle> spOwnName = new CCircle();
    spOwnName->SetRadius(2);
    EXPECT_EQ("<Circle xmlns=\"urn:kr:test\"><radius>2</radius></Circle>", Write(spOwnName));
    CSmartPtr<CCircle> spOtherName = new CCircle("c");
    spOtherName->SetRadius(2);
    EXPECT_EQ("<c xmlns=\"urn:kr:test\" xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:type=\"Circle\">"
              "<radius>2</radius></c>",
              Write(spOtherName));
    EXPECT_EQ("<c xmlns=\"urn:kr:test\"><radius>2</radius></c>",
              Write(spOtherName, With([](CSerializationContext& c) { c.SetWriteTypeAttribute(false); })));
    // a type in another namespace than the default one is written with an alias
    EXPECT_EQ("<AA:c xmlns:AA=\"urn:kr:test\" xmlns:AB=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "AB:type=\"AA:Circle\"><AA:radius>2</AA:radius></AA:c>",
              spOtherName->ToXml(false, false, EOLType_LF, CSerializationContext()));
    // no base classes: no type attribute under any name
    CSmartPtr<CPoint> spPoint = new CPoint("pt");
    spPoint->SetX(3);
    EXPECT_EQ("<pt xmlns=\"urn:kr:test\"><x>3</x></pt>", Write(spPoint));
}

TEST(EngineWrite, DefaultValuesOfElementsAndAttributes)
{
    CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
    sp->SetLabel("n/a");  // the default, though the pattern refuses it
    sp->SetShade(Color_blue);
    sp->SetMode(Color_green);
    sp->SetRev("none");   // the default, though the pattern refuses it
    const std::string kBody = "<id>5</id><label/><num>1</num><color>red</color><shade/>" + kSeqMinimal.substr(40);
    CSerializationContext noDefaults;
    noDefaults.SetNoOptionalAttributeDefaultOutput(true);
    EXPECT_EQ("<seqDoc xmlns=\"urn:kr:test\" ver=\"1\">" + kBody, Write(sp, noDefaults));
    noDefaults.SetWriteDefaultElementValues(true);
    EXPECT_EQ("<seqDoc xmlns=\"urn:kr:test\" ver=\"1\"><id>5</id><label>n/a</label><num>1</num><color>red</color>"
              "<shade>blue</shade>" + kSeqMinimal.substr(40),
              Write(sp, noDefaults));
    // Without the option the default attribute goes out, and is held to the facets.
    EXPECT_KR_CHAIN(Write(sp), {{Val, "Failed to convert the element [seqDoc] to XML", ""},
                                {Kr, "Failed to convert attributes to XML", ""},
                                {Kr, "Invalid Value for rev [none].", ""}});
    sp->SetRev("7");
    EXPECT_EQ("<seqDoc xmlns=\"urn:kr:test\" ver=\"1\" mode=\"green\" rev=\"7\">" + kBody, Write(sp));
    // A required attribute is written though it holds its default (ver); the purchase order's
    // default currency and gift flag are dropped on request.
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spOrder = new PurchaseOrder::CPurchaseOrderType();
    spOrder->FromXml(ReadFileBytes(std::string(KRXML_SOURCE_DIR) + "/examples/data/purchase-order.xml").c_str(),
                     CSerializationContext());
    spOrder->GetItem()->Item(0)->SetGift(false);
    CSerializationContext po;
    po.SetNoOptionalAttributeDefaultOutput(true);
    const std::string strOut = spOrder->ToXml(false, false, EOLType_LF, po);
    EXPECT_EQ(0u, strOut.find("<AA:purchaseOrder xmlns:AA=\"urn:example:po\" id=\"670488\" orderDate=\"2024-05-06\">"
                              "<AA:customer>"));
    EXPECT_NE(std::string::npos, strOut.find("<AA:item sku=\"SKU-000000\" line=\"1\">"));
}

TEST(EngineWrite, ChoiceWritesItsFirstMemberAndRefusesNone)
{
    CSmartPtr<CColChoice> sp = new CColChoice();
    EXPECT_KR_CHAIN(Write(sp), {{Val, "Failed to convert the element [colChoice] to XML", ""},
                                {Val,
                                 "This element is a choice, and as such must have at one (and only one) valid item, "
                                 "currently there are none set",
                                 ""}});
    EXPECT_EQ("<colChoice xmlns=\"urn:kr:test\"/>",
              Write(sp, With([](CSerializationContext& c) { c.SetIgnoreMissingChoice(true); })));
    sp->GetB()->Add(Color_red);
    sp->GetA()->Add("x");
    EXPECT_EQ("<colChoice xmlns=\"urn:kr:test\"><a>x</a></colChoice>", Write(sp));
    // A choice with optional members may stay empty, and so may a choice class that is one.
    CSmartPtr<CChoiceDoc> spDoc = new CChoiceDoc();
    EXPECT_EQ("<choiceDoc xmlns=\"urn:kr:test\"/>", Write(spDoc));
    spDoc->SetCc(new CColChoice("cc"));
    const std::string strOut = Write(spDoc);
    EXPECT_EQ("<choiceDoc xmlns=\"urn:kr:test\"><cc/></choiceDoc>", strOut);
    CSmartPtr<CChoiceDoc> spBack = new CChoiceDoc();
    spBack->FromXml(strOut.c_str(), CSerializationContext());
    EXPECT_EQ("cc", spBack->GetChosen());
}

TEST(EngineWrite, ChoiceSettersKeepOneMember)
{
    CSmartPtr<CChoiceDoc> sp = new CChoiceDoc();
    sp->SetId(1);
    EXPECT_KR_THROW(sp->SetColor(Color_red), CKrInvalidStateException,
                    "The Property id is already set. Only one element within this class bay be set at a time");
    CSmartPtr<CPoint> spPoint = new CPoint();
    EXPECT_KR_THROW(sp->SetPoint(spPoint), CKrInvalidStateException,
                    "The Property [id] is already set. Only one element within this class bay be set at a time");
    EXPECT_KR_THROW(sp->GetNum()->Add(2), CKrInvalidStateException,
                    "The Property [id] is already set. Only one element within this class bay be set at a time");
    // A collection that empties gives the choice free again.
    CSmartPtr<CChoiceDoc> spCol = new CChoiceDoc();
    spCol->GetTone()->Add(Color_blue);
    EXPECT_EQ("tone", spCol->GetChosen());
    spCol->GetTone()->Clear();
    EXPECT_EQ("", spCol->GetChosen());
    spCol->SetColor(Color_green);
    EXPECT_EQ("<choiceDoc xmlns=\"urn:kr:test\"><color>green</color></choiceDoc>", Write(spCol));
}

TEST(EngineWrite, FailuresGainOneLinkForEachEnclosingElement)
{
    const std::vector<KrLink> kSeq = {{Val, "Failed to convert the element [seqDoc] to XML", ""}};
    auto Chain = [](std::vector<KrLink> outer, std::vector<KrLink> inner) {
        outer.insert(outer.end(), inner.begin(), inner.end());
        return outer;
    };
    const struct
    {
        const char* lpWhat;
        std::function<CSmartPtr<CXmlObjectBase>()> make;
        std::vector<KrLink> chain;
    } cases[] = {
        {"required attribute without a value",
         [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->SetValidVer(false);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Kr, "Failed to convert attributes to XML", ""}, {Kr, "Invalid Type 0 to convert to string", ""}})},
        {"required enumeration attribute without a value",
         [] {
             CSmartPtr<CAllDoc> sp = MinimalAllDoc();
             sp->SetValidKind(false);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         {{Val, "Failed to convert the element [allDoc] to XML", ""},
          {Kr, "Failed to convert attributes to XML", ""},
          {Val, "The required Attribute [kind] has no value to write.", ""}}},
        {"mandatory primitive", [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->SetValidId(false);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Param, "The Property [id] is mandatory, it may not be NULL", ""}})},
        {"mandatory enumeration", [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->SetValidColor(false);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Param, "The Property [color] is mandatory, it may not be NULL", ""}})},
        {"mandatory abstract member", [] {
             return CSmartPtr<CXmlObjectBase>(MinimalAllDoc(false).p);
         },
         {{Val, "Failed to convert the element [allDoc] to XML", ""},
          {Param, "The Property [shape] is mandatory, it may not be NULL", ""}}},
        {"mandatory member of a child", [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->GetPoint()->SetValidX(false);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Val, "Failed to convert the element [point] to XML", ""},
                      {Param, "The Property [x] is mandatory, it may not be NULL", ""}})},
        {"mandatory member of a pseudo child", [] {
             CSmartPtr<CGroupDoc> sp = FullGroupDoc();
             sp->GetExt()->SetValidP(false);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         {{Val, "Failed to convert the element [groupDoc] to XML", ""},
          {Val, "Failed to convert the element [ext] to XML", ""},
          {Param, "The Property [p] is mandatory, it may not be NULL", ""}}},
        {"attribute of a pseudo child", [] {
             CSmartPtr<CGroupDoc> sp = FullGroupDoc();
             sp->GetExt()->SetTag(static_cast<Color>(3));
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         {{Val, "Failed to convert the element [groupDoc] to XML", ""},
          {Kr, "Failed to convert attributes to XML", ""},
          {Kr, "Failed to convert attributes to XML", ""},
          {Value, "Invalid value [3] for the enumeration Color", ""}}},
        {"value breaks the facets", [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->SetId(500);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Kr, "Invalid Value for id [500]", ""}})},
        {"value other than the default breaks the facets", [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->SetLabel("N");
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Kr, "Invalid Value for label [N].", ""}})},
        {"enumeration value outside the type", [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->SetColor(static_cast<Color>(3));
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Value, "Invalid value [3] for the enumeration Color", ""}})},
        {"too few items", [] {
             CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
             sp->GetNum()->Clear();
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         Chain(kSeq, {{Val, "The Minimum number of [num] elements allowed in this collection is 1", ""}})},
        {"too many items in an all group", [] {
             CSmartPtr<CAllDoc> sp = MinimalAllDoc();
             sp->GetNum()->Add(2);
             sp->GetNum()->Add(3);
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         {{Val, "Failed to convert the element [allDoc] to XML", ""},
          {Val, "The Maximum number of [num] elements allowed in this collection is 2", ""}}},
        {"deep in a purchase order", [] {
             CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp = new PurchaseOrder::CPurchaseOrderType();
             sp->FromXml(ReadFileBytes(std::string(KRXML_SOURCE_DIR) + "/examples/data/purchase-order.xml").c_str(),
                         CSerializationContext());
             sp->GetItem()->Add();  // an item with nothing set
             return CSmartPtr<CXmlObjectBase>(sp.p);
         },
         {{Val, "Failed to convert the element [purchaseOrder] to XML", ""},
          {Val, "Failed to convert the element [item] to XML", ""},
          {Kr, "Failed to convert attributes to XML", ""},
          {Kr, "Invalid Type 0 to convert to string", ""}}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpWhat);
        EXPECT_KR_CHAIN(Write(c.make()), c.chain);
    }
    EXPECT_KR_CHAIN(Write(CSmartPtr<CBadGroupDoc>(new CBadGroupDoc())),
                    {{Val, "Failed to convert the element [badGroup] to XML", ""}, {Kr, "Unknown XML Group Type", ""}});
    {
    }
    // Counts aren't checked on request.
    CSmartPtr<CSeqDoc> sp = MinimalSeqDoc();
    sp->GetNum()->Clear();
    EXPECT_EQ("<seqDoc xmlns=\"urn:kr:test\" ver=\"1\"><id>5</id><color>red</color>" + kSeqMinimal.substr(40),
              Write(sp, With([](CSerializationContext& c) { c.SetIgnoreInvalidCollectionCounts(true); })));
}

// ---- metadata ----

TEST(EngineMetadata, TablesAndTheirHelpers)
{
    CSmartPtr<CPoint> spPoint = new CPoint();
    EXPECT_EQ(2, spPoint->GetClassElementInfoCount());
    EXPECT_EQ(0, CSmartPtr<CVoucher>(new CVoucher())->GetClassElementInfoCount());
    CXmlDocument doc;
    doc.LoadXml("<point xmlns='urn:kr:test'><y/><x xmlns='urn:kr:else'/></point>");
    CXmlElement* pY = doc.GetDocumentElement()->GetFirstElement();
    EXPECT_TRUE(spPoint->IsElementInList(CSerializationContext(), pY));
    EXPECT_FALSE(spPoint->IsElementInList(CSerializationContext(), pY->GetNextSiblingElement()));
    EXPECT_TRUE(spPoint->IsElementInList(With([](CSerializationContext& c) { c.SetIgnoreNamespaces(true); }),
                                         pY->GetNextSiblingElement()));

    // A choice may stay empty with an optional member, or a repeating one without a minimum.
    EXPECT_TRUE(CSmartPtr<CChoiceDoc>(new CChoiceDoc())->DoesElementContainOptionalElements());
    EXPECT_FALSE(CSmartPtr<CColChoice>(new CColChoice())->DoesElementContainOptionalElements());
    EXPECT_FALSE(spPoint->DoesElementContainOptionalElements());

    // Rows of other kinds than primitive have no facets; only all rows validate.
    CElementInfo* pPointRow = CSmartPtr<CSeqDoc>(new CSeqDoc())->GetClassElementInfo()[6];
    KrVariant value;
    value.SetI4(1);
    EXPECT_KR_THROW(pPointRow->CheckRestriction(value), CKrException, "Cannot CheckRestriction for type: i4");
    EXPECT_KR_THROW(pPointRow->Validate(CSerializationContext(), spPoint, true, true), CKrException,
                    "Not implemented, should never be called");

    EXPECT_EQ("urn:t", CElementInfo::GetAnyDefaultNamespace("##targetNamespace ##local", "urn:o", "urn:t"));
    EXPECT_EQ("", CElementInfo::GetAnyDefaultNamespace("urn:a urn:b", "urn:o", "urn:t"));
    EXPECT_EQ("DefaultNamespace", CElementInfo::GetAnyDefaultNamespace("##other", "", "urn:t"));

    // Tables freed twice are built again on next use.
    CPoint::CleanMetaData();
    CPoint::CleanMetaData();
    spPoint->FromXml("<point xmlns='urn:kr:test'><x>4</x></point>", CSerializationContext());
    EXPECT_EQ(4, spPoint->GetX());
}
