#include "platform/linux/bus/DBusScripting.h"

#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/ProgramContract.h"
#include "platform/linux/bus/ProgramCalls.h"

#include <algorithm>
#include <future>
#include <mutex>
#include <utility>

namespace bus {
namespace {

constexpr std::chrono::milliseconds kDefaultTimeout{60000};
/// The program writes the sentence, and it goes into the log.
constexpr std::size_t kLongestMessage = 1024;
const Failure kNotRunning(kProgramFailed, "it is not running");

bool isTimeout(const Failure& failure) {
    return failure.name() == kTimeout || failure.name() == kTimedOut;
}

ErrorPtr errorFrom(const std::string& event, const Failure& failure) {
    if (isTimeout(failure)) {
        return makeError(NSOSStatusErrorDomain, kAppleEventTimeout,
                         "The presentation program did not answer \"" + event + "\" in time.");
    }
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed,
                     "The presentation program could not be asked for \"" + event +
                         "\": " + validUTF8(std::string_view(failure.what()).substr(0, kLongestMessage)));
}

}  // namespace

class DBusScripting::Application final : public ScriptingApplication, public std::enable_shared_from_this<Application> {
public:
    using BusName = std::function<std::optional<std::string>()>;

    Application(BusName busName, std::shared_ptr<ProgramCalls> calls, std::shared_ptr<ProgramCalls> awaitedCalls)
        : busName_(std::move(busName)), calls_(std::move(calls)), awaitedCalls_(std::move(awaitedCalls)) {}

    [[nodiscard]] bool isRunning() const override { return busName_().has_value(); }

    void presentingState(StateAnswer answer) override {
        ask<PresentingState>(program::presentingState(), std::move(answer));
    }

    void open(const std::filesystem::path& path, DocumentAnswer answer) override {
        ask<std::string>(program::open(path), [self = shared_from_this(), answer = std::move(answer)](
                                                  const std::string& id, const ErrorPtr& error) {
            answer(error ? nullptr : self->documentWithID(id));
        });
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) override {
        const auto id = askAndWait(program::open(path));
        return id ? documentWithID(*id) : nullptr;
    }

    [[nodiscard]] std::vector<ScriptingWindow> windows() override {
        return askAndWait(program::windows()).value_or(std::vector<ScriptingWindow>());
    }

    [[nodiscard]] std::optional<std::string> version() override { return askAndWait(program::version()); }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) override;

    /// The name of the document and the text of its slides; empty after a failure.
    [[nodiscard]] ScriptingDocumentText text(const std::string& documentID) {
        return askAndWait(program::documentText(documentID)).value_or(ScriptingDocumentText());
    }

    void activate() override { command(program::activate()); }

    /// Sends a command, whose reply says nothing.
    void command(const Call<>& event) {
        ask<Nothing>(event, [](const Nothing&, const ErrorPtr&) {});
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
    void ask(const Call<Value>& event, std::function<void(const Value&, const ErrorPtr&)> answer) {
        // The queue rather than the caller's thread, so that events leave in the order in which they are decided.
        auto& mainQueue = calls_->loop();
        const auto hear = [self = shared_from_this(), &mainQueue, member = event.member, answer = std::move(answer)](
                              const Failure* failure, Value value) {
            const auto error = failure == nullptr ? nullptr : errorFrom(member, *failure);
            mainQueue.async([self, member, answer, value = std::move(value), error] {
                if (error) self->tellFailure(member, *error);
                answer(value, error);
            });
        };
        mainQueue.async([self = shared_from_this(), event, hear] { self->send<Value>(*self->calls_, event, hear); });
    }

    template <typename Value>
    void send(ProgramCalls& calls, const Call<Value>& event,
              const std::function<void(const Failure*, Value)>& hear) const {
        const auto owner = busName_();
        owner ? calls.call(*owner, event, timeout(), hear) : hear(&kNotRunning, {});
    }

    /// Sends an event and waits for its reply; nothing after a failure.
    template <typename Value>
    [[nodiscard]] std::optional<Value> askAndWait(const Call<Value>& event) {
        const auto outcome = std::make_shared<std::promise<Value>>();
        const auto hear = [outcome](const Failure* failure, Value value) {
            if (failure == nullptr) return outcome->set_value(std::move(value));
            outcome->set_exception(std::make_exception_ptr(*failure));
        };
        awaitedCalls_->loop().async(
            [self = shared_from_this(), event, hear] { self->send<Value>(*self->awaitedCalls_, event, hear); });
        try {
            return outcome->get_future().get();
        } catch (const Failure& failure) {
            tellFailure(event.member, *errorFrom(event.member, failure));
            return std::nullopt;
        }
    }

    void tellFailure(const char* event, const Error& error) const {
        std::unique_lock lock(mutex_);
        const auto delegate = delegate_.lock();
        // The delegate may come back for something else.
        lock.unlock();
        if (delegate) delegate->eventDidFail(event, error);
    }

    [[nodiscard]] std::chrono::milliseconds timeout() const {
        const std::lock_guard lock(mutex_);
        return timeout_;
    }

    const BusName busName_;
    const std::shared_ptr<ProgramCalls> calls_;
    const std::shared_ptr<ProgramCalls> awaitedCalls_;
    mutable std::mutex mutex_;
    std::chrono::milliseconds timeout_ = kDefaultTimeout;  ///< this and what follows guarded by `mutex_`
    std::weak_ptr<ScriptingDelegate> delegate_;
};

