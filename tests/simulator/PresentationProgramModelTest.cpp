#include "platform/simulated/PresentationProgramModel.h"

#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedFileManager.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

/// The image of slide 3 of quality 0.8 is "3@0.8" and as many bytes more as make it ten.
std::string imageOf(const ProgramDocument&, std::int64_t slide, double quality) {
    return fmt::format("{:.<10}", fmt::format("{}@{}", slide, quality));
}

using Names = std::vector<std::string>;

class PresentationProgramModelTest : public testing::Test {
protected:
    PresentationProgramModelTest() {
        model.setObserver({.changed = [this] { ++changes; },
                           .imageWritten = {},
                           .jobEnded = [this](const auto& job) { ended.push_back(job); }});
        EXPECT_FALSE(model.launch());
    }

    std::string open(const std::string& name, std::int64_t slides, std::set<std::int64_t> hidden = {}) {
        ProgramDocument document;
        document.name = name;
        document.slideCount = slides;
        document.hiddenSlides = std::move(hidden);
        EXPECT_FALSE(model.openDocument(document));
        return model.documents().front().id;
    }

    PresentingState poll() {
        ErrorPtr error;
        auto state = model.presentingState(error);
        EXPECT_FALSE(error);
        return state;
    }

    std::int64_t polledSlide() { return poll().firstDocument.value().currentSlideNumber; }

    void fault(const char* name, const char* value = "") {
        const auto error = model.faults().switchOn(name, value);
        EXPECT_FALSE(error) << *error;
    }

    std::optional<std::string> image(const char* name) { return files.contents(std::string("/work/slide/") + name); }

    SimulatedDispatch time;
    SimulatedFileManager files;
    PresentationProgramModel model{time.mainQueue(), files, imageOf};
    int changes = 0;
    std::vector<ProgramJob> ended;
    const ExportProperties usual{{"compressionFactor", 0.8}, {"imageFormat", std::string("Kifj")}, {"borders", false}};
};

TEST_F(PresentationProgramModelTest, AShowPassesOverHiddenSlidesAndEndsAfterTheLastOne) {
    const auto id = open("Optics", 5, {1, 3, 5});
    EXPECT_EQ(poll().playing, false);
    EXPECT_EQ(polledSlide(), 2);
    ASSERT_FALSE(model.startShow(id));
    EXPECT_EQ(polledSlide(), 2);
    ASSERT_FALSE(model.nextSlide());
    EXPECT_EQ(polledSlide(), 4);
    ASSERT_FALSE(model.goToSlide(3));  // hidden ones can be reached by number
    EXPECT_EQ(polledSlide(), 3);
    ASSERT_FALSE(model.nextSlide());
    EXPECT_EQ(poll().playing, true);
    const int before = changes;
    ASSERT_FALSE(model.nextSlide());
    EXPECT_EQ(poll().playing, false);
    EXPECT_EQ(polledSlide(), 4);
    EXPECT_EQ(changes, before + 1);
}

TEST_F(PresentationProgramModelTest, JobsAreDoneInTheOrderAcceptedAndTakeTheirTime) {
    const auto id = open("Optics", 3, {2});
    ASSERT_FALSE(model.save(id, "/capture/deck.key"));
    EXPECT_TRUE(files.createDirectory("/capture") == nullptr);
    ASSERT_FALSE(model.exportTo(id, "/work/slide", "Kimg", usual));
    EXPECT_EQ(model.pendingJobs(ProgramJob::Kind::imageExport), 1U);
    time.runFor(49ms);
    EXPECT_FALSE(files.contents("/capture/deck.key"));
    time.runFor(1ms);
    EXPECT_NE(files.contents("/capture/deck.key").value_or("").find("Optics"), std::string::npos);
    EXPECT_EQ(files.list("/work/slide"), Names{});
    time.runFor(60ms);
    EXPECT_EQ(files.list("/work/slide"), (Names{"slide.001.jpg", "slide.002.jpg"}));
    time.runFor(1s);
    EXPECT_EQ(image("slide.003.jpg"), "3@0.8.....");
    ASSERT_EQ(ended.size(), 2U);
    EXPECT_EQ(ended[0].kind, ProgramJob::Kind::save);
    EXPECT_EQ(ended[1].imagesWritten, 3);
    EXPECT_FALSE(ended[1].error);
    EXPECT_EQ(model.pendingJobs(ProgramJob::Kind::imageExport), 0U);
}

