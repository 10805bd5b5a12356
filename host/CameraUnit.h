#pragma once

#include "foundation/bus/IPClient.h"

#include <functional>
#include <opencv2/core.hpp>

namespace alidade {

/// Answers for a camera on the bus: "Image" "Grab" gives the present image.
class CCameraUnit final : public IIPCommandTarget {
public:
    /// Gives the present image, waiting for a new one when it is stale; 0 when there is none. Called on the
    /// bus's threads.
    using GetImage = std::function<int(cv::Mat& image, DWORD waitMs)>;

    /// @param getImage  empty: the unit has no camera, and "Grab" fails
    CCameraUnit(CIPClient& client, const char* unit, GetImage getImage);
    /// Waits for a command that is being answered.
    ~CCameraUnit() override;

    const IP_COMMAND_TARGET* GetIPCommandTargetStatic() const override;

private:
    int OnIPImageGrab(CIPCommand& command);

    const GetImage m_getImage;
};

} // namespace alidade
