#include "tools/keynote-capture/ProgressLine.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace keynote_capture {
namespace {

std::size_t terminalColumns() {
    winsize size{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return isKnown ? size.ws_col : 80;
}

}  // namespace

ProgressLine::ProgressLine() : isTerminal_(isatty(STDERR_FILENO) == 1) {}

void ProgressLine::show(const std::string& line) {
    // In a file or a pipe such lines would pile up.
    if (!isTerminal_ || line == shown_) return;
    shown_ = line;
    // A line that wraps could not be taken back, and most terminals wrap when the last column is taken.
    std::fputs(fmt::format("\r\x1b[K{}", cut(line, terminalColumns() - 1)).c_str(), stderr);
}

void ProgressLine::clear() {
    if (shown_.empty()) return;
    std::fputs("\r\x1b[K", stderr);
    shown_.clear();
}

std::string progressBar(std::size_t done, std::size_t all) {
    constexpr std::size_t kWidth = 30;
    // Nothing to do is all done.
    const std::size_t filled = all == 0 ? kWidth : done * kWidth / all;
    return fmt::format("[{}{}]", std::string(filled, '#'), std::string(kWidth - filled, '.'));
}

std::string cut(std::string_view text, std::size_t columns) {
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        const bool begins = (static_cast<unsigned char>(text[end]) & 0xC0U) != 0x80U;
        if (begins && columns-- == 0) break;
    }
    return std::string(text.substr(0, end));
}

}  // namespace keynote_capture
