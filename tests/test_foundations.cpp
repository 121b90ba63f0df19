#include "testsupport.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include <sys/wait.h>

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

// ---- exceptions ----

TEST(Exceptions, PathLineOnlyWhenThereIsAPath)
{
    CKrException e("m", std::string());
    EXPECT_EQ("m", e.GetMessage());
    EXPECT_EQ("", e.GetPath());
    CKrValidationException v("m", "/a/b");
    EXPECT_EQ("m\nPath: /a/b", v.GetMessage());
    EXPECT_EQ("/a/b", v.GetPath());
}

TEST(Exceptions, ChainAndCopiesOwnTheirInnerExceptions)
{
    CKrInvalidValueException innermost("three");
    CKrValidationException middle("two", "/x", innermost);
    CKrException* pOuter = new CKrException("one", middle);
    EXPECT_EQ("one\ntwo\nPath: /x\nthree", pOuter->GetFullMessage());

    CKrException copy(*pOuter);
    CKrException assigned("other", CKrException("dropped"));
    assigned = *pOuter;
    delete pOuter;
    ASSERT_NE(nullptr, copy.GetInnerException());
    EXPECT_EQ("two\nPath: /x", copy.GetInnerException()->GetMessage());
    EXPECT_EQ("/x", copy.GetInnerException()->GetPath());
    EXPECT_EQ("one\ntwo\nPath: /x\nthree", assigned.GetFullMessage());
    const CKrException& copiedInnermost = *copy.GetInnerException()->GetInnerException();
    EXPECT_TRUE(typeid(copiedInnermost) == typeid(CKrInvalidValueException));
    std::unique_ptr<CKrException> clone(static_cast<const CKrException&>(innermost).Clone());
    const CKrException& cloned = *clone;
    EXPECT_TRUE(typeid(cloned) == typeid(CKrInvalidValueException));  // the most derived class
}

TEST(Exceptions, RetypingCopiesMessagePathAndInner)
{
    CKrValidationException src("msg", "/p", CKrOverFlowException("big"));
    CKrInvalidStateException retyped(src);
    EXPECT_EQ("msg\nPath: /p", retyped.GetMessage());
    EXPECT_EQ("/p", retyped.GetPath());
    ASSERT_NE(nullptr, retyped.GetInnerException());
    const CKrException& inner = *retyped.GetInnerException();
    EXPECT_TRUE(typeid(inner) == typeid(CKrOverFlowException));
}

// ---- formatting ----

TEST(FormatString, AnyLengthAndTheLibrarysPlaceholders)
{
    std::string strLong(100000, 'x');
    EXPECT_EQ(strLong + "!", FormatString("%s!", strLong.c_str()));
    EXPECT_EQ("a 7 2.50 z 0000002a 0000002A", FormatString("a %d %.2f %c %08x %08X", 7, 2.5, 'z', 42u, 42u));
    const char* lpWindowsStyle = "%I64d|%5I64u";  // the 64-bit modifier of the library's messages
    EXPECT_EQ("-9000000000|   12", FormatString(lpWindowsStyle, static_cast<long long>(-9000000000LL), 12ull));
    EXPECT_EQ("100%", FormatString("100%%"));
}

TEST(DebugTrace, SendsPiecesOf128Characters)
{
    std::vector<std::string> pieces;
    static std::vector<std::string>* s_pPieces;
    s_pPieces = &pieces;
    SetDebugOutput([](const char* lpText) { s_pPieces->push_back(lpText); });
    DebugTrace("%s", std::string(300, 'y').c_str());
    SetDebugOutput(nullptr);
    ASSERT_EQ(3u, pieces.size());
    EXPECT_EQ(128u, pieces[0].size());
    EXPECT_EQ(128u, pieces[1].size());
    EXPECT_EQ(44u, pieces[2].size());
}

// ---- smart pointer and reference counts ----

class CCounted : public CXmlObjectBase
{
public:
    explicit CCounted(int* pDeleted) : m_pDeleted(pDeleted) {}
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }

