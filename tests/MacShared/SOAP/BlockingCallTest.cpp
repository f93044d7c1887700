#include "MacShared/SOAP/SynchronousSoapCaller.h"
#include "tests/MacShared/SOAP/SoapScenario.h"

namespace {

class BlockingCall : public SoapScenario {
protected:
    BlockingCall() {
        makeCaller();
        answer = {200, {}, {response("Get", "7")}, 3s};
        // The HTTP client gives up after 60 s without a byte, so a call runs out of time while bytes still come.
        slow = {200, {}, std::vector<std::string>(5, " "), 30s, 30s};
        slow.body.push_back(response("Get", "late"));
    }

    void makeBlocking() { blocking = SynchronousSoapCaller::initWithSoapCaller(caller); }
    /// The outcome and how long it took.
    std::string outcome(const std::optional<std::string>& extension = "", const shared::SoapArray& parameters = {},
                        const std::optional<std::string>& callNamespace = "urn:svc") {
        const auto before = platform.dispatch.elapsed();
        ErrorPtr error = makeError("untouched", 0);
        const auto result = blocking->callSoapMethod("Get", callNamespace, extension, Names(parameters.size(), "p"),
                                                     parameters, &error);
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(platform.dispatch.elapsed() - before);
        return (result ? lineOf(shared::SoapValue(*result)) : "nothing") + (error ? ", " + lineOf(error) : "") + ", " +
               std::to_string(seconds.count()) + " s";
    }

    simulated::SimulatedAnswer slow;
    std::shared_ptr<SynchronousSoapCaller> blocking;
};

TEST_F(BlockingCall, Outcomes) {
    makeBlocking();
    EXPECT_EQ(outcome(), "{response: 7}, 3 s");
    answer.statusCode = 500;
    answer.body = {"oops"};
    EXPECT_EQ(outcome(), "nothing, error Veldrin 500 oops, 3 s");
    answer.statusCode = 304;
    EXPECT_EQ(outcome(), "nothing, error Veldrin 88 Timeout waiting on SOAP call, 120 s");
    EXPECT_FALSE(blocking->callSoapMethod("Get", "urn:svc", "", {}, {}, nullptr));
    EXPECT_THROW(
        static_cast<void>(blocking->callSoapMethod("Get", "urn:svc", "", Names{}, shared::SoapArray{1}, nullptr)),
        std::out_of_range);
}

TEST_F(BlockingCall, ArgumentsCountUpToTheFirstThatIsMissing) {
    makeBlocking();
    EXPECT_EQ(outcome("Remote", {"v"}), "{response: 7}, 3 s");
    EXPECT_EQ(outcome(std::nullopt, {"v"}), "{response: 7}, 3 s");
    EXPECT_EQ(outcome("Remote", {"v"}, std::nullopt), "{response: 7}, 3 s");
    const char* const actions[] = {"\"urn:svc/Remote/Get\"", "\"urn:svc/Get\"", "\"(null)/Get\""};
    for (std::size_t i = 0; i < std::size(actions); ++i) {
        const auto& request = platform.urlSessions.requests.at(i);
        EXPECT_EQ(request.httpHeaderFields.value("SOAPAction"), actions[i]);
        EXPECT_EQ(request.httpBody->find("<p>v</p>") != std::string::npos, i == 0) << actions[i];
    }
}

TEST_F(BlockingCall, ALateAnswerIsForgottenOrTakenForTheNext) {
    const std::string timeout = "nothing, error Veldrin 88 Timeout waiting on SOAP call, 120 s";
    makeBlocking();
    std::swap(answer, slow);
    EXPECT_EQ(outcome(), timeout);
    run(100s);  // here it comes
    std::swap(answer, slow);
    EXPECT_EQ(outcome(), "{response: 7}, 3 s");

    const auto late = makeError("late", 1);
    platform.dispatch.mainQueue().after(1s, [&] { blocking->onSoapError(late, *caller, nullptr); });
    EXPECT_EQ(outcome(), "nothing, error late 1 -, 1 s");
}

TEST_F(BlockingCall, TheWorkerLivesAsLongAsItsOwner) {
    platform.threads.startDelay = 5s;
    makeBlocking();
    EXPECT_FALSE(blocking->workerThread()->thread());
    EXPECT_EQ(outcome(), "{response: 7}, 8 s");
    const auto worker = blocking->workerThread();
    EXPECT_TRUE(worker->thread());
    // A late answer comes after the owner has gone.
    std::swap(answer, slow);
    static_cast<void>(outcome());
    blocking.reset();
    run();
    EXPECT_FALSE(worker->thread());
    makeBlocking();
    blocking.reset();  // before the thread has started
    run();
    EXPECT_EQ(platform.threads.running(), 0U);
}

TEST_F(BlockingCall, WithoutAWorkerThereIsNoCall) {
    for (const bool hasStarted : {true, false}) {
        makeBlocking();
        if (hasStarted) run();
        blocking->workerThread()->closeThread();
        if (hasStarted) run();
        EXPECT_EQ(outcome(), "nothing, error Veldrin 88 Timeout waiting on SOAP call, 0 s");
        run();
    }
    EXPECT_TRUE(platform.urlSessions.requests.empty());
}

TEST_F(BlockingCall, ARunLoopThatCannotRunIsDeadly) {
    platform.threads.runLoopsFail = true;
    makeBlocking();
    run();
    EXPECT_EQ(platform.threads.deadly, (Lines{"VeldrinSoapException: NSRunLoop failed to run"}));
}

}  // namespace
