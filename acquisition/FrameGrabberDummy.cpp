#include "acquisition/FrameGrabberDummy.h"

#include "acquisition/FGComm.h"
#include "foundation/math/ImageCopy.h"
#include "foundation/platform/Thread.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <cwctype>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

enum eSETTING { SETTING_COLOR, SETTING_RESOLUTION, SETTING_FRAMERATE, SETTING_TYPE };

constexpr T_DRIVER_SETTING kSettings[] = {
    {L"Dummy.Color", L"boolean", L"true", L"True;False", false, L"Color Image if (TRUE)"},
    {L"Dummy.resolution", L"text", L"1024x768", L"1024x768;1920x1080;1600x1200;2448x2048;5120x5120", true,
     L"Image Size"},
    {L"Dummy.FrameRate", L"double", L"15.0", L"15;30", true, L"Frames per sec"},
    {L"Dummy.Type", L"integer", L"0", L"0. Scroll UP;1. Scroll Left;2. Brightness(10~110)", false, L""},
};

constexpr int kMostSide = 65535;
constexpr std::int64_t kMostBytes = std::int64_t{1} << 30;
constexpr DWORD kPeriodWithoutRate = 15;                      // milliseconds
constexpr std::size_t kParallelBytes = std::size_t{16} << 20; // larger images are painted on all cores

/// An unsigned decimal number at the start of the text; what is too large for an image counts as 0.
int ParseSide(const wchar_t*& text)
{
    std::int64_t value = 0;
    for (; *text >= L'0' && *text <= L'9'; ++text) {
        value = std::min<std::int64_t>(value * 10 + (*text - L'0'), kMostSide + 1);
    }
    return value > kMostSide ? 0 : static_cast<int>(value);
}

cv::Size ParseSize(const wchar_t* text)
{
    cv::Size size;
    size.width = ParseSide(text);
    if (*text != L'\0') {
        ++text;
    }
    size.height = ParseSide(text);
    return size;
}

/// The leading number of "1. Scroll Left" or "1".
int ParseType(const wchar_t* text)
{
    return static_cast<int>(std::wcstol(text, nullptr, 10));
}

/// Fills a row with one pixel value by doubling, which runs at the speed of a memset.
void FillRow(std::uint8_t* row, std::size_t bytes, const std::uint8_t* pixel, std::size_t pixelBytes)
{
    std::memcpy(row, pixel, std::min(bytes, pixelBytes));
    for (std::size_t done = pixelBytes; done < bytes;) {
        const std::size_t part = std::min(done, bytes - done);
        std::memcpy(row + done, row, part);
        done += part;
    }
}

} // namespace

std::span<const T_DRIVER_SETTING> CFrameGrabberDummy::GetSettingTable()
{
    return kSettings;
}

void CFrameGrabberDummy::AppendDriverProperties(TList<CMFCPropertyGridProperty, int, int>& properties,
                                                TList<CString, int, int>&)
{
    AppendProperties(kSettings, properties);
}

CFrameGrabberDummy::CFrameGrabberDummy()
{
    m_imageSize = cv::Size(1600, 1200);
    m_pComm = TRefPointer<IFGComm, int, int>(new CFGComm);
}

CFrameGrabberDummy::~CFrameGrabberDummy()
{
    CFrameGrabberDummy::CloseFrameGrabber();
}

int CFrameGrabberDummy::InitFrameGrabber(const CProfileSection& settings, CString& message)
{
    CloseFrameGrabber();
    m_bStop = 0;
    m_bCapture = 0;
    m_evtStop.ResetEvent();
    m_bColor = ReadBoolean(settings, kSettings[SETTING_COLOR]);
    m_imageSize = ParseSize(ReadText(settings, kSettings[SETTING_RESOLUTION]));
    m_dFrameRate = ReadDouble(settings, kSettings[SETTING_FRAMERATE]);
    m_nType = ParseType(ReadText(settings, kSettings[SETTING_TYPE]));
    m_marker.clear();
    m_hThread = std::thread([this] { Run(); });
    message = L"Dummy Frame Grabber is Created";
    WriteLog(kLogNormal, L"%s", message.c_str());
    return 1;
}

int CFrameGrabberDummy::CloseFrameGrabber()
{
    m_bStop = 1;
    m_bCapture = 0;
    m_evtStop.SetEvent();
    if (m_hThread.joinable()) {
        m_hThread.join();
    }
    return 1;
}

int CFrameGrabberDummy::StartCapture()
{
    m_bCapture = 1;
    return 1;
}

int CFrameGrabberDummy::StopCapture()
{
    m_bCapture = 0;
    return 1;
}

DWORD CFrameGrabberDummy::FramePeriod() const
{
    if (!(m_dFrameRate > 0.0)) {
        return kPeriodWithoutRate;
    }
    return static_cast<DWORD>(std::min(1000.0 / m_dFrameRate + 0.5, 4.0e9));
}

void CFrameGrabberDummy::Run()
{
    NameThisThread("Dummy camera");
    const int stride = (m_imageSize.width + 3) / 4 * 4;
    const int rows = m_imageSize.height;
    int frame = 0;
    DWORD last = GetTickCount();
    while (!m_bStop) {
        const DWORD period = FramePeriod();
        if (GetTickCount() - last <= period && m_evtStop.Wait(CDeadline(last, period))) {
            break;
        }
        last = GetTickCount();
        if (!m_bCapture) {
            continue;
        }
        try {
            if (MakeWork(rows, stride)) {
                Paint(period, frame);
                PaintMarker();
            }
            frame = frame >= 65535 ? 0 : frame + 1;
            Deliver();
        } catch (const std::exception& error) {
            // One frame is lost; the camera goes on.
            WriteLog(kLogError, "Dummy Frame Grabber : %s", error.what());
        }
    }
}

