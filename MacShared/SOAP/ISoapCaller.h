#pragma once

#include "MacShared/SOAP/SoapValue.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class ISoapCallback;

/// Calls web services, one call at a time. All operations may be called from any thread.
class ISoapCaller {
public:
    virtual ~ISoapCaller() = default;
    /// `callSoapMethod:withNamespace:namespaceExtension:parameterNames:parameters:withState:`: starts the call and
    /// returns at once. What becomes of it is told to the callback, together with the state. Without either list there
    /// are no parameters. Throws `std::out_of_range` when there are fewer names than parameters, and
    /// `std::system_error` when the system has no thread to give; there is no call then.
    virtual void callSoapMethod(const std::string& method, const std::optional<std::string>& withNamespace,
                                const std::optional<std::string>& namespaceExtension,
                                const std::optional<std::vector<std::string>>& parameterNames,
                                const std::optional<shared::SoapArray>& parameters,
                                std::shared_ptr<void> withState) = 0;

    /// `callback`, held weakly. Setting it to null cancels the call under way, in place of
    /// `observeValueForKeyPath:ofObject:change:context:`.
    [[nodiscard]] virtual std::shared_ptr<ISoapCallback> callback() const = 0;
    virtual void setCallback(const std::shared_ptr<ISoapCallback>& callback) = 0;
    /// `url` of the service, http or https.
    [[nodiscard]] virtual std::string url() const = 0;
    virtual void setUrl(std::string url) = 0;
};
