#include "MacShared/NSBundle+VELLogAdditions.h"

#include "MacShared/LogRun.h"
#include "MacShared/NSFileManager+VELAdditions.h"
#include "ports/Clock.h"
#include "ports/Log.h"
#include "ports/Platform.h"

#include <map>
#include <mutex>
#include <utility>

namespace {

constexpr const char* kTimeStampPattern = "Y-MM-dd HH:mm:ss.SSSZ";

/// What a run of the log makes once.
struct LogRun {
    std::once_flag formatterOnce;
    std::shared_ptr<const DateFormatter> formatter;
    std::once_flag fileOnce;
    std::unique_ptr<FileHandle> file;
    std::mutex placesMutex;
    std::map<std::weak_ptr<const Bundle>, std::shared_ptr<const DefaultLog>, std::owner_less<>> places;
};

LogRun*& currentRun() {
    // Never destroyed: whatever ends with the process may still log.
    static auto* run = new LogRun;
    return run;
}

std::unique_ptr<FileHandle> openLogFile() {
    const auto& services = platform();
    const auto url = logFileURL();
    // Emptied: the file holds one run, and yesterday's lines would be taken for today's.
    if (!url || services.fileManager.createFile(*url, "")) {
        services.consoleLog.write(shared::formatMessage("Unable to create log file at: %@", url));
        return nullptr;
    }
    ErrorPtr error;
    auto handle = services.fileManager.openForWriting(*url, error);
    if (!handle) {
        services.consoleLog.write(shared::formatMessage("Unable to open log file at: %@, error: %@", *url, error));
    }
    return handle;
}

}  // namespace

void shared::beginNewLogRun() {
    // Closes the file, too.
    delete std::exchange(currentRun(), new LogRun);
}

const DateFormatter& VELLogDateFormatter() {
    LogRun& run = *currentRun();
    std::call_once(run.formatterOnce, [&run] { run.formatter = platform().text.makeDateFormatter(kTimeStampPattern); });
    return *run.formatter;
}

std::optional<std::filesystem::path> applicationSupportDirectory() {
    const auto& services = platform();
    auto name = services.bundles.mainBundle()->infoString("CFBundleExecutable");
    // The host keeps its files under its product's name.
    if (name == "Veldrin") name = "Veldrin Recorder";
    ErrorPtr error;
    auto url = findOrCreateDirectory(services.fileManager, SearchPathDirectory::applicationSupport,
                                     SearchPathDomain::user, name, &error);
    if (!url) {
        services.consoleLog.write(
            shared::formatMessage("Unable to find or create application support directory:\n%@", error));
    }
    return url;
}

std::optional<std::filesystem::path> logFileURL() {
    auto url = applicationSupportDirectory();
    if (url) *url /= "Veldrin.log";
    return url;
}

FileHandle* logFileHandle() {
    LogRun& run = *currentRun();
    std::call_once(run.fileOnce, [&run] { run.file = openLogFile(); });
    return run.file.get();
}

std::shared_ptr<const DefaultLog> defaultLog(const std::shared_ptr<const Bundle>& bundle) {
    LogRun& run = *currentRun();
    const std::lock_guard lock(run.placesMutex);
    auto& place = run.places[bundle];
    if (!place) {
        place =
            std::make_shared<const DefaultLog>(DefaultLog{bundle->infoString("CFBundleIdentifier").value_or(""), ""});
        // Whenever one is added, so that the list holds no more than there are bundles.
        std::erase_if(run.places, [](const auto& each) { return each.first.expired(); });
    }
    return place;
}

std::shared_ptr<const DefaultLog> defaultLog() {
    return defaultLog(platform().bundles.mainBundle());
}

void VELLogMessage(std::string_view message) {
    const auto& services = platform();
    const auto log = defaultLog();
    if (services.unifiedLog.isDefaultLevelEnabled()) services.unifiedLog.write(log->subsystem, log->category, message);

    const std::string date = VELLogDateFormatter().stringFromDate(services.clock.now());
    std::string line;
    // One string, so that the line is one write: threads log at the same time.
    line.reserve(date.size() + message.size() + 2);
    line.append(date).append(" ").append(message).append("\n");
    if (FileHandle* file = logFileHandle()) file->write(line);
}
