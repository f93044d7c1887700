#pragma once

#include "MacShared/HTTPError.h"
#include "MacShared/LogRun.h"
#include "MacShared/SOAP/SimpleSoapCaller.h"
#include "platform/linux/text/LinuxXMLServices.h"
#include "platform/simulated/SimulatedPlatform.h"

#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

/// A value on one line: `{key: text, key: [text, null]}`.
inline std::string lineOf(const shared::SoapValue& value) {
    std::string line;
    const auto add = [&line](const std::string& item) { line += (line.empty() ? "" : ", ") + item; };
    if (const auto* array = value.array()) {
        for (const auto& member : *array) add(lineOf(member));
        return "[" + line + "]";
    }
    if (const auto* dictionary = value.dictionary()) {
        for (const auto& [key, member] : *dictionary) add(key + ": " + lineOf(member));
        return "{" + line + "}";
    }
    return value.string() == nullptr ? "null" : *value.string();
}

/// `data {…} STATE` or `error DOMAIN CODE REASON STATE`, the state as text.
inline std::string lineOf(const ErrorPtr& error) {
    return "error " + error->domain() + " " + std::to_string(error->code()) + " " +
           error->localizedFailureReason().value_or("-");
}

/// Notes what it is told, one line each. States are strings.
class Receiver final : public ISoapCallback {
public:
    explicit Receiver(std::vector<std::string>& lines) : lines_(lines) {}
    void onSoapData(const shared::SoapDictionary& data, ISoapCaller& withCaller,
                    const std::shared_ptr<void>& withState) override {
        note("data " + lineOf(shared::SoapValue(data)), withCaller, withState);
    }
    void onSoapError(const ErrorPtr& error, ISoapCaller& withCaller, const std::shared_ptr<void>& withState) override {
        lastError = error;
        note(lineOf(error), withCaller, withState);
    }

    ErrorPtr lastError;
    std::function<void(ISoapCaller&)> andThen;

private:
    void note(const std::string& line, ISoapCaller& caller, const std::shared_ptr<void>& state) {
        lines_.push_back(line + (state ? " " + *std::static_pointer_cast<std::string>(state) : ""));
        if (andThen) std::exchange(andThen, nullptr)(caller);
    }
    std::vector<std::string>& lines_;
};

/// A caller, its receiver, and a server that answers as told, in virtual time.
class SoapScenario : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    SoapScenario() {
        shared::beginNewLogRun();
        platform.bundles.setMainBundle({{"CFBundleVersion", "7"}});
        platform.xml.parsers = &parsers;
        platform.urlSessions.server = [this](const URLRequest&) { return answer; };
    }

    void makeCaller() {
        caller = SimpleSoapCaller::init();
        caller->setUrl("https://server/service");
        caller->setCallback(receiver);
    }
    void call(const std::string& method, const std::string& state = "state") {
        caller->callSoapMethod(method, "urn:svc", "", Names{}, shared::SoapArray{},
                               std::make_shared<std::string>(state));
    }
    void run(Duration span = 200s) { platform.dispatch.runFor(span); }
    /// The envelope of a response with this content.
    static std::string response(const std::string& method, const std::string& content) {
        return "<e:Envelope xmlns:e=\"e\"><e:Body><" + method + "Response>" + content + "</" + method +
               "Response></e:Body></e:Envelope>";
    }
    [[nodiscard]] Lines logged() const {
        Lines messages;
        for (const auto& entry : platform.unifiedLog.entries) messages.push_back(entry.message);
        return messages;
    }

    using Names = std::vector<std::string>;

    const text::LinuxXMLServices parsers;
    simulated::SimulatedPlatform platform;
    simulated::SimulatedAnswer answer;
    Lines lines;
    std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>(lines);
    std::shared_ptr<SimpleSoapCaller> caller;
};