protected:
    ~CCounted() override { ++*m_pDeleted; }
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* pFirst, const CSerializationContext&, bool) override
    {
        return pFirst;
    }

private:
    int* m_pDeleted;
};

TEST(SmartPtr, AssignmentReleasesTheOldObjectButNotItself)
{
    int nDeleted = 0;
    CSmartPtr<CCounted> a(new CCounted(&nDeleted));
    CSmartPtr<CCounted> b(new CCounted(&nDeleted));
    a = a;
    a = a.p;
    EXPECT_EQ(0, nDeleted);
    EXPECT_EQ(2, a->AddRef());
    EXPECT_EQ(1, a->Release());
    a = b;
    EXPECT_EQ(1, nDeleted);
    a = nullptr;
    b = nullptr;
    EXPECT_EQ(2, nDeleted);
}

TEST(SmartPtr, MoveTakesOverTheReference)
{
    static_assert(std::is_nothrow_move_constructible<CSmartPtr<CCounted>>::value, "move construction");
    static_assert(std::is_nothrow_move_assignable<CSmartPtr<CCounted>>::value, "move assignment");
    int nDeleted = 0;
    CSmartPtr<CCounted> a(new CCounted(&nDeleted));
    CSmartPtr<CCounted> b(std::move(a));
    EXPECT_EQ(nullptr, a.p);
    EXPECT_EQ(2, b->AddRef());  // still the one reference
    b->Release();
    CSmartPtr<CCounted> c(new CCounted(&nDeleted));
    c = std::move(b);
    EXPECT_EQ(1, nDeleted);  // c's old object went
    EXPECT_EQ(nullptr, b.p);
    CSmartPtr<CCounted>& alias = c;
    c = std::move(alias);  // into itself: nothing changes
    EXPECT_EQ(1, nDeleted);
    ASSERT_NE(nullptr, c.p);
    EXPECT_EQ(2, c->AddRef());
    c->Release();
    CSmartPtr<CCounted> empty;
    c = std::move(empty);
    EXPECT_EQ(2, nDeleted);

    // A growing vector moves its pointers, so the counts stay at 1.
    std::vector<CSmartPtr<CCounted>> v;
    for (int i = 0; i < 100; ++i)
        v.push_back(CSmartPtr<CCounted>(new CCounted(&nDeleted)));
    EXPECT_EQ(2, v.front()->AddRef());
    v.front()->Release();
    v.clear();
    EXPECT_EQ(102, nDeleted);
}

// Made by a holder that several threads fill at once; counts the living objects.
struct CLazyProbe
{
    static std::atomic<int> s_nAlive;
    CLazyProbe() { ++s_nAlive; }
    ~CLazyProbe() { --s_nAlive; }
};
std::atomic<int> CLazyProbe::s_nAlive{0};

TEST(LazyPtr, ThreadsThatMakeAtOnceGetOneObjectAndNothingLeaks)
{
    for (int iRound = 0; iRound < 200; ++iRound)
    {
        CLazyPtr<CLazyProbe> holder;
        EXPECT_EQ(nullptr, holder.Get());
        CLazyProbe* apSeen[2] = {};
        KrXmlTest::OnTwoThreads(
            [&](int i) { apSeen[i] = &holder.GetOrMake([] { return std::unique_ptr<CLazyProbe>(new CLazyProbe); }); });
        ASSERT_EQ(apSeen[0], apSeen[1]) << "round " << iRound;
        ASSERT_EQ(apSeen[0], holder.Get());
        ASSERT_EQ(1, CLazyProbe::s_nAlive.load());
    }
    EXPECT_EQ(0, CLazyProbe::s_nAlive.load());
}

TEST(SmartPtr, ConcurrentReleaseDeletesExactlyOnce)
{
    for (int round = 0; round < 50; ++round)
    {
        std::atomic<int> nDeleted{0};
        int nPlain = 0;
        CCounted* pObject = new CCounted(&nPlain);
        std::vector<CSmartPtr<CCounted>> holders(8, CSmartPtr<CCounted>(pObject));
        std::vector<std::thread> threads;
        for (auto& holder : holders)
            threads.emplace_back([&holder] {
                for (int i = 0; i < 1000; ++i)
                {
                    CSmartPtr<CCounted> extra(holder);
                }
                holder = nullptr;
            });
        for (auto& t : threads)
            t.join();
        nDeleted += nPlain;
        EXPECT_EQ(1, nDeleted.load());
    }
}

