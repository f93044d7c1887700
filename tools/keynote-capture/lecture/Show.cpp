#include "tools/keynote-capture/lecture/Show.h"

#include "base/FileURL.h"
#include "ports/Timeline.h"
#include "tools/keynote-capture/lecture/JournalLine.h"

#include <algorithm>
#include <utility>

namespace keynote_capture {
namespace {

constexpr int kVersion = 1;

/// When something happened, by the calendar.
struct Moment {
    std::optional<Date> earliest;
    Date latest;

    [[nodiscard]] Date middle() const { return earliest ? *earliest + (latest - *earliest) / 2 : latest; }
};

std::optional<ClockPair> clockFrom(const Json& header) {
    const auto clocks = header.find("clocks");
    if (clocks == header.end() || !clocks->is_object()) return std::nullopt;
    const auto wall = dateMember(*clocks, "wall");
    const auto steady = steadyBounds({{"steady", {nullptr, clocks->value("steady", Json())}}});
    if (!wall || !steady) return std::nullopt;
    return ClockPair{*wall, steady->latest, member<std::string>(*clocks, "boot").value_or("")};
}

/// Goes through the lines and keeps the visit that is open.
class ShowReader {
public:
    explicit ShowReader(Show& show) : show_(show) {}

    void read(const Json& line) {
        const auto event = member<std::string>(line, "event").value_or("");
        const auto moment = momentOf(line);
        if (const auto entry = timelineEventNamed(event); entry && moment) take(*entry, *moment, line);
        if (event == "continues") show_.continues = member<std::string>(line, "presentationID");
        if (event == "archived") show_.archiveDigest = member<std::string>(line, "sha256");
        if (event == "deckFile") takeDeckFile(line);
        // The page is made before that line comes, and says the same when it is made again after it.
        if (event != "finished") alive(dateMember(line, "received"));
        if (moment) alive(moment->latest);
    }

    /// The journal ends: so does what is known.
    void finish() {
        if (open_) lose(lastAlive_.value_or(open_->start), {});
    }

private:
    void take(TimelineEvent event, const Moment& at, const Json& line) {
        switch (event) {
            case TimelineEvent::showStarted:
                show_.started = at.middle();
                return;
            case TimelineEvent::slideShown:
                return visit(at, line);
            case TimelineEvent::showEnded:
                close(at.middle(), VisitEnd::showEnded);
                lost_.reset();
                isGap_ = false;
                show_.ended = std::max(at.middle(), end_.value_or(at.middle()));
                return;
            case TimelineEvent::unseenFrom:
                return lose(at.earliest ? at.middle() : lastAlive_.value_or(at.latest),
                            member<std::string>(line, "reason").value_or(""));
            case TimelineEvent::unseenTo:
                return resume(at);
        }
    }

    void visit(const Moment& at, const Json& line) {
        lost_.reset();
        isGap_ = false;
        const auto slide = member<std::int64_t>(line, "slide").value_or(0);
        // What was only taken to be there still is no visit when the next one began before.
        if (open_ && isResumed_ && at.middle() <= open_->start) open_.reset();
        close(at.middle(), VisitEnd::nextSlide);
        if (slide < 1) return;  // a screen without a slide
        open(Visit{slide, member<std::int64_t>(line, "position"), at.middle(), {}, {}, at.earliest, at.latest}, false);
    }

    /// The show is seen again, and with the same slide unless another one is told.
    void resume(const Moment& at) {
        isGap_ = false;
        if (!lost_) return;
        auto again = *std::exchange(lost_, std::nullopt);
        again.start = at.middle();
        again.earliest = at.earliest;
        again.latest = at.latest;
        open(again, true);
    }

    void open(Visit visit, bool isResumed) {
        visit.start = std::max(visit.start, end_.value_or(visit.start));
        open_ = visit;
        isResumed_ = isResumed;
    }

    void close(Date at, VisitEnd how) {
        if (!open_) return;
        open_->end = std::max(at, open_->start);
        open_->ends = how;
        end_ = open_->end;
        show_.visits.push_back(*std::exchange(open_, std::nullopt));
    }

    void lose(Date at, std::string reason) {
        if (std::exchange(isGap_, true)) return;
        lost_ = open_;
        close(at, VisitEnd::unseen);
        show_.gaps.push_back({std::max(at, end_.value_or(at)), std::move(reason)});
    }

    void takeDeckFile(const Json& line) {
        auto state = std::pair(member<std::string>(line, "modified"), member<std::int64_t>(line, "size"));
        if (!deckFile_) deckFile_ = state;
        show_.deckWasSaved = deckFile_ != state;
    }

    void alive(std::optional<Date> at) {
        if (at) lastAlive_ = std::max(*at, lastAlive_.value_or(*at));
    }

    [[nodiscard]] std::optional<Moment> momentOf(const Json& line) const {
        const auto steady = steadyBounds(line);
        if (show_.clock && steady) {
            const auto dateOf = [this](Instant time) {
                return show_.clock->wall + std::chrono::floor<Date::duration>(time - show_.clock->steady);
            };
            return Moment{steady->earliest ? std::optional(dateOf(*steady->earliest)) : std::nullopt,
                          dateOf(steady->latest)};
        }
        const auto latest = dateMember(line, "latest");
        if (!latest) return std::nullopt;
        const auto earliest = dateMember(line, "earliest");
        return Moment{earliest && *earliest <= *latest ? earliest : std::nullopt, *latest};
    }

    Show& show_;
    std::optional<Visit> open_;
    bool isResumed_ = false;     ///< the open visit was not told; it is the one from before a gap
    std::optional<Visit> lost_;  ///< what was on the screen when the gap began
    bool isGap_ = false;         ///< nothing has been seen since the last gap began
    std::optional<Date> end_;    ///< of the last visit
    std::optional<Date> lastAlive_;
    std::optional<std::pair<std::optional<std::string>, std::optional<std::int64_t>>> deckFile_;
};

}  // namespace

std::optional<Show> showFrom(const std::vector<std::string>& lines, const std::optional<ClockPair>& clock) {
    const auto objects = objectsFrom(lines);
    if (objects.empty() || member<int>(objects.front(), "timeline") != kVersion) return std::nullopt;
    const auto& header = objects.front();
    Show show;
    show.recordingID = member<std::string>(header, "recordingID").value_or("");
    show.presentationID = member<std::string>(header, "presentationID").value_or("");
    show.deck = pathFromURL(member<std::string>(header, "deck").value_or(""));
    const auto archive = member<std::string>(header, "archive");
    // The name of a file beside the journal, and nothing else.
    if (archive && !archive->empty() && archive->find('/') == std::string::npos) show.archive = archive;
    show.clock = clockFrom(header);
    if (show.clock) show.begun = show.clock->wall;
    const bool isSameBoot = clock && show.clock && !clock->boot.empty() && clock->boot == show.clock->boot;
    if (isSameBoot) show.clock = clock;
    ShowReader reader(show);
    for (const auto& line : objects) reader.read(line);
    reader.finish();
    return show;
}

}  // namespace keynote_capture
