#include "benchsupport.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>

namespace KrXmlBench {

std::string MakePurchaseOrderFile(int nItems)
{
    std::string strPath = "/tmp/krxml-po-" + std::to_string(nItems) + ".xml";
    struct stat st;
    if (stat(strPath.c_str(), &st) == 0 && st.st_size > 0)
        return strPath;
    std::string strCmd = "python3 " KRXML_SHARED_DIR "/bench/gen_po.py --items " + std::to_string(nItems) + " > " +
                         strPath + ".tmp && mv " + strPath + ".tmp " + strPath;
    if (std::system(strCmd.c_str()) != 0)
        return std::string();
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
