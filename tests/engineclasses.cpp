// Tables, property switches and accessors of the engine test classes.
#include "engineclasses.h"

#include <atomic>
#include <cstring>
#include <initializer_list>

using namespace KrXmlLib16;
using namespace KrXmlLib16Data;

namespace KrXmlTest {

const char* const kTestNs = "urn:kr:test";
const char* const kOtherNs = "urn:kr:other";

// ---- t:Color ----

static const char* const kColorTexts[] = {"red", "green", "blue"};

const char* ColorToString(int iValue)
{
    if (iValue < 0 || iValue > 2)
        throw CKrInvalidValueException(FormatString("Invalid value [%d] for the enumeration Color", iValue));
    return kColorTexts[iValue];
}

int StringToColor(const char* lpValue)
{
    for (int i = 0; i < 3; ++i)
        if (std::strcmp(lpValue, kColorTexts[i]) == 0)
            return i;
    throw CKrInvalidValueException(FormatString("Invalid value [%s] for the enumeration Color", lpValue));
}

static Color ToColor(int32_t iValue)
{
    return static_cast<Color>(iValue);
}

// ---- factories ----

CSmartPtr<CXmlObjectBase> CTestFactory::CreateObject(int iClassId, const char* lpElementName)
{
    switch (iClassId)
    {
    case ClassId_Point: return new CPoint(lpElementName);
    case ClassId_Voucher: return new CVoucher(lpElementName);
    case ClassId_Note: return new CNote(lpElementName);
    case ClassId_SeqGroup: return new CSeqGroup(lpElementName);
    case ClassId_ChoiceGroup: return new CChoiceGroup(lpElementName);
    case ClassId_AllGroup: return new CAllGroup(lpElementName);
    case ClassId_ColChoice: return new CColChoice(lpElementName);
    case ClassId_NestSeq: return new CNestSeq(lpElementName);
    case ClassId_NestChoice: return new CNestChoice(lpElementName);
    case ClassId_NestAll: return new CNestAll(lpElementName);
    default: return nullptr;
    }
}

CSmartPtr<CXmlObjectBase> CTestFactory::CreateShape(CXmlElement* pElement)
{
    if (GetElementTypeNamespaceUri(pElement) != kTestNs)
        return nullptr;
    const std::string strType = GetElementType(pElement);
    const char* lpName = pElement->GetLocalName().c_str();
    if (strType == "Circle")
        return new CCircle(lpName);
    if (strType == "Square")
        return new CSquare(lpName);
    return nullptr;
}

// ---- table lifetime ----

#define KT_DEFINE_TABLES(Class)                                                                        \
    CParentElementInfo* Class::ms_pClassInfo = nullptr;                                                \
    CElementInfo** Class::ms_ppElementInfo = nullptr;                                                  \
    CAttributeInfo** Class::ms_ppAttributeInfo = nullptr;                                              \
    static std::atomic<bool> s_b##Class##Built(false);                                                 \
    CParentElementInfo* Class::GetClassInfo()                                                          \
    {                                                                                                  \
        if (!s_b##Class##Built.load(std::memory_order_acquire))                                        \
            BuildMetaData();                                                                           \
        return ms_pClassInfo;                                                                          \
    }                                                                                                  \
    CElementInfo** Class::GetClassElementInfo()                                                        \
    {                                                                                                  \
        if (!s_b##Class##Built.load(std::memory_order_acquire))                                        \
            BuildMetaData();                                                                           \
        return ms_ppElementInfo;                                                                       \
    }                                                                                                  \
    CAttributeInfo** Class::GetClassAttributeInfo()                                                    \
    {                                                                                                  \
        if (!s_b##Class##Built.load(std::memory_order_acquire))                                        \
            BuildMetaData();                                                                           \
        return ms_ppAttributeInfo;                                                                     \
    }                                                                                                  \
    void Class::CleanMetaData()                                                                        \
    {                                                                                                  \
        CKRLock lock(m_csInit);                                                                        \
        s_b##Class##Built.store(false, std::memory_order_release);                                     \
        CXmlGeneratedClass::CleanMetaData(ms_pClassInfo, ms_ppElementInfo, ms_ppAttributeInfo);         \
    }                                                                                                  \
    static void Publish##Class()                                                                       \
    {                                                                                                  \
        s_b##Class##Built.store(true, std::memory_order_release);                                      \
    }

KT_DEFINE_TABLES(CPoint)
KT_DEFINE_TABLES(CVoucher)
KT_DEFINE_TABLES(CNote)
KT_DEFINE_TABLES(CCircle)
KT_DEFINE_TABLES(CSquare)
KT_DEFINE_TABLES(CSeqGroup)
KT_DEFINE_TABLES(CChoiceGroup)
KT_DEFINE_TABLES(CAllGroup)
KT_DEFINE_TABLES(CGroupDoc)
KT_DEFINE_TABLES(CSeqDoc)
KT_DEFINE_TABLES(CAllDoc)
KT_DEFINE_TABLES(CChoiceDoc)
KT_DEFINE_TABLES(CColChoice)
KT_DEFINE_TABLES(CTypedCols)
KT_DEFINE_TABLES(CNestSeq)
KT_DEFINE_TABLES(CNestChoice)
KT_DEFINE_TABLES(CNestAll)
KT_DEFINE_TABLES(CNestDoc)
KT_DEFINE_TABLES(CBrokenDoc)
KT_DEFINE_TABLES(CBadGroupDoc)

static struct CTableCleaner
{
    ~CTableCleaner()
    {
        CPoint::CleanMetaData();
        CVoucher::CleanMetaData();
        CNote::CleanMetaData();
        CCircle::CleanMetaData();
        CSquare::CleanMetaData();
        CSeqGroup::CleanMetaData();
        CChoiceGroup::CleanMetaData();
        CAllGroup::CleanMetaData();
        CGroupDoc::CleanMetaData();
        CSeqDoc::CleanMetaData();
        CAllDoc::CleanMetaData();
        CChoiceDoc::CleanMetaData();
        CColChoice::CleanMetaData();
        CTypedCols::CleanMetaData();
        CNestSeq::CleanMetaData();
        CNestChoice::CleanMetaData();
        CNestAll::CleanMetaData();
        CNestDoc::CleanMetaData();
        CBrokenDoc::CleanMetaData();
        CBadGroupDoc::CleanMetaData();
    }
} s_tableCleaner;

// The null-terminated tables.
static CElementInfo** ElementTable(std::initializer_list<CElementInfo*> rows)
{
    CElementInfo** ppRows = new CElementInfo*[rows.size() + 1];
    size_t i = 0;
    for (CElementInfo* pRow : rows)
        ppRows[i++] = pRow;
    ppRows[i] = nullptr;
    return ppRows;
}

static CAttributeInfo** AttributeTable(std::initializer_list<CAttributeInfo*> rows)
{
    CAttributeInfo** ppRows = new CAttributeInfo*[rows.size() + 1];
    size_t i = 0;
    for (CAttributeInfo* pRow : rows)
        ppRows[i++] = pRow;
    ppRows[i] = nullptr;
    return ppRows;
}

static const CPrimitiveRestrictions kNoFacets;

static CPrimitiveRestrictions Pattern(const char* lpPattern)
{
    return CPrimitiveRestrictions(lpPattern, -1, -1, "", "", "", "", -1, -1, -1);
}

static CPrimitiveRestrictions Range(const char* lpMinInclusive, const char* lpMaxInclusive)
{
    return CPrimitiveRestrictions("", -1, -1, lpMinInclusive, lpMaxInclusive, "", "", -1, -1, -1);
}

typedef CWhitespaceUtils W;

static CParentElementInfo* ClassInfo(XmlElementGroupType eGroup, XmlElementType eType, const char* lpTypeName,
                                     bool bFailIfAttributeUnknown, bool bHasBaseClasses = false,
                                     int32_t iValueIndex = -1, ItemType eValueType = ItemType_Invalid,
                                     bool bValueAsText = false)
{
    return new CParentElementInfo(eGroup, eType, lpTypeName, kTestNs, bFailIfAttributeUnknown, bHasBaseClasses,
                                  iValueIndex, eValueType, nullptr, bValueAsText);
}

// ---- the property switch ----

#define KT_VALUE(Index, Name, VarSet, VarGet)                                                       \
    case Index:                                                                                     \
        if (bGet)                                                                                   \
        {                                                                                           \
            if (IsValid##Name())                                                                    \
                value.VarSet(Get##Name());                                                          \
            else                                                                                    \
                value.SetInvalid();                                                                 \
        }                                                                                           \
        else                                                                                        \
            Set##Name(value.VarGet());                                                              \
        break;
// The value is held to the row's facets before it is stored, so that reading checks them too.
#define KT_CHECKED_VALUE(Index, Row, Name, VarSet, VarGet)                                          \
    case Index:                                                                                     \
        if (bGet)                                                                                   \
        {                                                                                           \
            if (IsValid##Name())                                                                    \
                value.VarSet(Get##Name());                                                          \
            else                                                                                    \
                value.SetInvalid();                                                                 \
        }                                                                                           \
        else                                                                                        \
        {                                                                                           \
            (Row)->CheckRestriction(value);                                                         \
            Set##Name(value.VarGet());                                                              \
        }                                                                                           \
        break;
#define KT_ENUM(Index, Name)                                                                        \
    case Index:                                                                                     \
        if (bGet)                                                                                   \
        {                                                                                           \
            if (IsValid##Name())                                                                    \
                value.SetI4(Get##Name());                                                           \
            else                                                                                    \
                value.SetInvalid();                                                                 \
        }                                                                                           \
        else                                                                                        \
            Set##Name(ToColor(value.GetI4()));                                                      \
        break;
// A nillable member hands out a nil of its kind and takes one back.
#define KT_NILLABLE(Index, Name, VarSet, VarGet, Conv)                                              \
    case Index:                                                                                     \
        if (bGet)                                                                                   \
        {                                                                                           \
            if (!IsValid##Name())                                                                   \
                value.SetInvalid();                                                                 \
            else                                                                                    \
            {                                                                                       \
                value.VarSet(Get##Name());                                                          \
                if (IsNil##Name())                                                                  \
                    value.SetNil();                                                                 \
            }                                                                                       \
        }                                                                                           \
        else if (value.IsNil())                                                                     \
            SetNil##Name();                                                                         \
        else                                                                                        \
            Set##Name(Conv(value.VarGet()));                                                        \
        break;
#define KT_OBJECT(Index, Name, Class)                                                               \
    case Index:                                                                                     \
        if (bGet)                                                                                   \
            value.SetXmlObject(m_sp##Name);                                                         \
        else                                                                                        \
            m_sp##Name = static_cast<Class*>(static_cast<CXmlObjectBase*>(value.GetXmlObject()));   \
        break;
// A member of a choice goes through its setter, which keeps the choice's bookkeeping.
#define KT_CHOICE_OBJECT(Index, Name, Class)                                                        \
    case Index:                                                                                     \
        if (bGet)                                                                                   \
            value.SetXmlObject(m_sp##Name);                                                         \
        else                                                                                        \
            Set##Name(static_cast<Class*>(static_cast<CXmlObjectBase*>(value.GetXmlObject())));     \
        break;
#define KT_COLLECTION(Index, Name)                                                                  \
    case Index:                                                                                     \
        if (bGet)                                                                                   \
            value.SetXmlCollection(m_sp##Name);                                                     \
        break;
#define KT_UNKNOWN_PROPERTY()                                                                       \
    default: throw CKrInvalidParamException(FormatString("Unknown property index %d", iPropertyIndex));

static Ci4Col* NewI4Col(const char* lpName, int iMin, int iMax)
{
    return new Ci4Col(lpName, kTestNs, iMin, iMax, "", -1, -1, "", "", "", "", -1, -1, -1,
                      W::WhitespaceRule_Collapse, nullptr);
}

// ==== CPoint ====

void CPoint::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "Point", true);
    ms_ppElementInfo = ElementTable({
        new CElementInfoSeqPrimMnd("x", kTestNs, 0, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                   kNoFacets, nullptr),
        new CElementInfoSeqPrimOpt("y", kTestNs, 1, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                   kNoFacets, nullptr),
    });
    ms_ppAttributeInfo = AttributeTable({});
    PublishCPoint();
}

CPoint::CPoint(const char* lpElementName) : CInstanceMonitor("CPoint")
{
    SetElementName(lpElementName);
    CPoint::Init();
}

void CPoint::Init()
{
    m_bValidX = m_bValidY = false;
    m_bNil = false;
}

void CPoint::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_VALUE(0, X, SetI4, GetI4)
        KT_VALUE(1, Y, SetI4, GetI4)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CVoucher ====

void CVoucher::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "Voucher", true, false, 1,
                              ItemType_decimal);
    ms_ppElementInfo = ElementTable({});
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoPrimitive("code", "", 0, false, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                    Pattern("[A-Z]{3}"), nullptr),
    });
    PublishCVoucher();
}

CVoucher::CVoucher(const char* lpElementName) : CInstanceMonitor("CVoucher")
{
    SetElementName(lpElementName);
    CVoucher::Init();
}

void CVoucher::Init()
{
    m_bValidCode = m_bValidValue = m_bNilValue = false;
}

void CVoucher::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_CHECKED_VALUE(0, static_cast<CAttributeInfoPrimitive*>(GetClassAttributeInfo()[0]), Code, SetString,
                         GetString)
        KT_NILLABLE(1, Value, SetDecimal, GetDecimal, )
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CNote ====

void CNote::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo =
        ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "Note", true, false, 1, ItemType_i4, true);
    ms_ppElementInfo = ElementTable({});
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoPrimitive("lang", "", 0, true, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                    kNoFacets, "en"),
    });
    PublishCNote();
}

CNote::CNote(const char* lpElementName) : CInstanceMonitor("CNote")
{
    SetElementName(lpElementName);
    CNote::Init();
}

void CNote::Init()
{
    m_bValidLang = m_bValidText = false;
}

void CNote::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_VALUE(0, Lang, SetString, GetString)
        KT_VALUE(1, Text, SetString, GetString)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CCircle, CSquare ====

#define KT_SHAPE_CLASS(Class, TypeName, Member, MemberName)                                         \
    void Class::BuildMetaData()                                                                     \
    {                                                                                               \
        CKRLock lock(m_csInit);                                                                     \
        if (ms_pClassInfo)                                                                          \
            return;                                                                                 \
        ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, TypeName, true, true); \
        ms_ppElementInfo = ElementTable({                                                           \
            new CElementInfoSeqPrimMnd(MemberName, kTestNs, 1, false, ItemType_r8, nullptr,         \
                                       W::WhitespaceRule_Collapse, kNoFacets, nullptr),             \
        });                                                                                         \
        ms_ppAttributeInfo = AttributeTable({                                                       \
            new CAttributeInfoPrimitive("label", "", 0, true, ItemType_string, nullptr,             \
                                        W::WhitespaceRule_Preserve, kNoFacets, nullptr),            \
        });                                                                                         \
        Publish##Class();                                                                           \
    }                                                                                               \
    Class::Class(const char* lpElementName) : CInstanceMonitor(#Class)                              \
    {                                                                                               \
        SetElementName(lpElementName);                                                              \
        Class::Init();                                                                              \
    }                                                                                               \
    void Class::Init()                                                                              \
    {                                                                                               \
        SetValidLabel(false);                                                                       \
        m_bValid##Member = false;                                                                   \
    }                                                                                               \
    void Class::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)                     \
    {                                                                                               \
        switch (iPropertyIndex)                                                                     \
        {                                                                                           \
            KT_VALUE(0, Label, SetString, GetString)                                                \
            KT_VALUE(1, Member, SetR8, GetR8)                                                       \
            KT_UNKNOWN_PROPERTY()                                                                   \
        }                                                                                           \
    }

KT_SHAPE_CLASS(CCircle, "Circle", Radius, "radius")
KT_SHAPE_CLASS(CSquare, "Square", Side, "side")

// ==== collections ====

CColorCol::CColorCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs)
    : Ci4Col(lpElementName, kTestNs, iMinOccurs, iMaxOccurs, "", -1, -1, "", "", "", "", -1, -1, -1,
             W::WhitespaceRule_Collapse, nullptr)
{
}

void CColorCol::AddFromString(std::string strValue)
{
    Add(StringToColor(strValue.c_str()));
}

void CColorCol::ToXml_Int(CXmlWriter* pWriter, bool, const char*, const CSerializationContext& ctx, bool) const
{
    ValidateCount(ctx);
    for (int32_t iValue : m_items)
    {
        pWriter->StartElement(ElementName(), m_strNamespace);
        pWriter->WriteElementText(ColorToString(iValue), ItemType_string, false);
        pWriter->EndElement();
    }
}

CTestObjectCol::CTestObjectCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs)
    : CXmlCollection(lpElementName, kTestNs, iMinOccurs, iMaxOccurs)
{
}

void CTestObjectCol::ToXml_Int(CXmlWriter* pWriter, bool, const char* lpNamespace, const CSerializationContext& ctx,
                               bool) const
{
    ValidateCount(ctx);
    for (CNode* pNode = GetHead(); pNode; pNode = pNode->m_pNext)
        CXmlObjectBase::ToXml_Int(pNode->m_spItem, pWriter, false, lpNamespace, ctx, false);
}

template <typename T>
static CSmartPtr<T> ItemAs(const CSmartPtr<CXmlObjectBase>& spItem)
{
    return static_cast<T*>(static_cast<CXmlObjectBase*>(spItem));
}

CNoteCol::CNoteCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs)
    : CTestObjectCol(lpElementName, iMinOccurs, iMaxOccurs), CInstanceMonitor("CNoteCol")
{
}

CSmartPtr<CNote> CNoteCol::Item(int iIndex) const
{
    return ItemAs<CNote>(ItemObject(iIndex));
}

CXmlElement* CNoteCol::FromXml_Int(CXmlElement*, CXmlElement* pCursor, const CSerializationContext& ctx, bool)
{
    while (pCursor && DoesElementNameMatch(ctx, pCursor, ElementName().c_str(), m_strNamespace.c_str()))
    {
        CSmartPtr<CNote> spItem = new CNote(pCursor->GetLocalName().c_str());
        CXmlObjectBase::FromXml_Int(spItem, pCursor, pCursor->GetFirstElement(), ctx);
        AppendItem(spItem);
        pCursor = pCursor->GetNextSiblingElement();
    }
    return pCursor;
}

CShapeCol::CShapeCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs)
    : CTestObjectCol(lpElementName, iMinOccurs, iMaxOccurs), CInstanceMonitor("CShapeCol")
{
}

CSmartPtr<CShape> CShapeCol::Item(int iIndex) const
{
    return ItemAs<CShape>(ItemObject(iIndex));
}

// Each item's class is the one its xsi:type names; an item that names none is refused.
CXmlElement* CShapeCol::FromXml_Int(CXmlElement*, CXmlElement* pCursor, const CSerializationContext& ctx, bool)
{
    while (pCursor && DoesElementNameMatch(ctx, pCursor, ElementName().c_str(), m_strNamespace.c_str()))
    {
        CSmartPtr<CXmlObjectBase> spItem = CTestFactory::CreateShape(pCursor);
        if (!spItem)
            throw CKrValidationException(
                FormatString("Failed to find a suitable substitution element for [%s].", ElementName().c_str()),
                pCursor->GetXPath());
        CXmlObjectBase::FromXml_Int(spItem, pCursor, pCursor->GetFirstElement(), ctx);
        AppendItem(spItem);
        pCursor = pCursor->GetNextSiblingElement();
    }
    return pCursor;
}

CSeqGroupCol::CSeqGroupCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs)
    : CTestObjectCol(lpElementName, iMinOccurs, iMaxOccurs), CInstanceMonitor("CSeqGroupCol")
{
}

