#include "xmldocument.h"

#include <cassert>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "encoder.h"
#include "equalbytes.h"
#include "expatreader.h"
#include "fastinfosetreader.h"
#include "functions.h"
#include "jsonreadertoxmlhandler.h"
#include "krexception.h"
#include "krzip.h"
#include "nodepool.h"
#include "platform.h"
#include "sanitizer.h"
#include "serializationcontext.h"
#include "xmlcontentsink.h"

namespace KrXmlLib16 {

// Hidden, although nested in an exported class: it is no part of the interface.
struct __attribute__((visibility("hidden"))) CXmlDocument::CState final : public IXmlContentSink
{
    explicit CState(CXmlDocument& doc)
        : m_doc(doc),
          m_elementPool(sizeof(CXmlElement), alignof(CXmlElement)),
          m_attributePool(sizeof(CXmlAttribute), alignof(CXmlAttribute))
    {
    }

    void OnNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace) override
    {
        m_doc.AddNamespaceDeclaration(strAlias, strNamespace);
    }
    void OnStartElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName) override
    {
        m_doc.AddElement(pNamespace, nNamespace, pName, nName);
    }
    void OnAttribute(const char* pName, size_t nName, const char* pValue, size_t nValue, const char* pNamespace,
                     size_t nNamespace) override
    {
        AddElementAttribute(m_doc.m_pElementStack.back(), pName, nName, pValue, nValue, pNamespace, nNamespace);
    }
    // Text before an element's first child, all of a leaf's, goes into the element; what comes
    // after is held back (see CXmlElement::GetText), where a piece of indentation costs little
    // more than its bytes. A caller that consumes elements as they close may look at the texts
    // of open ones, so with a callback all text goes into the elements.
    void OnText(const char* pText, uint32_t dwLen) override
    {
        CXmlElement* pElement = m_doc.m_pElementStack.back();
        if (pElement->m_pLastChild && !m_doc.m_pfnElementEnd)
            HoldBack(pElement, pText, dwLen);
        else
            CXmlDocument::AppendTextExcludingCR(pElement, pText, dwLen);
    }
    void OnEndElement() override { m_doc.EndElement(); }
    // Kept sections stay in the text with their markers.
    void OnStartCData() override { OnText("<![CDATA[", 9); }
    void OnEndCData() override { OnText("]]>", 3); }

    const char* HeldBack(size_t nDepth) const { return m_heldBack[nDepth].Data(); }
    void ReleaseHeldBack() { m_heldBack.clear(); }

    CXmlDocument& m_doc;
    CNodePool m_elementPool;
    CNodePool m_attributePool;

