// The Fast Infoset writer, byte for byte: the document frame, names and values by index and
// literal, typed values, namespace declarations, the table limits, and the object roads.
#include "fitestsupport.h"
#include "testsupport.h"

#include <functional>
#include <memory>

#include "krxmllib.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

const char* const kHead = "E0 00 00 01 00 ";

// A writer on a memory stream; Out() finishes the document and gives its bytes in hex.
struct FIWriter
{
    CFastInfosetContext ctx;
    CBinaryStream stream;
    std::unique_ptr<CFastInfosetWriter> w;

    CFastInfosetWriter& Start(FInfoDecl eDecl = FInfoDecl_None)
    {
        w.reset(new CFastInfosetWriter(ctx, &stream));
        w->StartDocument();
        w->WriteHeader(eDecl);
        return *w;
    }
    std::string Out()
    {
        w->WriteFooter();
        w->EndDocument();
        return Hex(stream.GetData());
    }
};

void Leaf(CXmlWriter& w, const char* lpName, const char* lpNs, const char* lpText, ItemType e = ItemType_string)
{
    w.StartElement(lpName, lpNs);
    w.WriteElementText(lpText, e, false);
    w.EndElement();
}

// The calls of the order example: the alias p, the default namespace urn:o; bFurther adds
// an element that repeats a name and a value.
void OrderExample(CXmlWriter& w, bool bFurther = false)
{
    w.SetDefaultNamespace("urn:o");
    w.AddNamespaceAlias("p", "urn:p");
    w.StartElement("order", "urn:o");
    w.WriteAttribute("id", "", "7", ItemType_i4);
    w.StartElement("item", "urn:o");
    w.WriteAttribute("n", "", "1", ItemType_string);
    w.WriteElementText("a", ItemType_string, false);
    w.EndElement();
    Leaf(w, "item", "urn:o", "b");
    Leaf(w, "note", "urn:p", "hi");
    Leaf(w, "qty", "urn:o", "3", ItemType_i4);
    Leaf(w, "ok", "urn:o", "true", ItemType_boolean);
    if (bFurther)
    {
        w.StartElement("item", "urn:o");
        w.WriteAttribute("n", "", "1", ItemType_string);
        w.EndElement();
    }
    w.EndElement();
}

const char* const kOrderStart = "78 CD 04 'urn:o' CF 00 'p' 04 'urn:p' F0 3D 81 04 'order' 78 01 'id' ";
const char* const kOrderItems = " F0 7D 81 03 'item' 78 00 'n' 40 '1' F0 90 'a' F0 01 90 'b' F0 "
                                "3F 81 82 03 'note' 91 'hi' F0 3D 81 02 'qty' ";

} // namespace

TEST(FastInfosetWriter, OrderExampleByteForByte)
{
    FIWriter f;
    OrderExample(f.Start());
    EXPECT_EQ(HexOf(std::string(kHead) + kOrderStart + "40 '7'" + kOrderItems +
                    "90 '3' F0 3D 81 01 'ok' 92 01 'true' FF F0"),
              f.Out());
    EXPECT_EQ(92u, f.stream.GetData().GetLength());

    // Typed: the int and boolean algorithms.
    FIWriter typed;
    typed.ctx.SetSuggestedValues();
    OrderExample(typed.Start());
    EXPECT_EQ(HexOf(std::string(kHead) + kOrderStart + "70 33 00 00 00 07" + kOrderItems +
                    "9C 0E 01 00 00 00 03 F0 3D 81 01 'ok' 9C 14 38 FF F0"),
              typed.Out());

    // Repeats go by index: the element item is 2, the attribute name n 2, the value "1" 2.
    FIWriter again;
    OrderExample(again.Start(), true);
    EXPECT_EQ(HexOf(std::string(kHead) + kOrderStart + "40 '7'" + kOrderItems +
                    "90 '3' F0 3D 81 01 'ok' 92 01 'true' F0 41 01 81 F0 FF F0"),
              again.Out());
}

