// The caps of CKrLimits: what each refuses, with which message, how cheaply, and that the
// documents and values below a cap pass whole.
#include "testsupport.h"

#include <chrono>
#include <cstdio>
#include <string>

#include "krxmllib.h"

using namespace KrXmlLib16;
using KrXmlTest::DepthScope;
using KrXmlTest::LimitScope;

namespace {

const CSerializationContext& Default() { return CSerializationContext::GetDefaultContext(); }

std::string Nested(uint32_t nLevels, const char* lpInner = "x")
{
    std::string strXml;
    strXml.reserve(nLevels * 7u + 16);
    for (uint32_t i = 0; i < nLevels; ++i)
        strXml += "<e>";
    strXml += lpInner;
    for (uint32_t i = 0; i < nLevels; ++i)
        strXml += "</e>";
    return strXml;
}

// nLevels objects, each the only member "a" of the one around it, around a scalar.
std::string NestedJson(int nLevels)
{
    std::string strJson;
    for (int i = 0; i < nLevels; ++i)
        strJson += "{\"a\":";
    strJson += "1";
    strJson.append(static_cast<size_t>(nLevels), '}');
    return strJson;
}

int Depth(const CElement* p)
{
    int nDepth = 0;
    for (; p; p = p->GetChildElements()->GetCount() ? *p->GetChildElements()->begin() : nullptr)
        ++nDepth;
    return nDepth;
}

std::string DepthMessage(uint32_t nMax, int nLine)
{
    return "Elements are nested more than " + std::to_string(nMax) +
           " levels deep, the limit set by CKrLimits::SetMaxDepth, at line " + std::to_string(nLine);
}

std::string AsText(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

double Seconds(const std::chrono::steady_clock::time_point& start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

// ---- the settings ----

TEST(Limits, DefaultsAndSettersRoundTrip)
{
    struct Cap
    {
        const char* lpName;
        void (*pfnSet)(uint32_t);
        uint32_t (*pfnGet)();
        uint32_t nDefault;
    };
    const Cap aCaps[] = {
        {"depth", &CKrLimits::SetMaxDepth, &CKrLimits::GetMaxDepth, 10000},
        {"number digits", &CKrLimits::SetMaxNumberDigits, &CKrLimits::GetMaxNumberDigits, 50000},
        {"format width", &CKrLimits::SetMaxFormatWidth, &CKrLimits::GetMaxFormatWidth, 1000},
    };
    EXPECT_EQ(10000u, +CKrLimits::kDefaultMaxDepth);
    EXPECT_EQ(50000u, +CKrLimits::kDefaultMaxNumberDigits);
    EXPECT_EQ(1000u, +CKrLimits::kDefaultMaxFormatWidth);
    for (const Cap& cap : aCaps)
    {
        SCOPED_TRACE(cap.lpName);
        EXPECT_EQ(cap.nDefault, cap.pfnGet());
        {
            LimitScope scope(cap.pfnSet, cap.pfnGet, 7);
            EXPECT_EQ(7u, cap.pfnGet());
            cap.pfnSet(0);
            EXPECT_EQ(0u, cap.pfnGet());
            cap.pfnSet(0xFFFFFFFFu);
            EXPECT_EQ(0xFFFFFFFFu, cap.pfnGet());
        }
        EXPECT_EQ(cap.nDefault, cap.pfnGet());
    }
}

// ---- nesting ----

TEST(LimitsDepth, XmlTextAtTheCapPassesAndOneMoreFails)
{
    // The default, and a low cap: every reader of the document gets the same answer.
    for (uint32_t nMax : {10000u, 3u})
    {
        SCOPED_TRACE(nMax);
        DepthScope depth(nMax);
        CXmlDocument doc;
        doc.LoadXml(Nested(nMax).c_str());
        EXPECT_NE(nullptr, doc.GetDocumentElement());
        EXPECT_KR_THROW(doc.LoadXml(Nested(nMax + 1).c_str()), CKrException, DepthMessage(nMax, 1));

        CSmartPtr<CElement> spE(new CElement("x"));
        spE->FromXml(Nested(nMax).c_str());
        EXPECT_EQ(static_cast<int>(nMax), Depth(spE));
        EXPECT_KR_THROW(spE->FromXml(Nested(nMax + 1).c_str()), CKrException, DepthMessage(nMax, 1));
    }
    // The line is where the element that goes too deep starts; siblings don't add up.
    DepthScope depth(2);
    CXmlDocument doc;
    doc.LoadXml("<a>\n<b/><b/>\n</a>");
    EXPECT_KR_THROW(doc.LoadXml("<a>\n<b/>\n<b>\n<c><d/></c></b></a>"), CKrException, DepthMessage(2, 4));
    // 0: no cap at all.
    CKrLimits::SetMaxDepth(0);
    doc.LoadXml(Nested(20000).c_str());
    EXPECT_NE(nullptr, doc.GetDocumentElement());
}

TEST(LimitsDepth, OverlappedFileRouteRefusesToo)
{
    const std::string strPath = KrXmlTest::TempPath("deep.xml");
    KrXmlTest::WriteFileBytes(strPath, Nested(300000));  // more than two chunks of the route
    AsyncFromXmlFile(true);
    CXmlDocument doc;
    try
    {
        doc.Load(strPath.c_str());
        ADD_FAILURE() << "no exception";
    }
    catch (const CKrException& e)
    {
        EXPECT_EQ(DepthMessage(10000, 1), e.GetMessage());
    }
    EXPECT_EQ(nullptr, doc.GetDocumentElement());
    {
        DepthScope depth(300000);
        doc.Load(strPath.c_str());
        EXPECT_NE(nullptr, doc.GetDocumentElement());
    }
    AsyncFromXmlFile(false);
    std::remove(strPath.c_str());
}

TEST(LimitsDepth, FastInfosetAtTheCapPassesAndOneMoreFails)
{
    const uint32_t nMax = 10000;
    CSmartPtr<CElement> spE(new CElement("x"));
    CBinaryData atCap, pastCap;
    {
        DepthScope depth(0);
        spE->FromXml(Nested(nMax).c_str());
        atCap = spE->ToFastInfosetStream(FInfoDecl_None, Default(), CompressionType_None);
        spE->FromXml(Nested(nMax + 1).c_str());
        pastCap = spE->ToFastInfosetStream(FInfoDecl_None, Default(), CompressionType_None);
    }
    spE->FromXmlStream(atCap, Default());
    EXPECT_EQ(static_cast<int>(nMax), Depth(spE));
    const std::string strMessage = "Failed to parse FastInfoset. Elements are nested more than 10000 levels deep, the "
                                   "limit set by CKrLimits::SetMaxDepth.";
    EXPECT_KR_THROW(spE->FromXmlStream(pastCap, Default()), CKrException, strMessage);
    CXmlDocument doc;
    EXPECT_KR_THROW(doc.LoadXmlStream(pastCap.GetData(), pastCap.GetLength()), CKrException, strMessage);
}

TEST(LimitsDepth, JsonTakesTheCapWhereItIsBelowItsOwnBound)
{
    const CSerializationContext& ctx = Default();
    {
        // Values are counted as the JSON parser counts them: five levels here, four elements.
        DepthScope depth(5);
        EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a><a><a><a>1</a></a></a></a>",
                  AsText(JsonToXml(NestedJson(4), ctx)));
        EXPECT_KR_CHAIN(JsonToXml(NestedJson(5), ctx),
                        {{typeid(CKrValidationException),
                          "JSON is nested more than 5 levels deep, the limit set by CKrLimits::SetMaxDepth, at line 1, "
                          "position 26.",
                          "$.a.a.a.a.a"}});
        CSmartPtr<CElement> spE(new CElement("x"));
        EXPECT_THROW(spE->FromJson(NestedJson(5).c_str(), ctx), CKrValidationException);
        spE->FromJson(NestedJson(4).c_str(), ctx);
        EXPECT_EQ(4, Depth(spE));
    }
    // Above the parser's own bound of 100, the bound and its message stand.
    DepthScope depth(1000);
    JsonToXml(NestedJson(99), ctx);
    EXPECT_KR_CHAIN(JsonToXml(NestedJson(100), ctx),
                    {{typeid(CKrValidationException), "JSON exceeded depth limit at line 1, position 501.",
                      "$" + [] {
                          std::string s;
                          for (int i = 0; i < 100; ++i)
                              s += ".a";
                          return s;
                      }()}});
}

TEST(LimitsDepth, DefaultDepthReadsCopiesWritesAndFreesQuickly)
{
    const int kDepth = 10000;
    const std::string strXml = Nested(kDepth);
    const auto start = std::chrono::steady_clock::now();
    CSmartPtr<CElement> spE(new CElement("x"));
    spE->FromXml(strXml.c_str());
    EXPECT_EQ(strXml, spE->ToXml(false, false, EOLType_LF, Default()));
    // Formatted, every tag but the innermost pair stands on a line of its own, indented by its
    // depth: (kDepth - 1)^2 tabs in all, and a line end after each line.
    const std::string strFormatted = spE->ToXml(false, true, EOLType_LF, Default());
    EXPECT_EQ(static_cast<size_t>(kDepth - 1) * (kDepth - 1) + strXml.size() + 2 * (kDepth - 1) + 1,
              strFormatted.size());
    CSmartPtr<CElement> spCopy = spE->Clone();
    spE = nullptr;
    EXPECT_EQ(kDepth, Depth(spCopy));
    spCopy = nullptr;
    EXPECT_LT(Seconds(start), 5.0);
}

TEST(LimitsDepth, TwoHundredThousandLevelsWithTheCapRaised)
{
    const int kDepth = 200000;
    DepthScope depth(kDepth);
    const std::string strXml = Nested(kDepth);
    CSmartPtr<CElement> spE(new CElement("x"));
    spE->FromXml(strXml.c_str());
    EXPECT_EQ(strXml, spE->ToXml(false, false, EOLType_LF, Default()));
    const std::string strJson = spE->ToJson(false, EOLType_LF, Default());
    EXPECT_EQ(static_cast<size_t>(kDepth) * 7 + 3, strJson.size());  // {"e": ...{"e": "x"}...}
    CBinaryData fi = spE->ToFastInfosetStream(FInfoDecl_None, Default(), CompressionType_None);
    CSmartPtr<CElement> spCopy = spE->Clone();
    spE = nullptr;
    spCopy->FromXmlStream(fi, Default());
    EXPECT_EQ(kDepth, Depth(spCopy));
    // The document tree alone: test_document.
}

// ---- digits ----

TEST(LimitsDigits, HugeExponentsAndTextsAreRefusedBeforeTheyCost)
{
    const std::string strText = "The string representing a Decimal has more than 50000 digits, the limit set by "
                                "CKrLimits::SetMaxNumberDigits.";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_KR_THROW(CDecimal("1E1000000"), CKrInvalidValueException, strText);
    EXPECT_KR_THROW(CDecimal("1E50000"), CKrInvalidValueException, strText);
    EXPECT_KR_THROW(CDecimal("0.000123E50004"), CKrInvalidValueException, strText);  // 123 then 50,001 zeros...
    EXPECT_KR_THROW(CBigInteger("1E999999"), CKrInvalidValueException, strText);     // ...read as a decimal
    EXPECT_LT(Seconds(start), 0.5);
    EXPECT_EQ(50000u, CDecimal("1E49999").ToString().size());
    EXPECT_EQ("123" + std::string(49997, '0'), CDecimal("0.000123E50003").ToString());
    EXPECT_EQ("0.5", CDecimal(("0" + std::string(60000, '0') + ".5").c_str()).ToString());  // leading zeros hold none

    const std::string strLong(50001, '7');
    EXPECT_KR_THROW(CDecimal(strLong.c_str()), CKrInvalidValueException, strText);
    EXPECT_KR_THROW(CBigInteger(strLong.c_str()), CKrInvalidValueException,
                    "The string representing an Integer has more than 50000 digits, the limit set by "
                    "CKrLimits::SetMaxNumberDigits.");
    EXPECT_EQ(strLong.substr(1), CBigInteger(strLong.substr(1).c_str()).ToString());
    // A document's value fails with the path of its element (test_engine_read has the chain).
    EXPECT_KR_THROW(CConversions::decimalFromString("-1e60000", CWhitespaceUtils::WhitespaceRule_Collapse), CKrInvalidValueException,
                    strText);
    // Switched off, the size of the text is all that bounds it.
    LimitScope off(&CKrLimits::SetMaxNumberDigits, &CKrLimits::GetMaxNumberDigits, 0);
    EXPECT_EQ(50001u, CDecimal("1E50000").ToString().size());
}

TEST(LimitsDigits, ArithmeticStopsAtTheCapBeforeComputing)
{
    LimitScope cap(&CKrLimits::SetMaxNumberDigits, &CKrLimits::GetMaxNumberDigits, 20);
    const std::string strOver = "would have more than 20 digits, the limit set by CKrLimits::SetMaxNumberDigits.";
    const CBigInteger ten10("9999999999"), ten11("99999999999");
    EXPECT_EQ("99999999980000000001", (ten10 * ten10).ToString());  // 20 digits
    EXPECT_KR_THROW(ten10 * ten11, CKrOverFlowException, "The result of operator* " + strOver);
    // 10^10 * 10^10 has 21 digits although its factors make 22: caught after the product.
    EXPECT_KR_THROW(CBigInteger("10000000000") * CBigInteger("10000000000"), CKrOverFlowException,
                    "The result of operator* " + strOver);
    CBigInteger x(ten10);
    EXPECT_KR_THROW(x *= ten11, CKrOverFlowException, "The result of operator* " + strOver);
    EXPECT_EQ("9999999999", x.ToString());  // unchanged
    EXPECT_EQ(20u, CBigInteger::Pow10(19).ToString().size());
    EXPECT_KR_THROW(CBigInteger::Pow10(20), CKrOverFlowException, "The result of Pow10 " + strOver);
    EXPECT_KR_THROW(CBigInteger::Pow10(4000000000u), CKrOverFlowException, "The result of Pow10 " + strOver);

    // Decimals: the integer part counts, the fraction is bounded by the places kept.
    EXPECT_EQ("9999999998.0000000001", (CDecimal("99999.99999") * CDecimal("99999.99999")).ToString());
    EXPECT_KR_THROW(CDecimal("9999999999.5") * CDecimal("99999999999.5"), CKrOverFlowException,
                    "The result of operator* " + strOver);
    EXPECT_KR_THROW(CDecimal("99999999999") / CDecimal("0.0000000001"), CKrOverFlowException,
                    "The result of operator/ " + strOver);
    EXPECT_EQ("99999999990000000000", (CDecimal("9999999999") / CDecimal("0.0000000001")).ToString());
}

TEST(LimitsDigits, SlowestOperationsAtTheCapStayFast)
{
    // Operands at the default cap of 50,000 digits: the division of the longest by half its
    // length, and the square root, are the costly ones (Knuth's division is quadratic).
    std::string strA(50000, '7'), strB(25000, '3');
    strA[0] = '9';
    strB[12345] = '8';
    const CBigInteger a(strA.c_str()), b(strB.c_str());
    auto start = std::chrono::steady_clock::now();
    const CBigInteger q = a / b;
    const CBigInteger r = a % b;
    EXPECT_TRUE(q * b + r == a);
    const CBigInteger s = a.SquareRoot();
    EXPECT_TRUE(s * s <= a && (s + CBigInteger(1)) * (s + CBigInteger(1)) > a);
    // The square of the root of the greatest value passes the cap: the root doesn't mind.
    const CBigInteger nines(std::string(50000, '9').c_str());
    EXPECT_EQ(std::string(25000, '9'), nines.SquareRoot().ToString());
    const CDecimal d((strA.substr(0, 25000) + ".25").c_str());
    EXPECT_TRUE((d * CDecimal(strB.substr(1).c_str())) / CDecimal(strB.substr(1).c_str()) == d);
    const double dSeconds = Seconds(start);
    // Release builds take a few hundredths; sanitizers and a busy machine, many times that.
    EXPECT_LT(dSeconds, 10.0);
    RecordProperty("seconds", std::to_string(dSeconds));
}

// ---- format overrides ----

TEST(LimitsFormat, WidthOfAnOverrideIsCapped)
{
    typedef CConversions C;
    const CDecimal d("1.25");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_KR_THROW(C::decimalToString(d, "31234524567890"), CKrInvalidParamException,
                    "The format override [31234524567890] is wider than 1000 characters, the limit set by "
                    "CKrLimits::SetMaxFormatWidth.");
    EXPECT_LT(Seconds(start), 0.5);
    EXPECT_KR_THROW(C::decimalToString(d, "1001"), CKrInvalidParamException,
                    "The format override [1001] is wider than 1000 characters, the limit set by "
                    "CKrLimits::SetMaxFormatWidth.");
    EXPECT_EQ("1.25" + std::string(998, '0'), C::decimalToString(d, "1000"));
    // Floats: the width and the precision alike.
    struct Row
    {
        const char* lpFormat;
        bool bRefused;
    };
    for (const Row& row : {Row{"%1000.2f", false}, Row{"%.1000e", false}, Row{"%1001.2f", true},
                           Row{"%10.1001f", true}, Row{"x%-9999g", true}})
    {
        SCOPED_TRACE(row.lpFormat);
        if (row.bRefused)
        {
            const std::string strMessage = std::string("The format override [") + row.lpFormat +
                                           "] is wider than 1000 characters, the limit set by "
                                           "CKrLimits::SetMaxFormatWidth.";
            EXPECT_KR_THROW(C::r8ToString(2.5, row.lpFormat), CKrInvalidParamException, strMessage);
            EXPECT_KR_THROW(C::r4ToString(2.5f, row.lpFormat), CKrInvalidParamException, strMessage);
        }
        else
        {
            EXPECT_GE(C::r8ToString(2.5, row.lpFormat).size(), 1000u);
        }
    }
    LimitScope off(&CKrLimits::SetMaxFormatWidth, &CKrLimits::GetMaxFormatWidth, 0);
    EXPECT_EQ(5002u, C::decimalToString(d, "5000").size());
    EXPECT_EQ(9999u, C::r8ToString(2.5, "%9999.1f").size());
}
