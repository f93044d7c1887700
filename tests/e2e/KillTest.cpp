/// Whoever is killed in the middle of a show: what was recorded stays, and what can be brought is brought.

#include "tests/e2e/RecorderTest.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;

std::vector<int> slidesIn(const std::vector<Json>& journal) {
    std::vector<int> slides;
    for (const auto& line : journal) {
        if (line.value("event", "") == "slideShown") slides.push_back(line.at("slide"));
    }
    return slides;
}

std::optional<Json> lineNamed(const std::vector<Json>& journal, const std::string& event) {
    const auto found = std::ranges::find(journal, event, [](const Json& line) { return line.value("event", ""); });
    return found == journal.end() ? std::nullopt : std::optional(*found);
}

std::vector<int> numbers(int from, int to) {
    std::vector<int> all;
    for (int number = from; number <= to; ++number) all.push_back(number);
    return all;
}

/// A show of ten slides that is recorded; the parameter is the slide at which somebody is killed. A slide stays until
/// the recorder has told it, under half a second where nothing else holds the machine up, so this kills more often than
/// once in every second of the show. How soon a killed service is there again is measured: `benchmarks/run.sh restart`.
class KillTest : public testing::TestWithParam<int>, protected RecorderTest {
protected:
    static void expectImages(const fs::path& presentation, const std::vector<int>& slides) {
        for (const int slide : slides) {
            const auto name = std::string("slide.0") + (slide < 10 ? "0" : "") + std::to_string(slide) + ".jpg";
            EXPECT_TRUE(isWholeImage(presentation / name)) << presentation / name;
        }
        EXPECT_TRUE(lineNamed(journalIn(presentation), "finished")->at("missing").empty());
    }
    /// The show was seen in two parts, and the second says of which show it is the rest.
    void expectTwoParts(int last) const {
        const auto parts = presentations();
        ASSERT_EQ(parts.size(), 2U);
        const auto first = journalIn(parts.at(0));
        const auto second = journalIn(parts.at(1));
        EXPECT_EQ(slidesIn(first), numbers(1, last));
        EXPECT_TRUE(lineNamed(first, "unseenFrom"));
        EXPECT_EQ(lineNamed(second, "continues").value_or(Json{{"presentationID", "none"}}).at("presentationID"),
                  parts.at(0).filename().string());
        EXPECT_EQ(slidesIn(second).back(), kSlides);
        expectImages(parts.at(0), numbers(1, last));
        expectImages(parts.at(1), slidesIn(second));
        // Both have the page of all: the program has told the second recorder what nobody saw, and what the first did.
        for (const auto& part : parts) {
            const auto page = contentsOf(part / "index.html");
            EXPECT_THAT(page, HasSubstr("<li id=v" + std::to_string(kSlides) + " "));
            EXPECT_EQ(page.find("<li id=v" + std::to_string(kSlides + 1)), std::string::npos);
            EXPECT_EQ(page.find("<li class=gap>"), std::string::npos);
        }
    }
};

TEST_P(KillTest, OfTheServiceLeavesAGapAndAllImages) {
    const auto recorder = record();
    show(*recorder, 1, GetParam());
    ASSERT_EQ(kill(serviceProcess().value(), SIGKILL), 0);
    recorder->waitForLine(R"({"event":"startedPresenting")");
    show(*recorder, GetParam() + 1, kSlides);
    end(*recorder);
    EXPECT_EQ(recorder->exitStatus(), 1) << "there is a gap";
    expectTwoParts(GetParam());
}

TEST_P(KillTest, OfTheRecorderIsMendedByTheNext) {
    const auto first = record();
    show(*first, 1, GetParam());
    first->send(SIGKILL);
    EXPECT_NE(first->exitStatus(), 0);
    const auto second = record();
    second->waitForLine(R"({"event":"slideDeckPresentedSlide")");
    show(*second, GetParam() + 1, kSlides);
    end(*second);
    EXPECT_EQ(second->exitStatus(), 0) << second->complaints();
    expectTwoParts(GetParam());
}

TEST_P(KillTest, OfTheRecorderLeavesWhatRecoverMakesUpFor) {
    const auto recorder = record();
    show(*recorder, 1, GetParam());
    recorder->send(SIGKILL);
    EXPECT_NE(recorder->exitStatus(), 0);
    EXPECT_THAT(run("recover"), HasSubstr("Made slide.001.jpg"));
    const auto presentation = presentations().at(0);
    expectImages(presentation, numbers(1, GetParam()));
    const auto page = contentsOf(presentation / "index.html");
    EXPECT_THAT(page, HasSubstr("<li id=v" + std::to_string(GetParam()) + " "));
    EXPECT_THAT(page, HasSubstr("perhaps longer"));
    EXPECT_EQ(contentsOf(presentation / "chapters.vtt").find("Light") != std::string::npos, GetParam() >= 2);
    EXPECT_THAT(run("recover"), HasSubstr("Nothing was to be done."));
    EXPECT_EQ(contentsOf(presentation / "index.html"), page);
}

TEST_P(KillTest, OfTheProgramEndsTheShowAndItsImagesComeFromTheArchiveCopy) {
    const auto recorder = record();
    show(*recorder, 1, GetParam());
    program_.send(SIGKILL);
    recorder->waitForLine(R"({"event":"detectedKeynoteTerminated")");
    recorder->send(SIGKILL);  // rather than wait for images that nobody exports
    static_cast<void>(recorder->exitStatus());
    const ChildProcess next({KEYNOTE_SIMULATOR, "-", "--no-window"});
    next.writeLine("launch");
    const auto second = record();
    second->waitForLine(R"({"event":"extractedSlideFilesForPresentation")");
    second->send(SIGINT);
    EXPECT_EQ(second->exitStatus(), 0) << second->complaints();
    const auto presentation = presentations().at(0);
    EXPECT_EQ(slidesIn(journalIn(presentation)), numbers(1, GetParam()));
    EXPECT_TRUE(lineNamed(journalIn(presentation), "showEnded"));
    expectImages(presentation, numbers(1, GetParam()));
}

TEST_P(KillTest, OfTheBusKeepsWhatWasTold) {
    const auto recorder = record();
    show(*recorder, 1, GetParam());
    bus_.end();
    recorder->waitForComplaint("starting it again");
    recorder->send(SIGINT);
    EXPECT_EQ(recorder->exitStatus(), 1);
    const auto journal = journalIn(presentations().at(0));
    EXPECT_EQ(slidesIn(journal), numbers(1, GetParam()));
    EXPECT_TRUE(lineNamed(journal, "unseenFrom"));
}

INSTANTIATE_TEST_SUITE_P(AtSlide, KillTest, testing::Range(1, kSlides + 1));

}  // namespace
