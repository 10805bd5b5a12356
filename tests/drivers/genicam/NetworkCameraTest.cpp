// The plug-in against a simulated GigE Vision camera on the loopback interface.

#include "DriverUnderTest.h"
#include "FakeCamera.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <sys/socket.h>

namespace alidade {
namespace {

using Settings = CDriverUnderTest::Settings;

/// Frame time-out where no time-out may be counted, for machines that are busy otherwise, ms.
constexpr const wchar_t* kPatience = L"10000";

/// Receive buffer, in bytes, of the datagram socket of this process that has the largest.
unsigned LargestDatagramBuffer()
{
    unsigned largest = 0;
    for (int file = 3; file < 1024; ++file) {
        int type = 0;
        int bytes = 0;
        socklen_t size = sizeof type;
        if (::getsockopt(file, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_DGRAM &&
            ::getsockopt(file, SOL_SOCKET, SO_RCVBUF, &bytes, &size) == 0) {
            largest = std::max(largest, static_cast<unsigned>(bytes));
        }
    }
    return largest;
}

class NetworkCamera : public testing::Test {
protected:
    void SetUp() override
    {
        if (!CFakeCamera::IsInstalled()) {
            GTEST_SKIP() << "arv-fake-gv-camera-0.8 (Debian: aravis-tools) is not installed";
        }
    }

    static Settings Small(Settings more = {})
    {
        Settings settings{
            {L"GenICam.DeviceId", L"127.0.0.1"}, {L"GenICam.Width", L"160"}, {L"GenICam.Height", L"120"}};
        settings.merge(more);
        return settings;
    }
};

TEST_F(NetworkCamera, FramesHaveTheSizeAndTypeOfThePixelFormat)
{
    const CFakeCamera camera;
    const struct {
        const wchar_t* format;
        int type;
    } cases[] = {{L"Mono8", CV_8UC1}, {L"Mono16", CV_16UC1}, {L"RGB8", CV_8UC3}, {L"BayerRG8", CV_8UC3}};
    cv::Size size;
    int type = -1;
    CDriverUnderTest driver;
    for (const auto& c : cases) {
        driver.OnFrame([&](const cv::Mat& image) {
            size = image.size();
            type = image.type();
        });
        ASSERT_TRUE(driver.Init(Small({{L"GenICam.PixelFormat", c.format}}))) << driver.Message();
        EXPECT_EQ(driver->m_imageSize, cv::Size(160, 120));
        ASSERT_TRUE(driver->StartCapture());
        ASSERT_TRUE(driver.WaitForMoreFrames(3)) << driver.Log().All();
        driver->CloseFrameGrabber();
        EXPECT_EQ(size, cv::Size(160, 120));
        EXPECT_EQ(type, c.type);
        EXPECT_NE(driver->m_dwLastGrab, 0u);
    }
}

TEST_F(NetworkCamera, SettingsReachTheCamera)
{
    const CFakeCamera camera;
    CDriverUnderTest driver;
    ASSERT_TRUE(driver.Init({{L"GenICam.DeviceId", L"127.0.0.1"},
                             {L"GenICam.OffsetX", L"32"},
                             {L"GenICam.OffsetY", L"16"},
                             {L"GenICam.Width", L"320"},
                             {L"GenICam.Height", L"200"},
                             {L"GenICam.ExposureTime", L"5000"},
                             {L"GenICam.Gain", L"3"},
                             {L"GenICam.FrameRate", L"50"},
                             {L"GenICam.Features", L"BinningVertical=2; OffsetY = 8"}}))
        << driver.Message();
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kOffsetX), 32u);
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kOffsetY), 8u); // features come last
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kWidth), 320u);
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kHeight), 200u);
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kExposure), 5000u);
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kGain), 3u);
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kFramePeriod), 20000u);
}

TEST_F(NetworkCamera, AKilledCameraIsReportedOnceAndComesBackWithItsSettings)
{
    CFakeCamera camera;
    CDriverUnderTest driver;
    ASSERT_TRUE(driver.Init(Small({{L"GenICam.ExposureTime", L"10000"},
                                   {L"GenICam.FrameRate", L"40"},
                                   {L"GenICam.FrameTimeout", kPatience}})))
        << driver.Message();
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(driver.WaitForFrames(5));

    camera.Kill();
    ASSERT_TRUE(WaitUntil([&] { return driver.Statistics().bConnected == 0; }));
    const unsigned frames = driver.Frames();
    const DWORD lastGrab = driver->m_dwLastGrab;
    EXPECT_EQ(driver->StartCapture(), 1); // it is remembered, and was on anyway
    EXPECT_EQ(driver.Frames(), frames);
    EXPECT_EQ(driver->m_dwLastGrab, lastGrab);

    camera.Start();
    ASSERT_TRUE(driver.WaitForFrames(frames + 5)) << driver.Log().All();
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kWidth), 160u);
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kFramePeriod), 25000u);
    EXPECT_EQ(driver.Log().Count("is lost"), 1) << driver.Log().All();
    EXPECT_EQ(driver.Log().Count("all settings were applied again"), 1) << driver.Log().All();
    const T_GENICAM_STATISTICS statistics = driver.Statistics();
    EXPECT_EQ(statistics.nLosses, 1u);
    EXPECT_EQ(statistics.nReopened, 1u);
    EXPECT_EQ(statistics.nTimeouts, 0u) << "a loss is no time-out";
    EXPECT_EQ(statistics.nLate, 0u);
}

