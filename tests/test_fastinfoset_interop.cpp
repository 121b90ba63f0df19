// Fast Infoset written by the library, read by an independent implementation of X.891 (the
// fi-convert tool beside the project): every document must be accepted and give the same XML
// as the library's own text output. Skipped where the tool or Java is not installed.
#include "testsupport.h"

#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

#include "engineclasses.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

const std::string kTool = std::string(KRXML_SHARED_DIR) + "/tools/fi-interop/fi-convert";

// Why the tool can't run here, or empty. Nothing is installed on the tool's behalf.
std::string ToolMissing()
{
    if (access(kTool.c_str(), X_OK) != 0)
        return "the interop tool is not at " + kTool;
    if (std::system("command -v java >/dev/null 2>&1 && command -v javac >/dev/null 2>&1") != 0)
        return "java or javac is not installed";
    if (std::system("ls /usr/share/java/FastInfoset*.jar >/dev/null 2>&1") != 0)
        return "the FastInfoset library for Java (libfastinfoset-java) is not installed";
    return std::string();
}

#define SKIP_WITHOUT_TOOL()                                                                          \
    do                                                                                              \
    {                                                                                               \
        std::string strWhy_ = ToolMissing();                                                        \
        if (!strWhy_.empty())                                                                       \
            GTEST_SKIP() << strWhy_;                                                                \
    } while (0)

// Runs the tool; its exit code, and what it printed in strOut.
int RunTool(const std::string& strArgs, std::string& strOut)
{
    strOut.clear();
    std::FILE* p = popen(("'" + kTool + "' " + strArgs + " 2>&1").c_str(), "r");
    if (!p)
        return -1;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), p)) > 0)
        strOut.append(buf, n);
    int iStatus = pclose(p);
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
}

// The document as Fast Infoset, decoded by the other implementation, equals strXml as a tree.
void ExpectReadAlike(const std::string& strName, const CBinaryData& fi, const std::string& strXml)
{
    SCOPED_TRACE(strName);
    std::string strFi = TempPath(strName + ".finf"), strOurs = TempPath(strName + ".xml"),
                strTheirs = TempPath(strName + ".java.xml");
    WriteFileBytes(strFi, std::string(reinterpret_cast<const char*>(fi.GetData()), fi.GetLength()));
    WriteFileBytes(strOurs, strXml);
    std::string strOut;
    ASSERT_EQ(0, RunTool("fi2xml '" + strFi + "' '" + strTheirs + "'", strOut)) << strOut;
    EXPECT_EQ(0, RunTool("same '" + strTheirs + "' '" + strOurs + "'", strOut)) << strOut;
}

void ExpectReadAlike(const std::string& strName, const CXmlObjectBase& object, const CSerializationContext& ctx)
{
    ExpectReadAlike(strName, object.ToFastInfosetStream(FInfoDecl_None, ctx, CompressionType_None),
                    object.ToXml(true, false, EOLType_LF, ctx));
}

template <typename T>
CSmartPtr<T> Read(const std::string& strXml)
{
    CSmartPtr<T> sp = new T();
    sp->FromXml(strXml.c_str(), CSerializationContext::GetDefaultContext());
    return sp;
}

// Contexts with and without the target namespace as the default one: without it, the root
// and the type attributes take prefixes the writer makes up. Fast Infoset carries element
// values equal to their default, so the text to compare with does too.
std::vector<std::pair<std::string, CSerializationContext>> Contexts(const char* lpNamespace)
{
    CSerializationContext prefixed;
    prefixed.SetWriteDefaultElementValues(true);
    CSerializationContext withDefault(prefixed);
    withDefault.SetDefaultNamespaceURI(lpNamespace);
    return {{"default", withDefault}, {"prefixed", prefixed}};
}

std::string Doc(const std::string& strRoot, const std::string& strAttributes, const std::string& strBody)
{
    return "<" + strRoot +
           " xmlns='urn:kr:test' xmlns:o='urn:kr:other' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'" +
           strAttributes + ">" + strBody + "</" + strRoot + ">";
}

const std::string kTypedCols =
    Doc("typedCols", "",
        "<b64>AQID</b64><hex>0A0B</hex><bool>1</bool><i1>-3</i1><i2>7</i2><i4>999</i4><i8>5</i8><ui1>200</ui1>"
        "<ui2>6</ui2><ui4>7</ui4><ui8>18446744073709551615</ui8><r4>1.25</r4><r8>2.5</r8><dec>123.45</dec>"
        "<int>-99999999999999999999</int><str>abc</str><str>z</str><dur>P1D</dur><year>2024</year>"
        "<month>--05</month><day>---07</day><dt>2024-01-02T03:04:05Z</dt><date>2001-01-01</date>"
        "<time>10:00:00</time><ym>2024-05</ym><md>--05-06</md>");

} // namespace

