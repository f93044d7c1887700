#pragma once

#include "platform/simulated/SimulatedDispatch.h"
#include "ports/Scripting.h"
#include "presenters/model/PresentationProgramModel.h"

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace simulated {

/// Carries scripting events to models of presentation programs, by process identifier. Events are delivered at once. A
/// model whose faults say that it answers late or never costs a caller that waits for its answer that time, at most the
/// time-out; other answers come on the main queue after it.
class SimulatedScripting final : public Scripting {
public:
    explicit SimulatedScripting(SimulatedDispatch& dispatch) : dispatch_(dispatch) {}

    [[nodiscard]] std::shared_ptr<ScriptingApplication> applicationForProcess(pid_t processIdentifier) override;

    /// Any bundle identifier means the attached models.
    [[nodiscard]] std::shared_ptr<ScriptingApplication> applicationForBundleIdentifier(
        const std::string& bundleIdentifier) override;

    /// The model answers under this process identifier until it is detached, and must live until then.
    void attach(pid_t pid, presenters::PresentationProgramModel& model) { models_.emplace_back(pid, &model); }
    void detach(pid_t pid) {
        std::erase_if(models_, [pid](const auto& attached) { return attached.first == pid; });
    }
    /// The model with this process identifier, without one the model attached last; null when there is none.
    [[nodiscard]] presenters::PresentationProgramModel* model(std::optional<pid_t> pid) const;

    /// How many events were sent so far.
    [[nodiscard]] int eventsSent() const { return eventsSent_; }
    /// Hears of every event before it is delivered: its name and all its arguments, separated by blanks.
    std::function<void(const std::string& event)> eventObserver;

private:
    class Application;
    class Document;

    SimulatedDispatch& dispatch_;
    std::vector<std::pair<pid_t, presenters::PresentationProgramModel*>> models_;
    int eventsSent_ = 0;
};

}  // namespace simulated
