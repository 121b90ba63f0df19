// Bound classes for the engine tests, in the form a code generator emits them for a small test
// schema (target namespace urn:kr:test). Between them they use every row class of the three
// groups, pseudo elements of each group kind, nillable classes and rows, simple content, an
// abstract type with two derived types, typed collections of every kind, wildcards and an
// anyAttribute.
//
// Ownership: objects are reference counted; hold them in CSmartPtr. A parent owns its children
// through its properties; the typed getters of child objects return the object itself.
#ifndef KRXML_TEST_ENGINECLASSES_H
#define KRXML_TEST_ENGINECLASSES_H

#include <string>
#include <vector>

#include "krxmllib.h"

namespace KrXmlTest {

using KrXmlLib16::CSerializationContext;
using KrXmlLib16::CXmlElement;
using KrXmlLib16::CXmlObjectBase;
using KrXmlLib16::CXmlWriter;
using KrXmlLib16::KrVariant;

extern const char* const kTestNs;   // "urn:kr:test"
extern const char* const kOtherNs;  // "urn:kr:other"

// ---- t:Color ----

enum Color
{
    Color_red = 0,
    Color_green = 1,
    Color_blue = 2
};
const char* ColorToString(int iValue);
// Raises CKrInvalidValueException for a text that isn't one of the values.
int StringToColor(const char* lpValue);

enum ClassId
{
    ClassId_Point = 1,
    ClassId_Voucher = 2,
    ClassId_Note = 3,
    ClassId_SeqGroup = 4,
    ClassId_ChoiceGroup = 5,
    ClassId_AllGroup = 6,
    ClassId_ColChoice = 7,
    ClassId_NestSeq = 8,
    ClassId_NestChoice = 9,
    ClassId_NestAll = 10,
    ClassId_Unknown = 99  // no class: the factory answers null
};

class CTestFactory : public KrXmlLib16::CClassfactoryBase
{
public:
    static CSmartPtr<CXmlObjectBase> CreateObject(int iClassId, const char* lpElementName);
    // The derived type of t:Shape that the element's xsi:type names; null for any other.
    static CSmartPtr<CXmlObjectBase> CreateShape(CXmlElement* pElement);
};

#define KT_GENERATED_CLASS_MEMBERS                                                                  \
public:                                                                                             \
    void InvokeProperty(int iPropertyIndex, bool bGet, KrVariant& value) override;                  \
    KrXmlLib16Data::CParentElementInfo* GetClassInfo() override;                                    \
    KrXmlLib16Data::CElementInfo** GetClassElementInfo() override;                                  \
    KrXmlLib16Data::CAttributeInfo** GetClassAttributeInfo() override;                              \
    void Init() override;                                                                           \
    CXmlObjectBase* GetBase() override { return this; }                                             \
    std::string GetNamespace() const override { return kTestNs; }                                   \
    static void CleanMetaData();                                                                    \
                                                                                                    \
protected:                                                                                          \
    std::string GetTargetNamespace() const override { return kTestNs; }                             \
                                                                                                    \
private:                                                                                            \
    static void BuildMetaData();                                                                    \
    static KrXmlLib16Data::CParentElementInfo* ms_pClassInfo;                                       \
    static KrXmlLib16Data::CElementInfo** ms_ppElementInfo;                                         \
    static KrXmlLib16Data::CAttributeInfo** ms_ppAttributeInfo;

// A value member: typed getter and setter, and whether it is set.
#define KT_VALUE_MEMBER(Type, Name)                                                                 \
public:                                                                                             \
    const Type& Get##Name() const { return m_##Name; }                                              \
    bool IsValid##Name() const { return m_bValid##Name; }                                           \
    void Set##Name(const Type& value)                                                               \
    {                                                                                               \
        m_##Name = value;                                                                           \
        m_bValid##Name = true;                                                                      \
    }                                                                                               \
    void SetValid##Name(bool bValid) { m_bValid##Name = bValid; }                                   \
                                                                                                    \
private:                                                                                            \
    Type m_##Name{};                                                                                \
    bool m_bValid##Name = false;

// A value member of a nillable element: set, and nil, or neither.
#define KT_NILLABLE_MEMBER(Type, Name)                                                              \
public:                                                                                             \
    const Type& Get##Name() const { return m_##Name; }                                              \
    bool IsValid##Name() const { return m_bValid##Name; }                                           \
    bool IsNil##Name() const { return m_bValid##Name && m_bNil##Name; }                             \
    void Set##Name(const Type& value)                                                               \
    {                                                                                               \
        m_##Name = value;                                                                           \
        m_bValid##Name = true;                                                                      \
        m_bNil##Name = false;                                                                       \
    }                                                                                               \
    void SetNil##Name()                                                                             \
    {                                                                                               \
        m_bValid##Name = true;                                                                      \
        m_bNil##Name = true;                                                                        \
    }                                                                                               \
    void SetValid##Name(bool bValid) { m_bValid##Name = bValid; }                                   \
                                                                                                    \
private:                                                                                            \
    Type m_##Name{};                                                                                \
    bool m_bValid##Name = false;                                                                    \
    bool m_bNil##Name = false;

// A member held as an object: the typed getter returns it, shared.
#define KT_OBJECT_MEMBER(Class, Name)                                                               \
public:                                                                                             \
    CSmartPtr<Class> Get##Name() const { return m_sp##Name; }                                       \
                                                                                                    \
private:                                                                                            \
    CSmartPtr<Class> m_sp##Name;

// The nil state of a nillable class.
#define KT_NIL_STATE                                                                                \
public:                                                                                             \
    bool IsNil() const override { return m_bNil; }                                                  \
    void SetNil(bool bNil) override { m_bNil = bNil; }                                              \
                                                                                                    \
private:                                                                                            \
    bool m_bNil = false;

// ---- t:Point: x, optional y; nillable ----

class CPoint : public KrXmlLib16::CXmlGeneratedClass, public KrXmlLib16::INillable, public CInstanceMonitor
{
public:
    explicit CPoint(const char* lpElementName = "point");
    KT_VALUE_MEMBER(int32_t, X)
    KT_VALUE_MEMBER(int32_t, Y)
    KT_NIL_STATE
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:Voucher: decimal simple content, required attribute code ----

class CVoucher : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CVoucher(const char* lpElementName = "voucher");
    KT_VALUE_MEMBER(std::string, Code)
    KT_NILLABLE_MEMBER(KrXmlLib16::CDecimal, Value)
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:Note: simple content kept as text, optional attribute lang (default "en") ----

class CNote : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CNote(const char* lpElementName = "note");
    KT_VALUE_MEMBER(std::string, Lang)
    KT_VALUE_MEMBER(std::string, Text)
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:Shape (abstract), t:Circle and t:Square derived from it ----

class CShape : public KrXmlLib16::CXmlGeneratedClass
{
public:
    KT_VALUE_MEMBER(std::string, Label)

protected:
    CShape() = default;
};

class CCircle : public CShape, public CInstanceMonitor
{
public:
    explicit CCircle(const char* lpElementName = "Circle");
    KT_VALUE_MEMBER(double, Radius)
    KT_GENERATED_CLASS_MEMBERS
};

class CSquare : public CShape, public CInstanceMonitor
{
public:
    explicit CSquare(const char* lpElementName = "Square");
    KT_VALUE_MEMBER(double, Side)
    KT_GENERATED_CLASS_MEMBERS
};

// ---- generated collections ----

// Repeating t:Color values.
class CColorCol : public KrXmlLib16::Ci4Col
{
public:
    CColorCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs);
    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;

protected:
    ~CColorCol() override = default;
    void AddFromString(std::string strValue) override;
};

// The shared body of the collections of classes below: items written head to tail.
class CTestObjectCol : public KrXmlLib16::CXmlCollection
{
public:
    CSmartPtr<CXmlObjectBase> ItemObject(int iIndex) const { return GetNodeAtIndex(iIndex)->m_spItem; }
    void AddObject(CXmlObjectBase* pItem) { AppendItem(pItem); }
    void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                   bool bOptionalChoice) const override;

protected:
    CTestObjectCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs);
};

