#pragma once

#include "host/machine/MotionReceiver.h"

namespace alidade {

/// Group "Stage" of the task "Sequence": see GetMachineCommandGroups.
class CStageReceiver : public CMotionReceiver {
public:
    CStageReceiver(CIPClient& client, CLiveMachine& machine);
    ~CStageReceiver() override;
    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override;

private:
    int OnMove(CIPCommand& command);
    int OnStop(CIPCommand& command);
    int OnGetPosition(CIPCommand& command);
    int OnChangeLens(CIPCommand& command);
    int OnSwitch(CIPCommand& command);
    int OnSetFault(CIPCommand& command);
};

} // namespace alidade