private:
    // The held-back text of one depth: the runs of the elements of that depth, one after the
    // other. An element's run is contiguous, as no other element of its depth opens before it
    // closes.
    class CTextRun
    {
    public:
        const char* Data() const { return m_spData.get(); }
        size_t Size() const { return m_nSize; }
        // Appends up to nLen bytes or up to the first zero byte, leaving out every character
        // 13, as AppendTextExcludingCR does; answers the number of bytes appended.
        size_t AppendExcludingCR(const char* pText, size_t nLen)
        {
            if (m_nCapacity - m_nSize < nLen)
                Grow(nLen);
            char* const pOut = m_spData.get() + m_nSize;
            size_t n = 0;
            for (size_t i = 0; i < nLen; ++i)
            {
                const char c = pText[i];
                if (c == 0)
                    break;
                pOut[n] = c;
                n += c != '\r';
            }
            m_nSize += n;
            return n;
        }

    private:
        __attribute__((noinline)) void Grow(size_t nMore)
        {
            size_t nCapacity = m_nCapacity < 4096 ? 4096 : 2 * m_nCapacity;
            if (nCapacity - m_nSize < nMore)
                nCapacity = m_nSize + nMore;
            std::unique_ptr<char[]> spData(new char[nCapacity]);
            if (m_nSize)
                std::memcpy(spData.get(), m_spData.get(), m_nSize);
            m_spData.swap(spData);
            m_nCapacity = nCapacity;
        }

        std::unique_ptr<char[]> m_spData;
        size_t m_nSize = 0;
        size_t m_nCapacity = 0;
    };

    void HoldBack(CXmlElement* pElement, const char* pText, uint32_t dwLen)
    {
        const size_t nDepth = m_doc.m_pElementStack.size() - 1;
        if (m_heldBack.size() <= nDepth || m_heldBack[nDepth].Size() + dwLen > 0xFFFFFFFFu)
        {
            HoldBackRarely(pElement, pText, dwLen);
            return;
        }
        CTextRun& run = m_heldBack[nDepth];
        if (!pElement->m_nHeldBackLength)
            pElement->m_nHeldBackOffset = static_cast<uint32_t>(run.Size());
        pElement->m_nHeldBackLength += static_cast<uint32_t>(run.AppendExcludingCR(pText, dwLen));
    }
    // The first text held back at a depth, and text beyond what an element can point at with
    // 32 bits, which the element takes after all.
    __attribute__((noinline)) void HoldBackRarely(CXmlElement* pElement, const char* pText, uint32_t dwLen)
    {
        const size_t nDepth = m_doc.m_pElementStack.size() - 1;
        if (m_heldBack.size() <= nDepth)
            m_heldBack.resize(nDepth + 1);
        if (m_heldBack[nDepth].Size() + dwLen > 0xFFFFFFFFu)
        {
            pElement->GetText();  // what was held back joins the text first
            CXmlDocument::AppendTextExcludingCR(pElement, pText, dwLen);
            return;
        }
        HoldBack(pElement, pText, dwLen);
    }

    std::vector<CTextRun> m_heldBack;  // by depth
};

CXmlDocument::CXmlDocument() : CInstanceMonitor("CXmlDocument")
{
    Init(nullptr, CSerializationContext::GetDefaultContext());
}

CXmlDocument::CXmlDocument(const CSerializationContext& ctx) : CInstanceMonitor("CXmlDocument")
{
    Init(nullptr, ctx);
}

CXmlDocument::CXmlDocument(ElementEndCallback pfnElementEnd) : CInstanceMonitor("CXmlDocument")
{
    Init(pfnElementEnd, CSerializationContext::GetDefaultContext());
}

CXmlDocument::CXmlDocument(ElementEndCallback pfnElementEnd, const CSerializationContext& ctx)
    : CInstanceMonitor("CXmlDocument")
{
    Init(pfnElementEnd, ctx);
}

void CXmlDocument::Init(ElementEndCallback pfnElementEnd, const CSerializationContext& ctx)
{
    m_pDocElement = nullptr;
    m_pBuffer = nullptr;
    m_dwBufferLen = 0;
    m_eSchemaType = ctx.GetSchemaType();
    m_pfnElementEnd = pfnElementEnd;
    m_pContext = &ctx;
    m_pState.reset(new CState(*this));
    m_pSink = m_pState.get();
}

void CXmlDocument::SetContentSink(IXmlContentSink* pSink)
{
    m_pSink = pSink ? pSink : m_pState.get();
}

CXmlDocument::~CXmlDocument()
{
    CXmlDocument::Cleanup();
    CloseAsyncFile();
}

void CXmlDocument::Cleanup()
{
    if (m_pDocElement)
        DeleteElement(m_pDocElement);
    m_pDocElement = nullptr;
    delete[] m_pBuffer;
    m_pBuffer = nullptr;
    m_dwBufferLen = 0;
    m_pElementStack.clear();
    m_aliasToNamespace.clear();
    m_bNamespaceToAliasStale = true;
    m_namespaces.clear();
    m_pLastNamespace = nullptr;
    m_pState->m_elementPool.ReleaseAll();
    m_pState->m_attributePool.ReleaseAll();
    m_pState->ReleaseHeldBack();
}

