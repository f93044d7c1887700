#include "MacShared/Atomic.h"
#include "MacShared/URLSessionDelegateProxy.h"
#include "tests/platform/linux/http/CurlHarness.h"
#include "tests/support/German.h"
#include "tests/support/Memory.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <future>

using namespace std::chrono_literals;
using Then = ServerAnswer::Then;

namespace {

using Notes = Recorder::Notes;

const Notes kHello = {"response 200", "data hello", "complete"};
const Notes kTrusted = {"challenge", "response 200", "data hello", "complete"};
const ServerAnswer kHelloAnswer{{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello"}};

ServerAnswer moved(const std::string& status, const std::string& to) {
    return {{"HTTP/1.1 " + status + " X\r\nLocation: " + to + "\r\nContent-Length: 0\r\n\r\n"}};
}

class CurlSessionTest : public testing::Test {
protected:
    using Disposition = URLSessionAuthChallengeDisposition;

    /// Its delegate is reached through a proxy, which keeps nobody alive.
    std::shared_ptr<URLSession> session(const std::shared_ptr<Recorder>& recorder) {
        return curl.sessions->sessionWithConfiguration(configuration,
                                                       std::make_shared<URLSessionDelegateProxy>(recorder));
    }
    /// What the delegate hears of one request.
    Notes heard(URLRequest request, const std::shared_ptr<Recorder>& recorder = std::make_shared<Recorder>()) {
        session(recorder)->dataTaskWithRequest(std::move(request))->resume();
        EXPECT_TRUE(eventually([&] { return recorder->hasCompleted(); }));
        EXPECT_EQ(recorder->threads.size(), 1U);
        EXPECT_FALSE(recorder->threads.contains(std::this_thread::get_id()));
        return recorder->notes();
    }
    /// Has the session do one request more.
    static void next(URLSession& session, const Recorder& recorder, const URLRequest& request) {
        const auto heard = recorder.notes().size();
        session.dataTaskWithRequest(request)->resume();
        EXPECT_TRUE(eventually([&] { return recorder.notes().size() > heard && recorder.hasCompleted(); }));
    }
    Notes heardFrom(const ServerAnswer& answer) {
        const HTTPServer server([&](const auto&) { return answer; });
        return heard(post(server.url()));
    }
    /// A delegate that answers every challenge alike.
    static std::shared_ptr<Recorder> answering(Disposition disposition, bool withCredential) {
        auto recorder = std::make_shared<Recorder>();
        recorder->onChallenge = [=](const auto& handler, const URLAuthenticationChallenge& challenge) {
            const auto& space = challenge.protectionSpace;
            EXPECT_EQ(space.serverTrust->certificates.size(), 1U);
            EXPECT_EQ(space.host, "127.0.0.1");
            handler(disposition, withCredential ? std::optional(URLCredential{space.serverTrust}) : std::nullopt);
        };
        return recorder;
    }
    static URLRequest get(const std::string& url) { return {url}; }
    static URLRequest post(const std::string& url, std::string body = "question") {
        return {url, "POST", {}, std::make_shared<const std::string>(std::move(body)), {}};
    }

    URLSessionConfiguration configuration{10s, {}, 6, 100'000, 20'000};
    CurlHarness curl;
};

TEST_F(CurlSessionTest, TakesWhateverAServerSends) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const struct {
        ServerAnswer answer;
        Notes notes;
    } table[] = {
        {kHelloAnswer, kHello},
        {{{ok + "Transfer-Encoding: chunked\r\n\r\n3\r\nhel\r\n2\r\nlo\r\n0\r\nTrailer: x\r\n\r\n"}}, kHello},
        {{{ok + "\r\nhello"}, Then::close}, kHello},
        {{{"HTTP/1.1 103 X\r\nLink: x\r\n\r\n" + kHelloAnswer.bytes[0]}},
         {"information 103", "response 200", "data hello", "complete"}},
        {{{"HTTP/1.1 101 X\r\nUpgrade: x\r\n\r\nbinary"}, Then::stall}, {"response 101", "complete"}},
        {{{"HTTP/1.1 302 X\r\nContent-Length: 0\r\n\r\n"}}, {"response 302", "complete"}},
        {{{"HTTP/1.1 302 X\r\nLocation:\r\n\tftp://x/\r\nContent-Length: 0\r\n\r\n"}}, {"complete -1002"}},
        {{{"HTTP/1.1 302 X\r\nLocation: http://x:y/\r\nContent-Length: 0\r\n\r\n"}}, {"complete -1000"}},
        {{{"HTTP/1.1 401 X\r\nWWW-Authenticate: Basic\r\nContent-Length: 0\r\n\r\n"}}, {"response 401", "complete"}},
        {{{"HTTP/1.1 407 X\r\nContent-Length: 0\r\n\r\n"}}, {"response 407", "complete"}},
        {{{ok + "Content-Length: 10\r\n\r\nhello"}, Then::close}, {"response 200", "data hello", "complete -1005"}},
        {{{ok + "Content-Le"}, Then::close}, {"complete -1005"}},
        {{{}, Then::close}, {"complete -1005"}},
        {{{}, Then::reset}, {"complete -1005"}},
        {{{"SSH-2.0-server\r\n"}, Then::close}, {"complete -1011"}},
        {{{ok, "Field: value\r\n"}, Then::repeatLast}, {"complete -1103"}},
        {{{ok + "Field: ", std::string(1000, 'x')}, Then::repeatLast}, {"complete -1103"}},
        {{{"HTTP/1.1 100 X\r\n\r\n", "HTTP/1.1 102 X\r\n\r\n"}, Then::repeatLast}, {}},
    };
    for (const auto& [answer, notes] : table) {
        const auto taken = heardFrom(answer);
        const auto shown = answer.bytes.empty() ? "" : answer.bytes[0];
        EXPECT_EQ(notes.empty() ? Notes{taken.back()} : taken, notes.empty() ? Notes{"complete -1103"} : notes)
            << shown;
    }
    const auto endless = heardFrom({{ok + "\r\n", std::string(10'000, 'x')}, Then::repeatLast});
    ASSERT_EQ(endless.size(), 3U);
    EXPECT_LE(endless[1].size(), configuration.maximumResponseSize + 5);
    EXPECT_EQ(endless[2], "complete -1103");
}

TEST_F(CurlSessionTest, ContinuesNoFieldOfAnEarlierResponse) {
    const HTTPServer server([](const auto& request) -> ServerAnswer {
        if (request.head.starts_with("GET /moved")) return moved("301", "/new");
        return {{"HTTP/1.1 200 OK\r\n of nothing\r\nContent-Length: 5\r\n\r\nhello"}};
    });
    // Some versions of libcurl take that for an error.
    const auto first = heard(get(server.url("/new")));
    const auto recorder = std::make_shared<Recorder>();
    const auto both = session(recorder);
    next(*both, *recorder, get(server.url("/moved")));
    next(*both, *recorder, get(server.url("/new")));
    Notes expected{"redirection 301 GET"};
    for (int i = 0; i < 2; ++i) expected.insert(expected.end(), first.begin(), first.end());
    EXPECT_EQ(recorder->notes(), expected);
}

TEST_F(CurlSessionTest, RefusesRequestsThatCannotBeSent) {
    std::string closed;
    {
        const HTTPServer server([](const auto&) { return kHelloAnswer; });
        closed = server.url();
    }
    const struct {
        URLRequest request;
        const char* note;
    } table[] = {
        {get(closed), "complete -1004"},
        {get("http://" + std::string(64, 'x') + ".invalid"), "complete -1003"},  // too long to ask the network for
        {get(""), "complete -1000"},
        {get("no url"), "complete -1000"},
        {get("file:///etc/hostname"), "complete -1002"},
        {{closed, "GET", {{"A", "x\r\nB: y"}}, {}, {}}, "complete -1000"},
        {{closed, "GET", {{"A b", "x"}}, {}, {}}, "complete -1000"},
        {{closed, "GET /x", {}, {}, {}}, "complete -1000"},
    };
    for (const auto& [request, note] : table) EXPECT_EQ(heard(request), Notes{note}) << request.url;
}

TEST_F(CurlSessionTest, SendsTheRequestAsItStands) {
    const HTTPServer server([](const auto&) { return kHelloAnswer; });
    const auto recorder = std::make_shared<Recorder>();
    auto request = post(server.url("/path"), std::string(3 << 20, 'b'));
    request.httpHeaderFields = {{"SOAPAction", "\"a\""}, {"X-Empty", ""}, {"Content-Length", "7"}};
    configuration.httpAdditionalHeaders = {{"soapaction", "unused"}, {"X-Also", "1"}};
    EXPECT_EQ(heard(request, recorder), kHello);
    EXPECT_EQ(recorder->sent, 3 << 20);
    const auto got = server.requests().at(0);
    EXPECT_EQ(got.body, *request.httpBody);
    EXPECT_TRUE(got.head.starts_with("POST /path HTTP/1.1\r\n"));
    for (const char* field :
         {"SOAPAction: \"a\"\r\n", "X-Empty:\r\n", "X-Also: 1\r\n", "Content-Length: 3145728\r\n"}) {
        EXPECT_NE(got.head.find(field), std::string::npos) << field;
    }
    for (const char* field : {"unused", "Expect", "Content-Type", "Encoding", "Length: 7"}) {
        EXPECT_EQ(got.head.find(field), std::string::npos) << field;
    }
}

TEST_F(CurlSessionTest, SendsWhatDiffersFromTheLastRequest) {
    const HTTPServer server([](const auto&) { return kHelloAnswer; });
    const auto recorder = std::make_shared<Recorder>();
    const auto shared = session(recorder);
    Notes expected;
    for (const auto& [method, body] : std::vector<std::pair<std::string, std::string>>{
             {"POST", "one"}, {"POST", "another"}, {"PUT", "another"}, {"GET", ""}, {"POST", ""}, {"POST", "one"}}) {
        recorder->sent = 0;
        const auto data = body.empty() ? nullptr : std::make_shared<const std::string>(body);
        next(*shared, *recorder, {server.url(), method, {{"X-Method", method}}, data, {}});
        const auto got = server.requests().back();
        EXPECT_TRUE(got.head.starts_with(method + " ") &&
                    got.head.find("X-Method: " + method + "\r\n") != std::string::npos);
        EXPECT_EQ(got.body, body);
        EXPECT_EQ(recorder->sent, static_cast<std::int64_t>(body.size()));
        expected.insert(expected.end(), kHello.begin(), kHello.end());
    }
    EXPECT_EQ(recorder->notes(), expected);
}

TEST_F(CurlSessionTest, FollowsRedirectionsAsBrowsersDo) {
    const HTTPServer other([](const auto&) { return kHelloAnswer; });
    const HTTPServer server([&](const HTTPServer::Request& request) {
        const auto path = request.path();
        if (path == "/loop") return moved("302", "loop");
        if (path == "/away") return moved("307", other.url());
        return path == "/end" ? kHelloAnswer : moved(path.substr(1), "../end?");
    });
    for (const auto& [status, method] : std::map<std::string, std::string>{
             {"301", "GET"}, {"302", "GET"}, {"303", "GET"}, {"307", "POST"}, {"308", "POST"}}) {
        auto followed = "redirection " + status;
        followed.append(" ").append(method);
        EXPECT_EQ(heard(post(server.url("/" + status))), (Notes{followed, "response 200", "data hello", "complete"}));
        EXPECT_EQ(server.requests().back().body, method == "GET" ? "" : "question");
    }
    const auto before = server.requests().size();
    session(std::make_shared<Recorder>())->dataTaskWithRequest(get(server.url("/303")))->resume();
    EXPECT_TRUE(eventually([&] { return server.requests().size() == before + 2; })) << "the delegate is gone";
    const auto loop = heard(get(server.url("/loop")));
    EXPECT_EQ(loop.size(), 21U);
    EXPECT_EQ(loop.back(), "complete -1007");

    auto secret = post(server.url("/away"));
    secret.httpHeaderFields = {{"Authorization", "secret"}, {"X-Open", "1"}};
    EXPECT_EQ(heard(secret).back(), "complete");
    EXPECT_NE(server.requests().back().head.find("secret"), std::string::npos);
    EXPECT_EQ(other.requests().back().head.find("secret"), std::string::npos);
    EXPECT_NE(other.requests().back().head.find("X-Open"), std::string::npos);
}

TEST_F(CurlSessionTest, ReusesConnectionsWithinASessionOnly) {
    const HTTPServer server([](const auto&) { return kHelloAnswer; });
    const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    for (int i = 0; i < 2; ++i) {
        const auto recorder = std::make_shared<Recorder>();
        auto shared = session(recorder);
        next(*shared, *recorder, post("http://user:secret@" + server.url().substr(7)));
        next(*shared, *recorder, get(server.url()));
        const auto open = descriptors();
        shared.reset();
        EXPECT_TRUE(eventually([&] { return descriptors() < open; })) << "a session that has ended keeps nothing";
    }
    EXPECT_NE(server.requests().front().head.find("Authorization"), std::string::npos);
    const auto second = server.requests().at(1).head;
    EXPECT_TRUE(second.starts_with("GET ") && second.find("Authorization") == std::string::npos &&
                second.find("Content-") == std::string::npos)
        << second;
    std::string connections;
    for (const auto& request : server.requests()) connections += std::to_string(request.connection);
    EXPECT_EQ(connections, "1122");
}

TEST_F(CurlSessionTest, ASlowDelegateMakesTheServerWait) {
    configuration.maximumResponseSize = std::uint64_t{1} << 40;
    const auto count = std::make_shared<std::atomic<std::size_t>>();
    const HTTPServer server([&](const auto&) {
        return ServerAnswer{{"HTTP/1.1 200 OK\r\n\r\n", std::string(1 << 16, 'x')}, Then::repeatLast, count};
    });
    const auto recorder = std::make_shared<Recorder>();
    std::promise<void> enough;
    recorder->onData = [&, first = true](URLSessionTask& task) mutable {
        if (std::exchange(first, false)) return enough.get_future().wait();
        if (*count > (64U << 20)) task.cancel();
    };
    const auto shared = session(recorder);
    shared->dataTaskWithRequest(get(server.url()))->resume();
    // As many bytes for somebody else give it the time to send them here too.
    const HTTPServer other([](const auto&) {
        return ServerAnswer{{"HTTP/1.1 200 OK\r\n\r\n", std::string(64 << 20, 'x')}, Then::close};
    });
    EXPECT_EQ(heard(get(other.url())).back(), "complete");
    EXPECT_LT(*count, 24U << 20);  // ours, and what the system's socket buffers hold
    enough.set_value();
    EXPECT_TRUE(eventually([&] { return recorder->hasCompleted(); }));
    EXPECT_EQ(recorder->notes().back(), "complete -999");
}

TEST_F(CurlSessionTest, ABusyDelegateIsNobodysTimeOut) {
    configuration.timeoutIntervalForRequest = 300ms;
    std::promise<void> asked;
    std::promise<void> busy;
    const HTTPServer server([&](const HTTPServer::Request& request) {
        if (request.path() == "/stall") return ServerAnswer{{}, Then::stall};
        if (request.path() == "/late") asked.set_value(), busy.get_future().wait();
        return kHelloAnswer;
    });
    const auto recorder = std::make_shared<Recorder>();
    recorder->onData = [&, first = true](URLSessionTask&) mutable {
        if (!std::exchange(first, false)) return;
        busy.set_value();
        EXPECT_EQ(heard(get(server.url("/stall"))), Notes{"complete -1001"}) << "as long as it takes to time out";
    };
    const auto shared = session(recorder);
    shared->dataTaskWithRequest(get(server.url("/late")))->resume();
    asked.get_future().wait();
    shared->dataTaskWithRequest(get(server.url()))->resume();
    EXPECT_TRUE(eventually([&] { return recorder->notes().size() == 2 * kHello.size(); }));
    EXPECT_EQ(recorder->notes(),
              (Notes{"response 200", "data hello", "complete", "response 200", "data hello", "complete"}));
}

TEST_F(CurlSessionTest, WhatADelegateThrowsEndsTheProcess) {
    const auto recorder = std::make_shared<Recorder>();
    recorder->onData = [](URLSessionTask&) { throw std::runtime_error("what it has thrown"); };
    EXPECT_DEATH(
        {
            const HTTPServer server([](const auto&) { return kHelloAnswer; });
            heard(get(server.url()), recorder);
        },
        "what it has thrown");
}

TEST_F(CurlSessionTest, TheDelegateDecidesWhomToTrust) {
    const ServerCertificate certificate;
    const HTTPServer server([](const auto&) { return kHelloAnswer; }, &certificate);
    const Notes refused = {"challenge", "complete -1202"};
    for (const auto disposition : {Disposition::performDefaultHandling, Disposition::useCredential}) {
        EXPECT_EQ(heard(get(server.url()), answering(disposition, false)), refused);
    }
    const auto cancelling = answering(Disposition::cancelAuthenticationChallenge, true);
    EXPECT_EQ(heard(get(server.url()), cancelling), (Notes{"challenge", "complete -999"}));
    EXPECT_TRUE(server.requests().empty());
    for (const std::string& store : {std::string(), certificate.file() + ".gone"}) {
        if (!store.empty()) ::setenv("SSL_CERT_FILE", store.c_str(), 1);
        EXPECT_EQ(heard(get(server.url())), refused) << store;
        EXPECT_EQ(heard(post(server.url()), answering(Disposition::useCredential, true)), kTrusted) << store;
        EXPECT_EQ(server.requests().back().body, "question");
    }

    ::setenv("SSL_CERT_FILE", certificate.file().c_str(), 1);
    EXPECT_EQ(heard(get(server.url())), kTrusted);
    const auto otherName = "https://localhost" + server.url().substr(server.url().rfind(':'));
    EXPECT_EQ(heard(get(otherName)), refused);
    for (const auto& [days, code] : {std::pair{-2, "complete -1201"}, {1, "complete -1204"}}) {
        const ServerCertificate untimely(days, days + 1);
        const HTTPServer other([](const auto&) { return kHelloAnswer; }, &untimely);
        ::setenv("SSL_CERT_FILE", untimely.file().c_str(), 1);
        EXPECT_EQ(heard(get(other.url())), (Notes{"challenge", code}));
    }
    ::unsetenv("SSL_CERT_FILE");
}

TEST_F(CurlSessionTest, TrustInOneServerIsNotTrustInTheNext) {
    const ServerCertificate certificate;
    const HTTPServer other([](const auto&) { return kHelloAnswer; }, &certificate);
    std::string elsewhere;
    const HTTPServer server(
        [&](const HTTPServer::Request& request) {
            return request.path() == "/away" ? moved("307", elsewhere) : kHelloAnswer;
        },
        &certificate);
    const auto otherName = "https://localhost" + server.url().substr(server.url().rfind(':'));
    for (const auto& place : {otherName, other.url()}) {
        elsewhere = place;
        const auto recorder = answering(Disposition::useCredential, true);
        const auto shared = session(recorder);
        recorder->onChallenge = [&, accept = recorder->onChallenge](const auto& handler, const auto& challenge) {
            if (recorder->notes().size() == 1) return accept(handler, challenge);
            handler(Disposition::performDefaultHandling, std::nullopt);
        };
        for (const auto& request : {post(server.url("/away")), get(elsewhere), get(server.url())}) {
            next(*shared, *recorder, request);
        }
        EXPECT_EQ(recorder->notes(), (Notes{"challenge", "redirection 307 POST", "challenge", "complete -1202",
                                            "challenge", "complete -1202", "response 200", "data hello", "complete"}))
            << elsewhere;
    }
    EXPECT_TRUE(other.requests().empty());
}

TEST_F(CurlSessionTest, OthersGoOnWhileADelegateThinksAboutTrust) {
    const ServerCertificate certificate;
    const HTTPServer secure([](const auto&) { return kHelloAnswer; }, &certificate);
    const HTTPServer plain([](const HTTPServer::Request& request) {
        return request.path() == "/stall" ? ServerAnswer{{}, Then::stall} : kHelloAnswer;
    });
    configuration.timeoutIntervalForRequest = 5s;
    const auto recorder = std::make_shared<Recorder>();
    std::promise<std::function<void()>> accept;
    recorder->onChallenge = [&](const auto& handler, const auto& challenge) {
        accept.set_value([handler, trust = challenge.protectionSpace.serverTrust] {
            handler(URLSessionAuthChallengeDisposition::useCredential, URLCredential{trust});
        });
    };
    const auto shared = session(recorder);
    shared->dataTaskWithRequest(get(secure.url()))->resume();
    auto accepting = accept.get_future();
    ASSERT_EQ(accepting.wait_for(kDeadline), std::future_status::ready);
    const auto later = accepting.get();
    shared->dataTaskWithRequest(get(plain.url()))->resume();
    EXPECT_TRUE(eventually([&] { return recorder->hasCompleted(); }));
    shared->dataTaskWithRequest(get(plain.url("/stall")))->resume();
    EXPECT_TRUE(eventually([&] { return recorder->notes().back() == "complete -1001"; })) << "the time-out is over";
    later();
    EXPECT_TRUE(eventually([&] { return recorder->notes().size() == 8; }));
    EXPECT_EQ(recorder->notes(), (Notes{"challenge", "response 200", "data hello", "complete", "complete -1001",
                                        "response 200", "data hello", "complete"}));
    EXPECT_TRUE(secure.requests().size() == 1);
}

TEST_F(CurlSessionTest, GoesThroughTheProxyOfTheEnvironment) {
    const ServerCertificate certificate;
    const HTTPServer proxy(
        [](const HTTPServer::Request& request) {
            if (request.head.starts_with("CONNECT 127.0.0.1:2 ")) return ServerAnswer{{"HTTP/1.1 403 X\r\n\r\n"}};
            return request.head.starts_with("CONNECT ") ? ServerAnswer{{"HTTP/1.1 200 OK\r\n\r\n"}} : kHelloAnswer;
        },
        &certificate);
    const auto proxyURL = "http" + proxy.url().substr(5);
    ::setenv("http_proxy", proxyURL.c_str(), 1);
    ::setenv("https_proxy", proxyURL.c_str(), 1);
    EXPECT_EQ(heard(get("http://server.invalid/x")), kHello);
    EXPECT_EQ(proxy.requests().back().path(), "http://server.invalid/x");

    const auto behind = get("https://127.0.0.1:1/x");
    EXPECT_EQ(heard(behind), (Notes{"challenge", "complete -1202"}));
    ::setenv("SSL_CERT_FILE", certificate.file().c_str(), 1);
    EXPECT_EQ(heard(behind), (Notes{"challenge", "response 200", "data hello", "complete"}));
    EXPECT_EQ(proxy.requests().back().path(), "/x");
    EXPECT_EQ(heard(get("https://127.0.0.1:2/")), Notes{"complete -1004"});
    for (const char* variable : {"http_proxy", "https_proxy", "SSL_CERT_FILE"}) ::unsetenv(variable);
}

TEST_F(CurlSessionTest, OutlivesALackOfMemory) {
    const HTTPServer server([](const HTTPServer::Request& request) {
        return request.path() == "/large"
                   ? ServerAnswer{{"HTTP/1.1 200 OK\r\nX: " + std::string(5'000, 'x') + "\r\n\r\n"}}
                   : kHelloAnswer;
    });
    const auto recorder = std::make_shared<Recorder>();
    recorder->onResponse = [](const auto& handler) {  // on the session's thread
        memory::failAbove(4 << 10);
        handler(URLSessionResponseDisposition::allow);
    };
    const auto shared = session(recorder);
    for (const char* path : {"/", "/large", "/"}) next(*shared, *recorder, get(server.url(path)));
    EXPECT_EQ(recorder->notes(), (Notes{"response 200", "data hello", "complete", "complete -1", "response 200",
                                        "data hello", "complete"}));
}

TEST_F(CurlSessionTest, EndsWithTransfersUnderWay) {
    const HTTPServer server([](const auto&) { return ServerAnswer{{}, Then::stall}; });
    const auto recorder = std::make_shared<Recorder>();
    const auto held = session(recorder);
    const auto task = held->dataTaskWithRequest(get(server.url()));
    task->resume();
    session(recorder)->dataTaskWithRequest(get(server.url()))->resume();  // nobody holds these
    EXPECT_TRUE(eventually([&] { return server.requests().size() == 2; }));
    curl.sessions.reset();
    task->cancel();
    held->invalidateAndCancel();
    held->dataTaskWithRequest(get(server.url()))->resume();
    EXPECT_EQ(recorder->notes(), Notes{});
}

TEST_F(CurlSessionTest, EndsWithAnAnswerOwed) {
    const HTTPServer server([](const auto&) { return ServerAnswer{{"HTTP/1.1 204 X\r\n\r\n"}}; });
    auto recorder = std::make_shared<Recorder>();
    shared::Atomic<std::vector<URLSessionDelegate::ResponseHandler>> owed;
    recorder->onResponse = [&](const auto& handler) {
        owed.update([&](auto& handlers) { handlers.push_back(handler); });
    };
    configuration.httpMaximumConnectionsPerHost = 1;
    auto shared = session(recorder);
    const auto begun = [&] {
        const auto task = shared->dataTaskWithRequest(get(server.url()));
        task->resume();
        return std::weak_ptr(task);
    };
    const auto first = begun();
    EXPECT_TRUE(eventually([&] { return recorder->notes().size() == 1; }));
    const auto second = begun();
    EXPECT_TRUE(eventually([&] { return recorder->notes().size() == 2; }))
        << "so the first has given its connection up";
    curl.sessions.reset();
    owed.set({});
    recorder.reset();
    shared.reset();
    EXPECT_TRUE(first.expired() && second.expired()) << "nobody holds them any more";
}

TEST(HTTPStatus, HasAPhraseForEveryCodeInBothLanguages) {
    CurlHarness curl;
    const auto phraseOf = [&](int code) { return curl.sessions->localizedStringForStatusCode(code); };
    for (const auto& [code, phrase] : std::map<int, std::string>{{404, "not found"},
                                                                 {500, "internal server error"},
                                                                 {499, "client error"},
                                                                 {599, "server error"},
                                                                 {299, "success"},
                                                                 {0, "unknown status"},
                                                                 {-1, "unknown status"},
                                                                 {600, "unknown status"}}) {
        EXPECT_EQ(phraseOf(code), phrase);
    }
    std::map<int, std::string> english;
    for (int code = 99; code <= 600; ++code) english[code] = phraseOf(code);
    const German german;
    for (const auto& [code, phrase] : english) EXPECT_NE(phraseOf(code), phrase);
}

}  // namespace
