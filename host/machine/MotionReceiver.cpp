#include "host/machine/MotionReceiver.h"

#include <cwctype>

namespace alidade {
namespace {

constexpr DWORD kPollMs = 2;

struct T_MOVES : IIPLocalVar {
    std::vector<CMachineMove> moves;
};
constexpr char kMoves[] = "Moves";
constexpr wchar_t kAborted[] = L"the command was aborted";

} // namespace

CMotionReceiver::~CMotionReceiver() = default;

int CMotionReceiver::DoIPCommand(HIPCOMMAND command, const IP_COMMAND_TARGET_ENTRY* entry)
{
    const bool first = IsFirstCall(*command.Get());
    const bool aborted = first && !command->IsOK(); // before it has moved anything
    const int result =
        aborted ? Fail(*command.Get(), kAborted) : IIPCommandTarget::DoIPCommand(command, entry);
    m_begun += first ? 1 : 0;
    return result;
}

int CMotionReceiver::Fail(CIPCommand& command, CString reason)
{
    if (!reason.empty()) {
        reason[0] = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(reason[0])));
        reason += L'.';
    }
    command.SetError(reason.c_str());
    return 0;
}

int CMotionReceiver::BeginMoves(CIPCommand& command, const std::vector<T_MOVE_REQUEST>& requests)
{
    std::vector<CMachineMove> moves;
    CString error;
    if (!m_machine.Do([&](CMachineModel& model) { return model.StartMoves(requests, moves, error); })) {
        return Fail(command, error);
    }
    return Follow(command, std::move(moves));
}

int CMotionReceiver::Follow(CIPCommand& command, std::vector<CMachineMove> moves)
{
    command.LocalVar<T_MOVES>(kMoves).moves = std::move(moves);
    return command.EnqueueNextStep(IP_NEXT_STEP, kPollMs);
}

eMOVE_STATE CMotionReceiver::LookAtMoves(CIPCommand& command)
{
    const std::vector<CMachineMove>& moves = command.LocalVar<T_MOVES>(kMoves).moves;
    eMOVE_STATE state = eMOVE_STATE::DONE;
    CString error;
    const bool aborted = !command.IsOK(); // looked at once: another thread may abort it any time
    m_machine.Do([&](CMachineModel& model) {
        if (aborted) {
            for (const CMachineMove& move : moves) {
                model.StopMove(move, kAborted);
            }
        }
        for (const CMachineMove& move : moves) {
            if (move->state == eMOVE_STATE::FAILED) {
                state = eMOVE_STATE::FAILED;
                error = move->error;
                break;
            }
            if (move->state == eMOVE_STATE::RUNNING) {
                state = eMOVE_STATE::RUNNING;
            }
        }
        if (state == eMOVE_STATE::FAILED) {
            for (const CMachineMove& move : moves) {
                model.StopMove(move, error); // a command fails as a whole
            }
        }
    });
    if (aborted && state != eMOVE_STATE::FAILED) {
        state = eMOVE_STATE::FAILED; // what it moved has ended, or cannot be stopped
        error = kAborted;
    }
    if (state == eMOVE_STATE::FAILED) {
        Fail(command, error);
    } else if (state == eMOVE_STATE::RUNNING) {
        command.EnqueueNextStepCurrent(kPollMs);
    }
    return state;
}

} // namespace alidade
