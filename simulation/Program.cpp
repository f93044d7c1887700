#include "simulation/Program.h"

#include <fmt/format.h>

namespace simulation {

namespace {

std::string deckName(int program, std::int64_t deck) {
    return fmt::format("deck{}{}.key", program, deck);
}

std::string imageOf(const ProgramDocument& document, std::int64_t slide, double quality) {
    return fmt::format("{} {} {}", document.name, slide, quality);
}

std::optional<ProgramDocument> read(const std::filesystem::path& path, ErrorPtr& /*error*/) {
    ProgramDocument document;
    document.name = path.filename();
    document.slideCount = 4;
    return document;
}

}  // namespace

Program::Program(simulated::SimulatedPlatform& platform, int index)
    : model(platform.dispatch.mainQueue(), platform.files, imageOf), platform_(platform), index_(index) {
    model.setReader(read);
    model.setObserver({.changed = [this] { noteScreen(); },
                       .imageWritten = {},
                       .jobEnded =
                           [this](const ProgramJob& job) {
                               if (job.kind == ProgramJob::Kind::save) ++savesEnded_;
                           }});
    model.tellTimes([this] { return platform_.dispatch.steadyNow() + clockIsWrong_; });
}

void Program::launch(std::int64_t variant) {
    if (model.launch()) return;
    tellsTimes_ = (variant & kTellsTimes) != 0;
    endFaults();
    clockIsWrong_ = {};
    const bool isSupported = (variant & kIsTooOld) == 0;
    const pid_t pid = nextIdentifier();
    auto application = std::make_shared<SimulatedApplication>(
        "com.apple.iWork.Keynote", isSupported ? "/Applications/14.0.app" : "/Applications/6.4.app", pid);
    process_ = std::make_shared<const Process>(Process{*this, application, isSupported});
    platform_.scripting.attach(pid, model);
}

void Program::quit() {
    if (!process_) return;
    model.quit();
    platform_.scripting.detach(process_->application->processIdentifier());
    process_ = nullptr;
}

void Program::changeIdentifier() {
    platform_.scripting.detach(process_->application->processIdentifier());
    const pid_t pid = nextIdentifier();
    platform_.scripting.attach(pid, model);
    process_->application->setProcessIdentifier(pid);
    layOutWindow();
}

pid_t Program::nextIdentifier() {
    return 1000 * (index_ + 1) + ++identifiers_;
}

void Program::open(std::int64_t deck) {
    if (deckNumber(deck) != nullptr) return;
    ProgramDocument document;
    document.name = deckName(index_, deck);
    document.slideCount = 6;
    document.hiddenSlides = {2};
    if (deck != 2) document.file = "/decks/" + document.name;
    static_cast<void>(model.openDocument(document));
}

void Program::bringToFront(std::int64_t deck) {
    if (const auto* const document = deckNumber(deck))
        static_cast<void>(model.activateDocument(std::string(document->id)));
}

void Program::editFrontDeck(std::int64_t slides) {
    if (model.documents().empty()) return;
    static_cast<void>(model.setSlideCount(std::string(model.documents().front().id), slides));
}

void Program::closeFrontDeck() {
    if (model.documents().empty()) return;
    static_cast<void>(model.closeDocument(std::string(model.documents().front().id)));
}

void Program::startShow(std::int64_t deck) {
    if (const auto* const document = deckNumber(deck)) static_cast<void>(model.startShow(std::string(document->id)));
}

const ProgramDocument* Program::deckNumber(std::int64_t deck) const {
    return model.documentNamed(deckName(index_, deck));
}

void Program::beginFault(const Fault& fault) {
    static_cast<void>(model.faults().switchOn(fault.name, fault.value));
    if (model.faults().lacksTimes) truth_.isIncomplete = true;
}

void Program::endFaults() {
    model.faults() = {};
    model.faults().lacksTimes = !tellsTimes_;
}

void Program::setClockWrong(Duration by) {
    clockIsWrong_ = by;
    truth_.isIncomplete = true;
}

bool Program::isReached(const Process& process) const {
    return platform_.scripting.model(process.application->processIdentifier()) == &model;
}

Screen Program::screen() const {
    Screen screen;
    const bool plays = model.presentedDocument() != nullptr;
    if (!model.faults().lacksPlaying) screen.playing = plays;
    screen.isFilled = plays;
    if (model.documents().empty()) return screen;
    const auto& front = model.documents().front();
    screen.documentID = front.id;
    screen.file = front.file;
    screen.slide = front.currentSlide;
    return screen;
}

std::optional<Duration> Program::answerTime() const {
    if (model.faults().neverAnswers) return std::nullopt;
    return model.faults().answersLate.value_or(Duration::zero());
}

void Program::layOutWindow() {
    auto& windows = platform_.windowServer.windowRecords;
    std::erase_if(windows, [this](const WindowRecord& window) { return window.number == index_; });
    if (model.presentedDocument() == nullptr) return;
    windows.push_back({process_->application->processIdentifier(), model.screen(), "Show", index_});
}

void Program::noteScreen() {
    layOutWindow();
    const Instant now = platform_.dispatch.steadyNow();
    const auto* const document = model.presentedDocument();
    const Seen before = seen_;
    seen_ = {};
    if (document == nullptr) {
        if (before.plays) truth_.ends.push_back(now);
        return;
    }
    seen_ = {true, document->currentSlide, model.documents().front().currentSlide};
    const bool starts = !before.plays;
    if (starts) {
        truth_.starts.push_back(now);
        truth_.presented.clear();
        truth_.isIncomplete = model.faults().lacksTimes || clockIsWrong_ != Duration::zero();
        truth_.isHidden = false;
    }
    if (document->id != model.documents().front().id) truth_.isHidden = true;
    const bool isShown = seen_.presented > 0 && (starts || seen_.presented != before.presented);
    if (isShown) truth_.presented.push_back(now);
    if (isShown) truth_.visits.push_back({now, seen_.presented});
    const bool isSeen = seen_.front > 0 && (starts || seen_.front != before.front);
    if (isSeen && !(isShown && seen_.front == seen_.presented)) truth_.visits.push_back({now, seen_.front});
}

}  // namespace simulation
