#pragma once

#include "host/machine/MotionReceiver.h"

namespace alidade {

/// Group "Command" of the task "Slit": see GetMachineCommandGroups.
class CSlitReceiver : public CMotionReceiver {
public:
    CSlitReceiver(CIPClient& client, CLiveMachine& machine);
    ~CSlitReceiver() override;
    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override;

private:
    int OnSetPosition(CIPCommand& command);
};

} // namespace alidade
