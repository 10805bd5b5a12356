#pragma once

#include "foundation/bus/IPBus.h"
#include "foundation/platform/Event.h"
#include "host/machine/SlitReceiver.h"
#include "host/machine/StageReceiver.h"

#include <thread>

namespace alidade {

/// A machine to talk to: publishes "MotorPosition" and "AxisParameter" (GetMotorPositionItems,
/// GetAxisParameterItems) and obeys the commands of GetMachineCommandGroups under the tasks "Sequence" and
/// "Slit".
///
/// In real time it publishes every cycle from a thread of its own. Tests drive it by the manual clock:
///
///     CManualTicks ticks;
///     CMachineSimulator machine;
///     machine.Start(settings, bus, nullptr, error);
///     client.PostIPCommand("Sequence", "", "Stage", "StageMovePos", in, nullptr);
///     while (machine.CountCommands() < 1) { std::this_thread::yield(); } // it has begun, at this very tick
///     ticks.Advance(50);
///     machine.Update();                                            // 50 cycles made and published
///
/// Positions depend on the settings and on the ticks at which commands began, not on when threads run.
/// Without a bus between, GetMachine().Do starts moves at the present tick at once. A command ends some ms of
/// the clock after its move: go on advancing while you wait for it. Thread-safe once started.
class CMachineSimulator {
public:
    CMachineSimulator();
    /// Stops.
    ~CMachineSimulator();
    CMachineSimulator(const CMachineSimulator&) = delete;
    CMachineSimulator& operator=(const CMachineSimulator&) = delete;

    /// @param bus  null: the one that the whole process shares
    /// @param log  for commands that fail unseen; not owned, outlives the machine; may be null
    /// @return 1; 0 with `error` set for settings that do not fit, for blocks that another machine has, or
    ///         when it runs already
    int Start(const T_MACHINE_SETTINGS& settings, std::shared_ptr<CIPBus> bus, CSimpleLog* log,
              CString& error);
    /// Fails the commands in flight, takes the blocks down and joins the thread.
    void Stop();
    bool IsRunning() const { return m_run != nullptr; }

    /// @name While it runs
    ///@{
    CLiveMachine& GetMachine();
    /// Makes the cycles that are due by the clock and publishes the last one.
    void Update() { GetMachine().Update(); }
    /// Commands that have begun: each has taken effect at the tick at which this shows.
    std::uint64_t CountCommands() const;
    ///@}

private:
    struct T_RUN;
    std::unique_ptr<T_RUN> m_run;
};

} // namespace alidade
