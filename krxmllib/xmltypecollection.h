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

#include "krxmlexport.h"
#include <type_traits>
#include <vector>

#include "biginteger.h"
#include "binarydata.h"
#include "datetime.h"
#include "datetimespan.h"
#include "decimal.h"
#include "itemkinds.h"
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

class KRXML_API CXmlTypeCollection : public CXmlCollectionBase
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
class KRXML_API CXmlTypeCollectionOf : public CXmlTypeCollection
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
class KRXML_API CdatetimeBaseCol : public CXmlTypeCollection
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

// ---- the leaves: one per kind of the value list, but char ----

#define KRXML_DECLARE_TYPE_COLLECTION(kind, T)                                                   \
    class KRXML_API C##kind##Col : public CXmlTypeCollectionOf<ItemType_##kind, T>, public CInstanceMonitor \
    {                                                                                            \
    public:                                                                                      \
        explicit C##kind##Col(KRXML_TYPE_COLLECTION_ARGS);                                       \
                                                                                                 \
    protected:                                                                                   \
        ~C##kind##Col() override;                                                                \
    };
#define KRXML_DECLARE_DATE_COLLECTION(kind, T)                                                   \
    class KRXML_API C##kind##Col : public CdatetimeBaseCol, public CInstanceMonitor                        \
    {                                                                                            \
    public:                                                                                      \
        explicit C##kind##Col(KRXML_TYPE_COLLECTION_ARGS);                                       \
        using CdatetimeBaseCol::AddAt;                                                           \
        void AddAt(int iIndex, const CDateTime& value) override;                                 \
                                                                                                 \
    protected:                                                                                   \
        ~C##kind##Col() override;                                                                \
        std::string ItemToString(const CDateTime& value) const override;                         \
        void AddFromString(std::string strValue) override;                                       \
    };
// Which form each family of kinds takes; a char has no collection.
#define KRXML_TYPE_COLLECTION_Binary KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Signed KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Unsigned KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Float KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Duration KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_DatePart KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_String KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Boolean KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Decimal KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Integer KRXML_DECLARE_TYPE_COLLECTION
#define KRXML_TYPE_COLLECTION_Date KRXML_DECLARE_DATE_COLLECTION
#define KRXML_TYPE_COLLECTION_Char(kind, T)
#define KRXML_TYPE_COLLECTION_OF_KIND(kind, number, T, storage, member, accessor, family, format) \
    KRXML_TYPE_COLLECTION_##family(kind, T)

KRXML_PRIMITIVE_KINDS(KRXML_TYPE_COLLECTION_OF_KIND)

} // namespace KrXmlLib16

#endif
