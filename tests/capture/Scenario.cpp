#include "tests/capture/Scenario.h"

#include "MacShared/LogRun.h"

#include <fmt/format.h>
#include <algorithm>

namespace {

std::string shortID(const std::optional<std::string>& id) {
    for (int n = 1; n < 10; ++n) {
        if (id == SimulatedText::uuid(n)) return fmt::format("P{}", n);
    }
    return id.value_or("nil");
}

std::string shortError(const ErrorPtr& error) {
    return error ? fmt::format("{} {}", error->domain(), error->code()) : "ok";
}

std::string shortPath(const std::optional<std::filesystem::path>& path) {
    return path ? shortID(path->parent_path().filename()) + "/" + path->filename().native() : "nil";
}

std::string shortEvent(std::string event) {
    const auto shorten = [&event](std::string_view what, const std::string& to) {
        const auto at = event.find(what);
        if (at != std::string::npos) event.replace(at, what.size(), to);
    };
    shorten(kSandbox, "S");
    for (int n = 1; n < 10; ++n) shorten(SimulatedText::uuid(n), fmt::format("P{}", n));
    return event;
}

}  // namespace

void RecordingHost::note(const std::string& what) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(dispatch_.elapsed()).count();
    calls.push_back(fmt::format("{:g} {}", static_cast<double>(elapsed) / 1000, what));
}

void RecordingHost::startedPresenting(const std::optional<std::string>& presentationID,
                                      const std::optional<std::filesystem::path>& originalDocumentPath,
                                      const std::optional<std::string>& archive, const ErrorPtr& error) {
    const auto archiveName =
        archive ? shortID(archive->substr(0, archive->find('.'))) + archive->substr(archive->find('.')) : "nil";
    note(fmt::format("started {} {} {} {}", shortID(presentationID),
                     originalDocumentPath ? originalDocumentPath->native() : "nil", archiveName, shortError(error)));
}

void RecordingHost::stoppedPresenting(const std::optional<std::string>& presentationID, const ErrorPtr& error) {
    note(fmt::format("stopped {} {}", shortID(presentationID), shortError(error)));
}

void RecordingHost::slideDeckPresentedSlide(const std::optional<std::string>& presentationID,
                                            std::int64_t presentedSlide, Date at,
                                            const std::optional<std::filesystem::path>& imageFilePathURL) {
    EXPECT_EQ(at, dispatch_.now());
    note(fmt::format("slide {} {} {}", shortID(presentationID), presentedSlide, shortPath(imageFilePathURL)));
}

void RecordingHost::extractedSlideFilesForPresentation(const std::string& path, const ErrorPtr& withError) {
    note(fmt::format("extracted {} {}", path, shortError(withError)));
}

void RecordingHost::failedToSaveArchiveDocumentError(const ErrorPtr& error) {
    note(fmt::format("not saved {}", shortError(error)));
}

Program::Program(SimulatedPlatform& simulated, pid_t processIdentifier, const std::string& version)
    : platform(simulated),
      pid(processIdentifier),
      model(simulated.dispatch.mainQueue(), simulated.files,
            [](const ProgramDocument& document, std::int64_t slide, double) {
                return fmt::format("{} {}", document.name, slide);
            }) {
    const std::filesystem::path bundle = "/Applications/" + version + ".app";
    platform.bundles.install(bundle, {{"CFBundleShortVersionString", version}});
    application = std::make_shared<SimulatedApplication>("com.apple.iWork.Keynote", bundle, pid);
}

void Program::launch() {
    EXPECT_EQ(model.launch(), nullptr);
    platform.scripting.attach(pid, model);
    platform.workspace.add(application);
}

void Program::quit() {
    model.quit();
    platform.scripting.detach(pid);
    platform.workspace.remove(application);
}

std::string Program::open(const std::string& name, std::int64_t slides) {
    ProgramDocument document;
    document.name = name;
    document.file = "/decks/" + name;
    document.slideCount = slides;
    EXPECT_EQ(model.openDocument(document), nullptr);
    return model.documents().front().id;
}

Scenario::Scenario() {
    beginNewLogRun();
}

void Scenario::start() {
    if (!service) service = KeynoteCaptureService::initWithDelegate(host);
    ASSERT_TRUE(service);
    service->startDetectionAndCaptureTo("/captures", "R",
                                        [](const ErrorPtr& error) { ADD_FAILURE() << error->localizedDescription(); });
    platform.dispatch.runReady();
}

void Scenario::noteEvents() {
    platform.scripting.eventObserver = [this](const std::string& event) { host->note("> " + shortEvent(event)); };
    platform.workspace.opener = [this, open = platform.workspace.opener](const auto& path, const auto& application) {
        host->note("> " + shortEvent(fmt::format("openFile {} {}", path.native(), application)));
        return open(path, application);
    };
}

std::size_t Scenario::logged(const std::string& text) const {
    const auto& entries = platform.unifiedLog.entries;
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [&text](const auto& entry) {
        return entry.message.find(text) != std::string::npos;
    }));
}

std::string Scenario::captureDirectory(int presentation) const {
    return "/captures/" + SimulatedText::uuid(presentation);
}
