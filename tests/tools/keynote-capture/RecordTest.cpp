/// `keynote-capture record` against a capture service that a test plays.

#include "tests/support/Deadline.h"
#include "tests/tools/keynote-capture/ToolTest.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

class RecordTest : public ToolTest {
protected:
    /// Local time is half past UTC's.
    void SetUp() override { ::setenv("TZ", "Test-5:30", 1); }
    static std::vector<std::string> recordJSON() {
        return tool({"record", "--to", "/captures", "--recording-id", "r", "--json"});
    }
    static std::vector<std::string> recordText() {
        return tool({"record", "--to", "/captures", "--recording-id", "r"});
    }
    /// Sends a show that runs and answers when the tool has shown it.
    static void beginShow(FakeService& service, ChildProcess& tool, const std::string& presentation) {
        service.host().startedPresenting(presentation, "", "", noError());
        EXPECT_THAT(tool.readLine().value(), HasSubstr(presentation));
    }
};

TEST_F(RecordTest, WritesEveryDelegateCallAsOneJSONLine) {
    FakeService service(bus_.address());
    ChildProcess tool(recordJSON());
    service.waitForCalls(1);
    auto& host = service.host();
    host.detectedKeynoteLaunched();
    host.startedPresenting("ID", "file:///home/a%20b%0A%FF%C3%A4.key", "ID.key", errorStruct(3, "say \"why\"\n"));
    host.slideDeckPresentedSlide("ID", 12, 1772716029000042, "file:///captures/ID/slide.012.jpg");
    host.slideDeckPresentedSlide("", -1, -1, "");
    host.stoppedPresenting("ID", errorStruct(5));
    host.startedPresenting("", "", "", noError());
    host.stoppedPresenting("", noError());
    host.detectedKeynoteTerminated();
    std::vector<std::string> lines(8);
    for (auto& line : lines) line = tool.readLine().value();
    EXPECT_THAT(
        lines,
        ElementsAre(
            R"({"event":"detectedKeynoteLaunched","version":1})",
            R"({"event":"startedPresenting","presentationID":"ID","originalDocumentPath":)"
            R"("file:///home/a%20b%0A%FF%C3%A4.key","archive":"ID.key","error":{"domain":)"
            R"("KeynoteCaptureServiceErrorDomain","code":3,"description":"say \"why\"\n"},"version":1})",
            R"({"event":"slideDeckPresentedSlide","presentationID":"ID","presentedSlide":12,"at":"2026-03-05T13:07:09.000042Z",)"
            R"("imageFilePathURL":"file:///captures/ID/slide.012.jpg","formerEvent":"slideDeck","version":1})",
            R"({"event":"slideDeckPresentedSlide","presentationID":null,"presentedSlide":-1,"at":"1969-12-31T23:59:59.999999Z",)"
            R"("imageFilePathURL":null,"formerEvent":"slideDeck","version":1})",
            R"({"event":"stoppedPresenting","presentationID":"ID","error":{"domain":)"
            R"("KeynoteCaptureServiceErrorDomain","code":5,"description":"The operation couldn’t be completed. )"
            R"j((KeynoteCaptureServiceErrorDomain error 5.)"},"version":1})j",
            R"({"event":"startedPresenting","presentationID":null,"originalDocumentPath":null,"archive":null,)"
            R"("error":null,"version":1})",
            R"({"event":"stoppedPresenting","presentationID":null,"error":null,"version":1})",
            R"({"event":"detectedKeynoteTerminated","version":1})"));
    tool.send(SIGINT);
    EXPECT_EQ(tool.exitStatus(), 1) << "events carried errors";
    EXPECT_EQ(tool.restOfOutput(), R"({"event":"finished","shows":2,"problems":["say \"why\"\\n"],"version":1})"
                                   "\n");
    EXPECT_EQ(tool.complaints(), "");
}

