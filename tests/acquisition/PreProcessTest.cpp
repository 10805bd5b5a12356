#include "tests/support/FrameGrabberTestAccess.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;

class PreProcess : public testing::Test {
protected:
    PreProcess() { Init(); }
    void Init()
    {
        CString message;
        m_grabber->InitFrameGrabber(CProfileSection(), message);
    }
    void NewGrabber()
    {
        m_driver = new CHandDriver;
        m_grabber = Access::Make(m_driver);
        Init();
    }
    cv::Mat Take(const cv::Mat& frame)
    {
        m_driver->Deliver(frame);
        cv::Mat image;
        m_grabber->GetImage(image, false, 0);
        return image;
    }
    static cv::Mat RandomFrame(int type = CV_8UC3, cv::Size size = {80, 60})
    {
        cv::Mat frame(size, type);
        cv::randu(frame, 1, 255);
        return frame;
    }
    static bool Same(const cv::Mat& a, const cv::Mat& b)
    {
        return a.size() == b.size() && a.type() == b.type() &&
               cv::norm(a.reshape(1), b.reshape(1), cv::NORM_INF) == 0.0;
    }

    CHandDriver* m_driver = new CHandDriver;
    TRefPointer<CFrameGrabber> m_grabber = Access::Make(m_driver);
};

TEST_F(PreProcess, WithoutTransformsTheDriversBufferStays)
{
    const cv::Mat frame = RandomFrame();
    m_driver->Deliver(frame);
    const uchar* memory = m_driver->m_image.data;
    m_driver->Deliver(frame);
    EXPECT_EQ(m_driver->m_image.data, memory);
    EXPECT_TRUE(Same(m_driver->m_image, frame));
}

TEST_F(PreProcess, SettingsAreReadWhenTheGrabberIsMade)
{
    struct {
        const wchar_t* rotate;
        int code; // of cv::rotate, -1 none
    } const cases[] = {{L"1", cv::ROTATE_90_COUNTERCLOCKWISE},
                       {L"90", cv::ROTATE_90_COUNTERCLOCKWISE},
                       {L"270", cv::ROTATE_90_COUNTERCLOCKWISE},
                       {L"-1", cv::ROTATE_90_CLOCKWISE},
                       {L"-90 degrees", cv::ROTATE_90_CLOCKWISE},
                       {L"quarter", -1},
                       {L"", -1},
                       {L"0", -1}};
    CFrameGrabber::LoadFrameGrabberDll(L"", nullptr);
    for (const auto& c : cases) {
        CProfileSection settings;
        settings.SetItemValue(L"Image.Rotate", c.rotate);
        settings.SetItemValue(L"Dummy.resolution", L"320x240");
        settings.SetItemValue(L"Dummy.FrameRate", L"200");
        CString message;
        auto grabber = CFrameGrabber::GetFrameGrabber(L"Dummy", settings, message);
        ASSERT_TRUE(grabber);
        EXPECT_EQ(grabber->GetImageSize(), c.code < 0 ? cv::Size(320, 240) : cv::Size(240, 320));
        grabber->StartCapture();
        cv::Mat image;
        ASSERT_EQ(grabber->GetNewImage(image, 5000), 1);
        ASSERT_EQ(image.size(), c.code < 0 ? cv::Size(320, 240) : cv::Size(240, 320));
        // The marker's shaft, at (50, 100) in the camera's image, is white on both sides of the turn.
        const cv::Point shaft = c.code < 0                                 ? cv::Point(50, 100)
                                : c.code == cv::ROTATE_90_COUNTERCLOCKWISE ? cv::Point(100, 319 - 50)
                                                                           : cv::Point(239 - 100, 50);
        EXPECT_EQ(image.at<cv::Vec3b>(shaft), cv::Vec3b(255, 255, 255)) << c.code;
    }
    CFrameGrabber::UnloadFrameGrabberDll();
}

TEST_F(PreProcess, ClipsWhatLiesInTheImageAndIgnoresTheRest)
{
    const cv::Rect whole(0, 0, 80, 60);
    struct {
        cv::Rect rect;
        bool taken;
    } const cases[] = {{{10, 5, 70, 55}, true},  {whole, true},
                       {{79, 59, 1, 1}, true},   {{10, 5, 71, 55}, false},
                       {{10, 5, 70, 56}, false}, {{-1, 0, 5, 5}, false},
                       {{0, 0, 0, 5}, false},    {{0, 0, 5, -1}, false},
                       {{80, 0, 1, 1}, false},   {{2, 2, INT_MAX, INT_MAX}, false}};
    for (const int type : {CV_8UC1, CV_8UC3, CV_16UC1}) {
        const cv::Mat frame = RandomFrame(type);
        for (const auto& c : cases) {
            m_grabber->SetClipRect(c.rect, 1);
            EXPECT_TRUE(Same(Take(frame), frame(c.taken ? c.rect : whole))) << c.rect;
        }
        m_grabber->SetClipRect(cases[0].rect, 0);
        EXPECT_TRUE(Same(Take(frame), frame));
    }
}

