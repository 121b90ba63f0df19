#include "testsupport.h"

#include <functional>

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

const char* const kXsi = "http://www.w3.org/2001/XMLSchema-instance";

// A writer on a memory stream, started; Text() ends the document and returns what was written.
struct WriterFixture
{
    CTextStream stream;
    CXmlTextWriter writer;

    explicit WriterFixture(XmlEncoding eEncoding = XmlEncoding_UTF8, bool bFormatted = true)
        : stream(eEncoding), writer(&stream)
    {
        writer.StartDocument();
        writer.SetFormatted(bFormatted);
    }
    std::string Text()
    {
        writer.EndDocument();
        return stream.GetText();
    }
    std::string TextSoFar() { return stream.GetText(); }
};

TEST(XmlTextWriter, WorkedExampleByteForByte)
{
    WriterFixture f;
    f.writer.WriteXmlDeclaration();
    f.writer.SetDefaultNamespace("urn:o");
    f.writer.StartElement("order", "urn:o");
    f.writer.WriteAttribute("id", "", "7", ItemType_i4);
    f.writer.StartElement("item", "urn:o");
    f.writer.WriteElementText("a&b", ItemType_string, false);
    f.writer.EndElement();
    f.writer.StartElement("note", "urn:p");
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<order xmlns=\"urn:o\" id=\"7\">\n"
              "\t<item>a&amp;b</item>\n"
              "\t<AA:note xmlns:AA=\"urn:p\"/>\n"
              "</order>\n",
              f.Text());
}

TEST(XmlTextWriter, AnAttributeRepeatedOnOneTagIsWrittenOnceAndADifferentValueIsRefused)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("a", "");
    f.writer.WriteAttribute("x", "", "1", ItemType_string);
    f.writer.WriteAttribute("x", "", "1", ItemType_string);
    f.writer.WriteAttribute("x", "urn:n", "1", ItemType_string);  // another attribute
    EXPECT_KR_THROW(f.writer.WriteAttribute("x", "", "2", ItemType_string), CKrException,
                    "The attribute [x] is written twice on one element, as [1] and as [2]");
    f.writer.StartElement("b", "");
    f.writer.WriteAttribute("x", "", "2", ItemType_string);  // a new tag starts afresh
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<a x=\"1\" xmlns:AA=\"urn:n\" AA:x=\"1\"><b x=\"2\"/></a>", f.Text());
}

