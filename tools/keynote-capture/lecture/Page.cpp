#include "tools/keynote-capture/lecture/Page.h"

#include "base/FileURL.h"
#include "ports/CaptureNames.h"
#include "tools/keynote-capture/EventJSON.h"
#include "tools/keynote-capture/lecture/PageResources.h"
#include "tools/keynote-capture/lecture/PlainText.h"
#include "tools/keynote-capture/lecture/Template.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

/// The part's index and the slide's number: parts may have decks of their own.
using SlideKey = std::pair<std::size_t, std::int64_t>;

milliseconds rounded(Date::duration time) {
    return std::chrono::floor<milliseconds>(time + Date::duration(500));
}

/// "1:05", "1:02:05".
std::string clockOf(milliseconds time) {
    const auto seconds = time.count() / 1000;
    if (seconds < 3600) return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
    return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

/// "1.5 s", "2 min 5 s".
std::string durationOf(milliseconds time) {
    const auto seconds = time.count() / 1000;
    if (seconds < 60) return fmt::format("{}.{} s", seconds, time.count() / 100 % 10);
    return fmt::format("{} min {} s", seconds / 60, seconds % 60);
}

/// The URL of a file from another directory; it holds nothing that HTML would have to escape.
std::string relativeURL(const fs::path& file, const fs::path& directory) {
    static constexpr std::string_view kRoot = "file:///";
    return urlFromPath("/" + file.lexically_relative(directory).native()).substr(kRoot.size());
}

/// Attributes go without quotes where they can: a page has many. `lang` alone says that the language is not known.
std::string paragraph(const std::string& text) {
    return text.empty() ? "" : fmt::format("<p class=text dir=auto lang>{}</p>\n", escapedForXML(text));
}

class PageWriter {
public:
    PageWriter(const Lecture& lecture, const fs::path& directory) : lecture_(lecture), directory_(directory) {
        forEachVisit([this](std::size_t part, const Visit& visit) { ++visitsOf_[{part, visit.slide}]; });
    }

    std::string page() {
        const auto name = escapedForXML(nameOf(lecture_));
        return filledIn(kPageTemplate, {{"name", name},
                                        {"start", jsonOf(lecture_.start()).get<std::string>()},
                                        {"styleHash", hashSourceOf(kPageStyle)},
                                        {"scriptHash", hashSourceOf(kPageScript)},
                                        {"style", std::string(kPageStyle)},
                                        {"script", std::string(kPageScript)},
                                        {"facts", facts()},
                                        {"visits", visits()}});
    }

private:
    template <typename Take>
    void forEachVisit(const Take& take) const {
        for (std::size_t part = 0; part < lecture_.parts.size(); ++part) {
            for (const auto& visit : lecture_.parts[part].show.visits) take(part, visit);
        }
    }

    [[nodiscard]] milliseconds timeOf(Date date) const { return rounded(date - lecture_.start()); }

    [[nodiscard]] std::string facts() const {
        std::size_t count = 0;
        forEachVisit([&count](std::size_t, const Visit&) { ++count; });
        const auto date = jsonOf(lecture_.start()).get<std::string>();
        auto text = fmt::format("<p><time datetime=\"{}\">{} {} UTC</time> · {} · {} slide{}, shown {} time{}</p>\n",
                                date, date.substr(0, 10), date.substr(11, 5), durationOf(timeOf(lecture_.end())),
                                visitsOf_.size(), visitsOf_.size() == 1 ? "" : "s", count, count == 1 ? "" : "s");
        if (std::ranges::any_of(lecture_.parts, [](const Part& part) { return wasEdited(part); })) {
            text +=
                "<p class=\"warning\">The deck was edited during the show: images show it as it was in the end, texts "
                "as "
                "it was in the beginning.</p>\n";
        }
        return text;
    }

    [[nodiscard]] std::string visits() {
        std::string text;
        for (std::size_t part = 0; part < lecture_.parts.size(); ++part) {
            const auto& show = lecture_.parts[part].show;
            const auto& gaps = show.gaps;
            auto gap = gaps.begin();
            for (const auto& visit : show.visits) {
                for (; gap != gaps.end() && gap->start <= visit.start; ++gap) text += item(*gap);
                text += item(part, visit);
            }
            for (; gap != gaps.end(); ++gap) text += item(*gap);
        }
        return text;
    }

    [[nodiscard]] std::string item(const Gap& gap) const {
        return fmt::format("<li class=gap><p>{} · From here on nothing was seen for a while. {}</p></li>\n",
                           clockOf(timeOf(gap.start)), escapedForXML(gap.reason));
    }

    [[nodiscard]] std::string item(std::size_t partIndex, const Visit& visit) {
        const auto& part = lecture_.parts[partIndex];
        const SlideKey key{partIndex, visit.slide};
        const auto place = ++visited_;
        const auto [first, isFirst] = firstVisits_.try_emplace(key, place);
        const auto from = timeOf(visit.start);
        const auto to = timeOf(visit.end);
        return fmt::format(
            "<li id=v{} data-from={} data-to={} data-slide={}.{}>\n{}<h3 dir=auto lang>{}</h3>\n"
            "<p class=when>{} · {}{}</p>\n{}</li>\n",
            place, from.count(), to.count(), partIndex, visit.slide, image(part, visit.slide),
            escapedForXML(titleOf(part, visit.slide)), clockOf(from), durationOf(to - from),
            remarks(part, visit, ++timesSeen_[key], visitsOf_[key]),
            isFirst ? texts(part, visit.slide) : again(part, visit.slide, first->second));
    }

    [[nodiscard]] std::string image(const Part& part, std::int64_t slide) const {
        const auto file = part.directory / capture::imageFileName(slide);
        std::error_code failure;
        if (!fs::is_regular_file(file, failure)) return "<div class=none>No image</div>\n";
        const auto title = titleOf(part, slide);
        const auto number = fmt::format("Slide {}", slide);
        // The rest of its text stands beside it.
        return fmt::format("<img src={} alt=\"{}\" loading=lazy>\n", relativeURL(file, directory_),
                           escapedForXML(title == number ? number : number + ": " + title));
    }

    static std::string remarks(const Part& part, const Visit& visit, int time, int times) {
        auto text = fmt::format(" · slide {}", visit.slide);
        if (times > 1) text += fmt::format(" · visit {} of {}", time, times);
        const auto* const known = textOf(part, visit.slide);
        if (known != nullptr && known->isHidden) text += " · hidden slide";
        if (part.text && known == nullptr) text += " · not in the archive copy";
        if (visit.ends == VisitEnd::unseen) text += " · perhaps longer";
        return text;
    }

    static std::string texts(const Part& part, std::int64_t slide) {
        const auto* const text = textOf(part, slide);
        if (text == nullptr) return {};
        const auto notes = paragraph(text->notes);
        return paragraph(text->body) + (notes.empty() ? "" : "<h4>Notes</h4>\n" + notes);
    }

    static std::string again(const Part& part, std::int64_t slide, std::size_t place) {
        if (texts(part, slide).empty()) return {};
        return fmt::format("<p class=again><a href=#v{}>Its text</a></p>\n", place);
    }

    const Lecture& lecture_;
    const fs::path& directory_;
    std::map<SlideKey, int> visitsOf_;
    std::map<SlideKey, int> timesSeen_;
    std::map<SlideKey, std::size_t> firstVisits_;  ///< where in the list
    std::size_t visited_ = 0;
};

}  // namespace

std::string pageFrom(const Lecture& lecture, const fs::path& directory) {
    return PageWriter(lecture, directory).page();
}

}  // namespace keynote_capture
