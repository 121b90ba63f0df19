// Option enumerations of the public interface. Those that callers pass in have a fixed
// underlying type, so that a value outside the list is well defined and can be refused.
#ifndef KRXMLLIB_XMLENUMS_H
#define KRXMLLIB_XMLENUMS_H

namespace KrXmlLib16 {

enum XmlEncoding : int
{
    XmlEncoding_None = 0,        // text stays in the local code page; string output only
    XmlEncoding_UTF8 = 1,
    XmlEncoding_UTF16 = 2,       // little-endian, declared as "UTF-16"
    XmlEncoding_UTF16NoDecl = 3  // little-endian, no encoding in the declaration
};

enum EOLType : int
{
    EOLType_CRLF = 0,
    EOLType_LF = 1
};

enum CompressionType : int
{
    CompressionType_None = 0,
    CompressionType_GZip = 1,
    CompressionType_ZLib = 2
};

// The XML declaration written in front of a Fast Infoset document.
enum FInfoDecl : int
{
    FInfoDecl_None = 0,
    FInfoDecl_Encoding = 1,
    FInfoDecl_EncodingStandaloneYes = 2,
    FInfoDecl_EncodingStandaloneNo = 3,
    FInfoDecl_Version10 = 4,
    FInfoDecl_Version10StandaloneYes = 5,
    FInfoDecl_Version10StandaloneNo = 6,
    FInfoDecl_Version11 = 7,
    FInfoDecl_Version11StandaloneYes = 8,
    FInfoDecl_Version11StandaloneNo = 9
};

enum SchemaType
{
    SchemaType_Default = 0,
    SchemaType_NoNamespaces = 2  // namespace processing off in the parser and in name matching
};

} // namespace KrXmlLib16

#endif
