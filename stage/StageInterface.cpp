#include "stage/StageInterface.h"

#include "acquisition/InitVision.h"
#include "foundation/platform/Text.h"
#include "stage/StageCommand.h"
#include "stage/StageSettings.h"

#include <cmath>
#include <memory>

namespace alidade {
namespace {

constexpr const wchar_t* kFamily = L"Tavro";
constexpr unsigned kMostLens = 9;
constexpr int kMostVariableBytes = 128;

constexpr const wchar_t* kStageXY = L"StageXY";
constexpr const wchar_t* kStageZ = L"StageZ";
constexpr const wchar_t* kSlit = L"Slit";

struct T_CHANNEL_KEYS {
    const wchar_t* section;
    const wchar_t* canMove; // null: cannot
    const wchar_t* variable;
};

constexpr T_CHANNEL_KEYS kChannels[STAGE_CHANNELS] = {
    {L"Lens", nullptr, L"IPDataVar"},
    {kStageXY, L"CanMoveStageX", L"IPDataVarX"},
    {kStageXY, L"CanMoveStageY", L"IPDataVarY"},
    {kStageZ, L"CanMoveAxisZ", L"IPDataVarZ"},
    {kSlit, L"CanMoveSlit", L"IPDataVarX"},
    {kSlit, L"CanMoveSlit", L"IPDataVarY"},
    {kSlit, L"CanMoveSlit", L"IPDataVarT(deg)"},
};

bool IsFinite(TPoint2<double> point)
{
    return std::isfinite(point.x) && std::isfinite(point.y);
}

CStringA ReadBlockName(const CProfileSection& settings)
{
    return ToNarrow(settings.GetItemValue(L"IPData", L""));
}

} // namespace

CStageInterface::CStageInterface() : m_pClient(GetVisionClient())
{
}

CStageInterface::~CStageInterface() = default;

int CStageInterface::Init(const CProfileSection& settings)
{
    if (m_pClient == nullptr) {
        m_pClient = GetVisionClient();
    }
    for (T_STAGE_CHANNEL& channel : m_channels) {
        channel = {};
    }
    m_blocks.DeleteAll();
    m_settings = settings;
    for (int index = 0; index < STAGE_CHANNELS; ++index) {
        InitChannel(index);
    }
    return 1;
}

void CStageInterface::InitChannel(int index)
{
    const T_CHANNEL_KEYS& keys = kChannels[index];
    T_STAGE_CHANNEL& channel = m_channels[index];
    const CProfileSection& settings = m_settings.GetSubSection(keys.section);
    channel.Use = settings.GetItemValueBoolean(L"Use", stage_default::kUseToRead);
    if (keys.canMove != nullptr) {
        channel.CanMove = settings.GetItemValueBoolean(keys.canMove, stage_default::kCanMove);
    }
    if (channel.Use == 0) {
        return;
    }
    const CIPData* block = FindOrOpenBlock(ReadBlockName(settings).c_str());
    if (block == nullptr || block->IsOpen() == 0) {
        return;
    }
    char variable[kMostVariableBytes + 1];
    settings.GetItemValueString(keys.variable, variable, sizeof(variable), "");
    try {
        channel.Item = block->GetDataItem(variable);
    } catch (const CIPException&) {
        channel.Item.Clear();
    }
}

CIPData* CStageInterface::FindBlock(const char* blockName)
{
    const CStringA mapName = CIPData(kFamily).MakeMapName(blockName);
    CS lock(m_blocks.GetLock());
    for (CIPData* block : m_blocks) {
        if (*block == mapName) {
            return block;
        }
    }
    return nullptr;
}

CIPData* CStageInterface::FindOrOpenBlock(const char* blockName)
{
    if (*blockName == '\0') {
        return nullptr;
    }
    if (CIPData* found = FindBlock(blockName)) {
        return found;
    }
    auto block = std::make_unique<CIPData>(kFamily);
    CString text;
    if (block->Open(blockName, text, kFamily) == 0 || m_blocks.Insert(block.get()) < 0) {
        return nullptr;
    }
    return block.release();
}

bool CStageInterface::CanMoveSlitXY() const
{
    return m_channels[STAGE_SLIT_X].IsMovable() && m_channels[STAGE_SLIT_Y].IsMovable();
}

int CStageInterface::GetLensNo() const
{
    const T_STAGE_CHANNEL& channel = m_channels[STAGE_LENS];
    try {
        return channel.IsReadable() ? channel.Item.GetInt() : 0;
    } catch (const CIPException&) {
        return 0;
    }
}

/// What can be read of two channels: 0 from the first one on that fails.
static TPoint2<double> ReadPair(const CStageInterface::T_STAGE_CHANNEL& x,
                                const CStageInterface::T_STAGE_CHANNEL& y)
{
    TPoint2<double> point;
    try {
        if (x.IsReadable()) {
            point.x = x.Item.GetDouble();
        }
        if (y.IsReadable()) {
            point.y = y.Item.GetDouble();
        }
    } catch (const CIPException&) {
        // What was read before it counts.
    }
    return point;
}

TPoint2<double> CStageInterface::GetStagePosition() const
{
    const T_STAGE_CHANNEL& x = m_channels[STAGE_X];
    const T_STAGE_CHANNEL& y = m_channels[STAGE_Y];
    if (x.CanMove != 0 && y.CanMove != 0) {
        return ReadPair(x, y);
    }
    CS lock(&m_fallbackLock);
    return m_fallbackPosition;
}

double CStageInterface::GetStageZ() const
{
    const T_STAGE_CHANNEL& channel = m_channels[STAGE_Z];
    try {
        return channel.IsReadable() ? channel.Item.GetDouble() : m_fallbackZ.load();
    } catch (const CIPException&) {
        return m_fallbackZ;
    }
}

TPoint2<double> CStageInterface::GetSlitPulse() const
{
    return ReadPair(m_channels[STAGE_SLIT_X], m_channels[STAGE_SLIT_Y]);
}

double CStageInterface::GetSlitAngle() const
{
    const T_STAGE_CHANNEL& channel = m_channels[STAGE_SLIT_T];
    return channel.IsReadable() ? channel.Item.GetDouble() : 0.0;
}

int CStageInterface::Reserved()
{
    return 0;
}

const CProfileSection* CStageInterface::FindMovable(const wchar_t* name,
                                                    std::initializer_list<int> channels) const
{
    const CProfileSection* settings = m_settings.FindSubSection(name);
    if (settings == nullptr || settings->GetItemValueBoolean(L"Use", stage_default::kUseToMove) == 0) {
        return nullptr;
    }
    for (const int channel : channels) {
        if (!m_channels[channel].IsMovable()) {
            return nullptr;
        }
    }
    return settings;
}

int CStageInterface::MoveStage(TPoint2<double> target, double speed, int post, HIPCOMMAND step)
{
    const CProfileSection* settings = FindMovable(kStageXY, {});
    if (settings == nullptr || !IsFinite(target) || std::isinf(speed)) {
        return 0;
    }
    return settings->GetItemValueBoolean(L"Individual", stage_default::kIndividual) != 0
               ? MoveIndividually(*settings, target, speed, post, step)
               : MoveTogether(*settings, target, speed, post, step);
}

int CStageInterface::MoveTogether(const CProfileSection& settings, TPoint2<double> target, double speed,
                                  int post, HIPCOMMAND& step) const
{
    if (!m_channels[STAGE_X].IsMovable() || !m_channels[STAGE_Y].IsMovable()) {
        return 0;
    }
    CStageCommand command(settings);
    command.AddTarget(L"TargetXName", stage_default::kTargetX, target.x);
    command.AddTarget(L"TargetYName", stage_default::kTargetY, target.y);
    command.AddOptional(L"AxisName", L"AxisValue");
    command.AddSpeed(L"SpeedName", L"SpeedValue", speed);
    command.AddOptions();
    return command.Send(m_pClient, post, step);
}

int CStageInterface::MoveIndividually(const CProfileSection& settings, TPoint2<double> target, double speed,
                                      int post, HIPCOMMAND& step) const
{
    struct T_AXIS {
        int channel;
        double target;
        const wchar_t *targetName, *axisValue, *speedName, *speedValue;
    };
    const T_AXIS axes[] = {
        {STAGE_X, target.x, L"TargetXName", L"AxisXValue", L"SpeedXName", L"SpeedXValue"},
        {STAGE_Y, target.y, L"TargetYName", L"AxisYValue", L"SpeedYName", L"SpeedYValue"},
    };
    int allWell = 1;
    for (const T_AXIS& axis : axes) {
        if (!m_channels[axis.channel].IsMovable()) {
            allWell = 0;
            continue;
        }
        CStageCommand command(settings);
        command.AddTarget(axis.targetName, stage_default::kTargetAlone, axis.target);
        command.AddOptional(L"AxisName", axis.axisValue);
        command.AddSpeed(axis.speedName, axis.speedValue, speed);
        command.AddOptions();
        if (command.Send(m_pClient, post, step) == 0) {
            allWell = 0;
        }
    }
    return allWell;
}

int CStageInterface::MoveStageZ(double target, double speed, int post, HIPCOMMAND step)
{
    const CProfileSection* settings = FindMovable(kStageZ, {STAGE_Z});
    if (settings == nullptr || !std::isfinite(target) || std::isinf(speed)) {
        return 0;
    }
    // A controller that publishes nothing may be moved blind; one that has no such variable has another axis.
    const bool isNamed = *settings->GetItemValue(kChannels[STAGE_Z].variable, L"") != L'\0';
    if (isNamed && !m_channels[STAGE_Z].Item.IsUsable() &&
        FindBlock(ReadBlockName(*settings).c_str()) != nullptr) {
        return 0;
    }
    CStageCommand command(*settings);
    command.AddTarget(L"TargetName", stage_default::kTargetAlone, target);
    command.AddOptional(L"AxisName", L"AxisValue");
    command.AddSpeed(L"SpeedName", L"SpeedValue", speed);
    command.AddOptions();
    return command.Send(m_pClient, post, step);
}

int CStageInterface::MoveSlit(TPoint2<double> target, int post, HIPCOMMAND step)
{
    const CProfileSection* settings = FindMovable(kSlit, {STAGE_SLIT_X, STAGE_SLIT_Y});
    if (settings == nullptr || !IsFinite(target)) {
        return 0;
    }
    CStageCommand command(*settings);
    command.AddTarget(L"TargetXName", stage_default::kTargetX, target.x);
    command.AddTarget(L"TargetYName", stage_default::kTargetY, target.y);
    command.AddOptional(L"AxisName", L"AxisValue");
    command.AddOptions();
    return command.Send(m_pClient, post, step);
}

int CStageInterface::MoveSlitAngle(double target, int post, HIPCOMMAND step)
{
    const CProfileSection* settings = FindMovable(kSlit, {STAGE_SLIT_T});
    if (settings == nullptr || !std::isfinite(target)) {
        return 0;
    }
    CStageCommand command(*settings);
    command.AddTarget(kStageTargetAngleKey, stage_default::kTargetAngle, target);
    command.AddOptional(L"AxisName", L"AxisValue");
    command.AddOptions();
    return command.Send(m_pClient, post, step);
}

void CStageInterface::SetStagePosition(TPoint2<double> position)
{
    CS lock(&m_fallbackLock); // a view sets it every 10 ms, while other threads read
    m_fallbackPosition = position;
}

void CStageInterface::SetStageZ(double z)
{
    m_fallbackZ = z;
}

void CStageInterface::SetLensNo(unsigned lens)
{
    if (lens <= kMostLens) {
        m_fallbackLens = lens;
    }
}

} // namespace alidade
