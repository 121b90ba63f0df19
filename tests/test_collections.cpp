#include "testsupport.h"

#include <functional>
#include <vector>

#include "krxmllib.h"
#include "xmlcollectionbase.h"

using namespace KrXmlLib16;

namespace {

class CItem : public CXmlObjectBase
{
public:
    explicit CItem(std::string strName) : m_strName(std::move(strName)) { SetElementName("item"); }
    std::string m_strName;
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }

protected:
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* p, const CSerializationContext&, bool) override { return p; }
};

// A concrete collection that reads every sibling named "item".
class CItemCol : public CXmlCollection
{
public:
    CItemCol(int iMin = 0, int iMax = -1) : CXmlCollection("item", "urn:i", iMin, iMax) {}
    using CXmlCollection::AddAfterItem;
    using CXmlCollection::AddBeforeItem;
    using CXmlCollection::AddItemAt;
    using CXmlCollection::AppendItem;
    using CXmlCollection::PrependItem;
    using CXmlCollection::GetTargetNamespace;

    std::string Names() const
    {
        std::string s;
        for (CNode* p = GetHead(); p; p = p->m_pNext)
            s += static_cast<CItem*>(static_cast<CXmlObjectBase*>(p->m_spItem))->m_strName;
        return s;
    }

protected:
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* pCursor, const CSerializationContext&, bool) override
    {
        for (; pCursor && pCursor->GetLocalName() == "item"; pCursor = pCursor->GetNextSiblingElement())
            AppendItem(new CItem(pCursor->GetText()));
        return pCursor;
    }
};

// Records the events as short codes: C change, A add, a add complete, R remove, r remove complete.
class CRecorder : public CXmlObjectBase
{
public:
    std::string m_strLog;
    bool m_bThrowOnAddComplete = false;
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }
    void OnEvent(CXmlObjectBase*, IEventSink::MsgType eMsg, void* pParam) override
    {
        static const char kCodes[] = "CAaRr";
        m_strLog += kCodes[eMsg];
        if ((eMsg == MsgType_CollectionRemove || eMsg == MsgType_CollectionRemoveComplete) && pParam)
            m_strLog += "!";  // removal by node must pass no index
        if (eMsg == MsgType_CollectionAddComplete && m_bThrowOnAddComplete)
            throw CKrException("listener failed");
    }

protected:
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* p, const CSerializationContext&, bool) override { return p; }
};

// Reaches the protected statics of the helpers.
class CHelperProbe : public CItem
{
public:
    CHelperProbe() : CItem("") {}
    using CXmlObjectBase::Choice_CollectionChanged;
    using CXmlObjectBase::Choice_Read_Collection;
    using CXmlObjectBase::Choice_SelectElement;
    using CXmlObjectBase::Choice_SetElementValid;
    using CXmlObjectBase::IsNamespaceValid;
    using CXmlObjectBase::TestNamespace;
    using CXmlObjectBase::Throw_IfElementNameDiffers;
    using CXmlObjectBase::Throw_IfPropertyIsNull;
    bool Matches(const CSerializationContext& ctx, const CXmlElement* p, const char* n, const char* ns) const
    {
        return DoesElementNameMatch(ctx, p, n, ns);
    }
};

TEST(Collection, AddOperationsPlaceItemsAndFireInOrder)
{
    CSmartPtr<CItemCol> col(new CItemCol);
    CSmartPtr<CRecorder> rec(new CRecorder);
    col->AddEventListener(rec);
    CSmartPtr<CItem> b(new CItem("b"));
    col->AppendItem(b);
    EXPECT_EQ("AaC", rec->m_strLog);
    col->PrependItem(new CItem("a"));
    col->AddAfterItem(b, new CItem("c"));
    col->AddBeforeItem(b, new CItem("x"));
    col->AddAfterItem(nullptr, new CItem("0"));
    col->AddBeforeItem(nullptr, new CItem("z"));
    col->AddItemAt(col->GetCount(), new CItem("!"));
    col->AddItemAt(1, new CItem("1"));
    EXPECT_EQ("01axbcz!", col->Names());
    EXPECT_EQ(8, col->GetCount());

    rec->m_strLog.clear();
    CSmartPtr<CItem> stray(new CItem("s"));
    EXPECT_KR_THROW(col->AddItemAt(9, stray), CKrInvalidParamException, "Index out of range");
    EXPECT_KR_THROW(col->AddItemAt(-1, stray), CKrInvalidParamException, "Index out of range");
    EXPECT_EQ("", rec->m_strLog);  // refused before anything fired
    CSmartPtr<CItem> outsider(new CItem("o"));
    EXPECT_KR_THROW(col->AddAfterItem(outsider, stray), CKrInvalidParamException,
                    "The object was not found in the collection");
    EXPECT_EQ("A", rec->m_strLog);  // the add event went out before the neighbour was looked for
    EXPECT_EQ(8, col->GetCount());
}

