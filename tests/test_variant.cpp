#include "testsupport.h"

#include <cmath>
#include <utility>

#include "conversions.h"
#include "krvariant.h"
#include "valuescratch.h"
#include "xmlcollectionbase.h"
#include "xmlobjectbase.h"

using namespace KrXmlLib16;

namespace {

const CWhitespaceUtils::WhitespaceRule kCollapse = CWhitespaceUtils::WhitespaceRule_Collapse;

// A counted object that reports its own destruction.
class CCounted : public CXmlObjectBase
{
public:
    explicit CCounted(int* pDeaths) : m_pDeaths(pDeaths) {}
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return ""; }

protected:
    ~CCounted() override { ++*m_pDeaths; }
    std::string GetTargetNamespace() const override { return ""; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* p, const CSerializationContext&, bool) override { return p; }

private:
    int* m_pDeaths;
};

class CCountedCol : public CXmlCollection
{
public:
    explicit CCountedCol(int* pDeaths) : CXmlCollection("item", "", 0, -1), m_pDeaths(pDeaths) {}

protected:
    ~CCountedCol() override { ++*m_pDeaths; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement*, CXmlElement* p, const CSerializationContext&, bool) override { return p; }

private:
    int* m_pDeaths;
};

struct KindRow
{
    ItemType eType;
    const char* lpName;
    const char* lpText;   // read with FromString
    const char* lpPrint;  // what ToString gives back
};

const KindRow kKinds[] = {
    {ItemType_hexBinary, "hexBinary", "0aff", "0AFF"},
    {ItemType_base64Binary, "base64Binary", "YWJj", "YWJj"},
    {ItemType_i1, "i1", "-5", "-5"},
    {ItemType_i2, "i2", "-300", "-300"},
    {ItemType_i4, "i4", "70000", "70000"},
    {ItemType_i8, "i8", "-5000000000", "-5000000000"},
    {ItemType_ui1, "ui1", "200", "200"},
    {ItemType_ui2, "ui2", "60000", "60000"},
    {ItemType_ui4, "ui4", "4000000000", "4000000000"},
    {ItemType_ui8, "ui8", "18000000000000000000", "18000000000000000000"},
    {ItemType_r4, "r4", "0.25", "0.25"},
    {ItemType_r8, "r8", "1e-7", "1e-07"},
    {ItemType_duration, "duration", "PT90M", "PT90M"},
    {ItemType_yearMonth, "yearMonth", "2005-03", "2005-03"},
    {ItemType_monthDay, "monthDay", "--03-04", "--03-04"},
    {ItemType_year, "year", "1999", "1999"},
    {ItemType_month, "month", "--05", "--05"},
    {ItemType_day, "day", "---07", "---07"},
    {ItemType_date, "date", "2005-03-04Z", "2005-03-04Z"},
    {ItemType_datetime, "datetime", "2005-03-04T05:06:07", "2005-03-04T05:06:07"},
    {ItemType_time, "time", "05:06:07.125", "05:06:07.125"},
    {ItemType_char, "char", "c", "c"},
    {ItemType_string, "string", "  two  words ", "two words"},
    {ItemType_boolean, "boolean", "1", "true"},
    {ItemType_decimal, "decimal", "-0.50", "-0.5"},
    {ItemType_integer, "integer", "123456789012345678901234567890", "123456789012345678901234567890"},
};

TEST(Variant, EveryKindReadsPrintsNamesAndCopies)
{
    for (const KindRow& row : kKinds)
    {
        KrVariant v;
        v.FromString(row.lpText, row.eType, kCollapse);
        EXPECT_EQ(row.eType, v.GetTypeAsEnum());
        EXPECT_EQ(row.lpName, v.GetType());
        EXPECT_EQ(row.lpPrint, v.ToString(nullptr)) << row.lpName;
        EXPECT_TRUE(v.IsValid());
        EXPECT_FALSE(v.IsNil());

        KrVariant copy(v);
        EXPECT_EQ(row.lpPrint, copy.ToString("")) << row.lpName;
        KrVariant assigned;
        assigned.SetI4(1);
        assigned = v;
        EXPECT_EQ(row.lpPrint, assigned.ToString(nullptr)) << row.lpName;
        v.Clear();
        EXPECT_FALSE(v.IsValid());
        // The copies own their values.
        EXPECT_EQ(row.lpPrint, copy.ToString(nullptr)) << row.lpName;
        EXPECT_EQ(row.lpPrint, assigned.ToString(nullptr)) << row.lpName;
    }
}

