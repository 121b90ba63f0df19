// The one list of the value kinds, from which every per-kind table, switch and class is made:
// the variant's storage and accessors, the text conversions by kind, the facet checks, and
// whatever else has to treat all kinds alike. A kind added or changed here reaches all of them,
// and code that covers each kind by hand can't fall behind the list.
#ifndef KRXMLLIB_ITEMKINDS_H
#define KRXMLLIB_ITEMKINDS_H

#include "itemtype.h"

// X(kind, number, T, storage, member, accessor, family, format), one row per kind:
//
//   kind      the kind's name: ItemType_##kind is its enumerator, #kind the text that
//             KrVariant::GetType gives, CConversions::kind##ToString and kind##FromString its
//             conversions, C##kind##Col its typed collection
//   number    the ItemType value, as generated tables hold it
//   T         the C++ type of one value
//   storage   how a KrVariant holds it: Inline in its union, Owned as a private heap copy,
//             Counted as a shared object on which it holds one reference
//   member    the KrVariant union member
//   accessor  KrVariant::Set##accessor and Get##accessor
//   family    the kinds that behave alike: ItemFamily_##family
//   format    true where ToString has a second form that takes a format override
//
// The types are tokens here; code that expands a column of types includes their headers.
#define KRXML_PRIMITIVE_KINDS(X)                                                        \
    X(hexBinary, 1, CBinaryData, Owned, m_pBinaryData, HexBinary, Binary, false)         \
    X(base64Binary, 2, CBinaryData, Owned, m_pBinaryData, Base64Binary, Binary, false)   \
    X(i1, 3, int8_t, Inline, m_i1, I1, Signed, false)                                    \
    X(i2, 4, int16_t, Inline, m_i2, I2, Signed, false)                                   \
    X(i4, 5, int32_t, Inline, m_i4, I4, Signed, false)                                   \
    X(i8, 6, int64_t, Inline, m_i8, I8, Signed, false)                                   \
    X(ui1, 7, uint8_t, Inline, m_ui1, UI1, Unsigned, false)                              \
    X(ui2, 8, uint16_t, Inline, m_ui2, UI2, Unsigned, false)                             \
    X(ui4, 9, uint32_t, Inline, m_ui4, UI4, Unsigned, false)                             \
    X(ui8, 10, uint64_t, Inline, m_ui8, UI8, Unsigned, false)                            \
    X(r4, 11, float, Inline, m_r4, R4, Float, true)                                      \
    X(r8, 12, double, Inline, m_r8, R8, Float, true)                                     \
    X(duration, 13, CDateTimeSpan, Owned, m_pDuration, Duration, Duration, false)        \
    X(yearMonth, 14, CDateTime, Owned, m_pDateTime, YearMonth, Date, false)              \
    X(monthDay, 15, CDateTime, Owned, m_pDateTime, MonthDay, Date, false)                \
    X(year, 16, uint16_t, Inline, m_year, Year, DatePart, false)                         \
    X(month, 17, uint8_t, Inline, m_month, Month, DatePart, false)                       \
    X(day, 18, uint8_t, Inline, m_day, Day, DatePart, false)                             \
    X(date, 19, CDateTime, Owned, m_pDateTime, Date, Date, false)                        \
    X(datetime, 20, CDateTime, Owned, m_pDateTime, DateTime, Date, false)                \
    X(time, 21, CDateTime, Owned, m_pDateTime, Time, Date, false)                        \
    X(char, 22, char, Inline, m_char, Char, Char, false)                                 \
    X(string, 23, std::string, Owned, m_pString, String, String, false)                  \
    X(boolean, 24, bool, Inline, m_bool, Boolean, Boolean, false)                        \
    X(decimal, 25, CDecimal, Owned, m_pDecimal, Decimal, Decimal, true)                  \
    X(integer, 26, CBigInteger, Owned, m_pBigInteger, Integer, Integer, false)

// The two kinds that hold objects of bound classes. They have no text and no conversions.
#define KRXML_OBJECT_KINDS(X)                                                                       \
    X(XmlObjectBase, 27, CXmlObjectBase, Counted, m_pXmlObject, XmlObject, Object, false)           \
    X(XmlCollection, 28, CXmlCollectionBase, Counted, m_pXmlCol, XmlCollection, Object, false)