CSmartPtr<CSeqGroup> CSeqGroupCol::Item(int iIndex) const
{
    return ItemAs<CSeqGroup>(ItemObject(iIndex));
}

// Items are groups without a tag: each reads from the cursor in the enclosing element, until
// one takes nothing.
CXmlElement* CSeqGroupCol::FromXml_Int(CXmlElement* pElement, CXmlElement* pCursor, const CSerializationContext& ctx,
                                       bool)
{
    while (pCursor)
    {
        CSmartPtr<CSeqGroup> spItem = new CSeqGroup(ElementName().c_str());
        CXmlElement* pNext = CXmlObjectBase::FromXml_Int(spItem, pElement, pCursor, ctx);
        if (pNext == pCursor)
            break;
        AppendItem(spItem);
        pCursor = pNext;
    }
    return pCursor;
}

// ==== pseudo elements ====

void CSeqGroup::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_PseudoElement, "AddrGroup", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoSeqPrimMnd("street", kTestNs, 0, false, ItemType_string, nullptr,
                                   W::WhitespaceRule_Preserve, kNoFacets, nullptr),
        new CElementInfoSeqPrimMnd("city", kTestNs, 1, false, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                   kNoFacets, nullptr),
    });
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoPrimitive("zone", "", 2, true, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                    kNoFacets, nullptr),
    });
    PublishCSeqGroup();
}

