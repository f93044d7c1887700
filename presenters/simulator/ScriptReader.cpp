#include "presenters/simulator/ScriptReader.h"

#include "base/Trimmed.h"

#include <fmt/format.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <sstream>
#include <utility>

namespace simulator {
namespace {

constexpr std::size_t kLongestLine = 65536;
constexpr const char* kInputName = "standard input";

}  // namespace

ScriptReader::ScriptReader(Simulator& simulator, BadLine onBadLine)
    : simulator_(simulator), onBadLine_(std::move(onBadLine)) {}

void ScriptReader::read(const std::string& text, const std::string& name) {
    std::vector<Simulator::Entry> entries;
    std::istringstream lines(text);
    lines.exceptions(std::ios::badbit);  // want of memory must not pass for the end of the script
    for (std::string line; std::getline(lines, line);) {
        if (!parse(line, name, entries)) return;
    }
    // Only now: a script with a bad line near its end must not have moved the program before that is found.
    handOver(entries);
    simulator_.end();
}

void ScriptReader::follow(runtime::Loop& loop, int descriptor) {
    watch_ = loop.watch(descriptor, [this, descriptor] { takeInput(descriptor); });
}

void ScriptReader::takeInput(int descriptor) {
    std::array<char, 4096> buffer{};
    const ssize_t size = ::read(descriptor, buffer.data(), buffer.size());
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) return;
    const bool atEnd = size <= 0;
    // The last line counts also without its line feed.
    if (atEnd && !input_.empty()) input_ += '\n';
    if (!atEnd) input_.append(buffer.data(), static_cast<std::size_t>(size));
    takeLines();
    if (!atEnd || !watch_) return;
    watch_.reset();
    simulator_.end();
}

void ScriptReader::takeLines() {
    std::vector<Simulator::Entry> entries;
    for (auto end = input_.find('\n'); end != std::string::npos; end = input_.find('\n')) {
        if (!parse(std::string_view(input_).substr(0, end), kInputName, entries)) return watch_.reset();
        input_.erase(0, end + 1);
    }
    handOver(entries);
    // Whoever writes to us for ever without a line feed must not fill the memory.
    if (input_.size() <= kLongestLine) return;
    onBadLine_(fmt::format("{}:{}: The line is longer than {} bytes.", kInputName, line_ + 1, kLongestLine));
    watch_.reset();
}

/// Adds the command of the line to the entries, if it has one. False when the line is bad.
bool ScriptReader::parse(std::string_view text, const std::string& name, std::vector<Simulator::Entry>& entries) {
    const std::string place = fmt::format("{}:{}", name, ++line_);
    Line line = parseLine(text);
    if (!line.error.empty()) onBadLine_(place + ": " + line.error);
    if (line.command) entries.push_back({std::move(*line.command), std::string(trimmed(text, " \t\r")), place});
    return line.error.empty();
}

void ScriptReader::handOver(std::vector<Simulator::Entry>& entries) {
    for (auto& entry : entries) simulator_.add(std::move(entry));
}

}  // namespace simulator
