#include "presenters/simulator/ScriptingChannel.h"

#include "bus/Convert.h"
#include "bus/Names.h"

#include <bus/PresentationProgramAdaptor.h>
#include <fmt/format.h>
#include <unistd.h>
#include <map>
#include <utility>
#include <vector>

namespace {

constexpr const char* kBundleIdentifier = "com.apple.iWork.Keynote";
constexpr const char* kInterface = com::veldrin::PresentationProgram_adaptor::INTERFACE_NAME;

using State = std::map<std::string, sdbus::Variant>;
using WindowStruct = sdbus::Struct<std::string, bus::RectStruct, std::int64_t, std::int64_t>;

template <typename T>
std::shared_ptr<sdbus::Result<T>> shared(sdbus::Result<T>&& result) {
    return std::make_shared<sdbus::Result<T>>(std::move(result));
}

sdbus::Error busError(const std::string& sentence) {
    return {bus::kProgramFailed, sentence};
}

template <typename... Ts>
void finish(const sdbus::Result<Ts...>& result, const ErrorPtr& error, const Ts&... values) {
    if (error) {
        result.returnError(busError(error->localizedDescription()));
    } else {
        result.returnResults(values...);
    }
}

State stateFrom(const PresentingState& state) {
    State values;
    if (state.playing) values["playing"] = sdbus::Variant(*state.playing);
    if (const auto& document = state.firstDocument) {
        values["documentID"] = sdbus::Variant(document->id);
        values["slideNumber"] = sdbus::Variant(document->currentSlideNumber);
        if (document->file) values["documentFile"] = sdbus::Variant(bus::urlFromPath(*document->file));
    }
    return values;
}

std::vector<WindowStruct> structsFrom(const std::vector<ScriptingWindow>& windows) {
    std::vector<WindowStruct> structs;
    structs.reserve(windows.size());
    for (const auto& [name, bounds, index, id] : windows) {
        structs.emplace_back(name, bus::RectStruct(bounds.x, bounds.y, bounds.width, bounds.height), index, id);
    }
    return structs;
}

/// Properties of types that no export knows are left out.
ExportProperties propertiesFrom(const State& values) {
    ExportProperties properties;
    for (const auto& [key, value] : values) {
        if (value.containsValueOfType<bool>()) properties[key] = value.get<bool>();
        if (value.containsValueOfType<double>()) properties[key] = value.get<double>();
        if (value.containsValueOfType<std::string>()) properties[key] = value.get<std::string>();
    }
    return properties;
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
    exportProperties();
    object_->finishRegistration();
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
            whenAnswering([this, id, url, answer = std::make_shared<Answer>(std::move(result))] {
                finish(*answer, withTarget(url, [&](const auto& target) { return model_.save(id, target); }));
            });
        });
    object_->registerMethod("stop")
        .onInterface(kInterface)
        .withInputParamNames("documentID")
        .implementedAs([this](Answer&& result, const std::string& id) {
            whenAnswering(
                [this, id, answer = std::make_shared<Answer>(std::move(result))] { finish(*answer, model_.stop(id)); });
        });
    object_->registerMethod("export")
        .onInterface(kInterface)
        .withInputParamNames("documentID", "targetURL", "format", "properties")
        .implementedAs([this](Answer&& result, const std::string& id, const std::string& url, const std::string& format,
                              const State& properties) {
            whenAnswering([this, id, url, format, properties, answer = std::make_shared<Answer>(std::move(result))] {
                finish(*answer, withTarget(url, [&](const auto& target) {
                    return model_.exportTo(id, target, format, propertiesFrom(properties));
                }));
            });
        });
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
}

void ScriptingChannel::whenAnswering(Task answer) {
    const PresentationProgramFaults& faults = model_.faults();
    if (faults.neverAnswers) return;
    if (!faults.answersLate) {
        answer();
        return;
    }
    queue_.after(*faults.answersLate, [answer = std::move(answer), alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) answer();
    });
}
