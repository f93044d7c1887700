#pragma once

#include "MacShared/SOAP/SoapValue.h"
#include "base/Error.h"

#include <memory>

class ISoapCaller;

/// Receives what web service calls come to. Called on the HTTP client's queue, never on the thread that made the call.
/// The caller is lent for the call; it may be asked for its next call right away. What an operation throws ends the
/// process: there is nobody on that queue to hear of it.
class ISoapCallback {
public:
    virtual ~ISoapCallback() = default;
    /// `onSoapData:withCaller:withState:`: the service answered; see `SimpleSoapCaller` for the shape of the data.
    virtual void onSoapData(const shared::SoapDictionary& data, ISoapCaller& withCaller,
                            const std::shared_ptr<void>& withState) = 0;
    /// `onSoapError:withCaller:withState:`: it did not, or said that it could not. Never null.
    virtual void onSoapError(const ErrorPtr& error, ISoapCaller& withCaller,
                             const std::shared_ptr<void>& withState) = 0;
};
