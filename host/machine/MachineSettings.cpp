#include "host/machine/MachineSettings.h"

#include "foundation/platform/Text.h"
#include "host/machine/MachineNumber.h"

#include <cmath>

namespace alidade {
namespace {

using S = T_MACHINE_SETTINGS;

constexpr double kFar = 1e6; // mm; pulses have a range of their own

// clang-format off
constexpr T_MACHINE_SETTING kTable[] = {
    {L"Seed", &S::dSeed, 1, 0, 4294967295.0, true, L"", L"Seed of the noise: the same seed gives the same noise"},
    {L"Cycle", &S::dCycle, 1, 1, 100, true, L"ms", L"Time between two positions"},
    {L"XMin", &S::dXMin, -300, -kFar, kFar, false, L"mm", L"Least position of X"},
    {L"XMax", &S::dXMax, 300, -kFar, kFar, false, L"mm", L"Greatest position of X"},
    {L"YMin", &S::dYMin, -300, -kFar, kFar, false, L"mm", L"Least position of Y"},
    {L"YMax", &S::dYMax, 300, -kFar, kFar, false, L"mm", L"Greatest position of Y"},
    {L"ZMin", &S::dZMin, -20, -kFar, kFar, false, L"mm", L"Least position of Z"},
    {L"ZMax", &S::dZMax, 20, -kFar, kFar, false, L"mm", L"Greatest position of Z"},
    {L"SlitMin", &S::dSlitMin, -100000, -1e9, 1e9, false, L"pulses", L"Least position of slit X and Y"},
    {L"SlitMax", &S::dSlitMax, 100000, -1e9, 1e9, false, L"pulses", L"Greatest position of slit X and Y"},
    {L"SlitAngleMin", &S::dSlitAngleMin, -180, -3600, 3600, false, L"deg", L"Least slit angle"},
    {L"SlitAngleMax", &S::dSlitAngleMax, 180, -3600, 3600, false, L"deg", L"Greatest slit angle"},
    {L"StageSpeed", &S::dStageSpeed, 100, 0.001, 1e5, false, L"mm/s", L"Speed of X and Y unless commanded otherwise"},
    {L"StageMaxSpeed", &S::dStageMaxSpeed, 500, 0.001, 1e5, false, L"mm/s", L"Highest speed of X and of Y"},
    {L"StageAcceleration", &S::dStageAcceleration, 2000, 0.001, 1e7, false, L"mm/s^2", L"Acceleration of X and of Y"},
    {L"ZSpeed", &S::dZSpeed, 20, 0.001, 1e5, false, L"mm/s", L"Speed of Z unless commanded otherwise"},
    {L"ZMaxSpeed", &S::dZMaxSpeed, 50, 0.001, 1e5, false, L"mm/s", L"Highest speed of Z"},
    {L"ZAcceleration", &S::dZAcceleration, 500, 0.001, 1e7, false, L"mm/s^2", L"Acceleration of Z"},
    {L"SlitSpeed", &S::dSlitSpeed, 20000, 0.001, 1e9, false, L"pulses/s", L"Speed of slit X and Y unless commanded otherwise"},
    {L"SlitMaxSpeed", &S::dSlitMaxSpeed, 100000, 0.001, 1e9, false, L"pulses/s", L"Highest speed of slit X and of slit Y"},
    {L"SlitAcceleration", &S::dSlitAcceleration, 200000, 0.001, 1e10, false, L"pulses/s^2", L"Acceleration of slit X and of slit Y"},
    {L"SlitAngleSpeed", &S::dSlitAngleSpeed, 90, 0.001, 1e5, false, L"deg/s", L"Speed of the slit's turn unless commanded otherwise"},
    {L"SlitAngleMaxSpeed", &S::dSlitAngleMaxSpeed, 360, 0.001, 1e5, false, L"deg/s", L"Highest speed of the slit's turn"},
    {L"SlitAngleAcceleration", &S::dSlitAngleAcceleration, 720, 0.001, 1e7, false, L"deg/s^2", L"Acceleration of the slit's turn"},
    {L"InPosition", &S::dInPosition, 0.005, 1e-6, 1000, false, L"mm", L"X, Y and Z are in position so near to the target"},
    {L"SlitInPosition", &S::dSlitInPosition, 1, 1e-6, 1e6, false, L"pulses", L"Slit X and Y are in position so near to the target"},
    {L"SlitAngleInPosition", &S::dSlitAngleInPosition, 0.01, 1e-6, 360, false, L"deg", L"The slit's turn is in position so near to the target"},
    {L"SettleTime", &S::dSettleTime, 20, 0, 60000, false, L"ms", L"A move has ended when all its axes were in position for so long"},
    {L"SettleLimit", &S::dSettleLimit, 5000, 1, 600000, false, L"ms", L"A move fails when it is not in position so long after its way"},
    {L"Lag", &S::dLag, 0, 0, 1000, false, L"ms", L"Following error: the time constant by which an axis follows its command"},
    {L"Noise", &S::dNoise, 0, 0, 10, false, L"mm", L"Standard deviation of the readings of X, Y and Z"},
    {L"Backlash", &S::dBacklash, 0, 0, 10, false, L"mm", L"Lost motion of X, Y and Z when they turn round"},
    {L"StartX", &S::dStartX, 0, -kFar, kFar, false, L"mm", L"Where X stands at first"},
    {L"StartY", &S::dStartY, 0, -kFar, kFar, false, L"mm", L"Where Y stands at first"},
    {L"StartZ", &S::dStartZ, 0, -kFar, kFar, false, L"mm", L"Where Z stands at first"},
    {L"StartLens", &S::dStartLens, 0, 0, 9, true, L"", L"Number of the lens at first"},
    {L"LensTime", &S::dLensTime, 800, 0, 600000, false, L"ms", L"Time that the turret takes for a change"},
};
// clang-format on

int RefuseSetting(CString& error, CString text)
{
    error = std::move(text);
    return 0;
}

CString DescribeRange(const T_MACHINE_SETTING& row)
{
    return Format(L"%s from %.10g to %.10g%s%s", row.whole ? L"a whole number" : L"a number", row.least,
                  row.most, *row.unit != L'\0' ? L" " : L"", row.unit);
}

} // namespace

T_MACHINE_SETTINGS::T_MACHINE_SETTINGS()
{
    for (const T_MACHINE_SETTING& row : kTable) {
        this->*row.value = row.defaultValue;
    }
}

std::span<const T_MACHINE_SETTING> GetMachineSettingTable()
{
    return kTable;
}

int SetMachineSetting(T_MACHINE_SETTINGS& settings, const CString& key, const CString& value, CString& error)
{
    for (const T_MACHINE_SETTING& row : kTable) {
        if (key != row.key) {
            continue;
        }
        const std::optional<double> number = ParseMachineNumber(ToNarrow(value));
        if (!number || *number < row.least || *number > row.most ||
            (row.whole && *number != std::floor(*number))) {
            return RefuseSetting(
                error, Format(L"%s = \"%s\" is not %s", row.key, value.c_str(), DescribeRange(row).c_str()));
        }
        settings.*row.value = *number;
        return 1;
    }
    return RefuseSetting(error, L"\"" + key + L"\" is no setting of the machine");
}

int ReadMachineSettings(const CProfileSection& section, T_MACHINE_SETTINGS& settings, CString& error)
{
    T_MACHINE_SETTINGS read = settings;
    for (const CProfileItem* item : section.m_items) {
        if (!SetMachineSetting(read, item->m_strKey, item->m_strValue, error)) {
            return 0;
        }
    }
    settings = read;
    return 1;
}

int CheckMachineSettings(const T_MACHINE_SETTINGS& settings, CString& error)
{
    for (std::size_t i = 0; i < kMachineAxes; ++i) {
        const T_AXIS_SETTINGS axis = GetAxisSettings(settings, MachineAxis(i));
        const auto [name, unit] = GetAxisName(MachineAxis(i));
        if (!(axis.least < axis.most)) {
            return RefuseSetting(error, Format(L"the limits of %s, %.10g to %.10g %s, leave no travel", name,
                                               axis.least, axis.most, unit));
        }
        if (axis.start < axis.least || axis.start > axis.most) {
            return RefuseSetting(
                error, Format(L"the start of %s, %.10g %s, lies outside of its limits %.10g to %.10g", name,
                              axis.start, unit, axis.least, axis.most));
        }
        if (axis.speed > axis.maxSpeed) {
            return RefuseSetting(error, Format(L"the speed of %s, %.10g %s/s, is above its highest, %.10g",
                                               name, axis.speed, unit, axis.maxSpeed));
        }
    }
    return 1;
}

T_AXIS_SETTINGS GetAxisSettings(const T_MACHINE_SETTINGS& s, eMACHINE_AXIS axis)
{
    const auto stage = [&](double least, double most, double start) {
        return T_AXIS_SETTINGS{
            least,    most,        s.dStageSpeed, s.dStageMaxSpeed, s.dStageAcceleration, s.dInPosition,
            s.dNoise, s.dBacklash, start};
    };
    // The slit has neither noise nor backlash, and stands at 0 at first, or at the limit that is nearest.
    const auto slit = [](double least, double most, double speed, double maxSpeed, double acceleration,
                         double inPosition) {
        const double start = least > 0 ? least : most < 0 ? most : 0;
        return T_AXIS_SETTINGS{least, most, speed, maxSpeed, acceleration, inPosition, 0, 0, start};
    };
    switch (axis) {
    case eMACHINE_AXIS::X:
        return stage(s.dXMin, s.dXMax, s.dStartX);
    case eMACHINE_AXIS::Y:
        return stage(s.dYMin, s.dYMax, s.dStartY);
    case eMACHINE_AXIS::Z:
        return {s.dZMin,       s.dZMax,  s.dZSpeed,   s.dZMaxSpeed, s.dZAcceleration,
                s.dInPosition, s.dNoise, s.dBacklash, s.dStartZ};
    case eMACHINE_AXIS::SLIT_X:
    case eMACHINE_AXIS::SLIT_Y:
        return slit(s.dSlitMin, s.dSlitMax, s.dSlitSpeed, s.dSlitMaxSpeed, s.dSlitAcceleration,
                    s.dSlitInPosition);
    case eMACHINE_AXIS::SLIT_ANGLE:
        break;
    }
    return slit(s.dSlitAngleMin, s.dSlitAngleMax, s.dSlitAngleSpeed, s.dSlitAngleMaxSpeed,
                s.dSlitAngleAcceleration, s.dSlitAngleInPosition);
}

} // namespace alidade
