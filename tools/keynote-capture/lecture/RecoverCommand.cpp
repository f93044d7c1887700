#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/DeckFiles.h"
#include "tools/keynote-capture/EventWriter.h"
#include "tools/keynote-capture/Inbox.h"
#include "tools/keynote-capture/RecordedShow.h"
#include "tools/keynote-capture/lecture/LectureFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

void tell(const fs::path& directory, const std::string& sentence) {
    fmt::print("{}: {}\n", printable(directory), sentence);
    std::fflush(stdout);
}

/// What was there when the recovery began.
struct Before {
    explicit Before(const RecordedShow& show) : missing(show.missingImages()), hadText(show.hasText()) {}

    std::vector<std::string> missing;
    bool hadText;
};

/// One presentation after the other. The service is asked only where something is missing that the files do not hold.
class Recovery {
public:
    explicit Recovery(Inbox& inbox) : inbox_(inbox) {}

    /// Nothing when the recovery goes on, or the exit status of an interruption.
    std::optional<ExitStatus> recover(const fs::path& directory) {
        if (host::isBeingWritten(directory / ShowJournal::kFileName)) {
            fail(directory, translated("It is being recorded, and left alone."));
            return std::nullopt;
        }
        auto content = readShowJournal(directory);
        if (!content) {
            fail(directory, translated("The beginning of its timeline is lost; nothing can be made of it."));
            return std::nullopt;
        }
        RecordedShow show(directory, *std::move(content));
        const Before before(show);
        while (show.state() == RecordedShow::State::lacking) {
            if (const auto status = mend(show)) return status;
        }
        report(directory, show, before);
        return std::nullopt;
    }

    [[nodiscard]] ExitStatus status() const { return status_; }

private:
    std::optional<ExitStatus> mend(RecordedShow& show) {
        if (serviceFailure_) {
            show.giveUp();
            return std::nullopt;
        }
        const auto archive = show.archive();
        show.mend();
        // For each a connection of its own: what an earlier extraction still does cannot be taken for this one's.
        const auto client = host::CaptureServiceClient::connect(
            inbox_, [this] { inbox_.post(ServiceLost{}); }, serviceFailure_);
        if (client) {
            client->extractSlideFiles(show.missingImages(), archive.native(),
                                      [this](const ErrorPtr& error) { inbox_.post(RequestRefused{error}); });
            if (const auto status = waitFor(archive)) return status;
        }
        if (serviceFailure_) {
            show.giveUp();
        } else {
            show.mended();
        }
        return std::nullopt;
    }

    std::optional<ExitStatus> waitFor(const fs::path& archive) {
        for (;;) {
            const Event event = inbox_.next();
            if (const auto* const refused = std::get_if<RequestRefused>(&event)) {
                serviceFailure_ = refused->error;
                return std::nullopt;
            }
            if (std::holds_alternative<ServiceLost>(event)) return std::nullopt;
            if (std::holds_alternative<Interrupted>(event)) {
                complain(translated("Interrupted; what is missing can be made by another recovery."));
                return kOperationFailed;
            }
            const auto* const call = std::get_if<host::DelegateCall>(&event);
            const auto* const extracted = call != nullptr ? std::get_if<host::ExtractedSlideFiles>(call) : nullptr;
            if (extracted != nullptr && extracted->presentationPath == archive) return std::nullopt;
        }
    }

    void report(const fs::path& directory, const RecordedShow& show, const Before& before) {
        const Before after(show);
        std::vector<std::string> made;
        std::ranges::set_difference(before.missing, after.missing, std::back_inserter(made));
        if (after.hadText && !before.hadText) made.push_back(capture::textFileName(show.archive().filename()));
        for (const auto& file : show.leaves().written) {
            made.push_back(file.parent_path() == directory ? file.filename() : file);
        }
        for (auto& name : made) name = printableText(name);
        const auto names = fmt::format("{}", fmt::join(made, ", "));
        tell(directory, made.empty() ? translated("Nothing was to be done.") : translated("Made {}.", names));
        const auto reason = whyNot(show);
        if (!after.missing.empty()) fail(directory, translated("{} cannot be made: {}", listOf(after.missing), reason));
        if (!after.hadText) tell(directory, translated("There is no text of the slides: {}", reason));
        if (!show.leaves().problem.empty()) fail(directory, show.leaves().problem);
        if (serviceFailure_ && (!after.missing.empty() || !after.hadText)) status_ = kNoService;
    }

    [[nodiscard]] std::string whyNot(const RecordedShow& show) const {
        if (!show.hasArchive()) return translated("the show was lost before its archive copy was saved.");
        if (serviceFailure_) return sentenceFor(*serviceFailure_);
        return translated("the presentation program does not make them from the archive copy.");
    }

    void fail(const fs::path& directory, const std::string& sentence) {
        tell(directory, sentence);
        if (status_ == kDone) status_ = kOperationFailed;
    }

    Inbox& inbox_;
    ErrorPtr serviceFailure_;  ///< nobody answers, which another try would not change
    ExitStatus status_ = kDone;
};

}  // namespace

ExitStatus recover(const RecoverOptions& options) {
    const auto presentations = presentationsIn(options.directory);
    if (presentations.empty()) {
        complain(translated("There is no timeline in {}; name a directory that `record` has written to.",
                            printable(options.directory)));
        return kOperationFailed;
    }
    Inbox inbox;
    Recovery recovery(inbox);
    for (const auto& presentation : presentations) {
        if (const auto status = recovery.recover(presentation)) return *status;
    }
    return recovery.status();
}

}  // namespace keynote_capture
