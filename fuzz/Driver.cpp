#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

// Stands in for libFuzzer where the compiler has none: runs every seed and then, as often as told, a seed that was
// altered at random. The same arguments give the same inputs.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr std::size_t kLongestInput = 4096;
constexpr std::size_t kMostChanges = 8;

using Random = std::mt19937;

std::size_t below(std::size_t bound, Random& random) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
}

void run(const std::string& input) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

/// Overwrites a byte, inserts one, removes some, or repeats a piece of a seed.
void change(std::string& input, const std::vector<std::string>& seeds, Random& random) {
    const auto at = below(input.size() + 1, random);
    const auto byte = static_cast<char>(below(256, random));
    const auto& other = seeds[below(seeds.size(), random)];
    switch (below(4, random)) {
        case 0:
            if (at < input.size()) input[at] = byte;
            break;
        case 1:
            input.insert(at, 1, byte);
            break;
        case 2:
            input.erase(at, below(8, random));
            break;
        default:
            input.insert(at, other, below(other.size() + 1, random), below(64, random));
    }
    input.resize(std::min(input.size(), kLongestInput));
}

std::vector<std::string> seedsIn(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(folder), {});
    std::sort(files.begin(), files.end());
    std::vector<std::string> seeds;
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return seeds;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t runs = 0;
    Random random;
    std::vector<std::string> seeds(1);
    for (const std::string_view argument : std::vector<std::string_view>(argv + 1, argv + argc)) {
        const auto number = [&] { return std::stoul(std::string(argument.substr(argument.find('=') + 1))); };
        if (argument.starts_with("-runs=")) {
            runs = number();
        } else if (argument.starts_with("-seed=")) {
            random.seed(static_cast<Random::result_type>(number()));
        } else {
            std::ranges::copy(seedsIn(argument), std::back_inserter(seeds));
        }
    }
    for (const auto& seed : seeds) run(seed);
    for (std::size_t i = 0; i < runs; ++i) {
        auto input = seeds[below(seeds.size(), random)];
        for (auto changes = below(kMostChanges, random) + 1; changes > 0; --changes) change(input, seeds, random);
        run(input);
    }
    std::cout << seeds.size() << " seeds and " << runs << " altered inputs\n";
}
