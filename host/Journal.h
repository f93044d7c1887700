#pragma once

#include "runtime/FileDescriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// A file of lines that outlives its writer: each line is on the disk before `append` returns, and one that a crash has
/// torn spoils neither those before nor those after it. One thread.
class Journal {
public:
    /// Opens the file for appending, creating it when it is missing; the directory must be there. Nothing with `errno`
    /// set when that fails, `EWOULDBLOCK` when another writer has it open.
    [[nodiscard]] static std::optional<Journal> open(const std::filesystem::path& file);

    /// Appends the line, which holds no line feed itself, and has the disk take it (fdatasync). False with `errno` set
    /// when it could not be written; the next one is tried all the same.
    [[nodiscard]] bool append(std::string_view line);

private:
    Journal(runtime::FileDescriptor file, bool isTorn) : file_(std::move(file)), isTorn_(isTorn) {}

    runtime::FileDescriptor file_;
    bool isTorn_;  ///< the last line lacks its end
};

/// Has the disk take a file's bytes, or a directory's names, before a journal tells of them: a power cut then leaves
/// both. Nothing happens when it cannot be read.
void sync(const std::filesystem::path& path);

/// Whether a writer has the journal open. False also when there is none.
[[nodiscard]] bool isBeingWritten(const std::filesystem::path& journal);

/// The complete lines of a journal, oldest first, without their line feeds: what follows the last line feed was being
/// written when its writer died. Of a file larger than 64 MiB the lines within the first 64 MiB; nothing of a file that
/// cannot be read. Torn lines in the middle are among them: whoever parses the lines passes over those.
[[nodiscard]] std::vector<std::string> journalLines(const std::filesystem::path& file);

}  // namespace host
