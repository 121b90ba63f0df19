// Intrusive pointer to objects that carry their own count (AddRef / Release).
//
// Ownership: each CSmartPtr that isn't null holds one reference. A new object has count 0 and
// belongs to nobody until the first CSmartPtr takes it; it deletes itself when the last one
// lets go. A raw pointer taken from a CSmartPtr is valid only while some reference lives, so a
// caller that keeps an object keeps a CSmartPtr. A moved-from CSmartPtr is null.
#ifndef KRXMLLIB_SMARTPTR_H
#define KRXMLLIB_SMARTPTR_H

#include <cassert>

template <class T>
class CSmartPtr
{
public:
    CSmartPtr() : p(nullptr) {}
    CSmartPtr(T* lp) : p(lp)
    {
        if (p)
            p->AddRef();
    }
    CSmartPtr(const CSmartPtr<T>& other) : p(other.p)
    {
        if (p)
            p->AddRef();
    }
    // Takes over the reference of other, which becomes null; no count changes.
    CSmartPtr(CSmartPtr<T>&& other) noexcept : p(other.p) { other.p = nullptr; }
    ~CSmartPtr()
    {
        if (p)
            p->Release();
    }

    // AddRef the new pointer before releasing the old, so that assigning the pointer
    // already held never frees it.
    CSmartPtr<T>& operator=(T* lp)
    {
        if (lp)
            lp->AddRef();
        if (p)
            p->Release();
        p = lp;
        return *this;
    }
    CSmartPtr<T>& operator=(const CSmartPtr<T>& other)
    {
        T* pOld = p;
        p = other.p;
        if (p)
            p->AddRef();
        if (pOld)
            pOld->Release();
        return *this;
    }
    // Releases the old object and takes over the reference of other; moving into itself
    // changes nothing.
    CSmartPtr<T>& operator=(CSmartPtr<T>&& other) noexcept
    {
        if (this != &other)
        {
            T* pOld = p;
            p = other.p;
            other.p = nullptr;
            if (pOld)
                pOld->Release();
        }
        return *this;
    }

    T* operator->() const
    {
        assert(p != 0);
        return p;
    }
    T& operator*() const
    {
        assert(p != 0);
        return *p;
    }
    operator T*() const { return p; }
    bool operator==(T* lp) const { return p == lp; }
    bool operator!=(T* lp) const { return p != lp; }

    T* p;
};

#endif
