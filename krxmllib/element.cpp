#include "element.h"

#include <cstring>
#include <map>
#include <utility>

#include "binarydata.h"
#include "elementbuilder.h"
#include "functions.h"
#include "krexception.h"
#include "objectarena.h"
#include "textstream.h"
#include "xmlcontentsink.h"
#include "xmldocument.h"
#include "xmltextwriter.h"

namespace KrXmlLib16 {

KR_ARENA_ALLOCATION_DEFINE(CElement)
KR_ARENA_ALLOCATION_DEFINE(CElementCol)

static const char* Safe(const char* lp) { return lp ? lp : ""; }

namespace {

// Reading, writing, copying and freeing an untyped tree walk it with explicit work lists:
// a document may nest far deeper than the stack allows.

// Elements whose content is still to be read; set while the outermost read runs.
thread_local std::vector<std::pair<CSmartPtr<CElement>, const CXmlElement*>>* t_pPendingReads = nullptr;
// Objects whose last reference is still to be dropped; set while the outermost release runs.
thread_local std::vector<CXmlObjectBase*>* t_pPendingReleases = nullptr;

void ReleaseAll(std::vector<CXmlObjectBase*>& items)
{
    // Releasing an element may add its children to the list; they go in the same loop.
    while (!items.empty())
    {
        CXmlObjectBase* p = items.back();
        items.pop_back();
        if (!items.empty())
            __builtin_prefetch(items.back());
        if (p)
            p->Release();
    }
}

bool IsKeyword(const char* lpNamespace)
{
    return std::strcmp(lpNamespace, "##any") == 0 || std::strcmp(lpNamespace, "##other") == 0 ||
           std::strcmp(lpNamespace, "##local") == 0 || std::strcmp(lpNamespace, "##targetNamespace") == 0;
}

} // namespace

// ---- construction ----

CElement::CElement(const char* lpName) : CInstanceMonitor("CElement")
{
    Init(lpName, "", "##any", "");
}

CElement::CElement(const char* lpName, const char* lpNamespace) : CInstanceMonitor("CElement")
{
    if (lpNamespace && IsKeyword(lpNamespace))
        throw CKrInvalidNamespaceException(FormatString("Invalid Namespace [%s].", lpNamespace), std::string());
    Init(lpName, lpNamespace, lpNamespace, "");
}

CElement::CElement(const char* lpName, const char* lpNamespace, const char* lpRestrictions,
                   const char* lpTargetNamespace)
    : CInstanceMonitor("CElement")
{
    Init(lpName, lpNamespace, lpRestrictions, lpTargetNamespace);
}

CElement::CElement(const char* pName, size_t nName, const char* pNamespace, size_t nNamespace,
                   const std::string& strTargetNamespace)
    : CInstanceMonitor("CElement"),
      m_strName(pName, nName),
      m_strNamespace(pNamespace, nNamespace),
      m_strNamespaceRestrictions("##any"),
      m_strTargetNamespace(strTargetNamespace)
{
}

CElement::CElement(CXmlObjectBase* pObject, const char* lpDefaultNamespace) : CInstanceMonitor("CElement")
{
    Init("", "", "##any", "");
    if (!pObject)
        throw CKrInvalidParamException("The object to copy is NULL");
    if (lpDefaultNamespace)
        m_strDefaultNamespace = lpDefaultNamespace;
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI(m_strDefaultNamespace.c_str());
    CBinaryData data = pObject->ToXmlStream(false, false, XmlEncoding_UTF8, EOLType_LF, ctx, CompressionType_None);
    CXmlDocument doc(ctx);
    doc.LoadXmlStream(data.GetData(), data.GetLength());
    CopyXmlElement(doc.GetDocumentElement());
}

CElement::CElement(const CElement& other)
    : CXmlObjectBase(other),
      CInstanceMonitor(other),
      m_strName(other.m_strName),
      m_strText(other.m_strText),
      m_strNamespace(other.m_strNamespace),
      m_strNamespaceRestrictions(other.m_strNamespaceRestrictions),
      m_strTargetNamespace(other.m_strTargetNamespace),
      m_spAttributes(other.Attributes()),
      m_spChildElements(other.Children()),
      m_strDefaultNamespace(other.m_strDefaultNamespace),
      m_bListsInNoNamespace(other.m_bListsInNoNamespace)
{
}

CElement::~CElement()
{
    CElementCol* pCol = m_spChildElements;
    if (!pCol)
        return;
    // Only a collection that dies with this element gives its items to the work list; a
    // shared one keeps them.
    if (pCol->GetRefCount() != 1)
        return;
    if (t_pPendingReleases)
    {
        pCol->DetachItems(*t_pPendingReleases);
        return;
    }
    std::vector<CXmlObjectBase*> items;
    pCol->DetachItems(items);
    t_pPendingReleases = &items;
    ReleaseAll(items);
    t_pPendingReleases = nullptr;
}

void CElement::Init(const char* lpName, const char* lpNamespace, const char* lpRestrictions,
                    const char* lpTargetNamespace)
{
    if (!lpName)
        throw CKrInvalidNamespaceException("Element Name must have a value", std::string());
    if (!lpNamespace)
        throw CKrInvalidNamespaceException("Element Namespace must have a value", std::string());
    if (!lpRestrictions)
        throw CKrInvalidNamespaceException("Namespace Restriction must have a value", std::string());
    if (!lpTargetNamespace)
        throw CKrInvalidNamespaceException("Target Namespace must have a value", std::string());
    TestNamespace(lpNamespace, lpRestrictions, lpTargetNamespace);
    m_strName = lpName;
    m_strNamespace = lpNamespace;
    m_strNamespaceRestrictions = lpRestrictions;
    m_strTargetNamespace = lpTargetNamespace;
    m_spAttributes = nullptr;
    m_spChildElements = nullptr;
    m_bListsInNoNamespace = false;
}

CAttributeCol* CElement::Attributes() const
{
    if (!m_spAttributes)
        m_spAttributes = new CAttributeCol(m_bListsInNoNamespace ? "" : m_strNamespace.c_str(), "##any",
                                           m_strTargetNamespace.c_str());
    return m_spAttributes;
}

CElementCol* CElement::Children() const
{
    if (!m_spChildElements)
        m_spChildElements = new CElementCol(m_bListsInNoNamespace ? "" : m_strNamespace.c_str(), "##any",
                                            m_strTargetNamespace.c_str(), 0, -1);
    return m_spChildElements;
}

CSmartPtr<CAttributeCol> CElement::GetAttributes() const
{
    return CSmartPtr<CAttributeCol>(Attributes());
}

CSmartPtr<CElementCol> CElement::GetChildElements() const
{
    return CSmartPtr<CElementCol>(Children());
}

void CElement::SetNamespace(const char* lpNamespace)
{
    TakeNamespace(Safe(lpNamespace));
}

void CElement::TakeNamespace(const std::string& strNamespace)
{
    if (!m_bListsInNoNamespace && strNamespace != m_strNamespace && !(m_spAttributes && m_spChildElements))
    {
        // Most elements never get lists: the empty namespace is remembered in a flag, any
        // other one by making the lists now.
        if (m_strNamespace.empty())
            m_bListsInNoNamespace = true;
        else
        {
            Attributes();
            Children();
        }
    }
    m_strNamespace = strNamespace;
}

// ---- copies ----

void CElement::CopyXmlElement(const CXmlElement* pElement)
{
    if (!pElement)
        throw CKrException("Invalid or empty XML document");
    std::vector<std::pair<CElement*, const CXmlElement*>> work;
    work.emplace_back(this, pElement);
    while (!work.empty())
    {
        CElement* pTarget = work.back().first;
        const CXmlElement* pSource = work.back().second;
        work.pop_back();
        pTarget->m_strName = pSource->GetLocalName();
        pTarget->TakeNamespace(pSource->GetNamespaceURI());
        pTarget->m_strText = pSource->GetText();
        if (pTarget->m_spAttributes)
            pTarget->m_spAttributes->Clear();
        if (pTarget->m_spChildElements)
            pTarget->m_spChildElements->Clear();
        for (const CXmlAttribute* pAttr : pSource->GetAttributes())
        {
            pTarget->Attributes()->Add(pAttr->GetLocalName().c_str(), pAttr->GetValue().c_str(),
                                       pAttr->GetNamespaceURI().c_str());
            if (pAttr->GetLocalName() == "xmlns")
                pTarget->m_strDefaultNamespace = pAttr->GetValue();
        }
        for (const CXmlElement* pChild = pSource->GetFirstElement(); pChild; pChild = pChild->GetNextSiblingElement())
        {
            CSmartPtr<CElement> spNew(new CElement(pChild->GetLocalName().c_str()));
            pTarget->Children()->Add(spNew);
            work.emplace_back(spNew, pChild);
        }
    }
}

CSmartPtr<CElement> CElement::Clone() const
{
    auto copyShallow = [](const CElement* p) {
        CSmartPtr<CElement> sp(new CElement(p->m_strName.c_str(), p->m_strNamespace.c_str(),
                                            p->m_strNamespaceRestrictions.c_str(), p->m_strTargetNamespace.c_str()));
        sp->m_strText = p->m_strText;
        sp->m_bListsInNoNamespace = p->m_bListsInNoNamespace;
        if (p->m_spAttributes)
            sp->m_spAttributes = p->m_spAttributes->Clone();
        if (p->m_spChildElements)
        {
            const CElementCol* pCol = p->m_spChildElements;
            sp->m_spChildElements =
                new CElementCol(pCol->m_strDefaultNamespace.c_str(), pCol->m_strNamespaceRestrictions.c_str(),
                                pCol->m_strTargetNamespace.c_str(), pCol->GetMinOccurs(), pCol->GetMaxOccurs());
        }
        return sp;
    };
    CSmartPtr<CElement> spRoot = copyShallow(this);
    std::vector<std::pair<const CElement*, CElement*>> work;
    work.emplace_back(this, spRoot);
    while (!work.empty())
    {
        const CElement* pSource = work.back().first;
        CElement* pTarget = work.back().second;
        work.pop_back();
        if (!pSource->m_spChildElements)
            continue;
        for (CElement* pChild : *pSource->m_spChildElements)
        {
            CSmartPtr<CElement> spCopy = copyShallow(pChild);
            pTarget->m_spChildElements->Add(spCopy);
            work.emplace_back(pChild, spCopy);
        }
    }
    return spRoot;
}

void CElement::SetNamespaceRestrictions(const char* lpRestrictions, const char* lpTargetNamespace)
{
    std::vector<const CElement*> work{this};
    while (!work.empty())
    {
        const CElement* p = work.back();
        work.pop_back();
        try
        {
            TestNamespace(p->m_strNamespace.c_str(), lpRestrictions, lpTargetNamespace);
        }
        catch (const CKrException& e)
        {
            throw CKrInvalidNamespaceException(
                FormatString("The namespace %s in the class %s is invalid against restriction %s",
                             p->m_strNamespace.c_str(), p->m_strName.c_str(), Safe(lpRestrictions)),
                std::string(), e);
        }
        if (p->m_spAttributes)
            for (CAttribute* pAttr : *p->m_spAttributes)
                TestNamespace(pAttr->GetNamespace().c_str(), lpRestrictions, lpTargetNamespace);
        if (p->m_spChildElements)
            for (CElement* pChild : *p->m_spChildElements)
                work.push_back(pChild);
    }
}

// ---- reading ----

CXmlElement* CElement::FromXml_Int(CXmlElement*, CXmlElement* pCursor, const CSerializationContext& ctx, bool)
{
    if (!pCursor)
        return nullptr;
    if (!IsNamespaceValid(pCursor->GetNamespaceURI().c_str(), m_strNamespaceRestrictions.c_str(),
                          m_strTargetNamespace.c_str()))
        return pCursor;
    if (t_pPendingReads)
    {
        // Inside an outer read: the content follows from the work list.
        t_pPendingReads->emplace_back(CSmartPtr<CElement>(this), pCursor);
        return pCursor->GetNextSiblingElement();
    }
    CObjectArena::CBuildScope arena;
    std::vector<std::pair<CSmartPtr<CElement>, const CXmlElement*>> pending;
    struct Scope
    {
        explicit Scope(decltype(pending)* p) { t_pPendingReads = p; }
        ~Scope() { t_pPendingReads = nullptr; }
    } scope(&pending);
    // This object may live on the stack: it isn't counted while its own content is read.
    ReadContent(pCursor, ctx);
    while (!pending.empty())
    {
        CSmartPtr<CElement> spElement = pending.back().first;
        const CXmlElement* pSource = pending.back().second;
        pending.pop_back();
        spElement->ReadContent(pSource, ctx);
    }
    return pCursor->GetNextSiblingElement();
}

void CElement::ReadContent(const CXmlElement* pSource, const CSerializationContext& ctx)
{
    CXmlElement* pElement = const_cast<CXmlElement*>(pSource);
    if (!pSource->GetAttributes().empty())
        Attributes()->FromXml_Int(pElement, nullptr, ctx, false);
    if (const CXmlElement* pChild = pSource->GetFirstElement())
    {
        CElementCol* pCol = Children();
        if (pCol->m_lstListeners.empty() && pCol->m_strNamespaceRestrictions == "##any" && t_pPendingReads)
        {
            // The common case, without the tests that "##any" always passes and without
            // events nobody listens to: each child goes into the list, its content onto the
            // work list.
            for (; pChild; pChild = pChild->GetNextSiblingElement())
            {
                const std::string& strName = pChild->GetLocalName();
                const std::string& strNs = pChild->GetNamespaceURI();
                CSmartPtr<CElement> sp(
                    new CElement(strName.data(), strName.size(), strNs.data(), strNs.size(), pCol->m_strTargetNamespace));
                pCol->AppendItem(sp);
                t_pPendingReads->emplace_back(sp, pChild);
            }
        }
        else if (pCol->FromXml_Int(pElement, pElement->GetFirstElement(), ctx, false) != nullptr)
            throw CKrValidationException(FormatString("Invalid Element [%s] found.", pSource->GetLocalName().c_str()),
                                         pSource->GetXPath());
    }
    m_strText = pSource->GetText();
    m_strName = pSource->GetLocalName();
    TakeNamespace(pSource->GetNamespaceURI());
}

void CElement::ReadDocumentElement(const CXmlDocument& doc, const CSerializationContext& ctx)
{
    CXmlElement* pRoot = doc.GetDocumentElement();
    if (!pRoot)
        throw CKrException("Invalid or empty XML document");
    if (FromXml_Int(nullptr, pRoot, ctx, false) == pRoot)
        throw InvalidNamespaceException(pRoot->GetNamespaceURI(), m_strNamespaceRestrictions, m_strTargetNamespace,
                                        pRoot->GetXPath());
}

void CElement::FromXml(const char* lpXml)
{
    FromXml(lpXml, CSerializationContext::GetDefaultContext());
}

// ---- building from the parser ----

namespace {

bool IsBlank(const std::string& strText)
{
    for (char c : strText)
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
            return false;
    return true;
}

} // namespace

// The list's node takes the first and only reference; an object the list refused (a listener
// failed, or memory ran out) is freed here.
template <class TCol>
void CElementBuilder::Append(TCol* pCol, CXmlObjectBase* pItem)
{
    try
    {
        pCol->AppendItem(pItem);
    }
    catch (...)
    {
        if (pItem->GetRefCount() == 0)
        {
            pItem->AddRef();
            pItem->Release();
        }
        throw;
    }
}

void CElementBuilder::OnNamespaceDeclaration(const std::string& strAlias, const std::string& strNamespace)
{
    if (!m_bRootSeen)
        m_rootAliases[strAlias] = strNamespace;
}

void CElementBuilder::OnStartElement(const char* pNamespace, size_t nNamespace, const char* pName, size_t nName)
{
    if (!m_bRootSeen)
    {
        StartRoot(std::string(pNamespace, nNamespace), std::string(pName, nName));
        return;
    }
    CElementCol* pCol = m_stack.back()->Children();
    CElement* pElement = new CElement(pName, nName, pNamespace, nNamespace, pCol->m_strTargetNamespace);
    Append(pCol, pElement);
    m_stack.push_back(pElement);
}

void CElementBuilder::OnAttribute(const char* pName, size_t nName, const char* pValue, size_t nValue,
                                  const char* pNamespace, size_t nNamespace)
{
    // An element's own attribute list takes any namespace. The list first: made lazily, it can
    // fail, and the attribute would then have no owner.
    CAttributeCol* pCol = m_stack.back()->Attributes();
    CAttribute* pAttribute =
        new CAttribute(std::string(pName, nName), std::string(pValue, nValue), std::string(pNamespace, nNamespace));
    Append(pCol, pAttribute);
}

void CElementBuilder::OnText(const char* pText, uint32_t dwLen)
{
    AppendTextExcludingCR(m_stack.back()->m_strText, pText, dwLen);
}

void CElementBuilder::OnEndElement()
{
    CElement* pElement = m_stack.back();
    m_stack.pop_back();
    if (m_bDropIndentation && pElement->m_spChildElements && pElement->m_spChildElements->GetCount() > 0 &&
        !pElement->m_strText.empty() && IsBlank(pElement->m_strText))
        std::string().swap(pElement->m_strText);
}

void CElementBuilder::StartRoot(const std::string& strNamespace, const std::string& strName)
{
    // Named through CElement: a friend of a derived class reaches a protected member of the base
    // only through the derived class.
    if (!CElement::IsNamespaceValid(strNamespace.c_str(), m_root.m_strNamespaceRestrictions.c_str(),
                                    m_root.m_strTargetNamespace.c_str()))
    {
        std::string strPath = "/";
        for (const auto& entry : m_rootAliases)
            if (!entry.first.empty() && entry.second == strNamespace && !strNamespace.empty())
            {
                strPath += entry.first + ":";
                break;
            }
        throw CElement::InvalidNamespaceException(strNamespace, m_root.m_strNamespaceRestrictions,
                                                  m_root.m_strTargetNamespace, strPath + strName);
    }
    m_bRootSeen = true;
    m_root.m_strName = strName;
    m_root.TakeNamespace(strNamespace);
    m_root.m_strText.clear();
    m_stack.push_back(&m_root);
}

template <typename LoadFn>
void CElement::BuildFrom(const CSerializationContext& ctx, LoadFn load)
{
    CObjectArena::CBuildScope arena;
    CXmlDocument doc(ctx);
    CElementBuilder builder(*this);
    doc.SetContentSink(&builder);
    load(doc);
    if (!builder.RootSeen())
        throw CKrException("Invalid or empty XML document");
}

void CElement::FromXml(const char* lpXml, const CSerializationContext& ctx)
{
    BuildFrom(ctx, [lpXml](CXmlDocument& doc) { doc.LoadXml(lpXml); });
}

void CElement::FromXml(const unsigned short* lpXml, const CSerializationContext& ctx)
{
    BuildFrom(ctx, [lpXml](CXmlDocument& doc) { doc.LoadXml(lpXml); });
}

void CElement::FromXmlStream(unsigned char* const pData, uint32_t dwLen, const CSerializationContext& ctx)
{
    BuildFrom(ctx, [pData, dwLen](CXmlDocument& doc) { doc.ParseInPlace(pData, dwLen); });
}

void CElement::FromXmlFile(const char* lpFileName, const CSerializationContext& ctx)
{
    BuildFrom(ctx, [lpFileName](CXmlDocument& doc) { doc.Load(lpFileName); });
}

void CElement::FromXmlElement(const CXmlElement* pElement, const CSerializationContext& ctx)
{
    if (!pElement)
        throw CKrInvalidParamException("The element to read from is NULL");
    CXmlElement* p = const_cast<CXmlElement*>(pElement);
    if (FromXml_Int(nullptr, p, ctx, false) == p)
        throw InvalidNamespaceException(p->GetNamespaceURI(), m_strNamespaceRestrictions, m_strTargetNamespace,
                                        p->GetXPath());
}

// ---- writing ----

void CElement::ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                         bool bOptionalChoice) const
{
    // The root of a document takes the document options, as a bound class's root does.
    if (bRoot)
        WriteRootPreamble(pWriter, ctx);
    if (!m_strDefaultNamespace.empty() && dynamic_cast<CXmlTextWriter*>(pWriter) && !bRoot)
    {
        WriteNested(pWriter, ctx, bOptionalChoice);
        return;
    }

    struct Frame
    {
        const CElement* pElement;
        CXmlCollection::CNode* pNextChild;
        const CElement* pLastChild;  // the child written last
        bool bInRun;                 // a run of children of one name is being written
    };
    // Consecutive children of one name are written as one collection, which the JSON writer
    // makes one array of rather than members of the same name; other writers ignore it.
    auto sameName = [](const CElement* a, const CElement* b) {
        return a->m_strName == b->m_strName && a->m_strNamespace == b->m_strNamespace;
    };
    auto itemOf = [](const CXmlCollection::CNode* pNode) {
        return static_cast<const CElement*>(static_cast<CXmlObjectBase*>(pNode->m_spItem));
    };
    std::vector<Frame> stack;
    auto open = [&](const CElement* p, bool bIsRoot) {
        pWriter->StartElement(p->m_strName, p->m_strNamespace);
        if (bIsRoot && bRoot)
            if (const CAttributeCol* pRootAttributes = ctx.PeekAdditionalRootAttributes())
                pRootAttributes->ToXml_Int(pWriter, false, lpNamespace, ctx, false);
        if (p->m_spAttributes)
            p->m_spAttributes->ToXml_Int(pWriter, false, lpNamespace, ctx, false);
        if (bIsRoot && bRoot && !ctx.GetInLineSchema().empty())
            pWriter->WriteInLineSchema(ctx.GetInLineSchema());
        CXmlCollection::CNode* pFirst = nullptr;
        if (p->m_spChildElements)
        {
            p->m_spChildElements->ValidateCount(ctx);
            pFirst = p->m_spChildElements->GetHead();
        }
        stack.push_back(Frame{p, pFirst, nullptr, false});
    };
    open(this, true);
    while (!stack.empty())
    {
        Frame& top = stack.back();
        if (top.bInRun && (!top.pNextChild || !sameName(top.pLastChild, itemOf(top.pNextChild))))
        {
            pWriter->SetArrayState(3);
            top.bInRun = false;
        }
        if (top.pNextChild)
        {
            const CElement* pChild = itemOf(top.pNextChild);
            if (!top.bInRun && top.pNextChild->m_pNext && sameName(pChild, itemOf(top.pNextChild->m_pNext)))
            {
                pWriter->SetArrayState(1);
                top.bInRun = true;
            }
            top.pLastChild = pChild;
            top.pNextChild = top.pNextChild->m_pNext;
            // The walk goes from pointer to pointer: start loading the next sibling now.
            if (top.pNextChild)
            {
                __builtin_prefetch(top.pNextChild->m_spItem.p);
                if (top.pNextChild->m_pNext)
                    __builtin_prefetch(top.pNextChild->m_pNext);
            }
            if (!pChild->m_strDefaultNamespace.empty() && dynamic_cast<CXmlTextWriter*>(pWriter))
                pChild->WriteNested(pWriter, ctx, false);
            else
                open(pChild, false);  // may grow the stack: top is not used after this
            continue;
        }
        // An empty text beside attributes or children says nothing; a JSON writer would still
        // put it out as a member.
        const CElement* pDone = top.pElement;
        if (!pDone->m_strText.empty() || !((pDone->m_spAttributes && pDone->m_spAttributes->GetCount() > 0) ||
                                            (pDone->m_spChildElements && pDone->m_spChildElements->GetCount() > 0)))
            pWriter->WriteElementText(pDone->m_strText, ItemType_string, false);
        pWriter->EndElement();
        stack.pop_back();
    }
}

