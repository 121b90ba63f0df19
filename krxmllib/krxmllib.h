// The whole public interface of KrXmlLib16 in one include.
#ifndef KRXMLLIB_KRXMLLIB_H
#define KRXMLLIB_KRXMLLIB_H

#include "attribute.h"
#include "biginteger.h"
#include "binarydata.h"
#include "binarystream.h"
#include "datetime.h"
#include "datetimespan.h"
#include "decimal.h"
#include "element.h"
#include "encoder.h"
#include "functions.h"
#include "itemtype.h"
#include "krcriticalsection.h"
#include "krexception.h"
#include "kriterator.h"
#include "memoryleakhelp.h"
#include "patternmatcher.h"
#include "serializationcontext.h"
#include "smartptr.h"
#include "stringbuffer.h"
#include "textstream.h"
#include "whitespaceutils.h"
#include "xmlcollectionbase.h"
#include "xmldocument.h"
#include "xmlelement.h"
#include "xmlenums.h"
#include "xmlobjectbase.h"
#include "xmltextwriter.h"
#include "xmlwriter.h"

#endif
