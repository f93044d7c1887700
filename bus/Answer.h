#pragma once

#include "base/OwedAnswer.h"
#include "bus/Failure.h"

#include <exception>
#include <functional>
#include <memory>
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

/// Runs the work of a call; `refuse` is told what it throws, by this name unless it has one.
template <typename Work, typename Refuse>
void refuseFailure(const char* name, const Work& work, const Refuse& refuse) {
    try {
        work();
    } catch (const Failure& failure) {
        refuse(failure);
    } catch (const std::exception& error) {
        refuse(Failure(name, error.what()));
    } catch (...) {
        refuse(Failure(name, "The call failed for an unknown reason."));
    }
}

}  // namespace bus
