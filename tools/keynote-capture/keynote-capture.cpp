/// The command line host of the capture service.

#include "commandline/Program.h"
#include "commandline/StandardStreams.h"
#include "commandline/Translation.h"
#include "runtime/OutOfMemory.h"
#include "tools/keynote-capture/definition/CommandLine.h"

#include <CLI/CLI.hpp>

namespace keynote_capture {
namespace {

struct Run {
    ExitStatus operator()(const RecordOptions& options) const { return record(options); }
    ExitStatus operator()(const StopPresentingOptions& options) const { return stopPresenting(options); }
    ExitStatus operator()(const WindowsOptions& options) const { return listWindows(options); }
    ExitStatus operator()(const ExtractOptions& options) const { return extract(options); }
    ExitStatus operator()(const WaitForSavingOptions& options) const { return waitForSaving(options); }
    ExitStatus operator()(const KeynotesOptions& options) const { return listKeynotes(options); }
    ExitStatus operator()(const ExportOptions& options) const { return exportLecture(options); }
    ExitStatus operator()(const RecoverOptions& options) const { return recover(options); }
    ExitStatus operator()(const SetupOptions& options) const { return setUpOffice(options); }
    ExitStatus operator()(const StatusOptions& options) const { return status(options); }
};

bool isForPrograms(const Request& request) {
    return std::visit(
        [](const auto& options) {
            if constexpr (requires { options.json; }) return options.json;
            return false;
        },
        request);
}

int run(int argc, char** argv) try {
    openStandardStreams();
    runtime::endProcessWhenMemoryRunsOut();
    useLanguageOfUser();
    Request request;
    const auto program = makeCommandLine(request);
    if (const auto status = readCommandLine(*program, argc, argv)) return *status;
    if (isForPrograms(request)) useEnglish();
    return std::visit(Run(), request);
} catch (const std::exception& error) {
    complain(error.what());
    return kOperationFailed;
}

}  // namespace
}  // namespace keynote_capture

int main(int argc, char** argv) {
    return keynote_capture::run(argc, argv);
}
