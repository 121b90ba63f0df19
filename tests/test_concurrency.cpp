// Several threads doing real work with the library at once, each checking its results exactly.
// The ThreadSanitizer build runs these (ctest label "concurrency"); elsewhere they check that
// the shared parts (tables built at first use, the pattern cache, shared binary blocks, the
// instance records, the default context) give every thread the right answers.
//
// The first cases use things no earlier case in the process has touched, so that their first
// use is raced: keep them first, and keep the classes they use out of the later cases.
#include "testsupport.h"

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "krxmllib.h"
#include "pogenerator.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlLib16Data;

namespace {

const int kThreads = 6;

// Lets every thread past only when all have arrived, so that their first steps meet.
class CBarrier
{
public:
    explicit CBarrier(int nThreads) : m_nWaiting(nThreads) {}
    void Wait()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (--m_nWaiting == 0)
            m_cv.notify_all();
        else
            m_cv.wait(lock, [this] { return m_nWaiting == 0; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    int m_nWaiting;
};

// Runs fn(i) on nThreads threads that start together; a failure inside a thread is counted
// (gtest assertions are not meant for other threads) and reported with its first message.
void OnThreads(int nThreads, const std::function<void(int)>& fn)
{
    CBarrier barrier(nThreads);
    std::mutex mutex;
    std::vector<std::string> failures;
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i)
        threads.emplace_back([&, i] {
            barrier.Wait();
            try
            {
                fn(i);
            }
            catch (const CKrException& e)
            {
                std::lock_guard<std::mutex> lock(mutex);
                failures.push_back(FormatString("thread %d: %s", i, e.GetMessage().c_str()));
            }
            catch (const std::exception& e)
            {
                std::lock_guard<std::mutex> lock(mutex);
                failures.push_back(FormatString("thread %d: %s", i, e.what()));
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_TRUE(failures.empty()) << failures.size() << " failed, first: " << failures.front();
}

// Thrown inside a thread when a result differs; OnThreads reports it.
void Expect(bool bOk, const std::string& strWhat)
{
    if (!bOk)
        throw std::runtime_error(strWhat);
}

void ExpectEq(const std::string& strExpected, const std::string& strActual, const std::string& strWhat)
{
    if (strExpected != strActual)
        throw std::runtime_error(strWhat + ": expected [" + strExpected.substr(0, 200) + "], got [" +
                                 strActual.substr(0, 200) + "]");
}

std::string Flat(const CXmlObjectBase& o, const CSerializationContext& ctx)
{
    return o.ToXml(false, false, EOLType_LF, ctx);
}

// The live/total counts of a class in the instance report; -1 when the class isn't listed.
std::pair<int, int> InstanceCounts(const char* lpClass)
{
    const std::string strReport = CInstanceMonitor::DumpState();
    const std::string strKey = std::string(" ") + lpClass + " = ";
    const size_t pos = strReport.find(strKey);
    if (pos == std::string::npos)
        return {-1, -1};
    const char* p = strReport.c_str() + pos + strKey.size();
    char* pEnd = nullptr;
    const int nAlive = static_cast<int>(std::strtol(p, &pEnd, 10));
    return {nAlive, static_cast<int>(std::strtol(pEnd + 1, nullptr, 10))};
}

// ---- a bound class of this file alone, whose tables no other case builds ----

const char* const kRaceNs = "urn:kr:race";

// <tick kind="AB"><label>..</label><count>..</count><price>..</price><when>..</when></tick>:
// facets on four of the five values (a pattern, bounds, digits), checked on every set.
class CRaceTick : public CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CRaceTick(const char* lpElementName = "tick") : CInstanceMonitor("CRaceTick")
    {
        SetElementName(lpElementName);
        CRaceTick::Init();
    }

    void InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value) override
    {
        if (iPropertyIndex < 0 || iPropertyIndex >= kProperties)
            throw CKrInvalidParamException(FormatString("Unknown property index %d", iPropertyIndex));
        if (bGet)
        {
            value = m_values[iPropertyIndex];
            return;
        }
        if (iPropertyIndex == 4)
            static_cast<CAttributeInfoPrimitive*>(GetClassAttributeInfo()[0])->CheckRestriction(value);
        else
            GetClassElementInfo()[iPropertyIndex]->CheckRestriction(value);
        m_values[iPropertyIndex] = value;
    }
    CParentElementInfo* GetClassInfo() override
    {
        Build();
        return ms_pClassInfo;
    }
    CElementInfo** GetClassElementInfo() override
    {
        Build();
        return ms_ppElementInfo;
    }
    CAttributeInfo** GetClassAttributeInfo() override
    {
        Build();
        return ms_ppAttributeInfo;
    }
    void Init() override
    {
        for (KrVariant& v : m_values)
            v.SetInvalid();
    }
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return kRaceNs; }

    std::string Label() const { return m_values[0].GetString(); }
    int32_t Count() const { return m_values[1].GetI4(); }
    CDecimal Price() const { return m_values[2].GetDecimal(); }

    static void CleanMetaData()
    {
        CKRLock lock(m_csInit);
        ms_bBuilt.store(false, std::memory_order_release);
        CXmlGeneratedClass::CleanMetaData(ms_pClassInfo, ms_ppElementInfo, ms_ppAttributeInfo);
    }

protected:
    std::string GetTargetNamespace() const override { return kRaceNs; }

private:
    static const int kProperties = 5;

    // As a generator writes it: built once under the lock of all generated classes, then
    // published through a flag that readers look at without the lock.
    static void Build()
    {
        if (ms_bBuilt.load(std::memory_order_acquire))
            return;
        CKRLock lock(m_csInit);
        if (ms_pClassInfo)
            return;
        using W = CWhitespaceUtils;
        ms_pClassInfo = new CParentElementInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "tick", kRaceNs,
                                               true, false, -1, ItemType_Invalid, nullptr, false);
        ms_ppElementInfo = new CElementInfo*[5];
        ms_ppElementInfo[0] = new CElementInfoSeqPrimMnd(
            "label", kRaceNs, 0, false, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
            CPrimitiveRestrictions("[a-z]+-[0-9]+", -1, 12, "", "", "", "", -1, -1, -1), nullptr);
        ms_ppElementInfo[1] = new CElementInfoSeqPrimMnd(
            "count", kRaceNs, 1, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
            CPrimitiveRestrictions("", -1, -1, "1", "1000", "", "", -1, -1, -1), nullptr);
        ms_ppElementInfo[2] = new CElementInfoSeqPrimMnd(
            "price", kRaceNs, 2, false, ItemType_decimal, nullptr, W::WhitespaceRule_Collapse,
            CPrimitiveRestrictions("", -1, -1, "0", "", "", "", -1, 8, 2), nullptr);
        ms_ppElementInfo[3] = new CElementInfoSeqPrimMnd(
            "when", kRaceNs, 3, false, ItemType_date, nullptr, W::WhitespaceRule_Collapse,
            CPrimitiveRestrictions("", -1, -1, "2000-01-01", "", "", "", -1, -1, -1), nullptr);
        ms_ppElementInfo[4] = nullptr;
        ms_ppAttributeInfo = new CAttributeInfo*[2];
        ms_ppAttributeInfo[0] = new CAttributeInfoPrimitive(
            "kind", "", 4, false, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
            CPrimitiveRestrictions("[A-Z]{2}", -1, -1, "", "", "", "", -1, -1, -1), nullptr);
        ms_ppAttributeInfo[1] = nullptr;
        ms_bBuilt.store(true, std::memory_order_release);
    }

