#include "primitiverestrictions.h"

#include <string>

#include "conversions.h"
#include "encoder.h"
#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

CPrimitiveRestrictions::CPrimitiveRestrictions()
    : m_lMinLength(-1), m_lMaxLength(-1), m_lLength(-1), m_lTotalDigits(-1), m_lFractionDigits(-1)
{
}

CPrimitiveRestrictions::CPrimitiveRestrictions(const char* pattern, int32_t minLength, int32_t maxLength,
                                               const char* minInclusive, const char* maxInclusive,
                                               const char* minExclusive, const char* maxExclusive, int32_t length,
                                               int32_t totalDigits, int32_t fractionDigits)
    : m_strPattern(pattern ? pattern : ""),
      m_lMinLength(minLength),
      m_lMaxLength(maxLength),
      m_strMinInclusive(minInclusive ? minInclusive : ""),
      m_strMaxInclusive(maxInclusive ? maxInclusive : ""),
      m_strMinExclusive(minExclusive ? minExclusive : ""),
      m_strMaxExclusive(maxExclusive ? maxExclusive : ""),
      m_lLength(length),
      m_lTotalDigits(totalDigits),
      m_lFractionDigits(fractionDigits)
{
}

CPrimitiveRestrictions::~CPrimitiveRestrictions() = default;

