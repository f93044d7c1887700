#include "runtime/LastResort.h"

#include <sys/time.h>
#include <unistd.h>
#include <atomic>
#include <csignal>
#include <string_view>

namespace runtime {
namespace {

std::atomic<int> exitStatus = 0;

void setTimer(std::chrono::milliseconds time) {
    itimerval timer{};
    // A timer of the system rather than a thread: no thread can be counted on any more.
    timer.it_value.tv_sec = time.count() / 1000;
    timer.it_value.tv_usec = time.count() % 1000 * 1000;
    ::setitimer(ITIMER_REAL, &timer, nullptr);
}

/// Does only what POSIX allows in a signal handler.
extern "C" void endNow(int) {
    constexpr std::string_view kSentence = "What still waits does not give up; the process ends without it.\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kSentence.data(), kSentence.size());
    ::_exit(exitStatus);
}

}  // namespace

LastResort::~LastResort() {
    setTimer(std::chrono::milliseconds::zero());
}

void LastResort::endProcessAfter(std::chrono::milliseconds time, int status) {
    exitStatus = status;
    // The status first, which the handler reads.
    std::signal(SIGALRM, endNow);
    setTimer(time);
}

}  // namespace runtime
