#include "classfactorybase.h"

#include "xmldocument.h"
#include "xmlelement.h"
#include "xmlwriter.h"

namespace KrXmlLib16 {

CClassfactoryBase::~CClassfactoryBase() = default;

std::string CClassfactoryBase::GetElementType(CXmlElement* pElement)
{
    const std::string& strType = pElement->GetAttribute("type", kXmlSchemaInstanceUri);
    size_t nColon = strType.find(':');
    return nColon == std::string::npos ? strType : strType.substr(nColon + 1);
}

std::string CClassfactoryBase::GetElementTypeNamespaceUri(CXmlElement* pElement)
{
    const std::string& strType = pElement->GetAttribute("type", kXmlSchemaInstanceUri);
    size_t nColon = strType.find(':');
    if (nColon != std::string::npos)
    {
        std::string strNamespace = pElement->GetDocument()->LookupNamespaceFromAlias(strType.substr(0, nColon).c_str());
        if (!strNamespace.empty())
            return strNamespace;
    }
    return pElement->GetNamespaceURI();
}

} // namespace KrXmlLib16
