// The root of every bound object: reference count, element name and the public entry points
// that read an object from, and write it to, XML text, JSON and Fast Infoset.
//
// Ownership: an object is counted and owned by its references (CSmartPtr); it starts at 0 and
// deletes itself when the last reference goes, so it is made with new and never deleted by
// hand. A parent owns its children through its properties, a collection one reference on each
// item. The entry points borrow the context and the input for the call and keep nothing of
// them: what the object holds afterwards is its own copy. A listener (IEventSink) is not owned
// by what it listens to.
#ifndef KRXMLLIB_XMLOBJECTBASE_H
#define KRXMLLIB_XMLOBJECTBASE_H

#include <atomic>
#include <cstdint>
#include <string>

#include "krplatformtypes.h"
#include "krxmlexport.h"
#include "serializationcontext.h"
#include "xmlenums.h"

namespace KrXmlLib16Data {
class CElementInfo;
class CAttributeInfo;
} // namespace KrXmlLib16Data

namespace KrXmlLib16 {

class CXmlObjectBase;
class CXmlCollectionBase;
class CXmlElement;
class CXmlWriter;
class CElement;
class CBinaryData;
class CTextStream;
class CKrInvalidNamespaceException;

// An intrusive count, changed only by atomic steps. It is no part of an object's value: a
// copy starts again at 0.
class KRXML_API CRefCount
{
public:
    CRefCount() : m_lCount(0) {}
    CRefCount(const CRefCount&) : m_lCount(0) {}
    CRefCount& operator=(const CRefCount&) { return *this; }

    int32_t Increment() { return Platform::AtomicIncrement(m_lCount); }
    int32_t Decrement() { return Platform::AtomicDecrement(m_lCount); }
    int32_t Get() const { return m_lCount.load(); }

private:
    std::atomic<int32_t> m_lCount;
};

class KRXML_API IEventSink
{
public:
    enum MsgType
    {
        MsgType_CollectionChange = 0,          // parameter: null
        MsgType_CollectionAdd = 1,             // the item being added
        MsgType_CollectionAddComplete = 2,     // the item added
        MsgType_CollectionRemove = 3,          // pointer to the int index, null for -1
        MsgType_CollectionRemoveComplete = 4   // pointer to the int index, null for -1
    };

    virtual void OnEvent(CXmlObjectBase* pSource, MsgType eMsg, void* pParam) = 0;

protected:
    ~IEventSink() = default;
};

class KRXML_API CXmlObjectBase : public IEventSink
{
    // The roots of the metadata rows forward to the protected operations of the objects they
    // read and write; the rows themselves reach them only through those forwarders.
    friend class KrXmlLib16Data::CElementInfo;
    friend class KrXmlLib16Data::CAttributeInfo;

public:
    CXmlObjectBase() = default;
    CXmlObjectBase(const CXmlObjectBase& other) : IEventSink(other), m_strElementName(other.m_strElementName) {}
    CXmlObjectBase& operator=(const CXmlObjectBase& other)
    {
        m_strElementName = other.m_strElementName;
        return *this;
    }

    int32_t AddRef() { return m_refCount.Increment(); }
    // The count as it stands; exact only when nobody else can change it, as for an object
    // that the caller holds the sole reference to.
    int32_t GetRefCount() const { return m_refCount.Get(); }
    int32_t Release();

protected:
    void OnEvent(CXmlObjectBase* pSource, IEventSink::MsgType eMsg, void* pParam) override;

public:
    virtual CXmlObjectBase* GetBase() = 0;
    const CXmlObjectBase* GetBase() const { return const_cast<CXmlObjectBase*>(this)->GetBase(); }

