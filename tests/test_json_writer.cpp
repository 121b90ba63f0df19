// The JSON writer: its calls as exact bytes in the three round-trip modes, formatted and not;
// the JSON roads of bound objects and untyped content; the tool's JSON output. Whole documents
// are also handed to a strict JSON parser.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sys/wait.h>

#include "engineclasses.h"
#include "purchaseorder.h"
#include "testsupport.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

const char* const kXsi = "http://www.w3.org/2001/XMLSchema-instance";

typedef std::function<void(CJsonTextWriter&)> Calls;

// The document the calls make between header and footer.
std::string Json(const Calls& calls, JsonRoundTrip eMode = RoundTripFull, bool bFormatted = false,
                EOLType eEol = EOLType_LF, const char* lpIndent = "\t")
{
    CTextStream stream;
    CJsonTextWriter writer(&stream);
    writer.StartDocument();
    writer.SetFormatted(bFormatted);
    writer.SetIndent(lpIndent);
    writer.SetEOLType(eEol);
    writer.SetRoundTrip(eMode);
    writer.WriteHeader();
    calls(writer);
    writer.WriteFooter();
    writer.EndDocument();
    return stream.GetText();
}

void Leaf(CXmlWriter& w, const char* lpName, const char* lpText, ItemType eType = ItemType_string,
          const char* lpNs = "")
{
    w.StartElement(lpName, lpNs);
    w.WriteElementText(lpText, eType, false);
    w.EndElement();
}

void Empty(CXmlWriter& w, const char* lpName, const char* lpNs = "")
{
    w.StartElement(lpName, lpNs);
    w.EndElement();
}

// A collection as the engine writes one: state 1, the items, state 3.
void Collection(CXmlWriter& w, const std::function<void()>& items)
{
    w.SetArrayState(1);
    items();
    w.SetArrayState(3);
}

// Root r around the calls.
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

// ---- the strict parser ----

bool HavePython()
{
    return std::system("python3 -c '' >/dev/null 2>&1") == 0;
}

// Hands each document to Python's JSON parser with NaN and Infinity refused as well; returns
// the name and complaint of each document it refused, one per line.
std::string StrictJsonRefusals(const std::vector<std::pair<std::string, std::string>>& docs)
{
    std::string strList;
    for (size_t i = 0; i < docs.size(); ++i)
    {
        std::string strPath = TempPath("strict" + std::to_string(i) + ".json");
        WriteFileBytes(strPath, docs[i].second);
        strList += docs[i].first + "\t" + strPath + "\n";
    }
    std::string strListPath = TempPath("strict-list.txt");
    WriteFileBytes(strListPath, strList);
    std::string strOutPath = TempPath("strict-out.txt");
    const std::string strCmd =
        "python3 -c 'import json,sys\n"
        "def refuse(c): raise ValueError(\"not JSON: \" + c)\n"
        "for line in open(sys.argv[1], encoding=\"utf-8\"):\n"
        "  name, path = line.rstrip(\"\\n\").split(\"\\t\")\n"
        "  try: json.loads(open(path, \"rb\").read().decode(\"utf-8\"), parse_constant=refuse)\n"
        "  except Exception as e: print(name + \": \" + str(e))\n"
        "' " + strListPath + " >" + strOutPath + " 2>&1";
    int iStatus = std::system(strCmd.c_str());
    std::string strOut = ReadFileBytes(strOutPath);
    if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0)
        return "parser run failed: " + strOut;
    return strOut;
}

#define REQUIRE_PYTHON()                                                                            \
    if (!HavePython())                                                                              \
    GTEST_SKIP() << "python3 is not installed"

} // namespace

// ---- the writer's calls ----

TEST(JsonTextWriter, WorkedExampleInEveryModeByteForByte)
{
    const struct
    {
        JsonRoundTrip eMode;
        bool bFormatted;
        EOLType eEol;
        const char* lpIndent;
        const char* lpExpected;
    } cases[] = {
        {RoundTripFull, true, EOLType_LF, "\t",
         "{\n"
         "\t\"order\": {\n"
         "\t\t\"@xmlns\": \"urn:o\",\n"
         "\t\t\"@xmlns:p\": \"urn:p\",\n"
         "\t\t\"@id\": 7,\n"
         "\t\t\"item\": [\n"
         "\t\t\t{\n"
         "\t\t\t\t\"@n\": \"1\",\n"
         "\t\t\t\t\"#text\": \"a\"\n"
         "\t\t\t},\n"
         "\t\t\t\"b\"\n"
         "\t\t],\n"
         "\t\t\"p:note\": \"hi\",\n"
         "\t\t\"qty\": 3,\n"
         "\t\t\"ok\": true\n"
         "\t}\n"
         "}"},
        {RoundTripFull, false, EOLType_LF, "\t",
         "{\"order\": {\"@xmlns\": \"urn:o\",\"@xmlns:p\": \"urn:p\",\"@id\": 7,\"item\": [{\"@n\": \"1\",\"#text\": "
         "\"a\"},\"b\"],\"p:note\": \"hi\",\"qty\": 3,\"ok\": true}}"},
        {RoundTripAttributes, false, EOLType_LF, "\t",
         "{\"order\": {\"@id\": 7,\"item\": [{\"@n\": \"1\",\"#text\": \"a\"},\"b\"],\"note\": \"hi\",\"qty\": 3,"
         "\"ok\": true}}"},
        {RoundTripNone, false, EOLType_LF, "\t",
         "{\"order\": {\"id\": 7,\"item\": [{\"n\": \"1\",\"\": \"a\"},\"b\"],\"note\": \"hi\",\"qty\": 3,\"ok\": true}}"},
        {RoundTripAttributes, true, EOLType_CRLF, "  ",
         "{\r\n"
         "  \"order\": {\r\n"
         "    \"@id\": 7,\r\n"
         "    \"item\": [\r\n"
         "      {\r\n"
         "        \"@n\": \"1\",\r\n"
         "        \"#text\": \"a\"\r\n"
         "      },\r\n"
         "      \"b\"\r\n"
         "    ],\r\n"
         "    \"note\": \"hi\",\r\n"
         "    \"qty\": 3,\r\n"
         "    \"ok\": true\r\n"
         "  }\r\n"
         "}"},
        {RoundTripNone, true, EOLType_LF, "",
         "{\n\"order\": {\n\"id\": 7,\n\"item\": [\n{\n\"n\": \"1\",\n\"\": \"a\"\n},\n\"b\"\n],\n\"note\": \"hi\",\n"
         "\"qty\": 3,\n\"ok\": true\n}\n}"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpExpected);
        EXPECT_EQ(c.lpExpected, Json(WorkedExample, c.eMode, c.bFormatted, c.eEol, c.lpIndent));
    }
}