// ---- instance report ----

class CMonitoredA : public CInstanceMonitor
{
public:
    CMonitoredA() : CInstanceMonitor("CTestMonitoredA") {}
};

TEST(InstanceMonitor, ReportMarksLiveClasses)
{
    auto line = [] {
        std::string s = CInstanceMonitor::DumpState();
        size_t pos = s.find("CTestMonitoredA");
        EXPECT_NE(std::string::npos, pos);
        size_t start = s.rfind('\n', pos) + 1;
        size_t end = s.find('\n', pos);
        return s.substr(start, end == std::string::npos ? std::string::npos : end - start);
    };
    {
        CMonitoredA a;
        CMonitoredA b(a);  // a copy is a new instance
        EXPECT_EQ("--> CTestMonitoredA = 2/2", line());
    }
    EXPECT_EQ("    CTestMonitoredA = 0/2", line());
    EXPECT_EQ(0u, CInstanceMonitor::DumpState().find(
                      "Instances of classes still in existence/Total Number of instances created\n"));
}

TEST(InstanceMonitor, CleanupKeepsTheRecordsOfLiveInstances)
{
    struct CRetiree : CInstanceMonitor
    {
        CRetiree() : CInstanceMonitor("CTestRetiree") {}
    };
    std::unique_ptr<CRetiree> spOld(new CRetiree);
    CInstanceMonitor::Cleanup();
    EXPECT_EQ(std::string::npos, CInstanceMonitor::DumpState().find("CTestRetiree"));
    {
        CRetiree copy(*spOld);  // counts into the record that Cleanup kept
        spOld.reset();
        CRetiree fresh;  // a new record
        EXPECT_NE(std::string::npos, CInstanceMonitor::DumpState().find("--> CTestRetiree = 1/1"));
    }  // the copy, the last of the old record, frees it
    EXPECT_NE(std::string::npos, CInstanceMonitor::DumpState().find("    CTestRetiree = 0/1"));
}

// Globals of an application that die after the library's own statics still find their
// instance records, and the report still goes out at unload.
TEST(InstanceMonitor, ApplicationGlobalsMayOutliveTheLibrarysStatics)
{
    std::string strCommand = std::string("'") + KRXML_GLOBALS_AT_EXIT_PATH + "' 2>&1";
    FILE* pPipe = popen(strCommand.c_str(), "r");
    ASSERT_NE(nullptr, pPipe);
    std::string strOut;
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof(buf), pPipe)) > 0;)
        strOut.append(buf, n);
    int iStatus = pclose(pPipe);
    ASSERT_TRUE(WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0) << "status " << iStatus << "\n" << strOut;
    EXPECT_EQ(std::string::npos, strOut.find("Sanitizer")) << strOut;
    const char* const aExpected[] = {
        "<AA:kept xmlns:AA=\"urn:k\"><AA:child/></AA:kept>\n",
        "<AA:kept xmlns:AA=\"urn:k\" xmlns:AB=\"urn:x\" AB:extra=\"1\"><AA:child/></AA:kept>\n",
        "Dumping Class instances\n",
        "--> CElement = 2/2\n",
        "late: <late a=\"1\"/>\n",
    };
    size_t pos = 0;
    for (const char* lpExpected : aExpected)
    {
        size_t found = strOut.find(lpExpected, pos);
        ASSERT_NE(std::string::npos, found) << "[" << lpExpected << "] in order in:\n" << strOut;
        pos = found;
    }
}

// ---- context and aliases ----

