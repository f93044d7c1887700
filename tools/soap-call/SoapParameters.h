#pragma once

#include "MacShared/SOAP/SoapValue.h"

#include <string>
#include <vector>

namespace soap_call {

/// The parameters of a web service call, from the command line.
struct SoapParameters {
    std::vector<std::string> names;
    shared::SoapArray values;
};

/// Reads `NAME=TEXT`, `NAME:int=3`, `NAME:double=2.5`, `NAME:guid=…` and `NAME@=FILE`. Throws `std::invalid_argument`
/// with a sentence that says what is wrong, with what was given as it is.
[[nodiscard]] SoapParameters parseSoapParameters(const std::vector<std::string>& arguments);

/// Whether an element may have this name. Not all of XML's rule: enough that a typing error does not break the
/// envelope.
[[nodiscard]] bool isElementName(const std::string& name);

}  // namespace soap_call
