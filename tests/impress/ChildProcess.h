#pragma once

#include <sys/types.h>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// A process that ends, with the processes it started, when this object goes.
class ChildProcess {
public:
    /// Starts the command with `environment` added; its output goes to the files LOG.out and LOG.err.
    ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                 const std::filesystem::path& log);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] bool hasEnded() const;
    /// What it wrote to standard output until now.
    [[nodiscard]] std::string output() const;
    /// The first line of its standard output; waits for it.
    [[nodiscard]] std::string firstLine() const;
    /// What it wrote to standard error until now.
    [[nodiscard]] std::string errors() const;

private:
    std::filesystem::path log_;
    pid_t process_;
};

/// Whether the condition comes true before the deadline.
[[nodiscard]] bool eventually(const std::function<bool()>& condition, double seconds = 20);
