#pragma once

#include "acquisition/Export.h"
#include "alidade/driver/Driver.h"
#include "alidade/driver/SettingTable.h"
#include "foundation/platform/Event.h"

#include <thread>
#include <vector>

namespace alidade {

/// A driver that needs no camera: paints synthetic moving images at a set rate, so that everything behind a
/// camera runs without hardware. Always there under the name "Dummy"; the model of the driver contract.
///
/// Images are `rows` high and as wide as set, rounded up to a multiple of 4. A size that is no size, or that
/// is larger than 65535 either way or 1 GiB in all, counts as 0: the images delivered are empty then.
class ALIDADE_API CFrameGrabberDummy : public IFrameGrabberInterface {
public:
    CFrameGrabberDummy();
    ~CFrameGrabberDummy() override;

    int InitFrameGrabber(const CProfileSection& settings, CString& message) override;
    int CloseFrameGrabber() override;
    int StartCapture() override;
    int StopCapture() override;

    static std::span<const T_DRIVER_SETTING> GetSettingTable();
    static void AppendDriverProperties(TList<CMFCPropertyGridProperty, int, int>& properties,
                                       TList<CString, int, int>& cameras);

private:
    void Run();
    DWORD FramePeriod() const;
    bool MakeWork(int rows, int stride);
    void Deliver();
    void Paint(DWORD period, int frame);
    void PaintScrollUp(int third, std::int64_t offset);
    void PaintScrollLeft(int third, std::int64_t offset);
    void PaintBrightness(int frame);
    void BuildMarker();
    void PaintMarker();

    struct T_RUN {
        int row, column, length; // in pixels
    };

    cv::Mat m_work; // touched by the painting thread only
    int m_bColor = 1;
    double m_dFrameRate = 15.0;
    std::atomic<int> m_nType{0};
    std::atomic<int> m_bStop{0};
    std::atomic<int> m_bCapture{0};
    std::thread m_hThread;
    CEvent m_evtStop{false, true}; // ends the wait for the next frame
    std::vector<T_RUN> m_marker;   // white pixels; built with the first frame
};

} // namespace alidade
