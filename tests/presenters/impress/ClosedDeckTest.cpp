#include "presenters/impress/SavedCopies.h"
#include "tests/presenters/impress/ImpressFixture.h"

#include <algorithm>
#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <com/sun/star/util/XCloseable.hpp>
#include <csignal>

using css::frame::XModel;
using css::uno::Reference;
using css::uno::UNO_QUERY_THROW;

namespace {

namespace fs = std::filesystem;

TEST(SavedCopies, ExpectAnOrderForEachCopyOfAShowThatIsOver) {
    const auto file = testing::TempDir() + "saved-copy";
    std::ofstream(file) << "copy";
    impress::SavedCopies copies;
    copies.saved("hidden", file);
    copies.presents("shown");
    copies.saved("shown", file);
    copies.saved("shown", file);  // by another caller
    EXPECT_FALSE(copies.expectsOrder());
    copies.presents("");
    for (int order = 0; order < 2; ++order) {
        EXPECT_TRUE(copies.expectsOrder());
        copies.exportOrdered("shown");
    }
    EXPECT_FALSE(copies.expectsOrder());
    copies.presents("shown");
    copies.saved("shown", file);
    copies.closed("shown");
    copies.presents("shown");  // told before it was closed
    EXPECT_TRUE(copies.expectsOrder());
    for (std::size_t i = 1; i < impress::SavedCopies::kMost; ++i) copies.saved(std::to_string(i), file);
    EXPECT_FALSE(copies.copyOf("hidden")) << "the oldest";
    EXPECT_EQ(copies.copyOf("shown"), file);
    fs::remove(file);
    EXPECT_FALSE(copies.copyOf("shown"));
}

/// A deck that is closed, or whose office goes or stands still, when its images are wanted.
class ClosedDeck : public Impress {
protected:
    void SetUp() override {
        Impress::SetUp();
        folder = session->folder() / testing::UnitTest::GetInstance()->current_test_info()->name();
        fs::create_directory(folder);
    }

    /// Shows the deck and has a copy saved, as the service does at the beginning of a show.
    void present(const fs::path& file) {
        document = Impress::open(file);
        ImpressSession::showOf(document)->start();
        ASSERT_TRUE(eventually([&] { return poll(*program).playing; }));
        id = poll(*program).documentID;
        copy = fs::path(file).replace_extension(".key");
        program->save(id, urlFromPath(copy));
        ASSERT_TRUE(eventually([&] { return fs::exists(copy); })) << session->bridge().complaintsUntilNow();
        saved = contentsOf(copy);
    }
    void endShow() {
        ImpressSession::showOf(document)->end();
        ASSERT_TRUE(eventually([&] { return !poll(*program).playing; }));
    }
    void close() { Reference<css::util::XCloseable>(document, UNO_QUERY_THROW)->close(false); }
    std::string orderImages() {
        return errorOf([&] { program->export_(id, urlFromPath(folder / "images"), "Kimg", kExportProperties); });
    }
    /// An office that is killed may leave a temporary file of its own among them.
    bool hasImages(int count) {
        return eventually([&] { return std::ranges::includes(namesIn(folder / "images"), imageNames(count)); }, 60s);
    }
    void expectCopyUntouched() {
        EXPECT_EQ(contentsOf(copy), saved);
        for (const auto& name : namesIn(folder)) EXPECT_FALSE(name.starts_with(".")) << name;
    }

