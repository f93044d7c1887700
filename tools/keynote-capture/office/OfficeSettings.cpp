#include "tools/keynote-capture/office/OfficeSettings.h"

#include "ports/XML.h"
#include "ports/XMLParser.h"

#include <fmt/format.h>

#include <memory>

namespace keynote_capture {
namespace {

constexpr std::size_t kMostBytes = 64UL << 20U;
constexpr std::string_view kEnd = "</oor:items>";
constexpr std::string_view kItemBegins =
    R"(<item oor:path="/org.openoffice.Setup/Office"><prop oor:name="ooSetupConnectionURL" oor:op="fuse"><value>)";
constexpr std::string_view kItemEnds = "</value></prop></item>\n";

/// Whether the document is one of settings: items, and the end of those at its own end.
class Outline final : public XMLParserDelegate {
public:
    bool isSound = true;

private:
    void parserDidStartElement(std::string_view name) override {
        ++depth_;
        if ((depth_ == 1 && name != "oor:items") || (depth_ == 2 && name != "item")) isSound = false;
    }
    void parserDidEndElement(std::string_view /*name*/) override { --depth_; }
    void parserFoundCharacters(std::string_view /*text*/) override {}
    void parserParseErrorOccurred(const ErrorPtr& /*error*/) override { isSound = false; }

    int depth_ = 0;
};

std::string itemFor(std::string_view connection) {
    return fmt::format("{}{}{}", kItemBegins, connection, kItemEnds);
}

}  // namespace

std::string emptyOfficeSettings() {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<oor:items xmlns:oor="http://openoffice.org/2001/registry" xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
</oor:items>
)";
}

std::string connectionOnPipe(std::string_view pipe) {
    return fmt::format("pipe,name={};urp;", pipe);
}

bool areOfficeSettings(std::string_view settings, const XMLServices& services) {
    if (settings.size() > kMostBytes) return false;
    // Neither a comment nor a second end may be taken for the end of the items.
    const auto end = settings.rfind(kEnd);
    if (end == std::string_view::npos || settings.find("<!--") != std::string_view::npos) return false;
    if (settings.find_first_not_of(" \t\r\n", end + kEnd.size()) != std::string_view::npos) return false;
    Outline outline;
    const auto parser = services.makeParser(outline);
    return parser->parse(settings) && parser->finish() && outline.isSound;
}

std::optional<std::string> connectionIn(std::string_view settings) {
    constexpr std::string_view kName = "oor:name=\"ooSetupConnectionURL\"";
    constexpr std::string_view kValue = "<value>";
    const auto name = settings.find(kName);
    if (name == std::string_view::npos) return std::nullopt;
    const auto item = settings.substr(name, settings.find("</item>", name) - name);
    const auto value = item.find(kValue);
    if (value == std::string_view::npos) return std::string();
    const auto text = item.substr(value + kValue.size());
    return std::string(text.substr(0, text.find('<')));
}

std::string withConnection(std::string_view settings, std::string_view connection) {
    std::string changed(settings);
    return changed.insert(settings.rfind(kEnd), itemFor(connection));
}

std::optional<std::string> withoutConnection(std::string_view settings, std::string_view connection) {
    const auto item = itemFor(connection);
    const auto begin = settings.find(item);
    if (begin == std::string_view::npos) return std::nullopt;
    std::string changed(settings);
    return changed.erase(begin, item.size());
}

}  // namespace keynote_capture
