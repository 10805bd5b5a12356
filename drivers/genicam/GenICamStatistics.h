#pragma once

#include "alidade/driver/Driver.h"

#include <cstdint>

namespace alidade {

/// What became of the frames of one camera, counted from InitFrameGrabber on.
struct T_GENICAM_STATISTICS {
    std::uint64_t nDelivered;           // handed to the grabber
    std::uint64_t nIncomplete;          // dropped: packets were missing
    std::uint64_t nBadPayload;          // dropped: size or pixel format are not what was agreed
    std::uint64_t nLate;                // dropped: not newer than the frame before
    std::uint64_t nFailed;              // dropped: an exception in the copy or in the grabber
    std::uint64_t nOverruns;            // not received: all buffers were waiting, the grabber was too slow
    std::uint64_t nMissed;              // not received though buffers were free: lost on the way
    std::uint64_t nTimeouts;            // times that a free-running camera kept silent for the frame time-out
    std::uint64_t nLosses;              // times that the camera was lost
    std::uint64_t nReopened;            // times that it came back
    std::uint32_t bConnected;           // the camera is there
    std::uint32_t nSocketBufferAsked;   // bytes
    std::uint32_t nSocketBufferGranted; // bytes; 0: not known, or received past the socket
};

/// "GetGenICamStatistics": fills `statistics`; 0 for a driver that is not of this plug-in. Thread-safe.
using GetGenICamStatisticsFunction = int (*)(const IFrameGrabberInterface* driver,
                                             T_GENICAM_STATISTICS* statistics);
/// "SendGenICamTrigger": one software trigger to a camera whose trigger source is "Software". 0 when the
/// camera refuses it, is not there, or is being opened. Thread-safe.
using SendGenICamTriggerFunction = int (*)(IFrameGrabberInterface* driver);

} // namespace alidade
