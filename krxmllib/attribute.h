// Untyped attributes: one attribute as a plain object, and a list of them with a namespace
// rule. They hold anyAttribute wildcards, the attributes of untyped elements and extra
// attributes for a document's root.
//
// Ownership: both are counted objects (see xmlobjectbase.h). A list holds one reference on
// each attribute; an attribute added by pointer is shared, not copied. What Add and Item
// return is a reference of the caller's own, which it may keep after the list is gone.
#ifndef KRXMLLIB_ATTRIBUTE_H
#define KRXMLLIB_ATTRIBUTE_H

#include <string>

#include "kriterator.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"
#include "smartptr.h"
#include "xmlcollectionbase.h"

namespace KrXmlLib16 {

class CAttributeCol;

class KRXML_API CAttribute : public CXmlObjectBase, public CInstanceMonitor
{
    friend class CAttributeCol;
    friend class CElementBuilder;

public:
    KR_ARENA_ALLOCATION

    std::string GetName() const { return m_strName; }
    void SetName(const char* lpName) { m_strName = lpName ? lpName : ""; }
    std::string GetValue() const { return m_strValue; }
    void SetValue(const char* lpValue) { m_strValue = lpValue ? lpValue : ""; }
    std::string GetNamespace() const override { return m_strNamespace; }
    void SetNamespace(const char* lpNamespace) { m_strNamespace = lpNamespace ? lpNamespace : ""; }

    CSmartPtr<CAttribute> Clone() const;
    CXmlObjectBase* GetBase() override { return this; }

protected:
    // Attributes are made by their collection and die by reference count.
    CAttribute(const char* lpName, const char* lpValue, const char* lpNamespace);
    CAttribute(const std::string& strName, const std::string& strValue, const std::string& strNamespace);
    ~CAttribute() override = default;

    std::string GetTargetNamespace() const override { return m_strNamespace; }
    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;
    // An attribute is read by its collection, never alone.
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;

private:
    std::string m_strName;
    std::string m_strValue;
    std::string m_strNamespace;
};

class KRXML_API CAttributeCol : public CXmlCollection, public CInstanceMonitor
{
    friend class CElementBuilder;

public:
    KR_ARENA_ALLOCATION

    // Without a namespace, the first URI of the restriction list becomes the namespace of
    // attributes added without one.
    CAttributeCol(const char* lpNamespace, const char* lpRestrictions, const char* lpTargetNamespace);

    CSmartPtr<CAttribute> Add(const char* lpName, const char* lpValue, const char* lpNamespace);
    CSmartPtr<CAttribute> Add(const char* lpName, const char* lpValue);
    CSmartPtr<CAttribute> Add(const char* lpName);
    CSmartPtr<CAttribute> Add(CAttribute* pAttribute);
    void AddAfter(const CAttribute* pAfter, CAttribute* pAttribute) { AddAfterItem(pAfter, pAttribute); }
    void AddBefore(const CAttribute* pBefore, CAttribute* pAttribute) { AddBeforeItem(pBefore, pAttribute); }

    CSmartPtr<CAttribute> Item(int iIndex) const;
    CKrIterator<CAttribute> begin() const { return CKrIterator<CAttribute>(GetHead()); }
    CKrIterator<CAttribute> end() const { return CKrIterator<CAttribute>(); }
    CSmartPtr<CAttributeCol> Clone() const;

    const std::string& GetNamespaceRestrictions() const { return m_strNamespaceRestrictions; }

    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;
    // Reads the attributes of pElement (not a run of siblings); returns pFirstChild.
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;

protected:
    ~CAttributeCol() override = default;
    std::string GetTargetNamespace() const override { return m_strNamespace; }

private:
    std::string m_strNamespaceRestrictions;
    std::string m_strTargetNamespace;
};

} // namespace KrXmlLib16

#endif