TEST(FastInfosetWriter, EveryDeclarationInFront)
{
    const char* const texts[] = {"",
                                 "<?xml encoding='finf'?>",
                                 "<?xml encoding='finf' standalone='yes'?>",
                                 "<?xml encoding='finf' standalone='no'?>",
                                 "<?xml version='1.0' encoding='finf'?>",
                                 "<?xml version='1.0' encoding='finf' standalone='yes'?>",
                                 "<?xml version='1.0' encoding='finf' standalone='no'?>",
                                 "<?xml version='1.1' encoding='finf'?>",
                                 "<?xml version='1.1' encoding='finf' standalone='yes'?>",
                                 "<?xml version='1.1' encoding='finf' standalone='no'?>"};
    for (int i = 0; i <= 9; ++i)
    {
        FIWriter f;
        f.Start(static_cast<FInfoDecl>(i)).StartElement("r", "");
        f.w->EndElement();
        EXPECT_EQ(Hex(texts[i]) + (i ? " " : "") + HexOf("E0 00 00 01 00 38 F0 3C 00 'r' FF"), f.Out());
    }
    FIWriter f;
    EXPECT_KR_THROW(f.Start(static_cast<FInfoDecl>(10)), CKrInvalidParamException, "Invalid FInfoDecl value [10]");
}

TEST(FastInfosetWriter, ElementFramesAndValueForms)
{
    const struct
    {
        const char* lpCase;
        std::function<void(FIWriter&)> setup;
        std::function<void(CXmlWriter&)> calls;
        std::string strBody;  // after the header
    } cases[] = {
        {"attributes without content", nullptr,
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.WriteAttribute("a", "", "1", ItemType_string);
             w.EndElement();
         },
         "78 F0 3C 00 'r' 78 00 'a' 40 '1' F0 FF"},
        {"ends in a row share octets", nullptr,
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.StartElement("a", "");
             w.StartElement("b", "");
             w.StartElement("c", "");
             for (int i = 0; i < 4; ++i)
                 w.EndElement();
         },
         "38 F0 3C 00 'r' 3C 00 'a' 3C 00 'b' 3C 00 'c' FF FF F0"},
        {"empty value and empty text", nullptr,
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.WriteAttribute("a", "", "", ItemType_string);
             w.WriteElementText("", ItemType_string, false);
             w.EndElement();
         },
         "78 F0 3C 00 'r' 78 00 'a' FF F0 FF"},
        {"text after a child", nullptr,
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             Leaf(w, "a", "", "");
             w.WriteElementText("t", ItemType_string, true);
             w.EndElement();
         },
         "38 F0 3C 00 'r' 3C 00 'a' F0 90 't' FF"},
        {"short values by index, values at the limit literal", nullptr,
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.WriteAttribute("a", "", "abcde", ItemType_string);
             w.WriteAttribute("b", "", "abcde", ItemType_string);
             w.WriteAttribute("c", "", "abcdef", ItemType_string);
             w.WriteAttribute("d", "", "abcdef", ItemType_string);
             Leaf(w, "e", "", "x");
             Leaf(w, "e", "", "x");
             Leaf(w, "e", "", "abcdef");
             w.EndElement();
         },
         "78 F0 3C 00 'r' 78 00 'a' 44 'abcde' 78 00 'b' 80 78 00 'c' 05 'abcdef' 78 00 'd' 05 'abcdef' F0 "
         "3C 00 'e' 90 'x' F0 01 A0 F0 01 82 03 'abcdef' FF F0"},
        {"no value indexed under a limit of 0",
         [](FIWriter& f) {
             f.ctx.SetAttributeMaxAddLength(0);
             f.ctx.SetElementMaxAddLength(0);
         },
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.WriteAttribute("a", "", "1", ItemType_string);
             w.WriteAttribute("b", "", "1", ItemType_string);
             w.WriteElementText("x", ItemType_string, false);
             w.EndElement();
         },
         "78 F0 3C 00 'r' 78 00 'a' 00 '1' 78 00 'b' 00 '1' F0 80 'x' FF"},
        {"long lengths", nullptr,
         [](CXmlWriter& w) {
             w.StartElement(std::string(65, 'n'), "");
             w.WriteAttribute("a", "", "123456789", ItemType_string);
             w.WriteAttribute("b", "", std::string(265, 'v'), ItemType_string);
             w.WriteElementText(std::string(259, 't'), ItemType_string, false);
             w.EndElement();
         },
         "78 F0 3C 40 00 '" + std::string(65, 'n') + "' 78 00 'a' 08 00 '123456789' 78 00 'b' 0C 00 00 00 00 '" +
             std::string(265, 'v') + "' F0 83 00 00 00 00 '" + std::string(259, 't') + "' FF"},
        {"typed values: the date alphabet added only when short enough",
         [](FIWriter& f) {
             f.ctx.SetSuggestedValues();
             f.ctx.SetElementMaxAddLength(11);
         },
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.WriteAttribute("a", "", "2018-01-02", ItemType_date);
             w.WriteAttribute("b", "", "-1.5e3", ItemType_decimal);
             w.WriteAttribute("c", "", "12:30:00Z", ItemType_time);
             w.WriteAttribute("d", "", "CAFE01", ItemType_hexBinary);
             w.WriteAttribute("e", "", "QUI=", ItemType_base64Binary);
             w.WriteAttribute("f", "", "-2", ItemType_ui1);
             w.WriteAttribute("g", "", "P1D", ItemType_duration);
             Leaf(w, "s", "", "2018-01-02", ItemType_date);
             Leaf(w, "s", "", "1", ItemType_ui4);
             Leaf(w, "s", "", "1.5", ItemType_r4);
             Leaf(w, "s", "", "-0.25", ItemType_r8);
             w.EndElement();
         },
         "78 F0 3C 00 'r' 78 00 'a' 20 14 20 18 A0 1A 02 78 00 'b' 20 02 A1 C5 D3 78 00 'c' 20 14 12 B3 0B 00 DF "
         "78 00 'd' 30 02 CA FE 01 78 00 'e' 70 11 41 42 78 00 'f' 70 21 FF FE 78 00 'g' 42 'P1D' F0 "
         "3C 00 's' 98 06 02 20 18 A0 1A 02 F0 01 9C 12 05 00 00 00 00 00 00 00 01 F0 01 9C 1A 01 3F C0 00 00 F0 "
         "01 9C 1E 05 BF D0 00 00 00 00 00 00 FF F0"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpCase);
        FIWriter f;
        if (c.setup)
            c.setup(f);
        c.calls(f.Start());
        EXPECT_EQ(HexOf(kHead + c.strBody), f.Out());
    }
    // Under the default limit a date of ten characters goes without the add bit.
    FIWriter f;
    f.ctx.SetSuggestedValues();
    Leaf(f.Start(), "s", "", "2018-01-02", ItemType_date);
    EXPECT_EQ(HexOf(std::string(kHead) + "38 F0 3C 00 's' 88 06 02 20 18 A0 1A 02 FF"), f.Out());
}

