#include "host/machine/MachineBlocks.h"

#include "foundation/platform/Text.h"

namespace alidade {
namespace {

using A = eMACHINE_AXIS;
using M = CMachineModel;

template <A axis>
double Position(const M& machine, DWORD)
{
    return machine.GetAxis(axis).position;
}
template <A axis>
double Truth(const M& machine, DWORD)
{
    return machine.GetAxis(axis).truth;
}
template <A axis>
double Target(const M& machine, DWORD)
{
    return machine.GetAxis(axis).target;
}
template <A axis>
double Moving(const M& machine, DWORD)
{
    return machine.GetAxis(axis).moving ? 1 : 0;
}
template <double T_AXIS_SETTINGS::*member, A axis>
double Parameter(const M& machine, DWORD)
{
    return GetAxisSettings(machine.GetSettings(), axis).*member;
}

constexpr auto kInt = IPDATA_INT;
constexpr auto kDouble = IPDATA_DOUBLE;

// clang-format off
constexpr T_MACHINE_ITEM kPositionItems[] = {
    {"MotorPosition.dMachineStageX", kDouble, Position<A::X>, "mm, encoder of X"},
    {"MotorPosition.dMachineStageY", kDouble, Position<A::Y>, "mm, encoder of Y"},
    {"MotorPosition.dMachineStageZ", kDouble, Position<A::Z>, "mm, encoder of Z"},
    {"MotorPosition.dMachine[0]", kDouble, Position<A::X>, "mm, X again"},
    {"MotorPosition.dMachine[1]", kDouble, Position<A::Y>, "mm, Y again"},
    {"MotorPosition.dMachine[2]", kDouble, Position<A::Z>, "mm, Z again"},
    {"MotorPosition.dSlitPulseX", kDouble, Position<A::SLIT_X>, "pulses, slit X"},
    {"MotorPosition.dSlitPulseY", kDouble, Position<A::SLIT_Y>, "pulses, slit Y"},
    {"MotorPosition.dSlitT", kDouble, Position<A::SLIT_ANGLE>, "degrees, slit angle"},
    {"MotorPosition.dTrueX", kDouble, Truth<A::X>, "mm, where X really stands"},
    {"MotorPosition.dTrueY", kDouble, Truth<A::Y>, "mm, where Y really stands"},
    {"MotorPosition.dTrueZ", kDouble, Truth<A::Z>, "mm, where Z really stands"},
    {"MotorPosition.dTargetX", kDouble, Target<A::X>, "mm, target of the last move of X"},
    {"MotorPosition.dTargetY", kDouble, Target<A::Y>, "mm, target of the last move of Y"},
    {"MotorPosition.dTargetZ", kDouble, Target<A::Z>, "mm, target of the last move of Z"},
    {"MotorPosition.iMovingX", kInt, Moving<A::X>, "1 while X moves or settles"},
    {"MotorPosition.iMovingY", kInt, Moving<A::Y>, "1 while Y moves or settles"},
    {"MotorPosition.iMovingZ", kInt, Moving<A::Z>, "1 while Z moves or settles"},
    {"MotorPosition.iMovingSlitX", kInt, Moving<A::SLIT_X>, "1 while slit X moves or settles"},
    {"MotorPosition.iMovingSlitY", kInt, Moving<A::SLIT_Y>, "1 while slit Y moves or settles"},
    {"MotorPosition.iMovingSlitT", kInt, Moving<A::SLIT_ANGLE>, "1 while the slit turns or settles"},
    {"MotorPosition.iSlitOn", kInt, [](const M& m, DWORD) { return m.IsSlitOn() ? 1.0 : 0.0; }, "1 while the slit's light is on"},
    {"MotorPosition.iLaserOn", kInt, [](const M& m, DWORD) { return m.IsLaserOn() ? 1.0 : 0.0; }, "1 while the laser is on"},
    {"MotorPosition.dTime", kDouble, [](const M& m, DWORD) { return m.GetTime(); }, "ms since the machine's start, of these values"},
    {"MotorPosition.iTimeStamp", kInt, [](const M&, DWORD tick) { return static_cast<double>(static_cast<std::int32_t>(tick)); }, "ms, tick count of the computer at these values; wraps after 49.7 days"},
};

#define ALIDADE_AXIS_PARAMETERS(suffix, axis)                                                                      \
    {"AxisParameter.dMin" suffix, kDouble, Parameter<&T_AXIS_SETTINGS::least, axis>, "least position"},            \
    {"AxisParameter.dMax" suffix, kDouble, Parameter<&T_AXIS_SETTINGS::most, axis>, "greatest position"},          \
    {"AxisParameter.dSpeed" suffix, kDouble, Parameter<&T_AXIS_SETTINGS::speed, axis>, "speed unless commanded otherwise"}, \
    {"AxisParameter.dMaxSpeed" suffix, kDouble, Parameter<&T_AXIS_SETTINGS::maxSpeed, axis>, "highest speed"}

constexpr T_MACHINE_ITEM kParameterItems[] = {
    {"AxisParameter.iCurrentLens", kInt, [](const M& m, DWORD) { return static_cast<double>(m.GetLens()); }, "number of the lens, 0 to 9; the former one until the turret has turned"},
    {"AxisParameter.iLensMoving", kInt, [](const M& m, DWORD) { return m.IsLensMoving() ? 1.0 : 0.0; }, "1 while the turret turns"},
    ALIDADE_AXIS_PARAMETERS("X", A::X),
    ALIDADE_AXIS_PARAMETERS("Y", A::Y),
    ALIDADE_AXIS_PARAMETERS("Z", A::Z),
    ALIDADE_AXIS_PARAMETERS("SlitX", A::SLIT_X),
    ALIDADE_AXIS_PARAMETERS("SlitY", A::SLIT_Y),
    ALIDADE_AXIS_PARAMETERS("SlitT", A::SLIT_ANGLE),
};
#undef ALIDADE_AXIS_PARAMETERS
// clang-format on

} // namespace

std::span<const T_MACHINE_ITEM> GetMotorPositionItems()
{
    return kPositionItems;
}

std::span<const T_MACHINE_ITEM> GetAxisParameterItems()
{
    return kParameterItems;
}

/// One block and the values that stand in it.
class CMachineBlocks::CBlock {
public:
    CBlock(const char* name, std::span<const T_MACHINE_ITEM> items)
        : m_name(name), m_items(items), m_writer(L"Tavro")
    {
    }
    int Create(CString& error)
    {
        std::vector<T_IP_DATA_ITEM> items;
        for (const T_MACHINE_ITEM& item : m_items) {
            items.push_back({item.path, item.type});
        }
        CString reason;
        if (!m_writer.Create(m_name, items, reason)) {
            error = Format(L"cannot make the shared block %S: %s", m_name, reason.c_str());
            return 0;
        }
        return 1;
    }
    void Publish(const CMachineModel& machine, DWORD tick)
    {
        std::vector<double> values;
        values.reserve(m_items.size());
        for (const T_MACHINE_ITEM& item : m_items) {
            values.push_back(item.value(machine, tick));
        }
        if (values == m_values) {
            return; // the number of writes tells readers whether something has changed
        }
        m_writer.Begin();
        for (std::size_t i = 0; i < values.size(); ++i) {
            const int number = static_cast<int>(i);
            if (m_items[i].type == IPDATA_INT) {
                m_writer.SetInt(number, static_cast<int>(values[i]));
            } else {
                m_writer.SetDouble(number, values[i]);
            }
        }
        m_writer.Commit();
        m_values.swap(values);
    }

private:
    const char* m_name;
    std::span<const T_MACHINE_ITEM> m_items;
    CIPDataWriter m_writer;
    std::vector<double> m_values;
};

CMachineBlocks::CMachineBlocks()
    : m_position(std::make_unique<CBlock>("MotorPosition", kPositionItems)),
      m_parameter(std::make_unique<CBlock>("AxisParameter", kParameterItems))
{
}

CMachineBlocks::~CMachineBlocks() = default;

int CMachineBlocks::Create(CString& error)
{
    if (!m_position->Create(error)) {
        return 0;
    }
    if (!m_parameter->Create(error)) {
        m_position = std::make_unique<CBlock>("MotorPosition", kPositionItems);
        return 0;
    }
    return 1;
}

void CMachineBlocks::Publish(const CMachineModel& machine, DWORD tick)
{
    m_position->Publish(machine, tick);
    m_parameter->Publish(machine, tick);
}

} // namespace alidade
