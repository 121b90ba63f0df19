// Untyped elements: xs:any content held as a small object tree of its own, and a repeating
// wildcard. Both keep the namespace restriction of the wildcard they came from.
//
// Ownership: CElement and CElementCol are counted objects (see xmlobjectbase.h). An element
// holds one reference on its attribute list and one on its child list; a list holds one on
// each item. The CSmartPtr that getters, Item and Add return is a reference of the caller's
// own, which it may keep after the element or the list is gone. Reading copies everything
// from the document: no part of an element points into it.
#ifndef KRXMLLIB_ELEMENT_H
#define KRXMLLIB_ELEMENT_H

#include <string>
#include <vector>

#include "attribute.h"
#include "kriterator.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"
#include "smartptr.h"
#include "xmlcollectionbase.h"

namespace KrXmlLib16Data {
class CElementInfo;
} // namespace KrXmlLib16Data

namespace KrXmlLib16 {

class CElementCol;
class CXmlDocument;

class KRXML_API CElement : public CXmlObjectBase, public CInstanceMonitor
{
    friend class CElementCol;
    friend class CElementBuilder;

public:
    KR_ARENA_ALLOCATION

    // Permits any namespace; the element has none.
    explicit CElement(const char* lpName);
    // The namespace is also the only one permitted; a keyword (##any, ...) is refused.
    CElement(const char* lpName, const char* lpNamespace);
    CElement(const char* lpName, const char* lpNamespace, const char* lpRestrictions, const char* lpTargetNamespace);
    // An untyped copy of any bound object, made by writing it and reading the text back.
    CElement(CXmlObjectBase* pObject, const char* lpDefaultNamespace);
    // Shares attributes and children with the original.
    CElement(const CElement& other);
    CElement& operator=(const CElement&) = delete;
    ~CElement() override;

    std::string GetName() const { return m_strName; }
    void SetName(const char* lpName) { m_strName = lpName ? lpName : ""; }
    std::string GetText() const { return m_strText; }
    void SetText(const char* lpText) { m_strText = lpText ? lpText : ""; }
    std::string GetNamespace() const override { return m_strNamespace; }
    void SetNamespace(const char* lpNamespace);
    std::string GetNamespaceRestrictions() const { return m_strNamespaceRestrictions; }
    std::string GetTargetNamespace() const override { return m_strNamespace; }
    std::string GetDefaultNamespace() const { return m_strDefaultNamespace; }

    // Never null.
    CSmartPtr<CAttributeCol> GetAttributes() const;
    CSmartPtr<CElementCol> GetChildElements() const;

    // A deep copy; the default namespace of the content isn't carried over.
    CSmartPtr<CElement> Clone() const;
    // Tests the element, its attributes and all descendants against a new restriction; stores
    // nothing.
    void SetNamespaceRestrictions(const char* lpRestrictions, const char* lpTargetNamespace);

    // Parses the text with the default context and reads its document element.
    void FromXml(const char* lpXml);
    // Every reading road of an untyped element reads the document element itself.
    void FromXml(const char* lpXml, const CSerializationContext& ctx) override;
    void FromXml(const unsigned short* lpXml, const CSerializationContext& ctx) override;
    void FromXmlStream(unsigned char* const pData, uint32_t dwLen, const CSerializationContext& ctx) override;
    using CXmlObjectBase::FromXmlStream;
    void FromXmlFile(const char* lpFileName, const CSerializationContext& ctx) override;
    void FromXmlElement(const CXmlElement* pElement, const CSerializationContext& ctx) override;
    using CXmlObjectBase::FromXmlElement;

    CXmlObjectBase* GetBase() override { return this; }

