#include "KeynoteCaptureService/CommandLine.h"
#include "KeynoteCaptureService/ServiceDelegate.h"
#include "commandline/Program.h"
#include "commandline/Translation.h"
#include "platform/linux/LinuxPlatform.h"
#include "runtime/OutOfMemory.h"

#include <csignal>

/// The process: wires the platform behind the ports and serves hosts until it is told to end.
int main(int argc, char** argv) {
    useLanguageOfUser();
    // Standard error may be closed at the other end; that must not end a recording.
    std::signal(SIGPIPE, SIG_IGN);
    // Half of its work done would be worse than none: hosts hear that it went, and the bus starts it again.
    runtime::endProcessWhenMemoryRunsOut();

    ServiceOptions arguments;
    const auto program = makeCommandLine(arguments);
    if (const auto status = readCommandLine(*program, argc, argv)) return *status;

    ServiceDelegate delegate;
    LinuxPlatform::Options options;
    if (arguments.exitWhenIdle) options.exitWhenIdle = delayFromSeconds(*arguments.exitWhenIdle);
    LinuxPlatform linuxPlatform(options);
    installPlatform(&linuxPlatform.platform());

    linuxPlatform.listener().setDelegate(&delegate);
    return linuxPlatform.listener().resume();
}
