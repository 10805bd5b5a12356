#pragma once

#include "acquisition/InitVision.h"
#include "foundation/bus/IPBus.h"
#include "foundation/bus/IPClient.h"
#include "foundation/bus/IPDataWriter.h"
#include "foundation/platform/Text.h"
#include "stage/StageInterface.h"
#include "stage/StageSettings.h"
#include "tests/bus/data/OwnInstance.h"
#include "widgets/PropertyGridGroup.h"

#include <functional>
#include <gtest/gtest.h>
#include <mutex>

namespace alidade {

inline void PrintTo(const TPoint2<double>& point, std::ostream* out)
{
    *out << '(' << point.x << ", " << point.y << ')';
}

/// A setting in a sub-section.
struct T_STAGE_VALUE {
    const wchar_t* group;
    const wchar_t* key;
    const wchar_t* value;
};
using StageValues = std::vector<T_STAGE_VALUE>;

/// The settings that the dialog suggests, changed where a test says so.
inline CProfileSection MakeStageSettings(const StageValues& changes = {})
{
    CProfileSection settings;
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        for (const T_STAGE_SETTING& row : group.rows) {
            if (CString(row.name) != kPropertySeparator) {
                settings.GetSubSection(group.name).SetItemValue(row.name, row.defaultValue);
            }
        }
    }
    for (const T_STAGE_VALUE& change : changes) {
        settings.GetSubSection(change.group).SetItemValue(change.key, change.value);
    }
    return settings;
}

/// The blocks that a machine publishes, with the variables that the settings suggest.
class CPublishedBlocks {
public:
    CPublishedBlocks()
    {
        const T_IP_DATA_ITEM motor[] = {
            {"MotorPosition.dMachineStageX"},
            {"MotorPosition.dMachineStageY"},
            {"MotorPosition.dMachineStageZ"},
            {"MotorPosition.dSlitPulseX"},
            {"MotorPosition.dSlitPulseY"},
            {"MotorPosition.dSlitT"},
            {"MotorPosition.sState", IPDATA_STRING, 16},
        };
        const T_IP_DATA_ITEM axis[] = {{"AxisParameter.iCurrentLens", IPDATA_INT}};
        CString text;
        EXPECT_EQ(m_motor.Create("MotorPosition", motor, text), 1) << ToNarrow(text);
        EXPECT_EQ(m_axis.Create("AxisParameter", axis, text), 1) << ToNarrow(text);
        Publish(1.25);
    }

    /// Lens 4, and the other values in the order above: `first`, `first` + 1 and so on.
    void Publish(double first)
    {
        m_motor.Begin();
        for (int item = 0; item < 6; ++item) {
            m_motor.SetDouble(item, first + item);
        }
        m_motor.SetString(6, "idle");
        m_motor.Commit();
        m_axis.SetInt(0, 4);
    }

    COwnInstance m_instance;
    CIPDataWriter m_motor{L"Tavro"};
    CIPDataWriter m_axis{L"Tavro"};
};

/// The interface with its inside open.
class CProbeStage : public CStageInterface {
public:
    int CountBlocks() const { return m_blocks.Count(); }
    unsigned GetFallbackLens() const { return m_fallbackLens; }
};

} // namespace alidade
