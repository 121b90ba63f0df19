// The command-line converter, run as a program.
#include "testsupport.h"

#include <cstdio>
#include <sys/wait.h>

#include "krxmllib.h"

using namespace KrXmlLib16;
using KrXmlTest::ReadFileBytes;
using KrXmlTest::TempPath;
using KrXmlTest::WriteFileBytes;

namespace {

struct ToolRun
{
    int iExit;
    std::string strOut;
    std::string strErr;
};

// Runs the tool with a shell command line; standard input comes from strStdinFile if given.
ToolRun RunTool(const std::string& strArgs, const std::string& strStdinFile = "")
{
#ifndef KRXML_TOOL_PATH
    (void)strArgs;
    (void)strStdinFile;
    return ToolRun{-1, "", "tool not built"};
#else
    std::string strErrFile = TempPath("stderr.txt");
    std::string strCmd = std::string(KRXML_TOOL_PATH) + " " + strArgs + " 2>" + strErrFile;
    if (!strStdinFile.empty())
        strCmd += " <" + strStdinFile;
    ToolRun run;
    FILE* p = popen(strCmd.c_str(), "r");
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), p)) > 0)
        run.strOut.append(buf, n);
    int status = pclose(p);
    run.iExit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.strErr = ReadFileBytes(strErrFile);
    return run;
#endif
}

// A form that two documents with the same content share: read as untyped content, indentation
// dropped, written flat with generated prefixes.
std::string Canonical(const std::string& strBytes)
{
    CSmartPtr<CElement> spE(new CElement(""));
    spE->FromXmlStream(reinterpret_cast<unsigned char*>(const_cast<char*>(strBytes.data())),
                       static_cast<uint32_t>(strBytes.size()), CSerializationContext::GetDefaultContext());
    std::vector<CElement*> work{spE};
    while (!work.empty())
    {
        CElement* p = work.back();
        work.pop_back();
        if (p->GetChildElements()->GetCount() > 0 && p->GetText().find_first_not_of(" \t\r\n") == std::string::npos)
            p->SetText("");
        for (CElement* c : *p->GetChildElements())
            work.push_back(c);
    }
    return spE->ToXml(false, false, EOLType_LF, CSerializationContext());
}

class Krxml : public ::testing::Test
{
protected:
    void SetUp() override
    {
#ifndef KRXML_TOOL_PATH
        GTEST_SKIP() << "the krxml tool isn't part of this build";
#endif
    }
};

TEST_F(Krxml, RoundTripsTheSamples)
{
    for (const char* lpName : {"purchase-order.xml", "namespaces.xml", "values.xml"})
    {
        std::string strPath = std::string(KRXML_TEST_DATA_DIR "/") + lpName;
        SCOPED_TRACE(strPath);
        ASSERT_FALSE(ReadFileBytes(strPath).empty());
        ToolRun run = RunTool("convert " + strPath);
        ASSERT_EQ(0, run.iExit) << run.strErr;
        EXPECT_EQ(Canonical(ReadFileBytes(strPath)), Canonical(run.strOut));
        // A second pass gives the same bytes: the output is a fixed point.
        std::string strFirst = TempPath("first.xml");
        WriteFileBytes(strFirst, run.strOut);
        EXPECT_EQ(run.strOut, RunTool("convert " + strFirst).strOut);
    }
}