TEST(XmlTextWriter, DeclarationFollowsTheStreamEncodingAndAlwaysEndsTheLine)
{
    const struct
    {
        XmlEncoding e;
        const char* lpExpected;
    } cases[] = {
        {XmlEncoding_None, "<?xml version=\"1.0\"?>\r\n"},
        {XmlEncoding_UTF8, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"},
        {XmlEncoding_UTF16, "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n"},
        {XmlEncoding_UTF16NoDecl, "<?xml version=\"1.0\"?>\r\n"},
    };
    for (const auto& c : cases)
    {
        WriterFixture f(c.e, false);
        f.writer.SetEOLType(EOLType_CRLF);
        f.writer.WriteXmlDeclaration();
        EXPECT_EQ(c.lpExpected, f.TextSoFar());
    }
}

// Long texts are scanned for bytes to escape many at a time: every special byte at every place
// of a text, in content and in an attribute, comes out as a byte-by-byte escape gives it.
TEST(XmlTextWriter, EscapesAtEveryPlaceOfLongTexts)
{
    const char kSpecials[] = {'&', '<', '>', '"', '\n', '\r', '\t', '\x7F', '\x80', '\xE9', '\xEF', '\x1F'};
    for (char cSpecial : kSpecials)
        for (size_t nLen : {15u, 16u, 17u, 33u, 40u})
            for (size_t iAt = 0; iAt < nLen; ++iAt)
            {
                std::string strText(nLen, 'x');
                strText[iAt] = cSpecial;
                std::string strContent, strAttr;
                for (char c : strText)
                {
                    switch (c)
                    {
                    case '&': strContent += "&amp;"; strAttr += "&amp;"; break;
                    case '<': strContent += "&lt;"; strAttr += "&lt;"; break;
                    case '>': strContent += "&gt;"; strAttr += "&gt;"; break;
                    case '"': strContent += c; strAttr += "&quot;"; break;
                    case '\n': strContent += c; strAttr += "&#xA;"; break;
                    case '\r': break;
                    default: strContent += c; strAttr += c;
                    }
                }
                WriterFixture f(XmlEncoding_UTF8, false);
                f.writer.StartElement("e", "");
                if (cSpecial == '\x1F')
                {
                    EXPECT_KR_THROW(f.writer.WriteAttribute("a", "", strText, ItemType_string), CKrException,
                                    "The character [0x1F] can not be represented in XML\nPath: /e/@a");
                    continue;
                }
                f.writer.WriteAttribute("a", "", strText, ItemType_string);
                f.writer.WriteElementText(strText, ItemType_string, false);
                f.writer.EndElement();
                EXPECT_EQ("<e a=\"" + strAttr + "\">" + strContent + "</e>", f.Text())
                    << static_cast<int>(cSpecial) << " at " << iAt << " of " << nLen;
            }
}

// Short forms of the calls a generated class makes.
void Leaf(CXmlWriter& w, const char* lpName, const char* lpNs = "")
{
    w.StartElement(lpName, lpNs);
    w.EndElement();
}
void TextElement(CXmlWriter& w, const char* lpName, const std::string& strText, bool bDefault = false)
{
    w.StartElement(lpName, "");
    w.WriteElementText(strText, ItemType_string, bDefault);
    w.EndElement();
}

// Writer calls and the exact bytes they give; formatted output uses tabs and LF.
struct ByteCase
{
    const char* lpName;
    bool bFormatted;
    std::function<void(CXmlTextWriter&)> write;
    const char* lpExpected;
};

const ByteCase kByteCases[] = {
    {"empty elements and skipped defaults", false,
     [](CXmlTextWriter& w) {
         w.StartElement("r", ""); Leaf(w, "a"); TextElement(w, "b", ""); TextElement(w, "c", "dflt", true);
         w.EndElement();
     },
     "<r><a/><b/><c/></r>"},
    {"defaults written when asked", false,
     [](CXmlTextWriter& w) { w.SetWriteDefaultElementValues(true); TextElement(w, "c", "dflt", true); },
     "<c>dflt</c>"},
    // No line end behind text; the end tag is indented because a child was written.
    {"text then child and child then text", true,
     [](CXmlTextWriter& w) {
         w.StartElement("r", ""); w.WriteElementText("t", ItemType_string, false); Leaf(w, "c");
         w.WriteElementText("u", ItemType_string, false); w.EndElement();
     },
     "<r>t\t<c/>\nu</r>\n"},
    {"unformatted has line ends only around directives", false,
     [](CXmlTextWriter& w) {
         w.WriteXmlDeclaration(); w.WriteProcessingInstruction("<?pi x?>"); w.WriteComment("c");
         w.StartElement("r", ""); w.WriteInLineSchema("<s/>"); TextElement(w, "a", "x"); w.EndElement();
     },
     "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<?pi x?>\n\n<!--c-->\n<r \n<s/>\n><a>x</a></r>"},
    {"indent and CRLF", true,
     [](CXmlTextWriter& w) {
         w.SetIndent("  "); w.SetEOLType(EOLType_CRLF); w.StartElement("a", ""); w.StartElement("b", "");
         TextElement(w, "c", "x\ny"); w.EndElement(); w.EndElement();
     },
     "<a>\r\n  <b>\r\n    <c>x\r\ny</c>\r\n  </b>\r\n</a>\r\n"},
    {"escaping in content and attributes", false,
     [](CXmlTextWriter& w) {
         w.StartElement("e", ""); w.WriteAttribute("v", "", "<&>\"'\t\r\nend", ItemType_string);
         w.WriteElementText("<&>\"'\t\r\nend", ItemType_string, false); w.EndElement();
     },
     "<e v=\"&lt;&amp;&gt;&quot;'\t&#xA;end\">&lt;&amp;&gt;\"'\t\nend</e>"},
    {"content line ends follow the EOL type even unformatted", false,
     [](CXmlTextWriter& w) { w.SetEOLType(EOLType_CRLF); TextElement(w, "e", "a\r\nb\nc"); },
     "<e>a\r\nb\r\nc</e>"},
    {"CDATA only at the start goes out as it stands", false,
     [](CXmlTextWriter& w) {
         w.StartElement("r", ""); TextElement(w, "a", "<![CDATA[x<y]]>");
         TextElement(w, "b", "x<![CDATA[y]]>"); w.EndElement();
     },
     "<r><a><![CDATA[x<y]]></a><b>x&lt;![CDATA[y]]&gt;</b></r>"},
    // The default namespace doesn't cover attributes: it takes an alias as well.
    {"attribute in an undeclared namespace declares it in front", false,
     [](CXmlTextWriter& w) {
         w.SetDefaultNamespace("urn:d"); w.StartElement("e", "urn:d");
         w.WriteAttribute("b", "urn:x", "1", ItemType_string);
         w.WriteAttribute("c", "urn:x", "2", ItemType_string);
         w.WriteAttribute("d", "urn:d", "3", ItemType_string); w.EndElement();
     },
     "<e xmlns=\"urn:d\" xmlns:AA=\"urn:x\" AA:b=\"1\" AA:c=\"2\" xmlns:AB=\"urn:d\" AB:d=\"3\"/>"},
    {"type attribute in a foreign namespace has two blanks", false,
     [](CXmlTextWriter& w) {
         w.StartElement("e", ""); w.WriteTypeAttribute("urn:t", "Derived", ItemType_string); w.EndElement();
     },
     "<e xmlns:AA=\"urn:t\"  xmlns:AB=\"http://www.w3.org/2001/XMLSchema-instance\" AB:type=\"AA:Derived\"/>"},
    {"type attribute in the default namespace is unqualified", false,
     [](CXmlTextWriter& w) {
         w.AddNamespaceAlias("xsi", kXsi); w.SetDefaultNamespace("urn:d"); w.StartElement("e", "urn:d");
         w.WriteTypeAttribute("urn:d", "T", ItemType_string); w.WriteNilAttribute(); w.EndElement();
     },
     "<e xmlns=\"urn:d\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"T\" xsi:nil=\"true\"/>"},
    {"the xml namespace is never declared", false,
     [](CXmlTextWriter& w) {
         w.StartElement("e", "");
         w.WriteAttribute("lang", "http://www.w3.org/XML/1998/namespace", "en", ItemType_string);
         Leaf(w, "space", "http://www.w3.org/XML/1998/namespace"); w.EndElement();
     },
     "<e xml:lang=\"en\"><xml:space/></e>"},
    {"root declarations come in key order behind the default", false,
     [](CXmlTextWriter& w) {
         w.AddNamespaceAlias("z", "urn:b"); w.AddNamespaceAlias("y", "urn:a");
         w.SetDefaultNamespace("urn:d"); w.StartElement("r", "urn:r"); Leaf(w, "c", "urn:a"); w.EndElement();
     },
     "<AA:r xmlns:AA=\"urn:r\" xmlns=\"urn:d\" xmlns:y=\"urn:a\" xmlns:z=\"urn:b\"><y:c/></AA:r>"},
    {"nested namespaces get new aliases and siblings reuse them", false,
     [](CXmlTextWriter& w) {
         w.StartElement("r", ""); w.StartElement("a", "urn:1"); w.StartElement("b", "urn:2");
         Leaf(w, "c", "urn:1"); w.EndElement(); w.EndElement(); Leaf(w, "d", "urn:3"); w.EndElement();
     },
     "<r><AA:a xmlns:AA=\"urn:1\"><AB:b xmlns:AB=\"urn:2\"><AA:c/></AB:b></AA:a><AA:d xmlns:AA=\"urn:3\"/></r>"},
    {"namespace URIs are escaped in declarations", false, [](CXmlTextWriter& w) { Leaf(w, "e", "urn:a?x=1&y=\"2\""); },
     "<AA:e xmlns:AA=\"urn:a?x=1&amp;y=&quot;2&quot;\"/>"},
    // A comment goes out even inside an open start tag: it is the caller's to place.
    {"comments, processing instructions and headed directives", true,
     [](CXmlTextWriter& w) {
         w.WriteHeadedDirective("<!DOCTYPE r>"); w.WriteProcessingInstruction("<?a b?>");
         w.StartElement("r", ""); w.WriteComment("x & y"); w.EndElement();
     },
     "<!DOCTYPE r>\n<?a b?>\n\n<r<!--x &amp; y-->\n/>\n"},
    {"raw lines for nested documents", true,
     [](CXmlTextWriter& w) {
         w.StartElement("outer", ""); w.CloseStartTag(); w.WriteRawLine("<inner xmlns=\"urn:i\"/>");
         w.EndElement();
     },
     "<outer>\n<inner xmlns=\"urn:i\"/>\n</outer>\n"},
    {"raw lines unformatted", false,
     [](CXmlTextWriter& w) {
         w.StartElement("outer", ""); w.CloseStartTag(); w.WriteRawLine("<i/>"); w.EndElement();
     },
     "<outer><i/></outer>"},
};

TEST(XmlTextWriter, ExactBytes)
{
    for (const ByteCase& c : kByteCases)
    {
        WriterFixture f(XmlEncoding_UTF8, c.bFormatted);
        c.write(f.writer);
        EXPECT_EQ(c.lpExpected, f.Text()) << c.lpName;
    }
}

// Writer calls ending in a refused text, and the message and path of the refusal. Paths take
// the form of the document tree's, with the prefixes as written; a predicate appears where an
// earlier sibling has the same name.
struct RefusalCase
{
    const char* lpName;
    std::function<void(CXmlTextWriter&)> write;
    const char* lpMessage;
    const char* lpPath;
};

const char* const kNul = "The character [0x00] can not be represented in XML";
const char* const kBell = "The character [0x07] can not be represented in XML";
const char* const kDashes = "A comment can not contain \"--\" or end with \"-\"";

void Items(CXmlWriter& w, int n)
{
    for (int i = 0; i < n; ++i)
        TextElement(w, "item", "x");
}

const RefusalCase kRefusals[] = {
    // U+FFFE and U+FFFF aren't XML characters; U+FFFD beside them is.
    {"U+FFFF in a long text", [](CXmlTextWriter& w) {
         TextElement(w, "e", "0123456789abcdef\xEF\xBF\xBD\xEF\xBF\xBF");
     }, "The character [0xFFFF] can not be represented in XML", "/e"},
    {"U+FFFE in an attribute", [](CXmlTextWriter& w) {
         w.StartElement("e", ""); w.WriteAttribute("a", "", "\xEF\xBF\xBE", ItemType_string);
     }, "The character [0xFFFE] can not be represented in XML", "/e/@a"},
    {"text of the root", [](CXmlTextWriter& w) { TextElement(w, "e", "bell\x07"); }, kBell, "/e"},
    {"attribute value", [](CXmlTextWriter& w) {
         w.StartElement("e", ""); w.WriteAttribute("a", "", std::string("x\0y", 3), ItemType_string);
     }, kNul, "/e/@a"},
    {"third of a run", [](CXmlTextWriter& w) {
         w.StartElement("order", ""); Items(w, 2); w.StartElement("item", ""); TextElement(w, "name", "\x07");
     }, kBell, "/order/item[3]/name"},
    // Later siblings aren't known yet: the first of a name has no predicate.
    {"first of a run", [](CXmlTextWriter& w) {
         w.StartElement("order", ""); Leaf(w, "status"); TextElement(w, "item", "\x07");
     }, kBell, "/order/item"},
    {"same name with another between", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); Leaf(w, "a"); Leaf(w, "b"); Leaf(w, "b"); TextElement(w, "a", "\x07");
     }, kBell, "/r/a[2]"},
    {"counts start again in each parent", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); w.StartElement("a", ""); Items(w, 3); w.EndElement();
         w.StartElement("a", ""); TextElement(w, "item", "\x07");
     }, kBell, "/r/a[2]/item"},
    // Past a few distinct names the counts are kept in an index, which starts again with the
    // next element at the same depth.
    {"a repeat after many distinct names", [](CXmlTextWriter& w) {
         w.StartElement("r", "");
         for (int i = 0; i < 40; ++i)
             Leaf(w, ("n" + std::to_string(i)).c_str());
         Leaf(w, "n7", "urn:p"); TextElement(w, "n7", "\x07");
     }, kBell, "/r/n7[2]"},
    {"many distinct names in the next parent", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); w.StartElement("a", "");
         for (int i = 0; i < 40; ++i)
             Leaf(w, ("n" + std::to_string(i)).c_str());
         w.EndElement(); w.StartElement("a", "");
         for (int i = 0; i < 20; ++i)
             Leaf(w, ("n" + std::to_string(i)).c_str());
         TextElement(w, "n5", "\x07");
     }, kBell, "/r/a[2]/n5[2]"},
    {"names met under an earlier parent of the same depth", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); w.StartElement("a", ""); Leaf(w, "x"); Leaf(w, "y"); w.EndElement();
         w.StartElement("a", ""); Leaf(w, "y"); Leaf(w, "x"); TextElement(w, "y", "\x07");
     }, kBell, "/r/a[2]/y[2]"},
    {"names alike in length and ends", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); Leaf(w, "aXbYc"); Leaf(w, "aZbYc"); TextElement(w, "aZbYc", "\x07");
     }, kBell, "/r/aZbYc[2]"},
    {"prefixes as written, and names of other prefixes apart", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); Leaf(w, "n", "urn:p"); Leaf(w, "n"); w.StartElement("n", "urn:p");
         w.WriteElementText("\x07", ItemType_string, false);
     }, kBell, "/r/AA:n[2]"},
    {"attribute in a namespace", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); w.StartElement("e", "urn:e");
         w.WriteAttribute("x", "urn:x", "\x07", ItemType_string);
     }, kBell, "/r/AA:e/AB:@x"},
    {"namespace URI of a new element", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); Leaf(w, "c"); Leaf(w, "c", "urn:\x01");
     }, "The character [0x01] can not be represented in XML", "/r/AA:c"},
    {"comment inside an element", [](CXmlTextWriter& w) {
         w.StartElement("r", ""); Leaf(w, "s"); w.StartElement("s", ""); w.WriteComment("a\x07");
     }, kBell, "/r/s[2]"},
    {"comment before the root", [](CXmlTextWriter& w) { w.WriteComment("\x07"); }, kBell, ""},
    {"dashes in a comment", [](CXmlTextWriter& w) { w.StartElement("r", ""); w.WriteComment("a--b"); }, kDashes, "/r"},
    {"dash at the end of a comment", [](CXmlTextWriter& w) { w.WriteComment("a-"); }, kDashes, ""},
};