const char* CXmlDocument::HeldBackText(size_t nDepth) const
{
    return m_pState->HeldBack(nDepth);
}

const std::string* CXmlDocument::InternNamespace(const char* lpNamespace, size_t nLen) const
{
    if (m_pLastNamespace && m_pLastNamespace->size() == nLen &&
        Internal::EqualBytes(m_pLastNamespace->data(), lpNamespace, nLen))
        return m_pLastNamespace;
    m_pLastNamespace = &*m_namespaces.insert(std::string(lpNamespace, nLen)).first;
    return m_pLastNamespace;
}

// Under a sanitizer the nodes come from the heap one by one, so that a stale pointer into
// the tree is still caught.
#if KRXML_UNDER_SANITIZER
#define KRXML_NODE_ALLOC(pool, size) ::operator new(size)
#define KRXML_NODE_FREE(pool, p) ::operator delete(p)
#else
#define KRXML_NODE_ALLOC(pool, size) (pool).Allocate()
#define KRXML_NODE_FREE(pool, p) (pool).Free(p)
#endif

CXmlElement* CXmlDocument::NewElement(const CXmlElement* pParent) const
{
    void* p = KRXML_NODE_ALLOC(m_pState->m_elementPool, sizeof(CXmlElement));
    return new (p) CXmlElement(this, pParent);
}

CXmlElement* CXmlDocument::NewElement(const CXmlElement* pParent, const char* pLocalName, size_t nLocalName) const
{
    void* p = KRXML_NODE_ALLOC(m_pState->m_elementPool, sizeof(CXmlElement));
    try
    {
        return new (p) CXmlElement(this, pParent, pLocalName, nLocalName);
    }
    catch (...)
    {
        KRXML_NODE_FREE(m_pState->m_elementPool, p);
        throw;
    }
}

void CXmlDocument::DeleteElement(CXmlElement* pElement) const
{
    pElement->~CXmlElement();
    KRXML_NODE_FREE(m_pState->m_elementPool, pElement);
}

CXmlAttribute* CXmlDocument::NewAttribute(const CXmlElement* pElement, const std::string& strLocalName,
                                          const std::string& strValue, const std::string& strNamespace) const
{
    void* p = KRXML_NODE_ALLOC(m_pState->m_attributePool, sizeof(CXmlAttribute));
    return new (p) CXmlAttribute(pElement, strLocalName, strValue, strNamespace);
}

CXmlAttribute* CXmlDocument::NewAttribute(const CXmlElement* pElement, const char* pLocalName, size_t nLocalName,
                                          const char* pValue, size_t nValue, const char* pNamespace,
                                          size_t nNamespace) const
{
    void* p = KRXML_NODE_ALLOC(m_pState->m_attributePool, sizeof(CXmlAttribute));
    try
    {
        return new (p) CXmlAttribute(pElement, pLocalName, nLocalName, pValue, nValue, pNamespace, nNamespace);
    }
    catch (...)
    {
        KRXML_NODE_FREE(m_pState->m_attributePool, p);
        throw;
    }
}

void CXmlDocument::DeleteAttribute(CXmlAttribute* pAttribute) const
{
    pAttribute->~CXmlAttribute();
    KRXML_NODE_FREE(m_pState->m_attributePool, pAttribute);
}

// ---- loaders ----

void CXmlDocument::TakeBuffer(const unsigned char* pData, uint32_t dwLen)
{
    m_pBuffer = new unsigned char[dwLen];
    std::memcpy(m_pBuffer, pData, dwLen);
    m_dwBufferLen = dwLen;
}

void CXmlDocument::LoadXml(const char* lpXml)
{
    Cleanup();
    size_t nLen = lpXml ? std::strlen(lpXml) : 0;
    if (nLen == 0)
        throw CKrException("XML String is empty!");
    if (nLen > 0xFFFFFFFFu)
        throw CKrException("XML String is too long");
    TakeBuffer(reinterpret_cast<const unsigned char*>(lpXml), static_cast<uint32_t>(nLen));
    ParseText();
}

