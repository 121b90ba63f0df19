#include "testsupport.h"

#include <vector>

#include "krxmllib.h"

using namespace KrXmlLib16;
using namespace KrXmlLib16Data;

namespace {

const CWhitespaceUtils::WhitespaceRule kCollapse = CWhitespaceUtils::WhitespaceRule_Collapse;

// The facets the tests set; "" and -1 are absent.
struct Facets { const char* lpPattern; int iMaxLength; const char* lpMaxInclusive; int iFractionDigits; };
const Facets kNone = {"", -1, "", -1};

template <class C>
C* New(const char* lpName, const char* lpNs, int iMin, int iMax, const Facets& f = kNone, const char* lpFormat = "")
{
    return new C(lpName, lpNs, iMin, iMax, f.lpPattern, -1, f.iMaxLength, "", f.lpMaxInclusive, "", "", -1, -1,
                 f.iFractionDigits, kCollapse, lpFormat);
}
template <class C>
CXmlTypeCollection* Make(const char* lpFormat, const Facets& f)
{
    return New<C>("v", "", 0, -1, f, lpFormat);
}

// Remembers the item kind handed to the writer with each text.
struct CKindWriter : CXmlTextWriter
{
    explicit CKindWriter(CTextStream* pStream) : CXmlTextWriter(pStream) {}
    std::vector<ItemType> m_kinds;
    void WriteElementText(const std::string& strText, ItemType eType, bool bIsDefault) override
    {
        m_kinds.push_back(eType);
        CXmlTextWriter::WriteElementText(strText, eType, bIsDefault);
    }
};

// Writes a collection as a parent does, through the protected forwarder, passing a namespace of its own.
struct CWriteProbe : CXmlObjectBase
{
    static void Write(const CXmlObjectBase* pCol, CXmlWriter* pWriter, const CSerializationContext& ctx)
    {
        ToXml_Int(pCol, pWriter, false, "urn:parent", ctx, false);
    }
};

// The collection's items inside <r>, unformatted; the kinds handed to the writer go to pKinds.
std::string Write(const CXmlTypeCollection* pCol, const CSerializationContext& ctx = CSerializationContext(),
                  std::vector<ItemType>* pKinds = nullptr, const char* lpRootNamespace = "")
{
    CTextStream stream;
    CKindWriter writer(&stream);
    writer.StartDocument();
    writer.SetFormatted(false);
    writer.SetDefaultNamespace(lpRootNamespace);
    writer.StartElement("r", lpRootNamespace);
    CWriteProbe::Write(pCol, &writer, ctx);
    writer.EndElement();
    writer.EndDocument();
    if (pKinds)
        *pKinds = writer.m_kinds;
    return stream.GetText();
}

// "<v>a</v><v>b</v>" of "a|b".
std::string Items(std::string strTexts)
{
    for (size_t i; (i = strTexts.find('|')) != std::string::npos;)
        strTexts.replace(i, 1, "</v><v>");
    return "<v>" + strTexts + "</v>";
}

// The message of what f raises; with bInner the message of its inner exception behind the path.
template <class F>
std::string FailureOf(F f, bool bInner = false)
{
    try { f(); }
    catch (const CKrException& e)
    {
        if (!bInner)
            return e.GetMessage();
        return e.GetPath() + ": " + (e.GetInnerException() ? e.GetInnerException()->GetMessage() : "(none)");
    }
    return "(no failure)";
}

// Reads the siblings of <r> from the first on; returns the local name of what was left, "" for nothing.
std::string Read(CXmlTypeCollection* pCol, const std::string& strXml, const CSerializationContext& ctx)
{
    CXmlDocument doc;
    doc.LoadXml(strXml.c_str());
    CXmlElement* pRoot = doc.GetDocumentElement();
    CXmlElement* pLeft = pCol->FromXml_Int(pRoot, pRoot->GetFirstElement(), ctx, false);
    return pLeft ? pLeft->GetLocalName() : "";
}

// Item texts are '|'-separated. lpBad is null for kinds whose reading can't fail; a null
// lpRefusedMessage means the kind has no check that fails.
struct KindCase
{
    const char* lpClass;
    CXmlTypeCollection* (*make)(const char*, const Facets&);
    ItemType eKind;
    const char *lpFormat, *lpRead, *lpWritten, *lpBad, *lpBadMessage;
    Facets facets;
    const char *lpRefused, *lpRefusedMessage;
};

#define KIND(Class, Kind) #Class, &Make<Class>, Kind
const Facets kMax5 = {"", -1, "5", -1};
const char* const kNot6 = "Invalid Value for v [6]";
const char* const kNot6Dot = "Invalid Value for v [6].";
const std::string k40Digits = "-12345678901234567890.12345678901234567891";
const KindCase kKinds[] = {
    {KIND(Cbase64BinaryCol, ItemType_base64Binary), "", " AAH/ gA== |YWJj", "AAH/gA==|YWJj", nullptr, nullptr,
     {"", 3, "", -1}, "AAH/gA==", "Invalid Value for v [AAH/gA==]."},
    {KIND(ChexBinaryCol, ItemType_hexBinary), "", "0001ff80", "0001FF80", "0G", "Invalid char in hex string [G]",
     {"", 2, "", -1}, "000102", "Invalid Value for v [000102]."},
    {KIND(CbooleanCol, ItemType_boolean), "", "1| false |TRUE", "true|false|true", "yes",
     "A Boolean Value read from an XML document was invalid [yes]. Valid values are 'true', 'false', '1', or '0'",
     kMax5, "true", nullptr},
    {KIND(Ci1Col, ItemType_i1), "", "-128|127", "-128|127", "128", "The value [128] is to large to fit in a i1",
     kMax5, "6", kNot6},
    {KIND(Ci2Col, ItemType_i2), "", "-32768| +7 ", "-32768|7", "x", "The value [x] can not be converted to a i4",
     kMax5, "6", kNot6},
    {KIND(Ci4Col, ItemType_i4), "", " 12 |-2147483648", "12|-2147483648", "2147483648",
     "The value [2147483648] is to large to fit in a i4", kMax5, "6", kNot6},
    {KIND(Ci8Col, ItemType_i8), "", "-9223372036854775808|9223372036854775807",
     "-9223372036854775808|9223372036854775807", "9223372036854775808",
     "The value [9223372036854775808] is to large to fit in a i8", kMax5, "6", kNot6Dot},
    {KIND(Cui1Col, ItemType_ui1), "", "0|255", "0|255", "256", "The value [256] is to large to fit in a ui1",
     kMax5, "6", kNot6},
    {KIND(Cui2Col, ItemType_ui2), "", "65535", "65535", "-1", "The value [-1] is to large to fit in a ui2",
     kMax5, "6", kNot6},
    {KIND(Cui4Col, ItemType_ui4), "", "4294967295|-1", "4294967295|4294967295", "4294967296",
     "The value [4294967296] is to large to fit in a ui4", kMax5, "6", kNot6},
    {KIND(Cui8Col, ItemType_ui8), "", "18446744073709551615", "18446744073709551615", "18446744073709551616",
     "The value [18446744073709551616] is to large to fit in a ui8", kMax5, "6", kNot6Dot},
    {KIND(Cr4Col, ItemType_r4), "%.2f", "1.5|NaN|-INF", "1.50|NaN|-INF", "1,5",
     "The value [1,5] can not be converted to a r4", {"", -1, "1.5", -1}, "2", "Invalid Value for v [2.000000]"},
    {KIND(Cr8Col, ItemType_r8), "%.3e", "0.1|1e999", "1.000e-01|INF", "abc",
     "The value [abc] can not be converted to a r8", {"", -1, "1.5", -1}, "2", "Invalid Value for v [2.000000]"},
    {KIND(CdecimalCol, ItemType_decimal), "", k40Digits.c_str(), k40Digits.c_str(), "1.2.3",
     "The string representing a Decimal, contained an invalid char at position 3 [1.2.3].", {"", -1, "", 1}, "1.25",
     "Invalid Value for v [1.25]."},
    {KIND(CdecimalCol, ItemType_decimal), "2", "1.5|-7", "1.50|-7.00", nullptr, nullptr, kMax5, "6", kNot6Dot},
    {KIND(CintegerCol, ItemType_integer), "", "-123456789012345678901234567890", "-123456789012345678901234567890",
     "12a", "The string representing a Decimal, contained an invalid char at position 2 [12a].", kMax5, "6",
     kNot6Dot},
    {KIND(CstringCol, ItemType_string), "", "  a \t b  ", "a b", nullptr, nullptr, {"[a-z]+", -1, "", -1}, "A1",
     "Invalid Value for v [A1]."},
    {KIND(CdurationCol, ItemType_duration), "", "P1Y2M3DT4H5M6.789S|-P1D", "P1Y2M3DT4H5M6.789S|-P1D", "P1S",
     "Invalid XSD Duration [P1S] expected [-]P[nY][nM][nD][T[nH][nM][nS.ff]]", {"", -1, "P1D", -1}, "P2D",
     "Invalid Value for v [P2D]."},
    {KIND(CyearCol, ItemType_year), "", "2024|0005", "2024|5", "---05", "Failed to GetYear. Invalid Date Type: gDay.",
     {"", -1, "2000", -1}, "2001", "Invalid Value for v [2001]"},
    {KIND(CmonthCol, ItemType_month), "", "--05|2005-03-01", "--05|--03", "---05",
     "Failed to GetMonth. Invalid Date Type: gDay.", {"", -1, "--06", -1}, "--07", "Invalid Value for v [7]"},
    {KIND(CdayCol, ItemType_day), "", "---05", "---05", "---32", "Invalid Day [32] (1 <= day <= 31)",
     {"", -1, "---10", -1}, "---11", "Invalid Value for v [11]"},
    {KIND(CdatetimeCol, ItemType_datetime), "", "2024-02-29T10:20:30Z", "2024-02-29T10:20:30Z", "2024-01-01",
     "Invalid XSD DateTime [2024-01-01].", {"", -1, "2024-01-01T00:00:00", -1}, "2024-01-01T00:00:01",
     "Invalid Value for v [2024-01-01T00:00:01]."},
    {KIND(CdateCol, ItemType_date), "", "2024-02-29", "2024-02-29", "2024-01",
     "Dates added to this collection must be of type dt_date", {"", -1, "2024-01-01", -1}, "2024-01-02",
     "Invalid Value for v [2024-01-02]."},
    {KIND(CtimeCol, ItemType_time), "", "10:20:30.5", "10:20:30.5", "10:00",
     "Invalid XSD Time [10:00] expected hh:mm:ss[.ff]", {"", -1, "10:00:00", -1}, "11:00:00",
     "Invalid Value for v [11:00:00]."},
    {KIND(CyearMonthCol, ItemType_yearMonth), "", "2024-02", "2024-02", "2024-01-01",
     "Dates added to this collection must be of type dt_gYearMonth", {"", -1, "2024-01", -1}, "2024-02",
     "Invalid Value for v [2024-02]."},
    {KIND(CmonthDayCol, ItemType_monthDay), "", "--02-29", "--02-29", "--05",
     "Dates added to this collection must be of type dt_gMonthDay", {"", -1, "--01-01", -1}, "--01-02",
     "Invalid Value for v [--01-02]."},
};
#undef KIND

TEST(TypedCollection, EveryKindReadsWritesRefusesBadTextAndChecksFacets)
{
    const CSerializationContext ctx;
    for (const KindCase& c : kKinds)
    {
        SCOPED_TRACE(c.lpClass);
        CSmartPtr<CXmlTypeCollection> spCol(c.make(c.lpFormat, kNone));
        EXPECT_EQ(c.eKind, spCol->GetItemType());
        EXPECT_EQ("stop", Read(spCol, "<r>" + Items(c.lpRead) + "<stop/></r>", ctx));
        std::vector<ItemType> kinds;
        EXPECT_EQ("<r>" + Items(c.lpWritten) + "</r>", Write(spCol, ctx, &kinds));
        // Every date kind goes to the writer as a dateTime.
        const bool bDate = dynamic_cast<CdatetimeBaseCol*>(static_cast<CXmlTypeCollection*>(spCol)) != nullptr;
        EXPECT_EQ(std::vector<ItemType>(kinds.size(), bDate ? ItemType_datetime : c.eKind), kinds);
        EXPECT_EQ(static_cast<int>(kinds.size()), spCol->GetCount());

        if (c.lpBad)
        {
            CSmartPtr<CXmlTypeCollection> spBad(c.make(c.lpFormat, kNone));
            const std::string strBad = "<r><v>" + std::string(c.lpBad) + "</v></r>";
            EXPECT_EQ(c.lpBadMessage, FailureOf([&] { Read(spBad, strBad, ctx); }));
            EXPECT_EQ(0, spBad->GetCount());
        }
        // Items read from a document meet the facets too.
        CSmartPtr<CXmlTypeCollection> spFacets(c.make(c.lpFormat, c.facets));
        const std::string strRefused = "<r><v>" + std::string(c.lpRefused) + "</v></r>";
        EXPECT_EQ(c.lpRefusedMessage ? c.lpRefusedMessage : "(no failure)",
                  FailureOf([&] { Read(spFacets, strRefused, ctx); }));
        EXPECT_EQ(c.lpRefusedMessage ? 0 : 1, spFacets->GetCount());
    }
}

// ---- events ----

// Logs the events as codes: C change, A add, a add complete, R remove, r remove complete; an
// index given with a removal follows its code.
class CRecorder : public IEventSink
{
public:
    std::string m_strLog;
    void OnEvent(CXmlObjectBase*, MsgType eMsg, void* pParam) override
    {
        m_strLog += "CAaRr"[eMsg];
        if ((eMsg == MsgType_CollectionRemove || eMsg == MsgType_CollectionRemoveComplete) && pParam)
            m_strLog += std::to_string(*static_cast<int*>(pParam));
    }
    std::string Take() { std::string s; s.swap(m_strLog); return s; }
};

TEST(TypedCollection, EventsOfAValueKind)
{
    CSmartPtr<Ci4Col> spCol(New<Ci4Col>("v", "", 0, -1, {"", -1, "5", -1}));
    CRecorder rec;
    spCol->Clear();
    spCol->AddEventListener(&rec);
    spCol->Clear();
    EXPECT_EQ("", rec.Take());
    spCol->Add(3);
    spCol->AddAt(0, 1);
    spCol->AddAt(2, 4);
    EXPECT_EQ("AaCAaCAaC", rec.Take());
    EXPECT_EQ((std::vector<int32_t>{1, 3, 4}), std::vector<int32_t>(spCol->begin(), spCol->end()));
    // A failed add has told its listeners of the attempt, and nothing more.
    EXPECT_KR_THROW(spCol->AddAt(4, 2), CKrInvalidParamException, "Index out of range");
    EXPECT_KR_THROW(spCol->AddAt(-1, 2), CKrInvalidParamException, "Index out of range");
    EXPECT_KR_THROW(spCol->Add(6), CKrException, "Invalid Value for v [6]");
    EXPECT_EQ("AAA", rec.Take());
    EXPECT_EQ(3, spCol->GetCount());
    EXPECT_KR_THROW(spCol->Remove(3), CKrInvalidParamException, "Index 3 is out of range, use 0 - 2");
    EXPECT_KR_THROW(spCol->Item(-1), CKrInvalidParamException, "Index -1 is out of range, use 0 - 2");
    EXPECT_EQ("R3", rec.Take());
    spCol->Remove(1);
    EXPECT_EQ("R1r1C", rec.Take());
    spCol->Clear();
    EXPECT_EQ("R0r0CR0r0C", rec.Take());
    EXPECT_KR_THROW(spCol->Item(0), CKrInvalidParamException, "Index 0 is out of range, use 0 - -1");
}

TEST(TypedCollection, DateKindsTestTheKindBeforeAnyEvent)
{
    CSmartPtr<CdateCol> spCol(New<CdateCol>("d", "", 0, -1, {"", -1, "2024-12-31", -1}));
    CRecorder rec;
    spCol->AddEventListener(&rec);
    EXPECT_KR_THROW(spCol->Add(CDateTime("2024-01-01T00:00:00")), CKrInvalidParamException,
                    "Dates added to this collection must be of type dt_date");
    EXPECT_KR_THROW(spCol->Add(CDateTime(2025, 1, 1)), CKrException, "Invalid Value for d [2025-01-01].");
    EXPECT_EQ("", rec.Take());
    // The range is tested last, behind the add event.
    EXPECT_KR_THROW(spCol->AddAt(1, CDateTime(2024, 1, 1)), CKrInvalidParamException, "Index out of range");
    EXPECT_EQ("A", rec.Take());
    spCol->Add(CDateTime(2024, 1, 2));
    spCol->AddAt(0, CDateTime(2024, 1, 1));
    EXPECT_EQ("AaCAaC", rec.Take());
    EXPECT_EQ("2024-01-01", spCol->Item(0).ToString("s"));
    EXPECT_KR_THROW(spCol->Remove(-1), CKrInvalidParamException, "Index -1 is out of range, use 0 - 1");
    EXPECT_EQ("R", rec.Take());  // an index of -1 travels as a null parameter
    spCol->Clear();
    EXPECT_EQ("R0r0CR0r0C", rec.Take());

    // The two leaves whose own kind no text can miss (see the kind table for the others).
    CDateTime time;
    time.ParseXSDTime("10:00:00");
    CSmartPtr<CdatetimeCol> spDateTimes(New<CdatetimeCol>("v", "", 0, -1));
    EXPECT_KR_THROW(spDateTimes->Add(time), CKrInvalidParamException,
                    "Dates added to this collection must be of type dt_dateTime");
    CSmartPtr<CtimeCol> spTimes(New<CtimeCol>("v", "", 0, -1));
    EXPECT_KR_THROW(spTimes->Add(CDateTime(2024, 1, 1)), CKrInvalidParamException,
                    "Dates added to this collection must be of type dt_time");
}

// ---- reading a run of siblings and writing ----

TEST(TypedCollection, ReadingStopsAtTheFirstOtherSiblingAndHonoursNamespaceSwitches)
{
    const std::string strXml =
        "<r xmlns='urn:a'><v>1</v><v> 2 </v><v xmlns='urn:b'>3</v><w>4</w><v>5</v></r>";
    CSerializationContext plain, ignore, noNs;
    ignore.SetIgnoreNamespaces(true);
    noNs.SetSchemaType(SchemaType_NoNamespaces);
    const struct { const CSerializationContext* pCtx; const char* lpLeft; const char* lpTaken; } cases[] = {
        {&plain, "v", "<v>1</v><v>2</v>"}, {&ignore, "w", "<v>1</v><v>2</v><v>3</v>"},
        {&noNs, "w", "<v>1</v><v>2</v><v>3</v>"}};
    for (const auto& c : cases)
    {
        CSmartPtr<Ci4Col> spCol(New<Ci4Col>("v", "urn:a", 0, -1));
        EXPECT_EQ(c.lpLeft, Read(spCol, strXml, *c.pCtx));
        // Items go out under the collection's namespace, whatever namespace the parent passes.
        EXPECT_EQ(std::string("<r xmlns=\"urn:a\">") + c.lpTaken + "</r>", Write(spCol, plain, nullptr, "urn:a"));
    }
    CSmartPtr<Ci4Col> spCol(New<Ci4Col>("v", "urn:a", 0, -1));
    EXPECT_EQ("", Read(spCol, "<r xmlns='urn:a'><v>1</v></r>", plain));
    EXPECT_EQ("w", Read(spCol, "<r xmlns='urn:a'><w/><v>1</v></r>", plain));
    EXPECT_EQ(1, spCol->GetCount());
}

TEST(TypedCollection, WritingChecksTheCountFirst)
{
    CSmartPtr<CstringCol> spCol(New<CstringCol>("s", "", 0, 2));
    EXPECT_EQ("<r/>", Write(spCol));
    Read(spCol, "<r><s>  a\t\n b  </s><s>x&amp;y</s></r>", CSerializationContext());
    EXPECT_EQ("a b", spCol->Item(0));
    EXPECT_EQ("<r><s>a b</s><s>x&amp;y</s></r>", Write(spCol));
    spCol->Add("z");
    EXPECT_KR_THROW(Write(spCol), CKrValidationException,
                    "The Maximum number of [s] elements allowed in this collection is 2");

    CSmartPtr<CdateCol> spDates(New<CdateCol>("d", "", 1, -1));
    EXPECT_KR_THROW(Write(spDates), CKrValidationException,
                    "The Minimum number of [d] elements allowed in this collection is 1");
}

// ---- inside a bound class ----

// A bound class whose sequence holds two repeating primitive members: n (i4, 1 to 3 items, at
// most 100) and d (dates).
class CBag : public CXmlGeneratedClass
{
public:
    CBag() : m_spN(New<Ci4Col>("n", "urn:g", 1, 3, {"", -1, "100", -1})), m_spD(New<CdateCol>("d", "urn:g", 0, -1))
    {
        SetElementName("bag");
    }
    CSmartPtr<Ci4Col> m_spN;
    CSmartPtr<CdateCol> m_spD;
    void InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value) override
    {
        if (bGet)
            value.SetXmlCollection(iPropertyIndex == 0 ? static_cast<CXmlCollectionBase*>(m_spN)
                                                       : static_cast<CXmlCollectionBase*>(m_spD));
    }
    CParentElementInfo* GetClassInfo() override { return Tables().pInfo; }
    CElementInfo** GetClassElementInfo() override { return Tables().ppElements; }
    CAttributeInfo** GetClassAttributeInfo() override { return Tables().ppAttributes; }
    void Init() override { m_spN->Clear(); m_spD->Clear(); }
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return "urn:g"; }