class CNoteCol : public CTestObjectCol, public CInstanceMonitor
{
public:
    CNoteCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs);
    CSmartPtr<CNote> Item(int iIndex) const;
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;
};

// Repeating t:Shape: each item's class comes from its xsi:type.
class CShapeCol : public CTestObjectCol, public CInstanceMonitor
{
public:
    CShapeCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs);
    CSmartPtr<CShape> Item(int iIndex) const;
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;
};

// ---- pseudo elements: a nested sequence, choice and all group ----

// street and city; attribute zone on the enclosing tag.
class CSeqGroup : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CSeqGroup(const char* lpElementName = "AddrGroup");
    KT_VALUE_MEMBER(std::string, Street)
    KT_VALUE_MEMBER(std::string, City)
    KT_VALUE_MEMBER(std::string, Zone)
    KT_GENERATED_CLASS_MEMBERS
};

// A repeated nested sequence: each item takes one run of the group's elements.
class CSeqGroupCol : public CTestObjectCol, public CInstanceMonitor
{
public:
    CSeqGroupCol(const char* lpElementName, int iMinOccurs, int iMaxOccurs);
    CSmartPtr<CSeqGroup> Item(int iIndex) const;
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                             bool bOptionalChoice) override;
};

// card or cash; attribute via on the enclosing tag.
class CChoiceGroup : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CChoiceGroup(const char* lpElementName = "PayGroup");
    const std::string& GetCard() const { return m_Card; }
    void SetCard(const std::string& strValue);
    int32_t GetCash() const { return m_Cash; }
    void SetCash(int32_t iValue);
    bool IsValidCard() const { return m_bValidCard; }
    bool IsValidCash() const { return m_bValidCash; }
    KT_VALUE_MEMBER(std::string, Via)
    // The member that is chosen now; empty for none.
    const std::string& GetChosen() const { return m_strValid; }
    KT_GENERATED_CLASS_MEMBERS

