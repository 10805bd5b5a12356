#include "host/machine/SlitReceiver.h"

namespace alidade {
namespace {

using A = eMACHINE_AXIS;

std::vector<T_MOVE_REQUEST> ReadMoves(CMachineParameters& in)
{
    std::vector<T_MOVE_REQUEST> requests;
    T_MOVE_REQUEST jaws;
    if (const auto x = in.Number({"PulseX", "TargetX"})) {
        jaws.axes.push_back({A::SLIT_X, *x});
    }
    if (const auto y = in.Number({"PulseY", "TargetY"})) {
        jaws.axes.push_back({A::SLIT_Y, *y});
    }
    if (!jaws.axes.empty()) {
        requests.push_back(jaws);
    }
    if (const auto angle = in.Number({"Angle", "TargetAngle", "TargetT"})) {
        T_MOVE_REQUEST turn;
        turn.axes.push_back({A::SLIT_ANGLE, *angle});
        requests.push_back(turn);
    }
    if (requests.empty()) {
        in.Refuse(L"there is no target: neither PulseX, PulseY nor Angle is given");
    }
    return requests;
}

} // namespace

CSlitReceiver::CSlitReceiver(CIPClient& client, CLiveMachine& machine) : CMotionReceiver(machine)
{
    CreateIPCommandTarget(&client);
}

CSlitReceiver::~CSlitReceiver()
{
    DestroyIPCommandTarget();
}

const IP_COMMAND_TARGET* CSlitReceiver::GetIPCommandTargetStatic() const
{
    static const IP_COMMAND_TARGET_ENTRY entries[] = {
        IPCommandEntry("Command", "SetSlitAbsPosition", &CSlitReceiver::OnSetPosition),
        {nullptr, nullptr, nullptr},
    };
    static const IP_COMMAND_TARGET table{entries, CMotionReceiver::GetIPCommandTargetStatic()};
    return &table;
}

int CSlitReceiver::OnSetPosition(CIPCommand& command)
{
    if (IsFirstCall(command)) {
        CMachineParameters in(command.GetParameter());
        const std::vector<T_MOVE_REQUEST> requests = ReadMoves(in);
        return in.IsGood() ? BeginMoves(command, requests) : Fail(command, in.GetError());
    }
    return FollowMoves(command, [&] {
        GetMachine().Do([&](CMachineModel& model) {
            CIPVariable& result = command.GetResult();
            result.SetChildItem("SlitX", model.GetAxis(A::SLIT_X).position);
            result.SetChildItem("SlitY", model.GetAxis(A::SLIT_Y).position);
            result.SetChildItem("SlitT", model.GetAxis(A::SLIT_ANGLE).position);
        });
    });
}

} // namespace alidade
