// The base of every class made from a schema. Such a class states what it is in three static
// tables (CParentElementInfo, a null-terminated array of CElementInfo rows, one of
// CAttributeInfo rows) and exchanges every value through InvokeProperty; this base reads and
// writes it by walking those tables.
//
// Ownership: the tables belong to the generated class's static pointers (see CleanMetaData);
// an object owns its child objects and collections through its properties, and the engine
// keeps nothing of an object between calls.
#ifndef KRXMLLIB_XMLGENERATEDCLASS_H
#define KRXMLLIB_XMLGENERATEDCLASS_H

#include <string>

#include "krxmlexport.h"
#include "attributeinfo.h"
#include "elementinfo.h"
#include "krcriticalsection.h"
#include "krvariant.h"
#include "xmlobjectbase.h"

namespace KrXmlLib16 {

// A class whose element may carry xsi:nil. The engine finds it by a checked cast.
class KRXML_API INillable
{
public:
    virtual bool IsNil() const = 0;
    virtual void SetNil(bool bNil) = 0;

protected:
    ~INillable() = default;
};

class KRXML_API CXmlGeneratedClass : public CXmlObjectBase
{
public:
    // bGet true: the property goes into value; false: the property takes value.
    virtual void InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value) = 0;
    virtual KrXmlLib16Data::CParentElementInfo* GetClassInfo() = 0;
    // Null-terminated, in schema order; the same arrays serve every instance.
    virtual KrXmlLib16Data::CElementInfo** GetClassElementInfo() = 0;
    virtual KrXmlLib16Data::CAttributeInfo** GetClassAttributeInfo() = 0;
    // Back to the initial state; every read starts here. Mandatory child objects that the
    // reader fills in place must exist afterwards.
    virtual void Init() = 0;

    // InvokeProperty with bGet true, on a const object.
    void ReadProperty(int iPropertyIndex, KrVariant& value) const;
    // Some row of the element table accepts the element. The engine itself never asks.
    bool IsElementInList(const CSerializationContext& ctx, CXmlElement* pElement) const;
    int GetClassElementInfoCount() const;
    // A choice that may stay empty: it has an optional member, or a repeating member that may
    // have no items.
    bool DoesElementContainOptionalElements() const;

    // Serialises the construction of the tables of every generated class.
    static CKRCriticalSection m_csInit;

protected:
    CXmlGeneratedClass() = default;
    CXmlGeneratedClass(const CXmlGeneratedClass&) = default;
    CXmlGeneratedClass& operator=(const CXmlGeneratedClass&) = default;
    ~CXmlGeneratedClass() override = default;

    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;
    void AttributesToXml_Int(CXmlWriter* pWriter, const CSerializationContext& ctx) const override;
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;

    void ProcessAttributesFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                  bool bFailIfAttributeUnknown);

    // Deletes a class's tables and leaves the three pointers null; harmless to run again.
    static void CleanMetaData(KrXmlLib16Data::CParentElementInfo*& pInfo, KrXmlLib16Data::CElementInfo**& ppElements,
                              KrXmlLib16Data::CAttributeInfo**& ppAttributes);

private:
    void ProcessAttributesToXml(const CSerializationContext& ctx, KrXmlLib16Data::CElementInfo** ppElements,
                                KrXmlLib16Data::CAttributeInfo** ppAttributes, CXmlWriter* pWriter) const;
    void ProcessElementSeqToXml(const CSerializationContext& ctx, KrXmlLib16Data::CElementInfo** ppElements,
                                CXmlWriter* pWriter) const;
    void ProcessElementAllToXml(const CSerializationContext& ctx, KrXmlLib16Data::CElementInfo** ppElements,
                                CXmlWriter* pWriter) const;
    void ProcessElementChoiceToXml(const CSerializationContext& ctx, KrXmlLib16Data::CElementInfo** ppElements,
                                   CXmlWriter* pWriter, bool bOptionalChoice) const;
    CXmlElement* ProcessElementSeqFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                          CXmlElement* pCursor, XmlElementType eElementType);
    CXmlElement* ProcessElementAllFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                          CXmlElement* pCursor, XmlElementType eElementType);
    CXmlElement* ProcessElementChoiceFromXml(const CSerializationContext& ctx, CXmlElement* pElement,
                                             CXmlElement* pCursor, XmlElementType eElementType, bool bOptionalChoice);

    // The walks of ToXml_Int and FromXml_Int, inside their guards.
    void WriteElement(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                      bool bOptionalChoice) const;
    CXmlElement* ReadElement(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice);
    // The leftover failure: an element that no row took under a real element.
    [[noreturn]] static void ThrowLeftover(const CXmlElement* pElement, const CXmlElement* pCursor);
};

} // namespace KrXmlLib16

#endif
