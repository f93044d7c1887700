#pragma once

#include "presenters/simulator/Simulator.h"
#include "runtime/Loop.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// Reads scripts and hands their commands to the simulator.
class ScriptReader {
public:
    using BadLine = std::function<void(const std::string&)>;

    /// `onBadLine` is called with "file:line: what is wrong and what is allowed"; nothing is read after it.
    ScriptReader(Simulator& simulator, BadLine onBadLine);

    /// Hands over a whole script, or nothing of it when a line is bad.
    void read(const std::string& text, const std::string& name);
    /// Hands over each line as it arrives, until the end of the input. The reader must outlive the loop's run.
    void follow(runtime::Loop& loop, int descriptor);

private:
    void takeInput(int descriptor);
    void takeLines();
    [[nodiscard]] bool parse(std::string_view text, const std::string& name, std::vector<Simulator::Entry>& entries);
    void handOver(std::vector<Simulator::Entry>& entries);

    Simulator& simulator_;
    const BadLine onBadLine_;
    std::int64_t line_ = 0;
    std::string input_;  ///< what has arrived and is not handed over: at most the beginning of a line
    Handle watch_;
};

}  // namespace simulator
