#include "platform/simulated/SimulatedScripting.h"

#include <fmt/format.h>
#include <algorithm>
#include <functional>
#include <utility>

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
    using Event = std::function<ErrorPtr(PresentationProgramModel&)>;

    /// Without a process identifier the application that appeared last is meant.
    Application(SimulatedScripting& scripting, std::optional<pid_t> pid) : scripting_(scripting), pid_(pid) {}

    [[nodiscard]] bool isRunning() const override { return scripting_.model(pid_) != nullptr; }

    void presentingState(StateAnswer answer) override {
        const auto state = std::make_shared<PresentingState>();
        const auto event = [state](PresentationProgramModel& model) {
            ErrorPtr error;
            *state = model.presentingState(error);
            return error;
        };
        send("presentingState", event, {}, [state, answer = std::move(answer)](const ErrorPtr& error) {
            answer(error ? PresentingState() : *state, error);
        });
    }

    [[nodiscard]] std::vector<ScriptingWindow> windows() override {
        std::vector<ScriptingWindow> result;
        static_cast<void>(sendAndWait("windows", [&result](PresentationProgramModel& model) {
            ErrorPtr error;
            result = model.windows(error);
            return error;
        }));
        return result;
    }

    [[nodiscard]] std::optional<std::string> version() override {
        std::optional<std::string> result;
        static_cast<void>(sendAndWait("version", [&result](PresentationProgramModel& model) {
            ErrorPtr error;
            result = model.version(error);
            return error;
        }));
        return result;
    }

    void activate() override {
        send("activate", [](PresentationProgramModel& model) { return model.activate(); });
    }

    void open(const std::filesystem::path& path, DocumentAnswer answer) override {
        const auto id = std::make_shared<std::string>();
        send("open", opening(path, id), path,
             [self = shared_from_this(), id, answer = std::move(answer)](const ErrorPtr& error) {
                 answer(error ? nullptr : self->documentWithID(*id));
             });
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) override {
        const auto id = std::make_shared<std::string>();
        return sendAndWait("open", opening(path, id), path) ? nullptr : documentWithID(*id);
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) override;
    void setTimeout(std::chrono::milliseconds timeout) override { timeout_ = timeout; }
    void setDelegate(std::weak_ptr<ScriptingDelegate> delegate) override { delegate_ = std::move(delegate); }

    /// Delivers the event; its outcome comes on the main queue when the model answers or the time-out has passed.
    void send(
        const std::string& name, const Event& event, const std::string& argument = {},
        const std::function<void(const ErrorPtr&)>& whenDone = [](const ErrorPtr&) {}) {
        Duration wait{};
        const ErrorPtr error = deliver(name, event, argument, wait);
        scripting_.dispatch_.mainQueue().after(wait, [self = shared_from_this(), name, error, whenDone] {
            if (error) self->tellFailure(name, *error);
            whenDone(error);
        });
    }

    ErrorPtr sendAndWait(const std::string& name, const Event& event, const std::string& argument = {}) {
        Duration wait{};
        ErrorPtr error = deliver(name, event, argument, wait);
        scripting_.dispatch_.stall(wait);
        if (error) tellFailure(name, *error);
        return error;
    }

private:
    [[nodiscard]] static Event opening(const std::filesystem::path& path, const std::shared_ptr<std::string>& id) {
        return [path, id](PresentationProgramModel& model) {
            ErrorPtr refused;
            *id = model.open(path, refused);
            return refused;
        };
    }

    /// What becomes of the event, and how long the caller waits to hear it. A model that does not answer in time does
    /// nothing, either.
    [[nodiscard]] ErrorPtr deliver(const std::string& name, const Event& event, const std::string& argument,
                                   Duration& wait) {
        ++scripting_.eventsSent_;
        if (scripting_.eventObserver) scripting_.eventObserver(argument.empty() ? name : name + " " + argument);
        PresentationProgramModel* const model = scripting_.model(pid_);
        if (model == nullptr) {
            return makeError(NSOSStatusErrorDomain, kAppleEventFailed, "The application is not running.");
        }
        const auto& faults = model->faults();
        const Duration needed = faults.neverAnswers ? Duration::max() : faults.answersLate.value_or(Duration::zero());
        wait = std::min<Duration>(needed, timeout_);
        if (needed > timeout_) return makeError(NSOSStatusErrorDomain, kAppleEventTimeout, "The reply took too long.");
        return event(*model);
    }

    void tellFailure(const std::string& name, const Error& error) const {
        if (const auto delegate = delegate_.lock()) delegate->eventDidFail(name, error);
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
        application_->send(
            "save", [&](auto& model) { return model.save(id_, target); }, id_ + " " + target.native());
    }
    void stop() override {
        application_->send(
            "stop", [&](auto& model) { return model.stop(id_); }, id_);
    }
    void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties) override {
        application_->send(
            "export", [&](auto& model) { return model.exportTo(id_, target, formatCode, properties); },
            fmt::format("{} {} {}{}", id_, target.native(), formatCode, textOf(properties)));
    }

    [[nodiscard]] ScriptingDocumentText text() override {
        ScriptingDocumentText result;
        application_->sendAndWait(
            "text",
            [&](auto& model) {
                ErrorPtr error;
                result = model.text(id_, error);
                return error;
            },
            id_);
        return result;
    }
    void close(const std::string& saveOption) override {
        application_->send(
            "close", [&](auto& model) { return model.close(id_, saveOption); }, id_ + " " + saveOption);
    }

private:
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

PresentationProgramModel* SimulatedScripting::model(std::optional<pid_t> pid) const {
    const auto found = std::find_if(models_.rbegin(), models_.rend(),
                                    [pid](const auto& attached) { return !pid || attached.first == *pid; });
    return found == models_.rend() ? nullptr : found->second;
}
