// Exact decimal numbers: the value of the XSD decimal type. An integer part of any size and a
// fraction of at most GetMaxDecimalPlaces() digits (30 by default), both held as CBigInteger.
#ifndef KRXMLLIB_DECIMAL_H
#define KRXMLLIB_DECIMAL_H

#include <cstdint>
#include <string>

#include "biginteger.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

struct KrVariant;

class KRXML_API CDecimal
{
public:
    CDecimal();
    CDecimal(const CDecimal& other) = default;
    CDecimal(CDecimal&& other) noexcept = default;
    CDecimal(int32_t nValue);
    CDecimal(uint32_t nValue);
    CDecimal(int64_t nValue);
    CDecimal(uint64_t nValue);
    // Goes through the text "%.13f" gives, so at most 13 fraction digits survive.
    explicit CDecimal(double dValue);
    CDecimal(const CBigInteger& value);
    // Blanks, tabs, CR and LF may stand anywhere in the integer and fraction digits, signs
    // anywhere in the integer digits (the last one counts); an exponent may follow "e" or "E".
    // "" and "." are 0. Malformed text raises CKrInvalidValueException naming the position,
    // and so does an integer part of more digits than CKrLimits::GetMaxNumberDigits(), also
    // one that an exponent would make; products and quotients past it raise
    // CKrOverFlowException.
    CDecimal(const char* lpText);
    virtual ~CDecimal() = default;

    CDecimal& operator=(const CDecimal& other) = default;
    CDecimal& operator=(CDecimal&& other) noexcept = default;

    // All the digits the value holds, without trailing zeros or exponent.
    std::string ToString() const;
    // fractionDigits places, rounded half away from zero.
    std::string ToString(int fractionDigits) const;

    // Both round to the nearest integer, halves toward zero, and raise CKrOverFlowException out
    // of range. ToLongLong first rounds to one place and then cuts the fraction, so 2.96 gives 3
    // and 2.6 gives 2.
    int64_t ToLongLong() const;
    int32_t ToLong() const;
    double ToDouble() const;
    CBigInteger ToBigInteger() const;

    CDecimal GetNegative() const;
    void Negate();
    CBigInteger GetIntegerPart() const { return m_biInteger; }
    CBigInteger GetFractionPart() const { return m_biFraction; }
    int GetFractionDivider() const { return m_nFractionDivider; }
    bool IsZero() const { return m_biInteger.IsZero() && m_biFraction.IsZero(); }

    // One setting for the whole process, meant to be made before values are shared between
    // threads. A negative count, or one above CKrLimits::GetMaxNumberDigits(), raises
    // CKrInvalidParamException.
    static int GetMaxDecimalPlaces() { return m_maxDivider; }
    static void SetMaxDecimalPlaces(int nPlaces);

    CDecimal operator+(const CDecimal& other) const;
    CDecimal operator-(const CDecimal& other) const;
    CDecimal operator*(const CDecimal& other) const;
    // Truncates to GetMaxDecimalPlaces() + 2 places, then rounds to GetMaxDecimalPlaces().
    CDecimal operator/(const CDecimal& other) const;
    CDecimal& operator+=(const CDecimal& other);
    CDecimal& operator-=(const CDecimal& other);
    CDecimal& operator*=(const CDecimal& other);
    CDecimal& operator/=(const CDecimal& other);
    CDecimal& operator++();
    CDecimal operator++(int);
    CDecimal& operator--();
    CDecimal operator--(int);

    bool operator==(const CDecimal& other) const { return Compare(*this, other) == 0; }
    bool operator!=(const CDecimal& other) const { return Compare(*this, other) != 0; }
    bool operator<(const CDecimal& other) const { return Compare(*this, other) < 0; }
    bool operator>(const CDecimal& other) const { return Compare(*this, other) > 0; }
    bool operator<=(const CDecimal& other) const { return Compare(*this, other) <= 0; }
    bool operator>=(const CDecimal& other) const { return Compare(*this, other) >= 0; }

private:
    typedef CBigInteger::DigitVector DigitVector;
    friend class CFacetBounds;
    friend struct KrVariant;  // parses into a decimal whose digit storage it reuses

    // What the digit facets count: the digits of the integer part, none when it is zero, and
    // those of the fraction, none when it is zero; without copying either part.
    void CountDigits(size_t& nInteger, size_t& nFraction) const;
    // Raises CKrOverFlowException if the integer part has more digits than the cap allows.
    void CheckIntegerDigits(const char* lpOperation) const;

    // Stores its arguments unchanged.
    CDecimal(const CBigInteger& integerPart, const CBigInteger& fractionPart, int divider);
    // Leaves both digit vectors empty, for results that are filled at once.
    struct NoInitTag
    {
    };
    explicit CDecimal(NoInitTag);

    void Parse(const char* lpText);
    // The digits of text[nBegin, nEnd), least significant first, skipping every other
    // character; nDigits is their number, and text[nRunStart, nEnd) holds digits only.
    static void FillReversed(const char* lpText, size_t nBegin, size_t nEnd, size_t nDigits, size_t nRunStart,
                             DigitVector& v);
    // Drops trailing zeros of the fraction and gives a zero value plain signs.
    void Rationalise();
    // Changes the number of places; fewer places round to nearest, halves toward zero.
    void ChangeFractionalDivider(int n);
    // Rounds to m_maxDivider places where there are more, then rationalises.
    void LimitPlaces();

    int ValueSign() const;
    // Writes the digits of the integer part, the point and the fraction padded to the divider.
    void WritePointed(char* p) const;
    // |value| * 10^nPlaces as one digit vector; nPlaces is at least the divider.
    void ScaledMagnitude(int nPlaces, DigitVector& vOut) const;
    // Sets the value from |value| * 10^nPlaces and a sign.
    void SetFromScaled(int nSign, DigitVector&& vScaled, int nPlaces);
    // Rounds |value| to an integer, halves toward zero.
    void RoundedIntegerMagnitude(DigitVector& vOut) const;
    static void AddSigned(const CDecimal& a, const CDecimal& b, int nSignB, CDecimal& out);
    static int Compare(const CDecimal& a, const CDecimal& b);
    [[noreturn]] static void ThrowInvalidChar(const char* lpText, size_t nPos);
    [[noreturn]] static void ThrowExponentOutOfRange(const char* lpText, size_t nPos);

    CBigInteger m_biInteger;
    CBigInteger m_biFraction;
    int m_nFractionDivider;

    static int m_maxDivider;
};

} // namespace KrXmlLib16

#endif
