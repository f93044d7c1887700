#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/drawing/XDrawPages.hpp>
#include <com/sun/star/presentation/XPresentation2.hpp>
#include <filesystem>
#include <string>

namespace impress {

/// The ID of an open document, unique among all that this office has had open. Throws `css::uno::Exception`.
[[nodiscard]] std::string identifierOf(const Model& document);
/// Whether this is a presentation, and no drawing or table.
[[nodiscard]] bool isPresentation(const Model& document);

/// Whether nobody sees the document: it was loaded without a window.
[[nodiscard]] bool isHidden(const Model& document);
/// The slides of a presentation.
[[nodiscard]] Reference<css::drawing::XDrawPages> pagesOf(const Reference<css::uno::XInterface>& document);
/// The slide show of a presentation.
[[nodiscard]] Reference<css::presentation::XPresentation2> presentationOf(
    const Reference<css::uno::XInterface>& document);

/// An order to open a presentation without anybody seeing it.
struct DocumentOpening {
    std::filesystem::path path;

    /// The presentation in this file: the open one when there is one, else the file loaded hidden and read-only, with
    /// neither macros, updates of links, dialogs nor a lock file. Where nothing stands, a new empty presentation that
    /// has this path. Throws `Refusal` when the file cannot be opened, and `css::uno::Exception` when the office fails.
    [[nodiscard]] Model run(const Context& office) const;
};

/// What becomes of unsaved changes when a document is closed.
enum class Saving { no, ask, yes };

/// An order to close a document.
struct DocumentClosing {
    Model document;
    Saving saving = Saving::ask;

    /// Closes the document; with `ask`, one that has unsaved changes or stands in its user's window stays open. Throws
    /// `Refusal` when the document is presented, when it is in a window with changes that would be lost, when it cannot
    /// be saved, or when the office is still at work with it; and `css::uno::Exception` when the office fails.
    void run() const;
};

/// An order to write a copy of a document in the office's own format, whatever the target's name ends in.
struct DocumentCopy {
    Model document;
    std::filesystem::path target;

    /// Writes the copy; it appears under its name when complete. The document keeps its location, its modified flag and
    /// its views. Throws `css::uno::Exception` when the office cannot write it, and `Refusal` when it has no place.
    void run() const;
};

}  // namespace impress
