#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace keynote_capture {

/// One line about what is under way, shown on standard error if that is a terminal, and gone at the end.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine() { clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Replaces the line unless it is the same.
    void show(const std::string& line);
    /// Before anything else is written.
    void clear();

private:
    const bool isTerminal_;
    std::string shown_;
};

/// A bar for `done` of `all`.
[[nodiscard]] std::string progressBar(std::size_t done, std::size_t all);
/// As much of the text as fits into so many columns, each character taken for one.
[[nodiscard]] std::string cut(std::string_view text, std::size_t columns);

}  // namespace keynote_capture
