#include "platform/linux/LinuxPlatform.h"

#include "ports/CaptureNames.h"

#include <sys/resource.h>

namespace {

/// Each host and each wait for saving may have connections of its own, beyond what a session gives a process at first.
void takeAllDescriptors() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    static_cast<void>(::setrlimit(RLIMIT_NOFILE, &limit));
}

/// Whoever ends a session waits two seconds without noticing.
constexpr std::chrono::milliseconds kLongestEnd{1500};

}  // namespace

LinuxPlatform::LinuxPlatform(const Options& options)
    : dispatch_(consoleLog_, [this](int status) { giveUp(status); }),
      computerSearch_(dispatch_.mainQueue(), options.searchRoots),
      bus_(options.usesSessionBus ? openBus() : nullptr),
      workspace_(bus_, dispatch_.mainQueue(), {kKeynoteBundleIdentifier}),
      scripting_(
          dispatch_.mainQueue(), [this](pid_t process) { return workspace_.busNameOfProcess(process); },
          [this](const std::string& bundle) { return workspace_.busNameOfBundle(bundle); }),
      urlSessions_(options.makeURLSessions ? options.makeURLSessions(bundles_) : nullptr),
      idleTermination_(dispatch_, options.exitWhenIdle, [this] { listener_.endIfUnused(); }),
      listener_(bus_, dispatch_, consoleLog_,
                {[this] { idleTermination_.hostConnected(); }, [this] { idleTermination_.hostLeft(); }}),
      platform_{.clock = clock_,
                .dispatch = dispatch_,
                .fileManager = fileManager_,
                .directories = directories_,
                .bundles = bundles_,
                .metadataQueries = computerSearch_,
                .workspace = workspace_,
                .scripting = scripting_,
                .windowServer = windowServer_,
                .text = text_,
                .xml = xml_,
                .automaticTermination = idleTermination_,
                .operatingSystem = operatingSystem_,
                .unifiedLog = unifiedLog_,
                .consoleLog = consoleLog_,
                .userDefaults = userDefaults_,
                .urlSessions = urlSessions_.get(),
                .threads = &threads_} {
    takeAllDescriptors();
}

LinuxPlatform::~LinuxPlatform() {
    dispatch_.joinThreads();
    urlSessions_.reset();
    dispatch_.finish();
}

/// A program that hangs must not hold up the end.
void LinuxPlatform::giveUp(int status) {
    // First, for the case that one of the others is stuck itself.
    lastResort_.endProcessAfter(kLongestEnd, status);
    workspace_.shutDown();
    scripting_.shutDown();
}

void LinuxPlatform::start() {
    if (bus_) bus_->start([] {});
}

int LinuxPlatform::run() {
    start();
    const int status = dispatch_.run();
    if (bus_) bus_->stop();
    return status;
}

std::shared_ptr<bus::SessionBus> LinuxPlatform::openBus() {
    std::string problem;
    auto bus = bus::SessionBus::open(problem);
    if (!bus) consoleLog_.write(problem);
    return bus;
}
