#include "host/machine/LiveMachine.h"

#include "foundation/platform/Ticks.h"

#include <algorithm>

namespace alidade {
namespace {

/// Cycles made good after a halt, such as a computer's sleep; the machine stood still for the rest.
constexpr DWORD kMostCycles = 600000;

} // namespace

CLiveMachine::CLiveMachine(const T_MACHINE_SETTINGS& settings)
    : m_model(settings), m_cycle(static_cast<DWORD>(settings.dCycle)), m_tick(GetTickCount())
{
}

int CLiveMachine::Start(CString& error)
{
    CS lock(&m_lock);
    if (!m_blocks.Create(error)) {
        return 0;
    }
    m_tick = GetTickCount();
    m_started = true;
    m_blocks.Publish(m_model, m_tick);
    return 1;
}

void CLiveMachine::CatchUp()
{
    if (!m_started) {
        return;
    }
    const DWORD elapsed = GetTickCount() - m_tick;
    if (static_cast<std::int32_t>(elapsed) < 0) {
        m_tick += elapsed; // the clock was set back
        return;
    }
    const DWORD due = elapsed / m_cycle;
    m_tick += due * m_cycle;
    for (DWORD i = std::min(due, kMostCycles); i > 0; --i) {
        m_model.Step();
    }
}

} // namespace alidade
