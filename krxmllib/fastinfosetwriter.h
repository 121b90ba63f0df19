// Writes the engine's calls as a Fast Infoset document (ITU-T X.891 binary XML) on a
// CBinaryStream. Names and short values are written once and referred to by index after
// that; values can take a typed binary form, as the CFastInfosetContext says per kind.
//
// What is written: the identification, optionally an XML declaration in front and a reference
// to a generated vocabulary; elements, attributes and character chunks. Comments, processing
// instructions and in-line schemas are dropped. The root declares the default namespace and
// the aliases given before it; a prefix the writer has to make up for an element or attribute
// is declared on that element, and an element whose namespace differs from the default one in
// force declares its default namespace, so that every prefix of the document is bound where
// it is used.
//
// Ownership: the stream and the context are borrowed for the writer's life; the writer owns
// its vocabulary. Bytes reach the stream in blocks, and all of them by WriteFooter or
// EndDocument.
#ifndef KRXMLLIB_FASTINFOSETWRITER_H
#define KRXMLLIB_FASTINFOSETWRITER_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "binarydata.h"
#include "fastinfosetcontext.h"
#include "fastinfosetvocabulary.h"
#include "krxmlexport.h"
#include "xmlenums.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

class CBinaryStream;

class KRXML_API CFastInfosetWriter : public CXmlWriter
{
public:
    // The URI that names a generated vocabulary when the context gives none.
    static const char* const kGeneratedVocabularyURI;

    CFastInfosetWriter(CFastInfosetContext& ctx, CBinaryStream* pStream);
    virtual ~CFastInfosetWriter();

    // Before the root: the declaration eDecl names (none for FInfoDecl_None), the
    // identification and the document's optional parts.
    void WriteHeader(FInfoDecl eDecl);
    // After the root: the end of the document.
    void WriteFooter();

    // Raises if an element is still open; all bytes are in the stream afterwards.
    void EndDocument() override;
    void WriteComment(const std::string& strText) override;
    void WriteProcessingInstruction(const std::string& strText) override;
    void WriteInLineSchema(const std::string& strText) override;
    void StartElement(const std::string& strName, const std::string& strNamespace) override;
    // Text flagged as a default value is written like any other.
    void WriteElementText(const std::string& strText, ItemType eType, bool bIsDefault) override;
    void EndElement() override;
    void WriteAttribute(const std::string& strName, const std::string& strNamespace, const std::string& strValue,
                        ItemType eType) override;
    void WriteTypeAttribute(const std::string& strNamespace, const std::string& strTypeName, ItemType eType) override;
    void WriteNilAttribute() override;

private:
    // Bytes that grow at the end and keep their memory when cleared: the output on its way to
    // the stream, and attribute values set aside.
    class CByteBuffer
    {
    public:
        void Put(unsigned char b)
        {
            if (m_nSize == m_nCapacity)
                Grow(1);
            m_pData[m_nSize++] = b;
        }
        void Put(const unsigned char* p, size_t n)
        {
            if (n == 0)
                return;
            if (m_nCapacity - m_nSize < n)
                Grow(n);
            std::memcpy(m_pData.get() + m_nSize, p, n);
            m_nSize += n;
        }
        const unsigned char* Data() const { return m_pData.get(); }
        size_t Size() const { return m_nSize; }
        // Drops bytes from the end.
        void Truncate(size_t nSize) { m_nSize = nSize < m_nSize ? nSize : m_nSize; }
        void Reserve(size_t nCapacity)
        {
            if (nCapacity > m_nCapacity)
                Grow(nCapacity - m_nSize);
        }

    private:
        void Grow(size_t nMore);

        std::unique_ptr<unsigned char[]> m_pData;
        size_t m_nSize = 0;
        size_t m_nCapacity = 0;
    };

    // An attribute of the element not written yet: its name is written with the element, its
    // value is encoded at once (so that a failing value fails at its own call) and kept. Name,
    // namespace and prefix lie back to back in m_attributeNames, so that an element with very
    // many attributes costs no allocation for each.
    struct PendingAttribute
    {
        size_t nNamesStart;
        size_t nName;
        size_t nNamespace;
        size_t nPrefix;
        size_t nValueStart;
        size_t nValueEnd;
    };
    // A namespace attribute the element not written yet must carry.
    struct Declaration
    {
        std::string strPrefix;
        std::string strNamespace;
    };
    // A name looked up before, with its index: a document repeats few names many times, and a
    // hit costs three short comparisons instead of a key to build and hash.
    struct QNameCacheEntry
    {
        std::string strLocal;
        std::string strNamespace;
        std::string strPrefix;
        uint32_t dwIndex = 0;  // 0: empty
    };
    // Two ways to a set, so that two names of one set don't evict each other in turn.
    static constexpr size_t kQNameCacheSets = 64;
    static QNameCacheEntry* CacheSet(QNameCacheEntry* pCache, const std::string& strPrefix,
                                     const std::string& strNamespace, const std::string& strLocal);
    enum DefaultDeclaration
    {
        Default_Inherited,  // the default namespace in force is the element's
        Default_Undeclare,  // the element has no namespace: xmlns=""
        Default_Declare     // the element's namespace becomes the default one
    };

    // ---- bytes ----
    void Put(unsigned char b) { m_pSink->Put(b); }
    void PutBytes(const unsigned char* p, size_t n) { m_pSink->Put(p, n); }
    void PutLength32(uint32_t v);
    // Hands the bytes gathered so far to the stream.
    void FlushOutput();
    void FlushOutputIfFull()
    {
        if (m_out.Size() >= kFlushSize)
            FlushOutput();
    }
    // The UTF-8 form of local text: the text's own bytes where they are that form.
    const unsigned char* Utf8Of(const std::string& strText, uint32_t& dwLen);

