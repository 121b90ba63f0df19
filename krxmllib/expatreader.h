// Feeds a CXmlDocument from Expat, converting every string to the local code page.
#ifndef KRXMLLIB_EXPATREADER_H
#define KRXMLLIB_EXPATREADER_H

#include <cstdint>
#include <exception>
#include <string>

#include "memoryleakhelp.h"
#include "xmlenums.h"

struct XML_ParserStruct;

namespace KrXmlLib16 {

class IXmlContentSink;

// Knows only its receiver and the two options that change what Expat reports: with
// SchemaType_NoNamespaces names stay whole ("p:a"), and xmlns attributes are ordinary
// attributes; with bStripCDATA false the bounds of CDATA sections are reported. An element
// nested deeper than CKrLimits::GetMaxDepth() is refused before the receiver hears of it.
class CExpatReader : public CInstanceMonitor
{
public:
    CExpatReader(IXmlContentSink& sink, SchemaType eSchemaType, bool bStripCDATA);
    virtual ~CExpatReader();
    CExpatReader(const CExpatReader&) = delete;
    CExpatReader& operator=(const CExpatReader&) = delete;

    // Allocates the scratch space, creates the parser and sets the handlers.
    void Init();
    // Parses the given bytes as one piece of the input; bIsFinal marks the last one. A
    // failure of the receiver is raised again as it was; a parse error as CKrException.
    void Parse(const unsigned char* pData, uint32_t dwLen, bool bIsFinal);
    // Expat copies each piece it is given into a buffer of its own. A receiver that drops
    // elements as they close wants flat memory, so it asks for slices of this size; one piece
    // parses faster. 0 (the default) gives the whole piece at once.
    void SetSliceLength(uint32_t dwSliceLen) { m_dwSliceLen = dwSliceLen; }

private:
    static void StartElement(void* pUserData, const char* lpName, const char** ppAttributes);
    static void EndElement(void* pUserData, const char* lpName);
    static void StartNamespace(void* pUserData, const char* lpPrefix, const char* lpUri);
    static void EndNamespace(void* pUserData, const char* lpPrefix);
    static void CharacterData(void* pUserData, const char* lpText, int iLen);
    static void StartCdata(void* pUserData);
    static void EndCdata(void* pUserData);

    // The text in the local code page: the bytes themselves when no conversion is needed,
    // else a conversion into strScratch.
    const char* ToLocal(const char* lpText, size_t nLen, std::string& strScratch, size_t& nOutLen);
    struct Span
    {
        const char* p;
        size_t n;
    };
    // Splits "uri|local" and brings both parts to the local code page; the spans point into
    // the input or into m_strNamespace / m_strLocal.
    void SplitName(const char* lpName, Span& ns, Span& local);
    void Free();
    template <typename Fn>
    static void Guard(void* pUserData, Fn fn);

    IXmlContentSink& m_sink;
    unsigned char* m_pConvBuffer;
    uint32_t m_dwConvBufferLen;
    XML_ParserStruct* m_parser;
    std::exception_ptr m_pFailure;  // raised in a handler, raised again when the parser returns
    uint32_t m_dwSliceLen;
    uint32_t m_nDepth;    // elements open now
    bool m_bConvert;      // the local code page isn't UTF-8 and ASCIIOnly is off
    bool m_bNamespaces;   // names arrive as "uri|local"
    bool m_bStripCDATA;
    // Reused for every callback, so that names and values need no allocation once warm.
    std::string m_strNamespace, m_strLocal, m_strValue, m_strText;
};

} // namespace KrXmlLib16

#endif
