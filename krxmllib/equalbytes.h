// Internal to the library: equality of short byte runs, names and namespaces above all.
#ifndef KRXMLLIB_INTERNAL_EQUALBYTES_H
#define KRXMLLIB_INTERNAL_EQUALBYTES_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace KrXmlLib16 {
namespace Internal {

// memcmp(a, b, n) == 0 without a call for 8 to 32 bytes: the first and the last eight (or
// sixteen) bytes, loaded whole, cover the run.
inline bool EqualBytes(const char* pa, const char* pb, size_t n)
{
    if (n >= 8 && n <= 32)
    {
        uint64_t x[4], y[4];
        std::memcpy(&x[0], pa, 8);
        std::memcpy(&y[0], pb, 8);
        std::memcpy(&x[1], pa + n - 8, 8);
        std::memcpy(&y[1], pb + n - 8, 8);
        if (n <= 16)
            return ((x[0] ^ y[0]) | (x[1] ^ y[1])) == 0;
        std::memcpy(&x[2], pa + 8, 8);
        std::memcpy(&y[2], pb + 8, 8);
        std::memcpy(&x[3], pa + n - 16, 8);
        std::memcpy(&y[3], pb + n - 16, 8);
        return ((x[0] ^ y[0]) | (x[1] ^ y[1]) | (x[2] ^ y[2]) | (x[3] ^ y[3])) == 0;
    }
    return n == 0 || std::memcmp(pa, pb, n) == 0;
}

} // namespace Internal
} // namespace KrXmlLib16

#endif
