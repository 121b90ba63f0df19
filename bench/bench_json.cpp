// A purchase order's bound objects written as JSON and read back, beside XML text writing and
// reading of the same objects in the same run, with the peak memory of each read.
//
//   bench_json [--items N] [--runs R]      the report (default 20000 items, about 10 MB)
//   bench_json --only xml|json --read|--write   one loop only, for a profiler
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "benchsupport.h"
#include "krxmllib.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlBench;
using PurchaseOrder::CPurchaseOrderType;

namespace {

const CSerializationContext& Context() { return IndentedContext(PurchaseOrder::kNamespace); }

CBinaryData WriteXml(const CPurchaseOrderType& order)
{
    return order.ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, Context(), CompressionType_None);
}

CBinaryData WriteJson(const CPurchaseOrderType& order)
{
    return order.ToJsonStream(true, XmlEncoding_UTF8, EOLType_LF, Context(), CompressionType_None);
}

void ReadXml(const CBinaryData& data, CSmartPtr<CPurchaseOrderType>& spOrder)
{
    spOrder = new CPurchaseOrderType;
    spOrder->FromXmlStream(data, Context());
}

void ReadJson(const CBinaryData& data, CSmartPtr<CPurchaseOrderType>& spOrder)
{
    spOrder = new CPurchaseOrderType;
    spOrder->FromJsonStream(data, Context());
}

// Peak resident memory of one read beyond what the process held before it, in MB.
template <typename ReadFn>
double PeakOfRead(const CBinaryData& data, ReadFn read)
{
    size_t nBefore = CurrentRssBytes();
    ResetPeakRss();
    CSmartPtr<CPurchaseOrderType> spOrder;
    read(data, spOrder);
    size_t nPeak = PeakRssBytes();
    return nPeak > nBefore ? (nPeak - nBefore) / 1e6 : 0.0;
}

double MBps(size_t nBytes, double dSeconds) { return nBytes / 1e6 / dSeconds; }

} // namespace

int main(int argc, char** argv)
{
    int nItems = 20000;
    int nRuns = 7;
    const char* lpOnly = nullptr;
    const char* lpPeak = nullptr;  // "xml" or "json": print the peak memory of one read alone
    bool bRead = true;
    for (int i = 1; i < argc; ++i)
    {
        if (!std::strcmp(argv[i], "--items") && i + 1 < argc)
            nItems = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--runs") && i + 1 < argc)
            nRuns = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--only") && i + 1 < argc)
            lpOnly = argv[++i];
        else if (!std::strcmp(argv[i], "--peak") && i + 1 < argc)
            lpPeak = argv[++i];
        else if (!std::strcmp(argv[i], "--read"))
            bRead = true;
        else if (!std::strcmp(argv[i], "--write"))
            bRead = false;
        else
        {
            std::fprintf(stderr, "usage: bench_json [--items N] [--runs R] [--only xml|json --read|--write]\n");
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
        CSmartPtr<CPurchaseOrderType> spOrder(new CPurchaseOrderType);
        spOrder->FromXml(strXml.c_str(), Context());
        const CBinaryData xml = WriteXml(*spOrder);
        const CBinaryData json = WriteJson(*spOrder);

        if (lpOnly)
        {
            const bool bJson = !std::strcmp(lpOnly, "json");
            CSmartPtr<CPurchaseOrderType> spRead;
            for (int i = 0; i < nRuns; ++i)
                if (bRead)
                    bJson ? ReadJson(json, spRead) : ReadXml(xml, spRead);
                else
                    bJson ? WriteJson(*spOrder) : WriteXml(*spOrder);
            return 0;
        }

        if (lpPeak)
        {
            std::printf("%.1f\n", !std::strcmp(lpPeak, "json") ? PeakOfRead(json, ReadJson) : PeakOfRead(xml, ReadXml));
            return 0;
        }
        // Each read's memory is measured in a process of its own, where nothing freed before can
        // serve it.
        auto peakInOwnProcess = [&](const char* lpForm) {
            std::string strCmd = std::string(argv[0]) + " --items " + std::to_string(nItems) + " --peak " + lpForm;
            double dPeak = 0;
            if (std::FILE* p = popen(strCmd.c_str(), "r"))
            {
                if (std::fscanf(p, "%lf", &dPeak) != 1)
                    dPeak = 0;
                pclose(p);
            }
            return dPeak;
        };
        double dXmlPeak = peakInOwnProcess("xml");
        double dJsonPeak = peakInOwnProcess("json");
        CSmartPtr<CPurchaseOrderType> spRead;
        Timing xmlWrite = Time(nRuns, [&] { WriteXml(*spOrder); });
        Timing jsonWrite = Time(nRuns, [&] { WriteJson(*spOrder); });
        Timing xmlRead = Time(nRuns, [&] { ReadXml(xml, spRead); });
        Timing jsonRead = Time(nRuns, [&] { ReadJson(json, spRead); });

        // Speeds are of the XML text's size, so that both forms count the same document.
        const size_t nXml = xml.GetLength();
        std::printf("purchase order: %d items, XML %.1f MB, JSON %.1f MB (%.0f%%); best / median of %d runs\n", nItems,
                    nXml / 1e6, json.GetLength() / 1e6, 100.0 * json.GetLength() / nXml, nRuns);
        std::printf("  write XML    %7.1f / %7.1f MB/s\n", MBps(nXml, xmlWrite.dBest), MBps(nXml, xmlWrite.dMedian));
        std::printf("  write JSON   %7.1f / %7.1f MB/s   %.2f of XML (best)\n", MBps(nXml, jsonWrite.dBest),
                    MBps(nXml, jsonWrite.dMedian), xmlWrite.dBest / jsonWrite.dBest);
        std::printf("  read XML     %7.1f / %7.1f MB/s   peak %.1f MB over the input\n", MBps(nXml, xmlRead.dBest),
                    MBps(nXml, xmlRead.dMedian), dXmlPeak);
        std::printf("  read JSON    %7.1f / %7.1f MB/s   %.2f of XML (best); peak %.1f MB over the input = %.2f of "
                    "XML's\n",
                    MBps(nXml, jsonRead.dBest), MBps(nXml, jsonRead.dMedian), xmlRead.dBest / jsonRead.dBest,
                    dJsonPeak, dXmlPeak > 0 ? dJsonPeak / dXmlPeak : 0.0);
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "%s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
