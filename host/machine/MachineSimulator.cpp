#include "host/machine/MachineSimulator.h"

#include "foundation/platform/Thread.h"

namespace alidade {

struct CMachineSimulator::T_RUN {
    T_RUN(const T_MACHINE_SETTINGS& settings, const std::shared_ptr<CIPBus>& bus, CSimpleLog* log)
        : machine(settings), sequence(nullptr, log, "Sequence", bus), slit(nullptr, log, "Slit", bus),
          cycle(static_cast<DWORD>(settings.dCycle))
    {
    }
    ~T_RUN()
    {
        // Commands fail first, while there is a machine that they can brake.
        slitReceiver.reset();
        stageReceiver.reset();
        slit.Shutdown();
        sequence.Shutdown();
        if (thread.joinable()) {
            stop.SetEvent();
            thread.join();
        }
    }
    void Serve()
    {
        stageReceiver.emplace(sequence, machine);
        slitReceiver.emplace(slit, machine);
        thread = std::thread([this] {
            NameThisThread("machine");
            while (!stop.Wait(cycle)) {
                machine.Update();
            }
        });
    }

    CLiveMachine machine;
    CIPClient sequence;
    CIPClient slit;
    std::optional<CStageReceiver> stageReceiver;
    std::optional<CSlitReceiver> slitReceiver;
    const DWORD cycle;
    CEvent stop{false, true};
    std::thread thread;
};

CMachineSimulator::CMachineSimulator() = default;

CMachineSimulator::~CMachineSimulator()
{
    Stop();
}

int CMachineSimulator::Start(const T_MACHINE_SETTINGS& settings, std::shared_ptr<CIPBus> bus, CSimpleLog* log,
                             CString& error)
{
    if (m_run != nullptr) {
        error = L"the machine runs already";
        return 0;
    }
    if (!CheckMachineSettings(settings, error)) {
        return 0;
    }
    auto run = std::make_unique<T_RUN>(settings, bus, log);
    if (!run->machine.Start(error)) {
        return 0;
    }
    run->Serve();
    m_run = std::move(run);
    return 1;
}

void CMachineSimulator::Stop()
{
    m_run.reset();
}

CLiveMachine& CMachineSimulator::GetMachine()
{
    return m_run->machine;
}

std::uint64_t CMachineSimulator::CountCommands() const
{
    return m_run->stageReceiver->CountBegun() + m_run->slitReceiver->CountBegun();
}

} // namespace alidade
