#include "MacShared/SOAP/SoapRequest.h"

#include "MacShared/MTOMHelpers.h"
#include "MacShared/MessageFormat.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "MacShared/SOAP/SoapEnvelope.h"
#include "MacShared/VELVersionInfo.h"

namespace shared {

namespace {

// They only have to agree within a message.
constexpr const char* kStartID = "http://www.veldrin.com/soap/mtom/0";
constexpr const char* kBufferID = "http://www.veldrin.com/soap/mtom/1";
constexpr Duration kTimeout = std::chrono::seconds(60);

/// Made once: to ask for the versions is to look at the disk.
const std::string& userAgent() {
    // Servers know the form with its two empty fields.
    static const std::string agent =
        formatMessage("Veldrin/%@ CFNetOSX/%@ Darwin/%@ Mac OS X/%@", VELVersionInfo::buildVersionString(), "", "",
                      VELVersionInfo::osVersionString());
    return agent;
}

}  // namespace

URLRequest makeSoapRequest(const std::string& url, const SoapArguments& call, bool log) {
    const auto& [method, callNamespace, extension, parameterNames, parameters] = call;
    std::optional<SoapBytes> buffer;
    std::int32_t bufferIndex = -1;
    const auto withInclude =
        parameters ? MTOMHelpers::MTOMParametersWithIDForBuffer(kBufferID, *parameters, buffer, &bufferIndex)
                   : std::nullopt;
    auto envelope = createSOAPBodyFromMethod(method, callNamespace, extension, parameterNames,
                                             withInclude ? withInclude : parameters, bufferIndex);
    if (log) VELLog("Calling SOAP method with XML: %@", envelope);

    URLRequest request{url, "POST", {}, nullptr, kTimeout};
    auto& headers = request.httpHeaderFields;
    headers.setValue(userAgent(), "User-Agent");
    if (buffer) {
        std::optional<std::string> boundary;
        envelope = MTOMHelpers::MTOMBodyFromEnvelope(envelope, buffer->view(), kStartID, kBufferID, boundary);
        headers.setValue(MTOMHelpers::MTOMContentTypeWithBoundary(boundary.value_or(""), kStartID), "Content-Type");
    } else {
        headers.addValue("text/xml; charset=utf-8", "Content-Type");
    }
    const auto action = combineNamespace(callNamespace, extension, method);
    headers.addValue('"' + action + '"', "SOAPAction");
    request.httpBody = std::make_shared<const std::string>(std::move(envelope));
    return request;
}

}  // namespace shared
