#include "platform/linux/files/PropertyList.h"

#include "platform/linux/text/LibXmlParser.h"

#include <cstddef>
#include <cstdlib>
#include <optional>
#include <utility>

namespace files {

namespace {

/// Takes down the scalars of the top dictionary, which stands in a `plist` element or alone, while the document passes
/// by: what is nested in it costs neither stack nor memory.
class TopDictionary final : public XMLParserDelegate {
public:
    void parserDidStartElement(std::string_view elementName) override {
        // Not counted: the dictionary stands in it or is the document itself.
        if (depth_ == 0 && elementName == "plist") return;
        if (depth_ == 0) isDictionary_ = elementName == "dict";
        ++depth_;
        if (depth_ == kEntries) text_.clear();
    }

    void parserFoundCharacters(std::string_view string) override {
        if (depth_ == kEntries) text_ += string;
    }

    void parserDidEndElement(std::string_view elementName) override {
        if (depth_ == 0) return;  // the end of the plist element
        if (depth_ == kEntries && isDictionary_) takeEntry(elementName);
        --depth_;
    }

    void parserParseErrorOccurred(const ErrorPtr& /*parseError*/) override { scalars.clear(); }

    PropertyScalars scalars;

private:
    static constexpr std::size_t kEntries = 2;  ///< how deep the keys and values of the top dictionary stand

    void takeEntry(std::string_view elementName) {
        if (elementName == "key") {
            key_ = std::move(text_);
            return;
        }
        auto value = scalar(elementName);
        if (key_ && value) scalars.insert_or_assign(std::move(*key_), std::move(*value));
        key_.reset();
    }

    std::optional<PropertyScalars::mapped_type> scalar(std::string_view elementName) {
        if (elementName == "string") return std::move(text_);
        if (elementName == "true" || elementName == "false") return elementName == "true";
        // Decimal or hexadecimal, as lists may have it.
        if (elementName == "integer") return std::strtoull(text_.c_str(), nullptr, 0) != 0;
        return std::nullopt;
    }

    std::size_t depth_ = 0;
    bool isDictionary_ = false;
    std::string text_;
    std::optional<std::string> key_;  ///< the one whose value comes next
};

}  // namespace

PropertyScalars xmlPropertyScalars(std::string_view contents) {
    TopDictionary reader;
    text::LibXmlParser parser(reader);
    if (parser.parse(contents)) parser.finish();
    return std::move(reader.scalars);
}

}  // namespace files
