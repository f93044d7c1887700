#include "tools/keynote-capture/EventJSON.h"
#include "tools/keynote-capture/EventWriter.h"

namespace keynote_capture {
namespace {

class JSONEventWriter final : public EventWriter {
    std::string lineFor(const host::DelegateCall& call) const override { return lineOf(jsonOf(call)); }
};

}  // namespace

std::unique_ptr<EventWriter> makeJSONEventWriter() {
    return std::make_unique<JSONEventWriter>();
}

}  // namespace keynote_capture
