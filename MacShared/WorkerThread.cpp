#include "MacShared/WorkerThread.h"

#include "ports/Clock.h"
#include "ports/Platform.h"

#include <mutex>

namespace {
constexpr Duration kStartWait = std::chrono::seconds(2);
}

WorkerThread::WorkerThread() : threadStartCondition_(platform().threads->makeCondition()) {}

std::shared_ptr<WorkerThread> WorkerThread::init() {
    std::shared_ptr<WorkerThread> worker(new WorkerThread);
    // The thread keeps its object: whoever made it may go while a piece of work still runs.
    platform().threads->detachNewThread(
        "WorkerThread", [worker](const std::shared_ptr<Thread>& thread) { worker->threadMain(thread); });
    return worker;
}

void WorkerThread::threadMain(const std::shared_ptr<Thread>& thread) {
    // Before the signal: who waits for the start looks at this.
    thread_.set(thread);
    {
        const std::lock_guard lock(*threadStartCondition_);
        threadStartCondition_->signal();
    }
    while (!done()) {
        if (!thread->runLoopRunOnce()) throw VeldrinSoapException();
    }
    thread_.set(nullptr);
}

void WorkerThread::waitForStart() const {
    const std::lock_guard lock(*threadStartCondition_);
    while (!thread() && !done()) threadStartCondition_->waitUntilDate(platform().clock.steadyNow() + kStartWait);
}

void WorkerThread::closeThread() {
    if (!thread()) done_.set(true);  // then it ends as soon as it starts, unless it has just done so
    const auto running = thread();
    if (!running) return;
    if (running->isCurrentThread()) return done_.set(true);
    running->perform([self = shared_from_this()] { self->closeThread(); });
}