TEST(JsonTextWriter, ShapesOfElementsAndCollections)
{
    const struct
    {
        const char* lpWhat;
        Calls calls;
        const char* lpExpected;
    } cases[] = {
        {"text alone: a bare value, no braces", [](CJsonTextWriter& w) { Leaf(w, "r", "t"); }, "{\"r\": \"t\"}"},
        {"empty string text", InRoot([](CJsonTextWriter& w) { Leaf(w, "x", ""); }), "{\"r\": {\"x\": \"\"}}"},
        {"attributes and no text close with a brace",
         InRoot([](CJsonTextWriter& w) { w.WriteAttribute("a", "", "1", ItemType_string); }),
         "{\"r\": {\"@a\": \"1\"}}"},
        {"nothing behind the name is null", InRoot([](CJsonTextWriter& w) { Empty(w, "e"); }),
         "{\"r\": {\"e\": null}}"},
        {"an empty root is null", [](CJsonTextWriter& w) { Empty(w, "r"); }, "{\"r\": null}"},
        {"nil and the XML-only calls write nothing",
         InRoot([](CJsonTextWriter& w) {
             w.WriteProcessingInstruction("<?pi?>");
             w.WriteInLineSchema("s='1'");
             w.StartElement("n", "");
             w.WriteNilAttribute();
             w.EndElement();
         }),
         "{\"r\": {\"n\": null}}"},
        {"array of one", InRoot([](CJsonTextWriter& w) { Collection(w, [&] { Leaf(w, "x", "a"); }); }),
         "{\"r\": {\"x\": [\"a\"]}}"},
        {"two collections in one element",
         InRoot([](CJsonTextWriter& w) {
             Collection(w, [&] {
                 Leaf(w, "x", "1", ItemType_i4);
                 Leaf(w, "x", "2", ItemType_i4);
             });
             Collection(w, [&] { Leaf(w, "y", "3"); });
         }),
         "{\"r\": {\"x\": [1,2],\"y\": [\"3\"]}}"},
        {"a simple element after a collection stands behind the bracket",
         InRoot([](CJsonTextWriter& w) {
             Collection(w, [&] { Leaf(w, "x", "1"); });
             Leaf(w, "z", "s");
         }),
         "{\"r\": {\"x\": [\"1\"],\"z\": \"s\"}}"},
        {"an empty first item opens the array",
         InRoot([](CJsonTextWriter& w) {
             Collection(w, [&] {
                 Empty(w, "x");
                 Leaf(w, "x", "b");
                 Empty(w, "x");
             });
         }),
         "{\"r\": {\"x\": [null,\"b\",null]}}"},
        {"items of another name end the array and start their own",
         InRoot([](CJsonTextWriter& w) {
             Collection(w, [&] {
                 Leaf(w, "a", "1");
                 Leaf(w, "a", "2");
                 Leaf(w, "b", "3");
                 Leaf(w, "a", "4");
             });
         }),
         "{\"r\": {\"a\": [\"1\",\"2\"],\"b\": [\"3\"],\"a\": [\"4\"]}}"},
        {"a collection the engine doesn't end ends with its element",
         InRoot([](CJsonTextWriter& w) {
             w.SetArrayState(1);
             Leaf(w, "x", "1");
         }),
         "{\"r\": {\"x\": [\"1\"]}}"},
        {"a collection with no item writes nothing",
         InRoot([](CJsonTextWriter& w) {
             Collection(w, [] {});
             Leaf(w, "z", "1");
         }),
         "{\"r\": {\"z\": \"1\"}}"},
        {"text behind members is #text; an attribute may follow a child",
         InRoot([](CJsonTextWriter& w) {
             Leaf(w, "c", "1");
             w.WriteAttribute("a", "", "2", ItemType_string);
             w.WriteElementText("t", ItemType_string, false);
         }),
         "{\"r\": {\"c\": \"1\",\"@a\": \"2\",\"#text\": \"t\"}}"},
        {"values of the bare kinds, and what JSON wouldn't take as a number is a string",
         InRoot([](CJsonTextWriter& w) {
             Leaf(w, "a", "-12", ItemType_i1);
             Leaf(w, "b", "1.5E-7", ItemType_r4);
             Leaf(w, "c", "0.50", ItemType_decimal);
             Leaf(w, "d", "1", ItemType_boolean);
             Leaf(w, "e", "false", ItemType_boolean);
             Leaf(w, "f", "+5", ItemType_i4);
             Leaf(w, "g", "007", ItemType_integer);
             Leaf(w, "h", ".5", ItemType_r8);
             Leaf(w, "i", "INF", ItemType_decimal);
             Leaf(w, "j", "5", ItemType_string);
             Leaf(w, "k", "", ItemType_i4);
             Leaf(w, "l", "2024-01-01", ItemType_date);
             Leaf(w, "m", "A", ItemType_char);
         }),
         "{\"r\": {\"a\": -12,\"b\": 1.5E-7,\"c\": 0.50,\"d\": 1,\"e\": false,\"f\": \"+5\",\"g\": \"007\",\"h\": \".5\","
         "\"i\": \"INF\",\"j\": \"5\",\"k\": \"\",\"l\": \"2024-01-01\",\"m\": \"A\"}}"},
        {"float kinds keep INF, -INF and NaN bare",
         InRoot([](CJsonTextWriter& w) {
             Leaf(w, "a", "INF", ItemType_r8);
             Leaf(w, "b", "-INF", ItemType_r4);
             Leaf(w, "c", "NaN", ItemType_r8);
         }),
         "{\"r\": {\"a\": INF,\"b\": -INF,\"c\": NaN}}"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpWhat);
        EXPECT_EQ(c.lpExpected, Json(c.calls));
    }
}

