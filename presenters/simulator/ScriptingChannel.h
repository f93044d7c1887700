#pragma once

#include "bus/Openers.h"
#include "presenters/model/PresentationProgramModel.h"

#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IObject.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>

/// Puts a simulated program on the bus: answers the scripting channel from the model, with the faults that concern
/// answers. The program is running for others as long as its name is on the bus. Everything on the model's thread.
class ScriptingChannel {
public:
    /// All arguments but the path must outlive the channel. Throws `sdbus::Error` when the bus refuses.
    ScriptingChannel(sdbus::IConnection& connection, PresentationProgramModel& model, DispatchQueue& queue,
                     const std::filesystem::path& bundle);

    /// Takes or gives back the program's name on the bus. Throws `sdbus::Error` when the bus refuses.
    void setRunning(bool running);
    /// Announces another process identifier; the name on the bus stays.
    void setProcessIdentifier(std::uint32_t processIdentifier);

private:
    void exportCalls();
    void exportDocumentCalls();
    void exportProperties();
    /// Carries a call out as the faults want it: now, later or never. Late calls see the model as it is then.
    void whenAnswering(Task answer);
    /// Runs the task at once, or later on the queue.
    void after(Duration delay, Task task);
    [[nodiscard]] Duration openTime(const std::string& url) const;
    [[nodiscard]] ErrorPtr openFor(const std::string& caller, const std::filesystem::path& path, std::string& id);
    [[nodiscard]] ErrorPtr close(const std::string& id, const std::string& saving);
    void callerLeft(const std::string& caller);
    /// Closes the document if callers alone have opened it.
    void closeWithoutWindow(const std::string& id);

    sdbus::IConnection& connection_;
    PresentationProgramModel& model_;
    DispatchQueue& queue_;
    const std::string name_;
    const std::string bundleURL_;
    std::uint32_t processIdentifier_;
    bool isRunning_ = false;
    Openers openers_;
    std::set<std::string> withoutWindow_;  ///< documents that callers have opened, not the script
    std::unique_ptr<sdbus::IObject> object_;
    sdbus::Slot leaving_;
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};
