#include "tests/platform/linux/bus/ListenerTest.h"

#include <bus/KeynoteCaptureServiceDelegateAdaptor.h>
#include <bus/KeynoteCaptureServiceProtocolProxy.h>
#include <cmath>
#include <limits>

namespace {

using Lines = std::vector<std::string>;

TEST_F(ListenerTest, GivesEachHostItsOwnObject) {
    TestHost first;
    TestHost second;
    TestHost curious;
    EXPECT_EQ(outcomeOf(*curious.service, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr), "ok");
    EXPECT_EQ(outcomeOf(*curious.service, "org.freedesktop.DBus.Peer", "Ping", nullptr), "ok");
    EXPECT_EQ(delegate.accepted, 0);

    EXPECT_EQ(first.call("stopPresenting"), "ok");
    EXPECT_EQ(second.call("setKeynotePollingInterval", std::numeric_limits<double>::quiet_NaN()), "ok");
    EXPECT_EQ(first.call("setKeynotePollingInterval", -std::numeric_limits<double>::infinity()), "ok");
    EXPECT_EQ(second.call("stopDetectionAndCapture"), "ok");
    EXPECT_EQ(first.call("startDetectionAndCaptureTo", std::string(), std::string()), "ok");
    EXPECT_EQ(delegate.notes.lines(),
              (Lines{"1 stopPresenting", "2 interval nan", "1 interval -inf", "2 stop", "1 start none none"}));
    EXPECT_EQ(came, 2);
    EXPECT_EQ(left, 0);
}

TEST_F(ListenerTest, AnswersEachStartExactlyOnce) {
    TestHost host;
    EXPECT_EQ(host.start("dropped"), "ok");
    EXPECT_EQ(host.start("fail"), "com.veldrin.Error.Domain.Code_5");
    EXPECT_EQ(host.message, "No \uFFFD directory.");
    EXPECT_EQ(host.start("fail twice"), "com.veldrin.Error.Domain.Code1");

    std::string late;
    std::thread waiting([&] { late = host.start("hold"); });
    EXPECT_EQ(delegate.notes.waitFor(4).back(), "1 start /tmp/c hold");
    TestHost other;
    EXPECT_EQ(other.call("stopPresenting"), "ok") << "others are served meanwhile";
    delegate.held.front()(makeError("Domain", 7, "late"));
    waiting.join();
    EXPECT_EQ(late, "com.veldrin.Error.Domain.Code7");
    EXPECT_EQ(host.call("stopPresenting"), "ok") << "no second reply is in the way";
}

TEST_F(ListenerTest, AnswersTextsThatTheBusCanCarry) {
    TestHost host;
    struct Calls : com::veldrin::KeynoteCaptureServiceProtocol_proxy {
        explicit Calls(sdbus::IProxy& proxy) : KeynoteCaptureServiceProtocol_proxy(proxy) {}
    } calls(*host.service);
    EXPECT_EQ(calls.descriptionOfScriptableWindowsWithReply(), "some \uFFFD text");
    EXPECT_EQ(calls.descriptionOfKeynoteWindowsWithReply(), "");
}

TEST_F(ListenerTest, RefusesWhatItCannotServeWithASentence) {
    constexpr const char* kInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";
    const std::string url = "file:///tmp/c";
    const std::string text(20000, 'a');
    TestHost host;
    EXPECT_EQ(host.call("startDetectionAndCaptureTo", 1, 2), kInvalidArgs);
    EXPECT_EQ(host.call("startDetectionAndCaptureTo", url), kInvalidArgs);
    EXPECT_EQ(host.call("noSuchMethod"), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(delegate.accepted, 0) << "none of these was a call of the protocol";

    EXPECT_EQ(host.call("startDetectionAndCaptureTo", std::string("/tmp/c"), url), kInvalidArgs);
    EXPECT_EQ(host.message, "Not a file URL; pass one like file:///home/me/captures.");
    EXPECT_EQ(host.call("startDetectionAndCaptureTo", text, url), "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_EQ(host.call("startDetectionAndCaptureTo", url, text), "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_EQ(host.start("throw"), "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(host.message, "\uFFFD broke");
    EXPECT_EQ(host.start("throw oddly"), "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(host.call("stopPresenting"), "ok");
    EXPECT_EQ(delegate.accepted, 1);
}

TEST_F(ListenerTest, TriesAnewAfterItHadNoObjectForAHost) {
    delegate.refuses = true;
    TestHost host;
    EXPECT_EQ(host.call("stopPresenting"), "org.freedesktop.DBus.Error.Failed");
    EXPECT_NE(host.message.find("see its log"), std::string::npos) << host.message;
    delegate.refuses = false;
    EXPECT_EQ(host.call("stopPresenting"), "ok");
    EXPECT_EQ(delegate.notes.lines(), Lines{"2 stopPresenting"});
}

TEST_F(ListenerTest, InvalidatesTheConnectionOfAHostThatLeavesAndNoOther) {
    auto first = std::make_unique<TestHost>();
    TestHost second;
    EXPECT_EQ(first->call("stopPresenting"), "ok");
    EXPECT_EQ(second.call("stopPresenting"), "ok");
    first.reset();
    const auto lines = delegate.notes.waitFor(4);
    EXPECT_EQ(Lines(lines.begin() + 2, lines.end()), (Lines{"1 invalidated", "1 freed"}));
    delegate.hosts.front()->detectedKeynoteLaunched();
    EXPECT_EQ(second.call("stopDetectionAndCapture"), "ok");
    EXPECT_EQ(delegate.notes.lines().back(), "2 stop");
    EXPECT_TRUE(eventually([&] { return left == 1; }));
}

TEST_F(ListenerTest, KeepsNothingForHostsThatAreGoneBeforeTheyAreServed) {
    constexpr int kHosts = 100;
    for (int i = 0; i < kHosts; ++i) {
        TestHost host;
        host.service->callMethod("stopPresenting").onInterface(kProtocol).dontExpectReply();
    }
    EXPECT_TRUE(eventually([&] { return left == kHosts; })) << came << " came, " << left << " left";
    EXPECT_EQ(came, kHosts);
    EXPECT_TRUE(eventually([this] {
        long freed = 0;
        for (const auto& line : delegate.notes.lines()) freed += line.ends_with(" freed") ? 1 : 0;
        return freed == delegate.accepted;
    }));
}

TEST_F(ListenerTest, ServesAtMost256Hosts) {
    std::vector<std::unique_ptr<TestHost>> hosts;
    for (int i = 0; i < 256; ++i) {
        hosts.push_back(std::make_unique<TestHost>());
        ASSERT_EQ(hosts.back()->call("stopPresenting"), "ok");
    }
    TestHost tooMany;
    EXPECT_EQ(tooMany.call("stopPresenting"), "org.freedesktop.DBus.Error.LimitsExceeded");
    hosts.pop_back();
    EXPECT_TRUE(eventually([&] { return left == 1; }));
    EXPECT_EQ(tooMany.call("stopPresenting"), "ok");
}

/// The host's end, noting what the service tells.
class NotingDelegateObject final
    : public sdbus::AdaptorInterfaces<com::veldrin::KeynoteCaptureServiceDelegate_adaptor> {
public:
    explicit NotingDelegateObject(sdbus::IConnection& connection)
        : AdaptorInterfaces(connection, sdbus::ObjectPath(bus::kDelegatePath)) {
        registerAdaptor();
    }
    virtual ~NotingDelegateObject() { unregisterAdaptor(); }

    Notes notes;

private:
    using ErrorStruct = sdbus::Struct<std::string, std::int32_t, std::map<std::string, sdbus::Variant>>;

    void startedPresenting(const std::string& id, const std::string& path, const std::string& archive,
                           const ErrorStruct& error) override {
        notes.add(fmt::format("started {} {} {} {}", id, path, archive, error.get<1>()));
    }
    void stoppedPresenting(const std::string& id, const ErrorStruct& error) override {
        const auto& info = error.get<2>();
        const auto found = info.find(NSLocalizedDescriptionKey);
        notes.add(fmt::format("stopped {} {} {} {}", id, error.get<0>(), error.get<1>(),
                              found == info.end() ? "" : found->second.get<std::string>()));
    }
    void slideDeckPresentedSlide(const std::string& id, const std::int64_t& slide, const std::int64_t& at,
                                 const std::string& url) override {
        notes.add(fmt::format("slide {} {} {} {}", id, slide, at, url));
    }
    void extractedSlideFilesForPresentation(const std::string& path, const ErrorStruct& error) override {
        notes.add(fmt::format("extracted {} {}", path, error.get<1>()));
    }
    void savedArchiveDocuments() override { notes.add("saved"); }
    void failedToSaveArchiveDocumentError(const ErrorStruct& error) override {
        notes.add(fmt::format("not saved {}", error.get<1>()));
    }
    void detectedKeynoteLaunched() override { notes.add("launched"); }
    void detectedKeynoteTerminated() override { notes.add("terminated"); }
};

TEST_F(ListenerTest, TellsTheHostWithoutWaitingForIt) {
    TestHost host;
    NotingDelegateObject object(*host.connection);
    ASSERT_EQ(host.call("stopPresenting"), "ok");
    auto& proxy = *delegate.hosts.front();
    proxy.detectedKeynoteLaunched();
    proxy.startedPresenting("ID", "/d/\xFF.key", "a\xFF.key", nullptr);
    proxy.slideDeckPresentedSlide(std::nullopt, -3, Date(std::chrono::microseconds(1700000000123456)), std::nullopt);
    proxy.stoppedPresenting("ID", makeError("Domain", 5, "Images \xFF are missing"));
    proxy.extractedSlideFilesForPresentation("/d/e.key", nullptr);
    proxy.savedArchiveDocuments();
    proxy.failedToSaveArchiveDocumentError(makeError("Domain", 6));
    proxy.detectedKeynoteTerminated();

    host.connection->enterEventLoopAsync();
    EXPECT_EQ(object.notes.waitFor(8),
              (Lines{"launched", "started ID file:///d/%FF.key a\uFFFD.key 0", "slide  -3 1700000000123456 ",
                     "stopped ID Domain 5 Images \uFFFD are missing", "extracted /d/e.key 0", "saved", "not saved 6",
                     "terminated"}));
}

TEST_F(ListenerTest, CallsOfAHostRunInOrderAndHoldUpNoOtherHost) {
    const auto times = [this](int host, const char* path) {
        return delegate.notes.count(fmt::format("{} extract slide.001.jpg of {}", host, path));
    };
    delegate.blocked = true;
    TestHost first;
    TestHost second;
    EXPECT_EQ(first.extract("/first.key"), "ok");
    ASSERT_TRUE(eventually([&] { return times(1, "/first.key") == 1; }));
    for (int i = 0; i < 32; ++i) EXPECT_EQ(first.extract("/more.key"), "ok") << "answered before its turn";
    EXPECT_EQ(first.extract("/more.key"), "org.freedesktop.DBus.Error.LimitsExceeded");
    first.service->callMethod("stopDetectionAndCapture").onInterface(kProtocol).dontExpectReply();

    EXPECT_EQ(second.call("stopPresenting"), "ok");
    EXPECT_EQ(second.extract("/second.key"), "ok");
    ASSERT_TRUE(eventually([&] { return times(2, "/second.key") == 1; })) << "extractions wait for one another";
    EXPECT_EQ(second.extract("/dropped.key"), "ok");
    second = TestHost();
    ASSERT_TRUE(eventually([this] { return left == 1; }));
    EXPECT_EQ(times(1, "/more.key"), 0);
    EXPECT_EQ(delegate.notes.count("1 stop"), 0);

    delegate.blocked = false;
    delegate.blocked.notify_all();
    EXPECT_TRUE(eventually([this] { return delegate.notes.count("1 stop") == 1; }));
    EXPECT_EQ(times(1, "/more.key"), 32);
    EXPECT_EQ(times(2, "/dropped.key"), 0) << "its host had left";
}

TEST_F(ListenerTest, BoundsTheWaitsForSavingOfAHost) {
    TestHost host;
    for (int i = 0; i < 32; ++i) EXPECT_EQ(host.call("waitForSavingToCompleteAsync"), "ok");
    EXPECT_EQ(host.call("waitForSavingToCompleteAsync"), "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_EQ(delegate.notes.count("1 wait for saving"), 32);
    delegate.hosts.front()->savedArchiveDocuments();
    delegate.hosts.front()->failedToSaveArchiveDocumentError(nullptr);
    for (const char* const outcome : {"ok", "ok", "org.freedesktop.DBus.Error.LimitsExceeded"}) {
        EXPECT_EQ(host.call("waitForSavingToCompleteAsync"), outcome);
    }
    TestHost other;
    EXPECT_EQ(other.call("waitForSavingToCompleteAsync"), "ok");
}

TEST_F(ListenerTest, RefusesExtractionsThatCannotBe) {
    const std::vector<std::string> many(10001, "slide.001.jpg");
    const std::string image = "slide.001.jpg";
    TestHost host;
    for (const char* const path : {"", "deck.key", "file:///deck.key"}) {
        EXPECT_EQ(host.extract(path), "org.freedesktop.DBus.Error.InvalidArgs") << path;
        EXPECT_NE(host.message.find("no absolute path"), std::string::npos) << host.message;
    }
    for (const char* const name : {"", ".", "..", "../slide.001.jpg", "/etc/passwd"}) {
        EXPECT_EQ(host.extract("/deck.key", {image, name}), "org.freedesktop.DBus.Error.InvalidArgs") << name;
    }
    for (const auto& names : {many, {std::string(256, 'a')}}) {
        EXPECT_EQ(host.extract("/deck.key", names), "org.freedesktop.DBus.Error.LimitsExceeded");
    }
    EXPECT_EQ(host.extract("/" + std::string(20000, 'a')), "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_EQ(delegate.notes.lines(), Lines{});
}

}  // namespace