TEST(JsonTextWriter, ArraysIndentTheirItemsOneLevelDeeper)
{
    // Items that are objects, an array inside an item, and members after both.
    EXPECT_EQ("{\n"
              "\t\"r\": {\n"
              "\t\t\"x\": [\n"
              "\t\t\t{\n"
              "\t\t\t\t\"y\": [\n"
              "\t\t\t\t\t\"1\",\n"
              "\t\t\t\t\tnull\n"
              "\t\t\t\t],\n"
              "\t\t\t\t\"z\": {\n"
              "\t\t\t\t\t\"@a\": \"2\"\n"
              "\t\t\t\t}\n"
              "\t\t\t},\n"
              "\t\t\tnull\n"
              "\t\t],\n"
              "\t\t\"w\": \"3\"\n"
              "\t}\n"
              "}",
              Json(InRoot([](CJsonTextWriter& w) {
                      Collection(w, [&] {
                          w.StartElement("x", "");
                          Collection(w, [&] {
                              Leaf(w, "y", "1");
                              Empty(w, "y");
                          });
                          w.StartElement("z", "");
                          w.WriteAttribute("a", "", "2", ItemType_string);
                          w.EndElement();
                          w.EndElement();
                          Empty(w, "x");
                      });
                      Leaf(w, "w", "3");
                  }),
                  RoundTripFull, true));
}

TEST(JsonTextWriter, EscapesAndLineEnds)
{
    const struct
    {
        const char* lpWhat;
        std::string strText;
        EOLType eEol;
        const char* lpExpected;
    } cases[] = {
        {"quote and backslash", "a\"b\\c", EOLType_LF, "\"a\\\"b\\\\c\""},
        {"short escapes; the solidus stays", "\b\t\f/", EOLType_LF, "\"\\b\\t\\f/\""},
        {"other controls in upper-case hex", std::string("\x01\x1F\x0B", 3), EOLType_LF, "\"\\u0001\\u001F\\u000B\""},
        {"bytes above 0x7F pass", "caf\xC3\xA9 \x7F", EOLType_LF, "\"caf\xC3\xA9 \x7F\""},
        {"a line feed is the raw line end", "a\nb", EOLType_LF, "\"a\nb\""},
        {"... of the line end type", "a\nb", EOLType_CRLF, "\"a\r\nb\""},
        {"a carriage return is dropped", "a\r\nb\rc", EOLType_LF, "\"a\nbc\""},
        {"the text ends at a NUL", std::string("ab\0cd", 5), EOLType_LF, "\"ab\""},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpWhat);
        // Unformatted: a line end in the output can only come from the text.
        const std::string strText = c.strText;
        EXPECT_EQ(std::string("{\"r\": ") + c.lpExpected + "}",
                  Json(
                      [&](CJsonTextWriter& w) {
                          w.StartElement("r", "");
                          w.WriteElementText(strText, ItemType_string, false);
                          w.EndElement();
                      },
                      RoundTripFull, false, c.eEol));
    }
    // Names, prefixes and URIs that no schema would give are escaped strictly.
    EXPECT_EQ("{\"a\\\"b\": {\"@xmlns\": \"urn:\\\"x\\\"\\n\",\"@c\\\\d\": \"1\"}}",
              Json([](CJsonTextWriter& w) {
                  w.SetDefaultNamespace("urn:\"x\"\n");
                  w.StartElement("a\"b", "");
                  w.WriteAttribute("c\\d", "", "1", ItemType_string);
                  w.EndElement();
              }));
}

