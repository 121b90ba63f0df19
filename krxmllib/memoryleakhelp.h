// Per-class instance counters: every monitored class registers its name, and the report of
// live and total instances goes to the debug output when the library unloads.
//
// Ownership: the records belong to the library; an instance only points at its class's
// record. The records outlive every instance whatever the order in which statics die: the
// list that holds them is never destroyed, and a record that Cleanup finds with live
// instances is kept until the last of them is gone.
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
        // Index of the per-thread counters; -1: the record's counters only.
        std::atomic<int> iSlot;
        // Taken out of the list by Cleanup while instances lived: the last one frees it.
        std::atomic<bool> bRetired;
    };

    explicit CInstanceMonitor(const char* lpName);
    CInstanceMonitor(const CInstanceMonitor& other);
    CInstanceMonitor& operator=(const CInstanceMonitor&) { return *this; }  // counts stay
    virtual ~CInstanceMonitor();

    // Empties the list for a fresh report. Records without live instances are freed; the
    // others go when their last instance does.
    static void Cleanup();
    static std::string DumpState();

private:
    ClassType* m_pct;

    static ClassType* Find(const char* lpName);
    static void Count(ClassType* pct, int32_t lAlive, int32_t lTotal);
    static void ReleaseRetired(ClassType* pct);
};

#endif