CSeqGroup::CSeqGroup(const char* lpElementName) : CInstanceMonitor("CSeqGroup")
{
    SetElementName(lpElementName);
    CSeqGroup::Init();
}

void CSeqGroup::Init()
{
    m_bValidStreet = m_bValidCity = m_bValidZone = false;
}

void CSeqGroup::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_VALUE(0, Street, SetString, GetString)
        KT_VALUE(1, City, SetString, GetString)
        KT_VALUE(2, Zone, SetString, GetString)
        KT_UNKNOWN_PROPERTY()
    }
}

void CChoiceGroup::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Choice, XmlElementType_PseudoElement, "PayGroup", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoChoicePrimOpt("card", kTestNs, 0, false, ItemType_string, nullptr,
                                      W::WhitespaceRule_Preserve, kNoFacets, nullptr),
        new CElementInfoChoicePrimOpt("cash", kTestNs, 1, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                      kNoFacets, nullptr),
    });
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoPrimitive("via", "", 2, true, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                    kNoFacets, nullptr),
    });
    PublishCChoiceGroup();
}

CChoiceGroup::CChoiceGroup(const char* lpElementName) : CInstanceMonitor("CChoiceGroup")
{
    SetElementName(lpElementName);
    CChoiceGroup::Init();
}

void CChoiceGroup::Init()
{
    m_bValidCard = m_bValidCash = m_bValidVia = false;
    m_strValid.clear();
}