class DBusScripting::Document final : public ScriptingDocument {
public:
    Document(std::string id, std::shared_ptr<Application> application)
        : id_(std::move(id)), application_(std::move(application)) {}

    [[nodiscard]] const std::string& id() const override { return id_; }
    void save(const std::filesystem::path& target) override { application_->command(program::save(id_, target)); }
    void stop() override { application_->command(program::stop(id_)); }
    void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties) override {
        application_->command(program::exportTo(id_, target, formatCode, properties));
    }
    [[nodiscard]] ScriptingDocumentText text() override { return application_->text(id_); }
    void close(const std::string& saveOption) override { application_->command(program::close(id_, saveOption)); }

private:
    const std::string id_;
    const std::shared_ptr<Application> application_;
};

std::shared_ptr<ScriptingDocument> DBusScripting::Application::documentWithID(const std::string& id) {
    return std::make_shared<Document>(id, shared_from_this());
}

DBusScripting::DBusScripting(runtime::Loop& mainQueue, BusNameOfProcess busNameOfProcess,
                             BusNameOfBundle busNameOfBundle)
    : mainQueue_(mainQueue),
      busNameOfProcess_(std::move(busNameOfProcess)),
      busNameOfBundle_(std::move(busNameOfBundle)),
      calls_(makeCalls(mainQueue)) {}

/// Whoever still waits for a reply would keep its connection, and that the reply.
DBusScripting::~DBusScripting() {
    // Those of the other thread may be ended here once it has ended.
    waiting_.stop();
    for (const auto& calls : allCalls()) calls->end();
}

std::shared_ptr<ProgramCalls> DBusScripting::makeCalls(runtime::Loop& loop) {
    // A task that the main queue has not come to may own an application longer than this object lives.
    const auto drop = [drop = loop.dropper()](ProgramCalls* calls) { drop(std::shared_ptr<ProgramCalls>(calls)); };
    std::shared_ptr<ProgramCalls> calls(new ProgramCalls(loop), drop);
    const std::lock_guard lock(mutex_);
    std::erase_if(allCalls_, [](const auto& each) { return each.expired(); });
    allCalls_.push_back(calls);
    // Nobody else has these calls yet, so they can be ended on this thread.
    if (isShutDown_ && &loop != &mainQueue_) calls->end();
    return calls;
}

std::vector<std::shared_ptr<ProgramCalls>> DBusScripting::allCalls() {
    const std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<ProgramCalls>> all;
    for (const auto& weak : allCalls_) {
        if (auto calls = weak.lock()) all.push_back(std::move(calls));
    }
    return all;
}

std::shared_ptr<ScriptingApplication> DBusScripting::applicationForProcess(pid_t processIdentifier) {
    const auto name = [find = busNameOfProcess_, processIdentifier] { return find(processIdentifier); };
    return std::make_shared<Application>(name, calls_, makeCalls(waiting_.loop()));
}

std::shared_ptr<ScriptingApplication> DBusScripting::applicationForBundleIdentifier(
    const std::string& bundleIdentifier) {
    const auto name = [find = busNameOfBundle_, bundleIdentifier] { return find(bundleIdentifier); };
    return std::make_shared<Application>(name, makeCalls(mainQueue_), makeCalls(waiting_.loop()));
}

void DBusScripting::shutDown() {
    isShutDown_ = true;
    for (const auto& calls : allCalls()) {
        if (&calls->loop() != &mainQueue_) calls->loop().async([calls] { calls->end(); });
    }
}

}  // namespace bus
