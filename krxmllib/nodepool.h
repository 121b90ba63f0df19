// Fixed-size blocks carved from large chunks, with a free list. Tree nodes are made and
// freed in great numbers; a callback that consumes elements frees each soon after it was
// made, and the free list keeps that route in constant memory.
#ifndef KRXMLLIB_NODEPOOL_H
#define KRXMLLIB_NODEPOOL_H

#include <cstddef>
#include <vector>

namespace KrXmlLib16 {

class CNodePool
{
public:
    explicit CNodePool(size_t nBlockSize, size_t nAlign = alignof(std::max_align_t));
    ~CNodePool() { ReleaseAll(); }
    CNodePool(const CNodePool&) = delete;
    CNodePool& operator=(const CNodePool&) = delete;

    void* Allocate()
    {
        if (m_pFree)
        {
            FreeBlock* p = m_pFree;
            m_pFree = p->pNext;
            return p;
        }
        if (m_pCur == m_pEnd)
            AddChunk();
        void* p = m_pCur;
        m_pCur += m_nBlockSize;
        return p;
    }

    void Free(void* p)
    {
        FreeBlock* pBlock = static_cast<FreeBlock*>(p);
        pBlock->pNext = m_pFree;
        m_pFree = pBlock;
    }

    // Gives every chunk back; only when no block is in use any more.
    void ReleaseAll();

private:
    struct FreeBlock
    {
        FreeBlock* pNext;
    };
    void AddChunk();

    size_t m_nBlockSize;
    std::vector<char*> m_chunks;
    FreeBlock* m_pFree = nullptr;
    char* m_pCur = nullptr;
    char* m_pEnd = nullptr;
};

} // namespace KrXmlLib16

#endif
