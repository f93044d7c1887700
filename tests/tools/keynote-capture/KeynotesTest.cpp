/// `keynote-capture keynotes` on bundles and running programs that a test prepares.

#include "tests/tools/keynote-capture/ToolTest.h"

#include <gmock/gmock.h>

#include <csignal>

namespace {

using testing::HasSubstr;

class KeynotesTest : public ToolTest {
protected:
    /// Makes a bundle of the presentation program; without a version when there is none.
    std::string makeBundle(const std::string& name, const std::string& version) {
        const auto path = directory_.path() / "disk" / name;
        const auto entry = "<key>CFBundleShortVersionString</key><string>" + version + "</string>";
        writeFile(path / "Contents/Info.plist",
                  "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>com.apple.iWork.Keynote</string>" +
                      (version.empty() ? "" : entry) + "</dict></plist>");
        return path;
    }
    [[nodiscard]] std::vector<std::string> keynotes(const std::vector<std::string>& options) const {
        auto command = tool({"keynotes", "--root", directory_.path() / "disk"});
        command.insert(command.end(), options.begin(), options.end());
        return command;
    }
    static std::unique_ptr<ChildProcess> running(const std::string& bundle) {
        auto program = std::make_unique<ChildProcess>(
            std::vector<std::string>{KEYNOTE_SIMULATOR, "--no-window", "--bundle", bundle, "-"});
        program->play("launch");
        return program;
    }
};

TEST_F(KeynotesTest, TellsWhatRunsWhatIsInstalledAndWhatFollows) {
    const auto old = makeBundle("5.app", "5.3");
    const auto between = makeBundle("6.app", "6.4.9");
    const auto current = makeBundle("7 \xC3\xA4\n.app", "7.1");
    makeBundle("none.app", "");
    const auto first = running(current);
    const auto second = running(current);
    const auto third = running(old);

    ChildProcess json(keynotes({"--json"}));
    EXPECT_EQ(json.exitStatus(), 0);
    EXPECT_EQ(json.complaints(), "");
    const auto url = "\"path\":\"file://" + (directory_.path() / "disk/").string();
    const auto line = [&](const std::string& event, const std::string& rest) {
        return R"({"event":")" + event + "\"," + url + rest + ",\"format\":1}\n";
    };
    const std::string five = R"(5.app","version":"5.3","supported":true,"reason":null,"plugin":"missing")";
    const std::string six = R"(6.app","version":"6.4.9","supported":false,"reason":"there is no plug-in for versions )"
                            R"(from 6.0 up to 6.5","plugin":"none")";
    const std::string seven =
        R"(7%20%C3%A4%0A.app","version":"7.1","supported":true,"reason":null,"plugin":"notNeeded")";
    EXPECT_EQ(
        json.restOfOutput(),
        line("running", seven) + line("running", seven) + line("running", five) +
            R"({"event":"runningChecks","isUnsupportedKeynoteRunning":false,"isDisabledKeynoteRunning":true,)"
            R"("conflictingKeynoteVersionsRunning":["7.1","7.1"],"format":1})"
            "\n" +
            line("installed", five) + line("installed", six) + line("installed", seven) +
            line("installed", R"(none.app","version":null,"supported":false,"reason":"it tells no version",)"
                              R"("plugin":"none")") +
            R"({"event":"status","found":true,"unsupported":true,"pluginMissing":true,"highestVersion":"7.1","format":1})"
            "\n");
}

TEST_F(KeynotesTest, WithoutABusItStillTellsWhatIsInstalled) {
    bus_.end();
    makeBundle("New\nline\x1B[31m.app", "14.2");
    ChildProcess text(keynotes({}));
    EXPECT_EQ(text.exitStatus(), 0);
    EXPECT_THAT(text.complaints(), HasSubstr("session bus"));
    const auto output = text.restOfOutput();
    EXPECT_THAT(output, HasSubstr("cannot be seen without a session bus"));
    EXPECT_THAT(output, HasSubstr("14.2      " + directory_.path().string() + "/disk/New\\nline\\u{1b}[31m.app\n"));
    EXPECT_THAT(output, HasSubstr("highest usable version               14.2\n"));

    ChildProcess wrong(keynotes({"--root", "/gone"}));
    EXPECT_EQ(wrong.exitStatus(), 2);
}

TEST_F(KeynotesTest, AnInterruptionEndsItAtOnce) {
    ChildProcess everywhere(tool({"keynotes"}));
    everywhere.waitForLine("Running");
    everywhere.send(SIGINT);
    EXPECT_EQ(everywhere.exitStatus(), 128 + SIGINT);
}

}  // namespace
