#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedFileManager.h"
#include "presenters/simulator/Script.h"
#include "presenters/simulator/Simulator.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

using Lines = std::vector<std::string>;

/// A simulator in virtual time, with files in memory.
struct Stage {
    /// What is said of the line, and what it says itself.
    Lines play(const std::string& text) {
        const auto line = simulator::parseLine(text);
        EXPECT_EQ(line.error, "");
        said.clear();
        const auto start = dispatch.elapsed();
        simulator.add({line.command.value(), text, "line"});
        dispatch.runFor(1h);
        took = lastSaid - start;
        return said;
    }
    void say(const std::string& line) {
        said.push_back(line);
        lastSaid = dispatch.elapsed();
    }

    simulated::SimulatedDispatch dispatch;
    simulated::SimulatedFileManager files;
    presenters::PresentationProgramModel model{dispatch.mainQueue(), files, [](auto&&...) { return std::string(); }};
    Lines said;
    Duration lastSaid{};
    Duration took{};  ///< by the last line
    simulator::Simulator simulator{dispatch.mainQueue(),
                                   model,
                                   {.say = [this](const auto& line) { say(line); },
                                    .announcePid = [](auto) {},
                                    .die = [] {},
                                    .finished = [this](const auto& sentence) { say(sentence); }},
                                   [] {}};
};

TEST(Script, BadLinesAreNamedWithWhatIsAllowed) {
    struct Case {
        const char* text;
        const char* message;  ///< a part of it
    };
    const std::vector<Case> cases{
        {"lunch", "There is no command \"lunch\"; the commands are: wait, launch, open,"},
        {"wait", "wait: the time is missing. Usage: wait SECONDS"},
        {"wait soon", "the time must be seconds like 0.5, not \"soon\""},
        {"wait -1", "not \"-1\""},
        {"wait 1s", "not \"1s\""},
        {"launch now", "launch: \"now\" is not expected here. Usage: launch"},
        {"open", "the name is missing"},
        {"open Deck slides", "the count of slides is missing"},
        {"open Deck slides 10001", "the count of slides must be a number from 0 to 10000, not \"10001\""},
        {"open Deck hidden 3,", "the hidden slides must be slide numbers like 3,5, not \"3,\""},
        {"open Deck pages 3", "\"pages\" is not expected here. Usage: open NAME [slides N]"},
        {"open \"Deck", "quotation mark is not closed"},
        {"open De\xfck", "not in UTF-8"},
        {"deck Optics slides 3", "deck: the file is missing. Usage: deck NAME file PATH"},
        {"deck Optics file", "deck: the file is missing. Usage: deck NAME file PATH"},
        {"open Optics file \"\"", "open: the file \"\" has no whole path. Usage: open NAME"},
        {"text Optics 0 title A", "the slide must be a number from 1 to 10000"},
        {"text Optics 1 footer A", "\"footer\" is no title, body, notes, item or table"},
        {"text Optics 1 title A B", "\"B\" is not expected here"},
        {"start Deck 3", "\"3\" is not expected here. Usage: start [NAME] [at N]"},
        {"slide three", "the slide must be a number from 0 to 10000, not \"three\""},
        {"pid 0", "from 1 to 2147483647"},
        {"fault", "the fault is missing"},
        {"fault exports-png", "There is no fault \"exports-png\"; the faults are: lacks-playing, lacks-times,"},
        {"fault lacks-playing yes", "The fault \"lacks-playing\" takes no value."},
        {"fault refuses print", "cannot take \"print\"; give it calls out of presentingState,windows,version,"},
        {"fault answers-late", "cannot take \"\"; give it seconds like 0.7."},
        {"fault leaves-out 3 5", "\"5\" is not expected here"},
        {"heal everything", "There is no fault \"everything\""},
        {"wait-for applause", "it waits for a save or for an export. Usage: wait-for save|export [SECONDS]"},
    };
    for (const Case& each : cases) {
        const auto line = simulator::parseLine(each.text);
        EXPECT_FALSE(line.command) << each.text;
        EXPECT_NE(line.error.find(each.message), std::string::npos) << each.text << " gave: " << line.error;
    }
}

