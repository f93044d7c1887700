#include "simulation/Event.h"

#include <fmt/format.h>
#include <array>

namespace simulation {

namespace {

/// One for each kind, in its order: `{0}` is who it happens to, `{1}` the value, `{2}` the value in seconds.
constexpr std::array kWords{
    "host {0} starts (variant {1})",
    "host {0} stops",
    "host {0} leaves",
    "host {0} wants a poll every {2} s",
    "host {0} ends the show",
    "host {0} extracts {1} images",
    "host {0} asks for windows (variant {1})",
    "host {0} waits for saving",
    "program {0} launches (variant {1})",
    "program {0} quits",
    "program {0} changes its process identifier",
    "program {0} opens deck {1}",
    "program {0} brings deck {1} to the front",
    "program {0} has {1} slides in its front deck from now on",
    "program {0} closes its front deck",
    "program {0} starts the show of deck {1}",
    "program {0} shows slide {1}",
    "program {0} ends its show",
    "program {0} tells times that are {2} s wrong",
    "program {0} has the fault {1}",
    "program {0} has no faults any more",
    "nothing runs for {2} s",
    "the calendar's clock is set by {2} s",
    "lists of programs come {2} s late from now on",
    "the disk of host {0} has trouble {1}",
    "all disks are fine",
    "the service is killed after {1} halves of its next changes of files",
};

}  // namespace

const std::vector<Fault>& faults() {
    static const std::vector<Fault> all{
        {"answers-late", "0.123457"},   {"answers-late", "0.412339"},
        {"answers-late", "0.712341"},   {"never-answers", ""},
        {"lacks-playing", ""},          {"lacks-times", ""},
        {"refuses", "presentingState"}, {"refuses", "save"},
        {"refuses", "export"},          {"refuses", "all"},
        {"exports-jpeg", ""},           {"exports-nothing", ""},
        {"leaves-out", "1,3"},          {"exports-slowly", "0.31"},
        {"exports-slowly", "12.7"},     {"writes-in-pieces", "4"},
        {"saves-slowly", "2.3"},        {"disk-full", ""},
    };
    return all;
}

std::string seconds(Duration time) {
    return fmt::format("{:.6f}", std::chrono::duration<double>(time).count());
}

std::string words(const Event& event) {
    const bool isFault = event.kind == Kind::faultBegins;
    const auto fault = isFault ? faults().at(static_cast<std::size_t>(event.value)) : Fault{"", ""};
    const auto value = isFault ? fmt::format("{} {}", fault.name, fault.value) : std::to_string(event.value);
    return seconds(event.at) + " " +
           fmt::format(fmt::runtime(kWords.at(static_cast<std::size_t>(event.kind))), event.who, value,
                       static_cast<double>(event.value) / 1'000'000);
}

}  // namespace simulation