TEST(Variant, SettersTakingTheVariantsOwnValue)
{
    KrVariant v;
    v.SetYear(65535);  // the full width of the field prints
    EXPECT_EQ("65535", v.ToString(nullptr));
    v.SetString("text");
    v.SetString(v.GetString() + "!");
    EXPECT_EQ("text!", v.GetString());
    unsigned char aBytes[] = {1, 2, 3};
    v.SetBase64Binary(CBinaryData(aBytes, 3, false));
    EXPECT_EQ("AQID", v.ToString(nullptr));
}

TEST(Variant, EmptyNilAndInvalidStates)
{
    KrVariant v;
    EXPECT_FALSE(v.IsValid());
    EXPECT_FALSE(v.IsNil());
    EXPECT_EQ(ItemType_Invalid, v.GetTypeAsEnum());
    EXPECT_KR_THROW(v.GetType(), CKrException, "Invalid Type 0");
    EXPECT_KR_THROW(v.ToString(nullptr), CKrException, "Invalid Type 0 to convert to string");

    v.SetI4(5);
    v.SetNil();
    EXPECT_TRUE(v.IsNil());
    EXPECT_TRUE(v.IsValid());
    EXPECT_EQ(ItemType_i4, v.GetTypeAsEnum());
    EXPECT_EQ("i4", v.GetType());
    EXPECT_KR_THROW(v.ToString(nullptr), CKrInvalidStateException, "A nil i4 has no text");

    v.SetString("gone");
    v.SetNil();
    EXPECT_EQ(ItemType_string, v.GetTypeAsEnum());
    EXPECT_EQ(nullptr, v.m_pString);
    KrVariant nilCopy(v);
    EXPECT_TRUE(nilCopy.IsNil());
    EXPECT_EQ(ItemType_string, nilCopy.GetTypeAsEnum());
    v.SetString("back");  // a setter leaves nil behind
    EXPECT_FALSE(v.IsNil());
    EXPECT_EQ("back", v.GetString());

    // A nil without a kind: Clear leaves it alone, SetInvalid empties it.
    KrVariant w;
    w.SetNil();
    EXPECT_TRUE(w.IsValid());
    EXPECT_EQ(ItemType_Invalid, w.GetTypeAsEnum());
    w.Clear();
    EXPECT_TRUE(w.IsNil());
    EXPECT_TRUE(w.IsValid());
    w.SetInvalid();
    EXPECT_FALSE(w.IsNil());
    EXPECT_FALSE(w.IsValid());
}

TEST(Variant, CopiesOwnTheirObjectsAndShareCountedOnes)
{
    KrVariant a;
    a.SetDateTime(CDateTime(2005, 1, 2, 3, 4, 5));
    KrVariant b(a);
    ASSERT_NE(a.m_pDateTime, b.m_pDateTime);
    b.m_pDateTime->SetYear(2010);
    EXPECT_EQ(2005, a.GetDateTime().GetYear());

    int nDeaths = 0;
    CCounted* pObject = new CCounted(&nDeaths);
    {
        KrVariant v;
        v.SetXmlObject(pObject);
        EXPECT_EQ(1, pObject->GetRefCount());
        KrVariant copy(v);
        EXPECT_EQ(2, pObject->GetRefCount());
        KrVariant assigned;
        assigned = copy;
        EXPECT_EQ(3, pObject->GetRefCount());
        assigned = assigned;  // self-assignment keeps the one reference
        EXPECT_EQ(3, pObject->GetRefCount());
        v.SetXmlObject(pObject);  // the same object again
        EXPECT_EQ(3, pObject->GetRefCount());
        CSmartPtr<CXmlObjectBase> sp = v.GetXmlObject();
        EXPECT_EQ(pObject, sp.p);
        EXPECT_EQ(4, pObject->GetRefCount());
        KrVariant moved(std::move(copy));  // takes the reference over
        EXPECT_EQ(4, pObject->GetRefCount());
        EXPECT_FALSE(copy.IsValid());
        assigned = std::move(moved);
        EXPECT_EQ(3, pObject->GetRefCount());
        EXPECT_KR_THROW(v.GetType(), CKrException, "Invalid Type 27");
        EXPECT_KR_THROW(v.ToString(nullptr), CKrException, "Invalid Type 27 to convert to string");
    }
    EXPECT_EQ(1, nDeaths);

    CCountedCol* pCol = new CCountedCol(&nDeaths);
    {
        KrVariant v;
        v.SetXmlCollection(pCol);
        EXPECT_EQ(1, pCol->GetRefCount());
        EXPECT_EQ(pCol, v.GetXmlCollection().p);
        EXPECT_EQ(static_cast<CXmlObjectBase*>(pCol), v.GetXmlObject().p);  // either counted kind
        EXPECT_KR_THROW(v.ToString(""), CKrException, "Invalid Type 28 to convert to string");
        v.SetNil();  // releases the collection
        EXPECT_EQ(2, nDeaths);
        EXPECT_EQ(ItemType_XmlCollection, v.GetTypeAsEnum());
    }
    EXPECT_EQ(2, nDeaths);

    KrVariant empty;
    empty.SetXmlObject(nullptr);
    EXPECT_EQ(ItemType_XmlObjectBase, empty.GetTypeAsEnum());
    EXPECT_EQ(nullptr, empty.GetXmlObject().p);
    KrVariant emptyCopy(empty);
    EXPECT_EQ(nullptr, emptyCopy.GetXmlObject().p);
}

