// The machine over the bus: what senders may say, and what they are told.

#include "MachineHarness.h"

#include <cmath>
#include <limits>

namespace alidade {
namespace {

using A = eMACHINE_AXIS;

/// A variable of children: {"TargetX", 1.0}, {"Speed", "12.5"}, {"Axis", 2}, {"Axis", L"Y"}.
struct T_CHILD {
    template <class T>
    T_CHILD(const char* name, T value) : add([=](CIPVariable& in) { in.SetChildItem(name, value); })
    {
    }
    T_CHILD(std::function<void(CIPVariable&)> any) : add(std::move(any)) {}
    std::function<void(CIPVariable&)> add;
};
CIPVariable Make(const std::vector<T_CHILD>& children)
{
    CIPVariable in;
    for (const T_CHILD& child : children) {
        child.add(in);
    }
    return in;
}

/// Quick, so that the clock need not be moved far.
T_MACHINE_SETTINGS Quick()
{
    T_MACHINE_SETTINGS settings;
    settings.dStageSpeed = settings.dStageMaxSpeed = settings.dZSpeed = settings.dZMaxSpeed = 5000;
    settings.dStageAcceleration = settings.dZAcceleration = 1e6;
    settings.dSettleTime = 0;
    return settings;
}

TEST(MachineCommand, TakesEveryFormInWhichAMoveIsSaid)
{
    CMachineUnderTest machine(Quick());
    const struct {
        const char* name;
        std::vector<T_CHILD> in;
        double x, y, z;
    } cases[] = {
        {"StageMovePos", {{"TargetX", 10.5}, {"TargetY", -20.25}}, 10.5, -20.25, 0},
        {"StageMovePos",
         {{"TargetX", "11.500000"}, {"TargetY", L" -21 "}, {"Speed", "12.500000"}},
         11.5,
         -21,
         0},
        {"StageMove", {{"TargetX", 12}}, 12, -21, 0},
        {"MoveStage", {{"TargetY", 13u}, {"SpeedY", "20"}, {"InPosition", "0.005"}}, 12, 13, 0},
        {"StageMovePos", {{"MovePos", -7.5}}, 12, 13, -7.5},
        {"StageMovePos", {{"MovePos", "1.5"}, {"Axis", "0"}, {"SpeedX", 30.0}}, 1.5, 13, -7.5},
        {"StageMovePos", {{"MovePos", 2.5}, {"Axis", 1}, {"SpeedY", L"30"}}, 1.5, 2.5, -7.5},
        {"StageMovePos", {{"MovePos", 3.5}, {"Axis", L"z"}, {"SpeedX", "20"}}, 1.5, 2.5, 3.5},
        {"StageMovePos", {{"MovePos", 4}, {"Axis", "X"}, {"Speed", "0"}}, 4, 2.5, 3.5},
        {"StageMovePos", {{"Target", "+4.5"}}, 4, 2.5, 4.5},
        {"StageMovePos",
         {{"TargetX", 1.0}, {"TargetY", 2.0}, {"Axis", "XY"}, {"Whatever", "else"}},
         1,
         2,
         4.5},
    };
    int row = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(row++);
        const T_ANSWER answer = machine.Stage(c.name, Make(c.in));
        EXPECT_EQ(answer.ok, 1) << answer.error;
        EXPECT_EQ(answer.result("X", 99.0), c.x);
        EXPECT_EQ(answer.result("Y", 99.0), c.y);
        EXPECT_EQ(answer.result("Z", 99.0), c.z);
        // What the sender was told stands in the shared block already.
        EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dMachineStageX"), c.x);
        EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dMachine[2]"), c.z);
    }
    for (const auto& [x, y, t] :
         {std::tuple("PulseX", "PulseY", "Angle"), std::tuple("TargetX", "TargetY", "TargetAngle"),
          std::tuple("PulseX", "TargetY", "TargetT")}) {
        const double at = machine.Position(A::SLIT_X) + 100;
        const CIPVariable in = Make({{x, at}, {y, "-500.000000"}, {t, at / 10}, {"Axis", "XY"}});
        const T_ANSWER answer = machine.Send("Slit", "Command", "SetSlitAbsPosition", in);
        EXPECT_EQ(answer.ok, 1) << answer.error;
        EXPECT_EQ(answer.result("SlitX", 0.0), at);
        EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dSlitPulseY"), -500);
        EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dSlitT"), at / 10);
    }
}

TEST(MachineCommand, RefusesWhatItDoesNotUnderstandAndNothingMoves)
{
    const double inf = std::numeric_limits<double>::infinity();
    const T_CHILD raw([](CIPVariable& in) { in.SetChildItem("TargetX", "12345678", 8, 0); });
    const T_CHILD empty([](CIPVariable& in) { in.SetChildItemEmpty("TargetX", IPVAR_DOUBLE); });
    const T_CHILD tree([](CIPVariable& in) { in.SetChildItemEmpty("TargetX", IPVAR_TREE); });
    const struct {
        const char* name;
        std::vector<T_CHILD> in;
        const char* error;
    } cases[] = {
        {"StageMovePos", {}, "There is no target"},
        {"StageMovePos", {{"TargetX", "abc"}, {"TargetY", 1.0}}, "TargetX = \"abc\" is no number"},
        {"StageMovePos", {{"TargetX", 1.0}, {"TargetY", ""}}, "TargetY = \"\" is no number"},
        {"StageMovePos", {{"TargetX", "5 mm"}}, "TargetX = \"5 mm\" is no number"},
        {"StageMovePos", {{"TargetX", "12,5"}}, "TargetX = \"12,5\" is no number"},
        {"StageMovePos", {{"TargetX", "1e999"}}, "TargetX"},
        {"StageMovePos", {{"TargetX", "nan"}}, "TargetX"},
        {"StageMovePos", {{"TargetX", std::nan("")}}, "TargetX"},
        {"StageMovePos", {{"MovePos", -inf}}, "MovePos"},
        {"StageMovePos", {raw}, "TargetX is no number"},
        {"StageMovePos", {empty}, "TargetX"},
        {"StageMovePos", {tree}, "TargetX is no number"},
        {"StageMovePos", {{"MovePos", 1.0}, {"TargetX", 1.0}}, "MovePos is given beside"},
        {"StageMovePos", {{"MovePos", 1.0}, {"Axis", "XY"}}, "Axis = \"XY\" is no axis"},
        {"StageMovePos", {{"MovePos", 1.0}, {"Axis", 3}}, "Axis = 3 is no axis"},
        {"StageMovePos", {{"MovePos", 1.0}, {"Axis", ""}}, "Axis = \"\" is no axis"},
        {"StageMovePos", {{"TargetX", 1.0}, {"Speed", "-1"}}, "Speed = \"-1\" is no speed"},
        {"StageMovePos", {{"TargetX", 1.0}, {"Speed", "9000"}}, "X cannot go at 9000 mm/s"},
        {"StageMovePos", {{"TargetX", 1.0}, {"InPosition", 0}}, "InPosition = 0 is no tolerance"},
        {"StageMovePos",
         {{"TargetX", 1.0}, {"TargetY", 301.0}},
         "The target of Y, 301 mm, lies outside of its limits -300 to 300 mm"},
        {"StageStop", {{"Axis", "A"}}, "Axis = \"A\" is no axis"},
        {"ChangeLens", {}, "There is no LensNo"},
        {"ChangeLens", {{"LensNo", 10}}, "LensNo = 10 is no whole number from 0 to 9"},
        {"ChangeLens", {{"LensNo", "1.5"}}, "LensNo = \"1.5\" is no whole number"},
        {"Switch", {}, "Neither Slit nor Laser"},
        {"Switch", {{"Slit", 1}, {"Laser", 2}}, "Laser = 2 is no whole number from 0 to 1"},
        {"SetFault", {{"Axis", 0}, {"Kind", "broken"}}, "Kind = \"broken\" is none of none, stuck, limit"},
        {"SetFault", {{"Kind", "stuck"}}, "There is no Axis"},
    };
    CMachineUnderTest machine(Quick());
    for (const auto& c : cases) {
        const T_ANSWER answer = machine.Stage(c.name, Make(c.in));
        EXPECT_EQ(answer.ok, 0) << c.error;
        EXPECT_NE(answer.error.find(c.error), answer.error.npos) << answer.error << "\nwanted: " << c.error;
    }
    const T_ANSWER slit = machine.Send("Slit", "Command", "SetSlitAbsPosition",
                                       Make({{"PulseX", 1.0}, {"TargetX", 1.0}, {"Angle", 1.0}}));
    EXPECT_EQ(slit.ok, 0);
    EXPECT_NE(slit.error.find("PulseX and TargetX are given both"), slit.error.npos) << slit.error;
    const T_ANSWER where = machine.Stage("GetPosition");
    for (const char* name : {"X", "Y", "Z", "SlitX", "SlitT", "Moving", "SlitOn"}) {
        EXPECT_EQ(where.result(name, 99.0), 0) << name;
    }
}

TEST(MachineCommand, ANewerMoveFailsTheOlderAndAStopFailsWhatMoves)
{
    CMachineUnderTest machine;
    auto first =
        machine.Begin("Sequence", "Stage", "StageMovePos", Make({{"TargetX", 100.0}, {"TargetY", 50.0}}));
    machine.m_ticks.Advance(300);
    auto second = machine.Begin("Sequence", "Stage", "StageMovePos", Make({{"MovePos", 5.0}, {"Axis", "Y"}}));
    const T_ANSWER older = machine.End(first);
    EXPECT_EQ(older.ok, 0);
    EXPECT_NE(older.error.find("uperseded by a newer move of Y"), older.error.npos) << older.error;
    EXPECT_EQ(machine.End(second).ok, 1);
    EXPECT_EQ(machine.Position(A::Y), 5);

    auto moving = machine.Begin("Sequence", "Stage", "StageMovePos", Make({{"TargetX", -200.0}}));
    machine.m_ticks.Advance(300);
    EXPECT_EQ(machine.Stage("StageStop").ok, 1);
    const double at = machine.Position(A::X);
    EXPECT_FALSE(machine.m_machine.GetMachine().Do([](CMachineModel& m) { return m.IsMoving(); }));
    const T_ANSWER stopped = machine.End(moving);
    EXPECT_EQ(stopped.ok, 0);
    EXPECT_NE(stopped.error.find("topped"), stopped.error.npos) << stopped.error;
    EXPECT_EQ(machine.Position(A::X), at);
    EXPECT_GT(at, -190);
}

TEST(MachineCommand, LightsLensAndFaultsDoWhatTheySay)
{
    CMachineUnderTest machine;
    EXPECT_EQ(machine.Stage("Switch", Make({{"Slit", 1}, {"Laser", "1"}})).ok, 1);
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.iSlitOn"), 1);
    EXPECT_EQ(machine.Stage("Switch", Make({{"Slit", 0}})).ok, 1);
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.iSlitOn"), 0);
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.iLaserOn"), 1);

    auto lens = machine.Begin("Sequence", "Stage", "ChangeLens", Make({{"LensNo", "4"}}));
    EXPECT_EQ(ReadItem("AxisParameter", "AxisParameter.iLensMoving"), 1);
    EXPECT_EQ(ReadItem("AxisParameter", "AxisParameter.iCurrentLens"), 0);
    EXPECT_EQ(machine.End(lens).ok, 1);
    EXPECT_EQ(ReadItem("AxisParameter", "AxisParameter.iCurrentLens"), 4);

    EXPECT_EQ(machine.Stage("SetFault", Make({{"Axis", "X"}, {"Kind", "Stuck"}})).ok, 1);
    const T_ANSWER stuck = machine.Stage("StageMovePos", Make({{"TargetX", 20.0}}));
    EXPECT_NE(stuck.error.find("X does not follow"), stuck.error.npos) << stuck.error;
    EXPECT_EQ(machine.Stage("SetFault", Make({{"Axis", "X"}, {"Kind", "none"}})).ok, 1);
    EXPECT_EQ(machine.Stage("StageMovePos", Make({{"TargetX", 20.0}})).ok, 1);
}

/// A stage whose commands can be aborted by name.
class CAbortableStage : public CStageReceiver {
public:
    using CStageReceiver::CStageReceiver;
    using IIPCommandTarget::ResumeIPStepCommandByName;
};

TEST(MachineCommand, AnAbortedMoveBrakesItsAxes)
{
    const COwnInstance instance;
    CManualTicks ticks;
    CLiveMachine machine{T_MACHINE_SETTINGS()};
    CString error;
    ASSERT_EQ(machine.Start(error), 1) << ToNarrow(error);
    CIPClient client(nullptr, nullptr, "Sequence", std::make_shared<CIPBus>());
    CAbortableStage stage(client, machine);
    ASSERT_EQ(client.PostIPCommand(nullptr, nullptr, "Stage", "StageMovePos",
                                   Make({{"TargetX", 200.0}, {"Speed", 2.0}}), nullptr),
              1);
    ASSERT_TRUE(WaitUntil([&] { return stage.CountBegun() == 1; }));
    ticks.Advance(500);
    machine.Update();
    EXPECT_EQ(stage.ResumeIPStepCommandByName("Stage", "StageMovePos", IP_CONTINUE_ESCAPE, 0), 1);
    // The abort comes with the command's next step, on the bus's thread: the move takes 100 s, so that a
    // clock that runs ahead of that thread does not end it.
    EXPECT_TRUE(WaitUntil([&] {
        ticks.Advance(1);
        return machine.Do([](CMachineModel& m) { return !m.IsMoving(); });
    }));
    const double x = machine.Do([](CMachineModel& m) { return m.GetAxis(A::X).position; });
    EXPECT_GT(x, 0.5);
    EXPECT_LT(x, 190);
}

TEST(MachineCommand, PositionsDependOnTheTicksOfCommandsNotOnThreads)
{
    T_MACHINE_SETTINGS settings;
    settings.dNoise = 0.001;
    settings.dLag = 5;
    const auto course = [&] {
        CMachineUnderTest machine(settings);
        std::vector<double> positions;
        const auto look = [&](DWORD ms) {
            machine.m_ticks.Advance(ms);
            positions.push_back(machine.Position(A::X));
            positions.push_back(machine.Position(A::Y));
        };
        auto first =
            machine.Begin("Sequence", "Stage", "StageMovePos", Make({{"TargetX", 50.0}, {"TargetY", 9.0}}));
        look(33);
        look(200);
        auto second = machine.Begin("Sequence", "Stage", "StageMovePos", Make({{"TargetX", 1.0}}));
        look(100);
        look(400);
        machine.End(first);
        machine.End(second);
        return positions;
    };
    EXPECT_EQ(course(), course());
}

TEST(MachineCommand, FailsWhatIsInFlightWhenTheMachineIsTakenDown)
{
    CMachineUnderTest machine;
    auto move = machine.Begin("Sequence", "Stage", "StageMovePos", Make({{"TargetX", 100.0}}));
    auto lens = machine.Begin("Sequence", "Stage", "ChangeLens", Make({{"LensNo", 1}}));
    machine.m_machine.Stop();
    for (auto* answer : {&move, &lens}) {
        const T_ANSWER got = answer->get();
        EXPECT_EQ(got.ok, 0);
        EXPECT_NE(got.error, "");
    }
}

} // namespace
} // namespace alidade
