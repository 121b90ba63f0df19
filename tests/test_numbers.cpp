#include "testsupport.h"

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "biginteger.h"
#include "decimal.h"

#ifdef KRXML_HAVE_GMP
#include <gmp.h>
#endif

using namespace KrXmlLib16;

namespace {

// Built during static initialisation of this file, from a bound of the library: the bounds must
// already stand, whichever file the linker initialises first.
const CBigInteger g_biAboveMaxLong = CBigInteger::MAX_LONG + CBigInteger(1);

std::string DecimalError(int nPos, const std::string& strText)
{
    return "The string representing a Decimal, contained an invalid char at position " + std::to_string(nPos) + " [" +
           strText + "].";
}

std::string Dec(const char* lpText) { return CDecimal(lpText).ToString(); }
std::string Big(const char* lpText) { return CBigInteger(lpText).ToString(); }

// Keeps the process-wide number of places as it was found.
class DecimalPlacesGuard
{
public:
    DecimalPlacesGuard() : m_nSaved(CDecimal::GetMaxDecimalPlaces()) {}
    ~DecimalPlacesGuard() { CDecimal::SetMaxDecimalPlaces(m_nSaved); }

private:
    int m_nSaved;
};

// Opens the digit helpers to the tests.
class DigitHelpers : public CBigInteger
{
public:
    using CBigInteger::Add;
    using CBigInteger::Build;
    using CBigInteger::Divide;
    using CBigInteger::Multiply;
    using CBigInteger::ShiftLeft;
    using CBigInteger::Subtract;

