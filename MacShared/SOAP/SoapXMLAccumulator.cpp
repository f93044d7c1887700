#include "MacShared/SOAP/SoapXMLAccumulator.h"

#include "MacShared/NSBundle+VELLogAdditions.h"

#include <utility>

namespace {

constexpr const char* kResponseKey = "response";

/// The children of an element that has closed. Servers choose how many elements are empty, so these take no memory.
std::shared_ptr<const shared::SoapDictionary> settled(std::shared_ptr<shared::SoapDictionary> children) {
    static const auto kNone = std::make_shared<const shared::SoapDictionary>();
    children->removeNulls();
    if (children->empty()) return kNone;
    if (children->isRoomy()) return std::make_shared<const shared::SoapDictionary>(std::move(*children).fitted());
    return children;
}

}  // namespace

/// The dictionary that the element's children go to. It gets room for as many as the last element at this depth had,
/// because the rows of a table have the same columns.
shared::SoapDictionary& SoapXMLAccumulator::Frame::children() {
    if (!dict) {
        dict = std::make_shared<shared::SoapDictionary>();
        dict->reserve(likelySize);
    }
    return *dict;
}

SoapXMLAccumulator::SoapXMLAccumulator(std::string responseTag, std::string andResultTag)
    : response_(std::move(responseTag)), result_(std::move(andResultTag)) {}

void SoapXMLAccumulator::parserDidStartElement(std::string_view elementName) {
    if (!value_ && elementName == response_) {
        value_.emplace();
        open(kResponseKey);
    } else if (depth_ > 0) {
        open(elementName);
    }
}

void SoapXMLAccumulator::open(std::string_view key) {
    // Frames are used again: a response has few levels and masses of elements.
    if (depth_ == stack_.size()) stack_.emplace_back();
    stack_[depth_++].key = key;
}

void SoapXMLAccumulator::parserFoundCharacters(std::string_view string) {
    if (depth_ == 0) return;
    auto& frame = stack_[depth_ - 1];
    if (frame.dict) return;  // they stand for the element
    frame.hasText = true;
    frame.value.append(string);
}

void SoapXMLAccumulator::parserDidEndElement(std::string_view /*elementName*/) {
    if (depth_ == 0) return;
    auto& frame = stack_[--depth_];
    if (depth_ == 0) {
        close(frame, *value_);
        settleResponse(frame.key);
    } else {
        close(frame, stack_[depth_ - 1].children());
    }
}

/// Adds the element's content to what its container has under its name: nothing yet, one item, or an array of them.
/// Items are strings and dictionaries, so an array is always one of items. The frame is left as new.
void SoapXMLAccumulator::close(Frame& frame, shared::SoapDictionary& container) {
    auto& items = container[frame.key];
    if (frame.dict) {
        frame.likelySize = frame.dict->size();
        items.append(settled(std::move(frame.dict)));
    } else if (frame.hasText) {
        items.append(std::move(frame.value));
    }
    frame.hasText = false;
    frame.value.clear();
}

void SoapXMLAccumulator::settleResponse(const std::string& key) {
    auto& content = (*value_)[key];
    if (const auto* several = content.array()) {
        VELLog("Unexpected multiple %@ XML Elements in SOAP Response", key);
        content = shared::SoapValue(several->front());
    }
    // A method without a result is a success, and callers look for a dictionary.
    if (content.isNull()) {
        content = shared::SoapDictionary();
    } else if (content == shared::SoapValue(shared::SoapDictionary())) {
        content = shared::SoapDictionary{{result_, shared::SoapDictionary()}};
    }
}

void SoapXMLAccumulator::parserParseErrorOccurred(const ErrorPtr& /*parseError*/) {
    VELLog("%s", "-[SoapXMLAccumulator parser:parseErrorOccurred:]");
    VELLog("XML parsing error occurred");
}

shared::SoapDictionary SoapXMLAccumulator::Value() const {
    return value_.value_or(shared::SoapDictionary());
}
