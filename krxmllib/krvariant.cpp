#include "krvariant.h"

#include <cassert>
#include <memory>
#include <utility>

#include "conversions.h"
#include "functions.h"
#include "krexception.h"
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

const char* TypeName(ItemType eType)
{
    switch (eType)
    {
    case ItemType_hexBinary: return "hexBinary";
    case ItemType_base64Binary: return "base64Binary";
    case ItemType_i1: return "i1";
    case ItemType_i2: return "i2";
    case ItemType_i4: return "i4";
    case ItemType_i8: return "i8";
    case ItemType_ui1: return "ui1";
    case ItemType_ui2: return "ui2";
    case ItemType_ui4: return "ui4";
    case ItemType_ui8: return "ui8";
    case ItemType_r4: return "r4";
    case ItemType_r8: return "r8";
    case ItemType_duration: return "duration";
    case ItemType_yearMonth: return "yearMonth";
    case ItemType_monthDay: return "monthDay";
    case ItemType_year: return "year";
    case ItemType_month: return "month";
    case ItemType_day: return "day";
    case ItemType_date: return "date";
    case ItemType_datetime: return "datetime";
    case ItemType_time: return "time";
    case ItemType_char: return "char";
    case ItemType_string: return "string";
    case ItemType_boolean: return "boolean";
    case ItemType_decimal: return "decimal";
    case ItemType_integer: return "integer";
    default: return nullptr;
    }
}

bool IsKnownType(ItemType eType)
{
    return static_cast<int>(eType) >= ItemType_Invalid && static_cast<int>(eType) <= ItemType_XmlCollection;
}

bool IsDateType(ItemType eType)
{
    return eType == ItemType_yearMonth || eType == ItemType_monthDay || eType == ItemType_date ||
           eType == ItemType_datetime || eType == ItemType_time;
}

[[noreturn]] void ThrowInvalidTypeToString(ItemType eType)
{
    throw CKrException(FormatString("Invalid Type %d to convert to string", static_cast<int>(eType)));
}

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
    switch (other.m_type)
    {
    case ItemType_hexBinary:
    case ItemType_base64Binary:
        m_pBinaryData = other.m_pBinaryData ? new CBinaryData(*other.m_pBinaryData) : nullptr;
        break;
    case ItemType_duration:
        m_pDuration = other.m_pDuration ? new CDateTimeSpan(*other.m_pDuration) : nullptr;
        break;
    case ItemType_yearMonth:
    case ItemType_monthDay:
    case ItemType_date:
    case ItemType_datetime:
    case ItemType_time:
        m_pDateTime = other.m_pDateTime ? new CDateTime(*other.m_pDateTime) : nullptr;
        break;
    case ItemType_string:
        m_pString = other.m_pString ? new std::string(*other.m_pString) : nullptr;
        break;
    case ItemType_decimal:
        m_pDecimal = other.m_pDecimal ? new CDecimal(*other.m_pDecimal) : nullptr;
        break;
    case ItemType_integer:
        m_pBigInteger = other.m_pBigInteger ? new CBigInteger(*other.m_pBigInteger) : nullptr;
        break;
    case ItemType_XmlObjectBase:
        m_pXmlObject = other.m_pXmlObject;
        if (m_pXmlObject)
            m_pXmlObject->AddRef();
        break;
    case ItemType_XmlCollection:
        m_pXmlCol = other.m_pXmlCol;
        if (m_pXmlCol)
            m_pXmlCol->AddRef();
        break;
    default:
        m_raw = other.m_raw;  // in-line kinds
        break;
    }
    m_type = other.m_type;
}

// ---- state ----------------------------------------------------------------------------------

