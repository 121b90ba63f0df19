// The operating-system layer: every call the library makes to the host goes through here,
// so that the rest of the code never includes a system header for locks, files, code pages,
// time or background I/O.
#ifndef KRXMLLIB_PLATFORM_H
#define KRXMLLIB_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "krplatformtypes.h"  // the lock, count, file handle and time types public classes hold

namespace KrXmlLib16 {
namespace Platform {

// ---- debug output --------------------------------------------------------------------------

// Receives terminated text pieces. The default sink discards them, like a debug channel
// nobody listens to.
typedef void (*DebugSink)(const char* lpText);
DebugSink SetDebugSink(DebugSink pfnSink);  // returns the previous sink; null restores the default
void DebugOutput(const char* lpText);
// False while the default sink discards everything, so that a caller can skip formatting.
bool HasDebugSink();

// ---- files ---------------------------------------------------------------------------------

// Error codes are the host's (errno values); 0 means success.
uint32_t OpenFileForRead(const char* lpFileName, FileHandle& hFile);      // must exist, shared for readers
uint32_t CreateFileForWrite(const char* lpFileName, FileHandle& hFile);   // create or truncate
uint32_t GetFileSize32(FileHandle hFile, uint32_t& dwSize);               // fails above 4 GiB - 1
// Reads until dwLen bytes or the end; dwRead tells how many arrived. On a handle without
// offsets (a pipe, a terminal) the At form reads on from where the handle stands, so that a
// caller going front to back works on either.
uint32_t ReadFile(FileHandle hFile, void* pBuffer, uint32_t dwLen, uint32_t& dwRead);
uint32_t ReadFileAt(FileHandle hFile, void* pBuffer, uint32_t dwLen, uint64_t qwOffset, uint32_t& dwRead);
// The largest content ReadToEnd hands out: what a 32-bit length holds, less the one value
// GetFileSize32 keeps apart.
const uint32_t kMaxReadToEnd = 0xFFFFFFFEu;
// Reads everything from where the handle stands to the end of the file: a regular file by its
// size, anything else (a pipe, /dev/stdin, a file under /proc that reports size 0) chunk by
// chunk. pData comes from new[] and is the caller's on success (never null, also for no
// bytes); more than kMaxReadToEnd bytes give EFBIG.
uint32_t ReadToEnd(FileHandle hFile, unsigned char*& pData, uint32_t& dwLen);
// Writes all bytes or fails. On a handle without offsets the At form writes where the handle
// stands, as the plain form does.
uint32_t WriteFile(FileHandle hFile, const void* pData, size_t nLen);
uint32_t WriteFileAt(FileHandle hFile, const void* pData, size_t nLen, uint64_t qwOffset);
// The process's standard output; never to be closed by the library.
FileHandle StandardOutput();
void CloseFile(FileHandle& hFile);  // sets the handle to kInvalidFile; safe on an invalid handle

// One background operation at a time on one file: the caller starts a read or a write and
// later waits for its byte count, while it goes on with other work. A worker thread carries
// the operation; it is started with the first operation and stopped by the destructor.
class BackgroundFileIo
{
public:
    BackgroundFileIo();
    ~BackgroundFileIo();
    BackgroundFileIo(const BackgroundFileIo&) = delete;
    BackgroundFileIo& operator=(const BackgroundFileIo&) = delete;

    // Starts the worker ahead of the first operation, so that a failure to get a thread shows
    // where the caller sets up rather than later; returns 0 or the host's error code. The
    // Start functions call it themselves, and a failure there becomes the operation's result.
    uint32_t Prepare();

    void StartWrite(FileHandle hFile, const void* pData, size_t nLen, uint64_t qwOffset);
    void StartRead(FileHandle hFile, void* pBuffer, uint32_t dwLen, uint64_t qwOffset);
    // Runs pfnTask(pArg, qwTransferred) on the worker, for work that belongs with the transfer
    // (preparing the bytes, then writing them). Its result is the error code Wait returns. The
    // task must not throw.
    typedef uint32_t (*TaskFunction)(void* pArg, uint64_t& qwTransferred);
    void StartTask(TaskFunction pfnTask, void* pArg);
    bool IsBusy() const;
    // Waits for the operation started last; returns its error code (0 on success) and the
    // number of bytes moved. Without an operation in flight it returns 0 at once.
    uint32_t Wait(uint64_t& qwTransferred);

private:
    struct State;
    void Run();
    void Start(bool bWrite, FileHandle hFile, void* pBuffer, size_t nLen, uint64_t qwOffset, TaskFunction pfnTask,
               void* pTaskArg);

    std::unique_ptr<State> m_p;  // the worker and its hand-over, out of the header
};

// ---- memory --------------------------------------------------------------------------------

// Tells the host that the whole pages inside [p, p + nLen) will be used soon and densely, so
// that it may back them with large pages. Only a hint: nothing happens where the host has no
// such pages or declines.
void AdviseLargePages(void* p, size_t nLen);

// ---- code pages ----------------------------------------------------------------------------

// Code-page numbers follow the Windows numbering; 0 and 3 (system and thread default) and
// 65001 are UTF-8 here.
bool IsUtf8CodePage(unsigned int uCodePage);
// The iconv name of a code page ("CP1252", "ISO-8859-1", ...).
std::string CodePageName(unsigned int uCodePage);

// Local bytes to UTF-16 units. Without a target (pOut null) the result is the number of units
// needed. Bytes that are invalid in the code page become U+FFFD.
size_t LocalToWide(unsigned int uCodePage, const char* lpText, size_t nLen, uint16_t* pOut, size_t nOutCap);
// UTF-16 units to local bytes; a character the code page lacks becomes '?'. Without a target
// the result is the number of bytes needed.
size_t WideToLocal(unsigned int uCodePage, const uint16_t* pText, size_t nLen, char* pOut, size_t nOutCap);
// UTF-8 to UTF-16 units (size query as above); malformed sequences become U+FFFD.
size_t Utf8ToWide(const char* lpText, size_t nLen, uint16_t* pOut, size_t nOutCap);
// UTF-16 to UTF-8 (size query as above); a surrogate pair becomes one four-byte sequence,
// an unpaired surrogate becomes U+FFFD.
size_t WideToUtf8(const uint16_t* pText, size_t nLen, char* pOut, size_t nOutCap);
// The length of the longest start of the text that is valid in the code page, so nLen when
// all of it is. A character cut short at the end is invalid; for UTF-8 so are overlong forms,
// surrogates and values beyond U+10FFFF. An unknown code page is read as Latin-1: all valid.
size_t ValidLocalPrefix(unsigned int uCodePage, const char* lpText, size_t nLen);

// ---- time ----------------------------------------------------------------------------------

void GetLocalTime(SystemTime& st);
bool FileTimeToSystemTime(const FileTime& ft, SystemTime& st);  // false beyond year 30827
uint32_t GetTickCount();  // milliseconds of a monotonic clock, wrapping at 2^32
// The weekday (0 = Sunday) of a time in seconds since 1970-01-01T00:00:00Z, in the host's
// time zone as the TZ setting gives it; -1 if the host can't convert the time.
int LocalDayOfWeek(int64_t t);

// ---- numbers -------------------------------------------------------------------------------

// snprintf of one double under the C locale, so that the application's locale never turns the
// decimal point into a comma. lpFormat must hold exactly one floating conversion; the caller
// checks that. Returns what snprintf returns.
int FormatDoubleC(char* pBuffer, size_t nCapacity, const char* lpFormat, double dValue);

} // namespace Platform
} // namespace KrXmlLib16

#endif
