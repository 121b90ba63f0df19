// The roots of the metadata rows, the steps the row families share, and the bases of the
// repeating rows.
#include "elementinfo.h"

#include <cstring>

#include "element.h"
#include "equalbytes.h"
#include "functions.h"
#include "krexception.h"
#include "serializationcontext.h"
#include "valuescratch.h"
#include "xmlcollectionbase.h"
#include "xmlelement.h"
#include "xmlgeneratedclass.h"
#include "xmlwriter.h"

namespace KrXmlLib16Data {

static std::string TextOrEmpty(const char* lpText)
{
    return lpText ? std::string(lpText) : std::string();
}

// ---- CParentElementInfo ----

CParentElementInfo::CParentElementInfo(XmlElementGroupType eGroupType, XmlElementType eElementType,
                                       const char* lpElementName, const char* lpElementNamespace,
                                       bool bFromXmlFailIfAttributeUnknown, bool bHasBaseClasses,
                                       int32_t iPrimitiveValuePropertyIndex, ItemType ePrimitiveDataType,
                                       const char* lpPrimitiveFormatOverride, bool bOutputPrimitiveClassAsTextProperty)
    : m_eGroupType(eGroupType),
      m_eElementType(eElementType),
      m_strElementName(TextOrEmpty(lpElementName)),
      m_strElementNamespace(TextOrEmpty(lpElementNamespace)),
      m_bFromXmlFailIfAttributeUnknown(bFromXmlFailIfAttributeUnknown),
      m_bHasBaseClasses(bHasBaseClasses),
      m_iPrimitiveValuePropertyIndex(iPrimitiveValuePropertyIndex),
      m_ePrimitiveDataType(ePrimitiveDataType),
      m_strPrimitiveFormatOverride(TextOrEmpty(lpPrimitiveFormatOverride)),
      m_bOutputPrimitiveClassAsTextProperty(bOutputPrimitiveClassAsTextProperty)
{
}

CParentElementInfo::~CParentElementInfo() = default;

// ---- CElementInfo: construction ----

CElementInfo::CElementInfo(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex)
    : m_strElementName(TextOrEmpty(lpElementName)),
      m_strElementNamespace(TextOrEmpty(lpElementNamespace)),
      m_iPropertyIndex(iPropertyIndex),
      m_eItemType(ItemType_Invalid),
      m_eWhitespaceRule(CWhitespaceUtils::WhitespaceRule_None),
      m_bNillable(false),
      m_pfnEnumToString(nullptr),
      m_pfnStringToEnum(nullptr),
      m_bPrimitive(false)
{
}

CElementInfo::CElementInfo(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                           bool bNillable, EnumToStringFunction pfnEnumToString, StringToEnumFunction pfnStringToEnum,
                           const char* lpDefaultValue)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex)
{
    m_bNillable = bNillable;
    m_pfnEnumToString = pfnEnumToString;
    m_pfnStringToEnum = pfnStringToEnum;
    m_strDefaultValue = TextOrEmpty(lpDefaultValue);
}

CElementInfo::CElementInfo(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex,
                           bool bNillable, ItemType eItemType, const char* lpFormatOverride,
                           CWhitespaceUtils::WhitespaceRule eWhitespaceRule, const CPrimitiveRestrictions& restrictions,
                           const char* lpDefaultValue)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex)
{
    m_restrictions = restrictions;
    m_eItemType = eItemType;
    m_strFormatOverride = TextOrEmpty(lpFormatOverride);
    m_eWhitespaceRule = eWhitespaceRule;
    m_strDefaultValue = TextOrEmpty(lpDefaultValue);
    m_bNillable = bNillable;
    m_bPrimitive = true;
}

CElementInfo::~CElementInfo() = default;

bool CElementInfo::Validate(const CSerializationContext&, const CXmlGeneratedClass*, bool, bool) const
{
    throw CKrException("Not implemented, should never be called");
}

void CElementInfo::PseudoChildAttributeToXml(const CSerializationContext&, const CXmlGeneratedClass*,
                                             CXmlWriter*) const
{
}

void CElementInfo::CheckRestriction(const KrVariant& value) const
{
    if (!m_bPrimitive)
        throw CKrException("Cannot CheckRestriction for type: " + value.GetType());
    ValidatePrimitive(m_strElementName.c_str(), value, m_eItemType, &m_restrictions);
}

