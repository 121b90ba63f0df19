// krxml: command-line conversions through the library's untyped content.
//
//   krxml convert INPUT [-o OUTPUT] [options]
//
// Exit codes: 0 success, 1 the library refused the input or the output (its message and the
// path of the item go to standard error), 2 a usage error.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "elementbuilder.h"
#include "expatreader.h"
#include "fastinfosetreader.h"
#include "krxmllib.h"
#include "objectarena.h"

using namespace KrXmlLib16;

namespace {

const char kUsage[] =
    "usage: krxml convert INPUT [-o OUTPUT] [options]\n"
    "       krxml --help\n"
    "\n"
    "Reads any well-formed XML document, Fast Infoset document or JSON text (INPUT, or - for\n"
    "standard input) into the library's untyped content and writes it again, as XML, JSON or\n"
    "Fast Infoset (to OUTPUT, or to standard output).\n"
    "\n"
    "options:\n"
    "  -o, --output FILE       write to FILE instead of standard output\n"
    "  --from json|xml|fi      input format; by default Fast Infoset if the input opens with\n"
    "                          its header (E0 00 00 01, alone or behind an XML declaration of\n"
    "                          the encoding 'finf'), JSON if the first byte that isn't blank is\n"
    "                          '{' or '[' (behind a UTF-8 byte order mark), else XML\n"
    "  --root-name NAME        JSON input: wrap what is read in an element NAME, for JSON\n"
    "                          that isn't an object with one member (the root element)\n"
    "  --to xml|json|fi        output format: XML text (default), JSON, or Fast Infoset, the\n"
    "                          binary XML of ITU-T X.891\n"
    "  --json-mode MODE        how much of the XML shape JSON output keeps (default: full):\n"
    "                            none        element and attribute names alone; attributes\n"
    "                                        and children are members alike, text beside\n"
    "                                        members is named \"\"; no namespaces\n"
    "                            attributes  attributes as \"@name\" members, text beside\n"
    "                                        members as \"#text\"; local names, no namespaces\n"
    "                            full        as attributes, and prefixed names with their\n"
    "                                        \"@xmlns\" declarations on the root\n"
    "  --encoding ENC          utf-8 (default), utf-16, or utf-16-nodecl (UTF-16 without an\n"
    "                          encoding in the declaration); UTF-16 starts with a byte order mark\n"
    "  --no-format             no line breaks or indent between elements\n"
    "  --indent TEXT           one level of indent, blanks and tabs only (default: a tab)\n"
    "  --eol lf|crlf           line end of the output (default: lf)\n"
    "  --no-declaration        leave out the XML declaration (JSON has none)\n"
    "  --gzip                  compress the output as a gzip file\n"
    "  --zlib                  compress the output as a zlib stream; standard output only\n"
    "  --keep-whitespace       keep whitespace-only text of elements that have child elements\n"
    "                          (by default it is taken for indentation and dropped)\n"
    "  --max-depth N           refuse input whose elements nest deeper than N levels (default:\n"
    "                          10000; 0: no limit). Formatted output of deep input is large:\n"
    "                          its indent grows with the depth\n"
    "\n"
    "The output keeps elements, attributes, namespaces and the text of each element. It drops\n"
    "comments, processing instructions and the document type, writes CDATA sections as plain\n"
    "text, and writes all text of an element after its child elements. Prefixes declared in the\n"
    "input are reused where each stands for one namespace.\n"
    "\n"
    "JSON output is one object with the root element as its member. An element with only\n"
    "text is a member with that text as a string; one with attributes or children is an\n"
    "object; consecutive elements of one name are an array; an empty element is \"\".\n"
    "\n"
    "Input compressed with gzip or zlib is decompressed first, whatever its format, and\n"
    "content larger than 1 GB or than 1000 times the compressed size is refused. Compressed\n"
    "output must be smaller than the uncompressed output (a very short document is refused);\n"
    "UTF-16 output keeps its byte order mark inside the compressed stream.\n"
    "\n"
    "JSON input is UTF-8 and maps to XML as the library writes it: each member is an element,\n"
    "\"@name\" members are attributes (\"@xmlns\", \"@xmlns:p\" declare namespaces), \"#text\" is\n"
    "the text of its element, an array repeats its member's element, and null, {} and [] hold\n"
    "nothing. Comments (/* */ and //) are skipped.\n"
    "\n"
    "exit codes: 0 success, 1 the input or output was refused (message on standard error),\n"
    "            2 usage error\n";

enum class OutputFormat
{
    Xml,
    Json,
    FastInfoset
};

enum class InputFormat
{
    Detect,
    Xml,
    Json,
    FastInfoset
};

struct Options
{
    std::string strInput;
    InputFormat eFrom = InputFormat::Detect;
    std::string strRootName;  // JSON input only
    std::string strOutput;  // empty: standard output
    OutputFormat eTo = OutputFormat::Xml;
    JsonRoundTrip eJsonMode = RoundTripFull;
    XmlEncoding eEncoding = XmlEncoding_UTF8;
    bool bFormatted = true;
    std::string strIndent = "\t";
    EOLType eEol = EOLType_LF;
    bool bDeclaration = true;
    bool bKeepWhitespace = false;
    CompressionType eCompression = CompressionType_None;
    uint32_t dwMaxDepth = CKrLimits::kDefaultMaxDepth;
};

struct UsageError
{
    std::string strMessage;
};

Options ParseArguments(int argc, char** argv)
{
    if (argc < 2)
        throw UsageError{"no command given"};
    if (std::strcmp(argv[1], "convert") != 0)
        throw UsageError{std::string("unknown command '") + argv[1] + "'"};
    Options opt;
    bool bHaveInput = false;
    for (int i = 2; i < argc; ++i)
    {
        std::string strArg = argv[i];
        auto value = [&](const char* lpWhat) -> std::string {
            if (i + 1 >= argc)
                throw UsageError{strArg + " needs " + lpWhat};
            return argv[++i];
        };
        if (strArg == "-o" || strArg == "--output")
            opt.strOutput = value("a file name");
        else if (strArg == "--from")
        {
            std::string strFormat = value("a format");
            if (strFormat == "json")
                opt.eFrom = InputFormat::Json;
            else if (strFormat == "xml")
                opt.eFrom = InputFormat::Xml;
            else if (strFormat == "fi")
                opt.eFrom = InputFormat::FastInfoset;
            else
                throw UsageError{"unknown input format '" + strFormat + "' (json, xml or fi)"};
        }
        else if (strArg == "--root-name")
        {
            opt.strRootName = value("an element name");
            if (opt.strRootName.empty())
                throw UsageError{"--root-name needs an element name"};
        }
        else if (strArg == "--to")
        {
            std::string strFormat = value("a format");
            if (strFormat == "xml")
                opt.eTo = OutputFormat::Xml;
            else if (strFormat == "json")
                opt.eTo = OutputFormat::Json;
            else if (strFormat == "fi")
                opt.eTo = OutputFormat::FastInfoset;
            else
                throw UsageError{"unknown output format '" + strFormat + "' (xml, json or fi)"};
        }
        else if (strArg == "--json-mode")
        {
            std::string strMode = value("a mode");
            if (strMode == "none")
                opt.eJsonMode = RoundTripNone;
            else if (strMode == "attributes")
                opt.eJsonMode = RoundTripAttributes;
            else if (strMode == "full")
                opt.eJsonMode = RoundTripFull;
            else
                throw UsageError{"unknown JSON mode '" + strMode + "' (none, attributes or full)"};
        }
        else if (strArg == "--encoding")
        {
            std::string strEnc = value("an encoding");
            if (strEnc == "utf-8")
                opt.eEncoding = XmlEncoding_UTF8;
            else if (strEnc == "utf-16")
                opt.eEncoding = XmlEncoding_UTF16;
            else if (strEnc == "utf-16-nodecl")
                opt.eEncoding = XmlEncoding_UTF16NoDecl;
            else
                throw UsageError{"unknown encoding '" + strEnc + "' (utf-8, utf-16 or utf-16-nodecl)"};
        }
        else if (strArg == "--no-format")
            opt.bFormatted = false;
        else if (strArg == "--indent")
            opt.strIndent = value("a text");
        else if (strArg == "--eol")
        {
            std::string strEol = value("lf or crlf");
            if (strEol == "lf")
                opt.eEol = EOLType_LF;
            else if (strEol == "crlf")
                opt.eEol = EOLType_CRLF;
            else
                throw UsageError{"unknown line end '" + strEol + "' (lf or crlf)"};
        }
        else if (strArg == "--no-declaration")
            opt.bDeclaration = false;
        else if (strArg == "--keep-whitespace")
            opt.bKeepWhitespace = true;
        else if (strArg == "--max-depth")
        {
            std::string strDepth = value("a number of levels");
            char* pEnd = nullptr;
            errno = 0;
            unsigned long long ull = std::strtoull(strDepth.c_str(), &pEnd, 10);
            if (strDepth.empty() || !std::isdigit(static_cast<unsigned char>(strDepth[0])) || *pEnd || errno ||
                ull > 0xFFFFFFFFull)
                throw UsageError{"--max-depth takes a number of levels from 0 to 4294967295, not '" + strDepth + "'"};
            opt.dwMaxDepth = static_cast<uint32_t>(ull);
        }
        else if (strArg == "--gzip" || strArg == "--zlib")
        {
            CompressionType e = strArg == "--gzip" ? CompressionType_GZip : CompressionType_ZLib;
            if (opt.eCompression != CompressionType_None && opt.eCompression != e)
                throw UsageError{"--gzip and --zlib exclude each other"};
            opt.eCompression = e;
        }
        else if (strArg.size() > 1 && strArg[0] == '-')
            throw UsageError{"unknown option '" + strArg + "'"};
        else if (bHaveInput)
            throw UsageError{"more than one input given"};
        else
        {
            opt.strInput = strArg;
            bHaveInput = true;
        }
    }
    if (!bHaveInput)
        throw UsageError{"no input given"};
    return opt;
}

// What the input declares and uses of namespaces, gathered on the way from the parser to the
// untyped tree, for the prefixes of the output.
class CInputSink final : public IXmlContentSink
{
public:
    explicit CInputSink(CElementBuilder& builder) : m_builder(builder) {}

