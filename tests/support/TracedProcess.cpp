#include "tests/support/TracedProcess.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <utility>

namespace {

namespace fs = std::filesystem;

constexpr int kRefused = 98;
constexpr int kThrown = 99;

/// Which arguments of a call name files: by a descriptor, or by a path behind the descriptor that it is relative to.
struct KnownCall {
    std::uint64_t number;
    const char* name;
    enum { descriptor, path, pathOfDirectory, twoPaths, twoPathsOfDirectories } names;
    std::size_t at = 0;  ///< the first of these arguments
};

constexpr std::array kCalls{
    KnownCall{SYS_openat, "open", KnownCall::pathOfDirectory},
    KnownCall{SYS_write, "write", KnownCall::descriptor},
    KnownCall{SYS_writev, "write", KnownCall::descriptor},
    KnownCall{SYS_pwrite64, "write", KnownCall::descriptor},
    KnownCall{SYS_sendfile, "write", KnownCall::descriptor},
    KnownCall{SYS_copy_file_range, "write", KnownCall::descriptor, 2},
    KnownCall{SYS_ftruncate, "truncate", KnownCall::descriptor},
    KnownCall{SYS_fsync, "sync", KnownCall::descriptor},
    KnownCall{SYS_fdatasync, "sync", KnownCall::descriptor},
    KnownCall{SYS_close, "close", KnownCall::descriptor},
    KnownCall{SYS_mkdirat, "mkdir", KnownCall::pathOfDirectory},
    KnownCall{SYS_unlinkat, "unlink", KnownCall::pathOfDirectory},
    KnownCall{SYS_linkat, "link", KnownCall::twoPathsOfDirectories},
    KnownCall{SYS_renameat2, "rename", KnownCall::twoPathsOfDirectories},
#ifdef SYS_open  // younger machines have only those that begin at a directory
    KnownCall{SYS_open, "open", KnownCall::path},
    KnownCall{SYS_mkdir, "mkdir", KnownCall::path},
    KnownCall{SYS_unlink, "unlink", KnownCall::path},
    KnownCall{SYS_link, "link", KnownCall::twoPaths},
    KnownCall{SYS_rename, "rename", KnownCall::twoPaths},
    KnownCall{SYS_renameat, "rename", KnownCall::twoPathsOfDirectories},
#endif
};

fs::path linkOf(pid_t process, const std::string& name) {
    std::error_code failure;
    return fs::read_symlink(fs::path("/proc") / std::to_string(process) / name, failure);
}

fs::path fileOf(pid_t process, std::uint64_t descriptor) {
    return linkOf(process, "fd/" + std::to_string(static_cast<int>(descriptor)));
}

/// The path at that address of the process; relative to the working directory or to an open one.
fs::path pathAt(pid_t process, std::uint64_t address, std::uint64_t directory) {
    std::array<char, 4096> text{};
    const int memory = ::open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    static_cast<void>(::pread(memory, text.data(), text.size() - 1, static_cast<off_t>(address)));
    ::close(memory);
    const bool isOfWorkingDirectory = static_cast<int>(directory) == AT_FDCWD;
    return (isOfWorkingDirectory ? linkOf(process, "cwd") : fileOf(process, directory)) / text.data();
}

bool isThere(const fs::path& path) {
    std::error_code failure;
    return fs::exists(fs::symlink_status(path, failure));
}

/// The call that a process is about to make; nothing when it is about no file.
std::optional<FileCall> described(pid_t process, const __ptrace_syscall_info& info) {
    const auto known = std::ranges::find(kCalls, info.entry.nr, &KnownCall::number);
    if (known == kCalls.end()) return std::nullopt;
    const auto* const arguments = info.entry.args + known->at;
    const auto here = static_cast<std::uint64_t>(AT_FDCWD);
    FileCall call{known->name, {}, {}};
    switch (known->names) {
        case KnownCall::descriptor:
            call.path = fileOf(process, arguments[0]);
            break;
        case KnownCall::path:
            call.path = pathAt(process, arguments[0], here);
            break;
        case KnownCall::pathOfDirectory:
            call.path = pathAt(process, arguments[1], arguments[0]);
            break;
        case KnownCall::twoPaths:
            call.path = pathAt(process, arguments[0], here);
            call.to = pathAt(process, arguments[1], here);
            break;
        case KnownCall::twoPathsOfDirectories:
            call.path = pathAt(process, arguments[1], arguments[0]);
            call.to = pathAt(process, arguments[3], arguments[2]);
            break;
    }
    call.made = !isThere(call.path);
    if (call.name == "close") call.mayChange = false;
    if (call.name == "open") {
        const auto flags = arguments[known->names == KnownCall::path ? 1 : 2];
        call.mayChange = (flags & (O_CREAT | O_TRUNC)) != 0;
    }
    return call;
}

/// In the child. Nothing of the test itself may run there to its end.
[[noreturn]] void become(const std::function<void()>& work) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(kRefused);
    ::raise(SIGSTOP);
    try {
        work();
    } catch (...) {
        ::_exit(kThrown);
    }
    ::_exit(0);
}

