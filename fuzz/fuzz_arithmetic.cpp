// Fuzz target: decimal and big-integer arithmetic on pairs. The input holds two number texts,
// one per line; each is read as a big integer and as a decimal, and the results of + - * / %
// and the square root must keep the identities of exact arithmetic.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

namespace {

using namespace KrXmlLib16;

bool ReadInteger(const std::string& str, CBigInteger& out)
{
    try
    {
        out = CBigInteger(str.c_str());
        return true;
    }
    catch (const CKrInvalidValueException&)
    {
        return false;
    }
}

bool ReadDecimal(const std::string& str, CDecimal& out)
{
    try
    {
        out = CDecimal(str.c_str());
        return true;
    }
    catch (const CKrInvalidValueException&)
    {
        return false;
    }
}

size_t FractionDigits(const CDecimal& d)
{
    const std::string str = d.ToString();
    const size_t nPoint = str.find('.');
    return nPoint == std::string::npos ? 0 : str.size() - nPoint - 1;
}

void Integers(const CBigInteger& a, const CBigInteger& b)
{
    Check(a + b == b + a);
    Check(a + b - b == a);
    Check(a - b == (b - a).GetNegative());
    Check(a * b == b * a);
    Check((a < b) == ((a - b).Sign() < 0));
    Check((a == b) == (a - b).IsZero());
    Check(CBigInteger((a * b).ToString().c_str()) == a * b);
    if (!b.IsZero())
    {
        Check((a * b) / b == a);
        const CBigInteger d = b.GetAbs();
        const CBigInteger q = a / d;
        const CBigInteger r = a % d;
        Check(q * d + r == a);
        Check(r.GetAbs() < d);
        Check(r.IsZero() || r.Sign() == a.Sign());
        Check(((a * b) % d).IsZero());
    }
    // Square roots of long numbers are slow and are being made fast elsewhere.
    const CBigInteger m = a.GetAbs();
    if (m.ToString().size() <= 200)
    {
        const CBigInteger s = m.SquareRoot();
        Check(s * s <= m);
        Check((s + CBigInteger(1)) * (s + CBigInteger(1)) > m);
    }
    if (a.Sign() < 0)
    {
        try
        {
            (void)a.SquareRoot();
            Check(false);
        }
        catch (const CKrInvalidValueException&)
        {
        }
    }
}

void Decimals(const CDecimal& a, const CDecimal& b)
{
    Check(a + b == b + a);
    Check(a + b - b == a);
    Check(a - b == (b - a).GetNegative());
    Check(a * b == b * a);
    Check((a < b) == (a - b < CDecimal()));
    Check(CDecimal((a + b).ToString().c_str()) == a + b);
    // Within the places a decimal holds the product is exact, and so is the quotient by b.
    if (!b.IsZero() && FractionDigits(a) + FractionDigits(b) <= static_cast<size_t>(CDecimal::GetMaxDecimalPlaces()))
        Check((a * b) / b == a);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize > 2048)
        return 0;
    const std::vector<std::string> parts = KrXmlFuzz::Split(pData, nSize, 2);
    // Numbers of a million digits from a short exponent are refused elsewhere; here the
    // exponents stay small.
    if (KrXmlFuzz::HasExponentAbove(parts[0], 300) || KrXmlFuzz::HasExponentAbove(parts[1], 300))
        return 0;
    CBigInteger ia, ib;
    if (ReadInteger(parts[0], ia) && ReadInteger(parts[1], ib))
        Integers(ia, ib);
    CDecimal da, db;
    if (ReadDecimal(parts[0], da) && ReadDecimal(parts[1], db))
        Decimals(da, db);
    return 0;
}