    void OnNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace) override
    {
        m_aliasToNamespace[strAlias] = strNamespace;  // a later declaration wins, as in a document
        m_builder.OnNamespaceDeclaration(strAlias, strNamespace);
    }
    void OnStartElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName) override
    {
        if (nNamespace == 0)
            m_bElementWithoutNamespace = true;
        m_open.push_back(Frame{Use(pNamespace, nNamespace), m_openAttributes.size()});
        m_builder.OnStartElement(pNamespace, nNamespace, pName, nName);
    }
    void OnAttribute(const char* pName, size_t nName, const char* pValue, size_t nValue, const char* pNamespace,
                     size_t nNamespace) override
    {
        if (nNamespace)
            m_openAttributes.push_back(Use(pNamespace, nNamespace));
        m_builder.OnAttribute(pName, nName, pValue, nValue, pNamespace, nNamespace);
    }
    void OnText(const char* pText, uint32_t dwLen) override { m_builder.OnText(pText, dwLen); }
    void OnEndElement() override
    {
        // Stamped in post-order, attributes last to first and then the element: the reverse
        // of the order in which a walk of the tree from its root, last child first, meets them.
        const Frame& frame = m_open.back();
        while (m_openAttributes.size() > frame.nFirstAttribute)
        {
            m_openAttributes.back()->second = ++m_qwStamp;
            m_openAttributes.pop_back();
        }
        if (frame.pNamespace)
            frame.pNamespace->second = ++m_qwStamp;
        m_open.pop_back();
        m_builder.OnEndElement();
    }
    void OnStartCData() override { m_builder.OnStartCData(); }
    void OnEndCData() override { m_builder.OnEndCData(); }

    // The URI of a prefix declared anywhere in the input, or an empty string.
    std::string NamespaceOf(const std::string& strAlias) const
    {
        auto it = m_aliasToNamespace.find(strAlias);
        return it == m_aliasToNamespace.end() ? std::string() : it->second;
    }
    // The first prefix in key order bound to the URI, or an empty string.
    template <typename Fn>
    void ForEachAlias(Fn fn) const
    {
        for (const auto& entry : m_aliasToNamespace)
            fn(entry.first, entry.second);
    }
    bool Uses(const std::string& strNamespace) const { return m_namespaces.count(strNamespace) != 0; }
    // The namespaces of the elements and attributes, in key order.
    std::vector<std::string> Namespaces() const
    {
        std::vector<std::string> result;
        for (const auto& entry : m_namespaces)
            result.push_back(entry.first);
        return result;
    }
    // The same in the order in which a walk of the tree from the root, last child first, meets
    // them: the order of the prefixes that JSON output makes up.
    std::vector<std::string> NamespacesInWalkOrder() const
    {
        std::vector<const Entry*> entries;
        for (const auto& entry : m_namespaces)
            entries.push_back(&entry);
        std::sort(entries.begin(), entries.end(), [](const Entry* a, const Entry* b) { return a->second > b->second; });
        std::vector<std::string> result;
        for (const Entry* p : entries)
            result.push_back(p->first);
        return result;
    }
    bool ElementWithoutNamespace() const { return m_bElementWithoutNamespace; }

