#include "binarydata.h"

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <new>
#include <memory>
#include <utility>

#include "functions.h"
#include "krcriticalsection.h"
#include "krexception.h"
#include "valuescratch.h"

namespace KrXmlLib16 {

// The shared block. Never changed while more than one CBinaryData holds it. Its bytes come
// from malloc, so that growing can extend them in place (large blocks are moved by remapping,
// not copied), or were adopted from array new, as the public constructor promises.
class CBinaryDataBuffer
{
public:
    // Copy: room for twice the length, at least 8 KB, so that appending stays cheap.
    CBinaryDataBuffer(const unsigned char* pData, uint32_t dwLen)
        : m_dwLen(dwLen), m_dwAllocated(dwLen > 0x1000 ? 2 * dwLen : 0x2000), m_refCount(1)
    {
        if (dwLen > 0x7FFFFFFFu)
            m_dwAllocated = dwLen;
        m_lpData = static_cast<unsigned char*>(std::malloc(m_dwAllocated));
        if (!m_lpData)
            throw std::bad_alloc();
        std::memcpy(m_lpData, pData, dwLen);
    }
    // Adopt.
    CBinaryDataBuffer(unsigned char* pData, uint32_t dwLen, bool bArrayNew)
        : m_lpData(pData), m_bArrayNew(bArrayNew), m_dwLen(dwLen), m_dwAllocated(dwLen), m_refCount(1)
    {
    }
    ~CBinaryDataBuffer() { Free(m_lpData, m_bArrayNew); }
    CBinaryDataBuffer(const CBinaryDataBuffer&) = delete;
    CBinaryDataBuffer& operator=(const CBinaryDataBuffer&) = delete;

    static void Free(unsigned char* p, bool bArrayNew)
    {
        if (bArrayNew)
            FreeArray(p);
        else
            std::free(p);
    }
    // Out of line: inlined, the compiler can't tell the two kinds of block apart and warns.
    static void FreeArray(unsigned char* p);

    void AddRef()
    {
        CKRLock lock(m_cs);
        ++m_refCount;
    }

    // Drops one share; the last one frees the block.
    static void Release(CBinaryDataBuffer* p)
    {
        p->m_cs.Enter();
        int32_t lNow = --p->m_refCount;
        p->m_cs.Leave();
        if (lNow == 0)
            delete p;
    }

    // A block this holder alone may change: itself, or a private copy that replaces the
    // holder's share of a shared one.
    CBinaryDataBuffer* MakeUnique()
    {
        CKRLock lock(m_cs);
        if (m_refCount < 2)
            return this;
        CBinaryDataBuffer* pCopy = new CBinaryDataBuffer(m_lpData, m_dwLen);
        --m_refCount;  // the lock is recursive; Release would take it again
        return pCopy;
    }

    // Gives up the bytes, as an array from array new; the caller then deletes the block.
    unsigned char* Detach()
    {
        CKRLock lock(m_cs);
        if (m_refCount > 1)
            throw CKrException(FormatString("Failed to release data. [RefCount=%d]", static_cast<int>(m_refCount - 1)));
        unsigned char* p = m_lpData;
        if (!m_bArrayNew)
        {
            // The caller frees with delete[]: bytes from malloc go over in a copy.
            p = new unsigned char[m_dwLen ? m_dwLen : 1];
            std::memcpy(p, m_lpData, m_dwLen);
            std::free(m_lpData);
        }
        m_lpData = nullptr;
        m_bArrayNew = false;
        --m_refCount;
        return p;
    }

    void Append(const unsigned char* pData, uint32_t dwLen)
    {
        CKRLock lock(m_cs);
        if (m_refCount != 1)
            throw CKrException(FormatString("Failed to append. [RefCount=%d]", static_cast<int>(m_refCount)));
        uint64_t qwNew = static_cast<uint64_t>(m_dwLen) + dwLen;
        if (qwNew > 0xFFFFFFFFu)
            throw CKrException("Failed to append. The data would exceed 4 GB");
        uint32_t dwNew = static_cast<uint32_t>(qwNew);
        if (dwNew > m_dwAllocated)
        {
            uint32_t dwAlloc = dwNew > 0x7FFFFFFFu ? 0xFFFFFFFFu : 2 * dwNew;
            // The new bytes may lie inside the old array (a caller appending a piece of its
            // own data): found again by their offset once the array has moved.
            const bool bInside = pData >= m_lpData && pData < m_lpData + m_dwLen;
            const size_t nOffset = bInside ? static_cast<size_t>(pData - m_lpData) : 0;
            unsigned char* pNew;
            if (m_bArrayNew)
            {
                pNew = static_cast<unsigned char*>(std::malloc(dwAlloc));
                if (!pNew)
                    throw std::bad_alloc();
                std::memcpy(pNew, m_lpData, m_dwLen);
                FreeArray(m_lpData);
                m_bArrayNew = false;
            }
            else
            {
                pNew = static_cast<unsigned char*>(std::realloc(m_lpData, dwAlloc));
                if (!pNew)
                    throw std::bad_alloc();
            }
            m_lpData = pNew;
            m_dwAllocated = dwAlloc;
            if (bInside)
                pData = m_lpData + nOffset;
        }
        std::memmove(m_lpData + m_dwLen, pData, dwLen);
        m_dwLen = dwNew;
    }

