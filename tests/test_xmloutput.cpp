#include "testsupport.h"

#include <cstdio>
#include <sys/stat.h>

#include "krxmllib.h"
#include "orderobject.h"

using namespace KrXmlLib16;
using KrXmlTest::COrder;
using KrXmlTest::ReadFileBytes;
using KrXmlTest::TempPath;

namespace {

const CSerializationContext& Ctx()
{
    return CSerializationContext::GetDefaultContext();
}

std::string Bytes(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

bool FileExists(const std::string& strPath)
{
    struct stat st;
    return stat(strPath.c_str(), &st) == 0;
}

struct AsyncGuard
{
    explicit AsyncGuard(bool b) { AsyncToXmlFile(b); }
    ~AsyncGuard() { AsyncToXmlFile(false); }
};

COrder SmallOrder()
{
    COrder order;
    order.m_strId = "7";
    order.m_strStatus = "ok";
    order.m_strLang = "en";
    order.m_strCustomerName = "Ann";
    order.m_strCustomerCity = "Bonn";
    order.m_items.push_back({"S1", "2", "a&b", "n"});
    return order;
}

const char kSmallOrderXml[] = "<?xml version=\"1.0\"?>\n"
                              "<AA:order xmlns:AA=\"urn:example:order\" id=\"7\" status=\"ok\" xml:lang=\"en\">\n"
                              "\t<AA:customer>\n"
                              "\t\t<AA:name>Ann</AA:name>\n"
                              "\t\t<AA:city>Bonn</AA:city>\n"
                              "\t</AA:customer>\n"
                              "\t<AA:item sku=\"S1\">\n"
                              "\t\t<AA:quantity>2</AA:quantity>\n"
                              "\t\t<AA:description>a&amp;b</AA:description>\n"
                              "\t\t<AB:note xmlns:AB=\"urn:example:notes\">n</AB:note>\n"
                              "\t</AA:item>\n"
                              "</AA:order>\n";

// ---- what is written ----

TEST(ToXml, SmallOrderByteForByte)
{
    EXPECT_EQ(kSmallOrderXml, SmallOrder().ToXml(true, true, EOLType_LF, Ctx()));
}

TEST(ToXml, ContextOptionsShapeTheRoot)
{
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(KrXmlTest::kOrderNs);
    ctx.GetNamespaceAliases().Add("n", KrXmlTest::kNotesNs);
    ctx.GetProcessingInstructions().push_back("<?xml-stylesheet href=\"s.xsl\"?>");
    ctx.SetIndentChars("  ");
    COrder order = SmallOrder();
    order.m_strLang.clear();
    EXPECT_EQ("<?xml-stylesheet href=\"s.xsl\"?>\r\n\r\n"
              "<order xmlns=\"urn:example:order\" xmlns:n=\"urn:example:notes\" id=\"7\" status=\"ok\">\r\n"
              "  <customer>\r\n"
              "    <name>Ann</name>\r\n"
              "    <city>Bonn</city>\r\n"
              "  </customer>\r\n"
              "  <item sku=\"S1\">\r\n"
              "    <quantity>2</quantity>\r\n"
              "    <description>a&amp;b</description>\r\n"
              "    <n:note>n</n:note>\r\n"
              "  </item>\r\n"
              "</order>\r\n",
              order.ToXml(false, true, EOLType_CRLF, ctx));

    ctx.SetInLineSchema("<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"/>");
    order.m_items.clear();
    EXPECT_EQ("<?xml-stylesheet href=\"s.xsl\"?>\n\n"
              "<order xmlns=\"urn:example:order\" xmlns:n=\"urn:example:notes\" id=\"7\" status=\"ok\" \n"
              "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"/>\n"
              "><customer><name>Ann</name><city>Bonn</city></customer></order>",
              order.ToXml(false, false, EOLType_LF, ctx));
}

TEST(ToXmlStream, Utf8AndUtf16BytesWithoutByteOrderMark)
{
    COrder order = SmallOrder();
    std::string strUtf8 = Bytes(order.ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_None));
    std::string strExpected = kSmallOrderXml;
    strExpected.replace(0, 21, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
    EXPECT_EQ(strExpected, strUtf8);

    std::string strUtf16 =
        Bytes(order.ToXmlStream(true, false, XmlEncoding_UTF16, EOLType_LF, Ctx(), CompressionType_None));
    std::string strText = order.ToXml(false, false, EOLType_LF, Ctx());
    EXPECT_EQ(Bytes(LocalToUtf16(("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n" + strText).c_str())), strUtf16);
    EXPECT_EQ('<', strUtf16[0]);

    std::string strNoDecl =
        Bytes(order.ToXmlStream(true, false, XmlEncoding_UTF16NoDecl, EOLType_LF, Ctx(), CompressionType_None));
    EXPECT_EQ(Bytes(LocalToUtf16(("<?xml version=\"1.0\"?>\n" + strText).c_str())), strNoDecl);
}

TEST(ToXmlFile, BothRoutesWriteTheStreamBytesWithAByteOrderMarkForUtf16)
{
    COrder order;
    COrder::FillSample(order, 3000);  // several blocks of the file stream
    std::string strPlain = TempPath("large-plain.xml"), strAsync = TempPath("large-async.xml");
    for (XmlEncoding e : {XmlEncoding_UTF8, XmlEncoding_UTF16, XmlEncoding_UTF16NoDecl})
    {
        order.ToXmlFile(strPlain.c_str(), true, true, e, EOLType_CRLF, Ctx(), CompressionType_None);
        {
            AsyncGuard guard(true);
            order.ToXmlFile(strAsync.c_str(), true, true, e, EOLType_CRLF, Ctx(), CompressionType_None);
        }
        std::string strA = ReadFileBytes(strPlain), strB = ReadFileBytes(strAsync);
        EXPECT_GT(strA.size(), 4 * CFileTextStream::kBlockSize);
        EXPECT_TRUE(strA == strB) << "encoding " << e;
        const std::string strBom = e == XmlEncoding_UTF8 ? "" : "\xFF\xFE";
        EXPECT_TRUE(strBom + Bytes(order.ToXmlStream(true, true, e, EOLType_CRLF, Ctx(), CompressionType_None)) == strA)
            << "encoding " << e;
    }
}

// ---- round trips: what is written reads back to an equal object ----

TEST(RoundTrip, EveryRoadGivesAnEqualObject)
{
    COrder original;
    COrder::FillSample(original, 40);
    for (bool bFormatted : {true, false})
        for (EOLType eol : {EOLType_LF, EOLType_CRLF})
        {
            SCOPED_TRACE(testing::Message() << "formatted " << bFormatted << " eol " << eol);
            COrder fromText;
            fromText.FromXml(original.ToXml(true, bFormatted, eol, Ctx()).c_str(), Ctx());
            EXPECT_TRUE(original == fromText);

            for (XmlEncoding e : {XmlEncoding_UTF8, XmlEncoding_UTF16, XmlEncoding_UTF16NoDecl})
            {
                SCOPED_TRACE(testing::Message() << "encoding " << e);
                for (bool bHeader : {true, false})
                {
                    if (!bHeader && e == XmlEncoding_UTF16)
                        continue;  // UTF-16 without declaration is what NoDecl is for
                    COrder fromBytes;
                    fromBytes.FromXmlStream(
                        original.ToXmlStream(bHeader, bFormatted, e, eol, Ctx(), CompressionType_None), Ctx());
                    EXPECT_TRUE(original == fromBytes);
                }
                for (bool bAsync : {false, true})
                {
                    AsyncGuard guard(bAsync);
                    std::string strPath = TempPath("roundtrip.xml");
                    original.ToXmlFile(strPath.c_str(), true, bFormatted, e, eol, Ctx(), CompressionType_None);
                    COrder fromFile;
                    fromFile.FromXmlFile(strPath.c_str(), Ctx());
                    EXPECT_TRUE(original == fromFile) << "async " << bAsync;
                }
            }
        }
}

TEST(RoundTrip, LegacyLocalCodePage)
{
    struct Restore
    {
        ~Restore() { SetLocalCharEncoding(0); }
    } restore;
    SetLocalCharEncoding(1252);
    COrder original = SmallOrder();
    original.m_strCustomerName = "Caf\xE9 \x80";  // e-acute and the euro sign in CP1252
    std::string strUtf8 = Bytes(original.ToXmlStream(false, false, XmlEncoding_UTF8, EOLType_LF, Ctx(),
                                                     CompressionType_None));
    EXPECT_NE(std::string::npos, strUtf8.find("Caf\xC3\xA9 \xE2\x82\xAC"));
    for (XmlEncoding e : {XmlEncoding_UTF8, XmlEncoding_UTF16})
    {
        COrder back;
        back.FromXmlStream(original.ToXmlStream(true, true, e, EOLType_LF, Ctx(), CompressionType_None), Ctx());
        EXPECT_TRUE(original == back);
    }
}

// ---- faults ----

TEST(WriteFaults, InvalidEolTypeOnEveryRoad)
{
    COrder order = SmallOrder();
    EOLType bad = static_cast<EOLType>(5);
    EXPECT_KR_THROW(order.ToXml(true, true, bad, Ctx()), CKrException, "Invalid EOL type.");
    EXPECT_KR_THROW(order.ToXmlStream(true, true, XmlEncoding_UTF8, bad, Ctx(), CompressionType_None), CKrException,
                    "Invalid EOL type.");
    std::string strPath = TempPath("bad-eol.xml");
    EXPECT_KR_THROW(order.ToXmlFile(strPath.c_str(), true, true, XmlEncoding_UTF8, bad, Ctx(), CompressionType_None),
                    CKrException, "Invalid EOL type.");
    EXPECT_FALSE(FileExists(strPath));
}

TEST(WriteFaults, EncodingNoneIsForStringsOnly)
{
    COrder order = SmallOrder();
    CBinaryData result("untouched");
    EXPECT_KR_THROW(result = order.ToXmlStream(true, true, XmlEncoding_None, EOLType_LF, Ctx(), CompressionType_None),
                    CKrException, "Unknown Encoding, select UTF-8 (contact our support team)");
    EXPECT_EQ("untouched", Bytes(result));

    std::string strPath = TempPath("none-plain.xml");
    EXPECT_KR_THROW(
        order.ToXmlFile(strPath.c_str(), true, true, XmlEncoding_None, EOLType_LF, Ctx(), CompressionType_None),
        CKrException, "Unknown Encoding, select UTF-8 (contact our support team)");
    EXPECT_FALSE(FileExists(strPath));

    AsyncGuard guard(true);
    strPath = TempPath("none-async.xml");
    EXPECT_KR_THROW(
        order.ToXmlFile(strPath.c_str(), true, true, XmlEncoding_None, EOLType_LF, Ctx(), CompressionType_None),
        CKrException, "Unknown Encoding, select UTF-8 (contact our support team)");
    EXPECT_EQ("", ReadFileBytes(strPath));  // created by the stream, then refused
}

TEST(WriteFaults, ZlibFilesAreRefusedAndGzipFilesNeverStream)
{
    COrder order = SmallOrder();
    const std::string strPath = TempPath("zlib.xml");
    // Compressed output never takes the streaming route: zlib is refused before a file is
    // begun, gzip is the stream road's bytes in one write.
    for (bool bAsync : {false, true})
    {
        AsyncGuard guard(bAsync);
        EXPECT_KR_THROW(order.ToXmlFile(strPath.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(),
                                        CompressionType_ZLib),
                        CKrException, "ZLIB Compression only available for To Stream methods.");
        EXPECT_FALSE(FileExists(strPath));
        CBinaryData stream = order.ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_GZip);
        order.ToXmlFile(strPath.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_GZip);
        EXPECT_TRUE(Bytes(stream) == ReadFileBytes(strPath));
        std::remove(strPath.c_str());
    }
}

TEST(WriteFaults, FileInAMissingDirectoryOnBothRoutes)
{
    COrder order = SmallOrder();
    std::string strPath = TempPath("no/such/dir/o.xml");
    for (bool bAsync : {false, true})
    {
        AsyncGuard guard(bAsync);
        EXPECT_KR_THROW(
            order.ToXmlFile(strPath.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_None),
            CKrException, "Failed to write data to the file [" + strPath + "] error [0x00000002]");
    }
}

TEST(WriteFaults, FullDiskOnBothRoutes)
{
    COrder small = SmallOrder();
    EXPECT_KR_THROW(
        small.ToXmlFile("/dev/full", true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_None),
        CKrException, "Failed to write data to the file [/dev/full] error [0x0000001C]");
    AsyncGuard guard(true);
    EXPECT_KR_THROW(
        small.ToXmlFile("/dev/full", true, true, XmlEncoding_UTF16, EOLType_LF, Ctx(), CompressionType_None),
        CKrException, "Failed to write data to the file. Error [0x0000001C]");
    COrder large;
    COrder::FillSample(large, 3000);  // fails while the walk is still going on
    EXPECT_KR_THROW(
        large.ToXmlFile("/dev/full", true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_None),
        CKrException, "Failed to write data to the file. Error [0x0000001C]");
}

// An object whose walk breaks the writer's rules.
class CBrokenObject : public CXmlObjectBase
{
public:
    enum Fault
    {
        LeaveOpen,
        AttributeAfterChild,
        DirectiveInside
    };
    explicit CBrokenObject(Fault e) : m_eFault(e) { SetElementName("broken"); }
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }

protected:
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter* pWriter, bool, const char*, const CSerializationContext&, bool) const override
    {
        pWriter->StartElement("broken", "");
        pWriter->StartElement("child", "");
        pWriter->WriteElementText(std::string(10000, 'x'), ItemType_string, false);  // past a flush
        if (m_eFault == DirectiveInside)
            static_cast<CXmlTextWriter*>(pWriter)->WriteHeadedDirective("<!DOCTYPE broken>");
        pWriter->EndElement();
        if (m_eFault == AttributeAfterChild)
            pWriter->WriteAttribute("late", "", "1", ItemType_string);
        if (m_eFault != LeaveOpen)
            pWriter->EndElement();
    }
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement*, const CSerializationContext&, bool) override
    {
        return nullptr;
    }

