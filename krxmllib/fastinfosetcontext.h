// The options of Fast Infoset writing and reading: the typed form each kind of value takes,
// the length limits that decide which values enter a table, and the vocabulary generated code
// can fill for both directions to start from. Reached through
// CSerializationContext::GetFIContext(), which makes it at first use.
//
// Ownership: a serialization context owns its one Fast Infoset context, and a copy of the
// serialization context owns a copy of it. Writers and readers borrow it for one document.
#ifndef KRXMLLIB_FASTINFOSETCONTEXT_H
#define KRXMLLIB_FASTINFOSETCONTEXT_H

#include <cstdint>
#include <string>
#include <utility>

#include "fastinfosetvocabulary.h"
#include "itemtype.h"
#include "krxmlexport.h"

namespace KrXmlLib16 {

class KRXML_API CFastInfosetContext
{
public:
    // How the values of one kind travel.
    struct EncodedCharacterString
    {
        uint32_t dwEncodingType;   // 0 text, 1 restricted alphabet, 2 encoding algorithm
        uint32_t dwEncodingValue;  // the alphabet (1 or 2) or the algorithm (1 to 10)
    };

    // Every kind as UTF-8 text; values of 1 to 5 characters indexed.
    CFastInfosetContext();
    CFastInfosetContext(const CFastInfosetContext& other);
    CFastInfosetContext& operator=(const CFastInfosetContext& other);
    virtual ~CFastInfosetContext();

    // 0: UTF-8. 1 would be UTF-16BE, which the writer refuses.
    unsigned char GetDefaultStringEncoding() const { return m_byDefaultStringEncoding; }

    // By ItemType. A number outside the kinds reads as text, and can't be set.
    EncodedCharacterString GetEncoding(uint32_t eType) const;
    void SetEncoding(uint32_t eType, EncodedCharacterString encoding);
    // The typed forms: algorithms for numbers, booleans and binary data, the date alphabet for
    // the eight date kinds, the numeric alphabet for decimals and integers; durations as text.
    // Strings and characters keep what they have. The date alphabet has no '.' or '+': a
    // dateTime or time with a fraction of a second, or a zone east of UTC, then fails to write.
    void SetSuggestedValues();

    // Exclusive limits on the length of a value, in characters, for it to be looked up in
    // and entered into its table: attribute values and character chunks.
    uint32_t GetAttributeMaxAddLength() const { return m_dwAttributeMaxAddLength; }
    void SetAttributeMaxAddLength(uint32_t dwLength) { m_dwAttributeMaxAddLength = dwLength; }
    uint32_t GetElementMaxAddLength() const { return m_dwElementMaxAddLength; }
    void SetElementMaxAddLength(uint32_t dwLength) { m_dwElementMaxAddLength = dwLength; }

    // With a generated vocabulary, writer and reader start from a copy of GetVocabulary(), and
    // a document names it by GetExternalVocabularyURI() (or a built-in URI if that is empty).
    bool GetUseGeneratedVocabulary() const { return m_bUseGeneratedVocabulary; }
    void SetUseGeneratedVocabulary(bool b) { m_bUseGeneratedVocabulary = b; }
    CFIVocabulary* GetVocabulary() { return &m_vocabulary; }
    const CFIVocabulary* GetVocabulary() const { return &m_vocabulary; }
    std::string GetExternalVocabularyURI() const { return m_strExternalVocabularyURI; }
    void SetExternalVocabularyURI(std::string strURI) { m_strExternalVocabularyURI = std::move(strURI); }

protected:
    static constexpr uint32_t kKinds = ItemType_XmlCollection + 1;

    unsigned char m_byDefaultStringEncoding;
    EncodedCharacterString m_encodings[kKinds];
    uint32_t m_dwAttributeMaxAddLength;
    uint32_t m_dwElementMaxAddLength;
    bool m_bUseGeneratedVocabulary;
    CFIVocabulary m_vocabulary;
    std::string m_strExternalVocabularyURI;
};

} // namespace KrXmlLib16

#endif
