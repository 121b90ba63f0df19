// The generic writer and reader of bound classes: the walks over a class's metadata tables.
#include "xmlgeneratedclass.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <typeinfo>

#include "attribute.h"
#include "functions.h"
#include "krexception.h"
#include "serializationcontext.h"
#include "xmlelement.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

using KrXmlLib16Data::CAttributeInfo;
using KrXmlLib16Data::CElementInfo;
using KrXmlLib16Data::CParentElementInfo;

// Generated classes free their tables from static objects of their own at exit, under this
// lock; it is built before, and destroyed after, every static object of ordinary priority, so
// that it outlives them whatever order the linker gives their files.
CKRCriticalSection CXmlGeneratedClass::m_csInit __attribute__((init_priority(101)));

namespace {

// The namespace handed to the rows. Only wildcard rows read it, so it is asked of the object
// once, when the first of them comes: most classes never pay for the string.
class CRowNamespace
{
public:
    explicit CRowNamespace(const CXmlGeneratedClass* pObject) : m_pObject(pObject) {}
    const char* For(const CElementInfo* pRow)
    {
        if (!pRow->IsWildcard())
            return "";
        if (!m_bDone)
        {
            m_strNamespace = m_pObject->GetNamespace();
            m_bDone = true;
        }
        return m_strNamespace.c_str();
    }

private:
    const CXmlGeneratedClass* m_pObject;
    std::string m_strNamespace;
    bool m_bDone = false;
};

// Reading and writing recurse once for every nested bound element. The bound keeps a hostile
// document, or a runaway chain of objects, from overflowing the stack; real schemas nest far
// less deep.
const int kMaxNesting = 1000;
thread_local int t_nNesting = 0;

class CNestingGuard
{
public:
    CNestingGuard() { ++t_nNesting; }
    ~CNestingGuard() { --t_nNesting; }
    CNestingGuard(const CNestingGuard&) = delete;
    CNestingGuard& operator=(const CNestingGuard&) = delete;
    bool TooDeep() const { return t_nNesting > kMaxNesting; }
};

std::string TooDeepMessage()
{
    return FormatString("Bound elements are nested more than %d levels deep", kMaxNesting);
}

// One flag per row, on the stack for the tables of real schemas.
class CRowFlags
{
public:
    explicit CRowFlags(size_t nRows)
    {
        if (nRows > kInline)
        {
            m_spHeap.reset(new bool[nRows]);
            m_pFlags = m_spHeap.get();
        }
        std::fill(m_pFlags, m_pFlags + nRows, false);
    }
    bool& operator[](size_t i) { return m_pFlags[i]; }

private:
    static const size_t kInline = 64;
    bool m_inline[kInline];
    bool* m_pFlags = m_inline;
    std::unique_ptr<bool[]> m_spHeap;
};

template <typename Row>
size_t CountRows(Row** ppRows)
{
    size_t n = 0;
    if (ppRows)
        while (ppRows[n])
            ++n;
    return n;
}

// The INillable side of an object, or null. The cross cast walks the class hierarchy, yet its
// answer is the same for every object of a class (taken at the same base): each thread keeps
// it for the last few classes it met, by their type_info and the base's place in the object.
INillable* NillableOf(CXmlGeneratedClass* pObject)
{
    struct Entry
    {
        const std::type_info* pType;
        ptrdiff_t nBase;     // where pObject lies in the whole object
        ptrdiff_t nOffset;   // from pObject to its INillable
        bool bNillable;
    };
    static const int kEntries = 4;
    thread_local Entry t_entries[kEntries] = {};
    thread_local int t_iNext = 0;

    const std::type_info* pType = &typeid(*pObject);
    const ptrdiff_t nBase = reinterpret_cast<char*>(pObject) - static_cast<char*>(dynamic_cast<void*>(pObject));
    for (const Entry& entry : t_entries)
        if (entry.pType == pType && entry.nBase == nBase)
            return entry.bNillable ? reinterpret_cast<INillable*>(reinterpret_cast<char*>(pObject) + entry.nOffset)
                                   : nullptr;
    INillable* pNillable = dynamic_cast<INillable*>(pObject);
    Entry& entry = t_entries[t_iNext];
    t_iNext = (t_iNext + 1) % kEntries;
    entry.pType = pType;
    entry.nBase = nBase;
    entry.bNillable = pNillable != nullptr;
    entry.nOffset = pNillable ? reinterpret_cast<char*>(pNillable) - reinterpret_cast<char*>(pObject) : 0;
    return pNillable;
}

bool EqualsNoCase(const std::string& strValue, const char* lpWord)
{
    size_t i = 0;
    for (; i < strValue.size() && lpWord[i]; ++i)
    {
        char c = strValue[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if (c != lpWord[i])
            return false;
    }
    return i == strValue.size() && lpWord[i] == 0;
}

} // namespace

// ---- tables ----

void CXmlGeneratedClass::ReadProperty(int iPropertyIndex, KrVariant& value) const
{
    const_cast<CXmlGeneratedClass*>(this)->InvokeProperty(iPropertyIndex, true, value);
}

bool CXmlGeneratedClass::IsElementInList(const CSerializationContext& ctx, CXmlElement* pElement) const
{
    CElementInfo** ppRows = const_cast<CXmlGeneratedClass*>(this)->GetClassElementInfo();
    for (size_t i = 0; ppRows && ppRows[i]; ++i)
        if (ppRows[i]->IsThisElement(ctx, pElement))
            return true;
    return false;
}

int CXmlGeneratedClass::GetClassElementInfoCount() const
{
    return static_cast<int>(CountRows(const_cast<CXmlGeneratedClass*>(this)->GetClassElementInfo()));
}

bool CXmlGeneratedClass::DoesElementContainOptionalElements() const
{
    CXmlGeneratedClass* pThis = const_cast<CXmlGeneratedClass*>(this);
    CElementInfo** ppRows = pThis->GetClassElementInfo();
    for (size_t i = 0; ppRows && ppRows[i]; ++i)
        if (ppRows[i]->AllowsEmptyChoice(pThis))
            return true;
    return false;
}

void CXmlGeneratedClass::CleanMetaData(CParentElementInfo*& pInfo, CElementInfo**& ppElements,
                                       CAttributeInfo**& ppAttributes)
{
    delete pInfo;
    pInfo = nullptr;
    if (ppElements)
    {
        for (size_t i = 0; ppElements[i]; ++i)
        {
            delete ppElements[i];
            ppElements[i] = nullptr;
        }
        delete[] ppElements;
        ppElements = nullptr;
    }
    if (ppAttributes)
    {
        for (size_t i = 0; ppAttributes[i]; ++i)
        {
            delete ppAttributes[i];
            ppAttributes[i] = nullptr;
        }
        delete[] ppAttributes;
        ppAttributes = nullptr;
    }
}

// ---- writing ----

void CXmlGeneratedClass::ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                                   const CSerializationContext& ctx, bool bOptionalChoice) const
{
    CNestingGuard nesting;
    if (nesting.TooDeep())
        throw CKrValidationException(TooDeepMessage(), std::string());
    try
    {
        WriteElement(pWriter, bRoot, lpNamespace, ctx, bOptionalChoice);
    }
    catch (const CKrException& e)
    {
        throw CKrValidationException(
            FormatString("Failed to convert the element [%s] to XML", ElementName().c_str()), std::string(), e);
    }
}