void CXmlDocument::LoadXml(const unsigned short* lpXml)
{
    Cleanup();
    size_t nUnits = 0;
    if (lpXml)
        while (lpXml[nUnits])
            ++nUnits;
    if (nUnits == 0)
        throw CKrException("XML String is empty!");
    if (nUnits > (0xFFFFFFFFu - 2) / 2)
        throw CKrException("XML String is too long");
    // A byte order mark in front tells Expat the text is UTF-16 little-endian.
    m_dwBufferLen = static_cast<uint32_t>(nUnits * 2 + 2);
    m_pBuffer = new unsigned char[m_dwBufferLen];
    m_pBuffer[0] = 0xFF;
    m_pBuffer[1] = 0xFE;
    for (size_t i = 0; i < nUnits; ++i)
    {
        m_pBuffer[2 + 2 * i] = static_cast<unsigned char>(lpXml[i] & 0xFF);
        m_pBuffer[3 + 2 * i] = static_cast<unsigned char>(lpXml[i] >> 8);
    }
    ParseText();
}

void CXmlDocument::LoadXmlStream(unsigned char* const pData, uint32_t dwLen)
{
    Cleanup();
    if (dwLen == 0 || !pData)
        throw CKrException("XML Stream is empty!");
    TakeBuffer(pData, dwLen);
    Parse();
}

void CXmlDocument::ParseInPlace(const unsigned char* pData, uint32_t dwLen)
{
    Cleanup();
    if (dwLen == 0 || !pData)
        throw CKrException("XML Stream is empty!");
    if (CKrZip::IsCompressed(pData, dwLen))
    {
        TakeBuffer(pData, dwLen);
        Parse();
        return;
    }
    if (!ParseFastInfoset(pData, dwLen))
        ParseXmlText(pData, dwLen);
}

void CXmlDocument::Load(const char* lpFileName)
{
    Cleanup();
    if (g_bAsyncFromXmlFile)
    {
        LoadAsync(lpFileName);
        return;
    }
    ReadFileToBuffer(lpFileName);
    Parse();
}

// ---- the overlapped route ----

namespace {

// Waits for the read in flight when a scope ends, however it ends: the buffer it fills must
// not be freed under it.
struct CReadInFlight
{
    Platform::BackgroundFileIo& io;
    ~CReadInFlight()
    {
        uint64_t qwIgnored;
        io.Wait(qwIgnored);
    }
};

} // namespace

void CXmlDocument::CloseAsyncFile()
{
    if (m_pOverlapped)
    {
        uint64_t qwIgnored;
        m_pOverlapped->Wait(qwIgnored);
    }
    Platform::CloseFile(m_hFile);
}

void CXmlDocument::LoadAsync(const char* lpFileName)
{
    const char* lpName = lpFileName ? lpFileName : "";
    uint32_t dwError = Platform::OpenFileForRead(lpName, m_hFile);
    if (dwError)
        throw CKrException(FormatString("Failed to open the file [%s] Error [0x%08x]", lpName, dwError));
    // The file is closed on every way out, the read in flight waited for first.
    struct CFileScope
    {
        CXmlDocument& doc;
        ~CFileScope() { doc.CloseAsyncFile(); }
    } fileScope{*this};
    m_qwFilePos = 0;
    if (!m_pOverlapped)
        m_pOverlapped.reset(new Platform::BackgroundFileIo);
    dwError = m_pOverlapped->Prepare();
    if (dwError)
        throw CKrException(FormatString("Failed to create event for file overlap [%s] error [0x%08X]", lpName, dwError));

    m_pBuffer = new unsigned char[kAsyncChunk];
    uint32_t dwRead = 0;
    if (!ReadChunkFromFile(m_pBuffer))
    {
        dwError = WaitForChunk(dwRead);
        if (dwError)
            throw CKrException(FormatString("Failed to read the contents of the file [%s] Error [0x%08x]", lpName,
                                            dwError));
    }
    m_qwFilePos += dwRead;
    m_dwBufferLen = dwRead;
    AsyncParse(dwRead < kAsyncChunk);
}

