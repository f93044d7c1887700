#pragma once

#include "presenters/model/PresentationProgramModel.h"

#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// What a simulated program finds when it opens a file: the decks of the script, each known by its path whether or not
/// a file stands there, and for other presentation files one empty slide.
class Decks {
public:
    /// Fails when the name or the file is taken.
    [[nodiscard]] ErrorPtr add(presenters::ProgramDocument deck);
    /// Adds text to the slide of that number: what is empty in `text` stays as it is. Fails when there is no such deck
    /// or slide.
    [[nodiscard]] ErrorPtr addText(const std::string& name, const ScriptingSlide& text);
    /// The deck of this name, or null. Valid until a deck is added.
    [[nodiscard]] const presenters::ProgramDocument* named(const std::string& name) const;
    /// The document at the path: a deck, a new document where nothing stands, or for a file whose name ends as
    /// presentations do the slides that a simulator has saved there, else one empty slide. Nothing with `error` set for
    /// anything else.
    [[nodiscard]] std::optional<presenters::ProgramDocument> read(const std::filesystem::path& path,
                                                                  ErrorPtr& error) const;

private:
    [[nodiscard]] presenters::ProgramDocument saved(const std::filesystem::path& file) const;

    std::vector<presenters::ProgramDocument> decks_;
};

}  // namespace simulator
