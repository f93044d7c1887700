/// Images and text of saved decks, and waiting for saving, with the real tool, service and program.

#include "tests/e2e/CaptureTest.h"
#include "tests/support/Deadline.h"

#include <fmt/format.h>
#include <csignal>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace fs = std::filesystem;

class ExtractionTest : public CaptureTest {
protected:
    void SetUp() override {
        startService();
        writeFile(deck(), "deck");
    }
    [[nodiscard]] fs::path deck() const { return home_.path() / "decks/optics.key"; }
    [[nodiscard]] fs::path image(int slide) const {
        return deck().parent_path() / fmt::format("slide.{:03}.jpg", slide);
    }
    /// The simulator with the deck in its file.
    [[nodiscard]] std::unique_ptr<ChildProcess> launchWithDeck() const {
        auto program = launchProgram();
        program->play(fmt::format("deck Optics file {} slides 3", deck().string()));
        program->play("text Optics 2 title \"Light & <dark>\"");
        return program;
    }
};

TEST_F(ExtractionTest, WritesImagesAndTextBesideTheDeckWhileAnotherHostCaptures) {
    Host lecture;
    lecture.record(captures());
    const auto program = launchWithDeck();
    lecture.waitFor("launched");
    program->play("open Lecture slides 5");
    program->play("start Lecture");
    lecture.waitFor("P1 slide 1");
    ChildProcess tool({KEYNOTE_CAPTURE, "extract", deck().string(), "--slides", "1,3", "--json"});
    program->play("next");
    lecture.waitFor("P1 slide 2");
    EXPECT_EQ(tool.exitStatus(), 0) << tool.complaints();
    program->play("next");
    lecture.waitFor("P1 slide 3");
    program->play("stop");
    EXPECT_THAT(lecture.waitFor("P1 stopped"),
                ElementsAre("launched", "P1 started", "P1 slide 1", "P1 slide 2", "P1 slide 3", "P1 stopped"));
    EXPECT_THAT(tool.restOfOutput(),
                AllOf(HasSubstr(R"({"event":"progress","images":2,"of":2)"),
                      HasSubstr(fmt::format(
                          R"({{"event":"extractedSlideFilesForPresentation","presentation":"{}","error":null)",
                          deck().string()))));
    EXPECT_EQ(filesIn(deck().parent_path()),
              (std::set<std::string>{"optics.key", "optics.key.key.text.xml", "slide.001.jpg", "slide.003.jpg"}));
    EXPECT_TRUE(isWholeImage(image(1)));
    const std::string text = contentsOf(deck().parent_path() / "optics.key.key.text.xml");
    const std::u16string title = u"<Title>Light &amp; &lt;dark&gt;</Title>";
    EXPECT_THAT(text, StartsWith("\xFF\xFE<"));
    EXPECT_THAT(text, HasSubstr(std::string(reinterpret_cast<const char*>(title.data()), title.size() * 2)));
    program->writeLine("start Optics");
    program->waitForComplaint("No document named \"Optics\" is open.");
}

TEST_F(ExtractionTest, SaysBeforehandWhatCannotBe) {
    const auto expect = [](std::vector<std::string> options, int status, const std::string& sentence) {
        options.insert(options.begin(), {KEYNOTE_CAPTURE, "extract"});
        ChildProcess tool(options);
        EXPECT_EQ(tool.exitStatus(), status) << sentence;
        EXPECT_THAT(tool.complaints(), HasSubstr(sentence));
    };
    expect({deck()}, 1, "No presentation program runs, and none could be started");
    const auto program = launchWithDeck();
    writeFile(home_.path() / "decks/notes.txt", "notes");
    writeFile(image(2), "old");
    expect({home_.path() / "none.key"}, 1, "There is no deck");
    expect({home_.path() / "decks"}, 1, "is a directory");
    expect({home_.path() / "decks/notes.txt"}, 1, "cannot be opened: it is no presentation.");
    expect({deck(), "--slides", "2-4"}, 1, "The deck has no slide 4; it has 3.");
    expect({""}, 2, "DECK");
    for (const char* const list : {"", "0", "3-1", "1,", "1-", "a", "1-99999"}) {
        expect({deck(), "--slides", list}, 2, "--slides");
    }
    expect({deck()}, 1, "slide.002.jpg stand in");
    EXPECT_EQ(contentsOf(image(2)), "old");
    EXPECT_EQ(countInLog("Extracting files"), 0);
    expect({deck(), "--replace"}, 0, "");
    EXPECT_TRUE(isWholeImage(image(2)));
}

TEST_F(ExtractionTest, AHungProgramHoldsUpNeitherHostsNorTheEnd) {
    const auto program = launchWithDeck();
    program->play("fault never-answers");
    Host hung;
    hung.service().extractSlideFiles({"slide.001.jpg"}, deck());
    hung.service().waitForSavingToCompleteAsync();
    waitForLog("Extracting files");
    Host lecture;
    lecture.service().waitForSavingToCompleteAsync();
    lecture.record(captures());
    lecture.waitFor("launched");
    service_->send(SIGTERM);
    EXPECT_EQ(service_->exitStatus(), 0) << "the extraction goes on waiting for a minute";
}

TEST_F(ExtractionTest, WaitsEndWhenEverythingIsSavedOrTheProgramIsGone) {
    auto program = launchProgram();
    program->play("fault saves-slowly 1.5");
    ChildProcess one({KEYNOTE_CAPTURE, "wait-for-saving"});
    ChildProcess two({KEYNOTE_CAPTURE, "wait-for-saving", "--json"});
    EXPECT_EQ(one.exitStatus(), 0) << one.complaints();
    EXPECT_EQ(two.exitStatus(), 0) << two.complaints();
    EXPECT_EQ(two.restOfOutput(), "{\"event\":\"savedArchiveDocuments\",\"version\":1}\n");

    program->play("fault saves-slowly 1000");
    ChildProcess failing({KEYNOTE_CAPTURE, "wait-for-saving"});
    waitForLog("File doesn't exist", countInLog("File doesn't exist") + 1);
    program->send(SIGKILL);
    EXPECT_EQ(failing.exitStatus(), 1);
    EXPECT_THAT(failing.complaints(), HasSubstr("The presentation program ended before it had finished saving."));
}

TEST(OnDemandTest, TheBusStartsServiceAndProgramForAnExtraction) {
    const TestHome home;
    const auto activation = [&home](const std::string& name, const std::string& command) {
        writeFile(home.path() / "share/dbus-1/services" / (name + ".service"),
                  fmt::format("[D-BUS Service]\nName={}\nExec={}\n", name, command));
    };
    const auto script = home.path() / "lecture.simulation";
    writeFile(script, "launch\nwait 60\n");
    writeFile(home.path() / "optics.key", "deck");
    activation("com.veldrin.KeynoteCaptureService", KEYNOTE_CAPTURE_SERVICE);
    activation("com.apple.iWork.Keynote", fmt::format("{} {} --no-window", KEYNOTE_SIMULATOR, script.string()));
    const PrivateBus bus(home.path() / "share");
    ChildProcess tool({KEYNOTE_CAPTURE, "extract", home.path() / "optics.key"});
    EXPECT_EQ(tool.exitStatus(), 0) << tool.complaints();
    EXPECT_TRUE(isWholeImage(home.path() / "slide.001.jpg"));
}

}  // namespace