bool CXmlDocument::ReadChunkFromFile(unsigned char* pBuffer)
{
    m_pOverlapped->StartRead(m_hFile, pBuffer, kAsyncChunk, m_qwFilePos);
    return false;
}

uint32_t CXmlDocument::WaitForChunk(uint32_t& dwRead)
{
    uint64_t qwRead = 0;
    uint32_t dwError = m_pOverlapped->Wait(qwRead);
    dwRead = static_cast<uint32_t>(qwRead);
    return dwError;
}

void CXmlDocument::AsyncParse(bool bEof)
{
    CExpatReader reader(*m_pSink, m_eSchemaType, m_pContext->GetStripCDATA());
    reader.Init();
    std::unique_ptr<unsigned char[]> pSecond(new unsigned char[kAsyncChunk]);
    CReadInFlight inFlight{*m_pOverlapped};  // ends before pSecond is freed
    try
    {
        while (!bEof)
        {
            // The next chunk comes in while the parser works on this one.
            bool bAtEnd = ReadChunkFromFile(pSecond.get());
            reader.Parse(m_pBuffer, m_dwBufferLen, false);
            uint32_t dwRead = 0;
            if (!bAtEnd)
            {
                uint32_t dwError = WaitForChunk(dwRead);
                if (dwError)
                    throw CKrException(FormatString("Failed to read the contents of the file. Error [0x%08x]", dwError));
            }
            unsigned char* pParsed = m_pBuffer;
            m_pBuffer = pSecond.release();
            pSecond.reset(pParsed);
            m_qwFilePos += dwRead;
            m_dwBufferLen = dwRead;
            bEof = dwRead < kAsyncChunk;
        }
        reader.Parse(m_pBuffer, m_dwBufferLen, true);
        // Expat refuses a document without an element; this holds for the tree all the same.
        if (!m_pDocElement && m_pSink == m_pState.get() && !m_pfnElementEnd)
            throw CKrException("Invalid or empty XML document");
    }
    catch (const CKrException& e)
    {
        // Whatever failed, the caller gets the message and path as a plain CKrException, and
        // the document is left empty.
        CKrException plain(e);
        uint64_t qwIgnored;
        m_pOverlapped->Wait(qwIgnored);
        Cleanup();
        throw plain;
    }
    // The buffers go at once; the plain route keeps its buffer until Cleanup.
    delete[] m_pBuffer;
    m_pBuffer = nullptr;
    m_dwBufferLen = 0;
}

void CXmlDocument::ReadFileToBuffer(const char* lpFileName)
{
    const char* lpName = lpFileName ? lpFileName : "";
    Platform::FileHandle hFile;
    uint32_t dwError = Platform::OpenFileForRead(lpName, hFile);
    if (dwError)
        throw CKrException(FormatString("Failed to open the file [%s] Error [0x%08x]", lpName, dwError));
    // To its end, whatever its size says: a pipe or a file under /proc reports none.
    dwError = Platform::ReadToEnd(hFile, m_pBuffer, m_dwBufferLen);
    Platform::CloseFile(hFile);
    if (dwError == EFBIG)
        throw CKrException(FormatString("Failed to get the size of the file [%s] Error [0x%08x]", lpName, dwError));
    if (dwError)
        throw CKrException(FormatString("Failed to read the contents of the file [%s] Error [0x%08x]", lpName,
                                        dwError));
}

void CXmlDocument::Parse()
{
    CKrZip::Decompress(&m_pBuffer, &m_dwBufferLen);
    if (!ParseFastInfoset(m_pBuffer, m_dwBufferLen))
        ParseText();
}

