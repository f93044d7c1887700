#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/Inbox.h"
#include "tools/keynote-capture/Recording.h"

namespace keynote_capture {

ExitStatus record(const RecordOptions& options) {
    Inbox inbox;
    Recording recording(options, inbox);
    if (const auto status = recording.begin()) return *status;
    for (;;) {
        if (const auto status = std::visit(recording, inbox.next(recording.deadline()))) return *status;
    }
}

}  // namespace keynote_capture
