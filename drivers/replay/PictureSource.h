#pragma once

#include "ReplaySettings.h"

#include <memory>
#include <opencv2/core.hpp>

namespace alidade {

/// Where pictures come from, one after the other. Bound to one thread at a time. Nothing here throws but for
/// want of memory.
class IPictureSource {
public:
    enum eNEXT { PICTURE, UNREADABLE, END };

    virtual ~IPictureSource() = default;
    /// Decodes the next picture into `picture`, by the allocator that is set in it. It has one or three
    /// channels then.
    /// @return UNREADABLE when this one cannot be had (the following one can be asked for), END behind the
    ///         last one, and again until Rewind
    virtual eNEXT Next(cv::Mat& picture) = 0;
    /// Goes back to the first picture.
    virtual void Rewind() = 0;
    /// The file that the latest Next read, for the log.
    virtual CString GetName() const = 0;
    /// What is played, in a few words.
    virtual CString Describe() const = 0;
};

/// Opens the source named by the settings.
/// @param message  receives the reason of a failure, for the operator
/// @return null on failure
std::unique_ptr<IPictureSource> OpenPictureSource(const T_REPLAY_SETTINGS& settings, CString& message);

} // namespace alidade
