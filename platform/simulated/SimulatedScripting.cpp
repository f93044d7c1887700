#include "platform/simulated/SimulatedScripting.h"

#include <fmt/format.h>
#include <algorithm>

namespace simulated {
namespace {

/// " key=value" for each, in the order of the keys.
std::string textOf(const ExportProperties& properties) {
    std::string text;
    for (const auto& [key, value] : properties) {
        std::visit([&, name = key](const auto& plain) { text += fmt::format(" {}={}", name, plain); }, value);
    }
    return text;
}

}  // namespace

class SimulatedScripting::Application final : public ScriptingApplication,
                                              public std::enable_shared_from_this<Application> {
public:
    using Event = std::function<ErrorPtr(presenters::PresentationProgramModel&)>;

    /// Without a process identifier the application that appeared last is meant.
    Application(SimulatedScripting& scripting, std::optional<pid_t> pid) : scripting_(scripting), pid_(pid) {}

    [[nodiscard]] bool isRunning() const override { return scripting_.model(pid_) != nullptr; }

    void presentingState(StateAnswer answer) override {
        PresentingState state;
        const auto outcome =
            deliver("presentingState", {}, taking(state, &presenters::PresentationProgramModel::presentingState));
        later(outcome, [state, answer = std::move(answer)](const ErrorPtr& error) { answer(state, error); });
    }

    [[nodiscard]] std::vector<ScriptingWindow> windows() override {
        std::vector<ScriptingWindow> result;
        static_cast<void>(sendAndWait("windows", {}, taking(result, &presenters::PresentationProgramModel::windows)));
        return result;
    }

    [[nodiscard]] std::optional<std::string> version() override {
        std::string result;
        if (sendAndWait("version", {}, taking(result, &presenters::PresentationProgramModel::version)))
            return std::nullopt;
        return result;
    }

    void activate() override { send("activate", {}, std::mem_fn(&presenters::PresentationProgramModel::activate)); }

    void open(const std::filesystem::path& path, DocumentAnswer answer) override {
        std::string id;
        const auto outcome = deliver("open", path, opening(path, id));
        later(outcome, [self = shared_from_this(), id, answer = std::move(answer)](const ErrorPtr& error) {
            answer(error ? nullptr : self->documentWithID(id));
        });
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) override {
        std::string id;
        return sendAndWait("open", path, opening(path, id)) ? nullptr : documentWithID(id);
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) override;
    void setTimeout(std::chrono::milliseconds timeout) override { timeout_ = timeout; }
    void setDelegate(std::weak_ptr<ScriptingDelegate> delegate) override { delegate_ = std::move(delegate); }

    void send(const std::string& name, const std::string& argument, const Event& event) {
        later(deliver(name, argument, event), [](const ErrorPtr&) {});
    }

    [[nodiscard]] ErrorPtr sendAndWait(const std::string& name, const std::string& argument, const Event& event) {
        const auto outcome = deliver(name, argument, event);
        // Who waits holds up the whole platform, as only one thread runs it.
        scripting_.dispatch_.stall(outcome.wait);
        tellFailure(outcome);
        return outcome.error;
    }

    /// The event that asks the model a question and keeps its answer.
    template <typename Value, typename Question>
    [[nodiscard]] static Event taking(Value& value, Question question) {
        return [&value, question = std::move(question)](presenters::PresentationProgramModel& model) {
            ErrorPtr error;
            value = std::invoke(question, model, error);
            return error;
        };
    }

private:
    struct Outcome {
        std::string event;
        ErrorPtr error{};
        Duration wait{};  ///< until the caller hears of it
    };

    [[nodiscard]] static Event opening(const std::filesystem::path& path, std::string& id) {
        return taking(id, [path](auto& model, ErrorPtr& error) { return model.open(path, error); });
    }

    /// What becomes of the event. A model that does not answer in time does nothing, either.
    [[nodiscard]] Outcome deliver(const std::string& name, const std::string& argument, const Event& event) {
        ++scripting_.eventsSent_;
        if (scripting_.eventObserver) scripting_.eventObserver(argument.empty() ? name : name + " " + argument);
        presenters::PresentationProgramModel* const model = scripting_.model(pid_);
        if (model == nullptr) {
            return {name, notRunning()};
        }
        const auto& faults = model->faults();
        const Duration needed = faults.neverAnswers ? Duration::max() : faults.answersLate.value_or(Duration::zero());
        if (needed <= timeout_) return {name, event(*model), needed};
        return {name, makeError(NSOSStatusErrorDomain, kAppleEventTimeout, "The reply took too long."), timeout_};
    }

    /// Tells of the outcome on the main queue, when the model answers or the time-out has passed.
    void later(const Outcome& outcome, std::function<void(const ErrorPtr&)> tell) {
        scripting_.dispatch_.mainQueue().after(
            outcome.wait, [self = shared_from_this(), outcome = outcome, tell = std::move(tell)]() mutable {
                // A program that has gone meanwhile answers nothing any more.
                if (!outcome.error && !self->isRunning()) outcome.error = notRunning();
                self->tellFailure(outcome);
                tell(outcome.error);
            });
    }

    [[nodiscard]] static ErrorPtr notRunning() {
        return makeError(NSOSStatusErrorDomain, kAppleEventFailed, "The application is not running.");
    }

    void tellFailure(const Outcome& outcome) const {
        const auto delegate = outcome.error ? delegate_.lock() : nullptr;
        if (delegate) delegate->eventDidFail(outcome.event, *outcome.error);
    }

    SimulatedScripting& scripting_;
    const std::optional<pid_t> pid_;
    std::chrono::milliseconds timeout_{60'000};
    std::weak_ptr<ScriptingDelegate> delegate_;
};

class SimulatedScripting::Document final : public ScriptingDocument {
public:
    Document(std::shared_ptr<Application> application, std::string id)
        : application_(std::move(application)), id_(std::move(id)) {}

    [[nodiscard]] const std::string& id() const override { return id_; }
    void save(const std::filesystem::path& target) override {
        send("save", target.native(), [&](auto& model) { return model.save(id_, target); });
    }
    void stop() override {
        send("stop", {}, [&](auto& model) { return model.stop(id_); });
    }
    void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties) override {
        send("export", target.native() + " " + formatCode + textOf(properties),
             [&](auto& model) { return model.exportTo(id_, target, formatCode, properties); });
    }
    void close(const std::string& saveOption) override {
        send("close", saveOption, [&](auto& model) { return model.close(id_, saveOption); });
    }
    [[nodiscard]] ScriptingDocumentText text() override {
        ScriptingDocumentText result;
        const auto ask = [this](auto& model, ErrorPtr& error) { return model.text(id_, error); };
        static_cast<void>(application_->sendAndWait("text", id_, Application::taking(result, ask)));
        return result;
    }

private:
    void send(const std::string& name, const std::string& arguments, const Application::Event& event) {
        application_->send(name, arguments.empty() ? id_ : id_ + " " + arguments, event);
    }

    const std::shared_ptr<Application> application_;
    const std::string id_;
};

std::shared_ptr<ScriptingDocument> SimulatedScripting::Application::documentWithID(const std::string& id) {
    return std::make_shared<Document>(shared_from_this(), id);
}

std::shared_ptr<ScriptingApplication> SimulatedScripting::applicationForProcess(pid_t processIdentifier) {
    return std::make_shared<Application>(*this, processIdentifier);
}

std::shared_ptr<ScriptingApplication> SimulatedScripting::applicationForBundleIdentifier(
    const std::string& /*bundleIdentifier*/) {
    return std::make_shared<Application>(*this, std::nullopt);
}

presenters::PresentationProgramModel* SimulatedScripting::model(std::optional<pid_t> pid) const {
    // From the back: of several the one that appeared last is meant.
    const auto found = std::find_if(models_.rbegin(), models_.rend(),
                                    [pid](const auto& attached) { return !pid || attached.first == *pid; });
    return found == models_.rend() ? nullptr : found->second;
}

}  // namespace simulated
