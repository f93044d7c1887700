#pragma once

#include "presenters/impress/Uno.h"

#include <chrono>
#include <filesystem>

namespace impress {

/// A slide show that nobody steers, for a demonstration.
struct Show {
    std::filesystem::path deck;
    std::chrono::duration<double> advance;  ///< how long each slide stays

    /// Opens the deck, shows every slide that is not hidden, and ends the show; tells so in lines on standard output.
    /// Returns whether it came to its end. Throws `css::uno::Exception` when the office or the deck fails.
    [[nodiscard]] bool run(const Context& office) const;
};

}  // namespace impress