TEST(FastInfosetWriter, PrefixesAreDeclaredWhereTheyAreMadeUp)
{
    const struct
    {
        const char* lpCase;
        std::function<void(CXmlWriter&)> calls;
        const char* lpBody;
    } cases[] = {
        {"root in a namespace without alias",
         [](CXmlWriter& w) { Leaf(w, "r", "urn:x", ""); },
         "38 CF 01 'AA' 04 'urn:x' F0 3F 81 81 00 'r' FF"},
        {"attribute namespace and nil declared on their element",
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.StartElement("e", "");
             w.WriteAttribute("a", "urn:x", "1", ItemType_string);
             w.WriteNilAttribute();
             w.EndElement();
             w.EndElement();
         },
         "38 F0 3C 00 'r' 78 CF 01 'AA' 04 'urn:x' CF 01 'AB' 28 'http://www.w3.org/2001/XMLSchema-instance' F0 "
         "3C 00 'e' 7B 81 81 00 'a' 40 '1' 7B 82 82 02 'nil' 43 'true' F0 FF F0"},
        {"type in a foreign namespace: its prefix in the value, the instance prefix on the name",
         [](CXmlWriter& w) {
             w.StartElement("r", "");
             w.WriteTypeAttribute("urn:t", "T", ItemType_string);
             w.EndElement();
         },
         "78 CF 01 'AA' 04 'urn:t' CF 01 'AB' 28 'http://www.w3.org/2001/XMLSchema-instance' F0 "
         "3C 00 'r' 7B 82 82 03 'type' 43 'AA:T' F0 FF"},
        {"no namespace under a default one, and back",
         [](CXmlWriter& w) {
             w.SetDefaultNamespace("urn:d");
             w.StartElement("r", "urn:d");
             w.StartElement("a", "");
             Leaf(w, "b", "urn:d", "");
             w.EndElement();
             w.StartElement("c", "urn:x");
             w.WriteAttribute("lang", "http://www.w3.org/XML/1998/namespace", "en", ItemType_string);
             w.EndElement();
             w.EndElement();
         },
         "38 CD 04 'urn:d' F0 3D 81 00 'r' 38 CC F0 3C 00 'a' 38 CD 81 F0 3D 81 00 'b' FF "
         "78 CF 01 'AA' 04 'urn:x' F0 3F 81 82 00 'c' 7B 80 80 03 'lang' 41 'en' F0 FF F0"},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpCase);
        FIWriter f;
        c.calls(f.Start());
        EXPECT_EQ(HexOf(std::string(kHead) + c.lpBody), f.Out());
    }
}

