#include "fastinfosetreader.h"

#include <cstring>

#include "encoder.h"
#include "fastinfosetcontext.h"
#include "fastinfosetheader.h"
#include "fastinfosettypedvalues.h"
#include "functions.h"
#include "krexception.h"
#include "krlimits.h"
#include "platform.h"
#include "xmlcontentsink.h"

namespace KrXmlLib16 {

namespace {

const unsigned int kUtf8CodePage = 65001;
const uint32_t kMaxIndex = CFIVocabulary::kMaxTableSize;
const uint64_t kMaxOctetStringLength = uint64_t(1) << 32;

const char* const kOtherTableNames[] = {"other NCNames", "other URIs", "other strings"};

[[noreturn]] void Fail(const char* lpMessage)
{
    throw CKrException(lpMessage);
}

const char kBadInteger1Bit2[] =
    "Failed to parse FastInfoset. Invalid Encoding of integers 1 To 2^20 type  on the second bit of an octet.";
const char kBadInteger0Bit2[] =
    "Failed to parse FastInfoset. Invalid Encoding of integers 0 To 2^20 type  on the second bit of an octet.";

const std::string& EmptyString()
{
    static const std::string s_strEmpty;
    return s_strEmpty;
}

// A value entered into a table of the reading direction, which takes no more than its limit.
void AddToTable(CFIVocabulary::CFIStringTable& table, const char* p, size_t n)
{
    if (table.m_table.size() < CFIVocabulary::kMaxTableSize)
        table.m_table.emplace_back(p, n);
}

// Whether a name can stand in XML text as a prefix or local name (an NCName): a document whose
// names can't would convert to XML that no parser reads. Non-ASCII characters are judged by
// the XML rules where the local text is UTF-8, and let through otherwise.
bool IsNameStart(uint32_t c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || (c >= 0xC0 && c <= 0xD6) ||
           (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) || (c >= 0x370 && c <= 0x37D) ||
           (c >= 0x37F && c <= 0x1FFF) || (c >= 0x200C && c <= 0x200D) || (c >= 0x2070 && c <= 0x218F) ||
           (c >= 0x2C00 && c <= 0x2FEF) || (c >= 0x3001 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFDCF) ||
           (c >= 0xFDF0 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0xEFFFF);
}

bool IsNameChar(uint32_t c)
{
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == 0xB7 ||
           (c >= 0x300 && c <= 0x36F) || (c >= 0x203F && c <= 0x2040);
}

bool IsNCName(const std::string& str, bool bUtf8)
{
    const unsigned char* p = reinterpret_cast<const unsigned char*>(str.data());
    const size_t n = str.size();
    for (size_t i = 0; i < n;)
    {
        uint32_t c = p[i];
        size_t nLen = 1;
        if (c >= 0x80)
        {
            if (!bUtf8)
            {
                ++i;
                continue;
            }
            // Valid UTF-8 already: the lead byte gives the length.
            nLen = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : 2;
            if (i + nLen > n)
                return false;
            c &= nLen == 4 ? 0x07 : nLen == 3 ? 0x0F : 0x1F;
            for (size_t k = 1; k < nLen; ++k)
                c = c << 6 | (p[i + k] & 0x3F);
        }
        if (!(i == 0 ? IsNameStart(c) : IsNameChar(c)))
            return false;
        i += nLen;
    }
    return n != 0;
}

bool IsAscii(const unsigned char* p, size_t n)
{
    size_t i = 0;
    uint64_t qwHigh = 0;
    for (; i + 8 <= n; i += 8)
    {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        qwHigh |= w;
    }
    for (; i < n; ++i)
        qwHigh |= p[i];
    return !(qwHigh & 0x8080808080808080ull);
}

} // namespace

CFastInfosetReader::CFastInfosetReader(const CFastInfosetContext& ctx, IXmlContentSink& sink, SchemaType eSchemaType,
                                       bool bStripCDATA)
    : CInstanceMonitor("CFastInfosetReader"), m_pFIContext(&ctx), m_sink(sink), m_pCurrent(nullptr),
      m_pLast(nullptr), m_pEnd(nullptr), m_bNamespaces(eSchemaType != SchemaType_NoNamespaces),
      m_bStripCDATA(bStripCDATA), m_bConvert(false), m_bLastCData(false), m_otherTableSizes{0, 0, 0},
      m_nDeclarations(0)
{
}

CFastInfosetReader::~CFastInfosetReader() = default;

bool CFastInfosetReader::IsFastInfoset(const unsigned char* pData, size_t nLen, size_t* pnSkip)
{
    size_t nSkip = 0;
    if (!(nLen >= 5 && std::memcmp(pData, kFIIdentification, 4) == 0))
    {
        // Behind a declaration: the first that stands there decides.
        bool bDeclared = false;
        for (int i = 1; i < kFIDeclarationCount; ++i)
        {
            const char* lpDecl = kFIDeclarations[i];
            size_t nDecl = std::strlen(lpDecl);
            if (nDecl < nLen && std::memcmp(pData, lpDecl, nDecl) == 0)
            {
                nSkip = nDecl;
                bDeclared = true;
                break;
            }
        }
        if (!bDeclared || nLen - nSkip < 5 || std::memcmp(pData + nSkip, kFIIdentification, 4) != 0)
            return false;
    }
    if (pnSkip)
        *pnSkip = nSkip + 4;
    return true;
}

bool CFastInfosetReader::Parse(const unsigned char* pData, uint32_t dwLen)
{
    size_t nSkip = 0;
    if (!pData || !IsFastInfoset(pData, dwLen, &nSkip))
        return false;
    // Texts go to the receiver as their UTF-8 bytes unless the local code page is another.
    m_bConvert = !g_bASCIIOnly && !Platform::IsUtf8CodePage(g_uLocalCodePage);
    m_pVocabulary.reset(m_pFIContext->GetUseGeneratedVocabulary() ? new CFIVocabulary(*m_pFIContext->GetVocabulary())
                                                                   : new CFIVocabulary);
    for (uint32_t& dwSize : m_otherTableSizes)
        dwSize = 0;
    m_pCurrent = m_pLast = pData + nSkip;
    m_pEnd = pData + dwLen;
    ReadDocumentHeader();
    ReadChildren();
    return true;
}

// ---- bytes ----

const unsigned char* CFastInfosetReader::Advance(uint64_t n)
{
    m_pLast = m_pCurrent;
    if (n > static_cast<uint64_t>(m_pEnd - m_pCurrent))
        Fail("Failed to parse FastInfoset. Unexpected End of File.");
    m_pCurrent += n;
    return m_pLast;
}

void CFastInfosetReader::CheckIndex(uint32_t dwIndex, size_t nSize, const char* lpTable) const
{
    if (dwIndex == 0 || dwIndex > nSize)
        throw CKrException(FormatString("Failed to parse FastInfoset. Invalid index [%u] into the %s table (size %u).",
                                        dwIndex, lpTable, static_cast<unsigned>(nSize)));
}

void CFastInfosetReader::AddToOtherTable(OtherTable eTable, uint64_t qwCount)
{
    uint64_t qwSize = m_otherTableSizes[eTable] + qwCount;
    m_otherTableSizes[eTable] = static_cast<uint32_t>(qwSize < kMaxIndex ? qwSize : kMaxIndex);
}

// ---- integers and lengths: stored less their lower bound, in the bits left of the octet ----

uint32_t CFastInfosetReader::ReadSequenceLength()
{
    unsigned char by = ReadByte();
    if (!(by & 0x80))
        return by + 1u;
    if ((by & 0xF0) == 0x80)
    {
        uint32_t v = static_cast<uint32_t>(by & 0x0F) << 16;
        v |= static_cast<uint32_t>(ReadByte()) << 8;
        v |= ReadByte();
        if (v + 129 <= kMaxIndex)
            return v + 129;
    }
    Fail("Failed to parse FastInfoset. Invalid Encoding of a sequence length.");
}

uint64_t CFastInfosetReader::ReadOctetStringLengthBit2(unsigned char by)
{
    if (!(by & 0x40))
        return (by & 0x3F) + 1u;
    if ((by & 0x7F) == 0x40)
        return ReadByte() + 65u;
    if ((by & 0x7F) == 0x60)
    {
        const unsigned char* p = Advance(4);
        uint64_t v = (uint64_t(p[0]) << 24 | uint64_t(p[1]) << 16 | uint64_t(p[2]) << 8 | p[3]) + 321;
        if (v <= kMaxOctetStringLength)
            return v;
    }
    Fail("Failed to parse FastInfoset. Invalid NonEmptyOctetString type  on the second bit of an octet.");
}

uint64_t CFastInfosetReader::ReadOctetStringLengthBit5(unsigned char by)
{
    if (!(by & 0x08))
        return (by & 0x07) + 1u;
    if ((by & 0x0F) == 0x08)
        return ReadByte() + 9u;
    if ((by & 0x0F) == 0x0C)
    {
        const unsigned char* p = Advance(4);
        uint64_t v = (uint64_t(p[0]) << 24 | uint64_t(p[1]) << 16 | uint64_t(p[2]) << 8 | p[3]) + 265;
        if (v <= kMaxOctetStringLength)
            return v;
    }
    Fail("Failed to parse FastInfoset. Invalid NonEmptyOctetString type  on the fifth bit of an octet.");
}

uint64_t CFastInfosetReader::ReadOctetStringLengthBit7(unsigned char by)
{
    if (!(by & 0x02))
        return (by & 0x01) + 1u;
    if ((by & 0x03) == 0x02)
        return ReadByte() + 3u;
    const unsigned char* p = Advance(4);
    uint64_t v = (uint64_t(p[0]) << 24 | uint64_t(p[1]) << 16 | uint64_t(p[2]) << 8 | p[3]) + 259;
    if (v <= kMaxOctetStringLength)
        return v;
    Fail("Failed to parse FastInfoset. Invalid NonEmptyOctetString type  on the seventh bit of an octet.");
}

uint32_t CFastInfosetReader::ReadIntegerBit2(unsigned char by, const char* lpMessage)
{
    if (!(by & 0x40))
        return (by & 0x3Fu) + 1;
    if ((by & 0x60) == 0x40)
        return ((by & 0x1Fu) << 8 | ReadByte()) + 65;
    if ((by & 0x70) == 0x60)
    {
        uint32_t v = (by & 0x0Fu) << 16;
        v |= static_cast<uint32_t>(ReadByte()) << 8;
        v |= ReadByte();
        if (v + 8257 <= kMaxIndex)
            return v + 8257;
    }
    Fail(lpMessage);
}

uint32_t CFastInfosetReader::ReadIntegerBit2(unsigned char by)
{
    return ReadIntegerBit2(by, kBadInteger1Bit2);
}

uint32_t CFastInfosetReader::ReadIntegerOrZeroBit2(unsigned char by)
{
    if ((by & 0x7F) == 0x7F)
        return 0;
    return ReadIntegerBit2(by, kBadInteger0Bit2);
}

uint32_t CFastInfosetReader::ReadIntegerBit3(unsigned char by)
{
    if (!(by & 0x20))
        return (by & 0x1Fu) + 1;
    switch (by & 0x38)
    {
    case 0x20: return ((by & 0x07u) << 8 | ReadByte()) + 33;
    case 0x28:
    {
        uint32_t v = (by & 0x07u) << 16;
        v |= static_cast<uint32_t>(ReadByte()) << 8;
        return (v | ReadByte()) + 2081;
    }
    case 0x30:
        if ((by & 0x07) == 0)
        {
            const unsigned char* p = Advance(3);
            uint32_t v = (static_cast<uint32_t>(p[0]) << 16 | static_cast<uint32_t>(p[1]) << 8 | p[2]) + 526369;
            if (!(p[0] & 0xF0) && v <= kMaxIndex)
                return v;
        }
        break;
    default: break;
    }
    Fail("Failed to parse FastInfoset. Invalid Encoding of integers 1 To 2^20 type  on the third bit of an octet.");
}

uint32_t CFastInfosetReader::ReadIntegerBit4(unsigned char by)
{
    if (!(by & 0x10))
        return (by & 0x0Fu) + 1;
    switch (by & 0x1C)
    {
    case 0x10: return ((by & 0x03u) << 8 | ReadByte()) + 17;
    case 0x14:
    {
        uint32_t v = (by & 0x03u) << 16;
        v |= static_cast<uint32_t>(ReadByte()) << 8;
        return (v | ReadByte()) + 1041;
    }
    case 0x18:
        if ((by & 0x03) == 0)
        {
            const unsigned char* p = Advance(3);
            uint32_t v = (static_cast<uint32_t>(p[0]) << 16 | static_cast<uint32_t>(p[1]) << 8 | p[2]) + 263185;
            if (!(p[0] & 0xF0) && v <= kMaxIndex)
                return v;
        }
        break;
    default: break;
    }
    Fail("Failed to parse FastInfoset. Invalid Encoding of integers 1 To 2^20 type  on the fourth bit of an octet.");
}

// ---- strings ----

CFastInfosetReader::CText CFastInfosetReader::ReadUtf8String(uint64_t qwLen, std::string& strScratch)
{
    const unsigned char* p = Advance(qwLen);
    size_t n = static_cast<size_t>(qwLen);
    const char* lpText = reinterpret_cast<const char*>(p);
    if (IsAscii(p, n))
        return CText{lpText, n};  // the same in every local code page
    if (Platform::ValidLocalPrefix(kUtf8CodePage, lpText, n) != n)
        Fail("Failed to parse FastInfoset. Invalid UTF-8 string.");
    if (!m_bConvert)
        return CText{lpText, n};
    // The wide form goes through scratch space kept for the reader's life.
    if (m_wide.size() < n + 1)
        m_wide.resize(n + 1);
    Utf8ToLocal(strScratch, lpText, n, m_wide.data(), m_wide.size());
    return CText{strScratch.data(), strScratch.size()};
}

CFastInfosetReader::CText CFastInfosetReader::ReadUtf16String(uint64_t qwLen, std::string& strScratch)
{
    const unsigned char* p = Advance(qwLen);
    if (qwLen % 2)
        Fail("Failed to parse FastInfoset. Invalid UTF-16 string.");
    size_t nUnits = static_cast<size_t>(qwLen / 2);
    m_wide.resize(nUnits);
    for (size_t i = 0; i < nUnits; ++i)
        m_wide[i] = static_cast<uint16_t>(p[2 * i] << 8 | p[2 * i + 1]);
    // A surrogate without its partner is no character: refused rather than replaced.
    for (size_t i = 0; i < nUnits; ++i)
    {
        uint16_t u = m_wide[i];
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < nUnits && m_wide[i + 1] >= 0xDC00 && m_wide[i + 1] <= 0xDFFF)
            ++i;
        else if (u >= 0xD800 && u <= 0xDFFF)
            Fail("Failed to parse FastInfoset. Invalid UTF-16 string.");
    }
    size_t nOut = m_bConvert ? Platform::WideToLocal(g_uLocalCodePage, m_wide.data(), nUnits, nullptr, 0)
                             : Platform::WideToUtf8(m_wide.data(), nUnits, nullptr, 0);
    strScratch.resize(nOut);
    if (nOut)
    {
        if (m_bConvert)
            Platform::WideToLocal(g_uLocalCodePage, m_wide.data(), nUnits, &strScratch[0], nOut);
        else
            Platform::WideToUtf8(m_wide.data(), nUnits, &strScratch[0], nOut);
    }
    return CText{strScratch.data(), strScratch.size()};
}