TEST_F(NetworkCamera, StartAndStopWhileTheCameraIsLostCountWhenItIsBack)
{
    CFakeCamera camera;
    CDriverUnderTest driver;
    ASSERT_TRUE(driver.Init(Small())) << driver.Message();
    camera.Kill();
    ASSERT_TRUE(WaitUntil([&] { return driver.Statistics().bConnected == 0; }))
        << "an idle camera is watched too";
    EXPECT_TRUE(driver->StartCapture());
    EXPECT_TRUE(driver->StopCapture());
    EXPECT_TRUE(driver->StartCapture());
    camera.Start();
    EXPECT_TRUE(driver.WaitForFrames(3)) << driver.Log().All();
    camera.Kill();
    ASSERT_TRUE(WaitUntil([&] { return driver.Statistics().bConnected == 0; }));
    EXPECT_TRUE(driver->StopCapture());
    camera.Start();
    ASSERT_TRUE(WaitUntil([&] { return driver.Statistics().nReopened >= 2; })) << driver.Log().All();
    EXPECT_EQ(CFakeCamera::ReadRegister(CFakeCamera::kAcquiring), 0u);
}

TEST_F(NetworkCamera, ALostCameraDoesNotHoldUpTheEnd)
{
    CFakeCamera camera;
    CDriverUnderTest driver;
    ASSERT_TRUE(driver.Init(Small())) << driver.Message();
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(driver.WaitForFrames(1));
    camera.Kill();
    ASSERT_TRUE(WaitUntil([&] { return driver.Statistics().bConnected == 0; }));
    EXPECT_TRUE(driver->CloseFrameGrabber());
    EXPECT_FALSE(driver->StartCapture());
    EXPECT_TRUE(driver->CloseFrameGrabber());
}

TEST_F(NetworkCamera, DamagedFramesAreCountedAndNeverDelivered)
{
    const CFakeCamera camera({"-r", "5"}); // packets lost in 1000
    std::atomic<unsigned> torn{0};
    CDriverUnderTest driver;
    driver.OnFrame([&](const cv::Mat& image) { torn += IsOneRamp(image) ? 0 : 1; });
    ASSERT_TRUE(driver.Init({{L"GenICam.DeviceId", L"127.0.0.1"},
                             {L"GenICam.FrameRate", L"40"},
                             {L"GenICam.FrameTimeout", kPatience}}))
        << driver.Message();
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(WaitUntil([&] {
        const T_GENICAM_STATISTICS now = driver.Statistics();
        return now.nDelivered >= 20 && now.nIncomplete >= 20;
    })) << driver.Log().All();
    driver->StopCapture();
    const T_GENICAM_STATISTICS statistics = driver.Statistics();
    EXPECT_EQ(torn, 0u);
    EXPECT_EQ(statistics.nDelivered, driver.Frames());
    EXPECT_EQ(statistics.nLosses, 0u);
    EXPECT_EQ(statistics.nTimeouts, 0u);
    EXPECT_GE(driver.Log().Count("incomplete"), 2) << "a line while it happens and a summary:\n"
                                                   << driver.Log().All();
}

TEST_F(NetworkCamera, PlainUdpGetsASocketBufferThatHoldsFrames)
{
    const CFakeCamera camera;
    CDriverUnderTest driver;
    ASSERT_TRUE(driver.Init({{L"GenICam.DeviceId", L"127.0.0.1"}, {L"GenICam.PacketSocket", L"False"}}));
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(driver.WaitForFrames(10)) << driver.Log().All();
    const T_GENICAM_STATISTICS statistics = driver.Statistics();
    EXPECT_GE(statistics.nSocketBufferAsked, 8u << 20);
    EXPECT_GE(LargestDatagramBuffer(), 2 * statistics.nSocketBufferGranted)
        << "the system adds as much again";
    EXPECT_EQ(driver.Log().Count("net.core.rmem_max"),
              statistics.nSocketBufferGranted != 0 &&
                  statistics.nSocketBufferGranted < statistics.nSocketBufferAsked);
}