    // ---- writing ----
    virtual void ToXmlFile(const char* lpFileName, bool bIncludeDocHeader, bool bFormatted, XmlEncoding eEncoding,
                           EOLType eEOL, const CSerializationContext& ctx, CompressionType eCompression) const;
    virtual void ToFastInfosetFile(const char* lpFileName, FInfoDecl eDecl, const CSerializationContext& ctx,
                                   CompressionType eCompression) const;
    virtual void ToJsonFile(const char* lpFileName, bool bFormatted, XmlEncoding eEncoding, EOLType eEOL,
                            const CSerializationContext& ctx, CompressionType eCompression) const;
    virtual std::string ToXml(bool bIncludeDocHeader, bool bFormatted, EOLType eEOL,
                              const CSerializationContext& ctx) const;
    virtual std::string ToJson(bool bFormatted, EOLType eEOL, const CSerializationContext& ctx) const;
    virtual CBinaryData ToXmlStream(bool bIncludeDocHeader, bool bFormatted, XmlEncoding eEncoding, EOLType eEOL,
                                    const CSerializationContext& ctx, CompressionType eCompression) const;
    virtual CBinaryData ToFastInfosetStream(FInfoDecl eDecl, const CSerializationContext& ctx,
                                            CompressionType eCompression) const;
    virtual CBinaryData ToJsonStream(bool bFormatted, XmlEncoding eEncoding, EOLType eEOL,
                                     const CSerializationContext& ctx, CompressionType eCompression) const;

    // ---- reading ----
    virtual void FromXmlFile(const char* lpFileName, const CSerializationContext& ctx);
    virtual void FromJsonFile(const char* lpFileName, const CSerializationContext& ctx);
    virtual void FromXml(const unsigned short* lpXml, const CSerializationContext& ctx);
    virtual void FromXml(const char* lpXml, const CSerializationContext& ctx);
    virtual void FromJson(const unsigned short* lpJson, const CSerializationContext& ctx);
    virtual void FromJson(const char* lpJson, const CSerializationContext& ctx);
    virtual void FromXmlStream(const CBinaryData& data, const CSerializationContext& ctx);
    virtual void FromXmlStream(unsigned char* const pData, uint32_t dwLen, const CSerializationContext& ctx);
    virtual void FromJsonStream(const CBinaryData& data, const CSerializationContext& ctx);
    virtual void FromJsonStream(unsigned char* const pData, uint32_t dwLen, const CSerializationContext& ctx);
    virtual void FromXmlElement(const CElement* pElement, const CSerializationContext& ctx);
    virtual void FromXmlElement(const CXmlElement* pElement, const CSerializationContext& ctx);

protected:
    // Objects die through Release.
    virtual ~CXmlObjectBase() = default;

    virtual std::string GetTargetNamespace() const = 0;

public:
    virtual std::string GetNamespace() const = 0;

protected:
    virtual void AttributesToXml_Int(CXmlWriter* pWriter, const CSerializationContext& ctx) const;
    virtual void ToXml_Int(CXmlWriter* pWriter, bool bRoot, const char* lpNamespace, const CSerializationContext& ctx,
                           bool bOptionalChoice) const = 0;
    // Reads the object from pElement; returns the first child not consumed.
    virtual CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement* pFirstChild, const CSerializationContext& ctx,
                                     bool bOptionalChoice) = 0;

    std::string GetElementName() const { return m_strElementName; }
    // The name without a copy, for the writers' hot paths.
    const std::string& ElementName() const { return m_strElementName; }
    void SetElementName(const char* lpName) { m_strElementName = lpName ? lpName : ""; }
    static void SetElementName(CXmlObjectBase* pObject, const char* lpName) { pObject->SetElementName(lpName); }

    // ---- helpers of generated classes, metadata rows and collections ----

    // What a document's root element carries before its start tag, from the context: the
    // processing instructions, the namespace aliases and the default namespace.
    static void WriteRootPreamble(CXmlWriter* pWriter, const CSerializationContext& ctx);
    // Forwarders through which code holding another object reaches its protected virtuals.
    static void AttributesToXml_Int(const CXmlObjectBase* pObject, CXmlWriter* pWriter, const CSerializationContext& ctx);
    static void ToXml_Int(const CXmlObjectBase* pObject, CXmlWriter* pWriter, bool bRoot, const char* lpNamespace,
                          const CSerializationContext& ctx, bool bOptionalChoice);
    static CXmlElement* FromXml_Int(CXmlObjectBase* pObject, CXmlElement* pElement, CXmlElement* pFirstChild,
                                    const CSerializationContext& ctx);

