#include "expatreader.h"

#include <cassert>
#include <cstring>
#include <expat.h>

#include "encoder.h"
#include "functions.h"
#include "allocationhooks.h"
#include "krexception.h"
#include "krlimits.h"
#include "platform.h"
#include "xmlcontentsink.h"

namespace KrXmlLib16 {

namespace {

// Set only by tests, through SetExpatAllocator.
bool g_bExpatAllocatorSet = false;
XML_Memory_Handling_Suite g_expatAllocator;

} // namespace

void Internal::SetExpatAllocator(const ExpatAllocator* pAllocator)
{
    g_bExpatAllocatorSet = pAllocator != nullptr;
    if (pAllocator)
        g_expatAllocator = XML_Memory_Handling_Suite{pAllocator->pfnMalloc, pAllocator->pfnRealloc, pAllocator->pfnFree};
}

CExpatReader::CExpatReader(IXmlContentSink& sink, SchemaType eSchemaType, bool bStripCDATA)
    : CInstanceMonitor("CExpatReader"),
      m_sink(sink),
      m_pConvBuffer(nullptr),
      m_dwConvBufferLen(0),
      m_parser(nullptr),
      m_dwSliceLen(0),
      m_nDepth(0),
      m_bConvert(false),
      m_bNamespaces(eSchemaType != SchemaType_NoNamespaces),
      m_bStripCDATA(bStripCDATA)
{
}

CExpatReader::~CExpatReader()
{
    Free();
}

void CExpatReader::Free()
{
    delete[] m_pConvBuffer;
    m_pConvBuffer = nullptr;
    m_dwConvBufferLen = 0;
    if (m_parser)
    {
        XML_ParserFree(m_parser);
        m_parser = nullptr;
    }
}

void CExpatReader::Init()
{
    Free();
    m_nDepth = 0;
    m_dwConvBufferLen = 1024;
    m_pConvBuffer = new unsigned char[m_dwConvBufferLen];
    m_bConvert = !g_bASCIIOnly && !Platform::IsUtf8CodePage(g_uLocalCodePage);
    // A null encoding lets Expat take it from a byte order mark or the declaration.
    if (g_bExpatAllocatorSet)
        m_parser = XML_ParserCreate_MM(nullptr, &g_expatAllocator, m_bNamespaces ? "|" : nullptr);
    else
        m_parser = m_bNamespaces ? XML_ParserCreateNS(nullptr, '|') : XML_ParserCreate(nullptr);
    if (!m_parser)
        throw CKrException("Failed to create the XML parser");
    XML_SetUserData(m_parser, this);
    XML_SetElementHandler(m_parser, &CExpatReader::StartElement, &CExpatReader::EndElement);
    XML_SetNamespaceDeclHandler(m_parser, &CExpatReader::StartNamespace, &CExpatReader::EndNamespace);
    XML_SetCharacterDataHandler(m_parser, &CExpatReader::CharacterData);
    if (!m_bStripCDATA)
        XML_SetCdataSectionHandler(m_parser, &CExpatReader::StartCdata, &CExpatReader::EndCdata);
    // No other handler: comments and processing instructions vanish, and no external entity
    // is ever fetched.
}

void CExpatReader::Parse(const unsigned char* pData, uint32_t dwLen, bool bIsFinal)
{
    assert(m_parser);
    // Expat takes an int length, hence the cap.
    const uint32_t kSlice = m_dwSliceLen && m_dwSliceLen < 0x40000000u ? m_dwSliceLen : 0x40000000u;
    for (;;)
    {
        uint32_t dwPiece = dwLen > kSlice ? kSlice : dwLen;
        bool bLast = dwPiece == dwLen;
        if (XML_Parse(m_parser, reinterpret_cast<const char*>(pData), static_cast<int>(dwPiece),
                      bLast && bIsFinal) == XML_STATUS_ERROR)
        {
            if (m_pFailure)
            {
                std::exception_ptr pFailure = m_pFailure;
                m_pFailure = nullptr;
                Free();
                std::rethrow_exception(pFailure);
            }
            std::string strMessage = FormatString("%s at line %d", XML_ErrorString(XML_GetErrorCode(m_parser)),
                                                  static_cast<int>(XML_GetCurrentLineNumber(m_parser)));
            Free();
            throw CKrException(strMessage);
        }
        if (bLast)
            break;
        pData += dwPiece;
        dwLen -= dwPiece;
    }
    if (bIsFinal)
        Free();
}

const char* CExpatReader::ToLocal(const char* lpText, size_t nLen, std::string& strScratch, size_t& nOutLen)
{
    if (!m_bConvert)
    {
        nOutLen = nLen;
        return lpText;
    }
    Utf8ToLocal(strScratch, lpText, nLen, reinterpret_cast<uint16_t*>(m_pConvBuffer), m_dwConvBufferLen / 4);
    nOutLen = strScratch.size();
    return strScratch.c_str();
}

void CExpatReader::SplitName(const char* lpName, Span& ns, Span& local)
{
    // Split before converting: in UTF-8 the separator can't be part of another character,
    // which a legacy multi-byte code page doesn't promise.
    size_t nLen = std::strlen(lpName);
    const char* pBar = m_bNamespaces ? static_cast<const char*>(std::memchr(lpName, '|', nLen)) : nullptr;
    if (pBar)
    {
        size_t nNs = static_cast<size_t>(pBar - lpName);
        ns.p = ToLocal(lpName, nNs, m_strNamespace, ns.n);
        local.p = ToLocal(pBar + 1, nLen - nNs - 1, m_strLocal, local.n);
    }
    else
    {
        ns.p = "";
        ns.n = 0;
        local.p = ToLocal(lpName, nLen, m_strLocal, local.n);
    }
}

// Every handler runs its work through Guard: a failure inside it (a refusal by the receiver,
// or memory) must not unwind through the parser's C frames. It is kept, the parser stopped,
// and Parse raises it again once the parser has returned.
template <typename Fn>
void CExpatReader::Guard(void* pUserData, Fn fn)
{
    CExpatReader* pThis = static_cast<CExpatReader*>(pUserData);
    assert(pThis != 0);
    if (pThis->m_pFailure)
        return;
    try
    {
        fn(*pThis, pThis->m_sink);
    }
    catch (...)
    {
        pThis->m_pFailure = std::current_exception();
        XML_StopParser(pThis->m_parser, XML_FALSE);
    }
}

void CExpatReader::StartElement(void* pUserData, const char* lpName, const char** ppAttributes)
{
    Guard(pUserData, [=](CExpatReader& self, IXmlContentSink& sink) {
        // Expat keeps its open elements on the heap; the cap keeps a hostile document from
        // making every receiver hold and walk an endless chain.
        const uint32_t nMaxDepth = CKrLimits::GetMaxDepth();
        if (nMaxDepth && self.m_nDepth >= nMaxDepth)
            throw CKrException(FormatString("Elements are nested more than %u levels deep, the limit set by "
                                            "CKrLimits::SetMaxDepth, at line %d",
                                            nMaxDepth, static_cast<int>(XML_GetCurrentLineNumber(self.m_parser))));
        ++self.m_nDepth;
        Span ns, local;
        self.SplitName(lpName, ns, local);
        sink.OnStartElement(ns.p, ns.n, local.p, local.n);
        for (const char** pp = ppAttributes; *pp; pp += 2)
        {
            self.SplitName(pp[0], ns, local);
            size_t nValueLen = std::strlen(pp[1]);
            const char* lpValue = self.ToLocal(pp[1], nValueLen, self.m_strValue, nValueLen);
            sink.OnAttribute(local.p, local.n, lpValue, nValueLen, ns.p, ns.n);
        }
    });
}

void CExpatReader::EndElement(void* pUserData, const char*)
{
    Guard(pUserData, [](CExpatReader& self, IXmlContentSink& sink) {
        --self.m_nDepth;
        sink.OnEndElement();
    });
}

void CExpatReader::StartNamespace(void* pUserData, const char* lpPrefix, const char* lpUri)
{
    Guard(pUserData, [=](CExpatReader&, IXmlContentSink& sink) {
        sink.OnNamespaceDeclaration(lpPrefix ? Utf8ToLocal(lpPrefix) : std::string(),
                                    lpUri ? Utf8ToLocal(lpUri) : std::string());
    });
}

void CExpatReader::EndNamespace(void*, const char*) {}

void CExpatReader::CharacterData(void* pUserData, const char* lpText, int iLen)
{
    if (iLen <= 0)
        return;
    Guard(pUserData, [=](CExpatReader& self, IXmlContentSink& sink) {
        size_t nLen;
        const char* lpLocal = self.ToLocal(lpText, static_cast<size_t>(iLen), self.m_strText, nLen);
        sink.OnText(lpLocal, static_cast<uint32_t>(nLen));
    });
}

void CExpatReader::StartCdata(void* pUserData)
{
    Guard(pUserData, [](CExpatReader&, IXmlContentSink& sink) { sink.OnStartCData(); });
}

void CExpatReader::EndCdata(void* pUserData)
{
    Guard(pUserData, [](CExpatReader&, IXmlContentSink& sink) { sink.OnEndCData(); });
}

} // namespace KrXmlLib16