void KrVariant::FreeValue() noexcept
{
    // Detach before freeing: a released object's destructor may reach this variant again.
    const ItemType eType = m_type;
    union
    {
        uint64_t raw;
        CBinaryData* pBinaryData;
        CDateTimeSpan* pDuration;
        CDateTime* pDateTime;
        std::string* pString;
        CDecimal* pDecimal;
        CBigInteger* pBigInteger;
        CXmlObjectBase* pXmlObject;
        CXmlCollectionBase* pXmlCol;
    } held;
    held.raw = m_raw;
    m_raw = 0;
    switch (eType)
    {
    case ItemType_hexBinary:
    case ItemType_base64Binary:
        delete held.pBinaryData;
        break;
    case ItemType_duration:
        delete held.pDuration;
        break;
    case ItemType_yearMonth:
    case ItemType_monthDay:
    case ItemType_date:
    case ItemType_datetime:
    case ItemType_time:
        delete held.pDateTime;
        break;
    case ItemType_string:
        delete held.pString;
        break;
    case ItemType_decimal:
        delete held.pDecimal;
        break;
    case ItemType_integer:
        delete held.pBigInteger;
        break;
    case ItemType_XmlObjectBase:
        if (held.pXmlObject)
            held.pXmlObject->Release();
        break;
    case ItemType_XmlCollection:
        if (held.pXmlCol)
            held.pXmlCol->Release();
        break;
    default:
        break;  // in-line kinds hold nothing to free; an unknown kind can't be freed safely
    }
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
    const char* lpName = TypeName(m_type);
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
    const char* lpName = TypeName(m_type);
    if (!lpName)
        throw CKrException(FormatString("Invalid Type %d", static_cast<int>(m_type)));
    return lpName;
}

std::string KrVariant::ToString(const char* formatOverride) const
{
    if (!TypeName(m_type))
        ThrowInvalidTypeToString(m_type);
    // Kinds held on the heap have no object when nil; the caller must look at IsNil first.
    const bool bOwned = m_type == ItemType_hexBinary || m_type == ItemType_base64Binary ||
                        m_type == ItemType_duration || IsDateType(m_type) || m_type == ItemType_string ||
                        m_type == ItemType_decimal || m_type == ItemType_integer;
    if (m_bNil || (bOwned && m_raw == 0))
        throw CKrInvalidStateException(FormatString("A nil %s has no text", TypeName(m_type)));
    switch (m_type)
    {
    case ItemType_hexBinary: return CConversions::hexBinaryToString(*m_pBinaryData);
    case ItemType_base64Binary: return CConversions::base64BinaryToString(*m_pBinaryData);
    case ItemType_i1: return CConversions::i1ToString(m_i1);
    case ItemType_i2: return CConversions::i2ToString(m_i2);
    case ItemType_i4: return CConversions::i4ToString(m_i4);
    case ItemType_i8: return CConversions::i8ToString(m_i8);
    case ItemType_ui1: return CConversions::ui1ToString(m_ui1);
    case ItemType_ui2: return CConversions::ui2ToString(m_ui2);
    case ItemType_ui4: return CConversions::ui4ToString(m_ui4);
    case ItemType_ui8: return CConversions::ui8ToString(m_ui8);
    case ItemType_r4:
        if (!formatOverride || !*formatOverride)
            return CConversions::r4ToString(m_r4);
        return CConversions::r4ToString(m_r4, formatOverride);
    case ItemType_r8:
        if (!formatOverride || !*formatOverride)
            return CConversions::r8ToString(m_r8);
        return CConversions::r8ToString(m_r8, formatOverride);
    case ItemType_duration: return CConversions::durationToString(*m_pDuration);
    case ItemType_yearMonth: return CConversions::yearMonthToString(*m_pDateTime);
    case ItemType_monthDay: return CConversions::monthDayToString(*m_pDateTime);
    case ItemType_year: return CConversions::yearToString(m_year);
    case ItemType_month: return CConversions::monthToString(m_month);
    case ItemType_day: return CConversions::dayToString(m_day);
    case ItemType_date: return CConversions::dateToString(*m_pDateTime);
    case ItemType_datetime: return CConversions::datetimeToString(*m_pDateTime);
    case ItemType_time: return CConversions::timeToString(*m_pDateTime);
    case ItemType_char: return CConversions::charToString(m_char);
    case ItemType_string: return CConversions::stringToString(*m_pString);
    case ItemType_boolean: return CConversions::booleanToString(m_bool);
    case ItemType_decimal:
        if (!formatOverride || !*formatOverride)
            return CConversions::decimalToString(*m_pDecimal);
        return CConversions::decimalToString(*m_pDecimal, formatOverride);
    case ItemType_integer: return CConversions::integerToString(*m_pBigInteger);
    default: break;
    }
    ThrowInvalidTypeToString(m_type);
}