TEST(JsonTextWriter, NamespacesInFullModeAndNoneInTheOthers)
{
    auto nested = [](CJsonTextWriter& w) {
        w.StartElement("r", "urn:a");
        w.StartElement("c", "urn:b");
        w.WriteAttribute("t", "urn:b", "1", ItemType_string);
        w.EndElement();
        w.EndElement();
    };
    // The root takes a generated prefix, declared on it; a namespace below it must be known.
    EXPECT_EQ("{\"AA:r\": {\"@xmlns:AA\": \"urn:a\"}}", Json([](CJsonTextWriter& w) { Empty(w, "r", "urn:a"); }));
    EXPECT_KR_THROW(Json(nested), CKrException, "Unknown Namespace: urn:b.");
    EXPECT_EQ("{\"r\": {\"c\": {\"@t\": \"1\"}}}", Json(nested, RoundTripAttributes));
    EXPECT_EQ("{\"r\": {\"c\": {\"t\": \"1\"}}}", Json(nested, RoundTripNone));
    // With aliases the names carry prefixes; an element in the default namespace has none, and
    // the default is declared on the root alone.
    EXPECT_EQ("{\"r\": {\"@xmlns\": \"urn:a\",\"@xmlns:b\": \"urn:b\",\"b:c\": {\"@b:t\": \"1\"}}}",
              Json([&](CJsonTextWriter& w) {
                  w.SetDefaultNamespace("urn:a");
                  w.AddNamespaceAlias("b", "urn:b");
                  nested(w);
              }));
    // An attribute in an unknown namespace refuses before writing anything.
    EXPECT_KR_THROW(Json(InRoot([](CJsonTextWriter& w) { w.WriteAttribute("t", "urn:z", "1", ItemType_string); })),
                    CKrException, "Unknown Namespace: urn:z.");
    // Only the first item of an array is named, and so only its namespace is looked at; an item
    // in another namespace starts a member of its own.
    EXPECT_EQ("{\"r\": {\"@xmlns:b\": \"urn:b\",\"b:x\": [\"1\"],\"x\": [\"2\"]}}",
              Json([](CJsonTextWriter& w) {
                  w.AddNamespaceAlias("b", "urn:b");
                  w.StartElement("r", "");
                  Collection(w, [&] {
                      Leaf(w, "x", "1", ItemType_string, "urn:b");
                      Leaf(w, "x", "2");
                  });
                  w.EndElement();
              }));
}

TEST(JsonTextWriter, TypeAttribute)
{
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
    // Declarations in the order of the URIs.
    const std::string strDecl =
        std::string("{\"r\": {\"@xmlns\": \"urn:a\",\"@xmlns:xsi\": \"") + kXsi + "\",\"@xmlns:q\": \"urn:q\",";
    EXPECT_EQ(strDecl + "\"@xsi:type\": \"T\"}}", Json(typed("")));
    EXPECT_EQ(strDecl + "\"@xsi:type\": \"T\"}}", Json(typed("urn:a")));
    EXPECT_EQ(strDecl + "\"@xsi:type\": \"q:T\"}}", Json(typed("urn:q")));
    EXPECT_KR_THROW(Json(typed("urn:z")), CKrException, "Unknown Namespace: urn:z.");
    EXPECT_EQ("{\"r\": null}", Json(typed("urn:q"), RoundTripAttributes));
    // The schema-instance namespace needs an alias of its own.
    EXPECT_KR_THROW(Json(InRoot([](CJsonTextWriter& w) { w.WriteTypeAttribute("", "T", ItemType_string); })),
                    CKrException, "Unknown Namespace: http://www.w3.org/2001/XMLSchema-instance.");
}

TEST(JsonTextWriter, RefusalsAndComments)
{
    CTextStream stream;
    CJsonTextWriter writer(&stream);
    EXPECT_KR_THROW(writer.SetEOLType(static_cast<EOLType>(2)), CKrException, "Invalid EOL type.");
    EXPECT_KR_THROW(writer.SetRoundTrip(static_cast<JsonRoundTrip>(3)), CKrInvalidParamException,
                    "Invalid JSON round trip mode [3].");
    EXPECT_EQ(EOLType_LF, writer.GetEOLType());
    EXPECT_EQ(RoundTripFull, writer.GetRoundTrip());

    // A bare value takes nothing behind it.
    for (const Calls& after : std::vector<Calls>{
             [](CJsonTextWriter& w) { w.WriteElementText("more", ItemType_string, false); },
             [](CJsonTextWriter& w) { w.WriteAttribute("a", "", "1", ItemType_string); },
             [](CJsonTextWriter& w) { Empty(w, "c"); }})
        EXPECT_KR_CHAIN(Json(InRoot([&](CJsonTextWriter& w) {
                            w.WriteElementText("t", ItemType_string, false);
                            after(w);
                        })),
                        {{typeid(CKrException),
                          "The element [r] has been written as a plain value and can take no further content", "/r"}});
    EXPECT_KR_THROW(
        Json([](CJsonTextWriter& w) {
            w.StartElement("r", "");
            w.EndDocument();
        }),
        CKrException, "An Element has not been closed.");

    // A comment ends its line also unformatted; its end marker can't be inside it.
    EXPECT_EQ("{/* a\\\"b \\u0001 */\r\n\"r\": null}", Json([](CJsonTextWriter& w) {
                  w.WriteComment("a\"b \x01");
                  Empty(w, "r");
              },
                                                        RoundTripFull, false, EOLType_CRLF));
    EXPECT_KR_THROW(Json([](CJsonTextWriter& w) { w.WriteComment("a */ b"); }), CKrException,
                    "A comment can not contain \"*/\"");
    // Further roots are further members.
    EXPECT_EQ("{\"a\": \"1\",\"b\": null}", Json([](CJsonTextWriter& w) {
                  Leaf(w, "a", "1");
                  Empty(w, "b");
              }));
}

namespace {

// Records the length buffered at each flush, and keeps everything.
struct CFlushRecorder : CTextStream
{
    CFlushRecorder() : CTextStream("CTextStream", XmlEncoding_UTF8) {}
    std::vector<size_t> m_flushes;
    void Flush() override { m_flushes.push_back(GetLength()); }
};

} // namespace

