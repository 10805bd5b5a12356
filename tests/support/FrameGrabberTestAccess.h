#pragma once

#include "acquisition/FrameGrabber.h"

namespace alidade {

/// Opens a grabber's inside to tests and benchmarks.
class CFrameGrabberTestAccess {
public:
    static TRefPointer<CFrameGrabber> Make(IFrameGrabberInterface* driver)
    {
        return TRefPointer<CFrameGrabber>(new CFrameGrabber(driver));
    }
    static int NewImage(CFrameGrabber& grabber) { return grabber.NewImage(); }
    static void PreProcess(CFrameGrabber& grabber) { grabber.PreProcess(); }
    static void RecordFrame(CFrameGrabber& grabber) { grabber.RecordFrame(); }

    static void SetTurn(CFrameGrabber& grabber, int turn, bool flipX, bool flipY)
    {
        grabber.m_nRotate = turn;
        grabber.m_bFlipX = flipX;
        grabber.m_bFlipY = flipY;
    }
    static void SetRotation(CFrameGrabber& grabber, double angle, bool clip)
    {
        grabber.m_bRotateArbitrary = 1;
        grabber.m_dRotationAngle = angle;
        grabber.m_bRotateClip = clip;
        grabber.m_rotationMatrix.release();
    }
    static double GetRotationAngle(const CFrameGrabber& grabber) { return grabber.m_dRotationAngle; }
    static bool IsRotationBuilt(const CFrameGrabber& grabber) { return !grabber.m_rotationMatrix.empty(); }
    static cv::Rect GetRotateClipRect(const CFrameGrabber& grabber) { return grabber.m_rotateClipRect; }
    static int CountWaiting(const CFrameGrabber& grabber) { return grabber.m_waitingQueue.Count(); }
    static int CountFree(const CFrameGrabber& grabber) { return grabber.m_freeBuffers.Count(); }
    static int CountFilled(const CFrameGrabber& grabber) { return grabber.m_filledBuffers.Count(); }
    static CFrameGrabber::T_FRAME_COUNT& FrameCount(CFrameGrabber& grabber) { return grabber.m_frameCount; }
};

/// A driver whose frames come when a test says so, on the caller's thread.
class CHandDriver : public IFrameGrabberInterface {
public:
    explicit CHandDriver(cv::Size size = {640, 480}) { m_imageSize = size; }
    ~CHandDriver() override
    {
        if (m_pDestroyed != nullptr) {
            *m_pDestroyed = true;
        }
    }
    int InitFrameGrabber(const CProfileSection&, CString& message) override
    {
        message = L"hand driver";
        return m_initResult;
    }
    int CloseFrameGrabber() override { return ++m_closed, 1; }
    int StartCapture() override { return ++m_started, 1; }
    int StopCapture() override { return ++m_stopped, 1; }

    void Deliver(const cv::Mat& frame)
    {
        CDriverFrame delivery(*this);
        frame.copyTo(delivery.Image());
    }

    int m_initResult = 1;
    int m_closed = 0;
    int m_started = 0;
    int m_stopped = 0;
    bool* m_pDestroyed = nullptr;
};

} // namespace alidade
