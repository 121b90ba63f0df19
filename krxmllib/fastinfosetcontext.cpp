#include "fastinfosetcontext.h"

#include "functions.h"
#include "krexception.h"

namespace KrXmlLib16 {

CFastInfosetContext::CFastInfosetContext()
    : m_byDefaultStringEncoding(0), m_encodings(), m_dwAttributeMaxAddLength(6), m_dwElementMaxAddLength(6),
      m_bUseGeneratedVocabulary(false)
{
}

CFastInfosetContext::CFastInfosetContext(const CFastInfosetContext& other) = default;

CFastInfosetContext& CFastInfosetContext::operator=(const CFastInfosetContext& other) = default;

CFastInfosetContext::~CFastInfosetContext() = default;

CFastInfosetContext::EncodedCharacterString CFastInfosetContext::GetEncoding(uint32_t eType) const
{
    if (eType >= kKinds)
        return EncodedCharacterString{0, 0};
    return m_encodings[eType];
}

void CFastInfosetContext::SetEncoding(uint32_t eType, EncodedCharacterString encoding)
{
    if (eType >= kKinds)
        throw CKrInvalidParamException(FormatString("Index Out of range [%u]", static_cast<unsigned int>(eType)));
    m_encodings[eType] = encoding;
}

void CFastInfosetContext::SetSuggestedValues()
{
    static const struct
    {
        ItemType eType;
        EncodedCharacterString encoding;
    } kSuggested[] = {
        {ItemType_hexBinary, {2, 1}},  {ItemType_base64Binary, {2, 2}}, {ItemType_i1, {2, 3}},
        {ItemType_i2, {2, 3}},         {ItemType_ui1, {2, 3}},          {ItemType_i4, {2, 4}},
        {ItemType_ui2, {2, 4}},        {ItemType_i8, {2, 5}},           {ItemType_ui4, {2, 5}},
        {ItemType_ui8, {2, 5}},        {ItemType_r4, {2, 7}},           {ItemType_r8, {2, 8}},
        {ItemType_boolean, {2, 6}},    {ItemType_duration, {0, 0}},     {ItemType_yearMonth, {1, 2}},
        {ItemType_monthDay, {1, 2}},   {ItemType_year, {1, 2}},         {ItemType_month, {1, 2}},
        {ItemType_day, {1, 2}},        {ItemType_date, {1, 2}},         {ItemType_datetime, {1, 2}},
        {ItemType_time, {1, 2}},       {ItemType_decimal, {1, 1}},      {ItemType_integer, {1, 1}},
    };
    for (const auto& entry : kSuggested)
        m_encodings[entry.eType] = entry.encoding;
}

} // namespace KrXmlLib16
