#include "tests/KeynoteCaptureService/Scenario.h"

#include "MacShared/LogRun.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <utility>

namespace {

std::string shortID(const std::optional<std::string>& id) {
    for (int n = 1; n < 10; ++n) {
        if (id == simulated::SimulatedText::uuid(n)) return fmt::format("P{}", n);
    }
    return id.value_or("nil");
}

std::string shortPath(const std::optional<std::filesystem::path>& path) {
    return path ? shortID(path->parent_path().filename()) + "/" + path->filename().native() : "nil";
}

/// The text with S for the sandbox and P1, P2, … for the identifiers.
std::string shortened(std::string text) {
    const auto shorten = [&text](std::string_view what, const std::string& to) {
        for (auto at = text.find(what); at != std::string::npos; at = text.find(what))
            text.replace(at, what.size(), to);
    };
    shorten(kSandbox, "S");
    for (int n = 1; n < 10; ++n) shorten(simulated::SimulatedText::uuid(n), fmt::format("P{}", n));
    return text;
}

}  // namespace

std::string textOf(const ErrorPtr& error) {
    if (!error) return "ok";
    std::string text = fmt::format("{} {}", error->domain(), error->code());
    for (const auto& [key, value] : error->userInfo()) text += fmt::format(" {}={}", key, value);
    return shortened(text);
}

namespace {

/// A call in a line.
struct Worded {
    std::string operator()(const host::ProgramLaunched&) const { return "launched"; }
    std::string operator()(const host::ProgramTerminated&) const { return "terminated"; }
    std::string operator()(const host::StartedPresenting& call) const {
        const auto& path = call.originalDocumentPath;
        return fmt::format("started {} {} {} {}", shortID(call.presentationID), path ? path->native() : "nil",
                           shortened(call.archive.value_or("nil")), textOf(call.error));
    }
    std::string operator()(const host::PresentedSlide& call) const {
        return fmt::format("slide {} {} {}", shortID(call.presentationID), call.number, shortPath(call.imageFilePath));
    }
    std::string operator()(const host::StoppedPresenting& call) const {
        return fmt::format("stopped {} {}", shortID(call.presentationID), textOf(call.error));
    }
    std::string operator()(const host::ExtractedSlideFiles& call) const {
        return fmt::format("extracted {} {}", call.presentationPath, textOf(call.error));
    }
    std::string operator()(const host::SavingEnded& call) const {
        return call.error ? fmt::format("not saved {}", textOf(call.error)) : "saved";
    }
};

}  // namespace

void RecordingHost::note(const std::string& what) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(dispatch_.elapsed()).count();
    calls.push_back(fmt::format("{:g} {}", static_cast<double>(elapsed) / 1000, what));
}

void RecordingHost::take(const host::DelegateCall& call) {
    const auto* const slide = std::get_if<host::PresentedSlide>(&call);
    EXPECT_TRUE(slide == nullptr || slide->at == dispatch_.now());
    note(std::visit(Worded(), call));
}

void RecordingHost::timelineReport(const TimelineReport& report) {
    static constexpr std::array kNames{"started", "shown", "ended", "unseen from", "unseen to"};
    EXPECT_EQ(report.recordingID, "R");
    const auto milliseconds = [](Duration time) {
        return static_cast<double>(std::chrono::duration_cast<std::chrono::microseconds>(time).count()) / 1000;
    };
    const auto& [event, at, slide, position] = report.entry;
    const auto sinceStart = [&](Date date) { return milliseconds(date - simulated::SimulatedDispatch::kStartDate); };
    EXPECT_EQ(sinceStart(report.latest), milliseconds(at.latest.time_since_epoch()));
    timeline.push_back(fmt::format(
        "{} {}{} {}..{:g}", shortID(report.presentationID), kNames.at(static_cast<std::size_t>(event)),
        slide > 0 ? fmt::format(" {}", slide) : "",
        report.earliest ? fmt::format("{:g}", sinceStart(*report.earliest)) : "", sinceStart(report.latest)));
}

Program::Program(simulated::SimulatedPlatform& simulated, pid_t processIdentifier, const std::string& version)
    : platform(simulated),
      pid(processIdentifier),
      model(simulated.dispatch.mainQueue(), simulated.files,
            [](const presenters::ProgramDocument& document, std::int64_t slide, double quality) {
                return fmt::format("{} {} {}", document.name, slide, quality);
            }) {
    const std::filesystem::path bundle = "/Applications/" + version + ".app";
    platform.bundles.install(bundle, {{"CFBundleShortVersionString", version}});
    application = std::make_shared<simulated::SimulatedApplication>("com.apple.iWork.Keynote", bundle, pid);
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
    presenters::ProgramDocument document;
    document.name = name;
    document.file = "/decks/" + name;
    document.slideCount = slides;
    EXPECT_EQ(model.openDocument(document), nullptr);
    return model.documents().front().id;
}

Scenario::Scenario() {
    shared::beginNewLogRun();
}

void Scenario::start() {
    if (!service) service = KeynoteCaptureService::initWithDelegate(host);
    ASSERT_TRUE(service);
    service->startDetectionAndCaptureTo("/captures", "R",
                                        [](const ErrorPtr& error) { ADD_FAILURE() << error->localizedDescription(); });
    platform.dispatch.runReady();
}

void Scenario::noteEvents() {
    platform.scripting.eventObserver = [this](const std::string& event) {
        if (event == "presentingState") return;
        const auto onto = platform.files.sizeOf(event.substr(event.rfind(' ') + 1));
        host->note("> " + shortened(event) + (onto ? fmt::format(" onto {} bytes", *onto) : ""));
    };
    platform.workspace.opener = [this, open = platform.workspace.opener](const auto& path, const auto& application) {
        host->note("> " + shortened(fmt::format("openFile {} {}", path.native(), application)));
        return open(path, application);
    };
}

void Scenario::noteLog() {
    platform.unifiedLog.observer = [this](const std::string& message) { host->note("# " + shortened(message)); };
}

Scenario::Calls Scenario::takeLog() {
    Calls lines;
    for (const auto& entry : std::exchange(platform.unifiedLog.entries, {})) lines.push_back(shortened(entry.message));
    return lines;
}

std::size_t Scenario::logged(const std::string& text) const {
    const auto& entries = platform.unifiedLog.entries;
    return static_cast<std::size_t>(std::count_if(entries.begin(), entries.end(), [&text](const auto& entry) {
        return entry.message.find(text) != std::string::npos;
    }));
}

std::string Scenario::captureDirectory(int presentation) const {
    return "/captures/" + simulated::SimulatedText::uuid(presentation);
}
