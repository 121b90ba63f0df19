// Hostile input: each case runs in a child process of its own, so that its time and its peak
// memory are its own, and must end within 5 seconds and 1 GB, refused with the library's
// exception where it is refused. The krxml cases run the tool as a user would.
//
// bench_hostile [--krxml PATH] [--keep] [--time-bar SECONDS]    exit status 1 if a case misses
// its bar. CI runs it with a wider time bar, which still catches any cost that grows faster than
// the input, on a machine whose speed it can't choose.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <zlib.h>

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

double g_dMaxSeconds = 5.0;
const long kMaxKilobytes = 1L << 20;  // 1 GB
const int kKillAfterSeconds = 60;

std::string g_strDir;
std::string g_strKrxml = KRXML_TOOL_PATH;

std::string PathOf(const char* lpName)
{
    return g_strDir + "/" + lpName;
}

void WriteFile(const std::string& strPath, const std::string& strContent)
{
    std::FILE* f = std::fopen(strPath.c_str(), "wb");
    if (!f || std::fwrite(strContent.data(), 1, strContent.size(), f) != strContent.size() || std::fclose(f) != 0)
    {
        std::fprintf(stderr, "cannot write %s\n", strPath.c_str());
        std::exit(2);
    }
}

std::string Repeat(const std::string& str, size_t n)
{
    std::string strOut;
    strOut.reserve(str.size() * n);
    for (size_t i = 0; i < n; ++i)
        strOut += str;
    return strOut;
}

std::string BillionLaughs()
{
    std::string str = "<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n<!ENTITY lol \"lol\">\n";
    std::string strPrev = "lol";
    for (int i = 1; i <= 9; ++i)
    {
        std::string strName = "lol" + std::to_string(i);
        str += "<!ENTITY " + strName + " \"" + Repeat("&" + strPrev + ";", 10) + "\">\n";
        strPrev = strName;
    }
    return str + "]>\n<lolz>&lol9;</lolz>\n";
}

std::string QuadraticBlowup()
{
    return "<?xml version=\"1.0\"?>\n<!DOCTYPE r [<!ENTITY a \"" + std::string(50000, 'A') + "\">]>\n<r>" +
           Repeat("&a;", 50000) + "</r>\n";
}

std::string Deep(size_t n)
{
    return Repeat("<a>", n) + Repeat("</a>", n);
}

std::string NestedDeclarations(size_t n)
{
    std::string str;
    for (size_t i = 0; i < n; ++i)
        str += "<p" + std::to_string(i) + ":e xmlns:p" + std::to_string(i) + "=\"urn:" + std::to_string(i) + "\">";
    for (size_t i = n; i-- > 0;)
        str += "</p" + std::to_string(i) + ":e>";
    return str;
}

std::string SiblingPrefixes(size_t n)
{
    std::string str = "<r>";
    for (size_t i = 0; i < n; ++i)
        str += "<p" + std::to_string(i) + ":e xmlns:p" + std::to_string(i) + "=\"urn:" + std::to_string(i) + "\"/>";
    return str + "</r>";
}

std::string ManyAttributes(size_t n)
{
    std::string str = "<r";
    for (size_t i = 0; i < n; ++i)
        str += " a" + std::to_string(i) + "=\"1\"";
    return str + "/>";
}

