// The Fast Infoset reader: the tree it builds against the tree of the same document as XML
// text, every failure with its message, truncated and random input, deep nesting, the object
// roads, and documents written by an independent implementation of X.891.
#include "fiinterop.h"
#include "fitestsupport.h"
#include "testsupport.h"

#include <random>

#include "engineclasses.h"
#include "krxmllib.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

const std::string kHead = "E0 00 00 01 00 ";

// The 92 bytes of the order example and the XML they stand for.
const std::string kOrder = "E0 00 00 01 00 78 CD 04 'urn:o' CF 00 'p' 04 'urn:p' F0 3D 81 04 'order' 78 01 'id' 40 '7' "
                           "F0 7D 81 03 'item' 78 00 'n' 40 '1' F0 90 'a' F0 01 90 'b' F0 3F 81 82 03 'note' 91 'hi' F0 "
                           "3D 81 02 'qty' 90 '3' F0 3D 81 01 'ok' 92 01 'true' FF F0";
const char kOrderXml[] = "<order xmlns='urn:o' id='7' xmlns:p='urn:p'><item n='1'>a</item><item>b</item>"
                         "<p:note>hi</p:note><qty>3</qty><ok>true</ok></order>";

// A tree as one line: {namespace}name, attributes, 'text', children in brackets.
std::string Describe(const CXmlElement* pElement)
{
    if (!pElement)
        return "(no root)";
    std::string str = "{" + pElement->GetNamespaceURI() + "}" + pElement->GetLocalName();
    for (const CXmlAttribute* pAttr : pElement->GetAttributes())
        str += " @{" + pAttr->GetNamespaceURI() + "}" + pAttr->GetLocalName() + "=" + pAttr->GetValue();
    if (!pElement->GetText().empty())
        str += " '" + pElement->GetText() + "'";
    if (const CXmlElement* pChild = pElement->GetFirstElement())
    {
        str += " [";
        for (; pChild; pChild = pChild->GetNextSiblingElement())
            str += Describe(pChild) + (pChild->GetNextSiblingElement() ? ", " : "");
        str += "]";
    }
    return str;
}

void LoadBytes(CXmlDocument& doc, const std::string& strBytes)
{
    doc.LoadXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strBytes.data())),
                      static_cast<uint32_t>(strBytes.size()));
}

// The tree of raw bytes read through the byte loader.
std::string TreeOf(const std::string& strBytes, const CSerializationContext& ctx = CSerializationContext())
{
    CXmlDocument doc(ctx);
    LoadBytes(doc, strBytes);
    return Describe(doc.GetDocumentElement());
}

std::string XmlTreeOf(const std::string& strXml, const CSerializationContext& ctx = CSerializationContext())
{
    CXmlDocument doc(ctx);
    doc.LoadXml(strXml.c_str());
    return Describe(doc.GetDocumentElement());
}

// The message of the failure of reading, or "read" if there was none.
std::string FailureOf(const std::string& strBytes, const CSerializationContext& ctx = CSerializationContext())
{
    try
    {
        TreeOf(strBytes, ctx);
        return "read";
    }
    catch (const CKrException& e)
    {
        return e.GetMessage();
    }
}

const std::string kEof = "Failed to parse FastInfoset. Unexpected End of File.";

std::string IndexFailure(const char* lpTable, unsigned uIndex, unsigned uSize)
{
    return FormatString("Failed to parse FastInfoset. Invalid index [%u] into the %s table (size %u).", uIndex,
                        lpTable, uSize);
}

CBinaryData AsData(const std::string& str)
{
    return CBinaryData(reinterpret_cast<unsigned char*>(const_cast<char*>(str.data())), static_cast<uint32_t>(str.size()),
                       false);
}

std::string AsString(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

std::string SampleBytes(const char* lpName)
{
    return ReadFileBytes(SharedDir() + "/tools/fi-interop/samples/" + lpName);
}

#define SKIP_WITHOUT_SAMPLES()                                                                       \
    do                                                                                              \
    {                                                                                               \
        if (SampleBytes("order92.finf").empty())                                                    \
            GTEST_SKIP() << "the Fast Infoset samples are not in " << SharedDir();                  \
    } while (0)

} // namespace

