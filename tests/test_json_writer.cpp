// The JSON writer: its calls as exact bytes in the three modes, formatted and not; the JSON
// roads of bound objects and untyped content, checked by a strict parser; krxml --to json.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <sys/wait.h>

#include "engineclasses.h"
#include "purchaseorder.h"
#include "testsupport.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

const char* const kXsi = "http://www.w3.org/2001/XMLSchema-instance";
typedef std::function<void(CJsonTextWriter&)> Calls;

// The document that the calls make between header and footer.
std::string Json(const Calls& calls, JsonRoundTrip eMode = RoundTripFull, bool bFormatted = false,
                 EOLType eEol = EOLType_LF, const char* lpIndent = "\t")
{
    CTextStream stream;
    CJsonTextWriter w(&stream);
    w.StartDocument();
    w.SetFormatted(bFormatted);
    w.SetIndent(lpIndent);
    w.SetEOLType(eEol);
    w.SetRoundTrip(eMode);
    w.WriteHeader();
    calls(w);
    w.WriteFooter();
    w.EndDocument();
    return stream.GetText();
}

// An element with text; with a null text, one with nothing at all.
void Leaf(CXmlWriter& w, const char* lpName, const char* lpText, ItemType eType = ItemType_string, const char* lpNs = "")
{
    w.StartElement(lpName, lpNs);
    if (lpText)
        w.WriteElementText(lpText, eType, false);
    w.EndElement();
}

// A collection as the engine writes one.
void Collection(CXmlWriter& w, const std::function<void()>& items)
{
    w.SetArrayState(1);
    items();
    w.SetArrayState(3);
}

Calls InRoot(const Calls& body)
{
    return [body](CJsonTextWriter& w) {
        w.StartElement("r", "");
        body(w);
        w.EndElement();
    };
}

void WorkedExample(CJsonTextWriter& w)
{
    w.SetDefaultNamespace("urn:o");
    w.AddNamespaceAlias("p", "urn:p");
    w.StartElement("order", "urn:o");
    w.WriteAttribute("id", "", "7", ItemType_i4);
    Collection(w, [&] {
        w.StartElement("item", "urn:o");
        w.WriteAttribute("n", "", "1", ItemType_string);
        w.WriteElementText("a", ItemType_string, false);
        w.EndElement();
        Leaf(w, "item", "b", ItemType_string, "urn:o");
    });
    Leaf(w, "note", "hi", ItemType_string, "urn:p");
    Leaf(w, "qty", "3", ItemType_i4, "urn:o");
    Leaf(w, "ok", "true", ItemType_boolean, "urn:o");
    w.EndElement();
}

bool HavePython()
{
    return std::system("python3 -c '' >/dev/null 2>&1") == 0;
}

// Python's parser, with NaN and Infinity refused too, over each document: "name: complaint"
// for each one it refuses.
std::string StrictJsonRefusals(const std::vector<std::pair<std::string, std::string>>& docs)
{
    std::string strList, strListPath = TempPath("list.txt"), strOutPath = TempPath("refusals.txt");
    for (size_t i = 0; i < docs.size(); ++i)
    {
        strList += docs[i].first + "\t" + TempPath("doc" + std::to_string(i) + ".json") + "\n";
        WriteFileBytes(TempPath("doc" + std::to_string(i) + ".json"), docs[i].second);
    }
    WriteFileBytes(strListPath, strList);
    const std::string strCmd = "python3 -c 'import json,sys\n"
                               "def refuse(c): raise ValueError(c)\n"
                               "for line in open(sys.argv[1]):\n"
                               "  name, path = line.rstrip(\"\\n\").split(\"\\t\")\n"
                               "  try: json.loads(open(path, \"rb\").read().decode(\"utf-8\"), parse_constant=refuse)\n"
                               "  except Exception as e: print(name + \": \" + str(e))\n"
                               "' " + strListPath + " >" + strOutPath + " 2>&1";
    int iStatus = std::system(strCmd.c_str());
    return (WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0 ? "" : "parser failed: ") + ReadFileBytes(strOutPath);
}

CSerializationContext JsonContext(JsonRoundTrip eMode, const char* lpDefaultNs = nullptr)
{
    CSerializationContext ctx;
    ctx.GetJsonContext().SetSupportRoundtrip(eMode);
    ctx.SetDefaultNamespaceURI(lpDefaultNs);
    return ctx;
}

} // namespace

