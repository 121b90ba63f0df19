// krxml: command-line conversions through the library's untyped content.
//
//   krxml convert INPUT [-o OUTPUT] [options]
//
// Exit codes: 0 success, 1 the library refused the input or the output (its message and the
// path of the item go to standard error), 2 a usage error.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "fastinfosetreader.h"
#include "krxmllib.h"

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

std::vector<unsigned char> ReadStandardInput()
{
    std::vector<unsigned char> bytes;
    unsigned char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), stdin)) > 0)
        bytes.insert(bytes.end(), buf, buf + n);
    if (std::ferror(stdin))
        throw CKrException(FormatString("Failed to read standard input Error [0x%08x]", static_cast<unsigned>(errno)));
    return bytes;
}

// Prefixes of the input, where each stands for one namespace, go to the root of the output,
// and the default namespace too unless an element has no namespace (which a default namespace
// would capture on reading).
void TakeNamespacesOfTheInput(const CXmlDocument& doc, CSerializationContext& ctx)
{
    std::set<std::string> namespaces;
    bool bElementWithoutNamespace = false;
    std::vector<const CXmlElement*> work{doc.GetDocumentElement()};
    while (!work.empty())
    {
        const CXmlElement* p = work.back();
        work.pop_back();
        if (p->GetNamespaceURI().empty())
            bElementWithoutNamespace = true;
        else
            namespaces.insert(p->GetNamespaceURI());
        for (const CXmlAttribute* pAttr : p->GetAttributes())
            if (!pAttr->GetNamespaceURI().empty())
                namespaces.insert(pAttr->GetNamespaceURI());
        for (const CXmlElement* pChild = p->GetFirstElement(); pChild; pChild = pChild->GetNextSiblingElement())
            work.push_back(pChild);
    }
    std::set<std::string> aliasesTaken;
    for (const std::string& strNs : namespaces)
    {
        std::string strAlias = doc.LookupAliasFromNamespace(strNs.c_str());
        if (strAlias.empty() || strAlias == "xml" || !aliasesTaken.insert(strAlias).second)
            continue;
        if (doc.LookupNamespaceFromAlias(strAlias.c_str()) == strNs)
            ctx.GetNamespaceAliases().Add(strAlias.c_str(), strNs.c_str());
    }
    std::string strDefault = doc.LookupNamespaceFromAlias("");
    if (!strDefault.empty() && !bElementWithoutNamespace && namespaces.count(strDefault))
        ctx.SetDefaultNamespaceURI(strDefault.c_str());
}

// JSON declares prefixes on the root element only and makes up none below it: every namespace
// of the document that has neither a prefix nor the default gets one there.
void AliasEveryNamespace(const CXmlDocument& doc, CSerializationContext& ctx)
{
    CNamespaceAliasMap& aliases = ctx.GetNamespaceAliases();
    std::set<std::string> aliasesTaken;
    for (int i = 0; i < aliases.GetNamespaceCount(); ++i)
        aliasesTaken.insert(aliases.GetAliasFromNamespace(aliases.GetNamespaceAt(i).c_str()));
    auto need = [&](const std::string& strNs) {
        if (strNs.empty() || strNs == ctx.GetDefaultNamespaceURI() || aliases.DoesNamespaceExist(strNs.c_str()) ||
            strNs == "http://www.w3.org/XML/1998/namespace")
            return;
        std::string strAlias;
        for (unsigned i = 0;; ++i)
        {
            strAlias = FormatString("ns%u", i);
            if (aliasesTaken.insert(strAlias).second)
                break;
        }
        aliases.Add(strAlias.c_str(), strNs.c_str());
    };
    std::vector<const CXmlElement*> work{doc.GetDocumentElement()};
    while (!work.empty())
    {
        const CXmlElement* p = work.back();
        work.pop_back();
        need(p->GetNamespaceURI());
        for (const CXmlAttribute* pAttr : p->GetAttributes())
            need(pAttr->GetNamespaceURI());
        for (const CXmlElement* pChild = p->GetFirstElement(); pChild; pChild = pChild->GetNextSiblingElement())
            work.push_back(pChild);
    }
}

