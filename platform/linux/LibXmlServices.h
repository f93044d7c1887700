#pragma once

#include "ports/XML.h"

/// XML by libxml2's streaming writer.
class LibXmlServices final : public XMLServices {
public:
    [[nodiscard]] std::string document(const XMLElement& root, XMLEncoding encoding) const override;
};
