// SPDX-License-Identifier: Apache-2.0
//
// Tests that hold on every vector target that this machine can run: one test instance per target, named after
// it.
#pragma once

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>
#include <string>
#include <vector>

namespace testing_support {

/** Dispatches all kernels to the target of its parameter while a test runs. */
class OnEveryTarget : public ::testing::TestWithParam<int64_t> {
 protected:
    OnEveryTarget() {
        hwy::SetSupportedTargetsForTest(GetParam());
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    ~OnEveryTarget() override {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().DeInit();
    }
};

/** If only one target is compiled, there is no table of targets, and the kernels are called directly. */
inline std::vector<int64_t> runnableTargets() {
    std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    if (targets.empty()) {
        targets.push_back(HWY_STATIC_TARGET);
    }
    return targets;
}

inline std::string targetName(const ::testing::TestParamInfo<int64_t>& info) {
    return hwy::TargetName(info.param);
}

}  // namespace testing_support

/** Instantiates a suite derived from OnEveryTarget. */
#define INSTANTIATE_ON_EVERY_TARGET(suite)                                                            \
    INSTANTIATE_TEST_SUITE_P(Targets, suite, ::testing::ValuesIn(testing_support::runnableTargets()), \
                             testing_support::targetName)
