// The read-only tree of one input document, and the loaders that fill it.
//
// Ownership: the document owns its input buffer and every element and attribute of its tree.
// The pointers it hands out are valid until the next load or the document's end; a caller
// keeps copies of the strings, never the nodes. The context is borrowed and must outlive the
// document, as must a content sink given to SetContentSink.
#ifndef KRXMLLIB_XMLDOCUMENT_H
#define KRXMLLIB_XMLDOCUMENT_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "binarydata.h"
#include "krplatformtypes.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"
#include "xmlelement.h"
#include "xmlenums.h"

namespace KrXmlLib16 {

class CSerializationContext;
class CExpatReader;
class IXmlContentSink;
namespace Platform {
class BackgroundFileIo;
}

// Readers fill the document only through an IXmlContentSink, the same interface through which
// they feed any other receiver.
class KRXML_API CXmlDocument : public CInstanceMonitor
{
    friend class CXmlElement;

public:
    // Called with each element as it closes. Answering true detaches and frees the element,
    // so that a caller can consume a huge document in constant memory. For the root, true
    // frees it as well and leaves the document empty.
    typedef bool (*ElementEndCallback)(CXmlElement* pElement);

    CXmlDocument();
    explicit CXmlDocument(const CSerializationContext& ctx);
    explicit CXmlDocument(ElementEndCallback pfnElementEnd);
    CXmlDocument(ElementEndCallback pfnElementEnd, const CSerializationContext& ctx);
    virtual ~CXmlDocument();
    CXmlDocument(const CXmlDocument&) = delete;
    CXmlDocument& operator=(const CXmlDocument&) = delete;

    CXmlElement* GetDocumentElement() const { return m_pDocElement; }

    // Reads a file. Under AsyncFromXmlFile(true) the file is XML text, read in chunks in the
    // background while the parser works on the chunk before (see AsyncParse); otherwise it is
    // read whole and may be compressed, Fast Infoset or XML text, as bytes given to
    // LoadXmlStream may.
    void Load(const char* lpFileName);
    void LoadXmlStream(unsigned char* const pData, uint32_t dwLen);
    void LoadXml(const char* lpXml);
    void LoadXml(const unsigned short* lpXml);
    // Parses the caller's bytes where they lie, keeping no copy; for a receiver that takes
    // its own copies of what it keeps (see SetContentSink). Compressed bytes are decompressed
    // into a buffer of the document's and read as LoadXmlStream reads them.
    void ParseInPlace(const unsigned char* pData, uint32_t dwLen);

    // JSON converted to XML text, which is returned as UTF-8 bytes for the caller to read; the
    // tree stays empty. Text given as a string is in the local code page (the 16-bit form in
    // UTF-16, a leading byte order mark skipped); bytes and files are UTF-8, with or without
    // a byte order mark. Empty input raises "JSON String is empty!" or "JSON Stream is
    // empty!"; text that isn't valid in its encoding is refused with its line and position.
    CBinaryData LoadJson(const char* lpJson);
    CBinaryData LoadJson(const unsigned short* lpJson);
    CBinaryData LoadJsonStream(unsigned char* const pData, uint32_t dwLen);
    CBinaryData LoadJsonFile(const char* lpFileName);

    // The URI of a prefix seen in the document, or an empty string.
    std::string LookupNamespaceFromAlias(const char* lpAlias) const;
    // The first prefix in key order bound to this URI, or an empty string.
    std::string LookupAliasFromNamespace(const char* lpNamespace) const;

    const CSerializationContext& GetContext() const { return *m_pContext; }

    // Sends the content of the next loads to pSink instead of building the tree; null builds
    // the tree again.
    void SetContentSink(IXmlContentSink* pSink);

    // ---- for the classes that fill a document ----
    CXmlElement* AddDocElement(const char* lpNamespace, const char* lpName);
    CXmlElement* AddChildElement(const char* lpNamespace, const char* lpName);
    void EndElement();
    void AddNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace)
    {
        m_aliasToNamespace[strAlias] = strNamespace;
        m_bNamespaceToAliasStale = true;
    }
    static void AddElementAttribute(CXmlElement* pElement, const std::string& strLocalName, const std::string& strValue,
                                    const std::string& strNamespace);
    static void AddElementAttribute(CXmlElement* pElement, const char* pLocalName, size_t nLocalName,
                                    const char* pValue, size_t nValue, const char* pNamespace, size_t nNamespace);
    static void AppendTextExcludingCR(CXmlElement* pElement, const char* lpText, uint32_t dwLen);
    static void AppendTextExcludingCR(CXmlElement* pElement, const char* lpText);
    CXmlElement* GetCurrentElement() const { return m_pElementStack.empty() ? nullptr : m_pElementStack.back(); }

protected:
    virtual void Cleanup();

