#include "presenters/model/PresentationProgramFaults.h"

#include "presenters/model/ScriptValues.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>

namespace presenters {
namespace {

constexpr std::array kCalls{"presentingState", "windows", "version", "activate", "open",   "close",
                            "slideNumbers",    "text",    "save",    "stop",     "export", "all"};
constexpr std::int64_t kMostPieces = 1000;

using Faults = PresentationProgramFaults;

/// One fault: how it is called, what its value looks like, and how it gets on and off. `take` answers whether the value
/// was a good one; a bad one changes nothing.
struct Fault {
    const char* name;
    const char* value;
    bool (*take)(Faults&, std::string_view);
    void (*drop)(Faults&);
};

/// Off, the member is again as in new faults.
template <auto member, auto parse>
constexpr Fault fault(const char* name, const char* value) {
    return {name, value,
            [](Faults& faults, std::string_view text) {
                const auto parsed = parse(text);
                if (parsed) faults.*member = *parsed;
                return parsed.has_value();
            },
            [](Faults& faults) { faults.*member = Faults().*member; }};
}

/// Faults without a value are on by their name alone.
std::optional<bool> onFrom(std::string_view text) {
    return text.empty() ? std::optional(true) : std::nullopt;
}

std::optional<std::set<std::string>> callsFrom(std::string_view text) {
    auto calls = wordsFrom(text);
    const auto known = [](const auto& call) { return std::ranges::find(kCalls, call) != kCalls.end(); };
    if (calls && !std::ranges::all_of(*calls, known)) return std::nullopt;
    return calls;
}

std::optional<std::int64_t> piecesFrom(std::string_view text) {
    return wholeNumberFrom(text, 1, kMostPieces);
}
std::optional<std::int64_t> imagesFrom(std::string_view text) {
    return wholeNumberFrom(text, 1, kMostSlides);
}

constexpr std::array kFaults{
    fault<&Faults::lacksPlaying, onFrom>("lacks-playing", ""),
    fault<&Faults::lacksTimes, onFrom>("lacks-times", ""),
    fault<&Faults::refusedCalls, callsFrom>(
        "refuses",
        "calls out of presentingState,windows,version,activate,open,close,slideNumbers,"
        "text,save,stop,export or all"),
    fault<&Faults::exportsJpeg, onFrom>("exports-jpeg", ""),
    fault<&Faults::exportsNothing, onFrom>("exports-nothing", ""),
    fault<&Faults::diskFull, onFrom>("disk-full", ""),
    fault<&Faults::leftOutImages, slideNumbersFrom>("leaves-out", "slide numbers like 3,5"),
    fault<&Faults::openTime, secondsFrom>("opens-slowly", "seconds per file like 2"),
    fault<&Faults::neverCloses, onFrom>("never-closes", ""),
    fault<&Faults::imageTime, secondsFrom>("exports-slowly", "seconds per image like 0.5"),
    fault<&Faults::saveTime, secondsFrom>("saves-slowly", "seconds per save like 2"),
    fault<&Faults::imagePieces, piecesFrom>("writes-in-pieces", "pieces per image from 1 to 1000"),
    fault<&Faults::answersLate, secondsFrom>("answers-late", "seconds like 0.7"),
    fault<&Faults::neverAnswers, onFrom>("never-answers", ""),
    fault<&Faults::diesInExport, imagesFrom>("dies-in-export", "how many images it writes before, like 2"),
};

std::string allNames() {
    std::string names;
    for (const Fault& fault : kFaults) names += fmt::format("{}{}", names.empty() ? "" : ", ", fault.name);
    return names;
}

const Fault* faultNamed(std::string_view name) {
    const auto* const found = std::ranges::find(kFaults, name, &Fault::name);
    return found == kFaults.end() ? nullptr : found;
}

std::string unknown(std::string_view name) {
    return fmt::format("There is no fault \"{}\"; the faults are: {}.", name, allNames());
}

}  // namespace

bool PresentationProgramFaults::refuses(const std::string& call) const {
    return refusedCalls.contains(call) || refusedCalls.contains("all");
}

std::optional<std::string> PresentationProgramFaults::switchOn(std::string_view name, std::string_view value) {
    const Fault* const fault = faultNamed(name);
    if (!fault) return unknown(name);
    if (!fault->take(*this, value)) {
        if (*fault->value == '\0') return fmt::format("The fault \"{}\" takes no value.", name);
        return fmt::format("The fault \"{}\" cannot take \"{}\"; give it {}.", name, value, fault->value);
    }
    return std::nullopt;
}

std::optional<std::string> PresentationProgramFaults::switchOff(std::string_view name) {
    if (name.empty()) {
        *this = {};
        return std::nullopt;
    }
    const Fault* const fault = faultNamed(name);
    if (!fault) return unknown(name);
    fault->drop(*this);
    return std::nullopt;
}

}  // namespace presenters
