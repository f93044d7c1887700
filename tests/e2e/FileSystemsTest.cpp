/// Capture directories on other, and on full file systems.

#include "tests/e2e/CaptureTest.h"
#include "tests/support/PrivateMounts.h"

#include <sys/mount.h>

#include <fstream>

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;

/// A small file system at a directory, which must outlive it.
class SmallFileSystem {
public:
    SmallFileSystem(fs::path directory, const std::string& size) : directory_(std::move(directory)) {
        fs::create_directories(directory_);
        mountTmpfs(directory_.string(), size);
    }
    ~SmallFileSystem() { umount2(directory_.c_str(), MNT_DETACH); }
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    /// Takes all the space that is left.
    void fill() const {
        std::ofstream file(directory_ / "filler", std::ios::binary);
        while (file.write("x", 1).flush()) {
        }
    }

private:
    const fs::path directory_;
};

class FileSystemsTest : public CaptureTest {
protected:
    void SetUp() override { enterPrivateMounts(); }

    void record() {
        startService();
        host_ = std::make_unique<Host>();
        host_->record(captures());
    }

    std::unique_ptr<Host> host_;
};

TEST_F(FileSystemsTest, ImagesThatAreHeldOpenDelayNobodyElseAndArriveAfterwards) {
    const SmallFileSystem other(captures(), "10m");
    record();
    Host second;
    Host third;
    second.record(captures(), "second");
    third.record(captures(), "third");
    const auto program = present(*host_, "Optics slides 3");
    for (Host* host : {host_.get(), &second, &third}) host->waitFor("P1 slide 1");
    std::vector<std::ofstream> writers;
    for (const auto& exports : {exportsOf(*host_), exportsOf(second, 1, "second")}) {
        fs::create_directories(exports);
        writers.emplace_back(exports / "slide.001.jpg", std::ios::app);
    }
    program->play("fault writes-in-pieces 2");
    program->play("stop");
    third.waitFor("P1 stopped");
    EXPECT_EQ(host_->lines().back(), "P1 slide 1");
    EXPECT_EQ(second.lines().back(), "P1 slide 1");
    writers.clear();
    for (Host* host : {host_.get(), &second}) {
        host->waitFor("P1 stopped");
        EXPECT_TRUE(isWholeImage(directoryOf(*host) / "slide.001.jpg"));
    }
    EXPECT_EQ(countInLog("Could not move"), 0);
}

TEST_F(FileSystemsTest, AFullDiskLosesNoImageAndEndsNothing) {
    const SmallFileSystem full(captures(), "64k");
    record();
    const auto program = present(*host_, "Optics slides 3");
    host_->waitFor("P1 slide 1");
    full.fill();
    program->play("stop");
    EXPECT_EQ(host_->waitFor("P1 stopped").back(), "P1 stopped") << "no error: the image was seen";
    EXPECT_TRUE(isWholeImage(exportsOf(*host_) / "slide.001.jpg"));
    EXPECT_EQ(filesIn(directoryOf(*host_)), std::set<std::string>{*host_->presentation(1).archive})
        << "nothing incomplete is left behind";
    EXPECT_EQ(countInLog("Image File Monitor - Could not move slide image file"), 1);

    program->play("start");
    host_->waitFor("P2 slide 1");
    program->waitForLine("event saved");
    EXPECT_EQ(contentsOf(directoryOf(*host_, 2) / *host_->presentation(2).archive), "");
    program->play("stop");
    host_->waitFor("P2 stopped");

    fs::remove(captures() / "filler");
    program->play("start");
    host_->waitFor("P3 slide 1");
    program->play("stop");
    host_->waitFor("P3 stopped");
    EXPECT_TRUE(isWholeImage(directoryOf(*host_, 3) / "slide.001.jpg"));
    EXPECT_NE(contentsOf(directoryOf(*host_, 3) / *host_->presentation(3).archive), "");
}

}  // namespace
