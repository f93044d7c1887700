#pragma once

#include "tests/host/FakeService.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TestHome.h"

#include <gtest/gtest.h>

/// The tool under test on a bus of its own.
class ToolTest : public testing::Test {
protected:
    [[nodiscard]] static std::vector<std::string> tool(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), KEYNOTE_CAPTURE);
        return arguments;
    }
    [[nodiscard]] static bus::ErrorStruct errorStruct(std::int32_t code, const std::string& description = {}) {
        return bus::structFrom(makeError("KeynoteCaptureServiceErrorDomain", code, description));
    }
    [[nodiscard]] static bus::ErrorStruct noError() { return bus::structFrom(nullptr); }

    TestHome directory_;
    PrivateBus bus_;
};
