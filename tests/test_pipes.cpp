// Files without a size: pipes, FIFOs, standard input and output, files under /proc. Every
// reading road reads them to their end, and the writing roads write them front to back.
#include "testsupport.h"

#include <fstream>
#include <iterator>
#include <algorithm>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "krxmllib.h"
#include "platform.h"

using namespace KrXmlLib16;
using KrXmlTest::ReadFileBytes;
using KrXmlTest::TempPath;
using KrXmlTest::WriteFileBytes;

namespace {

// Several of the overlapped route's 128 KiB chunks, and more than a pipe buffer holds.
std::string MakeDocument()
{
    std::string str = "<?xml version=\"1.0\"?>\n<r xmlns=\"urn:t\" xmlns:p=\"urn:p\">\n";
    for (int i = 0; i < 12000; ++i)
        str += "  <i p:n=\"" + std::to_string(i) + "\">text &amp; " + std::to_string(i) + "</i>\n";
    str += "</r>\n";
    return str;
}

std::string MakeFifo(const std::string& strName)
{
    std::string strPath = TempPath(strName);
    ::unlink(strPath.c_str());
    EXPECT_EQ(0, ::mkfifo(strPath.c_str(), 0600)) << strPath;
    return strPath;
}

// Writes the bytes into the FIFO in pieces of odd sizes, as a producer would; opening blocks
// until the reader opens its end.
std::thread Feed(const std::string& strFifo, const std::string& strBytes)
{
    return std::thread([strFifo, strBytes] {
        std::FILE* f = std::fopen(strFifo.c_str(), "wb");
        if (!f)
            return;
        for (size_t i = 0; i < strBytes.size(); i += 7001)
        {
            std::fwrite(strBytes.data() + i, 1, std::min<size_t>(7001, strBytes.size() - i), f);
            std::fflush(f);
        }
        std::fclose(f);
    });
}

// Reads the FIFO to its end on a thread of its own.
std::thread Drain(const std::string& strFifo, std::string& strOut)
{
    return std::thread([strFifo, &strOut] {
        std::ifstream in(strFifo, std::ios::binary);
        strOut.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    });
}

std::string AsText(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

struct AsyncReadScope
{
    explicit AsyncReadScope(bool b) { AsyncFromXmlFile(b); }
    ~AsyncReadScope() { AsyncFromXmlFile(false); }
};

struct AsyncWriteScope
{
    explicit AsyncWriteScope(bool b) { AsyncToXmlFile(b); }
    ~AsyncWriteScope() { AsyncToXmlFile(false); }
};

} // namespace

// Load and FromXmlFile, on the plain route and on the overlapped one, read a FIFO to its end
// and give what the same bytes give from memory.
TEST(PipesAndProcFiles, FifoIsReadToItsEndOnBothRoutes)
{
    const std::string strDoc = MakeDocument();
    CSmartPtr<CElement> spExpected(new CElement(""));
    spExpected->FromXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strDoc.data())),
                              static_cast<uint32_t>(strDoc.size()), CSerializationContext::GetDefaultContext());
    const std::string strExpected = spExpected->ToXml(false, false, EOLType_LF, CSerializationContext());
    for (bool bAsync : {false, true})
    {
        SCOPED_TRACE(bAsync ? "overlapped" : "plain");
        AsyncReadScope async(bAsync);
        std::string strFifo = MakeFifo("doc.fifo");

        std::thread writer = Feed(strFifo, strDoc);
        CXmlDocument doc;
        EXPECT_NO_THROW(doc.Load(strFifo.c_str()));
        writer.join();
        ASSERT_NE(nullptr, doc.GetDocumentElement());
        int nItems = 0;
        const CXmlElement* pLast = nullptr;
        for (const CXmlElement* p = doc.GetDocumentElement()->GetFirstElement(); p; p = p->GetNextSiblingElement())
        {
            ++nItems;
            pLast = p;
        }
        EXPECT_EQ(12000, nItems);
        ASSERT_NE(nullptr, pLast);
        EXPECT_EQ("text & 11999", pLast->GetText());

        writer = Feed(strFifo, strDoc);
        CSmartPtr<CElement> spRead(new CElement(""));
        EXPECT_NO_THROW(spRead->FromXmlFile(strFifo.c_str(), CSerializationContext::GetDefaultContext()));
        writer.join();
        EXPECT_EQ(strExpected, spRead->ToXml(false, false, EOLType_LF, CSerializationContext()));

        // A FIFO whose writer sends nothing is an empty file, refused as one.
        writer = Feed(strFifo, "");
        EXPECT_KR_THROW(doc.Load(strFifo.c_str()), CKrException, "no element found at line 1");
        writer.join();
        ::unlink(strFifo.c_str());
    }
}

