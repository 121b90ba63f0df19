// Intrusive pointer to objects that carry their own count (AddRef / Release).
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