void CChoiceGroup::SetCard(const std::string& strValue)
{
    Choice_SetElementValid(true, "card", m_strValid);
    m_Card = strValue;
    m_bValidCard = true;
}

void CChoiceGroup::SetCash(int32_t iValue)
{
    Choice_SetElementValid(true, "cash", m_strValid);
    m_Cash = iValue;
    m_bValidCash = true;
}

void CChoiceGroup::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_VALUE(0, Card, SetString, GetString)
        KT_VALUE(1, Cash, SetI4, GetI4)
        KT_VALUE(2, Via, SetString, GetString)
        KT_UNKNOWN_PROPERTY()
    }
}

void CAllGroup::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_All, XmlElementType_PseudoElement, "ExtGroup", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoAllPrimMnd("p", kTestNs, 0, false, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                   kNoFacets, nullptr),
        new CElementInfoAllPrimOpt("q", kTestNs, 1, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                   kNoFacets, nullptr),
    });
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoEnum("tag", "", 2, true, &ColorToString, &StringToColor, nullptr),
    });
    PublishCAllGroup();
}

CAllGroup::CAllGroup(const char* lpElementName) : CInstanceMonitor("CAllGroup")
{
    SetElementName(lpElementName);
    CAllGroup::Init();
}

void CAllGroup::Init()
{
    m_bValidP = m_bValidQ = m_bValidTag = false;
}

void CAllGroup::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_VALUE(0, P, SetString, GetString)
        KT_VALUE(1, Q, SetI4, GetI4)
        KT_ENUM(2, Tag)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CGroupDoc ====

void CGroupDoc::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    // The pseudo children's attributes stand on this tag too: none of them is unknown here.
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "GroupDoc", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoSeqClsMnd("addr", kTestNs, 0, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_SeqGroup, true),
        new CElementInfoSeqClsOpt("pay", kTestNs, 1, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_ChoiceGroup),
        new CElementInfoSeqClsMnd("ext", kTestNs, 2, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_AllGroup, false),
        new CElementInfoSeqClsCol("more", kTestNs, 3, XmlElementType_PseudoElement),
    });
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoPrimitive("doc", "", 4, true, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                    kNoFacets, nullptr),
    });
    PublishCGroupDoc();
}

CGroupDoc::CGroupDoc(const char* lpElementName) : CInstanceMonitor("CGroupDoc")
{
    SetElementName(lpElementName);
    m_spMore = new CSeqGroupCol("more", 0, -1);
    CGroupDoc::Init();
}

void CGroupDoc::Init()
{
    m_spAddr = new CSeqGroup("addr");
    m_spPay = nullptr;
    m_spExt = new CAllGroup("ext");
    m_spMore->Clear();
    m_bValidDoc = false;
}

void CGroupDoc::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_OBJECT(0, Addr, CSeqGroup)
        KT_OBJECT(1, Pay, CChoiceGroup)
        KT_OBJECT(2, Ext, CAllGroup)
        KT_COLLECTION(3, More)
        KT_VALUE(4, Doc, SetString, GetString)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CSeqDoc ====

void CSeqDoc::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "SeqDoc", true);
    ms_ppElementInfo = ElementTable({
        new CElementInfoSeqPrimMnd("id", kTestNs, 0, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                   Range("1", "100"), nullptr),
        new CElementInfoSeqPrimOpt("label", kTestNs, 1, true, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                   Pattern("[a-z]+"), "n/a"),
        new CElementInfoSeqPrimCol("num", kTestNs, 2),
        new CElementInfoSeqEnumMnd("color", kTestNs, 3, false, &ColorToString, &StringToColor, nullptr),
        new CElementInfoSeqEnumOpt("shade", kTestNs, 4, true, &ColorToString, &StringToColor, "blue"),
        new CElementInfoSeqEnumCol("tone", kTestNs, 5),
        new CElementInfoSeqClsMnd("point", kTestNs, 6, XmlElementType_Element, &CTestFactory::CreateObject,
                                  ClassId_Point, true),
        new CElementInfoSeqClsOpt("voucher", kTestNs, 7, XmlElementType_Element, &CTestFactory::CreateObject,
                                  ClassId_Voucher),
        new CElementInfoSeqClsCol("note", kTestNs, 8, XmlElementType_Element),
        new CElementInfoSeqAbsClsMnd("shape", kTestNs, 9, XmlElementType_Element, &CTestFactory::CreateShape),
        new CElementInfoSeqAbsClsOpt("spare", kTestNs, 10, XmlElementType_Element, &CTestFactory::CreateShape),
        new CElementInfoSeqAbsClsCol("figure", kTestNs, 11, XmlElementType_Element),
        new CElementInfoSeqUntpdMnd("AnyElement", "##other", 12, "##other", kTestNs),
        new CElementInfoSeqUntpdOpt("extra", kTestNs, 13, "##any", kTestNs),
        new CElementInfoSeqUntpdCol("AnyElement", "##other", 14),
    });
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoPrimitive("ver", "", 15, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                    kNoFacets, "1"),
        new CAttributeInfoEnum("mode", "", 16, true, &ColorToString, &StringToColor, "green"),
        new CAttributeInfoPrimitive("rev", "", 17, true, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                    Pattern("[0-9]+"), "none"),
        new CAttributeInfoAny("", "", 18, true, "##other", kTestNs, nullptr),
    });
    PublishCSeqDoc();
}

CSeqDoc::CSeqDoc(const char* lpElementName) : CInstanceMonitor("CSeqDoc")
{
    SetElementName(lpElementName);
    m_spNum = NewI4Col("num", 1, 3);
    m_spTone = new CColorCol("tone", 0, -1);
    m_spNote = new CNoteCol("note", 0, -1);
    m_spFigure = new CShapeCol("figure", 0, -1);
    m_spAnys = new CElementCol("", "##other", kTestNs, 0, -1);
    m_spAnyAttr = new CAttributeCol("", "##other", kTestNs);
    CSeqDoc::Init();
}

