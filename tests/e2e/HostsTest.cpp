/// Hosts that crash, come in pairs, and ask for what cannot be.

#include "ports/Error.h"
#include "tests/e2e/CaptureTest.h"
#include "tests/support/Deadline.h"

#include <csignal>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class HostsTest : public CaptureTest {
protected:
    void SetUp() override { startService(); }
};

TEST_F(HostsTest, AHostThatIsKilledLeavesTheServiceToOthers) {
    ChildProcess recorder({KEYNOTE_CAPTURE, "record", "--to", captures("lost").string(), "--json"});
    waitForLog("Started monitoring...");
    const auto program = launchProgram();
    program->play("open Optics slides 3");
    program->play("start");
    recorder.waitForLine(R"({"event":"slideDeck")");
    recorder.send(SIGKILL);
    waitForLog("Stop detection and capture.");
    waitForLog("Stopped polling keynote for status.");

    Host host;
    host.record(captures());
    host.waitFor("P1 slide 1");
    program->play("next");
    host.waitFor("P1 slide 2");
    program->play("stop");
    EXPECT_THAT(host.waitFor("P1 stopped"),
                ElementsAre("P1 started", "launched", "P1 slide 1", "P1 slide 2", "P1 stopped"))
        << "the first poll comes before the program is told";
    EXPECT_EQ(host.presentation(1).images,
              (std::vector{directoryOf(host) / "slide.001.jpg", directoryOf(host) / "slide.002.jpg"}));
    for (const auto& image : host.presentation(1).images) EXPECT_TRUE(isWholeImage(image)) << image;
    EXPECT_EQ(countInLog("Notifying that Keynote STOPPED presenting."), 1) << "the killed host's object lives on";
}

TEST_F(HostsTest, TwoHostsRecordSideBySide) {
    Host first;
    Host second;
    first.record(captures("first"), "one");
    second.record(captures("second"), "two");
    const auto program = launchProgram();
    first.waitFor("launched");
    second.waitFor("launched");
    program->play("open Optics slides 3");
    program->play("start");
    first.waitFor("P1 slide 1");
    second.waitFor("P1 slide 1");
    program->play("stop");
    for (const auto& [host, name] : {std::pair{&first, "first"}, std::pair{&second, "second"}}) {
        EXPECT_THAT(host->waitFor("P1 stopped"), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 stopped"));
        const auto shown = host->presentation(1);
        EXPECT_EQ(filesIn(captures(name)), std::set<std::string>{shown.id});
        EXPECT_EQ(filesIn(captures(name) / shown.id), (std::set<std::string>{*shown.archive, "slide.001.jpg"}));
    }
    EXPECT_NE(first.presentation(1).id, second.presentation(1).id);

    first.service().stopDetectionAndCapture();
    EXPECT_THAT(first.settled(), ElementsAre("launched", "P1 started", "P1 slide 1", "P1 stopped"));
    program->play("start");
    second.waitFor("P2 slide 1");
    EXPECT_EQ(first.settled().size(), 4U) << "a host that stopped hears no more";
}

TEST_F(HostsTest, ASecondStartBeginsAnewAndGivesUpWhatWasAwaited) {
    Host host;
    host.record(captures("first"));
    const auto program = present(host, "Optics slides 3");
    host.waitFor("P1 slide 1");
    host.record(captures("second"));
    waitForLog("Detection was already started! Stopping and restarting");
    host.waitFor("P2 slide 1");
    program->play("stop");
    program->waitForLine("event exported 3 images");

    Host other;
    other.record(captures("other"));
    program->play("start");
    other.waitFor("P1 slide 1");
    host.waitFor("P3 slide 1");
    program->play("stop");
    other.waitFor("P1 stopped");
    EXPECT_THAT(host.settled(), ElementsAre("launched", "P1 started", "P1 slide 1",  //
                                            "P2 started", "launched", "P2 slide 1",  //
                                            "P3 started", "P3 slide 1"));
    EXPECT_EQ(host.presentation(2).images.front().parent_path().parent_path(), captures("second"));
}

TEST_F(HostsTest, StartsThatCannotBeSayWhyAndHarmNothing) {
    writeFile(captures("file"), "in the way");
    struct Case {
        std::optional<std::filesystem::path> directory;
        std::optional<std::string> recordingID;
        std::string domain;
        std::int64_t code;
        std::string description;
    };
    const std::string own = "KeynoteCaptureServiceErrorDomain";
    const std::vector<Case> cases = {
        {std::nullopt, "r", own, 2,
         "Requested to start capturing with a nil file URL for the content capture directory."},
        {std::nullopt, std::nullopt, own, 2,
         "Requested to start capturing with a nil file URL for the content capture directory."},
        {captures(), std::nullopt, own, 2,
         "Requested to start capturing with a nil recording ID for the working directory."},
        {captures("file"), "r", own, 1, "File, rather than a directory, exists at specified capture directory"},
        {captures("file") / "below", "r", "NSPOSIXErrorDomain", ENOTDIR, (captures("file") / "below").string()},
        {"/sys/captures", "r", "NSPOSIXErrorDomain", 0, "/sys/captures"},
        {captures(), std::string(400, 'r'), "NSPOSIXErrorDomain", ENAMETOOLONG, "rrr"},
    };
    Host host;
    std::size_t failures = 0;
    for (const auto& [directory, recordingID, domain, code, description] : cases) {
        host.record(directory, recordingID);
        ASSERT_TRUE(eventually([&] { return host.lines().size() > failures; })) << description;
        ++failures;
        const ErrorPtr error = host.startError();
        EXPECT_EQ(error->domain(), domain);
        EXPECT_TRUE(code == 0 || error->code() == code) << error->code() << " " << description;
        EXPECT_THAT(error->localizedDescription(), HasSubstr(description));
    }
    EXPECT_EQ(contentsOf(captures("file")), "in the way");

    host.record(captures());
    const auto program = present(host);
    host.waitFor("P1 slide 1");
    EXPECT_EQ(host.lines().size(), failures + 3);
}

}  // namespace
