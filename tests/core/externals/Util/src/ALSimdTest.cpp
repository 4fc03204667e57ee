// SPDX-License-Identifier: Apache-2.0
//
// The shared vector arithmetic equals its plain statement bit for bit, on every target.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "ALSimdProbe.h"
#include "ALSimdRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::Random;
using testing_support::sameFloats;

class AlSimd : public testing_support::OnEveryTarget {
 protected:
    using Array = void (*)(const float*, float*, size_t);
    using Scalar = float (*)(float);

    static void expectEqual(Array actual, Scalar expected, const std::vector<float>& inputs) {
        std::vector<float> results(inputs.size());
        std::vector<float> reference(inputs.size());
        actual(inputs.data(), results.data(), inputs.size());
        for (size_t i = 0; i < inputs.size(); ++i) {
            reference[i] = expected(inputs[i]);
        }
        for (size_t i = 0; i < inputs.size(); ++i) {
            ASSERT_TRUE(testing_support::sameFloat(results[i], reference[i]))
                << "f(" << inputs[i] << ") = " << results[i] << ", expected " << reference[i];
        }
    }
};
INSTANTIATE_ON_EVERY_TARGET(AlSimd);

std::vector<float> anyFloats(Random& random, size_t count) {
    std::vector<float> values(count);
    for (float& v : values) {
        v = random.anyFloat();
    }
    return values;
}

std::vector<float> floatsIn(Random& random, float first, float last, size_t count) {
    std::vector<float> values(count);
    for (float& v : values) {
        v = random.real(first, last);
    }
    return values;
}

/** One value at every step of the estimates' tables and at both edges of the step, over several exponents. */
std::vector<float> allMantissaSteps() {
    std::vector<float> values;
    for (const uint32_t exponent : {1U, 2U, 63U, 64U, 126U, 127U, 128U, 129U, 251U, 252U}) {
        for (uint32_t step = 0; step < 256; ++step) {
            const uint32_t first = exponent << 23 | step << 15;
            values.push_back(std::bit_cast<float>(first));
            values.push_back(std::bit_cast<float>(first | 0x4321U));
            values.push_back(std::bit_cast<float>(first | 0x7FFFU));
        }
    }
    return values;
}

TEST_P(AlSimd, EachTargetIsDispatchedTo) {
    EXPECT_EQ(probe::target(), GetParam());
}

#if defined(__x86_64__)
TEST(Targets, EveryVectorTargetOfThisMachineIsTested) {
    const std::vector<int64_t> targets = testing_support::runnableTargets();
    const auto isTested = [&targets](int64_t target) {
        return std::find(targets.begin(), targets.end(), target) != targets.end();
    };
    EXPECT_TRUE(isTested(HWY_SSE4));
    EXPECT_EQ(isTested(HWY_AVX2), __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"));
    EXPECT_EQ(isTested(HWY_AVX3), __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw") &&
                                      __builtin_cpu_supports("avx512dq"));
}
#elif defined(__arm__) || defined(__aarch64__)
TEST(Targets, TheVectorTargetOfArmIsTested) {
    const std::vector<int64_t> targets = testing_support::runnableTargets();
    EXPECT_NE(std::find(targets.begin(), targets.end(), HWY_NEON), targets.end());
}
#endif

TEST_P(AlSimd, SelectionsGiveTheSecondOperandWhereEitherIsNaN) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> a = {kNaN, 1.0F, kNaN, 1.0F, 2.0F, 0.0F, -0.0F};
    const std::vector<float> b = {1.0F, kNaN, kNaN, 2.0F, 1.0F, -0.0F, 0.0F};
    const std::vector<float> larger = {1.0F, kNaN, kNaN, 2.0F, 2.0F, -0.0F, 0.0F};
    const std::vector<float> smaller = {1.0F, kNaN, kNaN, 1.0F, 1.0F, -0.0F, 0.0F};
    std::vector<float> results(a.size());
    probe::selectMax(a.data(), b.data(), results.data(), a.size());
    EXPECT_TRUE(sameFloats(results.data(), larger.data(), results.size()));
    probe::selectMin(a.data(), b.data(), results.data(), a.size());
    EXPECT_TRUE(sameFloats(results.data(), smaller.data(), results.size()));
}

