#include "FrameOrder.h"

namespace alidade {
namespace {

/// Steps from one frame number to another, negative backwards.
std::int64_t NumberStep(std::uint64_t from, std::uint64_t to)
{
    constexpr std::uint64_t kMost16 = 0xFFFF;
    const auto step = static_cast<std::int64_t>(to - from);
    if (from <= kMost16 && to <= kMost16 && step < -0x8000) {
        // Over the end of 16 bits; most cameras leave out the number 0 there.
        return step + static_cast<std::int64_t>(to == 0 ? kMost16 + 1 : kMost16);
    }
    return step;
}

} // namespace

void CFrameOrder::StartRun()
{
    m_bNumbered = false;
    m_nRefused = 0;
}

bool CFrameOrder::IsLater(std::uint64_t time, std::uint64_t number, std::int64_t step) const
{
    if (time != 0 && m_time != 0) {
        return time > m_time;
    }
    const bool countsNothing = number == 0 && m_number == 0;
    return !m_bNumbered || countsNothing || step > 0;
}

std::uint64_t CFrameOrder::NoteDamaged(std::uint64_t number)
{
    const std::int64_t step = m_bNumbered ? NumberStep(m_number, number) : 0;
    if (step <= 0) {
        return 0;
    }
    m_number = number;
    return static_cast<std::uint64_t>(step - 1);
}

CFrameOrder::T_VERDICT CFrameOrder::Check(std::uint64_t time, std::uint64_t number)
{
    const std::int64_t step = m_bNumbered ? NumberStep(m_number, number) : 1;
    T_VERDICT verdict;
    if (!IsLater(time, number, step)) {
        const std::uint64_t position = time != 0 ? time : number;
        m_nRefused = m_nRefused > 0 && position > m_refused ? m_nRefused + 1 : 1;
        m_refused = position;
        if (m_nRefused <= kRefusedRun) {
            return verdict;
        }
        verdict.bClockSetBack = true;
    }
    verdict.bAccepted = true;
    verdict.nMissed = step > 1 ? static_cast<std::uint64_t>(step - 1) : 0;
    m_nRefused = 0;
    m_time = time;
    m_number = number;
    m_bNumbered = true;
    return verdict;
}

} // namespace alidade
