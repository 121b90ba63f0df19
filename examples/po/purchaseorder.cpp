// Tables, property switches and accessors of the purchase-order classes.
#include "purchaseorder.h"

#include <atomic>
#include <cstring>

using namespace KrXmlLib16;
using namespace KrXmlLib16Data;

namespace PurchaseOrder {

const char* const kNamespace = "urn:example:po";

// ---- StatusType ----

static const char* const kStatusTexts[] = {"open", "shipped", "cancelled", "on-hold"};

const char* StatusTypeToString(int iValue)
{
    if (iValue < 0 || iValue > 3)
        throw CKrInvalidValueException(FormatString("Invalid value [%d] for the enumeration StatusType", iValue));
    return kStatusTexts[iValue];
}

int StringToStatusType(const char* lpValue)
{
    for (int i = 0; i < 4; ++i)
        if (std::strcmp(lpValue, kStatusTexts[i]) == 0)
            return i;
    throw CKrInvalidValueException(FormatString("Invalid value [%s] for the enumeration StatusType", lpValue));
}

// ---- factory ----

CSmartPtr<CXmlObjectBase> CFactory::CreateObject(int iClassId, const char* lpElementName)
{
    switch (iClassId)
    {
    case ClassId_PurchaseOrderType: return new CPurchaseOrderType(lpElementName);
    case ClassId_CustomerType: return new CCustomerType(lpElementName);
    case ClassId_AddressType: return new CAddressType(lpElementName);
    case ClassId_ItemType: return new CItemType(lpElementName);
    default: return nullptr;
    }
}

// ---- table lifetime ----

// Each class builds its tables on first use, under the one lock of all generated classes, and
// publishes them through a flag, so that readers after that take no lock.
#define PO_DEFINE_TABLES(Class)                                                                        \
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

PO_DEFINE_TABLES(CAddressType)
PO_DEFINE_TABLES(CCustomerType)
PO_DEFINE_TABLES(CItemType)
PO_DEFINE_TABLES(CPurchaseOrderType)

// The tables go when the program ends.
static struct CTableCleaner
{
    ~CTableCleaner()
    {
        CPurchaseOrderType::CleanMetaData();
        CItemType::CleanMetaData();
        CCustomerType::CleanMetaData();
        CAddressType::CleanMetaData();
    }
} s_tableCleaner;

static const CPrimitiveRestrictions kNoFacets;

// ---- the property switch ----
// A value property: get gives the value or an invalid variant when unset; set stores it. The
// checked form holds the value to the row's facets first, so that reading a document checks
// them too.
#define PO_VALUE(Index, Member, Valid, Setter, Getter) \
    case Index:                                        \
        if (bGet)                                      \
        {                                              \
            if (Valid)                                 \
                value.Setter(Member);                  \
            else                                       \
                value.SetInvalid();                    \
        }                                              \
        else                                           \
        {                                              \
            Member = value.Getter();                   \
            Valid = true;                              \
        }                                              \
        break;
#define PO_CHECKED_VALUE(Index, Row, Member, Valid, Setter, Getter) \
    case Index:                                                     \
        if (bGet)                                                   \
        {                                                           \
            if (Valid)                                              \
                value.Setter(Member);                               \
            else                                                    \
                value.SetInvalid();                                 \
        }                                                           \
        else                                                        \
        {                                                           \
            (Row)->CheckRestriction(value);                         \
            Member = value.Getter();                                \
            Valid = true;                                           \
        }                                                           \
        break;
#define PO_MANDATORY_OBJECT(Index, Member, Class) \
    case Index:                                   \
        if (bGet)                                 \
            value.SetXmlObject(Member);           \
        else                                      \
            Member = static_cast<Class*>(static_cast<CXmlObjectBase*>(value.GetXmlObject())); \
        break;
#define PO_UNKNOWN_PROPERTY()                                                                        \
    default:                                                                                         \
        throw CKrInvalidParamException(FormatString("Unknown property index %d", iPropertyIndex));

// A typed setter checks facets as the reader does.
template <typename Row>
static void CheckValue(Row* pRow, const KrVariant& value)
{
    pRow->CheckRestriction(value);
}

static CAttributeInfoPrimitive* PrimitiveAttribute(CAttributeInfo** ppRows, int iIndex)
{
    return static_cast<CAttributeInfoPrimitive*>(ppRows[iIndex]);
}

// ==== CAddressType ====

void CAddressType::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = new CParentElementInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "AddressType",
                                           kNamespace, true, false, -1, ItemType_Invalid, nullptr, false);
    ms_ppElementInfo = new CElementInfo*[4];
    ms_ppElementInfo[0] = new CElementInfoSeqPrimMnd("street", kNamespace, 0, false, ItemType_string, nullptr,
                                                     CWhitespaceUtils::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[1] = new CElementInfoSeqPrimMnd("city", kNamespace, 1, false, ItemType_string, nullptr,
                                                     CWhitespaceUtils::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[2] = new CElementInfoSeqPrimMnd("postcode", kNamespace, 2, false, ItemType_string, nullptr,
                                                     CWhitespaceUtils::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[3] = nullptr;
    ms_ppAttributeInfo = new CAttributeInfo*[2];
    ms_ppAttributeInfo[0] = new CAttributeInfoPrimitive(
        "country", "", 3, false, ItemType_string, nullptr, CWhitespaceUtils::WhitespaceRule_Preserve,
        CPrimitiveRestrictions("[A-Z]{2}", -1, -1, "", "", "", "", -1, -1, -1), nullptr);
    ms_ppAttributeInfo[1] = nullptr;
    PublishCAddressType();
}

CAddressType::CAddressType(const char* lpElementName) : CInstanceMonitor("CAddressType")
{
    SetElementName(lpElementName);
    CAddressType::Init();
}

void CAddressType::Init()
{
    m_strStreet.clear();
    m_strCity.clear();
    m_strPostcode.clear();
    m_strCountry.clear();
    m_bValidStreet = m_bValidCity = m_bValidPostcode = m_bValidCountry = false;
}

void CAddressType::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        PO_VALUE(0, m_strStreet, m_bValidStreet, SetString, GetString)
        PO_VALUE(1, m_strCity, m_bValidCity, SetString, GetString)
        PO_VALUE(2, m_strPostcode, m_bValidPostcode, SetString, GetString)
        PO_CHECKED_VALUE(3, PrimitiveAttribute(GetClassAttributeInfo(), 0), m_strCountry, m_bValidCountry, SetString,
                         GetString)
        PO_UNKNOWN_PROPERTY()
    }
}

