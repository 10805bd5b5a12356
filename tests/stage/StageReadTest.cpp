#include "StageHarness.h"

namespace alidade {
namespace {

TEST(StageRead, GivesWhatTheMachinePublishesNow)
{
    CPublishedBlocks blocks;
    CProbeStage stage;
    EXPECT_EQ(stage.Init(MakeStageSettings()), 1);
    for (const double first : {1.25, -300.5}) {
        blocks.Publish(first);
        EXPECT_EQ(stage.GetLensNo(), 4);
        EXPECT_EQ(stage.GetStagePosition(), (TPoint2<double>{first, first + 1}));
        EXPECT_EQ(stage.GetStageZ(), first + 2);
        EXPECT_EQ(stage.GetSlitPulse(), (TPoint2<double>{first + 3, first + 4}));
        EXPECT_EQ(stage.GetSlitAngle(), first + 5);
    }
    EXPECT_EQ(stage.CountBlocks(), 2); // for seven channels
    EXPECT_EQ(stage.Reserved(), 0);
}

/// What the readers give, with the fall-backs at (71, 72), 73 and lens 3.
TEST(StageRead, FallsBackWhereThereIsNothingToRead)
{
    using Point = TPoint2<double>;
    constexpr const wchar_t* kText = L"MotorPosition.sState"; // reading it as a number raises
    const struct {
        const char* name;
        StageValues changes;
        int lens = 4;
        Point position = {1.25, 2.25};
        double z = 3.25;
        Point slit = {4.25, 5.25};
    } rows[] = {
        {"lens not in use", {{L"Lens", L"Use", L"FALSE"}}, 0},
        {"lens in another block", {{L"Lens", L"IPData", L"MotorPosition"}}, 0},
        {"lens is a text", {{L"Lens", L"IPData", L"MotorPosition"}, {L"Lens", L"IPDataVar", kText}}, 0},
        {"X cannot move", {{L"StageXY", L"CanMoveStageX", L"FALSE"}}, 4, {71, 72}},
        {"Y cannot move", {{L"StageXY", L"CanMoveStageY", L"FALSE"}}, 4, {71, 72}},
        {"XY not in use", {{L"StageXY", L"Use", L"FALSE"}}, 4, {0, 0}},
        {"no such block", {{L"StageXY", L"IPData", L"Nowhere"}}, 4, {0, 0}},
        {"no block named", {{L"StageXY", L"IPData", L""}}, 4, {0, 0}},
        {"X has no such variable", {{L"StageXY", L"IPDataVarX", L"Wrong"}}, 4, {0, 2.25}},
        {"X cannot be read", {{L"StageXY", L"IPDataVarX", kText}}, 4, {0, 0}},
        {"Y cannot be read", {{L"StageXY", L"IPDataVarY", kText}}, 4, {1.25, 0}},
        {"Z has no such variable", {{L"StageZ", L"IPDataVarZ", L"Wrong"}}, 4, {1.25, 2.25}, 73},
        {"Z cannot be read", {{L"StageZ", L"IPDataVarZ", kText}}, 4, {1.25, 2.25}, 73},
        {"Z not in use", {{L"StageZ", L"Use", L"FALSE"}}, 4, {1.25, 2.25}, 73},
        {"Z cannot move", {{L"StageZ", L"CanMoveAxisZ", L"FALSE"}}},
        {"slit X cannot be read", {{L"Slit", L"IPDataVarX", kText}}, 4, {1.25, 2.25}, 3.25, {0, 0}},
        {"slit not in use", {{L"Slit", L"Use", L"FALSE"}}, 4, {1.25, 2.25}, 3.25, {0, 0}},
    };
    CPublishedBlocks blocks;
    CProbeStage stage;
    stage.SetStagePosition({71, 72});
    stage.SetStageZ(73);
    stage.SetLensNo(3);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        stage.Init(MakeStageSettings(row.changes));
        EXPECT_EQ(stage.GetLensNo(), row.lens);
        EXPECT_EQ(stage.GetStagePosition(), row.position);
        EXPECT_EQ(stage.GetStageZ(), row.z);
        EXPECT_EQ(stage.GetSlitPulse(), row.slit);
    }
}

TEST(StageRead, ASlitAngleThatCannotBeReadIsAnError)
{
    CPublishedBlocks blocks;
    CProbeStage stage;
    stage.Init(MakeStageSettings({{L"Slit", L"IPDataVarT(deg)", L"MotorPosition.sState"}}));
    EXPECT_THROW(stage.GetSlitAngle(), CIPException);
    stage.Init(MakeStageSettings({{L"Slit", L"IPDataVarT(deg)", L"Wrong"}}));
    EXPECT_EQ(stage.GetSlitAngle(), 0.0);
}

TEST(StageRead, WithoutSettingsChannelsAreInUseAndEmpty)
{
    CPublishedBlocks blocks;
    CProbeStage stage;
    stage.SetStagePosition({71, 72});
    stage.SetStageZ(73);
    EXPECT_EQ(stage.GetStagePosition(), (TPoint2<double>{71, 72})); // before Init nothing can move
    EXPECT_FALSE(stage.CanMoveSlitXY());
    stage.Init(CProfileSection());
    EXPECT_EQ(stage.GetStagePosition(), (TPoint2<double>{0, 0}));
    EXPECT_EQ(stage.GetStageZ(), 73);
    EXPECT_TRUE(stage.CanMoveSlitXY());
    EXPECT_EQ(stage.CountBlocks(), 0);
}

TEST(StageRead, TheSlitCanMoveWhenItIsInUseAndMayMove)
{
    CProbeStage stage;
    const struct {
        const wchar_t *use, *canMove;
        bool expected;
    } rows[] = {{L"TRUE", L"TRUE", true}, {L"TRUE", L"FALSE", false}, {L"FALSE", L"TRUE", false}};
    for (const auto& row : rows) {
        stage.Init(MakeStageSettings({{L"Slit", L"Use", row.use}, {L"Slit", L"CanMoveSlit", row.canMove}}));
        EXPECT_EQ(stage.CanMoveSlitXY(), row.expected);
    }
}

TEST(StageRead, InitOpensAnewAndTakesItsOwnCopyOfTheSettings)
{
    CProbeStage stage;
    {
        COwnInstance none;
        stage.Init(MakeStageSettings());
        EXPECT_EQ(stage.CountBlocks(), 0);
    }
    CPublishedBlocks blocks;
    CProfileSection settings = MakeStageSettings();
    stage.Init(settings);
    settings.Init();
    EXPECT_EQ(stage.GetStageZ(), 3.25);
    stage.Init(MakeStageSettings({{L"Lens", L"Use", L"FALSE"}}));
    EXPECT_EQ(stage.CountBlocks(), 1);
}

TEST(StageRead, LensNumbersAboveNineAreIgnored)
{
    CProbeStage stage;
    stage.SetLensNo(9);
    EXPECT_EQ(stage.GetFallbackLens(), 9u);
    stage.SetLensNo(10);
    EXPECT_EQ(stage.GetFallbackLens(), 9u);
    EXPECT_EQ(stage.GetLensNo(), 0);
}

#if defined(__GNUG__)
/// Number of a virtual operation among the slots, by the platform's form of a member pointer.
template <class F>
std::size_t SlotOf(F operation)
{
    std::size_t words[2];
    static_assert(sizeof(words) == sizeof(operation));
    std::memcpy(words, &operation, sizeof(words));
    return (words[0] - 1) / sizeof(void*);
}

TEST(StageLayout, VirtualOperationsKeepTheirSlots)
{
    const std::size_t slots[] = {
        SlotOf(&CStageInterface::Init),
        SlotOf(&CStageInterface::CanMoveSlitXY),
        SlotOf(&CStageInterface::GetLensNo),
        SlotOf(&CStageInterface::GetStagePosition),
        SlotOf(&CStageInterface::GetStageZ),
        SlotOf(&CStageInterface::GetSlitPulse),
        SlotOf(&CStageInterface::GetSlitAngle),
        SlotOf(&CStageInterface::Reserved),
        SlotOf(&CStageInterface::MoveStage),
        SlotOf(&CStageInterface::MoveStageZ),
        SlotOf(&CStageInterface::MoveSlit),
        SlotOf(&CStageInterface::MoveSlitAngle),
        SlotOf(&CStageInterface::SetStagePosition),
        SlotOf(&CStageInterface::SetStageZ),
        SlotOf(&CStageInterface::SetLensNo),
    };
    std::size_t expected = 2; // behind the destructor's two
    for (const std::size_t slot : slots) {
        EXPECT_EQ(slot, expected++);
    }
}
#endif

} // namespace
} // namespace alidade
