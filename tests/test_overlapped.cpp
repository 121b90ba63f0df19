// Load's overlapped route (AsyncFromXmlFile): the same objects as the plain route at the sizes
// around its chunk, two chunk buffers whatever the file's size, and its refusals.
#include "testsupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <new>
#include <unistd.h>
#include <vector>

#include "allocationhooks.h"
#include "krxmllib.h"
#include "pogenerator.h"
#include "purchaseorder.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

// The sizes of large allocations while a test records them: operator new, and Expat's own.
namespace {
std::atomic<bool> g_bRecord{false};
std::mutex g_recordMutex;
std::vector<size_t> g_large, g_expat;
const size_t kLarge = 64 * 1024;

void Record(std::vector<size_t>& sizes, size_t n)
{
    if (n >= kLarge && g_bRecord.load())
    {
        std::lock_guard<std::mutex> lock(g_recordMutex);
        g_bRecord = false;  // the vector's own growth isn't the library's
        sizes.push_back(n);
        g_bRecord = true;
    }
}
} // namespace

void* operator new(size_t n)
{
    Record(g_large, n);
    if (void* p = std::malloc(n ? n : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[](size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }

namespace {

void* ExpatMalloc(size_t n)
{
    Record(g_expat, n);
    return std::malloc(n);
}
void* ExpatRealloc(void* p, size_t n)
{
    Record(g_expat, n);
    return std::realloc(p, n);
}

struct AsyncGuard
{
    explicit AsyncGuard(bool b) { AsyncFromXmlFile(b); }
    ~AsyncGuard() { AsyncFromXmlFile(false); }
};

const CSerializationContext& Ctx()
{
    static CSerializationContext ctx = [] {
        CSerializationContext c;
        c.SetDefaultNamespaceURI(PurchaseOrder::kNamespace);
        return c;
    }();
    return ctx;
}

const uint32_t kChunk = 131072;

// A purchase order of exactly nSize bytes: a comment behind the declaration takes up what the
// items leave, so that the end of the document lies on the far side of the chunk bounds.
std::string OrderOfSize(size_t nSize)
{
    const size_t kFrame = 11;  // "<!--", "-->\n" and a blank at least
    size_t nItems = nSize / 600;
    std::string strDoc = KrXmlBench::MakePurchaseOrder(nItems);
    for (std::string strMore; (strMore = KrXmlBench::MakePurchaseOrder(nItems + 1)).size() + kFrame <= nSize; ++nItems)
        strDoc.swap(strMore);
    size_t nDecl = strDoc.find('\n') + 1;
    return strDoc.substr(0, nDecl) + "<!--" + std::string(nSize - strDoc.size() - 8, ' ') + "-->\n" + strDoc.substr(nDecl);
}

// The big file: 100 MB; under AddressSanitizer 8 MB, which still spans 64 chunks, since a read
// of 100 MB into bound objects there takes minutes.
#if defined(__SANITIZE_ADDRESS__)
const size_t kBigItems = 16000;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
const size_t kBigItems = 16000;
#else
const size_t kBigItems = 205000;
#endif
#else
const size_t kBigItems = 205000;
#endif

const std::string& BigFile()
{
    static const std::string s_strPath = [] {
        std::string strPath = TempPath("big.xml");
        std::ofstream out(strPath, std::ios::binary | std::ios::trunc);
        KrXmlBench::CPurchaseOrderGenerator gen;
        gen.Generate(kBigItems, [&](const char* p, size_t n) { out.write(p, static_cast<std::streamsize>(n)); });
        return strPath;
    }();
    return s_strPath;
}

uint64_t FileSize(const std::string& strPath)
{
    std::ifstream in(strPath, std::ios::binary | std::ios::ate);
    return static_cast<uint64_t>(in.tellg());
}

// The object's bytes after a read on one route, or the refusal's message.
template <typename T>
T* Make()
{
    return new T;
}
template <>
CElement* Make<CElement>()
{
    return new CElement("");
}

template <typename T>
std::string ReadOn(bool bAsync, const std::string& strPath)
{
    AsyncGuard guard(bAsync);
    CSmartPtr<T> sp(Make<T>());
    try
    {
        sp->FromXmlFile(strPath.c_str(), Ctx());
    }
    catch (const CKrException& e)
    {
        return "refused: " + e.GetMessage();
    }
    CBinaryData data = sp->ToXmlStream(true, false, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_None);
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

int OpenDescriptors()
{
    int n = 0;
    if (DIR* d = opendir("/proc/self/fd"))
    {
        while (readdir(d))
            ++n;
        closedir(d);
    }
    return n;
}

} // namespace

TEST(OverlappedRead, SameObjectsAsThePlainRoute)
{
    const std::string strSmall = TempPath("sized.xml");
    const struct
    {
        size_t nSize;
        const char* lpRefusal;  // on both routes; null: the document reads
    } kCases[] = {
        {0, "no element found at line 1"},
        {1, "unclosed token at line 1"},
        {kChunk - 1, nullptr},
        {kChunk, nullptr},
        {kChunk + 1, nullptr},
    };
    for (const auto& c : kCases)
    {
        SCOPED_TRACE(c.nSize);
        WriteFileBytes(strSmall, c.nSize == 1 ? std::string("<") : c.nSize ? OrderOfSize(c.nSize) : std::string());
        ASSERT_EQ(c.nSize, FileSize(strSmall));
        for (int iKind = 0; iKind < 2; ++iKind)
        {
            auto read = iKind == 0 ? &ReadOn<PurchaseOrder::CPurchaseOrderType> : &ReadOn<CElement>;
            std::string strPlain = read(false, strSmall), strAsync = read(true, strSmall);
            EXPECT_TRUE(strPlain == strAsync) << strPlain.substr(0, 200) << "\n" << strAsync.substr(0, 200);
            if (c.lpRefusal)
                EXPECT_EQ(std::string("refused: ") + c.lpRefusal, strAsync);
            else
                EXPECT_EQ(std::string::npos, strAsync.find("refused")) << strAsync.substr(0, 200);
        }
    }
    // The big file with the bound classes only: untyped content of that size adds nothing but time.
    const std::string strPlain = ReadOn<PurchaseOrder::CPurchaseOrderType>(false, BigFile());
    const std::string strAsync = ReadOn<PurchaseOrder::CPurchaseOrderType>(true, BigFile());
    EXPECT_GT(strPlain.size(), kBigItems * 400);
    EXPECT_TRUE(strPlain == strAsync);
}

TEST(OverlappedRead, HoldsTwoChunkBuffersAtAnySize)
{
    const std::string strOne = TempPath("one.xml");
    WriteFileBytes(strOne, "<a/>");
    Internal::ExpatAllocator expat{&ExpatMalloc, &ExpatRealloc, &std::free};
    Internal::SetExpatAllocator(&expat);
    for (const std::string& strPath : {strOne, BigFile()})
    {
        SCOPED_TRACE(strPath);
        // What each route allocates beyond the tree's own text, which is the same on both: the
        // root's text between its children grows with the file whichever route reads it.
        std::vector<size_t> route[2];
        for (bool bAsync : {true, false})
        {
            AsyncGuard guard(bAsync);
            // Every element is dropped as it closes, so that the tree takes no room.
            CXmlDocument doc([](CXmlElement*) { return true; });
            g_large.clear();
            g_expat.clear();
            g_bRecord = true;
            doc.Load(strPath.c_str());
            g_bRecord = false;
            route[bAsync] = g_large;
            size_t nExpatMax = 0;
            for (size_t n : g_expat)
                nExpatMax = n > nExpatMax ? n : nExpatMax;
            if (bAsync)
            {
                // The parser's copy of the pieces doesn't grow with the file either.
                EXPECT_LE(nExpatMax, 4 * kChunk);
            }
        }
        std::vector<size_t> treeText = route[false];
        if (strPath != strOne)
        {
            // The plain route reads the whole file first, for contrast.
            ASSERT_FALSE(treeText.empty());
            EXPECT_EQ(FileSize(strPath), treeText.front());
            treeText.erase(treeText.begin());
        }
        std::vector<size_t> expected{kChunk, kChunk};
        expected.insert(expected.end(), treeText.begin(), treeText.end());
        EXPECT_EQ(expected, route[true]);
    }
    Internal::SetExpatAllocator(nullptr);
}

TEST(OverlappedRead, Refusals)
{
    const std::string strDir = TempPath("a-directory");
    std::system(("mkdir -p '" + strDir + "'").c_str());
    const std::string strMissing = TempPath("no-such-file.xml");
    const std::string strGzip = TempPath("order.xml.gz");
    const std::string strXml = KrXmlBench::MakePurchaseOrder(20);
    {
        CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
        sp->FromXml(strXml.c_str(), Ctx());
        sp->ToXmlFile(strGzip.c_str(), true, true, XmlEncoding_UTF8, EOLType_LF, Ctx(), CompressionType_GZip);
    }
    const struct
    {
        std::string strPath;
        std::string strPlain;  // empty: the document reads
        std::string strAsync;
    } kCases[] = {
        {strMissing, "Failed to open the file [" + strMissing + "] Error [0x00000002]",
         "Failed to open the file [" + strMissing + "] Error [0x00000002]"},
        {strDir, "Failed to open the file [" + strDir + "] Error [0x00000015]",
         "Failed to open the file [" + strDir + "] Error [0x00000015]"},
        // The overlapped route takes XML text alone.
        {strGzip, "", "not well-formed (invalid token) at line 1"},
    };
    const int nDescriptors = OpenDescriptors();
    for (const auto& c : kCases)
    {
        SCOPED_TRACE(c.strPath);
        for (bool bAsync : {false, true})
        {
            const std::string& strExpected = bAsync ? c.strAsync : c.strPlain;
            AsyncGuard guard(bAsync);
            CSmartPtr<PurchaseOrder::CPurchaseOrderType> sp(new PurchaseOrder::CPurchaseOrderType);
            if (strExpected.empty())
                sp->FromXmlFile(c.strPath.c_str(), Ctx());
            else
                EXPECT_KR_THROW(sp->FromXmlFile(c.strPath.c_str(), Ctx()), CKrException, strExpected);
        }
    }
    EXPECT_EQ(nDescriptors, OpenDescriptors());
}

namespace {
std::string g_strShrinking;
bool g_bShrunk = false;

// Cuts the file to two chunks while the first is parsed and the second read in the background:
// whether that read comes before or after the cut, it finds the same bytes.
bool ShrinkAtFirstElement(CXmlElement*)
{
    if (!g_bShrunk)
    {
        g_bShrunk = true;
        EXPECT_EQ(0, truncate(g_strShrinking.c_str(), 2 * kChunk));
    }
    return false;
}

bool FailInTheSecondChunk(CXmlElement* pElement)
{
    if (pElement->GetLocalName() == "item" && pElement->GetAttribute("line", "") == "400")
        throw CKrValidationException("refused by the caller", "/the/path");
    return false;
}
} // namespace

TEST(OverlappedRead, FileThatShrinksWhileReadFailsInTheParser)
{
    g_strShrinking = TempPath("shrinking.xml");
    const std::string strCut = TempPath("cut.xml");
    const std::string strDoc = KrXmlBench::MakePurchaseOrder(2000);
    ASSERT_GT(strDoc.size(), 4 * kChunk);
    WriteFileBytes(strCut, strDoc.substr(0, 2 * kChunk));
    std::string strExpected;
    try
    {
        CXmlDocument doc;
        doc.Load(strCut.c_str());
    }
    catch (const CKrException& e)
    {
        strExpected = e.GetMessage();
    }
    ASSERT_NE(std::string::npos, strExpected.find(" at line ")) << strExpected;

    WriteFileBytes(g_strShrinking, strDoc);
    g_bShrunk = false;
    AsyncGuard guard(true);
    CXmlDocument doc(&ShrinkAtFirstElement);
    EXPECT_KR_THROW(doc.Load(g_strShrinking.c_str()), CKrException, strExpected);
    EXPECT_TRUE(g_bShrunk);
    EXPECT_EQ(nullptr, doc.GetDocumentElement());
}

TEST(OverlappedRead, FailureLeavesTheDocumentEmptyAndThePlainClass)
{
    const std::string strPath = TempPath("failing.xml");
    WriteFileBytes(strPath, KrXmlBench::MakePurchaseOrder(2000));
    const int nDescriptors = OpenDescriptors();
    for (bool bAsync : {false, true})
    {
        AsyncGuard guard(bAsync);
        CXmlDocument doc(&FailInTheSecondChunk);
        bool bCaught = false;
        try
        {
            doc.Load(strPath.c_str());
        }
        catch (const CKrException& e)
        {
            bCaught = true;
            EXPECT_EQ("refused by the caller\nPath: /the/path", e.GetMessage());
            EXPECT_EQ("/the/path", e.GetPath());
            // The plain route passes the failure on as it is and keeps the tree so far; the
            // overlapped one empties the document and raises a plain CKrException.
            EXPECT_EQ(bAsync, typeid(e) == typeid(CKrException)) << typeid(e).name();
            EXPECT_EQ(bAsync, doc.GetDocumentElement() == nullptr);
        }
        EXPECT_TRUE(bCaught);
    }
    EXPECT_EQ(nDescriptors, OpenDescriptors());
}