TEST_F(RecordTest, WritesAlignedLinesThatHostileNamesCannotGarble) {
    FakeService service(bus_.address());
    ChildProcess tool(recordText());
    service.waitForCalls(1);
    auto& host = service.host();
    const std::string id = "0F5A0F5A-0F5A-0F5A-0F5A-0F5A0F5A0F5A";
    host.startedPresenting(id, "file:///a%0Ab%1B%5B2J%FF%E2%80%AE.key", id + ".key", errorStruct(3, "two\nlines"));
    host.slideDeckPresentedSlide(id, 10000, 1772716029023456, "file:///captures/" + id + "/slide.10000.jpg");
    host.slideDeckPresentedSlide(id, 7, 1772716029023456, "file:///elsewhere/slide.007.jpg");
    host.stoppedPresenting(id, errorStruct(5));
    const std::string time = "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]  ";
    EXPECT_THAT(tool.readLine().value(),
                MatchesRegex(time + "show started   /a\\\\nb\\\\u\\{1b\\}\\[2J\xEF\xBF\xBD\\\\u\\{202e\\}\\.key"));
    EXPECT_EQ(tool.readLine(), std::string(29, ' ') + "archived in " + id + ", error: two\\nlines");
    const auto slide = tool.readLine().value();
    EXPECT_EQ(slide, "18:37:09.023  slide 10000    " + id + "/slide.10000.jpg") << "relative to the capture directory";
    EXPECT_EQ(tool.readLine(), "18:37:09.023  slide 7        /elsewhere/slide.007.jpg");
    EXPECT_THAT(tool.readLine().value(), MatchesRegex(time + "show ended  +error: Not all slide images arrived.*"));
}

TEST_F(RecordTest, SendsTheIntervalBeforeAnAbsoluteDirectoryAndStopsAtTheEnd) {
    FakeService service(bus_.address());
    ChildProcess tool(
        ToolTest::tool({"record", "--to", "a b/../c", "--recording-id", "über", "--polling-interval", "0.5"}),
        directory_.path());
    service.waitForCalls(2);
    tool.send(SIGTERM);
    EXPECT_EQ(tool.exitStatus(), 0);
    EXPECT_THAT(service.waitForCalls(3),
                ElementsAre("setKeynotePollingInterval 0.5",
                            "startDetectionAndCaptureTo file://" + directory_.path().native() + "/c über",
                            "stopDetectionAndCapture"));
}

TEST_F(RecordTest, AnInterruptionWaitsForTheImagesOfEveryShow) {
    FakeService service(bus_.address());
    ChildProcess tool(recordJSON());
    service.waitForCalls(1);
    beginShow(service, tool, "FIRST");
    beginShow(service, tool, "SECOND");
    tool.send(SIGINT);
    tool.waitForComplaint("The slide images come when the slide show has ended");
    service.host().stoppedPresenting("FIRST", noError());
    EXPECT_THAT(tool.readLine().value(), HasSubstr("FIRST"));
    service.host().slideDeckPresentedSlide("SECOND", 2, 0, "");
    EXPECT_THAT(tool.readLine().value(), HasSubstr("slideDeck"));
    EXPECT_EQ(service.waitForCalls(1).size(), 1U) << "the second show's images are still awaited";
    service.host().stoppedPresenting("SECOND", noError());
    EXPECT_EQ(tool.exitStatus(), 0);
    EXPECT_EQ(service.waitForCalls(2).back(), "stopDetectionAndCapture");
}

TEST_F(RecordTest, ASecondInterruptionStopsAtOnceAndTellsThatImagesAreMissing) {
    FakeService service(bus_.address());
    ChildProcess tool(recordJSON());
    service.waitForCalls(1);
    beginShow(service, tool, "ID");
    tool.send(SIGINT);
    tool.waitForComplaint("Interrupt again");
    tool.send(SIGINT);
    EXPECT_EQ(tool.exitStatus(), 1);
    EXPECT_EQ(service.waitForCalls(2).back(), "stopDetectionAndCapture");
}

TEST_F(RecordTest, AStartThatFailsTellsWhy) {
    FakeService service(bus_.address(), {}, FakeService::Starts::refused);
    ChildProcess tool(recordJSON());
    EXPECT_EQ(tool.exitStatus(), 1);
    EXPECT_EQ(tool.complaints(), "keynote-capture: A file stands at the capture directory\n");
    EXPECT_EQ(tool.restOfOutput(), "");
}

TEST_F(RecordTest, AMissingOrBrokenServiceIsStatusThree) {
    ChildProcess unknown(recordJSON());
    EXPECT_EQ(unknown.exitStatus(), 3);
    EXPECT_THAT(unknown.complaints(), HasSubstr("check that it is installed"));

    writeFile(directory_.path() / "dbus-1/services/broken.service",
              "[D-BUS Service]\nName=com.veldrin.KeynoteCaptureService\nExec=/bin/false\n");
    {
        const PrivateBus broken(directory_.path());
        ChildProcess unstartable(recordJSON());
        EXPECT_EQ(unstartable.exitStatus(), 3);
    }
    ChildProcess busless({"env", "-u", "XDG_RUNTIME_DIR", KEYNOTE_CAPTURE, "record", "--to", "/c"});
    EXPECT_EQ(busless.exitStatus(), 3);
    EXPECT_THAT(busless.complaints(), HasSubstr("no session bus"));
}