TEST(FastInfosetInterop, PurchaseOrder)
{
    SKIP_WITHOUT_TOOL();
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spOrder = new PurchaseOrder::CPurchaseOrderType();
    spOrder->FromXmlFile((std::string(KRXML_SOURCE_DIR) + "/examples/data/purchase-order.xml").c_str(),
                         CSerializationContext::GetDefaultContext());
    for (const auto& c : Contexts(PurchaseOrder::kNamespace))
        ExpectReadAlike("po-" + c.first, *spOrder, c.second);
}

TEST(FastInfosetInterop, EngineClasses)
{
    SKIP_WITHOUT_TOOL();
    const std::string kSeq =
        Doc("seqDoc", " ver='3' mode='red' rev='12' o:x='1'",
            "<id>5</id><label xsi:nil='true'/><num>1</num><num>2</num><color>green</color><shade/>"
            "<tone>red</tone><tone>blue</tone><point><x>1</x><y>2</y></point><voucher code='ABC'>12.50</voucher>"
            "<note lang='de'> 12 </note><note/><shape xsi:type='Circle' label='c'><radius>1.5</radius></shape>"
            "<spare xsi:type='Square'><side>2</side></spare><figure xsi:type='Circle'><radius>3</radius></figure>"
            "<figure xsi:type='Square'><side>4</side></figure><o:w a='1'><o:c/>t</o:w><extra><z/></extra>"
            "<o:v/><o:u/>");
    const std::string kAll =
        Doc("allDoc", " kind='blue' via='v'",
            "<more>m1</more><o:w/><cash>3</cash><figure xsi:type='Circle'><radius>3</radius></figure>"
            "<shape xsi:type='Square'><side>4</side></shape><note>n</note><voucher code='XYZ'>1</voucher>"
            "<point xsi:nil='true'/><tone>green</tone><shade xsi:nil='1'/><num>7</num><label>l</label>"
            "<color>blue</color><id>9</id><extra/><more>m2</more>");
    const std::string kGroup = Doc("groupDoc", " zone='z' tag='red' via='v' doc='d'",
                                   "<street>s</street><city>c</city><card>k</card><q>1</q><p>x</p>");
    const std::pair<std::string, CSmartPtr<CXmlObjectBase>> objects[] = {
        {"seq", Read<CSeqDoc>(kSeq).p},
        {"all", Read<CAllDoc>(kAll).p},
        {"group", Read<CGroupDoc>(kGroup).p},
        {"typed", Read<CTypedCols>(kTypedCols).p},
    };
    for (const auto& o : objects)
        for (const auto& c : Contexts(kTestNs))
            ExpectReadAlike(o.first + "-" + c.first, *o.second, c.second);
}

TEST(FastInfosetInterop, TypedValues)
{
    SKIP_WITHOUT_TOOL();
    // The algorithms and alphabets carry every kind here; the largest ui8 has no signed form
    // and stays text.
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(kTestNs);
    ctx.GetFIContext().SetSuggestedValues();
    ctx.GetFIContext().SetEncoding(ItemType_ui8, {0, 0});
    ExpectReadAlike("typed-suggested", *Read<CTypedCols>(kTypedCols), ctx);
}

TEST(FastInfosetInterop, UntypedContentWithMixedNamespaces)
{
    SKIP_WITHOUT_TOOL();
    // Compared with the input itself: an element without namespace under a default one is
    // one the text output can't show as it is.
    const std::string strXml =
        "<r xmlns='urn:d' xmlns:a='urn:a' a:x='1' y='2' xml:lang='en'>"
        "<a:e a:x='3' z=''><f>t</f><g xmlns=''><h xmlns='urn:d'>u</h><a:i/></g></a:e>"
        "<b:k xmlns:b='urn:b' b:y='4'><b:k>v</b:k></b:k><e><f>w</f></e><e/></r>";
    CSmartPtr<CElement> spRoot(new CElement(""));
    spRoot->FromXml(strXml.c_str(), CSerializationContext::GetDefaultContext());
    for (const auto& c : Contexts("urn:d"))
        ExpectReadAlike("untyped-" + c.first, spRoot->ToFastInfosetStream(FInfoDecl_Encoding, c.second,
                                                                          CompressionType_None),
                        strXml);
}
