#pragma once

#include "tests/platform/linux/bus/BusTest.h"

#include <fmt/format.h>
#include <atomic>
#include <map>
#include <optional>

using State = std::map<std::string, sdbus::Variant>;
inline constexpr const char* kProgramInterface = "com.veldrin.PresentationProgram";
inline constexpr const char* kKeynote = "com.apple.iWork.Keynote";

/// A presentation program that answers what the test puts into it. Its properties may have wrong types.
class FakeProgram {
public:
    struct Facts {
        std::string name = std::string(kKeynote) + ".instance1";
        sdbus::Variant process{std::uint32_t{41}};
        sdbus::Variant identifier{std::string(kKeynote)};
        sdbus::Variant url{std::string("file:///Applications/Keynote.app")};
        bool answers = true;
    };

    explicit FakeProgram(Facts given) : facts(std::move(given)), process_(facts.process) {
        exportProperties();
        exportCalls();
        bus::finishRegistration(*object_);
        connection_.requestName(bus::ServiceName(facts.name));
        if (facts.answers) beginToAnswer();
    }
    FakeProgram() : FakeProgram(Facts{}) {}
    ~FakeProgram() { bus_.stop(); }
    FakeProgram(const FakeProgram&) = delete;
    FakeProgram& operator=(const FakeProgram&) = delete;

    void changeProcess(std::uint32_t process) {
        {
            const std::lock_guard lock(mutex_);
            process_ = sdbus::Variant(process);
        }
        object_->emitPropertiesChangedSignal(bus::InterfaceName(kProgramInterface),
                                             {bus::MemberName("ProcessIdentifier")});
    }
    void beginToAnswer() {
        bus_.start([] {});
    }
    void leaveName() { connection_.releaseName(bus::ServiceName(facts.name)); }
    [[nodiscard]] std::string uniqueName() const { return connection_.getUniqueName(); }
    [[nodiscard]] sdbus::IConnection& connection() { return connection_; }
    /// Answers the held calls.
    void answerHeld() {
        for (const auto& result : held_) result.returnResults({});
        held_.clear();
    }

    const Facts facts;
    State state;                          ///< set before it is asked for
    std::atomic<bool> holds = false;      ///< keeps calls unanswered
    std::optional<sdbus::Error> refuses;  ///< set before a call
    Notes calls;
    using WindowStruct =
        sdbus::Struct<std::string, sdbus::Struct<double, double, double, double>, std::int64_t, std::int64_t>;
    std::vector<WindowStruct> windows{{"Slides", {0, 0, 1440, 900}, 1, 7}, {"Notes", {-1.5, 2, 3, 4}, 2, 8}};

private:
    void exportProperties() {
        exportProperty("ProcessIdentifier", process_);
        exportProperty("BundleIdentifier", facts.identifier);
        exportProperty("BundleURL", facts.url);
    }
    void exportProperty(const char* name, const sdbus::Variant& value) {
        const std::string type = value.peekValueType();
        bus::addProperty(*object_, kProgramInterface, name, type.c_str(), [this, &value, type](auto& reply) {
            const std::lock_guard lock(mutex_);
            if (type == "u") reply << value.get<std::uint32_t>();
            if (type == "i") reply << value.get<std::int32_t>();
            if (type == "s") reply << value.get<std::string>();
        });
    }
    template <typename Function>
    void addMethod(const char* name, Function function) {
        bus::addMethod(*object_, kProgramInterface, name, std::move(function));
    }
    void exportCalls() {
        addMethod("presentingState", [this](sdbus::Result<State>&& result) {
            held_.push_back(std::move(result));
            calls.add("presentingState");
            if (holds) return;
            refuses ? held_.back().returnError(*refuses) : held_.back().returnResults(state);
            held_.pop_back();
        });
        addMethod("windows", [this] {
            calls.add("windows");
            return windows;
        });
        addMethod("open", [this](sdbus::Result<std::string>&& result, const std::string& url) {
            calls.add("open " + url);
            opened_.push_back(std::move(result));
            if (!holds) opened_.back().returnResults("D");
        });
        addMethod("save", [this](const std::string& id, const std::string& url) {
            calls.add(fmt::format("save {} {}", id, url));
        });
        addMethod("stop", [this](const std::string& id) {
            calls.add("stop " + id);
            if (refuses) throw sdbus::Error(*refuses);
        });
        addMethod("export", [this](const std::string& id, const std::string& url, const std::string& format,
                                   const State& properties) {
            calls.add(fmt::format("export {} {} {} {} {} {}", id, url, format, properties.at("allStages").get<bool>(),
                                  properties.at("compressionFactor").get<double>(),
                                  properties.at("imageFormat").get<std::string>()));
        });
    }

    std::mutex mutex_;
    SessionBus bus_;
    sdbus::IConnection& connection_ = bus_.connection().library();
    const std::unique_ptr<sdbus::IObject> object_ = bus::createObject(connection_, bus::kProgramPath);
    sdbus::Variant process_;  ///< guarded by `mutex_`
    std::vector<sdbus::Result<State>> held_;
    std::vector<sdbus::Result<std::string>> opened_;
};
