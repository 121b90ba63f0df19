#include "fastinfosetwriter.h"

#include <cassert>
#include <cstring>

#include "binarystream.h"
#include "encoder.h"
#include "fastinfosetheader.h"
#include "fastinfosettypedvalues.h"
#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

const char* const CFastInfosetWriter::kGeneratedVocabularyURI = "urn:krxmllib16:generated-vocabulary";

namespace {

// Equality of two short texts, such as names, without a call: eight bytes at a time, the
// last word overlapping the one before.
inline bool SameText(const std::string& a, const std::string& b)
{
    const size_t n = a.size();
    if (n != b.size())
        return false;
    const char* p = a.data();
    const char* q = b.data();
    if (n >= 8)
    {
        uint64_t x, y;
        for (size_t i = 0; i + 8 < n; i += 8)
        {
            std::memcpy(&x, p + i, 8);
            std::memcpy(&y, q + i, 8);
            if (x != y)
                return false;
        }
        std::memcpy(&x, p + n - 8, 8);
        std::memcpy(&y, q + n - 8, 8);
        return x == y;
    }
    if (n >= 4)
    {
        uint32_t x1, y1, x2, y2;
        std::memcpy(&x1, p, 4);
        std::memcpy(&y1, q, 4);
        std::memcpy(&x2, p + n - 4, 4);
        std::memcpy(&y2, q + n - 4, 4);
        return x1 == y1 && x2 == y2;
    }
    for (size_t i = 0; i < n; ++i)
        if (p[i] != q[i])
            return false;
    return true;
}

const unsigned char kTerminator = 0xF0;
const unsigned char kDoubleTerminator = 0xFF;

// Restores where the writer's bytes go when a value written aside is done or fails.
template <typename T>
class CSinkSwitch
{
public:
    CSinkSwitch(T*& pSink, T* pNew) : m_pSink(pSink), m_pOld(pSink) { pSink = pNew; }
    ~CSinkSwitch() { m_pSink = m_pOld; }
    CSinkSwitch(const CSinkSwitch&) = delete;
    CSinkSwitch& operator=(const CSinkSwitch&) = delete;

private:
    T*& m_pSink;
    T* m_pOld;
};

} // namespace

CFastInfosetWriter::CFastInfosetWriter(CFastInfosetContext& ctx, CBinaryStream* pStream)
    : CXmlWriter("CFastInfosetWriter"), m_pStream(pStream), m_pFIContext(&ctx), m_pPendingContext(nullptr),
      m_bTerminatorPending(false),
      m_pVocabulary(ctx.GetUseGeneratedVocabulary() ? new CFIVocabulary(*ctx.GetVocabulary()) : new CFIVocabulary),
      m_bGeneratedVocabulary(ctx.GetUseGeneratedVocabulary()), m_pSink(&m_out), m_bPendingResolved(false),
      m_eDefaultDeclaration(Default_Inherited), m_nDeclarations(0), m_nAttributes(0)
{
    assert(pStream != 0);
    m_out.Reserve(kFlushSize + 4096);
}

CFastInfosetWriter::~CFastInfosetWriter() = default;

// ---- bytes ----

void CFastInfosetWriter::CByteBuffer::Grow(size_t nMore)
{
    size_t nNeed = m_nSize + nMore;
    size_t nCapacity = m_nCapacity ? 2 * m_nCapacity : 256;
    if (nCapacity < nNeed)
        nCapacity = nNeed;
    std::unique_ptr<unsigned char[]> pNew(new unsigned char[nCapacity]);
    if (m_nSize)
        std::memcpy(pNew.get(), m_pData.get(), m_nSize);
    m_pData = std::move(pNew);
    m_nCapacity = nCapacity;
}

void CFastInfosetWriter::FlushOutput()
{
    if (m_out.Size() == 0)
        return;
    m_pStream->Write(m_out.Data(), static_cast<uint32_t>(m_out.Size()));
    m_out.Truncate(0);
}

