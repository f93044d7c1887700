#include "platform/simulated/SimulatedXMLParser.h"

#include <algorithm>
#include <map>

namespace {

const std::map<std::string_view, std::string_view> kEntities = {
    {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"apos", "'"}, {"quot", "\""}};

}  // namespace

bool SimulatedXMLParser::parse(std::string_view piece) {
    document_ += piece;
    return true;
}

bool SimulatedXMLParser::finish() {
    rest_ = document_;
    if (read() && open_.empty() && elements_ > 0) return true;
    delegate_.parserParseErrorOccurred(makeError(NSXMLParserErrorDomain, 1, "the document is not well-formed"));
    return false;
}

bool SimulatedXMLParser::read() {
    while (!rest_.empty()) {
        const auto text = rest_.substr(0, rest_.find('<'));
        rest_.remove_prefix(text.size());
        if (!readText(text)) return false;
        if (!rest_.empty() && !readMarkup()) return false;
    }
    return true;
}

bool SimulatedXMLParser::readMarkup() {
    if (rest_.starts_with("<?")) return !takeUntil("?>").empty();
    if (rest_.starts_with("<!--")) return !takeUntil("-->").empty();
    if (rest_.starts_with("<![CDATA[")) {
        delegate_.parserFoundCharacters(takeUntil("]]>").substr(9));
        return true;
    }
    return rest_.find('>') != std::string_view::npos && readTag(takeUntil(">").substr(1));
}

bool SimulatedXMLParser::readTag(std::string_view tag) {
    if (tag.starts_with('/')) {
        if (open_.empty() || open_.back() != tag.substr(1)) return false;
        open_.pop_back();
        delegate_.parserDidEndElement(tag.substr(1));
        return true;
    }
    const auto name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
    if (name.empty() || (open_.empty() && elements_ > 0)) return false;
    ++elements_;
    delegate_.parserDidStartElement(name);
    if (tag.ends_with('/')) {
        delegate_.parserDidEndElement(name);
    } else {
        open_.push_back(name);
    }
    return true;
}

bool SimulatedXMLParser::readText(std::string_view text) {
    if (open_.empty()) return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
    while (!text.empty()) {
        const auto plain = text.substr(0, text.find('&'));
        if (!plain.empty()) delegate_.parserFoundCharacters(plain);
        text.remove_prefix(plain.size());
        if (text.empty()) break;
        const auto end = text.find(';');
        const auto entity = kEntities.find(text.substr(1, end - 1));
        if (end == std::string_view::npos || entity == kEntities.end()) return false;
        delegate_.parserFoundCharacters(entity->second);
        text.remove_prefix(end + 1);
    }
    return true;
}

std::string_view SimulatedXMLParser::takeUntil(std::string_view mark) {
    const auto taken = rest_.substr(0, rest_.find(mark));
    rest_.remove_prefix(std::min(rest_.size(), taken.size() + mark.size()));
    return taken;
}