private:
    typedef std::map<std::string, uint64_t>::value_type Entry;  // a namespace and its latest stamp
    struct Frame
    {
        Entry* pNamespace;  // null: no namespace
        size_t nFirstAttribute;
    };

    Entry* Use(const char* pNamespace, size_t nNamespace)
    {
        if (nNamespace == 0)
            return nullptr;
        // Most elements share the namespace of the one before: one comparison, no lookup.
        if (m_pLast && m_pLast->first.size() == nNamespace &&
            std::memcmp(m_pLast->first.data(), pNamespace, nNamespace) == 0)
            return m_pLast;
        m_pLast = &*m_namespaces.emplace(std::string(pNamespace, nNamespace), 0).first;
        return m_pLast;
    }

    CElementBuilder& m_builder;
    std::map<std::string, std::string> m_aliasToNamespace;
    std::map<std::string, uint64_t> m_namespaces;
    Entry* m_pLast = nullptr;
    std::vector<Frame> m_open;
    std::vector<Entry*> m_openAttributes;  // namespaces of the open elements' attributes
    uint64_t m_qwStamp = 0;
    bool m_bElementWithoutNamespace = false;
};

// Prefixes of the input, where each stands for one namespace, go to the root of the output,
// and the default namespace too unless an element has no namespace (which a default namespace
// would capture on reading).
void TakeNamespacesOfTheInput(const CInputSink& input, CSerializationContext& ctx)
{
    // The first alias (in alias order) of each namespace, found in one pass.
    std::map<std::string, std::string> firstAliasOf;
    input.ForEachAlias([&](const std::string& strAlias, const std::string& strNs) { firstAliasOf.emplace(strNs, strAlias); });
    std::set<std::string> aliasesTaken;
    for (const std::string& strNs : input.Namespaces())
    {
        auto it = firstAliasOf.find(strNs);
        const std::string strAlias = it == firstAliasOf.end() ? std::string() : it->second;
        if (strAlias.empty() || strAlias == "xml" || !aliasesTaken.insert(strAlias).second)
            continue;
        if (input.NamespaceOf(strAlias) == strNs)
            ctx.GetNamespaceAliases().Add(strAlias.c_str(), strNs.c_str());
    }
    std::string strDefault = input.NamespaceOf("");
    if (!strDefault.empty() && !input.ElementWithoutNamespace() && input.Uses(strDefault))
        ctx.SetDefaultNamespaceURI(strDefault.c_str());
}

