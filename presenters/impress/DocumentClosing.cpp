#include "presenters/impress/DocumentClosing.h"

#include "presenters/impress/CancellingInteraction.h"
#include "presenters/impress/Refusal.h"

#include <com/sun/star/frame/XStorable2.hpp>
#include <com/sun/star/lang/DisposedException.hpp>
#include <com/sun/star/presentation/XPresentation2.hpp>
#include <com/sun/star/presentation/XPresentationSupplier.hpp>
#include <com/sun/star/util/CloseVetoException.hpp>
#include <com/sun/star/util/XCloseable.hpp>
#include <com/sun/star/util/XModifiable.hpp>

using css::frame::XModel;
using css::uno::Reference;
using css::uno::UNO_QUERY_THROW;

namespace {

bool isPresented(const Reference<XModel>& document) {
    const Reference<css::presentation::XPresentationSupplier> supplier(document, UNO_QUERY_THROW);
    const Reference<css::presentation::XPresentation2> presentation(supplier->getPresentation(), UNO_QUERY_THROW);
    return presentation->isRunning();
}

void saveToItsFile(const Reference<XModel>& document, bool modified) {
    const Reference<css::frame::XStorable2> storable(document, UNO_QUERY_THROW);
    if (!modified && storable->hasLocation()) return;
    const Reference<css::task::XInteractionHandler> handler(new CancellingInteraction);
    const auto noDialog = property("InteractionHandler", handler);
    try {
        if (storable->hasLocation()) {
            storable->storeSelf(properties({noDialog}));
        } else if (!document->getURL().isEmpty()) {
            storable->storeAsURL(document->getURL(),
                                 properties({property("FilterName", rtl::OUString("impress8")), noDialog}));
        } else {
            throw Refusal("The document has no file yet. Save it under a name first.");
        }
    } catch (const css::lang::DisposedException&) {
        throw;
    } catch (const css::uno::Exception& exception) {
        throw Refusal("The document stays open, because it could not be saved: " + textFrom(exception));
    }
}

}  // namespace

bool isHidden(const Reference<XModel>& document) {
    bool hidden = false;
    const auto arguments = document->getArgs();
    for (const auto& argument : arguments) {
        if (argument.Name == "Hidden") argument.Value >>= hidden;
    }
    return hidden;
}

void DocumentClosing::run() const {
    if (isPresented(document)) throw Refusal("The document is being presented. End its slide show first.");
    const Reference<css::util::XModifiable> modifiable(document, UNO_QUERY_THROW);
    const bool modified = modifiable->isModified();
    const bool inWindow = !isHidden(document);
    if (saving == Saving::ask && (modified || inWindow)) return;
    if (modified && saving == Saving::no && inWindow) {
        throw Refusal("The document stays open: its user has unsaved changes in a window.");
    }
    if (saving == Saving::yes) saveToItsFile(document, modified);
    try {
        Reference<css::util::XCloseable>(document, UNO_QUERY_THROW)->close(false);
    } catch (const css::util::CloseVetoException&) {
        throw Refusal("LibreOffice is still at work with the document. Try again.");
    }
}