void CXmlGeneratedClass::WriteElement(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                                      const CSerializationContext& ctx, bool bOptionalChoice) const
{
    CXmlGeneratedClass* pThis = const_cast<CXmlGeneratedClass*>(this);
    const CParentElementInfo& info = *pThis->GetClassInfo();
    const bool bElement = info.GetElementType() == XmlElementType_Element;
    if (bElement)
    {
        if (bRoot)
            WriteRootPreamble(pWriter, ctx);
        pWriter->StartElement(ElementName(), lpNamespace ? lpNamespace : "");
        // Looked at, not made: a context nobody gave root attributes stays without a collection,
        // so that threads sharing the default context don't race to make one.
        if (bRoot)
            if (CAttributeCol* pRootAttributes = ctx.PeekAdditionalRootAttributes())
                pRootAttributes->ToXml_Int(pWriter, false, lpNamespace, ctx, bOptionalChoice);
        AttributesToXml_Int(pWriter, ctx);
        if (bRoot && !ctx.GetInLineSchema().empty())
            pWriter->WriteInLineSchema(ctx.GetInLineSchema());
    }

    const INillable* pNillable = NillableOf(const_cast<CXmlGeneratedClass*>(this));
    if (pNillable && pNillable->IsNil())
        pWriter->WriteNilAttribute();
    else
    {
        CElementInfo** ppRows = pThis->GetClassElementInfo();
        switch (info.GetElementGroupType())
        {
        case XmlElementGroupType_Sequence: ProcessElementSeqToXml(ctx, ppRows, pWriter); break;
        case XmlElementGroupType_Choice: ProcessElementChoiceToXml(ctx, ppRows, pWriter, bOptionalChoice); break;
        case XmlElementGroupType_All: ProcessElementAllToXml(ctx, ppRows, pWriter); break;
        default: throw CKrException("Unknown XML Group Type");
        }
        if (info.IsSimpleContent())
        {
            KrVariant value;
            ReadProperty(info.GetPrimitiveValuePropertyIndex(), value);
            if (value.IsNil())
                pWriter->WriteNilAttribute();
            else
                pWriter->WriteElementText(value.ToString(info.m_strPrimitiveFormatOverride.c_str()),
                                          value.GetTypeAsEnum(), false);
        }
    }
    if (bElement)
        pWriter->EndElement();
}

