// gzip and zlib around the output of the three formats and around their input: what other tools
// make of the library's bytes and the library of theirs, damaged streams, and the limit on
// decompressed content.
#include "testsupport.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <new>
#include <zlib.h>

#include "krxmllib.h"
#include "pogenerator.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

// Live bytes from operator new, so that the memory of a refused bomb can be read.
namespace {
std::atomic<long long> g_llLive{0}, g_llPeak{0};
}

void* operator new(size_t n)
{
    void* p = std::malloc(n + 16);
    if (!p)
        throw std::bad_alloc();
    *static_cast<size_t*>(p) = n;
    long long llNow = g_llLive += static_cast<long long>(n);
    long long llPeak = g_llPeak.load();
    while (llNow > llPeak && !g_llPeak.compare_exchange_weak(llPeak, llNow))
    {
    }
    return static_cast<char*>(p) + 16;
}
void* operator new[](size_t n) { return operator new(n); }
void operator delete(void* p) noexcept
{
    if (!p)
        return;
    char* pBlock = static_cast<char*>(p) - 16;
    g_llLive -= static_cast<long long>(*reinterpret_cast<size_t*>(pBlock));
    std::free(pBlock);
}
void operator delete[](void* p) noexcept { operator delete(p); }
void operator delete(void* p, size_t) noexcept { operator delete(p); }
void operator delete[](void* p, size_t) noexcept { operator delete(p); }

