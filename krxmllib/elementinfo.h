// The metadata rows of a bound class: what the class is as a whole (CParentElementInfo), and
// the roots of its child-element and attribute rows. A generated class lists its rows in static
// tables; the walkers of CXmlGeneratedClass ask them in table order. Rows own no value: every
// value crosses between a row and its object in a KrVariant, through InvokeProperty.
//
// Ownership: tables, rows and their strings belong to the generated class's static pointers
// and live until CXmlGeneratedClass::CleanMetaData ends them. A row refers to no instance.
#ifndef KRXMLLIB_ELEMENTINFO_H
#define KRXMLLIB_ELEMENTINFO_H

#include <cstdint>
#include <string>

#include "krxmlexport.h"
#include "itemtype.h"
#include "krvariant.h"
#include "primitiverestrictions.h"
#include "smartptr.h"
#include "whitespaceutils.h"
#include "xmlobjectbase.h"

namespace KrXmlLib16 {

class CXmlObjectBase;
class CXmlCollectionBase;
class CXmlGeneratedClass;
class CXmlElement;
class CXmlAttribute;
class CXmlWriter;
class CSerializationContext;

// The content model of a class: the walk that reads and writes its children. Any int may stand
// in a table; a value outside the three is refused by the walkers.
enum XmlElementGroupType : int
{
    XmlElementGroupType_Sequence = 0,
    XmlElementGroupType_Choice = 1,
    XmlElementGroupType_All = 2
};

// A class with a tag of its own, or a group (nested sequence, choice or all) whose children and
// attributes lie directly in the enclosing real element. Any int may stand in a table; all but 0
// are read and written as pseudo elements.
enum XmlElementType : int
{
    XmlElementType_Element = 0,
    XmlElementType_PseudoElement = 1
};

} // namespace KrXmlLib16

namespace KrXmlLib16Data {

// Generated tables name the library's types either way.
using namespace KrXmlLib16;

// Schema text of an enumeration value and back; generated per enumerated type.
typedef const char* (*EnumToStringFunction)(int iValue);
typedef int (*StringToEnumFunction)(const char* lpValue);
// A new object of a known class, named after the element it stands for.
typedef CSmartPtr<CXmlObjectBase> (*CreateObjectFunction)(int iClassId, const char* lpElementName);
// A new object of the class the element calls for (its xsi:type), or null when none is known.
typedef CSmartPtr<CXmlObjectBase> (*CreateAbstractObjectFunction)(CXmlElement* pElement);

class KRXML_API CParentElementInfo
{
public:
    CParentElementInfo(XmlElementGroupType eGroupType, XmlElementType eElementType, const char* lpElementName,
                       const char* lpElementNamespace, bool bFromXmlFailIfAttributeUnknown, bool bHasBaseClasses,
                       int32_t iPrimitiveValuePropertyIndex, ItemType ePrimitiveDataType,
                       const char* lpPrimitiveFormatOverride, bool bOutputPrimitiveClassAsTextProperty);
    CParentElementInfo(const CParentElementInfo&) = default;
    CParentElementInfo& operator=(const CParentElementInfo&) = default;
    virtual ~CParentElementInfo();

    XmlElementGroupType GetElementGroupType() const { return m_eGroupType; }
    XmlElementType GetElementType() const { return m_eElementType; }
    std::string GetElementName() const { return m_strElementName; }
    std::string GetElementNamespace() const { return m_strElementNamespace; }
    bool GetFromXmlFailIfAttributeUnknown() const { return m_bFromXmlFailIfAttributeUnknown; }
    bool GetHasBaseClasses() const { return m_bHasBaseClasses; }
    int32_t GetPrimitiveValuePropertyIndex() const { return m_iPrimitiveValuePropertyIndex; }
    ItemType GetPrimitiveDataType() const { return m_ePrimitiveDataType; }
    std::string GetPrimitiveFormatOverride() const { return m_strPrimitiveFormatOverride; }
    bool GetOutputPrimitiveClassAsTextProperty() const { return m_bOutputPrimitiveClassAsTextProperty; }

    // Both the index and the kind are set: the element's text is the class's value.
    bool IsSimpleContent() const { return m_iPrimitiveValuePropertyIndex != -1 && m_ePrimitiveDataType != ItemType_Invalid; }

private:
    friend class KrXmlLib16::CXmlGeneratedClass;

