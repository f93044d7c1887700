#include "MacShared/SOAP/SimpleSoapCaller.h"

#include "MacShared/Atomic.h"
#include "MacShared/HTTPError.h"
#include "MacShared/LocalizedFormat.h"
#include "MacShared/MTOMHelpers.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "MacShared/SOAP/MultipartPayload.h"
#include "MacShared/SOAP/SoapRequest.h"
#include "MacShared/SOAP/SoapXMLAccumulator.h"
#include "MacShared/URLSessionDelegateProxy.h"
#include "base/UTF8.h"
#include "ports/Platform.h"
#include "ports/UserDefaults.h"
#include "ports/XML.h"

#include <new>

namespace {

shared::Atomic<URLSessionConfiguration>& sharedConfiguration() {
    static shared::Atomic<URLSessionConfiguration> configuration;
    return configuration;
}

/// The bytes as text, nothing when they are none.
std::optional<std::string> textFrom(std::string_view bytes) {
    return utf8::isValid(bytes) ? std::optional<std::string>(bytes) : std::nullopt;
}

ErrorPtr outOfMemory() {
    return makeError(NSURLErrorDomain, NSURLErrorDataLengthExceedsMaximum,
                     "The response is longer than memory allows.");
}

/// The method's result in place of its response element. An empty result reads as null.
shared::SoapDictionary unwrapped(const shared::SoapDictionary& value, const std::string& resultTag) {
    const auto* const response = value.find("response");
    const auto* const content = response == nullptr ? nullptr : response->dictionary();
    const auto* const result = content == nullptr ? nullptr : content->find(resultTag);
    if (result == nullptr) return value;
    const auto* const dictionary = result->dictionary();
    const bool isEmpty = dictionary != nullptr && dictionary->empty();
    return {{"response", isEmpty ? shared::SoapValue() : *result}};
}

}  // namespace

std::shared_ptr<SimpleSoapCaller> SimpleSoapCaller::init() {
    // Texts are looked up before there is a call, whose thread must not wait for a catalogue.
    static_cast<void>(webServiceErrorMessage());
    static_cast<void>(soapFailureReasonFormatString());
    std::shared_ptr<SimpleSoapCaller> caller(new SimpleSoapCaller);
    caller->logSoap_ = platform().userDefaults.boolForKey("LogSoap");
    caller->session_ = platform().urlSessions->sessionWithConfiguration(
        // Through the proxy: a session keeps its delegate, and would keep this caller alive for good.
        configuration(), std::make_shared<URLSessionDelegateProxy>(caller));
    return caller;
}

SimpleSoapCaller::~SimpleSoapCaller() {
    setSpinning(false);
    // The session is kept by its tasks, so the call would go on by itself.
    if (call_.task) call_.task->cancel();
    if (session_) session_->invalidateAndCancel();
}

URLSessionConfiguration SimpleSoapCaller::configuration() {
    return sharedConfiguration().get();
}

void SimpleSoapCaller::setConfiguration(URLSessionConfiguration configuration) {
    sharedConfiguration().set(std::move(configuration));
}

const std::string& SimpleSoapCaller::webServiceErrorMessage() {
    static const std::string message = shared::localizedString("Webservice Failure");
    return message;
}

const std::string& SimpleSoapCaller::soapFailureReasonFormatString() {
    static const std::string format = shared::localizedString("Failed to parse server response for method %1$@");
    return format;
}

void SimpleSoapCaller::callSoapMethod(const std::string& method, const std::optional<std::string>& withNamespace,
                                      const std::optional<std::string>& namespaceExtension,
                                      const std::optional<std::vector<std::string>>& parameterNames,
                                      const std::optional<shared::SoapArray>& parameters,
                                      std::shared_ptr<void> withState) {
    const auto task = session_->dataTaskWithRequest(shared::makeSoapRequest(
        url(), {method, withNamespace, namespaceExtension, parameterNames, parameters}, logSoap()));
    setSpinning(true);  // before the call can end
    assign(call_, Call{method, std::move(withState), task, {}, false});
    try {
        task->resume();
    } catch (...) {
        // There is no call; the state that came with it is released, as if it had ended.
        assign(call_, Call());
        setSpinning(false);
        throw;
    }
}

void SimpleSoapCaller::setCallback(const std::shared_ptr<ISoapCallback>& callback) {
    assign(callback_, std::weak_ptr(callback));
    // Nobody is left to be told, so the server need not be kept busy.
    const auto task = callback ? nullptr : locked(call_.task);
    if (task) task->cancel();
}

void SimpleSoapCaller::setSpinning(bool spinning) {
    std::shared_ptr<ISpinnerController> controller;
    {
        const std::lock_guard lock(mutex_);
        // A call that replaces another goes on spinning: people see one wait.
        if (std::exchange(spinning_, spinning) == spinning) return;
        controller = spinnerController_;
    }
    if (controller && spinning) controller->startSpinning();
    if (controller && !spinning) controller->stopSpinning();
}

bool SimpleSoapCaller::isCurrent(const URLSessionTask& task) const {
    return call_.task && call_.task->taskIdentifier() == task.taskIdentifier();
}

