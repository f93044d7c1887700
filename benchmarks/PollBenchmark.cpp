#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "benchmarks/Failure.h"
#include "platform/linux/LinuxPlatform.h"
#include "tests/support/Replaced.h"

#include <benchmark/benchmark.h>
#include <systemd/sd-bus.h>
#include <filesystem>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr int kPolls = 50;

/// The real dispatch, except that timers of the main queue tick when they are told to.
class HandTickedDispatch final : public Dispatch, private DispatchQueue {
public:
    explicit HandTickedDispatch(Dispatch& real) : real_(real) {}

    [[nodiscard]] DispatchQueue& mainQueue() override { return *this; }
    [[nodiscard]] std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label) override {
        return real_.makeSerialQueue(std::move(label));
    }
    /// What the timer made last does at each tick; empty before there is one.
    [[nodiscard]] const Task& tick() const { return tick_; }

private:
    class Timer final : public Registration {};

    void async(Task task) override { real_.mainQueue().async(std::move(task)); }
    void after(Duration delay, Task task) override { real_.mainQueue().after(delay, std::move(task)); }
    void sync(const Task& task) override { real_.mainQueue().sync(task); }
    [[nodiscard]] Handle makeTimer(const TimerSchedule& /*schedule*/, Task handler) override {
        tick_ = std::move(handler);
        return std::make_unique<Timer>();
    }
    [[nodiscard]] const std::string& label() const override { return real_.mainQueue().label(); }

    Dispatch& real_;
    Task tick_;
};

/// The service on the real adapters, which looks at a program that presents.
class Scene {
public:
    explicit Scene(const std::filesystem::path& directory)
        : service_(KeynoteCaptureService::initWithDelegate(nullptr)) {
        service_->startDetectionAndCaptureTo(
            directory, "benchmark", [](const ErrorPtr& error) { fail(error->localizedDescription().c_str()); });
    }

    /// Looks once, until the program has answered.
    void poll(const Task& tick, LinuxPlatform& platform) const {
        tick();
        while (service_->isPollUnderWay()) platform.runOne();
    }
    [[nodiscard]] bool isPresenting() const {
        return service_->isKeynotePresenting() && service_->currentSlideNumber() > 0;
    }

private:
    const std::shared_ptr<KeynoteCaptureService> service_;
};

/// One poll, as the timer causes it.
void ours(benchmark::State& state, const Task& tick, const Scene& scene, LinuxPlatform& platform) {
    for ([[maybe_unused]] auto _ : state) scene.poll(tick, platform);
    if (!scene.isPresenting()) fail("the program does not present");
}

/// The display's part of a poll.
void display(benchmark::State& state, WindowServer& windowServer) {
    for ([[maybe_unused]] auto _ : state) {
        const auto screens = windowServer.screens();
        const auto windows = windowServer.windows();
        if (screens.empty() || windows.empty()) fail("the program shows no window");
    }
}

/// One question and its answer, without contents, to the same program.
void peer(benchmark::State& state, const std::string& program) {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) fail("no session bus");
    for ([[maybe_unused]] auto _ : state) {
        const int answer = sd_bus_call_method(bus, program.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping", nullptr,
                                              nullptr, nullptr);
        if (answer < 0) fail("no answer");
    }
    sd_bus_flush_close_unref(bus);
}

void measure(const HandTickedDispatch& dispatch, const Scene& scene, LinuxPlatform& linuxPlatform) {
    const auto application = platform().workspace.runningApplications().back();
    const auto program =
        application->bundleIdentifier() + ".instance" + std::to_string(application->processIdentifier());
    const auto setUp = [](auto* registered) { registered->Iterations(kPolls)->UseRealTime(); };
    setUp(benchmark::RegisterBenchmark("ours", ours, dispatch.tick(), std::cref(scene), std::ref(linuxPlatform)));
    setUp(benchmark::RegisterBenchmark("peer", peer, program));
    setUp(benchmark::RegisterBenchmark("display", display, std::ref(platform().windowServer)));
    benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    LinuxPlatform linuxPlatform({});
    const Platform& real = linuxPlatform.platform();
    HandTickedDispatch dispatch(real.dispatch);
    const Platform services = replaced(real, dispatch);
    installPlatform(&services);

    const Scene scene(std::filesystem::temp_directory_path() / ("poll-" + std::to_string(::getpid())));
    linuxPlatform.start();
    while (!dispatch.tick()) linuxPlatform.runOne();
    while (!scene.isPresenting()) {
        std::this_thread::sleep_for(50ms);
        scene.poll(dispatch.tick(), linuxPlatform);
    }
    measure(dispatch, scene, linuxPlatform);
}
