/// `soap-call`, against a server that answers as the test wants.

#include "MacShared/Atomic.h"
#include "platform/linux/files/DirectoryBundles.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Deadline.h"
#include "tests/support/German.h"
#include "tests/support/HTTPServer.h"
#include "tests/support/TestHome.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

struct Outcome {
    int status;
    std::string output;
    std::string complaints;
};

class SoapCall : public testing::Test {
protected:
    [[nodiscard]] Words command(const Words& arguments) const {
        Words words{SOAP_CALL, server_.url(), "--namespace", "urn:svc"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return words;
    }
    [[nodiscard]] Outcome run(const Words& arguments) const {
        ChildProcess tool(command(arguments));
        const int status = tool.exitStatus();
        return {status, tool.restOfOutput(), tool.complaints()};
    }
    void answer(int status, const std::string& body, const std::string& fields = "") {
        answer_.set(
            {{fmt::format("HTTP/1.1 {} x\r\nContent-Length: {}\r\n{}\r\n{}", status, body.size(), fields, body)}});
    }

    TestHome home_;
    shared::Atomic<ServerAnswer> answer_;
    HTTPServer server_{[this](const auto&) { return answer_.get(); }};
};

TEST_F(SoapCall, PrintsTheResponseInItsOrder) {
    answer(200,
           "<GetResponse><GetResult><B>\xC3\xA4\x7F\xE2\x80\xAE\"</B><A>1</A><A/><A>2</A></GetResult></GetResponse>");
    writeFile(home_.path() / "file", "bytes");
    const auto outcome = run(
        {"Get", "text=a=b", "n:int=-3", "x:double=1e300", "id:guid=G", "data@=" + (home_.path() / "file").string()});
    EXPECT_EQ(outcome.output,
              "{\n  \"response\": {\n    \"B\": \"\xC3\xA4\\u007f\\u202e\\\"\",\n    \"A\": [\n      \"1\",\n"
              "      \"2\"\n    ]\n  }\n}\n");
    EXPECT_EQ(outcome.complaints, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(
        server_.requests().at(0).body,
        HasSubstr("<text>a=b</text><n><int>-3</int></n><x>1e+300</x><id><guid xsi:type=\"s1:guid\">G</guid></id>"
                  "<data><xop:Include "));
}

TEST_F(SoapCall, SaysWhatFailed) {
    answer(503, "busy\x1B[2J", "X-VELErrorCode: E1\r\n");
    auto outcome = run({"Get"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.complaints,
              "soap-call: HTTP Error 503 service unavailable\n  error: Veldrin 503\n  X-VELErrorCode: E1\n"
              "  body:\nbusy\\u{1b}[2J\n");
    answer(200, "no parts", "Content-Type: multipart/related; boundary=b\r\n");
    outcome = run({"Get"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.complaints, HasSubstr("method Get\n  body:\nno parts\n"));
    answer(304, "");
    outcome = run({"Get"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.complaints, HasSubstr("status 304"));
    EXPECT_EQ(outcome.output, "");
}

TEST_F(SoapCall, ErrorsSpeakTheUsersLanguage) {
    const German german;
    answer(503, "");
    EXPECT_THAT(run({"Get"}).complaints, HasSubstr("soap-call: HTTP-Fehler 503 Dienst nicht verf\u00FCgbar\n"));
    answer(200, "no parts", "Content-Type: multipart/related; boundary=b\r\n");
    EXPECT_THAT(run({"Get"}).complaints,
                HasSubstr("soap-call: Der Webdienst hat versagt.\n  Fehler: Veldrin 87\n"
                          "  Grund: Die Antwort des Servers auf die Methode Get ist nicht lesbar.\n"));
    EXPECT_EQ(files::DirectoryBundles().mainBundle()->localizedString("Timeout waiting on SOAP call"),
              "Die Antwort auf den SOAP-Aufruf blieb aus.");
}

TEST_F(SoapCall, WrongUsageSendsNothing) {
    std::vector<Words> wrong{{}, {"1st"}, {"Get", "--what"}, {"Get", "a@=/dev/null", "b@=/dev/null"}};
    for (const char* parameter : {"a", "=a", "a<b=c", "a:float=1", "a:int=2147483648", "a:int=1x", "a:double= 1",
                                  "a@=/gone", "a@=/", "a=\xFF"}) {
        wrong.push_back({"Get", parameter});
    }
    for (const auto& arguments : wrong) {
        EXPECT_EQ(run(arguments).status, 2) << testing::PrintToString(arguments);
    }
    EXPECT_TRUE(server_.requests().empty());
}

TEST_F(SoapCall, AnInterruptionEndsItAtOnce) {
    answer_.set({{}, ServerAnswer::Then::stall});
    ChildProcess tool(command({"Get"}));
    ASSERT_TRUE(eventually([this] { return !server_.requests().empty(); }));
    tool.send(SIGINT);
    EXPECT_EQ(tool.exitStatus(), 128 + SIGINT);
}

}  // namespace