protected:
    std::string GetTargetNamespace() const override { return "urn:g"; }

private:
    struct CTables
    {
        CParentElementInfo* pInfo = new CParentElementInfo(XmlElementGroupType_Sequence, XmlElementType_Element,
                                                           "bag", "urn:g", true, false, -1, ItemType_Invalid, nullptr,
                                                           false);
        CElementInfo** ppElements = new CElementInfo* [3] {
            new CElementInfoSeqPrimCol("n", "urn:g", 0), new CElementInfoSeqPrimCol("d", "urn:g", 1), nullptr
        };
        CAttributeInfo** ppAttributes = new CAttributeInfo* [1] { nullptr };
        ~CTables() { CleanMetaData(pInfo, ppElements, ppAttributes); }
    };
    static CTables& Tables() { static CTables tables; return tables; }
};

TEST(TypedCollection, BoundClassReadsAndWritesItsRuns)
{
    const CSerializationContext ctx;
    CSmartPtr<CBag> spBag(new CBag);
    spBag->FromXml("<bag xmlns='urn:g'><n>1</n><n> 100 </n><d>2024-02-29</d><d>2024-03-01</d></bag>", ctx);
    EXPECT_EQ("<AA:bag xmlns:AA=\"urn:g\"><AA:n>1</AA:n><AA:n>100</AA:n><AA:d>2024-02-29</AA:d><AA:d>2024-03-01</AA:d>"
              "</AA:bag>",
              spBag->ToXml(false, false, EOLType_LF, ctx));

    // Facets and counts are checked on reading; the class names the place.
    const struct { const char* lpXml; const char* lpFailure; } cases[] = {
        {"<bag xmlns='urn:g'><n>1</n><n>101</n></bag>", "/bag: Invalid Value for n [101]"},
        {"<bag xmlns='urn:g'><d>2024-01-01</d></bag>",
         "/bag: The Minimum number of [n] elements allowed in this collection is 1"},
        {"<bag xmlns='urn:g'><n>1</n><n>2</n><n>3</n><n>4</n></bag>",
         "/bag: The Maximum number of [n] elements allowed in this collection is 3"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.lpFailure, FailureOf([&] { spBag->FromXml(c.lpXml, ctx); }, true));
}

} // namespace
