// Tree building against raw Expat on the same bytes, file and callback routes, and memory.
#include <cstdio>
#include <algorithm>
#include <cstring>
#include <expat.h>
#include <sys/stat.h>
#include <unistd.h>

#include "benchsupport.h"
#include "krxmllib.h"

using namespace KrXmlLib16;
using namespace KrXmlBench;

namespace {

void XMLCALL NoStart(void*, const char*, const char**) {}
void XMLCALL NoEnd(void*, const char*) {}
void XMLCALL NoText(void*, const char*, int) {}
void XMLCALL NoNs(void*, const char*, const char*) {}

// The floor: Expat with the same parser options and handlers that do nothing, given the whole
// input at once or in slices of 256 KB (the library's way), whichever is faster.
void RawExpat(const std::string& strXml, size_t nSlice)
{
    XML_Parser p = XML_ParserCreateNS(nullptr, '|');
    XML_SetElementHandler(p, NoStart, NoEnd);
    XML_SetCharacterDataHandler(p, NoText);
    XML_SetNamespaceDeclHandler(p, NoNs, nullptr);
    for (size_t nDone = 0; nDone < strXml.size();)
    {
        size_t n = std::min(nSlice, strXml.size() - nDone);
        if (XML_Parse(p, strXml.data() + nDone, static_cast<int>(n), nDone + n == strXml.size()) != XML_STATUS_OK)
        {
            std::fprintf(stderr, "expat failed\n");
            break;
        }
        nDone += n;
    }
    XML_ParserFree(p);
}

class CCountingObject : public CXmlObjectBase
{
public:
    size_t m_nElements = 0;
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }

protected:
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* pChild, const CSerializationContext&, bool) override
    {
        for (; pChild; pChild = pChild->GetNextSiblingElement())
            ++m_nElements;
        return nullptr;
    }
};

size_t g_nCallbackElements = 0;
bool CountAndDrop(CXmlElement*)
{
    ++g_nCallbackElements;
    return true;
}

double MB(size_t n) { return n / 1e6; }

} // namespace

// Loads one file through the callback route and prints the peak memory beyond the input.
int MeasureCallbackMemory(const char* lpPath)
{
    struct stat st;
    if (stat(lpPath, &st) != 0)
        return 1;
    size_t nFileSize = static_cast<size_t>(st.st_size);
    size_t nBefore = CurrentRssBytes();
    ResetPeakRss();
    {
        CXmlDocument cb(&CountAndDrop);
        cb.Load(lpPath);
    }
    size_t nPeak = PeakRssBytes();
    double dExtra = nPeak > nBefore + nFileSize ? MB(nPeak - nBefore - nFileSize) : 0.0;
    std::printf("  %7.1f MB input, %9zu elements: peak %6.2f MB beyond the input buffer\n", MB(nFileSize),
                g_nCallbackElements, dExtra);
    return 0;
}

int main(int argc, char** argv)
{
    if (argc > 2 && std::strcmp(argv[1], "--callback-memory") == 0)
        return MeasureCallbackMemory(argv[2]);
    int nItems = argc > 1 ? std::atoi(argv[1]) : 20000;
    int nRuns = argc > 2 ? std::atoi(argv[2]) : 5;
    std::string strPath = MakePurchaseOrderFile(nItems);
    if (strPath.empty())
    {
        std::fprintf(stderr, "could not write the sample document to the temporary directory\n");
        return 1;
    }
    std::string strXml = ReadWholeFile(strPath);
    double dSize = MB(strXml.size());
    std::printf("document: %s, %.2f MB\n\n", strPath.c_str(), dSize);

    double tExpatWhole = BestSeconds(nRuns, [&] { RawExpat(strXml, strXml.size()); });
    double tExpatSliced = BestSeconds(nRuns, [&] { RawExpat(strXml, 256 * 1024); });
    double tExpat = std::min(tExpatWhole, tExpatSliced);
    CXmlDocument doc;
    double tTree = BestSeconds(nRuns, [&] { doc.LoadXml(strXml.c_str()); });
    size_t nBase = CurrentRssBytes();
    {
        CXmlDocument fresh;
        ResetPeakRss();
        fresh.LoadXml(strXml.c_str());
    }
    size_t nTreePeak = PeakRssBytes() > nBase ? PeakRssBytes() - nBase : 0;

    double tFile = BestSeconds(nRuns, [&] {
        CSmartPtr<CCountingObject> p(new CCountingObject);
        p->FromXmlFile(strPath.c_str(), CSerializationContext::GetDefaultContext());
    });
    double tCallback = BestSeconds(nRuns, [&] {
        CXmlDocument cb(&CountAndDrop);
        cb.Load(strPath.c_str());
    });

    std::printf("%-34s %10s %10s\n", "route", "MB/s", "vs Expat");
    std::printf("%-34s %10.1f %10.2f\n", "raw Expat, whole input", dSize / tExpatWhole, tExpat / tExpatWhole);
    std::printf("%-34s %10.1f %10.2f\n", "raw Expat, 256 KB slices", dSize / tExpatSliced, tExpat / tExpatSliced);
    std::printf("%-34s %10.1f %10.2f\n", "CXmlDocument::LoadXml (memory)", dSize / tTree, tExpat / tTree);
    std::printf("%-34s %10.1f %10.2f\n", "FromXmlFile", dSize / tFile, tExpat / tFile);
    std::printf("%-34s %10.1f %10.2f\n", "callback route (Load)", dSize / tCallback, tExpat / tCallback);
    std::printf("\ntree peak memory: %.2f MB for %.2f MB of input = %.2f MB per MB (input copy included)\n",
                MB(nTreePeak), dSize, MB(nTreePeak) / dSize);
    std::printf("bar: tree building >= 0.5 of raw Expat: %s\n\n", tExpat / tTree >= 0.5 ? "met" : "NOT MET");

    // The callback route holds the file buffer and one item at a time: beyond the input its
    // memory grows with nothing. Each size is measured in a fresh process, so that memory freed
    // by earlier runs doesn't hide or inflate the figure.
    std::printf("callback route memory as the document grows (fresh process each):\n");
    for (int nScale : {1, 2, 4})
    {
        std::string strBig = MakePurchaseOrderFile(nItems * nScale);
        char szSelf[4096] = {};
        if (readlink("/proc/self/exe", szSelf, sizeof(szSelf) - 1) <= 0)
            break;
        std::string strCmd = std::string(szSelf) + " --callback-memory " + strBig;
        std::fflush(stdout);
        if (std::system(strCmd.c_str()) != 0)
            std::printf("  measurement failed for %s\n", strBig.c_str());
    }
    return 0;
}
