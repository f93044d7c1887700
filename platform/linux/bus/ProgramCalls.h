#pragma once

#include "ports/Dispatch.h"

#include <sdbus-c++/sdbus-c++.h>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

class AsioDispatch;

/// Calls of presentation programs over a connection of its own, for which nobody waits: the main queue serves the
/// connection and hears the replies. It is opened at the first call, and anew after it broke. What is not asked for
/// on it is thrown away. Main queue only.
class ProgramCalls : public std::enable_shared_from_this<ProgramCalls> {
public:
    /// Puts the arguments into a call. May throw `sdbus::Error`.
    using Write = std::function<void(sdbus::MethodCall&)>;
    /// Hears the reply, or why there is none; exactly once before the end, and before `call` returns when nothing could
    /// be sent. Runs while the library holds its lock: it reads and leaves the rest to a task. Must not throw.
    using Hear = std::function<void(sdbus::MethodReply*, const sdbus::Error*)>;

    /// The dispatch must outlive this object.
    explicit ProgramCalls(AsioDispatch& dispatch) : dispatch_(dispatch) {}
    ~ProgramCalls() { end(); }
    ProgramCalls(const ProgramCalls&) = delete;
    ProgramCalls& operator=(const ProgramCalls&) = delete;

    /// Calls the owner of a unique name, who has that long to answer; then the error is
    /// `org.freedesktop.DBus.Error.Timeout`.
    void call(const std::string& owner, const char* interface, const char* member, std::chrono::milliseconds timeout,
              const Write& write, Hear hear);
    /// Closes the connection; nobody hears anything any more.
    void end();

private:
    struct Program {
        std::unique_ptr<sdbus::IProxy> proxy;  ///< keeps its calls alive
        int owed = 0;                          ///< replies
    };
    struct Owed {
        std::string owner;
        Instant deadline;
        Hear hear;
    };

    void open();
    void close(const sdbus::Error& reason);
    [[nodiscard]] Program& programOf(const std::string& owner);
    void hear(std::uint64_t call, sdbus::MethodReply* reply, const sdbus::Error* error);
    void serve();
    void wakeAt(Instant time);

    AsioDispatch& dispatch_;
    std::unique_ptr<sdbus::IConnection> connection_;
    std::map<std::string, Program> programs_;  ///< by unique name
    std::map<std::uint64_t, Owed> owed_;
    std::uint64_t lastCall_ = 0;
    Handle watch_;
    Instant wakeTime_ = Instant::max();  ///< when `serve` runs next even if nothing arrives
};
