#pragma once

#include "ports/XMLParser.h"

#include <cstddef>
#include <string>
#include <vector>

/// Reads a plain document in UTF-8 once it is whole: elements, character data with the five entities, CDATA sections.
/// Declarations and comments are skipped; a tag that does not match and any other reference are parse errors.
class SimulatedXMLParser final : public XMLParser {
public:
    explicit SimulatedXMLParser(XMLParserDelegate& delegate) : delegate_(delegate) {}

    bool parse(std::string_view piece) override;
    bool finish() override;

private:
    [[nodiscard]] bool read();
    [[nodiscard]] bool readMarkup();
    [[nodiscard]] bool readTag(std::string_view tag);
    [[nodiscard]] bool readText(std::string_view text);
    /// Takes what stands before the mark, and the mark; all of the rest when there is none.
    std::string_view takeUntil(std::string_view mark);

    XMLParserDelegate& delegate_;
    std::string document_;
    std::string_view rest_;
    std::vector<std::string_view> open_;
    std::size_t elements_ = 0;
};
