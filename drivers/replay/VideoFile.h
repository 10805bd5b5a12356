#pragma once

#include "PictureSource.h"

#include <filesystem>
#include <opencv2/videoio.hpp>

namespace alidade {

/// The frames of a video file. A frame that cannot be read and nothing behind it can is the end.
class CVideoFile : public IPictureSource {
public:
    CVideoFile(std::filesystem::path path, eREPLAY_COLOR color);

    /// True when some decoder takes the file.
    bool IsOpen() const { return m_capture.isOpened(); }

    eNEXT Next(cv::Mat& picture) override;
    void Rewind() override;
    CString GetName() const override;
    CString Describe() const override { return L"video"; }

private:
    std::filesystem::path m_path;
    cv::VideoCapture m_capture;
    cv::Mat m_frame; // as decoded, where it needs conversion
    bool m_bGray;
};

} // namespace alidade
