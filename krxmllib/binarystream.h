// Byte sinks: CBinaryStream collects bytes in memory (the binary writer's output);
// CFileBinaryStream puts finished bytes in a file in one go.
#ifndef KRXMLLIB_BINARYSTREAM_H
#define KRXMLLIB_BINARYSTREAM_H

#include <cstdint>
#include <string>

#include "binarydata.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"
#include "xmlenums.h"

namespace KrXmlLib16 {

class KRXML_API CBinaryStream : public CInstanceMonitor
{
public:
    CBinaryStream();
    explicit CBinaryStream(const CBinaryData& data);
    virtual ~CBinaryStream();

    void Write(unsigned char b) { m_data.Append(b); }
    void Write(const CBinaryData& data) { m_data.Append(data); }
    void Write(const void* pData, uint32_t dwLen)
    {
        m_data.Append(static_cast<const unsigned char*>(pData), dwLen);
    }
    // A copy that shares the bytes.
    CBinaryData GetData() const { return m_data; }

protected:
    CBinaryStream(const char* lpClassName, const CBinaryData& data);

    CBinaryData m_data;
};

class KRXML_API CFileBinaryStream : public CBinaryStream
{
public:
    CFileBinaryStream(const char* lpFileName, XmlEncoding eEncoding);
    CFileBinaryStream(const char* lpFileName, XmlEncoding eEncoding, const CBinaryData& data);

    // Creates or truncates the file and writes the bytes, behind a byte order mark FF FE for
    // the two UTF-16 encodings.
    void WriteToFile();

private:
    std::string m_strFileName;
    XmlEncoding m_eEncoding;
};

} // namespace KrXmlLib16

#endif
