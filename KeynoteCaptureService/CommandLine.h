#pragma once

#include <memory>
#include <optional>

namespace CLI {
class App;
}  // namespace CLI

/// What the command line asks for.
struct ServiceOptions {
    std::optional<double> exitWhenIdle;  ///< seconds without a host; never when not given
};

/// The service's command line. Reading it sets the options, which must live as long.
[[nodiscard]] std::shared_ptr<CLI::App> makeCommandLine(ServiceOptions& options);
