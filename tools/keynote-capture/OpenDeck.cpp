#include "tools/keynote-capture/OpenDeck.h"

#include "bus/Names.h"
#include "bus/ProgramContract.h"
#include "commandline/Translation.h"
#include "platform/linux/StandardErrorLog.h"
#include "platform/linux/bus/DBusWorkspace.h"
#include "ports/CaptureNames.h"
#include "ports/Scripting.h"
#include "runtime/LoopDispatch.h"

#include <utility>

namespace keynote_capture {
namespace {

constexpr const char* kNoneStarted =
    translatable("No presentation program runs, and none could be started; start it, then try again.");
/// As long as the capture service waits for a deck to be opened.
constexpr std::chrono::minutes kTimeout{1};

ErrorPtr failed(const std::string& sentence) {
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed, sentence);
}

ErrorPtr failed(const bus::Failure& failure) {
    const std::string sentence = failure.what();
    if (failure.name() == bus::kProgramFailed) return failed(sentence);
    return failed(translated("The presentation program did not open the deck; try again. ({})", sentence));
}

}  // namespace

class OpenDeck::Program {
public:
    Program(const std::filesystem::path& deck, Answer answer) : answer_(std::move(answer)) {
        std::string problem;
        bus_ = bus::SessionBus::open(problem);
        if (!bus_) {
            answer_({}, failed(translated("The session bus cannot be reached; run this inside a login session.")));
            return;
        }
        workspace_ = std::make_unique<bus::DBusWorkspace>(bus_, dispatch_.mainQueue(),
                                                          std::vector<std::string>{kKeynoteBundleIdentifier});
        bus_->start([] {});
        workspace_->findStarted(kKeynoteBundleIdentifier, [this, deck](const auto& owner) { open(deck, owner); });
    }
    ~Program() {
        if (bus_) bus_->stop();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

private:
    void open(const std::filesystem::path& deck, const std::optional<std::string>& owner) {
        if (!owner) return answer_({}, failed(translation(kNoneStarted)));
        try {
            program_ = std::make_unique<bus::Peer>(bus_->connection(), *owner, bus::kProgramPath);
            program_->ask<std::string>(bus::program::open(deck), kTimeout,
                                       [this](const bus::Failure* failure, const std::string& id) {
                                           if (failure != nullptr) return answer_({}, failed(*failure));
                                           askForSlides(id);
                                       });
        } catch (const bus::Failure& failure) {
            answer_({}, failed(failure));
        }
    }

    void askForSlides(const std::string& id) {
        using Numbers = std::vector<std::int64_t>;
        program_->ask<Numbers>(bus::program::slideNumbers(id), kTimeout,
                               [this](const bus::Failure* failure, const Numbers& slides) {
                                   answer_(slides, failure != nullptr ? failed(*failure) : nullptr);
                               });
    }

    const Answer answer_;
    StandardErrorLog log_;
    runtime::LoopDispatch dispatch_{log_};
    std::shared_ptr<bus::SessionBus> bus_;
    std::unique_ptr<bus::DBusWorkspace> workspace_;
    std::unique_ptr<bus::Peer> program_;
};

OpenDeck::OpenDeck(const std::filesystem::path& deck, Answer answer)
    : program_(std::make_unique<Program>(deck, std::move(answer))) {}

OpenDeck::~OpenDeck() = default;

}  // namespace keynote_capture
