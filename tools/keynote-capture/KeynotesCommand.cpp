/// Wires the Linux platform into the tool, for the one command that looks at this computer itself.

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "platform/linux/LinuxPlatform.h"
#include "recorder-shared/KeynoteInstallHelper.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/KeynoteReport.h"
#include "tools/keynote-capture/ProgressLine.h"

#include <csignal>
#include <cstdio>

namespace keynote_capture {
namespace {

using namespace std::chrono_literals;

/// How long programs have to say what they are. One that hangs is not listed.
constexpr Duration kPatienceWithPrograms = 1s;
constexpr Duration kTick = 20ms;
constexpr int kTicksPerProgressLine = 10;

/// What runs, then the search, then what it found. Everything happens on the main queue.
class Survey {
public:
    Survey(LinuxPlatform& platform, const KeynoteReport& report) : platform_(platform), report_(report) {}

    ExitStatus run() {
        auto& queue = platform_.platform().dispatch.mainQueue();
        queue.async([] {
            // A walk may hang on a broken disk; an interruption ends the process all the same.
            for (const int number : {SIGINT, SIGTERM}) std::signal(number, SIG_DFL);
        });
        const auto timer = queue.makeTimer({0s, kTick, 0s}, [this] { tick(); });
        return static_cast<ExitStatus>(platform_.run());
    }

private:
    [[nodiscard]] Duration elapsed() const { return platform_.platform().clock.steadyNow() - start_; }

    void tick() {
        if (!isSearching_) {
            // What runs is told first, so the search begins once it is known.
            if (platform_.knowsRunningPrograms() || elapsed() > kPatienceWithPrograms) search();
        } else if (++ticks_ % kTicksPerProgressLine == 0) {
            showProgress();
        }
    }

    void search() {
        isSearching_ = true;
        write(report_.running(runningKeynotes()));
        KeynoteInstallHelper::sharedInstance().fetchKeynoteBundles(
            [this](const auto& bundles) { showInstalled(bundles); },
            [this](const ErrorPtr& error) {
                complain(printableText(error->localizedDescription()));
                platform_.stop(kOperationFailed);
            });
    }

    void showInstalled(const KeynoteInstallHelper::KeynoteBundles& bundles) {
        line_.clear();
        std::vector<KeynoteCopy> copies;
        copies.reserve(bundles.size());
        for (const auto& bundle : bundles) copies.push_back(judgedCopy(*bundle));
        write(report_.installed(copies));
        write(report_.status(KeynoteInstallHelper::statusOf(bundles)));
        platform_.stop(kDone);
    }

    [[nodiscard]] RunningKeynotes runningKeynotes() const {
        // Nothing is known then, which is not the same as nothing running, and the report says so.
        if (!platform_.hasSessionBus()) return {};
        RunningKeynotes running;
        for (const auto& bundle : KeynoteInstallHelper::fetchRunningKeynoteBundles()) {
            running.copies.push_back(judgedCopy(*bundle));
        }
        running.checks = {KeynoteInstallHelper::isUnsupportedKeynoteRunning(),
                          KeynoteInstallHelper::isDisabledKeynoteRunning(),
                          KeynoteInstallHelper::conflictingKeynoteVersionsRunning()};
        return running;
    }

    void write(const std::string& text) {
        if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return;
        complain(translated("Cannot write what was found."));
        platform_.stop(kOperationFailed);
    }

    void showProgress() {
        const auto& progress = platform_.searchProgress();
        line_.show(translated("Searching: {} s, {} directories, {} found",
                              std::chrono::duration_cast<std::chrono::seconds>(elapsed()).count(),
                              progress.directories.load(), progress.found.load()));
    }

    LinuxPlatform& platform_;
    const KeynoteReport& report_;
    ProgressLine line_;
    const Instant start_ = platform_.platform().clock.steadyNow();
    bool isSearching_ = false;
    int ticks_ = 0;
};

}  // namespace

ExitStatus listKeynotes(const KeynotesOptions& options) {
    LinuxPlatform::Options platformOptions;
    platformOptions.searchRoots = options.roots;
    LinuxPlatform linuxPlatform(platformOptions);
    installPlatform(&linuxPlatform.platform());
    const auto report = options.json ? makeJSONKeynoteReport() : makeTextKeynoteReport();
    return Survey(linuxPlatform, *report).run();
}

}  // namespace keynote_capture