const unsigned char* CFastInfosetWriter::Utf8Of(const std::string& strText, uint32_t& dwLen)
{
    if (strText.size() > 0xFFFFFFFFu)
        throw CKrException("The text is too large for a byte buffer of 4 GB");
    // ASCII is its own UTF-8 in every local code page: eight bytes at a time.
    const char* p = strText.data();
    size_t n = strText.size(), i = 0;
    uint64_t qwHigh = 0;
    for (; i + 8 <= n; i += 8)
    {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        qwHigh |= w;
    }
    for (; i < n; ++i)
        qwHigh |= static_cast<unsigned char>(p[i]);
    if (!(qwHigh & 0x8080808080808080ull))
    {
        dwLen = static_cast<uint32_t>(n);
        return reinterpret_cast<const unsigned char*>(p);
    }
    CUtf8IdentityCheck check;
    check.Feed(strText.data(), strText.size());
    if (check.IsIdentity())
    {
        dwLen = static_cast<uint32_t>(strText.size());
        return reinterpret_cast<const unsigned char*>(strText.data());
    }
    m_utf8 = LocalToUtf8(strText.data(), strText.size());
    dwLen = m_utf8.GetLength();
    return m_utf8.GetData();
}

// ---- integers: 1 to 2^20 stored less their lower bound, in the bits left of the octet ----

void CFastInfosetWriter::AppendIntegerBit2(unsigned char byCurrent, uint32_t dwVal)
{
    assert(dwVal >= 1 && dwVal <= CFIVocabulary::kMaxTableSize);
    if (dwVal <= 64)
        Put(static_cast<unsigned char>(byCurrent | (dwVal - 1)));
    else if (dwVal <= 8256)
    {
        uint32_t v = dwVal - 65;
        Put(static_cast<unsigned char>(byCurrent | 0x40 | (v >> 8)));
        Put(static_cast<unsigned char>(v));
    }
    else
    {
        uint32_t v = dwVal - 8257;
        Put(static_cast<unsigned char>(byCurrent | 0x60 | (v >> 16)));
        Put(static_cast<unsigned char>(v >> 8));
        Put(static_cast<unsigned char>(v));
    }
}

void CFastInfosetWriter::AppendIntegerOrZeroBit2(unsigned char byCurrent, uint32_t dwVal)
{
    if (dwVal == 0)
        Put(static_cast<unsigned char>(byCurrent | 0x7F));
    else
        AppendIntegerBit2(byCurrent, dwVal);
}

void CFastInfosetWriter::AppendIntegerBit3(unsigned char byCurrent, uint32_t dwVal)
{
    assert(dwVal >= 1 && dwVal <= CFIVocabulary::kMaxTableSize);
    if (dwVal <= 32)
        Put(static_cast<unsigned char>(byCurrent | (dwVal - 1)));
    else if (dwVal <= 2080)
    {
        uint32_t v = dwVal - 33;
        Put(static_cast<unsigned char>(byCurrent | 0x20 | (v >> 8)));
        Put(static_cast<unsigned char>(v));
    }
    else if (dwVal <= 526368)
    {
        uint32_t v = dwVal - 2081;
        Put(static_cast<unsigned char>(byCurrent | 0x28 | (v >> 16)));
        Put(static_cast<unsigned char>(v >> 8));
        Put(static_cast<unsigned char>(v));
    }
    else
    {
        uint32_t v = dwVal - 526369;
        Put(static_cast<unsigned char>(byCurrent | 0x30));
        Put(static_cast<unsigned char>(v >> 16));
        Put(static_cast<unsigned char>(v >> 8));
        Put(static_cast<unsigned char>(v));
    }
}

void CFastInfosetWriter::AppendIntegerBit4(unsigned char byCurrent, uint32_t dwVal)
{
    assert(dwVal >= 1 && dwVal <= CFIVocabulary::kMaxTableSize);
    if (dwVal <= 16)
        Put(static_cast<unsigned char>(byCurrent | (dwVal - 1)));
    else if (dwVal <= 1040)
    {
        uint32_t v = dwVal - 17;
        Put(static_cast<unsigned char>(byCurrent | 0x10 | (v >> 8)));
        Put(static_cast<unsigned char>(v));
    }
    else if (dwVal <= 263184)
    {
        uint32_t v = dwVal - 1041;
        Put(static_cast<unsigned char>(byCurrent | 0x14 | (v >> 16)));
        Put(static_cast<unsigned char>(v >> 8));
        Put(static_cast<unsigned char>(v));
    }
    else
    {
        uint32_t v = dwVal - 263185;
        Put(static_cast<unsigned char>(byCurrent | 0x18));
        Put(static_cast<unsigned char>(v >> 16));
        Put(static_cast<unsigned char>(v >> 8));
        Put(static_cast<unsigned char>(v));
    }
}

// ---- octet strings: the length, stored less its lower bound, then the bytes ----

