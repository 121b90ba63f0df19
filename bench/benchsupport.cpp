#include "benchsupport.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "krxmllib.h"
#include <unistd.h>
#include <vector>

#include "pogenerator.h"

namespace KrXmlBench {

const KrXmlLib16::CSerializationContext& IndentedContext(const char* lpDefaultNamespace)
{
    static KrXmlLib16::CSerializationContext* pContext = [lpDefaultNamespace] {
        auto* p = new KrXmlLib16::CSerializationContext;  // lives as long as the program
        p->SetIndentChars("  ");
        p->SetDefaultNamespaceURI(lpDefaultNamespace);
        return p;
    }();
    return *pContext;
}

namespace {

// The documents made by this process, removed at its exit.
std::vector<std::string>& MadeFiles()
{
    static std::vector<std::string> s_files;
    return s_files;
}

void RemoveMadeFiles()
{
    for (const std::string& strPath : MadeFiles())
        std::remove(strPath.c_str());
}

} // namespace

std::string MakePurchaseOrderFile(int nItems)
{
    // One file per process and size: benchmarks may run side by side.
    std::string strPath = (std::filesystem::temp_directory_path() /
                           ("krxml-po-" + std::to_string(getpid()) + "-" + std::to_string(nItems) + ".xml"))
                              .string();
    for (const std::string& strMade : MadeFiles())
        if (strMade == strPath)
            return strPath;
    std::FILE* pFile = std::fopen(strPath.c_str(), "wb");
    if (!pFile)
        return std::string();
    bool bFailed = false;
    CPurchaseOrderGenerator().Generate(static_cast<size_t>(nItems), [&](const char* p, size_t n) {
        if (!bFailed && std::fwrite(p, 1, n, pFile) != n)
            bFailed = true;
    });
    if (std::fclose(pFile) != 0 || bFailed)
    {
        std::remove(strPath.c_str());
        return std::string();
    }
    if (MadeFiles().empty())
        std::atexit(RemoveMadeFiles);
    MadeFiles().push_back(strPath);
    return strPath;
}

std::string ReadWholeFile(const std::string& strPath)
{
    std::ifstream in(strPath, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

static size_t ReadStatusField(const char* lpField)
{
    std::ifstream in("/proc/self/status");
    std::string strLine;
    size_t n = std::string(lpField).size();
    while (std::getline(in, strLine))
        if (strLine.compare(0, n, lpField) == 0)
            return static_cast<size_t>(std::strtoull(strLine.c_str() + n, nullptr, 10)) * 1024;
    return 0;
}

size_t PeakRssBytes()
{
    return ReadStatusField("VmHWM:");
}

size_t CurrentRssBytes()
{
    return ReadStatusField("VmRSS:");
}

void ResetPeakRss()
{
    // Writing 5 to clear_refs resets the peak resident size mark (Linux 4.0 and later).
    std::ofstream out("/proc/self/clear_refs");
    out << "5";
}

} // namespace KrXmlBench
