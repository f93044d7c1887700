#pragma once

#include "base/Error.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace keynote_capture {

/// A deck that is open in the presentation program for as long as this lives: the program that the capture service
/// would ask, started by the bus when none runs.
class OpenDeck {
public:
    /// The numbers of all slides in order; or an error that holds a sentence, the program's own if it has refused.
    using Answer = std::function<void(const std::vector<std::int64_t>& slides, const ErrorPtr& error)>;

    /// Opens the deck and returns at once; the answer is called once, on another thread, unless this goes before.
    OpenDeck(const std::filesystem::path& deck, Answer answer);
    /// Leaves the bus, whereupon the program closes the deck, unless its user has it open in a window. Unlike an order
    /// to close, that works while the deck is still being opened.
    ~OpenDeck();
    OpenDeck(const OpenDeck&) = delete;
    OpenDeck& operator=(const OpenDeck&) = delete;

private:
    class Program;
    const std::unique_ptr<Program> program_;
};

}  // namespace keynote_capture
