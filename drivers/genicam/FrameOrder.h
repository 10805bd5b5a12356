#pragma once

#include "foundation/platform/Types.h"

namespace alidade {

/// Watches the order of a camera's frames by its clock and its frame numbers.
///
/// After a pause some cameras deliver frames that they had kept, with times before those already seen; such
/// frames are refused. A camera whose clock was set back would be refused for ever: after a run of
/// kRefusedRun frames that are in order among themselves their time counts. Reentrant.
class CFrameOrder {
public:
    static constexpr int kRefusedRun = 64;

    struct T_VERDICT {
        bool bAccepted = false;
        std::uint64_t nMissed = 0;  // frame numbers between the last frame and this one
        bool bClockSetBack = false; // accepted, though its time is before the last one's
    };

    /// The camera begins to number anew; its clock goes on.
    void StartRun();
    /// Another camera, or one that was switched off.
    void Reset() { *this = CFrameOrder(); }

    /// @param time    of the camera, ns; 0: it has none
    /// @param number  of the frame: 64 bits, or 16 bits that go from 65535 to 1 or 0
    T_VERDICT Check(std::uint64_t time, std::uint64_t number);
    /// A frame of this number came, damaged: it does not count as missed.
    /// @return frame numbers between the last frame and this one
    std::uint64_t NoteDamaged(std::uint64_t number);

private:
    bool IsLater(std::uint64_t time, std::uint64_t number, std::int64_t step) const;

    std::uint64_t m_time = 0;
    std::uint64_t m_number = 0;
    bool m_bNumbered = false;    // m_number is of this run
    std::uint64_t m_refused = 0; // time, or number where there is no time, of the last one refused
    int m_nRefused = 0;
};

} // namespace alidade
