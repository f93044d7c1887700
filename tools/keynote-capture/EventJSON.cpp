#include "tools/keynote-capture/EventJSON.h"

#include "base/FileURL.h"
#include "tools/keynote-capture/DateParts.h"

#include <fmt/chrono.h>

namespace keynote_capture {
namespace {

Json json(const ErrorPtr& error) {
    if (!error) return {};
    // The description is for people and may change; domain and code are what programs go by.
    return {{"domain", error->domain()}, {"code", error->code()}, {"description", error->localizedDescription()}};
}

template <typename Time>
std::int64_t microsecondsOf(Time time) {
    return std::chrono::floor<std::chrono::microseconds>(time.time_since_epoch()).count();
}

struct JSONFields {
    Json operator()(const host::ProgramLaunched&) const { return Json::object({{"event", "detectedKeynoteLaunched"}}); }
    Json operator()(const host::ProgramTerminated&) const {
        return Json::object({{"event", "detectedKeynoteTerminated"}});
    }
    Json operator()(const host::StartedPresenting& call) const {
        return {{"event", "startedPresenting"},
                {"presentationID", jsonOf(call.presentationID)},
                {"originalDocumentPath", jsonOf(call.originalDocumentPath)},
                {"archive", jsonOf(call.archive)},
                {"error", json(call.error)}};
    }
    Json operator()(const host::PresentedSlide& call) const {
        return {{"event", "slideDeck"},
                {"presentationID", jsonOf(call.presentationID)},
                {"presentedSlide", call.number},
                {"at", jsonOf(call.at)},
                {"imageFilePathURL", jsonOf(call.imageFilePath)}};
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
        return {{"event", "stoppedPresenting"},
                {"presentationID", jsonOf(call.presentationID)},
                {"error", json(call.error)}};
    }
};

}  // namespace

Json jsonOf(const host::DelegateCall& call) {
    return std::visit(JSONFields{}, call);
}

Json jsonOf(const TimelineReport& report) {
    const auto& [event, at, slide, position] = report.entry;
    Json json{{"event", nameOf(event)}};
    if (event == TimelineEvent::slideShown) json["slide"] = slide;
    if (position) json["position"] = *position;
    json["earliest"] = report.earliest ? jsonOf(*report.earliest) : Json();
    json["latest"] = jsonOf(report.latest);
    json["steady"] = jsonOf(at);
    return json;
}

Json jsonOf(const std::optional<std::string>& text) {
    return text ? Json(*text) : Json();
}

Json jsonOf(Date date) {
    // Seconds and microseconds apart: a floating number of seconds would round.
    const auto [second, microsecond] = partsOf(date);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(second), microsecond);
}

Json jsonOf(const std::optional<std::filesystem::path>& path) {
    return path ? Json(urlFromPath(*path)) : Json();
}

Json jsonOf(const TimeBounds& steady) {
    return Json::array(
        {steady.earliest ? Json(microsecondsOf(*steady.earliest)) : Json(), microsecondsOf(steady.latest)});
}

std::string lineOf(const Json& json) {
    // File names may hold any bytes, and a line that could not be written would be a loss for one letter.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string outputLineOf(Json json) {
    json["version"] = 1;
    return lineOf(json) + '\n';
}

}  // namespace keynote_capture
