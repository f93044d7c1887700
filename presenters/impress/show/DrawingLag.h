#pragma once

#include <sys/types.h>
#include <chrono>
#include <string_view>

namespace impress {

/// How much later than the office has drawn something that may be on the screen. With its plain X11 windows not at all:
/// it waits for the display. GTK and Qt draw when they see fit, 70 ms later on a busy machine.
/// `maps` is what the kernel tells of the office's memory, the libraries with its windows among it.
[[nodiscard]] std::chrono::milliseconds drawingLag(std::string_view maps);
/// The same for a running office.
[[nodiscard]] std::chrono::milliseconds drawingLagOf(pid_t office);

}  // namespace impress
