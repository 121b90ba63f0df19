// Round trip of a whole document through untyped content (read from memory into a CElement,
// write it as UTF-8 bytes) beside libxml2 (xmlReadMemory, then save to memory) and pugixml
// (parse, then save) on the same bytes in the same process; time and peak memory per MB.
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

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

// In a fresh process, so that memory freed by another library doesn't count for this one.
int MeasureMemory(const char* lpWho, const char* lpPath)
{
    RoundTrip fn = Pick(lpWho);
    if (!fn)
        return 1;
    std::string strXml = ReadWholeFile(lpPath);
    size_t nBase = CurrentRssBytes();
    ResetPeakRss();
    fn(strXml);
    size_t nPeak = PeakRssBytes();
    std::printf("%.2f\n", nPeak > nBase ? (nPeak - nBase) / 1e6 / (strXml.size() / 1e6) : 0.0);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--memory") == 0)
        return MeasureMemory(argv[2], argv[3]);
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
    std::printf("document: %s, %.2f MB; read from memory and written to memory as UTF-8\n\n", strPath.c_str(), dMB);
    std::printf("%-38s %10s %12s %14s\n", "round trip (best of the runs)", "MB/s", "vs CElement", "peak MB per MB");

    char szSelf[4096] = {};
    ssize_t nSelf = readlink("/proc/self/exe", szSelf, sizeof(szSelf) - 1);
    // The three take turns, so that each meets the heap as the others leave it, and each
    // keeps its best time.
    const char* const kWho[] = {"krxml", "libxml2", "pugixml"};
    double best[3] = {1e300, 1e300, 1e300};
    for (int iRun = 0; iRun < nRuns; ++iRun)
        for (int i = 0; i < 3; ++i)
            if (RoundTrip fn = Pick(kWho[i]))
            {
                double t = BestSeconds(1, [&] { fn(strXml); });
                if (t < best[i])
                    best[i] = t;
            }
    for (int i = 0; i < 3; ++i)
    {
        const char* lpWho = kWho[i];
        if (!Pick(lpWho))
        {
            std::printf("%-38s %10s\n", lpWho, "(not built)");
            continue;
        }
        std::string strMemory = "?";
        if (nSelf > 0)
        {
            std::string strCmd = std::string(szSelf) + " --memory " + lpWho + " " + strPath;
            if (FILE* p = popen(strCmd.c_str(), "r"))
            {
                char buf[64] = {};
                if (std::fgets(buf, sizeof(buf), p))
                    strMemory = std::string(buf, std::strcspn(buf, "\n"));
                pclose(p);
            }
        }
        const char* lpLabel = i == 0 ? "CElement (FromXmlStream+ToXmlStream)"
                              : i == 1 ? "libxml2 (xmlReadMemory+dump)"
                                       : "pugixml (parse+save)";
        std::printf("%-38s %10.1f %11.2fx %14s\n", lpLabel, dMB / best[i], best[0] / best[i], strMemory.c_str());
    }
    std::printf("\nbar: CElement round trip at least as fast as libxml2: %s\n", best[0] <= best[1] ? "met" : "NOT MET");
    return 0;
}
