#pragma once

#include "foundation/platform/CriticalSection.h"
#include "host/machine/MachineBlocks.h"

namespace alidade {

/// A machine model that keeps to the clock (GetTickCount) and publishes what it does.
///
/// Nothing happens by itself: every call first makes the cycles that are due, so that what is commanded takes
/// effect at the cycle of the present tick whichever thread comes first, and then publishes. What a caller
/// has learned can therefore be read from the shared blocks. Thread-safe.
class CLiveMachine {
public:
    explicit CLiveMachine(const T_MACHINE_SETTINGS& settings);

    /// Makes the shared blocks and publishes. The clock starts here. @return 1; 0 with `error` set
    int Start(CString& error);

    /// Calls `action` with the model, under the lock, at the present cycle: it must be short.
    template <class F>
    auto Do(F&& action)
    {
        CS lock(&m_lock);
        CatchUp();
        const CPublishing publishing(*this);
        return action(m_model);
    }
    /// Makes the cycles that are due and publishes the last one.
    void Update()
    {
        Do([](CMachineModel&) {});
    }

private:
    struct CPublishing {
        explicit CPublishing(CLiveMachine& machine) : m_machine(machine) {}
        ~CPublishing() { m_machine.m_blocks.Publish(m_machine.m_model, m_machine.m_tick); }
        CLiveMachine& m_machine;
    };
    void CatchUp();

    CCriticalSection m_lock;
    CMachineModel m_model;
    CMachineBlocks m_blocks;
    const DWORD m_cycle;
    DWORD m_tick; // of the model's last cycle
    bool m_started = false;
};

} // namespace alidade
