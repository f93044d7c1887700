#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

/// An answer that somebody owes. Exactly one is delivered: the first that is given, or the default when the last owner
/// lets go without one. Any thread; the answer is delivered on the thread that gives it or lets go, within the call.
template <typename... Answer>
class OwedAnswer {
public:
    /// Takes the answer. It must not throw: the default is given by a destructor.
    using Deliver = std::function<void(Answer...)>;

    /// Owes an answer from here on.
    OwedAnswer(Deliver deliver, Answer... byDefault)
        : deliver_(std::move(deliver)), byDefault_([this, byDefault...] { give(byDefault...); }) {}
    ~OwedAnswer() { byDefault_(); }
    OwedAnswer(const OwedAnswer&) = delete;
    OwedAnswer& operator=(const OwedAnswer&) = delete;

    /// Delivers the answer, unless one was given before; then it does nothing.
    void give(Answer... answer) {
        if (!given_.exchange(true)) deliver_(std::move(answer)...);
    }

private:
    const Deliver deliver_;
    const std::function<void()> byDefault_;
    std::atomic<bool> given_ = false;
};

/// A completion handler that delivers one answer: that of its first call, or the default once all its copies are gone.
/// Further calls do nothing. Any thread.
template <typename... Answer>
std::function<void(Answer...)> completionHandler(std::function<void(Answer...)> deliver,
                                                 std::type_identity_t<Answer>... byDefault) {
    auto owed = std::make_shared<OwedAnswer<Answer...>>(std::move(deliver), std::move(byDefault)...);
    return [owed](Answer... answer) { owed->give(std::move(answer)...); };
}
