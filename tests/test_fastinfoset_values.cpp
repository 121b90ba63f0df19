// Fast Infoset tables, options and typed values: the vocabulary, the context, the encoding
// algorithms and the restricted alphabets, both ways.
#include "fitestsupport.h"
#include "testsupport.h"

#include "krxmllib.h"

using namespace KrXmlLib16;
using namespace KrXmlTest;

namespace {

std::string Dumped(CFIVocabulary& vocabulary)
{
    testing::internal::CaptureStdout();
    vocabulary.Dump();
    return testing::internal::GetCapturedStdout();
}

std::string Encoded(uint32_t dwAlgorithm, const char* lpText)
{
    CFastInfosetBinaryData data;
    data.SetAsEncodedString(dwAlgorithm, lpText);
    return Hex(data);
}

std::string Decoded(uint32_t dwAlgorithm, const std::string& strBytesText)
{
    std::string strBytes = Bytes(strBytesText);
    CFastInfosetBinaryData data(reinterpret_cast<unsigned char*>(&strBytes[0]), static_cast<uint32_t>(strBytes.size()),
                                false);
    return data.GetAsString(dwAlgorithm);
}

const std::string kNumeric = "0123456789-+.e ";
const std::string kDate = "0123456789-:TZ ";

} // namespace

// ---- vocabulary ----

TEST(FIVocabulary, BuiltInContentAndQNamesByTheirParts)
{
    CFIVocabulary v;
    EXPECT_EQ(std::vector<std::string>{"xml"}, v.GetPrefixNamesTable().m_table);
    EXPECT_EQ(std::vector<std::string>{"http://www.w3.org/XML/1998/namespace"}, v.GetNamespaceNamesTable().m_table);

    v.AddElement("p", "urn:x", "a");
    v.AddElement("p", "urn:x", "a");    // already there: nothing changes
    v.AddAttribute("p", "urn:x", "a");  // only the attribute name is new
    v.AddElement("", "", "a");
    v.AddElement("q", "urn:x", "a");    // another prefix: another name
    ASSERT_EQ(3u, v.GetElementNamesTable().size());
    ASSERT_EQ(1u, v.GetAttributeNamesTable().size());
    auto parts = [](const CFIVocabulary::CQNameParts& q) {
        return std::to_string(q.m_dwPrefixIndex) + "," + std::to_string(q.m_dwNamespaceIndex) + "," +
               std::to_string(q.m_dwLocalNameIndex);
    };
    EXPECT_EQ("2,2,1", parts(v.GetElementNamesTable().m_table[0]));
    EXPECT_EQ("2,2,1", parts(v.GetAttributeNamesTable().m_table[0]));
    EXPECT_EQ("0,0,1", parts(v.GetElementNamesTable().m_table[1]));
    EXPECT_EQ("3,2,1", parts(v.GetElementNamesTable().m_table[2]));
    EXPECT_EQ((std::vector<std::string>{"xml", "p", "q"}), v.GetPrefixNamesTable().m_table);
    EXPECT_EQ(std::vector<std::string>{"a"}, v.GetLocalNamesTable().m_table);

    // A value given twice has one map entry and two positions; the maps are what Dump shows.
    v.AddElementValue("x");
    v.AddElementValue("x");
    v.AddAttributeValue("1");
    EXPECT_EQ(2u, v.GetCharacterChunksTable().size());
    EXPECT_EQ("\n** Dumping FI Tables **\n\nAttr Names\na\x01urn:x\x01p, 1\n\nAttr Values\n1, 1\n"
              "\nCharacter Chunks\nx, 1\n\nElement Names\na\x01\x01, 2\na\x01urn:x\x01p, 1\na\x01urn:x\x01q, 3\n"
              "\nLocal Names\na, 1\n\nNamespace Names\nhttp://www.w3.org/XML/1998/namespace, 1\nurn:x, 2\n"
              "\nPrefix Names\np, 2\nq, 3\nxml, 1\n",
              Dumped(v));
}

// ---- context ----

