// The few host types that public classes hold or use inline: the recursive lock, atomic
// count steps, the file handle and the broken-down time records. Everything else of the
// operating-system layer stays behind platform.h, which the library alone includes.
#ifndef KRXMLLIB_KRPLATFORMTYPES_H
#define KRXMLLIB_KRPLATFORMTYPES_H

#include <atomic>
#include <cstdint>
#include <mutex>

namespace KrXmlLib16 {
namespace Platform {

// A lock the owning thread may take again.
typedef std::recursive_mutex RecursiveLock;

// Atomic steps that return the new value.
inline int32_t AtomicIncrement(std::atomic<int32_t>& value) { return value.fetch_add(1, std::memory_order_relaxed) + 1; }
inline int32_t AtomicDecrement(std::atomic<int32_t>& value) { return value.fetch_sub(1, std::memory_order_acq_rel) - 1; }

// An open file; error codes of the file operations are the host's (errno values).
typedef int FileHandle;
const FileHandle kInvalidFile = -1;

// The broken-down time record, year to millisecond.
struct SystemTime
{
    uint16_t wYear;
    uint16_t wMonth;        // 1..12
    uint16_t wDayOfWeek;    // 0 = Sunday
    uint16_t wDay;
    uint16_t wHour;
    uint16_t wMinute;
    uint16_t wSecond;
    uint16_t wMilliseconds;
};

// 100-nanosecond intervals since 1601-01-01 UTC, split in two halves.
struct FileTime
{
    uint32_t dwLowDateTime;
    uint32_t dwHighDateTime;
};

} // namespace Platform
} // namespace KrXmlLib16

#endif
