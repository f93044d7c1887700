#pragma once

#include "presenters/impress/Uno.h"

#include <sys/types.h>
#include <chrono>
#include <com/sun/star/bridge/XBridge.hpp>
#include <functional>
#include <optional>
#include <string>

namespace impress {

/// A connection to a running office over the pipe on which it listens.
class OfficeConnection {
public:
    /// Connects to the office that listens on the pipe `uno:pipe,name=PIPE;urp`. Nothing when none of this user's does.
    /// Waits as long as an office that listens needs to answer. Throws `css::uno::Exception` when this office's own
    /// libraries cannot be set up.
    [[nodiscard]] static std::optional<OfficeConnection> attach(const std::string& pipe);

    /// The same, once and again until `patience` is over: for an office that is being started.
    [[nodiscard]] static std::optional<OfficeConnection> attachWithin(const std::string& pipe,
                                                                      std::chrono::seconds patience);

    /// The office's component context, from which all its services come.
    [[nodiscard]] const Context& context() const { return context_; }
    /// The process that listens on the pipe, as the kernel knows it; 0 when it cannot tell.
    [[nodiscard]] pid_t processIdentifier() const { return processIdentifier_; }
    /// Calls `onLost` once, on any thread, when the connection is gone; at once when it is gone already.
    void observeLoss(std::function<void()> onLost) const;

private:
    OfficeConnection() = default;

    Reference<css::bridge::XBridge> bridge_;
    Context context_;
    pid_t processIdentifier_ = 0;
};

}  // namespace impress
