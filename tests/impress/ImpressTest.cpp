#include "bus/Convert.h"
#include "tests/impress/Image.h"
#include "tests/impress/ImpressFixture.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <chrono>
#include <cmath>
#include <com/sun/star/drawing/XDrawPagesSupplier.hpp>
#include <com/sun/star/drawing/XDrawView.hpp>
#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <com/sun/star/util/XModifiable.hpp>
#include <csignal>
#include <fstream>

using css::uno::Reference;
using css::uno::UNO_QUERY_THROW;

namespace {

using Numbers = std::vector<std::int64_t>;

/// The colour of page `number` of the deck that `writeColourDeck` makes.
Colour colourOf(int number) {
    return {(number * 67) % 256, (number * 131) % 256, (number * 29) % 256};
}

/// Twelve pages, 4:3, each filled with a colour of its own; page 4 is hidden. Its show goes to pages 7, 3 and 9 only.
std::filesystem::path writeColourDeck(const std::filesystem::path& folder) {
    std::string styles;
    std::string pages;
    for (int number = 1; number <= 12; ++number) {
        const Colour colour = colourOf(number);
        styles += fmt::format(
            R"(<style:style style:name="c{0}" style:family="graphic"><style:graphic-properties draw:stroke="none" draw:fill="solid" draw:fill-color="#{1:02x}{2:02x}{3:02x}"/></style:style>
<style:style style:name="p{0}" style:family="drawing-page"><style:drawing-page-properties presentation:visibility="{4}"/></style:style>
)",
            number, colour.red, colour.green, colour.blue, number == 4 ? "hidden" : "visible");
        pages += fmt::format(
            R"(<draw:page draw:name="P{0}" draw:style-name="p{0}" draw:master-page-name="m"><draw:rect draw:style-name="c{0}" svg:x="0cm" svg:y="0cm" svg:width="28cm" svg:height="21cm"/></draw:page>
)",
            number);
    }
    auto file = folder / "colours & more.fodp";
    std::ofstream(file)
        << R"(<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0" xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0" xmlns:draw="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0" xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0" xmlns:presentation="urn:oasis:names:tc:opendocument:xmlns:presentation:1.0" xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0" office:version="1.3" office:mimetype="application/vnd.oasis.opendocument.presentation">
<office:styles/>
<office:automatic-styles><style:style style:name="blank" style:family="drawing-page"/><style:page-layout style:name="l"><style:page-layout-properties fo:margin="0cm" fo:page-width="28cm" fo:page-height="21cm" style:print-orientation="landscape"/></style:page-layout>
)" << styles
        << R"(</office:automatic-styles>
<office:master-styles><style:master-page style:name="m" style:page-layout-name="l" draw:style-name="blank"/></office:master-styles>
<office:body><office:presentation>
)" << pages
        << R"(<presentation:settings presentation:show="short"><presentation:show presentation:name="short" presentation:pages="P7,P3,P9"/></presentation:settings>
</office:presentation></office:body></office:document>
)";
    return file;
}

/// The slides that polls tell until the show ends; nothing but polls of one document may come between.
Numbers slidesOfShow(ProgramProxy& program, double seconds) {
    Numbers numbers;
    const bool ended = eventually(
        [&] {
            const auto state = poll(program);
            if (!state.playing) return !numbers.empty();
            if (numbers.empty() || numbers.back() != state.slideNumber) numbers.push_back(state.slideNumber);
            return false;
        },
        seconds);
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
    const auto bundle = bus::pathFromURL(program->BundleURL());
    ASSERT_TRUE(bundle);
    EXPECT_NE(contents(*bundle / "Contents/Info.plist").find("CFBundleShortVersionString"), std::string::npos);
}

TEST_F(Impress, ShowsTheLectureWithoutTheHiddenSlide) {
    const auto deck = copyLecture(session->folder() / "shown.fodp");
    session->startBridge({"--present", deck, "--advance", "0.7"});
    ASSERT_TRUE(eventually([] { return session->bridge().errors().find("Attached") != std::string::npos; }));
    program = session->program();
    EXPECT_EQ(slidesOfShow(*program, 60), (Numbers{1, 2, 3, 4, 6, 7, 8}));
    EXPECT_EQ(poll(*program).documentFile, bus::urlFromPath(deck));
    EXPECT_TRUE(eventually([] { return session->bridge().output().ends_with("showing slide 8\nshow ended\n"); }));
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
    EXPECT_TRUE(eventually([&] { return !poll(*program).playing; }, 5));
}

