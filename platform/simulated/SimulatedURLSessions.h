#pragma once

#include "platform/simulated/SimulatedDispatch.h"
#include "ports/URLSessionDelegate.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simulated {

/// What a simulated server does with a request.
struct SimulatedAnswer {
    int statusCode = 200;
    HTTPHeaderFields headerFields{};
    std::vector<std::string> body{};          ///< the pieces in which it comes
    Duration untilHead{};                     ///< from the request to the response
    Duration betweenPieces{};                 ///< before each piece
    bool stalls = false;                      ///< nothing comes after the body, not even the end
    ErrorPtr error{};                         ///< ends the task after the body, or in place of a response with status 0
    std::optional<URLRequest> redirection{};  ///< proposed to the delegate, and followed if it agrees
    std::shared_ptr<const ServerTrust> trust{};  ///< shown before the request is sent; trusted without one
};

/// An HTTP client in virtual time whose servers are a function of the test's. Time-outs have their real
/// length in virtual time, so that nobody waits for them.
class SimulatedURLSessions final : public URLSessions {
public:
    using Server = std::function<SimulatedAnswer(const URLRequest&)>;

    explicit SimulatedURLSessions(SimulatedDispatch& dispatch) : dispatch_(dispatch) {}

    [[nodiscard]] std::shared_ptr<URLSession> sessionWithConfiguration(
        const URLSessionConfiguration& configuration, std::shared_ptr<URLSessionDelegate> delegate) override;
    /// "status" and the code.
    [[nodiscard]] std::string localizedStringForStatusCode(int statusCode) override;

    Server server;                                        ///< answers every request; without one, no host is found
    std::vector<URLRequest> requests;                     ///< all that were sent, in order
    std::vector<URLSessionConfiguration> configurations;  ///< of all sessions, in order
    bool hasNoThread = false;                             ///< tasks cannot be resumed

private:
    class Session;
    class Task;

    [[nodiscard]] SimulatedAnswer answerTo(const URLRequest& request);

    SimulatedDispatch& dispatch_;
};

}  // namespace simulated