TEST_F(Krxml, KeepsPrefixesAndNamespacesAndEscapes)
{
    std::string strIn = TempPath("ns.xml");
    WriteFileBytes(strIn, "<?xml version='1.0'?>\n<!-- gone -->\n<a xmlns='urn:a' xmlns:p='urn:p'>\n"
                          "  <p:b p:x='1 &amp; 2' y='&quot;q&quot;'>t&lt;</p:b>\n  <c>caf\xC3\xA9<![CDATA[<y>]]></c>\n</a>\n");
    ToolRun run = RunTool("convert " + strIn);
    ASSERT_EQ(0, run.iExit) << run.strErr;
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a xmlns=\"urn:a\" xmlns:p=\"urn:p\">\n"
              "\t<p:b p:x=\"1 &amp; 2\" y=\"&quot;q&quot;\">t&lt;</p:b>\n\t<c>caf\xC3\xA9&lt;y&gt;</c>\n</a>\n",
              run.strOut);

    // An element without a namespace under a default one keeps its empty namespace.
    WriteFileBytes(strIn, "<a xmlns='urn:a'><b xmlns=''/></a>");
    run = RunTool("convert " + strIn + " --no-format --no-declaration");
    ASSERT_EQ(0, run.iExit) << run.strErr;
    EXPECT_EQ(Canonical("<a xmlns='urn:a'><b xmlns=''/></a>"), Canonical(run.strOut));
    EXPECT_EQ(std::string::npos, run.strOut.find("xmlns=\"urn:a\"")) << run.strOut;
}

TEST_F(Krxml, OutputOptions)
{
    std::string strIn = TempPath("opt.xml");
    WriteFileBytes(strIn, "<r><s>x\ny</s></r>");
    ToolRun crlf = RunTool("convert " + strIn + " --eol crlf --indent '  ' --no-declaration");
    EXPECT_EQ("<r>\r\n  <s>x\r\ny</s>\r\n</r>\r\n", crlf.strOut);

    std::string strOut = TempPath("out16.xml");
    ToolRun utf16 = RunTool("convert " + strIn + " --encoding utf-16 --no-format -o " + strOut);
    ASSERT_EQ(0, utf16.iExit) << utf16.strErr;
    EXPECT_EQ("", utf16.strOut);
    std::string strBytes = ReadFileBytes(strOut);
    ASSERT_GE(strBytes.size(), 4u);
    EXPECT_EQ(std::string("\xFF\xFE<\0?\0", 6), strBytes.substr(0, 6));
    EXPECT_EQ(Canonical("<r><s>x\ny</s></r>"), Canonical(strBytes));
    ToolRun toStdout = RunTool("convert " + strIn + " --encoding utf-16-nodecl --no-format");
    EXPECT_EQ(strBytes.size() - std::string(" encoding=\"UTF-16\"").size() * 2, toStdout.strOut.size());

    ToolRun fromStdin = RunTool("convert - --no-format --no-declaration", strIn);
    EXPECT_EQ("<r><s>x\ny</s></r>", fromStdin.strOut);
}

TEST_F(Krxml, FastInfosetToFileAndStandardOutput)
{
    std::string strIn = TempPath("fi.xml"), strOut = TempPath("out.finf");
    WriteFileBytes(strIn, "<r xmlns='urn:a'>\n  <s>x</s>\n</r>");
    const std::string strExpected("\xE0\0\0\x01\0\x38\xCD\x04urn:a\xF0\x3D\x81\0r\x3D\x81\0s\x90x\xFF\xF0", 26);
    ToolRun toFile = RunTool("convert " + strIn + " --to fi -o " + strOut);
    ASSERT_EQ(0, toFile.iExit) << toFile.strErr;
    EXPECT_EQ(strExpected, ReadFileBytes(strOut));
    EXPECT_EQ(strExpected, RunTool("convert - --to fi", strIn).strOut);
}

