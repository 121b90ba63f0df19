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

// ---- the text of each kind ----

namespace {

template <ItemType K>
struct KindText;

#define KRXML_KIND_TEXT(Kind, Stem)                                                                     \
    template <>                                                                                         \
    struct KindText<Kind>                                                                               \
    {                                                                                                   \
        typedef PrimitiveValueType<Kind>::Type Type;                                                    \
        static std::string ToString(const Type& value, const std::string&)                              \
        {                                                                                               \
            return CConversions::Stem##ToString(value);                                                 \
        }                                                                                               \
        static Type FromString(const std::string& strValue, CWhitespaceUtils::WhitespaceRule eRule)     \
        {                                                                                               \
            return CConversions::Stem##FromString(strValue, eRule);                                     \
        }                                                                                               \
    };
// Kinds whose text a format override may shape.
#define KRXML_KIND_TEXT_FORMATTED(Kind, Stem)                                                           \
    template <>                                                                                         \
    struct KindText<Kind>                                                                               \
    {                                                                                                   \
        typedef PrimitiveValueType<Kind>::Type Type;                                                    \
        static std::string ToString(const Type& value, const std::string& strFormat)                    \
        {                                                                                               \
            return strFormat.empty() ? CConversions::Stem##ToString(value)                              \
                                     : CConversions::Stem##ToString(value, strFormat);                  \
        }                                                                                               \
        static Type FromString(const std::string& strValue, CWhitespaceUtils::WhitespaceRule eRule)     \
        {                                                                                               \
            return CConversions::Stem##FromString(strValue, eRule);                                     \
        }                                                                                               \
    };

KRXML_KIND_TEXT(ItemType_base64Binary, base64Binary)
KRXML_KIND_TEXT(ItemType_hexBinary, hexBinary)
KRXML_KIND_TEXT(ItemType_boolean, boolean)
KRXML_KIND_TEXT(ItemType_i1, i1)
KRXML_KIND_TEXT(ItemType_i2, i2)
KRXML_KIND_TEXT(ItemType_i4, i4)
KRXML_KIND_TEXT(ItemType_i8, i8)
KRXML_KIND_TEXT(ItemType_ui1, ui1)
KRXML_KIND_TEXT(ItemType_ui2, ui2)
KRXML_KIND_TEXT(ItemType_ui4, ui4)
KRXML_KIND_TEXT(ItemType_ui8, ui8)
KRXML_KIND_TEXT_FORMATTED(ItemType_r4, r4)
KRXML_KIND_TEXT_FORMATTED(ItemType_r8, r8)
KRXML_KIND_TEXT_FORMATTED(ItemType_decimal, decimal)
KRXML_KIND_TEXT(ItemType_integer, integer)
KRXML_KIND_TEXT(ItemType_string, string)
KRXML_KIND_TEXT(ItemType_duration, duration)
KRXML_KIND_TEXT(ItemType_year, year)
KRXML_KIND_TEXT(ItemType_month, month)
KRXML_KIND_TEXT(ItemType_day, day)
KRXML_KIND_TEXT(ItemType_datetime, datetime)
KRXML_KIND_TEXT(ItemType_date, date)
KRXML_KIND_TEXT(ItemType_time, time)
KRXML_KIND_TEXT(ItemType_yearMonth, yearMonth)
KRXML_KIND_TEXT(ItemType_monthDay, monthDay)

#undef KRXML_KIND_TEXT
#undef KRXML_KIND_TEXT_FORMATTED

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
    Add(KindText<K>::FromString(strValue, m_eWhitespaceRule));
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
        pWriter->WriteElementText(KindText<K>::ToString(item, m_strFormatOverride), K, false);
        pWriter->EndElement();
    }
}