private:
    std::string m_Card;
    int32_t m_Cash = 0;
    bool m_bValidCard = false, m_bValidCash = false;
    std::string m_strValid;
};

// p and optional q in any order; enumeration attribute tag on the enclosing tag.
class CAllGroup : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CAllGroup(const char* lpElementName = "ExtGroup");
    KT_VALUE_MEMBER(std::string, P)
    KT_VALUE_MEMBER(int32_t, Q)
    KT_VALUE_MEMBER(Color, Tag)
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:GroupDoc: a sequence of the three pseudo elements and a repeated one ----

class CGroupDoc : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CGroupDoc(const char* lpElementName = "groupDoc");
    KT_OBJECT_MEMBER(CSeqGroup, Addr)
    KT_OBJECT_MEMBER(CChoiceGroup, Pay)
    KT_OBJECT_MEMBER(CAllGroup, Ext)
    KT_OBJECT_MEMBER(CSeqGroupCol, More)
    KT_VALUE_MEMBER(std::string, Doc)
public:
    void SetPay(CChoiceGroup* pValue) { m_spPay = pValue; }
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:SeqDoc: every row kind of a sequence, and attributes of every kind ----

class CSeqDoc : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CSeqDoc(const char* lpElementName = "seqDoc");
    KT_VALUE_MEMBER(int32_t, Id)
    KT_NILLABLE_MEMBER(std::string, Label)
    KT_OBJECT_MEMBER(KrXmlLib16::Ci4Col, Num)
    KT_VALUE_MEMBER(Color, Color)
    KT_NILLABLE_MEMBER(Color, Shade)
    KT_OBJECT_MEMBER(CColorCol, Tone)
    KT_OBJECT_MEMBER(CPoint, Point)
    KT_OBJECT_MEMBER(CVoucher, Voucher)
    KT_OBJECT_MEMBER(CNoteCol, Note)
    KT_OBJECT_MEMBER(CShape, Shape)
    KT_OBJECT_MEMBER(CShape, Spare)
    KT_OBJECT_MEMBER(CShapeCol, Figure)
    KT_OBJECT_MEMBER(KrXmlLib16::CElement, Any)
    KT_OBJECT_MEMBER(KrXmlLib16::CElement, Extra)
    KT_OBJECT_MEMBER(KrXmlLib16::CElementCol, Anys)
    KT_VALUE_MEMBER(int32_t, Ver)
    KT_VALUE_MEMBER(Color, Mode)
    KT_VALUE_MEMBER(std::string, Rev)
    KT_OBJECT_MEMBER(KrXmlLib16::CAttributeCol, AnyAttr)
