// Per-class instance counters: every monitored class registers its name, and the report of
// live and total instances goes to the debug output when the library unloads.
#ifndef KRXMLLIB_MEMORYLEAKHELP_H
#define KRXMLLIB_MEMORYLEAKHELP_H

#include <atomic>
#include <cstdint>
#include <list>
#include <string>

#include "krcriticalsection.h"
#include "krxmlexport.h"

class KRXML_API CInstanceMonitor
{
public:
    // The counts of a class are the record's own plus what each thread has counted in its
    // slot: objects are made by the hundred thousand, and a counter per thread needs no locked
    // instruction. DumpState adds them up.
    struct ClassType
    {
        std::string strClassName;
        std::atomic<int32_t> lInstanceCount;
        std::atomic<int32_t> lTotalCount;
        const char* lpKey;  // the pointer first registered, for a lookup without a compare
        int iSlot;          // index of the per-thread counters; -1: the record's counters only
    };

    explicit CInstanceMonitor(const char* lpName);
    CInstanceMonitor(const CInstanceMonitor& other);
    CInstanceMonitor& operator=(const CInstanceMonitor&) { return *this; }  // counts stay
    virtual ~CInstanceMonitor();

    static void Cleanup();
    static std::string DumpState();

private:
    ClassType* m_pct;

    static ClassType* Find(const char* lpName);
    static void Count(ClassType* pct, int32_t lAlive, int32_t lTotal);
};

#endif
