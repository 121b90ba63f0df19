#include "platform.h"
#include "sanitizer.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <thread>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <iconv.h>
#include <locale.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace KrXmlLib16 {
namespace Platform {

// ---- debug output --------------------------------------------------------------------------

static void DiscardDebugText(const char*) {}
static std::atomic<DebugSink> g_pfnDebugSink{&DiscardDebugText};

DebugSink SetDebugSink(DebugSink pfnSink)
{
    DebugSink pfnOld = g_pfnDebugSink.exchange(pfnSink ? pfnSink : &DiscardDebugText);
    return pfnOld == &DiscardDebugText ? nullptr : pfnOld;
}

void DebugOutput(const char* lpText)
{
    g_pfnDebugSink.load()(lpText);
}

bool HasDebugSink()
{
    return g_pfnDebugSink.load(std::memory_order_relaxed) != &DiscardDebugText;
}

// ---- files ---------------------------------------------------------------------------------

uint32_t OpenFileForRead(const char* lpFileName, FileHandle& hFile)
{
    hFile = ::open(lpFileName, O_RDONLY | O_CLOEXEC);
    if (hFile < 0)
    {
        hFile = kInvalidFile;
        return static_cast<uint32_t>(errno);
    }
    struct stat st;
    if (::fstat(hFile, &st) == 0 && S_ISDIR(st.st_mode))
    {
        CloseFile(hFile);
        return EISDIR;
    }
#ifdef POSIX_FADV_SEQUENTIAL
    ::posix_fadvise(hFile, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    return 0;
}

uint32_t CreateFileForWrite(const char* lpFileName, FileHandle& hFile)
{
    hFile = ::open(lpFileName, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (hFile < 0)
    {
        hFile = kInvalidFile;
        return static_cast<uint32_t>(errno);
    }
    return 0;
}

uint32_t GetFileSize32(FileHandle hFile, uint32_t& dwSize)
{
    struct stat st;
    if (::fstat(hFile, &st) != 0)
        return static_cast<uint32_t>(errno);
    if (st.st_size < 0 || static_cast<uint64_t>(st.st_size) > 0xFFFFFFFEull)
        return EFBIG;
    dwSize = static_cast<uint32_t>(st.st_size);
    return 0;
}

static uint32_t ReadLoop(FileHandle hFile, void* pBuffer, uint32_t dwLen, int64_t llOffset, uint32_t& dwRead)
{
    dwRead = 0;
    char* p = static_cast<char*>(pBuffer);
    while (dwRead < dwLen)
    {
        ssize_t n = llOffset < 0 ? ::read(hFile, p + dwRead, dwLen - dwRead)
                                 : ::pread(hFile, p + dwRead, dwLen - dwRead, llOffset + dwRead);
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            // A pipe or a terminal has no offsets: callers read it front to back, so the next
            // bytes are the ones asked for.
            if (errno == ESPIPE && llOffset >= 0)
            {
                llOffset = -1;
                continue;
            }
            return static_cast<uint32_t>(errno);
        }
        if (n == 0)
            break;
        dwRead += static_cast<uint32_t>(n);
    }
    return 0;
}

uint32_t ReadFile(FileHandle hFile, void* pBuffer, uint32_t dwLen, uint32_t& dwRead)
{
    return ReadLoop(hFile, pBuffer, dwLen, -1, dwRead);
}

uint32_t ReadFileAt(FileHandle hFile, void* pBuffer, uint32_t dwLen, uint64_t qwOffset, uint32_t& dwRead)
{
    return ReadLoop(hFile, pBuffer, dwLen, static_cast<int64_t>(qwOffset), dwRead);
}

static uint32_t WriteLoop(FileHandle hFile, const void* pData, size_t nLen, int64_t llOffset)
{
    const char* p = static_cast<const char*>(pData);
    size_t nDone = 0;
    while (nDone < nLen)
    {
        ssize_t n = llOffset < 0 ? ::write(hFile, p + nDone, nLen - nDone)
                                 : ::pwrite(hFile, p + nDone, nLen - nDone, llOffset + static_cast<int64_t>(nDone));
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            // As for reading: a pipe takes the bytes in the order they are written.
            if (errno == ESPIPE && llOffset >= 0)
            {
                llOffset = -1;
                continue;
            }
            return static_cast<uint32_t>(errno);
        }
        if (n == 0)
            return ENOSPC;
        nDone += static_cast<size_t>(n);
    }
    return 0;
}

uint32_t WriteFile(FileHandle hFile, const void* pData, size_t nLen)
{
    return WriteLoop(hFile, pData, nLen, -1);
}

uint32_t WriteFileAt(FileHandle hFile, const void* pData, size_t nLen, uint64_t qwOffset)
{
    return WriteLoop(hFile, pData, nLen, static_cast<int64_t>(qwOffset));
}

uint32_t ReadToEnd(FileHandle hFile, unsigned char*& pData, uint32_t& dwLen)
{
    pData = nullptr;
    dwLen = 0;
    struct stat st;
    if (::fstat(hFile, &st) != 0)
        return static_cast<uint32_t>(errno);
    // A regular file is read by its size in one go, into a buffer of that size. Pipes,
    // terminals and files whose size says nothing (those under /proc report 0) are read in
    // growing chunks until the end, and so is a file that grew since.
    uint64_t qwCapacity = 0x10000;
    if (S_ISREG(st.st_mode) && st.st_size > 0)
    {
        if (static_cast<uint64_t>(st.st_size) > kMaxReadToEnd)
            return EFBIG;
        qwCapacity = static_cast<uint64_t>(st.st_size);
    }
    std::unique_ptr<unsigned char[]> spData(new unsigned char[qwCapacity]);
    uint64_t qwLen = 0;
    for (;;)
    {
        if (qwLen == qwCapacity)
        {
            unsigned char c;
            uint32_t dwOne = 0;
            uint32_t dwError = ReadFile(hFile, &c, 1, dwOne);
            if (dwError)
                return dwError;
            if (dwOne == 0)
                break;
            if (qwCapacity >= kMaxReadToEnd)
                return EFBIG;
            uint64_t qwNew = qwCapacity * 2 > kMaxReadToEnd ? kMaxReadToEnd : qwCapacity * 2;
            std::unique_ptr<unsigned char[]> spMore(new unsigned char[qwNew]);
            std::memcpy(spMore.get(), spData.get(), qwLen);
            spData.swap(spMore);
            qwCapacity = qwNew;
            spData[qwLen++] = c;
        }
        uint64_t qwRoom = qwCapacity - qwLen;
        uint32_t dwChunk = qwRoom > 0x40000000u ? 0x40000000u : static_cast<uint32_t>(qwRoom);
        uint32_t dwRead = 0;
        uint32_t dwError = ReadFile(hFile, spData.get() + qwLen, dwChunk, dwRead);
        if (dwError)
            return dwError;
        qwLen += dwRead;
        if (dwRead < dwChunk)
            break;
    }
    pData = spData.release();
    dwLen = static_cast<uint32_t>(qwLen);
    return 0;
}

FileHandle StandardOutput()
{
    return STDOUT_FILENO;
}

void CloseFile(FileHandle& hFile)
{
    if (hFile != kInvalidFile)
    {
        ::close(hFile);
        hFile = kInvalidFile;
    }
}

// ---- background file I/O -------------------------------------------------------------------

struct BackgroundFileIo::State
{
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::thread m_thread;
    bool m_bBusy = false;     // an operation was started and not yet waited for
    bool m_bPending = false;  // the worker has not yet taken the operation
    bool m_bDone = false;
    bool m_bQuit = false;
    bool m_bWrite = false;
    FileHandle m_hFile = kInvalidFile;
    void* m_pBuffer = nullptr;
    size_t m_nLen = 0;
    uint64_t m_qwOffset = 0;
    TaskFunction m_pfnTask = nullptr;
    void* m_pTaskArg = nullptr;
    uint32_t m_dwError = 0;
    uint64_t m_qwTransferred = 0;
};

BackgroundFileIo::BackgroundFileIo() : m_p(new State) {}

bool BackgroundFileIo::IsBusy() const
{
    return m_p->m_bBusy;
}

BackgroundFileIo::~BackgroundFileIo()
{
    if (m_p->m_thread.joinable())
    {
        {
            std::lock_guard<std::mutex> lock(m_p->m_mutex);
            m_p->m_bQuit = true;
        }
        m_p->m_cv.notify_all();
        m_p->m_thread.join();
    }
}

uint32_t BackgroundFileIo::Prepare()
{
    if (m_p->m_thread.joinable())
        return 0;
    try
    {
        m_p->m_thread = std::thread(&BackgroundFileIo::Run, this);
    }
    catch (const std::system_error& e)
    {
        return e.code().value() ? static_cast<uint32_t>(e.code().value()) : EAGAIN;
    }
    catch (const std::bad_alloc&)
    {
        return ENOMEM;
    }
    return 0;
}

void BackgroundFileIo::Start(bool bWrite, FileHandle hFile, void* pBuffer, size_t nLen, uint64_t qwOffset,
                             TaskFunction pfnTask, void* pTaskArg)
{
    uint64_t qwIgnored;
    Wait(qwIgnored);  // one operation at a time
    uint32_t dwStartError = Prepare();
    {
        std::lock_guard<std::mutex> lock(m_p->m_mutex);
        m_p->m_bWrite = bWrite;
        m_p->m_hFile = hFile;
        m_p->m_pBuffer = pBuffer;
        m_p->m_nLen = nLen;
        m_p->m_qwOffset = qwOffset;
        m_p->m_pfnTask = pfnTask;
        m_p->m_pTaskArg = pTaskArg;
        m_p->m_dwError = dwStartError;
        m_p->m_qwTransferred = 0;
        m_p->m_bDone = dwStartError != 0;  // without a worker the operation ends at once, failed
        m_p->m_bPending = dwStartError == 0;
        m_p->m_bBusy = true;
    }
    m_p->m_cv.notify_all();
}

void BackgroundFileIo::StartWrite(FileHandle hFile, const void* pData, size_t nLen, uint64_t qwOffset)
{
    Start(true, hFile, const_cast<void*>(pData), nLen, qwOffset, nullptr, nullptr);
}

void BackgroundFileIo::StartRead(FileHandle hFile, void* pBuffer, uint32_t dwLen, uint64_t qwOffset)
{
    Start(false, hFile, pBuffer, dwLen, qwOffset, nullptr, nullptr);
}

void BackgroundFileIo::StartTask(TaskFunction pfnTask, void* pArg)
{
    Start(false, kInvalidFile, nullptr, 0, 0, pfnTask, pArg);
}

uint32_t BackgroundFileIo::Wait(uint64_t& qwTransferred)
{
    qwTransferred = 0;
    if (!m_p->m_bBusy)
        return 0;
    std::unique_lock<std::mutex> lock(m_p->m_mutex);
    m_p->m_cv.wait(lock, [this] { return m_p->m_bDone; });
    m_p->m_bBusy = false;
    qwTransferred = m_p->m_qwTransferred;
    return m_p->m_dwError;
}

void BackgroundFileIo::Run()
{
    std::unique_lock<std::mutex> lock(m_p->m_mutex);
    for (;;)
    {
        m_p->m_cv.wait(lock, [this] { return m_p->m_bPending || m_p->m_bQuit; });
        if (m_p->m_bPending)
        {
            m_p->m_bPending = false;
            bool bWrite = m_p->m_bWrite;
            FileHandle hFile = m_p->m_hFile;
            void* pBuffer = m_p->m_pBuffer;
            size_t nLen = m_p->m_nLen;
            uint64_t qwOffset = m_p->m_qwOffset;
            TaskFunction pfnTask = m_p->m_pfnTask;
            void* pTaskArg = m_p->m_pTaskArg;
            lock.unlock();
            uint32_t dwError;
            uint64_t qwDone = 0;
            if (pfnTask)
                dwError = pfnTask(pTaskArg, qwDone);
            else if (bWrite)
            {
                dwError = WriteFileAt(hFile, pBuffer, nLen, qwOffset);
                qwDone = dwError ? 0 : nLen;
            }
            else
            {
                uint32_t dwRead = 0;
                dwError = ReadFileAt(hFile, pBuffer, static_cast<uint32_t>(nLen), qwOffset, dwRead);
                qwDone = dwRead;
            }
            lock.lock();
            m_p->m_dwError = dwError;
            m_p->m_qwTransferred = qwDone;
            m_p->m_bDone = true;
            m_p->m_cv.notify_all();
        }
        if (m_p->m_bQuit && !m_p->m_bPending)
            return;
    }
}

// ---- code pages ----------------------------------------------------------------------------

// ---- memory --------------------------------------------------------------------------------

void AdviseLargePages(void* p, size_t nLen)
{
#if defined(MADV_HUGEPAGE) && !KRXML_UNDER_SANITIZER
    const uintptr_t kLarge = 2 * 1024 * 1024;
    uintptr_t uBegin = (reinterpret_cast<uintptr_t>(p) + kLarge - 1) & ~(kLarge - 1);
    uintptr_t uEnd = (reinterpret_cast<uintptr_t>(p) + nLen) & ~(kLarge - 1);
    if (uEnd > uBegin)
        ::madvise(reinterpret_cast<void*>(uBegin), uEnd - uBegin, MADV_HUGEPAGE);
#else
    (void)p;
    (void)nLen;
#endif
}

bool IsUtf8CodePage(unsigned int uCodePage)
{
    return uCodePage == 0 || uCodePage == 3 || uCodePage == 65001;
}

std::string CodePageName(unsigned int uCodePage)
{
    switch (uCodePage)
    {
    case 0:
    case 3:
    case 65001: return "UTF-8";
    case 1200: return "UTF-16LE";
    case 1201: return "UTF-16BE";
    case 20127: return "ASCII";
    case 20866: return "KOI8-R";
    case 21866: return "KOI8-U";
    case 28591: return "ISO-8859-1";
    case 28592: return "ISO-8859-2";
    case 28593: return "ISO-8859-3";
    case 28594: return "ISO-8859-4";
    case 28595: return "ISO-8859-5";
    case 28596: return "ISO-8859-6";
    case 28597: return "ISO-8859-7";
    case 28598: return "ISO-8859-8";
    case 28599: return "ISO-8859-9";
    case 28603: return "ISO-8859-13";
    case 28605: return "ISO-8859-15";
    case 932: return "CP932";
    case 936: return "GBK";
    case 949: return "CP949";
    case 950: return "BIG5";
    case 51932: return "EUC-JP";
    case 51949: return "EUC-KR";
    case 54936: return "GB18030";
    default:
    {
        char szName[32];
        std::snprintf(szName, sizeof(szName), "CP%u", uCodePage);
        return szName;
    }
    }
}

namespace {

// iconv descriptors are costly to open; each thread keeps one per direction and code page.
struct IconvCache
{
    struct Entry
    {
        unsigned int uCodePage;
        bool bToWide;
        iconv_t cd;
    };
    std::vector<Entry> entries;

