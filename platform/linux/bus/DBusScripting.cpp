#include "platform/linux/bus/DBusScripting.h"

#include "bus/BusConnection.h"
#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/ProgramValues.h"
#include "platform/linux/AsioDispatch.h"
#include "platform/linux/bus/ProgramCalls.h"

#include <sdbus-c++/sdbus-c++.h>
#include <sys/socket.h>
#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kDefaultTimeout{60000};
constexpr int kMostDiscarded = 1024;
constexpr std::size_t kLongestMessage = 1024;
constexpr const char* kNotRunning = "it is not running";

bool isTimeout(const sdbus::Error& error) {
    return error.getName() == "org.freedesktop.DBus.Error.Timeout" ||
           error.getName() == "org.freedesktop.DBus.Error.TimedOut";
}

ErrorPtr errorFrom(const std::string& event, const sdbus::Error& error) {
    if (isTimeout(error)) {
        return makeError(NSOSStatusErrorDomain, kAppleEventTimeout,
                         "The presentation program did not answer \"" + event + "\" in time.");
    }
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed,
                     "The presentation program could not be asked for \"" + event +
                         "\": " + bus::validUTF8(error.getMessage().substr(0, kLongestMessage)));
}

}  // namespace

/// The sockets on which events wait for their replies, so that all can be cut. Any thread.
class DBusScripting::Sockets {
public:
    /// False when the sockets have been cut: no more may be used.
    [[nodiscard]] bool add(int socket) {
        const std::lock_guard lock(mutex_);
        if (!areCut_) sockets_.insert(socket);
        return !areCut_;
    }
    /// Before the socket is closed.
    void remove(int socket) {
        const std::lock_guard lock(mutex_);
        sockets_.erase(socket);
    }
    void cut() {
        const std::lock_guard lock(mutex_);
        areCut_ = true;
        for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
    }

private:
    std::mutex mutex_;
    std::set<int> sockets_;  ///< this and what follows guarded by `mutex_`
    bool areCut_ = false;
};

/// A connection for events that wait for their replies. Throws `sdbus::Error`.
class DBusScripting::Channel {
public:
    explicit Channel(std::shared_ptr<Sockets> sockets) : sockets_(std::move(sockets)) {}
    ~Channel() { close(); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Sends one event to an owner and hands its reply to `read`. Any thread; one at a time.
    template <typename... Arguments, typename Read>
    void call(const std::string& owner, const char* interface, const char* event, std::chrono::milliseconds timeout,
              const Read& read, const Arguments&... arguments) {
        const std::lock_guard lock(mutex_);
        prepare(owner);
        try {
            auto message = proxy_->createMethodCall(interface, event);
            static_cast<void>((message << ... << arguments));
            auto reply = proxy_->callMethod(message, timeout);
            read(reply);
        } catch (const sdbus::Error&) {
            closeIfBroken();
            throw;
        }
    }

private:
    void prepare(const std::string& owner) {
        if (connection_) discardArrived();
        if (!connection_) open();
        if (owner_ == owner) return;
        proxy_ = sdbus::createProxy(*connection_, owner, bus::kProgramPath);
        owner_ = owner;
    }

    void open() {
        auto connection = bus::openSessionBus();
        const int socket = connection->getEventLoopPollData().fd;
        if (!sockets_->add(socket)) throw sdbus::Error(bus::kProgramFailed, "the capture service is ending");
        socket_ = socket;
        connection_ = std::move(connection);
        owner_.clear();
    }

    void close() {
        if (!connection_) return;
        sockets_->remove(socket_);
        proxy_.reset();
        connection_.reset();
    }

    void discardArrived() {
        try {
            for (int i = 0; i < kMostDiscarded && connection_->processPendingRequest(); ++i) {
            }
        } catch (const sdbus::Error&) {
            closeIfBroken();
        }
    }

    /// A closed connection has nothing to poll.
    void closeIfBroken() {
        try {
            static_cast<void>(connection_->getEventLoopPollData());
        } catch (const sdbus::Error&) {
            close();
        }
    }

    const std::shared_ptr<Sockets> sockets_;
    std::mutex mutex_;
    int socket_ = -1;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IProxy> proxy_;
    std::string owner_;  ///< whom the proxy calls
};

class DBusScripting::Application final : public ScriptingApplication, public std::enable_shared_from_this<Application> {
public:
    using BusName = std::function<std::optional<std::string>()>;

