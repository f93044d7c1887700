#include "bus/Convert.h"
#include "tests/presenters/impress/ImpressFixture.h"
#include "tests/support/Image.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <chrono>
#include <cmath>
#include <com/sun/star/drawing/XDrawPagesSupplier.hpp>
#include <com/sun/star/drawing/XDrawView.hpp>
#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <com/sun/star/util/XModifiable.hpp>
#include <csignal>

using css::uno::Reference;
using css::uno::UNO_QUERY_THROW;

namespace {

using Numbers = std::vector<std::int64_t>;

/// The lecture on pages of 4:3, whose show goes to pages 7, 3 and 8 only.
std::filesystem::path writeShortLecture(const std::filesystem::path& folder) {
    auto text = contentsOf(LECTURE);
    const auto replace = [&text](std::string_view what, const std::string& with) {
        text.replace(text.find(what), what.size(), with);
    };
    replace("page-height=\"15.75cm\"", "page-height=\"21cm\"");
    replace("<presentation:settings presentation:mouse-visible=\"false\"/>",
            "<presentation:settings presentation:show=\"short\"><presentation:show presentation:name=\"short\" "
            "presentation:pages=\"Try it yourself,Rates in daily use,Closing\"/></presentation:settings>");
    writeFile(folder / "short & more.fodp", text);
    return folder / "short & more.fodp";
}

/// The slides that polls tell until the show ends; nothing but polls of one document may come between.
Numbers slidesOfShow(ProgramProxy& program) {
    Numbers numbers;
    const bool ended = eventually(
        [&] {
            const auto state = poll(program);
            if (!state.playing) return !numbers.empty();
            if (numbers.empty() || numbers.back() != state.slideNumber) numbers.push_back(state.slideNumber);
            return false;
        },
        60s);
    EXPECT_TRUE(ended);
    return numbers;
}

TEST(ImpressUsage, IsCheckedFirst) {
    const auto statusWith = [](const std::string& arguments) {
        return WEXITSTATUS(std::system((BRIDGE " " + arguments + " >/dev/null 2>&1").c_str()));
    };
    EXPECT_EQ(statusWith("--version"), 0);
    EXPECT_EQ(statusWith("--advance 3"), 2);
    EXPECT_EQ(statusWith("--pipe a/b"), 2);
}

TEST_F(Impress, TellsItsProcessAndBundle) {
    const auto process = program->ProcessIdentifier();
    const auto executable = std::filesystem::read_symlink(fmt::format("/proc/{}/exe", process));
    EXPECT_EQ(executable.filename(), "soffice.bin");
    EXPECT_EQ(program->BundleIdentifier(), "com.apple.iWork.Keynote");
    const auto bundle = pathFromURL(program->BundleURL());
    ASSERT_TRUE(bundle);
    EXPECT_NE(contentsOf(*bundle / "Contents/Info.plist").find("CFBundleShortVersionString"), std::string::npos);
}

TEST_F(Impress, ShowsTheLectureWithoutTheHiddenSlide) {
    const auto deck = copyLecture(session->folder() / "shown.fodp");
    session->startBridge({"--present", deck, "--advance", "0.7"});
    session->bridge().waitForComplaint("Attached");
    program = session->program();
    EXPECT_EQ(slidesOfShow(*program), (Numbers{1, 2, 3, 4, 6, 7, 8}));
    EXPECT_EQ(poll(*program).documentFile, urlFromPath(deck));
    session->bridge().waitForLine("showing slide 8");
    EXPECT_EQ(session->bridge().readLine(), "show ended");
}

TEST_F(Impress, TellsTheLastSlideOnTheEndScreenUntilStopped) {
    const auto document = open(lecture);
    const auto show = ImpressSession::showOf(document);
    show->start();
    ASSERT_TRUE(eventually([&] { return poll(*program).playing; }));
    const auto controller = show->getController();
    controller->gotoLastSlide();
    ASSERT_TRUE(eventually([&] { return poll(*program).slideNumber == 8; }));
    controller->gotoNextSlide();
    ASSERT_TRUE(eventually([&] { return controller->isPaused() != 0; })) << "the end screen pauses the show";
    for (int i = 0; i < 20; ++i) {
        const auto state = poll(*program);
        ASSERT_TRUE(state.playing);
        ASSERT_EQ(state.slideNumber, 8);
    }
    const auto id = poll(*program).documentID;
    send([&] { program->stop(id); });
    EXPECT_TRUE(eventually([&] { return !poll(*program).playing; }, 5s));
}

TEST_F(Impress, TellsTheNumbersOfACustomShowPutsItsDocumentFirstAndExportsAllPages) {
    const auto deck = writeShortLecture(session->folder());
    const auto document = open(deck);
    const auto id = poll(*program).documentID;
    const auto other = open(lecture);
    const auto show = ImpressSession::showOf(document);
    show->start();
    ASSERT_TRUE(eventually([&] { return poll(*program).playing; }));
    for (const std::int64_t number : {7, 3, 8}) {
        EXPECT_TRUE(eventually([&] { return poll(*program).slideNumber == number; })) << number;
        EXPECT_EQ(poll(*program).documentFile, urlFromPath(deck));
        if (number != 8) show->getController()->gotoNextSlide();
    }
    show->end();
    ASSERT_TRUE(eventually([&] { return !poll(*program).playing; }));
    const auto target = session->folder() / "new" / "slide";
    send([&] { program->export_(id, urlFromPath(target) + "/", "Kimg", kExportProperties); });
    ASSERT_TRUE(eventually([&] { return namesIn(target) == imageNames(8); }, 60s))
        << session->bridge().complaintsUntilNow();
    const auto image = Image::read(target / "slide.003.jpg").value();
    EXPECT_EQ(image.width, 1440U);
    EXPECT_EQ(image.height, 1080U);
    document->dispose();
    EXPECT_TRUE(eventually([&] { return poll(*program).documentFile == urlFromPath(lecture); }));
}

TEST_F(Impress, LeavesTheDocumentAsItIs) {
    const auto document = open(lecture);
    const Reference<css::util::XModifiable> modifiable(document, UNO_QUERY_THROW);
    const Reference<css::drawing::XDrawView> view(document->getCurrentController(), UNO_QUERY_THROW);
    const Reference<css::drawing::XDrawPagesSupplier> supplier(document, UNO_QUERY_THROW);
    const Reference<css::drawing::XDrawPage> third(supplier->getDrawPages()->getByIndex(2), UNO_QUERY_THROW);
    view->setCurrentPage(third);
    const auto id = poll(*program).documentID;
    for (const bool modified : {true, false}) {
        modifiable->setModified(modified);
        const auto copy = session->folder() / fmt::format("copy {}.key", modified);
        const auto images = session->folder() / fmt::format("images {}", modified);
        writeFile(copy, "");
        send([&] { program->save(id, urlFromPath(copy)); });
        send([&] { program->export_(id, urlFromPath(images), "Kimg", kExportProperties); });
        ASSERT_TRUE(eventually([&] { return namesIn(images) == imageNames(8); }, 60s))
            << session->bridge().complaintsUntilNow();
        EXPECT_NE(contentsOf(copy).find("mimetypeapplication/vnd.oasis.opendocument.presentation"), std::string::npos)
            << "commands are done in order, so the copy must be there before the images";
        EXPECT_EQ(modifiable->isModified() != 0, modified);
    }
    const auto state = poll(*program);
    EXPECT_EQ(state.slideNumber, 3);
    EXPECT_EQ(state.documentID, id);
    EXPECT_EQ(state.documentFile, urlFromPath(lecture));
    EXPECT_EQ(contentsOf(session->folder() / "profile/user/registrymodifications.xcu").find("copy%20"),
              std::string::npos)
        << "the copy must not stand among the recent files";

    const Colour navy{0x1e, 0x3a, 0x5f};
    const Colour orange{0xea, 0x58, 0x0c};
    const Colour white{255, 255, 255};
    const auto colour = [&](int number, double x, double y) {
        const auto image = Image::read(session->folder() / "images true" / fmt::format("slide.{:03}.jpg", number));
        return image ? image->at(x, y) : Colour{};
    };
    EXPECT_TRUE(alike(colour(1, 0.5, 0.1), navy)) << "title slide";
    EXPECT_TRUE(alike(colour(2, 0.9, 0.5), white)) << "bullets";
    EXPECT_TRUE(alike(colour(3, 0.15, 0.30), navy)) << "head of the table";
    EXPECT_TRUE(alike(colour(6, 0.15, 0.80), orange)) << "last box of the chain";
    EXPECT_TRUE(alike(colour(8, 0.5, 0.1), navy)) << "closing slide";
}

TEST_F(Impress, RefusesWhatItCannotDoAndGoesOnAfterWhatFails) {
    const auto document = open(lecture);
    const auto id = poll(*program).documentID;
    const auto folder = urlFromPath(session->folder() / "refused");
    const auto exportWith = [&](const char* key, sdbus::Variant value) {
        return errorOf([&] { program->export_(id, folder, "Kimg", {{key, std::move(value)}}); });
    };
    EXPECT_EQ(errorOf([&] { program->save("no such document", folder); }), bus::kProgramFailed);
    EXPECT_EQ(errorOf([&] { program->stop(""); }), bus::kProgramFailed);
    EXPECT_EQ(errorOf([&] { program->save(id, "http://example.org/a"); }), bus::kProgramFailed);
    EXPECT_EQ(errorOf([&] { program->save(id, "file:///a%00b"); }), bus::kProgramFailed);
    EXPECT_EQ(errorOf([&] { program->export_(id, folder, "PDF ", {}); }), bus::kProgramFailed);
    EXPECT_EQ(exportWith("compressionFactor", sdbus::Variant(1.5)), bus::kProgramFailed);
    EXPECT_EQ(exportWith("compressionFactor", sdbus::Variant(std::nan(""))), bus::kProgramFailed);
    EXPECT_EQ(exportWith("compressionFactor", sdbus::Variant(std::string("high"))), bus::kProgramFailed);
    EXPECT_EQ(exportWith("imageFormat", sdbus::Variant(std::string("Kifp"))), bus::kProgramFailed);
    EXPECT_TRUE(namesIn(session->folder() / "refused").empty());

    const auto file = session->folder() / "a file";
    writeFile(file, "in the way");
    send([&] { program->save(id, urlFromPath(file / "copy.key")); });
    send([&] { program->export_(id, urlFromPath(file / "slide"), "Kimg", kExportProperties); });
    const auto copy = session->folder() / "after.key";
    send([&] { program->save(id, urlFromPath(copy)); });
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(copy); })) << session->bridge().complaintsUntilNow();
    EXPECT_EQ(contentsOf(file), "in the way");
}

