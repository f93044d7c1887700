#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "ports/Clock.h"
#include "ports/Platform.h"

#include <utility>

/// After a poll was evaluated; the identifier is that of the presentation before it.
void KeynoteCaptureService::noteAnswer(ScriptingTimes times, const std::optional<std::string>& presentationID) {
    const Timeline::Seen seen{keynotePresenting_, currentSlideNumber_, currentDocumentID_.get().value_or(""),
                              std::move(times)};
    reportTimeline(timeline_.answered(seen, platform().clock.steadyNow()), presentationID);
}

void KeynoteCaptureService::noteProgramGone(const std::optional<std::string>& presentationID) {
    reportTimeline(timeline_.programGone(platform().clock.steadyNow()), presentationID);
}

/// The end of a show still belongs to the presentation that has ended, what follows to the next one.
void KeynoteCaptureService::reportTimeline(const Timeline::Entries& entries,
                                           std::optional<std::string> presentationID) {
    const auto listener = timelineListener_.get();
    if (!listener || entries.empty()) return;
    const auto wall = platform().clock.now();
    const auto steady = platform().clock.steadyNow();
    const auto dateOf = [&](Instant time) { return wall - std::chrono::duration_cast<Date::duration>(steady - time); };
    if (!presentationID) presentationID = currentPresentationID_;
    for (const auto& entry : entries) {
        const auto& earliest = entry.at.earliest;
        listener->timelineReport({entry, recordingID_, presentationID.value_or(""),
                                  earliest ? std::optional(dateOf(*earliest)) : std::nullopt, dateOf(entry.at.latest)});
        if (entry.event == TimelineEvent::showEnded) presentationID = currentPresentationID_;
    }
}
