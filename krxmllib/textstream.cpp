#include "textstream.h"

#include <cerrno>
#include <cstring>
#include <new>

#include "encoder.h"
#include "functions.h"
#include "krexception.h"
#include "platform.h"

namespace KrXmlLib16 {

// ---- CTextStream ----

CTextStream::CTextStream() : CTextStream("CTextStream", XmlEncoding_None) {}

CTextStream::CTextStream(XmlEncoding eEncoding) : CTextStream("CTextStream", eEncoding) {}

CTextStream::CTextStream(const char* lpClassName, XmlEncoding eEncoding)
    : CInstanceMonitor(lpClassName), m_buffer(4096, true), m_eEncoding(eEncoding)
{
}

CTextStream::~CTextStream() = default;

void CTextStream::Start()
{
    m_buffer.Reset();
}

void CTextStream::End() {}

void CTextStream::Flush() {}

void CTextStream::ThrowUnknownEncoding()
{
    throw CKrException("Unknown Encoding, select UTF-8 (contact our support team)");
}

CBinaryData CTextStream::GetEncodedData()
{
    if (!IsKnownEncoding(m_eEncoding))
        ThrowUnknownEncoding();
    if (m_eEncoding != XmlEncoding_UTF8)
        return LocalToUtf16(GetText(), GetLength());

    size_t nLen = GetLength();
    if (nLen == 0)
        return CBinaryData();
    CUtf8IdentityCheck check;
    size_t nBlocks = m_buffer.GetBlockCount();
    for (size_t i = 0; i < nBlocks && check.IsIdentity(); ++i)
    {
        size_t n;
        const char* p = m_buffer.GetBlock(i, n);
        check.Feed(p, n);
    }
    if (!check.IsIdentity())
        return LocalToUtf8(GetText(), nLen);
    if (nLen > 0xFFFFFFFFu)
        throw CKrException("The text is too large for a byte buffer of 4 GB");
    // The text is its own UTF-8 form: its block becomes the data, so that the output isn't
    // held twice. The stream is empty afterwards.
    char* p = m_buffer.DetachText(nLen);
    return CBinaryData::AdoptAllocated(reinterpret_cast<unsigned char*>(p), static_cast<uint32_t>(nLen));
}

// ---- CFileTextStream ----

CFileTextStream::CFileTextStream(const char* lpFileName, XmlEncoding eEncoding)
    : CTextStream("CFileTextStream", eEncoding), m_strFileName(lpFileName ? lpFileName : ""), m_qwFilePos(0),
      m_hFile(Platform::kInvalidFile), m_hBorrowed(Platform::kInvalidFile),
      m_pOverlapped(new Platform::BackgroundFileIo)
{
}

CFileTextStream::CFileTextStream(Platform::FileHandle hFile, const char* lpName, XmlEncoding eEncoding)
    : CTextStream("CFileTextStream", eEncoding), m_strFileName(lpName ? lpName : ""), m_qwFilePos(0),
      m_hFile(Platform::kInvalidFile), m_hBorrowed(hFile), m_pOverlapped(new Platform::BackgroundFileIo)
{
}

CStandardOutputTextStream::CStandardOutputTextStream(XmlEncoding eEncoding)
    : CFileTextStream(Platform::StandardOutput(), "standard output", eEncoding)
{
}

CFileTextStream::~CFileTextStream()
{
    // No error can be reported here; the worker is let finish so that the handle is not
    // closed under a write.
    CloseHandles();
}

void CFileTextStream::CloseHandles()
{
    uint64_t qwIgnored;
    m_pOverlapped->Wait(qwIgnored);
    if (m_hBorrowed == Platform::kInvalidFile)
        Platform::CloseFile(m_hFile);
    else
        m_hFile = Platform::kInvalidFile;
}

void CFileTextStream::Start()
{
    CloseHandles();
    m_buffer.Reset();
    m_pending.Clear();
    uint32_t dwError = 0;
    if (m_hBorrowed == Platform::kInvalidFile)
        dwError = Platform::CreateFileForWrite(m_strFileName.c_str(), m_hFile);
    else
        m_hFile = m_hBorrowed;
    if (dwError)
        throw CKrException(FormatString("Failed to write data to the file [%s] error [0x%08X]", m_strFileName.c_str(),
                                        static_cast<unsigned int>(dwError)));
    dwError = m_pOverlapped->Prepare();
    if (dwError)
    {
        CloseHandles();
        throw CKrException(FormatString("Failed to create event for file overlap [%s] error [0x%08X]",
                                        m_strFileName.c_str(), static_cast<unsigned int>(dwError)));
    }
    m_qwFilePos = 0;
    if (m_eEncoding == XmlEncoding_UTF16 || m_eEncoding == XmlEncoding_UTF16NoDecl)
        m_pOverlapped->StartTask(&CFileTextStream::WriteByteOrderMark, this);
}

uint64_t CFileTextStream::WaitForWrite()
{
    uint64_t qwWritten = 0;
    uint32_t dwError = m_pOverlapped->Wait(qwWritten);
    if (dwError)
    {
        CloseHandles();
        throw CKrException(
            FormatString("Failed to write data to the file. Error [0x%08X]", static_cast<unsigned int>(dwError)));
    }
    return qwWritten;
}

void CFileTextStream::Flush()
{
    if (m_buffer.GetLength() >= kBlockSize)
        WriteBlock();
}

void CFileTextStream::WriteBlock()
{
    if (m_buffer.GetLength() == 0 || m_hFile == Platform::kInvalidFile)
        return;
    m_qwFilePos += WaitForWrite();
    if (!IsKnownEncoding(m_eEncoding))
    {
        CloseHandles();
        ThrowUnknownEncoding();
    }
    // The worker takes the gathered text; the caller goes on in the buffer of the block that
    // has just been written.
    m_blockInFlight.Swap(m_buffer);
    m_buffer.Reset();
    m_pOverlapped->StartTask(&CFileTextStream::EncodeAndWrite, this);
}

// Runs on the worker while the caller produces the next block: converts the block in flight
// and writes it at m_qwFilePos, which the caller leaves alone until it has waited.
uint32_t CFileTextStream::EncodeAndWrite(void* pArg, uint64_t& qwWritten)
{
    CFileTextStream* pThis = static_cast<CFileTextStream*>(pArg);
    qwWritten = 0;
    try
    {
        const char* pText = pThis->m_blockInFlight.GetData();
        size_t nLen = pThis->m_blockInFlight.GetLength();
        const void* pBytes = pText;
        size_t nBytes = nLen;
        if (pThis->m_eEncoding == XmlEncoding_UTF8)
        {
            CUtf8IdentityCheck check;
            check.Feed(pText, nLen);
            if (!check.IsIdentity())
            {
                pThis->m_pending = LocalToUtf8(pText, nLen);
                pBytes = pThis->m_pending.GetData();
                nBytes = pThis->m_pending.GetLength();
            }
        }
        else
        {
            pThis->m_pending = LocalToUtf16(pText, nLen);
            pBytes = pThis->m_pending.GetData();
            nBytes = pThis->m_pending.GetLength();
        }
        // A handle of the caller's is written where it stands: standard output may be a file
        // with something in it already, or one opened for appending.
        uint32_t dwError = pThis->m_hBorrowed == Platform::kInvalidFile
                               ? Platform::WriteFileAt(pThis->m_hFile, pBytes, nBytes, pThis->m_qwFilePos)
                               : Platform::WriteFile(pThis->m_hFile, pBytes, nBytes);
        if (dwError == 0)
            qwWritten = nBytes;
        return dwError;
    }
    catch (const std::bad_alloc&)
    {
        return ENOMEM;
    }
    catch (...)
    {
        return EFBIG;  // a block beyond the byte buffer's 4 GB
    }
}

uint32_t CFileTextStream::WriteByteOrderMark(void* pArg, uint64_t& qwWritten)
{
    static const unsigned char kByteOrderMark[2] = {0xFF, 0xFE};
    CFileTextStream* pThis = static_cast<CFileTextStream*>(pArg);
    qwWritten = 0;
    uint32_t dwError = pThis->m_hBorrowed == Platform::kInvalidFile
                           ? Platform::WriteFileAt(pThis->m_hFile, kByteOrderMark, 2, 0)
                           : Platform::WriteFile(pThis->m_hFile, kByteOrderMark, 2);
    if (dwError == 0)
        qwWritten = 2;
    return dwError;
}

void CFileTextStream::End()
{
    if (m_hFile == Platform::kInvalidFile)
    {
        if (m_buffer.GetLength() != 0)
            throw CKrException(FormatString("The file [%s] is not open for writing", m_strFileName.c_str()));
        return;
    }
    WriteBlock();
    m_qwFilePos += WaitForWrite();
    CloseHandles();
}

} // namespace KrXmlLib16