namespace {

enum class Format
{
    Xml,
    Json,
    FastInfoset
};

const char* Name(Format e)
{
    return e == Format::Xml ? "XML" : e == Format::Json ? "JSON" : "Fast Infoset";
}

std::string Bytes(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

unsigned char* Ptr(const std::string& str)
{
    return reinterpret_cast<unsigned char*>(const_cast<char*>(str.data()));
}

std::string Hex(const std::string& str, size_t nMax)
{
    std::string strOut;
    for (size_t i = 0; i < str.size() && i < nMax; ++i)
        strOut += FormatString("%s%02X", i ? " " : "", static_cast<unsigned char>(str[i]));
    return strOut;
}

const CSerializationContext& Ctx()
{
    static CSerializationContext ctx = [] {
        CSerializationContext c;
        c.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
        return c;
    }();
    return ctx;
}

// The two kinds of object: a bound purchase order of some kilobytes, and untyped content.
typedef CSmartPtr<CXmlObjectBase> (*MakeFn)();
CSmartPtr<CXmlObjectBase> MakeOrder()
{
    return CSmartPtr<CXmlObjectBase>(new PurchaseOrder::CPurchaseOrderType);
}
CSmartPtr<CXmlObjectBase> MakeElement()
{
    return CSmartPtr<CXmlObjectBase>(new CElement(""));
}
const struct
{
    const char* lpName;
    MakeFn pfnMake;
} kObjects[] = {{"purchase order", &MakeOrder}, {"untyped content", &MakeElement}};

const std::string& OrderXml()
{
    static const std::string s_str = KrXmlBench::MakePurchaseOrder(40);
    return s_str;
}

CSmartPtr<CXmlObjectBase> Sample(MakeFn pfnMake)
{
    CSmartPtr<CXmlObjectBase> sp = pfnMake();
    sp->FromXml(OrderXml().c_str(), Ctx());
    return sp;
}

std::string Write(const CXmlObjectBase& o, Format e, CompressionType c)
{
    switch (e)
    {
    case Format::Xml: return Bytes(o.ToXmlStream(true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), c));
    case Format::Json: return Bytes(o.ToJsonStream(true, XmlEncoding_UTF8, EOLType_LF, Ctx(), c));
    default: return Bytes(o.ToFastInfosetStream(FInfoDecl_None, Ctx(), c));
    }
}

void ReadStream(CXmlObjectBase& o, Format e, const std::string& strBytes)
{
    if (e == Format::Json)
        o.FromJsonStream(Ptr(strBytes), static_cast<uint32_t>(strBytes.size()), Ctx());
    else
        o.FromXmlStream(Ptr(strBytes), static_cast<uint32_t>(strBytes.size()), Ctx());
}

void ReadFile(CXmlObjectBase& o, Format e, const std::string& strPath)
{
    if (e == Format::Json)
        o.FromJsonFile(strPath.c_str(), Ctx());
    else
        o.FromXmlFile(strPath.c_str(), Ctx());
}

std::string XmlOf(const CXmlObjectBase& o)
{
    return o.ToXml(true, false, EOLType_LF, Ctx());
}

// Fast Infoset input needs the reader, which a build may lack: then the object checks of that
// format are skipped, and the bytes are still checked.
bool CanReadFastInfoset()
{
    static const bool s_b = [] {
        try
        {
            CSmartPtr<CXmlObjectBase> sp = Sample(&MakeElement);
            std::string strFi = Write(*sp, Format::FastInfoset, CompressionType_None);
            ReadStream(*MakeElement(), Format::FastInfoset, strFi);
            return true;
        }
        catch (const CKrException&)
        {
            return false;
        }
    }();
    return s_b;
}

// ---- other tools ----

bool Shell(const std::string& strCommand)
{
    return std::system(strCommand.c_str()) == 0;
}

bool HaveGzip() { return Shell("command -v gzip >/dev/null 2>&1 && command -v gunzip >/dev/null 2>&1"); }
bool HavePythonZlib() { return Shell("python3 -c 'import zlib' >/dev/null 2>&1"); }

// Runs a filter over the bytes: strCommand reads IN and writes OUT.
std::string Filter(const std::string& strCommand, const std::string& strInput)
{
    static int s_i = 0;
    std::string strIn = TempPath(FormatString("filter-in-%d", s_i)), strOut = TempPath(FormatString("filter-out-%d", s_i));
    ++s_i;
    WriteFileBytes(strIn, strInput);
    std::string strCmd = strCommand;
    ReplaceAll(strCmd, "IN", "'" + strIn + "'");
    ReplaceAll(strCmd, "OUT", "'" + strOut + "'");
    EXPECT_TRUE(Shell(strCmd)) << strCmd;
    return ReadFileBytes(strOut);
}

const char kGunzip[] = "gunzip -c <IN >OUT";
// Window bits 47: the gzip and the zlib wrapper alike.
const char kPythonInflate[] =
    "python3 -c \"import sys,zlib; open(sys.argv[2],'wb').write(zlib.decompress(open(sys.argv[1],'rb').read(), 47))\" "
    "IN OUT";

std::string Decompressed(std::string strBytes)
{
    uint32_t dwLen = static_cast<uint32_t>(strBytes.size());
    unsigned char* p = new unsigned char[dwLen];
    std::memcpy(p, strBytes.data(), dwLen);
    try
    {
        CKrZip::Decompress(&p, &dwLen);
    }
    catch (...)
    {
        delete[] p;
        throw;
    }
    std::string strOut(reinterpret_cast<char*>(p), dwLen);
    delete[] p;
    return strOut;
}

// The process-wide limits, restored however a test ends.
struct LimitsGuard
{
    LimitsGuard(uint64_t qwSize, uint32_t dwRatio)
    {
        SetMaxDecompressedSize(qwSize);
        SetMaxDecompressionRatio(dwRatio);
    }
    ~LimitsGuard()
    {
        SetMaxDecompressedSize(kDefaultMaxDecompressedSize);
        SetMaxDecompressionRatio(kDefaultMaxDecompressionRatio);
    }
};

const char kGzipHeader[] = "1F 8B 08 00 00 00 00 00 04 03";  // no name, no time, fastest, Unix
const char kZlibHeader[] = "78 01";                          // 32 KB window, level 1

} // namespace

