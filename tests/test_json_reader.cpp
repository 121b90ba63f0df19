// Reading JSON: the parser's syntax and its failures, the mapping to XML text, the document
// loaders and the FromJson roads of bound classes and untyped content.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <stdexcept>
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
const std::type_info& State = typeid(CKrInvalidStateException);

// Writes each event as a short token.
class CRecorder : public IJsonReaderHandler
{
public:
    explicit CRecorder(std::string& strOut) : m_out(strOut) {}
    void StartDocument() override { m_out += "<"; }
    void EndDocument() override { m_out += ">"; }
    void Name(const std::string& n) override { m_out += "N:" + n + " "; }
    void String(const std::string& v) override { m_out += "S:" + v + " "; }
    void Number(const std::string& v) override { m_out += "#:" + v + " "; }
    void StartObject() override { m_out += "{ "; }
    void EndObject() override { m_out += "} "; }
    void StartArray() override { m_out += "[ "; }
    void EndArray() override { m_out += "] "; }
    void Bool(bool b) override { m_out += b ? "T " : "F "; }
    void Null() override { m_out += "null "; }

private:
    std::string& m_out;
};

std::string Events(const std::string& strJson)
{
    std::string strOut;
    CJsonTextReader reader(strJson);
    reader.SetHandler(new CRecorder(strOut));
    reader.Parse();
    return strOut;
}

CSerializationContext JsonContext(JsonRoundTrip eMode, const char* lpRoot = "", bool bComments = true)
{
    CSerializationContext ctx;
    ctx.GetJsonContext().SetSupportRoundtrip(eMode);
    ctx.GetJsonContext().SetRootElementName(lpRoot);
    ctx.GetJsonContext().GetAllowComments(bComments);
    return ctx;
}

std::string Text(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

const std::string kDecl = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// The XML text of the JSON, without the declaration.
std::string Xml(const std::string& strJson, JsonRoundTrip eMode = RoundTripFull, const char* lpRoot = "",
                bool bComments = true)
{
    std::string strXml = Text(JsonToXml(strJson, JsonContext(eMode, lpRoot, bComments)));
    EXPECT_EQ(0u, strXml.find(kDecl));
    return strXml.substr(kDecl.size());
}

std::string Repeat(const std::string& str, int n)
{
    std::string strOut;
    for (int i = 0; i < n; ++i)
        strOut += str;
    return strOut;
}

} // namespace

// ---- the parser ----

TEST(JsonReader, EventsOfValidText)
{
    const struct
    {
        std::string strJson, strEvents;
    } cases[] = {
        {"", "<>"},
        {" \t\r\n /* only */ // comments\n", "<>"},
        {"{\"a\":1,\"a\":[true,false,null,{}],\"b\":{\"c\":\"d\"}}",
         "<{ N:a #:1 N:a [ T F null { } ] N:b { N:c S:d } } >"},
        {"{\"a\":1} trailing", "<{ N:a #:1 } >"},
        {"012", "<#:0 >"},
        {"-0.000123e+45", "<#:-0.000123e+45 >"},
        {"1234567890123456789012345678901234567890.0123456789", "<#:1234567890123456789012345678901234567890.0123456789 >"},
        {"12\n34", "<#:1234 >"},
        {"/* c */ [ // x\n1 ]", "<[ #:1 ] >"},
        {"\"a\nb\rc\td\"", "<S:ab\rc\td >"},
        {"\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u0041\\u001F\"", "<S:\"\\/\b\f\n\r\tA\x1F >"},
        {"\"\\u00e9\\u20AC\\ud83d\\ude00\"", "<S:\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 >"},
        {"[" + Repeat("[", 99) + Repeat("]", 100), "<" + Repeat("[ ", 100) + Repeat("] ", 100) + ">"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.strJson);
        EXPECT_EQ(c.strEvents, Events(c.strJson));
    }
}