void CFastInfosetWriter::PutLength32(uint32_t v)
{
    Put(static_cast<unsigned char>(v >> 24));
    Put(static_cast<unsigned char>(v >> 16));
    Put(static_cast<unsigned char>(v >> 8));
    Put(static_cast<unsigned char>(v));
}

namespace {

[[noreturn]] void ThrowEmptyName()
{
    throw CKrException("Failed to write FastInfoset. A name or namespace can not be empty.");
}

} // namespace

void CFastInfosetWriter::AppendOctetStringBit2(unsigned char byCurrent, const std::string& strVal)
{
    uint32_t dwLen;
    const unsigned char* p = Utf8Of(strVal, dwLen);
    if (dwLen == 0)
        ThrowEmptyName();  // identifying strings have no empty form
    if (dwLen <= 64)
        Put(static_cast<unsigned char>(byCurrent | (dwLen - 1)));
    else if (dwLen <= 320)
    {
        Put(static_cast<unsigned char>(byCurrent | 0x40));
        Put(static_cast<unsigned char>(dwLen - 65));
    }
    else
    {
        Put(static_cast<unsigned char>(byCurrent | 0x60));
        PutLength32(dwLen - 321);
    }
    PutBytes(p, dwLen);
}

void CFastInfosetWriter::AppendOctetStringBit5(unsigned char byCurrent, const unsigned char* pData, uint32_t dwLen)
{
    assert(dwLen != 0);
    if (dwLen <= 8)
        Put(static_cast<unsigned char>(byCurrent | (dwLen - 1)));
    else if (dwLen <= 264)
    {
        Put(static_cast<unsigned char>(byCurrent | 0x08));
        Put(static_cast<unsigned char>(dwLen - 9));
    }
    else
    {
        Put(static_cast<unsigned char>(byCurrent | 0x0C));
        PutLength32(dwLen - 265);
    }
    PutBytes(pData, dwLen);
}

void CFastInfosetWriter::AppendOctetStringBit7(unsigned char byCurrent, const unsigned char* pData, uint32_t dwLen)
{
    assert(dwLen != 0);
    if (dwLen <= 2)
        Put(static_cast<unsigned char>(byCurrent | (dwLen - 1)));
    else if (dwLen <= 258)
    {
        Put(static_cast<unsigned char>(byCurrent | 0x02));
        Put(static_cast<unsigned char>(dwLen - 3));
    }
    else
    {
        Put(static_cast<unsigned char>(byCurrent | 0x03));
        PutLength32(dwLen - 259);
    }
    PutBytes(pData, dwLen);
}

// ---- encoded character strings: text, restricted alphabet or encoding algorithm ----

void CFastInfosetWriter::AppendRestrictedAlphabetString(uint32_t dwAlphabet, const std::string& strText)
{
    CFastInfosetBinaryData::EncodeRestrictedAlphabet(m_pVocabulary->m_restrictedAlphabets[dwAlphabet - 1],
                                                     strText.data(), strText.size(), m_encoded);
}

