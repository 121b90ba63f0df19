// Bulk allocation for the objects of an untyped tree that is built in one go from a parser.
// While a build runs on a thread, the elements, attributes, list nodes and lists it makes are
// carved one after another from large chunks that belong to one arena; each object still dies
// on its own through its reference count, and the arena gives its chunks back when its last
// object is gone. Building and freeing then cost a pointer bump and a count, and the objects of
// a document lie in document order. An object kept alive keeps its whole arena: a deep copy
// (Clone) made outside a build lives on the ordinary heap.
#ifndef KRXMLLIB_OBJECTARENA_H
#define KRXMLLIB_OBJECTARENA_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

namespace KrXmlLib16 {

class CObjectArena
{
public:
    // An object of a class that uses the arena; from the arena of a build running on this
    // thread, else from the heap.
    static void* Allocate(size_t nSize);
    static void Free(void* p) noexcept;

    // Makes the arena of a build on this thread for its lifetime; nested scopes share the
    // outer arena.
    class CBuildScope
    {
    public:
        CBuildScope();
        ~CBuildScope();
        CBuildScope(const CBuildScope&) = delete;
        CBuildScope& operator=(const CBuildScope&) = delete;

    private:
        CObjectArena* m_pArena;  // null when an outer scope owns the arena
    };

private:
    struct Chunk
    {
        Chunk* pNext;
    };

    CObjectArena();
    ~CObjectArena();
    void* Carve(size_t nBytes);
    void Release() noexcept;

    std::atomic<int64_t> m_nRefs;  // living objects, plus one while the build runs
    Chunk* m_pChunks;
    char* m_pCur;
    char* m_pEnd;
    size_t m_nNextChunk;
};

} // namespace KrXmlLib16

// The allocation operators that KR_ARENA_ALLOCATION (xmlcollectionbase.h) declares in a class,
// defined through the arena in the class's source file.
#define KR_ARENA_ALLOCATION_DEFINE(Class)                                                              \
    void* Class::operator new(std::size_t nSize) { return KrXmlLib16::CObjectArena::Allocate(nSize); } \
    void Class::operator delete(void* p) noexcept { KrXmlLib16::CObjectArena::Free(p); }

#endif