    XmlElementGroupType m_eGroupType;
    XmlElementType m_eElementType;
    std::string m_strElementName;
    std::string m_strElementNamespace;
    bool m_bFromXmlFailIfAttributeUnknown;
    bool m_bHasBaseClasses;
    int32_t m_iPrimitiveValuePropertyIndex;
    ItemType m_ePrimitiveDataType;
    std::string m_strPrimitiveFormatOverride;
    bool m_bOutputPrimitiveClassAsTextProperty;
};

// One row of a class's child-element table.
class KRXML_API CElementInfo
{
public:
    virtual ~CElementInfo();

    // True when something was written.
    virtual bool ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                              CXmlWriter* pWriter) const = 0;
    // Reads from the cursor; true when the row is satisfied. A row that consumes moves the cursor.
    virtual bool ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                                CXmlElement** ppCursor, const char* lpNamespace, XmlElementType eParentType) = 0;
    // Only the rows of an all group answer this; the base raises.
    virtual bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                          bool bMustExist) const;
    // Puts the attributes of a pseudo child on the enclosing start tag; nothing in the base.
    virtual void PseudoChildAttributeToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                                           CXmlWriter* pWriter) const;

    // Checks a value against the row's facets; only primitive rows have any.
    void CheckRestriction(const KrVariant& value) const;

    // The row accepts this element by name and namespace (null: no).
    bool IsThisElement(const CSerializationContext& ctx, const CXmlElement* pElement) const;
    // A wildcard row: the only kind that reads the lpNamespace its walker passes.
    bool IsWildcard() const { return m_bWildcard; }
    // A member that lets a choice stay empty: an optional member of a choice, or a repeating
    // one whose collection may have no items.
    bool AllowsEmptyChoice(const CXmlGeneratedClass* pObject) const;