    ~IconvCache()
    {
        for (Entry& e : entries)
            if (e.cd != reinterpret_cast<iconv_t>(-1))
                iconv_close(e.cd);
    }

    iconv_t Get(unsigned int uCodePage, bool bToWide)
    {
        for (Entry& e : entries)
            if (e.uCodePage == uCodePage && e.bToWide == bToWide)
            {
                if (e.cd != reinterpret_cast<iconv_t>(-1))
                    iconv(e.cd, nullptr, nullptr, nullptr, nullptr);  // reset shift state
                return e.cd;
            }
        std::string strName = CodePageName(uCodePage);
        iconv_t cd = bToWide ? iconv_open("UTF-16LE", strName.c_str()) : iconv_open(strName.c_str(), "UTF-16LE");
        entries.push_back(Entry{uCodePage, bToWide, cd});
        return cd;
    }
};

thread_local IconvCache t_iconv;

// Output sink for conversions that either fill a caller buffer or only count.
struct OutSink
{
    char* p;
    size_t cap;
    size_t count = 0;

    void Put(const char* pData, size_t n)
    {
        if (p)
        {
            size_t nCopy = count < cap ? std::min(n, cap - count) : 0;
            std::memcpy(p + count, pData, nCopy);
        }
        count += n;
    }
};

// Runs iconv over the input; on a byte sequence that it can't take, the replacement is written
// and nSkip(input) bytes are passed over.
template <typename SkipFn>
void RunIconv(iconv_t cd, const char* pIn, size_t nIn, OutSink& out, const char* pRepl, size_t nRepl, SkipFn nSkip)
{
    char buf[4096];
    char* pInPtr = const_cast<char*>(pIn);
    while (nIn > 0)
    {
        char* pOutPtr = buf;
        size_t nOutLeft = sizeof(buf);
        size_t r = iconv(cd, &pInPtr, &nIn, &pOutPtr, &nOutLeft);
        out.Put(buf, sizeof(buf) - nOutLeft);
        if (r == static_cast<size_t>(-1))
        {
            if (errno == E2BIG)
                continue;
            // EILSEQ or EINVAL: a character that can't be converted, or cut short at the end.
            out.Put(pRepl, nRepl);
            size_t n = std::min(nIn, nSkip(pInPtr, nIn));
            pInPtr += n;
            nIn -= n;
        }
    }
    char* pOutPtr = buf;
    size_t nOutLeft = sizeof(buf);
    iconv(cd, nullptr, nullptr, &pOutPtr, &nOutLeft);
    out.Put(buf, sizeof(buf) - nOutLeft);
}

size_t Utf8SequenceLength(unsigned char c)
{
    if (c < 0xC2) return 1;
    if (c < 0xE0) return 2;
    if (c < 0xF0) return 3;
    if (c < 0xF5) return 4;
    return 1;
}

} // namespace

size_t Utf8ToWide(const char* lpText, size_t nLen, uint16_t* pOut, size_t nOutCap)
{
    const unsigned char* s = reinterpret_cast<const unsigned char*>(lpText);
    size_t i = 0, n = 0;
    auto put = [&](uint32_t u) {
        if (pOut && n < nOutCap)
            pOut[n] = static_cast<uint16_t>(u);
        ++n;
    };
    while (i < nLen)
    {
        unsigned char c = s[i];
        if (c < 0x80)
        {
            put(c);
            ++i;
            continue;
        }
        size_t len = Utf8SequenceLength(c);
        uint32_t cp = 0xFFFD;
        bool ok = len > 1 && i + len <= nLen;
        if (ok)
        {
            cp = c & (0xFF >> (len + 1));
            for (size_t k = 1; k < len; ++k)
            {
                unsigned char cc = s[i + k];
                if ((cc & 0xC0) != 0x80)
                {
                    ok = false;
                    break;
                }
                cp = (cp << 6) | (cc & 0x3F);
            }
            // Overlong forms, surrogates and values beyond Unicode are refused.
            if (ok && ((len == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF))))
                ok = false;
        }
        if (!ok)
        {
            put(0xFFFD);
            ++i;
            continue;
        }
        i += len;
        if (cp >= 0x10000)
        {
            cp -= 0x10000;
            put(0xD800 + (cp >> 10));
            put(0xDC00 + (cp & 0x3FF));
        }
        else
            put(cp);
    }
    return n;
}

