#include "xmltextwriter.h"

#include <cassert>
#include <cstring>
#include <memory>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "functions.h"
#include "krexception.h"
#include "platform.h"
#include "textlayout.h"

namespace KrXmlLib16 {

namespace {

// What each byte needs, in text content and in attribute values.
enum EscapeCode : unsigned char
{
    Esc_None = 0,
    Esc_LineFeedContent,  // the writer's line end
    Esc_LineFeedAttr,     // "&#xA;"
    Esc_Drop,             // carriage return: left out
    Esc_Quot,
    Esc_Amp,
    Esc_Lt,
    Esc_Gt,
    Esc_Forbidden,        // a control character XML 1.0 has no way to carry
    Esc_LeadEF            // may start U+FFFE or U+FFFF, which XML 1.0 doesn't carry either
};

struct EscapeTables
{
    unsigned char content[256];
    unsigned char attribute[256];

    EscapeTables()
    {
        for (int c = 0; c < 256; ++c)
        {
            unsigned char code = Esc_None;
            if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
                code = Esc_Forbidden;
            content[c] = attribute[c] = code;
        }
        content[0x0A] = Esc_LineFeedContent;
        attribute[0x0A] = Esc_LineFeedAttr;
        content[0x0D] = attribute[0x0D] = Esc_Drop;
        attribute[0x22] = Esc_Quot;  // "
        content[0x26] = attribute[0x26] = Esc_Amp;  // &
        content[0x3C] = attribute[0x3C] = Esc_Lt;  // <
        content[0x3E] = attribute[0x3E] = Esc_Gt;  // >
        content[0xEF] = attribute[0xEF] = Esc_LeadEF;
    }
};

const EscapeTables g_escape;

const char kCDataStart[] = "<![CDATA[";

} // namespace

CXmlTextWriter::CXmlTextWriter(CTextStream* pStream)
    : CXmlWriter("CXmlTextWriter"), m_bWriteDefaultElementValues(false), m_strIndent("\t"), m_strEol("\n"),
      m_eEOLType(EOLType_LF), m_bFormatted(true), m_pStream(pStream)
{
    assert(pStream != 0);
}

CXmlTextWriter::~CXmlTextWriter() = default;

void CXmlTextWriter::SetFormatted(bool bFormatted)
{
    assert(m_pContext == 0);
    m_bFormatted = bFormatted;
}

void CXmlTextWriter::SetIndent(const char* lpIndent)
{
    m_strIndent = lpIndent ? lpIndent : "";
    m_strIndentRun.clear();
}

void CXmlTextWriter::SetEOLType(EOLType eEOLType)
{
    m_strEol = EolText(eEOLType);
    m_eEOLType = eEOLType;
}

// ---- low-level output ----

void CXmlTextWriter::WriteIndent(int nDepth)
{
    if (m_strIndent.empty() || nDepth <= 0)
        return;
    const size_t nLen = IndentRun(m_strIndentRun, m_strIndent, nDepth);  // may rebuild the run
    Write(m_strIndentRun.data(), nLen);
}

void CXmlTextWriter::ThrowUnrepresentable(unsigned int uChar, const EscapeSite& site)
{
    std::string strPath = site.pElement ? site.pElement->GetXPath() : std::string();
    if (site.pAttrName)
    {
        // An attribute's path as the document tree forms it: the prefix stands before the "@".
        strPath += '/';
        if (site.pAttrPrefix && !site.pAttrPrefix->empty())
        {
            strPath += *site.pAttrPrefix;
            strPath += ':';
        }
        strPath += '@';
        strPath += *site.pAttrName;
    }
    throw CKrException(FormatString("The character [0x%02X] can not be represented in XML", uChar), strPath);
}

// The first byte from p on that may need escaping in either table: a control character, a
// quote, '&', '<' or '>'; 16 bytes at a time where the processor allows. Bytes it stops at
// that need nothing after all (a tab, a quote in content) are looked up like any other.
static const char* SkipPlainBytes(const char* p, const char* pEnd)
{
#if defined(__SSE2__)
    const __m128i vControlMax = _mm_set1_epi8(0x1F);
    const __m128i vQuot = _mm_set1_epi8('"');
    const __m128i vAmp = _mm_set1_epi8('&');
    const __m128i vLt = _mm_set1_epi8('<');
    const __m128i vGt = _mm_set1_epi8('>');
    const __m128i vLeadEF = _mm_set1_epi8(static_cast<char>(0xEF));
    while (pEnd - p >= 16)
    {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        __m128i vHit = _mm_cmpeq_epi8(_mm_min_epu8(v, vControlMax), v);  // v <= 0x1F, unsigned
        vHit = _mm_or_si128(vHit, _mm_cmpeq_epi8(v, vQuot));
        vHit = _mm_or_si128(vHit, _mm_cmpeq_epi8(v, vAmp));
        vHit = _mm_or_si128(vHit, _mm_cmpeq_epi8(v, vLt));
        vHit = _mm_or_si128(vHit, _mm_cmpeq_epi8(v, vGt));
        vHit = _mm_or_si128(vHit, _mm_cmpeq_epi8(v, vLeadEF));
        const int iMask = _mm_movemask_epi8(vHit);
        if (iMask)
            return p + __builtin_ctz(static_cast<unsigned int>(iMask));
        p += 16;
    }
#endif
    (void)pEnd;
    return p;
}

void CXmlTextWriter::WriteEscaped(const char* pText, size_t nLen, const unsigned char* pTable, const EscapeSite& site)
{
    // Runs of bytes that need nothing go out in one piece. Short texts, most values, are looked
    // at byte by byte; longer ones skip plain bytes 16 at a time.
    const char* pRun = pText;
    const char* pEnd = pText + nLen;
    const bool bLong = nLen >= 16;
    for (const char* p = bLong ? SkipPlainBytes(pText, pEnd) : pText; p < pEnd;
         p = bLong ? SkipPlainBytes(p + 1, pEnd) : p + 1)
    {
        unsigned char code = pTable[static_cast<unsigned char>(*p)];
        if (code == Esc_None)
            continue;
        if (code == Esc_LeadEF)
        {
            // EF BF BE and EF BF BF are U+FFFE and U+FFFF in UTF-8; in a single-byte code page
            // they are three ordinary characters.
            if (pEnd - p < 3 || static_cast<unsigned char>(p[1]) != 0xBF ||
                (static_cast<unsigned char>(p[2]) & 0xFE) != 0xBE || !Platform::IsUtf8CodePage(g_uLocalCodePage))
                continue;
            ThrowUnrepresentable(static_cast<unsigned char>(p[2]) == 0xBE ? 0xFFFEu : 0xFFFFu, site);
        }
        if (p > pRun)
            Write(pRun, static_cast<size_t>(p - pRun));
        pRun = p + 1;
        switch (code)
        {
        case Esc_LineFeedContent: WriteEol(); break;
        case Esc_LineFeedAttr: Write("&#xA;", 5); break;
        case Esc_Drop: break;
        case Esc_Quot: Write("&quot;", 6); break;
        case Esc_Amp: Write("&amp;", 5); break;
        case Esc_Lt: Write("&lt;", 4); break;
        case Esc_Gt: Write("&gt;", 4); break;
        default: ThrowUnrepresentable(static_cast<unsigned char>(*p), site);
        }
    }
    if (pEnd > pRun)
        Write(pRun, static_cast<size_t>(pEnd - pRun));
}

void CXmlTextWriter::WriteContentEscaped(const std::string& strText, const CXmlWriterContext* pElement)
{
    WriteEscaped(strText.data(), strText.size(), g_escape.content, EscapeSite{pElement, nullptr, nullptr});
}

void CXmlTextWriter::WriteAttributeEscaped(const std::string& strText, const EscapeSite& site)
{
    WriteEscaped(strText.data(), strText.size(), g_escape.attribute, site);
}

void CXmlTextWriter::WriteNamespaceDeclaration(const char* lpBefore, const std::string& strAlias,
                                               const std::string& strNamespace, const char* lpAfter,
                                               const CXmlWriterContext* pElement)
{
    Write(lpBefore, std::strlen(lpBefore));
    Write(strAlias);
    Write("=\"", 2);
    WriteAttributeEscaped(strNamespace, EscapeSite{pElement, nullptr, nullptr});
    Write(lpAfter, std::strlen(lpAfter));
}

void CXmlTextWriter::CloseParentStartTag()
{
    if (!m_pContext)
        return;
    ++m_pContext->m_nChildElements;
    if (m_pContext->m_bStartTagOpen)
    {
        m_pContext->m_bStartTagOpen = false;
        Write('>');
        if (m_bFormatted)
            WriteEol();
    }
}

void CXmlTextWriter::CheckAttributeAllowed() const
{
    assert(m_pContext != 0);
    if (!m_pContext->m_bStartTagOpen)
        throw CKrException("Attributes must be added before elements");
}

// ---- document ----

void CXmlTextWriter::StartDocument()
{
    CXmlWriter::StartDocument();
    m_pStream->Start();
}

void CXmlTextWriter::EndDocument()
{
    m_pStream->End();
    CXmlWriter::EndDocument();
}

void CXmlTextWriter::WriteXmlDeclaration()
{
    static const char kStart[] = "<?xml version=\"1.0\"";
    Write(kStart, sizeof(kStart) - 1);
    switch (m_pStream->GetEncoding())
    {
    case XmlEncoding_UTF8: Write(" encoding=\"UTF-8\"", 17); break;
    case XmlEncoding_UTF16: Write(" encoding=\"UTF-16\"", 18); break;
    default: break;
    }
    Write("?>", 2);
    WriteEol();
    FlushTest();
    assert(m_pContext == 0);
}

void CXmlTextWriter::WriteHeadedDirective(const std::string& strText)
{
    if (m_pContext)
        throw CKrException("Headed directives must appear before an Element has been added.");
    Write(strText);
    WriteEol();
    FlushTest();
}

void CXmlTextWriter::WriteRawLine(const std::string& strText)
{
    Write(strText);
    if (m_bFormatted)
        WriteEol();
    FlushTest();
}

void CXmlTextWriter::CloseStartTag()
{
    CloseParentStartTag();
    FlushTest();
}

void CXmlTextWriter::WriteComment(const std::string& strText)
{
    // The only sequences a comment can't hold; escaping can't help inside a comment.
    if (strText.find("--") != std::string::npos || (!strText.empty() && strText.back() == '-'))
        throw CKrException("A comment can not contain \"--\" or end with \"-\"",
                           m_pContext ? m_pContext->GetXPath() : std::string());
    Write("<!--", 4);
    WriteContentEscaped(strText, m_pContext);
    Write("-->", 3);
    WriteEol();
    FlushTest();
}

void CXmlTextWriter::WriteProcessingInstruction(const std::string& strText)
{
    Write(strText);
    WriteEol();
    WriteEol();
    FlushTest();
}

void CXmlTextWriter::WriteInLineSchema(const std::string& strText)
{
    Write(' ');
    WriteEol();
    Write(strText);
    WriteEol();
    FlushTest();
}

// ---- elements ----

void CXmlTextWriter::StartElement(const std::string& strName, const std::string& strNamespace)
{
    bool bRoot = m_pContext == nullptr;
    CloseParentStartTag();
    CXmlWriterContext* pNew = CreateContext(strName, strNamespace);

    if (m_bFormatted)
        WriteIndent(pNew->m_nDepth);
    Write('<');
    if (strNamespace.empty() || strNamespace == pNew->GetDefaultNamespace())
    {
        Write(strName);
        CountChildOfParent(pNew);
    }
    else
    {
        bool bNewAlias = false;
        pNew->m_strPrefix = pNew->GetNamespaceMapValue(strNamespace);
        if (pNew->m_strPrefix.empty())
        {
            pNew->m_strPrefix = pNew->GenerateNamespaceAlias();
            pNew->SetNamespaceMapValue(strNamespace, pNew->m_strPrefix);
            bNewAlias = true;
        }
        assert(pNew->GetNamespaceMapValue(strNamespace).length() != 0);
        Write(pNew->m_strPrefix);
        Write(':');
        Write(strName);
        CountChildOfParent(pNew);
        if (bNewAlias)
            WriteNamespaceDeclaration(" xmlns:", pNew->m_strPrefix, strNamespace, "\"", pNew);
    }
    if (bRoot)
    {
        if (!m_strDefaultNamespace.empty())
        {
            Write(" xmlns=\"", 8);
            WriteAttributeEscaped(m_strDefaultNamespace, EscapeSite{pNew, nullptr, nullptr});
            Write('"');
        }
        static const size_t nXmlUriLen = std::strlen(kXmlNamespaceUri);
        for (const NamespaceMap::value_type& entry : m_namespaces)
        {
            if (entry.first.compare(0, nXmlUriLen, kXmlNamespaceUri) == 0)
                continue;
            WriteNamespaceDeclaration(" xmlns:", entry.second, entry.first, "\"", pNew);
        }
    }
    FlushTest();
    PushContext(pNew);
}

void CXmlTextWriter::WriteElementText(const std::string& strText, ItemType, bool bIsDefault)
{
    assert(m_pContext != 0);
    if (strText.empty())
        return;
    if (bIsDefault && !m_bWriteDefaultElementValues)
        return;
    if (m_pContext->m_bStartTagOpen)
    {
        m_pContext->m_bStartTagOpen = false;
        Write('>');
    }
    if (strText.size() >= sizeof(kCDataStart) - 1 && strText[0] == '<' &&
        std::memcmp(strText.data(), kCDataStart, sizeof(kCDataStart) - 1) == 0)
        Write(strText);
    else
        WriteContentEscaped(strText, m_pContext);
    FlushTest();
}

void CXmlTextWriter::EndElement()
{
    assert(m_pContext != 0);
    CXmlWriterContext* pContext = m_pContext;
    if (pContext->m_bStartTagOpen)
        Write("/>", 2);
    else
    {
        if (m_bFormatted && pContext->m_nChildElements != 0)
            WriteIndent(pContext->m_nDepth);
        Write("</", 2);
        if (!pContext->m_strPrefix.empty())
        {
            Write(pContext->m_strPrefix);
            Write(':');
        }
        Write(pContext->m_strName);
        Write('>');
    }
    if (m_bFormatted)
        WriteEol();
    FlushTest();
    PopContext();
}

void CXmlTextWriter::WriteAttribute(const std::string& strName, const std::string& strNamespace,
                                    const std::string& strValue, ItemType)
{
    CheckAttributeAllowed();
    if (IsRepeatedAttribute(strName, strNamespace, strValue))
        return;
    Write(' ');
    const std::string* pAlias = nullptr;
    if (!strNamespace.empty())
    {
        // The default namespace is no help to attributes: a namespace always takes an alias.
        pAlias = &m_pContext->GetNamespaceMapValue(strNamespace);
        if (pAlias->empty())
        {
            std::string strAlias = m_pContext->GenerateNamespaceAlias();
            m_pContext->SetNamespaceMapValue(strNamespace, strAlias);
            WriteNamespaceDeclaration("xmlns:", strAlias, strNamespace, "\" ", m_pContext);
            pAlias = &m_pContext->GetNamespaceMapValue(strNamespace);
        }
        assert(pAlias->length() != 0);
        Write(*pAlias);
        Write(':');
    }
    Write(strName);
    Write("=\"", 2);
    WriteAttributeEscaped(strValue, EscapeSite{m_pContext, pAlias, &strName});
    Write('"');
    FlushTest();
}

void CXmlTextWriter::WriteTypeAttribute(const std::string& strNamespace, const std::string& strTypeName,
                                        ItemType eType)
{
    CheckAttributeAllowed();
    if (strNamespace.empty() || strNamespace == m_pContext->GetDefaultNamespace())
    {
        WriteAttribute("type", kXmlSchemaInstanceUri, strTypeName, eType);
        return;
    }
    std::string strAlias = m_pContext->GetNamespaceMapValue(strNamespace);
    if (strAlias.empty())
    {
        strAlias = m_pContext->GenerateNamespaceAlias();
        m_pContext->SetNamespaceMapValue(strNamespace, strAlias);
        // WriteAttribute adds a blank of its own, so two stand between the two attributes.
        WriteNamespaceDeclaration(" xmlns:", strAlias, strNamespace, "\" ", m_pContext);
    }
    WriteAttribute("type", kXmlSchemaInstanceUri, strAlias + ":" + strTypeName, eType);
}

void CXmlTextWriter::WriteNilAttribute()
{
    CheckAttributeAllowed();
    WriteAttribute("nil", kXmlSchemaInstanceUri, "true", ItemType_boolean);
}

} // namespace KrXmlLib16
