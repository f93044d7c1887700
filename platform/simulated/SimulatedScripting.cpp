#include "platform/simulated/SimulatedScripting.h"

#include <algorithm>
#include <functional>
#include <utility>

class SimulatedScripting::Application final : public ScriptingApplication,
                                              public std::enable_shared_from_this<Application> {
public:
    using Event = std::function<ErrorPtr(PresentationProgramModel&)>;

    /// Without a process identifier the application that appeared last is meant.
    Application(SimulatedScripting& scripting, std::optional<pid_t> pid) : scripting_(scripting), pid_(pid) {}

    [[nodiscard]] bool isRunning() const override { return scripting_.model(pid_) != nullptr; }

    [[nodiscard]] PresentingState presentingState() override {
        PresentingState state;
        lastError_ = send("presentingState", [&state](PresentationProgramModel& model) {
            ErrorPtr error;
            state = model.presentingState(error);
            return error;
        });
        return lastError_ ? PresentingState() : state;
    }

    [[nodiscard]] ErrorPtr lastError() const override { return lastError_; }

    [[nodiscard]] std::vector<ScriptingWindow> windows() override {
        std::vector<ScriptingWindow> result;
        static_cast<void>(send("windows", [&result](PresentationProgramModel& model) {
            ErrorPtr error;
            result = model.windows(error);
            return error;
        }));
        return result;
    }

    [[nodiscard]] std::optional<std::string> version() override {
        std::optional<std::string> result;
        static_cast<void>(send("version", [&result](PresentationProgramModel& model) {
            ErrorPtr error;
            result = model.version(error);
            return error;
        }));
        return result;
    }

    void activate() override {
        static_cast<void>(send("activate", [](PresentationProgramModel& model) { return model.activate(); }));
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> open(const std::filesystem::path& path) override {
        std::string id;
        const ErrorPtr error = send(
            "open",
            [&](PresentationProgramModel& model) {
                ErrorPtr refused;
                id = model.open(path, refused);
                return refused;
            },
            path);
        return error ? nullptr : documentWithID(id);
    }

    [[nodiscard]] std::shared_ptr<ScriptingDocument> documentWithID(const std::string& id) override;
    void setTimeout(std::chrono::milliseconds timeout) override { timeout_ = timeout; }
    void setDelegate(std::weak_ptr<ScriptingDelegate> delegate) override { delegate_ = std::move(delegate); }

    ErrorPtr send(const std::string& name, const Event& event, const std::string& argument = {}) {
        ++scripting_.eventsSent_;
        if (scripting_.eventObserver) scripting_.eventObserver(argument.empty() ? name : name + " " + argument);
        ErrorPtr error = deliver(event);
        if (!error) return nullptr;
        if (const auto delegate = delegate_.lock()) delegate->eventDidFail(name, *error);
        return error;
    }

private:
    [[nodiscard]] ErrorPtr deliver(const Event& event) {
        PresentationProgramModel* const model = scripting_.model(pid_);
        if (model == nullptr) {
            return makeError(NSOSStatusErrorDomain, kAppleEventFailed, "The application is not running.");
        }
        const auto& faults = model->faults();
        const Duration wait = faults.neverAnswers ? Duration::max() : faults.answersLate.value_or(Duration::zero());
        scripting_.dispatch_.stall(std::min<Duration>(wait, timeout_));
        if (wait > timeout_) return makeError(NSOSStatusErrorDomain, kAppleEventTimeout, "The reply took too long.");
        return event(*model);
    }

    SimulatedScripting& scripting_;
    const std::optional<pid_t> pid_;
    std::chrono::milliseconds timeout_{60'000};
    std::weak_ptr<ScriptingDelegate> delegate_;
    ErrorPtr lastError_;
};

class SimulatedScripting::Document final : public ScriptingDocument {
public:
    Document(std::shared_ptr<Application> application, std::string id)
        : application_(std::move(application)), id_(std::move(id)) {}

    [[nodiscard]] const std::string& id() const override { return id_; }
    void save(const std::filesystem::path& target) override {
        application_->send(
            "save", [&](auto& model) { return model.save(id_, target); }, target);
    }
    void stop() override {
        application_->send("stop", [&](auto& model) { return model.stop(id_); });
    }
    void exportTo(const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties) override {
        application_->send(
            "export", [&](auto& model) { return model.exportTo(id_, target, formatCode, properties); }, target);
    }

    [[nodiscard]] ScriptingDocumentText text() override {
        ScriptingDocumentText result;
        application_->send("text", [&](auto& model) {
            ErrorPtr error;
            result = model.text(id_, error);
            return error;
        });
        return result;
    }
    void close(const std::string& saveOption) override {
        application_->send(
            "close", [&](auto& model) { return model.close(id_, saveOption); }, saveOption);
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
