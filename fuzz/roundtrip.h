// The round trip of the untyped and bound-class targets: any bytes read into an object end in
// the library's exception or in an object; an object read must write a document (or refuse,
// with the library's exception, text that XML can't carry) that reads back into an object that
// writes the same bytes.
#ifndef KRXML_FUZZ_ROUNDTRIP_H
#define KRXML_FUZZ_ROUNDTRIP_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzzsupport.h"
#include "krxmllib.h"

namespace KrXmlFuzz {

inline KrXmlLib16::CBinaryData WriteXml(const KrXmlLib16::CXmlObjectBase& object,
                                        const KrXmlLib16::CSerializationContext& ctx)
{
    using namespace KrXmlLib16;
    return object.ToXmlStream(false, false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
}

// make() gives a fresh object of the kind under test, in a CSmartPtr.
template <typename Make>
void CheckRoundTrip(const uint8_t* pData, size_t nSize, const KrXmlLib16::CSerializationContext& ctx, Make make)
{
    using namespace KrXmlLib16;
    if (nSize == 0 || nSize > 0xFFFFFFFFu)
        return;
    std::vector<unsigned char> bytes(pData, pData + nSize);
    auto spFirst = make();
    try
    {
        spFirst->FromXmlStream(bytes.data(), static_cast<uint32_t>(bytes.size()), ctx);
    }
    catch (const CKrException&)
    {
        return;
    }
    // The writer may refuse what XML can't carry (a NUL in the text of a Fast Infoset
    // document); what it writes must read back without complaint and write the same again.
    CBinaryData first;
    try
    {
        first = WriteXml(*spFirst, ctx);
    }
    catch (const CKrException&)
    {
        return;
    }
    // U+FFFE and U+FFFF, which a Fast Infoset or JSON text can hold and XML can't, are refused
    // by the writer, never written.
    Check(!HoldsNonCharacter(first.GetData(), first.GetLength()));
    try
    {
        auto spSecond = make();
        spSecond->FromXmlStream(first, ctx);
        Check(WriteXml(*spSecond, ctx) == first);
    }
    catch (const CKrException&)
    {
        Check(false);
    }
}

} // namespace KrXmlFuzz

#endif