TEST_F(Impress, StrangersWhoTellOfDeparturesAreNotBelieved) {
    const auto opener = sdbus::createSessionBusConnection();
    const auto bridge = bus::createProxy(*opener, session->programNames().front(), bus::kProgramPath);
    std::string id;
    bridge->callMethod("open")
        .onInterface(bus::kProgramInterface)
        .withArguments(urlFromPath(copyLecture(session->folder() / "kept.fodp")))
        .storeResultsTo(id);
    const auto stranger = sdbus::createSessionBusConnection();
    const auto object = bus::createObject(*stranger, bus::kBusDaemonPath);
    const auto tell = [&](const auto&... arguments) {
        auto signal = bus::createSignal(*object, bus::kBusDaemon, "NameOwnerChanged");
        signal.setDestination(session->programNames().front());
        static_cast<void>((signal << ... << arguments));
        object->emitSignal(signal);
    };
    tell();
    tell(7);
    tell(std::vector<std::string>{"a"});
    tell(opener->getUniqueName(), opener->getUniqueName(), std::string());
    // Behind what a departure would have ordered for the document.
    auto text = bus::createCall(*bridge, bus::kProgramInterface, "documentText");
    text << id;
    EXPECT_EQ(errorOf([&] { static_cast<void>(bridge->callMethod(text)); }), "accepted");
}