void CXmlGeneratedClass::AttributesToXml_Int(CXmlWriter* pWriter, const CSerializationContext& ctx) const
{
    try
    {
        CXmlGeneratedClass* pThis = const_cast<CXmlGeneratedClass*>(this);
        if (ctx.GetWriteTypeAttribute())
        {
            const CParentElementInfo& info = *pThis->GetClassInfo();
            if (info.GetHasBaseClasses() && info.m_strElementName != ElementName())
                pWriter->WriteTypeAttribute(info.m_strElementNamespace, info.m_strElementName, ItemType_string);
        }
        ProcessAttributesToXml(ctx, pThis->GetClassElementInfo(), pThis->GetClassAttributeInfo(), pWriter);
    }
    catch (const CKrException& e)
    {
        throw CKrException("Failed to convert attributes to XML", e);
    }
}

void CXmlGeneratedClass::ProcessAttributesToXml(const CSerializationContext& ctx, CElementInfo** ppElements,
                                                CAttributeInfo** ppAttributes, CXmlWriter* pWriter) const
{
    for (size_t i = 0; ppAttributes && ppAttributes[i]; ++i)
        ppAttributes[i]->AttributeToXml(ctx, this, pWriter);
    for (size_t i = 0; ppElements && ppElements[i]; ++i)
        ppElements[i]->PseudoChildAttributeToXml(ctx, this, pWriter);
}

void CXmlGeneratedClass::ProcessElementSeqToXml(const CSerializationContext& ctx, CElementInfo** ppElements,
                                                CXmlWriter* pWriter) const
{
    for (size_t i = 0; ppElements && ppElements[i]; ++i)
        ppElements[i]->ElementToXml(ctx, this, pWriter);
}

// An all group is written in table order, like a sequence.
void CXmlGeneratedClass::ProcessElementAllToXml(const CSerializationContext& ctx, CElementInfo** ppElements,
                                                CXmlWriter* pWriter) const
{
    ProcessElementSeqToXml(ctx, ppElements, pWriter);
}

void CXmlGeneratedClass::ProcessElementChoiceToXml(const CSerializationContext& ctx, CElementInfo** ppElements,
                                                   CXmlWriter* pWriter, bool bOptionalChoice) const
{
    for (size_t i = 0; ppElements && ppElements[i]; ++i)
        if (ppElements[i]->ElementToXml(ctx, this, pWriter))
            return;
    if (!DoesElementContainOptionalElements() && !bOptionalChoice && !ctx.GetIgnoreMissingChoice())
        throw CKrValidationException("This element is a choice, and as such must have at one (and only one) valid "
                                     "item, currently there are none set",
                                     std::string());
}

// ---- reading ----

