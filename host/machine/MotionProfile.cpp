#include "host/machine/MotionProfile.h"

#include <algorithm>
#include <cmath>

namespace alidade {

CMotionProfile CMotionProfile::Move(double distance, double speed, double acceleration)
{
    CMotionProfile profile;
    profile.m_distance = distance;
    profile.m_acceleration = acceleration;
    profile.m_peak = std::min(speed, std::sqrt(distance * acceleration));
    if (profile.m_peak > 0) {
        profile.m_up = profile.m_down = profile.m_peak / acceleration;
        profile.m_cruise = std::max(0.0, distance / profile.m_peak - profile.m_up);
    }
    return profile;
}

CMotionProfile CMotionProfile::Brake(double speed, double acceleration)
{
    CMotionProfile profile;
    profile.m_distance = speed * speed / (2 * acceleration);
    profile.m_acceleration = acceleration;
    profile.m_peak = speed;
    profile.m_down = speed / acceleration;
    return profile;
}

CMotionProfile::T_POINT CMotionProfile::At(double time) const
{
    if (time <= 0) {
        return {0, m_up > 0 ? 0 : m_peak};
    }
    if (time < m_up) {
        return {m_acceleration * time * time / 2, m_acceleration * time};
    }
    if (time < m_up + m_cruise) {
        return {m_peak * (time - m_up / 2), m_peak};
    }
    const double rest = GetDuration() - time;
    if (rest <= 0) {
        return {m_distance, 0};
    }
    return {m_distance - m_acceleration * rest * rest / 2, m_acceleration * rest};
}

} // namespace alidade