size_t WideToUtf8(const uint16_t* pText, size_t nLen, char* pOut, size_t nOutCap)
{
    size_t n = 0;
    auto put = [&](unsigned char c) {
        if (pOut && n < nOutCap)
            pOut[n] = static_cast<char>(c);
        ++n;
    };
    for (size_t i = 0; i < nLen; ++i)
    {
        uint32_t u = pText[i];
        if (u < 0x80)
        {
            put(static_cast<unsigned char>(u));
            continue;
        }
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < nLen && pText[i + 1] >= 0xDC00 && pText[i + 1] <= 0xDFFF)
        {
            u = 0x10000 + ((u - 0xD800) << 10) + (pText[i + 1] - 0xDC00);
            ++i;
        }
        else if (u >= 0xD800 && u <= 0xDFFF)
            u = 0xFFFD;
        if (u < 0x800)
        {
            put(0xC0 | (u >> 6));
            put(0x80 | (u & 0x3F));
        }
        else if (u < 0x10000)
        {
            put(0xE0 | (u >> 12));
            put(0x80 | ((u >> 6) & 0x3F));
            put(0x80 | (u & 0x3F));
        }
        else
        {
            put(0xF0 | (u >> 18));
            put(0x80 | ((u >> 12) & 0x3F));
            put(0x80 | ((u >> 6) & 0x3F));
            put(0x80 | (u & 0x3F));
        }
    }
    return n;
}