// a == b for the short strings names and namespaces are, without a call.
static inline bool SameShortText(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && Internal::EqualBytes(a.data(), b.data(), a.size());
}

bool CElementInfo::IsThisElement(const CSerializationContext& ctx, const CXmlElement* pElement) const
{
    if (!pElement || !SameShortText(pElement->GetLocalName(), m_strElementName))
        return false;
    return ctx.GetIgnoreNamespaces() || SameShortText(pElement->GetNamespaceURI(), m_strElementNamespace);
}

bool CElementInfo::AllowsEmptyChoice(const CXmlGeneratedClass* pObject) const
{
    switch (m_eChoiceRole)
    {
    case ChoiceRole_Optional: return true;
    case ChoiceRole_Collection: return GetCollection(const_cast<CXmlGeneratedClass*>(pObject))->GetMinOccurs() == 0;
    default: return false;
    }
}

// ---- property access ----

void CElementInfo::InvokePropertyGet(CXmlGeneratedClass* pObject, KrVariant& value) const
{
    try
    {
        pObject->InvokeProperty(m_iPropertyIndex, true, value);
    }
    catch (const CKrException& e)
    {
        throw CKrValidationException(
            FormatString("Failed to get the property value for [%s].", m_strElementName.c_str()), std::string(), e);
    }
}

void CElementInfo::InvokePropertySet(CXmlGeneratedClass* pObject, KrVariant& value, const CXmlElement& element) const
{
    try
    {
        pObject->InvokeProperty(m_iPropertyIndex, false, value);
    }
    catch (const CKrException& e)
    {
        throw CKrValidationException("Failed to set the property value.", element.GetXPath(), e);
    }
}

void CElementInfo::ReadProperty(const CXmlGeneratedClass* pObject, KrVariant& value) const
{
    InvokePropertyGet(const_cast<CXmlGeneratedClass*>(pObject), value);
}

CSmartPtr<CXmlCollectionBase> CElementInfo::GetCollection(CXmlGeneratedClass* pObject) const
{
    KrVariant value;
    InvokePropertyGet(pObject, value);
    CSmartPtr<CXmlCollectionBase> spCol = value.GetXmlCollection();
    if (!spCol)
        throw CKrInvalidStateException(
            FormatString("The collection of [%s] is NULL; a bound class must always hold one",
                         m_strElementName.c_str()));
    return spCol;
}

// ---- forwarders ----

CXmlElement* CElementInfo::FromXml_Int(CXmlObjectBase* pChild, CXmlElement* pElement, CXmlElement* pFirstChild,
                                       const CSerializationContext& ctx, bool bOptionalChoice)
{
    return pChild->FromXml_Int(pElement, pFirstChild, ctx, bOptionalChoice);
}

void CElementInfo::AttributesToXml_Int(const CXmlObjectBase* pChild, CXmlWriter* pWriter,
                                       const CSerializationContext& ctx) const
{
    pChild->AttributesToXml_Int(pWriter, ctx);
}

void CElementInfo::ToXml_Int(const CXmlObjectBase* pChild, CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                             const CSerializationContext& ctx, bool bOptionalChoice)
{
    pChild->ToXml_Int(pWriter, bRoot, lpNamespace, ctx, bOptionalChoice);
}

// ---- values without allocations ----

KrVariant& CElementInfo::ScratchValue()
{
    return Internal::ScratchValue(ItemType_Invalid);
}

KrVariant& CElementInfo::ScratchValue(ItemType eKind)
{
    return Internal::ScratchValue(eKind);
}

const std::string& CElementInfo::ValueText(const KrVariant& value, const char* lpFormatOverride,
                                           std::string& strBuffer)
{
    const ItemType eType = value.GetTypeAsEnum();
    if (eType == ItemType_string && value.m_pString)
        return *value.m_pString;
    // The override reaches floats and decimals only, which have no shortcut with one.
    const bool bOverride = lpFormatOverride && *lpFormatOverride &&
                           (eType == ItemType_r4 || eType == ItemType_r8 || eType == ItemType_decimal);
    if (!bOverride && Internal::AssignPlainValueText(value, strBuffer))
        return strBuffer;
    strBuffer = value.ToString(lpFormatOverride);
    return strBuffer;
}

