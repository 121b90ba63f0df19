// Collections of repeating primitive members, one per value kind (Ci4Col, CstringCol,
// CdatetimeCol, ...). The schema's facets travel with the collection, so every value is
// checked as it goes in, from a document or from the application.
//
// Ownership: a collection holds its values by copy; Item returns a copy, and the iterators of
// begin()/end() stay valid until the collection next changes.
#ifndef KRXMLLIB_XMLTYPECOLLECTION_H
#define KRXMLLIB_XMLTYPECOLLECTION_H

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "biginteger.h"
#include "binarydata.h"
#include "datetime.h"
#include "datetimespan.h"
#include "decimal.h"
#include "itemtype.h"
#include "memoryleakhelp.h"
#include "primitiverestrictions.h"
#include "whitespaceutils.h"
#include "xmlcollectionbase.h"

namespace KrXmlLib16 {

// The constructor arguments every typed collection takes, in the order of a generated table:
// item name and namespace, occurrence limits, the ten facets, the whitespace rule for reading
// and the format text for writing.
#define KRXML_TYPE_COLLECTION_ARGS                                                                          \
    const char *lpElementName, const char *lpNamespace, int iMinOccurs, int iMaxOccurs, const char *pattern, \
        int32_t minLength, int32_t maxLength, const char *minInclusive, const char *maxInclusive,           \
        const char *minExclusive, const char *maxExclusive, int32_t length, int32_t totalDigits,            \
        int32_t fractionDigits, CWhitespaceUtils::WhitespaceRule eWhitespaceRule, const char *formatOverride
#define KRXML_TYPE_COLLECTION_PASS                                                                          \
    lpElementName, lpNamespace, iMinOccurs, iMaxOccurs, pattern, minLength, maxLength, minInclusive,        \
        maxInclusive, minExclusive, maxExclusive, length, totalDigits, fractionDigits, eWhitespaceRule,     \
        formatOverride

class CXmlTypeCollection : public CXmlCollectionBase
{
public:
    // Takes the run of siblings from the cursor on that bear the item name, adding each value;
    // returns the first element of another name. The count is the row's affair.
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;

    ItemType GetItemType() const { return m_eItemType; }
    const CPrimitiveRestrictions& GetRestrictions() const { return m_restrictions; }

protected:
    CXmlTypeCollection(ItemType eItemType, KRXML_TYPE_COLLECTION_ARGS);
    ~CXmlTypeCollection() override;

    // Parses one item's text by the collection's whitespace rule and adds it (facets checked).
    virtual void AddFromString(std::string strValue) = 0;

    [[noreturn]] void ThrowIndexOutOfRange(int iIndex) const;
    static void ThrowInsertOutOfRange();

    CPrimitiveRestrictions m_restrictions;
    ItemType m_eItemType;
    std::string m_strFormatOverride;
    CWhitespaceUtils::WhitespaceRule m_eWhitespaceRule;
};

// The body shared by the leaves of the non-date kinds: a vector store with the add and remove
// events, the facet check of the kind, and the writing of each item as an element.
template <ItemType K, typename T>
class CXmlTypeCollectionOf : public CXmlTypeCollection
{
public:
    typedef typename std::vector<T>::const_iterator const_iterator;
    // Numbers and bool go in by value, class-type values by const reference.
    typedef typename std::conditional<std::is_class<T>::value, const T&, T>::type ArgType;

    int GetCount() const override { return static_cast<int>(m_items.size()); }
    void Clear() override
    {
        while (GetCount() > 0)
            Remove(0);
    }
    void Remove(int iIndex) override;

    void Add(ArgType value) { AddAt(GetCount(), value); }
    void AddAt(int iIndex, ArgType value);
    T Item(int iIndex) const
    {
        if (iIndex < 0 || iIndex >= GetCount())
            ThrowIndexOutOfRange(iIndex);
        return m_items[static_cast<size_t>(iIndex)];
    }

    const_iterator begin() const { return m_items.begin(); }
    const_iterator end() const { return m_items.end(); }

    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;

protected:
    explicit CXmlTypeCollectionOf(KRXML_TYPE_COLLECTION_ARGS) : CXmlTypeCollection(K, KRXML_TYPE_COLLECTION_PASS) {}
    void AddFromString(std::string strValue) override;

    std::vector<T> m_items;
};

// The five date kinds share one store of CDateTime; each leaf admits only its own kind.
class CdatetimeBaseCol : public CXmlTypeCollection
{
public:
    typedef std::vector<CDateTime>::const_iterator const_iterator;

    int GetCount() const override { return static_cast<int>(m_items.size()); }
    void Clear() override;
    void Remove(int iIndex) override;

