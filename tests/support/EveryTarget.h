/// Runs every claim of a fixture once for each instruction set that the loops are compiled for and
/// this processor has, not only for the best of them:
///
///     class KernelsTest : public EveryTarget {};
///     INSTANTIATE_TEST_SUITE_P(Targets, KernelsTest, targetsHere(), targetName);
///     TEST_P(KernelsTest, …)
///
/// Threads: one test at a time; the choice holds for the whole process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hwy/targets.h>

namespace quarrydex::testing {

class EveryTarget : public ::testing::TestWithParam<std::int64_t> {
  protected:
    void SetUp() override { useOnly(GetParam()); }

    void TearDown() override { useOnly(0); }

  private:
    /// 0 gives the choice back.
    static void useOnly(std::int64_t targets) {
        hwy::SetSupportedTargetsForTest(targets);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
};

inline auto targetsHere() {
    std::vector<std::int64_t> targets;
    for (std::int64_t left = hwy::SupportedTargets() & HWY_TARGETS; left != 0; left &= left - 1)
        targets.push_back(left & -left);
    return ::testing::ValuesIn(targets);
}

inline std::string targetName(const ::testing::TestParamInfo<std::int64_t>& target) {
    return hwy::TargetName(target.param);
}

} // namespace quarrydex::testing
