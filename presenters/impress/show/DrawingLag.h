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

/// Whether what a show has hidden is drawn before the office passes the focus on. LibreOffice 7.4 draws within 13 ms of
/// the end and passes it on after 12 to 25, always later; 25.2 passes it on after 9 ms, before it draws (measured by
/// the benchmark `truth`). `version` is the office's, such as "7.4"; one that is not known counts as a late one.
[[nodiscard]] bool drawsBeforeFocus(std::string_view version);

}  // namespace impress
