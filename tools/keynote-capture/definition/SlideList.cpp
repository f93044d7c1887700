#include "tools/keynote-capture/definition/SlideList.h"

#include <charconv>

namespace keynote_capture {
namespace {

constexpr std::int64_t kLastSlide = 99999;
constexpr std::size_t kMostSlides = 10000;

/// Takes a number from the beginning of the text; 0 when none is there.
std::int64_t takeNumber(std::string_view& text) {
    std::int64_t number = 0;
    const auto [stop, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || number < 1 || number > kLastSlide) return 0;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return number;
}

bool take(std::string_view& text, char expected) {
    if (!text.starts_with(expected)) return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::optional<std::set<std::int64_t>> slidesFrom(std::string_view text) {
    std::set<std::int64_t> slides;
    do {
        const std::int64_t first = takeNumber(text);
        const std::int64_t last = take(text, '-') ? takeNumber(text) : first;
        if (first == 0 || last < first) return std::nullopt;
        for (std::int64_t slide = first; slide <= last; ++slide) slides.insert(slide);
        // 1-99999 is a mistake, and would ask for a hundred thousand files.
        if (slides.size() > kMostSlides) return std::nullopt;
    } while (take(text, ','));
    if (!text.empty()) return std::nullopt;
    return slides;
}

}  // namespace keynote_capture
