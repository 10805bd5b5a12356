// How axes go: times, lines, speeds, limits, and what ends a move early.

#include "ModelHarness.h"

#include <cmath>

namespace alidade {
namespace {

T_MACHINE_SETTINGS Plain()
{
    T_MACHINE_SETTINGS settings;
    settings.dSettleTime = 0;
    return settings;
}

TEST(MachineMoves, ArriveInTheirTimeAndNeverBeyondTheTargetOrTheSpeed)
{
    const struct {
        const char* what;
        T_MOVE_REQUEST request;
        double ms;
        double peak; // along the line
    } cases[] = {
        {"X as set up", {{{A::X, 100}}}, 1050, 100},
        {"X at a speed", {{{A::X, -100}}, 50}, 2025, 50},
        {"Y by its own speed", {{{A::Y, 10, 200}}}, std::sqrt(10 / 2000.0) * 2000, 141.42136},
        {"Z has an acceleration of its own", {{{A::Z, 10}}}, 540, 20},
        // 3:4:5, so the line takes 2000 / 0.8 = 2500 mm/s^2.
        {"X and Y along a line", {{{A::X, 30}, {A::Y, -40}}, 100}, 540, 100},
        {"the slower of two own speeds decides", {{{A::X, 30, 30}, {A::Y, 40, 500}}}, 1020, 50},
        {"the line's speed and an axis's", {{{A::X, 30}, {A::Y, 40, 20}}, 100}, 2010, 25},
        {"a line that hardly moves Y", {{{A::X, 100}, {A::Y, 0}}}, 1050, 100},
        {"slit", {{{A::SLIT_X, 3000}, {A::SLIT_Y, 4000}}}, 330, 20000},
        {"slit angle", {{{A::SLIT_ANGLE, 90}}}, 1125, 90},
        {"where it stands", {{{A::X, 0}}}, 1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        CModelUnderTest model(Plain());
        const CMachineMove move = model.Go(c.request);
        double peak = 0;
        int ms = 0;
        while (move->state == eMOVE_STATE::RUNNING && ms < 10000) {
            model.Step();
            ++ms;
            double square = 0;
            double fraction = -1;
            for (const T_AXIS_TARGET& part : c.request.axes) {
                const T_AXIS_STATE axis = model.GetAxis(part.axis);
                ASSERT_LE(std::abs(axis.position), std::abs(part.target) * (1 + 1e-12)) << ms;
                ASSERT_EQ(axis.position, axis.truth);
                square += axis.speed * axis.speed;
                if (part.speed > 0) {
                    ASSERT_LE(std::abs(axis.speed), part.speed * (1 + 1e-9)) << ms;
                }
                // One line: all axes have made the same part of their way.
                if (part.target != 0) {
                    ASSERT_TRUE(fraction < 0 || std::abs(axis.position / part.target - fraction) < 1e-9)
                        << ms;
                    fraction = axis.position / part.target;
                }
            }
            peak = std::max(peak, std::sqrt(square));
        }
        EXPECT_EQ(move->state, eMOVE_STATE::DONE);
        EXPECT_NEAR(ms, std::ceil(c.ms), 1);
        EXPECT_LE(peak, c.peak * (1 + 1e-6));
        EXPECT_GE(peak, c.peak * 0.97);
        for (const T_AXIS_TARGET& part : c.request.axes) {
            EXPECT_EQ(model.At(part.axis), part.target); // exactly
        }
    }
}

TEST(MachineMoves, ThatCannotBeAreRefusedByNameAndNothingMoves)
{
    const double nan = std::nan("");
    const struct {
        T_MOVE_REQUEST request;
        const char* text;
    } cases[] = {
        {{{{A::X, 300.001}}}, "the target of X, 300.001 mm, lies outside of its limits -300 to 300 mm"},
        {{{{A::X, 10}, {A::Y, -301}}}, "the target of Y, -301 mm, lies outside of its limits -300 to 300 mm"},
        {{{{A::Z, 21}}}, "the target of Z, 21 mm, lies outside of its limits -20 to 20 mm"},
        {{{{A::SLIT_ANGLE, 181}}}, "the target of slit angle, 181 deg"},
        {{{{A::Y, nan}}}, "the target of Y, nan mm"},
        {{{{A::X, 10}}, 500.5}, "X cannot go at 500.5 mm/s: it takes speeds above 0 and up to 500"},
        {{{{A::X, 10, -5}}}, "X cannot go at -5 mm/s"},
        {{{{A::X, 10}}, nan}, "X cannot go at nan mm/s"},
        {{{{A::X, 10}}, 0, -1}, "a tolerance of -1"},
        {{}, "no axis"},
    };
    CModelUnderTest model(Plain());
    for (const auto& c : cases) {
        EXPECT_EQ(model.Refusal(c.request).find(c.text), 0u) << model.Refusal(c.request);
        EXPECT_FALSE(model.IsMoving());
    }
    // One bad move of several: the good one does not start either.
    std::vector<CMachineMove> moves;
    CString error;
    EXPECT_FALSE(model.StartMoves({{{{A::SLIT_X, 10}}}, {{{A::SLIT_ANGLE, 500}}}}, moves, error));
    EXPECT_FALSE(model.IsMoving());
    // A refusal leaves what moves alone.
    const CMachineMove move = model.Go({{{A::X, 10}}});
    EXPECT_NE(model.Refusal({{{A::X, 400}}}), "");
    model.RunOut(move);
    EXPECT_EQ(move->state, eMOVE_STATE::DONE);
    EXPECT_EQ(model.At(A::X), 10);
    EXPECT_EQ(model.Refusal({{{A::X, 300}}}), ""); // the limit itself is within
}

TEST(MachineMoves, ANewerMoveOfAnAxisEndsTheOlderWhichBrakesOnItsLine)
{
    CModelUnderTest model(Plain());
    const CMachineMove both = model.Go({{{A::X, 60}, {A::Y, 80}}});
    model.Steps(300);
    ASSERT_GT(model.GetAxis(A::X).speed, 50);
    const CMachineMove back = model.Go({{{A::X, -5}}});
    EXPECT_EQ(both->state, eMOVE_STATE::FAILED);
    EXPECT_EQ(both->error, L"superseded by a newer move of X");
    double lastX = model.At(A::X);
    double lastSpeed = model.GetAxis(A::X).speed;
    while (model.GetAxis(A::Y).moving) {
        model.Step();
        ASSERT_NEAR(model.At(A::Y), model.At(A::X) * 4 / 3, 1e-9);
        ASSERT_LE(lastSpeed - model.GetAxis(A::X).speed, 2000 * 0.001 + 1e-9);
        ASSERT_NEAR(model.At(A::X) - lastX, lastSpeed * 0.001, 0.002);
        lastX = model.At(A::X);
        lastSpeed = model.GetAxis(A::X).speed;
    }
    EXPECT_LT(model.At(A::Y), 80);
    const double y = model.At(A::Y);
    model.RunOut(back);
    EXPECT_EQ(back->state, eMOVE_STATE::DONE);
    EXPECT_EQ(model.At(A::X), -5);
    EXPECT_EQ(model.At(A::Y), y);
    // The third of three within the braking time wins; axes of others go on.
    const CMachineMove z = model.Go({{{A::Z, 5}}});
    const CMachineMove first = model.Go({{{A::X, 50}}});
    model.Steps(200);
    const CMachineMove second = model.Go({{{A::X, 20}}});
    model.Steps(3);
    const CMachineMove third = model.Go({{{A::X, 30}}});
    EXPECT_EQ(second->state, eMOVE_STATE::FAILED);
    model.RunOut(third);
    EXPECT_EQ(model.At(A::X), 30);
    model.RunOut(z);
    EXPECT_EQ(z->state, eMOVE_STATE::DONE);
    EXPECT_EQ(first->state, eMOVE_STATE::FAILED);
}

TEST(MachineMoves, AStoppedMoveBrakesWithinItsWayAndEndsOnce)
{
    CModelUnderTest model(Plain());
    const CMachineMove move = model.Go({{{A::X, 299.99}}, 500});
    model.Steps(400); // at full speed
    const double from = model.At(A::X);
    model.StopMove(move, L"because");
    EXPECT_EQ(move->error, L"because");
    EXPECT_TRUE(model.IsBraking(A::X));
    int ms = 0;
    while (model.IsBraking(A::X) && ms < 1000) {
        model.Step();
        ++ms;
    }
    EXPECT_NEAR(ms, 250, 2); // 500 mm/s at 2000 mm/s^2
    EXPECT_NEAR(model.At(A::X) - from, 62.5, 0.1);
    EXPECT_FALSE(model.IsMoving());
    const double at = model.At(A::X);
    model.StopMove(move, L"again");
    model.StopAxis(A::X, L"again");
    model.Steps(100);
    EXPECT_EQ(move->error, L"because");
    EXPECT_EQ(model.At(A::X), at);
}

TEST(MachineMoves, TheTurretTakesItsTime)
{
    CModelUnderTest model(Plain());
    CString error;
    EXPECT_EQ(model.ChangeLens(10, error), nullptr);
    EXPECT_NE(error.find(L"10"), error.npos);
    EXPECT_EQ(model.ChangeLens(0, error)->state, eMOVE_STATE::DONE);
    const CMachineMove to3 = model.ChangeLens(3, error);
    model.Steps(799);
    EXPECT_EQ(model.GetLens(), 0);
    const CMachineMove to9 = model.ChangeLens(9, error);
    EXPECT_EQ(to3->state, eMOVE_STATE::FAILED);
    EXPECT_EQ(model.RunOut(to9), 800);
    EXPECT_EQ(to9->state, eMOVE_STATE::DONE);
    EXPECT_EQ(model.GetLens(), 9);
}

} // namespace
} // namespace alidade