void CAddressType::SetStreet(const std::string& strValue)
{
    m_strStreet = strValue;
    m_bValidStreet = true;
}

void CAddressType::SetCity(const std::string& strValue)
{
    m_strCity = strValue;
    m_bValidCity = true;
}

void CAddressType::SetPostcode(const std::string& strValue)
{
    m_strPostcode = strValue;
    m_bValidPostcode = true;
}

void CAddressType::SetCountry(const std::string& strValue)
{
    KrVariant value;
    value.SetString(strValue);
    CheckValue(PrimitiveAttribute(GetClassAttributeInfo(), 0), value);
    m_strCountry = strValue;
    m_bValidCountry = true;
}

// ==== CCustomerType ====

void CCustomerType::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = new CParentElementInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "CustomerType",
                                           kNamespace, true, false, -1, ItemType_Invalid, nullptr, false);
    ms_ppElementInfo = new CElementInfo*[4];
    ms_ppElementInfo[0] = new CElementInfoSeqPrimMnd("name", kNamespace, 0, false, ItemType_string, nullptr,
                                                     CWhitespaceUtils::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[1] = new CElementInfoSeqPrimMnd("email", kNamespace, 1, false, ItemType_string, nullptr,
                                                     CWhitespaceUtils::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[2] = new CElementInfoSeqClsMnd("address", kNamespace, 2, XmlElementType_Element,
                                                    &CFactory::CreateObject, ClassId_AddressType, true);
    ms_ppElementInfo[3] = nullptr;
    ms_ppAttributeInfo = new CAttributeInfo*[2];
    ms_ppAttributeInfo[0] = new CAttributeInfoPrimitive("vip", "", 3, true, ItemType_boolean, nullptr,
                                                        CWhitespaceUtils::WhitespaceRule_Collapse, kNoFacets, "false");
    ms_ppAttributeInfo[1] = nullptr;
    PublishCCustomerType();
}

CCustomerType::CCustomerType(const char* lpElementName) : CInstanceMonitor("CCustomerType")
{
    SetElementName(lpElementName);
    CCustomerType::Init();
}

void CCustomerType::Init()
{
    m_strName.clear();
    m_strEmail.clear();
    m_spAddress = new CAddressType("address");  // mandatory: filled in place by the reader
    m_bVip = false;
    m_bValidName = m_bValidEmail = m_bValidVip = false;
}

void CCustomerType::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        PO_VALUE(0, m_strName, m_bValidName, SetString, GetString)
        PO_VALUE(1, m_strEmail, m_bValidEmail, SetString, GetString)
        PO_MANDATORY_OBJECT(2, m_spAddress, CAddressType)
        PO_VALUE(3, m_bVip, m_bValidVip, SetBoolean, GetBoolean)
        PO_UNKNOWN_PROPERTY()
    }
}