// JSON declares prefixes on the root element only and makes up none below it: every namespace
// of the document that has neither a prefix nor the default gets one there.
void AliasEveryNamespace(const CInputSink& input, CSerializationContext& ctx)
{
    CNamespaceAliasMap& aliases = ctx.GetNamespaceAliases();
    std::set<std::string> aliasesTaken;
    for (int i = 0; i < aliases.GetNamespaceCount(); ++i)
        aliasesTaken.insert(aliases.GetAliasFromNamespace(aliases.GetNamespaceAt(i).c_str()));
    unsigned nNext = 0;
    for (const std::string& strNs : input.NamespacesInWalkOrder())
    {
        if (strNs.empty() || strNs == ctx.GetDefaultNamespaceURI() || aliases.DoesNamespaceExist(strNs.c_str()) ||
            strNs == "http://www.w3.org/XML/1998/namespace")
            continue;
        // Taken aliases only grow, so the search goes on from where the last one ended.
        std::string strAlias;
        for (;; ++nNext)
        {
            strAlias = FormatString("ns%u", nNext);
            if (aliasesTaken.insert(strAlias).second)
                break;
        }
        aliases.Add(strAlias.c_str(), strNs.c_str());
    }
}

// JSON starts with an object or an array; XML with '<', a declaration or a byte order mark of
// its own. Blanks and a UTF-8 byte order mark in front are passed over.
bool LooksLikeJson(const unsigned char* p, size_t n)
{
    size_t i = n >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF ? 3 : 0;
    while (i < n && (p[i] == ' ' || p[i] == '\t' || p[i] == '\r' || p[i] == '\n'))
        ++i;
    return i < n && (p[i] == '{' || p[i] == '[');
}

// The input, read to its end whatever it is: a file, a pipe, a FIFO, standard input or a file
// under /proc, whose sizes say nothing. Plain XML text goes to the parser a chunk at a time as
// it is read, so that no copy of the input is held beside the tree; other input is read whole.
class CInput
{
public:
    explicit CInput(const std::string& strInput) : m_strInput(strInput), m_bStdin(strInput == "-")
    {
        m_f = m_bStdin ? stdin : std::fopen(strInput.c_str(), "rb");
        if (!m_f)
            throw CKrException(FormatString("Failed to open the file [%s] Error [0x%08x]", strInput.c_str(),
                                            static_cast<unsigned>(errno)));
    }
    ~CInput()
    {
        if (!m_bStdin)
            std::fclose(m_f);
    }
    CInput(const CInput&) = delete;
    CInput& operator=(const CInput&) = delete;

