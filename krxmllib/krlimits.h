// Library-wide caps on what one input may cost: how deep its elements nest, how many digits a
// number may hold, how wide a format override may make a value. Each default lets every real
// document through and refuses a hostile one with CKrException before the cost is paid.
//
// The settings are process-wide and may be changed at any time from any thread; work that
// has started may see the old value or the new one. 0 switches a cap off.
#ifndef KRXMLLIB_KRLIMITS_H
#define KRXMLLIB_KRLIMITS_H

#include <cstdint>

#include "krxmlexport.h"

namespace KrXmlLib16 {

class KRXML_API CKrLimits
{
public:
    CKrLimits() = delete;

    // The nesting of elements in a document that the readers accept: XML text (either Load
    // route), Fast Infoset, and JSON, whose parser keeps its own bound of 100 levels of values
    // and takes this one where it is lower. The element at depth cap + 1 is refused as it
    // starts, so a receiver never sees it. Deep trees need no stack: reading, copying,
    // writing and freeing them all go level by level without recursion. Bound objects have a
    // fixed bound of 1000 levels of their own, as their walkers recurse.
    static const uint32_t kDefaultMaxDepth = 10000;
    static void SetMaxDepth(uint32_t nMax);
    static uint32_t GetMaxDepth();

    // The digits that a CBigInteger, or the integer part of a CDecimal, may hold: read from
    // text (an exponent counts as the digits it makes) or made by arithmetic (products, powers
    // of ten, the scaling of a division). Checked before anything is allocated or computed;
    // at the default the slowest operation, a square root or a division, takes milliseconds.
    // CDecimal::SetMaxDecimalPlaces may not set more places than this either.
    static const uint32_t kDefaultMaxNumberDigits = 50000;
    static void SetMaxNumberDigits(uint32_t nMax);
    static uint32_t GetMaxNumberDigits();

    // The width and the precision a format override (CConversions) may ask of one value: the
    // fraction digits of a decimal override, the width and precision of a float format.
    static const uint32_t kDefaultMaxFormatWidth = 1000;
    static void SetMaxFormatWidth(uint32_t nMax);
    static uint32_t GetMaxFormatWidth();
};

} // namespace KrXmlLib16

#endif
