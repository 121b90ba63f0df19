// Counts every allocation of the process, for the benchmarks that report allocations per
// element or per document; linked only into those, so that the others time the plain allocator.
#include <atomic>
#include <cstdlib>
#include <new>

#include "benchsupport.h"

namespace {
std::atomic<size_t> g_nAllocations{0};

void* CountedAlloc(size_t n)
{
    g_nAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n ? n : 1))
        return p;
    throw std::bad_alloc();
}
} // namespace

size_t KrXmlBench::AllocationCount() { return g_nAllocations.load(); }

void* operator new(size_t n) { return CountedAlloc(n); }
void* operator new[](size_t n) { return CountedAlloc(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept
{
    g_nAllocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(n ? n : 1);
}
void* operator new[](size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
