#include "tests/KeynoteCaptureService/Scenario.h"

namespace {

/// A service that does not capture, and a program with the deck /decks/a.key of two slides.
class Extraction : public Scenario {
protected:
    void SetUp() override {
        keynote.launch();
        keynote.model.setReader([](const std::filesystem::path& path, ErrorPtr&) {
            presenters::ProgramDocument deck;
            deck.name = path.stem();
            deck.slideCount = 2;
            deck.hiddenSlides = {2};
            auto& slide = deck.texts.emplace_back();
            slide.defaultTitleItemText = "A\tB\vC";
            slide.defaultBodyItemText = "D\tE\vF";
            slide.presenterNotes = "G\tH\vI";
            slide.textItems = {"<x>", "J\tK\vL"};
            slide.tables = {{"T\tU\vV", {{"1\t", "2\v"}, {}}}};
            return std::optional(deck);
        });
        service = KeynoteCaptureService::initWithDelegate(host);
        ASSERT_EQ(platform.files.createDirectory("/decks"), nullptr);
    }

    [[nodiscard]] std::string text() const { return platform.files.contents("/decks/a.key.key.text.xml").value_or(""); }
};

TEST_F(Extraction, WritesTextAndImagesBesideTheDeckAndClosesIt) {
    noteEvents();
    service->extractSlideFiles({"slide.001.jpg", "slide.002.jpg"}, "/decks/a.key/");
    run(30s);
    EXPECT_EQ(host->calls, (Calls{"0 > openFile /decks/a.key Keynote", "0 > open /decks/a.key", "0 > text document-1",
                                  "0 > version", "0 > export document-1 S/P1/slide" + kAsImages,
                                  "500 > close document-1 ask ", "500 extracted /decks/a.key/ ok"}));
    EXPECT_EQ(platform.files.list("/decks"), (Calls{"a.key.key.text.xml", "slide.001.jpg", "slide.002.jpg"}));
    EXPECT_EQ(
        text(),
        "<?xml encoding=\"UTF-16\"?><KeynoteInfo version=\"1\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><Filename>a</Filename>"
        "<KeynoteVersion>14.0</KeynoteVersion><Slides>"
        "<Slide><Body>D E F</Body><IsSkipped>0</IsSkipped><Notes>G H I</Notes><Number>1</Number><Tables><Table>"
        "<TableRows><Row><Cell>1\t</Cell><Cell>2\v</Cell></Row><Row></Row></TableRows><TableTitle>T U V</TableTitle>"
        "</Table></Tables><TextItems><TextItem>&lt;x></TextItem><TextItem>J K L</TextItem></TextItems>"
        "<Title>A B C</Title></Slide>"
        "<Slide><Body></Body><IsSkipped>1</IsSkipped><Notes></Notes><Number>2</Number><Tables></Tables>"
        "<TextItems></TextItems><Title></Title></Slide></Slides></KeynoteInfo>");
    EXPECT_TRUE(keynote.model.documents().empty());
}

/// What goes wrong, and what the host hears and finds.
struct Trouble {
    std::string name;
    std::string fault;
    std::string of;
    std::string readOnly;
    std::vector<std::string> images;
    std::string answer;
    std::string files;
    std::string textHolds;
    std::string logLine;
};

class ExtractionInTrouble : public Extraction, public testing::WithParamInterface<Trouble> {};

TEST_P(ExtractionInTrouble, EndsAsItShould) {
    const Trouble& trouble = GetParam();
    static_cast<void>(keynote.model.faults().switchOn(trouble.fault, trouble.of));
    platform.files.readOnly = {trouble.readOnly};
    service->extractSlideFiles(trouble.images, "/decks/a.key");
    run(200s);
    std::string files;
    for (const auto& name : platform.files.list("/decks")) files += name + " ";
    EXPECT_EQ(host->calls, Calls{trouble.answer});
    EXPECT_EQ(files, trouble.files);
    EXPECT_NE(text().find(trouble.textHolds), std::string::npos) << text();
    EXPECT_GE(logged(trouble.logLine), 1U);
}

const std::vector<std::string> kImages{"slide.001.jpg", "slide.002.jpg"};
const std::string kSuccess = "500 extracted /decks/a.key ok";
const std::string kImagesMissing = "90500 extracted /decks/a.key KeynoteCaptureServiceErrorDomain 5";
const std::string kText = "a.key.key.text.xml ";
const std::string kNoText = "<Filename></Filename><KeynoteVersion>14.0</KeynoteVersion><Slides></Slides>";
const std::string kEventFailed = "-[KeynoteTextExtractor eventDidFail:withError:] error:Error Domain=";

const Trouble kTroubles[] = {
    {"ImageLeftOut", "leaves-out", "1", "", kImages, kImagesMissing, kText + "slide.002.jpg ", "<Number>2</Number>",
     "Could not find all expected slide images: Error Domain="},
    {"NotOpened", "refuses", "open", "", kImages, kImagesMissing, kText, kNoText,
     "(null): extracting text from 0 slides"},
    {"NotOpenedForImages", "refuses", "open", "", {}, kSuccess, kText, kNoText, "Finished verification"},
    {"NoText", "refuses", "text", "", kImages, kSuccess, kText + "slide.001.jpg slide.002.jpg ", kNoText, kEventFailed},
    {"NoVersion",
     "refuses",
     "version",
     "",
     {},
     kSuccess,
     kText,
     "<KeynoteVersion></KeynoteVersion><Slides><Slide>",
     kEventFailed},
    {"FolderReadOnly", "", "", "/decks", kImages, kSuccess, "", "", "Could not move slide image file from:"},
    {"SandboxReadOnly", "", "", kSandbox, kImages,
     "0 extracted /decks/a.key NSPOSIXErrorDomain 13 NSFilePath=S/P1 NSLocalizedDescription=Permission denied", "", "",
     "Failed to create working directory: /home/lecturer/Library/"},
};

INSTANTIATE_TEST_SUITE_P(Each, ExtractionInTrouble, testing::ValuesIn(kTroubles),
                         [](const auto& trouble) { return trouble.param.name; });

TEST_F(Extraction, OnTheCapturingConnectionMisleadsTheCaptureAndOnAnotherDoesNot) {
    const auto extracting = KeynoteCaptureService::initWithDelegate(host);
    const auto lectureWithExtraction = [this](KeynoteCaptureService& extractor) {
        host->calls.clear();
        EXPECT_EQ(keynote.model.startShow(keynote.model.documents().front().id, 1), nullptr);
        run(1s);
        extractor.extractSlideFiles({}, "/decks/b.key");
        run(1s);
        EXPECT_EQ(keynote.model.goToSlide(2), nullptr);
        run(1s);
        EXPECT_EQ(keynote.model.stopShow(), nullptr);
        run(7s);
    };
    keynote.open("lecture.key");
    start();
    lectureWithExtraction(*extracting);
    EXPECT_EQ(host->calls,
              (Calls{"250 started P1 /decks/lecture.key P1.key ok", "375 slide P1 1 P1/slide.001.jpg",
                     "1500 extracted /decks/b.key ok", "2375 slide P1 2 P1/slide.002.jpg", "3750 stopped P1 ok"}));
    EXPECT_EQ(platform.files.list("/decks"), Calls{"b.key.key.text.xml"});

    // The directories are the connection's, and the extraction puts its own there.
    lectureWithExtraction(*service);
    EXPECT_EQ(host->calls, (Calls{"10250 started P3 /decks/lecture.key P3.key ok", "10375 slide P3 1 P3/slide.001.jpg",
                                  "11500 extracted /decks/b.key ok", "12375 slide P3 2 decks/slide.002.jpg",
                                  "13750 stopped P3 ok"}));
    EXPECT_EQ(platform.files.list("/decks"), (Calls{"b.key.key.text.xml", "slide.001.jpg", "slide.002.jpg"}));
}

TEST_F(Extraction, MakesTheProgramThatAppearedLastTheCurrentOne) {
    start();
    Program newer(platform, 101);
    newer.launch();
    ASSERT_EQ(newer.model.startShow(newer.open("b.key"), 1), nullptr);
    run(1s);
    EXPECT_EQ(host->calls, Calls{"0 launched"}) << "the one found first is followed";
    service->extractSlideFiles({}, "/decks/a.key");
    run(500ms);
    EXPECT_EQ(host->calls.at(1), "1250 started P2 /decks/b.key P2.key ok");
}

TEST_F(Extraction, IsNeverAnsweredAfterAStop) {
    service->extractSlideFiles(kImages, "/decks/a.key");
    service->stopDetectionAndCapture();
    run(200s);
    EXPECT_EQ(host->calls, Calls{});
}

/// Waits for the end of saving. The resource "empty.key" is there.
class SaveMonitor : public Scenario {
protected:
    void SetUp() override {
        platform.bundles.setMainBundle({}, {"empty.key"});
        keynote.launch();
        service = KeynoteCaptureService::initWithDelegate(host);
    }
};

TEST_F(SaveMonitor, WaitsUseProbesOfTheirOwn) {
    noteEvents();
    service->waitForSavingToCompleteAsync();
    keynote.model.faults().saveTime = 600ms;
    service->waitForSavingToCompleteAsync();
    run(10s);
    EXPECT_EQ(host->calls, (Calls{
                               "0 > activate",
                               "0 > activate",
                               "0 > openFile /KeynoteCaptureService/Contents/Resources/empty.key Keynote",
                               "0 > open S/temp/P1.key",
                               "0 > openFile /KeynoteCaptureService/Contents/Resources/empty.key Keynote",
                               "0 > open S/temp/P2.key",
                               "0 > save document-2 S/temp/P1.key",
                               "0 > save document-3 S/temp/P2.key",
                               "1000 > close document-2 no  ",
                               "1000 saved",
                               "2000 > close document-3 no  ",
                               "2000 saved",
                           }));
}

TEST_F(SaveMonitor, WaitsForAProgramThatIsSlowToAnswer) {
    keynote.model.faults().answersLate = 2s;
    service->waitForSavingToCompleteAsync();
    run(5s);
    EXPECT_EQ(host->calls, Calls{"3000 saved"});
    EXPECT_EQ(logged("Couldn't open document"), 0U);
}

TEST_F(SaveMonitor, TriesAndLooksEverySecondUntilTheProbeHasContents) {
    auto& faults = keynote.model.faults();
    faults.refusedCalls = {"open"};
    service->waitForSavingToCompleteAsync();
    run(300'500ms);
    EXPECT_EQ(logged("Couldn't open document"), 301U);
    faults.refusedCalls = {"save"};  // asked in vain at 301 s
    run(3s);
    EXPECT_EQ(logged("File doesn't exist"), 3U);
    const std::string probe = simulated::SimulatedText::uuid(1) + ".key";
    const std::string temporary = std::string(kSandbox) + "/temp";
    ASSERT_EQ(platform.files.createFile(temporary + "/" + probe, ""), nullptr);
    run(297s);
    EXPECT_EQ(logged("File size 0"), 297U);
    EXPECT_EQ(host->calls, Calls{});
    ASSERT_EQ(platform.files.createFile(temporary + "/" + probe, "12345"), nullptr);
    run(10s);
    EXPECT_EQ(logged("File size 5"), 1U);
    EXPECT_EQ(host->calls, Calls{"601000 saved"});
    EXPECT_EQ(platform.files.list(temporary), Calls{probe});
}

TEST_F(SaveMonitor, FailsOnlyWhenTheProgramEnds) {
    service->waitForSavingToCompleteAsync();
    platform.dispatch.runReady();
    keynote.quit();
    run(10s);
    service->waitForSavingToCompleteAsync();  // of a program that does not come
    run(10s);
    EXPECT_EQ(host->calls, (Calls{"1000 not saved KeynoteCaptureServiceErrorDomain 6",
                                  "11000 not saved KeynoteCaptureServiceErrorDomain 6"}));
    EXPECT_EQ(logged("Failed to launch Keynote to detect save status"), 2U);
}

TEST_F(SaveMonitor, ClosesTheProbeAlsoWhenTheHostIsGone) {
    service->waitForSavingToCompleteAsync();
    platform.dispatch.runReady();
    service.reset();
    run(10s);
    EXPECT_EQ(host->calls, Calls{});
    ASSERT_EQ(keynote.model.documents().size(), 1U);
    EXPECT_EQ(keynote.model.documents().front().name, "empty.key");
}

}  // namespace