TEST(XmlTextWriter, TextsXmlCannotCarryAreRefusedWithTheirPath)
{
    for (const RefusalCase& c : kRefusals)
    {
        SCOPED_TRACE(c.lpName);
        WriterFixture f(XmlEncoding_UTF8, false);
        std::string strMessage = c.lpMessage;
        if (*c.lpPath)
            strMessage += std::string("\nPath: ") + c.lpPath;
        bool bCaught = false;
        try
        {
            c.write(f.writer);
        }
        catch (const CKrException& e)
        {
            bCaught = true;
            EXPECT_EQ(strMessage, e.GetMessage());
            EXPECT_EQ(c.lpPath, e.GetPath());
        }
        EXPECT_TRUE(bCaught);
    }
}

TEST(XmlTextWriter, DeclarationsOnAnOpenElementHoldForItsSubtreeOnly)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    f.writer.StartElement("a", "");
    f.writer.AddNamespaceAlias("p", "urn:p");
    f.writer.SetDefaultNamespace("urn:d");
    ASSERT_NE(nullptr, f.writer.GetContext());
    EXPECT_FALSE(f.writer.GetContext()->m_bInheritsScope);
    f.writer.StartElement("b", "urn:p");
    EXPECT_TRUE(f.writer.GetContext()->m_bInheritsScope);
    EXPECT_EQ("urn:d", f.writer.GetContext()->GetDefaultNamespace());
    f.writer.EndElement();
    f.writer.StartElement("c", "urn:d");
    f.writer.EndElement();
    f.writer.EndElement();
    f.writer.StartElement("b", "urn:p");
    EXPECT_EQ("", f.writer.GetContext()->GetDefaultNamespace());
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<r><a><p:b/><c/></a><AA:b xmlns:AA=\"urn:p\"/></r>", f.Text());
}

