#pragma once

namespace alidade {

/// A way along a line in time: up to speed, on, and down to rest, at one acceleration; a short way turns
/// round before full speed. Units are the caller's, with seconds. Value type.
class CMotionProfile {
public:
    struct T_POINT {
        double position; // from 0 to the distance
        double speed;
    };

    /// A way from rest to rest. @param distance  0 or more; speed and acceleration are above 0
    static CMotionProfile Move(double distance, double speed, double acceleration);
    /// From a speed (0 or more) down to rest as soon as possible.
    static CMotionProfile Brake(double speed, double acceleration);

    double GetDistance() const { return m_distance; }
    /// Seconds.
    double GetDuration() const { return m_up + m_cruise + m_down; }
    double GetPeakSpeed() const { return m_peak; }
    /// @param time  seconds from the beginning; held within the way
    T_POINT At(double time) const;

private:
    double m_distance = 0;
    double m_peak = 0;
    double m_acceleration = 1;
    double m_up = 0; // seconds of each part
    double m_cruise = 0;
    double m_down = 0;
};

} // namespace alidade
