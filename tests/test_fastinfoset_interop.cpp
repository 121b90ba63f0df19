// Fast Infoset written by the library, read by an independent implementation of X.891 (the
// fi-convert tool beside the project): every document must be accepted and give the same XML
// as the library's own text output. Skipped where the tool or Java is not installed.
#include "fiinterop.h"
#include "testsupport.h"

#include "engineclasses.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

// The document as Fast Infoset, decoded by the other implementation, equals strXml as a tree.
void ExpectReadAlike(const std::string& strName, const CBinaryData& fi, const std::string& strXml)
{
    SCOPED_TRACE(strName);
    std::string strFi = TempPath(strName + ".finf"), strOurs = TempPath(strName + ".xml"),
                strTheirs = TempPath(strName + ".java.xml");
    WriteFileBytes(strFi, std::string(reinterpret_cast<const char*>(fi.GetData()), fi.GetLength()));
    WriteFileBytes(strOurs, strXml);
    std::string strOut;
    ASSERT_EQ(0, RunInteropTool("fi2xml '" + strFi + "' '" + strTheirs + "'", strOut)) << strOut;
    EXPECT_EQ(0, RunInteropTool("same '" + strTheirs + "' '" + strOurs + "'", strOut)) << strOut;
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
    const std::pair<std::string, CSmartPtr<CXmlObjectBase>> objects[] = {
        {"seq", Read<CSeqDoc>(SeqDoc()).p},
        {"all", Read<CAllDoc>(AllDoc()).p},
        {"group", Read<CGroupDoc>(GroupDoc()).p},
        {"typed", Read<CTypedCols>(TypedColsDoc()).p},
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
    ExpectReadAlike("typed-suggested", *Read<CTypedCols>(TypedColsDoc()), ctx);
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
