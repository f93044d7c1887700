#include "platform/linux/display/X11Watch.h"

#include "platform/linux/display/X11Display.h"
#include "runtime/BlockSignals.h"

#include <sys/socket.h>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>

namespace display {

namespace {

/// Between two looks at a display that changes all the time.
constexpr std::chrono::milliseconds kPause{50};

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

}  // namespace

/// Shared by the watch and its thread, which may outlive it: connecting waits for the display without a limit, and no
/// other thread has the descriptor yet that would end that wait. Such a thread is not joined. It touches nothing but
/// this object, and drops the connection when it gets it after all.
class X11Watch::State {
public:
    /// The thread.
    void run() {
        runtime::blockSignals();
        int screenNumber = 0;
        const Connection connection(xcb_connect(nullptr, &screenNumber));
        if (begin(xcb_get_file_descriptor(connection.get()))) {
            try {
                look(X11Display(connection.get(), screenNumber));
            } catch (const std::exception&) {  // no memory: tried again like a display that has gone
            }
        }
        end();  // from here on nobody uses the descriptor
    }

    /// Makes the thread end. False when it may wait for the display all the same.
    [[nodiscard]] bool close() {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        changed_.notify_all();
        if (descriptor_ >= 0) ::shutdown(descriptor_, SHUT_RDWR);  // every wait for an answer ends with an error
        return !seen_.isConnecting;
    }

    void waitForFirstLook(std::chrono::milliseconds limit) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, limit, [this] { return seen_.desktop || seen_.hasEnded; });
    }
    [[nodiscard]] X11Seen seen() {
        const std::lock_guard lock(mutex_);
        return seen_;
    }

private:
    /// False when the display is not wanted any more.
    [[nodiscard]] bool begin(int descriptor) {
        const std::lock_guard lock(mutex_);
        descriptor_ = descriptor;
        seen_.isConnecting = descriptor < 0;
        return !closed_;
    }

    void look(X11Display display) {
        for (;;) {
            auto desktop = std::make_shared<const X11Desktop>(X11Desktop{display.windows(), display.screens()});
            if (display.isBroken()) return;
            tell(std::move(desktop));
            display.waitForChange();
        }
    }

    /// Tells what was seen, and pauses.
    void tell(std::shared_ptr<const X11Desktop> desktop) {
        std::unique_lock lock(mutex_);
        seen_.desktop.swap(desktop);
        changed_.notify_all();
        // On the condition, so that a close need not wait for the end of the pause.
        changed_.wait_for(lock, kPause, [this] { return closed_; });
    }

    void end() {
        const std::lock_guard lock(mutex_);
        descriptor_ = -1;
        // What a display showed that has gone is not shown any more.
        seen_ = {.desktop = nullptr, .isConnecting = false, .hasEnded = true};
        changed_.notify_all();
    }

    std::mutex mutex_;  ///< guards what follows
    std::condition_variable changed_;
    X11Seen seen_;
    int descriptor_ = -1;
    bool closed_ = false;
};

X11Watch::X11Watch(std::chrono::milliseconds firstLook)
    : state_(std::make_shared<State>()), thread_([state = state_] { state->run(); }) {
    state_->waitForFirstLook(firstLook);
}

X11Watch::~X11Watch() {
    if (state_->close()) {
        thread_.join();
    } else {
        // Joining would hang as the display does.
        thread_.detach();
    }
}

X11Seen X11Watch::seen() const {
    return state_->seen();
}

}  // namespace display
