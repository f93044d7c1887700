#pragma once

#include "presenters/impress/Uno.h"
#include "presenters/impress/show/ShowListeners.h"

#include <com/sun/star/awt/AsyncCallback.hpp>
#include <com/sun/star/awt/XCallback.hpp>
#include <functional>
#include <utility>

namespace impress {

/// Wakes an office. With its plain X11 windows it looks at its timers, by which it draws, every 10 ms while nothing
/// comes in, and between two timers again; whoever wakes it now and then sees it draw without these pauses.
class Waker {
public:
    /// Throws `css::uno::Exception` when the office has no such service.
    explicit Waker(const Context& office) : callbacks_(css::awt::AsyncCallback::create(office)) {}

    /// The office calls `awake` next, ahead of its timers, unless it goes.
    void wake(std::function<void()> awake) const { callbacks_->addCallback(new Callback(std::move(awake)), {}); }

private:
    class Callback : public cppu::WeakImplHelper1<css::awt::XCallback> {
    public:
        explicit Callback(std::function<void()> awake) : awake_(std::move(awake)) {}
        void SAL_CALL notify(const css::uno::Any& /*data*/) override { heard(awake_); }

    private:
        const std::function<void()> awake_;
    };

    Reference<css::awt::XRequestCallback> callbacks_;
};

}  // namespace impress