    virtual void Add(const CDateTime& value);
    // Checks the date's kind and the facets, then inserts.
    virtual void AddAt(int iIndex, const CDateTime& value) = 0;
    virtual CDateTime Item(int iIndex) const;

    const_iterator begin() const { return m_items.begin(); }
    const_iterator end() const { return m_items.end(); }

    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;

protected:
    CdatetimeBaseCol(ItemType eItemType, KRXML_TYPE_COLLECTION_ARGS);
    virtual std::string ItemToString(const CDateTime& value) const = 0;
    // The insertion with its events, for a value already checked.
    void BaseAddAt(int iIndex, const CDateTime& value);
    // The leaf's kind test, before anything else happens.
    static void RequireDateType(const CDateTime& value, CDateTime::DTType eType, const char* lpMessage);

    std::vector<CDateTime> m_items;
};

// ---- the leaves ----

#define KRXML_DECLARE_TYPE_COLLECTION(Name, Kind, Type)                                        \
    class Name : public CXmlTypeCollectionOf<Kind, Type>, public CInstanceMonitor            \
    {                                                                                          \
    public:                                                                                    \
        explicit Name(KRXML_TYPE_COLLECTION_ARGS);                                             \
                                                                                               \
    protected:                                                                                 \
        ~Name() override;                                                                      \
    };

KRXML_DECLARE_TYPE_COLLECTION(Cbase64BinaryCol, ItemType_base64Binary, CBinaryData)
KRXML_DECLARE_TYPE_COLLECTION(ChexBinaryCol, ItemType_hexBinary, CBinaryData)
KRXML_DECLARE_TYPE_COLLECTION(CbooleanCol, ItemType_boolean, bool)
KRXML_DECLARE_TYPE_COLLECTION(Ci1Col, ItemType_i1, int8_t)
KRXML_DECLARE_TYPE_COLLECTION(Ci2Col, ItemType_i2, int16_t)
KRXML_DECLARE_TYPE_COLLECTION(Ci4Col, ItemType_i4, int32_t)
KRXML_DECLARE_TYPE_COLLECTION(Ci8Col, ItemType_i8, int64_t)
KRXML_DECLARE_TYPE_COLLECTION(Cui1Col, ItemType_ui1, uint8_t)
KRXML_DECLARE_TYPE_COLLECTION(Cui2Col, ItemType_ui2, uint16_t)
KRXML_DECLARE_TYPE_COLLECTION(Cui4Col, ItemType_ui4, uint32_t)
KRXML_DECLARE_TYPE_COLLECTION(Cui8Col, ItemType_ui8, uint64_t)
KRXML_DECLARE_TYPE_COLLECTION(Cr4Col, ItemType_r4, float)
KRXML_DECLARE_TYPE_COLLECTION(Cr8Col, ItemType_r8, double)
KRXML_DECLARE_TYPE_COLLECTION(CdecimalCol, ItemType_decimal, CDecimal)
KRXML_DECLARE_TYPE_COLLECTION(CintegerCol, ItemType_integer, CBigInteger)
KRXML_DECLARE_TYPE_COLLECTION(CstringCol, ItemType_string, std::string)
KRXML_DECLARE_TYPE_COLLECTION(CdurationCol, ItemType_duration, CDateTimeSpan)
KRXML_DECLARE_TYPE_COLLECTION(CyearCol, ItemType_year, uint16_t)
KRXML_DECLARE_TYPE_COLLECTION(CmonthCol, ItemType_month, uint8_t)
KRXML_DECLARE_TYPE_COLLECTION(CdayCol, ItemType_day, uint8_t)

#undef KRXML_DECLARE_TYPE_COLLECTION

#define KRXML_DECLARE_DATE_COLLECTION(Name)                                                    \
    class Name : public CdatetimeBaseCol, public CInstanceMonitor                              \
    {                                                                                          \
    public:                                                                                    \
        explicit Name(KRXML_TYPE_COLLECTION_ARGS);                                             \
        using CdatetimeBaseCol::AddAt;                                                         \
        void AddAt(int iIndex, const CDateTime& value) override;                               \
                                                                                               \
    protected:                                                                                 \
        ~Name() override;                                                                      \
        std::string ItemToString(const CDateTime& value) const override;                       \
        void AddFromString(std::string strValue) override;                                     \
    };

KRXML_DECLARE_DATE_COLLECTION(CdatetimeCol)
KRXML_DECLARE_DATE_COLLECTION(CdateCol)
KRXML_DECLARE_DATE_COLLECTION(CtimeCol)
KRXML_DECLARE_DATE_COLLECTION(CyearMonthCol)
KRXML_DECLARE_DATE_COLLECTION(CmonthDayCol)

#undef KRXML_DECLARE_DATE_COLLECTION

} // namespace KrXmlLib16

#endif
