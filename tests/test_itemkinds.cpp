#include "testsupport.h"

#include <map>
#include <string>

#include "conversions.h"
#include "itemkinds.h"
#include "krvariant.h"
#include "primitiverestrictions.h"

using namespace KrXmlLib16;

namespace {

const CWhitespaceUtils::WhitespaceRule kCollapse = CWhitespaceUtils::WhitespaceRule_Collapse;

TEST(ItemKinds, FactsOfEveryNumber)
{
    struct Row
    {
        int iType;
        const char* lpName;  // null: no text form
        ItemFamily eFamily;
        ItemStorage eStorage;
        bool bDate;
        bool bFormat;
    };
    const Row kRows[] = {
        {0, nullptr, ItemFamily_None, ItemStorage_None, false, false},
        {1, "hexBinary", ItemFamily_Binary, ItemStorage_Owned, false, false},
        {6, "i8", ItemFamily_Signed, ItemStorage_Inline, false, false},
        {10, "ui8", ItemFamily_Unsigned, ItemStorage_Inline, false, false},
        {11, "r4", ItemFamily_Float, ItemStorage_Inline, false, true},
        {12, "r8", ItemFamily_Float, ItemStorage_Inline, false, true},
        {13, "duration", ItemFamily_Duration, ItemStorage_Owned, false, false},
        {14, "yearMonth", ItemFamily_Date, ItemStorage_Owned, true, false},
        {15, "monthDay", ItemFamily_Date, ItemStorage_Owned, true, false},
        {16, "year", ItemFamily_DatePart, ItemStorage_Inline, false, false},
        {19, "date", ItemFamily_Date, ItemStorage_Owned, true, false},
        {20, "datetime", ItemFamily_Date, ItemStorage_Owned, true, false},
        {21, "time", ItemFamily_Date, ItemStorage_Owned, true, false},
        {22, "char", ItemFamily_Char, ItemStorage_Inline, false, false},
        {23, "string", ItemFamily_String, ItemStorage_Owned, false, false},
        {24, "boolean", ItemFamily_Boolean, ItemStorage_Inline, false, false},
        {25, "decimal", ItemFamily_Decimal, ItemStorage_Owned, false, true},
        {26, "integer", ItemFamily_Integer, ItemStorage_Owned, false, false},
        {27, nullptr, ItemFamily_Object, ItemStorage_Counted, false, false},
        {28, nullptr, ItemFamily_Object, ItemStorage_Counted, false, false},
        {29, nullptr, ItemFamily_None, ItemStorage_None, false, false},
        {-1, nullptr, ItemFamily_None, ItemStorage_None, false, false},
    };
    for (const Row& r : kRows)
    {
        const ItemType e = static_cast<ItemType>(r.iType);
        SCOPED_TRACE(r.iType);
        EXPECT_EQ(r.lpName ? std::string(r.lpName) : "(none)", ItemKindName(e) ? ItemKindName(e) : "(none)");
        EXPECT_EQ(r.lpName != nullptr, IsPrimitiveKind(e));
        EXPECT_EQ(r.eFamily, ItemKindFamily(e));
        EXPECT_EQ(r.eStorage, ItemKindStorage(e));
        EXPECT_EQ(r.bDate, IsDateKind(e));
        EXPECT_EQ(r.bFormat, TakesFormatOverride(e));
    }
}

// Every primitive kind, through the compile-time conversions of the list, gives what the
// variant gives by its runtime kind; an override changes only the kinds that take one.
TEST(ItemKinds, CompileTimeConversionsAgreeWithTheVariant)
{
    const std::map<std::string, std::string> kSamples = {
        {"hexBinary", "0aff"},  {"base64Binary", "YWJj"}, {"i1", "-5"},        {"i2", "-300"},
        {"i4", " 70000 "},      {"i8", "-5000000000"},    {"ui1", "200"},      {"ui2", "60000"},
        {"ui4", "4000000000"},  {"ui8", "18000000000000000000"},               {"r4", "0.25"},
        {"r8", "2.5"},          {"duration", "PT90M"},    {"yearMonth", "2005-03"},
        {"monthDay", "--03-04"}, {"year", "1999"},        {"month", "--05"},   {"day", "---07"},
        {"date", "2005-03-04Z"}, {"datetime", "2005-03-04T05:06:07"},          {"time", "05:06:07.125"},
        {"char", "c"},          {"string", " two  words "}, {"boolean", "1"},  {"decimal", "1.5"},
        {"integer", "-12345678901234567890"}};
    // The override "%.3e" for a float, "2" for a decimal (a fraction digit count).
    const std::map<std::string, std::string> kOverridden = {
        {"r4", "2.500e-01"}, {"r8", "2.500e+00"}, {"decimal", "1.50"}};
    int nKinds = 0;
#define KR_ROW(kind, ...)                                                                                     \
    {                                                                                                         \
        typedef ItemKind<ItemType_##kind> K;                                                                  \
        SCOPED_TRACE(K::Name());                                                                              \
        ++nKinds;                                                                                             \
        const std::string& strText = kSamples.at(K::Name());                                                  \
        const K::Type value = K::FromString(strText, kCollapse);                                              \
        KrVariant v;                                                                                          \
        v.FromString(strText, ItemType_##kind, kCollapse);                                                    \
        EXPECT_EQ(v.GetType(), K::Name());                                                                    \
        EXPECT_EQ(v.ToString(nullptr), K::ToString(value));                                                   \
        const std::string strFormat = K::eFamily == ItemFamily_Decimal ? "2" : "%.3e";                        \
        EXPECT_EQ(v.ToString(strFormat.c_str()), K::ToString(value, strFormat));                              \
        auto it = kOverridden.find(K::Name());                                                                \
        EXPECT_EQ(it != kOverridden.end() ? it->second : K::ToString(value), K::ToString(value, strFormat));  \
    }
    KRXML_PRIMITIVE_KINDS(KR_ROW)
#undef KR_ROW
    EXPECT_EQ(26, nKinds);
}

TEST(ItemKinds, CharHasNoFacetCheckInEitherForm)
{
    CPrimitiveRestrictions facets("", 1, 1, "", "", "", "", -1, -1, -1);
    EXPECT_KR_THROW(ValidatePrimitive<ItemType_char>("c", 'x', &facets), CKrInvalidValueException,
                    "Unknown type [char].");
    EXPECT_KR_THROW(ValidatePrimitive<ItemType_char>("c", 'x', nullptr), CKrInvalidValueException,
                    "Unknown type [char].");
    ValidatePrimitive<ItemType_boolean>("b", true, &facets);  // a boolean passes whatever the facets say
}

} // namespace
