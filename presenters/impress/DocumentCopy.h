#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/frame/XModel.hpp>
#include <filesystem>

/// An order to write a copy of a document in the office's own format, whatever the target's name ends in.
struct DocumentCopy {
    css::uno::Reference<css::frame::XModel> document;
    std::filesystem::path target;

    /// Writes the copy; it appears under its name when complete. The document keeps its location, its modified flag and
    /// its views. Throws `css::uno::Exception` when the office cannot write it, and `Refusal` when it has no place.
    void run() const;
};