    // Reads up to nLen bytes, fewer only at the end of the input.
    size_t Read(unsigned char* p, size_t nLen)
    {
        size_t n = std::fread(p, 1, nLen, m_f);
        if (n < nLen && std::ferror(m_f))
        {
            int iError = errno;
            throw CKrException(m_bStdin ? FormatString("Failed to read standard input Error [0x%08x]",
                                                       static_cast<unsigned>(iError))
                                        : FormatString("Failed to read the contents of the file [%s] Error [0x%08x]",
                                                       m_strInput.c_str(), static_cast<unsigned>(iError)));
        }
        return n;
    }

    // The bytes read so far (pHead, nHead) and the rest of the input; compressed input becomes
    // its content, so that the format is told from what it holds.
    CBinaryData ReadRest(const unsigned char* pHead, size_t nHead)
    {
        std::unique_ptr<unsigned char[]> spData(new unsigned char[std::max<size_t>(nHead, 0x10000)]);
        size_t nCapacity = std::max<size_t>(nHead, 0x10000);
        std::memcpy(spData.get(), pHead, nHead);
        size_t nLen = nHead;
        for (;;)
        {
            if (nLen == nCapacity)
            {
                if (nCapacity >= 0xFFFFFFFFu)
                {
                    unsigned char c;
                    if (Read(&c, 1))
                        throw CKrException("The input is larger than 4 GB");
                    break;
                }
                size_t nNew = std::min<size_t>(2 * nCapacity, 0xFFFFFFFFu);
                std::unique_ptr<unsigned char[]> spMore(new unsigned char[nNew]);
                std::memcpy(spMore.get(), spData.get(), nLen);
                spData.swap(spMore);
                nCapacity = nNew;
            }
            size_t n = Read(spData.get() + nLen, nCapacity - nLen);
            nLen += n;
            if (nLen < nCapacity)
                break;
        }
        uint32_t dwLen = static_cast<uint32_t>(nLen);
        unsigned char* p = spData.release();
        CBinaryData bytes(p, dwLen, true);  // owns the buffer from here on, whatever happens
        if (!CKrZip::IsCompressed(p, dwLen))
            return bytes;
        unsigned char* pCopy = new unsigned char[dwLen];
        std::memcpy(pCopy, p, dwLen);
        bytes.Clear();
        try
        {
            CKrZip::Decompress(&pCopy, &dwLen);
        }
        catch (...)
        {
            delete[] pCopy;
            throw;
        }
        return CBinaryData(pCopy, dwLen, true);
    }

private:
    std::string m_strInput;
    bool m_bStdin;
    std::FILE* m_f;
};

// Carries the parser's reports from the thread that reads and parses the input to the thread
// that builds the tree, a block of records at a time, so that the two run side by side.
class CEventPipe final : public IXmlContentSink
{
public:
    // ---- the parsing side ----
    void OnNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace) override
    {
        Put(kNamespace, strAlias.data(), strAlias.size(), strNamespace.data(), strNamespace.size());
    }
    void OnStartElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName) override
    {
        Put(kStart, pNamespace, nNamespace, pName, nName);
    }
    void OnAttribute(const char* pName, size_t nName, const char* pValue, size_t nValue, const char* pNamespace,
                     size_t nNamespace) override
    {
        Put(kAttribute, pName, nName, pValue, nValue, pNamespace, nNamespace);
    }
    void OnText(const char* pText, uint32_t dwLen) override { Put(kText, pText, dwLen); }
    void OnEndElement() override { Put(kEnd); }
    void OnStartCData() override { Put(kStartCData); }
    void OnEndCData() override { Put(kEndCData); }

    // The parsing side is done; pFailure is what stopped it, if anything.
    void Finish(std::exception_ptr pFailure)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_current.nSize)
            m_full.push_back(std::move(m_current));
        m_pFailure = pFailure;
        m_bDone = true;
        m_cv.notify_all();
    }

    // ---- the building side ----
    // Gives every record to the sink in order, then raises what stopped the parsing side.
    void Replay(IXmlContentSink& sink)
    {
        for (;;)
        {
            Block block;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_cv.wait(lock, [this] { return !m_full.empty() || m_bDone; });
                if (m_full.empty())
                    break;
                block = std::move(m_full.front());
                m_full.pop_front();
                m_cv.notify_all();
            }
            ReplayBlock(block, sink);
            block.nSize = 0;
            std::lock_guard<std::mutex> lock(m_mutex);
            m_free.push_back(std::move(block));
        }
        if (m_pFailure)
            std::rethrow_exception(m_pFailure);
    }
    // The building side gave up: the parsing side stops at its next hand-over.
    void Abort()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bAborted = true;
        m_cv.notify_all();
    }