    // ---- the forms of X.891; byCurrent holds the bits of the octet that come before ----
    void AppendIntegerBit2(unsigned char byCurrent, uint32_t dwVal);
    void AppendIntegerOrZeroBit2(unsigned char byCurrent, uint32_t dwVal);
    void AppendIntegerBit3(unsigned char byCurrent, uint32_t dwVal);
    void AppendIntegerBit4(unsigned char byCurrent, uint32_t dwVal);
    void AppendOctetStringBit2(unsigned char byCurrent, const std::string& strVal);
    void AppendOctetStringBit5(unsigned char byCurrent, const unsigned char* pData, uint32_t dwLen);
    void AppendOctetStringBit7(unsigned char byCurrent, const unsigned char* pData, uint32_t dwLen);
    void AppendEncodedCharacterStringBit5(unsigned char byCurrent, const std::string& strVal, ItemType eType);
    void AppendEncodedCharacterStringBit7(unsigned char byCurrent, const std::string& strVal, ItemType eType);
    // Both forms: bBit7 picks the one starting on the fifth bit (chunks) over the third.
    void AppendEncodedCharacterString(bool bBit7, unsigned char byCurrent, const std::string& strVal, ItemType eType);
    // Packs the text into m_encoded.
    void AppendRestrictedAlphabetString(uint32_t dwAlphabet, const std::string& strText);
    void AppendAttributeValue(const std::string& strVal, CFIVocabulary::IndexMap& map, uint32_t dwMaxAddLength,
                              ItemType eType);
    void AppendCharacterChunk(unsigned char byCurrent, const std::string& strVal, CFIVocabulary::IndexMap& map,
                              uint32_t dwMaxAddLength, ItemType eType);
    void AppendQNameBit2(unsigned char byCurrent, const std::string& strPrefix, const std::string& strNamespace,
                         const std::string& strLocal, CFIVocabulary::IndexMap& map);
    void AppendQNameBit3(unsigned char byCurrent, const std::string& strPrefix, const std::string& strNamespace,
                         const std::string& strLocal, CFIVocabulary::IndexMap& map);
    void AppendQName(bool bElement, unsigned char byCurrent, const std::string& strPrefix,
                     const std::string& strNamespace, const std::string& strLocal, CFIVocabulary::IndexMap& map);
    // A prefix, namespace or local name by index, or literal and entered; false if its table
    // was full, so that it has no index.
    bool AppendIdentifyingString(const std::string& strVal, CFIVocabulary::IndexMap& map,
                                 void (CFIVocabulary::*add)(std::string));
    bool AppendPrefix(const std::string& strPrefix);
    bool AppendNamespace(const std::string& strNamespace);

    // ---- elements ----
    // Decides the pending element's prefix, and what it has to declare, once.
    void ResolvePendingName();
    // The alias of a namespace in the pending element's scope, made up and declared on that
    // element if it has none.
    const std::string& PrefixInPendingScope(const std::string& strNamespace);
    // Writes the pending element, its namespace attributes and its attributes; it becomes
    // the current element.
    void WriteStartTag();
    // The first content of the current element ends its attribute list.
    void CloseAttributes();
    // The pending element, after the check that attributes are still allowed.
    CXmlWriterContext* ElementTakingAttributes();
    // The default namespace that the document has declared for the element at nDepth.
    const std::string& DeclaredDefaultAt(int nDepth) const;

    static constexpr size_t kFlushSize = 64 * 1024;

    CBinaryStream* m_pStream;
    CFastInfosetContext* m_pFIContext;
    CXmlWriterContext* m_pPendingContext;
    bool m_bTerminatorPending;
    std::unique_ptr<CFIVocabulary> m_pVocabulary;
    bool m_bGeneratedVocabulary;

    CByteBuffer m_out;      // bytes not yet in the stream
    CByteBuffer* m_pSink;   // where Put writes: m_out, or m_attributeValues
    std::string m_strKey;               // the key of the qualified name looked up last
    std::vector<unsigned char> m_encoded;  // typed bytes of the value written last
    CBinaryData m_utf8;                 // UTF-8 of text that isn't its own UTF-8 form
    QNameCacheEntry m_elementNameCache[2 * kQNameCacheSets];
    QNameCacheEntry m_attributeNameCache[2 * kQNameCacheSets];
    unsigned m_nQNameCacheTurn = 0;  // which way of a full set takes a new name

    // The pending element.
    bool m_bPendingResolved;
    DefaultDeclaration m_eDefaultDeclaration;
    std::vector<Declaration> m_declarations;  // entries beyond m_nDeclarations kept for reuse
    size_t m_nDeclarations;
    std::vector<PendingAttribute> m_attributes;  // likewise
    size_t m_nAttributes;
    std::string m_attributeNames;
    CByteBuffer m_attributeValues;
    // An attribute's name parts, taken out of m_attributeNames for writing; kept for their storage.
    std::string m_strScratchName, m_strScratchNamespace, m_strScratchPrefix;

    // The default namespace the document declares, by depth of the open elements: the depth
    // of the element that declared it, or -1 for the root's declaration; declared texts by
    // the depth of their element.
    std::vector<int> m_declaredDefaultOwner;
    std::vector<std::string> m_declaredDefaults;
};

} // namespace KrXmlLib16

#endif
