// Reading bound classes: the three walkers, every row family, the Ignore options of the
// context, round trips, and the failures with their messages, paths and inner exceptions.
#include <string>
#include <vector>

#include "engineclasses.h"
#include "purchaseorder.h"
#include "testsupport.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

const std::type_info& Kr = typeid(CKrException);
const std::type_info& Val = typeid(CKrValidationException);
const std::type_info& Value = typeid(CKrInvalidValueException);
const std::type_info& Param = typeid(CKrInvalidParamException);

// Options of the reading context, as bits.
enum
{
    kUnknownElements = 1,
    kUnknownAttributes = 2,
    kMissingMandatory = 4,
    kMissingChoice = 8,
    kCounts = 16,
    kNamespaces = 32,
};

CSerializationContext Context(int iOptions)
{
    CSerializationContext ctx;
    ctx.SetIgnoreUnknownElements(iOptions & kUnknownElements);
    ctx.SetIgnoreUnknownAttributes(iOptions & kUnknownAttributes);
    ctx.SetIgnoreMissingMandatoryElements(iOptions & kMissingMandatory);
    ctx.SetIgnoreMissingChoice(iOptions & kMissingChoice);
    ctx.SetIgnoreInvalidCollectionCounts(iOptions & kCounts);
    ctx.SetIgnoreNamespaces(iOptions & kNamespaces);
    return ctx;
}

template <typename T>
CSmartPtr<T> Read(const std::string& strXml, int iOptions = 0)
{
    CSmartPtr<T> sp = new T();
    sp->FromXml(strXml.c_str(), Context(iOptions));
    return sp;
}

template <typename T>
void ReadAs(const std::string& strXml, int iOptions)
{
    Read<T>(strXml, iOptions);
}

// Unformatted, with the test namespace as the default namespace of the root.
std::string Write(const CXmlObjectBase* pObject, CSerializationContext ctx = CSerializationContext())
{
    ctx.SetDefaultNamespaceURI(kTestNs);
    return pObject->ToXml(false, false, EOLType_LF, ctx);
}

const char* const kDecl =
    " xmlns='urn:kr:test' xmlns:o='urn:kr:other' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'";

std::string Doc(const std::string& strRoot, const std::string& strAttributes, const std::string& strBody)
{
    return "<" + strRoot + kDecl + strAttributes + ">" + strBody + "</" + strRoot + ">";
}

// What a t:SeqDoc can't do without, behind the id that most cases vary.
const std::string kSeqRest = "<num>1</num><color>red</color><point><x>1</x></point>"
                             "<shape xsi:type='Circle'><radius>1</radius></shape><o:w/>";
std::string SeqDoc(const std::string& strBody, const std::string& strAttributes = " ver='1'")
{
    return Doc("seqDoc", strAttributes, strBody);
}

const std::string kAllMin = "<id>1</id><num>1</num><color>red</color><point><x>1</x></point>"
                            "<shape xsi:type='Circle'><radius>1</radius></shape><o:w/>";
std::string AllDoc(const std::string& strBody, const std::string& strAttributes = " kind='red'")
{
    return Doc("allDoc", strAttributes, strBody);
}

std::string Sample(const char* lpFile)
{
    return ReadFileBytes(std::string(KRXML_SOURCE_DIR) + "/" + lpFile);
}

} // namespace

// ---- round trips ----

// Read, write, read, write: the first output is as given, the second equals it byte for byte.
template <typename T>
static void ExpectRoundTrip(const std::string& strXml, const std::string& strExpected)
{
    CSmartPtr<T> spFirst = Read<T>(strXml);
    const std::string strOut = Write(spFirst);
    EXPECT_EQ(strExpected, strOut);
    CSmartPtr<T> spSecond = Read<T>(strOut);
    EXPECT_EQ(strOut, Write(spSecond));
}

// A row knows its element by exact name and namespace, whatever their lengths, even when only
// one byte differs, at any place.
TEST(EngineRead, RowsMatchNamesAndNamespacesByEveryByte)
{
    for (size_t n : {1u, 7u, 8u, 9u, 16u, 17u, 24u, 31u, 32u, 33u, 40u})
    {
        std::string strName(n, 'a'), strNs = "urn:" + std::string(n, 'n');
        for (size_t i = 0; i < n; ++i)
            strName[i] = static_cast<char>('a' + i % 26);
        KrXmlLib16Data::CElementInfoSeqPrimMnd row(strName.c_str(), strNs.c_str(), 0, false, ItemType_string, nullptr,
                                                   CWhitespaceUtils::WhitespaceRule_Preserve, CPrimitiveRestrictions(),
                                                   nullptr);
        const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
        auto matches = [&](const std::string& strElement, const std::string& strElementNs) {
            CXmlDocument doc;
            doc.LoadXml(("<" + strElement + " xmlns='" + strElementNs + "'/>").c_str());
            return row.IsThisElement(ctx, doc.GetDocumentElement());
        };
        EXPECT_TRUE(matches(strName, strNs)) << n;
        for (size_t i = 0; i < n; ++i)
        {
            std::string strOther = strName;
            strOther[i] = 'Z';
            EXPECT_FALSE(matches(strOther, strNs)) << n << " name at " << i;
            std::string strOtherNs = strNs;
            strOtherNs[4 + i] = 'Z';
            EXPECT_FALSE(matches(strName, strOtherNs)) << n << " namespace at " << i;
        }
        EXPECT_FALSE(matches(strName + "a", strNs)) << n;
        EXPECT_FALSE(matches(strName, strNs + "n")) << n;
    }
}

