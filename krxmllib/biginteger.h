// Signed integers of any size, the value of the XSD integer type and the two halves of CDecimal.
// Digits are decimal, one per byte, least significant first; arithmetic on long operands works
// on base 10^9 limbs internally so that the byte representation costs only linear conversions.
#ifndef KRXMLLIB_BIGINTEGER_H
#define KRXMLLIB_BIGINTEGER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "krxmlexport.h"

namespace KrXmlLib16 {

class CDecimal;

class KRXML_API CBigInteger
{
public:
    // Decimal digit values, least significant first (see Build); a string for its small-buffer
    // storage, so that the numbers met in documents take no allocation.
    typedef std::string DigitVector;

    CBigInteger();
    CBigInteger(const CBigInteger& other) = default;
    CBigInteger(CBigInteger&& other) noexcept = default;
    CBigInteger(int32_t nValue);
    CBigInteger(uint32_t nValue);
    CBigInteger(int64_t nValue);
    CBigInteger(uint64_t nValue);
    // Rounds to the nearest integer, halves toward zero (2.5 gives 2, 2.6 gives 3); then the
    // exact integer value of the double. NaN and infinities raise CKrInvalidValueException.
    explicit CBigInteger(double dValue);
    // Rounds to the nearest integer, halves toward zero.
    explicit CBigInteger(const CDecimal& value);
    CBigInteger(const char* lpText);
    virtual ~CBigInteger() = default;

    CBigInteger& operator=(const CBigInteger& other) = default;
    CBigInteger& operator=(CBigInteger&& other) noexcept = default;

    // Reads "[ws][+|-]digits[ws]" directly; any other text is read as a CDecimal and rounded,
    // so "1.6" is 2 and "1E3" is 1000, and malformed text raises the decimal reader's failure.
    // A value of more digits than CKrLimits::GetMaxNumberDigits() raises
    // CKrInvalidValueException, as does a product's (CKrOverFlowException), before any of them
    // is built.
    void Parse(const char* lpText);
    std::string ToString() const;
    // Appends the text of ToString() to strOut.
    void AppendTo(std::string& strOut) const;

    CBigInteger GetAbs() const;
    void Abs();
    CBigInteger GetNegative() const;
    void Negate();
    bool IsZero() const { return m_vDigits.size() == 1 && m_vDigits[0] == 0; }
    // -1, 0 or +1; a zero is 0 whatever its sign field says.
    int Sign() const { return IsZero() ? 0 : m_nSign; }

    // The integer square root, rounded down; a negative value raises CKrInvalidValueException.
    CBigInteger SquareRoot() const;
    // 10^n; more digits than CKrLimits::GetMaxNumberDigits() raise CKrOverFlowException.
    static CBigInteger Pow10(unsigned int n);

    // Zeros compare equal whatever their sign, so the order agrees with ==.
    bool operator==(const CBigInteger& other) const;
    bool operator!=(const CBigInteger& other) const { return !(*this == other); }
    bool operator<(const CBigInteger& other) const { return CompareSigned(*this, other) < 0; }
    bool operator>(const CBigInteger& other) const { return CompareSigned(*this, other) > 0; }
    bool operator<=(const CBigInteger& other) const { return !(*this > other); }
    bool operator>=(const CBigInteger& other) const { return !(*this < other); }

    CBigInteger operator+(const CBigInteger& other) const;
    CBigInteger operator-(const CBigInteger& other) const;
    CBigInteger operator*(const CBigInteger& other) const;
    // Truncates toward zero; a zero divisor raises "ERROR: Overflow in operator/.".
    CBigInteger operator/(const CBigInteger& other) const;
    // The remainder has the sign of the dividend; a divisor that is zero or negative raises.
    CBigInteger operator%(const CBigInteger& other) const;
    CBigInteger& operator+=(const CBigInteger& other);
    CBigInteger& operator-=(const CBigInteger& other);
    CBigInteger& operator*=(const CBigInteger& other);
    // Unlike operator/, a negative divisor raises here too.
    CBigInteger& operator/=(const CBigInteger& other);
    CBigInteger& operator%=(const CBigInteger& other);

    // Flips the sign of this object itself and returns it: -x changes x.
    CBigInteger& operator-();

