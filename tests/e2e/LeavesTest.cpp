/// What a recording leaves for people, and how it is made again from its files.

#include "tests/e2e/RecorderTest.h"

namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;

class LeavesTest : public testing::Test, protected RecorderTest {
protected:
    static std::string textIn(const fs::path& presentation) {
        return presentation / (presentation.filename().native() + ".key.key.text.xml");
    }
    /// A show of slide 1, 2 and 1 again.
    fs::path recorded() {
        const auto recorder = record();
        show(*recorder, 1, 2);
        program_.play("slide 1");
        recorder->waitForLine(R"({"event":"slideDeckPresentedSlide")");
        end(*recorder);
        EXPECT_EQ(recorder->exitStatus(), 0) << recorder->complaints();
        return presentations().at(0);
    }
};

TEST_F(LeavesTest, AShowLeavesChaptersAPageAndWhatScriptsWantToKnow) {
    const auto presentation = recorded();
    EXPECT_THAT(contentsOf(presentation / "chapters.vtt"), HasSubstr("\nLight &amp; &lt;dark&gt;\n"));
    EXPECT_EQ(run("export"), contentsOf(presentation / "chapters.vtt"));
    EXPECT_THAT(contentsOf(presentation / "index.html"), HasSubstr("<p class=text dir=auto lang>Look &amp; see</p>"));
    const auto visits = Json::parse(run("export", {"--format", "json"})).at("visits");
    std::vector<int> slides;
    for (const auto& visit : visits) slides.push_back(visit.at("slide"));
    EXPECT_THAT(slides, testing::ElementsAre(1, 2, 1));
    EXPECT_EQ(visits.at(1).at("title"), "Light & <dark>");
    EXPECT_EQ(visits.at(0).at("end"), visits.at(1).at("start"));
    EXPECT_TRUE(isWholeImage(captures_ / visits.at(1).at("image").get<std::string>()));
    EXPECT_EQ(visits.at(1).at("imageSHA256").get<std::string>().size(), 64U);
    EXPECT_FALSE(visits.at(1).at("hidden"));
}

TEST_F(LeavesTest, WhatIsLostIsMadeAgainAndIsTheSame) {
    const auto presentation = recorded();
    // By their hashes: what a failure prints stays readable.
    const auto all = [&] {
        std::map<std::string, std::size_t> files;
        for (const auto& name : filesIn(presentation)) {
            files[name] = std::hash<std::string>()(contentsOf(presentation / name));
        }
        return files;
    };
    const auto before = all();
    const auto chapters = contentsOf(presentation / "chapters.vtt");
    EXPECT_THAT(run("recover"), HasSubstr("Nothing was to be done."));
    EXPECT_EQ(all(), before);
    fs::remove(presentation / "index.html");
    fs::remove(textIn(presentation));
    EXPECT_THAT(run("recover"), HasSubstr("key.text.xml, index.html."));
    EXPECT_EQ(all(), before);
    fs::resize_file(presentation / "slide.002.jpg", 4000);
    EXPECT_THAT(run("recover"), HasSubstr("Made slide.002.jpg."));
    EXPECT_TRUE(isWholeImage(presentation / "slide.002.jpg"));

    writeFile(presentation / "chapters.vtt", "something else");
    fs::remove(presentation / "slide.002.jpg");
    bus_.end();
    const auto told = run("recover", {}, 3);
    EXPECT_THAT(told, HasSubstr("Made chapters.vtt, index.html."));
    EXPECT_THAT(told, HasSubstr("slide.002.jpg cannot be made: "));
    EXPECT_EQ(contentsOf(presentation / "chapters.vtt"), chapters);
    EXPECT_THAT(contentsOf(presentation / "index.html"), HasSubstr("No image"));
}

TEST_F(LeavesTest, ARecordingThatGoesOnIsLeftAlone) {
    const auto recorder = record();
    show(*recorder, 1, 1);
    EXPECT_THAT(run("recover", {}, 1), HasSubstr("It is being recorded, and left alone."));
    fs::create_directory(home_.path() / "empty");
    ChildProcess none({KEYNOTE_CAPTURE, "recover", home_.path() / "empty"});
    EXPECT_EQ(none.exitStatus(), 1);
    EXPECT_THAT(none.complaints(), HasSubstr("There is no timeline in"));
}

}  // namespace
