#include "bus/Peer.h"
#include "platform/linux/bus/DBusWorkspace.h"
#include "tests/platform/linux/bus/FakeProgram.h"
#include "tests/support/Forger.h"

#include <future>

namespace {

using Lines = std::vector<std::string>;

/// A workspace on a running bus, with a main queue that runs on a thread and an observer that notes the list.
class WorkspaceTest : public testing::Test {
protected:
    void begin(std::chrono::milliseconds patience = std::chrono::hours(1)) {
        workspace = std::make_unique<bus::DBusWorkspace>(sessionBus, dispatch.mainQueue(),
                                                         std::vector<std::string>{kKeynote}, patience);
        observation = workspace->observeRunningApplications([this] { observed.add(list()); });
        sessionBus->start([] {});
        mainLoop = std::thread([this] { static_cast<void>(dispatch.run()); });
    }
    void TearDown() override {
        dispatch.stop(0);
        if (mainLoop.joinable()) mainLoop.join();
        sessionBus->stop();
        workspace.reset();
        observation.reset();
    }

    [[nodiscard]] std::string list() const {
        std::string text;
        for (const auto& application : workspace->runningApplications()) {
            text += fmt::format("{} ", application->processIdentifier());
        }
        return text;
    }
    [[nodiscard]] bool becomes(const std::string& expected) const {
        return eventually([&] { return list() == expected; });
    }
    /// Everything that the bus has sent is in the list, as far as it will be.
    void settle() {
        std::atomic<bool> isSettled = false;
        bus::Peer daemonItself(sessionBus->connection(), bus::kBusDaemon, bus::kBusDaemonPath);
        daemonItself.ask<std::string>(bus::makeCall<std::string>(bus::kBusDaemon, "GetId"), bus::Peer::kDefaultTimeout,
                                      [&](const auto*, const auto&) { sessionBus->post([&] { isSettled = true; }); });
        ASSERT_TRUE(eventually([&] { return isSettled.load(); }));
        dispatch.mainQueue().sync([] {});
    }
    /// A connection with many names that never answers.
    static std::unique_ptr<sdbus::IConnection> crowd(int first, int count) {
        auto connection = sdbus::createSessionBusConnection();
        for (int i = first; i < first + count; ++i) {
            connection->requestName(bus::ServiceName(fmt::format("{}.instance{}", kKeynote, i)));
        }
        return connection;
    }
    static FakeProgram::Facts program(int number, std::uint32_t process, bool answers = true) {
        FakeProgram::Facts facts;
        facts.name = fmt::format("{}.instance{}", kKeynote, number);
        facts.process = sdbus::Variant(process);
        facts.answers = answers;
        return facts;
    }

