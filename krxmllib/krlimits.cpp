#include "krlimits.h"

#include <atomic>

namespace KrXmlLib16 {

namespace {

// Read on hot paths (every element start): relaxed loads, as a cap needs no ordering with
// anything else.
std::atomic<uint32_t> g_nMaxDepth{CKrLimits::kDefaultMaxDepth};
std::atomic<uint32_t> g_nMaxNumberDigits{CKrLimits::kDefaultMaxNumberDigits};
std::atomic<uint32_t> g_nMaxFormatWidth{CKrLimits::kDefaultMaxFormatWidth};

} // namespace

const uint32_t CKrLimits::kDefaultMaxDepth;
const uint32_t CKrLimits::kDefaultMaxNumberDigits;
const uint32_t CKrLimits::kDefaultMaxFormatWidth;

void CKrLimits::SetMaxDepth(uint32_t nMax) { g_nMaxDepth.store(nMax, std::memory_order_relaxed); }
uint32_t CKrLimits::GetMaxDepth() { return g_nMaxDepth.load(std::memory_order_relaxed); }

void CKrLimits::SetMaxNumberDigits(uint32_t nMax) { g_nMaxNumberDigits.store(nMax, std::memory_order_relaxed); }
uint32_t CKrLimits::GetMaxNumberDigits() { return g_nMaxNumberDigits.load(std::memory_order_relaxed); }

void CKrLimits::SetMaxFormatWidth(uint32_t nMax) { g_nMaxFormatWidth.store(nMax, std::memory_order_relaxed); }
uint32_t CKrLimits::GetMaxFormatWidth() { return g_nMaxFormatWidth.load(std::memory_order_relaxed); }

} // namespace KrXmlLib16
