// The XSD facets of one simple type, as a generated table states them, and the checks that
// hold a parsed value to them.
#ifndef KRXMLLIB_PRIMITIVERESTRICTIONS_H
#define KRXMLLIB_PRIMITIVERESTRICTIONS_H

#include <atomic>
#include <cstdint>
#include <string>

#include "conversions.h"
#include "itemtype.h"
#include "krvariant.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

class CFacetBounds;

// A plain record. Bounds stay schema text, parsed with the value's own parser when a value is
// checked, so one record serves any kind and a bound that doesn't parse fails only then, at
// every check. A text facet is absent when empty, a number when below 0.
class KRXML_API CPrimitiveRestrictions
{
public:
    // For rows that are not primitive; every facet is absent.
    CPrimitiveRestrictions();
    // The order of a generated table; "" and -1 for an absent facet. Null texts count as "".
    CPrimitiveRestrictions(const char* pattern, int32_t minLength, int32_t maxLength, const char* minInclusive,
                           const char* maxInclusive, const char* minExclusive, const char* maxExclusive,
                           int32_t length, int32_t totalDigits, int32_t fractionDigits);
    // Field by field; the parsed bounds below stay with their record.
    CPrimitiveRestrictions(const CPrimitiveRestrictions& other);
    CPrimitiveRestrictions& operator=(const CPrimitiveRestrictions& other);
    virtual ~CPrimitiveRestrictions();

    std::string m_strPattern;
    int32_t m_lMinLength;
    int32_t m_lMaxLength;
    std::string m_strMinInclusive;
    std::string m_strMaxInclusive;
    std::string m_strMinExclusive;
    std::string m_strMaxExclusive;
    int32_t m_lLength;
    int32_t m_lTotalDigits;
    int32_t m_lFractionDigits;

private:
    friend class CFacetBounds;
    // The bounds as the first check parsed them, for the kind it checked; made once by whichever
    // thread checks first, and used only while the texts are still the ones it parsed.
    mutable std::atomic<CFacetBounds*> m_pBounds;
};

// The C++ type in which a check of each kind takes its value: the kind's own value type.
template <ItemType K>
struct PrimitiveValueType
{
    typedef typename ItemKind<K>::Type Type;
};

// The check of one kind, for callers that know the kind at compile time (typed collections):
//   ValidatePrimitive<ItemType_i4>("quantity", 42, &facets);
// Raises CKrException with the kind's message when a facet fails; a null facets passes.
// Defined for the 26 primitive kinds, so that code over all of them needs no exception; char
// has no facets and raises CKrInvalidValueException "Unknown type [char]." as the form below.
template <ItemType K>
KRXML_API void ValidatePrimitive(const char* name, const typename PrimitiveValueType<K>::Type& value,
                       const CPrimitiveRestrictions* facets);

// Reads value as kind type and applies that kind's check. A nil value passes, since it holds
// nothing to check. char and kinds outside 1 to 26 raise CKrInvalidValueException.
KRXML_API void ValidatePrimitive(const char* name, const KrVariant& value, ItemType type, const CPrimitiveRestrictions* facets);

} // namespace KrXmlLib16

#endif