public:
    void SetVoucher(CVoucher* pValue) { m_spVoucher = pValue; }
    void SetShape(CShape* pValue);
    void SetSpare(CShape* pValue) { m_spSpare = pValue; }
    void SetExtra(KrXmlLib16::CElement* pValue) { m_spExtra = pValue; }
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:AllDoc: every row kind of an all group, and a pseudo choice ----

class CAllDoc : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CAllDoc(const char* lpElementName = "allDoc");
    KT_VALUE_MEMBER(int32_t, Id)
    KT_NILLABLE_MEMBER(std::string, Label)
    KT_OBJECT_MEMBER(KrXmlLib16::Ci4Col, Num)
    KT_VALUE_MEMBER(Color, Color)
    KT_NILLABLE_MEMBER(Color, Shade)
    KT_OBJECT_MEMBER(CColorCol, Tone)
    KT_OBJECT_MEMBER(CPoint, Point)
    KT_OBJECT_MEMBER(CVoucher, Voucher)
    KT_OBJECT_MEMBER(CNoteCol, Note)
    KT_OBJECT_MEMBER(CShape, Shape)
    KT_OBJECT_MEMBER(CShape, Spare)
    KT_OBJECT_MEMBER(CShapeCol, Figure)
    KT_OBJECT_MEMBER(KrXmlLib16::CElement, Any)
    KT_OBJECT_MEMBER(KrXmlLib16::CElement, Extra)
    KT_OBJECT_MEMBER(KrXmlLib16::CElementCol, More)
    KT_OBJECT_MEMBER(CChoiceGroup, Pay)
    KT_VALUE_MEMBER(Color, Kind)
public:
    void SetShape(CShape* pValue);
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:ColChoice: a choice of two repeating members that both need items ----

class CColChoice : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CColChoice(const char* lpElementName = "colChoice");
    KT_OBJECT_MEMBER(KrXmlLib16::CstringCol, A)
    KT_OBJECT_MEMBER(CColorCol, B)
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:ChoiceDoc: every row kind of a choice, and a pseudo sequence ----

class CChoiceDoc : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CChoiceDoc(const char* lpElementName = "choiceDoc");
    ~CChoiceDoc() override;

    int32_t GetId() const { return m_iId; }
    void SetId(int32_t iValue);
    Color GetColor() const { return m_eColor; }
    void SetColor(Color eValue);
    CSmartPtr<KrXmlLib16::Ci4Col> GetNum() const { return m_spNum; }
    CSmartPtr<CColorCol> GetTone() const { return m_spTone; }
    CSmartPtr<CPoint> GetPoint() const { return m_spPoint; }
    void SetPoint(CPoint* pValue);
    CSmartPtr<CNoteCol> GetNote() const { return m_spNote; }
    CSmartPtr<CShape> GetShape() const { return m_spShape; }
    void SetShape(CShape* pValue);
    CSmartPtr<CShapeCol> GetFigure() const { return m_spFigure; }
    CSmartPtr<KrXmlLib16::CElement> GetExtra() const { return m_spExtra; }
    void SetExtra(KrXmlLib16::CElement* pValue);
    CSmartPtr<KrXmlLib16::CElementCol> GetAnys() const { return m_spAnys; }
    CSmartPtr<CSeqGroup> GetAddr() const { return m_spAddr; }
    void SetAddr(CSeqGroup* pValue);
    CSmartPtr<CColChoice> GetCc() const { return m_spCc; }
    void SetCc(CColChoice* pValue);
    // The member that is chosen now; empty for none.
    const std::string& GetChosen() const { return m_strValid; }

    KT_GENERATED_CLASS_MEMBERS

protected:
    // The collections of the choice report their changes here.
    void OnEvent(CXmlObjectBase* pSource, KrXmlLib16::IEventSink::MsgType eMsg, void* pParam) override;