TEST(XmlTextWriter, GeneratedAliasesSkipTakenOnesAndWidenPastTwoLetters)
{
    CXmlWriter::NamespaceMap map;
    EXPECT_EQ("AA", CXmlWriter::GenerateNamespaceAlias(map));
    map["urn:1"] = "AA";
    map["urn:2"] = "AC";
    EXPECT_EQ("AB", CXmlWriter::GenerateNamespaceAlias(map));
    map["urn:3"] = "AB";
    EXPECT_EQ("AD", CXmlWriter::GenerateNamespaceAlias(map));
    map.clear();
    for (int i = 0; i < 676; ++i)
        map["urn:" + std::to_string(i)] = std::string(1, char('A' + i / 26)) + char('A' + i % 26);
    EXPECT_EQ("AAA", CXmlWriter::GenerateNamespaceAlias(map));
    map.erase("urn:27");  // "BB"
    EXPECT_EQ("BB", CXmlWriter::GenerateNamespaceAlias(map));
}

// ---- misuse ----

TEST(XmlTextWriter, InvalidEolTypeIsRefusedAndChangesNothing)
{
    WriterFixture f;
    EXPECT_KR_THROW(f.writer.SetEOLType(static_cast<EOLType>(2)), CKrException, "Invalid EOL type.");
    EXPECT_KR_THROW(f.writer.SetEOLType(static_cast<EOLType>(-1)), CKrException, "Invalid EOL type.");
    EXPECT_EQ(EOLType_LF, f.writer.GetEOLType());
    f.writer.WriteXmlDeclaration();
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", f.TextSoFar());
}

