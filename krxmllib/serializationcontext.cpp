#include "serializationcontext.h"

#include <atomic>
#include <iterator>

#include "attribute.h"
#include "fastinfosetcontext.h"
#include "functions.h"
#include "jsoncontext.h"
#include "krexception.h"

namespace KrXmlLib16 {

// ---- CNamespaceAliasMap ----

namespace {

std::atomic<uint64_t> g_qwNextAliasMapState{1};

uint64_t NewAliasMapState()
{
    return g_qwNextAliasMapState.fetch_add(1, std::memory_order_relaxed);
}

// The position the last GetNamespaceAt of this thread reached, so that walking a map by index
// goes on from there instead of from the start. Per thread, as a shared context is read by
// several at once.
struct AliasMapCursor
{
    uint64_t qwState = 0;
    int iIndex = 0;
    std::map<std::string, std::string>::const_iterator it;
};
thread_local AliasMapCursor t_aliasMapCursor;

} // namespace

CNamespaceAliasMap::CNamespaceAliasMap() : m_qwState(NewAliasMapState()) {}

CNamespaceAliasMap::CNamespaceAliasMap(const CNamespaceAliasMap& other)
    : m_map(other.m_map), m_qwState(NewAliasMapState())
{
}

CNamespaceAliasMap& CNamespaceAliasMap::operator=(const CNamespaceAliasMap& other)
{
    m_map = other.m_map;
    m_qwState = NewAliasMapState();
    return *this;
}

void CNamespaceAliasMap::Add(const char* lpAlias, const char* lpNamespace)
{
    m_map[lpNamespace ? lpNamespace : ""] = lpAlias ? lpAlias : "";
    m_qwState = NewAliasMapState();
}

void CNamespaceAliasMap::RemoveNamespace(const char* lpNamespace)
{
    m_map.erase(lpNamespace ? lpNamespace : "");
    m_qwState = NewAliasMapState();
}

std::string CNamespaceAliasMap::GetNamespaceFromAlias(const char* lpAlias) const
{
    const char* lpKey = lpAlias ? lpAlias : "";
    for (const auto& entry : m_map)
        if (entry.second == lpKey)
            return entry.first;
    throw CKrException(FormatString("Namespace alias [%s] not found", lpKey));
}

std::string CNamespaceAliasMap::GetAliasFromNamespace(const char* lpNamespace) const
{
    auto it = m_map.find(lpNamespace ? lpNamespace : "");
    return it == m_map.end() ? std::string() : it->second;
}

bool CNamespaceAliasMap::DoesNamespaceExist(const char* lpNamespace) const
{
    return m_map.find(lpNamespace ? lpNamespace : "") != m_map.end();
}

bool CNamespaceAliasMap::DoesAliasExist(const char* lpAlias) const
{
    const char* lpKey = lpAlias ? lpAlias : "";
    for (const auto& entry : m_map)
        if (entry.second == lpKey)
            return true;
    return false;
}

std::string CNamespaceAliasMap::GetNamespaceAt(int iIndex) const
{
    if (iIndex < 0 || iIndex >= GetNamespaceCount())
        throw CKrInvalidParamException(FormatString("Index Out of range [%d]", iIndex));
    AliasMapCursor& cursor = t_aliasMapCursor;
    if (cursor.qwState != m_qwState || cursor.iIndex > iIndex)
    {
        cursor.qwState = m_qwState;
        cursor.iIndex = 0;
        cursor.it = m_map.begin();
    }
    std::advance(cursor.it, iIndex - cursor.iIndex);
    cursor.iIndex = iIndex;
    return cursor.it->first;
}

// ---- CSerializationContext ----

CSerializationContext::CSerializationContext()
    : m_bWriteTypeAttribute(true),
      m_bIgnoreInvalidCollectionCounts(false),
      m_bIgnoreMissingChoice(false),
      m_bIgnoreMissingMandatoryElements(false),
      m_bIgnoreUnknownElements(false),
      m_bIgnoreUnknownAttributes(false),
      m_bIgnoreNamespaces(false),
      m_eSchemaType(SchemaType_Default),
      m_bNoOptionalAttributeDefaultOutput(false),
      m_bWriteDefaultElementValues(false),
      m_bStripCDATA(true),
      m_strIndentChars("\t")
{
}

CSerializationContext::CSerializationContext(const CSerializationContext& other)
    : m_strDefaultNamespaceURI(other.m_strDefaultNamespaceURI),
      m_bWriteTypeAttribute(other.m_bWriteTypeAttribute),
      m_namespaceAliases(other.m_namespaceAliases),
      m_pAdditionalRootAttributes(other.m_pAdditionalRootAttributes),
      m_processingInstructions(other.m_processingInstructions),
      m_strInLineSchema(other.m_strInLineSchema),
      m_bIgnoreInvalidCollectionCounts(other.m_bIgnoreInvalidCollectionCounts),
      m_bIgnoreMissingChoice(other.m_bIgnoreMissingChoice),
      m_bIgnoreMissingMandatoryElements(other.m_bIgnoreMissingMandatoryElements),
      m_bIgnoreUnknownElements(other.m_bIgnoreUnknownElements),
      m_bIgnoreUnknownAttributes(other.m_bIgnoreUnknownAttributes),
      m_bIgnoreNamespaces(other.m_bIgnoreNamespaces),
      m_eSchemaType(other.m_eSchemaType),
      m_bNoOptionalAttributeDefaultOutput(other.m_bNoOptionalAttributeDefaultOutput),
      m_bWriteDefaultElementValues(other.m_bWriteDefaultElementValues),
      m_bStripCDATA(other.m_bStripCDATA),
      m_strIndentChars(other.m_strIndentChars)
{
    // The sub-contexts are the copy's own.
    if (const CJsonContext* pJson = other.m_pJsonContext.Get())
        m_pJsonContext.GetOrMake([pJson] { return std::unique_ptr<CJsonContext>(new CJsonContext(*pJson)); });
    if (const CFastInfosetContext* pFI = other.m_pFIContext.Get())
        m_pFIContext.GetOrMake([pFI] { return std::unique_ptr<CFastInfosetContext>(new CFastInfosetContext(*pFI)); });
}

CSerializationContext& CSerializationContext::operator=(const CSerializationContext& other)
{
    if (this != &other)
    {
        CSerializationContext copy(other);
        m_strDefaultNamespaceURI.swap(copy.m_strDefaultNamespaceURI);
        m_bWriteTypeAttribute = copy.m_bWriteTypeAttribute;
        m_namespaceAliases = copy.m_namespaceAliases;
        m_pAdditionalRootAttributes = copy.m_pAdditionalRootAttributes;
        m_processingInstructions.swap(copy.m_processingInstructions);
        m_strInLineSchema.swap(copy.m_strInLineSchema);
        m_bIgnoreInvalidCollectionCounts = copy.m_bIgnoreInvalidCollectionCounts;
        m_bIgnoreMissingChoice = copy.m_bIgnoreMissingChoice;
        m_bIgnoreMissingMandatoryElements = copy.m_bIgnoreMissingMandatoryElements;
        m_bIgnoreUnknownElements = copy.m_bIgnoreUnknownElements;
        m_bIgnoreUnknownAttributes = copy.m_bIgnoreUnknownAttributes;
        m_bIgnoreNamespaces = copy.m_bIgnoreNamespaces;
        m_eSchemaType = copy.m_eSchemaType;
        m_bNoOptionalAttributeDefaultOutput = copy.m_bNoOptionalAttributeDefaultOutput;
        m_bWriteDefaultElementValues = copy.m_bWriteDefaultElementValues;
        m_bStripCDATA = copy.m_bStripCDATA;
        m_strIndentChars.swap(copy.m_strIndentChars);
        m_pJsonContext.Swap(copy.m_pJsonContext);
        m_pFIContext.Swap(copy.m_pFIContext);
    }
    return *this;
}

CSerializationContext::~CSerializationContext() = default;

CJsonContext& CSerializationContext::GetJsonContext() const
{
    return m_pJsonContext.GetOrMake([] { return std::unique_ptr<CJsonContext>(new CJsonContext); });
}

CFastInfosetContext& CSerializationContext::GetFIContext() const
{
    return m_pFIContext.GetOrMake([] { return std::unique_ptr<CFastInfosetContext>(new CFastInfosetContext); });
}

CSmartPtr<CAttributeCol> CSerializationContext::GetAdditionalRootAttributes() const
{
    return CSmartPtr<CAttributeCol>(
        m_pAdditionalRootAttributes.GetOrMake([] { return new CAttributeCol("", "##any", ""); }));
}

CSerializationContext& CSerializationContext::GetDefaultContext()
{
    // Built on first use, so that static objects of other units may already rely on it.
    static CSerializationContext s_defaultContext;
    return s_defaultContext;
}

static const char kBothIgnoresPrefix[] =
    "The parser can only ignore additional elements, or ignore the fact that some required ones are "
    "missing, you can not ignore both\n";

void CSerializationContext::SetIgnoreUnknownElements(bool b)
{
    if (b && m_bIgnoreMissingMandatoryElements)
        throw CKrInvalidStateException(std::string(kBothIgnoresPrefix) +
                                       "Set IgnoreMissingMandatoryElements to false before setting IgnoreUnknownElements to true");
    m_bIgnoreUnknownElements = b;
}

void CSerializationContext::SetIgnoreMissingMandatoryElements(bool b)
{
    if (b && m_bIgnoreUnknownElements)
        throw CKrInvalidStateException(std::string(kBothIgnoresPrefix) +
                                       "Set IgnoreUnknownElements to false before setting IgnoreMissingMandatoryElements to true");
    m_bIgnoreMissingMandatoryElements = b;
}

void CSerializationContext::SetIndentChars(const char* lpIndent)
{
    if (!lpIndent)
    {
        m_strIndentChars.clear();
        return;
    }
    for (const char* p = lpIndent; *p; ++p)
        if (*p != ' ' && *p != '\t')
            throw CKrInvalidParamException("IndentChars can only contain Whitespace characters, i.e. \\t or spaces");
    m_strIndentChars = lpIndent;
}

} // namespace KrXmlLib16