TEST_F(Krxml, ReadsFastInfosetInput)
{
    for (const char* lpName : {"purchase-order.xml", "namespaces.xml", "values.xml"})
    {
        std::string strPath = std::string(KRXML_TEST_DATA_DIR "/") + lpName, strFi = TempPath("in.finf");
        SCOPED_TRACE(strPath);
        ASSERT_EQ(0, RunTool("convert " + strPath + " --to fi -o " + strFi).iExit);
        // Told by its header, from a file or standard input: the XML is that of the text input,
        // and Fast Infoset written again is the same bytes.
        std::string strXml = RunTool("convert " + strPath).strOut;
        EXPECT_EQ(strXml, RunTool("convert " + strFi).strOut);
        EXPECT_EQ(strXml, RunTool("convert --from fi -", strFi).strOut);
        EXPECT_EQ(ReadFileBytes(strFi), RunTool("convert - --to fi", strFi).strOut);
    }
    std::string strIn = TempPath("decl.finf");
    WriteFileBytes(strIn, std::string("<?xml version='1.0' encoding='finf'?>\xE0\0\0\x01\0\x3C\0r\x90x\xFF", 48));
    EXPECT_EQ("<r>x</r>\n", RunTool("convert " + strIn + " --no-declaration").strOut);
    WriteFileBytes(strIn, std::string("\xE0\0\0\x01\0\x3C\0r\x90", 9));
    ToolRun cut = RunTool("convert " + strIn);
    EXPECT_EQ(1, cut.iExit);
    EXPECT_EQ("krxml: error: Failed to parse FastInfoset. Unexpected End of File.\n", cut.strErr);
    WriteFileBytes(strIn, "<r/>");
    EXPECT_EQ("krxml: error: The input is not a Fast Infoset document\n", RunTool("convert --from fi " + strIn).strErr);
}

TEST_F(Krxml, FailuresAndUsage)
{
    ToolRun missing = RunTool("convert " + TempPath("none.xml"));
    EXPECT_EQ(1, missing.iExit);
    EXPECT_EQ("krxml: error: Failed to open the file [" + TempPath("none.xml") + "] Error [0x00000002]\n",
              missing.strErr);

    std::string strBad = TempPath("bad.xml");
    WriteFileBytes(strBad, "<a>\n<b></a>");
    ToolRun bad = RunTool("convert " + strBad);
    EXPECT_EQ(1, bad.iExit);
    EXPECT_EQ("krxml: error: mismatched tag at line 2\n", bad.strErr);
    EXPECT_EQ("", bad.strOut);

    WriteFileBytes(strBad, "");
    EXPECT_EQ("krxml: error: XML Stream is empty!\n", RunTool("convert -", strBad).strErr);

    EXPECT_EQ(1, RunTool("convert " + strBad + " -o /nonexistent/dir/out.xml").iExit);
    std::string strOk = TempPath("ok.xml");
    WriteFileBytes(strOk, "<a/>");
    ToolRun full = RunTool("convert " + strOk + " -o /dev/full");
    EXPECT_EQ(1, full.iExit);
    EXPECT_EQ("krxml: error: Failed to write data to the file [/dev/full] error [0x0000001C]\n", full.strErr);
    EXPECT_EQ(1, RunTool("convert " + strOk + " --indent x").iExit);

    for (const char* lpArgs : {"", "frobnicate x", "convert", "convert a b", "convert a --to yaml",
                               "convert a --encoding latin1", "convert a --eol cr", "convert a -o", "convert a --nope"})
    {
        ToolRun usage = RunTool(lpArgs);
        EXPECT_EQ(2, usage.iExit) << lpArgs;
        EXPECT_NE(std::string::npos, usage.strErr.find("usage: krxml convert")) << lpArgs;
    }
    ToolRun help = RunTool("--help");
    EXPECT_EQ(0, help.iExit);
    EXPECT_EQ(0u, help.strOut.find("usage: krxml convert INPUT"));
}