TEST(FastInfosetWriter, GeneratedVocabularyIsNamedAndUsedByIndex)
{
    FIWriter f;
    f.ctx.SetUseGeneratedVocabulary(true);
    f.ctx.GetVocabulary()->AddElement("", "", "r");
    f.ctx.GetVocabulary()->AddElementValue("hello");
    Leaf(f.Start(), "r", "", "hello");
    EXPECT_EQ(HexOf("E0 00 00 01 20 10 00 22 'urn:krxmllib16:generated-vocabulary' 38 F0 00 A0 FF"), f.Out());
    // The writer's additions stay out of the context's vocabulary.
    EXPECT_EQ(1u, f.ctx.GetVocabulary()->GetElementNamesTable().size());

    FIWriter named;
    named.ctx.SetUseGeneratedVocabulary(true);
    named.ctx.SetExternalVocabularyURI("urn:v");
    Leaf(named.Start(), "r", "", "");
    EXPECT_EQ(HexOf("E0 00 00 01 20 10 00 04 'urn:v' 38 F0 3C 00 'r' FF"), named.Out());
}

TEST(FastInfosetWriter, FailuresWithTheirMessages)
{
    // A context whose default string form is UTF-16.
    struct CUtf16Context : CFastInfosetContext
    {
        CUtf16Context() { m_byDefaultStringEncoding = 1; }
    };
    const char* const kAfter = "Attributes must be added before elements";
    const struct
    {
        CFastInfosetContext::EncodedCharacterString encoding;
        bool bChunk;
        const char* lpText;
        const char* lpMessage;
    } cases[] = {
        {{3, 0}, false, "1", "Failed to write FastInfoset. Unknown encoding in EncodedCharacterStringBit5."},
        {{3, 0}, true, "1", "Failed to write FastInfoset. Unknown encoding in EncodedCharacterStringBit7."},
        {{1, 0}, false, "1", "Failed to write FastInfoset. Invalid Restricted Alphabet value [0]"},
        {{1, 3}, true, "1", "Failed to write FastInfoset. Invalid Restricted Alphabet value [3]"},
        {{2, 0}, false, "1", "Failed to write FastInfoset. Invalid Encoding Algorithm value [0]"},
        {{2, 11}, true, "1", "Failed to write FastInfoset. Invalid Encoding Algorithm value [11]"},
        {{1, 2}, true, "2024-02-24T00:35:12.733+02:00",
         "Failed to write FastInfoset. Invalid character not found for Restricted Alphabet."},
        {{1, 1}, false, "1E3", "Failed to write FastInfoset. Invalid character not found for Restricted Alphabet."},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpMessage);
        FIWriter f;
        f.ctx.SetEncoding(ItemType_string, c.encoding);
        CFastInfosetWriter& w = f.Start();
        w.StartElement("r", "");
        if (c.bChunk)
            EXPECT_KR_THROW(w.WriteElementText(c.lpText, ItemType_string, false), CKrException, c.lpMessage);
        else
            EXPECT_KR_THROW(w.WriteAttribute("a", "", c.lpText, ItemType_string), CKrException, c.lpMessage);
    }
    {
        // What a text conversion raises comes through as it is.
        FIWriter f;
        f.ctx.SetSuggestedValues();
        f.Start().StartElement("r", "");
        EXPECT_KR_THROW(f.w->WriteElementText("18446744073709551615", ItemType_ui8, false), CKrInvalidValueException,
                        "The value [18446744073709551615] is to large to fit in a i8");
    }
    for (bool bChunk : {false, true})
    {
        CUtf16Context ctx;
        CBinaryStream stream;
        CFastInfosetWriter w(ctx, &stream);
        w.StartElement("r", "");
        const char* lpMessage = "Failed to write FastInfoset. Unsupported Feature UTF16BE in EncodedCharacterStringBit5.";
        if (bChunk)
            EXPECT_KR_THROW(w.WriteElementText("x", ItemType_string, false), CKrException, lpMessage);
        else
            EXPECT_KR_THROW(w.WriteAttribute("a", "", "x", ItemType_string), CKrException, lpMessage);
    }

    FIWriter f;
    CFastInfosetWriter& w = f.Start();
    EXPECT_KR_THROW(w.WriteAttribute("a", "", "1", ItemType_string), CKrException, kAfter);
    w.StartElement("r", "");
    w.WriteElementText("t", ItemType_string, false);
    EXPECT_KR_THROW(w.WriteAttribute("a", "", "1", ItemType_string), CKrException, kAfter);
    EXPECT_KR_THROW(w.WriteTypeAttribute("urn:t", "T", ItemType_string), CKrException, kAfter);
    EXPECT_KR_THROW(w.WriteNilAttribute(), CKrException, kAfter);
    w.StartElement("open", "");
    EXPECT_KR_THROW(w.EndDocument(), CKrException, "An Element has not been closed.");
    w.EndElement();
    EXPECT_KR_THROW(w.EndDocument(), CKrException, "An Element has not been closed.");
}

