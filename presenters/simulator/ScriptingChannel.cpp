#include "presenters/simulator/ScriptingChannel.h"

#include "bus/Failure.h"

#include <unistd.h>
#include <algorithm>
#include <utility>

namespace simulator {
namespace {

/// Answers with the values, or refuses with the error.
template <typename... Values>
void finish(const bus::Answer<Values...>& answer, const ErrorPtr& error, Values... values) {
    error ? answer.refuse(bus::refusal(error->localizedDescription())) : answer.give(std::move(values)...);
}

}  // namespace

ScriptingChannel::ScriptingChannel(bus::Connection& connection, presenters::PresentationProgramModel& model,
                                   DispatchQueue& queue, const std::filesystem::path& bundle)
    : connection_(connection),
      model_(model),
      queue_(queue),
      name_(bus::instanceName(::getpid())),
      bundle_(bundle),
      processIdentifier_(static_cast<std::uint32_t>(::getpid())),
      server_(bus::ProgramServer::publish(connection, *this)) {}

void ScriptingChannel::setRunning(bool running) {
    // Each change of the model comes here, and the bus refuses a name that is held or given back already.
    if (running == isRunning_) return;
    if (running) {
        connection_.requestName(name_);
    } else {
        connection_.releaseName(name_);
    }
    isRunning_ = running;
}

void ScriptingChannel::setProcessIdentifier(std::uint32_t processIdentifier) {
    processIdentifier_ = processIdentifier;
    server_->announceProcessIdentifier();
}

std::string ScriptingChannel::version() {
    ErrorPtr error;
    auto version = model_.version(error);
    if (error) throw bus::refusal(error->localizedDescription());
    return version;
}

/// Answers what `ask` finds in the model.
template <typename Value, typename Ask>
void ScriptingChannel::tell(const bus::Answer<Value>& answer, Ask ask) {
    whenAnswering([answer, ask = std::move(ask)] {
        ErrorPtr error;
        auto value = ask(error);
        finish(answer, error, std::move(value));
    });
}

void ScriptingChannel::presentingState(const bus::Answer<PresentingState>& answer) {
    tell(answer, [this](ErrorPtr& error) { return model_.presentingState(error); });
}

void ScriptingChannel::windows(const bus::Answer<std::vector<ScriptingWindow>>& answer) {
    tell(answer, [this](ErrorPtr& error) { return model_.windows(error); });
}

void ScriptingChannel::activate(const bus::Answer<>& answer) {
    whenAnswering([this, answer] { finish(answer, model_.activate()); });
}

void ScriptingChannel::open(const std::string& caller, const std::filesystem::path& file,
                            const bus::Answer<std::string>& answer) {
    // Noted at once: a caller that leaves before the file is open must not leave it open behind.
    openers_.began(caller);
    whenAnswering([this, caller, file, answer] {
        after(openTime(file), [this, caller, file, answer] {
            std::string id;
            const auto error = openFor(caller, file, id);
            finish(answer, error, id);
        });
    });
}

void ScriptingChannel::close(const std::string& id, const std::string& saveOption, const bus::Answer<>& answer) {
    whenAnswering([this, id, saveOption, answer] {
        if (!model_.faults().neverCloses) finish(answer, closeFor(id, saveOption));
    });
}

void ScriptingChannel::slideNumbers(const std::string& id, const bus::Answer<std::vector<std::int64_t>>& answer) {
    tell(answer, [this, id](ErrorPtr& error) { return model_.slideNumbers(id, error); });
}

void ScriptingChannel::documentText(const std::string& id, const bus::Answer<ScriptingDocumentText>& answer) {
    tell(answer, [this, id](ErrorPtr& error) { return model_.text(id, error); });
}

void ScriptingChannel::save(const std::string& id, const std::filesystem::path& target, const bus::Answer<>& answer) {
    whenAnswering([this, id, target, answer] { finish(answer, model_.save(id, target)); });
}

void ScriptingChannel::stop(const std::string& id, const bus::Answer<>& answer) {
    whenAnswering([this, id, answer] { finish(answer, model_.stop(id)); });
}

void ScriptingChannel::exportTo(const std::string& id, const std::filesystem::path& target,
                                const std::string& formatCode, const ExportProperties& properties,
                                const bus::Answer<>& answer) {
    whenAnswering([this, id, target, formatCode, properties, answer] {
        finish(answer, model_.exportTo(id, target, formatCode, properties));
    });
}

/// What is open already takes no time.
Duration ScriptingChannel::openTime(const std::filesystem::path& file) const {
    const auto& documents = model_.documents();
    const bool isOpen = std::ranges::find(documents, file, &presenters::ProgramDocument::file) != documents.end();
    return isOpen ? Duration::zero() : model_.faults().openTime;
}

ErrorPtr ScriptingChannel::openFor(const std::string& caller, const std::filesystem::path& path, std::string& id) {
    const auto count = model_.documents().size();
    ErrorPtr error;
    id = model_.open(path, error);
    if (error) return error;
    // One that was open already belongs to whoever opened it first.
    if (model_.documents().size() > count) withoutWindow_.insert(id);
    if (!openers_.opened(caller, id)) closeWithoutWindow(id);
    return nullptr;
}

/// One that the script has opened is in its user's window, who decides.
ErrorPtr ScriptingChannel::closeFor(const std::string& id, const std::string& saving) {
    // Another caller still has it open.
    if (!openers_.closed(id)) return nullptr;
    const auto& documents = model_.documents();
    const bool isOpen = std::ranges::find(documents, id, &presenters::ProgramDocument::id) != documents.end();
    if (saving == kSaveOptionAsk && isOpen && !withoutWindow_.contains(id)) return nullptr;
    withoutWindow_.erase(id);
    return model_.close(id, saving);
}

void ScriptingChannel::callerLeft(const std::string& caller) {
    for (const auto& id : openers_.left(caller)) closeWithoutWindow(id);
}

void ScriptingChannel::closeWithoutWindow(const std::string& id) {
    if (!model_.faults().neverCloses && withoutWindow_.erase(id) > 0)
        static_cast<void>(model_.close(id, kSaveOptionAsk));
}

void ScriptingChannel::whenAnswering(Task answer) {
    const presenters::PresentationProgramFaults& faults = model_.faults();
    // Letting go of the answer sends none, and the caller waits until its own limit.
    if (faults.neverAnswers) return;
    after(faults.answersLate.value_or(Duration::zero()), std::move(answer));
}

void ScriptingChannel::after(Duration delay, Task task) {
    if (delay == Duration::zero()) return bus::guarded(task);
    // The channel may be gone by then, with the connection that the answer would go out on.
    queue_.after(delay, [task = std::move(task), alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) bus::guarded(task);
    });
}

}  // namespace simulator
