#include "tests/presenters/impress/ImpressFixture.h"

#include <csignal>

namespace {

/// Bridges on a pipe of their own, beside the one of the session.
class StandingBridge : public Impress {
protected:
    [[nodiscard]] std::size_t othersThatServe() { return session->programNames().size() - 1; }
    [[nodiscard]] bool isServed(std::size_t others) {
        return eventually([&] { return othersThatServe() == others; }, 60s);
    }

    const std::string pipe = session->folder().filename().string() + "-other";
    ChildProcess bridge{{BRIDGE, "--pipe", pipe}};
};

TEST_F(StandingBridge, FindsAnOfficeThatIsSetUpWithoutAnyOption) {
    bridge.waitForComplaint("Waiting for an office");
    const auto profile = session->folder() / "set-up";
    const auto setUp = [&](std::vector<std::string> options) {
        options.insert(options.begin(), {RECORDER, "setup", "--profile", profile, "--pipe", pipe});
        return ChildProcess(options).exitStatus();
    };
    ChildProcess second({BRIDGE, "--pipe", pipe});
    EXPECT_EQ(second.exitStatus(), 0) << "there is one for a pipe";
    EXPECT_EQ(setUp({}), 0);
    {
        ChildProcess office({"sh", "-c", "exec \"$0\" \"$@\" >/dev/null 2>&1", SOFFICE, "--headless",
                             "-env:UserInstallation=" + urlFromPath(profile)});
        EXPECT_TRUE(isServed(1)) << bridge.complaintsUntilNow();
        EXPECT_EQ(setUp({"--undo"}), 1) << "it runs";
    }
    EXPECT_TRUE(isServed(0));
    EXPECT_EQ(setUp({"--undo"}), 0);
}

TEST_F(StandingBridge, LeavesAnOfficeThatIsThereForAJobToTheBridgeThatHasIt) {
    bridge.waitForComplaint("Waiting for an office");
    ChildProcess onDemand({"env", "-u", "DISPLAY", "-u", "SAL_USE_VCLPLUGIN", "HOME=" + session->folder().string(),
                           BRIDGE, "--pipe", pipe, "--exit-when-idle", "1"});
    onDemand.waitForComplaint("Attached to the office");
    EXPECT_EQ(onDemand.exitStatus(), 0) << onDemand.complaints();
    EXPECT_TRUE(isServed(0));
    EXPECT_EQ(bridge.complaintsUntilNow(), "keynote-impress: Waiting for an office on the pipe " + pipe + ".\n")
        << "it has not tried";
    EXPECT_EQ(kill(bridge.pid(), 0), 0);
}

}  // namespace
