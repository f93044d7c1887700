#include "simulation/Lecture.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <initializer_list>
#include <utility>

namespace simulation {

using namespace std::chrono_literals;

namespace {

/// Numbers that are the same wherever they are drawn: the standard's distributions are not.
class Dice {
public:
    explicit Dice(std::uint64_t seed) : state_(seed) {}

    /// A number from `least` to `most`.
    std::int64_t between(std::int64_t least, std::int64_t most) {
        const auto choices = static_cast<std::uint64_t>(std::max<std::int64_t>(most - least, 0)) + 1;
        return least + static_cast<std::int64_t>(next() % choices);
    }
    bool oneIn(std::int64_t n) { return between(1, n) == 1; }
    /// An index, each as often as its weight says.
    std::size_t pick(std::initializer_list<int> weights) {
        int sum = 0;
        for (const int weight : weights) sum += weight;
        auto left = between(1, sum);
        std::size_t index = 0;
        for (const int weight : weights) {
            if ((left -= weight) <= 0) break;
            ++index;
        }
        return index;
    }

private:
    /// SplitMix64.
    std::uint64_t next() {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31U);
    }

    std::uint64_t state_;
};

/// Writes a lecture down. It remembers roughly how things stand, so that most of what happens makes sense.
class Author {
public:
    explicit Author(std::uint64_t seed) : dice_(seed) {}

    Events write() {
        const auto hosts = static_cast<int>(1 + dice_.pick({70, 20, 7, 3}));
        const auto programs = static_cast<int>(1 + dice_.pick({75, 20, 5}));
        isCalm_ = dice_.oneIn(3);
        if (dice_.oneIn(8)) add(Kind::listsComeLate, 0, dice_.between(10'000, 3'000'000));
        if (dice_.oneIn(2)) launch(0);
        add(Kind::hostStarts, 0, 0);
        for (auto left = dice_.between(4, 36); left > 0; --left) {
            pass();
            happen(static_cast<int>(dice_.between(0, hosts - 1)), static_cast<int>(dice_.between(0, programs - 1)));
        }
        pass();
        if (dice_.oneIn(6)) now_ += 92s;
        add(Kind::diskIsMended, 0, 0);
        // From the beginning on: then it hits starts, shows and images alike.
        if (dice_.oneIn(5)) events_.insert(events_.begin(), {{}, Kind::serviceEnds, 0, dice_.between(0, 40)});
        return std::move(events_);
    }

private:
    struct Program {
        bool runs = false;
        bool plays = false;
    };

    void add(Kind kind, int who, std::int64_t value) {
        // Each event has nanoseconds of its own.
        events_.push_back({now_ + Duration(events_.size() + 1), kind, who, value});
    }

    void pass() {
        static constexpr std::array<std::pair<std::int64_t, std::int64_t>, 4> kSpans{
            {{30'000, 300'000}, {300'000, 2'000'000}, {2'000'000, 8'000'000}, {20'000'000, 100'000'000}}};
        const auto [least, most] = kSpans.at(dice_.pick({45, 44, 10, 1}));
        now_ += std::chrono::microseconds(dice_.between(least, most));
    }

    void happen(int host, int program) {
        Program& it = programs_.at(static_cast<std::size_t>(program));
        switch (dice_.pick({55, 15, 14, isCalm_ ? 0 : 12, isCalm_ ? 0 : 4})) {
            case 0:
                return lecture(it, program);
            case 1:
                return command(host);
            case 2:
                return manage(it, program);
            case 3:
                return fail(program);
            default:
                return disturb(host);
        }
    }

    void lecture(Program& it, int program) {
        if (!it.runs) return launch(program);
        if (!it.plays) {
            it.plays = true;
            if (dice_.oneIn(3)) add(Kind::deckOpens, program, dice_.between(0, 2));
            return add(Kind::showStarts, program, dice_.between(0, 1));
        }
        it.plays = !dice_.oneIn(6);
        it.plays ? add(Kind::slideComes, program, dice_.oneIn(20) ? 0 : dice_.between(1, 6))
                 : add(Kind::showStops, program, 0);
    }

    void command(int host) {
        // Half a second is what an answer may take: the next poll would be due at the same moment.
        static constexpr std::array<std::int64_t, 6> kIntervals{62'500,  125'000,   250'000,
                                                                499'998, 1'000'000, 2'000'000};
        switch (dice_.pick({40, 14, 12, 10, 6, 9, 6, 9})) {
            case 0:
                return add(Kind::hostStarts, host, static_cast<std::int64_t>(dice_.pick({84, 4, 4, 4, 4})));
            case 1:
                return add(Kind::hostStops, host, 0);
            case 2:
                return add(Kind::hostLeaves, host, 0);
            case 3:
                return add(Kind::hostSetsInterval, host, kIntervals.at(dice_.pick({5, 15, 30, 30, 10, 10})));
            case 4:
                return add(Kind::hostEndsShow, host, 0);
            case 5:
                return add(Kind::hostExtracts, host, dice_.between(0, 4));
            case 6:
                return add(Kind::hostAsksForWindows, host, dice_.between(0, 1));
            default:
                return add(Kind::hostWaitsForSaving, host, 0);
        }
    }

    void manage(Program& it, int program) {
        if (!it.runs) return launch(program);
        switch (dice_.pick({30, 20, 25, 25, 12, 5})) {
            case 0:
                it = {};
                return add(Kind::programQuits, program, 0);
            case 1:
                return add(Kind::programChangesIdentifier, program, 0);
            case 2:
                return add(Kind::deckOpens, program, dice_.between(0, 2));
            case 3:
                return add(Kind::deckComesToFront, program, dice_.between(0, 2));
            case 4:
                return add(Kind::deckIsEdited, program, dice_.between(0, 8));
            default:
                return add(Kind::deckCloses, program, 0);
        }
    }

    void launch(int program) {
        programs_.at(static_cast<std::size_t>(program)).runs = true;
        const auto isTooOld = dice_.oneIn(20) ? kIsTooOld : 0;
        add(Kind::programLaunches, program, dice_.between(0, 1) * kTellsTimes + isTooOld);
        add(Kind::deckOpens, program, 0);
    }

    void fail(int program) {
        if (dice_.oneIn(2)) return add(Kind::faultsEnd, program, 0);
        // Times to come are seen to be wrong; old ones may be true of a show that nobody has watched.
        if (dice_.oneIn(8)) return add(Kind::programClockIsWrong, program, dice_.between(0, 1) * 3'600'000'000);
        add(Kind::faultBegins, program, dice_.between(0, static_cast<std::int64_t>(faults().size()) - 1));
    }

    void disturb(int host) {
        switch (dice_.pick({4, 3, 4, 2})) {
            case 0:
                return add(Kind::everythingStalls, 0, dice_.between(1'000, 9'000'000));
            case 1:
                return add(Kind::clockIsSet, 0, dice_.between(-7'200'000'000, 7'200'000'000));
            case 2:
                return add(Kind::diskFails, host, dice_.between(0, 3));
            default:
                return add(Kind::diskIsMended, 0, 0);
        }
    }

    Dice dice_;
    bool isCalm_ = false;
    Duration now_{};
    Events events_;
    std::array<Program, 3> programs_{};
};

}  // namespace

Events makeLecture(std::uint64_t seed) {
    return Author(seed).write();
}

}  // namespace simulation
