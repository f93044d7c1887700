#pragma once

#include "tests/support/TemporaryDirectory.h"

/// A home directory of the test's own, which is also the place of temporary files, in an environment without a display
/// that speaks English.
class TestHome {
public:
    TestHome();
    ~TestHome();
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return directory_.path; }

private:
    TemporaryDirectory directory_;
};
