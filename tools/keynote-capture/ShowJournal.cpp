#include "tools/keynote-capture/ShowJournal.h"

#include "base/FileURL.h"
#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/lecture/JournalLine.h"

#include <fmt/format.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <utility>

namespace keynote_capture {
namespace {

constexpr int kVersion = 1;
constexpr const char* kBootID = "/proc/sys/kernel/random/boot_id";

Date now() {
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

/// The steady clock begins anew with each start of the computer; this tells them apart.
std::string bootID() {
    std::ifstream file(kBootID);
    std::string id;
    std::getline(file, id);
    return id;
}

std::int64_t steadyMicroseconds() {
    return jsonOf(TimeBounds{{}, std::chrono::steady_clock::now()}).at(1).get<std::int64_t>();
}

}  // namespace

ShowJournal::ShowJournal(const std::filesystem::path& directory) : path_(directory / kFileName) {
    std::error_code failure;
    if (!std::filesystem::is_directory(directory, failure)) return;
    file_ = host::Journal::open(path_);
    if (file_) return;
    isComplete_ = false;
    complain(translated("The timeline cannot be written to {} ({}).", printable(path_), std::strerror(errno)));
}

void ShowJournal::writeHeader(const RecorderFacts& facts, const host::StartedPresenting& show) {
    append({{"timeline", kVersion},
            {"recordingID", facts.recordingID},
            {"presentationID", show.presentationID.value_or("")},
            {"deck", jsonOf(show.originalDocumentPath)},
            {"archive", jsonOf(show.archive)},
            {"tool", facts.toolVersion},
            {"service", jsonOf(facts.serviceVersion)},
            {"clocks", {{"wall", jsonOf(now())}, {"steady", steadyMicroseconds()}, {"boot", bootID()}}}});
}

void ShowJournal::write(const host::DelegateCall& call) {
    append(jsonOf(call));
}

void ShowJournal::write(const TimelineReport& report) {
    append(jsonOf(report));
}

void ShowJournal::writeUnseen(const std::string& reason) {
    const auto passed = [](Instant since) {
        return std::chrono::duration_cast<Date::duration>(std::chrono::steady_clock::now() - since);
    };
    TimelineReport report{
        {TimelineEvent::unseenFrom, {lastReceived_, std::chrono::steady_clock::now()}, 0, {}}, {}, {}, {}, now()};
    if (lastReceived_) report.earliest = now() - passed(*lastReceived_);
    auto line = jsonOf(report);
    line["reason"] = reason;
    append(std::move(line));
}

void ShowJournal::write(const char* event, const Json& fields) {
    Json line{{"event", event}};
    line.update(fields);
    append(std::move(line));
}

void ShowJournal::append(Json line) {
    // Without a directory there is no capture to tell of; why there is none was told with the show's start.
    if (!file_) return;
    lastReceived_ = std::chrono::steady_clock::now();
    line["received"] = jsonOf(now());
    if (file_->append(lineOf(line))) return;
    if (std::exchange(isComplete_, false)) {
        complain(translated("The timeline {} lacks a line ({}); see that the disk has room.", printable(path_),
                            std::strerror(errno)));
    }
}

std::optional<JournalContent> readShowJournal(const std::filesystem::path& directory) {
    const auto lines = objectsFrom(host::journalLines(directory / ShowJournal::kFileName));
    if (lines.empty() || member<int>(lines.front(), "timeline") != kVersion) return std::nullopt;
    JournalContent content;
    content.deck = pathFromURL(member<std::string>(lines.front(), "deck").value_or(""));
    content.archive = member<std::string>(lines.front(), "archive");
    const auto clocks = lines.front().find("clocks");
    const bool isThisBoot =
        clocks != lines.front().end() && clocks->is_object() && member<std::string>(*clocks, "boot") == bootID();
    // Whoever wrote it, the file may have been edited or damaged since: members of other types count as missing.
    for (const auto& line : lines) {
        const auto event = member<std::string>(line, "event").value_or("");
        const auto slide = member<std::int64_t>(line, "slide");
        const auto polled = member<std::int64_t>(line, "presentedSlide");
        if (slide.value_or(polled.value_or(0)) > 0) content.slides.insert(slide ? *slide : *polled);
        if (event == "showStarted" && isThisBoot) content.started = steadyBounds(line);
        if (event == "showEnded") content.hasEnded = true;
        if (event == "archived") content.archiveDigest = member<std::string>(line, "sha256");
        if (event == "finished") {
            content.finished =
                Json{{"images", line.value("images", Json())}, {"missing", line.value("missing", Json())}};
        }
    }
    return content;
}

}  // namespace keynote_capture
