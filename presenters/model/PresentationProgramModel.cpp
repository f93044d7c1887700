#include "presenters/model/PresentationProgramModel.h"

#include "presenters/model/ScriptValues.h"

#include <fmt/format.h>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace presenters {
namespace {

constexpr const char* kVersion = "14.0";
constexpr std::int64_t kShowWindowID = 71;
constexpr double kUsualQuality = 0.8;

/// The first slide after the given one that is not hidden; 0 when there is none.
std::int64_t shownSlideAfter(const ProgramDocument& document, std::int64_t slide) {
    for (++slide; slide <= document.slideCount; ++slide) {
        if (!document.hiddenSlides.contains(slide)) return slide;
    }
    return 0;
}

std::int64_t hiddenSlidesBefore(const ProgramDocument& document, std::int64_t slide) {
    const auto end = document.hiddenSlides.lower_bound(slide);
    return std::distance(document.hiddenSlides.begin(), end);
}

ErrorPtr noSuchCount(std::int64_t slides) {
    if (slides >= 0 && slides <= kMostSlides) return nullptr;
    return failed(fmt::format("A document has 0 to {} slides.", kMostSlides));
}

ErrorPtr noSuchSlide(const ProgramDocument& document, std::int64_t slide) {
    if (slide >= 0 && slide <= document.slideCount) return nullptr;
    return failed(fmt::format("\"{}\" has slides 1 to {}, no slide {}.", document.name, document.slideCount, slide));
}

ErrorPtr noSuchDocument(const std::string& id) {
    return failed(fmt::format("No document with the ID \"{}\" is open.", id));
}

/// The property of an export; when it is not given `standard`, nothing when it has another type.
template <typename Value>
std::optional<Value> propertyOf(const ExportProperties& properties, const char* key, Value standard) {
    const auto found = properties.find(key);
    if (found == properties.end()) return standard;
    const auto* const value = std::get_if<Value>(&found->second);
    return value ? std::optional(*value) : std::nullopt;
}

}  // namespace

ErrorPtr failed(const std::string& sentence) {
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed, sentence);
}

PresentationProgramModel::PresentationProgramModel(DispatchQueue& queue, ProgramOutput& output, ImageMaker imageMaker)
    : jobs_(queue, output, faults_, observer_, std::move(imageMaker)) {}

ErrorPtr PresentationProgramModel::launch() {
    if (isRunning_) return failed("The program is running already.");
    times_ = {};
    isRunning_ = true;
    changed();
    return nullptr;
}

void PresentationProgramModel::quit() {
    jobs_.giveUp();
    endShow();
    documents_.clear();
    isRunning_ = false;
    changed();
}

ErrorPtr PresentationProgramModel::openDocument(ProgramDocument document) {
    if (!isRunning_) return failed("The program is not running; launch it first.");
    if (auto error = admit(document)) return error;
    documents_.insert(documents_.begin(), std::move(document));
    changed();
    return nullptr;
}

/// Gives the document its place in the program, or says why it cannot have one.
ErrorPtr PresentationProgramModel::admit(ProgramDocument& document) {
    if (auto error = noSuchCount(document.slideCount)) return error;
    // IDs and windows are never used twice, so that nobody takes a new document for a closed one.
    ++documentsMade_;
    if (document.id.empty()) document.id = fmt::format("document-{}", documentsMade_);
    if (documentWithID(document.id)) return failed(fmt::format("\"{}\" is open already.", document.id));
    document.windowID = kShowWindowID + documentsMade_;
    if (document.currentSlide == 0) document.currentSlide = shownSlideAfter(document, 0);
    return nullptr;
}

ErrorPtr PresentationProgramModel::closeDocument(const std::string& id) {
    const auto found = find(id);
    if (found == documents_.end()) return noSuchDocument(id);
    if (presentedID_ == id) endShow();
    documents_.erase(found);
    changed();
    return nullptr;
}

ErrorPtr PresentationProgramModel::setSlideCount(const std::string& id, std::int64_t slides) {
    const auto found = find(id);
    if (found == documents_.end()) return noSuchDocument(id);
    if (auto error = noSuchCount(slides)) return error;
    found->slideCount = slides;
    if (found->currentSlide > slides) show(*found, slides);
    return nullptr;
}

ErrorPtr PresentationProgramModel::activateDocument(const std::string& id) {
    const auto found = find(id);
    if (found == documents_.end()) return noSuchDocument(id);
    std::rotate(documents_.begin(), found, found + 1);
    changed();
    return nullptr;
}

