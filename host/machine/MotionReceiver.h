#pragma once

#include "foundation/bus/IPClient.h"
#include "host/machine/LiveMachine.h"
#include "host/machine/MachineParameter.h"

namespace alidade {

/// What the machine's receivers share: commands that end when their moves have ended.
class CMotionReceiver : public IIPCommandTarget {
public:
    /// @param machine  not owned, outlives the receiver
    explicit CMotionReceiver(CLiveMachine& machine) : m_machine(machine) {}
    ~CMotionReceiver() override;

    /// Commands whose first call is over. Thread-safe.
    std::uint64_t CountBegun() const { return m_begun.load(); }

    /// Counts the first call of each command.
    int DoIPCommand(HIPCOMMAND command, const IP_COMMAND_TARGET_ENTRY* entry) override;

protected:
    CLiveMachine& GetMachine() { return m_machine; }

    /// Fails the command with a sentence made of `reason`; 0.
    static int Fail(CIPCommand& command, CString reason);
    static bool IsFirstCall(const CIPCommand& command) { return command.GetStep() == 0; }
    /// Starts the moves and follows them. For the first call of a handler.
    int BeginMoves(CIPCommand& command, const std::vector<T_MOVE_REQUEST>& requests);
    /// Follows a move that was started already; null: none.
    int Follow(CIPCommand& command, std::vector<CMachineMove> moves);
    /// Every further call: 1 while they go on, 0 with the command's error set when one failed; calls `ended`
    /// when all have ended well. An aborted command brakes what it moves.
    template <class F>
    int FollowMoves(CIPCommand& command, F&& ended)
    {
        const eMOVE_STATE state = LookAtMoves(command);
        if (state == eMOVE_STATE::DONE) {
            ended();
        }
        return state == eMOVE_STATE::FAILED ? 0 : 1;
    }

private:
    eMOVE_STATE LookAtMoves(CIPCommand& command);

    CLiveMachine& m_machine;
    std::atomic<std::uint64_t> m_begun{0};
};

} // namespace alidade
