// The attribute rows of a bound class: a primitive value, an enumeration, and the anyAttribute
// wildcard that gathers the attributes of permitted namespaces into a CAttributeCol. The
// attribute pass offers each attribute to the rows in table order; the writer asks each row
// in table order to write itself.
#ifndef KRXMLLIB_ATTRIBUTEINFO_H
#define KRXMLLIB_ATTRIBUTEINFO_H

#include <cstdint>
#include <string>

#include "krxmlexport.h"
#include "elementinfo.h"
#include "krvariant.h"
#include "primitiverestrictions.h"
#include "whitespaceutils.h"

namespace KrXmlLib16Data {

class KRXML_API CAttributeInfo
{
public:
    virtual ~CAttributeInfo();

    virtual void AttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                CXmlWriter* pWriter) const = 0;
    // True when this row took the attribute.
    virtual bool AttributeFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                                  CXmlAttribute* pAttribute) = 0;
    // After the pass: raises for a required attribute that wasn't found.
    virtual void Validate(const CSerializationContext& ctx, bool bFound) const = 0;

protected:
    CAttributeInfo(const char* lpAttributeName, const char* lpAttributeNamespace, int32_t iPropertyIndex,
                   bool bOptional, const char* lpDefaultValue);
    CAttributeInfo(const CAttributeInfo&) = default;
    CAttributeInfo& operator=(const CAttributeInfo&) = default;

    // By local name, and by namespace unless the context ignores namespaces.
    bool IsThisAttribute(const CSerializationContext& ctx, CXmlAttribute* pAttribute) const;

    void InvokePropertyGet(CXmlGeneratedClass* pObject, KrVariant& value) const;
    void InvokePropertySet(CXmlGeneratedClass* pObject, KrVariant& value, const CXmlAttribute& attribute) const;
    void ReadProperty(const CXmlGeneratedClass* pObject, KrVariant& value) const;
    // The failure of a required row that has no value to write.
    void ValidateRequired(bool bFound) const;

    // Forwarders to the protected operations of objects.
    static void ToXml_Int(const CXmlObjectBase* pObject, CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                          const CSerializationContext& ctx);
    static void TestNamespace(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace);
    static bool IsNamespaceValid(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace);
    static std::string GetTargetNamespace(const CXmlObjectBase* pObject);

    std::string m_strAttributeName;
    std::string m_strAttributeNamespace;
    int32_t m_iPropertyIndex;
    bool m_bOptional;
    std::string m_strDefaultValue;
};

class KRXML_API CAttributeInfoPrimitive : public CAttributeInfo
{
public:
    CAttributeInfoPrimitive(const char* lpAttributeName, const char* lpAttributeNamespace, int32_t iPropertyIndex,
                            bool bOptional, ItemType eItemType, const char* lpFormatOverride,
                            CWhitespaceUtils::WhitespaceRule eWhitespaceRule,
                            const CPrimitiveRestrictions& restrictions, const char* lpDefaultValue);

    void AttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                        CXmlWriter* pWriter) const override;
    bool AttributeFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                          CXmlAttribute* pAttribute) override;
    void Validate(const CSerializationContext& ctx, bool bFound) const override;

    // Checks a value against the attribute's facets, as a generated setter may.
    void CheckRestriction(KrVariant value) const;

private:
    CPrimitiveRestrictions m_restrictions;
    ItemType m_eItemType;
    std::string m_strFormatOverride;
    CWhitespaceUtils::WhitespaceRule m_eWhitespaceRule;
};

class KRXML_API CAttributeInfoEnum : public CAttributeInfo
{
public:
    CAttributeInfoEnum(const char* lpAttributeName, const char* lpAttributeNamespace, int32_t iPropertyIndex,
                       bool bOptional, EnumToStringFunction pfnEnumToString, StringToEnumFunction pfnStringToEnum,
                       const char* lpDefaultValue);

    void AttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                        CXmlWriter* pWriter) const override;
    bool AttributeFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                          CXmlAttribute* pAttribute) override;
    void Validate(const CSerializationContext& ctx, bool bFound) const override;

private:
    StringToEnumFunction m_pfnStringToEnum;
    EnumToStringFunction m_pfnEnumToString;
};

// anyAttribute: takes every attribute of a permitted namespace that no earlier row took, so it
// stands last in the table.
class KRXML_API CAttributeInfoAny : public CAttributeInfo
{
public:
    CAttributeInfoAny(const char* lpAttributeName, const char* lpAttributeNamespace, int32_t iPropertyIndex,
                      bool bOptional, const char* lpNamespaceRestrictions, const char* lpTargetNamespace,
                      const char* lpDefaultValue);

    void AttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                        CXmlWriter* pWriter) const override;
    bool AttributeFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject,
                          CXmlAttribute* pAttribute) override;
    void Validate(const CSerializationContext& ctx, bool bFound) const override;

private:
    std::string m_strNamespaceRestrictions;
    std::string m_strTargetNamespace;
};

} // namespace KrXmlLib16Data

#endif