// About 10 MB of gzip that inflate to 10 GB of zero bytes: one megabyte deflated and flushed
// to a byte boundary is a block that can follow itself, so the whole is never deflated here.
std::string GzipBomb(uint64_t qwMegabytes)
{
    const uInt kBlock = 1 << 20;
    std::string strZeros(kBlock, '\0'), strOut(2 * kBlock, '\0');
    z_stream zs;
    std::memset(&zs, 0, sizeof(zs));
    deflateInit2(&zs, 9, Z_DEFLATED, 31, 9, Z_DEFAULT_STRATEGY);
    auto deflateBlock = [&](int iFlush) {
        zs.next_in = reinterpret_cast<Bytef*>(&strZeros[0]);
        zs.avail_in = iFlush == Z_FINISH ? 0 : kBlock;
        zs.next_out = reinterpret_cast<Bytef*>(&strOut[0]);
        zs.avail_out = static_cast<uInt>(strOut.size());
        deflate(&zs, iFlush);
        return strOut.substr(0, strOut.size() - zs.avail_out);
    };
    const std::string strFirst = deflateBlock(Z_FULL_FLUSH), strBlock = deflateBlock(Z_FULL_FLUSH);
    const std::string strEnd = deflateBlock(Z_FINISH);
    deflateEnd(&zs);
    uLong ulBlockCrc = crc32(0, reinterpret_cast<const Bytef*>(strZeros.data()), kBlock), ulCrc = ulBlockCrc;
    std::string strBomb = strFirst + Repeat(strBlock, qwMegabytes - 1);
    for (uint64_t i = 1; i < qwMegabytes; ++i)
        ulCrc = crc32_combine(ulCrc, ulBlockCrc, kBlock);
    std::string strTrailer = strEnd.substr(0, strEnd.size() - 8);
    const uint64_t qwSize = qwMegabytes * kBlock;
    for (int i = 0; i < 4; ++i)
        strTrailer += static_cast<char>((ulCrc >> (8 * i)) & 0xFF);
    for (int i = 0; i < 4; ++i)
        strTrailer += static_cast<char>((qwSize >> (8 * i)) & 0xFF);
    return strBomb + strTrailer;
}

enum class Expect
{
    Refused,
    Accepted,
    Either
};

struct Case
{
    std::string strName;
    Expect eExpect;
    // In-process work: returns normally if accepted; the library's exception means refused.
    std::function<void()> fnLibrary;
    // Or a krxml command line (arguments after "krxml").
    std::vector<std::string> krxmlArgs;
};

// Child side of a library case: exit 0 accepted, 3 refused (message on stderr), 4 other failure.
[[noreturn]] void RunLibraryCase(const Case& c)
{
    try
    {
        c.fnLibrary();
    }
    catch (const CKrException& e)
    {
        std::string strMessage = e.GetFullMessage();
        std::fprintf(stderr, "%.200s\n", strMessage.c_str());
        std::_Exit(3);
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "not the library's exception: %s\n", e.what());
        std::_Exit(4);
    }
    std::_Exit(0);
}

struct Outcome
{
    double dSeconds = 0;
    long lKilobytes = 0;
    int iStatus = -1;  // exit status, or -signal
    std::string strMessage;
};

Outcome RunChild(const Case& c)
{
    int fds[2];
    if (pipe(fds) != 0)
        std::exit(2);
    auto t0 = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid == 0)
    {
        dup2(fds[1], 2);
        close(fds[0]);
        close(fds[1]);
        alarm(kKillAfterSeconds);
        if (c.fnLibrary)
            RunLibraryCase(c);
        int nullFd = open("/dev/null", O_WRONLY);
        dup2(nullFd, 1);
        std::vector<char*> argv{const_cast<char*>(g_strKrxml.c_str())};
        for (const std::string& str : c.krxmlArgs)
            argv.push_back(const_cast<char*>(str.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        std::_Exit(5);
    }
    close(fds[1]);
    Outcome out;
    char buf[512];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof(buf))) > 0)
        if (out.strMessage.size() < 400)
            out.strMessage.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int iStatus = 0;
    struct rusage usage;
    while (wait4(pid, &iStatus, 0, &usage) < 0 && errno == EINTR)
    {
    }
    out.dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    out.lKilobytes = usage.ru_maxrss;
    out.iStatus = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -WTERMSIG(iStatus);
    while (!out.strMessage.empty() && (out.strMessage.back() == '\n' || out.strMessage.back() == '\r'))
        out.strMessage.pop_back();
    for (char& ch : out.strMessage)
        if (ch == '\n')
            ch = ' ';
    return out;
}

