#include "krvariant.h"

#include <cassert>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

#include "conversions.h"
#include "functions.h"
#include "krexception.h"
#include "valuescratch.h"
#include "xmlcollectionbase.h"
#include "xmlobjectbase.h"

namespace KrXmlLib16 {

// A getter's precondition: asserted in debug builds, and raised rather than ignored in release
// builds, so that a wrong kind never reads a member the union doesn't hold.
#define KR_VARIANT_REQUIRE(getter, condition)              \
    do                                                     \
    {                                                      \
        assert(condition);                                 \
        if (!(condition))                                  \
            ThrowPrecondition(getter, #condition);         \
    } while (0)

namespace {

bool IsKnownType(ItemType eType)
{
    return static_cast<int>(eType) >= ItemType_Invalid && static_cast<int>(eType) <= ItemType_XmlCollection;
}

[[noreturn]] void ThrowInvalidTypeToString(ItemType eType)
{
    throw CKrException(FormatString("Invalid Type %d to convert to string", static_cast<int>(eType)));
}

// The override reaches only the kinds that take one; null or empty means none.
template <ItemType K>
std::string KindText(const typename ItemKind<K>::Type& value, const char* formatOverride)
{
    if constexpr (ItemKind<K>::bFormatOverride)
    {
        if (formatOverride && *formatOverride)
            return ItemKind<K>::ToString(value, formatOverride);
    }
    else
        (void)formatOverride;
    return ItemKind<K>::ToString(value);
}

// Owned values are set from a const reference; a string also from a temporary (below), which
// is moved rather than copied.
template <class T>
using SetterArg = const T&;

} // namespace

// ---- construction ---------------------------------------------------------------------------

KrVariant::KrVariant() : m_bNil(false), m_type(ItemType_Invalid), m_raw(0) {}

KrVariant::KrVariant(const KrVariant& other) : m_bNil(false), m_type(ItemType_Invalid), m_raw(0)
{
    CopyValueFrom(other);
}

KrVariant::KrVariant(KrVariant&& other) noexcept : m_bNil(other.m_bNil), m_type(other.m_type), m_raw(other.m_raw)
{
    other.m_bNil = false;
    other.m_type = ItemType_Invalid;
    other.m_raw = 0;
}

KrVariant::~KrVariant()
{
    FreeValue();
}

KrVariant& KrVariant::operator=(const KrVariant& other)
{
    if (this != &other)
    {
        // Copy first, so that a failed copy leaves the target as it was.
        KrVariant copy(other);
        *this = std::move(copy);
    }
    return *this;
}

KrVariant& KrVariant::operator=(KrVariant&& other) noexcept
{
    if (this != &other)
    {
        const bool bNil = other.m_bNil;
        const ItemType eType = other.m_type;
        const uint64_t raw = other.m_raw;
        other.m_bNil = false;
        other.m_type = ItemType_Invalid;
        other.m_raw = 0;
        FreeValue();
        m_bNil = bNil;
        m_type = eType;
        m_raw = raw;
    }
    return *this;
}

void KrVariant::CopyValueFrom(const KrVariant& other)
{
    if (!IsKnownType(other.m_type))
        throw CKrException("Unknown Type");
    m_bNil = other.m_bNil;
    if (other.m_bNil)
    {
        m_type = other.m_type;
        return;
    }
    // The value first, then the kind: a copy that throws leaves this variant empty.
#define KR_COPY_Inline(T, member) m_raw = other.m_raw
#define KR_COPY_Owned(T, member) member = other.member ? new T(*other.member) : nullptr
#define KR_COPY_Counted(T, member) \
    member = other.member;         \
    if (member)                    \
        member->AddRef()
#define KR_COPY(kind, number, T, storage, member, ...) \
    case ItemType_##kind:                              \
        KR_COPY_##storage(T, member);                  \
        break;
    switch (other.m_type)
    {
        KRXML_ITEM_KINDS(KR_COPY)
    default:
        m_raw = other.m_raw;
        break;
    }
#undef KR_COPY
#undef KR_COPY_Counted
#undef KR_COPY_Owned
#undef KR_COPY_Inline
    m_type = other.m_type;
}

// ---- state ----------------------------------------------------------------------------------

void KrVariant::FreeValue() noexcept
{
    // Detach before freeing: a released object's destructor may reach this variant again.
#define KR_FREE_Inline(T, member) m_raw = 0
#define KR_FREE_Owned(T, member) \
    {                            \
        T* p = member;           \
        m_raw = 0;               \
        delete p;                \
    }
#define KR_FREE_Counted(T, member) \
    {                              \
        T* p = member;             \
        m_raw = 0;                 \
        if (p)                     \
            p->Release();          \
    }
#define KR_FREE(kind, number, T, storage, member, ...) \
    case ItemType_##kind:                              \
        KR_FREE_##storage(T, member);                  \
        break;
    switch (m_type)
    {
        KRXML_ITEM_KINDS(KR_FREE)
    default:
        m_raw = 0;  // an unknown kind can't be freed safely
        break;
    }
#undef KR_FREE
#undef KR_FREE_Counted
#undef KR_FREE_Owned
#undef KR_FREE_Inline
}

void KrVariant::Clear()
{
    if (m_type == ItemType_Invalid)
        return;
    m_bNil = false;
    FreeValue();
    m_type = ItemType_Invalid;
}

void KrVariant::Reset() noexcept
{
    FreeValue();
    m_bNil = false;
    m_type = ItemType_Invalid;
}

void KrVariant::SetInvalid()
{
    Reset();
}

void KrVariant::SetNil()
{
    const ItemType eType = m_type;
    Clear();
    m_type = eType;
    m_bNil = true;
}

void KrVariant::ThrowPrecondition(const char* lpGetter, const char* lpCondition) const
{
    const char* lpName = ItemKindName(m_type);
    std::string strHeld = m_bNil ? "nil " : "";
    if (lpName)
        strHeld += lpName;
    else
        strHeld += FormatString("kind %d", static_cast<int>(m_type));
    throw CKrInvalidStateException(
        FormatString("Failed to %s. Precondition [%s] does not hold: the variant holds %s.", lpGetter, lpCondition,
                     strHeld.c_str()));
}

// ---- kinds ----------------------------------------------------------------------------------

std::string KrVariant::GetType() const
{
    const char* lpName = ItemKindName(m_type);
    if (!lpName)
        throw CKrException(FormatString("Invalid Type %d", static_cast<int>(m_type)));
    return lpName;
}

std::string KrVariant::ToString(const char* formatOverride) const
{
    if (!IsPrimitiveKind(m_type))
        ThrowInvalidTypeToString(m_type);
    // Kinds held on the heap have no object when nil; the caller must look at IsNil first.
    if (m_bNil || (ItemKindStorage(m_type) == ItemStorage_Owned && m_raw == 0))
        throw CKrInvalidStateException(FormatString("A nil %s has no text", ItemKindName(m_type)));
#define KR_VALUE_Inline(member) member
#define KR_VALUE_Owned(member) *member
#define KR_TO_STRING(kind, number, T, storage, member, ...) \
    case ItemType_##kind:                                   \
        return KindText<ItemType_##kind>(KR_VALUE_##storage(member), formatOverride);
    switch (m_type)
    {
        KRXML_PRIMITIVE_KINDS(KR_TO_STRING)
    default:
        break;
    }
#undef KR_TO_STRING
#undef KR_VALUE_Owned
#undef KR_VALUE_Inline
    ThrowInvalidTypeToString(m_type);
}

void KrVariant::FromString(const std::string& value, ItemType type, CWhitespaceUtils::WhitespaceRule rule)
{
    // A string that the rule leaves alone goes into the string this variant holds, whose buffer
    // is reused, rather than into a new one.
    if (type == ItemType_string && m_type == ItemType_string && m_pString && Internal::IsUnchangedByRule(rule, value))
    {
        m_pString->assign(value);
        m_bNil = false;
        return;
    }
    // A decimal is parsed into a spare of this thread and exchanged with the one the variant
    // holds, so that the digit storage of both is reused from value to value. Text the rule
    // would change, or with a NUL inside, takes the general way.
    if (type == ItemType_decimal && m_type == ItemType_decimal && m_pDecimal && Internal::IsUnchangedByRule(rule, value) &&
        !std::memchr(value.data(), 0, value.size()))
    {
        thread_local CDecimal t_spare;
        t_spare.Parse(value.c_str());
        std::swap(*m_pDecimal, t_spare);
        m_bNil = false;
        return;
    }
    // Each case converts first and stores after, so that a failure leaves the variant alone.
#define KR_FROM_STRING_Inline(kind, T, member)                                   \
    {                                                                            \
        const T converted = ItemKind<ItemType_##kind>::FromString(value, rule);  \
        Reset();                                                                 \
        member = converted;                                                      \
    }
// A variant that holds a value of the same kind takes the new one in its own storage, so that
// a variant reused for many values allocates nothing once warm.
#define KR_FROM_STRING_Owned(kind, T, member)                                              \
    if (m_type == ItemType_##kind && member)                                               \
    {                                                                                      \
        *member = ItemKind<ItemType_##kind>::FromString(value, rule);                      \
        m_bNil = false;                                                                    \
    }                                                                                      \
    else                                                                                   \
    {                                                                                      \
        std::unique_ptr<T> p(new T(ItemKind<ItemType_##kind>::FromString(value, rule)));   \
        Reset();                                                                           \
        member = p.release();                                                              \
    }
#define KR_FROM_STRING(kind, number, T, storage, member, ...) \
    case ItemType_##kind:                                     \
        KR_FROM_STRING_##storage(kind, T, member) break;
    switch (type)
    {
        KRXML_PRIMITIVE_KINDS(KR_FROM_STRING)
    default:
        ThrowInvalidTypeToString(type);
    }
#undef KR_FROM_STRING
#undef KR_FROM_STRING_Owned
#undef KR_FROM_STRING_Inline
    m_type = type;
}

// ---- setters --------------------------------------------------------------------------------

// An owned value is copied before the old value goes, so that a value taken from this variant
// itself survives, and a failed copy changes nothing; a variant that holds a value of the same
// kind takes the new one in its own storage instead, so that a variant reused for many values
// allocates nothing once warm. A counted object gets its new reference first, as it may be the
// one held now.
#define KR_SET_Inline(kind, T, member, accessor) \
    void KrVariant::Set##accessor(T value)       \
    {                                            \
        Reset();                                 \
        m_type = ItemType_##kind;                \
        member = value;                          \
    }
#define KR_SET_Owned(kind, T, member, accessor)             \
    void KrVariant::Set##accessor(SetterArg<T> value)       \
    {                                                       \
        if (m_type == ItemType_##kind && member)            \
        {                                                   \
            *member = std::forward<SetterArg<T>>(value);    \
            m_bNil = false;                                 \
            return;                                         \
        }                                                   \
        T* pCopy = new T(std::forward<SetterArg<T>>(value)); \
        Reset();                                            \
        m_type = ItemType_##kind;                           \
        member = pCopy;                                     \
    }
#define KR_SET_Counted(kind, T, member, accessor) \
    void KrVariant::Set##accessor(T* pValue)      \
    {                                             \
        if (pValue)                               \
            pValue->AddRef();                     \
        Reset();                                  \
        m_type = ItemType_##kind;                 \
        member = pValue;                          \
    }
#define KR_SET(kind, number, T, storage, member, accessor, ...) KR_SET_##storage(kind, T, member, accessor)
KRXML_ITEM_KINDS(KR_SET)
#undef KR_SET

void KrVariant::SetString(std::string&& value)
{
    if (m_type == ItemType_string && m_pString)
    {
        *m_pString = std::move(value);
        m_bNil = false;
        return;
    }
    std::string* pCopy = new std::string(std::move(value));
    Reset();
    m_type = ItemType_string;
    m_pString = pCopy;
}
#undef KR_SET_Counted
#undef KR_SET_Owned
#undef KR_SET_Inline

// ---- getters --------------------------------------------------------------------------------

// A nil variant of an owned kind holds no object, so the pointer test covers it. The counted
// kinds' getters hand out smart pointers and are written below.
#define KR_GET_Inline(kind, T, member, accessor)                        \
    T KrVariant::Get##accessor() const                                  \
    {                                                                   \
        KR_VARIANT_REQUIRE("Get" #accessor, m_type == ItemType_##kind); \
        KR_VARIANT_REQUIRE("Get" #accessor, !m_bNil);                   \
        return member;                                                  \
    }
#define KR_GET_Owned(kind, T, member, accessor)                                        \
    T KrVariant::Get##accessor() const                                                 \
    {                                                                                  \
        KR_VARIANT_REQUIRE("Get" #accessor, m_type == ItemType_##kind && member != 0); \
        return *member;                                                                \
    }
#define KR_GET(kind, number, T, storage, member, accessor, ...) KR_GET_##storage(kind, T, member, accessor)
KRXML_PRIMITIVE_KINDS(KR_GET)
#undef KR_GET
#undef KR_GET_Owned
#undef KR_GET_Inline

CSmartPtr<CXmlObjectBase> KrVariant::GetXmlObject() const
{
    KR_VARIANT_REQUIRE("GetXmlObject", m_type == ItemType_XmlObjectBase || m_type == ItemType_XmlCollection);
    if (m_type == ItemType_XmlCollection)
        return CSmartPtr<CXmlObjectBase>(m_pXmlCol);
    return CSmartPtr<CXmlObjectBase>(m_pXmlObject);
}

CSmartPtr<CXmlCollectionBase> KrVariant::GetXmlCollection() const
{
    KR_VARIANT_REQUIRE("GetXmlCollection", m_type == ItemType_XmlCollection && m_pXmlCol != 0);
    return CSmartPtr<CXmlCollectionBase>(m_pXmlCol);
}

#undef KR_VARIANT_REQUIRE

KrVariant& Internal::ScratchValue(ItemType eKind)
{
    thread_local KrVariant t_values[ItemType_XmlCollection + 1];
    const int iKind = static_cast<int>(eKind);
    return t_values[iKind > 0 && iKind <= ItemType_XmlCollection ? iKind : 0];
}

} // namespace KrXmlLib16