TEST(EngineRead, RoundTripSequenceOfEveryRowKind)
{
    ExpectRoundTrip<CSeqDoc>(
        SeqDoc("<id>5</id><label xsi:nil='true'/><num>1</num><num>2</num><color>green</color><shade/>"
               "<tone>red</tone><tone>blue</tone><point><x>1</x><y>2</y></point><voucher code='ABC'>12.50</voucher>"
               "<note lang='de'> 12 </note><note/><shape xmlns:t='urn:kr:test' xsi:type='t:Circle' label='c'><radius>1.5</radius></shape>"
               "<spare xsi:type='q:Square'><side>2</side></spare><figure xsi:type='Circle'><radius>3</radius></figure>"
               "<figure xsi:type='Square'><side>4</side></figure><o:w a='1'>t<o:c/></o:w><extra><z/></extra>"
               "<o:v/><o:u/>",
               " ver='3' mode='red' rev='12' o:x='1'"),
        "<seqDoc xmlns=\"urn:kr:test\" ver=\"3\" mode=\"red\" rev=\"12\" xmlns:AA=\"urn:kr:other\" AA:x=\"1\">"
        "<id>5</id><label xmlns:AB=\"http://www.w3.org/2001/XMLSchema-instance\" AB:nil=\"true\"/><num>1</num>"
        "<num>2</num><color>green</color><shade/><tone>red</tone><tone>blue</tone><point><x>1</x><y>2</y></point>"
        "<voucher code=\"ABC\">12.5</voucher><note lang=\"de\"> 12 </note><note/>"
        "<shape xmlns:AB=\"http://www.w3.org/2001/XMLSchema-instance\" AB:type=\"Circle\" label=\"c\">"
        "<radius>1.5</radius></shape><spare xmlns:AB=\"http://www.w3.org/2001/XMLSchema-instance\" AB:type=\"Square\">"
        "<side>2</side></spare><figure xmlns:AB=\"http://www.w3.org/2001/XMLSchema-instance\" AB:type=\"Circle\">"
        "<radius>3</radius></figure><figure xmlns:AB=\"http://www.w3.org/2001/XMLSchema-instance\" "
        "AB:type=\"Square\"><side>4</side></figure><AA:w a=\"1\"><AA:c/>t</AA:w><extra><z/></extra><AA:v/><AA:u/>"
        "</seqDoc>");
}

TEST(EngineRead, RoundTripAllGroupInAnyOrder)
{
    ExpectRoundTrip<CAllDoc>(
        AllDoc("<more>m1</more><o:w/><cash>3</cash><figure xsi:type='Circle'><radius>3</radius></figure>"
               "<shape xsi:type='Square'><side>4</side></shape><note>n</note><voucher code='XYZ'>1</voucher>"
               "<point xsi:nil='true'/><tone>green</tone><shade xsi:nil='1'/><num>7</num><label>l</label>"
               "<color>blue</color><id>9</id><extra/><more>m2</more><spare xsi:type='Circle'><radius>1</radius></spare>",
               " kind='blue' via='v' foo='ignored'"),
        "<allDoc xmlns=\"urn:kr:test\" kind=\"blue\" via=\"v\"><id>9</id><label>l</label><num>7</num>"
        "<color>blue</color><shade xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:nil=\"true\"/>"
        "<tone>green</tone><point xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:nil=\"true\"/>"
        "<voucher code=\"XYZ\">1</voucher><note>n</note>"
        "<shape xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:type=\"Square\"><side>4</side></shape>"
        "<spare xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:type=\"Circle\"><radius>1</radius></spare>"
        "<figure xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:type=\"Circle\"><radius>3</radius>"
        "</figure><AA:w xmlns:AA=\"urn:kr:other\"/><extra/><more>m1</more><more>m2</more><cash>3</cash></allDoc>");
}

TEST(EngineRead, RoundTripChoiceMembers)
{
    const struct
    {
        std::string strBody, strChosen;
    } cases[] = {
        {"<id>4</id>", "id"},
        {"<num>1</num><num>2</num>", "num"},
        {"<color>blue</color>", "color"},
        {"<tone>red</tone>", "tone"},
        {"<point><x>1</x></point>", "point"},
        {"<note>a</note><note>b</note>", "note"},
        {"<shape xsi:type='Circle'><radius>2</radius></shape>", "shape"},
        {"<figure xsi:type='Square'><side>1</side></figure>", "figure"},
        {"<extra>e</extra>", "extra"},
        {"<street>s</street><city>c</city>", "addr"},
        {"<o:a/><o:b/>", "AnyElement"},
        {"<cc/>", "cc"},
        {"", ""},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.strBody);
        CSmartPtr<CChoiceDoc> sp = Read<CChoiceDoc>(Doc("choiceDoc", "", c.strBody));
        EXPECT_EQ(c.strChosen, sp->GetChosen());
        const std::string strOut = Write(sp);
        EXPECT_EQ(strOut, Write(Read<CChoiceDoc>(strOut)));
    }
}

TEST(EngineRead, RoundTripPseudoElementsPutTheirAttributesOnTheEnclosingTag)
{
    ExpectRoundTrip<CGroupDoc>(
        Doc("groupDoc", " zone='z' tag='red' via='v' doc='d'",
            "<street>s</street><city>c</city><card>k</card><q>1</q><p>x</p>"),
        "<groupDoc xmlns=\"urn:kr:test\" doc=\"d\" zone=\"z\" via=\"v\" tag=\"red\"><street>s</street><city>c</city>"
        "<card>k</card><p>x</p><q>1</q></groupDoc>");
    // Each item of a repeated group reads its run; the optional choice group stays absent.
    CSmartPtr<CGroupDoc> sp = Read<CGroupDoc>(Doc(
        "groupDoc", "", "<street>a</street><city>b</city><p>x</p><street>c</street><city>d</city><street>e</street><city>f</city>"));
    EXPECT_FALSE(sp->GetPay());
    ASSERT_EQ(2, sp->GetMore()->GetCount());
    EXPECT_EQ("c", sp->GetMore()->Item(0)->GetStreet());
    EXPECT_EQ("f", sp->GetMore()->Item(1)->GetCity());
    EXPECT_EQ("<groupDoc xmlns=\"urn:kr:test\"><street>a</street><city>b</city><p>x</p><street>c</street>"
              "<city>d</city><street>e</street><city>f</city></groupDoc>",
              Write(sp));
    // Every item of the repeated group holds the enclosing element's attribute too: it goes on
    // the tag once.
    ExpectRoundTrip<CGroupDoc>(
        Doc("groupDoc", " zone='z'", "<street>a</street><city>b</city><p>x</p><street>c</street><city>d</city>"),
        "<groupDoc xmlns=\"urn:kr:test\" zone=\"z\"><street>a</street><city>b</city><p>x</p><street>c</street>"
        "<city>d</city></groupDoc>");
}

