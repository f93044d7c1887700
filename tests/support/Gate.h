#pragma once

#include "ports/Dispatch.h"

#include <atomic>
#include <future>

/// Holds tasks up until it is opened.
class Gate {
public:
    [[nodiscard]] Task waiting() {
        return [this] {
            ++arrived;
            opened_.wait();
        };
    }
    void open() { opening_.set_value(); }
    std::atomic<int> arrived = 0;

private:
    std::promise<void> opening_;
    std::shared_future<void> opened_ = opening_.get_future().share();
};
