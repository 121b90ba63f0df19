// Collections of repeating members: the shared base (item name and namespace, occurrence
// limits, listeners) and the linked list of counted objects for repeating classes.
#ifndef KRXMLLIB_XMLCOLLECTIONBASE_H
#define KRXMLLIB_XMLCOLLECTIONBASE_H

#include <cstddef>
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

    // Listeners are not owned. A listener may add or remove listeners, itself included, from
    // inside an event. One event goes to the listeners present when its round began, minus those
    // removed during the round; a listener added during a round hears from the next event on.
    // An event fired from inside another (a listener that changes the collection) is a round of
    // its own under the same rule. A listener must not destroy the collection from inside one of
    // its events. A null listener is ignored.
    void AddEventListener(IEventSink* pSink);
    // Removes every entry equal to pSink.
    void RemoveEventListener(IEventSink* pSink);

    virtual int GetCount() const = 0;
    virtual void Clear() = 0;
    virtual void Remove(int iIndex) = 0;
    // Raises CKrValidationException when the count is outside the limits (maximum first).
    virtual void ValidateCount(const CSerializationContext& ctx) const;
    virtual bool IsValidCount(const CSerializationContext& ctx) const;

protected:
    CXmlCollectionBase();
    CXmlCollectionBase(const char* lpElementName, const char* lpNamespace, int iMinOccurs, int iMaxOccurs);
    // Copies namespace, listeners and limits; the copy is not inside any round of events.
    CXmlCollectionBase(const CXmlCollectionBase& other);
    CXmlCollectionBase& operator=(const CXmlCollectionBase& other);
    ~CXmlCollectionBase() override = default;

    // A collection is never a document root of its own.
    std::string GetTargetNamespace() const override;

    void FireOnCollectionChange();
    void FireOnCollectionAdd(void* pItem);
    void FireOnCollectionAddComplete(void* pItem);
    void FireOnCollectionRemove(int iIndex);
    void FireOnCollectionRemoveComplete(int iIndex);

    std::string m_strNamespace;
    // In the order of adding; a listener may stand twice. While a round of events runs, a
    // removed entry becomes null and the gaps close when the outermost round ends, so that the
    // rounds can walk by index without copying the list.
    std::vector<IEventSink*> m_lstListeners;
    int32_t m_iMinOccurs;
    int32_t m_iMaxOccurs;  // -1: no limit

private:
    class CRound;
    template <class TSend>
    void FireToListeners(TSend send);

    int32_t m_iRoundDepth = 0;    // rounds of events running now, nested ones included
    bool m_bListenerGaps = false; // null entries wait for the end of the outermost round
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