// ---- writing ----

bool CElementInfo::ElementToXmlCls(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter, bool bOptionalChoice) const
{
    KrVariant value;
    ReadProperty(pObject, value);
    CSmartPtr<CXmlObjectBase> spChild = value.GetXmlObject();
    if (!spChild)
        return false;
    ToXml_Int(spChild, pWriter, false, m_strElementNamespace.c_str(), ctx, bOptionalChoice);
    return true;
}

bool CElementInfo::ElementToXmlCol(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                   CXmlWriter* pWriter) const
{
    CSmartPtr<CXmlCollectionBase> spCol = GetCollection(const_cast<CXmlGeneratedClass*>(pObject));
    if (spCol->GetCount() <= 0)
        return false;
    pWriter->SetArrayState(1);
    ToXml_Int(spCol->GetBase(), pWriter, false, m_strElementNamespace.c_str(), ctx, false);
    pWriter->SetArrayState(3);
    return true;
}

bool CElementInfo::ElementToXmlPrim(const CSerializationContext&, const CXmlGeneratedClass* pObject,
                                    CXmlWriter* pWriter) const
{
    KrVariant& value = ScratchValue(m_eItemType);
    ReadProperty(pObject, value);
    if (value.IsNil())
    {
        pWriter->StartElement(m_strElementName, m_strElementNamespace);
        pWriter->WriteNilAttribute();
        pWriter->EndElement();
        return true;
    }
    if (!value.IsValid())
        return false;
    thread_local std::string t_strBuffer;
    const std::string& strText = ValueText(value, m_strFormatOverride.c_str(), t_strBuffer);
    // A value equal to its default goes out unchecked: the writer drops or keeps the text.
    const bool bIsDefault = !m_strDefaultValue.empty() && m_strDefaultValue == strText;
    if (!bIsDefault)
        CheckRestriction(value);
    pWriter->StartElement(m_strElementName, m_strElementNamespace);
    pWriter->WriteElementText(strText, value.GetTypeAsEnum(), bIsDefault);
    pWriter->EndElement();
    return true;
}

bool CElementInfo::ElementToXmlEnum(const CSerializationContext&, const CXmlGeneratedClass* pObject,
                                    CXmlWriter* pWriter, EnumToStringFunction pfnEnumToString) const
{
    KrVariant& value = ScratchValue(ItemType_i4);
    ReadProperty(pObject, value);
    if (value.IsNil())
    {
        pWriter->StartElement(m_strElementName, m_strElementNamespace);
        pWriter->WriteNilAttribute();
        pWriter->EndElement();
        return true;
    }
    if (!value.IsValid())
        return false;
    thread_local std::string t_strText;
    const char* lpText = pfnEnumToString(value.GetI4());
    t_strText.assign(lpText ? lpText : "");
    const bool bIsDefault = !m_strDefaultValue.empty() && m_strDefaultValue == t_strText;
    pWriter->StartElement(m_strElementName, m_strElementNamespace);
    pWriter->WriteElementText(t_strText, ItemType_string, bIsDefault);
    pWriter->EndElement();
    return true;
}

bool CElementInfo::ObjectToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                               CXmlWriter* pWriter, bool bMandatory, bool bOptionalChoice) const
{
    const bool bWritten = ElementToXmlCls(ctx, pObject, pWriter, bOptionalChoice);
    if (!bWritten && bMandatory)
        ThrowMandatoryMissing();
    return bWritten;
}

void CElementInfo::ThrowMandatoryMissing() const
{
    throw CKrInvalidParamException(
        FormatString("The Property [%s] is mandatory, it may not be NULL", m_strElementName.c_str()));
}

// ---- reading ----