TEST(Compression, OutputOfEachFormatOpensElsewhereAndReadsBack)
{
    const bool bGzip = HaveGzip(), bPython = HavePythonZlib();
    for (const auto& object : kObjects)
        for (Format e : {Format::Xml, Format::Json, Format::FastInfoset})
            for (CompressionType c : {CompressionType_GZip, CompressionType_ZLib})
            {
                SCOPED_TRACE(std::string(object.lpName) + ", " + Name(e) + (c == CompressionType_GZip ? ", gzip" : ", zlib"));
                CSmartPtr<CXmlObjectBase> sp = Sample(object.pfnMake);
                const std::string strPlain = Write(*sp, e, CompressionType_None);
                const std::string strPacked = Write(*sp, e, c);
                EXPECT_EQ(c == CompressionType_GZip ? kGzipHeader : kZlibHeader,
                          Hex(strPacked, c == CompressionType_GZip ? 10 : 2));
                EXPECT_LT(strPacked.size(), strPlain.size());
                EXPECT_TRUE(Decompressed(strPacked) == strPlain);
                if (bGzip && c == CompressionType_GZip)
                {
                    EXPECT_TRUE(Filter(kGunzip, strPacked) == strPlain);
                }
                if (bPython)
                {
                    EXPECT_TRUE(Filter(kPythonInflate, strPacked) == strPlain);
                }
                if (e == Format::FastInfoset && !CanReadFastInfoset())
                    continue;
                CSmartPtr<CXmlObjectBase> spFromPlain = object.pfnMake(), spFromPacked = object.pfnMake();
                ReadStream(*spFromPlain, e, strPlain);
                ReadStream(*spFromPacked, e, strPacked);
                EXPECT_EQ(XmlOf(*spFromPlain), XmlOf(*spFromPacked));
            }
    if (!bGzip || !bPython)
        GTEST_SKIP() << "gzip or python3's zlib missing: those checks were left out";
}

TEST(Compression, FileRoadsWriteGzipAndRefuseZlib)
{
    CSmartPtr<CXmlObjectBase> sp = Sample(&MakeOrder);
    const std::string strPlainPath = TempPath("plain"), strGzPath = TempPath("packed.gz");
    struct Row
    {
        Format e;
        XmlEncoding eEncoding;
    };
    for (Row row : {Row{Format::Xml, XmlEncoding_UTF8}, Row{Format::Xml, XmlEncoding_UTF16}, Row{Format::Json, XmlEncoding_UTF8},
                    Row{Format::FastInfoset, XmlEncoding_None}})
    {
        SCOPED_TRACE(FormatString("%s, encoding %d", Name(row.e), static_cast<int>(row.eEncoding)));
        auto write = [&](const std::string& strPath, CompressionType c) {
            if (row.e == Format::Xml)
                sp->ToXmlFile(strPath.c_str(), true, true, row.eEncoding, EOLType_LF, Ctx(), c);
            else if (row.e == Format::Json)
                sp->ToJsonFile(strPath.c_str(), true, row.eEncoding, EOLType_LF, Ctx(), c);
            else
                sp->ToFastInfosetFile(strPath.c_str(), FInfoDecl_None, Ctx(), c);
        };
        for (bool bAsync : {false, true})
        {
            AsyncToXmlFile(bAsync);
            std::remove(strGzPath.c_str());
            EXPECT_KR_THROW(write(strGzPath, CompressionType_ZLib), CKrException,
                            "ZLIB Compression only available for To Stream methods.");
            EXPECT_FALSE(std::ifstream(strGzPath).good());
            write(strPlainPath, CompressionType_None);
            write(strGzPath, CompressionType_GZip);
            AsyncToXmlFile(false);
            // One gzip stream whose content is the uncompressed file, byte order mark and all.
            const std::string strPacked = ReadFileBytes(strGzPath);
            EXPECT_EQ(kGzipHeader, Hex(strPacked, 10));
            EXPECT_TRUE(Decompressed(strPacked) == ReadFileBytes(strPlainPath));
            if (HaveGzip())
            {
                EXPECT_TRUE(Filter(kGunzip, strPacked) == ReadFileBytes(strPlainPath));
            }
        }
        if (row.e == Format::FastInfoset && !CanReadFastInfoset())
            continue;
        CSmartPtr<CXmlObjectBase> spBack = MakeOrder();
        ReadFile(*spBack, row.e, strGzPath);
        EXPECT_EQ(XmlOf(*sp), XmlOf(*spBack));
    }
}

