#include "tools/keynote-capture/RecordedShow.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "ports/CaptureNames.h"
#include "tools/keynote-capture/DeckFiles.h"
#include "tools/keynote-capture/EventWriter.h"
#include "tools/keynote-capture/FileDigest.h"
#include "tools/keynote-capture/lecture/LectureFiles.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

constexpr int kMostAttempts = 2;

/// What comes over the bus names a directory below the capture directory, and nothing else.
bool isFileName(const std::string& text) {
    return !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
}

fs::path directoryOf(const fs::path& captureDirectory, const std::optional<std::string>& presentationID) {
    return presentationID && isFileName(*presentationID) ? captureDirectory / *presentationID : fs::path();
}

std::optional<std::string> fileNameOrNothing(const std::optional<std::string>& name) {
    return name && isFileName(*name) ? name : std::nullopt;
}

/// Whether the end of a JPEG file is there, as it may not be after a power cut or when its program died. Its marker
/// never occurs in an image's data (ITU T.81, B.1.1.5); a program may write something behind it.
bool isWholeImage(const fs::path& file) {
    constexpr std::streamoff kMostBehind = 4096;
    std::ifstream image(file, std::ios::binary | std::ios::ate);
    image.seekg(std::max<std::streamoff>(image.tellg() - kMostBehind, 0));
    const std::string end{std::istreambuf_iterator<char>(image), {}};
    return end.find("\xFF\xD9") != std::string::npos;
}

}  // namespace

RecordedShow::RecordedShow(const fs::path& captureDirectory, const RecorderFacts& facts,
                           const host::StartedPresenting& call)
    : presentationID_(call.presentationID),
      directory_(directoryOf(captureDirectory, call.presentationID)),
      deck_(call.originalDocumentPath),
      archive_(fileNameOrNothing(call.archive)),
      journal_(directory_),
      startError_(call.error) {
    journal_.writeHeader(facts, call);
    journal_.write(call);
    noteDeckFile();
}

RecordedShow::RecordedShow(fs::path directory, JournalContent content)
    : presentationID_(directory.filename()),
      directory_(std::move(directory)),
      deck_(std::move(content.deck)),
      archive_(fileNameOrNothing(content.archive)),
      journal_(directory_),
      slides_(std::move(content.slides)),
      started_(content.hasEnded ? std::nullopt : content.started),
      wasLost_(true),
      archiveDigest_(std::move(content.archiveDigest)),
      finished_(std::move(content.finished)) {
    if (!content.hasEnded && !finished_) journal_.writeUnseen("Its recorder has gone.");
    settle();
}

void RecordedShow::note(const host::DelegateCall& call) {
    if (const auto* slide = std::get_if<host::PresentedSlide>(&call); slide != nullptr && slide->number > 0) {
        slides_.insert(slide->number);
    }
    journal_.write(call);
}

void RecordedShow::note(const TimelineReport& report) {
    if (report.entry.event == TimelineEvent::showStarted) started_ = report.entry.at;
    if (report.entry.event == TimelineEvent::slideShown) slides_.insert(report.entry.slideNumber);
    journal_.write(report);
    if (report.entry.event == TimelineEvent::showEnded) noteDeckFile();
}

void RecordedShow::end(const host::StoppedPresenting& call) {
    journal_.write(call);
    endError_ = call.error;
    settle();
}

void RecordedShow::lose(const std::string& reason) {
    if (state_ == State::mending) return mended();
    if (state_ == State::running) {
        wasLost_ = hasGap_ = true;
        journal_.writeUnseen(reason);
        settle();
    }
}

void RecordedShow::mend() {
    state_ = State::mending;
    // An image is never moved over anything, not even over half of itself.
    std::error_code failure;
    for (const auto& name : missingImages())
        fs::rename(directory_ / name, directory_ / ("." + name + ".half"), failure);
}

void RecordedShow::mended() {
    ++attempts_;
    settle();
}

