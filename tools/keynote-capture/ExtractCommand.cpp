#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "host/CaptureServiceClient.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/DeckFiles.h"
#include "tools/keynote-capture/EventJSON.h"
#include "tools/keynote-capture/EventWriter.h"
#include "tools/keynote-capture/Inbox.h"
#include "tools/keynote-capture/OpenDeck.h"
#include "tools/keynote-capture/ProgressLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

namespace keynote_capture {
namespace {

using namespace std::chrono_literals;

/// Images arrive a few times a second; people see the bar move, and the disk is hardly touched.
constexpr auto kLookInterval = 250ms;

/// One extraction: the service is there, the deck is open, the service is asked, images arrive, the service tells the
/// end. Each handler answers the exit status when the event ends it.
class Extraction {
public:
    Extraction(const ExtractOptions& options, Inbox& inbox, host::CaptureServiceClient& client)
        : options_(options), inbox_(inbox), client_(client), files_(options.deck) {}

    std::optional<ExitStatus> operator()(const ServiceAnswered&) {
        show(translated("Opening the deck..."));
        deck_ = std::make_unique<OpenDeck>(files_.deck(), [this](const auto& slides, const ErrorPtr& error) {
            inbox_.post(DeckRead{slides, error});
        });
        return std::nullopt;
    }
    std::optional<ExitStatus> operator()(const DeckRead& read) {
        if (read.error) return failed(sentenceFor(*read.error));
        if (const auto problem = choose(read.slides)) return failed(*problem);
        // Only now, when the deck has been read: nothing is removed for a deck that cannot be opened.
        if (const auto problem = files_.makeRoom(options_.replace)) return failed(*problem);
        // From here on images count; before, old ones could be taken for new.
        isAsked_ = true;
        client_.extractSlideFiles(files_.names(), files_.deck().native(),
                                  [this](const ErrorPtr& error) { inbox_.post(RequestRefused{error}); });
        tellProgress();
        return std::nullopt;
    }
    std::optional<ExitStatus> operator()(const TimedOut&) {
        if (isAsked_) tellProgress();
        return std::nullopt;
    }
    std::optional<ExitStatus> operator()(const host::DelegateCall& call) {
        const auto* extracted = std::get_if<host::ExtractedSlideFiles>(&call);
        if (extracted == nullptr) return std::nullopt;
        tellProgress();
        line_.clear();
        if (options_.json && !makeJSONEventWriter()->write(call)) return failed(translated("Cannot write the events."));
        return finished(extracted->error);
    }
    std::optional<ExitStatus> operator()(const RequestRefused& failure) {
        line_.clear();
        return reported(*failure.error);
    }
    std::optional<ExitStatus> operator()(const ServiceLost&) {
        static_cast<void>(failed(translated("The capture service has gone; the extraction has ended.")));
        return kNoService;
    }
    std::optional<ExitStatus> operator()(const Interrupted&) {
        return failed(translated("Interrupted; images that have arrived stay."));
    }
    template <typename Other>
    std::optional<ExitStatus> operator()(const Other& /*of no interest*/) {
        return std::nullopt;
    }

private:
    void show(const std::string& line) {
        if (!options_.json) line_.show(line);
    }

    ExitStatus failed(const std::string& sentence) {
        line_.clear();
        complain(sentence);
        return kOperationFailed;
    }

    /// Says which images to expect, or why that cannot be.
    std::optional<std::string> choose(const std::vector<std::int64_t>& slides) {
        if (!options_.slides) {
            files_.expect(slides);
            return std::nullopt;
        }
        const std::vector<std::int64_t> asked(options_.slides->begin(), options_.slides->end());
        const auto unknown = std::find_if(asked.begin(), asked.end(), [&slides](std::int64_t slide) {
            return std::find(slides.begin(), slides.end(), slide) == slides.end();
        });
        files_.expect(asked);
        if (unknown == asked.end()) return std::nullopt;
        return translated("The deck has no slide {}; it has {}.", *unknown, slides.size());
    }

    void tellProgress() {
        const std::size_t all = files_.names().size();
        const std::size_t arrived = all - files_.missing().size();
        show(progressBar(arrived, all) + " " +
             translatedCount(all, "{} of {} slide image", "{} of {} slide images", arrived, all));
        // A line for each change, not for each look: its reader may be a program that draws a bar.
        if (!options_.json || arrived == told_) return;
        told_ = arrived;
        fmt::print("{}", outputLineOf(Json{{"event", "progress"}, {"images", arrived}, {"of", all}}));
        std::fflush(stdout);
    }

    /// What the service does not tell is looked up: an image that could not be moved, a text that could not be written.
    ExitStatus finished(const ErrorPtr& error) {
        if (!files_.missing().empty()) {
            const auto reason = error ? sentenceFor(*error) : translated("Not all slide images came.");
            return failed(translated("{} Missing: {}.", reason, listOf(files_.missing())));
        }
        if (error) return failed(sentenceFor(*error));
        const std::string folder = printable(files_.folder());
        const std::string text = printableText(files_.textName());
        if (!files_.hasNewText()) {
            return failed(
                translated("The images are there, but the text {} could not be written; see that nothing "
                           "stands in its place and the disk has room, then pass --replace.",
                           text));
        }
        const std::size_t count = files_.names().size();
        if (!options_.json) {
            fmt::print("{}\n", translatedCount(count, "{} slide image and {} are in {}.",
                                               "{} slide images and {} are in {}.", count, text, folder));
        }
        return kDone;
    }

    const ExtractOptions& options_;
    Inbox& inbox_;
    host::CaptureServiceClient& client_;
    DeckFiles files_;
    ProgressLine line_;
    std::unique_ptr<OpenDeck> deck_;
    bool isAsked_ = false;
    std::optional<std::size_t> told_;
};

}  // namespace

ExitStatus extract(const ExtractOptions& options) {
    if (const auto problem = DeckFiles(options.deck).problem()) {
        complain(*problem);
        return kOperationFailed;
    }
    Inbox inbox;
    ErrorPtr error;
    const auto client = host::CaptureServiceClient::connect(
        inbox, [&inbox] { inbox.post(ServiceLost{}); }, error);
    if (!client) return reported(*error);
    client->checkService([&inbox](const ErrorPtr& failure) {
        inbox.post(failure ? Event(RequestRefused{failure}) : Event(ServiceAnswered{}));
    });
    Extraction extraction(options, inbox, *client);
    for (;;) {
        const Event event = inbox.next(std::chrono::steady_clock::now() + kLookInterval);
        if (const auto status = std::visit(extraction, event)) return *status;
    }
}

}  // namespace keynote_capture