TEST(JsonReader, SyntaxFailuresGiveMessageLineAndPositionAndPath)
{
    const struct
    {
        std::string strJson, strMessage, strPath;
    } cases[] = {
        {"{", "Unexpected End of File. Expected Object terminator character '}}' at line 1, position 1.", "$"},
        {"{\"a\":1", "Unexpected End of File. Expected Object terminator character '}' at line 1, position 6.", "$.a"},
        {"{\"a\":1,", "Unexpected End of File. Expected Object terminator character '}' at line 1, position 7.", "$.a"},
        {"{\"a\":1,}", "Expected quotation mark character '\"' before Name, found '}' at line 1, position 8.", "$.a"},
        {"{\"a\"", "Unexpected End of File. Expected Object Name/Value separator character ':' at line 1, position 4.",
         "$.a"},
        {"{\"a\" 1}", "Expected Object Name/Value separator character ':', found '1' at line 1, position 6.", "$.a"},
        {"{\"a\":", "Unexpected End of File. Expected Object Value at line 1, position 5.", "$.a"},
        {"{\"a\":,}",
         "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found ',' at line 1, position 6.", "$.a"},
        {"{\"a\":1 \"b\":2}", "Expected Object separator character ',', found '\"' at line 1, position 8.", "$.a"},
        {"[", "Unexpected End of File. Expected Array terminator character ']' at line 1, position 1.", "$"},
        {"[1", "Unexpected End of File. Expected Array terminator character ']' at line 1, position 2.", "$"},
        {"[1,", "Unexpected End of File. Expected Array terminator character ']' at line 1, position 3.", "$"},
        {"[1,]", "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found ']' at line 1, position 4.",
         "$"},
        {"[1 2]", "Expected Array separator character ',', found '2' at line 1, position 4.", "$"},
        {"[012]", "Expected Array separator character ',', found '1' at line 1, position 3.", "$"},
        {"[1/*c*/]", "Expected Array separator character ',', found '/' at line 1, position 3.", "$"},
        {"[1, /* open", "Unexpected End of File. Expected Array terminator character ']' at line 1, position 10.", "$"},
        {"x", "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found 'x' at line 1, position 1.", "$"},
        {"Null", "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found 'N' at line 1, position 1.",
         "$"},
        {"-", "Unexpected End of File. Expected a number at line 1, position 1.", "$"},
        {"-x", "Expected a digit '0' to '9', found 'x' at line 1, position 2.", "$"},
        {"1.", "Unexpected End of File. Expected a digit '0' to '9' at line 1, position 2.", "$"},
        {"1.e5", "Expected a digit '0' to '9', found 'e' at line 1, position 3.", "$"},
        {"1e", "Unexpected End of File. Expected '+', '-' or a number at line 1, position 2.", "$"},
        {"1e+", "Unexpected End of File. Expected a number at line 1, position 3.", "$"},
        {"1E-x", "Expected a digit '0' to '9', found 'x' at line 1, position 4.", "$"},
        {"nul", "Unexpected End of File. Expected value 'NULL' at line 1, position 3.", "$"},
        {"nulx", "Expected 'NULL' at line 1, position 4.", "$"},
        {"tru", "Unexpected End of File. Expected value 'true' at line 1, position 3.", "$"},
        {"trUe", "Expected 'true' at line 1, position 4.", "$"},
        {"fals", "Unexpected End of File. Expected value 'false' at line 1, position 4.", "$"},
        {"falsy", "Expected 'false' at line 1, position 5.", "$"},
        {"\"abc", "Unexpected End of File. Expected string value at line 1, position 4.", "$"},
        {"{\"ab", "Unexpected End of File. Expected string value at line 1, position 4.", "$"},
        {"\"a\\", "Unexpected End of File. Expected string value at line 1, position 3.", "$"},
        {"\"a\\x\"", "Invalid Escape Character 'x' at line 1, position 4.", "$"},
        {"\"\\u12\"", "Unexpected End of File. Expected 4 hexadecimal digits'\\uxxxx' at line 1, position 6.", "$"},
        {"\"\\u12G4\"", "Invalid hexadecimal digits '\\u12G4' at line 1, position 7.", "$"},
        {"\"\\u 123\"", "Invalid hexadecimal digits '\\u 123' at line 1, position 7.", "$"},
        {"\"\\uD83D\"", "Unpaired surrogate '\\uD83D' at line 1, position 7.", "$"},
        {"\"\\uD83D\\u0041\"", "Unpaired surrogate '\\uD83D' at line 1, position 7.", "$"},
        {"\"\\uDE00\\uD83D\"", "Unpaired surrogate '\\uDE00' at line 1, position 7.", "$"},
        {"\"\\uD83D\\uDE0\"", "Invalid hexadecimal digits '\\uDE0\"' at line 1, position 13.", "$"},
        {"\"\\uD83D\\uDE0", "Unexpected End of File. Expected 4 hexadecimal digits'\\uxxxx' at line 1, position 12.", "$"},
        {"\"a\\u0000b\"", "NUL character in string at line 1, position 8.", "$"},
        {std::string("[\"a\0b\"]", 7), "NUL character in string at line 1, position 4.", "$"},
        {std::string("{\"a\":1,\0}", 9), "Unexpected NUL character at line 1, position 8.", "$.a"},
        {std::string("[1,\0]", 5), "Unexpected NUL character at line 1, position 4.", "$"},
        {"[1,\n 2,\r\n  x]", "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found 'x' at line 3, "
                             "position 3.", "$"},
        {"[\"a\nb\", 1 2]", "Expected Array separator character ',', found '2' at line 2, position 7.", "$"},
        {"{\"a\":[{\"b\":1},{\"c\":x}]}",
         "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found 'x' at line 1, position 20.",
         "$.a[1].c"},
        {"{\"a\":{\"b\":[{\"c\":true,\"d\":tru}]}}", "Expected 'true' at line 1, position 29.", "$.a.b[0].d"},
        {Repeat("[", 101), "JSON exceeded depth limit at line 1, position 101.", "$"},
        {Repeat("[", 100) + "1" + Repeat("]", 100), "JSON exceeded depth limit at line 1, position 101.", "$"},
        {Repeat("{\"a\":", 100) + "1" + Repeat("}", 100), "JSON exceeded depth limit at line 1, position 501.",
         "$" + Repeat(".a", 100)},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.strJson);
        EXPECT_KR_CHAIN(Events(c.strJson), {{Val, c.strMessage, c.strPath}});
    }
}