CFastInfosetReader::CText CFastInfosetReader::ReadRestrictedAlphabetString(uint64_t qwLen, uint32_t dwIndex,
                                                                          std::string& strScratch)
{
    const std::vector<std::string>& alphabets = m_pVocabulary->m_restrictedAlphabets;
    CheckIndex(dwIndex, alphabets.size(), "restricted alphabets");
    const unsigned char* p = Advance(qwLen);
    CFastInfosetBinaryData::DecodeRestrictedAlphabet(alphabets[dwIndex - 1], p, static_cast<uint32_t>(qwLen),
                                                     strScratch);
    return CText{strScratch.data(), strScratch.size()};
}

CFastInfosetReader::CText CFastInfosetReader::ReadEncodingAlgorithmString(uint64_t qwLen, uint32_t dwIndex,
                                                                         std::string& strScratch)
{
    if (dwIndex == FIAlgorithm_CData)
    {
        m_bLastCData = true;
        return ReadUtf8String(qwLen, strScratch);
    }
    const unsigned char* p = Advance(qwLen);
    // Raises "Unknown byte encoding." for an algorithm that isn't built in.
    CFastInfosetBinaryData::DecodeAlgorithm(dwIndex, p, static_cast<uint32_t>(qwLen), strScratch);
    return CText{strScratch.data(), strScratch.size()};
}

