// Fuzz target: XML (or Fast Infoset) read into untyped content must write a document that
// reads back into the same content: read, write, read, write, and the two writes are the same
// bytes. Input that doesn't read, and content that XML text can't carry, end in the library's
// exception.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

namespace {

KrXmlLib16::CBinaryData Write(const KrXmlLib16::CElement& element, const KrXmlLib16::CSerializationContext& ctx)
{
    using namespace KrXmlLib16;
    return element.ToXmlStream(false, false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    if (nSize == 0 || nSize > 0xFFFFFFFFu)
        return 0;
    std::vector<unsigned char> bytes(pData, pData + nSize);
    CSerializationContext ctx;
    ctx.SetStripCDATA(false);
    CSmartPtr<CElement> spFirst(new CElement(""));
    try
    {
        spFirst->FromXmlStream(bytes.data(), static_cast<uint32_t>(bytes.size()), ctx);
    }
    catch (const CKrException&)
    {
        return 0;
    }
    // The writer may refuse what XML can't carry (a NUL in the text of a Fast Infoset
    // document); what it writes must read back without complaint and write the same again.
    CBinaryData first;
    try
    {
        first = Write(*spFirst, ctx);
    }
    catch (const CKrException&)
    {
        return 0;
    }
    // U+FFFE and U+FFFF, which a Fast Infoset or JSON text can hold and XML can't, are refused
    // by the writer, never written.
    Check(!KrXmlFuzz::HoldsNonCharacter(first.GetData(), first.GetLength()));
    try
    {
        CSmartPtr<CElement> spSecond(new CElement(""));
        spSecond->FromXmlStream(first, ctx);
        Check(Write(*spSecond, ctx) == first);
    }
    catch (const CKrException&)
    {
        Check(false);
    }
    return 0;
}
