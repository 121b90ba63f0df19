// Members that a const getter makes at first use, on objects that several threads may read at
// once (the process-wide default context). The first thread to publish its object wins and a
// thread that lost the race drops what it made; afterwards a look is one atomic load. Looking
// with Get never makes anything.
//
// Ownership: the holder owns what it publishes. Setting, copying, assigning and destroying a
// holder are no more thread-safe than any object: only GetOrMake and Get may meet on threads.
#ifndef KRXMLLIB_LAZYPTR_H
#define KRXMLLIB_LAZYPTR_H

#include <atomic>
#include <memory>
#include <utility>

namespace KrXmlLib16 {

// Sole owner, like std::unique_ptr, of a plain object. The object's class may be incomplete
// where the holder is declared and destroyed: the deleter is taken where the object is made.
template <class T>
class CLazyPtr
{
public:
    CLazyPtr() noexcept = default;
    CLazyPtr(const CLazyPtr&) = delete;
    CLazyPtr& operator=(const CLazyPtr&) = delete;
    ~CLazyPtr() { Reset(); }

    // Null until something was made.
    T* Get() const noexcept { return m_p.load(std::memory_order_acquire); }

    // The object; if there is none yet, the one that make() returns as a std::unique_ptr<T>.
    template <class TMake>
    T& GetOrMake(TMake make) const
    {
        if (T* p = Get())
            return *p;
        std::unique_ptr<T> spNew = make();
        T* pExpected = nullptr;
        if (!m_p.compare_exchange_strong(pExpected, spNew.get(), std::memory_order_acq_rel, std::memory_order_acquire))
            return *pExpected;  // another thread was first: ours goes with spNew
        m_pfnDelete = &Delete;  // only the winner writes it; the destructor reads it
        return *spNew.release();
    }

    void Reset() noexcept
    {
        if (T* p = m_p.exchange(nullptr, std::memory_order_acq_rel))
            m_pfnDelete(p);
    }

    // Exchanges the objects of two holders (for assignment by copy and swap).
    void Swap(CLazyPtr& other) noexcept
    {
        T* p = m_p.exchange(other.m_p.load(std::memory_order_acquire), std::memory_order_acq_rel);
        other.m_p.store(p, std::memory_order_release);
        std::swap(m_pfnDelete, other.m_pfnDelete);
    }

private:
    static void Delete(T* p) { delete p; }

    mutable std::atomic<T*> m_p{nullptr};
    mutable void (*m_pfnDelete)(T*) = nullptr;
};

// Holds one reference on a counted object (AddRef / Release); copies of the holder share it.
template <class T>
class CLazyCountedPtr
{
public:
    CLazyCountedPtr() noexcept = default;
    CLazyCountedPtr(const CLazyCountedPtr& other) noexcept : m_p(other.Get())
    {
        if (T* p = m_p.load(std::memory_order_relaxed))
            p->AddRef();
    }
    CLazyCountedPtr& operator=(const CLazyCountedPtr& other)
    {
        T* pNew = other.Get();
        if (pNew)
            pNew->AddRef();  // before the old goes, so that assigning to itself keeps it
        if (T* pOld = m_p.exchange(pNew, std::memory_order_acq_rel))
            pOld->Release();
        return *this;
    }
    ~CLazyCountedPtr()
    {
        if (T* p = m_p.load(std::memory_order_relaxed))
            p->Release();
    }

    // Null until something was made.
    T* Get() const noexcept { return m_p.load(std::memory_order_acquire); }

    // The object; if there is none yet, the new object (count 0) that make() returns.
    template <class TMake>
    T* GetOrMake(TMake make) const
    {
        if (T* p = Get())
            return p;
        T* pNew = make();
        pNew->AddRef();  // the holder's reference, if it wins
        T* pExpected = nullptr;
        if (m_p.compare_exchange_strong(pExpected, pNew, std::memory_order_acq_rel, std::memory_order_acquire))
            return pNew;
        pNew->Release();  // another thread was first
        return pExpected;
    }

private:
    mutable std::atomic<T*> m_p{nullptr};
};

} // namespace KrXmlLib16

#endif
