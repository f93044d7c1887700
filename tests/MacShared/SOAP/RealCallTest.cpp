/// Calls over the real HTTP client, on the loopback interface.

#include "MacShared/SOAP/SimpleSoapCaller.h"
#include "MacShared/SOAP/SynchronousSoapCaller.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/http/CurlSessions.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Deadline.h"
#include "tests/support/HTTPServer.h"
#include "tests/support/TestHome.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <algorithm>
#include <filesystem>
#include <fstream>

using namespace shared;

namespace {

using testing::HasSubstr;
using Names = std::vector<std::string>;

LinuxPlatform::Options platformOptions() {
    LinuxPlatform::Options options;
    options.usesSessionBus = false;
    options.makeURLSessions = [](Bundles& bundles) { return std::make_unique<http::CurlSessions>(bundles); };
    return options;
}

std::string http(const std::string& body, const std::string& fields = "") {
    return fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\n{}\r\n{}", body.size(), fields, body);
}

/// Those of callers and of the HTTP client, which bear names; a sanitizer has threads too.
std::ptrdiff_t threads() {
    const std::filesystem::directory_iterator all("/proc/self/task");
    return std::count_if(begin(all), end(all), [](const auto& thread) {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        return name == "WorkerThread" || name == "HTTP";
    });
}

/// Expects the workers and the HTTP client's thread to end with what they work for, while the process goes on.
class RealCall : public testing::Test {
protected:
    RealCall() { installPlatform(&platform.platform()); }
    ~RealCall() override {
        caller.reset();
        EXPECT_TRUE(eventually([] { return threads() == 0; }));
    }

    std::shared_ptr<SynchronousSoapCaller> blockingCaller(const std::string& url) {
        caller = SimpleSoapCaller::init();
        caller->setUrl(url);
        return SynchronousSoapCaller::initWithSoapCaller(caller);
    }

    TestHome home;
    LinuxPlatform platform{platformOptions()};
    std::shared_ptr<SimpleSoapCaller> caller;
};

TEST_F(RealCall, PartsOfAResponse) {
    const HTTPServer server([](const auto&) -> ServerAnswer {
        const auto part =
            "\r\n--b\r\nContent-Type: text/xml\r\n\r\n<GetResponse><GetResult>8</GetResult></GetResponse>";
        return {{http(std::string(part) + "\r\n--b--", "content-type: multipart/related; boundary=\"b\"; x=y\r\n")}};
    });
    const SoapDictionary eight{{"response", "8"}};
    const auto blocking = blockingCaller(server.url());
    EXPECT_EQ(blocking->callSoapMethod("Get", "urn:svc", "Remote", {}, {}, nullptr), eight);
    EXPECT_EQ(threads(), 2) << "a worker's and a session's";
    EXPECT_THAT(server.requests().at(0).head, HasSubstr("\r\nSOAPAction: \"urn:svc/Remote/Get\"\r\n"));
}

TEST_F(RealCall, ManyCallersAtOnceAndSomeThatLeave) {
    const HTTPServer server([](const HTTPServer::Request& request) -> ServerAnswer {
        if (request.path() == "/stall") return {{}, ServerAnswer::Then::stall};
        return {{http("<GetResponse>" + request.path() + "</GetResponse>")}};
    });
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&server, path = fmt::format("/{}", i)] {
            const auto own = SimpleSoapCaller::init();
            own->setUrl(server.url(path));
            const auto blocking = SynchronousSoapCaller::initWithSoapCaller(own);
            for (int call = 0; call < 10; ++call) {
                const SoapDictionary expected{{"response", path}};
                EXPECT_EQ(blocking->callSoapMethod("Get", "urn:svc", "", {}, {}, nullptr), expected);
                const auto leaving = SimpleSoapCaller::init();
                const auto state = std::make_shared<int>();
                leaving->setUrl(server.url(call % 2 == 0 ? "/stall" : path));
                leaving->callSoapMethod("Get", "urn:svc", "", {}, {}, state);
                if (call % 3 == 0) {
                    leaving->setCallback(nullptr);
                    EXPECT_TRUE(eventually([&] { return state.use_count() == 1; })) << "cancelled or answered";
                }
            }
        });
    }
    for (auto& thread : threads) thread.join();
}

/// Against a service that another maker's generator has built from tests/MacShared/SOAP/peer/lectures.gsoap.
TEST_F(RealCall, AServiceOfAnotherMaker) {
    ChildProcess service({LECTURES_SERVICE});
    const auto blocking = blockingCaller("http://127.0.0.1:" + service.readLine().value_or("") + "/");
    ErrorPtr error;
    const auto call = [&](const std::string& method, const Names& names, const SoapArray& parameters) {
        return blocking->callSoapMethod(method, "urn:veldrin:lectures", "", names, parameters, &error);
    };
    const std::string title = "\xC3\x84ther <&> \"Optics\"";
    const SoapDictionary description{{"title", title}, {"twice", "42"}, {"length", "2.5"}, {"guid", "G"}};
    const SoapDictionary described{{"response", description}};
    EXPECT_EQ(call("Describe", {"title", "count", "length", "id"}, {title, 21, 2.5, Guid("G")}), described);

    EXPECT_FALSE(call("Fail", {"reason"}, {"no such lecture"}));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 500);
    EXPECT_THAT(error->localizedFailureReason().value_or(""), HasSubstr("<faultstring xmlns=\"\">no such lecture<"));

    std::string bytes(1 << 20, '\0');
    std::uint32_t checksum = 0;
    for (std::uint32_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i * 7 + i / 256);
        checksum += static_cast<unsigned char>(bytes[i]) * (i + 1);
    }
    const SoapDictionary receipt{{"length", std::to_string(bytes.size())}, {"checksum", std::to_string(checksum)}};
    const SoapDictionary stored{{"response", receipt}};
    EXPECT_EQ(call("Store", {"data"}, {SoapBytes(bytes)}), stored);
}

}  // namespace
