#include "MachineReader.h"

#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace alidade {
namespace {

enum ePOSITION { TRUE_X, TRUE_Y, TRUE_Z, X, Y, Z, SLIT_X, SLIT_Y, SLIT_T, SLIT_ON, LASER_ON, POSITIONS };

// Where the axes really are, which a machine may publish beside what its encoders say.
constexpr std::array<const char*, POSITIONS> kPosition = {
    "MotorPosition.dTrueX",         "MotorPosition.dTrueY",         "MotorPosition.dTrueZ",
    "MotorPosition.dMachineStageX", "MotorPosition.dMachineStageY", "MotorPosition.dMachineStageZ",
    "MotorPosition.dSlitPulseX",    "MotorPosition.dSlitPulseY",    "MotorPosition.dSlitT",
    "MotorPosition.iSlitOn",        "MotorPosition.iLaserOn"};
constexpr std::array<const char*, 1> kAxis = {"AxisParameter.iCurrentLens"};

constexpr double kFar = 1e9;  // no machine is larger, in whatever unit
constexpr int kMostReads = 4; // until no write falls between the values

void Set(double& target, const std::optional<double>& value)
{
    if (value && std::isfinite(*value)) {
        target = std::clamp(*value, -kFar, kFar);
    }
}

void Set(bool& target, const std::optional<double>& value)
{
    if (value) {
        target = *value != 0;
    }
}

} // namespace

CMachineReader::CMachineReader(CString family, CSimpleLogInterface& log)
    : m_strFamily(std::move(family)), m_log(log), m_position(m_strFamily.c_str(), "MotorPosition"),
      m_axis(m_strFamily.c_str(), "AxisParameter")
{
}

void CMachineReader::Read(T_MACHINE_STATE& state)
{
    if (m_strFamily.empty()) {
        return;
    }
    std::array<std::optional<double>, POSITIONS> at;
    if (ReadBlock(m_position, kPosition, at)) {
        const auto place = [&](ePOSITION real, ePOSITION published) {
            return at[real] ? at[real] : at[published];
        };
        Set(state.position.x, place(TRUE_X, X));
        Set(state.position.y, place(TRUE_Y, Y));
        Set(state.dZ, place(TRUE_Z, Z));
        Set(state.slitPulse.x, at[SLIT_X]);
        Set(state.slitPulse.y, at[SLIT_Y]);
        Set(state.dSlitAngle, at[SLIT_T]);
        Set(state.bSlitOn, at[SLIT_ON]);
        Set(state.bLaserOn, at[LASER_ON]);
    }
    std::array<std::optional<double>, 1> lens;
    if (ReadBlock(m_axis, kAxis, lens) && lens[0] && std::isfinite(*lens[0])) {
        state.nLens = static_cast<int>(std::clamp(*lens[0], 0.0, 9.0));
    }
}

bool CMachineReader::ReadBlock(T_BLOCK& block, std::span<const char* const> variables,
                               std::span<std::optional<double>> values)
{
    const DWORD now = GetTickCount();
    if (!block.lastLook || IsTimedout(*block.lastLook, kRetryMs, now)) {
        block.lastLook = now;
        Look(block, variables);
    }
    if (!block.isThere) {
        return false;
    }
    try {
        for (int i = 0; i < kMostReads; ++i) {
            const std::uint64_t writes = block.data.GetWriteCount();
            for (std::size_t item = 0; item < variables.size(); ++item) {
                if (block.items[item].IsUsable()) {
                    values[item] = block.items[item].GetDouble();
                }
            }
            if (block.data.GetWriteCount() == writes) {
                break;
            }
        }
    } catch (const CIPException&) {
        SetThere(block, false);
    }
    return block.isThere;
}

/// Sees whether the block's writer is there, and opens the block of a new one.
void CMachineReader::Look(T_BLOCK& block, std::span<const char* const> variables)
{
    try {
        if (block.isThere && block.data.IsWriterAlive()) {
            return;
        }
        CString reason;
        if (!block.data.Open(block.name, reason) || !block.data.IsWriterAlive()) {
            SetThere(block, false);
            return;
        }
        block.items.clear();
        for (const char* variable : variables) {
            try {
                block.items.push_back(block.data.GetDataItem(variable));
            } catch (const CIPException&) {
                block.items.emplace_back(); // a machine without it
            }
        }
        SetThere(block, true);
    } catch (const CIPException&) {
        SetThere(block, false);
    }
}

void CMachineReader::SetThere(T_BLOCK& block, bool isThere)
{
    if (isThere != block.isThere) {
        block.isThere = isThere;
        m_log.WriteLog(kLogNormal,
                       isThere ? L"Scene: the machine's block %S is read"
                               : L"Scene: the machine's block %S is gone; its last values stay",
                       block.name);
    }
    if (!isThere) {
        block.items.clear();
        block.data.Close();
    }
}

} // namespace alidade