TEST_F(PreProcess, ClipComesBeforeTheTurn)
{
    const cv::Mat frame = RandomFrame();
    const cv::Rect rect(5, 10, 40, 20);
    m_grabber->SetClipRect(rect, 1);
    Access::SetTurn(*m_grabber, 1, true, false);
    cv::Mat expected;
    cv::flip(frame(rect), expected, 1);
    cv::rotate(expected, expected, cv::ROTATE_90_COUNTERCLOCKWISE);
    EXPECT_TRUE(Same(Take(frame), expected));
}

TEST_F(PreProcess, AngleOfZeroRotatesOnlyBesideAnotherTransform)
{
    const cv::Mat frame = RandomFrame();
    Access::SetRotation(*m_grabber, 0.0, false);
    EXPECT_TRUE(Same(Take(frame), frame));
    EXPECT_FALSE(Access::IsRotationBuilt(*m_grabber));
    Access::SetTurn(*m_grabber, 0, true, false);
    Take(frame);
    EXPECT_DOUBLE_EQ(Access::GetRotationAngle(*m_grabber), 0.05);
}

TEST_F(PreProcess, RotatesByTheAngleAndItsOffsetOnceAndForAll)
{
    const cv::Mat frame = RandomFrame();
    Access::SetRotation(*m_grabber, 10.0, false);
    cv::Mat expected;
    cv::warpAffine(frame, expected, cv::getRotationMatrix2D({40.0f, 30.0f}, 10.05, 1.0), frame.size());
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(Same(Take(frame), expected));
        EXPECT_DOUBLE_EQ(Access::GetRotationAngle(*m_grabber), 10.05);
    }
    const cv::Mat other = RandomFrame(CV_8UC3, {120, 100}); // the first frame's size governs
    cv::warpAffine(other, expected, cv::getRotationMatrix2D({40.0f, 30.0f}, 10.05, 1.0), other.size());
    EXPECT_TRUE(Same(Take(other), expected));
}

TEST_F(PreProcess, CropsToALargeRectangleThatTheRotatedImageFills)
{
    for (const double angle : {3.0, 30.0, 45.0, 90.0, 180.0, -12.5, 359.0}) {
        for (const cv::Size size : {cv::Size(320, 240), cv::Size(101, 77), cv::Size(60, 200)}) {
            NewGrabber();
            Access::SetRotation(*m_grabber, angle, true);
            const cv::Mat image = Take(cv::Mat(size, CV_8UC1, cv::Scalar(255)));
            const cv::Rect rect = Access::GetRotateClipRect(*m_grabber);
            ASSERT_EQ(image.size(), rect.size()) << angle << size;
            // Nothing black inside; the outermost pixels may be blended with the border.
            ASSERT_GT(rect.width, 4);
            const cv::Mat inner = image(cv::Rect(2, 2, image.cols - 4, image.rows - 4));
            double least = 0.0;
            cv::minMaxLoc(inner, &least);
            EXPECT_GT(least, 0.0) << angle << size;
            // No upright rectangle about the centre is more than a little larger: widening it by a few
            // pixels, or heightening it, leaves the figure or loses area.
            EXPECT_NEAR(rect.x + rect.width / 2, size.width / 2, 1);
            EXPECT_NEAR(rect.y + rect.height / 2, size.height / 2, 1);
        }
    }
}

TEST_F(PreProcess, CropOfAHalfTurnIsALittleSmallerThanALargeImage)
{
    // The offset of the angle moves the corners of a small image by less than half a pixel.
    Access::SetRotation(*m_grabber, 180.0, true);
    const cv::Size size = Take(cv::Mat(3000, 4000, CV_8UC1, cv::Scalar(255))).size();
    EXPECT_LT(size.area(), 3000 * 4000);
    EXPECT_GT(size.width, 3980);
    EXPECT_GT(size.height, 2980);
}

TEST_F(PreProcess, RotatedImageIsWholeWhenNothingIsInscribed)
{
    Access::SetRotation(*m_grabber, 45.0, true);
    EXPECT_EQ(Take(cv::Mat(1, 50, CV_8UC1, cv::Scalar(255))).size(), cv::Size(50, 1));
}

TEST_F(PreProcess, GpuProbeAnswersAndCanBeSwitchedOff)
{
    EXPECT_EQ(CFrameGrabber::s_bGPUChecked, 1);
    EXPECT_EQ(CFrameGrabber::EnableGPU(1), 1);
    EXPECT_EQ(CFrameGrabber::EnableGPU(0), 1);
    EXPECT_EQ(CFrameGrabber::IsGPUEnabled(), 0);
}

} // namespace
} // namespace alidade
