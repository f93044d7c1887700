#pragma once

#include "MacShared/MessageFormat.h"
#include "ports/Bundle.h"
#include "ports/FileManager.h"
#include "ports/Text.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// The log: every message goes to the unified log, at the default level and unredacted, and as a time-stamped line to
/// the file "Veldrin.log" in the process's Application Support folder. The file holds the current run only: the
/// first message of a run empties it. Logging never fails an operation.
///
/// Line format: `<date> <message>\n` in UTF-8, the date in the pattern "Y-MM-dd HH:mm:ss.SSSZ" (week-based year).

/// Where a bundle's messages go in the unified log.
struct DefaultLog {
    std::string subsystem;  ///< the bundle's identifier, or empty
    std::string category;   ///< empty
};

/// `VELLogDateFormatter`: formats the log's time stamps; one for the process, made at the first message (`load`).
[[nodiscard]] const DateFormatter& VELLogDateFormatter();

/// `applicationSupportDirectory`: the main bundle's folder in the user's Application Support directory, created when
/// missing; nothing on failure, which the console log tells. Named after the executable, but "Veldrin Recorder" for
/// "Veldrin".
[[nodiscard]] std::optional<std::filesystem::path> applicationSupportDirectory();

/// `logFileURL`: `applicationSupportDirectory` / "Veldrin.log".
[[nodiscard]] std::optional<std::filesystem::path> logFileURL();

/// `logFileHandle`: the log file, emptied and opened by the first call of the run; null when that failed, for the rest
/// of the run.
[[nodiscard]] FileHandle* logFileHandle();

/// `defaultLog`: the bundle's place in the unified log, made at its first call and kept as long as the bundle.
[[nodiscard]] std::shared_ptr<const DefaultLog> defaultLog(const std::shared_ptr<const Bundle>& bundle);
/// `defaultLog`: the main bundle's.
[[nodiscard]] std::shared_ptr<const DefaultLog> defaultLog();

/// Writes a finished message. Any thread; lines of concurrent callers stay whole.
void VELLogMessage(std::string_view message);

/// `VELLog(format, arguments...)`: formats and writes a message. Any thread.
template <class... Args>
void VELLog(const shared::MessageFormat<std::type_identity_t<Args>...>& format, const Args&... args) {
    VELLogMessage(shared::formatMessage<Args...>(format, args...));
}