TEST(FIContext, DefaultsSuggestedValuesAndCopies)
{
    CFastInfosetContext ctx;
    EXPECT_EQ(0, ctx.GetDefaultStringEncoding());
    EXPECT_EQ(6u, ctx.GetAttributeMaxAddLength());
    EXPECT_EQ(6u, ctx.GetElementMaxAddLength());
    EXPECT_FALSE(ctx.GetUseGeneratedVocabulary());
    EXPECT_EQ("", ctx.GetExternalVocabularyURI());
    ctx.SetEncoding(ItemType_string, {1, 2});
    ctx.SetSuggestedValues();
    std::string strPairs;
    for (uint32_t e = 0; e <= ItemType_XmlCollection + 1; ++e)
    {
        CFastInfosetContext::EncodedCharacterString enc = ctx.GetEncoding(e);
        strPairs += std::to_string(enc.dwEncodingType) + std::to_string(enc.dwEncodingValue) + " ";
    }
    // By ItemType from 0; the last is a number beyond the kinds, which reads as text.
    EXPECT_EQ("00 21 22 23 23 24 25 23 24 25 25 27 28 00 12 12 12 12 12 12 12 12 00 12 26 11 11 00 00 00 ", strPairs);
    EXPECT_KR_THROW(ctx.SetEncoding(29, {0, 0}), CKrInvalidParamException, "Index Out of range [29]");

    // A serialization context makes its own at first use, and a copy has a copy of it.
    CSerializationContext sc;
    sc.GetFIContext().SetElementMaxAddLength(9);
    sc.GetFIContext().GetVocabulary()->AddLocalName("n");
    {
        CSerializationContext copy(sc);
        EXPECT_EQ(9u, copy.GetFIContext().GetElementMaxAddLength());
        EXPECT_EQ(1u, copy.GetFIContext().GetVocabulary()->GetLocalNamesTable().size());
        copy.GetFIContext().SetElementMaxAddLength(3);
        CSerializationContext assigned;
        assigned = copy;
        EXPECT_EQ(3u, assigned.GetFIContext().GetElementMaxAddLength());
    }
    EXPECT_EQ(9u, sc.GetFIContext().GetElementMaxAddLength());
}

// ---- encoding algorithms ----

TEST(FITypedValues, EveryAlgorithmBothWays)
{
    const struct
    {
        uint32_t dwAlgorithm;
        const char* lpText;
        const char* lpBytes;
        const char* lpBack;  // the text read back from the bytes
    } cases[] = {
        {1, "cafe01", "CA FE 01", "CAFE01"},
        {2, "QUI=", "41 42", "QUI="},
        {3, "-2", "FF FE", "-2"},
        {4, "-123456", "FF FE 1D C0", "-123456"},
        {5, "1", "00 00 00 00 00 00 00 01", "1"},
        {6, "true", "38", "true"},
        {6, "0", "30", "false"},
        {7, "1.5", "3F C0 00 00", "1.5"},
        {8, "-0.25", "BF D0 00 00 00 00 00 00", "-0.25"},
        {9, "123456789abcdef0123456789ABCDEF0", "12 34 56 78 9A BC DE F0 12 34 56 78 9A BC DE F0",
         "123456789ABCDEF0123456789ABCDEF0"},
        {10, "a\xC3\xA9", "61 C3 A9", nullptr},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.lpText);
        EXPECT_EQ(HexOf(c.lpBytes), Encoded(c.dwAlgorithm, c.lpText));
        if (c.lpBack)
        {
            EXPECT_EQ(c.lpBack, Decoded(c.dwAlgorithm, c.lpBytes));
        }
    }
    // The bytes of an algorithm may hold a list.
    EXPECT_EQ("-2 1", Decoded(3, "FF FE 00 01"));
    EXPECT_EQ("true true false false", Decoded(6, "0C"));
    EXPECT_EQ("true false true false true", Decoded(6, "7A 80"));
    EXPECT_EQ("1.5 -0.25", Decoded(7, "3F C0 00 00 BE 80 00 00"));
    EXPECT_EQ("", CFastInfosetBinaryData().GetAsString(0));
}

TEST(FITypedValues, FailuresWithTheirMessages)
{
    const struct
    {
        uint32_t dwAlgorithm;
        const char* lpBytes;
        const char* lpMessage;
    } decodeCases[] = {
        {0, "01", "Unknown byte encoding."},
        {10, "61", "Unknown byte encoding."},
        {3, "01 02 03", "Invalid value for SHORT byte encoding."},
        {4, "01 02 03 04 05 06", "Invalid value for INT byte encoding."},
        {5, "01 02 03 04", "Invalid value for LONG byte encoding."},
        {6, "40", "Invalid value for BOOLEAN byte encoding."},
        {7, "01 02", "Invalid value for FLOAT byte encoding."},
        {8, "01 02 03 04", "Invalid value for DOUBLE byte encoding."},
        {9, "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F", "Invalid value for UUID byte encoding."},
    };
    for (const auto& c : decodeCases)
        EXPECT_KR_THROW(Decoded(c.dwAlgorithm, c.lpBytes), CKrException, c.lpMessage);

    // Texts fail as the text conversions say.
    const struct
    {
        uint32_t dwAlgorithm;
        const char* lpText;
        const char* lpMessage;
    } encodeCases[] = {
        {0, "1", "Unknown byte encoding."},
        {11, "1", "Unknown byte encoding."},
        {1, "ABC", "Invalid length in hex string"},
        {1, "AG", "Invalid char in hex string [G]"},
        {2, "!!", "The value [!!] can not be converted to a base64Binary"},
        {3, "40000", "The value [40000] is to large to fit in a i2"},
        {4, "x", "The value [x] can not be converted to a i4"},
        {5, "18446744073709551615", "The value [18446744073709551615] is to large to fit in a i8"},
        {6, "yes", "A Boolean Value read from an XML document was invalid [yes]. Valid values are 'true', 'false', "
                   "'1', or '0'"},
        {9, "ABCD", "Invalid value for UUID byte encoding."},
    };
    for (const auto& c : encodeCases)
    {
        CFastInfosetBinaryData data("left over");
        try
        {
            data.SetAsEncodedString(c.dwAlgorithm, c.lpText);
            ADD_FAILURE() << "no failure for " << c.lpText;
        }
        catch (const CKrException& e)
        {
            EXPECT_EQ(c.lpMessage, e.GetMessage());
            EXPECT_EQ(0u, data.GetLength()) << "cleared first";
        }
    }
}

