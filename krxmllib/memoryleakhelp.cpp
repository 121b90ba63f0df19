#include "memoryleakhelp.h"

#include <cassert>
#include <cstring>

#include "functions.h"

namespace {

// The list, its lock and the reporter live in one object so that they are built in this
// order and torn down in the reverse one, whichever translation unit first needs them.
struct InstanceRegistry
{
    std::list<CInstanceMonitor::ClassType*> ms_List;
    CKRCriticalSection m_cs;
    std::atomic<uint32_t> uGeneration{1};  // bumped by Cleanup, so that cached lookups die

    InstanceRegistry() { KrXmlLib16::DebugTrace("Starting to track Class instances\n"); }
    ~InstanceRegistry()
    {
        KrXmlLib16::DebugTrace("Dumping Class instances\n");
        KrXmlLib16::DebugTrace("%s", CInstanceMonitor::DumpState().c_str());
        KrXmlLib16::DebugTrace("\n");
        CInstanceMonitor::Cleanup();
    }
};

InstanceRegistry& Registry()
{
    static InstanceRegistry s_registry;
    return s_registry;
}

// Build the registry during static construction, so that the start message comes first.
const InstanceRegistry& g_registryAtStart = Registry();

// Objects are made in large numbers (a tree node per element): a small per-thread cache of
// name pointer to record spares the lock and the walk on the common path.
struct LookupCache
{
    static const int kSize = 8;
    const char* keys[kSize] = {};
    CInstanceMonitor::ClassType* records[kSize] = {};
    uint32_t uGeneration = 0;
    int iNext = 0;
};
thread_local LookupCache t_cache;

} // namespace

CInstanceMonitor::ClassType* CInstanceMonitor::Find(const char* lpName)
{
    InstanceRegistry& reg = Registry();
    LookupCache& cache = t_cache;
    uint32_t uGen = reg.uGeneration.load(std::memory_order_acquire);
    if (cache.uGeneration != uGen)
    {
        cache = LookupCache();
        cache.uGeneration = uGen;
    }
    for (int i = 0; i < LookupCache::kSize; ++i)
        if (cache.keys[i] == lpName)
            return cache.records[i];

    ClassType* pct = nullptr;
    reg.m_cs.Enter();
    for (ClassType* p : reg.ms_List)
        if (p->lpKey == lpName || p->strClassName == lpName)
        {
            pct = p;
            break;
        }
    if (!pct)
    {
        pct = new ClassType;
        pct->strClassName = lpName;
        pct->lInstanceCount = 0;
        pct->lTotalCount = 0;
        pct->lpKey = lpName;
        reg.ms_List.push_back(pct);
    }
    reg.m_cs.Leave();

    cache.keys[cache.iNext] = lpName;
    cache.records[cache.iNext] = pct;
    cache.iNext = (cache.iNext + 1) % LookupCache::kSize;
    return pct;
}

CInstanceMonitor::CInstanceMonitor(const char* lpName) : m_pct(Find(lpName))
{
    m_pct->lInstanceCount.fetch_add(1, std::memory_order_relaxed);
    m_pct->lTotalCount.fetch_add(1, std::memory_order_relaxed);
}

CInstanceMonitor::CInstanceMonitor(const CInstanceMonitor& other) : m_pct(other.m_pct)
{
    assert(m_pct);
    m_pct->lInstanceCount.fetch_add(1, std::memory_order_relaxed);
    m_pct->lTotalCount.fetch_add(1, std::memory_order_relaxed);
}

CInstanceMonitor::~CInstanceMonitor()
{
    assert(m_pct);
    int32_t lNow = m_pct->lInstanceCount.fetch_sub(1, std::memory_order_relaxed) - 1;
    assert(lNow >= 0);
    (void)lNow;
}

void CInstanceMonitor::Cleanup()
{
    InstanceRegistry& reg = Registry();
    for (ClassType* p : reg.ms_List)
        delete p;
    reg.ms_List.clear();
    reg.uGeneration.fetch_add(1, std::memory_order_release);
}

std::string CInstanceMonitor::DumpState()
{
    InstanceRegistry& reg = Registry();
    CKRLock lock(reg.m_cs);
    std::string strReport = "Instances of classes still in existence/Total Number of instances created\n";
    bool bFirst = true;
    for (ClassType* p : reg.ms_List)
    {
        if (!bFirst)
            strReport += "\n";
        bFirst = false;
        int32_t lAlive = p->lInstanceCount.load();
        strReport += KrXmlLib16::FormatString(lAlive < 1 ? "    %s = %d/%d" : "--> %s = %d/%d", p->strClassName.c_str(),
                                              static_cast<int>(lAlive), static_cast<int>(p->lTotalCount.load()));
    }
    return strReport;
}
