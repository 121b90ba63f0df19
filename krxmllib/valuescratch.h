// Internal to the library: the variants in which the metadata rows of a thread exchange values
// with bound classes, and the shortcuts between values and their texts that the rows use.
#ifndef KRXMLLIB_INTERNAL_VALUESCRATCH_H
#define KRXMLLIB_INTERNAL_VALUESCRATCH_H

#include <cstdint>
#include <string>

#include "itemtype.h"
#include "krvariant.h"
#include "whitespaceutils.h"

namespace KrXmlLib16 {
namespace Internal {

// One variant per kind and thread. A variant that only ever holds values of one kind keeps its
// heap object (a string and its buffer, a decimal's digits, a date) from value to value, so that
// exchanging values allocates nothing once warm. A kind outside the list shares one variant. A
// row holds one only while it exchanges one value.
KrVariant& ScratchValue(ItemType eKind);

// True when the rule leaves the text as it stands, the usual case for values read from
// documents; an unknown rule answers false.
bool IsUnchangedByRule(CWhitespaceUtils::WhitespaceRule rule, const std::string& strText);

// Puts into strOut the text that ToString without an override gives for the value, for the
// kinds whose text is made without a string of its own (numbers, booleans, dates, durations,
// Base64); false, and strOut untouched, for the others and for a nil.
bool AssignPlainValueText(const KrVariant& value, std::string& strOut);

// Appends the Base64 text of the bytes, as CBase64::Encode gives it.
void AppendBase64(const unsigned char* pData, uint32_t dwLength, std::string& strOut);

// The value of a hexadecimal digit of either case, -1 for any other character.
inline int HexDigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

} // namespace Internal
} // namespace KrXmlLib16

#endif
