#include "tests/MacShared/SOAP/SoapScenario.h"
#include "tests/support/Memory.h"

#include <system_error>

namespace {

constexpr const char* kEnvelope =
    R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema" xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")";
constexpr const char* kGet = R"( xmlns="urn:svc"><soap:Body><Get xmlns="urn:svc/"></Get></soap:Body></soap:Envelope>)";

TEST_F(SoapScenario, Requests) {
    makeCaller();
    caller->callSoapMethod("GetItem", "urn:svc/", "/Remote", Names{"id", "n"}, shared::SoapArray{Guid("G"), 3},
                           nullptr);
    caller->callSoapMethod("Put", "urn:svc", {}, Names{"data", "name"},
                           shared::SoapArray{shared::SoapBytes(std::string("\0\r\n", 3)), "a"}, nullptr);
    run();
    ASSERT_EQ(platform.urlSessions.requests.size(), 2U);
    const auto& plain = platform.urlSessions.requests[0];
    EXPECT_EQ(plain.url, "https://server/service");
    EXPECT_EQ(plain.httpMethod, "POST");
    EXPECT_EQ(plain.timeoutInterval, 60s);
    using Fields = std::vector<HTTPHeaderFields::Field>;
    EXPECT_EQ(Fields(plain.httpHeaderFields.begin(), plain.httpHeaderFields.end()),
              (Fields{{"User-Agent", "Veldrin/7 CFNetOSX/ Darwin/ Mac OS X/Version 13.4 (Build 22F66)"},
                      {"Content-Type", "text/xml; charset=utf-8"},
                      {"SOAPAction", "\"urn:svc/Remote/GetItem\""}}));
    EXPECT_EQ(*plain.httpBody,
              std::string(kEnvelope) +
                  R"( xmlns="urn:svc/"><soap:Body><GetItem xmlns="urn:svc/"><id><guid xsi:type=)"
                  R"("s1:guid">G</guid></id><n><int>3</int></n></GetItem></soap:Body></soap:Envelope>)");

    const auto& packed = platform.urlSessions.requests[1];
    const auto type = packed.httpHeaderFields.value("content-type").value_or("");
    EXPECT_TRUE(type.starts_with("multipart/related;type=\"application/xop+xml\";boundary=\"")) << type;
    EXPECT_EQ(packed.httpHeaderFields.value("SOAPAction"), "\"urn:svc/Put\"");
    const auto identifier = [&](const std::string& before) {
        const auto at = packed.httpBody->find(before);
        return at == std::string::npos ? "no " + before : packed.httpBody->substr(at + before.size(), 34);
    };
    EXPECT_NE(type.find("start=\"" + identifier("Content-ID: <")), std::string::npos);
    const auto buffer = identifier("<xop:Include xmlns:xop=\"http://www.w3.org/2004/08/xop/include\" href=\"cid:");
    EXPECT_NE(packed.httpBody->find("Content-ID: <" + buffer + ">"), std::string::npos) << *packed.httpBody;
}

TEST_F(SoapScenario, Outcomes) {
    const std::string multipart = "multipart/related; boundary=\"b\"";
    const std::string fine = "data {response: 7} state";
    const std::string unusable = "error Veldrin 87 Failed to parse server response for method Get state";
    const auto part = [](const std::string& content) { return "\r\n--b\r\nContent-ID: <0>\r\n\r\n" + content; };
    struct Case {
        simulated::SimulatedAnswer answer;
        std::string line;
    };
    const auto result = [](const std::string& content) {
        return response("Get", "<GetResult>" + content + "</GetResult>");
    };
    const Case cases[] = {
        {{200, {}, {result("7")}}, fine},
        {{299, {}, {"<GetResponse><Get", "Result>7</GetResult></GetResponse>"}}, fine},
        {{200, {}, {response("Get", "<GetResult/>")}}, "data {response: null} state"},
        {{200, {}, {result("<A>1</A><B>2</B><A/><A>3</A>")}}, "data {response: {A: [1, 3], B: 2}} state"},
        {{200, {}, {response("Get", "<Other>7</Other>")}}, "data {response: {Other: 7}} state"},
        {{200, {}, {response("Put", "<PutResult>7</PutResult>")}}, "data {} state"},
        {{200, {}, {}}, "data {} state"},
        {{200, {}, {"<GetResponse><GetResult>7"}}, "data {} state"},
        {{200, {{"content-TYPE", multipart}}, {part(result("7")) + "\r\n--b--"}}, fine},
        {{200, {{"Content-Type", multipart}}, {"no parts"}}, unusable},
        {{200, {{"Content-Type", multipart}}, {"\r\n\r\n--b--"}}, unusable},
        {{500, {{"x-velerrorcode", "E1"}}, {"<fault/>"}}, "error Veldrin 500 <fault/> state"},
        {{400, {}, {"\xFF"}}, "error Veldrin 400 - state"},
        {{400, {}, {"\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80"}},
         "error Veldrin 400 \xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80 state"},
        {{300, {}, {result("7")}}, ""},
        {{304, {}, {"gone"}}, ""},
        {{101, {}, {}}, ""},
        {{.statusCode = 0, .error = makeError(NSURLErrorDomain, NSURLErrorCannotConnectToHost)},
         "error NSURLErrorDomain -1004 - state"},
        {{.body = {result("7")}, .error = makeError(NSURLErrorDomain, NSURLErrorNetworkConnectionLost)},
         "error NSURLErrorDomain -1005 - state"},
        {{200, {}, {result("7")}, 59s}, fine},
        {{200, {}, {result("7")}, 60s}, "error NSURLErrorDomain -1001 - state"},
        {{200, {}, {result("7")}, 59s, 60s}, "error NSURLErrorDomain -1001 - state"},
    };
    makeCaller();
    for (const auto& each : cases) {
        answer = each.answer;
        lines.clear();
        const auto state = std::make_shared<std::string>("state");
        caller->callSoapMethod("Get", "urn:svc", "", {}, {}, state);
        run();
        EXPECT_EQ(lines, each.line.empty() ? Lines() : Lines{each.line}) << answer.statusCode;
        EXPECT_EQ(state.use_count(), 1) << "a call that has ended lets go of its state";
    }
}

