#pragma once

#include "view/display/DisplayFrame.h"

#include <QImage>
#include <QPoint>

class QPainter;
class QRect;

namespace alidade {

/// Where a picture of the size `target` begins when it is centred in `area`. Both halves are cut, so that it
/// lies as the view's transforms say (docs/coordinates.md).
ALIDADE_API QPoint GetPictureOrigin(const cv::Size& target, const QRect& area);

/// The picture of a frame in the form that the screen takes, made once a frame however often it is painted.
/// Bound to the window's thread.
class ALIDADE_API CScreenPicture {
public:
    /// Takes over a frame; does nothing when it is the one that is there.
    void Set(const T_DISPLAY_FRAME& frame);
    const T_DISPLAY_FRAME& GetFrame() const { return m_frame; }
    bool IsEmpty() const { return m_frame.picture.empty(); }
    /// Draws the picture at its target size, centred in `area`, in the painter's px. It is clipped by the
    /// painter alone.
    void Draw(QPainter& dc, const QRect& area);

private:
    T_DISPLAY_FRAME m_frame;
    QImage m_image; // 32 bits, of the target size
    cv::Mat m_scaled;
    bool m_isMade = false; // m_image is of m_frame
};

/// Draws `image` at the size `target`, centred in `rect`.
/// @param image  8 bits; one channel, three (blue, green, red) or four, of which the last does not count
/// @param mask   of one bit a pixel and the image's size: only what its set bits select is drawn; null:
///        everything
/// @return 1; 0 and nothing drawn for an empty size, or an image or a mask of another kind
ALIDADE_API int MatToDC(const cv::Mat& image, const cv::Size& target, QPainter& dc, const QRect& rect,
                        const QImage& mask);

} // namespace alidade
