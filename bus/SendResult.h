#pragma once

#include "bus/Answer.h"
#include "bus/Convert.h"
#include "bus/Library.h"

#include <sdbus-c++/MethodResult.h>
#include <exception>
#include <memory>
#include <string>
#include <utility>

namespace bus {

/// Sends what a call is answered with, at most once. It cannot fail: a text that cannot travel becomes a refusal by
/// this name, and a caller or bus that has gone gets nothing.
template <typename... Results>
class SendResult {
public:
    SendResult(sdbus::Result<Results...>&& result, const char* nameOfFailure)
        : result_(std::make_shared<sdbus::Result<Results...>>(std::move(result))), nameOfFailure_(nameOfFailure) {}

    void operator()(const Failure* refusal, const Results&... results) const noexcept {
        if (refusal == &kSilence) return;
        try {
            try {
                refusal == nullptr ? result_->returnResults(results...) : refuse(*refusal);
            } catch (const std::exception& error) {
                refuse(Failure(nameOfFailure_, std::string("The answer cannot be sent: ") + error.what()));
            }
        } catch (const std::exception&) {
            return;
        }
    }

private:
    void refuse(const Failure& failure) const {
        result_->returnError(sdbus::Error(failure.name(), validUTF8(failure.what())));
    }

    std::shared_ptr<const sdbus::Result<Results...>> result_;
    const char* nameOfFailure_;
};

}  // namespace bus
