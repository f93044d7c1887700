#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

/// The thread that asks the office, so that an office which does not answer keeps only this thread waiting.
/// One question at a time: another caller's waits for its turn first.
class OfficeThread {
public:
    OfficeThread();
    ~OfficeThread();
    OfficeThread(const OfficeThread&) = delete;
    OfficeThread& operator=(const OfficeThread&) = delete;

    /// The result of `question`, run on this thread; nothing when it did not come within `limit`. A question that has
    /// not begun by then is dropped. What the question throws is thrown here.
    template <typename Question>
    [[nodiscard]] auto ask(Question question, std::chrono::milliseconds limit)
        -> std::optional<std::invoke_result_t<Question>> {
        auto task = std::make_shared<std::packaged_task<std::invoke_result_t<Question>()>>(std::move(question));
        auto answer = task->get_future();
        const std::lock_guard turn(turn_);
        setNext([task] { (*task)(); });
        if (answer.wait_for(limit) == std::future_status::ready) return answer.get();
        setNext(nullptr);
        return std::nullopt;
    }

private:
    void setNext(std::function<void()> next);
    void run();

    std::mutex turn_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::function<void()> next_;
    bool ended_ = false;
    std::thread thread_;
};
