#include "tests/support/ChildProcess.h"
#include "tests/support/Deadline.h"
#include "tests/support/TestHome.h"

#include <gtest/gtest.h>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<oor:items xmlns:oor=\"http://openoffice.org/2001/registry\">\n";
const std::string kOther =
    "<item oor:path=\"/a\"><prop oor:name=\"b\" oor:op=\"fuse\"><value>\xc3\xa4</value></prop></item>\n";
const std::string kItem =
    "<item oor:path=\"/org.openoffice.Setup/Office\"><prop oor:name=\"ooSetupConnectionURL\" oor:op=\"fuse\"><value>"
    "pipe,name=keynote-capture;urp;</value></prop></item>\n";

/// The office of a user without a session bus.
class SetupTest : public testing::Test {
protected:
    int setUp(const std::vector<std::string>& options = {}) {
        std::vector<std::string> command{"env", "-u", "XDG_CONFIG_HOME", KEYNOTE_CAPTURE, "setup"};
        command.insert(command.end(), options.begin(), options.end());
        ChildProcess tool(command);
        const int status = tool.exitStatus();
        complaints_ = tool.complaints();
        return status;
    }

    const TestHome home_;
    const fs::path settings_ = home_.path() / ".config/libreoffice/4/user/registrymodifications.xcu";
    std::string complaints_;
};

TEST_F(SetupTest, UndoLeavesTheProfileByteForByte) {
    for (const auto* end : {"</oor:items>", "</oor:items>\n"}) {
        const std::string before = kHead + kOther + end;
        writeFile(settings_, before);
        fs::permissions(settings_, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
        const auto permissions = fs::status(settings_).permissions();
        for (int time = 0; time < 2; ++time) EXPECT_EQ(setUp(), 0) << complaints_;
        EXPECT_EQ(contentsOf(settings_), kHead + kOther + kItem + end);
        EXPECT_EQ(fs::status(settings_).permissions(), permissions);
        writeFile(settings_, kHead + kItem + kOther + end);  // as an office does that sorts what it keeps
        for (int time = 0; time < 2; ++time) EXPECT_EQ(setUp({"--undo"}), 0) << complaints_;
        EXPECT_EQ(contentsOf(settings_), before);
    }
}

TEST_F(SetupTest, UndoLeavesNothingWhereNoOfficeHasEverRun) {
    EXPECT_EQ(setUp(), 0) << complaints_;
    EXPECT_NE(contentsOf(settings_).find(kItem), std::string::npos);
    EXPECT_EQ(setUp({"--undo"}), 0) << complaints_;
    EXPECT_FALSE(fs::exists(home_.path() / ".config/libreoffice"));
}

TEST_F(SetupTest, WhatIsNotUnderstoodStaysAsItIs) {
    std::string elsewhere = kHead + kItem + "</oor:items>";
    elsewhere.replace(elsewhere.find("keynote-capture"), 15, "mine");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {elsewhere, "pipe,name=mine;urp;"},
        {kHead + kOther, "nothing was changed"},
        {kHead + "<item>" + kOther + "</oor:items>", "nothing was changed"},
        {kHead + "<other/></oor:items>", "nothing was changed"},
        {kHead + kOther + "</oor:items><!-- </oor:items> -->", "nothing was changed"},
        {"", "nothing was changed"},
    };
    for (const auto& [settings, complaint] : cases) {
        writeFile(settings_, settings);
        EXPECT_EQ(setUp(), 1) << settings;
        EXPECT_NE(complaints_.find(complaint), std::string::npos) << complaints_;
        EXPECT_EQ(contentsOf(settings_), settings);
    }
}

TEST_F(SetupTest, WaitsForTheEndOfTheOfficeWhoseProfileItIs) {
    const auto program = home_.path() / "soffice.bin";
    fs::copy_file(fs::canonical("/bin/sleep"), program);
    {
        const ChildProcess office({"env", "-u", "XDG_CONFIG_HOME", program, "60"});
        // Its name is that of the program as soon as it is one.
        ASSERT_TRUE(eventually([&] { return setUp() == 1; }));
        EXPECT_NE(complaints_.find("quit it first"), std::string::npos) << complaints_;
        EXPECT_FALSE(fs::exists(settings_));
        EXPECT_EQ(setUp({"--profile", home_.path() / "other"}), 0) << complaints_;
    }
    EXPECT_EQ(setUp(), 0) << complaints_;
}

}  // namespace
