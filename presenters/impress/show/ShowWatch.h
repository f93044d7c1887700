#pragma once

#include "ports/Scripting.h"
#include "presenters/impress/OfficeConnection.h"

#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <memory>
#include <string>

namespace impress {

/// Watches the shows of an office: has the office itself tell when a show begins, brings another slide and ends, and
/// finds out on a thread of its own by when that is on the screen. It watches one show at a time, the latest. Any
/// thread.
class ShowWatch {
public:
    /// Returns at once; the office is asked behind it.
    explicit ShowWatch(const OfficeConnection& office);
    /// Waits for what is under way with the office.
    ~ShowWatch();

    /// A poll has found that this show runs. Asks the office nothing.
    void found(const std::string& documentID,
               const css::uno::Reference<css::presentation::XSlideShowController>& show) const;
    /// What a poll tells of the state that the office has just answered: see `ShowRecord::told`.
    [[nodiscard]] PresentingState told(PresentingState state) const;

private:
    class Watch;
    const std::shared_ptr<Watch> watch_;
};

}  // namespace impress