TEST(JsonTextWriter, FlushesAtFourKilobytesAtItsTestPointsOnly)
{
    const std::string strLong(5000, 'x');
    CFlushRecorder stream;
    CJsonTextWriter writer(&stream);
    writer.SetFormatted(false);
    stream.Write(std::string(4094, ' '));
    writer.WriteHeader();  // 4095 bytes: no flush
    EXPECT_TRUE(stream.m_flushes.empty());
    writer.StartElement("r", "");  // 4100 after the name, tested at its end
    ASSERT_EQ(1u, stream.m_flushes.size());
    EXPECT_EQ(4100u, stream.m_flushes[0]);
    // Attributes, text and ends have no test point.
    writer.WriteAttribute("a", "", strLong, ItemType_string);
    writer.StartElement("c", "");
    EXPECT_EQ(2u, stream.m_flushes.size());
    writer.WriteElementText(strLong, ItemType_string, false);
    writer.EndElement();
    writer.EndElement();
    EXPECT_EQ(2u, stream.m_flushes.size());
    writer.WriteComment("c");
    EXPECT_EQ(3u, stream.m_flushes.size());
    writer.WriteFooter();
    EXPECT_EQ(3u, stream.m_flushes.size());

    CFlushRecorder header;
    CJsonTextWriter second(&header);
    header.Write(std::string(4095, ' '));
    second.WriteHeader();
    EXPECT_EQ(std::vector<size_t>{4097}, header.m_flushes);
}

// ---- the roads of bound objects ----

namespace {

CSmartPtr<PurchaseOrder::CPurchaseOrderType> SamplePurchaseOrder()
{
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp = new PurchaseOrder::CPurchaseOrderType();
    sp->FromXmlFile((std::string(KRXML_SOURCE_DIR) + "/examples/data/purchase-order.xml").c_str(),
                    CSerializationContext::GetDefaultContext());
    return sp;
}

CSerializationContext JsonContext(JsonRoundTrip eMode, const char* lpDefaultNs)
{
    CSerializationContext ctx;
    ctx.GetJsonContext().SetSupportRoundtrip(eMode);
    if (lpDefaultNs)
        ctx.SetDefaultNamespaceURI(lpDefaultNs);
    return ctx;
}

const char* const kDecl =
    " xmlns='urn:kr:test' xmlns:o='urn:kr:other' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'";

template <typename T>
CSmartPtr<CXmlObjectBase> ReadDoc(const std::string& strRoot, const std::string& strAttributes,
                                  const std::string& strBody)
{
    CSmartPtr<T> sp = new T();
    sp->FromXml(("<" + strRoot + kDecl + strAttributes + ">" + strBody + "</" + strRoot + ">").c_str(),
                CSerializationContext::GetDefaultContext());
    return CSmartPtr<CXmlObjectBase>(sp.p);
}

// The engine's test classes, each with much of what its class can hold.
std::vector<std::pair<std::string, CSmartPtr<CXmlObjectBase>>> EngineDocuments()
{
    return {
        {"seqDoc",
         ReadDoc<CSeqDoc>(
             "seqDoc", " ver='3' mode='red' rev='12' o:x='1'",
             "<id>5</id><label xsi:nil='true'/><num>1</num><num>2</num><color>green</color><shade/>"
             "<tone>red</tone><tone>blue</tone><point><x>1</x><y>2</y></point><voucher code='ABC'>12.50</voucher>"
             "<note lang='de'> 12 </note><note/><shape xsi:type='Circle' label='c'><radius>1.5</radius></shape>"
             "<spare xsi:type='Square'><side>2</side></spare><figure xsi:type='Circle'><radius>3</radius></figure>"
             "<figure xsi:type='Square'><side>4</side></figure><o:w a='1'>t<o:c/><o:c/></o:w><extra><z/></extra>"
             "<o:v/><o:u/><o:u>2</o:u>")},
        {"allDoc",
         ReadDoc<CAllDoc>("allDoc", " kind='blue' via='v'",
                          "<more>m1</more><o:w/><cash>3</cash><figure xsi:type='Circle'><radius>3</radius></figure>"
                          "<shape xsi:type='Square'><side>4</side></shape><note>n</note><voucher code='XYZ'>1</voucher>"
                          "<point xsi:nil='true'/><tone>green</tone><shade xsi:nil='1'/><num>7</num><label>l</label>"
                          "<color>blue</color><id>9</id><extra/><more>m2</more>")},
        {"groupDoc", ReadDoc<CGroupDoc>("groupDoc", " zone='z' tag='red' via='v' doc='d'",
                                        "<street>s</street><city>c</city><card>k</card><q>1</q><p>x</p>"
                                        "<street>s2</street><city>c2</city><street>s3</street><city>c3</city>")},
        {"choiceDoc", ReadDoc<CChoiceDoc>("choiceDoc", "", "<note>a</note><note>b</note>")},
        {"nestDoc", ReadDoc<CNestDoc>("nestDoc", "",
                                      "<point><x>1</x></point><shape xsi:type='Circle'><radius>1</radius></shape>"
                                      "<o:w/><n>1</n><p>x</p><c>1</c><c>2</c><street>s</street><city>c</city><m>1</m>")},
        {"typedCols",
         ReadDoc<CTypedCols>(
             "typedCols", "",
             "<b64>AQID</b64><hex>0A0B</hex><bool>1</bool><i1>-3</i1><i2>7</i2><i4>999</i4><i8>9007199254740993</i8>"
             "<ui1>200</ui1><ui2>6</ui2><ui4>7</ui4><ui8>18446744073709551615</ui8><r4>1.25</r4><r8>2.5</r8>"
             "<r8>1E-300</r8><dec>123.45</dec><int>-99999999999999999999</int><str>abc</str><str>z</str>"
             "<dur>P1D</dur><year>2024</year><month>--05</month><day>---07</day><dt>2024-01-02T03:04:05Z</dt>"
             "<date>2001-01-01</date><time>10:00:00</time><ym>2024-05</ym><md>--05-06</md>")},
    };
}

// What a JSON reader of the full mode needs to find every prefix on the root.
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
    REQUIRE_PYTHON();
    std::vector<std::pair<std::string, std::string>> docs;
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spOrder = SamplePurchaseOrder();
    const auto engine = EngineDocuments();
    for (JsonRoundTrip eMode : {RoundTripNone, RoundTripAttributes, RoundTripFull})
        for (bool bFormatted : {true, false})
        {
            const std::string strTag = "mode " + std::to_string(eMode) + (bFormatted ? " formatted " : " flat ");
            docs.emplace_back(strTag + "po", spOrder->ToJson(bFormatted, EOLType_LF, JsonContext(eMode, nullptr)));
            for (const auto& doc : engine)
                docs.emplace_back(strTag + doc.first, doc.second->ToJson(bFormatted, EOLType_CRLF, EngineContext(eMode)));
        }
    EXPECT_EQ("", StrictJsonRefusals(docs));

