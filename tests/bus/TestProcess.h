#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <string>
#include <vector>

/// A child process whose first line, written to descriptor 3, says that it is ready. Ended with its owner.
class TestProcess {
public:
    explicit TestProcess(std::vector<std::string> command) {
        int ends[2];
        if (::pipe(ends) != 0) return;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::close(ends[0]);
            ::dup2(ends[1], 3);
            std::vector<char*> arguments;
            for (auto& argument : command) arguments.push_back(argument.data());
            arguments.push_back(nullptr);
            ::execvp(arguments[0], arguments.data());
            ::_exit(127);
        }
        ::close(ends[1]);
        readFrom_ = ends[0];
    }
    ~TestProcess() {
        end();
        ::close(readFrom_);
    }
    TestProcess(const TestProcess&) = delete;
    TestProcess& operator=(const TestProcess&) = delete;

    /// The first line; empty when the process ended without one.
    std::string readLine() const {
        std::string line;
        char c = 0;
        while (::read(readFrom_, &c, 1) == 1 && c != '\n') line += c;
        return line;
    }
    void end() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_ = -1;
    int readFrom_ = -1;
};