CFastInfosetReader::CText CFastInfosetReader::ReadEncodedCharacterString(unsigned uForm, uint32_t dwIndex,
                                                                        uint64_t qwLen, std::string& strScratch,
                                                                        bool bDecode)
{
    m_bLastCData = false;
    if (!bDecode)
    {
        Advance(qwLen);
        return CText{"", 0};
    }
    switch (uForm)
    {
    case 0: return ReadUtf8String(qwLen, strScratch);
    case 1: return ReadUtf16String(qwLen, strScratch);
    case 2: return ReadRestrictedAlphabetString(qwLen, dwIndex, strScratch);
    default: return ReadEncodingAlgorithmString(qwLen, dwIndex, strScratch);
    }
}

CFastInfosetReader::CText CFastInfosetReader::ReadEncodedCharacterStringBit3(unsigned char by, std::string& strScratch,
                                                                            bool bDecode)
{
    unsigned uForm = (by >> 4) & 0x03;
    if (uForm < 2)
        return ReadEncodedCharacterString(uForm, 0, ReadOctetStringLengthBit5(by), strScratch, bDecode);
    // The table index less 1 spans this octet's low nibble and the next one's high nibble;
    // the length starts on the fifth bit of that next octet.
    unsigned char byNext = ReadByte();
    uint32_t dwIndex = ((by & 0x0Fu) << 4 | byNext >> 4) + 1;
    return ReadEncodedCharacterString(uForm, dwIndex, ReadOctetStringLengthBit5(byNext), strScratch, bDecode);
}

