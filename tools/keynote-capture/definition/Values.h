#pragma once

#include "commandline/Values.h"

#include <filesystem>
#include <string>

namespace keynote_capture {

/// What options of this tool may say.
[[nodiscard]] std::string checkRecordingID(const std::string& text);
[[nodiscard]] std::string checkOffset(const std::string& text);
[[nodiscard]] std::string checkSlides(const std::string& text);
[[nodiscard]] std::string checkCommand(const std::string& text);
[[nodiscard]] std::string checkPipe(const std::string& text);

/// The service has another working directory, and what it is told over the bus must hold there.
[[nodiscard]] std::filesystem::path absolutePath(const std::filesystem::path& path);
/// A directory has one name here, with and without a slash at its end.
[[nodiscard]] std::filesystem::path absoluteDirectory(const std::filesystem::path& path);

/// Options whose value is a path, made absolute as soon as it is read.
CLI::Option* addPath(CLI::App& command, const char* name, std::filesystem::path& path, const std::string& description);
CLI::Option* addDirectory(CLI::App& command, const char* name, std::filesystem::path& path,
                          const std::string& description);
/// Of the pipe on which an office listens.
void addPipe(CLI::App& command, std::string& pipe);

}  // namespace keynote_capture
