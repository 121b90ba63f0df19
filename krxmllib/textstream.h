// Text sinks of the writers: CTextStream collects local text in memory and hands it out as
// text or as output bytes; CFileTextStream puts it in a file block by block while the
// document is still being produced.
#ifndef KRXMLLIB_TEXTSTREAM_H
#define KRXMLLIB_TEXTSTREAM_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "binarydata.h"
#include "krplatformtypes.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"
#include "stringbuffer.h"
#include "xmlenums.h"

namespace KrXmlLib16 {

namespace Platform {
class BackgroundFileIo;
}

class KRXML_API CTextStream : public CInstanceMonitor
{
public:
    CTextStream();
    explicit CTextStream(XmlEncoding eEncoding);
    virtual ~CTextStream();
    CTextStream(const CTextStream&) = delete;
    CTextStream& operator=(const CTextStream&) = delete;

    virtual void Start();
    virtual void End();
    // Called by the writers between two operations once 4096 or more characters are
    // buffered; a memory stream keeps everything.
    virtual void Flush();

    void Write(char c) { m_buffer.Append(c); }
    void Write(const char* lpText) { m_buffer.Append(lpText); }
    void Write(const std::string& str) { m_buffer.Append(str); }
    void Write(const char* pText, size_t nLen) { m_buffer.Append(pText, nLen); }

    size_t GetLength() const { return m_buffer.GetLength(); }
    XmlEncoding GetEncoding() const { return m_eEncoding; }
    // The text in the local code page, valid until the next change.
    const char* GetText() { return m_buffer.GetData(); }
    // Appends the text to strOut without joining the buffer first.
    void AppendTextTo(std::string& strOut) const { m_buffer.AppendTo(strOut); }
    // The text as bytes of the stream's encoding: UTF-8 for XmlEncoding_UTF8, UTF-16
    // little-endian without byte order mark for the two UTF-16 values; any other encoding
    // raises. Text that is its own UTF-8 form is handed over, not copied: the stream is
    // empty afterwards.
    CBinaryData GetEncodedData();

protected:
    CTextStream(const char* lpClassName, XmlEncoding eEncoding);

    static bool IsKnownEncoding(XmlEncoding eEncoding)
    {
        return eEncoding == XmlEncoding_UTF8 || eEncoding == XmlEncoding_UTF16 || eEncoding == XmlEncoding_UTF16NoDecl;
    }
    [[noreturn]] static void ThrowUnknownEncoding();

    CStringBuffer m_buffer;
    XmlEncoding m_eEncoding;
};

// Writes the text to a file while the writer goes on: each block is converted to the output
// encoding and written by a background worker while the caller produces the next one. At most
// one block is in flight. The file is created in Start and closed in End; after a failure the
// handles are closed and the part written so far stays.
class KRXML_API CFileTextStream : public CTextStream
{
public:
    CFileTextStream(const char* lpFileName, XmlEncoding eEncoding);
    virtual ~CFileTextStream();

    void Start() override;
    void End() override;
    // Hands a block to the worker once enough text has gathered; see kBlockSize.
    void Flush() override;

    // Text gathered before a block goes out. Larger than the writers' flush mark of 4096, so
    // that handing over to the worker costs little per byte.
    static const size_t kBlockSize = 0x10000;

protected:
    // Writes to a handle of the caller's, which it neither opens nor closes, front to back from
    // where the handle stands; lpName names it in messages.
    CFileTextStream(Platform::FileHandle hFile, const char* lpName, XmlEncoding eEncoding);

private:
    void WriteBlock();
    uint64_t WaitForWrite();
    void CloseHandles();
    static uint32_t EncodeAndWrite(void* pThis, uint64_t& qwWritten);
    static uint32_t WriteByteOrderMark(void* pThis, uint64_t& qwWritten);

    std::string m_strFileName;
    CStringBuffer m_blockInFlight;   // the text of the write in flight
    CBinaryData m_pending;           // its bytes, where they differ from the text
    uint64_t m_qwFilePos;            // offset of the next write
    Platform::FileHandle m_hFile;
    Platform::FileHandle m_hBorrowed;  // the caller's handle, or kInvalidFile for a named file
    // Declared last, so that its worker has stopped before the buffers it reads are freed.
    std::unique_ptr<Platform::BackgroundFileIo> m_pOverlapped;
};

// Puts the text out on the process's standard output block by block, as CFileTextStream does
// for a file, so that output of any size costs one block of memory. Standard output stays open.
class KRXML_API CStandardOutputTextStream : public CFileTextStream
{
public:
    explicit CStandardOutputTextStream(XmlEncoding eEncoding);
};

} // namespace KrXmlLib16

#endif