    unsigned char* m_lpData = nullptr;
    bool m_bArrayNew = false;
    uint32_t m_dwLen;
    uint32_t m_dwAllocated;
    int32_t m_refCount;
    CKRCriticalSection m_cs;
};

__attribute__((noinline)) void CBinaryDataBuffer::FreeArray(unsigned char* p)
{
    delete[] p;
}

namespace {

// Takes over pData; frees it if the record can't be made, so that a caller that has handed it
// over can't leak it.
CBinaryDataBuffer* AdoptBuffer(unsigned char* pData, uint32_t dwLen, bool bArrayNew)
{
    CBinaryDataBuffer* pBuffer;
    try
    {
        pBuffer = new CBinaryDataBuffer(pData, dwLen, bArrayNew);
    }
    catch (...)
    {
        CBinaryDataBuffer::Free(pData, bArrayNew);
        throw;
    }
    return pBuffer;
}

} // namespace

CBinaryData CBinaryData::AdoptAllocated(unsigned char* data, uint32_t length)
{
    CBinaryData result;
    if (length == 0)
        std::free(data);
    else
        result.m_pBuffer = AdoptBuffer(data, length, false);
    return result;
}

CBinaryData::CBinaryData(const CBinaryData& other) : m_pBuffer(other.m_pBuffer)
{
    if (m_pBuffer)
        m_pBuffer->AddRef();
}

CBinaryData::CBinaryData(unsigned char* const data, uint32_t length, bool takeOwnership) : m_pBuffer(nullptr)
{
    if (length == 0)
    {
        if (takeOwnership)
            delete[] data;
        return;
    }
    m_pBuffer = takeOwnership ? AdoptBuffer(data, length, true) : new CBinaryDataBuffer(data, length);
}

CBinaryData::CBinaryData(const char* text) : m_pBuffer(nullptr)
{
    size_t n = text ? std::strlen(text) : 0;
    if (n)
        m_pBuffer = new CBinaryDataBuffer(reinterpret_cast<const unsigned char*>(text), static_cast<uint32_t>(n));
}

CBinaryData& CBinaryData::operator=(const CBinaryData& other)
{
    if (other.m_pBuffer)
        other.m_pBuffer->AddRef();
    Clear();
    m_pBuffer = other.m_pBuffer;
    return *this;
}

CBinaryData& CBinaryData::operator=(CBinaryData&& other) noexcept
{
    if (this != &other)
    {
        Clear();
        m_pBuffer = other.m_pBuffer;
        other.m_pBuffer = nullptr;
    }
    return *this;
}

CBinaryData::~CBinaryData()
{
    Clear();
}

unsigned char* CBinaryData::GetData() const
{
    return m_pBuffer ? m_pBuffer->m_lpData : nullptr;
}

uint32_t CBinaryData::GetLength() const
{
    return m_pBuffer ? m_pBuffer->m_dwLen : 0;
}

unsigned char* CBinaryData::ReleaseData()
{
    if (!m_pBuffer)
        return nullptr;
    m_pBuffer = m_pBuffer->MakeUnique();
    unsigned char* p = m_pBuffer->Detach();
    delete m_pBuffer;
    m_pBuffer = nullptr;
    return p;
}

const unsigned char& CBinaryData::operator[](uint32_t index) const
{
    if (index >= GetLength())
        throw CKrException(FormatString("Index Out of range [%d]", static_cast<int>(index)));
    return m_pBuffer->m_lpData[index];
}

unsigned char& CBinaryData::operator[](uint32_t index)
{
    if (index >= GetLength())
        throw CKrException(FormatString("Index Out of range [%d]", static_cast<int>(index)));
    m_pBuffer = m_pBuffer->MakeUnique();
    return m_pBuffer->m_lpData[index];
}

bool CBinaryData::operator==(const CBinaryData& other) const
{
    uint32_t n = GetLength();
    if (n != other.GetLength())
        return false;
    return n == 0 || m_pBuffer == other.m_pBuffer || std::memcmp(GetData(), other.GetData(), n) == 0;
}

void CBinaryData::Clear()
{
    if (m_pBuffer)
    {
        CBinaryDataBuffer* p = m_pBuffer;
        m_pBuffer = nullptr;
        CBinaryDataBuffer::Release(p);
    }
}

void CBinaryData::Append(unsigned char* const data, uint32_t length)
{
    if (length == 0)
        return;
    if (!m_pBuffer)
    {
        m_pBuffer = new CBinaryDataBuffer(data, length);
        return;
    }
    m_pBuffer = m_pBuffer->MakeUnique();
    m_pBuffer->Append(data, length);
}

void CBinaryData::Append(unsigned char b)
{
    Append(&b, 1);
}

void CBinaryData::Append(char c)
{
    Append(reinterpret_cast<unsigned char*>(&c), 1);
}

void CBinaryData::Append(const char* text)
{
    if (text)
        Append(reinterpret_cast<const unsigned char*>(text), static_cast<uint32_t>(std::strlen(text)));
}

void CBinaryData::Append(const std::string& str)
{
    Append(reinterpret_cast<const unsigned char*>(str.data()), static_cast<uint32_t>(str.size()));
}

void CBinaryData::Append(const CBinaryData& data)
{
    if (data.GetLength() == 0)
        return;
    CBinaryData keep(data);  // appending an object to itself must not read freed bytes
    Append(keep.GetData(), keep.GetLength());
}

void CBinaryData::SetBuffer(unsigned char* const data, uint32_t length)
{
    Clear();
    Append(data, length);
}

void CBinaryData::SetBuffer(const char* text)
{
    Clear();
    Append(text);
}

std::string CBinaryData::GetAsHexString(unsigned char* const data, uint32_t length)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string strResult;
    if (!data || length == 0)
        return strResult;
    strResult.resize(static_cast<size_t>(length) * 2);
    for (uint32_t i = 0; i < length; ++i)
    {
        strResult[2 * i] = kDigits[data[i] >> 4];
        strResult[2 * i + 1] = kDigits[data[i] & 0x0F];
    }
    return strResult;
}