TEST(XmlTextWriter, AttributesAfterContentAreRefusedAndWriteNothing)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    f.writer.StartElement("c", "");
    f.writer.EndElement();
    std::string strBefore = f.TextSoFar();
    EXPECT_KR_THROW(f.writer.WriteAttribute("a", "", "1", ItemType_string), CKrException,
                    "Attributes must be added before elements");
    EXPECT_KR_THROW(f.writer.WriteTypeAttribute("urn:t", "T", ItemType_string), CKrException,
                    "Attributes must be added before elements");
    EXPECT_KR_THROW(f.writer.WriteNilAttribute(), CKrException, "Attributes must be added before elements");
    EXPECT_EQ(strBefore, f.TextSoFar());

    WriterFixture g(XmlEncoding_UTF8, false);
    g.writer.StartElement("r", "");
    g.writer.WriteElementText("t", ItemType_string, false);
    EXPECT_KR_THROW(g.writer.WriteAttribute("a", "", "1", ItemType_string), CKrException,
                    "Attributes must be added before elements");
}

TEST(XmlTextWriter, HeadedDirectiveInsideAnElementIsRefused)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    EXPECT_KR_THROW(f.writer.WriteHeadedDirective("<!DOCTYPE r>"), CKrException,
                    "Headed directives must appear before an Element has been added.");
    EXPECT_EQ("<r", f.TextSoFar());
}

