#include "presenters/simulator/Script.h"

#include "base/UTF8.h"
#include "presenters/model/ScriptValues.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <limits>
#include <sstream>

namespace script {
namespace {

using Words = std::vector<std::string>;

constexpr Duration kUsualLimit = std::chrono::seconds(10);

/// The words of a line up to the comment; nothing when a quotation mark is not closed.
std::optional<Words> wordsOf(std::string_view text) {
    Words words;
    bool inWord = false;
    bool quoted = false;
    for (const char c : text) {
        const bool blank = c == ' ' || c == '\t' || c == '\r';
        if (!quoted && !inWord && c == '#') break;
        if (!quoted && blank) {
            inWord = false;
            continue;
        }
        if (!inWord) words.emplace_back();
        inWord = true;
        if (c == '"') {
            quoted = !quoted;
        } else {
            words.back() += c;
        }
    }
    if (quoted) return std::nullopt;
    return words;
}

/// Takes the words after a command's name one by one. The first thing that is wrong stays in `error`.
class Arguments {
public:
    explicit Arguments(const Words& words) : words_(words) {}

    std::string error;

    /// How many words there are.
    [[nodiscard]] std::size_t count() const { return words_.size() - 1; }
    [[nodiscard]] bool atEnd() const { return next_ >= words_.size(); }

    /// The next word, whatever it is; empty at the end.
    std::string word() { return atEnd() ? std::string() : words_[next_++]; }

    /// Passes over the keyword if it comes next.
    bool keyword(std::string_view expected) {
        if (atEnd() || words_[next_] != expected) return false;
        ++next_;
        return true;
    }

    std::string text(const char* what) {
        if (atEnd()) fail(fmt::format("{} is missing", what));
        return word();
    }

    std::int64_t number(const char* what, std::int64_t least, std::int64_t most) {
        const std::string given = text(what);
        const auto number = wholeNumberFrom(given, least, most);
        if (!number) fail(fmt::format("{} must be a number from {} to {}, not \"{}\"", what, least, most, given));
        return number.value_or(least);
    }

    Duration seconds(const char* what) {
        const std::string given = text(what);
        const auto seconds = secondsFrom(given);
        if (!seconds) fail(fmt::format("{} must be seconds like 0.5, not \"{}\"", what, given));
        return seconds.value_or(Duration::zero());
    }

    std::set<std::int64_t> slides(const char* what) {
        const std::string given = text(what);
        const auto numbers = slideNumbersFrom(given);
        if (!numbers) fail(fmt::format("{} must be slide numbers like 3,5, not \"{}\"", what, given));
        return numbers.value_or(std::set<std::int64_t>());
    }

