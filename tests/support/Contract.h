#pragma once

#include <gtest/gtest.h>
#include <array>
#include <cstddef>
#include <memory>
#include <string>

/// A suite of tests that both the adapter of this system and the simulated one have to pass, and others of this system
/// where there are some, each through a harness of its own. To be instantiated with `INSTANTIATE_CONTRACT`.
template <class Harness, class Real, class Simulated, class... Others>
class Contract : public testing::TestWithParam<std::size_t> {
public:
    static constexpr std::size_t kAdapters = 2 + sizeof...(Others);

protected:
    const std::unique_ptr<Harness> harness = std::array{make<Real>, make<Simulated>, make<Others>...}.at(GetParam())();

private:
    template <class Adapter>
    static std::unique_ptr<Harness> make() {
        return std::make_unique<Adapter>();
    }
};

inline std::string nameOfAdapter(const testing::TestParamInfo<std::size_t>& adapter) {
    return std::array{"Real", "Simulated", "Other"}.at(adapter.param);
}

#define INSTANTIATE_CONTRACT(suite) \
    INSTANTIATE_TEST_SUITE_P(Platform, suite, testing::Range(std::size_t{0}, suite::kAdapters), nameOfAdapter)