TEST(Variant, UnknownKindsAreRefused)
{
    KrVariant v;
    v.SetString("keep");
    EXPECT_KR_THROW(v.FromString("1", ItemType_XmlObjectBase, kCollapse), CKrException,
                    "Invalid Type 27 to convert to string");
    EXPECT_KR_THROW(v.FromString("1", ItemType_Invalid, kCollapse), CKrException,
                    "Invalid Type 0 to convert to string");
    EXPECT_KR_THROW(v.FromString("1", static_cast<ItemType>(99), kCollapse), CKrException,
                    "Invalid Type 99 to convert to string");
    EXPECT_EQ("keep", v.GetString());

    KrVariant bad;
    bad.m_type = static_cast<ItemType>(29);
    EXPECT_KR_THROW(KrVariant copy(bad), CKrException, "Unknown Type");
    KrVariant target;
    target.SetI4(3);
    EXPECT_KR_THROW(target = bad, CKrException, "Unknown Type");
    EXPECT_EQ(3, target.GetI4());
    EXPECT_KR_THROW(bad.GetType(), CKrException, "Invalid Type 29");
    bad.m_type = ItemType_Invalid;
}

TEST(Variant, FailedParseLeavesTheValue)
{
    KrVariant v;
    v.SetString("abc");
    EXPECT_KR_THROW(v.FromString("abc", ItemType_i4, kCollapse), CKrInvalidValueException,
                    "The value [abc] can not be converted to a i4");
    EXPECT_EQ("abc", v.GetString());
    EXPECT_KR_THROW(v.FromString("2005-13-01", ItemType_date, kCollapse), CKrInvalidValueException,
                    "Invalid Month [13] (1 <= month <= 12)");
    EXPECT_KR_THROW(v.FromString("x", static_cast<ItemType>(ItemType_i1), static_cast<CWhitespaceUtils::WhitespaceRule>(9)),
                    CKrException, "Unknown WhitespaceRule");
    EXPECT_EQ("abc", v.GetString());
    v.SetNil();
    EXPECT_KR_THROW(v.FromString("1.2.3", ItemType_decimal, kCollapse), CKrInvalidValueException,
                    "The string representing a Decimal, contained an invalid char at position 3 [1.2.3].");
    EXPECT_TRUE(v.IsNil());
    EXPECT_EQ(ItemType_string, v.GetTypeAsEnum());
    v.FromString("7", ItemType_decimal, kCollapse);
    EXPECT_FALSE(v.IsNil());
    EXPECT_EQ("7", v.ToString(nullptr));
}