bool CXmlDocument::ParseFastInfoset(const unsigned char* pData, uint32_t dwLen)
{
    // The reader answers false, having reported nothing, to bytes without its header.
    if (!CFastInfosetReader::IsFastInfoset(pData, dwLen))
        return false;
    CFastInfosetReader reader(m_pContext->GetFIContext(), *m_pSink, m_eSchemaType, m_pContext->GetStripCDATA());
    return reader.Parse(pData, dwLen);
}

void CXmlDocument::ParseText()
{
    ParseXmlText(m_pBuffer, m_dwBufferLen);
}

void CXmlDocument::ParseXmlText(const unsigned char* pData, uint32_t dwLen)
{
    CExpatReader reader(*m_pSink, m_eSchemaType, m_pContext->GetStripCDATA());
    // A caller that consumes elements as they close keeps memory flat only if the parser's
    // own copy of the input stays small as well; a whole tree costs several times the input
    // anyway.
    if (m_pfnElementEnd)
        reader.SetSliceLength(256 * 1024);
    reader.Init();
    reader.Parse(pData, dwLen, true);
}

// ---- JSON ----

namespace {

// Line and position (the byte's place on its line, from 1) of an offset in a text, as the
// JSON parser counts them.
void LineAndPosition(const char* pText, size_t nOffset, int& nLine, int& nPosition)
{
    nLine = 1;
    size_t nLineStart = 0;
    for (size_t i = 0; i < nOffset; ++i)
        if (pText[i] == '\n')
        {
            ++nLine;
            nLineStart = i + 1;
        }
    nPosition = static_cast<int>(nOffset - nLineStart + 1);
}

// Refuses text that isn't valid in the code page, rather than let the conversion replace what
// it can't read.
void CheckEncoding(unsigned int uCodePage, const char* pText, size_t nLen)
{
    size_t nValid = Platform::ValidLocalPrefix(uCodePage, pText, nLen);
    if (nValid == nLen)
        return;
    int nLine, nPosition;
    LineAndPosition(pText, nValid, nLine, nPosition);
    throw CKrException(FormatString(Platform::IsUtf8CodePage(uCodePage)
                                        ? "Invalid UTF-8 byte sequence at line %d, position %d."
                                        : "Invalid character for the local code page at line %d, position %d.",
                                    nLine, nPosition));
}

const unsigned int kUtf8CodePage = 65001;

} // namespace

CBinaryData CXmlDocument::LoadJson(const char* lpJson)
{
    Cleanup();
    size_t nLen = lpJson ? std::strlen(lpJson) : 0;
    if (nLen == 0)
        throw CKrException("JSON String is empty!");
    // Under ASCIIOnly local text is bytes as they come, and the XML parser judges them.
    if (!g_bASCIIOnly)
        CheckEncoding(g_uLocalCodePage, lpJson, nLen);
    return ParseJsonText(std::string(lpJson, nLen));
}

CBinaryData CXmlDocument::LoadJson(const unsigned short* lpJson)
{
    Cleanup();
    size_t nUnits = 0;
    if (lpJson)
        while (lpJson[nUnits])
            ++nUnits;
    if (nUnits == 0)
        throw CKrException("JSON String is empty!");
    // A byte order mark is the encoding's, not the text's.
    const unsigned short* pText = lpJson;
    if (pText[0] == 0xFEFF)
    {
        ++pText;
        --nUnits;
    }
    if (nUnits > 0x7FFFFFFF)
        throw CKrException("JSON String is too long");
    // A surrogate without its partner is no character: refused rather than replaced.
    int nLine = 1;
    size_t nLineStart = 0;
    for (size_t i = 0; i < nUnits; ++i)
    {
        unsigned short u = pText[i];
        if (u == '\n')
        {
            ++nLine;
            nLineStart = i + 1;
        }
        else if (u >= 0xD800 && u <= 0xDBFF && i + 1 < nUnits && pText[i + 1] >= 0xDC00 && pText[i + 1] <= 0xDFFF)
            ++i;
        else if (u >= 0xD800 && u <= 0xDFFF)
            throw CKrException(FormatString("Invalid UTF-16 text: unpaired surrogate at line %d, position %d.", nLine,
                                            static_cast<int>(i - nLineStart + 1)));
    }
    return ParseJsonText(WideToLocal(pText, static_cast<int>(nUnits)));
}