    static std::atomic<bool> ms_bBuilt;
    static CParentElementInfo* ms_pClassInfo;
    static CElementInfo** ms_ppElementInfo;
    static CAttributeInfo** ms_ppAttributeInfo;

    KrVariant m_values[kProperties];
};

std::atomic<bool> CRaceTick::ms_bBuilt{false};
CParentElementInfo* CRaceTick::ms_pClassInfo = nullptr;
CElementInfo** CRaceTick::ms_ppElementInfo = nullptr;
CAttributeInfo** CRaceTick::ms_ppAttributeInfo = nullptr;

struct CRaceTickCleaner
{
    ~CRaceTickCleaner() { CRaceTick::CleanMetaData(); }
} s_raceTickCleaner;

std::string TickXml(int iThread, int i)
{
    return FormatString("<tick xmlns=\"urn:kr:race\" kind=\"%c%c\"><label>t-%d</label><count>%d</count>"
                        "<price>%d.%02d</price><when>2024-%02d-%02d</when></tick>",
                        'A' + iThread, 'A' + i % 26, iThread * 1000 + i, 1 + i % 1000, i + 1, 11 * (iThread % 9 + 1),
                        1 + i % 12, 1 + (i + iThread) % 28);
}

// ---- first use, raced ----

// The tables of a class, the parsed bounds and compiled patterns of its facets and the
// instance record of its name are all made by whichever thread comes first.
TEST(Concurrency, FirstUseOfAClassFromManyThreads)
{
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(kRaceNs);
    OnThreads(kThreads, [&ctx](int t) {
        for (int i = 0; i < 40; ++i)
        {
            const std::string strXml = TickXml(t, i);
            CSmartPtr<CRaceTick> sp(new CRaceTick);
            sp->FromXml(strXml.c_str(), ctx);
            ExpectEq(strXml, Flat(*sp, ctx), "round trip");
            ExpectEq(FormatString("t-%d", t * 1000 + i), sp->Label(), "label");
            Expect(sp->Count() == 1 + i % 1000, "count");
            Expect(sp->Price() == CDecimal(FormatString("%d.%02d", i + 1, 11 * (t % 9 + 1)).c_str()), "price");
        }
        // The facets hold on every thread.
        const std::string strBadCount = FormatString(
            "<tick xmlns=\"urn:kr:race\" kind=\"AB\"><label>a-1</label><count>%d</count>"
            "<price>1</price><when>2024-01-01</when></tick>",
            1001 + t);
        const std::string strBadKind = "<tick xmlns=\"urn:kr:race\" kind=\"ab\"><label>a-1</label><count>1</count>"
                                       "<price>1</price><when>2024-01-01</when></tick>";
        const struct
        {
            const std::string& strXml;
            std::string strChain;
        } kBad[] = {
            {strBadCount,
             FormatString("Failed to set the property value. /tick/count <- Invalid Value for count [%d]", 1001 + t)},
            {strBadKind, "Failed to set the property value [ab]. /tick/@kind <- Invalid Value for kind [ab]."},
        };
        for (const auto& bad : kBad)
        {
            CSmartPtr<CRaceTick> sp(new CRaceTick);
            std::string strChain = "nothing raised";
            try
            {
                sp->FromXml(bad.strXml.c_str(), ctx);
            }
            catch (const CKrException& e)
            {
                const std::string strMessage = e.GetMessage();
                strChain = strMessage.substr(0, strMessage.find("\nPath: ")) + " " + e.GetPath();
                for (const CKrException* p = e.GetInnerException(); p; p = p->GetInnerException())
                    strChain += " <- " + p->GetMessage();
            }
            ExpectEq(bad.strChain, strChain, "facets");
        }
    });
    EXPECT_EQ(std::make_pair(0, kThreads * 42), InstanceCounts("CRaceTick"));
}

// The default context and its sub-contexts, made at first use by the threads that ask at once:
// all get the same objects.
TEST(Concurrency, FirstUseOfTheDefaultContextFromManyThreads)
{
    std::vector<const void*> seen(4 * kThreads);
    OnThreads(kThreads, [&seen](int t) {
        const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
        seen[4 * t] = &ctx;
        seen[4 * t + 1] = &ctx.GetJsonContext();
        seen[4 * t + 2] = &ctx.GetFIContext();
        seen[4 * t + 3] = ctx.GetAdditionalRootAttributes().operator->();
    });
    const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
    for (int t = 0; t < kThreads; ++t)
    {
        EXPECT_EQ(&ctx, seen[4 * t]) << t;
        EXPECT_EQ(&ctx.GetJsonContext(), seen[4 * t + 1]) << t;
        EXPECT_EQ(&ctx.GetFIContext(), seen[4 * t + 2]) << t;
        EXPECT_EQ(ctx.GetAdditionalRootAttributes().operator->(), seen[4 * t + 3]) << t;
    }
}

// ---- bound objects ----

const CSerializationContext& PoContext()
{
    static const CSerializationContext s_ctx = [] {
        CSerializationContext c;
        c.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
        return c;
    }();
    return s_ctx;
}

// Each thread reads its own orders from XML, JSON and Fast Infoset, writes them back and
// drops them, with one context shared by all (as a const reference, the way applications
// share a configured one). Every output is compared with what one thread wrote beforehand.
TEST(Concurrency, BoundObjectsReadWrittenAndReleasedPerThread)
{
    const CSerializationContext& ctx = PoContext();
    struct Expected
    {
        std::string strXml, strFormatted, strJson;
        CBinaryData fi;
    };
    std::vector<Expected> expected(kThreads);
    for (int t = 0; t < kThreads; ++t)
    {
        CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
        sp->FromXml(KrXmlBench::MakePurchaseOrder(12, 100 + t).c_str(), ctx);
        expected[t].strXml = Flat(*sp, ctx);
        expected[t].strFormatted = sp->ToXml(true, true, EOLType_CRLF, ctx);
        expected[t].strJson = sp->ToJson(false, EOLType_LF, ctx);
        expected[t].fi = sp->ToFastInfosetStream(FInfoDecl_None, ctx, CompressionType_None);
    }
    OnThreads(kThreads, [&](int t) {
        const Expected& e = expected[t];
        for (int round = 0; round < 6; ++round)
        {
            CSmartPtr<PurchaseOrder::CPurchaseOrderType> spXml(new PurchaseOrder::CPurchaseOrderType);
            spXml->FromXml(e.strFormatted.c_str(), ctx);
            ExpectEq(e.strXml, Flat(*spXml, ctx), "XML read");
            ExpectEq(e.strFormatted, spXml->ToXml(true, true, EOLType_CRLF, ctx), "formatted");
            ExpectEq(e.strJson, spXml->ToJson(false, EOLType_LF, ctx), "JSON write");
            Expect(e.fi == spXml->ToFastInfosetStream(FInfoDecl_None, ctx, CompressionType_None), "Fast Infoset write");

            CSmartPtr<PurchaseOrder::CPurchaseOrderType> spJson(new PurchaseOrder::CPurchaseOrderType);
            spJson->FromJson(e.strJson.c_str(), ctx);
            ExpectEq(e.strXml, Flat(*spJson, ctx), "JSON read");

            CSmartPtr<PurchaseOrder::CPurchaseOrderType> spFi(new PurchaseOrder::CPurchaseOrderType);
            spFi->FromXmlStream(e.fi, ctx);
            ExpectEq(e.strXml, Flat(*spFi, ctx), "Fast Infoset read");

            const CBinaryData gz = spFi->ToXmlStream(false, false, XmlEncoding_UTF8, EOLType_LF, ctx,
                                                     CompressionType_GZip);
            CSmartPtr<PurchaseOrder::CPurchaseOrderType> spGz(new PurchaseOrder::CPurchaseOrderType);
            spGz->FromXmlStream(gz, ctx);
            ExpectEq(e.strXml, Flat(*spGz, ctx), "gzip read");
        }
    });
}

// Tables freed with CleanMetaData (while no thread uses them) are built again by whichever
// thread comes first; for every class of the purchase order at once, several times over.
TEST(Concurrency, TablesBuiltAgainAfterCleanMetaData)
{
    const CSerializationContext& ctx = PoContext();
    const std::string strDoc = KrXmlBench::MakePurchaseOrder(4, 500);
    CSmartPtr<PurchaseOrder::CPurchaseOrderType> spRef(new PurchaseOrder::CPurchaseOrderType);
    spRef->FromXml(strDoc.c_str(), ctx);
    const std::string strExpected = Flat(*spRef, ctx);
    spRef = nullptr;
    for (int round = 0; round < 5; ++round)
    {
        PurchaseOrder::CPurchaseOrderType::CleanMetaData();
        PurchaseOrder::CItemType::CleanMetaData();
        PurchaseOrder::CCustomerType::CleanMetaData();
        PurchaseOrder::CAddressType::CleanMetaData();
        OnThreads(kThreads, [&](int) {
            CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
            sp->FromXml(strDoc.c_str(), ctx);
            ExpectEq(strExpected, Flat(*sp, ctx), "read with new tables");
        });
    }
}

// Each thread writes its order to files and reads them back, with the overlapped routes off
// and on (switched before the threads start, as the switches are meant to be). Every file
// writer hands its blocks to a worker thread of its own, so that two threads work on each
// stream; the overlapped reader waits for reads done meanwhile.
TEST(Concurrency, FilesWrittenAndReadPerThread)
{
    const int kFileThreads = 4;  // each with its writer's worker
    const CSerializationContext& ctx = PoContext();
    struct File
    {
        const char* lpName;
        XmlEncoding eEncoding;
        CompressionType eCompression;
    };
    const File kFiles[] = {{"utf8.xml", XmlEncoding_UTF8, CompressionType_None},
                           {"utf16.xml", XmlEncoding_UTF16, CompressionType_None}};
    const size_t kKinds = sizeof(kFiles) / sizeof(kFiles[0]);
    std::vector<std::string> xml(kFileThreads);
    std::vector<std::vector<std::string>> bytes(kFileThreads), paths(kFileThreads);
    for (int t = 0; t < kFileThreads; ++t)
    {
        // Larger than one block of the file writer.
        CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
        sp->FromXml(KrXmlBench::MakePurchaseOrder(140, 400 + t).c_str(), ctx);
        xml[t] = Flat(*sp, ctx);
        for (const File& f : kFiles)
        {
            paths[t].push_back(KrXmlTest::TempPath(FormatString("t%d-%s", t, f.lpName)));
            sp->ToXmlFile(paths[t].back().c_str(), true, true, f.eEncoding, EOLType_LF, ctx, f.eCompression);
            bytes[t].push_back(KrXmlTest::ReadFileBytes(paths[t].back()));
        }
        paths[t].push_back(KrXmlTest::TempPath(FormatString("t%d.json", t)));
        paths[t].push_back(KrXmlTest::TempPath(FormatString("t%d.fi", t)));
    }
    // The overlapped route reads plain XML text: other files are read from their bytes there.
    auto ReadFile = [&ctx](CXmlObjectBase& o, const std::string& strPath, bool bOverlapped) {
        const std::string strHead = KrXmlTest::ReadFileBytes(strPath).substr(0, 2);
        if (bOverlapped && strHead != "<?" && strHead != "\xFF\xFE")
        {
            const std::string strBytes = KrXmlTest::ReadFileBytes(strPath);
            o.FromXmlStream(CBinaryData(reinterpret_cast<unsigned char*>(const_cast<char*>(strBytes.data())),
                                        static_cast<uint32_t>(strBytes.size()), false),
                            ctx);
        }
        else
            o.FromXmlFile(strPath.c_str(), ctx);
    };
    for (bool bOverlapped : {false, true})
    {
        SCOPED_TRACE(bOverlapped ? "overlapped" : "plain");
        AsyncFromXmlFile(bOverlapped);
        AsyncToXmlFile(bOverlapped);
        OnThreads(kFileThreads, [&](int t) {
            CSmartPtr<PurchaseOrder::CPurchaseOrderType> spSource(new PurchaseOrder::CPurchaseOrderType);
            spSource->FromXml(xml[t].c_str(), ctx);
            {
                for (size_t k = 0; k < kKinds; ++k)
                {
                    const File& f = kFiles[k];
                    const std::string& strPath = paths[t][k];
                    spSource->ToXmlFile(strPath.c_str(), true, true, f.eEncoding, EOLType_LF, ctx, f.eCompression);
                    Expect(KrXmlTest::ReadFileBytes(strPath) == bytes[t][k], strPath + ": other bytes");
                    CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
                    ReadFile(*sp, strPath, bOverlapped);
                    ExpectEq(xml[t], Flat(*sp, ctx), strPath);
                }
                spSource->ToJsonFile(paths[t][kKinds].c_str(), true, XmlEncoding_UTF8, EOLType_LF, ctx,
                                     CompressionType_None);
                CSmartPtr<PurchaseOrder::CPurchaseOrderType> spJson(new PurchaseOrder::CPurchaseOrderType);
                spJson->FromJsonFile(paths[t][kKinds].c_str(), ctx);
                ExpectEq(xml[t], Flat(*spJson, ctx), "JSON file");
                spSource->ToFastInfosetFile(paths[t][kKinds + 1].c_str(), FInfoDecl_Version10, ctx,
                                            CompressionType_GZip);
                CSmartPtr<PurchaseOrder::CPurchaseOrderType> spFi(new PurchaseOrder::CPurchaseOrderType);
                ReadFile(*spFi, paths[t][kKinds + 1], bOverlapped);
                ExpectEq(xml[t], Flat(*spFi, ctx), "Fast Infoset file");
            }
        });
    }
    AsyncFromXmlFile(false);
    AsyncToXmlFile(false);
    for (const auto& v : paths)
        for (const std::string& strPath : v)
            std::remove(strPath.c_str());
}

// With a single-byte local code page (set before the threads start), each thread converts
// text both ways and writes an untyped tree of it to UTF-8 and UTF-16 files, whose blocks the
// writers' workers convert on their own threads.
TEST(Concurrency, LocalCodePageConversionsPerThread)
{
    const int kFileThreads = 4;
    SetLocalCharEncoding(1252);
    const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
    std::vector<std::string> docs(kFileThreads), utf8(kFileThreads), utf16(kFileThreads);
    std::vector<std::string> paths8(kFileThreads), paths16(kFileThreads);
    for (int t = 0; t < kFileThreads; ++t)
    {
        // "\xC3\xA9" is e acute, "\xE2\x82\xAC" the euro sign; more text than one block of a writer.
        std::string strText;
        for (int i = 0; i < 7500; ++i)
            strText += FormatString("%d\xC3\xA9\xE2\x82\xAC ", t * 10000 + i);
        docs[t] = "<r\xC3\xA9 a=\"\xE2\x82\xAC\">" + strText + "</r\xC3\xA9>";
        paths8[t] = KrXmlTest::TempPath(FormatString("cp%d-8.xml", t));
        paths16[t] = KrXmlTest::TempPath(FormatString("cp%d-16.xml", t));
        CSmartPtr<CElement> sp(new CElement(""));
        sp->FromXml(docs[t].c_str(), ctx);
        sp->ToXmlFile(paths8[t].c_str(), true, false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
        sp->ToXmlFile(paths16[t].c_str(), true, false, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None);
        utf8[t] = KrXmlTest::ReadFileBytes(paths8[t]);
        utf16[t] = KrXmlTest::ReadFileBytes(paths16[t]);
    }
    OnThreads(kFileThreads, [&](int t) {
        for (int round = 0; round < 3; ++round)
        {
            ExpectEq(FormatString("%d\xE9\x80", t), Utf8ToLocal(FormatString("%d\xC3\xA9\xE2\x82\xAC", t).c_str()),
                     "to the local code page");
            const CBinaryData back = LocalToUtf8(FormatString("\x80%d\xE9", t).c_str());
            ExpectEq(FormatString("\xE2\x82\xAC%d\xC3\xA9", t),
                     std::string(reinterpret_cast<const char*>(back.GetData()), back.GetLength()), "to UTF-8");
            CSmartPtr<CElement> sp(new CElement(""));
            sp->FromXml(docs[t].c_str(), ctx);
            ExpectEq("r\xE9", sp->GetName(), "element name");
            const std::string strStart = FormatString("%d\xE9\x80 %d\xE9", t * 10000, t * 10000 + 1);
            ExpectEq(strStart, sp->GetText().substr(0, strStart.size()), "text");
            sp->ToXmlFile(paths8[t].c_str(), true, false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
            sp->ToXmlFile(paths16[t].c_str(), true, false, XmlEncoding_UTF16, EOLType_LF, ctx, CompressionType_None);
            Expect(KrXmlTest::ReadFileBytes(paths8[t]) == utf8[t], "UTF-8 file");
            Expect(KrXmlTest::ReadFileBytes(paths16[t]) == utf16[t], "UTF-16 file");
        }
    });
    SetLocalCharEncoding(0);
    EXPECT_NE(std::string::npos, utf8[0].find("<r\xC3\xA9 a=\"\xE2\x82\xAC\">0\xC3\xA9\xE2\x82\xAC 1\xC3\xA9"));
    EXPECT_EQ(std::string("\xFF\xFE<\0?\0", 6), utf16[0].substr(0, 6));
    for (int t = 0; t < kFileThreads; ++t)
    {
        std::remove(paths8[t].c_str());
        std::remove(paths16[t].c_str());
    }
}

// JSON without namespaces, read with the default context on several threads: each read
// matches names by their local part, as on its own, and the context stays as it was.
TEST(Concurrency, JsonReadsWithTheDefaultContext)
{
    CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
    const JsonRoundTrip eWas = ctx.GetJsonContext().GetSupportRoundtrip();
    ctx.GetJsonContext().SetSupportRoundtrip(RoundTripAttributes);
    std::vector<std::string> json(kThreads), xml(kThreads);
    for (int t = 0; t < kThreads; ++t)
    {
        CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
        sp->FromXml(KrXmlBench::MakePurchaseOrder(3, 200 + t).c_str(), ctx);
        xml[t] = Flat(*sp, ctx);
        json[t] = sp->ToJson(false, EOLType_LF, ctx);
    }
    OnThreads(kThreads, [&](int t) {
        for (int round = 0; round < 30; ++round)
        {
            CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
            sp->FromJson(json[t].c_str(), ctx);
            ExpectEq(xml[t], Flat(*sp, ctx), "JSON read");
        }
    });
    EXPECT_FALSE(ctx.GetIgnoreNamespaces());
    ctx.GetJsonContext().SetSupportRoundtrip(eWas);
}

// ---- untyped trees ----

// Each thread reads trees, writes them, and hands a kept subtree to the next thread, which
// drops it while the thread that built it drops the rest: the objects of one build die on two
// threads at once.
TEST(Concurrency, UntypedTreesReadWrittenAndReleasedPerThread)
{
    const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
    std::vector<std::string> docs(kThreads), expected(kThreads);
    for (int t = 0; t < kThreads; ++t)
    {
        docs[t] = KrXmlBench::MakePurchaseOrder(8, 300 + t);
        CSmartPtr<CElement> sp(new CElement(""));
        sp->FromXml(docs[t].c_str(), ctx);
        expected[t] = Flat(*sp, ctx);
    }
    const int kRounds = 20;
    std::vector<std::vector<CSmartPtr<CElement>>> handedOver(kThreads, std::vector<CSmartPtr<CElement>>(kRounds));
    std::vector<std::atomic<int>> nHanded(kThreads);
    OnThreads(kThreads, [&](int t) {
        const int iNext = (t + 1) % kThreads;
        int iDropped = 0;
        for (int round = 0; round < kRounds; ++round)
        {
            CSmartPtr<CElement> sp(new CElement(""));
            sp->FromXml(docs[t].c_str(), ctx);
            ExpectEq(expected[t], Flat(*sp, ctx), "untyped round trip");
            CSmartPtr<CElement> spCopy = sp->Clone();
            ExpectEq(expected[t], Flat(*spCopy, ctx), "clone");
            CSmartPtr<CElementCol> spChildren = sp->GetChildElements();
            handedOver[iNext][round] = spChildren->Item(2);  // the first item
            nHanded[iNext].store(round + 1, std::memory_order_release);
            sp = nullptr;
            // Drop what the previous thread handed over so far.
            for (const int n = nHanded[t].load(std::memory_order_acquire); iDropped < n; ++iDropped)
            {
                CSmartPtr<CElement>& spItem = handedOver[t][iDropped];
                ExpectEq("item", spItem->GetName(), "handed-over item");
                spItem = nullptr;
            }
        }
    });
    for (auto& v : handedOver)
        for (auto& sp : v)
            if (sp)
            {
                EXPECT_EQ("item", sp->GetName());
            }
}

// ---- values ----

// Decimals, big integers, dates, durations and the text conversions, each thread with its own
// values; the results are exact.
TEST(Concurrency, ValuesInEveryThread)
{
    OnThreads(kThreads, [](int t) {
        for (int i = 1; i <= 200; ++i)
        {
            const int n = t * 1000 + i;
            // Decimal: (n + 0.25) * 4 / 2 - 0.5 == 2n, and a division that rounds.
            const CDecimal d = CDecimal(FormatString("%d.25", n).c_str());
            ExpectEq(FormatString("%d", 2 * n), (d * CDecimal(4) / CDecimal(2) - CDecimal("0.5")).ToString(),
                     "decimal arithmetic");
            ExpectEq("0.333333333333333333333333333333", (CDecimal(1) / CDecimal(3)).ToString(), "decimal division");
            // Big integers: (10^30 + n)^2 written out.
            const CBigInteger big = CBigInteger::Pow10(30) + CBigInteger(n);
            const std::string strSquare = (big * big).ToString();
            ExpectEq("1" + std::string(30 - FormatString("%d", 2 * n).size(), '0') + FormatString("%d", 2 * n) +
                         std::string(30 - FormatString("%d", n * n).size(), '0') + FormatString("%d", n * n),
                     strSquare, "big integer square");
            Expect(CBigInteger(strSquare.c_str()).SquareRoot() == big, "square root");
            // Dates and durations.
            const CDateTime date(FormatString("2024-02-%02dT10:00:00Z", 1 + i % 28).c_str());
            const CDateTime later = date + CDateTimeSpan(static_cast<uint32_t>(24 * (t + 1)), 0, 0);
            const int nDay = 1 + i % 28 + t + 1;
            const int nMonth = nDay > 29 ? 3 : 2;
            ExpectEq(FormatString("2024-%02d-%02dT10:00:00Z", nMonth, nMonth == 3 ? nDay - 29 : nDay), later.ToString(),
                     "date plus days");
            CDateTimeSpan span;
            const std::string strSpan = FormatString("P%dY%dM%dDT%dH%dM%d.%dS", t + 1, 1 + i % 11, 1 + i % 28,
                                                     1 + i % 23, 1 + i % 59, 1 + i % 58, 1 + i % 9);
            span.ParseXSDDuration(strSpan.c_str());
            ExpectEq(strSpan, span.ToString(), "duration");
            // Conversions through the variant.
            KrVariant v;
            v.FromString(FormatString(" %d ", -n), ItemType_i8, CWhitespaceUtils::WhitespaceRule_Collapse);
            Expect(v.GetI8() == -n, "i8 from text");
            v.FromString(FormatString("%d.5E1", n), ItemType_r8, CWhitespaceUtils::WhitespaceRule_Collapse);
            Expect(v.GetR8() == n * 10 + 5, "r8 from text");
            v.FromString("dGhyZWFk", ItemType_base64Binary, CWhitespaceUtils::WhitespaceRule_Collapse);
            Expect(v.GetBase64Binary() == CBinaryData("thread"), "base64 from text");
        }
    });
}

// ---- patterns ----

// More distinct patterns than the shared cache keeps, matched from every thread in different
// orders, so that compiles, lookups and evictions meet.
TEST(Concurrency, PatternsBeyondTheCacheFromManyThreads)
{
    const int kPatterns = 600;
    OnThreads(kThreads, [](int t) {
        for (int round = 0; round < 2; ++round)
            for (int k = 0; k < kPatterns; ++k)
            {
                const int i = (k * (2 * t + 1) + t * 97) % kPatterns;  // each thread its own order
                const std::string strPattern = FormatString("p%d-[a-c]{%d}", i, 1 + i % 5);
                const std::string strGood = FormatString("p%d-", i) + std::string(1 + i % 5, "abc"[t % 3]);
                Expect(MatchesPattern(strPattern, strGood), strPattern + " refused " + strGood);
                Expect(!MatchesPattern(strPattern, strGood + "a"), strPattern + " took a longer text");
                Expect(!MatchesPattern(strPattern, FormatString("p%d-", i + 1) + std::string(1 + i % 5, 'a')),
                       strPattern + " took another number");
            }
    });
}

// Pattern facets of records shared by all threads (as the rows of generated classes are).
TEST(Concurrency, PatternFacetsOfSharedRecords)
{
    std::vector<CPrimitiveRestrictions> records;
    for (int i = 0; i < 300; ++i)
        records.emplace_back(FormatString("[a-z]{2}%d|x{%d}", i, 1 + i % 7).c_str(), -1, -1, "", "", "", "", -1, -1, -1);
    OnThreads(kThreads, [&records](int t) {
        for (size_t k = 0; k < records.size(); ++k)
        {
            const size_t i = (k + 50 * t) % records.size();
            KrVariant good, bad;
            good.SetString(FormatString("qz%d", static_cast<int>(i)));
            bad.SetString(std::string(2 + i % 7, 'x'));
            ValidatePrimitive("v", good, ItemType_string, &records[i]);
            bool bRefused = false;
            try
            {
                ValidatePrimitive("v", bad, ItemType_string, &records[i]);
            }
            catch (const CKrException& e)
            {
                bRefused = e.GetMessage() == "Invalid Value for v [" + std::string(2 + i % 7, 'x') + "].";
            }
            Expect(bRefused, FormatString("record %d took too many x", static_cast<int>(i)));
        }
    });
}

// ---- shared binary blocks ----

// One block shared by copies on every thread: copied, read, changed (a private copy),
// assigned and destroyed at once; the original never changes and nothing leaks.
TEST(Concurrency, BinaryDataSharedBetweenThreads)
{
    std::string strPayload;
    for (int i = 0; i < 5000; ++i)
        strPayload += static_cast<char>('a' + i % 26);
    const CBinaryData original(strPayload.c_str());
    std::vector<CBinaryData> slots(kThreads);
    OnThreads(kThreads, [&](int t) {
        for (int i = 0; i < 500; ++i)
        {
            CBinaryData copy(original);
            Expect(copy.GetLength() == strPayload.size() &&
                       std::string(reinterpret_cast<const char*>(copy.GetData()), copy.GetLength()) == strPayload,
                   "copy reads the shared bytes");
            CBinaryData changed = copy;
            changed[0] = static_cast<unsigned char>('A' + t);
            changed.Append(static_cast<unsigned char>('0' + t));
            Expect(changed.GetLength() == strPayload.size() + 1 && changed[0] == 'A' + t &&
                           static_cast<const CBinaryData&>(copy)[0] == 'a',
                   "a change stays private");
            slots[t] = copy;  // each thread its own slot, each slot sharing the one block
            CBinaryData moved(std::move(copy));
            const unsigned char* pTaken = nullptr;
            {
                CBinaryData last(original);
                unsigned char* p = last.ReleaseData();  // shared: made unique first
                pTaken = p;
                Expect(std::string(reinterpret_cast<const char*>(p), strPayload.size()) == strPayload, "released data");
                delete[] p;
            }
            Expect(pTaken != original.GetData(), "the released bytes were a private copy");
        }
    });
    for (const CBinaryData& d : slots)
        EXPECT_EQ(original.GetData(), d.GetData());
    EXPECT_EQ(strPayload, std::string(reinterpret_cast<const char*>(original.GetData()), original.GetLength()));
}

// ---- debug output ----

std::mutex g_traceMutex;
std::vector<std::string> g_traced[2];
void TraceToFirst(const char* lpText)
{
    std::lock_guard<std::mutex> lock(g_traceMutex);
    g_traced[0].push_back(lpText);
}
void TraceToSecond(const char* lpText)
{
    std::lock_guard<std::mutex> lock(g_traceMutex);
    g_traced[1].push_back(lpText);
}

// Threads trace while another switches the output between two functions: every piece reaches
// one of them, whole.
TEST(Concurrency, DebugTraceWhileTheOutputChanges)
{
    const int kTraces = 300;
    std::atomic<bool> bDone{false};
    const DebugOutputFunction pfnWas = SetDebugOutput(&TraceToFirst);
    std::thread switcher([&bDone] {
        for (int i = 0; !bDone.load(); ++i)
            SetDebugOutput(i % 2 ? &TraceToFirst : &TraceToSecond);
    });
    OnThreads(kThreads, [](int t) {
        for (int i = 0; i < kTraces; ++i)
            DebugTrace("%s|%d:%d|", std::string(150, static_cast<char>('a' + t)).c_str(), t, i);  // two pieces
    });
    bDone.store(true);
    switcher.join();
    SetDebugOutput(pfnWas);
    std::vector<int> nLongPieces(kThreads), nTails(kThreads);
    for (const auto& pieces : g_traced)
        for (const std::string& str : pieces)
        {
            const int t = str[0] - 'a';
            if (str.size() == 128 && str == std::string(128, str[0]))
                ++nLongPieces[t];
            else if (str.compare(0, 22, std::string(22, str[0])) == 0 && str.find(FormatString("|%d:", t)) == 22)
                ++nTails[t];
            else
                ADD_FAILURE() << "a piece changed: " << str;
        }
    for (int t = 0; t < kThreads; ++t)
    {
        EXPECT_EQ(kTraces, nLongPieces[t]) << t;
        EXPECT_EQ(kTraces, nTails[t]) << t;
    }
}

// ---- instance records ----

class CRaceCounted : public CInstanceMonitor
{
public:
    CRaceCounted() : CInstanceMonitor("CRaceCounted") {}
};

// Objects of one monitored class made on some threads and destroyed on others, while another
// thread reads the report: the counts come out exact once the threads are done.
TEST(Concurrency, InstanceCountsAcrossThreads)
{
    const int kPerThread = 2000;
    std::vector<std::vector<std::unique_ptr<CRaceCounted>>> made(kThreads);
    std::atomic<bool> bDone{false};
    std::atomic<int> nOdd{0};
    std::thread reporter([&bDone, &nOdd] {
        int nLastTotal = -1;
        while (!bDone.load())
        {
            // A report may lag, yet the total never goes back and the living never exceed it.
            const std::pair<int, int> counts = InstanceCounts("CRaceCounted");
            if (counts.second < nLastTotal || counts.first > counts.second)
                ++nOdd;
            nLastTotal = counts.second;
        }
    });
    OnThreads(kThreads, [&made](int t) {
        for (int i = 0; i < kPerThread; ++i)
        {
            made[t].emplace_back(new CRaceCounted);
            CRaceCounted copy(*made[t].back());  // copies count too
        }
    });
    EXPECT_EQ(std::make_pair(kThreads * kPerThread, 2 * kThreads * kPerThread), InstanceCounts("CRaceCounted"));
    // Every thread destroys what the next one made.
    OnThreads(kThreads, [&made](int t) { made[(t + 1) % kThreads].clear(); });
    bDone.store(true);
    reporter.join();
    EXPECT_EQ(std::make_pair(0, 2 * kThreads * kPerThread), InstanceCounts("CRaceCounted"));
    EXPECT_EQ(0, nOdd.load());
}

} // namespace