void CFastInfosetWriter::AppendEncodedCharacterString(bool bBit7, unsigned char byCurrent, const std::string& strVal,
                                                      ItemType eType)
{
    CFastInfosetContext::EncodedCharacterString encoding = m_pFIContext->GetEncoding(static_cast<uint32_t>(eType));
    // The typed bytes are made before anything is written, so that a value that fails leaves
    // no trace in the output.
    uint32_t dwIndex = 0;  // the alphabet or algorithm, less 1
    switch (encoding.dwEncodingType)
    {
    case 0: break;
    case 1:
        if (encoding.dwEncodingValue == 0 || encoding.dwEncodingValue > m_pVocabulary->m_restrictedAlphabets.size())
            throw CKrException(FormatString("Failed to write FastInfoset. Invalid Restricted Alphabet value [%d]",
                                            static_cast<int>(encoding.dwEncodingValue)));
        AppendRestrictedAlphabetString(encoding.dwEncodingValue, strVal);
        dwIndex = encoding.dwEncodingValue - 1;
        break;
    case 2:
        if (encoding.dwEncodingValue == 0 || encoding.dwEncodingValue > FIAlgorithm_CData)
            throw CKrException(FormatString("Failed to write FastInfoset. Invalid Encoding Algorithm value [%d]",
                                            static_cast<int>(encoding.dwEncodingValue)));
        CFastInfosetBinaryData::EncodeAlgorithm(encoding.dwEncodingValue, strVal, m_encoded);
        dwIndex = encoding.dwEncodingValue - 1;
        // Binary text of nothing but blanks and padding has no bytes, and no algorithm can
        // carry an empty value: it travels as text.
        if (m_encoded.empty())
            encoding.dwEncodingType = 0;
        break;
    default:
        throw CKrException(bBit7 ? "Failed to write FastInfoset. Unknown encoding in EncodedCharacterStringBit7."
                                 : "Failed to write FastInfoset. Unknown encoding in EncodedCharacterStringBit5.");
    }

    if (encoding.dwEncodingType == 0)
    {
        if (m_pFIContext->GetDefaultStringEncoding() == 1)
            throw CKrException(
                "Failed to write FastInfoset. Unsupported Feature UTF16BE in EncodedCharacterStringBit5.");
        uint32_t dwLen;
        const unsigned char* p = Utf8Of(strVal, dwLen);
        if (bBit7)
            AppendOctetStringBit7(byCurrent, p, dwLen);
        else
            AppendOctetStringBit5(byCurrent, p, dwLen);
        return;
    }
    // The table index is split over two octets: its high bits end this one, its low bits
    // begin the octet of the length.
    const unsigned char byForm = encoding.dwEncodingType == 1 ? 0 : 1;  // alphabet or algorithm
    const uint32_t dwLen = static_cast<uint32_t>(m_encoded.size());
    if (bBit7)
    {
        Put(static_cast<unsigned char>(byCurrent | (byForm ? 0x0C : 0x08) | (dwIndex >> 6)));
        AppendOctetStringBit7(static_cast<unsigned char>((dwIndex << 2) & 0xFC), m_encoded.data(), dwLen);
    }
    else
    {
        Put(static_cast<unsigned char>(byCurrent | (byForm ? 0x30 : 0x20) | (dwIndex >> 4)));
        AppendOctetStringBit5(static_cast<unsigned char>((dwIndex << 4) & 0xF0), m_encoded.data(), dwLen);
    }
}

void CFastInfosetWriter::AppendEncodedCharacterStringBit5(unsigned char byCurrent, const std::string& strVal,
                                                          ItemType eType)
{
    AppendEncodedCharacterString(false, byCurrent, strVal, eType);
}

void CFastInfosetWriter::AppendEncodedCharacterStringBit7(unsigned char byCurrent, const std::string& strVal,
                                                          ItemType eType)
{
    AppendEncodedCharacterString(true, byCurrent, strVal, eType);
}

// ---- values: by index where short enough to be in the table ----

void CFastInfosetWriter::AppendAttributeValue(const std::string& strVal, CFIVocabulary::IndexMap& map,
                                              uint32_t dwMaxAddLength, ItemType eType)
{
    if (strVal.empty())
    {
        AppendIntegerOrZeroBit2(0x80, 0);
        return;
    }
    if (strVal.size() < dwMaxAddLength)
    {
        uint32_t dwIndex;
        if (m_pVocabulary->FindIndex(map, strVal, dwIndex))
        {
            AppendIntegerBit2(0x80, dwIndex);
            return;
        }
        // A full table takes nothing more, and the value then says so.
        bool bAdd = map.size() < CFIVocabulary::kMaxTableSize;
        AppendEncodedCharacterStringBit5(bAdd ? 0x40 : 0, strVal, eType);
        if (bAdd)
            CFIVocabulary::AddValueToMap(strVal, map);
        return;
    }
    AppendEncodedCharacterStringBit5(0, strVal, eType);
}

void CFastInfosetWriter::AppendCharacterChunk(unsigned char byCurrent, const std::string& strVal,
                                              CFIVocabulary::IndexMap& map, uint32_t dwMaxAddLength, ItemType eType)
{
    if (strVal.size() < dwMaxAddLength)
    {
        uint32_t dwIndex;
        if (m_pVocabulary->FindIndex(map, strVal, dwIndex))
        {
            AppendIntegerBit4(static_cast<unsigned char>(byCurrent | 0x20), dwIndex);
            return;
        }
        bool bAdd = map.size() < CFIVocabulary::kMaxTableSize;
        AppendEncodedCharacterStringBit7(static_cast<unsigned char>(bAdd ? byCurrent | 0x10 : byCurrent), strVal,
                                         eType);
        if (bAdd)
            CFIVocabulary::AddValueToMap(strVal, map);
        return;
    }
    AppendEncodedCharacterStringBit7(byCurrent, strVal, eType);
}

// ---- names ----

