// Reads a Fast Infoset document (ITU-T X.891 binary XML) and reports its content to an
// IXmlContentSink, as CExpatReader does for XML text: the document tree, or any other
// receiver, can't tell which of the two it was fed by.
//
// What is read: the identification, behind one of the nine XML declarations of FInfoDecl or
// none; the optional parts of the header, which are read past; elements, attributes,
// namespace attributes on any element (reported as declarations), character chunks in UTF-8,
// UTF-16, the two built-in restricted alphabets and the ten built-in encoding algorithms.
// Comments, processing instructions, a document type declaration and unexpanded entity
// references are read past and dropped. Tables of an initial vocabulary are read past too,
// and none of their entries is used: a document that refers to them fails on the index.
//
// Failures are CKrException with a message alone, all of them "Failed to parse FastInfoset."
// and a reason, except for the texts of a typed value that doesn't decode, which are those of
// CFastInfosetBinaryData. An index that lies outside its table fails with
// "Failed to parse FastInfoset. Invalid index [i] into the TABLE table (size n).", TABLE
// being one of: element names, attribute names, attribute values, character chunks, prefix
// names, namespace names, local names, restricted alphabets, other NCNames, other URIs,
// other strings.
//
// The reader keeps no state of its own per open element, so that the depth of a document
// costs it nothing; the receiver keeps what it needs.
//
// Ownership: the context and the sink are borrowed for one Parse; the bytes too, and texts
// that need no conversion go to the sink straight out of them. The reader owns its
// vocabulary.
#ifndef KRXMLLIB_FASTINFOSETREADER_H
#define KRXMLLIB_FASTINFOSETREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fastinfosetvocabulary.h"
#include "memoryleakhelp.h"
#include "xmlenums.h"

namespace KrXmlLib16 {

class CFastInfosetContext;
class IXmlContentSink;

class CFastInfosetReader : public CInstanceMonitor
{
public:
    // The options are those of the XML text reader, with the same effect: with
    // SchemaType_NoNamespaces names are reported whole ("p:a") without a namespace, and
    // namespace attributes as the attributes "xmlns" and "xmlns:p"; with bStripCDATA false a
    // chunk in the cdata algorithm is reported as a CDATA section.
    CFastInfosetReader(const CFastInfosetContext& ctx, IXmlContentSink& sink,
                       SchemaType eSchemaType = SchemaType_Default, bool bStripCDATA = true);
    virtual ~CFastInfosetReader();
    CFastInfosetReader(const CFastInfosetReader&) = delete;
    CFastInfosetReader& operator=(const CFastInfosetReader&) = delete;

    // True if the bytes open as a Fast Infoset document: E0 00 00 01 and at least one more
    // byte, directly or behind one of the nine declarations. pnSkip, if given, receives the
    // length of what comes before the document's header byte. Four bytes alone are no
    // document.
    static bool IsFastInfoset(const unsigned char* pData, size_t nLen, size_t* pnSkip = nullptr);

    // False, with nothing reported, if the bytes aren't Fast Infoset; else the document is
    // read up to the end of its root element, and true comes back, also for a document
    // without an element. Raises on a broken document, with what was reported so far left
    // in the receiver.
    bool Parse(const unsigned char* pData, uint32_t dwLen);

private:
    // A text for the sink: bytes of the input, of the tables or of a scratch string.
    struct CText
    {
        const char* p;
        size_t n;
    };
    // A qualified name being read: its parts, and their indices for the name table.
    struct CQName
    {
        const std::string* pPrefix;
        const std::string* pNamespace;
        const std::string* pLocal;
    };
    // Without namespace processing: the name as it would stand in XML text, into m_strQName.
    const std::string& WholeName(const CQName& name);
    // Raises unless the name can stand in XML text as a prefix or local name.
    void CheckName(const std::string& strName) const;
    // The tables X.891 keeps that nothing here reads: only their sizes matter, for the check
    // of an index into them.
    enum OtherTable
    {
        Other_NCNames,
        Other_URIs,
        Other_Strings,
        kOtherTables
    };

    // ---- bytes ----
    // Moves on by n bytes and returns where they start; raises at the end of the input.
    const unsigned char* Advance(uint64_t n);
    unsigned char ReadByte() { return *Advance(1); }

