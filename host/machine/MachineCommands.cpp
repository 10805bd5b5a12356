#include "host/machine/MachineCommands.h"

namespace alidade {
namespace {

// clang-format off
constexpr T_MACHINE_COMMAND_ROW kStageRows[] = {
    {"StageMovePos, StageMove, MoveStage", "in", "TargetX", "number", "limits of X, mm", "with TargetY: both go along a line; alone: X only"},
    {"", "in", "TargetY", "number", "limits of Y, mm", "as TargetX"},
    {"", "in", "MovePos", "number", "limits of the axis, mm", "target of the axis that Axis names, of Z without it; also called Target. Not beside TargetX or TargetY"},
    {"", "in", "Axis", "axis", "0, 1, 2, X, Y, Z", "the axis of MovePos; not looked at beside TargetX or TargetY"},
    {"", "in", "Speed", "number", "0 to the highest, mm/s", "along the line; 0 or none: as set up"},
    {"", "in", "SpeedX", "number", "0 to the highest, mm/s", "the most for X. For a single axis: its speed, if Speed is not given"},
    {"", "in", "SpeedY", "number", "0 to the highest, mm/s", "the most for Y. For a single axis: its speed, if neither Speed nor SpeedX fits"},
    {"", "in", "InPosition", "number", "above 0, mm", "tolerance instead of the one set up"},
    {"", "out", "X", "double", "mm", "encoder at the end"},
    {"", "out", "Y", "double", "mm", "encoder at the end"},
    {"", "out", "Z", "double", "mm", "encoder at the end"},
    {"StageStop", "in", "Axis", "axis", "0, 1, 2, X, Y, Z", "the axis to stop; none: all three. What moves with it stops too. Ends when they stand"},
    {"GetPosition", "out", "X", "double", "mm", "encoder of X"},
    {"", "out", "Y", "double", "mm", "encoder of Y"},
    {"", "out", "Z", "double", "mm", "encoder of Z"},
    {"", "out", "TrueX", "double", "mm", "where X really stands"},
    {"", "out", "TrueY", "double", "mm", "where Y really stands"},
    {"", "out", "TrueZ", "double", "mm", "where Z really stands"},
    {"", "out", "SlitX", "double", "pulses", "slit X"},
    {"", "out", "SlitY", "double", "pulses", "slit Y"},
    {"", "out", "SlitT", "double", "degrees", "slit angle"},
    {"", "out", "Lens", "int", "0 to 9", "number of the lens"},
    {"", "out", "SlitOn", "int", "0, 1", "the slit's light"},
    {"", "out", "LaserOn", "int", "0, 1", "the laser"},
    {"", "out", "Moving", "int", "0, 1", "whether any axis or the turret moves or settles"},
    {"", "out", "Time", "double", "ms", "since the machine's start, of these values"},
    {"ChangeLens", "in", "LensNo", "whole", "0 to 9", "number of the lens to turn to; required. Ends when it is there"},
    {"Switch", "in", "Slit", "whole", "0, 1", "the slit's light off or on"},
    {"", "in", "Laser", "whole", "0, 1", "the laser off or on. At least one of the two"},
    {"SetFault", "in", "Axis", "axis", "0 to 5, X, Y, Z, SlitX, SlitY, SlitT", "the axis that fails; required"},
    {"", "in", "Kind", "text", "none, stuck, limit", "its motor does not turn; its limit switch answers; required"},
};

constexpr T_MACHINE_COMMAND_ROW kSlitRows[] = {
    {"SetSlitAbsPosition", "in", "PulseX", "number", "limits of the slit, pulses", "target of slit X, also called TargetX. With PulseY: both go along a line"},
    {"", "in", "PulseY", "number", "limits of the slit, pulses", "target of slit Y, also called TargetY"},
    {"", "in", "Angle", "number", "limits of the slit angle, degrees", "target of the slit's turn, also called TargetAngle or TargetT"},
    {"", "in", "Axis", "text", "any", "not looked at: the targets tell the axes"},
    {"", "out", "SlitX", "double", "pulses", "slit X at the end"},
    {"", "out", "SlitY", "double", "pulses", "slit Y at the end"},
    {"", "out", "SlitT", "double", "degrees", "slit angle at the end"},
};
// clang-format on

constexpr T_MACHINE_COMMAND_GROUP kGroups[] = {
    {"Sequence", "Stage", kStageRows},
    {"Slit", "Command", kSlitRows},
};

} // namespace

std::span<const T_MACHINE_COMMAND_GROUP> GetMachineCommandGroups()
{
    return kGroups;
}

} // namespace alidade
