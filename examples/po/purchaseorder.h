// Bound classes for the purchase-order schema (target namespace urn:example:po), in the form a
// code generator emits them: one class per complex type, deriving from CXmlGeneratedClass, with
// its metadata tables built once, one InvokeProperty switch, typed accessors, a collection class
// for the repeating item, an enumeration with its text functions, and a class factory.
//
// Ownership: objects are reference counted; hold them in CSmartPtr. A parent owns its children
// through its properties, and a collection holds one reference on each item. The typed getters
// of child objects return the object itself (shared, not copied).
#ifndef PO_PURCHASEORDER_H
#define PO_PURCHASEORDER_H

#include <string>

#include "krxmllib.h"

namespace PurchaseOrder {

using KrXmlLib16::CBinaryData;
using KrXmlLib16::CDateTime;
using KrXmlLib16::CDateTimeSpan;
using KrXmlLib16::CDecimal;
using KrXmlLib16::CSerializationContext;
using KrXmlLib16::KrVariant;

extern const char* const kNamespace;  // "urn:example:po"

// ---- po:StatusType ----

enum StatusType
{
    StatusType_open = 0,
    StatusType_shipped = 1,
    StatusType_cancelled = 2,
    StatusType_on_hold = 3
};
const char* StatusTypeToString(int iValue);
// Raises CKrInvalidValueException for a text that isn't one of the values.
int StringToStatusType(const char* lpValue);

// The class numbers the factory knows.
enum ClassId
{
    ClassId_PurchaseOrderType = 1,
    ClassId_CustomerType = 2,
    ClassId_AddressType = 3,
    ClassId_ItemType = 4
};

class CFactory : public KrXmlLib16::CClassfactoryBase
{
public:
    static CSmartPtr<KrXmlLib16::CXmlObjectBase> CreateObject(int iClassId, const char* lpElementName);
};

// The members every generated class has: the three tables, the engine's slots, the namespaces.
#define PO_GENERATED_CLASS_MEMBERS                                                                  \
public:                                                                                             \
    void InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value) override;                  \
    KrXmlLib16Data::CParentElementInfo* GetClassInfo() override;                                    \
    KrXmlLib16Data::CElementInfo** GetClassElementInfo() override;                                  \
    KrXmlLib16Data::CAttributeInfo** GetClassAttributeInfo() override;                              \
    void Init() override;                                                                           \
    KrXmlLib16::CXmlObjectBase* GetBase() override { return this; }                                 \
    std::string GetNamespace() const override { return kNamespace; }                                \
    /* Frees the tables; they are built again on next use. */                                       \
    static void CleanMetaData();                                                                    \
                                                                                                    \
protected:                                                                                          \
    std::string GetTargetNamespace() const override { return kNamespace; }                          \
                                                                                                    \
private:                                                                                            \
    static void BuildMetaData();                                                                    \
    static KrXmlLib16Data::CParentElementInfo* ms_pClassInfo;                                       \
    static KrXmlLib16Data::CElementInfo** ms_ppElementInfo;                                         \
    static KrXmlLib16Data::CAttributeInfo** ms_ppAttributeInfo;

// ---- po:AddressType ----

class CAddressType : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CAddressType(const char* lpElementName = "address");

    std::string GetStreet() const { return m_strStreet; }
    void SetStreet(const std::string& strValue);
    std::string GetCity() const { return m_strCity; }
    void SetCity(const std::string& strValue);
    std::string GetPostcode() const { return m_strPostcode; }
    void SetPostcode(const std::string& strValue);
    // Required; two capital letters.
    std::string GetCountry() const { return m_strCountry; }
    void SetCountry(const std::string& strValue);

    PO_GENERATED_CLASS_MEMBERS

private:
    std::string m_strStreet, m_strCity, m_strPostcode, m_strCountry;
    bool m_bValidStreet, m_bValidCity, m_bValidPostcode, m_bValidCountry;
};

// ---- po:CustomerType ----

class CCustomerType : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CCustomerType(const char* lpElementName = "customer");

    std::string GetName() const { return m_strName; }
    void SetName(const std::string& strValue);
    std::string GetEmail() const { return m_strEmail; }
    void SetEmail(const std::string& strValue);
    CSmartPtr<CAddressType> GetAddress() const { return m_spAddress; }
    void SetAddress(CAddressType* pValue);
    // Optional, default false.
    bool GetVip() const { return m_bValidVip ? m_bVip : false; }
    bool IsValidVip() const { return m_bValidVip; }
    void SetVip(bool bValue);
    void SetValidVip(bool bValid) { m_bValidVip = bValid; }

    PO_GENERATED_CLASS_MEMBERS

private:
    std::string m_strName, m_strEmail;
    CSmartPtr<CAddressType> m_spAddress;
    bool m_bVip;
    bool m_bValidName, m_bValidEmail, m_bValidVip;
};

// ---- po:ItemType ----