TEST(Compression, InputCompressedByOtherToolsIsRecognisedOnEveryByteRoad)
{
    const bool bGzip = HaveGzip(), bPython = HavePythonZlib();
    if (!bGzip && !bPython)
        GTEST_SKIP() << "neither gzip nor python3's zlib is installed";
    const struct
    {
        const char* lpTool;
        bool bAvailable;
    } kTools[] = {{"gzip -1 -c <IN >OUT", bGzip},
                  {"gzip -9 -c <IN >OUT", bGzip},
                  {"python3 -c \"import sys,zlib; open(sys.argv[2],'wb').write(zlib.compress(open(sys.argv[1],'rb').read()))\" "
                   "IN OUT",
                   bPython}};
    for (const auto& object : kObjects)
        for (Format e : {Format::Xml, Format::Json, Format::FastInfoset})
        {
            CSmartPtr<CXmlObjectBase> sp = Sample(object.pfnMake);
            const std::string strPlain = Write(*sp, e, CompressionType_None);
            const bool bObjects = e != Format::FastInfoset || CanReadFastInfoset();
            std::string strExpected;
            if (bObjects)
            {
                CSmartPtr<CXmlObjectBase> spPlain = object.pfnMake();
                ReadStream(*spPlain, e, strPlain);
                strExpected = XmlOf(*spPlain);
            }
            for (const auto& tool : kTools)
            {
                if (!tool.bAvailable)
                    continue;
                SCOPED_TRACE(std::string(object.lpName) + ", " + Name(e) + ", " + tool.lpTool);
                const std::string strPacked = Filter(tool.lpTool, strPlain);
                EXPECT_TRUE(Decompressed(strPacked) == strPlain);
                if (!bObjects)
                    continue;
                const std::string strPath = TempPath("input.z");
                WriteFileBytes(strPath, strPacked);
                CSmartPtr<CXmlObjectBase> spStream = object.pfnMake(), spFile = object.pfnMake();
                ReadStream(*spStream, e, strPacked);
                ReadFile(*spFile, e, strPath);
                EXPECT_EQ(strExpected, XmlOf(*spStream));
                EXPECT_EQ(strExpected, XmlOf(*spFile));
            }
        }
}

TEST(Compression, OutputThatDoesNotShrinkIsRefused)
{
    CSmartPtr<CElement> spShort(new CElement(""));
    spShort->FromXml("<a/>", Ctx());
    // zlib's result of the final deflate: output still pending (0), or no room at all (-5).
    EXPECT_KR_THROW(spShort->ToXmlStream(false, false, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_GZip),
                    CKrException, "Failed to compress data. [Error Code: 0]");
    EXPECT_KR_THROW(spShort->ToJsonStream(false, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_ZLib),
                    CKrException, "Failed to compress data. [Error Code: 0]");
    EXPECT_KR_THROW(spShort->ToXmlFile(TempPath("short.gz").c_str(), false, false, XmlEncoding_UTF8, EOLType_LF, Ctx(),
                                       CompressionType_GZip),
                    CKrException, "Failed to compress data. [Error Code: 0]");
    EXPECT_FALSE(std::ifstream(TempPath("short.gz")).good());

    // Incompressible bytes, and nothing at all, through the buffer functions.
    std::string strNoise(4096, '\0');
    uint32_t dwState = 1;
    for (char& c : strNoise)
        c = static_cast<char>((dwState = dwState * 1103515245u + 12345u) >> 24);
    for (CompressionType c : {CompressionType_GZip, CompressionType_ZLib})
    {
        CBinaryData noise(Ptr(strNoise), static_cast<uint32_t>(strNoise.size()), false);
        EXPECT_KR_THROW(CKrZip::CompressBinaryData(noise, c), CKrException, "Failed to compress data. [Error Code: 0]");
        EXPECT_TRUE(Bytes(noise) == strNoise);  // the data keeps its bytes
        CBinaryData empty;
        CKrZip::CompressBinaryData(empty, c);
        EXPECT_EQ(0u, empty.GetLength());
        unsigned char* p = new unsigned char[1];
        uint32_t dwLen = 0;
        EXPECT_KR_THROW(CKrZip::Compress(&p, &dwLen, c), CKrException, "Failed to compress data. [Error Code: -5]");
        delete[] p;
    }
    // Any other type leaves the bytes alone.
    CBinaryData text("<a>some text</a>");
    CKrZip::CompressBinaryData(text, static_cast<CompressionType>(3));
    EXPECT_EQ("<a>some text</a>", Bytes(text));
}

