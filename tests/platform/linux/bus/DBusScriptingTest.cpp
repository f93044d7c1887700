#include "bus/Names.h"
#include "bus/ProgramContract.h"
#include "bus/ProgramValues.h"
#include "platform/linux/bus/DBusScripting.h"
#include "platform/linux/bus/ProgramCalls.h"
#include "tests/platform/linux/bus/FakeProgram.h"
#include "tests/support/Forger.h"

#include <sys/resource.h>
#include <unistd.h>
#include <fstream>
#include <limits>

namespace {

using Lines = std::vector<std::string>;
using std::chrono::milliseconds;

class NotingScriptingDelegate final : public ScriptingDelegate {
public:
    void eventDidFail(const std::string& event, const Error& error) override {
        failures.push_back(fmt::format("{} {} {}", event, error.domain(), error.code()));
        description = error.localizedDescription();
        thread = std::this_thread::get_id();
    }
    Lines failures;
    std::string description;
    std::thread::id thread;
};

class ScriptingTest : public testing::Test {
protected:
    struct Poll {
        PresentingState state;
        ErrorPtr error;
    };

    void SetUp() override {
        keynote->setTimeout(milliseconds(5000));
        keynote->setDelegate(delegate);
    }
    /// Runs the main queue until then.
    template <typename Condition>
    [[nodiscard]] bool runUntil(const Condition& condition) {
        const auto deadline = std::chrono::steady_clock::now() + kDeadline;
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            dispatch.mainQueue().after(milliseconds(1), [] {});
            dispatch.mainQueue().runOne();
        }
        return condition();
    }
    [[nodiscard]] Poll poll() {
        const auto answer = std::make_shared<std::optional<Poll>>();
        keynote->presentingState([answer](const PresentingState& state, const ErrorPtr& error) {
            EXPECT_FALSE(answer->has_value()) << "answered twice";
            *answer = Poll{state, error};
        });
        EXPECT_FALSE(answer->has_value()) << "answered within the call";
        EXPECT_TRUE(runUntil([&] { return answer->has_value(); }));
        return answer->value_or(Poll{});
    }
    [[nodiscard]] static std::string failed(const char* event) {
        return fmt::format("{} {} {}", event, NSOSStatusErrorDomain, kAppleEventFailed);
    }

    PrivateBus daemon;
    FakeProgram program;
    std::optional<std::string> owner = program.uniqueName();
    NotedConsoleLog consoleLog;
    runtime::LoopDispatch dispatch{consoleLog};
    bus::DBusScripting scripting{dispatch.mainQueue(),
                                 [this](pid_t process) { return process == 41 ? owner : std::nullopt; },
                                 [this](const std::string&) { return owner; }};
    std::shared_ptr<ScriptingApplication> keynote = scripting.applicationForProcess(41);
    std::shared_ptr<NotingScriptingDelegate> delegate = std::make_shared<NotingScriptingDelegate>();
};

TEST_F(ScriptingTest, ReadsAPollWithOneCall) {
    program.state = {{"playing", sdbus::Variant(true)},
                     {"documentID", sdbus::Variant(std::string("D1"))},
                     {"documentFile", sdbus::Variant(std::string("file:///a%20b.key"))},
                     {"slideNumber", sdbus::Variant(std::int64_t{-2})},
                     {"unknown", sdbus::Variant(std::vector<std::string>{"x"})}};
    EXPECT_TRUE(keynote->isRunning());
    const auto [state, error] = poll();
    EXPECT_EQ(state.playing, true);
    EXPECT_EQ(state.firstDocument, (ScriptingDocumentState{"D1", "/a b.key", -2}));
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(program.calls.lines(), Lines{"presentingState"});

    program.state = {{"documentID", sdbus::Variant(std::string("D2"))}};
    const auto less = poll().state;
    EXPECT_EQ(less.playing, std::nullopt);
    EXPECT_EQ(less.firstDocument, (ScriptingDocumentState{"D2", std::nullopt, 0}));
    program.state.clear();
    EXPECT_EQ(poll().state.firstDocument, std::nullopt);
    EXPECT_TRUE(delegate->failures.empty());
}

