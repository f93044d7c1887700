#include "MacShared/LogRun.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "benchmarks/Failure.h"
#include "platform/linux/LinuxPlatform.h"
#include "tests/support/Replaced.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr int kLines = 5'000;

class NoUnifiedLog final : public UnifiedLog {
public:
    [[nodiscard]] bool isDefaultLevelEnabled() const override { return false; }
    void write(const std::string& /*subsystem*/, const std::string& /*category*/,
               std::string_view /*message*/) override {}
};

/// The message of a change of slide.
void logSlide() {
    VELLog("\nNotifying of transition to\n\tslide: %ld\n\tat: %@\n\twith image file: %@", std::int64_t{12},
           platform().clock.now(), std::string("slide.012.jpg"));
}

/// Installs this platform and begins a new log file, which holds one message then.
std::string beginLog(const Platform& services) {
    installPlatform(&services);
    shared::beginNewLogRun();
    logSlide();
    std::ifstream file(*logFileURL(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void logLines(benchmark::State& state, const Platform& services) {
    static_cast<void>(beginLog(services));
    for ([[maybe_unused]] auto _ : state) logSlide();
}

/// The same bytes into the same file, as a finished text.
void writeLines(benchmark::State& state, const Platform& services) {
    const auto line = beginLog(services);
    const int file = ::open(logFileURL()->c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    for ([[maybe_unused]] auto _ : state) {
        if (::write(file, line.data(), line.size()) < 0) fail("cannot write");
    }
    ::close(file);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    LinuxPlatform linuxPlatform({});
    const Platform& real = linuxPlatform.platform();
    NoUnifiedLog none;
    const Platform fileOnly = replaced(real, none);

    benchmark::RegisterBenchmark("ours", logLines, fileOnly)->Iterations(kLines);
    benchmark::RegisterBenchmark("peer", writeLines, fileOnly)->Iterations(kLines);
    if (real.unifiedLog.isDefaultLevelEnabled()) {
        benchmark::RegisterBenchmark("ours, with the journal", logLines, real)->Iterations(kLines);
    }
    benchmark::RunSpecifiedBenchmarks();
}
