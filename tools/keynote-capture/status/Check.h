#pragma once

#include <string>
#include <vector>

namespace keynote_capture {

/// One thing that a recording needs.
struct Check {
    enum class State {
        ok,
        warning,  ///< a recording works, perhaps later or not in every respect
        failed    ///< a recording does not work before this is cured
    };

    const char* name = "";  ///< in English
    State state = State::ok;
    std::string sentence;
    std::string cure = {};  ///< a command, or what else helps; empty when nothing is needed
};

using Checks = std::vector<Check>;

[[nodiscard]] const char* nameOf(Check::State state);
/// The first that failed, else the first warning about a program that is not there yet; null when nothing is missing.
[[nodiscard]] const Check* firstMissing(const Checks& checks);

}  // namespace keynote_capture
