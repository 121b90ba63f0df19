#include "xmlobjectbase.h"

#include "binarydata.h"
#include "krexception.h"
#include "xmldocument.h"

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

void CXmlObjectBase::FromXmlElement(const CXmlElement* pElement, const CSerializationContext& ctx)
{
    if (!pElement)
        throw CKrInvalidParamException("The element to read from is NULL");
    CXmlElement* pSource = const_cast<CXmlElement*>(pElement);
    FromXml_Int(pSource, pSource->GetFirstElement(), ctx, false);
}

// ---- roads whose format machinery comes later ----
// Each raises until its writer or reader lands, so that a caller learns plainly which road is
// missing instead of getting empty output.

static void ThrowRoadMissing(const char* lpRoad)
{
    throw CKrException(std::string(lpRoad) + " is not available in this version of the library");
}

void CXmlObjectBase::ToXmlFile(const char*, bool, bool, XmlEncoding, EOLType, const CSerializationContext&,
                               CompressionType) const
{
    ThrowRoadMissing("ToXmlFile");
}

void CXmlObjectBase::ToFastInfosetFile(const char*, FInfoDecl, const CSerializationContext&, CompressionType) const
{
    ThrowRoadMissing("ToFastInfosetFile");
}

void CXmlObjectBase::ToJsonFile(const char*, bool, XmlEncoding, EOLType, const CSerializationContext&,
                                CompressionType) const
{
    ThrowRoadMissing("ToJsonFile");
}

std::string CXmlObjectBase::ToXml(bool, bool, EOLType, const CSerializationContext&) const
{
    ThrowRoadMissing("ToXml");
    return std::string();
}

std::string CXmlObjectBase::ToJson(bool, EOLType, const CSerializationContext&) const
{
    ThrowRoadMissing("ToJson");
    return std::string();
}

CBinaryData CXmlObjectBase::ToXmlStream(bool, bool, XmlEncoding, EOLType, const CSerializationContext&,
                                        CompressionType) const
{
    ThrowRoadMissing("ToXmlStream");
    return CBinaryData();
}

CBinaryData CXmlObjectBase::ToFastInfosetStream(FInfoDecl, const CSerializationContext&, CompressionType) const
{
    ThrowRoadMissing("ToFastInfosetStream");
    return CBinaryData();
}

CBinaryData CXmlObjectBase::ToJsonStream(bool, XmlEncoding, EOLType, const CSerializationContext&,
                                         CompressionType) const
{
    ThrowRoadMissing("ToJsonStream");
    return CBinaryData();
}

void CXmlObjectBase::FromJsonFile(const char*, const CSerializationContext&)
{
    ThrowRoadMissing("FromJsonFile");
}

void CXmlObjectBase::FromJson(const unsigned short*, const CSerializationContext&)
{
    ThrowRoadMissing("FromJson");
}

void CXmlObjectBase::FromJson(const char*, const CSerializationContext&)
{
    ThrowRoadMissing("FromJson");
}

void CXmlObjectBase::FromJsonStream(const CBinaryData&, const CSerializationContext&)
{
    ThrowRoadMissing("FromJsonStream");
}

void CXmlObjectBase::FromJsonStream(unsigned char* const, uint32_t, const CSerializationContext&)
{
    ThrowRoadMissing("FromJsonStream");
}

void CXmlObjectBase::FromXmlElement(const CElement*, const CSerializationContext&)
{
    ThrowRoadMissing("FromXmlElement(CElement)");
}

} // namespace KrXmlLib16