TEST(JsonReader, CommentsAreSkippedOnlyWhenAllowed)
{
    const std::string strJson = "/* c */ {\"r\": [ // x\n1 ] /**/}";
    EXPECT_EQ("<r>1</r>", Xml(strJson));
    EXPECT_KR_CHAIN(Xml(strJson, RoundTripFull, "", false),
                    {{Val,
                      "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found '/' at line 1, "
                      "position 1.",
                      "$"}});
    // Comments one after another are no recursion: a long run can't exhaust the stack.
    EXPECT_EQ("<#:1 >", Events(Repeat("/**/", 1000000) + Repeat("//\n", 1000000) + "1"));
}

// ---- the mapping to XML ----

TEST(JsonReader, MappingToXml)
{
    const struct
    {
        std::string strJson;
        JsonRoundTrip eMode;
        const char* lpRoot;
        std::string strXml;
    } cases[] = {
        {"{\"r\":{\"a\":1,\"a\":2}}", RoundTripFull, "", "<r><a>1</a><a>2</a></r>"},
        {"{\"r\":{\"x\":[1,\"two\",true]}}", RoundTripFull, "", "<r><x>1</x><x>two</x><x>true</x></r>"},
        {"{\"r\":{\"x\":[{\"#text\":\"1\"},2,null]}}", RoundTripAttributes, "", "<r><x>1</x><x>2</x><x/></r>"},
        {"{\"r\":{\"x\":[{\"@n\":\"1\",\"y\":\"a\"},{\"y\":\"b\"}]}}", RoundTripFull, "",
         "<r><x n=\"1\"><y>a</y></x><x><y>b</y></x></r>"},
        {"{\"r\":{\"x\":null,\"y\":{},\"z\":\"\"}}", RoundTripFull, "", "<r><x/><y/><z/></r>"},
        {"{\"r\":{\"x\":{\"@a\":\"1\"},\"@b\":null}}", RoundTripFull, "", "<r><x a=\"1\"/></r>"},
        {"{\"r\":{\"@a\":\"1\",\"#text\":\"t\"}}", RoundTripAttributes, "", "<r a=\"1\">t</r>"},
        {"{\"r\":{\"@a\":\"1\",\"#text\":\"t\"}}", RoundTripNone, "", "<r><@a>1</@a><#text>t</#text></r>"},
        {"{\"r\":{\"@a\":{\"#text\":[]}}}", RoundTripNone, "", "<r><@a/></r>"},
        {"{\"r\":{\"#text\":\"t\",\"s\":{}}}", RoundTripFull, "", "<r>t</r><s/>"},
        {"{\"r\":{\"a\":\"x\\ny\",\"b\":{\"c\":1},\"#text\":\" t \"}}", RoundTripFull, "",
         "<r><a>x\ny</a><b><c>1</c></b> t </r>"},
        // An empty array is a member with nothing in it: no element.
        {"{\"r\":{\"a\":[],\"b\":1,\"c\":[[]]}}", RoundTripFull, "", "<r><b>1</b></r>"},
        {"{\"p:r\":{\"@xmlns:p\":\"urn:p\",\"@xmlns\":\"urn:d\",\"p:c\":\"<&>\\\"'\",\"d\":7}}", RoundTripFull, "",
         "<p:r xmlns:p=\"urn:p\" xmlns=\"urn:d\"><p:c>&lt;&amp;&gt;\"'</p:c><d>7</d></p:r>"},
        {"{\"r\":{\"x\":1},\"s\":2}", RoundTripFull, "", "<r><x>1</x></r><s>2</s>"},
        // A root element name wraps whatever stands at the top.
        {"{\"a\":1}", RoundTripFull, "w", "<w><a>1</a></w>"},
        {"\"abc\"", RoundTripFull, "w", "<w>abc</w>"},
        {"[1,2]", RoundTripFull, "w", "<w>1</w><w>2</w>"},
        {" ", RoundTripFull, "w", "<w/>"},
        {"-12.50e3", RoundTripFull, "w", "<w>-12.50e3</w>"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.strJson);
        EXPECT_EQ(c.strXml, Xml(c.strJson, c.eMode, c.lpRoot));
    }
}

