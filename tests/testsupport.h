// Helpers shared by the test programs.
#ifndef KRXML_TESTSUPPORT_H
#define KRXML_TESTSUPPORT_H

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

#include "krexception.h"
#include "krlimits.h"

namespace KrXmlTest {

// A file name in a fresh temporary directory of this test process.
std::string TempPath(const std::string& strName);
std::string ReadFileBytes(const std::string& strPath);
void WriteFileBytes(const std::string& strPath, const std::string& strBytes);

// Collects everything sent to the library's debug output while it lives.
class DebugCapture
{
public:
    DebugCapture();
    ~DebugCapture();
    std::string Text() const;
};

// Runs fn(0) on this thread and fn(1) on another, both starting at the same moment.
template <class Fn>
void OnTwoThreads(Fn fn)
{
    std::atomic<int> ready{0};
    auto run = [&](int i) {
        ready.fetch_add(1);
        while (ready.load() < 2)
        {
        }
        fn(i);
    };
    std::thread other(run, 1);
    run(0);
    other.join();
}

// Sets one of the caps of CKrLimits for the length of a scope and puts back what was set before,
// however the scope ends: LimitScope depth(&CKrLimits::SetMaxDepth, &CKrLimits::GetMaxDepth, 0).
class LimitScope
{
public:
    LimitScope(void (*pfnSet)(uint32_t), uint32_t (*pfnGet)(), uint32_t nValue) : m_pfnSet(pfnSet), m_nSaved(pfnGet())
    {
        pfnSet(nValue);
    }
    ~LimitScope() { m_pfnSet(m_nSaved); }
    LimitScope(const LimitScope&) = delete;
    LimitScope& operator=(const LimitScope&) = delete;

private:
    void (*m_pfnSet)(uint32_t);
    uint32_t m_nSaved;
};

// A cap on nesting for the length of a scope (0: none).
class DepthScope : public LimitScope
{
public:
    explicit DepthScope(uint32_t nMax)
        : LimitScope(&KrXmlLib16::CKrLimits::SetMaxDepth, &KrXmlLib16::CKrLimits::GetMaxDepth, nMax)
    {
    }
};

// One link of an exception chain: its class, its message without the path line, its path.
struct KrLink
{
    std::reference_wrapper<const std::type_info> type;
    std::string strMessage;
    std::string strPath;
};

// The exception and its inner exceptions, outermost first, are exactly these links.
::testing::AssertionResult KrChainIs(const KrXmlLib16::CKrException& e, const std::vector<KrLink>& links);

} // namespace KrXmlTest

// Runs stmt and expects a throw whose chain of inner exceptions matches the links given
// (KrLink values, outermost first).
#define EXPECT_KR_CHAIN(stmt, ...)                                                                  \
    do                                                                                              \
    {                                                                                               \
        bool bCaught_ = false;                                                                      \
        try                                                                                         \
        {                                                                                           \
            stmt;                                                                                   \
        }                                                                                           \
        catch (const KrXmlLib16::CKrException& e_)                                                  \
        {                                                                                           \
            bCaught_ = true;                                                                        \
            EXPECT_TRUE(KrXmlTest::KrChainIs(e_, __VA_ARGS__));                                     \
        }                                                                                           \
        EXPECT_TRUE(bCaught_) << "no exception from " #stmt;                                        \
    } while (0)

// Runs stmt and expects a throw of exactly the given class with the given message.
#define EXPECT_KR_THROW(stmt, ExType, message)                                                      \
    do                                                                                              \
    {                                                                                               \
        bool bCaught_ = false;                                                                      \
        try                                                                                         \
        {                                                                                           \
            stmt;                                                                                   \
        }                                                                                           \
        catch (const KrXmlLib16::CKrException& e_)                                                  \
        {                                                                                           \
            bCaught_ = true;                                                                        \
            EXPECT_EQ(std::string(message), e_.GetMessage());                                       \
            EXPECT_TRUE(typeid(e_) == typeid(ExType)) << "thrown as " << typeid(e_).name();         \
        }                                                                                           \
        EXPECT_TRUE(bCaught_) << "no exception from " #stmt;                                        \
    } while (0)

#endif