TEST(JsonTextWriter, WorkedExampleInEveryMode)
{
    const struct
    {
        JsonRoundTrip eMode;
        bool bFormatted;
        const char* lpExpected;
    } cases[] = {
        {RoundTripFull, true,
         "{\n\t\"order\": {\n\t\t\"@xmlns\": \"urn:o\",\n\t\t\"@xmlns:p\": \"urn:p\",\n\t\t\"@id\": 7,\n\t\t\"item\": [\n"
         "\t\t\t{\n\t\t\t\t\"@n\": \"1\",\n\t\t\t\t\"#text\": \"a\"\n\t\t\t},\n\t\t\t\"b\"\n\t\t],\n"
         "\t\t\"p:note\": \"hi\",\n\t\t\"qty\": 3,\n\t\t\"ok\": true\n\t}\n}"},
        {RoundTripFull, false,
         "{\"order\": {\"@xmlns\": \"urn:o\",\"@xmlns:p\": \"urn:p\",\"@id\": 7,\"item\": [{\"@n\": \"1\",\"#text\": "
         "\"a\"},\"b\"],\"p:note\": \"hi\",\"qty\": 3,\"ok\": true}}"},
        {RoundTripAttributes, false,
         "{\"order\": {\"@id\": 7,\"item\": [{\"@n\": \"1\",\"#text\": \"a\"},\"b\"],\"note\": \"hi\",\"qty\": 3,"
         "\"ok\": true}}"},
        {RoundTripNone, false,
         "{\"order\": {\"id\": 7,\"item\": [{\"n\": \"1\",\"\": \"a\"},\"b\"],\"note\": \"hi\",\"qty\": 3,\"ok\": true}}"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.lpExpected, Json(WorkedExample, c.eMode, c.bFormatted)) << c.eMode;
    // The line end and indent as set.
    EXPECT_EQ("{\r\n  \"r\": {\r\n    \"x\": [\r\n      null,\r\n      \"b\"\r\n    ]\r\n  }\r\n}",
              Json(InRoot([](CJsonTextWriter& w) {
                       Collection(w, [&] {
                           Leaf(w, "x", nullptr);
                           Leaf(w, "x", "b");
                       });
                   }),
                   RoundTripNone, true, EOLType_CRLF, "  "));
}

TEST(JsonTextWriter, ShapesOfElementsAndCollections)
{
    const struct
    {
        const char* lpWhat;
        Calls calls;
        const char* lpExpected;
    } cases[] = {
        {"text alone is a bare value", [](CJsonTextWriter& w) { Leaf(w, "r", "t"); }, "{\"r\": \"t\"}"},
        {"nothing behind a name is null; nil and the XML-only calls write nothing",
         InRoot([](CJsonTextWriter& w) {
             Leaf(w, "e", "");
             w.WriteProcessingInstruction("<?pi?>");
             w.WriteInLineSchema("s='1'");
             w.StartElement("n", "");
             w.WriteNilAttribute();
             w.EndElement();
             w.StartElement("a", "");
             w.WriteAttribute("b", "", "1", ItemType_string);
             w.EndElement();
         }),
         "{\"r\": {\"e\": \"\",\"n\": null,\"a\": {\"@b\": \"1\"}}}"},
        {"an empty root", [](CJsonTextWriter& w) { Leaf(w, "r", nullptr); }, "{\"r\": null}"},
        {"arrays of one and of two, a simple element behind them, an empty collection",
         InRoot([](CJsonTextWriter& w) {
             Collection(w, [&] { Leaf(w, "x", "a"); });
             Collection(w, [&] {
                 Leaf(w, "y", "1", ItemType_i4);
                 Leaf(w, "y", "2", ItemType_i4);
             });
             Leaf(w, "z", "s");
             Collection(w, [] {});
         }),
         "{\"r\": {\"x\": [\"a\"],\"y\": [1,2],\"z\": \"s\"}}"},
        {"empty items are null, also the first",
         InRoot([](CJsonTextWriter& w) { Collection(w, [&] { Leaf(w, "x", nullptr), Leaf(w, "x", "b"), Leaf(w, "x", nullptr); }); }),
         "{\"r\": {\"x\": [null,\"b\",null]}}"},
        {"an item of another name ends the array and starts its own; an unended one ends with its element",
         InRoot([](CJsonTextWriter& w) {
             Collection(w, [&] { Leaf(w, "a", "1"), Leaf(w, "a", "2"), Leaf(w, "b", "3"); });
             w.SetArrayState(1);
             Leaf(w, "a", "4");
         }),
         "{\"r\": {\"a\": [\"1\",\"2\"],\"b\": [\"3\"],\"a\": [\"4\"]}}"},
        {"text behind members is #text; an attribute may follow a child",
         InRoot([](CJsonTextWriter& w) {
             Leaf(w, "c", "1");
             w.WriteAttribute("a", "", "2", ItemType_string);
             w.WriteElementText("t", ItemType_string, false);
         }),
         "{\"r\": {\"c\": \"1\",\"@a\": \"2\",\"#text\": \"t\"}}"},
        {"bare kinds; a text JSON wouldn't take as a number is a string; INF and NaN of floats stay bare",
         InRoot([](CJsonTextWriter& w) {
             const std::pair<const char*, ItemType> values[] = {
                 {"-12", ItemType_i1}, {"1.5E-7", ItemType_r4}, {"0.50", ItemType_decimal}, {"1", ItemType_boolean},
                 {"false", ItemType_boolean}, {"+5", ItemType_i4}, {"007", ItemType_integer}, {".5", ItemType_r8},
                 {"INF", ItemType_decimal}, {"5", ItemType_string}, {"", ItemType_i4}, {"2024-01-01", ItemType_date},
                 {"INF", ItemType_r8}, {"-INF", ItemType_r4}, {"NaN", ItemType_r8}};
             for (const auto& v : values)
                 Leaf(w, "v", v.first, v.second);
         }),
         "{\"r\": {\"v\": -12,\"v\": 1.5E-7,\"v\": 0.50,\"v\": 1,\"v\": false,\"v\": \"+5\",\"v\": \"007\",\"v\": \".5\","
         "\"v\": \"INF\",\"v\": \"5\",\"v\": \"\",\"v\": \"2024-01-01\",\"v\": INF,\"v\": -INF,\"v\": NaN}}"},
        {"further roots are further members", [](CJsonTextWriter& w) { Leaf(w, "a", "1"), Leaf(w, "b", nullptr); },
         "{\"a\": \"1\",\"b\": null}"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.lpExpected, Json(c.calls)) << c.lpWhat;
}

TEST(JsonTextWriter, ItemsOfAnArrayAreOneLevelDeeper)
{
    EXPECT_EQ("{\n\t\"r\": {\n\t\t\"x\": [\n\t\t\t{\n\t\t\t\t\"y\": [\n\t\t\t\t\t\"1\",\n\t\t\t\t\tnull\n\t\t\t\t],\n"
              "\t\t\t\t\"z\": {\n\t\t\t\t\t\"@a\": \"2\"\n\t\t\t\t}\n\t\t\t},\n\t\t\tnull\n\t\t],\n\t\t\"w\": \"3\"\n\t}\n}",
              Json(InRoot([](CJsonTextWriter& w) {
                       Collection(w, [&] {
                           w.StartElement("x", "");
                           Collection(w, [&] { Leaf(w, "y", "1"), Leaf(w, "y", nullptr); });
                           w.StartElement("z", "");
                           w.WriteAttribute("a", "", "2", ItemType_string);
                           w.EndElement();
                           w.EndElement();
                           Leaf(w, "x", nullptr);
                       });
                       Leaf(w, "w", "3");
                   }),
                   RoundTripFull, true));
}

TEST(JsonTextWriter, Escapes)
{
    const struct
    {
        std::string strText;
        EOLType eEol;
        const char* lpExpected;
    } cases[] = {
        {"a\"b\\c/\b\t\f", EOLType_LF, "\"a\\\"b\\\\c/\\b\\t\\f\""},
        {std::string("\x01\x1F\x0B", 3), EOLType_LF, "\"\\u0001\\u001F\\u000B\""},
        {"caf\xC3\xA9 \x7F", EOLType_LF, "\"caf\xC3\xA9 \x7F\""},
        {"a\r\nb\rc", EOLType_LF, "\"a\nbc\""},  // line feed raw, carriage return dropped
        {"a\nb", EOLType_CRLF, "\"a\r\nb\""},
        {std::string("ab\0cd", 5), EOLType_LF, "\"ab\""},  // the text ends at its NUL
    };
    for (const auto& c : cases)
    {
        auto text = [&](CJsonTextWriter& w) {
            w.StartElement("r", "");
            w.WriteElementText(c.strText, ItemType_string, false);
            w.EndElement();
        };
        EXPECT_EQ(std::string("{\"r\": ") + c.lpExpected + "}", Json(text, RoundTripFull, false, c.eEol));
    }
    // Names and URIs no schema would give are escaped strictly.
    EXPECT_EQ("{\"a\\\"b\": {\"@xmlns\": \"urn:\\\"x\\n\",\"@c\\\\d\": \"1\"}}", Json([](CJsonTextWriter& w) {
                  w.SetDefaultNamespace("urn:\"x\n");
                  w.StartElement("a\"b", "");
                  w.WriteAttribute("c\\d", "", "1", ItemType_string);
                  w.EndElement();
              }));
}

TEST(JsonTextWriter, Namespaces)
{
    auto nested = [](CJsonTextWriter& w) {
        w.StartElement("r", "urn:a");
        w.StartElement("c", "urn:b");
        w.WriteAttribute("t", "urn:b", "1", ItemType_string);
        w.EndElement();
        w.EndElement();
    };
    // A prefix is generated at the root only.
    EXPECT_EQ("{\"AA:r\": {\"@xmlns:AA\": \"urn:a\"}}", Json([](CJsonTextWriter& w) { Leaf(w, "r", nullptr, ItemType_string, "urn:a"); }));
    EXPECT_KR_THROW(Json(nested), CKrException, "Unknown Namespace: urn:b.");
    EXPECT_EQ("{\"r\": {\"c\": {\"@t\": \"1\"}}}", Json(nested, RoundTripAttributes));
    EXPECT_EQ("{\"r\": {\"c\": {\"t\": \"1\"}}}", Json(nested, RoundTripNone));
    EXPECT_EQ("{\"r\": {\"@xmlns\": \"urn:a\",\"@xmlns:b\": \"urn:b\",\"b:c\": {\"@b:t\": \"1\"}}}",
              Json([&](CJsonTextWriter& w) {
                  w.SetDefaultNamespace("urn:a");
                  w.AddNamespaceAlias("b", "urn:b");
                  nested(w);
              }));
    EXPECT_KR_THROW(Json(InRoot([](CJsonTextWriter& w) { w.WriteAttribute("t", "urn:z", "1", ItemType_string); })),
                    CKrException, "Unknown Namespace: urn:z.");

    // The type attribute: its own namespace and the schema instance's need aliases.
    auto typed = [](const char* lpTypeNs) {
        return [lpTypeNs](CJsonTextWriter& w) {
            w.SetDefaultNamespace("urn:a");
            w.AddNamespaceAlias("xsi", kXsi);
            w.AddNamespaceAlias("q", "urn:q");
            w.StartElement("r", "urn:a");
            w.WriteTypeAttribute(lpTypeNs, "T", ItemType_string);
            w.EndElement();
        };
    };
    const std::string strDecl =
        std::string("{\"r\": {\"@xmlns\": \"urn:a\",\"@xmlns:xsi\": \"") + kXsi + "\",\"@xmlns:q\": \"urn:q\",";
    EXPECT_EQ(strDecl + "\"@xsi:type\": \"T\"}}", Json(typed("")));
    EXPECT_EQ(strDecl + "\"@xsi:type\": \"T\"}}", Json(typed("urn:a")));
    EXPECT_EQ(strDecl + "\"@xsi:type\": \"q:T\"}}", Json(typed("urn:q")));
    EXPECT_KR_THROW(Json(typed("urn:z")), CKrException, "Unknown Namespace: urn:z.");
    EXPECT_EQ("{\"r\": null}", Json(typed("urn:q"), RoundTripAttributes));
    EXPECT_KR_THROW(Json(InRoot([](CJsonTextWriter& w) { w.WriteTypeAttribute("", "T", ItemType_string); })),
                    CKrException, "Unknown Namespace: http://www.w3.org/2001/XMLSchema-instance.");
}

namespace {

// Records the length buffered at each flush.
struct CFlushRecorder : CTextStream
{
    CFlushRecorder() : CTextStream("CTextStream", XmlEncoding_UTF8) {}
    std::vector<size_t> m_flushes;
    void Flush() override { m_flushes.push_back(GetLength()); }
};

} // namespace

TEST(JsonTextWriter, RefusalsCommentsAndFlushes)
{
    CTextStream stream;
    CJsonTextWriter writer(&stream);
    EXPECT_KR_THROW(writer.SetEOLType(static_cast<EOLType>(2)), CKrException, "Invalid EOL type.");
    EXPECT_KR_THROW(writer.SetRoundTrip(static_cast<JsonRoundTrip>(3)), CKrInvalidParamException,
                    "Invalid JSON round trip mode [3].");
    // A bare value takes nothing behind it.
    for (const Calls& after : std::vector<Calls>{
             [](CJsonTextWriter& w) { w.WriteElementText("more", ItemType_string, false); },
             [](CJsonTextWriter& w) { w.WriteAttribute("a", "", "1", ItemType_string); },
             [](CJsonTextWriter& w) { Leaf(w, "c", nullptr); }})
        EXPECT_KR_CHAIN(Json(InRoot([&](CJsonTextWriter& w) {
                            w.WriteElementText("t", ItemType_string, false);
                            after(w);
                        })),
                        {{typeid(CKrException),
                          "The element [r] has been written as a plain value and can take no further content", "/r"}});
    // A comment ends its line also unformatted; its end marker can't be inside it.
    EXPECT_EQ("{/* a\\\"b \\u0001 */\r\n\"r\": null}", Json([](CJsonTextWriter& w) {
                  w.WriteComment("a\"b \x01");
                  Leaf(w, "r", nullptr);
              },
                                                        RoundTripFull, false, EOLType_CRLF));
    EXPECT_KR_THROW(Json([](CJsonTextWriter& w) { w.WriteComment("a */ b"); }), CKrException,
                    "A comment can not contain \"*/\"");

    // Flushes at 4096 bytes and more, in the header, element starts and ends, and comments.
    CFlushRecorder flushes;
    CJsonTextWriter w(&flushes);
    w.SetFormatted(false);
    flushes.Write(std::string(4094, ' '));
    w.WriteHeader();                                        // 4095: no flush
    w.StartElement("r", "");                                // 4100
    w.WriteAttribute("a", "", std::string(5000, 'x'), ItemType_string);
    w.WriteElementText("t", ItemType_string, false);
    w.StartElement("c", "");                                // 9128
    w.WriteElementText(std::string(9000, 'y'), ItemType_string, false);
    w.EndElement();                                         // 18130
    w.EndElement();                                         // 18131
    w.WriteComment("c");                                    // 18139
    w.WriteFooter();
    EXPECT_EQ((std::vector<size_t>{4100, 9128, 18130, 18131, 18139}), flushes.m_flushes);
}

// ---- the roads of bound objects ----

namespace {

template <typename T>
CSmartPtr<CXmlObjectBase> ReadDoc(const std::string& strRoot, const std::string& strAttributes, const std::string& strBody)
{
    CSmartPtr<T> sp = new T();
    sp->FromXml(("<" + strRoot +
                 " xmlns='urn:kr:test' xmlns:o='urn:kr:other' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'" +
                 strAttributes + ">" + strBody + "</" + strRoot + ">")
                    .c_str(),
                CSerializationContext::GetDefaultContext());
    return CSmartPtr<CXmlObjectBase>(sp.p);
}

// Engine test classes with much of what they can hold.
std::vector<std::pair<std::string, CSmartPtr<CXmlObjectBase>>> EngineDocuments()
{
    return {
        {"seqDoc",
         ReadDoc<CSeqDoc>("seqDoc", " ver='3' mode='red' o:x='1'",
                          "<id>5</id><label xsi:nil='true'/><num>1</num><num>2</num><color>green</color><shade/>"
                          "<tone>red</tone><point><x>1</x></point><voucher code='ABC'>12.50</voucher><note lang='de'>"
                          " 12 </note><note/><shape xsi:type='Circle' label='c'><radius>1.5</radius></shape>"
                          "<figure xsi:type='Circle'><radius>3</radius></figure><figure xsi:type='Square'><side>4</side>"
                          "</figure><o:w a='1'>t<o:c/><o:c/></o:w><extra><z/></extra><o:v/><o:u/><o:u>2</o:u>")},
        {"allDoc", ReadDoc<CAllDoc>("allDoc", " kind='blue' via='v'",
                                    "<more>m1</more><o:w/><cash>3</cash><shape xsi:type='Square'><side>4</side></shape>"
                                    "<point xsi:nil='true'/><shade xsi:nil='1'/><num>7</num><color>blue</color>"
                                    "<id>9</id><extra/><more>m2</more>")},
        {"groupDoc", ReadDoc<CGroupDoc>("groupDoc", " tag='red' doc='d'",
                                        "<street>s</street><city>c</city><card>k</card><p>x</p><street>s2</street>"
                                        "<city>c2</city><street>s3</street><city>c3</city>")},
        {"nestDoc", ReadDoc<CNestDoc>("nestDoc", "",
                                      "<point><x>1</x></point><shape xsi:type='Circle'><radius>1</radius></shape>"
                                      "<o:w/><n>1</n><p>x</p><c>1</c><c>2</c><street>s</street><city>c</city><m>1</m>")},
        {"typedCols",
         ReadDoc<CTypedCols>("typedCols", "",
                             "<b64>AQID</b64><bool>1</bool><i8>9007199254740993</i8><ui8>18446744073709551615</ui8>"
                             "<r8>2.5</r8><r8>1E-300</r8><dec>123.45</dec><int>-99999999999999999999</int><str>abc</str>"
                             "<dur>P1D</dur><dt>2024-01-02T03:04:05Z</dt><md>--05-06</md>")},
    };
}

CSerializationContext EngineContext(JsonRoundTrip eMode)
{
    CSerializationContext ctx = JsonContext(eMode, kTestNs);
    ctx.GetNamespaceAliases().Add("o", kOtherNs);
    ctx.GetNamespaceAliases().Add("xsi", kXsi);
    return ctx;
}

} // namespace

TEST(JsonRoads, PurchaseOrderAndEngineClassesAreStrictJsonInEveryMode)
{
    if (!HavePython())
        GTEST_SKIP() << "python3 is not installed";
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spOrder = new PurchaseOrder::CPurchaseOrderType();
    spOrder->FromXmlFile((std::string(KRXML_SOURCE_DIR) + "/examples/data/purchase-order.xml").c_str(),
                         CSerializationContext::GetDefaultContext());
    std::vector<std::pair<std::string, std::string>> docs;
    for (JsonRoundTrip eMode : {RoundTripNone, RoundTripAttributes, RoundTripFull})
        for (bool bFormatted : {true, false})
        {
            const std::string strTag = std::to_string(eMode) + (bFormatted ? " formatted " : " flat ");
            docs.emplace_back(strTag + "po", spOrder->ToJson(bFormatted, EOLType_LF, JsonContext(eMode)));
            for (const auto& doc : EngineDocuments())
                docs.emplace_back(strTag + doc.first, doc.second->ToJson(bFormatted, EOLType_CRLF, EngineContext(eMode)));
        }
    EXPECT_EQ("", StrictJsonRefusals(docs));

    // The order's values by kind, its items one array; full mode, flat.
    const std::string& strPo = docs[docs.size() - 6].second;
    for (const char* lpPart :
         {"{\"AA:purchaseOrder\": {\"@xmlns:AA\": \"urn:example:po\",\"@id\": 670488,\"@orderDate\": \"2024-05-06\",",
          "\"AA:item\": [{\"@sku\": \"SKU-000000\",\"@line\": 1,\"@gift\": true,\"AA:name\": ",
          "\"AA:quantity\": 13,\"AA:serial\": 262950994425995,\"AA:price\": 4506.31,\"AA:weight\": 223.2115149380846,"
          "\"AA:taxable\": true,\"AA:shipDate\": \"2024-02-24\"",
          "},{\"@sku\": \"SKU-000001\"", "}],\"AA:note\": \"Generated order with 3 items.\"}}"})
        EXPECT_NE(std::string::npos, strPo.find(lpPart)) << lpPart << "\n" << strPo;
}

TEST(JsonRoads, EngineClasses)
{
    // Nil values and empty classes are null, an empty wildcard "", runs of one name arrays.
    const auto engine = EngineDocuments();
    EXPECT_EQ("{\"seqDoc\": {\"@xmlns\": \"urn:kr:test\",\"@xmlns:xsi\": \"http://www.w3.org/2001/XMLSchema-instance\","
              "\"@xmlns:o\": \"urn:kr:other\",\"@ver\": 3,\"@mode\": \"red\",\"@o:x\": \"1\",\"id\": 5,\"label\": null,"
              "\"num\": [1,2],\"color\": \"green\",\"shade\": \"blue\",\"tone\": [\"red\"],\"point\": {\"x\": 1},"
              "\"voucher\": {\"@code\": \"ABC\",\"#text\": 12.5},\"note\": [{\"@lang\": \"de\",\"#text\": \" 12 \"},\"\"],"
              "\"shape\": {\"@xsi:type\": \"Circle\",\"@label\": \"c\",\"radius\": 1.5},\"figure\": [{\"@xsi:type\": "
              "\"Circle\",\"radius\": 3},{\"@xsi:type\": \"Square\",\"side\": 4}],\"o:w\": {\"@a\": \"1\",\"o:c\": "
              "[\"\",\"\"],\"#text\": \"t\"},\"extra\": {\"z\": \"\"},\"o:v\": [\"\"],\"o:u\": [\"\",\"2\"]}}",
              engine[0].second->ToJson(false, EOLType_LF, EngineContext(RoundTripFull)));
    // The items of a repeated pseudo group keep their names.
    EXPECT_NE(std::string::npos, engine[2].second->ToJson(false, EOLType_LF, JsonContext(RoundTripNone))
                                     .find("\"street\": [\"s2\"],\"city\": [\"c2\"],\"street\": [\"s3\"],\"city\": [\"c3\"]"));
    EXPECT_KR_CHAIN(engine[0].second->ToJson(false, EOLType_LF, JsonContext(RoundTripFull, kTestNs)),
                    {{typeid(CKrValidationException), "Failed to convert the element [seqDoc] to XML", ""},
                     {typeid(CKrException), "Failed to convert attributes to XML", ""},
                     {typeid(CKrException), "Unknown Namespace: urn:kr:other.", ""}});
}

TEST(JsonRoads, ExactNumbersAndTheTwoPlacesThatArentStrictJson)
{
    CSmartPtr<CVoucher> spVoucher = new CVoucher();
    spVoucher->SetCode("ABC");
    spVoucher->SetValue(CDecimal("123456789012345678901234567890.1234567891"));
    EXPECT_EQ("{\"voucher\": {\"@code\": \"ABC\",\"#text\": 123456789012345678901234567890.1234567891}}",
              spVoucher->ToJson(false, EOLType_LF, JsonContext(RoundTripAttributes)));
    EXPECT_NE(std::string::npos, EngineDocuments()[4].second->ToJson(false, EOLType_LF, JsonContext(RoundTripNone))
                                     .find("\"i8\": [9007199254740993],\"ui8\": [18446744073709551615],\"r8\": "
                                           "[2.5,1e-300],\"dec\": [123.45],\"int\": [-99999999999999999999]"));

    CSmartPtr<CCircle> spCircle = new CCircle();
    spCircle->SetRadius(std::numeric_limits<double>::infinity());
    const std::string strInf = spCircle->ToJson(false, EOLType_LF, JsonContext(RoundTripNone));
    EXPECT_EQ("{\"Circle\": {\"radius\": INF}}", strInf);
    spCircle->SetRadius(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ("{\"Circle\": {\"radius\": NaN}}", spCircle->ToJson(false, EOLType_LF, JsonContext(RoundTripNone)));
    CSmartPtr<CNote> spNote = new CNote();
    spNote->SetText("a\r\nb\nc");
    const std::string strLines = spNote->ToJson(true, EOLType_CRLF, JsonContext(RoundTripFull, kTestNs));
    EXPECT_EQ("{\r\n\t\"note\": {\r\n\t\t\"@xmlns\": \"urn:kr:test\",\r\n\t\t\"#text\": \"a\r\nb\r\nc\"\r\n\t}\r\n}",
              strLines);
    if (HavePython())
    {
        const std::string strRefused = StrictJsonRefusals({{"inf", strInf}, {"lines", strLines}});
        EXPECT_EQ(0u, strRefused.find("inf: Expecting value")) << strRefused;
        EXPECT_NE(std::string::npos, strRefused.find("\nlines: Invalid control character")) << strRefused;
    }
}

TEST(JsonRoads, StreamsAndFiles)
{
    CSmartPtr<CPoint> spPoint = new CPoint();
    spPoint->SetX(1);
    CSerializationContext ctx = JsonContext(RoundTripAttributes, kTestNs);
    ctx.SetIndentChars("  ");
    const std::string strText = "{\n  \"point\": {\n    \"x\": 1\n  }\n}";
    EXPECT_EQ(strText, spPoint->ToJson(true, EOLType_LF, ctx));
    CBinaryData utf16 = spPoint->ToJsonStream(false, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None);
    EXPECT_EQ(std::string("{\0\"\0p\0", 6), std::string(reinterpret_cast<const char*>(utf16.GetData()), 6));
    EXPECT_EQ(2 * std::string("{\"point\": {\"x\": 1}}").size(), utf16.GetLength());
    // Too short to shrink: compression refuses it rather than store it uncompressed.
    EXPECT_KR_THROW(spPoint->ToJsonStream(false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_GZip), CKrException,
                    "Failed to compress data. [Error Code: 0]");
    EXPECT_KR_THROW(spPoint->ToJson(false, static_cast<EOLType>(7), ctx), CKrException, "Invalid EOL type.");

    const std::string strFile = TempPath("point.json");
    for (bool bAsync : {false, true})
    {
        AsyncToXmlFile(bAsync);
        spPoint->ToJsonFile(strFile.c_str(), false, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None);
        EXPECT_EQ("\xFF\xFE" + std::string(reinterpret_cast<const char*>(utf16.GetData()), utf16.GetLength()),
                  ReadFileBytes(strFile));
        spPoint->ToJsonFile(strFile.c_str(), true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
        EXPECT_EQ(strText, ReadFileBytes(strFile));
        AsyncToXmlFile(false);
    }
}

TEST(JsonRoads, UntypedContent)
{
    // Runs of one name are arrays, an empty text beside members is left out, and an element
    // with a default namespace of its own is written plainly (in XML as a nested document).
    CSmartPtr<CElement> spRoot(new CElement("r", "urn:a"));
    spRoot->FromXml("<r xmlns='urn:a' xmlns:b='urn:b' k='v'><x>1</x><x/><y b:t='2'/><x>3</x><b:z/><b:z/><w xmlns='urn:c'/></r>");
    CSmartPtr<CElement> spNested(new CElement("n", "urn:a"));
    spNested->FromXml("<n xmlns='urn:a'><m>5</m></n>");
    CSmartPtr<CElement> spOwnDefault(new CElement(spNested, "urn:a"));
    spRoot->GetChildElements()->Add(spOwnDefault);
    CSerializationContext ctx = JsonContext(RoundTripFull, "urn:a");
    ctx.GetNamespaceAliases().Add("b", "urn:b");
    ctx.GetNamespaceAliases().Add("c", "urn:c");
    EXPECT_EQ("{\"r\": {\"@xmlns\": \"urn:a\",\"@xmlns:b\": \"urn:b\",\"@xmlns:c\": \"urn:c\",\"@k\": \"v\",\"x\": "
              "[\"1\",\"\"],\"y\": {\"@b:t\": \"2\"},\"x\": \"3\",\"b:z\": [\"\",\"\"],\"c:w\": \"\",\"n\": {\"m\": \"5\"}}}",
              spRoot->ToJson(false, EOLType_LF, ctx));
    EXPECT_EQ("<r xmlns=\"urn:a\" xmlns:b=\"urn:b\" xmlns:c=\"urn:c\" k=\"v\"><x>1</x><x/><y b:t=\"2\"/><x>3</x><b:z/>"
              "<b:z/><c:w/><n xmlns=\"urn:a\"><m>5</m></n></r>",
              spRoot->ToXml(false, false, EOLType_LF, ctx));
}

TEST(JsonTool, ConvertToJson)
{
#ifndef KRXML_TOOL_PATH
    GTEST_SKIP() << "krxml is not built";
#else
    auto run = [](const std::string& strArgs, int iExit) {
        std::string strOut;
        FILE* p = popen((std::string(KRXML_TOOL_PATH) + " " + strArgs + " 2>&1").c_str(), "r");
        char buf[4096];
        for (size_t n; (n = fread(buf, 1, sizeof(buf), p)) > 0;)
            strOut.append(buf, n);
        int iStatus = pclose(p);
        EXPECT_EQ(iExit, WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1) << strArgs;
        return strOut;
    };
    const std::string strIn = TempPath("in.xml"), strOut = TempPath("out.json");
    WriteFileBytes(strIn, "<a xmlns='urn:a' i='1'><b xmlns='urn:b'>x</b><c>y</c><c>z</c></a>");
    // The input's last default namespace is the default; every other namespace gets a prefix.
    EXPECT_EQ("{\"ns0:a\": {\"@xmlns\": \"urn:b\",\"@xmlns:ns0\": \"urn:a\",\"@i\": \"1\",\"b\": \"x\",\"ns0:c\": "
              "[\"y\",\"z\"]}}",
              run("convert " + strIn + " --to json --no-format", 0));
    EXPECT_EQ("{\r\n  \"a\": {\r\n    \"i\": \"1\",\r\n    \"b\": \"x\",\r\n    \"c\": [\r\n      \"y\",\r\n      \"z\"\r\n"
              "    ]\r\n  }\r\n}",
              run("convert " + strIn + " --to json --json-mode none --eol crlf --indent '  '", 0));
    EXPECT_EQ("", run("convert " + strIn + " --to json --json-mode attributes --no-format -o " + strOut, 0));
    EXPECT_EQ("{\"a\": {\"@i\": \"1\",\"b\": \"x\",\"c\": [\"y\",\"z\"]}}", ReadFileBytes(strOut));
    EXPECT_EQ(0u, run("convert " + strIn + " --json-mode some", 2)
                      .find("krxml: unknown JSON mode 'some' (none, attributes or full)\n"));
    EXPECT_NE(std::string::npos, run("--help", 0).find("  --json-mode MODE"));
#endif
}
