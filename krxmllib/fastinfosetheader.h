// The opening of a Fast Infoset document, as the writer puts it and the reader recognises it.
#ifndef KRXMLLIB_FASTINFOSETHEADER_H
#define KRXMLLIB_FASTINFOSETHEADER_H

namespace KrXmlLib16 {

// The four identification bytes: the document's magic number and version.
const unsigned char kFIIdentification[4] = {0xE0, 0x00, 0x00, 0x01};

// The declarations a document may carry in front of its identification, indexed by FInfoDecl
// (FInfoDecl_None: none).
const char* const kFIDeclarations[] = {
    "",
    "<?xml encoding='finf'?>",
    "<?xml encoding='finf' standalone='yes'?>",
    "<?xml encoding='finf' standalone='no'?>",
    "<?xml version='1.0' encoding='finf'?>",
    "<?xml version='1.0' encoding='finf' standalone='yes'?>",
    "<?xml version='1.0' encoding='finf' standalone='no'?>",
    "<?xml version='1.1' encoding='finf'?>",
    "<?xml version='1.1' encoding='finf' standalone='yes'?>",
    "<?xml version='1.1' encoding='finf' standalone='no'?>",
};
const int kFIDeclarationCount = sizeof(kFIDeclarations) / sizeof(kFIDeclarations[0]);

} // namespace KrXmlLib16

#endif
