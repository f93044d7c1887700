#include "tools/keynote-capture/Recording.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace keynote_capture {
namespace {

using namespace std::chrono_literals;
using State = RecordedShow::State;

/// Between two tries to start the service again. The bus itself may take a while to start it.
constexpr auto kRetryInterval = 500ms;
/// A session whose bus is gone for so long has ended.
constexpr auto kMostTimeWithoutBus = 10s;
/// After a start the service finds the program, and asks it, within a few polls.
constexpr auto kFirstLook = 2s;
constexpr auto kReplyTimeout = 25s;
/// A program that runs is found within moments of the start.
constexpr auto kLongestSearch = 5s;

Instant now() {
    return std::chrono::steady_clock::now();
}

}  // namespace

Recording::Recording(const RecordOptions& options, Inbox& inbox, Hook* hook)
    : options_(options),
      inbox_(inbox),
      hook_(hook),
      writer_(options.json ? makeJSONEventWriter() : makeTextEventWriter(options.directory)),
      facts_{options.recordingID, std::string("keynote-capture ") + KCS_VERSION, {}} {}

std::optional<ExitStatus> Recording::begin() {
    ErrorPtr error;
    if (!connect(error)) return reported(*error);
    takeOver();
    start();
    missingAt_ = now() + kLongestSearch;
    // On standard error: standard output has the events only.
    if (!options_.json) {
        complain(translated("Captures go to {}; interrupt (Ctrl-C) to stop.", printable(options_.directory)));
    }
    return std::nullopt;
}

bool Recording::connect(ErrorPtr& error) {
    const auto lost = [&inbox = inbox_, connection = ++connection_] { inbox.post(ServiceLost{connection}); };
    client_.reset();  // before the next, so that the service sees one host leave and one come
    client_ = host::CaptureServiceClient::connect(inbox_, lost, error, kReplyTimeout, &inbox_);
    return client_ != nullptr;
}

void Recording::start() {
    // Before the start, so that the first poll already goes by it.
    if (options_.pollingInterval) client_->setKeynotePollingInterval(*options_.pollingInterval);
    client_->startDetectionAndCaptureTo(options_.directory, options_.recordingID,
                                        [&inbox = inbox_, connection = connection_](const ErrorPtr& error) {
                                            inbox.post(RequestRefused{error, connection});
                                        });
    quietUntil_ = now() + kFirstLook;
    client_->askServiceVersion([&inbox = inbox_](const auto& version) { inbox.post(ServiceVersionTold{version}); });
}

/// Shows that an earlier recorder left unfinished in the directory, because it was killed, are finished by this one.
void Recording::takeOver() {
    std::error_code failure;
    for (const auto& entry : std::filesystem::directory_iterator(options_.directory, failure)) {
        // Another recorder may be at work in the same directory.
        if (host::isBeingWritten(entry.path() / ShowJournal::kFileName)) continue;
        auto content = readShowJournal(entry.path());
        if (content && !content->finished) shows_.emplace_back(entry.path(), *std::move(content));
    }
}

std::optional<Instant> Recording::deadline() const {
    std::vector<Instant> all;
    const bool isLacking = std::ranges::any_of(shows_, [](const auto& show) { return show.state() == State::lacking; });
    if (retryAt_) all.push_back(*retryAt_);
    if (isLacking && !retryAt_) all.push_back(quietUntil_);
    if (missingAt_) all.push_back(*missingAt_);
    const auto first = std::ranges::min_element(all);
    return first == all.end() ? std::nullopt : std::optional(*first);
}

std::optional<ExitStatus> Recording::operator()(const host::DelegateCall& call) {
    hasStarted_ = true;
    missingAt_.reset();
    if (hook_ != nullptr) hook_->tell(outputLineOf(call));
    if (!writer_->write(call)) return outputFailed();
    std::visit([this](const auto& each) { this->note(each); }, call);
    return goOn();
}

std::optional<ExitStatus> Recording::operator()(const TimelineReport& report) {
    // Everybody on the bus hears of everybody's shows.
    if (report.recordingID != options_.recordingID) return std::nullopt;
    auto* const show = showWithID(report.presentationID);
    if (show == nullptr) return std::nullopt;
    show->note(report);
    if (report.entry.event == TimelineEvent::showStarted) linkToLost(*show);
    return std::nullopt;
}

std::optional<ExitStatus> Recording::operator()(const ServiceVersionTold& answer) {
    facts_.serviceVersion = answer.version;
    return std::nullopt;
}

std::optional<ExitStatus> Recording::operator()(const RequestRefused& failure) {
    if (failure.connection != connection_) return std::nullopt;
    const bool isAway = failure.error->domain() == host::kCaptureServiceClientErrorDomain;
    // What the service itself refuses it would refuse again, and without a service at the beginning there is most
    // likely none: people should know at once.
    if (!hasStarted_ || !isAway) return reported(*failure.error);
    if (stopping_) return serviceGone(translated("The capture service has gone; the recording has ended."));
    retryAt_ = now() + kRetryInterval;
    return std::nullopt;
}

std::optional<ExitStatus> Recording::operator()(const ServiceLost& event) {
    if (event.connection != connection_) return std::nullopt;
    hasStarted_ = true;
    complain(translated("The capture service has gone; starting it again."));
    mender_.reset();
    for (auto& show : shows_) show.lose("The capture service has gone.");
    return startAgain();
}

std::optional<ExitStatus> Recording::startAgain() {
    retryAt_.reset();
    ErrorPtr error;
    if (connect(error)) {
        busLostAt_.reset();
        start();
        return std::nullopt;
    }
    if (!busLostAt_) busLostAt_ = now();
    if (stopping_ || now() - *busLostAt_ > kMostTimeWithoutBus) {
        return serviceGone(translated("The session bus has gone; the recording has ended."));
    }
    retryAt_ = now() + kRetryInterval;
    return std::nullopt;
}

