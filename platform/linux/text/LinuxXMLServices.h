#pragma once

#include "ports/XML.h"

namespace text {

/// XML by libxml2's push parser and a writer of our own, because libxml2's takes twice the time and memory. A document
/// of more than 2 GiB is refused with `std::length_error`; otherwise nothing but memory can fail, as an exception too.
class LinuxXMLServices final : public XMLServices {
public:
    [[nodiscard]] std::string document(const XMLElement& root, XMLEncoding encoding) const override;
    [[nodiscard]] std::unique_ptr<XMLParser> makeParser(XMLParserDelegate& delegate) const override;
};

}  // namespace text
