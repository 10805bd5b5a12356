#pragma once

#include "foundation/platform/Text.h"
#include "host/machine/MachineModel.h"

#include <gtest/gtest.h>

namespace alidade {

using A = eMACHINE_AXIS;

/// A model with what tests do to it.
class CModelUnderTest : public CMachineModel {
public:
    using CMachineModel::CMachineModel;

    /// Starts one move that must be taken.
    CMachineMove Go(T_MOVE_REQUEST request)
    {
        std::vector<CMachineMove> moves;
        CString error;
        EXPECT_EQ(StartMoves({std::move(request)}, moves, error), 1) << ToNarrow(error);
        return moves.empty() ? nullptr : moves[0];
    }
    /// Why a move is refused; empty: it is not.
    CStringA Refusal(T_MOVE_REQUEST request)
    {
        std::vector<CMachineMove> moves;
        CString error;
        StartMoves({std::move(request)}, moves, error);
        return ToNarrow(error);
    }
    void Steps(int count)
    {
        for (int i = 0; i < count; ++i) {
            Step();
        }
    }
    /// Steps until the move has ended; the number of steps, at most 100000.
    int RunOut(const CMachineMove& move)
    {
        int count = 0;
        while (move->state == eMOVE_STATE::RUNNING && count < 100000) {
            Step();
            ++count;
        }
        return count;
    }
    double At(A axis) const { return GetAxis(axis).position; }
};

} // namespace alidade