using Bounds = sdbus::Struct<std::int64_t, std::int64_t>;
using Visits = std::vector<sdbus::Struct<std::int64_t, std::int64_t, std::int64_t, std::int64_t>>;
using End = sdbus::Struct<std::string, std::int64_t, std::int64_t>;

TimeBounds bounds(std::int64_t earliest, std::int64_t latest) {
    return {Instant(std::chrono::microseconds(earliest)), Instant(std::chrono::microseconds(latest))};
}

TEST_F(ScriptingTest, ReadsWhenTheProgramsShowsDidWhat) {
    program.state = {{"playing", sdbus::Variant(true)},
                     {"showStarted", sdbus::Variant(Bounds(1, 2))},
                     {"visits", sdbus::Variant(Visits{{7, 5, 3, 4}, {7, 6, 10, 10}})},
                     {"showEnded", sdbus::Variant(End("D", 20, 21))}};
    const auto times = poll().state.times;
    EXPECT_EQ(times.showStarted, bounds(1, 2));
    EXPECT_EQ(times.visits, (std::vector<ScriptingVisit>{{7, 5, bounds(3, 4)}, {7, 6, bounds(10, 10)}}));
    EXPECT_EQ(times.showEnded, bounds(20, 21));
    EXPECT_EQ(times.endedDocumentID, "D");
    program.state = bus::dictionaryFrom(PresentingState{true, {}, times});
    EXPECT_EQ(poll().state.times, times);
}

/// The times are an addition: a poll is good without them, and with half of them a visit could be told that was none.
TEST_F(ScriptingTest, IgnoresTimesThatMakeNoSense) {
    constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
    for (const auto& times : std::vector<std::map<std::string, sdbus::Variant>>{
             {{"showStarted", sdbus::Variant(Bounds(2, 1))}},
             {{"showStarted", sdbus::Variant(std::int64_t{5})}},
             {{"showStarted", sdbus::Variant(Bounds(0, kMost))}},
             {{"showEnded", sdbus::Variant(End("D", -1, 5))}},
             {{"showEnded", sdbus::Variant(End(std::string(16385, 'a'), 1, 5))}},
             {{"visits", sdbus::Variant(Visits{{1, 1, 3, 4}, {2, 2, 6, 5}})}},
             {{"visits", sdbus::Variant(Visits(kMostVisits + 1, {1, 1, 3, 4}))}}}) {
        program.state = times;
        program.state.emplace("playing", true);
        const auto [state, error] = poll();
        EXPECT_EQ(state.playing, true) << times.begin()->first;
        EXPECT_FALSE(state.times.showStarted || state.times.showEnded || !state.times.visits.empty());
    }
}

/// A show must not be missed because of its document's file.
TEST_F(ScriptingTest, LeavesOutAFileThatItCannotUnderstand) {
    for (const std::string& url : {std::string("/a.key"), "file:///" + std::string(20000, 'a')}) {
        program.state = {{"documentID", sdbus::Variant(std::string("D"))}, {"documentFile", sdbus::Variant(url)}};
        EXPECT_EQ(poll().state.firstDocument, (ScriptingDocumentState{"D", std::nullopt, 0}));
    }
}

TEST_F(ScriptingTest, ReadsNoMoreThanAProgramHasToSay) {
    for (int i = 0; i < 100; ++i) program.state.emplace(fmt::format("a{}", i), sdbus::Variant(i));
    program.state.emplace("playing", sdbus::Variant(true));
    EXPECT_EQ(poll().state.playing, std::nullopt);
    for (int i = 50; i < 100; ++i) program.state.erase(fmt::format("a{}", i));
    EXPECT_EQ(poll().state.playing, true);
}