TEST(EngineRead, RoundTripTypedCollectionsOfEveryKind)
{
    ExpectRoundTrip<CTypedCols>(
        Doc("typedCols", "",
            "<b64>AQID</b64><hex>0A0B</hex><bool>1</bool><i1>-3</i1><i2>7</i2><i4>999</i4><i8>5</i8><ui1>200</ui1>"
            "<ui2>6</ui2><ui4>7</ui4><ui8>18446744073709551615</ui8><r4>1.25</r4><r8>2.5</r8><dec>123.45</dec>"
            "<int>-99999999999999999999</int><str>abc</str><str>z</str><dur>P1D</dur><year>2024</year>"
            "<month>--05</month><day>---07</day><dt>2024-01-02T03:04:05Z</dt><date>2001-01-01</date>"
            "<time>10:00:00</time><ym>2024-05</ym><md>--05-06</md>"),
        "<typedCols xmlns=\"urn:kr:test\"><b64>AQID</b64><hex>0A0B</hex><bool>true</bool><i1>-3</i1><i2>7</i2>"
        "<i4>999</i4><i8>5</i8><ui1>200</ui1><ui2>6</ui2><ui4>7</ui4><ui8>18446744073709551615</ui8><r4>1.25</r4>"
        "<r8>2.5</r8><dec>123.45</dec><int>-99999999999999999999</int><str>abc</str><str>z</str><dur>P1D</dur>"
        "<year>2024</year><month>--05</month><day>---07</day><dt>2024-01-02T03:04:05Z</dt><date>2001-01-01</date>"
        "<time>10:00:00</time><ym>2024-05</ym><md>--05-06</md></typedCols>");
}

TEST(EngineRead, PurchaseOrderRoundTripIsByteForByte)
{
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
    ctx.SetIndentChars("  ");
    const std::string strSample = Sample("examples/data/purchase-order.xml");
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spFirst = new PurchaseOrder::CPurchaseOrderType();
    spFirst->FromXml(strSample.c_str(), ctx);
    const std::string strFirst = spFirst->ToXml(true, true, EOLType_LF, ctx);
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spSecond = new PurchaseOrder::CPurchaseOrderType();
    spSecond->FromXml(strFirst.c_str(), ctx);
    EXPECT_EQ(strFirst, spSecond->ToXml(true, true, EOLType_LF, ctx));
}

// ---- what a read leaves ----

TEST(EngineRead, FailedReadKeepsWhatWasReadAndTheNextReadStartsAfresh)
{
    std::string strBad = Sample("examples/data/purchase-order.xml");
    strBad.replace(strBad.find("<quantity>81</quantity>"), 23, "<quantity>0</quantity>");
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp = new PurchaseOrder::CPurchaseOrderType();
    EXPECT_KR_CHAIN(sp->FromXml(strBad.c_str(), CSerializationContext()),
                    {{Kr, "Failed to set the property value.", "/purchaseOrder/item[3]/quantity"},
                     {Kr, "Invalid Value for quantity [0]", ""}});
    EXPECT_EQ(670488, sp->GetId());
    EXPECT_EQ("Ada Lovelace", sp->GetCustomer()->GetName());
    EXPECT_EQ(2, sp->GetItem()->GetCount());
    EXPECT_FALSE(sp->IsValidNote());

    sp->FromXml(Sample("examples/data/purchase-order.xml").c_str(), CSerializationContext());
    EXPECT_EQ(3, sp->GetItem()->GetCount());
    sp->FromXml("<purchaseOrder xmlns='urn:example:po' id='1' orderDate='2024-01-01'><customer><name>n</name>"
                "<email>e</email><address country='DE'><street>s</street><city>c</city><postcode>p</postcode>"
                "</address></customer><status>shipped</status></purchaseOrder>",
                CSerializationContext());
    EXPECT_EQ(0, sp->GetItem()->GetCount());
    EXPECT_EQ("n", sp->GetCustomer()->GetName());
    EXPECT_FALSE(sp->GetCustomer()->IsValidVip());
    EXPECT_FALSE(sp->IsValidCurrency());
}

TEST(EngineRead, ValueThatDoesNotParseTakesThePathOfItsClassElement)
{
    std::string strBad = Sample("examples/data/purchase-order.xml");
    strBad.replace(strBad.find("<quantity>81</quantity>"), 23, "<quantity>abc</quantity>");
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp = new PurchaseOrder::CPurchaseOrderType();
    EXPECT_KR_CHAIN(sp->FromXml(strBad.c_str(), CSerializationContext()),
                    {{Kr, "Failed to process the element.", "/purchaseOrder/item[3]"},
                     {Value, "The value [abc] can not be converted to a i4", ""}});
}

// ---- bad input ----

namespace {

struct BadInput
{
    const char* lpWhat;
    void (*pfnRead)(const std::string&, int);
    std::string strXml;
    int iOptions;
    std::vector<KrLink> chain;
};

// The failure of a member whose text the class element's guard places.
std::vector<KrLink> InClass(const char* lpPath, const std::type_info& type, const char* lpMessage)
{
    return {{Val, "Failed to process the element.", lpPath}, {type, lpMessage, ""}};
}

} // namespace

