// The options of JSON reading and writing, held by a serialization context
// (CSerializationContext::GetJsonContext).
#ifndef KRXMLLIB_JSONCONTEXT_H
#define KRXMLLIB_JSONCONTEXT_H

#include <string>

#include "krxmlexport.h"

namespace KrXmlLib16 {

// How much of the XML shape JSON keeps.
enum JsonRoundTrip : int
{
    RoundTripNone = 0,        // element and attribute names alone; text beside members as ""
    RoundTripAttributes = 1,  // "@name" attributes and "#text"; no namespaces
    RoundTripFull = 2         // also prefixed names, @xmlns declarations and the type attribute
};

class KRXML_API CJsonContext
{
public:
    CJsonContext() = default;
    CJsonContext(const CJsonContext&) = default;
    CJsonContext& operator=(const CJsonContext&) = default;
    virtual ~CJsonContext() = default;

    JsonRoundTrip GetSupportRoundtrip() const { return m_eSupportRoundtrip; }
    void SetSupportRoundtrip(JsonRoundTrip eRoundTrip) { m_eSupportRoundtrip = eRoundTrip; }

    // Empty, or the name of an element that wraps what is read (JSON with no single root member).
    std::string GetRootElementName() const { return m_strRootElementName; }
    void SetRootElementName(const char* lpName) { m_strRootElementName = lpName ? lpName : ""; }

    // Comments (/* */ and //) are skipped when reading.
    bool GetAllowComments() const { return m_bAllowComments; }
    // The setter bears the getter's name, as the interface has always had it.
    void GetAllowComments(bool bAllow) { m_bAllowComments = bAllow; }
    void SetAllowComments(bool bAllow) { m_bAllowComments = bAllow; }

private:
    JsonRoundTrip m_eSupportRoundtrip = RoundTripFull;
    std::string m_strRootElementName;
    bool m_bAllowComments = true;
};

} // namespace KrXmlLib16

#endif
