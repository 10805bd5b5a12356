#include "StageHarness.h"
#include "foundation/platform/Event.h"

#include <cmath>
#include <limits>

namespace alidade {
namespace {

constexpr DWORD kDeadline = 20000;

/// A motion controller that notes what it is told: "name=value" for each parameter, numbers in brackets.
class CController : public IIPCommandTarget {
public:
    explicit CController(CIPClient& client) { CreateIPCommandTarget(&client); }
    ~CController() override { DestroyIPCommandTarget(); }

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override
    {
        static const IP_COMMAND_TARGET_ENTRY entries[] = {
            IPCommandEntry("Stage", "StageMovePos", &CController::OnMove),
            IPCommandEntry("Stage", "OtherMove", &CController::OnMove),
            IPCommandEntry("Command", "SetSlitAbsPosition", &CController::OnMove),
            IPCommandEntry("Sequence", "Run", &CController::OnRun),
            {nullptr, nullptr, nullptr}};
        static const IP_COMMAND_TARGET table{entries, nullptr};
        return &table;
    }

    std::vector<std::string> TakeNotes()
    {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_notes, {});
    }

    std::function<int(CIPCommand&)> m_onMove; // its result; set before commands are sent
    std::function<int(CIPCommand&)> m_onRun;

private:
    int OnMove(CIPCommand& command)
    {
        std::string note = command.GetName();
        for (const CIPVariable& child : command.GetParameter().GetChildren()) {
            const bool isNumber = child.GetType() == IPVAR_DOUBLE;
            EXPECT_EQ(child.GetFlags(), 1u);
            note += std::string(" ") + child.GetName() + "=" + (isNumber ? "[" : "") + child.GetString() +
                    (isNumber ? "]" : "");
        }
        {
            std::lock_guard lock(m_mutex);
            m_notes.push_back(note);
        }
        return m_onMove ? m_onMove(command) : 1;
    }
    int OnRun(CIPCommand& command) { return m_onRun(command); }

    std::mutex m_mutex;
    std::vector<std::string> m_notes;
};

/// A stage with two controllers on a bus of the test's own, as the suggested settings address them.
class StageMove : public ::testing::Test {
protected:
    StageMove() { InitVision(&m_client, nullptr, nullptr, L"/there/is/no/such/folder"); }