    // Reads the element under the cursor itself and returns the sibling after it, or the
    // cursor if its namespace isn't permitted.
    CXmlElement* FromXml_Int(CXmlElement* pParent, CXmlElement* pCursor, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;
    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;

protected:
    void Init(const char* lpName, const char* lpNamespace, const char* lpRestrictions, const char* lpTargetNamespace);
    void CopyXmlElement(const CXmlElement* pElement);

private:
    // A child made while reading: the namespace rule "##any" of a child collection grants
    // every namespace, so there is nothing to test.
    CElement(const char* pName, size_t nName, const char* pNamespace, size_t nNamespace,
             const std::string& strTargetNamespace);
    // Attributes, children and text of pSource; the children's own content is left to the
    // caller's work list, so that depth never reaches the stack.
    void ReadContent(const CXmlElement* pSource, const CSerializationContext& ctx);
    void ReadDocumentElement(const CXmlDocument& doc, const CSerializationContext& ctx);
    // Loads with the parser feeding this element directly, without a document tree between.
    template <typename LoadFn>
    void BuildFrom(const CSerializationContext& ctx, LoadFn load);
    void WriteNested(CXmlWriter* pWriter, const CSerializationContext& ctx, bool bOptionalChoice) const;
    CAttributeCol* Attributes() const;
    CElementCol* Children() const;
    // Sets the element's namespace. The lists of attributes and children keep the namespace the
    // element had when it was made, also those made later.
    void TakeNamespace(const std::string& strNamespace);

    std::string m_strName;
    std::string m_strText;
    std::string m_strNamespace;
    std::string m_strNamespaceRestrictions;
    std::string m_strTargetNamespace;
    // Made at first use: most elements of a document have neither attributes nor children.
    mutable CSmartPtr<CAttributeCol> m_spAttributes;
    mutable CSmartPtr<CElementCol> m_spChildElements;
    std::string m_strDefaultNamespace;
    // The element left the empty namespace before its lists were made: they are made in the
    // empty namespace.
    bool m_bListsInNoNamespace = false;
};

class KRXML_API CElementCol : public CXmlCollection, public CInstanceMonitor
{
    friend class CElement;
    friend class CElementBuilder;
    friend class KrXmlLib16Data::CElementInfo;  // wildcard rows with a fixed name

public:
    KR_ARENA_ALLOCATION

    CElementCol(const char* lpNamespace, const char* lpRestrictions, const char* lpTargetNamespace, int iMinOccurs,
                int iMaxOccurs);

    CSmartPtr<CElement> Add(const char* lpName, const char* lpNamespace);
    // In the collection's default namespace.
    CSmartPtr<CElement> Add(const char* lpName);
    CSmartPtr<CElement> Add(CElement* pElement);
    void AddAfter(const CElement* pAfter, CElement* pElement) { AddAfterItem(pAfter, pElement); }
    void AddBefore(const CElement* pBefore, CElement* pElement) { AddBeforeItem(pBefore, pElement); }

    CSmartPtr<CElement> Item(int iIndex) const;
    CKrIterator<CElement> begin() const { return CKrIterator<CElement>(GetHead()); }
    CKrIterator<CElement> end() const { return CKrIterator<CElement>(); }
    CSmartPtr<CElementCol> Clone() const;

    std::string GetNamespace() const override { return m_strTargetNamespace; }
    std::string GetTargetNamespace() const override { return m_strTargetNamespace; }
    std::string GetDefaultNamespace() const { return m_strDefaultNamespace; }

    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;
    // Takes every sibling from the cursor on whose namespace is permitted; returns the first
    // one not taken, null when it took all.
    CXmlElement* FromXml_Int(CXmlElement* pParent, CXmlElement* pCursor, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;

protected:
    ~CElementCol() override = default;
    // A wildcard with a fixed name: takes the run of siblings with this name and namespace.
    virtual CXmlElement* FromXmlLockElementName_Int(std::string strName, std::string strNamespace,
                                                    CXmlElement* pParent, CXmlElement* pCursor,
                                                    const CSerializationContext& ctx);

private:
    // Unlinks every item without events and hands the references over.
    void DetachItems(std::vector<CXmlObjectBase*>& items);

    std::string m_strNamespaceRestrictions;
    std::string m_strDefaultNamespace;
    std::string m_strTargetNamespace;
};

} // namespace KrXmlLib16

#endif