TEST_F(ScriptingTest, SendsCommandsInOrderWithoutWaitingAndReadsWindows) {
    const auto document = keynote->documentWithID("D\xFF");
    document->save("/t/copy of.key");
    document->exportTo("/t/slide", "Kimg",
                       {{"allStages", false}, {"compressionFactor", 0.8}, {"imageFormat", std::string("Kifj")}});
    document->stop();
    EXPECT_TRUE(program.calls.lines().empty());
    EXPECT_TRUE(runUntil([&] { return program.calls.lines().size() == 3; }));
    const auto windows = keynote->windows();
    EXPECT_EQ(program.calls.lines(),
              (Lines{"save D\uFFFD file:///t/copy%20of.key", "export D\uFFFD file:///t/slide Kimg false 0.8 Kifj",
                     "stop D\uFFFD", "windows"}));
    ASSERT_EQ(windows.size(), 2U);
    EXPECT_EQ(windows[0].name, "Slides");
    EXPECT_EQ(windows[1].bounds, (Rect{-1.5, 2, 3, 4}));
    EXPECT_EQ(windows[1].id, 8);
    EXPECT_TRUE(delegate->failures.empty());

    program.refuses = sdbus::Error(bus::ErrorName("a.b"), "no");
    document->stop();
    EXPECT_TRUE(runUntil([&] { return delegate->failures == Lines{failed("stop")}; }));
}

TEST_F(ScriptingTest, TakesTheFirstOfTooManyWindowsAndCutsTheirNames) {
    program.windows.assign(1500, {std::string(16383, 'a') + "\u00E4", {0, 0, 1, 1}, 1, 2});
    const auto windows = keynote->windows();
    ASSERT_EQ(windows.size(), 1000U);
    EXPECT_EQ(windows.back().name, std::string(16383, 'a'));
}

TEST_F(ScriptingTest, GivesUpWaitingAndThrowsLateRepliesAway) {
    program.state = {{"playing", sdbus::Variant(false)}};
    keynote->setTimeout(milliseconds(50));
    program.holds = true;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(poll().error->code(), kAppleEventTimeout);
    EXPECT_EQ(delegate->failures,
              Lines(3, fmt::format("presentingState {} {}", NSOSStatusErrorDomain, kAppleEventTimeout)));
    EXPECT_EQ(delegate->thread, std::this_thread::get_id());

    program.calls.waitFor(3);
    program.answerHeld();
    program.holds = false;
    keynote->setTimeout(milliseconds(5000));
    const auto late = poll();
    EXPECT_EQ(late.state.playing, false) << "a late reply is not the answer to a later call";
    EXPECT_EQ(late.error, nullptr);
}

TEST_F(ScriptingTest, TakesMalformedAnswersForFailures) {
    const std::string text(20000, 'a');
    const State bad[] = {
        {{"playing", sdbus::Variant(std::string("yes"))}},
        {{"documentID", sdbus::Variant(std::int64_t{1})}},
        {{"documentID", sdbus::Variant(text)}},
        {{"documentID", sdbus::Variant(std::string("D"))}, {"documentFile", sdbus::Variant(std::int64_t{1})}},
        {{"documentID", sdbus::Variant(std::string("D"))}, {"slideNumber", sdbus::Variant(std::string("1"))}},
    };
    for (const auto& state : bad) {
        program.state = state;
        delegate->failures.clear();
        const auto read = poll().state;
        EXPECT_EQ(read.firstDocument, std::nullopt);
        EXPECT_EQ(read.playing, std::nullopt);
        EXPECT_EQ(delegate->failures, Lines{failed("presentingState")}) << delegate->description;
    }
}

TEST_F(ScriptingTest, OpensItsConnectionAnewWhenTheBusIsBack) {
    EXPECT_EQ(poll().error, nullptr);
    daemon.end();
    EXPECT_EQ(poll().error->code(), kAppleEventFailed);
    const PrivateBus anotherDaemon;
    FakeProgram another;
    another.state = {{"playing", sdbus::Variant(true)}};
    owner = another.uniqueName();
    EXPECT_EQ(poll().state.playing, true);
}