bool CFastInfosetWriter::AppendIdentifyingString(const std::string& strVal, CFIVocabulary::IndexMap& map,
                                                 void (CFIVocabulary::*add)(std::string))
{
    uint32_t dwIndex;
    if (m_pVocabulary->FindIndex(map, strVal, dwIndex))
    {
        AppendIntegerBit2(0x80, dwIndex);
        return true;
    }
    AppendOctetStringBit2(0, strVal);
    if (map.size() >= CFIVocabulary::kMaxTableSize)
        return false;
    ((*m_pVocabulary).*add)(strVal);
    return true;
}

bool CFastInfosetWriter::AppendPrefix(const std::string& strPrefix)
{
    return AppendIdentifyingString(strPrefix, m_pVocabulary->m_prefixNameIndices, &CFIVocabulary::AddPrefixName);
}

bool CFastInfosetWriter::AppendNamespace(const std::string& strNamespace)
{
    return AppendIdentifyingString(strNamespace, m_pVocabulary->m_namespaceNameIndices,
                                   &CFIVocabulary::AddNamespaceName);
}

CFastInfosetWriter::QNameCacheEntry* CFastInfosetWriter::CacheSet(QNameCacheEntry* pCache,
                                                                  const std::string& strPrefix,
                                                                  const std::string& strNamespace,
                                                                  const std::string& strLocal)
{
    // A few characters of the local name and the lengths of all parts tell names apart well
    // enough; a clash costs a lookup in the table, nothing more.
    size_t n = strLocal.size();
    size_t h = n * 13 + strNamespace.size() * 5 + strPrefix.size();
    if (n)
        h += static_cast<unsigned char>(strLocal[0]) * 31u + static_cast<unsigned char>(strLocal[n - 1]) * 7u +
             static_cast<unsigned char>(strLocal[n / 2]);
    return pCache + 2 * (h % kQNameCacheSets);
}

void CFastInfosetWriter::AppendQName(bool bElement, unsigned char byCurrent, const std::string& strPrefix,
                                     const std::string& strNamespace, const std::string& strLocal,
                                     CFIVocabulary::IndexMap& map)
{
    QNameCacheEntry* pSet =
        CacheSet(bElement ? m_elementNameCache : m_attributeNameCache, strPrefix, strNamespace, strLocal);
    auto matches = [&](const QNameCacheEntry& e) {
        return e.dwIndex != 0 && SameText(e.strLocal, strLocal) && SameText(e.strNamespace, strNamespace) &&
               SameText(e.strPrefix, strPrefix);
    };
    uint32_t dwIndex = 0;
    bool bFound = true;
    if (matches(pSet[0]))
        dwIndex = pSet[0].dwIndex;
    else if (matches(pSet[1]))
        dwIndex = pSet[1].dwIndex;
    else
    {
        CFIVocabulary::MakeQNameKey(m_strKey, strPrefix, strNamespace, strLocal);
        bFound = m_pVocabulary->FindIndex(map, m_strKey, dwIndex);
        if (bFound)
        {
            // An empty way first, else the one filled longer ago.
            QNameCacheEntry& entry = pSet[0].dwIndex == 0 ? pSet[0] : pSet[1].dwIndex == 0 ? pSet[1] : pSet[m_nQNameCacheTurn++ & 1];
            entry.strLocal.assign(strLocal);
            entry.strNamespace.assign(strNamespace);
            entry.strPrefix.assign(strPrefix);
            entry.dwIndex = dwIndex;
        }
    }
    if (bFound)
    {
        if (bElement)
            AppendIntegerBit3(byCurrent, dwIndex);
        else
            AppendIntegerBit2(byCurrent, dwIndex);
        return;
    }
    if (strLocal.empty())
        ThrowEmptyName();
    assert(strPrefix.empty() || !strNamespace.empty());
    unsigned char byMark = bElement ? 0x3C : 0x78;
    if (!strPrefix.empty())
        byMark |= 0x02;
    if (!strNamespace.empty())
        byMark |= 0x01;
    Put(static_cast<unsigned char>(byCurrent | byMark));
    bool bIndexed = true;
    if (!strPrefix.empty())
        bIndexed = AppendPrefix(strPrefix) && bIndexed;
    if (!strNamespace.empty())
        bIndexed = AppendNamespace(strNamespace) && bIndexed;
    bIndexed = AppendIdentifyingString(strLocal, m_pVocabulary->m_localNameIndices, &CFIVocabulary::AddLocalName) &&
               bIndexed;
    // A name with a part that found no room in its table can't be referred to by index later.
    if (bIndexed)
        CFIVocabulary::AddValueToMap(m_strKey, map);
}

