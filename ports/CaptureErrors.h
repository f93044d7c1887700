#pragma once

#include <cstdint>

/// Domain of every error that the service makes itself. Others keep theirs: a failure of the file system comes with
/// `NSPOSIXErrorDomain` and its `errno`.
inline constexpr const char* KeynoteCaptureServiceErrorDomain = "KeynoteCaptureServiceErrorDomain";

/// Codes in `KeynoteCaptureServiceErrorDomain`. The last two come without a description: whoever shows them to people
/// has to word them.
enum class KeynoteCaptureServiceError : std::int64_t {
    /// A file stands where a directory is needed. Its path is in the user information.
    fileExistsAtDirectoryPath = 1,
    /// A start came without capture directory or recording ID.
    missingStartArgument = 2,
    /// No archive copy of the deck can be written into the capture directory.
    archiveNotSaved = 3,
    /// A directory is needed, and nobody has said where.
    missingDirectoryPath = 4,
    /// Not all slide images came in time.
    slideImagesMissing = 5,
    /// The program ended before it had finished saving.
    keynoteNotRunning = 6,
};
