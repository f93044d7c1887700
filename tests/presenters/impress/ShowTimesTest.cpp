#include "tests/presenters/impress/ImpressFixture.h"

#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <utility>

using css::presentation::XPresentation2;
using css::presentation::XSlideShowController;
using css::uno::Reference;

namespace {

Instant now() {
    return std::chrono::steady_clock::now();
}

/// What the bridge tells of its shows' times.
class ShowTimes : public Impress {
protected:
    /// The visits of the running show by number and position, once there are so many.
    std::vector<std::pair<std::int64_t, std::int64_t>> visits(std::size_t count) {
        EXPECT_TRUE(eventually([&] {
            last = poll(*program);
            return last.playing && last.times.visits.size() >= count;
        }));
        std::vector<std::pair<std::int64_t, std::int64_t>> told;
        for (const auto& visit : last.times.visits) told.emplace_back(visit.slideNumber, visit.position);
        return told;
    }
    void end(const Reference<XPresentation2>& show) {
        show->end();
        EXPECT_TRUE(eventually([&] { return !(last = poll(*program)).playing; }));
    }
    static void expectWithin(Instant earliest, const std::optional<TimeBounds>& bounds, Instant latest) {
        ASSERT_TRUE(bounds);
        EXPECT_LE(earliest, bounds->earliest);
        EXPECT_LE(*bounds->earliest, bounds->latest);
        EXPECT_LE(bounds->latest, latest);
    }

    PolledState last;
    using Visits = std::vector<std::pair<std::int64_t, std::int64_t>>;
};

TEST_F(ShowTimes, AreThoseOfStartVisitsAndEnd) {
    const auto document = open(lecture);
    const auto show = ImpressSession::showOf(document);
    for (int round = 0; round < 2; ++round) {
        std::vector<Instant> moments{now()};
        show->start();
        EXPECT_EQ(visits(1), (Visits{{1, 1}}));
        const auto controller = show->getController();
        const auto go = [&](const std::function<void()>& command, std::size_t count) {
            moments.push_back(now());
            command();
            EXPECT_EQ(visits(count).size(), count);
            EXPECT_EQ(last.slideNumber, last.times.visits.back().slideNumber);
        };
        go([&] { controller->gotoSlideIndex(3); }, 2);
        go([&] { controller->gotoNextSlide(); }, 3);
        go([&] { controller->gotoLastSlide(); }, 4);
        controller->gotoNextSlide();
        ASSERT_TRUE(eventually([&] { return controller->isPaused() != 0; })) << "the end screen is no visit";
        go([&] { controller->gotoFirstSlide(); }, 5);
        EXPECT_EQ(visits(5), (Visits{{1, 1}, {4, 4}, {6, 6}, {8, 8}, {1, 1}})) << "slide 5 is hidden";
        moments.push_back(now());
        expectWithin(moments[0], last.times.showStarted, moments[1]);
        for (std::size_t i = 0; i < 5; ++i) expectWithin(moments[i], last.times.visits[i].began, moments[i + 1]);
        EXPECT_FALSE(last.times.showEnded);
        const auto id = last.documentID;
        end(show);
        EXPECT_EQ(last.times.endedDocumentID, id);
        EXPECT_EQ(last.times.visits.size(), 5U);
        EXPECT_TRUE(eventually([&] { return poll(*program).times.showEnded->latest < now(); }));
        expectWithin(moments.back(), poll(*program).times.showEnded, now());
    }
    document->dispose();
}

TEST_F(ShowTimes, TellTheSameSlideTwiceInARow) {
    auto text = contentsOf(LECTURE);
    const std::string settings = "<presentation:settings presentation:mouse-visible=\"false\"/>";
    text.replace(text.find(settings), settings.size(),
                 "<presentation:settings presentation:show=\"twice\"><presentation:show presentation:name=\"twice\" "
                 "presentation:pages=\"Closing,Rates in daily use,Rates in daily use\"/></presentation:settings>");
    writeFile(session->folder() / "twice.fodp", text);
    const auto document = open(session->folder() / "twice.fodp");
    const auto show = ImpressSession::showOf(document);
    show->start();
    EXPECT_EQ(visits(1), (Visits{{8, 1}}));
    show->getController()->gotoNextSlide();
    EXPECT_EQ(visits(2).size(), 2U);
    show->getController()->gotoNextSlide();
    EXPECT_EQ(visits(3), (Visits{{8, 1}, {3, 2}, {3, 3}}));
    end(show);
    document->dispose();
}

TEST_F(ShowTimes, OfAShowThatRanBeforeTheBridgeAreThoseSince) {
    const auto document = open(lecture);
    const auto show = ImpressSession::showOf(document);
    show->start();
    EXPECT_EQ(visits(1).size(), 1U);
    session->startBridge();
    ASSERT_TRUE(session->waitForProgram());
    session->bridge().waitForComplaint("Attached");
    program = session->program();
    EXPECT_EQ(visits(0), Visits{});
    EXPECT_TRUE(last.playing);
    EXPECT_EQ(last.slideNumber, 1);
    const auto before = now();
    // Until it listens, a change may go by.
    EXPECT_TRUE(eventually([&] {
        show->getController()->gotoNextSlide();
        return !poll(*program).times.visits.empty();
    }));
    EXPECT_FALSE(poll(*program).times.showStarted);
    expectWithin(before, visits(1).empty() ? std::nullopt : std::optional(last.times.visits[0].began), now());
    end(show);
    document->dispose();
}

TEST_F(ShowTimes, AreNotToldOfAShowThatNeverCame) {
    const auto document = open(lecture);
    const auto show = ImpressSession::showOf(document);
    for (int round = 0; round < 5; ++round) {
        show->start();
        show->end();
    }
    show->start();
    EXPECT_EQ(visits(1), (Visits{{1, 1}}));
    EXPECT_TRUE(last.playing);
    end(show);
    document->dispose();
}

}  // namespace
