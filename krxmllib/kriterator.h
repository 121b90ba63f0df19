// Forward iterator over the items of a collection of counted objects.
#ifndef KRXMLLIB_KRITERATOR_H
#define KRXMLLIB_KRITERATOR_H

#include "krexception.h"
#include "xmlcollectionbase.h"

namespace KrXmlLib16 {

template <class T>
class CKrIterator
{
public:
    explicit CKrIterator(CXmlCollection::CNode* pNode = nullptr) : m_pNode(pNode) {}

    bool operator!=(const CKrIterator& other) const { return m_pNode != other.m_pNode; }
    bool operator==(const CKrIterator& other) const { return m_pNode == other.m_pNode; }
    T* operator*() const { return m_pNode ? static_cast<T*>(static_cast<CXmlObjectBase*>(m_pNode->m_spItem)) : nullptr; }
    T* operator->() const { return operator*(); }
    CKrIterator& operator++()
    {
        if (!m_pNode)
            throw CKrException("No More Elements in the Collection");
        m_pNode = m_pNode->m_pNext;
        return *this;
    }

private:
    CXmlCollection::CNode* m_pNode;
};

} // namespace KrXmlLib16

#endif