namespace {

bool EqualsNoCase(const std::string& strValue, const char* lpWord)
{
    size_t n = std::strlen(lpWord);
    if (strValue.size() != n)
        return false;
    for (size_t i = 0; i < n; ++i)
    {
        char c = strValue[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if (c != lpWord[i])
            return false;
    }
    return true;
}

} // namespace

// The attributes of a primitive or enumeration child: only xsi:nil is allowed. Answers whether
// the element is nil.
static bool ReadLeafAttributes(const CSerializationContext& ctx, const CXmlElement* pElement, bool bNillable)
{
    bool bNil = false;
    for (const CXmlAttribute* pAttr : pElement->GetAttributes())
    {
        if (pAttr->IsNilAttribute())
        {
            const std::string& strValue = pAttr->GetValue();
            if (EqualsNoCase(strValue, "false") || strValue == "0")
            {
                bNil = false;
                continue;
            }
            bNil = true;
            if (!bNillable)
                throw CKrValidationException("Invalid use of 'nil' attribute in non-nillable element.",
                                             pElement->GetXPath());
            if (!EqualsNoCase(strValue, "true") && strValue != "1")
                throw CKrValidationException(
                    FormatString("Unexpected Value [%s] for 'nil' Attribute found.", strValue.c_str()),
                    pAttr->GetXPath());
        }
        else if (!ctx.GetIgnoreUnknownAttributes())
            throw CKrValidationException("Unexpected Attribute found.", pAttr->GetXPath());
    }
    return bNil;
}

void CElementInfo::ElementFromXmlPrim(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                      CXmlElement** ppCursor)
{
    CXmlElement* pElement = *ppCursor;
    KrVariant& value = ScratchValue(m_eItemType);
    if (ReadLeafAttributes(ctx, pElement, m_bNillable))
    {
        // The class learns of the nil through a nil value of the row's kind, so that writing it
        // back gives the nil element again.
        value.SetInvalid();
        value.m_type = m_eItemType;
        value.SetNil();
    }
    else
    {
        const std::string& strText = pElement->GetText();
        value.FromString(strText.empty() && !m_strDefaultValue.empty() ? m_strDefaultValue : strText, m_eItemType,
                         m_eWhitespaceRule);
    }
    InvokePropertySet(pObject, value, *pElement);
    *ppCursor = pElement->GetNextSiblingElement();
}

void CElementInfo::ElementFromXmlEnum(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                      CXmlElement** ppCursor)
{
    CXmlElement* pElement = *ppCursor;
    KrVariant& value = ScratchValue(ItemType_i4);
    if (ReadLeafAttributes(ctx, pElement, m_bNillable))
    {
        value.SetInvalid();
        value.m_type = ItemType_i4;
        value.SetNil();
    }
    else
    {
        const std::string& strText = pElement->GetText();
        const std::string& strValue = strText.empty() && !m_strDefaultValue.empty() ? m_strDefaultValue : strText;
        value.SetI4(m_pfnStringToEnum(strValue.c_str()));
    }
    InvokePropertySet(pObject, value, *pElement);
    *ppCursor = pElement->GetNextSiblingElement();
}

bool CElementInfo::ValueToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                              CXmlWriter* pWriter) const
{
    return m_bPrimitive ? ElementToXmlPrim(ctx, pObject, pWriter)
                        : ElementToXmlEnum(ctx, pObject, pWriter, m_pfnEnumToString);
}

void CElementInfo::ValueFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor)
{
    if (m_bPrimitive)
        ElementFromXmlPrim(ctx, pObject, ppCursor);
    else
        ElementFromXmlEnum(ctx, pObject, ppCursor);
}

bool CElementInfo::MandatoryValueToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                       CXmlWriter* pWriter) const
{
    if (!ValueToXml(ctx, pObject, pWriter))
        ThrowMandatoryMissing();
    return true;
}

bool CElementInfo::ValueFromXmlIfMatch(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                       CXmlElement** ppCursor)
{
    if (!IsThisElement(ctx, *ppCursor))
        return false;
    ValueFromXml(ctx, pObject, ppCursor);
    return true;
}

bool CElementInfo::SeqMandatoryValueFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                            CXmlElement* pParent, CXmlElement** ppCursor, XmlElementType eParentType,
                                            bool bSkipUnknown)
{
    if (eParentType == XmlElementType_Element)
    {
        if (!SeekMandatoryElement(ctx, pParent, ppCursor))
            return true;
    }
    else
    {
        while (!IsThisElement(ctx, *ppCursor))
        {
            if (!bSkipUnknown || !ctx.GetIgnoreUnknownElements() || !*ppCursor)
                return false;
            *ppCursor = (*ppCursor)->GetNextSiblingElement();
        }
    }
    ValueFromXml(ctx, pObject, ppCursor);
    return true;
}

// ---- class-valued rows ----