    fs::path folder;
    fs::path copy;
    std::string id;
    std::string saved;
    Reference<XModel> document;
};

TEST_F(ClosedDeck, AnOfficeThatStandsStillDoesLaterWhatIsOrdered) {
    document = Impress::open(copyLecture(folder / "deck.fodp"));
    id = poll(*program).documentID;
    const auto office = static_cast<pid_t>(program->ProcessIdentifier());
    ASSERT_EQ(kill(office, SIGSTOP), 0);
    const auto saving = errorOf([&] { program->save(id, urlFromPath(folder / "copy.key")); });
    const auto failing = errorOf([&] { program->save(id, urlFromPath(folder / "deck.fodp/copy.key")); });
    const auto exporting = orderImages();
    const auto unknown = errorOf([&] { program->save("unknown", urlFromPath(folder / "unknown.key")); });
    ASSERT_EQ(kill(office, SIGCONT), 0);
    EXPECT_EQ(saving, "accepted");
    EXPECT_EQ(failing, "accepted");
    EXPECT_EQ(exporting, "accepted");
    EXPECT_EQ(unknown, bus::kProgramFailed);
    EXPECT_TRUE(hasImages(8)) << session->bridge().complaintsUntilNow();
    EXPECT_TRUE(fs::exists(folder / "copy.key"));
    EXPECT_NE(session->bridge().complaintsUntilNow().find("deck.fodp/copy.key failed: "), std::string::npos);
    document->dispose();
}

TEST_F(ClosedDeck, ImagesOrderedTooLateComeFromTheCopy) {
    for (const bool officeIsSeen : {false, true}) {
        present(copyLecture(folder / fmt::format("deck {}.fodp", officeIsSeen)));
        const auto other = officeIsSeen ? session->open(lecture) : nullptr;
        endShow();
        close();
        EXPECT_EQ(orderImages(), "accepted");
        EXPECT_TRUE(hasImages(8)) << session->bridge().complaintsUntilNow();
        fs::remove_all(folder / "images");
        if (other.is()) other->dispose();
        EXPECT_TRUE(eventually([&] { return poll(*program).documentID.empty(); }));
        expectCopyUntouched();
        fs::remove(copy);
        EXPECT_EQ(orderImages(), bus::kProgramFailed) << "the copy is gone";
    }
}

TEST_F(ClosedDeck, ADeckThatGoesDuringItsExportLosesNoImage) {
    for (const bool dies : {false, true}) {
        present(writeLongDeck(folder / fmt::format("long {}.fodp", dies), 30));
        endShow();
        EXPECT_EQ(orderImages(), "accepted");
        ASSERT_TRUE(eventually([&] { return fs::exists(folder / "images/slide.003.jpg"); }));
        const auto before = fs::last_write_time(folder / "images/slide.001.jpg");
        dies ? (void)kill(static_cast<pid_t>(program->ProcessIdentifier()), SIGKILL) : close();
        EXPECT_TRUE(hasImages(33)) << session->bridge().complaintsUntilNow();
        EXPECT_EQ(fs::last_write_time(folder / "images/slide.001.jpg"), before);
        EXPECT_EQ(contentsOf(copy), saved);
        fs::remove_all(folder / "images");
    }
    ASSERT_TRUE(eventually([] { return session->programNames().empty(); }));
    session->startOffice();
    ASSERT_TRUE(session->waitForProgram());
}

TEST_F(ClosedDeck, AnOfficeThatQuitsAfterTheShowLeavesTheBusWithTheImages) {
    present(copyLecture(folder / "deck.fodp"));
    const auto names = session->programNames();
    ImpressSession::showOf(document)->end();
    session->quitOffice();
    EXPECT_EQ(session->programNames(), names);
    EXPECT_FALSE(poll(*program).playing);
    EXPECT_EQ(errorOf([&] { (void)program->windows(); }), bus::kProgramFailed);
    EXPECT_EQ(orderImages(), "accepted");
    EXPECT_TRUE(hasImages(8)) << session->bridge().complaintsUntilNow();
    EXPECT_TRUE(eventually([] { return session->programNames().empty(); }));
    expectCopyUntouched();
    session->startOffice();
    ASSERT_TRUE(session->waitForProgram());
}

TEST_F(ClosedDeck, AnOfficeThatDiesDuringTheShowLeavesTheBusAtOnce) {
    present(copyLecture(folder / "deck.fodp"));
    ASSERT_EQ(kill(static_cast<pid_t>(program->ProcessIdentifier()), SIGKILL), 0);
    EXPECT_TRUE(eventually([] { return session->programNames().empty(); }, 5s));
    session->startOffice();
    ASSERT_TRUE(session->waitForProgram());
}

TEST_F(ClosedDeck, AShowThatClosesItsDeckItselfIsRecordedWhole) {
    session->quitOffice();
    ASSERT_TRUE(eventually([] { return session->programNames().empty(); }));
    const ChildProcess service({SERVICE});
    ASSERT_TRUE(eventually([&] { return std::ranges::count(session->names(), bus::kServiceName) == 1; }));
    ChildProcess recorder({RECORDER, "record", "--to", folder / "captures", "--json"});
    session->startOffice({"--show", copyLecture(folder / "deck.fodp")});
    const auto waitFor = [&](const char* event) {
        for (std::string line; line.find(event) == std::string::npos;) {
            line = recorder.readLine().value();
            EXPECT_EQ(line.find("detectedKeynoteTerminated"), std::string::npos);
            EXPECT_EQ(line.find("\"error\":{"), std::string::npos) << line;
        }
    };
    waitFor("\"presentedSlide\":1");
    const auto desktop = css::frame::Desktop::create(session->office().context());
    document.set(desktop->getComponents()->createEnumeration()->nextElement(), UNO_QUERY_THROW);
    ImpressSession::showOf(document)->getController()->gotoNextSlide();
    waitFor("\"presentedSlide\":2");
    ImpressSession::showOf(document)->end();
    waitFor("stoppedPresenting");
    std::vector<std::string> images;
    for (const auto& entry : fs::recursive_directory_iterator(folder / "captures")) {
        if (entry.path().extension() == ".jpg") images.push_back(entry.path().filename());
    }
    std::sort(images.begin(), images.end());
    EXPECT_EQ(images, imageNames(2)) << session->bridge().complaintsUntilNow();
}

}  // namespace
