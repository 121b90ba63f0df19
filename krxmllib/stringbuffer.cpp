#include "stringbuffer.h"

#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <memory>
#include <utility>

namespace KrXmlLib16 {

CStringBuffer::CStringBuffer() : CStringBuffer(4096) {}

CStringBuffer::CStringBuffer(uint32_t dwBlockSize, bool bOneBlock)
    : CInstanceMonitor("CStringBuffer"), m_dwBlockSize(dwBlockSize > 1 ? dwBlockSize - 1 : 1), m_LastBlock_DataIn(0),
      m_LastBlock_SizeOf(0), m_pLastBlock(nullptr), m_dwTotalBufferLen(0), m_bOneBlock(bOneBlock)
{
}

void CStringBuffer::FreeBlock::operator()(char* p) const
{
    std::free(p);
}

namespace {

char* AllocateBlock(size_t nCapacity)
{
    char* p = static_cast<char*>(std::malloc(nCapacity + 1));
    if (!p)
        throw std::bad_alloc();
    return p;
}

} // namespace

CStringBuffer::~CStringBuffer()
{
    Clear();
}

void CStringBuffer::AddBlock()
{
    assert(m_LastBlock_SizeOf == m_LastBlock_DataIn);
    // Not cleared: GetData terminates the text where it ends, which is all a reader can see.
    m_blocks.push_back(Block(AllocateBlock(m_dwBlockSize)));
    try
    {
        m_blockSizes.push_back(m_dwBlockSize);
    }
    catch (...)
    {
        m_blocks.pop_back();
        throw;
    }
    m_pLastBlock = m_blocks.back().get();
    m_LastBlock_SizeOf = m_dwBlockSize;
    m_LastBlock_DataIn = 0;
}

void CStringBuffer::GrowOneBlock(size_t nMore)
{
    if (m_blocks.size() > 1)
        GetData();  // text swapped in from a chained buffer: one block first
    const size_t nNeeded = m_LastBlock_DataIn + nMore;
    if (nNeeded < nMore || nNeeded > SIZE_MAX / 4)
        throw std::bad_alloc();
    size_t nCapacity = m_LastBlock_SizeOf > m_dwBlockSize ? m_LastBlock_SizeOf : m_dwBlockSize;
    while (nCapacity < nNeeded)
        nCapacity *= 2;
    if (m_blocks.empty())
    {
        m_blocks.reserve(1);
        m_blockSizes.reserve(1);
        m_blocks.push_back(Block(AllocateBlock(nCapacity)));
        m_blockSizes.push_back(nCapacity);
    }
    else
    {
        char* p = static_cast<char*>(std::realloc(m_blocks[0].get(), nCapacity + 1));
        if (!p)
            throw std::bad_alloc();
        (void)m_blocks[0].release();
        m_blocks[0].reset(p);
        m_blockSizes[0] = nCapacity;
    }
    m_pLastBlock = m_blocks[0].get();
    m_LastBlock_SizeOf = nCapacity;
}

void CStringBuffer::AppendToNewBlocks(const char* pText, size_t nLen)
{
    if (m_bOneBlock)
    {
        // The text may be a piece of this buffer's own: found again by its offset once the
        // block has moved.
        const bool bInside = m_pLastBlock && pText >= m_pLastBlock && pText < m_pLastBlock + m_LastBlock_SizeOf;
        const size_t nOffset = bInside ? static_cast<size_t>(pText - m_pLastBlock) : 0;
        GrowOneBlock(nLen);
        if (bInside)
            pText = m_pLastBlock + nOffset;
        std::memcpy(m_pLastBlock + m_LastBlock_DataIn, pText, nLen);
        m_LastBlock_DataIn += nLen;
        m_dwTotalBufferLen += nLen;
        return;
    }
    m_dwTotalBufferLen += nLen;
    while (nLen > 0)
    {
        if (!m_pLastBlock || m_LastBlock_DataIn == m_LastBlock_SizeOf)
            AddBlock();
        size_t nRoom = m_LastBlock_SizeOf - m_LastBlock_DataIn;
        size_t nCopy = nLen < nRoom ? nLen : nRoom;
        std::memcpy(m_pLastBlock + m_LastBlock_DataIn, pText, nCopy);
        m_LastBlock_DataIn += nCopy;
        pText += nCopy;
        nLen -= nCopy;
    }
}

const char* CStringBuffer::GetData()
{
    if (m_blocks.empty())
        return "";
    if (m_blocks.size() == 1)
    {
        m_blocks[0].get()[m_LastBlock_DataIn] = 0;
        return m_blocks[0].get();
    }
    size_t nTotal = m_dwTotalBufferLen;
    Block spJoined(AllocateBlock(nTotal));
    char* pJoined = spJoined.get();
    size_t dwOutputPos = 0;
    for (size_t i = 0; i < m_blocks.size(); ++i)
    {
        size_t n = i + 1 == m_blocks.size() ? m_LastBlock_DataIn : m_blockSizes[i];
        std::memcpy(pJoined + dwOutputPos, m_blocks[i].get(), n);
        dwOutputPos += n;
    }
    assert(dwOutputPos == m_dwTotalBufferLen);
    pJoined[nTotal] = 0;
    Clear();
    m_blockSizes.reserve(1);
    m_blocks.push_back(std::move(spJoined));
    m_blockSizes.push_back(nTotal);
    m_pLastBlock = pJoined;
    m_LastBlock_SizeOf = nTotal;
    m_LastBlock_DataIn = nTotal;
    m_dwTotalBufferLen = nTotal;
    return pJoined;
}

void CStringBuffer::AppendTo(std::string& strOut) const
{
    strOut.reserve(strOut.size() + m_dwTotalBufferLen);
    for (size_t i = 0; i < m_blocks.size(); ++i)
    {
        size_t n;
        const char* p = GetBlock(i, n);
        strOut.append(p, n);
    }
}

char* CStringBuffer::DetachText(size_t& nLen)
{
    nLen = 0;
    if (m_dwTotalBufferLen == 0)
        return nullptr;
    GetData();  // one block, terminated
    nLen = m_dwTotalBufferLen;
    char* p = m_blocks[0].release();
    Clear();
    return p;
}

void CStringBuffer::Clear()
{
    m_blocks.clear();
    m_blockSizes.clear();
    m_pLastBlock = nullptr;
    m_LastBlock_DataIn = 0;
    m_LastBlock_SizeOf = 0;
    m_dwTotalBufferLen = 0;
}

void CStringBuffer::Reset()
{
    if (m_blocks.size() == 1)
    {
        m_LastBlock_DataIn = 0;
        m_dwTotalBufferLen = 0;
    }
    else
        Clear();
}

void CStringBuffer::Swap(CStringBuffer& other)
{
    std::swap(m_blocks, other.m_blocks);
    std::swap(m_blockSizes, other.m_blockSizes);
    std::swap(m_LastBlock_DataIn, other.m_LastBlock_DataIn);
    std::swap(m_LastBlock_SizeOf, other.m_LastBlock_SizeOf);
    std::swap(m_pLastBlock, other.m_pLastBlock);
    std::swap(m_dwTotalBufferLen, other.m_dwTotalBufferLen);
}

} // namespace KrXmlLib16
