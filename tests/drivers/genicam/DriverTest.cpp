// The plug-in with the camera that Aravis simulates inside the process: no network, no hardware.

#include "DriverUnderTest.h"
#include "foundation/platform/Text.h"

#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>

namespace alidade {
namespace {

using Settings = CDriverUnderTest::Settings;

Settings Fake(Settings more = {})
{
    Settings settings{{L"GenICam.Interface", L"Fake"},
                      {L"GenICam.Width", L"64"},
                      {L"GenICam.Height", L"48"},
                      {L"GenICam.FrameRate", L"200"}};
    more.merge(settings); // what the case says comes first
    return more;
}

TEST(GenICamDriver, DeliversWholeFramesIntoTheSameMemory)
{
    std::atomic<unsigned> wrong{0};
    std::atomic<const BYTE*> memory{nullptr};
    std::atomic<unsigned> moves{0};
    CDriverUnderTest driver;
    driver.OnFrame([&](const cv::Mat& image) {
        wrong += image.size() == cv::Size(64, 48) && image.type() == CV_8UC1 && IsOneRamp(image) ? 0 : 1;
        moves += memory.exchange(image.data) == image.data ? 0 : 1;
    });
    // A busy machine's silence is not to be counted as a time-out.
    ASSERT_TRUE(driver.Init(Fake({{L"GenICam.FrameTimeout", L"60000"}}))) << driver.Message();
    EXPECT_NE(driver.Message().find("64 x 48 Mono8"), std::string::npos) << driver.Message();
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(driver.WaitForFrames(30)) << driver.Log().All();
    driver->StopCapture();
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(moves, 1u) << "the first frame allocates, no other";
    EXPECT_EQ(driver.Log().Count("frames delivered; not delivered: none"), 1) << driver.Log().All();
}

TEST(GenICamDriver, NoFrameFollowsStopOrCloseHoweverOften)
{
    std::atomic<bool> stopped{false};
    std::atomic<unsigned> late{0};
    CDriverUnderTest driver;
    EXPECT_TRUE(driver->CloseFrameGrabber()) << "nothing is open";
    EXPECT_FALSE(driver->StartCapture());
    EXPECT_TRUE(driver->StopCapture());
    driver.OnFrame([&](const cv::Mat&) { late += stopped ? 1 : 0; });
    for (int round = 0; round < 5; ++round) {
        ASSERT_TRUE(driver.Init(Fake())); // the second time on an open driver
        for (int i = 0; i < 2; ++i) {
            stopped = false;
            ASSERT_TRUE(driver->StartCapture());
            ASSERT_TRUE(driver->StartCapture()) << "it runs already";
            ASSERT_TRUE(driver.WaitForMoreFrames(2));
            ASSERT_TRUE(driver->StopCapture());
            stopped = true;
        }
        if (round % 2 == 0) {
            stopped = false;
            ASSERT_TRUE(driver->StartCapture());
            ASSERT_TRUE(driver.WaitForMoreFrames(1));
            ASSERT_TRUE(driver->CloseFrameGrabber());
            stopped = true;
        }
    }
    EXPECT_EQ(late, 0u);
    ASSERT_TRUE(driver.Init(Fake()));
    stopped = false;
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(driver.WaitForMoreFrames(1));
    driver.Destroy();
}

TEST(GenICamDriver, CallsFromTheCallbackNeitherHangNorCrash)
{
    std::atomic<int> closeResult{-1};
    std::atomic<int> initResult{-1};
    CDriverUnderTest driver;
    driver.OnFrame([&, &plugin = *driver](const cv::Mat&) {
        plugin.StopCapture();
        CString message;
        initResult = plugin.InitFrameGrabber(CProfileSection(), message);
        closeResult = plugin.CloseFrameGrabber();
    });
    ASSERT_TRUE(driver.Init(Fake()));
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(driver.WaitForFrames(1));
    EXPECT_TRUE(WaitUntil([&] { return driver.Log().Count("capture stopped") == 1; })) << driver.Log().All();
    EXPECT_EQ(driver.Frames(), 1u);
    EXPECT_EQ(closeResult, 0);
    EXPECT_EQ(initResult, 0);
    ASSERT_TRUE(driver->StartCapture());
    EXPECT_TRUE(driver.WaitForFrames(2)) << "it can be started again";
}

TEST(GenICamDriver, AnExceptionOfTheCallbackCostsOneFrame)
{
    std::atomic<int> calls{0};
    CDriverUnderTest driver;
    driver.OnFrame([&](const cv::Mat&) {
        if (++calls <= 3) {
            throw std::runtime_error("thrown by the test");
        }
    });
    ASSERT_TRUE(driver.Init(Fake()));
    ASSERT_TRUE(driver->StartCapture());
    ASSERT_TRUE(driver.WaitForFrames(3)) << driver.Log().All();
    driver->StopCapture();
    EXPECT_EQ(driver.Statistics().nFailed, 3u);
    EXPECT_EQ(driver.Log().Count("thrown by the test"), 1) << "told once:\n" << driver.Log().All();
}

TEST(GenICamDriver, StatisticsAreOfItsOwnDriversOnly)
{
    struct CForeign : IFrameGrabberInterface {
        int InitFrameGrabber(const CProfileSection&, CString&) override { return 0; }
        int CloseFrameGrabber() override { return 0; }
        int StartCapture() override { return 0; }
        int StopCapture() override { return 0; }
    } foreign;
    T_GENICAM_STATISTICS statistics{};
    const auto get =
        reinterpret_cast<GetGenICamStatisticsFunction>(CDriverUnderTest::Symbol("GetGenICamStatistics"));
    EXPECT_EQ(get(&foreign, &statistics), 0);
    EXPECT_EQ(get(nullptr, &statistics), 0);
}

struct T_REFUSAL {
    const wchar_t* key;
    const wchar_t* value;
    const char* shown; // beside the key and the value
};

class RefusedSetting : public testing::TestWithParam<T_REFUSAL> {};

TEST_P(RefusedSetting, IsNamedWithItsValueAndWhatIsAllowed)
{
    const T_REFUSAL& refusal = GetParam();
    CDriverUnderTest driver;
    ASSERT_FALSE(driver.Init(Fake({{refusal.key, refusal.value}})));
    const std::string& message = driver.Message();
    for (const std::string& part :
         {ToNarrow(refusal.key), ToNarrow(refusal.value), std::string(refusal.shown)}) {
        EXPECT_NE(message.find(part), std::string::npos) << part << " is not in: " << message;
    }
    EXPECT_FALSE(driver->StartCapture());
    EXPECT_TRUE(driver.Init(Fake())) << "the next attempt is not spoilt: " << driver.Message();
}

INSTANTIATE_TEST_SUITE_P(
    GenICam, RefusedSetting,
    testing::Values(
        T_REFUSAL{L"GenICam.Width", L"0", "1 to 65535"}, T_REFUSAL{L"GenICam.Width", L"1000000000", "65535"},
        T_REFUSAL{L"GenICam.Height", L"-5", "1 to"}, T_REFUSAL{L"GenICam.Width", L"2049", "1 to 2048"},
        T_REFUSAL{L"GenICam.Height", L"10.5", "whole numbers"},
        T_REFUSAL{L"GenICam.OffsetX", L"2000", "0 to 1984"},
        T_REFUSAL{L"GenICam.PixelFormat", L"Mono12", "Mono8"},
        T_REFUSAL{L"GenICam.PixelFormat", L"Sepia", "Mono12p"},
        T_REFUSAL{L"GenICam.ExposureTime", L"1", "10 to 10000000 us"},
        T_REFUSAL{L"GenICam.ExposureTime", L"Auto", "no automatic exposure"},
        T_REFUSAL{L"GenICam.ExposureTime", L"long", "Auto"}, T_REFUSAL{L"GenICam.Gain", L"99", "0 to 10"},
        T_REFUSAL{L"GenICam.FrameRate", L"5000", "1000 Hz"}, T_REFUSAL{L"GenICam.FrameRate", L"-1", "0 to"},
        T_REFUSAL{L"GenICam.TriggerMode", L"Perhaps", "Off, On"},
        T_REFUSAL{L"GenICam.Buffers", L"1", "2 to 1000"}, T_REFUSAL{L"GenICam.SocketBuffer", L"100", "65536"},
        T_REFUSAL{L"GenICam.PacketSize", L"100", "576 to 16384"},
        T_REFUSAL{L"GenICam.Interface", L"Carrier", "USB3Vision"},
        T_REFUSAL{L"GenICam.DeviceId", L"Acme-4711", "Fake_1"},
        T_REFUSAL{L"GenICam.Features", L"NoSuchThing=1", "no such feature"},
        T_REFUSAL{L"GenICam.Features", L"BinningVertical=99", "BinningVertical"},
        T_REFUSAL{L"GenICam.Features", L"BinningVertical=two", "whole number"},
        T_REFUSAL{L"GenICam.Features", L"AcquisitionMode=Sometimes", "Continuous"},
        T_REFUSAL{L"GenICam.Features", L"SensorWidth=100", "SensorWidth"},
        T_REFUSAL{L"GenICam.Features", L"SensorWidth", "a value is missing"},
        T_REFUSAL{L"GenICam.Features", L"=5", "name is missing"}));

TEST(GenICamDriver, ATriggerSourceThatTheCameraLacksIsRefused)
{
    CDriverUnderTest driver;
    EXPECT_FALSE(driver.Init(Fake({{L"GenICam.TriggerMode", L"On"}, {L"GenICam.TriggerSource", L"Line7"}})));
    EXPECT_NE(driver.Message().find("Line0, Software"), std::string::npos) << driver.Message();
}

} // namespace
} // namespace alidade
