#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Deadline.h"
#include "tests/support/Image.h"
#include "tests/support/TemporaryDirectory.h"

#include <bus/PresentationProgramProxy.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>

using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

const std::vector<std::string> kSimulator{KEYNOTE_SIMULATOR, "-", "--no-window"};
constexpr const char* kInterface = "com.veldrin.PresentationProgram";

/// Turns the connection's loop until the condition holds.
bool turnUntil(sdbus::IConnection& connection, const std::function<bool()>& condition) {
    return eventually([&] {
        while (bus::processOne(connection)) {
        }
        return condition();
    });
}

/// What a capture service does: the generated glue, so that the process is held to the contract.
class Client : public sdbus::ProxyInterfaces<com::veldrin::PresentationProgram_proxy, sdbus::Properties_proxy> {
public:
    Client(sdbus::IConnection& connection, pid_t pid)
        : ProxyInterfaces(connection, bus::ServiceName(fmt::format("com.apple.iWork.Keynote.instance{}", pid)),
                          sdbus::ObjectPath(bus::kProgramPath)) {
        registerProxy();
    }
    virtual ~Client() { unregisterProxy(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    using Properties = std::map<bus::MemberName, sdbus::Variant>;
    Properties announced;

private:
    void onPropertiesChanged(const bus::InterfaceName& interface, const Properties& changed,
                             const std::vector<bus::MemberName>& /*invalidated*/) override {
        if (interface == kInterface) announced = changed;
    }
};

std::string nameOfError(const std::function<void()>& call) {
    try {
        call();
        return "none";
    } catch (const sdbus::Error& error) {
        return error.getName();
    }
}

class SimulatorProcessTest : public testing::Test {
protected:
    std::string url(const char* name) { return urlFromPath(directory.path / name); }

    void exportImages(Client& client, const char* target) {
        client.export_("document-1", url(target), "Kimg",
                       {{"compressionFactor", sdbus::Variant(0.8)},
                        {"imageFormat", sdbus::Variant("Kifj")},
                        {"allStages", sdbus::Variant(false)}});
    }

    TemporaryDirectory directory;
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
};

TEST_F(SimulatorProcessTest, AnswersWhatACaptureServiceAsks) {
    ChildProcess simulator(kSimulator);
    Client client(*connection, simulator.pid());
    simulator.play("print ready");
    EXPECT_EQ(nameOfError([&] { client.presentingState(); }), "org.freedesktop.DBus.Error.ServiceUnknown");
    simulator.play("launch");
    EXPECT_EQ(client.presentingState().size(), 1U);  // playing alone
    EXPECT_EQ(client.ProcessIdentifier(), static_cast<std::uint32_t>(simulator.pid()));
    EXPECT_EQ(client.BundleIdentifier(), "com.apple.iWork.Keynote");
    const auto bundle = pathFromURL(client.BundleURL());
    ASSERT_TRUE(bundle);
    EXPECT_TRUE(fs::exists(*bundle / "Contents/Info.plist")) << *bundle;

    simulator.play("open \"Übung 1\" slides 4 hidden 2 file \"/decks/Übung 1.key\"");
    simulator.play("start");
    simulator.play("next");
    auto state = client.presentingState();
    EXPECT_TRUE(state.at("playing").get<bool>());
    EXPECT_EQ(state.at("slideNumber").get<std::int64_t>(), 3);
    EXPECT_EQ(state.at("documentFile").get<std::string>(), "file:///decks/%C3%9Cbung%201.key");
    EXPECT_EQ(std::string(state.at("visits").peekValueType()), "a(xxxx)");
    const auto windows = client.windows();
    ASSERT_EQ(windows.size(), 2U);
    EXPECT_EQ(windows[0].get<0>(), "Übung 1");
    EXPECT_EQ(windows[0].get<1>().get<2>(), 1440);

    simulator.play("fault lacks-playing");
    EXPECT_FALSE(client.presentingState().contains("playing"));
    simulator.play("heal");
    client.stop(state.at("documentID").get<std::string>());
    EXPECT_FALSE(client.presentingState().at("playing").get<bool>());
    EXPECT_EQ(nameOfError([&] { client.stop("document-1"); }), bus::kProgramFailed);
    EXPECT_EQ(nameOfError([&] { client.save("document-1", "/no/url"); }), bus::kProgramFailed);

    simulator.play("pid 4711");
    EXPECT_TRUE(
        turnUntil(*connection, [&] { return client.announced.contains(bus::MemberName("ProcessIdentifier")); }));
    EXPECT_EQ(client.ProcessIdentifier(), 4711U);
    simulator.play("quit");
    EXPECT_EQ(nameOfError([&] { client.presentingState(); }), "org.freedesktop.DBus.Error.ServiceUnknown");
    simulator.play("launch");
    EXPECT_EQ(client.presentingState().size(), 1U);
    simulator.closeInput();
    EXPECT_EQ(simulator.exitStatus(), 0);
    EXPECT_EQ(simulator.complaints(), "");
}

TEST_F(SimulatorProcessTest, WritesTheArchiveAndImagesThatDecode) {
    ChildProcess simulator(kSimulator);
    Client client(*connection, simulator.pid());
    simulator.play("launch");
    simulator.play("open Optics slides 3");
    simulator.play("start");
    client.save("document-1", url("deck.key"));
    exportImages(client, "new/slide");
    simulator.play("wait-for export");
    EXPECT_GT(fs::file_size(directory.path / "deck.key"), 0U);
    std::set<std::string> contents;
    for (const char* const name : {"slide.001.jpg", "slide.002.jpg", "slide.003.jpg"}) {
        const auto path = directory.path / "new/slide" / name;
        const auto image = Image::read(path);
        ASSERT_TRUE(image) << name;
        EXPECT_EQ(image->width, 1440U);
        EXPECT_EQ(image->height, 810U);
        contents.insert(contentsOf(path));
    }
    EXPECT_EQ(contents.size(), 3U) << "two slides look the same";
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path / "new/slide"), {}), 3);
}