void CSeqDoc::Init()
{
    m_bValidId = m_bValidLabel = m_bNilLabel = m_bValidColor = m_bValidShade = m_bNilShade = false;
    m_spNum->Clear();
    m_spTone->Clear();
    m_spPoint = new CPoint("point");
    m_spVoucher = nullptr;
    m_spNote->Clear();
    m_spShape = nullptr;
    m_spSpare = nullptr;
    m_spFigure->Clear();
    m_spAny = new CElement("AnyElement", "", "##other", kTestNs);
    m_spExtra = nullptr;
    m_spAnys->Clear();
    m_bValidVer = m_bValidMode = m_bValidRev = false;
    m_spAnyAttr->Clear();
}

void CSeqDoc::SetShape(CShape* pValue)
{
    Throw_IfPropertyIsNull(pValue, "shape");
    Throw_IfElementNameDiffers(pValue, "shape");
    m_spShape = pValue;
}

void CSeqDoc::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_CHECKED_VALUE(0, GetClassElementInfo()[0], Id, SetI4, GetI4)
        KT_NILLABLE(1, Label, SetString, GetString, )
        KT_COLLECTION(2, Num)
        KT_ENUM(3, Color)
        KT_NILLABLE(4, Shade, SetI4, GetI4, ToColor)
        KT_COLLECTION(5, Tone)
        KT_OBJECT(6, Point, CPoint)
        KT_OBJECT(7, Voucher, CVoucher)
        KT_COLLECTION(8, Note)
        KT_OBJECT(9, Shape, CShape)
        KT_OBJECT(10, Spare, CShape)
        KT_COLLECTION(11, Figure)
        KT_OBJECT(12, Any, CElement)
        KT_OBJECT(13, Extra, CElement)
        KT_COLLECTION(14, Anys)
        KT_VALUE(15, Ver, SetI4, GetI4)
        KT_ENUM(16, Mode)
        KT_CHECKED_VALUE(17, static_cast<CAttributeInfoPrimitive*>(GetClassAttributeInfo()[2]), Rev, SetString,
                         GetString)
        KT_COLLECTION(18, AnyAttr)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CAllDoc ====

void CAllDoc::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_All, XmlElementType_Element, "AllDoc", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoAllPrimMnd("id", kTestNs, 0, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                   Range("1", "100"), nullptr),
        new CElementInfoAllPrimOpt("label", kTestNs, 1, true, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
                                   kNoFacets, nullptr),
        new CElementInfoAllPrimCol("num", kTestNs, 2),
        new CElementInfoAllEnumMnd("color", kTestNs, 3, false, &ColorToString, &StringToColor, nullptr),
        new CElementInfoAllEnumOpt("shade", kTestNs, 4, true, &ColorToString, &StringToColor, "blue"),
        new CElementInfoAllEnumCol("tone", kTestNs, 5),
        new CElementInfoAllClsMnd("point", kTestNs, 6, XmlElementType_Element, &CTestFactory::CreateObject,
                                  ClassId_Point, true),
        new CElementInfoAllClsOpt("voucher", kTestNs, 7, XmlElementType_Element, &CTestFactory::CreateObject,
                                  ClassId_Voucher),
        new CElementInfoAllClsCol("note", kTestNs, 8, XmlElementType_Element),
        new CElementInfoAllAbsClsMnd("shape", kTestNs, 9, XmlElementType_Element, &CTestFactory::CreateShape, 0),
        new CElementInfoAllAbsClsOpt("spare", kTestNs, 10, XmlElementType_Element, &CTestFactory::CreateShape),
        new CElementInfoAllAbsClsCol("figure", kTestNs, 11, XmlElementType_Element),
        new CElementInfoAllUntpdMnd("AnyElement", "##other", 12, "##other", kTestNs),
        new CElementInfoAllUntpdOpt("extra", kTestNs, 13, "##any", kTestNs),
        new CElementInfoAllUntpdCol("more", kTestNs, 14),
        new CElementInfoAllClsOpt("pay", kTestNs, 15, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_ChoiceGroup),
    });
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoEnum("kind", "", 16, false, &ColorToString, &StringToColor, nullptr),
    });
    PublishCAllDoc();
}

CAllDoc::CAllDoc(const char* lpElementName) : CInstanceMonitor("CAllDoc")
{
    SetElementName(lpElementName);
    m_spNum = NewI4Col("num", 1, 2);
    m_spTone = new CColorCol("tone", 0, -1);
    m_spNote = new CNoteCol("note", 0, -1);
    m_spFigure = new CShapeCol("figure", 0, -1);
    m_spMore = new CElementCol("", "##any", kTestNs, 0, -1);
    CAllDoc::Init();
}

void CAllDoc::Init()
{
    m_bValidId = m_bValidLabel = m_bNilLabel = m_bValidColor = m_bValidShade = m_bNilShade = false;
    m_spNum->Clear();
    m_spTone->Clear();
    m_spPoint = new CPoint("point");
    m_spVoucher = nullptr;
    m_spNote->Clear();
    m_spShape = nullptr;
    m_spSpare = nullptr;
    m_spFigure->Clear();
    m_spAny = new CElement("AnyElement", "", "##other", kTestNs);
    m_spExtra = nullptr;
    m_spMore->Clear();
    m_spPay = nullptr;
    m_bValidKind = false;
}

void CAllDoc::SetShape(CShape* pValue)
{
    Throw_IfPropertyIsNull(pValue, "shape");
    m_spShape = pValue;
}

void CAllDoc::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_CHECKED_VALUE(0, GetClassElementInfo()[0], Id, SetI4, GetI4)
        KT_NILLABLE(1, Label, SetString, GetString, )
        KT_COLLECTION(2, Num)
        KT_ENUM(3, Color)
        KT_NILLABLE(4, Shade, SetI4, GetI4, ToColor)
        KT_COLLECTION(5, Tone)
        KT_OBJECT(6, Point, CPoint)
        KT_OBJECT(7, Voucher, CVoucher)
        KT_COLLECTION(8, Note)
        KT_OBJECT(9, Shape, CShape)
        KT_OBJECT(10, Spare, CShape)
        KT_COLLECTION(11, Figure)
        KT_OBJECT(12, Any, CElement)
        KT_OBJECT(13, Extra, CElement)
        KT_COLLECTION(14, More)
        KT_OBJECT(15, Pay, CChoiceGroup)
        KT_ENUM(16, Kind)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CChoiceDoc ====

void CChoiceDoc::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    // The pseudo member's attribute stands on this tag.
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Choice, XmlElementType_Element, "ChoiceDoc", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoChoicePrimOpt("id", kTestNs, 0, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
                                      kNoFacets, nullptr),
        new CElementInfoChoicePrimCol("num", kTestNs, 1),
        new CElementInfoChoiceEnumOpt("color", kTestNs, 2, false, &ColorToString, &StringToColor, nullptr),
        new CElementInfoChoiceEnumCol("tone", kTestNs, 3),
        new CElementInfoChoiceClsOpt("point", kTestNs, 4, XmlElementType_Element, &CTestFactory::CreateObject,
                                     ClassId_Point),
        new CElementInfoChoiceClsCol("note", kTestNs, 5, XmlElementType_Element),
        new CElementInfoChoiceAbsClsOpt("shape", kTestNs, 6, XmlElementType_Element, &CTestFactory::CreateShape),
        new CElementInfoChoiceAbsClsCol("figure", kTestNs, 7, XmlElementType_Element),
        new CElementInfoChoiceUntpdOpt("extra", kTestNs, 8, "##any", kTestNs),
        new CElementInfoChoiceClsOpt("addr", kTestNs, 10, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                     ClassId_SeqGroup),
        // A member that is a choice of its own may be empty.
        new CElementInfoChoiceClsOpt("cc", kTestNs, 11, XmlElementType_Element, &CTestFactory::CreateObject,
                                     ClassId_ColChoice),
        // A wildcard collection takes any element, so it stands last.
        new CElementInfoChoiceUntpdCol("AnyElement", "##other", 9),
    });
    ms_ppAttributeInfo = AttributeTable({});
    PublishCChoiceDoc();
}

