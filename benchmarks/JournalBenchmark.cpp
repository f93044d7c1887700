#include "benchmarks/Failure.h"
#include "host/Journal.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <filesystem>
#include <string>

namespace {

constexpr int kLines = 100;

/// As long as the line of a slide.
const std::string kLine(280, 'x');

/// Beside the program, not below /tmp, which may be in memory: what is measured is the disk.
std::filesystem::path fileNamed(const std::string& name) {
    const auto file = std::filesystem::read_symlink("/proc/self/exe").parent_path() / (name + ".journal-benchmark");
    std::filesystem::remove(file);
    return file;
}

void appendLines(benchmark::State& state) {
    const auto file = fileNamed("ours");
    auto journal = host::Journal::open(file);
    if (!journal) fail("cannot open the journal");
    for ([[maybe_unused]] auto _ : state) {
        if (!journal->append(kLine)) fail("cannot write");
    }
    std::filesystem::remove(file);
}

/// What has to be done at least for a line that a power cut must not take.
void writeLines(benchmark::State& state) {
    const auto path = fileNamed("peer");
    const std::string line = kLine + '\n';
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    for ([[maybe_unused]] auto _ : state) {
        if (::write(file, line.data(), line.size()) < 0 || fdatasync(file) != 0) fail("cannot write");
    }
    ::close(file);
    std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RegisterBenchmark("ours", appendLines)->Iterations(kLines)->UseRealTime();
    benchmark::RegisterBenchmark("peer", writeLines)->Iterations(kLines)->UseRealTime();
    benchmark::RunSpecifiedBenchmarks();
}
