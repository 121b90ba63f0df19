// The library's only failure channel: exceptions thrown by value and caught by reference,
// carrying a message, the path of the failing item and, optionally, the failure that caused it.
#ifndef KRXMLLIB_KREXCEPTION_H
#define KRXMLLIB_KREXCEPTION_H

#include <memory>
#include <string>

#include "krxmlexport.h"

namespace KrXmlLib16 {

class KRXML_API CKrException
{
public:
    CKrException();
    explicit CKrException(std::string strMessage);
    CKrException(std::string strMessage, const CKrException& inner);
    CKrException(std::string strMessage, std::string strPath);
    CKrException(std::string strMessage, std::string strPath, const CKrException& inner);
    CKrException(const CKrException& other);
    CKrException& operator=(const CKrException& other);
    virtual ~CKrException();

    std::string GetMessage() const { return m_strMessage; }
    std::string GetFullMessage() const;
    std::string GetPath() const { return m_strPath; }
    const CKrException* GetInnerException() const { return m_pInnerException.get(); }

    // Makes a heap copy of the most derived class; public so that any holder can keep a
    // failure beyond the catch block.
    virtual CKrException* Clone() const;

protected:
    void Init(std::string strMessage, std::string strPath, const CKrException* pInner);

    std::string m_strMessage;
    std::string m_strPath;
    std::unique_ptr<CKrException> m_pInnerException;  // the exception's own clone, or null
};

// Re-typing constructor shape shared by the derived classes: copies message and path and
// clones the inner exception of the source.
#define KR_DECLARE_EXCEPTION_CLONE(name) \
    name(const name& other) = default;   \
    name& operator=(const name& other) = default; \
    name* Clone() const override { return new name(*this); }

class KRXML_API CKrValidationException : public CKrException
{
public:
    CKrValidationException() = default;
    CKrValidationException(std::string strMessage, std::string strPath);
    CKrValidationException(std::string strMessage, std::string strPath, const CKrException& inner);
    explicit CKrValidationException(const CKrException& other) : CKrException(other) {}
    KR_DECLARE_EXCEPTION_CLONE(CKrValidationException)
};

class KRXML_API CKrInvalidValueException : public CKrValidationException
{
public:
    CKrInvalidValueException() = default;
    explicit CKrInvalidValueException(std::string strMessage);
    CKrInvalidValueException(std::string strMessage, const CKrException& inner);
    explicit CKrInvalidValueException(const CKrException& other) : CKrValidationException(other) {}
    KR_DECLARE_EXCEPTION_CLONE(CKrInvalidValueException)
};

class KRXML_API CKrInvalidNamespaceException : public CKrValidationException
{
public:
    CKrInvalidNamespaceException() = default;
    CKrInvalidNamespaceException(std::string strMessage, std::string strPath);
    CKrInvalidNamespaceException(std::string strMessage, std::string strPath, const CKrException& inner);
    explicit CKrInvalidNamespaceException(const CKrException& other) : CKrValidationException(other) {}
    KR_DECLARE_EXCEPTION_CLONE(CKrInvalidNamespaceException)
};

#define KR_DECLARE_SIMPLE_EXCEPTION(name)                                            \
    class KRXML_API name : public CKrException                                       \
    {                                                                                \
    public:                                                                          \
        name() = default;                                                            \
        explicit name(std::string strMessage) : CKrException(std::move(strMessage)) {} \
        name(std::string strMessage, const CKrException& inner)                      \
            : CKrException(std::move(strMessage), inner) {}                          \
        explicit name(const CKrException& other) : CKrException(other) {}            \
        KR_DECLARE_EXCEPTION_CLONE(name)                                             \
    };

KR_DECLARE_SIMPLE_EXCEPTION(CKrInvalidStateException)
KR_DECLARE_SIMPLE_EXCEPTION(CKrInvalidParamException)
KR_DECLARE_SIMPLE_EXCEPTION(CKrOverFlowException)

#undef KR_DECLARE_SIMPLE_EXCEPTION
#undef KR_DECLARE_EXCEPTION_CLONE

// Reports the position reached in an input, in the path notation of its format.
class KRXML_API IErrorPathProvider
{
public:
    virtual ~IErrorPathProvider() = default;
    virtual std::string GetErrorPath() = 0;
};

} // namespace KrXmlLib16

#endif
