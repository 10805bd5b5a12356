#pragma once

#include "acquisition/Export.h"
#include "foundation/bus/IPVariable.h"
#include "foundation/containers/List.h"
#include "foundation/math/Geometry.h"

namespace cv {
class Mat;
}

namespace alidade {

/// Where the laser hits.
struct T_LASER_CENTER {
    TPoint2<double> image; // px of the frame
    TPoint2<double> stage; // mm
};

/// Writes selected or found points as children of `result`; docs/coordinates.md lists the keys. Points that
/// the two lists hold are not matched: they may differ in number.
///
/// "nPtsLaserImage" is written for the image points and again for the stage points, and stands for both
/// counts: with stage points it holds theirs. The laser-relative stage values exist only when there are image
/// points too. Lists are read under their locks and not changed. Reentrant.
/// @param stagePoints, imagePoints, image  any may be null or empty: what would come of it is then not
/// written
ALIDADE_API void WritePositions(CIPVariable& result, const TList<TPoint2<double>>* stagePoints,
                                const TList<TPoint2<double>>* imagePoints, const cv::Mat* image,
                                const T_LASER_CENTER& laser);

} // namespace alidade
