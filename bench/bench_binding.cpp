// Reading a purchase order into its bound classes and writing it back, beside raw Expat on the
// same bytes, with peak memory over the input.
//
//   bench_binding [--items N] [--runs R]      the report (default 20000 items, about 10 MB)
//   bench_binding --peers-format FILE          one line per measurement on FILE, in the form of
//                                              the peers' table (name, MB/s, ...)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <expat.h>
#include <string>
#include <vector>

#include "benchsupport.h"
#include "krxmllib.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlBench;
using PurchaseOrder::CPurchaseOrderType;

namespace {

void XMLCALL NoStart(void*, const char*, const char**) {}
void XMLCALL NoEnd(void*, const char*) {}
void XMLCALL NoText(void*, const char*, int) {}
void XMLCALL NoNs(void*, const char*, const char*) {}

// The floor under any reader built on Expat: the same parser options, handlers that do nothing.
void RawExpat(const std::string& strXml)
{
    XML_Parser p = XML_ParserCreateNS(nullptr, '|');
    XML_SetElementHandler(p, NoStart, NoEnd);
    XML_SetCharacterDataHandler(p, NoText);
    XML_SetNamespaceDeclHandler(p, NoNs, nullptr);
    if (XML_Parse(p, strXml.data(), static_cast<int>(strXml.size()), 1) != XML_STATUS_OK)
        std::fprintf(stderr, "expat failed\n");
    XML_ParserFree(p);
}

const CSerializationContext& WriteContext() { return IndentedContext(PurchaseOrder::kNamespace); }

void Read(const std::string& strXml, CSmartPtr<CPurchaseOrderType>& spOrder)
{
    spOrder = new CPurchaseOrderType;
    spOrder->FromXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strXml.data())),
                           static_cast<uint32_t>(strXml.size()), CSerializationContext::GetDefaultContext());
}

CBinaryData Write(const CPurchaseOrderType& order)
{
    return order.ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, WriteContext(), CompressionType_None);
}

double MBps(size_t nBytes, double dSeconds) { return nBytes / 1e6 / dSeconds; }

// Peak resident memory of one read beyond what the process held with the input loaded.
double ReadPeakOverInput(const std::string& strXml)
{
    size_t nBefore = CurrentRssBytes();
    ResetPeakRss();
    {
        CSmartPtr<CPurchaseOrderType> spOrder;
        Read(strXml, spOrder);
        size_t nPeak = PeakRssBytes();
        return nPeak > nBefore ? (nPeak - nBefore) / 1e6 : 0.0;
    }
}

int PeersFormat(const char* lpPath, int nRuns)
{
    std::string strXml = ReadWholeFile(lpPath);
    if (strXml.empty())
    {
        std::fprintf(stderr, "cannot read %s\n", lpPath);
        return 1;
    }
    double dRss = CurrentRssBytes() / 1e6;
    double dOver = ReadPeakOverInput(strXml);
    CSmartPtr<CPurchaseOrderType> spOrder;
    Timing expat = Time(nRuns, [&] { RawExpat(strXml); });
    Timing read = Time(nRuns, [&] { Read(strXml, spOrder); });
    size_t nOut = Write(*spOrder).GetLength();
    Timing write = Time(nRuns, [&] { Write(*spOrder); });
    std::printf("krxml-expat-raw           %.1f MB/s median-of-%d  best-run %.1f\n", MBps(strXml.size(), expat.dMedian),
                nRuns, MBps(strXml.size(), expat.dBest));
    std::printf("krxml-read                %.1f MB/s median-of-%d  best-run %.1f  peak-rss %.1f MB (+%.1f after input "
                "loaded)\n",
                MBps(strXml.size(), read.dMedian), nRuns, MBps(strXml.size(), read.dBest), dRss + dOver, dOver);
    std::printf("krxml-write               %.1f MB/s median-of-%d  best-run %.1f\n", MBps(nOut, write.dMedian), nRuns,
                MBps(nOut, write.dBest));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    int nItems = 20000;
    int nRuns = 7;
    const char* lpPeersFile = nullptr;
    const char* lpOnly = nullptr;  // "read", "write" or "expat": one loop only, for a profiler
    for (int i = 1; i < argc; ++i)
    {
        if (!std::strcmp(argv[i], "--items") && i + 1 < argc)
            nItems = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--runs") && i + 1 < argc)
            nRuns = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--only") && i + 1 < argc)
            lpOnly = argv[++i];
        else if (!std::strcmp(argv[i], "--peers-format") && i + 1 < argc)
            lpPeersFile = argv[++i];
        else
        {
            std::fprintf(stderr, "usage: bench_binding [--items N] [--runs R] | --peers-format FILE\n");
            return 2;
        }
    }
    try
    {
        if (lpPeersFile)
            return PeersFormat(lpPeersFile, nRuns);

        std::string strPath = MakePurchaseOrderFile(nItems);
        std::string strXml = strPath.empty() ? std::string() : ReadWholeFile(strPath);
        if (strXml.empty())
        {
            std::fprintf(stderr, "could not make the sample document\n");
            return 1;
        }
        CSmartPtr<CPurchaseOrderType> spOrder;
        if (lpOnly)
        {
            Read(strXml, spOrder);
            for (int i = 0; i < nRuns; ++i)
                if (!std::strcmp(lpOnly, "read"))
                    Read(strXml, spOrder);
                else if (!std::strcmp(lpOnly, "expat"))
                    RawExpat(strXml);
                else
                    Write(*spOrder);
            return 0;
        }
        double dOver = ReadPeakOverInput(strXml);
        Timing expat = Time(nRuns, [&] { RawExpat(strXml); });
        Timing read = Time(nRuns, [&] { Read(strXml, spOrder); });
        size_t nOut = Write(*spOrder).GetLength();
        Timing write = Time(nRuns, [&] { Write(*spOrder); });

        std::printf("purchase order: %d items, %.1f MB in, %.1f MB out; best / median of %d runs\n", nItems,
                    strXml.size() / 1e6, nOut / 1e6, nRuns);
        std::printf("  raw Expat                 %7.1f / %7.1f MB/s\n", MBps(strXml.size(), expat.dBest),
                    MBps(strXml.size(), expat.dMedian));
        std::printf("  FromXmlStream (bound)     %7.1f / %7.1f MB/s   %.2f of raw Expat (best)\n",
                    MBps(strXml.size(), read.dBest), MBps(strXml.size(), read.dMedian), expat.dBest / read.dBest);
        std::printf("  ToXmlStream (bound)       %7.1f / %7.1f MB/s\n", MBps(nOut, write.dBest),
                    MBps(nOut, write.dMedian));
        std::printf("  read peak memory over input  %.1f MB = %.2f MB per MB\n", dOver, dOver / (strXml.size() / 1e6));
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "%s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