CSmartPtr<CXmlObjectBase> CElementInfo::GetExistingChild(CXmlGeneratedClass* pObject) const
{
    KrVariant value;
    InvokePropertyGet(pObject, value);
    CSmartPtr<CXmlObjectBase> spChild = value.GetXmlObject();
    if (!spChild)
        ThrowMandatoryMissing();
    return spChild;
}

CSmartPtr<CXmlObjectBase> CElementInfo::CreateObject(CreateObjectFunction pfnCreateObject, int32_t iClassId) const
{
    CSmartPtr<CXmlObjectBase> spChild = pfnCreateObject(iClassId, m_strElementName.c_str());
    if (!spChild)
        throw CKrInvalidStateException(
            FormatString("The class factory made no object of class %d for [%s]", static_cast<int>(iClassId),
                         m_strElementName.c_str()));
    return spChild;
}

void CElementInfo::SetObject(CXmlGeneratedClass* pObject, CXmlObjectBase* pChild, const CXmlElement& element) const
{
    KrVariant value;
    value.SetXmlObject(pChild);
    InvokePropertySet(pObject, value, element);
}

void CElementInfo::FillByTag(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                             CXmlElement** ppCursor) const
{
    CSmartPtr<CXmlObjectBase> spChild = GetExistingChild(pObject);
    CXmlElement* pElement = *ppCursor;
    FromXml_Int(spChild, pElement, pElement->GetFirstElement(), ctx, false);
    *ppCursor = pElement->GetNextSiblingElement();
}

CXmlElement* CElementInfo::FillAsGroup(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                       CXmlElement* pParent, CXmlElement* pCursor) const
{
    CSmartPtr<CXmlObjectBase> spChild = GetExistingChild(pObject);
    return FromXml_Int(spChild, pParent, pCursor, ctx, false);
}

void CElementInfo::ReadByTag(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor,
                             CXmlObjectBase* pChild) const
{
    CXmlElement* pElement = *ppCursor;
    FromXml_Int(pChild, pElement, pElement->GetFirstElement(), ctx, false);
    *ppCursor = pElement->GetNextSiblingElement();
    SetObject(pObject, pChild, *pElement);
}

CXmlElement* CElementInfo::ReadAsGroup(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                       CXmlElement* pParent, CXmlElement* pCursor, CXmlObjectBase* pChild) const
{
    CXmlElement* pResult = FromXml_Int(pChild, pParent, pCursor, ctx, false);
    if (pResult != pCursor)
        SetObject(pObject, pChild, *pParent);
    return pResult;
}

void CElementInfo::MakeByTag(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor,
                             CreateObjectFunction pfnCreateObject, int32_t iClassId) const
{
    ReadByTag(ctx, pObject, ppCursor, CreateObject(pfnCreateObject, iClassId));
}

CXmlElement* CElementInfo::MakeAsGroup(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                       CXmlElement* pParent, CXmlElement* pCursor, CreateObjectFunction pfnCreateObject,
                                       int32_t iClassId) const
{
    return ReadAsGroup(ctx, pObject, pParent, pCursor, CreateObject(pfnCreateObject, iClassId));
}

bool CElementInfo::AllAbstractFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                      CXmlElement* pParent, CXmlElement** ppCursor, XmlElementType eElementType,
                                      CreateAbstractObjectFunction pfnCreateAbstractObject) const
{
    if (!*ppCursor)
        return false;
    const bool bByTag = eElementType == XmlElementType_Element;
    if (bByTag && !IsThisElement(ctx, *ppCursor))
        return false;
    CSmartPtr<CXmlObjectBase> spChild = pfnCreateAbstractObject(*ppCursor);
    if (!spChild)
        return false;
    if (bByTag)
    {
        ReadByTag(ctx, pObject, ppCursor, spChild);
        return true;
    }
    CXmlElement* pResult = ReadAsGroup(ctx, pObject, pParent, *ppCursor, spChild);
    const bool bTook = pResult != *ppCursor;
    *ppCursor = pResult;
    return bTook;
}

// ---- wildcard rows ----

static const char kAnyElement[] = "AnyElement";

