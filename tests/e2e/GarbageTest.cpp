/// Whatever is sent to the processes, they go on working.

#include "tests/e2e/CaptureTest.h"
#include "tests/support/Deadline.h"
#include "tests/support/Forger.h"

#include "bus/Names.h"
#include "bus/Sdbus.h"

#include <csignal>
#include <functional>
#include <limits>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kProtocol = "com.veldrin.KeynoteCaptureServiceProtocol";
constexpr const char* kDaemon = "org.freedesktop.DBus";
constexpr const char* kDaemonPath = "/org/freedesktop/DBus";
constexpr const char* kProgram = "com.veldrin.PresentationProgram";

/// A connection that says anything to anyone.
class Client {
public:
    using Fill = std::function<void(sdbus::Message&)>;

    /// "ok" or the name of the error that answers the call.
    std::string call(const std::string& method, const Fill& fill) {
        const auto proxy = bus::createProxy(*connection_, bus::kServiceName, bus::kServicePath);
        try {
            auto message = bus::createCall(*proxy, kProtocol, method);
            fill(message);
            static_cast<void>(proxy->callMethod(message, kDeadline));
            return "ok";
        } catch (const sdbus::Error& error) {
            message_ = error.getMessage();
            return error.getName();
        }
    }
    std::string start(const std::string& directory, const std::string& recordingID) {
        return call("startDetectionAndCaptureTo", [&](auto& message) { message << directory << recordingID; });
    }
    /// What the last error said.
    [[nodiscard]] const std::string& message() const { return message_; }
    void own(const std::string& name) { connection_->requestName(bus::ServiceName(name)); }
    /// Sends a signal to everybody who listens, or to one.
    void signal(const std::string& path, const std::string& interface, const std::string& member, const Fill& fill,
                const std::string& destination = {}) {
        auto signal = bus::createSignal(*bus::createObject(*connection_, path), interface, member);
        fill(signal);
        if (!destination.empty()) signal.setDestination(destination);
        signal.send();
    }
    /// The unique names of all others.
    [[nodiscard]] std::vector<std::string> everybody() {
        std::vector<std::string> names;
        bus::createProxy(*connection_, kDaemon, kDaemonPath)
            ->callMethod("ListNames")
            .onInterface(kDaemon)
            .storeResultsTo(names);
        std::erase_if(names,
                      [&](const auto& name) { return !name.starts_with(':') || name == connection_->getUniqueName(); });
        return names;
    }

private:
    std::unique_ptr<sdbus::IConnection> connection_ = sdbus::createSessionBusConnection();
    std::string message_;
};

const std::vector<std::pair<std::string, std::string>> kMethods = {
    {"startDetectionAndCaptureTo", "ss"},
    {"stopDetectionAndCapture", ""},
    {"stopPresenting", ""},
    {"setKeynotePollingInterval", "d"},
    {"descriptionOfScriptableWindowsWithReply", ""},
    {"descriptionOfKeynoteWindowsWithReply", ""},
};

template <typename... Values>
Client::Fill with(const Values&... values) {
    return [values...](sdbus::Message& message) { static_cast<void>((message << ... << values)); };
}

const std::string kText = "file:///captures";

/// Arguments by signature.
const std::vector<std::pair<std::string, Client::Fill>> kArguments = {
    {"", [](auto&) {}},
    {"s", with(kText)},
    {"ss", with(std::string("captures"), kText)},
    {"sss", with(kText, kText, kText)},
    {"sd", with(kText, 1.0)},
    {"y", with(std::uint8_t(7))},
    {"b", with(true)},
    {"n", with(std::int16_t(-1))},
    {"q", with(std::uint16_t(7))},
    {"i", with(std::int32_t(-1))},
    {"u", with(std::uint32_t(7))},
    {"t", with(std::numeric_limits<std::uint64_t>::max())},
    {"d", with(std::numeric_limits<double>::quiet_NaN())},
    {"o", with(sdbus::ObjectPath("/a"))},
    {"g", with(sdbus::Signature("a{sv}"))},
    {"as", with(std::vector<std::string>(3))},
    {"a{si}", with(std::map<std::string, std::int32_t>{{"ProcessIdentifier", 7}})},
    {"x", with(std::numeric_limits<std::int64_t>::min())},
    {"ay", with(std::vector<std::uint8_t>(1'000'000))},
    {"v", with(sdbus::Variant(sdbus::Variant(1.0)))},
    {"a{sv}", with(std::map<std::string, sdbus::Variant>{{"seconds", sdbus::Variant(0.5)}})},
};

