#include "xmlcollectionbase.h"

#include <algorithm>

#include "functions.h"
#include "krexception.h"
#include "objectarena.h"

namespace KrXmlLib16 {

KR_ARENA_ALLOCATION_DEFINE(CXmlCollection::CNode)

// ---- CXmlCollectionBase ----

CXmlCollectionBase::CXmlCollectionBase() : m_iMinOccurs(0), m_iMaxOccurs(-1) {}

CXmlCollectionBase::CXmlCollectionBase(const char* lpElementName, const char* lpNamespace, int iMinOccurs,
                                       int iMaxOccurs)
    : m_strNamespace(lpNamespace ? lpNamespace : ""), m_iMinOccurs(iMinOccurs), m_iMaxOccurs(iMaxOccurs)
{
    SetElementName(lpElementName);
}

std::string CXmlCollectionBase::GetTargetNamespace() const
{
    throw CKrException(
        "CXmlCollectionBase::GetTargetNamespace Should not be used from within a Collection (program logic error)");
}

void CXmlCollectionBase::ValidateCount(const CSerializationContext& ctx) const
{
    if (ctx.GetIgnoreInvalidCollectionCounts())
        return;
    int iCount = GetCount();
    if (m_iMaxOccurs != -1 && iCount > m_iMaxOccurs)
        throw CKrValidationException(FormatString("The Maximum number of [%s] elements allowed in this collection is %d",
                                                  GetElementName().c_str(), static_cast<int>(m_iMaxOccurs)),
                                     std::string());
    if (iCount < m_iMinOccurs)
        throw CKrValidationException(FormatString("The Minimum number of [%s] elements allowed in this collection is %d",
                                                  GetElementName().c_str(), static_cast<int>(m_iMinOccurs)),
                                     std::string());
}

bool CXmlCollectionBase::IsValidCount(const CSerializationContext& ctx) const
{
    if (ctx.GetIgnoreInvalidCollectionCounts())
        return true;
    int iCount = GetCount();
    return !(m_iMaxOccurs != -1 && iCount > m_iMaxOccurs) && iCount >= m_iMinOccurs;
}

CXmlCollectionBase::CXmlCollectionBase(const CXmlCollectionBase& other)
    : CXmlObjectBase(other),
      m_strNamespace(other.m_strNamespace),
      m_iMinOccurs(other.m_iMinOccurs),
      m_iMaxOccurs(other.m_iMaxOccurs)
{
    m_lstListeners.reserve(other.m_lstListeners.size());
    for (IEventSink* pSink : other.m_lstListeners)
        if (pSink)
            m_lstListeners.push_back(pSink);
}

CXmlCollectionBase& CXmlCollectionBase::operator=(const CXmlCollectionBase& other)
{
    if (this == &other)
        return *this;
    CXmlObjectBase::operator=(other);
    m_strNamespace = other.m_strNamespace;
    m_iMinOccurs = other.m_iMinOccurs;
    m_iMaxOccurs = other.m_iMaxOccurs;
    std::vector<IEventSink*> listeners;
    listeners.reserve(other.m_lstListeners.size());
    for (IEventSink* pSink : other.m_lstListeners)
        if (pSink)
            listeners.push_back(pSink);
    if (m_iRoundDepth > 0)
    {
        // Assigned from inside one of its own events: the running rounds see the old
        // listeners as removed and the new ones as added.
        for (IEventSink*& pSink : m_lstListeners)
            pSink = nullptr;
        m_lstListeners.insert(m_lstListeners.end(), listeners.begin(), listeners.end());
        m_bListenerGaps = true;
    }
    else
        m_lstListeners.swap(listeners);
    return *this;
}

void CXmlCollectionBase::AddEventListener(IEventSink* pSink)
{
    if (pSink)
        m_lstListeners.push_back(pSink);  // behind the end of every running round
}

void CXmlCollectionBase::RemoveEventListener(IEventSink* pSink)
{
    if (!pSink)
        return;
    if (m_iRoundDepth == 0)
    {
        m_lstListeners.erase(std::remove(m_lstListeners.begin(), m_lstListeners.end(), pSink), m_lstListeners.end());
        return;
    }
    for (IEventSink*& p : m_lstListeners)
        if (p == pSink)
        {
            p = nullptr;
            m_bListenerGaps = true;
        }
}

// Counts a running round; the last one to end closes the gaps that removals left, also when a
// listener throws.
class CXmlCollectionBase::CRound
{
public:
    explicit CRound(CXmlCollectionBase& col) : m_col(col) { ++m_col.m_iRoundDepth; }
    ~CRound()
    {
        if (--m_col.m_iRoundDepth == 0 && m_col.m_bListenerGaps)
        {
            std::vector<IEventSink*>& v = m_col.m_lstListeners;
            v.erase(std::remove(v.begin(), v.end(), nullptr), v.end());
            m_col.m_bListenerGaps = false;
        }
    }
    CRound(const CRound&) = delete;
    CRound& operator=(const CRound&) = delete;

private:
    CXmlCollectionBase& m_col;
};

template <class TSend>
void CXmlCollectionBase::FireToListeners(TSend send)
{
    // The round is the entries present now; entries added by a listener lie behind it.
    const size_t nRound = m_lstListeners.size();
    if (nRound == 0)
        return;
    CRound round(*this);
    for (size_t i = 0; i < nRound && i < m_lstListeners.size(); ++i)
        if (IEventSink* pSink = m_lstListeners[i])  // null: removed during the round
            send(pSink);
}

void CXmlCollectionBase::FireOnCollectionChange()
{
    FireToListeners([this](IEventSink* pSink) { FireOnCollectionChangeEvent(pSink, this); });
}

void CXmlCollectionBase::FireOnCollectionAdd(void* pItem)
{
    FireToListeners([this, pItem](IEventSink* pSink) { FireOnCollectionAddEvent(pSink, this, pItem); });
}

void CXmlCollectionBase::FireOnCollectionAddComplete(void* pItem)
{
    FireToListeners([this, pItem](IEventSink* pSink) { FireOnCollectionAddCompleteEvent(pSink, this, pItem); });
}

void CXmlCollectionBase::FireOnCollectionRemove(int iIndex)
{
    FireToListeners([this, iIndex](IEventSink* pSink) { FireOnCollectionRemoveEvent(pSink, this, iIndex); });
}

void CXmlCollectionBase::FireOnCollectionRemoveComplete(int iIndex)
{
    FireToListeners([this, iIndex](IEventSink* pSink) { FireOnCollectionRemoveCompleteEvent(pSink, this, iIndex); });
}

// ---- CXmlCollection ----

CXmlCollection::CXmlCollection() : m_pHead(nullptr), m_pTail(nullptr), m_iCount(0) {}

CXmlCollection::CXmlCollection(const char* lpElementName, const char* lpNamespace, int iMinOccurs, int iMaxOccurs)
    : CXmlCollectionBase(lpElementName, lpNamespace, iMinOccurs, iMaxOccurs), m_pHead(nullptr), m_pTail(nullptr),
      m_iCount(0)
{
}

CXmlCollection::~CXmlCollection()
{
    // No events here: the usual listener is the object that owns the collection, and it is
    // being torn down itself when the collection dies, so telling it would call into a
    // half-destroyed object.
    while (m_pHead)
        Unlink(m_pHead);
}

void CXmlCollection::DetachAllItems(std::vector<CXmlObjectBase*>& items)
{
    items.reserve(items.size() + static_cast<size_t>(m_iCount));
    while (CNode* pNode = m_pHead)
    {
        m_pHead = pNode->m_pNext;
        if (m_pHead && m_pHead->m_pNext)
            __builtin_prefetch(m_pHead->m_pNext);  // the list is walked pointer by pointer
        items.push_back(pNode->m_spItem.p);
        pNode->m_spItem.p = nullptr;  // the reference goes with the pointer
        delete pNode;
    }
    m_pTail = nullptr;
    m_iCount = 0;
}

void CXmlCollection::Clear()
{
    while (m_iCount > 0)
        Remove(0);
}

void CXmlCollection::Remove(int iIndex)
{
    RemoveNode(GetNodeAtIndex(iIndex));
}

void CXmlCollection::AttributesToXml_Int(CXmlWriter* pWriter, const CSerializationContext& ctx) const
{
    for (CNode* p = m_pHead; p; p = p->m_pNext)
        CXmlObjectBase::AttributesToXml_Int(p->m_spItem->GetBase(), pWriter, ctx);
}

void CXmlCollection::InsertBefore(CNode* pNext, CXmlObjectBase* pItem)
{
    CNode* pNode = new CNode{CSmartPtr<CXmlObjectBase>(pItem), pNext, pNext ? pNext->m_pPrev : m_pTail};
    if (pNode->m_pPrev)
        pNode->m_pPrev->m_pNext = pNode;
    else
        m_pHead = pNode;
    if (pNext)
        pNext->m_pPrev = pNode;
    else
        m_pTail = pNode;
    ++m_iCount;
    FireOnCollectionAddComplete(pItem);
    FireOnCollectionChange();
}

void CXmlCollection::AppendItem(CXmlObjectBase* pItem)
{
    FireOnCollectionAdd(pItem);
    InsertBefore(nullptr, pItem);
}

void CXmlCollection::PrependItem(CXmlObjectBase* pItem)
{
    FireOnCollectionAdd(pItem);
    InsertBefore(m_pHead, pItem);
}

void CXmlCollection::AddAfterItem(const CXmlObjectBase* pAfter, CXmlObjectBase* pItem)
{
    if (!pAfter)
    {
        PrependItem(pItem);
        return;
    }
    FireOnCollectionAdd(pItem);
    CNode* pNode = GetNodeForItem(pAfter);
    InsertBefore(pNode->m_pNext, pItem);
}

void CXmlCollection::AddBeforeItem(const CXmlObjectBase* pBefore, CXmlObjectBase* pItem)
{
    if (!pBefore)
    {
        AppendItem(pItem);
        return;
    }
    FireOnCollectionAdd(pItem);
    CNode* pNode = GetNodeForItem(pBefore);
    InsertBefore(pNode, pItem);
}

void CXmlCollection::AddItemAt(int iIndex, CXmlObjectBase* pItem)
{
    if (iIndex < 0 || iIndex > m_iCount)
        throw CKrInvalidParamException("Index out of range");
    if (iIndex == m_iCount)
    {
        AppendItem(pItem);
        return;
    }
    CNode* pNode = GetNodeAtIndex(iIndex);
    FireOnCollectionAdd(pItem);
    InsertBefore(pNode, pItem);
}

void CXmlCollection::RemoveNode(CNode* pNode)
{
    FireOnCollectionRemove(-1);
    Unlink(pNode);
    FireOnCollectionRemoveComplete(-1);
    FireOnCollectionChange();
}

void CXmlCollection::Unlink(CNode* pNode)
{
    if (pNode->m_pPrev)
        pNode->m_pPrev->m_pNext = pNode->m_pNext;
    else
        m_pHead = pNode->m_pNext;
    if (pNode->m_pNext)
        pNode->m_pNext->m_pPrev = pNode->m_pPrev;
    else
        m_pTail = pNode->m_pPrev;
    --m_iCount;
    delete pNode;  // releases the item
}

CXmlCollection::CNode* CXmlCollection::GetNodeAtIndex(int iIndex) const
{
    if (iIndex < 0 || iIndex > m_iCount - 1)
        throw CKrInvalidParamException(
            FormatString("Index %d is out of range, use 0 - %d", iIndex, static_cast<int>(m_iCount - 1)));
    CNode* p = m_pHead;
    while (iIndex-- > 0)
        p = p->m_pNext;
    return p;
}

CXmlCollection::CNode* CXmlCollection::GetNodeForItem(const CXmlObjectBase* pItem) const
{
    const CXmlObjectBase* pWanted = pItem ? pItem->GetBase() : nullptr;
    for (CNode* p = m_pHead; p; p = p->m_pNext)
        if (static_cast<const CXmlObjectBase*>(p->m_spItem)->GetBase() == pWanted)
            return p;
    throw CKrInvalidParamException("The object was not found in the collection");
}

} // namespace KrXmlLib16
