// Throughput of CBigInteger and CDecimal beside GMP (mpz for integers and scaled decimals, mpf
// for decimal text), measured in the same process. Each figure is the best of several runs.
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "benchsupport.h"
#include "biginteger.h"
#include "decimal.h"
#include "krlimits.h"

#ifdef KRXML_HAVE_GMP
#include <gmp.h>
#endif

using namespace KrXmlLib16;
using KrXmlBench::BestSeconds;

namespace {

volatile size_t g_nSink = 0;

const int kRuns = 5;

std::string RandomDigits(std::mt19937_64& rng, size_t n)
{
    std::string str(n, '0');
    for (size_t i = 0; i < n; ++i)
        str[i] = static_cast<char>('0' + rng() % 10);
    if (str[0] == '0')
        str[0] = '7';
    return str;
}

// Operations per second of fn, which performs nOps operations per call.
template <typename Fn>
double OpsPerSecond(int nOps, Fn fn)
{
    fn();  // warm caches and the allocator
    double s = BestSeconds(kRuns, fn);
    return nOps / s;
}

void Row(const char* lpName, double dOurs, double dGmp)
{
    if (dGmp > 0)
        std::printf("%-44s %14.0f %14.0f %8.2f\n", lpName, dOurs, dGmp, dGmp / dOurs);
    else
        std::printf("%-44s %14.0f %14s %8s\n", lpName, dOurs, "-", "-");
}

#ifdef KRXML_HAVE_GMP
class Mpz
{
public:
    Mpz() { mpz_init(m); }
    explicit Mpz(const std::string& str) { mpz_init_set_str(m, str.c_str(), 10); }
    ~Mpz() { mpz_clear(m); }
    Mpz(const Mpz&) = delete;
    Mpz& operator=(const Mpz&) = delete;
    mpz_t m;
};
#endif

void ParsePrint(const char* lpName, const std::string& strText, bool bDecimal, int nOps)
{
    double dOurs = OpsPerSecond(nOps, [&] {
        size_t n = 0;
        for (int i = 0; i < nOps; ++i)
        {
            if (bDecimal)
                n += CDecimal(strText.c_str()).ToString().size();
            else
                n += CBigInteger(strText.c_str()).ToString().size();
        }
        g_nSink = g_nSink + n;
    });
    double dGmp = 0;
#ifdef KRXML_HAVE_GMP
    if (bDecimal)
    {
        // mpf reads the decimal text and gives back digits and an exponent; the point is put in.
        mpf_t f;
        mpf_init2(f, 128);
        std::vector<char> buf(strText.size() + 16);
        dGmp = OpsPerSecond(nOps, [&] {
            size_t n = 0;
            for (int i = 0; i < nOps; ++i)
            {
                mpf_set_str(f, strText.c_str(), 10);
                mp_exp_t nExp;
                mpf_get_str(buf.data(), &nExp, 10, 0, f);
                std::string str(buf.data());
                if (nExp > 0 && static_cast<size_t>(nExp) < str.size())
                    str.insert(static_cast<size_t>(nExp), ".");
                n += str.size();
            }
            g_nSink = g_nSink + n;
        });
        mpf_clear(f);
    }
    else
    {
        Mpz z;
        std::vector<char> buf(strText.size() + 16);
        dGmp = OpsPerSecond(nOps, [&] {
            size_t n = 0;
            for (int i = 0; i < nOps; ++i)
            {
                mpz_set_str(z.m, strText.c_str(), 10);
                mpz_get_str(buf.data(), 10, z.m);
                n += std::string(buf.data()).size();
            }
            g_nSink = g_nSink + n;
        });
    }
#endif
    Row(lpName, dOurs, dGmp);
}

enum Op
{
    OpAdd,
    OpMul,
    OpDiv
};

void IntegerOp(const char* lpName, Op op, const std::string& strA, const std::string& strB, int nOps)
{
    const CBigInteger a(strA.c_str()), b(strB.c_str());
    double dOurs = OpsPerSecond(nOps, [&] {
        size_t n = 0;
        for (int i = 0; i < nOps; ++i)
        {
            CBigInteger r = op == OpAdd ? a + b : (op == OpMul ? a * b : a / b);
            n += r.IsZero() ? 0 : 1;
        }
        g_nSink = g_nSink + n;
    });
    double dGmp = 0;
#ifdef KRXML_HAVE_GMP
    Mpz za(strA), zb(strB);
    dGmp = OpsPerSecond(nOps, [&] {
        size_t n = 0;
        for (int i = 0; i < nOps; ++i)
        {
            // A fresh result each time, as the operators above return one.
            Mpz r;
            if (op == OpAdd)
                mpz_add(r.m, za.m, zb.m);
            else if (op == OpMul)
                mpz_mul(r.m, za.m, zb.m);
            else
                mpz_tdiv_q(r.m, za.m, zb.m);
            n += mpz_sgn(r.m) != 0;
        }
        g_nSink = g_nSink + n;
    });
#endif
    Row(lpName, dOurs, dGmp);
}

// Decimals of nInt integer and nFrac fraction digits. GMP works on the same values scaled to
// integers: addition and multiplication exact, division as a * 10^32 / b truncated.
void DecimalOp(const char* lpName, Op op, std::mt19937_64& rng, size_t nInt, size_t nFrac, int nOps)
{
    const std::string strA = RandomDigits(rng, nInt) + "." + RandomDigits(rng, nFrac);
    const std::string strB = RandomDigits(rng, nInt) + "." + RandomDigits(rng, nFrac);
    const CDecimal a(strA.c_str()), b(strB.c_str());
    double dOurs = OpsPerSecond(nOps, [&] {
        size_t n = 0;
        for (int i = 0; i < nOps; ++i)
        {
            CDecimal r = op == OpAdd ? a + b : (op == OpMul ? a * b : a / b);
            n += r.GetFractionDivider();
        }
        g_nSink = g_nSink + n;
    });
    double dGmp = 0;
#ifdef KRXML_HAVE_GMP
    std::string strSa = strA, strSb = strB;
    strSa.erase(nInt, 1);
    strSb.erase(nInt, 1);
    Mpz za(strSa), zb(strSb), zScale;
    mpz_ui_pow_ui(zScale.m, 10, 32);
    dGmp = OpsPerSecond(nOps, [&] {
        size_t n = 0;
        for (int i = 0; i < nOps; ++i)
        {
            Mpz r;
            if (op == OpAdd)
            {
                mpz_add(r.m, za.m, zb.m);
            }
            else if (op == OpMul)
            {
                mpz_mul(r.m, za.m, zb.m);
            }
            else
            {
                mpz_mul(r.m, za.m, zScale.m);
                mpz_tdiv_q(r.m, r.m, zb.m);
            }
            n += mpz_sgn(r.m) != 0;
        }
        g_nSink = g_nSink + n;
    });
#endif
    Row(lpName, dOurs, dGmp);
}

void LongNumbers(std::mt19937_64& rng)
{
    // The product has twice the digits the library lets a number hold by default.
    struct CNoDigitCap
    {
        uint32_t nSaved = CKrLimits::GetMaxNumberDigits();
        CNoDigitCap() { CKrLimits::SetMaxNumberDigits(0); }
        ~CNoDigitCap() { CKrLimits::SetMaxNumberDigits(nSaved); }
    } noCap;
    const std::string strA = RandomDigits(rng, 100000), strB = RandomDigits(rng, 100000);
    CBigInteger a, b, p, q;
    double dParse = BestSeconds(3, [&] {
        a = CBigInteger(strA.c_str());
        b = CBigInteger(strB.c_str());
    });
    std::string strOut;
    double dPrint = BestSeconds(3, [&] { strOut = a.ToString(); });
    double dMul = BestSeconds(3, [&] { p = a * b; });
    double dDiv = BestSeconds(3, [&] { q = p / b; });
    g_nSink = g_nSink + strOut.size() + (q == a ? 1 : 0);
    std::printf("\n100000-digit integers (ms): parse two %.2f, print %.2f, multiply %.2f, divide 200000 by 100000 "
                "digits %.2f\n",
                dParse * 1e3, dPrint * 1e3, dMul * 1e3, dDiv * 1e3);
#ifdef KRXML_HAVE_GMP
    Mpz za, zb, zp, zq;
    std::vector<char> buf(strA.size() + 16);
    double gParse = BestSeconds(3, [&] {
        mpz_set_str(za.m, strA.c_str(), 10);
        mpz_set_str(zb.m, strB.c_str(), 10);
    });
    double gPrint = BestSeconds(3, [&] { mpz_get_str(buf.data(), 10, za.m); });
    double gMul = BestSeconds(3, [&] { mpz_mul(zp.m, za.m, zb.m); });
    double gDiv = BestSeconds(3, [&] { mpz_tdiv_q(zq.m, zp.m, zb.m); });
    std::printf("GMP, the same (ms):         parse two %.2f, print %.2f, multiply %.2f, divide 200000 by 100000 "
                "digits %.2f\n",
                gParse * 1e3, gPrint * 1e3, gMul * 1e3, gDiv * 1e3);
#endif
}

} // namespace

