#include "testsupport.h"

#include <cstdlib>
#include <cstring>

#include "krxmllib.h"

using namespace KrXmlLib16;
using KrXmlTest::ReadFileBytes;
using KrXmlTest::TempPath;

namespace {

std::string Bytes(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

// Restores the process-wide text switches after a test that changes them.
struct SwitchGuard
{
    ~SwitchGuard()
    {
        ASCIIOnly(false);
        SetLocalCharEncoding(0);
    }
};

// ---- conversions ----

TEST(Encoder, LocalToUtf8AndUtf16InAUtf8LocalCodePage)
{
    // UTF-16 has no byte order mark and two bytes a unit: A, e-acute and a surrogate pair.
    EXPECT_EQ(std::string("A\0\xE9\0\x3D\xD8\x00\xDE", 8), Bytes(LocalToUtf16("A\xC3\xA9\xF0\x9F\x98\x80")));
    EXPECT_EQ(0u, LocalToUtf16("").GetLength());
    EXPECT_EQ(0u, LocalToUtf8("").GetLength());
    EXPECT_EQ(0u, LocalToUtf8(static_cast<const char*>(nullptr)).GetLength());
    EXPECT_EQ("plain", Bytes(LocalToUtf8("plain")));
    EXPECT_EQ("\xC3\xA9\xF0\x9F\x98\x80", Bytes(LocalToUtf8("\xC3\xA9\xF0\x9F\x98\x80")));
    // Bytes that are no UTF-8 are replaced, so that the output stays readable.
    EXPECT_EQ("a\xEF\xBF\xBD" "b", Bytes(LocalToUtf8("a\xFF" "b")));
    EXPECT_EQ("\xEF\xBF\xBD\xEF\xBF\xBD", Bytes(LocalToUtf8("\xC0\x80")));  // overlong NUL
}

TEST(Encoder, LocalToUtf8AndUtf16ThroughALegacyCodePage)
{
    SwitchGuard guard;
    SetLocalCharEncoding(1252);
    EXPECT_EQ("caf\xC3\xA9 \xE2\x82\xAC", Bytes(LocalToUtf8("caf\xE9 \x80")));
    EXPECT_EQ(std::string("c\0\xE9\0\xAC\x20", 6), Bytes(LocalToUtf16("c\xE9\x80")));
    const unsigned short wide[] = {'c', 0xE9, 0x20AC, 0x4E2D, 0};
    EXPECT_EQ("c\xE9\x80?", WideToLocal(wide, -1));
    EXPECT_EQ("c\xE9", WideToLocal(wide, 2));
}

TEST(Encoder, AsciiOnlyLeavesUtf8OutputAloneButNotUtf16)
{
    SwitchGuard guard;
    SetLocalCharEncoding(1252);
    ASCIIOnly(true);
    EXPECT_EQ("caf\xE9", Bytes(LocalToUtf8("caf\xE9")));
    EXPECT_EQ(std::string("\xE9\0", 2), Bytes(LocalToUtf16("\xE9")));
    ASCIIOnly(false);
    EXPECT_EQ("caf\xC3\xA9", Bytes(LocalToUtf8("caf\xE9")));
}

TEST(Encoder, WideToUtf8)
{
    const unsigned short empty[] = {0};
    EXPECT_EQ(0u, WideToUtf8(empty).GetLength());
    const unsigned short ascii[] = {'a', 'b', 0};
    EXPECT_EQ("ab", Bytes(WideToUtf8(ascii)));
    const unsigned short mixed[] = {'a', 0xE9, 0x20AC, 0xD83D, 0xDE00, 0};
    EXPECT_EQ("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", Bytes(WideToUtf8(mixed)));
    EXPECT_EQ("a\xC3\xA9", Bytes(WideToUtf8(mixed, 2)));
    const unsigned short lone[] = {0xD800, 'x', 0};
    EXPECT_EQ("\xEF\xBF\xBDx", Bytes(WideToUtf8(lone)));
}

TEST(Encoder, IdentityCheckWorksAcrossPieces)
{
    CUtf8IdentityCheck split;
    split.Feed("ab\xE2\x82", 4);
    EXPECT_FALSE(split.IsIdentity());  // a character is still open
    split.Feed("\xAC" "cd", 3);
    EXPECT_TRUE(split.IsIdentity());

    const char* bad[] = {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\x80",
                         "\xC3"};
    for (const char* p : bad)
    {
        CUtf8IdentityCheck check;
        check.Feed(p, std::strlen(p));
        EXPECT_FALSE(check.IsIdentity()) << p;
    }
    const char* good[] = {"\xC2\x80", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
                          "0123456789abcdef\xC3\xA9"};
    for (const char* p : good)
    {
        CUtf8IdentityCheck check;
        check.Feed(p, std::strlen(p));
        EXPECT_TRUE(check.IsIdentity()) << p;
    }
}

// ---- CStringBuffer ----

TEST(StringBuffer, LongTextSpreadsOverBlocksAndJoinsWhole)
{
    CStringBuffer buf(8);  // seven bytes a block
    EXPECT_STREQ("", buf.GetData());
    EXPECT_EQ(0u, buf.GetBlockCount());
    buf.Append("0123456789abcdefghij");
    EXPECT_EQ(20u, buf.GetLength());
    EXPECT_EQ(3u, buf.GetBlockCount());
    const char* p = buf.GetData();
    EXPECT_STREQ("0123456789abcdefghij", p);
    EXPECT_EQ(1u, buf.GetBlockCount());
    EXPECT_EQ(p, buf.GetData());  // the second time without a copy
    buf.Append('!');
    EXPECT_EQ(2u, buf.GetBlockCount());  // the joined block is full: a new one of seven
    buf.Append(std::string("xyz"));
    EXPECT_STREQ("0123456789abcdefghij!xyz", buf.GetData());
}

TEST(StringBuffer, ResetKeepsOneBlockWithoutLeftovers)
{
    CStringBuffer buf(8);
    buf.Append("a long text over blocks");
    buf.GetData();
    buf.Reset();
    EXPECT_EQ(0u, buf.GetLength());
    EXPECT_EQ(1u, buf.GetBlockCount());
    buf.Append("short");
    EXPECT_STREQ("short", buf.GetData());
    buf.Append("");
    buf.Append(static_cast<const char*>(nullptr));
    EXPECT_EQ(5u, buf.GetLength());

    buf.Append(" and more, to spill into a new block");
    buf.Reset();  // several blocks: all go
    EXPECT_EQ(0u, buf.GetBlockCount());
    buf.Assign("x");
    EXPECT_STREQ("x", buf.GetData());
    buf.Clear();
    EXPECT_STREQ("", buf.GetData());
}

TEST(StringBuffer, OneBlockGrowsInPlaceTakesItsOwnTextAndHandsItOver)
{
    CStringBuffer buf(8, true);
    std::string strExpected;
    for (int i = 0; i < 200; ++i)
    {
        std::string strPiece = std::to_string(i) + ",";
        buf.Append(strPiece);
        strExpected += strPiece;
        EXPECT_EQ(1u, buf.GetBlockCount());
    }
    // A piece of the buffer's own text, appended while the block has to grow.
    const char* p = buf.GetData();
    std::string strCopy(p, 100);
    buf.Append(p, 100);
    strExpected += strCopy;
    buf.Append('!');
    strExpected += '!';
    EXPECT_EQ(strExpected, std::string(buf.GetData()));

    size_t nLen = 0;
    char* pText = buf.DetachText(nLen);
    ASSERT_NE(nullptr, pText);
    EXPECT_EQ(strExpected, std::string(pText, nLen));
    EXPECT_EQ('\0', pText[nLen]);
    std::free(pText);
    EXPECT_EQ(0u, buf.GetLength());
    EXPECT_EQ(0u, buf.GetBlockCount());
    EXPECT_EQ(nullptr, buf.DetachText(nLen));
    EXPECT_EQ(0u, nLen);
    buf.Append("again");
    EXPECT_STREQ("again", buf.GetData());

    // A chained buffer joins before it hands over.
    CStringBuffer chained(8);
    chained.Append("0123456789abcdefghij");
    pText = chained.DetachText(nLen);
    EXPECT_EQ("0123456789abcdefghij", std::string(pText, nLen));
    std::free(pText);
}

// ---- CTextStream ----

TEST(TextStream, EncodedDataByEncoding)
{
    CTextStream utf8(XmlEncoding_UTF8);
    EXPECT_EQ(XmlEncoding_UTF8, utf8.GetEncoding());
    EXPECT_EQ(0u, utf8.GetEncodedData().GetLength());
    // Across many blocks, with a character split by a block boundary.
    std::string strText;
    for (int i = 0; i < 3000; ++i)
        strText += "x\xC3\xA9";
    utf8.Write(strText);
    utf8.Write('!');
    EXPECT_EQ(strText + "!", Bytes(utf8.GetEncodedData()));

    CTextStream utf16(XmlEncoding_UTF16NoDecl);
    utf16.Write("a\xC3\xA9", 3);
    EXPECT_EQ(std::string("a\0\xE9\0", 4), Bytes(utf16.GetEncodedData()));

    CTextStream none;
    none.Write("text");
    EXPECT_STREQ("text", none.GetText());
    EXPECT_KR_THROW(none.GetEncodedData(), CKrException, "Unknown Encoding, select UTF-8 (contact our support team)");
    CTextStream odd(static_cast<XmlEncoding>(9));
    EXPECT_KR_THROW(odd.GetEncodedData(), CKrException, "Unknown Encoding, select UTF-8 (contact our support team)");
}

TEST(TextStream, Utf8DataTakesTheTextOverAndOutlivesTheStream)
{
    CBinaryData data;
    std::string strText(100000, 'x');
    {
        CTextStream s(XmlEncoding_UTF8);
        s.Write(strText);
        s.Write("\xC3\xA9");
        data = s.GetEncodedData();
        EXPECT_EQ(0u, s.GetLength());
        s.Write("next");
        EXPECT_EQ("next", Bytes(s.GetEncodedData()));
    }
    EXPECT_EQ(strText + "\xC3\xA9", Bytes(data));
    data.Append("!");  // the adopted block grows like any other
    EXPECT_EQ(strText.size() + 3, data.GetLength());
    unsigned char* p = data.ReleaseData();
    EXPECT_EQ('!', p[strText.size() + 2]);
    delete[] p;
}

TEST(TextStream, InvalidLocalTextIsRepairedEvenAcrossBlocks)
{
    CTextStream s(XmlEncoding_UTF8);
    s.Write(std::string(5000, 'a'));
    s.Write("\xFF");
    EXPECT_EQ(std::string(5000, 'a') + "\xEF\xBF\xBD", Bytes(s.GetEncodedData()));
}

// ---- CFileTextStream ----

TEST(FileTextStream, WritesBlocksInOrderWithByteOrderMark)
{
    std::string strPath = TempPath("fts-utf16.txt");
    std::string strExpected;
    {
        CFileTextStream s(strPath.c_str(), XmlEncoding_UTF16);
        s.Start();
        for (int i = 0; i < 50000; ++i)
        {
            std::string strLine = "line " + std::to_string(i) + " \xC3\xA9\n";
            s.Write(strLine);
            strExpected += strLine;
            if (s.GetLength() >= 4096)
                s.Flush();
        }
        s.End();
    }
    std::string strFile = ReadFileBytes(strPath);
    EXPECT_EQ("\xFF\xFE" + Bytes(LocalToUtf16(strExpected.c_str())), strFile);
}

TEST(FileTextStream, Utf8WithoutByteOrderMarkAndEmptyDocument)
{
    std::string strPath = TempPath("fts-utf8.txt");
    {
        CFileTextStream s(strPath.c_str(), XmlEncoding_UTF8);
        s.Start();
        s.Write("caf\xC3\xA9");
        s.End();
        EXPECT_NE(std::string::npos, CInstanceMonitor::DumpState().find("--> CFileTextStream = 1/"));
    }
    EXPECT_EQ("caf\xC3\xA9", ReadFileBytes(strPath));
    {
        CFileTextStream s(strPath.c_str(), XmlEncoding_UTF16NoDecl);
        s.Start();
        s.End();
    }
    EXPECT_EQ("\xFF\xFE", ReadFileBytes(strPath));
}

TEST(FileTextStream, EncodingNoneFailsAtTheFirstFlushHavingCreatedTheFile)
{
    std::string strPath = TempPath("fts-none.txt");
    CFileTextStream s(strPath.c_str(), XmlEncoding_None);
    s.Start();
    s.Write(std::string(CFileTextStream::kBlockSize, 'x'));
    EXPECT_KR_THROW(s.Flush(), CKrException, "Unknown Encoding, select UTF-8 (contact our support team)");
    EXPECT_EQ("", ReadFileBytes(strPath));
    // Closed after the failure: nothing restarts it.
    EXPECT_KR_THROW(s.End(), CKrException, "The file [" + strPath + "] is not open for writing");
}

TEST(FileTextStream, DestructorWithoutEndLeavesWhatWasWritten)
{
    std::string strPath = TempPath("fts-abandoned.txt");
    {
        CFileTextStream s(strPath.c_str(), XmlEncoding_UTF8);
        s.Start();
        s.Write(std::string(CFileTextStream::kBlockSize, 'y'));
        s.Flush();
        s.Write("never written");
    }
    EXPECT_EQ(std::string(CFileTextStream::kBlockSize, 'y'), ReadFileBytes(strPath));
}

// ---- binary streams ----

TEST(BinaryStream, CollectsBytesAndHandsOutSharedCopies)
{
    CBinaryStream s;
    s.Write(static_cast<unsigned char>(0x01));
    s.Write("ab", 2);
    s.Write(CBinaryData("cd"));
    CBinaryData copy = s.GetData();
    EXPECT_EQ(std::string("\x01" "abcd"), Bytes(copy));
    CBinaryStream t(CBinaryData("xy"));
    t.Write(static_cast<unsigned char>('z'));
    EXPECT_EQ("xyz", Bytes(t.GetData()));
}

TEST(FileBinaryStream, ByteOrderMarkOnlyForUtf16)
{
    std::string strPath = TempPath("fbs.bin");
    const struct
    {
        XmlEncoding e;
        const char* lpPrefix;
    } cases[] = {{XmlEncoding_None, ""}, {XmlEncoding_UTF8, ""}, {XmlEncoding_UTF16, "\xFF\xFE"},
                 {XmlEncoding_UTF16NoDecl, "\xFF\xFE"}};
    for (const auto& c : cases)
    {
        CFileBinaryStream s(strPath.c_str(), c.e, CBinaryData("payload"));
        s.WriteToFile();
        EXPECT_EQ(std::string(c.lpPrefix) + "payload", ReadFileBytes(strPath));
    }
    CFileBinaryStream empty(strPath.c_str(), XmlEncoding_UTF8);
    empty.WriteToFile();
    EXPECT_EQ("", ReadFileBytes(strPath));
}

} // namespace
