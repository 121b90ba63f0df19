#include "primitiverestrictions.h"

#include <memory>
#include <optional>
#include <string>

#include "conversions.h"
#include "encoder.h"
#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

CPrimitiveRestrictions::CPrimitiveRestrictions()
    : m_lMinLength(-1), m_lMaxLength(-1), m_lLength(-1), m_lTotalDigits(-1), m_lFractionDigits(-1), m_pBounds(nullptr)
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
      m_lFractionDigits(fractionDigits),
      m_pBounds(nullptr)
{
}

// The bounds of one record parsed for one kind, with the texts they came from: the record's
// fields are public and may be changed, and parsed bounds serve only while the texts are the
// ones parsed. A bound that didn't parse has no value here; a check parses it again and so
// fails as it would have without this.
class CFacetBounds
{
public:
    CFacetBounds(ItemType eKind, const CPrimitiveRestrictions& f)
        : m_eKind(eKind),
          m_nDecimalPlaces(CDecimal::GetMaxDecimalPlaces()),
          m_strTexts{f.m_strMinInclusive, f.m_strMaxInclusive, f.m_strMinExclusive, f.m_strMaxExclusive}
    {
    }
    virtual ~CFacetBounds() = default;
    CFacetBounds(const CFacetBounds&) = delete;
    CFacetBounds& operator=(const CFacetBounds&) = delete;

    // The record's bounds for the kind, made by the first caller (pfnMake) and shared from then
    // on; null when the record's texts or the kind are no longer those they were made for.
    static const CFacetBounds* Of(const CPrimitiveRestrictions& f, ItemType eKind,
                                  CFacetBounds* (*pfnMake)(const CPrimitiveRestrictions&))
    {
        CFacetBounds* p = f.m_pBounds.load(std::memory_order_acquire);
        if (!p)
        {
            std::unique_ptr<CFacetBounds> spMade(pfnMake(f));
            CFacetBounds* pExpected = nullptr;
            if (f.m_pBounds.compare_exchange_strong(pExpected, spMade.get(), std::memory_order_acq_rel,
                                                    std::memory_order_acquire))
                p = spMade.release();
            else
                p = pExpected;  // another thread was first; its bounds are the same
        }
        return p->Fits(eKind, f) ? p : nullptr;
    }

    static void Drop(const CPrimitiveRestrictions& f) { delete f.m_pBounds.exchange(nullptr); }

    static void DecimalDigits(const CDecimal& v, size_t& nInteger, size_t& nFraction)
    {
        v.CountDigits(nInteger, nFraction);
    }

private:
    bool Fits(ItemType eKind, const CPrimitiveRestrictions& f) const
    {
        // Decimal bounds are rounded to the places in force when they were read.
        return eKind == m_eKind && m_strTexts[0] == f.m_strMinInclusive && m_strTexts[1] == f.m_strMaxInclusive &&
               m_strTexts[2] == f.m_strMinExclusive && m_strTexts[3] == f.m_strMaxExclusive &&
               (eKind != ItemType_decimal || m_nDecimalPlaces == CDecimal::GetMaxDecimalPlaces());
    }

    const ItemType m_eKind;
    const int m_nDecimalPlaces;
    const std::string m_strTexts[4];
};

CPrimitiveRestrictions::CPrimitiveRestrictions(const CPrimitiveRestrictions& other)
    : m_strPattern(other.m_strPattern),
      m_lMinLength(other.m_lMinLength),
      m_lMaxLength(other.m_lMaxLength),
      m_strMinInclusive(other.m_strMinInclusive),
      m_strMaxInclusive(other.m_strMaxInclusive),
      m_strMinExclusive(other.m_strMinExclusive),
      m_strMaxExclusive(other.m_strMaxExclusive),
      m_lLength(other.m_lLength),
      m_lTotalDigits(other.m_lTotalDigits),
      m_lFractionDigits(other.m_lFractionDigits),
      m_pBounds(nullptr)
{
}

CPrimitiveRestrictions& CPrimitiveRestrictions::operator=(const CPrimitiveRestrictions& other)
{
    if (this != &other)
    {
        m_strPattern = other.m_strPattern;
        m_lMinLength = other.m_lMinLength;
        m_lMaxLength = other.m_lMaxLength;
        m_strMinInclusive = other.m_strMinInclusive;
        m_strMaxInclusive = other.m_strMaxInclusive;
        m_strMinExclusive = other.m_strMinExclusive;
        m_strMaxExclusive = other.m_strMaxExclusive;
        m_lLength = other.m_lLength;
        m_lTotalDigits = other.m_lTotalDigits;
        m_lFractionDigits = other.m_lFractionDigits;
        CFacetBounds::Drop(*this);
    }
    return *this;
}

CPrimitiveRestrictions::~CPrimitiveRestrictions()
{
    CFacetBounds::Drop(*this);
}

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
    static constexpr ItemType eKind = K;
    static constexpr Category category = CategoryOf<K>();
    static T Parse(const std::string& s) { return ItemKind<K>::FromString(s, kBoundRule); }
    static std::string Text(const T& v) { return ItemKind<K>::ToString(v); }
};

