#include "tools/keynote-capture/hook/Hook.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/Commands.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace keynote_capture {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto kBetweenLooks = 10ms;

/// A pipe into which one line fits whole.
class Input {
public:
    /// A longer line than the pipe takes is cut.
    explicit Input(std::string_view line) {
        std::array<int, 2> ends{-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) return;
        reader_ = ends[0];
        static_cast<void>(!write(ends[1], line.data(), line.size()));
        close(ends[1]);
        fcntl(reader_, F_SETFL, 0);
    }
    ~Input() {
        if (reader_ >= 0) close(reader_);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    [[nodiscard]] int reader() const { return reader_; }

private:
    int reader_ = -1;
};

/// With the line as its input, in a group of its own so that it can be ended with all that it has started, and with the
/// signals of a fresh program. 0 with `errno` set when it cannot be started.
pid_t spawn(const std::vector<std::string>& command, int input) {
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const auto& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawn_file_actions_t files{};
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    // Standard output has the events only.
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
    pid_t process = 0;
    const int problem = posix_spawnp(&process, words[0], &files, &attributes, words.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    errno = problem;
    return problem == 0 ? process : 0;
}

}  // namespace

Hook::Hook(std::vector<std::string> command) : command_(std::move(command)), thread_([this] { work(); }) {}

Hook::~Hook() {
    {
        const std::lock_guard lock(mutex_);
        endsAt_ = Clock::now() + kLongestEnd;
    }
    changed_.notify_one();
    thread_.join();
}

void Hook::tell(std::string line) {
    bool isFull = false;
    {
        const std::lock_guard lock(mutex_);
        isFull = lines_.size() >= kMostWaiting;
        if (!isFull) lines_.push_back(std::move(line));
    }
    changed_.notify_one();
    if (isFull) complainOnce(translated("The command for events is too slow; it does not get all of them."));
}

void Hook::work() {
    for (;;) {
        std::string line;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return endsAt_ || !lines_.empty(); });
            if (lines_.empty() || (endsAt_ && Clock::now() > *endsAt_)) return;
            line = std::move(lines_.front());
            lines_.pop_front();
        }
        run(line);
    }
}

void Hook::run(const std::string& line) {
    const Input input(line);
    const pid_t process = spawn(command_, input.reader());
    if (process == 0) {
        return complainOnce(translated("{} cannot be started ({}).", printableText(command_[0]), std::strerror(errno)));
    }
    if (!waitFor(process))
        complainOnce(translated("The command for events has failed, or was ended because it took too long."));
}

/// Whether the process has ended by itself, and well.
bool Hook::waitFor(pid_t process) {
    const auto longest = Clock::now() + kLongestRun;
    int status = 0;
    std::unique_lock lock(mutex_);
    for (;;) {
        const auto result = waitpid(process, &status, WNOHANG);
        if (result != 0) return result == process && WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
        if (Clock::now() > std::min(longest, endsAt_.value_or(longest))) break;
        changed_.wait_for(lock, kBetweenLooks);
    }
    kill(-process, SIGKILL);
    waitpid(process, nullptr, 0);
    return false;
}

void Hook::complainOnce(const std::string& sentence) {
    {
        const std::lock_guard lock(mutex_);
        if (!told_.insert(sentence).second) return;
    }
    complain(sentence);
}

}  // namespace keynote_capture