    void fail(const std::string& sentence) {
        if (error.empty()) error = sentence;
    }

private:
    const Words& words_;
    std::size_t next_ = 1;
};

ProgramDocument parseDocument(Arguments& arguments) {
    ProgramDocument document;
    document.name = arguments.text("the name");
    while (!arguments.atEnd() && arguments.error.empty()) {
        if (arguments.keyword("slides")) {
            document.slideCount = arguments.number("the count of slides", 0, kMostSlides);
        } else if (arguments.keyword("hidden")) {
            document.hiddenSlides = arguments.slides("the hidden slides");
        } else if (arguments.keyword("file")) {
            const std::filesystem::path file = arguments.text("the file");
            document.file = std::filesystem::absolute(file).lexically_normal();
        } else {
            break;
        }
    }
    return document;
}

Command parseOpen(Arguments& arguments) {
    Open open{parseDocument(arguments)};
    open.isNameOnly = arguments.count() == 1;
    return open;
}

Command parseDeck(Arguments& arguments) {
    Deck deck{parseDocument(arguments)};
    if (!deck.document.file) arguments.fail("the file is missing");
    return deck;
}

/// The two characters \n stand for a line feed.
std::string withLineFeeds(std::string_view text) {
    std::string result;
    for (auto at = text.find("\\n"); at != std::string_view::npos; at = text.find("\\n")) {
        result.append(text.substr(0, at)).push_back('\n');
        text.remove_prefix(at + 2);
    }
    return result.append(text);
}

std::vector<std::string> cellsOf(const std::string& row) {
    std::vector<std::string> cells;
    std::istringstream words(row + '|');
    for (std::string cell; std::getline(words, cell, '|');) cells.push_back(withLineFeeds(cell));
    return cells;
}

Command parseText(Arguments& arguments) {
    AddText add{arguments.text("the deck"), {}};
    ScriptingSlide& slide = add.slide;
    slide.slideNumber = arguments.number("the slide", 1, kMostSlides);
    const std::string kind = arguments.text("the kind");
    const std::string text = withLineFeeds(arguments.text("the text"));
    if (kind == "title") {
        slide.defaultTitleItemText = text;
    } else if (kind == "body") {
        slide.defaultBodyItemText = text;
    } else if (kind == "notes") {
        slide.presenterNotes = text;
    } else if (kind == "item") {
        slide.textItems = {text};
    } else if (kind == "table") {
        slide.tables = {{text, {}}};
        while (!arguments.atEnd()) slide.tables.front().rows.push_back(cellsOf(arguments.word()));
    } else {
        arguments.fail(fmt::format("\"{}\" is no title, body, notes, item or table", kind));
    }
    return add;
}

Command parseStart(Arguments& arguments) {
    Start start;
    bool hasSlide = arguments.keyword("at");
    if (!hasSlide && !arguments.atEnd()) {
        start.name = arguments.word();
        hasSlide = arguments.keyword("at");
    }
    if (hasSlide) start.slide = arguments.number("the slide", 0, kMostSlides);
    return start;
}

Command parseFault(Arguments& arguments) {
    SwitchFaultOn fault{arguments.text("the fault"), arguments.word()};
    PresentationProgramFaults scratch;
    if (const auto error = scratch.switchOn(fault.name, fault.value)) arguments.fail(*error);
    return fault;
}

Command parseHeal(Arguments& arguments) {
    SwitchFaultOff heal{arguments.word()};
    PresentationProgramFaults scratch;
    if (const auto error = scratch.switchOff(heal.name)) arguments.fail(*error);
    return heal;
}

Command parseWaitFor(Arguments& arguments) {
    const std::string kind = arguments.text("what to wait for");
    if (kind != "save" && kind != "export") arguments.fail("it waits for a save or for an export");
    WaitFor wait{kind == "save" ? ProgramJob::Kind::save : ProgramJob::Kind::imageExport, kUsualLimit};
    if (!arguments.atEnd()) wait.limit = arguments.seconds("the limit");
    return wait;
}

Command parsePrint(Arguments& arguments) {
    Print print{arguments.word()};
    while (!arguments.atEnd()) print.text += ' ' + arguments.word();
    return print;
}

struct Syntax {
    const char* name;
    const char* usage;
    Command (*parse)(Arguments&);
};

constexpr std::array kCommands{
    Syntax{"wait", "wait SECONDS", [](Arguments& a) -> Command { return Wait{a.seconds("the time")}; }},
    Syntax{"launch", "launch", [](Arguments&) -> Command { return Launch{}; }},
    Syntax{"open", "open NAME [slides N] [hidden N,N] [file PATH]", parseOpen},
    Syntax{"deck", "deck NAME file PATH [slides N] [hidden N,N]", parseDeck},
    Syntax{"text", "text DECK SLIDE title|body|notes|item TEXT, or text DECK SLIDE table NAME [CELL|CELL ...]",
           parseText},
    Syntax{"activate", "activate NAME", [](Arguments& a) -> Command { return Activate{a.text("the name")}; }},
    Syntax{"close", "close NAME", [](Arguments& a) -> Command { return Close{a.text("the name")}; }},
    Syntax{"start", "start [NAME] [at N]", parseStart},
    Syntax{"slide", "slide N", [](Arguments& a) -> Command { return Slide{a.number("the slide", 0, kMostSlides)}; }},
    Syntax{"next", "next", [](Arguments&) -> Command { return Next{}; }},
    Syntax{"stop", "stop", [](Arguments&) -> Command { return Stop{}; }},
    Syntax{"quit", "quit", [](Arguments&) -> Command { return Quit{}; }},
    Syntax{"die", "die", [](Arguments&) -> Command { return Die{}; }},
    Syntax{"pid", "pid N",
           [](Arguments& a) -> Command {
               return Pid{static_cast<std::uint32_t>(
                   a.number("the process identifier", 1, std::numeric_limits<std::int32_t>::max()))};
           }},
    Syntax{"fault", "fault NAME [VALUE]", parseFault},
    Syntax{"heal", "heal [NAME]", parseHeal},
    Syntax{"wait-for", "wait-for save|export [SECONDS]", parseWaitFor},
    Syntax{"print", "print TEXT", parsePrint},
};

Line bad(std::string error) {
    return {std::nullopt, std::move(error)};
}

std::string unknownCommand(const std::string& name) {
    std::string names;
    for (const Syntax& syntax : kCommands) names += fmt::format("{}{}", names.empty() ? "" : ", ", syntax.name);
    return fmt::format("There is no command \"{}\"; the commands are: {}.", name, names);
}

}  // namespace

Line parseLine(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) return bad("A NUL byte stands in the line; remove it.");
    if (!utf8::isValid(text)) return bad("The line is not in UTF-8; save the script in that encoding.");
    const auto words = wordsOf(text);
    if (!words) return bad("A quotation mark is not closed; add the second \".");
    if (words->empty()) return {};
    const auto* const syntax = std::find_if(kCommands.begin(), kCommands.end(),
                                            [&words](const Syntax& known) { return words->front() == known.name; });
    if (syntax == kCommands.end()) return bad(unknownCommand(words->front()));
    Arguments arguments(*words);
    Line line{syntax->parse(arguments), {}};
    if (arguments.error.empty() && !arguments.atEnd()) {
        arguments.fail(fmt::format("\"{}\" is not expected here", arguments.word()));
    }
    if (arguments.error.empty()) return line;
    const char* const stop = arguments.error.back() == '.' ? "" : ".";
    return bad(fmt::format("{}: {}{} Usage: {}", syntax->name, arguments.error, stop, syntax->usage));
}

}  // namespace script