    CPublishedBlocks m_blocks;
    std::shared_ptr<CIPBus> m_bus = std::make_shared<CIPBus>();
    CIPClient m_client{nullptr, nullptr, "Sequence", m_bus};
    CIPClient m_slitClient{nullptr, nullptr, "Slit", m_bus};
    CController m_stageController{m_client};
    CController m_slitController{m_slitClient};
};

using Move = std::function<int(CStageInterface&)>;

const Move kXY = [](CStageInterface& stage) { return stage.MoveStage({10.5, -20}, 0, 0, {}); };
const Move kXYFast = [](CStageInterface& stage) { return stage.MoveStage({10.5, -20}, 12.5, 0, {}); };
const Move kXYSlow = [](CStageInterface& stage) { return stage.MoveStage({10.5, -20}, -1.0, 0, {}); };
const Move kZ = [](CStageInterface& stage) { return stage.MoveStageZ(3.5, 0, 0, {}); };
const Move kZFast = [](CStageInterface& stage) { return stage.MoveStageZ(3.5, 12.5, 0, {}); };
const Move kSlit = [](CStageInterface& stage) { return stage.MoveSlit({100, 200}, 0, {}); };
const Move kAngle = [](CStageInterface& stage) { return stage.MoveSlitAngle(45, 0, {}); };

constexpr T_STAGE_VALUE kAlone = {L"StageXY", L"Individual", L"TRUE"};
constexpr T_STAGE_VALUE kSlitMoves = {L"Slit", L"CanMoveSlit", L"TRUE"};
constexpr T_STAGE_VALUE kInPosition = {L"StageXY", L"OptionName", L"InPosition"};

TEST_F(StageMove, SendsWhatTheSettingsAskFor)
{
    const std::string xy = "StageMovePos TargetX=[10.5] TargetY=[-20]";
    const struct {
        const char* name;
        StageValues changes;
        Move move;
        std::vector<std::string> stage;
        std::vector<std::string> slit;
        int result = 1;
    } rows[] = {
        {"as suggested", {}, kXY, {xy}, {}},
        {"speed of the caller", {}, kXYFast, {xy + " Speed=12.500000"}, {}},
        {"no speed", {}, kXYSlow, {xy}, {}},
        {"configured speed", {{L"StageXY", L"SpeedValue", L"50"}}, kXYSlow, {xy + " Speed=50"}, {}},
        {"a speed without a name", {{L"StageXY", L"SpeedName", L""}}, kXYFast, {xy}, {}},
        {"the axis", {{L"StageXY", L"AxisValue", L"XY"}}, kXY, {xy + " Axis=XY"}, {}},
        {"an option without a value", {kInPosition}, kXY, {xy}, {}},
        {"a value without an option", {{L"StageXY", L"OptionValue", L"0.005"}}, kXY, {xy}, {}},
        {"two options",
         {kInPosition,
          {L"StageXY", L"OptionValue", L"0.005"},
          {L"StageXY", L"OptionName2", L"모드"},
          {L"StageXY", L"OptionValue2", L"빠름"}},
         kXY,
         {xy + " InPosition=0.005 모드=빠름"},
         {}},
        {"other names",
         {{L"StageXY", L"TargetXName", L"PosX"}, {L"StageXY", L"Command", L"OtherMove"}},
         kXY,
         {"OtherMove PosX=[10.5] TargetY=[-20]"},
         {}},
        {"a target's name left empty", {{L"StageXY", L"TargetXName", L""}}, kXY, {xy}, {}},
        {"any task", {{L"StageXY", L"Task", L""}}, kXY, {xy}, {}},
        {"axes alone",
         {kAlone,
          {L"StageXY", L"AxisXValue", L"0"},
          {L"StageXY", L"AxisYValue", L"1"},
          {L"StageXY", L"TargetXName", L"MovePos"},
          {L"StageXY", L"TargetYName", L"MovePos"},
          {L"StageXY", L"SpeedYValue", L"10"}},
         kXY,
         {"StageMovePos MovePos=[10.5] Axis=0", "StageMovePos MovePos=[-20] Axis=1 SpeedY=10"},
         {}},
        {"X alone can move", // the axis moves, the result says no
         {kAlone, {L"StageXY", L"CanMoveStageY", L"FALSE"}},
         kXYFast,
         {"StageMovePos TargetX=[10.5] SpeedX=12.500000"},
         {},
         0},
        {"Y alone can move",
         {kAlone, {L"StageXY", L"CanMoveStageX", L"FALSE"}},
         kXY,
         {"StageMovePos TargetY=[-20]"},
         {},
         0},
        {"Z", {{L"StageZ", L"SpeedValue", L"5"}}, kZ, {"StageMovePos MovePos=[3.5] Speed=5"}, {}},
        {"Z by an axis number",
         {{L"StageZ", L"AxisValue", L"2"}},
         kZFast,
         {"StageMovePos MovePos=[3.5] Axis=2 Speed=12.500000"},
         {}},
        {"Z that publishes nothing", {{L"StageZ", L"IPData", L""}}, kZ, {"StageMovePos MovePos=[3.5]"}, {}},
        {"slit", {kSlitMoves}, kSlit, {}, {"SetSlitAbsPosition PulseX=[100] PulseY=[200] Axis=XY"}},
        {"slit with an option that has no row",
         {kSlitMoves, {L"Slit", L"OptionName", L"Wait"}, {L"Slit", L"OptionValue", L"1"}},
         kSlit,
         {},
         {"SetSlitAbsPosition PulseX=[100] PulseY=[200] Axis=XY Wait=1"}},
        {"the angle's row does not act",
         {kSlitMoves},
         kAngle,
         {},
         {"SetSlitAbsPosition TargetAngle=[45] Axis=XY"}},
        {"the angle's key does",
         {kSlitMoves, {L"Slit", L"TargetAngleName", L"Angle"}},
         kAngle,
         {},
         {"SetSlitAbsPosition Angle=[45] Axis=XY"}},
    };
    CProbeStage stage;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        stage.Init(MakeStageSettings(row.changes));
        EXPECT_EQ(row.move(stage), row.result);
        EXPECT_EQ(m_stageController.TakeNotes(), row.stage);
        EXPECT_EQ(m_slitController.TakeNotes(), row.slit);
    }
}

TEST_F(StageMove, UsesItsOwnNamesWhereNoneAreGiven)
{
    CProfileSection settings;
    for (const wchar_t* group : {L"StageXY", L"StageZ", L"Slit"}) {
        settings.GetSubSection(group).SetItemValue(L"Use", L"TRUE");
        settings.GetSubSection(group).SetItemValue(L"Session", L"Stage");
        settings.GetSubSection(group).SetItemValue(L"Command", L"StageMovePos");
    }
    CProbeStage stage;
    stage.Init(settings);
    for (const Move& move : {kXYFast, kZ, kSlit, kAngle}) {
        EXPECT_EQ(move(stage), 1);
    }
    settings.GetSubSection(L"StageXY").SetItemValue(L"Individual", L"TRUE");
    stage.Init(settings);
    EXPECT_EQ(kXY(stage), 1);
    EXPECT_EQ(
        m_stageController.TakeNotes(),
        (std::vector<std::string>{"StageMovePos TargetX=[10.5] TargetY=[-20]", "StageMovePos MovePos=[3.5]",
                                  "StageMovePos TargetX=[100] TargetY=[200]", "StageMovePos TargetAngle=[45]",
                                  "StageMovePos MovePos=[10.5]", "StageMovePos MovePos=[-20]"}));
}