TEST(EngineRead, BadInputRaisesWithMessageAndPath)
{
    auto Seq = &ReadAs<CSeqDoc>;
    auto All = &ReadAs<CAllDoc>;
    const std::string kLeftover = "Failed read all the elements held within the element [%s]. The unexpected "
                                  "element [%s] remains un processed";
    auto Leftover = [&](const char* lpElement, const char* lpUnexpected) {
        return FormatString(kLeftover.c_str(), lpElement, lpUnexpected);
    };
    const BadInput cases[] = {
        // attributes
        {"unknown attribute", &ReadAs<CPoint>, "<t:point xmlns:t='urn:kr:test' t:foo='1'><t:x>1</t:x></t:point>", 0,
         {{Kr, "Unexpected Attribute found.", "/t:point/t:@foo"}}},
        {"wildcard attribute in the target namespace", Seq, "<t:seqDoc xmlns:t='urn:kr:test' ver='1' t:foo='1'/>", 0,
         {{Kr, "Unexpected Attribute found.", "/t:seqDoc/t:@foo"}}},
        {"primitive attribute keeps its namespace", Seq, SeqDoc("<id>5</id>" + kSeqRest, " o:ver='1'"),
         kNamespaces, InClass("/seqDoc", Val, "Failed to find the required Attribute [ver].")},
        {"required attribute missing", Seq, SeqDoc("<id>5</id>" + kSeqRest, ""), kUnknownAttributes,
         InClass("/seqDoc", Val, "Failed to find the required Attribute [ver].")},
        {"attribute value doesn't parse", Seq, SeqDoc("<id>5</id>" + kSeqRest, " ver='x'"), 0,
         InClass("/seqDoc", Value, "The value [x] can not be converted to a i4")},
        {"enumeration attribute value unknown", Seq, SeqDoc("<id>5</id>" + kSeqRest, " ver='1' mode='pink'"), 0,
         InClass("/seqDoc", Value, "Invalid value [pink] for the enumeration Color")},
        {"attribute breaks the setter's facets", Seq, SeqDoc("<id>5</id>" + kSeqRest, " ver='1' rev='abc'"), 0,
         {{Kr, "Failed to set the property value [abc].", "/seqDoc/@rev"}, {Kr, "Invalid Value for rev [abc].", ""}}},
        {"required enumeration attribute missing", All, AllDoc(kAllMin, ""), 0,
         InClass("/allDoc", Val, "Failed to find the required Attribute [kind].")},
        // sequence
        {"mandatory member missing", Seq, SeqDoc(kSeqRest), 0,
         {{Kr, "Failed to find the required child element [id].", "/seqDoc"}}},
        {"wrong order", Seq, SeqDoc("<num>1</num><id>5</id><color>red</color>"), 0,
         {{Kr, "Failed to find the required child element [id].", "/seqDoc"}}},
        {"leftover after the last row", &ReadAs<CPoint>, Doc("point", "", "<x>1</x><z/>"), 0,
         {{Kr, Leftover("point", "z"), "/point"}}},
        {"optional before mandatory", &ReadAs<CPoint>, Doc("point", "", "<y>2</y><x>1</x>"), 0,
         {{Kr, "Failed to find the required child element [x].", "/point"}}},
        {"too few items", Seq, SeqDoc("<id>5</id><color>red</color>"), 0,
         InClass("/seqDoc", Val, "The Minimum number of [num] elements allowed in this collection is 1")},
        {"too many items", Seq, SeqDoc("<id>5</id><num>1</num><num>2</num><num>3</num><num>4</num><color>red</color>"),
         0, InClass("/seqDoc", Val, "The Maximum number of [num] elements allowed in this collection is 3")},
        {"mandatory class missing", Seq, SeqDoc("<id>5</id><num>1</num><color>red</color><shape/>"), 0,
         {{Kr, "Failed to find the required child element [point].", "/seqDoc"}}},
        {"mandatory member of a child missing", Seq,
         SeqDoc("<id>5</id><num>1</num><color>red</color><point><y>1</y></point>"), 0,
         {{Kr, "Failed to find the required child element [x].", "/seqDoc/point"}}},
        {"abstract member without a known type", Seq,
         SeqDoc("<id>5</id><num>1</num><color>red</color><point><x>1</x></point><shape xsi:type='Oval'/>"), 0,
         {{Kr, "Failed to find a suitable substitution element for [shape].", "/seqDoc"}}},
        {"abstract member typed in another namespace", Seq,
         SeqDoc("<id>5</id><num>1</num><color>red</color><point><x>1</x></point><shape xsi:type='o:Circle'/>"), 0,
         {{Kr, "Failed to find a suitable substitution element for [shape].", "/seqDoc"}}},
        {"abstract member missing", Seq, SeqDoc("<id>5</id><num>1</num><color>red</color><point><x>1</x></point>"), 0,
         {{Kr, "Failed to find a suitable substitution element for [shape].", "/seqDoc"}}},
        {"repeating abstract item without a known type", Seq,
         SeqDoc("<id>5</id><num>1</num><color>red</color><point><x>1</x></point>"
                "<shape xsi:type='Circle'><radius>1</radius></shape><figure xsi:type='Circle'><radius>1</radius>"
                "</figure><figure/>"),
         0, {{Kr, "Failed to find a suitable substitution element for [figure].", "/seqDoc/figure[2]"}}},
        {"mandatory wildcard of another namespace", Seq, SeqDoc("<id>5</id>" + kSeqRest.substr(0, kSeqRest.size() - 6) + "<extra/>"),
         0, {{Kr, "Failed to find the required element from namespace [##other].", "/seqDoc"}}},
        {"mandatory wildcard missing", Seq, SeqDoc("<id>5</id>" + kSeqRest.substr(0, kSeqRest.size() - 6)), 0,
         {{Kr, "Failed to find the required child element [AnyElement].", "/seqDoc"}}},
        // values
        {"primitive value doesn't parse", Seq, SeqDoc("<id>abc</id>" + kSeqRest), 0,
         InClass("/seqDoc", Value, "The value [abc] can not be converted to a i4")},
        {"primitive value breaks the setter's facets", Seq, SeqDoc("<id>500</id>" + kSeqRest), 0,
         {{Kr, "Failed to set the property value.", "/seqDoc/id"}, {Kr, "Invalid Value for id [500]", ""}}},
        {"enumeration value unknown", Seq, SeqDoc("<id>5</id><num>1</num><color>pink</color>"), 0,
         InClass("/seqDoc", Value, "Invalid value [pink] for the enumeration Color")},
        {"simple content doesn't parse", Seq,
         SeqDoc("<id>5</id><num>1</num><color>red</color><point><x>1</x></point><voucher code='ABC'>x</voucher>"), 0,
         {{Kr, "Failed to process the element.", "/seqDoc/voucher"},
          {Value, "The string representing a Decimal, contained an invalid char at position 0 [x].", ""}}},
        {"required attribute of a child missing", Seq,
         SeqDoc("<id>5</id><num>1</num><color>red</color><point><x>1</x></point><voucher>1</voucher>"), 0,
         {{Kr, "Failed to process the element.", "/seqDoc/voucher"},
          {Val, "Failed to find the required Attribute [code].", ""}}},
        // nil and type attributes
        {"nil on a primitive row that isn't nillable", Seq, SeqDoc("<id xsi:nil='true'/>" + kSeqRest), 0,
         {{Kr, "Invalid use of 'nil' attribute in non-nillable element.", "/seqDoc/id"}}},
        {"nil on a class that isn't nillable", Seq,
         SeqDoc("<id>5</id><num>1</num><color>red</color><point><x>1</x></point><voucher xsi:nil='true'/>"), 0,
         {{Kr, "Invalid use of 'nil' attribute in non-nillable element.", "/seqDoc/voucher"}}},
        {"nil value that is no boolean", Seq, SeqDoc("<id>5</id><label xsi:nil='yes'/>" + kSeqRest), 0,
         {{Kr, "Unexpected Value [yes] for 'nil' Attribute found.", "/seqDoc/label/xsi:@nil"}}},
        {"nil value with a blank", &ReadAs<CPoint>, Doc("point", " xsi:nil=' true'", ""), 0,
         {{Kr, "Unexpected Value [ true] for 'nil' Attribute found.", "/point/xsi:@nil"}}},
        {"nil on an enumeration row that isn't nillable", Seq,
         SeqDoc("<id>5</id><num>1</num><color xsi:nil='1'/>"), 0,
         {{Kr, "Invalid use of 'nil' attribute in non-nillable element.", "/seqDoc/color"}}},
        {"type attribute on a primitive child", Seq, SeqDoc("<id xsi:type='int'>5</id>" + kSeqRest), 0,
         {{Kr, "Unexpected Attribute found.", "/seqDoc/id/xsi:@type"}}},
        {"attribute on a primitive child", Seq, SeqDoc("<id a='1'>5</id>" + kSeqRest), 0,
         {{Kr, "Unexpected Attribute found.", "/seqDoc/id/@a"}}},
        // all group
        {"all: mandatory member missing", All, AllDoc(kAllMin.substr(10)), 0,
         InClass("/allDoc", Val, "Failed to find the mandatory element [id].")},
        {"all: member repeated", All, AllDoc(kAllMin + "<id>2</id>"), 0, {{Kr, Leftover("allDoc", "id"), "/allDoc"}}},
        {"all: unknown element stops the passes", All, AllDoc("<num>1</num><id>1</id><zzz/>" + kAllMin.substr(22)),
         kUnknownElements, InClass("/allDoc", Val, "Failed to find the mandatory element [color].")},
        {"all: too many items", All, AllDoc(kAllMin + "<num>2</num><num>3</num>"), 0,
         InClass("/allDoc", Val, "The Maximum number of [num] elements allowed in this collection is 2")},
        {"all: too few items", All, AllDoc("<id>1</id>" + kAllMin.substr(22)), 0,
         InClass("/allDoc", Val, "The Minimum number of [num] elements allowed in this collection is 1")},
        {"all: mandatory class missing", All, AllDoc("<id>1</id><num>1</num><color>red</color>"), 0,
         InClass("/allDoc", Val, "Failed to find the mandatory element [point].")},
        {"all: abstract member without a known type", All,
         AllDoc("<id>1</id><num>1</num><color>red</color><point><x>1</x></point><shape xsi:type='Oval'/>"), 0,
         InClass("/allDoc", Val, "Failed to find the mandatory element [shape].")},
        {"all: mandatory wildcard missing", All, AllDoc(kAllMin.substr(0, kAllMin.size() - 6)), 0,
         InClass("/allDoc", Val, "Failed to find the mandatory element [AnyElement].")},
        // choice
        {"choice: two members", &ReadAs<CChoiceDoc>, Doc("choiceDoc", "", "<id>1</id><color>red</color>"), 0,
         {{Kr, Leftover("choiceDoc", "color"), "/choiceDoc"}}},
        {"choice: member after a run", &ReadAs<CColChoice>, Doc("colChoice", "", "<a>x</a><b>red</b><b>red</b>"), 0,
         {{Kr, Leftover("colChoice", "b"), "/colChoice"}}},
        {"choice: nothing chosen", &ReadAs<CColChoice>, Doc("colChoice", "", ""), 0,
         {{Kr,
           "No child elements within the element [colChoice] were populated. The element represents a choice, so one "
           "and only one element should be populated. The element contained no sutable child elements",
           "/colChoice"}}},
        {"choice: unknown element", &ReadAs<CColChoice>, Doc("colChoice", "", "<zzz/><a>x</a>"), kMissingChoice,
         {{Kr, Leftover("colChoice", "zzz"), "/colChoice"}}},
        {"choice: too few items", &ReadAs<CColChoice>, Doc("colChoice", "", "<b>red</b>"), 0,
         InClass("/colChoice", Val, "The Minimum number of [b] elements allowed in this collection is 2")},
        {"choice: too many items", &ReadAs<CChoiceDoc>,
         Doc("choiceDoc", "", "<num>1</num><num>1</num><num>1</num><num>1</num>"), 0,
         InClass("/choiceDoc", Val, "The Maximum number of [num] elements allowed in this collection is 3")},
        // pseudo elements
        {"pseudo: required group takes nothing", &ReadAs<CGroupDoc>, Doc("groupDoc", "", "<p>x</p>"), 0,
         {{Kr, "Failed to find the required child element [addr].", "/groupDoc"}}},
        {"pseudo: a failed group gives back what it took", &ReadAs<CGroupDoc>,
         Doc("groupDoc", "", "<street>s</street><p>x</p>"), 0,
         {{Kr, "Failed to find the required child element [addr].", "/groupDoc"}}},
        {"pseudo: all group member repeated", &ReadAs<CGroupDoc>,
         Doc("groupDoc", "", "<street>s</street><city>c</city><p>x</p><p>y</p>"), 0,
         {{Kr, Leftover("groupDoc", "p"), "/groupDoc"}}},
        // a factory that makes nothing
        // tables a generator shouldn't emit
        {"class factory without the class", &ReadAs<CBrokenDoc>, Doc("broken", "", "<member/>"), 0,
         InClass("/broken", typeid(CKrInvalidStateException), "The class factory made no object of class 99 for [member]")},
        {"wildcard attributes in another collection", &ReadAs<CBrokenDoc>, Doc("broken", " o:a='1'", ""), 0,
         InClass("/broken", Kr, "Serialization Data Error : The collection should be a CAttributeCol, it was not!")},
        {"wildcard elements in another collection", &ReadAs<CBrokenDoc>, Doc("broken", "", "<fixed/>"), 0,
         InClass("/broken", Kr, "Serialization Data Error : The collection should be a CElementCol, it was not!")},
        {"unknown group type", &ReadAs<CBadGroupDoc>, Doc("badGroup", "", ""), 0,
         InClass("/badGroup", Kr, "Unknown Group Type")},
    };
    for (const BadInput& c : cases)
    {
        SCOPED_TRACE(c.lpWhat);
        EXPECT_KR_CHAIN(c.pfnRead(c.strXml, c.iOptions), c.chain);
    }
}

