#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/Inbox.h"
#include "tools/keynote-capture/Recording.h"
#include "tools/keynote-capture/hook/Hook.h"

namespace keynote_capture {

ExitStatus record(const RecordOptions& options) {
    Inbox inbox;
    // After the inbox, so that the thread takes no signals.
    std::optional<Hook> hook;
    if (!options.hook.empty()) hook.emplace(options.hook);
    Recording recording(options, inbox, hook ? &*hook : nullptr);
    if (const auto status = recording.begin()) return *status;
    for (;;) {
        if (const auto status = std::visit(recording, inbox.next(recording.deadline()))) return *status;
    }
}

}  // namespace keynote_capture