[[noreturn]] void refuse() {
    throw TracingRefused(std::string("no process may be traced here: ") + std::strerror(errno));
}

class Tracer {
public:
    explicit Tracer(const std::function<void()>& work) : process_(::fork()) {
        if (process_ == 0) become(work);
        int status = 0;
        if (::waitpid(process_, &status, 0) != process_ || !WIFSTOPPED(status)) {
            errno = EPERM;
            refuse();
        }
        // Should the test end first, so does what it traces.
        constexpr long kOptions = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC;
        if (::ptrace(PTRACE_SETOPTIONS, process_, nullptr, kOptions) != 0) refuse();
        goOn(process_, 0);
    }
    ~Tracer() {
        ::kill(process_, SIGKILL);
        while (::waitpid(-1, nullptr, __WALL) > 0) {
        }
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;

    /// The next call that has been done; nothing when the process has ended.
    std::optional<FileCall> next() {
        for (;;) {
            int status = 0;
            const pid_t thread = ::waitpid(-1, &status, __WALL);
            if (thread < 0) return std::nullopt;
            if (!WIFSTOPPED(status)) {
                if (thread == process_) status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                continue;
            }
            const bool isCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
            auto call = isCall ? take(thread) : std::nullopt;
            stopped_ = thread;
            if (call) return call;
            // A new thread begins with a stop, a new program with a trap; neither is for the process.
            const bool isOurs = isCall || WSTOPSIG(status) == SIGTRAP || WSTOPSIG(status) == SIGSTOP;
            goOn(thread, isOurs ? 0 : WSTOPSIG(status));
        }
    }
    void goOn() { goOn(stopped_, 0); }
    [[nodiscard]] int status() const { return status_; }

private:
    static void goOn(pid_t thread, int signal) { ::ptrace(PTRACE_SYSCALL, thread, nullptr, static_cast<long>(signal)); }

    /// Remembers a call that begins; answers one that has ended.
    std::optional<FileCall> take(pid_t thread) {
        __ptrace_syscall_info info{};
        if (::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) <= 0) refuse();
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) begun_[thread] = described(thread, info);
        if (info.op != PTRACE_SYSCALL_INFO_EXIT) return std::nullopt;
        auto call = std::exchange(begun_[thread], std::nullopt);
        if (!call) return std::nullopt;
        call->result = info.exit.rval;
        call->made = call->made && isThere(call->path);
        return call;
    }

    const pid_t process_;
    pid_t stopped_ = 0;
    int status_ = 0;
    std::map<pid_t, std::optional<FileCall>> begun_;  ///< by thread
};

}  // namespace

std::optional<int> trace(const std::function<void()>& work, const std::vector<fs::path>& directories,
                         const std::function<bool(const FileCall&)>& goesOn) {
    const auto isBelow = [&](const fs::path& path) {
        return std::ranges::any_of(directories,
                                   [&](const fs::path& root) { return path.native().starts_with(root.native()); });
    };
    Tracer tracer(work);
    while (const auto call = tracer.next()) {
        if ((isBelow(call->path) || isBelow(call->to)) && !goesOn(*call)) return std::nullopt;
        tracer.goOn();
    }
    return tracer.status();
}
