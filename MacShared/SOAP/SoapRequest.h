#pragma once

#include "MacShared/SoapValue.h"
#include "ports/HTTP.h"

#include <optional>
#include <string>
#include <vector>

/// The HTTP request of a web service call: a SOAP 1.1 envelope as plain XML, or in a multipart body beside the last of
/// the parameters that is bytes. It fails when no byte passes for 60 seconds. With `log` the envelope is logged.
[[nodiscard]] URLRequest makeSoapRequest(const std::string& url, const std::string& method,
                                         const std::optional<std::string>& withNamespace,
                                         const std::optional<std::string>& namespaceExtension,
                                         const std::optional<std::vector<std::string>>& parameterNames,
                                         const std::optional<SoapArray>& parameters, bool log);