TEST_P(AlSimd, TruncationSaturatesAndGivesZeroForNaN) {
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> inputs = {
        0.0F,          -0.0F,         0.99F,      -0.99F,         -1.0F,
        2147483520.0F, 2147483648.0F, 3e9F,       -2147483648.0F, -3e9F,
        infinity,      -infinity,     8388609.0F, -16777217.0F,   std::numeric_limits<float>::quiet_NaN()};
    const std::vector<float> expected = {0.0F,           0.0F,           0.0F,          0.0F,
                                         -1.0F,          2147483520.0F,  2147483648.0F, 2147483648.0F,
                                         -2147483648.0F, -2147483648.0F, 2147483648.0F, -2147483648.0F,
                                         8388609.0F,     -16777217.0F,   0.0F};
    std::vector<float> results(inputs.size());
    probe::truncateThroughInt32(inputs.data(), results.data(), inputs.size());
    EXPECT_TRUE(sameFloats(results.data(), expected.data(), expected.size()));
}

TEST_P(AlSimd, TruncationEqualsTheRuleForAnyFloat) {
    Random random(11);
    SCOPED_TRACE(random.seedText());
    expectEqual(probe::truncateThroughInt32, rule::truncateThroughInt32, anyFloats(random, 20000));
}

TEST_P(AlSimd, FloorEqualsTheRuleForAnyFloat) {
    Random random(12);
    SCOPED_TRACE(random.seedText());
    std::vector<float> inputs = anyFloats(random, 20000);
    std::erase_if(inputs, [](float v) { return std::isnan(v); });
    expectEqual(probe::floorThroughInt32, rule::floorThroughInt32, inputs);
    expectEqual(probe::floorThroughInt32, rule::floorThroughInt32, floatsIn(random, -8.0F, 8.0F, 20000));
}

TEST_P(AlSimd, ReciprocalEstimateEqualsTheRuleAtEveryStep) {
    expectEqual(probe::reciprocalEstimate, rule::reciprocalEstimate, allMantissaSteps());
}

TEST_P(AlSimd, ReciprocalEstimateIsInfiniteForZeroAndZeroForTheLargest) {
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> inputs = {0.0F,     -0.0F,     0x1p126F,       -0x1p127F,
                                       infinity, -infinity, 0x1.FFFFFEp125F};
    // The largest operand with an estimate: mantissa step 511, estimate 256 / 256 at 2^-126.
    const std::vector<float> expected = {infinity, -infinity, 0.0F, -0.0F, 0.0F, -0.0F, 0x1p-126F};
    std::vector<float> results(inputs.size());
    probe::reciprocalEstimate(inputs.data(), results.data(), inputs.size());
    EXPECT_TRUE(sameFloats(results.data(), expected.data(), expected.size()));
}

TEST_P(AlSimd, ReciprocalSquareRootEstimateEqualsTheRuleAtEveryStep) {
    expectEqual(probe::reciprocalSquareRootEstimate, rule::reciprocalSquareRootEstimate, allMantissaSteps());
}

TEST_P(AlSimd, ReciprocalEqualsTheRule) {
    Random random(13);
    SCOPED_TRACE(random.seedText());
    expectEqual(probe::reciprocal, rule::reciprocal, floatsIn(random, 1e-3F, 9000.0F, 20000));
    expectEqual(probe::reciprocal, rule::reciprocal, anyFloats(random, 20000));
}

TEST_P(AlSimd, TwoRefinementStepsReachTheLastBitsOfTheReciprocal) {
    // The estimate is good to 2^-9; each step squares the relative error, so two steps leave rounding alone.
    Random random(14);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> inputs = floatsIn(random, 1.0F, 4096.0F, 20000);
    std::vector<float> results(inputs.size());
    probe::reciprocal(inputs.data(), results.data(), inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i) {
        ASSERT_NEAR(static_cast<double>(results[i]) * static_cast<double>(inputs[i]), 1.0, 3e-7);
    }
}

TEST_P(AlSimd, SquareRootEqualsTheRule) {
    Random random(15);
    SCOPED_TRACE(random.seedText());
    expectEqual(probe::squareRoot, rule::squareRoot, floatsIn(random, 0.0F, 4e7F, 20000));
    expectEqual(probe::squareRoot, rule::squareRoot, anyFloats(random, 20000));
}

