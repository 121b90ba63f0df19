// gzip and zlib around whole byte buffers: the output of the *Stream writers when compression
// is asked for, and the recognition of compressed byte input. There is no header of the
// library's own: what is written is a plain gzip file or zlib stream that any tool opens.
//
// Ownership: the buffers are arrays from new[], passed by pointer and length; a call that
// replaces one frees the old array and hands over a new one.
#ifndef KRXMLLIB_KRZIP_H
#define KRXMLLIB_KRZIP_H

#include <cstdint>

#include "binarydata.h"
#include "krxmlexport.h"
#include "memoryleakhelp.h"
#include "xmlenums.h"

namespace KrXmlLib16 {

class KRXML_API CKrZip : public CInstanceMonitor
{
public:
    CKrZip() : CInstanceMonitor("CKrZip") {}

    // Replaces the buffer by its gzip (CompressionType_GZip) or zlib (CompressionType_ZLib)
    // form, at level 1, the fastest; any other type leaves it alone. The compressed form must
    // be smaller than the input: if it isn't (a short or incompressible text), CKrException
    // "Failed to compress data. [Error Code: %d]" is raised with zlib's result, and the
    // buffer stays as it was.
    static void Compress(unsigned char** ppData, uint32_t* pdwLen, CompressionType eType);

    // Replaces the buffer by its content if it holds a complete gzip or zlib stream (gzip
    // members that follow one another are joined). Anything else, plain text as much as a
    // damaged or cut stream, is left exactly as it is, for the parsers to judge. Content
    // larger than the limit of SetMaxDecompressedSize and SetMaxDecompressionRatio
    // (functions.h) raises CKrException as soon as it passes the limit, and the buffer stays.
    static void Decompress(unsigned char** ppData, uint32_t* pdwLen);

    // True if the bytes open as a gzip or zlib stream does: the signatures that zlib checks.
    // Decompress looks at nothing else, so that plain input costs it no more than this.
    static bool IsCompressed(const unsigned char* pData, uint32_t dwLen);

    // Compress on what data holds; empty data stays empty. On a failure data keeps its bytes.
    static void CompressBinaryData(CBinaryData& data, CompressionType eType);
};

} // namespace KrXmlLib16

#endif
