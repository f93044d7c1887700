#include "presenters/impress/show/DrawingLag.h"
#include "presenters/impress/show/ShowRecord.h"

#include <gtest/gtest.h>
#include <utility>

namespace impress {
namespace {

using namespace std::chrono_literals;

/// What is told of a deck that the office shows, with slide 9.
class ShowRecordTest : public testing::Test {
protected:
    static Instant at(Duration time) { return Instant(time); }
    static TimeBounds bounds(Duration earliest, Duration latest) { return {at(earliest), at(latest)}; }
    [[nodiscard]] PresentingState told(bool playing = true, Duration now = 1s) const {
        return record.told({playing, ScriptingDocumentState{"deck", {}, 9}, {}}, at(now));
    }
    void show(std::int64_t slide, std::int64_t position, Duration began, Duration by) {
        record.comes(slide, position, at(began));
        record.isShown(at(by));
    }

    ShowRecord record;
};

TEST_F(ShowRecordTest, AShowPlaysOnceItIsOnTheScreen) {
    record.begins("deck", at(5ms));
    record.isNotBefore(at(10ms));
    record.opensWith(1, 1);
    record.isNotBefore(at(15ms));
    record.hasEnded(at(20ms));  // a window of the show has got the focus
    EXPECT_TRUE(record.awaitsScreen());
    EXPECT_EQ(told().playing, false);
    record.isShown(at(50ms));
    const ScriptingTimes times{bounds(15ms, 50ms), {{1, 1, bounds(15ms, 50ms)}}, {}, ""};
    EXPECT_EQ(told().playing, true);
    EXPECT_EQ(told().times, times);
    record.comes(2, 2, at(60ms));
    EXPECT_EQ(told().times, times);
    EXPECT_EQ(told().firstDocument->currentSlideNumber, 1) << "the screen may show it already, or not yet";
    EXPECT_TRUE(record.awaitsScreen());
    record.isNotBefore(at(65ms));
    record.isShown(at(70ms));
    EXPECT_EQ(told().times.showStarted, times.showStarted);
    EXPECT_EQ(told().firstDocument->currentSlideNumber, 2);
}

TEST_F(ShowRecordTest, VisitsAreWhatWasOnTheScreen) {
    record.begins("deck", at(0ms));
    show(1, 1, 0ms, 5ms);
    record.comes(2, 2, at(10ms));  // never drawn
    show(3, 3, 12ms, 20ms);
    show(3, 3, 30ms, 35ms);  // a jump to where one is
    show(3, 4, 40ms, 45ms);  // the same slide again in a custom show
    record.pauses();
    show(3, 4, 60ms, 65ms);
    record.isShown(at(70ms));
    record.comes(5, 5, at(80ms));
    show(0, 0, 81ms, 90ms);  // one that has been deleted meanwhile
    EXPECT_EQ(told().times.visits, (std::vector<ScriptingVisit>{{1, 1, bounds(0ms, 5ms)},
                                                                {3, 3, bounds(12ms, 20ms)},
                                                                {3, 4, bounds(40ms, 45ms)},
                                                                {3, 4, bounds(60ms, 65ms)}}));
}

TEST_F(ShowRecordTest, AnEndMayTakeHalfASecondUntilItIsKnown) {
    record.begins("deck", at(0ms));
    show(1, 1, 0ms, 5ms);
    record.ends(at(100ms));
    EXPECT_EQ(told(false, 90ms).times.showEnded, bounds(100ms, 600ms));
    EXPECT_EQ(told(false, 3s).times.showEnded, bounds(100ms, 3500ms));
    record.hasEnded(at(140ms));
    record.hasEnded(at(145ms));
    EXPECT_EQ(told(false).times.showEnded, bounds(100ms, 140ms));
    EXPECT_EQ(told(false).times.endedDocumentID, "deck");
    show(2, 2, 150ms, 160ms);
    record.ends(at(170ms));
    EXPECT_EQ(told(false).times.visits.size(), 1U);
    EXPECT_EQ(told(false).times.showEnded, bounds(100ms, 140ms));
}

TEST_F(ShowRecordTest, AnEndIsNotBelievedBeforeTheOfficeCanHaveDrawn) {
    record.begins("deck", at(0ms));
    show(1, 1, 0ms, 5ms);
    record.ends(at(100ms));
    record.hasEnded(at(109ms));
    EXPECT_EQ(told(false).times.showEnded, bounds(100ms, 136ms));
    record.drawsBeforeFocus();
    record.begins("deck", at(200ms));
    show(1, 1, 200ms, 205ms);
    record.ends(at(300ms));
    record.hasEnded(at(309ms));
    EXPECT_EQ(told(false).times.showEnded, bounds(300ms, 309ms));
    EXPECT_TRUE(drawsBeforeFocus("7.4"));
    for (const auto* const late : {"25.2", "24.8", "7.5", ""}) EXPECT_FALSE(drawsBeforeFocus(late)) << late;
}

TEST_F(ShowRecordTest, AShowThatWasNeverSeenLeavesNoTrace) {
    record.begins("deck", at(0ms));
    show(1, 1, 0ms, 5ms);
    record.ends(at(100ms));
    record.hasEnded(at(130ms));
    const auto before = told(false);
    record.begins("deck", at(200ms));
    record.opensWith(1, 1);
    record.ends(at(210ms));
    record.isShown(at(220ms));
    record.hasEnded(at(230ms));
    EXPECT_EQ(told(false).times, before.times);
}

TEST_F(ShowRecordTest, TellsNothingOfOtherShows) {
    record.begins("other", at(0ms));
    show(1, 1, 0ms, 5ms);
    EXPECT_EQ(told().times, ScriptingTimes());
    EXPECT_EQ(told().firstDocument->currentSlideNumber, 9);
    record.begins("deck", {});
    record.opensWith(4, 4);
    EXPECT_EQ(told().times, ScriptingTimes()) << "it ran before";
    record.comes(5, 0, at(10ms));
    EXPECT_EQ(told().firstDocument->currentSlideNumber, 4) << "the office may be at the next one already";
    record.isShown(at(15ms));
    EXPECT_EQ(told().times, (ScriptingTimes{{}, {{5, 0, bounds(10ms, 15ms)}}, {}, ""}));
}

TEST(DrawingLagTest, OnlyPlainWindowsDrawAtOnce) {
    EXPECT_EQ(
        drawingLag("7f /usr/lib/libc.so\n7f /opt/program/libvclplug_genlo.so\n8f /opt/program/libvclplug_genlo.so"),
        0ms);
    for (const char* maps : {"", "7f /usr/lib/libc.so", "7f /opt/program/libvclplug_gtk3lo.so",
                             "7f /opt/libvclplug_genlo.so\n8f /opt/libvclplug_kf5lo.so"}) {
        EXPECT_EQ(drawingLag(maps), 500ms) << maps;
    }
}

}  // namespace
}  // namespace impress