// All 28, in the order of their numbers.
#define KRXML_ITEM_KINDS(X) KRXML_PRIMITIVE_KINDS(X) KRXML_OBJECT_KINDS(X)

namespace KrXmlLib16 {

// Kinds that behave alike in text, facets and the value encodings.
enum ItemFamily
{
    ItemFamily_None,      // ItemType_Invalid and numbers outside the list
    ItemFamily_Binary,    // hexBinary, base64Binary: bytes in CBinaryData
    ItemFamily_Signed,    // i1 to i8
    ItemFamily_Unsigned,  // ui1 to ui8
    ItemFamily_Float,     // r4, r8
    ItemFamily_Duration,  // CDateTimeSpan
    ItemFamily_Date,      // yearMonth, monthDay, date, datetime, time: one CDateTime each
    ItemFamily_DatePart,  // year, month, day: the number alone
    ItemFamily_Char,
    ItemFamily_String,
    ItemFamily_Boolean,
    ItemFamily_Decimal,
    ItemFamily_Integer,   // CBigInteger
    ItemFamily_Object     // XmlObjectBase, XmlCollection
};

enum ItemStorage
{
    ItemStorage_None,
    ItemStorage_Inline,
    ItemStorage_Owned,
    ItemStorage_Counted
};

// The list and the enumeration agree.
#define KRXML_ITEM_KIND_CHECK(kind, number, ...) \
    static_assert(ItemType_##kind == number, "the kind list gives ItemType_" #kind " another number");
KRXML_ITEM_KINDS(KRXML_ITEM_KIND_CHECK)
#undef KRXML_ITEM_KIND_CHECK

// The kind's name for kinds 1 to 26, else null.
constexpr const char* ItemKindName(ItemType eType)
{
    switch (eType)
    {
#define KRXML_ITEM_KIND_NAME(kind, ...) \
    case ItemType_##kind: return #kind;
        KRXML_PRIMITIVE_KINDS(KRXML_ITEM_KIND_NAME)
#undef KRXML_ITEM_KIND_NAME
    default: return nullptr;
    }
}

// Kinds 1 to 26, the ones with a text form.
constexpr bool IsPrimitiveKind(ItemType eType)
{
    return eType >= ItemType_hexBinary && eType <= ItemType_integer;
}

constexpr ItemFamily ItemKindFamily(ItemType eType)
{
    switch (eType)
    {
#define KRXML_ITEM_KIND_FAMILY(kind, number, T, storage, member, accessor, family, ...) \
    case ItemType_##kind: return ItemFamily_##family;
        KRXML_ITEM_KINDS(KRXML_ITEM_KIND_FAMILY)
#undef KRXML_ITEM_KIND_FAMILY
    default: return ItemFamily_None;
    }
}

constexpr ItemStorage ItemKindStorage(ItemType eType)
{
    switch (eType)
    {
#define KRXML_ITEM_KIND_STORAGE(kind, number, T, storage, ...) \
    case ItemType_##kind: return ItemStorage_##storage;
        KRXML_ITEM_KINDS(KRXML_ITEM_KIND_STORAGE)
#undef KRXML_ITEM_KIND_STORAGE
    default: return ItemStorage_None;
    }
}

// The five kinds that hold a whole CDateTime.
constexpr bool IsDateKind(ItemType eType)
{
    return ItemKindFamily(eType) == ItemFamily_Date;
}

// r4, r8 and decimal: the kinds whose text a format override changes.
constexpr bool TakesFormatOverride(ItemType eType)
{
    switch (eType)
    {
#define KRXML_ITEM_KIND_FORMAT(kind, number, T, storage, member, accessor, family, format) \
    case ItemType_##kind: return format;
        KRXML_PRIMITIVE_KINDS(KRXML_ITEM_KIND_FORMAT)
#undef KRXML_ITEM_KIND_FORMAT
    default: return false;
    }
}

} // namespace KrXmlLib16

#endif
