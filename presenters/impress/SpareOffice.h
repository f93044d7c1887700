#pragma once

#include "presenters/impress/OfficeConnection.h"
#include "presenters/impress/OfficeProcess.h"

#include <functional>
#include <mutex>

namespace impress {

/// An office of our own that nobody sees, for work that is left when the user's office has gone. Any thread.
class SpareOffice {
public:
    using Work = std::function<void(const Context& office)>;

    /// Starts the office, does the work in it and ends it. One work at a time; others wait. Throws `Refusal` when the
    /// office cannot be started, and what `work` throws.
    void run(const Work& work);
    /// Asks the office to end at once, whatever it does.
    void end() const { process_.end(); }

private:
    void finish(const OfficeConnection& office);

    std::mutex turn_;
    OfficeProcess process_;
};

}  // namespace impress
