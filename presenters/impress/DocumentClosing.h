#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/frame/XModel.hpp>

/// What becomes of unsaved changes when a document is closed.
enum class Saving { no, ask, yes };

/// An order to close a document.
struct DocumentClosing {
    css::uno::Reference<css::frame::XModel> document;
    Saving saving = Saving::ask;

    /// Closes the document; with `ask`, one that has unsaved changes or stands in its user's window stays open. Throws
    /// `Refusal` when the document is presented, when it is in a window with changes that would be lost, when it cannot
    /// be saved, or when the office is still at work with it; and `css::uno::Exception` when the office fails.
    void run() const;
};

/// Whether nobody sees the document: it was loaded without a window.
[[nodiscard]] bool isHidden(const css::uno::Reference<css::frame::XModel>& document);
