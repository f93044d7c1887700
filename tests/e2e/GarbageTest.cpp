/// Whatever is sent to the service, it answers, and serves the next host.

#include "tests/e2e/CaptureTest.h"
#include "tests/support/Deadline.h"

#include "bus/BusConnection.h"
#include "bus/Names.h"

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <future>
#include <limits>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kProtocol = "com.veldrin.KeynoteCaptureServiceProtocol";
constexpr const char* kOK = "ok";

/// A connection that says anything to anyone.
class Client {
public:
    using Fill = std::function<void(sdbus::MethodCall&)>;

    /// "ok" or the name of the error that answers the call.
    std::string call(const std::string& method, const Fill& fill, const std::string& path = bus::kServicePath,
                     const std::string& interface = kProtocol) {
        const auto proxy = sdbus::createProxy(*connection_, bus::kServiceName, path);
        try {
            auto message = proxy->createMethodCall(interface, method);
            fill(message);
            static_cast<void>(proxy->callMethod(message, kDeadline));
            return kOK;
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
    void own(const std::string& name) { connection_->requestName(name); }

private:
    std::unique_ptr<sdbus::IConnection> connection_ = bus::openSessionBus();
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

/// Arguments by signature.
const std::vector<std::pair<std::string, Client::Fill>> kArguments = {
    {"", [](auto&) {}},
    {"s", [](auto& message) { message << std::string("file:///captures"); }},
    {"ss", [](auto& message) { message << std::string("captures") << std::string("r"); }},
    {"sss", [](auto& message) { message << std::string("a") << std::string("b") << std::string("c"); }},
    {"sd", [](auto& message) { message << std::string("a") << 1.0; }},
    {"i", [](auto& message) { message << std::int32_t(-1); }},
    {"x", [](auto& message) { message << std::numeric_limits<std::int64_t>::min(); }},
    {"ay", [](auto& message) { message << std::vector<std::uint8_t>(1'000'000); }},
    {"v", [](auto& message) { message << sdbus::Variant(sdbus::Variant(1.0)); }},
    {"a{sv}",
     [](auto& message) {
         message << std::map<std::string, sdbus::Variant>{{"seconds", sdbus::Variant(0.5)}};
     }},
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

TEST_F(GarbageTest, TextsThatNameNoDirectoryAreRefused) {
    Client client;
    for (const std::string url : {"captures", "./captures", "/captures", "http://host/captures", "file://host/captures",
                                  "file:captures", "file:///a%00b", "\n", "file:///%zz"}) {
        EXPECT_EQ(client.start(url, "r"), "org.freedesktop.DBus.Error.InvalidArgs") << url;
        EXPECT_THAT(client.message(), HasSubstr("file:///")) << url;
    }
    EXPECT_EQ(client.start("", "r"), "com.veldrin.Error.KeynoteCaptureServiceErrorDomain.Code2");
    EXPECT_EQ(client.start("file:///", ""), "com.veldrin.Error.KeynoteCaptureServiceErrorDomain.Code2");
    for (const std::size_t size : {std::size_t{20'000}, std::size_t{10'000'000}}) {
        const std::string huge(size, 'x');
        EXPECT_EQ(client.start("file:///" + huge, "r"), "org.freedesktop.DBus.Error.LimitsExceeded");
        EXPECT_EQ(client.start("file:///captures", huge), "org.freedesktop.DBus.Error.LimitsExceeded");
    }
    expectServes();
}

TEST_F(GarbageTest, UnknownMembersPathsAndProgramsAreNobody) {
    const auto nothing = [](auto&) {};
    std::vector<std::unique_ptr<Client>> clients;
    clients.reserve(40);
    for (int i = 0; i < 40; ++i) clients.push_back(std::make_unique<Client>());
    for (auto& client : clients) {
        for (const std::string member : {"launch", "startDetectionAndCaptureTo2", "StopPresenting", "x"}) {
            EXPECT_EQ(client->call(member, nothing), "org.freedesktop.DBus.Error.UnknownMethod");
        }
        for (const std::string path : {"/", "/com/veldrin", "/com/veldrin/KeynoteCaptureService/1"}) {
            EXPECT_NE(client->call("stopPresenting", nothing, path), kOK) << path;
        }
        EXPECT_NE(client->call("stopPresenting", nothing, bus::kServicePath, "com.example.Other"), kOK);
        EXPECT_EQ(client->call("stopPresenting", nothing), kOK);
    }
    for (int i = 0; i < 5; ++i)
        clients.at(static_cast<std::size_t>(i))->own("com.apple.iWork.Keynote.instance" + std::to_string(i));
    clients.resize(10);
    expectServes();
}

TEST_F(GarbageTest, ARecordingIDThatLooksLikeAPathStaysBelowTheWorkingDirectory) {
    const std::string id = home_.path() / "elsewhere";
    Host host;
    host.record(captures(), id);
    EXPECT_THAT(host.settled(), ElementsAre());
    EXPECT_FALSE(std::filesystem::exists(id));
    expectServes();
}

TEST_F(GarbageTest, WithAnyPollingIntervalWindowsAreDescribedAtOnce) {
    Host host;
    host.record(captures());
    const auto program = present(host, "Optics slides 9");
    host.waitFor("P1 slide 1");
    for (const double interval : {0.0, -1.0, -1e300, 1e-300, 1e300, std::numeric_limits<double>::quiet_NaN(),
                                  std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        host.service().setKeynotePollingInterval(interval);
        for (int i = 0; i < 5; ++i) {
            std::promise<std::optional<std::string>> answer;
            auto text = answer.get_future();
            host.service().descriptionOfScriptableWindowsWithReply([&](const auto& reply) { answer.set_value(reply); });
            ASSERT_EQ(text.wait_for(std::chrono::seconds(5)), std::future_status::ready) << interval;
            EXPECT_THAT(text.get().value_or(""), HasSubstr("Window Name: Optics")) << interval;
        }
        EXPECT_FALSE(host.settled().empty()) << interval;
    }
    host.service().setKeynotePollingInterval(0.25);
    program->play("next");
    EXPECT_THAT(host.waitFor("P1 slide 2"), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 slide 2"));
}

}  // namespace
