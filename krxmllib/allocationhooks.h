// For the library's own tests only: neither installed nor part of the interface.
#ifndef KRXMLLIB_INTERNAL_ALLOCATIONHOOKS_H
#define KRXMLLIB_INTERNAL_ALLOCATIONHOOKS_H

#include <cstddef>

namespace KrXmlLib16 {
namespace Internal {

// The allocator Expat uses; everything else in the library allocates through operator new.
struct ExpatAllocator
{
    void* (*pfnMalloc)(size_t nSize);
    void* (*pfnRealloc)(void* p, size_t nSize);
    void (*pfnFree)(void* p);
};

// Parsers made from now on allocate through pAllocator; null gives them malloc again. Not
// synchronised: set it while no document loads.
void SetExpatAllocator(const ExpatAllocator* pAllocator);

} // namespace Internal
} // namespace KrXmlLib16

#endif