void WriteToStandardOutput(const CBinaryData& data, bool bByteOrderMark)
{
    if ((bByteOrderMark && std::fwrite("\xFF\xFE", 1, 2, stdout) != 2) ||
        std::fwrite(data.GetData(), 1, data.GetLength(), stdout) != data.GetLength() || std::fflush(stdout) != 0)
        throw CKrException(FormatString("Failed to write to standard output Error [0x%08x]", static_cast<unsigned>(errno)));
}

// Whitespace-only text of an element with children is the input's indentation.
void DropIndentation(CElement* pRoot)
{
    std::vector<CElement*> work{pRoot};
    while (!work.empty())
    {
        CElement* p = work.back();
        work.pop_back();
        CSmartPtr<CElementCol> spChildren = p->GetChildElements();
        if (spChildren->GetCount() == 0)
            continue;
        std::string strText = p->GetText();
        if (strText.find_first_not_of(" \t\r\n") == std::string::npos)
            p->SetText("");
        for (CElement* pChild : *spChildren)
            work.push_back(pChild);
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

// Tells the format of a file by its first byte that isn't blank, as LooksLikeJson does.
bool FileLooksLikeJson(const std::string& strFile)
{
    std::FILE* f = std::fopen(strFile.c_str(), "rb");
    if (!f)
        return false;  // the library's loader reports the file
    unsigned char head[3];
    size_t n = std::fread(head, 1, sizeof(head), f);
    bool bJson = LooksLikeJson(head, n);
    if (!bJson && n == sizeof(head))
    {
        // Only blanks so far (behind a byte order mark, perhaps): read on to the first other byte.
        size_t nStart = head[0] == 0xEF && head[1] == 0xBB && head[2] == 0xBF ? 3 : 0;
        bool bBlank = true;
        for (size_t i = nStart; i < n; ++i)
            bBlank = bBlank && std::strchr(" \t\r\n", head[i]) && head[i];
        int c;
        while (bBlank && (c = std::fgetc(f)) != EOF)
            if (!std::strchr(" \t\r\n", c) || c == 0)
            {
                bJson = c == '{' || c == '[';
                break;
            }
    }
    std::fclose(f);
    return bJson;
}

// Fast Infoset by its header, which the longest declaration in front of it leaves within the
// first 64 bytes.
bool FileLooksLikeFastInfoset(const std::string& strFile)
{
    std::FILE* f = std::fopen(strFile.c_str(), "rb");
    if (!f)
        return false;  // the library's loader reports the file
    unsigned char head[64];
    size_t n = std::fread(head, 1, sizeof(head), f);
    std::fclose(f);
    return CFastInfosetReader::IsFastInfoset(head, n);
}

// True if the file starts as a gzip file or a zlib stream does.
bool FileIsCompressed(const std::string& strFile)
{
    std::FILE* f = std::fopen(strFile.c_str(), "rb");
    if (!f)
        return false;  // the library's loader reports the file
    unsigned char head[2];
    size_t n = std::fread(head, 1, sizeof(head), f);
    std::fclose(f);
    return CKrZip::IsCompressed(head, static_cast<uint32_t>(n));
}

std::vector<unsigned char> ReadWholeFile(const std::string& strFile)
{
    std::vector<unsigned char> bytes;
    std::FILE* f = std::fopen(strFile.c_str(), "rb");
    if (!f)
        throw CKrException(FormatString("Failed to open the file [%s] Error [0x%08x]", strFile.c_str(),
                                        static_cast<unsigned>(errno)));
    unsigned char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof(buf), f)) > 0)
        bytes.insert(bytes.end(), buf, buf + n);
    bool bFailed = std::ferror(f) != 0;
    int iError = errno;
    std::fclose(f);
    if (bFailed)
        throw CKrException(FormatString("Failed to read the contents of the file [%s] Error [0x%08x]", strFile.c_str(),
                                        static_cast<unsigned>(iError)));
    return bytes;
}

