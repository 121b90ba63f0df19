// Writing a purchase order's bound objects as Fast Infoset beside writing the same objects as
// XML text, in the same run: speed in MB/s of the XML text's size (so that the two figures
// compare work done on the same document), the size of the binary form against the text, and
// allocations per write.
//
//   bench_fastinfoset [--items N] [--runs R]   the report (default 20000 items, about 10 MB)
//   bench_fastinfoset --only xml|fi|typed       one loop only, for a profiler
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "benchsupport.h"
#include "krxmllib.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlBench;
using PurchaseOrder::CPurchaseOrderType;

// Every allocation of the process is counted, so that a write's own allocations show.
namespace {
std::atomic<size_t> g_nAllocations{0};

void* CountedAlloc(size_t n)
{
    g_nAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n ? n : 1))
        return p;
    throw std::bad_alloc();
}
} // namespace

void* operator new(size_t n) { return CountedAlloc(n); }
void* operator new[](size_t n) { return CountedAlloc(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept
{
    g_nAllocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(n ? n : 1);
}
void* operator new[](size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

struct Timing
{
    double dBest;
    double dMedian;
};

template <typename Fn>
Timing Time(int nRuns, Fn fn)
{
    fn();  // warm-up
    std::vector<double> seconds;
    for (int i = 0; i < nRuns; ++i)
        seconds.push_back(BestSeconds(1, fn));
    std::sort(seconds.begin(), seconds.end());
    return Timing{seconds.front(), seconds[seconds.size() / 2]};
}

template <typename Fn>
size_t AllocationsOf(Fn fn)
{
    size_t nBefore = g_nAllocations.load();
    fn();
    return g_nAllocations.load() - nBefore;
}

double MBps(size_t nBytes, double dSeconds) { return nBytes / 1e6 / dSeconds; }

} // namespace

int main(int argc, char** argv)
{
    int nItems = 20000;
    int nRuns = 7;
    const char* lpOnly = nullptr;
    for (int i = 1; i < argc; ++i)
    {
        if (!std::strcmp(argv[i], "--items") && i + 1 < argc)
            nItems = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--runs") && i + 1 < argc)
            nRuns = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--only") && i + 1 < argc)
            lpOnly = argv[++i];
        else
        {
            std::fprintf(stderr, "usage: bench_fastinfoset [--items N] [--runs R] [--only xml|fi|typed]\n");
            return 2;
        }
    }
    try
    {
        std::string strPath = MakePurchaseOrderFile(nItems);
        std::string strXml = strPath.empty() ? std::string() : ReadWholeFile(strPath);
        if (strXml.empty())
        {
            std::fprintf(stderr, "could not make the sample document\n");
            return 1;
        }
        CSmartPtr<CPurchaseOrderType> spOrder = new CPurchaseOrderType;
        spOrder->FromXmlStream(reinterpret_cast<unsigned char*>(&strXml[0]), static_cast<uint32_t>(strXml.size()),
                               CSerializationContext::GetDefaultContext());

        // The text as the binding benchmark writes it; Fast Infoset with the same context.
        CSerializationContext ctx;
        ctx.SetIndentChars("  ");
        ctx.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
        // Typed values where the document allows them: its dateTimes have fractions and zones
        // east of UTC, which the packed date alphabet can't carry.
        CSerializationContext typed(ctx);
        typed.GetFIContext().SetSuggestedValues();
        typed.GetFIContext().SetEncoding(ItemType_datetime, {0, 0});

        auto writeXml = [&] { return spOrder->ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None); };
        auto writeFlat = [&] { return spOrder->ToXmlStream(true, false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None); };
        auto writeFi = [&] { return spOrder->ToFastInfosetStream(FInfoDecl_None, ctx, CompressionType_None); };
        auto writeTyped = [&] { return spOrder->ToFastInfosetStream(FInfoDecl_None, typed, CompressionType_None); };

        if (lpOnly)
        {
            for (int i = 0; i < nRuns; ++i)
                if (!std::strcmp(lpOnly, "xml"))
                    writeXml();
                else if (!std::strcmp(lpOnly, "typed"))
                    writeTyped();
                else
                    writeFi();
            return 0;
        }

        size_t nXml = writeXml().GetLength(), nFlat = writeFlat().GetLength();
        size_t nFi = writeFi().GetLength(), nTyped = writeTyped().GetLength();
        Timing xml = Time(nRuns, writeXml);
        Timing fi = Time(nRuns, writeFi);
        Timing typedTime = Time(nRuns, writeTyped);
        size_t nAllocXml = AllocationsOf(writeXml), nAllocFi = AllocationsOf(writeFi);

        std::printf("purchase order: %d items; XML text %.2f MB (%.2f MB unformatted); best / median of %d runs,\n"
                    "MB/s of the XML text's size\n",
                    nItems, nXml / 1e6, nFlat / 1e6, nRuns);
        std::printf("  ToXmlStream (formatted)       %7.1f / %7.1f MB/s   %9zu allocations\n", MBps(nXml, xml.dBest),
                    MBps(nXml, xml.dMedian), nAllocXml);
        std::printf("  ToFastInfosetStream           %7.1f / %7.1f MB/s   %9zu allocations   %.2f MB = %.1f%% of "
                    "the text (%.1f%% of unformatted)\n",
                    MBps(nXml, fi.dBest), MBps(nXml, fi.dMedian), nAllocFi, nFi / 1e6, 100.0 * nFi / nXml,
                    100.0 * nFi / nFlat);
        std::printf("  ToFastInfosetStream, typed    %7.1f / %7.1f MB/s                         %.2f MB = %.1f%% of "
                    "the text\n",
                    MBps(nXml, typedTime.dBest), MBps(nXml, typedTime.dMedian), nTyped / 1e6, 100.0 * nTyped / nXml);
        bool bFast = fi.dMedian <= xml.dMedian, bSmall = nFi <= nXml * 0.6;
        std::printf("  bars: Fast Infoset at least as fast as XML text: %s; at most 60%% of its size: %s\n",
                    bFast ? "met" : "NOT MET", bSmall ? "met" : "NOT MET");
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "%s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
