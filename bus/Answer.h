#pragma once

#include "base/OwedAnswer.h"
#include "bus/Convert.h"
#include "bus/Sdbus.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace bus {

/// For an answer that nobody gives: then none is sent.
inline const Failure kSilence("", "");

/// The answer that a caller is owed; copies are the same answer. At most one is sent, from any thread: the first that
/// is given, or what was chosen for when all let go of it. What cannot be sent, because a text is not UTF-8, becomes a
/// refusal. Giving never fails.
template <typename... Values>
class Answer {
public:
    /// Sends the values, or the refusal when there is one.
    using Send = std::function<void(const Failure* refusal, Values... values)>;

    /// `whenDropped`: a refusal, silence, or null for success with empty values.
    explicit Answer(Send send, const Failure* whenDropped = &kSilence)
        : owed_(std::make_shared<Owed>(std::move(send), whenDropped, Values{}...)) {}

    void give(Values... values) const { owed_->give(nullptr, std::move(values)...); }
    void refuse(const Failure& failure) const { owed_->give(&failure, Values{}...); }

private:
    using Owed = OwedAnswer<const Failure*, Values...>;
    std::shared_ptr<Owed> owed_;
};

/// Sends what a call is answered with, at most once. It cannot fail: a text that cannot travel becomes a refusal by
/// this name, and a caller or bus that has gone gets nothing.
template <typename... Results>
auto sender(sdbus::Result<Results...>&& result, const char* nameOfFailure) {
    const auto shared = std::make_shared<const sdbus::Result<Results...>>(std::move(result));
    return [shared, nameOfFailure](const Failure* refusal, const Results&... results) noexcept {
        if (refusal == &kSilence) return;
        const auto refuse = [&](const Failure& failure) {
            shared->returnError(sdbus::Error(ErrorName(failure.name()), validUTF8(failure.what())));
        };
        try {
            refusal == nullptr ? shared->returnResults(results...) : refuse(*refusal);
        } catch (const std::exception& error) {
            guarded([&] { refuse({nameOfFailure, std::string("The answer cannot be sent: ") + error.what()}); });
        }
    };
}

}  // namespace bus