TEST_F(RecordTest, MakesImagesThatDoNotComeFromTheArchiveCopyBetweenTheShows) {
    const auto show = directory_.path() / "ID";
    writeFile(show / "ID.key", "deck");
    const std::string image = "\xFF\xD8\xFF\xD9";
    writeFile(show / "slide.001.jpg", image);
    writeFile(show / "slide.007.jpg", "\xFF\xD8 half");
    bool brings = false;
    FakeService service(bus_.address(), {{"extractSlideFiles", [&](auto& it) {
                                              if (brings) writeFile(show / "slide.007.jpg", image);
                                              it.host().extractedSlideFilesForPresentation(
                                                  show / "ID.key", brings ? noError() : errorStruct(5));
                                              brings = true;
                                          }}});
    ChildProcess tool(ToolTest::tool({"record", "--to", directory_.path(), "--recording-id", "r", "--json"}));
    service.waitForCalls(1);
    service.host().startedPresenting("ID", "", "ID.key", noError());
    for (const int slide : {1, 7}) service.host().slideDeckPresentedSlide("ID", slide, 0, "");
    service.host().startedPresenting("NEXT", "", "", noError());
    service.host().stoppedPresenting("ID", errorStruct(5));
    service.host().detectedKeynoteLaunched();
    tool.waitForLine(R"({"event":"detectedKeynoteLaunched")");
    EXPECT_EQ(service.waitForCalls(1).size(), 1U) << "the lecturer is not disturbed while the next show runs";
    service.host().stoppedPresenting("NEXT", noError());
    const auto extraction = "extractSlideFiles slide.007.jpg " + (show / "ID.key").string();
    EXPECT_THAT(service.waitForCalls(3), testing::Contains(extraction).Times(2)) << "once more when it did not help";
    tool.waitForLine(R"({"event":"extractedSlideFilesForPresentation")");
    tool.waitForLine(R"({"event":"extractedSlideFilesForPresentation")");
    tool.send(SIGINT);
    EXPECT_EQ(tool.exitStatus(), 0) << tool.complaints();
    EXPECT_EQ(tool.restOfOutput(), "{\"event\":\"finished\",\"shows\":2,\"problems\":[],\"version\":1}\n");
    EXPECT_THAT(contentsOf(show / "timeline.jsonl"), HasSubstr(R"({"event":"finished","images":2,"missing":[])"));
    EXPECT_EQ(contentsOf(show / ".slide.007.jpg.half"), "\xFF\xD8 half");
}

TEST_F(RecordTest, AServiceThatVanishesIsStartedAgainAndTheGapIsTold) {
    std::filesystem::create_directory(directory_.path() / "ID");
    auto service = std::make_unique<FakeService>(bus_.address());
    ChildProcess tool(ToolTest::tool({"record", "--to", directory_.path(), "--recording-id", "r", "--json"}));
    const auto start = service->waitForCalls(1);
    beginShow(*service, tool, "ID");
    service->leave();
    tool.waitForComplaint("The capture service has gone; starting it again.");
    service = std::make_unique<FakeService>(bus_.address());
    EXPECT_EQ(service->waitForCalls(1), start);
    beginShow(*service, tool, "NEXT");
    service->host().stoppedPresenting("NEXT", noError());
    tool.waitForLine(R"({"event":"stoppedPresenting")");
    tool.send(SIGINT);
    EXPECT_EQ(tool.exitStatus(), 1);
    EXPECT_THAT(tool.restOfOutput(), HasSubstr("left during the show"));
    EXPECT_THAT(contentsOf(directory_.path() / "ID/timeline.jsonl"), HasSubstr(R"({"event":"unseenFrom",)"));
}

TEST_F(RecordTest, AServiceThatStaysAwayIsWaitedForUntilAnInterruption) {
    for (const bool interrupted : {false, true}) {
        FakeService service(bus_.address());
        ChildProcess tool(recordJSON());
        service.waitForCalls(1);
        beginShow(service, tool, "ID");
        if (interrupted) {
            tool.send(SIGINT);
            tool.waitForComplaint("Interrupt again");
        }
        service.leave();
        tool.waitForComplaint("starting it again");
        if (!interrupted) tool.send(SIGINT);
        EXPECT_EQ(tool.exitStatus(), interrupted ? 3 : 1);
        EXPECT_THAT(tool.restOfOutput(), HasSubstr("left during the show"));
    }
}

