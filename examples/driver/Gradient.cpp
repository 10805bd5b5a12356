// A driver without a camera: a grey ramp that moves to the left.

#include "alidade/driver/Driver.h"
#include "alidade/driver/SettingTable.h"
#include "foundation/platform/Event.h"
#include "foundation/platform/Thread.h"

#include <cwchar>
#include <exception>
#include <thread>

namespace {

using namespace alidade;

enum eSETTING { SETTING_WIDTH, SETTING_HEIGHT, SETTING_RATE };

constexpr T_DRIVER_SETTING kSettings[] = {
    {L"Gradient.Width", L"integer", L"640", L"640;1280;1920", true, L"Image width in pixels, 1 to 8192"},
    {L"Gradient.Height", L"integer", L"480", L"480;960;1080", true, L"Image height in pixels, 1 to 8192"},
    {L"Gradient.FrameRate", L"double", L"25", L"10;25;50", true, L"Frames per second, 0.1 to 1000"},
};

class CGradientDriver : public IFrameGrabberInterface {
public:
    ~CGradientDriver() override { CGradientDriver::CloseFrameGrabber(); }

    int InitFrameGrabber(const CProfileSection& settings, CString& message) override;
    int CloseFrameGrabber() override;
    int StartCapture() override;
    int StopCapture() override;

private:
    void Run();
    void Paint(int frame);

    cv::Mat m_work;      // what is painted next; touched by the capture thread only
    DWORD m_period = 40; // ms from frame to frame
    std::atomic<bool> m_capture{false};
    CEvent m_stop{false, true};
    std::thread m_thread;
};

int CGradientDriver::InitFrameGrabber(const CProfileSection& settings, CString& message)
{
    CloseFrameGrabber();
    const auto read = [&](eSETTING setting) {
        const T_DRIVER_SETTING& row = kSettings[setting];
        return settings.GetItemValue(row.key, std::wcstod(row.defaultValue, nullptr));
    };
    const double width = read(SETTING_WIDTH);
    const double height = read(SETTING_HEIGHT);
    const double rate = read(SETTING_RATE);
    if (!(width >= 1 && width <= 8192 && height >= 1 && height <= 8192)) {
        message = L"Gradient: the image size is not within 1x1 and 8192x8192";
        return 0;
    }
    if (!(rate >= 0.1 && rate <= 1000)) {
        message = L"Gradient: the frame rate is not within 0.1 and 1000";
        return 0;
    }
    m_imageSize = cv::Size(static_cast<int>(width), static_cast<int>(height));
    m_period = static_cast<DWORD>(1000.0 / rate + 0.5);
    m_work.create(m_imageSize, CV_8UC1);
    m_stop.ResetEvent();
    m_thread = std::thread([this] { Run(); });
    message = L"Gradient is ready";
    return 1;
}

int CGradientDriver::CloseFrameGrabber()
{
    m_capture = false;
    m_stop.SetEvent();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    return 1;
}

int CGradientDriver::StartCapture()
{
    m_capture = m_thread.joinable();
    return m_capture ? 1 : 0;
}

int CGradientDriver::StopCapture()
{
    m_capture = false;
    return 1;
}

void CGradientDriver::Run()
{
    NameThisThread("Gradient");
    for (int frame = 0; !m_stop.Wait(m_period); ++frame) {
        if (!m_capture) {
            continue;
        }
        try {
            Paint(frame);
            CDriverFrame delivery(*this);
            m_work.copyTo(delivery.Image());
        } catch (const std::exception& error) {
            // This frame is lost; the camera goes on.
            WriteLog(kLogError, "Gradient: %s", error.what());
        }
    }
}

void CGradientDriver::Paint(int frame)
{
    for (int row = 0; row < m_work.rows; ++row) {
        std::uint8_t* pixel = m_work.ptr(row);
        for (int column = 0; column < m_work.cols; ++column) {
            pixel[column] = static_cast<std::uint8_t>(column + frame);
        }
    }
}

void AppendGradientProperties(TList<CMFCPropertyGridProperty, int, int>& properties,
                              TList<CString, int, int>&)
{
    AppendProperties(kSettings, properties);
}

} // namespace

ALIDADE_DRIVER_PLUGIN("Gradient", CGradientDriver, AppendGradientProperties)