TEST(Collection, RemovalClearAndIndexErrors)
{
    CSmartPtr<CItemCol> col(new CItemCol);
    CSmartPtr<CRecorder> rec(new CRecorder);
    col->Clear();
    col->AddEventListener(rec);
    col->Clear();
    EXPECT_EQ("", rec->m_strLog);
    col->AppendItem(new CItem("a"));
    col->AppendItem(new CItem("b"));
    col->AppendItem(new CItem("c"));
    rec->m_strLog.clear();
    col->Remove(1);
    EXPECT_EQ("RrC", rec->m_strLog);
    EXPECT_EQ("ac", col->Names());
    EXPECT_KR_THROW(col->Remove(2), CKrInvalidParamException, "Index 2 is out of range, use 0 - 1");
    EXPECT_KR_THROW(col->Remove(-1), CKrInvalidParamException, "Index -1 is out of range, use 0 - 1");
    rec->m_strLog.clear();
    col->Clear();
    EXPECT_EQ("RrCRrC", rec->m_strLog);
    EXPECT_KR_THROW(col->Remove(0), CKrInvalidParamException, "Index 0 is out of range, use 0 - -1");

    // A listener added twice hears everything twice and is removed in one go.
    col->AddEventListener(rec);
    rec->m_strLog.clear();
    col->AppendItem(new CItem("a"));
    EXPECT_EQ("AAaaCC", rec->m_strLog);
    col->RemoveEventListener(rec);
    rec->m_strLog.clear();
    col->AppendItem(new CItem("b"));
    EXPECT_EQ("", rec->m_strLog);
}

TEST(Collection, ThrowingListenerLeavesTheListConsistent)
{
    CSmartPtr<CItemCol> col(new CItemCol);
    CSmartPtr<CRecorder> rec(new CRecorder);
    col->AddEventListener(rec);
    rec->m_bThrowOnAddComplete = true;
    EXPECT_KR_THROW(col->AppendItem(new CItem("a")), CKrException, "listener failed");
    EXPECT_EQ(1, col->GetCount());
    EXPECT_EQ("a", col->Names());
    rec->m_bThrowOnAddComplete = false;
    col->Remove(0);
    EXPECT_EQ(0, col->GetCount());
    col->AppendItem(new CItem("b"));
    EXPECT_EQ("b", col->Names());
}

// A listener that logs "<name><code>" for each event and runs the action set for an event
// kind, once.
class CActor : public CXmlObjectBase
{
public:
    CActor(char cName, std::string& strLog) : m_cName(cName), m_strLog(strLog) {}
    std::function<void()> m_actions[5];
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }
    void OnEvent(CXmlObjectBase*, IEventSink::MsgType eMsg, void*) override
    {
        static const char kCodes[] = "CAaRr";
        if (!m_strLog.empty())
            m_strLog += ' ';
        m_strLog += m_cName;
        m_strLog += kCodes[eMsg];
        std::function<void()> action;
        action.swap(m_actions[eMsg]);
        if (action)
            action();
    }

protected:
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* p, const CSerializationContext&, bool) override { return p; }

private:
    char m_cName;
    std::string& m_strLog;
};

