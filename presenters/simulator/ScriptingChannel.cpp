#include "presenters/simulator/ScriptingChannel.h"

#include "bus/Callbacks.h"
#include "bus/Convert.h"
#include "bus/Names.h"
#include "presenters/simulator/ChannelValues.h"

#include <bus/PresentationProgramAdaptor.h>
#include <fmt/format.h>
#include <unistd.h>
#include <algorithm>
#include <utility>
#include <vector>

namespace {

constexpr const char* kBundleIdentifier = "com.apple.iWork.Keynote";
constexpr const char* kInterface = com::veldrin::PresentationProgram_adaptor::INTERFACE_NAME;

using namespace channel;

template <typename... Ts>
std::shared_ptr<sdbus::Result<Ts...>> shared(sdbus::Result<Ts...>&& result) {
    return std::make_shared<sdbus::Result<Ts...>>(std::move(result));
}

sdbus::Error busError(const std::string& sentence) {
    return {bus::kProgramFailed, sentence};
}

/// Names of files may hold bytes that no text on the bus may; such an answer becomes a refusal.
template <typename... Ts>
void finish(const sdbus::Result<Ts...>& result, const ErrorPtr& error, const Ts&... values) {
    try {
        if (!error) return result.returnResults(values...);
        result.returnError(busError(bus::validUTF8(error->localizedDescription())));
    } catch (const sdbus::Error& failure) {
        result.returnError(busError("The answer cannot be sent: " + failure.getMessage()));
    }
}

/// Hands the path of the URL to the call, or answers that there is none.
ErrorPtr withTarget(const std::string& url, const std::function<ErrorPtr(const std::filesystem::path&)>& call) {
    const auto path = bus::pathFromURL(url);
    if (path) return call(*path);
    return makeError(NSOSStatusErrorDomain, kAppleEventFailed,
                     fmt::format("The target \"{}\" is no file URL; pass one like file:///tmp/slides.", url));
}

}  // namespace

ScriptingChannel::ScriptingChannel(sdbus::IConnection& connection, PresentationProgramModel& model,
                                   DispatchQueue& queue, const std::filesystem::path& bundle)
    : connection_(connection),
      model_(model),
      queue_(queue),
      name_(fmt::format("{}{}{}", kBundleIdentifier, bus::kInstanceInfix, ::getpid())),
      bundleURL_(bus::urlFromPath(bundle)),
      processIdentifier_(static_cast<std::uint32_t>(::getpid())),
      object_(sdbus::createObject(connection, bus::kProgramPath)) {
    exportCalls();
    exportDocumentCalls();
    exportProperties();
    object_->finishRegistration();
    leaving_ =
        bus::watchNames(connection, "arg2=''", [this](const std::string& name, const auto&) { callerLeft(name); });
}

void ScriptingChannel::setRunning(bool running) {
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
    object_->emitPropertiesChangedSignal(kInterface, {"ProcessIdentifier"});
}

void ScriptingChannel::exportCalls() {
    // The generated glue answers within the call; a program that answers late needs the answer as an object.
    using Answer = sdbus::Result<>;
    object_->registerMethod("presentingState")
        .onInterface(kInterface)
        .withOutputParamNames("state")
        .implementedAs([this](sdbus::Result<State>&& result) {
            whenAnswering([this, answer = shared(std::move(result))] {
                ErrorPtr error;
                const PresentingState state = model_.presentingState(error);
                finish(*answer, error, stateFrom(state));
            });
        });
    object_->registerMethod("windows")
        .onInterface(kInterface)
        .withOutputParamNames("windows")
        .implementedAs([this](sdbus::Result<std::vector<WindowStruct>>&& result) {
            whenAnswering([this, answer = shared(std::move(result))] {
                ErrorPtr error;
                const auto windows = model_.windows(error);
                finish(*answer, error, structsFrom(windows));
            });
        });
    object_->registerMethod("save")
        .onInterface(kInterface)
        .withInputParamNames("documentID", "targetURL")
        .implementedAs([this](Answer&& result, const std::string& id, const std::string& url) {
            whenAnswering([this, id, url, answer = shared(std::move(result))] {
                finish(*answer, withTarget(url, [&](const auto& target) { return model_.save(id, target); }));
            });
        });
    object_->registerMethod("stop")
        .onInterface(kInterface)
        .withInputParamNames("documentID")
        .implementedAs([this](Answer&& result, const std::string& id) {
            whenAnswering([this, id, answer = shared(std::move(result))] { finish(*answer, model_.stop(id)); });
        });
    object_->registerMethod("export")
        .onInterface(kInterface)
        .withInputParamNames("documentID", "targetURL", "format", "properties")
        .implementedAs([this](Answer&& result, const std::string& id, const std::string& url, const std::string& format,
                              const State& properties) {
            whenAnswering([this, id, url, format, properties, answer = shared(std::move(result))] {
                finish(*answer, withTarget(url, [&](const auto& target) {
                    return model_.exportTo(id, target, format, propertiesFrom(properties));
                }));
            });
        });
}

