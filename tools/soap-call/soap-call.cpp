/// Calls a method of a web service. Wires the Linux platform with its HTTP client.

#include "MacShared/SOAP/SimpleSoapCaller.h"
#include "commandline/PrintableText.h"
#include "commandline/Program.h"
#include "commandline/StandardStreams.h"
#include "commandline/Translation.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/http/CurlSessions.h"
#include "runtime/OutOfMemory.h"
#include "tools/soap-call/CommandLine.h"
#include "tools/soap-call/SoapParameters.h"
#include "tools/soap-call/SoapReport.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <future>
#include <utility>

namespace {

/// What became of a call: a response, an error, or neither when it ended in silence.
struct Answer {
    std::optional<shared::SoapDictionary> response;
    ErrorPtr error;
};

/// Goes with a call as its state, which ends with the call.
struct Pending {
    Pending() = default;
    ~Pending() { promise.set_value(std::move(answer)); }
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;

    std::promise<Answer> promise;
    Answer answer;
};

class Receiver final : public ISoapCallback {
    void onSoapData(const shared::SoapDictionary& data, ISoapCaller& /*withCaller*/,
                    const std::shared_ptr<void>& withState) override {
        static_cast<Pending*>(withState.get())->answer.response = data;
    }
    void onSoapError(const ErrorPtr& error, ISoapCaller& /*withCaller*/,
                     const std::shared_ptr<void>& withState) override {
        static_cast<Pending*>(withState.get())->answer.error = error;
    }
};

void complain(const std::string& text) {
    complainAs("soap-call", text);
}

ExitStatus report(const Answer& answer, std::int32_t status) {
    if (answer.error) {
        complain(soap_call::soapErrorText(*answer.error));
    } else if (!answer.response) {
        complain(translated("The server answered with status {}: neither a response nor an error.", status));
    } else if (std::fputs(soap_call::soapResponseText(*answer.response).c_str(), stdout) < 0 ||
               std::fflush(stdout) != 0) {
        complain(translated("Cannot write the response."));
    } else {
        return kDone;
    }
    return kOperationFailed;
}

ExitStatus call(const soap_call::Options& options, const soap_call::SoapParameters& parameters) {
    LinuxPlatform::Options platformOptions;
    // Web services are called where no desktop runs, too.
    platformOptions.usesSessionBus = false;
    platformOptions.makeURLSessions = [](Bundles& bundles) { return std::make_unique<http::CurlSessions>(bundles); };
    const LinuxPlatform linuxPlatform(platformOptions);
    installPlatform(&linuxPlatform.platform());

    const auto receiver = std::make_shared<Receiver>();
    const auto caller = SimpleSoapCaller::init();
    caller->setUrl(options.url);
    caller->setIgnoreCertificateErrors(options.ignoreCertificateErrors);
    caller->setCallback(receiver);
    auto pending = std::make_shared<Pending>();
    auto answer = pending->promise.get_future();
    caller->callSoapMethod(options.method, options.callNamespace, options.extension, parameters.names,
                           parameters.values, std::move(pending));
    // The state ends with the call, however it does, so this never waits for ever.
    const auto answered = answer.get();
    return report(answered, caller->responseCode());
}

}  // namespace

int main(int argc, char** argv) try {
    openStandardStreams();
    runtime::endProcessWhenMemoryRunsOut();
    useLanguageOfUser();
    soap_call::Options options;
    const auto program = soap_call::makeCommandLine(options);
    if (const auto status = readCommandLine(*program, argc, argv)) return *status;
    soap_call::SoapParameters parameters;
    try {
        if (!soap_call::isElementName(options.method)) {
            throw std::invalid_argument(translated("\"{}\" cannot be the name of a method", options.method));
        }
        parameters = soap_call::parseSoapParameters(options.parameters);
    } catch (const std::invalid_argument& error) {
        complain(printableText(error.what()) + ("\n" + translated("Run {} --help for more information.", "soap-call")));
        return kWrongUsage;
    }
    return call(options, parameters);
} catch (const std::exception& error) {
    complain(error.what());
    return kOperationFailed;
}