    // The purchase order's values by kind, its repeated item as one array.
    const std::string& strPo = docs[docs.size() - 1 - engine.size()].second;  // full, flat
    for (const char* lpPart :
         {"{\"AA:purchaseOrder\": {\"@xmlns:AA\": \"urn:example:po\",\"@id\": 670488,\"@orderDate\": \"2024-05-06\",",
          "\"AA:item\": [{\"@sku\": \"SKU-000000\",\"@line\": 1,\"@gift\": true,\"AA:name\": ",
          "\"AA:quantity\": 13,\"AA:serial\": 262950994425995,\"AA:price\": 4506.31,\"AA:weight\": 223.2115149380846,"
          "\"AA:taxable\": true,\"AA:shipDate\": \"2024-02-24\"",
          "\"AA:comment\": \"theta omicron tau iota alpha zeta xi lambda iota epsilon eta lambda delta gamma & <more>\"",
          "},{\"@sku\": \"SKU-000001\"", "}],\"AA:note\": \"Generated order with 3 items.\"}}"})
        EXPECT_NE(std::string::npos, strPo.find(lpPart)) << lpPart << "\n" << strPo;
}

TEST(JsonRoads, EngineClassesInFullMode)
{
    // Nil values and empty classes are null, an empty wildcard an empty string; wildcards keep
    // their prefixes, and runs of one name are arrays; xsi:type is kept.
    const auto engine = EngineDocuments();
    const std::string strSeq = engine[0].second->ToJson(false, EOLType_LF, EngineContext(RoundTripFull));
    EXPECT_EQ("{\"seqDoc\": {\"@xmlns\": \"urn:kr:test\",\"@xmlns:xsi\": \"http://www.w3.org/2001/XMLSchema-instance\","
              "\"@xmlns:o\": \"urn:kr:other\",\"@ver\": 3,\"@mode\": \"red\",\"@rev\": \"12\","
              "\"@o:x\": \"1\",\"id\": 5,\"label\": null,\"num\": [1,2],\"color\": \"green\",\"shade\": \"blue\","
              "\"tone\": [\"red\",\"blue\"],\"point\": {\"x\": 1,\"y\": 2},\"voucher\": {\"@code\": \"ABC\","
              "\"#text\": 12.5},\"note\": [{\"@lang\": \"de\",\"#text\": \" 12 \"},\"\"],\"shape\": {\"@xsi:type\": "
              "\"Circle\",\"@label\": \"c\",\"radius\": 1.5},\"spare\": {\"@xsi:type\": \"Square\",\"side\": 2},"
              "\"figure\": [{\"@xsi:type\": \"Circle\",\"radius\": 3},{\"@xsi:type\": \"Square\",\"side\": 4}],"
              "\"o:w\": {\"@a\": \"1\",\"o:c\": [\"\",\"\"],\"#text\": \"t\"},\"extra\": {\"z\": \"\"},"
              "\"o:v\": [\"\"],\"o:u\": [\"\",\"2\"]}}",
              strSeq);
    // The items of a repeated pseudo group keep every name.
    CSmartPtr<CGroupDoc> spGroup = new CGroupDoc();
    spGroup->SetDoc("d");
    spGroup->GetAddr()->SetStreet("s");
    spGroup->GetAddr()->SetCity("c");
    spGroup->GetExt()->SetP("p");
    for (const char* lpSuffix : {"2", "3"})
    {
        CSmartPtr<CSeqGroup> spMore = new CSeqGroup("more");
        spMore->SetStreet(std::string("s") + lpSuffix);
        spMore->SetCity(std::string("c") + lpSuffix);
        spGroup->GetMore()->AddObject(spMore);
    }
    EXPECT_EQ("{\"groupDoc\": {\"@doc\": \"d\",\"street\": \"s\",\"city\": \"c\",\"p\": \"p\",\"street\": [\"s2\"],"
              "\"city\": [\"c2\"],\"street\": [\"s3\"],\"city\": [\"c3\"]}}",
              spGroup->ToJson(false, EOLType_LF, JsonContext(RoundTripAttributes, kTestNs)));
    // Without an alias for the schema instance the derived class can't say its type.
    EXPECT_KR_CHAIN(engine[0].second->ToJson(false, EOLType_LF, JsonContext(RoundTripFull, kTestNs)),
                    {{typeid(CKrValidationException), "Failed to convert the element [seqDoc] to XML", ""},
                     {typeid(CKrException), "Failed to convert attributes to XML", ""},
                     {typeid(CKrException), "Unknown Namespace: urn:kr:other.", ""}});
}

