#pragma once

#include <exception>
#include <functional>
#include <string>

namespace runtime {

/// Hears what a task throws, on the task's thread.
using Report = std::function<void(const std::string&)>;

/// The one place where an exception that escapes a task ends.
template <typename Call, typename Hear>
void runReporting(const Call& task, const Hear& report) {
    try {
        task();
    } catch (const std::exception& error) {
        report(error.what());
    } catch (...) {
        report("for an unknown reason");
    }
}

}  // namespace runtime
