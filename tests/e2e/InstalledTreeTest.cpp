/// What other programs find of an installed tree: by the bus, by components, and as a library.

#include "tests/e2e/CaptureTest.h"

#include <map>

namespace fs = std::filesystem;

namespace {

std::string run(const std::vector<std::string>& command) {
    ChildProcess program(command);
    std::string output = program.restOfOutput();
    EXPECT_EQ(program.exitStatus(), 0) << output << program.complaints();
    return output;
}

std::set<std::string> filesBelow(const fs::path& directory) {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        if (!entry.is_directory()) files.insert(entry.path().lexically_relative(directory));
    }
    return files;
}

class InstalledTreeTest : public testing::Test {
protected:
    static void install(const fs::path& prefix, const std::vector<std::string>& options = {}) {
        std::vector<std::string> command{CMAKE, "--install", BUILD_TREE, "--prefix", prefix.string()};
        command.insert(command.end(), options.begin(), options.end());
        run(command);
    }
    /// Follows a show by the example of a host.
    void expectToRecord(const fs::path& program) const {
        ChildProcess host({"env", "LD_LIBRARY_PATH=" + library_.native(), program, home_.path() / "captures"});
        ChildProcess simulator({prefix_ / "libexec/keynote-capture/keynote-simulator", "-", "--no-window"});
        simulator.play("launch");
        host.waitForLine("program found");
        for (const auto* const command : {"open Optics slides 2", "start"}) simulator.play(command);
        for (const auto* const line : {"show of an unsaved deck", "showStarted by", "slideShown 1 by"}) {
            host.waitForLine(line);
        }
        simulator.play("stop");
        host.waitForLine("all images are there");
        EXPECT_EQ(host.exitStatus(), 0) << host.complaints();
    }

    const TestHome home_;
    const fs::path prefix_ = home_.path() / "prefix with blank";
    const fs::path library_ = prefix_ / LIBRARY_DIRECTORY;
};

TEST_F(InstalledTreeTest, RecordsByActivation) {
    install(prefix_);
    const PrivateBus bus(prefix_ / "share");
    ChildProcess recorder({prefix_ / "bin/keynote-capture", "record", "--to", home_.path() / "captures", "--json"});
    ChildProcess program({prefix_ / "libexec/keynote-capture/keynote-simulator", "-", "--no-window"});
    program.play("launch");
    recorder.waitForLine(R"({"event":"detectedKeynoteLaunched")");
    for (const auto* const command : {"open Optics slides 2", "start"}) program.play(command);
    recorder.waitForLine(R"({"event":"startedPresenting")");
    recorder.waitForLine(R"({"event":"slideDeckPresentedSlide")");
    EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(serviceProcess().value()) + "/exe"),
              prefix_ / "libexec/keynote-capture/KeynoteCaptureService");
    recorder.send(SIGINT);
    recorder.waitForComplaint("Interrupt again");
    program.play("stop");
    recorder.waitForLine(R"({"event":"stoppedPresenting")");
    EXPECT_EQ(recorder.exitStatus(), 0);
    const auto presentations = filesIn(home_.path() / "captures");
    ASSERT_EQ(presentations.size(), 1U);
    EXPECT_TRUE(isWholeImage(home_.path() / "captures" / *presentations.begin() / "slide.001.jpg"));
}

TEST_F(InstalledTreeTest, ComponentsShareItAmongThem) {
    const std::map<std::string, std::string> components = {
        {"runtime", "share/systemd/user/keynote-capture.service"},
        {"simulator", "libexec/keynote-capture/keynote-simulator"},
        {"library", LIBRARY_DIRECTORY "/libkeynote-capture.so.1"},
        {"development", LIBRARY_DIRECTORY "/pkgconfig/keynote-capture.pc"},
        {"documents", "share/doc/keynote-capture/examples/host/host.cpp"},
        {"python", "lib/python3/dist-packages/keynote_capture.py"},
        {"impress", "share/systemd/user/graphical-session.target.wants/keynote-impress.service"}};
    install(prefix_);
    const auto all = filesBelow(prefix_);
    std::size_t sum = 0;
    for (const auto& [component, file] : components) {
        if (component == "impress" && !all.contains("libexec/keynote-capture/keynote-impress")) continue;
        install(home_.path() / component, {"--component", component});
        const auto files = filesBelow(home_.path() / component);
        EXPECT_TRUE(files.contains(file)) << component << ": " << testing::PrintToString(files);
        sum += files.size();
    }
    EXPECT_EQ(sum, all.size());
}

TEST_F(InstalledTreeTest, BuildsAndServesAnotherProject) {
    install(prefix_);
    const PrivateBus bus(prefix_ / "share");
    const fs::path example = prefix_ / "share/doc/keynote-capture/examples/host";
    const fs::path build = home_.path() / "build";
    run({CMAKE, "-S", example, "-B", build, "-G", "Ninja", "-DCMAKE_PREFIX_PATH=" + prefix_.native(),
         "-DCMAKE_CXX_COMPILER=" CXX, "-DCMAKE_CXX_FLAGS=" CXX_FLAGS});
    run({CMAKE, "--build", build});
    expectToRecord(build / "host");

    run({"env", "PKG_CONFIG_PATH=" + (library_ / "pkgconfig").native(), "sh", "-c",
         "eval " CXX " " CXX_FLAGS " -std=c++20 \"'$1'\" $(pkg-config --cflags --libs keynote-capture) -o \"'$2'\"",
         "sh", example / "host.cpp", build / "by-pkg-config"});
    expectToRecord(build / "by-pkg-config");
}

}  // namespace