TEST_F(RecordTest, CallsFromStrangersChangeNothing) {
    FakeService service(bus_.address());
    ChildProcess tool(recordJSON());
    service.waitForCalls(1);
    const auto stranger = sdbus::createSessionBusConnectionWithAddress(bus_.address());
    DelegateProxy intruder(*stranger, service.hostName());
    intruder.startedPresenting("FORGED", "", "", noError());
    try {
        intruder.detectedKeynoteTerminatedAndWait();
        ADD_FAILURE() << "a stranger was heard";
    } catch (const sdbus::Error& error) {
        EXPECT_EQ(error.getName(), "org.freedesktop.DBus.Error.AccessDenied");
    }
    service.host().detectedKeynoteLaunched();
    EXPECT_EQ(tool.readLine(), R"({"event":"detectedKeynoteLaunched","version":1})");
    tool.send(SIGINT);
    EXPECT_EQ(tool.exitStatus(), 0) << "no show runs that it would wait for";
}

TEST_F(RecordTest, AReaderThatGoesEndsItAtOnce) {
    FakeService service(bus_.address());
    ChildProcess tool(recordJSON());
    service.waitForCalls(1);
    tool.closeOutput();
    EXPECT_EQ(tool.exitStatus(), 0);
    EXPECT_EQ(service.waitForCalls(2).back(), "stopDetectionAndCapture");
    EXPECT_EQ(tool.complaints(), "");
}

TEST_F(RecordTest, WrongUsageSendsNothing) {
    FakeService service(bus_.address());
    std::vector<std::vector<std::string>> wrong{
        {}, {"reccord"}, {"record"}, {"record", "--to", ""}, {"windows", "stop-presenting"}, {"windows", "--jsonl"}};
    for (const char* interval : {"0", "-1", "nan", "inf", "1s"}) {
        wrong.push_back({"record", "--to", "/c", "--polling-interval", interval});
    }
    for (const char* id : {"", "..", "a/b", "\xFF"}) wrong.push_back({"record", "--to", "/c", "--recording-id", id});
    wrong.push_back({"record", "--to", "/c", "--quietly"});
    for (const auto& arguments : wrong) {
        ChildProcess tool(ToolTest::tool(arguments));
        EXPECT_EQ(tool.exitStatus(), 2) << testing::PrintToString(arguments);
        EXPECT_NE(tool.complaints(), "");
        EXPECT_EQ(tool.restOfOutput(), "");
    }
    EXPECT_THAT(service.waitForCalls(0), ElementsAre());
}

TEST_F(RecordTest, RunsTheCommandForEachEventAndNeverWaitsForIt) {
    const auto seen = directory_.path() / "se en";
    for (const std::string body : {"cat >>\"$1\"; exit 1", "exec <&-; exit 0", "exit 0; cat", "exec sleep 60"}) {
        const auto script = directory_.path() / "hook";
        writeFile(script, "#!/bin/sh\n" + body + "\n");
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        FakeService service(bus_.address());
        auto command = recordJSON();
        command.insert(command.end(), {"--exec", script.string() + " '" + seen.string() + "'"});
        ChildProcess tool(command);
        service.waitForCalls(1);
        const int count = body.ends_with("60") ? 300 : 2;
        for (int i = 0; i < count; ++i) service.host().detectedKeynoteLaunched();
        service.host().detectedKeynoteTerminated();
        tool.waitForLine(R"({"event":"detectedKeynoteTerminated")");
        if (count > 2) tool.waitForComplaint("too slow");
        if (body.starts_with("cat")) {
            tool.waitForComplaint("has failed");
            EXPECT_TRUE(eventually([&] {
                return std::filesystem::exists(seen) &&
                       contentsOf(seen).starts_with("{\"event\":\"detectedKeynoteLaunched\",\"version\":1}\n{");
            }));
        }
        tool.send(SIGINT);
        EXPECT_EQ(tool.exitStatus(), 0) << body;
    }
    for (const std::string words : {"", " ", "'a", "a \\"}) {
        auto command = recordJSON();
        command.insert(command.end(), {"--exec", words});
        EXPECT_EQ(ChildProcess(command).exitStatus(), 2) << words;
    }
}

}  // namespace
