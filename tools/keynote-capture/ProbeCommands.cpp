#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/EventJSON.h"
#include "tools/keynote-capture/Probe.h"

#include <cstdio>

namespace keynote_capture {
namespace {

constexpr const char* kNoProgram = translatable("No presentation program is running.");

bool isWritten(const std::string& text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

}  // namespace

ExitStatus stopPresenting(const StopPresentingOptions& options) {
    Probe probe;
    if (!probe.waitForProgram()) return probe.failed(translation(kNoProgram));
    if (!probe.waitForShow()) return probe.failed(translated("No slide show is running."));
    probe.stopPresenting();
    // The service reports the end of a show when the image of the slide has been exported.
    if (!probe.waitForEndOfShow(std::chrono::seconds(10))) {
        return probe.failed(
            translated("The presentation program was asked to end the slide show, but its end was not confirmed within "
                       "ten seconds."));
    }
    if (options.json && !isWritten(outputLineOf(Json{{"event", "stoppedPresenting"}}))) return kOperationFailed;
    return kDone;
}

ExitStatus listWindows(const WindowsOptions& options) {
    Probe probe;
    if (!probe.waitForProgram()) return probe.failed(translation(kNoProgram));
    if (!probe.waitForWindows(options.scriptable))
        return probe.failed(translated("The capture service did not describe the windows."));
    if (probe.windows().empty() && !options.json) {
        complain(translated("The presentation program shows no windows."));
        return kDone;
    }
    const auto text = options.json ? outputLineOf(Json{{"event", "windows"}, {"description", probe.windows()}})
                                   : printableText(probe.windows(), LineFeeds::kept);
    return isWritten(text) ? kDone : probe.failed(translated("Cannot write the windows."));
}

}  // namespace keynote_capture