CFastInfosetReader::CText CFastInfosetReader::ReadEncodedCharacterStringBit5(unsigned char by, std::string& strScratch,
                                                                            bool bDecode)
{
    unsigned uForm = (by >> 2) & 0x03;
    if (uForm < 2)
        return ReadEncodedCharacterString(uForm, 0, ReadOctetStringLengthBit7(by), strScratch, bDecode);
    unsigned char byNext = ReadByte();
    uint32_t dwIndex = ((by & 0x03u) << 6 | byNext >> 2) + 1;
    return ReadEncodedCharacterString(uForm, dwIndex, ReadOctetStringLengthBit7(byNext), strScratch, bDecode);
}

const std::string& CFastInfosetReader::ReadIdentifyingStringOrIndex(CFIVocabulary::CFIStringTable& table,
                                                                    const char* lpTable, std::string& strScratch,
                                                                    uint32_t& dwIndex)
{
    unsigned char by = ReadByte();
    if (by & 0x80)
    {
        dwIndex = ReadIntegerBit2(by);
        CheckIndex(dwIndex, table.m_table.size(), lpTable);
        return table.m_table[dwIndex - 1];
    }
    CText text = ReadUtf8String(ReadOctetStringLengthBit2(by), strScratch);
    if (table.m_table.size() >= CFIVocabulary::kMaxTableSize)
    {
        // A full table takes nothing more; the text is good for this once.
        dwIndex = 0;
        if (text.p != strScratch.data())
            strScratch.assign(text.p, text.n);
        return strScratch;
    }
    table.m_table.emplace_back(text.p, text.n);
    dwIndex = static_cast<uint32_t>(table.m_table.size());
    return table.m_table.back();
}

