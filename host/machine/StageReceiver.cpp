#include "host/machine/StageReceiver.h"

namespace alidade {
namespace {

using A = eMACHINE_AXIS;
constexpr A kStage[] = {A::X, A::Y, A::Z};

/// The speed of a single axis under whichever of the names a sender uses: the general one, the axis's,
/// another's.
double ReadSingleSpeed(CMachineParameters& in, A axis)
{
    const double speeds[] = {in.Speed("Speed"), in.Speed(axis == A::Y ? "SpeedY" : "SpeedX"),
                             in.Speed(axis == A::Y ? "SpeedX" : "SpeedY")};
    for (const double speed : speeds) {
        if (speed != 0) {
            return speed;
        }
    }
    return 0;
}

T_MOVE_REQUEST ReadMove(CMachineParameters& in)
{
    T_MOVE_REQUEST request;
    request.inPosition = in.Tolerance("InPosition");
    const std::optional<double> x = in.Number({"TargetX"});
    const std::optional<double> y = in.Number({"TargetY"});
    const std::optional<double> one = in.Number({"MovePos", "Target"});
    if (one && (x || y)) {
        in.Refuse(L"MovePos is given beside TargetX or TargetY");
    } else if (x && y) {
        request.speed = in.Speed("Speed");
        request.axes = {{A::X, *x, in.Speed("SpeedX")}, {A::Y, *y, in.Speed("SpeedY")}};
    } else if (x || y) {
        const A axis = x ? A::X : A::Y;
        request.axes = {{axis, x ? *x : *y, ReadSingleSpeed(in, axis)}};
    } else if (one) {
        const A axis = in.Axis("Axis", std::size(kStage)).value_or(A::Z);
        request.axes = {{axis, *one, ReadSingleSpeed(in, axis)}};
    } else {
        in.Refuse(L"there is no target: neither TargetX, TargetY nor MovePos is given");
    }
    return request;
}

void AddStagePosition(const CMachineModel& model, CIPVariable& result)
{
    result.SetChildItem("X", model.GetAxis(A::X).position);
    result.SetChildItem("Y", model.GetAxis(A::Y).position);
    result.SetChildItem("Z", model.GetAxis(A::Z).position);
}

} // namespace

CStageReceiver::CStageReceiver(CIPClient& client, CLiveMachine& machine) : CMotionReceiver(machine)
{
    CreateIPCommandTarget(&client);
}

CStageReceiver::~CStageReceiver()
{
    DestroyIPCommandTarget();
}

const IP_COMMAND_TARGET* CStageReceiver::GetIPCommandTargetStatic() const
{
    static const IP_COMMAND_TARGET_ENTRY entries[] = {
        IPCommandEntry("Stage", "StageMovePos", &CStageReceiver::OnMove),
        IPCommandEntry("Stage", "StageMove", &CStageReceiver::OnMove),
        IPCommandEntry("Stage", "MoveStage", &CStageReceiver::OnMove),
        IPCommandEntry("Stage", "StageStop", &CStageReceiver::OnStop),
        IPCommandEntry("Stage", "GetPosition", &CStageReceiver::OnGetPosition),
        IPCommandEntry("Stage", "ChangeLens", &CStageReceiver::OnChangeLens),
        IPCommandEntry("Stage", "Switch", &CStageReceiver::OnSwitch),
        IPCommandEntry("Stage", "SetFault", &CStageReceiver::OnSetFault),
        {nullptr, nullptr, nullptr},
    };
    static const IP_COMMAND_TARGET table{entries, CMotionReceiver::GetIPCommandTargetStatic()};
    return &table;
}

int CStageReceiver::OnMove(CIPCommand& command)
{
    if (IsFirstCall(command)) {
        CMachineParameters in(command.GetParameter());
        const T_MOVE_REQUEST request = ReadMove(in);
        return in.IsGood() ? BeginMoves(command, {request}) : Fail(command, in.GetError());
    }
    return FollowMoves(command, [&] {
        GetMachine().Do([&](CMachineModel& model) { AddStagePosition(model, command.GetResult()); });
    });
}

int CStageReceiver::OnStop(CIPCommand& command)
{
    CMachineParameters in(command.GetParameter());
    const std::optional<A> only = in.Axis("Axis", std::size(kStage));
    if (!in.IsGood()) {
        return Fail(command, in.GetError());
    }
    if (!command.IsOK()) {
        return Fail(command, L"the command was aborted; the axes stop all the same");
    }
    const bool first = IsFirstCall(command);
    const bool moving = GetMachine().Do([&](CMachineModel& model) {
        bool any = false;
        for (const A axis : kStage) {
            if (!only || *only == axis) {
                if (first) {
                    model.StopAxis(axis, L"stopped");
                }
                // A newer move may have begun meanwhile: this command's part is done then.
                any = any || model.IsBraking(axis);
            }
        }
        return any;
    });
    if (moving) {
        first ? command.EnqueueNextStep(IP_NEXT_STEP, 2) : command.EnqueueNextStepCurrent(2);
    }
    return 1;
}

int CStageReceiver::OnGetPosition(CIPCommand& command)
{
    CIPVariable& result = command.GetResult();
    GetMachine().Do([&](CMachineModel& model) {
        AddStagePosition(model, result);
        result.SetChildItem("TrueX", model.GetAxis(A::X).truth);
        result.SetChildItem("TrueY", model.GetAxis(A::Y).truth);
        result.SetChildItem("TrueZ", model.GetAxis(A::Z).truth);
        result.SetChildItem("SlitX", model.GetAxis(A::SLIT_X).position);
        result.SetChildItem("SlitY", model.GetAxis(A::SLIT_Y).position);
        result.SetChildItem("SlitT", model.GetAxis(A::SLIT_ANGLE).position);
        result.SetChildItem("Lens", model.GetLens());
        result.SetChildItem("SlitOn", model.IsSlitOn() ? 1 : 0);
        result.SetChildItem("LaserOn", model.IsLaserOn() ? 1 : 0);
        result.SetChildItem("Moving", model.IsMoving() || model.IsLensMoving() ? 1 : 0);
        result.SetChildItem("Time", model.GetTime());
    });
    return 1;
}

int CStageReceiver::OnChangeLens(CIPCommand& command)
{
    if (!IsFirstCall(command)) {
        return FollowMoves(command, [] {});
    }
    CMachineParameters in(command.GetParameter());
    const std::optional<int> lens = in.Whole("LensNo", 0, 9);
    if (!lens) {
        in.Refuse(L"there is no LensNo");
        return Fail(command, in.GetError());
    }
    CString error;
    const CMachineMove move =
        GetMachine().Do([&](CMachineModel& model) { return model.ChangeLens(*lens, error); });
    return move != nullptr ? Follow(command, {move}) : Fail(command, error);
}

int CStageReceiver::OnSwitch(CIPCommand& command)
{
    CMachineParameters in(command.GetParameter());
    const std::optional<int> slit = in.Whole("Slit", 0, 1);
    const std::optional<int> laser = in.Whole("Laser", 0, 1);
    if (!slit && !laser) {
        in.Refuse(L"neither Slit nor Laser is given");
    }
    if (!in.IsGood()) {
        return Fail(command, in.GetError());
    }
    GetMachine().Do([&](CMachineModel& model) {
        if (slit) {
            model.SetSlitOn(*slit != 0);
        }
        if (laser) {
            model.SetLaserOn(*laser != 0);
        }
    });
    return 1;
}

int CStageReceiver::OnSetFault(CIPCommand& command)
{
    CMachineParameters in(command.GetParameter());
    const std::optional<A> axis = in.Axis("Axis", kMachineAxes);
    const std::optional<int> kind = in.Word("Kind", {L"none", L"stuck", L"limit"});
    if (!axis || !kind) {
        in.Refuse(axis ? L"there is no Kind" : L"there is no Axis");
        return Fail(command, in.GetError());
    }
    GetMachine().Do([&](CMachineModel& model) { model.SetFault(*axis, static_cast<eMACHINE_FAULT>(*kind)); });
    return 1;
}

} // namespace alidade
