/// `keynote-capture status` where something is missing, and what `record` says of it.

#include "bus/ProgramServer.h"
#include "tests/support/Deadline.h"
#include "tests/tools/keynote-capture/ToolTest.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;
using testing::Not;

/// A socket on which somebody listens and nobody ever answers.
class SilentSocket {
public:
    explicit SilentSocket(const fs::path& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{AF_UNIX, {}};
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(socket_, 1), 0);
    }
    ~SilentSocket() { ::close(socket_); }
    SilentSocket(const SilentSocket&) = delete;
    SilentSocket& operator=(const SilentSocket&) = delete;

private:
    const int socket_;
};

class StatusTest : public ToolTest {
protected:
    void SetUp() override {
        fs::create_directory(directory_.path() / "bin");
        for (const auto* program : {"soffice", "soffice.bin"}) {
            fs::copy_file(fs::canonical("/bin/sleep"), directory_.path() / "bin" / program);
        }
    }

    /// What it prints; nothing of this computer's own office can be seen by the pipe's name.
    void look(int status, std::vector<std::string> options = {}, const std::vector<std::string>& environment = {}) {
        std::vector<std::string> command{"env", "PATH=" + (directory_.path() / "bin").string() + ":/usr/bin:/bin"};
        command.insert(command.end(), environment.begin(), environment.end());
        for (const auto* word : {KEYNOTE_CAPTURE, "status", "--pipe"}) command.emplace_back(word);
        command.push_back(pipe_);
        command.insert(command.end(), options.begin(), options.end());
        ChildProcess tool(command);
        EXPECT_EQ(tool.exitStatus(), status) << tool.complaints();
        output_ = tool.restOfOutput();
    }
    void expectLine(const std::string& state, const std::string& name, const std::string& text) {
        const auto line = fmt::format("\n{:<8} {:<10} ", state, name);
        const auto begin = ("\n" + output_).find(line);
        ASSERT_NE(begin, std::string::npos) << name << " in " << output_;
        EXPECT_THAT(output_.substr(begin, output_.find("\nok", begin + 1) - begin), HasSubstr(text));
    }
    /// The bridge is there as soon as its name is.
    [[nodiscard]] std::unique_ptr<sdbus::IConnection> bridge() const {
        auto connection = sdbus::createSessionBusConnectionWithAddress(bus_.address());
        connection->requestName(bus::ServiceName(bus::bridgeName(pipe_)));
        return connection;
    }

    const std::string pipe_ = "status" + std::to_string(getpid());
    std::string output_;
};

TEST_F(StatusTest, WithoutBusOrServiceIsNoService) {
    look(3, {}, {"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent"});
    expectLine("failed", "bus", "→ dbus-run-session");
    look(3);
    expectLine("ok", "bus", "answers");
    expectLine("failed", "service", "does not answer");
    expectLine("failed", "activation", "→ Install");
}

TEST_F(StatusTest, ABusThatHangsIsNotWaitedFor) {
    const SilentSocket silent(directory_.path() / "bus");
    look(3, {}, {"DBUS_SESSION_BUS_ADDRESS=unix:path=" + (directory_.path() / "bus").string()});
    expectLine("failed", "bus", "does not answer");
}

TEST_F(StatusTest, TellsHowFarTheOfficeIs) {
    const FakeService service(bus_.address());
    look(1);
    expectLine("warning", "service", "of version unknown");
    expectLine("warning", "activation", "→ Install");
    expectLine("failed", "bridge", "→ Install");
    expectLine("failed", "office", "→ keynote-capture setup");
    const auto standing = bridge();
    look(1);
    expectLine("ok", "bridge", "runs");
    {
        const ChildProcess office({(directory_.path() / "bin/soffice.bin").string(), "60"});
        ASSERT_TRUE(eventually([&] {
            look(1);
            return output_.find("LibreOffice runs (process") != std::string::npos;
        }));
        expectLine("failed", "office", "→ soffice --accept=\"pipe,name=" + pipe_ + ";urp;\"");
    }
    EXPECT_EQ(ChildProcess(tool({"setup", "--pipe", pipe_})).exitStatus(), 0);
    look(0);
    expectLine("warning", "office", "does not run yet; it is found");
    const SilentSocket listening(directory_.path() / ("OSL_PIPE_" + std::to_string(geteuid()) + "_" + pipe_));
    look(0);
    expectLine("warning", "office", "has not answered the bridge yet");
}

TEST_F(StatusTest, TellsWhatTheProgramShows) {
    const FakeService service(bus_.address());
    ChildProcess program({KEYNOTE_SIMULATOR, "-", "--no-window"});
    program.play("launch");
    look(0);
    expectLine("warning", "deck", "No deck is open");
    program.play("open Optics slides 3");
    program.play("start");
    look(0, {"--to", (directory_.path() / "not/yet").string()});
    expectLine("ok", "deck", "slide 1");
    expectLine("ok", "disk", "not/yet has ");
    look(1, {"--to", "/dev/null/captures", "--json"});
    EXPECT_THAT(output_, HasSubstr(R"({"version":1,"ready":false,"checks":[{"name":"bus","state":"ok",)"));
    EXPECT_THAT(output_, HasSubstr(R"({"name":"disk","state":"failed","description":"/dev/null/captures cannot)"));
    program.send(SIGSTOP);
    look(1);
    expectLine("failed", "deck", "does not say what it shows");
    program.send(SIGCONT);
}

TEST_F(StatusTest, TellsWhichDisplayTheServiceHas) {
    const std::string display = "DISPLAY=:status";
    for (const auto* const change : {"--unset=DISPLAY", display.c_str()}) {
        const ChildProcess service({"env", change, KEYNOTE_CAPTURE_SERVICE});
        ASSERT_TRUE(eventually([] { return ChildProcess(tool({"status"})).exitStatus() != 3; }));
        look(1, {}, {display});
        if (change == display) {
            expectLine("ok", "display", "X11, :status.");
        } else {
            expectLine("warning", "display", "→ dbus-update-activation-environment");
        }
    }
}

TEST_F(StatusTest, RecordSaysWhatIsMissingWhenItSeesNoProgram) {
    FakeService service(bus_.address());
    ChildProcess recorder(tool({"record", "--to", (directory_.path() / "captures").string(), "--json"}));
    recorder.waitForComplaint("keynote-impress, does not run and the bus cannot start it. → Install");
    recorder.send(SIGINT);
    EXPECT_EQ(recorder.exitStatus(), 0);
    EXPECT_THAT(recorder.restOfOutput(), Not(HasSubstr("keynote-impress")));
}

}  // namespace
