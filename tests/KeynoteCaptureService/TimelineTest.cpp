#include "KeynoteCaptureService/Timeline.h"
#include "tests/KeynoteCaptureService/Scenario.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

Instant at(Duration time) {
    return Instant(time);
}

TimeBounds bounds(Duration earliest, Duration latest) {
    return {at(earliest), at(latest)};
}

std::string text(const TimelineEntry& entry) {
    static constexpr const char* kNames[] = {"started", "shown", "ended", "unseen from", "unseen to"};
    const auto milliseconds = [](const std::optional<Instant>& time) {
        return time ? std::to_string(
                          std::chrono::duration_cast<std::chrono::milliseconds>(time->time_since_epoch()).count())
                    : "";
    };
    const auto slide = entry.slideNumber > 0 ? fmt::format(" {}", entry.slideNumber) : "";
    return fmt::format("{}{} {}..{}", kNames[static_cast<int>(entry.event)], slide, milliseconds(entry.at.earliest),
                       milliseconds(entry.at.latest));
}

/// Notes what a timeline tells. A poll takes ten milliseconds.
class TimelineTest : public testing::Test {
protected:
    void poll(Duration sent, const Timeline::Seen& seen) {
        timeline.sent(at(sent));
        note(timeline.answered(seen, at(sent + 10ms)));
    }
    void fail(Duration sent) {
        timeline.sent(at(sent));
        note(timeline.failed());
    }
    void note(const Timeline::Entries& entries) {
        for (const auto& entry : entries) told.push_back(text(entry));
    }
    static Timeline::Seen playing(std::int64_t slide, ScriptingTimes times = {}) {
        return {true, slide, "deck", std::move(times)};
    }

    Timeline timeline;
    std::vector<std::string> told;
    using Told = std::vector<std::string>;
};

TEST_F(TimelineTest, PollsBoundWhatAProgramDoesNotTell) {
    poll(0ms, {});
    poll(250ms, playing(3));
    poll(500ms, playing(3));
    poll(750ms, playing(4));
    poll(1000ms, playing(0));
    poll(1250ms, playing(4));
    poll(1500ms, {});
    EXPECT_EQ(told,
              (Told{"started 0..260", "shown 3 0..260", "shown 4 500..760", "shown 4 1000..1260", "ended 1250..1510"}));
}

TEST_F(TimelineTest, AShowThatRunsAlreadyMayHaveStartedAtAnyTime) {
    poll(100ms, playing(1));
    note(timeline.programGone(at(300ms)));
    EXPECT_EQ(told, (Told{"started ..110", "shown 1 ..110", "ended 100..300"}));
}

TEST_F(TimelineTest, PollsThatAreMissedMakeTimeUnseen) {
    poll(0ms, playing(1));
    fail(250ms);
    fail(750ms);
    poll(1250ms, playing(2));
    timeline.skipped();
    poll(2000ms, playing(2));
    timeline.skipped();
    poll(2500ms, playing(3));
    poll(2750ms, playing(3));
    fail(3000ms);
    poll(3500ms, {});
    EXPECT_EQ(told, (Told{"started ..10", "shown 1 ..10", "unseen from 0..10", "unseen to 1250..1260",
                          "shown 2 0..1260", "unseen from 2000..2010", "shown 3 2000..2510", "unseen to 2750..2760",
                          "unseen from 2750..2760", "unseen to 3500..3510", "ended 2750..3510"}));
}

TEST_F(TimelineTest, TheProgramsTimesAreNarrowerAndFillWhatNoPollSaw) {
    poll(0ms, {});
    ScriptingTimes times{bounds(30ms, 40ms), {{1, 1, bounds(35ms, 45ms)}}, {}, ""};
    poll(250ms, playing(1, times));
    times.visits.push_back({2, 2, bounds(300ms, 310ms)});
    times.visits.push_back({2, 3, bounds(310ms, 320ms)});
    times.visits.push_back({1, 4, bounds(400ms, 405ms)});
    timeline.skipped();
    poll(500ms, playing(1, times));
    poll(750ms, playing(1, times));
    times.visits.push_back({5, 5, bounds(765ms, 766ms)});
    times.showEnded = bounds(800ms, 802ms);
    times.endedDocumentID = "deck";
    poll(1000ms, {false, 0, "", times});
    EXPECT_EQ(told, (Told{"started 30..40", "shown 1 35..45", "shown 2 300..310", "shown 2 310..320",
                          "shown 1 400..405", "shown 5 765..766", "ended 800..802"}));
}