std::string CBinaryData::GetAsHexString() const
{
    return GetAsHexString(GetData(), GetLength());
}

uint32_t CBinaryData::ConvertToHexData(const char* text, unsigned char** output)
{
    *output = nullptr;
    size_t n = text ? std::strlen(text) : 0;
    if (n % 2 != 0)
        throw CKrException("Invalid length in hex string");
    if (n == 0)
        return 0;
    if (n / 2 > 0xFFFFFFFFu)
        throw CKrException("Invalid length in hex string");
    unsigned char* p = new unsigned char[n / 2];
    for (size_t i = 0; i < n; i += 2)
    {
        int hi = Internal::HexDigitValue(text[i]);
        int lo = hi < 0 ? -1 : Internal::HexDigitValue(text[i + 1]);
        if (hi < 0 || lo < 0)
        {
            char cBad = hi < 0 ? text[i] : text[i + 1];
            delete[] p;
            throw CKrException(FormatString("Invalid char in hex string [%c]", cBad));
        }
        p[i / 2] = static_cast<unsigned char>((hi << 4) | lo);
    }
    *output = p;
    return static_cast<uint32_t>(n / 2);
}

void CBinaryData::SetAsHexString(const char* text)
{
    Clear();
    unsigned char* p = nullptr;
    uint32_t n = ConvertToHexData(text, &p);
    if (n)
        m_pBuffer = AdoptBuffer(p, n, true);
}

std::string CBinaryData::GetAsBase64() const
{
    if (!m_pBuffer)
        return std::string();
    CBase64 codec;
    return codec.Encode(GetData(), GetLength());
}

void CBinaryData::SetAsBase64(const char* text)
{
    Clear();
    size_t n = text ? std::strlen(text) : 0;
    if (n == 0)
        return;
    std::unique_ptr<unsigned char[]> p(new unsigned char[n + 1]);
    CBase64 codec;
    uint32_t dwLen = codec.Decode(text, p.get());
    if (dwLen == 0)
        return;
    m_pBuffer = AdoptBuffer(p.release(), dwLen, true);
}

} // namespace KrXmlLib16

// ---- CBase64 ----

static const char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string CBase64::Encode(const unsigned char* data, uint32_t length)
{
    std::string strOut;
    KrXmlLib16::Internal::AppendBase64(data, length, strOut);
    return strOut;
}

