#pragma once

#include "ports/XMLParser.h"

#include <libxml/parser.h>
#include <cstddef>
#include <memory>
#include <string>

/// Events from libxml2's push parser in version 1 of its interface, which knows no name spaces.
class LibXmlParser final : public XMLParser {
public:
    explicit LibXmlParser(XMLParserDelegate& delegate);

    bool parse(std::string_view piece) override;
    bool finish() override;

private:
    struct Free {
        void operator()(xmlParserCtxt* context) const;
    };

    static LibXmlParser& self(void* parser) { return *static_cast<LibXmlParser*>(parser); }
    static xmlSAXHandler handler();
    static void startElement(void* parser, const xmlChar* name, const xmlChar** attributes) noexcept;
    static void endElement(void* parser, const xmlChar* name) noexcept;
    static void characters(void* parser, const xmlChar* text, int length) noexcept;
    static void reference(void* parser, const xmlChar* name) noexcept;
    static void conversionFailed(void* parser, const char* format, ...) noexcept;

    void feed(std::string_view piece, bool last);
    [[nodiscard]] bool hasHugeToken() const;
    void refuse(const std::string& reason);
    void fail(int code, const std::string& reason);

    XMLParserDelegate& delegate_;
    std::unique_ptr<xmlParserCtxt, Free> context_;
    std::string held_;  ///< the open end of the last piece
    std::size_t depth_ = 0;
    bool failed_ = false;
};
