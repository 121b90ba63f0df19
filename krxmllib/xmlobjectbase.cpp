#include "xmlobjectbase.h"

#include <memory>

#include "binarydata.h"
#include "binarystream.h"
#include "element.h"
#include "encoder.h"
#include "fastinfosetwriter.h"
#include "functions.h"
#include "jsontextwriter.h"
#include "jsoncontext.h"
#include "krexception.h"
#include "krzip.h"
#include "textstream.h"
#include "xmldocument.h"
#include "xmltextwriter.h"

namespace KrXmlLib16 {

int32_t CXmlObjectBase::Release()
{
    int32_t lCount = m_refCount.Decrement();
    if (lCount == 0)
        delete this;
    return lCount;
}

void CXmlObjectBase::OnEvent(CXmlObjectBase*, IEventSink::MsgType, void*) {}

void CXmlObjectBase::AttributesToXml_Int(CXmlWriter*, const CSerializationContext&) const {}

// ---- reading ----

template <typename LoadFn>
void CXmlObjectBase::ReadThroughDocument(const CSerializationContext& ctx, LoadFn load)
{
    CXmlDocument doc(ctx);
    load(doc);
    CXmlElement* pRoot = doc.GetDocumentElement();
    if (!pRoot)
        throw CKrException("Invalid or empty XML document");
    FromXml_Int(pRoot, pRoot->GetFirstElement(), ctx, false);
}

void CXmlObjectBase::FromXml(const char* lpXml, const CSerializationContext& ctx)
{
    ReadThroughDocument(ctx, [lpXml](CXmlDocument& doc) { doc.LoadXml(lpXml); });
}

void CXmlObjectBase::FromXml(const unsigned short* lpXml, const CSerializationContext& ctx)
{
    ReadThroughDocument(ctx, [lpXml](CXmlDocument& doc) { doc.LoadXml(lpXml); });
}

void CXmlObjectBase::FromXmlStream(unsigned char* const pData, uint32_t dwLen, const CSerializationContext& ctx)
{
    ReadThroughDocument(ctx, [pData, dwLen](CXmlDocument& doc) { doc.LoadXmlStream(pData, dwLen); });
}

void CXmlObjectBase::FromXmlStream(const CBinaryData& data, const CSerializationContext& ctx)
{
    FromXmlStream(data.GetData(), data.GetLength(), ctx);
}

void CXmlObjectBase::FromXmlFile(const char* lpFileName, const CSerializationContext& ctx)
{
    ReadThroughDocument(ctx, [lpFileName](CXmlDocument& doc) { doc.Load(lpFileName); });
}

void CXmlObjectBase::FromXmlElement(const CElement* pElement, const CSerializationContext& ctx)
{
    if (!pElement)
        throw CKrInvalidParamException("The element to read from is NULL");
    // Untyped content becomes a bound object by way of its text.
    std::string strXml = pElement->ToXml(false, false, EOLType_LF, CSerializationContext::GetDefaultContext());
    FromXml(strXml.c_str(), ctx);
}

void CXmlObjectBase::FromXmlElement(const CXmlElement* pElement, const CSerializationContext& ctx)
{
    if (!pElement)
        throw CKrInvalidParamException("The element to read from is NULL");
    CXmlElement* pSource = const_cast<CXmlElement*>(pElement);
    FromXml_Int(pSource, pSource->GetFirstElement(), ctx, false);
}

// ---- reading JSON ----
// JSON becomes XML text first, and that text is read as a stream, by the virtual FromXmlStream
// so that a class with roads of its own (CElement) reads it its way.

void CXmlObjectBase::FromJson(const char* lpJson, const CSerializationContext& ctx)
{
    CBinaryData data;
    {
        CXmlDocument doc(ctx);
        data = doc.LoadJson(lpJson);
    }
    FromJson_Int(data, ctx);
}

void CXmlObjectBase::FromJson(const unsigned short* lpJson, const CSerializationContext& ctx)
{
    CBinaryData data;
    {
        CXmlDocument doc(ctx);
        data = doc.LoadJson(lpJson);
    }
    FromJson_Int(data, ctx);
}

void CXmlObjectBase::FromJsonStream(unsigned char* const pData, uint32_t dwLen, const CSerializationContext& ctx)
{
    CBinaryData data;
    {
        CXmlDocument doc(ctx);
        data = doc.LoadJsonStream(pData, dwLen);
    }
    FromJson_Int(data, ctx);
}

void CXmlObjectBase::FromJsonStream(const CBinaryData& data, const CSerializationContext& ctx)
{
    FromJsonStream(data.GetData(), data.GetLength(), ctx);
}

void CXmlObjectBase::FromJsonFile(const char* lpFileName, const CSerializationContext& ctx)
{
    CBinaryData data;
    {
        CXmlDocument doc(ctx);
        data = doc.LoadJsonFile(lpFileName);
    }
    FromJson_Int(data, ctx);
}

void CXmlObjectBase::FromJson_Int(const CBinaryData& data, const CSerializationContext& ctx)
{
    // Without the full round trip the JSON carries no namespaces, so names match by their local
    // part. The read then runs with a copy of the context that ignores them: the caller's
    // context (often the shared default one, read by other threads at the same time) is never
    // written.
    const CSerializationContext* pRead = &ctx;
    std::unique_ptr<CSerializationContext> spIgnoring;
    if (ctx.GetJsonContext().GetSupportRoundtrip() != RoundTripFull && !ctx.GetIgnoreNamespaces())
    {
        spIgnoring.reset(new CSerializationContext(ctx));
        spIgnoring->SetIgnoreNamespaces(true);
        pRead = spIgnoring.get();
    }
    try
    {
        FromXmlStream(data, *pRead);
    }
    catch (const CKrException& e)
    {
        std::string strXml = Utf8ToLocal(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
        throw CKrException(FormatString("Error converting JSON to XML:\n%s", strXml.c_str()), e);
    }
}

// ---- writing XML text ----

namespace {

// The file roads write what the stream roads give. Compressed, the file is one gzip stream: a
// UTF-16 byte order mark goes inside it, in front of the text, so that the file opens as gzip
// and its content as the same file uncompressed.
void WriteBytesToFile(const char* lpFileName, XmlEncoding eEncoding, CBinaryData data, CompressionType eCompression)
{
    if (eCompression != CompressionType_None)
    {
        if (eEncoding == XmlEncoding_UTF16 || eEncoding == XmlEncoding_UTF16NoDecl)
        {
            CBinaryData withMark("\xFF\xFE");
            withMark.Append(data);
            data = withMark;
        }
        CKrZip::CompressBinaryData(data, eCompression);
        eEncoding = XmlEncoding_None;
    }
    CFileBinaryStream file(lpFileName, eEncoding, data);
    file.WriteToFile();
}

} // namespace

void CXmlObjectBase::WriteXmlDocument(CTextStream& stream, bool bIncludeDocHeader, bool bFormatted, EOLType eEOL,
                                      const CSerializationContext& ctx) const
{
    CXmlTextWriter writer(&stream);
    writer.StartDocument();
    // Formatting belongs before the first element.
    writer.SetFormatted(bFormatted);
    writer.SetIndent(ctx.GetIndentChars().c_str());
    writer.SetEOLType(eEOL);
    writer.SetWriteDefaultElementValues(ctx.GetWriteDefaultElementValues());
    if (bIncludeDocHeader)
        writer.WriteXmlDeclaration();
    std::string strNamespace = GetTargetNamespace();
    ToXml_Int(&writer, true, strNamespace.c_str(), ctx, false);
    writer.EndDocument();
}

std::string CXmlObjectBase::ToXml(bool bIncludeDocHeader, bool bFormatted, EOLType eEOL,
                                  const CSerializationContext& ctx) const
{
    CTextStream stream;
    WriteXmlDocument(stream, bIncludeDocHeader, bFormatted, eEOL, ctx);
    std::string strResult;
    stream.AppendTextTo(strResult);
    return strResult;
}

CBinaryData CXmlObjectBase::ToXmlStream(bool bIncludeDocHeader, bool bFormatted, XmlEncoding eEncoding, EOLType eEOL,
                                        const CSerializationContext& ctx, CompressionType eCompression) const
{
    CTextStream stream(eEncoding);
    WriteXmlDocument(stream, bIncludeDocHeader, bFormatted, eEOL, ctx);
    CBinaryData data = stream.GetEncodedData();
    if (eCompression != CompressionType_None)
        CKrZip::CompressBinaryData(data, eCompression);
    return data;
}

void CXmlObjectBase::ToXmlFile(const char* lpFileName, bool bIncludeDocHeader, bool bFormatted, XmlEncoding eEncoding,
                               EOLType eEOL, const CSerializationContext& ctx, CompressionType eCompression) const
{
    if (eCompression == CompressionType_ZLib)
        throw CKrException("ZLIB Compression only available for To Stream methods.");
    if (g_bAsyncToXmlFile && eCompression == CompressionType_None)
    {
        // The file is written block by block while the document is produced.
        CFileTextStream stream(lpFileName, eEncoding);
        WriteXmlDocument(stream, bIncludeDocHeader, bFormatted, eEOL, ctx);
        return;
    }
    WriteBytesToFile(lpFileName, eEncoding,
                     ToXmlStream(bIncludeDocHeader, bFormatted, eEncoding, eEOL, ctx, CompressionType_None), eCompression);
}

// ---- writing JSON ----

void CXmlObjectBase::WriteJsonDocument(CTextStream& stream, bool bFormatted, EOLType eEOL,
                                       const CSerializationContext& ctx) const
{
    CJsonTextWriter writer(&stream);
    writer.StartDocument();
    // Formatting belongs before the first element.
    writer.SetFormatted(bFormatted);
    writer.SetIndent(ctx.GetIndentChars().c_str());
    writer.SetEOLType(eEOL);
    writer.SetRoundTrip(ctx.GetJsonContext().GetSupportRoundtrip());
    writer.WriteHeader();
    std::string strNamespace = GetTargetNamespace();
    ToXml_Int(&writer, true, strNamespace.c_str(), ctx, false);
    writer.WriteFooter();
    writer.EndDocument();
}

std::string CXmlObjectBase::ToJson(bool bFormatted, EOLType eEOL, const CSerializationContext& ctx) const
{
    CTextStream stream;
    WriteJsonDocument(stream, bFormatted, eEOL, ctx);
    std::string strResult;
    stream.AppendTextTo(strResult);
    return strResult;
}

CBinaryData CXmlObjectBase::ToJsonStream(bool bFormatted, XmlEncoding eEncoding, EOLType eEOL,
                                         const CSerializationContext& ctx, CompressionType eCompression) const
{
    CTextStream stream(eEncoding);
    WriteJsonDocument(stream, bFormatted, eEOL, ctx);
    CBinaryData data = stream.GetEncodedData();
    if (eCompression != CompressionType_None)
        CKrZip::CompressBinaryData(data, eCompression);
    return data;
}

void CXmlObjectBase::ToJsonFile(const char* lpFileName, bool bFormatted, XmlEncoding eEncoding, EOLType eEOL,
                                const CSerializationContext& ctx, CompressionType eCompression) const
{
    if (eCompression == CompressionType_ZLib)
        throw CKrException("ZLIB Compression only available for To Stream methods.");
    if (g_bAsyncToXmlFile && eCompression == CompressionType_None)
    {
        // The file is written block by block while the document is produced.
        CFileTextStream stream(lpFileName, eEncoding);
        WriteJsonDocument(stream, bFormatted, eEOL, ctx);
        return;
    }
    WriteBytesToFile(lpFileName, eEncoding, ToJsonStream(bFormatted, eEncoding, eEOL, ctx, CompressionType_None),
                     eCompression);
}

// ---- writing Fast Infoset ----

CBinaryData CXmlObjectBase::ToFastInfosetStream(FInfoDecl eDecl, const CSerializationContext& ctx,
                                                CompressionType eCompression) const
{
    CBinaryStream stream;
    CFastInfosetWriter writer(ctx.GetFIContext(), &stream);
    writer.StartDocument();
    writer.WriteHeader(eDecl);
    std::string strNamespace = GetTargetNamespace();
    ToXml_Int(&writer, true, strNamespace.c_str(), ctx, false);
    writer.WriteFooter();
    writer.EndDocument();
    CBinaryData data = stream.GetData();
    if (eCompression != CompressionType_None)
        CKrZip::CompressBinaryData(data, eCompression);
    return data;
}

void CXmlObjectBase::ToFastInfosetFile(const char* lpFileName, FInfoDecl eDecl, const CSerializationContext& ctx,
                                       CompressionType eCompression) const
{
    if (eCompression == CompressionType_ZLib)
        throw CKrException("ZLIB Compression only available for To Stream methods.");
    CBinaryData data = ToFastInfosetStream(eDecl, ctx, eCompression);
    // Binary output: no byte order mark.
    CFileBinaryStream file(lpFileName, XmlEncoding_None, data);
    file.WriteToFile();
}


} // namespace KrXmlLib16
