#pragma once

#include "presenters/impress/Uno.h"

#include <com/sun/star/task/XInteractionHandler.hpp>
#include <cppuhelper/implbase1.hxx>
#include <mutex>
#include <string>

namespace impress {

/// Stands where the office would ask the user, or tell of an error: remembers what it was about, and cancels. An order
/// that names none may inherit the one of the user's window, whose dialog would stand over a lecture until it is
/// closed.
class CancellingInteraction : public cppu::WeakImplHelper1<css::task::XInteractionHandler> {
public:
    static constexpr const char* kUnknownFormat = "LibreOffice knows no such format";

    void SAL_CALL handle(const Reference<css::task::XInteractionRequest>& request) override;

    /// Why the office could not go on by itself; empty when it did not ask.
    [[nodiscard]] std::string reason();

private:
    std::mutex mutex_;
    std::string reason_;
};

}  // namespace impress