CChoiceDoc::CChoiceDoc(const char* lpElementName) : CInstanceMonitor("CChoiceDoc")
{
    SetElementName(lpElementName);
    m_spNum = NewI4Col("num", 1, 3);
    m_spTone = new CColorCol("tone", 1, -1);
    m_spNote = new CNoteCol("note", 0, -1);
    m_spFigure = new CShapeCol("figure", 0, -1);
    m_spAnys = new CElementCol("", "##other", kTestNs, 0, -1);
    m_spNum->AddEventListener(this);
    m_spTone->AddEventListener(this);
    m_spNote->AddEventListener(this);
    m_spFigure->AddEventListener(this);
    m_spAnys->AddEventListener(this);
    CChoiceDoc::Init();
}

// The collections may outlive this object: they stop reporting to it here.
CChoiceDoc::~CChoiceDoc()
{
    m_spNum->RemoveEventListener(this);
    m_spTone->RemoveEventListener(this);
    m_spNote->RemoveEventListener(this);
    m_spFigure->RemoveEventListener(this);
    m_spAnys->RemoveEventListener(this);
}

void CChoiceDoc::Init()
{
    m_strValid.clear();
    m_bValidId = m_bValidColor = false;
    m_spNum->Clear();
    m_spTone->Clear();
    m_spPoint = nullptr;
    m_spNote->Clear();
    m_spShape = nullptr;
    m_spFigure->Clear();
    m_spExtra = nullptr;
    m_spAnys->Clear();
    m_spAddr = nullptr;
    m_spCc = nullptr;
}

void CChoiceDoc::OnEvent(CXmlObjectBase* pSource, IEventSink::MsgType eMsg, void*)
{
    if (eMsg != IEventSink::MsgType_CollectionChange)
        return;
    KrXmlLib16::CXmlCollectionBase* const cols[] = {m_spNum, m_spTone, m_spNote, m_spFigure, m_spAnys};
    const char* const names[] = {"num", "tone", "note", "figure", "AnyElement"};
    for (size_t i = 0; i < 5; ++i)
        if (cols[i]->GetBase() == pSource)
            Choice_CollectionChanged(names[i], cols[i]->GetCount(), m_strValid);
}

// The reader clears a member that took nothing by storing a null; for a member that isn't the
// chosen one that changes nothing, and mustn't choose it either.
void CChoiceDoc::Select(const char* lpName, CXmlObjectBase* pValue)
{
    if (pValue || m_strValid == lpName)
        Choice_SelectElement(lpName, pValue, m_strValid);
}

void CChoiceDoc::SetId(int32_t iValue)
{
    Choice_SetElementValid(true, "id", m_strValid);
    m_iId = iValue;
    m_bValidId = true;
}

void CChoiceDoc::SetColor(Color eValue)
{
    Choice_SetElementValid(true, "color", m_strValid);
    m_eColor = eValue;
    m_bValidColor = true;
}

void CChoiceDoc::SetPoint(CPoint* pValue)
{
    Select("point", pValue);
    m_spPoint = pValue;
}

void CChoiceDoc::SetShape(CShape* pValue)
{
    Select("shape", pValue);
    m_spShape = pValue;
}

void CChoiceDoc::SetExtra(CElement* pValue)
{
    Select("extra", pValue);
    m_spExtra = pValue;
}

void CChoiceDoc::SetAddr(CSeqGroup* pValue)
{
    Select("addr", pValue);
    m_spAddr = pValue;
}

void CChoiceDoc::SetCc(CColChoice* pValue)
{
    Select("cc", pValue);
    m_spCc = pValue;
}

void CChoiceDoc::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
    case 0:
        if (!bGet)
            SetId(value.GetI4());
        else if (m_bValidId)
            value.SetI4(m_iId);
        else
            value.SetInvalid();
        break;
        KT_COLLECTION(1, Num)
    case 2:
        if (!bGet)
            SetColor(ToColor(value.GetI4()));
        else if (m_bValidColor)
            value.SetI4(m_eColor);
        else
            value.SetInvalid();
        break;
        KT_COLLECTION(3, Tone)
        KT_CHOICE_OBJECT(4, Point, CPoint)
        KT_COLLECTION(5, Note)
        KT_CHOICE_OBJECT(6, Shape, CShape)
        KT_COLLECTION(7, Figure)
        KT_CHOICE_OBJECT(8, Extra, CElement)
        KT_COLLECTION(9, Anys)
        KT_CHOICE_OBJECT(10, Addr, CSeqGroup)
        KT_CHOICE_OBJECT(11, Cc, CColChoice)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CColChoice ====

void CColChoice::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Choice, XmlElementType_Element, "ColChoice", true);
    ms_ppElementInfo = ElementTable({
        new CElementInfoChoicePrimCol("a", kTestNs, 0),
        new CElementInfoChoiceEnumCol("b", kTestNs, 1),
    });
    ms_ppAttributeInfo = AttributeTable({});
    PublishCColChoice();
}

CColChoice::CColChoice(const char* lpElementName) : CInstanceMonitor("CColChoice")
{
    SetElementName(lpElementName);
    m_spA = new CstringCol("a", kTestNs, 1, -1, "", -1, -1, "", "", "", "", -1, -1, -1, W::WhitespaceRule_Preserve,
                           nullptr);
    m_spB = new CColorCol("b", 2, 3);
    CColChoice::Init();
}

void CColChoice::Init()
{
    m_spA->Clear();
    m_spB->Clear();
}

void CColChoice::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_COLLECTION(0, A)
        KT_COLLECTION(1, B)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CTypedCols ====