void CElement::WriteNested(CXmlWriter* pWriter, const CSerializationContext&, bool bOptionalChoice) const
{
    // The content has a default namespace of its own: it is written as a document of its own
    // and put into the outer one as it stands.
    CXmlTextWriter* pOuter = static_cast<CXmlTextWriter*>(pWriter);
    CTextStream stream;
    CXmlTextWriter inner(&stream);
    inner.StartDocument();
    inner.SetFormatted(pOuter->GetFormatted());
    inner.SetEOLType(pOuter->GetEOLType());
    inner.SetDefaultNamespace(m_strDefaultNamespace);
    inner.StartElement(m_strName, m_strNamespace);
    CSerializationContext innerCtx;
    innerCtx.SetDefaultNamespaceURI(m_strDefaultNamespace.c_str());
    if (m_spChildElements)
        m_spChildElements->ToXml_Int(&inner, false, m_strNamespace.c_str(), innerCtx, bOptionalChoice);
    inner.WriteElementText(m_strText, ItemType_string, false);
    inner.EndElement();
    inner.EndDocument();
    pOuter->CloseStartTag();
    pOuter->WriteRawLine(stream.GetText());
}

// ---- CElementCol ----

CElementCol::CElementCol(const char* lpNamespace, const char* lpRestrictions, const char* lpTargetNamespace,
                         int iMinOccurs, int iMaxOccurs)
    : CInstanceMonitor("CElementCol")
{
    const char* lpNs = Safe(lpNamespace);
    const char* lpRestr = Safe(lpRestrictions);
    TestNamespace(lpNs, lpRestr, Safe(lpTargetNamespace));
    if (*lpNs == 0 && std::strlen(lpRestr) >= 2 && std::strncmp(lpRestr, "##", 2) == 0)
        m_strDefaultNamespace = lpRestr;
    else
        m_strDefaultNamespace = lpNs;
    m_strNamespaceRestrictions = "##any";
    m_strTargetNamespace = Safe(lpTargetNamespace);
    m_iMinOccurs = iMinOccurs;
    m_iMaxOccurs = iMaxOccurs;
}

