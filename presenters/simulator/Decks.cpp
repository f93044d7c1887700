#include "presenters/simulator/Decks.h"

#include "presenters/model/ScriptValues.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace simulator {

using presenters::failed;

namespace {

namespace fs = std::filesystem;

bool isPresentation(const fs::path& path) {
    static constexpr std::array<std::string_view, 8> kExtensions{".key", ".odp",  ".fodp", ".otp",
                                                                 ".ppt", ".pptx", ".pps",  ".ppsx"};
    return std::ranges::find(kExtensions, path.extension()) != kExtensions.end();
}

void replaceUnlessEmpty(std::string& text, const std::string& by) {
    if (!by.empty()) text = by;
}

template <typename T>
void append(std::vector<T>& to, const std::vector<T>& more) {
    to.insert(to.end(), more.begin(), more.end());
}

}  // namespace

ErrorPtr Decks::add(presenters::ProgramDocument deck) {
    const bool taken = std::ranges::any_of(
        decks_, [&deck](const auto& other) { return other.name == deck.name || other.file == deck.file; });
    if (taken) return failed(fmt::format("A deck \"{}\", or one in its file, is there already.", deck.name));
    decks_.push_back(std::move(deck));
    return nullptr;
}

ErrorPtr Decks::addText(const std::string& name, const ScriptingSlide& text) {
    const auto deck = std::ranges::find(decks_, name, &presenters::ProgramDocument::name);
    if (deck == decks_.end()) return failed(fmt::format("There is no deck \"{}\"; \"deck\" makes one.", name));
    if (text.slideNumber > deck->slideCount) {
        return failed(fmt::format("\"{}\" has slides 1 to {}.", name, deck->slideCount));
    }
    // A deck without texts has none stored, since most scripts give none.
    deck->texts.resize(static_cast<std::size_t>(deck->slideCount));
    ScriptingSlide& slide = deck->texts[static_cast<std::size_t>(text.slideNumber - 1)];
    replaceUnlessEmpty(slide.defaultTitleItemText, text.defaultTitleItemText);
    replaceUnlessEmpty(slide.defaultBodyItemText, text.defaultBodyItemText);
    replaceUnlessEmpty(slide.presenterNotes, text.presenterNotes);
    append(slide.textItems, text.textItems);
    append(slide.tables, text.tables);
    return nullptr;
}

const presenters::ProgramDocument* Decks::named(const std::string& name) const {
    const auto deck = std::ranges::find(decks_, name, &presenters::ProgramDocument::name);
    return deck == decks_.end() ? nullptr : &*deck;
}

/// What the file says, line by line, as the program's copies do; of another file nothing is understood. Texts are those
/// of the deck that was copied, if the script knows it.
presenters::ProgramDocument Decks::saved(const fs::path& file) const {
    presenters::ProgramDocument document;
    document.name = file.filename();
    std::ifstream text(file);
    std::string line;
    constexpr int kMostLines = 20000;
    for (int lines = 0; lines < kMostLines && std::getline(text, line); ++lines) {
        const auto value = [&line](std::string_view key) -> std::string_view {
            return line.starts_with(key) ? std::string_view(line).substr(key.size()) : std::string_view();
        };
        if (const auto count = presenters::wholeNumberFrom(value("slides: "), 0, presenters::kMostSlides))
            document.slideCount = *count;
        if (const auto slide = presenters::wholeNumberFrom(value("hidden: "), 1, presenters::kMostSlides))
            document.hiddenSlides.insert(*slide);
        const auto original = std::ranges::find(decks_, fs::path(value("file: ")), &presenters::ProgramDocument::file);
        if (original != decks_.end()) document.texts = original->texts;
    }
    return document;
}

std::optional<presenters::ProgramDocument> Decks::read(const fs::path& path, ErrorPtr& error) const {
    const auto deck = std::ranges::find(decks_, path, &presenters::ProgramDocument::file);
    if (deck != decks_.end()) return *deck;
    presenters::ProgramDocument document;
    document.name = path.filename();
    std::error_code failure;
    const auto kind = fs::status(path, failure).type();
    // As the real program does: where nothing stands a new document is made.
    if (kind == fs::file_type::not_found) return document;
    if (kind == fs::file_type::regular && isPresentation(path)) return saved(path);
    error = failed(fmt::format("The file {} cannot be opened: it is no presentation.", path.string()));
    return std::nullopt;
}

}  // namespace simulator
