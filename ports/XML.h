#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

class XMLParser;
class XMLParserDelegate;

/// An element to be written. Names must be names of XML; nobody checks them.
struct XMLElement {
    std::string name;
    /// Any text; it is written before the children.
    std::string text;
    /// Written in this order. Elements nested many thousand deep exhaust the writer's stack.
    std::vector<XMLElement> children;
    /// Names and values, in the order to be written.
    std::vector<std::pair<std::string, std::string>> attributes;
};

/// The encoding of a written document; UTF-16 begins with a byte order mark.
enum class XMLEncoding { utf8, utf16 };

/// The platform's XML writer and parser. Callable from any thread.
class XMLServices {
public:
    virtual ~XMLServices() = default;
    /// The bytes of an XML 1.0 document with this root element. Texts are taken as UTF-8; characters that XML 1.0
    /// cannot hold and bytes that are not UTF-8 are left out, so that every reader accepts the document. Throws when
    /// memory runs out or the document becomes too long: never half a document.
    [[nodiscard]] virtual std::string document(const XMLElement& root, XMLEncoding encoding) const = 0;
    /// A new parser for one document. Never null. The caller keeps the delegate longer than the parser.
    [[nodiscard]] virtual std::unique_ptr<XMLParser> makeParser(XMLParserDelegate& delegate) const = 0;
};
