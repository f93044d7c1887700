#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/document/XDocumentEventListener.hpp>
#include <com/sun/star/document/XEventListener.hpp>
#include <com/sun/star/lang/DisposedException.hpp>
#include <com/sun/star/presentation/XSlideShowListener.hpp>
#include <cppuhelper/implbase1.hxx>
#include <exception>
#include <functional>
#include <iostream>
#include <string>
#include <utility>

namespace impress {

/// Runs what follows from a call of the office, out of which nothing may come. A show or an office that has gone
/// meanwhile has nothing more to tell.
template <typename Work>
void heard(const Work& work) {
    try {
        work();
    } catch (const css::lang::DisposedException&) {
        return;
    } catch (const css::uno::Exception& exception) {
        std::cerr << "What the office told of a show was not noted: " + textFrom(exception) + "\n";
    } catch (const std::exception& exception) {
        std::cerr << std::string("What the office told of a show was not noted: ") + exception.what() + "\n";
    }
}

/// What a show does, by the thread that draws it; it goes on when the call returns.
struct ShowEvents {
    std::function<void()> slideComes;  ///< nothing of the slide is on the screen yet
    std::function<void()> slideMoves;  ///< it is drawn, or will be before the office does something else
    std::function<void()> pauses;
};

class ShowListener : public cppu::WeakImplHelper1<css::presentation::XSlideShowListener> {
public:
    explicit ShowListener(ShowEvents events) : events_(std::move(events)) {}

    void SAL_CALL slideTransitionStarted() override { heard(events_.slideComes); }
    void SAL_CALL slideAnimationsEnded() override { heard(events_.slideMoves); }
    void SAL_CALL beginEvent(const css::uno::Reference<css::animations::XAnimationNode>& /*node*/) override {
        heard(events_.slideMoves);
    }
    void SAL_CALL paused() override { heard(events_.pauses); }
    void SAL_CALL resumed() override {}
    void SAL_CALL slideTransitionEnded() override {}
    void SAL_CALL slideEnded(sal_Bool /*reverse*/) override {}
    void SAL_CALL hyperLinkClicked(const rtl::OUString& /*link*/) override {}
    void SAL_CALL endEvent(const css::uno::Reference<css::animations::XAnimationNode>& /*node*/) override {}
    void SAL_CALL repeat(const css::uno::Reference<css::animations::XAnimationNode>& /*node*/,
                         sal_Int32 /*count*/) override {}
    void SAL_CALL disposing(const css::lang::EventObject& /*source*/) override {}

private:
    const ShowEvents events_;
};

/// Hears what happens to a document and its shows.
class ModelListener : public cppu::WeakImplHelper1<css::document::XEventListener> {
public:
    using Hear = std::function<void(const css::document::EventObject&)>;

    explicit ModelListener(Hear hear) : hear_(std::move(hear)) {}

    void SAL_CALL notifyEvent(const css::document::EventObject& event) override {
        heard([&] { hear_(event); });
    }
    void SAL_CALL disposing(const css::lang::EventObject& /*source*/) override {}

private:
    const Hear hear_;
};

/// Hears what happens to the documents of an office.
class DocumentListener : public cppu::WeakImplHelper1<css::document::XDocumentEventListener> {
public:
    using Hear = std::function<void(const css::document::DocumentEvent&)>;

    explicit DocumentListener(Hear hear) : hear_(std::move(hear)) {}

    void SAL_CALL documentEventOccured(const css::document::DocumentEvent& event) override {
        heard([&] { hear_(event); });
    }
    void SAL_CALL disposing(const css::lang::EventObject& /*source*/) override {}

private:
    const Hear hear_;
};

}  // namespace impress