int main()
{
#ifndef KRXML_HAVE_GMP
    std::printf("GMP not found: only this library's figures are shown.\n");
#endif
    std::mt19937_64 rng(42);
    std::printf("%-44s %14s %14s %8s\n", "operations per second", "KrXmlLib16", "GMP", "GMP/ours");
    ParsePrint("decimal parse+print \"12345.6789\"", "12345.6789", true, 200000);
    ParsePrint("decimal parse+print \"-0.000123456789\"", "-0.000123456789", true, 200000);
    const std::string str20 = RandomDigits(rng, 20), str10 = RandomDigits(rng, 10);
    const std::string str300 = RandomDigits(rng, 300), str150 = RandomDigits(rng, 150);
    const std::string str20b = RandomDigits(rng, 20), str300b = RandomDigits(rng, 300);
    ParsePrint("integer parse+print, 20 digits", str20, false, 200000);
    ParsePrint("integer parse+print, 300 digits", str300, false, 50000);
    ParsePrint("decimal parse+print, 300 digits", str150 + "." + str150, true, 50000);

    IntegerOp("integer add, 20 + 20 digits", OpAdd, str20, str20b, 200000);
    IntegerOp("integer add, 300 + 300 digits", OpAdd, str300, str300b, 100000);
    IntegerOp("integer multiply, 20 x 20 digits", OpMul, str20, str20b, 200000);
    IntegerOp("integer multiply, 300 x 300 digits", OpMul, str300, str300b, 20000);
    IntegerOp("integer divide, 20 / 10 digits", OpDiv, str20, str10, 200000);
    IntegerOp("integer divide, 300 / 150 digits", OpDiv, str300, str150, 20000);

    DecimalOp("decimal add, 14.6 + 14.6 digits", OpAdd, rng, 14, 6, 200000);
    DecimalOp("decimal add, 290.10 + 290.10 digits", OpAdd, rng, 290, 10, 50000);
    DecimalOp("decimal multiply, 14.6 x 14.6 digits", OpMul, rng, 14, 6, 200000);
    DecimalOp("decimal multiply, 290.10 x 290.10 digits", OpMul, rng, 290, 10, 20000);
    DecimalOp("decimal divide, 14.6 / 14.6 digits", OpDiv, rng, 14, 6, 100000);
    DecimalOp("decimal divide, 290.10 / 290.10 digits", OpDiv, rng, 290, 10, 20000);

    LongNumbers(rng);
    return 0;
}
