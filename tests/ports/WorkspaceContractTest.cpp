#include "platform/linux/bus/DBusWorkspace.h"
#include "platform/simulated/SimulatedDispatch.h"
#include "platform/simulated/SimulatedWorkspace.h"
#include "tests/platform/linux/bus/FakeProgram.h"

#include <future>

namespace {

using Lines = std::vector<std::string>;

/// A workspace whose main queue runs, and programs that come and go.
class WorkspaceHarness {
public:
    virtual ~WorkspaceHarness() = default;
    virtual Workspace& workspace() = 0;
    virtual DispatchQueue& mainQueue() = 0;
    virtual void launch(pid_t process) = 0;
    virtual void quit(pid_t process) = 0;
    virtual void changeProcess(pid_t process, pid_t now) = 0;
    /// Has the changes happen while the main queue is busy, and comes back when they are to be told.
    virtual void whileBusy(const Task& changes) = 0;
    /// Lets the queues run until it is so.
    virtual bool becomes(const std::function<bool()>& isSo) = 0;
};

class DBusHarness final : public WorkspaceHarness {
public:
    DBusHarness() {
        sessionBus_->start([] {});
        main_ = std::thread([this] { static_cast<void>(dispatch_.run()); });
    }
    ~DBusHarness() override {
        dispatch_.stop(0);
        main_.join();
        sessionBus_->stop();
    }
    Workspace& workspace() override { return workspace_; }
    DispatchQueue& mainQueue() override { return dispatch_.mainQueue(); }
    void launch(pid_t process) override {
        FakeProgram::Facts facts;
        facts.name = fmt::format("{}.instance{}", kKeynote, process);
        facts.process = sdbus::Variant(static_cast<std::uint32_t>(process));
        programs_[process] = std::make_unique<FakeProgram>(facts);
        EXPECT_TRUE(eventually([&] { return workspace_.busNameOfProcess(process).has_value(); }));
    }
    void quit(pid_t process) override {
        programs_.erase(process);
        EXPECT_TRUE(eventually([&] { return !workspace_.busNameOfProcess(process); }));
    }
    void changeProcess(pid_t process, pid_t now) override {
        programs_.at(process)->changeProcess(static_cast<std::uint32_t>(now));
    }
    void whileBusy(const Task& changes) override {
        std::promise<void> end;
        mainQueue().async([&] { end.get_future().wait(); });
        changes();
        end.set_value();
        mainQueue().sync([] {});
    }
    bool becomes(const std::function<bool()>& isSo) override {
        return eventually([&] {
            bool result = false;
            mainQueue().sync([&] { result = isSo(); });
            return result;
        });
    }

private:
    PrivateBus daemon_;
    NotedConsoleLog consoleLog_;
    runtime::LoopDispatch dispatch_{consoleLog_};
    std::string problem_;
    const std::shared_ptr<SessionBus> sessionBus_ = SessionBus::open(problem_);
    bus::DBusWorkspace workspace_{sessionBus_, dispatch_.mainQueue(), {kKeynote}};
    std::map<pid_t, std::unique_ptr<FakeProgram>> programs_;
    std::thread main_;
};

class SimulatedHarness final : public WorkspaceHarness {
public:
    SimulatedHarness() {
        workspace_.tellsAfter = Duration::zero();
        workspace_.opener = [this](const auto&, const auto& application) {
            return application == "Keynote" && !programs_.empty();
        };
    }
    Workspace& workspace() override { return workspace_; }
    DispatchQueue& mainQueue() override { return dispatch_.mainQueue(); }
    void launch(pid_t process) override {
        programs_[process] =
            std::make_shared<simulated::SimulatedApplication>(kKeynote, "/Applications/Keynote.app", process);
        workspace_.add(programs_[process]);
    }
    void quit(pid_t process) override { workspace_.remove(programs_.extract(process).mapped()); }
    void changeProcess(pid_t process, pid_t now) override { programs_.at(process)->setProcessIdentifier(now); }
    void whileBusy(const Task& changes) override {
        changes();
        dispatch_.runReady();
    }
    bool becomes(const std::function<bool()>& isSo) override {
        dispatch_.runReady();
        return isSo();
    }

private:
    simulated::SimulatedDispatch dispatch_;
    simulated::SimulatedWorkspace workspace_{dispatch_.mainQueue()};
    std::map<pid_t, std::shared_ptr<simulated::SimulatedApplication>> programs_;
};

template <typename Harness>
class WorkspaceContract : public testing::Test {
protected:
    Lines processes() {
        Lines all;
        for (const auto& each : workspace.runningApplications())
            all.push_back(std::to_string(each->processIdentifier()));
        return all;
    }
    /// Notes the list whenever its observer is called, from the main queue.
    void observe() {
        harness.mainQueue().sync([this] {
            observation = workspace.observeRunningApplications(
                [this] { seen.push_back(fmt::format("{}", fmt::join(processes(), " "))); });
        });
    }
    bool becomes(const Lines& expected) {
        return harness.becomes([&] { return processes() == expected; });
    }

