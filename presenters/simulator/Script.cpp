#include "presenters/simulator/Script.h"

#include "base/UTF8.h"
#include "presenters/model/ScriptValues.h"
#include "presenters/simulator/Simulator.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <sstream>

namespace simulator {
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
        // Within a word it is part of a name, as in "Optics#1".
        if (!quoted && !inWord && c == '#') break;
        if (!quoted && blank) {
            inWord = false;
            continue;
        }
        // Before the mark is looked at: two marks with nothing between them are an empty word.
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
        return value(what, fmt::format("a number from {} to {}", least, most),
                     [least, most](const auto& word) { return presenters::wholeNumberFrom(word, least, most); });
    }

    Duration seconds(const char* what) { return value(what, "seconds like 0.5", presenters::secondsFrom); }

    std::set<std::int64_t> slides(const char* what) {
        return value(what, "slide numbers like 3,5", presenters::slideNumbersFrom);
    }

    void fail(const std::string& sentence) {
        if (error.empty()) error = sentence;
    }

private:
    /// The next word as `parse` has it; an empty value when it has none.
    template <typename Parse, typename Parsed = std::invoke_result_t<Parse, std::string>>
    typename Parsed::value_type value(const char* what, const std::string& kind, const Parse& parse) {
        const std::string given = text(what);
        const Parsed value = parse(given);
        if (!value) fail(fmt::format("{} must be {}, not \"{}\"", what, kind, given));
        return value.value_or(typename Parsed::value_type());
    }

    const Words& words_;
    std::size_t next_ = 1;
};

presenters::ProgramDocument parseDocument(Arguments& arguments) {
    presenters::ProgramDocument document;
    document.name = arguments.text("the name");
    while (!arguments.atEnd() && arguments.error.empty()) {
        if (arguments.keyword("slides")) {
            document.slideCount = arguments.number("the count of slides", 0, presenters::kMostSlides);
        } else if (arguments.keyword("hidden")) {
            document.hiddenSlides = arguments.slides("the hidden slides");
        } else if (arguments.keyword("file")) {
            const std::string file = arguments.text("the file");
            std::error_code failure;
            // Hosts ask for files by their whole path.
            document.file = std::filesystem::absolute(file, failure).lexically_normal();
            if (failure) arguments.fail(fmt::format("the file \"{}\" has no whole path", file));
        } else {
            break;
        }
    }
    return document;
}

Command parseOpen(Arguments& arguments) {
    const auto document = parseDocument(arguments);
    // A name and nothing else means the deck of the script, if there is one.
    const bool isNameOnly = arguments.count() == 1;
    return [document, isNameOnly](Simulator& simulator) {
        const auto* const deck = isNameOnly ? simulator.decks().named(document.name) : nullptr;
        return simulator.model().openDocument(deck ? *deck : document);
    };
}

Command parseDeck(Arguments& arguments) {
    const auto deck = parseDocument(arguments);
    if (!deck.file) arguments.fail("the file is missing");
    return [deck](Simulator& simulator) { return simulator.decks().add(deck); };
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
    // With a bar at the end, or an empty last cell would be lost.
    std::istringstream words(row + '|');
    words.exceptions(std::ios::badbit);  // nor be without cells that memory lacks for
    for (std::string cell; std::getline(words, cell, '|');) cells.push_back(withLineFeeds(cell));
    return cells;
}

/// The texts that a slide has once, by their names in scripts.
const std::map<std::string_view, std::string ScriptingSlide::*> kPlainTexts{
    {"title", &ScriptingSlide::defaultTitleItemText},
    {"body", &ScriptingSlide::defaultBodyItemText},
    {"notes", &ScriptingSlide::presenterNotes}};

Command parseText(Arguments& arguments) {
    const std::string deck = arguments.text("the deck");
    ScriptingSlide slide;
    slide.slideNumber = arguments.number("the slide", 1, presenters::kMostSlides);
    const std::string kind = arguments.text("the kind");
    const std::string text = withLineFeeds(arguments.text("the text"));
    const auto plain = kPlainTexts.find(kind);
    if (plain != kPlainTexts.end()) {
        slide.*plain->second = text;
    } else if (kind == "item") {
        slide.textItems = {text};
    } else if (kind == "table") {
        slide.tables = {{text, {}}};
        while (!arguments.atEnd()) slide.tables.front().rows.push_back(cellsOf(arguments.word()));
    } else {
        arguments.fail(fmt::format("\"{}\" is no title, body, notes, item or table", kind));
    }
    return [deck, slide](Simulator& simulator) { return simulator.decks().addText(deck, slide); };
}

Command parseStart(Arguments& arguments) {
    std::optional<std::string> name;
    std::optional<std::int64_t> slide;
    bool hasSlide = arguments.keyword("at");
    if (!hasSlide && !arguments.atEnd()) {
        name = arguments.word();
        hasSlide = arguments.keyword("at");
    }
    if (hasSlide) slide = arguments.number("the slide", 0, presenters::kMostSlides);
    return [name, slide](Simulator& simulator) { return simulator.startShow(name, slide); };
}

