#include "tools/keynote-capture/lecture/Lecture.h"

#include "tools/keynote-capture/lecture/PlainText.h"

#include <algorithm>

namespace keynote_capture {
namespace {

Date startOf(const Show& show) {
    const auto first = show.visits.empty() ? Date{} : show.visits.front().start;
    return show.started.value_or(first);
}

/// The rest of a show that was lost tells it from its beginning when its program does.
void takeOutWhatIsKnown(Show& first, Show& rest) {
    if (first.visits.empty()) return;
    auto& last = first.visits.back();
    std::erase_if(rest.visits, [&last](const Visit& visit) { return visit.end <= last.end; });
    if (rest.visits.empty() || rest.visits.front().start > last.end) return;
    auto& next = rest.visits.front();
    if (next.slide != last.slide) {
        next.start = last.end;
        return;
    }
    // The same stay, of which both have seen a part.
    last.end = next.end;
    last.ends = next.ends;
    rest.visits.erase(rest.visits.begin());
    std::erase_if(first.gaps, [&last](const Gap& gap) { return gap.start <= last.end; });
}

}  // namespace

Date Lecture::start() const {
    return startOf(parts.front().show);
}

Date Lecture::end() const {
    Date end = start();
    for (const auto& [directory, show, text] : parts) {
        end = std::max(end, show.ended.value_or(end));
        if (!show.visits.empty()) end = std::max(end, show.visits.back().end);
    }
    return end;
}

Lecture lectureOf(std::vector<Part> parts) {
    // Not by the shows' beginnings: the rest of a show began when the show did.
    std::ranges::stable_sort(parts, {}, [](const Part& part) { return part.show.begun; });
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const bool isRest = parts[i].show.continues == parts[i - 1].show.presentationID;
        if (isRest) takeOutWhatIsKnown(parts[i - 1].show, parts[i].show);
    }
    return {std::move(parts)};
}

std::string titleOf(const Part& part, std::int64_t slide) {
    const auto* const text = textOf(part, slide);
    auto title = text != nullptr ? oneLine(text->title) : std::string();
    return title.empty() ? "Slide " + std::to_string(slide) : title;
}

const SlideText* textOf(const Part& part, std::int64_t slide) {
    const auto index = part.text ? part.text->indexOf(slide) : std::nullopt;
    return index ? &part.text->slides[*index] : nullptr;
}

bool wasEdited(const Part& part) {
    const auto isUnknown = [&part](const Visit& visit) { return textOf(part, visit.slide) == nullptr; };
    return part.show.deckWasSaved || (part.text && std::ranges::any_of(part.show.visits, isUnknown));
}

std::string nameOf(const Lecture& lecture) {
    const auto& [directory, show, text] = lecture.parts.front();
    auto name = show.deck ? oneLine(show.deck->stem().native()) : std::string();
    if (name.empty() && text) name = oneLine(text->slides.front().title);
    return name.empty() ? "Slide show" : name;
}

}  // namespace keynote_capture
