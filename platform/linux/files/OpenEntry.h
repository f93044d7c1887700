#pragma once

#include "runtime/FileDescriptor.h"

namespace files {

/// Opens an entry of an open directory, but neither a symbolic link nor what is mounted there: none when it is one of
/// those, is gone or must not be read, with `errno` set. With O_PATH nothing is opened in earnest, and a link opens as
/// itself.
[[nodiscard]] runtime::FileDescriptor openEntry(int directory, const char* name, int flags);

}  // namespace files