TEST_F(StageMove, SendsNothingThatIsNotSetUpEnabledOrFinite)
{
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    constexpr double kEndless = std::numeric_limits<double>::infinity();
    const struct {
        const char* name;
        StageValues changes;
        Move move;
    } rows[] = {
        {"XY not in use", {{L"StageXY", L"Use", L"FALSE"}}, kXY},
        {"X cannot move", {{L"StageXY", L"CanMoveStageX", L"FALSE"}}, kXY},
        {"Y cannot move", {{L"StageXY", L"CanMoveStageY", L"FALSE"}}, kXY},
        {"axes alone and none can move",
         {kAlone, {L"StageXY", L"CanMoveStageX", L"FALSE"}, {L"StageXY", L"CanMoveStageY", L"FALSE"}},
         kXY},
        {"Z not in use", {{L"StageZ", L"Use", L"FALSE"}}, kZ},
        {"Z cannot move", {{L"StageZ", L"CanMoveAxisZ", L"FALSE"}}, kZ},
        {"Z has no such variable", {{L"StageZ", L"IPDataVarZ", L"Wrong"}}, kZ},
        {"slit cannot move", {}, kSlit},
        {"slit angle cannot move", {}, kAngle},
        {"slit not in use", {kSlitMoves, {L"Slit", L"Use", L"FALSE"}}, kSlit},
        {"X is no number",
         {},
         [](auto& stage) {
             return stage.MoveStage({kNone, 0}, 0, 0, {});
         }},
        {"Y is no number, axes alone",
         {kAlone},
         [](auto& stage) {
             return stage.MoveStage({0, kNone}, 0, 0, {});
         }},
        {"endless speed",
         {},
         [](auto& stage) {
             return stage.MoveStage({0, 0}, kEndless, 0, {});
         }},
        {"endless Z", {}, [](auto& stage) { return stage.MoveStageZ(kEndless, 0, 0, {}); }},
        {"no controller of that name", {{L"StageXY", L"Task", L"Nobody"}}, kXY},
    };
    CProbeStage stage;
    EXPECT_EQ(kXY(stage), 0); // before Init
    stage.Init(CProfileSection());
    EXPECT_EQ(kXY(stage), 0);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        stage.Init(MakeStageSettings(row.changes));
        EXPECT_EQ(row.move(stage), 0);
        EXPECT_TRUE(m_stageController.TakeNotes().empty());
        EXPECT_TRUE(m_slitController.TakeNotes().empty());
    }
}

TEST_F(StageMove, ARefusalIsTheResultAndDoesNotStopTheOtherAxis)
{
    m_stageController.m_onMove = [](CIPCommand& command) {
        return command.GetParameter().FindChild("TargetX") != nullptr ? 0 : 1;
    };
    CProbeStage stage;
    stage.Init(MakeStageSettings());
    EXPECT_EQ(kXY(stage), 0);
    EXPECT_EQ(kZ(stage), 1);
    stage.Init(MakeStageSettings({kAlone}));
    m_stageController.TakeNotes();
    EXPECT_EQ(kXY(stage), 0);
    EXPECT_EQ(m_stageController.TakeNotes().size(), 2u);
}

TEST_F(StageMove, APostedMoveIsNotWaitedFor)
{
    CEvent returned{false, true};
    CEvent ended;
    m_stageController.m_onMove = [&](CIPCommand&) {
        EXPECT_TRUE(returned.Wait(kDeadline));
        ended.SetEvent();
        return 0; // which nobody hears of
    };
    CProbeStage stage;
    stage.Init(MakeStageSettings());
    EXPECT_EQ(stage.MoveStage({1, 2}, 0, 1, {}), 1);
    returned.SetEvent();
    EXPECT_TRUE(ended.Wait(kDeadline));
}

/// The running command goes on at once, and its next step comes when the move has ended, with how it went.
TEST_F(StageMove, AMoveOfAStepIsItsChild)
{
    CProbeStage stage;
    stage.Init(MakeStageSettings({kAlone, kSlitMoves}));
    for (const int outcome : {1, 0}) {
        CEvent returned{false, true};
        m_slitController.m_onMove = [&](CIPCommand&) {
            EXPECT_TRUE(returned.Wait(kDeadline));
            return outcome;
        };
        int seen = -1;
        m_stageController.m_onRun = [&](CIPCommand& command) {
            if (command.GetStep() > 0) {
                seen = command.IsChildOK();
                return 1;
            }
            EXPECT_EQ(stage.MoveSlit({1, 2}, 0, command), 1);
            EXPECT_EQ(stage.MoveSlitAngle(3, 0, command), 1); // a second child
            returned.SetEvent();
            return 1;
        };
        EXPECT_EQ(m_client.SendIPCommand("Sequence", nullptr, "Sequence", "Run", {}, kDeadline, nullptr), 1);
        EXPECT_EQ(seen, outcome);
    }
}

} // namespace
} // namespace alidade
