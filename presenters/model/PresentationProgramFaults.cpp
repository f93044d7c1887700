#include "presenters/model/PresentationProgramFaults.h"

#include "presenters/model/ScriptValues.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>

namespace {

constexpr std::array kCalls{"presentingState", "windows", "version", "activate", "open",   "close",
                            "slideNumbers",    "text",    "save",    "stop",     "export", "all"};
constexpr std::int64_t kMostPieces = 1000;

using Faults = PresentationProgramFaults;

/// One fault: how it is called, what its value looks like, and how it gets on and off. `take` answers whether the value
/// was a good one.
struct Fault {
    const char* name;
    const char* value;
    bool (*take)(Faults&, std::string_view);
    void (*drop)(Faults&);
};

template <bool Faults::*member>
constexpr Fault flag(const char* name) {
    return {name, "",
            [](Faults& faults, std::string_view value) {
                faults.*member = true;
                return value.empty();
            },
            [](Faults& faults) { faults.*member = false; }};
}

/// A fault with a value; off, the member is again as in new faults.
template <auto member, auto parse>
constexpr Fault valued(const char* name, const char* value) {
    return {name, value,
            [](Faults& faults, std::string_view text) {
                const auto parsed = parse(text);
                if (parsed) faults.*member = *parsed;
                return parsed.has_value();
            },
            [](Faults& faults) { faults.*member = Faults().*member; }};
}

std::optional<std::set<std::string>> callsFrom(std::string_view text) {
    auto calls = wordsFrom(text);
    const auto known = [](const std::string& call) {
        return std::find(kCalls.begin(), kCalls.end(), call) != kCalls.end();
    };
    if (calls && !std::all_of(calls->begin(), calls->end(), known)) return std::nullopt;
    return calls;
}

std::optional<std::int64_t> piecesFrom(std::string_view text) {
    return wholeNumberFrom(text, 1, kMostPieces);
}
std::optional<std::int64_t> imagesFrom(std::string_view text) {
    return wholeNumberFrom(text, 1, kMostSlides);
}

constexpr std::array kFaults{
    flag<&Faults::lacksPlaying>("lacks-playing"),
    valued<&Faults::refusedCalls, callsFrom>(
        "refuses",
        "calls out of presentingState,windows,version,activate,open,close,slideNumbers,"
        "text,save,stop,export or all"),
    flag<&Faults::exportsJpeg>("exports-jpeg"),
    flag<&Faults::exportsNothing>("exports-nothing"),
    flag<&Faults::diskFull>("disk-full"),
    valued<&Faults::leftOutImages, slideNumbersFrom>("leaves-out", "slide numbers like 3,5"),
    valued<&Faults::openTime, secondsFrom>("opens-slowly", "seconds per file like 2"),
    flag<&Faults::neverCloses>("never-closes"),
    valued<&Faults::imageTime, secondsFrom>("exports-slowly", "seconds per image like 0.5"),
    valued<&Faults::saveTime, secondsFrom>("saves-slowly", "seconds per save like 2"),
    valued<&Faults::imagePieces, piecesFrom>("writes-in-pieces", "pieces per image from 1 to 1000"),
    valued<&Faults::answersLate, secondsFrom>("answers-late", "seconds like 0.7"),
    flag<&Faults::neverAnswers>("never-answers"),
    valued<&Faults::diesInExport, imagesFrom>("dies-in-export", "how many images it writes before, like 2"),
};

std::string allNames() {
    std::string names;
    for (const Fault& fault : kFaults) names += fmt::format("{}{}", names.empty() ? "" : ", ", fault.name);
    return names;
}

const Fault* faultNamed(std::string_view name) {
    const auto* const found =
        std::find_if(kFaults.begin(), kFaults.end(), [name](const Fault& fault) { return name == fault.name; });
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
    PresentationProgramFaults changed = *this;
    if (!fault->take(changed, value)) {
        if (*fault->value == '\0') return fmt::format("The fault \"{}\" takes no value.", name);
        return fmt::format("The fault \"{}\" cannot take \"{}\"; give it {}.", name, value, fault->value);
    }
    *this = changed;
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
