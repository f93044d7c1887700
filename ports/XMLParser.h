#pragma once

#include "base/Error.h"

#include <string_view>

/// Domain of what a parser reports; the code is the parsing library's.
inline constexpr const char* NSXMLParserErrorDomain = "NSXMLParserErrorDomain";

/// Hears what a parser finds, in the order of the document and on the thread that feeds the parser. Texts are UTF-8 and
/// last for the call. Attributes, comments and processing instructions are not told. What an operation throws comes out
/// of `parse` or `finish`, and nothing is told any more.
class XMLParserDelegate {
public:
    virtual ~XMLParserDelegate() = default;
    /// An element begins. Its name is that of the document, prefix included.
    virtual void parserDidStartElement(std::string_view elementName) = 0;
    /// The element that began last and has not ended ends here.
    virtual void parserDidEndElement(std::string_view elementName) = 0;
    /// Character data with its references resolved; one text may come in several pieces.
    virtual void parserFoundCharacters(std::string_view string) = 0;
    /// The document is no XML, or more than the parser takes. Told once; nothing follows.
    virtual void parserParseErrorOccurred(const ErrorPtr& parseError) = 0;
};

/// Reads one document in pieces of any size, in the encoding that it declares or begins with. Used by one thread at a
/// time.
///
/// Documents are not trusted: nothing is fetched, no entity but the five of XML is known, and memory and time stay in
/// proportion to what was fed. A document that goes too far ends in a parse error: elements nested more than 2,048 deep
/// or with more than 256 attributes, more than 200,000 different names, a single tag or declaration of more than
/// 256 KiB, and a comment or a CDATA section of more than 10 MB. Without memory to go on, operations throw
/// `std::bad_alloc`.
class XMLParser {
public:
    virtual ~XMLParser() = default;
    /// Reads on. False once a parse error has occurred; what is fed then is ignored. The piece may go afterwards.
    virtual bool parse(std::string_view piece) = 0;
    /// Says that the document ends here; to be called once. True when all of it was well-formed.
    virtual bool finish() = 0;
};
