#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>

/// A suite of tests that both the adapter of this system and the simulated one have to pass, each through a harness of
/// its own. To be instantiated with `kAdapters`.
template <class Harness, class Real, class Simulated>
class Contract : public testing::TestWithParam<bool> {
protected:
    static std::unique_ptr<Harness> make() {
        if (GetParam()) return std::make_unique<Simulated>();
        return std::make_unique<Real>();
    }

    const std::unique_ptr<Harness> harness = make();
};

#define INSTANTIATE_CONTRACT(suite)                            \
    INSTANTIATE_TEST_SUITE_P(Platform, suite, testing::Bool(), \
                             [](const auto& parameter) { return parameter.param ? "Simulated" : "Real"; })