void KrVariant::FromString(const std::string& value, ItemType type, CWhitespaceUtils::WhitespaceRule rule)
{
    typedef CConversions C;
    // Each case converts first and stores after, so that a failure leaves the variant alone.
    switch (type)
    {
    case ItemType_hexBinary:
    {
        std::unique_ptr<CBinaryData> p(new CBinaryData(C::hexBinaryFromString(value, rule)));
        Reset();
        m_pBinaryData = p.release();
        break;
    }
    case ItemType_base64Binary:
    {
        std::unique_ptr<CBinaryData> p(new CBinaryData(C::base64BinaryFromString(value, rule)));
        Reset();
        m_pBinaryData = p.release();
        break;
    }
    case ItemType_i1: SetI1(C::i1FromString(value, rule)); return;
    case ItemType_i2: SetI2(C::i2FromString(value, rule)); return;
    case ItemType_i4: SetI4(C::i4FromString(value, rule)); return;
    case ItemType_i8: SetI8(C::i8FromString(value, rule)); return;
    case ItemType_ui1: SetUI1(C::ui1FromString(value, rule)); return;
    case ItemType_ui2: SetUI2(C::ui2FromString(value, rule)); return;
    case ItemType_ui4: SetUI4(C::ui4FromString(value, rule)); return;
    case ItemType_ui8: SetUI8(C::ui8FromString(value, rule)); return;
    case ItemType_r4: SetR4(C::r4FromString(value, rule)); return;
    case ItemType_r8: SetR8(C::r8FromString(value, rule)); return;
    case ItemType_duration:
    {
        std::unique_ptr<CDateTimeSpan> p(new CDateTimeSpan(C::durationFromString(value, rule)));
        Reset();
        m_pDuration = p.release();
        break;
    }
    case ItemType_yearMonth:
    case ItemType_monthDay:
    case ItemType_date:
    case ItemType_datetime:
    case ItemType_time:
    {
        std::unique_ptr<CDateTime> p;
        switch (type)
        {
        case ItemType_yearMonth: p.reset(new CDateTime(C::yearMonthFromString(value, rule))); break;
        case ItemType_monthDay: p.reset(new CDateTime(C::monthDayFromString(value, rule))); break;
        case ItemType_date: p.reset(new CDateTime(C::dateFromString(value, rule))); break;
        case ItemType_datetime: p.reset(new CDateTime(C::datetimeFromString(value, rule))); break;
        default: p.reset(new CDateTime(C::timeFromString(value, rule))); break;
        }
        Reset();
        m_pDateTime = p.release();
        break;
    }
    case ItemType_year: SetYear(C::yearFromString(value, rule)); return;
    case ItemType_month: SetMonth(C::monthFromString(value, rule)); return;
    case ItemType_day: SetDay(C::dayFromString(value, rule)); return;
    case ItemType_char: SetChar(C::charFromString(value, rule)); return;
    case ItemType_string: SetString(C::stringFromString(value, rule)); return;
    case ItemType_boolean: SetBoolean(C::booleanFromString(value, rule)); return;
    case ItemType_decimal:
    {
        std::unique_ptr<CDecimal> p(new CDecimal(C::decimalFromString(value, rule)));
        Reset();
        m_pDecimal = p.release();
        break;
    }
    case ItemType_integer:
    {
        std::unique_ptr<CBigInteger> p(new CBigInteger(C::integerFromString(value, rule)));
        Reset();
        m_pBigInteger = p.release();
        break;
    }
    default:
        ThrowInvalidTypeToString(type);
    }
    m_type = type;
}