private:
    Fault m_eFault;
};

TEST(WriteFaults, WalksThatBreakTheWriterRulesFailOnEveryRoad)
{
    const struct
    {
        CBrokenObject::Fault e;
        const char* lpMessage;
    } cases[] = {
        {CBrokenObject::LeaveOpen, "An Element has not been closed."},
        {CBrokenObject::AttributeAfterChild, "Attributes must be added before elements"},
        {CBrokenObject::DirectiveInside, "Headed directives must appear before an Element has been added."},
    };
    for (const auto& c : cases)
    {
        CBrokenObject obj(c.e);
        EXPECT_KR_THROW(obj.ToXml(true, true, EOLType_LF, Ctx()), CKrException, c.lpMessage);
        EXPECT_KR_THROW(obj.ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_None),
                        CKrException, c.lpMessage);
        for (bool bAsync : {false, true})
        {
            AsyncGuard guard(bAsync);
            std::string strPath = TempPath("broken.xml");
            std::remove(strPath.c_str());
            EXPECT_KR_THROW(obj.ToXmlFile(strPath.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(),
                                          CompressionType_None),
                            CKrException, c.lpMessage);
            EXPECT_EQ(bAsync, FileExists(strPath));  // only the streaming route has begun a file
        }
    }
    // Nothing of the failed writes is left alive.
    std::string strState = CInstanceMonitor::DumpState();
    for (const char* lpClass : {"CXmlWriterContext", "CXmlTextWriter", "CTextStream", "CFileTextStream",
                                "CStringBuffer", "CFileBinaryStream"})
        EXPECT_EQ(std::string::npos, strState.find(std::string("--> ") + lpClass)) << strState;
}

} // namespace