TEST_P(AlSimd, SquareRootOfZeroIsZero) {
    const std::vector<float> inputs = {0.0F, -0.0F};
    const std::vector<float> expected = {0.0F, 0.0F};
    std::vector<float> results(2);
    probe::squareRoot(inputs.data(), results.data(), 2);
    EXPECT_TRUE(sameFloats(results.data(), expected.data(), 2));
}

TEST_P(AlSimd, SineEqualsTheRule) {
    Random random(16);
    SCOPED_TRACE(random.seedText());
    expectEqual(probe::sine, rule::sine, floatsIn(random, -60.0F, 60.0F, 50000));
    expectEqual(probe::sine, rule::sine, anyFloats(random, 20000));
}

TEST_P(AlSimd, SineIsGoodToAFewMillionths) {
    // Folding loses |x| 2^-24; five terms of the series are good to 3.6e-6 at the ends of the quarter period.
    Random random(17);
    SCOPED_TRACE(random.seedText());
    const std::vector<float> inputs = floatsIn(random, -30.0F, 30.0F, 50000);
    std::vector<float> results(inputs.size());
    probe::sine(inputs.data(), results.data(), inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i) {
        ASSERT_NEAR(results[i], std::sin(static_cast<double>(inputs[i])), 1e-5) << "sin(" << inputs[i] << ")";
    }
}

TEST_P(AlSimd, Atan2EqualsTheRule) {
    Random random(18);
    SCOPED_TRACE(random.seedText());
    for (const bool any : {false, true}) {
        const std::vector<float> y =
            any ? anyFloats(random, 20000) : floatsIn(random, -8190.0F, 8190.0F, 50000);
        const std::vector<float> x =
            any ? anyFloats(random, 20000) : floatsIn(random, -8190.0F, 8190.0F, 50000);
        std::vector<float> results(x.size());
        std::vector<float> expected(x.size());
        probe::atan2(y.data(), x.data(), results.data(), x.size());
        for (size_t i = 0; i < x.size(); ++i) {
            expected[i] = rule::atan2(y[i], x[i]);
            ASSERT_TRUE(testing_support::sameFloat(results[i], expected[i]))
                << "atan2(" << y[i] << ", " << x[i] << ") = " << results[i] << ", expected " << expected[i];
        }
    }
}

TEST_P(AlSimd, Atan2OfTheAxes) {
    // Half a turn wraps to its negative end: the range is -pi up to below pi.
    const std::vector<float> y = {0.0F, 0.0F, 1.0F, -1.0F, 0.0F, -0.0F};
    const std::vector<float> x = {0.0F, 1.0F, 0.0F, 0.0F, -1.0F, -1.0F};
    const std::vector<float> expected = {0.0F, 0.0F, 1.5707964F, -1.5707964F, -3.1415927F, -3.1415927F};
    std::vector<float> results(x.size());
    probe::atan2(y.data(), x.data(), results.data(), x.size());
    EXPECT_TRUE(sameFloats(results.data(), expected.data(), expected.size()));
}

TEST_P(AlSimd, ModNEqualsTheRule) {
    Random random(19);
    SCOPED_TRACE(random.seedText());
    const float n = 2.4975386F;
    for (const std::vector<float>& inputs :
         {floatsIn(random, -30.0F, 30.0F, 50000), anyFloats(random, 20000)}) {
        std::vector<float> results(inputs.size());
        probe::modN(inputs.data(), n, 1.0F / n, results.data(), inputs.size());
        for (size_t i = 0; i < inputs.size(); ++i) {
            ASSERT_TRUE(testing_support::sameFloat(results[i], rule::modN(inputs[i], n, 1.0F / n)))
                << inputs[i] << " mod " << n << " = " << results[i];
        }
    }
}

TEST_P(AlSimd, ModNOfANegativeValueWithinOnePeriodIsTheValue) {
    const std::vector<float> inputs = {-0.5F, -1.9F};
    std::vector<float> results(2);
    probe::modN(inputs.data(), 2.0F, 0.5F, results.data(), 2);
    EXPECT_TRUE(sameFloats(results.data(), inputs.data(), 2));
}

}  // namespace