void CFastInfosetReader::SkipIdentifyingStringOrIndex(OtherTable eTable)
{
    unsigned char by = ReadByte();
    if (by & 0x80)
        CheckIndex(ReadIntegerBit2(by), m_otherTableSizes[eTable], kOtherTableNames[eTable]);
    else
    {
        ReadUtf8String(ReadOctetStringLengthBit2(by), m_strSkipped);
        AddToOtherTable(eTable);
    }
}

void CFastInfosetReader::SkipOctetStringBit2()
{
    Advance(ReadOctetStringLengthBit2(ReadByte()));
}

CFastInfosetReader::CText CFastInfosetReader::ReadNonIdentifyingStringOrIndexBit1(CFIVocabulary::CFIStringTable& table,
                                                                                 const char* lpTable,
                                                                                 std::string& strScratch)
{
    unsigned char by = ReadByte();
    if (by & 0x80)
    {
        uint32_t dwIndex = ReadIntegerOrZeroBit2(by);
        if (dwIndex == 0)
            return CText{"", 0};
        CheckIndex(dwIndex, table.m_table.size(), lpTable);
        const std::string& str = table.m_table[dwIndex - 1];
        return CText{str.data(), str.size()};
    }
    CText text = ReadEncodedCharacterStringBit3(by, strScratch);
    if (by & 0x40)
        AddToTable(table, text.p, text.n);
    return text;
}

CFastInfosetReader::CText CFastInfosetReader::ReadNonIdentifyingStringOrIndexBit3(unsigned char by,
                                                                                 CFIVocabulary::CFIStringTable& table,
                                                                                 const char* lpTable,
                                                                                 std::string& strScratch)
{
    if (by & 0x20)
    {
        uint32_t dwIndex = ReadIntegerBit4(by);
        CheckIndex(dwIndex, table.m_table.size(), lpTable);
        m_bLastCData = false;
        const std::string& str = table.m_table[dwIndex - 1];
        return CText{str.data(), str.size()};
    }
    CText text = ReadEncodedCharacterStringBit5(by, strScratch);
    if (by & 0x10)
        AddToTable(table, text.p, text.n);
    return text;
}

void CFastInfosetReader::SkipNonIdentifyingStringOrIndexBit1()
{
    unsigned char by = ReadByte();
    if (by & 0x80)
    {
        uint32_t dwIndex = ReadIntegerOrZeroBit2(by);
        if (dwIndex)
            CheckIndex(dwIndex, m_otherTableSizes[Other_Strings], kOtherTableNames[Other_Strings]);
        return;
    }
    ReadEncodedCharacterStringBit3(by, m_strSkipped);
    if (by & 0x40)
        AddToOtherTable(Other_Strings);
}

// ---- qualified names ----

CFastInfosetReader::CQName CFastInfosetReader::QNameAt(const CFIVocabulary::CFIQNameTable& table, const char* lpTable,
                                                       uint32_t dwIndex) const
{
    CheckIndex(dwIndex, table.m_table.size(), lpTable);
    const CFIVocabulary::CQNameParts& parts = table.m_table[dwIndex - 1];
    // The parts were checked when the name was entered; a vocabulary given by generated code
    // is checked here all the same.
    const std::string* pPrefix = &EmptyString();
    if (parts.m_dwPrefixIndex)
    {
        CheckIndex(parts.m_dwPrefixIndex, m_pVocabulary->m_prefixNames.m_table.size(), "prefix names");
        pPrefix = &m_pVocabulary->m_prefixNames.m_table[parts.m_dwPrefixIndex - 1];
    }
    const std::string* pNamespace = &EmptyString();
    if (parts.m_dwNamespaceIndex)
    {
        CheckIndex(parts.m_dwNamespaceIndex, m_pVocabulary->m_namespaceNames.m_table.size(), "namespace names");
        pNamespace = &m_pVocabulary->m_namespaceNames.m_table[parts.m_dwNamespaceIndex - 1];
    }
    CheckIndex(parts.m_dwLocalNameIndex, m_pVocabulary->m_localNames.m_table.size(), "local names");
    return CQName{pPrefix, pNamespace, &m_pVocabulary->m_localNames.m_table[parts.m_dwLocalNameIndex - 1]};
}

