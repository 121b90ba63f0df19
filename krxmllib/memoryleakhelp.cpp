#include "memoryleakhelp.h"

#include <cassert>
#include <cstring>
#include <memory>

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

// The list, its lock and the per-thread counts. Never destroyed: an application's static may
// hold a monitored object that dies after every static of this library, and its destructor
// still counts into its record under this lock. The pointer that holds it keeps it reachable,
// so that leak checkers don't count it.
struct InstanceRegistry
{
    std::list<CInstanceMonitor::ClassType*> ms_List;
    CKRCriticalSection m_cs;
    std::list<std::unique_ptr<ThreadCounts>> threads;  // the counts of the living threads
    int nSlotsUsed = 0;
    // Records that Cleanup took out of the list while instances lived; kept reachable here
    // until the last instance frees its record.
    std::list<CInstanceMonitor::ClassType*> retired;
};

// Bumped by Cleanup, so that cached lookups die. Outside the registry, so that a lookup that
// hits its cache needn't reach the registry at all.
std::atomic<uint32_t> g_uGeneration{1};

InstanceRegistry& Registry()
{
    static InstanceRegistry* const s_pRegistry = new InstanceRegistry;
    return *s_pRegistry;
}

// Sends the report at unload and frees the records that no instance needs any more.
struct CInstanceReport
{
    CInstanceReport()
    {
        Registry();
        KrXmlLib16::DebugTrace("Starting to track Class instances\n");
    }
    ~CInstanceReport()
    {
        KrXmlLib16::DebugTrace("Dumping Class instances\n");
        KrXmlLib16::DebugTrace("%s", CInstanceMonitor::DumpState().c_str());
        KrXmlLib16::DebugTrace("\n");
        CInstanceMonitor::Cleanup();
    }
};

// Built during static construction, so that the start message comes first.
const CInstanceReport g_instanceReport;

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
    {
        int iSlot = p->iSlot.load(std::memory_order_relaxed);
        if (iSlot >= 0)
        {
            p->lInstanceCount.fetch_add(pCounts->alive[iSlot].load(std::memory_order_relaxed));
            p->lTotalCount.fetch_add(pCounts->total[iSlot].load(std::memory_order_relaxed));
        }
    }
    reg.threads.remove_if([pCounts](const std::unique_ptr<ThreadCounts>& sp) { return sp.get() == pCounts; });
}

ThreadCounts* CountsOfThisThread()
{
    if (ThreadCounts* p = t_pCounts)
        return p;
    if (t_bCountsGone)
        return nullptr;
    (void)&t_countsHolder;  // registers the holder's destructor for this thread
    InstanceRegistry& reg = Registry();
    std::unique_ptr<ThreadCounts> sp(new ThreadCounts);
    ThreadCounts* p = sp.get();
    CKRLock lock(reg.m_cs);
    reg.threads.push_back(std::move(sp));
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
    int iLast = 0;  // the entry found last: objects of one class tend to be made in a row
};
thread_local LookupCache t_cache KRXML_FAST_TLS;

} // namespace

namespace {

// The parts of Find and Count off their common path, out of line, so that the common path
// needs no frame.
__attribute__((noinline)) CInstanceMonitor::ClassType* FindUncached(const char* lpName, LookupCache& cache,
                                                                     uint32_t uGen)
{
    if (cache.uGeneration != uGen)
    {
        cache = LookupCache();
        cache.uGeneration = uGen;
    }
    for (int i = 0; i < LookupCache::kSize; ++i)
        if (cache.keys[i] == lpName)
        {
            cache.iLast = i;
            return cache.records[i];
        }

    InstanceRegistry& reg = Registry();
    CInstanceMonitor::ClassType* pct = nullptr;
    reg.m_cs.Enter();
    for (CInstanceMonitor::ClassType* p : reg.ms_List)
        if (p->lpKey == lpName || p->strClassName == lpName)
        {
            pct = p;
            break;
        }
    if (!pct)
    {
        pct = new CInstanceMonitor::ClassType;
        pct->strClassName = lpName;
        pct->lInstanceCount = 0;
        pct->lTotalCount = 0;
        pct->lpKey = lpName;
        pct->iSlot = reg.nSlotsUsed < kSlots ? reg.nSlotsUsed++ : -1;
        pct->bRetired = false;
        reg.ms_List.push_back(pct);
    }
    reg.m_cs.Leave();

    cache.keys[cache.iNext] = lpName;
    cache.records[cache.iNext] = pct;
    cache.iLast = cache.iNext;
    cache.iNext = (cache.iNext + 1) % LookupCache::kSize;
    return pct;
}

__attribute__((noinline)) void CountUncached(CInstanceMonitor::ClassType* pct, int iSlot, int32_t lAlive,
                                             int32_t lTotal)
{
    ThreadCounts* pCounts = iSlot >= 0 ? CountsOfThisThread() : nullptr;
    if (pCounts)
    {
        std::atomic<int32_t>& alive = pCounts->alive[iSlot];
        alive.store(alive.load(std::memory_order_relaxed) + lAlive, std::memory_order_relaxed);
        std::atomic<int32_t>& total = pCounts->total[iSlot];
        total.store(total.load(std::memory_order_relaxed) + lTotal, std::memory_order_relaxed);
        return;
    }
    pct->lInstanceCount.fetch_add(lAlive, std::memory_order_relaxed);
    pct->lTotalCount.fetch_add(lTotal, std::memory_order_relaxed);
}

} // namespace