    Application(BusName busName, DispatchQueue& mainQueue, std::shared_ptr<ProgramCalls> calls,
                std::shared_ptr<Sockets> sockets)
        : busName_(std::move(busName)),
          mainQueue_(mainQueue),
          calls_(std::move(calls)),
          channel_(std::make_unique<Channel>(std::move(sockets))) {}

    [[nodiscard]] bool isRunning() const override { return busName_().has_value(); }

    void presentingState(StateAnswer answer) override {
        ask<PresentingState>("presentingState", &bus::presentingStateFrom, std::move(answer));
    }

    void open(const std::filesystem::path& path, DocumentAnswer answer) override {
        ask<std::string>(
            "open", &bus::identifierFrom,
            [self = shared_from_this(), answer = std::move(answer)](const std::string& id, const ErrorPtr& error) {
                answer(error ? nullptr : self->documentWithID(id));
            },
            bus::urlFromPath(path));
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) override {
        const auto id =
            askAndWait<std::string>(bus::kProgramInterface, "open", &bus::identifierFrom, bus::urlFromPath(path));
        return id ? documentWithID(*id) : nullptr;
    }

    [[nodiscard]] std::vector<ScriptingWindow> windows() override {
        using Windows = std::vector<ScriptingWindow>;
        return askAndWait<Windows>(bus::kProgramInterface, "windows", &bus::windowsFrom).value_or(Windows());
    }

    [[nodiscard]] std::optional<std::string> version() override {
        return askAndWait<std::string>(bus::kPropertiesInterface, "Get", &bus::propertyTextFrom, bus::kProgramInterface,
                                       "Version");
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) override;

    /// The name of the document and the text of its slides; empty after a failure.
    [[nodiscard]] ScriptingDocumentText text(const std::string& documentID) {
        return askAndWait<ScriptingDocumentText>(bus::kProgramInterface, "documentText", &bus::documentTextFrom,
                                                 bus::validUTF8(documentID))
            .value_or(ScriptingDocumentText());
    }

    void activate() override { command("activate"); }

    /// Sends a command, whose reply says nothing.
    template <typename... Arguments>
    void command(const char* event, Arguments... arguments) {
        const auto nothing = [](sdbus::Message&) { return true; };
        ask<bool>(
            event, nothing, [](bool, const ErrorPtr&) {}, std::move(arguments)...);
    }

    void setTimeout(std::chrono::milliseconds timeout) override {
        const std::lock_guard lock(mutex_);
        timeout_ = std::max(timeout, std::chrono::milliseconds(1));
    }

    void setDelegate(std::weak_ptr<ScriptingDelegate> delegate) override {
        const std::lock_guard lock(mutex_);
        delegate_ = std::move(delegate);
    }

private:
    /// Sends an event from the main queue, in the order of the calls. What `read` makes of the reply goes to `answer`,
    /// there too.
    template <typename Value, typename Read, typename Answer, typename... Arguments>
    void ask(const char* event, Read read, Answer answer, Arguments... arguments) {
        const auto write = [arguments...](sdbus::MethodCall& call) { static_cast<void>((call << ... << arguments)); };
        const auto hear = [self = shared_from_this(), event, read, answer = std::move(answer)](
                              sdbus::MethodReply* reply, const sdbus::Error* failure) {
            Value value{};
            ErrorPtr error;
            try {
                if (failure != nullptr) throw sdbus::Error(*failure);
                value = read(*reply);
            } catch (const sdbus::Error& problem) {
                error = errorFrom(event, problem);
            } catch (const std::exception& problem) {
                error = errorFrom(event, sdbus::Error(bus::kProgramFailed, problem.what()));
            }
            self->mainQueue_.async([self, event, answer, value = std::move(value), error] {
                if (error) self->tellFailure(event, *error);
                answer(value, error);
            });
        };
        mainQueue_.async([self = shared_from_this(), event, write, hear] { self->send(event, write, hear); });
    }

    void send(const char* event, const ProgramCalls::Write& write, const ProgramCalls::Hear& hear) const {
        const auto owner = busName_();
        if (owner) return calls_->call(*owner, bus::kProgramInterface, event, timeout(), write, hear);
        const sdbus::Error error(bus::kProgramFailed, kNotRunning);
        hear(nullptr, &error);
    }

