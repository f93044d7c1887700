#include "simulation/World.h"
#include "simulation/promises/All.h"

#include <fmt/format.h>
#include <algorithm>
#include <map>

namespace simulation {

namespace {

/// The timeline tells what was on the screen: every entry within its bounds, in order and once, at the latest with the
/// poll that sees it; all visits where the program tells its times; bounds no wider than from poll to poll; and that
/// time is unseen where nobody saw it.
class TimelineIsTrue final : public Promise {
public:
    TimelineIsTrue(World& world, Story& story) : Promise(story), world_(world) {}

    void polled(const Host& host, const Poll& poll) override {
        auto& watch = watches_[&host].latest();
        const auto& program = poll.process->program;
        if (watch.program != &program) watch.nextVisit = 0;
        watch.program = &program;
        watch.visitsAsked = countVisits(program, poll.sent);
        watch.contradictionAsked = program.watchesItself() && program.truth().isHidden;
    }

    void answered(const Host& host, const Poll& poll) override {
        auto& watch = watches_[&host].latest();
        watch.gapDue.reset();
        const bool hasMissed = std::exchange(watch.hasMissed, false);
        if (poll.fails) {
            watch.gapDue = poll.due;
            return;
        }
        // Answers of one moment are told of after the last of them, and the first may have more to tell.
        const bool isFirst = !watch.due || watch.due->due < poll.due;
        if (isFirst) watch.previousSent = watch.lastSent;
        watch.lastSent = poll.sent;
        watch.due = poll;
        watch.mayBeUnseen = hasMissed;
        watch.visitsDue = watch.visitsAsked;
        watch.contradictionSeen = watch.contradictionAsked;
        watch.contradictsItself = watch.contradictsItself || watch.contradictionSeen;
    }

    void leftOut(const Host& host) override { watches_[&host].latest().hasMissed = true; }

    /// Of the program that comes next nothing has been seen.
    void gone(const Host& host) override {
        watches_[&host].latest().lastSent.reset();
        watches_[&host].latest().previousSent.reset();
        watches_[&host].latest().gapDue.reset();
    }

    void unwatched(const Host& host) override {
        watches_[&host].next = Watched{};
        watches_[&host].ends = world_.now();
    }

    void reported(const Host& host, const TimelineReport& report) override {
        // What the poll of this moment finds is known before it is told.
        const_cast<Host&>(host).watch.advance(world_.now(), true);
        auto& watches = watches_[&host];
        // What a stop tells still belongs to what was watched before.
        if (watches.next && report.entry.event != TimelineEvent::unseenFrom) watches.goOn();
        auto& watch = watches.current;
        checkClocks(report);
        if (report.recordingID != host.name()) object("an entry is of the recording " + report.recordingID);
        switch (report.entry.event) {
            case TimelineEvent::showStarted:
                return start(watch, report);
            case TimelineEvent::slideShown:
                return show(watch, report);
            case TimelineEvent::showEnded:
                return end(watch, report);
            case TimelineEvent::unseenFrom:
                return unseen(watch, report, true);
            case TimelineEvent::unseenTo:
                return unseen(watch, report, false);
        }
    }

    void serviceEnded() override { watches_.clear(); }

    void passed(Instant now) override {
        for (auto& [host, watches] : watches_) {
            if (watches.next && watches.ends < now) watches.goOn();
            auto& watch = watches.current;
            if (watch.due && watch.due->due < now) checkState(*host, watch);
            if (!watch.gapDue || *watch.gapDue >= now) continue;
            watch.gapDue.reset();
            if (watch.isOpen && !watch.isUnseen) object(host->name() + " is not told that nobody sees the show");
        }
    }

private:
    struct Watched {
        const Program* program = nullptr;
        bool isOpen = false;
        bool isUnseen = false;
        bool hasMissed = false;         ///< a poll was left out since the latest answer
        bool mayBeUnseen = false;       ///< the same of the answer before
        std::optional<Instant> gapDue;  ///< when a poll failed, which the timeline has to show
        /// The program names another deck than the one that it shows and tells times of: nobody can know which is true.
        bool contradictsItself = false;
        bool contradictionAsked = false;  ///< by the poll under way
        bool contradictionSeen = false;   ///< by the latest answer
        std::string presentation;
        std::int64_t lastShown = 0;
        std::size_t nextVisit = 0;
        std::size_t visitsTold = 0;
        std::optional<std::size_t> visitsAsked;  ///< that the poll under way has to find
        std::optional<std::size_t> visitsDue;
        std::optional<Poll> due;  ///< a poll whose answer the timeline has to show
        std::optional<Instant> lastSent;
        std::optional<Instant> previousSent;
    };
    /// A host watches again and again.
    struct Watches {
        Watched current;
        std::optional<Watched> next;
        Instant ends{};
        Watched& latest() { return next ? *next : current; }
        void goOn() { current = *std::exchange(next, std::nullopt); }
    };

