#include "tools/keynote-capture/lecture/VideoStart.h"

#include <cstdint>
#include <fstream>
#include <ios>
#include <string_view>

namespace keynote_capture {
namespace {

using namespace std::chrono_literals;

/// A file that is damaged, or made to be, ends the search instead of keeping it busy.
constexpr int kMostBoxes = 10'000;
constexpr Date kFirstDate = std::chrono::sys_days(std::chrono::year(1904) / 1 / 1);
constexpr Date kMillennium = std::chrono::sys_days(std::chrono::year(2001) / 1 / 1);
constexpr std::uint64_t kMostSeconds = 250'000'000'000;  // until the year 9826

/// Reads numbers from a file, the highest byte first.
class Bytes {
public:
    explicit Bytes(const std::filesystem::path& file) : in_(file, std::ios::binary) {}

    bool seek(std::uint64_t place) {
        if (place > static_cast<std::uint64_t>(INT64_MAX)) return false;
        in_.seekg(static_cast<std::streamoff>(place));
        return in_.good();
    }
    std::optional<std::uint64_t> number(int length) {
        std::uint64_t value = 0;
        for (; length > 0; --length) {
            const int byte = in_.get();
            if (byte < 0) return std::nullopt;
            value = value << 8U | static_cast<std::uint64_t>(byte);
        }
        return value;
    }
    std::uint64_t place() { return static_cast<std::uint64_t>(in_.tellg()); }

private:
    std::ifstream in_;
};

/// A part of a file that says what it is and how long.
struct Box {
    std::uint64_t type = 0;
    std::uint64_t content = 0;  ///< where it begins
    std::uint64_t end = 0;
};

constexpr std::uint64_t boxType(std::string_view name) {
    std::uint64_t type = 0;
    for (const char letter : name) type = type << 8U | static_cast<unsigned char>(letter);
    return type;
}

/// The sum, or the largest number.
std::uint64_t sum(std::uint64_t a, std::uint64_t b) {
    return b > UINT64_MAX - a ? UINT64_MAX : a + b;
}

/// ISO 14496-12, section 4.2.
std::optional<Box> mp4Box(Bytes& bytes, std::uint64_t place) {
    if (!bytes.seek(place)) return std::nullopt;
    const auto size = bytes.number(4);
    const auto type = bytes.number(4);
    if (!size || !type) return std::nullopt;
    auto length = *size == 0 ? std::optional(UINT64_MAX) : size;
    if (*size == 1) length = bytes.number(8);
    const auto content = bytes.place();
    if (!length || *length < content - place) return std::nullopt;
    return Box{*type, content, sum(place, *length)};
}

/// A number whose length its first byte tells (RFC 8794, section 4); an element's ID keeps the mark of the length.
std::optional<std::uint64_t> variableNumber(Bytes& bytes, bool keepsMark) {
    const auto first = bytes.number(1);
    if (!first || *first == 0) return std::nullopt;
    int more = 0;
    for (auto mark = 0x80U; (*first & mark) == 0; mark >>= 1U) ++more;
    const auto rest = bytes.number(more);
    if (!rest) return std::nullopt;
    const auto head = keepsMark ? *first : *first & (0x7FU >> static_cast<unsigned>(more));
    const auto value = head << static_cast<unsigned>(8 * more) | *rest;
    const bool isUnknown = !keepsMark && value == (std::uint64_t{1} << static_cast<unsigned>(7 * (more + 1))) - 1;
    return isUnknown ? UINT64_MAX : value;
}

std::optional<Box> matroskaElement(Bytes& bytes, std::uint64_t place) {
    if (!bytes.seek(place)) return std::nullopt;
    const auto type = variableNumber(bytes, true);
    const auto length = type ? variableNumber(bytes, false) : std::nullopt;
    if (!length) return std::nullopt;
    const auto content = bytes.place();
    return Box{*type, content, sum(content, *length)};
}

/// The first part of that type within another.
template <typename ReadBox>
std::optional<Box> find(Bytes& bytes, const ReadBox& readBox, std::uint64_t type, const Box& in) {
    auto place = in.content;
    for (int count = 0; place < in.end && count < kMostBoxes; ++count) {
        const auto box = readBox(bytes, place);
        if (!box || box->type == type) return box;
        place = box->end;
    }
    return std::nullopt;
}

std::optional<VideoStart> mp4Start(Bytes& bytes) {
    const auto movie = find(bytes, mp4Box, boxType("moov"), {0, 0, UINT64_MAX});
    const auto header = movie ? find(bytes, mp4Box, boxType("mvhd"), *movie) : std::nullopt;
    if (!header || !bytes.seek(header->content)) return std::nullopt;
    const auto version = bytes.number(4);
    const auto seconds = version ? bytes.number(*version >> 24U == 1 ? 8 : 4) : std::nullopt;
    // 0 stands for not known.
    if (!seconds || *seconds == 0 || *seconds > kMostSeconds) return std::nullopt;
    return VideoStart{kFirstDate + std::chrono::seconds(*seconds), true};
}

std::optional<VideoStart> matroskaStart(Bytes& bytes) {
    const auto segment = find(bytes, matroskaElement, 0x18538067, {0, 0, UINT64_MAX});
    const auto info = segment ? find(bytes, matroskaElement, 0x1549A966, *segment) : std::nullopt;
    const auto date = info ? find(bytes, matroskaElement, 0x4461, *info) : std::nullopt;
    if (!date || !bytes.seek(date->content)) return std::nullopt;
    const auto nanoseconds = bytes.number(8);
    if (!nanoseconds) return std::nullopt;
    const Duration since(static_cast<std::int64_t>(*nanoseconds));
    return VideoStart{kMillennium + std::chrono::floor<Date::duration>(since), since % 1s == 0s};
}

}  // namespace

std::optional<VideoStart> videoStartOf(const std::filesystem::path& file) {
    constexpr std::uint64_t kMatroska = 0x1A45DFA3;
    Bytes bytes(file);
    const auto first = bytes.number(4);
    if (!first) return std::nullopt;
    return *first == kMatroska ? matroskaStart(bytes) : mp4Start(bytes);
}

}  // namespace keynote_capture