    /// Sends an event and waits for its reply; nothing after a failure.
    template <typename Value, typename Read, typename... Arguments>
    std::optional<Value> askAndWait(const char* interface, const char* event, const Read& read,
                                    const Arguments&... arguments) {
        std::optional<Value> value;
        try {
            const auto owner = busName_();
            if (!owner) throw sdbus::Error(bus::kProgramFailed, kNotRunning);
            channel_->call(
                *owner, interface, event, timeout(), [&](sdbus::MethodReply& reply) { value = read(reply); },
                arguments...);
        } catch (const sdbus::Error& failure) {
            tellFailure(event, *errorFrom(event, failure));
        }
        return value;
    }

    void tellFailure(const char* event, const Error& error) const {
        std::unique_lock lock(mutex_);
        const auto delegate = delegate_.lock();
        lock.unlock();
        if (delegate) delegate->eventDidFail(event, error);
    }

    [[nodiscard]] std::chrono::milliseconds timeout() const {
        const std::lock_guard lock(mutex_);
        return timeout_;
    }

    const BusName busName_;
    DispatchQueue& mainQueue_;
    const std::shared_ptr<ProgramCalls> calls_;
    const std::unique_ptr<Channel> channel_;
    mutable std::mutex mutex_;
    std::chrono::milliseconds timeout_ = kDefaultTimeout;  ///< this and what follows guarded by `mutex_`
    std::weak_ptr<ScriptingDelegate> delegate_;
};

class DBusScripting::Document final : public ScriptingDocument {
public:
    Document(std::string id, std::shared_ptr<Application> application)
        : id_(std::move(id)), application_(std::move(application)) {}

    [[nodiscard]] const std::string& id() const override { return id_; }
    void save(const std::filesystem::path& target) override {
        application_->command("save", bus::validUTF8(id_), bus::urlFromPath(target));
    }
    void stop() override { application_->command("stop", bus::validUTF8(id_)); }
    void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties) override {
        application_->command("export", bus::validUTF8(id_), bus::urlFromPath(target), bus::validUTF8(formatCode),
                              bus::dictionaryFrom(properties));
    }
    [[nodiscard]] ScriptingDocumentText text() override { return application_->text(id_); }
    void close(const std::string& saveOption) override {
        application_->command("close", bus::validUTF8(id_), bus::validUTF8(saveOption));
    }

private:
    const std::string id_;
    const std::shared_ptr<Application> application_;
};

std::shared_ptr<ScriptingDocument> DBusScripting::Application::documentWithID(const std::string& id) {
    return std::make_shared<Document>(id, shared_from_this());
}

DBusScripting::DBusScripting(AsioDispatch& dispatch, BusNameOfProcess busNameOfProcess, BusNameOfBundle busNameOfBundle)
    : dispatch_(dispatch),
      busNameOfProcess_(std::move(busNameOfProcess)),
      busNameOfBundle_(std::move(busNameOfBundle)),
      sockets_(std::make_shared<Sockets>()),
      calls_(makeCalls()) {}

/// Whoever still waits for a reply would keep its connection, and that the reply.
DBusScripting::~DBusScripting() {
    const auto all = std::exchange(allCalls_, {});
    for (const auto& weak : all) {
        if (const auto calls = weak.lock()) calls->end();
    }
}

std::shared_ptr<ProgramCalls> DBusScripting::makeCalls() {
    const auto drop = [&dispatch = dispatch_](ProgramCalls* calls) {
        dispatch.dropOnMainQueue(std::shared_ptr<ProgramCalls>(calls));
    };
    std::shared_ptr<ProgramCalls> calls(new ProgramCalls(dispatch_), drop);
    const std::lock_guard lock(mutex_);
    std::erase_if(allCalls_, [](const auto& each) { return each.expired(); });
    allCalls_.push_back(calls);
    return calls;
}

std::shared_ptr<ScriptingApplication> DBusScripting::applicationForProcess(pid_t processIdentifier) {
    const auto name = [find = busNameOfProcess_, processIdentifier] { return find(processIdentifier); };
    return std::make_shared<Application>(name, dispatch_.mainQueue(), calls_, sockets_);
}

std::shared_ptr<ScriptingApplication> DBusScripting::applicationForBundleIdentifier(
    const std::string& bundleIdentifier) {
    const auto name = [find = busNameOfBundle_, bundleIdentifier] { return find(bundleIdentifier); };
    return std::make_shared<Application>(name, dispatch_.mainQueue(), makeCalls(), sockets_);
}

void DBusScripting::shutDown() {
    sockets_->cut();
}
