#include "benchmarks/Failure.h"
#include "recorder-shared/NSString+VELStringAdditions.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <string>

namespace {

/// 1 MiB of text: what a web service may send.
constexpr std::size_t kSize = 1 << 20;

/// The pattern again and again.
std::string repeated(const std::string& pattern) {
    std::string text = pattern;
    while (text.size() < kSize) text += pattern;
    return text;
}

/// Parts of 25 bytes with names that recur, as many different ones as told.
std::string query(int names) {
    std::string text("a=b");
    for (int i = 0; text.size() < kSize; ++i) {
        const auto name = std::to_string(1000 + i * 7919 % names);
        text.append("&name").append(name).append("=value%20").append(name).append("abc");
    }
    return text;
}

template <class Operation>
void measure(benchmark::State& state, const std::string& text, const Operation& operation) {
    for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(operation(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}

std::string copied(const std::string& text) {
    return text;
}

std::size_t decodedSize(const std::string& text) {
    const auto bytes = base64DecodedData(text);
    if (!bytes) fail("the text is valid");
    return bytes->size();
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const auto add = [](const char* name, const std::string& text, const auto& operation) {
        benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { measure(state, text, operation); });
    };
    const auto prose = repeated("Optics: light, lenses & \xC3\xA4ther/");
    add("memcpy", prose, copied);
    add("encode", prose, urlEncode);
    add("decode", repeated("QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVo0NTY3ODkwMTIzNDU2Nzg5MDEyMzQ1Njc4OTAxMjM0\r\n"),
        decodedSize);
    add("query", query(50), queryParameters);
    add("query, many names", query(5000), queryParameters);
    benchmark::RunSpecifiedBenchmarks();
}
