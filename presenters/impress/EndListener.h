#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/lang/XEventListener.hpp>
#include <cppuhelper/implbase1.hxx>
#include <exception>
#include <functional>
#include <iostream>

namespace impress {

/// Calls a function when what it listens to is at its end. The office calls it, so nothing may leave it.
class EndListener : public cppu::WeakImplHelper1<css::lang::XEventListener> {
public:
    explicit EndListener(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {}

    void SAL_CALL disposing(const css::lang::EventObject& /*source*/) override {
        try {
            onEnd_();
        } catch (const std::exception& exception) {
            std::cerr << "An end was not noted: " << exception.what() << "\n";
        }
    }

private:
    std::function<void()> onEnd_;
};

}  // namespace impress