class CItemType : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CItemType(const char* lpElementName = "item");

    std::string GetName() const { return m_strName; }
    void SetName(const std::string& strValue);
    // 1 to 10000.
    int32_t GetQuantity() const { return m_iQuantity; }
    void SetQuantity(int32_t iValue);
    int64_t GetSerial() const { return m_iSerial; }
    void SetSerial(int64_t iValue);
    // At most 10 digits, 2 of them after the point, not negative.
    CDecimal GetPrice() const { return m_price; }
    void SetPrice(const CDecimal& value);
    double GetWeight() const { return m_dWeight; }
    void SetWeight(double dValue);
    bool GetTaxable() const { return m_bTaxable; }
    void SetTaxable(bool bValue);
    CDateTime GetShipDate() const { return m_shipDate; }
    void SetShipDate(const CDateTime& value);
    CDateTime GetUpdated() const { return m_updated; }
    void SetUpdated(const CDateTime& value);
    CDateTimeSpan GetWarranty() const { return m_warranty; }
    void SetWarranty(const CDateTimeSpan& value);
    // Optional members: IsValid... tells whether they are set.
    std::string GetComment() const { return m_strComment; }
    bool IsValidComment() const { return m_bValidComment; }
    void SetComment(const std::string& strValue);
    void SetValidComment(bool bValid) { m_bValidComment = bValid; }
    CBinaryData GetThumbnail() const { return m_thumbnail; }
    bool IsValidThumbnail() const { return m_bValidThumbnail; }
    void SetThumbnail(const CBinaryData& value);
    void SetValidThumbnail(bool bValid) { m_bValidThumbnail = bValid; }
    // Required; "SKU-" and six digits.
    std::string GetSku() const { return m_strSku; }
    void SetSku(const std::string& strValue);
    int32_t GetLine() const { return m_iLine; }
    void SetLine(int32_t iValue);
    // Optional, default false.
    bool GetGift() const { return m_bValidGift ? m_bGift : false; }
    bool IsValidGift() const { return m_bValidGift; }
    void SetGift(bool bValue);
    void SetValidGift(bool bValid) { m_bValidGift = bValid; }

    PO_GENERATED_CLASS_MEMBERS

private:
    std::string m_strName;
    int32_t m_iQuantity;
    int64_t m_iSerial;
    CDecimal m_price;
    double m_dWeight;
    bool m_bTaxable;
    CDateTime m_shipDate;
    CDateTime m_updated;
    CDateTimeSpan m_warranty;
    std::string m_strComment;
    CBinaryData m_thumbnail;
    std::string m_strSku;
    int32_t m_iLine;
    bool m_bGift;
    bool m_bValidName, m_bValidQuantity, m_bValidSerial, m_bValidPrice, m_bValidWeight, m_bValidTaxable,
        m_bValidShipDate, m_bValidUpdated, m_bValidWarranty, m_bValidComment, m_bValidThumbnail, m_bValidSku,
        m_bValidLine, m_bValidGift;
};

// The repeating item of a purchase order.
class CItemTypeCol : public KrXmlLib16::CXmlCollection, public CInstanceMonitor
{
public:
    CItemTypeCol();

    CSmartPtr<CItemType> Add();  // a new item at the end
    void Add(CItemType* pItem);
    void AddAt(int iIndex, CItemType* pItem);
    CSmartPtr<CItemType> Item(int iIndex) const;
    KrXmlLib16::CKrIterator<CItemType> begin() const { return KrXmlLib16::CKrIterator<CItemType>(GetHead()); }
    KrXmlLib16::CKrIterator<CItemType> end() const { return KrXmlLib16::CKrIterator<CItemType>(); }

    void ToXml_Int(KrXmlLib16::CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                   const CSerializationContext& ctx, bool bOptionalChoice) const override;
    KrXmlLib16::CXmlElement* FromXml_Int(KrXmlLib16::CXmlElement* pElement, KrXmlLib16::CXmlElement* pFirstChild,
                                         const CSerializationContext& ctx, bool bOptionalChoice) override;

protected:
    ~CItemTypeCol() override;
};

// ---- po:PurchaseOrderType, the document element purchaseOrder ----

class CPurchaseOrderType : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CPurchaseOrderType(const char* lpElementName = "purchaseOrder");

    CSmartPtr<CCustomerType> GetCustomer() const { return m_spCustomer; }
    void SetCustomer(CCustomerType* pValue);
    StatusType GetStatus() const { return m_eStatus; }
    void SetStatus(StatusType eValue);
    CSmartPtr<CItemTypeCol> GetItem() const { return m_spItem; }
    std::string GetNote() const { return m_strNote; }
    bool IsValidNote() const { return m_bValidNote; }
    void SetNote(const std::string& strValue);
    void SetValidNote(bool bValid) { m_bValidNote = bValid; }
    int32_t GetId() const { return m_iId; }
    void SetId(int32_t iValue);
    CDateTime GetOrderDate() const { return m_orderDate; }
    void SetOrderDate(const CDateTime& value);
    // Optional, default "EUR"; three characters.
    std::string GetCurrency() const { return m_bValidCurrency ? m_strCurrency : std::string("EUR"); }
    bool IsValidCurrency() const { return m_bValidCurrency; }
    void SetCurrency(const std::string& strValue);
    void SetValidCurrency(bool bValid) { m_bValidCurrency = bValid; }

    PO_GENERATED_CLASS_MEMBERS

private:
    CSmartPtr<CCustomerType> m_spCustomer;
    StatusType m_eStatus;
    CSmartPtr<CItemTypeCol> m_spItem;
    std::string m_strNote;
    int32_t m_iId;
    CDateTime m_orderDate;
    std::string m_strCurrency;
    bool m_bValidStatus, m_bValidNote, m_bValidId, m_bValidOrderDate, m_bValidCurrency;
};

#undef PO_GENERATED_CLASS_MEMBERS

} // namespace PurchaseOrder

#endif