namespace {

const CWhitespaceUtils::WhitespaceRule kBoundRule = CWhitespaceUtils::WhitespaceRule_Collapse;

// How a kind is checked and how its failure is reported.
enum Category
{
    Cat_Binary,       // lengths in bytes
    Cat_SmallInt,     // bounds, totalDigits; message with %d
    Cat_WideInt,      // bounds, totalDigits; message with the decimal text
    Cat_Float,        // bounds; message with %f
    Cat_Dated,        // four-valued bounds
    Cat_CalendarPart, // year, month, day: bounds; message with %d
    Cat_String,       // lengths in bytes, then the pattern
    Cat_Boolean,      // nothing to check
    Cat_Decimal,      // bounds, totalDigits, fractionDigits
    Cat_Integer       // bounds, totalDigits
};

template <ItemType K> struct Kind;

#define KR_KIND(K, CAT, NAME)                                                             \
    template <> struct Kind<K>                                                           \
    {                                                                                    \
        typedef PrimitiveValueType<K>::Type T;                                           \
        static const Category category = CAT;                                            \
        static T Parse(const std::string& s) { return CConversions::NAME##FromString(s, kBoundRule); } \
        static std::string Text(const T& v) { return CConversions::NAME##ToString(v); }  \
    };

KR_KIND(ItemType_hexBinary, Cat_Binary, hexBinary)
KR_KIND(ItemType_base64Binary, Cat_Binary, base64Binary)
KR_KIND(ItemType_i1, Cat_SmallInt, i1)
KR_KIND(ItemType_i2, Cat_SmallInt, i2)
KR_KIND(ItemType_i4, Cat_SmallInt, i4)
KR_KIND(ItemType_i8, Cat_WideInt, i8)
KR_KIND(ItemType_ui1, Cat_SmallInt, ui1)
KR_KIND(ItemType_ui2, Cat_SmallInt, ui2)
KR_KIND(ItemType_ui4, Cat_SmallInt, ui4)
KR_KIND(ItemType_ui8, Cat_WideInt, ui8)
KR_KIND(ItemType_r4, Cat_Float, r4)
KR_KIND(ItemType_r8, Cat_Float, r8)
KR_KIND(ItemType_duration, Cat_Dated, duration)
KR_KIND(ItemType_yearMonth, Cat_Dated, yearMonth)
KR_KIND(ItemType_monthDay, Cat_Dated, monthDay)
KR_KIND(ItemType_year, Cat_CalendarPart, year)
KR_KIND(ItemType_month, Cat_CalendarPart, month)
KR_KIND(ItemType_day, Cat_CalendarPart, day)
KR_KIND(ItemType_date, Cat_Dated, date)
KR_KIND(ItemType_datetime, Cat_Dated, datetime)
KR_KIND(ItemType_time, Cat_Dated, time)
KR_KIND(ItemType_string, Cat_String, string)
KR_KIND(ItemType_boolean, Cat_Boolean, boolean)
KR_KIND(ItemType_decimal, Cat_Decimal, decimal)
KR_KIND(ItemType_integer, Cat_Integer, integer)

#undef KR_KIND

// minInclusive, maxInclusive, minExclusive, maxExclusive in that order, by the kind's own
// operators; for floats these are IEEE comparisons, so a NaN fails every bound present.
template <class Traits>
bool OrderedBoundsPass(const typename Traits::T& v, const CPrimitiveRestrictions& f)
{
    bool pass = true;
    if (!f.m_strMinInclusive.empty())
        pass = v >= Traits::Parse(f.m_strMinInclusive);
    if (pass && !f.m_strMaxInclusive.empty())
        pass = v <= Traits::Parse(f.m_strMaxInclusive);
    if (pass && !f.m_strMinExclusive.empty())
        pass = v > Traits::Parse(f.m_strMinExclusive);
    if (pass && !f.m_strMaxExclusive.empty())
        pass = v < Traits::Parse(f.m_strMaxExclusive);
    return pass;
}

// Dates and durations are only partly ordered: a comparison that can't be decided counts in
// the value's favour.
template <class Traits>
bool PartialBoundsPass(const typename Traits::T& v, const CPrimitiveRestrictions& f)
{
    bool pass = true;
    if (!f.m_strMinInclusive.empty())
        pass = v.CompareTo(Traits::Parse(f.m_strMinInclusive)) != CDateTime::dtcLess;
    if (pass && !f.m_strMaxInclusive.empty())
        pass = v.CompareTo(Traits::Parse(f.m_strMaxInclusive)) != CDateTime::dtcGreater;
    if (pass && !f.m_strMinExclusive.empty())
    {
        CDateTime::DTCompareResult r = v.CompareTo(Traits::Parse(f.m_strMinExclusive));
        pass = r == CDateTime::dtcGreater || r == CDateTime::dtcIndeterminate;
    }
    if (pass && !f.m_strMaxExclusive.empty())
    {
        CDateTime::DTCompareResult r = v.CompareTo(Traits::Parse(f.m_strMaxExclusive));
        pass = r == CDateTime::dtcLess || r == CDateTime::dtcIndeterminate;
    }
    return pass;
}

bool LengthsPass(size_t nLength, const CPrimitiveRestrictions& f)
{
    if (f.m_lMinLength >= 0 && nLength < static_cast<size_t>(f.m_lMinLength))
        return false;
    if (f.m_lMaxLength >= 0 && nLength > static_cast<size_t>(f.m_lMaxLength))
        return false;
    if (f.m_lLength >= 0 && nLength != static_cast<size_t>(f.m_lLength))
        return false;
    return true;
}

bool TotalDigitsPass(size_t nDigits, const CPrimitiveRestrictions& f)
{
    return f.m_lTotalDigits < 0 || nDigits <= static_cast<size_t>(f.m_lTotalDigits);
}

// Counts the digits a decimal holds: none for a zero part, and for the fraction as many as
// the value keeps, so that trailing zeros of the text don't count.
bool DecimalDigitsPass(const CDecimal& v, const CPrimitiveRestrictions& f)
{
    if (f.m_lTotalDigits < 0 && f.m_lFractionDigits < 0)
        return true;
    CBigInteger integerPart = v.GetIntegerPart();
    size_t nInteger = integerPart.IsZero() ? 0 : integerPart.GetAbs().ToString().size();
    size_t nFraction = v.GetFractionPart().IsZero() ? 0 : static_cast<size_t>(v.GetFractionDivider());
    if (!TotalDigitsPass(nInteger + nFraction, f))
        return false;
    return f.m_lFractionDigits < 0 || nFraction <= static_cast<size_t>(f.m_lFractionDigits);
}

bool PatternPasses(const char* name, const std::string& value, const std::string& strPattern)
{
    try
    {
        // Most patterns are ASCII and need no conversion or copy.
        CUtf8IdentityCheck identity;
        identity.Feed(strPattern.data(), strPattern.size());
        if (identity.IsIdentity())
            return MatchesPattern(strPattern, value);
        CBinaryData utf8 = LocalToUtf8(strPattern.data(), strPattern.size());
        return MatchesPattern(std::string(reinterpret_cast<const char*>(utf8.GetData()), utf8.GetLength()), value);
    }
    catch (const CKrException& e)
    {
        throw CKrException(
            FormatString("%s\nInvalid Value for %s [%s].", e.GetFullMessage().c_str(), name, value.c_str()));
    }
}

template <ItemType K>
[[noreturn]] void ThrowInvalid(const char* name, const typename Kind<K>::T& value)
{
    constexpr Category cat = Kind<K>::category;
    if constexpr (K == ItemType_ui4)
        throw CKrException(FormatString("Invalid Value for %s [%u]", name, static_cast<unsigned>(value)));
    else if constexpr (cat == Cat_SmallInt || cat == Cat_CalendarPart)
        throw CKrException(FormatString("Invalid Value for %s [%d]", name, static_cast<int>(value)));
    else if constexpr (cat == Cat_Float)
        throw CKrException(FormatString("Invalid Value for %s [%f]", name, static_cast<double>(value)));
    else if constexpr (cat == Cat_String)
        throw CKrException(FormatString("Invalid Value for %s [%s].", name, value.c_str()));
    else if constexpr (cat == Cat_Binary || cat == Cat_WideInt)
        throw CKrException(FormatString("Invalid Value for %s [%s].", name, Kind<K>::Text(value).c_str()));
    else
        throw CKrException(FormatString("Invalid Value for %s [%s].", name, value.ToString().c_str()));
}

// Most rows restrict nothing; for them the value need not even be read out of the variant.
bool HasAnyFacet(const CPrimitiveRestrictions& f)
{
    return !f.m_strPattern.empty() || !f.m_strMinInclusive.empty() || !f.m_strMaxInclusive.empty() ||
           !f.m_strMinExclusive.empty() || !f.m_strMaxExclusive.empty() || f.m_lMinLength >= 0 ||
           f.m_lMaxLength >= 0 || f.m_lLength >= 0 || f.m_lTotalDigits >= 0 || f.m_lFractionDigits >= 0;
}

std::string UnknownTypeText(const KrVariant& value)
{
    try
    {
        return value.GetType();
    }
    catch (const CKrException&)
    {
        // A kind without a name (0, 27, 28 or garbage) is shown by its number.
        return std::to_string(static_cast<int>(value.GetTypeAsEnum()));
    }
}

template <ItemType K>
void CheckFacets(const char* name, const typename Kind<K>::T& value, const CPrimitiveRestrictions& f)
{
    typedef Kind<K> Traits;
    constexpr Category cat = Traits::category;
    bool pass = true;
    if constexpr (cat == Cat_Binary)
        pass = LengthsPass(value.GetLength(), f);
    else if constexpr (cat == Cat_String)
        pass = LengthsPass(value.size(), f) && (f.m_strPattern.empty() || PatternPasses(name, value, f.m_strPattern));
    else if constexpr (cat == Cat_Dated)
        pass = PartialBoundsPass<Traits>(value, f);
    else
    {
        pass = OrderedBoundsPass<Traits>(value, f);
        if constexpr (cat == Cat_SmallInt || cat == Cat_WideInt)
            pass = pass && TotalDigitsPass(Traits::Text(value).size(), f);
        else if constexpr (cat == Cat_Integer)
            pass = pass && TotalDigitsPass(value.ToString().size(), f);
        else if constexpr (cat == Cat_Decimal)
            pass = pass && DecimalDigitsPass(value, f);
    }
    if (!pass)
        ThrowInvalid<K>(name, value);
}

} // namespace

template <ItemType K>
void ValidatePrimitive(const char* name, const typename PrimitiveValueType<K>::Type& value,
                       const CPrimitiveRestrictions* facets)
{
    typedef Kind<K> Traits;
    constexpr Category cat = Traits::category;
    // A boolean has no facet that could fail.
    if constexpr (cat != Cat_Boolean)
    {
        if (facets)
            CheckFacets<K>(name, value, *facets);
    }
    else
    {
        (void)name;
        (void)value;
        (void)facets;
    }
}

#define KR_INSTANTIATE(K)                                                                                  \
    template void ValidatePrimitive<K>(const char*, const PrimitiveValueType<K>::Type&,                    \
                                       const CPrimitiveRestrictions*);
KR_INSTANTIATE(ItemType_hexBinary)
KR_INSTANTIATE(ItemType_base64Binary)
KR_INSTANTIATE(ItemType_i1)
KR_INSTANTIATE(ItemType_i2)
KR_INSTANTIATE(ItemType_i4)
KR_INSTANTIATE(ItemType_i8)
KR_INSTANTIATE(ItemType_ui1)
KR_INSTANTIATE(ItemType_ui2)
KR_INSTANTIATE(ItemType_ui4)
KR_INSTANTIATE(ItemType_ui8)
KR_INSTANTIATE(ItemType_r4)
KR_INSTANTIATE(ItemType_r8)
KR_INSTANTIATE(ItemType_duration)
KR_INSTANTIATE(ItemType_yearMonth)
KR_INSTANTIATE(ItemType_monthDay)
KR_INSTANTIATE(ItemType_year)
KR_INSTANTIATE(ItemType_month)
KR_INSTANTIATE(ItemType_day)
KR_INSTANTIATE(ItemType_date)
KR_INSTANTIATE(ItemType_datetime)
KR_INSTANTIATE(ItemType_time)
KR_INSTANTIATE(ItemType_string)
KR_INSTANTIATE(ItemType_boolean)
KR_INSTANTIATE(ItemType_decimal)
KR_INSTANTIATE(ItemType_integer)
#undef KR_INSTANTIATE

void ValidatePrimitive(const char* name, const KrVariant& value, ItemType type, const CPrimitiveRestrictions* facets)
{
    if (type < ItemType_hexBinary || type > ItemType_integer || type == ItemType_char)
        throw CKrInvalidValueException("Unknown type [" + UnknownTypeText(value) + "].");
    if (!facets || value.IsNil() || !HasAnyFacet(*facets))
        return;

    switch (type)
    {
    case ItemType_hexBinary: ValidatePrimitive<ItemType_hexBinary>(name, value.GetHexBinary(), facets); break;
    case ItemType_base64Binary: ValidatePrimitive<ItemType_base64Binary>(name, value.GetBase64Binary(), facets); break;
    case ItemType_i1: ValidatePrimitive<ItemType_i1>(name, value.GetI1(), facets); break;
    case ItemType_i2: ValidatePrimitive<ItemType_i2>(name, value.GetI2(), facets); break;
    case ItemType_i4: ValidatePrimitive<ItemType_i4>(name, value.GetI4(), facets); break;
    case ItemType_i8: ValidatePrimitive<ItemType_i8>(name, value.GetI8(), facets); break;
    case ItemType_ui1: ValidatePrimitive<ItemType_ui1>(name, value.GetUI1(), facets); break;
    case ItemType_ui2: ValidatePrimitive<ItemType_ui2>(name, value.GetUI2(), facets); break;
    case ItemType_ui4: ValidatePrimitive<ItemType_ui4>(name, value.GetUI4(), facets); break;
    case ItemType_ui8: ValidatePrimitive<ItemType_ui8>(name, value.GetUI8(), facets); break;
    case ItemType_r4: ValidatePrimitive<ItemType_r4>(name, value.GetR4(), facets); break;
    case ItemType_r8: ValidatePrimitive<ItemType_r8>(name, value.GetR8(), facets); break;
    case ItemType_duration: ValidatePrimitive<ItemType_duration>(name, value.GetDuration(), facets); break;
    case ItemType_yearMonth: ValidatePrimitive<ItemType_yearMonth>(name, value.GetYearMonth(), facets); break;
    case ItemType_monthDay: ValidatePrimitive<ItemType_monthDay>(name, value.GetMonthDay(), facets); break;
    case ItemType_year: ValidatePrimitive<ItemType_year>(name, value.GetYear(), facets); break;
    case ItemType_month: ValidatePrimitive<ItemType_month>(name, value.GetMonth(), facets); break;
    case ItemType_day: ValidatePrimitive<ItemType_day>(name, value.GetDay(), facets); break;
    case ItemType_date: ValidatePrimitive<ItemType_date>(name, value.GetDate(), facets); break;
    case ItemType_datetime: ValidatePrimitive<ItemType_datetime>(name, value.GetDateTime(), facets); break;
    case ItemType_time: ValidatePrimitive<ItemType_time>(name, value.GetTime(), facets); break;
    case ItemType_string: ValidatePrimitive<ItemType_string>(name, value.GetString(), facets); break;
    case ItemType_boolean: break;
    case ItemType_decimal: ValidatePrimitive<ItemType_decimal>(name, value.GetDecimal(), facets); break;
    case ItemType_integer: ValidatePrimitive<ItemType_integer>(name, value.GetInteger(), facets); break;
    default: break;
    }
}

} // namespace KrXmlLib16