TEST(Collection, ListenersChangeTheListenerListFromInsideAnEvent)
{
    // Listeners A, B, C in that order; A acts on the add event of the first append. An event
    // goes to those present when its round began, less those removed during it.
    struct Case
    {
        const char* lpWhat;
        void (*pfnAct)(CXmlCollectionBase& col, CActor& a, CActor& b, CActor& c, CActor& d);
        const char* lpFirst;   // the append that triggers the action
        const char* lpSecond;  // the next append
    };
    const Case aCases[] = {
        {"A removes itself",
         [](CXmlCollectionBase& col, CActor& a, CActor&, CActor&, CActor&) { col.RemoveEventListener(&a); },
         "AA BA CA Ba Ca BC CC", "BA CA Ba Ca BC CC"},
        {"A removes B, who has not heard the event yet",
         [](CXmlCollectionBase& col, CActor&, CActor& b, CActor&, CActor&) { col.RemoveEventListener(&b); },
         "AA CA Aa Ca AC CC", "AA CA Aa Ca AC CC"},
        {"A removes everyone",
         [](CXmlCollectionBase& col, CActor& a, CActor& b, CActor& c, CActor&) {
             col.RemoveEventListener(&c);
             col.RemoveEventListener(&a);
             col.RemoveEventListener(&b);
         },
         "AA", ""},
        {"A adds D, who hears from the next event on",
         [](CXmlCollectionBase& col, CActor&, CActor&, CActor&, CActor& d) { col.AddEventListener(&d); },
         "AA BA CA Aa Ba Ca Da AC BC CC DC", "AA BA CA DA Aa Ba Ca Da AC BC CC DC"},
        {"A removes and adds itself: it hears this event once, then stands last",
         [](CXmlCollectionBase& col, CActor& a, CActor&, CActor&, CActor&) {
             col.RemoveEventListener(&a);
             col.AddEventListener(&a);
         },
         "AA BA CA Ba Ca Aa BC CC AC", "BA CA AA Ba Ca Aa BC CC AC"},
        {"A removes C and adds it again: C misses this event",
         [](CXmlCollectionBase& col, CActor&, CActor&, CActor& c, CActor&) {
             col.RemoveEventListener(&c);
             col.AddEventListener(&c);
         },
         "AA BA Aa Ba Ca AC BC CC", "AA BA CA Aa Ba Ca AC BC CC"},
    };
    for (const Case& c : aCases)
    {
        std::string strLog;
        CSmartPtr<CItemCol> col(new CItemCol);
        CSmartPtr<CActor> a(new CActor('A', strLog)), b(new CActor('B', strLog)), cc(new CActor('C', strLog)),
            d(new CActor('D', strLog));
        col->AddEventListener(a);
        col->AddEventListener(b);
        col->AddEventListener(cc);
        a->m_actions[IEventSink::MsgType_CollectionAdd] = [&] { c.pfnAct(*col, *a, *b, *cc, *d); };
        col->AppendItem(new CItem("x"));
        EXPECT_EQ(c.lpFirst, strLog) << c.lpWhat;
        strLog.clear();
        col->AppendItem(new CItem("y"));
        EXPECT_EQ(c.lpSecond, strLog) << c.lpWhat;
        EXPECT_EQ("xy", col->Names()) << c.lpWhat;
    }
}

TEST(Collection, ListenerChangesTheCollectionInNestedRounds)
{
    // On the add-complete event A removes B, adds D and appends an item. The nested rounds
    // begin after that: D hears them, B doesn't. The outer add-complete round goes on to C
    // only, and the outer change round, which begins afterwards, reaches D.
    std::string strLog;
    CSmartPtr<CItemCol> col(new CItemCol);
    CSmartPtr<CActor> a(new CActor('A', strLog)), b(new CActor('B', strLog)), c(new CActor('C', strLog)),
        d(new CActor('D', strLog));
    col->AddEventListener(a);
    col->AddEventListener(b);
    col->AddEventListener(c);
    a->m_actions[IEventSink::MsgType_CollectionAddComplete] = [&] {
        col->RemoveEventListener(b);
        col->AddEventListener(d);
        col->AppendItem(new CItem("n"));
    };
    col->AppendItem(new CItem("o"));
    EXPECT_EQ("AA BA CA Aa AA CA DA Aa Ca Da AC CC DC Ca AC CC DC", strLog);
    EXPECT_EQ("on", col->Names());

    // A listener that takes itself out, removes an item and comes back.
    strLog.clear();
    CSmartPtr<CItemCol> col2(new CItemCol);
    CSmartPtr<CActor> e(new CActor('E', strLog)), f(new CActor('F', strLog));
    col2->AddEventListener(e);
    col2->AddEventListener(f);
    col2->AppendItem(new CItem("a"));
    strLog.clear();
    e->m_actions[IEventSink::MsgType_CollectionAddComplete] = [&] {
        col2->RemoveEventListener(e);
        col2->Remove(0);
        col2->AddEventListener(e);
    };
    col2->AppendItem(new CItem("b"));
    EXPECT_EQ("EA FA Ea FR Fr FC Fa FC EC", strLog);
    EXPECT_EQ("b", col2->Names());
    strLog.clear();
    col2->Clear();
    EXPECT_EQ("FR ER Fr Er FC EC", strLog);  // one entry each: the gap was closed
}

