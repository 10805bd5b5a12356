#pragma once

#include "foundation/bus/IPDataWriter.h"
#include "host/machine/MachineModel.h"

namespace alidade {

/// One item of the machine's shared blocks.
struct T_MACHINE_ITEM {
    const char* path;
    eIP_DATA_TYPE type;
    double (*value)(const CMachineModel& machine, DWORD tick);
    const char* description;
};

/// "MotorPosition": positions, movements, lights.
std::span<const T_MACHINE_ITEM> GetMotorPositionItems();
/// "AxisParameter": the lens, limits and speeds.
std::span<const T_MACHINE_ITEM> GetAxisParameterItems();

/// The shared blocks of a machine, family "Tavro". All items of a block change together. Bound to one thread
/// at a time.
class CMachineBlocks {
public:
    CMachineBlocks();
    /// Takes the blocks down.
    ~CMachineBlocks();

    /// Makes both blocks. @return 1; 0 with `error` set and no block made
    int Create(CString& error);
    /// @param tick  of the machine's last cycle
    void Publish(const CMachineModel& machine, DWORD tick);

private:
    class CBlock;
    std::unique_ptr<CBlock> m_position;
    std::unique_ptr<CBlock> m_parameter;
};

} // namespace alidade
