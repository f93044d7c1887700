#include "tests/platform/linux/bus/ListenerTest.h"

namespace {

TEST_F(ListenerTest, AnswersNothingToCallsThatEndWithIt) {
    TestHost host;
    std::string outcome;
    std::thread waiting([&] { outcome = host.start("hold"); });
    ASSERT_EQ(delegate.notes.waitFor(1).back(), "1 start /tmp/c hold");
    EXPECT_EQ(end(), 0);
    delegate.held.clear();
    daemon.end();
    waiting.join();
    EXPECT_NE(outcome, "ok");
}

TEST_F(ListenerTest, EndsUnusedOnlyWithoutHosts) {
    auto host = std::make_unique<TestHost>();
    ASSERT_EQ(host->call("stopPresenting"), "ok");
    Notes name;
    const auto watcher = sdbus::createSessionBusConnection();
    const auto watch =
        bus::addMatch(*watcher, "type='signal',member='NameOwnerChanged',arg0='" + std::string(bus::kServiceName) + "'",
                      [&](auto&& message) {
                          std::string owner;
                          message >> owner >> owner >> owner;
                          name.add(owner.empty() ? "given back" : "taken");
                      });
    watcher->enterEventLoopAsync();
    listener.endIfUnused();
    EXPECT_EQ(host->call("stopPresenting"), "ok");
    EXPECT_TRUE(name.lines().empty()) << "the host would think that the service is gone";
    EXPECT_EQ(status, -1);

    host.reset();
    ASSERT_TRUE(eventually([&] { return left == 1; }));
    listener.endIfUnused();
    runner.join();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(name.waitFor(1), std::vector<std::string>{"given back"});
}

TEST(SessionBus, SaysWhyItCannotBeReached) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    std::string problem;
    EXPECT_EQ(SessionBus::open(problem), nullptr);
    EXPECT_NE(problem.find("Cannot reach the session bus"), std::string::npos) << problem;
    NotedConsoleLog log;
    runtime::LoopDispatch dispatch(log);
    bus::DBusServiceListener listener(nullptr, dispatch, log, {});
    EXPECT_EQ(listener.resume(), 1);
}

}  // namespace
