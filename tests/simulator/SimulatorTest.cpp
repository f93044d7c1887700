#include "presenters/simulator/Simulator.h"

#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedFileManager.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

using Lines = std::vector<std::string>;

/// Plays scripts in virtual time and notes what is told, with the time in milliseconds before it.
class SimulatorTest : public testing::Test {
protected:
    void add(const std::string& text) {
        auto line = script::parseLine(text);
        ASSERT_EQ(line.error, "");
        simulator.add({std::move(*line.command), text, "test:" + std::to_string(++line_)});
    }

    Lines play(const Lines& script, Duration span) {
        for (const auto& line : script) add(line);
        time.runFor(span);
        return std::exchange(told, {});
    }

    void tell(const std::string& line) { told.push_back(std::to_string(time.elapsed() / 1ms) + " " + line); }

    SimulatedDispatch time;
    SimulatedFileManager files;
    PresentationProgramModel model{time.mainQueue(), files, [](const auto&, auto, auto) { return std::string("jpg"); }};
    Lines told;
    Simulator simulator{time.mainQueue(),
                        model,
                        {.say = [this](const std::string& line) { tell(line); },
                         .announcePid = [this](std::uint32_t pid) { tell("pid " + std::to_string(pid)); },
                         .die = [this] { tell("died"); },
                         .finished = [this](const std::string& sentence) { tell("finished " + sentence); }},
                        [] {}};

private:
    int line_ = 0;
};

TEST_F(SimulatorTest, CommandsWaitForTheOnesBefore) {
    EXPECT_EQ(play({"launch", "wait 0.5", "open Deck slides 3", "wait 1", "start"}, 1s),
              (Lines{"0 ok launch", "500 ok wait 0.5", "500 ok open Deck slides 3"}));
    simulator.end();  // plays to the end all the same
    EXPECT_EQ(play({}, 1s), (Lines{"1500 ok wait 1", "1500 ok start", "1500 finished "}));
    EXPECT_FALSE(model.isRunning());
}

TEST_F(SimulatorTest, WaitForWaitsUntilNoSuchJobIsLeft) {
    play({"launch", "open Deck slides 2", "start", "stop", "wait-for export 1"}, 100ms);
    ASSERT_FALSE(model.exportTo("document-1", "/a", "Kimg", {}));
    ASSERT_FALSE(model.exportTo("document-1", "/b", "Kimg", {}));
    EXPECT_EQ(play({"wait-for export", "print done"}, 10s),
              (Lines{"160 event exported 2 images to /a", "220 event exported 2 images to /b",
                     "220 ok wait-for export 1", "220 ok wait-for export", "220 done", "220 ok print done"}));
    // A new show needs an export of its own, and the limit of the wait that is over counts no more.
    EXPECT_EQ(play({"start", "wait-for export 0.5", "wait 2"}, 3s),
              (Lines{"10100 ok start", "10600 timeout wait-for export 0.5", "12600 ok wait 2"}));
}

TEST_F(SimulatorTest, ACommandThatCannotBeCarriedOutEndsTheScript) {
    const std::vector<std::pair<const char*, const char*>> cases{
        {"open Deck", "The program is not running; launch it first."},
        {"start", "No document is open."},
        {"next", "No slide show plays."},
        {"quit", "The program is not running."},
        {"activate Deck", "No document named \"Deck\" is open."},
    };
    for (const auto& [command, message] : cases) {
        SimulatedDispatch fresh;
        PresentationProgramModel stopped(fresh.mainQueue(), files, {});
        std::string end;
        Simulator player(fresh.mainQueue(), stopped,
                         {.say = [](const auto&) {},
                          .announcePid = {},
                          .die = {},
                          .finished = [&end](const auto& text) { end = text; }},
                         [] {});
        player.add({*script::parseLine(command).command, command, "lecture:7"});
        fresh.runFor(1s);
        EXPECT_EQ(end, std::string("lecture:7: ") + message);
    }
}

TEST_F(SimulatorTest, DiesAfterTheGivenNumberOfImages) {
    play({"launch", "open Deck slides 5", "fault dies-in-export 2"}, 0ms);
    ASSERT_FALSE(model.exportTo("document-1", "/a", "Kimg", {}));
    EXPECT_EQ(play({}, 65ms), (Lines{"60 died"}));
    EXPECT_EQ(files.list("/a").size(), 2U);
}

}  // namespace
