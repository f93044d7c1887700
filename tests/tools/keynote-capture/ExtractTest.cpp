/// `keynote-capture extract` and `wait-for-saving` against a capture service that a test plays, with a simulated
/// program.

#include "tests/tools/keynote-capture/ToolTest.h"

#include <gmock/gmock.h>

#include <csignal>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class ExtractTest : public ToolTest {
protected:
    void SetUp() override {
        writeFile(deck_, "deck");
        program_.play("launch");
        program_.play("deck Optics slides 2 file \"" + deck_.string() + "\"");
    }
    [[nodiscard]] std::vector<std::string> extraction() const { return tool({"extract", deck_}); }

    const std::filesystem::path deck_ = directory_.path() / "optics 1.key";
    const std::string call_ = "extractSlideFiles slide.001.jpg,slide.002.jpg " + deck_.string();
    ChildProcess program_{{KEYNOTE_SIMULATOR, "-", "--no-window"}};
};

TEST_F(ExtractTest, WhatDidNotComeIsTold) {
    struct Case {
        std::int32_t error;
        bool imagesCome;
        std::string complaint;
    };
    for (const auto& [error, imagesCome, complaint] :
         {Case{5, false, "did not export them in time. Missing: slide.001.jpg, slide.002.jpg."},
          Case{0, false, "Not all slide images came. Missing: slide.001.jpg, slide.002.jpg."},
          Case{0, true, "The images are there, but the text optics 1.key.key.text.xml could not be written; see"}}) {
        FakeService service(bus_.address(), {{"extractSlideFiles", [&, come = imagesCome, code = error](auto& it) {
                                                  for (const char* name : {"slide.001.jpg", "slide.002.jpg"}) {
                                                      if (come) writeFile(directory_.path() / name, "image");
                                                  }
                                                  it.host().extractedSlideFilesForPresentation(
                                                      deck_, code == 0 ? noError() : errorStruct(code));
                                              }}});
        ChildProcess tool(extraction());
        EXPECT_EQ(tool.exitStatus(), 1);
        EXPECT_THAT(tool.complaints(), HasSubstr(complaint));
        EXPECT_THAT(service.waitForCalls(1), ElementsAre(call_));
    }
}

TEST_F(ExtractTest, AnInterruptionAndALostServiceEndItAtOnce) {
    auto service = std::make_unique<FakeService>(bus_.address());
    ChildProcess interrupted(extraction());
    EXPECT_THAT(service->waitForCalls(1), ElementsAre(call_));
    interrupted.send(SIGINT);
    EXPECT_EQ(interrupted.exitStatus(), 1);

    ChildProcess extracting(extraction());
    ChildProcess waiting(tool({"wait-for-saving"}));
    service->waitForCalls(3);
    service->leave();
    for (ChildProcess* each : {&extracting, &waiting}) {
        EXPECT_EQ(each->exitStatus(), 3);
        EXPECT_THAT(each->complaints(), HasSubstr("The capture service has gone"));
    }
    for (const auto& command : {extraction(), tool({"wait-for-saving"})}) {
        EXPECT_EQ(ChildProcess(command).exitStatus(), 3) << "none can be started";
    }
    program_.play("print ready");
}

TEST_F(ExtractTest, ProgressNeverWrapsInANarrowTerminal) {
    auto service = std::make_unique<FakeService>(bus_.address());
    ChildProcess waiting({"script", "-qec", "stty cols 31; exec " KEYNOTE_CAPTURE " wait-for-saving", "/dev/null"});
    service->waitForCalls(1);
    service->leave();
    EXPECT_EQ(waiting.exitStatus(), 3);
    EXPECT_THAT(waiting.restOfOutput(), HasSubstr("\r\x1b[KWaiting for the presentation p\r\x1b[K"));
    program_.play("print ready");
}

}  // namespace