private:
    enum : char
    {
        kNamespace,
        kStart,
        kAttribute,
        kText,
        kEnd,
        kStartCData,
        kEndCData
    };
    static constexpr size_t kBlock = 256 * 1024;
    static constexpr size_t kBlocksAhead = 8;  // bounds the memory between the two sides
    struct Stopped
    {
    };

    // A block: raw bytes, filled without the zeroing and checks of a growing vector.
    struct Block
    {
        std::unique_ptr<char[]> spData;
        size_t nSize = 0;
        size_t nCapacity = 0;
    };

    static size_t Size() { return 0; }
    template <typename... Rest>
    static size_t Size(const char*, size_t n, Rest... rest)
    {
        return sizeof(uint32_t) + n + Size(rest...);
    }
    static void Copy(char*) {}
    template <typename... Rest>
    static void Copy(char* pOut, const char* p, size_t n, Rest... rest)
    {
        uint32_t dwLen = static_cast<uint32_t>(n);
        std::memcpy(pOut, &dwLen, sizeof(dwLen));
        std::memcpy(pOut + sizeof(dwLen), p, n);
        Copy(pOut + sizeof(dwLen) + n, rest...);
    }
    template <typename... Rest>
    void Put(char cTag, Rest... rest)
    {
        const size_t nRecord = 1 + Size(rest...);
        if (m_current.nCapacity - m_current.nSize < nRecord)
            Grow(nRecord);
        char* pOut = m_current.spData.get() + m_current.nSize;
        *pOut = cTag;
        Copy(pOut + 1, rest...);
        m_current.nSize += nRecord;
        if (m_current.nSize >= kBlock)
            HandOver();
    }
    // Room for a record: a fresh block, or a larger one for a record larger than a block.
    void Grow(size_t nRecord)
    {
        size_t nCapacity = std::max(kBlock + 4096, m_current.nSize + nRecord);
        if (m_current.nCapacity >= nCapacity)
            return;
        std::unique_ptr<char[]> spData(new char[nCapacity]);
        if (m_current.nSize)
            std::memcpy(spData.get(), m_current.spData.get(), m_current.nSize);
        m_current.spData.swap(spData);
        m_current.nCapacity = nCapacity;
    }
    void HandOver()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait(lock, [this] { return m_full.size() < kBlocksAhead || m_bAborted; });
        if (m_bAborted)
            throw Stopped();
        m_full.push_back(std::move(m_current));
        m_current = Block();
        if (!m_free.empty())
        {
            m_current = std::move(m_free.back());
            m_free.pop_back();
        }
        m_cv.notify_all();
    }

    static void ReplayBlock(const Block& block, IXmlContentSink& sink)
    {
        const char* p = block.spData.get();
        const char* const pEnd = p + block.nSize;
        auto take = [&p](const char*& pText) {
            uint32_t dwLen;
            std::memcpy(&dwLen, p, sizeof(dwLen));
            pText = p + sizeof(dwLen);
            p = pText + dwLen;
            return dwLen;
        };
        const char *a, *b, *c;
        while (p < pEnd)
        {
            switch (*p++)
            {
            case kNamespace:
            {
                uint32_t na = take(a);
                uint32_t nb = take(b);
                sink.OnNamespaceDeclaration(std::string(a, na), std::string(b, nb));
                break;
            }
            case kStart:
            {
                uint32_t na = take(a);
                uint32_t nb = take(b);
                sink.OnStartElement(a, na, b, nb);
                break;
            }
            case kAttribute:
            {
                uint32_t na = take(a);
                uint32_t nb = take(b);
                uint32_t nc = take(c);
                sink.OnAttribute(a, na, b, nb, c, nc);
                break;
            }
            case kText:
            {
                uint32_t na = take(a);
                sink.OnText(a, na);
                break;
            }
            case kEnd:
                sink.OnEndElement();
                break;
            case kStartCData:
                sink.OnStartCData();
                break;
            default:
                sink.OnEndCData();
                break;
            }
        }
    }

    Block m_current;  // the parsing side's block being filled
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<Block> m_full;   // blocks for the building side, oldest first
    std::vector<Block> m_free;  // blocks given back, for reuse
    std::exception_ptr m_pFailure;
    bool m_bDone = false;
    bool m_bAborted = false;
};