TEST_F(SoapScenario, ErrorsSayWhatTheServerSaid) {
    makeCaller();
    answer = {503, {{"X-VELErrorCode", "E1"}}, {"busy"}};
    call("Get");
    run();
    const auto http = std::dynamic_pointer_cast<const HTTPError>(receiver->lastError);
    ASSERT_TRUE(http);
    EXPECT_EQ(http->localizedDescription(), "HTTP Error 503 " + http->status());
    EXPECT_EQ(http->userInfo(), (Error::UserInfo{{"X-VELErrorCode", "E1"}}));
    answer = {200, {{"Content-Type", "multipart/related; boundary=b"}}, {std::string("\0\xFF", 2)}};
    call("Get");
    run();
    EXPECT_EQ(receiver->lastError->localizedDescription(), "Webservice Failure");
    EXPECT_EQ(receiver->lastError->userInfo().at("responsebodykey"), std::string("\0\xFF", 2));
}

TEST_F(SoapScenario, UntrustedCertificatesAreRefusedUnlessIgnored) {
    makeCaller();
    answer = {200, {}, {response("Get", "7")}};
    answer.trust = std::make_shared<ServerTrust>(
        ServerTrust{{"certificate"}, makeError(NSURLErrorDomain, NSURLErrorServerCertificateUntrusted)});
    call("Get");
    run();
    caller->setIgnoreCertificateErrors(true);
    call("Get");
    run();
    EXPECT_EQ(lines, (Lines{"error NSURLErrorDomain -1202 - state", "data {response: 7} state"}));

    using Disposition = URLSessionAuthChallengeDisposition;
    const auto session = platform.urlSessions.sessionWithConfiguration({}, nullptr);
    const auto answerTo = [&](const std::string& method) {
        std::vector<std::pair<Disposition, bool>> answers;
        caller->URLSessionTaskDidReceiveChallenge(
            *session, *session->dataTaskWithRequest({}), {{"server", 443, method, answer.trust}},
            [&](Disposition disposition, const auto& credential) {
                answers.emplace_back(disposition, credential && credential->serverTrust == answer.trust);
            });
        return answers;
    };
    using Answers = std::vector<std::pair<Disposition, bool>>;
    for (const bool ignore : {false, true}) {
        caller->setIgnoreCertificateErrors(ignore);
        EXPECT_EQ(answerTo("NSURLAuthenticationMethodHTTPBasic"),
                  (Answers{{Disposition::performDefaultHandling, false}}));
        EXPECT_EQ(answerTo(NSURLAuthenticationMethodServerTrust), (Answers{{Disposition::useCredential, ignore}}));
    }
}

TEST_F(SoapScenario, LogsWhenTheUserWants) {
    const auto callsOfAllOutcomes = [this] {
        makeCaller();
        for (const auto& each : {simulated::SimulatedAnswer{200, {}, {"<GetResponse>7</GetResponse>"}},
                                 simulated::SimulatedAnswer{500, {}, {"oops"}},
                                 simulated::SimulatedAnswer{.statusCode = 0, .error = makeError("D", 5, "text")}}) {
            answer = each;
            call("Get");
            run();
        }
    };
    callsOfAllOutcomes();
    EXPECT_EQ(lines.size(), 3U);
    EXPECT_EQ(logged(), Lines{}) << "not what passes, passwords and all, unless it is wanted";
    platform.userDefaults.booleans.insert("LogSoap");
    callsOfAllOutcomes();
    const std::string request = std::string("Calling SOAP method with XML: ") + kEnvelope + kGet;
    const std::string loaded = "Server response loaded -[SimpleSoapCaller processResponse]";
    const std::string failed =
        "Connection Failed.  Error Error Domain=D Code=5 \"text\" ({\n    NSLocalizedDescription = text;\n})"
        " -[SimpleSoapCaller processError:]";
    EXPECT_EQ(logged(), (Lines{request, loaded, "<GetResponse>7</GetResponse>", request, loaded, "HTTP 500: oops ",
                               request, failed}));
}