TEST(Script, NothingStandsInBlankLinesAndComments) {
    for (const char* const text : {"", " \t\r", "# launch", "  #"}) {
        const auto line = simulator::parseLine(text);
        EXPECT_FALSE(line.command) << text;
        EXPECT_EQ(line.error, "") << text;
    }
}

TEST(Script, WordsMayBeQuotedAndOptionsComeInAnyOrder) {
    Stage stage;
    stage.play("launch");
    stage.play("\topen \"Optics # 1\" file \"/decks/My Deck.key\" slides 12 hidden 3,5\r");
    const auto& documents = stage.model.documents();
    EXPECT_EQ(documents.front().name, "Optics # 1");
    EXPECT_EQ(documents.front().file, "/decks/My Deck.key");
    EXPECT_EQ(documents.front().slideCount, 12);
    EXPECT_EQ(documents.front().hiddenSlides, (std::set<std::int64_t>{3, 5}));
    stage.play("open Relative file ../a.key");
    EXPECT_EQ(documents.front().file, (std::filesystem::current_path() / "../a.key").lexically_normal());
    stage.play("open Deck slides 3");
    EXPECT_FALSE(documents.front().file);

    stage.play("start \"Optics # 1\" at 3");
    EXPECT_EQ(stage.model.presentedDocument()->name, "Optics # 1");
    EXPECT_EQ(stage.model.presentedDocument()->currentSlide, 3);
    stage.play("stop");
    stage.play("start at 0 # black");
    EXPECT_EQ(stage.model.presentedDocument()->name, "Deck");
    EXPECT_EQ(stage.model.presentedDocument()->currentSlide, 0);

    EXPECT_EQ(stage.play("print now  \"the end\""), (Lines{"now the end", "ok print now  \"the end\""}));
    EXPECT_EQ(stage.play("wait 0.25"), Lines{"ok wait 0.25"});
    EXPECT_EQ(stage.took, 250ms);
    EXPECT_EQ(stage.play("wait-for export 2"), Lines{"timeout wait-for export 2"});
    EXPECT_EQ(stage.took, 2s);
    EXPECT_EQ(stage.play("wait-for save"), Lines{"timeout wait-for save"});
    EXPECT_EQ(stage.took, 10s);
    EXPECT_EQ(stage.play("close Decks"), Lines{"line: No document named \"Decks\" is open."});
}

TEST(Faults, EachGoesOnAndOffAndAWrongValueChangesNothing) {
    const std::vector<std::pair<const char*, const char*>> faults{
        {"lacks-playing", ""},   {"lacks-times", ""},       {"refuses", "save"},     {"exports-jpeg", ""},
        {"exports-nothing", ""}, {"disk-full", ""},         {"leaves-out", "3"},     {"exports-slowly", "2"},
        {"saves-slowly", "3"},   {"writes-in-pieces", "4"}, {"answers-late", "0.7"}, {"never-answers", ""},
        {"dies-in-export", "2"}, {"opens-slowly", "1"},     {"never-closes", ""},
    };
    const auto summary = [](const presenters::PresentationProgramFaults& f) {
        return std::make_tuple(f.lacksPlaying, f.lacksTimes, f.refusedCalls, f.exportsJpeg, f.exportsNothing,
                               f.diskFull, f.leftOutImages, f.imageTime, f.saveTime, f.imagePieces, f.answersLate,
                               f.neverAnswers, f.diesInExport, f.openTime, f.neverCloses);
    };
    const auto healthy = summary({});
    std::set<decltype(summary({}))> seen{healthy};
    presenters::PresentationProgramFaults all;
    for (const auto& [name, value] : faults) {
        presenters::PresentationProgramFaults one;
        EXPECT_FALSE(one.switchOn(name, value)) << name;
        EXPECT_TRUE(seen.insert(summary(one)).second) << name << " does the same as another or nothing";
        EXPECT_TRUE(one.switchOn(name, "wrong value")) << name;
        EXPECT_TRUE(seen.contains(summary(one))) << name;
        EXPECT_FALSE(one.switchOff(name)) << name;
        EXPECT_EQ(summary(one), healthy) << name;
        EXPECT_FALSE(all.switchOn(name, value)) << name;
    }
    EXPECT_FALSE(all.switchOff(""));
    EXPECT_EQ(summary(all), healthy);
}

}  // namespace