void CFastInfosetWriter::AppendQNameBit2(unsigned char byCurrent, const std::string& strPrefix,
                                         const std::string& strNamespace, const std::string& strLocal,
                                         CFIVocabulary::IndexMap& map)
{
    AppendQName(false, byCurrent, strPrefix, strNamespace, strLocal, map);
}

void CFastInfosetWriter::AppendQNameBit3(unsigned char byCurrent, const std::string& strPrefix,
                                         const std::string& strNamespace, const std::string& strLocal,
                                         CFIVocabulary::IndexMap& map)
{
    AppendQName(true, byCurrent, strPrefix, strNamespace, strLocal, map);
}

// ---- document ----

void CFastInfosetWriter::WriteHeader(FInfoDecl eDecl)
{
    if (static_cast<int>(eDecl) < 0 || static_cast<int>(eDecl) > FInfoDecl_Version11StandaloneNo)
        throw CKrInvalidParamException(FormatString("Invalid FInfoDecl value [%d]", static_cast<int>(eDecl)));
    const char* lpDecl = kFIDeclarations[eDecl];
    PutBytes(reinterpret_cast<const unsigned char*>(lpDecl), std::strlen(lpDecl));
    PutBytes(kFIIdentification, sizeof(kFIIdentification));
    if (!m_bGeneratedVocabulary)
    {
        Put(0x00);
        return;
    }
    // An initial vocabulary that is only the name of an external one.
    Put(0x20);
    Put(0x10);
    Put(0x00);
    std::string strURI = m_pFIContext->GetExternalVocabularyURI();
    AppendOctetStringBit2(0, strURI.empty() ? std::string(kGeneratedVocabularyURI) : strURI);
}

void CFastInfosetWriter::WriteFooter()
{
    // Ends the document, and with the end of the root still owed, that too.
    Put(m_bTerminatorPending ? kDoubleTerminator : kTerminator);
    FlushOutput();
}

void CFastInfosetWriter::EndDocument()
{
    FlushOutput();
    if (m_pPendingContext)
        throw CKrException("An Element has not been closed.");
    CXmlWriter::EndDocument();
}

// Comments, instructions and schemas have no place in the documents this writer makes.
void CFastInfosetWriter::WriteComment(const std::string&) {}

void CFastInfosetWriter::WriteProcessingInstruction(const std::string&) {}

void CFastInfosetWriter::WriteInLineSchema(const std::string&) {}

// ---- elements ----

const std::string& CFastInfosetWriter::DeclaredDefaultAt(int nDepth) const
{
    int iOwner = m_declaredDefaultOwner[static_cast<size_t>(nDepth)];
    return iOwner < 0 ? m_strDefaultNamespace : m_declaredDefaults[static_cast<size_t>(iOwner)];
}

const std::string& CFastInfosetWriter::PrefixInPendingScope(const std::string& strNamespace)
{
    CXmlWriterContext* pPending = m_pPendingContext;
    const std::string& strAlias = pPending->GetNamespaceMapValue(strNamespace);
    if (!strAlias.empty())
        return strAlias;
    std::string strNew = pPending->GenerateNamespaceAlias();
    pPending->SetNamespaceMapValue(strNamespace, strNew);
    if (m_nDeclarations == m_declarations.size())
        m_declarations.emplace_back();
    Declaration& decl = m_declarations[m_nDeclarations++];
    decl.strPrefix.assign(strNew);
    decl.strNamespace.assign(strNamespace);
    return pPending->GetNamespaceMapValue(strNamespace);
}

void CFastInfosetWriter::ResolvePendingName()
{
    if (m_bPendingResolved)
        return;
    CXmlWriterContext* pPending = m_pPendingContext;
    const std::string& strNamespace = pPending->m_strNamespace;
    if (strNamespace.empty() || SameText(strNamespace, pPending->GetDefaultNamespace()))
    {
        // No prefix: the name stands in the default namespace that the document declares
        // for it, which an element below the root declares anew where it differs.
        if (m_pContext && !SameText(DeclaredDefaultAt(m_pContext->m_nDepth), strNamespace))
            m_eDefaultDeclaration = strNamespace.empty() ? Default_Undeclare : Default_Declare;
    }
    else
        pPending->m_strPrefix = PrefixInPendingScope(strNamespace);
    m_bPendingResolved = true;
}