    // Digits written most significant first, as text.
    static DigitVector D(const std::string& strDigits)
    {
        DigitVector v;
        for (size_t i = strDigits.size(); i-- > 0;)
            v.push_back(static_cast<char>(strDigits[i] - '0'));
        return v;
    }
    static std::string S(const DigitVector& v)
    {
        std::string str;
        for (size_t i = v.size(); i-- > 0;)
            str += static_cast<char>('0' + v[i]);
        return str;
    }
    static CBigInteger Raw(int nSign, const std::string& strDigits) { return DigitHelpers(nSign, D(strDigits)); }

private:
    DigitHelpers(int nSign, const DigitVector& v) : CBigInteger(nSign, v) {}
};

std::string RandomDigits(std::mt19937_64& rng, size_t n, bool bNonZeroFirst)
{
    std::string str(n, '0');
    for (size_t i = 0; i < n; ++i)
        str[i] = static_cast<char>('0' + rng() % 10);
    if (bNonZeroFirst && n > 0 && str[0] == '0')
        str[0] = static_cast<char>('1' + rng() % 9);
    return str;
}

// ======================================================================================
// CBigInteger
// ======================================================================================

TEST(BigIntegerText, Readings)
{
    // Plain integers are read directly; anything else goes through the decimal reader, which
    // rounds halves toward zero and reads signs in the middle rather than losing digits.
    const char* const aCases[][2] = {
        {"  -12  ", "-12"}, {"+12", "12"}, {"", "0"},       {" \t\r\n", "0"}, {"0007", "7"},   {"-0", "0"},
        {"0000", "0"},      {"1.6", "2"},  {"1.5", "1"},    {"-1.6", "-2"},   {"1E3", "1000"}, {" 1 000 ", "1000"},
        {"1-2", "-12"},     {"--5", "-5"}, {"- 5", "-5"},   {"-", "0"},       {"+", "0"},
        {"123456789012345678901234567890", "123456789012345678901234567890"},
    };
    for (const auto& c : aCases)
        EXPECT_EQ(c[1], Big(c[0])) << "[" << c[0] << "]";
    EXPECT_EQ("0", CBigInteger(static_cast<const char*>(nullptr)).ToString());
    EXPECT_KR_THROW(CBigInteger("abc"), CKrInvalidValueException, DecimalError(0, "abc"));
    EXPECT_KR_THROW(CBigInteger("12x"), CKrInvalidValueException, DecimalError(2, "12x"));
    EXPECT_KR_THROW(CBigInteger("1.2.3"), CKrInvalidValueException, DecimalError(3, "1.2.3"));
}

TEST(BigIntegerText, FailedParseLeavesTheValue)
{
    CBigInteger x("42");
    EXPECT_THROW(x.Parse("4x2"), CKrInvalidValueException);
    EXPECT_EQ("42", x.ToString());
    std::string str = "n=";
    x.AppendTo(str);
    EXPECT_EQ("n=42", str);
}

TEST(BigIntegerArithmetic, DivisionAndRemainderSigns)
{
    // Quotients truncate; the remainder takes the dividend's sign (random signs are checked against GMP).
    EXPECT_EQ("-3", (CBigInteger(7) / CBigInteger(-2)).ToString());
    EXPECT_EQ("-1", (CBigInteger(-7) % CBigInteger(2)).ToString());
    CBigInteger q = CBigInteger(0) / CBigInteger(5);
    EXPECT_EQ("0", q.ToString());
    EXPECT_EQ(0, q.GetNegative().Sign());
    CBigInteger y(-7);
    y /= CBigInteger(2);
    EXPECT_EQ("-3", y.ToString());
    y = CBigInteger(-7);
    y %= CBigInteger(2);
    EXPECT_EQ("-1", y.ToString());
}

TEST(BigIntegerArithmetic, DivisionFailures)
{
    CBigInteger seven(7);
    EXPECT_KR_THROW(seven / CBigInteger(0), CKrInvalidValueException, "ERROR: Overflow in operator/.");
    EXPECT_KR_THROW(seven / CBigInteger("-0"), CKrInvalidValueException, "ERROR: Overflow in operator/.");
    EXPECT_KR_THROW(seven % CBigInteger(-2), CKrInvalidValueException, "ERROR: Overflow in operator%.");
    EXPECT_KR_THROW(seven % CBigInteger(0), CKrInvalidValueException, "ERROR: Overflow in operator%.");
    EXPECT_KR_THROW(seven /= CBigInteger(-2), CKrInvalidValueException, "ERROR: Overflow in operator /=.");
    EXPECT_KR_THROW(seven /= CBigInteger(0), CKrInvalidValueException, "ERROR: Overflow in operator /=.");
    EXPECT_KR_THROW(seven %= CBigInteger(0), CKrInvalidValueException, "ERROR: Overflow in operator%=.");
    EXPECT_KR_THROW(seven %= CBigInteger(-1), CKrInvalidValueException, "ERROR: Overflow in operator%=.");
    EXPECT_EQ("7", seven.ToString());
}

TEST(BigIntegerArithmetic, SelfOperandsAndLongCarries)
{
    CBigInteger x("999999999999999999999999999999");
    x += x;
    EXPECT_EQ("1999999999999999999999999999998", x.ToString());
    x -= x;
    EXPECT_EQ("0", x.ToString());
    x = CBigInteger("123456789123456789123456789");
    x *= x;
    EXPECT_EQ("15241578780673678546105778281054720515622620750190521", x.ToString());
    x /= x;
    EXPECT_EQ("1", x.ToString());
    x = CBigInteger(17);
    x %= x;
    EXPECT_EQ("0", x.ToString());
    // In-place addition that carries through a long run of nines.
    const std::string strNines = "1" + std::string(500, '9');
    CBigInteger big(strNines.c_str());
    big += CBigInteger(1);
    EXPECT_EQ("2" + std::string(500, '0'), big.ToString());
    big -= CBigInteger(1);
    EXPECT_EQ("1" + std::string(500, '9'), big.ToString());
}

TEST(BigIntegerArithmetic, LongDivisionWhoseFirstQuotientGuessIsTooLarge)
{
    // Operands found to make the two-limb quotient estimate one too large, so that the divisor
    // has to be added back.
    const char* const aCases[][4] = {
        {"500000000999999998999999998500000001866533437", "999999999999999998333333333", "500000000999999999",
         "833333333666666667199866770"},
        {"333333333999999999713078348499999999999999998", "999999999999999999439266477", "333333333999999999",
         "899989523207155681439266475"},
        {"499999999000000000000000002883549411000000001", "1000000000000000001", "499999998999999999500000003",
         "883549411499999998"},
    };
    for (const auto& c : aCases)
    {
        CBigInteger u(c[0]), v(c[1]);
        EXPECT_EQ(c[2], (u / v).ToString());
        EXPECT_EQ(c[3], (u % v).ToString());
    }
}

TEST(BigIntegerComparison, NegativeZeroIsZero)
{
    // Arithmetic may leave a zero with a minus sign; it is still just zero.
    CBigInteger z = CBigInteger(0) * CBigInteger(-5);
    EXPECT_EQ("0", z.ToString());
    EXPECT_TRUE(z == CBigInteger(0));
    EXPECT_FALSE(z < CBigInteger(0));
    EXPECT_FALSE(CBigInteger(0) > z);
    EXPECT_TRUE(z <= CBigInteger(0) && z >= CBigInteger(0));
    EXPECT_EQ(0, z.Sign());
    EXPECT_EQ("0", (CBigInteger(-1) / CBigInteger(5)).ToString());
    EXPECT_EQ("0", (CBigInteger(-4) % CBigInteger(2)).ToString());
}

TEST(BigIntegerMisc, SquareRoot)
{
    const char* const aCases[][2] = {{"1", "1"}, {"3", "1"}, {"4", "2"}, {"99", "9"}, {"100", "10"},
                                     {"10000000000", "100000"}, {"0", "0"}};
    for (const auto& c : aCases)
        EXPECT_EQ(c[1], CBigInteger(c[0]).SquareRoot().ToString()) << c[0];
    std::string strPow = "1" + std::string(200, '0');
    EXPECT_EQ("1" + std::string(100, '0'), CBigInteger(strPow.c_str()).SquareRoot().ToString());
    EXPECT_EQ(std::string(100, '9'), (CBigInteger(strPow.c_str()) - CBigInteger(1)).SquareRoot().ToString());
    EXPECT_KR_THROW(CBigInteger(-4).SquareRoot(), CKrInvalidValueException,
                    "ERROR: Negative Number in function SquareRoot().");
}

TEST(BigIntegerMisc, UnaryMinusChangesItsOperand)
{
    CBigInteger a(5);
    CBigInteger b = -a;
    EXPECT_EQ("-5", a.ToString());
    EXPECT_EQ("-5", b.ToString());
    EXPECT_EQ("5", (-a).ToString());
    EXPECT_EQ("5", a.ToString());
    EXPECT_EQ("5", a.GetNegative().GetNegative().ToString());
    EXPECT_EQ("5", CBigInteger(-5).GetAbs().ToString());
    a.Negate();
    EXPECT_EQ("-5", a.ToString());
    a.Abs();
    EXPECT_EQ("5", a.ToString());
    EXPECT_EQ("1000", CBigInteger::Pow10(3).ToString());
    EXPECT_EQ("1", CBigInteger::Pow10(0).ToString());
}

TEST(BigIntegerConversion, NativeBounds)
{
    for (const char* lpText : {"2147483648", "-2147483649", "99999999999999999999"})
        EXPECT_KR_THROW((void)static_cast<int32_t>(CBigInteger(lpText)), CKrInvalidValueException,
                        "ERROR: Value out of bound of int.");
    EXPECT_EQ(INT32_MIN, static_cast<int32_t>(CBigInteger("-2147483648")));
    EXPECT_EQ(INT32_MAX, static_cast<int32_t>(CBigInteger("2147483647")));
    EXPECT_EQ(-17, static_cast<int32_t>(CBigInteger(-17)));
    EXPECT_EQ(INT64_MAX, static_cast<int64_t>(CBigInteger("9223372036854775807")));
    EXPECT_EQ(INT64_MIN, static_cast<int64_t>(CBigInteger("-9223372036854775808")));
    for (const char* lpText : {"9223372036854775808", "-9223372036854775809"})
        EXPECT_KR_THROW((void)static_cast<int64_t>(CBigInteger(lpText)), CKrInvalidValueException,
                        "ERROR: Value out of bound of LONGLONG.");
    EXPECT_EQ(0, static_cast<int64_t>(CBigInteger(0) * CBigInteger(-1)));
}

TEST(BigIntegerConversion, FromNativeTypes)
{
    EXPECT_EQ("-2147483648", CBigInteger(INT32_MIN).ToString());
    EXPECT_EQ("4294967295", CBigInteger(UINT32_MAX).ToString());
    EXPECT_EQ("-9223372036854775808", CBigInteger(INT64_MIN).ToString());
    EXPECT_EQ("18446744073709551615", CBigInteger(UINT64_MAX).ToString());
}

TEST(BigIntegerConversion, FromDouble)
{
    const double aHalves[] = {2.5, 2.6, -2.6, -2.5, 0.5, -0.4};
    const char* const aRounded[] = {"2", "3", "-3", "-2", "0", "0"};  // halves toward zero
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(aRounded[i], CBigInteger(aHalves[i]).ToString()) << aHalves[i];
    // Above 2^52 every double is an integer and stands as it is, to the last digit it holds.
    EXPECT_EQ("4503599627370497", CBigInteger(4503599627370497.0).ToString());
    EXPECT_EQ("99999999999999991611392", CBigInteger(1e23).ToString());
    EXPECT_EQ("18446744073709551616", CBigInteger(18446744073709551616.0).ToString());
    std::string strMax = CBigInteger(std::numeric_limits<double>::max()).ToString();
    EXPECT_EQ(309u, strMax.size());
    EXPECT_EQ("179769313486231570814527423731704356798070567525844996598917476803157260780028538760589558632766878",
              strMax.substr(0, 99));
    EXPECT_KR_THROW(CBigInteger(std::nan("")), CKrInvalidValueException, "The double value nan has no integer value.");
    EXPECT_KR_THROW(CBigInteger(-HUGE_VAL), CKrInvalidValueException, "The double value -inf has no integer value.");
}

TEST(BigIntegerBounds, BuiltBeforeUse)
{
    EXPECT_EQ("2147483648", g_biAboveMaxLong.ToString());
    EXPECT_EQ("2147483647", CBigInteger::MAX_LONG.ToString());
    EXPECT_EQ("-2147483648", CBigInteger::MIN_LONG.ToString());
    EXPECT_EQ("9223372036854775807", CBigInteger::MAX_LONGLONG.ToString());
    EXPECT_EQ("-9223372036854775808", CBigInteger::MIN_LONGLONG.ToString());
    EXPECT_EQ("17" + std::string(307, '0'), CBigInteger::MAX_DOUBLE.ToString());
    EXPECT_EQ("-17" + std::string(307, '0'), CBigInteger::MIN_DOUBLE.ToString());
    EXPECT_TRUE(CBigInteger::MIN_DOUBLE < CBigInteger::MIN_LONGLONG);
}

TEST(BigIntegerHelpers, DigitVectorsMayBeBothInputAndOutput)
{
    typedef DigitHelpers H;
    CBigInteger::DigitVector v;
    H::Build(std::string("12a34"), v);  // digits are taken from the end up to the first other character
    EXPECT_EQ("34", H::S(v));
    H::Build(std::string("x"), v);
    EXPECT_EQ("0", H::S(v));

    v = H::D("95");
    H::Add(v, v, v);
    EXPECT_EQ("190", H::S(v));
    CBigInteger::DigitVector w = H::D("7");
    H::Add(H::D("9995"), w, w);  // the output is the shorter operand
    EXPECT_EQ("10002", H::S(w));
    w = H::D("1");
    H::Subtract(H::D("1000"), w, w);
    EXPECT_EQ("999", H::S(w));
    H::Multiply(H::D("125"), 0, v);
    EXPECT_EQ("0", H::S(v));
    v = H::D("123456789");
    H::Multiply(v, v, v);
    EXPECT_EQ("15241578750190521", H::S(v));
    v = H::D("0");
    H::ShiftLeft(v, 3);
    EXPECT_EQ("0", H::S(v));

    CBigInteger::DigitVector a = H::D("1000000000000000000000000000000000000000007"), b = H::D("1000");
    H::Divide(a, b, a, b);  // quotient and remainder overwrite the operands
    EXPECT_EQ("1000000000000000000000000000000000000000", H::S(a));
    EXPECT_EQ("7", H::S(b));
    EXPECT_EQ("-42", H::Raw(-1, "42").ToString());
}

// ======================================================================================
// CDecimal
// ======================================================================================

class DecimalTest : public ::testing::Test
{
protected:
    DecimalPlacesGuard m_guard;
};

TEST_F(DecimalTest, Readings)
{
    // Blanks and signs may stand anywhere; an exponent of any length shifts the digits.
    const char* const aCases[][2] = {
        {"1.50", "1.5"},       {"1.0", "1"},          {"0.05", "0.05"},       {"-0.5", "-0.5"},     {"-0", "0"},
        {"-0.000", "0"},       {"", "0"},             {".", "0"},             {"-.5", "-0.5"},      {"0012.", "12"},
        {"-100.0010", "-100.001"}, {" 1 2 . 5 ", "12.5"}, {"\t1\r\n2.5\n", "12.5"}, {"1-2", "-12"}, {"+-1", "-1"},
        {"-+1", "1"},          {"--", "0"},           {"1 E 2", "100"},       {"1E", "1"},          {"1E+", "1"},
        {"1e-", "1"},          {"1E2 ", "100"},       {"1E+-+2", "100"},      {"1.5E1", "15"},      {"1E-2", "0.01"},
        {"123e-4", "0.0123"},  {"1.2345E3", "1234.5"}, {"E5", "0"},           {"0E999999", "0"},
        {"1E0000000000000000000000000000000000000000", "1"}, {"1E-99999999999999999999999999", "0"},
        {"1E-30", "0.000000000000000000000000000001"}, {"5E-31", "0"},  // exactly half the last place: toward zero
        {"6E-31", "0.000000000000000000000000000001"}, {"1.5E-30", "0.000000000000000000000000000001"},
    };
    for (const auto& c : aCases)
        EXPECT_EQ(c[1], Dec(c[0])) << "[" << c[0] << "]";
    EXPECT_EQ("0", CDecimal(static_cast<const char*>(nullptr)).ToString());
    EXPECT_EQ("17" + std::string(307, '0'), Dec("1.7E+308"));
    EXPECT_EQ("1" + std::string(49999, '0'), Dec("1E49999"));  // the most digits a number may hold
}

TEST_F(DecimalTest, MalformedTextNamesThePosition)
{
    const char* const aCases[][2] = {
        {"1.2.3", "3"}, {"abc", "0"},  {"1E2 3", "3"}, {"1.5x", "3"}, {"1e5x", "3"}, {"1,5", "1"},
        {"0x10", "1"},  {"1e2.5", "3"}, {"1..2", "2"}, {"1.-5", "2"}, {"1E2+", "3"}, {"1E2 x", "4"},
        {"\xEF\xBC\x91", "0"}, {"12 34 z", "6"}, {"NaN", "0"}, {"1E--x", "4"},
    };
    for (const auto& c : aCases)
        EXPECT_KR_THROW((void)CDecimal(c[0]), CKrInvalidValueException, DecimalError(std::stoi(c[1]), c[0]));
    EXPECT_KR_THROW(CDecimal("1E1000001"), CKrInvalidValueException,
                    "The string representing a Decimal, contained an exponent out of range at position 2 [1E1000001].");
    EXPECT_KR_THROW(CDecimal("5e 99999999999999999999999"), CKrInvalidValueException,
                    "The string representing a Decimal, contained an exponent out of range at position 3 [5e "
                    "99999999999999999999999].");
    // A long text is quoted whole, at the position of the fault at its end.
    std::string strLong = std::string(5000, '7') + "#";
    EXPECT_KR_THROW(CDecimal(strLong.c_str()), CKrInvalidValueException, DecimalError(5000, strLong));
}

TEST_F(DecimalTest, ParseRoundsToTheMaximumPlaces)
{
    const std::string z29(29, '0');
    EXPECT_EQ("0." + z29 + "1", Dec(("0." + z29 + "15").c_str()));
    EXPECT_EQ("0." + z29 + "2", Dec(("0." + z29 + "16").c_str()));
    EXPECT_EQ("0." + z29 + "2", Dec(("0." + z29 + "150001").c_str()));
    EXPECT_EQ("-0." + z29 + "1", Dec(("-0." + z29 + "15").c_str()));
    EXPECT_EQ("1", Dec(("0.9" + std::string(30, '9')).c_str()));
    EXPECT_EQ("-1", Dec(("-0.9" + std::string(30, '9')).c_str()));
    EXPECT_EQ("0.2", Dec(("0.1" + std::string(31, '9')).c_str()));
    // Far beyond the places kept, only whether something non-zero follows counts.
    EXPECT_EQ("0." + z29 + "2", Dec(("0." + z29 + "15" + std::string(100000, '0') + "1").c_str()));
    EXPECT_EQ("0." + z29 + "1", Dec(("0." + z29 + "15" + std::string(100000, '0')).c_str()));
    // A negative exponent divides: the quotient is cut after 32 places before it is rounded.
    EXPECT_EQ("0." + z29 + "1", Dec(("0." + z29 + "15001E-0").c_str()));
    CDecimal d(("0." + z29 + "15").c_str());
    EXPECT_EQ(30, d.GetFractionDivider());
}

TEST_F(DecimalTest, Parts)
{
    CDecimal d("-12.0340");
    EXPECT_EQ("-12", d.GetIntegerPart().ToString());
    EXPECT_EQ("-34", d.GetFractionPart().ToString());
    EXPECT_EQ(3, d.GetFractionDivider());
    CDecimal h("-0.5");
    EXPECT_EQ("0", h.GetIntegerPart().ToString());
    EXPECT_EQ("-5", h.GetFractionPart().ToString());
    EXPECT_EQ(1, CDecimal("7").GetFractionDivider());
    EXPECT_EQ("0", CDecimal("7").GetFractionPart().ToString());
}

TEST_F(DecimalTest, Arithmetic)
{
    // Random operands are checked against GMP below; these are the cases a reader looks for.
    EXPECT_TRUE(CDecimal("0.1") + CDecimal("0.2") == CDecimal("0.3"));
    EXPECT_EQ("0.333333333333333333333333333333", (CDecimal(1) / CDecimal(3)).ToString());
    EXPECT_EQ("-0." + std::string(29, '6') + "7", (CDecimal(-2) / CDecimal(3)).ToString());
    EXPECT_EQ("0", (CDecimal("0") * CDecimal("-0.5")).ToString());
    EXPECT_EQ("0", (CDecimal("0") / CDecimal("-0.5")).ToString());
    // The product is exact before it is rounded once: ties toward zero.
    const std::string z14(14, '0');
    EXPECT_EQ("0." + std::string(29, '0') + "1",
              (CDecimal(("0." + z14 + "1").c_str()) * CDecimal(("0." + z14 + "15").c_str())).ToString());
    EXPECT_KR_THROW(CDecimal(1) / CDecimal(), CKrInvalidValueException, "ERROR: Overflow in operator/.");
    EXPECT_KR_THROW(CDecimal(1) / CDecimal("-0.000"), CKrInvalidValueException, "ERROR: Overflow in operator/.");
}

TEST_F(DecimalTest, AssigningOperatorsAndSteps)
{
    CDecimal d("0.5");
    EXPECT_EQ("1.5", (++d).ToString());
    EXPECT_EQ("1.5", (d++).ToString());
    EXPECT_EQ("2.5", d.ToString());
    EXPECT_EQ("2.5", (d--).ToString());
    EXPECT_EQ("0.5", (--d).ToString());
    EXPECT_EQ("-0.5", (--d).ToString());
    d += d;
    EXPECT_EQ("-1", d.ToString());
    d -= CDecimal("0.25");
    EXPECT_EQ("-1.25", d.ToString());
    d *= d;
    EXPECT_EQ("1.5625", d.ToString());
    d /= CDecimal("0.5");
    EXPECT_EQ("3.125", d.ToString());
    d -= d;
    EXPECT_EQ("0", d.ToString());
    EXPECT_EQ("-3.5", CDecimal("3.5").GetNegative().ToString());
    CDecimal zero;
    zero.Negate();
    EXPECT_EQ("0.00", zero.ToString(2));
}

TEST_F(DecimalTest, ComparisonIgnoresSignOfZeroAndTrailingZeros)
{
    EXPECT_TRUE(CDecimal("-0") == CDecimal(0));
    EXPECT_FALSE(CDecimal("-0") < CDecimal(0));
    EXPECT_TRUE(CDecimal("-0") <= CDecimal(0));
    EXPECT_TRUE(CDecimal("1.50") == CDecimal("1.5"));
    EXPECT_TRUE(CDecimal("1.5") != CDecimal("1.05"));
    EXPECT_TRUE(CDecimal("-1.5") < CDecimal("-1.25"));
}

TEST_F(DecimalTest, FixedPlaces)
{
    // A carry that leaves the sum with fewer places prints fewer digits, and 0 places keep the point.
    const struct
    {
        const char* lpText;
        int nPlaces;
        const char* lpExpected;
    } aCases[] = {
        {"2.345", 2, "2.35"}, {"-2.345", 2, "-2.35"}, {"2", 2, "2.00"},     {"1.999", 2, "2.00"},
        {"2.344", 2, "2.34"}, {"0.9995", 3, "1.0"},   {"2.5", 0, "3."},     {"2.4", 0, "2."},
        {"9.95", 1, "10.0"},  {"-9.95", 1, "-10.0"},  {"0", 2, "0.00"},     {"-0", 2, "0.00"},
        {"-0.001", 2, "-0.00"}, {"0.4", 0, "0."},     {"123.45", 2, "123.45"},
        {"1.5", 30, "1.500000000000000000000000000000"}, {"1.5", 38, "1.50000000000000000000000000000000000000"},
    };
    for (const auto& c : aCases)
        EXPECT_EQ(c.lpExpected, CDecimal(c.lpText).ToString(c.nPlaces)) << c.lpText << " to " << c.nPlaces;
    EXPECT_KR_THROW(CDecimal("1").ToString(-1), CKrInvalidParamException,
                    "The number of fraction digits must not be negative.");
}

TEST_F(DecimalTest, Conversions)
{
    // To an integer: nearest, halves toward zero, by either road.
    const char* const aRounded[][2] = {{"2.5", "2"}, {"2.6", "3"}, {"-2.6", "-3"}, {"-2.51", "-3"}, {"-0.4", "0"}, {"9.9", "10"}};
    for (const auto& c : aRounded)
    {
        EXPECT_EQ(c[1], CDecimal(c[0]).ToBigInteger().ToString()) << c[0];
        EXPECT_EQ(c[1], CBigInteger(CDecimal(c[0])).ToString()) << c[0];
    }

    // ToLongLong rounds at the first place, then at none; ToLong rounds once.
    const std::pair<const char*, int64_t> aLongLong[] = {{"2.96", 3}, {"2.94", 2}, {"2.6", 2}, {"2.95", 2}, {"-2.96", -3}};
    for (const auto& c : aLongLong)
        EXPECT_EQ(c.second, CDecimal(c.first).ToLongLong()) << c.first;
    EXPECT_EQ(INT64_MAX, CDecimal("9223372036854775807.9").ToLongLong());
    EXPECT_EQ(INT64_MIN, CDecimal("-9223372036854775808.9").ToLongLong());
    for (const char* lpText : {"9223372036854775807.96", "-9223372036854775809"})
        EXPECT_KR_THROW(CDecimal(lpText).ToLongLong(), CKrOverFlowException,
                        "The Decimal value if to large to fit into a LONGLONG");

    EXPECT_EQ(3, CDecimal("2.6").ToLong());
    EXPECT_EQ(2, CDecimal("2.5").ToLong());
    EXPECT_EQ(INT32_MAX, CDecimal("2147483647.4").ToLong());
    EXPECT_EQ(INT32_MIN, CDecimal("-2147483648.5").ToLong());
    for (const char* lpText : {"2147483647.6", "-2147483648.6"})
        EXPECT_KR_THROW(CDecimal(lpText).ToLong(), CKrOverFlowException, "The Decimal value if to large to fit into a LONG");

    EXPECT_EQ(1.5, CDecimal("1.5").ToDouble());
    EXPECT_EQ(-0.1, CDecimal("-0.1").ToDouble());
    EXPECT_EQ(1.7e308, CDecimal("1.7E+308").ToDouble());
    EXPECT_EQ(-1.7e308, CDecimal("-1.7E+308").ToDouble());
    const std::string strAboveMax = "-17" + std::string(306, '0') + "1";  // 1.7E+308 plus one, negated
    for (const std::string& strText : {std::string("1.8E+308"), strAboveMax})
        EXPECT_KR_THROW(CDecimal(strText.c_str()).ToDouble(), CKrOverFlowException,
                        "The Decimal value if to large to fit into a Double");
    EXPECT_EQ(-1.7e308, CDecimal(("-17" + std::string(307, '0') + ".9").c_str()).ToDouble());
}

TEST_F(DecimalTest, FromNativeTypes)
{
    EXPECT_EQ("0.1", CDecimal(0.1).ToString());
    EXPECT_EQ("2.5", CDecimal(2.5).ToString());
    EXPECT_EQ("0", CDecimal(1e-14).ToString());
    EXPECT_EQ("0.0000000000001", CDecimal(1e-13).ToString());
    EXPECT_EQ("123456789.1229999959469", CDecimal(123456789.123).ToString());  // what the double holds
    EXPECT_EQ("0", CDecimal(-0.0).ToString());
    EXPECT_EQ("100000000000000000000", CDecimal(1e20).ToString());
    EXPECT_KR_THROW(CDecimal(std::nan("")), CKrInvalidValueException, DecimalError(0, "nan"));
    EXPECT_KR_THROW(CDecimal(-HUGE_VAL), CKrInvalidValueException, DecimalError(1, "-inf"));
    EXPECT_EQ("-2147483648", CDecimal(INT32_MIN).ToString());
    EXPECT_EQ("-9223372036854775808", CDecimal(INT64_MIN).ToString());
    EXPECT_EQ("18446744073709551615", CDecimal(UINT64_MAX).ToString());
    EXPECT_EQ("4294967295", CDecimal(UINT32_MAX).ToString());
    EXPECT_EQ("0.", CDecimal(CBigInteger(0) * CBigInteger(-1)).ToString(0));
    EXPECT_EQ("-12", CDecimal(CBigInteger(-12)).ToString());
}

TEST_F(DecimalTest, MaximumPlaces)
{
    EXPECT_EQ(30, CDecimal::GetMaxDecimalPlaces());
    CDecimal::SetMaxDecimalPlaces(5);
    EXPECT_EQ("0.33333", (CDecimal(1) / CDecimal(3)).ToString());
    EXPECT_EQ("0.66667", (CDecimal(2) / CDecimal(3)).ToString());
    EXPECT_EQ("0.12346", Dec("0.1234567"));
    EXPECT_EQ("0.12345", Dec("0.123455"));
    EXPECT_EQ("0.00002", (CDecimal("0.005") * CDecimal("0.0035")).ToString());
    CDecimal::SetMaxDecimalPlaces(0);
    EXPECT_EQ("0", (CDecimal(1) / CDecimal(3)).ToString());
    EXPECT_EQ("1", (CDecimal(2) / CDecimal(3)).ToString());
    EXPECT_EQ("2", (CDecimal(5) / CDecimal(2)).ToString());
    EXPECT_EQ("3", Dec("2.51"));
    EXPECT_EQ(1, CDecimal("2.51").GetFractionDivider());
    CDecimal::SetMaxDecimalPlaces(40);
    EXPECT_EQ("0." + std::string(40, '3'), (CDecimal(1) / CDecimal(3)).ToString());
    // Places are digits, and can't pass the cap on them.
    EXPECT_KR_THROW(CDecimal::SetMaxDecimalPlaces(-1), CKrInvalidParamException,
                    "The maximum number of decimal places must lie between 0 and 50000.");
    EXPECT_KR_THROW(CDecimal::SetMaxDecimalPlaces(50001), CKrInvalidParamException,
                    "The maximum number of decimal places must lie between 0 and 50000.");
    EXPECT_EQ(40, CDecimal::GetMaxDecimalPlaces());
}

// ======================================================================================
// Long numbers
// ======================================================================================

// Factors of 25,000 digits make products at the cap on digits (50,000 by default).
TEST(LongNumbers, TwentyFiveThousandDigitFactors)
{
    std::mt19937_64 rng(20240601);
    const std::string strA = RandomDigits(rng, 25000, true), strB = RandomDigits(rng, 24999, true);
    CBigInteger a(strA.c_str()), b(("-" + strB).c_str());
    EXPECT_EQ(strA, a.ToString());
    EXPECT_EQ("-" + strB, b.ToString());
    CBigInteger p = a * b;
    std::string strP = p.ToString();
    ASSERT_TRUE(strP.size() == 49999u || strP.size() == 50000u);
    EXPECT_EQ('-', strP[0]);
    EXPECT_TRUE(p / b == a);
    EXPECT_TRUE((p % a.GetAbs()).Sign() == 0);

    const std::string strDec = strA.substr(1) + "." + RandomDigits(rng, 25, false) + "7";
    CDecimal d(strDec.c_str());
    EXPECT_EQ(strDec, d.ToString());
    CDecimal dd = d * d;
    EXPECT_GE(dd.ToString().size(), 49997u);
    EXPECT_TRUE((dd / d) == d);
    EXPECT_EQ(strA.substr(0, 50), CDecimal((strA + "E-24950").c_str()).ToString().substr(0, 50));
}

TEST(LongNumbers, LongFractionAndOversizedExponent)
{
    // Fraction digits beyond the places kept cost nothing and are no digits held.
    std::string strFrac = "0." + std::string(200000, '3');
    EXPECT_EQ("0." + std::string(30, '3'), Dec(strFrac.c_str()));
    EXPECT_EQ("0", Dec("0E999999"));
    EXPECT_THROW(CDecimal("1E2000000000"), CKrInvalidValueException);
}

#ifdef KRXML_HAVE_GMP

// ======================================================================================
// Cross-check against GMP
// ======================================================================================

class Mpz
{
public:
    Mpz() { mpz_init(m); }
    explicit Mpz(const std::string& str)
    {
        mpz_init(m);
        size_t i = str[0] == '+' ? 1 : 0;
        EXPECT_EQ(0, mpz_set_str(m, str.c_str() + i, 10)) << str;
    }
    Mpz(const Mpz& o) { mpz_init_set(m, o.m); }
    Mpz& operator=(const Mpz& o)
    {
        mpz_set(m, o.m);
        return *this;
    }
    ~Mpz() { mpz_clear(m); }
    std::string Str() const
    {
        std::vector<char> buf(mpz_sizeinbase(m, 10) + 2);
        mpz_get_str(buf.data(), 10, m);
        return buf.data();
    }
    static Mpz Pow10(unsigned long n)
    {
        Mpz r;
        mpz_ui_pow_ui(r.m, 10, n);
        return r;
    }
    mpz_t m;
};

// n / 10^scale.
struct RefDecimal
{
    Mpz n;
    unsigned long scale = 0;
};

RefDecimal Rescale(const RefDecimal& v, unsigned long scale)
{
    RefDecimal r;
    mpz_mul(r.n.m, v.n.m, Mpz::Pow10(scale - v.scale).m);
    r.scale = scale;
    return r;
}

// Nearest, halves toward zero.
RefDecimal RoundTo(const RefDecimal& v, unsigned long places)
{
    if (v.scale <= places)
        return v;
    Mpz p = Mpz::Pow10(v.scale - places), r, r2;
    RefDecimal out;
    mpz_tdiv_qr(out.n.m, r.m, v.n.m, p.m);
    mpz_mul_2exp(r2.m, r.m, 1);
    mpz_abs(r2.m, r2.m);
    if (mpz_cmp(r2.m, p.m) > 0)
    {
        if (mpz_sgn(v.n.m) > 0)
            mpz_add_ui(out.n.m, out.n.m, 1);
        else
            mpz_sub_ui(out.n.m, out.n.m, 1);
    }
    out.scale = places;
    return out;
}

// Canonical text: no trailing zeros, no exponent.
std::string RefText(const RefDecimal& v)
{
    Mpz a;
    mpz_abs(a.m, v.n.m);
    unsigned long s = v.scale;
    while (s > 0 && mpz_divisible_ui_p(a.m, 10))
    {
        mpz_divexact_ui(a.m, a.m, 10);
        --s;
    }
    std::string str = a.Str();
    if (s > 0)
    {
        if (str.size() <= s)
            str.insert(0, s + 1 - str.size(), '0');
        str.insert(str.size() - s, ".");
    }
    if (mpz_sgn(v.n.m) < 0)
        str.insert(0, "-");
    return str;
}

int RefCompare(const RefDecimal& a, const RefDecimal& b)
{
    unsigned long s = std::max(a.scale, b.scale);
    int c = mpz_cmp(Rescale(a, s).n.m, Rescale(b, s).n.m);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

struct RandomDecimal
{
    std::string strText;
    RefDecimal ref;
};

RandomDecimal MakeRandomDecimal(std::mt19937_64& rng)
{
    size_t nInt = rng() % 31, nFrac = rng() % 36;
    if (rng() % 8 == 0)
        nInt = rng() % 61;
    std::string strInt = RandomDigits(rng, nInt, rng() % 4 != 0);
    std::string strFrac = RandomDigits(rng, nFrac, false);
    RandomDecimal r;
    bool bNeg = rng() % 2 == 0;
    r.strText = (bNeg ? "-" : (rng() % 8 == 0 ? "+" : "")) + strInt;
    if (nFrac > 0 || rng() % 4 == 0)
        r.strText += "." + strFrac;
    std::string strAll = strInt + strFrac;
    if (strAll.empty())
        strAll = "0";
    RefDecimal exact;
    exact.n = Mpz((bNeg ? "-" : "") + strAll);
    exact.scale = nFrac;
    r.ref = RoundTo(exact, 30);
    return r;
}

TEST(CrossCheckGmp, BigIntegerArithmeticMatches)
{
    std::mt19937_64 rng(7);
    for (int nCase = 0; nCase < 4000; ++nCase)
    {
        std::string strA = (rng() % 2 ? "-" : "") + RandomDigits(rng, 1 + rng() % 60, true);
        std::string strB = (rng() % 2 ? "-" : "") + RandomDigits(rng, 1 + rng() % 60, true);
        if (nCase % 50 == 0)
            strB = rng() % 2 ? "0" : "-0";
        SCOPED_TRACE(strA + " op " + strB);
        CBigInteger a(strA.c_str()), b(strB.c_str());
        Mpz za(strA), zb(strB), zr;
        ASSERT_EQ(za.Str(), a.ToString());
        mpz_add(zr.m, za.m, zb.m);
        EXPECT_EQ(zr.Str(), (a + b).ToString());
        mpz_sub(zr.m, za.m, zb.m);
        EXPECT_EQ(zr.Str(), (a - b).ToString());
        mpz_mul(zr.m, za.m, zb.m);
        EXPECT_EQ(zr.Str(), (a * b).ToString());
        int c = mpz_cmp(za.m, zb.m);
        EXPECT_EQ(c < 0, a < b);
        EXPECT_EQ(c > 0, a > b);
        EXPECT_EQ(c == 0, a == b);
        EXPECT_EQ(c <= 0, a <= b);
        EXPECT_EQ(c >= 0, a >= b);
        if (mpz_sgn(zb.m) == 0)
        {
            EXPECT_THROW(a / b, CKrInvalidValueException);
            EXPECT_THROW(a % b, CKrInvalidValueException);
            continue;
        }
        mpz_tdiv_q(zr.m, za.m, zb.m);
        EXPECT_EQ(zr.Str(), (a / b).ToString());
        mpz_tdiv_r(zr.m, za.m, zb.m);
        if (mpz_sgn(zb.m) > 0)
        {
            EXPECT_EQ(zr.Str(), (a % b).ToString());
            CBigInteger x = a;
            x %= b;
            EXPECT_EQ(zr.Str(), x.ToString());
        }
        else
        {
            EXPECT_THROW(a % b, CKrInvalidValueException);
        }
        if (mpz_fits_slong_p(za.m))
        {
            EXPECT_EQ(mpz_get_si(za.m), static_cast<int64_t>(a));
        }
    }
}

TEST(CrossCheckGmp, LongOperandsMultiplyAndDivide)
{
    // Sizes that reach the split multiplication, unbalanced operands and long division.
    std::mt19937_64 rng(11);
    const size_t aSizes[][2] = {{400, 400},   {361, 362},   {1000, 999}, {2500, 1700}, {5000, 60},   {9000, 4000},
                                {3000, 3000}, {720, 1440},  {39, 5000},  {12345, 6789}, {1791, 900}, {1799, 900}};
    for (const auto& s : aSizes)
    {
        std::string strA = RandomDigits(rng, s[0], true), strB = RandomDigits(rng, s[1], true);
        if (rng() % 2)
            strA = std::string(s[0] / 2, '9') + strA.substr(s[0] / 2);  // long runs of nines carry far
        SCOPED_TRACE(std::to_string(s[0]) + " x " + std::to_string(s[1]));
        CBigInteger a(strA.c_str()), b(strB.c_str());
        Mpz za(strA), zb(strB), zp, zq, zr;
        mpz_mul(zp.m, za.m, zb.m);
        CBigInteger p = a * b;
        EXPECT_EQ(zp.Str(), p.ToString());
        // Divide the product plus a remainder back.
        CBigInteger n = p + a - CBigInteger(1);
        Mpz zn;
        mpz_add(zn.m, zp.m, za.m);
        mpz_sub_ui(zn.m, zn.m, 1);
        mpz_tdiv_qr(zq.m, zr.m, zn.m, zb.m);
        EXPECT_EQ(zq.Str(), (n / b).ToString());
        EXPECT_EQ(zr.Str(), (n % b).ToString());
        mpz_tdiv_qr(zq.m, zr.m, zn.m, za.m);
        EXPECT_EQ(zq.Str(), (n / a).ToString());
        EXPECT_EQ(zr.Str(), (n % a).ToString());
        // Divisors just above a limb boundary make the quotient estimate work hardest.
        CBigInteger d = CBigInteger::Pow10(static_cast<unsigned int>(s[1])) - CBigInteger(1);
        Mpz zd = Mpz::Pow10(s[1]);
        mpz_sub_ui(zd.m, zd.m, 1);
        mpz_tdiv_qr(zq.m, zr.m, zn.m, zd.m);
        EXPECT_EQ(zq.Str(), (n / d).ToString());
        EXPECT_EQ(zr.Str(), (n % d).ToString());
        Mpz zs;
        mpz_sqrt(zs.m, za.m);
        if (s[0] <= 3000)
        {
            EXPECT_EQ(zs.Str(), a.SquareRoot().ToString());
        }
    }
}

TEST(CrossCheckGmp, DecimalArithmeticMatches)
{
    DecimalPlacesGuard guard;
    std::mt19937_64 rng(3);
    for (int nCase = 0; nCase < 4000; ++nCase)
    {
        RandomDecimal ra = MakeRandomDecimal(rng), rb = MakeRandomDecimal(rng);
        SCOPED_TRACE(ra.strText + " op " + rb.strText);
        CDecimal a(ra.strText.c_str()), b(rb.strText.c_str());
        ASSERT_EQ(RefText(ra.ref), a.ToString());
        ASSERT_EQ(RefText(rb.ref), b.ToString());

        unsigned long s = std::max(ra.ref.scale, rb.ref.scale);
        RefDecimal sum;
        sum.scale = s;
        mpz_add(sum.n.m, Rescale(ra.ref, s).n.m, Rescale(rb.ref, s).n.m);
        EXPECT_EQ(RefText(sum), (a + b).ToString());
        mpz_sub(sum.n.m, Rescale(ra.ref, s).n.m, Rescale(rb.ref, s).n.m);
        EXPECT_EQ(RefText(sum), (a - b).ToString());

        RefDecimal prod;
        mpz_mul(prod.n.m, ra.ref.n.m, rb.ref.n.m);
        prod.scale = ra.ref.scale + rb.ref.scale;
        EXPECT_EQ(RefText(RoundTo(prod, 30)), (a * b).ToString());

        int c = RefCompare(ra.ref, rb.ref);
        EXPECT_EQ(c < 0, a < b);
        EXPECT_EQ(c > 0, a > b);
        EXPECT_EQ(c == 0, a == b);
        EXPECT_EQ(c != 0, a != b);
        EXPECT_EQ(c <= 0, a <= b);
        EXPECT_EQ(c >= 0, a >= b);

        if (mpz_sgn(rb.ref.n.m) == 0)
        {
            EXPECT_KR_THROW(a / b, CKrInvalidValueException, "ERROR: Overflow in operator/.");
        }
        else
        {
            // Truncated after 32 places, then rounded to 30 with ties toward zero.
            RefDecimal quot;
            Mpz num;
            mpz_mul(num.m, ra.ref.n.m, Mpz::Pow10(32 + rb.ref.scale - ra.ref.scale).m);
            mpz_tdiv_q(quot.n.m, num.m, rb.ref.n.m);
            quot.scale = 32;
            EXPECT_EQ(RefText(RoundTo(quot, 30)), (a / b).ToString());
        }

        EXPECT_EQ(RefText(RoundTo(ra.ref, 0)), a.ToBigInteger().ToString());
    }
}

#else

TEST(CrossCheckGmp, Skipped) { GTEST_SKIP() << "GMP not found: the cross-check against it is skipped"; }

#endif

} // namespace
