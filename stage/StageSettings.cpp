#include "stage/StageSettings.h"

#include "widgets/PropertyGridGroup.h"

namespace alidade {
namespace {

constexpr const wchar_t* kYesNo = L"TRUE;FALSE";
constexpr const wchar_t* kTasks = L"Sequence;PLCLinker;UI;UIProcessor";
constexpr const wchar_t* kMoveCommands = L"StageMove;MoveStage;StageMovePos";
constexpr const wchar_t* kAxes = L"0;1;2;3;4;5;6;7;8;...;32";
constexpr const wchar_t* kSpeeds = L";0;10;20;50;100;";
constexpr const wchar_t* kBlocks = L"MotorPosition;Axis;...";

constexpr const wchar_t* kSharedMemory = L"값을 읽어올 때 사용할 공유메모리 설정";
constexpr const wchar_t* kUnsetWhenUnused = L"사용하지 않을 경우 값을 설정하면 안됨.";
constexpr const wchar_t* kTogether = L"XY 동시 이동명령이 있을경우";

constexpr T_STAGE_SETTING kSeparatorRow = {kPropertySeparator, L"", L"", false, L""};

constexpr T_STAGE_SETTING kLens[] = {
    {L"Use", L"TRUE", kYesNo, false},
    {L"IPData", L"AxisParameter", L"AxisParameter;Axis;...", true, kSharedMemory},
    {L"IPDataVar", L"AxisParameter.iCurrentLens", L"AxisParameter.iCurrentLens"},
};

constexpr T_STAGE_SETTING kStageXY[] = {
    {L"Use", L"TRUE", kYesNo, false},
    {L"CanMoveStageX", L"TRUE", kYesNo, false},
    {L"CanMoveStageY", L"TRUE", kYesNo, false},
    {L"Task", L"Sequence", kTasks},
    {L"Unit"},
    {L"Session", L"Stage", L"Stage"},
    {L"Command", L"StageMovePos", kMoveCommands},
    kSeparatorRow,
    {L"Individual", L"FALSE", kYesNo, false,
     L"XY를 동시에 움직이는 명령어가 없고, 축 하나씩 이동해야 할 경우 TRUE"},
    {L"AxisName", L"Axis", L";Axis", true, L"축 하나씩 이동할 경우, 축 옵션줄 때 사용할 IPVar의 이름"},
    {L"AxisValue", L"", kAxes, true, kUnsetWhenUnused},
    {L"AxisXValue", L"", kAxes, true, kUnsetWhenUnused},
    {L"AxisYValue", L"", kAxes, true, kUnsetWhenUnused},
    {L"SpeedName", L"Speed", L";Speed", true, kTogether},
    {L"SpeedValue", L"", kSpeeds, true, kTogether},
    {L"SpeedXName", L"SpeedX", L"SpeedX;Speed"},
    {L"SpeedXValue", L"", kSpeeds},
    {L"SpeedYName", L"SpeedY", L"SpeedY;Speed"},
    {L"SpeedYValue", L"", kSpeeds},
    {L"TargetXName", L"TargetX", L"TargetX;MovePos"},
    {L"TargetYName", L"TargetY", L"TargetY;MovePos"},
    {L"OptionName", L"", L";InPosition", true, L"추가 VarName"},
    {L"OptionValue", L"", L";0.005", true, L"추가 VarValue"},
    {L"OptionName2", L"", L"", true, L"추가 VarName2"},
    {L"OptionValue2", L"", L"", true, L"추가 VarValue2"},
    kSeparatorRow,
    {L"IPData", L"MotorPosition", kBlocks, true, kSharedMemory},
    {L"IPDataVarX", L"MotorPosition.dMachineStageX",
     L"MotorPosition.dMachineStageX;MotorPosition.dMachine[0]"},
    {L"IPDataVarY", L"MotorPosition.dMachineStageY",
     L"MotorPosition.dMachineStageY;MotorPosition.dMachine[1]"},
};

constexpr T_STAGE_SETTING kStageZ[] = {
    {L"Use", L"TRUE", kYesNo, false},
    {L"CanMoveAxisZ", L"TRUE", kYesNo, false},
    {L"Task", L"Sequence", kTasks},
    {L"Unit"},
    {L"Session", L"Stage", L"Stage"},
    {L"Command", L"StageMovePos", kMoveCommands},
    kSeparatorRow,
    {L"AxisName", L"Axis", L"Axis"},
    {L"AxisValue", L"", kAxes, true, kUnsetWhenUnused},
    {L"SpeedName", L"Speed", L"SpeedX;Speed"},
    {L"SpeedValue", L"", kSpeeds},
    {L"TargetName", L"MovePos", L"Target;MovePos"},
    {L"OptionName", L"", L";InPosition", true, L"추가 VarName"},
    {L"OptionValue", L"", L";0.005", true, L"추가 VarValue"},
    {L"OptionName2", L"", L";InPosition", true, L"추가 VarName"},
    {L"OptionValue2", L"", L";0.005", true, L"추가 VarValue"},
    kSeparatorRow,
    {L"IPData", L"MotorPosition", kBlocks, true, kSharedMemory},
    {L"IPDataVarZ", L"MotorPosition.dMachineStageZ",
     L"MotorPosition.dMachineStageZ;MotorPosition.dMachine[2]"},
};

constexpr T_STAGE_SETTING kSlit[] = {
    {L"Use", L"TRUE", kYesNo, false},
    {L"CanMoveSlit", L"FALSE", kYesNo, false},
    {L"Task", L"Slit", L"Slit;Sequence;PLCLinker;UI;UIProcessor"},
    {L"Unit"},
    {L"Session", L"Command", L"Command"},
    {L"Command", L"SetSlitAbsPosition", L"SetSlitAbsPosition"},
    kSeparatorRow,
    {L"AxisName", L"Axis", L"Axis"},
    {L"AxisValue", L"XY", L"XY"},
    {L"TargetXName", L"PulseX", L"TargetX"},
    {L"TargetYName", L"PulseY", L"TargetY"},
    {L"TargetTName", L"Angle", L"TargetT"},
    kSeparatorRow,
    {L"IPData", L"MotorPosition", L"MotorPosition", true},
    {L"IPDataVarX", L"MotorPosition.dSlitPulseX", L"MotorPosition.dSlitPulseX"},
    {L"IPDataVarY", L"MotorPosition.dSlitPulseY", L"MotorPosition.dSlitPulseY"},
    {L"IPDataVarT(deg)", L"MotorPosition.dSlitT", L"MotorPosition.dSlitT"},
};

constexpr T_STAGE_GROUP kGroups[] = {
    {L"Lens", kLens},
    {L"StageXY", kStageXY},
    {L"StageZ", kStageZ},
    {L"Slit", kSlit},
};

} // namespace

std::span<const T_STAGE_GROUP> GetStageSettingTable()
{
    return kGroups;
}

} // namespace alidade