TEST(Collection, ListenerThatThrowsInsideItsRoundStillLeavesAClosedList)
{
    std::string strLog;
    CSmartPtr<CItemCol> col(new CItemCol);
    CSmartPtr<CActor> a(new CActor('A', strLog)), b(new CActor('B', strLog));
    col->AddEventListener(a);
    col->AddEventListener(b);
    a->m_actions[IEventSink::MsgType_CollectionAdd] = [&] {
        col->RemoveEventListener(a);
        throw CKrException("listener failed");
    };
    CSmartPtr<CItem> x(new CItem("x"));
    EXPECT_KR_THROW(col->AppendItem(x), CKrException, "listener failed");
    EXPECT_EQ(0, col->GetCount());  // refused before the node was made
    strLog.clear();
    col->AddEventListener(nullptr);  // ignored
    col->AppendItem(new CItem("y"));
    EXPECT_EQ("BA Ba BC", strLog);
}

TEST(Collection, ItemsAreCountedPerNode)
{
    int iBefore;
    CSmartPtr<CItem> shared(new CItem("s"));
    {
        CSmartPtr<CItemCol> one(new CItemCol), two(new CItemCol);
        one->AppendItem(shared);
        two->AppendItem(shared);
        iBefore = shared->AddRef() - 1;
        shared->Release();
        EXPECT_EQ(3, iBefore);
        one->Remove(0);
        EXPECT_EQ("s", two->Names());
    }
    EXPECT_EQ(2, shared->AddRef());  // only the local pointer is left
    shared->Release();
}

TEST(Collection, CountLimits)
{
    CSerializationContext ctx;
    CSmartPtr<CItemCol> col(new CItemCol(3, 2));
    col->AppendItem(new CItem("a"));
    EXPECT_KR_THROW(col->ValidateCount(ctx), CKrValidationException,
                    "The Minimum number of [item] elements allowed in this collection is 3");
    for (int i = 0; i < 2; ++i)
        col->AppendItem(new CItem("x"));
    // Three items: above the maximum of 2 and not below the minimum; the maximum is told.
    EXPECT_KR_THROW(col->ValidateCount(ctx), CKrValidationException,
                    "The Maximum number of [item] elements allowed in this collection is 2");
    EXPECT_FALSE(col->IsValidCount(ctx));
    ctx.SetIgnoreInvalidCollectionCounts(true);
    col->ValidateCount(ctx);
    EXPECT_TRUE(col->IsValidCount(ctx));

    CSmartPtr<CItemCol> open(new CItemCol);
    EXPECT_TRUE(open->IsValidCount(CSerializationContext()));
    EXPECT_KR_THROW(open->GetTargetNamespace(), CKrException,
                    "CXmlCollectionBase::GetTargetNamespace Should not be used from within a Collection (program "
                    "logic error)");
    EXPECT_EQ("urn:i", open->GetNamespace());
}

TEST(Collection, ChoiceReadCollectionTakesOnce)
{
    CXmlDocument doc;
    doc.LoadXml("<r><item>a</item><item>b</item><other/></r>");
    CXmlElement* pCursor = doc.GetDocumentElement()->GetFirstElement();
    CSmartPtr<CItemCol> col(new CItemCol(0, 1));
    int32_t lCount = 0;
    CSerializationContext ctx;
    EXPECT_KR_THROW(CHelperProbe::Choice_Read_Collection(col, doc.GetDocumentElement(), pCursor, lCount, ctx),
                    CKrValidationException, "The Maximum number of [item] elements allowed in this collection is 1");
    col->Clear();
    ctx.SetIgnoreInvalidCollectionCounts(true);
    pCursor = doc.GetDocumentElement()->GetFirstElement();
    CHelperProbe::Choice_Read_Collection(col, doc.GetDocumentElement(), pCursor, lCount, ctx);
    EXPECT_EQ(1, lCount);
    EXPECT_EQ("other", pCursor->GetLocalName());
    CHelperProbe::Choice_Read_Collection(col, doc.GetDocumentElement(), pCursor, lCount, ctx);
    EXPECT_EQ(1, lCount);  // a choice reads one collection only
    EXPECT_EQ(2, col->GetCount());
}

// ---- helpers of generated classes ----

