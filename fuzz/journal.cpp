/// A journal of any content: its visits are in order, none overlaps another, and chapters can be made of them.

#include "fuzz/Require.h"
#include "tools/keynote-capture/lecture/Chapters.h"

#include <cstdint>
#include <sstream>

using namespace keynote_capture;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream text(std::string(data, data + size));
    std::vector<std::string> lines{R"({"timeline":1,"clocks":{"wall":"2026-12-31T23:59:58.000000Z","steady":0}})"};
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    auto show = showFrom(lines);
    require(show.has_value());
    Date end{};
    for (const auto& visit : show->visits) {
        require(visit.slide > 0 && end <= visit.start && visit.start <= visit.end);
        end = visit.end;
    }
    std::chrono::milliseconds last{};
    for (const auto& chapter : chaptersOf(lectureOf({Part{{}, *std::move(show), {}}}), Date::duration(0))) {
        require(last <= chapter.start && chapter.start < chapter.end && !chapter.title.empty());
        last = chapter.end;
    }
    return 0;
}
