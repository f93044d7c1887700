#pragma once

#include "bus/Failure.h"

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <utility>

namespace bus {

/// The answer that a caller is owed; copies are the same answer. At most one is sent, from any thread: the first that
/// is given. What cannot be sent, because a text is not UTF-8, becomes a refusal. Giving never fails.
template <typename... Values>
class Answer {
public:
    /// Sends the values, or the refusal when there is one.
    using Send = std::function<void(const Failure* refusal, Values... values)>;
    /// What is sent when all let go of the answer: nothing, or success with empty values.
    enum class WhenDropped { isSilent, succeeds };

    explicit Answer(Send send, WhenDropped whenDropped = WhenDropped::isSilent)
        : owed_(std::make_shared<Owed>(std::move(send), whenDropped)) {}

    void give(Values... values) const { owed_->send(nullptr, std::move(values)...); }
    void refuse(const Failure& failure) const { owed_->send(&failure, Values{}...); }

private:
    struct Owed {
        Owed(Send deliver, WhenDropped ifDropped) : sendOnce(std::move(deliver)), whenDropped(ifDropped) {}
        ~Owed() {
            if (whenDropped == WhenDropped::succeeds) send(nullptr, Values{}...);
        }
        Owed(const Owed&) = delete;
        Owed& operator=(const Owed&) = delete;
        void send(const Failure* refusal, Values... values) {
            if (!isSent.exchange(true)) sendOnce(refusal, std::move(values)...);
        }

        const Send sendOnce;
        const WhenDropped whenDropped;
        std::atomic<bool> isSent = false;
    };

    std::shared_ptr<Owed> owed_;
};

/// Runs the work of a call; what it throws becomes the refusal, by this name unless it has one.
template <typename... Values, typename Work>
void answerFailure(const Answer<Values...>& answer, const char* name, const Work& work) {
    try {
        work();
    } catch (const Failure& failure) {
        answer.refuse(failure);
    } catch (const std::exception& error) {
        answer.refuse(Failure(name, error.what()));
    } catch (...) {
        answer.refuse(Failure(name, "The call failed for an unknown reason."));
    }
}

}  // namespace bus
