#include "tests/support/ChildProcess.h"

#include "tests/support/Deadline.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace {

using Pipe = std::array<int, 2>;

Pipe openPipe() {
    Pipe ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    return ends;
}

void waitForInput(int descriptor, const std::string& what) {
    pollfd end{descriptor, POLLIN, 0};
    const auto wait = std::chrono::milliseconds(kDeadline).count();
    if (poll(&end, 1, static_cast<int>(wait)) <= 0) throw std::runtime_error("waited in vain for " + what);
}

void closeAndForget(int& descriptor) {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

/// In the child: never outlives the test, reads and writes the pipes, and becomes the program.
[[noreturn]] void become(char* const* command, const char* directory, const std::array<int, 3>& standard) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGPIPE, SIG_DFL);
    for (int i = 0; i < 3; ++i) dup2(standard[static_cast<std::size_t>(i)], i);
    if (chdir(directory) == 0) execvp(command[0], command);
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command, const std::string& directory) {
    std::signal(SIGPIPE, SIG_IGN);
    const Pipe input = openPipe();
    const Pipe output = openPipe();
    const Pipe errors = openPipe();
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (auto& word : command) words.push_back(word.data());
    words.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) become(words.data(), directory.c_str(), {input[0], output[1], errors[1]});
    for (const int theirs : {input[0], output[1], errors[1]}) close(theirs);
    input_ = input[1];
    output_.descriptor = output[0];
    errors_.descriptor = errors[0];
    if (pid_ < 0) throw std::runtime_error("no process");
    setpgid(pid_, pid_);  // whoever of the two comes first
}

ChildProcess::~ChildProcess() {
    if (!status_) {
        kill(-pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    for (int* const descriptor : {&input_, &output_.descriptor, &errors_.descriptor}) closeAndForget(*descriptor);
}

void ChildProcess::send(int signal) const {
    kill(pid_, signal);
}

void ChildProcess::writeLine(const std::string& line) const {
    const std::string text = line + '\n';
    if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("the process takes no more input");
    }
}

void ChildProcess::closeInput() {
    closeAndForget(input_);
}

void ChildProcess::play(const std::string& command) {
    writeLine(command);
    waitForLine("ok " + command);
}

bool ChildProcess::Stream::read() {
    waitForInput(descriptor, "a process to write, after: " + text);
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) return true;
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

std::string ChildProcess::waitForLine(const std::string& beginning) {
    while (auto line = readLine()) {
        if (line->starts_with(beginning)) return *std::move(line);
    }
    throw std::runtime_error("ended before it said: " + beginning);
}

void ChildProcess::waitForComplaint(const std::string& text) {
    while (errors_.text.find(text) == std::string::npos) {
        if (!errors_.read()) throw std::runtime_error("ended without that complaint, but: " + errors_.text);
    }
}

void ChildProcess::closeOutput() {
    closeAndForget(output_.descriptor);
}

int ChildProcess::exitStatus() {
    if (status_) return *status_;
    int descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    waitForInput(descriptor, "the end of a process");
    closeAndForget(descriptor);
    int status = 0;
    waitpid(pid_, &status, 0);
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return *status_;
}

std::string ChildProcess::restOfOutput() {
    output_.readAll();
    return output_.text;
}

const std::string& ChildProcess::complaintsUntilNow() {
    for (pollfd end{errors_.descriptor, POLLIN, 0}; poll(&end, 1, 0) > 0 && errors_.read();) {
    }
    return errors_.text;
}

std::string ChildProcess::complaints() {
    errors_.readAll();
    return errors_.text;
}
