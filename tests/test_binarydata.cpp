#include "testsupport.h"

#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

std::string Bytes(const CBinaryData& data)
{
    return std::string(reinterpret_cast<const char*>(data.GetData()), data.GetLength());
}

CBinaryData FromBase64(const char* lpText)
{
    CBinaryData data;
    data.SetAsBase64(lpText);
    return data;
}

TEST(BinaryData, AdoptedAllocationGrowsTakesItsOwnBytesAndIsReleasedAsAnArray)
{
    unsigned char* p = static_cast<unsigned char*>(std::malloc(4));
    std::memcpy(p, "abcd", 4);
    CBinaryData data = CBinaryData::AdoptAllocated(p, 4);
    EXPECT_EQ(p, data.GetData());
    std::string strExpected = "abcd";
    for (int i = 0; i < 12; ++i)  // its own bytes, appended while the block moves
    {
        strExpected += strExpected;
        data.Append(data.GetData(), data.GetLength());
    }
    EXPECT_EQ(strExpected, Bytes(data));
    CBinaryData shared = data;
    unsigned char* q = data.ReleaseData();  // shared: a private copy, as an array
    EXPECT_EQ(0, std::memcmp(q, strExpected.data(), strExpected.size()));
    delete[] q;
    q = shared.ReleaseData();
    EXPECT_EQ(0, std::memcmp(q, strExpected.data(), strExpected.size()));
    delete[] q;

    EXPECT_EQ(0u, CBinaryData::AdoptAllocated(static_cast<unsigned char*>(std::malloc(1)), 0).GetLength());
    // An adopted array grows too.
    CBinaryData array(new unsigned char[2]{'x', 'y'}, 2, true);
    array.Append(std::string(10000, 'z'));
    EXPECT_EQ("xy" + std::string(10000, 'z'), Bytes(array));
}

// ---- sharing and copy on write ----

TEST(BinaryData, CopiesShareUntilOneChanges)
{
    CBinaryData a("abc");
    CBinaryData b(a);
    EXPECT_EQ(a.GetData(), b.GetData());
    b.Append(static_cast<unsigned char>('d'));
    EXPECT_NE(a.GetData(), b.GetData());
    EXPECT_EQ("abc", Bytes(a));
    EXPECT_EQ("abcd", Bytes(b));

    CBinaryData c;
    c = a;
    const CBinaryData& constC = c;
    EXPECT_EQ('b', constC[1]);
    EXPECT_EQ(a.GetData(), c.GetData());  // reading doesn't split
    c[1] = 'X';
    EXPECT_NE(a.GetData(), c.GetData());  // writing does
    EXPECT_EQ("aXc", Bytes(c));
    EXPECT_EQ("abc", Bytes(a));
}

TEST(BinaryData, EmptyDataAndEquality)
{
    CBinaryData empty;
    EXPECT_EQ(nullptr, empty.GetData());
    EXPECT_EQ("", empty.GetAsHexString());
    EXPECT_EQ("", empty.GetAsBase64());
    EXPECT_EQ(nullptr, empty.ReleaseData());
    EXPECT_KR_THROW(empty[0], CKrException, "Index Out of range [0]");
    const CBinaryData& constEmpty = empty;
    EXPECT_KR_THROW(constEmpty[0], CKrException, "Index Out of range [0]");
    EXPECT_EQ(0u, CBinaryData(static_cast<const char*>(nullptr)).GetLength());
    EXPECT_EQ(0u, CBinaryData(new unsigned char[4], 0, true).GetLength());  // adopted and freed

    // However they became empty, empties are equal, and unequal to anything else.
    CBinaryData cleared("x");
    cleared.Clear();
    EXPECT_TRUE(empty == cleared);
    EXPECT_TRUE(empty == FromBase64("Y*Q="));
    EXPECT_TRUE(empty != CBinaryData("x") && CBinaryData("x") != empty);
    EXPECT_TRUE(CBinaryData("abc") != CBinaryData("abd"));
    EXPECT_TRUE(CBinaryData("abc") != CBinaryData("ab"));
    unsigned char raw[] = {0, 1, 0};
    EXPECT_TRUE(CBinaryData(raw, 3, false) == CBinaryData(raw, 3, false));
    EXPECT_EQ(3u, CBinaryData(raw, 3, false).GetLength());  // embedded zeros count
}

