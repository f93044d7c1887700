#pragma once

#include "commandline/Program.h"
#include "tools/keynote-capture/definition/Request.h"

namespace keynote_capture {

/// The tool's command line. Reading it sets the request, which must live as long.
[[nodiscard]] std::shared_ptr<CLI::App> makeCommandLine(Request& request);

}  // namespace keynote_capture
