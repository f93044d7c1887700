#include "base/FileURL.h"
#include "tools/keynote-capture/DateParts.h"
#include "tools/keynote-capture/EventWriter.h"

#include <fmt/chrono.h>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

Json json(const std::optional<std::string>& value) {
    return value ? Json(*value) : Json();
}

Json json(const std::optional<std::filesystem::path>& value) {
    return value ? Json(urlFromPath(*value)) : Json();
}

Json json(const ErrorPtr& error) {
    if (!error) return {};
    return {{"domain", error->domain()}, {"code", error->code()}, {"description", error->localizedDescription()}};
}

/// ISO 8601, UTC, microseconds.
Json json(Date date) {
    const auto [second, microsecond] = partsOf(date);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(second), microsecond);
}

struct JSONFields {
    Json operator()(const host::ProgramLaunched&) const { return Json::object({{"event", "detectedKeynoteLaunched"}}); }
    Json operator()(const host::ProgramTerminated&) const {
        return Json::object({{"event", "detectedKeynoteTerminated"}});
    }
    Json operator()(const host::StartedPresenting& call) const {
        return {{"event", "startedPresenting"},
                {"presentationID", json(call.presentationID)},
                {"originalDocumentPath", json(call.originalDocumentPath)},
                {"archive", json(call.archive)},
                {"error", json(call.error)}};
    }
    Json operator()(const host::PresentedSlide& call) const {
        return {{"event", "slideDeck"},
                {"presentationID", json(call.presentationID)},
                {"presentedSlide", call.number},
                {"at", json(call.at)},
                {"imageFilePathURL", json(call.imageFilePath)}};
    }
    Json operator()(const host::ExtractedSlideFiles& call) const {
        return {{"event", "extractedSlideFilesForPresentation"},
                {"presentation", call.presentationPath},
                {"error", json(call.error)}};
    }
    Json operator()(const host::SavingEnded& call) const {
        if (!call.error) return Json::object({{"event", "savedArchiveDocuments"}});
        return {{"event", "failedToSaveArchiveDocument"}, {"error", json(call.error)}};
    }
    Json operator()(const host::StoppedPresenting& call) const {
        return {
            {"event", "stoppedPresenting"}, {"presentationID", json(call.presentationID)}, {"error", json(call.error)}};
    }
};

class JSONEventWriter final : public EventWriter {
    std::string lineFor(const host::DelegateCall& call) const override {
        return std::visit(JSONFields{}, call).dump(-1, ' ', false, Json::error_handler_t::replace);
    }
};

}  // namespace

std::unique_ptr<EventWriter> makeJSONEventWriter() {
    return std::make_unique<JSONEventWriter>();
}