// A variant reused for strings takes each in the string it holds; the rules apply all the same.
TEST(Variant, StringsReadIntoAHeldString)
{
    const struct
    {
        const char* lpText;
        CWhitespaceUtils::WhitespaceRule rule;
        const char* lpExpected;
    } cases[] = {
        {"plain text longer than a short string", kCollapse, "plain text longer than a short string"},
        {"  two   blanks\t", kCollapse, "two blanks"},
        {"a\r\nb", CWhitespaceUtils::WhitespaceRule_Preserve, "a\nb"},
        {"a\tb\nc", CWhitespaceUtils::WhitespaceRule_Replace, "a b c"},
        {" kept \r", CWhitespaceUtils::WhitespaceRule_None, " kept \r"},
        {"", kCollapse, ""},
        {"0123456789abcdef0123456789abcdef x", kCollapse, "0123456789abcdef0123456789abcdef x"},
        {"0123456789abcdef0123456789abcdef  x", kCollapse, "0123456789abcdef0123456789abcdef x"},
    };
    KrVariant v;
    v.SetString("held");
    for (const auto& c : cases)
    {
        v.FromString(c.lpText, ItemType_string, c.rule);
        EXPECT_EQ(c.lpExpected, v.GetString()) << c.lpText;
        EXPECT_FALSE(v.IsNil());
    }
    // The variant's own string as the text, and a nil string.
    v.SetString(" self  ");
    v.FromString(*v.m_pString, ItemType_string, kCollapse);
    EXPECT_EQ("self", v.GetString());
    v.SetNil();
    v.FromString("back", ItemType_string, kCollapse);
    EXPECT_FALSE(v.IsNil());
    EXPECT_EQ("back", v.GetString());
    EXPECT_KR_THROW(v.FromString("x", ItemType_string, static_cast<CWhitespaceUtils::WhitespaceRule>(9)), CKrException,
                    "Unknown WhitespaceRule");
    EXPECT_EQ("back", v.GetString());
}

// A variant reused for decimals takes each in storage it keeps; every value comes out as a
// fresh parse of its text gives it, and a text that fails leaves the value before.
TEST(Variant, DecimalsReadIntoHeldStorage)
{
    const char* const texts[] = {"4506.31", "123456789012345678901234567890.000123", "0", "-0.50", "1e3",
                                 "  7.25 ", "-12.5E-2", "0.1234567890123456789012345678901234", "9", "00012.3400"};
    KrVariant v;
    v.FromString("1", ItemType_decimal, kCollapse);
    for (int iRound = 0; iRound < 2; ++iRound)
        for (const char* lp : texts)
        {
            v.FromString(lp, ItemType_decimal, kCollapse);
            EXPECT_EQ(CConversions::decimalFromString(lp, kCollapse).ToString(), v.ToString(nullptr)) << lp;
            EXPECT_TRUE(v.GetDecimal() == CConversions::decimalFromString(lp, kCollapse)) << lp;
        }
    EXPECT_KR_THROW(v.FromString("1.2.3", ItemType_decimal, kCollapse), CKrInvalidValueException,
                    "The string representing a Decimal, contained an invalid char at position 3 [1.2.3].");
    EXPECT_EQ("12.34", v.ToString(nullptr));
    EXPECT_KR_THROW(v.FromString(std::string("1\0" "2", 3), ItemType_decimal, kCollapse), CKrInvalidValueException,
                    std::string("The value [1\0" "2] can not be converted to a decimal", 49));
    EXPECT_EQ("12.34", v.ToString(nullptr));
    v.FromString("3", ItemType_decimal, kCollapse);
    EXPECT_EQ("3", v.ToString(nullptr));
}

