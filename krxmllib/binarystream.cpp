#include "binarystream.h"

#include "functions.h"
#include "krexception.h"
#include "platform.h"

namespace KrXmlLib16 {

CBinaryStream::CBinaryStream() : CBinaryStream("CBinaryStream", CBinaryData()) {}

CBinaryStream::CBinaryStream(const CBinaryData& data) : CBinaryStream("CBinaryStream", data) {}

CBinaryStream::CBinaryStream(const char* lpClassName, const CBinaryData& data)
    : CInstanceMonitor(lpClassName), m_data(data)
{
}

CBinaryStream::~CBinaryStream() = default;

CFileBinaryStream::CFileBinaryStream(const char* lpFileName, XmlEncoding eEncoding)
    : CFileBinaryStream(lpFileName, eEncoding, CBinaryData())
{
}

CFileBinaryStream::CFileBinaryStream(const char* lpFileName, XmlEncoding eEncoding, const CBinaryData& data)
    : CBinaryStream("CFileBinaryStream", data), m_strFileName(lpFileName ? lpFileName : ""), m_eEncoding(eEncoding)
{
}

void CFileBinaryStream::WriteToFile()
{
    Platform::FileHandle hFile;
    uint32_t dwError = Platform::CreateFileForWrite(m_strFileName.c_str(), hFile);
    if (dwError == 0)
    {
        if (m_eEncoding == XmlEncoding_UTF16 || m_eEncoding == XmlEncoding_UTF16NoDecl)
        {
            static const unsigned char kByteOrderMark[2] = {0xFF, 0xFE};
            dwError = Platform::WriteFile(hFile, kByteOrderMark, 2);
        }
        if (dwError == 0)
            dwError = Platform::WriteFile(hFile, m_data.GetData(), m_data.GetLength());
        Platform::CloseFile(hFile);
    }
    if (dwError)
        throw CKrException(FormatString("Failed to write data to the file [%s] error [0x%08X]", m_strFileName.c_str(),
                                        static_cast<unsigned int>(dwError)));
}

} // namespace KrXmlLib16
