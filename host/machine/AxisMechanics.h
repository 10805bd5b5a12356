#pragma once

#include "host/machine/MachineSettings.h"

namespace alidade {

/// What lies between an axis's command and its position: following error, backlash, the encoder's noise.
///
/// The encoder is on the motor's side: the noise is in its readings alone, and it does not see the backlash.
/// What is driven upwards stands where the encoder says, what is driven downwards stays behind by the
/// backlash. Value type.
class CAxisMechanics {
public:
    CAxisMechanics(const T_MACHINE_SETTINGS& settings, eMACHINE_AXIS axis);

    /// One cycle. @param cycle  its number, which with seed and axis decides the noise
    void Step(double command, std::uint64_t cycle);

    bool IsStuck() const { return m_stuck; }
    void SetStuck(bool stuck) { m_stuck = stuck; }

    double GetMotor() const { return m_motor; }
    /// What the encoder reads, noise included.
    double GetReading() const { return m_reading; }
    /// Where the axis really stands.
    double GetTruth() const { return m_truth; }
    /// The most that the motor may be behind its command before the drive gives up.
    double GetMostFollowingError() const { return m_mostFollowingError; }

private:
    double m_follow; // part of the distance to the command that one cycle makes good
    double m_backlash;
    double m_noise;
    double m_mostFollowingError;
    std::uint64_t m_seed;
    double m_motor;
    double m_truth;
    double m_reading;
    bool m_stuck = false;
};

} // namespace alidade