#ifndef __SANITIZE_ADDRESS__  // the sanitizers look at memory through a pipe, for which they need descriptors too
TEST_F(ScriptingTest, AnswersHoweverFewDescriptorsAreLeft) {
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_EQ(poll().error, nullptr);                                 // the main queue has what it needs
    std::vector<std::shared_ptr<ScriptingApplication>> applications;  // keep their descriptors
    int answered = 0;
    for (int left = 0; left < 8; ++left) {
        keynote = applications.emplace_back(scripting.applicationForBundleIdentifier(kKeynote));
        const int next = ::dup(0);
        ::close(next);
        const rlimit low{static_cast<rlim_t>(next + left), usual.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
        const auto atFirst = poll().error;
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
        answered += atFirst == nullptr ? 1 : 0;
        EXPECT_EQ(poll().error, nullptr) << left;
    }
    EXPECT_TRUE(0 < answered && answered < 8) << answered;
}
#endif

TEST_F(ScriptingTest, GoesOnWaitingWhenAnotherCallCannotBeSent) {
    program.holds = true;
    Lines heard;
    const auto calls = std::make_shared<bus::ProgramCalls>(dispatch.mainQueue());
    const auto call = [&](const std::string& name, const std::string& to, const bus::Call<PresentingState>& event) {
        calls->call<PresentingState>(to, event, milliseconds(300),
                                     [&heard, name](const auto*, const auto&) { heard.push_back(name); });
    };
    const auto event = bus::program::presentingState();
    auto unsendable = event;
    unsendable.write = [](sdbus::MethodCall&) { throw sdbus::Error(bus::ErrorName("a.b"), "no"); };
    call("held", *owner, event);
    call("unsent", *owner, unsendable);
    EXPECT_EQ(heard, Lines{"unsent"});
    call("other", "org.freedesktop.DBus", event);
    EXPECT_TRUE(runUntil([&] { return heard.size() == 3; }));
}

std::size_t residentPages() {
    std::ifstream file("/proc/self/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    file >> size >> resident;
    return resident;
}

TEST_F(ScriptingTest, KeepsNothingOfWhatOthersSendToItsConnection) {
    static_cast<void>(poll());
    // The connection of the scripting is the one that was opened last.
    const std::string own = program.uniqueName();
    const auto next = ":1." + std::to_string(std::stoi(own.substr(own.rfind('.') + 1)) + 1);
    const auto connection = sdbus::createSessionBusConnection();
    const auto stranger = bus::createProxy(*connection, next, "/");
    const std::string text(100000, 'x');
    const auto sendAndPoll = [&](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            auto call = bus::createCall(*stranger, "a.b", "c");
            call << text;
            call.dontExpectReply();
            static_cast<void>(stranger->callMethod(call));
            static_cast<void>(poll());
        }
    };
    sendAndPoll(50);
    const auto before = residentPages();
    sendAndPoll(500);
    EXPECT_LT(residentPages(), before + 20 * 1024 * 1024 / 4096) << "of 50 MB sent";
    EXPECT_TRUE(delegate->failures.empty());
}

TEST_F(ScriptingTest, BelievesNobodyElseWhileItWaits) {
    program.holds = true;
    Forger forger;
    std::thread waiting([this] { EXPECT_EQ(keynote->open("/deck.key"), nullptr); });
    EXPECT_EQ(program.calls.waitFor(1), Lines{"open file:///deck.key"});
    // Connections are numbered: after the program's came the forger's, then the one that waits.
    const std::string own = program.uniqueName();
    const auto waits = ":1." + std::to_string(std::stoi(own.substr(own.rfind('.') + 1)) + 2);
    for (std::uint32_t serial = 1; serial < 8; ++serial) forger.reply(waits, serial, "forged");
    waiting.join();
    EXPECT_EQ(delegate->failures, Lines{failed("open")});
    EXPECT_NE(delegate->description.find("somebody else"), std::string::npos) << delegate->description;
}

TEST_F(ScriptingTest, ShuttingDownFailsEventsThatWaitAndLaterOnes) {
    program.holds = true;
    std::thread waiting([this] { EXPECT_EQ(keynote->open("/deck.key"), nullptr); });
    EXPECT_EQ(program.calls.waitFor(1), Lines{"open file:///deck.key"});
    scripting.shutDown();
    waiting.join();
    EXPECT_EQ(delegate->failures, Lines{failed("open")});
    EXPECT_EQ(scripting.applicationForBundleIdentifier(kKeynote)->open("/deck.key"), nullptr);
    EXPECT_EQ(program.calls.lines().size(), 1U);
}

/// What is under way at the end must not keep itself alive; the leak check watches.
TEST_F(ScriptingTest, EndsWithQuestionsUnderWay) {
    program.holds = true;
    keynote->presentingState([keynote = keynote](const auto&, const auto&) { ADD_FAILURE() << "answered"; });
    EXPECT_TRUE(runUntil([&] { return program.calls.lines().size() == 1; }));
    keynote->documentWithID("D")->stop();
}

}  // namespace
