#pragma once

#include "ports/Log.h"

/// The console log on standard error: one line per message with the program's name in front, in one write.
class StandardErrorLog final : public ConsoleLog {
public:
    void write(std::string_view message) override;
};
