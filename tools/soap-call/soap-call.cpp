/// Calls a method of a web service. Wires the Linux platform with its HTTP client.

#include "MacShared/SOAP/SimpleSoapCaller.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/http/CurlSessions.h"
#include "tools/ExitStatus.h"
#include "tools/StandardStreams.h"
#include "tools/UsageMessage.h"
#include "tools/soap-call/SoapParameters.h"
#include "tools/soap-call/SoapReport.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <clocale>
#include <cstdio>
#include <future>
#include <utility>

namespace {

constexpr const char* kFooter =
    "A parameter is NAME=TEXT, NAME:int=3, NAME:double=2.5, NAME:guid=GUID, or NAME@=FILE for the bytes of a file.\n"
    "They are sent in the order given. Exit status: 0 done; 1 the call failed; 2 wrong usage.";

struct Options {
    std::string url;
    std::string callNamespace;
    std::string extension;
    std::string method;
    std::vector<std::string> parameters;
    bool ignoreCertificateErrors = false;
};

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
    std::fputs(("soap-call: " + text).c_str(), stderr);
}

ExitStatus report(const Answer& answer, std::int32_t status) {
    if (answer.error) {
        complain(soap_call::soapErrorText(*answer.error));
    } else if (!answer.response) {
        complain(fmt::format("The server answered with status {}: neither a response nor an error.\n", status));
    } else if (std::fputs(soap_call::soapResponseText(*answer.response).c_str(), stdout) < 0 ||
               std::fflush(stdout) != 0) {
        complain("Cannot write the response.\n");
    } else {
        return kDone;
    }
    return kOperationFailed;
}

ExitStatus call(const Options& options, const soap_call::SoapParameters& parameters) {
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
    std::setlocale(LC_MESSAGES, "");
    std::setlocale(LC_CTYPE, "");
    CLI::App app("Calls a method of a SOAP 1.1 web service and prints its response as JSON.", "soap-call");
    app.set_version_flag("--version", std::string("soap-call ") + KCS_VERSION);
    app.footer(kFooter);
    app.failure_message(usageMessage);
    Options options;
    app.add_option("URL", options.url, "The service, http or https")->required()->option_text("");
    app.add_option("METHOD", options.method, "The method's name")->required()->option_text("");
    app.add_option("PARAMETER", options.parameters, "The method's parameters, see below")->option_text("...");
    app.add_option("--namespace", options.callNamespace, "The service's namespace")
        ->required()
        ->option_text("NS (required)");
    app.add_option("--extension", options.extension, "What follows the namespace in the SOAPAction header")
        ->option_text("EXT");
    app.add_flag("--insecure", options.ignoreCertificateErrors, "Accept whatever certificate the server shows");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }
    soap_call::SoapParameters parameters;
    try {
        soap_call::checkElementName(options.method, "a method");
        parameters = soap_call::parseSoapParameters(options.parameters);
    } catch (const std::invalid_argument& error) {
        complain(error.what() + std::string("\nRun with --help for more information.\n"));
        return kWrongUsage;
    }
    return call(options, parameters);
} catch (const std::exception& error) {
    complain(error.what() + std::string("\n"));
    return kOperationFailed;
}
