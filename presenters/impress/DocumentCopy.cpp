#include "presenters/impress/DocumentCopy.h"

#include "base/FileURL.h"
#include "presenters/impress/CancellingInteraction.h"
#include "presenters/impress/PendingFile.h"
#include "presenters/impress/Refusal.h"

#include <com/sun/star/frame/XStorable.hpp>

void DocumentCopy::run() const {
    const css::uno::Reference<css::frame::XStorable> storable(document, css::uno::UNO_QUERY_THROW);
    const css::uno::Reference<css::task::XInteractionHandler> noDialog(new CancellingInteraction);
    PendingFile file(target);
    storable->storeToURL(unoText(urlFromPath(file.path())),
                         properties({property("FilterName", rtl::OUString("impress8")),
                                     property("PickListEntry", false), property("InteractionHandler", noDialog)}));
    if (const auto error = file.commit()) throw Refusal("no copy " + target.string() + ": " + error.message() + ".");
}