TEST_F(TimelineTest, AShowThatFollowsAnotherBetweenTwoPollsIsSeen) {
    poll(0ms, {});
    poll(250ms, playing(1, {bounds(30ms, 40ms), {{1, 1, bounds(35ms, 45ms)}}, {}, ""}));
    poll(500ms, playing(1, {bounds(400ms, 410ms), {{1, 1, bounds(405ms, 415ms)}}, {}, ""}));
    EXPECT_EQ(told,
              (Told{"started 30..40", "shown 1 35..45", "ended 250..410", "started 400..410", "shown 1 405..415"}));
}

TEST_F(TimelineTest, ThePollsDoNotCutWhatTheProgramTells) {
    ScriptingTimes times{bounds(230ms, 290ms), {{1, 1, bounds(230ms, 290ms)}}, {}, ""};
    poll(0ms, {});
    poll(250ms, {});
    poll(500ms, playing(1, times));
    times.visits.push_back({2, 2, bounds(490ms, 530ms)});
    poll(750ms, playing(2, times));
    times.showEnded = bounds(990ms, 1490ms);
    times.endedDocumentID = "deck";
    poll(1000ms, {false, 0, "", times});
    EXPECT_EQ(told, (Told{"started 230..290", "shown 1 230..290", "shown 2 490..530", "ended 990..1490"}));
}

TEST_F(TimelineTest, EachVisitIsToldOnceWhereWideBoundsOverlap) {
    ScriptingTimes times{bounds(30ms, 40ms), {{1, 1, bounds(35ms, 45ms)}}, {}, ""};
    poll(0ms, {});
    poll(250ms, playing(1, times));
    times.visits.push_back({2, 2, bounds(300ms, 800ms)});
    times.visits.push_back({3, 3, bounds(360ms, 860ms)});
    times.visits.push_back({2, 2, bounds(420ms, 920ms)});
    poll(500ms, playing(2, times));
    poll(750ms, playing(2, times));
    EXPECT_EQ(told,
              (Told{"started 30..40", "shown 1 35..45", "shown 2 300..800", "shown 3 360..860", "shown 2 420..920"}));
}

TEST_F(TimelineTest, AbsurdTimesLeaveThePollsBounds) {
    const std::vector<ScriptingVisit> absurd[] = {
        {{1, 1, bounds(100ms, 110ms)}, {2, 2, bounds(900ms, 910ms)}},                                // the future
        {{1, 1, bounds(100ms, 110ms)}, {2, 2, bounds(310ms, 300ms)}},                                // backwards
        {{1, 1, bounds(100ms, 110ms)}, {3, 3, bounds(310ms, 320ms)}, {2, 2, bounds(300ms, 310ms)}},  // out of order
        {{1, 1, bounds(10ms, 20ms)}, {2, 2, bounds(300ms, 310ms)}},                                  // before the show
        {{1, 1, bounds(100ms, 110ms)}, {0, 2, bounds(300ms, 310ms)}, {2, 3, bounds(320ms, 330ms)}},  // no slide
        {{1, 1, bounds(100ms, 110ms)}, {2, 2, {{}, at(300ms)}}},                                     // no beginning
    };
    for (const auto& visits : absurd) {
        timeline = {};
        told.clear();
        poll(0ms, {});
        poll(250ms, playing(1, {bounds(90ms, 95ms), {{1, 1, bounds(100ms, 110ms)}}, {}, ""}));
        poll(500ms, playing(2, {bounds(90ms, 95ms), visits, {}, ""}));
        poll(750ms, {false, 0, "", {bounds(90ms, 95ms), {}, bounds(100ms, 200ms), "deck"}});
        EXPECT_EQ(told, (Told{"started 90..95", "shown 1 100..110", "shown 2 250..510", "ended 500..760"}));
    }
}