void CCustomerType::SetName(const std::string& strValue)
{
    m_strName = strValue;
    m_bValidName = true;
}

void CCustomerType::SetEmail(const std::string& strValue)
{
    m_strEmail = strValue;
    m_bValidEmail = true;
}

void CCustomerType::SetAddress(CAddressType* pValue)
{
    Throw_IfPropertyIsNull(pValue, "address");
    Throw_IfElementNameDiffers(pValue, "address");
    m_spAddress = pValue;
}

void CCustomerType::SetVip(bool bValue)
{
    m_bVip = bValue;
    m_bValidVip = true;
}

// ==== CItemType ====

void CItemType::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    using W = CWhitespaceUtils;
    ms_pClassInfo = new CParentElementInfo(XmlElementGroupType_Sequence, XmlElementType_Element, "ItemType",
                                           kNamespace, true, false, -1, ItemType_Invalid, nullptr, false);
    ms_ppElementInfo = new CElementInfo*[12];
    ms_ppElementInfo[0] = new CElementInfoSeqPrimMnd("name", kNamespace, 0, false, ItemType_string, nullptr,
                                                     W::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[1] = new CElementInfoSeqPrimMnd(
        "quantity", kNamespace, 1, false, ItemType_i4, nullptr, W::WhitespaceRule_Collapse,
        CPrimitiveRestrictions("", -1, -1, "1", "10000", "", "", -1, -1, -1), nullptr);
    ms_ppElementInfo[2] = new CElementInfoSeqPrimMnd("serial", kNamespace, 2, false, ItemType_i8, nullptr,
                                                     W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppElementInfo[3] = new CElementInfoSeqPrimMnd(
        "price", kNamespace, 3, false, ItemType_decimal, nullptr, W::WhitespaceRule_Collapse,
        CPrimitiveRestrictions("", -1, -1, "0", "", "", "", -1, 10, 2), nullptr);
    ms_ppElementInfo[4] = new CElementInfoSeqPrimMnd("weight", kNamespace, 4, false, ItemType_r8, nullptr,
                                                     W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppElementInfo[5] = new CElementInfoSeqPrimMnd("taxable", kNamespace, 5, false, ItemType_boolean, nullptr,
                                                     W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppElementInfo[6] = new CElementInfoSeqPrimMnd("shipDate", kNamespace, 6, false, ItemType_date, nullptr,
                                                     W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppElementInfo[7] = new CElementInfoSeqPrimMnd("updated", kNamespace, 7, false, ItemType_datetime, nullptr,
                                                     W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppElementInfo[8] = new CElementInfoSeqPrimMnd("warranty", kNamespace, 8, false, ItemType_duration, nullptr,
                                                     W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppElementInfo[9] = new CElementInfoSeqPrimOpt("comment", kNamespace, 9, false, ItemType_string, nullptr,
                                                     W::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[10] = new CElementInfoSeqPrimOpt("thumbnail", kNamespace, 10, false, ItemType_base64Binary,
                                                      nullptr, W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppElementInfo[11] = nullptr;
    ms_ppAttributeInfo = new CAttributeInfo*[4];
    ms_ppAttributeInfo[0] = new CAttributeInfoPrimitive(
        "sku", "", 11, false, ItemType_string, nullptr, W::WhitespaceRule_Preserve,
        CPrimitiveRestrictions("SKU-[0-9]{6}", -1, -1, "", "", "", "", -1, -1, -1), nullptr);
    ms_ppAttributeInfo[1] = new CAttributeInfoPrimitive("line", "", 12, false, ItemType_i4, nullptr,
                                                        W::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppAttributeInfo[2] = new CAttributeInfoPrimitive("gift", "", 13, true, ItemType_boolean, nullptr,
                                                        W::WhitespaceRule_Collapse, kNoFacets, "false");
    ms_ppAttributeInfo[3] = nullptr;
    PublishCItemType();
}

CItemType::CItemType(const char* lpElementName) : CInstanceMonitor("CItemType")
{
    SetElementName(lpElementName);
    CItemType::Init();
}

void CItemType::Init()
{
    m_strName.clear();
    m_iQuantity = 0;
    m_iSerial = 0;
    m_price = CDecimal();
    m_dWeight = 0;
    m_bTaxable = false;
    m_shipDate = CDateTime();
    m_updated = CDateTime();
    m_warranty = CDateTimeSpan();
    m_strComment.clear();
    m_thumbnail = CBinaryData();
    m_strSku.clear();
    m_iLine = 0;
    m_bGift = false;
    m_bValidName = m_bValidQuantity = m_bValidSerial = m_bValidPrice = m_bValidWeight = m_bValidTaxable =
        m_bValidShipDate = m_bValidUpdated = m_bValidWarranty = m_bValidComment = m_bValidThumbnail = m_bValidSku =
            m_bValidLine = m_bValidGift = false;
}

void CItemType::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        PO_VALUE(0, m_strName, m_bValidName, SetString, GetString)
        PO_CHECKED_VALUE(1, GetClassElementInfo()[1], m_iQuantity, m_bValidQuantity, SetI4, GetI4)
        PO_VALUE(2, m_iSerial, m_bValidSerial, SetI8, GetI8)
        PO_CHECKED_VALUE(3, GetClassElementInfo()[3], m_price, m_bValidPrice, SetDecimal, GetDecimal)
        PO_VALUE(4, m_dWeight, m_bValidWeight, SetR8, GetR8)
        PO_VALUE(5, m_bTaxable, m_bValidTaxable, SetBoolean, GetBoolean)
        PO_VALUE(6, m_shipDate, m_bValidShipDate, SetDate, GetDate)
        PO_VALUE(7, m_updated, m_bValidUpdated, SetDateTime, GetDateTime)
        PO_VALUE(8, m_warranty, m_bValidWarranty, SetDuration, GetDuration)
        PO_VALUE(9, m_strComment, m_bValidComment, SetString, GetString)
        PO_VALUE(10, m_thumbnail, m_bValidThumbnail, SetBase64Binary, GetBase64Binary)
        PO_CHECKED_VALUE(11, PrimitiveAttribute(GetClassAttributeInfo(), 0), m_strSku, m_bValidSku, SetString,
                         GetString)
        PO_VALUE(12, m_iLine, m_bValidLine, SetI4, GetI4)
        PO_VALUE(13, m_bGift, m_bValidGift, SetBoolean, GetBoolean)
        PO_UNKNOWN_PROPERTY()
    }
}

void CItemType::SetName(const std::string& strValue)
{
    m_strName = strValue;
    m_bValidName = true;
}

void CItemType::SetQuantity(int32_t iValue)
{
    KrVariant value;
    value.SetI4(iValue);
    CheckValue(GetClassElementInfo()[1], value);
    m_iQuantity = iValue;
    m_bValidQuantity = true;
}

void CItemType::SetSerial(int64_t iValue)
{
    m_iSerial = iValue;
    m_bValidSerial = true;
}

void CItemType::SetPrice(const CDecimal& value)
{
    KrVariant checked;
    checked.SetDecimal(value);
    CheckValue(GetClassElementInfo()[3], checked);
    m_price = value;
    m_bValidPrice = true;
}

void CItemType::SetWeight(double dValue)
{
    m_dWeight = dValue;
    m_bValidWeight = true;
}

void CItemType::SetTaxable(bool bValue)
{
    m_bTaxable = bValue;
    m_bValidTaxable = true;
}

void CItemType::SetShipDate(const CDateTime& value)
{
    m_shipDate = value;
    m_bValidShipDate = true;
}

void CItemType::SetUpdated(const CDateTime& value)
{
    m_updated = value;
    m_bValidUpdated = true;
}

void CItemType::SetWarranty(const CDateTimeSpan& value)
{
    m_warranty = value;
    m_bValidWarranty = true;
}

void CItemType::SetComment(const std::string& strValue)
{
    m_strComment = strValue;
    m_bValidComment = true;
}

void CItemType::SetThumbnail(const CBinaryData& value)
{
    m_thumbnail = value;
    m_bValidThumbnail = true;
}

void CItemType::SetSku(const std::string& strValue)
{
    KrVariant value;
    value.SetString(strValue);
    CheckValue(PrimitiveAttribute(GetClassAttributeInfo(), 0), value);
    m_strSku = strValue;
    m_bValidSku = true;
}

void CItemType::SetLine(int32_t iValue)
{
    m_iLine = iValue;
    m_bValidLine = true;
}

void CItemType::SetGift(bool bValue)
{
    m_bGift = bValue;
    m_bValidGift = true;
}

// ==== CItemTypeCol ====

CItemTypeCol::CItemTypeCol() : CXmlCollection("item", kNamespace, 0, -1), CInstanceMonitor("CItemTypeCol") {}

CItemTypeCol::~CItemTypeCol() = default;

CSmartPtr<CItemType> CItemTypeCol::Add()
{
    CSmartPtr<CItemType> spItem = new CItemType("item");
    AppendItem(spItem);
    return spItem;
}

void CItemTypeCol::Add(CItemType* pItem)
{
    Throw_IfPropertyIsNull(pItem, "item");
    AppendItem(pItem);
}

void CItemTypeCol::AddAt(int iIndex, CItemType* pItem)
{
    Throw_IfPropertyIsNull(pItem, "item");
    AddItemAt(iIndex, pItem);
}

CSmartPtr<CItemType> CItemTypeCol::Item(int iIndex) const
{
    return static_cast<CItemType*>(static_cast<CXmlObjectBase*>(GetNodeAtIndex(iIndex)->m_spItem));
}

void CItemTypeCol::ToXml_Int(CXmlWriter* pWriter, bool, const char* lpNamespace, const CSerializationContext& ctx,
                             bool) const
{
    ValidateCount(ctx);
    for (CXmlCollection::CNode* pNode = GetHead(); pNode; pNode = pNode->m_pNext)
        CXmlObjectBase::ToXml_Int(pNode->m_spItem, pWriter, false, lpNamespace, ctx, false);
}

CXmlElement* CItemTypeCol::FromXml_Int(CXmlElement*, CXmlElement* pCursor, const CSerializationContext& ctx, bool)
{
    while (pCursor && DoesElementNameMatch(ctx, pCursor, "item", kNamespace))
    {
        CSmartPtr<CItemType> spItem = new CItemType(pCursor->GetLocalName().c_str());
        CXmlObjectBase::FromXml_Int(spItem, pCursor, pCursor->GetFirstElement(), ctx);
        AppendItem(spItem);
        pCursor = pCursor->GetNextSiblingElement();
    }
    return pCursor;
}

// ==== CPurchaseOrderType ====

void CPurchaseOrderType::BuildMetaData()
{
    CKRLock lock(m_csInit);
    if (ms_pClassInfo)
        return;
    ms_pClassInfo = new CParentElementInfo(XmlElementGroupType_Sequence, XmlElementType_Element,
                                           "PurchaseOrderType", kNamespace, true, false, -1, ItemType_Invalid,
                                           nullptr, false);
    ms_ppElementInfo = new CElementInfo*[5];
    ms_ppElementInfo[0] = new CElementInfoSeqClsMnd("customer", kNamespace, 0, XmlElementType_Element,
                                                    &CFactory::CreateObject, ClassId_CustomerType, true);
    ms_ppElementInfo[1] = new CElementInfoSeqEnumMnd("status", kNamespace, 1, false, &StatusTypeToString,
                                                     &StringToStatusType, nullptr);
    ms_ppElementInfo[2] = new CElementInfoSeqClsCol("item", kNamespace, 2, XmlElementType_Element);
    ms_ppElementInfo[3] = new CElementInfoSeqPrimOpt("note", kNamespace, 3, false, ItemType_string, nullptr,
                                                     CWhitespaceUtils::WhitespaceRule_Preserve, kNoFacets, nullptr);
    ms_ppElementInfo[4] = nullptr;
    ms_ppAttributeInfo = new CAttributeInfo*[4];
    ms_ppAttributeInfo[0] = new CAttributeInfoPrimitive("id", "", 4, false, ItemType_i4, nullptr,
                                                        CWhitespaceUtils::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppAttributeInfo[1] = new CAttributeInfoPrimitive("orderDate", "", 5, false, ItemType_date, nullptr,
                                                        CWhitespaceUtils::WhitespaceRule_Collapse, kNoFacets, nullptr);
    ms_ppAttributeInfo[2] = new CAttributeInfoPrimitive(
        "currency", "", 6, true, ItemType_string, nullptr, CWhitespaceUtils::WhitespaceRule_Preserve,
        CPrimitiveRestrictions("", -1, -1, "", "", "", "", 3, -1, -1), "EUR");
    ms_ppAttributeInfo[3] = nullptr;
    PublishCPurchaseOrderType();
}

CPurchaseOrderType::CPurchaseOrderType(const char* lpElementName) : CInstanceMonitor("CPurchaseOrderType")
{
    SetElementName(lpElementName);
    CPurchaseOrderType::Init();
}

void CPurchaseOrderType::Init()
{
    m_spCustomer = new CCustomerType("customer");
    m_eStatus = StatusType_open;
    if (m_spItem)
        m_spItem->Clear();
    else
        m_spItem = new CItemTypeCol;
    m_strNote.clear();
    m_iId = 0;
    m_orderDate = CDateTime();
    m_strCurrency.clear();
    m_bValidStatus = m_bValidNote = m_bValidId = m_bValidOrderDate = m_bValidCurrency = false;
}

void CPurchaseOrderType::InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value)
{
    switch (iPropertyIndex)
    {
        PO_MANDATORY_OBJECT(0, m_spCustomer, CCustomerType)
    case 1:
        if (bGet)
        {
            if (m_bValidStatus)
                value.SetI4(m_eStatus);
            else
                value.SetInvalid();
        }
        else
        {
            m_eStatus = static_cast<StatusType>(value.GetI4());
            m_bValidStatus = true;
        }
        break;
    case 2:
        if (bGet)
            value.SetXmlCollection(m_spItem);
        break;
        PO_VALUE(3, m_strNote, m_bValidNote, SetString, GetString)
        PO_VALUE(4, m_iId, m_bValidId, SetI4, GetI4)
        PO_VALUE(5, m_orderDate, m_bValidOrderDate, SetDate, GetDate)
        PO_CHECKED_VALUE(6, PrimitiveAttribute(GetClassAttributeInfo(), 2), m_strCurrency, m_bValidCurrency,
                         SetString, GetString)
        PO_UNKNOWN_PROPERTY()
    }
}

void CPurchaseOrderType::SetCustomer(CCustomerType* pValue)
{
    Throw_IfPropertyIsNull(pValue, "customer");
    Throw_IfElementNameDiffers(pValue, "customer");
    m_spCustomer = pValue;
}

void CPurchaseOrderType::SetStatus(StatusType eValue)
{
    StatusTypeToString(eValue);  // refuses a number outside the enumeration
    m_eStatus = eValue;
    m_bValidStatus = true;
}

void CPurchaseOrderType::SetNote(const std::string& strValue)
{
    m_strNote = strValue;
    m_bValidNote = true;
}

void CPurchaseOrderType::SetId(int32_t iValue)
{
    m_iId = iValue;
    m_bValidId = true;
}

void CPurchaseOrderType::SetOrderDate(const CDateTime& value)
{
    m_orderDate = value;
    m_bValidOrderDate = true;
}

void CPurchaseOrderType::SetCurrency(const std::string& strValue)
{
    KrVariant value;
    value.SetString(strValue);
    CheckValue(PrimitiveAttribute(GetClassAttributeInfo(), 2), value);
    m_strCurrency = strValue;
    m_bValidCurrency = true;
}

} // namespace PurchaseOrder