/// The calls that open, read and close documents.
void ScriptingChannel::exportDocumentCalls() {
    object_->registerMethod("activate").onInterface(kInterface).implementedAs([this](sdbus::Result<>&& result) {
        whenAnswering([this, answer = shared(std::move(result))] { finish(*answer, model_.activate()); });
    });
    object_->registerMethod("open")
        .onInterface(kInterface)
        .withInputParamNames("pathURL")
        .withOutputParamNames("documentID")
        .implementedAs([this](sdbus::Result<std::string>&& result, const std::string& url) {
            const std::string caller = object_->getCurrentlyProcessedMessage()->getSender();
            openers_.began(caller);
            whenAnswering([this, caller, url, answer = shared(std::move(result))] {
                after(openTime(url), [this, caller, url, answer] {
                    std::string id;
                    const auto error = withTarget(url, [&](const auto& path) { return openFor(caller, path, id); });
                    finish(*answer, error, id);
                });
            });
        });
    object_->registerMethod("close")
        .onInterface(kInterface)
        .withInputParamNames("documentID", "saving")
        .implementedAs([this](sdbus::Result<>&& result, const std::string& id, const std::string& saving) {
            whenAnswering([this, id, saving, answer = shared(std::move(result))] {
                if (model_.faults().neverCloses) return;
                finish(*answer, close(id, saving));
            });
        });
    object_->registerMethod("slideNumbers")
        .onInterface(kInterface)
        .withInputParamNames("documentID")
        .withOutputParamNames("numbers")
        .implementedAs([this](sdbus::Result<std::vector<std::int64_t>>&& result, const std::string& id) {
            whenAnswering([this, id, answer = shared(std::move(result))] {
                ErrorPtr error;
                const auto numbers = model_.slideNumbers(id, error);
                finish(*answer, error, numbers);
            });
        });
    object_->registerMethod("documentText")
        .onInterface(kInterface)
        .withInputParamNames("documentID")
        .withOutputParamNames("name", "slides")
        .implementedAs([this](sdbus::Result<std::string, std::vector<SlideStruct>>&& result, const std::string& id) {
            whenAnswering([this, id, answer = shared(std::move(result))] {
                ErrorPtr error;
                const auto text = model_.text(id, error);
                finish(*answer, error, text.name, structsFrom(text.slides));
            });
        });
}

/// What is open already takes no time.
Duration ScriptingChannel::openTime(const std::string& url) const {
    const auto path = bus::pathFromURL(url);
    const auto& documents = model_.documents();
    const bool isOpen = path && std::any_of(documents.begin(), documents.end(),
                                            [&path](const auto& each) { return each.file == path; });
    return isOpen ? Duration::zero() : model_.faults().openTime;
}

ErrorPtr ScriptingChannel::openFor(const std::string& caller, const std::filesystem::path& path, std::string& id) {
    const auto count = model_.documents().size();
    ErrorPtr error;
    id = model_.open(path, error);
    if (error) return error;
    if (model_.documents().size() > count) withoutWindow_.insert(id);
    if (!openers_.opened(caller, id)) closeWithoutWindow(id);
    return nullptr;
}

/// One that the script has opened is in its user's window, who decides.
ErrorPtr ScriptingChannel::close(const std::string& id, const std::string& saving) {
    if (!openers_.closed(id)) return nullptr;
    const auto& documents = model_.documents();
    const bool isOpen =
        std::any_of(documents.begin(), documents.end(), [&id](const auto& each) { return each.id == id; });
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

void ScriptingChannel::exportProperties() {
    object_->registerProperty("ProcessIdentifier").onInterface(kInterface).withGetter([this] {
        return processIdentifier_;
    });
    object_->registerProperty("BundleIdentifier")
        .onInterface(kInterface)
        .withGetter([] { return std::string(kBundleIdentifier); })
        .withUpdateBehavior(sdbus::Flags::CONST_PROPERTY_VALUE);
    object_->registerProperty("BundleURL")
        .onInterface(kInterface)
        .withGetter([this] { return bundleURL_; })
        .withUpdateBehavior(sdbus::Flags::CONST_PROPERTY_VALUE);
    object_->registerProperty("Version")
        .onInterface(kInterface)
        .withGetter([this] {
            ErrorPtr error;
            auto version = model_.version(error);
            if (error) throw busError(error->localizedDescription());
            return version;
        })
        .withUpdateBehavior(sdbus::Flags::CONST_PROPERTY_VALUE);
}

void ScriptingChannel::whenAnswering(Task answer) {
    const PresentationProgramFaults& faults = model_.faults();
    if (faults.neverAnswers) return;
    after(faults.answersLate.value_or(Duration::zero()), std::move(answer));
}

void ScriptingChannel::after(Duration delay, Task task) {
    if (delay == Duration::zero()) return bus::guarded(task);
    queue_.after(delay, [task = std::move(task), alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) bus::guarded(task);
    });
}