protected:
    // Class, collection and wildcard rows.
    CElementInfo(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
    // Enumeration rows.
    CElementInfo(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex, bool bNillable,
                 EnumToStringFunction pfnEnumToString, StringToEnumFunction pfnStringToEnum,
                 const char* lpDefaultValue);
    // Primitive rows.
    CElementInfo(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex, bool bNillable,
                 ItemType eItemType, const char* lpFormatOverride, CWhitespaceUtils::WhitespaceRule eWhitespaceRule,
                 const CPrimitiveRestrictions& restrictions, const char* lpDefaultValue);
    CElementInfo(const CElementInfo&) = default;
    CElementInfo& operator=(const CElementInfo&) = default;

    std::string GetElementName() const { return m_strElementName; }
    std::string GetElementNamespace() const { return m_strElementNamespace; }
    int32_t GetPropertyIndex() const { return m_iPropertyIndex; }

    // Property access, with failures of the generated accessor wrapped.
    void InvokePropertyGet(CXmlGeneratedClass* pObject, KrVariant& value) const;
    void InvokePropertySet(CXmlGeneratedClass* pObject, KrVariant& value, const CXmlElement& element) const;
    void ReadProperty(const CXmlGeneratedClass* pObject, KrVariant& value) const;

    // Forwarders to the protected operations of another object.
    static CXmlElement* FromXml_Int(CXmlObjectBase* pChild, CXmlElement* pElement, CXmlElement* pFirstChild,
                                    const CSerializationContext& ctx, bool bOptionalChoice);
    void AttributesToXml_Int(const CXmlObjectBase* pChild, CXmlWriter* pWriter,
                             const CSerializationContext& ctx) const;
    static void ToXml_Int(const CXmlObjectBase* pChild, CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                          const CSerializationContext& ctx, bool bOptionalChoice);

    // ---- shared steps of the families ----
    bool ElementToXmlCol(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                         CXmlWriter* pWriter) const;
    bool ElementToXmlCls(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, CXmlWriter* pWriter,
                         bool bOptionalChoice) const;
    bool ElementToXmlPrim(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                          CXmlWriter* pWriter) const;
    bool ElementToXmlEnum(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, CXmlWriter* pWriter,
                          EnumToStringFunction pfnEnumToString) const;
    void ElementFromXmlPrim(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor);
    void ElementFromXmlEnum(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor);

    // The value rows (primitive and enumeration) differ only in these two helpers: each
    // picks the one of its kind.
    bool ValueToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, CXmlWriter* pWriter) const;
    void ValueFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor);
    // A mandatory value: written, or the mandatory failure.
    bool MandatoryValueToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                             CXmlWriter* pWriter) const;
    // Reads the element under the cursor if it is the row's; answers whether it was.
    bool ValueFromXmlIfMatch(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor);
    // The mandatory value row of a sequence. Under a pseudo parent, bSkipUnknown lets it skip
    // unknown elements (as the primitive row does) before it answers false.
    bool SeqMandatoryValueFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                                  CXmlElement** ppCursor, XmlElementType eParentType, bool bSkipUnknown);

    // The variant the value rows of this thread exchange their values in: reused for every
    // value, it keeps its storage, so that values cost no allocation once it is warm. A row holds
    // it only while it exchanges one value.
    static KrVariant& ScratchValue();
    // The same for values of one kind: each kind has a variant of its own, which keeps the heap
    // object of its kind from value to value.
    static KrVariant& ScratchValue(ItemType eKind);
    // The text of a value: a string's own, or one built in strBuffer.
    static const std::string& ValueText(const KrVariant& value, const char* lpFormatOverride, std::string& strBuffer);

    // ---- shared read steps of class-valued rows ----
    // The existing child object reads the element under the cursor; the cursor moves on.
    void FillByTag(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor) const;
    // The existing child object reads a group from the cursor; returns where it stopped.
    CXmlElement* FillAsGroup(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                             CXmlElement* pCursor) const;
    // A new object reads the element under the cursor and is stored once complete.
    void MakeByTag(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor,
                   CreateObjectFunction pfnCreateObject, int32_t iClassId) const;
    // A new object reads a group from the cursor and is stored if it took something; returns
    // where it stopped.
    CXmlElement* MakeAsGroup(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                             CXmlElement* pCursor, CreateObjectFunction pfnCreateObject, int32_t iClassId) const;
    CSmartPtr<CXmlObjectBase> CreateObject(CreateObjectFunction pfnCreateObject, int32_t iClassId) const;
    // pChild reads the element under the cursor, is stored once complete, and the cursor moves.
    void ReadByTag(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement** ppCursor,
                   CXmlObjectBase* pChild) const;
    // pChild reads a group from the cursor and is stored if it took something; returns where it
    // stopped.
    CXmlElement* ReadAsGroup(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                             CXmlElement* pCursor, CXmlObjectBase* pChild) const;
    // The read of the abstract rows of an all group. A factory that knows no class for the
    // element makes the row answer false: the member counts as absent.
    bool AllAbstractFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                            CXmlElement** ppCursor, XmlElementType eElementType,
                            CreateAbstractObjectFunction pfnCreateAbstractObject) const;
    // ---- wildcard rows ----
    // A fresh wildcard object that satisfies the row's own namespace rule.
    CSmartPtr<CXmlObjectBase> MakeWildcard(const char* lpNamespace, const std::string& strRestrictions,
                                           const std::string& strTargetNamespace) const;
    // pChild reads the element under the cursor if the row takes any name or this one; returns
    // the cursor after it, or the cursor itself when nothing was taken.
    CXmlElement* ReadWildcard(const CSerializationContext& ctx, CXmlObjectBase* pChild, CXmlElement* pParent,
                              CXmlElement* pCursor) const;
    // A repeating wildcard: any element (name "AnyElement") or the run of one fixed name.
    CXmlElement* ReadWildcards(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                               CXmlElement* pCursor, CSmartPtr<CXmlCollectionBase>& spCol) const;
    // The failure of an abstract member whose element or class is missing.
    void ThrowNoSubstitution(const CXmlElement* pParent) const;
    // The child object a mandatory row fills in place; the class must hold one.
    CSmartPtr<CXmlObjectBase> GetExistingChild(CXmlGeneratedClass* pObject) const;
    // Stores an object, or clears the property with a null one.
    void SetObject(CXmlGeneratedClass* pObject, CXmlObjectBase* pChild, const CXmlElement& element) const;
    // The attributes of a pseudo child (or of each item of a collection of them) go on the
    // enclosing start tag.
    void PseudoChildAttributes(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                               CXmlWriter* pWriter, XmlElementType eElementType, bool bCollection) const;

    // The writing of every single-valued object row (class, abstract class, wildcard): the
    // child writes itself; a mandatory row refuses an empty property.
    bool ObjectToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, CXmlWriter* pWriter,
                     bool bMandatory, bool bOptionalChoice) const;
    // A mandatory row that wrote nothing: its property was empty.
    void ThrowMandatoryMissing() const;
    // The failure of an all row whose mandatory member never came.
    bool ValidateMandatory(bool bFound, bool bMustExist) const;
    // The required child wasn't there: "Failed to find the required child element [name]."
    void ThrowRequiredChildMissing(const CXmlElement* pParent) const;
    // Skips to the row's element under a real parent, as the mandatory sequence rows do: true
    // when the cursor stands on it; false when the row is to answer true without reading.
    bool SeekMandatoryElement(const CSerializationContext& ctx, CXmlElement* pParent, CXmlElement** ppCursor) const;

    // The collection behind a collection row's property; never null.
    CSmartPtr<KrXmlLib16::CXmlCollectionBase> GetCollection(CXmlGeneratedClass* pObject) const;

