#include "testsupport.h"

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

TEST(XmlTextWriter, EmptyElementsAndSkippedDefaults)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    f.writer.StartElement("a", "");
    f.writer.EndElement();
    f.writer.StartElement("b", "");
    f.writer.WriteElementText("", ItemType_string, false);
    f.writer.EndElement();
    f.writer.StartElement("c", "");
    f.writer.WriteElementText("dflt", ItemType_string, true);
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<r><a/><b/><c/></r>", f.Text());

    WriterFixture g(XmlEncoding_UTF8, false);
    g.writer.SetWriteDefaultElementValues(true);
    g.writer.StartElement("c", "");
    g.writer.WriteElementText("dflt", ItemType_string, true);
    g.writer.EndElement();
    EXPECT_EQ("<c>dflt</c>", g.Text());
}

TEST(XmlTextWriter, TextThenChildAndChildThenText)
{
    WriterFixture f;
    f.writer.StartElement("r", "");
    f.writer.WriteElementText("t", ItemType_string, false);
    f.writer.StartElement("c", "");
    f.writer.EndElement();
    f.writer.WriteElementText("u", ItemType_string, false);
    f.writer.EndElement();
    // No line end behind the text; the end tag is indented because a child was written.
    EXPECT_EQ("<r>t\t<c/>\nu</r>\n", f.Text());
}

TEST(XmlTextWriter, UnformattedHasNoLineEndsExceptAroundDirectives)
{
    CSerializationContext ctx;
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.WriteXmlDeclaration();
    f.writer.WriteProcessingInstruction("<?pi x?>");
    f.writer.WriteComment("c");
    f.writer.StartElement("r", "");
    f.writer.WriteInLineSchema("<s/>");
    f.writer.StartElement("a", "");
    f.writer.WriteElementText("x", ItemType_string, false);
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<?pi x?>\n\n<!--c-->\n<r \n<s/>\n><a>x</a></r>", f.Text());
}

TEST(XmlTextWriter, IndentAndCrLf)
{
    WriterFixture f;
    f.writer.SetIndent("  ");
    f.writer.SetEOLType(EOLType_CRLF);
    f.writer.StartElement("a", "");
    f.writer.StartElement("b", "");
    f.writer.StartElement("c", "");
    f.writer.WriteElementText("x\ny", ItemType_string, false);
    f.writer.EndElement();
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<a>\r\n  <b>\r\n    <c>x\r\ny</c>\r\n  </b>\r\n</a>\r\n", f.Text());
    EXPECT_EQ(EOLType_CRLF, f.writer.GetEOLType());
    EXPECT_EQ("  ", f.writer.GetIndent());
}

TEST(XmlTextWriter, EscapingInContentAndAttributes)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("e", "");
    f.writer.WriteAttribute("v", "", "<&>\"'\t\r\nend", ItemType_string);
    f.writer.WriteElementText("<&>\"'\t\r\nend", ItemType_string, false);
    f.writer.EndElement();
    EXPECT_EQ("<e v=\"&lt;&amp;&gt;&quot;'\t&#xA;end\">&lt;&amp;&gt;\"'\t\nend</e>", f.Text());
}

TEST(XmlTextWriter, ContentLineEndsFollowTheEolTypeEvenUnformatted)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.SetEOLType(EOLType_CRLF);
    f.writer.StartElement("e", "");
    f.writer.WriteElementText("a\r\nb\nc", ItemType_string, false);
    f.writer.EndElement();
    EXPECT_EQ("<e>a\r\nb\r\nc</e>", f.Text());
}

TEST(XmlTextWriter, CDataOnlyAtTheStartGoesOutAsItStands)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    f.writer.StartElement("a", "");
    f.writer.WriteElementText("<![CDATA[x<y]]>", ItemType_string, false);
    f.writer.EndElement();
    f.writer.StartElement("b", "");
    f.writer.WriteElementText("x<![CDATA[y]]>", ItemType_string, false);
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<r><a><![CDATA[x<y]]></a><b>x&lt;![CDATA[y]]&gt;</b></r>", f.Text());
}

TEST(XmlTextWriter, ControlCharactersXmlCannotCarryAreRefused)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("e", "");
    EXPECT_KR_THROW(f.writer.WriteAttribute("a", "", std::string("x\0y", 3), ItemType_string), CKrException,
                    "The character [0x00] can not be represented in XML");
    EXPECT_KR_THROW(f.writer.WriteElementText("bell\x07", ItemType_string, false), CKrException,
                    "The character [0x07] can not be represented in XML");
}

TEST(XmlTextWriter, AttributeInAnUndeclaredNamespaceDeclaresItInFront)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.SetDefaultNamespace("urn:d");
    f.writer.StartElement("e", "urn:d");
    f.writer.WriteAttribute("b", "urn:x", "1", ItemType_string);
    f.writer.WriteAttribute("c", "urn:x", "2", ItemType_string);
    // The default namespace doesn't cover attributes: it takes an alias as well.
    f.writer.WriteAttribute("d", "urn:d", "3", ItemType_string);
    f.writer.EndElement();
    EXPECT_EQ("<e xmlns=\"urn:d\" xmlns:AA=\"urn:x\" AA:b=\"1\" AA:c=\"2\" xmlns:AB=\"urn:d\" AB:d=\"3\"/>", f.Text());
}