TEST(SerializationContext, IgnoreRulesExcludeEachOther)
{
    CSerializationContext ctx;
    ctx.SetIgnoreMissingMandatoryElements(true);
    ctx.SetIgnoreUnknownElements(false);
    EXPECT_KR_THROW(ctx.SetIgnoreUnknownElements(true), CKrInvalidStateException,
                    "The parser can only ignore additional elements, or ignore the fact that some required ones are "
                    "missing, you can not ignore both\nSet IgnoreMissingMandatoryElements to false before setting "
                    "IgnoreUnknownElements to true");
    EXPECT_FALSE(ctx.GetIgnoreUnknownElements());
    ctx.SetIgnoreMissingMandatoryElements(false);
    ctx.SetIgnoreUnknownElements(true);
    EXPECT_KR_THROW(ctx.SetIgnoreMissingMandatoryElements(true), CKrInvalidStateException,
                    "The parser can only ignore additional elements, or ignore the fact that some required ones are "
                    "missing, you can not ignore both\nSet IgnoreUnknownElements to false before setting "
                    "IgnoreMissingMandatoryElements to true");
}

TEST(SerializationContext, IndentCharsAndSchemaType)
{
    CSerializationContext ctx;
    ctx.SetIndentChars("  \t");
    EXPECT_KR_THROW(ctx.SetIndentChars("x"), CKrInvalidParamException,
                    "IndentChars can only contain Whitespace characters, i.e. \\t or spaces");
    EXPECT_EQ("  \t", ctx.GetIndentChars());
    ctx.SetIndentChars(nullptr);
    EXPECT_EQ("", ctx.GetIndentChars());
    ctx.SetSchemaType(SchemaType_NoNamespaces);
    EXPECT_TRUE(ctx.GetIgnoreNamespaces());
    CSerializationContext copy(ctx);
    EXPECT_EQ(SchemaType_NoNamespaces, copy.GetSchemaType());
}

TEST(NamespaceAliasMap, LookupsInKeyOrder)
{
    CNamespaceAliasMap map;
    map.Add("p", "urn:b");
    map.Add("p", "urn:a");
    map.Add("q", "urn:b");  // replaces p for urn:b
    EXPECT_EQ(2, map.GetNamespaceCount());
    EXPECT_EQ("urn:a", map.GetNamespaceFromAlias("p"));
    EXPECT_EQ("q", map.GetAliasFromNamespace("urn:b"));
    EXPECT_EQ("", map.GetAliasFromNamespace("urn:none"));
    EXPECT_KR_THROW(map.GetNamespaceFromAlias("z"), CKrException, "Namespace alias [z] not found");
    EXPECT_EQ("urn:a", map.GetNamespaceAt(0));
    EXPECT_EQ("urn:b", map.GetNamespaceAt(1));
    map.RemoveNamespace("urn:a");
    EXPECT_FALSE(map.DoesAliasExist("p"));
    EXPECT_TRUE(map.DoesNamespaceExist("urn:b"));
}

TEST(NamespaceAliasMap, WalkingByIndexFollowsChangesCopiesAndRestarts)
{
    CNamespaceAliasMap map;
    for (int i = 0; i < 100; ++i)
        map.Add(("p" + std::to_string(i)).c_str(), ("urn:" + std::to_string(1000 + i)).c_str());
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ("urn:" + std::to_string(1000 + i), map.GetNamespaceAt(i));
    EXPECT_EQ("urn:1050", map.GetNamespaceAt(50));  // backwards
    CNamespaceAliasMap copy = map;
    EXPECT_EQ("urn:1051", copy.GetNamespaceAt(51));
    copy.Add("x", "urn:0");  // a new first entry in the copy only
    EXPECT_EQ("urn:0", copy.GetNamespaceAt(0));
    EXPECT_EQ("urn:1050", copy.GetNamespaceAt(51));
    EXPECT_EQ("urn:1051", map.GetNamespaceAt(51));
    map.RemoveNamespace("urn:1000");
    EXPECT_EQ("urn:1052", map.GetNamespaceAt(51));
    map = copy;
    EXPECT_EQ("urn:1050", map.GetNamespaceAt(51));
    EXPECT_KR_THROW(map.GetNamespaceAt(101), CKrInvalidParamException, "Index Out of range [101]");
}

} // namespace