    // Bytes in m_pBuffer: later formats (compressed, binary) are recognised in front of the
    // text parser.
    void Parse();
    void ParseText();
    // Fast Infoset, told by its header, into the receiver; false for other bytes.
    bool ParseFastInfoset(const unsigned char* pData, uint32_t dwLen);

private:
    // The node pools and the receiver that builds the tree from the parser's reports.
    struct CState;

    void Init(ElementEndCallback pfnElementEnd, const CSerializationContext& ctx);
    void TakeBuffer(const unsigned char* pData, uint32_t dwLen);
    // Reads the whole file into m_pBuffer.
    void ReadFileToBuffer(const char* lpFileName);

    // The overlapped route of Load: two buffers of kAsyncChunk bytes, one being filled in the
    // background at m_qwFilePos while the parser reads the other, whatever the file's size.
    static const uint32_t kAsyncChunk = 0x20000;
    void LoadAsync(const char* lpFileName);
    // Starts the read of the next chunk into pBuffer. True if the end of the file is known at
    // once; the background read tells it only through WaitForChunk, so this route says false.
    bool ReadChunkFromFile(unsigned char* pBuffer);
    // Waits for the read in flight; the host's error code, 0 on success.
    uint32_t WaitForChunk(uint32_t& dwRead);
    // Parses m_pBuffer and the chunks after it, each while the next one is read.
    void AsyncParse(bool bEof);
    void CloseAsyncFile();
    // JSON in the local code page, and JSON as the bytes of m_pBuffer, to XML text.
    CBinaryData ParseJsonText(const std::string& strJson);
    CBinaryData ParseJson();
    // Runs the XML text parser over the bytes, as the one and final piece, into the receiver.
    void ParseXmlText(const unsigned char* pData, uint32_t dwLen);
    const std::string* InternNamespace(const char* lpNamespace, size_t nLen) const;
    // The text held back for the elements at a depth (see CXmlElement::GetText).
    const char* HeldBackText(size_t nDepth) const;
    // The root if there is none yet, else a child of the open element; names as byte runs.
    CXmlElement* AddElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName);
    // Nodes live in the document's pools; these are the only places that make and free them.
    CXmlElement* NewElement(const CXmlElement* pParent) const;
    CXmlElement* NewElement(const CXmlElement* pParent, const char* pLocalName, size_t nLocalName) const;
    void DeleteElement(CXmlElement* pElement) const;
    CXmlAttribute* NewAttribute(const CXmlElement* pElement, const std::string& strLocalName,
                                const std::string& strValue, const std::string& strNamespace) const;
    CXmlAttribute* NewAttribute(const CXmlElement* pElement, const char* pLocalName, size_t nLocalName,
                                const char* pValue, size_t nValue, const char* pNamespace, size_t nNamespace) const;
    void DeleteAttribute(CXmlAttribute* pAttribute) const;

    CXmlElement* m_pDocElement;
    std::vector<CXmlElement*> m_pElementStack;
    std::map<std::string, std::string> m_aliasToNamespace;
    // The reverse of m_aliasToNamespace, the first alias in key order for each namespace;
    // built when first asked for after a change, so that looking up every namespace of a
    // document with many prefixes doesn't scan all aliases each time.
    mutable std::unordered_map<std::string, std::string> m_namespaceToAlias;
    mutable bool m_bNamespaceToAliasStale = true;
    mutable std::mutex m_namespaceToAliasLock;  // readers of a loaded document may be several
    unsigned char* m_pBuffer;
    uint32_t m_dwBufferLen;
    SchemaType m_eSchemaType;
    ElementEndCallback m_pfnElementEnd;
    const CSerializationContext* m_pContext;
    IXmlContentSink* m_pSink;  // the tree builder of m_pState, unless a caller builds something else
    mutable std::set<std::string> m_namespaces;  // interned namespace URIs of the elements
    mutable const std::string* m_pLastNamespace = nullptr;  // the common case: same as before
    std::unique_ptr<CState> m_pState;
    // The overlapped route's read in flight, its file and the offset of its next chunk.
    std::unique_ptr<Platform::BackgroundFileIo> m_pOverlapped;
    uint64_t m_qwFilePos = 0;
    Platform::FileHandle m_hFile = Platform::kInvalidFile;
};

} // namespace KrXmlLib16

#endif
