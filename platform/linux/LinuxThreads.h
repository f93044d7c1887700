#pragma once

#include "ports/Thread.h"

/// Threads of the system. Their run loops wait for work as long as it takes and never fail.
class LinuxThreads final : public Threads {
public:
    void detachNewThread(std::string label, Main main) override;
    [[nodiscard]] std::shared_ptr<Condition> makeCondition() override;
};
