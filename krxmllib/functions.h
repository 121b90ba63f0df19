// Process-wide switches, message formatting, debug tracing and the small number and text
// helpers that the value types share.
#ifndef KRXMLLIB_FUNCTIONS_H
#define KRXMLLIB_FUNCTIONS_H

#include <cstdint>
#include <string>

#include "krxmlexport.h"

#if defined(__GNUC__)
#define KR_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define KR_PRINTF_FORMAT(fmt, args)
#endif

namespace KrXmlLib16 {

// ---- process-wide switches: plain variables, set before work starts ----

extern KRXML_API bool g_bASCIIOnly;
extern KRXML_API unsigned int g_uLocalCodePage;
extern KRXML_API bool g_bAsyncFromXmlFile;
extern KRXML_API bool g_bAsyncToXmlFile;
extern KRXML_API uint64_t g_qwMaxDecompressedSize;
extern KRXML_API uint32_t g_dwMaxDecompressionRatio;

// true: text passes between parser, tree and UTF-8 output as bytes, unconverted.
KRXML_API void ASCIIOnly(bool bASCIIOnly);
// The code page of every char string of the public interface (Windows numbering; 0, 3 and
// 65001 are UTF-8, the default).
KRXML_API void SetLocalCharEncoding(unsigned int uCodePage);
// true: FromXmlFile overlaps reading with parsing (plain XML text only).
KRXML_API void AsyncFromXmlFile(bool bAsync);
// true: ToXmlFile without compression streams to the file while the document is produced.
KRXML_API void AsyncToXmlFile(bool bAsync);

// Limits on compressed byte input (gzip or zlib, recognised by the stream and file readers):
// content that grows past either is refused with CKrException as soon as it does, so that a
// small hostile stream can't make the library hold gigabytes. The absolute limit defaults to
// 512 MiB (kDefaultMaxDecompressedSize), so that a refused bomb costs a process well under a
// gigabyte, and a tree of that much text would take several; the ratio limit to 1000 times the compressed size
// (kDefaultMaxDecompressionRatio), above what deflate reaches on any real document. 0 switches
// a limit off. Whatever is set, one document holds at most 4 GiB - 1 bytes.
const uint64_t kDefaultMaxDecompressedSize = 512ull * 1024 * 1024;
const uint32_t kDefaultMaxDecompressionRatio = 1000;
KRXML_API void SetMaxDecompressedSize(uint64_t qwMaxBytes);
KRXML_API void SetMaxDecompressionRatio(uint32_t dwMaxRatio);

// Installs the function that receives the library's debug output (the instance report and
// DebugTrace); null restores the default, which discards it. Returns the previous function.
typedef void (*DebugOutputFunction)(const char* lpText);
KRXML_API DebugOutputFunction SetDebugOutput(DebugOutputFunction pfnOutput);

// ---- formatting ----

// printf-style text of any length. "I64" is accepted as the 64-bit length modifier.
KRXML_API std::string FormatString(const char* lpFormat, ...) KR_PRINTF_FORMAT(1, 2);
// Formats (below 32 KB) and sends the text to the debug output in pieces of 128 characters.
KRXML_API void DebugTrace(const char* lpFormat, ...) KR_PRINTF_FORMAT(1, 2);

// ---- small number and text helpers ----

// The number in decimal, left-padded with '0' to width.
KRXML_API std::string FormatZeroPadded(uint32_t value, unsigned char width);
// Appends the same text to strOut, without a temporary.
KRXML_API void AppendZeroPadded(std::string& strOut, uint32_t value, unsigned char width);
// digits without trailing '0' characters, keeping at least the first character.
KRXML_API std::string TrimTrailingZeros(std::string digits);
// The fractional part of a seconds value, dot included, or empty.
KRXML_API std::string FormatFraction(unsigned short milli, unsigned short micro, unsigned short nano);
// Replaces every occurrence; the search restarts at the beginning after each replacement.
KRXML_API void ReplaceAll(std::string& text, const std::string& from, const std::string& to);

// ---- pattern facet ----

// True when the whole of value, text in the local character encoding, matches the XSD pattern
// given in UTF-8. Compiled patterns are kept in a bounded cache shared by all threads;
// CPatternMatcher (patternmatcher.h) is the way to hold one compiled pattern yourself. Raises CKrException with "Invalid Regular Expression: ..." if
// the pattern does not compile or is not UTF-8, and CKrInvalidValueException if value holds
// bytes that are not valid in the local encoding.
KRXML_API bool MatchesPattern(const std::string& patternUtf8, const std::string& value);

} // namespace KrXmlLib16

#endif