CFastInfosetReader::CQName CFastInfosetReader::ReadLiteralQName(unsigned char by, CFIVocabulary::CFIQNameTable& table)
{
    if ((by & 0x03) == 0x02)
        Fail("Failed to parse FastInfoset. Invalid QName type Prefix without Namespace.");
    CFIVocabulary& vocabulary = *m_pVocabulary;
    uint32_t dwPrefix = 0, dwNamespace = 0, dwLocal = 0;
    // The prefix is only for names reported whole: with namespaces, the namespace is the name's.
    const std::string* pPrefix = &EmptyString();
    if (by & 0x02)
        pPrefix = &ReadIdentifyingStringOrIndex(vocabulary.m_prefixNames, "prefix names", m_strPrefix, dwPrefix);
    const std::string* pNamespace = &EmptyString();
    if (by & 0x01)
        pNamespace =
            &ReadIdentifyingStringOrIndex(vocabulary.m_namespaceNames, "namespace names", m_strNamespace, dwNamespace);
    const std::string* pLocal =
        &ReadIdentifyingStringOrIndex(vocabulary.m_localNames, "local names", m_strLocalName, dwLocal);
    CheckName(*pLocal);
    if (by & 0x02)
        CheckName(*pPrefix);
    // A part a full table didn't take has no index: the name is good for this once.
    if (dwLocal && ((by & 0x02) == 0 || dwPrefix) && ((by & 0x01) == 0 || dwNamespace))
        CFIVocabulary::AddQNameToVector(dwPrefix, dwNamespace, dwLocal, table);
    return CQName{pPrefix, pNamespace, pLocal};
}

void CFastInfosetReader::CheckName(const std::string& strName) const
{
    if (!IsNCName(strName, !m_bConvert))
        throw CKrException(FormatString("Failed to parse FastInfoset. Invalid name [%s].", strName.c_str()));
}

const std::string& CFastInfosetReader::WholeName(const CQName& name)
{
    if (name.pPrefix->empty())
        return *name.pLocal;
    m_strQName.assign(*name.pPrefix);
    m_strQName += ':';
    m_strQName += *name.pLocal;
    return m_strQName;
}

CFastInfosetReader::CQName CFastInfosetReader::ReadQNameBit3(unsigned char by)
{
    if ((by & 0x3C) == 0x3C)
        return ReadLiteralQName(by, m_pVocabulary->m_elementNames);
    return QNameAt(m_pVocabulary->m_elementNames, "element names", ReadIntegerBit3(by));
}

CFastInfosetReader::CQName CFastInfosetReader::ReadQNameBit2(unsigned char by)
{
    if ((by & 0x7C) == 0x78)
        return ReadLiteralQName(by, m_pVocabulary->m_attributeNames);
    return QNameAt(m_pVocabulary->m_attributeNames, "attribute names", ReadIntegerBit2(by));
}

// ---- the document ----

void CFastInfosetReader::ReadDocumentHeader()
{
    unsigned char by = ReadByte();
    if (by & 0x40)
    {
        // Additional data: pairs of an identifying URI and the data.
        for (uint32_t i = ReadSequenceLength(); i > 0; --i)
        {
            SkipOctetStringBit2();
            SkipOctetStringBit2();
        }
    }
    if (by & 0x20)
        SkipInitialVocabulary();
    if (by & 0x10)
    {
        // Notations, up to the octet that isn't one.
        unsigned char byItem;
        while (((byItem = ReadByte()) >> 2) == 0x30)
        {
            SkipIdentifyingStringOrIndex(Other_NCNames);
            if (byItem & 0x02)
                SkipIdentifyingStringOrIndex(Other_URIs);
            if (byItem & 0x01)
                SkipIdentifyingStringOrIndex(Other_URIs);
        }
    }
    if (by & 0x08)
    {
        // Unparsed entities, likewise.
        unsigned char byItem;
        while (((byItem = ReadByte()) >> 1) == 0x68)
        {
            SkipIdentifyingStringOrIndex(Other_NCNames);
            SkipIdentifyingStringOrIndex(Other_URIs);
            if (byItem & 0x01)
                SkipIdentifyingStringOrIndex(Other_URIs);
            SkipIdentifyingStringOrIndex(Other_NCNames);
        }
    }
    if (by & 0x04)
        SkipOctetStringBit2();  // character encoding scheme
    if (by & 0x02)
        ReadByte();  // standalone
    if (by & 0x01)
        SkipNonIdentifyingStringOrIndexBit1();  // version
}

