#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>
#include <chrono>

using namespace std::chrono_literals;

namespace simulation {

namespace {

/// Whoever asks for windows is answered at once and once: with those of the program that is watched for him, or with
/// nothing while there is none.
class WindowsAreTold final : public Promise {
public:
    WindowsAreTold(World& world, Story& story) : Promise(story), world_(world) {}

    void askedForWindows(const WindowQuery& query) override {
        if (query.replies.size() != 1) return object("nobody answers a question for windows");
        const auto& told = query.replies.front();
        if (told.has_value() != (query.asked != nullptr)) object("windows are told of no program, or none of one");
        if (!told || !query.asked) return;
        const auto& process = *query.asked;
        const bool isRight = query.areScriptable ? *told == (query.isConnected ? scriptable(process) : "")
                                                 : isOfTheDisplay(process, *told);
        if (!isRight)
            object("of program " + std::to_string(process.application->processIdentifier()) +
                   " these windows are told: " + *told);
    }

    void ended() override {
        for (const auto& query : world_.windowQueries()) {
            if (query->replies.size() > 1) object("a question for windows is answered twice");
        }
    }

private:
    static constexpr auto kLongestAnswer = 500ms;

    /// Nothing where the program does not answer.
    [[nodiscard]] static std::string scriptable(const Process& process) {
        const Program& program = process.program;
        std::string text;
        ErrorPtr error;
        const auto needed = program.answerTime();
        if (!program.isReached(process) || !needed || *needed > kLongestAnswer) return text;
        for (const auto& [name, bounds, index, id] : program.model.windows(error)) {
            text += fmt::format("Window Name: {}\nBounds:{{{{{}, {}}}, {{{}, {}}}}}\nIndex:{}\nID:{}\n\n", name,
                                bounds.x, bounds.y, bounds.width, bounds.height, index, id);
        }
        return text;
    }

    /// The display has a window of a program only during its show.
    [[nodiscard]] static bool isOfTheDisplay(const Process& process, const std::string& told) {
        const Program& program = process.program;
        if (!program.isReached(process) || program.model.presentedDocument() == nullptr) return told.empty();
        const auto owner = fmt::format("kCGWindowOwnerPID = {};", process.application->processIdentifier());
        return told.find(owner) != std::string::npos;
    }

    World& world_;
};

}  // namespace

std::unique_ptr<Promise> windowsAreTold(World& world, Story& story) {
    return std::make_unique<WindowsAreTold>(world, story);
}

}  // namespace simulation
