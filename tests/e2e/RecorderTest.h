#pragma once

#include "tests/e2e/CaptureTest.h"

#include <algorithm>
#include <csignal>
#include <map>
#include <nlohmann/json.hpp>

inline constexpr int kSlides = 10;

/// The recorder at work on a bus that starts the service, with a presentation program whose deck has ten slides.
class RecorderTest {
protected:
    using Json = nlohmann::json;
    RecorderTest() {
        program_.play("launch");
        program_.play("deck Optics file " + (home_.path() / "Optics.key").native() + " slides 10");
        program_.play("text Optics 2 title \"Light & <dark>\"");
        program_.play("text Optics 2 notes \"Look & see\"");
        program_.play("open Optics");
    }

    /// The lines of a presentation's journal, each of them complete.
    [[nodiscard]] static std::vector<Json> journalIn(const std::filesystem::path& presentation) {
        std::vector<Json> lines;
        std::istringstream text(contentsOf(presentation / "timeline.jsonl"));
        for (std::string line; std::getline(text, line);) lines.push_back(Json::parse(line));
        return lines;
    }
    [[nodiscard]] std::unique_ptr<ChildProcess> record() const {
        auto recorder = std::make_unique<ChildProcess>(
            std::vector<std::string>{KEYNOTE_CAPTURE, "record", "--to", captures_, "--json"});
        recorder->waitForLine(R"({"event":"detectedKeynoteLaunched")");
        return recorder;
    }
    /// Shows the slides one by one, each until the recorder has told it.
    void show(ChildProcess& recorder, int from, int to) {
        for (int slide = from; slide <= to; ++slide) {
            program_.play(slide == 1 ? "start" : "slide " + std::to_string(slide));
            recorder.waitForLine(R"({"event":"slideDeckPresentedSlide")");
        }
    }
    void end(ChildProcess& recorder) {
        program_.play("stop");
        recorder.waitForLine(R"({"event":"stoppedPresenting")");
        recorder.send(SIGINT);
    }
    /// What a command of the tool prints for the captures, once it has ended with that status.
    [[nodiscard]] std::string run(const std::string& command, const std::vector<std::string>& options = {},
                                  int status = 0) const {
        std::vector<std::string> words{KEYNOTE_CAPTURE, command, captures_};
        words.insert(words.end(), options.begin(), options.end());
        ChildProcess tool(words);
        EXPECT_EQ(tool.exitStatus(), status) << command << ": " << tool.complaints();
        return tool.restOfOutput();
    }
    /// The presentations in the order in which they were recorded.
    [[nodiscard]] std::vector<std::filesystem::path> presentations() const {
        std::map<std::string, std::filesystem::path> byStart;
        for (const auto& entry : std::filesystem::directory_iterator(captures_)) {
            byStart.emplace(journalIn(entry).at(0).at("received"), entry.path());
        }
        std::vector<std::filesystem::path> paths;
        for (const auto& [start, path] : byStart) paths.push_back(path);
        return paths;
    }

    const TestHome home_;
    const std::filesystem::path captures_ = home_.path() / "captures";
    const std::filesystem::path share_ = [this] {
        writeFile(home_.path() / "share/dbus-1/services/com.veldrin.KeynoteCaptureService.service",
                  "[D-BUS Service]\nName=com.veldrin.KeynoteCaptureService\nExec=" +
                      std::string(KEYNOTE_CAPTURE_SERVICE) + "\n");
        return home_.path() / "share";
    }();
    PrivateBus bus_{share_};
    ChildProcess program_{{KEYNOTE_SIMULATOR, "-", "--no-window"}};
};