TEST(JsonReader, MappingFailures)
{
    const struct
    {
        std::string strJson;
        JsonRoundTrip eMode;
        KrLink link;
    } cases[] = {
        {"{\"r\":{\"\":1}}", RoundTripNone, {Val, "JSON item has an empty Name.", "$.r."}},
        {"{\"\":1}", RoundTripFull, {Val, "JSON item has an empty Name.", "$."}},
        {"[1,2]", RoundTripFull, {Val, "JSON Array has no Name.", "$"}},
        {"{\"r\":{\"x\":[[1],[2]]}}", RoundTripFull, {Val, "JSON Array has no Name.", "$.r"}},
        {"\"abc\"", RoundTripFull, {State, "Failed to convert value 'abc' to Element string value in XML.", ""}},
        {"null", RoundTripFull, {State, "Failed to convert value 'null' to Element string value in XML.", ""}},
        {"{\"#text\":5}", RoundTripFull, {State, "Failed to convert value '5' to Element string value in XML.", ""}},
        {"{\"@a\":true}", RoundTripFull, {State, "Failed to convert value 'true' to Attribute string value in XML.", ""}},
        {"{\"r\":{\"x\":1,\"@a\":\"v\"}}", RoundTripFull,
         {State, "Failed to convert value 'v' to Attribute string value in XML.", ""}},
        {"{\"r\":\"a\\u0007b\"}", RoundTripFull,
         {State, "Failed to convert value 'a\x07" "b' to Element string value in XML.", ""}},
        {"{\"r\":{\"@a\":\"\\u0001\"}}", RoundTripFull,
         {State, "Failed to convert value '\x01' to Attribute string value in XML.", ""}},
        {"{\"a b\":1}", RoundTripFull, {State, "Failed to convert name 'a b' to Element name in XML.", ""}},
        {"{\"r\":{\"x/><y\":{}}}", RoundTripFull, {State, "Failed to convert name 'x/><y' to Element name in XML.", ""}},
        {"{\"r\":{\"@x=\\\"1\\\" y\":\"2\"}}", RoundTripFull,
         {State, "Failed to convert name 'x=\"1\" y' to Attribute name in XML.", ""}},
        {"{\"r\":{\"@\":\"2\"}}", RoundTripFull, {State, "Failed to convert name '' to Attribute name in XML.", ""}},
        {"{\"r\":{\"@a\":{}}}", RoundTripFull, {Val, "JSON Attribute has an object or array value.", "$.r.@a"}},
        {"{\"r\":{\"@a\":[1]}}", RoundTripAttributes, {Val, "JSON Attribute has an object or array value.", "$.r"}},
        {"{\"r\":{\"#text\":{\"x\":1}}}", RoundTripFull, {Val, "JSON Text has an object or array value.", "$.r.#text"}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.strJson);
        EXPECT_KR_CHAIN(Xml(c.strJson, c.eMode), {c.link});
    }
}

TEST(JsonReader, DefaultHandlerTracesEveryEvent)
{
    {
        DebugCapture capture;
        Xml("{\"r\":{\"a\":[1,\"x\",true,null],\"b\":{}}}");
        EXPECT_EQ("StartDocument\nStartObject\nName: r\nStartObject\nName: a\nStartArray\nNumber: 1\nString: x\n"
                  "Bool: true\nNull\nEndArray\nName: b\nStartObject\nEndObject\nEndObject\nEndObject\nEndDocument\n",
                  capture.Text());
    }
    // A value too long for one trace line is traced by its head.
    DebugCapture capture;
    Xml("{\"r\":\"" + std::string(40000, 'v') + "\"}");
    EXPECT_NE(std::string::npos, capture.Text().find("String: " + std::string(16384, 'v') + "...\nEndObject\n"));
}

// ---- loaders ----