TEST(JsonRoads, NumbersKeepTheirExactTextAndTheTwoDeparturesFromStrictJson)
{
    // A decimal of 40 digits and an i8 above 2^53 come out digit for digit.
    CSmartPtr<CVoucher> spVoucher = new CVoucher();
    spVoucher->SetCode("ABC");
    spVoucher->SetValue(CDecimal("123456789012345678901234567890.1234567891"));
    EXPECT_EQ("{\"voucher\": {\"@code\": \"ABC\",\"#text\": 123456789012345678901234567890.1234567891}}",
              spVoucher->ToJson(false, EOLType_LF, JsonContext(RoundTripAttributes, nullptr)));
    const std::string strCols = EngineDocuments()[5].second->ToJson(false, EOLType_LF, JsonContext(RoundTripNone, nullptr));
    for (const char* lpPart : {"\"i8\": [9007199254740993]", "\"ui8\": [18446744073709551615]", "\"r8\": [2.5,1e-300]",
                               "\"int\": [-99999999999999999999]", "\"bool\": [true]", "\"b64\": [\"AQID\"]"})
        EXPECT_NE(std::string::npos, strCols.find(lpPart)) << lpPart << "\n" << strCols;

    // Float kinds write INF and NaN bare, and a line feed in text is a raw line end: the two
    // places where the output isn't strict JSON.
    CSmartPtr<CCircle> spCircle = new CCircle();
    spCircle->SetRadius(std::numeric_limits<double>::infinity());
    const std::string strInf = spCircle->ToJson(false, EOLType_LF, JsonContext(RoundTripNone, nullptr));
    EXPECT_EQ("{\"Circle\": {\"radius\": INF}}", strInf);
    spCircle->SetRadius(std::numeric_limits<double>::quiet_NaN());
    const std::string strNan = spCircle->ToJson(false, EOLType_LF, JsonContext(RoundTripNone, nullptr));
    EXPECT_EQ("{\"Circle\": {\"radius\": NaN}}", strNan);
    CSmartPtr<CNote> spNote = new CNote();
    spNote->SetText("a\r\nb\nc");
    const std::string strLines = spNote->ToJson(true, EOLType_CRLF, JsonContext(RoundTripFull, kTestNs));
    EXPECT_EQ("{\r\n\t\"note\": {\r\n\t\t\"@xmlns\": \"urn:kr:test\",\r\n\t\t\"#text\": \"a\r\nb\r\nc\"\r\n\t}\r\n}",
              strLines);
    if (HavePython())
    {
        const std::string strRefused = StrictJsonRefusals({{"inf", strInf}, {"nan", strNan}, {"lines", strLines}});
        EXPECT_NE(std::string::npos, strRefused.find("inf: ")) << strRefused;
        EXPECT_NE(std::string::npos, strRefused.find("nan: ")) << strRefused;
        EXPECT_NE(std::string::npos, strRefused.find("lines: ")) << strRefused;
    }
}

