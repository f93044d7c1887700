#pragma once

#include "ports/XMLParser.h"

#include <libxml/parser.h>
#include <cstddef>
#include <exception>
#include <memory>
#include <string>

namespace text {

/// Events from libxml2's push parser in version 1 of its interface, which knows no namespaces.
class LibXmlParser final : public XMLParser {
public:
    explicit LibXmlParser(XMLParserDelegate& delegate);

    bool parse(std::string_view piece) override;
    bool finish() override;

private:
    struct Free {
        void operator()(xmlParserCtxt* context) const;
    };

    static xmlSAXHandler handler();
    /// All that libxml2 calls goes through here. It is C: what is thrown must not pass, so `feed` throws it on.
    template <class Event>
    static void hear(void* parser, const Event& event) noexcept;
    static void startElement(void* parser, const xmlChar* name, const xmlChar** attributes) noexcept;
    static void characters(void* parser, const xmlChar* text, int length) noexcept;
    static void cdata(void* parser, const xmlChar* text, int length) noexcept;
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
    bool isUnfit_ = false;       ///< the bytes do not fit the encoding, or memory has run out
    std::exception_ptr thrown_;  ///< in the midst of libxml2
};

}  // namespace text