std::vector<Case> MakeCases()
{
    std::vector<Case> cases;
    auto library = [&](const char* lpName, Expect eExpect, std::function<void()> fn) {
        cases.push_back(Case{lpName, eExpect, std::move(fn), {}});
    };
    auto krxml = [&](const char* lpName, Expect eExpect, std::vector<std::string> args) {
        cases.push_back(Case{lpName, eExpect, nullptr, std::move(args)});
    };
    auto load = [](const std::string& strPath) {
        return [strPath] {
            CXmlDocument doc;
            doc.Load(strPath.c_str());
        };
    };
    const std::string strOut = PathOf("out");

    WriteFile(PathOf("laughs.xml"), BillionLaughs());
    library("billion laughs: Load", Expect::Refused, load(PathOf("laughs.xml")));
    krxml("billion laughs: krxml", Expect::Refused, {"convert", PathOf("laughs.xml"), "-o", strOut});

    WriteFile(PathOf("quadratic.xml"), QuadraticBlowup());
    library("quadratic blowup: Load", Expect::Refused, load(PathOf("quadratic.xml")));

    WriteFile(PathOf("deep.xml"), Deep(200000));
    library("200,000 deep: Load", Expect::Refused, load(PathOf("deep.xml")));
    krxml("200,000 deep: krxml", Expect::Refused, {"convert", PathOf("deep.xml"), "-o", strOut});
    krxml("200,000 deep: krxml --no-format", Expect::Refused,
          {"convert", PathOf("deep.xml"), "-o", strOut, "--no-format"});
    krxml("200,000 deep, cap raised: krxml --no-format", Expect::Accepted,
          {"convert", PathOf("deep.xml"), "-o", strOut, "--no-format", "--max-depth", "200000"});
    library("200,000 deep, cap raised: Load", Expect::Accepted, [path = PathOf("deep.xml")] {
        CKrLimits::SetMaxDepth(200000);
        CXmlDocument doc;
        doc.Load(path.c_str());
    });

    WriteFile(PathOf("nested-ns.xml"), NestedDeclarations(10000));
    krxml("10,000 nested declarations: krxml", Expect::Accepted, {"convert", PathOf("nested-ns.xml"), "-o", strOut});
    krxml("10,000 nested declarations: krxml --to json", Expect::Accepted,
          {"convert", PathOf("nested-ns.xml"), "-o", strOut, "--to", "json"});
    krxml("10,000 nested declarations: krxml --to fi", Expect::Accepted,
          {"convert", PathOf("nested-ns.xml"), "-o", strOut, "--to", "fi"});

    WriteFile(PathOf("sibling-ns.xml"), SiblingPrefixes(40000));
    krxml("40,000 sibling prefixes: krxml", Expect::Accepted, {"convert", PathOf("sibling-ns.xml"), "-o", strOut});
    krxml("40,000 sibling prefixes: krxml --to json", Expect::Accepted,
          {"convert", PathOf("sibling-ns.xml"), "-o", strOut, "--to", "json"});
    krxml("40,000 sibling prefixes: krxml --to fi", Expect::Accepted,
          {"convert", PathOf("sibling-ns.xml"), "-o", strOut, "--to", "fi"});

    WriteFile(PathOf("attributes.xml"), ManyAttributes(1000000));
    krxml("10^6 attributes: krxml", Expect::Accepted, {"convert", PathOf("attributes.xml"), "-o", strOut});
    krxml("10^6 attributes: krxml --to json", Expect::Accepted,
          {"convert", PathOf("attributes.xml"), "-o", strOut, "--to", "json"});
    krxml("10^6 attributes: krxml --to fi", Expect::Accepted,
          {"convert", PathOf("attributes.xml"), "-o", strOut, "--to", "fi"});

    WriteFile(PathOf("text.xml"), "<r>" + std::string(100u << 20, 'x') + "</r>");
    krxml("100 MB text node: krxml", Expect::Accepted, {"convert", PathOf("text.xml"), "-o", strOut});
    krxml("100 MB text node: krxml --to fi", Expect::Accepted,
          {"convert", PathOf("text.xml"), "-o", strOut, "--to", "fi"});

    library("\"1E1000000\" as a decimal", Expect::Refused, [] { CDecimal d("1E1000000"); });

    WriteFile(PathOf("bomb.gz"), GzipBomb(10240));
    library("10 GB gzip bomb: Parse", Expect::Refused, [path = PathOf("bomb.gz")] {
        CXmlDocument doc;
        std::FILE* f = std::fopen(path.c_str(), "rb");
        std::vector<unsigned char> bytes(11u << 20);
        size_t n = std::fread(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
        doc.LoadXmlStream(bytes.data(), static_cast<uint32_t>(n));
    });
    krxml("10 GB gzip bomb: krxml", Expect::Refused, {"convert", PathOf("bomb.gz"), "-o", strOut});
    return cases;
}

} // namespace

