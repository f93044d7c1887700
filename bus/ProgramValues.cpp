#include "bus/ProgramValues.h"

#include "bus/Convert.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"

#include <chrono>
#include <limits>
#include <utility>

namespace bus {
namespace {

constexpr std::size_t kMostEntries = 64;
/// A program with more windows, or longer texts, is broken or means harm; reading them all would hold up the others.
constexpr std::size_t kMostWindows = 1000;
constexpr std::size_t kLongestText = 16384;

Failure malformed(const std::string& what) {
    return {kProgramFailed, "its answer is malformed (" + what + ")"};
}

std::string shortText(std::string text, const char* what) {
    if (text.size() > kLongestText) throw malformed(what);
    return text;
}

/// Cut where a character of UTF-8 ends.
std::string cutText(std::string text) {
    if (text.size() <= kLongestText) return text;
    std::size_t end = kLongestText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    text.resize(end);
    return text;
}

/// The value under a key; nothing when it is absent. Another type is a malformed answer.
template <typename T>
std::optional<T> valueOf(const Dictionary& values, const char* key) {
    const auto found = values.find(key);
    if (found == values.end()) return std::nullopt;
    if (!holds<T>(found->second)) throw malformed(key);
    return found->second.get<T>();
}

/// The value under a key, when it is one.
template <typename T>
std::optional<T> anyValueOf(const Dictionary& values, const char* key) {
    const auto found = values.find(key);
    if (found == values.end() || !holds<T>(found->second)) return std::nullopt;
    return found->second.get<T>();
}

std::optional<std::string> anyTextOf(const Dictionary& values, const char* key) {
    auto text = anyValueOf<std::string>(values, key);
    return text && text->size() <= kLongestText ? text : std::nullopt;
}

std::optional<Path> fileFrom(const Dictionary& values) {
    const auto url = valueOf<std::string>(values, "documentFile").value_or("");
    // A show must not be missed because of its document's file.
    return url.size() > kLongestText ? std::nullopt : pathFromURL(url);
}

using BoundsStruct = sdbus::Struct<std::int64_t, std::int64_t>;
using VisitStruct = sdbus::Struct<std::int64_t, std::int64_t, std::int64_t, std::int64_t>;
using EndStruct = sdbus::Struct<std::string, std::int64_t, std::int64_t>;

/// What makes no sense is as if it were not told: the times are an addition, and a poll is good without them.
ScriptingTimes timesFrom(const Dictionary& values) {
    ScriptingTimes times;
    if (const auto started = anyValueOf<BoundsStruct>(values, "showStarted")) {
        times.showStarted = boundsFrom(started->get<0>(), started->get<1>());
    }
    if (const auto ended = anyValueOf<EndStruct>(values, "showEnded");
        ended && ended->get<0>().size() <= kLongestText) {
        times.showEnded = boundsFrom(ended->get<1>(), ended->get<2>());
        times.endedDocumentID = ended->get<0>();
    }
    const auto visits = anyValueOf<std::vector<VisitStruct>>(values, "visits").value_or(std::vector<VisitStruct>());
    if (visits.size() > kMostVisits) return times;
    for (const auto& visit : visits) {
        const auto began = boundsFrom(visit.get<2>(), visit.get<3>());
        // A list with a hole in it would tell visits that were none.
        if (!began) return {times.showStarted, {}, times.showEnded, times.endedDocumentID};
        times.visits.push_back({visit.get<0>(), visit.get<1>(), *began});
    }
    return times;
}

void addTimes(Dictionary& values, const ScriptingTimes& times) {
    if (times.showStarted) {
        const auto [earliest, latest] = microsecondsFrom(*times.showStarted);
        values["showStarted"] = sdbus::Variant(BoundsStruct(earliest, latest));
    }
    if (times.showEnded) {
        const auto [earliest, latest] = microsecondsFrom(*times.showEnded);
        values["showEnded"] = sdbus::Variant(EndStruct(times.endedDocumentID, earliest, latest));
    }
    std::vector<VisitStruct> visits;
    for (const auto& [number, position, began] : times.visits) {
        const auto [earliest, latest] = microsecondsFrom(began);
        visits.emplace_back(number, position, earliest, latest);
    }
    if (!visits.empty()) values["visits"] = sdbus::Variant(visits);
}

/// Takes the texts out of the struct.
ScriptingSlide slideFrom(SlideStruct& slide) {
    auto& [number, skipped, title, body, notes, items, tableStructs] = static_cast<SlideStruct::tuple&>(slide);
    std::vector<ScriptingTable> tables;
    tables.reserve(tableStructs.size());
    for (TableStruct& table : tableStructs) {
        tables.push_back({std::move(std::get<0>(table)), std::move(std::get<1>(table))});
    }
    return {.slideNumber = number,
            .skipped = skipped,
            .defaultTitleItemText = std::move(title),
            .defaultBodyItemText = std::move(body),
            .presenterNotes = std::move(notes),
            .textItems = std::move(items),
            .tables = std::move(tables)};
}

SlideStruct structFrom(ScriptingSlide& slide) {
    std::vector<TableStruct> tables;
    tables.reserve(slide.tables.size());
    for (auto& [name, rows] : slide.tables) tables.emplace_back(std::move(name), std::move(rows));
    return SlideStruct(slide.slideNumber, slide.skipped, std::move(slide.defaultTitleItemText),
                       std::move(slide.defaultBodyItemText), std::move(slide.presenterNotes),
                       std::move(slide.textItems), std::move(tables));
}

sdbus::Variant variantFrom(const ExportProperties::mapped_type& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return sdbus::Variant(validUTF8(*text));
    if (const auto* number = std::get_if<double>(&value)) return sdbus::Variant(*number);
    return sdbus::Variant(std::get<bool>(value));
}

}  // namespace

Dictionary dictionaryFrom(sdbus::Message& reply) {
    Dictionary values;
    if (!reply.enterContainer("{sv}")) return values;
    // Entry by entry, because the library would read a million of them before anybody could object.
    for (std::size_t entry = 0; entry < kMostEntries && reply.enterDictEntry("sv"); ++entry) {
        std::string key;
        sdbus::Variant value;
        reply >> key >> value;
        values.emplace(std::move(key), std::move(value));
        reply.exitDictEntry();
    }
    return values;
}

std::optional<TimeBounds> boundsFrom(std::int64_t earliest, std::int64_t latest) {
    // What is later would overflow.
    constexpr auto kEndOfTime = std::chrono::floor<std::chrono::microseconds>(Instant::duration::max()).count();
    if (earliest < 0 || latest < earliest || latest > kEndOfTime) return std::nullopt;
    return TimeBounds{Instant(std::chrono::microseconds(earliest)), Instant(std::chrono::microseconds(latest))};
}

ProgramFacts factsFrom(sdbus::Message& reply) {
    const auto values = dictionaryFrom(reply);
    ProgramFacts facts{.processIdentifier = {},
                       .bundleIdentifier = anyTextOf(values, "BundleIdentifier"),
                       .bundleURL = anyTextOf(values, "BundleURL")};
    const auto process = anyValueOf<std::uint32_t>(values, "ProcessIdentifier").value_or(0);
    if (process != 0 && process <= std::numeric_limits<pid_t>::max()) facts.processIdentifier = process;
    return facts;
}

PresentingState presentingStateFrom(sdbus::Message& reply) {
    const auto values = dictionaryFrom(reply);
    PresentingState state;
    state.playing = valueOf<bool>(values, "playing");
    state.times = timesFrom(values);
    auto id = valueOf<std::string>(values, "documentID");
    // Without a document there is no slide, whatever else was told.
    if (!id) return state;
    state.firstDocument = {.id = shortText(std::move(*id), "documentID"),
                           .file = fileFrom(values),
                           .currentSlideNumber = valueOf<std::int64_t>(values, "slideNumber").value_or(0)};
    return state;
}

Dictionary dictionaryFrom(const PresentingState& state) {
    Dictionary values;
    if (state.playing) values["playing"] = sdbus::Variant(*state.playing);
    if (const auto& document = state.firstDocument) {
        values["documentID"] = sdbus::Variant(document->id);
        values["slideNumber"] = sdbus::Variant(document->currentSlideNumber);
        if (document->file) values["documentFile"] = sdbus::Variant(urlFromPath(*document->file));
    }
    addTimes(values, state.times);
    return values;
}

std::vector<ScriptingWindow> windowsFrom(sdbus::Message& reply) {
    std::vector<ScriptingWindow> windows;
    if (!reply.enterContainer("(s(dddd)xx)")) return windows;
    WindowStruct window;
    // For the same reason one at a time.
    while (windows.size() < kMostWindows && reply >> window) {
        const auto& bounds = window.get<1>();
        windows.push_back({cutText(window.get<0>()),
                           {bounds.get<0>(), bounds.get<1>(), bounds.get<2>(), bounds.get<3>()},
                           window.get<2>(),
                           window.get<3>()});
    }
    return windows;
}

std::vector<WindowStruct> structsFrom(const std::vector<ScriptingWindow>& windows) {
    std::vector<WindowStruct> structs;
    structs.reserve(windows.size());
    for (const auto& [name, bounds, index, id] : windows) {
        structs.emplace_back(name, sdbus::make_struct(bounds.x, bounds.y, bounds.width, bounds.height), index, id);
    }
    return structs;
}

ScriptingDocumentText documentTextFrom(sdbus::Message& reply) {
    ScriptingDocumentText text;
    std::vector<SlideStruct> slides;
    reply >> text.name >> slides;
    text.slides.reserve(slides.size());
    for (SlideStruct& slide : slides) text.slides.push_back(slideFrom(slide));
    return text;
}

std::vector<SlideStruct> structsFrom(std::vector<ScriptingSlide> slides) {
    std::vector<SlideStruct> structs;
    structs.reserve(slides.size());
    for (ScriptingSlide& slide : slides) structs.push_back(structFrom(slide));
    return structs;
}

std::string identifierFrom(sdbus::Message& reply) {
    std::string text;
    reply >> text;
    return shortText(std::move(text), "documentID");
}

std::string propertyTextFrom(sdbus::Message& reply) {
    sdbus::Variant value;
    reply >> value;
    if (!holds<std::string>(value)) throw malformed("property");
    return shortText(value.get<std::string>(), "property");
}

ExportProperties exportPropertiesFrom(const Dictionary& values) {
    ExportProperties properties;
    for (const auto& [key, value] : values) {
        // Each type of its own: the library converts none into another.
        if (holds<bool>(value)) properties[key] = value.get<bool>();
        if (holds<double>(value)) properties[key] = value.get<double>();
        if (holds<std::string>(value)) properties[key] = value.get<std::string>();
    }
    return properties;
}

Dictionary dictionaryFrom(const ExportProperties& properties) {
    Dictionary variants;
    for (const auto& [key, value] : properties) variants.emplace(validUTF8(key), variantFrom(value));
    return variants;
}

}  // namespace bus