// ---- setters --------------------------------------------------------------------------------

#define KR_VARIANT_SET_INLINE(name, kind, member, type) \
    void KrVariant::name(type value)                   \
    {                                                  \
        Reset();                                       \
        m_type = kind;                                 \
        member = value;                                \
    }

KR_VARIANT_SET_INLINE(SetI1, ItemType_i1, m_i1, int8_t)
KR_VARIANT_SET_INLINE(SetI2, ItemType_i2, m_i2, int16_t)
KR_VARIANT_SET_INLINE(SetI4, ItemType_i4, m_i4, int32_t)
KR_VARIANT_SET_INLINE(SetI8, ItemType_i8, m_i8, int64_t)
KR_VARIANT_SET_INLINE(SetUI1, ItemType_ui1, m_ui1, uint8_t)
KR_VARIANT_SET_INLINE(SetUI2, ItemType_ui2, m_ui2, uint16_t)
KR_VARIANT_SET_INLINE(SetUI4, ItemType_ui4, m_ui4, uint32_t)
KR_VARIANT_SET_INLINE(SetUI8, ItemType_ui8, m_ui8, uint64_t)
KR_VARIANT_SET_INLINE(SetR4, ItemType_r4, m_r4, float)
KR_VARIANT_SET_INLINE(SetR8, ItemType_r8, m_r8, double)
KR_VARIANT_SET_INLINE(SetYear, ItemType_year, m_year, uint16_t)
KR_VARIANT_SET_INLINE(SetMonth, ItemType_month, m_month, uint8_t)
KR_VARIANT_SET_INLINE(SetDay, ItemType_day, m_day, uint8_t)
KR_VARIANT_SET_INLINE(SetChar, ItemType_char, m_char, char)
KR_VARIANT_SET_INLINE(SetBoolean, ItemType_boolean, m_bool, bool)

#undef KR_VARIANT_SET_INLINE

// The copy is made before the old value goes, so that a value taken from this variant itself
// survives, and a failed copy changes nothing.
#define KR_VARIANT_SET_OWNED(name, kind, member, type) \
    void KrVariant::name(const type& value)           \
    {                                                 \
        type* pCopy = new type(value);                \
        Reset();                                      \
        m_type = kind;                                \
        member = pCopy;                               \
    }

KR_VARIANT_SET_OWNED(SetHexBinary, ItemType_hexBinary, m_pBinaryData, CBinaryData)
KR_VARIANT_SET_OWNED(SetBase64Binary, ItemType_base64Binary, m_pBinaryData, CBinaryData)
KR_VARIANT_SET_OWNED(SetDuration, ItemType_duration, m_pDuration, CDateTimeSpan)
KR_VARIANT_SET_OWNED(SetYearMonth, ItemType_yearMonth, m_pDateTime, CDateTime)
KR_VARIANT_SET_OWNED(SetMonthDay, ItemType_monthDay, m_pDateTime, CDateTime)
KR_VARIANT_SET_OWNED(SetDate, ItemType_date, m_pDateTime, CDateTime)
KR_VARIANT_SET_OWNED(SetDateTime, ItemType_datetime, m_pDateTime, CDateTime)
KR_VARIANT_SET_OWNED(SetTime, ItemType_time, m_pDateTime, CDateTime)
KR_VARIANT_SET_OWNED(SetDecimal, ItemType_decimal, m_pDecimal, CDecimal)
KR_VARIANT_SET_OWNED(SetInteger, ItemType_integer, m_pBigInteger, CBigInteger)

#undef KR_VARIANT_SET_OWNED

void KrVariant::SetString(std::string value)
{
    std::string* pCopy = new std::string(std::move(value));
    Reset();
    m_type = ItemType_string;
    m_pString = pCopy;
}

void KrVariant::SetXmlObject(CXmlObjectBase* pValue)
{
    // The new reference first: the object may be the one held now.
    if (pValue)
        pValue->AddRef();
    Reset();
    m_type = ItemType_XmlObjectBase;
    m_pXmlObject = pValue;
}