void CFastInfosetWriter::WriteStartTag()
{
    if (!m_pPendingContext)
        return;
    ResolvePendingName();
    CXmlWriterContext* pPending = m_pPendingContext;
    const bool bRoot = m_pContext == nullptr;

    unsigned char byCurrent = m_nAttributes ? 0x40 : 0;
    if (bRoot || m_nDeclarations || m_eDefaultDeclaration != Default_Inherited)
    {
        Put(static_cast<unsigned char>(byCurrent | 0x38));
        byCurrent = 0;
        if (bRoot)
        {
            if (!m_strDefaultNamespace.empty())
            {
                Put(0xCD);
                AppendNamespace(m_strDefaultNamespace);
            }
            static const size_t nXmlUriLen = std::strlen(kXmlNamespaceUri);
            for (const NamespaceMap::value_type& entry : m_namespaces)
            {
                // The xml prefix is bound without a declaration; an empty alias declares nothing.
                if (entry.first.compare(0, nXmlUriLen, kXmlNamespaceUri) == 0 || entry.second.empty())
                    continue;
                Put(0xCF);
                AppendPrefix(entry.second);
                AppendNamespace(entry.first);
            }
        }
        else if (m_eDefaultDeclaration == Default_Undeclare)
            Put(0xCC);
        else if (m_eDefaultDeclaration == Default_Declare)
        {
            Put(0xCD);
            AppendNamespace(pPending->m_strNamespace);
        }
        for (size_t i = 0; i < m_nDeclarations; ++i)
        {
            Put(0xCF);
            AppendPrefix(m_declarations[i].strPrefix);
            AppendNamespace(m_declarations[i].strNamespace);
        }
        Put(kTerminator);
    }
    AppendQNameBit3(byCurrent, pPending->m_strPrefix, pPending->m_strNamespace, pPending->m_strName,
                    m_pVocabulary->m_elementNameIndices);
    for (size_t i = 0; i < m_nAttributes; ++i)
    {
        const PendingAttribute& attr = m_attributes[i];
        const char* pNames = m_attributeNames.data() + attr.nNamesStart;
        m_strScratchName.assign(pNames, attr.nName);
        m_strScratchNamespace.assign(pNames + attr.nName, attr.nNamespace);
        m_strScratchPrefix.assign(pNames + attr.nName + attr.nNamespace, attr.nPrefix);
        AppendQNameBit2(0, m_strScratchPrefix, m_strScratchNamespace, m_strScratchName,
                        m_pVocabulary->m_attributeNameIndices);
        PutBytes(m_attributeValues.Data() + attr.nValueStart, attr.nValueEnd - attr.nValueStart);
    }
    pPending->m_bFIHeaderDone = m_nAttributes != 0;

    // The default namespace in force for the element and what it contains.
    const size_t nDepth = static_cast<size_t>(pPending->m_nDepth);
    if (m_declaredDefaultOwner.size() <= nDepth)
    {
        m_declaredDefaultOwner.resize(nDepth + 1);
        m_declaredDefaults.resize(nDepth + 1);
    }
    if (m_eDefaultDeclaration != Default_Inherited)
    {
        m_declaredDefaults[nDepth].assign(pPending->m_strNamespace);
        m_declaredDefaultOwner[nDepth] = static_cast<int>(nDepth);
    }
    else
        m_declaredDefaultOwner[nDepth] = bRoot ? -1 : m_declaredDefaultOwner[nDepth - 1];

    // Positions among siblings make the text writer's error paths; this writer's messages have
    // none, so the element isn't counted.
    if (pPending->m_nPosition == 0)
        pPending->m_nPosition = 1;
    PushContext(pPending);
    m_pPendingContext = nullptr;
    m_bPendingResolved = false;
    m_eDefaultDeclaration = Default_Inherited;
    m_nDeclarations = 0;
    m_nAttributes = 0;
    m_attributeNames.clear();
    m_attributeValues.Truncate(0);
}

void CFastInfosetWriter::CloseAttributes()
{
    if (m_pContext && m_pContext->m_bStartTagOpen)
    {
        m_pContext->m_bStartTagOpen = false;
        if (m_pContext->m_bFIHeaderDone)
            Put(kTerminator);
    }
}

