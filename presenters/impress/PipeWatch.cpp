#include "presenters/impress/PipeWatch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace impress {
namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

PipeWatch::PipeWatch(const std::string& pipe) : ending_("_" + pipe), events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    // The office takes the first that is there and may be written. Without any, all that happens is that it is found
    // when `wait` has lost its patience.
    for (const char* folder : {static_cast<const char*>(std::getenv("OSL_SOCKET_PATH")), "/tmp", "/var/tmp"}) {
        if (folder != nullptr) inotify_add_watch(events_.get(), folder, IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
    }
}

bool PipeWatch::wait(std::chrono::milliseconds patience) {
    const auto deadline = Clock::now() + patience;
    for (auto left = patience; left.count() > 0;
         left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now())) {
        pollfd events{events_.get(), POLLIN, 0};
        if (poll(&events, 1, static_cast<int>(left.count())) > 0 && readNames()) return true;
    }
    return false;
}

bool PipeWatch::readNames() const {
    alignas(inotify_event) std::array<char, 4096> buffer{};
    const auto size = read(events_.get(), buffer.data(), buffer.size());
    for (const char* at = buffer.data(); at < buffer.data() + size;) {
        inotify_event event{};
        std::memcpy(&event, at, sizeof event);
        // Events that were lost may have been of the pipe.
        if ((event.mask & IN_Q_OVERFLOW) != 0) return true;
        const std::string_view name(at + sizeof event, strnlen(at + sizeof event, event.len));
        if (name.starts_with("OSL_PIPE_") && name.ends_with(ending_)) return true;
        at += sizeof event + event.len;
    }
    return false;
}

}  // namespace impress