size_t LocalToWide(unsigned int uCodePage, const char* lpText, size_t nLen, uint16_t* pOut, size_t nOutCap)
{
    if (IsUtf8CodePage(uCodePage))
        return Utf8ToWide(lpText, nLen, pOut, nOutCap);
    iconv_t cd = t_iconv.Get(uCodePage, true);
    if (cd == reinterpret_cast<iconv_t>(-1))
    {
        // An unknown code page: take the bytes as Latin-1 rather than lose them.
        for (size_t i = 0; i < nLen && pOut; ++i)
            if (i < nOutCap)
                pOut[i] = static_cast<unsigned char>(lpText[i]);
        return nLen;
    }
    OutSink out{reinterpret_cast<char*>(pOut), nOutCap * 2};
    static const char kReplacement[2] = {'\xFD', '\xFF'};
    RunIconv(cd, lpText, nLen, out, kReplacement, 2, [](const char*, size_t) { return size_t(1); });
    return out.count / 2;
}

size_t ValidLocalPrefix(unsigned int uCodePage, const char* lpText, size_t nLen)
{
    if (IsUtf8CodePage(uCodePage))
    {
        const unsigned char* s = reinterpret_cast<const unsigned char*>(lpText);
        size_t i = 0;
        while (i < nLen)
        {
            // ASCII runs, the common case, eight bytes at a time.
            while (nLen - i >= 8)
            {
                uint64_t w;
                std::memcpy(&w, s + i, 8);
                if (w & 0x8080808080808080ull)
                    break;
                i += 8;
            }
            if (i == nLen)
                break;
            unsigned char c = s[i];
            if (c < 0x80)
            {
                ++i;
                continue;
            }
            size_t len = Utf8SequenceLength(c);
            if (len == 1 || nLen - i < len)
                return i;
            // The second byte's range excludes overlong forms, surrogates and values above
            // U+10FFFF; the others are plain continuation bytes.
            unsigned char cLow = c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;
            unsigned char cHigh = c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;
            if (s[i + 1] < cLow || s[i + 1] > cHigh)
                return i;
            for (size_t k = 2; k < len; ++k)
                if ((s[i + k] & 0xC0) != 0x80)
                    return i;
            i += len;
        }
        return nLen;
    }
    iconv_t cd = t_iconv.Get(uCodePage, true);
    if (cd == reinterpret_cast<iconv_t>(-1))
        return nLen;
    char buf[4096];
    char* pInPtr = const_cast<char*>(lpText);
    size_t nIn = nLen;
    while (nIn > 0)
    {
        char* pOutPtr = buf;
        size_t nOutLeft = sizeof(buf);
        size_t r = iconv(cd, &pInPtr, &nIn, &pOutPtr, &nOutLeft);
        if (r == static_cast<size_t>(-1) && errno != E2BIG)
            return nLen - nIn;  // EILSEQ, or EINVAL for a sequence cut short at the end
    }
    return nLen;
}