void SimpleSoapCaller::URLSessionDataTaskDidReceiveResponse(URLSession& /*session*/, URLSessionDataTask& dataTask,
                                                            const HTTPURLResponse& response,
                                                            const ResponseHandler& completionHandler) {
    Head head{response.statusCode, response.valueForHTTPHeaderField(VELErrorCodeHeader),
              MTOMHelpers::MTOMBoundaryFromContentType(response.valueForHTTPHeaderField("Content-Type"))};
    {
        const std::lock_guard lock(mutex_);
        // A call that was replaced goes on until its end and must not pass for the current one.
        if (isCurrent(dataTask)) head_ = std::move(head);
    }
    completionHandler(URLSessionResponseDisposition::allow);
}

void SimpleSoapCaller::URLSessionDataTaskDidReceiveData(URLSession& /*session*/, URLSessionDataTask& dataTask,
                                                        std::string_view data) {
    const std::lock_guard lock(mutex_);
    if (!isCurrent(dataTask) || call_.isOutOfMemory) return;
    try {
        call_.responseData += data;
    } catch (const std::bad_alloc&) {
        call_.isOutOfMemory = true;
        // Gives back what there is: others need memory, too.
        call_.responseData = {};
    }
}

void SimpleSoapCaller::URLSessionTaskDidCompleteWithError(URLSession& /*session*/, URLSessionTask& task,
                                                          const ErrorPtr& error) {
    Call call;
    Head head;
    {
        const std::lock_guard lock(mutex_);
        if (!isCurrent(task)) return;  // another call has taken its place
        call = std::exchange(call_, {});
        head = head_;
    }
    if (error) {
        processError(call, error);
    } else if (call.isOutOfMemory) {
        processError(call, outOfMemory());
    } else {
        processResponse(call, head);
    }
}

void SimpleSoapCaller::URLSessionTaskDidReceiveChallenge(URLSession& /*session*/, URLSessionTask& /*task*/,
                                                         const URLAuthenticationChallenge& challenge,
                                                         const ChallengeHandler& completionHandler) {
    using Disposition = URLSessionAuthChallengeDisposition;
    const auto& space = challenge.protectionSpace;
    // Passwords and client certificates are not for us.
    const bool isTrust = space.authenticationMethod == NSURLAuthenticationMethodServerTrust;
    std::optional<URLCredential> credential;  // without one the system judges
    if (isTrust && ignoreCertificateErrors()) credential = {space.serverTrust};
    completionHandler(isTrust ? Disposition::useCredential : Disposition::performDefaultHandling, credential);
}

void SimpleSoapCaller::processResponse(const Call& call, const Head& head) {
    if (logSoap()) VELLog("Server response loaded %s", "-[SimpleSoapCaller processResponse]");
    setSpinning(false);
    const bool isFailure = head.code >= 400;
    if (!isFailure && (head.code < 200 || head.code >= 300)) return;  // silence
    shared::SoapDictionary result;
    ErrorPtr error;
    try {
        // What is made of a response takes many times its size, so memory ends here if anywhere.
        error = isFailure ? failureFrom(call, head) : resultFrom(call, head, result);
    } catch (const std::bad_alloc&) {
        error = outOfMemory();
    }
    if (error) return deliverError(call, error);
    if (const auto receiver = callback()) receiver->onSoapData(result, *this, call.state);
}

void SimpleSoapCaller::processError(const Call& call, const ErrorPtr& error) {
    if (logSoap()) {
        VELLog("Connection Failed.  Error %@ (%@) %s", error, error->userInfo(), "-[SimpleSoapCaller processError:]");
    }
    setSpinning(false);
    deliverError(call, error);
}

ErrorPtr SimpleSoapCaller::failureFrom(const Call& call, const Head& head) const {
    auto body = textFrom(call.responseData);
    if (logSoap()) VELLog("HTTP %d: %@ ", head.code, body);
    return HTTPError::errorWithCode(head.code, platform().urlSessions->localizedStringForStatusCode(head.code),
                                    std::move(body), head.errorCode);
}

ErrorPtr SimpleSoapCaller::resultFrom(const Call& call, const Head& head, shared::SoapDictionary& result) const {
    const auto payload = head.boundary ? shared::multipartPayload(call.responseData, *head.boundary)
                                       : std::optional<std::string_view>(call.responseData);
    // Bytes that are no text print as null: a log of text stays one.
    if (logSoap()) VELLog("%@", textFrom(payload.value_or(call.responseData)));
    if (!payload) return unusableResponse(call);
    const auto resultTag = call.method + "Result";
    // Names by convention: services describe themselves so, and nobody reads a description here.
    SoapXMLAccumulator accumulator(call.method + "Response", resultTag);
    const auto parser = platform().xml.makeParser(accumulator);
    parser->parse(*payload);
    parser->finish();
    result = unwrapped(accumulator.Value(), resultTag);
    return nullptr;
}

ErrorPtr SimpleSoapCaller::unusableResponse(const Call& call) {
    return std::make_shared<const Error>(
        VeldrinErrorDomain, VeldrinErrorUnusableSOAPResponse,
        Error::UserInfo{
            {NSLocalizedDescriptionKey, webServiceErrorMessage()},
            {NSLocalizedFailureReasonErrorKey, shared::localizedFormat(soapFailureReasonFormatString(), {call.method})},
            {VeldrinResponseBodyKey, call.responseData}});
}

void SimpleSoapCaller::deliverError(const Call& call, const ErrorPtr& error) {
    if (const auto receiver = callback()) receiver->onSoapError(error, *this, call.state);
}