TEST(JsonReader, LoadersCheckTheirInput)
{
    CXmlDocument doc;
    EXPECT_KR_THROW(doc.LoadJson(static_cast<const char*>(nullptr)), CKrException, "JSON String is empty!");
    EXPECT_KR_THROW(doc.LoadJson(""), CKrException, "JSON String is empty!");
    const unsigned short wEmpty[] = {0};
    EXPECT_KR_THROW(doc.LoadJson(wEmpty), CKrException, "JSON String is empty!");
    unsigned char b = '{';
    EXPECT_KR_THROW(doc.LoadJsonStream(&b, 0), CKrException, "JSON Stream is empty!");
    EXPECT_KR_THROW(doc.LoadJsonFile(TempPath("missing.json").c_str()), CKrException,
                    "Failed to open the file [" + TempPath("missing.json") + "] Error [0x00000002]");

    auto Stream = [&doc](const std::string& strBytes) {
        return Text(doc.LoadJsonStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strBytes.data())),
                                       static_cast<uint32_t>(strBytes.size())));
    };
    const std::string kOut = kDecl + "<r>\xC3\xA9</r>";
    // A byte order mark starts byte input; in a string it is text, and no JSON.
    EXPECT_EQ(kOut, Stream("\xEF\xBB\xBF{\"r\":\"\xC3\xA9\"}"));
    EXPECT_EQ(kOut, Stream("{\"r\":\"\\u00E9\"}"));
    EXPECT_KR_CHAIN(doc.LoadJson("\xEF\xBB\xBF{\"r\":1}"),
                    {{Val,
                      "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found '\xEF' at line 1, "
                      "position 1.",
                      "$"}});
    // Bytes that aren't UTF-8 are refused where they stand, not replaced.
    EXPECT_KR_THROW(Stream("{\"r\":\n \"a\xE9z\"}"), CKrException, "Invalid UTF-8 byte sequence at line 2, position 4.");
    EXPECT_KR_THROW(Stream("\xEF\xBB\xBF[\"\xC3\"]"), CKrException, "Invalid UTF-8 byte sequence at line 1, position 3.");
    EXPECT_KR_THROW(doc.LoadJson("{\"r\":\"\xED\xA0\x80\"}"), CKrException,
                    "Invalid UTF-8 byte sequence at line 1, position 7.");
    EXPECT_KR_CHAIN(Stream(std::string("{\"r\":\"a\0\"}", 10)), {{Val, "NUL character in string at line 1, position 8.", "$.r"}});

    // 16-bit text: a byte order mark skipped, pairs joined, a lone surrogate refused.
    const unsigned short wJson[] = {0xFEFF, '{', '"', 'r', '"', ':', '"', 0xE9, 0xD83D, 0xDE00, '"', '}', 0};
    EXPECT_EQ(kDecl + "<r>\xC3\xA9\xF0\x9F\x98\x80</r>", Text(doc.LoadJson(wJson)));
    const unsigned short wLone[] = {'[', '\n', '"', 'a', 0xDC00, '"', ']', 0};
    EXPECT_KR_THROW(doc.LoadJson(wLone), CKrException, "Invalid UTF-16 text: unpaired surrogate at line 2, position 3.");

    const std::string strFile = TempPath("bom.json");
    WriteFileBytes(strFile, "\xEF\xBB\xBF {\"r\": 1}");
    EXPECT_EQ(kDecl + "<r>1</r>", Text(doc.LoadJsonFile(strFile.c_str())));
}

TEST(JsonReader, EscapesAndBytesComeInTheLocalCodePage)
{
    SetLocalCharEncoding(1252);
    CSmartPtr<CElement> sp(new CElement(""));
    sp->FromJson("{\"r\": \"\\u00e9\\u20AC\\ud83d\\ude00\xE9\"}", CSerializationContext());
    EXPECT_EQ("\xE9\x80?\xE9", sp->GetText());
    const std::string strBytes = "{\"r\": \"\xC3\xA9\xE2\x82\xAC\"}";
    sp->FromJsonStream(CBinaryData(strBytes.c_str()), CSerializationContext());
    EXPECT_EQ("\xE9\x80", sp->GetText());
    SetLocalCharEncoding(0);
}

TEST(JsonReader, EveryTruncationParsesOrFailsCleanly)
{
    const std::string strJson =
        "{\"r\": {\"@a\": \"x\\u00e9\\n\", \"b\": [1, -2.5e+3, true, false, null, {\"c\": \"d\"}], \"e\": {}, "
        "\"f\": [], /* c */ \"g\": 0}} ";
    int nParsed = 0;
    for (size_t n = 1; n <= strJson.size(); ++n)
    {
        SCOPED_TRACE(n);
        std::string strPrefix = strJson.substr(0, n);
        try
        {
            CSmartPtr<CElement> sp(new CElement(""));
            sp->FromJsonStream(reinterpret_cast<unsigned char*>(&strPrefix[0]), static_cast<uint32_t>(n),
                               CSerializationContext());
            EXPECT_EQ("r", sp->GetName());
            ++nParsed;
        }
        catch (const CKrException&)
        {
        }
    }
    // The whole text, and the text without its trailing blank.
    EXPECT_EQ(2, nParsed);
}

// ---- bound objects ----