TEST(EngineRead, BadValueOfEveryKindInATypedCollection)
{
    const auto& Ex = Kr;  // a facet failure
    const struct
    {
        const char* lpElement;
        const char* lpText;
        const std::type_info& type;
        const char* lpMessage;
    } cases[] = {
        {"b64", "!!!", Value, "The value [!!!] can not be converted to a base64Binary"},
        {"b64", "AQIDBAU=", Ex, "Invalid Value for b64 [AQIDBAU=]."},
        {"hex", "0G", Kr, "Invalid char in hex string [G]"},
        {"hex", "0A0B0C", Ex, "Invalid Value for hex [0A0B0C]."},
        {"bool", "yes", Value,
         "A Boolean Value read from an XML document was invalid [yes]. Valid values are 'true', 'false', '1', or '0'"},
        {"i1", "200", Value, "The value [200] is to large to fit in a i1"},
        {"i1", "11", Ex, "Invalid Value for i1 [11]"},
        {"i2", "x", Value, "The value [x] can not be converted to a i4"},
        {"i2", "-6", Ex, "Invalid Value for i2 [-6]"},
        {"i4", "2147483648", Value, "The value [2147483648] is to large to fit in a i4"},
        {"i4", "1000", Ex, "Invalid Value for i4 [1000]"},
        {"i8", "1.5", Value, "The value [1.5] can not be converted to a i8"},
        {"i8", "0", Ex, "Invalid Value for i8 [0]."},
        {"ui1", "256", Value, "The value [256] is to large to fit in a ui1"},
        {"ui1", "201", Ex, "Invalid Value for ui1 [201]"},
        {"ui2", "70000", Value, "The value [70000] is to large to fit in a ui2"},
        {"ui4", "x", Value, "The value [x] can not be converted to a ui4"},
        {"ui8", "-", Value, "The value [-] can not be converted to a ui8"},
        {"r4", "abc", Value, "The value [abc] can not be converted to a r4"},
        {"r4", "1.75", Ex, "Invalid Value for r4 [1.750000]"},
        {"r8", "1,5", Value, "The value [1,5] can not be converted to a r8"},
        {"dec", "1x", Value, "The string representing a Decimal, contained an invalid char at position 1 [1x]."},
        {"dec", "1E1000000", Value,
         "The string representing a Decimal has more than 50000 digits, the limit set by CKrLimits::SetMaxNumberDigits."},
        {"dec", "1.234", Ex, "Invalid Value for dec [1.234]."},
        {"dec", "12345.6", Ex, "Invalid Value for dec [12345.6]."},
        {"int", "-100000000000000000001", Ex, "Invalid Value for int [-100000000000000000001]."},
        {"str", "ABC", Ex, "Invalid Value for str [ABC]."},
        {"str", "abcdef", Ex, "Invalid Value for str [abcdef]."},
        {"dur", "P1Y2", Value, "Invalid XSD Duration [P1Y2] expected [-]P[nY][nM][nD][T[nH][nM][nS.ff]]"},
        {"year", "20x4", Value, "Invalid XSD Date [20x4] expected CCYY-MM-DD[Z|[+|-]hh:mm]"},
        {"month", "--13", Value, "Invalid Month [13] (1 <= month <= 12)"},
        {"day", "---32", Value, "Invalid Day [32] (1 <= day <= 31)"},
        {"dt", "2024-13-01T00:00:00", Value, "Invalid Month [13] (1 <= month <= 12)"},
        {"date", "2005", Param, "Dates added to this collection must be of type dt_date"},
        {"date", "1999-12-31", Ex, "Invalid Value for date [1999-12-31]."},
        {"time", "25:00:00", Value, "Invalid XSD Time [25:00:00] expected hh:mm:ss[.ff]"},
        {"ym", "2024", Param, "Dates added to this collection must be of type dt_gYearMonth"},
        {"md", "05-06", Value, "Invalid XSD Date [05-06] expected CCYY-MM-DD[Z|[+|-]hh:mm]"},
    };
    for (const auto& c : cases)
    {
        const std::string strXml = Doc("typedCols", "", std::string("<") + c.lpElement + ">" + c.lpText + "</" +
                                                            c.lpElement + ">");
        SCOPED_TRACE(strXml);
        EXPECT_KR_CHAIN(Read<CTypedCols>(strXml), InClass("/typedCols", c.type, c.lpMessage));
    }
}

