#pragma once

#include "host/FrameTap.h"
#include "host/GrabReport.h"
#include "host/HostLog.h"
#include "host/HostOptions.h"
#include "host/PictureWriter.h"

namespace alidade {

/// One grabber from its opening to its end: takes frames, keeps them, reports. Bound to one thread.
class CGrabJob {
public:
    /// @param stop  manual reset; ends the job early with what it has
    CGrabJob(const T_HOST_OPTIONS& options, CHostLog& log, CEvent& stop);
    ~CGrabJob();
    CGrabJob(const CGrabJob&) = delete;
    CGrabJob& operator=(const CGrabJob&) = delete;

    /// @param text  receives a summary
    /// @return 1, or 0 with `failure` set
    int Run(CStringA& text, T_HOST_FAILURE& failure);

private:
    int CheckOutputs(T_HOST_FAILURE& failure);
    void TakeFrames();
    void Pump();
    bool TakeRecorded();
    bool Keep(const cv::Mat& image);
    bool CheckFirstFrame(const cv::Mat& image, CString& error);
    void Conclude();
    bool Fail(CString error);
    void WriteReport();
    void Close();

    const T_HOST_OPTIONS& m_options;
    CHostLog& m_log;
    CEvent& m_stop;
    std::optional<CPictureWriter> m_writer;
    TRefPointer<CFrameGrabber> m_grabber;
    std::optional<CFrameTap> m_tap; // from the start of capture until the driver is closed
    T_GRAB_REPORT m_report;
};

} // namespace alidade