namespace {

// A class whose read reports the context it is given, and may fail in a way of its own.
class CProbe : public CXmlObjectBase
{
public:
    bool m_bIgnoredNamespaces = false;
    bool m_bThrowForeign = false;
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }

protected:
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement*, const CSerializationContext& ctx, bool) override
    {
        m_bIgnoredNamespaces = ctx.GetIgnoreNamespaces();
        if (m_bThrowForeign)
            throw std::runtime_error("foreign");
        return nullptr;
    }
};

const char kPoJson[] = R"({"purchaseOrder": {
  "@xmlns": "urn:example:po", "@id": 670488, "@orderDate": "2024-05-06",
  "customer": {"@vip": true, "name": "Ada \u00c9 \"L\"", "email": "ada@example.org",
    "address": {"@country": "GB", "street": "12 Row", "city": "London", "postcode": "NW1"}},
  "status": "on-hold",
  "item": [
    {"@sku": "SKU-000001", "@line": 1, "@gift": true, "name": "a <b> & c", "quantity": 13,
     "serial": 9007199254740993, "price": 4506.31, "weight": 223.2115149380846, "taxable": false,
     "shipDate": "2024-02-24", "updated": "2024-02-24T00:35:12.733+02:00", "warranty": "P5Y11MT17H",
     "thumbnail": "AQID"},
    {"@sku": "SKU-000002", "@line": 2, "name": "d", "quantity": 1, "serial": -9223372036854775808,
     "price": 0.5, "weight": 1e-3, "taxable": true, "shipDate": "2024-10-13",
     "updated": "2024-10-13T08:49:41Z", "warranty": "PT1S", "comment": ""}
  ],
  "note": "n"
}})";

const char kPoXml[] =
    "<purchaseOrder xmlns=\"urn:example:po\" id=\"670488\" orderDate=\"2024-05-06\"><customer vip=\"true\">"
    "<name>Ada \xC3\x89 \"L\"</name><email>ada@example.org</email><address country=\"GB\"><street>12 Row</street>"
    "<city>London</city><postcode>NW1</postcode></address></customer><status>on-hold</status>"
    "<item sku=\"SKU-000001\" line=\"1\" gift=\"true\"><name>a &lt;b&gt; &amp; c</name><quantity>13</quantity>"
    "<serial>9007199254740993</serial><price>4506.31</price><weight>223.2115149380846</weight>"
    "<taxable>false</taxable><shipDate>2024-02-24</shipDate><updated>2024-02-24T00:35:12.733+02:00</updated>"
    "<warranty>P5Y11MT17H</warranty><thumbnail>AQID</thumbnail></item><item sku=\"SKU-000002\" line=\"2\">"
    "<name>d</name><quantity>1</quantity><serial>-9223372036854775808</serial><price>0.5</price>"
    "<weight>0.001</weight><taxable>true</taxable><shipDate>2024-10-13</shipDate>"
    "<updated>2024-10-13T08:49:41Z</updated><warranty>PT1S</warranty><comment/></item><note>n</note>"
    "</purchaseOrder>";

std::string WritePo(const PurchaseOrder::CPurchaseOrderType* p)
{
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
    return p->ToXml(false, false, EOLType_LF, ctx);
}

} // namespace

TEST(JsonReader, PurchaseOrderReadsFromEveryRoad)
{
    CSerializationContext ctx;
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp = new PurchaseOrder::CPurchaseOrderType();
    sp->FromJson(kPoJson, ctx);
    EXPECT_EQ(kPoXml, WritePo(sp));
    EXPECT_EQ(9007199254740993LL, sp->GetItem()->Item(0)->GetSerial());

    const std::string strFile = TempPath("po.json");
    WriteFileBytes(strFile, std::string("\xEF\xBB\xBF") + kPoJson);
    sp = new PurchaseOrder::CPurchaseOrderType();
    sp->FromJsonFile(strFile.c_str(), ctx);
    EXPECT_EQ(kPoXml, WritePo(sp));

    sp = new PurchaseOrder::CPurchaseOrderType();
    sp->FromJsonStream(CBinaryData(kPoJson), ctx);
    EXPECT_EQ(kPoXml, WritePo(sp));

    std::vector<unsigned short> wide;
    for (const char* p = kPoJson; *p; ++p)
        wide.push_back(static_cast<unsigned char>(*p));
    wide.push_back(0);
    sp = new PurchaseOrder::CPurchaseOrderType();
    sp->FromJson(wide.data(), ctx);
    EXPECT_EQ(kPoXml, WritePo(sp));
}

