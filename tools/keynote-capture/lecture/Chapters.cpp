#include "tools/keynote-capture/lecture/Chapters.h"

#include "tools/keynote-capture/lecture/PlainText.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace keynote_capture {
namespace {

using std::chrono::milliseconds;

std::string withBackslashes(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        if (std::string_view("=;#\\").find(byte) != std::string_view::npos) escaped += '\\';
        escaped += byte;
    }
    return escaped;
}

}  // namespace

std::vector<Chapter> chaptersOf(const Lecture& lecture, Date::duration offset) {
    const auto begin = lecture.start() - offset;
    const auto timeOf = [begin](Date date) {
        return std::max(milliseconds(0), std::chrono::floor<milliseconds>(date - begin + Date::duration(500)));
    };
    std::vector<Chapter> chapters;
    for (const auto& part : lecture.parts) {
        for (const auto& visit : part.show.visits) {
            Chapter chapter{timeOf(visit.start), timeOf(visit.end), titleOf(part, visit.slide)};
            if (chapter.start < chapter.end) chapters.push_back(std::move(chapter));
        }
    }
    return chapters;
}

std::string clockText(milliseconds time) {
    const auto count = time.count();
    return fmt::format("{:02}:{:02}:{:02}.{:03}", count / 3'600'000, count / 60'000 % 60, count / 1000 % 60,
                       count % 1000);
}

std::string webVTTFrom(const std::vector<Chapter>& chapters) {
    std::string text = "WEBVTT\n";
    for (const auto& [start, end, title] : chapters) {
        text += fmt::format("\n{} --> {}\n{}\n", clockText(start), clockText(end), escapedForCue(title));
    }
    return text;
}

std::string ffmetadataFrom(const std::vector<Chapter>& chapters) {
    std::string text = ";FFMETADATA1\n";
    for (const auto& [start, end, title] : chapters) {
        text += fmt::format("\n[CHAPTER]\nTIMEBASE=1/1000\nSTART={}\nEND={}\ntitle={}\n", start.count(), end.count(),
                            withBackslashes(title));
    }
    return text;
}

std::string matroskaFrom(const std::vector<Chapter>& chapters) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Chapters>\n  <EditionEntry>\n";
    std::size_t count = 0;
    for (const auto& [start, end, title] : chapters) {
        text += fmt::format(
            "    <ChapterAtom>\n"
            "      <ChapterUID>{}</ChapterUID>\n"
            "      <ChapterTimeStart>{}</ChapterTimeStart>\n"
            "      <ChapterTimeEnd>{}</ChapterTimeEnd>\n"
            "      <ChapterDisplay>\n"
            "        <ChapterString>{}</ChapterString>\n"
            "        <ChapterLanguage>und</ChapterLanguage>\n"
            "      </ChapterDisplay>\n"
            "    </ChapterAtom>\n",
            ++count, clockText(start), clockText(end), escapedForXML(title));
    }
    return text + "  </EditionEntry>\n</Chapters>\n";
}

std::string ogmFrom(const std::vector<Chapter>& chapters) {
    std::string text;
    std::size_t count = 0;
    for (const auto& [start, end, title] : chapters) {
        text += fmt::format("CHAPTER{0:02}={1}\nCHAPTER{0:02}NAME={2}\n", ++count, clockText(start), title);
    }
    return text;
}

}  // namespace keynote_capture
