#pragma once

#include "ports/Log.h"

/// The unified log in systemd's journal: fields `MESSAGE`, `SUBSYSTEM`, `CATEGORY` and `PRIORITY` 5 (notice).
/// Whether there is a journal is looked up once, so that without one a message costs nothing.
class JournalLog final : public UnifiedLog {
public:
    JournalLog();
    [[nodiscard]] bool isDefaultLevelEnabled() const override { return hasJournal_; }
    void write(const std::string& subsystem, const std::string& category, std::string_view message) override;

private:
    const bool hasJournal_;
};