TEST_F(NetworkCamera, ASlowConsumerIsAnOverrunAndNotALoss)
{
    const CFakeCamera camera;
    CDriverUnderTest driver;
    driver.OnFrame([](const cv::Mat&) { Sleep(40); }); // work that takes eight frame periods
    ASSERT_TRUE(driver.Init(Small(
        {{L"GenICam.Buffers", L"3"}, {L"GenICam.FrameRate", L"200"}, {L"GenICam.FrameTimeout", kPatience}})));
    ASSERT_TRUE(driver->StartCapture());
    EXPECT_TRUE(WaitUntil([&] { return driver.Statistics().nOverruns > 0; })) << driver.Log().All();
    const T_GENICAM_STATISTICS statistics = driver.Statistics();
    EXPECT_EQ(statistics.nTimeouts, 0u);
    EXPECT_EQ(statistics.nLosses, 0u);
    EXPECT_TRUE(driver.WaitForMoreFrames(5));
}

TEST_F(NetworkCamera, ATriggeredCameraWaitsForEachTriggerAndSilenceIsNoTimeout)
{
    const CFakeCamera camera;
    CDriverUnderTest driver;
    const auto trigger =
        reinterpret_cast<SendGenICamTriggerFunction>(CDriverUnderTest::Symbol("SendGenICamTrigger"));
    EXPECT_EQ(trigger(&*driver), 0) << "nothing is open";
    ASSERT_TRUE(driver.Init(Small({{L"GenICam.TriggerMode", L"On"},
                                   {L"GenICam.TriggerSource", L"Software"},
                                   {L"GenICam.FrameTimeout", L"100"}})))
        << driver.Message();
    ASSERT_TRUE(driver->StartCapture());
    for (unsigned i = 1; i <= 3; ++i) {
        EXPECT_EQ(driver.Frames(), i - 1);
        // Refused while the driver asks whether the camera is there: so often here that this may be now.
        ASSERT_TRUE(WaitUntil([&] { return trigger(&*driver) == 1; }));
        ASSERT_TRUE(driver.WaitForFrames(i)) << driver.Log().All();
    }
    EXPECT_EQ(driver.Statistics().nTimeouts, 0u);
    EXPECT_EQ(driver.Statistics().nLosses, 0u);
}

TEST_F(NetworkCamera, ACameraIsControlledByOneDriverAtATime)
{
    const CFakeCamera camera;
    CDriverUnderTest first;
    CDriverUnderTest second;
    ASSERT_TRUE(first.Init(Small()));
    EXPECT_FALSE(second.Init(Small()));
    EXPECT_NE(second.Message().find("controls it"), std::string::npos) << second.Message();
    ASSERT_TRUE(first->StartCapture());
    EXPECT_TRUE(first.WaitForFrames(3)) << "the first one is not disturbed";
    first->CloseFrameGrabber();
    EXPECT_TRUE(second.Init(Small())) << second.Message();
}

TEST_F(NetworkCamera, TwoCamerasRunSideBySide)
{
    const CFakeCamera camera;
    CDriverUnderTest network;
    CDriverUnderTest simulated;
    ASSERT_TRUE(network.Init(Small()));
    ASSERT_TRUE(simulated.Init(
        {{L"GenICam.Interface", L"Fake"}, {L"GenICam.Width", L"64"}, {L"GenICam.Height", L"48"}}));
    ASSERT_TRUE(network->StartCapture());
    ASSERT_TRUE(simulated->StartCapture());
    EXPECT_TRUE(network.WaitForFrames(5));
    EXPECT_TRUE(simulated.WaitForFrames(5));
    EXPECT_EQ(network->m_image.cols, 160);
    EXPECT_EQ(simulated->m_image.cols, 64);
}

TEST_F(NetworkCamera, ACameraThatIsNotThereIsNamedWithThoseThatAre)
{
    const CFakeCamera camera;
    const struct {
        const wchar_t* id;
        const char* shown;
    } cases[] = {{L"Acme-4711", "Acme-4711"}, {L"127.0.0.77", "127.0.0.77"}};
    for (const auto& c : cases) {
        CDriverUnderTest driver;
        EXPECT_FALSE(driver.Init({{L"GenICam.DeviceId", c.id}}));
        EXPECT_NE(driver.Message().find(c.shown), std::string::npos) << driver.Message();
        EXPECT_FALSE(driver->StartCapture());
    }
}

} // namespace
} // namespace alidade
