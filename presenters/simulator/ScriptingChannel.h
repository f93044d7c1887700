#pragma once

#include "platform/simulated/PresentationProgramModel.h"

#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IObject.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
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
    void exportProperties();
    /// Carries a call out as the faults want it: now, later or never. Late calls see the model as it is then.
    void whenAnswering(Task answer);

    sdbus::IConnection& connection_;
    PresentationProgramModel& model_;
    DispatchQueue& queue_;
    const std::string name_;
    const std::string bundleURL_;
    std::uint32_t processIdentifier_;
    bool isRunning_ = false;
    std::unique_ptr<sdbus::IObject> object_;
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};
