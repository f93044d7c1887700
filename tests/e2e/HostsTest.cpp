/// Hosts that crash and ask for what cannot be.

#include "base/Error.h"
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
    recorder.waitForLine(R"({"event":"slideDeckPresentedSlide")");
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

TEST_F(HostsTest, AStartThatCannotBeSaysWhyAndHarmsNothing) {
    writeFile(captures("file"), "in the way");
    const struct {
        std::filesystem::path directory;
        std::string domain;
        std::int64_t code;
        std::string description;
    } cases[] = {
        {captures("file"), "KeynoteCaptureServiceErrorDomain", 1, "File, rather than a directory, exists"},
        {captures("file") / "below", NSPOSIXErrorDomain, ENOTDIR, (captures("file") / "below").string()},
    };
    Host host;
    std::size_t failures = 0;
    for (const auto& each : cases) {
        host.record(each.directory);
        ++failures;
        ASSERT_TRUE(eventually([&] { return host.lines().size() == failures; })) << each.description;
        const ErrorPtr error = host.startError();
        EXPECT_EQ(error->domain(), each.domain);
        EXPECT_EQ(error->code(), each.code);
        EXPECT_THAT(error->localizedDescription(), HasSubstr(each.description));
    }
    EXPECT_EQ(contentsOf(captures("file")), "in the way");

    host.record(captures());
    const auto program = present(host);
    host.waitFor("P1 slide 1");
    EXPECT_EQ(host.lines().size(), failures + 3);
}

}  // namespace
