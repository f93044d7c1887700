#pragma once

#include "MacShared/SOAP/SoapValue.h"
#include "ports/HTTP.h"

#include <optional>
#include <string>
#include <vector>

namespace shared {

/// The arguments of a web service call, as `ISoapCaller` takes them. They are lent: parameters may be megabytes.
struct SoapArguments {
    const std::string& method;
    const std::optional<std::string>& callNamespace;
    const std::optional<std::string>& extension;
    const std::optional<std::vector<std::string>>& parameterNames;
    const std::optional<SoapArray>& parameters;
};

/// The HTTP request of a web service call: a SOAP 1.1 envelope as plain XML, or in a multipart body beside the last of
/// the parameters that is bytes. It fails when no byte passes for 60 seconds. With `log` the envelope is logged.
[[nodiscard]] URLRequest makeSoapRequest(const std::string& url, const SoapArguments& call, bool log);

}  // namespace shared