TEST(Helpers, ChoiceBookkeeping)
{
    std::string s;
    CHelperProbe::Choice_SelectElement("a", nullptr, s);
    EXPECT_EQ("a", s);
    CHelperProbe::Choice_SelectElement("a", nullptr, s);
    EXPECT_EQ("", s);
    CSmartPtr<CItem> v(new CItem("v"));
    CHelperProbe::Choice_SelectElement("a", v, s);
    CHelperProbe::Choice_SelectElement("b", nullptr, s);  // another choice cleared: no failure
    EXPECT_KR_THROW(CHelperProbe::Choice_SelectElement("b", v, s), CKrInvalidStateException,
                    "The Property [a] is already set. Only one element within this class bay be set at a time");
    EXPECT_KR_THROW(CHelperProbe::Choice_SetElementValid(true, "b", s), CKrInvalidStateException,
                    "The Property a is already set. Only one element within this class bay be set at a time");
    CHelperProbe::Choice_SetElementValid(false, "b", s);
    EXPECT_EQ("", s);
    CHelperProbe::Choice_CollectionChanged("c", 0, s);
    EXPECT_EQ("", s);
    CHelperProbe::Choice_CollectionChanged("c", 2, s);
    EXPECT_EQ("c", s);
    EXPECT_KR_THROW(CHelperProbe::Choice_CollectionChanged("d", 1, s), CKrInvalidStateException,
                    "The Property [c] is already set. Only one element within this class bay be set at a time");
    CHelperProbe::Choice_CollectionChanged("c", 0, s);
    EXPECT_EQ("", s);
}

TEST(Helpers, NullAndNameChecks)
{
    CHelperProbe::Throw_IfElementNameDiffers(nullptr, "x");
    EXPECT_KR_THROW(CHelperProbe::Throw_IfPropertyIsNull(nullptr, "x"), CKrInvalidParamException,
                    "The Property [x] is mandatory, it may node be NULL");
    CSmartPtr<CItem> v(new CItem("v"));
    CHelperProbe::Throw_IfElementNameDiffers(v, "item");
    EXPECT_KR_THROW(CHelperProbe::Throw_IfElementNameDiffers(v, "other"), CKrInvalidParamException,
                    "This property requires an element with the name other the element being set has the element "
                    "name item");
}

TEST(Helpers, NamespaceRules)
{
    // Namespace, restriction, target namespace, valid. A plain URI token also grants no namespace.
    struct Case { const char* lpNs; const char* lpRestriction; const char* lpTarget; bool bValid; };
    const Case aCases[] = {
        {"urn:x", "##any", "urn:t", true},          {"urn:x", "##local urn:x", "urn:t", true},
        {"", "##local urn:x", "urn:t", true},       {"urn:y", "##local urn:x", "urn:t", false},
        {"", "urn:x", "urn:t", true},               {"urn:t", "##other", "urn:t", false},
        {"", "##other", "urn:t", true},             {"", "##other", "", false},
        {"urn:t", "##targetNamespace", "urn:t", true}, {"urn:x", "##targetNamespace", "urn:t", false},
        {"urn:xy", "urn:x", "urn:t", false},        {"urn:x", "", "urn:t", false},
    };
    for (const Case& c : aCases)
        EXPECT_EQ(c.bValid, CHelperProbe::IsNamespaceValid(c.lpNs, c.lpRestriction, c.lpTarget))
            << "[" << c.lpNs << "] in [" << c.lpRestriction << "]";
    EXPECT_KR_THROW(CHelperProbe::TestNamespace("urn:y", "##local urn:x", "urn:t"), CKrInvalidNamespaceException,
                    "Invalid namespace [urn:y]. The namespace must be one of [##local urn:x] where the target "
                    "namespace is [urn:t].");
}

TEST(Helpers, ElementNameMatching)
{
    CXmlDocument doc;
    doc.LoadXml("<a xmlns='urn:a'/>");
    const CXmlElement* p = doc.GetDocumentElement();
    CSmartPtr<CHelperProbe> probe(new CHelperProbe);
    CSerializationContext ctx;
    EXPECT_TRUE(probe->Matches(ctx, p, "a", "urn:a"));
    EXPECT_FALSE(probe->Matches(ctx, p, "a", "urn:b"));
    EXPECT_FALSE(probe->Matches(ctx, p, "b", "urn:a"));
    ctx.SetIgnoreNamespaces(true);
    EXPECT_TRUE(probe->Matches(ctx, p, "a", "urn:b"));
    CSerializationContext noNs;
    noNs.SetSchemaType(SchemaType_NoNamespaces);
    EXPECT_TRUE(probe->Matches(noNs, p, "a", "urn:b"));
}

} // namespace
