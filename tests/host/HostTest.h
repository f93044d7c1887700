#pragma once

#include "tests/host/FakeService.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TestHome.h"

#include <gtest/gtest.h>

/// A bus of its own for a host and the service that a test plays.
class HostTest : public testing::Test {
protected:
    [[nodiscard]] static bus::ErrorStruct errorStruct(std::int32_t code, const std::string& description = {}) {
        return bus::structFrom(makeError("KeynoteCaptureServiceErrorDomain", code, description));
    }
    [[nodiscard]] static bus::ErrorStruct noError() { return bus::structFrom(nullptr); }

    TestHome directory_;
    PrivateBus bus_;
};
