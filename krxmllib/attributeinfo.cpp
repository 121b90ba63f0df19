#include "attributeinfo.h"

#include "attribute.h"
#include "functions.h"
#include "krexception.h"
#include "serializationcontext.h"
#include "valuescratch.h"
#include "xmlelement.h"
#include "xmlgeneratedclass.h"
#include "xmlwriter.h"

namespace KrXmlLib16Data {

// ---- CAttributeInfo ----

CAttributeInfo::CAttributeInfo(const char* lpAttributeName, const char* lpAttributeNamespace, int32_t iPropertyIndex,
                               bool bOptional, const char* lpDefaultValue)
    : m_strAttributeName(lpAttributeName ? lpAttributeName : ""),
      m_strAttributeNamespace(lpAttributeNamespace ? lpAttributeNamespace : ""),
      m_iPropertyIndex(iPropertyIndex),
      m_bOptional(bOptional),
      m_strDefaultValue(lpDefaultValue ? lpDefaultValue : "")
{
}

CAttributeInfo::~CAttributeInfo() = default;

bool CAttributeInfo::IsThisAttribute(const CSerializationContext& ctx, CXmlAttribute* pAttribute) const
{
    if (!pAttribute || pAttribute->GetLocalName() != m_strAttributeName)
        return false;
    return ctx.GetIgnoreNamespaces() || pAttribute->GetNamespaceURI() == m_strAttributeNamespace;
}

void CAttributeInfo::InvokePropertyGet(CXmlGeneratedClass* pObject, KrVariant& value) const
{
    try
    {
        pObject->InvokeProperty(m_iPropertyIndex, true, value);
    }
    catch (const CKrException& e)
    {
        throw CKrValidationException(
            FormatString("Failed to get the property value for [%s].", m_strAttributeName.c_str()), std::string(), e);
    }
}

void CAttributeInfo::InvokePropertySet(CXmlGeneratedClass* pObject, KrVariant& value,
                                       const CXmlAttribute& attribute) const
{
    try
    {
        pObject->InvokeProperty(m_iPropertyIndex, false, value);
    }
    catch (const CKrException& e)
    {
        throw CKrValidationException(
            FormatString("Failed to set the property value [%s].", attribute.GetValue().c_str()), attribute.GetXPath(),
            e);
    }
}

void CAttributeInfo::ReadProperty(const CXmlGeneratedClass* pObject, KrVariant& value) const
{
    InvokePropertyGet(const_cast<CXmlGeneratedClass*>(pObject), value);
}

void CAttributeInfo::ValidateRequired(bool bFound) const
{
    if (!m_bOptional && !bFound)
        throw CKrValidationException(
            FormatString("Failed to find the required Attribute [%s].", m_strAttributeName.c_str()), std::string());
}

void CAttributeInfo::ToXml_Int(const CXmlObjectBase* pObject, CXmlWriter* pWriter, bool bRoot,
                               const char* lpNamespace, const CSerializationContext& ctx)
{
    pObject->ToXml_Int(pWriter, bRoot, lpNamespace, ctx, false);
}

void CAttributeInfo::TestNamespace(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace)
{
    CXmlObjectBase::TestNamespace(lpNamespace, lpAllowed, lpTargetNamespace);
}

bool CAttributeInfo::IsNamespaceValid(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace)
{
    return CXmlObjectBase::IsNamespaceValid(lpNamespace, lpAllowed, lpTargetNamespace);
}

std::string CAttributeInfo::GetTargetNamespace(const CXmlObjectBase* pObject)
{
    return pObject->GetTargetNamespace();
}

// ---- CAttributeInfoPrimitive ----

CAttributeInfoPrimitive::CAttributeInfoPrimitive(const char* lpAttributeName, const char* lpAttributeNamespace,
                                                 int32_t iPropertyIndex, bool bOptional, ItemType eItemType,
                                                 const char* lpFormatOverride,
                                                 CWhitespaceUtils::WhitespaceRule eWhitespaceRule,
                                                 const CPrimitiveRestrictions& restrictions,
                                                 const char* lpDefaultValue)
    : CAttributeInfo(lpAttributeName, lpAttributeNamespace, iPropertyIndex, bOptional, lpDefaultValue),
      m_restrictions(restrictions),
      m_eItemType(eItemType),
      m_strFormatOverride(lpFormatOverride ? lpFormatOverride : ""),
      m_eWhitespaceRule(eWhitespaceRule)
{
}

void CAttributeInfoPrimitive::AttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                             CXmlWriter* pWriter) const
{
    KrVariant& value = Internal::ScratchValue(m_eItemType);
    ReadProperty(pObject, value);
    if (m_bOptional && !value.IsValid())
        return;
    // A required attribute without a value fails here, in the variant's own words. A string's
    // text is the string itself.
    thread_local std::string t_strBuffer;
    const std::string* pText = &t_strBuffer;
    if (value.GetTypeAsEnum() == ItemType_string && !value.IsNil() && value.m_pString)
        pText = value.m_pString;
    else
        t_strBuffer = value.ToString(m_strFormatOverride.c_str());
    const std::string& strText = *pText;
    if (m_bOptional && !m_strDefaultValue.empty() && ctx.GetNoOptionalAttributeDefaultOutput() &&
        strText == m_strDefaultValue)
        return;
    // What CheckRestriction does, without its copy of the value.
    ValidatePrimitive(m_strAttributeName.c_str(), value, m_eItemType, &m_restrictions);
    pWriter->WriteAttribute(m_strAttributeName, m_strAttributeNamespace, strText, value.GetTypeAsEnum());
}