    PrivateBus daemon;
    NotedConsoleLog consoleLog;
    runtime::LoopDispatch dispatch{consoleLog};
    std::string problem;
    std::shared_ptr<SessionBus> sessionBus = SessionBus::open(problem);
    std::unique_ptr<bus::DBusWorkspace> workspace;
    Notes observed;
    Handle observation;
    std::thread mainLoop;
};

TEST_F(WorkspaceTest, ListsProgramsInTheOrderInWhichTheyAppeared) {
    const FakeProgram before1(program(9, 11));
    const FakeProgram before2(program(3, 12));
    const FakeProgram before3(program(5, 13));
    begin();
    EXPECT_TRUE(becomes("11 12 13 ")) << list();
    auto seen = std::make_unique<FakeProgram>(program(1, 14));
    EXPECT_TRUE(becomes("11 12 13 14 ")) << list();
    const FakeProgram last(program(2, 15));
    EXPECT_TRUE(becomes("11 12 13 14 15 ")) << list();
    seen.reset();
    EXPECT_TRUE(becomes("11 12 13 15 ")) << list();

    EXPECT_EQ(workspace->busNameOfProcess(15), last.uniqueName());
    EXPECT_EQ(workspace->busNameOfProcess(14), std::nullopt);
    EXPECT_TRUE(eventually([&] { return observed.lines().back() == "11 12 13 15 "; }));
    EXPECT_EQ(observed.lines().front(), "") << "the observer is called at once";
}

TEST_F(WorkspaceTest, OnlyRealChangesOfAProcessCount) {
    FakeProgram keynote(program(1, 20));
    begin();
    ASSERT_TRUE(becomes("20 "));
    const auto application = workspace->runningApplications().front();
    Notes changes;
    Handle observer;
    dispatch.mainQueue().sync([&] {
        observer = application->observeProcessIdentifier(
            [&] { changes.add(fmt::format("{}", application->processIdentifier())); });
    });
    for (const std::uint32_t process : {20U, 0U, 0x80000000U, 21U}) keynote.changeProcess(process);
    EXPECT_EQ(changes.waitFor(2), (Lines{"20", "21"}));
    EXPECT_EQ(workspace->busNameOfProcess(21), keynote.uniqueName());
    dispatch.mainQueue().sync([&] { observer.reset(); });
}

TEST_F(WorkspaceTest, HearsNobodyElseAboutAProcess) {
    FakeProgram keynote(program(1, 20));
    auto facts = program(1, 66);
    facts.name = "org.example.Impostor";
    FakeProgram impostor(facts);
    begin();
    ASSERT_TRUE(becomes("20 "));
    impostor.changeProcess(67);
    keynote.changeProcess(21);
    EXPECT_TRUE(becomes("21 "));
}

TEST_F(WorkspaceTest, NeverListsProgramsThatDoNotTellSensibly) {
    begin();
    std::vector<FakeProgram::Facts> bad(9, program(0, 30));
    bad[0].answers = false;
    bad[1].process = sdbus::Variant(std::int32_t{30});
    bad[2].process = sdbus::Variant(std::uint32_t{0});
    bad[3].process = sdbus::Variant(std::uint32_t{0xFFFFFFFF});
    bad[4].identifier = sdbus::Variant(std::string("com.apple.iWork.Pages"));
    bad[5].identifier = sdbus::Variant(std::uint32_t{1});
    bad[6].url = sdbus::Variant(std::string("http://example.org/Keynote.app"));
    bad[7].url = sdbus::Variant("file:///" + std::string(20000, 'a'));
    bad[8].url = sdbus::Variant(std::uint32_t{1});
    std::vector<std::unique_ptr<FakeProgram>> programs;
    for (std::size_t i = 0; i < bad.size(); ++i) {
        bad[i].name = fmt::format("{}.instance{}", kKeynote, 100 + i);
        programs.push_back(std::make_unique<FakeProgram>(bad[i]));
    }
    auto stranger = program(1, 31);
    stranger.name = std::string(kKeynote) + "Else.instance1";
    const FakeProgram notWatched(stranger);
    auto foreign = program(1, 31);
    foreign.name = std::string(kKeynote) + ".helper";
    const FakeProgram noInstance(foreign);
    // Programs are asked in their order, so those before have answered once this one has.
    const FakeProgram good(program(1, 32));
    EXPECT_TRUE(becomes("32 ")) << list();
    sessionBus->post([&] { observed.add("settled"); });
    ASSERT_TRUE(eventually([&] { return observed.count("settled") == 1; }));
    EXPECT_EQ(list(), "32 ");
}

TEST_F(WorkspaceTest, AsksAgainWhenANameChangesHands) {
    begin();
    auto first = std::make_unique<FakeProgram>(program(1, 40));
    ASSERT_TRUE(becomes("40 "));
    const auto record = workspace->runningApplications().front();
    first->leaveName();
    const FakeProgram second(program(1, 41));
    EXPECT_TRUE(becomes("41 "));
    EXPECT_NE(workspace->runningApplications().front(), record);
    EXPECT_EQ(record->processIdentifier(), 40) << "the old record stays as it was";
}

TEST_F(WorkspaceTest, FindsAProgramThatHasJustAppeared) {
    begin();
    ASSERT_TRUE(eventually([&] { return workspace->isComplete(); }));
    for (int i = 1; i <= 20; ++i) {
        {
            const FakeProgram keynote(program(i, 60));
            std::promise<std::optional<std::string>> owner;
            workspace->findStarted(kKeynote, [&](const auto& found) { owner.set_value(found); });
            ASSERT_EQ(owner.get_future().get(), keynote.uniqueName());
        }
        ASSERT_TRUE(eventually([&] { return !workspace->busNameOfBundle(kKeynote); }));
    }
}

TEST_F(WorkspaceTest, OneWithManyNamesKeepsNobodyOutForGood) {
    const auto many = crowd(100, 70);
    begin();
    const FakeProgram first(program(1, 70));
    EXPECT_TRUE(becomes("70 "));
    std::vector<std::unique_ptr<sdbus::IConnection>> others;
    for (int i = 0; i < 15; ++i) others.push_back(crowd(200 + 4 * i, 4));
    const FakeProgram late(program(2, 71));
    settle();
    EXPECT_EQ(list(), "70 ") << "64 are watched";
    others.pop_back();
    EXPECT_TRUE(becomes("70 71 ")) << "there is a place now";
}

TEST_F(WorkspaceTest, NobodyTakesTheProcessOfAnother) {
    FakeProgram earlier(program(1, 79));
    begin();
    ASSERT_TRUE(becomes("79 "));
    const FakeProgram followed(program(2, 80));
    ASSERT_TRUE(becomes("79 80 "));
    const FakeProgram later(program(3, 80));
    ASSERT_TRUE(becomes("79 80 80 "));
    EXPECT_EQ(workspace->busNameOfProcess(80), followed.uniqueName());
    earlier.changeProcess(80);
    ASSERT_TRUE(becomes("80 80 80 "));
    EXPECT_EQ(workspace->busNameOfProcess(80), followed.uniqueName());
}

TEST_F(WorkspaceTest, ListsAProgramThatAnswersLate) {
    FakeProgram slow(program(1, 90, false));
    begin(std::chrono::milliseconds(50));
    EXPECT_TRUE(eventually([&] { return workspace->isComplete(); })) << "it is not waited for any longer";
    EXPECT_EQ(list(), "");
    slow.beginToAnswer();
    EXPECT_TRUE(becomes("90 "));
}

TEST_F(WorkspaceTest, AForgedAnswerIsNone) {
    FakeProgram asked(program(1, 91, false));
    begin();
    settle();
    Forger forger;
    for (std::uint32_t serial = 1; serial < 100; ++serial) {
        forger.reply(sessionBus->connection().library().getUniqueName(), serial, "forged", serial % 2 == 0);
    }
    settle();
    EXPECT_FALSE(workspace->isComplete());
    asked.beginToAnswer();
    EXPECT_TRUE(becomes("91 "));
}

TEST_F(WorkspaceTest, ANonsensicalAnswerIsAnAnswer) {
    Forger program;
    program.own(std::string(kKeynote) + ".instance1");
    begin();
    program.answer("GetAll", "nonsense");
    EXPECT_TRUE(eventually([&] { return workspace->isComplete(); }));
    EXPECT_EQ(list(), "");
}

TEST_F(WorkspaceTest, TellsNobodyAboutAnOpenedFileAfterItsEnd) {
    const FakeProgram keynote(program(1, 95));
    begin();
    ASSERT_TRUE(becomes("95 "));
    std::promise<void> release;
    dispatch.mainQueue().async([&] { release.get_future().wait(); });
    bool isTold = false;
    workspace->openFile("/a.key", "Keynote", [&](bool) { isTold = true; });
    EXPECT_EQ(keynote.calls.waitFor(1), (Lines{"open file:///a.key"}));
    sessionBus->stop();
    workspace.reset();
    release.set_value();
    dispatch.mainQueue().sync([] {});
    EXPECT_FALSE(isTold);
}

TEST_F(WorkspaceTest, EndsAllWaitsForAProgramWhenItShutsDown) {
    const FakeProgram silent(program(1, 96, false));
    begin();
    Notes told;
    workspace->openFile("/a.key", "Keynote", [&](bool isThere) { told.add(isThere ? "there" : "none"); });
    std::thread blocked([&] { told.add(workspace->openFile("/b.key", "Keynote") ? "there" : "none"); });
    settle();
    EXPECT_EQ(told.lines(), Lines{});
    workspace->shutDown();
    EXPECT_EQ(told.waitFor(2), (Lines{"none", "none"}));
    blocked.join();
    workspace->openFile("/c.key", "Keynote", [&](bool isThere) { told.add(isThere ? "there" : "none"); });
    EXPECT_EQ(told.waitFor(3).size(), 3U) << "later ones end at once";
}

TEST_F(WorkspaceTest, OutlivesTheBus) {
    const FakeProgram keynote(program(1, 50));
    begin();
    ASSERT_TRUE(becomes("50 "));
    daemon.end();
    EXPECT_EQ(list(), "50 ");
}

}  // namespace