TEST_F(Impress, TellsNothingWhileTheOfficeIsStoppedAndGoesOnAfterwards) {
    const auto document = open(lecture);
    const auto office = static_cast<pid_t>(program->ProcessIdentifier());
    const auto before = poll(*program);
    ASSERT_EQ(kill(office, SIGSTOP), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(errorOf([&] { (void)program->presentingState(); }), bus::kProgramFailed);
    }
    EXPECT_EQ(errorOf([&] { program->stop(before.documentID); }), bus::kProgramFailed);
    EXPECT_EQ(session->programNames().size(), 1U);
    ASSERT_EQ(kill(office, SIGCONT), 0);
    ASSERT_TRUE(eventually([&] { return errorOf([&] { (void)program->presentingState(); }) == "accepted"; }));
    EXPECT_EQ(poll(*program).documentID, before.documentID);
}

TEST_F(Impress, LeavesTheBusWithTheOfficeAndComesBackWithTheNext) {
    const auto document = open(lecture);
    for (const bool stuck : {false, true}) {
        const auto office = static_cast<pid_t>(program->ProcessIdentifier());
        if (stuck) {
            kill(office, SIGSTOP);
            EXPECT_EQ(errorOf([&] { (void)program->presentingState(); }), bus::kProgramFailed);
        }
        ASSERT_EQ(kill(office, SIGKILL), 0);
        EXPECT_TRUE(eventually([] { return session->programNames().empty(); }, 5s)) << "stuck: " << stuck;
        session->startOffice();
        ASSERT_TRUE(session->waitForProgram());
        program = session->program();
        EXPECT_NE(program->ProcessIdentifier(), static_cast<std::uint32_t>(office));
        EXPECT_FALSE(poll(*program).playing);
        EXPECT_EQ(poll(*program).documentID, "");
    }
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    std::fflush(nullptr);
    // The office's libraries do not survive the end of the process in an order of their own.
    std::_Exit(result);
}
