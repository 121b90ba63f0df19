#include "elementinfoprim.h"

#include "serializationcontext.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"

namespace KrXmlLib16Data {

#define KRXML_PRIM_ROW_PARAMS                                                                           \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex, bool bNillable, \
        ItemType eItemType, const char *lpFormatOverride, CWhitespaceUtils::WhitespaceRule eWhitespaceRule, \
        const CPrimitiveRestrictions &restrictions, const char *lpDefaultValue
#define KRXML_PRIM_ROW_BASE                                                                                 \
    CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex, bNillable, eItemType, lpFormatOverride, \
                 eWhitespaceRule, restrictions, lpDefaultValue)

// ---- sequence ----

CElementInfoSeqPrimMnd::CElementInfoSeqPrimMnd(KRXML_PRIM_ROW_PARAMS) : KRXML_PRIM_ROW_BASE {}

bool CElementInfoSeqPrimMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return MandatoryValueToXml(ctx, pObject, pWriter);
}

// Under a pseudo parent the row skips unknown elements itself when asked to ignore them.
bool CElementInfoSeqPrimMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                            XmlElementType eParentType)
{
    return SeqMandatoryValueFromXml(ctx, pObject, pParent, ppCursor, eParentType, true);
}

CElementInfoSeqPrimOpt::CElementInfoSeqPrimOpt(KRXML_PRIM_ROW_PARAMS) : KRXML_PRIM_ROW_BASE {}

bool CElementInfoSeqPrimOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return ValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoSeqPrimOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    ValueFromXmlIfMatch(ctx, pObject, ppCursor);
    return true;
}

CElementInfoSeqPrimCol::CElementInfoSeqPrimCol(const char* lpElementName, const char* lpElementNamespace,
                                               int32_t iPropertyIndex)
    : CElementInfoSeqCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

// ---- all ----

CElementInfoAllPrimMnd::CElementInfoAllPrimMnd(KRXML_PRIM_ROW_PARAMS) : KRXML_PRIM_ROW_BASE {}

bool CElementInfoAllPrimMnd::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return MandatoryValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoAllPrimMnd::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    return ValueFromXmlIfMatch(ctx, pObject, ppCursor);
}

bool CElementInfoAllPrimMnd::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool bFound,
                                      bool bMustExist) const
{
    return ValidateMandatory(bFound, bMustExist);
}

CElementInfoAllPrimOpt::CElementInfoAllPrimOpt(KRXML_PRIM_ROW_PARAMS) : KRXML_PRIM_ROW_BASE {}

bool CElementInfoAllPrimOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                          CXmlWriter* pWriter) const
{
    return ValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoAllPrimOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    return ValueFromXmlIfMatch(ctx, pObject, ppCursor);
}

bool CElementInfoAllPrimOpt::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool, bool) const
{
    return true;
}

CElementInfoAllPrimCol::CElementInfoAllPrimCol(const char* lpElementName, const char* lpElementNamespace,
                                               int32_t iPropertyIndex)
    : CElementInfoAllCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

// ---- choice ----

CElementInfoChoicePrimOpt::CElementInfoChoicePrimOpt(KRXML_PRIM_ROW_PARAMS) : KRXML_PRIM_ROW_BASE
{
    m_eChoiceRole = ChoiceRole_Optional;
}

bool CElementInfoChoicePrimOpt::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                             CXmlWriter* pWriter) const
{
    return ValueToXml(ctx, pObject, pWriter);
}

bool CElementInfoChoicePrimOpt::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                               CXmlElement*, CXmlElement** ppCursor, const char*, XmlElementType)
{
    return ValueFromXmlIfMatch(ctx, pObject, ppCursor);
}

CElementInfoChoicePrimCol::CElementInfoChoicePrimCol(const char* lpElementName, const char* lpElementNamespace,
                                                     int32_t iPropertyIndex)
    : CElementInfoChoiceCol(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

} // namespace KrXmlLib16Data