public:
    // The namespace a fresh wildcard object takes so that it satisfies its own restriction.
    static std::string GetAnyDefaultNamespace(const char* lpRestrictions, const char* lpNamespace,
                                              const char* lpTargetNamespace);

protected:
    std::string m_strElementName;
    std::string m_strElementNamespace;
    int32_t m_iPropertyIndex;
    CPrimitiveRestrictions m_restrictions;
    ItemType m_eItemType;
    std::string m_strFormatOverride;
    CWhitespaceUtils::WhitespaceRule m_eWhitespaceRule;
    std::string m_strDefaultValue;
    bool m_bNillable;
    EnumToStringFunction m_pfnEnumToString;
    StringToEnumFunction m_pfnStringToEnum;
    bool m_bPrimitive;
    bool m_bWildcard = false;  // set by wildcard rows: they need the object's namespace
    // Set by the rows of a choice group: what DoesElementContainOptionalElements asks.
    enum ChoiceRole
    {
        ChoiceRole_None,
        ChoiceRole_Optional,
        ChoiceRole_Collection
    } m_eChoiceRole = ChoiceRole_None;
};

// The two operations every concrete row overrides.
#define KRXML_ELEMENT_ROW_OPERATIONS                                                                        \
    bool ElementToXml(const KrXmlLib16::CSerializationContext& ctx, const KrXmlLib16::CXmlGeneratedClass* pObject, \
                      KrXmlLib16::CXmlWriter* pWriter) const override;                                       \
    bool ElementFromXml(const KrXmlLib16::CSerializationContext& ctx, KrXmlLib16::CXmlGeneratedClass* pObject,     \
                        KrXmlLib16::CXmlElement* pParent, KrXmlLib16::CXmlElement** ppCursor,                  \
                        const char* lpNamespace, KrXmlLib16::XmlElementType eParentType) override;

// ---- bases of the repeating rows of each group ----

// Repeating member of a sequence: the collection takes its run of elements.
class KRXML_API CElementInfoSeqCol : public CElementInfo
{
public:
    CElementInfoSeqCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
    bool ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                      CXmlWriter* pWriter) const override;
    bool ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                        CXmlElement** ppCursor, const char* lpNamespace, XmlElementType eParentType) override;

protected:
    // The count step after the collection has read: raises under a real parent, answers under
    // a pseudo one.
    bool CheckCountAfterRead(const CSerializationContext& ctx, KrXmlLib16::CXmlCollectionBase* pCol,
                             XmlElementType eParentType) const;
};

// Repeating member of a choice: taking a run ends the choice.
class KRXML_API CElementInfoChoiceCol : public CElementInfo
{
public:
    CElementInfoChoiceCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
    bool ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                      CXmlWriter* pWriter) const override;
    bool ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                        CXmlElement** ppCursor, const char* lpNamespace, XmlElementType eParentType) override;

protected:
    // The steps after the collection has read up to r.
    bool AcceptRead(const CSerializationContext& ctx, KrXmlLib16::CXmlCollectionBase* pCol, CXmlElement** ppCursor,
                    CXmlElement* pResult, XmlElementType eParentType) const;
};

// Repeating member of an all group. It answers false, so that the all walker asks it in every
// pass; its count is checked by Validate once the passes end.
class KRXML_API CElementInfoAllCol : public CElementInfo
{
public:
    CElementInfoAllCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
    bool ElementToXml(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject,
                      CXmlWriter* pWriter) const override;
    bool ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                        CXmlElement** ppCursor, const char* lpNamespace, XmlElementType eParentType) override;
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
};

} // namespace KrXmlLib16Data

#endif