// The rows write numbers, dates, durations and Base64 without the string ToString makes; the
// text must be the same, byte for byte.
TEST(Variant, PlainTextShortcutsAgreeWithToString)
{
    const struct
    {
        ItemType kind;
        const char* lpText;
    } cases[] = {
        {ItemType_i1, "-128"}, {ItemType_i2, "32767"}, {ItemType_i4, "-2147483648"}, {ItemType_i8, "-9223372036854775808"},
        {ItemType_ui1, "255"}, {ItemType_ui2, "0"}, {ItemType_ui4, "4294967295"}, {ItemType_ui8, "18446744073709551615"},
        {ItemType_year, "2024"}, {ItemType_boolean, "1"}, {ItemType_boolean, "false"},
        {ItemType_r4, "3.1415927"}, {ItemType_r4, "-INF"}, {ItemType_r4, "1e-45"}, {ItemType_r8, "223.2115149380846"},
        {ItemType_r8, "0.1"}, {ItemType_r8, "1e300"}, {ItemType_r8, "-1.5e-300"}, {ItemType_r8, "NaN"},
        {ItemType_r8, "123456789012345678"}, {ItemType_r8, "-0"}, {ItemType_duration, "P5Y11MT17H"},
        {ItemType_duration, "-PT0.5S"}, {ItemType_date, "2024-02-24"}, {ItemType_datetime, "2024-02-24T00:35:12.733+02:00"},
        {ItemType_time, "23:59:59Z"}, {ItemType_yearMonth, "2020-05"}, {ItemType_monthDay, "--05-01"},
        {ItemType_base64Binary, "GFvYWJpDzgu6dYkf+exgFI1L1KCe4txckzG0EQupOsVK/BTaO90ZYUd0otVd"}, {ItemType_base64Binary, "YQ=="},
    };
    for (const auto& c : cases)
    {
        KrVariant v;
        v.FromString(c.lpText, c.kind, kCollapse);
        std::string strShortcut = "left over";
        ASSERT_TRUE(Internal::AssignPlainValueText(v, strShortcut)) << c.lpText;
        EXPECT_EQ(v.ToString(nullptr), strShortcut) << c.lpText;
    }
    // Kinds without a shortcut, and nils, are left to ToString.
    KrVariant v;
    v.FromString("1.5", ItemType_decimal, kCollapse);
    std::string strOut = "kept";
    EXPECT_FALSE(Internal::AssignPlainValueText(v, strOut));
    v.FromString("5", ItemType_i4, kCollapse);
    v.SetNil();
    EXPECT_FALSE(Internal::AssignPlainValueText(v, strOut));
    v.SetBase64Binary(CBinaryData());
    EXPECT_TRUE(Internal::AssignPlainValueText(v, strOut));
    EXPECT_EQ("", strOut);
}

TEST(Variant, OverrideReachesOnlyFloatsAndDecimals)
{
    KrVariant v;
    v.SetR8(3.14159);
    EXPECT_EQ("3.14", v.ToString("%.2f"));
    EXPECT_EQ("3.14159", v.ToString(nullptr));
    v.SetDecimal(CDecimal("2.345"));
    EXPECT_EQ("2.35", v.ToString("2"));
    v.SetI4(42);
    EXPECT_EQ("42", v.ToString("%.2f"));
    v.SetR8(1.0);
    EXPECT_KR_THROW(v.ToString("%s"), CKrInvalidParamException,
                    "The format override [%s] is not a printf format for one r8 value");
}

// A getter of the wrong kind is a caller's fault: debug builds stop on the assertion, release
// builds raise rather than read a member the variant doesn't hold.
#ifdef NDEBUG
TEST(Variant, WrongGetterRaisesInRelease)
{
    KrVariant v;
    v.SetString("s");
    EXPECT_KR_THROW(v.GetI4(), CKrInvalidStateException,
                    "Failed to GetI4. Precondition [m_type == ItemType_i4] does not hold: the variant holds string.");
    v.SetNil();
    EXPECT_KR_THROW(v.GetString(), CKrInvalidStateException,
                    "Failed to GetString. Precondition [m_type == ItemType_string && m_pString != 0] does not hold: "
                    "the variant holds nil string.");
    v.SetI8(1);
    v.SetNil();
    EXPECT_KR_THROW(v.GetI8(), CKrInvalidStateException,
                    "Failed to GetI8. Precondition [!m_bNil] does not hold: the variant holds nil i8.");
    KrVariant empty;
    empty.SetXmlObject(nullptr);
    EXPECT_KR_THROW(empty.GetXmlCollection(), CKrInvalidStateException,
                    "Failed to GetXmlCollection. Precondition [m_type == ItemType_XmlCollection && m_pXmlCol != 0] "
                    "does not hold: the variant holds kind 27.");
}
#else
TEST(VariantDeathTest, WrongGetterAssertsInDebug)
{
    KrVariant v;
    v.SetString("s");
    EXPECT_DEATH(v.GetI4(), "m_type == ItemType_i4");
    v.SetNil();
    EXPECT_DEATH(v.GetString(), "m_type == ItemType_string && m_pString != 0");
}
#endif

} // namespace
