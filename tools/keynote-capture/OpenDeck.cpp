#include "tools/keynote-capture/OpenDeck.h"

#include "bus/BusConnection.h"
#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/PresentationProgramProxy.h"
#include "platform/linux/AsioDispatch.h"
#include "platform/linux/StandardErrorLog.h"
#include "platform/linux/bus/DBusWorkspace.h"
#include "ports/Scripting.h"

#include <thread>
#include <utility>

namespace {

constexpr const char* kProgram = "com.apple.iWork.Keynote";
constexpr const char* kInterface = com::veldrin::PresentationProgram_proxy::INTERFACE_NAME;
constexpr const char* kNoProgram = "No presentation program runs, and none could be started; start it, then try again.";
/// As long as the capture service waits for a deck to be opened.
constexpr std::chrono::minutes kTimeout{1};

ErrorPtr failed(const std::string& sentence) {
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed, sentence);
}

ErrorPtr failed(const sdbus::Error& error) {
    if (error.getName() == bus::kProgramFailed) return failed(error.getMessage());
    return failed("The presentation program did not open the deck; try again. (" + error.getMessage() + ")");
}

}  // namespace

class OpenDeck::Program {
public:
    Program(const std::filesystem::path& deck, Answer answer) : answer_(std::move(answer)) {
        bus_ = SessionBus::open(problem_);
        if (!bus_) {
            answer_({}, failed(problem_));
            return;
        }
        workspace_ = std::make_unique<DBusWorkspace>(bus_, dispatch_.mainQueue(), std::vector<std::string>{kProgram});
        bus_->start([] {});
        thread_ = std::thread([this, deck] { open(deck); });
    }
    ~Program() {
        if (!bus_) return;
        workspace_->shutDown();
        thread_.join();
        loop_.reset();
        bus_->stop();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

private:
    void open(const std::filesystem::path& deck) {
        const auto program = workspace_->busNameOfStartedBundle(kProgram);
        if (!program) return answer_({}, failed(kNoProgram));
        try {
            connection_ = bus::openSessionBus();
            proxy_ = sdbus::createProxy(*connection_, *program, bus::kProgramPath);
            loop_ = std::make_unique<bus::EventLoopThread>(*connection_, [] {});
            proxy_->callMethodAsync("open")
                .onInterface(kInterface)
                .withTimeout(kTimeout)
                .withArguments(bus::urlFromPath(deck))
                .uponReplyInvoke([this](const sdbus::Error* error, const std::string& id) {
                    if (error != nullptr) return answer_({}, failed(*error));
                    askForSlides(id);
                });
        } catch (const sdbus::Error& error) {
            answer_({}, failed(error));
        }
    }

    void askForSlides(const std::string& id) {
        proxy_->callMethodAsync("slideNumbers")
            .onInterface(kInterface)
            .withTimeout(kTimeout)
            .withArguments(id)
            .uponReplyInvoke([this](const sdbus::Error* error, const std::vector<std::int64_t>& slides) {
                answer_(slides, error != nullptr ? failed(*error) : nullptr);
            });
    }

    const Answer answer_;
    std::string problem_;
    StandardErrorLog log_;
    AsioDispatch dispatch_{log_};
    std::shared_ptr<SessionBus> bus_;
    std::unique_ptr<DBusWorkspace> workspace_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    std::thread thread_;
    std::unique_ptr<bus::EventLoopThread> loop_;
};

OpenDeck::OpenDeck(const std::filesystem::path& deck, Answer answer)
    : program_(std::make_unique<Program>(deck, std::move(answer))) {}

OpenDeck::~OpenDeck() = default;
