// Collections of repeating members: the shared base (item name and namespace, occurrence
// limits, listeners) and the linked list of counted objects for repeating classes.
#ifndef KRXMLLIB_XMLCOLLECTIONBASE_H
#define KRXMLLIB_XMLCOLLECTIONBASE_H

#include <cstddef>
#include <list>
#include <string>
#include <vector>

#include "krxmlexport.h"
#include "smartptr.h"
#include "xmlobjectbase.h"

// Class-wide allocation for the objects of untyped trees: from the arena of a tree build
// running on this thread, else from the heap. The operators are defined in the library.
#define KR_ARENA_ALLOCATION                          \
    static void* operator new(std::size_t nSize);    \
    static void operator delete(void* p) noexcept;

namespace KrXmlLib16 {

class KRXML_API CXmlCollectionBase : public CXmlObjectBase
{
public:
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return m_strNamespace; }

    int GetMinOccurs() const { return m_iMinOccurs; }
    int GetMaxOccurs() const { return m_iMaxOccurs; }

    void AddEventListener(IEventSink* pSink) { m_lstListeners.push_back(pSink); }
    void RemoveEventListener(IEventSink* pSink) { m_lstListeners.remove(pSink); }

    virtual int GetCount() const = 0;
    virtual void Clear() = 0;
    virtual void Remove(int iIndex) = 0;
    // Raises CKrValidationException when the count is outside the limits (maximum first).
    virtual void ValidateCount(const CSerializationContext& ctx) const;
    virtual bool IsValidCount(const CSerializationContext& ctx) const;

protected:
    CXmlCollectionBase();
    CXmlCollectionBase(const char* lpElementName, const char* lpNamespace, int iMinOccurs, int iMaxOccurs);
    CXmlCollectionBase(const CXmlCollectionBase& other) = default;
    CXmlCollectionBase& operator=(const CXmlCollectionBase& other) = default;
    ~CXmlCollectionBase() override = default;

    // A collection is never a document root of its own.
    std::string GetTargetNamespace() const override;

    void FireOnCollectionChange();
    void FireOnCollectionAdd(void* pItem);
    void FireOnCollectionAddComplete(void* pItem);
    void FireOnCollectionRemove(int iIndex);
    void FireOnCollectionRemoveComplete(int iIndex);

    std::string m_strNamespace;
    std::list<IEventSink*> m_lstListeners;
    int32_t m_iMinOccurs;
    int32_t m_iMaxOccurs;  // -1: no limit
};

class KRXML_API CXmlCollection : public CXmlCollectionBase
{
public:
    struct CNode
    {
        KR_ARENA_ALLOCATION
        CSmartPtr<CXmlObjectBase> m_spItem;
        CNode* m_pNext;
        CNode* m_pPrev;
    };

    int GetCount() const override { return m_iCount; }
    // Removes item by item from the head, so that each removal fires its events.
    void Clear() override;
    void Remove(int iIndex) override;

    // Every item's attributes, head to tail: a collection of pseudo elements puts them on the
    // enclosing tag.
    void AttributesToXml_Int(CXmlWriter* pWriter, const CSerializationContext& ctx) const override;

protected:
    CXmlCollection();
    CXmlCollection(const char* lpElementName, const char* lpNamespace, int iMinOccurs, int iMaxOccurs);
    // Copies would share nodes; concrete collections copy by Clone.
    CXmlCollection(const CXmlCollection&) = delete;
    CXmlCollection& operator=(const CXmlCollection&) = delete;
    ~CXmlCollection() override;

    void AppendItem(CXmlObjectBase* pItem);
    void PrependItem(CXmlObjectBase* pItem);
    void AddAfterItem(const CXmlObjectBase* pAfter, CXmlObjectBase* pItem);
    void AddBeforeItem(const CXmlObjectBase* pBefore, CXmlObjectBase* pItem);
    void AddItemAt(int iIndex, CXmlObjectBase* pItem);
    void RemoveNode(CNode* pNode);
    CNode* GetNodeAtIndex(int iIndex) const;
    CNode* GetNodeForItem(const CXmlObjectBase* pItem) const;
    CNode* GetHead() const { return m_pHead; }
    // Empties the list without events, handing each item's reference to the caller (who
    // releases it): lets a tree of collections be torn down without recursion.
    void DetachAllItems(std::vector<CXmlObjectBase*>& items);

private:
    // Links a new node for pItem in front of pNext (null: at the tail), with the add events.
    void InsertBefore(CNode* pNext, CXmlObjectBase* pItem);
    void Unlink(CNode* pNode);  // and delete it, releasing the item

    CNode* m_pHead;
    CNode* m_pTail;
    int32_t m_iCount;
};

} // namespace KrXmlLib16

#endif
