// Counts allocations on the capture thread; in a program of its own because it replaces operator new.

#include "tests/support/FrameGrabberTestAccess.h"

#include "acquisition/FrameGrabberDummy.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <new>
#include <set>

namespace {

thread_local bool t_counting = false;
std::atomic<int> g_allocations{0};

void* Allocate(std::size_t size)
{
    if (t_counting) {
        ++g_allocations;
    }
    if (void* memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size)
{
    return Allocate(size);
}
void* operator new[](std::size_t size)
{
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    g_allocations += t_counting;
    return std::malloc(size > 0 ? size : 1);
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

namespace alidade {
namespace {

using Access = CFrameGrabberTestAccess;

/// Frames through a grabber, with allocations counted once everything has its size.
std::set<const uchar*> CountOver(CHandDriver& driver, const cv::Mat& frame)
{
    std::set<const uchar*> memory;
    const auto one = [&] {
        driver.Deliver(frame);
        return driver.m_image.data;
    };
    for (int i = 0; i < 10; ++i) {
        one();
    }
    g_allocations = 0;
    for (int i = 0; i < 100; ++i) {
        t_counting = true;
        const uchar* data = one();
        t_counting = false;
        memory.insert(data);
    }
    return memory;
}

TEST(Allocation, GrabberTakesNoMemoryPerFrame)
{
    struct {
        const char* name;
        int turn;
        bool clip, rotate;
        std::size_t blocks; // of image memory that go round
    } const cases[] = {{"plain", 0, false, false, 1},
                       {"clip", 0, true, false, 2},
                       {"turn", 1, false, false, 2},
                       {"clip and turn", -1, true, false, 3}};
    const cv::Mat frame(480, 640, CV_8UC3, cv::Scalar::all(7));
    for (const auto& c : cases) {
        auto* driver = new CHandDriver;
        const auto grabber = Access::Make(driver);
        CString message;
        grabber->InitFrameGrabber(CProfileSection(), message);
        TRefPointer<CEvent, int, int> event(new CEvent);
        grabber->InsertWaitingQueue(event);
        Access::SetTurn(*grabber, c.turn, false, false);
        grabber->SetClipRect(cv::Rect(10, 10, 300, 200), c.clip);
        EXPECT_LE(CountOver(*driver, frame).size(), c.blocks) << c.name;
        EXPECT_EQ(g_allocations, 0) << c.name;
    }
}

TEST(Allocation, SerialGrabMovesItsBuffersOnly)
{
    auto* driver = new CHandDriver;
    const auto grabber = Access::Make(driver);
    CString message;
    grabber->InitFrameGrabber(CProfileSection(), message);
    const cv::Mat frame(480, 640, CV_8UC3, cv::Scalar::all(7));
    driver->Deliver(frame);
    grabber->StartSerialGrab(4);
    std::set<const uchar*> memory;
    g_allocations = 0;
    for (int i = 0; i < 100; ++i) {
        t_counting = true;
        driver->Deliver(frame);
        t_counting = false;
        TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int> buffer;
        grabber->PopImageBuffer(buffer);
        ASSERT_TRUE(buffer);
        memory.insert(buffer->image.data);
        grabber->ReturnImageBuffer(buffer);
    }
    EXPECT_LE(memory.size(), 4u);
    EXPECT_EQ(g_allocations, 0);
}

/// Counts on the camera's own thread, from the second frame on.
int CountOnThread(void* argument)
{
    auto* seen = static_cast<std::atomic<int>*>(argument);
    t_counting = ++*seen >= 5;
    return 1;
}

TEST(Allocation, DummyTakesNoMemoryPerFrame)
{
    for (const wchar_t* type : {L"0", L"1", L"2"}) {
        std::atomic<int> seen{0};
        CFrameGrabberDummy driver;
        driver.SetNewImageCallback(CountOnThread, &seen);
        CProfileSection settings;
        settings.SetItemValue(L"Dummy.resolution", L"640x480");
        settings.SetItemValue(L"Dummy.FrameRate", L"1000");
        settings.SetItemValue(L"Dummy.Type", type);
        CString message;
        driver.InitFrameGrabber(settings, message);
        g_allocations = 0;
        driver.StartCapture();
        while (seen < 50) {
            Sleep(1);
        }
        driver.CloseFrameGrabber();
        EXPECT_EQ(g_allocations, 0) << type;
    }
}

} // namespace
} // namespace alidade