TEST(BinaryData, ReleaseDataOfASharedBlockGivesAPrivateCopy)
{
    CBinaryData a("abc");
    CBinaryData b(a);
    unsigned char* p = b.ReleaseData();
    ASSERT_NE(nullptr, p);
    EXPECT_NE(a.GetData(), p);
    EXPECT_EQ(0, std::memcmp(p, "abc", 3));
    delete[] p;
    EXPECT_EQ(0u, b.GetLength());
    EXPECT_EQ("abc", Bytes(a));

    unsigned char* q = a.ReleaseData();  // the only holder: its own bytes
    EXPECT_EQ(0, std::memcmp(q, "abc", 3));
    delete[] q;
    EXPECT_EQ(nullptr, a.GetData());
}

TEST(BinaryData, AppendForms)
{
    CBinaryData d;
    d.Append(static_cast<unsigned char>('a'));
    d.Append('b');
    d.Append("cd");
    d.Append(std::string("e\0f", 3));
    d.Append(CBinaryData("gh"));
    d.Append(static_cast<const char*>(nullptr));
    d.Append(CBinaryData());
    unsigned char raw[] = {'i', 'j'};
    d.Append(raw, 2);
    d.Append(raw, 0);
    EXPECT_EQ(std::string("abcde\0fghij", 11), Bytes(d));
    d.SetBuffer("xy");
    EXPECT_EQ("xy", Bytes(d));
    d.SetBuffer(raw, 1);
    EXPECT_EQ("i", Bytes(d));
}

TEST(BinaryData, AppendingItselfOrAPieceOfItself)
{
    CBinaryData d("abc");
    d.Append(d);
    EXPECT_EQ("abcabc", Bytes(d));
    // Grows past the allocation while the source lies inside the old bytes.
    CBinaryData big(new unsigned char[4]{'w', 'x', 'y', 'z'}, 4, true);
    big.Append(big.GetData() + 1, 3);
    EXPECT_EQ("wxyzxyz", Bytes(big));
    for (int i = 0; i < 12; ++i)
        big.Append(big.GetData(), big.GetLength());
    EXPECT_EQ(7u << 12, big.GetLength());
    EXPECT_EQ(0, std::memcmp(big.GetData() + (7u << 11), "wxyzxyz", 7));
}

TEST(BinaryData, SharedBlocksAcrossThreads)
{
    CBinaryData shared("payload");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int i = 0; i < 2000; ++i)
            {
                CBinaryData copy(shared);
                CBinaryData other;
                other = copy;
                other.Append('!');
                if (Bytes(other) != "payload!" || Bytes(copy) != "payload")
                    ADD_FAILURE() << "a shared block changed";
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ("payload", Bytes(shared));
}

// ---- hex ----

TEST(BinaryDataHex, RoundTripAndBadText)
{
    CBinaryData d;
    d.SetAsHexString("0aFF");
    EXPECT_EQ(std::string("\x0A\xFF", 2), Bytes(d));
    EXPECT_EQ("0AFF", d.GetAsHexString());
    unsigned char raw[] = {0x00, 0x12, 0xAB, 0xCD, 0xEF};
    EXPECT_EQ("0012ABCDEF", CBinaryData::GetAsHexString(raw, 5));
    d.SetAsHexString(nullptr);
    EXPECT_EQ(0u, d.GetLength());

    d.SetBuffer("keep");
    EXPECT_KR_THROW(d.SetAsHexString("0"), CKrException, "Invalid length in hex string");
    EXPECT_EQ(0u, d.GetLength());  // cleared before the text is read
    EXPECT_KR_THROW(d.SetAsHexString("abc"), CKrException, "Invalid length in hex string");
    for (const char* lpBad : {"0G", "G0", "00 1", "0-", "ffz0"})
    {
        const char cBad = lpBad[std::strspn(lpBad, "0123456789abcdefABCDEF")];
        EXPECT_KR_THROW(d.SetAsHexString(lpBad), CKrException, std::string("Invalid char in hex string [") + cBad + "]");
    }
    EXPECT_EQ(0u, d.GetLength());
}

// ---- Base64 ----

