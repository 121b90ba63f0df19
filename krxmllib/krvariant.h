// One value of one of the 28 item kinds, a nil marker of a kind, or nothing: the value type
// that crosses between the binding engine and a bound class's properties.
#ifndef KRXMLLIB_KRVARIANT_H
#define KRXMLLIB_KRVARIANT_H

#include <cstdint>
#include <string>

#include "biginteger.h"
#include "binarydata.h"
#include "datetime.h"
#include "datetimespan.h"
#include "decimal.h"
#include "itemtype.h"
#include "krxmlexport.h"
#include "smartptr.h"
#include "whitespaceutils.h"

namespace KrXmlLib16 {

class CXmlObjectBase;
class CXmlCollectionBase;

// Class-valued kinds are held as private heap copies; CXmlObjectBase and CXmlCollectionBase
// are shared through their reference count.
//
// A getter requires the variant to hold a value of its kind (not nil). Debug builds assert
// that; release builds raise CKrInvalidStateException instead of reading the wrong member.
struct KRXML_API KrVariant
{
    KrVariant();
    KrVariant(const KrVariant& other);
    // Takes over the other's value; the other is left empty.
    KrVariant(KrVariant&& other) noexcept;
    virtual ~KrVariant();

    KrVariant& operator=(const KrVariant& other);
    KrVariant& operator=(KrVariant&& other) noexcept;

    // Frees the value and empties the variant; does nothing to a variant of kind
    // ItemType_Invalid, so that a nil without a kind stays nil.
    void Clear();
    // True for a value or a nil.
    bool IsValid() const { return m_type != ItemType_Invalid || m_bNil; }
    // Empties the variant, a nil without a kind included.
    void SetInvalid();
    // Drops the value but keeps its kind.
    void SetNil();
    bool IsNil() const { return m_bNil; }

    // The kind's name for kinds 1 to 26; others raise CKrException "Invalid Type %d".
    std::string GetType() const;
    ItemType GetTypeAsEnum() const { return m_type; }

    // The value's text; formatOverride (null for none) reaches r4, r8 and decimal only. A nil
    // variant raises CKrInvalidStateException, kinds outside 1 to 26 CKrException.
    std::string ToString(const char* formatOverride) const;
    // Parses value as a type and stores the result; on failure the variant keeps what it held.
    void FromString(const std::string& value, ItemType type, CWhitespaceUtils::WhitespaceRule rule);

    // ---- setters: each replaces whatever was held ----
    // The accessors are defined from the kind list (itemkinds.h), whose rows name them; a kind
    // added there without its pair here doesn't compile.
    void SetHexBinary(const CBinaryData& value);
    void SetBase64Binary(const CBinaryData& value);
    void SetI1(int8_t value);
    void SetI2(int16_t value);
    void SetI4(int32_t value);
    void SetI8(int64_t value);
    void SetUI1(uint8_t value);
    void SetUI2(uint16_t value);
    void SetUI4(uint32_t value);
    void SetUI8(uint64_t value);
    void SetR4(float value);
    void SetR8(double value);
    void SetDuration(const CDateTimeSpan& value);
    void SetYearMonth(const CDateTime& value);
    void SetMonthDay(const CDateTime& value);
    void SetYear(uint16_t value);
    void SetMonth(uint8_t value);
    void SetDay(uint8_t value);
    void SetDate(const CDateTime& value);
    void SetDateTime(const CDateTime& value);
    void SetTime(const CDateTime& value);
    void SetChar(char value);
    void SetString(const std::string& value);
    void SetString(std::string&& value);
    void SetBoolean(bool value);
    void SetDecimal(const CDecimal& value);
    void SetInteger(const CBigInteger& value);
    // Both take a reference on a non-null object and give it back when the value goes.
    void SetXmlObject(CXmlObjectBase* pValue);
    void SetXmlCollection(CXmlCollectionBase* pValue);

    // ---- getters ----
    CBinaryData GetHexBinary() const;
    CBinaryData GetBase64Binary() const;
    int8_t GetI1() const;
    int16_t GetI2() const;
    int32_t GetI4() const;
    int64_t GetI8() const;
    uint8_t GetUI1() const;
    uint16_t GetUI2() const;
    uint32_t GetUI4() const;
    uint64_t GetUI8() const;
    float GetR4() const;
    double GetR8() const;
    CDateTimeSpan GetDuration() const;
    CDateTime GetYearMonth() const;
    CDateTime GetMonthDay() const;
    uint16_t GetYear() const;
    uint8_t GetMonth() const;
    uint8_t GetDay() const;
    CDateTime GetDate() const;
    CDateTime GetDateTime() const;
    CDateTime GetTime() const;
    char GetChar() const;
    std::string GetString() const;
    bool GetBoolean() const;
    CDecimal GetDecimal() const;
    CBigInteger GetInteger() const;
    // Accepts an object or a collection; a null object or a nil gives an empty pointer.
    CSmartPtr<CXmlObjectBase> GetXmlObject() const;
    CSmartPtr<CXmlCollectionBase> GetXmlCollection() const;

    bool m_bNil;
    ItemType m_type;
    union
    {
        int8_t m_i1;
        int16_t m_i2;
        int32_t m_i4;
        int64_t m_i8;
        uint8_t m_ui1;
        uint16_t m_ui2;
        uint32_t m_ui4;
        uint64_t m_ui8;
        float m_r4;
        double m_r8;
        uint16_t m_year;
        uint8_t m_month;
        uint8_t m_day;
        char m_char;
        bool m_bool;
        CBinaryData* m_pBinaryData;     // hexBinary, base64Binary
        CDateTimeSpan* m_pDuration;
        CDateTime* m_pDateTime;         // yearMonth, monthDay, date, datetime, time
        std::string* m_pString;
        CDecimal* m_pDecimal;
        CBigInteger* m_pBigInteger;
        CXmlObjectBase* m_pXmlObject;
        CXmlCollectionBase* m_pXmlCol;
        uint64_t m_raw;                 // the whole union, for clearing and moving
    };

private:
    // Empties the variant, nil mark included; setters start with it.
    void Reset() noexcept;
    // Copies the value of other, whose kind was checked; the variant is empty.
    void CopyValueFrom(const KrVariant& other);
    // Frees what the union holds for m_type, without looking at the nil mark.
    void FreeValue() noexcept;
    [[noreturn]] void ThrowPrecondition(const char* lpGetter, const char* lpCondition) const;
};

} // namespace KrXmlLib16

#endif