TEST(FastInfosetReader, OrderExampleGivesTheTreeOfItsXml)
{
    CXmlDocument doc;
    LoadBytes(doc, Bytes(kOrder));
    EXPECT_EQ(XmlTreeOf(kOrderXml), Describe(doc.GetDocumentElement()));
    EXPECT_EQ("{urn:o}order @{}id=7 [{urn:o}item @{}n=1 'a', {urn:o}item 'b', {urn:p}note 'hi', {urn:o}qty '3', "
              "{urn:o}ok 'true']",
              Describe(doc.GetDocumentElement()));
    EXPECT_EQ("urn:o", doc.LookupNamespaceFromAlias(""));
    EXPECT_EQ("urn:p", doc.LookupNamespaceFromAlias("p"));

    // Without namespace processing, names are whole and declarations are attributes, as the
    // XML parser gives them.
    CSerializationContext noNamespaces;
    noNamespaces.SetSchemaType(SchemaType_NoNamespaces);
    CXmlDocument plain(noNamespaces);
    LoadBytes(plain, Bytes(kOrder));
    EXPECT_EQ(XmlTreeOf("<order xmlns='urn:o' xmlns:p='urn:p' id='7'><item n='1'>a</item><item>b</item>"
                        "<p:note>hi</p:note><qty>3</qty><ok>true</ok></order>",
                        noNamespaces),
              Describe(plain.GetDocumentElement()));
    EXPECT_EQ("", plain.LookupNamespaceFromAlias("p"));

    // A caller that consumes elements as they close gets each of them.
    static int s_nClosed;
    s_nClosed = 0;
    CXmlDocument consumed([](CXmlElement*) { return ++s_nClosed > 0; });
    LoadBytes(consumed, Bytes(kOrder));
    EXPECT_EQ(6, s_nClosed);
    EXPECT_EQ(nullptr, consumed.GetDocumentElement());
}

TEST(FastInfosetReader, RecognisedByItsHeaderAlone)
{
    const std::string strTree = TreeOf(Bytes(kOrder));
    for (int i = 1; i <= 9; ++i)
    {
        // The declarations the writer puts in front are those the reader takes.
        CSmartPtr<CElement> spDecl(new CElement("r"));
        std::string strFi = AsString(spDecl->ToFastInfosetStream(static_cast<FInfoDecl>(i), CSerializationContext(),
                                                                 CompressionType_None));
        std::string strDecl = strFi.substr(0, strFi.find('\xE0'));
        EXPECT_EQ(strTree, TreeOf(strDecl + Bytes(kOrder))) << strDecl;
    }
    // Anything else goes to the XML parser, which fails in its own words.
    EXPECT_EQ("XML declaration not well-formed at line 1", FailureOf("<?xml encoding='finx'?>" + Bytes(kOrder)));
    EXPECT_EQ("syntax error at line 1", FailureOf(Bytes("E0 00 00 01")));
    EXPECT_EQ("XML declaration not well-formed at line 1", FailureOf("<?xml encoding='finf'?>" + Bytes("E0 00 00 01")));
    EXPECT_EQ(kEof, FailureOf(Bytes("E0 00 00 01 00")));
}

