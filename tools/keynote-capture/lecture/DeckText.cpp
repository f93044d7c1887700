#include "tools/keynote-capture/lecture/DeckText.h"

#include "ports/XML.h"
#include "ports/XMLParser.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>
#include <utility>

namespace keynote_capture {
namespace {

/// Takes the slides from the elements as they come.
class SlideReader final : public XMLParserDelegate {
public:
    std::vector<SlideText> slides;
    bool isSound = true;

private:
    void parserDidStartElement(std::string_view name) override {
        text_.clear();
        if (name == "Slide") slide_ = {};
        if (name == "Slide" || name == "TextItems" || name == "Tables") lines_.clear();
        if (name == "Row") row_.clear();
    }

    void parserDidEndElement(std::string_view name) override {
        if (name == "Title") slide_.title = text_;
        if (name == "Body") slide_.body = text_;
        if (name == "Notes") slide_.notes = text_;
        if (name == "IsSkipped") slide_.isHidden = text_ == "1";
        if (name == "Number") std::from_chars(text_.data(), text_.data() + text_.size(), slide_.number);
        if (name == "TextItem") lines_.push_back(text_);
        if (name == "Cell") row_ += (row_.empty() ? "" : "\t") + text_;
        if (name == "Row") lines_.push_back(row_);
        if (name == "TextItems") items_ = std::exchange(lines_, {});
        if (name == "Tables") tables_ = std::exchange(lines_, {});
        if (name == "Slide") endSlide();
        text_.clear();
    }

    void parserFoundCharacters(std::string_view string) override { text_ += string; }
    void parserParseErrorOccurred(const ErrorPtr& /*error*/) override { isSound = false; }

    /// The program tells title and body among the text items, too.
    void endSlide() {
        for (auto* const more : {&items_, &tables_}) {
            for (const auto& line : *more) {
                if (line.empty() || line == slide_.title || line == slide_.body) continue;
                slide_.body += (slide_.body.empty() ? "" : "\n") + line;
            }
            more->clear();
        }
        slides.push_back(std::move(slide_));
    }

    SlideText slide_;
    std::string text_;
    std::string row_;
    std::vector<std::string> lines_;
    std::vector<std::string> items_;
    std::vector<std::string> tables_;
};

}  // namespace

std::optional<std::size_t> DeckText::indexOf(std::int64_t number) const {
    const auto found = std::ranges::find(slides, number, &SlideText::number);
    if (found == slides.end()) return std::nullopt;
    return static_cast<std::size_t>(std::distance(slides.begin(), found));
}

std::optional<DeckText> deckTextFrom(std::string_view xml, const XMLServices& services) {
    SlideReader reader;
    const auto parser = services.makeParser(reader);
    const bool isWhole = parser->parse(xml) && parser->finish();
    if (!isWhole || !reader.isSound || reader.slides.empty()) return std::nullopt;
    return DeckText{std::move(reader.slides)};
}

}  // namespace keynote_capture