CSmartPtr<CXmlObjectBase> CElementInfo::MakeWildcard(const char* lpNamespace, const std::string& strRestrictions,
                                                     const std::string& strTargetNamespace) const
{
    std::string strNamespace =
        GetAnyDefaultNamespace(strRestrictions.c_str(), lpNamespace, strTargetNamespace.c_str());
    return new CElement(m_strElementName.c_str(), strNamespace.c_str(), strRestrictions.c_str(),
                        strTargetNamespace.c_str());
}

CXmlElement* CElementInfo::ReadWildcard(const CSerializationContext& ctx, CXmlObjectBase* pChild,
                                        CXmlElement* pParent, CXmlElement* pCursor) const
{
    if (m_strElementName != kAnyElement && m_strElementName != pCursor->GetLocalName())
        return pCursor;
    return FromXml_Int(pChild, pParent, pCursor, ctx, false);
}

CXmlElement* CElementInfo::ReadWildcards(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                         CXmlElement* pParent, CXmlElement* pCursor,
                                         CSmartPtr<CXmlCollectionBase>& spCol) const
{
    spCol = GetCollection(pObject);
    if (m_strElementName == kAnyElement)
        return FromXml_Int(spCol, pParent, pCursor, ctx, false);
    CElementCol* pElements = dynamic_cast<CElementCol*>(static_cast<CXmlCollectionBase*>(spCol));
    if (!pElements)
        throw CKrException("Serialization Data Error : The collection should be a CElementCol, it was not!");
    // The run ends where the name or the namespace of the first element changes.
    return pElements->FromXmlLockElementName_Int(m_strElementName, pCursor ? pCursor->GetNamespaceURI() : std::string(),
                                                 pParent, pCursor, ctx);
}

void CElementInfo::ThrowNoSubstitution(const CXmlElement* pParent) const
{
    throw CKrValidationException(
        FormatString("Failed to find a suitable substitution element for [%s].", m_strElementName.c_str()),
        pParent->GetXPath());
}

void CElementInfo::PseudoChildAttributes(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                         CXmlWriter* pWriter, XmlElementType eElementType, bool bCollection) const
{
    if (eElementType != XmlElementType_PseudoElement)
        return;
    KrVariant value;
    ReadProperty(pObject, value);
    CSmartPtr<CXmlObjectBase> spChild = bCollection ? CSmartPtr<CXmlObjectBase>(value.GetXmlCollection().p)
                                                    : value.GetXmlObject();
    if (spChild)
        AttributesToXml_Int(spChild, pWriter, ctx);
}

void CElementInfo::ThrowRequiredChildMissing(const CXmlElement* pParent) const
{
    throw CKrValidationException(
        FormatString("Failed to find the required child element [%s].", m_strElementName.c_str()),
        pParent->GetXPath());
}

bool CElementInfo::SeekMandatoryElement(const CSerializationContext& ctx, CXmlElement* pParent,
                                        CXmlElement** ppCursor) const
{
    while (!IsThisElement(ctx, *ppCursor))
    {
        if (ctx.GetIgnoreMissingMandatoryElements())
            return false;
        if (ctx.GetIgnoreUnknownElements() && *ppCursor)
            *ppCursor = (*ppCursor)->GetNextSiblingElement();
        else
            ThrowRequiredChildMissing(pParent);
    }
    return true;
}

bool CElementInfo::ValidateMandatory(bool bFound, bool bMustExist) const
{
    if (bFound)
        return true;
    if (!bMustExist)
        return false;
    throw CKrValidationException(FormatString("Failed to find the mandatory element [%s].", m_strElementName.c_str()),
                                 std::string());
}

std::string CElementInfo::GetAnyDefaultNamespace(const char* lpRestrictions, const char* lpNamespace,
                                                 const char* lpTargetNamespace)
{
    std::string strRestrictions = TextOrEmpty(lpRestrictions);
    if (strRestrictions == "##any")
        return TextOrEmpty(lpNamespace);
    if (strRestrictions == "##other")
        return lpNamespace && *lpNamespace ? std::string() : std::string("DefaultNamespace");
    if (strRestrictions == "##local")
        return std::string();
    if (strRestrictions == "##targetNamespace")
        return TextOrEmpty(lpTargetNamespace);
    size_t nBlank = strRestrictions.find(' ');
    if (nBlank != std::string::npos && strRestrictions.size() > 2 && strRestrictions.compare(0, 2, "##") == 0)
        return GetAnyDefaultNamespace(strRestrictions.substr(0, nBlank).c_str(), lpNamespace, lpTargetNamespace);
    return std::string();
}

