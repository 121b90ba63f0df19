#include "memoryleakhelp.h"

#include <cassert>
#include <cstring>

#include "functions.h"

namespace {

const int kSlots = 256;

// One thread's counts, written by that thread alone (plain stores of atomics, no locked
// instruction) and read by DumpState.
struct ThreadCounts
{
    std::atomic<int32_t> alive[kSlots];
    std::atomic<int32_t> total[kSlots];
    ThreadCounts()
    {
        for (int i = 0; i < kSlots; ++i)
        {
            alive[i].store(0, std::memory_order_relaxed);
            total[i].store(0, std::memory_order_relaxed);
        }
    }
};

// The list, its lock and the reporter live in one object so that they are built in this
// order and torn down in the reverse one, whichever translation unit first needs them.
struct InstanceRegistry
{
    std::list<CInstanceMonitor::ClassType*> ms_List;
    CKRCriticalSection m_cs;
    std::atomic<uint32_t> uGeneration{1};  // bumped by Cleanup, so that cached lookups die
    std::list<ThreadCounts*> threads;      // the counts of the living threads
    int nSlotsUsed = 0;

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

// This thread's counts, read on every construction: plain thread-local data in the static
// block, so that reaching it is one instruction. The holder, touched once per thread, moves
// the counts into the records at thread exit.
#if defined(__GNUC__)
#define KRXML_FAST_TLS __attribute__((tls_model("initial-exec")))
#else
#define KRXML_FAST_TLS
#endif
thread_local ThreadCounts* t_pCounts KRXML_FAST_TLS = nullptr;
thread_local bool t_bCountsGone KRXML_FAST_TLS = false;

struct ThreadCountsHolder
{
    ~ThreadCountsHolder();
};
thread_local ThreadCountsHolder t_countsHolder;

ThreadCountsHolder::~ThreadCountsHolder()
{
    t_bCountsGone = true;
    ThreadCounts* pCounts = t_pCounts;
    t_pCounts = nullptr;
    if (!pCounts)
        return;
    InstanceRegistry& reg = Registry();
    CKRLock lock(reg.m_cs);
    for (CInstanceMonitor::ClassType* p : reg.ms_List)
        if (p->iSlot >= 0)
        {
            p->lInstanceCount.fetch_add(pCounts->alive[p->iSlot].load(std::memory_order_relaxed));
            p->lTotalCount.fetch_add(pCounts->total[p->iSlot].load(std::memory_order_relaxed));
        }
    reg.threads.remove(pCounts);
    delete pCounts;
}

ThreadCounts* CountsOfThisThread()
{
    if (ThreadCounts* p = t_pCounts)
        return p;
    if (t_bCountsGone)
        return nullptr;
    (void)&t_countsHolder;  // registers the holder's destructor for this thread
    InstanceRegistry& reg = Registry();
    ThreadCounts* p = new ThreadCounts;
    CKRLock lock(reg.m_cs);
    reg.threads.push_back(p);
    t_pCounts = p;
    return p;
}

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
thread_local LookupCache t_cache KRXML_FAST_TLS;

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
        pct->iSlot = reg.nSlotsUsed < kSlots ? reg.nSlotsUsed++ : -1;
        reg.ms_List.push_back(pct);
    }
    reg.m_cs.Leave();

    cache.keys[cache.iNext] = lpName;
    cache.records[cache.iNext] = pct;
    cache.iNext = (cache.iNext + 1) % LookupCache::kSize;
    return pct;
}

void CInstanceMonitor::Count(ClassType* pct, int32_t lAlive, int32_t lTotal)
{
    ThreadCounts* pCounts = pct->iSlot >= 0 ? CountsOfThisThread() : nullptr;
    if (pCounts)
    {
        std::atomic<int32_t>& alive = pCounts->alive[pct->iSlot];
        alive.store(alive.load(std::memory_order_relaxed) + lAlive, std::memory_order_relaxed);
        std::atomic<int32_t>& total = pCounts->total[pct->iSlot];
        total.store(total.load(std::memory_order_relaxed) + lTotal, std::memory_order_relaxed);
        return;
    }
    pct->lInstanceCount.fetch_add(lAlive, std::memory_order_relaxed);
    pct->lTotalCount.fetch_add(lTotal, std::memory_order_relaxed);
}

CInstanceMonitor::CInstanceMonitor(const char* lpName) : m_pct(Find(lpName))
{
    Count(m_pct, 1, 1);
}

CInstanceMonitor::CInstanceMonitor(const CInstanceMonitor& other) : m_pct(other.m_pct)
{
    assert(m_pct);
    Count(m_pct, 1, 1);
}

CInstanceMonitor::~CInstanceMonitor()
{
    // The count can't be checked against zero here: another thread may hold the other half.
    assert(m_pct);
    Count(m_pct, -1, 0);
}

void CInstanceMonitor::Cleanup()
{
    InstanceRegistry& reg = Registry();
    for (ClassType* p : reg.ms_List)
        delete p;
    reg.ms_List.clear();
    // Slots are reused by the records made after this: the counts of the old ones go.
    for (ThreadCounts* pCounts : reg.threads)
        for (int i = 0; i < kSlots; ++i)
        {
            pCounts->alive[i].store(0, std::memory_order_relaxed);
            pCounts->total[i].store(0, std::memory_order_relaxed);
        }
    reg.nSlotsUsed = 0;
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
        int32_t lTotal = p->lTotalCount.load();
        if (p->iSlot >= 0)
            for (ThreadCounts* pCounts : reg.threads)
            {
                lAlive += pCounts->alive[p->iSlot].load(std::memory_order_relaxed);
                lTotal += pCounts->total[p->iSlot].load(std::memory_order_relaxed);
            }
        strReport += KrXmlLib16::FormatString(lAlive < 1 ? "    %s = %d/%d" : "--> %s = %d/%d", p->strClassName.c_str(),
                                              static_cast<int>(lAlive), static_cast<int>(lTotal));
    }
    return strReport;
}