// Compressed input of any format becomes its content here, so that the format is told from
// what it holds; other bytes stay as they are.
CBinaryData Decompressed(const std::vector<unsigned char>& bytes)
{
    if (bytes.size() > 0xFFFFFFFFu)
        throw CKrException("The input is larger than 4 GB");
    uint32_t dwLen = static_cast<uint32_t>(bytes.size());
    unsigned char* p = new unsigned char[dwLen ? dwLen : 1];
    if (dwLen)
        std::memcpy(p, bytes.data(), dwLen);
    try
    {
        CKrZip::Decompress(&p, &dwLen);
    }
    catch (...)
    {
        delete[] p;
        throw;
    }
    return CBinaryData(p, dwLen, true);
}

// Reads the input into the document's tree: XML and Fast Infoset as they stand (the loader
// tells them apart by the header), JSON through the XML text it maps to. Standard input and
// compressed files are read as bytes, other files by the library.
void LoadInput(const Options& opt, CXmlDocument& doc)
{
    CBinaryData bytes;
    bool bBytes = opt.strInput == "-" || FileIsCompressed(opt.strInput);
    if (bBytes)
        bytes = Decompressed(opt.strInput == "-" ? ReadStandardInput() : ReadWholeFile(opt.strInput));
    bool bFastInfoset = bBytes ? CFastInfosetReader::IsFastInfoset(bytes.GetData(), bytes.GetLength())
                               : FileLooksLikeFastInfoset(opt.strInput);
    if (opt.eFrom == InputFormat::FastInfoset && !bFastInfoset)
        throw CKrException("The input is not a Fast Infoset document");
    bool bJson = opt.eFrom == InputFormat::Json;
    if (opt.eFrom == InputFormat::Detect)
        bJson = !bFastInfoset &&
                (bBytes ? LooksLikeJson(bytes.GetData(), bytes.GetLength()) : FileLooksLikeJson(opt.strInput));
    if (!bJson)
    {
        if (bBytes)
            doc.LoadXmlStream(bytes.GetData(), bytes.GetLength());
        else
            doc.Load(opt.strInput.c_str());
        return;
    }
    CBinaryData xml = bBytes ? doc.LoadJsonStream(bytes.GetData(), bytes.GetLength())
                             : doc.LoadJsonFile(opt.strInput.c_str());
    try
    {
        doc.LoadXmlStream(xml.GetData(), xml.GetLength());
    }
    catch (const CKrException& e)
    {
        // Two root members, say: the XML that the JSON became is what the message is about.
        throw CKrException(FormatString("Error converting JSON to XML:\n%s",
                                        Utf8ToLocal(reinterpret_cast<const char*>(xml.GetData()), xml.GetLength()).c_str()),
                           e);
    }
}

int Convert(const Options& opt)
{
    CSerializationContext ctx;
    ctx.SetIndentChars(opt.strIndent.c_str());
    if (!opt.strRootName.empty())
        ctx.GetJsonContext().SetRootElementName(opt.strRootName.c_str());

    CXmlDocument doc(ctx);
    LoadInput(opt, doc);
    TakeNamespacesOfTheInput(doc, ctx);
    if (opt.eTo == OutputFormat::Json && opt.eJsonMode == RoundTripFull)
        AliasEveryNamespace(doc, ctx);

    CSmartPtr<CElement> spRoot(new CElement(""));
    spRoot->FromXmlElement(doc.GetDocumentElement(), ctx);
    if (!opt.bKeepWhitespace)
        DropIndentation(spRoot);

    ctx.GetJsonContext().SetSupportRoundtrip(opt.eJsonMode);
    if (opt.eTo == OutputFormat::FastInfoset)
    {
        if (!opt.strOutput.empty())
            spRoot->ToFastInfosetFile(opt.strOutput.c_str(), FInfoDecl_None, ctx, opt.eCompression);
        else
            WriteToStandardOutput(spRoot->ToFastInfosetStream(FInfoDecl_None, ctx, opt.eCompression), false);
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
    // compressed stream if there is one.
    bool bByteOrderMark = opt.eEncoding == XmlEncoding_UTF16 || opt.eEncoding == XmlEncoding_UTF16NoDecl;
    if (opt.eCompression != CompressionType_None)
    {
        if (bByteOrderMark)
        {
            CBinaryData withMark("\xFF\xFE");
            withMark.Append(data);
            data = withMark;
            bByteOrderMark = false;
        }
        CKrZip::CompressBinaryData(data, opt.eCompression);
    }
    WriteToStandardOutput(data, bByteOrderMark);
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