#define KRXML_DEFINE_TYPE_COLLECTION(Name, Kind, Type)                                        \
    template class CXmlTypeCollectionOf<Kind, Type>;                                          \
    Name::Name(KRXML_TYPE_COLLECTION_ARGS)                                                    \
        : CXmlTypeCollectionOf<Kind, Type>(KRXML_TYPE_COLLECTION_PASS), CInstanceMonitor(#Name) \
    {                                                                                         \
    }                                                                                         \
    Name::~Name() = default;

KRXML_DEFINE_TYPE_COLLECTION(Cbase64BinaryCol, ItemType_base64Binary, CBinaryData)
KRXML_DEFINE_TYPE_COLLECTION(ChexBinaryCol, ItemType_hexBinary, CBinaryData)
KRXML_DEFINE_TYPE_COLLECTION(CbooleanCol, ItemType_boolean, bool)
KRXML_DEFINE_TYPE_COLLECTION(Ci1Col, ItemType_i1, int8_t)
KRXML_DEFINE_TYPE_COLLECTION(Ci2Col, ItemType_i2, int16_t)
KRXML_DEFINE_TYPE_COLLECTION(Ci4Col, ItemType_i4, int32_t)
KRXML_DEFINE_TYPE_COLLECTION(Ci8Col, ItemType_i8, int64_t)
KRXML_DEFINE_TYPE_COLLECTION(Cui1Col, ItemType_ui1, uint8_t)
KRXML_DEFINE_TYPE_COLLECTION(Cui2Col, ItemType_ui2, uint16_t)
KRXML_DEFINE_TYPE_COLLECTION(Cui4Col, ItemType_ui4, uint32_t)
KRXML_DEFINE_TYPE_COLLECTION(Cui8Col, ItemType_ui8, uint64_t)
KRXML_DEFINE_TYPE_COLLECTION(Cr4Col, ItemType_r4, float)
KRXML_DEFINE_TYPE_COLLECTION(Cr8Col, ItemType_r8, double)
KRXML_DEFINE_TYPE_COLLECTION(CdecimalCol, ItemType_decimal, CDecimal)
KRXML_DEFINE_TYPE_COLLECTION(CintegerCol, ItemType_integer, CBigInteger)
KRXML_DEFINE_TYPE_COLLECTION(CstringCol, ItemType_string, std::string)
KRXML_DEFINE_TYPE_COLLECTION(CdurationCol, ItemType_duration, CDateTimeSpan)
KRXML_DEFINE_TYPE_COLLECTION(CyearCol, ItemType_year, uint16_t)
KRXML_DEFINE_TYPE_COLLECTION(CmonthCol, ItemType_month, uint8_t)
KRXML_DEFINE_TYPE_COLLECTION(CdayCol, ItemType_day, uint8_t)

#undef KRXML_DEFINE_TYPE_COLLECTION

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
#define KRXML_DEFINE_DATE_COLLECTION(Name, Kind, eDateType)                                           \
    Name::Name(KRXML_TYPE_COLLECTION_ARGS)                                                            \
        : CdatetimeBaseCol(Kind, KRXML_TYPE_COLLECTION_PASS), CInstanceMonitor(#Name)                 \
    {                                                                                                 \
    }                                                                                                 \
    Name::~Name() = default;                                                                          \
    void Name::AddAt(int iIndex, const CDateTime& value)                                              \
    {                                                                                                 \
        RequireDateType(value, CDateTime::eDateType, "Dates added to this collection must be of type " #eDateType); \
        ValidatePrimitive<Kind>(ElementName().c_str(), value, &m_restrictions);                      \
        BaseAddAt(iIndex, value);                                                                     \
    }                                                                                                 \
    std::string Name::ItemToString(const CDateTime& value) const                                     \
    {                                                                                                 \
        return KindText<Kind>::ToString(value, m_strFormatOverride);                                  \
    }                                                                                                 \
    void Name::AddFromString(std::string strValue)                                                    \
    {                                                                                                 \
        Add(KindText<Kind>::FromString(strValue, m_eWhitespaceRule));                                 \
    }

KRXML_DEFINE_DATE_COLLECTION(CdatetimeCol, ItemType_datetime, dt_dateTime)
KRXML_DEFINE_DATE_COLLECTION(CdateCol, ItemType_date, dt_date)
KRXML_DEFINE_DATE_COLLECTION(CtimeCol, ItemType_time, dt_time)
KRXML_DEFINE_DATE_COLLECTION(CyearMonthCol, ItemType_yearMonth, dt_gYearMonth)
KRXML_DEFINE_DATE_COLLECTION(CmonthDayCol, ItemType_monthDay, dt_gMonthDay)

#undef KRXML_DEFINE_DATE_COLLECTION

} // namespace KrXmlLib16