size_t WideToLocal(unsigned int uCodePage, const uint16_t* pText, size_t nLen, char* pOut, size_t nOutCap)
{
    if (IsUtf8CodePage(uCodePage))
        return WideToUtf8(pText, nLen, pOut, nOutCap);
    iconv_t cd = t_iconv.Get(uCodePage, false);
    if (cd == reinterpret_cast<iconv_t>(-1))
    {
        for (size_t i = 0; i < nLen && pOut; ++i)
            if (i < nOutCap)
                pOut[i] = pText[i] < 0x100 ? static_cast<char>(pText[i]) : '?';
        return nLen;
    }
    OutSink out{pOut, nOutCap};
    RunIconv(cd, reinterpret_cast<const char*>(pText), nLen * 2, out, "?", 1, [](const char* p, size_t nLeft) {
        uint16_t u;
        std::memcpy(&u, p, 2);
        return (u >= 0xD800 && u <= 0xDBFF && nLeft >= 4) ? size_t(4) : size_t(2);
    });
    return out.count;
}

// ---- time ----------------------------------------------------------------------------------

void GetLocalTime(SystemTime& st)
{
    auto now = std::chrono::system_clock::now();
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    time_t t = static_cast<time_t>(ms / 1000);
    struct tm tmLocal;
    localtime_r(&t, &tmLocal);
    st.wYear = static_cast<uint16_t>(tmLocal.tm_year + 1900);
    st.wMonth = static_cast<uint16_t>(tmLocal.tm_mon + 1);
    st.wDayOfWeek = static_cast<uint16_t>(tmLocal.tm_wday);
    st.wDay = static_cast<uint16_t>(tmLocal.tm_mday);
    st.wHour = static_cast<uint16_t>(tmLocal.tm_hour);
    st.wMinute = static_cast<uint16_t>(tmLocal.tm_min);
    st.wSecond = static_cast<uint16_t>(tmLocal.tm_sec);
    st.wMilliseconds = static_cast<uint16_t>(ms % 1000);
}

