#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

using Stopwatch = std::chrono::steady_clock;

void check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(what + (": " + std::string(::strerror(-result))));
}

/// A service that is started and asked: executable NAME, bus name com.veldrin.NAME, interface with the given suffix.
struct Service {
    std::string name;
    std::string interfaceSuffix;
};

/// The connection that asks, and waits for names to appear on the bus.
class Bus {
public:
    explicit Bus(const std::string& awaitedName) {
        check(sd_bus_open_user(&bus_), "no session bus");
        const std::string match =
            "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" + awaitedName + "'";
        check(sd_bus_add_match(bus_, nullptr, match.c_str(), &Bus::ownerChanged, this), "cannot watch names");
    }
    ~Bus() { sd_bus_flush_close_unref(bus_); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    void waitForOwner(bool owned) {
        while (owned_ != owned) {
            const int handled = sd_bus_process(bus_, nullptr);
            check(handled, "the bus has gone");
            if (handled == 0) check(sd_bus_wait(bus_, 10'000'000), "no service");
        }
    }

    [[nodiscard]] bool answers(const std::string& name, const std::string& path, const std::string& interface) {
        return sd_bus_call_method(bus_, name.c_str(), path.c_str(), interface.c_str(),
                                  "descriptionOfKeynoteWindowsWithReply", nullptr, nullptr, nullptr) >= 0;
    }

private:
    static int ownerChanged(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
        const char* name = nullptr;
        const char* before = nullptr;
        const char* now = nullptr;
        check(sd_bus_message_read(message, "sss", &name, &before, &now), "a malformed signal");
        static_cast<Bus*>(self)->owned_ = *now != '\0';
        return 0;
    }

    sd_bus* bus_ = nullptr;
    bool owned_ = false;
};

/// From the start of a process to the first answer of its service; its end is waited for and not counted.
void startToFirstAnswer(benchmark::State& state, const Service& service) {
    const auto executable = (std::filesystem::read_symlink("/proc/self/exe").parent_path() / service.name).string();
    const std::string busName = "com.veldrin." + service.name;
    const std::string path = "/com/veldrin/" + service.name;
    const std::string interface = busName + service.interfaceSuffix;
    Bus bus(busName);
    for ([[maybe_unused]] auto _ : state) {
        std::string argument = executable;
        char* arguments[] = {argument.data(), nullptr};
        pid_t process = 0;
        const auto start = Stopwatch::now();
        check(-posix_spawn(&process, executable.c_str(), nullptr, nullptr, arguments, environ), executable.c_str());
        bus.waitForOwner(true);
        while (!bus.answers(busName, path, interface)) {
        }
        state.SetIterationTime(std::chrono::duration<double>(Stopwatch::now() - start).count());
        ::kill(process, SIGTERM);
        ::waitpid(process, nullptr, 0);
        bus.waitForOwner(false);
    }
}

}  // namespace

BENCHMARK_CAPTURE(startToFirstAnswer, ours, Service{"KeynoteCaptureService", "Protocol"})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(startToFirstAnswer, peer, Service{"EmptyService", ""})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