TEST(FastInfosetReader, Failures)
{
    const struct
    {
        const char* lpCase;
        std::string strBytes;
        std::string strMessage;
    } cases[] = {
        {"name cut short", kHead + "3C 00", kEof},
        {"chunk longer than the input", kHead + "3C 00 'r' 83 00 00 00 29 'abc'", kEof},
        {"four-byte length past the end", kHead + "3C 60 00 01 00 00 'abc'", kEof},
        {"value length past the end", kHead + "7C 00 'r' 78 00 'a' 48 0C 'abc'", kEof},
        {"no terminator", kHead + "3C 00 'r' 90 'x'", kEof},
        {"octet of no kind among children", kHead + "3C 00 'r' D0",
         "Failed to parse FastInfoset. Invalid Encoding of Element type."},
        {"DTD with a comment", kHead + "C4 E2 40 'c' F0 3C 00 'r' F0",
         "Failed to parse FastInfoset. Invalid Encoding of Element type."},
        {"prefix without namespace", kHead + "3E 80 00 'r'",
         "Failed to parse FastInfoset. Invalid QName type Prefix without Namespace."},
        {"length on the second bit", kHead + "3C 41",
         "Failed to parse FastInfoset. Invalid NonEmptyOctetString type  on the second bit of an octet."},
        {"length on the second bit past 2^32", kHead + "3C 60 FF FF FF FF",
         "Failed to parse FastInfoset. Invalid NonEmptyOctetString type  on the second bit of an octet."},
        {"length on the fifth bit", kHead + "7C 00 'r' 78 00 'a' 09",
         "Failed to parse FastInfoset. Invalid NonEmptyOctetString type  on the fifth bit of an octet."},
        {"length on the seventh bit past 2^32", kHead + "3C 00 'r' 83 FF FF FF FF",
         "Failed to parse FastInfoset. Invalid NonEmptyOctetString type  on the seventh bit of an octet."},
        {"integer on the second bit", kHead + "7C 00 'r' 70",
         "Failed to parse FastInfoset. Invalid Encoding of integers 1 To 2^20 type  on the second bit of an octet."},
        {"integer from 0 on the second bit", kHead + "7C 00 'r' 78 00 'a' F0",
         "Failed to parse FastInfoset. Invalid Encoding of integers 0 To 2^20 type  on the second bit of an octet."},
        {"integer on the third bit", kHead + "31",
         "Failed to parse FastInfoset. Invalid Encoding of integers 1 To 2^20 type  on the third bit of an octet."},
        {"integer on the third bit past 2^20", kHead + "30 0F FF FF",
         "Failed to parse FastInfoset. Invalid Encoding of integers 1 To 2^20 type  on the third bit of an octet."},
        {"integer on the fourth bit", kHead + "3C 00 'r' BC",
         "Failed to parse FastInfoset. Invalid Encoding of integers 1 To 2^20 type  on the fourth bit of an octet."},
        {"sequence length", "E0 00 00 01 40 90", "Failed to parse FastInfoset. Invalid Encoding of a sequence length."},
        {"algorithm 11", kHead + "3C 00 'r' 8C 28 00", "Unknown byte encoding."},
        {"int of three bytes", kHead + "3C 00 'r' 8C 0E 00 00 00 00", "Invalid value for INT byte encoding."},
        {"UTF-8", kHead + "3C 00 'r' 81 C3 28", "Failed to parse FastInfoset. Invalid UTF-8 string."},
        {"UTF-16 of odd length", kHead + "3C 00 'r' 84 'a'", "Failed to parse FastInfoset. Invalid UTF-16 string."},
        {"UTF-16 lone surrogate", kHead + "3C 00 'r' 85 D8 00", "Failed to parse FastInfoset. Invalid UTF-16 string."},
        // Names that XML text can't carry, which would convert to a document no parser reads.
        {"element name with a blank", kHead + "3C 02 'a b'", "Failed to parse FastInfoset. Invalid name [a b]."},
        {"element name of a digit", kHead + "3C 00 '1'", "Failed to parse FastInfoset. Invalid name [1]."},
        {"local name with a colon", kHead + "3C 02 'a:b'", "Failed to parse FastInfoset. Invalid name [a:b]."},
        {"non-ASCII character outside names", kHead + "3C 01 C3 97",
         "Failed to parse FastInfoset. Invalid name [\xC3\x97]."},
        {"attribute name with a quote", kHead + "7C 00 'r' 78 01 'a\"'", "Failed to parse FastInfoset. Invalid name [a\"]."},
        {"prefix of a digit", kHead + "3F 00 '1' 00 'n' 00 'r'", "Failed to parse FastInfoset. Invalid name [1]."},
        {"declared prefix with a blank", kHead + "38 CE 02 'p q' F0 3C 00 'r'",
         "Failed to parse FastInfoset. Invalid name [p q]."},
        // An index one past the end of each table.
        {"element name", kHead + "00", IndexFailure("element names", 1, 0)},
        {"element name after one", kHead + "3C 00 'r' 01", IndexFailure("element names", 2, 1)},
        {"attribute name", kHead + "7C 00 'r' 00", IndexFailure("attribute names", 1, 0)},
        {"attribute value", kHead + "7C 00 'r' 78 00 'a' 40 'x' 00 81", IndexFailure("attribute values", 2, 1)},
        {"chunk", kHead + "3C 00 'r' 90 'x' 3C 00 'e' A1", IndexFailure("character chunks", 2, 1)},
        {"chunk not added", kHead + "3C 00 'r' 80 'x' A0", IndexFailure("character chunks", 1, 0)},
        {"prefix", kHead + "3F 81 80 00 'r'", IndexFailure("prefix names", 2, 1)},
        {"namespace", kHead + "3D 81 00 'r'", IndexFailure("namespace names", 2, 1)},
        {"namespace attribute", kHead + "38 CD 81", IndexFailure("namespace names", 2, 1)},
        {"local name", kHead + "3C 80", IndexFailure("local names", 1, 0)},
        {"alphabet", kHead + "3C 00 'r' 88 08 00", IndexFailure("restricted alphabets", 3, 2)},
        {"PI target", kHead + "E1 80", IndexFailure("other NCNames", 1, 0)},
        {"DTD system id", kHead + "C6 80", IndexFailure("other URIs", 1, 0)},
        {"comment", kHead + "E2 40 'c' E2 81", IndexFailure("other strings", 2, 1)},
        // Tables of an initial vocabulary are read past, and what refers to them fails.
        {"prefix of the initial vocabulary", "E0 00 00 01 20 02 00 00 00 'q' 3F 81 80 00 'r'",
         IndexFailure("prefix names", 2, 1)},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.strMessage, FailureOf(Bytes(c.strBytes))) << c.lpCase;
    // Letters beyond ASCII, digits and dots after the first character are names.
    EXPECT_EQ("read", FailureOf(Bytes(kHead + "3C 03 C3 A9 '.1' F0")));
}

