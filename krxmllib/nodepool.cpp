#include "nodepool.h"

namespace KrXmlLib16 {

static const size_t kChunkBytes = 64 * 1024;

CNodePool::CNodePool(size_t nBlockSize, size_t nAlign) : m_nBlockSize((nBlockSize + nAlign - 1) / nAlign * nAlign)
{
}

void CNodePool::AddChunk()
{
    size_t nBlocks = kChunkBytes / m_nBlockSize;
    if (nBlocks == 0)
        nBlocks = 1;
    m_chunks.reserve(m_chunks.size() + 1);  // no leak if the push would throw
    char* pChunk = static_cast<char*>(::operator new(nBlocks * m_nBlockSize));
    m_chunks.push_back(pChunk);
    m_pCur = pChunk;
    m_pEnd = pChunk + nBlocks * m_nBlockSize;
}

void CNodePool::ReleaseAll()
{
    for (char* p : m_chunks)
        ::operator delete(p);
    m_chunks.clear();
    m_pFree = nullptr;
    m_pCur = m_pEnd = nullptr;
}

} // namespace KrXmlLib16