bool CAttributeInfoPrimitive::AttributeFromXml(const CSerializationContext&, CXmlGeneratedClass* pObject,
                                               CXmlAttribute* pAttribute)
{
    // An exact match: unlike enumerations, a primitive attribute keeps its namespace even
    // when the context ignores namespaces.
    if (pAttribute->GetLocalName() != m_strAttributeName || pAttribute->GetNamespaceURI() != m_strAttributeNamespace)
        return false;
    KrVariant& value = Internal::ScratchValue(m_eItemType);
    value.FromString(pAttribute->GetValue(), m_eItemType, m_eWhitespaceRule);
    InvokePropertySet(pObject, value, *pAttribute);
    return true;
}

void CAttributeInfoPrimitive::Validate(const CSerializationContext&, bool bFound) const
{
    ValidateRequired(bFound);
}

void CAttributeInfoPrimitive::CheckRestriction(KrVariant value) const
{
    ValidatePrimitive(m_strAttributeName.c_str(), value, m_eItemType, &m_restrictions);
}

// ---- CAttributeInfoEnum ----

CAttributeInfoEnum::CAttributeInfoEnum(const char* lpAttributeName, const char* lpAttributeNamespace,
                                       int32_t iPropertyIndex, bool bOptional, EnumToStringFunction pfnEnumToString,
                                       StringToEnumFunction pfnStringToEnum, const char* lpDefaultValue)
    : CAttributeInfo(lpAttributeName, lpAttributeNamespace, iPropertyIndex, bOptional, lpDefaultValue),
      m_pfnStringToEnum(pfnStringToEnum),
      m_pfnEnumToString(pfnEnumToString)
{
}

void CAttributeInfoEnum::AttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                        CXmlWriter* pWriter) const
{
    KrVariant value;
    ReadProperty(pObject, value);
    if (m_bOptional && !value.IsValid())
        return;
    // An attribute can't be nil, and a required one must hold a value.
    if (!value.IsValid() || value.IsNil())
        throw CKrValidationException(
            FormatString("The required Attribute [%s] has no value to write.", m_strAttributeName.c_str()),
            std::string());
    const char* lpText = m_pfnEnumToString(value.GetI4());
    std::string strText = lpText ? lpText : "";
    if (m_bOptional && !m_strDefaultValue.empty() && ctx.GetNoOptionalAttributeDefaultOutput() &&
        strText == m_strDefaultValue)
        return;
    pWriter->WriteAttribute(m_strAttributeName, m_strAttributeNamespace, strText, ItemType_string);
}

bool CAttributeInfoEnum::AttributeFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                          CXmlAttribute* pAttribute)
{
    if (!IsThisAttribute(ctx, pAttribute))
        return false;
    KrVariant value;
    value.SetI4(m_pfnStringToEnum(pAttribute->GetValue().c_str()));
    InvokePropertySet(pObject, value, *pAttribute);
    return true;
}

void CAttributeInfoEnum::Validate(const CSerializationContext&, bool bFound) const
{
    ValidateRequired(bFound);
}

// ---- CAttributeInfoAny ----

CAttributeInfoAny::CAttributeInfoAny(const char* lpAttributeName, const char* lpAttributeNamespace,
                                     int32_t iPropertyIndex, bool bOptional, const char* lpNamespaceRestrictions,
                                     const char* lpTargetNamespace, const char* lpDefaultValue)
    : CAttributeInfo(lpAttributeName, lpAttributeNamespace, iPropertyIndex, bOptional, lpDefaultValue),
      m_strNamespaceRestrictions(lpNamespaceRestrictions ? lpNamespaceRestrictions : ""),
      m_strTargetNamespace(lpTargetNamespace ? lpTargetNamespace : "")
{
}

void CAttributeInfoAny::AttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                       CXmlWriter* pWriter) const
{
    KrVariant value;
    ReadProperty(pObject, value);
    CSmartPtr<CXmlCollectionBase> spCol = value.GetXmlCollection();
    if (!spCol)
        return;  // a class that holds no collection has no wildcard attributes to write
    std::string strTarget = GetTargetNamespace(pObject);
    ToXml_Int(spCol, pWriter, false, strTarget.c_str(), ctx);
}

bool CAttributeInfoAny::AttributeFromXml(const CSerializationContext&, CXmlGeneratedClass* pObject,
                                         CXmlAttribute* pAttribute)
{
    if (!IsNamespaceValid(pAttribute->GetNamespaceURI().c_str(), m_strNamespaceRestrictions.c_str(),
                          m_strTargetNamespace.c_str()))
        return false;
    KrVariant value;
    InvokePropertyGet(pObject, value);
    CSmartPtr<CXmlCollectionBase> spCol = value.GetXmlCollection();
    CAttributeCol* pAttributes = dynamic_cast<CAttributeCol*>(static_cast<CXmlCollectionBase*>(spCol));
    if (!pAttributes)
        throw CKrException("Serialization Data Error : The collection should be a CAttributeCol, it was not!");
    pAttributes->Add(pAttribute->GetLocalName().c_str(), pAttribute->GetValue().c_str(),
                     pAttribute->GetNamespaceURI().c_str());
    return true;
}

void CAttributeInfoAny::Validate(const CSerializationContext&, bool) const {}

} // namespace KrXmlLib16Data
