#pragma once

#include "bus/Names.h"
#include "bus/Sdbus.h"
#include "bus/SessionBus.h"
#include "ports/Log.h"
#include "runtime/LoopDispatch.h"
#include "tests/support/Deadline.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using bus::SessionBus;

/// Lines that several threads write; the test waits for what it expects.
class Notes {
public:
    void add(std::string line) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(std::move(line));
        changed_.notify_all();
    }
    [[nodiscard]] std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }
    [[nodiscard]] long count(const std::string& line) const {
        const auto all = lines();
        return std::count(all.begin(), all.end(), line);
    }
    /// The lines, once there are so many; what there is at the deadline.
    std::vector<std::string> waitFor(std::size_t count) const {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, kDeadline, [&] { return lines_.size() >= count; });
        return lines_;
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> lines_;
};

class NotedConsoleLog final : public ConsoleLog {
public:
    void write(std::string_view message) override { notes.add(std::string(message)); }
    Notes notes;
};

/// Calls a method and tells "ok" or the name of the error; the message goes to `message`.
template <typename... Arguments>
std::string outcomeOf(sdbus::IProxy& proxy, const char* interface, const std::string& method, std::string* message,
                      const Arguments&... arguments) {
    try {
        auto call = bus::createCall(proxy, interface, method);
        static_cast<void>((call << ... << arguments));
        static_cast<void>(proxy.callMethod(call, std::chrono::seconds(10)));
        return "ok";
    } catch (const sdbus::Error& error) {
        if (message != nullptr) *message = error.getMessage();
        return error.getName();
    }
}
