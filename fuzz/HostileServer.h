#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace fuzz {

/// A socket on the loopback interface to which clients connect.
class Listener {
public:
    /// Ends the process when there is none.
    Listener();
    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

private:
    const int descriptor_;
    unsigned port_ = 0;
};

/// A server that answers by a script whatever it is asked. The script is what it sends; after an escape character (27)
/// stands what it does:
///
/// - `p` waits for a millisecond, so that what was sent arrives by itself,
/// - `q` waits for the next request on this connection,
/// - `c` closes the connection and takes the next one, `r` resets it first,
/// - `s` does nothing more until the call has ended.
///
/// Anything else is sent as it is. Once all is sent, connections are closed.
class HostileServer {
public:
    HostileServer(const Listener& listener, std::string_view script);
    ~HostileServer();
    HostileServer(const HostileServer&) = delete;
    HostileServer& operator=(const HostileServer&) = delete;

    [[nodiscard]] std::string url() const { return listener_.url(); }
    [[nodiscard]] bool hasSentAll() const { return script_.empty(); }
    /// Goes on with the script until `callEnded` is called, on any thread; ends the process when it never is.
    void serveUntilCallEnds();
    void callEnded() const;

private:
    /// Whether something comes before the call ends.
    [[nodiscard]] bool comes(int descriptor) const;
    [[nodiscard]] bool step();
    [[nodiscard]] bool obey(char command);
    [[nodiscard]] bool takeConnection();
    [[nodiscard]] bool takeRequest();
    void send(std::string_view bytes) const;
    void close();

    const Listener& listener_;
    const int ended_;  ///< an event that says that the call has ended
    std::string_view script_;
    int connection_ = -1;
    std::string received_;
    int pauses_ = 0;
};

}  // namespace fuzz