CXmlElement* CXmlGeneratedClass::FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild,
                                             const CSerializationContext& ctx, bool bOptionalChoice)
{
    CNestingGuard nesting;
    if (nesting.TooDeep())
        throw CKrValidationException(TooDeepMessage(), pElement->GetXPath());
    try
    {
        return ReadElement(pElement, pFirstChild, ctx, bOptionalChoice);
    }
    catch (const CKrException& e)
    {
        // The innermost element that knows its place names the failure; above it the failure
        // travels on unchanged, as a plain CKrException.
        if (e.GetPath().empty())
            throw CKrValidationException("Failed to process the element.", pElement->GetXPath(), e);
        throw CKrException(e);
    }
}

CXmlElement* CXmlGeneratedClass::ReadElement(CXmlElement* pElement, CXmlElement* pCursor,
                                             const CSerializationContext& ctx, bool bOptionalChoice)
{
    Init();
    const CParentElementInfo& info = *GetClassInfo();
    const XmlElementType eElementType = info.GetElementType();
    if (eElementType == XmlElementType_Element)
        SetElementName(pElement->GetLocalName().c_str());
    ProcessAttributesFromXml(ctx, pElement, info.GetFromXmlFailIfAttributeUnknown());

    INillable* pNillable = NillableOf(this);
    if (pNillable && pNillable->IsNil())
        return pCursor;

    switch (info.GetElementGroupType())
    {
    case XmlElementGroupType_Sequence: pCursor = ProcessElementSeqFromXml(ctx, pElement, pCursor, eElementType); break;
    case XmlElementGroupType_Choice:
        pCursor = ProcessElementChoiceFromXml(ctx, pElement, pCursor, eElementType, bOptionalChoice);
        break;
    case XmlElementGroupType_All: pCursor = ProcessElementAllFromXml(ctx, pElement, pCursor, eElementType); break;
    default: throw CKrException("Unknown Group Type");
    }

    if (info.IsSimpleContent())
    {
        KrVariant value;
        if (info.GetOutputPrimitiveClassAsTextProperty())
            value.SetString(pElement->GetText());
        else
            value.FromString(pElement->GetText(), info.GetPrimitiveDataType(), CWhitespaceUtils::WhitespaceRule_None);
        InvokeProperty(info.GetPrimitiveValuePropertyIndex(), false, value);
    }
    return pCursor;
}

void CXmlGeneratedClass::ProcessAttributesFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                                  bool bFailIfAttributeUnknown)
{
    CAttributeInfo** ppRows = GetClassAttributeInfo();
    const size_t nRows = CountRows(ppRows);
    CRowFlags found(nRows);
    for (CXmlAttribute* pAttribute : pElement->GetAttributes())
    {
        if (pAttribute->IsNamespaceAttribute())
            continue;
        if (pAttribute->IsNilAttribute())
        {
            INillable* pNillable = NillableOf(this);
            if (!pNillable)
                throw CKrValidationException("Invalid use of 'nil' attribute in non-nillable element.",
                                             pElement->GetXPath());
            const std::string& strValue = pAttribute->GetValue();
            bool bNil;
            if (EqualsNoCase(strValue, "true") || strValue == "1")
                bNil = true;
            else if (EqualsNoCase(strValue, "false") || strValue == "0")
                bNil = false;
            else
                throw CKrValidationException(
                    FormatString("Unexpected Value [%s] for 'nil' Attribute found.", strValue.c_str()),
                    pAttribute->GetXPath());
            pNillable->SetNil(bNil);
            continue;
        }
        bool bTaken = false;
        for (size_t i = 0; i < nRows; ++i)
            if (ppRows[i]->AttributeFromXml(ctx, this, pAttribute))
            {
                found[i] = true;
                bTaken = true;
                break;
            }
        if (!bTaken && bFailIfAttributeUnknown && !ctx.GetIgnoreUnknownAttributes())
            throw CKrValidationException("Unexpected Attribute found.", pAttribute->GetXPath());
    }
    for (size_t i = 0; i < nRows; ++i)
        ppRows[i]->Validate(ctx, found[i]);
}

void CXmlGeneratedClass::ThrowLeftover(const CXmlElement* pElement, const CXmlElement* pCursor)
{
    throw CKrValidationException(
        FormatString("Failed read all the elements held within the element [%s]. The unexpected element [%s] remains "
                     "un processed",
                     pElement->GetLocalName().c_str(), pCursor->GetLocalName().c_str()),
        pElement->GetXPath());
}

