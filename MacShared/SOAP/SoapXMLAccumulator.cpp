#include "MacShared/SOAP/SoapXMLAccumulator.h"

#include "MacShared/NSBundle+VELLogAdditions.h"

namespace {

constexpr const char* kResponseKey = "response";

}  // namespace

SoapXMLAccumulator::SoapXMLAccumulator(std::string responseTag, std::string andResultTag)
    : response_(std::move(responseTag)), result_(std::move(andResultTag)) {}

void SoapXMLAccumulator::parserDidStartElement(std::string_view elementName) {
    const bool isResponse = !value_ && elementName == response_;
    if (isResponse) {
        stack_.emplace();
        value_.emplace();
    }
    if (stack_) stack_->push_back({std::string(isResponse ? kResponseKey : elementName), {}, {}});
}

void SoapXMLAccumulator::parserFoundCharacters(std::string_view string) {
    if (!stack_) return;
    auto& text = stack_->back().value;
    if (text) {
        text->append(string);
    } else {
        text.emplace(string);
    }
}

void SoapXMLAccumulator::parserDidEndElement(std::string_view /*elementName*/) {
    if (!stack_) return;
    Frame frame = std::move(stack_->back());
    stack_->pop_back();
    if (!stack_->empty()) {
        auto& container = stack_->back().dict;
        if (!container) container.emplace();
        close(std::move(frame), *container);
        return;
    }
    stack_.reset();
    const auto key = frame.key;
    close(std::move(frame), *value_);
    settleResponse(key);
}

/// Adds the element's content to what its container has under its name: nothing yet, one item, or an array of them.
/// Items are strings and dictionaries, so an array is always one of items.
void SoapXMLAccumulator::close(Frame frame, SoapDictionary& container) {
    auto& items = container[std::move(frame.key)];
    if (frame.dict) {
        frame.dict->removeNulls();
        items.append(std::move(*frame.dict));
    } else if (frame.value) {
        items.append(std::move(*frame.value));
    }
}

void SoapXMLAccumulator::settleResponse(const std::string& key) {
    auto& content = (*value_)[key];
    if (const auto* several = content.array()) {
        VELLog("Unexpected multiple %@ XML Elements in SOAP Response", key);
        content = SoapValue(several->front());
    }
    if (content.isNull()) {
        content = SoapDictionary();
    } else if (content == SoapValue(SoapDictionary())) {
        content = SoapDictionary{{result_, SoapDictionary()}};
    }
}

void SoapXMLAccumulator::parserParseErrorOccurred(const ErrorPtr& /*parseError*/) {
    VELLog("%s", "-[SoapXMLAccumulator parser:parseErrorOccurred:]");
    VELLog("XML parsing error occurred");
}

SoapDictionary SoapXMLAccumulator::Value() const {
    return value_.value_or(SoapDictionary());
}