TEST(FastInfosetReader, Forms)
{
    const struct
    {
        const char* lpCase;
        std::string strBytes;
        std::string strTree;
    } cases[] = {
        {"FF ends an attribute list and its element",
         kHead + "7C 00 'r' 78 00 'a' 40 '1' F0 7C 00 'e' 78 00 'b' 80 FF 80 'x' F0", "{}r @{}a=1 'x' [{}e @{}b=1]"},
        {"FF ends a child and its parent", kHead + "3C 00 'r' 3C 00 'a' 3C 00 'b' FF 80 'x' F0",
         "{}r 'x' [{}a [{}b]]"},
        {"F0 F0 where FF would do", kHead + "3C 00 'r' 3C 00 'a' F0 F0", "{}r [{}a]"},
        {"empty attribute value", kHead + "7C 00 'r' 78 00 'a' FF 78 00 'b' FF FF", "{}r @{}a= @{}b="},
        {"chunks and values by index", kHead + "7C 00 'r' 78 00 'a' 40 'v' F0 90 'x' 3C 00 'e' A0 F0 40 00 80 FF A0 F0",
         "{}r @{}a=v 'xx' [{}e 'x', {}r @{}a=v]"},
        {"alphabet 1", kHead + "3C 00 'r' 88 02 00 A1 C5 D3 F0", "{}r '-1.5e3'"},
        {"alphabet 2, odd count", kHead + "3C 00 'r' 88 06 02 12 B3 0B 00 DF F0", "{}r '12:30:00Z'"},
        {"typed attribute and chunks", kHead + "7C 00 'r' 78 00 'a' 70 33 00 00 00 07 78 00 'b' 30 51 7A 80 F0 9C 14 38 "
                                               "98 06 02 20 18 A0 1A 02 F0",
         "{}r @{}a=7 @{}b=true false true false true 'true2018-01-02'"},
        {"UTF-16", kHead + "7C 00 'r' 78 00 'a' 55 00 E9 00 74 00 E9 F0 86 01 00 78 00 79 F0",
         "{}r @{}a=\xC3\xA9t\xC3\xA9 'xy'"},
        {"cdata", kHead + "3C 00 'r' 8C 26 00 '<&>' F0", "{}r '<&>'"},
        {"names by index keep their first namespace",
         kHead + "78 CF 00 'p' 04 'urn:p' F0 3F 81 81 00 'a' 7B 81 81 00 'b' 40 '1' F0 40 00 80 FF 3C 00 'a' F0 F0",
         "{urn:p}a @{urn:p}b=1 [{urn:p}a @{urn:p}b=1, {}a]"},
        {"xml:lang", kHead + "7C 00 'r' 7B 80 80 03 'lang' 41 'en' FF",
         "{}r @{http://www.w3.org/XML/1998/namespace}lang=en"},
        {"comments, PIs, DTD and entity references",
         kHead + "E2 40 'c' E1 00 't' 40 'd' C7 02 'sys' 02 'pub' E1 80 81 F0 3C 00 'r' C8 00 'e' E2 80 90 'x' F0 F0",
         "{}r 'x'"},
        {"DTD before the root, and a document end it shares", kHead + "C4 F0 3C 00 'r' FF", "{}r"},
        {"other octets before the root are passed over", kHead + "80 A5 3C 00 'r' F0", "{}r"},
        {"what follows the root is not read", kHead + "3C 00 'r' F0 3C", "{}r"},
        {"every optional part of the header",
         "E0 00 00 01 7F 00 02 'u:x' 00 'd' 12 44 04 'urn:v' 00 00 'q' 00 00 'n' 00 00 's' C2 01 'nt' 00 's' F0 "
         "D0 00 'u' 00 's' 80 F0 04 'UTF-8' 01 02 '1.0' 3C 00 'r' E1 81 80 F0 F0",
         "{}r"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.strTree, TreeOf(Bytes(c.strBytes))) << c.lpCase;

    // Past 32 element names, past 16 chunks: the index forms of two and three octets.
    std::string strBytes = kHead + "3C 00 'r'", strTree = "{}r [";
    for (int i = 1; i <= 2100; ++i)
    {
        strBytes += FormatString(" 3C 02 'e%02d' 90 '%c' F0", i % 100, 'A' + i % 26);
        strTree += FormatString("{}e%02d '%c', ", i % 100, 'A' + i % 26);
    }
    // Element 34 (the 33rd child) with chunk 33; element 2082 with chunk 1041.
    strBytes += " 20 01 B0 10 F0 28 00 01 B4 00 00 FF F0";
    strTree += FormatString("{}e%02d '%c', {}e%02d '%c']", 33, 'A' + 33 % 26, 2081 % 100, 'A' + 1041 % 26);
    EXPECT_EQ(strTree, TreeOf(Bytes(strBytes)));
}

TEST(FastInfosetReader, CDataSectionsAndNamespaceDeclarationsBelowTheRoot)
{
    CSerializationContext keep;
    keep.SetStripCDATA(false);
    const std::string strCData = Bytes(kHead + "3C 00 'r' 90 'a' 8C 26 00 '<&>' F0");
    EXPECT_EQ("{}r 'a<![CDATA[<&>]]>'", TreeOf(strCData, keep));
    EXPECT_EQ(XmlTreeOf("<r>a<![CDATA[<&>]]></r>", keep), TreeOf(strCData, keep));
    EXPECT_EQ("{}r 'a<&>'", TreeOf(strCData));

    CXmlDocument doc;
    LoadBytes(doc, Bytes(kHead + "3C 00 'r' 38 CF 00 'x' 04 'urn:x' CD 81 F0 3F 81 81 00 'e' F0 F0"));
    EXPECT_EQ("{}r [{urn:x}e]", Describe(doc.GetDocumentElement()));
    EXPECT_EQ("urn:x", doc.LookupNamespaceFromAlias("x"));
    EXPECT_EQ("urn:x", doc.LookupNamespaceFromAlias(""));
}

TEST(FastInfosetReader, TextInTheLocalCodePage)
{
    // UTF-8 and UTF-16 strings, names and values come out in the local code page, or as UTF-8
    // under ASCIIOnly, as the XML parser gives them.
    const std::string strBytes =
        Bytes(kHead + "7C 02 'n\xC3\xA9' 78 00 'a' 55 00 E9 00 74 00 E9 F0 81 '\xC3\xA9' 95 00 E9 F0");
    const std::string strXml = "<n\xC3\xA9 a='\xC3\xA9t\xC3\xA9'>\xC3\xA9\xC3\xA9</n\xC3\xA9>";
    EXPECT_EQ("{}n\xC3\xA9 @{}a=\xC3\xA9t\xC3\xA9 '\xC3\xA9\xC3\xA9'", TreeOf(strBytes));
    SetLocalCharEncoding(1252);
    std::string strLatin = TreeOf(strBytes), strLatinXml = XmlTreeOf(strXml);
    ASCIIOnly(true);
    std::string strAscii = TreeOf(strBytes), strAsciiXml = XmlTreeOf(strXml);
    ASCIIOnly(false);
    SetLocalCharEncoding(0);
    EXPECT_EQ("{}n\xE9 @{}a=\xE9t\xE9 '\xE9\xE9'", strLatin);
    EXPECT_EQ(strLatinXml, strLatin);
    EXPECT_EQ(strAsciiXml, strAscii);
    EXPECT_EQ(TreeOf(strBytes), strAscii);
}

TEST(FastInfosetReader, GeneratedVocabulary)
{
    CSerializationContext ctx;
    ctx.GetFIContext().GetVocabulary()->AddElement("g", "urn:g", "doc");
    ctx.GetFIContext().GetVocabulary()->AddAttribute("", "", "at");
    ctx.GetFIContext().GetVocabulary()->AddAttributeValue("val");
    const std::string strBytes = Bytes("E0 00 00 01 20 10 00 04 'urn:v' 40 00 80 FF F0");
    EXPECT_EQ(IndexFailure("element names", 1, 0), FailureOf(strBytes, ctx));
    ctx.GetFIContext().SetUseGeneratedVocabulary(true);
    EXPECT_EQ("{urn:g}doc @{}at=val", TreeOf(strBytes, ctx));

    // What the writer leaves out with the vocabulary, the reader finds in it.
    CSmartPtr<CElement> spElement(new CElement("doc", "urn:g"));
    spElement->GetAttributes()->Add("at", "val", "");
    CBinaryData fi = spElement->ToFastInfosetStream(FInfoDecl_None, ctx, CompressionType_None);
    CSmartPtr<CElement> spRead(new CElement(""));
    spRead->FromXmlStream(fi, ctx);
    EXPECT_EQ(spElement->ToXml(false, false, EOLType_LF, ctx), spRead->ToXml(false, false, EOLType_LF, ctx));
}

TEST(FastInfosetReader, DocumentWithoutElementReachesNoObject)
{
    for (const std::string& strBytes : {kHead + "F0", kHead + "E2 40 'c' FF", kHead + "C4 FF"})
    {
        std::string strFi = Bytes(strBytes);
        EXPECT_EQ("(no root)", TreeOf(strFi)) << strBytes;
        CSmartPtr<CSeqDoc> spSeq(new CSeqDoc());
        EXPECT_KR_THROW(spSeq->FromXmlStream(AsData(strFi), CSerializationContext::GetDefaultContext()), CKrException,
                        "Invalid or empty XML document");
        CSmartPtr<CElement> spElement(new CElement(""));
        EXPECT_KR_THROW(spElement->FromXmlStream(AsData(strFi), CSerializationContext::GetDefaultContext()),
                        CKrException, "Invalid or empty XML document");
        std::string strFile = TempPath("empty.finf");
        WriteFileBytes(strFile, strFi);
        EXPECT_KR_THROW(spSeq->FromXmlFile(strFile.c_str(), CSerializationContext::GetDefaultContext()), CKrException,
                        "Invalid or empty XML document");
    }
}

TEST(FastInfosetReader, EveryTruncationFailsCleanly)
{
    std::vector<std::pair<std::string, std::string>> samples{{"order", Bytes(kOrder)}};
    for (const char* lpName : {"order92.finf", "mixed.finf", "typed.finf"})
        if (!SampleBytes(lpName).empty())
            samples.emplace_back(lpName, SampleBytes(lpName));
    for (const auto& sample : samples)
    {
        SCOPED_TRACE(sample.first);
        const std::string& strFull = sample.second;
        const std::string strTree = TreeOf(strFull);
        // Each sample ends on its root's end and the document's; the document's may be missing.
        for (size_t n = 1; n < strFull.size(); ++n)
        {
            std::string strFailure = FailureOf(strFull.substr(0, n));
            if (n < 5)
                EXPECT_EQ(std::string::npos, strFailure.find("FastInfoset")) << n;  // the XML parser's
            else if (n + 1 < strFull.size())
                EXPECT_EQ(kEof, strFailure) << n;
            else
                EXPECT_EQ(strTree, TreeOf(strFull.substr(0, n)));
        }
    }
}

TEST(FastInfosetReader, RandomBytesAfterAHeaderAndChangedSamples)
{
    std::mt19937 random(20240611u);
    std::vector<std::string> seeds{Bytes(kOrder)};
    for (const char* lpName : {"mixed.finf", "typed.finf"})
        if (!SampleBytes(lpName).empty())
            seeds.push_back(SampleBytes(lpName));
    size_t nRead = 0, nFailed = 0;
    for (int i = 0; i < 6000; ++i)
    {
        std::string strBytes;
        if (i % 2)
        {
            strBytes = Bytes(kHead);
            for (size_t n = random() % 64; n > 0; --n)
                strBytes += static_cast<char>(random());
        }
        else
        {
            strBytes = seeds[random() % seeds.size()];
            for (int k = 1 + random() % 3; k > 0; --k)
                strBytes[5 + random() % (strBytes.size() - 5)] = static_cast<char>(random());
        }
        try
        {
            TreeOf(strBytes);
            ++nRead;
        }
        catch (const CKrException&)
        {
            ++nFailed;
        }
    }
    EXPECT_EQ(6000u, nRead + nFailed);
    EXPECT_GT(nRead, 0u);
    EXPECT_GT(nFailed, 0u);
}

TEST(FastInfosetReader, DeepNestingReadsWithoutRecursion)
{
    const int kDepth = 200000;
    KrXmlTest::DepthScope depth(kDepth);  // far beyond the default cap
    std::string strBytes = Bytes(kHead + "3C 00 'n'");
    strBytes.append(kDepth - 1, '\0');  // element name 1, again and again
    strBytes.append(kDepth / 2, '\xFF');
    strBytes += '\xF0';
    CXmlDocument doc;
    LoadBytes(doc, strBytes);
    int nDepth = 0;
    for (const CXmlElement* p = doc.GetDocumentElement(); p; p = p->GetFirstElement())
        ++nDepth;
    EXPECT_EQ(kDepth, nDepth);

    CSmartPtr<CElement> spRoot(new CElement(""));
    spRoot->FromXmlStream(AsData(strBytes), CSerializationContext::GetDefaultContext());
    nDepth = 0;
    for (CElement* p = spRoot; p; p = p->GetChildElements()->GetCount() ? *p->GetChildElements()->begin() : nullptr)
        ++nDepth;
    EXPECT_EQ(kDepth, nDepth);
}

TEST(FastInfosetReader, SamplesGiveTheTreesOfTheirXml)
{
    SKIP_WITHOUT_SAMPLES();
    for (const char* lpName : {"order92", "mixed", "typed"})
    {
        SCOPED_TRACE(lpName);
        std::string strXml = SampleBytes((std::string(lpName) + ".xml").c_str());
        // The other implementation's text forms where they differ from the library's: the
        // exponent letter of the numeric alphabet, and identifiers with dashes.
        for (const auto& r : {std::make_pair(std::string("-1.5E3"), std::string("-1.5e3")),
                              std::make_pair(std::string("12345678-9abc-def0-1234-56789abcdef0"),
                                             std::string("123456789ABCDEF0123456789ABCDEF0"))})
            if (strXml.find(r.first) != std::string::npos)
                strXml.replace(strXml.find(r.first), r.first.size(), r.second);
        std::string strFi = SampleBytes((std::string(lpName) + ".finf").c_str());
        EXPECT_EQ(XmlTreeOf(strXml), TreeOf(strFi));
        CSerializationContext keep;
        keep.SetStripCDATA(false);
        EXPECT_EQ(XmlTreeOf(strXml, keep), TreeOf(strFi, keep));
    }
}

namespace {

template <typename T>
CSmartPtr<T> ReadXml(const std::string& strXml)
{
    CSmartPtr<T> sp = new T();
    sp->FromXml(strXml.c_str(), CSerializationContext::GetDefaultContext());
    return sp;
}

// Objects that cover the engine: the purchase order, and the test classes' documents.
std::vector<std::pair<std::string, CSmartPtr<CXmlObjectBase>>> BoundObjects()
{
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spOrder = new PurchaseOrder::CPurchaseOrderType();
    spOrder->FromXmlFile((std::string(KRXML_SOURCE_DIR) + "/examples/data/purchase-order.xml").c_str(),
                         CSerializationContext::GetDefaultContext());
    return {{"po", spOrder.p},
            {"seq", ReadXml<CSeqDoc>(SeqDoc()).p},
            {"all", ReadXml<CAllDoc>(AllDoc()).p},
            {"group", ReadXml<CGroupDoc>(GroupDoc()).p},
            {"typed", ReadXml<CTypedCols>(TypedColsDoc()).p}};
}

CSmartPtr<CXmlObjectBase> NewLike(const std::string& strName)
{
    if (strName == "po")
        return new PurchaseOrder::CPurchaseOrderType();
    if (strName == "seq")
        return new CSeqDoc();
    if (strName == "all")
        return new CAllDoc();
    if (strName == "group")
        return new CGroupDoc();
    return new CTypedCols();
}

std::string XmlOf(const CXmlObjectBase& object, const CSerializationContext& ctx)
{
    return object.ToXml(true, true, EOLType_LF, ctx);
}

} // namespace

TEST(FastInfosetReader, BoundObjectsRoundTrip)
{
    CSerializationContext plain;
    CSerializationContext withDefault;
    withDefault.SetDefaultNamespaceURI(kTestNs);
    CSerializationContext typed;
    typed.GetFIContext().SetSuggestedValues();
    typed.GetFIContext().SetEncoding(ItemType_ui8, {0, 0});   // the largest ui8 has no signed form
    typed.GetFIContext().SetEncoding(ItemType_datetime, {0, 0});  // fractions and zones east of UTC
    typed.GetFIContext().SetElementMaxAddLength(40);
    const std::pair<const char*, const CSerializationContext*> contexts[] = {
        {"plain", &plain}, {"default namespace", &withDefault}, {"typed", &typed}};
    std::string strFile = TempPath("object.finf");
    for (const auto& o : BoundObjects())
        for (const auto& c : contexts)
        {
            SCOPED_TRACE(o.first + " " + c.first);
            const CSerializationContext& ctx = *c.second;
            std::string strXml = XmlOf(*o.second, ctx);
            CBinaryData fi = o.second->ToFastInfosetStream(FInfoDecl_Version10, ctx, CompressionType_None);
            CSmartPtr<CXmlObjectBase> spStream = NewLike(o.first);
            spStream->FromXmlStream(fi, ctx);
            EXPECT_EQ(strXml, XmlOf(*spStream, ctx));
            WriteFileBytes(strFile, AsString(fi));
            CSmartPtr<CXmlObjectBase> spFile = NewLike(o.first);
            spFile->FromXmlFile(strFile.c_str(), ctx);
            EXPECT_EQ(strXml, XmlOf(*spFile, ctx));
            // Untyped content reads it as well, and writes the same text; that holds element
            // values equal to their defaults, which Fast Infoset carries.
            CSerializationContext withDefaults(ctx);
            withDefaults.SetWriteDefaultElementValues(true);
            CSmartPtr<CElement> spUntyped(new CElement(""));
            spUntyped->FromXmlStream(fi, ctx);
            CSmartPtr<CElement> spFromXml(new CElement(""));
            spFromXml->FromXml(o.second->ToXml(true, false, EOLType_LF, withDefaults).c_str(), ctx);
            EXPECT_EQ(spFromXml->ToXml(true, false, EOLType_LF, ctx), spUntyped->ToXml(true, false, EOLType_LF, ctx));
        }
}

TEST(FastInfosetReader, DocumentsOfTheOtherImplementation)
{
    SKIP_WITHOUT_TOOL();
    std::string strOut;
    for (const auto& o : BoundObjects())
        for (const char* lpOption : {"", " --utf16"})
        {
            SCOPED_TRACE(o.first + lpOption);
            std::string strXmlFile = TempPath(o.first + ".xml"), strFiFile = TempPath(o.first + ".finf");
            std::string strXml = o.first == "po" ? ReadFileBytes(std::string(KRXML_SOURCE_DIR) +
                                                                 "/examples/data/purchase-order.xml")
                                                 : o.second->ToXml(true, false, EOLType_LF, CSerializationContext());
            WriteFileBytes(strXmlFile, strXml);
            ASSERT_EQ(0, RunInteropTool("xml2fi '" + strXmlFile + "' '" + strFiFile + "'" + lpOption, strOut)) << strOut;
            CSmartPtr<CXmlObjectBase> spRead = NewLike(o.first);
            spRead->FromXmlFile(strFiFile.c_str(), CSerializationContext::GetDefaultContext());
            EXPECT_EQ(XmlOf(*o.second, CSerializationContext()), XmlOf(*spRead, CSerializationContext()));
        }

    // A document type declaration, comments and processing instructions are read past.
    const std::string strXml = "<?xml version='1.0'?><!DOCTYPE r PUBLIC '-//kr//r' 'r.dtd'><!--c--><?pi data?>"
                               "<r xmlns='urn:r' xmlns:q='urn:q'><a q:x='1'>t<!--d--><?pj?>u</a><q:b/><c xmlns=''/></r>";
    for (const std::string& strDoc : {strXml, std::string("<!DOCTYPE r SYSTEM 'r.dtd'><r>x</r>")})
    {
        SCOPED_TRACE(strDoc);
        std::string strXmlFile = TempPath("dtd.xml"), strFiFile = TempPath("dtd.finf");
        WriteFileBytes(strXmlFile, strDoc);
        WriteFileBytes(TempPath("r.dtd"), "");
        ASSERT_EQ(0, RunInteropTool("xml2fi '" + strXmlFile + "' '" + strFiFile + "'", strOut)) << strOut;
        std::string strFi = ReadFileBytes(strFiFile);
        ASSERT_NE(std::string::npos, strFi.find('\xC4' + (strDoc.find("PUBLIC") != std::string::npos ? 3 : 1)))
            << Hex(strFi);
        EXPECT_EQ(XmlTreeOf(strDoc), TreeOf(strFi));
    }
}