ErrorPtr PresentationProgramModel::startShow(const std::string& id, std::optional<std::int64_t> slide) {
    if (presentedID_) return failed("A slide show plays already; stop it first.");
    const auto found = find(id);
    if (found == documents_.end()) return noSuchDocument(id);
    const std::int64_t first = slide.value_or(shownSlideAfter(*found, 0));
    if (auto error = noSuchSlide(*found, first)) return error;
    presentedID_ = id;
    if (now_) times_.started(rightNow());
    found->currentSlide = 0;
    show(*found, first);
    return nullptr;
}

ErrorPtr PresentationProgramModel::goToSlide(std::int64_t slide) {
    ProgramDocument* const document = shownDocument();
    if (!document) return failed("No document is open.");
    if (auto error = noSuchSlide(*document, slide)) return error;
    show(*document, slide);
    return nullptr;
}

ErrorPtr PresentationProgramModel::nextSlide() {
    ProgramDocument* const document = shownDocument();
    if (!document || !presentedID_) return failed("No slide show plays.");
    const std::int64_t next = shownSlideAfter(*document, document->currentSlide);
    if (next == 0) return stopShow();
    show(*document, next);
    return nullptr;
}

ErrorPtr PresentationProgramModel::stopShow() {
    if (!presentedID_) return failed("No slide show plays.");
    endShow();
    changed();
    return nullptr;
}

void PresentationProgramModel::setScreen(const Rect& screen) {
    screen_ = screen;
    changed();
}

Rect PresentationProgramModel::documentFrame() const {
    const double width = std::floor(screen_.width * 3 / 4);
    const double height = std::floor(screen_.height * 3 / 4);
    return {screen_.x + std::floor((screen_.width - width) / 2), screen_.y + std::floor((screen_.height - height) / 2),
            width, height};
}

const ProgramDocument* PresentationProgramModel::documentNamed(const std::string& name) const {
    const auto found = std::ranges::find(documents_, name, &ProgramDocument::name);
    return found == documents_.end() ? nullptr : &*found;
}

const ProgramDocument* PresentationProgramModel::presentedDocument() const {
    return presentedID_ ? documentWithID(*presentedID_) : nullptr;
}

PresentingState PresentationProgramModel::presentingState(ErrorPtr& error) const {
    error = refusal("presentingState");
    PresentingState state;
    if (error) return state;
    if (!faults_.lacksPlaying) state.playing = presentedID_.has_value();
    if (!documents_.empty()) {
        const ProgramDocument& front = documents_.front();
        state.firstDocument = {.id = front.id, .file = front.file, .currentSlideNumber = front.currentSlide};
    }
    if (!faults_.lacksTimes) state.times = times_.times();
    return state;
}

std::vector<ScriptingWindow> PresentationProgramModel::windows(ErrorPtr& error) const {
    std::vector<ScriptingWindow> windows;
    error = refusal("windows");
    if (error) return windows;
    if (const auto* const presented = presentedDocument()) {
        windows.push_back({.name = presented->name, .bounds = screen_, .index = 1, .id = kShowWindowID});
    }
    const Rect frame = documentFrame();
    for (const ProgramDocument& document : documents_) {
        const auto index = static_cast<std::int64_t>(windows.size()) + 1;
        windows.push_back({.name = document.name, .bounds = frame, .index = index, .id = document.windowID});
    }
    return windows;
}

std::string PresentationProgramModel::version(ErrorPtr& error) const {
    error = refusal("version");
    return error ? std::string() : kVersion;
}

std::string PresentationProgramModel::open(const std::filesystem::path& path, ErrorPtr& error) {
    error = refusal("open");
    if (error) return {};
    const auto known = std::ranges::find(documents_, path, &ProgramDocument::file);
    if (known != documents_.end()) return known->id;
    ProgramDocument made;
    made.name = path.filename();
    auto document = reader_ ? reader_(path, error) : made;
    if (!document || (error = admit(*document))) return {};
    document->file = path;
    // Behind the others: a poll takes the first document for the presented one.
    documents_.push_back(*std::move(document));
    changed();
    return documents_.back().id;
}

