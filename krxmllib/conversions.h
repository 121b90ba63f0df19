// The text form of every primitive value kind, both ways. One place decides how a value is
// spelt, so that XML, JSON and error messages agree. Parsing applies the schema's whitespace
// rule first, then reads the kind; every failure is an exception and nothing is left behind.
#ifndef KRXMLLIB_CONVERSIONS_H
#define KRXMLLIB_CONVERSIONS_H

#include <cstdint>
#include <string>

#include "biginteger.h"
#include "binarydata.h"
#include "datetime.h"
#include "datetimespan.h"
#include "decimal.h"
#include "itemkinds.h"
#include "krxmlexport.h"
#include "whitespaceutils.h"

namespace KrXmlLib16 {

class KRXML_API CConversions
{
public:
    typedef CWhitespaceUtils::WhitespaceRule WhitespaceRule;

    CConversions() = delete;

    // ---- value to text ----

    static std::string hexBinaryToString(const CBinaryData& value);
    static std::string base64BinaryToString(const CBinaryData& value);
    static std::string i1ToString(int8_t value);
    static std::string i2ToString(int16_t value);
    static std::string i4ToString(int32_t value);
    static std::string i8ToString(int64_t value);
    static std::string ui1ToString(uint8_t value);
    static std::string ui2ToString(uint16_t value);
    static std::string ui4ToString(uint32_t value);
    static std::string ui8ToString(uint64_t value);
    // "NaN", "INF" and "-INF" for the special values; otherwise seven (r4) or sixteen (r8)
    // significant digits, or the printf format formatOverride with the value as a double. An
    // override must hold exactly one floating conversion (a, e, f or g, either case) and may
    // give flags, a width and a precision of up to four digits each; any other text raises
    // CKrInvalidParamException, as does a width or precision above
    // CKrLimits::GetMaxFormatWidth(). The result is as long as the format makes it.
    static std::string r4ToString(float value);
    static std::string r4ToString(float value, const std::string& formatOverride);
    static std::string r8ToString(double value);
    static std::string r8ToString(double value, const std::string& formatOverride);
    static std::string durationToString(const CDateTimeSpan& value);
    static std::string yearMonthToString(const CDateTime& value);
    static std::string monthDayToString(const CDateTime& value);
    static std::string yearToString(uint16_t value);
    static std::string monthToString(uint8_t value);
    static std::string dayToString(uint8_t value);
    static std::string dateToString(const CDateTime& value);
    static std::string datetimeToString(const CDateTime& value);
    static std::string timeToString(const CDateTime& value);
    static std::string charToString(char value);
    static std::string stringToString(const std::string& value);
    static std::string booleanToString(bool value);
    // All the digits the value holds; with an override, that many fraction digits (the
    // override is read as a decimal count, text that holds none counting as 0). A count above
    // CKrLimits::GetMaxFormatWidth() raises CKrInvalidParamException.
    static std::string decimalToString(const CDecimal& value);
    static std::string decimalToString(const CDecimal& value, const std::string& formatOverride);
    static std::string integerToString(const CBigInteger& value);

    // ---- text to value ----

    static CBinaryData hexBinaryFromString(const std::string& value, WhitespaceRule rule);
    static CBinaryData base64BinaryFromString(const std::string& value, WhitespaceRule rule);
    static int8_t i1FromString(const std::string& value, WhitespaceRule rule);
    static int16_t i2FromString(const std::string& value, WhitespaceRule rule);
    static int32_t i4FromString(const std::string& value, WhitespaceRule rule);
    static int64_t i8FromString(const std::string& value, WhitespaceRule rule);
    static uint8_t ui1FromString(const std::string& value, WhitespaceRule rule);
    static uint16_t ui2FromString(const std::string& value, WhitespaceRule rule);
    static uint32_t ui4FromString(const std::string& value, WhitespaceRule rule);
    static uint64_t ui8FromString(const std::string& value, WhitespaceRule rule);
    static float r4FromString(const std::string& value, WhitespaceRule rule);
    static double r8FromString(const std::string& value, WhitespaceRule rule);
    static CDateTimeSpan durationFromString(const std::string& value, WhitespaceRule rule);
    static CDateTime yearMonthFromString(const std::string& value, WhitespaceRule rule);
    static CDateTime monthDayFromString(const std::string& value, WhitespaceRule rule);
    // A negative year has no place in the unsigned number and is refused.
    static uint16_t yearFromString(const std::string& value, WhitespaceRule rule);
    static uint8_t monthFromString(const std::string& value, WhitespaceRule rule);
    static uint8_t dayFromString(const std::string& value, WhitespaceRule rule);
    static CDateTime dateFromString(const std::string& value, WhitespaceRule rule);
    static CDateTime datetimeFromString(const std::string& value, WhitespaceRule rule);
    static CDateTime timeFromString(const std::string& value, WhitespaceRule rule);
    static char charFromString(const std::string& value, WhitespaceRule rule);
    static std::string stringFromString(const std::string& value, WhitespaceRule rule);
    static bool booleanFromString(const std::string& value, WhitespaceRule rule);
    static CDecimal decimalFromString(const std::string& value, WhitespaceRule rule);
    static CBigInteger integerFromString(const std::string& value, WhitespaceRule rule);
};

// The conversions of a primitive kind known at compile time, for code written once for all
// kinds (typed collections, value encoders, the variant):
//   ItemKind<ItemType_r4>::Type                    float
//   ItemKind<ItemType_r4>::ToString(v)             CConversions::r4ToString(v)
//   ItemKind<ItemType_r4>::ToString(v, strFormat)  the override form; kinds without one ignore it
//   ItemKind<ItemType_r4>::FromString(s, rule)     CConversions::r4FromString(s, rule)
// with the facts of the kind list beside them.
template <ItemType K>
struct ItemKind;

#define KRXML_KIND_TO_STRING_true(kind, value, format) CConversions::kind##ToString(value, format)
#define KRXML_KIND_TO_STRING_false(kind, value, format) ((void)(format), CConversions::kind##ToString(value))
#define KRXML_ITEM_KIND(kind, number, T, storage, member, accessor, family, format)              \
    template <>                                                                                   \
    struct ItemKind<ItemType_##kind>                                                              \
    {                                                                                             \
        typedef T Type;                                                                           \
        static constexpr ItemType eType = ItemType_##kind;                                        \
        static constexpr ItemFamily eFamily = ItemFamily_##family;                                \
        static constexpr ItemStorage eStorage = ItemStorage_##storage;                            \
        static constexpr bool bFormatOverride = format;                                           \
        static constexpr bool bDate = eFamily == ItemFamily_Date;                                 \
        static constexpr const char* Name() { return #kind; }                                     \
        static std::string ToString(const Type& value) { return CConversions::kind##ToString(value); } \
        static std::string ToString(const Type& value, const std::string& formatOverride)         \
        {                                                                                         \
            return KRXML_KIND_TO_STRING_##format(kind, value, formatOverride);                    \
        }                                                                                         \
        static Type FromString(const std::string& value, CConversions::WhitespaceRule rule)       \
        {                                                                                         \
            return CConversions::kind##FromString(value, rule);                                   \
        }                                                                                         \
    };
KRXML_PRIMITIVE_KINDS(KRXML_ITEM_KIND)
#undef KRXML_ITEM_KIND
#undef KRXML_KIND_TO_STRING_true
#undef KRXML_KIND_TO_STRING_false

} // namespace KrXmlLib16

#endif