void CFastInfosetWriter::StartElement(const std::string& strName, const std::string& strNamespace)
{
    WriteStartTag();
    if (m_bTerminatorPending)
    {
        Put(kTerminator);
        m_bTerminatorPending = false;
    }
    if (m_pContext)
    {
        ++m_pContext->m_nChildElements;
        CloseAttributes();
    }
    m_pPendingContext = CreateContext(strName, strNamespace);
    FlushOutputIfFull();
}

void CFastInfosetWriter::WriteElementText(const std::string& strText, ItemType eType, bool)
{
    WriteStartTag();
    if (!m_pContext)
        throw CKrException("Failed to write FastInfoset. Text must be inside an element.");
    CloseAttributes();
    if (strText.empty())
        return;
    if (m_bTerminatorPending)
    {
        Put(kTerminator);
        m_bTerminatorPending = false;
    }
    AppendCharacterChunk(0x80, strText, m_pVocabulary->m_characterChunkIndices,
                         m_pFIContext->GetElementMaxAddLength(), eType);
    FlushOutputIfFull();
}

void CFastInfosetWriter::EndElement()
{
    WriteStartTag();
    if (!m_pContext)
        throw CKrException("Failed to write FastInfoset. No element is open.");
    CloseAttributes();
    // Two ends in a row share one octet.
    if (m_bTerminatorPending)
    {
        Put(kDoubleTerminator);
        m_bTerminatorPending = false;
    }
    else
        m_bTerminatorPending = true;
    PopContext();
    FlushOutputIfFull();
}

CXmlWriter::CXmlWriterContext* CFastInfosetWriter::ElementTakingAttributes()
{
    // Attributes go to the element not written yet; once it is written, its content has begun.
    if (!m_pPendingContext)
        throw CKrException("Attributes must be added before elements");
    ResolvePendingName();
    return m_pPendingContext;
}

void CFastInfosetWriter::WriteAttribute(const std::string& strName, const std::string& strNamespace,
                                        const std::string& strValue, ItemType eType)
{
    ElementTakingAttributes();
    if (IsRepeatedAttribute(strName, strNamespace, strValue))
        return;
    // The default namespace is no help to attributes: a namespace always takes a prefix.
    const std::string* pPrefix = nullptr;
    if (!strNamespace.empty())
        pPrefix = &PrefixInPendingScope(strNamespace);

    size_t nStart = m_attributeValues.Size();
    try
    {
        CSinkSwitch<CByteBuffer> aside(m_pSink, &m_attributeValues);
        AppendAttributeValue(strValue, m_pVocabulary->m_attributeValueIndices, m_pFIContext->GetAttributeMaxAddLength(),
                             eType);
    }
    catch (...)
    {
        m_attributeValues.Truncate(nStart);
        throw;
    }
    const size_t nNamesStart = m_attributeNames.size();
    try
    {
        if (m_nAttributes == m_attributes.size())
            m_attributes.emplace_back();
        m_attributeNames.append(strName).append(strNamespace);
        if (pPrefix)
            m_attributeNames.append(*pPrefix);
    }
    catch (...)
    {
        m_attributeNames.resize(nNamesStart);
        m_attributeValues.Truncate(nStart);
        throw;
    }
    PendingAttribute& attr = m_attributes[m_nAttributes++];
    attr.nNamesStart = nNamesStart;
    attr.nName = strName.size();
    attr.nNamespace = strNamespace.size();
    attr.nPrefix = pPrefix ? pPrefix->size() : 0;
    attr.nValueStart = nStart;
    attr.nValueEnd = m_attributeValues.Size();
}

void CFastInfosetWriter::WriteTypeAttribute(const std::string& strNamespace, const std::string& strTypeName,
                                            ItemType eType)
{
    CXmlWriterContext* pPending = ElementTakingAttributes();
    if (strNamespace.empty() || strNamespace == pPending->GetDefaultNamespace())
    {
        WriteAttribute("type", kXmlSchemaInstanceUri, strTypeName, eType);
        return;
    }
    // The value names the type by a prefix bound to its namespace; the attribute's own name
    // takes the prefix of the schema-instance namespace, as any attribute does.
    std::string strValue = PrefixInPendingScope(strNamespace);
    strValue += ':';
    strValue += strTypeName;
    WriteAttribute("type", kXmlSchemaInstanceUri, strValue, eType);
}

void CFastInfosetWriter::WriteNilAttribute()
{
    ElementTakingAttributes();
    WriteAttribute("nil", kXmlSchemaInstanceUri, "true", ItemType_boolean);
}

} // namespace KrXmlLib16
