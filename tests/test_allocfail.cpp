// Allocation failure: each scenario runs again and again with its N-th allocation failing, for
// N = 1, 2, 3, ... until a run completes without reaching N. Every injected failure must come
// out as std::bad_alloc or CKrException, leave no allocation behind, and leave the objects in
// use able to do the whole job again with the exact expected result.
//
// This program replaces the global operator new and delete, and routes Expat's allocations
// through the same counter.
#include "testsupport.h"

#include <cstdlib>
#include <memory>
#include <new>

#include "allocationhooks.h"
#include "krxmllib.h"

using namespace KrXmlLib16;

// ---- the counting allocator ----

namespace {

struct AllocationState
{
    bool bArmed = false;
    uint64_t nCount = 0;   // allocations while armed
    uint64_t nFailAt = 0;  // the one to fail
    bool bInjected = false;
    int64_t nLive = 0;     // blocks handed out and not yet freed
} g_alloc;

bool InjectFailure()
{
    if (!g_alloc.bArmed || ++g_alloc.nCount != g_alloc.nFailAt)
        return false;
    g_alloc.bInjected = true;
    return true;
}

void* Allocate(size_t n, size_t nAlign, bool bThrow)
{
    void* p = nullptr;
    if (!InjectFailure())
    {
        if (nAlign <= alignof(std::max_align_t))
            p = std::malloc(n ? n : 1);
        else if (posix_memalign(&p, nAlign, n ? n : 1) != 0)
            p = nullptr;
    }
    if (!p)
    {
        if (bThrow)
            throw std::bad_alloc();
        return nullptr;
    }
    ++g_alloc.nLive;
    return p;
}

void Release(void* p) noexcept
{
    if (p)
    {
        --g_alloc.nLive;
        std::free(p);
    }
}

void* ExpatMalloc(size_t n)
{
    return Allocate(n, 0, false);
}

void* ExpatRealloc(void* p, size_t n)
{
    if (!p)
        return ExpatMalloc(n);
    if (InjectFailure())
        return nullptr;
    return std::realloc(p, n ? n : 1);
}

void ExpatFree(void* p)
{
    Release(p);
}

} // namespace