    // Choice bookkeeping: strValid names the element of a choice that is selected now.
    static void Choice_SetElementValid(bool bSet, const char* lpName, std::string& strValid);
    static void Choice_SelectElement(const char* lpName, CXmlObjectBase* pValue, std::string& strValid);
    static void Choice_CollectionChanged(const char* lpName, int32_t lCount, std::string& strValid);
    // Reads a collection of a choice group once; lCount counts the collections that took something.
    static void Choice_Read_Collection(CXmlCollectionBase* pCol, CXmlElement* pElement, CXmlElement*& pCursor,
                                       int32_t& lCount, const CSerializationContext& ctx);

    static void Throw_IfPropertyIsNull(CXmlObjectBase* pValue, const char* lpName);
    static void Throw_IfElementNameDiffers(CXmlObjectBase* pValue, const char* lpName);

    // Namespace tests of wildcard rules: lpAllowed is a blank-separated list of URIs and the
    // tokens ##any, ##other, ##local and ##targetNamespace. Static, so that they serve both
    // objects and code without one.
    static void TestNamespace(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace);
    static bool IsNamespaceValid(const char* lpNamespace, const char* lpAllowed, const char* lpTargetNamespace);
    // The refusal of a namespace that the rule doesn't grant, for the item at strPath (empty
    // where no item is known); every such refusal is made here, so that all read alike.
    static CKrInvalidNamespaceException InvalidNamespaceException(const std::string& strNamespace,
                                                                  const std::string& strAllowed,
                                                                  const std::string& strTargetNamespace,
                                                                  std::string strPath);

    bool DoesElementNameMatch(const CSerializationContext& ctx, const CXmlElement* pElement, const char* lpName,
                              const char* lpNamespace) const;

    // Collection events, delivered to one listener.
    static void FireOnCollectionChangeEvent(IEventSink* pSink, CXmlCollectionBase* pCol);
    static void FireOnCollectionAddEvent(IEventSink* pSink, CXmlCollectionBase* pCol, void* pItem);
    static void FireOnCollectionAddCompleteEvent(IEventSink* pSink, CXmlCollectionBase* pCol, void* pItem);
    static void FireOnCollectionRemoveEvent(IEventSink* pSink, CXmlCollectionBase* pCol, int iIndex);
    static void FireOnCollectionRemoveCompleteEvent(IEventSink* pSink, CXmlCollectionBase* pCol, int iIndex);

public:
    // The body of every XML text writer: a text writer on the stream, the object walked. A
    // caller's own stream (one that puts each block out as it fills, such as
    // CStandardOutputTextStream) gets the document in the stream's encoding while it is made.
    void WriteXmlDocument(CTextStream& stream, bool bIncludeDocHeader, bool bFormatted, EOLType eEOL,
                          const CSerializationContext& ctx) const;
    // The same for JSON: the JSON writer on the stream, the object walked inside the braces of
    // the document.
    void WriteJsonDocument(CTextStream& stream, bool bFormatted, EOLType eEOL, const CSerializationContext& ctx) const;

private:

    // Shared tail of every byte and file reader: the document is loaded, the tree walked.
    template <typename LoadFn>
    void ReadThroughDocument(const CSerializationContext& ctx, LoadFn load);
    // Reads the XML text that JSON was converted to; a failure is wrapped with that text.
    void FromJson_Int(const CBinaryData& data, const CSerializationContext& ctx);

    std::string m_strElementName;
    CRefCount m_refCount;
};

} // namespace KrXmlLib16

#endif
