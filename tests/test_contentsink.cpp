#include "testsupport.h"

#include <cstring>
#include <string>
#include <vector>

#include "elementbuilder.h"
#include "expatreader.h"
#include "krxmllib.h"
#include "xmlcontentsink.h"

using namespace KrXmlLib16;

namespace {

// Writes every event as one line; adjacent text pieces are joined, since where the parser
// cuts a run of text depends on how the input arrives.
class CRecordingSink : public IXmlContentSink
{
public:
    std::vector<std::string> m_events;
    std::string m_strFailOn;  // start of an element of this name raises

    void OnNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace) override
    {
        Add("ns " + strAlias + "=" + strNamespace);
    }
    void OnStartElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName) override
    {
        std::string strName(pName, nName);
        if (strName == m_strFailOn)
            throw CKrValidationException("refused " + strName, "/here");
        Add("start {" + std::string(pNamespace, nNamespace) + "}" + strName);
    }
    void OnAttribute(const char* pName, size_t nName, const char* pValue, size_t nValue, const char* pNamespace,
                     size_t nNamespace) override
    {
        Add("attr {" + std::string(pNamespace, nNamespace) + "}" + std::string(pName, nName) + "=" +
            std::string(pValue, nValue));
    }
    void OnText(const char* pText, uint32_t dwLen) override
    {
        if (!m_events.empty() && m_events.back().compare(0, 5, "text ") == 0)
            m_events.back().append(pText, dwLen);
        else
            Add("text " + std::string(pText, dwLen));
    }
    void OnEndElement() override { Add("end"); }

private:
    void Add(std::string str) { m_events.push_back(std::move(str)); }
};

class CSectionSink : public CRecordingSink
{
public:
    void OnStartCData() override { m_events.push_back("cdata"); }
    void OnEndCData() override { m_events.push_back("/cdata"); }
};

const char kDoc[] = "<?xml version=\"1.0\"?>\n"
                    "<r xmlns=\"urn:a\" xmlns:p=\"urn:p\" p:x=\"1\" y=\"&lt;2\">"
                    "t1<p:c>in</p:c><![CDATA[<z>]]>t2<!-- gone --><?pi gone?>t3<e/></r>";

std::vector<std::string> Feed(IXmlContentSink& sink, SchemaType eSchema, bool bStripCDATA, size_t nPiece,
                              uint32_t dwSlice = 0)
{
    CExpatReader reader(sink, eSchema, bStripCDATA);
    reader.SetSliceLength(dwSlice);
    reader.Init();
    const unsigned char* p = reinterpret_cast<const unsigned char*>(kDoc);
    size_t nLeft = std::strlen(kDoc);
    while (nLeft > nPiece)
    {
        reader.Parse(p, static_cast<uint32_t>(nPiece), false);
        p += nPiece;
        nLeft -= nPiece;
    }
    reader.Parse(p, static_cast<uint32_t>(nLeft), true);
    return static_cast<CRecordingSink&>(sink).m_events;
}

const std::vector<std::string> kWithSections = {
    "ns =urn:a",     "ns p=urn:p", "start {urn:a}r", "attr {urn:p}x=1", "attr {}y=<2", "text t1",
    "start {urn:p}c", "text in",   "end",            "cdata",           "text <z>",    "/cdata",
    "text t2t3",     "start {urn:a}e", "end",        "end"};

TEST(ContentSink, ReaderReportsADocumentInOrder)
{
    CSectionSink sink;
    EXPECT_EQ(kWithSections, Feed(sink, SchemaType_Default, false, 1 << 20));
}

TEST(ContentSink, PiecesOfAnySizeGiveTheSameEvents)
{
    for (size_t nPiece : {1u, 2u, 7u, 64u})
    {
        CSectionSink sink;
        EXPECT_EQ(kWithSections, Feed(sink, SchemaType_Default, false, nPiece)) << "pieces of " << nPiece;
    }
    // The reader's own slicing of one piece, as the callback route asks for it.
    CSectionSink sliced;
    EXPECT_EQ(kWithSections, Feed(sliced, SchemaType_Default, false, 1 << 20, 3));
}

