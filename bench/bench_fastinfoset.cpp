// Writing a purchase order's bound objects as Fast Infoset beside writing the same objects as
// XML text, and reading each form back into the bound classes, in the same run: speed in MB/s
// of the XML text's size (so that the figures compare work done on the same document), the
// size of the binary form against the text, and allocations per write and per read.
//
//   bench_fastinfoset [--items N] [--runs R]   the report (default 20000 items, about 10 MB)
//   bench_fastinfoset --only xml|fi|typed|read-xml|read-fi|read-typed
//                                                one loop only, for a profiler
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

namespace {

template <typename Fn>
size_t AllocationsOf(Fn fn)
{
    size_t nBefore = AllocationCount();
    fn();
    return AllocationCount() - nBefore;
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
            std::fprintf(stderr, "usage: bench_fastinfoset [--items N] [--runs R] "
                                 "[--only xml|fi|typed|read-xml|read-fi|read-typed]\n");
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

        // Reading: the bytes each writer gave, into one object that every read clears first.
        CBinaryData xmlBytes = writeXml(), fiBytes = writeFi(), typedBytes = writeTyped();
        CSmartPtr<CPurchaseOrderType> spRead = new CPurchaseOrderType;
        auto readXml = [&] { spRead->FromXmlStream(xmlBytes, ctx); };
        auto readFi = [&] { spRead->FromXmlStream(fiBytes, ctx); };
        auto readTyped = [&] { spRead->FromXmlStream(typedBytes, typed); };
        // The document tree alone, which the bound classes are then read from.
        auto treeOf = [&](const CBinaryData& bytes) {
            CXmlDocument doc(ctx);
            doc.LoadXmlStream(bytes.GetData(), bytes.GetLength());
        };
        auto treeXml = [&] { treeOf(xmlBytes); };
        auto treeFi = [&] { treeOf(fiBytes); };

        if (lpOnly)
        {
            for (int i = 0; i < nRuns; ++i)
                if (!std::strcmp(lpOnly, "xml"))
                    writeXml();
                else if (!std::strcmp(lpOnly, "typed"))
                    writeTyped();
                else if (!std::strcmp(lpOnly, "read-xml"))
                    readXml();
                else if (!std::strcmp(lpOnly, "read-fi"))
                    readFi();
                else if (!std::strcmp(lpOnly, "read-typed"))
                    readTyped();
                else
                    writeFi();
            return 0;
        }

        // What is read back is what was written.
        readFi();
        if (spRead->ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None).GetLength() !=
            xmlBytes.GetLength())
        {
            std::fprintf(stderr, "the Fast Infoset read back differs from the objects written\n");
            return 1;
        }

        size_t nXml = writeXml().GetLength(), nFlat = writeFlat().GetLength();
        size_t nFi = writeFi().GetLength(), nTyped = writeTyped().GetLength();
        Timing xml = Time(nRuns, writeXml);
        Timing fi = Time(nRuns, writeFi);
        Timing typedTime = Time(nRuns, writeTyped);
        size_t nAllocXml = AllocationsOf(writeXml), nAllocFi = AllocationsOf(writeFi);
        Timing readXmlTime = Time(nRuns, readXml);
        Timing readFiTime = Time(nRuns, readFi);
        Timing readTypedTime = Time(nRuns, readTyped);
        size_t nAllocReadXml = AllocationsOf(readXml), nAllocReadFi = AllocationsOf(readFi);
        Timing treeXmlTime = Time(nRuns, treeXml);
        Timing treeFiTime = Time(nRuns, treeFi);
        size_t nAllocTreeXml = AllocationsOf(treeXml), nAllocTreeFi = AllocationsOf(treeFi);

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
        std::printf("  FromXmlStream, XML text       %7.1f / %7.1f MB/s   %9zu allocations\n",
                    MBps(nXml, readXmlTime.dBest), MBps(nXml, readXmlTime.dMedian), nAllocReadXml);
        std::printf("  FromXmlStream, Fast Infoset   %7.1f / %7.1f MB/s   %9zu allocations\n",
                    MBps(nXml, readFiTime.dBest), MBps(nXml, readFiTime.dMedian), nAllocReadFi);
        std::printf("  FromXmlStream, FI typed       %7.1f / %7.1f MB/s\n", MBps(nXml, readTypedTime.dBest),
                    MBps(nXml, readTypedTime.dMedian));
        std::printf("  of which the tree, XML text   %7.1f / %7.1f MB/s   %9zu allocations\n",
                    MBps(nXml, treeXmlTime.dBest), MBps(nXml, treeXmlTime.dMedian), nAllocTreeXml);
        std::printf("  of which the tree, FI         %7.1f / %7.1f MB/s   %9zu allocations\n",
                    MBps(nXml, treeFiTime.dBest), MBps(nXml, treeFiTime.dMedian), nAllocTreeFi);
        bool bFast = fi.dMedian <= xml.dMedian, bSmall = nFi <= nXml * 0.6;
        bool bReadFast = readFiTime.dMedian <= readXmlTime.dMedian;
        std::printf("  bars: Fast Infoset writing at least as fast as XML text: %s; at most 60%% of its size: %s;\n"
                    "        Fast Infoset reading at least as fast as XML text: %s\n",
                    bFast ? "met" : "NOT MET", bSmall ? "met" : "NOT MET", bReadFast ? "met" : "NOT MET");
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "%s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
