#include "objectarena.h"

#include <new>

#include "platform.h"
#include "sanitizer.h"

namespace KrXmlLib16 {

namespace {

// Every object carries the arena it came from (null: the heap) in a header in front of it.
const size_t kHeader = 16;
const size_t kFirstChunk = 64 * 1024;
const size_t kMaxChunk = 4 * 1024 * 1024;

thread_local CObjectArena* t_pBuildArena = nullptr;

} // namespace

CObjectArena::CObjectArena() : m_nRefs(1), m_pChunks(nullptr), m_pCur(nullptr), m_pEnd(nullptr), m_nNextChunk(kFirstChunk)
{
}

CObjectArena::~CObjectArena()
{
    while (Chunk* p = m_pChunks)
    {
        m_pChunks = p->pNext;
        ::operator delete(p);
    }
}

void* CObjectArena::Carve(size_t nBytes)
{
    nBytes = (nBytes + kHeader - 1) / kHeader * kHeader;
    if (static_cast<size_t>(m_pEnd - m_pCur) < nBytes)
    {
        size_t nChunk = m_nNextChunk;
        while (nChunk < nBytes + kHeader)
            nChunk *= 2;
        // Through operator new, like every other allocation, so that a replaced one sees it.
        Chunk* pChunk = static_cast<Chunk*>(::operator new(nChunk));
        // A large chunk is filled front to back at once: large pages save most of the faults.
        if (nChunk >= kMaxChunk)
            Platform::AdviseLargePages(pChunk, nChunk);
        pChunk->pNext = m_pChunks;
        m_pChunks = pChunk;
        m_pCur = reinterpret_cast<char*>(pChunk) + kHeader;  // the chunk link takes one header's room
        m_pEnd = reinterpret_cast<char*>(pChunk) + nChunk;
        if (m_nNextChunk < kMaxChunk)
            m_nNextChunk *= 2;  // a large document takes large chunks
    }
    void* p = m_pCur;
    m_pCur += nBytes;
    return p;
}

void CObjectArena::Release() noexcept
{
    if (m_nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

void* CObjectArena::Allocate(size_t nSize)
{
    char* pBlock;
    CObjectArena* pArena = t_pBuildArena;
    if (pArena)
    {
        pBlock = static_cast<char*>(pArena->Carve(nSize + kHeader));
        pArena->m_nRefs.fetch_add(1, std::memory_order_relaxed);
    }
    else
    {
        pBlock = static_cast<char*>(::operator new(nSize + kHeader));
    }
    *reinterpret_cast<CObjectArena**>(pBlock) = pArena;
    return pBlock + kHeader;
}

void CObjectArena::Free(void* p) noexcept
{
    if (!p)
        return;
    char* pBlock = static_cast<char*>(p) - kHeader;
    CObjectArena* pArena = *reinterpret_cast<CObjectArena**>(pBlock);
    if (pArena)
        pArena->Release();
    else
        ::operator delete(pBlock);
}

CObjectArena::CBuildScope::CBuildScope() : m_pArena(nullptr)
{
#if !KRXML_UNDER_SANITIZER
    // Under a sanitizer objects come from the heap one by one, so that misuse is caught.
    if (!t_pBuildArena)
    {
        m_pArena = new CObjectArena;
        t_pBuildArena = m_pArena;
    }
#endif
}

CObjectArena::CBuildScope::~CBuildScope()
{
    if (m_pArena)
    {
        t_pBuildArena = nullptr;
        m_pArena->Release();  // the build's own reference
    }
}

} // namespace KrXmlLib16
