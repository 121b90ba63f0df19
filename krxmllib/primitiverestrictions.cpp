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
    Cat_Integer,      // bounds, totalDigits
    Cat_Unsupported   // char: no facets, and no check either
};

// The check of a kind follows from its family; the integers of up to 32 bits print their value
// with %d, the wider ones as text.
template <ItemType K>
constexpr Category CategoryOf()
{
    switch (ItemKind<K>::eFamily)
    {
    case ItemFamily_Binary: return Cat_Binary;
    case ItemFamily_Signed:
    case ItemFamily_Unsigned: return sizeof(typename ItemKind<K>::Type) <= 4 ? Cat_SmallInt : Cat_WideInt;
    case ItemFamily_Float: return Cat_Float;
    case ItemFamily_Duration:
    case ItemFamily_Date: return Cat_Dated;
    case ItemFamily_DatePart: return Cat_CalendarPart;
    case ItemFamily_String: return Cat_String;
    case ItemFamily_Decimal: return Cat_Decimal;
    case ItemFamily_Integer: return Cat_Integer;
    case ItemFamily_Boolean: return Cat_Boolean;
    default: return Cat_Unsupported;
    }
}

template <ItemType K>
struct Kind
{
    typedef typename ItemKind<K>::Type T;
    static constexpr Category category = CategoryOf<K>();
    static T Parse(const std::string& s) { return ItemKind<K>::FromString(s, kBoundRule); }
    static std::string Text(const T& v) { return ItemKind<K>::ToString(v); }
};

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
    constexpr Category cat = Kind<K>::category;
    if constexpr (cat == Cat_Unsupported)
    {
        (void)name;
        (void)value;
        (void)facets;
        throw CKrInvalidValueException(std::string("Unknown type [") + ItemKind<K>::Name() + "].");
    }
    else if constexpr (cat == Cat_Boolean)
    {
        // A boolean has no facet that could fail.
        (void)name;
        (void)value;
        (void)facets;
    }
    else if (facets)
        CheckFacets<K>(name, value, *facets);
}

#define KR_INSTANTIATE(kind, ...)                                                                           \
    template void ValidatePrimitive<ItemType_##kind>(const char*, const PrimitiveValueType<ItemType_##kind>::Type&, \
                                                     const CPrimitiveRestrictions*);
KRXML_PRIMITIVE_KINDS(KR_INSTANTIATE)
#undef KR_INSTANTIATE

namespace {

// Reads the value only for a kind whose check can fail: a boolean is never read.
template <ItemType K, typename ReadFn>
void ValidateRead(const char* name, ReadFn read, const CPrimitiveRestrictions* facets)
{
    if constexpr (Kind<K>::category != Cat_Boolean)
        ValidatePrimitive<K>(name, read(), facets);
    else
    {
        (void)name;
        (void)read;
        (void)facets;
    }
}

} // namespace

void ValidatePrimitive(const char* name, const KrVariant& value, ItemType type, const CPrimitiveRestrictions* facets)
{
    if (!IsPrimitiveKind(type) || type == ItemType_char)
        throw CKrInvalidValueException("Unknown type [" + UnknownTypeText(value) + "].");
    if (!facets || value.IsNil() || !HasAnyFacet(*facets))
        return;
// A value held on the heap is checked where it lies, without a copy, when it is of the kind
// checked; otherwise the getter takes it out, and refuses a wrong kind.
#define KR_VALIDATE_Inline(kind, T, member, accessor) \
    ValidateRead<ItemType_##kind>(name, [&value] { return value.Get##accessor(); }, facets);
#define KR_VALIDATE_Owned(kind, T, member, accessor)                                                   \
    if (value.m_type == ItemType_##kind && value.member)                                               \
        ValidateRead<ItemType_##kind>(name, [&value]() -> const T& { return *value.member; }, facets); \
    else                                                                                               \
        KR_VALIDATE_Inline(kind, T, member, accessor)
#define KR_VALIDATE(kind, number, T, storage, member, accessor, ...) \
    case ItemType_##kind:                                            \
        KR_VALIDATE_##storage(kind, T, member, accessor) break;
    switch (type)
    {
        KRXML_PRIMITIVE_KINDS(KR_VALIDATE)
    default:
        break;
    }
#undef KR_VALIDATE
#undef KR_VALIDATE_Owned
#undef KR_VALIDATE_Inline
}

} // namespace KrXmlLib16
