// A program whose globals hold library objects until the very end: they are built before the
// library's own statics and so die after them. Run by test_foundations, which expects exit
// code 0, a clean sanitizer run and the instance report on standard output.
#include <cstdio>

#include "krxmllib.h"

using namespace KrXmlLib16;

namespace {

void ToStdout(const char* lpText)
{
    std::fputs(lpText, stdout);
}

// Makes and writes an element while it dies, after the report went out.
struct CWritesWhenDying
{
    ~CWritesWhenDying()
    {
        CSmartPtr<CElement> sp(new CElement("late"));
        sp->GetAttributes()->Add("a", "1");
        std::fputs(("late: " + sp->ToXml(false, false, EOLType_LF, CSerializationContext()) + "\n").c_str(), stdout);
    }
};

} // namespace

CWritesWhenDying g_writesWhenDying;
CSerializationContext g_ctx;
CSmartPtr<CElement> g_spElement;
CSerializationContext& g_rDefaultContext = CSerializationContext::GetDefaultContext();

int main()
{
    SetDebugOutput(&ToStdout);
    g_ctx.GetAdditionalRootAttributes()->Add("extra", "1", "urn:x");
    g_spElement = new CElement("kept", "urn:k");
    g_spElement->GetChildElements()->Add("child", "urn:k");
    std::string strOut = g_spElement->ToXml(false, false, EOLType_LF, g_rDefaultContext);
    g_rDefaultContext.GetAdditionalRootAttributes()->Add("d", "2");
    strOut += "\n" + g_spElement->ToXml(false, false, EOLType_LF, g_ctx);
    std::fputs((strOut + "\n").c_str(), stdout);
    return 0;
}
