#include "tools/keynote-capture/EventJSON.h"
#include "tools/keynote-capture/EventWriter.h"

#include <utility>

namespace keynote_capture {
namespace {

/// The delegate's name of an event that had another before; the others have always had the delegate's.
const char* currentNameOf(const std::string& event) {
    if (event == "slideDeck") return "slideDeckPresentedSlide";
    if (event == "failedToSaveArchiveDocument") return "failedToSaveArchiveDocumentError";
    return nullptr;
}

class JSONEventWriter final : public EventWriter {
    std::string lineFor(const host::DelegateCall& call) const override { return outputLineOf(call); }
};

}  // namespace

std::string outputLineOf(const host::DelegateCall& call) {
    auto json = jsonOf(call);
    const std::string event = json["event"];
    if (const char* name = currentNameOf(event)) {
        json["event"] = name;
        json["formerEvent"] = event;
    }
    return outputLineOf(std::move(json));
}

std::unique_ptr<EventWriter> makeJSONEventWriter() {
    return std::make_unique<JSONEventWriter>();
}

}  // namespace keynote_capture
