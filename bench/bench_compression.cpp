// Compressed writing and reading of a purchase order's bound objects in each format (XML text,
// JSON, Fast Infoset) beside the uncompressed figures of the same run; then Load's overlapped
// route beside the plain route on a large file, with the file's pages dropped from the cache
// before each cold read.
//
//   bench_compression [--items N] [--runs R] [--big-mb M]
//   (defaults: 20000 items, about 10 MB of XML; a file of 100 MB for the two routes)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "benchsupport.h"
#include "krxmllib.h"
#include "pogenerator.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlBench;
using PurchaseOrder::CPurchaseOrderType;

namespace {

const CSerializationContext& Context() { return IndentedContext(PurchaseOrder::kNamespace); }

enum class Format { Xml, Json, Fi };
const char* const kFormatNames[] = {"XML", "JSON", "FI"};
const char* const kCompressionNames[] = {"none", "gzip", "zlib"};

CBinaryData Write(const CPurchaseOrderType& order, Format eFormat, CompressionType eCompression)
{
    switch (eFormat)
    {
    case Format::Xml:
        return order.ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, Context(), eCompression);
    case Format::Json:
        return order.ToJsonStream(true, XmlEncoding_UTF8, EOLType_LF, Context(), eCompression);
    case Format::Fi:
        break;
    }
    return order.ToFastInfosetStream(FInfoDecl_Encoding, Context(), eCompression);
}

void Read(const CBinaryData& data, Format eFormat)
{
    CSmartPtr<CPurchaseOrderType> spOrder(new CPurchaseOrderType);
    // The XML road recognises Fast Infoset by its header, and both roads compressed input.
    if (eFormat == Format::Json)
        spOrder->FromJsonStream(data, Context());
    else
        spOrder->FromXmlStream(data, Context());
}

double MBps(size_t nBytes, double dSeconds) { return nBytes / 1e6 / dSeconds; }

// Drops the file's pages from the page cache, so that the next read comes from the disk.
// Answers false where the host keeps them (the cold figure is then a warm one, and says so).
bool DropFromCache(const std::string& strPath)
{
    int fd = open(strPath.c_str(), O_RDONLY);
    if (fd < 0)
        return false;
    fdatasync(fd);
    bool bDone = posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED) == 0;
    close(fd);
    return bDone;
}

// A large document written once into a temporary file; the tree is dropped as elements close,
// so that the figures are of reading and parsing rather than of the tree's memory.
std::string MakeBigFile(size_t nMegabytes)
{
    const char* lpTmp = std::getenv("TMPDIR");
    std::string strPath = std::string(lpTmp && *lpTmp ? lpTmp : "/tmp") + "/krxml_bench_big_" +
                          std::to_string(static_cast<long long>(getpid())) + ".xml";
    std::string strDoc = MakePurchaseOrder(nMegabytes * 1000000 / 490);
    std::FILE* f = std::fopen(strPath.c_str(), "wb");
    if (!f)
        return std::string();
    bool bOk = std::fwrite(strDoc.data(), 1, strDoc.size(), f) == strDoc.size();
    bOk = std::fclose(f) == 0 && bOk;
    return bOk ? strPath : std::string();
}

double LoadSeconds(const std::string& strPath, bool bAsync, bool bCold)
{
    if (bCold)
        DropFromCache(strPath);
    AsyncFromXmlFile(bAsync);
    double d = BestSeconds(1, [&] {
        CXmlDocument doc([](CXmlElement*) { return true; });
        doc.Load(strPath.c_str());
    });
    AsyncFromXmlFile(false);
    return d;
}

} // namespace

int main(int argc, char** argv)
{
    int nItems = 20000;
    int nRuns = 5;
    size_t nBigMb = 100;
    for (int i = 1; i < argc; ++i)
    {
        if (!std::strcmp(argv[i], "--items") && i + 1 < argc)
            nItems = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--runs") && i + 1 < argc)
            nRuns = std::max(1, std::atoi(argv[++i]));
        else if (!std::strcmp(argv[i], "--big-mb") && i + 1 < argc)
            nBigMb = static_cast<size_t>(std::atoi(argv[++i]));
        else
        {
            std::fprintf(stderr, "usage: bench_compression [--items N] [--runs R] [--big-mb M]\n");
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
        // Speeds are of the uncompressed XML text's size, so that every row counts one document.
        const size_t nXml = Write(*spOrder, Format::Xml, CompressionType_None).GetLength();
        std::printf("purchase order: %d items, XML %.1f MB; best of %d runs, MB/s of the XML size\n", nItems,
                    nXml / 1e6, nRuns);
        std::printf("  %-5s %-5s %10s %8s %10s %10s\n", "form", "comp.", "bytes", "of XML", "write", "read");
        for (Format eFormat : {Format::Xml, Format::Json, Format::Fi})
        {
            for (CompressionType eCompression : {CompressionType_None, CompressionType_GZip, CompressionType_ZLib})
            {
                const CBinaryData data = Write(*spOrder, eFormat, eCompression);
                double dWrite = BestSeconds(nRuns, [&] { Write(*spOrder, eFormat, eCompression); });
                double dRead = BestSeconds(nRuns, [&] { Read(data, eFormat); });
                std::printf("  %-5s %-5s %10u %7.1f%% %10.1f %10.1f\n", kFormatNames[static_cast<int>(eFormat)],
                            kCompressionNames[eCompression], data.GetLength(), 100.0 * data.GetLength() / nXml,
                            MBps(nXml, dWrite), MBps(nXml, dRead));
            }
        }

        if (nBigMb == 0)
            return 0;
        std::string strBig = MakeBigFile(nBigMb);
        if (strBig.empty())
        {
            std::fprintf(stderr, "could not write the large file\n");
            return 1;
        }
        struct Remove
        {
            std::string strPath;
            ~Remove() { std::remove(strPath.c_str()); }
        } removeBig{strBig};
        const size_t nBig = ReadWholeFile(strBig).size();
        const bool bCanDrop = DropFromCache(strBig);
        std::printf("\nLoad of a %.1f MB file into the tree (elements dropped as they close), best of %d:\n",
                    nBig / 1e6, nRuns);
        for (bool bCold : {true, false})
        {
            double dPlain = 1e300, dAsync = 1e300;
            // The routes take turns, so that a change in the machine's load falls on both.
            for (int i = 0; i < nRuns; ++i)
            {
                dPlain = std::min(dPlain, LoadSeconds(strBig, false, bCold));
                dAsync = std::min(dAsync, LoadSeconds(strBig, true, bCold));
            }
            std::printf("  %-24s plain %7.1f MB/s   overlapped %7.1f MB/s   (%.2f of plain's time)\n",
                        bCold ? (bCanDrop ? "cold (pages dropped)" : "cold (could not drop)") : "warm (in the cache)",
                        MBps(nBig, dPlain), MBps(nBig, dAsync), dAsync / dPlain);
        }
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "%s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
