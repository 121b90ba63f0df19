#include "xmltypecollection.h"

#include "conversions.h"
#include "functions.h"
#include "krexception.h"
#include "serializationcontext.h"
#include "xmlelement.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

// ---- CXmlTypeCollection ----

CXmlTypeCollection::CXmlTypeCollection(ItemType eItemType, KRXML_TYPE_COLLECTION_ARGS)
    : CXmlCollectionBase(lpElementName, lpNamespace, iMinOccurs, iMaxOccurs),
      m_restrictions(pattern, minLength, maxLength, minInclusive, maxInclusive, minExclusive, maxExclusive, length,
                     totalDigits, fractionDigits),
      m_eItemType(eItemType),
      m_strFormatOverride(formatOverride ? formatOverride : ""),
      m_eWhitespaceRule(eWhitespaceRule)
{
}

CXmlTypeCollection::~CXmlTypeCollection() = default;

CXmlElement* CXmlTypeCollection::FromXml_Int(CXmlElement*, CXmlElement* pCursor, const CSerializationContext& ctx,
                                             bool)
{
    const std::string& strName = ElementName();
    while (pCursor && DoesElementNameMatch(ctx, pCursor, strName.c_str(), m_strNamespace.c_str()))
    {
        AddFromString(pCursor->GetText());
        pCursor = pCursor->GetNextSiblingElement();
    }
    return pCursor;
}

void CXmlTypeCollection::ThrowIndexOutOfRange(int iIndex) const
{
    throw CKrInvalidParamException(FormatString("Index %d is out of range, use 0 - %d", iIndex, GetCount() - 1));
}

void CXmlTypeCollection::ThrowInsertOutOfRange()
{
    throw CKrInvalidParamException("Index out of range");
}