void KrVariant::SetXmlCollection(CXmlCollectionBase* pValue)
{
    if (pValue)
        pValue->AddRef();
    Reset();
    m_type = ItemType_XmlCollection;
    m_pXmlCol = pValue;
}

// ---- getters --------------------------------------------------------------------------------

#define KR_VARIANT_GET_INLINE(name, kind, member, type) \
    type KrVariant::name() const                       \
    {                                                  \
        KR_VARIANT_REQUIRE(#name, m_type == kind);     \
        KR_VARIANT_REQUIRE(#name, !m_bNil);            \
        return member;                                 \
    }

KR_VARIANT_GET_INLINE(GetI1, ItemType_i1, m_i1, int8_t)
KR_VARIANT_GET_INLINE(GetI2, ItemType_i2, m_i2, int16_t)
KR_VARIANT_GET_INLINE(GetI4, ItemType_i4, m_i4, int32_t)
KR_VARIANT_GET_INLINE(GetI8, ItemType_i8, m_i8, int64_t)
KR_VARIANT_GET_INLINE(GetUI1, ItemType_ui1, m_ui1, uint8_t)
KR_VARIANT_GET_INLINE(GetUI2, ItemType_ui2, m_ui2, uint16_t)
KR_VARIANT_GET_INLINE(GetUI4, ItemType_ui4, m_ui4, uint32_t)
KR_VARIANT_GET_INLINE(GetUI8, ItemType_ui8, m_ui8, uint64_t)
KR_VARIANT_GET_INLINE(GetR4, ItemType_r4, m_r4, float)
KR_VARIANT_GET_INLINE(GetR8, ItemType_r8, m_r8, double)
KR_VARIANT_GET_INLINE(GetYear, ItemType_year, m_year, uint16_t)
KR_VARIANT_GET_INLINE(GetMonth, ItemType_month, m_month, uint8_t)
KR_VARIANT_GET_INLINE(GetDay, ItemType_day, m_day, uint8_t)
KR_VARIANT_GET_INLINE(GetChar, ItemType_char, m_char, char)
KR_VARIANT_GET_INLINE(GetBoolean, ItemType_boolean, m_bool, bool)

#undef KR_VARIANT_GET_INLINE

// A nil variant of these kinds holds no object, so the pointer test covers it.
#define KR_VARIANT_GET_OWNED(name, kind, member, type)               \
    type KrVariant::name() const                                     \
    {                                                                \
        KR_VARIANT_REQUIRE(#name, m_type == kind && member != 0);    \
        return *member;                                              \
    }

KR_VARIANT_GET_OWNED(GetHexBinary, ItemType_hexBinary, m_pBinaryData, CBinaryData)
KR_VARIANT_GET_OWNED(GetBase64Binary, ItemType_base64Binary, m_pBinaryData, CBinaryData)
KR_VARIANT_GET_OWNED(GetDuration, ItemType_duration, m_pDuration, CDateTimeSpan)
KR_VARIANT_GET_OWNED(GetYearMonth, ItemType_yearMonth, m_pDateTime, CDateTime)
KR_VARIANT_GET_OWNED(GetMonthDay, ItemType_monthDay, m_pDateTime, CDateTime)
KR_VARIANT_GET_OWNED(GetDate, ItemType_date, m_pDateTime, CDateTime)
KR_VARIANT_GET_OWNED(GetDateTime, ItemType_datetime, m_pDateTime, CDateTime)
KR_VARIANT_GET_OWNED(GetTime, ItemType_time, m_pDateTime, CDateTime)
KR_VARIANT_GET_OWNED(GetString, ItemType_string, m_pString, std::string)
KR_VARIANT_GET_OWNED(GetDecimal, ItemType_decimal, m_pDecimal, CDecimal)
KR_VARIANT_GET_OWNED(GetInteger, ItemType_integer, m_pBigInteger, CBigInteger)

#undef KR_VARIANT_GET_OWNED

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

} // namespace KrXmlLib16
