// A recursive lock around the platform's lock: the same thread may enter again.
#ifndef KRXMLLIB_KRCRITICALSECTION_H
#define KRXMLLIB_KRCRITICALSECTION_H

#include "krplatformtypes.h"
#include "krxmlexport.h"

class KRXML_API CKRCriticalSection
{
public:
    CKRCriticalSection() = default;
    virtual ~CKRCriticalSection() = default;
    CKRCriticalSection(const CKRCriticalSection&) = delete;
    CKRCriticalSection& operator=(const CKRCriticalSection&) = delete;

    void Enter() { m_lock.lock(); }
    void Leave() { m_lock.unlock(); }

private:
    KrXmlLib16::Platform::RecursiveLock m_lock;
};

// Scope guard for a CKRCriticalSection.
class KRXML_API CKRLock
{
public:
    explicit CKRLock(CKRCriticalSection& cs) : m_cs(cs) { m_cs.Enter(); }
    ~CKRLock() { m_cs.Leave(); }
    CKRLock(const CKRLock&) = delete;
    CKRLock& operator=(const CKRLock&) = delete;

private:
    CKRCriticalSection& m_cs;
};

#endif