// ---- the Ignore options ----

TEST(EngineRead, IgnoreUnknownElementsSkipsWhereTheWalkersAllowIt)
{
    // sequence: skipped before and between members, and at the end
    CSmartPtr<CPoint> spPoint = Read<CPoint>(Doc("point", "", "<z/><x>1</x><w/><y>2</y><v/>"), kUnknownElements);
    EXPECT_EQ(1, spPoint->GetX());
    EXPECT_EQ(2, spPoint->GetY());
    // an unknown element inside a trailing run doesn't end the run
    CSmartPtr<CTypedCols> spCols =
        Read<CTypedCols>(Doc("typedCols", "", "<md>--01-01</md><zzz/><md>--02-02</md>"), kUnknownElements);
    EXPECT_EQ(2, spCols->GetCol(24)->GetCount());
    // choice: skipped until a member comes; leftovers dropped
    CSmartPtr<CColChoice> spChoice =
        Read<CColChoice>(Doc("colChoice", "", "<zzz/><a>x</a><yyy/><b>red</b>"), kUnknownElements);
    EXPECT_EQ(1, spChoice->GetA()->GetCount());
    EXPECT_EQ(0, spChoice->GetB()->GetCount());
    // all: only the leftover failure is silenced
    EXPECT_EQ(1, Read<CAllDoc>(AllDoc(kAllMin + "<zzz/>"), kUnknownElements)->GetId());
    // pseudo elements: a mandatory primitive row skips inside its group, and a group that may be
    // empty lets the walker skip in front of it
    CSmartPtr<CGroupDoc> spGroups = Read<CGroupDoc>(
        Doc("groupDoc", "", "<street>s</street><zzz/><city>c</city><yyy/><p>x</p>"), kUnknownElements);
    EXPECT_EQ("c", spGroups->GetAddr()->GetCity());
    EXPECT_EQ("x", spGroups->GetExt()->GetP());
    // mandatory rows of a sequence skip forward to their element
    CSmartPtr<CSeqDoc> spSeq = Read<CSeqDoc>(SeqDoc("<zzz/><id>7</id><num>1</num><yyy/>" + kSeqRest.substr(12)), kUnknownElements);
    EXPECT_EQ(7, spSeq->GetId());
    EXPECT_EQ(1, spSeq->GetPoint()->GetX());
}

