#include "testsupport.h"

#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "krxmllib.h"
#include "platform.h"

using namespace KrXmlLib16;

namespace {

std::string LocalFromWide(unsigned cp, const std::vector<uint16_t>& wide)
{
    size_t n = Platform::WideToLocal(cp, wide.data(), wide.size(), nullptr, 0);
    std::string s(n, '\0');
    Platform::WideToLocal(cp, wide.data(), wide.size(), &s[0], n);
    return s;
}

std::vector<uint16_t> WideFromLocal(unsigned cp, const std::string& s)
{
    size_t n = Platform::LocalToWide(cp, s.data(), s.size(), nullptr, 0);
    std::vector<uint16_t> v(n);
    Platform::LocalToWide(cp, s.data(), s.size(), v.data(), n);
    return v;
}

TEST(CodePages, SingleByteAndReplacement)
{
    // e-acute, euro sign, a CJK character
    std::vector<uint16_t> wide = {'a', 0xE9, 0x20AC, 0x4E2D};
    EXPECT_EQ("a\xE9\x80?", LocalFromWide(1252, wide));
    EXPECT_EQ("a\xE9??", LocalFromWide(28591, wide));
    EXPECT_EQ((std::vector<uint16_t>{'a', 0xE9, 0x20AC}), WideFromLocal(1252, "a\xE9\x80"));
    EXPECT_EQ((std::vector<uint16_t>{0x80}), WideFromLocal(28591, "\x80"));
    EXPECT_EQ("CP1252", Platform::CodePageName(1252));
    EXPECT_EQ("ISO-8859-1", Platform::CodePageName(28591));
    EXPECT_EQ("UTF-16LE", Platform::CodePageName(1200));
}

TEST(CodePages, Utf8BothWaysWithSurrogatesAndBadBytes)
{
    std::vector<uint16_t> wide = {'x', 0xE9, 0xD83D, 0xDE00};  // U+1F600 as a pair
    EXPECT_EQ("x\xC3\xA9\xF0\x9F\x98\x80", LocalFromWide(65001, wide));
    EXPECT_EQ(wide, WideFromLocal(0, "x\xC3\xA9\xF0\x9F\x98\x80"));
    // A lone continuation byte, a truncated sequence and an overlong form each become U+FFFD.
    EXPECT_EQ((std::vector<uint16_t>{0xFFFD, 'a', 0xFFFD, 0xFFFD, 0xFFFD}), WideFromLocal(3, "\x80" "a\xC3\xC0\xAF"));
    EXPECT_EQ("\xEF\xBF\xBD", LocalFromWide(65001, {0xDC00}));  // unpaired surrogate
}

TEST(CodePages, Utf8ToLocalFollowsTheSwitches)
{
    EXPECT_EQ("caf\xC3\xA9", Utf8ToLocal("caf\xC3\xA9"));
    SetLocalCharEncoding(1252);
    EXPECT_EQ("caf\xE9", Utf8ToLocal("caf\xC3\xA9"));
    uint16_t wideScratch[4];
    char narrowScratch[4];
    std::string strLong(600, 'x');
    strLong += "\xE2\x82\xAC";  // longer than the scratch: the allocating path
    EXPECT_EQ(std::string(600, 'x') + "\x80", Utf8ToLocal(strLong.c_str(), strLong.size(), wideScratch, 4, narrowScratch, 4));
    ASCIIOnly(true);
    EXPECT_EQ("caf\xC3\xA9", Utf8ToLocal("caf\xC3\xA9"));
    ASCIIOnly(false);
    SetLocalCharEncoding(0);
    EXPECT_EQ("", Utf8ToLocal(static_cast<const char*>(nullptr)));
}

TEST(Files, ErrorsAreTheHostsCodes)
{
    Platform::FileHandle h;
    EXPECT_EQ(2u, Platform::OpenFileForRead("/nonexistent/file", h));
    EXPECT_EQ(Platform::kInvalidFile, h);
    EXPECT_EQ(2u, Platform::CreateFileForWrite("/nonexistent/dir/file", h));
    ASSERT_EQ(0u, Platform::CreateFileForWrite("/dev/full", h));
    EXPECT_EQ(28u, Platform::WriteFile(h, "abc", 3));  // ENOSPC
    Platform::CloseFile(h);
    Platform::CloseFile(h);  // harmless twice
}

TEST(Files, BackgroundWritesAndReadsInOrder)
{
    std::string strPath = KrXmlTest::TempPath("bg.bin");
    Platform::FileHandle h;
    ASSERT_EQ(0u, Platform::CreateFileForWrite(strPath.c_str(), h));
    {
        Platform::BackgroundFileIo io;
        uint64_t n = 0;
        EXPECT_EQ(0u, io.Wait(n));  // nothing in flight
        io.StartWrite(h, "hello ", 6, 0);
        io.StartWrite(h, "world", 5, 6);  // waits for the first one itself
        EXPECT_EQ(0u, io.Wait(n));
        EXPECT_EQ(5u, n);
    }
    Platform::CloseFile(h);
    EXPECT_EQ("hello world", KrXmlTest::ReadFileBytes(strPath));

    ASSERT_EQ(0u, Platform::OpenFileForRead(strPath.c_str(), h));
    Platform::BackgroundFileIo io;
    char buf[16] = {};
    io.StartRead(h, buf, sizeof(buf), 6);
    uint64_t n = 0;
    EXPECT_EQ(0u, io.Wait(n));
    EXPECT_EQ(5u, n);  // a short count tells the end of the file
    EXPECT_STREQ("world", buf);
    Platform::CloseFile(h);
}

TEST(Time, FileTimeToSystemTime)
{
    // 2000-02-29 12:34:56.789 UTC
    uint64_t q = (uint64_t(946684800) + 59 * 86400 + 12 * 3600 + 34 * 60 + 56) * 10000000ull + 7890000ull +
                 116444736000000000ull;
    Platform::FileTime ft{static_cast<uint32_t>(q), static_cast<uint32_t>(q >> 32)};
    Platform::SystemTime st;
    ASSERT_TRUE(Platform::FileTimeToSystemTime(ft, st));
    // Fields in order, the weekday (a Tuesday) in its place.
    EXPECT_EQ((std::vector<int>{2000, 2, 2, 29, 12, 34, 56, 789}),
              (std::vector<int>{st.wYear, st.wMonth, st.wDayOfWeek, st.wDay, st.wHour, st.wMinute, st.wSecond,
                                st.wMilliseconds}));
    Platform::FileTime zero{0, 0};
    ASSERT_TRUE(Platform::FileTimeToSystemTime(zero, st));
    EXPECT_EQ(1601, st.wYear);
    EXPECT_EQ(1, st.wDayOfWeek);  // a Monday
}

// The report at unload goes to the debug sink. A child process installs a sink that writes to
// a pipe, leaves one monitored object alive and exits normally.
int g_reportFd = -1;
void PipeSink(const char* lpText)
{
    ssize_t n = write(g_reportFd, lpText, std::strlen(lpText));
    (void)n;
}

TEST(InstanceMonitor, ReportAtUnload)
{
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0)
    {
        close(fds[0]);
        g_reportFd = fds[1];
        SetDebugOutput(&PipeSink);
        static CXmlDocument* s_pAlive = new CXmlDocument();  // still alive (and reachable) at exit
        (void)s_pAlive;
        std::exit(0);
    }
    close(fds[1]);
    std::string strReport;
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof(buf))) > 0)
        strReport.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_EQ(0u, strReport.find("Dumping Class instances\nInstances of classes still in existence/Total Number of "
                                 "instances created\n"))
        << strReport;
    EXPECT_NE(std::string::npos, strReport.find("--> CXmlDocument = 1/")) << strReport;
    EXPECT_EQ('\n', strReport.back());
}

} // namespace
