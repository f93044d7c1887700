#include "platform/linux/JournalLog.h"

#include <sys/uio.h>
#include <unistd.h>
#include <array>
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace {

iovec fieldFrom(std::string& text) {
    return {text.data(), text.size()};
}

}  // namespace

JournalLog::JournalLog() : hasJournal_(::access("/run/systemd/journal/socket", W_OK) == 0) {}

void JournalLog::write(const std::string& subsystem, const std::string& category, std::string_view message) {
    if (!hasJournal_) return;
    std::string messageField = "MESSAGE=";
    messageField += message;
    std::string subsystemField = "SUBSYSTEM=" + subsystem;
    std::string categoryField = "CATEGORY=" + category;
    std::string priorityField = "PRIORITY=5";
    const std::array fields{fieldFrom(messageField), fieldFrom(subsystemField), fieldFrom(categoryField),
                            fieldFrom(priorityField)};
    sd_journal_sendv(fields.data(), static_cast<int>(fields.size()));
}
