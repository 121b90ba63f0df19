// Output text collected in a chain of equal blocks: appending never moves what is already
// there, and the whole text is joined into one string only when somebody asks for it. Or, for
// text that is wanted whole at the end, in one block grown in place, which can then be handed
// over without a copy.
#ifndef KRXMLLIB_STRINGBUFFER_H
#define KRXMLLIB_STRINGBUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "krxmlexport.h"
#include "memoryleakhelp.h"

namespace KrXmlLib16 {

class KRXML_API CStringBuffer : public CInstanceMonitor
{
public:
    CStringBuffer();
    // New blocks hold dwBlockSize - 1 bytes, plus their terminator. bOneBlock: the text stays
    // in a single block that grows (by realloc, so that a large one is remapped, not copied).
    explicit CStringBuffer(uint32_t dwBlockSize, bool bOneBlock = false);
    virtual ~CStringBuffer();
    CStringBuffer(const CStringBuffer&) = delete;
    CStringBuffer& operator=(const CStringBuffer&) = delete;

    void Append(const char* lpText)
    {
        if (lpText)
            Append(lpText, std::strlen(lpText));
    }
    void Append(const std::string& str) { Append(str.data(), str.size()); }
    void Append(const char* pText, size_t nLen)
    {
        if (nLen <= m_LastBlock_SizeOf - m_LastBlock_DataIn)
        {
            std::memcpy(m_pLastBlock + m_LastBlock_DataIn, pText, nLen);
            m_LastBlock_DataIn += nLen;
            m_dwTotalBufferLen += nLen;
        }
        else
            AppendToNewBlocks(pText, nLen);
    }
    void Append(char c)
    {
        if (m_LastBlock_DataIn < m_LastBlock_SizeOf)
        {
            m_pLastBlock[m_LastBlock_DataIn++] = c;
            ++m_dwTotalBufferLen;
        }
        else
            AppendToNewBlocks(&c, 1);
    }
    void Assign(const char* lpText)
    {
        Clear();
        Append(lpText);
    }

    size_t GetLength() const { return m_dwTotalBufferLen; }
    // The whole text as one terminated string, valid until the next change. Joins the blocks
    // if there are several; an empty buffer gives an empty string, never null.
    const char* GetData();
    // The blocks as they stand, for readers that can take the text in pieces.
    size_t GetBlockCount() const { return m_blocks.size(); }
    const char* GetBlock(size_t i, size_t& nLen) const
    {
        nLen = i + 1 == m_blocks.size() ? m_LastBlock_DataIn : m_blockSizes[i];
        return m_blocks[i].get();
    }
    // Appends the text to strOut straight from the blocks, without joining them first.
    void AppendTo(std::string& strOut) const;

    // Hands the whole text over, joined if need be, and empties the buffer: nLen bytes from
    // malloc with a terminator after them, for the caller to free with free; null if empty.
    char* DetachText(size_t& nLen);

    // Frees all blocks.
    void Clear();
    // Empties the buffer for reuse: a single block is kept, at whatever capacity it has.
    void Reset();
    // Exchanges the contents of two buffers; their block sizes stay with them.
    void Swap(CStringBuffer& other);

private:
    struct FreeBlock
    {
        void operator()(char* p) const;
    };
    typedef std::unique_ptr<char, FreeBlock> Block;

    void AppendToNewBlocks(const char* pText, size_t nLen);
    void AddBlock();
    void GrowOneBlock(size_t nMore);

    std::vector<Block> m_blocks;  // from malloc, each one byte longer than its capacity
    std::vector<size_t> m_blockSizes;   // capacity of each block
    size_t m_dwBlockSize;               // capacity of a new block
    size_t m_LastBlock_DataIn;
    size_t m_LastBlock_SizeOf;
    char* m_pLastBlock;
    size_t m_dwTotalBufferLen;
    bool m_bOneBlock;
};

} // namespace KrXmlLib16

#endif
