#include "bus/Failure.h"

#include "runtime/Report.h"

#include <cstdio>

namespace bus {

std::optional<Failure> failureOf(const char* name, const std::function<void()>& work) {
    try {
        translated(work);
        return std::nullopt;
    } catch (const Failure& failure) {
        return failure;
    } catch (const std::exception& error) {
        return Failure(name, error.what());
    } catch (...) {
        return Failure(name, "The call failed for an unknown reason.");
    }
}

void guarded(const std::function<void()>& work) noexcept {
    // Anybody can send a message that fails so; a line for each would let them fill the journal.
    const auto unlessOfTheBus = [&] {
        try {
            translated(work);
        } catch (const Failure&) {
            return;
        }
    };
    runtime::runReporting(unlessOfTheBus, [](const std::string& reason) {
        // Not a stream, which may throw.
        std::fprintf(stderr, "A message on the bus could not be served: %s\n", reason.c_str());
    });
}

}  // namespace bus
