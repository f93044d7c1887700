#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/frame/XModel.hpp>
#include <com/sun/star/uno/XComponentContext.hpp>
#include <filesystem>

/// An order to open a presentation without anybody seeing it.
struct DocumentOpening {
    std::filesystem::path path;

    /// The presentation in this file: the open one when there is one, else the file loaded hidden and read-only, with
    /// neither macros, updates of links, dialogs nor a lock file. Where nothing stands, a new empty presentation that
    /// has this path. Throws `Refusal` when the file cannot be opened, and `css::uno::Exception` when the office fails.
    [[nodiscard]] css::uno::Reference<css::frame::XModel> run(
        const css::uno::Reference<css::uno::XComponentContext>& office) const;
};
