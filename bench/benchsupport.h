// Shared pieces of the benchmark programs: sample documents, timing and memory readings.
#ifndef KRXML_BENCHSUPPORT_H
#define KRXML_BENCHSUPPORT_H

#include <chrono>
#include <cstddef>
#include <string>

namespace KrXmlBench {

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

} // namespace KrXmlBench

#endif
