#include "platform/linux/DBusScripting.h"
#include "tests/bus/FakeProgram.h"

#include <fstream>

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
    void SetUp() override {
        keynote->setTimeout(milliseconds(5000));
        keynote->setDelegate(delegate);
    }
    [[nodiscard]] static std::string failed(const char* event) {
        return fmt::format("{} {} {}", event, NSOSStatusErrorDomain, kAppleEventFailed);
    }

    PrivateBus daemon;
    FakeProgram program;
    std::optional<std::string> owner = program.uniqueName();
    DBusScripting scripting{[this](pid_t process) { return process == 41 ? owner : std::nullopt; },
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
    const auto state = keynote->presentingState();
    EXPECT_EQ(state.playing, true);
    EXPECT_EQ(state.firstDocument, (ScriptingDocumentState{"D1", "/a b.key", -2}));
    EXPECT_EQ(keynote->lastError(), nullptr);
    EXPECT_EQ(program.calls.lines(), Lines{"presentingState"});

    program.state = {{"documentID", sdbus::Variant(std::string("D2"))}};
    const auto less = keynote->presentingState();
    EXPECT_EQ(less.playing, std::nullopt);
    EXPECT_EQ(less.firstDocument, (ScriptingDocumentState{"D2", std::nullopt, 0}));
    program.state.clear();
    EXPECT_EQ(keynote->presentingState().firstDocument, std::nullopt);
    EXPECT_TRUE(delegate->failures.empty());
}

TEST_F(ScriptingTest, SendsCommandsAndReadsWindows) {
    const auto document = keynote->documentWithID("D\xFF");
    document->save("/t/copy of.key");
    document->exportTo("/t/slide", "Kimg",
                       {{"allStages", false}, {"compressionFactor", 0.8}, {"imageFormat", std::string("Kifj")}});
    document->stop();
    const auto windows = keynote->windows();
    EXPECT_EQ(program.calls.lines(),
              (Lines{"save D\uFFFD file:///t/copy%20of.key", "export D\uFFFD file:///t/slide Kimg false 0.8 Kifj",
                     "stop D\uFFFD", "windows"}));
    ASSERT_EQ(windows.size(), 2U);
    EXPECT_EQ(windows[0].name, "Slides");
    EXPECT_EQ(windows[1].bounds, (Rect{-1.5, 2, 3, 4}));
    EXPECT_EQ(windows[1].id, 8);
    EXPECT_TRUE(delegate->failures.empty());
}

TEST_F(ScriptingTest, GivesUpWaitingAndThrowsLateRepliesAway) {
    program.state = {{"playing", sdbus::Variant(false)}};
    keynote->setTimeout(milliseconds(50));
    program.holds = true;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(keynote->presentingState().playing, std::nullopt);
    EXPECT_EQ(delegate->failures,
              Lines(3, fmt::format("presentingState {} {}", NSOSStatusErrorDomain, kAppleEventTimeout)));
    EXPECT_EQ(delegate->thread, std::this_thread::get_id());
    ASSERT_NE(keynote->lastError(), nullptr);
    EXPECT_EQ(keynote->lastError()->code(), kAppleEventTimeout);

    program.calls.waitFor(3);
    program.answerHeld();
    program.holds = false;
    keynote->setTimeout(milliseconds(5000));
    EXPECT_EQ(keynote->presentingState().playing, false) << "a late reply is not the answer to a later call";
    EXPECT_EQ(keynote->lastError(), nullptr);
}

TEST_F(ScriptingTest, TakesMalformedAnswersForFailures) {
    const std::string text(20000, 'a');
    const State bad[] = {
        {{"playing", sdbus::Variant(std::string("yes"))}},
        {{"documentID", sdbus::Variant(std::int64_t{1})}},
        {{"documentID", sdbus::Variant(text)}},
        {{"documentID", sdbus::Variant(std::string("D"))}, {"documentFile", sdbus::Variant(std::string("/a.key"))}},
        {{"documentID", sdbus::Variant(std::string("D"))}, {"documentFile", sdbus::Variant("file:///" + text)}},
        {{"documentID", sdbus::Variant(std::string("D"))}, {"slideNumber", sdbus::Variant(std::string("1"))}},
    };
    for (const auto& state : bad) {
        program.state = state;
        delegate->failures.clear();
        const auto read = keynote->presentingState();
        EXPECT_EQ(read.firstDocument, std::nullopt);
        EXPECT_EQ(read.playing, std::nullopt);
        EXPECT_EQ(delegate->failures, Lines{failed("presentingState")}) << delegate->description;
    }
}

TEST_F(ScriptingTest, OpensItsConnectionAnewWhenTheBusIsBack) {
    EXPECT_EQ(keynote->presentingState().playing, std::nullopt);
    daemon.end();
    static_cast<void>(keynote->presentingState());
    EXPECT_EQ(keynote->lastError()->code(), kAppleEventFailed);
    const PrivateBus anotherDaemon;
    FakeProgram another;
    another.state = {{"playing", sdbus::Variant(true)}};
    owner = another.uniqueName();
    EXPECT_EQ(keynote->presentingState().playing, true);
}

std::size_t residentPages() {
    std::ifstream file("/proc/self/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    file >> size >> resident;
    return resident;
}

TEST_F(ScriptingTest, KeepsNothingOfWhatOthersSendToItsConnection) {
    static_cast<void>(keynote->presentingState());
    // The connection of the scripting is the one that was opened last.
    const std::string own = program.uniqueName();
    const auto next = ":1." + std::to_string(std::stoi(own.substr(own.rfind('.') + 1)) + 1);
    const auto connection = bus::openSessionBus();
    const auto stranger = sdbus::createProxy(*connection, next, "/");
    const std::string text(100000, 'x');
    const auto sendAndPoll = [&](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            auto call = stranger->createMethodCall("a.b", "c");
            call << text;
            call.dontExpectReply();
            static_cast<void>(stranger->callMethod(call));
            static_cast<void>(keynote->presentingState());
        }
    };
    sendAndPoll(50);
    const auto before = residentPages();
    sendAndPoll(500);
    EXPECT_LT(residentPages(), before + 20 * 1024 * 1024 / 4096) << "of 50 MB sent";
    EXPECT_TRUE(delegate->failures.empty());
}

TEST_F(ScriptingTest, ShuttingDownFailsEventsThatWaitAndLaterOnes) {
    program.holds = true;
    keynote->setTimeout(std::chrono::hours(1));
    std::thread waiting([this] { EXPECT_FALSE(keynote->presentingState().playing); });
    EXPECT_EQ(program.calls.waitFor(1), Lines{"presentingState"});
    scripting.shutDown();
    waiting.join();
    EXPECT_EQ(delegate->failures, Lines{failed("presentingState")});
    EXPECT_EQ(scripting.applicationForBundleIdentifier(kKeynote)->open("/deck.key"), nullptr);
    EXPECT_EQ(program.calls.lines().size(), 1U);
}

}  // namespace
