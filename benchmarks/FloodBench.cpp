#include "benchmarks/Frames.h"
#include "benchmarks/Harness.h"
#include "tests/support/FrameGrabberTestAccess.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>

namespace alidade::bench {
namespace {

using Access = CFrameGrabberTestAccess;

/// Writes the frame's number to the head of every 64th row.
void StampNumber(cv::Mat& frame, std::uint32_t number)
{
    for (int row = 0; row < frame.rows; row += 64) {
        std::memcpy(frame.ptr(row), &number, sizeof(number));
    }
}

/// The number that all stamps show; false when they disagree: the frame is torn.
bool ReadNumber(const cv::Mat& frame, std::uint32_t& number)
{
    std::memcpy(&number, frame.ptr(0), sizeof(number));
    for (int row = 0; row < frame.rows; row += 64) {
        if (std::memcmp(frame.ptr(row), &number, sizeof(number)) != 0) {
            return false;
        }
    }
    return true;
}

/// A driver that copies a ready frame and calls back without pause.
class CFloodDriver : public CHandDriver {
public:
    int StartCapture() override
    {
        m_thread = std::thread([this] {
            cv::Mat frame(2048, 2048, CV_8UC1, cv::Scalar(0));
            for (std::uint32_t number = 1; !m_stop; ++number) {
                StampNumber(frame, number);
                Deliver(frame);
            }
        });
        return 1;
    }
    int StopCapture() override
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        return 1;
    }

private:
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
};

/// Frames a second that one client takes from the flood.
double FloodRate(int frames, bool& torn)
{
    const auto grabber = Access::Make(new CFloodDriver);
    CString message;
    grabber->InitFrameGrabber(CProfileSection(), message);
    grabber->StartCapture();
    cv::Mat image;
    std::uint32_t number = 0;
    std::uint32_t last = 0;
    grabber->GetNewImage(image, 1000);
    const auto start = GetTickNanoseconds();
    for (int i = 0; i < frames; ++i) {
        if (!grabber->GetNewImage(image, 1000) || !ReadNumber(image, number) || number <= last) {
            torn = true;
        }
        last = number;
    }
    const double seconds = static_cast<double>(GetTickNanoseconds() - start) / 1e9;
    grabber->StopCapture();
    return frames / seconds;
}

void BenchFloodRate(CSuite& suite)
{
    const std::string name = "flood of 2048x2048x1, frames/s to one client";
    if (!suite.IsWanted(name)) {
        return;
    }
    cv::Mat frame(2048, 2048, CV_8UC1, cv::Scalar(0)), middle, last;
    std::vector<double> oursRates, bareRates, ratios;
    bool torn = false;
    for (int i = 0; i < 7; ++i) {
        const double bare = MeasureOnce(
            [&] {
                frame.copyTo(middle);
                middle.copyTo(last);
            },
            300);
        oursRates.push_back(FloodRate(300, torn));
        bareRates.push_back(1e6 / bare);
        ratios.push_back(oursRates.back() / bareRates.back());
    }
    suite.Add({name, Median(oursRates), Median(bareRates), torn ? 0.0 : Median(ratios), 0.9, true});
}

/// The built-in camera at its largest, with a client that copies five frames a second.
void BenchLargeDummy(CSuite& suite)
{
    const std::string name = "Dummy 5120x5120x3 at 30 asked, frames/s delivered";
    if (!suite.IsWanted(name)) {
        return;
    }
    CFrameGrabber::LoadFrameGrabberDll(L"", nullptr);
    CProfileSection settings;
    settings.SetItemValue(L"Dummy.resolution", L"5120x5120");
    settings.SetItemValue(L"Dummy.FrameRate", L"30");
    CString message;
    const auto grabber = CFrameGrabber::GetFrameGrabber(L"Dummy", settings, message);
    grabber->StartCapture();
    cv::Mat image, copy;
    const DWORD start = GetTickCount();
    for (DWORD next = start; GetTickCount() - start < 8000; next += 200) {
        grabber->GetImage(image, true, 1000);
        const DWORD elapsed = GetTickCount() - next;
        Sleep(elapsed < 200 ? 200 - elapsed : 0);
    }
    const double rate = grabber->GetFrameCounter().dFrameRate.load();
    grabber->StopCapture();
    // The limit beside it: a frame is painted once and copied once, both at the speed of a plain copy.
    image.copyTo(copy);
    std::vector<double> copies;
    for (int i = 0; i < 15; ++i) {
        copies.push_back(MeasureOnce([&] { image.copyTo(copy); }, 1));
    }
    const double limit = 1e6 / (2.0 * Median(copies));
    suite.Add({name + " (bare: two plain copies)", rate, limit, rate / 30.0, 0.99, true});
}

} // namespace

void BenchFlood(CSuite& suite)
{
    BenchFloodRate(suite);
    BenchLargeDummy(suite);
}

} // namespace alidade::bench