TEST(XmlTextWriter, EndDocumentWithAnOpenElementFailsAfterTheStreamEnded)
{
    struct CountingStream : CTextStream
    {
        int nEnds = 0;
        void End() override { ++nEnds; }
    } stream;
    {
        CXmlTextWriter writer(&stream);
        writer.StartDocument();
        writer.StartElement("a", "");
        writer.StartElement("b", "");
        EXPECT_KR_THROW(writer.EndDocument(), CKrException, "An Element has not been closed.");
        EXPECT_EQ(1, stream.nEnds);
    }  // the open chain of contexts is freed with the writer
}

TEST(XmlTextWriter, FlushTestCallsTheStreamFromFourKilobytes)
{
    struct FlushCounter : CTextStream
    {
        std::vector<size_t> lengths;
        void Flush() override { lengths.push_back(GetLength()); }
    } stream;
    CXmlTextWriter writer(&stream);
    writer.StartDocument();
    writer.StartElement("r", "");
    writer.WriteElementText(std::string(4090, 'x'), ItemType_string, false);  // 4093 characters
    EXPECT_TRUE(stream.lengths.empty());
    writer.StartElement("c", "");  // "\t<c" makes 4096
    ASSERT_EQ(1u, stream.lengths.size());
    EXPECT_EQ(4096u, stream.lengths[0]);
    writer.EndElement();
    EXPECT_EQ(2u, stream.lengths.size());
}

