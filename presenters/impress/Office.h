#pragma once

#include "ports/Scripting.h"
#include "presenters/impress/Documents.h"

#include <com/sun/star/drawing/XDrawView.hpp>
#include <com/sun/star/frame/XController.hpp>
#include <com/sun/star/frame/XFrames.hpp>
#include <com/sun/star/frame/XFramesSupplier.hpp>
#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace impress {

/// The office as a presentation program: its presentation documents and their windows. Documents that were loaded
/// hidden are neither in a state nor among the windows, but are found by their ID. What does not change while a
/// document is open is asked once, so that a look at the state costs a handful of calls into the office. One thread at
/// a time; every operation throws `css::uno::Exception` when the office fails it.
class Office {
public:
    using OnClosed = std::function<void(const std::string& documentID)>;  ///< called on any thread

    /// Called within `state`.
    using OnShow = std::function<void(const std::string& documentID,
                                      const Reference<css::presentation::XSlideShowController>& show)>;

    /// `onClosed` is called when a document that was seen here is closed in whatever way, but not when the office dies,
    /// `onShow` for each show that is seen to run.
    Office(const Context& context, OnClosed onClosed, OnShow onShow);

    /// The first document is the presented one, else the active one, else any that is seen.
    [[nodiscard]] PresentingState state();
    /// Windows of presentation documents, the active one first.
    [[nodiscard]] std::vector<ScriptingWindow> windows();
    /// Whether the office shows any window, of whatever document.
    [[nodiscard]] bool isSeen();
    /// All open presentation documents, as the last operation found them.
    [[nodiscard]] std::map<std::string, Model> documents() const;
    /// Brings the front window forward, unless a slide show runs.
    void activate();
    /// Ends the slide show of the document, when one runs. False when no such document is open.
    [[nodiscard]] bool endShow(const std::string& id);

private:
    struct Document {
        std::string id;
        Model model;
        Reference<css::presentation::XPresentation2> presentation;
        bool hidden = false;  ///< nobody sees it, so it is neither presented nor in front
    };
    struct Window {
        Reference<css::frame::XFrame> frame;
        Reference<css::frame::XController> controller;
        Reference<css::drawing::XDrawView> view;
        std::shared_ptr<const Document> document;  ///< null for a window of anything but a presentation
        std::int64_t id = 0;
    };

    void refresh();
    void look(Window& window);
    [[nodiscard]] std::shared_ptr<const Document> documentOf(const Model& model) const;
    [[nodiscard]] std::shared_ptr<const Document> find(const std::string& id);
    [[nodiscard]] std::optional<ScriptingDocumentState> presentedState();
    [[nodiscard]] static ScriptingDocumentState describe(const Document& document, std::int64_t slide);
    [[nodiscard]] std::vector<const Window*> windowsFromFront() const;
    [[nodiscard]] std::int64_t numberOf(const Reference<css::drawing::XDrawPage>& page);

    OnClosed onClosed_;
    OnShow onShow_;
    Reference<css::frame::XFramesSupplier> desktop_;
    Reference<css::frame::XFrames> frames_;
    std::vector<Window> windows_;
    std::int64_t lastWindowID_ = 0;
    Reference<css::drawing::XDrawPage> lastPage_;
    Reference<css::beans::XPropertySet> lastPageProperties_;
    std::int64_t lastShownNumber_ = 0;
};

}  // namespace impress