void CFastInfosetReader::SkipInitialVocabulary()
{
    unsigned char by1 = ReadByte();
    unsigned char by2 = ReadByte();
    if (by1 & 0x10)
        SkipOctetStringBit2();  // the URI of an external vocabulary: taken to be the context's
    // Tables of octet strings: alphabets, algorithms, prefixes, namespace names (first octet),
    // local names, other NCNames, other URIs (second octet). None is entered; the other
    // tables are counted, as their indices are checked and nothing else.
    const struct
    {
        unsigned char byFlags, byMask;
        int iOther;
    } kStringTables[] = {{by1, 0x08, -1},
                         {by1, 0x04, -1},
                         {by1, 0x02, -1},
                         {by1, 0x01, -1},
                         {by2, 0x80, -1},
                         {by2, 0x40, Other_NCNames},
                         {by2, 0x20, Other_URIs}};
    for (const auto& t : kStringTables)
        if (t.byFlags & t.byMask)
        {
            uint32_t dwCount = ReadSequenceLength();
            for (uint32_t i = 0; i < dwCount; ++i)
                SkipOctetStringBit2();
            if (t.iOther >= 0)
                AddToOtherTable(static_cast<OtherTable>(t.iOther), dwCount);
        }
    // Attribute values, character chunks, other strings: encoded character strings.
    for (int byMask : {0x10, 0x08, 0x04})
        if (by2 & byMask)
        {
            uint32_t dwCount = ReadSequenceLength();
            for (uint32_t i = 0; i < dwCount; ++i)
                ReadEncodedCharacterStringBit3(ReadByte(), m_strSkipped, false);
            if (byMask == 0x04)
                AddToOtherTable(Other_Strings, dwCount);
        }
    // Element and attribute name surrogates: the indices of a name's parts.
    for (int byMask : {0x02, 0x01})
        if (by2 & byMask)
            for (uint32_t i = ReadSequenceLength(); i > 0; --i)
            {
                unsigned char byParts = ReadByte();
                if (byParts & 0x02)
                    ReadIntegerBit2(ReadByte());
                if (byParts & 0x01)
                    ReadIntegerBit2(ReadByte());
                ReadIntegerBit2(ReadByte());
            }
}

void CFastInfosetReader::ReadChildren()
{
    for (;;)
    {
        unsigned char by = ReadByte();
        if (by < 0x80)
        {
            // What follows the root is not looked at: the document's end need not be there.
            ReadRootElement(by);
            return;
        }
        if (by == 0xE1)
            SkipProcessingInstruction();
        else if (by == 0xE2)
            SkipComment();
        else if ((by >> 2) == 0x31)
        {
            if (SkipDocumentTypeDeclaration(by))
                return;
        }
        else if (by == 0xF0 || by == 0xFF)
            return;  // a document without an element
        // Any other octet is passed over.
    }
}

void CFastInfosetReader::SkipProcessingInstruction()
{
    SkipIdentifyingStringOrIndex(Other_NCNames);
    SkipNonIdentifyingStringOrIndexBit1();
}

void CFastInfosetReader::SkipComment()
{
    SkipNonIdentifyingStringOrIndexBit1();
}

void CFastInfosetReader::SkipUnexpandedEntityReference(unsigned char by)
{
    SkipIdentifyingStringOrIndex(Other_NCNames);
    if (by & 0x02)
        SkipIdentifyingStringOrIndex(Other_URIs);
    if (by & 0x01)
        SkipIdentifyingStringOrIndex(Other_URIs);
}

bool CFastInfosetReader::SkipDocumentTypeDeclaration(unsigned char by)
{
    if (by & 0x02)
        SkipIdentifyingStringOrIndex(Other_URIs);  // system identifier
    if (by & 0x01)
        SkipIdentifyingStringOrIndex(Other_URIs);  // public identifier
    // Its processing instructions, then its own terminator, which is no end of the document's
    // children unless it is the double one.
    for (;;)
    {
        unsigned char byItem = ReadByte();
        if (byItem == 0xE1)
            SkipProcessingInstruction();
        else if (byItem == 0xF0)
            return false;
        else if (byItem == 0xFF)
            return true;
        else
            Fail("Failed to parse FastInfoset. Invalid Encoding of Element type.");
    }
}