void KrXmlLib16::Internal::AppendBase64(const unsigned char* data, uint32_t length, std::string& strOut)
{
    const char* lpEncoding = kBase64Alphabet;
    assert(lpEncoding != 0);
    if (!data || length == 0)
        return;
    const size_t nStart = strOut.size();
    strOut.resize(nStart + (static_cast<size_t>(length) + 2) / 3 * 4);
    char* pOut = &strOut[nStart];
    uint32_t i = 0;
    // Whole groups of three bytes without per-bit bookkeeping.
    for (; i + 3 <= length; i += 3)
    {
        uint32_t v = (uint32_t(data[i]) << 16) | (uint32_t(data[i + 1]) << 8) | data[i + 2];
        *pOut++ = lpEncoding[v >> 18];
        *pOut++ = lpEncoding[(v >> 12) & 0x3F];
        *pOut++ = lpEncoding[(v >> 6) & 0x3F];
        *pOut++ = lpEncoding[v & 0x3F];
    }
    if (i < length)
    {
        uint32_t v = uint32_t(data[i]) << 16;
        if (i + 1 < length)
            v |= uint32_t(data[i + 1]) << 8;
        *pOut++ = lpEncoding[v >> 18];
        *pOut++ = lpEncoding[(v >> 12) & 0x3F];
        *pOut++ = i + 1 < length ? lpEncoding[(v >> 6) & 0x3F] : '=';
        *pOut++ = '=';
    }
}

namespace {

// -2: stops decoding; -1: skipped; 0..63: the digit.
struct Base64DecodeTable
{
    signed char values[128];
    Base64DecodeTable()
    {
        for (signed char& v : values)
            v = -2;
        for (int i = 0; i < 64; ++i)
            values[static_cast<unsigned char>(kBase64Alphabet[i])] = static_cast<signed char>(i);
        values[static_cast<unsigned char>('=')] = -1;
        values[static_cast<unsigned char>(' ')] = -1;
        values[static_cast<unsigned char>('\t')] = -1;
        values[static_cast<unsigned char>('\r')] = -1;
        values[static_cast<unsigned char>('\n')] = -1;
    }
};

} // namespace

uint32_t CBase64::Decode(const char* text, unsigned char* output)
{
    static const Base64DecodeTable s_table;  // built once rather than per call
    const signed char* szDecoding = s_table.values;
    assert(szDecoding != 0);
    assert(output != 0);
    m_uBits = 0;
    m_nBits = 0;
    m_lpInput = text;
    if (!text)
        return 0;
    // The state lives in locals while decoding: stores through output could otherwise touch the
    // members, which would then go to memory at every character.
    uint32_t uBits = 0;
    int nBits = 0;
    const char* p = text;
    uint32_t dwOut = 0;
    for (;;)
    {
        // Four digits on a byte boundary are three bytes; the terminator's entry ends the run
        // before anything past it is read. The top bit is ignored: only the low 7 bits select
        // the entry.
        while (nBits == 0)
        {
            const signed char v0 = szDecoding[static_cast<unsigned char>(p[0]) & 0x7F];
            if (v0 < 0)
                break;
            const signed char v1 = szDecoding[static_cast<unsigned char>(p[1]) & 0x7F];
            if (v1 < 0)
                break;
            const signed char v2 = szDecoding[static_cast<unsigned char>(p[2]) & 0x7F];
            if (v2 < 0)
                break;
            const signed char v3 = szDecoding[static_cast<unsigned char>(p[3]) & 0x7F];
            if (v3 < 0)
                break;
            const uint32_t v = (uint32_t(v0) << 18) | (uint32_t(v1) << 12) | (uint32_t(v2) << 6) | uint32_t(v3);
            output[dwOut] = static_cast<unsigned char>(v >> 16);
            output[dwOut + 1] = static_cast<unsigned char>(v >> 8);
            output[dwOut + 2] = static_cast<unsigned char>(v);
            dwOut += 3;
            p += 4;
        }
        if (!*p)
            break;
        signed char v = szDecoding[static_cast<unsigned char>(*p) & 0x7F];
        if (v == -2)
        {
            m_uBits = uBits;
            m_nBits = nBits;
            m_lpInput = p;
            return 0;
        }
        ++p;
        if (v == -1)
            continue;
        uBits = (uBits << 6) | static_cast<uint32_t>(v);
        nBits += 6;
        if (nBits >= 8)
        {
            nBits -= 8;
            output[dwOut++] = static_cast<unsigned char>(uBits >> nBits);
            uBits &= (1u << nBits) - 1;
        }
    }
    m_uBits = uBits;
    m_nBits = nBits;
    m_lpInput = p;
    return dwOut;
}
