#pragma once

#include "base/Error.h"
#include "ports/Dispatch.h"

#include <filesystem>
#include <functional>
#include <memory>

class ScriptingApplication;

/// Finds out when the presentation program has finished saving.
///
/// The program does what it is asked in order. So the monitor has it open and save a further, throw-away document, the
/// *probe*, and looks once a second whether the probe's file has come: everything asked before is saved then.
/// There is no time limit; only a program that has ended makes a wait fail, with error code 6. The probe's file is left
/// in the temporary directory.
class VELFileSaveMonitor {
public:
    using Completion = std::function<void(const ErrorPtr&)>;

    /// `initWithQueue:withApplication:withTemporaryDirectory:`. The file is looked for on the queue, which must not be
    /// the main queue; the program is asked on the main queue.
    VELFileSaveMonitor(std::shared_ptr<DispatchQueue> queue, std::shared_ptr<ScriptingApplication> application,
                       std::filesystem::path temporaryDirectoryURL);

    /// `waitForPresentationToSaveCompletion:`: begins a wait with a probe of its own, which goes on without the
    /// monitor. The completion runs once, on the main queue. Any thread.
    void waitForPresentationToSaveCompletion(Completion completion);

private:
    class Wait;

    const std::shared_ptr<DispatchQueue> queue_;
    const std::shared_ptr<ScriptingApplication> application_;
    const std::filesystem::path temporaryDirectoryURL_;
};
