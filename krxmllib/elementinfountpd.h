// Rows for xs:any content: untyped elements held as CElement (single) or CElementCol
// (repeating), under the wildcard's namespace rule. A row named "AnyElement" takes any element
// its rule permits; any other name is a fixed name the element must have.
#ifndef KRXMLLIB_ELEMENTINFOUNTPD_H
#define KRXMLLIB_ELEMENTINFOUNTPD_H

#include "krxmlexport.h"
#include "elementinfo.h"

namespace KrXmlLib16Data {

#define KRXML_UNTPD_ROW_ARGS                                                               \
    const char *lpElementName, const char *lpElementNamespace, int32_t iPropertyIndex,    \
        const char *lpNamespaceRestrictions, const char *lpTargetNamespace
#define KRXML_UNTPD_ROW_MEMBERS        \
    KRXML_ELEMENT_ROW_OPERATIONS       \
                                       \
private:                               \
    std::string m_strNamespaceRestrictions; \
    std::string m_strTargetNamespace;

class KRXML_API CElementInfoSeqUntpdMnd : public CElementInfo
{
public:
    CElementInfoSeqUntpdMnd(KRXML_UNTPD_ROW_ARGS);
    KRXML_UNTPD_ROW_MEMBERS
};

class KRXML_API CElementInfoSeqUntpdOpt : public CElementInfo
{
public:
    CElementInfoSeqUntpdOpt(KRXML_UNTPD_ROW_ARGS);
    KRXML_UNTPD_ROW_MEMBERS
};

class KRXML_API CElementInfoSeqUntpdCol : public CElementInfoSeqCol
{
public:
    CElementInfoSeqUntpdCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
    bool ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                        CXmlElement** ppCursor, const char* lpNamespace, XmlElementType eParentType) override;
};

class KRXML_API CElementInfoAllUntpdMnd : public CElementInfo
{
public:
    CElementInfoAllUntpdMnd(KRXML_UNTPD_ROW_ARGS);
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
    KRXML_UNTPD_ROW_MEMBERS
};

class KRXML_API CElementInfoAllUntpdOpt : public CElementInfo
{
public:
    CElementInfoAllUntpdOpt(KRXML_UNTPD_ROW_ARGS);
    bool Validate(const CSerializationContext& ctx, const CXmlGeneratedClass* pObject, bool bFound,
                  bool bMustExist) const override;
    KRXML_UNTPD_ROW_MEMBERS
};

// A fixed name takes only its own run, as in a sequence, so that it leaves the other members
// of the group alone.
class KRXML_API CElementInfoAllUntpdCol : public CElementInfoAllCol
{
public:
    CElementInfoAllUntpdCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
    bool ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                        CXmlElement** ppCursor, const char* lpNamespace, XmlElementType eParentType) override;
};

class KRXML_API CElementInfoChoiceUntpdOpt : public CElementInfo
{
public:
    CElementInfoChoiceUntpdOpt(KRXML_UNTPD_ROW_ARGS);
    KRXML_UNTPD_ROW_MEMBERS
};

class KRXML_API CElementInfoChoiceUntpdCol : public CElementInfoChoiceCol
{
public:
    CElementInfoChoiceUntpdCol(const char* lpElementName, const char* lpElementNamespace, int32_t iPropertyIndex);
    bool ElementFromXml(const CSerializationContext& ctx, CXmlGeneratedClass* pObject, CXmlElement* pParent,
                        CXmlElement** ppCursor, const char* lpNamespace, XmlElementType eParentType) override;
};

#undef KRXML_UNTPD_ROW_ARGS
#undef KRXML_UNTPD_ROW_MEMBERS

} // namespace KrXmlLib16Data

#endif
