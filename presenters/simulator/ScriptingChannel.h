#pragma once

#include "bus/Connection.h"
#include "bus/OpenDocuments.h"
#include "bus/ProgramServer.h"
#include "presenters/model/PresentationProgramModel.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>

namespace simulator {

/// Puts a simulated program on the bus: answers the scripting channel from the model, with the faults that concern
/// answers. The program is running for others as long as its name is on the bus. Everything on the model's thread.
class ScriptingChannel final : private bus::Program {
public:
    /// All arguments but the path must outlive the channel. Throws `bus::Failure` when the bus refuses.
    ScriptingChannel(bus::Connection& connection, presenters::PresentationProgramModel& model, DispatchQueue& queue,
                     const std::filesystem::path& bundle);

    /// Takes or gives back the program's name on the bus. Throws `bus::Failure` when the bus refuses.
    void setRunning(bool running);
    /// Announces another process identifier; the name on the bus stays.
    void setProcessIdentifier(std::uint32_t processIdentifier);

private:
    std::uint32_t processIdentifier() override { return processIdentifier_; }
    std::filesystem::path bundle() override { return bundle_; }
    std::string version() override;
    void presentingState(const bus::Answer<PresentingState>& answer) override;
    void windows(const bus::Answer<std::vector<ScriptingWindow>>& answer) override;
    void activate(const bus::Answer<>& answer) override;
    void open(const std::string& caller, const std::filesystem::path& file,
              const bus::Answer<std::string>& answer) override;
    void close(const std::string& id, const std::string& saveOption, const bus::Answer<>& answer) override;
    void slideNumbers(const std::string& id, const bus::Answer<std::vector<std::int64_t>>& answer) override;
    void documentText(const std::string& id, const bus::Answer<ScriptingDocumentText>& answer) override;
    void save(const std::string& id, const std::filesystem::path& target, const bus::Answer<>& answer) override;
    void stop(const std::string& id, const bus::Answer<>& answer) override;
    void exportTo(const std::string& id, const std::filesystem::path& target, const std::string& formatCode,
                  const ExportProperties& properties, const bus::Answer<>& answer) override;
    void callerLeft(const std::string& caller) override;

    template <typename Value, typename Ask>
    void tell(const bus::Answer<Value>& answer, Ask ask);
    /// Carries a call out as the faults want it: now, later or never. Late calls see the model as it is then.
    void whenAnswering(Task answer);
    /// Runs the task at once, or later on the queue.
    void after(Duration delay, Task task);
    [[nodiscard]] Duration openTime(const std::filesystem::path& file) const;
    [[nodiscard]] ErrorPtr openFor(const std::string& caller, const std::filesystem::path& path, std::string& id);
    [[nodiscard]] ErrorPtr closeFor(const std::string& id, const std::string& saving);
    /// Closes the document if callers alone have opened it.
    void closeWithoutWindow(const std::string& id);

    bus::Connection& connection_;
    presenters::PresentationProgramModel& model_;
    DispatchQueue& queue_;
    const std::string name_;
    const std::filesystem::path bundle_;
    std::uint32_t processIdentifier_;
    bool isRunning_ = false;
    bus::OpenDocuments openers_;
    std::set<std::string> withoutWindow_;  ///< documents that callers have opened, not the script
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
    std::unique_ptr<bus::ProgramServer> server_;
};

}  // namespace simulator