TEST(JsonRoads, StreamsFilesAndTheContextsOptions)
{
    CSmartPtr<CPoint> spPoint = new CPoint();
    spPoint->SetX(1);
    CSerializationContext ctx = JsonContext(RoundTripAttributes, kTestNs);
    ctx.SetIndentChars("  ");
    const std::string strText = "{\n  \"point\": {\n    \"x\": 1\n  }\n}";
    EXPECT_EQ(strText, spPoint->ToJson(true, EOLType_LF, ctx));

    CBinaryData utf8 = spPoint->ToJsonStream(true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
    EXPECT_EQ(strText, std::string(reinterpret_cast<const char*>(utf8.GetData()), utf8.GetLength()));
    CBinaryData utf16 = spPoint->ToJsonStream(false, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None);
    EXPECT_EQ(std::string("{\0\"\0p\0", 6), std::string(reinterpret_cast<const char*>(utf16.GetData()), 6));
    EXPECT_EQ(2 * std::string("{\"point\": {\"x\": 1}}").size(), utf16.GetLength());
    EXPECT_KR_THROW(spPoint->ToJsonStream(false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_GZip), CKrException,
                    "GZIP Compression is not available in this version of the library");
    EXPECT_KR_THROW(spPoint->ToJson(false, static_cast<EOLType>(7), ctx), CKrException, "Invalid EOL type.");

    const std::string strFile = TempPath("point.json");
    EXPECT_KR_THROW(spPoint->ToJsonFile(strFile.c_str(), false, XmlEncoding_UTF8, EOLType_LF, ctx,
                                        CompressionType_ZLib),
                    CKrException, "ZLIB Compression only available for To Stream methods.");
    for (bool bAsync : {false, true})
    {
        SCOPED_TRACE(bAsync);
        AsyncToXmlFile(bAsync);
        spPoint->ToJsonFile(strFile.c_str(), false, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None);
        AsyncToXmlFile(false);
        const std::string strBytes = ReadFileBytes(strFile);
        EXPECT_EQ(std::string("\xFF\xFE{\0\"\0", 6), strBytes.substr(0, 6));
        EXPECT_EQ(2 + utf16.GetLength(), strBytes.size());
        spPoint->ToJsonFile(strFile.c_str(), true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
        EXPECT_EQ(strText, ReadFileBytes(strFile));
    }
}

TEST(JsonRoads, UntypedContent)
{
    // Runs of one name are arrays; an empty text beside members is left out; an element with
    // a default namespace of its own is written plainly.
    CSmartPtr<CElement> spRoot(new CElement("r", "urn:a"));
    spRoot->FromXml("<r xmlns='urn:a' xmlns:b='urn:b' k='v'><x>1</x><x/><y b:t='2'/><x>3</x><b:z>4</b:z>"
                    "<b:z/><w xmlns='urn:c'><v/></w></r>");
    CSmartPtr<CElement> spNested(new CElement("n", "urn:a"));
    spNested->FromXml("<n xmlns='urn:a'><m>5</m></n>");
    CSmartPtr<CElement> spOwnDefault(spNested->Clone());
    spRoot->GetChildElements()->Add(spOwnDefault);
    CSerializationContext ctx = JsonContext(RoundTripFull, "urn:a");
    ctx.GetNamespaceAliases().Add("b", "urn:b");
    ctx.GetNamespaceAliases().Add("c", "urn:c");
    EXPECT_EQ("{\"r\": {\"@xmlns\": \"urn:a\",\"@xmlns:b\": \"urn:b\",\"@xmlns:c\": \"urn:c\",\"@k\": \"v\","
              "\"x\": [\"1\",\"\"],\"y\": {\"@b:t\": \"2\"},\"x\": \"3\",\"b:z\": [\"4\",\"\"],"
              "\"c:w\": {\"c:v\": \"\"},\"n\": {\"m\": \"5\"}}}",
              spRoot->ToJson(false, EOLType_LF, ctx));
    // The XML road is unchanged by the runs.
    CSerializationContext xml;
    xml.SetDefaultNamespaceURI("urn:a");
    xml.GetNamespaceAliases().Add("b", "urn:b");
    EXPECT_EQ("<r xmlns=\"urn:a\" xmlns:b=\"urn:b\" k=\"v\"><x>1</x><x/><y b:t=\"2\"/><x>3</x><b:z>4</b:z><b:z/>"
              "<AA:w xmlns:AA=\"urn:c\"><AA:v/></AA:w><n><m>5</m></n></r>",
              spRoot->ToXml(false, false, EOLType_LF, xml));
}

// ---- the tool ----

namespace {

struct ToolRun
{
    int iExit;
    std::string strOut;
};

ToolRun RunTool(const std::string& strArgs)
{
#ifndef KRXML_TOOL_PATH
#define KRXML_TOOL_PATH ""
    const bool bBuilt = false;
#else
    const bool bBuilt = true;
#endif
    if (!bBuilt)
        return ToolRun{-1, "tool not built"};
    std::string strCmd = std::string(KRXML_TOOL_PATH) + " " + strArgs + " 2>&1";
    ToolRun run{-1, ""};
    FILE* p = popen(strCmd.c_str(), "r");
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), p)) > 0)
        run.strOut.append(buf, n);
    int status = pclose(p);
    run.iExit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

} // namespace

TEST(JsonTool, ConvertToJsonInEachMode)
{
#ifndef KRXML_TOOL_PATH
    GTEST_SKIP() << "krxml is not built";
#endif
    const std::string strIn = TempPath("in.xml");
    WriteFileBytes(strIn, "<a xmlns='urn:a' i='1'><b xmlns='urn:b'>x</b><c>y</c><c>z</c></a>");
    const struct
    {
        const char* lpArgs;
        const char* lpExpected;
    } cases[] = {
        {"--to json --no-format",
         // the input's last default namespace is the default; every other namespace gets a prefix
         "{\"ns0:a\": {\"@xmlns\": \"urn:b\",\"@xmlns:ns0\": \"urn:a\",\"@i\": \"1\",\"b\": \"x\","
         "\"ns0:c\": [\"y\",\"z\"]}}"},
        {"--to json --json-mode attributes --no-format",
         "{\"a\": {\"@i\": \"1\",\"b\": \"x\",\"c\": [\"y\",\"z\"]}}"},
        {"--to json --json-mode none --eol crlf --indent '  '",
         "{\r\n  \"a\": {\r\n    \"i\": \"1\",\r\n    \"b\": \"x\",\r\n    \"c\": [\r\n      \"y\",\r\n      \"z\"\r\n"
         "    ]\r\n  }\r\n}"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpArgs);
        ToolRun run = RunTool("convert " + strIn + " " + c.lpArgs);
        EXPECT_EQ(0, run.iExit) << run.strOut;
        EXPECT_EQ(c.lpExpected, run.strOut);
    }
    const std::string strOut = TempPath("out.json");
    ToolRun toFile = RunTool("convert " + strIn + " --to json --json-mode attributes --no-format -o " + strOut);
    EXPECT_EQ(0, toFile.iExit) << toFile.strOut;
    EXPECT_EQ("{\"a\": {\"@i\": \"1\",\"b\": \"x\",\"c\": [\"y\",\"z\"]}}", ReadFileBytes(strOut));

    ToolRun bad = RunTool("convert " + strIn + " --to json --json-mode some");
    EXPECT_EQ(2, bad.iExit);
    EXPECT_EQ(0u, bad.strOut.find("krxml: unknown JSON mode 'some' (none, attributes or full)\n")) << bad.strOut;
    ToolRun help = RunTool("--help");
    EXPECT_NE(std::string::npos, help.strOut.find("--json-mode MODE")) << help.strOut;
    EXPECT_NE(std::string::npos, help.strOut.find("--to xml|json")) << help.strOut;
}