CSmartPtr<CElement> CElementCol::Add(const char* lpName, const char* lpNamespace)
{
    TestNamespace(Safe(lpNamespace), m_strNamespaceRestrictions.c_str(), m_strTargetNamespace.c_str());
    CSmartPtr<CElement> sp(
        new CElement(lpName, Safe(lpNamespace), m_strNamespaceRestrictions.c_str(), m_strTargetNamespace.c_str()));
    AppendItem(sp);
    return sp;
}

CSmartPtr<CElement> CElementCol::Add(const char* lpName)
{
    if (m_strDefaultNamespace.empty())
        throw CKrInvalidStateException("A Namespace has not been set for this Collection");
    CSmartPtr<CElement> sp(new CElement(lpName, m_strDefaultNamespace.c_str(), m_strNamespaceRestrictions.c_str(),
                                        m_strTargetNamespace.c_str()));
    AppendItem(sp);
    return sp;
}

CSmartPtr<CElement> CElementCol::Add(CElement* pElement)
{
    CSmartPtr<CElement> sp(pElement);
    if (!pElement)
        throw CKrInvalidParamException("The element to add is NULL");
    TestNamespace(pElement->m_strNamespace.c_str(), m_strNamespaceRestrictions.c_str(), m_strTargetNamespace.c_str());
    AppendItem(pElement);
    return sp;
}

