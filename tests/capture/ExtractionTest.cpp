#include "tests/capture/Scenario.h"

namespace {

class Extraction : public Scenario {
protected:
    void SetUp() override {
        keynote.launch();
        service = KeynoteCaptureService::initWithDelegate(host);
        ASSERT_EQ(platform.files.createDirectory("/decks"), nullptr);
    }
};

TEST_F(Extraction, WritesTextAndImagesBesideTheDeckAndClosesIt) {
    keynote.model.setReader([](const auto&, ErrorPtr&) {
        ProgramDocument deck;
        deck.name = "a";
        deck.slideCount = 2;
        deck.hiddenSlides = {2};
        auto& slide = deck.texts.emplace_back();
        slide.defaultTitleItemText = "A\tB\vC";
        slide.textItems = {"<x>"};
        slide.tables = {{"T", {{"1", "2"}, {}}}};
        return std::optional(deck);
    });
    service->extractSlideFiles({"slide.001.jpg", "slide.002.jpg"}, "/decks/a.key");
    run(30s);
    EXPECT_EQ(host->calls, Calls{"500 extracted /decks/a.key ok"});
    EXPECT_EQ(platform.files.list("/decks"), (Calls{"a.key.key.text.xml", "slide.001.jpg", "slide.002.jpg"}));
    EXPECT_EQ(
        platform.files.contents("/decks/a.key.key.text.xml"),
        "<KeynoteInfo version=\"1\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><Filename>a</Filename>"
        "<KeynoteVersion>14.0</KeynoteVersion><Slides>"
        "<Slide><Body></Body><IsSkipped>0</IsSkipped><Notes></Notes><Number>1</Number><Tables><Table><TableRows>"
        "<Row><Cell>1</Cell><Cell>2</Cell></Row><Row></Row></TableRows><TableTitle>T</TableTitle></Table></Tables>"
        "<TextItems><TextItem>&lt;x></TextItem></TextItems><Title>A B C</Title></Slide>"
        "<Slide><Body></Body><IsSkipped>1</IsSkipped><Notes></Notes><Number>2</Number><Tables></Tables>"
        "<TextItems></TextItems><Title></Title></Slide></Slides></KeynoteInfo>");
    EXPECT_TRUE(keynote.model.documents().empty());
}

TEST_F(Extraction, WaitingForSavingEndsAfterTheProbeIsSaved) {
    service->waitForSavingToCompleteAsync();
    run(10s);
    EXPECT_EQ(host->calls, Calls{"1000 saved"});
    service->waitForSavingToCompleteAsync();
    platform.dispatch.runReady();
    keynote.quit();
    run(10s);
    EXPECT_EQ(host->calls.back(), "11000 not saved KeynoteCaptureServiceErrorDomain 6");
}

}  // namespace