void* operator new(size_t n) { return Allocate(n, 0, true); }
void* operator new[](size_t n) { return Allocate(n, 0, true); }
void* operator new(size_t n, const std::nothrow_t&) noexcept { return Allocate(n, 0, false); }
void* operator new[](size_t n, const std::nothrow_t&) noexcept { return Allocate(n, 0, false); }
void* operator new(size_t n, std::align_val_t a) { return Allocate(n, static_cast<size_t>(a), true); }
void* operator new[](size_t n, std::align_val_t a) { return Allocate(n, static_cast<size_t>(a), true); }
void* operator new(size_t n, std::align_val_t a, const std::nothrow_t&) noexcept
{
    return Allocate(n, static_cast<size_t>(a), false);
}
void* operator new[](size_t n, std::align_val_t a, const std::nothrow_t&) noexcept
{
    return Allocate(n, static_cast<size_t>(a), false);
}
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, size_t) noexcept { Release(p); }
void operator delete[](void* p, size_t) noexcept { Release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { Release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { Release(p); }
void operator delete(void* p, std::align_val_t) noexcept { Release(p); }
void operator delete[](void* p, std::align_val_t) noexcept { Release(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { Release(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { Release(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { Release(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { Release(p); }

namespace {

const Internal::ExpatAllocator kExpatAllocator = {&ExpatMalloc, &ExpatRealloc, &ExpatFree};

// ---- the driver ----

// The objects of one scenario; Run does the whole job and returns what it produced.
class IScenario
{
public:
    virtual ~IScenario() = default;
    virtual std::string Run() = 0;
};

struct RunReport
{
    uint64_t nRuns = 0;
    uint64_t nBadAlloc = 0;
    uint64_t nKrException = 0;
    uint64_t nAbsorbed = 0;  // failures the library recovered from itself
    std::string strKrMessage;  // the first CKrException's message, for the record
};

enum Outcome
{
    Outcome_Completed,
    Outcome_BadAlloc,
    Outcome_KrException,
    Outcome_Other
};

// Runs one armed pass of the scenario's job; strOut receives the result or the failure.
Outcome ArmedRun(IScenario& s, uint64_t nFailAt, std::string& strOut)
{
    g_alloc.nCount = 0;
    g_alloc.nFailAt = nFailAt;
    g_alloc.bInjected = false;
    g_alloc.bArmed = true;
    Outcome e = Outcome_Other;
    try
    {
        strOut = s.Run();
        e = Outcome_Completed;
    }
    catch (const std::bad_alloc&)
    {
        e = Outcome_BadAlloc;
    }
    catch (const CKrException& ex)
    {
        g_alloc.bArmed = false;
        strOut = ex.GetFullMessage();
        e = Outcome_KrException;
    }
    catch (...)
    {
        e = Outcome_Other;
    }
    g_alloc.bArmed = false;
    return e;
}

// Where two results part, briefly.
std::string Difference(const std::string& strExpected, const std::string& strActual)
{
    size_t i = 0;
    while (i < strExpected.size() && i < strActual.size() && strExpected[i] == strActual[i])
        ++i;
    size_t nFrom = i > 40 ? i - 40 : 0;
    return "at byte " + std::to_string(i) + ": expected ..." + strExpected.substr(nFrom, 80) + "... got ..." +
           strActual.substr(nFrom, 80) + "...";
}

template <typename Make>
RunReport FailEachAllocation(Make make)
{
    Internal::SetExpatAllocator(&kExpatAllocator);
    RunReport report;
    // A clean run gives the expected result and makes whatever is built once per process.
    std::string strExpected = make()->Run();
    EXPECT_FALSE(strExpected.empty());
    for (uint64_t nFailAt = 1; nFailAt < 1000000; ++nFailAt)
    {
        // The results are copied into room made beforehand, so that only the scenario's own
        // allocations are counted between the two readings.
        std::string strOut, strAgain;
        strOut.reserve(strExpected.size() + 4096);
        strAgain.reserve(strExpected.size() + 4096);
        Outcome e = Outcome_Other;
        bool bInjected = false;
        int64_t nLeaked = 0;
        // A block still held after the first pass may be something made once per process on
        // the failure's path; a second pass tells it from a leak.
        for (int iPass = 0; iPass < 2; ++iPass)
        {
            int64_t nLiveBefore = g_alloc.nLive;
            {
                std::unique_ptr<IScenario> s = make();
                std::string strResult;
                e = ArmedRun(*s, nFailAt, strResult);
                bInjected = g_alloc.bInjected;
                strOut.assign(strResult, 0, strOut.capacity());
                if (bInjected)
                {
                    strResult = s->Run();  // the same objects, after the failure
                    strAgain.assign(strResult, 0, strAgain.capacity());
                }
            }
            nLeaked = g_alloc.nLive - nLiveBefore;
            if (nLeaked == 0)
                break;
        }
        ++report.nRuns;
        if (!bInjected)
        {
            EXPECT_EQ(Outcome_Completed, e) << strOut;
            EXPECT_TRUE(strExpected == strOut) << Difference(strExpected, strOut);
            EXPECT_EQ(0, nLeaked);
            break;
        }
        report.nBadAlloc += e == Outcome_BadAlloc;
        report.nKrException += e == Outcome_KrException;
        if (e == Outcome_KrException && report.strKrMessage.empty())
            report.strKrMessage = strOut;
        report.nAbsorbed += e == Outcome_Completed;
        EXPECT_NE(Outcome_Other, e) << "allocation " << nFailAt;
        if (e == Outcome_Completed)
        {
            EXPECT_TRUE(strExpected == strOut) << "allocation " << nFailAt << " failed unseen; "
                                               << Difference(strExpected, strOut);
        }
        EXPECT_TRUE(strExpected == strAgain) << "after allocation " << nFailAt << " failed (" << strOut << "): "
                                             << Difference(strExpected, strAgain);
        EXPECT_EQ(0, nLeaked) << "after allocation " << nFailAt << " failed: " << strOut;
        if (testing::Test::HasFailure())
            break;
    }
    Internal::SetExpatAllocator(nullptr);
    EXPECT_GT(report.nRuns, 1u);
    return report;
}

void Print(const char* lpName, const RunReport& r)
{
    std::printf("  %-28s %6llu allocations failed: %llu bad_alloc, %llu CKrException, %llu absorbed\n", lpName,
                static_cast<unsigned long long>(r.nRuns - 1), static_cast<unsigned long long>(r.nBadAlloc),
                static_cast<unsigned long long>(r.nKrException), static_cast<unsigned long long>(r.nAbsorbed));
    if (!r.strKrMessage.empty())
        std::printf("    as CKrException: %s\n", r.strKrMessage.c_str());
}

// ---- the scenarios ----

const char kDocument[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<po:order xmlns:po=\"urn:po\" xmlns=\"urn:d\" id=\"7\" xml:lang=\"en\">\n"
    "  <!-- dropped -->\n"
    "  <item sku=\"A-1\" po:gift=\"true\"><name>Bolt &amp; nut</name><qty>3</qty></item>\n"
    "  <item sku=\"B-2\"><name>Caf\xC3\xA9 cr\xC3\xA8me</name><qty>12</qty><note><![CDATA[<raw>]]></note></item>\n"
    "  <po:total currency=\"EUR\">123.45</po:total>\n"
    "  <empty/>\n"
    "</po:order>\n";

// Every element's path, text and attributes, in document order.
std::string DescribeTree(const CXmlElement* pRoot)
{
    std::string strOut;
    std::vector<const CXmlElement*> work{pRoot};
    while (!work.empty())
    {
        const CXmlElement* p = work.back();
        work.pop_back();
        strOut += p->GetXPath() + " {" + p->GetNamespaceURI() + "} '" + p->GetText() + "'";
        for (const CXmlAttribute* a : p->GetAttributes())
            strOut += " " + a->GetXPath() + "=" + a->GetValue();
        strOut += "\n";
        std::vector<const CXmlElement*> children;
        for (const CXmlElement* c = p->GetFirstElement(); c; c = c->GetNextSiblingElement())
            children.push_back(c);
        work.insert(work.end(), children.rbegin(), children.rend());
    }
    return strOut;
}

class CTreeScenario : public IScenario
{
public:
    explicit CTreeScenario(bool bUtf16) : m_bUtf16(bUtf16) {}
    std::string Run() override
    {
        if (m_bUtf16)
        {
            // The same document as UTF-16 bytes with a byte order mark.
            std::string strText = kDocument;
            strText.replace(strText.find("UTF-8"), 5, "UTF-16");
            std::string strBytes = "\xFF\xFE";
            CBinaryData utf16 = LocalToUtf16(strText.c_str());
            strBytes.append(reinterpret_cast<const char*>(utf16.GetData()), utf16.GetLength());
            m_doc.LoadXmlStream(reinterpret_cast<unsigned char*>(&strBytes[0]), static_cast<uint32_t>(strBytes.size()));
        }
        else
            m_doc.LoadXml(kDocument);
        return DescribeTree(m_doc.GetDocumentElement());
    }

private:
    bool m_bUtf16;
    CXmlDocument m_doc;
};

// The same document as Fast Infoset, written before the run, read into the tree and into
// untyped content.
class CFastInfosetScenario : public IScenario
{
public:
    CFastInfosetScenario() : m_spElement(new CElement(""))
    {
        CSmartPtr<CElement> spSource(new CElement(""));
        spSource->FromXml(kDocument, CSerializationContext::GetDefaultContext());
        m_bytes = spSource->ToFastInfosetStream(FInfoDecl_Version10, CSerializationContext::GetDefaultContext(),
                                                CompressionType_None);
    }
    std::string Run() override
    {
        m_doc.LoadXmlStream(m_bytes.GetData(), m_bytes.GetLength());
        std::string strOut = DescribeTree(m_doc.GetDocumentElement());
        // Reading adds to what an element holds: start from an empty one.
        m_spElement->GetAttributes()->Clear();
        m_spElement->GetChildElements()->Clear();
        m_spElement->SetText("");
        m_spElement->FromXmlStream(m_bytes, CSerializationContext::GetDefaultContext());
        return strOut + m_spElement->ToXml(false, false, EOLType_LF, CSerializationContext::GetDefaultContext());
    }

private:
    CXmlDocument m_doc;
    CSmartPtr<CElement> m_spElement;
    CBinaryData m_bytes;
};

class CUntypedScenario : public IScenario
{
public:
    CUntypedScenario() : m_spElement(new CElement("")) {}
    std::string Run() override
    {
        CSerializationContext ctx;
        // Reading adds to what an element holds: start from an empty one, whatever a failed
        // run left in it.
        m_spElement->GetAttributes()->Clear();
        m_spElement->GetChildElements()->Clear();
        m_spElement->SetText("");
        m_spElement->FromXml(kDocument, ctx);
        std::string strOut = m_spElement->ToXml(true, true, EOLType_LF, ctx);
        CBinaryData bytes = m_spElement->ToXmlStream(false, false, XmlEncoding_UTF16, EOLType_CRLF, ctx,
                                                     CompressionType_None);
        strOut += bytes.GetAsHexString();
        // A copy of the whole tree, written again.
        CSmartPtr<CElement> spCopy(new CElement(*m_spElement));
        return strOut + spCopy->ToXml(false, false, EOLType_LF, ctx);
    }

private:
    CSmartPtr<CElement> m_spElement;
};

// JSON read into untyped content through its XML text, with enough distinct members for the
// writer's name index, and a syntax failure that reports its path.
class CJsonScenario : public IScenario
{
public:
    CJsonScenario() : m_spElement(new CElement("")) {}
    std::string Run() override
    {
        std::string strJson = "{\"p:r\": {\"@xmlns:p\": \"urn:p\", \"@a\": \"1 \\u00e9\", /* c */ \"x\": [1, "
                              "{\"@n\": true, \"#text\": \"t\\n\"}, null], \"f\": [], \"e\": {}";
        for (int i = 0; i < 20; ++i)
            strJson += ", \"m" + std::to_string(i) + "\": -1.5e3";
        strJson += "}}";
        CSerializationContext ctx;
        m_spElement->GetAttributes()->Clear();
        m_spElement->GetChildElements()->Clear();
        m_spElement->SetText("");
        m_spElement->FromJson(strJson.c_str(), ctx);
        std::string strOut = m_spElement->ToXml(false, false, EOLType_LF, ctx);
        try
        {
            m_spElement->FromJson("{\"a\": {\"b\": [{\"c\": tru}]}}", ctx);
        }
        catch (const CKrValidationException& e)
        {
            strOut += e.GetFullMessage();
        }
        return strOut;
    }

private:
    CSmartPtr<CElement> m_spElement;
};

// The writer's calls directly: namespaces declared on the way, attributes, comments, a
// refused character and going on after it.
class CWriterScenario : public IScenario
{
public:
    std::string Run() override
    {
        CTextStream stream(XmlEncoding_UTF8);
        CXmlTextWriter writer(&stream);
        writer.StartDocument();
        writer.WriteXmlDeclaration();
        writer.AddNamespaceAlias("p", "urn:p");
        writer.SetDefaultNamespace("urn:d");
        writer.StartElement("root", "urn:d");
        writer.WriteAttribute("id", "", "1", ItemType_i4);
        for (int i = 0; i < 3; ++i)
        {
            writer.StartElement("item", "urn:d");
            writer.AddNamespaceAlias("q", "urn:q");
            writer.WriteAttribute("a", "urn:x", "v<" + std::to_string(i), ItemType_string);
            writer.WriteComment("c & d");
            writer.StartElement("deep", "urn:other-namespace-with-a-long-name-beyond-small-strings");
            writer.WriteElementText("t\n" + std::string(40, 'x'), ItemType_string, false);
            writer.EndElement();
            writer.EndElement();
        }
        std::string strRefused;
        writer.StartElement("bad", "urn:p");
        try
        {
            writer.WriteElementText("\x01", ItemType_string, false);
        }
        catch (const std::bad_alloc&)
        {
            throw;
        }
        catch (const CKrException& e)
        {
            strRefused = e.GetMessage();
        }
        writer.EndElement();
        writer.EndElement();
        writer.EndDocument();
        return stream.GetText() + strRefused;
    }
};

class CValueScenario : public IScenario
{
public:
    std::string Run() override
    {
        std::string strOut;
        m_decimal = CDecimal("-12345678901234567890.123456789");
        m_decimal = m_decimal * CDecimal("3.5") / CDecimal("7");
        strOut += m_decimal.ToString() + " " + m_decimal.ToString(4) + "\n";
        m_integer = CBigInteger("123456789012345678901234567890");
        m_integer = m_integer * m_integer - CBigInteger("-98765432109876543210");
        strOut += m_integer.ToString() + "\n";
        m_dateTime = CDateTime("2024-02-29T23:59:59.123+05:30");
        strOut += m_dateTime.ToString() + "\n";
        m_binary.SetAsBase64("SGVsbG8sIHdvcmxkISBBIGxvbmdlciBzdHJpbmcgdGhhbiBhIGZldyBieXRlcy4=");
        strOut += m_binary.GetAsHexString() + " ";
        m_binary.SetAsHexString("00FF10EE");
        strOut += m_binary.GetAsBase64() + "\n";
        static const struct
        {
            ItemType e;
            const char* lpText;
        } kValues[] = {
            {ItemType_hexBinary, "CAFEBABE"},
            {ItemType_base64Binary, "QUJDREVGR0g="},
            {ItemType_i8, "-9223372036854775808"},
            {ItemType_ui8, "18446744073709551615"},
            {ItemType_r8, "-1.5E300"},
            {ItemType_r4, "3.25"},
            {ItemType_duration, "-P1Y2M3DT4H5M6.789S"},
            {ItemType_yearMonth, "2024-02Z"},
            {ItemType_monthDay, "--12-31"},
            {ItemType_date, "1999-12-31-10:00"},
            {ItemType_datetime, "2000-01-01T00:00:00Z"},
            {ItemType_time, "13:14:15.5"},
            {ItemType_string, "a string well beyond the short-string buffer of the library"},
            {ItemType_boolean, "1"},
            {ItemType_decimal, "-0.000000000000000000000000000001"},
            {ItemType_integer, "-340282366920938463463374607431768211456"},
        };
        for (const auto& v : kValues)
        {
            m_variant.FromString(v.lpText, v.e, CWhitespaceUtils::WhitespaceRule_Collapse);
            strOut += m_variant.GetType() + "=" + m_variant.ToString(nullptr) + "\n";
        }
        return strOut;
    }

private:
    CDecimal m_decimal;
    CBigInteger m_integer;
    CDateTime m_dateTime;
    CBinaryData m_binary;
    KrVariant m_variant;
};

TEST(AllocationFailure, TreeFromText)
{
    Print("tree from text", FailEachAllocation([] { return std::make_unique<CTreeScenario>(false); }));
}

TEST(AllocationFailure, TreeFromUtf16Bytes)
{
    Print("tree from UTF-16 bytes", FailEachAllocation([] { return std::make_unique<CTreeScenario>(true); }));
}

TEST(AllocationFailure, TreeFromFastInfoset)
{
    Print("tree from Fast Infoset", FailEachAllocation([] { return std::make_unique<CFastInfosetScenario>(); }));
}

TEST(AllocationFailure, UntypedContentReadCopiedAndWritten)
{
    Print("untyped content", FailEachAllocation([] { return std::make_unique<CUntypedScenario>(); }));
}

TEST(AllocationFailure, JsonReadIntoUntypedContent)
{
    Print("JSON into untyped content", FailEachAllocation([] { return std::make_unique<CJsonScenario>(); }));
}

TEST(AllocationFailure, WriterCalls)
{
    Print("writer calls", FailEachAllocation([] { return std::make_unique<CWriterScenario>(); }));
}

TEST(AllocationFailure, ValueTypesParsedComputedAndPrinted)
{
    Print("value types", FailEachAllocation([] { return std::make_unique<CValueScenario>(); }));
}

} // namespace