TEST(EngineRead, OtherIgnoreOptions)
{
    // unknown attributes, on the class and on a primitive child
    EXPECT_EQ(1, Read<CPoint>(Doc("point", " foo='1'", "<x a='2'>1</x>"), kUnknownAttributes)->GetX());
    // missing mandatory members: only the mandatory sequence rows of a class, enumeration or
    // primitive give way
    CSmartPtr<CSeqDoc> spSeq = Read<CSeqDoc>(
        SeqDoc("<num>1</num><shape xsi:type='Circle'><radius>1</radius></shape><o:w/>"), kMissingMandatory);
    EXPECT_FALSE(spSeq->IsValidId());
    EXPECT_FALSE(spSeq->IsValidColor());
    EXPECT_FALSE(spSeq->GetPoint()->IsValidX());
    EXPECT_KR_CHAIN(Read<CSeqDoc>(SeqDoc("<num>1</num><o:w/>"), kMissingMandatory),
                    {{Kr, "Failed to find a suitable substitution element for [shape].", "/seqDoc"}});
    EXPECT_KR_CHAIN(Read<CAllDoc>(AllDoc(kAllMin.substr(10)), kMissingMandatory),
                    InClass("/allDoc", Val, "Failed to find the mandatory element [id]."));
    // an empty choice
    EXPECT_EQ(0, Read<CColChoice>(Doc("colChoice", "", ""), kMissingChoice)->GetA()->GetCount());
    // collection counts, in a sequence, an all group and a choice
    EXPECT_EQ(4, Read<CSeqDoc>(SeqDoc("<id>5</id><num>1</num><num>2</num><num>3</num><num>4</num>" + kSeqRest.substr(12)),
                               kCounts)
                     ->GetNum()
                     ->GetCount());
    EXPECT_EQ(0, Read<CAllDoc>(AllDoc("<id>1</id>" + kAllMin.substr(22)), kCounts)->GetNum()->GetCount());
    EXPECT_EQ(1, Read<CColChoice>(Doc("colChoice", "", "<b>red</b>"), kCounts)->GetB()->GetCount());
}

TEST(EngineRead, IgnoreNamespacesMatchesElementsAndEnumerationAttributesByLocalName)
{
    const std::string strForeign = "<point xmlns='urn:kr:else'><x>1</x><y>2</y></point>";
    EXPECT_KR_CHAIN(Read<CPoint>(strForeign), {{Kr, "Failed to find the required child element [x].", "/point"}});
    EXPECT_EQ(2, Read<CPoint>(strForeign, kNamespaces)->GetY());
    EXPECT_EQ(1, Read<CTypedCols>("<typedCols><i4>1</i4></typedCols>", kNamespaces)->GetCol(5)->GetCount());
    // an enumeration attribute in another namespace: the wildcard takes it, unless names match
    // by local name
    const std::string strMode = SeqDoc("<id>5</id>" + kSeqRest, " ver='1' o:mode='blue'");
    CSmartPtr<CSeqDoc> spStrict = Read<CSeqDoc>(strMode);
    EXPECT_FALSE(spStrict->IsValidMode());
    EXPECT_EQ(1, spStrict->GetAnyAttr()->GetCount());
    CSmartPtr<CSeqDoc> spLoose = Read<CSeqDoc>(strMode, kNamespaces);
    EXPECT_EQ(Color_blue, spLoose->GetMode());
    EXPECT_EQ(0, spLoose->GetAnyAttr()->GetCount());
}

// ---- nil, defaults, substitution and wildcards ----

TEST(EngineRead, NilElementsAndRows)
{
    // A nil class ignores its content; "false" and "0" leave it as it is, on any row.
    CSmartPtr<CPoint> spNil = Read<CPoint>(Doc("point", " xsi:nil='TRUE'", "<x>1</x><junk/>"));
    EXPECT_TRUE(spNil->IsNil());
    EXPECT_FALSE(spNil->IsValidX());
    // The type and location attributes of the instance namespace are no unknown attributes.
    CSmartPtr<CPoint> spNotNil = Read<CPoint>(
        Doc("point", " xsi:nil='false' xsi:type='Point' xsi:schemaLocation='a b'", "<x xsi:nil='FALSE'>1</x>"));
    EXPECT_FALSE(spNotNil->IsNil());
    EXPECT_EQ(1, spNotNil->GetX());
    // nillable primitive and enumeration rows hand the class a nil value
    CSmartPtr<CSeqDoc> spSeq =
        Read<CSeqDoc>(SeqDoc("<id>5</id><label xsi:nil='True'/>" + kSeqRest.substr(0, 30) +
                             "<shade xsi:nil='true'>red</shade>" + kSeqRest.substr(30)));
    EXPECT_TRUE(spSeq->IsNilLabel());
    EXPECT_TRUE(spSeq->IsNilShade());
    // an empty element takes the row's default; an absent one leaves the property unset
    CSmartPtr<CSeqDoc> spDefault = Read<CSeqDoc>(SeqDoc("<id>5</id><label/>" + kSeqRest.substr(0, 30) + "<shade/>" +
                                                        kSeqRest.substr(30)));
    EXPECT_EQ("n/a", spDefault->GetLabel());
    EXPECT_EQ(Color_blue, spDefault->GetShade());
    EXPECT_FALSE(Read<CSeqDoc>(SeqDoc("<id>5</id>" + kSeqRest))->IsValidShade());
}