// Files under /proc report size 0; read to the end they hold what a plain read gets.
TEST(PipesAndProcFiles, ProcFilesAreReadToTheirEnd)
{
    for (const char* lpPath : {"/proc/self/cmdline", "/proc/version", "/proc/self/mountinfo"})
    {
        SCOPED_TRACE(lpPath);
        std::ifstream in(lpPath, std::ios::binary);
        std::string strPlain((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        ASSERT_FALSE(strPlain.empty());
        Platform::FileHandle hFile;
        ASSERT_EQ(0u, Platform::OpenFileForRead(lpPath, hFile));
        unsigned char* pData = nullptr;
        uint32_t dwLen = 0;
        EXPECT_EQ(0u, Platform::ReadToEnd(hFile, pData, dwLen));
        Platform::CloseFile(hFile);
        std::unique_ptr<unsigned char[]> spData(pData);
        EXPECT_EQ(strPlain, std::string(reinterpret_cast<const char*>(pData), dwLen));
    }
    // The loader gets the text, which isn't XML, rather than nothing.
    CXmlDocument doc;
    EXPECT_KR_THROW(doc.Load("/proc/version"), CKrException, "syntax error at line 1");
}

// A pipe's end as a handle: ReadToEnd reads it in chunks, and the positional read and write
// of the background worker go on where the pipe stands.
TEST(PipesAndProcFiles, PlatformReadsAndWritesPipesFrontToBack)
{
    int fds[2];
    ASSERT_EQ(0, ::pipe(fds));
    const std::string strBytes = MakeDocument();
    std::thread writer([&] {
        Platform::BackgroundFileIo io;
        uint64_t qwDone = 0;
        size_t nHalf = strBytes.size() / 2;
        io.StartWrite(fds[1], strBytes.data(), nHalf, 0);
        EXPECT_EQ(0u, io.Wait(qwDone));
        io.StartWrite(fds[1], strBytes.data() + nHalf, strBytes.size() - nHalf, nHalf);
        EXPECT_EQ(0u, io.Wait(qwDone));
        EXPECT_EQ(strBytes.size() - nHalf, qwDone);
        ::close(fds[1]);
    });
    unsigned char* pData = nullptr;
    uint32_t dwLen = 0;
    EXPECT_EQ(0u, Platform::ReadToEnd(fds[0], pData, dwLen));
    writer.join();
    ::close(fds[0]);
    std::unique_ptr<unsigned char[]> spData(pData);
    EXPECT_EQ(strBytes, std::string(reinterpret_cast<const char*>(pData), dwLen));
}

// The file roads write a FIFO as they write a file: block by block (AsyncToXmlFile) or in one
// go, UTF-16 with its byte order mark first.
TEST(PipesAndProcFiles, FileRoadsWriteIntoAFifo)
{
    const std::string strDoc = MakeDocument();
    CSmartPtr<CElement> spE(new CElement(""));
    spE->FromXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strDoc.data())),
                       static_cast<uint32_t>(strDoc.size()), CSerializationContext::GetDefaultContext());
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI("urn:t");
    ctx.GetNamespaceAliases().Add("p", "urn:p");
    std::string strFifo = MakeFifo("out.fifo");
    // A road that fails before it opens the FIFO would leave the reader waiting: the test lets
    // it go by opening the other end itself.
    auto write = [&](auto fn) {
        try
        {
            fn();
        }
        catch (const CKrException& e)
        {
            ADD_FAILURE() << e.GetFullMessage();
            std::FILE* f = std::fopen(strFifo.c_str(), "wb");
            if (f)
                std::fclose(f);
        }
    };
    for (bool bAsync : {false, true})
        for (XmlEncoding eEncoding : {XmlEncoding_UTF8, XmlEncoding_UTF16})
        {
            SCOPED_TRACE(std::string(bAsync ? "block by block, " : "in one go, ") +
                         (eEncoding == XmlEncoding_UTF8 ? "UTF-8" : "UTF-16"));
            AsyncWriteScope async(bAsync);
            std::string strMark = eEncoding == XmlEncoding_UTF8 ? "" : "\xFF\xFE";

            std::string strGot;
            std::thread reader = Drain(strFifo, strGot);
            write([&] {
                spE->ToXmlFile(strFifo.c_str(), true, true, eEncoding, EOLType_LF, ctx, CompressionType_None);
            });
            reader.join();
            EXPECT_EQ(strMark + AsText(spE->ToXmlStream(true, true, eEncoding, EOLType_LF, ctx, CompressionType_None)),
                      strGot);

            reader = Drain(strFifo, strGot);
            write([&] { spE->ToJsonFile(strFifo.c_str(), true, eEncoding, EOLType_LF, ctx, CompressionType_None); });
            reader.join();
            EXPECT_EQ(strMark + AsText(spE->ToJsonStream(true, eEncoding, EOLType_LF, ctx, CompressionType_None)),
                      strGot);
        }
    ::unlink(strFifo.c_str());
}