TEST(JsonReader, NumbersKeepTheirExactText)
{
    CSmartPtr<CTypedCols> sp = new CTypedCols();
    sp->FromJson("{\"typedCols\": {\"@xmlns\": \"urn:kr:test\", \"i8\": [9007199254740993, 9223372036854775807], "
                 "\"dec\": 123.45, \"int\": [99999999999999999999999999999999999999999]}}",
                 CSerializationContext());
    CSerializationContext out;
    out.SetDefaultNamespaceURI(kTestNs);
    EXPECT_EQ("<typedCols xmlns=\"urn:kr:test\"><i8>9007199254740993</i8><i8>9223372036854775807</i8>"
              "<dec>123.45</dec><int>99999999999999999999999999999999999999999</int></typedCols>",
              sp->ToXml(false, false, EOLType_LF, out));

    CSmartPtr<CVoucher> spV = new CVoucher();
    spV->FromJson("{\"voucher\": {\"@code\": \"XYZ\", \"#text\": 1234567890123456789012345678901234567890.5}}",
                  JsonContext(RoundTripAttributes));
    EXPECT_EQ("<voucher xmlns=\"urn:kr:test\" code=\"XYZ\">1234567890123456789012345678901234567890.5</voucher>",
              spV->ToXml(false, false, EOLType_LF, out));
}

TEST(JsonReader, IgnoreNamespacesHoldsOnlyForTheReadWithoutFullRoundTrip)
{
    std::string strNoNs = kPoJson;
    strNoNs.erase(strNoNs.find("\"@xmlns\""), 28);
    for (JsonRoundTrip eMode : {RoundTripNone, RoundTripAttributes, RoundTripFull})
    {
        SCOPED_TRACE(eMode);
        for (bool bIgnore : {false, true})
        {
            CSerializationContext ctx = JsonContext(eMode);
            ctx.SetIgnoreNamespaces(bIgnore);
            CSmartPtr<CProbe> spProbe = new CProbe();
            spProbe->FromJson("{\"r\": 1}", ctx);
            EXPECT_EQ(bIgnore || eMode != RoundTripFull, spProbe->m_bIgnoredNamespaces);
            EXPECT_EQ(bIgnore, ctx.GetIgnoreNamespaces());
            // Restored after a failure of any kind.
            spProbe->m_bThrowForeign = true;
            EXPECT_THROW(spProbe->FromJson("{\"r\": 1}", ctx), std::runtime_error);
            EXPECT_EQ(bIgnore, ctx.GetIgnoreNamespaces());
            CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp = new PurchaseOrder::CPurchaseOrderType();
            EXPECT_THROW(sp->FromJson("{\"purchaseOrder\": {\"bogus\": 1}}", ctx), CKrException);
            EXPECT_EQ(bIgnore, ctx.GetIgnoreNamespaces());
        }
    }
    // Without the namespace, names match by their local part only where namespaces are ignored.
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp = new PurchaseOrder::CPurchaseOrderType();
    sp->FromJson(strNoNs.c_str(), JsonContext(RoundTripAttributes));
    EXPECT_EQ(kPoXml, WritePo(sp));
    EXPECT_THROW(sp->FromJson(strNoNs.c_str(), JsonContext(RoundTripFull)), CKrException);
    // A schema type without namespaces already ignores them: the field stays as it was.
    CSerializationContext ctx = JsonContext(RoundTripNone);
    ctx.SetSchemaType(SchemaType_NoNamespaces);
    CSmartPtr<CProbe> spProbe = new CProbe();
    spProbe->FromJson("{\"r\": 1}", ctx);
    ctx.SetSchemaType(SchemaType_Default);
    EXPECT_FALSE(ctx.GetIgnoreNamespaces());
}

TEST(JsonReader, FailedXmlReadIsWrappedWithTheXmlText)
{
    CSmartPtr<CElement> sp(new CElement(""));
    EXPECT_KR_CHAIN(sp->FromJson("{\"r\":{\"x\":1},\"s\":2}", CSerializationContext()),
                    {{Kr, "Error converting JSON to XML:\n" + kDecl + "<r><x>1</x></r><s>2</s>", ""},
                     {Kr, "junk after document element at line 2", ""}});
    EXPECT_KR_CHAIN(sp->FromJson("{\"r\":{\"#text\":\"t\"}}", JsonContext(RoundTripNone)),
                    {{Kr, "Error converting JSON to XML:\n" + kDecl + "<r><#text>t</#text></r>", ""},
                     {Kr, "not well-formed (invalid token) at line 2", ""}});
    // Syntax failures pass unwrapped.
    EXPECT_KR_CHAIN(sp->FromJson("{\"r\":[1,]}", CSerializationContext()),
                    {{Val,
                      "Expected Value '{', '[', '\"', '0-9', '-', 'true', 'false' or 'null', found ']' at line 1, "
                      "position 9.",
                      "$"}});
}

