#include "tests/impress/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

std::string contents(const std::string& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const auto& text : texts) result.push_back(const_cast<char*>(text.c_str()));
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& added) {
    std::vector<std::string> result = added;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('=') + 1);
        bool replaced = false;
        for (const auto& other : added) replaced = replaced || other.starts_with(name);
        if (!replaced) result.push_back(text);
    }
    return result;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                           const std::filesystem::path& log)
    : log_(log) {
    const auto variables = environmentWith(environment);
    const auto arguments = pointers(command);
    const auto environmentPointers = pointers(variables);
    const int out = open((log.string() + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open((log.string() + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    process_ = fork();
    if (process_ == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        execve(arguments[0], arguments.data(), environmentPointers.data());
        _exit(127);
    }
    setpgid(process_, process_);
    close(out);
    close(err);
}

ChildProcess::~ChildProcess() {
    kill(-process_, SIGCONT);
    kill(-process_, SIGTERM);
    (void)eventually([this] { return hasEnded(); }, 5);
    kill(-process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

bool ChildProcess::hasEnded() const {
    siginfo_t information{};
    waitid(P_PID, static_cast<id_t>(process_), &information, WEXITED | WNOHANG | WNOWAIT);
    return information.si_pid == process_;
}

std::string ChildProcess::output() const {
    return contents(log_.string() + ".out");
}

std::string ChildProcess::errors() const {
    return contents(log_.string() + ".err");
}

std::string ChildProcess::firstLine() const {
    if (!eventually([this] { return output().find('\n') != std::string::npos; })) return {};
    const std::string text = output();
    return text.substr(0, text.find('\n'));
}

bool eventually(const std::function<bool()>& condition, double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}
