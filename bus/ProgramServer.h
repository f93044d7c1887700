#pragma once

#include "base/Registration.h"
#include "bus/Answer.h"
#include "bus/Convert.h"
#include "ports/Scripting.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bus {

class Connection;

/// A presentation program as the bus sees it: com.veldrin.PresentationProgram.xml says what each operation means. They
/// come on the thread that serves the connection, one at a time and under the library's lock. Each is answered there or
/// later on any thread. What it throws becomes its refusal: a `Failure` as it is, anything else by its sentence.
class Program {
public:
    virtual ~Program() = default;

    /// The process that shows the windows.
    [[nodiscard]] virtual std::uint32_t processIdentifier() = 0;
    /// The bundle directory; empty when there is none.
    [[nodiscard]] virtual Path bundle() = 0;
    [[nodiscard]] virtual std::string version() = 0;

    virtual void presentingState(const Answer<PresentingState>& answer) = 0;
    virtual void windows(const Answer<std::vector<ScriptingWindow>>& answer) = 0;
    virtual void activate(const Answer<>& answer) = 0;
    /// The caller by its unique name.
    virtual void open(const std::string& caller, const Path& file, const Answer<std::string>& answer) = 0;
    virtual void close(const std::string& documentID, const std::string& saveOption, const Answer<>& answer) = 0;
    virtual void slideNumbers(const std::string& documentID, const Answer<std::vector<std::int64_t>>& answer) = 0;
    virtual void documentText(const std::string& documentID, const Answer<ScriptingDocumentText>& answer) = 0;
    virtual void save(const std::string& documentID, const Path& target, const Answer<>& answer) = 0;
    virtual void stop(const std::string& documentID, const Answer<>& answer) = 0;
    virtual void exportTo(const std::string& documentID, const Path& target, const std::string& formatCode,
                          const ExportProperties& properties, const Answer<>& answer) = 0;

    /// Somebody has left the bus, who may have opened documents.
    virtual void callerLeft(const std::string& caller) = 0;
};

/// Why a program refuses a call.
[[nodiscard]] Failure refusal(const std::string& sentence);
/// The name that a program takes: its bundle identifier and a number of its own.
[[nodiscard]] std::string instanceName(std::int64_t number);
/// The name of the bridge that waits for the offices of a pipe. That of the usual pipe can be started by the bus.
[[nodiscard]] std::string bridgeName(const std::string& pipe);

/// A program on a connection, under no name yet, until this is dropped.
class ProgramServer : public Registration {
public:
    /// Calls may come at once. Both must outlive the server. Throws `Failure` when the bus refuses.
    [[nodiscard]] static std::unique_ptr<ProgramServer> publish(Connection& connection, Program& program);
    /// Tells everybody that the process identifier is another one now.
    virtual void announceProcessIdentifier() = 0;
};

}  // namespace bus
