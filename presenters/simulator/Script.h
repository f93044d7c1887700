#pragma once

#include "presenters/model/PresentationProgramFaults.h"
#include "presenters/model/PresentationProgramJobs.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// The commands of a simulation script; docs/simulator.md tells what they do.
namespace script {

struct Wait {
    Duration duration{};
};
struct Launch {};
struct Open {
    ProgramDocument document;
    bool isNameOnly = false;  ///< nothing but the name is given: a deck of the script is opened, if there is one
};
/// A deck that lies in a file and is not open.
struct Deck {
    ProgramDocument document;
};
/// Text on a slide of a deck that is not open: what is empty here stays, items and tables are added.
struct AddText {
    std::string deck;
    ScriptingSlide slide;
};
struct Activate {
    std::string name;
};
struct Close {
    std::string name;
};
struct Start {
    std::optional<std::string> name;  ///< the front document when not given
    std::optional<std::int64_t> slide;
};
struct Slide {
    std::int64_t number = 0;
};
struct Next {};
struct Stop {};
struct Quit {};
struct Die {};
struct Pid {
    std::uint32_t number = 0;
};
struct SwitchFaultOn {
    std::string name;
    std::string value;
};
struct SwitchFaultOff {
    std::string name;  ///< empty for all faults
};
struct WaitFor {
    ProgramJob::Kind kind = ProgramJob::Kind::save;
    Duration limit{};
};
struct Print {
    std::string text;
};

using Command = std::variant<Wait, Launch, Deck, AddText, Open, Activate, Close, Start, Slide, Next, Stop, Quit, Die,
                             Pid, SwitchFaultOn, SwitchFaultOff, WaitFor, Print>;

/// What a line of a script holds: a command, nothing (a blank line or a comment), or a sentence that says what is wrong
/// with it and what is allowed.
struct Line {
    std::optional<Command> command;
    std::string error;  ///< empty when the line is good
};

/// Reads one line. Words are parted by blanks; "..." makes one word of several; # begins a comment.
[[nodiscard]] Line parseLine(std::string_view text);

}  // namespace script
