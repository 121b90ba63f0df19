// Reads a small document through the installed library and checks what it got.
#include <cstdio>

#include <krxmllib.h>

int main()
{
    using namespace KrXmlLib16;
    try
    {
        CXmlDocument doc;
        doc.LoadXml("<greeting xmlns=\"urn:demo\" lang=\"en\">hello</greeting>");
        const CXmlElement* pRoot = doc.GetDocumentElement();
        if (pRoot->GetText() != "hello" || pRoot->GetAttribute("lang", "") != "en")
        {
            std::fprintf(stderr, "unexpected tree\n");
            return 1;
        }
        std::printf("consumer ok: %s in %s says %s\n", pRoot->GetXPath().c_str(), pRoot->GetNamespaceURI().c_str(),
                    pRoot->GetText().c_str());
        return 0;
    }
    catch (const CKrException& e)
    {
        std::fprintf(stderr, "error: %s\n", e.GetFullMessage().c_str());
        return 1;
    }
}
