#include "KeynoteCaptureService/KeynoteCaptureSlideImageFileMonitor.h"
#include "tests/KeynoteCaptureService/Scenario.h"

namespace {

class ImageMonitor : public Scenario {
protected:
    void SetUp() override {
        for (const char* directory : {"/in", "/out"}) ASSERT_EQ(platform.files.createDirectory(directory), nullptr);
    }

    void watch(const std::set<std::string>& names) {
        monitor = std::make_shared<KeynoteCaptureSlideImageFileMonitor>(names, "/in", "/out");
        monitor->startWithCompletion(
            [this](const ErrorPtr& error) { host->note("done " + (error ? std::to_string(error->code()) : "ok")); });
    }

    void image(const std::string& name, const std::string& bytes = "x") {
        ASSERT_EQ(platform.files.createFile("/in/" + name, bytes), nullptr);
    }

    std::shared_ptr<KeynoteCaptureSlideImageFileMonitor> monitor;
};

TEST_F(ImageMonitor, NamesOfImages) {
    const std::pair<std::int64_t, const char*> cases[] = {
        {7, "slide.007.jpg"}, {42, "slide.042.jpg"}, {1234, "slide.1234.jpg"}};
    for (const auto& [number, name] : cases)
        EXPECT_EQ(KeynoteCaptureService::imageFileNameForSlideNumber(number), name);
}

TEST_F(ImageMonitor, ImagesOfEitherSpellingAreMovedAndDirectoriesAreNot) {
    watch({"slide.001.jpg", "slide.002.jpg", "slide.003.jpg"});
    image("slide.001.jpg", "one");
    image("slide.003.jpeg", "three");
    ASSERT_EQ(platform.files.createDirectory("/in/slide.002.jpg"), nullptr);
    run(600ms);
    EXPECT_EQ(platform.files.list("/out"), (Calls{"slide.001.jpg", "slide.003.jpg"}));
    EXPECT_EQ(monitor->filesLeftToVerify(), std::set<std::string>{"slide.002.jpg"});
    platform.files.remove("/in/slide.002.jpg");
    image("slide.002.jpg");
    run(10s);
    EXPECT_EQ(host->calls, Calls{"1000 done ok"});
    EXPECT_EQ(platform.files.contents("/out/slide.003.jpg"), "three");
}

TEST_F(ImageMonitor, LastImageAtTheLastTickSucceedsAndOneLaterFails) {
    watch({"a.jpg"});
    run(89'900ms);
    image("a.jpg");
    run(10s);
    EXPECT_EQ(host->calls, Calls{"90000 done ok"});

    host->calls.clear();
    watch({"b.jpg"});
    run(90'100ms);
    image("b.jpg");
    run(10s);
    // Started at 99900: exactly 90 s later is still in time, the tick after it is not.
    EXPECT_EQ(host->calls, Calls{"190400 done 5"});
    EXPECT_EQ(platform.files.kindOf("/out/b.jpg"), FileKind::none);
}

TEST_F(ImageMonitor, BusyImageIsMovedLaterAndDelaysNoOther) {
    platform.files.mounts = {"/out"};
    watch({"a.jpg", "b.jpg"});
    ErrorPtr error;
    auto file = platform.files.openFile("/in/a.jpg", error);
    image("b.jpg");
    run(600ms);
    EXPECT_EQ(monitor->filesLeftToVerify(), std::set<std::string>{}) << "seen is found";
    EXPECT_EQ(platform.files.list("/out"), Calls{"b.jpg"});
    run(80s);
    ASSERT_EQ(file->append("whole"), nullptr);
    file.reset();
    run(20s);
    EXPECT_EQ(host->calls, Calls{"81000 done ok"});
    EXPECT_EQ(platform.files.contents("/out/a.jpg"), "whole");
    EXPECT_EQ(logged("Could not move"), 0U);
    EXPECT_EQ(logged("monitor did finish with success: 1"), 1U);
}

TEST_F(ImageMonitor, ImageThatStaysBusyIsLeftAtTheEnd) {
    platform.files.mounts = {"/out"};
    ErrorPtr error;
    const auto file = platform.files.openFile("/in/a.jpg", error);
    const std::string failure = "Could not move slide image file from:/in/a.jpg to:/out/a.jpg\nError: Error Domain=";
    watch({"a.jpg"});
    run(100s);
    EXPECT_EQ(host->calls, Calls{"90500 done ok"}) << "no error: the image was seen";
    EXPECT_EQ(logged(failure), 1U);
    EXPECT_EQ(logged("timeout waiting for files"), 1U);
    EXPECT_EQ(platform.files.list("/in"), Calls{"a.jpg"});

    host->calls.clear();
    watch({"a.jpg", "b.jpg"});
    run(100s);
    EXPECT_EQ(host->calls, Calls{"190500 done 5"});
    EXPECT_EQ(logged(failure), 2U);

    watch({"a.jpg"});
    run(10s);
    monitor.reset();
    EXPECT_EQ(logged(failure), 3U) << "nobody tries again";
}

TEST_F(ImageMonitor, FailedMoveIsLoggedAndCountsAsFound) {
    watch({"a.jpg"});
    image("a.jpg", "new");
    ASSERT_EQ(platform.files.createFile("/out/a.jpg", "old"), nullptr);
    run(1s);
    EXPECT_EQ(host->calls, Calls{"500 done ok"});
    EXPECT_EQ(platform.files.contents("/out/a.jpg"), "old");
    EXPECT_EQ(platform.files.contents("/in/a.jpg"), "new");
    EXPECT_EQ(logged("Could not move slide image file from:/in/a.jpg to:/out/a.jpg\nError: Error Domain="), 1U);
}

}  // namespace
