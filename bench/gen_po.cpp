// Writes a purchase-order document to standard output, for benchmarks and the comparison with
// other toolkits:  gen_po --items 20000 [--seed 42] > po.xml   (about 10 MB)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "pogenerator.h"

namespace {

int Usage(const char* lpWhy)
{
    if (lpWhy)
        std::fprintf(stderr, "gen_po: %s\n", lpWhy);
    std::fprintf(stderr, "usage: gen_po --items N [--seed S]\n"
                         "writes a purchase-order document of N items (default 100) to standard output;\n"
                         "the same seed (default 42) gives the same document\n");
    return 2;
}

bool ParseNumber(const char* lpText, unsigned long long& qwValue)
{
    if (!lpText || !*lpText || *lpText == '-')
        return false;
    char* pEnd = nullptr;
    qwValue = std::strtoull(lpText, &pEnd, 10);
    return *pEnd == '\0';
}

} // namespace

int main(int argc, char** argv)
{
    unsigned long long qwItems = 100, qwSeed = 42;
    for (int i = 1; i < argc; i += 2)
    {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0)
        {
            Usage(nullptr);
            return 0;
        }
        bool bItems = std::strcmp(argv[i], "--items") == 0, bSeed = std::strcmp(argv[i], "--seed") == 0;
        if (!bItems && !bSeed)
            return Usage((std::string("unknown argument ") + argv[i]).c_str());
        if (i + 1 >= argc || !ParseNumber(argv[i + 1], bItems ? qwItems : qwSeed))
            return Usage((std::string(argv[i]) + " needs a number").c_str());
    }
    bool bFailed = false;
    KrXmlBench::CPurchaseOrderGenerator(qwSeed).Generate(static_cast<size_t>(qwItems), [&](const char* p, size_t n) {
        if (!bFailed && std::fwrite(p, 1, n, stdout) != n)
            bFailed = true;
    });
    if (std::fflush(stdout) != 0 || bFailed)
    {
        std::fprintf(stderr, "gen_po: failed to write the document\n");
        return 1;
    }
    return 0;
}