CInstanceMonitor::ClassType* CInstanceMonitor::Find(const char* lpName)
{
    LookupCache& cache = t_cache;
    const uint32_t uGen = g_uGeneration.load(std::memory_order_acquire);
    if (cache.uGeneration == uGen && cache.keys[cache.iLast] == lpName)
        return cache.records[cache.iLast];
    return FindUncached(lpName, cache, uGen);
}

void CInstanceMonitor::Count(ClassType* pct, int32_t lAlive, int32_t lTotal)
{
    // The common case: a thread whose counts exist.
    const int iSlot = pct->iSlot.load(std::memory_order_relaxed);
    ThreadCounts* pCounts = t_pCounts;
    if (iSlot >= 0 && pCounts)
    {
        std::atomic<int32_t>& alive = pCounts->alive[iSlot];
        alive.store(alive.load(std::memory_order_relaxed) + lAlive, std::memory_order_relaxed);
        std::atomic<int32_t>& total = pCounts->total[iSlot];
        total.store(total.load(std::memory_order_relaxed) + lTotal, std::memory_order_relaxed);
        return;
    }
    CountUncached(pct, iSlot, lAlive, lTotal);
}

void CInstanceMonitor::ReleaseRetired(ClassType* pct)
{
    InstanceRegistry& reg = Registry();
    CKRLock lock(reg.m_cs);
    if (pct->lInstanceCount.fetch_sub(1) > 1)
        return;
    reg.retired.remove(pct);
    delete pct;
}

CInstanceMonitor::CInstanceMonitor(const char* lpName) : m_pct(Find(lpName))
{
    Count(m_pct, 1, 1);
}

CInstanceMonitor::CInstanceMonitor(const CInstanceMonitor& other) : m_pct(other.m_pct)
{
    // A retired record stays while the original lives, so the copy may count into it.
    assert(m_pct);
    Count(m_pct, 1, 1);
}

CInstanceMonitor::~CInstanceMonitor()
{
    // The count can't be checked against zero here: another thread may hold the other half.
    assert(m_pct);
    if (m_pct->bRetired.load(std::memory_order_acquire))
        ReleaseRetired(m_pct);
    else
        Count(m_pct, -1, 0);
}

void CInstanceMonitor::Cleanup()
{
    // Meant for the end of the process: a thread that counts while this runs may lose a count.
    InstanceRegistry& reg = Registry();
    CKRLock lock(reg.m_cs);
    for (ClassType* p : reg.ms_List)
    {
        // The slots are handed out again to the records made after this: what the threads
        // counted moves into the record first.
        int iSlot = p->iSlot.load(std::memory_order_relaxed);
        if (iSlot >= 0)
            for (const std::unique_ptr<ThreadCounts>& pCounts : reg.threads)
            {
                p->lInstanceCount.fetch_add(pCounts->alive[iSlot].load(std::memory_order_relaxed));
                p->lTotalCount.fetch_add(pCounts->total[iSlot].load(std::memory_order_relaxed));
            }
        p->iSlot.store(-1, std::memory_order_relaxed);
        if (p->lInstanceCount.load() > 0)
        {
            p->bRetired.store(true, std::memory_order_release);
            reg.retired.push_back(p);
        }
        else
            delete p;
    }
    reg.ms_List.clear();
    for (const std::unique_ptr<ThreadCounts>& pCounts : reg.threads)
        for (int i = 0; i < kSlots; ++i)
        {
            pCounts->alive[i].store(0, std::memory_order_relaxed);
            pCounts->total[i].store(0, std::memory_order_relaxed);
        }
    reg.nSlotsUsed = 0;
    g_uGeneration.fetch_add(1, std::memory_order_release);
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
        int iSlot = p->iSlot.load(std::memory_order_relaxed);
        if (iSlot >= 0)
            for (const std::unique_ptr<ThreadCounts>& pCounts : reg.threads)
            {
                lAlive += pCounts->alive[iSlot].load(std::memory_order_relaxed);
                lTotal += pCounts->total[iSlot].load(std::memory_order_relaxed);
            }
        strReport += KrXmlLib16::FormatString(lAlive < 1 ? "    %s = %d/%d" : "--> %s = %d/%d", p->strClassName.c_str(),
                                              static_cast<int>(lAlive), static_cast<int>(lTotal));
    }
    return strReport;
}