std::optional<ExitStatus> Recording::operator()(const TimedOut&) {
    if (missingAt_ && now() >= *missingAt_) {
        missingAt_.reset();
        complainOfWhatIsMissing(options_.directory);
    }
    if (retryAt_ && now() >= *retryAt_) return startAgain();
    return goOn();
}

std::optional<ExitStatus> Recording::operator()(const Interrupted&) {
    const bool isIdle = std::ranges::all_of(shows_, [](const auto& show) { return show.state() == State::done; });
    if (stopping_ || isIdle || retryAt_) return finished();
    stopping_ = true;
    complain(firstShowThatIs(State::running) != nullptr
                 ? translated("The slide images come when the slide show has ended; waiting for that. "
                              "Interrupt again to stop at once without them.")
                 : translated("What is missing is being made from the archive copy. "
                              "Interrupt again to stop at once without it."));
    return std::nullopt;
}

std::optional<ExitStatus> Recording::operator()(const OutputClosed&) {
    return finished();
}

void Recording::note(const host::StartedPresenting& call) {
    shows_.emplace_back(options_.directory, facts_, call);
}

void Recording::note(const host::PresentedSlide& call) {
    if (auto* const show = showWithID(call.presentationID)) show->note(call);
}

void Recording::note(const host::StoppedPresenting& call) {
    auto* const show = showWithID(call.presentationID);
    if (show != nullptr && show->state() == State::running) show->end(call);
}

void Recording::note(const host::ExtractedSlideFiles& call) {
    auto* const show = firstShowThatIs(State::mending);
    if (show == nullptr || show->archive() != call.presentationPath) return;
    mender_.reset();
    show->note(call);
    show->mended();
}

RecordedShow* Recording::showWithID(const std::optional<std::string>& presentationID) {
    // The latest: a show whose directory could not be made has no identifier, and there may be several such.
    const auto found = std::find_if(shows_.rbegin(), shows_.rend(),
                                    [&](const auto& show) { return show.presentationID() == presentationID; });
    return found == shows_.rend() ? nullptr : &*found;
}

RecordedShow* Recording::firstShowThatIs(State state) {
    const auto found = std::ranges::find(shows_, state, &RecordedShow::state);
    return found == shows_.end() ? nullptr : &*found;
}

void Recording::linkToLost(RecordedShow& show) const {
    const auto lost = std::find_if(shows_.rbegin(), shows_.rend(),
                                   [&show](const auto& other) { return &other != &show && show.continues(other); });
    if (lost != shows_.rend()) show.writeContinues(*lost);
}

/// Makes what is missing while nothing is shown, and ends the recording when that is wanted and nothing is left to do.
std::optional<ExitStatus> Recording::goOn() {
    if (retryAt_ || firstShowThatIs(State::running) != nullptr || firstShowThatIs(State::mending) != nullptr) return {};
    if (auto* const show = firstShowThatIs(State::lacking)) {
        if (now() >= quietUntil_) mend(*show);
        return std::nullopt;
    }
    return stopping_ ? std::optional(finished()) : std::nullopt;
}

void Recording::mend(RecordedShow& show) {
    const auto archive = show.archive().native();
    const auto missing = show.missingImages();
    show.mend();
    if (!options_.json) {
        complain(missing.empty() ? translated("Reading the slides' text from {}.", printableText(archive))
                                 : translated("Making missing slide images from {}.", printableText(archive)));
    }
    const auto refused = [&inbox = inbox_, archive](const ErrorPtr& error) {
        inbox.post(host::DelegateCall(host::ExtractedSlideFiles{archive, error}));
    };
    ErrorPtr error;
    // Over a connection of its own: an extraction gives the program a minute for each answer, polls included, and a
    // show that begins meanwhile is to be watched as closely as any other.
    mender_ = host::CaptureServiceClient::connect(inbox_, {}, error, kReplyTimeout);
    if (!mender_) return refused(error);
    mender_->extractSlideFiles(missing, archive, refused);
}

ExitStatus Recording::serviceGone(const std::string& sentence) {
    complain(sentence);
    static_cast<void>(finished());
    return kNoService;
}

ExitStatus Recording::finished() {
    if (client_) client_->stopDetectionAndCapture();
    const auto all = problems();
    const auto line = finishedLine();
    if (hook_ != nullptr) hook_->tell(line);
    if (options_.json) {
        fmt::print("{}", line);
        std::fflush(stdout);
    } else {
        for (const auto& problem : all) complain(problem);
        const auto shows = shows_.size();
        complain(all.empty() ? translatedCount(shows, "{} slide show, everything is complete.",
                                               "{} slide shows, everything is complete.", shows)
                             : translatedCount(shows, "{} slide show, {} not complete.",
                                               "{} slide shows, {} not complete.", shows, all.size()));
    }
    return all.empty() ? kDone : kOperationFailed;
}

std::string Recording::finishedLine() const {
    const InEnglish english;
    return outputLineOf(Json{{"event", "finished"}, {"shows", shows_.size()}, {"problems", problems()}});
}

std::vector<std::string> Recording::problems() const {
    std::vector<std::string> all;
    for (const auto& show : shows_) {
        if (auto problem = show.problem()) all.push_back(*std::move(problem));
    }
    return all;
}

ExitStatus Recording::outputFailed() {
    // Its reader has seen enough, as head(1) does: no failure.
    if (errno == EPIPE) return finished();
    complain(translated("Cannot write the events: {}", std::strerror(errno)));
    client_->stopDetectionAndCapture();
    return kOperationFailed;
}

}  // namespace keynote_capture