TEST_F(SoapScenario, ConfigurationIsForCallersMadeLater) {
    const auto before = SimpleSoapCaller::configuration();
    makeCaller();
    auto limited = before;
    limited.timeoutIntervalForRequest = 1s;
    limited.maximumResponseSize = 1;
    SimpleSoapCaller::setConfiguration(limited);
    const auto earlier = caller;
    makeCaller();
    SimpleSoapCaller::setConfiguration(before);
    std::vector<std::uint64_t> sizes;
    for (const auto& configuration : platform.urlSessions.configurations)
        sizes.push_back(configuration.maximumResponseSize);
    EXPECT_EQ(sizes, (std::vector<std::uint64_t>{before.maximumResponseSize, 1}));
}

TEST_F(SoapScenario, ALackOfMemoryOrThreadsIsAnError) {
    makeCaller();
    const std::string small = "<a>7</a>";
    std::string rows;
    while (rows.size() < 512 << 10) rows += small;
    const Lines tooLong = {"error NSURLErrorDomain -1103 - state"};
    for (const auto& body : {std::vector<std::string>(64, std::string(32 << 10, ' ')), {response("Get", rows)}}) {
        answer = {200, {}, body, 2s};
        call("Get");
        run(1s);
        memory::failAbove(1 << 20);
        run();
        memory::failAbove(memory::kUnlimited);
        EXPECT_EQ(std::exchange(lines, {}), tooLong);
    }
    platform.urlSessions.hasNoThread = true;
    const auto state = std::make_shared<std::string>("state");
    EXPECT_THROW(caller->callSoapMethod("Get", "urn:svc", "", {}, {}, state), std::system_error);
    EXPECT_FALSE(caller->spinning());
    EXPECT_EQ(state.use_count(), 1);
    platform.urlSessions.hasNoThread = false;
    answer = {200, {}, {response("Get", "7")}};
    call("Get");
    run();
    EXPECT_EQ(lines, Lines{"data {response: 7} state"});
}

TEST_F(SoapScenario, ASecondCallReplacesTheFirst) {
    makeCaller();
    answer = {200, {}, {"<GetResponse>", "old</GetResponse>"}, 1s, 2s};
    call("Get", "first");
    run(4s);  // the first piece is here
    answer = {200, {}, {"<GetResponse>", "new</GetResponse>"}, 1s, 2s};
    call("Get", "second");
    receiver->andThen = [this](ISoapCaller&) { call("Get", "third"); };
    run();
    EXPECT_EQ(lines, (Lines{"data {response: new} second", "data {response: new} third"}));
}

/// Notes when it spins.
class Spinner final : public ISpinnerController {
public:
    explicit Spinner(std::vector<std::string>& lines) : lines_(lines) {}
    void startSpinning() override { lines_.emplace_back("spin"); }
    void stopSpinning() override { lines_.emplace_back("stop"); }

private:
    std::vector<std::string>& lines_;
};

TEST_F(SoapScenario, WhoGoesInTheMiddleOfACallHearsNothing) {
    answer = {200, {}, {response("Get", "7")}, 10s};
    const auto begin = [this](const std::string& step) {
        lines.push_back(step);
        makeCaller();
        caller->setSpinnerController(std::make_shared<Spinner>(lines));
        call("Get");
        run(5s);
    };
    begin("no callback any more: cancelled");
    caller->setCallback(nullptr);
    run(1s);
    EXPECT_FALSE(caller->spinning());
    lines.emplace_back("and used again");
    caller->setCallback(receiver);
    call("Get");
    run();
    begin("receiver dies");
    receiver.reset();
    run();
    receiver = std::make_shared<Receiver>(lines);
    begin("caller dies");
    caller.reset();
    run();
    begin("caller dies in its callback");
    receiver->andThen = [this](ISoapCaller&) { caller.reset(); };
    run();
    EXPECT_EQ(lines, (Lines{"no callback any more: cancelled", "spin", "stop", "and used again", "spin", "stop",
                            "data {response: 7} state", "receiver dies", "spin", "stop", "caller dies", "spin", "stop",
                            "caller dies in its callback", "spin", "stop", "data {response: 7} state"}));
}

}  // namespace
