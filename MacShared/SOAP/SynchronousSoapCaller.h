#pragma once

#include "MacShared/SOAP/ISoapCallback.h"
#include "MacShared/SOAP/ISoapCaller.h"
#include "MacShared/WorkerThread.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace shared {
struct SoapArguments;
}

/// Makes web service calls that block. A call is started on a worker thread that lives as long as this object; the
/// calling thread sleeps until the outcome has come over the caller's callback, at most 120 seconds.
///
/// One call at a time. A call that ran out of time goes on without us: if its answer comes before the next call has
/// been started, it is forgotten; if later, that next call takes it for its own.
class SynchronousSoapCaller final : public ISoapCallback, public std::enable_shared_from_this<SynchronousSoapCaller> {
public:
    /// `initWithSoapCaller:`: takes the caller's callback for itself. Throws `std::system_error` when the system has no
    /// thread to give.
    [[nodiscard]] static std::shared_ptr<SynchronousSoapCaller> initWithSoapCaller(std::shared_ptr<ISoapCaller> caller);
    /// Ends the worker thread and does not wait for that.
    ~SynchronousSoapCaller() override;
    SynchronousSoapCaller(const SynchronousSoapCaller&) = delete;
    SynchronousSoapCaller& operator=(const SynchronousSoapCaller&) = delete;

    /// `webServiceErrorMessage` and `soapTimeoutFailureReason`: texts of errors, in the user's language.
    [[nodiscard]] static const std::string& webServiceErrorMessage();
    [[nodiscard]] static const std::string& soapTimeoutFailureReason();

    /// `callSoapMethod:withNamespace:namespaceExtension:parameterNames:parameters:errorOut:`: the result, or nothing;
    /// `errorOut`, when given, then says why and is null on success: what `ISoapCallback` was told, or "Veldrin" 88
    /// when time ran out or the worker thread was closed. Arguments count up to the first that is missing: **without an
    /// extension there are no parameters**; pass an empty one. Not on the worker thread nor on the caller's callback
    /// thread. Throws `std::out_of_range` when there are fewer names than parameters.
    [[nodiscard]] std::optional<shared::SoapDictionary> callSoapMethod(
        const std::string& method, const std::optional<std::string>& withNamespace,
        const std::optional<std::string>& namespaceExtension,
        const std::optional<std::vector<std::string>>& parameterNames,
        const std::optional<shared::SoapArray>& parameters, ErrorPtr* errorOut);

    [[nodiscard]] const std::shared_ptr<ISoapCaller>& caller() const { return caller_; }
    [[nodiscard]] const std::shared_ptr<WorkerThread>& workerThread() const { return workerThread_; }

    void onSoapData(const shared::SoapDictionary& data, ISoapCaller& withCaller,
                    const std::shared_ptr<void>& withState) override;
    void onSoapError(const ErrorPtr& error, ISoapCaller& withCaller, const std::shared_ptr<void>& withState) override;

private:
    /// `results` and `error`.
    struct Outcome {
        std::optional<shared::SoapDictionary> results;
        ErrorPtr error;
        [[nodiscard]] bool isThere() const { return results || error; }
    };

    explicit SynchronousSoapCaller(std::shared_ptr<ISoapCaller> caller);
    /// Whether the worker thread has started the call.
    [[nodiscard]] bool start(const shared::SoapArguments& arguments);
    /// `doSoapCall:`, on the worker thread.
    void doSoapCall(const shared::SoapArguments& arguments);
    /// `assignSoapResult:andError:`
    void assignSoapResult(const std::optional<shared::SoapDictionary>& results, const ErrorPtr& andError);
    void deliver(const std::optional<shared::SoapDictionary>& results, const ErrorPtr& error);
    [[nodiscard]] Outcome takeOutcome();
    [[nodiscard]] Outcome waitForOutcome();

    const std::shared_ptr<ISoapCaller> caller_;
    const std::shared_ptr<Condition> soapCondition_;  ///< `soapCondition`: an outcome has come
    const std::shared_ptr<WorkerThread> workerThread_;
    std::mutex mutex_;
    Outcome outcome_;  ///< of the current call, empty until it arrives; guarded by `mutex_`
};
