#pragma once

#include "MacShared/SOAP/ISoapCallback.h"
#include "MacShared/SOAP/ISoapCaller.h"
#include "MacShared/SOAP/ISpinnerController.h"
#include "ports/URLSessionDelegate.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Calls methods of web services over HTTP with SOAP 1.1, bytes as MTOM.
///
/// A call: the request goes out; the response is collected and parsed; the callback gets a dictionary whose entry
/// "response" is the method's result, or an error:
///
/// - status 2xx with a response element: its result, the null marker when that is empty; its content when it holds no
///   result element;
/// - status 2xx without one (another method's, no XML, no body): an empty dictionary;
/// - status 2xx, multipart, but not in parts: error "Veldrin" 87 with the body under `VeldrinResponseBodyKey`;
/// - status 400 and above: an `HTTPError`; a fault is not parsed;
/// - the transport failed, also when 60 seconds pass without a byte: the HTTP client's error;
/// - there is no memory for the response or for what it holds: `NSURLErrorDataLengthExceedsMaximum`;
/// - any other status: nothing, the call ends in silence.
///
/// One call at a time: a second one replaces the first, whose result is lost. The state that goes with a call is
/// released when the call has ended, however it did, so who needs to know of silence can tell by that.
///
/// The caller lives as long as its owners want; when it goes in the middle of a call, the call is cancelled and
/// nothing is told. Needs a platform with an HTTP client.
class SimpleSoapCaller final : public ISoapCaller,
                               public URLSessionDelegate,
                               public std::enable_shared_from_this<SimpleSoapCaller> {
public:
    /// `init`: logs calls when the user default "LogSoap" is set.
    [[nodiscard]] static std::shared_ptr<SimpleSoapCaller> init();
    ~SimpleSoapCaller() override;
    SimpleSoapCaller(const SimpleSoapCaller&) = delete;
    SimpleSoapCaller& operator=(const SimpleSoapCaller&) = delete;

    /// `configuration` of the HTTP sessions of callers made from now on. Any thread.
    [[nodiscard]] static URLSessionConfiguration configuration();
    static void setConfiguration(URLSessionConfiguration configuration);
    /// `webServiceErrorMessage` and `soapFailureReasonFormatString`: texts of errors, in the user's language.
    [[nodiscard]] static const std::string& webServiceErrorMessage();
    [[nodiscard]] static const std::string& soapFailureReasonFormatString();

    void callSoapMethod(const std::string& method, const std::optional<std::string>& withNamespace,
                        const std::optional<std::string>& namespaceExtension,
                        const std::optional<std::vector<std::string>>& parameterNames,
                        const std::optional<shared::SoapArray>& parameters, std::shared_ptr<void> withState) override;
    [[nodiscard]] std::shared_ptr<ISoapCallback> callback() const override { return locked(callback_).lock(); }
    void setCallback(const std::shared_ptr<ISoapCallback>& callback) override;
    [[nodiscard]] std::string url() const override { return locked(url_); }
    void setUrl(std::string url) override { assign(url_, std::move(url)); }

    /// `ignoreCertificateErrors`: accept any server certificate. False at first.
    [[nodiscard]] bool ignoreCertificateErrors() const { return locked(ignoreCertificateErrors_); }
    void setIgnoreCertificateErrors(bool ignore) { assign(ignoreCertificateErrors_, ignore); }
    /// `logSoap`: log requests and responses in full.
    [[nodiscard]] bool logSoap() const { return locked(logSoap_); }
    void setLogSoap(bool log) { assign(logSoap_, log); }
    /// `spinning`: the spinner was started and not yet stopped.
    [[nodiscard]] bool spinning() const { return locked(spinning_); }
    [[nodiscard]] std::shared_ptr<ISpinnerController> spinnerController() const { return locked(spinnerController_); }
    void setSpinnerController(std::shared_ptr<ISpinnerController> controller) {
        assign(spinnerController_, std::move(controller));
    }
    /// `responseCode`: the HTTP status of the last response, 0 before the first.
    [[nodiscard]] std::int32_t responseCode() const { return locked(head_.code); }
    /// `headerErrorCode`: what the last response had in `VELErrorCodeHeader`.
    [[nodiscard]] std::optional<std::string> headerErrorCode() const { return locked(head_.errorCode); }

    void URLSessionDataTaskDidReceiveResponse(URLSession& session, URLSessionDataTask& dataTask,
                                              const HTTPURLResponse& response,
                                              const ResponseHandler& completionHandler) override;
    void URLSessionDataTaskDidReceiveData(URLSession& session, URLSessionDataTask& dataTask,
                                          std::string_view data) override;
    void URLSessionTaskDidCompleteWithError(URLSession& session, URLSessionTask& task, const ErrorPtr& error) override;
    void URLSessionTaskDidReceiveChallenge(URLSession& session, URLSessionTask& task,
                                           const URLAuthenticationChallenge& challenge,
                                           const ChallengeHandler& completionHandler) override;

private:
    /// The call under way: `method`, `state`, `task`, `responseData`. Without a task there is none.
    struct Call {
        std::string method;
        std::shared_ptr<void> state;
        std::shared_ptr<URLSessionDataTask> task;
        std::string responseData;
        bool isOutOfMemory = false;
    };
    /// What counts of a response's head; it stays until the next response.
    struct Head {
        std::int32_t code = 0;
        std::optional<std::string> errorCode;
        std::optional<std::string> boundary;  ///< `responseBoundary`; none for a plain response
    };

    SimpleSoapCaller() = default;

    template <class Member>
    [[nodiscard]] Member locked(const Member& member) const {
        const std::lock_guard lock(mutex_);
        return member;
    }
    template <class Member>
    void assign(Member& member, Member value) {
        const std::lock_guard lock(mutex_);
        std::swap(member, value);  // the old value goes after the lock
    }

    /// Under the lock. Whether the task is the one of the call under way.
    [[nodiscard]] bool isCurrent(const URLSessionTask& task) const;
    void setSpinning(bool spinning);
    /// `processResponse` and `processError:`
    void processResponse(const Call& call, const Head& head);
    void processError(const Call& call, const ErrorPtr& error);
    [[nodiscard]] ErrorPtr failureFrom(const Call& call, const Head& head) const;
    /// An error, or nothing and the result.
    [[nodiscard]] ErrorPtr resultFrom(const Call& call, const Head& head, shared::SoapDictionary& result) const;
    void deliverError(const Call& call, const ErrorPtr& error);
    [[nodiscard]] static ErrorPtr unusableResponse(const Call& call);

    std::shared_ptr<URLSession> session_;  ///< `session`; never changes once the caller is made
    mutable std::mutex mutex_;             ///< guards what follows; never held while others are called
    bool ignoreCertificateErrors_ = false;
    bool logSoap_ = false;
    bool spinning_ = false;
    std::shared_ptr<ISpinnerController> spinnerController_;
    std::weak_ptr<ISoapCallback> callback_;
    std::string url_;
    Call call_;
    Head head_;
};
