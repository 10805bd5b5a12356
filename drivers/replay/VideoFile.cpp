#include "VideoFile.h"

#include "foundation/platform/Text.h"

#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

// Named one by one: "any" would also try readers that take a file name with digits for a series of files.
constexpr int kDecoders[] = {cv::CAP_FFMPEG, cv::CAP_MSMF, cv::CAP_OPENCV_MJPEG};

} // namespace

CVideoFile::CVideoFile(std::filesystem::path path, eREPLAY_COLOR color)
    : m_path(std::move(path)), m_bGray(color == eREPLAY_COLOR::GRAY)
{
    CVideoFile::Rewind();
}

void CVideoFile::Rewind()
{
    // Opened anew: seeking back to the first frame is not exact in every format.
    const CStringA name = ToNarrow(FromPath(m_path));
    for (const int decoder : kDecoders) {
        try {
            if (m_capture.open(name, decoder)) {
                return;
            }
        } catch (const cv::Exception&) {
        }
    }
    m_capture.release();
}

IPictureSource::eNEXT CVideoFile::Next(cv::Mat& picture)
{
    if (!m_capture.isOpened()) {
        return END;
    }
    try {
        cv::Mat& frame = m_bGray ? m_frame : picture;
        if (!m_capture.read(frame) || frame.empty()) {
            m_capture.release();
            return END;
        }
        if (frame.channels() == 4) {
            cv::cvtColor(frame, picture, m_bGray ? cv::COLOR_BGRA2GRAY : cv::COLOR_BGRA2BGR);
        } else if (frame.channels() == 3 && m_bGray) {
            cv::cvtColor(frame, picture, cv::COLOR_BGR2GRAY);
        } else if (m_bGray) {
            frame.copyTo(picture);
        }
        return picture.channels() == 1 || picture.channels() == 3 ? PICTURE : UNREADABLE;
    } catch (const cv::Exception&) {
        m_capture.release();
        return END;
    }
}

CString CVideoFile::GetName() const
{
    return FromPath(m_path);
}

} // namespace alidade