CBinaryData CXmlDocument::LoadJsonStream(unsigned char* const pData, uint32_t dwLen)
{
    Cleanup();
    if (dwLen == 0 || !pData)
        throw CKrException("JSON Stream is empty!");
    TakeBuffer(pData, dwLen);
    return ParseJson();
}

CBinaryData CXmlDocument::LoadJsonFile(const char* lpFileName)
{
    Cleanup();
    ReadFileToBuffer(lpFileName);
    return ParseJson();
}

CBinaryData CXmlDocument::ParseJsonText(const std::string& strJson)
{
    return JsonToXml(strJson, *m_pContext);
}

CBinaryData CXmlDocument::ParseJson()
{
    CKrZip::Decompress(&m_pBuffer, &m_dwBufferLen);
    const char* pText = reinterpret_cast<const char*>(m_pBuffer);
    size_t nLen = m_dwBufferLen;
    if (nLen >= 3 && m_pBuffer[0] == 0xEF && m_pBuffer[1] == 0xBB && m_pBuffer[2] == 0xBF)
    {
        pText += 3;
        nLen -= 3;
    }
    // Checked whatever the local code page: the bytes are declared UTF-8.
    CheckEncoding(kUtf8CodePage, pText, nLen);
    std::string strJson;
    Utf8ToLocal(strJson, pText, nLen);
    // The bytes are done with; the text and its XML are what the conversion needs.
    delete[] m_pBuffer;
    m_pBuffer = nullptr;
    m_dwBufferLen = 0;
    return ParseJsonText(strJson);
}

// ---- namespaces ----

std::string CXmlDocument::LookupNamespaceFromAlias(const char* lpAlias) const
{
    auto it = m_aliasToNamespace.find(lpAlias ? lpAlias : "");
    return it == m_aliasToNamespace.end() ? std::string() : it->second;
}

std::string CXmlDocument::LookupAliasFromNamespace(const char* lpNamespace) const
{
    std::lock_guard<std::mutex> lock(m_namespaceToAliasLock);
    if (m_bNamespaceToAliasStale)
    {
        m_namespaceToAlias.clear();
        for (const auto& entry : m_aliasToNamespace)
            m_namespaceToAlias.emplace(entry.second, entry.first);  // the first alias stays
        m_bNamespaceToAliasStale = false;
    }
    auto it = m_namespaceToAlias.find(lpNamespace ? lpNamespace : "");
    return it == m_namespaceToAlias.end() ? std::string() : it->second;
}

// ---- filling ----

CXmlElement* CXmlDocument::AddElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName)
{
    CXmlElement* pElement;
    if (!m_pDocElement)
        pElement = m_pDocElement = NewElement(nullptr, pName, nName);
    else
    {
        assert(!m_pElementStack.empty());
        pElement = m_pElementStack.back()->CreateNewChildElement(pName, nName);
    }
    if (nNamespace)
        pElement->m_pNamespaceURI = InternNamespace(pNamespace, nNamespace);
    m_pElementStack.push_back(pElement);
    return pElement;
}

CXmlElement* CXmlDocument::AddDocElement(const char* lpNamespace, const char* lpName)
{
    assert(m_pDocElement == nullptr);
    return AddElement(lpNamespace ? lpNamespace : "", lpNamespace ? std::strlen(lpNamespace) : 0, lpName ? lpName : "",
                      lpName ? std::strlen(lpName) : 0);
}