    // ---- the forms of X.891 ----
    uint32_t ReadSequenceLength();
    uint64_t ReadOctetStringLengthBit2(unsigned char by);
    uint64_t ReadOctetStringLengthBit5(unsigned char by);
    uint64_t ReadOctetStringLengthBit7(unsigned char by);
    uint32_t ReadIntegerBit2(unsigned char by, const char* lpMessage);
    uint32_t ReadIntegerBit2(unsigned char by);
    uint32_t ReadIntegerBit3(unsigned char by);
    uint32_t ReadIntegerBit4(unsigned char by);
    // 0 for the empty string, else an index.
    uint32_t ReadIntegerOrZeroBit2(unsigned char by);
    CText ReadUtf8String(uint64_t qwLen, std::string& strScratch);
    CText ReadUtf16String(uint64_t qwLen, std::string& strScratch);
    // The encoded character string whose form lies in the bits 0x30 (Bit3) or 0x0C (Bit5) of
    // by, decoded to local text; with bDecode false only read past.
    CText ReadEncodedCharacterStringBit3(unsigned char by, std::string& strScratch, bool bDecode = true);
    CText ReadEncodedCharacterStringBit5(unsigned char by, std::string& strScratch, bool bDecode = true);
    CText ReadEncodedCharacterString(unsigned uForm, uint32_t dwIndex, uint64_t qwLen, std::string& strScratch,
                                     bool bDecode);
    CText ReadRestrictedAlphabetString(uint64_t qwLen, uint32_t dwIndex, std::string& strScratch);
    CText ReadEncodingAlgorithmString(uint64_t qwLen, uint32_t dwIndex, std::string& strScratch);
    // An identifying string or index, from a new byte, in a table of the vocabulary; the
    // text, and its index in dwIndex (0 if a full table took no literal).
    const std::string& ReadIdentifyingStringOrIndex(CFIVocabulary::CFIStringTable& table, const char* lpTable,
                                                    std::string& strScratch, uint32_t& dwIndex);
    // The same in one of the tables only counted.
    void SkipIdentifyingStringOrIndex(OtherTable eTable);
    // A value: literal, entered into the table if its add bit says so, or an index.
    CText ReadNonIdentifyingStringOrIndexBit1(CFIVocabulary::CFIStringTable& table, const char* lpTable,
                                              std::string& strScratch);
    CText ReadNonIdentifyingStringOrIndexBit3(unsigned char by, CFIVocabulary::CFIStringTable& table,
                                              const char* lpTable, std::string& strScratch);
    void SkipNonIdentifyingStringOrIndexBit1();
    CQName ReadQNameBit2(unsigned char by);
    CQName ReadQNameBit3(unsigned char by);
    CQName ReadLiteralQName(unsigned char by, CFIVocabulary::CFIQNameTable& table);
    CQName QNameAt(const CFIVocabulary::CFIQNameTable& table, const char* lpTable, uint32_t dwIndex) const;
    void SkipOctetStringBit2();

    // ---- the structure ----
    void ReadDocumentHeader();
    void SkipInitialVocabulary();
    void ReadChildren();
    // The element whose first octet is by: its namespace attributes, name and attributes are
    // reported; true if its attribute list ended it as well.
    bool ReadElement(unsigned char by);
    // The root and everything in it, by a loop that counts the open elements.
    void ReadRootElement(unsigned char by);
    void ReadNamespaceAttribute(unsigned char by);
    void ReadAttribute(unsigned char by);
    void ReadCharacterChunk(unsigned char by);
    void SkipProcessingInstruction();
    void SkipComment();
    void SkipUnexpandedEntityReference(unsigned char by);
    // True if the declaration's terminator ended the document's children as well.
    bool SkipDocumentTypeDeclaration(unsigned char by);

    void CheckIndex(uint32_t dwIndex, size_t nSize, const char* lpTable) const;
    void AddToOtherTable(OtherTable eTable, uint64_t qwCount = 1);

    const CFastInfosetContext* m_pFIContext;
    IXmlContentSink& m_sink;
    const unsigned char* m_pCurrent;
    const unsigned char* m_pLast;
    const unsigned char* m_pEnd;
    std::unique_ptr<CFIVocabulary> m_pVocabulary;
    bool m_bNamespaces;  // else names are reported whole, declarations as attributes
    bool m_bStripCDATA;
    bool m_bConvert;     // local text isn't UTF-8: strings are converted
    bool m_bLastCData;   // the string decoded last was in the cdata algorithm
    uint32_t m_otherTableSizes[kOtherTables];
    // Scratch space, reused for every string: names and their parts, values, chunks.
    std::string m_strPrefix, m_strNamespace, m_strLocalName, m_strValue, m_strChunk, m_strSkipped, m_strQName;
    // Without namespace processing, the namespace attributes of the element being read, which
    // are reported after its start; entries beyond the count are kept for reuse.
    std::vector<std::pair<std::string, std::string>> m_declarations;
    size_t m_nDeclarations;
    std::vector<uint16_t> m_wide;
};

} // namespace KrXmlLib16

#endif
