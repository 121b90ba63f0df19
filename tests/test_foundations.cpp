#include "testsupport.h"

#include <atomic>
#include <thread>
#include <vector>

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

} // namespace
