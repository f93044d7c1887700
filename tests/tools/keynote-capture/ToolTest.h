#pragma once

#include "tests/host/HostTest.h"
#include "tests/support/ChildProcess.h"

/// The tool under test on a bus of its own.
class ToolTest : public HostTest {
protected:
    [[nodiscard]] static std::vector<std::string> tool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), KEYNOTE_CAPTURE);
        return arguments;
    }
};