class GarbageTest : public CaptureTest {
protected:
    void SetUp() override { startService(); }

    /// Records a whole show: the service is as good as new.
    void expectServes() {
        Host host;
        host.record(captures());
        const auto program = present(host, "Optics slides 3");
        host.waitFor("P1 slide 1");
        program->play("stop");
        EXPECT_THAT(host.waitFor("P1 stopped"), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 stopped"));
        EXPECT_TRUE(isWholeImage(directoryOf(host) / "slide.001.jpg"));
    }
};

TEST_F(GarbageTest, WrongTypesToEveryMethodAreRefused) {
    for (const auto& [method, signature] : kMethods) {
        Client client;
        for (const auto& [given, fill] : kArguments) {
            if (given == signature) continue;
            EXPECT_THAT(client.call(method, fill), StartsWith("org.freedesktop.DBus.Error.")) << method << " " << given;
            EXPECT_NE(client.message(), "");
        }
    }
    expectServes();
}

TEST_F(GarbageTest, SignalsAndRepliesThatNobodyAskedForEndNoProcess) {
    Host host;
    host.record(captures());
    ChildProcess recorder({KEYNOTE_CAPTURE, "record", "--to", captures("others"), "--json"});
    const auto program = present(host);
    host.waitFor("P1 slide 1");
    recorder.waitForLine(R"({"event":"slideDeckPresentedSlide")");

    Client stranger;
    stranger.own("com.apple.iWork.Keynote.instance1");  // so that somebody listens
    Forger forger;
    const auto everybody = stranger.everybody();
    ASSERT_GE(everybody.size(), 4U) << "the service, the simulator and two hosts";
    for (const auto& [signature, fill] : kArguments) {
        const auto changed = [&fill = fill](auto& message) { fill(message << std::string(kProgram)); };
        stranger.signal(bus::kProgramPath, "org.freedesktop.DBus.Properties", "PropertiesChanged", changed);
        for (const auto& name : everybody) {
            stranger.signal(bus::kProgramPath, "org.freedesktop.DBus.Properties", "PropertiesChanged", fill, name);
            stranger.signal(kDaemonPath, kDaemon, "NameOwnerChanged", fill, name);
        }
    }
    for (const auto& name : everybody) {
        const auto gone = [&](auto& message) { message << name << name << std::string(); };
        const auto lost = [](auto& message) { message << std::string(bus::kServiceName) << ":1.1" << std::string(); };
        stranger.signal(kDaemonPath, kDaemon, "NameOwnerChanged", gone);
        for (const auto& receiver : everybody)
            stranger.signal(kDaemonPath, kDaemon, "NameOwnerChanged", gone, receiver);
        stranger.signal(kDaemonPath, kDaemon, "NameOwnerChanged", lost, name);
        for (std::uint32_t serial = 1; serial < 20; ++serial) forger.reply(name, serial, "forged", serial % 2 == 0);
    }
    EXPECT_EQ(stranger.start("captures", "r"), "org.freedesktop.DBus.Error.InvalidArgs") << "answered behind all that";

    program->play("next");
    EXPECT_THAT(host.waitFor("P1 slide 2"), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 slide 2"));
    EXPECT_THAT(recorder.waitForLine(R"({"event":"slideDeckPresentedSlide")"), HasSubstr(R"("presentedSlide":2)"));
    program->play("stop");
    recorder.waitForLine(R"({"event":"stoppedPresenting")");
    recorder.send(SIGTERM);
    EXPECT_EQ(recorder.exitStatus(), 0) << recorder.complaints();
}

TEST_F(GarbageTest, ARecordingIDThatLooksLikeAPathStaysBelowTheWorkingDirectory) {
    const auto elsewhere = home_.path() / "elsewhere";
    const std::string upwards = "../../../../../../elsewhere";  // from the working directory to the home directory
    Host host;
    for (const std::string& id : {elsewhere.string(), upwards}) {
        host.record(captures(), id);
        EXPECT_THAT(host.settled(), ElementsAre());
        EXPECT_FALSE(std::filesystem::exists(elsewhere)) << id;
    }
    expectServes();
}

}  // namespace