// Reads the input straight into the untyped tree through the sink: XML and Fast Infoset as
// they stand (the loader tells them apart by the header), JSON through the XML text it maps to.
void LoadInput(const Options& opt, const CSerializationContext& ctx, CInputSink& sink)
{
    CInput input(opt.strInput);
    const size_t kChunk = 0x40000;
    std::unique_ptr<unsigned char[]> spChunk(new unsigned char[kChunk]);
    size_t nHead = input.Read(spChunk.get(), kChunk);
    const unsigned char* pHead = spChunk.get();
    // Plain XML text (not compressed, no Fast Infoset header, not JSON) is parsed as it comes.
    // JSON is told by its first byte that isn't blank: a head of blanks alone leaves it open.
    size_t nFirst = nHead >= 3 && pHead[0] == 0xEF && pHead[1] == 0xBB && pHead[2] == 0xBF ? 3 : 0;
    while (nFirst < nHead && std::strchr(" \t\r\n", pHead[nFirst]) && pHead[nFirst])
        ++nFirst;
    if (nHead == kChunk && nFirst < nHead && (opt.eFrom == InputFormat::Xml || opt.eFrom == InputFormat::Detect) &&
        !CKrZip::IsCompressed(pHead, static_cast<uint32_t>(nHead)) &&
        !CFastInfosetReader::IsFastInfoset(pHead, nHead) &&
        (opt.eFrom == InputFormat::Xml || !LooksLikeJson(pHead, nHead)))
    {
        // One thread reads and parses, this one builds the tree from its reports.
        CEventPipe pipe;
        std::thread parser([&pipe, &input, &spChunk, nHead, &ctx] {
            std::exception_ptr pFailure;
            try
            {
                CExpatReader reader(pipe, ctx.GetSchemaType(), ctx.GetStripCDATA());
                reader.Init();
                size_t n = nHead;
                while (n == kChunk)
                {
                    reader.Parse(spChunk.get(), static_cast<uint32_t>(n), false);
                    n = input.Read(spChunk.get(), kChunk);
                }
                reader.Parse(spChunk.get(), static_cast<uint32_t>(n), true);
            }
            catch (...)
            {
                pFailure = std::current_exception();
            }
            pipe.Finish(pFailure);
        });
        struct CJoin
        {
            CEventPipe& pipe;
            std::thread& thread;
            ~CJoin()
            {
                pipe.Abort();
                thread.join();
            }
        } join{pipe, parser};
        pipe.Replay(sink);
        return;
    }

    CXmlDocument doc(ctx);
    doc.SetContentSink(&sink);
    CBinaryData bytes = input.ReadRest(pHead, nHead);
    spChunk.reset();
    bool bFastInfoset = CFastInfosetReader::IsFastInfoset(bytes.GetData(), bytes.GetLength());
    if (opt.eFrom == InputFormat::FastInfoset && !bFastInfoset)
        throw CKrException("The input is not a Fast Infoset document");
    bool bJson = opt.eFrom == InputFormat::Json;
    if (opt.eFrom == InputFormat::Detect)
        bJson = !bFastInfoset && LooksLikeJson(bytes.GetData(), bytes.GetLength());
    // An empty file is refused as the library's file roads refuse it.
    std::error_code ec;
    const bool bEmptyFile =
        bytes.GetLength() == 0 && opt.strInput != "-" && std::filesystem::is_regular_file(opt.strInput, ec);
    if (!bJson)
    {
        if (bEmptyFile)
            doc.Load(opt.strInput.c_str());
        else
            doc.ParseInPlace(bytes.GetData(), bytes.GetLength());
        return;
    }
    CBinaryData xml = bEmptyFile ? doc.LoadJsonFile(opt.strInput.c_str())
                                 : doc.LoadJsonStream(bytes.GetData(), bytes.GetLength());
    bytes.Clear();
    try
    {
        doc.ParseInPlace(xml.GetData(), xml.GetLength());
    }
    catch (const CKrException& e)
    {
        // Two root members, say: the XML that the JSON became is what the message is about.
        throw CKrException(FormatString("Error converting JSON to XML:\n%s",
                                        Utf8ToLocal(reinterpret_cast<const char*>(xml.GetData()), xml.GetLength()).c_str()),
                           e);
    }
}

void WriteToStandardOutput(const CBinaryData& data)
{
    if (std::fwrite(data.GetData(), 1, data.GetLength(), stdout) != data.GetLength() || std::fflush(stdout) != 0)
        throw CKrException(FormatString("Failed to write to standard output Error [0x%08x]", static_cast<unsigned>(errno)));
}