bool CFrameGrabberDummy::MakeWork(int rows, int stride)
{
    const int type = m_bColor ? CV_8UC3 : CV_8UC1;
    if (static_cast<std::int64_t>(rows) * stride * CV_ELEM_SIZE(type) > kMostBytes) {
        m_work.release();
    } else {
        m_work.create(rows, stride, type);
    }
    if (!m_work.empty() && m_marker.empty()) {
        BuildMarker();
    }
    return !m_work.empty();
}

void CFrameGrabberDummy::Deliver()
{
    CDriverFrame delivery(*this);
    CopyImage(m_work, delivery.Image());
}

void CFrameGrabberDummy::Paint(DWORD period, int frame)
{
    const int type = m_nType;
    if (type == 2) {
        PaintBrightness(frame);
        return;
    }
    // The pattern travels a third of the image per second whatever the frame rate.
    const int third = (type == 1 ? m_work.cols : m_work.rows) / 3;
    const std::int64_t step = std::max<std::int64_t>(1, static_cast<std::int64_t>(third) * period / 1000);
    if (type == 1) {
        PaintScrollLeft(third, step * frame);
    } else {
        PaintScrollUp(third, step * frame);
    }
}

void CFrameGrabberDummy::PaintScrollUp(int third, std::int64_t offset)
{
    const int rows = m_work.rows;
    const std::size_t rowBytes = static_cast<std::size_t>(m_work.cols) * m_work.elemSize();
    const int first = static_cast<int>(offset % rows);
    if (m_work.channels() == 1) {
        for (int i = 0; i < rows; ++i) {
            std::memset(m_work.ptr((i + first) % rows), i % 255, rowBytes);
        }
        return;
    }
    const auto paint = [&](const cv::Range& range) {
        for (int i = range.start; i < range.end; ++i) {
            const auto value = static_cast<std::uint8_t>(i * 255 / third % 255);
            const int start[3] = {0, rows / 3, 2 * rows / 3};
            for (int channel = 0; channel < 3; ++channel) {
                std::uint8_t pixel[3] = {};
                pixel[channel] = value;
                FillRow(m_work.ptr((start[channel] + i + first) % rows), rowBytes, pixel, sizeof(pixel));
            }
        }
    };
    if (rowBytes * static_cast<std::size_t>(rows) >= kParallelBytes) {
        cv::parallel_for_(cv::Range(0, third), paint);
    } else {
        paint(cv::Range(0, third));
    }
}

void CFrameGrabberDummy::PaintScrollLeft(int third, std::int64_t offset)
{
    const int columns = m_work.cols;
    const int first = static_cast<int>(offset % columns);
    const int start[3] = {0, columns / 3, 2 * columns / 3};
    const int channels = m_work.channels();
    std::uint8_t* top = m_work.ptr(0);
    for (int i = 0; i < third; ++i) {
        const auto value = static_cast<std::uint8_t>(i * 255 / third % 255);
        for (int band = 0; band < 3; ++band) {
            std::uint8_t* pixel = top + (start[band] + i + first) % columns * channels;
            for (int channel = 0; channel < channels; ++channel) {
                pixel[channel] = channel == band ? value : 0;
            }
        }
    }
    const std::size_t rowBytes = static_cast<std::size_t>(columns * channels);
    for (int row = 1; row < m_work.rows; ++row) {
        std::memcpy(m_work.ptr(row), top, rowBytes);
    }
}

void CFrameGrabberDummy::PaintBrightness(int frame)
{
    // A saw-tooth that jumps behind its first fall; wanted.
    const int level = frame >= 110 && frame <= 209 ? 219 - frame : frame % 256;
    std::memset(m_work.data, level, m_work.total() * m_work.elemSize());
}

/// An arrow that points up shows any flip or turn at a glance. It is drawn once and kept as runs of pixels:
/// painting a frame takes no memory.
void CFrameGrabberDummy::BuildMarker()
{
    cv::Mat mask(std::min(m_work.rows, 210), std::min(m_work.cols, 110), CV_8UC1, cv::Scalar(0));
    const cv::Scalar white(255);
    cv::line(mask, {100, 50}, {0, 50}, white, 3);
    cv::line(mask, {0, 50}, {50, 0}, white, 3);
    cv::line(mask, {50, 0}, {50, 200}, white, 3);
    for (int row = 0; row < mask.rows; ++row) {
        const uchar* const first = mask.ptr(row);
        const uchar* const last = first + mask.cols;
        for (const uchar* begin = std::find(first, last, 255); begin != last;) {
            const uchar* const end = std::find(begin, last, 0);
            m_marker.push_back({row, static_cast<int>(begin - first), static_cast<int>(end - begin)});
            begin = std::find(end, last, 255);
        }
    }
}

void CFrameGrabberDummy::PaintMarker()
{
    const std::size_t pixelBytes = m_work.elemSize();
    for (const T_RUN& run : m_marker) {
        std::memset(m_work.ptr(run.row, run.column), 255, static_cast<std::size_t>(run.length) * pixelBytes);
    }
}

} // namespace alidade
