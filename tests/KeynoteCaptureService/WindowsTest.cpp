#include "tests/KeynoteCaptureService/Scenario.h"

namespace {

class Windows : public Scenario {
protected:
    std::optional<std::string> scriptable() {
        std::optional<std::string> text = "never called";
        service->descriptionOfScriptableWindowsWithReply([&text](const auto& reply) { text = reply; });
        return text;
    }
    std::optional<std::string> records() {
        std::optional<std::string> text = "never called";
        service->descriptionOfKeynoteWindowsWithReply([&text](const auto& reply) { text = reply; });
        return text;
    }
};

TEST_F(Windows, QueriesAnswerNothingWithoutProgram) {
    start();
    EXPECT_EQ(scriptable(), std::nullopt);
    EXPECT_EQ(records(), std::nullopt);
    service->descriptionOfKeynoteWindowsWithReply(nullptr);
}

TEST_F(Windows, TextsListNameBoundsIndexAndID) {
    keynote.launch();
    const auto deck = keynote.open("Slides");
    start();
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    EXPECT_EQ(scriptable(),
              "Window Name: Slides\nBounds:{{0, 0}, {1440, 900}}\nIndex:1\nID:71\n\n"
              "Window Name: Slides\nBounds:{{180, 112}, {1080, 675}}\nIndex:2\nID:72\n\n");

    platform.windowServer.windowRecords = {{100, {0.5, -3, 1440.25, 900}, "My \"show\"", 7}, {9, {}, "Other", 8}};
    EXPECT_EQ(records(), R"({
    kCGWindowBounds =     {
        Height = 900;
        Width = "1440.25";
        X = "0.5";
        Y = "-3";
    };
    kCGWindowName = "My \"show\"";
    kCGWindowNumber = 7;
    kCGWindowOwnerPID = 100;
})");
    keynote.application->setProcessIdentifier(9);
    EXPECT_EQ(scriptable(), "") << "found, and not asked yet";
}

TEST_F(Windows, AWindowCountsOncePerScreenOfItsSize) {
    keynote.launch();
    start();
    platform.windowServer.screenFrames = {{0, 0, 1440, 900}, {1440, 0, 1440, 900}, {0, 900, 800, 600}};
    platform.windowServer.windowRecords = {{100, {50, 50, 1440, 900}, std::nullopt, 1},
                                           {100, {0, 0, 1440, 899}, "x", 2}};
    run(250ms);
    EXPECT_EQ(service->presentingWindowDescriptions().value().size(), 2U);
    EXPECT_EQ(service->currentSlidePresentationWindowDescription(), std::nullopt)
        << "of several, only the one that the front scriptable window names and frames";
    platform.windowServer.screenFrames.pop_back();
    platform.windowServer.screenFrames.pop_back();
    run(250ms);
    EXPECT_EQ(service->currentSlidePresentationWindowDescription().value().number, 1);
    keynote.quit();
    EXPECT_EQ(service->presentingWindowDescriptions(), std::nullopt);
}

TEST_F(Windows, FrontScriptableWindowDecidesAmongSeveral) {
    keynote.launch();
    const auto deck = keynote.open("Slides");
    start();
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    ErrorPtr error;
    const auto front = keynote.model.windows(error).at(0);
    platform.windowServer.windowRecords = {{100, front.bounds, "Other", 1}, {100, front.bounds, front.name, 2}};
    run(250ms);
    EXPECT_EQ(service->currentSlidePresentationWindowDescription().value().number, 2);
}

}  // namespace
