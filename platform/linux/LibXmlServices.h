#pragma once

#include "ports/XML.h"

/// XML by libxml2's streaming writer and its push parser.
class LibXmlServices final : public XMLServices {
public:
    [[nodiscard]] std::string document(const XMLElement& root, XMLEncoding encoding) const override;
    [[nodiscard]] std::unique_ptr<XMLParser> makeParser(XMLParserDelegate& delegate) const override;
};
