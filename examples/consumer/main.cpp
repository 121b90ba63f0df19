// Uses the installed library the way generated classes and applications do, and checks what it
// got: a class derived from the library's root, failures raised inside the library caught by
// their own types, untyped content made here and written by the library, a value type built
// from the host's time record. Built against both the static and the shared library.
#include <cstdio>
#include <string>

#include <krxmllib.h>

using namespace KrXmlLib16;

namespace {

// Shaped like a generated class: the library calls it back through its virtual functions.
class CGreeting : public CXmlObjectBase
{
public:
    std::string m_strText;
    CXmlObjectBase* GetBase() override { return this; }
    std::string GetNamespace() const override { return "urn:demo"; }

protected:
    std::string GetTargetNamespace() const override { return "urn:demo"; }
    void ToXml_Int(CXmlWriter*, bool, const char*, const CSerializationContext&, bool) const override {}
    CXmlElement* FromXml_Int(CXmlElement* pElement, CXmlElement*, const CSerializationContext&, bool) override
    {
        m_strText = pElement->GetText();
        return nullptr;
    }
};

bool Check(bool bOk, const char* lpWhat, const std::string& strGot)
{
    if (!bOk)
        std::fprintf(stderr, "consumer: unexpected %s: %s\n", lpWhat, strGot.c_str());
    return bOk;
}

} // namespace

int main()
{
    const CSerializationContext& ctx = CSerializationContext::GetDefaultContext();
    try
    {
        bool bOk = true;

        CXmlDocument doc;
        doc.LoadXml("<greeting xmlns=\"urn:demo\" lang=\"en\">hello</greeting>");
        const CXmlElement* pRoot = doc.GetDocumentElement();
        bOk &= Check(pRoot->GetXPath() == "/greeting" && pRoot->GetAttribute("lang", "") == "en", "tree",
                     pRoot->GetXPath());

        CSmartPtr<CGreeting> spGreeting(new CGreeting);
        spGreeting->FromXml("<greeting xmlns='urn:demo'>hi</greeting>", ctx);
        bOk &= Check(spGreeting->m_strText == "hi", "bound object text", spGreeting->m_strText);

        std::string strCaught = "nothing";
        try
        {
            CSmartPtr<CElement> spOnly(new CElement("a", "urn:only"));
            spOnly->FromXml("<a xmlns='urn:other'/>", ctx);
        }
        catch (const CKrInvalidNamespaceException& e)
        {
            strCaught = e.GetPath();
        }
        bOk &= Check(strCaught == "/a", "namespace refusal", strCaught);

        strCaught = "nothing";
        try
        {
            CXmlDocument broken;
            broken.LoadXml("<open>");
        }
        catch (const CKrException& e)
        {
            strCaught = e.GetMessage();
        }
        bOk &= Check(strCaught.find("line 1") != std::string::npos, "parser failure", strCaught);

        CSmartPtr<CElement> spNote(new CElement("note", "urn:demo"));
        spNote->SetText("a & b");
        spNote->GetChildElements()->Add("to")->SetText("you");
        std::string strXml = spNote->ToXml(false, false, EOLType_LF, ctx);
        bOk &= Check(strXml.find(">you</") != std::string::npos && strXml.find(">a &amp; b</") != std::string::npos,
                     "written element", strXml);

        Platform::SystemTime st = {2024, 2, 4, 29, 12, 30, 45, 0};
        std::string strDate = CDateTime(st).ToString();
        bOk &= Check(strDate == "2024-02-29T12:30:45", "date", strDate);

        if (!bOk)
            return 1;
        std::printf("consumer ok: %s says %s\n", pRoot->GetNamespaceURI().c_str(), pRoot->GetText().c_str());
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "error: %s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
