#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/drawing/XDrawView.hpp>
#include <com/sun/star/frame/XController.hpp>
#include <com/sun/star/frame/XFrames.hpp>
#include <com/sun/star/frame/XFramesSupplier.hpp>
#include <com/sun/star/frame/XModel.hpp>
#include <com/sun/star/presentation/XPresentation2.hpp>
#include <com/sun/star/uno/XComponentContext.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The ID of an open document, unique among all that this office has had open. Throws `css::uno::Exception`.
[[nodiscard]] std::string identifierOf(const css::uno::Reference<css::frame::XModel>& document);
/// Whether this is a presentation, and no drawing or table.
[[nodiscard]] bool isPresentation(const css::uno::Reference<css::frame::XModel>& document);

struct OfficeState {
    struct Document {
        std::string id;
        std::string url;               ///< empty for a document that was never saved
        std::int64_t slideNumber = 0;  ///< 1-based number of the slide shown; 0 when there is none
    };
    bool playing = false;              ///< a slide show runs
    std::optional<Document> document;  ///< the presented one, else the active one, else any that is seen
};

struct OfficeWindow {
    std::string name;
    double x = 0, y = 0, width = 0, height = 0;  ///< in pixels
    std::int64_t id = 0;
};

/// The office as a presentation program: its presentation documents and their windows. Documents that were loaded
/// hidden are there only for who asks by their ID. What does not change while a document is open is asked once, so that
/// a look at the state costs a handful of calls into the office. One thread at a time; every operation throws
/// `css::uno::Exception` when the office fails it.
class Office {
public:
    using OnClosed = std::function<void(const std::string& documentID)>;  ///< called on any thread

    /// `onClosed` is called when a document that was seen here is closed in whatever way, but not when the office dies.
    Office(const css::uno::Reference<css::uno::XComponentContext>& context, OnClosed onClosed);

    [[nodiscard]] OfficeState state();
    /// Windows of presentation documents, the active one first.
    [[nodiscard]] std::vector<OfficeWindow> windows();
    /// Whether the office shows any window, of whatever document.
    [[nodiscard]] bool isSeen();
    /// The open presentation document with this ID; null when there is none.
    [[nodiscard]] css::uno::Reference<css::frame::XModel> document(const std::string& id);
    /// All open presentation documents, as the last operation found them.
    [[nodiscard]] std::map<std::string, css::uno::Reference<css::frame::XModel>> documents() const;
    /// Brings the front window forward, unless a slide show runs.
    void activate();
    /// Ends the slide show of the document, when one runs. False when no such document is open.
    [[nodiscard]] bool endShow(const std::string& id);

private:
    struct Document {
        std::string id;
        css::uno::Reference<css::frame::XModel> model;
        css::uno::Reference<css::presentation::XPresentation2> presentation;
        bool hidden = false;  ///< nobody sees it, so it is neither presented nor in front
    };
    struct Window {
        css::uno::Reference<css::frame::XFrame> frame;
        css::uno::Reference<css::frame::XController> controller;
        css::uno::Reference<css::drawing::XDrawView> view;
        std::shared_ptr<const Document> document;  ///< null for a window of anything but a presentation
        std::int64_t id = 0;
    };
    struct Page {
        css::uno::Reference<css::drawing::XDrawPage> page;
        css::uno::Reference<css::beans::XPropertySet> properties;
    };

    void refresh();
    void look(Window& window);
    [[nodiscard]] std::shared_ptr<const Document> documentOf(
        const css::uno::Reference<css::frame::XModel>& model) const;
    [[nodiscard]] std::shared_ptr<const Document> find(const std::string& id);
    [[nodiscard]] std::optional<OfficeState> presentedState();
    [[nodiscard]] std::vector<const Window*> windowsFromFront() const;
    [[nodiscard]] std::int64_t numberOf(const css::uno::Reference<css::drawing::XDrawPage>& page);

    OnClosed onClosed_;
    css::uno::Reference<css::frame::XFramesSupplier> desktop_;
    css::uno::Reference<css::frame::XFrames> frames_;
    std::vector<Window> windows_;
    std::int64_t lastWindowID_ = 0;
    Page lastPage_;
    std::int64_t lastShownNumber_ = 0;
};
