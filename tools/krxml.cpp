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

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

const char kUsage[] =
    "usage: krxml convert INPUT [-o OUTPUT] [options]\n"
    "       krxml --help\n"
    "\n"
    "Reads any well-formed XML document (INPUT, or - for standard input) into the library's\n"
    "untyped content and writes it again (to OUTPUT, or to standard output).\n"
    "\n"
    "options:\n"
    "  -o, --output FILE       write to FILE instead of standard output\n"
    "  --to xml|fi             output format: XML text (default) or Fast Infoset, the binary\n"
    "                          XML of ITU-T X.891 (the options below are for XML text only)\n"
    "  --encoding ENC          utf-8 (default), utf-16, or utf-16-nodecl (UTF-16 without an\n"
    "                          encoding in the declaration); UTF-16 starts with a byte order mark\n"
    "  --no-format             no line breaks or indent between elements\n"
    "  --indent TEXT           one level of indent, blanks and tabs only (default: a tab)\n"
    "  --eol lf|crlf           line end of the output (default: lf)\n"
    "  --no-declaration        leave out the XML declaration\n"
    "  --keep-whitespace       keep whitespace-only text of elements that have child elements\n"
    "                          (by default it is taken for indentation and dropped)\n"
    "\n"
    "The output keeps elements, attributes, namespaces and the text of each element. It drops\n"
    "comments, processing instructions and the document type, writes CDATA sections as plain\n"
    "text, and writes all text of an element after its child elements. Prefixes declared in the\n"
    "input are reused where each stands for one namespace.\n"
    "\n"
    "exit codes: 0 success, 1 the input or output was refused (message on standard error),\n"
    "            2 usage error\n";

struct Options
{
    std::string strInput;
    std::string strOutput;  // empty: standard output
    bool bFastInfoset = false;
    XmlEncoding eEncoding = XmlEncoding_UTF8;
    bool bFormatted = true;
    std::string strIndent = "\t";
    EOLType eEol = EOLType_LF;
    bool bDeclaration = true;
    bool bKeepWhitespace = false;
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
        else if (strArg == "--to")
        {
            std::string strFormat = value("a format");
            if (strFormat != "xml" && strFormat != "fi")
                throw UsageError{"unknown output format '" + strFormat + "' (xml or fi)"};
            opt.bFastInfoset = strFormat == "fi";
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

int Convert(const Options& opt)
{
    CSerializationContext ctx;
    ctx.SetIndentChars(opt.strIndent.c_str());

    CXmlDocument doc(ctx);
    if (opt.strInput == "-")
    {
        std::vector<unsigned char> bytes = ReadStandardInput();
        if (bytes.size() > 0xFFFFFFFFu)
            throw CKrException("Standard input is larger than 4 GB");
        doc.LoadXmlStream(bytes.data(), static_cast<uint32_t>(bytes.size()));
    }
    else
        doc.Load(opt.strInput.c_str());
    TakeNamespacesOfTheInput(doc, ctx);

    CSmartPtr<CElement> spRoot(new CElement(""));
    spRoot->FromXmlElement(doc.GetDocumentElement(), ctx);
    if (!opt.bKeepWhitespace)
        DropIndentation(spRoot);

    if (opt.bFastInfoset)
    {
        if (!opt.strOutput.empty())
            spRoot->ToFastInfosetFile(opt.strOutput.c_str(), FInfoDecl_None, ctx, CompressionType_None);
        else
            WriteToStandardOutput(spRoot->ToFastInfosetStream(FInfoDecl_None, ctx, CompressionType_None), false);
        return 0;
    }
    if (!opt.strOutput.empty())
    {
        spRoot->ToXmlFile(opt.strOutput.c_str(), opt.bDeclaration, opt.bFormatted, opt.eEncoding, opt.eEol, ctx,
                          CompressionType_None);
        return 0;
    }
    CBinaryData data = spRoot->ToXmlStream(opt.bDeclaration, opt.bFormatted, opt.eEncoding, opt.eEol, ctx,
                                           CompressionType_None);
    // The same bytes as a file would get: UTF-16 starts with its byte order mark.
    WriteToStandardOutput(data, opt.eEncoding == XmlEncoding_UTF16 || opt.eEncoding == XmlEncoding_UTF16NoDecl);
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