TEST(Compression, PlainInputPassesUntouched)
{
    CSmartPtr<CXmlObjectBase> sp = Sample(&MakeElement);
    const std::string kInputs[] = {Write(*sp, Format::Xml, CompressionType_None),
                                   Write(*sp, Format::Json, CompressionType_None),
                                   Write(*sp, Format::FastInfoset, CompressionType_None),
                                   Bytes(sp->ToXmlStream(false, false, XmlEncoding_UTF16, EOLType_LF, Ctx(), CompressionType_None)),
                                   "\xFF\xFE<\0a\0/\0>\0",
                                   "<",
                                   "x"};
    for (const std::string& strInput : kInputs)
    {
        SCOPED_TRACE(Hex(strInput, 8));
        uint32_t dwLen = static_cast<uint32_t>(strInput.size());
        unsigned char* p = new unsigned char[dwLen];
        std::memcpy(p, strInput.data(), dwLen);
        unsigned char* pBefore = p;
        CKrZip::Decompress(&p, &dwLen);
        EXPECT_EQ(pBefore, p);
        EXPECT_TRUE(std::string(reinterpret_cast<char*>(p), dwLen) == strInput);
        delete[] p;
    }
}

TEST(Compression, DamagedStreamsAreLeftToTheParsers)
{
    CSmartPtr<CXmlObjectBase> sp = Sample(&MakeOrder);
    const std::string strGzip = Write(*sp, Format::Xml, CompressionType_GZip);
    const std::string strZlib = Write(*sp, Format::Xml, CompressionType_ZLib);
    auto flip = [](std::string str, size_t i) {
        str[i] = static_cast<char>(str[i] ^ 0x40);
        return str;
    };
    // The first byte, 0x1F or 'x', is where the XML parser stops.
    const struct
    {
        const char* lpCase;
        std::string strBytes;
    } kCases[] = {
        {"gzip cut in the middle", strGzip.substr(0, strGzip.size() / 2)},
        {"gzip without its length", strGzip.substr(0, strGzip.size() - 4)},
        {"gzip header alone", strGzip.substr(0, 10)},
        {"gzip with a wrong check", flip(strGzip, strGzip.size() - 6)},
        {"gzip with a damaged block", flip(strGzip, strGzip.size() / 2)},
        {"zlib cut in the middle", strZlib.substr(0, strZlib.size() / 2)},
        {"zlib with a wrong check", flip(strZlib, strZlib.size() - 1)},
    };
    for (const auto& c : kCases)
    {
        SCOPED_TRACE(c.lpCase);
        EXPECT_TRUE(Decompressed(c.strBytes) == c.strBytes);
        CSmartPtr<CXmlObjectBase> spBack = MakeOrder();
        EXPECT_KR_THROW(ReadStream(*spBack, Format::Xml, c.strBytes), CKrException,
                        "not well-formed (invalid token) at line 1");
        const std::string strPath = TempPath("damaged.gz");
        WriteFileBytes(strPath, c.strBytes);
        EXPECT_KR_THROW(ReadFile(*spBack, Format::Xml, strPath), CKrException, "not well-formed (invalid token) at line 1");
        // The JSON reader stops at the first byte that isn't UTF-8: gzip's second, and here the
        // first of the deflate data behind zlib's header.
        EXPECT_KR_THROW(ReadStream(*spBack, Format::Json, c.strBytes), CKrException,
                        FormatString("Invalid UTF-8 byte sequence at line 1, position %d.", c.lpCase[0] == 'g' ? 2 : 3));
    }
    // FromXml takes a string for text: gzip bytes there are no stream.
    std::string strText = strGzip.substr(0, strGzip.find('\0'));
    EXPECT_KR_THROW(MakeOrder()->FromXml(strText.c_str(), Ctx()), CKrException,
                    "not well-formed (invalid token) at line 1");
}

