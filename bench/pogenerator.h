// Purchase-order documents of any size, for benchmarks and tests: the same seed gives the same
// bytes on every platform, and every document is valid against examples/data/po.xsd. About 490
// bytes per item: 20,000 items make about 10 MB.
//
// Each item carries every simple type of the schema; every seventh has gift="true", two of
// three a comment with characters that need escaping, every fourth a Base64 thumbnail.
#ifndef KRXML_POGENERATOR_H
#define KRXML_POGENERATOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace KrXmlBench {

class CPurchaseOrderGenerator
{
public:
    explicit CPurchaseOrderGenerator(uint64_t qwSeed = 42) : m_qwState(qwSeed) {}

    // Hands the document to sink in pieces of about 64 KB, in order.
    void Generate(size_t nItems, const std::function<void(const char*, size_t)>& sink);
    std::string Generate(size_t nItems);

private:
    uint64_t Next();
    // Uniform in [iLow, iHigh].
    int64_t Between(int64_t iLow, int64_t iHigh);
    double Uniform(double dLow, double dHigh);
    void AppendWords(std::string& str, int nWords, bool bTitle);
    void AppendItem(std::string& str, size_t i);

    uint64_t m_qwState;
};

// The document as one string.
std::string MakePurchaseOrder(size_t nItems, uint64_t qwSeed = 42);

} // namespace KrXmlBench

#endif
