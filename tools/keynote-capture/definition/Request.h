#pragma once

#include "tools/keynote-capture/Commands.h"

#include <variant>

namespace keynote_capture {

/// What the command line asks for.
using Request = std::variant<RecordOptions, StopPresentingOptions, WindowsOptions, ExtractOptions, WaitForSavingOptions,
                             KeynotesOptions, ExportOptions, RecoverOptions, SetupOptions, StatusOptions>;

}  // namespace keynote_capture
