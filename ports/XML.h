#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

class XMLParser;
class XMLParserDelegate;

/// An element with its attributes, in the order to be written, and either text or child elements.
struct XMLElement {
    std::string name;
    std::string text;  ///< written before the children
    std::vector<XMLElement> children;
    std::vector<std::pair<std::string, std::string>> attributes;
};

/// The encoding of a written document; UTF-16 begins with a byte order mark.
enum class XMLEncoding { utf8, utf16 };

/// The platform's XML writer and parser. Callable from any thread.
class XMLServices {
public:
    virtual ~XMLServices() = default;
    /// The bytes of an XML 1.0 document with this root element. Texts are taken as UTF-8; characters that XML 1.0
    /// cannot hold and bytes that are not UTF-8 are left out, so that every reader accepts the document.
    /// Element and attribute names are the caller's, not checked. Throws when memory runs out: never half a document.
    [[nodiscard]] virtual std::string document(const XMLElement& root, XMLEncoding encoding) const = 0;
    /// A parser for one document; the delegate must outlive it.
    [[nodiscard]] virtual std::unique_ptr<XMLParser> makeParser(XMLParserDelegate& delegate) const = 0;
};