TEST(Compression, ContentPastTheLimitIsRefusedNotTruncated)
{
    const std::string strXml = Write(*Sample(&MakeOrder), Format::Xml, CompressionType_None);
    const std::string strGzip = Write(*Sample(&MakeOrder), Format::Xml, CompressionType_GZip);
    const uint64_t qwLen = strXml.size(), qwPacked = strGzip.size();
    const uint32_t dwTightRatio = static_cast<uint32_t>(qwLen / qwPacked);  // the content is a bit more than this
    const struct
    {
        uint64_t qwSize;
        uint32_t dwRatio;
        std::string strMessage;  // empty: the document reads
    } kCases[] = {
        {qwLen, 0, ""},
        {qwLen - 1, 0, FormatString("The decompressed input is larger than %llu bytes, the limit set by SetMaxDecompressedSize.",
                                    static_cast<unsigned long long>(qwLen - 1))},
        {0, dwTightRatio + 1, ""},
        {0, dwTightRatio,
         FormatString("The decompressed input is larger than %llu bytes, %u times its compressed size, the limit set by "
                      "SetMaxDecompressionRatio.",
                      static_cast<unsigned long long>(qwPacked * dwTightRatio), dwTightRatio)},
        {qwLen - 1, dwTightRatio,
         FormatString("The decompressed input is larger than %llu bytes, %u times its compressed size, the limit set by "
                      "SetMaxDecompressionRatio.",
                      static_cast<unsigned long long>(qwPacked * dwTightRatio), dwTightRatio)},
        {0, 0, ""},
    };
    for (const auto& c : kCases)
    {
        SCOPED_TRACE(FormatString("size %llu, ratio %u", static_cast<unsigned long long>(c.qwSize), c.dwRatio));
        LimitsGuard limits(c.qwSize, c.dwRatio);
        CSmartPtr<CXmlObjectBase> spBack = MakeOrder();
        if (c.strMessage.empty())
        {
            ReadStream(*spBack, Format::Xml, strGzip);
            EXPECT_EQ(XmlOf(*Sample(&MakeOrder)), XmlOf(*spBack));
            continue;
        }
        EXPECT_KR_THROW(ReadStream(*spBack, Format::Xml, strGzip), CKrException, c.strMessage);
        uint32_t dwLen = static_cast<uint32_t>(strGzip.size());
        unsigned char* p = new unsigned char[dwLen];
        std::memcpy(p, strGzip.data(), dwLen);
        EXPECT_KR_THROW(CKrZip::Decompress(&p, &dwLen), CKrException, c.strMessage);
        EXPECT_TRUE(std::string(reinterpret_cast<char*>(p), dwLen) == strGzip);  // the input stays
        delete[] p;
    }
}

