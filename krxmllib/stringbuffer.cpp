#include "stringbuffer.h"

#include <cassert>
#include <memory>
#include <utility>

namespace KrXmlLib16 {

CStringBuffer::CStringBuffer() : CStringBuffer(4096) {}

CStringBuffer::CStringBuffer(uint32_t dwBlockSize)
    : CInstanceMonitor("CStringBuffer"), m_dwBlockSize(dwBlockSize > 1 ? dwBlockSize - 1 : 1), m_LastBlock_DataIn(0),
      m_LastBlock_SizeOf(0), m_pLastBlock(nullptr), m_dwTotalBufferLen(0)
{
}

CStringBuffer::~CStringBuffer()
{
    Clear();
}

void CStringBuffer::AddBlock()
{
    assert(m_LastBlock_SizeOf == m_LastBlock_DataIn);
    // Not cleared: GetData terminates the text where it ends, which is all a reader can see.
    m_blocks.push_back(std::unique_ptr<char[]>(new char[m_dwBlockSize + 1]));
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

void CStringBuffer::AppendToNewBlocks(const char* pText, size_t nLen)
{
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
        m_blocks[0][m_LastBlock_DataIn] = 0;
        return m_blocks[0].get();
    }
    size_t nTotal = m_dwTotalBufferLen;
    std::unique_ptr<char[]> spJoined(new char[nTotal + 1]);
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
