#include "presenters/impress/Office.h"

#include "presenters/impress/DocumentClosing.h"
#include "presenters/impress/EndListener.h"

#include <algorithm>
#include <com/sun/star/awt/XTopWindow.hpp>
#include <com/sun/star/awt/XWindow.hpp>
#include <com/sun/star/awt/XWindow2.hpp>
#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/frame/FrameSearchFlag.hpp>
#include <com/sun/star/frame/XTitle.hpp>
#include <com/sun/star/lang/DisposedException.hpp>
#include <com/sun/star/lang/XServiceInfo.hpp>
#include <com/sun/star/presentation/XPresentationSupplier.hpp>
#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <utility>

using css::uno::Reference;
using css::uno::UNO_QUERY;
using css::uno::UNO_QUERY_THROW;

namespace {

OfficeState::Document describe(const std::string& id, const Reference<css::frame::XModel>& model) {
    return {id, textFrom(model->getURL()), 0};
}

}  // namespace

std::string identifierOf(const Reference<css::frame::XModel>& document) {
    rtl::OUString id;
    Reference<css::beans::XPropertySet>(document, UNO_QUERY_THROW)->getPropertyValue("RuntimeUID") >>= id;
    return textFrom(id);
}

bool isPresentation(const Reference<css::frame::XModel>& document) {
    const Reference<css::lang::XServiceInfo> info(document, UNO_QUERY);
    return info.is() && info->supportsService("com.sun.star.presentation.PresentationDocument");
}

Office::Office(const Reference<css::uno::XComponentContext>& context, OnClosed onClosed)
    : onClosed_(std::move(onClosed)),
      desktop_(css::frame::Desktop::create(context), UNO_QUERY_THROW),
      frames_(desktop_->getFrames()) {}

OfficeState Office::state() {
    refresh();
    if (auto state = presentedState()) return *state;
    lastShownNumber_ = 0;
    OfficeState state;
    const auto windows = windowsFromFront();
    if (!windows.empty()) {
        const Window& front = *windows.front();
        state.document = describe(front.document->id, front.document->model);
        if (front.view.is()) state.document->slideNumber = numberOf(front.view->getCurrentPage());
    }
    return state;
}

std::optional<OfficeState> Office::presentedState() {
    const Document* asked = nullptr;
    for (const Window& window : windows_) {
        const Document* document = window.document.get();
        if (!document || document->hidden || document == asked) continue;
        asked = document;
        if (!document->presentation->isRunning()) continue;
        const auto controller = document->presentation->getController();
        if (!controller.is()) continue;
        // The end screen may have no slide of its own; the last one stays.
        if (const auto page = controller->getCurrentSlide(); page.is()) lastShownNumber_ = numberOf(page);
        OfficeState state{true, describe(document->id, document->model)};
        state.document->slideNumber = lastShownNumber_;
        return state;
    }
    return std::nullopt;
}

std::vector<OfficeWindow> Office::windows() {
    refresh();
    std::vector<OfficeWindow> result;
    for (const Window* window : windowsFromFront()) {
        const Reference<css::frame::XTitle> title(window->frame, UNO_QUERY);
        const auto container = window->frame->getContainerWindow();
        if (!container.is()) continue;
        const auto bounds = container->getPosSize();
        result.push_back({title.is() ? textFrom(title->getTitle()) : std::string(), double(bounds.X), double(bounds.Y),
                          double(bounds.Width), double(bounds.Height), window->id});
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

Reference<css::frame::XModel> Office::document(const std::string& id) {
    const auto document = find(id);
    return document ? document->model : Reference<css::frame::XModel>();
}

std::map<std::string, Reference<css::frame::XModel>> Office::documents() const {
    std::map<std::string, Reference<css::frame::XModel>> result;
    for (const Window& window : windows_) {
        if (window.document) result.emplace(window.document->id, window.document->model);
    }
    return result;
}

void Office::activate() {
    if (state().playing) return;
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
    if (controller.get() == window.controller.get()) return;
    window.controller = controller;
    window.view.set(controller, UNO_QUERY);
    const auto model = controller.is() ? controller->getModel() : Reference<css::frame::XModel>();
    window.document = model.is() ? documentOf(model) : nullptr;
}

std::shared_ptr<const Office::Document> Office::documentOf(const Reference<css::frame::XModel>& model) const {
    for (const Window& window : windows_) {
        if (window.document && window.document->model.get() == model.get()) return window.document;
    }
    if (!isPresentation(model)) return nullptr;
    const Reference<css::presentation::XPresentationSupplier> supplier(model, UNO_QUERY_THROW);
    auto document = std::make_shared<const Document>(
        Document{identifierOf(model), model, {supplier->getPresentation(), UNO_QUERY_THROW}, isHidden(model)});
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
    if (page.get() != lastPage_.page.get()) lastPage_ = {page, {page, UNO_QUERY_THROW}};
    sal_Int16 number = 0;
    lastPage_.properties->getPropertyValue("Number") >>= number;
    return number;
}