    Harness harness;
    Workspace& workspace = harness.workspace();
    Lines seen;  ///< this and what follows belong to the main queue
    Handle observation;
};

using Harnesses = testing::Types<DBusHarness, SimulatedHarness>;
TYPED_TEST_SUITE(WorkspaceContract, Harnesses);

TYPED_TEST(WorkspaceContract, TellsOfEveryChangeInTurnHoweverLate) {
    this->observe();
    this->harness.launch(1);
    ASSERT_TRUE(this->becomes({"1"}));
    this->harness.whileBusy([this] {
        this->harness.quit(1);
        this->harness.launch(2);
        this->harness.launch(3);
        this->harness.quit(2);
    });
    ASSERT_TRUE(this->becomes({"3"}));
    EXPECT_EQ(this->seen, (Lines{"", "1", "", "2", "2 3", "3"}));

    this->harness.mainQueue().sync([this] { this->observation.reset(); });
    this->harness.launch(4);
    ASSERT_TRUE(this->becomes({"3", "4"}));
    EXPECT_EQ(this->seen.size(), 6U) << "nobody is told who has dropped the handle";
}

TYPED_TEST(WorkspaceContract, TellsOfAChangedProcess) {
    this->harness.launch(5);
    ASSERT_TRUE(this->becomes({"5"}));
    const auto application = this->workspace.runningApplications().front();
    EXPECT_EQ(application->bundleIdentifier(), kKeynote);
    EXPECT_EQ(application->bundleURL(), "/Applications/Keynote.app");
    Lines changes;
    this->harness.mainQueue().sync([&] {
        this->observation = application->observeProcessIdentifier(
            [&] { changes.push_back(std::to_string(application->processIdentifier())); });
    });
    this->harness.changeProcess(5, 6);
    EXPECT_TRUE(this->harness.becomes([&] { return changes == Lines{"5", "6"}; }));
    this->harness.mainQueue().sync([&] { this->observation.reset(); });
    this->harness.changeProcess(5, 7);
    ASSERT_TRUE(this->becomes({"7"}));
    EXPECT_TRUE(this->harness.becomes([&] { return changes.size() == 2; }));
}

TYPED_TEST(WorkspaceContract, OpensFilesWithAProgramThatIsThere) {
    Lines told;
    const auto open = [&](const char* application) {
        this->workspace.openFile("/a.key", application,
                                 [&](bool isThere) { told.push_back(isThere ? "there" : "none"); });
    };
    open("Keynote");
    EXPECT_TRUE(this->harness.becomes([&] { return told == Lines{"none"}; })) << "nobody can start it";
    EXPECT_FALSE(this->workspace.openFile("/a.key", "Keynote"));
    this->harness.launch(8);
    open("Keynote");
    EXPECT_TRUE(this->harness.becomes([&] { return told == Lines{"none", "there"}; }));
    open("Pages");
    EXPECT_TRUE(this->harness.becomes([&] { return told == Lines{"none", "there", "none"}; }));
    EXPECT_TRUE(this->workspace.openFile("/a.key", "Keynote"));
    EXPECT_FALSE(this->workspace.openFile("/a.key", "Pages"));
}

}  // namespace
