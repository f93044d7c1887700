#pragma once

#include <cstdint>
#include <string>

/// Speaks the bus's protocol itself, to send what no library would.
class Forger {
public:
    /// Connects to the session bus. Throws `std::runtime_error` when that fails, as do all waits after `kDeadline`.
    Forger();
    ~Forger();
    Forger(const Forger&) = delete;
    Forger& operator=(const Forger&) = delete;

    /// Takes a name on the bus.
    void own(const std::string& name);
    /// Waits for a call of the method, and answers it with a text, whatever it should be.
    void answer(const std::string& method, const std::string& text);
    /// Answers call number `serial` of the destination, which has not called: with a text, or with an error.
    void reply(const std::string& destination, std::uint32_t serial, const std::string& text, bool asError = false);

private:
    void call(const std::string& member, const std::string& text = {});
    void send(const std::string& bytes) const;
    [[nodiscard]] std::string read(std::size_t size) const;
    /// The next message with this in its header.
    [[nodiscard]] std::string readMessage(const std::string& about) const;

    int socket_ = -1;
    std::uint32_t lastSerial_ = 0;
};
