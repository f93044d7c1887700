#include "presenters/impress/Lifeline.h"

#include "presenters/impress/PendingFile.h"

#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <utility>

namespace impress {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{20};

[[noreturn]] void replaceProcess(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    // Connections to the bus and to the old office must not live on in the fresh process.
    constexpr unsigned kCloseOnExec = 1U << 2U;
    syscall(SYS_close_range, 3U, ~0U, kCloseOnExec);
    execv("/proc/self/exe", pointers.data());
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

Lifeline::Lifeline(std::vector<std::string> restartArguments, std::function<void()> onEnd)
    : restartArguments_(std::move(restartArguments)),
      onEnd_(std::move(onEnd)),
      thread_([](const std::string& what) { std::cerr << what + "\n"; }, "lifeline") {
    thread_.loop().onSignals({SIGTERM, SIGINT, SIGHUP}, [this] { end({}); });
}

void Lifeline::watch(pid_t office, std::function<bool()> isAtWork) {
    thread_.loop().async([this, office, isAtWork = std::move(isAtWork)] {
        isAtWork_ = isAtWork;
        if (office <= 0) return;
        const auto process = static_cast<int>(syscall(SYS_pidfd_open, office, 0));
        // The office may have ended before we could watch it.
        if (process < 0 && errno == ESRCH) return officeHasGone();
        office_ = runtime::FileDescriptor(process);
        if (office_) watch_ = thread_.loop().watch(process, [this] { officeHasGone(); });
    });
}

void Lifeline::restart() {
    thread_.loop().async([this] { officeHasGone(); });
}

void Lifeline::officeHasGone() {
    watch_.reset();
    // The process and the connection both tell of the same end.
    if (looks_) return;
    deadline_ = Instant::clock::now() + kLongestWork;
    looks_ = thread_.loop().makeTimer({{}, kBetweenLooks, {}}, [this] { endUnlessAtWork(); });
}

void Lifeline::endUnlessAtWork() {
    if (isAtWork_ && isAtWork_()) {
        if (Instant::clock::now() < deadline_) return;
        std::cerr << "LibreOffice has gone, and what was left could not be done in time." << std::endl;
    }
    end(restartArguments_);
}

void Lifeline::end(const std::vector<std::string>& successor) {
    // Nobody would ever finish those.
    PendingFile::abandon();
    onEnd_();
    if (successor.empty()) std::_Exit(EXIT_SUCCESS);
    replaceProcess(successor);
}

}  // namespace impress
