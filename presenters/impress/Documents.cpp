#include "presenters/impress/Documents.h"

#include "base/FileURL.h"
#include "presenters/impress/CancellingInteraction.h"
#include "presenters/impress/PendingFile.h"

#include <unistd.h>
#include <com/sun/star/document/MacroExecMode.hpp>
#include <com/sun/star/document/UpdateDocMode.hpp>
#include <com/sun/star/drawing/XDrawPagesSupplier.hpp>
#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/frame/XStorable2.hpp>
#include <com/sun/star/lang/DisposedException.hpp>
#include <com/sun/star/lang/XServiceInfo.hpp>
#include <com/sun/star/presentation/XPresentationSupplier.hpp>
#include <com/sun/star/util/CloseVetoException.hpp>
#include <com/sun/star/util/XCloseable.hpp>
#include <com/sun/star/util/XModifiable.hpp>

namespace impress {

namespace fs = std::filesystem;

namespace {

/// The format in which the office saves presentations unless told otherwise.
constexpr const char* kOwnFormat = "impress8";

[[noreturn]] void refuse(const fs::path& path, const std::string& why) {
    throw Refusal("The file " + path.string() + " cannot be opened: " + why + ".");
}

bool isSameFile(const fs::path& path, const std::string& url) {
    const auto other = pathFromURL(url);
    std::error_code missing;
    return other && (*other == path || fs::equivalent(*other, path, missing));
}

Model openPresentation(const Reference<css::frame::XDesktop2>& desktop, const fs::path& path) {
    const auto components = desktop->getComponents()->createEnumeration();
    while (components->hasMoreElements()) {
        const Model model(components->nextElement(), UNO_QUERY);
        if (model.is() && isSameFile(path, textFrom(model->getURL())) && isPresentation(model)) return model;
    }
    return {};
}

/// A pipe or a device would keep the office waiting, and a folder is no presentation to it.
void checkFile(const fs::path& path, const fs::file_status& status) {
    if (fs::is_directory(status)) refuse(path, "it is a folder. Save the presentation as a single file");
    if (!fs::is_regular_file(status)) refuse(path, "it is no file");
    if (access(path.c_str(), R_OK) != 0) refuse(path, "you have no permission to read it");
    std::error_code error;
    if (fs::file_size(path, error) == 0) refuse(path, "it is empty");
}

void close(const Reference<css::lang::XComponent>& component) {
    const Reference<css::util::XCloseable> closeable(component, UNO_QUERY);
    if (closeable.is()) closeable->close(true);
}

Model load(const Reference<css::frame::XDesktop2>& desktop, const fs::path& path) {
    auto* const interaction = new CancellingInteraction;
    const Reference<css::task::XInteractionHandler> handler(interaction);  // owns it
    const auto options = properties({property("Hidden", true), property("ReadOnly", true),
                                     property("MacroExecutionMode", css::document::MacroExecMode::NEVER_EXECUTE),
                                     property("UpdateDocMode", css::document::UpdateDocMode::NO_UPDATE),
                                     property("PickListEntry", false), property("InteractionHandler", handler)});
    Reference<css::lang::XComponent> component;
    std::string reason;
    try {
        component = desktop->loadComponentFromURL(unoText(urlFromPath(path)), "_blank", 0, options);
    } catch (const css::lang::DisposedException&) {
        throw;  // it is the office that has gone
    } catch (const css::uno::Exception& exception) {
        reason = textFrom(exception);
    }
    // What the office would have asked its user says more than the error that follows from no answer.
    if (const auto asked = interaction->reason(); !asked.empty()) reason = asked;
    if (!component.is()) refuse(path, reason.empty() ? CancellingInteraction::kUnknownFormat : reason);
    const Model model(component, UNO_QUERY);
    if (!isPresentation(model)) {
        close(component);
        refuse(path, "it is no presentation");
    }
    return model;
}

Model create(const Reference<css::frame::XDesktop2>& desktop, const fs::path& path) {
    const auto hidden = properties({property("Hidden", true), property("PickListEntry", false)});
    const Model model(desktop->loadComponentFromURL("private:factory/simpress", "_blank", 0, hidden), UNO_QUERY_THROW);
    // Gives the document its place without writing anything there.
    model->attachResource(unoText(urlFromPath(path)), model->getArgs());
    return model;
}

void saveToItsFile(const Model& document, bool modified) {
    const Reference<css::frame::XStorable2> storable(document, UNO_QUERY_THROW);
    if (!modified && storable->hasLocation()) return;
    const Reference<css::task::XInteractionHandler> handler(new CancellingInteraction);
    const auto noDialog = property("InteractionHandler", handler);
    try {
        if (storable->hasLocation()) {
            storable->storeSelf(properties({noDialog}));
        } else if (!document->getURL().isEmpty()) {
            storable->storeAsURL(document->getURL(),
                                 properties({property("FilterName", unoText(kOwnFormat)), noDialog}));
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

std::string identifierOf(const Model& document) {
    return textFrom(valueOf<rtl::OUString>({document, UNO_QUERY_THROW}, "RuntimeUID"));
}

bool isPresentation(const Model& document) {
    const Reference<css::lang::XServiceInfo> info(document, UNO_QUERY);
    return info.is() && info->supportsService("com.sun.star.presentation.PresentationDocument");
}

bool isHidden(const Model& document) {
    bool hidden = false;
    const auto arguments = document->getArgs();
    for (const auto& argument : arguments) {
        if (argument.Name == "Hidden") argument.Value >>= hidden;
    }
    return hidden;
}

Reference<css::drawing::XDrawPages> pagesOf(const Reference<css::uno::XInterface>& document) {
    return Reference<css::drawing::XDrawPagesSupplier>(document, UNO_QUERY_THROW)->getDrawPages();
}

Reference<css::presentation::XPresentation2> presentationOf(const Reference<css::uno::XInterface>& document) {
    const Reference<css::presentation::XPresentationSupplier> supplier(document, UNO_QUERY_THROW);
    return {supplier->getPresentation(), UNO_QUERY_THROW};
}

Model DocumentOpening::run(const Context& office) const {
    const auto desktop = css::frame::Desktop::create(office);
    if (auto open = openPresentation(desktop, path); open.is()) return open;
    std::error_code error;
    const auto status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) return create(desktop, path);
    if (error) refuse(path, error.message());
    checkFile(path, status);
    auto model = load(desktop, path);
    // What an import filter did is no change of anybody's.
    const Reference<css::util::XModifiable> modifiable(model, UNO_QUERY_THROW);
    if (modifiable->isModified()) modifiable->setModified(false);
    return model;
}

void DocumentClosing::run() const {
    if (presentationOf(document)->isRunning()) {
        throw Refusal("The document is being presented. End its slide show first.");
    }
    // Asked before saving, which makes it untrue.
    const Reference<css::util::XModifiable> modifiable(document, UNO_QUERY_THROW);
    const bool modified = modifiable->isModified();
    const bool inWindow = !isHidden(document);
    if (saving == Saving::ask && (modified || inWindow)) return;
    if (modified && saving == Saving::no && inWindow) {
        throw Refusal("The document stays open: its user has unsaved changes in a window.");
    }
    if (saving == Saving::yes) saveToItsFile(document, modified);
    try {
        // Ours stays ours when somebody objects; with true the objector would have to close it.
        Reference<css::util::XCloseable>(document, UNO_QUERY_THROW)->close(false);
    } catch (const css::util::CloseVetoException&) {
        throw Refusal("LibreOffice is still at work with the document. Try again.");
    }
}

void DocumentCopy::run() const {
    const Reference<css::frame::XStorable> storable(document, UNO_QUERY_THROW);
    const Reference<css::task::XInteractionHandler> noDialog(new CancellingInteraction);
    PendingFile file(target);
    storable->storeToURL(unoText(urlFromPath(file.path())),
                         properties({property("FilterName", unoText(kOwnFormat)), property("PickListEntry", false),
                                     property("InteractionHandler", noDialog)}));
    if (const auto error = file.commit()) throw Refusal("no copy " + target.string() + ": " + error.message() + ".");
}

}  // namespace impress
