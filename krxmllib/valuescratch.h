// Internal to the library: the variants in which the metadata rows of a thread exchange values
// with bound classes, and what the variant needs of the text conversions to take a string in
// place.
#ifndef KRXMLLIB_INTERNAL_VALUESCRATCH_H
#define KRXMLLIB_INTERNAL_VALUESCRATCH_H

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

} // namespace Internal
} // namespace KrXmlLib16

#endif
