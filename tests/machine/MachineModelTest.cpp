// What lies between command and position: lag, backlash, noise, settling, faults.

#include "ModelHarness.h"

#include <cmath>

namespace alidade {
namespace {

/// Readings and truths of a fixed course of commands.
std::vector<double> Course(const T_MACHINE_SETTINGS& settings)
{
    CModelUnderTest model(settings);
    std::vector<double> course;
    const auto run = [&](int steps) {
        for (int i = 0; i < steps; ++i) {
            model.Step();
            for (std::size_t axis = 0; axis < kMachineAxes; ++axis) {
                const T_AXIS_STATE state = model.GetAxis(MachineAxis(axis));
                course.push_back(state.position);
                course.push_back(state.truth);
            }
        }
    };
    model.Go({{{A::X, 12.3}, {A::Y, -7.7}}, 55});
    run(100);
    model.Go({{{A::X, 1}}});
    model.Go({{{A::Z, 0.5}}});
    model.Go({{{A::SLIT_X, 1000}, {A::SLIT_Y, -3000}}});
    run(900);
    return course;
}

TEST(MachineModel, SameSeedAndCommandsGiveTheSamePositionsToTheBit)
{
    T_MACHINE_SETTINGS settings;
    settings.dNoise = 0.001;
    settings.dLag = 7;
    settings.dBacklash = 0.004;
    const std::vector<double> first = Course(settings);
    EXPECT_EQ(first, Course(settings));
    settings.dSeed = 2;
    EXPECT_NE(first, Course(settings));
}

TEST(MachineModel, NoiseIsInTheReadingsAloneAndAsLargeAsAsked)
{
    T_MACHINE_SETTINGS settings;
    settings.dNoise = 0.002;
    CModelUnderTest model(settings);
    constexpr int kCount = 20000;
    double sum[3] = {}, square[3] = {}, crossXY = 0, crossLag = 0, lastX = 0;
    for (int i = 0; i < kCount; ++i) {
        model.Step();
        const double r[3] = {model.At(A::X), model.At(A::Y), model.At(A::Z)};
        for (int a = 0; a < 3; ++a) {
            sum[a] += r[a];
            square[a] += r[a] * r[a];
        }
        crossXY += r[0] * r[1];
        crossLag += r[0] * lastX;
        lastX = r[0];
        ASSERT_EQ(model.GetAxis(A::X).truth, 0);
        ASSERT_EQ(model.At(A::SLIT_X), 0);
    }
    for (int a = 0; a < 3; ++a) {
        EXPECT_NEAR(sum[a] / kCount, 0, 4 * 0.002 / std::sqrt(kCount));
        EXPECT_NEAR(std::sqrt(square[a] / kCount), 0.002, 0.002 * 0.03);
    }
    const double variance = 0.002 * 0.002;
    EXPECT_NEAR(crossXY / kCount / variance, 0, 0.03);  // axes do not know of each other
    EXPECT_NEAR(crossLag / kCount / variance, 0, 0.03); // nor cycles
}

TEST(MachineModel, BacklashIsLostOnTurningRoundAndTheEncoderDoesNotSeeIt)
{
    T_MACHINE_SETTINGS settings;
    settings.dBacklash = 0.01;
    CModelUnderTest model(settings);
    const struct {
        double target, truth;
    } course[] = {
        {1, 1},        // upwards: where the encoder says
        {0.5, 0.51},   // downwards: stays behind
        {0.4, 0.41},   // no further loss in the same direction
        {0.404, 0.41}, // within the lost motion: does not move at all
        {0.409, 0.41}, {0.42, 0.42}, {0.415, 0.42},
    };
    for (const auto& c : course) {
        model.RunOut(model.Go({{{A::Y, c.target}}}));
        EXPECT_EQ(model.GetAxis(A::Y).position, c.target);
        EXPECT_NEAR(model.GetAxis(A::Y).truth, c.truth, 1e-12) << "at " << c.target;
    }
}

TEST(MachineModel, AnAxisThatLagsStaysBehindBySpeedTimesTimeConstant)
{
    T_MACHINE_SETTINGS settings;
    settings.dLag = 10;
    settings.dSettleTime = 0;
    CModelUnderTest model(settings);
    CModelUnderTest ideal(T_MACHINE_SETTINGS{});
    const CMachineMove move = model.Go({{{A::X, 100}}});
    ideal.Go({{{A::X, 100}}});
    model.Steps(500);
    ideal.Steps(500);
    EXPECT_NEAR(ideal.At(A::X) - model.At(A::X), 100 * 0.010, 0.06); // 1 mm at 100 mm/s
    const int ms = 500 + model.RunOut(move);
    EXPECT_EQ(move->state, eMOVE_STATE::DONE);
    EXPECT_GT(ms, 1050);
    EXPECT_LT(ms, 1150);
    EXPECT_NEAR(model.At(A::X), 100, 0.005);
    model.Steps(200);
    EXPECT_EQ(model.At(A::X), 100); // in the end exactly
}

TEST(MachineModel, AMoveEndsWhenItHasBeenInPositionForTheSettlingTime)
{
    T_MACHINE_SETTINGS settings;
    settings.dSettleTime = 50;
    settings.dLag = 10;
    const auto duration = [&](double tolerance) {
        CModelUnderTest model(settings);
        return model.RunOut(model.Go({{{A::X, 10}, {A::Y, 10}}, 0, tolerance}));
    };
    const int wide = duration(0.1);
    const int usual = duration(0);
    const int narrow = duration(0.00001);
    // Each factor of 10 takes ln(10) time constants of 10 ms; two axes on the diagonal, the same for both.
    EXPECT_NEAR(usual - wide, 10 * std::log(0.1 / 0.005), 3);
    EXPECT_NEAR(narrow - usual, 10 * std::log(0.005 / 0.00001), 3);
    settings.dSettleTime = 0;
    EXPECT_NEAR(usual - duration(0), 50, 1);

    // Readings that jump about more than the tolerance never settle; that is said, not waited for.
    settings.dNoise = 0.1;
    settings.dSettleTime = 20;
    settings.dSettleLimit = 300;
    CModelUnderTest restless(settings);
    const CMachineMove move = restless.Go({{{A::X, 1}}});
    EXPECT_LT(restless.RunOut(move), 1000);
    EXPECT_EQ(move->state, eMOVE_STATE::FAILED);
    EXPECT_EQ(move->error.find(L"not in position within 300 ms: X reads "), 0u) << ToNarrow(move->error);
    EXPECT_FALSE(restless.IsMoving());
}

TEST(MachineModel, AStuckAxisFailsItsMoveAndDoesNotJumpWhenItComesLoose)
{
    CModelUnderTest model(T_MACHINE_SETTINGS{});
    model.RunOut(model.Go({{{A::X, 5}}}));
    const CMachineMove move = model.Go({{{A::X, 50}, {A::Y, 50}}});
    model.Steps(100);
    model.SetFault(A::X, eMACHINE_FAULT::STUCK);
    const double stuck = model.At(A::X);
    model.RunOut(move);
    EXPECT_EQ(move->state, eMOVE_STATE::FAILED);
    EXPECT_EQ(move->error.find(L"X does not follow"), 0u) << ToNarrow(move->error);
    model.Steps(1000);
    EXPECT_FALSE(model.IsMoving());
    EXPECT_FALSE(model.IsBraking(A::X));
    EXPECT_EQ(model.At(A::X), stuck);
    EXPECT_LT(model.At(A::Y), 49); // it braked with the other
    model.SetFault(A::X, eMACHINE_FAULT::NONE);
    model.Step();
    EXPECT_EQ(model.At(A::X), stuck);
    model.RunOut(model.Go({{{A::X, 7}}}));
    EXPECT_EQ(model.At(A::X), 7);

    // It comes loose while its command is still on the way.
    model.Go({{{A::X, 90}}});
    model.Steps(100);
    model.SetFault(A::X, eMACHINE_FAULT::STUCK);
    const double again = model.At(A::X);
    model.Steps(5);
    model.SetFault(A::X, eMACHINE_FAULT::NONE);
    model.Steps(100);
    EXPECT_EQ(model.At(A::X), again);
}

TEST(MachineModel, ALimitSwitchEndsAMoveAndRefusesOthersUntilItIsReleased)
{
    CModelUnderTest model(T_MACHINE_SETTINGS{});
    const CMachineMove move = model.Go({{{A::Z, 10}}});
    model.Steps(100);
    model.SetFault(A::Z, eMACHINE_FAULT::LIMIT);
    EXPECT_EQ(move->error.find(L"Z ran into its limit switch at "), 0u) << ToNarrow(move->error);
    EXPECT_EQ(model.Refusal({{{A::Z, 0}}}).find("Z is at its limit switch"), 0u);
    EXPECT_EQ(model.Refusal({{{A::X, 1}}}), "");
    model.SetFault(A::Z, eMACHINE_FAULT::NONE);
    model.RunOut(model.Go({{{A::Z, -1}}}));
    EXPECT_EQ(model.At(A::Z), -1);
}

} // namespace
} // namespace alidade
