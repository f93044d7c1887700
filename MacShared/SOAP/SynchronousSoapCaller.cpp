#include "MacShared/SOAP/SynchronousSoapCaller.h"

#include "MacShared/LocalizedFormat.h"
#include "MacShared/SOAP/SoapRequest.h"
#include "MacShared/VeldrinError.h"
#include "ports/Clock.h"
#include "ports/Platform.h"

#include <utility>

namespace {

constexpr Duration kLongestWait = std::chrono::seconds(120);

ErrorPtr timeoutError() {
    return std::make_shared<const Error>(
        VeldrinErrorDomain, VeldrinErrorSOAPTimeout,
        Error::UserInfo{{NSLocalizedDescriptionKey, SynchronousSoapCaller::webServiceErrorMessage()},
                        {NSLocalizedFailureReasonErrorKey, SynchronousSoapCaller::soapTimeoutFailureReason()}});
}

/// The value, or nothing when what stands before it in a list is missing.
template <class Before, class Value>
const std::optional<Value>& unlessMissing(const Before& before, const std::optional<Value>& value) {
    static const std::optional<Value> kNothing;
    return before ? value : kNothing;
}

}  // namespace

SynchronousSoapCaller::SynchronousSoapCaller(std::shared_ptr<ISoapCaller> caller)
    : caller_(std::move(caller)),
      soapCondition_(platform().threads->makeCondition()),
      workerThread_(WorkerThread::init()) {}

std::shared_ptr<SynchronousSoapCaller> SynchronousSoapCaller::initWithSoapCaller(std::shared_ptr<ISoapCaller> caller) {
    // Looked up before there is a call, as those of the caller beneath.
    static_cast<void>(webServiceErrorMessage());
    static_cast<void>(soapTimeoutFailureReason());
    std::shared_ptr<SynchronousSoapCaller> blocking(new SynchronousSoapCaller(std::move(caller)));
    blocking->caller_->setCallback(blocking);
    return blocking;
}

SynchronousSoapCaller::~SynchronousSoapCaller() {
    workerThread_->closeThread();
}

const std::string& SynchronousSoapCaller::webServiceErrorMessage() {
    static const std::string message = shared::localizedString("Webservice Failure");
    return message;
}

const std::string& SynchronousSoapCaller::soapTimeoutFailureReason() {
    static const std::string reason = shared::localizedString("Timeout waiting on SOAP call");
    return reason;
}

std::optional<shared::SoapDictionary> SynchronousSoapCaller::callSoapMethod(
    const std::string& method, const std::optional<std::string>& withNamespace,
    const std::optional<std::string>& namespaceExtension, const std::optional<std::vector<std::string>>& parameterNames,
    const std::optional<shared::SoapArray>& parameters, ErrorPtr* errorOut) {
    // The first call may come before the thread has begun to run its loop.
    workerThread_->waitForStart();
    // A list that ends at the first value that is missing.
    const auto& extension = unlessMissing(withNamespace, namespaceExtension);
    const auto& names = unlessMissing(extension, parameterNames);
    const auto& values = unlessMissing(names, parameters);
    auto outcome = start({method, withNamespace, extension, names, values}) ? waitForOutcome() : Outcome();
    if (!outcome.isThere()) outcome.error = timeoutError();
    if (errorOut != nullptr) *errorOut = outcome.error;
    return std::move(outcome.results);
}

bool SynchronousSoapCaller::start(const shared::SoapArguments& arguments) {
    const auto thread = workerThread_->thread();
    return thread && thread->performAndWait([&] { doSoapCall(arguments); });
}

void SynchronousSoapCaller::doSoapCall(const shared::SoapArguments& arguments) {
    // An answer that came late to the last call is forgotten before the next begins.
    assignSoapResult(std::nullopt, nullptr);
    caller_->callSoapMethod(arguments.method, arguments.callNamespace, arguments.extension, arguments.parameterNames,
                            arguments.parameters, nullptr);
}

/// Looks, waits once, and looks again. Empty when time ran out.
SynchronousSoapCaller::Outcome SynchronousSoapCaller::waitForOutcome() {
    const std::lock_guard lock(*soapCondition_);  // from before the look, so that no signal falls between look and wait
    auto outcome = takeOutcome();
    if (outcome.isThere()) return outcome;
    soapCondition_->waitUntilDate(platform().clock.steadyNow() + kLongestWait);
    return takeOutcome();
}

SynchronousSoapCaller::Outcome SynchronousSoapCaller::takeOutcome() {
    const std::lock_guard lock(mutex_);
    auto outcome = std::exchange(outcome_, {});
    // A failure counts, whatever came before it.
    if (outcome.error) outcome.results.reset();
    return outcome;
}

void SynchronousSoapCaller::assignSoapResult(const std::optional<shared::SoapDictionary>& results,
                                             const ErrorPtr& andError) {
    Outcome outcome{results, andError};
    const std::lock_guard lock(mutex_);
    std::swap(outcome_, outcome);
}

void SynchronousSoapCaller::deliver(const std::optional<shared::SoapDictionary>& results, const ErrorPtr& error) {
    assignSoapResult(results, error);
    const std::lock_guard lock(*soapCondition_);
    // With the lock held: the waiter is either before its look or in its wait.
    soapCondition_->signal();
}

void SynchronousSoapCaller::onSoapData(const shared::SoapDictionary& data, ISoapCaller& /*withCaller*/,
                                       const std::shared_ptr<void>& /*withState*/) {
    deliver(data, nullptr);
}

void SynchronousSoapCaller::onSoapError(const ErrorPtr& error, ISoapCaller& /*withCaller*/,
                                        const std::shared_ptr<void>& /*withState*/) {
    deliver(std::nullopt, error);
}