TEST_F(SimulatorProcessTest, OpensReadsAndClosesDecksForItsCallers) {
    ChildProcess simulator(kSimulator);
    Client client(*connection, simulator.pid());
    simulator.play("launch");
    simulator.play(fmt::format("deck Optics file {} slides 3 hidden 2", (directory.path / "optics.key").string()));
    simulator.play("text Optics 3 title Light");
    simulator.play("text Optics 3 item \"a\\nb\"");
    simulator.play("text Optics 3 table Points \"Name|Points\" \"Ada L|5\"");
    const auto id = client.open(url("optics.key"));
    EXPECT_EQ(client.slideNumbers(id), (std::vector<std::int64_t>{1, 2, 3}));
    const auto [name, slides] = client.documentText(id);
    EXPECT_EQ(name, "Optics");
    EXPECT_TRUE(slides.at(1).get<1>());
    EXPECT_EQ(slides.at(2).get<2>(), "Light");
    EXPECT_EQ(slides.at(2).get<5>(), std::vector<std::string>{"a\nb"});
    EXPECT_EQ(slides.at(2).get<6>().at(0).get<1>(),
              (std::vector<std::vector<std::string>>{{"Name", "Points"}, {"Ada L", "5"}}));

    writeFile(directory.path / "old.pptx", "deck");
    writeFile(directory.path / "notes.txt", "text");
    for (const char* const good : {"old.pptx", "new.key"})
        EXPECT_EQ(client.slideNumbers(client.open(url(good))).size(), 1U);
    for (const char* const bad : {"notes.txt", "."}) {
        EXPECT_EQ(nameOfError([&] { client.open(url(bad)); }), bus::kProgramFailed) << bad;
    }

    simulator.play("open Lecture file " + (directory.path / "lecture.key").string());
    const auto inWindow = client.open(url("lecture.key"));
    client.close(inWindow, "ask ");
    EXPECT_EQ(client.slideNumbers(inWindow).size(), 1U) << "its user has it open";

    auto second = sdbus::createSessionBusConnection();
    auto other = std::make_unique<Client>(*second, simulator.pid());
    EXPECT_EQ(other->open(url("optics.key")), id);
    client.close(id, "no  ");
    EXPECT_EQ(other->slideNumbers(id).size(), 3U) << "the other has it open";
    other.reset();
    second.reset();
    EXPECT_TRUE(turnUntil(*connection, [&] { return nameOfError([&] { client.slideNumbers(id); }) != "none"; }))
        << "closed for a caller that has left";
}

TEST_F(SimulatorProcessTest, AnAnswerThatCannotBeSentIsARefusal) {
    ChildProcess simulator(kSimulator);
    Client client(*connection, simulator.pid());
    simulator.play("launch");
    const auto id = client.open(url("\xFF.key"));
    writeFile(directory.path / "\xFF.txt", "text");
    for (const char* const fault : {"heal", "fault answers-late 0.01"}) {
        simulator.play(fault);
        EXPECT_EQ(nameOfError([&] { client.documentText(id); }), bus::kProgramFailed) << fault;
        EXPECT_EQ(nameOfError([&] { client.open(url("\xFF.txt")); }), bus::kProgramFailed) << fault;
    }
    EXPECT_EQ(client.slideNumbers(id).size(), 1U);
}

TEST_F(SimulatorProcessTest, BadScriptsEndItBeforeAnythingHappens) {
    const auto script = directory.path / "bad.simulation";
    writeFile(script, "launch\n\n# fine\nopen\nlunch\n");
    ChildProcess file({KEYNOTE_SIMULATOR, script.string(), "--no-window"});
    EXPECT_EQ(file.exitStatus(), 2);
    EXPECT_EQ(file.complaints(), fmt::format("keynote-simulator: {}:4: open: the name is missing. Usage: open NAME "
                                             "[slides N] [hidden N,N] [file PATH]\n",
                                             script.string()));
    EXPECT_THROW(file.waitForLine("ok"), std::runtime_error);

    ChildProcess input(kSimulator);
    input.play("launch");
    input.writeLine("slide one");
    EXPECT_EQ(input.exitStatus(), 2);
    EXPECT_EQ(input.complaints().find("keynote-simulator: standard input:2: slide: the slide must be"), 0U);

    ChildProcess missing({KEYNOTE_SIMULATOR, (directory.path / "none").string()});
    EXPECT_EQ(missing.exitStatus(), 2);
    ChildProcess version({KEYNOTE_SIMULATOR, "--version"});
    EXPECT_EQ(version.exitStatus(), 0);
    ChildProcess stopped({KEYNOTE_SIMULATOR, "-", "--no-window"});
    stopped.writeLine("next");
    EXPECT_EQ(stopped.exitStatus(), 1);
}

TEST_F(SimulatorProcessTest, TheShippedLectureIsAGoodScript) {
    ChildProcess simulator({KEYNOTE_SIMULATOR, LECTURE, "--no-window"});
    simulator.waitForLine("ok start");
    Client client(*connection, simulator.pid());
    EXPECT_TRUE(client.presentingState().at("playing").get<bool>());
}

}  // namespace
