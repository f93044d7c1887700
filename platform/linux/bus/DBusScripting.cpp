#include "platform/linux/bus/DBusScripting.h"

#include "bus/Connection.h"
#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/ProgramContract.h"
#include "platform/linux/bus/ProgramCalls.h"
#include "runtime/LoopDispatch.h"

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

bool isTimeout(const bus::Failure& failure) {
    return failure.name() == bus::kTimeout || failure.name() == bus::kTimedOut;
}

ErrorPtr errorFrom(const std::string& event, const bus::Failure& failure) {
    if (isTimeout(failure)) {
        return makeError(NSOSStatusErrorDomain, kAppleEventTimeout,
                         "The presentation program did not answer \"" + event + "\" in time.");
    }
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed,
                     "The presentation program could not be asked for \"" + event +
                         "\": " + bus::validUTF8(std::string_view(failure.what()).substr(0, kLongestMessage)));
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

/// A connection for events that wait for their replies.
class DBusScripting::Channel {
public:
    explicit Channel(std::shared_ptr<Sockets> sockets) : sockets_(std::move(sockets)) {}
    ~Channel() { close(); }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// Sends one event to an owner; what its reply says. Throws `bus::Failure`. Any thread; one at a time.
    template <typename Value>
    [[nodiscard]] Value call(const std::string& owner, const bus::Call<Value>& event,
                             std::chrono::milliseconds timeout) {
        const std::lock_guard lock(mutex_);
        prepare(owner);
        try {
            return program_->wait(event, timeout);
        } catch (const bus::Failure&) {
            discardArrived();
            throw;
        }
    }

private:
    void prepare(const std::string& owner) {
        if (connection_) discardArrived();
        if (!connection_) open();
        if (owner_ == owner) return;
        program_ = std::make_unique<bus::Peer>(*connection_, owner, bus::kProgramPath);
        owner_ = owner;
    }

    void open() {
        auto connection = std::make_unique<bus::Connection>();
        const int socket = connection->descriptor();
        if (!sockets_->add(socket)) throw bus::Failure(bus::kProgramFailed, "the capture service is ending");
        socket_ = socket;
        connection_ = std::move(connection);
        owner_.clear();
    }

    void close() {
        if (!connection_) return;
        sockets_->remove(socket_);
        program_.reset();
        connection_.reset();
    }

    /// Finds out, too, whether the connection broke.
    void discardArrived() {
        try {
            for (int i = 0; i < kMostDiscarded && connection_->processPending(); ++i) {
            }
        } catch (const bus::Failure&) {
            close();
        }
    }

    const std::shared_ptr<Sockets> sockets_;
    std::mutex mutex_;
    int socket_ = -1;
    std::unique_ptr<bus::Connection> connection_;
    std::unique_ptr<bus::Peer> program_;
    std::string owner_;  ///< whom `program_` calls
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
        ask<PresentingState>(bus::program::presentingState(), std::move(answer));
    }

    void open(const std::filesystem::path& path, DocumentAnswer answer) override {
        ask<std::string>(bus::program::open(path), [self = shared_from_this(), answer = std::move(answer)](
                                                       const std::string& id, const ErrorPtr& error) {
            answer(error ? nullptr : self->documentWithID(id));
        });
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) override {
        const auto id = askAndWait(bus::program::open(path));
        return id ? documentWithID(*id) : nullptr;
    }

    [[nodiscard]] std::vector<ScriptingWindow> windows() override {
        return askAndWait(bus::program::windows()).value_or(std::vector<ScriptingWindow>());
    }

    [[nodiscard]] std::optional<std::string> version() override { return askAndWait(bus::program::version()); }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) override;

    /// The name of the document and the text of its slides; empty after a failure.
    [[nodiscard]] ScriptingDocumentText text(const std::string& documentID) {
        return askAndWait(bus::program::documentText(documentID)).value_or(ScriptingDocumentText());
    }

    void activate() override { command(bus::program::activate()); }

    /// Sends a command, whose reply says nothing.
    void command(const bus::Call<>& event) {
        ask<bus::Nothing>(event, [](const bus::Nothing&, const ErrorPtr&) {});
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
    /// Sends an event from the main queue, in the order of the calls. What its reply says goes to `answer`, there too.
    template <typename Value>
    void ask(const bus::Call<Value>& event, std::function<void(const Value&, const ErrorPtr&)> answer) {
        const auto hear = [self = shared_from_this(), member = event.member, answer = std::move(answer)](
                              const bus::Failure* failure, Value value) {
            const auto error = failure == nullptr ? nullptr : errorFrom(member, *failure);
            self->mainQueue_.async([self, member, answer, value = std::move(value), error] {
                if (error) self->tellFailure(member, *error);
                answer(value, error);
            });
        };
        mainQueue_.async([self = shared_from_this(), event, hear] { self->template send<Value>(event, hear); });
    }

    template <typename Value>
    void send(const bus::Call<Value>& event, const std::function<void(const bus::Failure*, Value)>& hear) const {
        const auto owner = busName_();
        if (owner) return calls_->call(*owner, event, timeout(), hear);
        const bus::Failure failure(bus::kProgramFailed, kNotRunning);
        hear(&failure, {});
    }

    /// Sends an event and waits for its reply; nothing after a failure.
    template <typename Value>
    [[nodiscard]] std::optional<Value> askAndWait(const bus::Call<Value>& event) {
        try {
            const auto owner = busName_();
            if (!owner) throw bus::Failure(bus::kProgramFailed, kNotRunning);
            return channel_->call(*owner, event, timeout());
        } catch (const bus::Failure& failure) {
            tellFailure(event.member, *errorFrom(event.member, failure));
            return std::nullopt;
        }
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
    void save(const std::filesystem::path& target) override { application_->command(bus::program::save(id_, target)); }
    void stop() override { application_->command(bus::program::stop(id_)); }
    void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties) override {
        application_->command(bus::program::exportTo(id_, target, formatCode, properties));
    }
    [[nodiscard]] ScriptingDocumentText text() override { return application_->text(id_); }
    void close(const std::string& saveOption) override { application_->command(bus::program::close(id_, saveOption)); }

private:
    const std::string id_;
    const std::shared_ptr<Application> application_;
};

std::shared_ptr<ScriptingDocument> DBusScripting::Application::documentWithID(const std::string& id) {
    return std::make_shared<Document>(id, shared_from_this());
}

DBusScripting::DBusScripting(runtime::LoopDispatch& dispatch, BusNameOfProcess busNameOfProcess,
                             BusNameOfBundle busNameOfBundle)
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
        dispatch.mainQueue().drop(std::shared_ptr<ProgramCalls>(calls));
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