bool FileTimeToSystemTime(const FileTime& ft, SystemTime& st)
{
    uint64_t q = (static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
    if (q >= 0x8000000000000000ull)
        return false;
    uint64_t qwMs = q / 10000;
    uint64_t qwDays = qwMs / 86400000ull;
    uint32_t dwMsOfDay = static_cast<uint32_t>(qwMs % 86400000ull);
    // 1601-01-01 was a Monday.
    st.wDayOfWeek = static_cast<uint16_t>((qwDays + 1) % 7);
    // Civil date from days since 1601-01-01 (proleptic Gregorian, 400-year cycles).
    int64_t z = static_cast<int64_t>(qwDays);
    int64_t era = z / 146097;
    int64_t doe = z - era * 146097;
    int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    int64_t y = 1601 + era * 400 + yoe;
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool bLeap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    int m = 0;
    while (m < 12)
    {
        int d = kDays[m] + (m == 1 && bLeap ? 1 : 0);
        if (doy < d)
            break;
        doy -= d;
        ++m;
    }
    if (y > 30827)
        return false;
    st.wYear = static_cast<uint16_t>(y);
    st.wMonth = static_cast<uint16_t>(m + 1);
    st.wDay = static_cast<uint16_t>(doy + 1);
    st.wHour = static_cast<uint16_t>(dwMsOfDay / 3600000);
    st.wMinute = static_cast<uint16_t>(dwMsOfDay / 60000 % 60);
    st.wSecond = static_cast<uint16_t>(dwMsOfDay / 1000 % 60);
    st.wMilliseconds = static_cast<uint16_t>(dwMsOfDay % 1000);
    return true;
}

uint32_t GetTickCount()
{
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
    return static_cast<uint32_t>(ms);
}

int LocalDayOfWeek(int64_t t)
{
    const time_t tt = static_cast<time_t>(t);
    if (static_cast<int64_t>(tt) != t)
        return -1;
    struct tm tmLocal;
    if (!localtime_r(&tt, &tmLocal))
        return -1;
    return tmLocal.tm_wday;
}

// ---- numbers -------------------------------------------------------------------------------

int FormatDoubleC(char* pBuffer, size_t nCapacity, const char* lpFormat, double dValue)
{
    // One C locale for the process; a thread switches to it only for the call.
    static const locale_t s_cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    locale_t previous = static_cast<locale_t>(0);
    if (s_cLocale)
        previous = uselocale(s_cLocale);
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif
    const int n = std::snprintf(pBuffer, nCapacity, lpFormat, dValue);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
    if (s_cLocale)
        uselocale(previous);
    return n;
}

} // namespace Platform
} // namespace KrXmlLib16
