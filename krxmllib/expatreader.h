// Feeds a CXmlDocument from Expat, converting every string to the local code page.
#ifndef KRXMLLIB_EXPATREADER_H
#define KRXMLLIB_EXPATREADER_H

#include <cstdint>
#include <exception>
#include <string>

#include "memoryleakhelp.h"

struct XML_ParserStruct;

namespace KrXmlLib16 {

class CXmlDocument;
class IXmlContentSink;

class CExpatReader : public CInstanceMonitor
{
public:
    explicit CExpatReader(CXmlDocument& doc);
    virtual ~CExpatReader();
    CExpatReader(const CExpatReader&) = delete;
    CExpatReader& operator=(const CExpatReader&) = delete;

    // Allocates the scratch space, creates the parser and sets the handlers.
    void Init();
    // Parses the document's buffer as one piece of the input; bIsFinal marks the last one.
    void Parse(bool bIsFinal);
    // Parses the given bytes as one piece of the input.
    void Parse(const unsigned char* pData, uint32_t dwLen, bool bIsFinal);

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

    CXmlDocument& m_doc;
    unsigned char* m_pConvBuffer;
    uint32_t m_dwConvBufferLen;
    XML_ParserStruct* m_parser;
    std::exception_ptr m_pFailure;  // raised in a handler, raised again when the parser returns
    bool m_bConvert;      // the local code page isn't UTF-8 and ASCIIOnly is off
    bool m_bNamespaces;   // names arrive as "uri|local"
    // Reused for every callback, so that names and values need no allocation once warm.
    std::string m_strNamespace, m_strLocal, m_strValue, m_strText;
};

} // namespace KrXmlLib16

#endif
