// Round trip of a whole document through untyped content (read from memory into a CElement,
// write it as UTF-8 bytes) beside libxml2 (xmlReadMemory, then save to memory) and pugixml
// (parse, then save) on the same bytes in the same process; time and peak memory per MB.
#include <cstdio>
#include <algorithm>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "benchsupport.h"
#include "krxmllib.h"

#ifdef KRXML_HAVE_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef KRXML_HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/tree.h>
#endif

using namespace KrXmlLib16;
using namespace KrXmlBench;

namespace {

size_t RoundTripKr(const std::string& strXml)
{
    CSmartPtr<CElement> spE(new CElement(""));
    spE->FromXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strXml.data())),
                       static_cast<uint32_t>(strXml.size()), CSerializationContext::GetDefaultContext());
    CBinaryData out = spE->ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, CSerializationContext::GetDefaultContext(),
                                       CompressionType_None);
    return out.GetLength();
}

#ifdef KRXML_HAVE_LIBXML2
size_t RoundTripLibxml2(const std::string& strXml)
{
    xmlDocPtr doc = xmlReadMemory(strXml.data(), static_cast<int>(strXml.size()), "in.xml", nullptr, XML_PARSE_NONET);
    xmlChar* pOut = nullptr;
    int nOut = 0;
    xmlDocDumpMemoryEnc(doc, &pOut, &nOut, "UTF-8");
    xmlFree(pOut);
    xmlFreeDoc(doc);
    return static_cast<size_t>(nOut);
}
#endif

#ifdef KRXML_HAVE_PUGIXML
struct StringWriter : pugi::xml_writer
{
    std::string strOut;
    void write(const void* data, size_t size) override { strOut.append(static_cast<const char*>(data), size); }
};

size_t RoundTripPugixml(const std::string& strXml)
{
    pugi::xml_document doc;
    doc.load_buffer(strXml.data(), strXml.size());
    StringWriter writer;
    doc.save(writer);
    return writer.strOut.size();
}
#endif

using RoundTrip = size_t (*)(const std::string&);

RoundTrip Pick(const std::string& strName)
{
    if (strName == "krxml")
        return &RoundTripKr;
#ifdef KRXML_HAVE_LIBXML2
    if (strName == "libxml2")
        return &RoundTripLibxml2;
#endif
#ifdef KRXML_HAVE_PUGIXML
    if (strName == "pugixml")
        return &RoundTripPugixml;
#endif
    return nullptr;
}

// Each library runs in a fresh process of its own: the heap that one library leaves behind
// changes the cost of the next one's allocations (seen here: a peer's release of its tree ran
// four times faster after another library had grown the heap). Prints the peak memory of the
// first round trip per MB of input, then the best time of nRuns round trips.
int Measure(const char* lpWho, const char* lpPath, int nRuns)
{
    RoundTrip fn = Pick(lpWho);
    if (!fn)
        return 1;
    std::string strXml = ReadWholeFile(lpPath);
    size_t nBase = CurrentRssBytes();
    ResetPeakRss();
    BestSeconds(1, [&] { fn(strXml); });
    size_t nPeak = PeakRssBytes();
    std::vector<double> times;
    for (int i = 0; i < nRuns; ++i)
        times.push_back(BestSeconds(1, [&] { fn(strXml); }));
    std::sort(times.begin(), times.end());
    std::printf("%.6f %.6f %.2f\n", times.front(), times[times.size() / 2],
                nPeak > nBase ? (nPeak - nBase) / 1e6 / (strXml.size() / 1e6) : 0.0);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "--measure") == 0)
        return Measure(argv[2], argv[3], std::atoi(argv[4]));
    int nItems = argc > 1 ? std::atoi(argv[1]) : 20000;
    int nRuns = argc > 2 ? std::atoi(argv[2]) : 5;
    std::string strPath = MakePurchaseOrderFile(nItems);
    if (strPath.empty())
    {
        std::fprintf(stderr, "could not generate the sample document\n");
        return 1;
    }
    std::string strXml = ReadWholeFile(strPath);
    double dMB = strXml.size() / 1e6;
    std::printf("document: %s, %.2f MB; read from memory and written to memory as UTF-8;\n"
                "each library in a process of its own, %d round trips after a first one\n\n",
                strPath.c_str(), dMB, nRuns);
    std::printf("%-38s %8s %8s %12s %14s\n", "round trip, MB/s", "best", "median", "vs CElement", "peak MB per MB");

    char szSelf[4096] = {};
    if (readlink("/proc/self/exe", szSelf, sizeof(szSelf) - 1) <= 0)
        return 1;
    const char* const kWho[] = {"krxml", "libxml2", "pugixml"};
    const char* const kLabel[] = {"CElement (FromXmlStream+ToXmlStream)", "libxml2 (xmlReadMemory+dump)",
                                  "pugixml (parse+save)"};
    double best[3] = {0, 0, 0}, median[3] = {0, 0, 0};
    for (int i = 0; i < 3; ++i)
    {
        if (!Pick(kWho[i]))
        {
            std::printf("%-38s %10s\n", kWho[i], "(not built)");
            continue;
        }
        std::string strCmd = std::string(szSelf) + " --measure " + kWho[i] + " " + strPath + " " + std::to_string(nRuns);
        double dMemory = 0;
        if (FILE* p = popen(strCmd.c_str(), "r"))
        {
            if (std::fscanf(p, "%lf %lf %lf", &best[i], &median[i], &dMemory) != 3)
                best[i] = 0;
            pclose(p);
        }
        if (best[i] <= 0)
        {
            std::printf("%-38s %10s\n", kLabel[i], "(failed)");
            continue;
        }
        std::printf("%-38s %8.1f %8.1f %11.2fx %14.2f\n", kLabel[i], dMB / best[i], dMB / median[i],
                    median[0] / median[i], dMemory);
    }
    if (median[0] > 0 && median[1] > 0)
        std::printf("\nbar: CElement round trip at least as fast as libxml2 (median): %s; by best round trip: %s\n",
                    median[0] <= median[1] ? "met" : "NOT MET", best[0] <= best[1] ? "met" : "not met");
    return 0;
}