private:
    void Select(const char* lpName, CXmlObjectBase* pValue);

    int32_t m_iId = 0;
    Color m_eColor = Color_red;
    bool m_bValidId = false, m_bValidColor = false;
    CSmartPtr<KrXmlLib16::Ci4Col> m_spNum;
    CSmartPtr<CColorCol> m_spTone;
    CSmartPtr<CPoint> m_spPoint;
    CSmartPtr<CNoteCol> m_spNote;
    CSmartPtr<CShape> m_spShape;
    CSmartPtr<CShapeCol> m_spFigure;
    CSmartPtr<KrXmlLib16::CElement> m_spExtra;
    CSmartPtr<KrXmlLib16::CElementCol> m_spAnys;
    CSmartPtr<CSeqGroup> m_spAddr;
    CSmartPtr<CColChoice> m_spCc;
    std::string m_strValid;
};

// ---- t:TypedCols: a repeating member of every primitive kind, with facets ----

class CTypedCols : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CTypedCols(const char* lpElementName = "typedCols");
    static const int kCount = 25;
    // The collection of the i-th kind, in table order.
    CSmartPtr<KrXmlLib16::CXmlTypeCollection> GetCol(int i) const { return m_spCols[i]; }
    KT_GENERATED_CLASS_MEMBERS

private:
    CSmartPtr<KrXmlLib16::CXmlTypeCollection> m_spCols[kCount];
};

// ---- pseudo groups whose members need a real parent to report: they answer instead ----

// point, shape, a foreign element, one or two n, and the nested all group ext, in order.
class CNestSeq : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CNestSeq(const char* lpElementName = "NestSeq");
    KT_OBJECT_MEMBER(CPoint, Point)
    KT_OBJECT_MEMBER(CShape, Shape)
    KT_OBJECT_MEMBER(KrXmlLib16::CElement, Any)
    KT_OBJECT_MEMBER(KrXmlLib16::Ci4Col, N)
    KT_OBJECT_MEMBER(CAllGroup, Ext)
    KT_GENERATED_CLASS_MEMBERS
};

// two or three c, or e.
class CNestChoice : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CNestChoice(const char* lpElementName = "NestChoice");
    KT_OBJECT_MEMBER(KrXmlLib16::Ci4Col, C)
    KT_VALUE_MEMBER(Color, E)
    KT_GENERATED_CLASS_MEMBERS
};

// the nested sequence grp and exactly one m, in any order.
class CNestAll : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CNestAll(const char* lpElementName = "NestAll");
    KT_OBJECT_MEMBER(CSeqGroup, Grp)
    KT_OBJECT_MEMBER(KrXmlLib16::Ci4Col, M)
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:NestDoc: the three groups above, each optional ----

class CNestDoc : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CNestDoc(const char* lpElementName = "nestDoc");
    KT_OBJECT_MEMBER(CNestSeq, Seq)
    KT_OBJECT_MEMBER(CNestChoice, Choice)
    KT_OBJECT_MEMBER(CNestAll, All)
    KT_GENERATED_CLASS_MEMBERS
};

// ---- t:Broken: tables a generator shouldn't emit, and a factory that knows no class ----

// An optional member whose class the factory doesn't know, and wildcard rows whose property
// holds a collection of the wrong kind.
class CBrokenDoc : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CBrokenDoc(const char* lpElementName = "broken");
    KT_OBJECT_MEMBER(CXmlObjectBase, Member)
    KT_OBJECT_MEMBER(KrXmlLib16::Ci4Col, Wrong)
    KT_GENERATED_CLASS_MEMBERS
};

// A group type that doesn't exist.
class CBadGroupDoc : public KrXmlLib16::CXmlGeneratedClass, public CInstanceMonitor
{
public:
    explicit CBadGroupDoc(const char* lpElementName = "badGroup");
    KT_GENERATED_CLASS_MEMBERS
};

// One document of many features for each test class, with the class to read it into: the round
// trips through every format start from these.
struct CSampleDocument
{
    const char* lpName;
    CSmartPtr<KrXmlLib16::CXmlGeneratedClass> (*pfnMake)();
    std::string strXml;
    bool bNil;  // holds xsi:nil, which JSON doesn't carry
};
const std::vector<CSampleDocument>& SampleDocuments();

} // namespace KrXmlTest

#endif
