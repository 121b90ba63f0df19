#include "testsupport.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <unistd.h>

#include "functions.h"

namespace KrXmlTest {

static std::string TempDir()
{
    static std::string s_strDir = [] {
        char szTemplate[] = "/tmp/krxmltest.XXXXXX";
        const char* p = mkdtemp(szTemplate);
        return std::string(p ? p : "/tmp");
    }();
    return s_strDir;
}

std::string TempPath(const std::string& strName)
{
    return TempDir() + "/" + strName;
}

std::string ReadFileBytes(const std::string& strPath)
{
    std::ifstream in(strPath, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void WriteFileBytes(const std::string& strPath, const std::string& strBytes)
{
    std::ofstream out(strPath, std::ios::binary | std::ios::trunc);
    out.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
}

static std::mutex s_captureMutex;
static std::string s_strCaptured;

static void CaptureSink(const char* lpText)
{
    std::lock_guard<std::mutex> lock(s_captureMutex);
    s_strCaptured += lpText;
}

DebugCapture::DebugCapture()
{
    std::lock_guard<std::mutex> lock(s_captureMutex);
    s_strCaptured.clear();
    KrXmlLib16::SetDebugOutput(&CaptureSink);
}

DebugCapture::~DebugCapture()
{
    KrXmlLib16::SetDebugOutput(nullptr);
}

std::string DebugCapture::Text() const
{
    std::lock_guard<std::mutex> lock(s_captureMutex);
    return s_strCaptured;
}

::testing::AssertionResult KrChainIs(const KrXmlLib16::CKrException& e, const std::vector<KrLink>& links)
{
    std::ostringstream actual;
    bool bMatch = true;
    size_t i = 0;
    for (const KrXmlLib16::CKrException* p = &e; p; p = p->GetInnerException(), ++i)
    {
        actual << "\n  [" << i << "] " << typeid(*p).name() << " \"" << p->GetMessage() << "\" path \"" << p->GetPath()
               << "\"";
        if (i >= links.size())
        {
            bMatch = false;
            continue;
        }
        const KrLink& link = links[i];
        const std::string strMessage =
            link.strPath.empty() ? link.strMessage : link.strMessage + "\nPath: " + link.strPath;
        if (typeid(*p) != link.type.get() || p->GetMessage() != strMessage || p->GetPath() != link.strPath)
            bMatch = false;
    }
    if (bMatch && i == links.size())
        return ::testing::AssertionSuccess();
    std::ostringstream expected;
    for (size_t j = 0; j < links.size(); ++j)
        expected << "\n  [" << j << "] " << links[j].type.get().name() << " \"" << links[j].strMessage << "\" path \""
                 << links[j].strPath << "\"";
    return ::testing::AssertionFailure() << "exception chain differs\nexpected:" << expected.str()
                                         << "\nactual:" << actual.str();
}

} // namespace KrXmlTest
