#include "tools/keynote-capture/lecture/VisitTables.h"

#include "ports/CaptureNames.h"
#include "tools/keynote-capture/FileDigest.h"

#include <fmt/format.h>

#include <array>
#include <map>
#include <string_view>

namespace keynote_capture {
namespace {

constexpr std::array<const char*, 3> kEnds{"nextSlide", "showEnded", "unseen"};
constexpr std::array<const char*, 15> kColumns{
    "presentation", "slide", "documentPosition", "showPosition", "hidden", "inArchive", "start", "end", "startedAt",
    "ends",         "image", "imageSHA256",      "title",        "text",   "notes"};

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

Json orNull(const std::optional<Date>& date) {
    return date ? jsonOf(*date) : Json();
}

/// Makes the objects of one part.
class PartTable {
public:
    PartTable(const Part& part, Date begin, const std::filesystem::path& base)
        : part_(part), begin_(begin), base_(base) {}

    [[nodiscard]] Json part() const {
        const auto& show = part_.show;
        return {{"presentation", show.presentationID},
                {"continues", jsonOf(show.continues)},
                {"deck", jsonOf(show.deck)},
                {"archive", jsonOf(show.archive)},
                {"archiveSHA256", jsonOf(show.archiveDigest)},
                {"startedAt", orNull(show.started)},
                {"endedAt", orNull(show.ended)},
                {"deckEdited", wasEdited(part_)}};
    }

    [[nodiscard]] Json visit(const Visit& visit) {
        Json row{{"presentation", part_.show.presentationID}, {"slide", visit.slide}};
        const auto index = part_.text ? part_.text->indexOf(visit.slide) : std::nullopt;
        row["documentPosition"] = index ? Json(*index + 1) : Json();
        row["showPosition"] = orNull(visit.position);
        row["hidden"] = index ? Json(part_.text->slides[*index].isHidden) : Json();
        row["inArchive"] = part_.text ? Json(index.has_value()) : Json();
        addTimes(row, visit);
        addImage(row, visit.slide);
        const auto* const text = textOf(part_, visit.slide);
        row["title"] = text != nullptr ? Json(text->title) : Json();
        row["text"] = text != nullptr ? Json(text->body) : Json();
        row["notes"] = text != nullptr ? Json(text->notes) : Json();
        return row;
    }

    [[nodiscard]] Json gap(const Gap& gap) const {
        return {{"presentation", part_.show.presentationID}, {"start", seconds(gap.start)}, {"reason", gap.reason}};
    }

private:
    [[nodiscard]] Json seconds(Date date) const {
        return static_cast<double>(
                   std::chrono::floor<std::chrono::milliseconds>(date - begin_ + Date::duration(500)).count()) /
               1000;
    }

    void addTimes(Json& row, const Visit& visit) const {
        row["start"] = seconds(visit.start);
        row["end"] = seconds(visit.end);
        row["startedAt"] = jsonOf(visit.start);
        row["startedBetween"] = Json::array({orNull(visit.earliest), jsonOf(visit.latest)});
        row["ends"] = kEnds.at(static_cast<std::size_t>(visit.ends));
    }

    void addImage(Json& row, std::int64_t slide) {
        const auto file = part_.directory / capture::imageFileName(slide);
        const auto [known, isNew] = digests_.try_emplace(slide);
        if (isNew) known->second = sha256Of(file);
        row["image"] = known->second ? Json(file.lexically_relative(base_).native()) : Json();
        row["imageSHA256"] = jsonOf(known->second);
    }

    const Part& part_;
    const Date begin_;
    const std::filesystem::path& base_;
    std::map<std::int64_t, std::optional<std::string>> digests_;
};

/// Null is an empty cell.
std::string cellFrom(const Json& value) {
    auto text = value.is_string() ? value.get<std::string>() : value.is_null() ? std::string() : value.dump();
    if (value.is_string() && !text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos)
        text.insert(0, 1, '\'');
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    for (std::size_t at = 0; (at = text.find('"', at)) != std::string::npos; at += 2) text.insert(at, 1, '"');
    return '"' + text + '"';
}

}  // namespace

Json jsonOf(const Lecture& lecture, Date::duration offset, const std::filesystem::path& base) {
    const auto begin = lecture.start() - offset;
    Json json{{"lecture", 1},
              {"name", nameOf(lecture)},
              {"startedAt", jsonOf(lecture.start())},
              {"endedAt", jsonOf(lecture.end())},
              {"zeroAt", jsonOf(begin)},
              {"presentations", Json::array()},
              {"visits", Json::array()},
              {"gaps", Json::array()}};
    for (const auto& part : lecture.parts) {
        PartTable table(part, begin, base);
        json["presentations"].push_back(table.part());
        for (const auto& visit : part.show.visits) json["visits"].push_back(table.visit(visit));
        for (const auto& gap : part.show.gaps) json["gaps"].push_back(table.gap(gap));
    }
    return json;
}

std::string csvFrom(const Json& lecture) {
    std::string text = fmt::format("{}\r\n", fmt::join(kColumns, ","));
    for (const auto& visit : lecture.at("visits")) {
        for (const auto* const column : kColumns) {
            if (column != kColumns.front()) text += ',';
            text += cellFrom(visit.at(column));
        }
        text += "\r\n";
    }
    return text;
}

}  // namespace keynote_capture
