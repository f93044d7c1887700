#pragma once

#include "host/DelegateCalls.h"
#include "ports/Timeline.h"
#include "simulation/Watch.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simulation {

struct WindowQuery;

/// What is said about a lecture while it runs: the first objection, and what happens, for whoever wants to read it.
class Story {
public:
    using Reader = std::function<void(const std::string& line)>;

    /// Without a reader nothing is worded.
    Story(const simulated::SimulatedDispatch& clock, Reader reader) : clock_(clock), reader_(std::move(reader)) {}

    /// A promise is broken; the first objection counts.
    void object(const std::string& sentence);
    [[nodiscard]] const std::optional<std::string>& objection() const { return objection_; }
    [[nodiscard]] bool isRead() const { return reader_ != nullptr; }
    void tell(const std::string& words) const;

private:
    const simulated::SimulatedDispatch& clock_;
    Reader reader_;
    std::optional<std::string> objection_;
};

/// Something that a host, a lecturer or an administrator may rely on. Hears what happens and objects when it is broken.
class Promise {
public:
    explicit Promise(Story& story) : story_(story) {}
    virtual ~Promise() = default;
    Promise(const Promise&) = delete;
    Promise& operator=(const Promise&) = delete;

    /// The service tells a host something.
    virtual void told(Host& /*host*/, const host::DelegateCall& /*call*/) {}
    virtual void reported(const Host& /*host*/, const TimelineReport& /*report*/) {}
    /// The service sends an event to a program: its name and arguments.
    virtual void sent(const std::string& /*event*/) {}
    /// A file is moved; made or emptied when `from` is empty.
    virtual void fileMoved(const std::filesystem::path& /*from*/, const std::filesystem::path& /*to*/) {}
    /// What has to be, by what a host is promised: a poll is sent, answered or left out because of an earlier one,
    /// nobody polls any more, the program has gone, images are wanted.
    virtual void polled(const Host& /*host*/, const Poll& /*poll*/) {}
    virtual void answered(const Host& /*host*/, const Poll& /*poll*/) {}
    virtual void leftOut(const Host& /*host*/) {}
    virtual void unwatched(const Host& /*host*/) {}
    virtual void gone(const Host& /*host*/) {}
    virtual void exportIsDue(const Host& /*host*/, const std::string& /*event*/) {}
    /// A host has asked for windows. The answer comes at once; later ones would be too many.
    virtual void askedForWindows(const WindowQuery& /*query*/) {}
    /// The service has been killed: what was due at this moment may have been done or not, and its hosts have left.
    virtual void serviceEnded() {}
    /// Everything before this moment has happened.
    virtual void passed(Instant /*now*/) {}
    /// No program runs any more, and whatever was awaited has come or not; the hosts are still there.
    virtual void rested() {}
    /// The lecture is over: programs and hosts have gone, and nothing waits any more.
    virtual void ended() {}

protected:
    void object(const std::string& sentence) { story_.object(sentence); }
    [[nodiscard]] Story& story() { return story_; }

private:
    Story& story_;
};

/// All promises; what each hears is passed on to all.
class Promises {
public:
    Promises(World& world, Story& story);
    ~Promises();

    void told(Host& host, const host::DelegateCall& call);
    void reported(const Host& host, const TimelineReport& report);
    void sent(const std::string& event);
    void fileMoved(const std::filesystem::path& from, const std::filesystem::path& to) {
        tell(&Promise::fileMoved, from, to);
    }
    void polled(const Host& host, const Poll& poll) { tell(&Promise::polled, host, poll); }
    void answered(const Host& host, const Poll& poll) { tell(&Promise::answered, host, poll); }
    void leftOut(const Host& host) { tell(&Promise::leftOut, host); }
    void unwatched(const Host& host) { tell(&Promise::unwatched, host); }
    void gone(const Host& host) { tell(&Promise::gone, host); }
    void exportIsDue(const Host& host, const std::string& event) { tell(&Promise::exportIsDue, host, event); }
    void askedForWindows(const WindowQuery& query) { tell(&Promise::askedForWindows, query); }
    void serviceEnded() { tell(&Promise::serviceEnded); }
    void passed(Instant now) { tell(&Promise::passed, now); }
    void rested() { tell(&Promise::rested); }
    void ended() { tell(&Promise::ended); }

private:
    template <typename Call, typename... Arguments>
    void tell(Call call, Arguments&&... arguments) {
        for (const auto& promise : all_) ((*promise).*call)(arguments...);
    }

    Story& story_;
    std::vector<std::unique_ptr<Promise>> all_;
};

/// A call in words, as promises are worded; the start of a show without its details.
[[nodiscard]] std::string words(const host::DelegateCall& call);
/// Domain and code; "ok" without an error.
[[nodiscard]] std::string words(const ErrorPtr& error);

}  // namespace simulation
