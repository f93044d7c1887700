#include "KeynoteCaptureService/ServiceDelegate.h"
#include "platform/linux/LinuxPlatform.h"
#include "runtime/OutOfMemory.h"

#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>

/// The process: wires the platform behind the ports and serves hosts until it is told to end.
int main(int argc, char** argv) {
    // Language and characters follow the user; numbers in messages keep their point.
    std::setlocale(LC_CTYPE, "");
    std::setlocale(LC_MESSAGES, "");
    // Standard error may be closed at the other end; that must not end a recording.
    std::signal(SIGPIPE, SIG_IGN);
    // Half of its work done would be worse than none: hosts hear that it went, and the bus starts it again.
    runtime::endProcessWhenMemoryRunsOut();

    CLI::App arguments("Watches a presentation program for hosts that record lectures. Started by the session bus.",
                       "KeynoteCaptureService");
    arguments.set_version_flag("--version", KCS_VERSION);
    double idleSeconds = 0;
    const auto* idle = arguments
                           .add_option("--exit-when-idle", idleSeconds,
                                       "End after this many seconds without a host; otherwise run until told to end")
                           ->type_name("SECONDS")
                           ->check(CLI::PositiveNumber);
    try {
        arguments.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return arguments.exit(error) == 0 ? 0 : 2;
    }

    ServiceDelegate delegate;
    LinuxPlatform::Options options;
    if (idle->count() > 0) options.exitWhenIdle = delayFromSeconds(idleSeconds);
    LinuxPlatform linuxPlatform(options);
    installPlatform(&linuxPlatform.platform());

    linuxPlatform.listener().setDelegate(&delegate);
    return linuxPlatform.listener().resume();
}