TEST_F(TimelineTest, MoreVisitsThanAProgramKeepsAreSaidToBeUnseen) {
    poll(0ms, playing(1, {{}, {{1, 1, bounds(0ms, 5ms)}}, {}, ""}));
    ScriptingTimes times;
    for (int i = 0; i < static_cast<int>(kMostVisits); ++i) {
        times.visits.push_back({2 + i % 2, 2 + i, bounds(300ms + i * 2ms, 301ms + i * 2ms)});
    }
    poll(500ms, playing(3, times));
    ASSERT_EQ(told.size(), 4 + kMostVisits);
    EXPECT_EQ(Told(told.begin() + 2, told.begin() + 5),
              (Told{"unseen from 0..10", "unseen to 300..301", "shown 2 300..301"}));
}

/// A screen, a program that watches it more or less well, and polls that are late, left out and fail.
struct Lecture {
    struct Shown {
        std::int64_t slide;
        Duration began;
    };

    explicit Lecture(unsigned seed) : random(seed) {
        start = Duration(between(100'000, 2'000'000));
        Duration now = start;
        for (int i = between(1, 60); i > 0; --i) {
            shown.push_back({between(1, 4), now});
            now += Duration(between(0, 5) == 0 ? between(1'000'000, 3'000'000) : between(1'000, 400'000));
            if (shown.size() > 1 && shown.back().slide == shown[shown.size() - 2].slide) shown.back().slide += 4;
        }
        end = now;
    }

    int between(int least, int most) { return std::uniform_int_distribution(least, most)(random); }
    TimeBounds around(Duration time) {
        return bounds(time - Duration(between(0, 900)), time + Duration(between(0, 900)));
    }

    /// What the program tells at a moment.
    Timeline::Seen seen(Duration now, bool tellsTimes) {
        while (told.size() < shown.size() && shown[told.size()].began + 1000ns < now) {
            told.push_back({shown[told.size()].slide, static_cast<std::int64_t>(told.size() + 1),
                            around(shown[told.size()].began)});
        }
        Timeline::Seen result{now >= start && now < end, 0, "deck", {}};
        for (const auto& each : shown) {
            if (result.playing && each.began <= now) result.slideNumber = each.slide;
        }
        if (tellsTimes && !told.empty()) {
            result.times.visits.assign(told.size() > kMostVisits ? told.end() - kMostVisits : told.begin(), told.end());
        }
        return result;
    }

    std::mt19937 random;
    std::vector<Shown> shown;
    std::vector<ScriptingVisit> told;
    Duration start{};
    Duration end{};
};

TEST_F(TimelineTest, BoundsAreTrueWhateverPollsDo) {
    for (unsigned seed = 0; seed < 500; ++seed) {
        Lecture lecture(seed);
        const bool tellsTimes = seed % 2 == 0;
        timeline = {};
        std::size_t known = 0;
        std::vector<TimelineEntry> entries;
        const auto take = [&entries](const Timeline::Entries& more) {
            entries.insert(entries.end(), more.begin(), more.end());
        };
        for (Duration now{}; now < lecture.end + 3ms; now += Duration(lecture.between(100'000, 400'000))) {
            timeline.sent(at(now));
            now += Duration(lecture.between(1'000, 50'000));
            const auto looked = now;
            now += Duration(lecture.between(1'000, 50'000));
            if (lecture.between(0, 9) == 0) timeline.skipped();
            if (lecture.between(0, 9) == 0) {
                take(timeline.failed());
            } else {
                take(timeline.answered(lecture.seen(looked, tellsTimes), at(now)));
                if (looked < lecture.end) known = lecture.told.size();
            }
        }
        auto next = lecture.shown.begin();
        for (const auto& entry : entries) {
            const auto isWithin = [&entry](Duration time) {
                return entry.at.earliest <= at(time) && at(time) <= entry.at.latest;
            };
            if (entry.event == TimelineEvent::showStarted) {
                EXPECT_TRUE(isWithin(lecture.start)) << seed << ": " << text(entry);
            }
            if (entry.event == TimelineEvent::showEnded) {
                EXPECT_TRUE(isWithin(lecture.end)) << seed << ": " << text(entry);
            }
            if (entry.event != TimelineEvent::slideShown) continue;
            // Those that no poll saw may be missing where the program tells nothing.
            next = std::find_if(next, lecture.shown.end(), [&](const auto& each) {
                return each.slide == entry.slideNumber && isWithin(each.began);
            });
            ASSERT_NE(next, lecture.shown.end())
                << "seed " << seed << ": " << text(entry) << " is false, or told twice";
            ++next;
        }
        const auto found = std::ranges::count(entries, TimelineEvent::slideShown, &TimelineEntry::event);
        EXPECT_TRUE(!tellsTimes || found >= static_cast<std::ptrdiff_t>(known))
            << "seed " << seed << ": a visit is missing";
    }
}

/// The service's timeline, in virtual time: a poll every 250 ms, answered at once.
class TimelineOfAService : public Scenario {
protected:
    void SetUp() override {
        service = KeynoteCaptureService::initWithDelegate(host);
        service->setTimelineListener(host);
        start();
    }
    /// A show that no poll sees all of.
    void present() {
        keynote.launch();
        const auto deck = keynote.open("deck.key");
        run(1100ms);
        ASSERT_EQ(keynote.model.startShow(deck), nullptr);
        run(60ms);
        ASSERT_EQ(keynote.model.goToSlide(5), nullptr);
        run(60ms);
        ASSERT_EQ(keynote.model.goToSlide(2), nullptr);
        run(600ms);
        ASSERT_EQ(keynote.model.stopShow(), nullptr);
        run(300ms);
    }
};

TEST_F(TimelineOfAService, IsExactWhereTheProgramTellsTimes) {
    keynote.model.tellTimes([this] { return platform.dispatch.steadyNow(); });
    present();
    EXPECT_EQ(host->timeline, (Calls{"P1 started 1100..1100", "P1 shown 1 1100..1100", "P1 shown 5 1160..1160",
                                     "P1 shown 2 1220..1220", "P1 ended 1820..1820"}));
}

TEST_F(TimelineOfAService, IsBoundByPollsElsewhere) {
    present();
    EXPECT_EQ(host->timeline, (Calls{"P1 started 1000..1250", "P1 shown 2 1000..1250", "P1 ended 1750..2000"}));
}

TEST_F(TimelineOfAService, KnowsNothingOfAShowFromBeforeItWatched) {
    keynote.launch();
    const auto deck = keynote.open("deck.key");
    run(600ms);
    ASSERT_EQ(keynote.model.startShow(deck), nullptr);
    run(300ms);
    start();
    EXPECT_EQ(host->timeline, (Calls{"P1 started 500..750", "P1 shown 1 500..750", "P1 unseen from 750..750",
                                     "P2 started ..900", "P2 shown 1 ..900"}))
        << "a second start";

    Program second(platform, 101);
    platform.workspace.tellsAfter = 1s;
    keynote.quit();
    run(100ms);
    second.launch();
    ASSERT_EQ(second.model.startShow(second.open("b.key")), nullptr);
    run(2s);
    ASSERT_GT(host->timeline.size(), 2U);
    EXPECT_EQ(Calls(host->timeline.end() - 3, host->timeline.end()),
              (Calls{"P2 ended 900..1900", "P3 started ..2000", "P3 shown 1 ..2000"}))
        << "another program, whose predecessor was seen to go late";
}

TEST_F(TimelineOfAService, TellsWhatNobodySaw) {
    keynote.launch();
    const auto deck = keynote.open("deck.key");
    ASSERT_EQ(keynote.model.startShow(deck), nullptr);
    run(300ms);
    keynote.model.faults().neverAnswers = true;
    run(2s);
    keynote.model.faults().neverAnswers = false;
    run(1s);
    keynote.model.faults().answersLate = 400ms;
    run(1s);
    service->stopDetectionAndCapture();
    run(1s);
    EXPECT_EQ(host->timeline, (Calls{"P1 started 0..250", "P1 shown 1 0..250", "P1 unseen from 250..250",
                                     "P1 unseen to 2500..2500", "P1 unseen from 3500..3900"}));
}

}  // namespace