// Tables fill to 2^20 entries; the integer forms of every range of index.
TEST(FastInfosetWriter, IndicesOfEveryWidthAndFullTables)
{
    auto name = [](uint32_t i) {
        std::string s;
        do
            s += static_cast<char>('A' + i % 26);
        while ((i /= 26) != 0);
        return s;
    };
    FIWriter f;
    f.ctx.SetUseGeneratedVocabulary(true);
    CFIVocabulary& v = *f.ctx.GetVocabulary();
    for (uint32_t i = 0; i < CFIVocabulary::kMaxTableSize; ++i)
        v.AddAttributeValue(name(i));
    v.AddAttributeValue("full");  // the 1048577th: not entered
    EXPECT_EQ(CFIVocabulary::kMaxTableSize, v.GetAttributeValuesTable().size());
    for (uint32_t i = 0; i < 263185; ++i)
        v.AddElementValue(name(i));
    for (uint32_t i = 0; i < 2081; ++i)
        v.AddElement("", "", name(i));

    CFastInfosetWriter& w = f.Start();
    w.StartElement(name(2080), "");  // element 2081
    // One attribute per value width, each of its own name: a literal name, then the value.
    std::string strAttribute = "a";
    for (uint32_t dwIndex : {1u, 64u, 65u, 8256u, 8257u, CFIVocabulary::kMaxTableSize})
    {
        w.WriteAttribute(strAttribute, "", name(dwIndex - 1), ItemType_string);
        ++strAttribute[0];
    }
    w.WriteAttribute(strAttribute, "", "new", ItemType_string);  // the table is full: no add bit
    for (uint32_t dwIndex : {1u, 16u, 17u, 1040u, 1041u, 263184u, 263185u})
        w.WriteElementText(name(dwIndex - 1), ItemType_string, false);
    for (uint32_t dwIndex : {1u, 32u, 33u, 2080u})
        Leaf(w, name(dwIndex - 1).c_str(), "", "");
    w.EndElement();
    std::string strOut = f.Out();
    std::string strBody = strOut.substr(strOut.find(HexOf("78 F0")));
    EXPECT_EQ(HexOf("78 F0 28 00 00 "
                    "78 00 'a' 80 78 00 'b' BF 78 00 'c' C0 00 78 00 'd' DF FF 78 00 'e' E0 00 00 78 00 'f' EF DF BF "
                    "78 00 'g' 02 'new' F0 "
                    "A0 AF B0 00 B3 FF B4 00 00 B7 FF FF B8 00 00 00 "
                    "00 F0 1F F0 20 00 F0 27 FF FF F0"),
              strBody);
}

TEST(FastInfosetWriter, ObjectRoads)
{
    // Untyped content is written in its plain form, whatever default namespace a child has.
    CSmartPtr<CElement> spRoot(new CElement(""));
    spRoot->FromXml("<r xmlns='urn:r'><c xmlns='urn:c'><d/></c></r>", CSerializationContext::GetDefaultContext());
    CSerializationContext ctx;
    ctx.SetDefaultNamespaceURI("urn:r");
    CBinaryData data = spRoot->ToFastInfosetStream(FInfoDecl_Version10, ctx, CompressionType_None);
    EXPECT_EQ(Hex("<?xml version='1.0' encoding='finf'?>") + " " +
                  HexOf("E0 00 00 01 00 38 CD 04 'urn:r' F0 3D 81 00 'r' 38 CF 01 'AA' 04 'urn:c' F0 3F 81 82 00 'c' "
                        "3F 81 82 00 'd' FF FF"),
              Hex(data));

    EXPECT_KR_THROW(spRoot->ToFastInfosetStream(FInfoDecl_None, ctx, CompressionType_GZip), CKrException,
                    "Failed to compress data. [Error Code: 0]");
    std::string strPath = TempPath("out.finf");
    spRoot->ToFastInfosetFile(strPath.c_str(), FInfoDecl_Version10, ctx, CompressionType_None);
    EXPECT_EQ(Hex(data), Hex(ReadFileBytes(strPath)));
}