    // Range-checked; out of range raises CKrInvalidValueException.
    explicit operator int32_t() const;
    explicit operator int64_t() const;

    static const CBigInteger& MAX_LONG;
    static const CBigInteger& MIN_LONG;
    static const CBigInteger& MAX_LONGLONG;
    static const CBigInteger& MIN_LONGLONG;
    static const CBigInteger& MAX_DOUBLE;
    static const CBigInteger& MIN_DOUBLE;

protected:
    // Stores its arguments unchanged.
    CBigInteger(int nSign, const DigitVector& vDigits);
    CBigInteger(int nSign, DigitVector&& vDigits) noexcept;

    // Helpers on magnitudes, least significant digit first. Outputs may be the same vector as an
    // input unless stated otherwise.
    static void Build(uint32_t n, DigitVector& vOut);
    static void BuildDWORDLONG(uint64_t n, DigitVector& vOut);
    // The exact digits of a non-negative double that holds an integer.
    static void BuildDouble(double d, DigitVector& vOut);
    // Takes digits from the end of the text and stops at the first character that isn't one.
    static void Build(const std::string& strText, DigitVector& vOut);
    static void Build(const char* lpText, size_t nLength, DigitVector& vOut);
    // Removes high-order zeros; an empty vector becomes the single digit 0.
    static void Clean(DigitVector& v);
    static int Compare(const DigitVector& a, const DigitVector& b);
    static int Compare(const char* a, size_t na, const char* b, size_t nb);
    static void Add(const DigitVector& a, const DigitVector& b, DigitVector& vOut);
    // Requires a >= b.
    static void Subtract(const DigitVector& a, const DigitVector& b, DigitVector& vOut);
    static void Multiply(const DigitVector& a, char digit, DigitVector& vOut);
    static void Multiply(const DigitVector& a, const DigitVector& b, DigitVector& vOut);
    static void ShiftLeft(DigitVector& v, int nPlaces);
    static int Position(const DigitVector& v);
    static void Pow10(unsigned int n, DigitVector& vOut);
    // b must not be zero; q and r may be any vectors, also a or b.
    static void Divide(const DigitVector& a, const DigitVector& b, DigitVector& q, DigitVector& r);
    // pOut[i] = the digit of the character pText[n - 1 - i]; the characters must be digits.
    static void TextToDigits(const char* pText, size_t n, char* pOut);
    // pText[i] = the character of pDigits[n - 1 - i].
    static void DigitsToText(const char* pDigits, size_t n, char* pText);

private:
    friend class CDecimal;
    friend class CBigIntegerBoundsInit;

    // Raise when a result of nDigits digits would pass CKrLimits::GetMaxNumberDigits():
    // text with CKrInvalidValueException, arithmetic (lpOperation) with CKrOverFlowException.
    static void CheckTextDigits(size_t nDigits, const char* lpKind);
    static void CheckResultDigits(size_t nDigits, const char* lpOperation);
    // The integer square root of a magnitude of any length, from that of its upper half.
    static void SquareRoot(const DigitVector& v, DigitVector& vOut);

    static int CompareSigned(const CBigInteger& a, const CBigInteger& b);
    // Signed sum, with b's sign taken as nSignB.
    static void AddSigned(const CBigInteger& a, const CBigInteger& b, int nSignB, CBigInteger& out);
    // Reads the text if it has the plain integer form; false leaves the object unchanged.
    bool ParsePlain(const char* lpText);
    void SetFromMagnitude64(int nSign, uint64_t uMagnitude);

    int m_nSign;
    DigitVector m_vDigits;
};

// Builds CBigInteger's six bounds before the static objects of any translation unit that
// includes this header, whatever the order in which the linker runs their initialisers.
class KRXML_API CBigIntegerBoundsInit
{
public:
    CBigIntegerBoundsInit();
    ~CBigIntegerBoundsInit();
    CBigIntegerBoundsInit(const CBigIntegerBoundsInit&) = delete;
    CBigIntegerBoundsInit& operator=(const CBigIntegerBoundsInit&) = delete;
};

static CBigIntegerBoundsInit s_krBigIntegerBoundsInit;

} // namespace KrXmlLib16

#endif