// name, collection class, facets (pattern, minLength, maxLength, minInclusive, maxInclusive,
// minExclusive, maxExclusive, length, totalDigits, fractionDigits), whitespace rule
#define KT_TYPED_COLUMNS(X)                                                                           \
    X(0, "b64", Cbase64BinaryCol, "", -1, 4, "", "", "", "", -1, -1, -1, Collapse)                    \
    X(1, "hex", ChexBinaryCol, "", -1, -1, "", "", "", "", 2, -1, -1, Collapse)                       \
    X(2, "bool", CbooleanCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                       \
    X(3, "i1", Ci1Col, "", -1, -1, "", "10", "", "", -1, -1, -1, Collapse)                            \
    X(4, "i2", Ci2Col, "", -1, -1, "-5", "", "", "", -1, -1, -1, Collapse)                            \
    X(5, "i4", Ci4Col, "", -1, -1, "", "", "", "1000", -1, -1, -1, Collapse)                          \
    X(6, "i8", Ci8Col, "", -1, -1, "", "", "0", "", -1, -1, -1, Collapse)                             \
    X(7, "ui1", Cui1Col, "", -1, -1, "", "200", "", "", -1, -1, -1, Collapse)                         \
    X(8, "ui2", Cui2Col, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                            \
    X(9, "ui4", Cui4Col, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                            \
    X(10, "ui8", Cui8Col, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                           \
    X(11, "r4", Cr4Col, "", -1, -1, "", "1.5", "", "", -1, -1, -1, Collapse)                          \
    X(12, "r8", Cr8Col, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                             \
    X(13, "dec", CdecimalCol, "", -1, -1, "", "", "", "", -1, 5, 2, Collapse)                         \
    X(14, "int", CintegerCol, "", -1, -1, "-100000000000000000000", "", "", "", -1, -1, -1, Collapse) \
    X(15, "str", CstringCol, "[a-z]+", -1, 5, "", "", "", "", -1, -1, -1, Preserve)                   \
    X(16, "dur", CdurationCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                      \
    X(17, "year", CyearCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                         \
    X(18, "month", CmonthCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                       \
    X(19, "day", CdayCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                           \
    X(20, "dt", CdatetimeCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                       \
    X(21, "date", CdateCol, "", -1, -1, "2000-01-01", "", "", "", -1, -1, -1, Collapse)               \
    X(22, "time", CtimeCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                         \
    X(23, "ym", CyearMonthCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)                      \
    X(24, "md", CmonthDayCol, "", -1, -1, "", "", "", "", -1, -1, -1, Collapse)

void CTypedCols::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "TypedCols", true);
#define KT_TYPED_ROW(Index, Name, Col, ...) new CElementInfoSeqPrimCol(Name, kTestNs, Index),
    ms_ppElementInfo = ElementTable({KT_TYPED_COLUMNS(KT_TYPED_ROW)});
#undef KT_TYPED_ROW
    ms_ppAttributeInfo = AttributeTable({});
    PublishCTypedCols();
}

CTypedCols::CTypedCols(const char* lpElementName) : CInstanceMonitor("CTypedCols")
{
    SetElementName(lpElementName);
#define KT_TYPED_COL(Index, Name, Col, Pattern, MinL, MaxL, MinI, MaxI, MinE, MaxE, Len, Total, Fraction, Rule) \
    m_spCols[Index] = new Col(Name, kTestNs, 0, -1, Pattern, MinL, MaxL, MinI, MaxI, MinE, MaxE, Len, Total,   \
                              Fraction, W::WhitespaceRule_##Rule, nullptr);
    KT_TYPED_COLUMNS(KT_TYPED_COL)
#undef KT_TYPED_COL
}

void CTypedCols::Init()
{
    for (CSmartPtr<CXmlTypeCollection>& spCol : m_spCols)
        spCol->Clear();
}

void CTypedCols::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    if (iPropertyIndex < 0 || iPropertyIndex >= kCount)
        throw CKrInvalidParamException(FormatString("Unknown property index %d", iPropertyIndex));
    if (bGet)
        value.SetXmlCollection(m_spCols[iPropertyIndex]);
}

// ==== nested pseudo groups ====

void CNestSeq::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_PseudoElement, "NestSeq", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoSeqClsMnd("point", kTestNs, 0, XmlElementType_Element, &CTestFactory::CreateObject,
                                  ClassId_Point, true),
        new CElementInfoSeqAbsClsMnd("shape", kTestNs, 1, XmlElementType_Element, &CTestFactory::CreateShape),
        new CElementInfoSeqUntpdMnd("AnyElement", "##other", 2, "##other", kTestNs),
        new CElementInfoSeqPrimCol("n", kTestNs, 3),
        new CElementInfoSeqClsMnd("ext", kTestNs, 4, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_AllGroup, true),
    });
    ms_ppAttributeInfo = AttributeTable({});
    PublishCNestSeq();
}

CNestSeq::CNestSeq(const char* lpElementName) : CInstanceMonitor("CNestSeq")
{
    SetElementName(lpElementName);
    m_spN = NewI4Col("n", 1, 2);
    CNestSeq::Init();
}

void CNestSeq::Init()
{
    m_spPoint = new CPoint("point");
    m_spShape = nullptr;
    m_spAny = new CElement("AnyElement", "", "##other", kTestNs);
    m_spN->Clear();
    m_spExt = new CAllGroup("ext");
}

void CNestSeq::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_OBJECT(0, Point, CPoint)
        KT_OBJECT(1, Shape, CShape)
        KT_OBJECT(2, Any, CElement)
        KT_COLLECTION(3, N)
        KT_OBJECT(4, Ext, CAllGroup)
        KT_UNKNOWN_PROPERTY()
    }
}

void CNestChoice::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Choice, XmlElementType_PseudoElement, "NestChoice", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoChoicePrimCol("c", kTestNs, 0),
        new CElementInfoChoiceEnumOpt("e", kTestNs, 1, false, &ColorToString, &StringToColor, nullptr),
    });
    ms_ppAttributeInfo = AttributeTable({});
    PublishCNestChoice();
}

CNestChoice::CNestChoice(const char* lpElementName) : CInstanceMonitor("CNestChoice")
{
    SetElementName(lpElementName);
    m_spC = NewI4Col("c", 2, 3);
    CNestChoice::Init();
}

void CNestChoice::Init()
{
    m_spC->Clear();
    m_bValidE = false;
}

void CNestChoice::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_COLLECTION(0, C)
        KT_ENUM(1, E)
        KT_UNKNOWN_PROPERTY()
    }
}

void CNestAll::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_All, XmlElementType_PseudoElement, "NestAll", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoAllClsMnd("grp", kTestNs, 0, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_SeqGroup, true),
        new CElementInfoAllPrimCol("m", kTestNs, 1),
    });
    ms_ppAttributeInfo = AttributeTable({});
    PublishCNestAll();
}

CNestAll::CNestAll(const char* lpElementName) : CInstanceMonitor("CNestAll")
{
    SetElementName(lpElementName);
    m_spM = NewI4Col("m", 1, 1);
    CNestAll::Init();
}

void CNestAll::Init()
{
    m_spGrp = new CSeqGroup("grp");
    m_spM->Clear();
}

void CNestAll::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_OBJECT(0, Grp, CSeqGroup)
        KT_COLLECTION(1, M)
        KT_UNKNOWN_PROPERTY()
    }
}

void CNestDoc::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "NestDoc", false);
    ms_ppElementInfo = ElementTable({
        new CElementInfoSeqClsOpt("seq", kTestNs, 0, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_NestSeq),
        new CElementInfoSeqClsOpt("choice", kTestNs, 1, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_NestChoice),
        new CElementInfoSeqClsOpt("all", kTestNs, 2, XmlElementType_PseudoElement, &CTestFactory::CreateObject,
                                  ClassId_NestAll),
    });
    ms_ppAttributeInfo = AttributeTable({});
    PublishCNestDoc();
}

CNestDoc::CNestDoc(const char* lpElementName) : CInstanceMonitor("CNestDoc")
{
    SetElementName(lpElementName);
    CNestDoc::Init();
}

void CNestDoc::Init()
{
    m_spSeq = nullptr;
    m_spChoice = nullptr;
    m_spAll = nullptr;
}