namespace {

// A gzip file of nRepeats MB of zero bytes: one megabyte deflated and flushed to a byte
// boundary is a block that can follow itself, so that the file is made without deflating the
// whole content; the trailer's check and length are combined from the block's.
std::string ZeroBomb(uint64_t qwRepeats)
{
    const uInt kBlock = 1 << 20;
    std::string strZeros(kBlock, '\0');
    z_stream zs;
    std::memset(&zs, 0, sizeof(zs));
    EXPECT_EQ(Z_OK, deflateInit2(&zs, 9, Z_DEFLATED, 31, 9, Z_DEFAULT_STRATEGY));
    std::string strOut(2 * kBlock, '\0');
    auto deflateBlock = [&](int iFlush) {
        zs.next_in = reinterpret_cast<Bytef*>(&strZeros[0]);
        zs.avail_in = iFlush == Z_FINISH ? 0 : kBlock;
        zs.next_out = reinterpret_cast<Bytef*>(&strOut[0]);
        zs.avail_out = static_cast<uInt>(strOut.size());
        deflate(&zs, iFlush);
        return strOut.substr(0, strOut.size() - zs.avail_out);
    };
    const std::string strFirst = deflateBlock(Z_FULL_FLUSH);  // with the gzip header
    const std::string strBlock = deflateBlock(Z_FULL_FLUSH);
    EXPECT_TRUE(strBlock == deflateBlock(Z_FULL_FLUSH));  // the block repeats
    const std::string strEnd = deflateBlock(Z_FINISH);     // the final empty block and the trailer
    deflateEnd(&zs);
    uLong ulBlockCrc = crc32(0, reinterpret_cast<const Bytef*>(strZeros.data()), kBlock);
    uLong ulCrc = ulBlockCrc;
    std::string strBomb = strFirst;
    strBomb.reserve(strFirst.size() + strBlock.size() * qwRepeats + strEnd.size());
    for (uint64_t i = 1; i < qwRepeats; ++i)
    {
        strBomb += strBlock;
        ulCrc = crc32_combine(ulCrc, ulBlockCrc, kBlock);
    }
    std::string strTrailer = strEnd.substr(0, strEnd.size() - 8);
    uint64_t qwSize = qwRepeats * kBlock;
    for (int i = 0; i < 4; ++i)
        strTrailer += static_cast<char>((ulCrc >> (8 * i)) & 0xFF);
    for (int i = 0; i < 4; ++i)
        strTrailer += static_cast<char>((qwSize >> (8 * i)) & 0xFF);
    return strBomb + strTrailer;
}

} // namespace

TEST(Compression, BombIsRefusedAtTheLimitQuicklyInBoundedMemory)
{
    // A small one first, read whole with the limits off, shows the construction is a real stream.
    {
        LimitsGuard limits(0, 0);
        std::string strSmall = ZeroBomb(3);
        EXPECT_TRUE(Decompressed(strSmall) == std::string(3 << 20, '\0'));
    }
    // About 10 MB that inflate to 10 GB.
    const std::string strBomb = ZeroBomb(10240);
    EXPECT_GT(strBomb.size(), 9u << 20);
    EXPECT_LT(strBomb.size(), 11u << 20);
    const std::string strPath = TempPath("bomb.gz");
    WriteFileBytes(strPath, strBomb);
    const std::string strMessage = "The decompressed input is larger than 536870912 bytes, the limit set by "
                                   "SetMaxDecompressedSize.";
    const struct
    {
        const char* lpRoad;
        std::function<void()> fn;
    } kRoads[] = {
        {"Decompress", [&] { Decompressed(strBomb); }},
        {"FromXmlStream", [&] { ReadStream(*MakeOrder(), Format::Xml, strBomb); }},
        {"FromXmlStream of untyped content", [&] { ReadStream(*MakeElement(), Format::Xml, strBomb); }},
        {"FromJsonStream", [&] { ReadStream(*MakeOrder(), Format::Json, strBomb); }},
        {"FromXmlFile", [&] { ReadFile(*MakeOrder(), Format::Xml, strPath); }},
        {"FromJsonFile", [&] { ReadFile(*MakeOrder(), Format::Json, strPath); }},
    };
    for (const auto& road : kRoads)
    {
        SCOPED_TRACE(road.lpRoad);
        const long long llBefore = g_llLive.load();
        g_llPeak = llBefore;
        auto t0 = std::chrono::steady_clock::now();
        EXPECT_KR_THROW(road.fn(), CKrException, strMessage);
        double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        // The content held stays within the limit; beside it, at most a copy of the input.
        EXPECT_LE(g_llPeak.load() - llBefore, static_cast<long long>(kDefaultMaxDecompressedSize) + 2 * static_cast<long long>(strBomb.size()) + (1 << 20));
        EXPECT_LT(dSeconds, 60.0);  // a second or two; this only catches a run through all 10 GB
        // Nothing of it is kept (a class's tables, made at its first use, may be).
        EXPECT_LT(g_llLive.load() - llBefore, 1 << 16);
    }
}