TEST(BinaryDataBase64, Encode)
{
    EXPECT_EQ("YWJj", CBinaryData("abc").GetAsBase64());
    EXPECT_EQ("YQ==", CBinaryData("a").GetAsBase64());
    EXPECT_EQ("YWI=", CBinaryData("ab").GetAsBase64());
    unsigned char all[] = {0xFB, 0xFF, 0xBF};
    EXPECT_EQ("+/+/", CBinaryData(all, 3, false).GetAsBase64());
    std::vector<unsigned char> big(100000, 0x5A);
    std::string strBig = CBinaryData(big.data(), 100000, false).GetAsBase64();
    EXPECT_EQ(133336u, strBig.size());
    EXPECT_EQ(std::string::npos, strBig.find_first_of("\r\n"));  // one line
}

TEST(BinaryDataBase64, DecodeIsLenientAboutPaddingAndWhitespace)
{
    for (const char* p : {"YQ==", "Y Q = =", "YQ", "Y=Q=", "\tY\r\nQ", "==YQ"})
        EXPECT_EQ("a", Bytes(FromBase64(p))) << p;
    EXPECT_EQ("abc", Bytes(FromBase64("YWJj")));
    // Only the low seven bits of a character count.
    EXPECT_EQ("a", Bytes(FromBase64("\xD9Q==")));
}

TEST(BinaryDataBase64, IllegalCharactersGiveEmptyData)
{
    for (const char* p : {"Y*Q=", "YW!j", "YWJj\x01", "-_", "YWJj.", "", "====", "   "})
    {
        CBinaryData d("old");
        d.SetAsBase64(p);
        EXPECT_EQ(0u, d.GetLength()) << p;
        EXPECT_EQ(nullptr, d.GetData());
    }
    CBase64 codec;
    unsigned char out[8];
    EXPECT_EQ(0u, codec.Decode("YW*j", out));
    EXPECT_EQ(3u, codec.Decode("YWJj", out));
    EXPECT_EQ(2u, codec.Decode("YWI", out));  // left-over bits are dropped
}

// The decoder as its contract states it, one character at a time.
std::string ReferenceBase64(const std::string& strText)
{
    static const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string strOut;
    uint32_t uBits = 0;
    int nBits = 0;
    for (char c : strText)
    {
        const char cLow = static_cast<char>(c & 0x7F);
        if (cLow == '=' || cLow == ' ' || cLow == '\t' || cLow == '\r' || cLow == '\n')
            continue;
        const size_t nDigit = cLow ? kAlphabet.find(cLow) : std::string::npos;
        if (nDigit == std::string::npos)
            return std::string();
        uBits = (uBits << 6) | static_cast<uint32_t>(nDigit);
        nBits += 6;
        if (nBits >= 8)
        {
            nBits -= 8;
            strOut += static_cast<char>(uBits >> nBits);
            uBits &= (1u << nBits) - 1;
        }
    }
    return strOut;
}

// Texts mixing digits with blanks, padding, high bytes and foreign characters at every place
// decode as the character-by-character rule says.
TEST(BinaryDataBase64, MixedTextsDecodeAsTheRuleSays)
{
    std::mt19937 rng(11);
    const std::string kPool = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int i = 0; i < 3000; ++i)
    {
        std::string strText;
        const size_t n = rng() % 40;
        for (size_t k = 0; k < n; ++k)
        {
            const unsigned r = rng() % 100;
            if (r < 80)
                strText += kPool[rng() % kPool.size()];
            else if (r < 88)
                strText += " =\t\r\n"[rng() % 5];
            else if (r < 96)
                strText += static_cast<char>(0x80 | static_cast<unsigned char>(kPool[rng() % kPool.size()]));
            else if (i % 2)
                strText += "*-_.!\x01"[rng() % 6];
        }
        std::vector<unsigned char> out(strText.size() + 1);
        CBase64 codec;
        const uint32_t dwLen = codec.Decode(strText.c_str(), out.data());
        EXPECT_EQ(ReferenceBase64(strText), std::string(reinterpret_cast<const char*>(out.data()), dwLen)) << strText;
    }
}

TEST(BinaryDataBase64, RandomRoundTrips)
{
    std::mt19937 rng(7);
    for (uint32_t n = 1; n < 300; ++n)
    {
        std::vector<unsigned char> v(n);
        for (unsigned char& c : v)
            c = static_cast<unsigned char>(rng());
        CBinaryData d(v.data(), n, false);
        std::string strText = d.GetAsBase64();
        EXPECT_EQ((n + 2) / 3 * 4, strText.size());
        EXPECT_TRUE(d == FromBase64(strText.c_str())) << n;
    }
}

} // namespace