Command parseSlide(Arguments& arguments) {
    const auto slide = arguments.number("the slide", 0, presenters::kMostSlides);
    return [slide](Simulator& simulator) { return simulator.model().goToSlide(slide); };
}

/// A command that cannot fail.
template <typename Act>
Command doing(Act act) {
    return [act](Simulator& simulator) {
        act(simulator);
        return ErrorPtr();
    };
}

Command parsePid(Arguments& arguments) {
    const auto pid = arguments.number("the process identifier", 1, std::numeric_limits<std::int32_t>::max());
    return doing([pid](auto& simulator) { simulator.process().announcePid(static_cast<std::uint32_t>(pid)); });
}

/// Tried on faults of its own, so that a wrong one is found before the script begins.
template <typename Switch>
Command switching(Arguments& arguments, Switch change) {
    presenters::PresentationProgramFaults scratch;
    if (const auto error = change(scratch)) arguments.fail(*error);
    return doing([change](auto& simulator) { static_cast<void>(change(simulator.model().faults())); });
}

Command parseFault(Arguments& arguments) {
    const std::string name = arguments.text("the fault");
    return switching(arguments,
                     [name, value = arguments.word()](auto& faults) { return faults.switchOn(name, value); });
}

Command parseHeal(Arguments& arguments) {
    return switching(arguments, [name = arguments.word()](auto& faults) { return faults.switchOff(name); });
}

Command parseWait(Arguments& arguments) {
    return [time = arguments.seconds("the time")](Simulator& simulator) { return simulator.wait(time); };
}

Command parseWaitFor(Arguments& arguments) {
    const std::string what = arguments.text("what to wait for");
    if (what != "save" && what != "export") arguments.fail("it waits for a save or for an export");
    const auto kind = what == "save" ? presenters::ProgramJob::Kind::save : presenters::ProgramJob::Kind::imageExport;
    const auto limit = arguments.atEnd() ? kUsualLimit : arguments.seconds("the limit");
    return [kind, limit](Simulator& simulator) { return simulator.waitFor(kind, limit); };
}

Command parsePrint(Arguments& arguments) {
    std::string text = arguments.word();
    while (!arguments.atEnd()) text += ' ' + arguments.word();
    return doing([text](auto& simulator) { simulator.process().say(text); });
}

/// An order to the program.
template <auto order>
Command parsePlain(Arguments& /*none*/) {
    return [](Simulator& simulator) { return std::invoke(order, simulator.model()); };
}

/// An order to the program about the document of a name.
template <auto order>
Command parseNamed(Arguments& arguments) {
    return [name = arguments.text("the name")](Simulator& simulator) {
        return simulator.withDocument(
            name, [&simulator](const std::string& id) { return std::invoke(order, simulator.model(), id); });
    };
}

Command parseQuit(Arguments& /*none*/) {
    return [](Simulator& simulator) { return simulator.quit(); };
}

Command parseDie(Arguments& /*none*/) {
    return doing([](auto& simulator) { simulator.process().die(); });
}

struct Syntax {
    const char* name;
    const char* usage;
    Command (*parse)(Arguments&);
};

using Model = presenters::PresentationProgramModel;

constexpr std::array kCommands{
    Syntax{"wait", "wait SECONDS", parseWait},
    Syntax{"launch", "launch", parsePlain<&Model::launch>},
    Syntax{"open", "open NAME [slides N] [hidden N,N] [file PATH]", parseOpen},
    Syntax{"deck", "deck NAME file PATH [slides N] [hidden N,N]", parseDeck},
    Syntax{"text", "text DECK SLIDE title|body|notes|item TEXT, or text DECK SLIDE table NAME [CELL|CELL ...]",
           parseText},
    Syntax{"activate", "activate NAME", parseNamed<&Model::activateDocument>},
    Syntax{"close", "close NAME", parseNamed<&Model::closeDocument>},
    Syntax{"start", "start [NAME] [at N]", parseStart},
    Syntax{"slide", "slide N", parseSlide},
    Syntax{"next", "next", parsePlain<&Model::nextSlide>},
    Syntax{"stop", "stop", parsePlain<&Model::stopShow>},
    Syntax{"quit", "quit", parseQuit},
    Syntax{"die", "die", parseDie},
    Syntax{"pid", "pid N", parsePid},
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
    const auto* const syntax = std::ranges::find(kCommands, words->front(), &Syntax::name);
    if (syntax == kCommands.end()) return bad(unknownCommand(words->front()));
    Arguments arguments(*words);
    Line line{syntax->parse(arguments), {}};
    // Only of a line that is right so far: what comes after the first fault means nothing.
    if (arguments.error.empty() && !arguments.atEnd()) {
        arguments.fail(fmt::format("\"{}\" is not expected here", arguments.word()));
    }
    if (arguments.error.empty()) return line;
    const char* const stop = arguments.error.back() == '.' ? "" : ".";
    return bad(fmt::format("{}: {}{} Usage: {}", syntax->name, arguments.error, stop, syntax->usage));
}

}  // namespace simulator