int Convert(const Options& opt)
{
    CKrLimits::SetMaxDepth(opt.dwMaxDepth);
    CSerializationContext ctx;
    ctx.SetIndentChars(opt.strIndent.c_str());
    if (!opt.strRootName.empty())
        ctx.GetJsonContext().SetRootElementName(opt.strRootName.c_str());

    CSmartPtr<CElement> spRoot(new CElement(""));
    {
        // The tree is built straight from the parser, in one arena.
        CObjectArena::CBuildScope arena;
        CElementBuilder builder(*spRoot);
        builder.SetDropIndentation(!opt.bKeepWhitespace);
        CInputSink input(builder);
        LoadInput(opt, ctx, input);
        if (!builder.RootSeen())
            throw CKrException("Invalid or empty XML document");
        TakeNamespacesOfTheInput(input, ctx);
        if (opt.eTo == OutputFormat::Json && opt.eJsonMode == RoundTripFull)
            AliasEveryNamespace(input, ctx);
    }

    // The process ends after the output: its exit frees the tree at once, where taking it
    // apart object by object costs a tenth of the run. A static reference keeps it reachable.
    static CElement* s_pKeptUntilExit = nullptr;
    s_pKeptUntilExit = spRoot;
    s_pKeptUntilExit->AddRef();

    ctx.GetJsonContext().SetSupportRoundtrip(opt.eJsonMode);
    if (opt.eTo == OutputFormat::FastInfoset)
    {
        if (!opt.strOutput.empty())
            spRoot->ToFastInfosetFile(opt.strOutput.c_str(), FInfoDecl_None, ctx, opt.eCompression);
        else
            WriteToStandardOutput(spRoot->ToFastInfosetStream(FInfoDecl_None, ctx, opt.eCompression));
        return 0;
    }
    if (opt.eCompression == CompressionType_None)
    {
        // Text goes out block by block while it is made: memory stays that of the tree,
        // whatever the size of the output.
        std::unique_ptr<CFileTextStream> spStream;
        if (opt.strOutput.empty())
        {
            std::fflush(stdout);
            spStream.reset(new CStandardOutputTextStream(opt.eEncoding));
        }
        else
            spStream.reset(new CFileTextStream(opt.strOutput.c_str(), opt.eEncoding));
        try
        {
            if (opt.eTo == OutputFormat::Json)
                spRoot->WriteJsonDocument(*spStream, opt.bFormatted, opt.eEol, ctx);
            else
                spRoot->WriteXmlDocument(*spStream, opt.bDeclaration, opt.bFormatted, opt.eEol, ctx);
        }
        catch (const CKrException& e)
        {
            // A block written in the background fails without the file's name: the message
            // names it, as one for a file written in one go does.
            static const char kUnnamed[] = "Failed to write data to the file. Error [";
            const std::string strMessage = e.GetMessage();
            if (opt.strOutput.empty() || strMessage.compare(0, sizeof(kUnnamed) - 1, kUnnamed) != 0)
                throw;
            throw CKrException(FormatString("Failed to write data to the file [%s] error [%s", opt.strOutput.c_str(),
                                            strMessage.c_str() + sizeof(kUnnamed) - 1));
        }
        return 0;
    }
    // Files are the library's: gzip goes through the stream road, zlib is refused.
    if (!opt.strOutput.empty())
    {
        if (opt.eTo == OutputFormat::Json)
            spRoot->ToJsonFile(opt.strOutput.c_str(), opt.bFormatted, opt.eEncoding, opt.eEol, ctx, opt.eCompression);
        else
            spRoot->ToXmlFile(opt.strOutput.c_str(), opt.bDeclaration, opt.bFormatted, opt.eEncoding, opt.eEol, ctx,
                              opt.eCompression);
        return 0;
    }
    CBinaryData data = opt.eTo == OutputFormat::Json
                           ? spRoot->ToJsonStream(opt.bFormatted, opt.eEncoding, opt.eEol, ctx, CompressionType_None)
                           : spRoot->ToXmlStream(opt.bDeclaration, opt.bFormatted, opt.eEncoding, opt.eEol, ctx,
                                                 CompressionType_None);
    // The same bytes as a file would get: UTF-16 starts with its byte order mark, inside the
    // compressed stream.
    if (opt.eEncoding == XmlEncoding_UTF16 || opt.eEncoding == XmlEncoding_UTF16NoDecl)
    {
        CBinaryData withMark("\xFF\xFE");
        withMark.Append(data);
        data = withMark;
    }
    CKrZip::CompressBinaryData(data, opt.eCompression);
    WriteToStandardOutput(data);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc >= 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0 ||
                      std::strcmp(argv[1], "help") == 0))
    {
        std::fputs(kUsage, stdout);
        return 0;
    }
    for (int i = 2; i < argc; ++i)
        if (std::strcmp(argv[i], "--help") == 0)
        {
            std::fputs(kUsage, stdout);
            return 0;
        }
    try
    {
        return Convert(ParseArguments(argc, argv));
    }
    catch (const UsageError& e)
    {
        std::fprintf(stderr, "krxml: %s\n\n%s", e.strMessage.c_str(), kUsage);
        return 2;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "krxml: error: %s\n", e.GetFullMessage().c_str());
        return 1;
    }
    catch (const std::bad_alloc&)
    {
        std::fprintf(stderr, "krxml: error: out of memory\n");
        return 1;
    }
}
