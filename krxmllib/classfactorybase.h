// The base of a generated class factory: the functions that make the concrete object an
// abstract member's element calls for. It offers them the two look-ups of xsi:type they need.
#ifndef KRXMLLIB_CLASSFACTORYBASE_H
#define KRXMLLIB_CLASSFACTORYBASE_H

#include <string>

#include "krxmlexport.h"

namespace KrXmlLib16 {

class CXmlElement;

class KRXML_API CClassfactoryBase
{
public:
    CClassfactoryBase() = default;
    CClassfactoryBase(const CClassfactoryBase&) = default;
    CClassfactoryBase& operator=(const CClassfactoryBase&) = default;
    virtual ~CClassfactoryBase();

protected:
    // The type name of the element's xsi:type without its prefix; empty when there is none.
    static std::string GetElementType(CXmlElement* pElement);
    // The namespace of that type name. An unprefixed or undeclared prefix means the element's
    // own namespace, never the default namespace in scope.
    static std::string GetElementTypeNamespaceUri(CXmlElement* pElement);
};

} // namespace KrXmlLib16

#endif
