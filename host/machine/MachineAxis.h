#pragma once

#include <cstddef>

namespace alidade {

/// The axes of the simulated machine. X, Y and Z are in mm, the slit's jaws in pulses, its turn in degrees.
enum class eMACHINE_AXIS { X, Y, Z, SLIT_X, SLIT_Y, SLIT_ANGLE };
inline constexpr std::size_t kMachineAxes = 6;

constexpr std::size_t AxisIndex(eMACHINE_AXIS axis)
{
    return static_cast<std::size_t>(axis);
}
constexpr eMACHINE_AXIS MachineAxis(std::size_t index)
{
    return static_cast<eMACHINE_AXIS>(index);
}

/// The axis as messages name it, and its unit.
struct T_MACHINE_AXIS_NAME {
    const wchar_t* name;
    const wchar_t* unit;
};
constexpr T_MACHINE_AXIS_NAME GetAxisName(eMACHINE_AXIS axis)
{
    constexpr T_MACHINE_AXIS_NAME kNames[kMachineAxes] = {
        {L"X", L"mm"},          {L"Y", L"mm"},          {L"Z", L"mm"},
        {L"slit X", L"pulses"}, {L"slit Y", L"pulses"}, {L"slit angle", L"deg"},
    };
    return kNames[AxisIndex(axis)];
}

} // namespace alidade
