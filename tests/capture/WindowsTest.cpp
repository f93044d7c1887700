#include "tests/capture/Scenario.h"

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
    EXPECT_EQ(service->presentingWindowDescriptions(), std::nullopt);
}

TEST_F(Windows, TextsListNameBoundsIndexAndID) {
    keynote.launch();
    const auto deck = keynote.open("Slides");
    start();
    ASSERT_EQ(keynote.model.startShow(deck, 1), nullptr);
    ErrorPtr error;
    const auto windows = keynote.model.windows(error);
    ASSERT_EQ(windows.size(), 2U);
    const auto text = scriptable().value_or("");
    const auto show = "Window Name: " + windows[0].name +
                      "\nBounds:{{0, 0}, {1440, 900}}\nIndex:1\nID:" + std::to_string(windows[0].id) +
                      "\n\nWindow Name: ";
    EXPECT_EQ(text.substr(0, show.size()), show);

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