// ---- restricted alphabets ----

TEST(FITypedValues, RestrictedAlphabetsBothWays)
{
    const struct
    {
        const std::string& strAlphabet;
        const char* lpText;
        const char* lpBytes;
    } cases[] = {
        {kNumeric, "-1.5e3", "A1 C5 D3"},
        {kNumeric, "7", "7F"},
        {kDate, "2018-01-02", "20 18 A0 1A 02"},
        {kDate, "12:30:00Z", "12 B3 0B 00 DF"},
    };
    for (const auto& c : cases)
    {
        CFastInfosetBinaryData data;
        data.SetAsRestrictedAlphabetString(c.strAlphabet, c.lpText);
        EXPECT_EQ(HexOf(c.lpBytes), Hex(data));
        EXPECT_EQ(c.lpText, data.GetAsRestrictedAlphabetString(c.strAlphabet));
    }

    // Widths: the smallest from 2 whose power of two exceeds the count, with room for the end.
    const struct
    {
        size_t nCount;
        uint32_t dwWidth;
    } widths[] = {{1, 0}, {2, 2}, {3, 2}, {4, 3}, {15, 4}, {16, 5}, {255, 8}, {256, 9}, {1u << 20, 21}, {(1u << 20) + 1, 0}};
    for (const auto& w : widths)
        EXPECT_EQ(w.dwWidth, CFastInfosetBinaryData::RestrictedAlphabetBitWidth(std::string(w.nCount, 'a')));

    // One byte a character for wide alphabets; reading takes any width.
    std::string strWide;
    for (int i = 1; i <= 200; ++i)
        strWide += static_cast<char>(i);
    CFastInfosetBinaryData wide;
    wide.SetAsRestrictedAlphabetString(strWide, "\x05\xC8");
    EXPECT_EQ("04 C7", Hex(wide));
    EXPECT_EQ("\x05\xC8", wide.GetAsRestrictedAlphabetString(strWide));
    CFastInfosetBinaryData five(Bytes("08 3F").c_str());  // B, A, then the 5-bit end
    EXPECT_EQ("BA", five.GetAsRestrictedAlphabetString("ABCDEFGHIJKLMNOP"));

    CFastInfosetBinaryData data;
    EXPECT_KR_THROW(data.SetAsRestrictedAlphabetString(kNumeric, "1E3"), CKrException,
                    "Failed to write FastInfoset. Invalid character not found for Restricted Alphabet.");
    EXPECT_KR_THROW(data.SetAsRestrictedAlphabetString("A", "A"), CKrException,
                    "Failed to write FastInfoset. Invalid Restricted Alphabet. Alphabet must contain between 2 and "
                    "2^20 characters.");
    EXPECT_KR_THROW(data.SetAsRestrictedAlphabetString("ABCDEFGHIJKLMNOP", "A"), CKrException,
                    "Failed to write FastInfoset. Unsupported Feature in AppendRestrictedAlphabetString.");
    EXPECT_KR_THROW(five.GetAsRestrictedAlphabetString("A"), CKrException,
                    "Failed to parse FastInfoset. Invalid Encoding of Restricted Alphabet. Alphabet must contain "
                    "between 2 and 2^20 characters.");
    CFastInfosetBinaryData beyond(Bytes("0B").c_str());  // 11 in an alphabet of ten
    EXPECT_KR_THROW(beyond.GetAsRestrictedAlphabetString("0123456789"), CKrException,
                    "Failed to parse FastInfoset. Invalid character index in Restricted Alphabet string.");
}
