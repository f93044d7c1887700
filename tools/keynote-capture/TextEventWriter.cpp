#include "commandline/PrintableText.h"
#include "tools/keynote-capture/DateParts.h"
#include "tools/keynote-capture/EventWriter.h"

#include <fmt/chrono.h>

#include <utility>

namespace keynote_capture {
namespace {

/// The columns of one line.
struct Line {
    std::string what;
    std::string slide;
    std::string details;
    ErrorPtr error;
    std::optional<Date> at;  ///< now when there is none
};

std::string clockTime(Date date) {
    const auto [second, microsecond] = partsOf(date);
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(second), microsecond / 1000);
}

std::string printableOrNothing(const std::optional<std::filesystem::path>& path) {
    return path ? printable(*path) : std::string();
}

struct Columns {
    const std::filesystem::path& captureDirectory;

    Line operator()(const host::ProgramLaunched&) const { return {"program found", {}, {}, {}, {}}; }
    Line operator()(const host::ProgramTerminated&) const { return {"program gone", {}, {}, {}, {}}; }
    Line operator()(const host::StartedPresenting& call) const {
        std::string details = printableOrNothing(call.originalDocumentPath);
        if (call.archive && call.presentationID) {
            if (!details.empty()) details += ", ";
            details += "archived as " + printable(captureDirectory / *call.presentationID / *call.archive);
        }
        return {"show started", {}, std::move(details), call.error, {}};
    }
    Line operator()(const host::PresentedSlide& call) const {
        return {"slide", std::to_string(call.number), printableOrNothing(call.imageFilePath), {}, call.at};
    }
    Line operator()(const host::ExtractedSlideFiles& call) const {
        return {"extracted", {}, printableText(call.presentationPath), call.error, {}};
    }
    Line operator()(const host::SavingEnded& call) const {
        return {"saving ended", {}, call.error ? "" : "everything is saved", call.error, {}};
    }
    Line operator()(const host::StoppedPresenting& call) const {
        return {"show ended", {}, call.error ? "" : "all slide images are in place", call.error, {}};
    }
};

class TextEventWriter final : public EventWriter {
public:
    explicit TextEventWriter(std::filesystem::path captureDirectory) : captureDirectory_(std::move(captureDirectory)) {}

private:
    std::string lineFor(const host::DelegateCall& call) const override {
        const Line line = std::visit(Columns{captureDirectory_}, call);
        // Only a slide has a time of its own; other calls are told when they happen.
        const Date now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
        std::string text =
            fmt::format("{}  {:<13} {:>5}  {}", clockTime(line.at.value_or(now)), line.what, line.slide, line.details);
        // Columns that are empty at the end leave blanks, which terminals and comparisons do not want.
        text.erase(text.find_last_not_of(' ') + 1);
        if (line.error) text += (line.details.empty() ? "  error: " : ", error: ") + sentenceFor(*line.error);
        return text + '\n';
    }

    const std::filesystem::path captureDirectory_;
};

}  // namespace

std::unique_ptr<EventWriter> makeTextEventWriter(std::filesystem::path captureDirectory) {
    return std::make_unique<TextEventWriter>(std::move(captureDirectory));
}

}  // namespace keynote_capture
