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
/// with a sentence that says what is wrong.
[[nodiscard]] SoapParameters parseSoapParameters(const std::vector<std::string>& arguments);

/// Complains by `std::invalid_argument` about what cannot be the name of an element; `what` says whose name it is.
void checkElementName(const std::string& name, const std::string& what);

}  // namespace soap_call