/// What is to become of it, now that the service does nothing for it any more.
void RecordedShow::settle() {
    if (attempts_ == 0) noteArchive();
    state_ = State::lacking;
    if (!canBeMended()) finish();
}

void RecordedShow::finish() {
    state_ = State::done;
    const auto missing = missingImages();
    const Json finished{{"images", slides_.size() - missing.size()}, {"missing", missing}};
    if (hasDirectory()) leaves_ = makeLeaves(directory_);
    // The last line, of a show that nobody looks after any more: by then all of it is there for good.
    syncFiles();
    if (finished != finished_) journal_.write("finished", finished);
    finished_ = finished;
}

/// Programs write images and archive copies, and no program syncs what it writes.
void RecordedShow::syncFiles() const {
    std::error_code failure;
    if (directory_.empty()) return;
    for (const auto& entry : fs::directory_iterator(directory_, failure)) host::sync(entry.path());
    host::sync(directory_);
}

bool RecordedShow::continues(const RecordedShow& lost) const {
    if (!lost.wasLost_ || !started_ || !lost.started_ || deck_ != lost.deck_) return false;
    // It began when the lost one began. Without the program's own times all that is known is that it ran already.
    return started_->with(*lost.started_) || (!started_->earliest && started_->latest >= lost.started_->latest);
}

void RecordedShow::writeContinues(const RecordedShow& lost) {
    journal_.write("continues", {{"presentationID", lost.presentationID_.value_or("")}});
}

std::vector<std::string> RecordedShow::missingImages() const {
    std::vector<std::string> missing;
    if (!hasDirectory()) return missing;
    for (const auto slide : slides_) {
        auto name = capture::imageFileName(slide);
        if (!isWholeImage(directory_ / name)) missing.push_back(std::move(name));
    }
    return missing;
}

std::optional<std::string> RecordedShow::problem() const {
    const auto missing = missingImages();
    const auto name = printable(directory_);
    if (!missing.empty()) return translated("{} lacks {}.", name, listOf(missing));
    if (state_ == State::running) return translated("The show in {} was given up before its end.", name);
    if (startError_) return sentenceFor(*startError_);
    // Images that were missing may have been made since.
    if (endError_ && !hasDirectory()) return sentenceFor(*endError_);
    if (hasGap_) return translated("The capture service left during the show; the timeline in {} has a gap.", name);
    if (!journal_.isComplete()) return translated("The timeline in {} is not complete.", name);
    return std::nullopt;
}

bool RecordedShow::hasDirectory() const {
    std::error_code failure;
    return !directory_.empty() && fs::is_directory(directory_, failure);
}

bool RecordedShow::canBeMended() const {
    return attempts_ < kMostAttempts && hasArchive() && (!missingImages().empty() || !hasText());
}

bool RecordedShow::hasText() const {
    return archive_ && readDeckText(archive());
}

bool RecordedShow::hasArchive() const {
    std::error_code failure;
    // The service leaves the file empty when there was nothing to save.
    return hasDirectory() && archive_ && fs::is_regular_file(archive(), failure) &&
           fs::file_size(archive(), failure) > 0 && !failure;
}

/// When the deck is saved during the show, its images may differ from the archive copy.
void RecordedShow::noteDeckFile() {
    std::error_code failure;
    if (!deck_ || !fs::is_regular_file(*deck_, failure)) return;
    const auto time = fs::last_write_time(*deck_, failure);
    const auto size = failure ? 0 : fs::file_size(*deck_, failure);
    if (failure) return;
    const auto modified = std::chrono::floor<Date::duration>(std::chrono::file_clock::to_sys(time));
    journal_.write("deckFile", {{"modified", jsonOf(modified)}, {"size", size}});
}

/// Only now: the program saves the archive copy while the show runs.
void RecordedShow::noteArchive() {
    const auto digest = archive_ ? sha256Of(archive()) : std::nullopt;
    if (!digest || digest == archiveDigest_) return;
    syncFiles();
    journal_.write("archived", {{"archive", *archive_}, {"sha256", *digest}});
}

}  // namespace keynote_capture
