#pragma once

#include "tools/keynote-capture/Request.h"

#include <memory>

namespace CLI {
class App;
}  // namespace CLI

namespace keynote_capture {

/// The tool's command line. Reading it sets the request, which must live as long.
[[nodiscard]] std::shared_ptr<CLI::App> makeCommandLine(Request& request);

}  // namespace keynote_capture