CXmlElement* CXmlGeneratedClass::ProcessElementSeqFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                                          CXmlElement* pCursor, XmlElementType eElementType)
{
    CElementInfo** ppRows = GetClassElementInfo();
    if (!ppRows)
        return pCursor;
    CRowNamespace ns(this);
    CXmlElement* const pStart = pCursor;
    size_t iFrom = 0;
    for (;;)
    {
        for (size_t i = iFrom; ppRows[i]; ++i)
        {
            while (!ppRows[i]->ElementFromXml(ctx, this, pElement, &pCursor, ns.For(ppRows[i]), eElementType))
            {
                if (!ctx.GetIgnoreUnknownElements() || !pCursor)
                    return pStart;  // the sequence failed as a whole; what was stored stays
                pCursor = pCursor->GetNextSiblingElement();
            }
            iFrom = i;
        }
        // What follows a pseudo element's group belongs to its parent.
        if (eElementType != XmlElementType_Element || !pCursor)
            return pCursor;
        if (!ctx.GetIgnoreUnknownElements())
            ThrowLeftover(pElement, pCursor);
        // Skip the unknown element and resume at the last row that matched, so that an unknown
        // element inside a trailing run doesn't end the run.
        pCursor = pCursor->GetNextSiblingElement();
        if (!pCursor)
            return pCursor;
    }
}

CXmlElement* CXmlGeneratedClass::ProcessElementChoiceFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                                             CXmlElement* pCursor, XmlElementType eElementType,
                                                             bool bOptionalChoice)
{
    CElementInfo** ppRows = GetClassElementInfo();
    CRowNamespace ns(this);
    CXmlElement* const pStart = pCursor;
    bool bFound = false;
    for (;;)
    {
        for (size_t i = 0; ppRows && ppRows[i]; ++i)
            if (ppRows[i]->ElementFromXml(ctx, this, pElement, &pCursor, ns.For(ppRows[i]), eElementType))
            {
                bFound = true;
                break;
            }
        if (bFound || !pCursor || !ctx.GetIgnoreUnknownElements() || eElementType != XmlElementType_Element)
            break;
        pCursor = pCursor->GetNextSiblingElement();
    }
    if (!(bFound || bOptionalChoice))
    {
        if (eElementType == XmlElementType_PseudoElement && ctx.GetIgnoreUnknownElements())
            pCursor = pStart;
        if (eElementType == XmlElementType_Element && !DoesElementContainOptionalElements() &&
            !ctx.GetIgnoreMissingChoice())
            throw CKrValidationException(
                FormatString("No child elements within the element [%s] were populated. The element represents a "
                             "choice, so one and only one element should be populated. The element contained no "
                             "sutable child elements",
                             pElement->GetLocalName().c_str()),
                pElement->GetXPath());
    }
    if (eElementType == XmlElementType_Element && pCursor && !ctx.GetIgnoreUnknownElements())
        ThrowLeftover(pElement, pCursor);
    return pCursor;
}

CXmlElement* CXmlGeneratedClass::ProcessElementAllFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                                          CXmlElement* pCursor, XmlElementType eElementType)
{
    CElementInfo** ppRows = GetClassElementInfo();
    const size_t nRows = CountRows(ppRows);
    CRowNamespace ns(this);
    CXmlElement* const pStart = pCursor;
    CRowFlags found(nRows);
    bool bMoved = true;
    while (pCursor && bMoved)
    {
        CXmlElement* pBefore = pCursor;
        for (size_t i = 0; i < nRows; ++i)
            if (!found[i])
                found[i] = ppRows[i]->ElementFromXml(ctx, this, pElement, &pCursor, ns.For(ppRows[i]), eElementType);
        bMoved = pCursor != pBefore;
    }
    for (size_t i = 0; i < nRows; ++i)
        if (!ppRows[i]->Validate(ctx, this, found[i], eElementType == XmlElementType_Element))
            return pStart;
    if (eElementType == XmlElementType_Element && pCursor && !ctx.GetIgnoreUnknownElements())
        ThrowLeftover(pElement, pCursor);
    return pCursor;
}

} // namespace KrXmlLib16
