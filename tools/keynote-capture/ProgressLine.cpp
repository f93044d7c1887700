#include "tools/keynote-capture/ProgressLine.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>

namespace keynote_capture {

ProgressLine::ProgressLine() : isTerminal_(isatty(STDERR_FILENO) == 1) {}

void ProgressLine::show(const std::string& line) {
    // In a file or a pipe such lines would pile up.
    if (!isTerminal_ || line == shown_) return;
    shown_ = line;
    std::fputs(fmt::format("\r\x1b[K{}", line).c_str(), stderr);
}

void ProgressLine::clear() {
    if (shown_.empty()) return;
    std::fputs("\r\x1b[K", stderr);
    shown_.clear();
}

std::string progressBar(std::size_t done, std::size_t all, std::string_view what) {
    constexpr std::size_t kWidth = 30;
    // Nothing to do is all done.
    const std::size_t filled = all == 0 ? kWidth : done * kWidth / all;
    return fmt::format("[{}{}] {} of {} {}", std::string(filled, '#'), std::string(kWidth - filled, '.'), done, all,
                       what);
}

}  // namespace keynote_capture
