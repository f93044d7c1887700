#include "runtime/LoopDispatch.h"

#include "ports/Log.h"
#include "runtime/Context.h"
#include "runtime/LoopThread.h"

#include <csignal>
#include <cstdlib>
#include <utility>

namespace runtime {
namespace {

constexpr int kPoolThreads = 2;

}  // namespace

LoopDispatch::LoopDispatch(ConsoleLog& consoleLog, std::function<void(int)> onStop)
    : report_([&consoleLog](const std::string& what) { consoleLog.write(what); }),
      onStop_(std::move(onStop)),
      pool_(std::make_shared<Context>(report_, kPoolThreads)),
      main_(report_) {}

LoopDispatch::~LoopDispatch() {
    finish();
}

std::shared_ptr<DispatchQueue> LoopDispatch::makeSerialQueue(std::string label) {
    {
        // Only when somebody needs it: most programs use the main queue alone.
        const std::lock_guard lock(mutex_);
        while (threads_.size() < kPoolThreads) threads_.emplace_back([this] { pool_->events.run(); });
    }
    return std::make_shared<SerialQueue>(pool_, std::move(label));
}

int LoopDispatch::run() {
    // On a thread of their own: the main one may be waiting for a program that does not answer.
    LoopThread signals(report_, "signals");
    signals.loop().onSignals({SIGTERM, SIGINT}, [this] { stop(EXIT_SUCCESS); });
    return main_.run();
}

void LoopDispatch::stop(int status) {
    main_.stop(status);
    if (onStop_) onStop_(status);
}

void LoopDispatch::joinThreads() {
    main_.context_->end();
    pool_->events.stop();
    for (auto& thread : std::exchange(threads_, {})) thread.join();
    pool_->end();
}

void LoopDispatch::finish() {
    joinThreads();
    main_.finish();
    pool_->events.dropTasks();
}

}  // namespace runtime