TEST_F(Impress, TellsTheNumbersOfACustomShowAndPutsItsDocumentFirst) {
    const auto colours = open(writeColourDeck(session->folder()));
    const auto other = open(lecture);
    const auto show = ImpressSession::showOf(colours);
    show->start();
    ASSERT_TRUE(eventually([&] { return poll(*program).playing; }));
    for (const std::int64_t number : {7, 3, 9}) {
        EXPECT_TRUE(eventually([&] { return poll(*program).slideNumber == number; })) << number;
        EXPECT_EQ(poll(*program).documentFile, bus::urlFromPath(session->folder() / "colours & more.fodp"));
        if (number != 9) show->getController()->gotoNextSlide();
    }
    show->end();
    ASSERT_TRUE(eventually([&] { return !poll(*program).playing; }));
    colours->dispose();
    EXPECT_TRUE(eventually([&] { return poll(*program).documentFile == bus::urlFromPath(lecture); }));
}

TEST_F(Impress, WritesEveryPageUnderItsNumber) {
    const auto document = open(writeColourDeck(session->folder()));
    const auto target = session->folder() / "new" / "slide";
    const auto id = poll(*program).documentID;
    send([&] { program->export_(id, bus::urlFromPath(target) + "/", "Kimg", kExportProperties); });
    ASSERT_TRUE(eventually([&] { return namesIn(target) == imageNames(12); }, 60)) << session->bridge().errors();
    for (int number = 1; number <= 12; ++number) {
        const auto image = Image::read(target / fmt::format("slide.{:03}.jpg", number));
        ASSERT_TRUE(image) << number;
        EXPECT_EQ(image->width, 1440U);
        EXPECT_EQ(image->height, 1080U);
        EXPECT_TRUE(alike(image->at(0.5, 0.5), colourOf(number))) << number;
    }
    document->dispose();
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
        std::ofstream(copy).close();
        send([&] { program->save(id, bus::urlFromPath(copy)); });
        send([&] { program->export_(id, bus::urlFromPath(images), "Kimg", kExportProperties); });
        ASSERT_TRUE(eventually([&] { return namesIn(images) == imageNames(8); }, 60)) << session->bridge().errors();
        EXPECT_NE(contents(copy).find("mimetypeapplication/vnd.oasis.opendocument.presentation"), std::string::npos)
            << "commands are done in order, so the copy must be there before the images";
        EXPECT_EQ(modifiable->isModified() != 0, modified);
    }
    const auto state = poll(*program);
    EXPECT_EQ(state.slideNumber, 3);
    EXPECT_EQ(state.documentID, id);
    EXPECT_EQ(state.documentFile, bus::urlFromPath(lecture));
    EXPECT_EQ(contents(session->folder() / "profile/user/registrymodifications.xcu").find("copy%20"), std::string::npos)
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
    const auto folder = bus::urlFromPath(session->folder() / "refused");
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
    std::ofstream(file) << "in the way";
    send([&] { program->save(id, bus::urlFromPath(file / "copy.key")); });
    send([&] { program->export_(id, bus::urlFromPath(file / "slide"), "Kimg", kExportProperties); });
    const auto copy = session->folder() / "after.key";
    send([&] { program->save(id, bus::urlFromPath(copy)); });
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(copy); })) << session->bridge().errors();
    EXPECT_EQ(contents(file), "in the way");
}

TEST_F(Impress, StrangersWhoTellOfDeparturesAreNotBelieved) {
    const auto opener = sdbus::createSessionBusConnectionWithAddress(session->busAddress());
    const auto bridge = sdbus::createProxy(*opener, session->programNames().front(), bus::kProgramPath);
    std::string id;
    bridge->callMethod("open")
        .onInterface(bus::kProgramInterface)
        .withArguments(bus::urlFromPath(copyLecture(session->folder() / "kept.fodp")))
        .storeResultsTo(id);
    const auto stranger = sdbus::createSessionBusConnectionWithAddress(session->busAddress());
    const auto object = sdbus::createObject(*stranger, "/org/freedesktop/DBus");
    const auto tell = [&](const auto&... arguments) {
        auto signal = object->createSignal("org.freedesktop.DBus", "NameOwnerChanged");
        signal.setDestination(session->programNames().front());
        static_cast<void>((signal << ... << arguments));
        object->emitSignal(signal);
    };
    tell();
    tell(7);
    tell(std::vector<std::string>{"a"});
    tell(opener->getUniqueName(), opener->getUniqueName(), std::string());
    // Behind what a departure would have ordered for the document.
    auto text = bridge->createMethodCall(bus::kProgramInterface, "documentText");
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
        EXPECT_TRUE(eventually([] { return session->programNames().empty(); }, 5)) << "stuck: " << stuck;
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
