#pragma once

#include "ports/Scripting.h"

#include <string>

namespace presenters {

/// When the shows of a program did what: what a program that watches them tells with each poll. It keeps the latest
/// visits of the running show, and those of the last one until the next starts. One thread.
class ShowTimes {
public:
    void started(const TimeBounds& at);
    /// A show runs already: its start is not known, nor what it has shown so far.
    void joined() { times_ = {}; }
    void shown(std::int64_t slide, std::int64_t position, const TimeBounds& at);
    void ended(const std::string& documentID, const TimeBounds& at);

    [[nodiscard]] const ScriptingTimes& times() const { return times_; }

private:
    ScriptingTimes times_;
};

}  // namespace presenters
