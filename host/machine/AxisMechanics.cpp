#include "host/machine/AxisMechanics.h"

#include <algorithm>
#include <cmath>

namespace alidade {
namespace {

/// Below any encoder's resolution: a motor so near to its command is there.
constexpr double kArrived = 1e-6;

/// A bijection of 64 bits whose results look like chance.
std::uint64_t Mix(std::uint64_t bits)
{
    bits += 0x9E3779B97F4A7C15u;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9u;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBu;
    return bits ^ (bits >> 31);
}

/// Normal with mean 0 and deviation 1, by a sum of twelve even numbers: the same on every platform, and never
/// beyond 6. A function of its number alone, so that nothing that is read or left out shifts it.
double NormalNumber(std::uint64_t seed, std::uint64_t number)
{
    double sum = 0;
    std::uint64_t bits = Mix(seed ^ Mix(number));
    for (int i = 0; i < 3; ++i, bits = Mix(bits)) {
        for (int shift = 0; shift < 64; shift += 16) {
            sum += static_cast<double>((bits >> shift) & 0xFFFF);
        }
    }
    return (sum - 12 * 32767.5) / 65536.0;
}

} // namespace

CAxisMechanics::CAxisMechanics(const T_MACHINE_SETTINGS& settings, eMACHINE_AXIS axis)
{
    const T_AXIS_SETTINGS own = GetAxisSettings(settings, axis);
    m_follow = settings.dLag > 0 ? -std::expm1(-settings.dCycle / settings.dLag) : 1.0;
    m_backlash = own.backlash;
    m_noise = own.noise;
    // What the lag explains at full speed, twice, and ten times what counts as there.
    m_mostFollowingError = 2 * own.maxSpeed * settings.dLag / 1000 + 10 * own.inPosition;
    m_seed = Mix(static_cast<std::uint64_t>(settings.dSeed)) + AxisIndex(axis);
    m_motor = m_truth = m_reading = own.start;
}

void CAxisMechanics::Step(double command, std::uint64_t cycle)
{
    if (!m_stuck) {
        m_motor += m_follow * (command - m_motor);
        if (std::abs(command - m_motor) < kArrived) {
            m_motor = command;
        }
    }
    m_truth = std::clamp(m_truth, m_motor, m_motor + m_backlash);
    m_reading = m_noise > 0 ? m_motor + m_noise * NormalNumber(m_seed, cycle) : m_motor;
}

} // namespace alidade