void CNestDoc::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_OBJECT(0, Seq, CNestSeq)
        KT_OBJECT(1, Choice, CNestChoice)
        KT_OBJECT(2, All, CNestAll)
        KT_UNKNOWN_PROPERTY()
    }
}

// ==== CBrokenDoc, CBadGroupDoc ====

void CBrokenDoc::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "Broken", true);
    ms_ppElementInfo = ElementTable({
        new CElementInfoSeqClsOpt("member", kTestNs, 0, XmlElementType_Element, &CTestFactory::CreateObject,
                                  ClassId_Unknown),
        new CElementInfoSeqUntpdCol("fixed", kTestNs, 1),
    });
    ms_ppAttributeInfo = AttributeTable({
        new CAttributeInfoAny("", "", 1, true, "##other", kTestNs, nullptr),
    });
    PublishCBrokenDoc();
}

CBrokenDoc::CBrokenDoc(const char* lpElementName) : CInstanceMonitor("CBrokenDoc")
{
    SetElementName(lpElementName);
    m_spWrong = NewI4Col("fixed", 0, -1);
    CBrokenDoc::Init();
}

void CBrokenDoc::Init()
{
    m_spMember = nullptr;
    m_spWrong->Clear();
}

void CBrokenDoc::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        KT_OBJECT(0, Member, CXmlObjectBase)
        KT_COLLECTION(1, Wrong)
        KT_UNKNOWN_PROPERTY()
    }
}

void CBadGroupDoc::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = ClassInfo(static_cast<XmlElementGroupType>(42), XmlElementType_Element, "BadGroup", true);
    ms_ppElementInfo = ElementTable({});
    ms_ppAttributeInfo = AttributeTable({});
    PublishCBadGroupDoc();
}

CBadGroupDoc::CBadGroupDoc(const char* lpElementName) : CInstanceMonitor("CBadGroupDoc")
{
    SetElementName(lpElementName);
}

void CBadGroupDoc::Init() {}

void CBadGroupDoc::InvokeProperty(int iPropertyIndex, bool, KrVariant&)
{
    throw CKrInvalidParamException(FormatString("Unknown property index %d", iPropertyIndex));
}

// ---- sample documents ----

namespace {

template <typename T>
CSmartPtr<KrXmlLib16::CXmlGeneratedClass> Make()
{
    return new T();
}

std::string SampleDoc(const std::string& strRoot, const std::string& strAttributes, const std::string& strBody)
{
    return "<" + strRoot +
           " xmlns='urn:kr:test' xmlns:o='urn:kr:other' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'" +
           strAttributes + ">" + strBody + "</" + strRoot + ">";
}

} // namespace

const std::vector<CSampleDocument>& SampleDocuments()
{
    static const std::vector<CSampleDocument> s_documents = {
        {"sequence", &Make<CSeqDoc>,
         SampleDoc("seqDoc", " ver='3' mode='red' rev='12' o:x='1'",
                   "<id>5</id><label xsi:nil='true'/><num>1</num><num>2</num><color>green</color><shade/>"
                   "<tone>red</tone><tone>blue</tone><point><x>1</x><y>2</y></point><voucher code='ABC'>12.50</voucher>"
                   "<note lang='de'> 12 </note><note/><shape xsi:type='Circle' label='c'><radius>1.5</radius></shape>"
                   "<spare xsi:type='Square'><side>2</side></spare><figure xsi:type='Circle'><radius>3</radius></figure>"
                   "<figure xsi:type='Square'><side>4</side></figure><o:w a='1'>t<o:c/></o:w><extra><z/></extra>"
                   "<o:v/><o:u/>"),
         true},
        {"sequence without nil", &Make<CSeqDoc>,
         SampleDoc("seqDoc", " ver='3' o:x='1'",
                   "<id>5</id><label>l</label><num>1</num><color>green</color><point><x>1</x></point>"
                   "<voucher code='ABC'>12.50</voucher><shape xsi:type='Square'><side>2</side></shape>"
                   "<figure xsi:type='Circle'><radius>3</radius></figure><o:w a='1'>t<o:c/></o:w><o:v/>"),
         false},
        {"all", &Make<CAllDoc>,
         SampleDoc("allDoc", " kind='blue' via='v'",
                   "<more>m1</more><o:w/><cash>3</cash><figure xsi:type='Circle'><radius>3</radius></figure>"
                   "<shape xsi:type='Square'><side>4</side></shape><note>n</note><voucher code='XYZ'>1</voucher>"
                   "<point xsi:nil='true'/><tone>green</tone><shade xsi:nil='1'/><num>7</num><label>l</label>"
                   "<color>blue</color><id>9</id><extra/><more>m2</more><spare xsi:type='Circle'><radius>1</radius>"
                   "</spare>"),
         true},
        {"all without nil", &Make<CAllDoc>,
         SampleDoc("allDoc", " kind='green'",
                   "<o:w/><shape xsi:type='Square'><side>4</side></shape><point><x>2</x></point><num>7</num>"
                   "<color>red</color><id>9</id><more>m1</more>"),
         false},
        {"choice of a collection", &Make<CChoiceDoc>, SampleDoc("choiceDoc", "", "<num>1</num><num>2</num>"), false},
        {"choice of a class", &Make<CChoiceDoc>, SampleDoc("choiceDoc", "", "<point><x>1</x></point>"), false},
        {"choice of a derived class", &Make<CChoiceDoc>,
         SampleDoc("choiceDoc", "", "<shape xsi:type='Circle'><radius>2</radius></shape>"), false},
        {"choice of a group", &Make<CChoiceDoc>, SampleDoc("choiceDoc", "", "<street>s</street><city>c</city>"), false},
        {"choice of wildcards", &Make<CChoiceDoc>, SampleDoc("choiceDoc", "", "<o:a/><o:b/>"), false},
        {"pseudo groups", &Make<CGroupDoc>,
         SampleDoc("groupDoc", " zone='z' tag='red' via='v' doc='d'",
                   "<street>s</street><city>c</city><card>k</card><q>1</q><p>x</p><street>c</street>"
                   "<city>d</city>"),
         false},
        {"typed collections", &Make<CTypedCols>,
         SampleDoc("typedCols", "",
                   "<b64>AQID</b64><hex>0A0B</hex><bool>1</bool><i1>-3</i1><i2>7</i2><i4>999</i4><i8>5</i8>"
                   "<ui1>200</ui1><ui2>6</ui2><ui4>7</ui4><ui8>18446744073709551615</ui8><r4>1.25</r4><r8>2.5</r8>"
                   "<dec>123.45</dec><int>-99999999999999999999</int><str>abc</str><str>z</str><dur>P1D</dur>"
                   "<year>2024</year><month>--05</month><day>---07</day><dt>2024-01-02T03:04:05Z</dt>"
                   "<date>2001-01-01</date><time>10:00:00</time><ym>2024-05</ym><md>--05-06</md>"),
         false},
        {"nested groups", &Make<CNestDoc>,
         SampleDoc("nestDoc", "",
                   "<point><x>1</x></point><shape xsi:type='Circle'><radius>1</radius></shape><o:w/><n>1</n>"
                   "<p>x</p><c>1</c><c>2</c><street>s</street><city>c</city><m>1</m>"),
         false},
    };
    return s_documents;
}

} // namespace KrXmlTest