TEST(EngineRead, AbstractMembersTakeTheClassTheirTypeAttributeNames)
{
    const std::string strHead = "<id>5</id><num>1</num><color>red</color><point><x>1</x></point>";
    const struct
    {
        std::string strShape;
        bool bCircle;
    } cases[] = {
        {"<shape xsi:type='Circle'><radius>1</radius></shape>", true},
        {"<shape xmlns:p='urn:kr:test' xsi:type='p:Square'><side>1</side></shape>", false},
        {"<shape xsi:type='undeclared:Circle'><radius>1</radius></shape>", true},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.strShape);
        CSmartPtr<CSeqDoc> sp = Read<CSeqDoc>(SeqDoc(strHead + c.strShape + "<o:w/>"));
        EXPECT_EQ(c.bCircle, dynamic_cast<CCircle*>(static_cast<CShape*>(sp->GetShape())) != nullptr);
    }
    // a repeating member finds each item's class; an all group reads its abstract members in
    // any order
    CSmartPtr<CSeqDoc> spCol =
        Read<CSeqDoc>(SeqDoc(strHead + cases[0].strShape + "<figure xsi:type='Square'><side>2</side></figure>"
                                                           "<figure xsi:type='Circle'><radius>3</radius></figure><o:w/>"));
    ASSERT_EQ(2, spCol->GetFigure()->GetCount());
    EXPECT_EQ(2, dynamic_cast<CSquare&>(*spCol->GetFigure()->Item(0)).GetSide());
    EXPECT_EQ(3, dynamic_cast<CCircle&>(*spCol->GetFigure()->Item(1)).GetRadius());
    CSmartPtr<CAllDoc> spAll = Read<CAllDoc>(AllDoc(
        "<spare xsi:type='Square'><side>4</side></spare><o:w/><shape xsi:type='Circle'><radius>5</radius></shape>"
        "<id>1</id><num>1</num><color>red</color><point><x>1</x></point>"));
    EXPECT_EQ(4, dynamic_cast<CSquare&>(*spAll->GetSpare()).GetSide());
    // a choice member without a known type counts as absent
    CSmartPtr<CChoiceDoc> spChoice = Read<CChoiceDoc>(Doc("choiceDoc", "", "<shape xsi:type='Oval'/>"));
    EXPECT_FALSE(spChoice->GetShape());
    EXPECT_EQ("AnyElement", spChoice->GetChosen());
}

TEST(EngineRead, WildcardsKeepTheElementsAndAttributesTheyTake)
{
    CSmartPtr<CSeqDoc> sp = Read<CSeqDoc>(SeqDoc(
        "<id>5</id>" + kSeqRest.substr(0, kSeqRest.size() - 6) + "<o:w a='1' o:b='2'>text<o:c>x</o:c></o:w><zzz/>",
        " ver='1' o:x='1' o:y='2'"));
    EXPECT_EQ("w", sp->GetAny()->GetName());
    EXPECT_EQ(kOtherNs, sp->GetAny()->GetNamespace());
    EXPECT_EQ("text", sp->GetAny()->GetText());
    EXPECT_EQ(2, sp->GetAny()->GetAttributes()->GetCount());
    EXPECT_EQ("x", sp->GetAny()->GetChildElements()->Item(0)->GetText());
    // the fixed-name member takes only its name; the repeating wildcard takes what is left
    EXPECT_FALSE(sp->GetExtra());
    ASSERT_EQ(1, sp->GetAnys()->GetCount());
    EXPECT_EQ("zzz", sp->GetAnys()->Item(0)->GetName());
    ASSERT_EQ(2, sp->GetAnyAttr()->GetCount());
    EXPECT_EQ("y", sp->GetAnyAttr()->Item(1)->GetName());
    EXPECT_EQ("2", sp->GetAnyAttr()->Item(1)->GetValue());
    // a fixed-name repeating member of an all group is asked in every pass, and takes its own
    // name only
    CSmartPtr<CAllDoc> spAll = Read<CAllDoc>(AllDoc(kAllMin + "<more>a</more><more>b</more><extra/><more>c</more>"));
    EXPECT_EQ(3, spAll->GetMore()->GetCount());
    EXPECT_TRUE(spAll->GetExtra());
    // each ask takes a run of one namespace: the next pass takes the next run
    spAll = Read<CAllDoc>(AllDoc(kAllMin + "<more>a</more><o:more/>"));
    ASSERT_EQ(2, spAll->GetMore()->GetCount());
    EXPECT_EQ(kOtherNs, spAll->GetMore()->Item(1)->GetNamespace());
}

TEST(EngineRead, PseudoGroupsAnswerInsteadOfRaisingAndGiveBackWhatTheyTook)
{
    const std::string kPoint = "<point><x>1</x></point>";
    const std::string kShape = "<shape xsi:type='Circle'><radius>1</radius></shape>";
    const std::string kSeq = kPoint + kShape + "<o:w/><n>1</n><p>x</p>";
    const std::string kAll = "<street>s</street><city>c</city><m>1</m>";
    ExpectRoundTrip<CNestDoc>(
        Doc("nestDoc", "", kSeq + "<c>1</c><c>2</c>" + kAll),
        "<nestDoc xmlns=\"urn:kr:test\"><point><x>1</x></point>"
        "<shape xmlns:AA=\"http://www.w3.org/2001/XMLSchema-instance\" AA:type=\"Circle\"><radius>1</radius></shape>"
        "<AA:w xmlns:AA=\"urn:kr:other\"/><n>1</n><p>x</p><c>1</c><c>2</c><street>s</street><city>c</city><m>1</m>"
        "</nestDoc>");
    // Each document leaves its first element to the enclosing element, which reports it.
    const struct
    {
        const char* lpWhat;
        std::string strBody;
        const char* lpFirst;
    } cases[] = {
        {"class member missing", kShape, "shape"},
        {"abstract member missing", kPoint + "<o:w/>", "point"},
        {"wildcard missing", kPoint + kShape + "<n>1</n>", "point"},
        {"too many items", kPoint + kShape + "<o:w/><n>1</n><n>2</n><n>3</n><p>x</p>", "point"},
        {"required group missing", kPoint + kShape + "<o:w/><n>1</n>", "point"},
        {"too few items of a choice", "<c>1</c>", "c"},
        {"too many items of an all group", kAll + "<m>2</m>", "street"},
        {"required group of an all group missing", "<m>1</m>", "m"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpWhat);
        EXPECT_KR_CHAIN(Read<CNestDoc>(Doc("nestDoc", "", c.strBody)),
                        {{Kr,
                          std::string("Failed read all the elements held within the element [nestDoc]. The unexpected "
                                      "element [") + c.lpFirst + "] remains un processed",
                          "/nestDoc"}});
    }
}