bool CFastInfosetReader::ReadElement(unsigned char by)
{
    const bool bAttributes = (by & 0x40) != 0;
    m_nDeclarations = 0;
    if ((by & 0x3F) == 0x38)
    {
        // Namespace attributes, up to their terminator; the name follows on an octet of its own.
        unsigned char byItem;
        while (((byItem = ReadByte()) >> 2) == 0x33)
            ReadNamespaceAttribute(byItem);
        by = ReadByte();
    }
    CQName name = ReadQNameBit3(by);
    if (m_bNamespaces)
        m_sink.OnStartElement(name.pNamespace->data(), name.pNamespace->size(), name.pLocal->data(),
                              name.pLocal->size());
    else
    {
        const std::string& strName = WholeName(name);
        m_sink.OnStartElement("", 0, strName.data(), strName.size());
        for (size_t i = 0; i < m_nDeclarations; ++i)
        {
            const std::string& strAttribute = m_declarations[i].first;
            const std::string& strValue = m_declarations[i].second;
            m_sink.OnAttribute(strAttribute.data(), strAttribute.size(), strValue.data(), strValue.size(), "", 0);
        }
    }
    if (!bAttributes)
        return false;
    unsigned char byItem;
    while ((byItem = ReadByte()) < 0x80)
        ReadAttribute(byItem);
    // FF ends the attributes and the element at once.
    if (byItem != 0xFF)
        return false;
    m_sink.OnEndElement();
    return true;
}

void CFastInfosetReader::ReadRootElement(unsigned char by)
{
    // The open elements are only counted: the receiver keeps them, and the depth of the
    // document never reaches the stack. An element deeper than the cap is refused before its
    // start is reported.
    const uint64_t qwMaxDepth = CKrLimits::GetMaxDepth();
    uint64_t qwOpen = ReadElement(by) ? 0 : 1;
    while (qwOpen)
    {
        by = ReadByte();
        if (by < 0x80)
        {
            if (qwMaxDepth && qwOpen >= qwMaxDepth)
                throw CKrException(FormatString("Failed to parse FastInfoset. Elements are nested more than %u levels "
                                                "deep, the limit set by CKrLimits::SetMaxDepth.",
                                                static_cast<unsigned>(qwMaxDepth)));
            if (!ReadElement(by))
                ++qwOpen;
        }
        else if (by < 0xC0)
            ReadCharacterChunk(by);
        else if (by == 0xF0)
        {
            m_sink.OnEndElement();
            --qwOpen;
        }
        else if (by == 0xFF)
        {
            // The end of this element and of its parent (or of the document, after the root).
            m_sink.OnEndElement();
            if (--qwOpen)
            {
                m_sink.OnEndElement();
                --qwOpen;
            }
        }
        else if (by == 0xE1)
            SkipProcessingInstruction();
        else if (by == 0xE2)
            SkipComment();
        else if ((by >> 2) == 0x32)
            SkipUnexpandedEntityReference(by);
        else
            Fail("Failed to parse FastInfoset. Invalid Encoding of Element type.");
    }
}

void CFastInfosetReader::ReadNamespaceAttribute(unsigned char by)
{
    uint32_t dwIndex;
    const std::string* pPrefix = &EmptyString();
    if (by & 0x02)
        pPrefix = &ReadIdentifyingStringOrIndex(m_pVocabulary->m_prefixNames, "prefix names", m_strPrefix, dwIndex);
    const std::string* pNamespace = &EmptyString();
    if (by & 0x01)
        pNamespace =
            &ReadIdentifyingStringOrIndex(m_pVocabulary->m_namespaceNames, "namespace names", m_strNamespace, dwIndex);
    if (!pPrefix->empty())
        CheckName(*pPrefix);
    if (m_bNamespaces)
    {
        m_sink.OnNamespaceDeclaration(*pPrefix, *pNamespace);
        return;
    }
    // An attribute of the element, reported once the element has started.
    if (m_nDeclarations == m_declarations.size())
        m_declarations.emplace_back();
    std::pair<std::string, std::string>& declaration = m_declarations[m_nDeclarations++];
    declaration.first.assign(pPrefix->empty() ? "xmlns" : "xmlns:");
    declaration.first += *pPrefix;
    declaration.second.assign(*pNamespace);
}

void CFastInfosetReader::ReadAttribute(unsigned char by)
{
    CQName name = ReadQNameBit2(by);
    CText value = ReadNonIdentifyingStringOrIndexBit1(m_pVocabulary->m_attributeValues, "attribute values", m_strValue);
    if (m_bNamespaces)
        m_sink.OnAttribute(name.pLocal->data(), name.pLocal->size(), value.p, value.n, name.pNamespace->data(),
                           name.pNamespace->size());
    else
    {
        const std::string& strName = WholeName(name);
        m_sink.OnAttribute(strName.data(), strName.size(), value.p, value.n, "", 0);
    }
}

void CFastInfosetReader::ReadCharacterChunk(unsigned char by)
{
    CText text = ReadNonIdentifyingStringOrIndexBit3(by, m_pVocabulary->m_characterChunks, "character chunks",
                                                     m_strChunk);
    if (m_bLastCData && !m_bStripCDATA)
    {
        m_sink.OnStartCData();
        if (text.n)
            m_sink.OnText(text.p, static_cast<uint32_t>(text.n));
        m_sink.OnEndCData();
        return;
    }
    if (text.n)
        m_sink.OnText(text.p, static_cast<uint32_t>(text.n));
}

} // namespace KrXmlLib16