// The standard output stream writes fd 1 where it stands, block by block, and leaves it open.
TEST(PipesAndProcFiles, StandardOutputStreamWritesWhereTheHandleStands)
{
    const std::string strPath = TempPath("stdout.txt");
    WriteFileBytes(strPath, "");
    std::fflush(stdout);
    int fdSaved = ::dup(1);
    ASSERT_GE(fdSaved, 0);
    std::FILE* f = std::fopen(strPath.c_str(), "wb");
    ASSERT_NE(nullptr, f);
    ASSERT_GE(::dup2(::fileno(f), 1), 0);
    ASSERT_EQ(5, ::write(1, "head\n", 5));
    std::string strText;
    for (XmlEncoding eEncoding : {XmlEncoding_UTF8, XmlEncoding_UTF16})
    {
        CStandardOutputTextStream stream(eEncoding);
        stream.Start();
        strText.assign(3 * CFileTextStream::kBlockSize + 17, 'a');
        strText += "\xC3\xA9";  // a character that UTF-16 writes in two bytes
        stream.Write(strText);
        stream.Flush();
        stream.Write("z");
        stream.End();
    }
    const bool bStillOpen = ::write(1, "tail", 4) == 4;
    ::dup2(fdSaved, 1);
    ::close(fdSaved);
    std::fclose(f);
    EXPECT_TRUE(bStillOpen);
    std::string strUtf16 = "\xFF\xFE";
    for (size_t i = 0; i < 3 * CFileTextStream::kBlockSize + 17; ++i)
        strUtf16 += std::string("a\0", 2);
    strUtf16 += std::string("\xE9\0z\0", 4);
    EXPECT_TRUE("head\n" + strText + "z" + strUtf16 + "tail" == ReadFileBytes(strPath));
}

#ifdef KRXML_TOOL_PATH

namespace {

// Runs a shell command line; returns its exit code and what it wrote to standard output.
int Shell(const std::string& strCmd, std::string& strOut)
{
    strOut.clear();
    FILE* p = popen(strCmd.c_str(), "r");
    if (!p)
        return -1;
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), p)) > 0)
        strOut.append(buf, n);
    int status = pclose(p);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

