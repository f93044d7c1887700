#include "tests/simulator/DrivenProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <stdexcept>

namespace {

constexpr int kDeadlineMilliseconds = 20'000;

void waitForInput(int descriptor, const std::string& what) {
    pollfd entry{descriptor, POLLIN, 0};
    if (poll(&entry, 1, kDeadlineMilliseconds) <= 0) throw std::runtime_error("in vain waited for " + what);
}

void closeAndForget(int& descriptor) {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

}  // namespace

DrivenProcess::DrivenProcess(std::vector<std::string> arguments) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    std::array<int, 2> errors{};
    for (auto* const ends : {&input, &output, &errors}) {
        if (pipe2(ends->data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(errors[1], STDERR_FILENO);
        execvp(argv.front(), argv.data());
        _exit(127);
    }
    close(input[0]);
    close(output[1]);
    close(errors[1]);
    input_ = input[1];
    output_ = output[0];
    errors_ = errors[0];
}

DrivenProcess::~DrivenProcess() {
    if (!status_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    for (int* const descriptor : {&input_, &output_, &errors_}) closeAndForget(*descriptor);
}

void DrivenProcess::play(const std::string& command) {
    send(command);
    waitForLine("ok " + command);
}

void DrivenProcess::send(const std::string& command) const {
    const std::string line = command + '\n';
    if (write(input_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::runtime_error("the process takes no more commands");
    }
}

void DrivenProcess::closeInput() {
    closeAndForget(input_);
}

std::string DrivenProcess::waitForLine(const std::string& beginning) {
    while (true) {
        const auto end = unread_.find('\n');
        if (end != std::string::npos) {
            std::string line = unread_.substr(0, end);
            unread_.erase(0, end + 1);
            if (line.starts_with(beginning)) return line;
            continue;
        }
        waitForInput(output_, beginning);
        std::array<char, 4096> buffer{};
        const ssize_t size = read(output_, buffer.data(), buffer.size());
        if (size <= 0) throw std::runtime_error("ended before it said: " + beginning);
        unread_.append(buffer.data(), static_cast<std::size_t>(size));
    }
}

int DrivenProcess::exitStatus() {
    if (status_) return *status_;
    const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    waitForInput(descriptor, "the end of the process");
    close(descriptor);
    int status = 0;
    waitpid(pid_, &status, 0);
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return *status_;
}

std::string DrivenProcess::complaints() {
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t size = 0; (size = read(errors_, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return text;
}