std::vector<std::int64_t> PresentationProgramModel::slideNumbers(const std::string& id, ErrorPtr& error) const {
    error = refusal("slideNumbers", id);
    if (error) return {};
    std::vector<std::int64_t> numbers(static_cast<std::size_t>(documentWithID(id)->slideCount));
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

ScriptingDocumentText PresentationProgramModel::text(const std::string& id, ErrorPtr& error) const {
    error = refusal("text", id);
    if (error) return {};
    const ProgramDocument& document = *documentWithID(id);
    ScriptingDocumentText text{document.name, document.texts};
    text.slides.resize(static_cast<std::size_t>(document.slideCount));
    for (std::int64_t number = 1; number <= document.slideCount; ++number) {
        auto& slide = text.slides[static_cast<std::size_t>(number - 1)];
        slide.slideNumber = number;
        slide.skipped = document.hiddenSlides.contains(number);
    }
    return text;
}

ErrorPtr PresentationProgramModel::close(const std::string& id, const std::string& saveOption) {
    if (auto error = refusal("close", id)) return error;
    if (saveOption != kSaveOptionAsk && saveOption != kSaveOptionNo && saveOption != kSaveOptionYes) {
        return failed("The save option must be \"yes \", \"no  \" or \"ask \".");
    }
    // As the real program: a scripted close never ends a show.
    if (presentedID_ == id) return failed("The document is being presented.");
    return closeDocument(id);
}

ErrorPtr PresentationProgramModel::save(const std::string& id, const std::filesystem::path& target) {
    if (auto error = refusal("save", id)) return error;
    jobs_.accept({.kind = ProgramJob::Kind::save, .document = *documentWithID(id), .target = target});
    return nullptr;
}

ErrorPtr PresentationProgramModel::stop(const std::string& id) {
    if (auto error = refusal("stop", id)) return error;
    if (presentedID_ != id) return failed("This document's slide show does not play.");
    return stopShow();
}

ErrorPtr PresentationProgramModel::exportTo(const std::string& id, const std::filesystem::path& target,
                                            const std::string& formatCode, const ExportProperties& properties) {
    if (auto error = refusal("export", id)) return error;
    if (formatCode != kExportFormatImages)
        return failed(fmt::format("The only export format is \"{}\".", kExportFormatImages));
    if (propertyOf<std::string>(properties, "imageFormat", kImageFormatJPEG) != kImageFormatJPEG) {
        return failed(fmt::format("The only imageFormat is \"{}\" (JPEG).", kImageFormatJPEG));
    }
    const auto quality = propertyOf(properties, "compressionFactor", kUsualQuality);
    if (!quality || !(*quality >= 0 && *quality <= 1)) {
        return failed("The compressionFactor must be a number from 0 to 1.");
    }
    jobs_.accept({.kind = ProgramJob::Kind::imageExport,
                  .document = *documentWithID(id),
                  .target = target,
                  .quality = *quality});
    return nullptr;
}

ErrorPtr PresentationProgramModel::refusal(const std::string& call) const {
    if (!isRunning_) return failed("The program is not running.");
    if (faults_.refuses(call)) return failed(fmt::format("The program refuses \"{}\".", call));
    return nullptr;
}

ErrorPtr PresentationProgramModel::refusal(const std::string& call, const std::string& id) const {
    if (auto error = refusal(call)) return error;
    return documentWithID(id) ? nullptr : noSuchDocument(id);
}

std::vector<ProgramDocument>::iterator PresentationProgramModel::find(const std::string& id) {
    return std::ranges::find(documents_, id, &ProgramDocument::id);
}

const ProgramDocument* PresentationProgramModel::documentWithID(const std::string& id) const {
    const auto found = std::ranges::find(documents_, id, &ProgramDocument::id);
    return found == documents_.end() ? nullptr : &*found;
}

ProgramDocument* PresentationProgramModel::shownDocument() {
    if (presentedID_) return &*find(*presentedID_);
    return documents_.empty() ? nullptr : &documents_.front();
}

void PresentationProgramModel::show(ProgramDocument& document, std::int64_t slide) {
    const bool isSeen = presentedID_ == document.id && slide > 0 && slide != document.currentSlide;
    document.currentSlide = slide;
    if (isSeen && now_) times_.shown(slide, slide - hiddenSlidesBefore(document, slide), rightNow());
    changed();
}

void PresentationProgramModel::endShow() {
    if (presentedID_ && now_) times_.ended(*presentedID_, rightNow());
    presentedID_.reset();
}

void PresentationProgramModel::changed() const {
    if (observer_.changed) observer_.changed();
}

}  // namespace presenters
