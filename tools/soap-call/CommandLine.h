#pragma once

#include "commandline/Program.h"

#include <string>
#include <vector>

namespace soap_call {

/// What the command line asks for.
struct Options {
    std::string url;
    std::string callNamespace;
    std::string extension;
    std::string method;
    std::vector<std::string> parameters;
    bool ignoreCertificateErrors = false;
};

/// The tool's command line. Reading it sets the options, which must live as long.
[[nodiscard]] std::shared_ptr<CLI::App> makeCommandLine(Options& options);

}  // namespace soap_call
