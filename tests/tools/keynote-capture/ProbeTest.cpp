/// `keynote-capture windows` and `stop-presenting` against a capture service that a test plays.

#include "tests/tools/keynote-capture/ToolTest.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

class ProbeTest : public ToolTest {
protected:
    static void launched(FakeService& service) { service.host().detectedKeynoteLaunched(); }

    /// A show that runs already: the service makes the same files as it does for a recording.
    FakeService::Reaction showRuns() {
        return [this](FakeService& service) {
            const std::string start = service.waitForCalls(1).front();
            const auto url = start.substr(start.find(' ') + 1, start.rfind(' ') - start.find(' ') - 1);
            std::filesystem::create_directories(pathFromURL(url).value() / "ID");
            std::ofstream(pathFromURL(url).value() / "ID/ID.key") << "archive";
            const auto working = directory_.path() /
                                 "Library/Containers/com.apple.iWork.Keynote/Data/Documents/Veldrin" /
                                 start.substr(start.rfind(' ') + 1);
            std::filesystem::create_directories(working / "ID/slide");
            service.host().startedPresenting("ID", "", "ID.key", noError());
            service.host().detectedKeynoteLaunched();
        };
    }

    /// Everything below the test's directory that the tool should not have left.
    std::vector<std::string> litter() {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
            const auto name = entry.path().filename().native();
            if (name.starts_with("keynote-capture") || name == "ID") found.push_back(entry.path());
        }
        return found;
    }
};

TEST_F(ProbeTest, WindowsAreListedInsideAShortRecordingThatLeavesNothing) {
    struct Case {
        std::vector<std::string> arguments;
        std::string call;
        std::string output;
    };
    for (const Case& each :
         {Case{{"windows"}, "descriptionOfKeynoteWindowsWithReply", "kCGWindowName = \"a\\u{1b}[31mred\";\n"},
          Case{{"windows", "--json"},
               "descriptionOfKeynoteWindowsWithReply",
               R"({"event":"windows","description":"kCGWindowName = \"a\u001b[31mred\";\n","version":1})"
               "\n"},
          Case{{"windows", "--scriptable"}, "descriptionOfScriptableWindowsWithReply", "Window Name: Slides\n"}}) {
        FakeService service(bus_.address(), {{"startDetectionAndCaptureTo", showRuns()}});
        ChildProcess tool(ToolTest::tool(each.arguments));
        EXPECT_EQ(tool.exitStatus(), 0) << tool.complaints();
        EXPECT_EQ(tool.restOfOutput(), each.output);
        EXPECT_THAT(service.waitForCalls(3),
                    ElementsAre(StartsWith("startDetectionAndCaptureTo"), each.call, "stopDetectionAndCapture"));
        EXPECT_THAT(litter(), ElementsAre());
    }
}

TEST_F(ProbeTest, StopPresentingEndsWhenTheShowHasEnded) {
    FakeService service(bus_.address(), {{"startDetectionAndCaptureTo", showRuns()},
                                         {"stopPresenting",
                                          [](FakeService& it) { it.host().stoppedPresenting("ID", errorStruct(5)); }}});
    ChildProcess tool(ToolTest::tool({"stop-presenting", "--json"}));
    EXPECT_EQ(tool.exitStatus(), 0) << "missing images are of no interest here";
    EXPECT_EQ(tool.restOfOutput(), "{\"event\":\"stoppedPresenting\",\"version\":1}\n");
    EXPECT_THAT(service.waitForCalls(3),
                ElementsAre(StartsWith("startDetectionAndCaptureTo"), "stopPresenting", "stopDetectionAndCapture"));
    EXPECT_THAT(litter(), ElementsAre());
}

TEST_F(ProbeTest, NothingToActOnIsTold) {
    {
        FakeService service(bus_.address());
        ChildProcess tool(ToolTest::tool({"windows"}));
        EXPECT_EQ(tool.exitStatus(), 1);
        EXPECT_THAT(tool.complaints(), HasSubstr("No presentation program is running."));
    }
    FakeService service(bus_.address(), {{"startDetectionAndCaptureTo", launched}});
    ChildProcess tool(ToolTest::tool({"stop-presenting"}));
    EXPECT_EQ(tool.exitStatus(), 1);
    EXPECT_THAT(tool.complaints(), HasSubstr("No slide show is running."));
    EXPECT_THAT(service.waitForCalls(2),
                ElementsAre(StartsWith("startDetectionAndCaptureTo"), "stopDetectionAndCapture"));
    EXPECT_THAT(litter(), ElementsAre());
}

}  // namespace