// krxml reads a pipe, "-", /dev/stdin and a FIFO, and writes to a pipe, a FIFO and a standard
// output that already holds something; every form gives the bytes of the file to file road.
TEST(PipesAndProcFiles, KrxmlReadsAndWritesPipes)
{
    const std::string strTool = KRXML_TOOL_PATH;
    const std::string strIn = TempPath("special-in.xml");
    const std::string strRef = TempPath("special-ref.xml");
    WriteFileBytes(strIn, MakeDocument());
    std::string strOut;
    ASSERT_EQ(0, Shell(strTool + " convert " + strIn + " -o " + strRef, strOut));
    const std::string strExpected = ReadFileBytes(strRef);
    ASSERT_GT(strExpected.size(), 200000u);

    struct Row
    {
        const char* lpWhat;
        std::string strCmd;
    } rows[] = {
        {"pipe into -", "cat " + strIn + " | " + strTool + " convert -"},
        {"redirect into /dev/stdin", strTool + " convert /dev/stdin <" + strIn},
        {"pipe into /dev/stdin", "cat " + strIn + " | " + strTool + " convert /dev/stdin"},
        {"output into a pipe", strTool + " convert " + strIn + " | cat"},
        {"-o /dev/stdout into a pipe", strTool + " convert " + strIn + " -o /dev/stdout | cat"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.lpWhat);
        EXPECT_EQ(0, Shell(row.strCmd + " 2>&1", strOut));
        EXPECT_EQ(strExpected, strOut);
    }

    // Standard output that is a file with text in it already: the output goes after the text.
    const std::string strAppend = TempPath("special-append.xml");
    ASSERT_EQ(0, Shell("{ echo head; " + strTool + " convert " + strIn + "; } >" + strAppend, strOut));
    EXPECT_EQ("head\n" + strExpected, ReadFileBytes(strAppend));

    // A FIFO as input, fed by a thread, and as output, drained by one.
    std::string strFifo = MakeFifo("krxml.fifo");
    std::thread writer = Feed(strFifo, ReadFileBytes(strIn));
    EXPECT_EQ(0, Shell(strTool + " convert " + strFifo + " 2>&1", strOut));
    writer.join();
    EXPECT_EQ(strExpected, strOut);

    std::string strGot;
    std::thread reader = Drain(strFifo, strGot);
    EXPECT_EQ(0, Shell(strTool + " convert " + strIn + " -o " + strFifo + " 2>&1", strOut));
    reader.join();
    EXPECT_EQ("", strOut);
    EXPECT_EQ(strExpected, strGot);
    ::unlink(strFifo.c_str());
}

// Formatted output of a deep document grows with the square of the depth; it streams out in
// pieces, so krxml's memory stays that of the tree (a few MB here) while 100 MB go through
// the pipe.
TEST(PipesAndProcFiles, KrxmlStreamsDeepFormattedOutput)
{
    const int kDepth = 10000;
    std::string strDoc;
    for (int i = 0; i < kDepth; ++i)
        strDoc += "<a>";
    strDoc += "x";
    for (int i = 0; i < kDepth; ++i)
        strDoc += "</a>";
    const std::string strIn = TempPath("deep.xml");
    WriteFileBytes(strIn, strDoc);
    for (const char* lpTo : {"xml", "json"})
    {
        SCOPED_TRACE(lpTo);
        FILE* p = popen((std::string(KRXML_TOOL_PATH) + " convert " + strIn + " --to " + lpTo).c_str(), "r");
        ASSERT_NE(nullptr, p);
        char buf[65536];
        size_t n, nTotal = 0, nTabs = 0;
        while ((n = fread(buf, 1, sizeof(buf), p)) > 0)
        {
            nTotal += n;
            nTabs += static_cast<size_t>(std::count(buf, buf + n, '\t'));
        }
        EXPECT_EQ(0, pclose(p));
        // Each start and end tag on a line of its own, indented by its depth, but the innermost
        // element, whole on one line: (depth - 1)^2 tabs for XML. JSON's members sit one level
        // deeper, inside the braces of the document: depth^2.
        const size_t nDepth = kDepth;
        EXPECT_EQ(lpTo[0] == 'x' ? (nDepth - 1) * (nDepth - 1) : nDepth * nDepth, nTabs);
        EXPECT_GT(nTotal, nTabs);
    }
    // The largest child so far, krxml among them: far below the 100 MB it wrote. A child
    // is charged what this process held when it was started, hence the allowance.
    struct rusage self, children;
    ASSERT_EQ(0, ::getrusage(RUSAGE_SELF, &self));
    ASSERT_EQ(0, ::getrusage(RUSAGE_CHILDREN, &children));
    EXPECT_LT(children.ru_maxrss, self.ru_maxrss + 60 * 1024) << "KB";
}

#endif