CXmlElement* CXmlDocument::AddChildElement(const char* lpNamespace, const char* lpName)
{
    assert(m_pDocElement != nullptr);
    return AddElement(lpNamespace ? lpNamespace : "", lpNamespace ? std::strlen(lpNamespace) : 0, lpName ? lpName : "",
                      lpName ? std::strlen(lpName) : 0);
}

void CXmlDocument::EndElement()
{
    assert(!m_pElementStack.empty());
    CXmlElement* pClosed = m_pElementStack.back();
    m_pElementStack.pop_back();
    if (!m_pfnElementEnd || !m_pfnElementEnd(pClosed))
        return;
    if (m_pElementStack.empty())
    {
        // The root was consumed as well: the document is left empty, never dangling.
        assert(pClosed == m_pDocElement);
        m_pDocElement = nullptr;
        DeleteElement(pClosed);
        return;
    }
    CXmlElement* pDetached = m_pElementStack.back()->RemoveLastChildElement();
    assert(pDetached == pClosed);
    DeleteElement(pDetached);
}

void CXmlDocument::AddElementAttribute(CXmlElement* pElement, const std::string& strLocalName,
                                       const std::string& strValue, const std::string& strNamespace)
{
    pElement->AddAttribute(strLocalName, strValue, strNamespace);
}

void CXmlDocument::AddElementAttribute(CXmlElement* pElement, const char* pLocalName, size_t nLocalName,
                                       const char* pValue, size_t nValue, const char* pNamespace, size_t nNamespace)
{
    // Room first, so that a failed push can't leak the node; an element with attributes mostly
    // has a few, which then need one allocation rather than one per doubling.
    if (pElement->m_attributes.capacity() == 0)
        pElement->m_attributes.reserve(4);
    pElement->m_attributes.push_back(nullptr);
    CXmlAttribute* pAttr;
    try
    {
        pAttr = pElement->m_pDocument->NewAttribute(pElement, pLocalName, nLocalName, pValue, nValue, pNamespace,
                                                    nNamespace);
    }
    catch (...)
    {
        pElement->m_attributes.pop_back();  // no node for the room: the element's destructor mustn't meet it
        throw;
    }
    pElement->m_attributes.back() = pAttr;
}

void CXmlDocument::AppendTextExcludingCR(CXmlElement* pElement, const char* lpText, uint32_t dwLen)
{
    KrXmlLib16::AppendTextExcludingCR(pElement->m_strText, lpText, dwLen);
}

void AppendTextExcludingCR(std::string& strText, const char* pText, uint32_t dwLen)
{
    // The text ends at dwLen or at a zero byte; every character 13 is left out, and the runs
    // between them are appended whole. A parser almost never delivers either byte. Short
    // pieces, line ends and indentation above all, go byte by byte where there is room, which
    // costs less than a general append; longer ones are searched with the library's
    // vectorised functions and appended in runs.
    if (dwLen <= 8 && strText.capacity() - strText.size() >= dwLen)
    {
        for (uint32_t i = 0; i < dwLen; ++i)
        {
            const char c = pText[i];
            if (c == 0)
                return;
            if (c != '\r')
                strText.push_back(c);
        }
        return;
    }
    const char* pZero = static_cast<const char*>(std::memchr(pText, 0, dwLen));
    const char* pEnd = pZero ? pZero : pText + dwLen;
    const char* p = pText;
    while (p < pEnd)
    {
        const char* pCR = static_cast<const char*>(std::memchr(p, '\r', static_cast<size_t>(pEnd - p)));
        const char* pRunEnd = pCR ? pCR : pEnd;
        strText.append(p, static_cast<size_t>(pRunEnd - p));
        p = pCR ? pCR + 1 : pEnd;
    }
}

void CXmlDocument::AppendTextExcludingCR(CXmlElement* pElement, const char* lpText)
{
    AppendTextExcludingCR(pElement, lpText, static_cast<uint32_t>(std::strlen(lpText)));
}

} // namespace KrXmlLib16
