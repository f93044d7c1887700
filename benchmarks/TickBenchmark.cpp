#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "KeynoteCaptureService/KeynoteCaptureSlideImageFileMonitor.h"
#include "benchmarks/Failure.h"
#include "platform/linux/files/LinuxFileManager.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "tests/support/Replaced.h"

#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::int64_t kImages = 10'000;

/// Virtual time and real files, and an empty directory where images are awaited.
class Scene {
public:
    Scene() : directory_(fs::temp_directory_path() / ("tick-" + std::to_string(::getpid()))) {
        fs::create_directories(inDirectory());
        fs::create_directories(target());
        for (std::int64_t i = 1; i <= kImages; ++i) {
            names_.insert(KeynoteCaptureService::imageFileNameForSlideNumber(i));
        }
        installPlatform(&services_);
    }
    ~Scene() { fs::remove_all(directory_); }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    [[nodiscard]] const std::set<std::string>& names() const { return names_; }
    [[nodiscard]] fs::path inDirectory() const { return directory_ / "slide"; }
    [[nodiscard]] fs::path target() const { return directory_ / "capture"; }
    void tick() { simulated_.dispatch.runFor(500ms); }

private:
    const fs::path directory_;
    std::set<std::string> names_;
    files::LinuxFileManager files_;
    simulated::SimulatedPlatform simulated_;
    const Platform services_ = replaced(platform(), files_);
};

/// One look for ten thousand images of which none is there yet.
void ours(benchmark::State& state) {
    Scene scene;
    const auto monitor =
        std::make_shared<KeynoteCaptureSlideImageFileMonitor>(scene.names(), scene.inDirectory(), scene.target());
    monitor->startWithCompletion({});
    for ([[maybe_unused]] auto _ : state) scene.tick();

    // Each of these was a look: one more finds what has come.
    const std::ofstream image(scene.inDirectory() / *scene.names().begin());
    scene.tick();
    if (monitor->filesLeftToVerify().size() != scene.names().size() - 1) fail("the monitor did not look");
}

/// What no look can do without: asking for each image under both of its names.
void peer(benchmark::State& state) {
    const Scene scene;
    std::vector<std::string> paths;
    for (const auto& name : scene.names()) {
        for (const char* const extension : {".jpg", ".jpeg"}) {
            paths.push_back((scene.inDirectory() / name).replace_extension(extension).native());
        }
    }
    for ([[maybe_unused]] auto _ : state) {
        for (const auto& path : paths) {
            struct stat status {};
            benchmark::DoNotOptimize(::stat(path.c_str(), &status));
        }
    }
}

constexpr int kTicks = 20;  // in the 90 seconds that a monitor waits there are 179

}  // namespace

BENCHMARK(ours)->Iterations(kTicks)->Unit(benchmark::kMillisecond);
BENCHMARK(peer)->Iterations(kTicks)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
