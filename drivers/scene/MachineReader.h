#pragma once

#include "MachineState.h"
#include "foundation/bus/IPData.h"
#include "foundation/config/SimpleLogInterface.h"

#include <optional>
#include <vector>

namespace alidade {

/// Reads what a machine publishes in its shared blocks "MotorPosition" and "AxisParameter". The machine may
/// come, go and come back: blocks that are not there are looked for twice a second. Bound to one thread at a
/// time.
class CMachineReader {
public:
    /// @param family  of the blocks; empty: no machine is looked for
    CMachineReader(CString family, CSimpleLogInterface& log);

    /// Writes what is published into `state` and leaves the rest of it: without a machine, or for variables
    /// that it does not have, the values there were.
    void Read(T_MACHINE_STATE& state);
    /// True while a machine publishes its positions.
    bool IsThere() const { return m_position.isThere; }

private:
    static constexpr DWORD kRetryMs = 500;

    struct T_BLOCK {
        T_BLOCK(const wchar_t* family, const char* blockName) : data(family), name(blockName) {}
        CIPData data;
        const char* name;
        std::vector<CIPDataItemIterator> items; // in the order of the variables; cleared: there is none
        std::optional<DWORD> lastLook;
        bool isThere = false;
    };

    /// Values of the block's variables that it has, read as one; false when the block is not there.
    bool ReadBlock(T_BLOCK& block, std::span<const char* const> variables,
                   std::span<std::optional<double>> values);
    void Look(T_BLOCK& block, std::span<const char* const> variables);
    void SetThere(T_BLOCK& block, bool isThere);

    CString m_strFamily;
    CSimpleLogInterface& m_log;
    T_BLOCK m_position;
    T_BLOCK m_axis;
};

} // namespace alidade
