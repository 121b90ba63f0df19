#include "krexception.h"

#include <utility>

namespace KrXmlLib16 {

CKrException::CKrException() = default;

CKrException::CKrException(std::string strMessage)
{
    Init(std::move(strMessage), std::string(), nullptr);
}

CKrException::CKrException(std::string strMessage, const CKrException& inner)
{
    Init(std::move(strMessage), std::string(), &inner);
}

CKrException::CKrException(std::string strMessage, std::string strPath)
{
    Init(std::move(strMessage), std::move(strPath), nullptr);
}

CKrException::CKrException(std::string strMessage, std::string strPath, const CKrException& inner)
{
    Init(std::move(strMessage), std::move(strPath), &inner);
}

void CKrException::Init(std::string strMessage, std::string strPath, const CKrException* pInner)
{
    m_strMessage = std::move(strMessage);
    if (!strPath.empty())
    {
        m_strMessage += "\nPath: ";
        m_strMessage += strPath;
        m_strPath = std::move(strPath);
    }
    if (pInner)
        m_pInnerException.reset(pInner->Clone());
}

CKrException::CKrException(const CKrException& other)
    : m_strMessage(other.m_strMessage),
      m_strPath(other.m_strPath),
      m_pInnerException(other.m_pInnerException ? other.m_pInnerException->Clone() : nullptr)
{
}

CKrException& CKrException::operator=(const CKrException& other)
{
    if (this != &other)
    {
        std::unique_ptr<CKrException> spInner(other.m_pInnerException ? other.m_pInnerException->Clone() : nullptr);
        m_pInnerException = std::move(spInner);
        m_strMessage = other.m_strMessage;
        m_strPath = other.m_strPath;
    }
    return *this;
}

CKrException::~CKrException() = default;

std::string CKrException::GetFullMessage() const
{
    std::string strResult = m_strMessage;
    for (const CKrException* p = m_pInnerException.get(); p; p = p->m_pInnerException.get())
    {
        strResult += "\n";
        strResult += p->m_strMessage;
    }
    return strResult;
}

CKrException* CKrException::Clone() const
{
    return new CKrException(*this);
}

CKrValidationException::CKrValidationException(std::string strMessage, std::string strPath)
    : CKrException(std::move(strMessage), std::move(strPath))
{
}

CKrValidationException::CKrValidationException(std::string strMessage, std::string strPath, const CKrException& inner)
    : CKrException(std::move(strMessage), std::move(strPath), inner)
{
}

CKrInvalidValueException::CKrInvalidValueException(std::string strMessage)
    : CKrValidationException(std::move(strMessage), std::string())
{
}

CKrInvalidValueException::CKrInvalidValueException(std::string strMessage, const CKrException& inner)
    : CKrValidationException(std::move(strMessage), std::string(), inner)
{
}

CKrInvalidNamespaceException::CKrInvalidNamespaceException(std::string strMessage, std::string strPath)
    : CKrValidationException(std::move(strMessage), std::move(strPath))
{
}

CKrInvalidNamespaceException::CKrInvalidNamespaceException(std::string strMessage, std::string strPath,
                                                           const CKrException& inner)
    : CKrValidationException(std::move(strMessage), std::move(strPath), inner)
{
}

} // namespace KrXmlLib16