namespace {

// An empty format text means none, for every kind.
template <ItemType K>
std::string KindToString(const typename ItemKind<K>::Type& value, const std::string& strFormat)
{
    return strFormat.empty() ? ItemKind<K>::ToString(value) : ItemKind<K>::ToString(value, strFormat);
}

// The date kind each date collection admits.
template <ItemType K>
struct RequiredDate;
#define KRXML_REQUIRED_DATE(K, eDateType)                                                                 \
    template <>                                                                                           \
    struct RequiredDate<K>                                                                                \
    {                                                                                                     \
        static const CDateTime::DTType eType = CDateTime::eDateType;                                      \
        static const char* Message() { return "Dates added to this collection must be of type " #eDateType; } \
    };
KRXML_REQUIRED_DATE(ItemType_datetime, dt_dateTime)
KRXML_REQUIRED_DATE(ItemType_date, dt_date)
KRXML_REQUIRED_DATE(ItemType_time, dt_time)
KRXML_REQUIRED_DATE(ItemType_yearMonth, dt_gYearMonth)
KRXML_REQUIRED_DATE(ItemType_monthDay, dt_gMonthDay)
#undef KRXML_REQUIRED_DATE

} // namespace

// ---- CXmlTypeCollectionOf ----

// The add event comes first, so a listener sees even an add that then fails its range or
// facet check; the complete and change events follow only a stored value.
template <ItemType K, typename T>
void CXmlTypeCollectionOf<K, T>::AddAt(int iIndex, ArgType value)
{
    FireOnCollectionAdd(const_cast<T*>(&value));
    if (iIndex < 0 || iIndex > GetCount())
        ThrowInsertOutOfRange();
    ValidatePrimitive<K>(ElementName().c_str(), value, &m_restrictions);
    m_items.insert(m_items.begin() + iIndex, value);
    FireOnCollectionAddComplete(const_cast<T*>(&value));
    FireOnCollectionChange();
}

template <ItemType K, typename T>
void CXmlTypeCollectionOf<K, T>::Remove(int iIndex)
{
    FireOnCollectionRemove(iIndex);
    if (iIndex < 0 || iIndex >= GetCount())
        ThrowIndexOutOfRange(iIndex);
    m_items.erase(m_items.begin() + iIndex);
    FireOnCollectionRemoveComplete(iIndex);
    FireOnCollectionChange();
}

template <ItemType K, typename T>
void CXmlTypeCollectionOf<K, T>::AddFromString(std::string strValue)
{
    Add(ItemKind<K>::FromString(strValue, m_eWhitespaceRule));
}

// Items go out under the collection's own name and namespace; a collection has no default.
template <ItemType K, typename T>
void CXmlTypeCollectionOf<K, T>::ToXml_Int(CXmlWriter* pWriter, bool, const char*, const CSerializationContext& ctx,
                                           bool) const
{
    ValidateCount(ctx);
    const std::string& strName = ElementName();
    for (const T& item : m_items)
    {
        pWriter->StartElement(strName, m_strNamespace);
        pWriter->WriteElementText(KindToString<K>(item, m_strFormatOverride), K, false);
        pWriter->EndElement();
    }
}

// The definitions of each leaf, chosen by family as the declarations are.
#undef KRXML_DECLARE_TYPE_COLLECTION
#undef KRXML_DECLARE_DATE_COLLECTION
#define KRXML_DEFINE_TYPE_COLLECTION(kind, T)                                                           \
    template class CXmlTypeCollectionOf<ItemType_##kind, T>;                                             \
    C##kind##Col::C##kind##Col(KRXML_TYPE_COLLECTION_ARGS)                                               \
        : CXmlTypeCollectionOf<ItemType_##kind, T>(KRXML_TYPE_COLLECTION_PASS), CInstanceMonitor("C" #kind "Col") \
    {                                                                                                    \
    }                                                                                                    \
    C##kind##Col::~C##kind##Col() = default;

// ---- CdatetimeBaseCol ----

CdatetimeBaseCol::CdatetimeBaseCol(ItemType eItemType, KRXML_TYPE_COLLECTION_ARGS)
    : CXmlTypeCollection(eItemType, KRXML_TYPE_COLLECTION_PASS)
{
}

void CdatetimeBaseCol::Clear()
{
    while (GetCount() > 0)
        Remove(0);
}

void CdatetimeBaseCol::Remove(int iIndex)
{
    FireOnCollectionRemove(iIndex);
    if (iIndex < 0 || iIndex >= GetCount())
        ThrowIndexOutOfRange(iIndex);
    m_items.erase(m_items.begin() + iIndex);
    FireOnCollectionRemoveComplete(iIndex);
    FireOnCollectionChange();
}

void CdatetimeBaseCol::Add(const CDateTime& value)
{
    AddAt(GetCount(), value);
}

CDateTime CdatetimeBaseCol::Item(int iIndex) const
{
    if (iIndex < 0 || iIndex >= GetCount())
        ThrowIndexOutOfRange(iIndex);
    return m_items[static_cast<size_t>(iIndex)];
}

void CdatetimeBaseCol::BaseAddAt(int iIndex, const CDateTime& value)
{
    FireOnCollectionAdd(const_cast<CDateTime*>(&value));
    if (iIndex < 0 || iIndex > GetCount())
        ThrowInsertOutOfRange();
    m_items.insert(m_items.begin() + iIndex, value);
    FireOnCollectionAddComplete(const_cast<CDateTime*>(&value));
    FireOnCollectionChange();
}

void CdatetimeBaseCol::RequireDateType(const CDateTime& value, CDateTime::DTType eType, const char* lpMessage)
{
    if (value.GetType() != eType)
        throw CKrInvalidParamException(lpMessage);
}

// Every date kind goes to the writer as a dateTime, whatever its own kind.
void CdatetimeBaseCol::ToXml_Int(CXmlWriter* pWriter, bool, const char*, const CSerializationContext& ctx, bool) const
{
    ValidateCount(ctx);
    const std::string& strName = ElementName();
    for (const CDateTime& item : m_items)
    {
        pWriter->StartElement(strName, m_strNamespace);
        pWriter->WriteElementText(ItemToString(item), ItemType_datetime, false);
        pWriter->EndElement();
    }
}

// The kind test comes first, then the facets, so that the add events fire only for a value
// that passes both.
#define KRXML_DEFINE_DATE_COLLECTION(kind, T)                                                            \
    C##kind##Col::C##kind##Col(KRXML_TYPE_COLLECTION_ARGS)                                               \
        : CdatetimeBaseCol(ItemType_##kind, KRXML_TYPE_COLLECTION_PASS), CInstanceMonitor("C" #kind "Col") \
    {                                                                                                    \
    }                                                                                                    \
    C##kind##Col::~C##kind##Col() = default;                                                             \
    void C##kind##Col::AddAt(int iIndex, const CDateTime& value)                                         \
    {                                                                                                    \
        RequireDateType(value, RequiredDate<ItemType_##kind>::eType, RequiredDate<ItemType_##kind>::Message()); \
        ValidatePrimitive<ItemType_##kind>(ElementName().c_str(), value, &m_restrictions);              \
        BaseAddAt(iIndex, value);                                                                        \
    }                                                                                                    \
    std::string C##kind##Col::ItemToString(const CDateTime& value) const                                 \
    {                                                                                                    \
        return KindToString<ItemType_##kind>(value, m_strFormatOverride);                                \
    }                                                                                                    \
    void C##kind##Col::AddFromString(std::string strValue)                                               \
    {                                                                                                    \
        Add(ItemKind<ItemType_##kind>::FromString(strValue, m_eWhitespaceRule));                         \
    }

#define KRXML_DECLARE_TYPE_COLLECTION KRXML_DEFINE_TYPE_COLLECTION
#define KRXML_DECLARE_DATE_COLLECTION KRXML_DEFINE_DATE_COLLECTION
KRXML_PRIMITIVE_KINDS(KRXML_TYPE_COLLECTION_OF_KIND)

} // namespace KrXmlLib16
