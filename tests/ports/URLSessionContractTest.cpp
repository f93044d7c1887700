#include "MacShared/Atomic.h"
#include "platform/simulated/SimulatedURLSessions.h"
#include "tests/platform/linux/http/CurlHarness.h"
#include "tests/support/Contract.h"

#include <optional>

using namespace std::chrono_literals;

namespace {

using Notes = Recorder::Notes;

/// What a server of either platform does: a response in pieces, perhaps one that never ends.
struct Page {
    int status = 200;
    std::vector<std::string> body{};
    std::optional<std::string> movedTo{};  ///< a path
    std::chrono::milliseconds pause{};     ///< before each piece
    bool stalls = false;                   ///< after its last piece, or before its head when there is none
};

const std::map<std::string, Page> kPages = {
    {"/hello", {200, {"hello ", "world"}}},
    {"/nothing", {204}},
    {"/same", {304}},
    {"/error", {500, {"fault"}}},
    {"/moved", {302, {"moved"}, "/hello"}},
    {"/silent", {200, {}, {}, {}, true}},
    {"/stuck", {200, {"hel"}, {}, {}, true}},
    {"/slow", {200, std::vector<std::string>(20, "x"), {}, 50ms}},
};
constexpr auto kTimeout = 600ms;  // far longer than a pause, and shorter than all of them

class Harness {
public:
    virtual ~Harness() = default;
    virtual URLSessions& sessions() = 0;
    virtual std::string url(const std::string& path) = 0;
    virtual bool runUntil(const std::function<bool()>& isSo) = 0;
    /// Does this later, and on another thread where there are some.
    virtual void elsewhere(std::function<void()> task) = 0;
    /// How many requests have come to the server.
    virtual std::size_t requests() = 0;
};

class RealHarness final : public Harness {
public:
    URLSessions& sessions() override { return *curl_.sessions; }
    std::string url(const std::string& path) override { return server_.url(path); }
    bool runUntil(const std::function<bool()>& isSo) override { return eventually(isSo); }
    void elsewhere(std::function<void()> task) override { std::thread(std::move(task)).detach(); }
    std::size_t requests() override { return server_.requests().size(); }

private:
    static ServerAnswer answer(const HTTPServer::Request& request) {
        const auto& page = kPages.at(request.path());
        if (page.stalls && page.body.empty()) return {{}, ServerAnswer::Then::stall};
        std::size_t length = page.stalls ? 1 : 0;
        for (const auto& piece : page.body) length += piece.size();
        std::string head = "HTTP/1.1 " + std::to_string(page.status) + " X\r\n";
        if (page.movedTo) head += "Location: " + *page.movedTo + "\r\n";
        if (!page.body.empty()) head += "Content-Length: " + std::to_string(length) + "\r\n";
        ServerAnswer answer{{head + "\r\n"}, page.stalls ? ServerAnswer::Then::stall : ServerAnswer::Then::keepOpen};
        answer.bytes.insert(answer.bytes.end(), page.body.begin(), page.body.end());
        answer.pause = page.pause;
        return answer;
    }

