// Fuzz target: any text read as a decimal and as an integer must give a value or the library's
// exception, and a value read must print a text that reads back to the same value. Arithmetic
// between the two readings must agree with itself. Built for libFuzzer with clang
// (-fsanitize=fuzzer), or with the replay driver below, which runs over files on the command line.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "krxmllib.h"

using KrXmlFuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    using namespace KrXmlLib16;
    if (nSize > 4096)
        return 0;
    const std::string strText(reinterpret_cast<const char*>(pData), nSize);
    // Numbers of a million digits from a short exponent are refused elsewhere; here the
    // exponents stay small.
    if (KrXmlFuzz::HasExponentAbove(strText, 10000))
        return 0;
    const char* lpText = strText.c_str();  // stops at an embedded NUL, as callers' texts do

    bool bDecimal = false;
    CDecimal d;
    try
    {
        d = CDecimal(lpText);
        bDecimal = true;
    }
    catch (const CKrInvalidValueException&)
    {
    }
    if (bDecimal)
    {
        const std::string strD = d.ToString();
        Check(CDecimal(strD.c_str()) == d);
        Check(CDecimal(strD.c_str()).ToString() == strD);
        Check(d - d == CDecimal());
        Check(d + d == d * CDecimal(2));
        Check((d + CDecimal(1)) > d);
        Check(d.GetNegative().GetNegative() == d);
        (void)d.ToString(static_cast<int>(nSize % 40));
        if (!d.IsZero() && strD.size() < 200)
        {
            CDecimal q = d / d;
            Check(q == CDecimal(1));
        }
        try
        {
            (void)d.ToLongLong();
            (void)d.ToLong();
            (void)d.ToDouble();
        }
        catch (const CKrOverFlowException&)
        {
        }
    }

    try
    {
        CBigInteger b(lpText);
        Check(bDecimal);  // the integer reader accepts nothing the decimal reader refuses
        Check(b == d.ToBigInteger());
        const std::string strB = b.ToString();
        Check(CBigInteger(strB.c_str()) == b);
        Check(b - b == CBigInteger());
        if (!b.IsZero() && strB.size() < 500)
        {
            CBigInteger a = b * b + b;
            Check(a / b == b + CBigInteger(1));
            Check((a % b.GetAbs()).IsZero());
            Check(b.GetAbs().SquareRoot() * b.GetAbs().SquareRoot() <= b.GetAbs());
        }
    }
    catch (const CKrInvalidValueException&)
    {
        Check(!bDecimal);
    }
    return 0;
}