int main(int argc, char** argv)
{
    bool bKeep = false;
    for (int i = 1; i < argc; ++i)
    {
        if (std::strcmp(argv[i], "--krxml") == 0 && i + 1 < argc)
            g_strKrxml = argv[++i];
        else if (std::strcmp(argv[i], "--keep") == 0)
            bKeep = true;
        else if (std::strcmp(argv[i], "--time-bar") == 0 && i + 1 < argc && std::atof(argv[i + 1]) > 0)
            g_dMaxSeconds = std::atof(argv[++i]);
        else
        {
            std::fprintf(stderr, "usage: bench_hostile [--krxml PATH] [--keep] [--time-bar SECONDS]\n");
            return 2;
        }
    }
    char szDir[] = "/tmp/krxml-hostile-XXXXXX";
    if (!mkdtemp(szDir))
        return 2;
    g_strDir = szDir;
    std::vector<Case> cases = MakeCases();

    std::printf("%-48s %-9s %8s %8s  %s\n", "case", "outcome", "seconds", "peak MB", "message");
    int nFailed = 0;
    for (const Case& c : cases)
    {
        Outcome out = RunChild(c);
        const bool bLibrary = static_cast<bool>(c.fnLibrary);
        const bool bAccepted = out.iStatus == 0;
        const bool bRefused = bLibrary ? out.iStatus == 3 : out.iStatus == 1 && out.strMessage.find("krxml: error:") == 0;
        const char* lpOutcome = bAccepted ? "accepted" : bRefused ? "refused" : "FAILED";
        bool bOk = (bAccepted || bRefused) && out.dSeconds <= g_dMaxSeconds && out.lKilobytes <= kMaxKilobytes;
        if (c.eExpect == Expect::Refused && !bRefused)
            bOk = false;
        if (c.eExpect == Expect::Accepted && !bAccepted)
            bOk = false;
        nFailed += bOk ? 0 : 1;
        std::printf("%-48s %-9s %8.2f %8.1f  %s%s\n", c.strName.c_str(), lpOutcome, out.dSeconds,
                    out.lKilobytes / 1024.0, bOk ? "" : "[OVER THE BAR] ", out.strMessage.substr(0, 110).c_str());
        std::fflush(stdout);
    }
    if (!bKeep)
    {
        for (const char* lpName : {"laughs.xml", "quadratic.xml", "deep.xml", "nested-ns.xml", "sibling-ns.xml",
                                   "attributes.xml", "text.xml", "bomb.gz", "out"})
            std::remove(PathOf(lpName).c_str());
        rmdir(szDir);
    }
    std::printf("%d of %zu cases within %.1f s and 1 GB as expected\n", static_cast<int>(cases.size()) - nFailed,
                cases.size(), g_dMaxSeconds);
    return nFailed ? 1 : 0;
}
