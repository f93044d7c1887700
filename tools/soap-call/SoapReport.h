#pragma once

#include "MacShared/SOAP/SoapValue.h"
#include "base/Error.h"

#include <string>

namespace soap_call {

/// What a web service answered, as JSON in the order of the document; fit for a terminal.
[[nodiscard]] std::string soapResponseText(const shared::SoapDictionary& response);

/// What went wrong, for people: a sentence, then domain and code, reason and body on lines of their own, the last one
/// without its end.
[[nodiscard]] std::string soapErrorText(const Error& error);

}  // namespace soap_call