    void object(const TimelineReport& report, const std::string& what) {
        const auto& at = report.entry.at;
        Promise::object(fmt::format("{} {} of {} at {}..{} {}", nameOf(report.entry.event), report.entry.slideNumber,
                                    report.presentationID, at.earliest ? seconds(at.earliest->time_since_epoch()) : "",
                                    seconds(at.latest.time_since_epoch()), what));
    }
    using Promise::object;

    /// How many visits a program that tells its times has to have told; nothing where that is left open.
    static std::optional<std::size_t> countVisits(const Program& program, Instant sent) {
        const auto& truth = program.truth();
        if (!program.tellsTimes() || truth.isIncomplete || truth.isHidden || truth.presented.size() > kMostVisits)
            return std::nullopt;
        return std::ranges::count_if(truth.presented, [sent](Instant at) { return at <= sent; });
    }

    void checkClocks(const TimelineReport& report) {
        const auto& at = report.entry.at;
        const auto& dispatch = world_.platform.dispatch;
        if (at.earliest > at.latest || at.latest > world_.now()) object(report, "is absurd");
        const auto civil = [&](Instant time) {
            return dispatch.now() - std::chrono::duration_cast<Date::duration>(world_.now() - time);
        };
        if (report.latest != civil(at.latest)) object(report, "has another time in the calendar");
        if (at.earliest && report.earliest != civil(*at.earliest)) object(report, "has another time in the calendar");
    }

    static bool isWithin(const TimelineReport& report, Instant time) {
        return report.entry.at.earliest <= time && time <= report.entry.at.latest;
    }
    void checkOneOf(const TimelineReport& report, const std::vector<Instant>& times) {
        if (std::ranges::any_of(times, [&](Instant time) { return isWithin(report, time); })) return;
        object(report, "is not true");
    }
    /// Nothing that a poll has seen is told with bounds that begin before the poll that saw the old state.
    void checkWidth(const Watched& watch, const TimelineReport& report) {
        const auto since = watch.due ? watch.previousSent : watch.lastSent;
        const auto& earliest = report.entry.at.earliest;
        if (since && (!earliest || *earliest < *since)) object(report, "has bounds that are too wide");
    }

    void start(Watched& watch, const TimelineReport& report) {
        if (watch.isOpen || watch.program == nullptr) return object(report, "comes during a show");
        watch.isOpen = true;
        watch.contradictsItself = watch.contradictionSeen;
        watch.presentation = report.presentationID;
        watch.lastShown = 0;
        watch.visitsTold = 0;
        checkOneOf(report, watch.program->truth().starts);
        checkWidth(watch, report);
    }

    void show(Watched& watch, const TimelineReport& report) {
        if (!watch.isOpen || watch.presentation != report.presentationID) return object(report, "is of no show");
        watch.lastShown = report.entry.slideNumber;
        ++watch.visitsTold;
        checkWidth(watch, report);
        if (watch.contradictsItself) return;
        const auto& visits = watch.program->truth().visits;
        while (watch.nextVisit < visits.size()) {
            const auto& visit = visits[watch.nextVisit++];
            if (visit.slide == watch.lastShown && isWithin(report, visit.at)) return;
        }
        object(report, "is not true, or told twice");
    }

    void end(Watched& watch, const TimelineReport& report) {
        if (!watch.isOpen || watch.presentation != report.presentationID) return object(report, "is of no show");
        watch.isOpen = false;
        checkOneOf(report, watch.program->truth().ends);
    }

    void unseen(Watched& watch, const TimelineReport& report, bool begins) {
        if (watch.isUnseen == begins) object(report, "comes twice");
        watch.isUnseen = begins;
    }

    void checkState(const Host& host, Watched& watch) {
        const Poll poll = *std::exchange(watch.due, std::nullopt);
        const bool plays = poll.screen.playing.value_or(poll.screen.isFilled);
        const auto seen = seconds(poll.sent.time_since_epoch());
        if (watch.isUnseen && !watch.mayBeUnseen) object(host.name() + " is not told that the show is seen again");
        if (plays != watch.isOpen)
            return object(fmt::format("{} is not told of the show seen at {}", host.name(), seen));
        if (!plays) return;
        if (!watch.contradictsItself && poll.screen.slide > 0 && poll.screen.slide != watch.lastShown) {
            object(fmt::format("{} is not told of slide {} seen at {}", host.name(), poll.screen.slide, seen));
        }
        if (watch.visitsDue && *watch.visitsDue != watch.visitsTold) {
            object(fmt::format("{} is told of {} visits, not {}", host.name(), watch.visitsTold, *watch.visitsDue));
        }
    }

    World& world_;
    std::map<const Host*, Watches> watches_;
};

}  // namespace

std::unique_ptr<Promise> timelineIsTrue(World& world, Story& story) {
    return std::make_unique<TimelineIsTrue>(world, story);
}

}  // namespace simulation