// Contexts made so far, from the instance report: the total of "CXmlWriterContext = alive/total".
int ContextsMade()
{
    std::string strState = CInstanceMonitor::DumpState();
    size_t pos = strState.find("CXmlWriterContext = ");
    if (pos == std::string::npos)
        return 0;
    return std::atoi(strState.c_str() + strState.find('/', pos) + 1);
}

TEST(XmlWriter, OneContextPerDepthServesEveryElement)
{
    int nBefore = ContextsMade();
    {
        WriterFixture f(XmlEncoding_UTF8, false);
        f.writer.StartElement("r", "");
        for (int i = 0; i < 500; ++i)
        {
            f.writer.StartElement("a", "");
            Leaf(f.writer, "b", i % 2 ? "urn:x" : "");  // a declaration in a reused context
            f.writer.EndElement();
        }
        f.writer.EndElement();
        std::string strExpected = "<r>";
        for (int i = 0; i < 250; ++i)
            strExpected += "<a><b/></a><a><AA:b xmlns:AA=\"urn:x\"/></a>";
        EXPECT_EQ(strExpected + "</r>", f.Text());
    }
    EXPECT_EQ(3, ContextsMade() - nBefore);
}

// ---- the array hook for derived writers ----

struct ArrayWatcher : CXmlTextWriter
{
    explicit ArrayWatcher(CTextStream* p) : CXmlTextWriter(p) {}
    std::vector<std::pair<int, int>> changes;  // old, new
    void OnArrayStateChanged(CXmlWriterContext* pContext, int iOld) override
    {
        changes.emplace_back(iOld, pContext->m_iArrayState);
    }
};

TEST(XmlWriter, SetArrayStateStoresInTheCurrentContextAndTellsTheWriter)
{
    CTextStream stream;
    ArrayWatcher writer(&stream);
    writer.SetArrayState(1);  // no element: nothing
    EXPECT_TRUE(writer.changes.empty());
    writer.StartElement("r", "");
    writer.SetArrayState(1);
    writer.StartElement("i", "");
    EXPECT_EQ(0, writer.GetContext()->m_iArrayState);
    writer.EndElement();
    writer.SetArrayState(3);
    EXPECT_EQ(3, writer.GetContext()->m_iArrayState);
    writer.EndElement();
    ASSERT_EQ(2u, writer.changes.size());
    EXPECT_EQ(std::make_pair(0, 1), writer.changes[0]);
    EXPECT_EQ(std::make_pair(1, 3), writer.changes[1]);
}

// ---- many declarations, many attributes ----

// The n-th generated alias: "AA".."ZZ", then "AAA"...
std::string NthAlias(int n)
{
    if (n < 676)
        return std::string(1, char('A' + n / 26)) + char('A' + n % 26);
    n -= 676;
    return std::string(1, char('A' + n / 676)) + char('A' + n / 26 % 26) + char('A' + n % 26);
}