TEST(XmlTextWriter, TypeAttributeInAForeignNamespaceHasTwoBlanks)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("e", "");
    f.writer.WriteTypeAttribute("urn:t", "Derived", ItemType_string);
    f.writer.EndElement();
    EXPECT_EQ("<e xmlns:AA=\"urn:t\"  xmlns:AB=\"" + std::string(kXsi) + "\" AB:type=\"AA:Derived\"/>", f.Text());
}

TEST(XmlTextWriter, TypeAttributeInTheDefaultNamespaceIsUnqualified)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.AddNamespaceAlias("xsi", kXsi);
    f.writer.SetDefaultNamespace("urn:d");
    f.writer.StartElement("e", "urn:d");
    f.writer.WriteTypeAttribute("urn:d", "T", ItemType_string);
    f.writer.WriteNilAttribute();
    f.writer.EndElement();
    EXPECT_EQ("<e xmlns=\"urn:d\" xmlns:xsi=\"" + std::string(kXsi) + "\" xsi:type=\"T\" xsi:nil=\"true\"/>",
              f.Text());
}

TEST(XmlTextWriter, XmlNamespaceIsNeverDeclared)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("e", "");
    f.writer.WriteAttribute("lang", "http://www.w3.org/XML/1998/namespace", "en", ItemType_string);
    f.writer.StartElement("space", "http://www.w3.org/XML/1998/namespace");
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<e xml:lang=\"en\"><xml:space/></e>", f.Text());
}

TEST(XmlTextWriter, RootDeclarationsComeInKeyOrderBehindTheDefault)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.AddNamespaceAlias("z", "urn:b");
    f.writer.AddNamespaceAlias("y", "urn:a");
    f.writer.SetDefaultNamespace("urn:d");
    f.writer.StartElement("r", "urn:r");
    f.writer.StartElement("c", "urn:a");
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<AA:r xmlns:AA=\"urn:r\" xmlns=\"urn:d\" xmlns:y=\"urn:a\" xmlns:z=\"urn:b\"><y:c/></AA:r>", f.Text());
}

TEST(XmlTextWriter, NestedNamespacesGetNewAliasesAndSiblingsReuseThem)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("r", "");
    f.writer.StartElement("a", "urn:1");
    f.writer.StartElement("b", "urn:2");
    f.writer.StartElement("c", "urn:1");
    f.writer.EndElement();
    f.writer.EndElement();
    f.writer.EndElement();
    f.writer.StartElement("d", "urn:3");
    f.writer.EndElement();
    f.writer.EndElement();
    EXPECT_EQ("<r><AA:a xmlns:AA=\"urn:1\"><AB:b xmlns:AB=\"urn:2\"><AA:c/></AB:b></AA:a>"
              "<AA:d xmlns:AA=\"urn:3\"/></r>",
              f.Text());
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

TEST(XmlTextWriter, NamespaceUrisAreEscapedInDeclarations)
{
    WriterFixture f(XmlEncoding_UTF8, false);
    f.writer.StartElement("e", "urn:a?x=1&y=\"2\"");
    f.writer.EndElement();
    EXPECT_EQ("<AA:e xmlns:AA=\"urn:a?x=1&amp;y=&quot;2&quot;\"/>", f.Text());
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

TEST(XmlTextWriter, CommentsProcessingInstructionsAndHeadedDirectives)
{
    WriterFixture f;
    f.writer.WriteHeadedDirective("<!DOCTYPE r>");
    f.writer.WriteProcessingInstruction("<?a b?>");
    f.writer.StartElement("r", "");
    // A comment goes out even inside an open start tag: it is the caller's to place.
    f.writer.WriteComment("x & y");
    f.writer.EndElement();
    EXPECT_EQ("<!DOCTYPE r>\n<?a b?>\n\n<r<!--x &amp; y-->\n/>\n", f.Text());

    WriterFixture g;
    EXPECT_KR_THROW(g.writer.WriteComment("a--b"), CKrException, "A comment can not contain \"--\" or end with \"-\"");
    EXPECT_KR_THROW(g.writer.WriteComment("a-"), CKrException, "A comment can not contain \"--\" or end with \"-\"");
    EXPECT_EQ("", g.TextSoFar());
}

TEST(XmlTextWriter, RawLinesForNestedDocuments)
{
    WriterFixture f;
    f.writer.StartElement("outer", "");
    f.writer.CloseStartTag();
    f.writer.WriteRawLine("<inner xmlns=\"urn:i\"/>");
    f.writer.EndElement();
    EXPECT_EQ("<outer>\n<inner xmlns=\"urn:i\"/>\n</outer>\n", f.Text());

    WriterFixture g(XmlEncoding_UTF8, false);
    g.writer.StartElement("outer", "");
    g.writer.CloseStartTag();
    g.writer.WriteRawLine("<i/>");
    g.writer.EndElement();
    EXPECT_EQ("<outer><i/></outer>", g.Text());
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

} // namespace