TEST_F(PresentationProgramModelTest, ExportFaultsChangeWhatArrives) {
    struct Case {
        const char* fault;
        const char* value;
        Names files;
        std::int64_t written;
        bool fails;
    };
    const std::vector<Case> cases{
        {"exports-jpeg", "", {"slide.001.jpeg", "slide.002.jpeg", "slide.003.jpeg"}, 3, false},
        {"leaves-out", "1,2", {"slide.003.jpg"}, 1, false},
        {"leaves-out", "3", {"slide.001.jpg", "slide.002.jpg"}, 2, false},
        {"exports-nothing", "", {}, 0, false},
        {"disk-full", "", {".slide.001.part", ".slide.002.part", ".slide.003.part"}, 0, true},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.fault);
        const auto directory = fmt::format("/{}-{}", each.fault, each.value);
        const auto id = open(each.fault, 3);
        fault(each.fault, each.value);
        ASSERT_FALSE(model.exportTo(id, directory, "Kimg", usual));
        time.runFor(1s);
        ASSERT_FALSE(model.faults().switchOff(each.fault));
        EXPECT_EQ(files.list(directory), each.files);
        EXPECT_EQ(ended.back().imagesWritten, each.written);
        EXPECT_EQ(ended.back().error != nullptr, each.fails);
    }
}

TEST_F(PresentationProgramModelTest, ADiskThatFillsDuringAnExportLeavesWhatIsThere) {
    const auto id = open("Optics", 3);
    ASSERT_FALSE(model.exportTo(id, "/work/slide", "Kimg", usual));
    time.runFor(40ms);
    fault("disk-full");
    time.runFor(30ms);
    EXPECT_FALSE(model.faults().switchOff(""));
    time.runFor(1s);
    EXPECT_TRUE(image("slide.001.jpg"));
    EXPECT_FALSE(image("slide.002.jpg"));
    EXPECT_TRUE(image("slide.003.jpg"));
    EXPECT_TRUE(ended.back().error);
}

TEST_F(PresentationProgramModelTest, QuittingGivesUpTheWork) {
    const auto id = open("Optics", 3);
    ASSERT_FALSE(model.startShow(id));
    ASSERT_FALSE(model.exportTo(id, "/work/slide", "Kimg", usual));
    ASSERT_FALSE(model.save(id, "/deck.key"));
    time.runFor(40ms);
    model.quit();
    time.runFor(1min);
    EXPECT_EQ(files.list("/work/slide"), Names{"slide.001.jpg"});
    EXPECT_FALSE(files.contents("/deck.key"));
    EXPECT_TRUE(ended.empty());
    EXPECT_TRUE(model.save(id, "/deck.key"));
    // A new launch begins afresh and works.
    ASSERT_FALSE(model.launch());
    EXPECT_FALSE(poll().firstDocument);
    EXPECT_EQ(poll().playing, false);
    ASSERT_FALSE(model.save(open("Second", 1), "/deck.key"));
    time.runFor(1s);
    EXPECT_TRUE(files.contents("/deck.key"));
}

TEST_F(PresentationProgramModelTest, CallsAreRefusedWithASentence) {
    const auto id = open("Optics", 3);
    ASSERT_FALSE(model.startShow(id));
    struct Case {
        std::string format;
        ExportProperties properties;
    };
    const std::vector<Case> cases{
        {"Kpdf", usual},
        {"Kimg", {{"compressionFactor", 1.5}}},
        {"Kimg", {{"compressionFactor", std::nan("")}}},
        {"Kimg", {{"compressionFactor", std::string("0.8")}}},
        {"Kimg", {{"imageFormat", std::string("Kifp")}}},
    };
    for (const Case& each : cases) EXPECT_TRUE(model.exportTo(id, "/work/slide", each.format, each.properties));
    EXPECT_TRUE(model.save("document-99", "/deck.key"));

    fault("refuses", "stop,export");
    EXPECT_TRUE(model.stop(id));
    const auto error = model.exportTo(id, "/work/slide", "Kimg", usual);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), kAppleEventFailed);
    EXPECT_FALSE(model.save(id, "/deck.key"));
    EXPECT_EQ(poll().playing, true);
    fault("refuses", "all");
    ErrorPtr refused;
    EXPECT_FALSE(model.presentingState(refused).firstDocument);
    EXPECT_TRUE(refused);
    time.runFor(1s);
    EXPECT_EQ(ended.size(), 1U);
}

}  // namespace