TEST(XmlWriter, SiblingsReuseAnAliasAndNestingWidensPastTwoLetters)
{
    const int n = 700;
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    std::string strExpected = "<r>";
    for (int i = 0; i < n; ++i)  // each sibling's declaration ends with it
    {
        Leaf(f.writer, "e", ("urn:" + std::to_string(i)).c_str());
        strExpected += "<AA:e xmlns:AA=\"urn:" + std::to_string(i) + "\"/>";
    }
    for (int i = 0; i < n; ++i)  // each nested one adds one to the scope
    {
        std::string strNs = "urn:n" + std::to_string(i);
        f.writer.StartElement("e", strNs);
        // The alias is the one the map in force, taken whole, gives.
        CXmlWriter::NamespaceMap map = f.writer.GetContext()->GetNamespaceMap();
        map.erase(strNs);
        ASSERT_EQ(CXmlWriter::GenerateNamespaceAlias(map), f.writer.GetContext()->m_strPrefix) << i;
        strExpected += "<" + NthAlias(i) + ":e xmlns:" + NthAlias(i) + "=\"" + strNs + "\">";
    }
    // An outer namespace again inside: its alias in force, no declaration.
    Leaf(f.writer, "x", "urn:n675");
    strExpected += "<ZZ:x/>";
    for (int i = n; i-- > 0;)
    {
        f.writer.EndElement();
        strExpected += "</" + NthAlias(i) + ":e>";
    }
    Leaf(f.writer, "e", "urn:n699");  // all of them ended
    strExpected += "<AA:e xmlns:AA=\"urn:n699\"/>";
    f.writer.EndElement();
    EXPECT_EQ(strExpected + "</r>", f.Text());
}

TEST(XmlWriter, AnAliasHiddenByARedeclarationIsFreeBelowIt)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.AddNamespaceAlias("AB", "urn:x");
    f.writer.AddNamespaceAlias("AD", "urn:y");
    f.writer.StartElement("r", "");
    Leaf(f.writer, "a", "urn:1");  // AA is free
    f.writer.StartElement("s", "");
    f.writer.AddNamespaceAlias("q", "urn:x");  // AB no longer stands for anything here
    f.writer.AddNamespaceAlias("AC", "urn:z");
    Leaf(f.writer, "b", "urn:2");
    f.writer.StartElement("t", "urn:3");
    Leaf(f.writer, "c", "urn:4");
    f.writer.EndElement();
    f.writer.EndElement();
    Leaf(f.writer, "d", "urn:5");  // AB taken again, AC gone
    f.writer.EndElement();
    EXPECT_EQ("<r xmlns:AB=\"urn:x\" xmlns:AD=\"urn:y\"><AA:a xmlns:AA=\"urn:1\"/><s><AA:b xmlns:AA=\"urn:2\"/>"
              "<AA:t xmlns:AA=\"urn:3\"><AB:c xmlns:AB=\"urn:4\"/></AA:t></s><AA:d xmlns:AA=\"urn:5\"/></r>",
              f.Text());
}

TEST(XmlWriter, ManyAttributesKeepTheirOrderAliasesAndRepeatRules)
{
    const int n = 700;
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    std::string strExpected = "<r";
    for (int i = 0; i < n; ++i)
    {
        std::string strI = std::to_string(i);
        f.writer.WriteAttribute("a", "urn:" + strI, strI, ItemType_string);
        f.writer.WriteAttribute("b" + strI, "", strI, ItemType_string);
        strExpected += " xmlns:" + NthAlias(i) + "=\"urn:" + strI + "\" " + NthAlias(i) + ":a=\"" + strI + "\" b" +
                       strI + "=\"" + strI + "\"";
    }
    // Repeats anywhere in the tag: the same value is dropped, another one refused.
    for (int i : {0, 7, 8, 9, 350, 699})
    {
        std::string strI = std::to_string(i);
        f.writer.WriteAttribute("a", "urn:" + strI, strI, ItemType_string);
        f.writer.WriteAttribute("b" + strI, "", strI, ItemType_string);
        EXPECT_KR_THROW(f.writer.WriteAttribute("b" + strI, "", "z", ItemType_string), CKrException,
                        "The attribute [b" + strI + "] is written twice on one element, as [" + strI + "] and as [z]");
        EXPECT_KR_THROW(f.writer.WriteAttribute("a", "urn:" + strI, "", ItemType_string), CKrException,
                        "The attribute [a] is written twice on one element, as [" + strI + "] and as []");
    }
    // The same name in a namespace not seen yet is another attribute.
    f.writer.WriteAttribute("b5", "urn:new", "5", ItemType_string);
    strExpected += " xmlns:AAY=\"urn:new\" AAY:b5=\"5\"";
    // The next tag starts with no attributes of its own.
    f.writer.StartElement("c", "");
    f.writer.WriteAttribute("b5", "", "other", ItemType_string);
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ(strExpected + "><c b5=\"other\"/></r>", f.Text());
}

} // namespace
