// The machine in its shared blocks: what is published, when, and by whom.

#include "MachineHarness.h"

namespace alidade {
namespace {

using A = eMACHINE_AXIS;

CMachineMove Go(CMachineSimulator& machine, const T_MOVE_REQUEST& request)
{
    std::vector<CMachineMove> moves;
    CString error;
    machine.GetMachine().Do([&](CMachineModel& model) { return model.StartMoves({request}, moves, error); });
    EXPECT_EQ(moves.size(), 1u) << ToNarrow(error);
    return moves.empty() ? nullptr : moves[0];
}

TEST(LiveMachine, PublishesEveryItemUnderItsPathAndType)
{
    T_MACHINE_SETTINGS settings;
    settings.dStartX = 11;
    settings.dStartY = -22;
    settings.dStartZ = 3;
    settings.dStartLens = 7;
    settings.dXMax = 123;
    CMachineUnderTest machine(settings);
    for (const auto& [name, items] : {std::pair("MotorPosition", GetMotorPositionItems()),
                                      std::pair("AxisParameter", GetAxisParameterItems())}) {
        CIPData data(L"Tavro");
        CString text;
        ASSERT_EQ(data.Open(name, text), 1) << ToNarrow(text);
        const std::vector<T_IP_DATA_ITEM> published = data.ListItems();
        ASSERT_EQ(published.size(), items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            EXPECT_EQ(published[i].path, items[i].path);
            EXPECT_EQ(published[i].type, items[i].type);
        }
    }
    const struct {
        const char* block;
        const char* path;
        double value;
    } values[] = {
        {"MotorPosition", "MotorPosition.dMachineStageX", 11},
        {"MotorPosition", "MotorPosition.dMachine[1]", -22},
        {"MotorPosition", "MotorPosition.dTrueZ", 3},
        {"MotorPosition", "MotorPosition.dTargetY", -22},
        {"AxisParameter", "AxisParameter.iCurrentLens", 7},
        {"AxisParameter", "AxisParameter.dMaxX", 123},
        {"AxisParameter", "AxisParameter.dMaxSpeedZ", settings.dZMaxSpeed},
    };
    for (const auto& v : values) {
        EXPECT_EQ(ReadItem(v.block, v.path), v.value) << v.path;
    }
}

TEST(LiveMachine, MakesWholeCyclesOfTheClockHoweverTheClockIsMoved)
{
    T_MACHINE_SETTINGS settings;
    settings.dCycle = 4;
    settings.dNoise = 0.001;
    settings.dLag = 9;
    const auto course = [&](std::initializer_list<DWORD> advances) {
        CMachineUnderTest machine(settings);
        Go(machine.m_machine, {{{A::X, 5}, {A::Y, 3}}});
        for (const DWORD advance : advances) {
            machine.m_ticks.Advance(advance);
            machine.m_machine.Update();
        }
        EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dTime"), 100);
        EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.iTimeStamp"), machine.m_ticks.Now() - 2);
        EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.iMovingX"), 1);
        return std::pair(ReadItem("MotorPosition", "MotorPosition.dMachineStageX"),
                         ReadItem("MotorPosition", "MotorPosition.dTrueY"));
    };
    const auto once = course({102});
    EXPECT_GT(once.first, 0.5);
    EXPECT_EQ(course({1, 1, 1, 1, 47, 3, 9, 2, 37}), once);
}

TEST(LiveMachine, ASecondOneIsRefusedAndTheFirstGoesOn)
{
    CMachineUnderTest machine;
    CMachineSimulator second;
    CString error;
    EXPECT_EQ(second.Start({}, std::make_shared<CIPBus>(), nullptr, error), 0);
    EXPECT_NE(error.find(L"MotorPosition"), error.npos) << ToNarrow(error);
    EXPECT_FALSE(second.IsRunning());
    machine.m_ticks.Advance(10);
    machine.m_machine.Update();
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dTime"), 10);

    CIPData data(L"Tavro");
    ASSERT_EQ(data.Open("MotorPosition", error), 1);
    EXPECT_EQ(data.IsWriterAlive(), 1);
    machine.m_machine.Stop();
    EXPECT_EQ(data.IsWriterAlive(), 0);
    EXPECT_EQ(second.Start({}, machine.m_bus, nullptr, error), 1) << ToNarrow(error);
    EXPECT_EQ(ReadItem("MotorPosition", "MotorPosition.dTime"), 0);
}

TEST(LiveMachine, RunsByItselfInRealTime)
{
    const COwnInstance instance;
    CMachineSimulator machine;
    CString error;
    ASSERT_EQ(machine.Start({}, std::make_shared<CIPBus>(), nullptr, error), 1) << ToNarrow(error);
    EXPECT_TRUE(WaitUntil([] { return ReadItem("MotorPosition", "MotorPosition.dTime") > 5; }));
}

} // namespace
} // namespace alidade