CSmartPtr<CElement> CElementCol::Item(int iIndex) const
{
    return CSmartPtr<CElement>(static_cast<CElement*>(static_cast<CXmlObjectBase*>(GetNodeAtIndex(iIndex)->m_spItem)));
}

CSmartPtr<CElementCol> CElementCol::Clone() const
{
    CSmartPtr<CElementCol> spCopy(new CElementCol(m_strDefaultNamespace.c_str(), m_strNamespaceRestrictions.c_str(),
                                                  m_strTargetNamespace.c_str(), m_iMinOccurs, m_iMaxOccurs));
    for (CElement* p : *this)
        spCopy->Add(p->Clone());
    return spCopy;
}

void CElementCol::DetachItems(std::vector<CXmlObjectBase*>& items)
{
    DetachAllItems(items);
}

void CElementCol::ToXml_Int(CXmlWriter* pWriter, bool, const char* lpNamespace, const CSerializationContext& ctx,
                            bool) const
{
    ValidateCount(ctx);
    for (CElement* p : *this)
        CXmlObjectBase::ToXml_Int(p, pWriter, false, lpNamespace, ctx, false);
}

CXmlElement* CElementCol::FromXml_Int(CXmlElement* pParent, CXmlElement* pCursor, const CSerializationContext& ctx,
                                      bool)
{
    while (pCursor)
    {
        const std::string& strNamespace = pCursor->GetNamespaceURI();
        if (!IsNamespaceValid(strNamespace.c_str(), m_strNamespaceRestrictions.c_str(), m_strTargetNamespace.c_str()))
            return pCursor;
        CSmartPtr<CElement> sp(new CElement(pCursor->GetLocalName().c_str(), strNamespace.c_str(),
                                            m_strNamespaceRestrictions.c_str(), m_strTargetNamespace.c_str()));
        CXmlElement* pNext = sp->FromXml_Int(pParent, pCursor, ctx, false);
        if (pNext == pCursor)
            return pCursor;
        Add(sp);
        pCursor = pNext;
    }
    return pCursor;
}

CXmlElement* CElementCol::FromXmlLockElementName_Int(std::string strName, std::string strNamespace,
                                                     CXmlElement* pParent, CXmlElement* pCursor,
                                                     const CSerializationContext& ctx)
{
    while (pCursor && pCursor->GetLocalName() == strName && pCursor->GetNamespaceURI() == strNamespace)
    {
        CSmartPtr<CElement> sp(new CElement(pCursor->GetLocalName().c_str(), pCursor->GetNamespaceURI().c_str(), "##any",
                                            m_strTargetNamespace.c_str()));
        CXmlElement* pNext = sp->FromXml_Int(pParent, pCursor, ctx, false);
        if (pNext == pCursor)
            break;
        Add(sp);
        pCursor = pNext;
    }
    return pCursor;
}

} // namespace KrXmlLib16