TEST_F(Krxml, ReadsJsonInput)
{
    const std::string strExpected = "<order xmlns=\"urn:o\" id=\"7\"><item>a</item><item>b</item><note/></order>";
    // Told by its first byte that isn't blank, behind a byte order mark, from a file or standard input.
    std::string strIn = TempPath("in.json");
    WriteFileBytes(strIn, "\xEF\xBB\xBF \n {\"order\": {\"@xmlns\": \"urn:o\", \"@id\": 7, \"item\": [\"a\", \"b\"], "
                          "\"note\": null, \"none\": []}}");
    for (const std::string& strArgs : {"convert " + strIn, std::string("convert - "), std::string("convert --from json -")})
    {
        ToolRun run = RunTool(strArgs + " --no-format --no-declaration", strIn);
        EXPECT_EQ(0, run.iExit) << strArgs << run.strErr;
        EXPECT_EQ(strExpected, run.strOut) << strArgs;
    }
    // Text that starts otherwise is read as JSON only when told.
    WriteFileBytes(strIn, "/* c */ [1, 2]");
    EXPECT_EQ("krxml: error: not well-formed (invalid token) at line 1\n", RunTool("convert " + strIn).strErr);
    ToolRun wrapped = RunTool("convert --from json --root-name r --no-format --no-declaration -", strIn);
    EXPECT_EQ(1, wrapped.iExit);
    EXPECT_EQ("krxml: error: Error converting JSON to XML:\n<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r>1</r><r>2</r>\n"
              "junk after document element at line 2\n",
              wrapped.strErr);
    WriteFileBytes(strIn, "[\"x\"]");
    ToolRun single = RunTool("convert " + strIn + " --root-name r --no-format --no-declaration");
    EXPECT_EQ("<r>x</r>", single.strOut) << single.strErr;

    WriteFileBytes(strIn, "{\"a\": {\"b\": [{\"c\": tru}]}}");
    ToolRun bad = RunTool("convert " + strIn);
    EXPECT_EQ(1, bad.iExit);
    EXPECT_EQ("krxml: error: Expected 'true' at line 1, position 23.\nPath: $.a.b[0].c\n", bad.strErr);
    WriteFileBytes(strIn, "{\"a\": \"\xFF\"}");
    EXPECT_EQ("krxml: error: Invalid UTF-8 byte sequence at line 1, position 8.\n", RunTool("convert " + strIn).strErr);

    for (const char* lpArgs : {"convert a --from yaml", "convert a --root-name", "convert a --root-name ''"})
    {
        ToolRun usage = RunTool(lpArgs);
        EXPECT_EQ(2, usage.iExit) << lpArgs;
        EXPECT_NE(std::string::npos, usage.strErr.find("usage: krxml convert")) << lpArgs;
    }
}

TEST_F(Krxml, DeepDocumentThroughStandardInput)
{
    // As deep as the default cap lets a document be, and once past it.
    for (int nDepth : {10000, 200000})
    {
        std::string strXml;
        for (int i = 0; i < nDepth; ++i)
            strXml += "<e>";
        for (int i = 0; i < nDepth; ++i)
            strXml += "</e>";
        std::string strIn = TempPath("deep.xml");
        WriteFileBytes(strIn, strXml);
        ToolRun run = RunTool("convert - --no-format --no-declaration", strIn);
        if (nDepth == 10000)
        {
            ASSERT_EQ(0, run.iExit) << run.strErr;
            EXPECT_EQ(static_cast<size_t>(nDepth - 1) * 7 + 4, run.strOut.size());  // <e>...<e/>...</e>
        }
        else
        {
            EXPECT_NE(0, run.iExit);
            EXPECT_EQ("krxml: error: Elements are nested more than 10000 levels deep, the limit set by "
                      "CKrLimits::SetMaxDepth, at line 1\n",
                      run.strErr);
            // A raised cap reads it; a lower one refuses sooner.
            run = RunTool("convert - --no-format --no-declaration --max-depth 200000", strIn);
            ASSERT_EQ(0, run.iExit) << run.strErr;
            EXPECT_EQ(static_cast<size_t>(nDepth - 1) * 7 + 4, run.strOut.size());
            run = RunTool("convert - --no-format --max-depth 50", strIn);
            EXPECT_EQ("krxml: error: Elements are nested more than 50 levels deep, the limit set by "
                      "CKrLimits::SetMaxDepth, at line 1\n",
                      run.strErr);
        }
    }
    for (const char* lpBad : {"-1", "x", "", "4294967296"})
    {
        ToolRun run = RunTool((std::string("convert - --max-depth '") + lpBad + "'").c_str(), TempPath("deep.xml"));
        EXPECT_EQ(2, run.iExit) << lpBad;
        EXPECT_NE(std::string::npos, run.strErr.find("--max-depth takes a number of levels")) << lpBad;
    }
}

} // namespace
