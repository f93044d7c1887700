#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/DateParts.h"
#include "tools/keynote-capture/EventWriter.h"

#include <fmt/chrono.h>

#include <utility>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kWhatColumn = 14;
/// What is behind it is at most 51 columns wide where it is in the capture directory.
constexpr std::size_t kDetailsColumn = 29;

/// The columns of one line.
struct Line {
    std::string what;
    std::string details;
    ErrorPtr error;
    std::optional<Date> at;  ///< now when there is none
};

std::string clockTime(Date date) {
    const auto [second, microsecond] = partsOf(date);
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(second), microsecond / 1000);
}

class Columns {
public:
    explicit Columns(const fs::path& captureDirectory) : captureDirectory_(captureDirectory) {}

    Line operator()(const host::ProgramLaunched&) const { return {translated("program found"), {}, {}, {}}; }
    Line operator()(const host::ProgramTerminated&) const { return {translated("program gone"), {}, {}, {}}; }
    Line operator()(const host::StartedPresenting& call) const {
        auto details = shortened(call.originalDocumentPath);
        if (call.archive && call.presentationID) {
            // Below the path, and by the directory alone: both names together would fill two lines.
            details += details.empty() ? "" : '\n' + std::string(kDetailsColumn, ' ');
            details += translated("archived in {}", printableText(*call.presentationID));
        }
        return {translated("show started"), std::move(details), call.error, {}};
    }
    Line operator()(const host::PresentedSlide& call) const {
        return {translated("slide {}", call.number), shortened(call.imageFilePath), {}, call.at};
    }
    Line operator()(const host::ExtractedSlideFiles& call) const {
        return {translated("extracted"), shortened(fs::path(call.presentationPath)), call.error, {}};
    }
    Line operator()(const host::SavingEnded& call) const {
        return {translated("saving ended"), call.error ? "" : translated("everything is saved"), call.error, {}};
    }
    Line operator()(const host::StoppedPresenting& call) const {
        auto details = call.error ? "" : translated("all slide images are in place");
        return {translated("show ended"), std::move(details), call.error, {}};
    }

private:
    /// As a path in the capture directory where it is one.
    [[nodiscard]] std::string shortened(const std::optional<fs::path>& path) const {
        if (!path) return {};
        const auto relative = path->lexically_relative(captureDirectory_);
        const bool isInside = !captureDirectory_.empty() && !relative.empty() && *relative.begin() != "..";
        return printable(isInside ? relative : *path);
    }

    const fs::path& captureDirectory_;
};

class TextEventWriter final : public EventWriter {
public:
    explicit TextEventWriter(std::filesystem::path captureDirectory) : captureDirectory_(std::move(captureDirectory)) {}

private:
    std::string lineFor(const host::DelegateCall& call) const override {
        const Line line = std::visit(Columns(captureDirectory_), call);
        // Only a slide has a time of its own; other calls are told when they happen.
        const Date now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
        auto text = fmt::format("{}  {:<{}}{}", clockTime(line.at.value_or(now)), line.what,
                                kDetailsColumn - kWhatColumn, line.details);
        // Columns that are empty at the end leave blanks, which terminals and comparisons do not want.
        text.erase(text.find_last_not_of(' ') + 1);
        if (line.error)
            text += (line.details.empty() ? "  " : ", ") + translated("error: {}", sentenceFor(*line.error));
        return text + '\n';
    }

    const std::filesystem::path captureDirectory_;
};

}  // namespace

std::unique_ptr<EventWriter> makeTextEventWriter(std::filesystem::path captureDirectory) {
    return std::make_unique<TextEventWriter>(std::move(captureDirectory));
}

}  // namespace keynote_capture