TEST(JsonReader, UntypedElementReadsThroughItsOwnRoads)
{
    const char kJson[] = "{\"p:r\": {\"@xmlns:p\": \"urn:p\", \"@a\": \"1\", \"c\": [\"x\", {\"@b\": 2, \"#text\": \"y\"}]}}";
    CSmartPtr<CElement> sp(new CElement(""));
    sp->FromJson(kJson, CSerializationContext());
    EXPECT_EQ("r", sp->GetName());
    EXPECT_EQ("urn:p", sp->GetNamespace());
    ASSERT_EQ(2, sp->GetChildElements()->GetCount());
    EXPECT_EQ("y", sp->GetChildElements()->Item(1)->GetText());
    EXPECT_EQ("", sp->GetText());
    EXPECT_EQ("<AA:r xmlns:AA=\"urn:p\" a=\"1\"><c>x</c><c b=\"2\">y</c></AA:r>",
              sp->ToXml(false, false, EOLType_LF, CSerializationContext()));
    const std::string strExpected = sp->ToXml(false, false, EOLType_LF, CSerializationContext());
    const std::string strFile = TempPath("untyped.json");
    WriteFileBytes(strFile, kJson);
    std::vector<unsigned short> wide(kJson, kJson + sizeof(kJson));
    std::vector<std::function<void(CElement*)>> roads = {
        [&](CElement* p) { p->FromJsonFile(strFile.c_str(), CSerializationContext()); },
        [&](CElement* p) { p->FromJson(wide.data(), CSerializationContext()); },
        [&](CElement* p) { p->FromJsonStream(CBinaryData(kJson), CSerializationContext()); },
    };
    for (auto& road : roads)
    {
        CSmartPtr<CElement> spOther(new CElement(""));
        road(spOther);
        EXPECT_EQ(strExpected, spOther->ToXml(false, false, EOLType_LF, CSerializationContext()));
    }
    // A restriction the document breaks is the element's own refusal.
    CSmartPtr<CElement> spOnly(new CElement("r", "urn:q"));
    EXPECT_THROW(spOnly->FromJson(kJson, CSerializationContext()), CKrException);
}

// ---- size ----

namespace {

bool UnderSanitizer()
{
#if defined(__SANITIZE_ADDRESS__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return true;
#endif
#endif
    return false;
}

// Resident memory now and at its peak, in bytes.
size_t ResidentBytes(bool bPeak)
{
    std::FILE* f = std::fopen("/proc/self/status", "r");
    if (!f)
        return 0;
    char szLine[256];
    size_t nKb = 0;
    const char* lpKey = bPeak ? "VmHWM:" : "VmRSS:";
    while (std::fgets(szLine, sizeof(szLine), f))
        if (std::sscanf(szLine, bPeak ? "VmHWM: %zu" : "VmRSS: %zu", &nKb) == 1 && std::strncmp(szLine, lpKey, 6) == 0)
            break;
    std::fclose(f);
    return nKb * 1024;
}

double Seconds(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

TEST(JsonReader, HundredMegabyteStringReadsInBoundedMemory)
{
    const size_t kSize = 100u << 20;
    std::string strJson = "{\"r\": \"";
    strJson.append(kSize, 'v');
    strJson += "\\n\\u00e9\"}";
    const size_t nBefore = ResidentBytes(false);
    auto start = std::chrono::steady_clock::now();
    CSmartPtr<CElement> sp(new CElement(""));
    sp->FromJsonStream(reinterpret_cast<unsigned char*>(&strJson[0]), static_cast<uint32_t>(strJson.size()),
                       CSerializationContext());
    EXPECT_EQ(kSize + 3, sp->GetText().size());
    EXPECT_EQ("v\n\xC3\xA9", sp->GetText().substr(kSize - 1));
    if (UnderSanitizer())
        return;
    EXPECT_LT(Seconds(start), 20.0);
    // Beside the input: at most its local text, the value read and its XML text, and later the
    // XML's bytes with the element's text, which grows by doubling.
    EXPECT_LT(ResidentBytes(true) - nBefore, 4 * kSize + kSize / 2);
}

TEST(JsonReader, MillionMembersInOneObject)
{
    const int kMembers = 1000000;
    std::string strJson = "{\"r\": {";
    for (int i = 0; i < kMembers; ++i)
        strJson += (i ? ",\"m" : "\"m") + std::to_string(i) + "\":" + std::to_string(i);
    strJson += "}}";
    auto start = std::chrono::steady_clock::now();
    CSmartPtr<CElement> sp(new CElement(""));
    sp->FromJson(strJson.c_str(), CSerializationContext());
    ASSERT_EQ(kMembers, sp->GetChildElements()->GetCount());
    EXPECT_EQ("m999999", sp->GetChildElements()->Item(kMembers - 1)->GetName());
    EXPECT_EQ("999999", sp->GetChildElements()->Item(kMembers - 1)->GetText());
    if (!UnderSanitizer())
    {
        EXPECT_LT(Seconds(start), 30.0);
    }
}
