#include "presenters/impress/Office.h"

#include "base/FileURL.h"
#include "presenters/impress/EndListener.h"

#include <algorithm>
#include <com/sun/star/awt/XTopWindow.hpp>
#include <com/sun/star/awt/XWindow2.hpp>
#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/frame/FrameSearchFlag.hpp>
#include <com/sun/star/frame/XTitle.hpp>
#include <com/sun/star/lang/DisposedException.hpp>
#include <utility>

namespace impress {

Office::Office(const Context& context, OnClosed onClosed, OnShow onShow)
    : onClosed_(std::move(onClosed)),
      onShow_(std::move(onShow)),
      desktop_(css::frame::Desktop::create(context), UNO_QUERY_THROW),
      frames_(desktop_->getFrames()) {}

PresentingState Office::state() {
    refresh();
    PresentingState state;
    state.firstDocument = presentedState();
    state.playing = state.firstDocument.has_value();
    if (state.playing.value()) return state;
    lastShownNumber_ = 0;
    if (const auto windows = windowsFromFront(); !windows.empty()) {
        const Window& front = *windows.front();
        const auto slide = front.view.is() ? numberOf(front.view->getCurrentPage()) : 0;
        state.firstDocument = describe(*front.document, slide);
    }
    return state;
}

ScriptingDocumentState Office::describe(const Document& document, std::int64_t slide) {
    return {document.id, pathFromURL(textFrom(document.model->getURL())), slide};
}

/// The document whose show plays.
std::optional<ScriptingDocumentState> Office::presentedState() {
    const Document* asked = nullptr;
    for (const Window& window : windows_) {
        const Document* document = window.document.get();
        // Each question is a call into the office, and a document may have several windows.
        if (!document || document->hidden || document == asked) continue;
        asked = document;
        if (!document->presentation->isRunning()) continue;
        const auto controller = document->presentation->getController();
        if (!controller.is()) continue;
        onShow_(document->id, controller);
        // The end screen may have no slide of its own; the last one stays.
        if (const auto page = controller->getCurrentSlide(); page.is()) lastShownNumber_ = numberOf(page);
        return describe(*document, lastShownNumber_);
    }
    return std::nullopt;
}

std::vector<ScriptingWindow> Office::windows() {
    refresh();
    std::vector<ScriptingWindow> result;
    for (const Window* window : windowsFromFront()) {
        const Reference<css::frame::XTitle> title(window->frame, UNO_QUERY);
        const auto container = window->frame->getContainerWindow();
        if (!container.is()) continue;
        const auto bounds = container->getPosSize();
        result.push_back({title.is() ? textFrom(title->getTitle()) : std::string(),
                          {double(bounds.X), double(bounds.Y), double(bounds.Width), double(bounds.Height)},
                          static_cast<std::int64_t>(result.size()) + 1,
                          window->id});
    }
    return result;
}

bool Office::isSeen() {
    refresh();
    return std::any_of(windows_.begin(), windows_.end(), [](const Window& window) {
        const Reference<css::awt::XWindow2> container(window.frame->getContainerWindow(), UNO_QUERY);
        return container.is() && container->isVisible();
    });
}

std::map<std::string, Model> Office::documents() const {
    std::map<std::string, Model> result;
    for (const Window& window : windows_) {
        if (window.document) result.emplace(window.document->id, window.document->model);
    }
    return result;
}

void Office::activate() {
    // A window that comes forward would cover the slides.
    if (state().playing == true) return;
    const auto windows = windowsFromFront();
    if (windows.empty()) return;
    const Reference<css::awt::XTopWindow> window(windows.front()->frame->getContainerWindow(), UNO_QUERY);
    if (window.is()) window->toFront();
}

bool Office::endShow(const std::string& id) {
    const auto document = find(id);
    if (!document) return false;
    document->presentation->end();
    return true;
}

/// Brings `windows_` up to date. A frame known from the last time has the same proxy, so comparing pointers asks
/// nothing.
void Office::refresh() {
    const auto frames = frames_->queryFrames(css::frame::FrameSearchFlag::CHILDREN);
    // Taken away first: a window that fails while it is looked at is left out.
    std::vector<Window> known = std::exchange(windows_, {});
    for (const auto& frame : frames) {
        const auto match = std::find_if(known.begin(), known.end(),
                                        [&](const Window& window) { return window.frame.get() == frame.get(); });
        Window window = match != known.end() ? *match : Window{frame, {}, {}, {}, ++lastWindowID_};
        try {
            look(window);
            windows_.push_back(std::move(window));
        } catch (const css::lang::DisposedException&) {
            // closed meanwhile
        }
    }
}

void Office::look(Window& window) {
    const auto controller = window.frame->getController();
    // A frame gets another controller when its view changes or another document is loaded into it.
    if (controller.get() == window.controller.get()) return;
    window.controller = controller;
    window.view.set(controller, UNO_QUERY);
    const auto model = controller.is() ? controller->getModel() : Model();
    window.document = model.is() ? documentOf(model) : nullptr;
}

std::shared_ptr<const Office::Document> Office::documentOf(const Model& model) const {
    for (const Window& window : windows_) {
        if (window.document && window.document->model.get() == model.get()) return window.document;
    }
    if (!isPresentation(model)) return nullptr;
    auto document =
        std::make_shared<const Document>(Document{identifierOf(model), model, presentationOf(model), isHidden(model)});
    model->addEventListener(new EndListener([id = document->id, onClosed = onClosed_] { onClosed(id); }));
    return document;
}

std::shared_ptr<const Office::Document> Office::find(const std::string& id) {
    refresh();
    for (const Window& window : windows_) {
        if (window.document && window.document->id == id) return window.document;
    }
    return nullptr;
}

std::vector<const Office::Window*> Office::windowsFromFront() const {
    const auto active = desktop_->getActiveFrame();
    std::vector<const Window*> result;
    for (const Window& window : windows_) {
        if (!window.document || window.document->hidden) continue;
        result.insert(window.frame.get() == active.get() ? result.begin() : result.end(), &window);
    }
    return result;
}

/// The slide's number in the document, which neither hidden slides nor custom shows shift.
std::int64_t Office::numberOf(const Reference<css::drawing::XDrawPage>& page) {
    if (!page.is()) return 0;
    // Most polls find the page of the poll before, and to ask for its properties again would cost a call.
    if (page.get() != lastPage_.get()) lastPageProperties_.set(page, UNO_QUERY_THROW);
    lastPage_ = page;
    return valueOf<sal_Int16>(lastPageProperties_, "Number");
}

}  // namespace impress
