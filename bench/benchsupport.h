// Shared pieces of the benchmark programs: sample documents, timing and memory readings.
#ifndef KRXML_BENCHSUPPORT_H
#define KRXML_BENCHSUPPORT_H

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace KrXmlLib16 {
class CSerializationContext;
}

namespace KrXmlBench {

// The context the purchase-order benchmarks write and read with: two blanks of indent and the
// document's namespace as the default, made once.
const KrXmlLib16::CSerializationContext& IndentedContext(const char* lpDefaultNamespace);

// A purchase-order document of about nItems * 490 bytes (pogenerator.h, seed 42) in a file of
// the temporary directory, made once per process and removed at its exit; empty if the file
// can't be written.
std::string MakePurchaseOrderFile(int nItems);
std::string ReadWholeFile(const std::string& strPath);

// Peak resident memory of this process so far, in bytes, and a reset of the peak mark.
size_t PeakRssBytes();
void ResetPeakRss();
size_t CurrentRssBytes();

// Best of nRuns timings of fn, in seconds.
template <typename Fn>
double BestSeconds(int nRuns, Fn fn)
{
    double best = 1e300;
    for (int i = 0; i < nRuns; ++i)
    {
        auto t0 = std::chrono::steady_clock::now();
        fn();
        double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (s < best)
            best = s;
    }
    return best;
}

struct Timing
{
    double dBest;
    double dMedian;
};

// A warm-up run of fn, then the best and the median of nRuns timed runs.
template <typename Fn>
Timing Time(int nRuns, Fn fn)
{
    fn();
    std::vector<double> seconds;
    for (int i = 0; i < nRuns; ++i)
        seconds.push_back(BestSeconds(1, fn));
    std::sort(seconds.begin(), seconds.end());
    return Timing{seconds.front(), seconds[seconds.size() / 2]};
}

// Allocations made by the process so far; in the programs linked with allocationcounter.cpp.
size_t AllocationCount();

} // namespace KrXmlBench

#endif
