#include "functions.h"

#include <cassert>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "krcriticalsection.h"

#include "patternmatcher.h"
#include "platform.h"

namespace KrXmlLib16 {

bool g_bASCIIOnly = false;
unsigned int g_uLocalCodePage = 0;
bool g_bAsyncFromXmlFile = false;
bool g_bAsyncToXmlFile = false;
uint64_t g_qwMaxDecompressedSize = kDefaultMaxDecompressedSize;
uint32_t g_dwMaxDecompressionRatio = kDefaultMaxDecompressionRatio;

void ASCIIOnly(bool bASCIIOnly) { g_bASCIIOnly = bASCIIOnly; }
void SetLocalCharEncoding(unsigned int uCodePage) { g_uLocalCodePage = uCodePage; }
void AsyncFromXmlFile(bool bAsync) { g_bAsyncFromXmlFile = bAsync; }
void AsyncToXmlFile(bool bAsync) { g_bAsyncToXmlFile = bAsync; }
void SetMaxDecompressedSize(uint64_t qwMaxBytes) { g_qwMaxDecompressedSize = qwMaxBytes; }
void SetMaxDecompressionRatio(uint32_t dwMaxRatio) { g_dwMaxDecompressionRatio = dwMaxRatio; }

DebugOutputFunction SetDebugOutput(DebugOutputFunction pfnOutput)
{
    return Platform::SetDebugSink(pfnOutput);
}

namespace {

// The host's printf knows "ll" where the library's formats may say "I64".
const char* TranslateFormat(const char* lpFormat, std::string& strScratch)
{
    if (!std::strstr(lpFormat, "I64"))
        return lpFormat;
    strScratch.clear();
    for (const char* p = lpFormat; *p;)
    {
        if (*p != '%')
        {
            strScratch += *p++;
            continue;
        }
        strScratch += *p++;
        if (*p == '%')
        {
            strScratch += *p++;
            continue;
        }
        while (*p && std::strchr("-+ #0123456789.*", *p))
            strScratch += *p++;
        if (std::strncmp(p, "I64", 3) == 0)
        {
            strScratch += "ll";
            p += 3;
        }
    }
    return strScratch.c_str();
}

std::string FormatV(const char* lpFormat, va_list args)
{
    std::string strScratch;
    const char* lpFmt = TranslateFormat(lpFormat, strScratch);
    char szSmall[256];
    va_list argsCopy;
    va_copy(argsCopy, args);
    int n = std::vsnprintf(szSmall, sizeof(szSmall), lpFmt, argsCopy);
    va_end(argsCopy);
    if (n < 0)
        return std::string();
    if (static_cast<size_t>(n) < sizeof(szSmall))
        return std::string(szSmall, std::strlen(szSmall));  // cut at the first NUL
    std::vector<char> buf(static_cast<size_t>(n) + 1);
    std::vsnprintf(buf.data(), buf.size(), lpFmt, args);
    return std::string(buf.data(), std::strlen(buf.data()));
}

} // namespace

std::string FormatString(const char* lpFormat, ...)
{
    va_list args;
    va_start(args, lpFormat);
    std::string strResult = FormatV(lpFormat, args);
    va_end(args);
    return strResult;
}

void DebugTrace(const char* lpFormat, ...)
{
    // Nobody listens by default: tracing then costs a test, not a formatting.
    if (!Platform::HasDebugSink())
        return;
    const int kBufSize = 1024 * 32;
    std::vector<char> buf(kBufSize);
    std::string strScratch;
    const char* lpFmt = TranslateFormat(lpFormat, strScratch);
    va_list args;
    va_start(args, lpFormat);
    int nBuf = std::vsnprintf(buf.data(), kBufSize, lpFmt, args);
    va_end(args);
    assert(nBuf < 1024 * 32);
    if (nBuf < 0)
        return;
    if (nBuf >= kBufSize)
        nBuf = kBufSize - 1;
    char szPiece[129];
    for (int i = 0; i < nBuf; i += 128)
    {
        int nPiece = nBuf - i < 128 ? nBuf - i : 128;
        std::memcpy(szPiece, buf.data() + i, static_cast<size_t>(nPiece));
        szPiece[nPiece] = 0;
        Platform::DebugOutput(szPiece);
    }
}

void AppendZeroPadded(std::string& strOut, uint32_t value, unsigned char width)
{
    char szDigits[12];
    int n = 0;
    do
    {
        szDigits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value);
    for (int i = n; i < width; ++i)
        strOut += '0';
    while (n > 0)
        strOut += szDigits[--n];
}

std::string FormatZeroPadded(uint32_t value, unsigned char width)
{
    std::string strResult;
    AppendZeroPadded(strResult, value, width);
    return strResult;
}

std::string TrimTrailingZeros(std::string digits)
{
    size_t n = digits.size();
    while (n > 1 && digits[n - 1] == '0')
        --n;
    digits.resize(n);
    return digits;
}

std::string FormatFraction(unsigned short milli, unsigned short micro, unsigned short nano)
{
    std::string strResult;
    if (nano > 0)
    {
        strResult = ".";
        AppendZeroPadded(strResult, milli, 3);
        AppendZeroPadded(strResult, micro, 3);
        strResult += TrimTrailingZeros(FormatZeroPadded(nano, 3));
    }
    else if (micro > 0)
    {
        strResult = ".";
        AppendZeroPadded(strResult, milli, 3);
        strResult += TrimTrailingZeros(FormatZeroPadded(micro, 3));
    }
    else if (milli > 0)
    {
        strResult = ".";
        strResult += TrimTrailingZeros(FormatZeroPadded(milli, 3));
    }
    return strResult;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to)
{
    if (from.empty())
        return;  // an empty pattern would match forever
    // Restarting at the beginning lets a replacement complete a new match; where the
    // replacement contains the pattern itself that would never end, so the search goes on
    // behind it instead.
    const bool bRestart = to.find(from) == std::string::npos;
    size_t pos = text.find(from);
    while (pos != std::string::npos)
    {
        text.replace(pos, from.size(), to);
        pos = text.find(from, bRestart ? 0 : pos + to.size());
    }
}

namespace {

// Compiled patterns, shared by every thread: facet checks meet the same few patterns for every
// value, and compiling costs far more than matching. A matcher is reentrant, so the lock guards
// only the table. Bounded: past kMaxPatterns the oldest entry goes (its holders keep it alive).
class CPatternCache
{
public:
    std::shared_ptr<const CPatternMatcher> Get(const std::string& patternUtf8)
    {
        {
            CKRLock lock(m_cs);
            auto it = m_matchers.find(patternUtf8);
            if (it != m_matchers.end())
                return it->second;
        }
        // Compiled outside the lock; a pattern that doesn't compile raises here and is not kept.
        auto spMatcher = std::make_shared<const CPatternMatcher>(patternUtf8);
        CKRLock lock(m_cs);
        auto inserted = m_matchers.emplace(patternUtf8, spMatcher);
        if (inserted.second)
        {
            m_order.push_back(patternUtf8);
            if (m_order.size() > kMaxPatterns)
            {
                m_matchers.erase(m_order.front());
                m_order.pop_front();
            }
        }
        return inserted.first->second;
    }

private:
    static const size_t kMaxPatterns = 256;
    CKRCriticalSection m_cs;
    std::unordered_map<std::string, std::shared_ptr<const CPatternMatcher>> m_matchers;
    std::deque<std::string> m_order;
};

// This thread's most recent patterns, looked at before the shared table's lock.
struct CRecentPatterns
{
    static const int kSize = 4;
    std::string patterns[kSize];
    std::shared_ptr<const CPatternMatcher> matchers[kSize];
    int iNext = 0;
};

CPatternCache& PatternCache()
{
    // Never destroyed: facet checks may run from other static destructors at exit.
    static CPatternCache* s_pCache = new CPatternCache;
    return *s_pCache;
}

} // namespace

bool MatchesPattern(const std::string& patternUtf8, const std::string& value)
{
    thread_local CRecentPatterns t_recent;
    for (int i = 0; i < CRecentPatterns::kSize; ++i)
        if (t_recent.matchers[i] && t_recent.patterns[i] == patternUtf8)
            return t_recent.matchers[i]->Matches(value);
    std::shared_ptr<const CPatternMatcher> spMatcher = PatternCache().Get(patternUtf8);
    int i = t_recent.iNext;
    t_recent.iNext = (i + 1) % CRecentPatterns::kSize;
    t_recent.patterns[i] = patternUtf8;
    t_recent.matchers[i] = spMatcher;
    return spMatcher->Matches(value);
}

} // namespace KrXmlLib16
