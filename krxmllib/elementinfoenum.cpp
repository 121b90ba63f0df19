#include "elementinfoenum.h"

#include "serializationcontext.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"

namespace KrXmlLib16Data {

#define KRXML_ENUM_ROW_PARAMS                                                                      \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex, bool bNillable, \
        EnumToStringFunction pfnEnumToString, StringToEnumFunction pfnStringToEnum, const char *lpDefaultValue
#define KRXML_ENUM_ROW_BASE                                                                          \
    CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex, bNillable, pfnEnumToString, pfnStringToEnum, \
                 lpDefaultValue)

// ---- sequence ----

CElementInfoSeqEnumMnd::CElementInfoSeqEnumMnd(KRXML_ENUM_ROW_PARAMS) : KRXML_ENUM_ROW_BASE {}

bool CElementInfoSeqEnumMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return MandatoryValueToXml(ctx, pObject, pWriter);
}

// Unlike the primitive row, it doesn't skip unknown elements under a pseudo parent.
bool CElementInfoSeqEnumMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                            XmlElementType eParentType)
{
    return SeqMandatoryValueFromXml(ctx, pObject, pParent, ppCursor, eParentType, false);
}

CElementInfoSeqEnumOpt::CElementInfoSeqEnumOpt(KRXML_ENUM_ROW_PARAMS) : KRXML_ENUM_ROW_BASE {}

bool CElementInfoSeqEnumOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return ValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoSeqEnumOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    ValueFromXmlIfMatch(ctx, pObject, ppCursor);
    return true;
}

CElementInfoSeqEnumCol::CElementInfoSeqEnumCol(const char* lpElementName, const char* lpElementNamespace,
                                               int32_t iPropertyIndex)
    : CElementInfoSeqCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

// ---- all ----

CElementInfoAllEnumMnd::CElementInfoAllEnumMnd(KRXML_ENUM_ROW_PARAMS) : KRXML_ENUM_ROW_BASE {}

bool CElementInfoAllEnumMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return MandatoryValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoAllEnumMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    return ValueFromXmlIfMatch(ctx, pObject, ppCursor);
}

bool CElementInfoAllEnumMnd::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool bFound,
                                      bool bMustExist) const
{
    return ValidateMandatory(bFound, bMustExist);
}

CElementInfoAllEnumOpt::CElementInfoAllEnumOpt(KRXML_ENUM_ROW_PARAMS) : KRXML_ENUM_ROW_BASE {}

bool CElementInfoAllEnumOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return ValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoAllEnumOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    return ValueFromXmlIfMatch(ctx, pObject, ppCursor);
}

bool CElementInfoAllEnumOpt::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool, bool) const
{
    return true;
}

CElementInfoAllEnumCol::CElementInfoAllEnumCol(const char* lpElementName, const char* lpElementNamespace,
                                               int32_t iPropertyIndex)
    : CElementInfoAllCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

// ---- choice ----

CElementInfoChoiceEnumOpt::CElementInfoChoiceEnumOpt(KRXML_ENUM_ROW_PARAMS) : KRXML_ENUM_ROW_BASE
{
    m_eChoiceRole = ChoiceRole_Optional;
}

bool CElementInfoChoiceEnumOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                             CXmlWriter* pWriter) const
{
    return ValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoChoiceEnumOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                               CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    return ValueFromXmlIfMatch(ctx, pObject, ppCursor);
}

CElementInfoChoiceEnumCol::CElementInfoChoiceEnumCol(const char* lpElementName, const char* lpElementNamespace,
                                                     int32_t iPropertyIndex)
    : CElementInfoChoiceCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

} // namespace KrXmlLib16Data
