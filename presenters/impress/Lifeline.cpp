#include "presenters/impress/Lifeline.h"

#include "presenters/impress/PendingFile.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>

namespace {

constexpr int kMillisecondsBetweenLooks = 20;

void observe(int events, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    epoll_ctl(events, EPOLL_CTL_ADD, descriptor, &event);
}

int takeSignals() {
    sigset_t set{};
    sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, signal);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC);
}

[[noreturn]] void replaceProcess(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    constexpr unsigned kCloseOnExec = 1U << 2U;
    syscall(SYS_close_range, 3U, ~0U, kCloseOnExec);
    execv("/proc/self/exe", pointers.data());
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

Lifeline::Lifeline(std::vector<std::string> restartArguments, std::function<void()> onEnd)
    : restartArguments_(std::move(restartArguments)),
      onEnd_(std::move(onEnd)),
      events_(epoll_create1(EPOLL_CLOEXEC)),
      restart_(eventfd(0, EFD_CLOEXEC)) {
    const int signals = takeSignals();
    observe(events_, signals);
    observe(events_, restart_);
    std::thread([this, signals] { run(signals); }).detach();
}

void Lifeline::watch(pid_t office, std::function<bool()> isAtWork) {
    {
        const std::lock_guard lock(mutex_);
        isAtWork_ = std::move(isAtWork);
    }
    if (office <= 0) return;
    const auto process = static_cast<int>(syscall(SYS_pidfd_open, office, 0));
    if (process >= 0) observe(events_, process);
    if (process < 0 && errno == ESRCH) restart();
}

void Lifeline::restart() const {
    eventfd_write(restart_, 1);
}

/// False when a signal came meanwhile.
bool Lifeline::finishWork(int signals) {
    const auto deadline = std::chrono::steady_clock::now() + kLongestWork;
    const std::lock_guard lock(mutex_);
    pollfd signal{signals, POLLIN, 0};
    while (isAtWork_ && isAtWork_()) {
        if (poll(&signal, 1, kMillisecondsBetweenLooks) > 0) return false;
        if (std::chrono::steady_clock::now() < deadline) continue;
        std::cerr << "LibreOffice has gone, and what was left could not be done in time." << std::endl;
        break;
    }
    return true;
}

void Lifeline::run(int signals) {
    epoll_event event{};
    while (epoll_wait(events_, &event, 1, -1) != 1) {
    }
    const bool told = event.data.fd == signals || !finishWork(signals);
    PendingFile::abandon();
    onEnd_();
    if (told || restartArguments_.empty()) std::_Exit(EXIT_SUCCESS);
    replaceProcess(restartArguments_);
}