    HTTPServer server_{answer};
    CurlHarness curl_;
};

class SimulatedHarness final : public Harness {
public:
    SimulatedHarness() {
        sessions_.server = [this](const URLRequest& request) {
            const auto& page = kPages.at(request.url.substr(url("").size()));
            simulated::SimulatedAnswer answer{page.status, {}, page.body, {}, page.pause, page.stalls, {}, {}, {}};
            if (page.movedTo) answer.redirection.emplace().url = url(*page.movedTo);
            if (page.stalls && page.body.empty()) answer.untilHead = 1h;
            return answer;
        };
    }
    URLSessions& sessions() override { return sessions_; }
    std::string url(const std::string& path) override { return "http://server" + path; }
    bool runUntil(const std::function<bool()>& isSo) override {
        for (int i = 0; i < 1000 && !isSo(); ++i) dispatch_.runFor(10ms);
        return isSo();
    }
    void elsewhere(std::function<void()> task) override { dispatch_.mainQueue().after(20ms, std::move(task)); }
    std::size_t requests() override { return sessions_.requests.size(); }

private:
    simulated::SimulatedDispatch dispatch_;
    simulated::SimulatedURLSessions sessions_{dispatch_};
};

class URLSessionContract : public Contract<Harness, RealHarness, SimulatedHarness> {
protected:
    /// What the delegate hears of one request for a path, all of it: invalidation is the last of a session.
    Notes heard(const std::string& path, const std::shared_ptr<Recorder>& recorder = std::make_shared<Recorder>()) {
        URLSessionConfiguration configuration;
        configuration.timeoutIntervalForRequest = kTimeout;
        const auto session = harness->sessions().sessionWithConfiguration(configuration, recorder);
        session->dataTaskWithRequest({harness->url(path)})->resume();
        EXPECT_TRUE(harness->runUntil([&] { return recorder->hasCompleted(); })) << path;
        return allNotes(*session, *recorder);
    }
    Notes allNotes(URLSession& session, const Recorder& recorder) {
        session.invalidateAndCancel();
        EXPECT_TRUE(harness->runUntil([&] { return recorder.notes().back() == "invalid"; }));
        auto notes = recorder.notes();
        notes.pop_back();
        return notes;
    }
};

TEST_P(URLSessionContract, TellsWhatHappensInOrderAndOnce) {
    const std::vector<std::pair<std::string, Notes>> table = {
        {"/hello", {"response 200", "data hello world", "complete"}},
        {"/nothing", {"response 204", "complete"}},
        {"/same", {"response 304", "complete"}},
        {"/error", {"response 500", "data fault", "complete"}},
        {"/moved", {"redirection 302 GET", "response 200", "data hello world", "complete"}},
        {"/silent", {"complete -1001"}},
        {"/stuck", {"response 200", "data hel", "complete -1001"}},
        {"/slow", {"response 200", "data " + std::string(20, 'x'), "complete"}},
    };
    for (const auto& [path, notes] : table) EXPECT_EQ(heard(path), notes) << path;
}

TEST_P(URLSessionContract, TheDelegateDecidesNowOrLaterAndOnce) {
    const auto answerings = std::map<std::string, std::function<void(std::function<void()>)>>{
        {"at once", [](const auto& answer) { answer(); }},
        {"twice", [](const auto& answer) { answer(), answer(); }},
        {"elsewhere", [&](const auto& answer) { harness->elsewhere(answer); }},
    };
    for (const auto& each : answerings) {
        const auto& answering = each.second;
        const auto follower = std::make_shared<Recorder>();
        follower->onRedirection = [&](const auto& handler, const auto& proposed) {
            answering([=] { handler(proposed); });
        };
        EXPECT_EQ(heard("/moved", follower),
                  (Notes{"redirection 302 GET", "response 200", "data hello world", "complete"}));
        const auto refuser = std::make_shared<Recorder>();
        refuser->onRedirection = [&](const auto& handler, const auto&) { answering([=] { handler(std::nullopt); }); };
        EXPECT_EQ(heard("/moved", refuser), (Notes{"redirection 302 GET", "response 302", "data moved", "complete"}));
        const auto canceller = std::make_shared<Recorder>();
        canceller->onResponse = [&](const auto& handler) {
            answering([=] { handler(URLSessionResponseDisposition::cancel); });
        };
        EXPECT_EQ(heard("/hello", canceller), (Notes{"response 200", "complete -999"})) << each.first;
        const auto taker = std::make_shared<Recorder>();
        taker->onResponse = [&](const auto& handler) {
            answering([=] { handler(URLSessionResponseDisposition::allow); });
        };
        EXPECT_EQ(heard("/hello", taker), (Notes{"response 200", "data hello world", "complete"})) << each.first;
        EXPECT_EQ(heard("/nothing", taker).back(), "complete") << each.first;
    }
    const auto forgetful = std::make_shared<Recorder>();
    forgetful->onRedirection = [](const auto&, const auto&) {};
    forgetful->onResponse = [](const auto&) {};
    EXPECT_EQ(heard("/moved", forgetful),
              (Notes{"redirection 302 GET", "response 200", "data hello world", "complete"}));
}

TEST_P(URLSessionContract, ATaskStartsWhenResumedAndCanBeCancelledAtAnyMoment) {
    const auto recorder = std::make_shared<Recorder>();
    recorder->onData = [](URLSessionTask& task) { task.cancel(), task.cancel(); };
    EXPECT_EQ(heard("/slow", recorder), (Notes{"response 200", "data x", "complete -999"}));

    const auto other = std::make_shared<Recorder>();
    const auto session = harness->sessions().sessionWithConfiguration({}, other);
    const auto task = session->dataTaskWithRequest({harness->url("/hello")});
    session->dataTaskWithRequest({harness->url("/nothing")})->resume();
    EXPECT_TRUE(harness->runUntil([&] { return other->hasCompleted(); }));
    task->cancel();
    task->resume();
    EXPECT_TRUE(harness->runUntil([&] { return other->notes().size() == 3; }));
    EXPECT_EQ(allNotes(*session, *other), (Notes{"response 204", "complete", "complete -999"}));
}

TEST_P(URLSessionContract, InvalidationCancelsAndLetsGoOfTheDelegate) {
    auto recorder = std::make_shared<Recorder>();
    const std::weak_ptr<Recorder> weak = recorder;
    const auto session = harness->sessions().sessionWithConfiguration({}, recorder);
    const auto task = session->dataTaskWithRequest({harness->url("/silent")});
    task->resume();
    EXPECT_TRUE(harness->runUntil([&] { return harness->requests() == 1; }));
    session->invalidateAndCancel();
    session->invalidateAndCancel();
    EXPECT_TRUE(harness->runUntil([&] { return recorder->hasCompleted() && recorder->notes().size() == 2; }));
    EXPECT_EQ(recorder->notes(), (Notes{"complete -999", "invalid"}));
    recorder.reset();
    EXPECT_TRUE(harness->runUntil([&] { return weak.expired(); }));
    session->dataTaskWithRequest({harness->url("/hello")})->resume();
    task->cancel();
}

TEST_P(URLSessionContract, InvalidationDoesNotWaitForAnswers) {
    auto recorder = std::make_shared<Recorder>();
    shared::Atomic<URLSessionDelegate::ResponseHandler> owed;
    recorder->onResponse = [&](const auto& handler) { owed.set(handler); };
    for (const char* path : {"/nothing", "/hello", "/stuck"}) {
        auto session = harness->sessions().sessionWithConfiguration({}, recorder);
        auto task = session->dataTaskWithRequest({harness->url(path)});
        const auto before = recorder->notes().size();
        task->resume();
        EXPECT_TRUE(harness->runUntil([&] { return recorder->notes().size() == before + 1; }));
        session->invalidateAndCancel();
        EXPECT_TRUE(harness->runUntil([&] { return recorder->notes().back() == "invalid"; })) << path;
        const auto notes = recorder->notes();
        EXPECT_EQ(Notes(notes.end() - 2, notes.end()), (Notes{"complete -999", "invalid"})) << path;
        const std::weak_ptr<URLSessionTask> weak = std::exchange(task, nullptr);
        session.reset();
        owed.set(nullptr);
        EXPECT_TRUE(harness->runUntil([&] { return weak.expired(); })) << path;
    }
}

INSTANTIATE_CONTRACT(URLSessionContract);

}  // namespace