// ---- CElementInfoSeqCol ----

CElementInfoSeqCol::CElementInfoSeqCol(const char* lpElementName, const char* lpElementNamespace,
                                       int32_t iPropertyIndex)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

bool CElementInfoSeqCol::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                      CXmlWriter* pWriter) const
{
    if (!ctx.GetIgnoreInvalidCollectionCounts())
        GetCollection(const_cast<CXmlGeneratedClass*>(pObject))->ValidateCount(ctx);
    return ElementToXmlCol(ctx, pObject, pWriter);
}

bool CElementInfoSeqCol::CheckCountAfterRead(const CSerializationContext& ctx, CXmlCollectionBase* pCol,
                                             XmlElementType eParentType) const
{
    if (eParentType == XmlElementType_Element)
    {
        pCol->ValidateCount(ctx);
        return true;
    }
    return pCol->IsValidCount(ctx);
}

bool CElementInfoSeqCol::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                        CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                        XmlElementType eParentType)
{
    CSmartPtr<CXmlCollectionBase> spCol = GetCollection(pObject);
    *ppCursor = FromXml_Int(spCol, pParent, *ppCursor, ctx, false);
    return CheckCountAfterRead(ctx, spCol, eParentType);
}

// ---- CElementInfoChoiceCol ----

CElementInfoChoiceCol::CElementInfoChoiceCol(const char* lpElementName, const char* lpElementNamespace,
                                             int32_t iPropertyIndex)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex)
{
    m_eChoiceRole = ChoiceRole_Collection;
}

bool CElementInfoChoiceCol::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                         CXmlWriter* pWriter) const
{
    return ElementToXmlCol(ctx, pObject, pWriter);
}

bool CElementInfoChoiceCol::AcceptRead(const CSerializationContext& ctx, CXmlCollectionBase* pCol,
                                       CXmlElement** ppCursor, CXmlElement* pResult, XmlElementType eParentType) const
{
    if (pResult == *ppCursor)
        return false;
    if (eParentType == XmlElementType_Element)
    {
        *ppCursor = pResult;
        pCol->ValidateCount(ctx);
        return true;
    }
    if (!pCol->IsValidCount(ctx))
        return false;
    *ppCursor = pResult;
    return true;
}

bool CElementInfoChoiceCol::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                           CXmlElement* pParent, CXmlElement** ppCursor, const char*,
                                           XmlElementType eParentType)
{
    CSmartPtr<CXmlCollectionBase> spCol = GetCollection(pObject);
    CXmlElement* pResult = FromXml_Int(spCol, pParent, *ppCursor, ctx, false);
    return AcceptRead(ctx, spCol, ppCursor, pResult, eParentType);
}

// ---- CElementInfoAllCol ----

CElementInfoAllCol::CElementInfoAllCol(const char* lpElementName, const char* lpElementNamespace,
                                       int32_t iPropertyIndex)
    : CElementInfo(lpElementName, lpElementNamespace, iPropertyIndex)
{
}

bool CElementInfoAllCol::ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                      CXmlWriter* pWriter) const
{
    if (!ctx.GetIgnoreInvalidCollectionCounts())
        GetCollection(const_cast<CXmlGeneratedClass*>(pObject))->ValidateCount(ctx);
    return ElementToXmlCol(ctx, pObject, pWriter);
}

bool CElementInfoAllCol::ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                        CXmlElement* pParent, CXmlElement** ppCursor, const char*, XmlElementType)
{
    CSmartPtr<CXmlCollectionBase> spCol = GetCollection(pObject);
    *ppCursor = FromXml_Int(spCol, pParent, *ppCursor, ctx, false);
    return false;
}

// The passes of the all walker are over: the collection's count decides, as a sequence's
// would, raising under a real element and answering under a pseudo one.
bool CElementInfoAllCol::Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool,
                                  bool bMustExist) const
{
    CSmartPtr<CXmlCollectionBase> spCol = GetCollection(const_cast<CXmlGeneratedClass*>(pObject));
    if (spCol->IsValidCount(ctx))
        return true;
    if (bMustExist)
        spCol->ValidateCount(ctx);
    return false;
}

} // namespace KrXmlLib16Data
