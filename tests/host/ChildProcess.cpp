#include "tests/host/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>

namespace {

constexpr auto kDeadline = std::chrono::seconds(15);

void waitForInput(int descriptor) {
    pollfd end{descriptor, POLLIN, 0};
    const auto wait = std::chrono::milliseconds(kDeadline).count();
    if (poll(&end, 1, static_cast<int>(wait)) <= 0) throw std::runtime_error("the program says nothing");
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> arguments, const std::string& directory) {
    std::array<int, 2> output{};
    std::array<int, 2> errors{};
    if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(errors.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (auto& each : arguments) argv.push_back(each.data());
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(output[1], STDOUT_FILENO);
        dup2(errors[1], STDERR_FILENO);
        if (chdir(directory.c_str()) == 0) execvp(argv[0], argv.data());
        _exit(127);
    }
    close(output[1]);
    close(errors[1]);
    output_.descriptor = output[0];
    errors_.descriptor = errors[0];
}

ChildProcess::~ChildProcess() {
    if (!status_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeOutput();
    close(errors_.descriptor);
}

void ChildProcess::send(int signal) const {
    kill(pid_, signal);
}

bool ChildProcess::Stream::read() {
    waitForInput(descriptor);
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count <= 0) return false;
    text.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

void ChildProcess::Stream::readAll() {
    while (descriptor >= 0 && read()) {
    }
}

std::optional<std::string> ChildProcess::readLine() {
    std::size_t end = 0;
    while ((end = output_.text.find('\n')) == std::string::npos) {
        if (!output_.read()) return std::nullopt;
    }
    std::string line = output_.text.substr(0, end);
    output_.text.erase(0, end + 1);
    return line;
}

void ChildProcess::waitForComplaint(const std::string& text) {
    while (errors_.text.find(text) == std::string::npos) {
        if (!errors_.read()) throw std::runtime_error("ended without complaint, but: " + errors_.text);
    }
}

void ChildProcess::closeOutput() {
    if (output_.descriptor >= 0) close(output_.descriptor);
    output_.descriptor = -1;
}

int ChildProcess::exitStatus() {
    if (status_) return *status_;
    const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    waitForInput(descriptor);
    close(descriptor);
    int status = 0;
    waitpid(pid_, &status, 0);
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return *status_;
}

std::string ChildProcess::restOfOutput() {
    output_.readAll();
    return output_.text;
}

std::string ChildProcess::complaints() {
    errors_.readAll();
    return errors_.text;
}