enum BoundIndex
{
    Bound_MinInclusive,
    Bound_MaxInclusive,
    Bound_MinExclusive,
    Bound_MaxExclusive
};

// The four bounds of a record read as one kind; an absent bound, or one that didn't parse, has
// no value.
template <class Traits>
class CKindBounds final : public CFacetBounds
{
public:
    explicit CKindBounds(const CPrimitiveRestrictions& f) : CFacetBounds(Traits::eKind, f)
    {
        const std::string* texts[4] = {&f.m_strMinInclusive, &f.m_strMaxInclusive, &f.m_strMinExclusive,
                                       &f.m_strMaxExclusive};
        for (int i = 0; i < 4; ++i)
            if (!texts[i]->empty())
                try
                {
                    m_values[i].emplace(Traits::Parse(*texts[i]));
                }
                catch (...)
                {
                    // Parsed again, and so raised, by the checks that reach it.
                }
    }
    static CFacetBounds* Make(const CPrimitiveRestrictions& f) { return new CKindBounds(f); }

    std::optional<typename Traits::T> m_values[4];
};

// The bounds of a check: parsed once per record, or at each check where the record has changed
// since, or has been read as another kind.
template <class Traits>
class CBounds
{
public:
    explicit CBounds(const CPrimitiveRestrictions& f)
        : m_pParsed(static_cast<const CKindBounds<Traits>*>(
              CFacetBounds::Of(f, Traits::eKind, &CKindBounds<Traits>::Make)))
    {
    }
    // The bound's value; its text is present.
    const typename Traits::T& Get(BoundIndex i, const std::string& strText)
    {
        if (m_pParsed && m_pParsed->m_values[i])
            return *m_pParsed->m_values[i];
        m_parsed.emplace(Traits::Parse(strText));
        return *m_parsed;
    }

private:
    const CKindBounds<Traits>* m_pParsed;
    std::optional<typename Traits::T> m_parsed;
};

bool HasBounds(const CPrimitiveRestrictions& f)
{
    return !f.m_strMinInclusive.empty() || !f.m_strMaxInclusive.empty() || !f.m_strMinExclusive.empty() ||
           !f.m_strMaxExclusive.empty();
}

// minInclusive, maxInclusive, minExclusive, maxExclusive in that order, by the kind's own
// operators; for floats these are IEEE comparisons, so a NaN fails every bound present.
template <class Traits>
bool OrderedBoundsPass(const typename Traits::T& v, const CPrimitiveRestrictions& f)
{
    if (!HasBounds(f))
        return true;
    CBounds<Traits> b(f);
    bool pass = true;
    if (!f.m_strMinInclusive.empty())
        pass = v >= b.Get(Bound_MinInclusive, f.m_strMinInclusive);
    if (pass && !f.m_strMaxInclusive.empty())
        pass = v <= b.Get(Bound_MaxInclusive, f.m_strMaxInclusive);
    if (pass && !f.m_strMinExclusive.empty())
        pass = v > b.Get(Bound_MinExclusive, f.m_strMinExclusive);
    if (pass && !f.m_strMaxExclusive.empty())
        pass = v < b.Get(Bound_MaxExclusive, f.m_strMaxExclusive);
    return pass;
}

// Dates and durations are only partly ordered: a comparison that can't be decided counts in
// the value's favour.
template <class Traits>
bool PartialBoundsPass(const typename Traits::T& v, const CPrimitiveRestrictions& f)
{
    if (!HasBounds(f))
        return true;
    CBounds<Traits> b(f);
    bool pass = true;
    if (!f.m_strMinInclusive.empty())
        pass = v.CompareTo(b.Get(Bound_MinInclusive, f.m_strMinInclusive)) != CDateTime::dtcLess;
    if (pass && !f.m_strMaxInclusive.empty())
        pass = v.CompareTo(b.Get(Bound_MaxInclusive, f.m_strMaxInclusive)) != CDateTime::dtcGreater;
    if (pass && !f.m_strMinExclusive.empty())
    {
        CDateTime::DTCompareResult r = v.CompareTo(b.Get(Bound_MinExclusive, f.m_strMinExclusive));
        pass = r == CDateTime::dtcGreater || r == CDateTime::dtcIndeterminate;
    }
    if (pass && !f.m_strMaxExclusive.empty())
    {
        CDateTime::DTCompareResult r = v.CompareTo(b.Get(Bound_MaxExclusive, f.m_strMaxExclusive));
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
    size_t nInteger, nFraction;
    CFacetBounds::DecimalDigits(v, nInteger, nFraction);
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
        // The text is made only for a totalDigits that is there.
        if constexpr (cat == Cat_SmallInt || cat == Cat_WideInt)
            pass = pass && (f.m_lTotalDigits < 0 || TotalDigitsPass(Traits::Text(value).size(), f));
        else if constexpr (cat == Cat_Integer)
            pass = pass && (f.m_lTotalDigits < 0 || TotalDigitsPass(value.ToString().size(), f));
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