TEST(ContentSink, ReaderOptions)
{
    // Sections stripped: no bounds, the content is plain text.
    CSectionSink stripped;
    std::vector<std::string> events = Feed(stripped, SchemaType_Default, true, 5);
    ASSERT_EQ(13u, events.size());
    EXPECT_EQ("text <z>t2t3", events[9]);

    // Sections kept by a receiver that only keeps text: the markers arrive as text.
    CRecordingSink plain;
    events = Feed(plain, SchemaType_Default, false, 1 << 20);
    ASSERT_EQ(13u, events.size());
    EXPECT_EQ("text <![CDATA[<z>]]>t2t3", events[9]);

    // No namespaces: names stay whole and declarations are attributes.
    CRecordingSink whole;
    events = Feed(whole, SchemaType_NoNamespaces, true, 1 << 20);
    const std::vector<std::string> kHead = {"start {}r", "attr {}xmlns=urn:a", "attr {}xmlns:p=urn:p",
                                            "attr {}p:x=1", "attr {}y=<2", "text t1", "start {}p:c"};
    ASSERT_GE(events.size(), kHead.size());
    EXPECT_EQ(kHead, std::vector<std::string>(events.begin(), events.begin() + kHead.size()));
}

TEST(ContentSink, ReceiverFailureStopsTheParseAndIsRaisedAsItWas)
{
    CRecordingSink sink;
    sink.m_strFailOn = "c";
    EXPECT_KR_THROW(Feed(sink, SchemaType_Default, true, 3), CKrValidationException, "refused c\nPath: /here");
    EXPECT_EQ("text t1", sink.m_events.back());
}

TEST(ContentSink, ParseErrorInALaterPiece)
{
    CRecordingSink sink;
    CExpatReader reader(sink, SchemaType_Default, true);
    reader.Init();
    const char kFirst[] = "<a>\n<b>";
    const char kSecond[] = "</a>";
    reader.Parse(reinterpret_cast<const unsigned char*>(kFirst), sizeof(kFirst) - 1, false);
    EXPECT_KR_THROW(reader.Parse(reinterpret_cast<const unsigned char*>(kSecond), sizeof(kSecond) - 1, true),
                    CKrException, "mismatched tag at line 2");
    EXPECT_EQ((std::vector<std::string>{"start {}a", "text \n", "start {}b"}), sink.m_events);
}

TEST(ContentSink, DocumentSendsItsInputToAnotherReceiver)
{
    CSerializationContext ctx;
    ctx.SetStripCDATA(false);
    CXmlDocument doc(ctx);
    CSectionSink sink;
    doc.SetContentSink(&sink);
    doc.LoadXml(kDoc);
    EXPECT_EQ(kWithSections, sink.m_events);
    EXPECT_EQ(nullptr, doc.GetDocumentElement());

    // Back to the tree: the markers of a kept section stay in the text.
    doc.SetContentSink(nullptr);
    doc.LoadXml(kDoc);
    ASSERT_NE(nullptr, doc.GetDocumentElement());
    EXPECT_EQ("t1<![CDATA[<z>]]>t2t3", doc.GetDocumentElement()->GetText());
}

// The public builder fed by a document: the tree of the element's own reading road, and with
// indentation dropped, the blank text of elements with children gone while text of leaves,
// and text that isn't blank, stays.
TEST(ContentSink, ElementBuilderGivesTheTreeOfTheReadingRoad)
{
    const char kIndented[] = "<r xmlns=\"urn:a\">\n  <c> </c>\n  <d>\n    <e/>\n  </d>\n  <f>\n  x <g/>\n  </f>\n</r>";
    CSmartPtr<CElement> spRoad(new CElement(""));
    spRoad->FromXml(kIndented, CSerializationContext::GetDefaultContext());
    struct Row
    {
        bool bDrop;
        std::vector<std::string> texts;  // of r, c, d, e, f, g in document order
    } rows[] = {
        {false, {"\n  \n  \n  \n", " ", "\n    \n  ", "", "\n  x \n  ", ""}},
        {true, {"", " ", "", "", "\n  x \n  ", ""}},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.bDrop ? "dropped" : "kept");
        CSmartPtr<CElement> spRoot(new CElement(""));
        CElementBuilder builder(*spRoot);
        builder.SetDropIndentation(row.bDrop);
        EXPECT_FALSE(builder.RootSeen());
        CXmlDocument doc;
        doc.SetContentSink(&builder);
        doc.LoadXml(kIndented);
        EXPECT_TRUE(builder.RootSeen());
        EXPECT_EQ(nullptr, doc.GetDocumentElement());
        std::vector<std::string> texts;
        std::vector<CElement*> work{spRoot};
        while (!work.empty())
        {
            CElement* p = work.front();
            work.erase(work.begin());
            texts.push_back(p->GetText());
            std::vector<CElement*> children;
            for (CElement* c : *p->GetChildElements())
                children.push_back(c);
            work.insert(work.begin(), children.begin(), children.end());
        }
        EXPECT_EQ(row.texts, texts);
        if (!row.bDrop)
        {
            EXPECT_EQ(spRoad->ToXml(false, false, EOLType_LF, CSerializationContext()),
                      spRoot->ToXml(false, false, EOLType_LF, CSerializationContext()));
        }
    }
}

} // namespace
