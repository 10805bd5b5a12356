// Ways against the textbook: time, peak, and nothing beyond them at any moment.

#include "host/machine/MotionProfile.h"

#include <cmath>
#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(MotionProfile, TakesTheTimeThatAccelerationAndSpeedLeave)
{
    const struct {
        const char* what;
        double distance, speed, acceleration, duration, peak;
    } cases[] = {
        {"trapezium", 100, 50, 500, 2.1, 50}, // 2 * 0.1 s for 5 mm each, 90 mm at 50
        {"exactly up and down", 5, 50, 500, 0.2, 50},
        {"triangle", 1.25, 50, 500, 0.1, 25},
        {"one part in a million of a mm", 1e-6, 50, 1e4, 2e-5, 0.1},
        {"slow and long", 600, 0.5, 2000, 1200.00025, 0.5},
        {"nowhere", 0, 50, 500, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const CMotionProfile profile = CMotionProfile::Move(c.distance, c.speed, c.acceleration);
        EXPECT_NEAR(profile.GetDuration(), c.duration, 1e-9 + c.duration * 1e-9);
        EXPECT_NEAR(profile.GetPeakSpeed(), c.peak, 1e-9);
        constexpr int kSteps = 5000;
        CMotionProfile::T_POINT last = profile.At(0);
        EXPECT_EQ(last.position, 0);
        EXPECT_EQ(last.speed, 0);
        const double dt = profile.GetDuration() / kSteps;
        for (int i = 1; i <= kSteps; ++i) {
            const CMotionProfile::T_POINT point = profile.At(i * dt);
            ASSERT_GE(point.position, last.position - 1e-12) << i;
            ASSERT_LE(point.position, c.distance) << i;
            ASSERT_LE(point.speed, c.peak * (1 + 1e-12)) << i;
            ASSERT_LE(std::abs(point.speed - last.speed), c.acceleration * dt * (1 + 1e-6) + 1e-12) << i;
            // The position is the integral of the speed.
            ASSERT_NEAR(point.position - last.position, (point.speed + last.speed) / 2 * dt,
                        c.acceleration * dt * dt + 1e-12);
            last = point;
        }
        EXPECT_EQ(profile.At(profile.GetDuration() + 1).position, c.distance);
        EXPECT_EQ(profile.At(profile.GetDuration() + 1).speed, 0);
    }
}

TEST(MotionProfile, BrakesFromItsSpeedInTheShortestWay)
{
    const CMotionProfile brake = CMotionProfile::Brake(50, 500);
    EXPECT_DOUBLE_EQ(brake.GetDuration(), 0.1);
    EXPECT_DOUBLE_EQ(brake.GetDistance(), 2.5);
    EXPECT_DOUBLE_EQ(brake.At(0).speed, 50);
    EXPECT_NEAR(brake.At(0.05).position, 1.875, 1e-12);
    EXPECT_NEAR(brake.At(0.05).speed, 25, 1e-12);
    EXPECT_EQ(CMotionProfile::Brake(0, 500).GetDuration(), 0);
}

} // namespace
} // namespace alidade
