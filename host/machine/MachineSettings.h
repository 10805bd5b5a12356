#pragma once

#include "foundation/config/ProfileSection.h"
#include "host/machine/MachineAxis.h"

#include <span>

namespace alidade {

/// What the simulated machine is like. Value type; GetMachineSettingTable gives units and ranges.
struct T_MACHINE_SETTINGS {
    T_MACHINE_SETTINGS();

    double dSeed, dCycle;
    double dXMin, dXMax, dYMin, dYMax, dZMin, dZMax, dSlitMin, dSlitMax, dSlitAngleMin, dSlitAngleMax;
    double dStageSpeed, dStageMaxSpeed, dStageAcceleration;
    double dZSpeed, dZMaxSpeed, dZAcceleration;
    double dSlitSpeed, dSlitMaxSpeed, dSlitAcceleration;
    double dSlitAngleSpeed, dSlitAngleMaxSpeed, dSlitAngleAcceleration;
    double dInPosition, dSlitInPosition, dSlitAngleInPosition, dSettleTime, dSettleLimit;
    double dLag, dNoise, dBacklash;
    double dStartX, dStartY, dStartZ, dStartLens, dLensTime;
};

/// One setting. Numbers are read with a decimal point.
struct T_MACHINE_SETTING {
    const wchar_t* key;
    double T_MACHINE_SETTINGS::*value;
    double defaultValue;
    double least;
    double most;
    bool whole; // takes whole numbers only
    const wchar_t* unit;
    const wchar_t* description;
};

/// One row a setting: the home of keys, defaults, ranges and descriptions.
std::span<const T_MACHINE_SETTING> GetMachineSettingTable();

/// Sets one setting by the text of its value.
/// @return 1; 0 with `error` set and nothing changed for an unknown key, no number, or one out of range
int SetMachineSetting(T_MACHINE_SETTINGS& settings, const CString& key, const CString& value, CString& error);
/// Reads the settings that a section has; the others stay as they are.
/// @return 1; 0 with `error` set and nothing changed
int ReadMachineSettings(const CProfileSection& section, T_MACHINE_SETTINGS& settings, CString& error);
/// Sees that the settings fit each other: limits in order, starts within them, speeds up to the highest.
int CheckMachineSettings(const T_MACHINE_SETTINGS& settings, CString& error);

/// The settings that concern one axis, in the axis's unit and seconds.
struct T_AXIS_SETTINGS {
    double least, most;
    double speed, maxSpeed, acceleration;
    double inPosition;
    double noise, backlash;
    double start;
};
T_AXIS_SETTINGS GetAxisSettings(const T_MACHINE_SETTINGS& settings, eMACHINE_AXIS axis);

} // namespace alidade
