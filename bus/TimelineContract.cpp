#include "bus/TimelineContract.h"

#include "bus/Connection.h"
#include "bus/Convert.h"
#include "bus/KeynoteCaptureTimeline1Adaptor.h"
#include "bus/Names.h"
#include "bus/ProgramValues.h"
#include "bus/Sdbus.h"
#include "bus/SessionBus.h"

#include <mutex>
#include <utility>

namespace bus {
namespace {

constexpr const char* kInterface = "com.veldrin.KeynoteCaptureTimeline1";
constexpr std::uint32_t kVersion = 1;

using Times = sdbus::Struct<std::int64_t, std::int64_t>;

/// 0 stands for nothing.
std::int64_t microsecondsOf(const std::optional<Date>& date) {
    return date ? microsecondsFrom(*date) : 0;
}

/// What followers can ask for.
struct Shown {
    bool playing = false;
    std::string presentationID;
    std::int64_t slideNumber = 0;
    Times since;

    void note(const TimelineReport& report) {
        const auto& entry = report.entry;
        playing = entry.event != TimelineEvent::showEnded && entry.event != TimelineEvent::unseenFrom;
        presentationID = report.presentationID;
        // A show that is seen again shows the slide that it showed before until the next entry tells another.
        if (entry.event == TimelineEvent::unseenFrom || entry.event == TimelineEvent::unseenTo) return;
        slideNumber = entry.slideNumber;
        since = Times(microsecondsOf(report.earliest), microsecondsFrom(report.latest));
    }
};

class TimelineObject final : private sdbus::AdaptorInterfaces<com::veldrin::KeynoteCaptureTimeline1_adaptor>,
                             public TimelineListener {
public:
    explicit TimelineObject(std::shared_ptr<SessionBus> bus)
        : AdaptorInterfaces(bus->connection().library(), sdbus::ObjectPath(kServicePath)), bus_(std::move(bus)) {
        registerAdaptor();  // last, because calls may come from here on
    }
    ~TimelineObject() override { unregisterAdaptor(); }

    void timelineReport(const TimelineReport& report) override {
        {
            const std::lock_guard lock(mutex_);
            shown_.note(report);
        }
        if (bus_->hasStopped()) return;
        const auto& entry = report.entry;
        guarded([&] {
            const auto [steadyEarliest, steadyLatest] = microsecondsFrom(entry.at);
            emitEntry(validUTF8(report.recordingID), report.presentationID, nameOf(entry.event), entry.slideNumber,
                      entry.position.value_or(0), microsecondsOf(report.earliest), microsecondsFrom(report.latest),
                      steadyEarliest, steadyLatest);
        });
    }

private:
    [[nodiscard]] Shown shown() const {
        const std::lock_guard lock(mutex_);
        return shown_;
    }
    std::uint32_t Version() override { return kVersion; }
    std::string ServiceVersion() override { return KCS_VERSION; }
    bool Playing() override { return shown().playing; }
    std::string PresentationID() override { return shown().presentationID; }
    std::int64_t SlideNumber() override { return shown().slideNumber; }
    Times Since() override { return shown().since; }

    const std::shared_ptr<SessionBus> bus_;
    mutable std::mutex mutex_;
    Shown shown_;  ///< guarded by `mutex_`
};

std::optional<TimelineReport> reportFrom(sdbus::Message& signal) {
    std::string event;
    TimelineReport report;
    std::int64_t position = 0;
    std::int64_t earliest = 0;
    std::int64_t latest = 0;
    std::int64_t steadyEarliest = 0;
    std::int64_t steadyLatest = 0;
    signal >> report.recordingID >> report.presentationID >> event >> report.entry.slideNumber >> position >>
        earliest >> latest >> steadyEarliest >> steadyLatest;
    const auto kind = timelineEventNamed(event);
    const auto at = boundsFrom(steadyEarliest, steadyLatest);
    if (!kind || !at || earliest > latest || position < 0 || report.entry.slideNumber < 0) return std::nullopt;
    report.entry.event = *kind;
    report.entry.at = *at;
    if (position > 0) report.entry.position = position;
    report.latest = dateFrom(latest);
    if (steadyEarliest == 0) {
        report.entry.at.earliest.reset();
    } else {
        report.earliest = dateFrom(earliest);
    }
    return report;
}

}  // namespace

std::shared_ptr<TimelineListener> serveTimeline(const std::shared_ptr<SessionBus>& bus) {
    return translated([&] { return std::make_shared<TimelineObject>(bus); });
}

Handle watchTimeline(Connection& connection, TimelineListener& listener,
                     std::function<bool(const std::string& sender)> mayTell) {
    const auto rule =
        "type='signal',path='" + std::string(kServicePath) + "',interface='" + kInterface + "',member='entry'";
    return connection.addMatch(rule, [&listener, mayTell = std::move(mayTell)](sdbus::Message& signal) {
        if (!mayTell(senderOf(signal))) return;
        if (const auto report = reportFrom(signal)) listener.timelineReport(*report);
    });
}

Call<std::string> serviceVersion() {
    return readBy<std::string>(&propertyTextFrom, makeCall(kPropertiesInterface, "Get", std::string(kInterface),
                                                           std::string("ServiceVersion")));
}

}  // namespace bus
